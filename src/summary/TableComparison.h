#pragma once

#include "HostChanges.h"
#include "HostPage.h"
#include "PageComparison.h"

#include <string>
#include <vector>

// Compares the member rows of one table in two captures. A member is known by its key cells
// (Designation, Name, Socket, Adapter ID, whichever the table has); rows whose key is not unique
// are matched by their position among the rows of that key. A "N more left out" row is compared
// as what it is, never as a member. Missing tables compare as empty ones.
namespace TableComparison
{
void Compare(const std::string& where, const PageTable& older, const PageTable& newer,
             const ComparisonOptions& options, std::vector<Change>& changes);

// The row that closes a table whose members were not all read.
bool IsLeftOutRow(const PageRow& row);
} // namespace TableComparison
