// Opening, registering, reopening and closing the event channel, and waiting for a daemon that
// went away to come back.
#include "JsonEventChannel.h"

#include "CCancellationWindow.h"
#include "CDebug.h"
#include "Clock.h"
#include "JsonTransport.h"
#include "SysPath.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
const char* const kServicePidFile = "/var/run/tmqdx.pid";

// Pauses for a while; with a terminate descriptor the pause ends early when that is signalled.
// False when it was.
bool PauseUnlessTerminated(int terminateFd, unsigned milliseconds)
{
    CClock& clock = CClock::Get();
    if (terminateFd < 0)
    {
        clock.SleepMs(milliseconds);
        return true;
    }
    struct pollfd request = {terminateFd, POLLIN, 0};
    return clock.Poll(&request, 1, static_cast<int>(milliseconds)) <= 0;
}

// True when the daemon's event socket takes a connect; the probe socket is closed again at once.
bool ProbeEventSocket()
{
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return false;
    bool connected = ConnectUnixSocket(fd, SysPath(kQmxdEventSocket).c_str()) == 0;
    close(fd);
    return connected;
}

bool IsServiceBack()
{
    struct stat status;
    return stat(SysPath(kServicePidFile).c_str(), &status) == 0 && ProbeEventSocket();
}

int TraceInt(long value)
{
    return value > INT_MAX ? INT_MAX : value < INT_MIN ? INT_MIN : static_cast<int>(value);
}
} // namespace

int OpenEventChannel(const char* clientName, int terminateFd)
{
    if (clientName == nullptr)
        clientName = "";
    const std::string path = SysPath(kQmxdEventSocket);
    int fd = -1;
    for (int attempt = 1; attempt <= kEventConnectAttempts; ++attempt)
    {
        fd = OpenDevice(path.c_str());
        if (fd >= 0)
            break;
        int error = errno;
        if (attempt == kEventConnectAttempts)
            break;
        if (attempt % 10 == 0)
            g_Debug.PrintAlways("OpenEventChannel: Connect to %s failed: errno=%d %s --> retry (%d)\n",
                                path.c_str(), error, strerror(error), attempt);
        if (!PauseUnlessTerminated(terminateFd, kEventConnectRetryMs))
        {
            g_Debug.Print(2, "OpenEventChannel: termination signaled after %d attempts --> bail out\n",
                          attempt);
            return -1;
        }
    }
    if (fd < 0)
    {
        g_Debug.PrintAlways("OpenEventChannel: Connect to %s failed after %d retries --> bail out\n",
                            path.c_str(), kEventConnectAttempts);
        return -1;
    }

    g_Debug.Print(2, "OpenEventChannel: Event Channel to %s (fd=%d) opened\n", path.c_str(), fd);
    // Events steer the client as replies do: only a daemon we trust may send them.
    if (!IsPeerTrusted(fd, path.c_str()))
    {
        close(fd);
        return -1;
    }
    // The registration waits for the daemon's answer; a terminate signal ends that wait, and the
    // half-registered channel is then of no use.
    if (SendInitChannelCommand(fd, clientName, kChannelKindEvent, kInitCommandTimeout, terminateFd) == 0 ||
        IsTerminateSignalled(terminateFd))
    {
        g_Debug.Print(2, "JsonRegisterForEvents: client cannot register for events on fd=%d -> close it!\n",
                      fd);
        close(fd);
        return -1;
    }
    g_Debug.Print(2, "JsonRegisterForEvents: client registered for events on fd=%d\n", fd);
    return fd;
}

