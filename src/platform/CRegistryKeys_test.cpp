// Keys and values of the registry: paths, reading, writing, deleting, expansion, threads.
#include "CRegistry.h"
#include "RegistryTestFiles.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace
{
const char kSetupPath[] = "HKEY_LOCAL_MACHINE\\SOFTWARE\\Valmerex\\Management\\Server Control\\Setup";

class CRegistryKeys : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_Files.Write("registry",
                      "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n[Valmerex]\n[Management]\n[Server Control]\n"
                      "[Setup]\nBinRoot=s=/opt/tool/bin\nMixed=s=upper\nmixed=s=lower\n\n\n\n\n\n\n\n");
        m_Registry.SetupTree();
        ASSERT_TRUE(m_Registry.IsSetup());
    }

    int SetString(const CRegistryKey& key, const char* name, const std::string& text, uint32_t type = 1)
    {
        return m_Registry.SetValue(key, name, text.c_str(), static_cast<uint32_t>(text.size() + 1), type);
    }

    RegistryTestFiles m_Files;
    CRegistry m_Registry;
};
} // namespace

TEST_F(CRegistryKeys, SlashAndBackslashPathsReachTheSameKeyButCaseMatters)
{
    CRegistryKey withBackslashes;
    ASSERT_EQ(m_Registry.Open("HKEY_LOCAL_MACHINE\\SOFTWARE\\Valmerex\\Management", withBackslashes), 0u);
    CRegistryKey withSlashes;
    ASSERT_EQ(m_Registry.Open("/HKEY_LOCAL_MACHINE/SOFTWARE//Valmerex/Management/", withSlashes), 0u);
    EXPECT_EQ(withBackslashes.Node(), withSlashes.Node());

    // Opening from a handle walks below it.
    ASSERT_EQ(m_Registry.Open("Server Control/Setup", withSlashes), 0u);
    EXPECT_EQ(m_Registry.GetValue(withSlashes, "BinRoot"), "/opt/tool/bin");
    EXPECT_EQ(m_Registry.GetValue(withSlashes, "mixed"), "lower");
    EXPECT_FALSE(m_Registry.GetValue(withSlashes, "MIXED"));

    CRegistryKey wrongCase(m_Registry.RootKey(RegistryHKeyLocalMachine));
    EXPECT_EQ(m_Registry.Open("software\\Valmerex", wrongCase), CRegistry::kOpenFailed);
    EXPECT_TRUE(wrongCase.IsRoot());
    // A value is not a key.
    EXPECT_EQ(m_Registry.OpenPointer((std::string(kSetupPath) + "\\BinRoot").c_str()), nullptr);
    EXPECT_EQ(m_Registry.OpenPointer(kSetupPath), m_Registry.CreateKey(kSetupPath));
    EXPECT_FALSE(m_Registry.IsDirty());
}

TEST_F(CRegistryKeys, QueryValueCopiesIntoCallerStorage)
{
    CRegistryKey key;
    ASSERT_EQ(m_Registry.Open(kSetupPath, key), 0u);
    uint32_t type = 0;
    uint32_t count = 0;
    EXPECT_EQ(m_Registry.QueryValue(key, "BinRoot", &type, nullptr, nullptr), EINVAL);
    EXPECT_EQ(m_Registry.QueryValue(key, "Absent", &type, nullptr, &count), ENOENT);
    ASSERT_EQ(m_Registry.QueryValue(key, "BinRoot", &type, nullptr, &count), 0);
    EXPECT_EQ(type, static_cast<uint32_t>(RegistryTypeString));
    EXPECT_EQ(count, std::strlen("/opt/tool/bin") + 1);

    char text[64] = "untouched";
    count = 4;
    EXPECT_EQ(m_Registry.QueryValue(key, "BinRoot", nullptr, text, &count), ERANGE);
    EXPECT_EQ(count, std::strlen("/opt/tool/bin") + 1);
    EXPECT_STREQ(text, "untouched");
    count = sizeof text;
    ASSERT_EQ(m_Registry.QueryValue(key, "BinRoot", nullptr, text, &count), 0);
    EXPECT_STREQ(text, "/opt/tool/bin");

    const int32_t number = -123456;
    ASSERT_EQ(m_Registry.SetValue(key, "Number", &number, sizeof number, RegistryTypeInteger), 1);
    int32_t read = 0;
    count = sizeof read;
    ASSERT_EQ(m_Registry.QueryValue(key, "Number", &type, &read, &count), 0);
    EXPECT_EQ(type, static_cast<uint32_t>(RegistryTypeInteger));
    EXPECT_EQ(read, number);
    EXPECT_EQ(m_Registry.GetValue(key, "Number"), "-123456");
}

TEST_F(CRegistryKeys, SetValueRefusesWhatTheFileCouldNotHoldBack)
{
    const CRegistryKey root;
    for (const char* name : {"a=b", "[section]", "line\nbreak", "HKEY_LOCAL_MACHINE"})
        EXPECT_EQ(SetString(root, name, "x"), 0) << name;
    EXPECT_EQ(SetString(root, "Text", "two\nlines"), 0);
    EXPECT_EQ(m_Registry.SetValue(root, "Short", "ab", 2, RegistryTypeInteger), 0);
    EXPECT_EQ(m_Registry.SetValue(root, "Key", "ab", 2, RegistryTypeSubkey), 0);
    EXPECT_EQ(m_Registry.SetValue(root, "Null", nullptr, 4, RegistryTypeBinary), 0);
    EXPECT_FALSE(m_Registry.IsDirty());

    // The longest storable value fills a 1023-character line; binary bytes take three each.
    EXPECT_EQ(SetString(root, "Long", std::string(1023 - 7, 'v')), 1);
    EXPECT_EQ(SetString(root, "Long", std::string(1024 - 7, 'v')), 0);
    const std::string bytes(400, '\x5A');
    EXPECT_EQ(m_Registry.SetValue(root, "Blob", bytes.data(), 338, RegistryTypeBinary), 1);
    EXPECT_EQ(m_Registry.SetValue(root, "Blob", bytes.data(), 339, RegistryTypeBinary), 0);
    EXPECT_EQ(m_Registry.GetValue(root, "Blob"), std::string(338, '\x5A'));
    // A string stops at its first NUL within the given length.
    EXPECT_EQ(m_Registry.SetValue(root, "Cut", "abc\0def", 7, RegistryTypeString), 1);
    EXPECT_EQ(m_Registry.GetValue(root, "Cut"), "abc");
    EXPECT_TRUE(m_Registry.IsDirty());
}

