#include "Clock.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

namespace
{
CClock g_RealClock;
std::atomic<CClock*> g_CurrentClock{&g_RealClock};
} // namespace

time_t CClock::Now()
{
    return time(nullptr);
}

uint64_t CClock::NowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

void CClock::SleepMs(unsigned milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

int CClock::Poll(struct pollfd* fds, nfds_t count, int timeoutMs)
{
    return poll(fds, count, timeoutMs);
}

CClock& CClock::Get()
{
    return *g_CurrentClock.load();
}

CClock* CClock::Install(CClock* clock)
{
    CClock* previous = g_CurrentClock.exchange(clock != nullptr ? clock : &g_RealClock);
    return previous == &g_RealClock ? nullptr : previous;
}

CFakeClock::CFakeClock(time_t start) : m_Start(start) {}

time_t CFakeClock::Now()
{
    return m_Start + static_cast<time_t>(m_ElapsedMs / 1000);
}

uint64_t CFakeClock::NowMs()
{
    return static_cast<uint64_t>(m_Start) * 1000 + m_ElapsedMs;
}

void CFakeClock::SleepMs(unsigned milliseconds)
{
    m_ElapsedMs += milliseconds;
    ++m_SleepCount;
}

int CFakeClock::Poll(struct pollfd* fds, nfds_t count, int timeoutMs)
{
    int ready = poll(fds, count, 0);
    if (ready == 0 && timeoutMs > 0)
        m_ElapsedMs += static_cast<uint64_t>(timeoutMs);
    return ready;
}
