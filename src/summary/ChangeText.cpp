#include "ChangeText.h"

#include "TerminalText.h"

#include <algorithm>

namespace
{
std::string Plural(int count, const char* one, const char* many)
{
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

// The word before each line says what kind of change it is; all are ten columns wide.
const char* Label(ChangeKind kind)
{
    switch (kind)
    {
    case ChangeKind::SectionWorse:
    case ChangeKind::MemberWorse:
        return "worse     ";
    case ChangeKind::SectionBetter:
    case ChangeKind::MemberBetter:
        return "better    ";
    case ChangeKind::MemberChanged:
        return "changed   ";
    case ChangeKind::MemberDisappeared:
        return "gone      ";
    case ChangeKind::MemberAppeared:
        return "new       ";
    case ChangeKind::Identity:
        return "identity  ";
    case ChangeKind::ValueMoved:
        return "value     ";
    case ChangeKind::LeftOut:
        return "left out  ";
    }
    return "changed   ";
}

std::string Shown(const std::string& text)
{
    return text.empty() ? "(none)" : ChangeText::Safe(text);
}

std::string Line(const Change& c)
{
    std::string line = Label(c.Kind) + ChangeText::Safe(c.Where) + ": " + ChangeText::Safe(c.What);
    if (c.Kind == ChangeKind::MemberDisappeared)
        line += " (was " + Shown(c.Before) + ")";
    else if (c.Kind == ChangeKind::MemberAppeared)
        line += ": " + Shown(c.After);
    else
        line += ": " + Shown(c.Before) + " -> " + Shown(c.After);
    if (!c.Note.empty())
        line += " [" + ChangeText::Safe(c.Note) + "]";
    return line;
}
} // namespace

namespace ChangeText
{
std::string Safe(const std::string& text)
{
    return TerminalText::Safe(text);
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
        text += "  " + Safe(e.Severity) +
                std::string(e.Severity.size() < 8 ? 8 - e.Severity.size() : 0, ' ') + "  " + Safe(e.Code) +
                "  " + Safe(e.Timestamp) + "  " + Safe(e.Message) + "\n";
    return text;
}
} // namespace ChangeText
