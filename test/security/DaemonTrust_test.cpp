// Whom the tool believes: a daemon that runs as another user is not asked anything, and as
// root a system root that another user can change holds no daemon at all.
#include "SecurityTest.h"

#include "ReachableCopies.h"
#include "SimProcess.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
const char kConnectFailure[] = "\n ERROR: Tessmark Switch could not be connected\n";
// A fan of the demonstration server: on the page only when the daemon was asked.
const char kDemoText[] = "FAN1 SYS";

class DaemonTrustTest : public SecurityTest
{
protected:
    void TearDown() override
    {
        if (m_SimPid > 0)
        {
            kill(m_SimPid, SIGTERM);
            waitpid(m_SimPid, nullptr, 0);
        }
    }

    // Starts qmxd-sim as uid 65534 on a system root of that user's; true once it serves. The
    // program and its profile are run from copies that user can reach.
    bool StartSimAsNobody(const std::string& sysroot)
    {
        const std::string simulator = m_Copies.Copy(QMXD_SIM_EXECUTABLE);
        const std::string profile = m_Copies.Copy(SimProcess::ShippedProfile("demo.json"));
        int ready[2];
        if (simulator.empty() || profile.empty() || pipe2(ready, O_CLOEXEC) != 0)
            return false;
        m_SimPid = fork();
        if (m_SimPid == 0)
        {
            dup2(ready[1], STDOUT_FILENO);
            if (BecomeNobody())
                execl(simulator.c_str(), simulator.c_str(), "--sysroot", sysroot.c_str(), "--profile",
                      profile.c_str(), "--exit-with-parent", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(ready[1]);
        std::string said;
        struct pollfd readable = {ready[0], POLLIN, 0};
        while (said.find("ready") == std::string::npos && poll(&readable, 1, 10000) > 0)
        {
            char buffer[256];
            const ssize_t got = read(ready[0], buffer, sizeof buffer);
            if (got <= 0)
                break;
            said.append(buffer, static_cast<size_t>(got));
        }
        close(ready[0]);
        return said.find("qmxd-sim ready") != std::string::npos;
    }

    ReachableCopies m_Copies;
    pid_t m_SimPid = -1;
};

std::string CopyDemoRoot(const std::string& into)
{
    const std::string command = "cp -r '" HOSTCAPTURE_SOURCE_DIR "/tools/qmxd-sim/demo-root/.' '" + into +
                                "' && chmod -R go+rX '" + into + "'";
    return system(command.c_str()) == 0 ? into : std::string();
}
} // namespace

// The other user runs a daemon of their own. Its sockets sit below a system root that root may
// use: the root folder is root's, only the folders the daemon needs belong to that user. Root's
// run asks that daemon nothing and names its uid in the trace; a run as that user, whom it may
// serve, gets the daemon's answers.
TEST_F(DaemonTrustTest, ADaemonOfAnotherUserIsNotAsked)
{
    const std::string served = m_Home.File("served");
    MakeDirs(served);
    ASSERT_FALSE(CopyDemoRoot(served).empty());
    ASSERT_EQ(0, system(("chown -R 65534:65534 '" + served + "'").c_str()));
    TempDir sysroot;
    ASSERT_EQ(0, chmod(sysroot.Path().c_str(), 0755));
    for (const char* top : {"opt", "var"})
        ASSERT_EQ(0, symlink((served + "/" + top).c_str(), (sysroot.Path() + "/" + top).c_str()));
    ASSERT_TRUE(StartSimAsNobody(served));

    TempDir logs;
    const std::string page = m_Secret.Path() + "/page.html";
    const Result asRoot = RunOn(sysroot.Path(), {"-output", page}, m_Secret.Path(),
                                {{"TM_LOG_RINGBUF_DIR", logs.Path()}, {"TM_LOG_DEBUG_LEVEL", "4"}});
    EXPECT_EQ(0, asRoot.exitStatus);
    EXPECT_NE(std::string::npos, asRoot.output.find(kConnectFailure)) << asRoot.output;
    EXPECT_EQ(std::string::npos, ReadFile(page).find(kDemoText));
    EXPECT_NE(std::string::npos, ReadFile(logs.Path() + "/log.hostcapture").find("runs as uid 65534"));
    EXPECT_EQ("", ReadFile(served + "/qmxd-sim.requests.jsonl")) << "not even the channel-init";

    const std::string ownPage = m_Home.File("own.html");
    const std::string program = m_Copies.Copy(HOSTCAPTURE_EXECUTABLE);
    ASSERT_FALSE(program.empty());
    StartedProgram asNobody(program, {"-output", ownPage}, m_Home.Path(),
                            {{"HOSTCAPTURE_SYSROOT", sysroot.Path()}}, true);
    ASSERT_TRUE(asNobody.Wait(kRunLimitMs));
    EXPECT_EQ(0, asNobody.ExitStatus());
    EXPECT_EQ(std::string::npos, asNobody.Output().find(kConnectFailure)) << asNobody.Output();
    EXPECT_NE(std::string::npos, ReadFile(ownPage).find(kDemoText));
}

// As root, a system root that another user owns or may write is refused with a message, and the
// daemon below it counts as absent: it is asked nothing. Its trace configuration is not read.
TEST_F(DaemonTrustTest, ASystemRootOthersCanChangeHoldsNoDaemon)
{
    const struct
    {
        uid_t owner;
        mode_t mode;
        const char* concern;
    } cases[] = {
        {kNobodyUid, 0755, "belongs to uid 65534"},
        {0, 0777, "is writable by other users"},
    };
    for (const auto& test : cases)
    {
        SCOPED_TRACE(test.concern);
        TempDir root, logs;
        ASSERT_FALSE(CopyDemoRoot(root.Path()).empty());
        // Its trace configuration would send root's log into a folder of root's.
        ASSERT_EQ(0, chmod(logs.Path().c_str(), 0755));
        root.Write("opt/TessmarkQDX/vital/etc/TessmarkSuite/TraceConfig/hc.ini",
                   "[HostCapture]\nFileDebugLevel=4\nRingBufferDirectory=" + logs.Path() + "\n[EndOfFile]\n");
        SimProcess sim(root.Path());
        ASSERT_TRUE(sim.Start(SimProcess::ShippedProfile("demo.json"))) << sim.Error();
        ASSERT_EQ(0, chown(root.Path().c_str(), test.owner, test.owner));
        ASSERT_EQ(0, chmod(root.Path().c_str(), test.mode));

        const Result run = RunOn(root.Path(), {"-output", "page.html"}, m_Secret.Path());
        EXPECT_EQ(0, run.exitStatus);
        EXPECT_NE(std::string::npos, run.output.find(kConnectFailure)) << run.output;
        EXPECT_NE(std::string::npos, run.errors.find("HOSTCAPTURE_SYSROOT \"" + root.Path() +
                                                     "\" refused: \"" + root.Path() + "\" " + test.concern))
            << run.errors;
        EXPECT_TRUE(sim.RequestLogLines().empty());
        EXPECT_NE(0, access((logs.Path() + "/log.hostcapture").c_str(), F_OK));
        EXPECT_EQ(run.errors.find("HOSTCAPTURE_SYSROOT"), run.errors.rfind("HOSTCAPTURE_SYSROOT"))
            << "said once";
    }
}
