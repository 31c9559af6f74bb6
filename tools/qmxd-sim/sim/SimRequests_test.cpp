#include "SimProcess.h"
#include "SimTestClient.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace
{
const char kProfile[] = R"({
    // comments and trailing commas are allowed in profiles
    "cabinet": 3,
    "answers": {
        "0x0C00/0x0608/0": {"DA": "RX-9000 M2"},
        "0x0300":          {"DA": 6},
        "0x0B10/0/0":      {"DA": {"RAW": [1, 2, 255]}},
        "0x2131/1/*":      {"DA": 1},
        "0x2131/1/3":      {"ST": 21},
        "0x0301/0/1":      {"ST": "0x0", "DA": 2},
        "0x180A":          {"ST": 0, "DA": true},
        "0x0302/0/1": {"DA": 1, "fault": {"delay_ms": 150}},
        "0x0302/0/2": {"DA": 2, "fault": {"chunks": 3, "chunk_gap_ms": 100}},
        "0x0302/0/3": {"DA": 3, "fault": {"version": 2}},
        "0x0302/0/4": {"DA": 4, "fault": {"short_by": 40}},
        "0x0302/0/5": {"DA": 5, "fault": {"hangup": true}},
        "0x0302/0/6": {"DA": 6, "fault": {"omit_status": true}},
        "0x0302/0/7": {"DA": 7, "fault": {"reply_text": "not json"}},
        "0x0302/0/8": {"DA": 8, "fault": {"hangup": true, "count": 1}},
    },
})";

class SimRequestsTest : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_Sim.StartWithProfileText(kProfile)) << m_Sim.Error(); }
    // Whatever the test did to it, the daemon stops cleanly (a sanitizer finding would show here
    // as a non-zero status).
    void TearDown() override
    {
        if (m_Sim.IsRunning())
        {
            EXPECT_EQ(m_Sim.Stop(), 0) << ReadFile(m_Root.Path() + "/qmxd-sim.stderr");
        }
    }
    std::string Socket() const { return m_Root.Path() + "/opt/TessmarkQDX/vital/qmxdsj"; }

    static std::string Query(unsigned oc, unsigned oe, unsigned oi)
    {
        std::string command = "{\"OC\":" + std::to_string(oc);
        if (oe != 0)
            command += ",\"OE\":" + std::to_string(oe);
        if (oi != 0)
            command += ",\"OI\":" + std::to_string(oi);
        return "{\"SIP\":{\"V\":1,\"CMD\":[" + command + ",\"CA\":0}]}}";
    }

    TempDir m_Root;
    SimProcess m_Sim{m_Root.Path()};
};

TEST_F(SimRequestsTest, ChannelInitReplyCarriesTheDaemonDescriptorInTheRegistrationBlock)
{
    SimTestClient client(Socket());
    ASSERT_TRUE(client.Connected());
    std::string raw;
    for (int i = 0; i < 218; ++i)
        raw += (i ? ",0" : "0");
    ASSERT_TRUE(client.SendFrame(
        "{\"SIP\":{\"V\":1,\"CMD\":[{\"OC\":65440,\"OE\":4352,\"CA\":0,\"DA\":{\"RAW\":[" + raw + "]}}]}}"));
    uint32_t length = 0;
    std::string body = client.ReadFrameBody(length);
    ASSERT_FALSE(body.empty());
    // The length word counts the text and its terminating zero byte, and nothing else.
    EXPECT_EQ(body.size(), length);
    EXPECT_EQ(body.find('\0'), body.size() - 1);

    rapidjson::Document reply;
    reply.Parse(body.c_str());
    ASSERT_TRUE(reply.IsObject());
    EXPECT_EQ(reply["SIP"]["V"].GetInt(), 1);
    const rapidjson::Value& command = reply["SIP"]["CMD"][0];
    EXPECT_EQ(command["ST"].GetUint(), 0u);
    EXPECT_EQ(command["OE"].GetUint(), 0x1100u);
    const rapidjson::Value& block = command["DA"]["RAW"];
    ASSERT_EQ(block.Size(), 218u);
    uint32_t daemonFd = 0;
    for (int i = 0; i < 4; ++i)
        daemonFd |= block[65 + i].GetUint() << (8 * i);
    // The daemon's own descriptor: a small number, different for a second connection.
    EXPECT_GT(daemonFd, 2u);
    EXPECT_LT(daemonFd, 1024u);

    SimTestClient second(Socket());
    rapidjson::Document secondReply;
    ASSERT_TRUE(second.InitChannel(0x1100, secondReply));
    EXPECT_NE(secondReply["SIP"]["CMD"][0]["DA"]["RAW"][65].GetUint(), block[65].GetUint());
}

