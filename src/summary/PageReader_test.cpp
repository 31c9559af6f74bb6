#include "FleetTally.h"
#include "GeneratedPages_test.h"
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
TEST(PageReader, StatusesOfPagesWrittenFromKnownProfiles)
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

TEST(PageReader, IdentitySectionsTablesAndEventLog)
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

// Without a daemon every health section is unknown: the host is unknown, not unreadable.
TEST(PageReader, PageWithoutDaemonIsReadableAndUnknown)
{
    HostPage page = Read("no-daemon");
    EXPECT_TRUE(page.Identity.HostName.empty());
    EXPECT_EQ(HostStatusRules::PageWorst(page), HostStatus::Unknown);
    EXPECT_EQ(HostStatusRules::ExitCode(HostStatusRules::PageWorst(page)), 3);
}

// Bytes that are not a whole HostCapture page are refused with a reason, and crash nothing.
TEST(PageReader, RefusesPagesThatAreNotWholeReports)
{
    std::string real = ReadFile(GeneratedPages::Page("healthy"));
    ASSERT_FALSE(real.empty());
    std::string deep = "<!DOCTYPE html><html><body><div class=\"title-app\"><h2>Host Capture</h2></div>";
    for (int i = 0; i < 5000; ++i)
        deep += "<button class=\"collapsible\">x</button><div class=\"content\">";
    deep += "</body></html>";
    std::string renamed = real;
    renamed.replace(renamed.find("<h2>Host Capture"), 16, "<h2>Host Kapture");
    std::string noHealth =
        real.substr(0, real.find("<button type=\"button\" class=\"title-text title-line\">System "
                                 "Health")) +
        "</body></html>";
    struct Case
    {
        const char* Name;
        std::string Bytes;
        const char* Reason;
    };
    const Case cases[] = {
        {"empty", "", "empty"},
        {"plain text", "hello, world\n", "does not begin"},
        {"cut in the middle", real.substr(0, real.size() / 2), "cut off"},
        {"cut before the last tag", real.substr(0, real.size() - 3), "cut off"},
        {"other title", renamed, "title"},
        {"no health block", noHealth, "missing"},
        {"deeply nested sections", deep, "missing"},
        {"binary", std::string("<!DOCTYPE html>\0\xff\xfe<html>\x01</html>", 32), "not a HostCapture page"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Name);
        HostPage page;
        EXPECT_FALSE(PageReader::ReadPage(c.Bytes, page));
        EXPECT_NE(page.Problem.find(c.Reason), std::string::npos) << page.Problem;
        EXPECT_TRUE(page.Sections.empty());
        EXPECT_EQ(HostStatusRules::PageWorst(page), HostStatus::Unreadable);
    }
    HostPage page;
    EXPECT_TRUE(PageReader::ReadPage(real + "\n", page)) << "a trailing newline is harmless";
}

TEST(PageReader, StatusClassWords)
{
    struct Case
    {
        const char* Class;
        ReportStatus Status;
    } cases[] = {{"collapsible title-text status-error", StatusError},
                 {" status-unknown icon status", StatusUnknown},
                 {"status-major icon status", StatusMajor},
                 {"status-not-present icon status", StatusNotPresent},
                 {"collapsible title-text", StatusNotPresent},
                 {"collapsible title-text status-errors", StatusNotPresent}};
    for (const auto& c : cases)
        EXPECT_EQ(PageReader::StatusOfClass(c.Class), c.Status) << c.Class;
}
