#pragma once

#include <string>
#include <vector>

// The pages a summary reads: named files, and in named folders (searched recursively) every
// "*.html" page and every "*.failed" marker of a collection run.
struct PageFile
{
    std::string Path;
    std::string Relative; // below the folder it was found in (the file name for a named file)
};

namespace PageFiles
{
// Sorted by path within each argument. With latestOnly, a folder contributes only the entry
// whose name sorts last (collected pages carry a time stamp in their name). Arguments that do
// not exist are returned as they are, so that reading them reports the problem.
std::vector<PageFile> Collect(const std::vector<std::string>& arguments, bool latestOnly);
} // namespace PageFiles
