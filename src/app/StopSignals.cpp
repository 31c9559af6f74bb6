#include "StopSignals.h"

#include "CCancellation.h"
#include "CDebug.h"

#include <csignal>
#include <ctime>
#include <initializer_list>

namespace
{
// `timeout` delivers its signal twice in a row: once to the program and once to the whole
// process group. A repeat this close to the first is the same request to stop, not a second one.
constexpr long kRepeatWindowNs = 500L * 1000 * 1000;

timespec g_FirstSignalTime = {};

bool IsRepeatOfFirst()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long long elapsedNs = (now.tv_sec - g_FirstSignalTime.tv_sec) * 1000000000LL +
                                (now.tv_nsec - g_FirstSignalTime.tv_nsec);
    return elapsedNs < kRepeatWindowNs;
}

// Runs with both stop signals blocked (see Install), so its calls never interleave.
void OnStopSignal(int signalNumber)
{
    if (CCancellation::Request(signalNumber))
    {
        clock_gettime(CLOCK_MONOTONIC, &g_FirstSignalTime);
        return;
    }
    if (IsRepeatOfFirst())
        return;
    // The second signal: give up the page and end as the signal itself would.
    signal(signalNumber, SIG_DFL);
    raise(signalNumber);
}
} // namespace

namespace StopSignals
{
bool Install()
{
    if (!CCancellation::Prepare())
    {
        g_Debug.Print(1,
                      "\nStopSignals::Install: ERROR! No wake-up pipe - signals keep their default action");
        return false;
    }
    struct sigaction action = {};
    action.sa_handler = OnStopSignal;
    sigemptyset(&action.sa_mask);
    sigaddset(&action.sa_mask, SIGTERM);
    sigaddset(&action.sa_mask, SIGINT);
    // Restarted calls keep stdio and file writes whole; the waits on the daemon end through the
    // wake-up descriptor, not through EINTR.
    action.sa_flags = SA_RESTART;
    bool installed = true;
    for (int signalNumber : {SIGTERM, SIGINT})
    {
        if (sigaction(signalNumber, &action, nullptr) != 0)
            installed = false;
    }
    return installed;
}

int ExitStatus()
{
    const int signalNumber = CCancellation::Signal();
    return signalNumber > 0 ? 128 + signalNumber : 0;
}
} // namespace StopSignals
