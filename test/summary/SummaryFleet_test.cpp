// hostcapture-summary over folders laid out as the collection playbook leaves them: which files
// count as hosts, which are passed over or left out, what every output does when it cannot be
// written, and what a redacted copy may still hold.

#include "GeneratedPages.h"

#include <rapidjson/document.h>

#include <gtest/gtest.h>

#include <cctype>
#include <ctime>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
using GeneratedPages::Summary;

std::string Page(const std::string& profile)
{
    return ReadFile(GeneratedPages::Page(profile));
}

// The playbook's name for a page of a run that started hoursAgo hours before the tests did (one
// moment for every call, so that names written and names looked for agree).
std::string Stamp(int hoursAgo)
{
    static const time_t start = time(nullptr);
    time_t when = start - hoursAgo * 3600;
    struct tm utc;
    gmtime_r(&when, &utc);
    char name[32];
    strftime(name, sizeof name, "%Y%m%dT%H%M%SZ", &utc);
    return name;
}

std::string Lower(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

mode_t Mode(const std::string& path)
{
    struct stat st;
    return lstat(path.c_str(), &st) == 0 ? st.st_mode & 0777 : 0;
}

bool Has(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}
} // namespace

// Every kind of file in a reports tree and what becomes of it, each beside one healthy host.
TEST(SummaryFleet, EachKindOfPageAndItsOutcome)
{
    const std::string healthy = Page("healthy");
    ASSERT_FALSE(healthy.empty());
    const std::string fresh = "b/" + Stamp(1) + ".html", old = "b/" + Stamp(24 * 40) + ".html";
    const std::vector<std::string> maxAge = {"--max-age", "30d"};
    struct Case
    {
        const char* Kind;
        std::string File; // below the reports folder
        std::string Bytes;
        std::vector<std::string> Options;
        int Exit;
        const char* Line;
        const char* Message; // on standard error ("" : none)
    } cases[] = {
        {"whole", fresh, Page("degraded-raid"), {}, 1, "2 hosts, 1 warning, 1 normal", ""},
        {"cut by the time bound", "b/" + Stamp(1) + "-cut.html", healthy, {}, 3, "2 hosts, 1 unknown", ""},
        {"cut off", fresh, healthy.substr(0, healthy.size() / 3), {}, 3, "2 hosts, 1 unreadable", "cut off"},
        {"empty", fresh, "", {}, 3, "2 hosts, 1 unreadable", "empty"},
        {"run failed",
         "b/" + Stamp(1) + ".failed",
         "host: b\nreason: unreachable\n",
         {},
         3,
         "1 unreadable",
         "collection run failed: unreachable"},
        {"foreign: the playbook's overview",
         "fleet.html",
         "<!DOCTYPE html>\n<html lang=\"en\"><head>",
         {},
         0,
         "1 host, 1 normal",
         ""},
        {"foreign: another page",
         "b/notes.html",
         "<html><body>notes</body></html>",
         {"--latest"},
         0,
         "1 host, 1 normal",
         ""},
        {"stale", old, Page("failed-psu"), maxAge, 0, "1 host, 1 normal", "1 pages older than 30d left out"},
        {"stale and cut off", old, "<!DOCTYPE html>", maxAge, 0, "1 host, 1 normal",
         "1 pages older than 30d left out"},
        {"fresh enough", "b/" + Stamp(24 * 20) + ".html", Page("failed-psu"), maxAge, 2, "2 hosts, 1 error",
         ""},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Kind);
        TempDir dir;
        dir.Write("reports/a/" + Stamp(1) + ".html", healthy);
        dir.Write("reports/" + c.File, c.Bytes);
        std::vector<std::string> args = c.Options;
        args.push_back("reports");
        ProgramRun run = Summary(args, dir.Path());
        EXPECT_EQ(run.exitStatus, c.Exit) << run.output << run.errors;
        EXPECT_TRUE(Has(run.output, c.Line)) << run.output;
        if (*c.Message)
            EXPECT_TRUE(Has(run.errors, c.Message)) << run.errors;
        else
            EXPECT_EQ(run.errors, "");
    }
}

