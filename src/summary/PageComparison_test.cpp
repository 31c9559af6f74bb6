#include "CutText.h"
#include "PageComparison.h"
#include "SummaryTestPages.h"
#include "TableComparison.h"

#include <gtest/gtest.h>

namespace
{
using SummaryTestPages::Row;
using SummaryTestPages::Section;

// A page with an identity block and one health section holding one table.
HostPage Page(const PageTable& table, ReportStatus sectionStatus = StatusNormal,
              const std::string& bios = "1.0", const std::string& serial = "SN1")
{
    HostPage page;
    page.Readable = true;
    page.Identity.SerialNumber = serial;
    page.Identity.TimeStamp = "2026-01-01 00:00:00";
    PageSection system = Section("System Information", "System", "System", 1, StatusNotPresent);
    system.Lines = {{"Model", "RX-1"}, {"Serial Number", serial}, {"Power On Duration", "1 days"}};
    PageSection board = Section("System Information", "System Board", "System Board", 1, StatusNotPresent);
    board.Lines = {{"BIOS Version", bios}};
    PageSection group = Section("System Health", "Environment", "Environment", 1, sectionStatus);
    PageSection sub = Section("System Health", "Environment", "Parts", 2, sectionStatus, {table});
    page.Sections = {system, board, group, sub};
    return page;
}

PageTable Table(std::vector<PageRow> rows)
{
    return {{"Status", "Adapter ID", "Designation", "Temperature (°C)", "RPM", "Firmware Version", "Size"},
            std::move(rows)};
}

PageRow Part(const std::string& adapter, const std::string& name, ReportStatus status = StatusNormal,
             const std::string& text = "OK", const std::string& celsius = "40",
             const std::string& rpm = "4000", const std::string& size = "10")
{
    return Row(status, text, {adapter, name, celsius, rpm, "2.1", size});
}

// "kind what: before -> after [note]", in the order the comparison gives.
std::vector<std::string> Describe(const HostChanges& changes)
{
    std::vector<std::string> out;
    for (const Change& c : changes.Changes)
        out.push_back(std::string(ChangeRules::Name(c.Kind)) + " " + c.What + ": " + c.Before + " -> " +
                      c.After + (c.Note.empty() ? "" : " [" + c.Note + "]"));
    return out;
}

using Lines = std::vector<std::string>;
const char kByPosition[] = " [matched by position: the key is not unique in its table]";
} // namespace

TEST(PageComparison, MembersAreKnownByTheirKeyCells)
{
    const PageRow leftOut12 = Row(StatusUnknown, "12 more left out", {"", "", "", "", "", ""});
    const PageRow leftOut15 = Row(StatusUnknown, "15 more left out", {"", "", "", "", "", ""});
    struct Case
    {
        const char* Name;
        std::vector<PageRow> Older, Newer;
        Lines Expected;
    };
    const Case cases[] = {
        {"same rows in another order",
         {Part("0", "A"), Part("1", "A")},
         {Part("1", "A"), Part("0", "A")},
         {}},
        {"a member fails",
         {Part("0", "A"), Part("0", "B")},
         {Part("0", "A"), Part("0", "B", StatusError, "Failed")},
         {"member_worse B, Adapter ID 0: OK (normal) -> Failed (error)"}},
        {"a member recovers",
         {Part("0", "B", StatusWarning, "Pre-Fail")},
         {Part("0", "B")},
         {"member_better B, Adapter ID 0: Pre-Fail (warning) -> OK (normal)"}},
        {"same status, other text",
         {Part("0", "B", StatusNormal, "Operational")},
         {Part("0", "B", StatusNormal, "Rebuilding")},
         {"member_changed B, Adapter ID 0: Operational (normal) -> Rebuilding (normal)"}},
        {"the adapter is part of the key",
         {Part("0", "A")},
         {Part("1", "A")},
         {"member_disappeared A, Adapter ID 0: OK (normal) -> ",
          "member_appeared A, Adapter ID 1:  -> OK (normal)"}},
        {"a repeated key is matched by position",
         {Part("0", "X"), Part("0", "X", StatusNormal, "OK", "40", "4000", "20")},
         {Part("0", "X"), Part("0", "X", StatusError, "Failed")},
         {std::string("member_worse X, Adapter ID 0: OK (normal) -> Failed (error)") + kByPosition}},
        {"a repeated key that lost a row",
         {Part("0", "X"), Part("0", "X")},
         {Part("0", "X")},
         {std::string("member_disappeared X, Adapter ID 0: OK (normal) -> ") + kByPosition}},
        {"a left-out row is no member",
         {Part("0", "A"), leftOut12},
         {Part("0", "A"), leftOut15},
         {"left_out rows left out: 12 more left out -> 15 more left out"}},
        {"a left-out row that appears",
         {Part("0", "A")},
         {Part("0", "A"), leftOut12},
         {"left_out rows left out:  -> 12 more left out"}},
        {"a cut text that agrees is no change",
         {Part("0", "A", StatusNormal, "Operational with a long story")},
         {Part("0", "A", StatusNormal, "Operational with [cut: 10 bytes]")},
         {}},
        {"sizes and other cells are not compared",
         {Part("0", "A", StatusNormal, "OK", "40", "4000", "10")},
         {Part("0", "A", StatusNormal, "OK", "40", "4000", "20")},
         {}},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Name);
        HostChanges changes = PageComparison::Compare(Page(Table(c.Older)), Page(Table(c.Newer)));
        EXPECT_TRUE(changes.Compared);
        EXPECT_EQ(Describe(changes), c.Expected);
    }
}

