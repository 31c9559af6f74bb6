// The metrics file that hostcapture-summary writes for pages HostCapture wrote from known
// profiles, compared with what the pages show.
#include "GeneratedPages.h"
#include "HostStatus.h"
#include "MemberNames.h"
#include "MetricsHost.h"
#include "MetricsWriter.h"
#include "PageMetrics.h"
#include "PageReader.h"
#include "SummaryTestPages.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

namespace
{
using SummaryTestPages::Series;

std::string Demo()
{
    static const std::string page = GeneratedPages::Capture(SimProcess::ShippedProfile("demo.json"),
                                                            GeneratedPages::Folder().File("pages/demo.html"),
                                                            GeneratedPages::Folder().Path());
    return page;
}

std::string MetricsOf(const std::vector<std::string>& inputs)
{
    TempDir out;
    std::vector<std::string> args = {"--quiet", "--metrics", out.Path() + "/hostcapture.prom"};
    args.insert(args.end(), inputs.begin(), inputs.end());
    ProgramRun run = RunProgram(HOSTCAPTURE_SUMMARY_EXECUTABLE, args, out.Path());
    EXPECT_NE(run.exitStatus, -1) << run.errors;
    return ReadFile(out.Path() + "/hostcapture.prom");
}

std::string Key(const std::string& family, const std::vector<std::pair<std::string, std::string>>& labels)
{
    std::string key = family + "{";
    for (size_t i = 0; i < labels.size(); ++i)
        key += (i ? "," : "") + labels[i].first + "=" + MetricsWriter::QuoteLabel(labels[i].second);
    return key + "}";
}

// The value a page's status must give, as text: the exporters' convention.
std::string StateText(ReportStatus status)
{
    switch (status)
    {
    case StatusNormal:
        return "0";
    case StatusWarning:
        return "1";
    case StatusError:
    case StatusMajor:
        return "2";
    case StatusUnknown:
        return "NaN";
    default:
        return "";
    }
}

// Every health section, member and reading the page shows must have its series with the value
// the page shows, and the state and reading families hold nothing else.
void ExpectPageInMetrics(const std::string& file, const std::map<std::string, std::string>& series,
                         bool withMembers)
{
    const struct
    {
        const char* Heading;
        const char* Family;
        double Scale;
    } readings[] = {
        {"RPM", "hostcapture_fan_speed_rpm", 1},
        {"Temperature (\xC2\xB0"
         "C)",
         "hostcapture_temperature_celsius", 1},
        {"Nominal Power (W)", "hostcapture_power_supply_nominal_watts", 1},
        {"Current Power (W)", "hostcapture_power_supply_watts", 1},
        {"Current (V)", "hostcapture_voltage_volts", 1},
        {"Minimum (V)", "hostcapture_voltage_minimum_volts", 1},
        {"Maximum (V)", "hostcapture_voltage_maximum_volts", 1},
        {"Size (GByte)", "hostcapture_size_bytes", 1073741824.0},
        {"Current Frequency (GHz)", "hostcapture_processor_frequency_hertz", 1e9},
    };
    HostPage page;
    ASSERT_TRUE(PageReader::ReadFile(file, page)) << page.Problem;
    const std::string host = MetricsHost::Of({file, file.substr(file.rfind('/') + 1)}, page);
    std::map<std::string, size_t> expectedPerFamily;
    auto expect = [&](const std::string& family, const std::string& key, const std::string& value)
    {
        ++expectedPerFamily[family];
        auto found = series.find(key);
        ASSERT_NE(found, series.end()) << key;
        if (value == "NaN" || found->second == "NaN")
            EXPECT_EQ(found->second, value) << key;
        else
            EXPECT_DOUBLE_EQ(std::stod(found->second), std::stod(value)) << key;
    };
    size_t members = 0, values = 0;
    for (const PageSection& section : page.Sections)
    {
        if (section.Block != HostStatusRules::kHealthBlock)
            continue;
        std::string state = StateText(section.Status);
        if (!state.empty() && section.Level == 1)
            expect("hostcapture_group_state",
                   Key("hostcapture_group_state", {{"host", host}, {"group", section.Group}}), state);
        else if (!state.empty())
            expect("hostcapture_section_state",
                   Key("hostcapture_section_state",
                       {{"host", host}, {"group", section.Group}, {"section", section.Title}}),
                   state);
        if (section.Title == HostStatusRules::kEventLogTitle)
            continue;
        std::set<std::string> names;
        for (const PageTable& table : section.Tables)
        {
            std::vector<std::string> memberNames = MemberNames::Of(table, names);
            for (size_t r = 0; r < table.Rows.size(); ++r)
            {
                const PageRow& row = table.Rows[r];
                std::string rowState = StateText(row.Status);
                if (!rowState.empty())
                {
                    ++members;
                    expect("hostcapture_member_state",
                           Key("hostcapture_member_state", {{"host", host},
                                                            {"group", section.Group},
                                                            {"section", section.Title},
                                                            {"member", memberNames[r]}}),
                           rowState);
                }
                for (size_t c = 0; c < row.Cells.size() && c + 1 < table.Headings.size(); ++c)
                    for (const auto& reading : readings)
                        if (table.Headings[c + 1] == reading.Heading && row.Cells[c] != "N/A" &&
                            row.Cells[c] != " ")
                        {
                            ++values;
                            char value[64];
                            snprintf(value, sizeof value, "%.0f", std::stod(row.Cells[c]) * reading.Scale);
                            expect(
                                reading.Family,
                                Key(reading.Family,
                                    {{"host", host}, {"section", section.Title}, {"member", memberNames[r]}}),
                                reading.Scale == 1 ? row.Cells[c] : value);
                        }
            }
        }
    }
    for (const auto& family : expectedPerFamily)
    {
        size_t inFile = 0;
        for (const auto& s : series)
            inFile += s.first.compare(0, family.first.size() + 1, family.first + "{") == 0;
        EXPECT_EQ(inFile, family.second) << family.first << ": series the page does not show";
    }
    EXPECT_EQ(members > 0 && values > 0, withMembers) << members << " members, " << values << " readings";
}
} // namespace