TEST_F(SimRequestsTest, AnswersEveryCommandOfARequestInPlace)
{
    SimTestClient client(Socket());
    rapidjson::Document reply;
    client.Exchange(R"({"SIP":{"V":1,"CMD":[{"OC":57860},
        {"OC":3072,"OE":1544,"CA":0},
        {"OC":768,"CA":0},
        {"OC":2832,"CA":0},
        {"OC":8497,"OE":1,"OI":9,"CA":0},
        {"OC":8497,"OE":1,"OI":3,"CA":0},
        {"OC":8497,"OE":2,"OI":9,"CA":0},
        {"OC":769,"OI":1,"CA":0},
        {"OC":6154,"DA":1,"ST":0,"CA":0},
        {"OC":1,"CA":0,"DA":"request data is replaced"},
        "not a command"]}})",
                    reply);
    ASSERT_TRUE(reply.IsObject());
    const rapidjson::Value& commands = reply["SIP"]["CMD"];
    ASSERT_EQ(commands.Size(), 11u);
    EXPECT_EQ(commands[0]["DA"].GetUint(), 3u) << "cabinet number";
    EXPECT_FALSE(commands[0].HasMember("CA")) << "members the client left out stay out";
    EXPECT_STREQ(commands[1]["DA"].GetString(), "RX-9000 M2");
    EXPECT_EQ(commands[1]["OE"].GetUint(), 1544u);
    EXPECT_EQ(commands[2]["DA"].GetUint(), 6u) << "a key without OE/OI means both 0";
    EXPECT_EQ(commands[3]["DA"]["RAW"].Size(), 3u);
    EXPECT_EQ(commands[3]["DA"]["RAW"][2].GetUint(), 255u);
    EXPECT_EQ(commands[4]["DA"].GetUint(), 1u) << "wildcard index";
    EXPECT_EQ(commands[5]["ST"].GetUint(), 21u) << "an exact key wins over a wildcard";
    EXPECT_FALSE(commands[5].HasMember("DA"));
    EXPECT_EQ(commands[6]["ST"].GetUint(), 4u) << "the wildcard is for adapter 1 only";
    EXPECT_STREQ(commands[7]["ST"].GetString(), "0x0") << "a status is sent as written";
    EXPECT_TRUE(commands[8]["DA"].IsTrue());
    EXPECT_EQ(commands[9]["ST"].GetUint(), 4u);
    EXPECT_FALSE(commands[9].HasMember("DA")) << "unanswered commands carry no data";
    EXPECT_STREQ(commands[10].GetString(), "not a command");

    // The request log holds the request exactly as the client sent it.
    std::vector<SimCommand> logged = m_Sim.RequestedCommands();
    ASSERT_EQ(logged.size(), 10u);
    EXPECT_EQ(logged[0].oc, 0xE204u);
    EXPECT_FALSE(logged[0].hasCA);
    EXPECT_TRUE(logged[1].hasOE);
    EXPECT_FALSE(logged[1].hasOI);
    EXPECT_TRUE(logged[4].hasOI);
    EXPECT_EQ(logged[4].oi, 9u);
    EXPECT_TRUE(logged[8].hasDA);
    EXPECT_TRUE(logged[8].hasST);
    EXPECT_FALSE(logged[9].hasST);
}

TEST_F(SimRequestsTest, MalformedRequestsGetAnEmptyCommandListAndAreLogged)
{
    SimTestClient client(Socket());
    rapidjson::Document reply;
    client.Exchange("{\"SIP\": broken", reply);
    ASSERT_TRUE(reply.IsObject());
    EXPECT_EQ(reply["SIP"]["CMD"].Size(), 0u);
    client.Exchange("[1,2]", reply);
    ASSERT_TRUE(reply.IsArray()) << "a document without commands comes back unchanged";

    std::vector<std::string> lines = m_Sim.RequestLogLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "{\"unparsed\":\"{\\\"SIP\\\": broken\"}");
    EXPECT_EQ(lines[1], "[1,2]");

    // A frame whose text stops at a zero byte before its end is read up to that byte.
    uint32_t length = 20;
    std::string frame(reinterpret_cast<const char*>(&length), 4);
    frame += std::string("{\"SIP\":{\"V\":1}}\0xyz", 19);
    frame.push_back('\0');
    ASSERT_TRUE(client.SendBytes(frame));
    EXPECT_EQ(client.ReadFrame(), "{\"SIP\":{\"V\":1}}");
}

