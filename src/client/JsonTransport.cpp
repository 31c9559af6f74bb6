#include "JsonTransport.h"

#include "CCancellation.h"
#include "CDebug.h"
#include "Clock.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <initializer_list>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

unsigned TraceThreadId()
{
    return static_cast<unsigned>(pthread_self());
}

int ConnectUnixSocket(int fd, const char* path)
{
    struct sockaddr_un address;
    memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    size_t length = strlen(path);
    if (length > sizeof(address.sun_path))
    {
        errno = ENAMETOOLONG;
        return -1;
    }
    memcpy(address.sun_path, path, length);
    // The family field plus the path without its terminating zero.
    auto addressLength = static_cast<socklen_t>(offsetof(struct sockaddr_un, sun_path) + length);
    return connect(fd, reinterpret_cast<struct sockaddr*>(&address), addressLength);
}

int OpenDevice(const char* path)
{
    if (path == nullptr)
        path = "";
    // Close-on-exec: the program later starts a browser through system(), which must not
    // inherit the daemon's sockets.
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
    {
        int error = errno;
        g_Debug.PrintAlways("OpenDevice: ERROR: create socket on %s failed (thrId=0x%08X): %s\n", path,
                            TraceThreadId(), strerror(error));
        errno = error;
        return -1;
    }

    int result = ConnectUnixSocket(fd, path);
    if (result != 0)
    {
        int error = errno;
        g_Debug.PrintAlways("OpenDevice: ERROR: connect to socket on %s failed (thrId=0x%08X): %s\n", path,
                            TraceThreadId(), strerror(error));
        close(fd);
        errno = error;
        return -2;
    }
    return fd;
}

bool IsPeerTrusted(int fd, const char* path)
{
    struct ucred peer = {};
    socklen_t length = sizeof(peer);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0 || length != sizeof(peer))
    {
        const int error = errno;
        g_Debug.PrintAlways("IsPeerTrusted: ERROR: credentials of the peer on %s unknown (%s) - refused\n",
                            path != nullptr ? path : "", strerror(error));
        return false;
    }
    const uid_t self = geteuid();
    if (peer.uid == 0 || peer.uid == self)
        return true;
    g_Debug.PrintAlways("IsPeerTrusted: ERROR: peer on %s runs as uid %u (pid %d), neither root nor uid %u - "
                        "refused\n",
                        path != nullptr ? path : "", static_cast<unsigned>(peer.uid),
                        static_cast<int>(peer.pid), static_cast<unsigned>(self));
    return false;
}

bool IsTerminateSignalled(int terminateFd)
{
    if (terminateFd < 0)
        return false;
    struct pollfd request = {terminateFd, POLLIN, 0};
    return poll(&request, 1, 0) > 0;
}

bool IsWaitEnded(int terminateFd)
{
    return CCancellation::IsRequested() || IsTerminateSignalled(terminateFd);
}

namespace
{
// The descriptors of one wait: fd itself, then whichever of the caller's terminate descriptor and
// the run's stop descriptor exist. Returns how many entries are in use.
nfds_t WaitSet(struct pollfd (&set)[3], int fd, short events, int terminateFd)
{
    set[0] = {fd, events, 0};
    nfds_t count = 1;
    for (int wake : {terminateFd, CCancellation::WakeFd()})
    {
        if (wake >= 0)
            set[count++] = {wake, POLLIN, 0};
    }
    return count;
}

bool AnyWakeReported(const struct pollfd (&set)[3], nfds_t count)
{
    for (nfds_t i = 1; i < count; ++i)
    {
        if (set[i].revents != 0)
            return true;
    }
    return false;
}
} // namespace

