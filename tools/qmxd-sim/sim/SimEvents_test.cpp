#include "SimProcess.h"
#include "SimTestClient.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <csignal>
#include <thread>

namespace
{
const char kProfile[] = R"({
    "events": [
        {"SIP": {"V": 1, "CMD": [{"OC": 1234, "OE": 1, "OI": 1, "CA": 0, "ST": 0, "DA": 5}]}},
        {"SIP": {"V": 1, "CMD": [{"OC": 1234, "OE": 1, "OI": 2, "CA": 0, "ST": 0, "DA": 5}]}},
        {"SIP": {"V": 1, "CMD": [{"OC": 1234, "OE": 1, "OI": 3, "CA": 0, "ST": 5}]}}
    ]
})";

class SimEventsTest : public ::testing::Test
{
protected:
    void Start(const std::string& profile)
    {
        ASSERT_TRUE(m_Sim.StartWithProfileText(profile)) << m_Sim.Error();
    }
    // Whatever the test did to it, the daemon stops cleanly (a sanitizer finding would show here
    // as a non-zero status).
    void TearDown() override
    {
        if (m_Sim.IsRunning())
        {
            EXPECT_EQ(m_Sim.Stop(), 0) << ReadFile(m_Root.Path() + "/qmxd-sim.stderr");
        }
    }
    std::string Socket() const { return m_Root.Path() + "/opt/TessmarkQDX/vital/qmxdaj"; }

    // The object index of the next event on the channel, or -1.
    static int NextIndex(SimTestClient& client)
    {
        std::string text = client.ReadFrame();
        rapidjson::Document event;
        event.Parse(text.c_str());
        if (!event.IsObject())
            return -1;
        return event["SIP"]["CMD"][0]["OI"].GetInt();
    }

    TempDir m_Root;
    SimProcess m_Sim{m_Root.Path()};
};

TEST_F(SimEventsTest, RegisteredChannelGetsTheProfileEventsAfterTheInitReply)
{
    Start(kProfile);
    SimTestClient channel(Socket());
    rapidjson::Document reply;
    ASSERT_TRUE(channel.InitChannel(0x1200, reply));
    EXPECT_EQ(reply["SIP"]["CMD"][0]["ST"].GetUint(), 0u);
    EXPECT_EQ(reply["SIP"]["CMD"][0]["DA"]["RAW"].Size(), 218u);
    EXPECT_EQ(NextIndex(channel), 1);
    EXPECT_EQ(NextIndex(channel), 2);
    EXPECT_EQ(NextIndex(channel), 3);
    EXPECT_TRUE(channel.StaysSilent(100));

    // A connection that never registered receives nothing.
    SimTestClient unregistered(Socket());
    EXPECT_TRUE(m_Sim.WaitEventChannels(1));
    EXPECT_TRUE(m_Sim.PushEvents(1));
    EXPECT_TRUE(unregistered.StaysSilent(100));
    EXPECT_EQ(NextIndex(channel), 1);
}

TEST_F(SimEventsTest, BurstArrivesCompleteAndInOrderOnEveryChannel)
{
    Start(std::string(kProfile).replace(1, 0, "\"push_on_register\": false,"));
    SimTestClient first(Socket());
    SimTestClient second(Socket());
    rapidjson::Document reply;
    ASSERT_TRUE(first.InitChannel(0x1200, reply));
    ASSERT_TRUE(second.InitChannel(0x1200, reply));
    ASSERT_TRUE(m_Sim.WaitEventChannels(2));
    EXPECT_TRUE(first.StaysSilent(50)) << "push_on_register false";

    // Both channels are read while the daemon writes, or a full socket buffer would stall it.
    const int kRounds = 3334;
    std::vector<int> wrong(2, 0);
    std::vector<int> received(2, 0);
    std::thread readers[2];
    SimTestClient* channels[2] = {&first, &second};
    for (int c = 0; c < 2; ++c)
    {
        readers[c] = std::thread(
            [&, c]
            {
                for (int i = 0; i < kRounds * 3; ++i)
                {
                    int index = NextIndex(*channels[c]);
                    if (index < 0)
                        break;
                    ++received[c];
                    if (index != i % 3 + 1)
                        ++wrong[c];
                }
            });
    }
    EXPECT_EQ(m_Sim.Control("push " + std::to_string(kRounds)), "ok 2");
    for (auto& reader : readers)
        reader.join();
    for (int c = 0; c < 2; ++c)
    {
        EXPECT_EQ(received[c], kRounds * 3);
        EXPECT_EQ(wrong[c], 0);
    }
}

TEST_F(SimEventsTest, MalformedEventFramesAreSentAsAsked)
{
    Start("{}");
    SimTestClient channel(Socket());
    rapidjson::Document reply;
    ASSERT_TRUE(channel.InitChannel(0x1200, reply));
    ASSERT_TRUE(m_Sim.WaitEventChannels(1));

    EXPECT_EQ(m_Sim.Control("push-json {\"SIP\":{\"V\":1,\"CMD\":[{\"OC\":7}]}}"), "ok 1");
    EXPECT_EQ(channel.ReadFrame(), "{\"SIP\":{\"V\":1,\"CMD\":[{\"OC\":7}]}}");
    EXPECT_EQ(m_Sim.Control("push-json no json"),
              "error push-json needs a JSON document (push-text sends anything)");
    EXPECT_EQ(m_Sim.Control("push-text no json"), "ok 1");
    EXPECT_EQ(channel.ReadFrame(), "no json");

    EXPECT_EQ(m_Sim.Control("push-zero-length"), "ok 1");
    EXPECT_EQ(channel.ReadBytes(4), std::string(4, '\0'));

    EXPECT_EQ(m_Sim.Control("push-short 30 {}"), "ok 1");
    uint32_t length = 0;
    std::string word = channel.ReadBytes(4);
    ASSERT_EQ(word.size(), 4u);
    std::memcpy(&length, word.data(), 4);
    EXPECT_EQ(length, 33u);
    EXPECT_EQ(channel.ReadBytes(33, 200), std::string("{}\0", 3));

    EXPECT_EQ(m_Sim.Control("push-short x {}"), "error usage: push-short <missing bytes> <text>");
    EXPECT_EQ(m_Sim.Control("frobnicate"), "error unknown command \"frobnicate\"");
}

TEST_F(SimEventsTest, DroppedChannelsCanRegisterAgainAndSignalPushes)
{
    Start(kProfile);
    SimTestClient channel(Socket());
    rapidjson::Document reply;
    ASSERT_TRUE(channel.InitChannel(0x1200, reply));
    ASSERT_TRUE(m_Sim.WaitEventChannels(1));
    EXPECT_EQ(m_Sim.Control("drop-events"), "ok 1");
    EXPECT_EQ(m_Sim.Control("channels"), "ok 0");
    // Events pushed on registration may still be in the socket; after them comes end of file.
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(NextIndex(channel), i + 1);
    EXPECT_TRUE(channel.SeesEndOfFile());

    SimTestClient again(Socket());
    ASSERT_TRUE(again.InitChannel(0x1200, reply));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(NextIndex(again), i + 1);
    EXPECT_EQ(m_Sim.Control("channels"), "ok 1");
    ASSERT_TRUE(m_Sim.Signal(SIGUSR1));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(NextIndex(again), i + 1);

    EXPECT_EQ(m_Sim.Control("wait-channels 2 50"), "error timeout 1");
}
} // namespace
