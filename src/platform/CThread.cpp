#include "CThread.h"

#include "CDebug.h"

#include <cerrno>
#include <sched.h>
#include <signal.h>
#include <sys/wait.h>

namespace
{
// Releases a thread attribute object on every way out of Start.
class AttributeRelease
{
public:
    explicit AttributeRelease(pthread_attr_t& attributes) : m_Attributes(attributes) {}
    ~AttributeRelease() { pthread_attr_destroy(&m_Attributes); }
    AttributeRelease(const AttributeRelease&) = delete;
    AttributeRelease& operator=(const AttributeRelease&) = delete;

private:
    pthread_attr_t& m_Attributes;
};

// The trace formats print thread ids as 32-bit numbers; only the low bits matter for telling
// threads apart in a log.
unsigned ShortId(pthread_t thread)
{
    return static_cast<unsigned>(thread);
}
} // namespace

bool CThread::Start(StartRoutine routine, void* argument, int priority, bool suspend, size_t stackSize,
                    bool killAliveThread, bool waitable)
{
    const bool trace = g_Debug.IsTraceEnabled();
    if (trace)
        g_Debug.Print(5,
                      "\nCThread::Start: Start a thread, Prio=%d, Suspend=%d, StackSize=0x%08x, Waitable=%d, "
                      "KillAliveThread=%d",
                      priority, suspend ? 1 : 0, static_cast<unsigned>(stackSize), waitable ? 1 : 0,
                      killAliveThread ? 1 : 0);

    // The object's own flag decides whether an old thread is stopped; the argument of the same
    // name only reaches the trace.
    if (m_KillAliveThread)
        Kill();
    m_Waitable = waitable;

    pthread_attr_t attributes;
    int result = pthread_attr_init(&attributes);
    if (result != 0)
    {
        if (trace)
            g_Debug.Print(2, "\npthread_attr_init failed: %d", result);
        return false;
    }
    AttributeRelease release(attributes);
    if (trace)
        g_Debug.Print(4, "\npthread_attr_init: %d", result);

    if (!waitable)
    {
        result = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
        if (result != 0)
        {
            if (trace)
                g_Debug.Print(2, "\npthread_attr_setdetachstate failed: %d", result);
            return false;
        }
    }
    if (trace)
        g_Debug.Print(4, "\nThreadPrio=%d", priority);

    // Priority 0 leaves the scheduling attributes alone. A non-zero priority asks for
    // round-robin; the attribute keeps the default inherit-scheduler setting, so the thread
    // still runs unprivileged when the creator has no real-time rights.
    if (priority != 0)
    {
        result = pthread_attr_setschedpolicy(&attributes, SCHED_RR);
        if (result != 0)
        {
            if (trace)
                g_Debug.Print(2, "\npthread_attr_setschedpolicy failed: %d", result);
            return false;
        }
        sched_param parameters{};
        result = pthread_attr_getschedparam(&attributes, &parameters);
        if (result != 0)
        {
            if (trace)
                g_Debug.Print(2, "\npthread_attr_getschedparam failed: %d", result);
            return false;
        }
        parameters.sched_priority = priority;
        result = pthread_attr_setschedparam(&attributes, &parameters);
        if (result != 0)
        {
            if (trace)
                g_Debug.Print(2, "\npthread_attr_setschedparam failed: error=%d priority=%d", result,
                              priority);
            return false;
        }
    }

    // The requested stack size is deliberately not applied: the callers' sizes date from
    // platforms with small default stacks and would only shrink the default one here.
    pthread_t thread = 0;
    result = pthread_create(&thread, &attributes, routine, argument);
    if (result != 0)
    {
        if (trace)
            g_Debug.Print(1, "\npthread_create failed: %d", result);
        return false;
    }
    m_Thread = thread;
    if (trace)
        g_Debug.Print(2, "\nCThread::Start: thread=0x%08X created, Prio=%d, Waitable=%d, StackSize=0x%x",
                      ShortId(m_Thread), priority, waitable ? 1 : 0, static_cast<unsigned>(stackSize));
    sched_yield();
    return true;
}