int IsFdReady(int fd, short pollMask, int timeoutMsec, int terminateFd)
{
    if (fd < 0)
    {
        g_Debug.PrintAlways("IsFdReady: ERROR: bad parameter for Fd=%d\n", fd);
        return -3;
    }
    if (timeoutMsec == 0)
    {
        g_Debug.PrintAlways("IsFdReady: ERROR: bad parameter for TimeoutMsec=0(!) on fd=%d\n", fd);
        return -4;
    }

    CClock& clock = CClock::Get();
    time_t start = clock.Now();
    int remaining = timeoutMsec;
    struct pollfd requests[3];
    const nfds_t count = WaitSet(requests, fd, pollMask, terminateFd);
    struct pollfd& request = requests[0];
    while (remaining >= 1)
    {
        for (struct pollfd& entry : requests)
            entry.revents = 0;
        // A signal that stops the run interrupts this poll (EINTR below) and leaves the stop
        // descriptor readable, so the next round ends the wait.
        if (CCancellation::IsRequested())
        {
            g_Debug.Print(2, "IsFdReady: termination signaled while waiting on fd=%d\n", fd);
            return kFdReadyTerminated;
        }
        int ready = clock.Poll(requests, count, remaining);
        if (ready > 0 && AnyWakeReported(requests, count))
        {
            g_Debug.Print(2, "IsFdReady: termination signaled while waiting on fd=%d\n", fd);
            return kFdReadyTerminated;
        }
        if (ready > 0)
            break;
        if (ready == 0)
        {
            g_Debug.PrintAlways("IsFdReady: ERROR: Timeout on fd=%d (Timeout=%d, RestTimeout=%d\n", fd,
                                timeoutMsec, remaining);
            return -15;
        }
        int error = errno;
        if (error != EINTR)
        {
            g_Debug.PrintAlways("IsFdReady: ERROR: poll() failed on fd=%d: errno=%d  %s\n", fd, error,
                                strerror(error));
            return -6;
        }
        g_Debug.Print(1, "IsFdReady: poll() interrupted due to EINTR on fd=%d --> try to continue!\n", fd);
        // Whole seconds on purpose: an interruption within the first second restarts the full wait.
        long long elapsedMs = static_cast<long long>(clock.Now() - start) * 1000;
        if (timeoutMsec <= elapsedMs)
        {
            g_Debug.PrintAlways(
                "IsFdReady: ERROR: Timeout after EINTR on fd=%d (Timeout=%d, RestTimeout=%d\n", fd,
                timeoutMsec, remaining);
            return -15;
        }
        remaining = static_cast<int>(timeoutMsec - elapsedMs);
    }

    if (request.revents & POLLHUP)
    {
        g_Debug.PrintAlways("IsFdReady: ERROR: Hangup on fd=%d\n", fd);
        return -6;
    }
    if (request.revents & (POLLERR | POLLNVAL))
    {
        // Reading fetches the error pending on the descriptor into errno.
        char probe;
        errno = 0;
        ssize_t ignored = read(fd, &probe, 1);
        (void)ignored;
        int error = errno;
        g_Debug.PrintAlways("IsFdReady: ERROR on fd=%d, Result=0x%08X: errno=%d, %s\n", fd,
                            static_cast<unsigned>(request.revents), error, strerror(error));
        return -9;
    }
    if ((request.revents & pollMask) == pollMask)
        return pollMask;
    g_Debug.PrintAlways("IsFdReady: ERROR on fd=%d, returned pollmask invalid (PollFdStruct.revents=0x%08X, "
                        "PollMask=0x%08X)\n",
                        fd, static_cast<unsigned>(request.revents), static_cast<unsigned>(pollMask));
    return -9;
}

bool WaitWithinPass(int fd, short events, uint64_t& deadlineMs, int terminateFd)
{
    CClock& clock = CClock::Get();
    uint64_t now = clock.NowMs();
    if (deadlineMs == 0)
        deadlineMs = now + kPassWaitMs;
    if (now >= deadlineMs)
        return false;
    struct pollfd requests[3];
    const nfds_t count = WaitSet(requests, fd, events, terminateFd);
    int ready = clock.Poll(requests, count, static_cast<int>(deadlineMs - now));
    return ready > 0 && !AnyWakeReported(requests, count);
}

ssize_t WriteAvailable(int fd, const char* data, size_t size)
{
    errno = 0;
    ssize_t written = send(fd, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
    if (written < 0 && errno == ENOTSOCK)
        written = write(fd, data, size);
    if (written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
        return 0;
    return written;
}

ssize_t ReadAvailable(int fd, char* data, size_t size)
{
    ssize_t received = recv(fd, data, size, MSG_DONTWAIT);
    if (received < 0 && errno == ENOTSOCK)
    {
        // Not a socket (a pipe in tests): read only what poll says is there.
        struct pollfd request = {fd, POLLIN, 0};
        if (poll(&request, 1, 0) <= 0)
            return 0;
        received = read(fd, data, size);
    }
    if (received < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
        return 0;
    return received;
}
