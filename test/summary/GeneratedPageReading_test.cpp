// The summary's page reader on pages that HostCapture writes while this test runs, from
// simulator profiles whose statuses are known: the two programs must agree on the page.
#include "FleetTally.h"
#include "GeneratedPages.h"
#include "HostStatus.h"
#include "PageReader.h"

#include <gtest/gtest.h>

namespace
{
const PageSection* Find(const HostPage& page, const std::string& title)
{
    for (const PageSection& section : page.Sections)
        if (section.Title == title)
            return &section;
    return nullptr;
}

HostPage Read(const std::string& profile)
{
    HostPage page;
    std::string path = GeneratedPages::Page(profile);
    EXPECT_TRUE(PageReader::ReadFile(path, page)) << profile << ": " << page.Problem;
    return page;
}
} // namespace

// Each profile's statuses are known; the reader must find them on the page HostCapture wrote.
TEST(PageReaderOnWrittenPages, StatusesOfPagesWrittenFromKnownProfiles)
{
    struct Case
    {
        const char* Profile;
        HostStatus Worst;
        const char* Group;
        ReportStatus GroupStatus;
        const char* Sub;
        ReportStatus SubStatus;
        size_t FailingRow; // index of the row that fails in Sub's table (or its normal row)
        ReportStatus RowStatus;
        const char* RowText;
    };
    const Case cases[] = {
        {"healthy", HostStatus::Normal, "Power Supply", StatusNormal, "Power Supply Units", StatusNormal, 1,
         StatusNormal, "OK"},
        {"degraded-raid", HostStatus::Warning, "Mass Storage", StatusWarning, "RAID Physical Drives",
         StatusWarning, 1, StatusWarning, "Operational - S.M.A.R.T. Failure"},
        {"failed-psu", HostStatus::Error, "Power Supply", StatusError, "Power Supply Units", StatusError, 1,
         StatusError, "Present and failed"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Profile);
        HostPage page = Read(c.Profile);
        EXPECT_EQ(HostStatusRules::PageWorst(page), c.Worst);
        const PageSection* group = Find(page, c.Group);
        const PageSection* sub = Find(page, c.Sub);
        ASSERT_TRUE(group && sub);
        EXPECT_EQ(group->Level, 1);
        EXPECT_EQ(group->Status, c.GroupStatus);
        EXPECT_EQ(sub->Level, 2);
        EXPECT_EQ(sub->Group, c.Group);
        EXPECT_EQ(sub->Status, c.SubStatus);
        ASSERT_EQ(sub->Tables.size(), 1u);
        ASSERT_GT(sub->Tables[0].Rows.size(), c.FailingRow);
        EXPECT_EQ(sub->Tables[0].Rows[c.FailingRow].Status, c.RowStatus);
        EXPECT_EQ(sub->Tables[0].Rows[c.FailingRow].Text, c.RowText);
        EXPECT_EQ(sub->Tables[0].Rows[0].Status, StatusNormal);
        EXPECT_EQ(Find(page, "Network")->Status, StatusNormal);
    }
}

TEST(PageReaderOnWrittenPages, IdentitySectionsTablesAndEventLog)
{
    HostPage page = Read("failed-psu");
    EXPECT_EQ(page.Identity.Model, "RX-2000 M1");
    EXPECT_EQ(page.Identity.SerialNumber, "YM1H000003");
    EXPECT_EQ(page.Identity.HostName, "charlie.example.net");
    EXPECT_EQ(page.Identity.OperatingSystem, "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(page.Identity.Addresses, (std::vector<std::string>{"10.1.0.13", "fd00:0:0:1::11"}));
    EXPECT_EQ(page.Identity.TimeStamp.size(), 19u);

    int health = 0;
    for (const PageSection& s : page.Sections)
        health += s.Block == HostStatusRules::kHealthBlock;
    EXPECT_EQ(health, 19); // the eighteen health sections and the event log
    const PageSection* units = Find(page, "Power Supply Units");
    ASSERT_TRUE(units);
    EXPECT_EQ(units->Tables[0].Headings,
              (std::vector<std::string>{"Status", "Designation", "Nominal Power (W)", "Current Power (W)"}));
    EXPECT_EQ(units->Tables[0].Rows[1].Cells, (std::vector<std::string>{"PSU2", "800", "0"}));

    // The RAID manager row fills two status columns from one row head.
    const PageSection* manager = Find(page, "Tessmark RAID System");
    ASSERT_TRUE(manager && manager->Tables.size() == 1 && manager->Tables[0].Rows.size() == 1);
    EXPECT_EQ(manager->Tables[0].Rows[0].Text, "Installed");
    EXPECT_EQ(manager->Tables[0].Rows[0].Cells, (std::vector<std::string>{"OK", "7.14.0.5"}));

    const PageSection* log = Find(page, HostStatusRules::kEventLogTitle);
    ASSERT_TRUE(log && log->Tables.size() == 1);
    ASSERT_EQ(log->Tables[0].Rows.size(), 2u);
    EXPECT_EQ(log->Tables[0].Rows[1].Status, StatusWarning);
    EXPECT_EQ(log->Tables[0].Rows[1].Cells.back(), "Fan warning for 1");

    GroupCell cell = FleetTally::DescribeGroup(page, "Power Supply");
    EXPECT_EQ(cell.Status, HostStatus::Error);
    EXPECT_EQ(cell.Detail, "Power Supply Units: 1 of 2, Present and failed (PSU2)");
}
