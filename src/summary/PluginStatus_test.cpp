#include "PluginStatus.h"

#include "FleetTally.h"
#include "HostStatus.h"
#include "SummaryTestPages.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

namespace
{
using SummaryTestPages::Health;
using SummaryTestPages::Row;

HostPage Page(const std::string& host, ReportStatus memberStatus, const std::string& member = "PSU2",
              const std::string& text = "Present and failed")
{
    HostPage page;
    page.Readable = true;
    page.Identity.HostName = host;
    PageSection group = Health("Power Supply", "Power Supply", memberStatus, 1);
    PageSection units = Health("Power Supply", "Power Supply Units", memberStatus);
    PageTable table;
    table.Headings = {"Status", "Designation", "Nominal Power (W)"};
    table.Rows = {Row(StatusNormal, "OK", {"PSU1", "800"}), Row(memberStatus, text, {member, "800"})};
    units.Tables.push_back(table);
    page.Sections = {group, units};
    return page;
}

HostPage Unreadable(const std::string& file)
{
    HostPage page;
    page.File = file;
    page.Problem = "cut off: the page ends before its closing </html>";
    return page;
}

struct Output
{
    std::string First;
    std::vector<std::string> Long;
};

Output StatusOf(const std::vector<std::pair<std::string, HostPage>>& pages, bool outputFailed = false)
{
    FleetTally tally;
    PluginStatus status;
    for (const auto& page : pages)
    {
        tally.Add(page.second);
        status.Add(page.first, page.second);
    }
    std::istringstream lines(status.Text(tally, outputFailed ? 3 : tally.ExitCode()));
    Output out;
    std::getline(lines, out.First);
    std::string line;
    while (std::getline(lines, line))
        out.Long.push_back(line);
    return out;
}

// The plugin guidelines' grammar: "SERVICE STATE: text | perfdata", where perfdata is one or more
// 'label'=value[UOM];[warn];[crit];[min];[max] separated by blanks, the label quoted without ' or
// = inside, numbers in the C locale, ranges [@][start:][end] with ~ for minus infinity.
void ExpectGuidelineGrammar(const Output& out, const std::string& state)
{
    const std::string number = "-?[0-9]+(\\.[0-9]+)?";
    const std::string range = "(@?((" + number + "|~):)?(" + number + ")?)";
    const std::regex perf("'[^'=|]+'=" + number + "(s|ms|us|%|B|KB|MB|TB|c)?(;" + range + "?){0,2}(;(" +
                          number + ")?){0,2}");
    const std::regex first("HOSTCAPTURE " + state + ": [^|]+ \\| (.+)");
    std::smatch match;
    ASSERT_TRUE(std::regex_match(out.First, match, first)) << out.First;
    std::istringstream items(match[1].str());
    std::string item, pending;
    int count = 0;
    // Labels may hold blanks: an item runs until its closing quote and "=".
    while (items >> item)
    {
        pending += pending.empty() ? item : " " + item;
        if (std::count(pending.begin(), pending.end(), '\'') < 2)
            continue;
        EXPECT_TRUE(std::regex_match(pending, perf)) << pending;
        pending.clear();
        ++count;
    }
    EXPECT_TRUE(pending.empty()) << pending;
    EXPECT_GE(count, HostStatusRules::kCount + 1);
    for (const std::string& line : out.Long)
    {
        EXPECT_EQ(line.find('|'), std::string::npos) << line;
        EXPECT_TRUE(std::regex_search(line, std::regex("^(OK|WARNING|CRITICAL|UNKNOWN): |^\\.\\.\\. and")))
            << line;
    }
}
} // namespace

