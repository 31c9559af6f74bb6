#pragma once

#include <pthread.h>

// A mutex that the owning thread may take again: it records its owner and a nesting count and
// unlocks only when the count returns to zero. If the mutex cannot be initialised, locking is
// skipped altogether (the object then guards nothing, but never blocks).
class CRecursiveLock
{
public:
    CRecursiveLock();
    ~CRecursiveLock();
    CRecursiveLock(const CRecursiveLock&) = delete;
    CRecursiveLock& operator=(const CRecursiveLock&) = delete;

    void Lock();
    void Unlock();
    bool IsValid() const { return m_Valid; }
    bool IsOwnedByCaller() const;

private:
    pthread_mutex_t m_Mutex;
    pthread_t m_Owner{};
    unsigned m_Count = 0;
    bool m_Valid = false;
};

// Holds a CRecursiveLock for a scope; releases it on every exit, exceptions included.
class CRecursiveLockGuard
{
public:
    explicit CRecursiveLockGuard(CRecursiveLock& lock) : m_Lock(lock) { m_Lock.Lock(); }
    ~CRecursiveLockGuard() { m_Lock.Unlock(); }
    CRecursiveLockGuard(const CRecursiveLockGuard&) = delete;
    CRecursiveLockGuard& operator=(const CRecursiveLockGuard&) = delete;

private:
    CRecursiveLock& m_Lock;
};
