#include "CCancellation.h"
#include "Clock.h"

#include <gtest/gtest.h>

#include <csignal>
#include <poll.h>

namespace
{
bool WakeFdReadable()
{
    struct pollfd wake = {CCancellation::WakeFd(), POLLIN, 0};
    return poll(&wake, 1, 0) == 1 && (wake.revents & POLLIN) != 0;
}

// A clock on which the stop request arrives while the program waits, as a signal would.
class RequestDuringWaitClock : public CFakeClock
{
public:
    int Poll(struct pollfd* fds, nfds_t count, int timeoutMs) override
    {
        CCancellation::Request(SIGTERM);
        return CFakeClock::Poll(fds, count, timeoutMs);
    }
};

class CCancellationTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(CCancellation::Prepare());
        CCancellation::Clear();
    }
    void TearDown() override { CCancellation::Clear(); }

    CFakeClock m_Clock;
    CScopedClock m_Installed{m_Clock};
};
} // namespace

TEST_F(CCancellationTest, TheFirstRequestCountsAndNamesTheSignal)
{
    EXPECT_FALSE(CCancellation::IsRequested());
    EXPECT_EQ(CCancellation::Signal(), 0);
    EXPECT_TRUE(CCancellation::Request(SIGTERM));
    EXPECT_TRUE(CCancellation::IsRequested());
    EXPECT_FALSE(CCancellation::Request(SIGINT)) << "a second request is no new one";
    EXPECT_FALSE(CCancellation::Request(SIGTERM));
    EXPECT_EQ(CCancellation::Signal(), SIGTERM) << "the first signal stays the one that stopped the run";

    CCancellation::Clear();
    EXPECT_FALSE(CCancellation::IsRequested());
    // A request without a signal still stops the run, and names no signal.
    EXPECT_TRUE(CCancellation::Request(0));
    EXPECT_TRUE(CCancellation::IsRequested());
    EXPECT_LE(CCancellation::Signal(), 0);
    EXPECT_FALSE(CCancellation::Request(SIGINT));
}

// Waits end at once on a stopping run, and the wake-up descriptor stays readable for every later
// wait, however many there are.
TEST_F(CCancellationTest, WaitsRunTheirCourseUntilARequestThenEndAtOnce)
{
    EXPECT_FALSE(WakeFdReadable());
    EXPECT_TRUE(CCancellation::SleepMs(1500));
    EXPECT_EQ(m_Clock.ElapsedMs(), 1500u) << "without a request the pause lasts its whole time";

    ASSERT_TRUE(CCancellation::Request(SIGTERM));
    for (int wait = 0; wait < 3; ++wait)
    {
        EXPECT_TRUE(WakeFdReadable()) << wait;
        EXPECT_FALSE(CCancellation::SleepMs(30000u * 1000u));
    }
    EXPECT_FALSE(CCancellation::Request(SIGINT));
    EXPECT_TRUE(WakeFdReadable()) << "a second request must not drain the descriptor";
    EXPECT_EQ(m_Clock.ElapsedMs(), 1500u) << "a stopping run waits no more";

    CCancellation::Clear();
    EXPECT_FALSE(WakeFdReadable()) << "the next run starts with a quiet descriptor";
    EXPECT_TRUE(CCancellation::SleepMs(10));
}

TEST_F(CCancellationTest, ARequestDuringAWaitEndsIt)
{
    RequestDuringWaitClock clock;
    CScopedClock installed(clock);
    EXPECT_FALSE(CCancellation::SleepMs(30000));
    EXPECT_EQ(clock.ElapsedMs(), 0u) << "the wait ends when the request wakes it, not when it runs out";
    EXPECT_EQ(CCancellation::Signal(), SIGTERM);
}
