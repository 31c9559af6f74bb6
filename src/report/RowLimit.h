#pragma once

#include "TableComponent.h"

#include <cstddef>
#include <cstdint>

// The bound on a table that is built from member counts the daemon reports. The daemon is not
// ours to trust: a count of 0xFFFFFFFF would otherwise mean billions of queries and a page
// without end. Every count-driven table therefore holds at most kMaxRows member rows, far more
// than any real server has; what lies beyond is not asked for, and one last row (status unknown)
// tells how many members were left out. Each cut count is traced at level 1 with its name.
// This bound is this tool's own protection and applies to every such table alike.
class RowLimit
{
public:
    static constexpr uint32_t kMaxRows = 4096;

    explicit RowLimit(const char* tableName) : m_TableName(tableName) {}

    // Rows the table still has room for.
    uint32_t Room() const { return kMaxRows - m_Rows; }

    // Rows to build for a count whose members each give one row: the count, or the room left.
    uint32_t Take(const char* countName, uint32_t reported);

    // Members to visit for a count whose members give no row of their own but counts of rows
    // (the RAID adapters whose drives fill a drive table): at most kMaxRows of them.
    uint32_t Visit(const char* countName, uint32_t reported);

    // Members left out so far, and members of an outer count that were never visited.
    uint64_t LeftOut() const { return m_LeftOut; }
    uint64_t NotVisited() const { return m_NotVisited; }

    // Adds the closing row when anything was left out; cellCount is the number of columns after
    // the status column.
    void AddLeftOutRow(TableComponent& table, size_t cellCount) const;

private:
    const char* m_TableName;
    uint32_t m_Rows = 0;
    uint64_t m_LeftOut = 0;
    uint64_t m_NotVisited = 0;
    const char* m_NotVisitedName = "";
};
