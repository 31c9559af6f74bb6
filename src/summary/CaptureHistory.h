#pragma once

#include "HostChanges.h"
#include "HostPage.h"
#include "PageComparison.h"

#include <functional>
#include <string>

// Finds, for each page the summary reads, the capture before it in the same folder (the
// collection playbook keeps one folder per host, its pages named by time) and compares the two.
// It holds one page only, the last whole one of the folder being read, so memory stays that of
// one host's two pages however many hosts there are.
//
// The capture before is the newest earlier page of the folder that could be read and was not cut
// short: a failed run or a cut page in between says nothing about the parts, and comparing with it
// would report every member it lacks as gone.
class CaptureHistory
{
public:
    // skip tells which files are no pages of a host (the summary's own outputs).
    CaptureHistory(const ComparisonOptions& options, bool searchFolders,
                   std::function<bool(const std::string&)> skip);

    // The changes of page (already read from its file) against the capture before it. With
    // searchFolders (only the newest page of each folder is read), the capture before is looked
    // for in the folder; otherwise it is the page this object kept from the earlier calls.
    HostChanges ChangesOf(const HostPage& page);
    // Hands the page over after its use, so it can serve as the capture before the next one.
    void Keep(HostPage&& page);

private:
    bool FindEarlier(const std::string& path, HostPage& earlier) const;

    ComparisonOptions m_Options;
    bool m_SearchFolders;
    std::function<bool(const std::string&)> m_Skip;
    std::string m_KeptFolder;
    HostPage m_Kept;
};
