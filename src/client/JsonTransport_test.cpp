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
// A fake clock that runs a hook before each of its waits, so that a test can make the peer act
// at an exact point of the exchange without a thread.
class CHookClock : public CFakeClock
{
public:
    explicit CHookClock(std::function<void(const struct pollfd& wait)> hook) : m_Hook(std::move(hook)) {}
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
    std::string request;
};

// Runs the channel-init command on a socket pair whose peer answers with the given bytes.
InitExchange RunInitCommand(const char* name, const std::string& replyBytes)
{
    CEventClock clock;
    CScopedClock scoped(clock);
    SocketPair pair;
    InitExchange exchange;
    PeerThread peer(
        [&]
        {
            std::string payload;
            if (ReadFrame(pair.peer, payload))
                exchange.request = FrameText(payload);
            if (replyBytes.empty())
                CloseFd(pair.peer); // hang up instead of answering
            else
                WriteAll(pair.peer, replyBytes);
        });
    exchange.result = SendInitChannelCommand(pair.client, name, kChannelKindEvent, kInitCommandTimeout);
    return exchange;
}

std::vector<int> RawBytesOf(const rapidjson::Value& command)
{
    std::vector<int> bytes;
    for (const auto& element : command["DA"]["RAW"].GetArray())
        bytes.push_back(element.GetInt());
    return bytes;
}
} // namespace

TEST(IsFdReady, ReportsEachOutcome)
{
    CFakeClock clock;
    CScopedClock scoped(clock);
    SocketPair pair;

    EXPECT_EQ(IsFdReady(-1, POLLIN, 100), -3);
    EXPECT_EQ(IsFdReady(pair.client, POLLIN, 0), -4);
    EXPECT_EQ(clock.ElapsedMs(), 0u);
    EXPECT_EQ(IsFdReady(pair.client, POLLOUT, 100), POLLOUT);
    EXPECT_EQ(IsFdReady(pair.client, POLLIN, 250), -15);
    EXPECT_EQ(clock.ElapsedMs(), 250u);
    // Writable but not readable: the result lacks a requested event.
    EXPECT_EQ(IsFdReady(pair.client, POLLIN | POLLOUT, 100), -9);

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
    const std::string reply = R"({"SIP":{"V":1,"CMD":[{"ST":0}]}})";
    ASSERT_TRUE(WriteAll(pair.peer, Frame(reply)));

    std::string received;
    EXPECT_EQ(SendRequestOnFd(pair.client, request.c_str(), received, 0), kTransportOk);
    EXPECT_EQ(received, reply);
    EXPECT_EQ(clock.ElapsedMs(), 0u);
    EXPECT_EQ(clock.SleepCount(), 0u);

    // The request went out as length word, text and zero byte, the length counting the zero.
    std::string sent;
    ASSERT_TRUE(ReadExact(pair.peer, 4 + request.size() + 1, sent));
    EXPECT_EQ(sent, Frame(request));

    // The text ends at its first zero byte; an empty frame is a complete, empty reply.
    ASSERT_TRUE(WriteAll(pair.peer, RawFrame(8, std::string("abc\0def\0", 8)) + RawFrame(0, "")));
    EXPECT_EQ(SendRequestOnFd(pair.client, "{}", received, 5), kTransportOk);
    EXPECT_EQ(received, "abc");
    EXPECT_EQ(SendRequestOnFd(pair.client, "{}", received, 5), kTransportOk);
    EXPECT_EQ(received, "");
    EXPECT_EQ(clock.ElapsedMs(), 0u);
}

TEST(SendRequestOnFd, GivesUpOnAnIncompleteReply)
{
    CFakeClock clock;
    CScopedClock scoped(clock);
    std::string received = "stale";
    {
        // A silent peer: ten passes of one second each.
        SocketPair pair;
        ASSERT_TRUE(WriteAll(pair.peer, RawFrame(100, std::string(60, 'a'))));
        EXPECT_EQ(SendRequestOnFd(pair.client, "{}", received, 0), kTransportReadFailed);
        EXPECT_EQ(clock.ElapsedMs(), 10000u);
        EXPECT_EQ(received, "");
    }
    {
        // A peer that stopped sending for good after its 60 bytes: the same ten passes, but
        // nothing to wait for.
        SocketPair pair;
        ASSERT_TRUE(WriteAll(pair.peer, RawFrame(100, std::string(60, 'a'))));
        shutdown(pair.peer, SHUT_WR);
        EXPECT_EQ(SendRequestOnFd(pair.client, "{}", received, 0), kTransportReadFailed);
    }
    EXPECT_EQ(clock.ElapsedMs(), 10000u);
}

