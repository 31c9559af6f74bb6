#include "CDebug.h"
#include "CThread.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

namespace
{
// Upper bound for waiting on a helper thread's signal, so that a broken wrapper fails the test
// instead of hanging the suite.
constexpr int kSignalWaitMs = 5000;

struct PipePair
{
    int fds[2] = {-1, -1};
    PipePair() { EXPECT_EQ(pipe(fds), 0); }
    ~PipePair()
    {
        for (int fd : fds)
            if (fd >= 0)
                close(fd);
    }
    int ReadEnd() const { return fds[0]; }
    int WriteEnd() const { return fds[1]; }
};

bool WaitReadable(int fd)
{
    pollfd entry{fd, POLLIN, 0};
    return poll(&entry, 1, kSignalWaitMs) == 1;
}

struct ThreadFacts
{
    int runs = 0; // read only after the join
    int policy = -1;
    size_t stackSize = 0;
};

void* RecordFacts(void* argument)
{
    auto* facts = static_cast<ThreadFacts*>(argument);
    sched_param parameters{};
    pthread_getschedparam(pthread_self(), &facts->policy, &parameters);
    pthread_attr_t attributes;
    if (pthread_getattr_np(pthread_self(), &attributes) == 0)
    {
        pthread_attr_getstacksize(&attributes, &facts->stackSize);
        pthread_attr_destroy(&attributes);
    }
    facts->runs++;
    return argument;
}

ThreadFacts RunWaitable(int priority, size_t stackSize)
{
    ThreadFacts facts;
    CThread thread;
    EXPECT_TRUE(thread.Start(RecordFacts, &facts, priority, false, stackSize, false, true));
    EXPECT_TRUE(thread.WaitForTermination(-1));
    return facts;
}

// Blocks in read() on a pipe that nobody writes to; only cancellation ends it. The cleanup
// handler reports the cancellation through a second pipe.
struct BlockedReader
{
    PipePair never;
    PipePair started;
    PipePair cancelled;
};

void ReportCancelled(void* argument)
{
    const char byte = 'c';
    (void)!write(static_cast<BlockedReader*>(argument)->cancelled.WriteEnd(), &byte, 1);
}

void* BlockInRead(void* argument)
{
    auto* reader = static_cast<BlockedReader*>(argument);
    pthread_cleanup_push(ReportCancelled, reader);
    const char byte = 's';
    (void)!write(reader->started.WriteEnd(), &byte, 1);
    char buffer;
    (void)!read(reader->never.ReadEnd(), &buffer, 1);
    pthread_cleanup_pop(0);
    return nullptr;
}
} // namespace

TEST(CThread, WaitableThreadRunsAndIsJoined)
{
    ThreadFacts facts;
    CThread thread;
    ASSERT_TRUE(thread.Start(RecordFacts, &facts, 0, false, 0, false, true));
    EXPECT_NE(thread.GetId(), pthread_t{});
    EXPECT_TRUE(thread.IsWaitable());
    // A timeout cannot be honoured; the wait still ends with the join.
    EXPECT_TRUE(thread.WaitForTermination(100));
    EXPECT_EQ(facts.runs, 1);
    EXPECT_EQ(thread.GetId(), pthread_t{});
    // Nothing left: false while tracing, true without.
    EXPECT_EQ(thread.WaitForTermination(-1), !g_Debug.IsTraceEnabled());
}

TEST(CThread, KillJoinsAWaitableThread)
{
    ThreadFacts facts;
    CThread thread;
    ASSERT_TRUE(thread.Start(RecordFacts, &facts, 0, false, 0, false, true));
    EXPECT_TRUE(thread.Kill());
    EXPECT_EQ(facts.runs, 1);
    EXPECT_EQ(thread.GetId(), pthread_t{});
    EXPECT_FALSE(thread.Kill());
}

TEST(CThread, KillWithoutThreadFails)
{
    CThread thread;
    EXPECT_FALSE(thread.Kill());
}

TEST(CThread, PriorityZeroKeepsSchedulingAndStackSizeIsNotApplied)
{
    int ownPolicy = -1;
    sched_param ownParameters{};
    ASSERT_EQ(pthread_getschedparam(pthread_self(), &ownPolicy, &ownParameters), 0);

    const ThreadFacts plain = RunWaitable(0, 0);
    EXPECT_EQ(plain.runs, 1);
    EXPECT_EQ(plain.policy, ownPolicy);

    const ThreadFacts small = RunWaitable(0, 0x4000);
    EXPECT_EQ(small.runs, 1);
    EXPECT_EQ(small.stackSize, plain.stackSize);
}

