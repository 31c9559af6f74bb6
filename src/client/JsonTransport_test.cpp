#include "JsonTransport.h"

#include "ClientTestSupport.h"
#include "TestEnv.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <cerrno>
#include <fcntl.h>

using namespace clienttest;

namespace
{
// A fake clock that runs a hook before each wait, so that a test can make the peer act at an
// exact point of the exchange without a thread.
class CHookClock : public CFakeClock
{
public:
    explicit CHookClock(std::function<void(const struct pollfd&)> hook) : m_Hook(std::move(hook)) {}
    int Poll(struct pollfd* fds, nfds_t count, int timeoutMs) override
    {
        m_Hook(fds[0]);
        return CFakeClock::Poll(fds, count, timeoutMs);
    }

private:
    std::function<void(const struct pollfd&)> m_Hook;
};

struct InitExchange
{
    int result = -1;
    int fd = -1;
    std::vector<int> raw; // "DA"."RAW" of the command that went out
    rapidjson::Document request;
};

// Runs the channel-init command on a socket pair whose peer answers with the given bytes (or
// hangs up when there are none).
void RunInitCommand(const char* name, const std::string& replyBytes, InitExchange& exchange)
{
    CEventClock clock;
    CScopedClock scoped(clock);
    SocketPair pair;
    std::string text;
    PeerThread peer(
        [&]
        {
            ReadFrame(pair.peer, text);
            if (replyBytes.empty())
                CloseFd(pair.peer);
            else
                WriteAll(pair.peer, replyBytes);
        });
    exchange.fd = pair.client;
    exchange.result = SendInitChannelCommand(pair.client, name, kChannelKindEvent, kInitCommandTimeout);
    peer.Join();
    exchange.request.Parse(text.c_str());
    ASSERT_FALSE(exchange.request.HasParseError()) << text;
    for (const auto& element : exchange.request["SIP"]["CMD"][0]["DA"]["RAW"].GetArray())
        exchange.raw.push_back(element.GetInt());
}
} // namespace

TEST(IsFdReady, ReportsEachOutcome)
{
    CFakeClock clock;
    CScopedClock scoped(clock);
    SocketPair pair;
    EXPECT_EQ(IsFdReady(-1, POLLIN, 100), -3);
    EXPECT_EQ(IsFdReady(pair.client, POLLIN, 0), -4);
    EXPECT_EQ(IsFdReady(pair.client, POLLOUT, 100), POLLOUT);
    EXPECT_EQ(IsFdReady(pair.client, POLLIN, 250), -15);
    EXPECT_EQ(clock.ElapsedMs(), 250u);
    EXPECT_EQ(IsFdReady(pair.client, POLLIN | POLLOUT, 100), -9); // only half of the mask
    ASSERT_TRUE(WriteAll(pair.peer, "x"));
    EXPECT_EQ(IsFdReady(pair.client, POLLIN, 100), POLLIN);
    CloseFd(pair.peer);
    EXPECT_EQ(IsFdReady(pair.client, POLLIN, 100), -6);
    int stale = dup(pair.client);
    close(stale);
    EXPECT_EQ(IsFdReady(stale, POLLIN, 100), -9);
}

TEST(SendRequestOnFd, ExchangesFramesWithoutIdleTime)
{
    CFakeClock clock;
    CScopedClock scoped(clock);
    SocketPair pair;
    const std::string request = R"({"SIP":{"V":1,"CMD":[{"OC":1}]}})";
    // A reply, one cut at an inner zero byte, and an empty one, all waiting before the requests.
    ASSERT_TRUE(WriteAll(pair.peer,
                         Frame("{\"a\":1}") + RawFrame(8, std::string("abc\0def\0", 8)) + RawFrame(0, "")));
    std::string reply;
    EXPECT_EQ(SendRequestOnFd(pair.client, request.c_str(), reply, 0), kTransportOk);
    EXPECT_EQ(reply, "{\"a\":1}");
    EXPECT_EQ(SendRequestOnFd(pair.client, "{}", reply, 5), kTransportOk);
    EXPECT_EQ(reply, "abc");
    EXPECT_EQ(SendRequestOnFd(pair.client, "{}", reply, 5), kTransportOk);
    EXPECT_EQ(reply, "");
    EXPECT_EQ(clock.ElapsedMs(), 0u);
    EXPECT_EQ(clock.SleepCount(), 0u);

    std::string sent;
    ASSERT_TRUE(ReadExact(pair.peer, 4 + request.size() + 1, sent));
    EXPECT_EQ(sent, Frame(request));
}

TEST(SendRequestOnFd, GivesUpOnAnIncompleteReply)
{
    CFakeClock clock;
    CScopedClock scoped(clock);
    std::string reply;
    SocketPair silent; // ten passes of one second each
    ASSERT_TRUE(WriteAll(silent.peer, RawFrame(100, std::string(60, 'a'))));
    EXPECT_EQ(SendRequestOnFd(silent.client, "{}", reply, 0), kTransportReadFailed);
    EXPECT_EQ(clock.ElapsedMs(), 10000u);

    SocketPair finished; // the same ten passes, but a peer that stopped sending costs no time
    ASSERT_TRUE(WriteAll(finished.peer, RawFrame(100, std::string(60, 'a'))));
    shutdown(finished.peer, SHUT_WR);
    EXPECT_EQ(SendRequestOnFd(finished.client, "{}", reply, 0), kTransportReadFailed);
    EXPECT_EQ(clock.ElapsedMs(), 10000u);
}

