#include "CCancellation.h"

#include "Clock.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

std::atomic<int> CCancellation::s_Signal{0};
std::atomic<int> CCancellation::s_WakeFds[2] = {{-1}, {-1}};

bool CCancellation::Prepare()
{
    if (WakeFd() >= 0)
        return true;
    int fds[2];
    if (pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0)
        return false;
    s_WakeFds[1].store(fds[1]);
    s_WakeFds[0].store(fds[0]);
    return true;
}

bool CCancellation::Request(int signalNumber)
{
    int expected = 0;
    if (!s_Signal.compare_exchange_strong(expected, signalNumber != 0 ? signalNumber : -1))
        return false;
    const int writeFd = s_WakeFds[1].load(std::memory_order_relaxed);
    if (writeFd >= 0)
    {
        const int savedErrno = errno;
        const char wake = 1;
        ssize_t ignored = write(writeFd, &wake, 1);
        (void)ignored;
        errno = savedErrno;
    }
    return true;
}

bool CCancellation::SleepMs(unsigned milliseconds)
{
    if (IsRequested())
        return false;
    const int wakeFd = WakeFd();
    if (wakeFd < 0)
    {
        CClock::Get().SleepMs(milliseconds);
        return !IsRequested();
    }
    struct pollfd wake = {wakeFd, POLLIN, 0};
    CClock::Get().Poll(&wake, 1, static_cast<int>(milliseconds));
    return !IsRequested();
}

void CCancellation::Clear()
{
    const int readFd = WakeFd();
    if (readFd >= 0)
    {
        char drained[64];
        while (read(readFd, drained, sizeof drained) > 0)
        {
        }
    }
    s_Signal.store(0);
}
