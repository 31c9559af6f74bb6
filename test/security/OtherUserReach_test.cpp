// What the other user's child can reach: the folder checks that explain a failed set-up, and the
// copies of programs and files that let that user run them from a checkout below /root.
#include "ReachableCopies.h"
#include "TestEnv.h"
#include "Unprivileged.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace
{
class OtherUserReachTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        const std::string reason = UnprivilegedSkipReason();
        if (!reason.empty())
            GTEST_SKIP() << reason;
        // Stands for /root: a folder that only root may enter.
        ASSERT_EQ(0, chmod(m_Private.Path().c_str(), 0700));
    }
    TempDir m_Private;
};
} // namespace

TEST_F(OtherUserReachTest, TheFirstFolderClosedToOthersIsNamed)
{
    const std::string open = m_Private.Path() + "/open";
    MakeDirs(open + "/deeper");
    ASSERT_EQ(0, chmod(open.c_str(), 0755));
    TempDir reachable;
    ASSERT_EQ(0, chmod(reachable.Path().c_str(), 0755));
    const struct
    {
        std::string path;
        std::string concern;
    } cases[] = {
        {reachable.Path(), ""},
        {"/tmp", ""},
        {open + "/deeper", "uid 65534 cannot enter \"" + m_Private.Path() +
                               "\" (mode 0700) on the way to \"" + open + "/deeper\""},
    };
    for (const auto& test : cases)
    {
        SCOPED_TRACE(test.path);
        EXPECT_EQ(test.concern, NobodyReachConcern(test.path));
    }
}

// A program and a data file of root's below the private folder: the copies are readable, and the
// program runnable, by the other user; they go away with the object.
TEST_F(OtherUserReachTest, CopiesOfPrivateFilesAreUsableByTheOtherUser)
{
    const std::string program = m_Private.Write("bin/says-ok", "#!/bin/sh\necho ok\n");
    const std::string data = m_Private.Write("data/profile.json", "{}\n");
    ASSERT_EQ(0, chmod(program.c_str(), 0700));
    ASSERT_EQ(0, chmod(data.c_str(), 0600));
    std::string programCopy, dataCopy;
    {
        ReachableCopies copies;
        programCopy = copies.Copy(program);
        dataCopy = copies.Copy(data);
        ASSERT_FALSE(programCopy.empty());
        ASSERT_FALSE(dataCopy.empty());
        EXPECT_EQ("{}\n", ReadFile(dataCopy));
        EXPECT_TRUE(AsNobody([&] { return access(dataCopy.c_str(), R_OK) == 0; }));
        EXPECT_TRUE(AsNobody([&] { return system(programCopy.c_str()) == 0; }));
        EXPECT_FALSE(AsNobody([&] { return access(dataCopy.c_str(), W_OK) == 0; }));
        EXPECT_TRUE(copies.Copy(m_Private.Path() + "/missing").empty());
    }
    EXPECT_NE(0, access(programCopy.c_str(), F_OK));
    EXPECT_NE(0, access(dataCopy.c_str(), F_OK));
}
