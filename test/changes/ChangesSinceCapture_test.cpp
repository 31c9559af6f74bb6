#include "GeneratedPages.h"

#include <rapidjson/document.h>

#include <gtest/gtest.h>

#include <set>
#include <sys/stat.h>

// The profiles changes-before and changes-after (written by tools/qmxd-sim/make_profile.py) differ
// in exactly these ways: the first drive of adapter 0 fails, a second power supply unit comes
// back, memory module DIMM-1C disappears, the BIOS version changes, CPU1 is 12 degrees warmer and
// the event log has 20 more records (5 critical, 3 major, 6 minor, 6 informational).
namespace
{
using GeneratedPages::Summary;

std::string Before()
{
    return GeneratedPages::Page("changes-before");
}

std::string After()
{
    return GeneratedPages::Page("changes-after");
}

// A second capture of a profile, run separately from the one GeneratedPages keeps.
std::string Recapture(const std::string& profile, const TempDir& dir)
{
    return GeneratedPages::Capture(GeneratedPages::TestProfile(profile),
                                   dir.File("again/" + profile + ".html"), dir.Path());
}

rapidjson::Document Json(const std::string& text)
{
    rapidjson::Document json;
    json.Parse(text.c_str());
    EXPECT_FALSE(json.HasParseError()) << text.substr(0, 300);
    return json;
}

// Every change as "kind | where | what | before | after".
std::multiset<std::string> Items(const rapidjson::Value& changes)
{
    std::multiset<std::string> items;
    for (const auto& c : changes["items"].GetArray())
        items.insert(std::string(c["kind"].GetString()) + " | " + c["where"].GetString() + " | " +
                     c["what"].GetString() + " | " + c["before"].GetString() + " | " +
                     c["after"].GetString());
    return items;
}

std::map<std::string, int> Severities(const rapidjson::Value& changes)
{
    std::map<std::string, int> counts;
    for (const auto& s : changes["new_events_by_severity"].GetObject())
        counts[s.name.GetString()] = s.value.GetInt();
    return counts;
}

const char kOldBios[] = "V5.0.0.14 R1.22.0 for D3893-B1x";
const char kNewBios[] = "V5.0.0.16 R1.23.0 for D3893-B1x";

std::string RemoveRowWith(std::string page, const std::string& cell)
{
    size_t at = page.find(cell);
    size_t start = page.rfind("<tr>", at), end = page.find("</tr>", at);
    EXPECT_TRUE(at != std::string::npos && start != std::string::npos && end != std::string::npos) << cell;
    return at == std::string::npos ? page : page.erase(start, end + 5 - start);
}
} // namespace

