// qmxd-sim: a stand-in for the management daemon, for tests and demonstrations.
//
//   qmxd-sim --sysroot DIR --profile FILE [--request-log FILE] [--exit-with-parent]
//            [--daemon] [--pid-file FILE]
//
// Creates the daemon's files below DIR, answers requests from the profile, prints
// "qmxd-sim ready" once every socket listens, and runs until SIGTERM or SIGINT, after which it
// removes what it created. SIGUSR1 pushes the profile's events to every registered event channel.
// With --daemon the command returns once every socket listens and the daemon runs on by itself.

#include "SimDaemon.h"
#include "SimPidFile.h"
#include "SimProfile.h"
#include "SimRequestLog.h"
#include "SimServer.h"
#include "SimSysroot.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/signalfd.h>
#include <unistd.h>

namespace
{
struct Options
{
    std::string sysroot;
    std::string profile;
    std::string requestLog;
    std::string pidFile;
    bool exitWithParent = false;
    bool daemon = false;
};

const char kUsage[] =
    "usage: qmxd-sim --sysroot DIR --profile FILE [--request-log FILE] [--exit-with-parent]\n"
    "                [--daemon] [--pid-file FILE]\n";

bool ParseOptions(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i)
    {
        std::string option = argv[i];
        bool hasValue = i + 1 < argc;
        if (option == "--sysroot" && hasValue)
            options.sysroot = argv[++i];
        else if (option == "--profile" && hasValue)
            options.profile = argv[++i];
        else if (option == "--request-log" && hasValue)
            options.requestLog = argv[++i];
        else if (option == "--pid-file" && hasValue)
            options.pidFile = argv[++i];
        else if (option == "--exit-with-parent")
            options.exitWithParent = true;
        else if (option == "--daemon")
            options.daemon = true;
        else
        {
            std::fprintf(stderr, "qmxd-sim: unexpected argument \"%s\"\n%s", option.c_str(), kUsage);
            return false;
        }
    }
    if (options.sysroot.empty() || options.profile.empty())
    {
        std::fprintf(stderr, "qmxd-sim: --sysroot and --profile are required\n%s", kUsage);
        return false;
    }
    if (options.daemon && options.exitWithParent)
    {
        // The parent of a daemon leaves at once, which would stop it at once.
        std::fprintf(stderr, "qmxd-sim: --daemon and --exit-with-parent exclude each other\n%s", kUsage);
        return false;
    }
    return true;
}

int Fail(const std::string& message)
{
    std::fprintf(stderr, "qmxd-sim: %s\n", message.c_str());
    return 1;
}
} // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!ParseOptions(argc, argv, options))
        return 1;
    pid_t parent = options.exitWithParent ? getppid() : 0;

    std::string error;
    SimProfile profile;
    if (!profile.Load(options.profile, error))
        return Fail("bad profile: " + error);

    SimSysroot sysroot(options.sysroot);
    if (!sysroot.CheckSocketPaths(error))
        return Fail(error);

    // Before any thread exists and before any file is created, so that the daemon owns them all.
    SimDaemon daemon;
    if (options.daemon && !daemon.Detach(error))
        return Fail(error);

    SimRequestLog log;
    std::string logPath = options.requestLog.empty() ? sysroot.DefaultRequestLog() : options.requestLog;
    if (!sysroot.MakeParents(logPath, error) || !log.Open(logPath, error))
        return Fail(error);

    // The signals are taken from a descriptor in the main loop; every thread started later
    // inherits the mask, so no thread is interrupted by them.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGUSR1);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    int signalFd = signalfd(-1, &signals, SFD_CLOEXEC);
    if (signalFd < 0)
        return Fail(std::string("signalfd failed: ") + std::strerror(errno));

    int status = 0;
    {
        SimServer server(profile, log, sysroot);
        SimPidFile pidFile;
        // The pid file comes last: whoever sees it may rely on the sockets being there.
        if (!sysroot.CreateFrontEnd(error) || !server.Listen(error) || !sysroot.WritePidFile(error) ||
            (!options.pidFile.empty() && !pidFile.Write(options.pidFile, error)))
        {
            std::fprintf(stderr, "qmxd-sim: %s\n", error.c_str());
            status = 1;
        }
        else
        {
            std::printf("qmxd-sim ready\n");
            std::fflush(stdout);
            std::fprintf(stderr, "qmxd-sim: pid %d serving %s with %zu answers\n", static_cast<int>(getpid()),
                         options.sysroot.c_str(), profile.AnswerCount());
            daemon.ReportReady();
            server.Run(signalFd, parent);
        }
        // Files go first so that no new client mistakes a stopping daemon for a running one.
        sysroot.RemoveCreated();
        server.Stop();
    }
    close(signalFd);
    return status;
}
