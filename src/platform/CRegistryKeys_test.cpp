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
const char kTree[] = "[HKEY_LOCAL_MACHINE]\n"
                     "[SOFTWARE]\n"
                     "[Valmerex]\n"
                     "[Management]\n"
                     "[Server Control]\n"
                     "[Setup]\n"
                     "BinRoot=s=/opt/tool/bin\n"
                     "Mixed=s=upper\n"
                     "mixed=s=lower\n"
                     "\n\n\n\n\n\n\n";

class CRegistryKeys : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_Files.Write("registry", kTree);
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
    ASSERT_EQ(m_Registry.Open("HKEY_LOCAL_MACHINE\\SOFTWARE\\Valmerex\\Management\\Server Control",
                              withBackslashes),
              0u);
    CRegistryKey withSlashes;
    ASSERT_EQ(
        m_Registry.Open("/HKEY_LOCAL_MACHINE/SOFTWARE//Valmerex/Management/Server Control/", withSlashes),
        0u);
    EXPECT_EQ(withBackslashes.Node(), withSlashes.Node());

    // Opening from a handle walks below it.
    ASSERT_EQ(m_Registry.Open("Setup", withSlashes), 0u);
    EXPECT_EQ(m_Registry.GetValue(withSlashes, "BinRoot"), "/opt/tool/bin");
    EXPECT_EQ(m_Registry.GetValue(withSlashes, "Mixed"), "upper");
    EXPECT_EQ(m_Registry.GetValue(withSlashes, "mixed"), "lower");
    EXPECT_FALSE(m_Registry.GetValue(withSlashes, "MIXED"));

    CRegistryKey wrongCase(m_Registry.RootKey(RegistryHKeyLocalMachine));
    EXPECT_EQ(m_Registry.Open("software\\Valmerex", wrongCase), CRegistry::kOpenFailed);
    EXPECT_TRUE(wrongCase.IsRoot());
    // A value is not a key.
    EXPECT_EQ(m_Registry.OpenPointer(
                  "HKEY_LOCAL_MACHINE/SOFTWARE/Valmerex/Management/Server Control/Setup/BinRoot"),
              nullptr);
    EXPECT_EQ(m_Registry.OpenPointer("HKEY_LOCAL_MACHINE\\SOFTWARE"),
              m_Registry.CreateKey("HKEY_LOCAL_MACHINE/SOFTWARE"));
    EXPECT_FALSE(m_Registry.IsDirty());
}

TEST_F(CRegistryKeys, QueryValueCopiesIntoCallerStorage)
{
    CRegistryKey key;
    ASSERT_EQ(
        m_Registry.Open("HKEY_LOCAL_MACHINE\\SOFTWARE\\Valmerex\\Management\\Server Control\\Setup", key),
        0u);
    uint32_t type = 0;
    uint32_t count = 0;
    EXPECT_EQ(m_Registry.QueryValue(key, "BinRoot", &type, nullptr, nullptr), EINVAL);
    EXPECT_EQ(m_Registry.QueryValue(key, "Absent", &type, nullptr, &count), ENOENT);

    ASSERT_EQ(m_Registry.QueryValue(key, "BinRoot", &type, nullptr, &count), 0);
    EXPECT_EQ(type, static_cast<uint32_t>(RegistryTypeString));
    EXPECT_EQ(count, std::strlen("/opt/tool/bin") + 1);

    char small[4] = {'x', 'x', 'x', 'x'};
    count = sizeof small;
    EXPECT_EQ(m_Registry.QueryValue(key, "BinRoot", nullptr, small, &count), ERANGE);
    EXPECT_EQ(count, std::strlen("/opt/tool/bin") + 1);
    EXPECT_EQ(small[0], 'x');

    char text[64];
    count = sizeof text;
    ASSERT_EQ(m_Registry.QueryValue(key, "BinRoot", nullptr, text, &count), 0);
    EXPECT_STREQ(text, "/opt/tool/bin");

    const int32_t number = -123456;
    ASSERT_EQ(m_Registry.SetValue(key, "Number", &number, sizeof number, RegistryTypeInteger), 1);
    int32_t read = 0;
    count = sizeof read;
    ASSERT_EQ(m_Registry.QueryValue(key, "Number", &type, &read, &count), 0);
    EXPECT_EQ(type, static_cast<uint32_t>(RegistryTypeInteger));
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(read, number);
    EXPECT_EQ(m_Registry.GetValue(key, "Number"), "-123456");
}

