#include "CLogMsgFile.h"

#include "CDebug.h"
#include "CRegistry.h"
#include "CXmlDocument.h"

#include <climits>
#include <unistd.h>

namespace
{
// The product's entry in the registry. The UUID key's value "Server Control" names the product
// key below HKEY_LOCAL_MACHINE; installations that lack the UUID entry use the product key's
// well-known path. Below the product key, "Setup" holds the installation directories: "BinRoot"
// (where the catalogue normally lives) and "FileRoot" (older installations).
const char kUuidKey[] = "SYSTEM\\CurrentControlSet\\Control\\UUID\\C3681B60-0D26-11D3-8319-00A0C9B61E25";
const char kUuidValue[] = "Server Control";
const char kProductKey[] = "SOFTWARE\\Valmerex\\Management\\Server Control";
const char kSetupSubkey[] = "Setup";
const char* const kDirectoryValues[] = {"BinRoot", "FileRoot"};

std::string ReadString(CRegistry& registry, const CRegistryKey& key, const char* name)
{
    std::optional<std::string> value = registry.GetValue(key, name);
    if (!value)
        return std::string();
    // String values are handed out as stored; cut at a terminating zero if one came along.
    const size_t zero = value->find('\0');
    if (zero != std::string::npos)
        value->resize(zero);
    return *value;
}

std::string CurrentDirectory()
{
    char buffer[PATH_MAX];
    if (getcwd(buffer, sizeof buffer) == nullptr)
        return std::string();
    return buffer;
}
} // namespace

std::string CLogMsgFile::JoinPath(const std::string& directory, const std::string& name)
{
    if (directory.empty())
        return name;
    const char last = directory.back();
    if (last == '/' || last == '\\')
        return directory + name;
    return directory + "/" + name;
}

std::string CLogMsgFile::RegisteredDirectory()
{
    CRegistry& registry = TheRegistry();
    registry.SetupTree();
    CRegistryNode* machine = registry.RootKey(RegistryHKeyLocalMachine);
    if (machine == nullptr)
        return std::string();

    std::string productKey = kProductKey;
    CRegistryKey uuidKey(machine);
    if (registry.Open(kUuidKey, uuidKey) == 0)
    {
        const std::string named = ReadString(registry, uuidKey, kUuidValue);
        if (!named.empty())
            productKey = named;
    }

    CRegistryKey setupKey(machine);
    if (registry.Open((productKey + "\\" + kSetupSubkey).c_str(), setupKey) != 0)
        return std::string();
    for (const char* valueName : kDirectoryValues)
    {
        const std::string directory = ReadString(registry, setupKey, valueName);
        if (!directory.empty())
            return directory;
    }
    return std::string();
}

bool CLogMsgFile::TryLoad(const std::string& path)
{
    m_Path = path;
    g_Debug.Print(4, "\nCLogMsgFile         : Try to open file \"%s\"", path.c_str());
    CXmlDocument document;
    return document.Load(path);
}

bool CLogMsgFile::Open()
{
    g_Debug.Print(4, "\nCLogMsgFile         : Use event messages file \"%s\" for decoding", kFileName);

    m_Loaded = false;
    m_Path.clear();
    g_Debug.Print(4, "\nCLogMsgFile         : Search for file in current directory ...");
    const std::string cwd = CurrentDirectory();
    if (!cwd.empty())
        m_Loaded = TryLoad(JoinPath(cwd, kFileName));

    if (!m_Loaded)
    {
        g_Debug.Print(4, "\nCLogMsgFile         : Search for file in registered directory ...");
        const std::string directory = RegisteredDirectory();
        if (!directory.empty())
            m_Loaded = TryLoad(JoinPath(directory, kFileName));
    }

    g_Debug.Print(2, "\nCLogMsgFile         : Event messages %s opened in \"%s\"!",
                  m_Loaded ? "successfully" : "", m_Path.c_str());
    return m_Loaded;
}
