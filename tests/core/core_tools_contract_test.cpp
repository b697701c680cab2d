// What a client may rely on in the locked list, the worker thread, the file and the shared memory,
// held against the platform called directly. The program is its own second process.
#include <afxdisp.h>
#include <afxwin.h>
#include <gtest/gtest.h>
#include <process.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "CFileRW.h"
#include "CPtrListCS.h"
#include "CShareMem.h"
#include "CStdThread.h"
#include "support/import_patch.h"
#include "support/output_capture.h"

using ostrel::test::ImportPatch;
using ostrel::test::OutputCapture;

namespace
{

// ---- What all of them need ----------------------------------------------------------------------

bool IsOpenHandle(HANDLE handle)
{
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) != FALSE;
}

class OwnedHandle
{
public:
    explicit OwnedHandle(HANDLE handle) : vm_handle(handle) {}
    ~OwnedHandle() { Close(); }
    OwnedHandle(const OwnedHandle&) = delete;
    OwnedHandle& operator=(const OwnedHandle&) = delete;

    bool IsValid() const { return vm_handle != nullptr && vm_handle != INVALID_HANDLE_VALUE; }
    HANDLE Get() const { return vm_handle; }
    void Close()
    {
        if (IsValid())
        {
            CloseHandle(vm_handle);
        }
        vm_handle = nullptr;
    }

private:
    HANDLE vm_handle;
};

HANDLE Duplicate(HANDLE handle)
{
    HANDLE copy = nullptr;
    DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &copy, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    return copy;
}

std::wstring UniqueName(const wchar_t* prefix)
{
    static int count = 0;
    return prefix + std::to_wstring(GetCurrentProcessId()) + L"_" +
           std::to_wstring(GetTickCount()) + L"_" + std::to_wstring(++count);
}

std::wstring ProgramPath()
{
    wchar_t path[1024] = {};
    GetModuleFileNameW(nullptr, path, 1024);
    return path;
}

constexpr DWORD kNoSecondProcess = 0xABCD;

/// Starts this program again.
/// @return its exit code.
DWORD RunSecondProcess(const std::wstring& task, const std::wstring& argument)
{
    std::wstring line = L"\"" + ProgramPath() + L"\" " + task + L" \"" + argument + L"\"";
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process))
    {
        return kNoSecondProcess;
    }
    const OwnedHandle thread(process.hThread);
    const OwnedHandle owned(process.hProcess);
    DWORD code = kNoSecondProcess;
    if (WaitForSingleObject(process.hProcess, 10000) != WAIT_OBJECT_0)
    {
        TerminateProcess(process.hProcess, kNoSecondProcess);
        return kNoSecondProcess;
    }
    GetExitCodeProcess(process.hProcess, &code);
    return code;
}

const char* const kShareGreeting = "written by the first process";
const char* const kShareAnswer = "written by the second process";

int OpenInSecondProcess(const char* path, DWORD access)
{
    const OwnedHandle file(CreateFileA(path, access,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                       nullptr, OPEN_EXISTING, 0, nullptr));
    return file.IsValid() ? 0 : static_cast<int>(GetLastError());
}

int AnswerInSecondProcess(const char* name)
{
    const OwnedHandle mapping(OpenFileMappingA(FILE_MAP_ALL_ACCESS, FALSE, name));
    if (!mapping.IsValid())
    {
        return 1;
    }
    char* const view =
        static_cast<char*>(MapViewOfFile(mapping.Get(), FILE_MAP_ALL_ACCESS, 0, 0, 0));
    if (view == nullptr)
    {
        return 2;
    }
    const bool isSeen = std::strcmp(view, kShareGreeting) == 0;
    std::strcpy(view, kShareAnswer);
    UnmapViewOfFile(view);
    return isSeen ? 0 : 3;
}

// ---- CPtrListCS ---------------------------------------------------------------------------------

static_assert(std::is_base_of_v<CPtrList, CPtrListCS>);
static_assert(std::is_same_v<decltype(CPtrListCS::vm_csList), CCriticalSection>);
static_assert(std::is_same_v<decltype(&CPtrListCS::m_F_n_GetCount), __int64 (CPtrListCS::*)()> &&
              std::is_same_v<decltype(&CPtrListCS::m_F_n_GetSize), __int64 (CPtrListCS::*)()>);

int g_objects[8];

void* Object(int index)
{
    return &g_objects[index];
}

CRITICAL_SECTION* LockOf(CPtrListCS& list)
{
    return &list.vm_csList.m_sect;
}

bool CanAnotherThreadEnter(CPtrListCS& list)
{
    bool hasEntered = false;
    std::thread(
        [&]
        {
            hasEntered = TryEnterCriticalSection(LockOf(list)) != FALSE;
            if (hasEntered)
            {
                LeaveCriticalSection(LockOf(list));
            }
        })
        .join();
    return hasEntered;
}

/// @return the elements from head to tail, read by the base class.
std::vector<void*> ElementsOf(CPtrList& list)
{
    std::vector<void*> elements;
    for (POSITION position = list.GetHeadPosition(); position != nullptr;)
    {
        elements.push_back(list.GetNext(position));
    }
    return elements;
}

std::vector<void*> Objects(std::initializer_list<int> indices)
{
    std::vector<void*> objects;
    for (const int index : indices)
    {
        objects.push_back(Object(index));
    }
    return objects;
}

/// A list of the objects 0, 1 and 2.
class ListOfThree : public ::testing::Test
{
protected:
    ListOfThree()
    {
        first = list.CPtrList::AddTail(Object(0));
        second = list.CPtrList::AddTail(Object(1));
        third = list.CPtrList::AddTail(Object(2));
    }

    CPtrListCS list;
    POSITION first = nullptr;
    POSITION second = nullptr;
    POSITION third = nullptr;
};

template <class Exception>
bool Throws(const std::function<void()>& call)
{
    try
    {
        call();
    }
    catch (Exception* exception)
    {
        exception->Delete();
        return true;
    }
    catch (CException* exception)
    {
        exception->Delete();
    }
    return false;
}

TEST(PtrListCS, GetHeadOfAnEmptyListIsNullAndDoesNotThrow)
{
    CPtrListCS list;
    EXPECT_EQ(nullptr, list.m_F_p_GetHead());
}

TEST(PtrListCS, GetTailOfAnEmptyListIsNullAndDoesNotThrow)
{
    CPtrListCS list;
    EXPECT_EQ(nullptr, list.m_F_p_GetTail());
}

TEST(PtrListCS, RemoveHeadOfAnEmptyListIsNullWhereTheBaseListThrows)
{
    CPtrListCS list;
    EXPECT_EQ(nullptr, list.m_F_p_RemoveHead());
    EXPECT_EQ(0, list.m_F_n_GetCount());
    CPtrList base;
    EXPECT_TRUE(Throws<CInvalidArgException>([&] { base.RemoveHead(); }));
}

TEST(PtrListCS, RemoveTailOfAnEmptyListIsNullAndDoesNotThrow)
{
    CPtrListCS list;
    EXPECT_EQ(nullptr, list.m_F_p_RemoveTail());
    EXPECT_EQ(0, list.m_F_n_GetCount());
}

TEST(PtrListCS, RemoveAllOfAnEmptyListDoesNothing)
{
    CPtrListCS list;
    list.m_S_RemoveAll();
    EXPECT_EQ(0, list.m_F_n_GetCount());
    EXPECT_EQ(nullptr, list.m_F_n_GetHeadPosition());
}

TEST(PtrListCS, PositionsOfAnEmptyListAreNull)
{
    CPtrListCS list;
    EXPECT_EQ(nullptr, list.m_F_n_GetHeadPosition());
    EXPECT_EQ(nullptr, list.m_F_n_GetTailPosition());
}

TEST(PtrListCS, CountAndSizeOfAnEmptyListAreZero)
{
    CPtrListCS list;
    EXPECT_EQ(0, list.m_F_n_GetCount());
    EXPECT_EQ(0, list.m_F_n_GetSize());
}

TEST(PtrListCS, OperationsOnAnEmptyListLeaveTheLock)
{
    CPtrListCS list;
    list.m_F_p_GetHead();
    list.m_F_p_GetTail();
    list.m_F_p_RemoveHead();
    list.m_F_p_RemoveTail();
    list.m_S_RemoveAll();
    list.m_F_n_GetHeadPosition();
    list.m_F_n_GetTailPosition();
    list.m_F_n_GetCount();
    list.m_F_n_GetSize();
    EXPECT_TRUE(CanAnotherThreadEnter(list));
}

TEST_F(ListOfThree, HeadAndTailAreTheFirstAndTheLastElement)
{
    EXPECT_EQ(Object(0), list.m_F_p_GetHead());
    EXPECT_EQ(Object(2), list.m_F_p_GetTail());
    EXPECT_EQ(Objects({0, 1, 2}), ElementsOf(list));
}

TEST_F(ListOfThree, AddHeadGivesThePositionOfTheNewFirstElement)
{
    const POSITION position = list.m_F_n_AddHead(Object(3));
    EXPECT_EQ(list.CPtrList::GetHeadPosition(), position);
    EXPECT_EQ(Objects({3, 0, 1, 2}), ElementsOf(list));
}

TEST_F(ListOfThree, AddTailGivesThePositionOfTheNewLastElement)
{
    const POSITION position = list.m_F_n_AddTail(Object(3));
    EXPECT_EQ(list.CPtrList::GetTailPosition(), position);
    EXPECT_EQ(Objects({0, 1, 2, 3}), ElementsOf(list));
}

TEST_F(ListOfThree, RemoveAllEmptiesTheListAndLeavesTheObjectsAlone)
{
    g_objects[1] = 4711;
    list.m_S_RemoveAll();
    EXPECT_TRUE(list.CPtrList::IsEmpty());
    EXPECT_EQ(4711, g_objects[1]);
}

TEST_F(ListOfThree, RemoveHeadGivesTheRemovedFirstElement)
{
    EXPECT_EQ(Object(0), list.m_F_p_RemoveHead());
    EXPECT_EQ(Objects({1, 2}), ElementsOf(list));
}

TEST_F(ListOfThree, RemoveTailGivesTheRemovedLastElement)
{
    EXPECT_EQ(Object(2), list.m_F_p_RemoveTail());
    EXPECT_EQ(Objects({0, 1}), ElementsOf(list));
}

TEST_F(ListOfThree, HeadAndTailPositionNameTheFirstAndTheLastElement)
{
    EXPECT_EQ(first, list.m_F_n_GetHeadPosition());
    EXPECT_EQ(third, list.m_F_n_GetTailPosition());
}

TEST_F(ListOfThree, GetNextGivesTheElementAndMovesToTheNext)
{
    POSITION position = first;
    EXPECT_EQ(Object(0), list.m_F_p_GetNext(position));
    EXPECT_EQ(second, position);
}

TEST_F(ListOfThree, GetNextOnTheTailGivesItAndSetsThePositionToNull)
{
    POSITION position = third;
    EXPECT_EQ(Object(2), list.m_F_p_GetNext(position));
    EXPECT_EQ(nullptr, position);
}

TEST_F(ListOfThree, GetPrevGivesTheElementAndMovesToThePrevious)
{
    POSITION position = third;
    EXPECT_EQ(Object(2), list.m_F_p_GetPrev(position));
    EXPECT_EQ(second, position);
}

TEST_F(ListOfThree, GetPrevOnTheHeadGivesItAndSetsThePositionToNull)
{
    POSITION position = first;
    EXPECT_EQ(Object(0), list.m_F_p_GetPrev(position));
    EXPECT_EQ(nullptr, position);
}

TEST_F(ListOfThree, GetAtGivesTheElementAtThePosition)
{
    EXPECT_EQ(Object(1), list.m_F_p_GetAt(second));
}

TEST_F(ListOfThree, SetAtReplacesTheElementAtThePosition)
{
    list.m_S_SetAt(second, Object(5));
    EXPECT_EQ(Objects({0, 5, 2}), ElementsOf(list));
}

TEST_F(ListOfThree, RemoveAtRemovesTheElementAtThePosition)
{
    list.m_S_RemoveAt(second);
    EXPECT_EQ(Objects({0, 2}), ElementsOf(list));
}

TEST_F(ListOfThree, RemoveAtTheEndsMovesHeadAndTail)
{
    list.m_S_RemoveAt(first);
    list.m_S_RemoveAt(third);
    EXPECT_EQ(second, list.m_F_n_GetHeadPosition());
    EXPECT_EQ(second, list.m_F_n_GetTailPosition());
}

TEST_F(ListOfThree, InsertAfterGivesThePositionBehindTheGivenOne)
{
    const POSITION position = list.m_F_n_InsertAfter(second, Object(3));
    EXPECT_EQ(Object(3), list.CPtrList::GetAt(position));
    EXPECT_EQ(Objects({0, 1, 3, 2}), ElementsOf(list));
}

TEST_F(ListOfThree, InsertBeforeGivesThePositionBeforeTheGivenOne)
{
    const POSITION position = list.m_F_n_InsertBefore(second, Object(3));
    EXPECT_EQ(Object(3), list.CPtrList::GetAt(position));
    EXPECT_EQ(Objects({0, 3, 1, 2}), ElementsOf(list));
}

TEST_F(ListOfThree, InsertAfterANullPositionIsAsInTheBaseList)
{
    CPtrList base;
    base.AddTail(Object(0));
    base.AddTail(Object(1));
    base.AddTail(Object(2));
    base.InsertAfter(nullptr, Object(3));
    list.m_F_n_InsertAfter(nullptr, Object(3));
    EXPECT_EQ(ElementsOf(base), ElementsOf(list));
    EXPECT_EQ(Object(3), list.m_F_p_GetTail());
}

