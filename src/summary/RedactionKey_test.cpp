#include "RedactionKey.h"

#include "TestEnv.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

// A key saved by one run and loaded by the next keeps every token and goes on counting.
TEST(RedactionKey, TokensStayTheSameFromRunToRun)
{
    TempDir dir;
    std::string path = dir.File("key.json");
    {
        RedactionKey first;
        EXPECT_EQ(first.TokenFor("serial", "YM1H000001"), "serial-1");
        EXPECT_EQ(first.TokenFor("serial", "ym1h000001"), "serial-1");
        EXPECT_EQ(first.TokenFor("host", "alpha"), "host-1");
        EXPECT_EQ(first.TokenFor("mac", "00:1b:21:aa:bb:cc"), "mac-1");
        EXPECT_EQ(first.TokenFor("mac", "001B21AABBCC"), "mac-1");
        std::string error;
        ASSERT_TRUE(first.Save(path, error)) << error;
    }
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    RedactionKey second;
    std::string error;
    ASSERT_TRUE(second.Load(path, error)) << error;
    EXPECT_EQ(second.TokenFor("serial", "YM1H000001"), "serial-1");
    EXPECT_EQ(second.TokenFor("serial", "YM1H000002"), "serial-2");
    EXPECT_EQ(second.TokenFor("host", "ALPHA"), "host-1");
    EXPECT_EQ(second.TokenFor("mac", "001b.21aa.bbcc"), "mac-1");
    EXPECT_EQ(second.TokenFor("ip", "FD00:0::11"), "ip-1");
    EXPECT_EQ(second.TokenFor("ip", "fd00::11"), "ip-1");

    // Saving over the key replaces it: an existing 0644 file or a link becomes our 0600 file.
    chmod(path.c_str(), 0644);
    ASSERT_TRUE(second.Save(path, error)) << error;
    ASSERT_EQ(lstat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    std::string victim = dir.Write("victim", "keep");
    unlink(path.c_str());
    ASSERT_EQ(symlink(victim.c_str(), path.c_str()), 0);
    ASSERT_TRUE(second.Save(path, error)) << error;
    EXPECT_EQ(ReadFile(victim), "keep");
}

TEST(RedactionKey, RefusesWhatIsNotAKeyOfOurs)
{
    TempDir dir;
    RedactionKey key;
    std::string error;
    EXPECT_TRUE(key.Load(dir.File("missing.json"), error)) << "no key yet is an empty key";
    const char* bad[] = {
        "not json", "{\"tokens\": 3}",
        "{\"tokens\": [{\"token\": \"serial-1\", \"kind\": \"serial\", \"value\": \"A1B2C3\"},"
        " {\"token\": \"serial-1\", \"kind\": \"serial\", \"value\": \"D4E5F6\"}]}",
        "{\"tokens\": [{\"token\": \"host-1\", \"kind\": \"pet\", \"value\": \"rex\"}]}"};
    for (const char* text : bad)
    {
        RedactionKey fresh;
        EXPECT_FALSE(fresh.Load(dir.Write("bad.json", text), error)) << text;
    }
    std::string real = dir.Write("real.json", "{\"tokens\": []}");
    std::string link = dir.File("link.json");
    ASSERT_EQ(symlink(real.c_str(), link.c_str()), 0);
    EXPECT_FALSE(key.Load(link, error));
}

TEST(RedactionKey, RestorePutsBackEveryTokenAndNothingElse)
{
    RedactionKey key;
    key.TokenFor("serial", "Asset & Co");
    key.TokenFor("host", "alpha.example.net");
    for (int i = 0; i < 11; ++i)
        key.TokenFor("ip", "10.0.0." + std::to_string(i + 1));
    EXPECT_EQ(key.Restore("serial-1 at host-1 (ip-1, ip-11), not ip-12 nor xhost-1 nor host-10", false),
              "Asset & Co at alpha.example.net (10.0.0.1, 10.0.0.11), not ip-12 nor xhost-1 nor host-10");
    EXPECT_EQ(key.Restore("<td>serial-1</td>", true), "<td>Asset &amp; Co</td>");
}
