#include "CaptureHistory.h"

#include "PageReader.h"

#include <algorithm>
#include <filesystem>

namespace
{
namespace fs = std::filesystem;

// Markers and unreadable pages in a row are passed over up to this many; a folder holding more
// of them than this has no usable history worth the reading.
const int kMaxPassedOver = 32;

std::string FolderOf(const std::string& path)
{
    return fs::path(path).parent_path().string();
}

bool Whole(const HostPage& page)
{
    return page.Readable && !page.RunCut;
}

HostChanges NotCompared(const std::string& reason)
{
    HostChanges changes;
    changes.Reason = reason;
    return changes;
}
} // namespace

CaptureHistory::CaptureHistory(const ComparisonOptions& options, bool searchFolders,
                               std::function<bool(const std::string&)> skip)
    : m_Options(options), m_SearchFolders(searchFolders), m_Skip(std::move(skip))
{
}

bool CaptureHistory::FindEarlier(const std::string& path, HostPage& earlier) const
{
    std::error_code ec;
    std::vector<fs::path> names;
    fs::path self(path);
    for (fs::directory_iterator it(self.parent_path(), ec), end; !ec && it != end; it.increment(ec))
    {
        std::error_code typeError;
        const fs::path& p = it->path();
        if (p.extension() == ".html" && p.filename() < self.filename() && it->is_regular_file(typeError) &&
            !m_Skip(p.string()))
            names.push_back(p);
    }
    std::sort(names.rbegin(), names.rend());
    int passed = 0;
    for (const fs::path& p : names)
    {
        // Inside a folder a link is no page a collection run left.
        if (PageReader::ReadFile(p.string(), earlier, nullptr, false) && Whole(earlier))
            return true;
        if (++passed >= kMaxPassedOver)
            break;
    }
    return false;
}

HostChanges CaptureHistory::ChangesOf(const HostPage& page)
{
    if (page.RunFailed)
        return NotCompared("the newest run produced no page");
    if (!page.Readable)
        return NotCompared("the newest page cannot be read");
    if (page.RunCut)
        return NotCompared("the newest page was cut short: parts it could not ask would show as gone");
    std::string folder = FolderOf(page.File);
    if (m_SearchFolders)
    {
        HostPage earlier;
        if (!FindEarlier(page.File, earlier))
            return NotCompared("no earlier whole page in the folder");
        return PageComparison::Compare(earlier, page, m_Options);
    }
    if (m_KeptFolder != folder || !Whole(m_Kept))
        return NotCompared("no earlier whole page in the folder");
    return PageComparison::Compare(m_Kept, page, m_Options);
}

void CaptureHistory::Keep(HostPage&& page)
{
    if (m_SearchFolders)
        return;
    std::string folder = FolderOf(page.File);
    // Only a whole page may stand for the folder's last capture; a failed or cut run in between
    // leaves the one before it in place.
    if (Whole(page) || folder != m_KeptFolder)
    {
        m_KeptFolder = folder;
        m_Kept = std::move(page);
    }
}
