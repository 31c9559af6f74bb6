#include "PageFiles.h"

#include <algorithm>
#include <filesystem>
#include <map>

namespace
{
namespace fs = std::filesystem;

bool IsCandidate(const fs::path& path)
{
    std::string ext = path.extension().string();
    return ext == ".html" || ext == ".failed";
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
            files.push_back({argument, fs::path(argument).filename().string()});
            continue;
        }
        std::vector<PageFile> found;
        auto options = fs::directory_options::skip_permission_denied;
        for (fs::recursive_directory_iterator it(argument, options, ec), end; !ec && it != end;
             it.increment(ec))
        {
            std::error_code typeError;
            if (it->is_regular_file(typeError) && IsCandidate(it->path()))
                found.push_back({it->path().string(), it->path().lexically_relative(argument).string()});
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
