#pragma once

#include "HostChanges.h"

#include <map>
#include <string>
#include <vector>

// What the overview keeps of one host's changes once its pages are freed: the worst few lines and
// where the whole list went.
struct ChangeCell
{
    bool Compared = false;
    bool OtherHost = false;
    bool Any = false;
    HostStatus Worst = HostStatus::NotPresent;
    std::string Since; // the older page's time stamp
    std::string Headline;
    std::vector<std::string> Lines; // worst first, at most kMaxLines
    size_t MoreLines = 0;           // lines not kept
    std::string Page;               // the host's change page, empty when none was written

    static const size_t kMaxLines = 3;
    static ChangeCell Of(const HostChanges& changes);
};

// The changes of the whole fleet, for the JSON totals, the metrics and the exit status.
class ChangeTotals
{
public:
    void Add(const HostChanges& changes);

    int HostsCompared() const { return m_Compared; }
    int HostsChanged() const { return m_Changed; }
    int HostsWorse() const { return m_Worse; }
    int HostsWithNewEvents() const { return m_WithNewEvents; }
    int OtherHosts() const { return m_OtherHosts; }
    int OfKind(ChangeKind kind) const { return m_ByKind[static_cast<int>(kind)]; }
    const std::map<std::string, int>& NewEventsBySeverity() const { return m_NewEvents; }
    // The older pages' dates (the day of their time stamp), to head the overview's column.
    const std::map<std::string, int>& SinceDates() const { return m_Since; }

private:
    int m_Compared = 0, m_Changed = 0, m_Worse = 0, m_WithNewEvents = 0, m_OtherHosts = 0;
    int m_ByKind[ChangeRules::kKindCount] = {};
    std::map<std::string, int> m_NewEvents;
    std::map<std::string, int> m_Since;
};
