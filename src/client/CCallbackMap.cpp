#include "CCallbackMap.h"

#include "CDebug.h"

#include <exception>

// The owner and the count are read by threads that do not hold the mutex (to find out whether
// they already own it), hence the atomic accesses. A thread can only ever see itself as the owner
// if it set itself so, and it clears the count before it lets go of the mutex.

CCallbackMap::CCallbackMap(bool locking) : m_Locking(locking)
{
    if (m_Locking && pthread_mutex_init(&m_Mutex, nullptr) != 0)
        m_Locking = false; // without a mutex the map still works, unguarded
}

CCallbackMap::~CCallbackMap()
{
    if (m_Locking)
        pthread_mutex_destroy(&m_Mutex);
}

void CCallbackMap::Lock()
{
    if (!m_Locking)
        return;
    pthread_t self = pthread_self();
    pthread_t owner;
    __atomic_load(&m_Owner, &owner, __ATOMIC_ACQUIRE);
    if (__atomic_load_n(&m_Count, __ATOMIC_ACQUIRE) != 0 && pthread_equal(owner, self))
    {
        __atomic_store_n(&m_Count, m_Count + 1, __ATOMIC_RELEASE);
        return;
    }
    pthread_mutex_lock(&m_Mutex);
    __atomic_store(&m_Owner, &self, __ATOMIC_RELEASE);
    __atomic_store_n(&m_Count, 1u, __ATOMIC_RELEASE);
}

void CCallbackMap::Unlock()
{
    if (!m_Locking)
        return;
    pthread_t owner;
    __atomic_load(&m_Owner, &owner, __ATOMIC_ACQUIRE);
    if (__atomic_load_n(&m_Count, __ATOMIC_ACQUIRE) == 0 || !pthread_equal(owner, pthread_self()))
        return; // not held by this thread: nothing to release
    unsigned count = m_Count - 1;
    __atomic_store_n(&m_Count, count, __ATOMIC_RELEASE);
    if (count == 0)
    {
        pthread_t nobody{};
        __atomic_store(&m_Owner, &nobody, __ATOMIC_RELEASE);
        pthread_mutex_unlock(&m_Mutex);
    }
}

void CCallbackMap::Insert(uint64_t key, EventCallback callback)
{
    Lock();
    m_Callbacks[key] = std::move(callback);
    Unlock();
}

bool CCallbackMap::Erase(uint64_t key)
{
    Lock();
    bool erased = m_Callbacks.erase(key) != 0;
    Unlock();
    return erased;
}

size_t CCallbackMap::Size()
{
    Lock();
    size_t size = m_Callbacks.size();
    Unlock();
    return size;
}

void CCallbackMap::CallAll(const CEventRecord& event, CObraClientIf& client)
{
    Lock();
    // Walks by key rather than by iterator: a callback may insert or erase entries (its own
    // included), and the next key is looked up afresh after every call.
    auto next = m_Callbacks.begin();
    while (next != m_Callbacks.end())
    {
        const uint64_t key = next->first;
        EventCallback callback = next->second; // a copy survives the callback erasing itself
        g_Debug.Print(5, "\nCCallbackMap        : Call notification callback 0x%X .. ",
                      static_cast<unsigned>(key));
        if (callback)
        {
            try
            {
                callback(event, client, key);
            }
            catch (const std::exception& error)
            {
                g_Debug.PrintAlways("\nCCallbackMap        : notification callback 0x%X failed: %s",
                                    static_cast<unsigned>(key), error.what());
            }
            catch (...)
            {
                g_Debug.PrintAlways("\nCCallbackMap        : notification callback 0x%X failed",
                                    static_cast<unsigned>(key));
            }
        }
        g_Debug.Print(5, "\nCCallbackMap        : .. notification callback 0x%X finished",
                      static_cast<unsigned>(key));
        next = m_Callbacks.upper_bound(key);
    }
    Unlock();
}
