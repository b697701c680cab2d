#include <afxdisp.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "CPtrListCS.h"
#include "support/import_patch.h"

namespace
{

using ostrel::test::ImportPatch;

int values[5];
void* const kFirst = &values[0];
void* const kSecond = &values[1];
void* const kThird = &values[2];
void* const kOther = &values[3];

std::vector<void*> Contents(CPtrListCS& list)
{
    std::vector<void*> contents;
    for (POSITION position = list.m_F_n_GetHeadPosition(); position != nullptr;)
    {
        contents.push_back(list.m_F_p_GetNext(position));
    }
    return contents;
}

using Contained = std::vector<void*>;

// Whether a second thread can enter the list's lock at once.
bool IsFreeForAnotherThread(CPtrListCS& list)
{
    bool isEntered = false;
    std::thread(
        [&]
        {
            isEntered = TryEnterCriticalSection(list.vm_csList) != 0;
            if (isEntered)
            {
                list.vm_csList.Unlock();
            }
        })
        .join();
    return isEntered;
}

TEST(LockedPointerList, IsTheFrameworksList)
{
    EXPECT_TRUE((std::is_base_of_v<CPtrList, CPtrListCS>));
    EXPECT_TRUE(std::has_virtual_destructor_v<CPtrListCS>);
}

TEST(LockedPointerList, IsEmptyAtFirst)
{
    CPtrListCS list;
    EXPECT_EQ(list.m_F_n_GetCount(), 0);
    EXPECT_EQ(list.m_F_n_GetSize(), 0);
    EXPECT_EQ(list.m_F_n_GetHeadPosition(), nullptr);
    EXPECT_EQ(list.m_F_n_GetTailPosition(), nullptr);
}

TEST(LockedPointerList, AnEmptyListHasNullAsHeadAndTailAndThrowsNothing)
{
    CPtrListCS list;
    EXPECT_EQ(list.m_F_p_GetHead(), nullptr);
    EXPECT_EQ(list.m_F_p_GetTail(), nullptr);
    EXPECT_EQ(list.m_F_p_RemoveHead(), nullptr);
    EXPECT_EQ(list.m_F_p_RemoveTail(), nullptr);
    EXPECT_EQ(list.m_F_n_GetCount(), 0);
    EXPECT_TRUE(IsFreeForAnotherThread(list));
}

TEST(LockedPointerList, AddsAtTheHeadAndAtTheTail)
{
    CPtrListCS list;
    const POSITION second = list.m_F_n_AddTail(kSecond);
    const POSITION third = list.m_F_n_AddTail(kThird);
    const POSITION first = list.m_F_n_AddHead(kFirst);
    EXPECT_EQ(Contents(list), (Contained{kFirst, kSecond, kThird}));
    EXPECT_EQ(list.m_F_p_GetAt(first), kFirst);
    EXPECT_EQ(list.m_F_p_GetAt(second), kSecond);
    EXPECT_EQ(list.m_F_p_GetAt(third), kThird);
    EXPECT_EQ(list.m_F_n_GetHeadPosition(), first);
    EXPECT_EQ(list.m_F_n_GetTailPosition(), third);
    EXPECT_EQ(list.m_F_p_GetHead(), kFirst);
    EXPECT_EQ(list.m_F_p_GetTail(), kThird);
}

TEST(LockedPointerList, RemovesAtTheHeadAndAtTheTail)
{
    CPtrListCS list;
    list.m_F_n_AddTail(kFirst);
    list.m_F_n_AddTail(kSecond);
    list.m_F_n_AddTail(kThird);
    EXPECT_EQ(list.m_F_p_RemoveHead(), kFirst);
    EXPECT_EQ(list.m_F_p_RemoveTail(), kThird);
    EXPECT_EQ(Contents(list), (Contained{kSecond}));
    EXPECT_EQ(list.m_F_p_RemoveTail(), kSecond);
    EXPECT_EQ(list.m_F_p_RemoveTail(), nullptr);
    EXPECT_EQ(list.m_F_n_GetHeadPosition(), nullptr);
}

TEST(LockedPointerList, CountAndSizeAlwaysAgree)
{
    CPtrListCS list;
    EXPECT_TRUE((std::is_same_v<decltype(list.m_F_n_GetCount()), __int64>));
    EXPECT_TRUE((std::is_same_v<decltype(list.m_F_n_GetSize()), __int64>));
    for (int i = 1; i <= 25; ++i)
    {
        list.m_F_n_AddTail(kFirst);
        EXPECT_EQ(list.m_F_n_GetCount(), i);
        EXPECT_EQ(list.m_F_n_GetSize(), i);
    }
    list.m_F_p_RemoveHead();
    EXPECT_EQ(list.m_F_n_GetCount(), 24);
    EXPECT_EQ(list.m_F_n_GetSize(), 24);
}

TEST(LockedPointerList, RemoveAllEmptiesIt)
{
    CPtrListCS list;
    list.m_S_RemoveAll();
    list.m_F_n_AddTail(kFirst);
    list.m_F_n_AddTail(kSecond);
    list.m_S_RemoveAll();
    EXPECT_EQ(list.m_F_n_GetCount(), 0);
    EXPECT_EQ(list.m_F_p_GetHead(), nullptr);
    list.m_F_n_AddHead(kThird);
    EXPECT_EQ(Contents(list), (Contained{kThird}));
}

TEST(LockedPointerList, GetNextWalksToTheTailAndLeavesANullPosition)
{
    CPtrListCS list;
    list.m_F_n_AddTail(kFirst);
    list.m_F_n_AddTail(kSecond);
    POSITION position = list.m_F_n_GetHeadPosition();
    EXPECT_EQ(list.m_F_p_GetNext(position), kFirst);
    EXPECT_EQ(position, list.m_F_n_GetTailPosition());
    EXPECT_EQ(list.m_F_p_GetNext(position), kSecond);
    EXPECT_EQ(position, nullptr);
}

TEST(LockedPointerList, GetPrevWalksToTheHeadAndLeavesANullPosition)
{
    CPtrListCS list;
    list.m_F_n_AddTail(kFirst);
    list.m_F_n_AddTail(kSecond);
    POSITION position = list.m_F_n_GetTailPosition();
    EXPECT_EQ(list.m_F_p_GetPrev(position), kSecond);
    EXPECT_EQ(position, list.m_F_n_GetHeadPosition());
    EXPECT_EQ(list.m_F_p_GetPrev(position), kFirst);
    EXPECT_EQ(position, nullptr);
}

TEST(LockedPointerList, ReplacesAndRemovesAtAPosition)
{
    CPtrListCS list;
    list.m_F_n_AddTail(kFirst);
    const POSITION second = list.m_F_n_AddTail(kSecond);
    list.m_F_n_AddTail(kThird);
    list.m_S_SetAt(second, kOther);
    EXPECT_EQ(Contents(list), (Contained{kFirst, kOther, kThird}));
    list.m_S_RemoveAt(second);
    EXPECT_EQ(Contents(list), (Contained{kFirst, kThird}));
}

TEST(LockedPointerList, InsertsBeforeAndAfterAPosition)
{
    CPtrListCS list;
    const POSITION middle = list.m_F_n_AddTail(kSecond);
    const POSITION before = list.m_F_n_InsertBefore(middle, kFirst);
    const POSITION after = list.m_F_n_InsertAfter(middle, kThird);
    EXPECT_EQ(Contents(list), (Contained{kFirst, kSecond, kThird}));
    EXPECT_EQ(list.m_F_p_GetAt(before), kFirst);
    EXPECT_EQ(list.m_F_p_GetAt(after), kThird);
}

TEST(LockedPointerList, InsertsBeforeANullPositionAtTheHeadAndAfterOneAtTheTail)
{
    CPtrListCS list;
    list.m_F_n_AddTail(kSecond);
    list.m_F_n_InsertBefore(nullptr, kFirst);
    list.m_F_n_InsertAfter(nullptr, kThird);
    EXPECT_EQ(Contents(list), (Contained{kFirst, kSecond, kThird}));
}

TEST(LockedPointerList, DoesNotTouchWhatThePointersName)
{
    int value = 5;
    {
        CPtrListCS list;
        list.m_F_n_AddTail(&value);
        list.m_F_n_AddTail(reinterpret_cast<void*>(1));
        list.m_F_n_AddTail(nullptr);
        EXPECT_EQ(list.m_F_p_GetTail(), nullptr);
        EXPECT_EQ(list.m_F_n_GetCount(), 3);
    }
    EXPECT_EQ(value, 5);
}

// ---- The lock -----------------------------------------------------------------------------------

struct NamedOperation
{
    const char* name;
    std::function<void(CPtrListCS&, POSITION)> run;
};

// Each is given the position of the list's only element.
const std::vector<NamedOperation>& Operations()
{
    static const std::vector<NamedOperation> operations = {
        {"GetHead", [](CPtrListCS& list, POSITION) { list.m_F_p_GetHead(); }},
        {"GetTail", [](CPtrListCS& list, POSITION) { list.m_F_p_GetTail(); }},
        {"AddHead", [](CPtrListCS& list, POSITION) { list.m_F_n_AddHead(kFirst); }},
        {"AddTail", [](CPtrListCS& list, POSITION) { list.m_F_n_AddTail(kFirst); }},
        {"RemoveAll", [](CPtrListCS& list, POSITION) { list.m_S_RemoveAll(); }},
        {"RemoveHead", [](CPtrListCS& list, POSITION) { list.m_F_p_RemoveHead(); }},
        {"RemoveTail", [](CPtrListCS& list, POSITION) { list.m_F_p_RemoveTail(); }},
        {"GetHeadPosition", [](CPtrListCS& list, POSITION) { list.m_F_n_GetHeadPosition(); }},
        {"GetTailPosition", [](CPtrListCS& list, POSITION) { list.m_F_n_GetTailPosition(); }},
        {"GetNext", [](CPtrListCS& list, POSITION only) { list.m_F_p_GetNext(only); }},
        {"GetPrev", [](CPtrListCS& list, POSITION only) { list.m_F_p_GetPrev(only); }},
        {"GetAt", [](CPtrListCS& list, POSITION only) { list.m_F_p_GetAt(only); }},
        {"SetAt", [](CPtrListCS& list, POSITION only) { list.m_S_SetAt(only, kSecond); }},
        {"RemoveAt", [](CPtrListCS& list, POSITION only) { list.m_S_RemoveAt(only); }},
        {"InsertAfter",
         [](CPtrListCS& list, POSITION only) { list.m_F_n_InsertAfter(only, kSecond); }},
        {"InsertBefore",
         [](CPtrListCS& list, POSITION only) { list.m_F_n_InsertBefore(only, kSecond); }},
        {"GetCount", [](CPtrListCS& list, POSITION) { list.m_F_n_GetCount(); }},
        {"GetSize", [](CPtrListCS& list, POSITION) { list.m_F_n_GetSize(); }},
    };
    return operations;
}

TEST(LockedPointerList, EveryOperationWaitsWhileAnotherThreadHoldsTheLock)
{
    for (const NamedOperation& operation : Operations())
    {
        CPtrListCS list;
        const POSITION only = list.m_F_n_AddTail(kFirst);
        list.vm_csList.Lock();
        std::atomic<bool> isDone = false;
        std::thread other(
            [&]
            {
                operation.run(list, only);
                isDone = true;
            });
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        EXPECT_FALSE(isDone) << operation.name;
        list.vm_csList.Unlock();
        other.join();
        EXPECT_TRUE(isDone) << operation.name;
    }
}

TEST(LockedPointerList, EveryOperationLeavesTheLockWhenItReturns)
{
    for (const NamedOperation& operation : Operations())
    {
        CPtrListCS list;
        operation.run(list, list.m_F_n_AddTail(kFirst));
        EXPECT_TRUE(IsFreeForAnotherThread(list)) << operation.name;
    }
}

TEST(LockedPointerList, TheThreadThatHoldsTheLockMayUseTheList)
{
    CPtrListCS list;
    list.vm_csList.Lock();
    list.m_F_n_AddTail(kFirst);
    EXPECT_EQ(list.m_F_n_GetCount(), 1);
    EXPECT_FALSE(IsFreeForAnotherThread(list));
    list.vm_csList.Unlock();
    EXPECT_TRUE(IsFreeForAnotherThread(list));
}

TEST(LockedPointerList, ANullPositionThrowsInvalidArgumentAndLeavesTheLockEntered)
{
    const NamedOperation operations[] = {
        {"GetNext", [](CPtrListCS& list, POSITION none) { list.m_F_p_GetNext(none); }},
        {"GetPrev", [](CPtrListCS& list, POSITION none) { list.m_F_p_GetPrev(none); }},
        {"GetAt", [](CPtrListCS& list, POSITION none) { list.m_F_p_GetAt(none); }},
        {"SetAt", [](CPtrListCS& list, POSITION none) { list.m_S_SetAt(none, kSecond); }},
        {"RemoveAt", [](CPtrListCS& list, POSITION none) { list.m_S_RemoveAt(none); }},
    };
    for (const NamedOperation& operation : operations)
    {
        CPtrListCS list;
        list.m_F_n_AddTail(kFirst);
        EXPECT_THROW(operation.run(list, nullptr), CInvalidArgException*) << operation.name;
        EXPECT_FALSE(IsFreeForAnotherThread(list)) << operation.name;
        EXPECT_EQ(Contents(list), (Contained{kFirst})) << operation.name;
        list.vm_csList.Unlock();
        EXPECT_TRUE(IsFreeForAnotherThread(list)) << operation.name;
    }
}

TEST(LockedPointerList, AnotherThreadsOperationWaitsAfterANullPositionUntilTheLockIsLeft)
{
    CPtrListCS list;
    list.m_F_n_AddTail(kFirst);
    EXPECT_THROW(list.m_F_p_GetAt(nullptr), CInvalidArgException*);
    std::atomic<bool> isDone = false;
    std::thread other(
        [&]
        {
            list.m_F_n_GetCount();
            isDone = true;
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_FALSE(isDone);
    list.vm_csList.Unlock();
    other.join();
}

TEST(LockedPointerList, AnElementThatCannotBeAllocatedThrowsAndLeavesTheLockEntered)
{
    CPtrListCS list;
    {
        const ImportPatch<void*(size_t)> patch(
            "malloc", +[](size_t) -> void* { return nullptr; });
        EXPECT_THROW(list.m_F_n_AddTail(kFirst), CMemoryException*);
    }
    EXPECT_FALSE(IsFreeForAnotherThread(list));
    EXPECT_EQ(list.m_F_n_GetCount(), 0);
    list.vm_csList.Unlock();
    EXPECT_TRUE(IsFreeForAnotherThread(list));
    list.m_F_n_AddTail(kFirst);
    EXPECT_EQ(Contents(list), (Contained{kFirst}));
}

std::atomic<DWORD> lockError;
std::atomic<DWORD> askedSpinCount;

BOOL WINAPI RefuseLock(CRITICAL_SECTION*, DWORD spinCount)
{
    askedSpinCount = spinCount;
    SetLastError(lockError);
    return FALSE;
}

class RefusedLock : public testing::Test
{
protected:
    void SetUp() override { askedSpinCount = 12345; }

    // Where CPtrListCS's constructor goes, and with which result.
    static std::pair<std::string, SCODE> ConstructAfter(DWORD error)
    {
        lockError = error;
        const ImportPatch<BOOL WINAPI(CRITICAL_SECTION*, DWORD)> patch(
            "InitializeCriticalSectionAndSpinCount", &RefuseLock);
        try
        {
            CPtrListCS list;
        }
        catch (CMemoryException* e)
        {
            e->Delete();
            return {"memory", E_OUTOFMEMORY};
        }
        catch (COleException* e)
        {
            const SCODE result = e->m_sc;
            e->Delete();
            return {"OLE", result};
        }
        return {"none", S_OK};
    }
};

TEST_F(RefusedLock, ForLackOfMemoryIsAMemoryException)
{
    EXPECT_EQ(ConstructAfter(ERROR_OUTOFMEMORY).first, "memory");
}

TEST_F(RefusedLock, ForAnyOtherReasonIsAnOleExceptionWithTheCode)
{
    EXPECT_EQ(ConstructAfter(ERROR_INVALID_PARAMETER),
              (std::pair<std::string, SCODE>("OLE", static_cast<SCODE>(0x80070057))));
    EXPECT_EQ(ConstructAfter(ERROR_NOT_ENOUGH_MEMORY),
              (std::pair<std::string, SCODE>("OLE", static_cast<SCODE>(0x80070008))));
    EXPECT_EQ(ConstructAfter(ERROR_ACCESS_DENIED),
              (std::pair<std::string, SCODE>("OLE", static_cast<SCODE>(0x80070005))));
}

TEST_F(RefusedLock, WasAskedForWithoutSpinning)
{
    ConstructAfter(ERROR_OUTOFMEMORY);
    EXPECT_EQ(askedSpinCount, 0u);
}

// ---- Many threads -------------------------------------------------------------------------------

TEST(LockedPointerList, EveryPointerOfEightBusyThreadsIsAccountedFor)
{
    constexpr int kThreads = 8;
    constexpr auto kDuration = std::chrono::seconds(3);
    constexpr std::size_t kMostPerThread = 1000000;
    CPtrListCS list;
    std::size_t added[kThreads] = {};
    std::vector<std::size_t> removed[kThreads];
    const auto encode = [](std::size_t thread, std::size_t number)
    { return reinterpret_cast<void*>((number * kThreads + thread) * 4 + 4); };
    const auto end = std::chrono::steady_clock::now() + kDuration;
    std::vector<std::thread> threads;
    for (std::size_t self = 0; self < kThreads; ++self)
    {
        threads.emplace_back(
            [&, self]
            {
                const auto take = [&](void* pointer)
                {
                    if (pointer != nullptr)
                    {
                        removed[self].push_back(reinterpret_cast<std::size_t>(pointer) / 4 - 1);
                    }
                };
                std::size_t number = 0;
                while (number < kMostPerThread && std::chrono::steady_clock::now() < end)
                {
                    list.m_F_n_AddTail(encode(self, number++));
                    list.m_F_n_AddHead(encode(self, number++));
                    take(list.m_F_p_RemoveHead());
                    list.m_F_n_InsertAfter(nullptr, encode(self, number++));
                    list.m_F_n_InsertBefore(nullptr, encode(self, number++));
                    take(list.m_F_p_RemoveTail());
                    take(list.m_F_p_RemoveTail());
                    // Now and then the list runs empty.
                    for (int i = 0; number % 256 == 0 && i < 300; ++i)
                    {
                        take(list.m_F_p_RemoveHead());
                    }
                    EXPECT_GE(list.m_F_n_GetCount(), 0);
                }
                added[self] = number;
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }

    std::vector<unsigned char> seen[kThreads];
    std::size_t total = 0;
    for (int i = 0; i < kThreads; ++i)
    {
        EXPECT_GT(added[i], 0u);
        seen[i].resize(added[i]);
        total += added[i];
    }
    std::size_t found = 0;
    const auto account = [&](std::size_t code)
    {
        ASSERT_LT(code / kThreads, seen[code % kThreads].size());
        ++seen[code % kThreads][code / kThreads];
        ++found;
    };
    for (const std::vector<std::size_t>& codes : removed)
    {
        for (std::size_t code : codes)
        {
            account(code);
        }
    }
    const __int64 left = list.m_F_n_GetCount();
    const std::size_t foundBefore = found;
    while (void* pointer = list.m_F_p_RemoveHead())
    {
        account(reinterpret_cast<std::size_t>(pointer) / 4 - 1);
    }
    EXPECT_EQ(found - foundBefore, static_cast<std::size_t>(left));
    EXPECT_EQ(found, total);
    for (const std::vector<unsigned char>& each : seen)
    {
        EXPECT_EQ(std::count(each.begin(), each.end(), 1),
                  static_cast<std::ptrdiff_t>(each.size()));
    }
}

TEST(LockedPointerList, MayBeWalkedWhileOthersRemoveIfTheLockIsHeldAround)
{
    CPtrListCS list;
    std::atomic<bool> isOver = false;
    std::atomic<int> rounds = 0;
    std::thread other(
        [&]
        {
            while (!isOver)
            {
                list.m_F_n_AddTail(kFirst);
                list.m_F_n_AddTail(kFirst);
                list.m_F_p_RemoveHead();
                list.m_F_p_RemoveTail();
                ++rounds;
            }
        });
    for (int walks = 0; walks < 2000 || rounds < 2000; ++walks)
    {
        list.vm_csList.Lock();
        const std::size_t count = static_cast<std::size_t>(list.m_F_n_GetCount());
        EXPECT_EQ(Contents(list), Contained(count, kFirst));
        list.vm_csList.Unlock();
    }
    isOver = true;
    other.join();
    EXPECT_EQ(list.m_F_n_GetCount(), 0);
}

}  // namespace
