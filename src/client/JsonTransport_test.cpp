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
// A fake clock that runs a hook before each wait (given the wait and its timeout), so that a test
// can make the peer act at an exact point of the exchange without a thread.
class CHookClock : public CFakeClock
{
public:
    using Hook = std::function<void(const struct pollfd&, int timeoutMs)>;
    explicit CHookClock(Hook hook) : m_Hook(std::move(hook)) {}
    int Poll(struct pollfd* fds, nfds_t count, int timeoutMs) override
    {
        m_Hook(fds[0], timeoutMs);
        return CFakeClock::Poll(fds, count, timeoutMs);
    }

private:
    Hook m_Hook;
};

// Runs the channel-init command on a socket pair whose peer answered beforehand (or hung up, for
// no reply bytes); the result, and the "DA"."RAW" numbers of the command that went out.
int RunInitCommand(const char* name, const std::string& replyBytes, rapidjson::Document& request,
                   std::vector<int>& raw)
{
    CFakeClock clock;
    CScopedClock scoped(clock);
    SocketPair pair;
    if (replyBytes.empty())
        shutdown(pair.peer, SHUT_WR);
    WriteAll(pair.peer, replyBytes);
    int result = SendInitChannelCommand(pair.client, name, kChannelKindEvent, kInitCommandTimeout);
    std::string text;
    request.Parse(ReadFrame(pair.peer, text) ? text.c_str() : "");
    raw.clear();
    if (!request.HasParseError())
        for (const auto& element : request["SIP"]["CMD"][0]["DA"]["RAW"].GetArray())
            raw.push_back(element.GetInt());
    return result;
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
    SocketPair wake; // a terminate descriptor ends the wait first
    ASSERT_TRUE(WriteAll(wake.peer, "WAKE"));
    EXPECT_EQ(IsFdReady(pair.client, POLLIN, 100, wake.client), kFdReadyTerminated);
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

TEST(SendRequestOnFd, ReadsTheReplyAfterTenIncompleteWritePasses)
{
    // A peer that drains what has arrived whenever a pass asks whether it may write, and nothing
    // while a pass waits: each pass moves one socket buffer of a request far larger than ten.
    // The reply is already there.
    SocketPair pair;
    const int sendBuffer = 32 * 1024; // the kernel doubles it
    ASSERT_EQ(setsockopt(pair.client, SOL_SOCKET, SO_SNDBUF, &sendBuffer, sizeof sendBuffer), 0);
    const std::string reply = R"({"SIP":{"V":1,"CMD":[{"ST":0}]}})";
    ASSERT_TRUE(WriteAll(pair.peer, Frame(reply)));
    size_t taken = 0;
    int drains = 0;
    CHookClock clock(
        [&](const struct pollfd& wait, int timeoutMs)
        {
            if (wait.events != POLLOUT || timeoutMs <= kPassWaitMs)
                return;
            ++drains;
            char chunk[64 * 1024];
            for (ssize_t count; (count = recv(pair.peer, chunk, sizeof chunk, MSG_DONTWAIT)) > 0;)
                taken += static_cast<size_t>(count);
        });
    CScopedClock scoped(clock);
    const std::string request(2 * 1024 * 1024, 'r');
    std::string received;
    EXPECT_EQ(SendRequestOnFd(pair.client, request.c_str(), received, 0), kTransportOk);
    EXPECT_EQ(received, reply);
    EXPECT_EQ(clock.ElapsedMs(), 10u * kPassWaitMs); // ten passes, each waiting out its second
    EXPECT_EQ(drains, 9);                            // asked before each pass but the first
    EXPECT_GT(taken, 0u);
    EXPECT_LT(taken, request.size());
}

TEST(SendRequestOnFd, AcceptsAShortLengthRead)
{
    // One byte of the length word is there when the client reads it; the rest of the frame
    // arrives while the client waits in its first read pass.
    SocketPair pair;
    ASSERT_TRUE(WriteAll(pair.peer, std::string(1, '\x03')));
    int inputWaits = 0;
    CHookClock clock(
        [&](const struct pollfd& wait, int)
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
    SocketPair hangingUp; // the peer hangs up while the client waits for the reply
    CHookClock clock(
        [&](const struct pollfd& wait, int)
        {
            if (wait.events == POLLIN)
                CloseFd(hangingUp.peer);
        });
    CScopedClock scoped(clock);
    std::string reply;
    EXPECT_EQ(SendRequestOnFd(-1, "{}", reply, 0), kTransportNoChannel);
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
    CFakeClock clock;
    CScopedClock scoped(clock);
    TempDir dir;
    const std::string path = dir.File("qmxdsj");
    int listener = Listen(path);
    ASSERT_GE(listener, 0);
    // Nobody answers the registration: its wait runs out, and the channel is used all the same.
    int fd = JsonAttach(path.c_str(), "HostCapture");
    ASSERT_GE(fd, 0);
    int daemonSide = accept(listener, nullptr, nullptr);
    std::string text;
    EXPECT_TRUE(ReadFrame(daemonSide, text));
    EXPECT_NE(text.find(R"({"OC":65440,"OE":4352,"CA":0,"DA":{"RAW":[72,)"), std::string::npos) << text;
    close(daemonSide);
    JsonDetach(fd, path.c_str());
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    EXPECT_EQ(clock.SleepCount(), 0u);

    // Nobody listens: 20 attempts 50 ms apart.
    CloseFd(listener);
    unlink(path.c_str());
    const uint64_t start = clock.ElapsedMs();
    EXPECT_EQ(JsonAttach(path.c_str(), "HostCapture"), -2);
    EXPECT_EQ(clock.SleepCount(), 20u);
    EXPECT_EQ(clock.ElapsedMs() - start, 1000u);
    EXPECT_EQ(OpenDevice((dir.Path() + "/" + std::string(200, 'x')).c_str()), -2);
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST(SendInitChannelCommand, SendsTheRegistrationBlock)
{
    const std::string accepted = Frame(R"({"SIP":{"V":1,"CMD":[{"ST":0}]}})");
    rapidjson::Document request;
    std::vector<int> raw;
    ASSERT_EQ(RunInitCommand("HostCapture", accepted, request, raw), 1);
    const rapidjson::Value& command = request["SIP"]["CMD"][0];
    EXPECT_EQ(request["SIP"]["V"].GetInt(), 1);
    EXPECT_EQ(command["OC"].GetUint(), 0xFFA0u);
    EXPECT_EQ(command["OE"].GetUint(), kChannelKindEvent);
    EXPECT_EQ(command["CA"].GetUint(), 0u);
    EXPECT_FALSE(command.HasMember("OI"));
    // The name, and the client's descriptor (the lowest free number again) at bytes 65 to 68.
    std::vector<int> expected(218, 0);
    std::copy_n("HostCapture", 11, expected.begin());
    SocketPair next;
    for (int i = 0; i < 4; ++i)
        expected[65 + i] = (next.client >> (8 * i)) & 0xFF;
    EXPECT_EQ(raw, expected);

    // A long name runs over the descriptor field, but never past the block.
    ASSERT_EQ(RunInitCommand(std::string(400, 'm').c_str(), accepted, request, raw), 1);
    EXPECT_EQ(raw, std::vector<int>(218, 'm'));

    // Refusing or missing replies still count as an initialised channel; only a reply that
    // cannot be held in memory does not.
    EXPECT_EQ(RunInitCommand("c", Frame(R"({"SIP":{"V":2}})"), request, raw), 1);
    EXPECT_EQ(RunInitCommand("c", "", request, raw), 1);
    EXPECT_EQ(RunInitCommand("c", RawFrame(0xFFFFFFFFu, ""), request, raw), 0);
}
