// The event side of the client against the simulated daemon: enabling and disabling, dispatch,
// malformed frames, a daemon that goes away, and the ways the event thread can end.
#include "CSwitchClient.h"

#include "CDebug.h"
#include "ClientTestSupport.h"
#include "JsonEventChannel.h"
#include "JsonTransport.h"
#include "SimProcess.h"
#include "SysPath.h"
#include "TestEnv.h"
#include "TraceTestEnv.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

namespace
{
constexpr auto kEventWait = std::chrono::seconds(20);
constexpr int kRealSliceMs = 100;

// Fake time for every wait, but a wait for a descriptor does look for up to kRealSliceMs of real
// time, so the event thread and the simulated daemon (real processes) get to run while the
// client's periods of seconds pass in an instant.
class CSlicedClock : public CFakeClock
{
public:
    int Poll(struct pollfd* fds, nfds_t count, int timeoutMs) override
    {
        int ready =
            poll(fds, count, timeoutMs < 0 ? clienttest::kPeerWaitMs : std::min(timeoutMs, kRealSliceMs));
        if (ready == 0 && timeoutMs > 0)
            AdvanceMs(static_cast<uint64_t>(timeoutMs));
        return ready;
    }
};

bool WaitUntil(const std::function<bool()>& condition)
{
    auto end = std::chrono::steady_clock::now() + kEventWait;
    while (!condition())
    {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

struct Seen
{
    uint32_t oc, oe, cab, oid, status;
    bool data;
    uint32_t documentOc;
    uint64_t key;
};

// What the callbacks saw, in order, for the test thread to wait on.
class EventLog
{
public:
    EventCallback Recorder()
    {
        return [this](const CEventRecord& event, CObraClientIf&, uint64_t key) { Add(event, key); };
    }
    void Add(const CEventRecord& event, uint64_t key)
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Seen.push_back({event.OC, event.OE, event.Cab, event.OId, event.Status, event.HasReplyData,
                          event.Document ? GetCmdValue(*event.Document, 0, "OC", 0) : 0xDEAD, key});
        m_Changed.notify_all();
    }
    bool WaitFor(size_t count, std::chrono::milliseconds limit = kEventWait)
    {
        std::unique_lock<std::mutex> lock(m_Mutex);
        return m_Changed.wait_for(lock, limit, [&] { return m_Seen.size() >= count; });
    }
    std::vector<Seen> All()
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Seen;
    }

private:
    std::mutex m_Mutex;
    std::condition_variable m_Changed;
    std::vector<Seen> m_Seen;
};

std::string EventJson(uint32_t oi, const std::string& rest = R"("ST": 0, "DA": 1)")
{
    return R"({"SIP": {"V": 1, "CMD": [{"OC": 4660, "OE": 1, "OI": )" + std::to_string(oi) + ", " + rest +
           "}]}}";
}

// Ten events, object indexes 0 to 9, pushed only on demand.
std::string TenEventProfile()
{
    std::string events;
    for (int oi = 0; oi < 10; ++oi)
        events += (oi ? "," : "") + EventJson(static_cast<uint32_t>(oi));
    return R"({"push_on_register": false, "events": [)" + events + "]}";
}

// Sends the trace facility's output to a log file at level 5 for the lifetime of the object.
class TraceCapture
{
public:
    explicit TraceCapture(const std::string& dir)
    {
        MakeDirs(dir);
        m_Env.emplace_back(new ScopedEnv("TM_LOG_DEBUG_LEVEL", "5"));
        m_Env.emplace_back(new ScopedEnv("TM_LOG_RINGBUF_DIR", dir.c_str()));
        g_Debug.Init("HostCapture");
        m_Path = g_Debug.GetLogFilePath();
    }
    ~TraceCapture()
    {
        m_Env.clear();
        g_Debug.Init("HostCapture");
    }
    size_t Count(const std::string& message) const
    {
        Lines lines = Messages(m_Path);
        return static_cast<size_t>(std::count(lines.begin(), lines.end(), message));
    }
    // Position of the first line at or after from that equals message; npos when there is none.
    size_t Find(const std::string& message, size_t from = 0) const
    {
        Lines lines = Messages(m_Path);
        auto found =
            std::find(lines.begin() + static_cast<long>(std::min(from, lines.size())), lines.end(), message);
        return found == lines.end() ? std::string::npos : static_cast<size_t>(found - lines.begin());
    }

private:
    std::vector<std::unique_ptr<ScopedEnv>> m_Env;
    std::string m_Path;
};

class SwitchClientEventsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // The front-end is ours, so it outlives restarts of the simulated daemon.
        m_Root.Write("opt/TessmarkQDX/bin/tmqdx", "#!/bin/sh\n");
        ASSERT_TRUE(m_Sim.StartWithProfileText(TenEventProfile())) << m_Sim.Error();
        m_Client.SetApplicationName("EventTest");
    }
    void Enable()
    {
        m_Client.RegisterEventCallback(1, m_Log.Recorder());
        m_Client.EnableEvents(true);
        ASSERT_TRUE(m_Client.AreEventsEnabled());
        ASSERT_TRUE(m_Sim.WaitEventChannels(1));
    }
    // Pushes an event until a callback saw it: after a recovery the daemon may still count the
    // old channel, or not yet the new one.
    bool PushUntilSeen(uint32_t marker)
    {
        for (int attempt = 0; attempt < 100; ++attempt)
        {
            m_Sim.Control("push-json " + EventJson(marker));
            for (size_t index = 0; m_Log.WaitFor(index + 1, std::chrono::milliseconds(200)); ++index)
                if (m_Log.All()[index].oid == marker)
                    return true;
        }
        return false;
    }
    std::string DaemonChannels() const { return m_Sim.Control("channels"); }
    size_t EventRegistrations() const
    {
        auto commands = m_Sim.RequestedCommands();
        return static_cast<size_t>(std::count_if(commands.begin(), commands.end(),
                                                 [](const SimCommand& command) {
                                                     return command.oc == kOpChannelInit &&
                                                            command.oe == kChannelKindEvent;
                                                 }));
    }

    TempDir m_Root;
    ScopedEnv m_SysRoot{"HOSTCAPTURE_SYSROOT", m_Root.Path().c_str()};
    CSlicedClock m_Clock;
    CScopedClock m_ScopedClock{m_Clock};
    SimProcess m_Sim{m_Root.Path()};
    EventLog m_Log;
    CSwitchClient m_Client; // destroyed first: its thread uses everything above
};
} // namespace