TEST_F(ListOfThree, InsertBeforeANullPositionIsAsInTheBaseList)
{
    CPtrList base;
    base.AddTail(Object(0));
    base.AddTail(Object(1));
    base.AddTail(Object(2));
    base.InsertBefore(nullptr, Object(3));
    list.m_F_n_InsertBefore(nullptr, Object(3));
    EXPECT_EQ(ElementsOf(base), ElementsOf(list));
    EXPECT_EQ(Object(3), list.m_F_p_GetHead());
}

TEST(PtrListCS, CountAndSizeAgreeThroughoutEveryChange)
{
    CPtrListCS list;
    const auto expectBoth = [&](__int64 count)
    {
        EXPECT_EQ(count, list.m_F_n_GetCount());
        EXPECT_EQ(count, list.m_F_n_GetSize());
    };
    for (int i = 1; i <= 25; ++i)
    {
        i % 2 == 0 ? list.m_F_n_AddHead(Object(0)) : list.m_F_n_AddTail(Object(1));
        expectBoth(i);
    }
    list.m_F_n_InsertAfter(list.m_F_n_GetHeadPosition(), Object(2));
    expectBoth(26);
    list.m_F_n_InsertBefore(list.m_F_n_GetHeadPosition(), Object(2));
    expectBoth(27);
    list.m_S_RemoveAt(list.m_F_n_GetTailPosition());
    expectBoth(26);
    list.m_F_p_RemoveHead();
    expectBoth(25);
    list.m_F_p_RemoveTail();
    expectBoth(24);
    list.m_S_RemoveAll();
    expectBoth(0);
}

/// Lets the lock go that an exception has left entered.
void ExpectLockHeldAndLeaveIt(CPtrListCS& list)
{
    const bool isFree = CanAnotherThreadEnter(list);
    EXPECT_FALSE(isFree) << "the lock is to stay entered";
    if (!isFree)
    {
        LeaveCriticalSection(LockOf(list));
        EXPECT_TRUE(CanAnotherThreadEnter(list)) << "the lock is to be entered once";
    }
}

TEST_F(ListOfThree, GetNextOfANullPositionThrowsWithTheLockEntered)
{
    POSITION position = nullptr;
    EXPECT_TRUE(Throws<CInvalidArgException>([&] { list.m_F_p_GetNext(position); }));
    ExpectLockHeldAndLeaveIt(list);
}

TEST_F(ListOfThree, GetPrevOfANullPositionThrowsWithTheLockEntered)
{
    POSITION position = nullptr;
    EXPECT_TRUE(Throws<CInvalidArgException>([&] { list.m_F_p_GetPrev(position); }));
    ExpectLockHeldAndLeaveIt(list);
}

TEST_F(ListOfThree, GetAtOfANullPositionThrowsWithTheLockEntered)
{
    EXPECT_TRUE(Throws<CInvalidArgException>([&] { list.m_F_p_GetAt(nullptr); }));
    ExpectLockHeldAndLeaveIt(list);
}

TEST_F(ListOfThree, SetAtOfANullPositionThrowsWithTheLockEntered)
{
    EXPECT_TRUE(Throws<CInvalidArgException>([&] { list.m_S_SetAt(nullptr, Object(0)); }));
    ExpectLockHeldAndLeaveIt(list);
}

TEST_F(ListOfThree, RemoveAtOfANullPositionDoesAsTheBaseListDoes)
{
    CPtrList base;
    base.AddTail(Object(0));
    ASSERT_TRUE(Throws<CInvalidArgException>([&] { base.RemoveAt(nullptr); }));
    EXPECT_TRUE(Throws<CInvalidArgException>([&] { list.m_S_RemoveAt(nullptr); }));
    ExpectLockHeldAndLeaveIt(list);
    EXPECT_EQ(Objects({0, 1, 2}), ElementsOf(list));
}

std::atomic<DWORD> g_memoryIsShortFor{0};
std::atomic<int> g_allocations{0};

void* __cdecl ScarceMalloc(std::size_t size)
{
    if (g_memoryIsShortFor == GetCurrentThreadId())
    {
        return nullptr;
    }
    ++g_allocations;
    return std::malloc(size);
}

/// How each of the operations that need memory meets a shortage of it.
void ExpectMemoryException(const std::function<void(CPtrListCS&)>& operation)
{
    CPtrListCS list;
    bool hasThrown = false;
    {
        const ImportPatch patch("malloc", ScarceMalloc);
        g_memoryIsShortFor = GetCurrentThreadId();
        hasThrown = Throws<CMemoryException>([&] { operation(list); });
        g_memoryIsShortFor = 0;
    }
    EXPECT_TRUE(hasThrown);
    ExpectLockHeldAndLeaveIt(list);
    EXPECT_EQ(0, list.m_F_n_GetCount());
}

TEST(PtrListCS, OutOfMemoryPassesThroughWithTheLockEntered)
{
    ExpectMemoryException([](CPtrListCS& list) { list.m_F_n_AddHead(Object(0)); });
    ExpectMemoryException([](CPtrListCS& list) { list.m_F_n_AddTail(Object(0)); });
    ExpectMemoryException([](CPtrListCS& list) { list.m_F_n_InsertAfter(nullptr, Object(0)); });
    ExpectMemoryException([](CPtrListCS& list) { list.m_F_n_InsertBefore(nullptr, Object(0)); });
}

TEST(PtrListCS, NodesAreAllocatedTenAtATime)
{
    CPtrListCS list;
    const ImportPatch patch("malloc", ScarceMalloc);
    list.m_F_n_AddTail(Object(0));
    g_allocations = 0;
    for (int i = 2; i <= 10; ++i)
    {
        list.m_F_n_AddTail(Object(0));
    }
    EXPECT_EQ(0, g_allocations);
    list.m_F_n_AddTail(Object(0));
    EXPECT_GT(g_allocations, 0);
}

DWORD g_initializationError = 0;
DWORD g_spinCount = 0;
const CRITICAL_SECTION* g_initialized = nullptr;

BOOL WINAPI FailingInitialization(CRITICAL_SECTION*, DWORD)
{
    SetLastError(g_initializationError);
    return FALSE;
}

BOOL WINAPI WatchedInitialization(CRITICAL_SECTION* section, DWORD spinCount)
{
    g_initialized = section;
    g_spinCount = spinCount;
    return InitializeCriticalSectionAndSpinCount(section, spinCount);
}

TEST(PtrListCS, TheLockIsInitializedWithoutSpinning)
{
    g_initialized = nullptr;
    g_spinCount = 1;
    const ImportPatch patch("InitializeCriticalSectionAndSpinCount", WatchedInitialization);
    CPtrListCS list;
    EXPECT_EQ(LockOf(list), g_initialized);
    EXPECT_EQ(0u, g_spinCount);
}

TEST(PtrListCS, AnOutOfMemoryResultOfTheLockIsAMemoryException)
{
    g_initializationError = ERROR_OUTOFMEMORY;
    ASSERT_EQ(static_cast<HRESULT>(0x8007000E), HRESULT_FROM_WIN32(g_initializationError));
    const ImportPatch patch("InitializeCriticalSectionAndSpinCount", FailingInitialization);
    EXPECT_TRUE(Throws<CMemoryException>([] { CPtrListCS list; }));
}

SCODE OleResultOfConstruction(DWORD error)
{
    g_initializationError = error;
    const ImportPatch patch("InitializeCriticalSectionAndSpinCount", FailingInitialization);
    SCODE result = S_OK;
    try
    {
        CPtrListCS list;
    }
    catch (COleException* exception)
    {
        result = exception->m_sc;
        exception->Delete();
    }
    catch (CException* exception)
    {
        exception->Delete();
    }
    return result;
}

TEST(PtrListCS, AnyOtherErrorOfTheLockIsAnOleExceptionWithItsResult)
{
    EXPECT_EQ(static_cast<SCODE>(0x80070005), OleResultOfConstruction(ERROR_ACCESS_DENIED));
    EXPECT_EQ(static_cast<SCODE>(0x80070057), OleResultOfConstruction(ERROR_INVALID_PARAMETER));
    EXPECT_EQ(static_cast<SCODE>(0x80070008), OleResultOfConstruction(ERROR_NOT_ENOUGH_MEMORY));
}

const CRITICAL_SECTION* g_deleted = nullptr;
int g_deletions = 0;
int g_freesBeforeDeletion = 0;
int g_freesAfterDeletion = 0;

void WINAPI WatchedDeletion(CRITICAL_SECTION* section)
{
    g_deleted = section;
    ++g_deletions;
    DeleteCriticalSection(section);
}

void __cdecl WatchedFree(void* block)
{
    if (block != nullptr)
    {
        ++(g_deletions == 0 ? g_freesBeforeDeletion : g_freesAfterDeletion);
    }
    std::free(block);
}

TEST(PtrListCS, DestructionDeletesTheLockAndThenTheNodes)
{
    alignas(CPtrListCS) unsigned char room[sizeof(CPtrListCS)];
    CPtrListCS* const list = new (room) CPtrListCS;
    list->m_F_n_AddTail(Object(0));
    const CRITICAL_SECTION* const lock = LockOf(*list);
    g_deleted = nullptr;
    g_deletions = g_freesBeforeDeletion = g_freesAfterDeletion = 0;
    {
        const ImportPatch deletion("DeleteCriticalSection", WatchedDeletion);
        const ImportPatch release("free", WatchedFree);
        list->~CPtrListCS();
    }
    EXPECT_EQ(lock, g_deleted);
    EXPECT_EQ(1, g_deletions);
    EXPECT_EQ(0, g_freesBeforeDeletion);
    EXPECT_GT(g_freesAfterDeletion, 0);
}

TEST(PtrListCS, DestructionThroughTheBaseDeletesTheLock)
{
    CPtrList* const list = new CPtrListCS;
    g_deletions = 0;
    const ImportPatch deletion("DeleteCriticalSection", WatchedDeletion);
    delete list;
    EXPECT_EQ(1, g_deletions);
}

TEST(PtrListCS, DestructionLeavesTheObjectsAlone)
{
    g_objects[3] = 815;
    {
        CPtrListCS list;
        list.m_F_n_AddTail(Object(3));
    }
    EXPECT_EQ(815, g_objects[3]);
}

struct ListOperation
{
    const char* name;
    void (*run)(CPtrListCS& list, POSITION position);
};

void PrintTo(const ListOperation& operation, std::ostream* stream)
{
    *stream << operation.name;
}

const ListOperation kListOperations[] = {
    {"GetHead", [](CPtrListCS& list, POSITION) { list.m_F_p_GetHead(); }},
    {"GetTail", [](CPtrListCS& list, POSITION) { list.m_F_p_GetTail(); }},
    {"AddHead", [](CPtrListCS& list, POSITION) { list.m_F_n_AddHead(Object(4)); }},
    {"AddTail", [](CPtrListCS& list, POSITION) { list.m_F_n_AddTail(Object(4)); }},
    {"RemoveAll", [](CPtrListCS& list, POSITION) { list.m_S_RemoveAll(); }},
    {"RemoveHead", [](CPtrListCS& list, POSITION) { list.m_F_p_RemoveHead(); }},
    {"RemoveTail", [](CPtrListCS& list, POSITION) { list.m_F_p_RemoveTail(); }},
    {"GetHeadPosition", [](CPtrListCS& list, POSITION) { list.m_F_n_GetHeadPosition(); }},
    {"GetTailPosition", [](CPtrListCS& list, POSITION) { list.m_F_n_GetTailPosition(); }},
    {"GetNext", [](CPtrListCS& list, POSITION position) { list.m_F_p_GetNext(position); }},
    {"GetPrev", [](CPtrListCS& list, POSITION position) { list.m_F_p_GetPrev(position); }},
    {"GetAt", [](CPtrListCS& list, POSITION position) { list.m_F_p_GetAt(position); }},
    {"SetAt", [](CPtrListCS& list, POSITION position) { list.m_S_SetAt(position, Object(4)); }},
    {"RemoveAt", [](CPtrListCS& list, POSITION position) { list.m_S_RemoveAt(position); }},
    {"InsertAfter",
     [](CPtrListCS& list, POSITION position) { list.m_F_n_InsertAfter(position, Object(4)); }},
    {"InsertBefore",
     [](CPtrListCS& list, POSITION position) { list.m_F_n_InsertBefore(position, Object(4)); }},
    {"GetCount", [](CPtrListCS& list, POSITION) { list.m_F_n_GetCount(); }},
    {"GetSize", [](CPtrListCS& list, POSITION) { list.m_F_n_GetSize(); }},
};

class EachListOperation : public ListOfThree, public ::testing::WithParamInterface<ListOperation>
{
};

