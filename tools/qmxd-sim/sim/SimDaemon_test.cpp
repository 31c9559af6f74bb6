#include "ProgramRun.h"
#include "SimProcess.h"
#include "SimTestClient.h"
#include "TestEnv.h"

#include <gtest/gtest.h>

#include <csignal>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{
bool Exists(const std::string& path)
{
    struct stat info;
    return lstat(path.c_str(), &info) == 0;
}

// A daemon is nobody's child here, so its end is observed through a process descriptor rather
// than waitpid; poll returns the moment it exits.
bool WaitForExit(pid_t pid)
{
    int descriptor = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    if (descriptor < 0)
        return errno == ESRCH; // already gone
    pollfd entry{descriptor, POLLIN, 0};
    bool ended = poll(&entry, 1, 10000) == 1;
    close(descriptor);
    return ended;
}

ProgramRun RunSimulator(const std::vector<std::string>& args, const std::string& directory)
{
    return RunProgram(QMXD_SIM_EXECUTABLE, args, directory);
}

TEST(SimDaemonTest, ReturnsOnceTheSocketsListenAndCleansUpOnTerm)
{
    TempDir root;
    const std::string pidFile = root.Path() + "/sim.pid";
    ProgramRun run = RunSimulator({"--daemon", "--sysroot", root.Path(), "--profile",
                                   SimProcess::ShippedProfile("empty.json"), "--pid-file", pidFile},
                                  root.Path());
    ASSERT_EQ(run.exitStatus, 0) << run.errors;
    EXPECT_EQ(run.output, "qmxd-sim ready\n");

    // No waiting: when the command has returned, the daemon answers.
    SimTestClient client(root.Path() + "/opt/TessmarkQDX/vital/qmxdsj");
    rapidjson::Document reply;
    client.Exchange(R"({"SIP":{"V":1,"CMD":[{"OC":768,"CA":0}]}})", reply);
    ASSERT_TRUE(reply.IsObject());
    EXPECT_EQ(reply["SIP"]["CMD"][0]["ST"].GetUint(), 4u);

    const std::string pidText = ReadFile(pidFile);
    ASSERT_FALSE(pidText.empty());
    EXPECT_EQ(ReadFile(root.Path() + "/var/run/tmqdx.pid"), pidText) << "both name the daemon itself";
    const pid_t pid = std::stoi(pidText);
    ASSERT_EQ(kill(pid, SIGTERM), 0);
    ASSERT_TRUE(WaitForExit(pid));
    EXPECT_FALSE(Exists(pidFile));
    EXPECT_FALSE(Exists(root.Path() + "/opt"));
    EXPECT_FALSE(Exists(root.Path() + "/var/run"));
}

TEST(SimDaemonTest, FailuresBeforeServingReachTheCaller)
{
    struct Case
    {
        const char* name;
        std::vector<std::string> extra;
        const char* message;
    };
    TempDir root;
    const std::string profile = SimProcess::ShippedProfile("empty.json");
    const std::string blocked = root.Path() + "/opt/TessmarkQDX/vital/qmxdsj";
    const Case cases[] = {
        {"missing profile", {"--profile", root.Path() + "/none.json"}, "cannot read profile"},
        {"socket cannot be bound", {"--profile", profile}, "cannot bind"},
        {"pid file cannot be written",
         {"--profile", profile, "--pid-file", root.Path() + "/no/dir/p"},
         "cannot write pid file"},
        {"with --exit-with-parent", {"--profile", profile, "--exit-with-parent"}, "exclude each other"},
    };
    for (const Case& c : cases)
    {
        // Only the bind case finds a directory where the request socket belongs.
        if (std::string(c.name) == "socket cannot be bound")
            MakeDirs(blocked);
        std::vector<std::string> args = {"--daemon", "--sysroot", root.Path()};
        args.insert(args.end(), c.extra.begin(), c.extra.end());
        ProgramRun run = RunSimulator(args, root.Path());
        EXPECT_EQ(run.exitStatus, 1) << c.name;
        EXPECT_NE(run.errors.find(c.message), std::string::npos) << c.name << ": " << run.errors;
        EXPECT_FALSE(Exists(root.Path() + "/var/run/tmqdx.pid")) << c.name;
        rmdir(blocked.c_str());
    }
}
} // namespace
