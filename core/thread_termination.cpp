#include "core/thread_termination.h"

#include <malloc.h>

namespace ostrel::core
{

namespace
{

// A terminated thread may still run for a moment.
constexpr DWORD kTerminationWait = 1000;

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

void TerminateOutsideHeap(HANDLE thread)
{
    if (GetThreadId(thread) == GetCurrentThreadId())
    {
        // It would not come back to let the heap go.
        TerminateThread(thread, 0);
        return;
    }
    const HeapHold platformHeap(GetProcessHeap());
    const HeapHold runtimeHeap(reinterpret_cast<HANDLE>(_get_heap_handle()));
    TerminateThread(thread, 0);
    WaitForSingleObject(thread, kTerminationWait);
}

}  // namespace ostrel::core