INSTANTIATE_TEST_SUITE_P(PtrListCS, EachListOperation, ::testing::ValuesIn(kListOperations),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_P(EachListOperation, WaitsForTheLock)
{
    std::atomic<bool> isDone{false};
    list.vm_csList.Lock();
    std::thread other(
        [&]
        {
            GetParam().run(list, second);
            isDone = true;
        });
    Sleep(25);
    EXPECT_FALSE(isDone);
    list.vm_csList.Unlock();
    other.join();
    EXPECT_TRUE(isDone);
}

TEST_P(EachListOperation, MayBeCalledByTheThreadThatHoldsTheLock)
{
    list.vm_csList.Lock();
    GetParam().run(list, second);
    EXPECT_FALSE(CanAnotherThreadEnter(list));
    list.vm_csList.Unlock();
    EXPECT_TRUE(CanAnotherThreadEnter(list));
}

const CRITICAL_SECTION* g_watchedLock = nullptr;
int g_entered = 0;
int g_left = 0;

void WINAPI WatchedEnter(CRITICAL_SECTION* section)
{
    g_entered += section == g_watchedLock ? 1 : 0;
    EnterCriticalSection(section);
}

void WINAPI WatchedLeave(CRITICAL_SECTION* section)
{
    g_left += section == g_watchedLock ? 1 : 0;
    LeaveCriticalSection(section);
}

TEST_P(EachListOperation, EntersTheLockOnceAndLeavesItBeforeItReturns)
{
    g_watchedLock = LockOf(list);
    g_entered = g_left = 0;
    const ImportPatch enter("EnterCriticalSection", WatchedEnter);
    const ImportPatch leave("LeaveCriticalSection", WatchedLeave);
    GetParam().run(list, second);
    EXPECT_EQ(1, g_entered);
    EXPECT_EQ(1, g_left);
}

TEST(PtrListCS, RemovingFromAnEmptyListChecksUnderTheLock)
{
    CPtrListCS list;
    g_watchedLock = LockOf(list);
    g_entered = g_left = 0;
    const ImportPatch enter("EnterCriticalSection", WatchedEnter);
    const ImportPatch leave("LeaveCriticalSection", WatchedLeave);
    list.m_F_p_RemoveHead();
    list.m_F_p_RemoveTail();
    EXPECT_EQ(2, g_entered);
    EXPECT_EQ(2, g_left);
}

TEST(PtrListCS, ThreadsThatAddAndRemoveLoseNothing)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 3000;
    CPtrListCS list;
    std::atomic<int> removed{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
    {
        threads.emplace_back(
            [&, i]
            {
                for (int round = 0; round < kRounds; ++round)
                {
                    i % 2 == 0 ? list.m_F_n_AddHead(Object(i)) : list.m_F_n_AddTail(Object(i));
                    list.m_F_n_AddTail(Object(i));
                    void* const element =
                        i % 2 == 0 ? list.m_F_p_RemoveTail() : list.m_F_p_RemoveHead();
                    removed += element != nullptr ? 1 : 0;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(kThreads * kRounds, removed);
    EXPECT_EQ(kThreads * kRounds, list.m_F_n_GetCount());
    EXPECT_EQ(static_cast<std::size_t>(kThreads * kRounds), ElementsOf(list).size());
}

TEST(PtrListCS, ThreadsThatEmptyTheListGetNullAndNeverAnException)
{
    CPtrListCS list;
    for (int i = 0; i < 2000; ++i)
    {
        list.m_F_n_AddTail(Object(0));
    }
    std::atomic<int> removed{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
    {
        threads.emplace_back(
            [&]
            {
                while (list.m_F_p_RemoveHead() != nullptr)
                {
                    ++removed;
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(2000, removed);
}

// ---- CStdThread ---------------------------------------------------------------------------------

static_assert(!std::has_virtual_destructor_v<CStdThread>);
static_assert(std::is_same_v<decltype(CStdThread::vs_nMaxSleepMS), const int>);
static_assert(std::is_same_v<decltype(CStdThread::vs_nNoSleep), const unsigned int>);
static_assert(sizeof(CStdThread::vm_bStop) == 1 && sizeof(CStdThread::vm_nThreadID) == 4);

constexpr unsigned int kNoSleep = 0xFEDCBA98;

/// Waits, without end in sight only for a broken library.
template <class Condition>
bool Eventually(Condition condition)
{
    for (int i = 0; i < 1000; ++i)
    {
        if (condition())
        {
            return true;
        }
        Sleep(5);
    }
    return false;
}

/// A work function's argument: what it returns, call by call, and what was seen of it.
struct Work
{
    std::vector<unsigned int> results;  ///< afterwards it stops the thread and returns kNoSleep
    CStdThread* pThread = nullptr;
    int stopInCall = 0;  ///< counted from 1; 0: in none of them
    std::atomic<int> calls{0};
    std::atomic<DWORD> threadId{0};
};

unsigned int RunWork(void* pParam)
{
    Work& work = *static_cast<Work*>(pParam);
    work.threadId = GetCurrentThreadId();
    const int call = ++work.calls;
    if (call == work.stopInCall)
    {
        work.pThread->m_S_SetStopFlag();
    }
    if (call > static_cast<int>(work.results.size()))
    {
        work.pThread->m_S_SetStopFlag();
        return kNoSleep;
    }
    return work.results[static_cast<std::size_t>(call) - 1];
}

/// Holds the calling thread until it is opened.
struct Gate
{
    Gate() : opened(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {}
    OwnedHandle opened;
    std::atomic<int> calls{0};
};

unsigned int WaitAtGate(void* pParam)
{
    Gate& gate = *static_cast<Gate*>(pParam);
    ++gate.calls;
    WaitForSingleObject(gate.opened.Get(), INFINITE);
    return kNoSleep;
}

unsigned int CountAndAskForAMinute(void* pParam)
{
    ++*static_cast<std::atomic<int>*>(pParam);
    return 60000;
}

unsigned int CountAndAskForOnce(void* pParam)
{
    ++*static_cast<std::atomic<int>*>(pParam);
    return kNoSleep;
}

class DerivedThread : public CStdThread
{
public:
    ~DerivedThread() { m_F_n_CloseThread(3000); }
    unsigned int m_F_n_ThredRun() override
    {
        ++calls;
        return 10;
    }
    using CStdThread::m_S_Sleep;

    std::atomic<int> calls{0};
};

// A time that passes only while the library sleeps, and then at once.
std::mutex g_timeLock;
std::uint64_t g_now = 0;
std::vector<DWORD> g_sleeps;
CStdThread* g_stopInSleepOf = nullptr;
std::size_t g_stopInSleep = 0;

void WINAPI PassingSleep(DWORD time)
{
    const std::lock_guard<std::mutex> guard(g_timeLock);
    g_sleeps.push_back(time);
    g_now += time;
    if (g_stopInSleepOf != nullptr && g_sleeps.size() == g_stopInSleep)
    {
        g_stopInSleepOf->m_S_SetStopFlag();
    }
}

__time64_t __cdecl PassingSeconds(__time64_t* pTime)
{
    const std::lock_guard<std::mutex> guard(g_timeLock);
    const __time64_t seconds = static_cast<__time64_t>(g_now / 1000);
    if (pTime != nullptr)
    {
        *pTime = seconds;
    }
    return seconds;
}

void WINAPI PassingSystemTime(SYSTEMTIME* pTime)
{
    const std::lock_guard<std::mutex> guard(g_timeLock);
    *pTime = {};
    pTime->wMilliseconds = static_cast<WORD>(g_now % 1000);
}

/// The library's clock and sleep, replaced; the thread's sleeps are then known exactly.
class StdThreadInPassingTime : public ::testing::Test
{
protected:
    StdThreadInPassingTime()
    {
        g_now = 1700000000990;
        g_sleeps.clear();
        g_stopInSleepOf = nullptr;
    }

    void StopInSleep(std::size_t sleep)
    {
        g_stopInSleepOf = &thread;
        g_stopInSleep = sleep;
    }

    /// @return the sleeps of a thread that gets these results from its work and then a stop.
    std::vector<DWORD> SleepsAfter(std::vector<unsigned int> results, int stopInCall = 0)
    {
        work.results = std::move(results);
        work.pThread = &thread;
        work.stopInCall = stopInCall;
        EXPECT_EQ(1, thread.m_F_n_CreaetThread(RunWork, &work));
        AwaitEnd();
        return Sleeps();
    }

    std::vector<DWORD> SleepsAfterCounted(int count, std::vector<unsigned int> results,
                                          int stopInCall = 0)
    {
        work.results = std::move(results);
        work.pThread = &thread;
        work.stopInCall = stopInCall;
        EXPECT_EQ(1, thread.m_F_n_CreaetThreadByCount(count, RunWork, &work));
        AwaitEnd();
        return Sleeps();
    }

    std::vector<DWORD> Sleeps()
    {
        const std::lock_guard<std::mutex> guard(g_timeLock);
        return g_sleeps;
    }

    void AwaitEnd()
    {
        if (WaitForSingleObject(thread.vm_hThread, 5000) != WAIT_OBJECT_0)
        {
            ADD_FAILURE() << "the thread does not end";
            thread.m_S_SetStopFlag();
            WaitForSingleObject(thread.vm_hThread, 5000);
        }
    }

    const ImportPatch<decltype(PassingSleep)> sleepPatch{"Sleep", PassingSleep};
    const ImportPatch<decltype(PassingSeconds)> secondsPatch{"_time64", PassingSeconds};
    const ImportPatch<decltype(PassingSystemTime)> systemTimePatch{"GetSystemTime",
                                                                   PassingSystemTime};
    Work work;
    DerivedThread thread;
};

std::vector<DWORD> Slices(std::size_t count)
{
    return std::vector<DWORD>(count, 50);
}

TEST(StdThread, ConstantsAreFiftyMillisecondsAndTheMarkForNoSleep)
{
    EXPECT_EQ(50, CStdThread::vs_nMaxSleepMS);
    EXPECT_EQ(0xFEDCBA98u, CStdThread::vs_nNoSleep);
}

TEST(StdThread, AFreshObjectIsStoppedAndEmpty)
{
    CStdThread thread;
    EXPECT_EQ(nullptr, thread.vm_pfnThread);
    EXPECT_EQ(nullptr, thread.vm_hThread);
    EXPECT_EQ(0u, thread.vm_nThreadID);
    EXPECT_TRUE(thread.vm_bStop);
    EXPECT_EQ(nullptr, thread.vm_pParam);
    EXPECT_EQ(0, thread.vm_nCount);
    EXPECT_FALSE(thread.m_F_b_IsCreate());
}

TEST(StdThread, FieldsStandInTheirOrderBehindTheVirtualTable)
{
    CStdThread thread;
    const auto offsetOf = [&](const void* field)
    {
        return static_cast<const unsigned char*>(field) -
               reinterpret_cast<const unsigned char*>(&thread);
    };
    EXPECT_EQ(8, offsetOf(&thread.vm_pfnThread));
    EXPECT_EQ(16, offsetOf(&thread.vm_hThread));
    EXPECT_EQ(24, offsetOf(&thread.vm_nThreadID));
    EXPECT_EQ(28, offsetOf(&thread.vm_bStop));
    EXPECT_EQ(32, offsetOf(&thread.vm_pParam));
    EXPECT_EQ(40, offsetOf(&thread.vm_nCount));
}

TEST(StdThread, TheWorkIsTheFirstVirtualMember)
{
    DerivedThread thread;
    using Run = unsigned int (*)(CStdThread*);
    const Run run = (*reinterpret_cast<Run* const*>(static_cast<CStdThread*>(&thread)))[0];
    EXPECT_EQ(10u, run(&thread));
    EXPECT_EQ(1, thread.calls);
}

TEST(StdThread, TheBaseWorkAsksForASecond)
{
    CStdThread thread;
    EXPECT_EQ(1000u, thread.m_F_n_ThredRun());
}

/// An object whose fields all differ from a fresh one's; it runs nothing.
void FillFields(CStdThread& thread, HANDLE handle)
{
    thread.vm_pfnThread = RunWork;
    thread.vm_hThread = handle;
    thread.vm_nThreadID = 77;
    thread.vm_bStop = false;
    thread.vm_pParam = &g_objects[1];
    thread.vm_nCount = 9;
}

void ExpectFilledFields(const CStdThread& thread, HANDLE handle)
{
    EXPECT_EQ(RunWork, thread.vm_pfnThread);
    EXPECT_EQ(handle, thread.vm_hThread);
    EXPECT_EQ(77u, thread.vm_nThreadID);
    EXPECT_FALSE(thread.vm_bStop);
    EXPECT_EQ(&g_objects[1], thread.vm_pParam);
    EXPECT_EQ(9, thread.vm_nCount);
}

TEST(StdThread, TheCopyHasAllFieldsAndSharesTheHandle)
{
    const OwnedHandle event(CreateEventW(nullptr, TRUE, TRUE, nullptr));
    CStdThread thread;
    FillFields(thread, event.Get());
    CStdThread copy(thread);
    ExpectFilledFields(copy, event.Get());
    ExpectFilledFields(thread, event.Get());
    copy.vm_hThread = thread.vm_hThread = nullptr;
}

TEST(StdThread, TheAssignmentCopiesAllFieldsAndSharesTheHandle)
{
    const OwnedHandle event(CreateEventW(nullptr, TRUE, TRUE, nullptr));
    CStdThread thread;
    FillFields(thread, event.Get());
    CStdThread other;
    EXPECT_EQ(&other, &(other = thread));
    ExpectFilledFields(other, event.Get());
    ExpectFilledFields(thread, event.Get());
    other.vm_hThread = thread.vm_hThread = nullptr;
}

TEST(StdThread, CreateStoresItsArgumentsAndTheRunningThread)
{
    Gate gate;
    CStdThread thread;
    EXPECT_EQ(1, thread.m_F_n_CreaetThread(WaitAtGate, &gate));
    ASSERT_NE(nullptr, thread.vm_hThread);
    EXPECT_NE(0u, thread.vm_nThreadID);
    EXPECT_EQ(GetThreadId(thread.vm_hThread), thread.vm_nThreadID);
    EXPECT_FALSE(thread.vm_bStop);
    EXPECT_EQ(WaitAtGate, thread.vm_pfnThread);
    EXPECT_EQ(&gate, thread.vm_pParam);
    EXPECT_TRUE(thread.m_F_b_IsCreate());
    SetEvent(gate.opened.Get());
    EXPECT_EQ(0, thread.m_F_n_CloseThread(3000));
}

TEST(StdThread, CreateByCountStoresItsArgumentsAndTheRunningThread)
{
    Gate gate;
    CStdThread thread;
    EXPECT_EQ(1, thread.m_F_n_CreaetThreadByCount(12, WaitAtGate, &gate));
    ASSERT_NE(nullptr, thread.vm_hThread);
    EXPECT_EQ(GetThreadId(thread.vm_hThread), thread.vm_nThreadID);
    EXPECT_FALSE(thread.vm_bStop);
    EXPECT_EQ(WaitAtGate, thread.vm_pfnThread);
    EXPECT_EQ(&gate, thread.vm_pParam);
    EXPECT_EQ(12, thread.vm_nCount);
    EXPECT_TRUE(thread.m_F_b_IsCreate());
    SetEvent(gate.opened.Get());
    EXPECT_EQ(0, thread.m_F_n_CloseThread(3000));
}

TEST(StdThread, TheWorkRunsOnAThreadOfItsOwnWithItsArgument)
{
    Work work;
    CStdThread thread;
    work.pThread = &thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(RunWork, &work));
    EXPECT_TRUE(Eventually([&] { return work.calls == 1; }));
    EXPECT_NE(0u, work.threadId);
    EXPECT_NE(GetCurrentThreadId(), work.threadId);
}

TEST(StdThread, WithoutAWorkFunctionTheVirtualMemberIsTheWork)
{
    DerivedThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(nullptr, nullptr));
    EXPECT_TRUE(Eventually([&] { return thread.calls >= 3; }));
}

TEST(StdThread, WithoutAWorkFunctionTheVirtualMemberIsTheCountedWork)
{
    DerivedThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThreadByCount(4, nullptr, nullptr));
    WaitForSingleObject(thread.vm_hThread, 5000);
    EXPECT_EQ(4, thread.calls);
}

TEST(StdThread, WithAWorkFunctionTheVirtualMemberIsNotCalled)
{
    std::atomic<int> calls{0};
    DerivedThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThreadByCount(3, CountAndAskForOnce, &calls));
    WaitForSingleObject(thread.vm_hThread, 5000);
    EXPECT_EQ(3, calls);
    EXPECT_EQ(0, thread.calls);
}

TEST_F(StdThreadInPassingTime, TheMarkForNoSleepSleepsNever)
{
    EXPECT_EQ(Slices(0), SleepsAfter({kNoSleep, kNoSleep, kNoSleep}));
    EXPECT_EQ(4, work.calls);
}

TEST_F(StdThreadInPassingTime, UpToFiftyMillisecondsAreOneSleepOfThatLength)
{
    EXPECT_EQ((std::vector<DWORD>{0, 1, 30, 49, 50}), SleepsAfter({0, 1, 30, 49, 50}));
    EXPECT_EQ(6, work.calls);
}

TEST_F(StdThreadInPassingTime, FiftyOneMillisecondsAreTwoSlices)
{
    EXPECT_EQ(Slices(2), SleepsAfter({51}));
}

TEST_F(StdThreadInPassingTime, AWaitEndsOnlyPastItsDeadline)
{
    // At 100 ms the deadline is reached, but not passed.
    EXPECT_EQ(Slices(3), SleepsAfter({100}));
}

TEST_F(StdThreadInPassingTime, ASecondIsWaitedForInSlices)
{
    EXPECT_EQ(Slices(21), SleepsAfter({1000}));
    EXPECT_EQ(2, work.calls);
}

TEST_F(StdThreadInPassingTime, TheBaseWorkWaitsASecondBetweenItsCalls)
{
    CStdThread base;
    ASSERT_EQ(1, base.m_F_n_CreaetThreadByCount(3, nullptr, nullptr));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(base.vm_hThread, 5000));
    EXPECT_EQ(Slices(42), Sleeps());
}

TEST_F(StdThreadInPassingTime, AResultFromTwoToTheThirtyOneOnIsNegativeAndOneSlice)
{
    EXPECT_EQ(Slices(3), SleepsAfter({0x80000000u, 0xFFFFFFFFu, 0xFEDCBA99u}));
    EXPECT_EQ(4, work.calls);
}

TEST_F(StdThreadInPassingTime, AStopDuringTheWorkSkipsALongWait)
{
    EXPECT_EQ(Slices(0), SleepsAfter({1000, 1000}, 1));
    EXPECT_EQ(1, work.calls);
}

TEST_F(StdThreadInPassingTime, AStopDuringTheWorkDoesNotSkipAPlainSleep)
{
    EXPECT_EQ((std::vector<DWORD>{30}), SleepsAfter({30, 30}, 1));
    EXPECT_EQ(1, work.calls);
}

TEST_F(StdThreadInPassingTime, AStopDuringTheWorkEndsTheLoopWithoutSleep)
{
    EXPECT_EQ(Slices(0), SleepsAfter({kNoSleep, kNoSleep}, 1));
    EXPECT_EQ(1, work.calls);
}

TEST_F(StdThreadInPassingTime, AStopDuringALongWaitEndsItWithItsSlice)
{
    StopInSleep(3);
    EXPECT_EQ(Slices(3), SleepsAfter({60000, 60000}));
    EXPECT_EQ(1, work.calls);
}

TEST_F(StdThreadInPassingTime, AStopDuringAPlainSleepIsSeenAtTheLoopTest)
{
    StopInSleep(1);
    EXPECT_EQ((std::vector<DWORD>{30}), SleepsAfter({30, 30}));
    EXPECT_EQ(1, work.calls);
}

TEST_F(StdThreadInPassingTime, ACountOfThreeIsThreeCallsWithoutASleepAfterTheLast)
{
    EXPECT_EQ((std::vector<DWORD>{20, 20}), SleepsAfterCounted(3, {20, 20, 20, 20}));
    EXPECT_EQ(3, work.calls);
}

TEST_F(StdThreadInPassingTime, ACountedThreadWaitsInSlicesToo)
{
    EXPECT_EQ(Slices(3), SleepsAfterCounted(2, {100, 100, 100}));
    EXPECT_EQ(2, work.calls);
}

TEST_F(StdThreadInPassingTime, ACountedThreadTakesTheMarkForNoSleep)
{
    EXPECT_EQ(Slices(0), SleepsAfterCounted(3, {kNoSleep, kNoSleep, kNoSleep, kNoSleep}));
    EXPECT_EQ(3, work.calls);
}

TEST_F(StdThreadInPassingTime, ACountOfOneOrLessIsOneCall)
{
    for (const int count : {1, 0, -1, static_cast<int>(0x80000000)})
    {
        work.calls = 0;
        EXPECT_EQ(Slices(0), SleepsAfterCounted(count, {1000, 1000, 1000})) << count;
        EXPECT_EQ(1, work.calls) << count;
    }
}

TEST_F(StdThreadInPassingTime, ACountedThreadStopsBeforeItsCount)
{
    EXPECT_EQ((std::vector<DWORD>{10}), SleepsAfterCounted(9, {10, 1000, 10}, 2));
    EXPECT_EQ(2, work.calls);
}

TEST_F(StdThreadInPassingTime, ACountedThreadIsStoppedInALongWait)
{
    StopInSleep(2);
    EXPECT_EQ(Slices(2), SleepsAfterCounted(9, {60000, 60000}));
    EXPECT_EQ(1, work.calls);
}

TEST_F(StdThreadInPassingTime, TheStopAwareSleepReturnsAtOnceWhenStopped)
{
    thread.vm_bStop = true;
    thread.m_S_Sleep(1000);
    EXPECT_EQ(Slices(0), Sleeps());
}

TEST_F(StdThreadInPassingTime, TheStopAwareSleepAlwaysSleepsItsFirstSlice)
{
    thread.vm_bStop = false;
    thread.m_S_Sleep(0);
    EXPECT_EQ(Slices(1), Sleeps());
    thread.m_S_Sleep(-1000);
    EXPECT_EQ(Slices(2), Sleeps());
}

TEST_F(StdThreadInPassingTime, TheStopAwareSleepLastsWhileTheDeadlineIsNotPassed)
{
    thread.vm_bStop = false;
    thread.m_S_Sleep(49);
    EXPECT_EQ(Slices(1), Sleeps());
    g_sleeps.clear();
    thread.m_S_Sleep(50);
    EXPECT_EQ(Slices(2), Sleeps());
    g_sleeps.clear();
    thread.m_S_Sleep(1000);
    EXPECT_EQ(Slices(21), Sleeps());
}

TEST_F(StdThreadInPassingTime, TheStopAwareSleepIsEndedByAStop)
{
    thread.vm_bStop = false;
    StopInSleep(4);
    thread.m_S_Sleep(60000);
    EXPECT_EQ(Slices(4), Sleeps());
}

TEST(StdThread, AResultOfASecondRunsAboutOnceASecondAndClosesPromptly)
{
    struct Times
    {
        std::atomic<int> calls{0};
        std::atomic<ULONGLONG> at[4] = {};
    } times;
    CStdThread thread;
    const auto work = [](void* pParam) -> unsigned int
    {
        Times& seen = *static_cast<Times*>(pParam);
        const int call = seen.calls;
        seen.at[call < 4 ? call : 3] = GetTickCount64();
        ++seen.calls;
        return 1000;
    };
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(work, &times));
    ASSERT_TRUE(Eventually([&] { return times.calls == 2; }));
    EXPECT_GE(times.at[1] - times.at[0], 950u);
    const ULONGLONG before = GetTickCount64();
    EXPECT_EQ(0, thread.m_F_n_CloseThread(3000));
    EXPECT_LT(GetTickCount64() - before, 2500u);
}

TEST(StdThread, AStopIsSeenDuringAWaitOfAMinute)
{
    std::atomic<int> calls{0};
    CStdThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(CountAndAskForAMinute, &calls));
    ASSERT_TRUE(Eventually([&] { return calls == 1; }));
    EXPECT_EQ(0, thread.m_F_n_CloseThread(3000));
    EXPECT_EQ(1, calls);
}

TEST(StdThread, AWorkThatBlocksDelaysTheStopUntilItReturns)
{
    struct Slow
    {
        std::atomic<bool> isIn{false};
        std::atomic<bool> isOut{false};
    } slow;
    const auto work = [](void* pParam) -> unsigned int
    {
        Slow& seen = *static_cast<Slow*>(pParam);
        seen.isIn = true;
        Sleep(200);
        seen.isOut = true;
        return kNoSleep;
    };
    CStdThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(work, &slow));
    ASSERT_TRUE(Eventually([&] { return slow.isIn.load(); }));
    EXPECT_EQ(0, thread.m_F_n_CloseThread(3000));
    EXPECT_TRUE(slow.isOut);
}

TEST(StdThread, AThreadThatEndsByItselfClearsItsIdentifierAndKeepsItsHandle)
{
    std::atomic<int> calls{0};
    CStdThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThreadByCount(3, CountAndAskForOnce, &calls));
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread.vm_hThread, 5000));
    EXPECT_EQ(3, calls);
    EXPECT_EQ(0u, thread.vm_nThreadID);
    EXPECT_NE(nullptr, thread.vm_hThread);
    DWORD code = 1;
    EXPECT_TRUE(GetExitCodeThread(thread.vm_hThread, &code));
    EXPECT_EQ(0u, code);
}

