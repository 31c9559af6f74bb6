#include "SysPath.h"

#include <cstdlib>

std::string SysRoot()
{
    // Read on every call: tests switch the root at run time, and the cost is one getenv.
    const char* root = std::getenv("HOSTCAPTURE_SYSROOT");
    if (root == nullptr || *root == '\0')
        return std::string();
    std::string result(root);
    while (result.size() > 1 && result.back() == '/')
        result.pop_back();
    return result;
}

std::string SysPath(const std::string& fixedPath)
{
    std::string root = SysRoot();
    if (root.empty())
        return fixedPath;
    if (root == "/")
        return fixedPath;
    if (!fixedPath.empty() && fixedPath[0] != '/')
        return root + "/" + fixedPath;
    return root + fixedPath;
}
