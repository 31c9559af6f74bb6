#include "SysRootTrust.h"

#include "SysPath.h"

#include <cstdio>
#include <mutex>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
std::string ComponentConcern(const std::string& path, bool last)
{
    struct stat status
    {
    };
    if (stat(path.c_str(), &status) != 0)
        return "\"" + path + "\" cannot be examined";
    if (!S_ISDIR(status.st_mode))
        return "\"" + path + "\" is not a folder";
    if (status.st_uid != 0)
        return "\"" + path + "\" belongs to uid " + std::to_string(status.st_uid);
    const bool sharedSticky = !last && (status.st_mode & S_ISVTX) != 0;
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0 && !sharedSticky)
        return "\"" + path + "\" is writable by other users";
    return std::string();
}
} // namespace

namespace SysRootTrust
{
std::string Concern(const std::string& root)
{
    if (root.empty() || root[0] != '/')
        return "\"" + root + "\" is not an absolute path";
    std::string concern = ComponentConcern("/", root == "/");
    for (size_t slash = root.find('/', 1); concern.empty(); slash = root.find('/', slash + 1))
    {
        const std::string prefix = root.substr(0, slash);
        const bool last =
            slash == std::string::npos || root.find_first_not_of('/', slash) == std::string::npos;
        if (!prefix.empty() && prefix.back() != '/')
            concern = ComponentConcern(prefix, last);
        if (last)
            break;
    }
    return concern;
}

bool IsUsable()
{
    const std::string root = SysRoot();
    if (root.empty() || geteuid() != 0)
        return true;
    const std::string concern = Concern(root);
    if (concern.empty())
        return true;
    static std::mutex mutex;
    static std::set<std::string> reported;
    std::lock_guard<std::mutex> lock(mutex);
    if (reported.insert(root).second)
    {
        std::fprintf(stderr,
                     "HOSTCAPTURE_SYSROOT \"%s\" refused: %s; no daemon, trace configuration or log below it "
                     "is used\n",
                     root.c_str(), concern.c_str());
        std::fflush(stderr);
    }
    return false;
}
} // namespace SysRootTrust
