#include "PageFiles.h"

#include "PageReader.h"
#include "ReadFully.h"
#include "SafeOpen.h"

#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <unistd.h>

namespace
{
namespace fs = std::filesystem;

bool IsCandidate(const fs::path& path)
{
    std::string ext = path.extension().string();
    return ext == ".html" || ext == ".failed";
}

// Looks at the first bytes only, so that passing over a large foreign file costs nothing.
bool IsForeignHtml(const fs::path& path)
{
    if (path.extension() != ".html")
        return false;
    int fd = SafeOpen::ForReading(path.string(), false);
    if (fd < 0)
        return false; // reading it later says why
    std::string opening(PageReader::PageOpening().size(), '\0');
    opening.resize(ReadFully(fd, &opening[0], opening.size()));
    close(fd);
    return PageReader::IsForeign(opening);
}
} // namespace

namespace PageFiles
{
std::vector<PageFile> Collect(const std::vector<std::string>& arguments, bool latestOnly)
{
    std::vector<PageFile> files;
    for (const std::string& argument : arguments)
    {
        std::error_code ec;
        if (!fs::is_directory(argument, ec))
        {
            files.push_back({argument, fs::path(argument).filename().string(), true});
            continue;
        }
        std::vector<PageFile> found;
        auto options = fs::directory_options::skip_permission_denied;
        for (fs::recursive_directory_iterator it(argument, options, ec), end; !ec && it != end;
             it.increment(ec))
        {
            std::error_code typeError;
            if (it->is_regular_file(typeError) && !it->is_symlink(typeError) && IsCandidate(it->path()) &&
                !IsForeignHtml(it->path()))
                found.push_back(
                    {it->path().string(), it->path().lexically_relative(argument).string(), false});
        }
        std::sort(found.begin(), found.end(),
                  [](const PageFile& a, const PageFile& b) { return a.Path < b.Path; });
        if (latestOnly)
        {
            std::map<std::string, PageFile> newest;
            for (const PageFile& file : found)
            {
                fs::path p(file.Path);
                auto& slot = newest[p.parent_path().string()];
                if (slot.Path.empty() || fs::path(slot.Path).filename() < p.filename())
                    slot = file;
            }
            found.clear();
            for (auto& entry : newest)
                found.push_back(entry.second);
        }
        files.insert(files.end(), found.begin(), found.end());
    }
    return files;
}
} // namespace PageFiles
