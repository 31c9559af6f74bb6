#include "SwitchClientConnection.h"

#include "CConfigSpaceQuery.h"
#include "CSwitchClient.h"
#include "Clock.h"
#include "SimProcess.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

namespace
{
const char kProfile[] = R"({
    "cabinet": 3,
    "answers": {
        "0x0C00/0x0608/0": {"DA": "HC Test Server"},
        "0x0300":          {"DA": 2},
        "0x0301/0/1":      {"DA": 3},
        "0x0523/0/0":      {"DA": 4294312436},
        "0x2131/0/0":      {"DA": 0},
        "0x2132/0/0":      {"DA": 1},
        "0x180A":          {"ST": 0, "DA": 1, "fault": {"omit_status": true, "count": 1}},
    },
})";
} // namespace

TEST(SwitchClientConnection, FailedAttachPrintsTheErrorAndLeavesTheQueryUnbound)
{
    // No daemon front-end below the root: the attach gives up at once.
    TempDir root;
    ScopedEnv sysroot("HOSTCAPTURE_SYSROOT", root.Path().c_str());
    CFakeClock clock;
    CScopedClock scopedClock(clock);
    CSwitchClient client;
    CConfigSpaceQuery query;

    testing::internal::CaptureStdout();
    EXPECT_FALSE(ConnectSwitchClient(query, client));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\n ERROR: Tessmark Switch could not be connected\n");
    EXPECT_EQ(client.GetApplicationName(), "HostCapture");
    EXPECT_EQ(client.GetLastErrorCode(), 6u);
    EXPECT_EQ(query.Client(), nullptr);
    EXPECT_EQ(query.GetSystemModel(), "");
    EXPECT_EQ(query.GetCoolingDeviceStatus(0).Text, "Disabled");

    ReleaseSwitchClient(query);
    EXPECT_EQ(client.GetAttachCount(), 0u);
}

TEST(SwitchClientConnection, QueriesRunAgainstTheDaemonOnOneSharedAttach)
{
    TempDir root;
    ScopedEnv sysroot("HOSTCAPTURE_SYSROOT", root.Path().c_str());
    SimProcess sim(root.Path());
    ASSERT_TRUE(sim.StartWithProfileText(kProfile)) << sim.Error();
    CSwitchClient& shared = SharedSwitchClient();

    CConfigSpaceQuery information;
    CConfigSpaceQuery health;
    ASSERT_TRUE(ConnectSwitchClient(information));
    ASSERT_TRUE(ConnectSwitchClient(health));
    EXPECT_EQ(shared.GetAttachCount(), 2u);
    EXPECT_EQ(information.CabinetNumber(), 3u);
    EXPECT_EQ(information.ServicePath(), "/opt/TessmarkQDX/bin/tmqdx");

    EXPECT_EQ(information.GetSystemModel(), "HC Test Server");
    EXPECT_EQ(information.GetCoolingDeviceCount(), 2u);
    const CodedResult fan = health.GetCoolingDeviceStatus(1);
    EXPECT_EQ(fan.Status, 2u);
    EXPECT_EQ(fan.Text, "Pre-Fail");
    EXPECT_EQ(health.GetVoltageThresholds(0), 0xFFF601F4u);
    EXPECT_EQ(health.GetPhysicalDriveStatus(0, 0).Text, "Operational - S.M.A.R.T. Failure");
    EXPECT_EQ(health.GetTemperatureSensorCount(), 0u); // the daemon refuses unknown queries

    // The first answer lacks its status, the second is complete.
    EXPECT_FALSE(information.ClearDeviceWatchStatus());
    EXPECT_TRUE(information.ClearDeviceWatchStatus());

    const std::vector<SimCommand> clears = sim.RequestedCommands(0x180A);
    ASSERT_EQ(clears.size(), 2u);
    EXPECT_TRUE(clears[0].hasST && clears[0].hasDA && clears[0].hasCA);
    EXPECT_FALSE(clears[0].hasOE || clears[0].hasOI);
    EXPECT_EQ(clears[0].ca, 3u);
    const std::vector<SimCommand> counts = sim.RequestedCommands(0x0300);
    ASSERT_EQ(counts.size(), 1u);
    EXPECT_FALSE(counts[0].hasOE || counts[0].hasOI || counts[0].hasST || counts[0].hasDA);
    EXPECT_TRUE(counts[0].hasCA);

    // Releasing one section leaves the other one's connection working.
    ReleaseSwitchClient(information);
    EXPECT_EQ(shared.GetAttachCount(), 1u);
    EXPECT_EQ(information.GetCoolingDeviceCount(), 0u);
    EXPECT_EQ(sim.RequestedCommands(0x0300).size(), 1u);
    EXPECT_EQ(health.GetCoolingDeviceCount(), 2u);

    ReleaseSwitchClient(health);
    EXPECT_EQ(shared.GetAttachCount(), 0u);
    EXPECT_EQ(shared.GetRequestChannel(), -1);

    // An object destroyed while connected gives its reference back.
    {
        CConfigSpaceQuery forgotten;
        ASSERT_TRUE(ConnectSwitchClient(forgotten));
        ASSERT_TRUE(ConnectSwitchClient(forgotten)); // a reconnect does not count twice
        EXPECT_EQ(shared.GetAttachCount(), 1u);
    }
    EXPECT_EQ(shared.GetAttachCount(), 0u);
}