TEST(ChangesSinceCapture, EveryKnownChangeIsFoundAndNothingElseInBothOrders)
{
    TempDir dir;
    const std::multiset<std::string> forward = {
        "section_worse | Mass Storage / RAID Physical Drives | status | warning | error",
        "member_worse | Mass Storage / RAID Physical Drives | SAS HDD 1.2TB 10K (0), Adapter ID 0 | "
        "Operational (normal) | Failed (error)",
        "member_appeared | Power Supply / Power Supply Units | PSU2 |  | OK (normal)",
        "member_disappeared | System Board / Memory Modules | DIMM-1C | OK (normal) | ",
        std::string("identity | System Board | BIOS Version | ") + kOldBios + " | " + kNewBios,
        "value_moved | Environment / Temperature | CPU1, Temperature (°C) | 52 | 64",
    };
    const std::multiset<std::string> backward = {
        "section_better | Mass Storage / RAID Physical Drives | status | error | warning",
        "member_better | Mass Storage / RAID Physical Drives | SAS HDD 1.2TB 10K (0), Adapter ID 0 | "
        "Failed (error) | Operational (normal)",
        "member_disappeared | Power Supply / Power Supply Units | PSU2 | OK (normal) | ",
        "member_appeared | System Board / Memory Modules | DIMM-1C |  | OK (normal)",
        std::string("identity | System Board | BIOS Version | ") + kNewBios + " | " + kOldBios,
        "value_moved | Environment / Temperature | CPU1, Temperature (°C) | 64 | 52",
    };
    struct Case
    {
        const char* Name;
        std::string Older, Newer;
        const std::multiset<std::string>& Expected;
        std::map<std::string, int> Events;
    };
    const Case cases[] = {
        {"before to after",
         Before(),
         After(),
         forward,
         {{"Critical", 5}, {"Major", 3}, {"Minor", 6}, {"Info", 6}}},
        {"after to before", After(), Before(), backward, {}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Name);
        ProgramRun run = Summary({"--compare", c.Older, c.Newer, "--json", "-"}, dir.Path());
        EXPECT_EQ(run.exitStatus, 1) << run.errors;
        rapidjson::Document json = Json(run.output);
        ASSERT_TRUE(json.IsObject() && json.HasMember("changes"));
        const rapidjson::Value& changes = json["changes"];
        EXPECT_TRUE(changes["compared"].GetBool());
        EXPECT_FALSE(changes["other_host"].GetBool());
        EXPECT_EQ(Items(changes), c.Expected);
        EXPECT_EQ(Severities(changes), c.Events);
        int total = 0;
        for (const auto& count : c.Events)
            total += count.second;
        EXPECT_EQ(changes["new_events"].Size(), static_cast<unsigned>(total));
    }

    // The terminal text: worst first, the events placed by their worst severity, each entry listed.
    ProgramRun text = Summary({"--compare", Before(), After()}, dir.Path());
    EXPECT_EQ(text.exitStatus, 1);
    size_t worse =
        text.output.find("worse     Mass Storage / RAID Physical Drives: status: warning -> error");
    size_t events =
        text.output.find("events    20 new event-log entries: 5 Critical, 3 Major, 6 Minor, 6 Info");
    size_t gone = text.output.find("gone      System Board / Memory Modules: DIMM-1C (was OK (normal))");
    size_t appeared = text.output.find("new       Power Supply / Power Supply Units: PSU2: OK (normal)");
    ASSERT_NE(appeared, std::string::npos) << text.output;
    EXPECT_LT(worse, events);
    EXPECT_LT(events, gone);
    EXPECT_LT(gone, appeared);
    EXPECT_NE(text.output.find("6 changes and 20 new event-log entries since "), std::string::npos);
    EXPECT_NE(text.output.find("<no date/no time>   Temperature 'CPU2' exceeded critical level"),
              std::string::npos);
}

TEST(ChangesSinceCapture, IdenticalCapturesAndAnotherServer)
{
    TempDir dir;
    ProgramRun same = Summary({"--compare", Before(), Recapture("changes-before", dir)}, dir.Path());
    EXPECT_EQ(same.exitStatus, 0) << same.output << same.errors;
    EXPECT_NE(same.output.find("no change since "), std::string::npos) << same.output;

    ProgramRun sameJson =
        Summary({"--compare", After(), Recapture("changes-after", dir), "--json", "-"}, dir.Path());
    EXPECT_EQ(sameJson.exitStatus, 0);
    rapidjson::Document json = Json(sameJson.output);
    EXPECT_EQ(json["changes"]["items"].Size(), 0u);
    EXPECT_EQ(json["changes"]["new_events"].Size(), 0u);

    // The healthy profile is another server (serial YM1H000001): no list of differences.
    ProgramRun other = Summary({"--compare", GeneratedPages::Page("healthy"), After()}, dir.Path());
    EXPECT_EQ(other.exitStatus, 1);
    EXPECT_NE(other.output.find("another server: serial number YM4K002137"), std::string::npos)
        << other.output;
    EXPECT_NE(other.output.find("has YM1H000001; not compared"), std::string::npos);
    EXPECT_EQ(other.output.find("BIOS"), std::string::npos) << other.output;

    TempDir empty;
    ProgramRun unreadable = Summary({"--compare", empty.Write("x.html", "not a page"), After()}, dir.Path());
    EXPECT_EQ(unreadable.exitStatus, 3);
    EXPECT_NE(unreadable.errors.find("x.html"), std::string::npos);
}

