// Event side of the client: enabling and disabling events, and the callback registrations.
#include "CSwitchClient.h"

#include "CDebug.h"
#include "Clock.h"
#include "JsonEventChannel.h"
#include "JsonTransport.h"

#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <unistd.h>

namespace
{
const char* const kEventThreadName = "Thread_EventMain";
const char* const kEventThreadDetails = "Prio=63, StackSize=0x100000";
constexpr int kEventThreadPriority = 63;
constexpr size_t kEventThreadStackSize = 0x100000;
const char* const kDefaultServicePath = "/opt/TessmarkQDX/bin/tmqdx";

// Pauses of the disable sequence: after the wake-up, between checks whether the thread is gone
// (at most kStopChecks of them), and before the channel is closed.
constexpr unsigned kWakeSettleMs = 30;
constexpr int kStopChecks = 10;
constexpr int kStopCheckMs = 500;

void CloseTaken(std::atomic<int>& fd)
{
    int taken = fd.exchange(-1);
    if (taken >= 0)
        close(taken);
}
} // namespace

// What the event thread gets on its way: copies, so that nothing it reads can change under it.
struct EventThreadStart
{
    CSwitchClient* client;
    std::string clientName;
    std::string servicePath;
    int endedFd; // the thread closes it as its very last act
};

void CSwitchClient::EnableEvents(bool enable)
{
    pthread_mutex_lock(&m_EventsMutex);
    if (enable)
        EnableEventsLocked();
    else
        DisableEventsLocked();
    pthread_mutex_unlock(&m_EventsMutex);
}

void CSwitchClient::RegisterEventCallback(uint64_t key, EventCallback callback)
{
    m_CallbackMap.Insert(key, std::move(callback));
}

bool CSwitchClient::UnregisterEventCallback(uint64_t key)
{
    return m_CallbackMap.Erase(key);
}

void CSwitchClient::EnableEventsLocked()
{
    if (m_EventsEnabled)
    {
        g_Debug.Print(3, "JsonEnableEvents: -> events already enabled -> ignored!\n");
        return;
    }
    int wakePipe[2];
    if (pipe2(wakePipe, O_CLOEXEC) != 0)
    {
        g_Debug.Print(1, "JsonEnableEvents: ## ERROR: Cannot create pipe for termination thread\n");
        return;
    }
    g_Debug.Print(4, "JsonEnableEvents:   pipe [%d,%d] for termination-thread created\n", wakePipe[0],
                  wakePipe[1]);

    // The names are taken as they are now (set the application name before enabling events).
    auto* start = new EventThreadStart{this, m_ApplicationName,
                                       m_ServicePath.empty() ? kDefaultServicePath : m_ServicePath, -1};
    int channel = OpenEventChannel(start->clientName.c_str());
    if (channel < 0)
    {
        g_Debug.Print(1, "JsonEnableEvents: WARNING: cannot register thread for events\n");
        close(wakePipe[0]);
        close(wakePipe[1]);
        delete start;
        return;
    }
    g_Debug.Print(4, "JsonEnableEvents:   thread for events registered on m_FdEventChannel=%d\n", channel);
    g_Debug.Print(4, "JsonEnableEvents:   start event thread \"%s\"...", kEventThreadName);
    m_FdEventChannel = channel;
    m_TerminationPipe[0] = wakePipe[0];
    m_TerminationPipe[1] = wakePipe[1];
    m_EventThreadStop = false;
    m_EventChannelTaken = false;

    int endedPipe[2] = {-1, -1};
    bool started = false;
    if (pipe2(endedPipe, O_CLOEXEC) == 0)
    {
        start->endedFd = endedPipe[1];
        m_ThreadRunning = true;
        m_EventThread.SetKillAliveThread(true);
        started = m_EventThread.Start(ThreadEventMainTrampoline, start, kEventThreadPriority, false,
                                      kEventThreadStackSize, true, false);
    }
    if (!started)
    {
        m_ThreadRunning = false;
        delete start;
        for (int fd : endedPipe)
            if (fd >= 0)
                close(fd);
        g_Debug.Print(
            1,
            "JsonEnableEvents: WARNING: cannot start thread for events (Modulename=%s, Details=%s started\n",
            kEventThreadName, kEventThreadDetails);
        CloseTaken(m_TerminationPipe[0]);
        CloseTaken(m_TerminationPipe[1]);
        JsonUnregisterForEvents(m_FdEventChannel.exchange(-1));
        return;
    }
    m_ThreadEndedFd = endedPipe[0];
    g_Debug.Print(4, "JsonEnableEvents:   thread for events (Modulename=%s, Details=%s started\n",
                  kEventThreadName, kEventThreadDetails);
    g_Debug.Print(3, "JsonEnableEvents: events enabled\n");
    m_EventsEnabled = true;
}

