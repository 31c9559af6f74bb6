#include "StopSignals.h"

#include "CCancellation.h"
#include "CDebug.h"
#include "Clock.h"

#include <csignal>
#include <cstdint>
#include <initializer_list>

namespace
{
// `timeout` delivers its signal twice in a row: once to the program and once to the whole
// process group. A repeat this close to the first is the same request to stop, not a second one.
constexpr uint64_t kRepeatWindowMs = 500;

// Set by the first signal. The handler runs with both stop signals blocked (see Install), so its
// calls never interleave.
uint64_t g_FirstSignalMs = 0;

void OnStopSignal(int signalNumber)
{
    if (StopSignals::Receive(signalNumber) != StopSignals::Response::EndNow)
        return;
    // The second signal: give up the page and end as the signal itself would.
    signal(signalNumber, SIG_DFL);
    raise(signalNumber);
}
} // namespace

namespace StopSignals
{
// Async-signal-safe: the real clock's NowMs reads the monotonic clock, nothing else.
Response Receive(int signalNumber)
{
    const uint64_t nowMs = CClock::Get().NowMs();
    if (CCancellation::Request(signalNumber))
    {
        g_FirstSignalMs = nowMs;
        return Response::StopRun;
    }
    return nowMs - g_FirstSignalMs < kRepeatWindowMs ? Response::SameRequest : Response::EndNow;
}

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
