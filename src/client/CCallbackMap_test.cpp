#include "CCallbackMap.h"

#include "CSwitchClient.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

TEST(CCallbackMap, CallsInKeyOrderWhileCallbacksChangeTheMap)
{
    CCallbackMap map;
    CSwitchClient client;
    std::vector<uint64_t> calls;
    auto record = [&](const CEventRecord&, CObraClientIf&, uint64_t key) { calls.push_back(key); };
    map.Insert(30, record);
    map.Insert(40, record);
    map.Insert(10,
               [&](const CEventRecord& event, CObraClientIf& owner, uint64_t key)
               {
                   record(event, owner, key);
                   map.Erase(key);         // itself
                   map.Erase(40);          // a later one: not called any more
                   map.Insert(5, record);  // before the current one: not called in this round
                   map.Insert(35, record); // behind it: called
                   EXPECT_EQ(map.Size(), 4u);
               });
    map.Insert(20, EventCallback()); // an empty callback is skipped

    map.CallAll(CEventRecord(), client);
    EXPECT_EQ(calls, (std::vector<uint64_t>{10, 30, 35}));
    calls.clear();
    map.CallAll(CEventRecord(), client);
    EXPECT_EQ(calls, (std::vector<uint64_t>{5, 30, 35}));
    EXPECT_TRUE(map.Erase(5));
    EXPECT_FALSE(map.Erase(5));
}

TEST(CCallbackMap, KeepsOtherThreadsOutWhileCallbacksRun)
{
    CCallbackMap map;
    CSwitchClient client;
    std::atomic<bool> otherStarted{false};
    std::atomic<bool> callbackDone{false};
    std::atomic<bool> sawCallbackDone{false};
    std::thread other;
    map.Insert(1,
               [&](const CEventRecord&, CObraClientIf&, uint64_t)
               {
                   other = std::thread(
                       [&]
                       {
                           otherStarted = true;
                           map.Insert(2, EventCallback()); // must wait until CallAll is done
                           sawCallbackDone = callbackDone.load();
                       });
                   while (!otherStarted)
                       std::this_thread::yield();
                   for (int i = 0; i < 100; ++i) // time for the other thread to reach the lock
                       std::this_thread::yield();
                   callbackDone = true;
               });
    map.CallAll(CEventRecord(), client);
    other.join();
    EXPECT_TRUE(sawCallbackDone);
    EXPECT_EQ(map.Size(), 2u);
}
