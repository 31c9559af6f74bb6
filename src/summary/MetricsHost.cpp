#include "MetricsHost.h"

#include <filesystem>

namespace MetricsHost
{
std::string Of(const PageFile& file, const HostPage& page)
{
    std::filesystem::path relative(file.Relative);
    std::string folder = relative.parent_path().filename().string();
    if (!folder.empty())
        return folder;
    if (!page.Identity.HostName.empty())
        return page.Identity.HostName;
    return std::filesystem::path(file.Path).filename().string();
}
} // namespace MetricsHost