TEST_F(CRegistryKeys, SetValueRefusesWhatTheFileCouldNotHoldBack)
{
    const CRegistryKey root;
    EXPECT_EQ(SetString(root, "a=b", "x"), 0);
    EXPECT_EQ(SetString(root, "[section]", "x"), 0);
    EXPECT_EQ(SetString(root, "line\nbreak", "x"), 0);
    EXPECT_EQ(SetString(root, "Text", "two\nlines"), 0);
    EXPECT_EQ(SetString(root, "HKEY_LOCAL_MACHINE", "would replace a subtree"), 0);
    EXPECT_EQ(m_Registry.SetValue(root, "Short", "ab", 2, RegistryTypeInteger), 0);
    EXPECT_EQ(m_Registry.SetValue(root, "Key", "ab", 2, RegistryTypeSubkey), 0);
    EXPECT_EQ(m_Registry.SetValue(root, "Null", nullptr, 4, RegistryTypeBinary), 0);
    EXPECT_FALSE(m_Registry.IsDirty());

    // The longest storable string fills a 1023-character line; one more is refused.
    const std::string name = "Long";
    EXPECT_EQ(SetString(root, name.c_str(), std::string(1023 - name.size() - 3, 'v')), 1);
    EXPECT_EQ(SetString(root, name.c_str(), std::string(1024 - name.size() - 3, 'v')), 0);
    // Binary bytes take three characters each.
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
    ASSERT_EQ(SetString(key, "Search", stored, RegistryTypeExpandString), 1);
    const std::string expanded = "/opt/tool/bin;100%;[];tail 50%";
    EXPECT_EQ(m_Registry.GetValue(key, "Search"), expanded);

    char buffer[128];
    uint32_t count = sizeof buffer;
    uint32_t type = 0;
    ASSERT_EQ(m_Registry.QueryValue(key, "Search", &type, buffer, &count), 0);
    EXPECT_EQ(type, static_cast<uint32_t>(RegistryTypeExpandString));
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
    CRegistryNode* created = m_Registry.CreateKey("HKEY_CURRENT_USER\\Software\\Tool");
    ASSERT_NE(created, nullptr);
    EXPECT_TRUE(m_Registry.IsDirty());
    EXPECT_NE(m_Registry.RootKey(RegistryHKeyCurrentUser), nullptr);
    CRegistryKey tool(created);
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
    EXPECT_NE(m_Registry.OpenPointer("HKEY_LOCAL_MACHINE\\SOFTWARE"), nullptr);
    EXPECT_EQ(m_Registry.DeleteKey(CRegistryKey(), "HKEY_CURRENT_USER"), 0);
    EXPECT_EQ(m_Registry.RootKey(RegistryHKeyCurrentUser), nullptr);

    m_Registry.SaveTree();
    EXPECT_EQ(m_Files.Read("registry"), "[HKEY_LOCAL_MACHINE]\n[SOFTWARE]\n\n\n\n");
}

TEST_F(CRegistryKeys, ConcurrentWritersAndReadersKeepEveryValue)
{
    CRegistryKey shared(m_Registry.CreateKey("HKEY_LOCAL_MACHINE\\Shared"));
    const int threads = 4;
    const int valuesPerThread = 200;
    std::vector<std::thread> workers;
    for (int worker = 0; worker < threads; ++worker)
        workers.emplace_back(
            [&, worker]
            {
                for (int index = 0; index < valuesPerThread; ++index)
                {
                    const std::string name = "v" + std::to_string(worker) + "_" + std::to_string(index);
                    const int32_t number = worker * 1000 + index;
                    m_Registry.SetValue(shared, name.c_str(), &number, sizeof number, RegistryTypeInteger);
                    m_Registry.GetValue(shared, "v0_0");
                    CRegistryKey walker;
                    m_Registry.Open("HKEY_LOCAL_MACHINE/Shared", walker);
                }
            });
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_EQ(shared.Node()->EntryCount(), static_cast<size_t>(threads * valuesPerThread));
    EXPECT_EQ(m_Registry.GetValue(shared, "v3_199"), "3199");
}
