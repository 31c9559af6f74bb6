#include "FleetTally.h"

#include "CollectionName.h"

#include <algorithm>

namespace
{
// Names at most this many distinct failure texts per section, and members per text; the count
// says the rest.
const size_t kMaxNamed = 3;

// The column that names a member, found by its heading; -1 (no names) when there is none.
// Memory modules and processors are named by their socket, most other members by designation.
int NameColumn(const PageTable& table)
{
    for (const char* heading : {"Designation", "Name", "Socket"})
        for (size_t i = 1; i < table.Headings.size(); ++i)
            if (table.Headings[i] == heading)
                return static_cast<int>(i) - 1;
    return -1;
}

// "Power Supply Units: 1 of 2, Present and failed (PSU2)": how many members fail, then each
// distinct status text with the members that show it.
std::string DescribeSection(const PageSection& section, HostStatus worst)
{
    int rows = 0, failing = 0;
    std::vector<std::pair<std::string, std::vector<std::string>>> texts;
    for (const PageTable& table : section.Tables)
    {
        int nameColumn = NameColumn(table);
        for (const PageRow& row : table.Rows)
        {
            ++rows;
            if (!HostStatusRules::IsFailure(row.Status))
                continue;
            ++failing;
            auto entry =
                std::find_if(texts.begin(), texts.end(), [&](const auto& t) { return t.first == row.Text; });
            if (entry == texts.end())
                entry = texts.insert(texts.end(), {row.Text, {}});
            if (nameColumn >= 0 && static_cast<size_t>(nameColumn) < row.Cells.size())
                entry->second.push_back(row.Cells[nameColumn]);
        }
    }
    std::string detail = section.Title + ": ";
    if (failing == 0)
        return detail + HostStatusRules::Name(worst);
    detail += std::to_string(failing) + " of " + std::to_string(rows);
    for (size_t i = 0; i < texts.size() && i < kMaxNamed; ++i)
    {
        detail += ", " + texts[i].first;
        const std::vector<std::string>& names = texts[i].second;
        for (size_t n = 0; n < names.size() && n < kMaxNamed; ++n)
            detail += (n == 0 ? " (" : ", ") + names[n];
        if (names.size() > kMaxNamed)
            detail += ", ...";
        if (!names.empty())
            detail += ")";
    }
    if (texts.size() > kMaxNamed)
        detail += ", ...";
    return detail;
}
} // namespace

GroupCell FleetTally::DescribeGroup(const HostPage& page, const std::string& group)
{
    GroupCell cell;
    for (const PageSection& section : page.Sections)
    {
        if (!HostStatusRules::CountsForHealth(section) || section.Group != group)
            continue;
        HostStatus worst = HostStatusRules::SectionWorst(section);
        cell.Status = std::max(cell.Status, worst);
        bool hasFailingRows = false;
        for (const PageTable& table : section.Tables)
            for (const PageRow& row : table.Rows)
                hasFailingRows = hasFailingRows || HostStatusRules::IsFailure(row.Status);
        // A group header only repeats what its sub-sections say; name it when it alone is bad.
        bool subSectionsTell = section.Level == 1 && section.Tables.empty();
        if (worst > HostStatus::Normal && (!subSectionsTell || hasFailingRows))
        {
            if (!cell.Detail.empty())
                cell.Detail += "; ";
            cell.Detail += DescribeSection(section, worst);
        }
    }
    return cell;
}

void FleetTally::Add(const HostPage& page, const HostChanges& changes, const std::string& changePage)
{
    m_Changes.Add(changes);
    HostLine line;
    line.File = page.File;
    line.Collection = page.Collection;
    line.HostName = page.Identity.HostName;
    line.NameFits = CollectionName::Fits(page.Collection, page.Identity.HostName, page.Identity.Addresses);
    line.AgeSeconds = page.AgeSeconds;
    line.Model = page.Identity.Model;
    line.TimeStamp = page.Identity.TimeStamp;
    line.Problem = page.Problem;
    line.Worst = HostStatusRules::PageWorst(page);
    line.Changes = ChangeCell::Of(changes);
    line.Changes.Page = changePage;
    ++m_PerStatus[static_cast<int>(line.Worst)];
    for (const PageSection& section : page.Sections)
    {
        if (!HostStatusRules::CountsForHealth(section))
            continue;
        if (section.Level == 1 &&
            std::find(m_Groups.begin(), m_Groups.end(), section.Group) == m_Groups.end())
            m_Groups.push_back(section.Group);
        if (section.Level == 1 && line.Groups.count(section.Group) == 0)
            line.Groups[section.Group] = DescribeGroup(page, section.Group);
        for (const PageTable& table : section.Tables)
            for (const PageRow& row : table.Rows)
            {
                if (!HostStatusRules::IsFailure(row.Status))
                    continue;
                FailingCount& count = m_Failing[section.Title];
                (row.Status == StatusWarning ? count.Warning
                 : row.Status == StatusMajor ? count.Major
                                             : count.Error)++;
            }
    }
    m_Lines.push_back(std::move(line));
}

std::vector<HostLine> FleetTally::SortedLines() const
{
    std::vector<HostLine> lines = m_Lines;
    std::stable_sort(lines.begin(), lines.end(),
                     [](const HostLine& a, const HostLine& b)
                     {
                         if (a.Worst != b.Worst)
                             return a.Worst > b.Worst;
                         if (a.Collection != b.Collection)
                             return a.Collection < b.Collection;
                         if (a.HostName != b.HostName)
                             return a.HostName < b.HostName;
                         return a.File < b.File;
                     });
    return lines;
}

HostStatus FleetTally::Worst() const
{
    for (int s = HostStatusRules::kCount - 1; s >= 0; --s)
        if (m_PerStatus[s] > 0)
            return static_cast<HostStatus>(s);
    return HostStatus::Unreadable;
}

int FleetTally::ExitCode() const
{
    return HostStatusRules::ExitCode(Worst());
}
