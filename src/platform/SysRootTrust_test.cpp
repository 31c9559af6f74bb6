#include "SysRootTrust.h"

#include "TestEnv.h"
#include "Unprivileged.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

// Every folder on the way to the system root must be root's and writable by nobody else; on the
// way (never at the end) a sticky folder such as /tmp may be writable by all.
TEST(SysRootTrust, ConcernWalksEveryComponentOfTheRoot)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs root to give folders to uid 65534";
    TempDir dir; // root's, 0700, below the sticky /tmp
    const std::string& top = dir.Path();
    for (const char* folder : {"plain/root", "shared/root", "others/root", "group/root"})
        MakeDirs(top + "/" + folder);
    ASSERT_EQ(0, chmod((top + "/shared").c_str(), 01777));
    ASSERT_EQ(0, chown((top + "/others").c_str(), kNobodyUid, kNobodyGid));
    ASSERT_EQ(0, chmod((top + "/group").c_str(), 0775));
    for (const char* folder : {"plain", "plain/root", "shared/root", "others/root", "group/root"})
        ASSERT_EQ(0, chmod((top + "/" + folder).c_str(), 0755));

    const struct
    {
        std::string root;
        std::string concern;
    } cases[] = {
        {top + "/plain/root", ""},
        {top + "/plain/root/", ""},
        {top + "/shared/root", ""},
        {top + "/shared", "\"" + top + "/shared\" is writable by other users"},
        {top + "/others/root", "\"" + top + "/others\" belongs to uid 65534"},
        {top + "/group/root", "\"" + top + "/group\" is writable by other users"},
        {top + "/missing", "\"" + top + "/missing\" cannot be examined"},
        {"relative/root", "\"relative/root\" is not an absolute path"},
    };
    for (const auto& test : cases)
        EXPECT_EQ(test.concern, SysRootTrust::Concern(test.root)) << test.root;
}

// Only root is held to it: the same root is fine for the user who owns it.
TEST(SysRootTrust, IsUsableAsksOnlyForRoot)
{
    TempDir dir;
    const std::string shared = dir.Path() + "/shared";
    MakeDirs(shared);
    ASSERT_EQ(0, chmod(shared.c_str(), 0777));
    ScopedEnv root("HOSTCAPTURE_SYSROOT", shared.c_str());
    EXPECT_EQ(geteuid() != 0, SysRootTrust::IsUsable());
    ScopedEnv none("HOSTCAPTURE_SYSROOT", nullptr);
    EXPECT_TRUE(SysRootTrust::IsUsable());
}