TEST_F(SimRequestsTest, DelayAndChunkedRepliesArriveLateAndInPieces)
{
    SimTestClient client(Socket());
    auto start = std::chrono::steady_clock::now();
    rapidjson::Document reply;
    client.Exchange(Query(0x0302, 0, 1), reply);
    auto elapsed = std::chrono::steady_clock::now() - start;
    ASSERT_TRUE(reply.IsObject());
    EXPECT_EQ(reply["SIP"]["CMD"][0]["DA"].GetUint(), 1u);
    EXPECT_GE(elapsed, std::chrono::milliseconds(150));

    ASSERT_TRUE(client.SendFrame(Query(0x0302, 0, 2)));
    // The first piece is a third of the frame; the rest follows after the gaps.
    pollfd readable = {client.Fd(), POLLIN, 0};
    ASSERT_EQ(poll(&readable, 1, 3000), 1);
    char buffer[4096];
    ssize_t first = recv(client.Fd(), buffer, sizeof(buffer), MSG_DONTWAIT);
    ASSERT_GT(first, 0);
    uint32_t length = 0;
    ASSERT_GE(first, 4);
    std::memcpy(&length, buffer, 4);
    EXPECT_LT(static_cast<size_t>(first), length + 4u);
    std::string rest = client.ReadBytes(length + 4 - static_cast<size_t>(first));
    std::string text = std::string(buffer + 4, static_cast<size_t>(first) - 4) + rest;
    ASSERT_EQ(text.size(), length);
    reply.Parse(text.c_str());
    ASSERT_TRUE(reply.IsObject());
    EXPECT_EQ(reply["SIP"]["CMD"][0]["DA"].GetUint(), 2u);
}

TEST_F(SimRequestsTest, ReplyContentFaults)
{
    SimTestClient client(Socket());
    rapidjson::Document reply;
    client.Exchange(Query(0x0302, 0, 3), reply);
    ASSERT_TRUE(reply.IsObject());
    EXPECT_EQ(reply["SIP"]["V"].GetInt(), 2);
    EXPECT_EQ(reply["SIP"]["CMD"][0]["DA"].GetUint(), 3u);

    client.Exchange(Query(0x0302, 0, 6), reply);
    ASSERT_TRUE(reply.IsObject());
    EXPECT_FALSE(reply["SIP"]["CMD"][0].HasMember("ST"));
    EXPECT_EQ(reply["SIP"]["CMD"][0]["DA"].GetUint(), 6u);

    ASSERT_TRUE(client.SendFrame(Query(0x0302, 0, 7)));
    EXPECT_EQ(client.ReadFrame(), "not json");

    // Other queries on the same connection are unaffected.
    client.Exchange(Query(0x0300, 0, 0), reply);
    ASSERT_TRUE(reply.IsObject());
    EXPECT_EQ(reply["SIP"]["CMD"][0]["DA"].GetUint(), 6u);
}

TEST_F(SimRequestsTest, ShortFrameLeavesTheConnectionOpenAndSilent)
{
    SimTestClient client(Socket());
    ASSERT_TRUE(client.SendFrame(Query(0x0302, 0, 4)));
    uint32_t length = 0;
    std::string word = client.ReadBytes(4);
    ASSERT_EQ(word.size(), 4u);
    std::memcpy(&length, word.data(), 4);
    std::string body = client.ReadBytes(length, 300);
    EXPECT_EQ(body.size() + 40, length) << "the length word promises 40 bytes that never come";
    EXPECT_EQ(body.back(), '\0');
    ASSERT_TRUE(client.SendFrame(Query(0x0300, 0, 0)));
    EXPECT_TRUE(client.StaysSilent(200)) << "later requests are swallowed, the connection stays open";
    EXPECT_EQ(m_Sim.RequestLogLines().size(), 2u);
}

