#pragma once

#include "HTMLComponent.h"

#include <string>
#include <vector>

// A table whose first column holds each row's status icon and head text; empty cells show "N/A".
class TableComponent : public HTMLComponent
{
public:
    void AddColumn(const std::string& heading) override;
    void AddRow(const RowHead& head, const std::vector<std::string>& cells) override;
    std::string Render() override;
    size_t RowCount() const { return m_Rows.size(); }

    // The class text of a row for a status ("status-normal", " status-unknown", and
    // "status-not-present" for anything unknown).
    static const char* RowClass(ReportStatus status);

private:
    struct Row
    {
        ReportStatus Status;
        std::string Text;
        std::vector<std::string> Cells;
    };
    std::vector<std::string> m_Headings;
    std::vector<Row> m_Rows;
};
