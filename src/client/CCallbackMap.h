#pragma once

#include "CObraClientEventIf.h"

#include <pthread.h>

#include <cstdint>
#include <map>

class CObraClientIf;

// The notification callbacks of a client, ordered by key, under a recursive lock of their own so
// that a callback running on the event thread may register or unregister callbacks.
class CCallbackMap
{
public:
    explicit CCallbackMap(bool locking = true);
    ~CCallbackMap();
    CCallbackMap(const CCallbackMap&) = delete;
    CCallbackMap& operator=(const CCallbackMap&) = delete;

    void Insert(uint64_t key, EventCallback callback);
    bool Erase(uint64_t key);
    size_t Size();
    // Calls every callback in key order. A callback may change the map while it runs; keys
    // erased before their turn are not called, keys added behind the current one are.
    void CallAll(const CEventRecord& event, CObraClientIf& client);

private:
    void Lock();
    void Unlock();

    std::map<uint64_t, EventCallback> m_Callbacks;
    pthread_mutex_t m_Mutex;
    pthread_t m_Owner{};
    unsigned m_Count = 0;
    bool m_Locking;
};