TEST_F(SwitchClientEventsTest, EnableAndDisableTwiceAndTheDestructorDisablesToo)
{
    TraceCapture trace(m_Root.Path() + "/logs");
    Enable();
    const int channel = m_Client.GetEventChannel();
    m_Client.EnableEvents(true);
    EXPECT_EQ(m_Client.GetEventChannel(), channel);
    EXPECT_EQ(EventRegistrations(), 1u);
    EXPECT_TRUE(m_Client.IsEventThreadRunning());

    m_Client.EnableEvents(false);
    m_Client.EnableEvents(false);
    EXPECT_FALSE(m_Client.AreEventsEnabled());
    EXPECT_FALSE(m_Client.IsEventThreadRunning());
    EXPECT_EQ(m_Client.GetEventChannel(), -1);
    EXPECT_TRUE(WaitUntil([&] { return DaemonChannels() == "ok 0"; }));
    {
        CSwitchClient forgotten;
        forgotten.SetApplicationName("Forgetful");
        forgotten.EnableEvents(true);
        ASSERT_TRUE(m_Sim.WaitEventChannels(1));
    }
    EXPECT_TRUE(WaitUntil([&] { return DaemonChannels() == "ok 0"; }));

    EXPECT_EQ(trace.Count("JsonEnableEvents: -> events already enabled -> ignored!"), 1u);
    EXPECT_EQ(trace.Count("JsonDisableEvents: -> events already disabled -> ignored"), 1u);
    EXPECT_EQ(trace.Count("Thread_EventMain: Event thread started"), 2u);
    EXPECT_EQ(trace.Count("Thread_EventMain: somebody signaled terminate -> bail out"), 2u);
    EXPECT_NE(
        trace.Find("JsonRegisterForEvents: client registered for events on fd=" + std::to_string(channel)),
        std::string::npos);
    EXPECT_EQ(
        trace.Count(
            "CSwitchClient::~CSwitchClient: ## ERROR! Events still enabled (by client \"Forgetful\") on "
            "class destruction - fix this!!"),
        1u);
    // The disable sequence, in order.
    size_t at = 0;
    for (const char* step : {"JsonDisableEvents: we are going to disable events for this instance ...",
                             "JsonDisableEvents: unregister for events",
                             "JsonUnregisterForEvents: client unregistered for events",
                             "JsonDisableEvents: close pipe", "JsonDisableEvents: events disabled"})
    {
        at = trace.Find(step, at);
        EXPECT_NE(at, std::string::npos) << step;
    }
}