TEST_F(CRegistryKeys, ExpandableStringsTakeTheirValuesFromTheEnvironment)
{
    ScopedEnv tool("HC_REGISTRY_TOOL_DIR", "/opt/tool");
    ScopedEnv unset("HC_REGISTRY_UNSET", nullptr);
    CRegistryKey key(m_Registry.CreateKey("HKEY_LOCAL_MACHINE\\Paths"));
    ASSERT_FALSE(key.IsRoot());
    const std::string stored = "%HC_REGISTRY_TOOL_DIR%/bin;100%%;[%HC_REGISTRY_UNSET%];tail 50%";
    const std::string expanded = "/opt/tool/bin;100%;[];tail 50%";
    ASSERT_EQ(SetString(key, "Search", stored, RegistryTypeExpandString), 1);
    EXPECT_EQ(m_Registry.GetValue(key, "Search"), expanded);
    char buffer[128];
    uint32_t count = sizeof buffer;
    ASSERT_EQ(m_Registry.QueryValue(key, "Search", nullptr, buffer, &count), 0);
    EXPECT_EQ(count, expanded.size() + 1);
    EXPECT_STREQ(buffer, expanded.c_str());

    key.SetExpand(false);
    EXPECT_EQ(m_Registry.GetValue(key, "Search"), stored);
    // Plain strings are never expanded.
    ASSERT_EQ(SetString(key, "Plain", "%HC_REGISTRY_TOOL_DIR%"), 1);
    key.SetExpand(true);
    EXPECT_EQ(m_Registry.GetValue(key, "Plain"), "%HC_REGISTRY_TOOL_DIR%");
}

TEST_F(CRegistryKeys, CreateAndDeleteKeysAndValues)
{
    CRegistryKey tool(m_Registry.CreateKey("HKEY_CURRENT_USER\\Software\\Tool"));
    ASSERT_FALSE(tool.IsRoot());
    EXPECT_TRUE(m_Registry.IsDirty());
    EXPECT_NE(m_Registry.RootKey(RegistryHKeyCurrentUser), nullptr);
    ASSERT_EQ(SetString(tool, "Name", "x"), 1);
    EXPECT_EQ(m_Registry.CreateKey("HKEY_CURRENT_USER\\Software\\Tool\\Name\\Below"), nullptr);
    EXPECT_EQ(m_Registry.CreateKey("HKEY_CURRENT_USER\\bad]name"), nullptr);

    EXPECT_EQ(m_Registry.DeleteValue(tool, "Absent"), ENOENT);
    EXPECT_EQ(m_Registry.DeleteKey(tool, "Name"), ENOTDIR);
    EXPECT_EQ(m_Registry.DeleteValue(CRegistryKey(), "HKEY_CURRENT_USER"), EISDIR);
    EXPECT_EQ(m_Registry.DeleteValue(tool, "Name"), 0);
    EXPECT_FALSE(m_Registry.GetValue(tool, "Name"));

    EXPECT_EQ(m_Registry.DeleteKey(CRegistryKey(), ""), EINVAL);
    EXPECT_EQ(m_Registry.DeleteKey(CRegistryKey(), "HKEY_CURRENT_USER/Nothing"), ENOENT);
    EXPECT_EQ(m_Registry.DeleteKey(CRegistryKey(), "HKEY_LOCAL_MACHINE/SOFTWARE/Valmerex"), 0);
    EXPECT_EQ(m_Registry.OpenPointer("HKEY_LOCAL_MACHINE\\SOFTWARE\\Valmerex"), nullptr);
    EXPECT_EQ(m_Registry.DeleteKey(CRegistryKey(), "HKEY_CURRENT_USER"), 0);
    EXPECT_EQ(m_Registry.RootKey(RegistryHKeyCurrentUser), nullptr);
    m_Registry.SaveTree();
    EXPECT_EQ(m_Files.Read("registry"), "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n\n\n\n");
}

TEST_F(CRegistryKeys, ConcurrentWritersKeepEveryValue)
{
    CRegistryKey shared(m_Registry.CreateKey("HKEY_LOCAL_MACHINE\\Shared"));
    std::vector<std::thread> workers;
    for (int worker = 0; worker < 4; ++worker)
        workers.emplace_back(
            [&, worker]
            {
                for (int32_t index = 0; index < 200; ++index)
                {
                    const std::string name = "v" + std::to_string(worker) + "_" + std::to_string(index);
                    m_Registry.SetValue(shared, name.c_str(), &index, sizeof index, RegistryTypeInteger);
                    m_Registry.GetValue(shared, "v0_0");
                }
            });
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_EQ(shared.Node()->EntryCount(), 800u);
    EXPECT_EQ(m_Registry.GetValue(shared, "v3_199"), "199");
}
