#include "CSwitchClient.h"

#include "ClientTestSupport.h"
#include "JsonTransport.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <deque>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <sys/wait.h>
#include <vector>

using namespace clienttest;

namespace
{
const char* const kAccepted = R"({"SIP":{"V":1,"CMD":[{"ST":0}]}})";

std::string LastErrorText(CSwitchClient& client)
{
    std::string text;
    client.GetLastErrorText(text);
    return text;
}

// A system root of its own for each test, with the daemon's files created on demand.
class SwitchClientTest : public ::testing::Test
{
protected:
    std::string RootPath(const std::string& logical) const { return m_Root.File(logical.substr(1)); }
    void InstallFrontEnd() const { m_Root.Write("opt/TessmarkQDX/bin/tmqdx", "#!/bin/sh\n"); }
    void WritePidFile() const { m_Root.Write("var/run/tmqdx.pid", "4242\n"); }

    TempDir m_Root;
    ScopedEnv m_Sysroot{"HOSTCAPTURE_SYSROOT", m_Root.Path().c_str()};
};

// A daemon stand-in: installed front-end, pid file, native socket, and a request socket that
// acknowledges channel-init commands and answers every other request with the next queued reply
// (an empty reply hangs up).
class FakeDaemonTest : public SwitchClientTest
{
protected:
    void SetUp() override
    {
        InstallFrontEnd();
        WritePidFile();
        m_Native = std::make_unique<ListeningSocket>(RootPath(kQmxdNativeSocket));
        m_Server = std::make_unique<FrameServer>(
            RootPath(kQmxdRequestSocket), [this](const std::string& request) { return Answer(request); });
        ASSERT_TRUE(m_Native->IsValid());
        ASSERT_TRUE(m_Server->IsValid());
    }

    void QueueReply(const std::string& reply)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Replies.push_back(reply);
    }
    std::vector<std::string> Requests()
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Requests;
    }

    CEventClock m_Clock;
    CScopedClock m_ScopedClock{m_Clock};
    std::unique_ptr<ListeningSocket> m_Native;
    std::unique_ptr<FrameServer> m_Server;

private:
    std::string Answer(const std::string& request)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Requests.push_back(request);
        if (request.find(R"("OC":65440)") != std::string::npos || m_Replies.empty())
            return kAccepted;
        std::string reply = m_Replies.front();
        m_Replies.pop_front();
        return reply;
    }

    std::mutex m_Mutex;
    std::deque<std::string> m_Replies;
    std::vector<std::string> m_Requests;
};
} // namespace

TEST_F(SwitchClientTest, AttachFailsEarlyWithoutAUsableDaemon)
{
    CFakeClock clock;
    CScopedClock scoped(clock);
    CSwitchClient client;

    EXPECT_FALSE(client.Attach("otherhost"));
    EXPECT_EQ(client.GetLastErrorCode(), 22u);
    EXPECT_EQ(LastErrorText(client), "Remote connection not supported");

    EXPECT_FALSE(client.Attach(nullptr));
    EXPECT_EQ(client.GetLastErrorCode(), 6u);
    EXPECT_EQ(LastErrorText(client), "No qmxd service installed");
    EXPECT_EQ(client.GetServicePath(), "");
    EXPECT_EQ(clock.SleepCount(), 0u);

    // Installed but not running: one attempt, one second, and no error to show for it.
    InstallFrontEnd();
    EXPECT_FALSE(client.Attach(""));
    EXPECT_EQ(client.GetLastErrorCode(), 0u);
    EXPECT_EQ(LastErrorText(client), "NO ERROR");
    EXPECT_EQ(client.GetServicePath(), "/opt/TessmarkQDX/bin/tmqdx");
    EXPECT_EQ(clock.SleepCount(), 1u);
    EXPECT_EQ(clock.ElapsedMs(), 1000u);
    EXPECT_EQ(client.GetAttachCount(), 0u);
    EXPECT_EQ(client.GetRequestChannel(), -1);
}

TEST_F(SwitchClientTest, AttachWaitsTenMinutesForASocketThatNeverComes)
{
    CFakeClock clock;
    CScopedClock scoped(clock);
    InstallFrontEnd();
    WritePidFile();
    CSwitchClient client;
    EXPECT_FALSE(client.Attach(nullptr));
    EXPECT_EQ(client.GetLastErrorCode(), 110u);
    EXPECT_EQ(LastErrorText(client), "Timeout during connect attempt to qmxd");
    EXPECT_EQ(clock.SleepCount(), 600u);
    EXPECT_EQ(clock.ElapsedMs(), 600000u);
}