TEST(PluginStatus, FirstLineStateTextAndPerformanceDataFollowTheGuidelines)
{
    struct Case
    {
        const char* Name;
        std::vector<std::pair<std::string, HostPage>> Pages;
        bool OutputFailed;
        const char* State;
        std::vector<std::string> Fragments; // in the first line
        std::vector<std::string> Long;
    };
    const Case cases[] = {
        {"all normal",
         {{"alpha", Page("alpha", StatusNormal)}},
         false,
         "OK",
         {": 1 host, 1 normal |", "'hosts'=1;;;0 ", "'warning'=0;0;;0;1 "},
         {}},
        {"a warning",
         {{"alpha", Page("alpha", StatusNormal)},
          {"bravo", Page("bravo", StatusWarning, "PSU2", "AC Failure")}},
         false,
         "WARNING",
         {": 2 hosts, 1 warning, 1 normal |", "'warning'=1;0;;0;2", "'Power Supply Units warning'=1;0;;0"},
         {"WARNING: bravo - warning", "WARNING: bravo - Power Supply Units: PSU2 - AC Failure"}},
        {"an error outranks an unreadable page",
         {{"charlie", Page("charlie", StatusError)}, {"delta.html", Unreadable("delta.html")}},
         false,
         "CRITICAL",
         {"1 error, 1 unreadable |", "'error'=1;;0;0;2", "'unreadable'=1;;;0;2"},
         {"CRITICAL: charlie - error", "CRITICAL: charlie - Power Supply Units: PSU2 - Present and failed",
          "UNKNOWN: delta.html - cut off: the page ends before its closing </html>"}},
        {"an output that could not be written",
         {{"alpha", Page("alpha", StatusNormal)}},
         true,
         "UNKNOWN",
         {": an output could not be written, 1 host, 1 normal |"},
         {}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Name);
        Output out = StatusOf(c.Pages, c.OutputFailed);
        ExpectGuidelineGrammar(out, c.State);
        for (const std::string& fragment : c.Fragments)
            EXPECT_NE(out.First.find(fragment), std::string::npos) << fragment << "\n" << out.First;
        EXPECT_EQ(out.Long, c.Long);
    }
}

TEST(PluginStatus, PageTextsCannotBreakTheFormat)
{
    // A member name and status text with the characters the format reserves: "|" would start the
    // performance data, a line break a new line, ' and = would end a label.
    HostPage hostile = Page("x", StatusError, "PSU|2\nINJECTED", "it's = bad | 'x'=1");
    hostile.Sections[1].Title = "Power 'Supply'=Units|";
    Output out = StatusOf({{"x|y", hostile}});
    ExpectGuidelineGrammar(out, "CRITICAL");
    EXPECT_NE(out.First.find("'Power _Supply__Units/ error'=1;;0;0"), std::string::npos) << out.First;
    ASSERT_EQ(out.Long.size(), 2u);
    EXPECT_EQ(out.Long[1], "CRITICAL: x/y - Power 'Supply'=Units/: PSU/2 INJECTED - it's = bad / 'x'=1");
}

TEST(PluginStatus, LongOutputIsBoundedAndSaysHowMuchIsLeftOut)
{
    std::vector<std::pair<std::string, HostPage>> pages;
    for (int i = 0; i < 80; ++i)
        pages.push_back({"host" + std::to_string(i), Page("h", StatusWarning)});
    Output out = StatusOf(pages);
    ASSERT_EQ(out.Long.size(), PluginStatus::kMaxLongLines + 1);
    EXPECT_EQ(out.Long.back(), "... and 60 more lines");
    ExpectGuidelineGrammar(out, "WARNING");
}

TEST(PluginStatus, AGroupOrSectionWithoutFailingRowsIsNamedOnce)
{
    HostPage page = Page("a", StatusNormal);
    page.Sections[0].Status = StatusUnknown; // the group alone is unknown
    Output unknownGroup = StatusOf({{"a", page}});
    EXPECT_EQ(unknownGroup.Long,
              (std::vector<std::string>{"UNKNOWN: a - unknown", "UNKNOWN: a - Power Supply: unknown"}));

    page.Sections[1].Status = StatusWarning; // now its section tells: the group is not repeated
    Output warningSection = StatusOf({{"a", page}});
    EXPECT_EQ(warningSection.Long,
              (std::vector<std::string>{"UNKNOWN: a - unknown", "WARNING: a - Power Supply Units: warning"}));
}
