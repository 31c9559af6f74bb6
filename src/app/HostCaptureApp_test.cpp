#include "CFile.h"
#include "Clock.h"
#include "HostCaptureApp.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>
#include <string>
#include <sys/stat.h>

namespace
{
off_t SizeOf(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? info.st_size : -1;
}
} // namespace

TEST(HostCaptureAppTest, DefaultFileNameIsLocalTimeStampTakenOncePerRun)
{
    {
        ScopedEnv zone("TZ", "UTC");
        tzset();
        CFakeClock clock(1700000000); // 2023-11-14 22:13:20 UTC
        CScopedClock installed(clock);

        HostCaptureApp app;
        EXPECT_EQ("HostCapture_20231114221320.html", app.GetDefaultFileName());
        clock.AdvanceMs(61000);
        EXPECT_EQ("HostCapture_20231114221320.html", app.GetDefaultFileName());

        ScopedEnv east("TZ", "XYZ-2");
        tzset();
        HostCaptureApp later;
        EXPECT_EQ("HostCapture_20231115001421.html", later.GetDefaultFileName());
    }
    tzset();
}

TEST(HostCaptureAppTest, PreflightCreatesOrEmptiesTheFileAndLeavesErrnoOnFailure)
{
    TempDir dir;
    HostCaptureApp app;
    EXPECT_TRUE(app.CanCreateFile(""));

    std::string existing = dir.Write("existing.html", std::string(4096, 'x'));
    EXPECT_TRUE(app.CanCreateFile(existing));
    EXPECT_EQ(0, SizeOf(existing));
    EXPECT_TRUE(app.CanCreateFile(dir.Path() + "/fresh.html"));
    EXPECT_EQ(0, SizeOf(dir.Path() + "/fresh.html"));

    errno = 0;
    EXPECT_FALSE(app.CanCreateFile(dir.Path() + "/no/such/dir/report.html"));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_FALSE(app.CanCreateFile(dir.Path()));
    EXPECT_EQ(EISDIR, errno);
}

TEST(HostCaptureAppTest, PreflightOfOverlongNameWorksOnItsFirst260Characters)
{
    TempDir dir;
    // Two path components, so that each stays below the file system's limit of 255.
    std::string folder = dir.Path() + "/" + std::string(150, 'd');
    MakeDirs(folder);
    std::string name = folder + "/" + std::string(300 - folder.size() - 1, 'f');
    ASSERT_EQ(300u, name.size());

    HostCaptureApp app;
    EXPECT_TRUE(app.CanCreateFile(name));
    EXPECT_EQ(0, SizeOf(name.substr(0, CFile::MaxPath)));
    EXPECT_EQ(-1, SizeOf(name.substr(0, CFile::MaxPath + 1)));
    EXPECT_EQ(name.substr(0, CFile::MaxPath), CFile(name.c_str()).Path());
}
