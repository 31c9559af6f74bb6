#pragma once

#include <string>
#include <vector>

// The pages a summary reads: named files, and in named folders (searched recursively) every
// "*.html" page and every "*.failed" marker of a collection run. Inside folders only regular
// files count (no links, FIFOs or devices), and HTML files that are not HostCapture pages (the
// overview the playbook leaves beside the host folders, a saved web page) are passed over.
struct PageFile
{
    std::string Path;
    std::string Relative; // below the folder it was found in (the file name for a named file)
    bool Named = false;   // given on the command line rather than found in a folder
};

namespace PageFiles
{
// Sorted by path within each argument. With latestOnly, a folder contributes only the entry
// whose name sorts last (collected pages carry a time stamp in their name). Arguments that do
// not exist are returned as they are, so that reading them reports the problem.
std::vector<PageFile> Collect(const std::vector<std::string>& arguments, bool latestOnly);
} // namespace PageFiles