TEST(StdThread, AskingAfterAThreadThatHasEndedClosesItsHandle)
{
    std::atomic<int> calls{0};
    CStdThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThreadByCount(3, CountAndAskForOnce, &calls));
    const HANDLE handle = thread.vm_hThread;
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(handle, 5000));
    EXPECT_FALSE(thread.m_F_b_IsCreate());
    EXPECT_EQ(nullptr, thread.vm_hThread);
    EXPECT_FALSE(IsOpenHandle(handle));
    EXPECT_TRUE(thread.vm_bStop);
    EXPECT_FALSE(thread.m_F_b_IsCreate());
}

TEST(StdThread, AThreadThatEndsAtOnceIsNeverTakenForARunningOne)
{
    std::atomic<int> calls{0};
    for (int i = 0; i < 300; ++i)
    {
        CStdThread thread;
        ASSERT_EQ(1, thread.m_F_n_CreaetThreadByCount(1, CountAndAskForOnce, &calls));
        ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread.vm_hThread, 5000));
        ASSERT_EQ(0u, thread.vm_nThreadID) << "round " << i;
        ASSERT_FALSE(thread.m_F_b_IsCreate()) << "round " << i;
    }
    EXPECT_EQ(300, calls);
}

TEST(StdThread, TheStopFlagEndsTheThreadAndKeepsItsHandle)
{
    std::atomic<int> calls{0};
    CStdThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(CountAndAskForAMinute, &calls));
    ASSERT_TRUE(Eventually([&] { return calls == 1; }));
    const HANDLE handle = thread.vm_hThread;
    thread.m_S_SetStopFlag();
    EXPECT_TRUE(thread.vm_bStop);
    EXPECT_EQ(handle, thread.vm_hThread);
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(handle, 5000));
    EXPECT_EQ(handle, thread.vm_hThread);
    EXPECT_EQ(0u, thread.vm_nThreadID);
    EXPECT_EQ(&calls, thread.vm_pParam);
    EXPECT_EQ(0, thread.m_F_n_CloseThread(3000));
    EXPECT_FALSE(IsOpenHandle(handle));
}

