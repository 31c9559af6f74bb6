#include "ReportTemplate.h"
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
    return text.substr(start, text.find(close, start) - start);
}

bool EndsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}
} // namespace

TEST(ReportTemplateTest, HeadHoldsOneLineStyleSheetWithSixEmbeddedIconsBeforeTheIconOffset)
{
    const std::string& head = ReportTemplate::Head();
    EXPECT_EQ(0u, head.find("<!DOCTYPE html>\n<html>\n"));
    EXPECT_TRUE(EndsWith(head, "}\n  </style>\n</head>\n\n<body>\n  <div class=\"title-app\">\n    <h2>"));

    std::string sheet = Between(head, "<style>\n    ", "\n  </style>");
    EXPECT_EQ(std::string::npos, sheet.find('\n'));
    std::vector<std::string> rules;
    for (size_t start = 0, end; (end = sheet.find('}', start)) != std::string::npos; start = end + 1)
        rules.push_back(sheet.substr(start, end + 1 - start));
    ASSERT_EQ(33u, rules.size());
    // The arrowheads are CSS escapes: the backslash itself must reach the page.
    EXPECT_EQ(".active:after{content:\"\\02C5\"}", rules[2]);

    const char* const classes[] = {"status-normal", "status-warning", "status-major",
                                   "status-error",  "status-unknown", "status-not-present"};
    const std::regex iconRule(
        "\\.([a-z-]+)\\{background-image:url\\(data:image/(png|gif);base64,[A-Za-z0-9+/]+=*\\);"
        "background-repeat:no-repeat;background-position:left center;margin-left:15px\\}");
    for (size_t i = 0; i < 6; ++i)
    {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(rules[26 + i], match, iconRule)) << rules[26 + i].substr(0, 80);
        EXPECT_EQ(classes[i], match[1].str());
        EXPECT_EQ(i == 2 ? "gif" : "png", match[2].str());
    }
}

TEST(ReportTemplateTest, PageFrameIsSelfContainedAndEndsWithoutNewline)
{
    EXPECT_TRUE(EndsWith(ReportTemplate::Tail(), "}}));\n  </script>\n</body>\n\n</html>"));

    std::string frame = ReportTemplate::Head() + ReportTemplate::Tail();
    for (const char* outside : {"http:", "https:", "ftp:", "file:", "src=", "href=", "@import"})
        EXPECT_EQ(std::string::npos, frame.find(outside)) << outside;
    size_t urls = 0;
    for (size_t at = frame.find("url("); at != std::string::npos; at = frame.find("url(", at + 1))
        urls += frame.compare(at, 15, "url(data:image/") == 0 ? 1 : 100;
    EXPECT_EQ(6u, urls);
}

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
