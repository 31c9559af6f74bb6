#include "RedactedCopies.h"

#include "TestEnv.h"

#include <gtest/gtest.h>

#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

namespace
{
mode_t Mode(const std::string& path)
{
    struct stat st;
    return lstat(path.c_str(), &st) == 0 ? st.st_mode & 0777 : 0;
}
} // namespace

// A copy is always a new file: a name that is taken keeps its file, and both copies survive.
TEST(RedactedCopies, NeverWritesOverAnythingAndKeepsBoth)
{
    TempDir dir;
    std::string folder = dir.Path() + "/out";
    RedactedCopies copies;
    std::string error, written;
    ASSERT_TRUE(copies.Open(folder, error)) << error;
    struct Case
    {
        const char* Relative;
        const char* Host;
        const char* Written;
    } cases[] = {{"host-1/20260101T000000Z.html", "host-1", "host-1/20260101T000000Z.html"},
                 {"host-1/20260101T000000Z.html", "host-1", "host-1/host-1-20260101T000000Z.html"},
                 {"host-1/20260101T000000Z.html", "host-1", "host-1/20260101T000000Z-2.html"},
                 {"page.html", "host-2", "page.html"},
                 {"page.html", "host-3", "host-3-page.html"},
                 {"page.html", "", "page-2.html"}};
    int n = 0;
    for (const Case& c : cases)
    {
        std::string bytes = "copy " + std::to_string(++n);
        ASSERT_TRUE(copies.Write(c.Relative, c.Host, bytes, written, error)) << error;
        EXPECT_EQ(written, c.Written);
        EXPECT_EQ(Mode(folder + "/" + written), 0600u);
        std::string back;
        ASSERT_TRUE(copies.Read(written, back, error)) << error;
        EXPECT_EQ(back, bytes);
    }
    EXPECT_EQ(ReadFile(folder + "/host-1/20260101T000000Z.html"), "copy 1");
}

// Links planted inside the folder lead nowhere: neither a linked folder nor a linked file name.
TEST(RedactedCopies, LinksInsideTheFolderAreNotFollowed)
{
    TempDir dir;
    std::string folder = dir.Path() + "/out";
    std::string elsewhere = dir.Path() + "/elsewhere";
    MakeDirs(folder);
    MakeDirs(elsewhere);
    std::string victim = dir.Write("victim.html", "keep");
    ASSERT_EQ(symlink(elsewhere.c_str(), (folder + "/host-1").c_str()), 0);
    ASSERT_EQ(symlink(victim.c_str(), (folder + "/page.html").c_str()), 0);
    RedactedCopies copies;
    std::string error, written;
    ASSERT_TRUE(copies.Open(folder, error)) << error;
    EXPECT_FALSE(copies.Write("host-1/x.html", "host-1", "copy", written, error));
    EXPECT_NE(error.find("not a folder"), std::string::npos) << error;
    EXPECT_FALSE(std::ifstream(elsewhere + "/x.html").good());
    ASSERT_TRUE(copies.Write("page.html", "host-2", "copy", written, error)) << error;
    EXPECT_EQ(written, "host-2-page.html");
    EXPECT_EQ(ReadFile(victim), "keep");
    EXPECT_FALSE(copies.Write("../escape.html", "", "copy", written, error));
}