TEST(SendRequestOnFd, AcceptsAShortLengthRead)
{
    // One byte of the length word is there when the client reads it; the rest of the frame
    // arrives while the client waits in its first read pass.
    SocketPair pair;
    ASSERT_TRUE(WriteAll(pair.peer, std::string(1, '\x03')));
    int inputWaits = 0;
    CHookClock clock(
        [&](const struct pollfd& wait)
        {
            if (wait.events == POLLIN && ++inputWaits == 2)
                WriteAll(pair.peer, std::string("ab\0", 3));
        });
    CScopedClock scoped(clock);
    std::string reply;
    EXPECT_EQ(SendRequestOnFd(pair.client, "{}", reply, 0), kTransportOk);
    EXPECT_EQ(reply, "ab");
    EXPECT_EQ(clock.ElapsedMs(), 0u);
}

TEST(SendRequestOnFd, ReportsFailuresByKind)
{
    CEventClock clock;
    CScopedClock scoped(clock);
    std::string reply;
    EXPECT_EQ(SendRequestOnFd(-1, "{}", reply, 0), kTransportNoChannel);

    SocketPair hangingUp; // takes the request, then hangs up while the client waits
    PeerThread peer(
        [&]
        {
            std::string text;
            ReadFrame(hangingUp.peer, text);
            CloseFd(hangingUp.peer);
        });
    EXPECT_EQ(SendRequestOnFd(hangingUp.client, "{}", reply, 0), kTransportNotReadable);
    EXPECT_EQ(clock.ElapsedMs(), 0u); // a hang-up, not a time-out
    EXPECT_EQ(SendRequestOnFd(hangingUp.client, "{}", reply, 0), kTransportWriteFailed);

    for (uint32_t length : {0xFFFFFFFFu, kMaxReplyLength + 1})
    {
        SocketPair pair;
        ASSERT_TRUE(WriteAll(pair.peer, RawFrame(length, "{}")));
        EXPECT_EQ(SendRequestOnFd(pair.client, "{}", reply, 0), kTransportNoMemory) << length;
    }
}

TEST(JsonAttach, ConnectsRegistersAndGivesUp)
{
    CEventClock clock;
    CScopedClock scoped(clock);
    TempDir dir;
    int requests = 0;
    {
        FrameServer server(dir.File("qmxdsj"),
                           [&](const std::string&)
                           {
                               ++requests;
                               return R"({"SIP":{"V":1,"CMD":[{"ST":0}]}})";
                           });
        ASSERT_TRUE(server.IsValid());
        int fd = JsonAttach(dir.File("qmxdsj").c_str(), "HostCapture");
        ASSERT_GE(fd, 0);
        JsonDetach(fd, dir.File("qmxdsj").c_str());
        EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    }
    EXPECT_EQ(requests, 1);
    EXPECT_EQ(clock.SleepCount(), 0u);

    // Nobody listens: 20 attempts 50 ms apart.
    EXPECT_EQ(JsonAttach(dir.File("qmxdsj").c_str(), "HostCapture"), -2);
    EXPECT_EQ(clock.SleepCount(), 20u);
    EXPECT_EQ(clock.ElapsedMs(), 1000u);
    EXPECT_EQ(OpenDevice((dir.Path() + "/" + std::string(200, 'x')).c_str()), -2);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST(SendInitChannelCommand, SendsTheRegistrationBlock)
{
    const std::string accepted = Frame(R"({"SIP":{"V":1,"CMD":[{"ST":0}]}})");
    InitExchange init;
    RunInitCommand("HostCapture", accepted, init);
    EXPECT_EQ(init.result, 1);
    const rapidjson::Value& command = init.request["SIP"]["CMD"][0];
    EXPECT_EQ(init.request["SIP"]["V"].GetInt(), 1);
    EXPECT_EQ(command["OC"].GetUint(), 0xFFA0u);
    EXPECT_EQ(command["OE"].GetUint(), kChannelKindEvent);
    EXPECT_EQ(command["CA"].GetUint(), 0u);
    EXPECT_FALSE(command.HasMember("OI"));
    std::vector<int> expected(218, 0);
    std::copy_n("HostCapture", 11, expected.begin());
    for (int i = 0; i < 4; ++i)
        expected[65 + i] = (init.fd >> (8 * i)) & 0xFF;
    EXPECT_EQ(init.raw, expected);

    // A long name runs over the descriptor field, but never past the block.
    InitExchange longName;
    RunInitCommand(std::string(100, 'n').c_str(), accepted, longName);
    ASSERT_EQ(longName.raw.size(), 218u);
    EXPECT_EQ(longName.raw[65], 'n');
    EXPECT_EQ(longName.raw[100], 0);
    InitExchange hugeName;
    RunInitCommand(std::string(400, 'm').c_str(), accepted, hugeName);
    EXPECT_EQ(hugeName.raw, std::vector<int>(218, 'm'));

    // Refusing or missing replies still count as an initialised channel; only a reply that
    // cannot be held in memory does not.
    InitExchange refused, hungUp, huge;
    RunInitCommand("c", Frame(R"({"SIP":{"V":2}})"), refused);
    RunInitCommand("c", "", hungUp);
    RunInitCommand("c", RawFrame(0xFFFFFFFFu, ""), huge);
    EXPECT_EQ(refused.result, 1);
    EXPECT_EQ(hungUp.result, 1);
    EXPECT_EQ(huge.result, 0);
}
