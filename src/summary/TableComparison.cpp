#include "TableComparison.h"

#include "CutText.h"

#include <cmath>
#include <cstdlib>
#include <map>

namespace
{
const char* const kKeyHeadings[] = {"Designation", "Name", "Socket", "Adapter ID"};

bool IsKeyHeading(const std::string& heading)
{
    for (const char* key : kKeyHeadings)
        if (heading == key)
            return true;
    return false;
}

const std::string& Cell(const PageRow& row, size_t heading)
{
    static const std::string none;
    return heading >= 1 && heading - 1 < row.Cells.size() ? row.Cells[heading - 1] : none;
}

// The cells of a table found by heading; heading 0 is the status column.
struct Layout
{
    std::vector<size_t> Keys;
    std::map<std::string, size_t> ByHeading;

    explicit Layout(const PageTable& table)
    {
        for (size_t i = 1; i < table.Headings.size(); ++i)
        {
            ByHeading.emplace(table.Headings[i], i);
            if (IsKeyHeading(table.Headings[i]))
                Keys.push_back(i);
        }
    }

    std::string Key(const PageRow& row, const PageTable& table) const
    {
        std::string key;
        for (size_t heading : Keys)
            key += table.Headings[heading] + '\x1f' + Cell(row, heading) + '\x1e';
        return key;
    }

    // "SAS HDD 1.2TB 10K (0), Adapter ID 0"; "row 3" for a table without key cells.
    std::string Name(const PageRow& row, const PageTable& table, size_t position) const
    {
        std::string name, adapter;
        for (size_t heading : Keys)
        {
            if (table.Headings[heading] == "Adapter ID")
                adapter = ", " + table.Headings[heading] + " " + Cell(row, heading);
            else
                name += (name.empty() ? "" : ", ") + Cell(row, heading);
        }
        if (name.empty())
            return adapter.empty() ? "row " + std::to_string(position + 1) : adapter.substr(2);
        return name + adapter;
    }
};

std::string StatusWords(const PageRow& row)
{
    return row.Text + " (" + HostStatusRules::NameOfReportStatus(row.Status) + ")";
}

// Rank of a row status for worse and better: the host status order (not present lowest).
HostStatus Rank(ReportStatus status)
{
    return HostStatusRules::FromReportStatus(status);
}

bool Number(const std::string& text, double& value)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return end && *end == '\0' && std::isfinite(value);
}

struct Pair
{
    const PageRow* Older;
    const PageRow* Newer;
    std::string Name;
    bool ByPosition;
};

class Comparer
{
public:
    Comparer(const std::string& where, const PageTable& older, const PageTable& newer,
             const ComparisonOptions& options, std::vector<Change>& changes)
        : m_Where(where), m_Older(older), m_Newer(newer), m_OldLayout(older), m_NewLayout(newer),
          m_Options(options), m_Changes(changes)
    {
    }

    void Run()
    {
        // Rows of one key, in page order on both sides: the n-th newer is the n-th older.
        std::map<std::string, std::vector<size_t>> older, newer;
        const PageRow* oldLeftOut = nullptr;
        const PageRow* newLeftOut = nullptr;
        for (size_t i = 0; i < m_Older.Rows.size(); ++i)
        {
            if (TableComparison::IsLeftOutRow(m_Older.Rows[i]))
                oldLeftOut = &m_Older.Rows[i];
            else
                older[m_OldLayout.Key(m_Older.Rows[i], m_Older)].push_back(i);
        }
        for (size_t i = 0; i < m_Newer.Rows.size(); ++i)
        {
            if (TableComparison::IsLeftOutRow(m_Newer.Rows[i]))
                newLeftOut = &m_Newer.Rows[i];
            else
                newer[m_NewLayout.Key(m_Newer.Rows[i], m_Newer)].push_back(i);
        }
        std::map<std::string, size_t> seen;
        for (size_t i = 0; i < m_Newer.Rows.size(); ++i)
        {
            const PageRow& row = m_Newer.Rows[i];
            if (TableComparison::IsLeftOutRow(row))
                continue;
            std::string key = m_NewLayout.Key(row, m_Newer);
            size_t nth = seen[key]++;
            auto match = older.find(key);
            bool byPosition = newer[key].size() > 1 || (match != older.end() && match->second.size() > 1);
            std::string name = m_NewLayout.Name(row, m_Newer, i);
            if (match == older.end() || nth >= match->second.size())
                Appeared(row, name, byPosition);
            else
                Matched({&m_Older.Rows[match->second[nth]], &row, name, byPosition});
        }
        std::map<std::string, size_t> seenOld;
        for (size_t i = 0; i < m_Older.Rows.size(); ++i)
        {
            const PageRow& row = m_Older.Rows[i];
            if (TableComparison::IsLeftOutRow(row))
                continue;
            std::string key = m_OldLayout.Key(row, m_Older);
            size_t nth = seenOld[key]++;
            auto kept = newer.find(key);
            size_t keptCount = kept == newer.end() ? 0 : kept->second.size();
            if (nth < keptCount)
                continue;
            bool byPosition = older[key].size() > 1 || keptCount > 1;
            Add(ChangeKind::MemberDisappeared, HostStatus::Warning, m_OldLayout.Name(row, m_Older, i),
                StatusWords(row), "", byPosition);
        }
        LeftOut(oldLeftOut, newLeftOut);
    }

private:
    void Add(ChangeKind kind, HostStatus weight, const std::string& what, const std::string& before,
             const std::string& after, bool byPosition)
    {
        Change change;
        change.Kind = kind;
        change.Weight = weight;
        change.Where = m_Where;
        change.What = what;
        change.Before = before;
        change.After = after;
        if (byPosition)
            change.Note = "matched by position: the key is not unique in its table";
        m_Changes.push_back(std::move(change));
    }