TEST_F(SwitchClientEventsTest, CallbacksGetTheEventRecordInKeyOrderAndMayUnregisterThemselves)
{
    // Key 0 runs before key 1 and drops itself on its first call.
    m_Client.RegisterEventCallback(0,
                                   [this](const CEventRecord& event, CObraClientIf& client, uint64_t key)
                                   {
                                       m_Log.Add(event, key);
                                       EXPECT_TRUE(client.UnregisterEventCallback(key));
                                   });
    Enable();
    struct Case
    {
        std::string command;
        uint32_t status;
        bool data;
    };
    const Case cases[] = {
        {R"("OC": 4660, "OE": 5, "OI": 7, "CA": 2, "ST": 0, "DA": "text")", 0, true},
        {R"("OC": 1, "ST": 5, "DA": 1)", 5, false}, // status without data
        {R"("OC": 2, "ST": 12, "DA": null)", 12, false},
        {R"("OC": 3, "ST": 21, "DA": {"RAW": []})", 21, true},
        {R"("OC": 4, "ST": 255, "DA": 1.5)", 255, false}, // a fraction has no data size
        {R"("OC": 5, "DA": 3)", 22, false},               // no status at all
    };
    for (const Case& test : cases)
        EXPECT_EQ(m_Sim.Control(R"(push-json {"SIP": {"V": 1, "CMD": [{)" + test.command + "}]}}"), "ok 1");
    EXPECT_EQ(m_Sim.Control("push-text this is no JSON"), "ok 1");
    ASSERT_TRUE(m_Sim.Signal(SIGUSR1));
    ASSERT_TRUE(m_Log.WaitFor(2 + 6 + 10));

    std::vector<Seen> seen = m_Log.All();
    EXPECT_EQ(seen.size(), 18u);
    EXPECT_EQ(seen[0].key, 0u);
    const Seen& first = seen[1];
    EXPECT_EQ(first.key, 1u);
    EXPECT_EQ(std::vector<uint32_t>({first.oc, first.oe, first.oid, first.cab, first.documentOc}),
              std::vector<uint32_t>({0x1234, 5, 7, 2, 0x1234}));
    for (size_t index = 1; index < 6; ++index)
    {
        EXPECT_EQ(seen[index + 1].key, 1u);
        EXPECT_EQ(seen[index + 1].oc, index);
        EXPECT_EQ(seen[index + 1].status, cases[index].status) << index;
        EXPECT_EQ(seen[index + 1].data, cases[index].data) << index;
    }
    // A frame that holds no OBRA document still reaches the callbacks, as an event without
    // status; the channel goes on.
    EXPECT_EQ(seen[7].oc, 0u);
    EXPECT_EQ(seen[7].status, 22u);
    for (size_t index = 8; index < seen.size(); ++index)
        EXPECT_EQ(seen[index].oid, index - 8);
    EXPECT_EQ(EventRegistrations(), 1u);
}

TEST_F(SwitchClientEventsTest, ABurstArrivesCompleteAndInOrder)
{
    Enable();
    ASSERT_EQ(m_Sim.Control("push 1000"), "ok 1");
    ASSERT_TRUE(m_Log.WaitFor(10000)) << m_Log.All().size();
    std::vector<Seen> seen = m_Log.All();
    ASSERT_EQ(seen.size(), 10000u);
    size_t outOfOrder = 0;
    for (size_t index = 0; index < seen.size(); ++index)
        outOfOrder += seen[index].oid != index % 10;
    EXPECT_EQ(outOfOrder, 0u);
}