TEST_F(SimRequestsTest, HangupFaultClosesWithoutReplyAndCanBeLimited)
{
    SimTestClient client(Socket());
    ASSERT_TRUE(client.SendFrame(Query(0x0302, 0, 5)));
    EXPECT_TRUE(client.SeesEndOfFile());

    SimTestClient first(Socket());
    ASSERT_TRUE(first.SendFrame(Query(0x0302, 0, 8)));
    EXPECT_TRUE(first.SeesEndOfFile());
    SimTestClient second(Socket());
    rapidjson::Document reply;
    second.Exchange(Query(0x0302, 0, 8), reply);
    ASSERT_TRUE(reply.IsObject()) << "a fault with count 1 strikes once";
    EXPECT_EQ(reply["SIP"]["CMD"][0]["DA"].GetUint(), 8u);
}

TEST_F(SimRequestsTest, ServesManyClientsAtOnce)
{
    const int kClients = 6;
    const int kRounds = 40;
    std::vector<std::thread> threads;
    std::vector<int> good(kClients, 0);
    for (int c = 0; c < kClients; ++c)
    {
        threads.emplace_back(
            [&, c]
            {
                SimTestClient client(Socket());
                rapidjson::Document reply;
                for (int round = 0; round < kRounds; ++round)
                {
                    // Each client asks for its own index so crossed replies would show.
                    unsigned oi = static_cast<unsigned>(c % 2 == 0 ? 9 : 3);
                    client.Exchange(Query(0x2131, 1, oi), reply);
                    if (reply.IsObject() && reply["SIP"]["CMD"][0]["OI"].GetUint() == oi &&
                        reply["SIP"]["CMD"][0]["ST"].GetUint() == (oi == 3 ? 21u : 0u))
                        ++good[c];
                }
            });
    }
    for (auto& thread : threads)
        thread.join();
    for (int c = 0; c < kClients; ++c)
        EXPECT_EQ(good[c], kRounds) << "client " << c;
    EXPECT_EQ(m_Sim.RequestLogLines().size(), static_cast<size_t>(kClients * kRounds));
}
} // namespace

// The misbehaviour a hostile daemon shows: counts without end, texts of many megabytes, and a
// request taken and never answered.
TEST(SimHostileAnswers, CountsRepeatedTextsAndStalls)
{
    TempDir root;
    SimProcess sim(root.Path());
    ASSERT_TRUE(sim.StartWithProfileText(R"({"counts": 4294967295, "answers": {
        "0x0400": {"DA": 7},
        "0x0C00/*/*": {"repeat": {"text": "ab<", "bytes": 3000001}},
        "0x0304/0/*": {"DA": "FAN", "fault": {"stall": true}}}})"))
        << sim.Error();
    const std::string socket = root.Path() + "/opt/TessmarkQDX/vital/qmxdsj";
    auto query = [](unsigned oc, unsigned oe)
    {
        return "{\"SIP\":{\"V\":1,\"CMD\":[{\"OC\":" + std::to_string(oc) + ",\"OE\":" + std::to_string(oe) +
               ",\"CA\":0}]}}";
    };
    SimTestClient client(socket);
    rapidjson::Document reply;
    const struct
    {
        unsigned oc, oe;
        uint32_t count;
    } counts[] = {{0x0300, 0, 4294967295u}, {0x2150, 5, 4294967295u}, {0x0400, 0, 7}};
    for (const auto& c : counts)
    {
        client.Exchange(query(c.oc, c.oe), reply);
        ASSERT_TRUE(reply.IsObject()) << c.oc;
        EXPECT_EQ(reply["SIP"]["CMD"][0]["DA"].GetUint(), c.count) << c.oc;
    }
    client.Exchange(query(0x0301, 0), reply);
    EXPECT_EQ(reply["SIP"]["CMD"][0]["ST"].GetUint(), 4u) << "only counts are answered by \"counts\"";

    client.Exchange(query(0x0C00, 0x0608), reply);
    ASSERT_TRUE(reply.IsObject());
    const std::string text = reply["SIP"]["CMD"][0]["DA"].GetString();
    EXPECT_EQ(text.size(), 3000001u);
    EXPECT_EQ(text.substr(0, 7), "ab<ab<a");
    EXPECT_EQ(text.substr(text.size() - 4), "ab<a") << "the last copy is cut short";

    ASSERT_TRUE(client.SendFrame(query(0x0304, 0)));
    EXPECT_EQ(sim.Control("wait-stalls 1 5000"), "ok 1");
    EXPECT_TRUE(client.StaysSilent(200)) << "a stalled request is never answered";
    EXPECT_EQ(sim.Control("wait-stalls 2 10"), "error timeout 1");
}
