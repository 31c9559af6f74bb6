#include "SysPath.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

TEST(SysPath, RootIsPrefixedOnceWithoutDoubleSlashesAndOnlyWhenSet)
{
    {
        ScopedEnv unset("HOSTCAPTURE_SYSROOT", nullptr);
        EXPECT_EQ(SysPath("/opt/TessmarkQDX/bin/tmqdx"), "/opt/TessmarkQDX/bin/tmqdx");
        EXPECT_EQ(SysRoot(), "");
    }
    {
        ScopedEnv empty("HOSTCAPTURE_SYSROOT", "");
        EXPECT_EQ(SysPath("/var/run/tmqdx.pid"), "/var/run/tmqdx.pid");
    }
    ScopedEnv root("HOSTCAPTURE_SYSROOT", "/tmp/root//");
    EXPECT_EQ(SysRoot(), "/tmp/root");
    EXPECT_EQ(SysPath("/var/log/plinthd"), "/tmp/root/var/log/plinthd");
}