TEST(PageComparison, ValuesCountOnlyBeyondTheirThresholds)
{
    struct Case
    {
        const char* Name;
        std::string OldCelsius, NewCelsius, OldRpm, NewRpm;
        double Celsius, Percent;
        std::string Moved; // what the one change says after the member's name ("": no change)
    };
    const Case cases[] = {
        {"9 degrees is drift", "52", "61", "4000", "4000", 10, 25, ""},
        {"10 degrees is news", "52", "62", "4000", "4000", 10, 25, "Temperature (°C): 52 -> 62"},
        {"cooling down counts too", "62", "52", "4000", "4000", 10, 25, "Temperature (°C): 62 -> 52"},
        {"the threshold is an option", "52", "57", "4000", "4000", 5, 25, "Temperature (°C): 52 -> 57"},
        {"a fan 25 % slower", "40", "40", "4000", "3000", 10, 25, "RPM: 4000 -> 3000"},
        {"a fan 22.5 % slower", "40", "40", "4000", "3100", 10, 25, ""},
        {"a stopped fan that starts", "40", "40", "0", "900", 10, 25, "RPM: 0 -> 900"},
        {"text is no number", "N/A", "70", "4000", "4000", 10, 25, ""},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Name);
        ComparisonOptions options;
        options.TemperatureCelsius = c.Celsius;
        options.FanPercent = c.Percent;
        HostChanges changes = PageComparison::Compare(
            Page(Table({Part("0", "A", StatusNormal, "OK", c.OldCelsius, c.OldRpm)})),
            Page(Table({Part("0", "A", StatusNormal, "OK", c.NewCelsius, c.NewRpm)})), options);
        EXPECT_EQ(Describe(changes),
                  c.Moved.empty() ? Lines{} : Lines{"value_moved A, Adapter ID 0, " + c.Moved});
    }
}

TEST(PageComparison, IdentitySectionMovesAndOrder)
{
    PageTable parts = Table({Part("0", "A")});
    HostPage older = Page(parts, StatusWarning, "1.0");
    HostPage newer = Page(Table({Part("0", "A", StatusError, "Failed")}), StatusError, "1.1");
    // Running clocks are no news; a version cell of a table is identity.
    newer.Sections[0].Lines[2].second = "2 days";
    newer.Sections[3].Tables[0].Rows[0].Cells[4] = "2.2";
    older.Identity.Addresses = {"10.0.0.1"};
    newer.Identity.Addresses = {"10.0.0.1", "fd00::1"};
    HostChanges changes = PageComparison::Compare(older, newer);
    // The group header moved with its sub-section: only the sub-section is named.
    EXPECT_EQ(Describe(changes), (Lines{"section_worse status: warning -> error",
                                        "member_worse A, Adapter ID 0: OK (normal) -> Failed (error)",
                                        "identity BIOS Version: 1.0 -> 1.1",
                                        "identity IP Address: 10.0.0.1 -> 10.0.0.1, fd00::1",
                                        "identity Firmware Version: 2.1 -> 2.2"}));
    EXPECT_EQ(changes.Changes[0].Where, "Environment / Parts");
    EXPECT_TRUE(changes.AnyWorse());
    EXPECT_EQ(changes.Worst(), HostStatus::Error);

    // A group whose sub-sections did not move names itself; better is not worse.
    HostPage groupOnly = Page(parts, StatusWarning);
    groupOnly.Sections[2].Status = StatusNormal;
    HostChanges better = PageComparison::Compare(Page(parts, StatusWarning), groupOnly);
    EXPECT_EQ(Describe(better), (Lines{"section_better status: warning -> normal"}));
    EXPECT_EQ(better.Changes[0].Where, "Environment");
    EXPECT_FALSE(better.AnyWorse());

    HostChanges none = PageComparison::Compare(Page(parts), Page(parts));
    EXPECT_TRUE(none.Compared);
    EXPECT_FALSE(none.Any());
}

