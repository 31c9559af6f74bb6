#pragma once

#include <atomic>

// Whether the run has been asked to stop early (by a signal), shared by every layer. The flag
// and a wake-up descriptor live here, at the bottom of the layers, so that the transport's waits
// can watch the descriptor and the client can refuse further requests without knowing who asked.
//
// Request is async-signal-safe: it only stores the signal number and writes one byte to a
// non-blocking self-pipe. The byte is never read back, so once the run is stopping the descriptor
// stays readable and every later wait on it ends at once.
class CCancellation
{
public:
    // Creates the self-pipe (close-on-exec, non-blocking). Call once before installing a signal
    // handler; without it the flag still works, only waits are not woken. False when no pipe
    // could be made.
    static bool Prepare();

    // Marks the run as stopping because of signalNumber and wakes every waiter. True for the
    // first request; false when the run was already stopping (the caller may then end at once).
    static bool Request(int signalNumber);

    static bool IsRequested() { return s_Signal.load(std::memory_order_relaxed) != 0; }
    // The signal that stopped the run, 0 when none did.
    static int Signal() { return s_Signal.load(std::memory_order_relaxed); }
    // The descriptor that turns readable when the run is stopping; -1 before Prepare.
    static int WakeFd() { return s_WakeFds[0].load(std::memory_order_relaxed); }

    // A pause through the clock seam that ends early when the run is stopping: false then.
    static bool SleepMs(unsigned milliseconds);

    // Forgets a request and drains the pipe, so a test can stop a run and start the next afresh.
    // Not async-signal-safe.
    static void Clear();

private:
    static std::atomic<int> s_Signal;
    static std::atomic<int> s_WakeFds[2];
    static_assert(std::atomic<int>::is_always_lock_free, "the signal handler needs a lock-free flag");
};