TEST(ChangesSinceCapture, FolderSummaryComparesEachHostWithItsCaptureBefore)
{
    TempDir dir;
    std::string before = ReadFile(Before()), after = ReadFile(After());
    dir.Write("fleet/a/20261124T060000Z.html", before);
    dir.Write("fleet/a/20261125T060000Z.html", after);
    dir.Write("fleet/b/20261124T060000Z.html", before);
    dir.Write("fleet/b/20261125T060000Z.html", before);
    dir.Write("fleet/c/20261124T060000Z.html", ReadFile(GeneratedPages::Page("healthy")));
    dir.Write("fleet/c/20261125T060000Z.html", before);
    dir.Write("fleet/d/20261125T060000Z.html", after);
    // A failed run in between: the newest page is compared with the last whole one.
    dir.Write("fleet/e/20261123T060000Z.html", before);
    dir.Write("fleet/e/20261124T060000Z.failed", "host: e\nreason: unreachable\n");
    dir.Write("fleet/e/20261125T060000Z.html", after);
    // A cut newest page is not compared: what it could not ask would look gone.
    dir.Write("fleet/f/20261124T060000Z.html", before);
    dir.Write("fleet/f/20261125T060000Z-cut.html", after);
    std::string out = dir.Path() + "/out";
    MakeDirs(out);

    for (bool latest : {true, false})
    {
        SCOPED_TRACE(latest ? "--latest" : "every page");
        std::vector<std::string> args = {
            "--metrics",         out + "/fleet.prom",  "--json", out + "/fleet.json", "--html",
            out + "/fleet.html", dir.Path() + "/fleet"};
        if (latest)
            args.insert(args.begin(), "--latest");
        ProgramRun run = Summary(args, dir.Path());
        EXPECT_EQ(run.exitStatus, 2) << run.errors;
        rapidjson::Document json = Json(ReadFile(out + "/fleet.json"));
        ASSERT_TRUE(json.IsObject());
        std::map<std::string, const rapidjson::Value*> newest;
        for (const auto& page : json["pages"].GetArray())
            newest[std::string(page["file"].GetString()).substr(dir.Path().size() + 7, 1)] = &page["changes"];
        ASSERT_EQ(newest.size(), 6u);
        EXPECT_EQ(Items(*newest["a"]).size(), 6u);
        EXPECT_EQ((*newest["a"])["new_events"].Size(), 20u);
        EXPECT_TRUE((*newest["b"])["compared"].GetBool());
        EXPECT_EQ(Items(*newest["b"]).size(), 0u);
        EXPECT_TRUE((*newest["c"])["other_host"].GetBool());
        EXPECT_FALSE((*newest["d"])["compared"].GetBool());
        EXPECT_EQ(Items(*newest["e"]).size(), 6u);
        EXPECT_NE(std::string((*newest["e"])["older_file"].GetString()).find("e/20261123T060000Z.html"),
                  std::string::npos);
        EXPECT_FALSE((*newest["f"])["compared"].GetBool());
        const auto& totals = json["totals"]["changes"];
        EXPECT_EQ(totals["hosts_changed"].GetInt(), 2);
        EXPECT_EQ(totals["other_hosts"].GetInt(), 1);
        EXPECT_EQ(totals["by_kind"]["member_worse"].GetInt(), 2);
        EXPECT_EQ(totals["new_events_by_severity"]["Critical"].GetInt(), 10);

        EXPECT_EQ(GeneratedPages::SchemaFailure(json), "");

        // The metrics carry the counts of the newest page of each host.
        std::string metrics = ReadFile(out + "/fleet.prom");
        for (const char* line :
             {"hostcapture_changes{host=\"a\",kind=\"member_worse\"} 1\n",
              "hostcapture_changes{host=\"a\",kind=\"value_moved\"} 1\n",
              "hostcapture_changes{host=\"b\",kind=\"member_worse\"} 0\n",
              "hostcapture_changes_new_event_log_entries{host=\"a\",severity=\"critical\"} 5\n",
              "hostcapture_changes_new_event_log_entries{host=\"a\",severity=\"info\"} 6\n",
              "hostcapture_changes_worse{host=\"a\"} 1\n", "hostcapture_changes_worse{host=\"b\"} 0\n",
              "hostcapture_changes_other_host{host=\"c\"} 1\n",
              "hostcapture_changes_compared{host=\"d\"} 0\n", "hostcapture_changes_compared{host=\"f\"} 0\n"})
            EXPECT_NE(metrics.find(line), std::string::npos) << line;
        EXPECT_EQ(metrics.find("hostcapture_changes{host=\"c\""), std::string::npos);
        // The overview's column, worst change first, with a link to a private change page.
        std::string html = ReadFile(out + "/fleet.html");
        EXPECT_NE(html.find("<th>Changed since 2026-"), std::string::npos);
        size_t cell =
            html.find("<b>worse</b> Mass Storage / RAID Physical Drives: status: warning -&gt; error");
        size_t events = html.find("<b>events</b> 20 new event-log entries");
        EXPECT_LT(cell, events);
        EXPECT_NE(events, std::string::npos);
        EXPECT_NE(html.find("Another server"), std::string::npos);
        EXPECT_NE(html.find("href=\"fleet-changes/a_20261125T060000Z.html\""), std::string::npos);
        struct stat st;
        ASSERT_EQ(stat((out + "/fleet-changes/a_20261125T060000Z.html").c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0600u);
        std::string page = ReadFile(out + "/fleet-changes/a_20261125T060000Z.html");
        EXPECT_NE(page.find("Uncorrectable memory error on 'DIMM-2B'"), std::string::npos)
            << page.substr(0, 300);
        EXPECT_NE(page.find("href=\"../../fleet/a/20261124T060000Z.html\""), std::string::npos);
    }
    // Pages named on the command line have no folder history: they are not compared.
    ProgramRun named = Summary({"--json", "-", dir.Path() + "/fleet/a/20261124T060000Z.html",
                                dir.Path() + "/fleet/a/20261125T060000Z.html"},
                               dir.Path());
    rapidjson::Document namedJson = Json(named.output);
    ASSERT_TRUE(namedJson.IsObject());
    for (const auto& page : namedJson["pages"].GetArray())
        EXPECT_FALSE(page["changes"]["compared"].GetBool());
    // The change pages, written into the folder being summarised, are no hosts next time.
    std::string inside = dir.Path() + "/fleet/fleet.html";
    for (int round = 0; round < 2; ++round)
    {
        ProgramRun run = Summary({"--latest", "--html", inside, dir.Path() + "/fleet"}, dir.Path());
        EXPECT_NE(run.output.find(": 6 hosts, "), std::string::npos) << run.output;
    }
}

TEST(ChangesSinceCapture, WarnOptionsRaiseAQuietFleetOnNews)
{
    std::string healthy = ReadFile(GeneratedPages::Page("healthy"));
    std::string fewerEvents = RemoveRowWith(healthy, "Link up on port 1");
    std::string withoutPsu = RemoveRowWith(healthy, "<td>PSU2</td>");
    struct Case
    {
        const char* Name;
        std::string Older, Newer;
        std::vector<std::string> Options;
        int Exit;
    };
    const Case cases[] = {
        {"news without the options", fewerEvents, healthy, {}, 0},
        {"a new entry, --new-events-warn", fewerEvents, healthy, {"--new-events-warn"}, 1},
        {"a new entry, --changes-warn", fewerEvents, healthy, {"--changes-warn"}, 0},
        {"a member gone, --changes-warn", healthy, withoutPsu, {"--changes-warn"}, 1},
        {"a member gone, --new-events-warn", healthy, withoutPsu, {"--new-events-warn"}, 0},
        {"a member back, --changes-warn", withoutPsu, healthy, {"--changes-warn"}, 0},
        {"nothing new, both", healthy, healthy, {"--changes-warn", "--new-events-warn"}, 0},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Name);
        TempDir dir;
        dir.Write("fleet/a/1.html", c.Older);
        dir.Write("fleet/a/2.html", c.Newer);
        std::vector<std::string> args = c.Options;
        args.insert(args.end(), {"--latest", dir.Path() + "/fleet"});
        ProgramRun run = Summary(args, dir.Path());
        EXPECT_EQ(run.exitStatus, c.Exit) << run.output << run.errors;
        EXPECT_EQ(run.output.compare(0, 20, c.Exit ? "HOSTCAPTURE WARNING:" : "HOSTCAPTURE OK: 1 ho"), 0)
            << run.output;
    }
    // A failing fleet keeps its own, higher exit.
    TempDir dir;
    dir.Write("fleet/a/1.html", ReadFile(Before()));
    dir.Write("fleet/a/2.html", ReadFile(After()));
    EXPECT_EQ(Summary({"--latest", "--new-events-warn", dir.Path() + "/fleet"}, dir.Path()).exitStatus, 2);
}

TEST(ChangesSinceCapture, TerminalTextCarriesNoControlCharacters)
{
    // The HTML parser already drops C0 controls; a line feed and a C1 control (U+009B, the
    // single-byte CSI of some terminals) come through and must not reach the terminal.
    TempDir dir;
    std::string healthy = ReadFile(GeneratedPages::Page("healthy"));
    std::string hostile = healthy;
    hostile.replace(hostile.find("<td>PSU2</td>"), 13,
                    "<td>PSU2\xc2\x9b"
                    "2J\n  worse     forged</td>");
    ProgramRun run =
        Summary({"--compare", dir.Write("old.html", healthy), dir.Write("new.html", hostile)}, dir.Path());
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_NE(run.output.find("new       Power Supply / Power Supply Units: PSU2"), std::string::npos)
        << run.output;
    EXPECT_NE(run.output.find("forged"), std::string::npos);
    EXPECT_EQ(run.output.find("\n  worse     forged"), std::string::npos) << run.output;
    EXPECT_EQ(run.output.find("\xc2\x9b"), std::string::npos);
}
