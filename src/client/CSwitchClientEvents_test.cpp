// The event side of the client against the simulated daemon: enabling and disabling, dispatch,
// bad frames, a daemon that goes away, and the ways the event thread can end.
#include "CSwitchClient.h"

#include "CDebug.h"
#include "ClientTestSupport.h"
#include "JsonEventChannel.h"
#include "JsonTransport.h"
#include "SimProcess.h"
#include "SysPath.h"
#include "TraceCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <mutex>
#include <optional>
#include <thread>

namespace
{
constexpr auto kEventWait = std::chrono::seconds(20);
bool WaitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit = kEventWait)
{
    auto end = std::chrono::steady_clock::now() + limit;
    while (!condition() && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return condition();
}

// The two lowest free descriptor numbers: the same before and after shows that nothing was left open.
std::vector<int> LowestFreeFds()
{
    int fds[2] = {-1, -1};
    if (pipe(fds) == 0)
    {
        close(fds[0]);
        close(fds[1]);
    }
    return {fds[0], fds[1]};
}

struct Seen
{
    CEventRecord record; // without the document, which lives only during the call
    uint32_t documentOc;
    uint64_t key;
};

// What the callbacks saw, in order.
class EventLog
{
public:
    void Add(CEventRecord event, uint64_t key)
    {
        uint32_t documentOc = event.Document ? GetCmdValue(*event.Document, 0, "OC", 0) : 0xDEAD;
        event.Document = nullptr;
        std::lock_guard<std::mutex> lock(m_Mutex);
        m_Seen.push_back({event, documentOc, key});
    }
    std::vector<Seen> All()
    {
        std::lock_guard<std::mutex> lock(m_Mutex);
        return m_Seen;
    }
    bool WaitFor(size_t count, std::chrono::milliseconds limit = kEventWait)
    {
        return WaitUntil([&] { return All().size() >= count; }, limit);
    }

private:
    std::mutex m_Mutex;
    std::vector<Seen> m_Seen;
};

std::string EventJson(uint32_t oi)
{
    return R"({"SIP": {"V": 1, "CMD": [{"OC": 4660, "OI": )" + std::to_string(oi) + R"(, "ST": 0}]}})";
}

class SwitchClientEventsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        // The front-end is ours, so it outlives restarts of the daemon.
        m_Root.Write("opt/TessmarkQDX/bin/tmqdx", "#!/bin/sh\n");
        std::string events; // object indexes 0 to 9, pushed only on demand
        for (uint32_t oi = 0; oi < 10; ++oi)
            events += (oi ? "," : "") + EventJson(oi);
        ASSERT_TRUE(m_Sim.StartWithProfileText(R"({"push_on_register": false, "events": [)" + events + "]}"))
            << m_Sim.Error();
        m_Client.SetApplicationName("EventTest");
    }
    void Enable()
    {
        m_Client.RegisterEventCallback(1, [this](const CEventRecord& event, CObraClientIf&, uint64_t key)
                                       { m_Log.Add(event, key); });
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
                if (m_Log.All()[index].record.OId == marker)
                    return true;
        }
        return false;
    }
    bool DaemonChannelsGone() const
    {
        return WaitUntil([&] { return m_Sim.Control("channels") == "ok 0"; });
    }
    size_t EventRegistrations() const
    {
        auto inits = m_Sim.RequestedCommands(kOpChannelInit);
        return static_cast<size_t>(std::count_if(inits.begin(), inits.end(),
                                                 [](const SimCommand& command)
                                                 { return command.oe == kChannelKindEvent; }));
    }

    TempDir m_Root;
    ScopedEnv m_SysRoot{"HOSTCAPTURE_SYSROOT", m_Root.Path().c_str()};
    clienttest::CEventClock m_Clock{100};
    CScopedClock m_ScopedClock{m_Clock};
    SimProcess m_Sim{m_Root.Path()};
    EventLog m_Log;
    CSwitchClient m_Client; // destroyed first: its thread uses everything above
};
} // namespace

