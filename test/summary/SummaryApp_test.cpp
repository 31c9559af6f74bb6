#include "GeneratedPages.h"

#include <rapidjson/document.h>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace
{
using GeneratedPages::Summary;

// A folder of hosts, one subfolder each, holding copies of generated pages.
std::string Fleet(const TempDir& dir, const std::vector<std::pair<std::string, std::string>>& hosts)
{
    for (const auto& host : hosts)
    {
        std::string bytes = host.second.compare(0, 5, "page:") == 0
                                ? ReadFile(GeneratedPages::Page(host.second.substr(5)))
                                : host.second;
        dir.Write("fleet/" + host.first + "/20260101T000000Z.html", bytes);
    }
    return dir.Path() + "/fleet";
}

} // namespace

TEST(SummaryApp, ExitStatusIsThatOfTheWorstHost)
{
    struct Case
    {
        const char* Name;
        std::vector<std::pair<std::string, std::string>> Hosts;
        int Exit;
        const char* Line;
    };
    const Case cases[] = {
        {"all normal",
         {{"a", "page:healthy"}, {"b", "page:healthy"}},
         0,
         "HOSTCAPTURE OK: 2 hosts, 2 normal |"},
        {"a warning",
         {{"a", "page:healthy"}, {"b", "page:degraded-raid"}},
         1,
         "HOSTCAPTURE WARNING: 2 hosts, 1 warning, 1 normal |"},
        {"an error beats a warning",
         {{"a", "page:degraded-raid"}, {"b", "page:failed-psu"}},
         2,
         "1 error, 1 warning"},
        {"unreadable beats a warning",
         {{"a", "page:degraded-raid"}, {"b", "<!DOCTYPE html>"}},
         3,
         "1 unreadable"},
        {"an error beats unreadable",
         {{"a", "page:failed-psu"}, {"b", "<!DOCTYPE html>"}},
         2,
         "HOSTCAPTURE CRITICAL: 2 hosts, 1 error, 1 unreadable |"},
        {"no daemon is unknown", {{"a", "page:healthy"}, {"b", "page:no-daemon"}}, 3, "1 unknown, 1 normal"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Name);
        TempDir dir;
        ProgramRun run = Summary({Fleet(dir, c.Hosts)}, dir.Path());
        EXPECT_EQ(run.exitStatus, c.Exit) << run.errors;
        EXPECT_NE(run.output.find(c.Line), std::string::npos) << run.output;
    }
    TempDir dir;
    EXPECT_EQ(Summary({"--frobnicate", dir.Path()}, dir.Path()).exitStatus, 3);
    EXPECT_EQ(Summary({}, dir.Path()).exitStatus, 3);
}

TEST(SummaryApp, JsonExportFollowsTheSchemaAndNamesUnreadablePages)
{
    TempDir dir;
    std::string fleet = Fleet(dir, {{"a", "page:healthy"},
                                    {"b", "page:degraded-raid"},
                                    {"c", "page:failed-psu"},
                                    {"d", ReadFile(GeneratedPages::Page("healthy")).substr(0, 5000)}});
    dir.Write("fleet/e/20260101T000000Z.failed", "host: echo\nreason: unreachable\n");
    ProgramRun run = Summary({"--json", "-", fleet}, dir.Path());
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_NE(run.errors.find("fleet/d/20260101T000000Z.html: cut off"), std::string::npos) << run.errors;

    rapidjson::Document json;
    json.Parse(run.output.c_str());
    ASSERT_FALSE(json.HasParseError()) << run.output.substr(0, 500);
    EXPECT_EQ(GeneratedPages::SchemaFailure(json), "");
    const auto& pages = json["pages"];
    ASSERT_EQ(pages.Size(), 5u);
    EXPECT_STREQ(pages[1]["host"]["host_name"].GetString(), "bravo.example.net");
    EXPECT_STREQ(pages[1]["worst_status"].GetString(), "warning");
    EXPECT_STREQ(pages[2]["worst_status"].GetString(), "error");
    EXPECT_FALSE(pages[3]["readable"].GetBool());
    EXPECT_STREQ(pages[4]["host"]["host_name"].GetString(), "echo");
    EXPECT_STREQ(pages[4]["problem"].GetString(), "collection run failed: unreachable");
    EXPECT_EQ(pages[0]["event_log"].Size(), 3u);
    EXPECT_STREQ(pages[0]["event_log"][0]["message"].GetString(), "System booted");

    const auto& totals = json["totals"];
    EXPECT_EQ(totals["hosts"].GetInt(), 5);
    EXPECT_EQ(totals["hosts_per_worst_status"]["normal"].GetInt(), 1);
    EXPECT_EQ(totals["hosts_per_worst_status"]["warning"].GetInt(), 1);
    EXPECT_EQ(totals["hosts_per_worst_status"]["error"].GetInt(), 1);
    EXPECT_EQ(totals["hosts_per_worst_status"]["unreadable"].GetInt(), 2);
    ASSERT_EQ(totals["failing_members"].Size(), 2u);
    EXPECT_STREQ(totals["failing_members"][0]["kind"].GetString(), "Power Supply Units");
    EXPECT_EQ(totals["failing_members"][0]["error"].GetInt(), 1);
    EXPECT_STREQ(totals["failing_members"][1]["kind"].GetString(), "RAID Physical Drives");
    EXPECT_EQ(totals["failing_members"][1]["warning"].GetInt(), 1);
    EXPECT_EQ(json["exit_status"].GetInt(), 2);

    // The schema is strict enough to catch a renamed key.
    json["totals"]["hosts_per_worst_status"].RemoveMember("unreadable");
    EXPECT_NE(GeneratedPages::SchemaFailure(json), "");
}

