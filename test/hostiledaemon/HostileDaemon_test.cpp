// Runs the HostCapture program against a simulated daemon that misbehaves: member counts without
// end, and an exchange that the daemon takes and never answers, cut short by a stop signal.
#include "SimProcess.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{
// A HostCapture child whose standard output the test reads through a pipe.
class PipedRun
{
public:
    PipedRun(const std::string& workDir, const std::string& sysroot, const std::string& output)
    {
        int fds[2];
        if (pipe2(fds, O_CLOEXEC) != 0)
            return;
        m_Pid = fork();
        if (m_Pid == 0)
        {
            dup2(fds[1], STDOUT_FILENO);
            if (chdir(workDir.c_str()) != 0)
                _exit(126);
            setenv("HOSTCAPTURE_SYSROOT", sysroot.c_str(), 1);
            execl(HOSTCAPTURE_EXECUTABLE, HOSTCAPTURE_EXECUTABLE, "-output", output.c_str(),
                  static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[1]);
        m_Out = fds[0];
    }
    ~PipedRun()
    {
        if (m_Pid > 0)
        {
            kill(m_Pid, SIGKILL);
            waitpid(m_Pid, nullptr, 0);
        }
        if (m_Out >= 0)
            close(m_Out);
    }

    // Reads what the child has written so far, waiting at most timeoutMs for more; false at EOF.
    bool ReadSome(int timeoutMs)
    {
        struct pollfd readable = {m_Out, POLLIN, 0};
        if (poll(&readable, 1, timeoutMs) <= 0)
            return true;
        char buffer[4096];
        const ssize_t count = read(m_Out, buffer, sizeof buffer);
        if (count > 0)
            m_Output.append(buffer, static_cast<size_t>(count));
        return count > 0;
    }

    // Reads to the end of the output (bounded) and returns the exit status, -1 when the child
    // did not exit on its own.
    int Finish(int deadlineMs)
    {
        bool open = true;
        for (int waited = 0; waited < deadlineMs && open; waited += 100)
            open = ReadSome(100);
        // At the end of its output the child is exiting; otherwise it is stuck.
        int status = 0;
        if (waitpid(m_Pid, &status, open ? WNOHANG : 0) != m_Pid)
            return -1;
        m_Pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    pid_t Pid() const { return m_Pid; }
    const std::string& Output() const { return m_Output; }

private:
    pid_t m_Pid = -1;
    int m_Out = -1;
    std::string m_Output;
};

size_t Count(const std::string& text, const std::string& needle)
{
    size_t count = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1))
        ++count;
    return count;
}

// Whether a signal is still pending for the process (not yet taken by its handler).
bool IsPending(pid_t pid, int signalNumber)
{
    const std::string status = ReadFile("/proc/" + std::to_string(pid) + "/status");
    const unsigned long long bit = 1ULL << (signalNumber - 1);
    for (const char* field : {"\nSigPnd:", "\nShdPnd:"})
    {
        const size_t at = status.find(field);
        if (at != std::string::npos && (std::stoull(status.substr(at + 8, 17), nullptr, 16) & bit))
            return true;
    }
    return false;
}

const char* const kSectionTitles[] = {"System Information",
                                      "System",
                                      "System Board",
                                      "Operating System",
                                      "System Management Software",
                                      "System Health",
                                      "Environment",
                                      "Cooling Devices",
                                      "Temperature",
                                      "Power Supply",
                                      "Power Supply Units",
                                      "Mass Storage",
                                      "Mass Storage Adapters",
                                      "Tessmark RAID System",
                                      "RAID Adapters",
                                      "RAID Logical Drives",
                                      "RAID Physical Drives",
                                      "Voltages",
                                      "Memory Modules",
                                      "System Processors",
                                      "PCI Slots",
                                      "Network",
                                      "Network Adapters",
                                      "System Event Log"};
} // namespace