// Which pages of a host's folder count, with and without --latest and --max-age.
TEST(SummaryFleet, SelectionWithLatestAndMaxAge)
{
    TempDir dir;
    // Host a: an error ten days ago, normal an hour ago. Host b: a warning three days ago only.
    dir.Write("reports/a/" + Stamp(240) + ".html", Page("failed-psu"));
    dir.Write("reports/a/" + Stamp(1) + ".html", Page("healthy"));
    dir.Write("reports/b/" + Stamp(72) + ".html", Page("degraded-raid"));
    struct Case
    {
        std::vector<std::string> Options;
        int Exit;
        const char* Line;
        int LeftOut;
    } cases[] = {
        {{}, 2, "3 hosts, 1 error, 1 warning, 1 normal", 0},
        {{"--latest"}, 1, "2 hosts, 1 warning, 1 normal", 0},
        {{"--max-age", "7d"}, 1, "2 hosts, 1 warning, 1 normal", 1},
        {{"--max-age", "2d"}, 0, "1 host, 1 normal", 2},
        {{"--latest", "--max-age", "2d"}, 0, "1 host, 1 normal", 1},
        {{"--latest", "--max-age", "30m"}, 3, "0 hosts", 2},
        {{"--max-age", "11d"}, 2, "3 hosts", 0},
    };
    for (const Case& c : cases)
    {
        std::vector<std::string> args = c.Options;
        args.insert(args.end(), {"--json", "fleet.json", "reports"});
        SCOPED_TRACE(args[0] + " " + (args.size() > 4 ? args[1] : ""));
        ProgramRun run = Summary(args, dir.Path());
        EXPECT_EQ(run.exitStatus, c.Exit) << run.errors;
        EXPECT_TRUE(Has(run.output, c.Line)) << run.output;
        rapidjson::Document json;
        json.Parse(ReadFile(dir.Path() + "/fleet.json").c_str());
        ASSERT_TRUE(json.IsObject());
        EXPECT_EQ(json["totals"]["left_out_older"].GetInt(), c.LeftOut);
        for (const auto& page : json["pages"].GetArray())
        {
            EXPECT_TRUE(page["age_seconds"].IsInt64());
            EXPECT_STREQ(page["age_source"].GetString(), "file name");
        }
    }
    EXPECT_EQ(Summary({"--max-age", "7", "reports"}, dir.Path()).exitStatus, 3);
    EXPECT_EQ(Summary({"--max-age", "1w", "reports"}, dir.Path()).exitStatus, 3);
}

// A host is known by its folder; a page claiming another host's name is shown as such.
TEST(SummaryFleet, HostsAreKnownByTheirFolder)
{
    TempDir dir;
    dir.Write("reports/alpha/" + Stamp(1) + ".html", Page("healthy")); // claims alpha.example.net
    dir.Write("reports/bravo/" + Stamp(1) + ".html", Page("healthy")); // a copy of alpha's page
    dir.Write("reports/ALPHA.example.net/" + Stamp(1) + ".html", Page("healthy"));
    ProgramRun run = Summary({"--json", "fleet.json", "--html", "fleet.html", "reports"}, dir.Path());
    EXPECT_EQ(run.exitStatus, 0) << run.errors;
    EXPECT_TRUE(Has(run.output, "3 hosts")) << run.output;
    rapidjson::Document json;
    json.Parse(ReadFile(dir.Path() + "/fleet.json").c_str());
    ASSERT_TRUE(json.IsObject());
    std::map<std::string, bool> fits;
    for (const auto& page : json["pages"].GetArray())
        fits[page["collection"].GetString()] = page["name_fits_collection"].GetBool();
    EXPECT_EQ(fits,
              (std::map<std::string, bool>{{"alpha", true}, {"bravo", false}, {"ALPHA.example.net", true}}));
    std::string html = ReadFile(dir.Path() + "/fleet.html");
    EXPECT_TRUE(Has(html, ">bravo</a><span class=\"mismatch\">page claims alpha.example.net</span>")) << html;
    EXPECT_TRUE(Has(html, ">alpha</a><span class=\"detail\">alpha.example.net</span>"));
    EXPECT_TRUE(Has(html, "age 1h"));
}