TEST(CThread, NonZeroPriorityGoesThroughTheSchedulingAttributes)
{
    // A valid round-robin priority is accepted (the thread inherits the creator's scheduling).
    const ThreadFacts valid = RunWaitable(sched_get_priority_min(SCHED_RR), 0);
    EXPECT_EQ(valid.runs, 1);

    // One outside the round-robin range is refused before any thread exists.
    ThreadFacts facts;
    CThread thread;
    EXPECT_FALSE(
        thread.Start(RecordFacts, &facts, sched_get_priority_max(SCHED_RR) + 1, false, 0, false, true));
    EXPECT_EQ(thread.GetId(), pthread_t{});
    EXPECT_EQ(facts.runs, 0);
}

TEST(CThread, DetachedThreadCannotBeAwaitedButIsCancelledByKill)
{
    BlockedReader reader;
    CThread thread;
    ASSERT_TRUE(thread.Start(BlockInRead, &reader, 0, false, 0, false, false));
    EXPECT_FALSE(thread.IsWaitable());
    ASSERT_TRUE(WaitReadable(reader.started.ReadEnd()));

    EXPECT_FALSE(thread.WaitForTermination(-1));
    EXPECT_NE(thread.GetId(), pthread_t{});

    EXPECT_TRUE(thread.Kill());
    EXPECT_EQ(thread.GetId(), pthread_t{});
    ASSERT_TRUE(WaitReadable(reader.cancelled.ReadEnd()));
}

TEST(CThread, KillAliveThreadStopsThePreviousThreadFirst)
{
    BlockedReader reader;
    CThread thread;
    thread.SetKillAliveThread(true);
    ASSERT_TRUE(thread.Start(BlockInRead, &reader, 0, false, 0, false, false));
    ASSERT_TRUE(WaitReadable(reader.started.ReadEnd()));

    ThreadFacts facts;
    ASSERT_TRUE(thread.Start(RecordFacts, &facts, 0, false, 0, false, true));
    ASSERT_TRUE(WaitReadable(reader.cancelled.ReadEnd()));
    EXPECT_TRUE(thread.WaitForTermination(-1));
    EXPECT_EQ(facts.runs, 1);
}

namespace
{
pid_t ForkChild(int exitCode)
{
    const pid_t pid = fork();
    if (pid == 0)
        _exit(exitCode);
    return pid;
}

pid_t ForkSleeper()
{
    const pid_t pid = fork();
    if (pid == 0)
    {
        for (;;)
            pause();
    }
    return pid;
}
} // namespace

TEST(ProcessFunctions, WaitForProcessReportsTheExitCode)
{
    int exitCode = 99;
    const pid_t good = ForkChild(0);
    ASSERT_GT(good, 0);
    EXPECT_TRUE(WaitForProcess(good, exitCode));
    EXPECT_EQ(exitCode, 0);

    const pid_t bad = ForkChild(3);
    ASSERT_GT(bad, 0);
    EXPECT_FALSE(WaitForProcess(bad, exitCode));
    EXPECT_EQ(exitCode, 3);

    // Already reaped: waitpid fails.
    EXPECT_FALSE(WaitForProcess(bad, exitCode));
    EXPECT_EQ(exitCode, -1);
}

TEST(ProcessFunctions, KillProcessEndsTheChildBySignal)
{
    const pid_t sleeper = ForkSleeper();
    ASSERT_GT(sleeper, 0);
    const bool killed = KillProcess(sleeper);
    if (!killed)
        kill(sleeper, SIGKILL); // never leave the sleeper behind
    EXPECT_TRUE(killed);
    int exitCode = 99;
    EXPECT_FALSE(WaitForProcess(sleeper, exitCode));
    EXPECT_EQ(exitCode, -1);
}

TEST(ProcessFunctions, GroupIdsAreRefused)
{
    int exitCode = 99;
    EXPECT_FALSE(WaitForProcess(0, exitCode));
    EXPECT_FALSE(WaitForProcess(-1, exitCode));
    EXPECT_FALSE(KillProcess(0));
    EXPECT_FALSE(KillProcess(-1));
}
