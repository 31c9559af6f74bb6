#include "CRegistryNode.h"

#include "CDebug.h"

#include <algorithm>
#include <cerrno>

CRegistryNode::CRegistryNode(std::string name, unsigned depth) : m_Name(std::move(name)), m_Depth(depth) {}

CRegistryNode::~CRegistryNode() = default;

size_t CRegistryNode::LowerBound(const std::string& name) const
{
    // std::string compares bytes as unsigned char, the same order strcmp gives.
    const auto found = std::lower_bound(m_Entries.begin(), m_Entries.end(), name,
                                        [](const CRegistryEntry& entry, const std::string& key)
                                        { return entry.name < key; });
    return static_cast<size_t>(found - m_Entries.begin());
}

bool CRegistryNode::Holds(size_t index, const std::string& name) const
{
    return index < m_Entries.size() && m_Entries[index].name == name;
}

CRegistryEntry& CRegistryNode::InsertAt(size_t index, const std::string& name)
{
    if (m_Entries.size() == m_Entries.capacity())
        m_Entries.reserve(m_Entries.capacity() + kGrowth);
    CRegistryEntry entry;
    entry.name = name;
    return *m_Entries.insert(m_Entries.begin() + static_cast<std::ptrdiff_t>(index), std::move(entry));
}

bool CRegistryNode::GetValue(const std::string& name, CRegistryValue& value) const
{
    CRecursiveLockGuard guard(m_Lock);
    const size_t index = LowerBound(name);
    if (!Holds(index, name) || m_Entries[index].IsSubkey())
        return false;
    value = m_Entries[index].value;
    return true;
}

const CRegistryEntry* CRegistryNode::SetValue(const std::string& name, const CRegistryValue& value)
{
    if (value.type == RegistryTypeSubkey)
        return nullptr;
    CRecursiveLockGuard guard(m_Lock);
    const size_t index = LowerBound(name);
    if (Holds(index, name))
    {
        CRegistryEntry& entry = m_Entries[index];
        if (entry.IsSubkey())
            return nullptr;
        entry.value = value;
        return &entry;
    }
    CRegistryEntry& entry = InsertAt(index, name);
    entry.value = value;
    return &entry;
}

const CRegistryEntry* CRegistryNode::ReplaceWithValue(const std::string& name, const CRegistryValue& value)
{
    if (value.type == RegistryTypeSubkey)
        return nullptr;
    std::unique_ptr<CRegistryNode> replaced; // a replaced subtree is freed once the lock is released
    CRecursiveLockGuard guard(m_Lock);
    const size_t index = LowerBound(name);
    CRegistryEntry& entry = Holds(index, name) ? m_Entries[index] : InsertAt(index, name);
    replaced = std::move(entry.child);
    entry.value = value;
    return &entry;
}

int CRegistryNode::RemoveValue(const std::string& name)
{
    CRecursiveLockGuard guard(m_Lock);
    const size_t index = LowerBound(name);
    if (!Holds(index, name))
        return ENOENT;
    if (m_Entries[index].IsSubkey())
        return EISDIR;
    m_Entries.erase(m_Entries.begin() + static_cast<std::ptrdiff_t>(index));
    return 0;
}

CRegistryNode* CRegistryNode::FindChild(const std::string& name) const
{
    CRecursiveLockGuard guard(m_Lock);
    const size_t index = LowerBound(name);
    if (!Holds(index, name) || !m_Entries[index].IsSubkey())
        return nullptr;
    return m_Entries[index].child.get();
}

CRegistryNode* CRegistryNode::FindOrCreateChild(const std::string& name)
{
    CRecursiveLockGuard guard(m_Lock);
    const size_t index = LowerBound(name);
    if (Holds(index, name))
        return m_Entries[index].IsSubkey() ? m_Entries[index].child.get() : nullptr;
    if (m_Depth >= kMaxDepth)
        return nullptr;
    auto child = std::make_unique<CRegistryNode>(name, m_Depth + 1);
    CRegistryEntry& entry = InsertAt(index, name);
    entry.value.type = RegistryTypeSubkey;
    entry.child = std::move(child);
    return entry.child.get();
}

CRegistryNode* CRegistryNode::ReplaceChild(const std::string& name)
{
    if (m_Depth >= kMaxDepth)
        return nullptr;
    auto child = std::make_unique<CRegistryNode>(name, m_Depth + 1);
    CRecursiveLockGuard guard(m_Lock);
    const size_t index = LowerBound(name);
    CRegistryEntry& entry = Holds(index, name) ? m_Entries[index] : InsertAt(index, name);
    entry.value = CRegistryValue();
    entry.value.type = RegistryTypeSubkey;
    entry.child = std::move(child);
    return entry.child.get();
}

int CRegistryNode::DetachChild(const std::string& name, std::unique_ptr<CRegistryNode>& child)
{
    CRecursiveLockGuard guard(m_Lock);
    const size_t index = LowerBound(name);
    if (!Holds(index, name))
        return ENOENT;
    if (!m_Entries[index].IsSubkey())
        return ENOTDIR;
    child = std::move(m_Entries[index].child);
    m_Entries.erase(m_Entries.begin() + static_cast<std::ptrdiff_t>(index));
    return 0;
}

void CRegistryNode::ForEachEntry(const std::function<void(const CRegistryEntry&)>& visitor) const
{
    CRecursiveLockGuard guard(m_Lock);
    for (const CRegistryEntry& entry : m_Entries)
        visitor(entry);
}

size_t CRegistryNode::EntryCount() const
{
    CRecursiveLockGuard guard(m_Lock);
    return m_Entries.size();
}

void CRegistryNode::TraceDeletion() const
{
    if (!g_Debug.IsTraceEnabled())
        return;
    // Depth is bounded by kMaxDepth, so this recursion is too.
    CRecursiveLockGuard guard(m_Lock);
    for (const CRegistryEntry& entry : m_Entries)
        if (entry.child)
            entry.child->TraceDeletion();
    g_Debug.Print(5, "CRegistryNode::deleteNode \"%s\"\n", m_Name.c_str());
}
