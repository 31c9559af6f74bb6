#include "ChangePage.h"

#include "HostChanges.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

// The first change page of a run makes its folder, private to the caller; later pages share it.
TEST(ChangePage, MakesItsFolderPrivately)
{
    TempDir dir;
    const std::string folder = dir.File("fleet-changes");
    HostChanges changes;
    std::string error;
    for (const char* name : {"/node1.html", "/node2.html"})
    {
        ASSERT_TRUE(ChangePage::Write(changes, "node", folder + name, error)) << error;
        struct stat st;
        ASSERT_EQ(stat((folder + name).c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0600u);
    }
    struct stat st;
    ASSERT_EQ(stat(folder.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    EXPECT_FALSE(ChangePage::Write(changes, "node", dir.Path() + "/a/b/node.html", error));
}
