#pragma once

class CRegistryNode;

// A handle to a registry key. An empty handle stands for the root of the tree. The handle
// does not own its node: deleting the key, or reloading the tree, leaves it dangling.
class CRegistryKey
{
public:
    CRegistryKey() = default;
    explicit CRegistryKey(CRegistryNode* node) : m_Node(node) {}

    CRegistryNode* Node() const { return m_Node; }
    bool IsRoot() const { return m_Node == nullptr; }
    void Reset() { m_Node = nullptr; }

    // Whether expandable strings are read with their %NAME% references replaced (the default)
    // or as stored.
    bool Expands() const { return m_Expand; }
    void SetExpand(bool expand) { m_Expand = expand; }

private:
    CRegistryNode* m_Node = nullptr;
    bool m_Expand = true;
};