TEST_F(SwitchClientEventsTest, EnableAndDisableTwiceAndEveryWayOfLettingGoDisables)
{
    TraceCapture trace(m_Root.Path() + "/logs");
    Enable();
    m_Client.EnableEvents(true);
    EXPECT_EQ(EventRegistrations(), 1u);
    m_Client.EnableEvents(false);
    m_Client.EnableEvents(false);
    EXPECT_FALSE(m_Client.AreEventsEnabled() || m_Client.IsEventThreadRunning());
    EXPECT_EQ(m_Client.GetEventChannel(), -1);
    EXPECT_TRUE(DaemonChannelsGone());
    {
        CSwitchClient forgotten;
        forgotten.SetApplicationName("Forgetful");
        forgotten.EnableEvents(true);
        ASSERT_TRUE(m_Sim.WaitEventChannels(1));
    }
    EXPECT_TRUE(DaemonChannelsGone());
    EXPECT_EQ(trace.Count("JsonEnableEvents: -> events already enabled -> ignored!"), 1u);
    EXPECT_EQ(trace.Count("JsonDisableEvents: -> events already disabled -> ignored"), 1u);
    EXPECT_EQ(trace.Count("CSwitchClient::~CSwitchClient: ## ERROR! Events still enabled (by client "
                          "\"Forgetful\") on class destruction - fix this!!"),
              1u);

    // The last detach, with or without the client mutex, disables events too.
    ASSERT_TRUE(m_Client.Attach(nullptr) && m_Client.Attach(nullptr));
    m_Client.EnableEvents(true);
    m_Client.Detach();
    EXPECT_TRUE(m_Client.AreEventsEnabled());
    m_Client.Detach();
    EXPECT_FALSE(m_Client.AreEventsEnabled() || m_Client.IsEventThreadRunning());
    ASSERT_TRUE(m_Client.Attach(nullptr));
    m_Client.EnableEvents(true);
    m_Client.DetachWithoutLock();
    EXPECT_FALSE(m_Client.AreEventsEnabled());
    EXPECT_TRUE(DaemonChannelsGone());
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
    const struct
    {
        const char* command;
        uint32_t status;
        bool data;
    } cases[] = {
        {R"("OC": 4660, "OE": 5, "OI": 7, "CA": 2, "ST": 0, "DA": "text")", 0, true},
        {R"("OC": 1, "ST": 5, "DA": 1)", 5, false}, // a status that carries no data
        {R"("OC": 2, "ST": 12, "DA": null)", 12, false},
        {R"("OC": 3, "ST": 255, "DA": 1.5)", 255, false}, // a fraction has no data size
        {R"("OC": 4, "DA": 3)", 22, false},
    };
    for (const auto& test : cases)
        EXPECT_EQ(
            m_Sim.Control(std::string(R"(push-json {"SIP": {"V": 1, "CMD": [{)") + test.command + "}]}}"),
            "ok 1");
    EXPECT_EQ(m_Sim.Control("push-text this is no JSON"), "ok 1");
    ASSERT_TRUE(m_Sim.Signal(SIGUSR1));
    ASSERT_TRUE(m_Log.WaitFor(2 + 5 + 10));

    std::vector<Seen> seen = m_Log.All();
    ASSERT_EQ(seen.size(), 17u);
    EXPECT_EQ(seen[0].key * 10 + seen[1].key, 1u);
    const CEventRecord& first = seen[1].record;
    EXPECT_EQ(std::vector<uint32_t>({first.OC, first.OE, first.OId, first.Cab, seen[1].documentOc}),
              std::vector<uint32_t>({0x1234, 5, 7, 2, 0x1234}));
    for (size_t index = 0; index < 5; ++index)
    {
        EXPECT_EQ(seen[index + 1].record.Status, cases[index].status) << index;
        EXPECT_EQ(seen[index + 1].record.HasReplyData, cases[index].data) << index;
    }
    // A frame without an OBRA document still reaches the callbacks, as an event without status,
    // and the channel goes on.
    EXPECT_EQ(seen[6].record.OC + seen[6].record.Status, 22u);
    for (size_t index = 7; index < seen.size(); ++index)
        EXPECT_EQ(seen[index].record.OId, index - 7);
    EXPECT_EQ(EventRegistrations(), 1u);
}

TEST_F(SwitchClientEventsTest, ABurstArrivesCompleteAndInOrder)
{
    Enable();
    ASSERT_EQ(m_Sim.Control("push 1000"), "ok 1");
    ASSERT_TRUE(m_Log.WaitFor(10000)) << m_Log.All().size();
    std::vector<Seen> seen = m_Log.All();
    size_t outOfOrder = 0;
    for (size_t index = 0; index < seen.size(); ++index)
        outOfOrder += seen[index].record.OId != index % 10;
    EXPECT_EQ(seen.size(), 10000u);
    EXPECT_EQ(outOfOrder, 0u);
}

TEST_F(SwitchClientEventsTest, TheThreadRecoversFromBadFramesAndALostDaemonAndEndsWhenItStaysAway)
{
    // Set before the thread starts, which reads it: 40 s are 20 check periods, at most 2 s of real
    // time with the sliced clock.
    ScopedEnv maxWait("TM_MAXWAIT_FOR_QMXD", "40");
    Enable();
    uint32_t marker = 100;
    // A zero length word, a frame that stops half-way, a length beyond any sensible event, the
    // daemon hanging up, the daemon restarting.
    for (std::string fault :
         {"push-zero-length", "push-short 10 {\"SIP\":", "push-short 67108864 {}", "drop-events", "restart"})
    {
        const size_t before = EventRegistrations();
        if (fault == "restart")
            ASSERT_TRUE(m_Sim.Restart()) << m_Sim.Error();
        else
            EXPECT_EQ(m_Sim.Control(fault), "ok 1");
        EXPECT_TRUE(WaitUntil([&] { return EventRegistrations() > before; })) << fault;
        EXPECT_TRUE(PushUntilSeen(++marker)) << fault;
    }

    // Gone for longer than the client waits: the thread ends; the client stays enabled until
    // it is disabled.
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
    EXPECT_TRUE(DaemonChannelsGone());
    // Nothing was left behind that a new thread would trip over.
    m_Client.EnableEvents(true);
    EXPECT_TRUE(PushUntilSeen(3));
}

