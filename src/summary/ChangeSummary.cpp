#include "ChangeSummary.h"

#include "ChangeText.h"

ChangeCell ChangeCell::Of(const HostChanges& changes)
{
    ChangeCell cell;
    cell.Compared = changes.Compared;
    cell.OtherHost = changes.OtherHost;
    cell.Any = changes.Any();
    cell.Worst = changes.Worst();
    cell.Since = changes.OlderTimeStamp;
    if (!changes.Compared)
        return cell;
    cell.Headline = ChangeText::Headline(changes);
    if (changes.OtherHost)
        return cell;
    std::vector<std::string> lines = ChangeText::Lines(changes);
    for (size_t i = 0; i < lines.size(); ++i)
    {
        if (i < kMaxLines)
            cell.Lines.push_back(std::move(lines[i]));
        else
            ++cell.MoreLines;
    }
    return cell;
}

void ChangeTotals::Add(const HostChanges& changes)
{
    if (!changes.Compared)
        return;
    ++m_Compared;
    ++m_Since[changes.OlderTimeStamp.substr(0, 10)];
    if (changes.OtherHost)
    {
        ++m_OtherHosts;
        return;
    }
    m_Changed += changes.Any();
    m_Worse += changes.AnyWorse();
    m_WithNewEvents += !changes.NewEvents.empty();
    for (const Change& change : changes.Changes)
        ++m_ByKind[static_cast<int>(change.Kind)];
    for (const auto& count : changes.EventsBySeverity)
        m_NewEvents[count.first] += count.second;
}
