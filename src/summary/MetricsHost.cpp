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
    return std::filesystem::path(file.Path).filename().string();
}
} // namespace MetricsHost
