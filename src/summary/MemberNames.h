#pragma once

#include "HostPage.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

// Names the members (table rows) of a section, for the metrics' "member" label and the status
// line's long output.
namespace MemberNames
{
// Index into a row's cells of the column that names a member ("Designation", "Name" or
// "Socket"), or -1 when the table has none.
int Column(const PageTable& table);

// One name per row of the table, in row order, none repeated within names: the name cell as the
// page shows it ("N/A" included); for a table without a name column the heading of its status
// column. A name met before gets " (2)", " (3)", ... so that every row keeps a series of its own.
// names carries the names already given in the same section across its tables.
std::vector<std::string> Of(const PageTable& table, std::set<std::string>& names);

// True for the last row that a table bounded by the capture's row limit carries instead of the
// rows it left out ("4096 more left out", possibly followed by ", and those of ..."); count
// receives the number at its front.
bool IsLeftOutRow(const PageRow& row, uint64_t& count);
} // namespace MemberNames
