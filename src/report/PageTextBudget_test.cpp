#include "HtmlText.h"
#include "PageTextBudget.h"
#include "Utf8.h"

#include <gtest/gtest.h>

#include <string>

namespace
{
constexpr size_t kText = PageTextBudget::kMaxTextBytes;
constexpr size_t kPage = PageTextBudget::kPageBytes;

std::string Mark(size_t leftOut)
{
    return " [cut: " + std::to_string(leftOut) + " bytes]";
}
} // namespace

// The per-text bound: a text of up to 4096 bytes is shown whole, one byte more is cut.
TEST(PageTextBudget, TextsJustBelowAtAndPastTheTextBound)
{
    struct Case
    {
        size_t Length;
        std::string Shown;
    };
    const Case cases[] = {
        {kText - 1, std::string(kText - 1, 'a')},
        {kText, std::string(kText, 'a')},
        {kText + 1, std::string(kText, 'a') + Mark(1)},
        {3 * kText, std::string(kText, 'a') + Mark(2 * kText)},
    };
    for (const Case& c : cases)
    {
        PageTextBudget::Start();
        EXPECT_EQ(HtmlText::FromDaemon(std::string(c.Length, 'a')), c.Shown) << c.Length;
        EXPECT_EQ(PageTextBudget::Remaining(), kPage - c.Shown.size()) << "the page counts what it shows";
    }
    // The bound is on the daemon's bytes: escaping a text within it never cuts it.
    PageTextBudget::Start();
    std::string escaped;
    for (size_t i = 0; i < kText; ++i)
        escaped += "&quot;";
    EXPECT_EQ(HtmlText::FromDaemon(std::string(kText, '"')), escaped);
}

// A sequence that the bound would split goes whole into the part left out, whatever its length
// and wherever the bound falls inside it; one that ends at the bound is kept.
TEST(PageTextBudget, TheCutNeverSplitsASequence)
{
    const std::string sequences[] = {"\xC2\xB0", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"};
    for (const std::string& sequence : sequences)
    {
        for (size_t before = 0; before <= sequence.size(); ++before)
        {
            // `before` bytes of the sequence lie within the bound.
            const std::string text = std::string(kText - before, 'a') + sequence + "bb";
            SCOPED_TRACE(std::to_string(sequence.size()) + "-byte sequence, " + std::to_string(before) +
                         " bytes of it within the bound");
            const size_t kept = before == sequence.size() ? kText : kText - before;
            EXPECT_EQ(HtmlText::CutPoint(text, kText), kept);
            PageTextBudget::Start();
            const std::string shown = HtmlText::FromDaemon(text);
            EXPECT_EQ(shown, text.substr(0, kept) + Mark(text.size() - kept));
            EXPECT_TRUE(Utf8::IsValid(shown));
        }
    }
    EXPECT_EQ(HtmlText::CutPoint("\xE2\x82\xAC", 3), 3u) << "a text within the limit is not cut";
    EXPECT_EQ(HtmlText::CutPoint("\xE2\x82\xAC", 2), 0u);
}

// The page's budget, just below, at and past 32 MiB of shown text.
TEST(PageTextBudget, TextsJustBelowAtAndPastThePageBudget)
{
    const std::string text = "RX <9000>";
    const std::string shown = "RX &lt;9000&gt;";
    struct Case
    {
        size_t Spent;
        std::string Shown;
    };
    const Case cases[] = {
        {kPage - shown.size() - 1, shown},
        {kPage - shown.size(), shown}, // fills the page exactly
        {kPage - shown.size() + 1, "[cut: 9 bytes]"},
        {kPage - text.size(), "[cut: 9 bytes]"}, // room for the raw text, not for its escaped form
        {kPage, "[cut: 9 bytes]"},
        {kPage + 100, "[cut: 9 bytes]"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Spent);
        PageTextBudget::Start();
        PageTextBudget::Spend(c.Spent);
        EXPECT_EQ(PageTextBudget::Remaining(), c.Spent < kPage ? kPage - c.Spent : 0);
        EXPECT_EQ(HtmlText::FromDaemon(text), c.Shown);
    }
    PageTextBudget::Start();
    PageTextBudget::Spend(kPage - shown.size());
    HtmlText::FromDaemon(text);
    EXPECT_EQ(PageTextBudget::Remaining(), 0u);
    EXPECT_EQ(HtmlText::FromDaemon("x"), "[cut: 1 bytes]") << "a full page shows only marks";
}

// A long text keeps its first 4096 bytes only while the page has room for them however they
// escape (six bytes each at most); with less room only the mark goes in, so no text overshoots
// the budget by more than its mark.
TEST(PageTextBudget, ALongTextKeepsItsStartOnlyWhileItFits)
{
    const std::string quotes(kText + 10, '"');
    std::string escaped;
    for (size_t i = 0; i < kText; ++i)
        escaped += "&quot;";
    const size_t room = 6 * kText;

    PageTextBudget::Start();
    PageTextBudget::Spend(kPage - room);
    EXPECT_EQ(HtmlText::FromDaemon(quotes), escaped + Mark(10));
    EXPECT_EQ(PageTextBudget::Remaining(), 0u);

    PageTextBudget::Start();
    PageTextBudget::Spend(kPage - room + 1);
    EXPECT_EQ(HtmlText::FromDaemon(quotes), "[cut: " + std::to_string(quotes.size()) + " bytes]");
    EXPECT_LT(PageTextBudget::Remaining(), room);
}