TEST_F(SwitchClientTest, AttachNeedsTheJsonInterface)
{
    CFakeClock clock;
    CScopedClock scoped(clock);
    InstallFrontEnd();
    WritePidFile();
    ListeningSocket native(RootPath(kQmxdNativeSocket));
    ASSERT_TRUE(native.IsValid());
    CSwitchClient client;
    EXPECT_FALSE(client.Attach(nullptr));
    EXPECT_EQ(client.GetLastErrorCode(), 92u);
    EXPECT_EQ(LastErrorText(client), "JSON interface not supported by qmxd");
    EXPECT_EQ(clock.SleepCount(), 20u); // the connect attempts of the request channel
    EXPECT_EQ(clock.ElapsedMs(), 1000u);
}

TEST_F(SwitchClientTest, AttachReportsARefusedConnect)
{
    // A socket the caller may not write to refuses with EACCES. Root may write anywhere, so as
    // root the attach runs in a child process that gives up root first.
    InstallFrontEnd();
    ListeningSocket native(RootPath(kQmxdNativeSocket));
    ASSERT_TRUE(native.IsValid());
    ASSERT_EQ(chmod(RootPath(kQmxdNativeSocket).c_str(), 0), 0);
    const bool root = geteuid() == 0;
    ASSERT_EQ(chmod(m_Root.Path().c_str(), 0755), 0);

    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
    {
        if (root && (setgid(65534) != 0 || setuid(65534) != 0))
            _exit(200);
        CFakeClock clock;
        CScopedClock scoped(clock);
        CSwitchClient client;
        bool attached = client.Attach(nullptr);
        bool wellReported =
            LastErrorText(client) == "Permission denied on qmxd connect" && clock.SleepCount() == 0;
        _exit(attached ? 201 : (wellReported ? static_cast<int>(client.GetLastErrorCode()) : 202));
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 13);
}

TEST_F(FakeDaemonTest, AttachIsCountedAndTheLastDetachCloses)
{
    CSwitchClient client;
    ASSERT_TRUE(client.SetApplicationName("HostCapture"));
    EXPECT_FALSE(client.SetApplicationName(nullptr));
    EXPECT_EQ(client.GetApplicationName(), "HostCapture");

    ASSERT_TRUE(client.Attach(nullptr));
    const int channel = client.GetRequestChannel();
    EXPECT_GE(channel, 0);
    EXPECT_EQ(client.GetAttachCount(), 1u);
    ASSERT_TRUE(client.Attach(nullptr));
    EXPECT_EQ(client.GetAttachCount(), 2u);
    EXPECT_EQ(m_Server->Connections(), 1);
    EXPECT_EQ(m_Clock.SleepCount(), 0u);

    // The channel was registered under the application name.
    std::vector<std::string> requests = Requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_NE(requests[0].find(R"("RAW":[72,111,115,116,67,97,112,116,117,114,101,0,)"), std::string::npos);

    client.Detach();
    EXPECT_EQ(client.GetAttachCount(), 1u);
    EXPECT_EQ(client.GetRequestChannel(), channel);
    EXPECT_NE(fcntl(channel, F_GETFD), -1);
    client.Detach();
    EXPECT_EQ(client.GetAttachCount(), 0u);
    EXPECT_EQ(client.GetRequestChannel(), -1);
    EXPECT_EQ(fcntl(channel, F_GETFD), -1);
    client.Detach();
    client.DetachWithoutLock();
    EXPECT_EQ(client.GetAttachCount(), 0u);

    // Attached again, then released by the routine that does not take the client mutex.
    ASSERT_TRUE(client.Attach(nullptr));
    EXPECT_EQ(m_Server->Connections(), 2);
    client.DetachWithoutLock();
    EXPECT_EQ(client.GetRequestChannel(), -1);
}

TEST_F(FakeDaemonTest, DestructionClosesAForgottenChannel)
{
    int channel = -1;
    {
        CSwitchClient client;
        ASSERT_TRUE(client.Attach(nullptr));
        channel = client.GetRequestChannel();
        ASSERT_NE(fcntl(channel, F_GETFD), -1);
    }
    EXPECT_EQ(fcntl(channel, F_GETFD), -1);
}