// A daemon that counts 0xFFFFFFFF members gets 4096 rows and one row that says how many were left
// out, for a plain count and for drives counted per RAID adapter alike.
TEST(HostileDaemon, EndlessCountsGiveAtMost4096RowsAndALeftOutRow)
{
    TempDir root, work;
    SimProcess sim(root.Path());
    ASSERT_TRUE(sim.StartWithProfileText(R"({"answers": {
        "0x0300": {"DA": 4294967295}, "0x2110": {"DA": 4294967295}, "0x2150/*/0": {"DA": 4294967295},
        "0x0304/0/*": {"DA": "FAN"}}})"))
        << sim.Error();
    PipedRun run(work.Path(), root.Path(), "counts.html");
    ASSERT_EQ(0, run.Finish(90000)) << run.Output();
    const std::string page = ReadFile(work.Path() + "/counts.html");

    // Cooling devices: 4096 named rows; RAID adapters: 4096 rows; logical drives: 4096 rows of
    // adapter 0, and every further adapter's count added to the left-out row.
    EXPECT_EQ(4096u, Count(page, "<td>FAN</td>"));
    EXPECT_EQ(2u, Count(page, ">4294963199 more left out</td>"));
    EXPECT_EQ(1u, Count(page, ">17592186036224 more left out, and those of 4294963199 more RAID adapters "
                              "(0x2110)</td>"));
    EXPECT_EQ(4096u, sim.RequestedCommands(0x0304).size());
    EXPECT_EQ(4096u, sim.RequestedCommands(0x2150).size());
    EXPECT_EQ(4096u, sim.RequestedCommands(0x2151).size());
}

// SIGTERM or SIGINT while the daemon sits on a request: the run stops asking, writes the page with
// what it read (every section present) and exits with 128 + the signal. Meanwhile a reader of the
// pipe already sees the progress message.
TEST(HostileDaemon, StopSignalDuringAStalledExchangeKeepsTheWholePage)
{
    for (const int signalNumber : {SIGTERM, SIGINT})
    {
        SCOPED_TRACE(signalNumber);
        TempDir root, work;
        SimProcess sim(root.Path());
        ASSERT_TRUE(sim.StartWithProfileText(R"({"answers": {
            "0x0C00/0x0608/0": {"DA": "RX-STOP"},
            "0x0300": {"DA": 2, "fault": {"stall": true}}}})"))
            << sim.Error();
        PipedRun run(work.Path(), root.Path(), "stopped.html");
        ASSERT_EQ("ok 1", sim.Control("wait-stalls 1 20000"));
        for (int waited = 0;
             waited < 5000 && run.Output().find("\nGenerating HTML report...") == std::string::npos;
             waited += 100)
            run.ReadSome(100);
        EXPECT_EQ("\nGenerating HTML report...", run.Output()) << "the message must not wait in a buffer";

        const size_t requestsBefore = sim.RequestLogLines().size();
        // Twice, as `timeout` sends it (to the program, then to its process group), the second
        // once the first has reached the handler: still one request to stop, the page is kept.
        ASSERT_EQ(0, kill(run.Pid(), signalNumber));
        for (int polls = 0; polls < 100000 && IsPending(run.Pid(), signalNumber); ++polls)
            sched_yield();
        ASSERT_EQ(0, kill(run.Pid(), signalNumber));
        EXPECT_EQ(128 + signalNumber, run.Finish(20000)) << run.Output();
        EXPECT_EQ("\nGenerating HTML report...\nSuccessfuly write HTML file \"stopped.html\"\n",
                  run.Output());
        EXPECT_EQ(requestsBefore, sim.RequestLogLines().size()) << "nothing is asked after the signal";

        const std::string page = ReadFile(work.Path() + "/stopped.html");
        EXPECT_NE(std::string::npos, page.find("RX-STOP")) << "what was read before stays";
        for (const char* title : kSectionTitles)
            EXPECT_NE(std::string::npos, page.find(std::string(">") + title + "</button>")) << title;
        EXPECT_EQ(0u, page.rfind("<!DOCTYPE html>", 0));
        EXPECT_EQ(page.size() - 7, page.rfind("</html>")) << "the page is complete";
    }
}