// Every output that cannot be written makes the run exit 3 with a message naming it; a folder
// that is missing stops the run before any page is read, for --json and --html alike.
TEST(SummaryFleet, EachOutputFailingToBeWritten)
{
    TempDir dir;
    dir.Write("reports/a/" + Stamp(1) + ".html", Page("healthy"));
    MakeDirs(dir.Path() + "/folder.json");
    MakeDirs(dir.Path() + "/folder.html");
    dir.Write("file", "x");
    dir.Write("blocked/a", "x");
    struct Case
    {
        const char* Name;
        std::vector<std::string> Options;
        const char* Message;
        bool Summarised; // the status line was printed: the failure came at the end
    } cases[] = {
        {"export into a missing folder", {"--json", "missing/fleet.json"}, "missing does not exist", false},
        {"overview into a missing folder", {"--html", "missing/fleet.html"}, "missing does not exist", false},
        {"export onto a folder", {"--json", "folder.json"}, "folder.json", true},
        {"overview onto a folder", {"--html", "folder.html"}, "folder.html", true},
        {"copies into a file", {"--redact", "file/out"}, "file/out", false},
        {"a copy where a file blocks its folder", {"--redact", "blocked"}, "blocked/a: not a folder", true},
        {"a key that is a folder",
         {"--redact", "out", "--redaction-key", "folder.json"},
         "not a redaction key",
         false},
        {"key into a missing folder",
         {"--redact", "out", "--redaction-key", "missing/key.json"},
         "missing does not exist",
         false},
        {"key inside the copies",
         {"--redact", "out", "--redaction-key", "out/key.json"},
         "must not lie inside",
         false},
        {"copies into the pages' folder",
         {"--redact", "reports/a"},
         "must not go into a folder being summarised",
         false},
        {"copies around the pages' folder",
         {"--redact", "."},
         "must not go into a folder being summarised",
         false},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Name);
        std::vector<std::string> args = c.Options;
        args.push_back("reports");
        ProgramRun run = Summary(args, dir.Path());
        EXPECT_EQ(run.exitStatus, 3);
        EXPECT_TRUE(Has(run.errors, c.Message)) << run.errors;
        EXPECT_EQ(Has(run.output, "HOSTCAPTURE"), c.Summarised) << run.output;
    }
    EXPECT_EQ(Mode(dir.Path() + "/out"), 0u) << "no copy was made before the refusal";
}

TEST(SummaryFleet, OutputsArePrivateAndMessagesSafeForATerminal)
{
    TempDir dir;
    dir.Write("reports/a/" + Stamp(1) + ".html", Page("healthy"));
    dir.Write("reports/b/" + Stamp(1) + ".failed",
              "host: b\nreason: sudo: \x1b]0;pwned\x07\x1b[2J\x1b[Hno tty\x9b"
              "31m\n");
    dir.Write("fleet.json", "old");
    chmod((dir.Path() + "/fleet.json").c_str(), 0644);
    ProgramRun run =
        Summary({"--json", "fleet.json", "--html", "fleet.html", "--redact", "out", "reports"}, dir.Path());
    EXPECT_EQ(run.exitStatus, 3) << run.errors;
    for (const char* output : {"fleet.json", "fleet.html", "out-redaction-key.json", "out/a/"})
    {
        std::string path = dir.Path() + "/" + output;
        if (path.back() == '/')
            path += Stamp(1) + ".html";
        EXPECT_EQ(Mode(path), 0600u) << output;
    }
    EXPECT_TRUE(Has(run.errors, "collection run failed: sudo:")) << run.errors;
    for (char control : {'\x1b', '\x07'})
        EXPECT_FALSE(Has(run.errors + run.output, std::string(1, control)));
    EXPECT_FALSE(Has(run.errors, "\xc2\x9b")) << "nor a C1 control";

    ProgramRun version = Summary({"--version"}, dir.Path());
    EXPECT_EQ(version.exitStatus, 0);
    EXPECT_TRUE(Has(version.output, "hostcapture-summary 1.")) << version.output;
}

