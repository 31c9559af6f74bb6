#include "TableComponent.h"

#include <algorithm>
#include <string_view>

namespace
{
constexpr std::string_view kRowOpen = "\n          <tr>\n            <td class=\"";
constexpr std::string_view kIconCell = " icon status\">";
constexpr std::string_view kCellOpen = "\n            <td>";
constexpr std::string_view kCellClose = "</td>";
constexpr std::string_view kRowClose = "\n          </tr>";
constexpr std::string_view kNotAvailable = "N/A";
} // namespace

const char* TableComponent::RowClass(ReportStatus status)
{
    // A row always shows an icon: anything without one of its own falls back to "not present".
    // The unknown class keeps its leading blank; the class attribute reads the same either way.
    switch (status)
    {
    case StatusUnknown:
        return " status-unknown";
    case StatusNormal:
        return "status-normal";
    case StatusWarning:
        return "status-warning";
    case StatusError:
        return "status-error";
    case StatusMajor:
        return "status-major";
    default:
        return "status-not-present";
    }
}

void TableComponent::AddColumn(const std::string& heading)
{
    m_Headings.push_back(heading);
}

void TableComponent::AddRow(const RowHead& head, const std::vector<std::string>& cells)
{
    m_Rows.push_back(Row{head.Status, head.Text, cells});
}

std::string TableComponent::Render()
{
    // Tables can hold many thousands of rows: size the result once and append in place.
    size_t size = 160;
    for (const std::string& heading : m_Headings)
        size += 24 + heading.size();
    for (const Row& row : m_Rows)
    {
        size +=
            kRowOpen.size() + 20 + kIconCell.size() + row.Text.size() + kCellClose.size() + kRowClose.size();
        for (const std::string& cell : row.Cells)
            size += kCellOpen.size() + std::max(cell.size(), kNotAvailable.size()) + kCellClose.size();
    }

    std::string out;
    out.reserve(size);
    out += "\n      <table class=\"data-table component-table\">\n        <thead>\n          <tr>";
    for (const std::string& heading : m_Headings)
    {
        out += "\n            <th>";
        out += heading;
        out += "</th>";
    }
    out += "\n          </tr>\n        </thead>\n        <tbody>";
    for (const Row& row : m_Rows)
    {
        out += kRowOpen;
        out += RowClass(row.Status);
        out += kIconCell;
        out += row.Text;
        out += kCellClose;
        for (const std::string& cell : row.Cells)
        {
            out += kCellOpen;
            if (cell.empty())
                out += kNotAvailable;
            else
                out += cell;
            out += kCellClose;
        }
        out += kRowClose;
    }
    out += "\n        </tbody>\n      </table>";
    return out;
}
