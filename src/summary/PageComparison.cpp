#include "PageComparison.h"

#include "CutText.h"
#include "EventLogComparison.h"
#include "TableComparison.h"

#include <map>

namespace
{
const char kInformationBlock[] = "System Information";

// Lines that count on by themselves: a change there is the clock, not news.
bool IsClock(const std::string& title)
{
    return title == "Power On Duration" || title == "Uptime";
}

std::string Join(const std::vector<std::string>& texts)
{
    std::string joined;
    for (const std::string& text : texts)
        joined += (joined.empty() ? "" : ", ") + text;
    return joined;
}

Change IdentityChange(const std::string& where, const std::string& what, const std::string& before,
                      const std::string& after)
{
    Change change;
    change.Kind = ChangeKind::Identity;
    // A new BIOS or management software can explain new trouble, so it ranks with warnings.
    change.Weight = HostStatus::Warning;
    change.Where = where;
    change.What = what;
    change.Before = before;
    change.After = after;
    return change;
}

// The identity lines of the information block, by section title, line title and occurrence;
// addresses are compared as one list.
std::map<std::string, std::pair<std::string, std::string>> IdentityLines(const HostPage& page)
{
    std::map<std::string, std::pair<std::string, std::string>> lines;
    for (const PageSection& section : page.Sections)
    {
        if (section.Block != kInformationBlock)
            continue;
        bool afterAddress = false;
        for (const auto& line : section.Lines)
        {
            afterAddress = line.first == "IP Address" || (afterAddress && line.first.empty());
            if (afterAddress || IsClock(line.first))
                continue;
            std::string key = section.Title + '\x1f' + line.first;
            for (int n = 2; lines.count(key); ++n)
                key = section.Title + '\x1f' + line.first + '\x1f' + std::to_string(n);
            lines[key] = {section.Title + '\x1f' + line.first, line.second};
        }
    }
    return lines;
}

void CompareIdentity(const HostPage& older, const HostPage& newer, std::vector<Change>& changes)
{
    auto before = IdentityLines(older), after = IdentityLines(newer);
    auto split = [](const std::string& both)
    {
        size_t at = both.find('\x1f');
        return std::make_pair(both.substr(0, at), both.substr(at + 1));
    };
    for (const auto& line : after)
    {
        auto old = before.find(line.first);
        std::string was = old == before.end() ? "" : old->second.second;
        if (!CutText::Same(was, line.second.second))
        {
            auto place = split(line.second.first);
            changes.push_back(IdentityChange(place.first, place.second, was, line.second.second));
        }
    }
    for (const auto& line : before)
        if (!after.count(line.first) && !line.second.second.empty())
        {
            auto place = split(line.second.first);
            changes.push_back(IdentityChange(place.first, place.second, line.second.second, ""));
        }
    std::string oldAddresses = Join(older.Identity.Addresses), newAddresses = Join(newer.Identity.Addresses);
    if (oldAddresses != newAddresses)
        changes.push_back(IdentityChange("Operating System", "IP Address", oldAddresses, newAddresses));
}

std::string SectionKey(const PageSection& section)
{
    return section.Block + '\x1f' + section.Group + '\x1f' + section.Title + '\x1f' +
           std::to_string(section.Level);
}

std::string Where(const PageSection& section)
{
    return section.Level > 1 ? section.Group + " / " + section.Title : section.Title;
}

struct Move
{
    const PageSection* Section;
    HostStatus Before, After;
};

// A group header only repeats its sub-sections: its move is news only when none of them moved
// the same way.
bool Explained(const Move& group, const std::vector<Move>& moves)
{
    bool worse = group.After > group.Before;
    for (const Move& m : moves)
        if (m.Section->Level > 1 && m.Section->Group == group.Section->Group &&
            m.Section->Block == group.Section->Block && (m.After > m.Before) == worse)
            return true;
    return false;
}

void CompareSections(const HostPage& older, const HostPage& newer, const ComparisonOptions& options,
                     HostChanges& result)
{
    std::map<std::string, std::vector<const PageSection*>> before;
    for (const PageSection& section : older.Sections)
        before[SectionKey(section)].push_back(&section);
    std::map<std::string, size_t> seen;
    std::vector<Move> moves;
    static const PageTable kEmpty;
    for (const PageSection& section : newer.Sections)
    {
        std::string key = SectionKey(section);
        size_t nth = seen[key]++;
        auto found = before.find(key);
        const PageSection* old =
            found != before.end() && nth < found->second.size() ? found->second[nth] : nullptr;
        if (old && HostStatusRules::CountsForHealth(section))
        {
            HostStatus was = HostStatusRules::FromReportStatus(old->Status);
            HostStatus now = HostStatusRules::FromReportStatus(section.Status);
            if (was != now)
                moves.push_back({&section, was, now});
        }
        if (section.Block == kInformationBlock)
            continue;
        for (size_t t = 0; t < section.Tables.size(); ++t)
        {
            const PageTable& previous = old && t < old->Tables.size() ? old->Tables[t] : kEmpty;
            if (section.Title == HostStatusRules::kEventLogTitle)
            {
                std::vector<NewEvent> fresh = EventLogComparison::NewEntries(previous, section.Tables[t]);
                result.NewEvents.insert(result.NewEvents.end(), fresh.begin(), fresh.end());
            }
            else
                TableComparison::Compare(Where(section), previous, section.Tables[t], options,
                                         result.Changes);
        }
    }
    // Tables the newer page no longer has: every member is gone.
    seen.clear();
    std::map<std::string, size_t> newerCount;
    for (const PageSection& section : newer.Sections)
        ++newerCount[SectionKey(section)];
    for (const PageSection& section : older.Sections)
    {
        if (section.Block == kInformationBlock || section.Title == HostStatusRules::kEventLogTitle)
            continue;
        std::string key = SectionKey(section);
        size_t nth = seen[key]++;
        size_t keptTables = 0;
        if (nth < newerCount[key])
        {
            size_t index = 0;
            for (const PageSection& s : newer.Sections)
                if (SectionKey(s) == key && index++ == nth)
                    keptTables = s.Tables.size();
        }
        for (size_t t = keptTables; t < section.Tables.size(); ++t)
            TableComparison::Compare(Where(section), section.Tables[t], kEmpty, options, result.Changes);
    }
    for (const Move& move : moves)
    {
        if (move.Section->Level == 1 && Explained(move, moves))
            continue;
        Change change;
        bool worse = move.After > move.Before;
        change.Kind = worse ? ChangeKind::SectionWorse : ChangeKind::SectionBetter;
        change.Weight = worse ? move.After : HostStatus::Normal;
        change.Where = Where(*move.Section);
        change.What = "status";
        change.Before = HostStatusRules::Name(move.Before);
        change.After = HostStatusRules::Name(move.After);
        result.Changes.push_back(change);
    }
}
} // namespace

namespace PageComparison
{
HostChanges Compare(const HostPage& older, const HostPage& newer, const ComparisonOptions& options)
{
    HostChanges result;
    result.Compared = true;
    result.OlderFile = older.File;
    result.NewerFile = newer.File;
    result.OlderTimeStamp = older.Identity.TimeStamp;
    result.NewerTimeStamp = newer.Identity.TimeStamp;
    result.OlderSerial = older.Identity.SerialNumber;
    result.NewerSerial = newer.Identity.SerialNumber;
    // Two servers have nothing to compare: a list of every difference would only bury the one
    // fact that matters, that the folder now holds another machine's page.
    if (!older.Identity.SerialNumber.empty() && !newer.Identity.SerialNumber.empty() &&
        older.Identity.SerialNumber != newer.Identity.SerialNumber)
    {
        result.OtherHost = true;
        return result;
    }
    CompareIdentity(older, newer, result.Changes);
    CompareSections(older, newer, options, result);
    for (const NewEvent& event : result.NewEvents)
        ++result.EventsBySeverity[event.Severity];
    ChangeRules::Order(result.Changes);
    return result;
}
} // namespace PageComparison