// The forms a vendor must never see, hidden in an event message of a real page: every one is
// gone from the copy and from its path, in any letter case; the key lies beside the copies and
// gives the same tokens next month; --restore puts the values back.
TEST(SummaryFleet, RedactionHoldsAcrossFormsRunsAndFileNames)
{
    TempDir dir;
    std::string page = Page("healthy");
    const std::string message = "System booted";
    ASSERT_TRUE(Has(page, message));
    const std::string forms =
        "ssh 10.1.0.11:22 from 192.168.40.7, [fd00:0:0:1::11]:22, ALPHA.EXAMPLE.NET as "
        "Alpha, nic 001b.21aa.bbcc or 001B21AABBCC or 00-1b-21-aa-bb-cc, board ym1h000001 "
        "asset 0 N/A";
    page.replace(page.find(message), message.size(), forms);
    dir.Write("reports/alpha/" + Stamp(2) + ".html", page);
    dir.Write("other/alpha/" + Stamp(2) + ".html", page); // same path below another folder
    ProgramRun run = Summary({"--redact", "vendor", "reports", "other"}, dir.Path());
    ASSERT_EQ(run.exitStatus, 0) << run.errors;
    std::string first = dir.Path() + "/vendor/host-2/" + Stamp(2) + ".html";
    std::string second = dir.Path() + "/vendor/host-2/host-2-" + Stamp(2) + ".html";
    std::string copy = ReadFile(first);
    ASSERT_FALSE(copy.empty()) << "the host folder's name is redacted too";
    EXPECT_EQ(ReadFile(second), copy) << "a second copy of the same name is kept beside the first";
    const char* gone[] = {"10.1.0.11",      "192.168.40.7", "fd00:0:0:1::11",    "alpha",
                          "001b.21aa.bbcc", "001b21aabbcc", "00-1b-21-aa-bb-cc", "ym1h000001",
                          "bs1001-00001"};
    for (const char* value : gone)
        EXPECT_FALSE(Has(Lower(copy), value)) << value;
    EXPECT_TRUE(Has(copy, "ssh ip-")) << "the port stays";
    EXPECT_TRUE(Has(copy, "asset 0 N/A")) << "values that identify nothing stay";
    EXPECT_TRUE(Has(copy, ">7.14.0.5<")) << "a RAID manager's version is no address";
    std::string keyPath = dir.Path() + "/vendor-redaction-key.json";
    EXPECT_EQ(Mode(keyPath), 0600u);

    // Next month: the same key, the same tokens, nothing overwritten.
    std::string key = ReadFile(keyPath);
    dir.Write("reports/alpha/" + Stamp(1) + ".html", page);
    ProgramRun again =
        Summary({"--latest", "--redact", "vendor2", "--redaction-key", keyPath, "reports"}, dir.Path());
    ASSERT_EQ(again.exitStatus, 0) << again.errors;
    EXPECT_EQ(ReadFile(dir.Path() + "/vendor2/host-2/" + Stamp(1) + ".html"), copy);
    EXPECT_EQ(ReadFile(keyPath), key) << "no value was new";

    // What comes back from the vendor gets its values again.
    ProgramRun restored = Summary({"--redaction-key", keyPath, "--restore", first}, dir.Path());
    EXPECT_EQ(restored.exitStatus, 0) << restored.errors;
    EXPECT_TRUE(Has(restored.output, "alpha.example.net as alpha,")) << "the spelling first seen comes back";
    EXPECT_TRUE(Has(restored.output, "ssh 10.1.0.11:22 from 192.168.40.7"));
    EXPECT_TRUE(Has(restored.output, "<div class=\"value\">YM1H000001</div>"));
}

// A folder that is not there is one unreadable host, whichever output is asked for.
TEST(SummaryFleet, AMissingFolderIsTheSameForEveryOutput)
{
    TempDir dir;
    for (const std::vector<std::string>& output :
         {std::vector<std::string>{"--json", "fleet.json"}, std::vector<std::string>{"--html", "fleet.html"},
          std::vector<std::string>{"--redact", "out"}, std::vector<std::string>{"--metrics", "fleet.prom"}})
    {
        SCOPED_TRACE(output[0]);
        std::vector<std::string> args = output;
        args.push_back("nosuch/");
        ProgramRun run = Summary(args, dir.Path());
        EXPECT_EQ(run.exitStatus, 3);
        EXPECT_TRUE(Has(run.output, "1 host, 1 unreadable")) << run.output;
        EXPECT_TRUE(Has(run.errors, "nosuch/: cannot be opened")) << run.errors;
    }
}
