#include "HostChanges.h"

#include <algorithm>

namespace ChangeRules
{
const char* Name(ChangeKind kind)
{
    switch (kind)
    {
    case ChangeKind::SectionWorse:
        return "section_worse";
    case ChangeKind::MemberWorse:
        return "member_worse";
    case ChangeKind::MemberDisappeared:
        return "member_disappeared";
    case ChangeKind::MemberAppeared:
        return "member_appeared";
    case ChangeKind::Identity:
        return "identity";
    case ChangeKind::ValueMoved:
        return "value_moved";
    case ChangeKind::LeftOut:
        return "left_out";
    case ChangeKind::MemberChanged:
        return "member_changed";
    case ChangeKind::SectionBetter:
        return "section_better";
    case ChangeKind::MemberBetter:
        return "member_better";
    }
    return "identity";
}

bool IsWorse(const Change& change)
{
    switch (change.Kind)
    {
    case ChangeKind::SectionWorse:
    case ChangeKind::MemberWorse:
    case ChangeKind::MemberDisappeared:
        return true;
    case ChangeKind::MemberAppeared:
        // A part that comes with a failure is as much news as one that fails in place.
        return change.Weight > HostStatus::Normal;
    default:
        return false;
    }
}

HostStatus WeightOf(const NewEvent& event)
{
    return HostStatusRules::FromReportStatus(event.Status);
}

void Order(std::vector<Change>& changes)
{
    std::stable_sort(changes.begin(), changes.end(),
                     [](const Change& a, const Change& b)
                     {
                         if (a.Weight != b.Weight)
                             return a.Weight > b.Weight;
                         return static_cast<int>(a.Kind) < static_cast<int>(b.Kind);
                     });
}
} // namespace ChangeRules

int HostChanges::Count(ChangeKind kind) const
{
    return static_cast<int>(
        std::count_if(Changes.begin(), Changes.end(), [&](const Change& c) { return c.Kind == kind; }));
}

bool HostChanges::AnyWorse() const
{
    return std::any_of(Changes.begin(), Changes.end(), ChangeRules::IsWorse);
}

HostStatus HostChanges::Worst() const
{
    HostStatus worst = HostStatus::NotPresent;
    for (const Change& change : Changes)
        worst = std::max(worst, change.Weight);
    for (const NewEvent& event : NewEvents)
        worst = std::max(worst, ChangeRules::WeightOf(event));
    return worst;
}