bool CThread::WaitForTermination(int timeoutMs)
{
    const bool trace = g_Debug.IsTraceEnabled();
    if (m_Thread == 0)
    {
        // Without tracing the caller is told that there is nothing left to wait for.
        if (!trace)
            return true;
        g_Debug.Print(1, "\nCThread::WaitForTermination: Thread = 0x0%08X doesn't exist !",
                      ShortId(m_Thread));
        return false;
    }
    if (timeoutMs != -1 && trace)
        g_Debug.Print(3,
                      "\nCThread::WaitForTermination: WARNING: can't wait for Thread = 0x%08X termination "
                      "with timeout",
                      ShortId(m_Thread));
    if (!m_Waitable)
    {
        if (trace)
            g_Debug.Print(3, "\nCThread::WaitForTermination: WARNING: Can't wait for detached thread 0x%08X",
                          ShortId(m_Thread));
        return false;
    }
    void* threadResult = nullptr;
    const int result = pthread_join(m_Thread, &threadResult);
    if (result != 0)
    {
        if (trace)
            g_Debug.Print(
                1, "\nCThread::WaitForTermination: ERROR ! ThreadJoin failed, Thread = 0x%08X, Err = 0x%08x",
                ShortId(m_Thread), static_cast<unsigned>(result));
        return false;
    }
    if (trace)
        g_Debug.Print(2, "\nCThread::WaitForTermination: a joinable Thread = 0x%08X has terminated, pstat=%p",
                      ShortId(m_Thread), threadResult);
    m_Thread = 0;
    return true;
}

bool CThread::Kill()
{
    const bool trace = g_Debug.IsTraceEnabled();
    if (trace)
        g_Debug.Print(1, "\nCThread::Kill: Try to kill the Thread = 0x%08X", ShortId(m_Thread));
    if (m_Thread == 0)
    {
        if (trace)
            g_Debug.Print(1, "\nCThread::Kill: Thread = 0x0%08X doesn't exist !", ShortId(m_Thread));
        return false;
    }

    if (m_Waitable)
    {
        // A joinable thread is expected to end on its own; cancelling it could leave its
        // resources half released.
        if (trace)
            g_Debug.Print(1, "\nCThread::Kill: Try to join a joinable Thread = 0x%08X", ShortId(m_Thread));
        void* threadResult = nullptr;
        const int result = pthread_join(m_Thread, &threadResult);
        if (result != 0)
        {
            if (trace)
                g_Debug.Print(1, "\nCThread::Kill: ERROR ! ThreadJoin failed, Thread = 0x%08X, Err = 0x%08x",
                              ShortId(m_Thread), static_cast<unsigned>(result));
            return false;
        }
        if (trace)
            g_Debug.Print(1, "\nCThread::Kill: a joinable Thread = 0x%08X has terminated, pstat=%p",
                          ShortId(m_Thread), threadResult);
        m_Thread = 0;
        return true;
    }

    if (trace)
        g_Debug.Print(1, "\nCThread::Kill: Try to kill a non-joinable Thread = 0x0%08X", ShortId(m_Thread));
    int policy = 0;
    sched_param parameters{};
    if (pthread_getschedparam(m_Thread, &policy, &parameters) != 0)
    {
        // The detached thread has already ended.
        m_Thread = 0;
        return true;
    }
    if (trace)
        g_Debug.Print(2, "\nCThread::Kill: Killing a non-joinable thread 0x%08X", ShortId(m_Thread));
    const pthread_t thread = m_Thread;
    m_Thread = 0;
    const int result = pthread_cancel(thread);
    if (result != 0)
    {
        if (trace)
            g_Debug.Print(1, "\nCThread::Kill: unable to cancel a non-joinable thread 0x%08X (err = 0x%08x)",
                          ShortId(thread), static_cast<unsigned>(result));
        return false;
    }
    if (trace)
        g_Debug.Print(1, "\nCThread::Kill: a non-joinable thread 0x%08X cancel invoked", ShortId(thread));
    return true;
}

bool WaitForProcess(pid_t pid, int& exitCode)
{
    exitCode = -1;
    // waitpid would take 0 and negative ids as "any child of a group" and reap a stranger.
    if (pid <= 0)
        return false;
    int status = 0;
    pid_t reported;
    do
        reported = waitpid(pid, &status, 0);
    while (reported == -1 && errno == EINTR);
    if (reported != pid || !WIFEXITED(status))
        return false;
    exitCode = WEXITSTATUS(status);
    return exitCode == 0;
}

bool KillProcess(pid_t pid)
{
    // kill treats 0 and negative ids as whole process groups, this process's own among them.
    if (pid <= 0)
        return false;
    return kill(pid, SIGKILL) == 0;
}
