// The attach state machine on a system root of the test's own, and requests against the
// simulated daemon, a separate process with framing code of its own.
#include "CSwitchClient.h"

#include "ClientTestSupport.h"
#include "JsonTransport.h"
#include "SimProcess.h"
#include "TestEnv.h"
#include "Unprivileged.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <sys/wait.h>

namespace
{
std::string ErrorText(CSwitchClient& client)
{
    std::string text;
    client.GetLastErrorText(text);
    return text;
}

class SwitchClientTest : public ::testing::Test
{
protected:
    std::string RootPath(const std::string& logical) const { return m_Root.File(logical.substr(1)); }
    void InstallFrontEnd() const { m_Root.Write("opt/TessmarkQDX/bin/tmqdx", "#!/bin/sh\n"); }

    TempDir m_Root;
    ScopedEnv m_Sysroot{"HOSTCAPTURE_SYSROOT", m_Root.Path().c_str()};
};

class SimulatedDaemonTest : public SwitchClientTest
{
protected:
    // (Re)starts the daemon with the given entries of its "answers" table.
    void Start(const std::string& answers)
    {
        m_Sim.Stop();
        ASSERT_TRUE(m_Sim.StartWithProfileText(R"({"answers": {)" + answers + "}}")) << m_Sim.Error();
    }

    // Waits end on real events only; a broken attach would otherwise sleep for minutes.
    clienttest::CEventClock m_Clock;
    CScopedClock m_ScopedClock{m_Clock};
    SimProcess m_Sim{m_Root.Path()};
};
} // namespace

TEST_F(SwitchClientTest, AttachFailsWithTheCodeOfWhatIsMissing)
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
    EXPECT_EQ(ErrorText(client), "NO ERROR");
    EXPECT_EQ(client.GetServicePath(), "/opt/TessmarkQDX/bin/tmqdx");
    EXPECT_EQ(clock.ElapsedMs(), 1000u);

    // Running, but the socket never comes: 600 attempts a second apart.
    m_Root.Write("var/run/tmqdx.pid", "4242\n");
    EXPECT_FALSE(client.Attach(nullptr));
    EXPECT_EQ(client.GetLastErrorCode(), 110u);
    EXPECT_EQ(ErrorText(client), "Timeout during connect attempt to qmxd");
    EXPECT_EQ(clock.ElapsedMs(), 601000u);

    // Ready, but no request socket: 20 connects 50 ms apart.
    int native = clienttest::Listen(RootPath(kQmxdNativeSocket));
    ASSERT_GE(native, 0);
    EXPECT_FALSE(client.Attach(nullptr));
    close(native);
    EXPECT_EQ(client.GetLastErrorCode(), 92u);
    EXPECT_EQ(ErrorText(client), "JSON interface not supported by qmxd");
    EXPECT_EQ(clock.ElapsedMs(), 602000u);
    EXPECT_EQ(client.GetAttachCount(), 0u);
}