TEST(SummaryApp, OverviewListsWorstHostsFirstAndSaysWhatFails)
{
    TempDir dir;
    std::string hostile = ReadFile(GeneratedPages::Page("healthy"));
    const std::string name = "alpha.example.net";
    hostile.replace(hostile.find(name), name.size(), "&lt;script&gt;alert(1)&lt;/script&gt;");
    std::string fleet = Fleet(dir, {{"a", "page:healthy"},
                                    {"b", "page:degraded-raid"},
                                    {"c", "page:failed-psu"},
                                    {"d d", hostile},
                                    {"e", "<!DOCTYPE html>"}});
    ProgramRun run = Summary({"--html", dir.File("out/fleet.html"), fleet}, dir.Path());
    EXPECT_EQ(run.exitStatus, 2) << run.errors;
    std::string html = ReadFile(dir.Path() + "/out/fleet.html");
    // Rows are named by the host's folder; the name the page claims stands beside it.
    size_t charlie = html.find(">c</a><span class=\"mismatch\">page claims charlie.example.net<");
    size_t unreadable = html.find(">e</a>");
    size_t bravo = html.find(">b</a>");
    size_t alpha = html.find(">a</a>");
    ASSERT_NE(alpha, std::string::npos);
    EXPECT_LT(charlie, unreadable);
    EXPECT_LT(unreadable, bravo);
    EXPECT_LT(bravo, alpha);
    EXPECT_NE(html.find("Power Supply Units: 1 of 2, Present and failed (PSU2)"), std::string::npos);
    EXPECT_NE(html.find("RAID Physical Drives: 1 of 2, Operational - S.M.A.R.T. Failure"), std::string::npos);
    EXPECT_NE(html.find("href=\"../fleet/c/20260101T000000Z.html\""), std::string::npos);
    EXPECT_NE(html.find("href=\"../fleet/d%20d/20260101T000000Z.html\""), std::string::npos);
    EXPECT_NE(html.find("Error: 1"), std::string::npos);
    EXPECT_NE(html.find("@media print"), std::string::npos);
    EXPECT_EQ(html.find("<script"), std::string::npos) << "a host name from a page must stay text";
    EXPECT_NE(html.find("&lt;script&gt;alert(1)"), std::string::npos);

    // An overview written into the folder it summarises is no host the next time round.
    for (int round = 0; round < 2; ++round)
    {
        ProgramRun inside = Summary({"--html", fleet + "/fleet.html", fleet}, dir.Path());
        EXPECT_NE(inside.output.find(": 5 hosts"), std::string::npos) << inside.output;
    }
}

TEST(SummaryApp, RedactionReplacesIdentifiersByStableTokensAndKeepsAllElse)
{
    TempDir dir;
    // Hosts a and b carry the same serial number of the system board; c is another server.
    std::string fleet =
        Fleet(dir, {{"a", "page:healthy"}, {"b", "page:degraded-raid"}, {"c", "page:failed-psu"}});
    std::string out = dir.Path() + "/redacted";
    ProgramRun run = Summary({"--redact", out, fleet}, dir.Path());
    ASSERT_EQ(run.exitStatus, 2) << run.errors;

    std::string keyPath = dir.Path() + "/redacted-redaction-key.json";
    struct stat st;
    ASSERT_EQ(stat(keyPath.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    rapidjson::Document key;
    key.Parse(ReadFile(keyPath).c_str());
    ASSERT_TRUE(key.IsObject() && key.HasMember("tokens"));

    const char* secrets[] = {"YM1H000001",        "YM1H000002", "BS1001-00001", "alpha.example.net",
                             "bravo.example.net", "10.1.0.11",  "10.1.0.12",    "fd00:0:0:1::11"};
    for (const char* host : {"a", "b", "c"})
    {
        SCOPED_TRACE(host);
        std::string original = ReadFile(fleet + "/" + host + "/20260101T000000Z.html");
        std::string redacted = ReadFile(out + "/" + host + "/20260101T000000Z.html");
        ASSERT_FALSE(redacted.empty());
        for (const char* secret : secrets)
            EXPECT_EQ(redacted.find(secret), std::string::npos) << secret;
        EXPECT_NE(redacted.find(">serial-"), std::string::npos);
        EXPECT_EQ(redacted.find("(mac-1)") != std::string::npos, std::string(host) == "a");
        // Putting every value back where its token stands gives the original byte for byte.
        std::string restored = redacted;
        for (const auto& token : key["tokens"].GetArray())
        {
            // Values stand alone in their cell, except a MAC address inside an event message.
            bool mac = std::string(token["kind"].GetString()) == "mac";
            std::string name =
                mac ? token["token"].GetString() : std::string(">") + token["token"].GetString() + "<";
            std::string value =
                mac ? token["value"].GetString() : std::string(">") + token["value"].GetString() + "<";
            for (size_t at = restored.find(name); at != std::string::npos; at = restored.find(name, at))
                restored.replace(at, name.size(), value);
        }
        EXPECT_EQ(restored, original);
    }
    // The same value got the same token on every page.
    std::string board = "BS1001-00001";
    int boardTokens = 0;
    for (const auto& token : key["tokens"].GetArray())
        boardTokens += board == token["value"].GetString();
    EXPECT_EQ(boardTokens, 1);
}
