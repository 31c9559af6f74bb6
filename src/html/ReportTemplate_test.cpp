#include "ReportTemplate.h"
#include "StatusIcons.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace
{
std::string Between(const std::string& text, const std::string& open, const std::string& close)
{
    size_t start = text.find(open);
    if (start == std::string::npos)
        return std::string();
    start += open.size();
    size_t end = text.find(close, start);
    return end == std::string::npos ? std::string() : text.substr(start, end - start);
}

std::vector<std::string> SplitRules(const std::string& sheet)
{
    std::vector<std::string> rules;
    size_t start = 0;
    for (size_t end = sheet.find('}'); end != std::string::npos; end = sheet.find('}', start))
    {
        rules.push_back(sheet.substr(start, end + 1 - start));
        start = end + 1;
    }
    if (start != sheet.size())
        rules.push_back(sheet.substr(start));
    return rules;
}

size_t Count(const std::string& text, const std::string& needle)
{
    size_t count = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
        ++count;
    return count;
}

// Local time depends on TZ; the variable is read again by tzset.
class ScopedTimeZone
{
public:
    explicit ScopedTimeZone(const char* zone) : m_Env("TZ", zone) { tzset(); }
    ~ScopedTimeZone() { tzset(); }

private:
    ScopedEnv m_Env;
};
} // namespace

TEST(ReportTemplateTest, HeadOpensPageWithOneLineStyleSheetAndTitleHeading)
{
    const std::string& head = ReportTemplate::Head();
    const std::string start = "<!DOCTYPE html>\n<html>\n\n<head>\n  <meta name=\"viewport\" "
                              "content=\"width=device-width, initial-scale=1\">\n  <style>\n    ";
    const std::string end = "\n  </style>\n</head>\n\n<body>\n  <div class=\"title-app\">\n    <h2>";
    ASSERT_EQ(0u, head.compare(0, start.size(), start));
    ASSERT_GE(head.size(), start.size() + end.size());
    EXPECT_EQ(end, head.substr(head.size() - end.size()));

    std::string sheet = head.substr(start.size(), head.size() - start.size() - end.size());
    EXPECT_EQ(std::string::npos, sheet.find('\n'));
}

TEST(ReportTemplateTest, StyleSheetHoldsLayoutRulesThenSixIconRulesThenIconOffset)
{
    std::string sheet = Between(ReportTemplate::Head(), "<style>\n    ", "\n  </style>");
    std::vector<std::string> rules = SplitRules(sheet);
    ASSERT_EQ(33u, rules.size());

    EXPECT_EQ(".collapsible{padding:18px;width:100%;border:none;text-align:left;outline:0}", rules[0]);
    // The arrowheads are CSS escapes, so the backslash itself must reach the page.
    EXPECT_EQ(".collapsible:after{content:\"\\02C3\";color:#000;font-weight:700;float:left;margin-left:5px;"
              "padding-right:5px;font-size:20px}",
              rules[1]);
    EXPECT_EQ(".active:after{content:\"\\02C5\"}", rules[2]);
    EXPECT_EQ(".title-app{padding-bottom:15px;border-bottom:1px solid #b7b7b7;display:flex;padding-bottom:0}",
              rules[5]);
    EXPECT_EQ(".data-table td.icon{padding-left:30px}", rules[24]);
    EXPECT_EQ(".data-table td:last-child,.data-table th:last-child{border-right:0}", rules[25]);
    EXPECT_EQ(".icon{width:22px;min-height:16px;background-position:left 10px center}", rules[32]);

    const char* const classes[] = {"status-normal", "status-warning", "status-major",
                                   "status-error",  "status-unknown", "status-not-present"};
    for (size_t i = 0; i < 6; ++i)
    {
        const std::string& rule = rules[26 + i];
        std::string type = std::string(classes[i]) == "status-major" ? "gif" : "png";
        std::string prefix =
            "." + std::string(classes[i]) + "{background-image:url(data:image/" + type + ";base64,";
        std::string suffix =
            ");background-repeat:no-repeat;background-position:left center;margin-left:15px}";
        ASSERT_GT(rule.size(), prefix.size() + suffix.size()) << rule;
        EXPECT_EQ(prefix, rule.substr(0, prefix.size()));
        EXPECT_EQ(suffix, rule.substr(rule.size() - suffix.size()));
        std::string data = rule.substr(prefix.size(), rule.size() - prefix.size() - suffix.size());
        EXPECT_TRUE(std::regex_match(data, std::regex("[A-Za-z0-9+/]+=*"))) << classes[i];
        EXPECT_EQ(0u, data.size() % 4) << classes[i];
    }
    EXPECT_EQ(6u, Count(sheet, "background-image:"));
}

TEST(ReportTemplateTest, PageFrameRefersToNothingOutside)
{
    std::string frame = ReportTemplate::Head() + ReportTemplate::AfterTitle + ReportTemplate::AfterDate +
                        ReportTemplate::Tail();
    for (const char* outside : {"http:", "https:", "ftp:", "file:", "src=", "href=", "@import"})
        EXPECT_EQ(std::string::npos, frame.find(outside)) << outside;
    EXPECT_EQ(6u, Count(frame, "url("));
    EXPECT_EQ(6u, Count(frame, "url(data:image/"));
}

TEST(ReportTemplateTest, DateFragmentsAndTailCloseThePage)
{
    EXPECT_STREQ("</h2>\n    <h3>", ReportTemplate::AfterTitle);
    EXPECT_STREQ("</h3>\n  </div>", ReportTemplate::AfterDate);

    const std::string& tail = ReportTemplate::Tail();
    const std::string start = "\n  <script>\n    var collapsibleElements=document.getElementsByClassName(";
    const std::string end = "}}));\n  </script>\n</body>\n\n</html>";
    EXPECT_EQ(0u, tail.compare(0, start.size(), start));
    ASSERT_GE(tail.size(), end.size());
    EXPECT_EQ(end, tail.substr(tail.size() - end.size()));
    std::string script = Between(tail, "<script>\n    ", "\n  </script>");
    EXPECT_EQ(std::string::npos, script.find('\n'));
    // The handler must unfold exactly the blocks that the section buttons sit above.
    EXPECT_NE(std::string::npos, script.find("getElementsByClassName(\"collapsible\")"));
    EXPECT_NE(std::string::npos, script.find("classList.contains(\"content\")"));
    EXPECT_NE(std::string::npos, script.find("classList.toggle(\"active\")"));
}

TEST(ReportTemplateTest, DateIsZeroPaddedTwentyFourHourLocalTime)
{
    {
        ScopedTimeZone zone("UTC");
        EXPECT_EQ("2024-03-05 07:09:01", ReportTemplate::FormatReportDate(1709622541));
        EXPECT_EQ("2024-03-05 19:09:01", ReportTemplate::FormatReportDate(1709622541 + 12 * 3600));
    }
    {
        // POSIX zone names count west as positive: this is two hours east of UTC.
        ScopedTimeZone zone("XYZ-2");
        EXPECT_EQ("2024-03-05 09:09:01", ReportTemplate::FormatReportDate(1709622541));
    }
    EXPECT_TRUE(std::regex_match(ReportTemplate::FormatReportDate(),
                                 std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}")));
}