TEST(PageComparison, AnotherServerIsReportedAsSuchAndNothingElse)
{
    HostChanges other = PageComparison::Compare(
        Page(Table({Part("0", "A")}), StatusNormal, "1.0", "SN1"),
        Page(Table({Part("0", "B", StatusError, "Failed")}), StatusError, "2.0", "SN2"));
    EXPECT_TRUE(other.OtherHost);
    EXPECT_TRUE(other.Any());
    EXPECT_TRUE(other.Changes.empty());
    EXPECT_EQ(other.OlderSerial, "SN1");
    EXPECT_EQ(other.NewerSerial, "SN2");
    // A page that could not learn the serial number (no daemon) is still compared.
    HostChanges unknown = PageComparison::Compare(Page(Table({Part("0", "A")}), StatusNormal, "1.0", "SN1"),
                                                  Page(Table({Part("0", "A")}), StatusNormal, "1.0", ""));
    EXPECT_FALSE(unknown.OtherHost);
    EXPECT_EQ(Describe(unknown), (Lines{"identity Serial Number: SN1 -> "}));
}

TEST(PageComparison, NewEventLogEntriesByTimeStampAndText)
{
    auto log = [](std::vector<std::array<const char*, 3>> entries)
    {
        PageTable table{{"Status", "Error Code", "Timestamp", "Message"}, {}};
        for (const auto& e : entries)
        {
            std::string severity = e[0];
            ReportStatus status = severity == "Critical" ? StatusError
                                  : severity == "Minor"  ? StatusWarning
                                                         : StatusNormal;
            table.Rows.push_back(Row(status, severity, {"0x1", e[1], e[2]}));
        }
        HostPage page = Page(Table({}));
        page.Sections.push_back(
            Section("System Health", "System Event Log", "System Event Log", 1, StatusNotPresent, {table}));
        return page;
    };
    const char* none = " <no date/no time> ";
    HostPage older = log(
        {{"Info", "t1", "booted"}, {"Critical", none, "fan failed"}, {"Minor", "t2", "AAAA [cut: 9 bytes]"}});
    HostPage newer = log({{"Info", "t1", "booted"},
                          {"Critical", none, "fan failed"},
                          {"Minor", "t2", "AAAAB and the rest"},
                          {"Critical", none, "fan failed"},
                          {"Info", "t1", "booted again"},
                          {"Minor", "t3", "warm"}});
    HostChanges changes = PageComparison::Compare(older, newer);
    ASSERT_EQ(changes.NewEvents.size(), 3u);
    EXPECT_EQ(changes.NewEvents[0].Message, "fan failed"); // the second of two equal entries is new
    EXPECT_EQ(changes.NewEvents[1].Message, "booted again");
    EXPECT_EQ(changes.NewEvents[2].Message, "warm");
    EXPECT_EQ(changes.EventsBySeverity,
              (std::map<std::string, int>{{"Critical", 1}, {"Info", 1}, {"Minor", 1}}));
    EXPECT_TRUE(changes.Changes.empty());
    EXPECT_EQ(changes.Worst(), HostStatus::Error);
    // Entries that dropped out of the ring are no news.
    EXPECT_TRUE(PageComparison::Compare(newer, older).NewEvents.empty());
}

TEST(PageComparison, CutTextsAreComparedAsWhatTheyAre)
{
    struct Case
    {
        const char* A;
        const char* B;
        bool Same;
    };
    const Case cases[] = {
        {"abc", "abc", true},
        {"abc", "abd", false},
        {"abc [cut: 5 bytes]", "abcdefgh", true},
        {"abc [cut: 5 bytes]", "abxdefgh", false},
        {"abcdef [cut: 5 bytes]", "abc [cut: 8 bytes]", true},
        {"abcdef [cut: 5 bytes]", "abd [cut: 8 bytes]", false},
        {"[cut: 50 bytes]", "anything", true},
        {"abcdef [cut: 5 bytes]", "abc", false}, // the whole text is shorter than what was kept
        {"abc [cut: x bytes]", "abc", false},    // no mark: a text like any other
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::string(c.A) + " | " + c.B);
        EXPECT_EQ(CutText::Same(c.A, c.B), c.Same);
        EXPECT_EQ(CutText::Same(c.B, c.A), c.Same);
    }
    EXPECT_TRUE(TableComparison::IsLeftOutRow(
        Row(StatusUnknown, "3 more left out, and those of 2 more adapters", {""})));
    EXPECT_FALSE(TableComparison::IsLeftOutRow(Row(StatusNormal, "3 more left out", {""})));
    EXPECT_FALSE(TableComparison::IsLeftOutRow(Row(StatusUnknown, "3 more left out", {"PSU9"})));
    EXPECT_FALSE(TableComparison::IsLeftOutRow(Row(StatusUnknown, "more left out", {""})));
}
