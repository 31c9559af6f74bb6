#pragma once

#include <pthread.h>
#include <sys/types.h>

// Wraps one POSIX thread so that its owner can start it, wait for it and stop it, every step
// traced. Used by the daemon client's event thread.
class CThread
{
public:
    using StartRoutine = void* (*)(void*);

    CThread() = default;
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    bool Start(StartRoutine routine, void* argument, int priority, bool suspend, size_t stackSize,
               bool killAliveThread, bool waitable);
    // Timeout in milliseconds; -1 waits without limit (any other value is traced and ignored).
    bool WaitForTermination(int timeoutMs);
    bool Kill();

    pthread_t GetId() const { return m_Thread; }
    bool IsWaitable() const { return m_Waitable; }
    void SetKillAliveThread(bool kill) { m_KillAliveThread = kill; }
    // For an owner that knows its detached thread has ended: drops the identifier, so that a
    // later Kill cannot reach another thread that was given the same identifier meanwhile.
    void Forget() { m_Thread = 0; }

private:
    pthread_t m_Thread = 0;
    bool m_KillAliveThread = false;
    bool m_Waitable = false;
};

// Waits for a child process; true when it ended normally with exit code 0.
bool WaitForProcess(pid_t pid, int& exitCode);
// Sends SIGKILL; true when kill succeeded.
bool KillProcess(pid_t pid);
