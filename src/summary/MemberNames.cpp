#include "MemberNames.h"

#include <cstdlib>

namespace MemberNames
{
int Column(const PageTable& table)
{
    for (const char* heading : {"Designation", "Name", "Socket"})
        for (size_t i = 1; i < table.Headings.size(); ++i)
            if (table.Headings[i] == heading)
                return static_cast<int>(i) - 1;
    return -1;
}

std::vector<std::string> Of(const PageTable& table, std::set<std::string>& names)
{
    int column = Column(table);
    std::string fallback = table.Headings.empty() ? "Status" : table.Headings[0];
    std::vector<std::string> result;
    for (const PageRow& row : table.Rows)
    {
        std::string base =
            column >= 0 && static_cast<size_t>(column) < row.Cells.size() ? row.Cells[column] : fallback;
        std::string name = base;
        for (int n = 2; names.count(name) != 0; ++n)
            name = base + " (" + std::to_string(n) + ")";
        names.insert(name);
        result.push_back(name);
    }
    return result;
}

bool IsLeftOutRow(const PageRow& row, uint64_t& count)
{
    static const std::string kWords = " more left out";
    if (row.Status != StatusUnknown || row.Text.empty() || row.Text[0] < '0' || row.Text[0] > '9')
        return false;
    size_t digits = row.Text.find_first_not_of("0123456789");
    if (digits == std::string::npos || row.Text.compare(digits, kWords.size(), kWords) != 0)
        return false;
    count = std::strtoull(row.Text.c_str(), nullptr, 10);
    return true;
}
} // namespace MemberNames