TEST(SummaryMetrics, EverySectionMemberAndReadingOfThePageHasItsSeries)
{
    const std::string pages[] = {Demo(),
                                 std::string(HOSTCAPTURE_SOURCE_DIR) + "/testdata/golden/report.html",
                                 GeneratedPages::Page("healthy"),
                                 GeneratedPages::Page("failed-psu"),
                                 GeneratedPages::Page("degraded-raid"),
                                 GeneratedPages::Page("no-daemon")};
    for (const std::string& page : pages)
    {
        SCOPED_TRACE(page);
        ExpectPageInMetrics(page, Series(MetricsOf({page})), page.find("no-daemon") == std::string::npos);
    }
}

// Readings the page shows in other units, and what only the metrics count; every other value is
// the page's own, which the test above compares.
TEST(SummaryMetrics, DemoServerValuesInBaseUnits)
{
    auto series = Series(MetricsOf({Demo()}));
    const std::string host = "host=\"rack07-node3.example.net\",";
    const std::pair<std::string, std::string> cases[] = {
        {"hostcapture_page_readable{host=\"rack07-node3.example.net\"}", "1"},
        {"hostcapture_size_bytes{" + host + "section=\"Memory Modules\",member=\"DIMM-1A\"}", "34359738368"},
        {"hostcapture_processor_frequency_hertz{" + host + "section=\"System Processors\",member=\"CPU1\"}",
         "2900000000"},
        {"hostcapture_event_log_entries{" + host + "severity=\"critical\"}", "60"},
    };
    for (const auto& c : cases)
    {
        auto found = series.find(c.first);
        ASSERT_NE(found, series.end()) << c.first;
        EXPECT_EQ(found->second, c.second) << c.first;
    }
    auto info = std::find_if(series.begin(), series.end(),
                             [](const auto& s) { return s.first.compare(0, 16, "hostcapture_info") == 0; });
    ASSERT_NE(info, series.end());
    for (const char* label : {"model=\"RX-9000 M2\"", "serial_number=\"YM4K002137\"",
                              "management_software=\"Tessmark Quorum Data Exchange\""})
        EXPECT_NE(info->first.find(label), std::string::npos) << info->first;
}

TEST(SummaryMetrics, NewestPageOfAFolderDecidesAndUnreadablePagesSaySo)
{
    TempDir dir;
    std::string healthy = ReadFile(GeneratedPages::Page("healthy"));
    dir.Write("fleet/alpha/20260101T000000Z.html", healthy);
    dir.Write("fleet/alpha/20260102T000000Z.html", healthy.substr(0, 4000)); // newer, cut off
    dir.Write("fleet/bravo/20260101T000000Z.html", healthy);
    dir.Write("fleet/bravo/20260102T000000Z.html", "not a page");
    dir.Write("fleet/bravo/20260103T000000Z.html", healthy);
    for (bool latest : {false, true})
    {
        SCOPED_TRACE(latest ? "--latest" : "every page");
        std::vector<std::string> inputs = {dir.Path() + "/fleet"};
        if (latest)
            inputs.insert(inputs.begin(), "--latest");
        auto series = Series(MetricsOf(inputs));
        EXPECT_EQ(series["hostcapture_page_readable{host=\"alpha\"}"], "0");
        EXPECT_EQ(series["hostcapture_page_readable{host=\"bravo\"}"], "1");
        size_t alphaInfo = 0, bravoInfo = 0;
        for (const auto& s : series)
        {
            alphaInfo += s.first.compare(0, 28, "hostcapture_info{host=\"alpha") == 0;
            bravoInfo += s.first.compare(0, 28, "hostcapture_info{host=\"bravo") == 0;
        }
        EXPECT_EQ(alphaInfo, 0u);
        EXPECT_EQ(bravoInfo, 1u);
    }
}
