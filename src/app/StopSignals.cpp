#include "StopSignals.h"

#include "CCancellation.h"
#include "CDebug.h"

#include <csignal>
#include <initializer_list>

namespace
{
void OnStopSignal(int signalNumber)
{
    if (CCancellation::Request(signalNumber))
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
