// Registry files: the input is a registry file's text. It is read into a tree, the tree written
// back, and the written text read and written once more: what the writer produces must read back
// to the same tree, or a save would change the registry. The tree is also loaded the way the
// program loads it (from the live file below the system root) and its values looked up.

#include "CRegistry.h"
#include "CRegistryEntry.h"
#include "CRegistryFile.h"
#include "CRegistryKey.h"
#include "CRegistryNode.h"
#include "FuzzSupport.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{
std::string WriteTree(const CRegistryNode& root)
{
    char* text = nullptr;
    size_t length = 0;
    FILE* file = open_memstream(&text, &length);
    if (file == nullptr)
        abort();
    CRegistryFile::Write(file, root);
    fclose(file);
    std::string result(text, length);
    free(text);
    return result;
}

std::unique_ptr<CRegistryNode> ReadTree(const std::string& text)
{
    auto root = std::make_unique<CRegistryNode>("", 0);
    // fmemopen refuses an empty buffer.
    if (text.empty())
        return root;
    FILE* file = fmemopen(const_cast<char*>(text.data()), text.size(), "r");
    if (file == nullptr)
        abort();
    CRegistryFile::Read(file, *root, "fuzz");
    fclose(file);
    return root;
}

// Looks up every value and key of a node through the registry's own interface.
void LookUpAll(CRegistry& registry, const CRegistryNode& node, const std::string& path, unsigned budget)
{
    CRegistryKey key;
    if (registry.Open(path.c_str(), key) != 0)
        return;
    node.ForEachEntry(
        [&](const CRegistryEntry& entry)
        {
            if (budget == 0)
                return;
            --budget;
            registry.GetValue(key, entry.name.c_str());
            uint32_t type = 0;
            uint32_t count = 16;
            char small[16];
            registry.QueryValue(key, entry.name.c_str(), &type, small, &count);
        });
}
} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    FuzzSupport::PrivateSysRoot();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::unique_ptr<CRegistryNode> first = ReadTree(input);
    const std::string written = WriteTree(*first);
    const std::string rewritten = WriteTree(*ReadTree(written));
    if (written != rewritten)
    {
        fprintf(stderr, "registry text changed on a second save:\n--- first\n%s\n--- second\n%s\n",
                written.c_str(), rewritten.c_str());
        abort();
    }

    CRegistry& registry = TheRegistry();
    FuzzSupport::WriteFile(registry.RegistryPath(), input);
    registry.InitClass();
    LookUpAll(registry, *first, "", 64);
    return 0;
}
