#include "PageTextBudget.h"

#include "CDebug.h"

namespace
{
// A hostile daemon can cause a cut in every cell; the trace names the first ones and then only
// says that more follow.
constexpr uint64_t kTracedCuts = 100;
} // namespace

size_t PageTextBudget::s_Spent = 0;
uint64_t PageTextBudget::s_Cuts = 0;

void PageTextBudget::Start()
{
    s_Spent = 0;
    s_Cuts = 0;
}

size_t PageTextBudget::Remaining()
{
    return s_Spent < kPageBytes ? kPageBytes - s_Spent : 0;
}

void PageTextBudget::Spend(size_t bytes)
{
    s_Spent += bytes;
}

void PageTextBudget::NoteCut(size_t textBytes, size_t keptBytes, bool budgetSpent)
{
    ++s_Cuts;
    if (s_Cuts <= kTracedCuts)
    {
        if (budgetSpent)
            g_Debug.Print(
                1,
                "\nPageTextBudget      : page holds %zu bytes of daemon text already - text of %zu bytes "
                "left out",
                s_Spent, textBytes);
        else
            g_Debug.Print(1, "\nPageTextBudget      : daemon text of %zu bytes cut to %zu bytes", textBytes,
                          keptBytes);
    }
    else if (s_Cuts == kTracedCuts + 1)
    {
        g_Debug.Print(1, "\nPageTextBudget      : more daemon texts cut - not traced one by one");
    }
}