TEST_F(SwitchClientEventsTest, BadFramesMakeTheChannelReopenOrRegisterAgain)
{
    Enable();
    uint32_t marker = 100;
    // A zero length word, a frame that stops half-way, a length beyond any sensible event.
    for (const char* fault : {"push-zero-length", "push-short 10 {\"SIP\":", "push-short 67108864 {}"})
    {
        const size_t before = EventRegistrations();
        EXPECT_EQ(m_Sim.Control(fault), "ok 1");
        EXPECT_TRUE(WaitUntil([&] { return EventRegistrations() > before; })) << fault;
        EXPECT_TRUE(PushUntilSeen(++marker)) << fault;
        EXPECT_TRUE(m_Client.IsEventThreadRunning());
    }
    EXPECT_EQ(EventRegistrations(), 4u);
}

TEST_F(SwitchClientEventsTest, TheThreadRegistersAgainWhenTheDaemonComesBackAndEndsWhenItStaysAway)
{
    Enable();
    ASSERT_EQ(m_Sim.Control("drop-events"), "ok 1");
    EXPECT_TRUE(PushUntilSeen(201));
    ASSERT_TRUE(m_Sim.Restart()) << m_Sim.Error();
    EXPECT_TRUE(PushUntilSeen(202));
    EXPECT_EQ(m_Client.GetEventChannel() >= 0, true);

    // Gone for longer than the client waits: the thread ends, the client stays enabled until it
    // is disabled.
    ScopedEnv maxWait("TM_MAXWAIT_FOR_QMXD", "4");
    m_Sim.Stop();
    EXPECT_TRUE(WaitUntil([&] { return !m_Client.IsEventThreadRunning(); }));
    EXPECT_TRUE(m_Client.AreEventsEnabled());
    EXPECT_EQ(m_Client.GetEventChannel(), -1);
    m_Client.EnableEvents(false);
    EXPECT_FALSE(m_Client.AreEventsEnabled());
}

TEST_F(SwitchClientEventsTest, DisablingDoesNotWaitLongForAThreadThatIgnoresTheWakeUp)
{
    std::promise<void> entered, release;
    std::shared_future<void> released(release.get_future());
    std::atomic<bool> first{true};
    m_Client.RegisterEventCallback(0,
                                   [&, released](const CEventRecord&, CObraClientIf&, uint64_t)
                                   {
                                       if (first.exchange(false))
                                           entered.set_value();
                                       released.wait();
                                   });
    Enable();
    ASSERT_EQ(m_Sim.Control("push-json " + EventJson(1)), "ok 1");
    ASSERT_EQ(entered.get_future().wait_for(kEventWait), std::future_status::ready);
    {
        CFakeClock instant;
        CScopedClock scoped(instant);
        m_Client.EnableEvents(false);
        EXPECT_EQ(instant.ElapsedMs(), 30u + 10 * 500 + 30);
        EXPECT_FALSE(m_Client.AreEventsEnabled());
        EXPECT_EQ(m_Client.GetEventChannel(), -1);
        EXPECT_TRUE(m_Client.IsEventThreadRunning());
        release.set_value();
        EXPECT_TRUE(WaitUntil([&] { return !m_Client.IsEventThreadRunning(); }));
    }
    EXPECT_TRUE(WaitUntil([&] { return DaemonChannels() == "ok 0"; }));
    // The stuck thread left nothing behind that a new one would trip over.
    m_Client.EnableEvents(true);
    EXPECT_TRUE(PushUntilSeen(3));
}

TEST_F(SwitchClientEventsTest, ACancelledThreadLeavesNoLockHeld)
{
    TraceCapture trace(m_Root.Path() + "/logs"); // the thread takes the trace lock all the time
    std::atomic<pthread_t> eventThread{};
    m_Client.RegisterEventCallback(0, [&](const CEventRecord&, CObraClientIf&, uint64_t)
                                   { eventThread = pthread_self(); });
    Enable();
    ASSERT_EQ(m_Sim.Control("push 1"), "ok 1");
    ASSERT_TRUE(m_Log.WaitFor(10));
    // Wherever the cancellation finds the thread, it takes effect in its wait for the next event.
    ASSERT_EQ(pthread_cancel(eventThread.load()), 0);
    ASSERT_TRUE(WaitUntil([&] { return !m_Client.IsEventThreadRunning(); }));

    // Both locks are free: a helper thread gets them, or the test fails instead of hanging.
    auto lockUser = std::make_shared<std::promise<void>>();
    auto done = lockUser->get_future();
    std::thread(
        [this, lockUser]
        {
            g_Debug.Print(1, "trace lock is free");
            m_Client.RegisterEventCallback(2, EventCallback());
            lockUser->set_value();
        })
        .detach();
    ASSERT_EQ(done.wait_for(kEventWait), std::future_status::ready);
    EXPECT_EQ(trace.Count("trace lock is free"), 1u);
    m_Client.EnableEvents(false);
    EXPECT_FALSE(m_Client.AreEventsEnabled());
}

