#include "CollectionName.h"

#include <algorithm>
#include <filesystem>

namespace
{
std::string Lower(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

std::string FirstLabel(const std::string& name)
{
    return name.substr(0, name.find('.'));
}
} // namespace

namespace CollectionName
{
std::string Of(const std::string& path)
{
    std::error_code ec;
    std::filesystem::path absolute = std::filesystem::absolute(path, ec);
    if (ec)
        absolute = path;
    return absolute.lexically_normal().parent_path().filename().string();
}

bool Fits(const std::string& collection, const std::string& hostName,
          const std::vector<std::string>& addresses)
{
    if (hostName.empty() || collection.empty())
        return true;
    std::string folder = Lower(collection), claimed = Lower(hostName);
    if (folder == claimed)
        return true;
    bool folderShort = folder.find('.') == std::string::npos;
    bool claimShort = claimed.find('.') == std::string::npos;
    if ((folderShort && folder == FirstLabel(claimed)) || (claimShort && claimed == FirstLabel(folder)))
        return true;
    return std::any_of(addresses.begin(), addresses.end(),
                       [&](const std::string& address) { return Lower(address) == folder; });
}
} // namespace CollectionName
