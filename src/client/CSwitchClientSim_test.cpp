// The client against the simulated daemon, a separate process with framing code of its own.
#include "CSwitchClient.h"

#include "ClientTestSupport.h"
#include "JsonTransport.h"
#include "SimProcess.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

TEST(CSwitchClientOnSimulatedDaemon, AttachesExchangesAndDetaches)
{
    TempDir root;
    ScopedEnv sysroot("HOSTCAPTURE_SYSROOT", root.Path().c_str());
    // Waits end on real events only; a broken attach would otherwise sleep for ten minutes.
    clienttest::CEventClock clock;
    CScopedClock scopedClock(clock);
    SimProcess sim(root.Path());
    const std::string bigText(100000, 'q');
    ASSERT_TRUE(sim.StartWithProfileText(R"({
        "cabinet": {"RAW": [3, 1]},
        "answers": {
            "0x0300": {"ST": "010", "DA": 7},
            "0x0301": {"DA": ")" + bigText +
                                         R"(", "fault": {"chunks": 16, "chunk_gap_ms": 5}},
            "0x0302": {"DA": 1, "fault": {"version": 2}},
            "0x0303": {"fault": {"hangup": true}}
        }
    })"))
        << sim.Error();

    CSwitchClient client;
    ASSERT_TRUE(client.Attach(nullptr));
    uint32_t cabinet = 0;
    ASSERT_TRUE(client.RequestCabinetNumber(cabinet));
    EXPECT_EQ(cabinet, 0x0103u);
    CObraRequest request(0);
    auto query = [&](uint32_t oc)
    {
        request.Reset();
        request.SetCommandNumber("OC", oc);
        return client.Request(request, 0);
    };
    EXPECT_EQ(query(0x0300), 8u);
    EXPECT_EQ(GetCmdValue(request, 0, "DA", 0), 7u);
    EXPECT_EQ(query(0x0301), 0u); // in more pieces than the client makes read passes
    EXPECT_EQ(GetDataSize(request, 0), bigText.size() + 1);
    EXPECT_EQ(query(0x0302), 22u);
    EXPECT_EQ(query(0x0999), 4u); // unknown to the daemon
    EXPECT_EQ(clock.ElapsedMs(), 0u);

    std::vector<SimCommand> commands = sim.RequestedCommands();
    ASSERT_EQ(commands.size(), 6u);
    EXPECT_EQ(commands[0].oc, kOpChannelInit);
    EXPECT_EQ(commands[0].oe, kChannelKindRequest);
    EXPECT_TRUE(commands[0].hasCA && !commands[0].hasOI);
    EXPECT_EQ(commands[1].oc, 0xE204u);
    EXPECT_FALSE(commands[1].hasOE || commands[1].hasOI || commands[1].hasCA);

    // A daemon that hangs up instead of answering: the status says so.
    EXPECT_EQ(query(0x0303), kTransportNotReadable);
    client.Detach();
    EXPECT_EQ(client.GetRequestChannel(), -1);
}
