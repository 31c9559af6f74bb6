#pragma once

#include "CRegistryEntry.h"
#include "RecursiveLock.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

// One key of the registry tree: its entries (values and subkeys) sorted by name, so lookups
// are binary searches. Names are case-sensitive. Every access to the entry array happens under
// the node's own lock, so a node may be used from several threads.
class CRegistryNode
{
public:
    // Deepest level below the root that a key may sit at. Reading skips deeper blocks and
    // CreateKey refuses them, so no walk over the tree can recurse without bound.
    static constexpr unsigned kMaxDepth = 64;

    CRegistryNode(std::string name, unsigned depth);
    ~CRegistryNode();
    CRegistryNode(const CRegistryNode&) = delete;
    CRegistryNode& operator=(const CRegistryNode&) = delete;

    const std::string& Name() const { return m_Name; }
    // 0 for the root, 1 for its subkeys, and so on.
    unsigned Depth() const { return m_Depth; }

    // Copies a value entry; false when the name is absent or names a subkey.
    bool GetValue(const std::string& name, CRegistryValue& value) const;
    // Creates or replaces a value entry and returns it; nullptr when the name is held by a
    // subkey (a value never silently replaces a whole subtree).
    const CRegistryEntry* SetValue(const std::string& name, const CRegistryValue& value);
    // 0, ENOENT when absent, EISDIR when the name is a subkey.
    int RemoveValue(const std::string& name);

    CRegistryNode* FindChild(const std::string& name) const;
    // Returns the existing subkey or creates it; nullptr when the name is held by a value or
    // the child would lie deeper than kMaxDepth.
    CRegistryNode* FindOrCreateChild(const std::string& name);
    // Creates or replaces a value entry, replacing a subkey of that name with its whole subtree
    // (how the file reader stores value lines: the later line wins); nullptr for a subkey type.
    const CRegistryEntry* ReplaceWithValue(const std::string& name, const CRegistryValue& value);
    // Creates a subkey, replacing any entry of that name (how the file reader stores blocks);
    // nullptr when the child would lie deeper than kMaxDepth.
    CRegistryNode* ReplaceChild(const std::string& name);
    // Takes a subkey out of the tree. 0, ENOENT when absent, ENOTDIR when the name is a value.
    int DetachChild(const std::string& name, std::unique_ptr<CRegistryNode>& child);

    // Calls the visitor for every entry in name order, under the node's lock.
    void ForEachEntry(const std::function<void(const CRegistryEntry&)>& visitor) const;
    size_t EntryCount() const;

    // Traces the release of this node and of every node below it.
    void TraceDeletion() const;

private:
    // Index of the first entry whose name is not less than the given one.
    size_t LowerBound(const std::string& name) const;
    bool Holds(size_t index, const std::string& name) const;
    CRegistryEntry& InsertAt(size_t index, const std::string& name);

    // Entries are added in steps of this size, so filling a key does not reallocate each time.
    static constexpr size_t kGrowth = 16;

    mutable CRecursiveLock m_Lock;
    std::string m_Name;
    unsigned m_Depth;
    std::vector<CRegistryEntry> m_Entries;
};
