#include "SysPath.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace
{
class SysrootEnv
{
public:
    explicit SysrootEnv(const char* value)
    {
        const char* old = std::getenv("HOSTCAPTURE_SYSROOT");
        m_Had = old != nullptr;
        if (m_Had)
            m_Old = old;
        if (value != nullptr)
            setenv("HOSTCAPTURE_SYSROOT", value, 1);
        else
            unsetenv("HOSTCAPTURE_SYSROOT");
    }
    ~SysrootEnv()
    {
        if (m_Had)
            setenv("HOSTCAPTURE_SYSROOT", m_Old.c_str(), 1);
        else
            unsetenv("HOSTCAPTURE_SYSROOT");
    }

private:
    bool m_Had = false;
    std::string m_Old;
};
} // namespace

TEST(SysPath, UnsetOrEmptyRootLeavesFixedPathsAlone)
{
    {
        SysrootEnv env(nullptr);
        EXPECT_EQ(SysPath("/opt/TessmarkQDX/bin/tmqdx"), "/opt/TessmarkQDX/bin/tmqdx");
        EXPECT_EQ(SysRoot(), "");
    }
    SysrootEnv env("");
    EXPECT_EQ(SysPath("/var/run/tmqdx.pid"), "/var/run/tmqdx.pid");
}

TEST(SysPath, RootIsPrefixedOnceWithoutDoubleSlashes)
{
    SysrootEnv env("/tmp/root//");
    EXPECT_EQ(SysRoot(), "/tmp/root");
    EXPECT_EQ(SysPath("/var/log/plinthd"), "/tmp/root/var/log/plinthd");
    EXPECT_EQ(SysPath("/log.hostcapture"), "/tmp/root/log.hostcapture");
}