TEST(SendRequestOnFd, AcceptsAShortLengthRead)
{
    // Only one byte of the length word is there when the client reads it; the rest of the frame
    // arrives while it waits for more in its first read pass.
    SocketPair pair;
    ASSERT_TRUE(WriteAll(pair.peer, std::string(1, '\x03')));
    bool lengthTaken = false;
    CHookClock clock(
        [&](const struct pollfd& wait)
        {
            if (wait.events != POLLIN)
                return;
            if (lengthTaken)
                WriteAll(pair.peer, std::string("ab\0", 3));
            lengthTaken = true; // the first wait for input precedes the read of the length word
        });
    CScopedClock scoped(clock);
    std::string received;
    EXPECT_EQ(SendRequestOnFd(pair.client, "{}", received, 0), kTransportOk);
    EXPECT_EQ(received, "ab");
    EXPECT_EQ(clock.ElapsedMs(), 0u);
}

TEST(SendRequestOnFd, ReportsAPeerThatHangsUpBeforeReplying)
{
    CEventClock clock;
    CScopedClock scoped(clock);
    SocketPair pair;
    PeerThread peer(
        [&]
        {
            std::string payload;
            ReadFrame(pair.peer, payload);
            CloseFd(pair.peer);
        });
    std::string received;
    EXPECT_EQ(SendRequestOnFd(pair.client, "{}", received, 0), kTransportNotReadable);
    EXPECT_EQ(clock.ElapsedMs(), 0u); // a hang-up, not a time-out
}

TEST(SendRequestOnFd, RefusesWhatItCannotCarry)
{
    CFakeClock clock;
    CScopedClock scoped(clock);
    std::string received;
    EXPECT_EQ(SendRequestOnFd(-1, "{}", received, 0), kTransportNoChannel);

    for (uint32_t length : {0xFFFFFFFFu, kMaxReplyLength + 1})
    {
        SocketPair pair;
        ASSERT_TRUE(WriteAll(pair.peer, RawFrame(length, "{}")));
        EXPECT_EQ(SendRequestOnFd(pair.client, "{}", received, 0), kTransportNoMemory) << length;
    }

    SocketPair closed;
    CloseFd(closed.peer);
    EXPECT_EQ(SendRequestOnFd(closed.client, "{}", received, 0), kTransportWriteFailed);

    SocketPair silent;
    EXPECT_EQ(SendRequestOnFd(silent.client, "{}", received, 2), kTransportNotReadable);
    EXPECT_EQ(clock.ElapsedMs(), 2000u); // the timeout is taken in seconds
}

TEST(SendRequestOnFd, ReadsALargeReplyArrivingInPieces)
{
    CEventClock clock;
    CScopedClock scoped(clock);
    SocketPair pair;
    std::string text(1024 * 1024, 'r');
    for (size_t i = 0; i < text.size(); i += 4099)
        text[i] = static_cast<char>('a' + i % 26);
    PeerThread peer(
        [&]
        {
            std::string payload;
            ASSERT_TRUE(ReadFrame(pair.peer, payload));
            std::string frame = Frame(text);
            for (size_t offset = 0; offset < frame.size(); offset += 64 * 1024)
                ASSERT_TRUE(WriteAll(pair.peer, frame.substr(offset, 64 * 1024)));
        });
    std::string received;
    EXPECT_EQ(SendRequestOnFd(pair.client, "{}", received, 0), kTransportOk);
    EXPECT_TRUE(received == text);
    EXPECT_EQ(clock.ElapsedMs(), 0u);
}

