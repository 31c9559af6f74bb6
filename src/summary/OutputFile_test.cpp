#include "OutputFile.h"

#include "TestEnv.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>

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
        EXPECT_EQ(ReadFile(path), "new");
        EXPECT_EQ(ReadFile(victim), "keep");
    }
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
