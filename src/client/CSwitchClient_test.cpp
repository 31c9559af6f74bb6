#include "CSwitchClient.h"

#include "ClientTestSupport.h"
#include "JsonTransport.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <deque>
#include <fcntl.h>
#include <memory>
#include <mutex>
#include <sys/stat.h>
#include <sys/wait.h>
#include <vector>

using namespace clienttest;

namespace
{
std::string ErrorText(CSwitchClient& client)
{
    std::string text;
    client.GetLastErrorText(text);
    return text;
}

// A system root of its own for each test; the daemon's files are made on demand.
class SwitchClientTest : public ::testing::Test
{
protected:
    std::string RootPath(const std::string& logical) const { return m_Root.File(logical.substr(1)); }
    void InstallFrontEnd() const { m_Root.Write("opt/TessmarkQDX/bin/tmqdx", "#!/bin/sh\n"); }
    void WritePidFile() const { m_Root.Write("var/run/tmqdx.pid", "4242\n"); }

    TempDir m_Root;
    ScopedEnv m_Sysroot{"HOSTCAPTURE_SYSROOT", m_Root.Path().c_str()};
};

// A daemon stand-in: front-end, pid file, native socket, and a request socket that acknowledges
// channel-init commands and answers other requests with the next queued reply (default: status
// 0; an empty reply hangs up).
class FakeDaemonTest : public SwitchClientTest
{
protected:
    void SetUp() override
    {
        InstallFrontEnd();
        WritePidFile();
        m_Native = Listen(RootPath(kQmxdNativeSocket));
        m_Server = std::make_unique<FrameServer>(
            RootPath(kQmxdRequestSocket),
            [this](const std::string& request)
            {
                std::lock_guard<std::mutex> lock(m_Mutex);
                m_Requests.push_back(request);
                std::string reply = R"({"SIP":{"V":1,"CMD":[{"ST":0}]}})";
                if (request.find(R"("OC":65440)") == std::string::npos && !m_Replies.empty())
                {
                    reply = m_Replies.front();
                    m_Replies.pop_front();
                }
                return reply;
            });
        ASSERT_GE(m_Native, 0);
        ASSERT_TRUE(m_Server->IsValid());
    }
    void TearDown() override { CloseFd(m_Native); }

    void QueueReply(const std::string& reply)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Replies.push_back(reply);
    }
    std::string LastRequest()
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Requests.empty() ? std::string() : m_Requests.back();
    }

    CEventClock m_Clock;
    CScopedClock m_ScopedClock{m_Clock};
    int m_Native = -1;
    std::mutex m_Mutex;
    std::deque<std::string> m_Replies;
    std::vector<std::string> m_Requests;
    // Declared last, so destroyed first: its thread uses the members above until it is joined.
    std::unique_ptr<FrameServer> m_Server;
};
} // namespace

TEST_F(SwitchClientTest, AttachFailsEarlyWithoutAUsableDaemon)
{
    CFakeClock clock;
    CScopedClock scoped(clock);
    CSwitchClient client;
    EXPECT_FALSE(client.Attach("otherhost"));
    EXPECT_EQ(client.GetLastErrorCode(), 22u);
    EXPECT_EQ(ErrorText(client), "Remote connection not supported");
    EXPECT_FALSE(client.Attach(nullptr));
    EXPECT_EQ(client.GetLastErrorCode(), 6u);
    EXPECT_EQ(ErrorText(client), "No qmxd service installed");
    EXPECT_EQ(clock.SleepCount(), 0u);

    // Installed but not running: one attempt, one second, and no error to show for it.
    InstallFrontEnd();
    EXPECT_FALSE(client.Attach(""));
    EXPECT_EQ(client.GetLastErrorCode(), 0u);
    EXPECT_EQ(ErrorText(client), "NO ERROR");
    EXPECT_EQ(client.GetServicePath(), "/opt/TessmarkQDX/bin/tmqdx");
    EXPECT_EQ(clock.ElapsedMs(), 1000u);
    EXPECT_EQ(client.GetAttachCount(), 0u);
}

TEST_F(SwitchClientTest, AttachWaitsForTheDaemonAndItsJsonInterface)
{
    CFakeClock clock;
    CScopedClock scoped(clock);
    InstallFrontEnd();
    WritePidFile();
    CSwitchClient client;
    EXPECT_FALSE(client.Attach(nullptr)); // the socket never comes: 600 attempts a second apart
    EXPECT_EQ(client.GetLastErrorCode(), 110u);
    EXPECT_EQ(ErrorText(client), "Timeout during connect attempt to qmxd");
    EXPECT_EQ(clock.SleepCount(), 600u);
    EXPECT_EQ(clock.ElapsedMs(), 600000u);

    int native = Listen(RootPath(kQmxdNativeSocket));
    ASSERT_GE(native, 0);
    EXPECT_FALSE(client.Attach(nullptr)); // ready, but no request socket: 20 connects 50 ms apart
    close(native);
    EXPECT_EQ(client.GetLastErrorCode(), 92u);
    EXPECT_EQ(ErrorText(client), "JSON interface not supported by qmxd");
    EXPECT_EQ(clock.ElapsedMs(), 601000u);
}

