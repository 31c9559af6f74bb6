// The client against the simulated daemon, a separate process with framing code of its own.
#include "CSwitchClient.h"

#include "ClientTestSupport.h"
#include "JsonTransport.h"
#include "SimProcess.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

using namespace clienttest;

namespace
{
class SimulatedDaemonTest : public ::testing::Test
{
protected:
    // Requests a command {"OC": oc} at slot 0 and returns its status.
    uint32_t Query(CSwitchClient& client, CObraRequest& request, uint32_t oc)
    {
        request.Reset();
        request.SetCommandNumber("OC", oc);
        return client.Request(request, 0);
    }

    TempDir m_Root;
    ScopedEnv m_Sysroot{"HOSTCAPTURE_SYSROOT", m_Root.Path().c_str()};
    // Waits end on real events only; a broken attach would otherwise sleep for ten minutes.
    CEventClock m_Clock;
    CScopedClock m_ScopedClock{m_Clock};
    SimProcess m_Sim{m_Root.Path()};
};
} // namespace

TEST_F(SimulatedDaemonTest, AttachesExchangesAndDetaches)
{
    const std::string bigText(100000, 'q');
    ASSERT_TRUE(m_Sim.StartWithProfileText(R"({
        "cabinet": {"RAW": [3, 1]},
        "answers": {
            "0x0300": {"ST": "010", "DA": 7},
            "0x0301": {"DA": ")" + bigText +
                                           R"(", "fault": {"chunks": 8, "chunk_gap_ms": 5}},
            "0x0302": {"DA": 1, "fault": {"version": 2}},
            "0x0303": {"fault": {"hangup": true}}
        }
    })"))
        << m_Sim.Error();

    CSwitchClient client;
    client.SetApplicationName("HostCapture");
    ASSERT_TRUE(client.Attach(nullptr));
    uint32_t cabinet = 0;
    ASSERT_TRUE(client.RequestCabinetNumber(cabinet));
    EXPECT_EQ(cabinet, 0x0103u);

    CObraRequest request(0);
    EXPECT_EQ(Query(client, request, 0x0300), 8u);
    EXPECT_EQ(GetCmdValue(request, 0, "DA", 0), 7u);
    EXPECT_EQ(Query(client, request, 0x0301), 0u);
    EXPECT_EQ(GetDataSize(request, 0), bigText.size() + 1);
    EXPECT_EQ(Query(client, request, 0x0302), 22u);
    EXPECT_EQ(Query(client, request, 0x0999), 4u); // the daemon does not know it
    EXPECT_EQ(m_Clock.ElapsedMs(), 0u);
    EXPECT_EQ(m_Clock.SleepCount(), 0u);

    std::vector<SimCommand> commands = m_Sim.RequestedCommands();
    ASSERT_EQ(commands.size(), 6u);
    EXPECT_EQ(commands[0].oc, kOpChannelInit);
    EXPECT_EQ(commands[0].oe, kChannelKindRequest);
    EXPECT_TRUE(commands[0].hasCA);
    EXPECT_FALSE(commands[0].hasOI);
    EXPECT_EQ(commands[1].oc, 0xE204u);
    EXPECT_FALSE(commands[1].hasOE || commands[1].hasOI || commands[1].hasCA);

    // A daemon that hangs up instead of answering: the status says so, the client goes on.
    EXPECT_EQ(Query(client, request, 0x0303), kTransportNotReadable);
    client.Detach();
    EXPECT_EQ(client.GetRequestChannel(), -1);
}

TEST_F(SimulatedDaemonTest, SharesOneChannelAndAttachesAgainAfterARestart)
{
    ASSERT_TRUE(m_Sim.Start(SimProcess::ShippedProfile("demo.json"))) << m_Sim.Error();
    CSwitchClient client;
    ASSERT_TRUE(client.Attach(nullptr));
    ASSERT_TRUE(client.Attach(nullptr));
    CObraRequest request(0);
    EXPECT_EQ(Query(client, request, 0x0300), 0u);
    client.Detach();
    client.Detach();

    // The next attach finds the daemon anew: a fresh channel to the restarted process.
    ASSERT_TRUE(m_Sim.Restart()) << m_Sim.Error();
    ASSERT_TRUE(client.Attach(nullptr));
    EXPECT_EQ(Query(client, request, 0x0300), 0u);
    client.Detach();

    size_t inits = 0;
    for (const SimCommand& command : m_Sim.RequestedCommands())
        inits += command.oc == kOpChannelInit ? 1 : 0;
    EXPECT_EQ(inits, 2u);
    EXPECT_EQ(m_Clock.SleepCount(), 0u);
}
