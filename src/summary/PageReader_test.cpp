#include "HostStatus.h"
#include "PageReader.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

namespace
{
// A page HostCapture wrote (the golden run's, checked in), so these tests run no program.
std::string RealPage()
{
    return ReadFile(std::string(HOSTCAPTURE_SOURCE_DIR) + "/testdata/golden/report.html");
}
} // namespace

// Bytes that are not a whole HostCapture page are refused with a reason, and crash nothing.
TEST(PageReader, RefusesPagesThatAreNotWholeReports)
{
    std::string real = RealPage();
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