TEST(StdThread, TheStopFlagOfAFreshObjectChangesNothingElse)
{
    CStdThread thread;
    thread.vm_bStop = false;
    thread.m_S_SetStopFlag();
    EXPECT_TRUE(thread.vm_bStop);
    EXPECT_EQ(nullptr, thread.vm_hThread);
    EXPECT_EQ(0u, thread.vm_nThreadID);
}

TEST(StdThread, CloseClosesTheHandleAndStaysStopped)
{
    std::atomic<int> calls{0};
    CStdThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(CountAndAskForAMinute, &calls));
    const HANDLE handle = thread.vm_hThread;
    EXPECT_EQ(0, thread.m_F_n_CloseThread(3000));
    EXPECT_FALSE(IsOpenHandle(handle));
    EXPECT_EQ(nullptr, thread.vm_hThread);
    EXPECT_EQ(0u, thread.vm_nThreadID);
    EXPECT_TRUE(thread.vm_bStop);
    EXPECT_EQ(0, thread.m_F_n_CloseThread(3000));
}

TEST(StdThread, CloseWithoutAThreadSetsTheStopFlagAndReturnsZero)
{
    CStdThread thread;
    thread.vm_bStop = false;
    EXPECT_EQ(0, thread.m_F_n_CloseThread(3000));
    EXPECT_TRUE(thread.vm_bStop);
}

std::string ForceMessage(HANDLE handle, int timeout)
{
    char text[128];
    std::snprintf(text, sizeof(text), "m_F_n_CloseThread force vm_hThread = 0x%08x, TIMEOUT = %d",
                  static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(handle)), timeout);
    return text;
}

TEST(StdThread, AWorkThatNeverReturnsIsTerminatedAndReported)
{
    Gate gate;
    CStdThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(WaitAtGate, &gate));
    ASSERT_TRUE(Eventually([&] { return gate.calls == 1; }));
    const HANDLE handle = thread.vm_hThread;
    const OwnedHandle copy(Duplicate(handle));
    const OutputCapture output;
    const ULONGLONG before = GetTickCount64();
    EXPECT_EQ(1, thread.m_F_n_CloseThread(100));
    EXPECT_GE(GetTickCount64() - before, 90u);
    EXPECT_EQ(std::vector<std::string>{ForceMessage(handle, 100)}, output.Texts());
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(copy.Get(), 3000));
    DWORD code = 1;
    EXPECT_TRUE(GetExitCodeThread(copy.Get(), &code));
    EXPECT_EQ(0u, code);
    EXPECT_FALSE(IsOpenHandle(handle));
    EXPECT_EQ(nullptr, thread.vm_hThread);
    EXPECT_EQ(0u, thread.vm_nThreadID);
    EXPECT_TRUE(thread.vm_bStop);
    EXPECT_FALSE(thread.m_F_b_IsCreate());
}

TEST(StdThread, AnOrderlyCloseReportsNothing)
{
    std::atomic<int> calls{0};
    CStdThread thread;
    const OutputCapture output;
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(CountAndAskForAMinute, &calls));
    EXPECT_EQ(0, thread.m_F_n_CloseThread(3000));
    EXPECT_TRUE(output.Texts().empty());
}

std::mutex g_waitLock;
std::vector<DWORD> g_waits;
HANDLE g_unendingThread = nullptr;

/// Waits, but for the thread that is said not to end.
DWORD WINAPI WatchedWait(HANDLE handle, DWORD timeout)
{
    {
        const std::lock_guard<std::mutex> guard(g_waitLock);
        g_waits.push_back(timeout);
        if (handle == g_unendingThread)
        {
            return WAIT_TIMEOUT;
        }
    }
    return WaitForSingleObject(handle, timeout);
}

class StdThreadWaits : public ::testing::Test
{
protected:
    StdThreadWaits()
    {
        g_waits.clear();
        g_unendingThread = nullptr;
    }

    const ImportPatch<decltype(WatchedWait)> patch{"WaitForSingleObject", WatchedWait};
    std::atomic<int> calls{0};
};

TEST_F(StdThreadWaits, CloseWaitsForItsTimeOut)
{
    CStdThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(CountAndAskForAMinute, &calls));
    thread.m_F_n_CloseThread(1234);
    EXPECT_EQ(std::vector<DWORD>{1234}, g_waits);
}

TEST_F(StdThreadWaits, DestructionWaitsThreeSeconds)
{
    {
        CStdThread thread;
        ASSERT_EQ(1, thread.m_F_n_CreaetThread(CountAndAskForAMinute, &calls));
    }
    EXPECT_EQ(std::vector<DWORD>{3000}, g_waits);
}

TEST_F(StdThreadWaits, DestructionTerminatesAThreadThatDoesNotEnd)
{
    Gate gate;
    HANDLE handle = nullptr;
    const OutputCapture output;
    {
        CStdThread thread;
        ASSERT_EQ(1, thread.m_F_n_CreaetThread(WaitAtGate, &gate));
        ASSERT_TRUE(Eventually([&] { return gate.calls == 1; }));
        g_unendingThread = handle = thread.vm_hThread;
    }
    EXPECT_EQ(std::vector<std::string>{ForceMessage(handle, 3000)}, output.Texts());
    EXPECT_FALSE(IsOpenHandle(handle));
}

TEST_F(StdThreadWaits, CreateClosesAnEarlierThreadFirstWithinThreeSeconds)
{
    CStdThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(CountAndAskForAMinute, &calls));
    const OwnedHandle earlier(Duplicate(thread.vm_hThread));
    std::atomic<int> laterCalls{0};
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(CountAndAskForAMinute, &laterCalls));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(earlier.Get(), 0));
    EXPECT_EQ(std::vector<DWORD>{3000}, g_waits);
    EXPECT_TRUE(Eventually([&] { return laterCalls == 1; }));
}

TEST_F(StdThreadWaits, CreateByCountClosesAnEarlierThreadFirstWithinThreeSeconds)
{
    CStdThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(CountAndAskForAMinute, &calls));
    const OwnedHandle earlier(Duplicate(thread.vm_hThread));
    std::atomic<int> laterCalls{0};
    ASSERT_EQ(1, thread.m_F_n_CreaetThreadByCount(2, CountAndAskForOnce, &laterCalls));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(earlier.Get(), 0));
    EXPECT_EQ(std::vector<DWORD>{3000}, g_waits);
    EXPECT_TRUE(Eventually([&] { return laterCalls == 2; }));
}

TEST_F(StdThreadWaits, CreateTerminatesAnEarlierThreadThatDoesNotEnd)
{
    Gate gate;
    CStdThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(WaitAtGate, &gate));
    ASSERT_TRUE(Eventually([&] { return gate.calls == 1; }));
    const HANDLE handle = g_unendingThread = thread.vm_hThread;
    const OwnedHandle earlier(Duplicate(handle));
    const OutputCapture output;
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(CountAndAskForAMinute, &calls));
    g_unendingThread = nullptr;
    EXPECT_EQ(std::vector<std::string>{ForceMessage(handle, 3000)}, output.Texts());
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(earlier.Get(), 3000));
    EXPECT_TRUE(Eventually([&] { return calls == 1; }));
}

TEST_F(StdThreadWaits, AskingAfterAThreadThatHasEndedReapsItWithinAHundredMilliseconds)
{
    CStdThread thread;
    ASSERT_EQ(1, thread.m_F_n_CreaetThreadByCount(1, CountAndAskForOnce, &calls));
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread.vm_hThread, 5000));
    EXPECT_FALSE(thread.m_F_b_IsCreate());
    EXPECT_EQ(std::vector<DWORD>{100}, g_waits);
}

TEST_F(StdThreadWaits, AskingAfterARunningOrNoThreadWaitsForNothing)
{
    CStdThread thread;
    EXPECT_FALSE(thread.m_F_b_IsCreate());
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(CountAndAskForAMinute, &calls));
    EXPECT_TRUE(thread.m_F_b_IsCreate());
    EXPECT_TRUE(g_waits.empty());
}

struct ThreadStart
{
    unsigned int stack;
    unsigned int(__stdcall* entry)(void*);
    void* argument;
    unsigned int flags;
};
ThreadStart g_start = {};

std::uintptr_t __cdecl WatchedStart(void* security, unsigned int stack,
                                    unsigned int(__stdcall* entry)(void*), void* argument,
                                    unsigned int flags, unsigned int* identifier)
{
    g_start = {stack, entry, argument, flags};
    return _beginthreadex(security, stack, entry, argument, flags, identifier);
}

std::uintptr_t __cdecl FailingStart(void*, unsigned int, unsigned int(__stdcall*)(void*), void*,
                                    unsigned int, unsigned int*)
{
    return 0;
}

TEST(StdThread, CreateStartsItsEntryPointOnThisObject)
{
    std::atomic<int> calls{0};
    CStdThread thread;
    const ImportPatch patch("_beginthreadex", WatchedStart);
    ASSERT_EQ(1, thread.m_F_n_CreaetThread(CountAndAskForAMinute, &calls));
    EXPECT_EQ(0u, g_start.stack);
    EXPECT_EQ(0u, g_start.flags);
    EXPECT_EQ(&CStdThread::m_S_ThreadProc, g_start.entry);
    EXPECT_EQ(&thread, g_start.argument);
}

TEST(StdThread, CreateByCountStartsItsEntryPointOnThisObject)
{
    std::atomic<int> calls{0};
    CStdThread thread;
    const ImportPatch patch("_beginthreadex", WatchedStart);
    ASSERT_EQ(1, thread.m_F_n_CreaetThreadByCount(1, CountAndAskForAMinute, &calls));
    EXPECT_EQ(0u, g_start.stack);
    EXPECT_EQ(0u, g_start.flags);
    EXPECT_EQ(&CStdThread::m_S_ThreadProcByCount, g_start.entry);
    EXPECT_EQ(&thread, g_start.argument);
}

TEST(StdThread, AFailedCreateIsReportedAndKeepsItsArguments)
{
    CStdThread thread;
    const ImportPatch patch("_beginthreadex", FailingStart);
    const OutputCapture output;
    EXPECT_EQ(0, thread.m_F_n_CreaetThread(RunWork, &g_objects[2]));
    EXPECT_EQ(std::vector<std::string>{"m_F_n_CreaetThread error"}, output.Texts());
    EXPECT_EQ(RunWork, thread.vm_pfnThread);
    EXPECT_EQ(&g_objects[2], thread.vm_pParam);
    EXPECT_EQ(nullptr, thread.vm_hThread);
    EXPECT_EQ(0u, thread.vm_nThreadID);
    EXPECT_FALSE(thread.m_F_b_IsCreate());
}

TEST(StdThread, AFailedCreateByCountIsReportedAndKeepsItsArguments)
{
    CStdThread thread;
    const ImportPatch patch("_beginthreadex", FailingStart);
    const OutputCapture output;
    EXPECT_EQ(0, thread.m_F_n_CreaetThreadByCount(7, RunWork, &g_objects[2]));
    EXPECT_EQ(std::vector<std::string>{"m_F_n_CreaetThreadByCount error"}, output.Texts());
    EXPECT_EQ(RunWork, thread.vm_pfnThread);
    EXPECT_EQ(&g_objects[2], thread.vm_pParam);
    EXPECT_EQ(7, thread.vm_nCount);
    EXPECT_EQ(nullptr, thread.vm_hThread);
    EXPECT_EQ(0u, thread.vm_nThreadID);
}

TEST(StdThread, AnEntryPointWithoutAnObjectReturnsZero)
{
    EXPECT_EQ(0u, CStdThread::m_S_ThreadProc(nullptr));
    EXPECT_EQ(0u, CStdThread::m_S_ThreadProcByCount(nullptr));
}

void ExpectEntryPointEndsWhenAlreadyStopped(unsigned int(__stdcall* entry)(void*))
{
    std::atomic<int> calls{0};
    CStdThread thread;
    thread.vm_pfnThread = CountAndAskForOnce;
    thread.vm_pParam = &calls;
    thread.vm_nThreadID = 77;
    thread.vm_nCount = 3;
    const OwnedHandle handle(
        reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, entry, &thread, 0, nullptr)));
    ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(handle.Get(), 5000));
    DWORD code = 1;
    EXPECT_TRUE(GetExitCodeThread(handle.Get(), &code));
    EXPECT_EQ(0u, code);
    EXPECT_EQ(0, calls);
    EXPECT_EQ(0u, thread.vm_nThreadID);
}

TEST(StdThread, AnEntryPointOfAStoppedObjectEndsWithoutWork)
{
    ExpectEntryPointEndsWhenAlreadyStopped(&CStdThread::m_S_ThreadProc);
    ExpectEntryPointEndsWhenAlreadyStopped(&CStdThread::m_S_ThreadProcByCount);
}

TEST(StdThread, AnObjectMayBeUsedAgainAfterItsThread)
{
    std::atomic<int> calls{0};
    CStdThread thread;
    for (int i = 0; i < 3; ++i)
    {
        ASSERT_EQ(1, thread.m_F_n_CreaetThreadByCount(2, CountAndAskForOnce, &calls));
        ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread.vm_hThread, 5000));
    }
    EXPECT_EQ(6, calls);
}

// ---- CFileRW ------------------------------------------------------------------------------------

static_assert(std::is_base_of_v<CFile, CFileRW>);
static_assert(std::is_same_v<decltype(CFileRW::vm_bCanWrite), bool>);
static_assert(emDef_Read == 0 && emDef_ReadWrite == 1 && emDef_Create == 2 &&
              emDef_OpenAlways == 3);
static_assert(std::is_same_v<decltype(&CFileRW::m_F_n_Seek),
                             unsigned __int64 (CFileRW::*)(__int64, unsigned int)>);
