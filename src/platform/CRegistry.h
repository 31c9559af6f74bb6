#pragma once

#include "CRegistryKey.h"
#include "CRegistryNode.h"
#include "RecursiveLock.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

// The root keys kept at the top of the tree.
enum CRegistryRootKey
{
    RegistryHKeyLocalMachine,
    RegistryHKeyCurrentUser,
    RegistryHKeyUsers,
    RegistryHKeyClassesRoot,
    RegistryHKeyCurrentConfig,
    RegistryRootKeyCount,
};

// A hierarchical key/value store kept in text files under the management stack's etc
// directory: "registry" (live), "registry.old" (previous version), "registry.new" (written
// while saving) and "registry.default" (factory tree). Loading falls back from the live file
// to the backup to the default; saving writes the new file first and then rotates.
//
// Paths are key names separated by backslashes, or by slashes where the rest of the path holds
// no backslash; names are case-sensitive. Operations take a key handle; an empty handle is the
// root. A null value name stands for the unnamed value "". Nothing throws; every operation
// reports through its result and the trace. CreateKey, DeleteValue and DeleteKey mark the tree
// changed like SetValue does, so SaveTree writes their effect too.
//
// Result codes: Open gives 0 or kOpenFailed. QueryValue, DeleteValue and DeleteKey give 0 on
// success or an errno number: EINVAL for a missing argument, ENOENT for an absent name,
// EISDIR when DeleteValue meets a subkey, ENOTDIR when DeleteKey meets a value, ERANGE when
// the caller's buffer is too small, ENOMEM when memory ran out.
class CRegistry
{
public:
    static constexpr uint32_t kOpenFailed = 0xFFFFFFFF;

    CRegistry();
    ~CRegistry();
    CRegistry(const CRegistry&) = delete;
    CRegistry& operator=(const CRegistry&) = delete;

    // Loads the tree from the files; does nothing when already loaded unless forced.
    void SetupTree(bool force = false);
    // Writes the tree back when it has changed since loading or the last save.
    void SaveTree();
    // Drops the tree in memory and loads it again from the files.
    void InitClass();

    bool IsSetup() const { return m_IsSetup; }
    bool IsDirty() const { return m_IsDirty; }
    // A root key's node, or nullptr when the loaded tree does not have it.
    CRegistryNode* RootKey(CRegistryRootKey which) const;
    // The four file paths, built from the system root in force.
    const std::string& RegistryPath() const { return m_Path; }
    const std::string& BackupPath() const { return m_PathOld; }
    const std::string& TemporaryPath() const { return m_PathNew; }
    const std::string& DefaultPath() const { return m_PathDefault; }

    // Walks the path from the key (root when empty). On success the key holds the found node
    // and the result is 0; otherwise the key is emptied and the result is kOpenFailed.
    uint32_t Open(const char* path, CRegistryKey& key);
    // Like Open, creating the keys that are missing. nullptr when a component names a value or
    // the key would lie deeper than CRegistryNode::kMaxDepth.
    CRegistryNode* CreateKey(const char* path, const CRegistryKey& from = CRegistryKey());
    // Opens a path from the root and returns its node, or nullptr.
    CRegistryNode* OpenPointer(const char* path);

    // A copy of a value, owned by the caller: string text (expanded when the key asks for it),
    // the raw bytes of a binary value, or the decimal text of an integer. nullopt when the name
    // is absent or names a subkey.
    std::optional<std::string> GetValue(const CRegistryKey& key, const char* name);
    // Copies a value into caller storage. count holds the buffer size on entry and the size of
    // the value on return (strings include their terminating NUL, integers are 4 bytes); a null
    // data pointer only asks for the size. type, when given, receives the entry type.
    int QueryValue(const CRegistryKey& key, const char* name, uint32_t* type, void* data, uint32_t* count);
    // Creates or replaces a value and marks the tree changed. Strings take the bytes up to the
    // first NUL within length; integers need length >= 4; binary values take length bytes.
    // Refused (0): a subkey of that name exists, the name holds '=', a line break or begins
    // with '[', a string holds a line break, or the value's file line would exceed 1023
    // characters (it could not be read back). 1 on success.
    int SetValue(const CRegistryKey& key, const char* name, const void* data, uint32_t length, uint32_t type);
    int DeleteValue(const CRegistryKey& key, const char* name);
    // Removes a subkey (name may be a path below the key) with its whole subtree.
    int DeleteKey(const CRegistryKey& key, const char* name);

    // Replaces %NAME% with the environment variable NAME (nothing when unset) and %% with %;
    // a lone % is kept.
    static std::string ExpandEnvironment(const std::string& text);

private:
    void BuildPaths();
    void RememberRootKeys();
    CRegistryNode* StartNode(const CRegistryKey& key) const;
    // Follows a path from a node; nullptr when a component is missing.
    static CRegistryNode* Walk(CRegistryNode* start, const char* path);
    // A path or name for the trace, "<null>" when missing.
    static const char* Printable(const char* text) { return text != nullptr ? text : "<null>"; }
    // Bytes a QueryValue caller receives for a value.
    static std::string Payload(const CRegistryValue& value, bool expand);

    mutable CRecursiveLock m_Lock;
    std::unique_ptr<CRegistryNode> m_Root;
    CRegistryNode* m_RootKeys[RegistryRootKeyCount] = {};
    std::atomic<bool> m_IsSetup{false};
    std::atomic<bool> m_IsDirty{false};
    std::string m_Path;
    std::string m_PathOld;
    std::string m_PathNew;
    std::string m_PathDefault;
};

// The process-wide registry.
CRegistry& TheRegistry();
