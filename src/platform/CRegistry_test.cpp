// Loading and saving the registry files.
#include "CRegistry.h"
#include "RegistryTestFiles.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace
{
// Unsorted, upper-case hex, binary without trailing blank, a duplicate name, an unknown tag and
// a line without '=': everything the reader must tolerate in a hand-edited file.
const char kHandWritten[] = "Zeta=s=last\n"
                            "Alpha=s=first\n"
                            "Count=d=-42\n"
                            "Alpha=s=replaced\n"
                            "Note=x=unknown tag\n"
                            "no equals sign here\n"
                            "[HKEY_LOCAL_MACHINE]\n"
                            "Bytes=b=AB 01\n"
                            "Empty=b=\n"
                            "[SOFTWARE]\n"
                            "Eq=s=a=b\n"
                            "Path=es=%HOME%\\bin\n"
                            "\n"
                            "\n"
                            "[HKEY_USERS]\n"
                            "\n"
                            "\n";

const char kCanonical[] = "Alpha=s=replaced\n"
                          "Count=d=-42\n"
                          "Zeta=s=last\n"
                          "[HKEY_LOCAL_MACHINE]\n"
                          "Bytes=b=ab 01 \n"
                          "Empty=b=\n"
                          "[SOFTWARE]\n"
                          "Eq=s=a=b\n"
                          "Path=es=%HOME%\\bin\n"
                          "\n"
                          "\n"
                          "[HKEY_USERS]\n"
                          "\n"
                          "\n";

void Touch(CRegistry& registry)
{
    const int32_t stamp = 7;
    ASSERT_EQ(registry.SetValue(CRegistryKey(), "Stamp", &stamp, sizeof stamp, RegistryTypeInteger), 1);
    ASSERT_EQ(registry.DeleteValue(CRegistryKey(), "Stamp"), 0);
}

std::string Repeat(char c, size_t count)
{
    return std::string(count, c);
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

    EXPECT_EQ(registry.GetValue(CRegistryKey(), "Alpha"), "replaced");
    EXPECT_EQ(registry.GetValue(CRegistryKey(), "Count"), "-42");
    EXPECT_FALSE(registry.GetValue(CRegistryKey(), "Note"));
    ASSERT_NE(registry.RootKey(RegistryHKeyLocalMachine), nullptr);
    ASSERT_NE(registry.RootKey(RegistryHKeyUsers), nullptr);
    EXPECT_EQ(registry.RootKey(RegistryHKeyCurrentUser), nullptr);

    CRegistryKey machine(registry.RootKey(RegistryHKeyLocalMachine));
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
    EXPECT_EQ(registry.GetValue(CRegistryKey(), "From"), "old");

    unlink(files.PathOf("registry.old").c_str());
    registry.SetupTree(); // already set up: nothing happens
    EXPECT_EQ(registry.GetValue(CRegistryKey(), "From"), "old");
    registry.SetupTree(true);
    EXPECT_EQ(registry.GetValue(CRegistryKey(), "From"), "default");

    // A live file without one usable entry counts as damaged.
    files.Write("registry", "garbage without any tag\n[unclosed\n");
    files.Write("registry.old", "From=s=old again\n\n");
    registry.InitClass();
    EXPECT_EQ(registry.GetValue(CRegistryKey(), "From"), "old again");

    // "registry.new" is never read, even when it is all there is.
    for (const char* name : {"registry", "registry.old", "registry.default"})
        unlink(files.PathOf(name).c_str());
    CRegistry empty;
    empty.SetupTree();
    EXPECT_FALSE(empty.IsSetup());
    EXPECT_FALSE(empty.GetValue(CRegistryKey(), "From"));
}

TEST(CRegistryFiles, SavingRotatesTheLiveFileIntoTheBackup)
{
    RegistryTestFiles files;
    const std::string first = "Version=d=1\n\n";
    files.Write("registry", first);
    CRegistry registry;
    registry.SetupTree();

    // Nothing changed: nothing is written.
    unlink(files.PathOf("registry").c_str());
    registry.SaveTree();
    EXPECT_NE(access(files.PathOf("registry").c_str(), F_OK), 0);
    files.Write("registry", first);

    const mode_t previousMask = umask(077);
    const int32_t two = 2;
    ASSERT_EQ(registry.SetValue(CRegistryKey(), "Version", &two, sizeof two, RegistryTypeInteger), 1);
    EXPECT_TRUE(registry.IsDirty());
    registry.SaveTree();
    umask(previousMask);
    EXPECT_FALSE(registry.IsDirty());
    EXPECT_EQ(files.Read("registry.old"), first);
    EXPECT_EQ(files.Read("registry"), "Version=d=2\n\n");
    EXPECT_NE(access(files.PathOf("registry.new").c_str(), F_OK), 0);
    struct stat status
    {
    };
    ASSERT_EQ(stat(files.PathOf("registry").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0644u);

    const int32_t three = 3;
    ASSERT_EQ(registry.SetValue(CRegistryKey(), "Version", &three, sizeof three, RegistryTypeInteger), 1);
    registry.SaveTree();
    EXPECT_EQ(files.Read("registry.old"), "Version=d=2\n\n");
    EXPECT_EQ(files.Read("registry"), "Version=d=3\n\n");
}

TEST(CRegistryFiles, AnEmptyLiveFileDoesNotReplaceTheBackup)
{
    RegistryTestFiles files;
    files.Write("registry", "");
    files.Write("registry.old", "Good=s=backup\n\n");
    CRegistry registry;
    registry.SetupTree();
    ASSERT_EQ(registry.SetValue(CRegistryKey(), "Added", "x", 1, RegistryTypeString), 1);
    registry.SaveTree();
    EXPECT_EQ(files.Read("registry.old"), "Good=s=backup\n\n");
    EXPECT_EQ(files.Read("registry"), "Added=s=x\nGood=s=backup\n\n");
}

TEST(CRegistryFiles, SavingIntoAMissingDirectoryKeepsNothingHalfWritten)
{
    RegistryTestFiles files;
    files.Write("registry", "A=s=1\n\n");
    CRegistry registry;
    registry.SetupTree();
    ASSERT_EQ(registry.SetValue(CRegistryKey(), "B", "2", 1, RegistryTypeString), 1);
    ASSERT_EQ(system(("rm -rf '" + files.Directory() + "'").c_str()), 0);
    registry.SaveTree();
    EXPECT_FALSE(registry.IsDirty());
    EXPECT_NE(access(files.PathOf("registry").c_str(), F_OK), 0);
}

TEST(CRegistryFiles, OverlongLinesAreSkippedWhole)
{
    RegistryTestFiles files;
    // Exactly 1023 characters is the longest line taken.
    const std::string longest = "Max=s=" + Repeat('m', 1023 - 6);
    const std::string tooLong = "Big=s=" + Repeat('b', 1024 - 6);
    files.Write("registry", "Before=s=1\n" + longest + "\n" + tooLong + "\n" +
                                "Huge=s=" + Repeat('h', 100000) + "\n" + "[" + Repeat('k', 2000) + "]\n" +
                                "Inside=s=dropped\n\n" + "After=s=2\n\n");
    CRegistry registry;
    registry.SetupTree();
    ASSERT_TRUE(registry.IsSetup());
    EXPECT_EQ(registry.GetValue(CRegistryKey(), "Before"), "1");
    EXPECT_EQ(registry.GetValue(CRegistryKey(), "Max"), Repeat('m', 1023 - 6));
    EXPECT_FALSE(registry.GetValue(CRegistryKey(), "Big"));
    EXPECT_FALSE(registry.GetValue(CRegistryKey(), "Huge"));
    EXPECT_FALSE(registry.GetValue(CRegistryKey(), "Inside"));
    // The overlong key's block was skipped as a whole, so its closing line did not end the root.
    EXPECT_EQ(registry.GetValue(CRegistryKey(), "After"), "2");
}

TEST(CRegistryFiles, BinaryGarbageAndUnbalancedBracketsLoadWhatTheyCan)
{
    RegistryTestFiles files;
    std::string garbage;
    for (int i = 0; i < 4096; ++i)
        garbage.push_back(static_cast<char>((i * 7919 + 13) % 256));
    const std::string withNul("Nul=s=a\0b\n", 10);
    files.Write("registry", "First=s=kept\n" + withNul +
                                "[Open\n"
                                "]Close[\n"
                                "[Key]\n"
                                "Inner=s=in key\n" +
                                garbage + "\n");
    CRegistry registry;
    registry.SetupTree();
    ASSERT_TRUE(registry.IsSetup());
    EXPECT_EQ(registry.GetValue(CRegistryKey(), "First"), "kept");
    EXPECT_FALSE(registry.GetValue(CRegistryKey(), "Nul"));
    CRegistryKey key;
    ASSERT_EQ(registry.Open("Key", key), 0u);
    EXPECT_EQ(registry.GetValue(key, "Inner"), "in key");

    // Whatever was read can be saved and read again.
    Touch(registry);
    registry.SaveTree();
    CRegistry reloaded;
    reloaded.SetupTree();
    CRegistryKey again;
    ASSERT_EQ(reloaded.Open("Key", again), 0u);
    EXPECT_EQ(reloaded.GetValue(again, "Inner"), "in key");
}

TEST(CRegistryFiles, DeepNestingIsCutAtTheDepthLimit)
{
    RegistryTestFiles files;
    const unsigned levels = 5000;
    std::string text;
    for (unsigned level = 1; level <= levels; ++level)
        text += "[k]\nLevel=d=" + std::to_string(level) + "\n";
    text += Repeat('\n', levels);
    text += "After=s=root\n\n";
    files.Write("registry", text);

    CRegistry registry;
    registry.SetupTree();
    ASSERT_TRUE(registry.IsSetup());
    EXPECT_EQ(registry.GetValue(CRegistryKey(), "After"), "root");

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
