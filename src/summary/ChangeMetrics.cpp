#include "ChangeMetrics.h"

#include <cctype>
#include <map>

namespace
{
// The event log's severity names as the page's own series label them, each counted from zero.
const char* const kSeverities[] = {"info", "minor", "major", "critical"};

std::string Lower(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}
} // namespace

ChangeMetrics::ChangeMetrics(MetricsWriter& writer) : m_Writer(writer)
{
    m_Compared =
        writer.Declare("hostcapture_changes_compared",
                       "1 when the newest page was compared with the capture before it, 0 when there "
                       "was none (first capture, or the newest page unreadable or cut short).");
    m_OtherHost =
        writer.Declare("hostcapture_changes_other_host",
                       "1 when the capture before is of another server (the serial numbers differ); "
                       "then no change is counted.");
    m_Worse =
        writer.Declare("hostcapture_changes_worse",
                       "1 when some status moved to worse since the capture before: a section or member "
                       "got worse, a member disappeared or appeared failing.");
    m_Changes =
        writer.Declare("hostcapture_changes",
                       "Changes since the capture before, by kind (section_worse, member_disappeared, "
                       "identity, value_moved, ...).");
    m_NewEvents = writer.Declare("hostcapture_changes_new_event_log_entries",
                                 "Event-log entries the newest page has and the capture before had not, by "
                                 "severity.");
}

void ChangeMetrics::Add(const HostChanges& changes)
{
    m_Writer.Sample(m_Compared, {}, changes.Compared ? 1 : 0);
    if (!changes.Compared)
        return;
    m_Writer.Sample(m_OtherHost, {}, changes.OtherHost ? 1 : 0);
    if (changes.OtherHost)
        return;
    m_Writer.Sample(m_Worse, {}, changes.AnyWorse() ? 1 : 0);
    for (int k = 0; k < ChangeRules::kKindCount; ++k)
        m_Writer.Sample(m_Changes, {{"kind", ChangeRules::Name(static_cast<ChangeKind>(k))}},
                        changes.Count(static_cast<ChangeKind>(k)));
    std::map<std::string, int> bySeverity;
    for (const char* severity : kSeverities)
        bySeverity[severity] = 0;
    for (const auto& count : changes.EventsBySeverity)
        bySeverity[Lower(count.first)] += count.second;
    for (const auto& count : bySeverity)
        m_Writer.Sample(m_NewEvents, {{"severity", count.first}}, count.second);
}
