#include "RecursiveLock.h"

CRecursiveLock::CRecursiveLock()
{
    m_Valid = pthread_mutex_init(&m_Mutex, nullptr) == 0;
}

CRecursiveLock::~CRecursiveLock()
{
    if (m_Valid)
        pthread_mutex_destroy(&m_Mutex);
}

bool CRecursiveLock::IsOwnedByCaller() const
{
    // m_Owner is only meaningful while m_Count is non-zero, and only the owner itself can see
    // its own id there, so this read needs no lock.
    return __atomic_load_n(&m_Count, __ATOMIC_ACQUIRE) != 0 &&
           pthread_equal(__atomic_load_n(&m_Owner, __ATOMIC_ACQUIRE), pthread_self());
}

void CRecursiveLock::Lock()
{
    if (!m_Valid)
        return;
    if (IsOwnedByCaller())
    {
        __atomic_add_fetch(&m_Count, 1u, __ATOMIC_RELAXED);
        return;
    }
    pthread_mutex_lock(&m_Mutex);
    __atomic_store_n(&m_Owner, pthread_self(), __ATOMIC_RELEASE);
    __atomic_store_n(&m_Count, 1u, __ATOMIC_RELEASE);
}

void CRecursiveLock::Unlock()
{
    if (!m_Valid || !IsOwnedByCaller())
        return;
    if (__atomic_load_n(&m_Count, __ATOMIC_RELAXED) > 1)
    {
        __atomic_sub_fetch(&m_Count, 1u, __ATOMIC_RELAXED);
        return;
    }
    __atomic_store_n(&m_Count, 0u, __ATOMIC_RELEASE);
    __atomic_store_n(&m_Owner, pthread_t{}, __ATOMIC_RELEASE);
    pthread_mutex_unlock(&m_Mutex);
}