TEST_F(SwitchClientEventsTest, DetachingTheLastReferenceDisablesEvents)
{
    ASSERT_TRUE(m_Client.Attach(nullptr));
    ASSERT_TRUE(m_Client.Attach(""));
    Enable();
    m_Client.Detach();
    EXPECT_TRUE(m_Client.AreEventsEnabled());
    m_Client.Detach();
    EXPECT_FALSE(m_Client.AreEventsEnabled());
    EXPECT_FALSE(m_Client.IsEventThreadRunning());
    EXPECT_EQ(m_Client.GetEventChannel(), -1);
    EXPECT_TRUE(WaitUntil([&] { return DaemonChannels() == "ok 0"; }));

    // The release routine's detach without the lock does the same.
    ASSERT_TRUE(m_Client.Attach(nullptr));
    m_Client.EnableEvents(true);
    m_Client.DetachWithoutLock();
    EXPECT_FALSE(m_Client.AreEventsEnabled());
    EXPECT_EQ(m_Client.GetRequestChannel(), -1);
}

TEST(WaitForServiceAvailable, WaitsAtMostTheConfiguredTimeAndEndsOnTerminate)
{
    TempDir root;
    ScopedEnv sysroot("HOSTCAPTURE_SYSROOT", root.Path().c_str());
    struct Case
    {
        const char* value;
        long maxWait;
        uint64_t waitedMs; // periods of two seconds until the next would pass the maximum
    };
    for (const Case& test : {Case{nullptr, 1200, 1200000}, Case{"", 1200, 1200000}, Case{"none", 0, 0},
                             Case{"1", 1, 0}, Case{"2", 2, 2000}, Case{"7", 7, 6000}, Case{"12s", 12, 12000}})
    {
        ScopedEnv maxWait("TM_MAXWAIT_FOR_QMXD", test.value);
        CFakeClock clock;
        CScopedClock scoped(clock);
        EXPECT_EQ(MaxServiceWaitSec(), test.maxWait);
        EXPECT_FALSE(WaitForServiceAvailable(-1));
        EXPECT_EQ(clock.ElapsedMs(), test.waitedMs) << (test.value ? test.value : "unset");
    }

    // The daemon counts as back with its pid file and a listening event socket, not with one alone.
    ScopedEnv maxWait("TM_MAXWAIT_FOR_QMXD", "10");
    MakeDirs(SysPath("/opt/TessmarkQDX/vital"));
    int listener = clienttest::Listen(SysPath(kQmxdEventSocket));
    ASSERT_GE(listener, 0);
    auto waitedMs = [](int terminateFd, bool expected)
    {
        CFakeClock clock;
        CScopedClock scoped(clock);
        EXPECT_EQ(WaitForServiceAvailable(terminateFd), expected);
        return clock.ElapsedMs();
    };
    EXPECT_EQ(waitedMs(-1, false), 10000u);
    root.Write("var/run/tmqdx.pid", "1\n");
    EXPECT_EQ(waitedMs(-1, true), 2000u);
    clienttest::CloseFd(listener);
    EXPECT_EQ(waitedMs(-1, false), 10000u);

    // A wake-up on the terminate descriptor, or its writer gone, ends the wait at once.
    int wake[2];
    ASSERT_EQ(pipe(wake), 0);
    ASSERT_EQ(write(wake[1], "WAKE", 4), 4);
    EXPECT_EQ(waitedMs(wake[0], false), 0u);
    close(wake[1]);
    char drained[4];
    ASSERT_EQ(read(wake[0], drained, 4), 4);
    EXPECT_EQ(waitedMs(wake[0], false), 0u);
    close(wake[0]);
}
