#include "PageAge.h"

#include "TestEnv.h"

#include <gtest/gtest.h>

TEST(PageAge, DurationGrammar)
{
    struct Case
    {
        const char* Text;
        long long Seconds; // -1: refused
    } cases[] = {{"90s", 90},
                 {"30m", 1800},
                 {"12h", 43200},
                 {"7d", 604800},
                 {"1d", 86400},
                 {"0d", -1},
                 {"7", -1},
                 {"d", -1},
                 {"7w", -1},
                 {"-7d", -1},
                 {"1.5h", -1},
                 {"7D", -1},
                 {"7d ", -1},
                 {" 7d", -1},
                 {"99999999999d", -1},
                 {"36600d", 36600LL * 86400},
                 {"36700d", -1},
                 {"", -1}};
    for (const Case& c : cases)
    {
        long long seconds = -1;
        bool ok = PageAge::ParseDuration(c.Text, seconds);
        EXPECT_EQ(ok, c.Seconds >= 0) << c.Text;
        if (ok)
        {
            EXPECT_EQ(seconds, c.Seconds) << c.Text;
        }
    }
}

// The playbook's UTC stamp in the name is the best truth, then the page's date line, then the
// file's time.
TEST(PageAge, SourcesInOrderOfTruth)
{
    ScopedEnv zone("TZ", "UTC");
    tzset();
    const time_t now = 1767312000; // 2026-01-02 00:00:00 UTC
    const time_t modified = now - 7;
    struct Case
    {
        const char* Name;
        const char* DateLine;
        time_t Modified;
        long long Seconds;
        const char* Source;
    } cases[] = {
        {"20260101T000000Z.html", "2025-12-01 00:00:00", modified, 86400, "file name"},
        {"20260101T120000Z-cut.html", "", modified, 43200, "file name"},
        {"20260101T000000Z.failed", "", modified, 86400, "file name"},
        {"page.html", "2026-01-01 23:00:00", modified, 3600, "page date"},
        {"20261301T000000Z.html", "2026-01-01 23:00:00", modified, 3600, "page date"},
        {"page.html", "YYYY-MM-DD hh:mm:ss", modified, 7, "file time"},
        {"page.html", "", 0, -1, ""},
        {"20270101T000000Z.html", "", modified, 0, "file name"}, // ahead of our clock
    };
    for (const Case& c : cases)
    {
        PageAge::Age age = PageAge::Of(c.Name, c.DateLine, c.Modified, now);
        EXPECT_EQ(age.Seconds, c.Seconds) << c.Name << " " << c.DateLine;
        EXPECT_STREQ(age.Source, c.Source) << c.Name << " " << c.DateLine;
    }
}

TEST(PageAge, Format)
{
    struct Case
    {
        long long Seconds;
        const char* Text;
    } cases[] = {{-1, "unknown"},   {0, "0s"},    {59, "59s"},      {60, "1m"},
                 {3599, "59m 59s"}, {3600, "1h"}, {90061, "1d 1h"}, {86400 * 40 + 59, "40d"}};
    for (const Case& c : cases)
        EXPECT_EQ(PageAge::Format(c.Seconds), c.Text) << c.Seconds;
}
