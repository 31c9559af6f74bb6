#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>
#include <poll.h>

// The seam through which every wait of the program goes: sleeps between retries, the time of
// day in whole seconds, and waits for a descriptor to become ready. Production code uses the
// real clock; tests install a CFakeClock so that retry loops of many seconds run instantly.
class CClock
{
public:
    virtual ~CClock() = default;

    // Seconds since the epoch, like time().
    virtual time_t Now();
    // Milliseconds of a monotonic clock, for measuring elapsed time.
    virtual uint64_t NowMs();
    virtual void SleepMs(unsigned milliseconds);
    // poll(2) with a timeout in milliseconds (-1 waits without limit).
    virtual int Poll(struct pollfd* fds, nfds_t count, int timeoutMs);

    // The clock in force (the real one unless a test installed another).
    static CClock& Get();
    // Installs a clock and returns the previous one; nullptr restores the real clock.
    static CClock* Install(CClock* clock);
};

// A clock whose time only moves when the program sleeps or waits. Poll looks at the descriptors
// without blocking; when nothing is ready it advances the time by the whole timeout, as if the
// wait had run out. Total sleeping and waiting is counted so tests can assert the cost of a path.
// The counters are atomic: a client's event thread and the test's own thread may share the clock.
class CFakeClock : public CClock
{
public:
    explicit CFakeClock(time_t start = 1700000000);

    time_t Now() override;
    uint64_t NowMs() override;
    void SleepMs(unsigned milliseconds) override;
    int Poll(struct pollfd* fds, nfds_t count, int timeoutMs) override;

    uint64_t ElapsedMs() const { return m_ElapsedMs; }
    unsigned SleepCount() const { return m_SleepCount; }
    void AdvanceMs(uint64_t milliseconds) { m_ElapsedMs += milliseconds; }

private:
    time_t m_Start;
    std::atomic<uint64_t> m_ElapsedMs{0};
    std::atomic<unsigned> m_SleepCount{0};
};

// Installs a clock for the lifetime of the object.
class CScopedClock
{
public:
    explicit CScopedClock(CClock& clock) : m_Previous(CClock::Install(&clock)) {}
    ~CScopedClock() { CClock::Install(m_Previous); }
    CScopedClock(const CScopedClock&) = delete;
    CScopedClock& operator=(const CScopedClock&) = delete;

private:
    CClock* m_Previous;
};