int ReOpenEventChannel(const char* clientName, int oldFd, int terminateFd)
{
    const std::string path = SysPath(kQmxdEventSocket);
    if (oldFd >= 0)
        close(oldFd);
    int fd = -1;
    if (PauseUnlessTerminated(terminateFd, kEventConnectRetryMs))
        fd = OpenEventChannel(clientName, terminateFd);
    if (fd < 0)
    {
        g_Debug.PrintAlways("ReOpenEventChannel: ERROR: Can't re-open Event Channel to %s\n", path.c_str());
        return -1;
    }
    g_Debug.Print(2, "ReOpenEventChannel: Event Channel to %s re-opened (fd=%d)\n", path.c_str(), fd);
    return fd;
}

void CloseEventChannel(int fd)
{
    const std::string path = SysPath(kQmxdEventSocket);
    if (fd < 0)
    {
        g_Debug.Print(2, "CloseEventChannel: Event channel to %s already closed - ignored\n", path.c_str());
        return;
    }
    close(fd);
    g_Debug.Print(2, "CloseEventChannel: Event channel to %s (fd=%d) closed\n", path.c_str(), fd);
}

void JsonUnregisterForEvents(int fd)
{
    g_Debug.Print(2, "JsonUnregisterForEvents: unregister event channel, fd=%d\n", fd);
    CloseEventChannel(fd);
    g_Debug.Print(2, "JsonUnregisterForEvents: client unregistered for events\n");
}

long MaxServiceWaitSec()
{
    const char* text = getenv("TM_MAXWAIT_FOR_QMXD");
    if (text == nullptr || *text == '\0')
        return kDefaultMaxServiceWaitSec;
    return strtol(text, nullptr, 10);
}

bool WaitForServiceAvailable(int terminateFd)
{
    const long maxWait = MaxServiceWaitSec();
    g_Debug.Print(
        2, "WaitForServiceAvailable: TerminateFD=%d, InternalMaxWaitTime=%d sec, Check-period=%d sec\n",
        terminateFd, TraceInt(maxWait), kServiceCheckPeriodSec);

    long accumulated = kServiceCheckPeriodSec;
    while (accumulated <= maxWait)
    {
        struct pollfd request = {terminateFd, POLLIN, 0};
        int ready;
        {
            // No lock is held here, and the wait may last as long as the daemon stays away.
            CCancellationWindow cancellable;
            ready = CClock::Get().Poll(&request, 1, kServiceCheckPeriodSec * 1000);
        }
        if (ready < 0 && errno == EINTR)
        {
            g_Debug.Print(1, "WaitForServiceAvailable: select interrupted by EINTR --> ignoring\n");
            g_Debug.Print(1, "WaitForServiceAvailable: tv_sec=%d, tv_usec=%d (AccumulatedWaitTime=%d)\n",
                          kServiceCheckPeriodSec, 0, TraceInt(accumulated));
            continue;
        }
        if (ready < 0)
        {
            g_Debug.Print(
                1, "WaitForServiceAvailable: Something is FISHY here (AccumulatedWaitTime=%d) -> bail out\n",
                TraceInt(accumulated));
            return false;
        }
        if (ready > 0)
        {
            // A closed write end counts as a signal too: nobody could wake the waiter any more.
            if (request.revents & (POLLIN | POLLHUP))
                g_Debug.Print(
                    1,
                    "WaitForServiceAvailable: terminate has been signaled (AccumulatedWaitTime=%d) -> "
                    "bail out\n",
                    TraceInt(accumulated));
            else
                g_Debug.Print(
                    1,
                    "WaitForServiceAvailable: Something is FISHY here !!! (AccumulatedWaitTime=%d) -> "
                    "bail out\n",
                    TraceInt(accumulated));
            return false;
        }
        if (IsServiceBack())
        {
            g_Debug.Print(1,
                          "WaitForServiceAvailable: qmxd service is now available (AccumulatedWaitTime=%d)\n",
                          TraceInt(accumulated));
            return true;
        }
        accumulated += kServiceCheckPeriodSec;
    }
    g_Debug.Print(1, "WaitForServiceAvailable: AccumulatedWaitTime=%d expired -> bail out\n",
                  TraceInt(accumulated));
    return false;
}