    void Appeared(const PageRow& row, const std::string& name, bool byPosition)
    {
        HostStatus weight = HostStatusRules::IsFailure(row.Status) ? Rank(row.Status) : HostStatus::Normal;
        Add(ChangeKind::MemberAppeared, weight, name, "", StatusWords(row), byPosition);
    }

    void Matched(const Pair& pair)
    {
        HostStatus before = Rank(pair.Older->Status), after = Rank(pair.Newer->Status);
        if (after > before)
            Add(ChangeKind::MemberWorse, after, pair.Name, StatusWords(*pair.Older), StatusWords(*pair.Newer),
                pair.ByPosition);
        else if (after < before)
            Add(ChangeKind::MemberBetter, HostStatus::Normal, pair.Name, StatusWords(*pair.Older),
                StatusWords(*pair.Newer), pair.ByPosition);
        else if (!CutText::Same(pair.Older->Text, pair.Newer->Text))
            Add(ChangeKind::MemberChanged, HostStatus::Normal, pair.Name, StatusWords(*pair.Older),
                StatusWords(*pair.Newer), pair.ByPosition);
        for (const auto& column : m_NewLayout.ByHeading)
        {
            auto old = m_OldLayout.ByHeading.find(column.first);
            if (old != m_OldLayout.ByHeading.end())
                CompareCell(pair, column.first, Cell(*pair.Older, old->second),
                            Cell(*pair.Newer, column.second));
        }
    }

    // Version cells are identity (a management component was updated); temperatures and fan
    // speeds are news only beyond their thresholds; other cells (sizes, power drawn) are not
    // compared: they drift, or they change only together with the member's status.
    void CompareCell(const Pair& pair, const std::string& heading, const std::string& before,
                     const std::string& after)
    {
        if (heading.find("Version") != std::string::npos)
        {
            if (!CutText::Same(before, after))
                Add(ChangeKind::Identity, HostStatus::Warning, heading, before, after, pair.ByPosition);
            return;
        }
        bool temperature = heading.compare(0, 11, "Temperature") == 0;
        bool fan = heading == "RPM";
        double old = 0, now = 0;
        if ((!temperature && !fan) || !Number(before, old) || !Number(after, now))
            return;
        double move = std::fabs(now - old);
        bool beyond = temperature
                          ? move >= m_Options.TemperatureCelsius
                          : (old == 0 ? now != 0 : move * 100 / std::fabs(old) >= m_Options.FanPercent);
        if (beyond)
            Add(ChangeKind::ValueMoved, HostStatus::Warning, pair.Name + ", " + heading, before, after,
                pair.ByPosition);
    }

    void LeftOut(const PageRow* older, const PageRow* newer)
    {
        std::string before = older ? older->Text : "", after = newer ? newer->Text : "";
        if (before != after)
            Add(ChangeKind::LeftOut, HostStatus::Normal, "rows left out", before, after, false);
    }

    const std::string& m_Where;
    const PageTable& m_Older;
    const PageTable& m_Newer;
    Layout m_OldLayout, m_NewLayout;
    const ComparisonOptions& m_Options;
    std::vector<Change>& m_Changes;
};
} // namespace

namespace TableComparison
{
bool IsLeftOutRow(const PageRow& row)
{
    static const std::string words = " more left out";
    size_t digits = 0;
    while (digits < row.Text.size() && std::isdigit(static_cast<unsigned char>(row.Text[digits])))
        ++digits;
    if (row.Status != StatusUnknown || digits == 0 || row.Text.compare(digits, words.size(), words) != 0)
        return false;
    for (const std::string& cell : row.Cells)
        if (!cell.empty())
            return false;
    return true;
}

void Compare(const std::string& where, const PageTable& older, const PageTable& newer,
             const ComparisonOptions& options, std::vector<Change>& changes)
{
    Comparer(where, older, newer, options, changes).Run();
}
} // namespace TableComparison
