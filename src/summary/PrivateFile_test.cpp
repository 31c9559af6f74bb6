#include "PrivateFile.h"

#include "TestEnv.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

TEST(PrivateFile, WritesPrivatelyReplacesInPlaceAndLeavesTheSameTextAlone)
{
    TempDir dir;
    std::string error;
    std::string path = dir.Path() + "/new/folder/page.html";
    ASSERT_TRUE(PrivateFile::Write(path, "first", error)) << error;
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    ASSERT_EQ(stat((dir.Path() + "/new/folder").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);

    // Other text replaces the old in place, whatever mode the file had.
    chmod(path.c_str(), 0644);
    ASSERT_TRUE(PrivateFile::Write(path, "second, longer", error)) << error;
    EXPECT_EQ(ReadFile(path), "second, longer");
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    // The same text again leaves the file untouched (its time stays in the past).
    const struct timespec past[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), past, 0), 0);
    ASSERT_TRUE(PrivateFile::Write(path, "second, longer", error)) << error;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mtim.tv_sec, 1000000000);
    ASSERT_TRUE(PrivateFile::Write(path, "second, LONGER", error)) << error;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_NE(st.st_mtim.tv_sec, 1000000000);
    EXPECT_EQ(ReadFile(path), "second, LONGER");

    // Never through a link, never into a file with a second name.
    std::string target = dir.Write("target", "keep");
    ASSERT_EQ(symlink(target.c_str(), (dir.Path() + "/link.html").c_str()), 0);
    EXPECT_FALSE(PrivateFile::Write(dir.Path() + "/link.html", "x", error));
    ASSERT_EQ(link(target.c_str(), (dir.Path() + "/second.html").c_str()), 0);
    EXPECT_FALSE(PrivateFile::Write(dir.Path() + "/second.html", "x", error));
    EXPECT_NE(error.find("second.html"), std::string::npos);
    EXPECT_EQ(ReadFile(target), "keep");
}