static_assert(
    std::is_same_v<decltype(&CFileRW::m_F_n_Read), unsigned int (CFileRW::*)(void*, unsigned int)>);

/// A file name of its own, in the folder for temporary files; deleted at the end.
class FileRW : public ::testing::Test
{
protected:
    FileRW()
    {
        wchar_t folder[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, folder);
        path = folder + UniqueName(L"ostrel_file_");
    }
    ~FileRW() override
    {
        DeleteFileW(path.c_str());
        DeleteFileW(SecondPath().c_str());
    }

    std::wstring SecondPath() const { return path + L"_2"; }
    CStringW Path() const { return path.c_str(); }

    void MakeFile(const std::string& bytes) const { MakeFileAt(path, bytes); }

    static void MakeFileAt(const std::wstring& where, const std::string& bytes)
    {
        const OwnedHandle file(
            CreateFileW(where.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
        ASSERT_TRUE(file.IsValid());
        DWORD count = 0;
        ASSERT_TRUE(
            WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr));
    }

    bool Exists() const { return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

    /// @return the file's bytes, read beside whoever has it open.
    std::string Contents() const
    {
        const OwnedHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                           FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                           OPEN_EXISTING, 0, nullptr));
        char bytes[256];
        DWORD count = 0;
        if (!file.IsValid() || !ReadFile(file.Get(), bytes, sizeof(bytes), &count, nullptr))
        {
            return "(cannot be read)";
        }
        return std::string(bytes, count);
    }

    /// @return whether nobody has the file open.
    static bool IsFree(const std::wstring& where)
    {
        return OwnedHandle(CreateFileW(where.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                       OPEN_EXISTING, 0, nullptr))
            .IsValid();
    }

    static std::string ReadAll(CFileRW& file)
    {
        char bytes[256];
        const unsigned int count = file.m_F_n_Read(bytes, sizeof(bytes));
        return count <= sizeof(bytes) ? std::string(bytes, count) : "(closed)";
    }

    std::wstring path;
};

TEST_F(FileRW, ADefaultObjectOpensNothing)
{
    CFileRW file;
    EXPECT_EQ(0, file.m_F_b_IsOpen());
    EXPECT_FALSE(file.vm_bCanWrite);
}

TEST_F(FileRW, AnArrayOfObjectsOpensNothing)
{
    CFileRW files[3];
    for (CFileRW& file : files)
    {
        EXPECT_EQ(0, file.m_F_b_IsOpen());
    }
}

TEST_F(FileRW, AnEmptyPathOpensNothingInAnyMode)
{
    CFileRW file(CStringA(), emDef_Create);
    EXPECT_EQ(0, file.m_F_b_IsOpen());
}

TEST_F(FileRW, ConstructionOpensTheFileInTheMode)
{
    CFileRW file(CStringA(Path()), emDef_Create);
    EXPECT_EQ(1, file.m_F_b_IsOpen());
    EXPECT_TRUE(file.vm_bCanWrite);
    file.m_S_Write("abc", 3);
    EXPECT_EQ("abc", Contents());
}

TEST_F(FileRW, ConstructionReadsWithoutAMode)
{
    MakeFile("abc");
    CFileRW file{CStringA(Path())};
    EXPECT_EQ(1, file.m_F_b_IsOpen());
    EXPECT_FALSE(file.vm_bCanWrite);
    EXPECT_EQ("abc", ReadAll(file));
}

TEST_F(FileRW, ConstructionOnAMissingFileStaysClosedWithoutException)
{
    CFileRW file(CStringA(Path()), emDef_ReadWrite);
    EXPECT_EQ(0, file.m_F_b_IsOpen());
}

TEST_F(FileRW, ConstructionConvertsItsPathFromTheAnsiCodePage)
{
    ASSERT_EQ(1252u, GetACP());
    const CStringA narrow = CStringA(Path()) + "_\xE9";
    path += L"_\u00E9";
    {
        CFileRW file(narrow, emDef_Create);
        EXPECT_EQ(1, file.m_F_b_IsOpen());
    }
    EXPECT_TRUE(Exists());
}

TEST_F(FileRW, ANarrowPathOpensTheSameFileAsAWideOne)
{
    MakeFile("abc");
    CFileRW wide;
    CFileRW narrow;
    EXPECT_NE(0, wide.m_F_n_Open(Path(), emDef_Read));
    EXPECT_NE(0, narrow.m_F_n_Open(CStringA(Path()), emDef_Read));
    EXPECT_EQ("abc", ReadAll(wide));
    EXPECT_EQ("abc", ReadAll(narrow));
    EXPECT_EQ(std::wstring(wide.GetFilePath()), std::wstring(narrow.GetFilePath()));
}

TEST_F(FileRW, ReadModeOnAMissingFileFails)
{
    CFileRW file;
    EXPECT_EQ(0, file.m_F_n_Open(Path(), emDef_Read));
    EXPECT_EQ(0, file.m_F_b_IsOpen());
    EXPECT_FALSE(Exists());
}

TEST_F(FileRW, ReadModeReadsAndDoesNotWrite)
{
    MakeFile("abc");
    CFileRW file;
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Read));
    EXPECT_FALSE(file.vm_bCanWrite);
    EXPECT_NO_THROW(file.m_S_Write("xyz", 3));
    EXPECT_EQ(0u, file.m_F_n_Seek(0, CFile::current));
    EXPECT_EQ("abc", ReadAll(file));
    EXPECT_NO_THROW(file.m_S_Write("xyz", 3));
    file.m_S_Close();
    EXPECT_EQ("abc", Contents());
}

TEST_F(FileRW, ReadWriteModeOnAMissingFileFails)
{
    CFileRW file;
    EXPECT_EQ(0, file.m_F_n_Open(Path(), emDef_ReadWrite));
    EXPECT_EQ(0, file.m_F_b_IsOpen());
    EXPECT_FALSE(Exists());
}

TEST_F(FileRW, ReadWriteModeKeepsTheContentsAndReadsAndWrites)
{
    MakeFile("abcdef");
    CFileRW file;
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_ReadWrite));
    EXPECT_TRUE(file.vm_bCanWrite);
    char bytes[2];
    EXPECT_EQ(2u, file.m_F_n_Read(bytes, 2));
    EXPECT_EQ("ab", std::string(bytes, 2));
    file.m_S_Write("XY", 2);
    file.m_S_Close();
    EXPECT_EQ("abXYef", Contents());
}

TEST_F(FileRW, CreateModeCreatesAMissingFile)
{
    CFileRW file;
    EXPECT_NE(0, file.m_F_n_Open(Path(), emDef_Create));
    EXPECT_TRUE(file.vm_bCanWrite);
    EXPECT_TRUE(Exists());
}

TEST_F(FileRW, CreateModeEmptiesAnExistingFileAndReadsAndWrites)
{
    MakeFile("abcdef");
    CFileRW file;
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Create));
    EXPECT_EQ("", Contents());
    file.m_S_Write("xyz", 3);
    EXPECT_EQ(1u, file.m_F_n_Seek(1, CFile::begin));
    EXPECT_EQ("yz", ReadAll(file));
}

TEST_F(FileRW, OpenAlwaysModeCreatesAMissingFile)
{
    CFileRW file;
    EXPECT_NE(0, file.m_F_n_Open(Path(), emDef_OpenAlways));
    EXPECT_TRUE(file.vm_bCanWrite);
    EXPECT_TRUE(Exists());
}

TEST_F(FileRW, OpenAlwaysModeKeepsTheContentsAndReadsAndWrites)
{
    MakeFile("abcdef");
    CFileRW file;
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_OpenAlways));
    char bytes[2];
    EXPECT_EQ(2u, file.m_F_n_Read(bytes, 2));
    file.m_S_Write("XY", 2);
    file.m_S_Close();
    EXPECT_EQ("abXYef", Contents());
}

TEST_F(FileRW, AnyOtherModeCountsAsRead)
{
    for (const int mode : {4, 7, -1, 0x1002})
    {
        CFileRW file;
        DeleteFileW(path.c_str());
        EXPECT_EQ(0, file.m_F_n_Open(Path(), static_cast<emDef_OpenType>(mode))) << mode;
        EXPECT_FALSE(Exists()) << mode;
        MakeFile("abc");
        ASSERT_NE(0, file.m_F_n_Open(Path(), static_cast<emDef_OpenType>(mode))) << mode;
        EXPECT_FALSE(file.vm_bCanWrite) << mode;
        file.m_S_Write("xyz", 3);
        EXPECT_EQ("abc", ReadAll(file)) << mode;
        file.m_S_Close();
        EXPECT_EQ("abc", Contents()) << mode;
    }
}

TEST_F(FileRW, OpenClosesAFileThatIsOpen)
{
    MakeFile("abc");
    MakeFileAt(SecondPath(), "def");
    CFileRW file;
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_ReadWrite));
    EXPECT_FALSE(IsFree(path));
    ASSERT_NE(0, file.m_F_n_Open(CStringW(SecondPath().c_str()), emDef_Read));
    EXPECT_TRUE(IsFree(path));
    EXPECT_EQ("def", ReadAll(file));
    EXPECT_FALSE(file.vm_bCanWrite);
}

TEST_F(FileRW, AFailedOpenHasClosedTheFileThatWasOpen)
{
    MakeFile("abc");
    CFileRW file;
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_ReadWrite));
    EXPECT_EQ(0, file.m_F_n_Open(CStringW(SecondPath().c_str()), emDef_ReadWrite));
    EXPECT_EQ(0, file.m_F_b_IsOpen());
    EXPECT_TRUE(IsFree(path));
}

TEST_F(FileRW, ReopeningTheSameFileSucceeds)
{
    CFileRW file;
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Create));
    file.m_S_Write("abc", 3);
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_ReadWrite));
    EXPECT_EQ("abc", ReadAll(file));
}

TEST_F(FileRW, FailuresToOpenAreResultsAndNoExceptions)
{
    wchar_t folder[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, folder);
    for (const int mode : {0, 1, 2, 3})
    {
        const emDef_OpenType type = static_cast<emDef_OpenType>(mode);
        CFileRW file;
        EXPECT_EQ(0, file.m_F_n_Open(Path() + L"\\no\\such\\folder", type)) << mode;
        EXPECT_EQ(0, file.m_F_n_Open(CStringW(folder), type)) << mode;
        EXPECT_EQ(0, file.m_F_n_Open(CStringW(), type)) << mode;
        EXPECT_EQ(0, file.m_F_n_Open(CStringW(L"<?*>"), type)) << mode;
        EXPECT_EQ(0, file.m_F_n_Open(CStringA(), type)) << mode;
        EXPECT_EQ(0, file.m_F_b_IsOpen()) << mode;
    }
}

TEST_F(FileRW, CloseClosesAndMayBeRepeated)
{
    MakeFile("abc");
    CFileRW file;
    file.m_S_Close();
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Read));
    EXPECT_EQ(1, file.m_F_b_IsOpen());
    file.m_S_Close();
    EXPECT_EQ(0, file.m_F_b_IsOpen());
    EXPECT_TRUE(IsFree(path));
    file.m_S_Close();
    EXPECT_EQ(0, file.m_F_b_IsOpen());
}

TEST_F(FileRW, DestructionClosesTheFile)
{
    {
        CFileRW file;
        ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Create));
        EXPECT_FALSE(IsFree(path));
    }
    EXPECT_TRUE(IsFree(path));
}

TEST_F(FileRW, DestructionThroughTheBaseClosesTheFile)
{
    auto* const file = new CFileRW;
    ASSERT_NE(0, file->m_F_n_Open(Path(), emDef_Create));
    CFile* const base = file;
    delete base;
    EXPECT_TRUE(IsFree(path));
}

TEST_F(FileRW, OpenMeansThatTheHandleIsValid)
{
    MakeFile("abc");
    {
        CFileRW file;
        file.m_hFile = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                   OPEN_EXISTING, 0, nullptr);
        ASSERT_NE(INVALID_HANDLE_VALUE, file.m_hFile);
        EXPECT_EQ(1, file.m_F_b_IsOpen());
        file.m_S_Write("xyz", 3);
        EXPECT_EQ("abc", ReadAll(file));
    }
    EXPECT_TRUE(IsFree(path)) << "destruction closes a file that is open";
}

TEST_F(FileRW, WritingToAClosedFileDoesNothing)
{
    CFileRW file;
    EXPECT_NO_THROW(file.m_S_Write("abc", 3));
    file.vm_bCanWrite = true;
    EXPECT_NO_THROW(file.m_S_Write("abc", 3));
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Create));
    file.m_S_Close();
    EXPECT_NO_THROW(file.m_S_Write("abc", 3));
    EXPECT_EQ("", Contents());
}

TEST_F(FileRW, WritingIsGuardedByTheFlagAlone)
{
    CFileRW file;
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Create));
    file.vm_bCanWrite = false;
    file.m_S_Write("abc", 3);
    EXPECT_EQ("", Contents());
    file.vm_bCanWrite = true;
    file.m_S_Write("abc", 3);
    EXPECT_EQ("abc", Contents());
}

TEST_F(FileRW, WritingIsBinary)
{
    CFileRW file;
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Create));
    const std::string bytes("a\n\r\n\x1A\0z", 7);
    file.m_S_Write(bytes.data(), 7);
    file.m_S_Close();
    EXPECT_EQ(bytes, Contents());
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Read));
    EXPECT_EQ(bytes, ReadAll(file));
}

/// @return the cause of the file exception that a write throws; -1 when it throws none.
int CauseOfFailedWrite(CFileRW& file)
{
    int cause = -1;
    try
    {
        file.m_S_Write("abc", 3);
    }
    catch (CFileException* exception)
    {
        cause = exception->m_cause;
        exception->Delete();
    }
    return cause;
}

