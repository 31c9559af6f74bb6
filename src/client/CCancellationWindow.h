#pragma once

#include <pthread.h>

// Lets the calling thread be cancelled (deferred) for the lifetime of the object. The event thread
// runs with cancellation disabled and opens such a window only around waits that hold no lock, so
// a cancellation can never leave the trace lock or the callback map's lock taken. Within a thread
// that is cancellable anyway the object changes nothing.
class CCancellationWindow
{
public:
    CCancellationWindow() { pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &m_PreviousState); }
    ~CCancellationWindow() { pthread_setcancelstate(m_PreviousState, nullptr); }
    CCancellationWindow(const CCancellationWindow&) = delete;
    CCancellationWindow& operator=(const CCancellationWindow&) = delete;

private:
    int m_PreviousState = PTHREAD_CANCEL_ENABLE;
};
