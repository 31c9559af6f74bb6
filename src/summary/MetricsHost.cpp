#include "MetricsHost.h"

#include <filesystem>

namespace MetricsHost
{
std::string Of(const PageFile& file, const HostPage& page)
{
    // Below the folder given, the page lies in its host's folder: the collection the run named.
    if (file.Relative.find('/') != std::string::npos && !page.Collection.empty())
        return page.Collection;
    if (!page.Identity.HostName.empty())
        return page.Identity.HostName;
    // A folder argument that is not there ("nosuch/") has no file name: the argument itself.
    std::string name = std::filesystem::path(file.Path).filename().string();
    return name.empty() ? file.Path : name;
}
} // namespace MetricsHost
