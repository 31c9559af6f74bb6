#include "OutputFile.h"

#include "TestEnv.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

// An output replaces its name only when complete, as a 0600 file of its own, whatever stood there.
TEST(OutputFile, ReplacesItsNameWithANewPrivateFile)
{
    TempDir dir;
    std::string victim = dir.Write("victim", "keep");
    struct Case
    {
        const char* Name;
        std::function<void(const std::string&)> Before;
    } cases[] = {
        {"nothing there", [](const std::string&) {}},
        {"a readable old export",
         [&](const std::string& path) { dir.Write("fleet.json", "old"), chmod(path.c_str(), 0644); }},
        {"a link to another file",
         [&](const std::string& path) { ASSERT_EQ(symlink(victim.c_str(), path.c_str()), 0); }},
        {"a second name of another file",
         [&](const std::string& path) { ASSERT_EQ(link(victim.c_str(), path.c_str()), 0); }},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.Name);
        std::string path = dir.File("fleet.json");
        unlink(path.c_str());
        c.Before(path);
        OutputFile out;
        ASSERT_TRUE(out.Create(path)) << out.Error();
        ASSERT_TRUE(out.Write("new"));
        ASSERT_TRUE(out.Commit()) << out.Error();
        struct stat st;
        ASSERT_EQ(lstat(path.c_str(), &st), 0);
        EXPECT_TRUE(S_ISREG(st.st_mode));
        EXPECT_EQ(st.st_mode & 0777, 0600u);
        EXPECT_EQ(st.st_nlink, 1u);
        EXPECT_EQ(ReadFile(path), "new");
        EXPECT_EQ(ReadFile(victim), "keep");
    }
}

// The mode asked for is the mode given, whatever the umask; a synced file ends up the same.
TEST(OutputFile, TakesTheModeAskedFor)
{
    TempDir dir;
    const mode_t old = umask(077);
    const struct
    {
        mode_t Mode;
        OutputFile::Durability Durability;
    } cases[] = {{0644, OutputFile::Durability::Synced}, {0640, OutputFile::Durability::Ordinary}};
    for (const auto& c : cases)
    {
        OutputFile out;
        ASSERT_TRUE(out.Create(dir.File("hostcapture.prom"), c.Mode, c.Durability)) << out.Error();
        ASSERT_TRUE(out.Write("x 1\n"));
        ASSERT_TRUE(out.Commit()) << out.Error();
        struct stat st;
        ASSERT_EQ(stat(dir.File("hostcapture.prom").c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 07777, c.Mode);
    }
    umask(old);
}

// A whole text: other text replaces the file, the same text leaves it untouched, and a file that
// holds the same text but is not a private file of ours is replaced all the same.
TEST(OutputFile, WriteTextLeavesTheSameTextAlone)
{
    TempDir dir;
    const std::string path = dir.File("page.html");
    const struct timespec past[2] = {{1000000000, 0}, {1000000000, 0}};
    std::string error;
    auto modified = [&]()
    {
        struct stat st;
        EXPECT_EQ(stat(path.c_str(), &st), 0);
        return st.st_mtim.tv_sec;
    };

    ASSERT_TRUE(OutputFile::WriteText(path, "first", error)) << error;
    EXPECT_EQ(ReadFile(path), "first");
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), past, 0), 0);
    ASSERT_TRUE(OutputFile::WriteText(path, "first", error)) << error;
    EXPECT_EQ(modified(), 1000000000) << "the same text is not written again";
    ASSERT_TRUE(OutputFile::WriteText(path, "FIRST", error)) << error;
    EXPECT_NE(modified(), 1000000000);
    EXPECT_EQ(ReadFile(path), "FIRST");

    // Same text, but readable by others: written anew as a private file.
    chmod(path.c_str(), 0644);
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), past, 0), 0);
    ASSERT_TRUE(OutputFile::WriteText(path, "FIRST", error)) << error;
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    // Same text behind a link: the link is replaced, its target kept.
    const std::string victim = dir.Write("victim", "same");
    chmod(victim.c_str(), 0600);
    ASSERT_EQ(symlink(victim.c_str(), dir.File("link.html").c_str()), 0);
    ASSERT_TRUE(OutputFile::WriteText(dir.File("link.html"), "same", error)) << error;
    ASSERT_EQ(lstat(dir.File("link.html").c_str(), &st), 0);
    EXPECT_TRUE(S_ISREG(st.st_mode));

    EXPECT_FALSE(OutputFile::WriteText(dir.Path() + "/no/such/page.html", "x", error));
    EXPECT_NE(error.find("no/such/page.html"), std::string::npos) << error;
}

TEST(OutputFile, AFailedOutputLeavesTheOldFileAndNoTrace)
{
    TempDir dir;
    std::string path = dir.Write("fleet.html", "old");
    {
        OutputFile out;
        ASSERT_TRUE(out.Create(path));
        out.Write("half");
        EXPECT_FALSE(out.Commit(false));
    }
    {
        OutputFile abandoned;
        ASSERT_TRUE(abandoned.Create(path));
    }
    EXPECT_EQ(ReadFile(path), "old");
    int entries = 0;
    for (const auto& entry : std::filesystem::directory_iterator(dir.Path()))
        entries += entry.is_regular_file();
    EXPECT_EQ(entries, 1) << "temporary files are removed";

    OutputFile missing;
    EXPECT_FALSE(missing.Create(dir.Path() + "/no/such/fleet.html"));
    EXPECT_NE(missing.Error().find("does not exist"), std::string::npos);
    // A folder standing where the output should go cannot be replaced.
    MakeDirs(dir.Path() + "/taken");
    OutputFile taken;
    ASSERT_TRUE(taken.Create(dir.Path() + "/taken"));
    taken.Write("x");
    EXPECT_FALSE(taken.Commit());
}
