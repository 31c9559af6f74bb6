#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

// One command of a request that the simulated daemon received, read back from its request log.
// The has* flags tell which members the client actually sent.
struct SimCommand
{
    size_t request = 0; // position of the request document in the log, from 0
    uint32_t oc = 0;
    uint32_t oe = 0;
    uint32_t oi = 0;
    uint32_t ca = 0;
    bool hasOE = false;
    bool hasOI = false;
    bool hasCA = false;
    bool hasST = false;
    bool hasDA = false;
};

// Runs the daemon simulator qmxd-sim as a child process on a system root, for tests and
// benchmarks:
//
//     TempDir root;
//     ScopedEnv sysroot("HOSTCAPTURE_SYSROOT", root.Path().c_str());
//     SimProcess sim(root.Path());
//     ASSERT_TRUE(sim.Start(SimProcess::ShippedProfile("demo.json"))) << sim.Error();
//     ... run the client against the daemon ...
//     EXPECT_EQ(sim.RequestedCommands().size(), 3u);
//
// Start returns once the daemon listens on every socket (it waits for the daemon's ready line,
// at most 5 seconds). The destructor stops the daemon (SIGTERM, then waits for it), which removes
// the files it created below the system root. The child also ends by itself when the test
// process dies. Files the harness keeps below the system root: qmxd-sim.requests.jsonl (request
// log), qmxd-sim.stderr (the daemon's diagnostics), qmxd-sim.profile.json (StartWithProfileText)
// and the control socket qmxd-sim.ctl. Not thread-safe: use one object from one thread.
class SimProcess
{
public:
    explicit SimProcess(std::string sysroot);
    ~SimProcess();
    SimProcess(const SimProcess&) = delete;
    SimProcess& operator=(const SimProcess&) = delete;

    // Starts the daemon with a profile file. False (and Error() says why, with the daemon's own
    // message) when it is already running, exits, or is not ready within 5 seconds.
    bool Start(const std::string& profilePath);
    // Writes the profile text to <sysroot>/qmxd-sim.profile.json and starts with it.
    bool StartWithProfileText(const std::string& profileJson);
    // Stops the daemon and starts it again on the same system root with the same profile.
    bool Restart();
    // Sends SIGTERM and waits for the daemon (SIGKILL after 10 s). Returns its exit status, or -1
    // when it was not running or died from a signal.
    int Stop();

    bool IsRunning() const { return m_Pid > 0; }
    pid_t Pid() const { return m_Pid; }
    const std::string& Sysroot() const { return m_Sysroot; }
    const std::string& Error() const { return m_Error; }

    // The request log: one compact JSON document per received request, in arrival order
    // (channel-init commands included). It survives restarts until cleared.
    std::vector<std::string> RequestLogLines() const;
    // Every command of every logged request, flattened, in order.
    std::vector<SimCommand> RequestedCommands() const;
    // Only the logged commands with this object code.
    std::vector<SimCommand> RequestedCommands(uint32_t oc) const;
    void ClearRequestLog() const;

    // Sends one line to the control socket and returns the daemon's answer line ("ok ..." or
    // "error ..."); "error ..." also when the daemon cannot be reached. Commands:
    //   push [times]            the profile's events, times over (default once)
    //   push-json <document>    one event document
    //   push-text <text>        one frame holding any text (not JSON, for instance)
    //   push-zero-length        a length word 0 and nothing else
    //   push-short <n> <text>   a frame whose length word promises n bytes more than are sent
    //   drop-events             hang up every event channel (clients must register again)
    //   channels                number of registered event channels
    //   wait-channels <n> [ms]  wait until at least n event channels are registered
    //   wait-stalls <n> [ms]    wait until at least n requests were taken and never answered
    //   requests                number of requests received so far
    // The push commands answer "ok <channels reached>" after every byte was written.
    std::string Control(const std::string& line) const;
    // Convenience forms of the control commands above; true on an "ok" answer.
    bool PushEvents(long times = 1) const;
    bool WaitEventChannels(size_t count, int timeoutMs = 5000) const;
    bool DropEventChannels() const;
    // Sends a signal to the daemon (SIGUSR1 pushes the profile's events once).
    bool Signal(int signalNumber) const;

    // Path of a profile shipped with the simulator (tools/qmxd-sim/profiles/<name>).
    static std::string ShippedProfile(const std::string& name);
    static std::string Executable();

private:
    bool Launch();
    std::string StderrText() const;

    std::string m_Sysroot;
    std::string m_Profile;
    std::string m_Error;
    pid_t m_Pid = -1;
};
