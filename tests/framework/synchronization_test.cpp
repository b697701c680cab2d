#include <afxmt.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace
{

// Whether a second thread can enter the lock at once.
bool IsFreeForAnotherThread(CCriticalSection& section)
{
    bool entered = false;
    std::thread(
        [&]
        {
            entered = TryEnterCriticalSection(section) != 0;
            if (entered)
            {
                section.Unlock();
            }
        })
        .join();
    return entered;
}

TEST(CriticalSection, KeepsOtherThreadsOutWhileItIsLocked)
{
    CCriticalSection section;
    EXPECT_TRUE(IsFreeForAnotherThread(section));
    EXPECT_TRUE(section.Lock());
    EXPECT_FALSE(IsFreeForAnotherThread(section));
    EXPECT_TRUE(section.Unlock());
    EXPECT_TRUE(IsFreeForAnotherThread(section));
}

TEST(CriticalSection, MayBeEnteredAgainByTheThreadThatHoldsIt)
{
    CCriticalSection section;
    section.Lock();
    section.Lock();
    section.Unlock();
    EXPECT_FALSE(IsFreeForAnotherThread(section));
    section.Unlock();
    EXPECT_TRUE(IsFreeForAnotherThread(section));
}

TEST(CriticalSection, GivesThePlatformsObject)
{
    CCriticalSection section;
    CRITICAL_SECTION* platform = section;
    EXPECT_EQ(platform, &section.m_sect);
    EnterCriticalSection(platform);
    EXPECT_FALSE(IsFreeForAnotherThread(section));
    LeaveCriticalSection(platform);
}

TEST(CriticalSection, IgnoresATimeOut)
{
    CCriticalSection section;
    section.Lock();
    std::atomic<bool> entered = false;
    std::thread waiting(
        [&]
        {
            section.Lock(1);
            entered = true;
            section.Unlock();
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(entered);
    section.Unlock();
    waiting.join();
    EXPECT_TRUE(entered);
}

TEST(SingleLock, DoesNotLockUnlessAsked)
{
    CCriticalSection section;
    CSingleLock lock(&section);
    EXPECT_FALSE(lock.IsLocked());
    EXPECT_TRUE(IsFreeForAnotherThread(section));
}

TEST(SingleLock, LocksAtOnceWhenAsked)
{
    CCriticalSection section;
    CSingleLock lock(&section, TRUE);
    EXPECT_TRUE(lock.IsLocked());
    EXPECT_FALSE(IsFreeForAnotherThread(section));
}

TEST(SingleLock, LocksAndUnlocks)
{
    CCriticalSection section;
    CSingleLock lock(&section);
    EXPECT_TRUE(lock.Lock());
    EXPECT_TRUE(lock.IsLocked());
    EXPECT_FALSE(IsFreeForAnotherThread(section));
    EXPECT_TRUE(lock.Unlock());
    EXPECT_FALSE(lock.IsLocked());
    EXPECT_TRUE(IsFreeForAnotherThread(section));
}

TEST(SingleLock, CanLockAgain)
{
    CCriticalSection section;
    CSingleLock lock(&section, TRUE);
    lock.Unlock();
    EXPECT_TRUE(lock.Lock());
    EXPECT_FALSE(IsFreeForAnotherThread(section));
}

TEST(SingleLock, ReleasesAtTheEndOfItsScope)
{
    CCriticalSection section;
    {
        CSingleLock lock(&section, TRUE);
        EXPECT_FALSE(IsFreeForAnotherThread(section));
    }
    EXPECT_TRUE(IsFreeForAnotherThread(section));
}

TEST(SingleLock, ReleasesWhenAnExceptionLeavesItsScope)
{
    CCriticalSection section;
    try
    {
        CSingleLock lock(&section, TRUE);
        AfxThrowUserException();
    }
    catch (CUserException* e)
    {
        e->Delete();
    }
    EXPECT_TRUE(IsFreeForAnotherThread(section));
}

TEST(SingleLock, ReleasesOnlyOnce)
{
    CCriticalSection section;
    section.Lock();
    {
        CSingleLock lock(&section, TRUE);
        lock.Unlock();
    }
    EXPECT_FALSE(IsFreeForAnotherThread(section));
    section.Unlock();
}

TEST(SingleLock, RefusesANullObject)
{
    EXPECT_THROW(CSingleLock lock(nullptr), CInvalidArgException*);
}

// A client may bring a lock of its own, on an object of the platform.
class Event : public CSyncObject
{
public:
    Event() : CSyncObject(nullptr) { m_hObject = CreateEvent(nullptr, FALSE, TRUE, nullptr); }
    BOOL Unlock() override { return SetEvent(m_hObject); }
};

TEST(SingleLock, WaitsForAnyObjectUpToItsTimeOut)
{
    Event event;
    CSingleLock first(&event);
    CSingleLock second(&event);
    EXPECT_TRUE(first.Lock(0));
    EXPECT_FALSE(second.Lock(20));
    EXPECT_FALSE(second.IsLocked());
    first.Unlock();
    EXPECT_TRUE(second.Lock(20));
}

}  // namespace
