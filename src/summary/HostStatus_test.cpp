#include "FleetTally.h"
#include "HostStatus.h"
#include "PageReader.h"
#include "SummaryTestPages.h"

#include <gtest/gtest.h>

namespace
{
using SummaryTestPages::Health;

HostPage ReadablePage(std::vector<PageSection> sections)
{
    HostPage page;
    page.Readable = true;
    page.Sections = std::move(sections);
    return page;
}
} // namespace

// Each status word of a page ranks in one place and gives one exit status.
TEST(HostStatus, EachStatusWordRanksAndExits)
{
    struct Case
    {
        const char* Word;
        HostStatus Status;
        int Exit;
    } cases[] = {{"status-not-present", HostStatus::NotPresent, 0},
                 {"status-normal", HostStatus::Normal, 0},
                 {"status-warning", HostStatus::Warning, 1},
                 {"status-unknown", HostStatus::Unknown, 3},
                 {"status-major", HostStatus::Major, 2},
                 {"status-error", HostStatus::Error, 2}};
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Word);
        HostStatus status = HostStatusRules::FromReportStatus(PageReader::StatusOfClass(c.Word));
        EXPECT_EQ(status, c.Status);
        EXPECT_EQ(HostStatusRules::ExitCode(status), c.Exit);
        // The section status alone makes the page that bad, beside a normal section.
        HostPage page = ReadablePage({Health("Power Supply", "Power Supply", StatusNormal, 1),
                                      Health("Fans", "Fans", PageReader::StatusOfClass(c.Word), 1)});
        EXPECT_EQ(HostStatusRules::PageWorst(page), std::max(c.Status, HostStatus::Normal));
    }
    // The order of badness, best first: an error outranks not knowing, which outranks a warning.
    const HostStatus order[] = {HostStatus::NotPresent, HostStatus::Normal,     HostStatus::Warning,
                                HostStatus::Unknown,    HostStatus::Unreadable, HostStatus::Major,
                                HostStatus::Error};
    for (size_t i = 1; i < sizeof order / sizeof order[0]; ++i)
        EXPECT_LT(order[i - 1], order[i]) << HostStatusRules::Name(order[i]);
    EXPECT_EQ(HostStatusRules::ExitCode(HostStatus::Unreadable), 3);
}

// A status the page does not let us read is never taken for normal.
TEST(HostStatus, WhatCannotBeReadIsUnknown)
{
    PageSection fans = Health("Fans", "Fans", StatusNormal, 1);
    PageSection unreadHeader = fans;
    unreadHeader.StatusRead = false;
    PageSection rows = Health("Fans", "Fan Sensors", StatusNormal);
    rows.Tables.push_back({{"Status", "Designation"}, {{StatusNormal, true, "OK", {"FAN1"}}}});
    PageSection unreadRow = rows;
    unreadRow.Tables[0].Rows.push_back({StatusNotPresent, false, "OK", {"FAN2"}});
    PageSection unknownRow = rows;
    unknownRow.Tables[0].Rows.push_back({StatusUnknown, true, "Unknown", {"FAN2"}});
    PageSection log =
        Health(HostStatusRules::kEventLogTitle, HostStatusRules::kEventLogTitle, StatusError, 1);
    PageSection unreadLog = log;
    unreadLog.StatusRead = false;
    struct Case
    {
        const char* Name;
        HostPage Page;
        HostStatus Worst;
    } cases[] = {
        {"all read", ReadablePage({fans, rows}), HostStatus::Normal},
        {"a header without a status word", ReadablePage({unreadHeader, rows}), HostStatus::Unknown},
        {"a row without a status word", ReadablePage({fans, unreadRow}), HostStatus::Unknown},
        {"a sensor that reads unknown", ReadablePage({fans, unknownRow}), HostStatus::Normal},
        {"no health section at all", ReadablePage({}), HostStatus::Unknown},
        {"only the event log", ReadablePage({log}), HostStatus::Unknown},
        {"the event log never counts", ReadablePage({fans, unreadLog, log}), HostStatus::Normal},
    };
    for (const Case& c : cases)
        EXPECT_EQ(HostStatusRules::PageWorst(c.Page), c.Worst) << c.Name;
    HostPage cut = ReadablePage({fans});
    cut.RunCut = true;
    EXPECT_EQ(HostStatusRules::PageWorst(cut), HostStatus::Unknown);
}

// The overview names the failing member by whichever naming column its table has.
TEST(FleetTally, NamesTheFailingMemberOfEveryKindOfTable)
{
    struct Case
    {
        const char* Heading;
        const char* Detail;
    } cases[] = {{"Designation", "Memory Modules: 1 of 2, Pre-Failure (DIMM B1)"},
                 {"Name", "Memory Modules: 1 of 2, Pre-Failure (DIMM B1)"},
                 {"Socket", "Memory Modules: 1 of 2, Pre-Failure (DIMM B1)"},
                 {"Size (GByte)", "Memory Modules: 1 of 2, Pre-Failure"}};
    for (const Case& c : cases)
    {
        PageSection memory = Health("System Board", "Memory Modules", StatusWarning);
        memory.Tables.push_back({{"Status", "Type", c.Heading},
                                 {{StatusNormal, true, "OK", {"DDR5", "DIMM A1"}},
                                  {StatusWarning, true, "Pre-Failure", {"DDR5", "DIMM B1"}}}});
        HostPage page = ReadablePage({Health("System Board", "System Board", StatusWarning, 1), memory});
        EXPECT_EQ(FleetTally::DescribeGroup(page, "System Board").Detail, c.Detail) << c.Heading;
    }
}