TEST_F(FakeDaemonTest, RequestReturnsTheStatusAtTheSlot)
{
    CSwitchClient client;
    ASSERT_TRUE(client.Attach(nullptr));
    CObraRequest request(1);
    const std::pair<std::string, uint32_t> cases[] = {
        {R"({"SIP":{"V":1,"CMD":[{"ST":7},{"ST":"0x0","DA":1}]}})", 0u},
        {R"({"SIP":{"V":1,"CMD":[{"ST":7},{"ST":"010"}]}})", 8u},
        {R"({"SIP":{"V":1,"CMD":[{"ST":7},{"ST":"10"}]}})", 10u},
        {R"({"SIP":{"V":1,"CMD":[{"ST":7},{"DA":1}]}})", 22u},
        {R"({"SIP":{"V":1,"CMD":[{"ST":7}]}})", 22u},
        {R"({"SIP":{"V":2,"CMD":[{"ST":7},{"ST":0}]}})", 22u},
    };
    for (const auto& entry : cases)
    {
        request.Reset();
        request.SetCommandNumber("OC", 0x300);
        QueueReply(entry.first);
        EXPECT_EQ(client.Request(request, 0), entry.second) << entry.first;
    }
    // A discarded reply leaves the bare skeleton behind.
    EXPECT_EQ(request.Serialize(), R"({"SIP":{"V":1,"CMD":[]}})");
    EXPECT_EQ(Requests().back(), R"({"SIP":{"V":1,"CMD":[{},{"OC":768}]}})");

    // A failed exchange writes the transport result into the slot.
    request.SetCommandNumber("ST", 0);
    QueueReply("");
    EXPECT_EQ(client.Request(request, 0), kTransportNotReadable);
    EXPECT_EQ(GetCmdValue(request, 1, "ST", 99), kTransportNotReadable);
    client.Detach();
}

TEST_F(SwitchClientTest, RequestWithoutChannelFails)
{
    CSwitchClient client;
    CObraRequest request(2);
    request.SetCommandNumber("OC", 0x300);
    EXPECT_EQ(client.Request(request, 0), kTransportNoChannel);
    EXPECT_EQ(GetCmdValue(request, 2, "ST", 99), kTransportNoChannel);
    EXPECT_EQ(GetCmdValue(request, 2, "OC", 99), 0x300u);
    EXPECT_EQ(request.Serialize(), R"({"SIP":{"V":1,"CMD":[{},{},{"OC":768,"ST":19}]}})");
}

TEST_F(FakeDaemonTest, CabinetNumberComesInEveryForm)
{
    CSwitchClient client;
    ASSERT_TRUE(client.Attach(nullptr));
    const std::pair<const char*, uint32_t> forms[] = {
        {R"({"RAW":[7]})", 7u},
        {R"({"RAW":[1,2]})", 0x0201u},
        {R"({"RAW":[1,2,3]})", 0x030201u},
        {R"({"RAW":[1,2,3,4,5]})", 0x04030201u},
        {R"({"RAW":[]})", 0u},
        {R"({"RAW":"12"})", 0u},
        {"4294967305", 9u},
        {"true", 1u},
        {"false", 0u},
        {R"("5")", 0u},
        {"null", 0u},
    };
    for (const auto& form : forms)
    {
        QueueReply(std::string(R"({"SIP":{"V":1,"CMD":[{"ST":0,"DA":)") + form.first + "}]}}");
        uint32_t cabinet = 0xDEAD;
        EXPECT_TRUE(client.RequestCabinetNumber(cabinet)) << form.first;
        EXPECT_EQ(cabinet, form.second) << form.first;
    }
    EXPECT_EQ(Requests().back(), R"({"SIP":{"V":1,"CMD":[{"OC":57860}]}})");

    QueueReply(R"({"SIP":{"V":1,"CMD":[{"ST":4,"DA":3}]}})");
    uint32_t cabinet = 0xDEAD;
    EXPECT_FALSE(client.RequestCabinetNumber(cabinet));
    EXPECT_EQ(cabinet, 0xDEADu);
    client.Detach();
}

TEST(CSwitchClient, NamesItsInterfaceAndKeepsCallbacks)
{
    CSwitchClient client;
    EXPECT_TRUE(client.IsInterfaceSupported("JsonRequest"));
    EXPECT_TRUE(client.IsInterfaceSupported("JSONREQUEST"));
    EXPECT_FALSE(client.IsInterfaceSupported("JsonRequests"));
    EXPECT_FALSE(client.IsInterfaceSupported(nullptr));
    std::string name;
    EXPECT_TRUE(client.GetInterfaceName(name));
    EXPECT_EQ(name, "JsonRequest");

    client.RegisterEventCallback(5, [](const CEventRecord&, CObraClientIf&, uint64_t) {});
    EXPECT_TRUE(client.UnregisterEventCallback(5));
    EXPECT_FALSE(client.UnregisterEventCallback(5));
}
