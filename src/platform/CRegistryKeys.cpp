// Key operations of CRegistry: opening, creating and deleting keys by path.
#include "CDebug.h"
#include "CRegistry.h"
#include "CRegistryFile.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <vector>

namespace
{
// Splits a path into its non-empty components. At each step the next backslash ends the
// component; once the rest holds no backslash, slashes separate.
std::vector<std::string> SplitPath(const char* path)
{
    std::vector<std::string> components;
    const char* position = path;
    while (position != nullptr && *position != '\0')
    {
        const char* separator = std::strchr(position, '\\');
        if (separator == nullptr)
            separator = std::strchr(position, '/');
        std::string component;
        if (separator == nullptr)
        {
            component = position;
            position = nullptr;
        }
        else
        {
            component.assign(position, separator);
            position = separator + 1;
        }
        if (!component.empty())
            components.push_back(std::move(component));
    }
    return components;
}

// A key name must survive the "[name]" line of the file.
bool IsStorableKeyName(const std::string& name)
{
    return name.find_first_of("]\r\n") == std::string::npos &&
           name.size() + 2 <= CRegistryFile::kMaxLineLength;
}

int HandleNumber(const CRegistryKey& key)
{
    // The handle printed the way the log has always shown it: a number, 0 for the root.
    return static_cast<int>(reinterpret_cast<uintptr_t>(key.Node()));
}
} // namespace

CRegistryNode* CRegistry::StartNode(const CRegistryKey& key) const
{
    return key.IsRoot() ? m_Root.get() : key.Node();
}

CRegistryNode* CRegistry::Walk(CRegistryNode* start, const char* path)
{
    CRegistryNode* node = start;
    for (const std::string& component : SplitPath(path))
    {
        node = node->FindChild(component);
        if (node == nullptr)
            return nullptr;
    }
    return node;
}

uint32_t CRegistry::Open(const char* path, CRegistryKey& key)
{
    const bool trace = g_Debug.IsTraceEnabled();
    if (trace)
        g_Debug.Print(2, "\nCRegistry::Open \"%s\", hKey = %d\n", Printable(path), HandleNumber(key));
    try
    {
        CRecursiveLockGuard guard(m_Lock);
        CRegistryNode* node = Walk(StartNode(key), path);
        if (node == nullptr)
        {
            key.Reset();
            return kOpenFailed;
        }
        key = CRegistryKey(node);
        return 0;
    }
    catch (...)
    {
        if (trace)
            g_Debug.Print(1, "\nCRegistry::Open ##ERROR while opening !!!\n");
        key.Reset();
        return kOpenFailed;
    }
}

CRegistryNode* CRegistry::CreateKey(const char* path, const CRegistryKey& from)
{
    if (g_Debug.IsTraceEnabled())
        g_Debug.Print(4, "CRegistry::CreateKey \"%s\"\n", Printable(path));
    try
    {
        CRecursiveLockGuard guard(m_Lock);
        CRegistryNode* node = StartNode(from);
        for (const std::string& component : SplitPath(path))
        {
            CRegistryNode* child = node->FindChild(component);
            if (child == nullptr)
            {
                if (!IsStorableKeyName(component))
                    return nullptr;
                child = node->FindOrCreateChild(component);
                if (child == nullptr)
                    return nullptr;
                m_IsDirty = true;
                if (node == m_Root.get())
                    RememberRootKeys();
            }
            node = child;
        }
        return node;
    }
    catch (...)
    {
        return nullptr;
    }
}

CRegistryNode* CRegistry::OpenPointer(const char* path)
{
    if (g_Debug.IsTraceEnabled())
        g_Debug.Print(4, "CRegistry::OpenPointer \"%s\"\n", Printable(path));
    CRegistryKey key;
    return Open(path, key) == 0 ? StartNode(key) : nullptr;
}

int CRegistry::DeleteKey(const CRegistryKey& key, const char* name)
{
    if (g_Debug.IsTraceEnabled())
        g_Debug.Print(4, "CRegistry::DeleteKey \"%s\"\n", Printable(name));
    try
    {
        std::vector<std::string> components = SplitPath(name);
        if (components.empty())
            return EINVAL;
        CRecursiveLockGuard guard(m_Lock);
        CRegistryNode* parent = StartNode(key);
        for (size_t index = 0; index + 1 < components.size() && parent != nullptr; ++index)
            parent = parent->FindChild(components[index]);
        if (parent == nullptr)
            return ENOENT;
        std::unique_ptr<CRegistryNode> removed;
        const int result = parent->DetachChild(components.back(), removed);
        if (result != 0)
            return result;
        removed->TraceDeletion();
        removed.reset();
        m_IsDirty = true;
        if (parent == m_Root.get())
            RememberRootKeys();
        return 0;
    }
    catch (...)
    {
        return ENOMEM;
    }
}