TEST_F(FileRW, AWriteErrorIsAFileException)
{
    MakeFile("abc");
    CFileRW file;
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Read));
    file.vm_bCanWrite = true;
    EXPECT_EQ(CFileException::accessDenied, CauseOfFailedWrite(file));
}

TEST_F(FileRW, ReadingGivesTheNumberOfBytesRead)
{
    MakeFile("abcde");
    CFileRW file;
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Read));
    char bytes[8] = {};
    EXPECT_EQ(3u, file.m_F_n_Read(bytes, 3));
    EXPECT_EQ(2u, file.m_F_n_Read(bytes, 8));
    EXPECT_EQ("de", std::string(bytes, 2));
    EXPECT_EQ(0u, file.m_F_n_Read(bytes, 8));
}

TEST_F(FileRW, ReadingAClosedFileGivesAllOnes)
{
    char byte = 'x';
    CFileRW file;
    EXPECT_EQ(0xFFFFFFFFu, file.m_F_n_Read(&byte, 1));
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Create));
    file.m_S_Close();
    EXPECT_EQ(0xFFFFFFFFu, file.m_F_n_Read(&byte, 1));
    EXPECT_EQ('x', byte);
}

TEST_F(FileRW, SeekingAClosedFileGivesAllOnesOfThirtyTwoBits)
{
    CFileRW file;
    EXPECT_EQ(0xFFFFFFFFull, file.m_F_n_Seek(0, CFile::begin));
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Create));
    file.m_S_Close();
    EXPECT_EQ(0xFFFFFFFFull, file.m_F_n_Seek(0, CFile::begin));
}

TEST_F(FileRW, SeekingGivesTheNewPosition)
{
    MakeFile("abcde");
    CFileRW file;
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Read));
    EXPECT_EQ(3u, file.m_F_n_Seek(3, CFile::begin));
    EXPECT_EQ(1u, file.m_F_n_Seek(-2, CFile::current));
    EXPECT_EQ("bcde", ReadAll(file));
    EXPECT_EQ(4u, file.m_F_n_Seek(-1, CFile::end));
    EXPECT_EQ("e", ReadAll(file));
}

TEST_F(FileRW, PositionsHaveSixtyFourBits)
{
    CFileRW file;
    ASSERT_NE(0, file.m_F_n_Open(Path(), emDef_Create));
    EXPECT_EQ(5000000000ull, file.m_F_n_Seek(5000000000, CFile::begin));
    EXPECT_EQ(10000000000ull, file.m_F_n_Seek(5000000000, CFile::current));
    EXPECT_EQ(4999999999ull, file.m_F_n_Seek(-5000000001, CFile::current));
}

TEST_F(FileRW, ASecondProcessMayReadButNotWriteInAnyMode)
{
    MakeFile("abc");
    for (const int mode : {0, 2})
    {
        CFileRW file;
        ASSERT_NE(0, file.m_F_n_Open(Path(), static_cast<emDef_OpenType>(mode)));
        EXPECT_EQ(0u, RunSecondProcess(L"--read", path)) << mode;
        EXPECT_EQ(static_cast<DWORD>(ERROR_SHARING_VIOLATION), RunSecondProcess(L"--write", path))
            << mode;
    }
    EXPECT_EQ(0u, RunSecondProcess(L"--write", path));
}

TEST_F(FileRW, AnotherOpenerMayReadButNotWriteInAnyMode)
{
    for (const int mode : {0, 1, 2, 3})
    {
        MakeFile("abc");
        CFileRW file;
        ASSERT_NE(0, file.m_F_n_Open(Path(), static_cast<emDef_OpenType>(mode)));
        const std::string narrow = std::string(CStringA(Path()));
        EXPECT_EQ(0, OpenInSecondProcess(narrow.c_str(), GENERIC_READ)) << mode;
        EXPECT_EQ(ERROR_SHARING_VIOLATION, OpenInSecondProcess(narrow.c_str(), GENERIC_WRITE))
            << mode;
    }
}

TEST_F(FileRW, AFileThatAnotherWritesCannotBeOpened)
{
    const OwnedHandle writer(CreateFileW(path.c_str(), GENERIC_WRITE,
                                         FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                                         0, nullptr));
    ASSERT_TRUE(writer.IsValid());
    for (const int mode : {0, 1, 2, 3})
    {
        CFileRW file;
        EXPECT_EQ(0, file.m_F_n_Open(Path(), static_cast<emDef_OpenType>(mode))) << mode;
    }
}

TEST_F(FileRW, ChildProcessesInheritTheHandle)
{
    // None of the modes has the framework's flag against it.
    for (const int mode : {2, 0, 1, 3})
    {
        CFileRW file;
        ASSERT_NE(0, file.m_F_n_Open(Path(), static_cast<emDef_OpenType>(mode)));
        DWORD flags = 0;
        ASSERT_TRUE(GetHandleInformation(file.m_hFile, &flags));
        EXPECT_EQ(static_cast<DWORD>(HANDLE_FLAG_INHERIT), flags & HANDLE_FLAG_INHERIT) << mode;
    }
}

// ---- CShareMem ----------------------------------------------------------------------------------

static_assert(!std::is_polymorphic_v<CShareMem>);
static_assert(std::is_same_v<decltype(CShareMem::vm_sName), CStringW>);
static_assert(std::is_same_v<decltype(&CShareMem::m_S_CloseSM), int (CShareMem::*)()>);

/// A mapping's name of its own.
class ShareMem : public ::testing::Test
{
protected:
    bool Exists() const
    {
        return OwnedHandle(OpenFileMappingW(FILE_MAP_READ, FALSE, name.c_str())).IsValid();
    }

    int Open(CShareMem& memory, int size, bool mayCreate) const
    {
        return memory.m_F_n_OpenShareMem(CStringW(name.c_str()), size, mayCreate);
    }

    static unsigned char* Bytes(CShareMem& memory)
    {
        return static_cast<unsigned char*>(memory.vm_pView);
    }

    static bool AreAll(const unsigned char* bytes, std::size_t count, unsigned char value)
    {
        for (std::size_t i = 0; i < count; ++i)
        {
            if (bytes[i] != value)
            {
                return false;
            }
        }
        return true;
    }

    std::wstring name = UniqueName(L"Local\\ostrel_share_");
};

TEST_F(ShareMem, AFreshObjectIsEmpty)
{
    CShareMem memory;
    EXPECT_TRUE(memory.vm_sName.IsEmpty());
    EXPECT_EQ(nullptr, memory.vm_pView);
    EXPECT_EQ(0, memory.vm_nSize);
    EXPECT_EQ(nullptr, memory.vm_hMapping);
    EXPECT_EQ(0, memory.m_F_n_IsOpen());
    EXPECT_EQ(0, memory.m_F_n_GetMemSize());
    EXPECT_EQ(0, memory.m_S_CloseSM());
}

TEST_F(ShareMem, AMissingNameIsNotOpenedWithoutCreating)
{
    CShareMem memory;
    EXPECT_EQ(0, Open(memory, 4096, false));
    EXPECT_EQ(0, memory.m_F_n_IsOpen());
    EXPECT_EQ(nullptr, memory.vm_hMapping);
    EXPECT_EQ(nullptr, memory.vm_pView);
    EXPECT_EQ(0, memory.vm_nSize);
    EXPECT_TRUE(memory.vm_sName.IsEmpty());
    EXPECT_FALSE(Exists());
}

TEST_F(ShareMem, ANewBlockIsThereFilledWithZeros)
{
    CShareMem memory;
    EXPECT_EQ(1, Open(memory, 10000, true));
    EXPECT_NE(0, memory.m_F_n_IsOpen());
    EXPECT_EQ(name, std::wstring(memory.vm_sName));
    EXPECT_EQ(10000, memory.vm_nSize);
    EXPECT_EQ(10000, memory.m_F_n_GetMemSize());
    ASSERT_NE(nullptr, memory.vm_pView);
    EXPECT_TRUE(IsOpenHandle(memory.vm_hMapping));
    EXPECT_TRUE(AreAll(Bytes(memory), 10000, 0));
    EXPECT_TRUE(Exists());
}

TEST_F(ShareMem, ASecondObjectSeesTheFirstOnesWritesAndClearsNothing)
{
    CShareMem first;
    ASSERT_EQ(1, Open(first, 4096, true));
    std::memset(first.vm_pView, 0x5A, 4096);
    for (const bool mayCreate : {false, true})
    {
        CShareMem second;
        ASSERT_EQ(1, Open(second, 4096, mayCreate));
        EXPECT_TRUE(AreAll(Bytes(second), 4096, 0x5A)) << mayCreate;
        EXPECT_TRUE(AreAll(Bytes(first), 4096, 0x5A)) << mayCreate;
        Bytes(second)[7] = 0x5A;
    }
}

TEST_F(ShareMem, ABlockOfThePlatformIsOpenedReadAndWritten)
{
    const OwnedHandle mapping(
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 4096, name.c_str()));
    ASSERT_TRUE(mapping.IsValid());
    auto* const view = static_cast<unsigned char*>(
        MapViewOfFile(mapping.Get(), FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, 0));
    ASSERT_NE(nullptr, view);
    view[100] = 17;
    CShareMem memory;
    ASSERT_EQ(1, Open(memory, 4096, false));
    EXPECT_EQ(17, Bytes(memory)[100]);
    Bytes(memory)[4095] = 18;
    EXPECT_EQ(18, view[4095]);
    UnmapViewOfFile(view);
}

TEST_F(ShareMem, ASecondProcessSharesTheBlock)
{
    CShareMem memory;
    ASSERT_EQ(1, Open(memory, 4096, true));
    std::strcpy(static_cast<char*>(memory.vm_pView), kShareGreeting);
    EXPECT_EQ(0u, RunSecondProcess(L"--share", name));
    EXPECT_STREQ(kShareAnswer, static_cast<const char*>(memory.vm_pView));
}

TEST_F(ShareMem, TheSizeAskedForIsStoredAlsoForAnExistingBlock)
{
    CShareMem first;
    ASSERT_EQ(1, Open(first, 8192, true));
    CShareMem second;
    ASSERT_EQ(1, Open(second, 100, false));
    EXPECT_EQ(100, second.m_F_n_GetMemSize());
    EXPECT_EQ(8192, first.m_F_n_GetMemSize());
}

TEST_F(ShareMem, TheWholeOfAnExistingBlockIsMapped)
{
    CShareMem first;
    ASSERT_EQ(1, Open(first, 3 * 65536, true));
    Bytes(first)[3 * 65536 - 1] = 9;
    CShareMem second;
    ASSERT_EQ(1, Open(second, 1, false));
    EXPECT_EQ(9, Bytes(second)[3 * 65536 - 1]);
}

TEST_F(ShareMem, ZeroingFillsTheStoredSizeAndNoMore)
{
    CShareMem first;
    ASSERT_EQ(1, Open(first, 4096, true));
    std::memset(first.vm_pView, 0x77, 4096);
    CShareMem second;
    ASSERT_EQ(1, Open(second, 100, false));
    second.m_S_ZeroMem();
    EXPECT_TRUE(AreAll(Bytes(first), 100, 0));
    EXPECT_TRUE(AreAll(Bytes(first) + 100, 3996, 0x77));
    first.m_S_ZeroMem();
    EXPECT_TRUE(AreAll(Bytes(first), 4096, 0));
}

TEST_F(ShareMem, ZeroingAClosedObjectDoesNothing)
{
    CShareMem memory;
    memory.m_S_ZeroMem();
    ASSERT_EQ(1, Open(memory, 4096, true));
    ASSERT_EQ(1, memory.m_S_CloseSM());
    memory.m_S_ZeroMem();
    EXPECT_EQ(0, memory.m_F_n_IsOpen());
}

TEST_F(ShareMem, ZeroingASizeBeyondTheRealBlockStaysWithinIt)
{
    CShareMem first;
    ASSERT_EQ(1, Open(first, 4096, true));
    std::memset(first.vm_pView, 0x77, 4096);
    CShareMem second;
    ASSERT_EQ(1, Open(second, 1 << 30, false));
    EXPECT_EQ(1 << 30, second.m_F_n_GetMemSize());
    second.m_S_ZeroMem();
    EXPECT_TRUE(AreAll(Bytes(first), 4096, 0));
}

TEST_F(ShareMem, CloseTwiceIsOneThenZero)
{
    CShareMem memory;
    ASSERT_EQ(1, Open(memory, 4096, true));
    EXPECT_EQ(1, memory.m_S_CloseSM());
    EXPECT_EQ(0, memory.m_S_CloseSM());
}

TEST_F(ShareMem, CloseReleasesEverythingAndKeepsTheSize)
{
    CShareMem memory;
    ASSERT_EQ(1, Open(memory, 4096, true));
    const HANDLE handle = memory.vm_hMapping;
    const void* const view = memory.vm_pView;
    EXPECT_EQ(1, memory.m_S_CloseSM());
    EXPECT_FALSE(IsOpenHandle(handle));
    MEMORY_BASIC_INFORMATION information = {};
    ASSERT_NE(0u, VirtualQuery(view, &information, sizeof(information)));
    EXPECT_EQ(static_cast<DWORD>(MEM_FREE), information.State);
    EXPECT_EQ(nullptr, memory.vm_hMapping);
    EXPECT_EQ(nullptr, memory.vm_pView);
    EXPECT_TRUE(memory.vm_sName.IsEmpty());
    EXPECT_EQ(4096, memory.m_F_n_GetMemSize());
    EXPECT_EQ(0, memory.m_F_n_IsOpen());
    EXPECT_FALSE(Exists());
}

