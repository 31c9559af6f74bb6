#include "CDebug.h"
#include "CThread.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

namespace
{
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

// A thread blocked in read() on a pipe nobody writes to; only cancellation ends it. It reports
// its start and, from its cleanup handler, its cancellation through pipes of their own.
struct BlockedReader
{
    int never[2] = {-1, -1};
    int started[2] = {-1, -1};
    int cancelled[2] = {-1, -1};
    BlockedReader() { EXPECT_TRUE(pipe(never) == 0 && pipe(started) == 0 && pipe(cancelled) == 0); }
    ~BlockedReader()
    {
        for (int* pair : {never, started, cancelled})
            for (int index : {0, 1})
                close(pair[index]);
    }
    // Bounded, so that a broken wrapper fails the test instead of hanging the suite.
    static bool Signalled(int fd)
    {
        pollfd entry{fd, POLLIN, 0};
        return poll(&entry, 1, 5000) == 1;
    }
};

void ReportCancelled(void* argument)
{
    (void)!write(static_cast<BlockedReader*>(argument)->cancelled[1], "c", 1);
}

void* BlockInRead(void* argument)
{
    auto* reader = static_cast<BlockedReader*>(argument);
    pthread_cleanup_push(ReportCancelled, reader);
    (void)!write(reader->started[1], "s", 1);
    char buffer;
    (void)!read(reader->never[0], &buffer, 1);
    pthread_cleanup_pop(0);
    return nullptr;
}
} // namespace

TEST(CThread, WaitableThreadIsJoinedByWaitOrKill)
{
    ThreadFacts facts;
    CThread thread;
    ASSERT_TRUE(thread.Start(RecordFacts, &facts, 0, false, 0, false, true));
    EXPECT_NE(thread.GetId(), pthread_t{});
    // A timeout cannot be honoured; the wait still ends with the join.
    EXPECT_TRUE(thread.WaitForTermination(100));
    EXPECT_EQ(facts.runs, 1);
    EXPECT_EQ(thread.GetId(), pthread_t{});
    // Nothing left: false while tracing, true without.
    EXPECT_EQ(thread.WaitForTermination(-1), !g_Debug.IsTraceEnabled());
    EXPECT_FALSE(thread.Kill());

    ASSERT_TRUE(thread.Start(RecordFacts, &facts, 0, false, 0, false, true));
    EXPECT_TRUE(thread.Kill());
    EXPECT_EQ(facts.runs, 2);
    EXPECT_EQ(thread.GetId(), pthread_t{});
}

TEST(CThread, PriorityZeroKeepsSchedulingAndStackSizeIsNotApplied)
{
    int ownPolicy = -1;
    sched_param ownParameters{};
    ASSERT_EQ(pthread_getschedparam(pthread_self(), &ownPolicy, &ownParameters), 0);
    const ThreadFacts plain = RunWaitable(0, 0);
    EXPECT_EQ(plain.policy, ownPolicy);
    EXPECT_EQ(RunWaitable(0, 0x4000).stackSize, plain.stackSize);

    // A valid round-robin priority is accepted (the thread inherits the creator's scheduling);
    // one outside the round-robin range is refused before any thread exists.
    EXPECT_EQ(RunWaitable(sched_get_priority_min(SCHED_RR), 0).runs, 1);
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
    ASSERT_TRUE(BlockedReader::Signalled(reader.started[0]));
    EXPECT_FALSE(thread.WaitForTermination(-1));
    EXPECT_NE(thread.GetId(), pthread_t{});
    EXPECT_TRUE(thread.Kill());
    EXPECT_EQ(thread.GetId(), pthread_t{});
    ASSERT_TRUE(BlockedReader::Signalled(reader.cancelled[0]));

    // With kill-alive-thread set, a new Start stops the running thread first.
    BlockedReader second;
    thread.SetKillAliveThread(true);
    ASSERT_TRUE(thread.Start(BlockInRead, &second, 0, false, 0, false, false));
    ASSERT_TRUE(BlockedReader::Signalled(second.started[0]));
    ThreadFacts facts;
    ASSERT_TRUE(thread.Start(RecordFacts, &facts, 0, false, 0, false, true));
    ASSERT_TRUE(BlockedReader::Signalled(second.cancelled[0]));
    EXPECT_TRUE(thread.WaitForTermination(-1));
}

TEST(ProcessFunctions, WaitForProcessReportsTheExitCode)
{
    int exitCode = 99;
    for (int code : {0, 3})
    {
        const pid_t child = fork();
        if (child == 0)
            _exit(code);
        ASSERT_GT(child, 0);
        EXPECT_EQ(WaitForProcess(child, exitCode), code == 0);
        EXPECT_EQ(exitCode, code);
        // Already reaped: waitpid fails.
        EXPECT_FALSE(WaitForProcess(child, exitCode));
        EXPECT_EQ(exitCode, -1);
    }
    // Group ids would reach strangers (or this process): refused.
    EXPECT_FALSE(WaitForProcess(0, exitCode));
    EXPECT_FALSE(KillProcess(0));
    EXPECT_FALSE(KillProcess(-1));
}

TEST(ProcessFunctions, KillProcessEndsTheChildBySignal)
{
    const pid_t sleeper = fork();
    if (sleeper == 0)
        for (;;)
            pause();
    ASSERT_GT(sleeper, 0);
    const bool killed = KillProcess(sleeper);
    if (!killed)
        kill(sleeper, SIGKILL); // never leave the sleeper behind
    EXPECT_TRUE(killed);
    int exitCode = 99;
    EXPECT_FALSE(WaitForProcess(sleeper, exitCode));
    EXPECT_EQ(exitCode, -1);
}
