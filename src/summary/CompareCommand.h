#pragma once

#include "PageComparison.h"

#include <string>

// hostcapture-summary --compare OLD NEW: the changes between two pages of one host, as text for
// a terminal or (jsonPath "-" or a file) as JSON. Exit status like diff's: 0 no change, 1 changes
// (or pages of two servers), 3 a page that cannot be read or an output that cannot be written.
namespace CompareCommand
{
int Run(const std::string& older, const std::string& newer, const std::string& jsonPath,
        const ComparisonOptions& options);
} // namespace CompareCommand
