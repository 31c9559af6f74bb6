#include "RecursiveLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

TEST(CRecursiveLock, OwnerMayLockAgainAndReleasesOnlyAtTheOutermostUnlock)
{
    CRecursiveLock lock;
    ASSERT_TRUE(lock.IsValid());
    EXPECT_FALSE(lock.IsOwnedByCaller());
    lock.Lock();
    lock.Lock();
    {
        CRecursiveLockGuard nested(lock);
        EXPECT_TRUE(lock.IsOwnedByCaller());
    }
    lock.Unlock();
    EXPECT_TRUE(lock.IsOwnedByCaller());

    // While it is held, another thread sees it as not its own and an unlock from there is ignored.
    bool ownedThere = true;
    std::thread other(
        [&]
        {
            ownedThere = lock.IsOwnedByCaller();
            lock.Unlock();
        });
    other.join();
    EXPECT_FALSE(ownedThere);
    EXPECT_TRUE(lock.IsOwnedByCaller());
    lock.Unlock();
    EXPECT_FALSE(lock.IsOwnedByCaller());
    lock.Unlock(); // one too many: ignored
    EXPECT_FALSE(lock.IsOwnedByCaller());
}

TEST(CRecursiveLock, NestedSectionsOfSeveralThreadsExcludeEachOther)
{
    CRecursiveLock lock;
    long counter = 0; // deliberately not atomic: only the lock protects it
    std::atomic<int> insideAtOnce{0};
    std::atomic<int> overlaps{0};
    auto work = [&]
    {
        for (int i = 0; i < 20000; ++i)
        {
            CRecursiveLockGuard outer(lock);
            if (insideAtOnce.fetch_add(1) != 0)
                ++overlaps;
            CRecursiveLockGuard inner(lock);
            ++counter;
            insideAtOnce.fetch_sub(1);
        }
    };
    std::thread a(work), b(work), c(work);
    a.join();
    b.join();
    c.join();
    EXPECT_EQ(overlaps.load(), 0);
    EXPECT_EQ(counter, 60000);
}
