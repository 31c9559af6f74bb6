#include "HtmlText.h"

#include "HtmlEscape.h"
#include "PageTextBudget.h"
#include "Utf8.h"

#include <cstdint>
#include <cstdio>

namespace HtmlText
{
std::string RepairUtf8(const std::string& text)
{
    return Utf8::Repaired(text, Utf8::Controls::Replace);
}

std::string FromDaemon(const std::string& text)
{
    if (text.size() <= PageTextBudget::kMaxTextBytes && text.size() <= PageTextBudget::Remaining())
    {
        std::string shown = HtmlEscape(RepairUtf8(text));
        if (shown.size() <= PageTextBudget::Remaining())
        {
            PageTextBudget::Spend(shown.size());
            return shown;
        }
    }
    return CutFromDaemon(text);
}

size_t CutPoint(const std::string& text, size_t limit)
{
    if (text.size() <= limit)
        return text.size();
    size_t cut = limit;
    // Back over the continuation bytes of a sequence that the limit would split (at most three:
    // a longer run is no sequence, and the repair replaces it anyway).
    for (int i = 0; i < 3 && cut > 0 && (static_cast<uint8_t>(text[cut]) & 0xC0) == 0x80; ++i)
        --cut;
    return cut;
}

std::string CutFromDaemon(const std::string& text)
{
    const bool budgetSpent = PageTextBudget::Remaining() < PageTextBudget::kMaxTextBytes * 6;
    const size_t kept = budgetSpent ? 0 : CutPoint(text, PageTextBudget::kMaxTextBytes);
    std::string shown = budgetSpent ? std::string() : HtmlEscape(RepairUtf8(text.substr(0, kept)));
    char mark[48];
    snprintf(mark, sizeof mark, "%s[cut: %zu bytes]", shown.empty() ? "" : " ", text.size() - kept);
    shown += HtmlEscape(mark);
    PageTextBudget::Spend(shown.size());
    PageTextBudget::NoteCut(text.size(), kept, budgetSpent);
    return shown;
}
} // namespace HtmlText