TEST(JsonAttach, GivesUpWhenNobodyListens)
{
    CFakeClock clock;
    CScopedClock scoped(clock);
    TempDir dir;
    EXPECT_EQ(JsonAttach(dir.File("nobody").c_str(), "HostCapture"), -2);
    EXPECT_EQ(clock.SleepCount(), 20u);
    EXPECT_EQ(clock.ElapsedMs(), 1000u);

    std::string tooLong = dir.Path() + "/" + std::string(200, 'x');
    EXPECT_EQ(OpenDevice(tooLong.c_str()), -2);
    EXPECT_EQ(errno, ENAMETOOLONG);
    JsonDetach(-1, "ignored"); // nothing to close
}

TEST(JsonAttach, RegistersTheRequestChannel)
{
    CEventClock clock;
    CScopedClock scoped(clock);
    TempDir dir;
    std::string requestText;
    FrameServer server(dir.File("qmxdsj"),
                       [&](const std::string& request)
                       {
                           requestText = request;
                           std::string bytes;
                           for (int i = 0; i < 69; ++i)
                               bytes +=
                                   std::string(i == 0 ? "" : ",") + (i >= 65 ? std::to_string(i - 64) : "0");
                           return R"({"SIP":{"V":1,"CMD":[{"ST":0,"DA":{"RAW":[)" + bytes + "]}}]}}";
                       });
    ASSERT_TRUE(server.IsValid());

    int fd = JsonAttach(dir.File("qmxdsj").c_str(), "HostCapture");
    ASSERT_GE(fd, 0);
    EXPECT_EQ(clock.SleepCount(), 0u);
    server.Stop();

    rapidjson::Document document;
    document.Parse(requestText.c_str());
    ASSERT_FALSE(document.HasParseError()) << requestText;
    EXPECT_EQ(document["SIP"]["V"].GetInt(), 1);
    ASSERT_EQ(document["SIP"]["CMD"].Size(), 1u);
    const rapidjson::Value& command = document["SIP"]["CMD"][0];
    EXPECT_EQ(command["OC"].GetUint(), 0xFFA0u);
    EXPECT_EQ(command["OE"].GetUint(), kChannelKindRequest);
    EXPECT_EQ(command["CA"].GetUint(), 0u);
    EXPECT_FALSE(command.HasMember("OI"));

    std::vector<int> bytes = RawBytesOf(command);
    ASSERT_EQ(bytes.size(), 218u);
    std::vector<int> expected(218, 0);
    for (size_t i = 0; i < 11; ++i)
        expected[i] = static_cast<unsigned char>("HostCapture"[i]);
    for (size_t i = 0; i < 4; ++i)
        expected[65 + i] = (fd >> (8 * i)) & 0xFF;
    EXPECT_EQ(bytes, expected);

    JsonDetach(fd, dir.File("qmxdsj").c_str());
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST(SendInitChannelCommand, KeepsTheBlockAndItsOutcomeAsDesigned)
{
    const std::string accepted = Frame(R"({"SIP":{"V":1,"CMD":[{"ST":0}]}})");

    // A long name runs over the descriptor field but never past the block.
    InitExchange longName = RunInitCommand(std::string(100, 'n').c_str(), accepted);
    EXPECT_EQ(longName.result, 1);
    rapidjson::Document document;
    document.Parse(longName.request.c_str());
    ASSERT_FALSE(document.HasParseError());
    EXPECT_EQ(document["SIP"]["CMD"][0]["OE"].GetUint(), kChannelKindEvent);
    std::vector<int> bytes = RawBytesOf(document["SIP"]["CMD"][0]);
    ASSERT_EQ(bytes.size(), 218u);
    EXPECT_EQ(bytes[65], 'n');
    EXPECT_EQ(bytes[99], 'n');
    EXPECT_EQ(bytes[100], 0);

    InitExchange hugeName = RunInitCommand(std::string(400, 'm').c_str(), accepted);
    document.Parse(hugeName.request.c_str());
    ASSERT_FALSE(document.HasParseError());
    EXPECT_EQ(RawBytesOf(document["SIP"]["CMD"][0]), std::vector<int>(218, 'm'));

    // Refusing or broken replies still count as an initialised channel; only a reply that
    // cannot be held in memory does not.
    EXPECT_EQ(RunInitCommand("c", Frame(R"({"SIP":{"V":2}})")).result, 1);
    EXPECT_EQ(RunInitCommand("c", "").result, 1);
    EXPECT_EQ(RunInitCommand("c", RawFrame(0xFFFFFFFFu, "")).result, 0);
}