void CSwitchClient::DisableEventsLocked()
{
    g_Debug.Print(3, "JsonDisableEvents: we are going to disable events for this instance ...\n");
    if (!m_EventsEnabled)
    {
        g_Debug.Print(3, "JsonDisableEvents: -> events already disabled -> ignored\n");
        return;
    }

    CClock& clock = CClock::Get();
    m_EventThreadStop = true;
    const int wakeWrite = m_TerminationPipe[1];
    g_Debug.Print(1, "WakeupThread_EventMain: wakeup WakeupThread_EventMain for termination on pipe[%d,%d]\n",
                  m_TerminationPipe[0].load(), wakeWrite);
    if (wakeWrite >= 0)
        (void)!write(wakeWrite, "WAKE", 4);
    clock.SleepMs(kWakeSettleMs);
    WaitForEventThreadEnd();
    clock.SleepMs(kWakeSettleMs);

    g_Debug.Print(4, "JsonDisableEvents: unregister for events\n");
    m_EventChannelTaken = true;
    JsonUnregisterForEvents(m_FdEventChannel.exchange(-1));
    g_Debug.Print(4, "JsonDisableEvents: close pipe\n");
    CloseTaken(m_TerminationPipe[0]);
    CloseTaken(m_TerminationPipe[1]);
    if (m_ThreadEndedFd >= 0)
        close(m_ThreadEndedFd);
    m_ThreadEndedFd = -1;
    g_Debug.Print(3, "JsonDisableEvents: events disabled\n");
    m_EventsEnabled = false;
}

void CSwitchClient::WaitForEventThreadEnd()
{
    // The thread is detached, so it cannot be joined; its end shows on the ended pipe, which
    // lets each check return as soon as the thread is gone.
    for (int check = 0; check < kStopChecks && m_ThreadRunning; ++check)
    {
        g_Debug.Print(4, "JsonDisableEvents:   retry and wait for event thread terminated...\n");
        struct pollfd ended = {m_ThreadEndedFd, POLLIN, 0};
        CClock::Get().Poll(&ended, 1, kStopCheckMs);
    }
    if (!m_ThreadRunning)
    {
        // Gone for good: a later Start must not try to stop a thread that reuses its identifier.
        m_EventThread.Forget();
        return;
    }
    // Busy elsewhere (a callback that does not return, a daemon that does not answer the
    // registration): the descriptors are closed regardless, and the thread is cancelled. It runs
    // with cancellation disabled outside its lock-free waits, so the cancellation takes effect
    // there at the earliest; where it gets back to its loop first, the stop flag ends it.
    g_Debug.Print(1, "JsonDisableEvents: ## WARNING ##: event thread did not terminate -> cancel it\n");
    m_EventThread.Kill();
}

void* CSwitchClient::ThreadEventMainTrampoline(void* context)
{
    // Cancellation only where the thread holds no lock (see CCancellationWindow).
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    std::unique_ptr<EventThreadStart> start(static_cast<EventThreadStart*>(context));

    // Runs on every way out, a cancellation included. After the running flag is cleared the
    // client may be gone at any moment, so the ended pipe is closed through a copy.
    class EndMark
    {
    public:
        EndMark(std::atomic<bool>& running, int endedFd) : m_Running(running), m_EndedFd(endedFd) {}
        ~EndMark()
        {
            const int endedFd = m_EndedFd;
            m_Running = false;
            close(endedFd);
        }
        EndMark(const EndMark&) = delete;
        EndMark& operator=(const EndMark&) = delete;

    private:
        std::atomic<bool>& m_Running;
        int m_EndedFd;
    } endMark(start->client->m_ThreadRunning, start->endedFd);

    start->client->ThreadEventMain(start->clientName, start->servicePath);
    return nullptr;
}