TEST_F(SwitchClientEventsTest, DisablingEndsAnUnansweredReregistrationAtOnce)
{
    const std::vector<int> freeBefore = LowestFreeFds();
    Enable();
    // The daemon comes back, but never answers the thread's registration on the event socket.
    m_Sim.Stop();
    ASSERT_TRUE(
        m_Sim.StartWithProfileText(R"({"answers": {"0xFFA0/0x1200": {"fault": {"delay_ms": 600000}}}})"))
        << m_Sim.Error();
    ASSERT_TRUE(WaitUntil([&] { return EventRegistrations() == 2; }));

    const uint64_t start = m_Clock.ElapsedMs();
    m_Client.EnableEvents(false);
    EXPECT_LT(m_Clock.ElapsedMs() - start, 30u + 500 + 30); // no give-up after ten checks
    EXPECT_LT(m_Clock.ElapsedMs(), 30000000u);              // the registration wait never ran out
    EXPECT_FALSE(m_Client.IsEventThreadRunning());
    EXPECT_EQ(m_Client.GetEventChannel(), -1);
    EXPECT_EQ(LowestFreeFds(), freeBefore);
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
    // Wherever the cancellation finds the thread, it takes effect in the wait for the next event.
    ASSERT_EQ(pthread_cancel(eventThread.load()), 0);
    ASSERT_TRUE(WaitUntil([&] { return !m_Client.IsEventThreadRunning(); }));

    // Both locks are free (a lock left held would hang here).
    g_Debug.Print(1, "trace lock is free");
    m_Client.RegisterEventCallback(2, EventCallback());
    EXPECT_EQ(trace.Count("trace lock is free"), 1u);
    m_Client.EnableEvents(false);
}

TEST(EventChannelWaits, GiveUpAfterTheirLimitsOrWhenTerminated)
{
    TempDir root;
    ScopedEnv sysroot("HOSTCAPTURE_SYSROOT", root.Path().c_str());
    const struct
    {
        const char* value;
        long maxWait;
        uint64_t waitedMs; // periods of two seconds until the next would pass the maximum
    } cases[] = {{nullptr, 1200, 1200000}, {"", 1200, 1200000}, {"none", 0, 0}, {"1", 1, 0}, {"7s", 7, 6000}};
    for (const auto& test : cases)
    {
        ScopedEnv maxWait("TM_MAXWAIT_FOR_QMXD", test.value);
        CFakeClock clock;
        CScopedClock scoped(clock);
        EXPECT_EQ(MaxServiceWaitSec(), test.maxWait);
        EXPECT_FALSE(WaitForServiceAvailable(-1));
        EXPECT_EQ(clock.ElapsedMs(), test.waitedMs) << (test.value ? test.value : "unset");
    }

    // The daemon is back with its pid file and a listening event socket, not with one of them.
    ScopedEnv maxWait("TM_MAXWAIT_FOR_QMXD", "10");
    MakeDirs(SysPath("/opt/TessmarkQDX/vital"));
    int listener = clienttest::Listen(SysPath(kQmxdEventSocket));
    CFakeClock clock;
    CScopedClock scoped(clock);
    EXPECT_FALSE(WaitForServiceAvailable(-1));
    root.Write("var/run/tmqdx.pid", "1\n");
    EXPECT_TRUE(WaitForServiceAvailable(-1));
    EXPECT_EQ(clock.ElapsedMs(), 10000u + 2000u);
    clienttest::CloseFd(listener);

    // 600 connect attempts one second apart; enabling without a daemon leaves nothing open; a
    // terminate signal ends waits at once.
    EXPECT_EQ(OpenEventChannel("EventTest"), -1);
    EXPECT_EQ(clock.SleepCount(), 599u);
    const std::vector<int> freeBefore = LowestFreeFds();
    CSwitchClient client;
    client.EnableEvents(true);
    EXPECT_FALSE(client.AreEventsEnabled());
    EXPECT_EQ(LowestFreeFds(), freeBefore);
    clienttest::SocketPair wake;
    ASSERT_TRUE(clienttest::WriteAll(wake.peer, "WAKE"));
    const uint64_t waited = clock.ElapsedMs();
    EXPECT_EQ(OpenEventChannel("EventTest", wake.client), -1);
    EXPECT_FALSE(WaitForServiceAvailable(wake.client));
    EXPECT_EQ(clock.ElapsedMs(), waited);
}