TEST_F(SwitchClientTest, AttachReportsARefusedConnect)
{
    // A socket the caller may not write to refuses with EACCES. Root may write anywhere, so as
    // root the attach runs in a child process that gives up root first.
    InstallFrontEnd();
    int native = clienttest::Listen(RootPath(kQmxdNativeSocket));
    ASSERT_GE(native, 0);
    ASSERT_EQ(chmod(RootPath(kQmxdNativeSocket).c_str(), 0), 0);
    ASSERT_EQ(chmod(m_Root.Path().c_str(), 0755), 0);
    if (geteuid() == 0)
    {
        ASSERT_EQ("", NobodyReachConcern(RootPath("/opt/TessmarkQDX/bin")));
    }
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

TEST_F(SimulatedDaemonTest, AttachIsCountedAndTheLastDetachCloses)
{
    Start("");
    CSwitchClient client;
    ASSERT_TRUE(client.SetApplicationName("HostCapture"));
    ASSERT_TRUE(client.Attach(nullptr));
    const int channel = client.GetRequestChannel();
    ASSERT_TRUE(client.Attach(nullptr));
    EXPECT_EQ(client.GetAttachCount(), 2u);
    // One registration, under the application name.
    EXPECT_EQ(m_Sim.RequestedCommands(kOpChannelInit).size(), 1u);
    EXPECT_NE(m_Sim.RequestLogLines()[0].find(R"("RAW":[72,111,115,116,67,97,112,116,117,114,101,0,)"),
              std::string::npos);

    client.Detach();
    EXPECT_NE(fcntl(channel, F_GETFD), -1);
    client.Detach();
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
    EXPECT_EQ(m_Sim.RequestedCommands(kOpChannelInit).size(), 3u);
    EXPECT_EQ(m_Clock.ElapsedMs(), 0u);
}

TEST_F(SimulatedDaemonTest, RequestReturnsTheStatusAtTheSlot)
{
    const std::string bigText(100000, 'q');
    Start(R"("0x0300": {"ST": "010", "DA": 7},
             "0x0301": {"DA": ")" +
          bigText + R"(", "fault": {"chunks": 16, "chunk_gap_ms": 5}},
             "0x0302": {"DA": 1, "fault": {"version": 2}},
             "0x0303": {"DA": 1, "fault": {"omit_status": true}},
             "0x0304": {"fault": {"hangup": true}})");
    CSwitchClient client;
    ASSERT_TRUE(client.Attach(nullptr));
    CObraRequest request(1);
    auto query = [&](uint32_t oc)
    {
        request.Reset();
        request.SetCommandNumber("OC", oc);
        return client.Request(request, 0);
    };
    EXPECT_EQ(query(0x0300), 8u);
    EXPECT_EQ(GetCmdValue(request, 0, "ST", 0), 4u); // the empty command before the slot
    EXPECT_EQ(GetCmdValue(request, 1, "DA", 0), 7u);
    EXPECT_EQ(query(0x0301), 0u); // in more pieces than the client makes read passes
    EXPECT_EQ(GetDataSize(request, 1), bigText.size() + 1);
    EXPECT_EQ(query(0x0302), 22u);
    EXPECT_EQ(request.Serialize(), R"({"SIP":{"V":1,"CMD":[]}})"); // the discarded reply
    EXPECT_EQ(query(0x0303), 22u);
    EXPECT_EQ(query(0x0999), 4u); // unknown to the daemon
    EXPECT_EQ(m_Clock.ElapsedMs(), 0u);

    // A failed exchange leaves the transport result as the slot's status.
    EXPECT_EQ(query(0x0304), kTransportNotReadable);
    EXPECT_EQ(GetCmdValue(request, 1, "ST", 99), kTransportNotReadable);
    client.Detach();
    EXPECT_EQ(client.Request(request, 0), kTransportNoChannel);
    EXPECT_EQ(request.Serialize(), R"({"SIP":{"V":1,"CMD":[{},{"OC":772,"ST":19}]}})"); // replaced
}

TEST_F(SimulatedDaemonTest, CabinetNumberComesInEveryForm)
{
    const uint32_t kFailed = 0xDEAD; // left as it was
    const std::pair<const char*, uint32_t> answers[] = {
        {R"("DA": {"RAW":[7]})", 7u},
        {R"("DA": {"RAW":[300]})", 300u}, // one element is the number, not a byte
        {R"("DA": {"RAW":[1,2]})", 0x0201u},
        {R"("DA": {"RAW":[1,2,3]})", 0x030201u},
        {R"("DA": {"RAW":[1,2,3,4,5]})", 0x04030201u},
        {R"("DA": {"RAW":[]})", 0u},
        {R"("DA": {"RAW":"12"})", 0u},
        {R"("DA": {"RAW":[1, 2.5]})", 0u}, // a fraction is no byte
        {R"("DA": 7.9)", 7u},              // a number is cut like any other
        {R"("DA": 4294967305)", 9u},
        {R"("DA": true)", 1u},
        {R"("DA": "5")", 0u},
        {R"("ST": 4, "DA": 3)", kFailed},
    };
    for (const auto& answer : answers)
    {
        Start(std::string(R"("0xE204": {)") + answer.first + "}");
        CSwitchClient client;
        ASSERT_TRUE(client.Attach(nullptr));
        uint32_t cabinet = kFailed;
        EXPECT_EQ(client.RequestCabinetNumber(cabinet), answer.second != kFailed) << answer.first;
        EXPECT_EQ(cabinet, answer.second) << answer.first;
        client.Detach();
    }
    // Only the operation code goes out.
    std::vector<SimCommand> sent = m_Sim.RequestedCommands(0xE204);
    ASSERT_FALSE(sent.empty());
    EXPECT_FALSE(sent[0].hasOE || sent[0].hasOI || sent[0].hasCA);
}
