#include "ChangeText.h"

#include "Utf8.h"

#include <algorithm>

namespace
{
std::string Plural(int count, const char* one, const char* many)
{
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string Line(const Change& c)
{
    using ChangeText::Safe;
    std::string place = Safe(c.Where) + ": " + Safe(c.What);
    std::string line;
    switch (c.Kind)
    {
    case ChangeKind::SectionWorse:
    case ChangeKind::SectionBetter:
        line = std::string(c.Kind == ChangeKind::SectionWorse ? "worse" : "better") + "     " +
               Safe(c.Where) + ": " + Safe(c.Before) + " -> " + Safe(c.After);
        break;
    case ChangeKind::MemberWorse:
    case ChangeKind::MemberBetter:
    case ChangeKind::MemberChanged:
        line = std::string(c.Kind == ChangeKind::MemberWorse    ? "worse     "
                           : c.Kind == ChangeKind::MemberBetter ? "better    "
                                                                : "changed   ") +
               place + ": " + Safe(c.Before) + " -> " + Safe(c.After);
        break;
    case ChangeKind::MemberDisappeared:
        line = "gone      " + place + " (was " + Safe(c.Before) + ")";
        break;
    case ChangeKind::MemberAppeared:
        line = "new       " + place + ": " + Safe(c.After);
        break;
    case ChangeKind::Identity:
    case ChangeKind::ValueMoved:
    case ChangeKind::LeftOut:
        line = std::string(c.Kind == ChangeKind::Identity     ? "identity  "
                           : c.Kind == ChangeKind::ValueMoved ? "value     "
                                                              : "left out  ") +
               place + ": " + (c.Before.empty() ? "(none)" : Safe(c.Before)) + " -> " +
               (c.After.empty() ? "(none)" : Safe(c.After));
        break;
    }
    if (!c.Note.empty())
        line += " [" + Safe(c.Note) + "]";
    return line;
}
} // namespace

namespace ChangeText
{
std::string Safe(const std::string& text)
{
    return Utf8::Repaired(text, Utf8::Controls::Replace);
}

std::string EventCounts(const HostChanges& changes)
{
    std::vector<std::pair<HostStatus, std::string>> order;
    for (const NewEvent& event : changes.NewEvents)
    {
        auto known = std::find_if(order.begin(), order.end(),
                                  [&](const auto& o) { return o.second == event.Severity; });
        if (known == order.end())
            order.push_back({ChangeRules::WeightOf(event), event.Severity});
        else
            known->first = std::max(known->first, ChangeRules::WeightOf(event));
    }
    std::stable_sort(order.begin(), order.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    std::string text;
    for (const auto& o : order)
    {
        auto count = changes.EventsBySeverity.find(o.second);
        text += (text.empty() ? "" : ", ") +
                std::to_string(count == changes.EventsBySeverity.end() ? 0 : count->second) + " " +
                Safe(o.second);
    }
    return text;
}

std::vector<std::string> Lines(const HostChanges& changes)
{
    std::vector<std::string> lines;
    HostStatus eventWeight = HostStatus::NotPresent;
    for (const NewEvent& event : changes.NewEvents)
        eventWeight = std::max(eventWeight, ChangeRules::WeightOf(event));
    bool eventsPlaced = changes.NewEvents.empty();
    std::string eventLine =
        "events    " +
        Plural(static_cast<int>(changes.NewEvents.size()), "new event-log entry", "new event-log entries") +
        ": " + EventCounts(changes);
    for (const Change& change : changes.Changes)
    {
        if (!eventsPlaced && eventWeight > change.Weight)
        {
            lines.push_back(eventLine);
            eventsPlaced = true;
        }
        lines.push_back(Line(change));
    }
    if (!eventsPlaced)
        lines.push_back(eventLine);
    return lines;
}

std::string Headline(const HostChanges& changes)
{
    std::string since = Safe(changes.OlderTimeStamp.empty() ? changes.OlderFile : changes.OlderTimeStamp);
    if (changes.OtherHost)
        return "another server: serial number " + Safe(changes.NewerSerial) + ", the page of " + since +
               " has " + Safe(changes.OlderSerial) + "; not compared";
    if (!changes.Any())
        return "no change since " + since;
    std::string head;
    if (!changes.Changes.empty())
        head = Plural(static_cast<int>(changes.Changes.size()), "change", "changes");
    if (!changes.NewEvents.empty())
        head += (head.empty() ? "" : " and ") + Plural(static_cast<int>(changes.NewEvents.size()),
                                                       "new event-log entry", "new event-log entries");
    return head + " since " + since;
}

std::string Report(const HostChanges& changes)
{
    std::string text =
        Safe(changes.OlderFile) + " -> " + Safe(changes.NewerFile) + "\n" + Headline(changes) + "\n";
    if (changes.OtherHost)
        return text;
    for (const std::string& line : Lines(changes))
        text += "  " + line + "\n";
    if (!changes.NewEvents.empty())
        text += "New event-log entries:\n";
    for (const NewEvent& e : changes.NewEvents)
        text += "  " + Safe(e.Severity) + "  " + Safe(e.Code) + "  " + Safe(e.Timestamp) + "  " +
                Safe(e.Message) + "\n";
    return text;
}
} // namespace ChangeText
