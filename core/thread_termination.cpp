#include "core/thread_termination.h"

#include <malloc.h>

namespace ostrel::core
{

namespace
{

// A terminated thread may still run for a moment.
constexpr DWORD kTerminationWait = 1000;

// Milliseconds to wait for the loader: what is in there may itself be waiting for this thread.
constexpr int kLoaderWait = 1000;

template <typename Function>
Function* FindInNtdll(const char* name)
{
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
}

// No header declares what holds the loader; where it is missing, nothing is held.
class LoaderHold
{
public:
    LoaderHold()
    {
        using LockFunction = LONG NTAPI(ULONG flags, ULONG * disposition, ULONG_PTR * cookie);
        constexpr ULONG kTryOnly = 2;
        constexpr ULONG kAcquired = 1;
        auto* const lock = FindInNtdll<LockFunction>("LdrLockLoaderLock");
        ULONG disposition = 0;
        for (int i = 0; i < kLoaderWait && lock != nullptr && !vm_bIsHeld; ++i)
        {
            vm_bIsHeld = lock(kTryOnly, &disposition, &vm_nCookie) == 0 && disposition == kAcquired;
            if (!vm_bIsHeld)
            {
                Sleep(1);
            }
        }
    }
    ~LoaderHold()
    {
        using UnlockFunction = LONG NTAPI(ULONG flags, ULONG_PTR cookie);
        if (vm_bIsHeld)
        {
            FindInNtdll<UnlockFunction>("LdrUnlockLoaderLock")(0, vm_nCookie);
        }
    }
    LoaderHold(const LoaderHold&) = delete;
    LoaderHold& operator=(const LoaderHold&) = delete;

private:
    bool vm_bIsHeld = false;
    ULONG_PTR vm_nCookie = 0;
};

class HeapHold
{
public:
    explicit HeapHold(HANDLE heap) : vm_hHeap(HeapLock(heap) != FALSE ? heap : nullptr) {}
    ~HeapHold()
    {
        if (vm_hHeap != nullptr)
        {
            HeapUnlock(vm_hHeap);
        }
    }
    HeapHold(const HeapHold&) = delete;
    HeapHold& operator=(const HeapHold&) = delete;

private:
    HANDLE vm_hHeap;
};

}  // namespace

void TerminateOutsideLocks(HANDLE thread)
{
    if (GetThreadId(thread) == GetCurrentThreadId())
    {
        // It would not come back to let anything go.
        TerminateThread(thread, 0);
        return;
    }
    // In this order: the loader uses the heap.
    const LoaderHold loader;
    const HeapHold platformHeap(GetProcessHeap());
    const HeapHold runtimeHeap(reinterpret_cast<HANDLE>(_get_heap_handle()));
    TerminateThread(thread, 0);
    WaitForSingleObject(thread, kTerminationWait);
}

}  // namespace ostrel::core
