// Loading and saving the registry files.
#include "CRegistry.h"
#include "RegistryTestFiles.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace
{
// Unsorted, upper-case hex, binary without trailing blank, a duplicate name, a value line named
// like a key of its block, an unknown tag, a line without '=' and line ends converted twice
// ("\r\r\n"): everything the reader must tolerate in a hand-edited file. A later line replaces
// an earlier entry of the same name.
const char kHandWritten[] = "Zeta=s=last\nAlpha=s=first\nCount=d=-42\nAlpha=s=replaced\nTwice=s=crlf\r\r\n"
                            "Note=x=unknown tag\nno equals sign here\n"
                            "[HKEY_LOCAL_MACHINE]\nBytes=b=AB 01\nEmpty=b=\n"
                            "[SOFTWARE]\nEq=s=a=b\nPath=es=%HOME%\\bin\n\n"
                            "[Setup]\nInner=s=dropped with its key\n\nSetup=d=7\n\n"
                            "[HKEY_USERS]\n\n\n";
const char kCanonical[] = "Alpha=s=replaced\nCount=d=-42\nTwice=s=crlf\nZeta=s=last\n"
                          "[HKEY_LOCAL_MACHINE]\nBytes=b=ab 01 \nEmpty=b=\nSetup=d=7\n"
                          "[SOFTWARE]\nEq=s=a=b\nPath=es=%HOME%\\bin\n\n\n"
                          "[HKEY_USERS]\n\n\n";

// Marks the tree changed without changing its content, so SaveTree writes it as it is.
void Touch(CRegistry& registry)
{
    ASSERT_EQ(registry.SetValue(CRegistryKey(), "Stamp", "x", 1, RegistryTypeString), 1);
    ASSERT_EQ(registry.DeleteValue(CRegistryKey(), "Stamp"), 0);
}

std::string Load(CRegistry& registry, const char* name)
{
    return registry.GetValue(CRegistryKey(), name).value_or("<absent>");
}
} // namespace

TEST(CRegistryFiles, GrammarRoundTripsIntoCanonicalForm)
{
    RegistryTestFiles files;
    files.Write("registry", kHandWritten);
    CRegistry registry;
    registry.SetupTree();
    ASSERT_TRUE(registry.IsSetup());
    EXPECT_FALSE(registry.IsDirty());
    EXPECT_EQ(Load(registry, "Alpha"), "replaced");
    EXPECT_EQ(Load(registry, "Count"), "-42");
    EXPECT_EQ(Load(registry, "Note"), "<absent>");
    ASSERT_NE(registry.RootKey(RegistryHKeyUsers), nullptr);
    EXPECT_EQ(registry.RootKey(RegistryHKeyCurrentUser), nullptr);

    CRegistryKey machine(registry.RootKey(RegistryHKeyLocalMachine));
    ASSERT_FALSE(machine.IsRoot());
    uint32_t type = 0;
    unsigned char bytes[8] = {};
    uint32_t count = sizeof bytes;
    ASSERT_EQ(registry.QueryValue(machine, "Bytes", &type, bytes, &count), 0);
    EXPECT_EQ(type, static_cast<uint32_t>(RegistryTypeBinary));
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(bytes[0], 0xAB);
    EXPECT_EQ(bytes[1], 0x01);

    Touch(registry);
    registry.SaveTree();
    EXPECT_EQ(files.Read("registry"), kCanonical);
    // The canonical form reads back to itself.
    CRegistry reloaded;
    reloaded.SetupTree();
    Touch(reloaded);
    reloaded.SaveTree();
    EXPECT_EQ(files.Read("registry"), kCanonical);
}

TEST(CRegistryFiles, LoadingFallsBackFromLiveToBackupToDefault)
{
    RegistryTestFiles files;
    files.Write("registry", "");
    files.Write("registry.old", "From=s=old\n\n");
    files.Write("registry.default", "From=s=default\n\n");
    files.Write("registry.new", "From=s=new\n\n");
    CRegistry registry;
    registry.SetupTree();
    EXPECT_EQ(Load(registry, "From"), "old");

    unlink(files.PathOf("registry.old").c_str());
    registry.SetupTree(); // already set up: nothing happens
    EXPECT_EQ(Load(registry, "From"), "old");
    registry.SetupTree(true);
    EXPECT_EQ(Load(registry, "From"), "default");

    // A live file without one usable entry counts as damaged.
    files.Write("registry", "garbage without any tag\n[unclosed\n");
    files.Write("registry.old", "From=s=old again\n\n");
    registry.InitClass();
    EXPECT_EQ(Load(registry, "From"), "old again");

    // "registry.new" is never read, even when it is all there is.
    for (const char* name : {"registry", "registry.old", "registry.default"})
        unlink(files.PathOf(name).c_str());
    CRegistry empty;
    empty.SetupTree();
    EXPECT_FALSE(empty.IsSetup());
    EXPECT_EQ(Load(empty, "From"), "<absent>");
}

