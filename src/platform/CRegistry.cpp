#include "CRegistry.h"

#include "CDebug.h"
#include "CRegistryFile.h"
#include "SysPath.h"

#include <cstdio>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
const char* const kRootKeyNames[RegistryRootKeyCount] = {
    "HKEY_LOCAL_MACHINE", "HKEY_CURRENT_USER", "HKEY_USERS", "HKEY_CLASSES_ROOT", "HKEY_CURRENT_CONFIG",
};
} // namespace

CRegistry& TheRegistry()
{
    static CRegistry registry;
    return registry;
}

CRegistry::CRegistry() : m_Root(std::make_unique<CRegistryNode>(std::string(), 0))
{
    BuildPaths();
}

CRegistry::~CRegistry() = default;

void CRegistry::BuildPaths()
{
    // Built on every load: the system root may change between runs of a test suite.
    const std::string directory = SysPath("/opt/TessmarkQDX/vital/etc/plinthd") + "/";
    m_Path = directory + "registry";
    m_PathOld = directory + "registry.old";
    m_PathNew = directory + "registry.new";
    m_PathDefault = directory + "registry.default";
}

void CRegistry::RememberRootKeys()
{
    for (int which = 0; which < RegistryRootKeyCount; ++which)
        m_RootKeys[which] = m_Root->FindChild(kRootKeyNames[which]);
}

CRegistryNode* CRegistry::RootKey(CRegistryRootKey which) const
{
    if (which < 0 || which >= RegistryRootKeyCount)
        return nullptr;
    CRecursiveLockGuard guard(m_Lock);
    return m_RootKeys[which];
}

void CRegistry::SetupTree(bool force)
{
    CRecursiveLockGuard guard(m_Lock);
    if (m_IsSetup && !force)
        return;
    const bool trace = g_Debug.IsTraceEnabled();
    if (trace)
        g_Debug.Print(2, "CRegistry: SetupTree(): ForceSetup=%d, MIsSetup=%d, MIsDirty=%d\n", force ? 1 : 0,
                      m_IsSetup ? 1 : 0, m_IsDirty ? 1 : 0);
    try
    {
        BuildPaths();
        // "registry.new" is never read: it may be the remains of an interrupted save.
        std::unique_ptr<CRegistryNode> tree = CRegistryFile::Restore(m_Path);
        if (!tree)
        {
            if (trace)
                g_Debug.Print(3, "CRegistry: WARNING: Could not restore tree from \"%s\", trying backup\n",
                              m_Path.c_str());
            tree = CRegistryFile::Restore(m_PathOld);
        }
        if (!tree)
        {
            if (trace)
                g_Debug.Print(3, "CRegistry: WARNING: Could not restore tree from \"%s\", trying default\n",
                              m_PathOld.c_str());
            tree = CRegistryFile::Restore(m_PathDefault);
        }
        if (!tree)
        {
            if (trace)
                g_Debug.Print(1, "CRegistry: ERROR: Could not restore tree from \"%s\", restoring failed\n",
                              m_PathDefault.c_str());
            return;
        }
        m_Root = std::move(tree);
        RememberRootKeys();
        m_IsDirty = false;
        m_IsSetup = true;
    }
    catch (...)
    {
        if (trace)
            g_Debug.Print(2, "CRegistry: SetupTree(): ## ERROR during Setup\n");
    }
}

void CRegistry::SaveTree()
{
    if (!m_IsDirty)
        return;
    CRecursiveLockGuard guard(m_Lock);
    const bool trace = g_Debug.IsTraceEnabled();
    FILE* file = std::fopen(m_PathNew.c_str(), "w");
    if (file == nullptr)
    {
        if (trace)
            g_Debug.Print(1, "CRegistry: ERROR: Cannot open \"%s\" for writing\n", m_PathNew.c_str());
        m_IsDirty = false;
        return;
    }
    bool written = false;
    try
    {
        written = CRegistryFile::Write(file, *m_Root);
    }
    catch (...)
    {
        written = false;
    }
    written = std::fflush(file) == 0 && written;
    written = fsync(fileno(file)) == 0 && written;
    written = std::fclose(file) == 0 && written;
    if (!written)
    {
        // The live file stays as it was; the tree stays changed, so a later save tries again.
        if (trace)
            g_Debug.Print(1, "CRegistry: ERROR: Cannot write \"%s\"\n", m_PathNew.c_str());
        unlink(m_PathNew.c_str());
        return;
    }

    // An empty live file carries nothing worth keeping and must not replace a good backup.
    struct stat status
    {
    };
    if (stat(m_Path.c_str(), &status) == 0 && status.st_size > 0 &&
        std::rename(m_Path.c_str(), m_PathOld.c_str()) != 0 && trace)
        g_Debug.Print(1, "CRegistry: ERROR: Cannot rename \"%s\" to \"%s\"\n", m_Path.c_str(),
                      m_PathOld.c_str());
    if (std::rename(m_PathNew.c_str(), m_Path.c_str()) != 0)
    {
        if (trace)
            g_Debug.Print(1, "CRegistry: ERROR: Cannot rename \"%s\" to \"%s\"\n", m_PathNew.c_str(),
                          m_Path.c_str());
        return;
    }
    chmod(m_Path.c_str(), 0644);
    if (trace)
        g_Debug.Print(2, "\nCRegistry::SaveTree MPRegistryTemp[%s] \t MPRegistry[%s]", m_PathNew.c_str(),
                      m_Path.c_str());
    m_IsDirty = false;
}

void CRegistry::InitClass()
{
    if (g_Debug.IsTraceEnabled())
    {
        g_Debug.Print(2, "\nCRegistry::InitClass");
        g_Debug.Print(2, "CRegistry::InitClass() : re-initialize the registry-tree\n");
    }
    CRecursiveLockGuard guard(m_Lock);
    try
    {
        m_Root = std::make_unique<CRegistryNode>(std::string(), 0);
    }
    catch (...)
    {
        // Keep the old tree; the reload below replaces it when the files can be read.
    }
    RememberRootKeys();
    m_IsSetup = false;
    m_IsDirty = false;
    SetupTree(true);
}
