#include "CFile.h"
#include "Clock.h"
#include "HostCaptureApp.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
bool Exists(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

off_t SizeOf(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? info.st_size : -1;
}
} // namespace

TEST(HostCaptureAppTest, DefaultFileNameIsLocalTimeStampTakenOncePerRun)
{
    ScopedEnv zone("TZ", "UTC");
    tzset();
    CFakeClock clock(1700000000); // 2023-11-14 22:13:20 UTC
    CScopedClock installed(clock);

    HostCaptureApp app;
    EXPECT_EQ("HostCapture_20231114221320.html", app.GetDefaultFileName());
    clock.AdvanceMs(61000);
    EXPECT_EQ("HostCapture_20231114221320.html", app.GetDefaultFileName());

    HostCaptureApp later;
    EXPECT_EQ("HostCapture_20231114221421.html", later.GetDefaultFileName());

    {
        ScopedEnv east("TZ", "XYZ-2");
        tzset();
        HostCaptureApp elsewhere;
        EXPECT_EQ("HostCapture_20231115001421.html", elsewhere.GetDefaultFileName());
    }
    tzset();
}

TEST(HostCaptureAppTest, PreflightCreatesOrEmptiesTheFile)
{
    TempDir dir;
    HostCaptureApp app;

    EXPECT_TRUE(app.CanCreateFile(""));

    std::string fresh = dir.File("fresh.html");
    EXPECT_TRUE(app.CanCreateFile(fresh));
    EXPECT_EQ(0, SizeOf(fresh));

    std::string existing = dir.Write("existing.html", std::string(4096, 'x'));
    EXPECT_TRUE(app.CanCreateFile(existing));
    EXPECT_EQ(0, SizeOf(existing));
}

TEST(HostCaptureAppTest, PreflightFailureLeavesErrnoForTheMessage)
{
    TempDir dir;
    HostCaptureApp app;

    std::string missing = dir.Path() + "/no/such/dir/report.html";
    errno = 0;
    EXPECT_FALSE(app.CanCreateFile(missing));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_FALSE(Exists(missing));

    std::string underFile = dir.Write("plain", "x") + "/report.html";
    EXPECT_FALSE(app.CanCreateFile(underFile));
    EXPECT_EQ(ENOTDIR, errno);

    EXPECT_FALSE(app.CanCreateFile(dir.Path()));
    EXPECT_EQ(EISDIR, errno);
}

TEST(HostCaptureAppTest, PreflightOfOverlongNameWorksOnItsFirst260Characters)
{
    TempDir dir;
    // Two path components, so that every name stays below the file system's limit of 255.
    std::string folder = dir.Path() + "/" + std::string(150, 'd');
    MakeDirs(folder);
    std::string name = folder + "/" + std::string(300 - folder.size() - 1, 'f');
    ASSERT_EQ(300u, name.size());

    HostCaptureApp app;
    EXPECT_TRUE(app.CanCreateFile(name));
    EXPECT_TRUE(Exists(name.substr(0, CFile::MaxPath)));
    EXPECT_FALSE(Exists(name.substr(0, CFile::MaxPath + 1)));
    EXPECT_FALSE(Exists(name));

    CFile file(name.c_str());
    EXPECT_EQ(name.substr(0, CFile::MaxPath), file.Path());
}

TEST(CFileTest, LockSyncAndCloseOnlyWorkOnAnOpenFile)
{
    TempDir dir;
    CFile closed(dir.File("never-opened").c_str());
    EXPECT_FALSE(closed.IsOpen());
    EXPECT_FALSE(closed.Lock());
    EXPECT_FALSE(closed.Sync());
    EXPECT_TRUE(closed.Close());

    std::string path = dir.File("locked");
    {
        CFile file(path.c_str());
        ASSERT_TRUE(file.Open(O_RDWR | O_CREAT | O_TRUNC, 0644));
        EXPECT_TRUE(file.Lock());
        // A second descriptor cannot take the lock while the first holds it.
        int other = open(path.c_str(), O_RDWR);
        ASSERT_GE(other, 0);
        EXPECT_NE(0, flock(other, LOCK_EX | LOCK_NB));
        EXPECT_TRUE(file.Sync());
        EXPECT_TRUE(file.Unlock());
        EXPECT_EQ(0, flock(other, LOCK_EX | LOCK_NB));
        close(other);
        EXPECT_TRUE(file.Close());
        EXPECT_FALSE(file.IsOpen());
    }

    CFile nullPath(nullptr);
    EXPECT_STREQ("", nullPath.Path());
    EXPECT_FALSE(nullPath.Open(O_RDONLY, 0));
    EXPECT_EQ(ENOENT, nullPath.LastError());
}

TEST(CFileTest, WriteTextFileReplacesContentOrFailsWithErrno)
{
    TempDir dir;
    std::string path = dir.Write("page.html", std::string(10000, 'x'));
    EXPECT_TRUE(CFile::WriteTextFile(path, "<!DOCTYPE html>"));
    EXPECT_EQ("<!DOCTYPE html>", ReadFile(path));

    errno = 0;
    EXPECT_FALSE(CFile::WriteTextFile(dir.Path() + "/missing/page.html", "x"));
    EXPECT_EQ(ENOENT, errno);
}