TEST(CRegistryFiles, SavingRotatesANonEmptyLiveFileIntoTheBackup)
{
    RegistryTestFiles files;
    files.Write("registry", "");
    files.Write("registry.old", "Version=d=1\n\n");
    CRegistry registry;
    registry.SetupTree();

    // Nothing changed: nothing is written.
    registry.SaveTree();
    EXPECT_EQ(files.Read("registry"), "");

    const mode_t previousMask = umask(077);
    for (int32_t version : {2, 3})
    {
        ASSERT_EQ(registry.SetValue(CRegistryKey(), "Version", &version, sizeof version, RegistryTypeInteger),
                  1);
        EXPECT_TRUE(registry.IsDirty());
        registry.SaveTree();
        EXPECT_FALSE(registry.IsDirty());
        // The empty live file was not moved over the backup; the written one was.
        EXPECT_EQ(files.Read("registry.old"), "Version=d=" + std::to_string(version - 1) + "\n\n");
        EXPECT_EQ(files.Read("registry"), "Version=d=" + std::to_string(version) + "\n\n");
    }
    umask(previousMask);
    EXPECT_NE(access(files.PathOf("registry.new").c_str(), F_OK), 0);
    struct stat status
    {
    };
    ASSERT_EQ(stat(files.PathOf("registry").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0644u);
}

TEST(CRegistryFiles, OverlongLinesGarbageAndStrayBracketsAreSkipped)
{
    RegistryTestFiles files;
    std::string garbage;
    for (int i = 0; i < 4096; ++i)
        garbage.push_back(static_cast<char>((i * 7919 + 13) % 256));
    // Exactly 1023 characters is the longest line taken. The overlong key line opens a block
    // that is skipped whole, so its closing line does not end the root.
    files.Write("registry", "Max=s=" + std::string(1023 - 6, 'm') + "\nBig=s=" + std::string(1024 - 6, 'b') +
                                "\nHuge=s=" + std::string(100000, 'h') + "\n[" + std::string(2000, 'k') +
                                "]\nInside=s=dropped\n\n" + std::string("Nul=s=a\0b\n", 10) +
                                "[Open\n]Close[\n[Key]\nInner=s=in key\n\nAfter=s=2\n" + garbage + "\n");
    CRegistry registry;
    registry.SetupTree();
    ASSERT_TRUE(registry.IsSetup());
    EXPECT_EQ(Load(registry, "Max"), std::string(1023 - 6, 'm'));
    for (const char* skipped : {"Big", "Huge", "Inside", "Nul"})
        EXPECT_EQ(Load(registry, skipped), "<absent>") << skipped;
    EXPECT_EQ(Load(registry, "After"), "2");
    CRegistryKey key;
    ASSERT_EQ(registry.Open("Key", key), 0u);
    EXPECT_EQ(registry.GetValue(key, "Inner"), "in key");
}

TEST(CRegistryFiles, DeepNestingIsCutAtTheDepthLimit)
{
    RegistryTestFiles files;
    const unsigned levels = 5000;
    std::string text;
    for (unsigned level = 1; level <= levels; ++level)
        text += "[k]\nLevel=d=" + std::to_string(level) + "\n";
    files.Write("registry", text + std::string(levels, '\n') + "After=s=root\n\n");
    CRegistry registry;
    registry.SetupTree();
    EXPECT_EQ(Load(registry, "After"), "root");

    std::string path;
    for (unsigned level = 0; level < CRegistryNode::kMaxDepth; ++level)
        path += "k\\";
    CRegistryKey deepest;
    ASSERT_EQ(registry.Open(path.c_str(), deepest), 0u);
    EXPECT_EQ(registry.GetValue(deepest, "Level"), std::to_string(CRegistryNode::kMaxDepth));
    EXPECT_EQ(registry.Open("k", deepest), CRegistry::kOpenFailed);
    // CreateKey keeps to the same limit, so the tree stays writable and readable.
    EXPECT_EQ(registry.CreateKey((path + "k").c_str()), nullptr);

    Touch(registry);
    registry.SaveTree();
    CRegistry reloaded;
    reloaded.SetupTree();
    CRegistryKey reread;
    ASSERT_EQ(reloaded.Open(path.c_str(), reread), 0u);
    EXPECT_EQ(reloaded.GetValue(reread, "Level"), std::to_string(CRegistryNode::kMaxDepth));
}
