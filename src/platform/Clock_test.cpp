#include "Clock.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

TEST(Clock, FakeClockAdvancesOnlyThroughSleepsAndEmptyWaitsWhileInstalled)
{
    CClock* before = &CClock::Get();
    {
        CFakeClock fake(1000);
        CScopedClock scope(fake);
        CClock& clock = CClock::Get();
        ASSERT_EQ(&clock, &fake);
        EXPECT_EQ(clock.Now(), 1000);
        clock.SleepMs(1500);
        EXPECT_EQ(clock.Now(), 1001);

        int pair[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
        pollfd pfd{pair[0], POLLIN, 0};
        EXPECT_EQ(clock.Poll(&pfd, 1, 30000), 0); // nothing to read: the whole timeout "passes"
        EXPECT_EQ(fake.ElapsedMs(), 31500u);
        ASSERT_EQ(write(pair[1], "x", 1), 1);
        EXPECT_EQ(clock.Poll(&pfd, 1, 30000), 1); // ready: no time passes
        EXPECT_EQ(fake.ElapsedMs(), 31500u);
        close(pair[0]);
        close(pair[1]);
    }
    EXPECT_EQ(&CClock::Get(), before);
}