TEST_F(ShareMem, DestructionReleasesTheBlock)
{
    {
        CShareMem memory;
        ASSERT_EQ(1, Open(memory, 4096, true));
        EXPECT_TRUE(Exists());
    }
    EXPECT_FALSE(Exists());
}

TEST_F(ShareMem, OpeningClosesABlockThatIsOpen)
{
    CShareMem memory;
    ASSERT_EQ(1, Open(memory, 4096, true));
    const std::wstring other = name + L"_2";
    ASSERT_EQ(1, memory.m_F_n_OpenShareMem(CStringW(other.c_str()), 100, true));
    EXPECT_FALSE(Exists());
    EXPECT_EQ(other, std::wstring(memory.vm_sName));
    EXPECT_EQ(100, memory.vm_nSize);
}

TEST_F(ShareMem, AFailedOpeningHasClosedTheBlockAndKeepsTheSize)
{
    CShareMem memory;
    ASSERT_EQ(1, Open(memory, 4096, true));
    const std::wstring other = name + L"_2";
    EXPECT_EQ(0, memory.m_F_n_OpenShareMem(CStringW(other.c_str()), 100, false));
    EXPECT_FALSE(Exists());
    EXPECT_EQ(0, memory.m_F_n_IsOpen());
    EXPECT_TRUE(memory.vm_sName.IsEmpty());
    EXPECT_EQ(nullptr, memory.vm_hMapping);
    EXPECT_EQ(4096, memory.vm_nSize);
}

TEST_F(ShareMem, AnOnlyOwnerThatReopensItsBlockGetsAFreshOne)
{
    CShareMem memory;
    ASSERT_EQ(1, Open(memory, 4096, true));
    Bytes(memory)[0] = 1;
    ASSERT_EQ(1, Open(memory, 4096, true));
    EXPECT_EQ(0, Bytes(memory)[0]);
}

TEST_F(ShareMem, ABlockOfNoBytesCannotBeCreated)
{
    CShareMem memory;
    EXPECT_EQ(0, Open(memory, 0, true));
    EXPECT_EQ(0, memory.m_F_n_IsOpen());
    EXPECT_EQ(nullptr, memory.vm_hMapping);
}

TEST_F(ShareMem, ANameOfAnotherKindOfObjectFails)
{
    const OwnedHandle event(CreateEventW(nullptr, TRUE, FALSE, name.c_str()));
    ASSERT_TRUE(event.IsValid());
    CShareMem memory;
    EXPECT_EQ(0, Open(memory, 4096, true));
    EXPECT_EQ(0, memory.m_F_n_IsOpen());
}

TEST_F(ShareMem, CopiesShareHandleAndView)
{
    CShareMem memory;
    ASSERT_EQ(1, Open(memory, 4096, true));
    CShareMem copy(memory);
    CShareMem assigned;
    EXPECT_EQ(&assigned, &(assigned = memory));
    for (CShareMem* other : {&copy, &assigned})
    {
        EXPECT_EQ(name, std::wstring(other->vm_sName));
        EXPECT_EQ(memory.vm_pView, other->vm_pView);
        EXPECT_EQ(4096, other->vm_nSize);
        EXPECT_EQ(memory.vm_hMapping, other->vm_hMapping);
        EXPECT_NE(0, other->m_F_n_IsOpen());
        other->vm_pView = nullptr;
        other->vm_hMapping = nullptr;
    }
}

TEST_F(ShareMem, OpenNeedsBothHandleAndView)
{
    CShareMem memory;
    ASSERT_EQ(1, Open(memory, 4096, true));
    void* const view = memory.vm_pView;
    const HANDLE handle = memory.vm_hMapping;
    memory.vm_pView = nullptr;
    EXPECT_EQ(0, memory.m_F_n_IsOpen());
    EXPECT_EQ(0, memory.m_S_CloseSM());
    EXPECT_EQ(handle, memory.vm_hMapping);
    memory.vm_pView = view;
    memory.vm_hMapping = nullptr;
    EXPECT_EQ(0, memory.m_F_n_IsOpen());
    EXPECT_EQ(0, memory.m_S_CloseSM());
    EXPECT_EQ(view, memory.vm_pView);
    memory.vm_hMapping = handle;
    EXPECT_NE(0, memory.m_F_n_IsOpen());
    EXPECT_TRUE(Exists());
}

struct MappingCalls
{
    int opened = 0;
    DWORD openAccess = 0;
    BOOL isInheritable = TRUE;
    std::wstring openName;
    int created = 0;
    HANDLE file = nullptr;
    SECURITY_ATTRIBUTES* security = nullptr;
    DWORD protection = 0;
    DWORD sizeHigh = 0;
    DWORD sizeLow = 0;
    std::wstring createName;
    int mapped = 0;
    HANDLE mapping = nullptr;
    DWORD mapAccess = 0;
    DWORD offsetHigh = 0;
    DWORD offsetLow = 0;
    SIZE_T count = 0;
};
MappingCalls g_mapping;

HANDLE WINAPI WatchedOpenMapping(DWORD access, BOOL isInheritable, LPCWSTR name)
{
    ++g_mapping.opened;
    g_mapping.openAccess = access;
    g_mapping.isInheritable = isInheritable;
    g_mapping.openName = name;
    return OpenFileMappingW(access, isInheritable, name);
}

HANDLE WINAPI MissingMapping(DWORD, BOOL, LPCWSTR)
{
    SetLastError(ERROR_FILE_NOT_FOUND);
    return nullptr;
}

HANDLE WINAPI WatchedCreateMapping(HANDLE file, SECURITY_ATTRIBUTES* security, DWORD protection,
                                   DWORD sizeHigh, DWORD sizeLow, LPCWSTR name)
{
    ++g_mapping.created;
    g_mapping.file = file;
    g_mapping.security = security;
    g_mapping.protection = protection;
    g_mapping.sizeHigh = sizeHigh;
    g_mapping.sizeLow = sizeLow;
    g_mapping.createName = name;
    return CreateFileMappingW(file, security, protection, sizeHigh, sizeLow, name);
}

HANDLE WINAPI SmallMapping(HANDLE file, SECURITY_ATTRIBUTES* security, DWORD protection,
                           DWORD sizeHigh, DWORD sizeLow, LPCWSTR name)
{
    g_mapping.sizeHigh = sizeHigh;
    g_mapping.sizeLow = sizeLow;
    return CreateFileMappingW(file, security, protection, 0, 4096, name);
}

void* WINAPI WatchedMap(HANDLE mapping, DWORD access, DWORD offsetHigh, DWORD offsetLow,
                        SIZE_T count)
{
    ++g_mapping.mapped;
    g_mapping.mapping = mapping;
    g_mapping.mapAccess = access;
    g_mapping.offsetHigh = offsetHigh;
    g_mapping.offsetLow = offsetLow;
    g_mapping.count = count;
    return MapViewOfFile(mapping, access, offsetHigh, offsetLow, count);
}

void* WINAPI FailingMap(HANDLE mapping, DWORD, DWORD, DWORD, SIZE_T)
{
    g_mapping.mapping = mapping;
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

TEST_F(ShareMem, CreatingAsksThePlatformForAPagingFileBlockOfTheSize)
{
    g_mapping = {};
    const ImportPatch open("OpenFileMappingW", WatchedOpenMapping);
    const ImportPatch create("CreateFileMappingW", WatchedCreateMapping);
    const ImportPatch map("MapViewOfFile", WatchedMap);
    CShareMem memory;
    ASSERT_EQ(1, Open(memory, 12345, true));
    EXPECT_EQ(1, g_mapping.opened);
    EXPECT_EQ(static_cast<DWORD>(FILE_MAP_ALL_ACCESS), g_mapping.openAccess);
    EXPECT_FALSE(g_mapping.isInheritable);
    EXPECT_EQ(name, g_mapping.openName);
    EXPECT_EQ(1, g_mapping.created);
    EXPECT_EQ(INVALID_HANDLE_VALUE, g_mapping.file);
    EXPECT_EQ(nullptr, g_mapping.security);
    EXPECT_EQ(static_cast<DWORD>(PAGE_READWRITE), g_mapping.protection);
    EXPECT_EQ(0u, g_mapping.sizeHigh);
    EXPECT_EQ(12345u, g_mapping.sizeLow);
    EXPECT_EQ(name, g_mapping.createName);
    EXPECT_EQ(1, g_mapping.mapped);
    EXPECT_EQ(memory.vm_hMapping, g_mapping.mapping);
    EXPECT_EQ(static_cast<DWORD>(FILE_MAP_READ | FILE_MAP_WRITE),
              g_mapping.mapAccess & (FILE_MAP_READ | FILE_MAP_WRITE));
    EXPECT_EQ(0u, g_mapping.offsetHigh);
    EXPECT_EQ(0u, g_mapping.offsetLow);
    EXPECT_EQ(0u, g_mapping.count);
}

TEST_F(ShareMem, NothingIsCreatedWhenTheBlockExistsOrCreatingIsNotAskedFor)
{
    g_mapping = {};
    const ImportPatch create("CreateFileMappingW", WatchedCreateMapping);
    CShareMem memory;
    EXPECT_EQ(0, Open(memory, 4096, false));
    EXPECT_EQ(0, g_mapping.created);
    CShareMem first;
    ASSERT_EQ(1, Open(first, 4096, true));
    EXPECT_EQ(1, g_mapping.created);
    ASSERT_EQ(1, Open(memory, 4096, true));
    EXPECT_EQ(1, g_mapping.created);
}

TEST_F(ShareMem, ABlockThatAppearedBetweenOpeningAndCreatingIsCleared)
{
    CShareMem first;
    ASSERT_EQ(1, Open(first, 4096, true));
    std::memset(first.vm_pView, 0x33, 4096);
    const ImportPatch open("OpenFileMappingW", MissingMapping);
    CShareMem second;
    ASSERT_EQ(1, Open(second, 1000, true));
    EXPECT_TRUE(AreAll(Bytes(first), 1000, 0));
    EXPECT_TRUE(AreAll(Bytes(first) + 1000, 3096, 0x33));
}

TEST_F(ShareMem, ASmallerBlockThatAppearedBetweenOpeningAndCreatingIsClearedWithinItself)
{
    CShareMem first;
    ASSERT_EQ(1, Open(first, 4096, true));
    std::memset(first.vm_pView, 0x33, 4096);
    const ImportPatch open("OpenFileMappingW", MissingMapping);
    CShareMem second;
    ASSERT_EQ(1, Open(second, 1 << 20, true));
    EXPECT_EQ(1 << 20, second.m_F_n_GetMemSize());
    EXPECT_TRUE(AreAll(Bytes(first), 4096, 0));
}

TEST_F(ShareMem, ANegativeSizeIsPassedOnAndStaysWithinTheBlock)
{
    g_mapping = {};
    const ImportPatch create("CreateFileMappingW", SmallMapping);
    CShareMem memory;
    ASSERT_EQ(1, Open(memory, -1, true));
    EXPECT_EQ(0u, g_mapping.sizeHigh);
    EXPECT_EQ(0xFFFFFFFFu, g_mapping.sizeLow);
    EXPECT_EQ(-1, memory.m_F_n_GetMemSize());
    memory.m_S_ZeroMem();
    EXPECT_TRUE(AreAll(Bytes(memory), 4096, 0));
}

TEST_F(ShareMem, AFailedMappingReturnsZeroAndLeavesItsHandleUnclosed)
{
    g_mapping = {};
    CShareMem memory;
    {
        const ImportPatch map("MapViewOfFile", FailingMap);
        EXPECT_EQ(0, Open(memory, 4096, true));
    }
    const HANDLE handle = memory.vm_hMapping;
    ASSERT_NE(nullptr, handle);
    EXPECT_EQ(g_mapping.mapping, handle);
    EXPECT_TRUE(IsOpenHandle(handle));
    EXPECT_TRUE(Exists());
    EXPECT_EQ(nullptr, memory.vm_pView);
    EXPECT_EQ(0, memory.m_F_n_IsOpen());
    EXPECT_EQ(0, memory.vm_nSize);
    EXPECT_TRUE(memory.vm_sName.IsEmpty());
    EXPECT_EQ(0, memory.m_S_CloseSM());
    EXPECT_EQ(handle, memory.vm_hMapping);
    CloseHandle(handle);
    memory.vm_hMapping = nullptr;
}

TEST_F(ShareMem, TheNextOpeningOverwritesAnUnclosedHandle)
{
    CShareMem memory;
    {
        const ImportPatch map("MapViewOfFile", FailingMap);
        EXPECT_EQ(0, Open(memory, 4096, true));
    }
    const OwnedHandle unclosed(memory.vm_hMapping);
    ASSERT_TRUE(unclosed.IsValid());
    EXPECT_EQ(1, Open(memory, 4096, false));
    EXPECT_NE(unclosed.Get(), memory.vm_hMapping);
    EXPECT_TRUE(IsOpenHandle(unclosed.Get()));
    EXPECT_EQ(1, memory.m_S_CloseSM());
    EXPECT_TRUE(Exists());
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 3 && std::strcmp(argv[1], "--read") == 0)
    {
        return OpenInSecondProcess(argv[2], GENERIC_READ);
    }
    if (argc == 3 && std::strcmp(argv[1], "--write") == 0)
    {
        return OpenInSecondProcess(argv[2], GENERIC_WRITE);
    }
    if (argc == 3 && std::strcmp(argv[1], "--share") == 0)
    {
        return AnswerInSecondProcess(argv[2]);
    }
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