TEST_F(SwitchClientTest, AttachReportsARefusedConnect)
{
    // A socket the caller may not write to refuses with EACCES. Root may write anywhere, so as
    // root the attach runs in a child process that gives up root first.
    InstallFrontEnd();
    int native = Listen(RootPath(kQmxdNativeSocket));
    ASSERT_GE(native, 0);
    ASSERT_EQ(chmod(RootPath(kQmxdNativeSocket).c_str(), 0), 0);
    ASSERT_EQ(chmod(m_Root.Path().c_str(), 0755), 0);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0)
    {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0))
            _exit(200);
        CFakeClock clock;
        CScopedClock scoped(clock);
        CSwitchClient client;
        bool attached = client.Attach(nullptr);
        bool reported = ErrorText(client) == "Permission denied on qmxd connect" && clock.SleepCount() == 0;
        _exit(attached || !reported ? 201 : static_cast<int>(client.GetLastErrorCode()));
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    close(native);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 13);
}

TEST_F(FakeDaemonTest, AttachIsCountedAndTheLastDetachCloses)
{
    CSwitchClient client;
    ASSERT_TRUE(client.SetApplicationName("HostCapture"));
    ASSERT_TRUE(client.Attach(nullptr));
    const int channel = client.GetRequestChannel();
    ASSERT_TRUE(client.Attach(nullptr));
    EXPECT_EQ(client.GetAttachCount(), 2u);
    EXPECT_EQ(m_Server->Connections(), 1);
    EXPECT_EQ(m_Clock.SleepCount(), 0u);
    // The channel was registered under the application name.
    EXPECT_NE(LastRequest().find(R"("RAW":[72,111,115,116,67,97,112,116,117,114,101,0,)"), std::string::npos);

    client.Detach();
    EXPECT_EQ(client.GetRequestChannel(), channel);
    EXPECT_NE(fcntl(channel, F_GETFD), -1);
    client.Detach();
    EXPECT_EQ(client.GetAttachCount(), 0u);
    EXPECT_EQ(client.GetRequestChannel(), -1);
    EXPECT_EQ(fcntl(channel, F_GETFD), -1);
    client.Detach();
    client.DetachWithoutLock();
    EXPECT_EQ(client.GetAttachCount(), 0u);

    // Released without the client mutex; and a client destroyed while attached closes its channel.
    ASSERT_TRUE(client.Attach(nullptr));
    client.DetachWithoutLock();
    EXPECT_EQ(client.GetRequestChannel(), -1);
    auto forgotten = std::make_unique<CSwitchClient>();
    ASSERT_TRUE(forgotten->Attach(nullptr));
    const int forgottenChannel = forgotten->GetRequestChannel();
    forgotten.reset();
    EXPECT_EQ(fcntl(forgottenChannel, F_GETFD), -1);
    EXPECT_EQ(m_Server->Connections(), 3);
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
    EXPECT_EQ(request.Serialize(), R"({"SIP":{"V":1,"CMD":[]}})"); // the discarded reply
    EXPECT_EQ(LastRequest(), R"({"SIP":{"V":1,"CMD":[{},{"OC":768}]}})");

    // A failed exchange leaves the transport result as the slot's status.
    request.SetCommandNumber("ST", 0);
    QueueReply("");
    EXPECT_EQ(client.Request(request, 0), kTransportNotReadable);
    EXPECT_EQ(GetCmdValue(request, 1, "ST", 99), kTransportNotReadable);
    client.Detach();
    EXPECT_EQ(client.Request(request, 0), kTransportNoChannel);
    EXPECT_EQ(request.Serialize(), R"({"SIP":{"V":1,"CMD":[{},{"ST":19}]}})"); // replaced, not added
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
        {R"("5")", 0u},
    };
    for (const auto& form : forms)
    {
        QueueReply(std::string(R"({"SIP":{"V":1,"CMD":[{"ST":0,"DA":)") + form.first + "}]}}");
        uint32_t cabinet = 0xDEAD;
        EXPECT_TRUE(client.RequestCabinetNumber(cabinet)) << form.first;
        EXPECT_EQ(cabinet, form.second) << form.first;
    }
    EXPECT_EQ(LastRequest(), R"({"SIP":{"V":1,"CMD":[{"OC":57860}]}})");
    QueueReply(R"({"SIP":{"V":1,"CMD":[{"ST":4,"DA":3}]}})");
    uint32_t cabinet = 0xDEAD;
    EXPECT_FALSE(client.RequestCabinetNumber(cabinet));
    EXPECT_EQ(cabinet, 0xDEADu);
    client.Detach();
}
