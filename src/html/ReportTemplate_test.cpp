#include "ReportTemplate.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>

TEST(ReportTemplateTest, DateIsZeroPaddedTwentyFourHourLocalTime)
{
    {
        ScopedEnv zone("TZ", "UTC");
        tzset();
        EXPECT_EQ("2024-03-05 19:09:01", ReportTemplate::FormatReportDate(1709622541 + 12 * 3600));
        // POSIX zone names count west as positive: this one is two hours east of UTC.
        ScopedEnv east("TZ", "XYZ-2");
        tzset();
        EXPECT_EQ("2024-03-06 09:09:01", ReportTemplate::FormatReportDate(1709622541 + 24 * 3600));
    }
    tzset();
    EXPECT_TRUE(std::regex_match(ReportTemplate::FormatReportDate(),
                                 std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}")));
}
