#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// How much daemon text one page may carry. The daemon's replies are bounded one by one (64 MiB),
// the run as a whole is not: a daemon that answers every name with tens of megabytes would make
// the page, and the memory that builds it, grow without end. So one text is cut at
// kMaxTextBytes (far beyond any real name or message), and once the page holds kPageBytes of
// daemon text every further text is replaced by its cut mark alone. Both are this tool's own
// bounds, chosen so that the page stays well below 64 MiB whatever the daemon sends.
//
// The count is process-wide because daemon texts enter the page through one function
// (HtmlText::FromDaemon) from every section; the document starts it afresh for each page.
class PageTextBudget
{
public:
    static constexpr size_t kMaxTextBytes = 4096;
    static constexpr size_t kPageBytes = 32u * 1024u * 1024u;

    // Starts a new page: nothing spent.
    static void Start();
    // Room left in the page, in bytes of page text.
    static size_t Remaining();
    // Counts bytes placed into the page.
    static void Spend(size_t bytes);
    // Counts one cut text and traces it (the first few in full, then only how many there were).
    static void NoteCut(size_t textBytes, size_t keptBytes, bool budgetSpent);

private:
    static size_t s_Spent;
    static uint64_t s_Cuts;
};
