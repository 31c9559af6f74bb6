#include "Clock.h"
#include "HostCaptureApp.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <ctime>
#include <string>

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
        EXPECT_EQ("HostCapture_20231115001421.html", HostCaptureApp().GetDefaultFileName());
    }
    tzset();
}

TEST(HostCaptureAppTest, PreflightEmptiesTheFileAndLeavesErrnoOnFailure)
{
    TempDir dir;
    HostCaptureApp app;
    EXPECT_TRUE(app.CanCreateFile(""));
    const std::string existing = dir.Write("existing.html", std::string(4096, 'x'));
    EXPECT_TRUE(app.CanCreateFile(existing));
    EXPECT_EQ("", ReadFile(existing));

    errno = 0;
    EXPECT_FALSE(app.CanCreateFile(dir.Path()));
    EXPECT_EQ(EISDIR, errno);
}
