#include "core/thread_termination.h"

namespace ostrel::core
{

namespace
{

// A terminated thread may still be there for a moment.
constexpr DWORD kTerminationWait = 1000;

// How often the thread is looked at, and for how many milliseconds: the sleep between two looks is
// as long as a tick of the system's clock, on some machines sixteen times what it is on others. Far
// less would not do on a busy machine, for a thread that is busy in the heap is seldom found
// outside of it.
constexpr int kLooks = 200;
constexpr ULONGLONG kLookingTime = 1000;

// How often in a row the thread must be found at one place to be taken for resting there. A busy
// thread may pass through one place often.
constexpr int kLooksAtRest = 8;

// Where a thread is: its instruction and its stack.
struct Place
{
    DWORD64 instruction = 0;
    DWORD64 stack = 0;

    friend bool operator==(const Place& left, const Place& right)
    {
        return left.instruction == right.instruction && left.stack == right.stack;
    }
};

// The library of the platform that holds the heap and the loader. All is looked up beforehand, for
// a look-up enters the loader itself, where the suspended thread may be.
class InnermostLibrary
{
public:
    InnermostLibrary()
        : vm_hModule(GetModuleHandleW(L"ntdll.dll")),
          vm_pfnLock(Find<LockFunction>("LdrLockLoaderLock")),
          vm_pfnUnlock(Find<UnlockFunction>("LdrUnlockLoaderLock"))
    {
        const auto* const bytes = reinterpret_cast<const BYTE*>(vm_hModule);
        const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(bytes);
        const auto* const headers =
            reinterpret_cast<const IMAGE_NT_HEADERS*>(bytes + dos->e_lfanew);
        vm_nBegin = reinterpret_cast<DWORD64>(bytes);
        vm_nEnd = vm_nBegin + headers->OptionalHeader.SizeOfImage;
    }

    bool Contains(const Place& place) const
    {
        return place.instruction >= vm_nBegin && place.instruction < vm_nEnd;
    }

    // No header declares the two functions; where they are missing, the loader counts as free.
    bool TryToHoldLoader()
    {
        constexpr ULONG kTryOnly = 2;
        constexpr ULONG kAcquired = 1;
        ULONG disposition = kAcquired;
        return vm_pfnLock == nullptr ||
               (vm_pfnLock(kTryOnly, &disposition, &vm_nCookie) == 0 && disposition == kAcquired);
    }
    void ReleaseLoader()
    {
        if (vm_pfnUnlock != nullptr)
        {
            vm_pfnUnlock(0, vm_nCookie);
        }
    }

private:
    using LockFunction = LONG NTAPI(ULONG flags, ULONG* disposition, ULONG_PTR* cookie);
    using UnlockFunction = LONG NTAPI(ULONG flags, ULONG_PTR cookie);

    template <typename Function>
    Function* Find(const char* name) const
    {
        return reinterpret_cast<Function*>(
            reinterpret_cast<void*>(GetProcAddress(vm_hModule, name)));
    }

    HMODULE vm_hModule;
    LockFunction* vm_pfnLock;
    UnlockFunction* vm_pfnUnlock;
    DWORD64 vm_nBegin;
    DWORD64 vm_nEnd;
    ULONG_PTR vm_nCookie = 0;
};

// Of a suspended thread; that it really stands still is only certain once this is known.
bool GetPlace(HANDLE thread, Place& place)
{
    CONTEXT context = {};
    context.ContextFlags = CONTEXT_CONTROL;
    if (!GetThreadContext(thread, &context))
    {
        return false;
    }
    place = {context.Rip, context.Rsp};
    return true;
}

// Terminates the thread if it is found at a safe place. Between the suspension and its end nothing
// may be called that enters a lock.
class SafeTermination
{
public:
    explicit SafeTermination(HANDLE thread) : vm_hThread(thread) {}

    bool Try()
    {
        if (SuspendThread(vm_hThread) == static_cast<DWORD>(-1))
        {
            return false;
        }
        if (IsSafe() && TerminateOutsideLoader())
        {
            return true;
        }
        ResumeThread(vm_hThread);
        return false;
    }

private:
    bool IsSafe()
    {
        Place place;
        if (!GetPlace(vm_hThread, place))
        {
            return false;
        }
        vm_nLooksAtPlace = place == vm_lastPlace ? vm_nLooksAtPlace + 1 : 1;
        vm_lastPlace = place;
        return !vm_library.Contains(place) || vm_nLooksAtPlace >= kLooksAtRest;
    }

    bool TerminateOutsideLoader()
    {
        if (!vm_library.TryToHoldLoader())
        {
            return false;
        }
        TerminateThread(vm_hThread, 0);
        vm_library.ReleaseLoader();
        return true;
    }

    HANDLE vm_hThread;
    InnermostLibrary vm_library;
    Place vm_lastPlace;
    int vm_nLooksAtPlace = 0;
};

bool IsGone(HANDLE thread)
{
    return WaitForSingleObject(thread, 0) == WAIT_OBJECT_0;
}

// Returns false when no safe place was found in time.
bool TerminateWhenSafe(HANDLE thread)
{
    const ULONGLONG start = GetTickCount64();
    SafeTermination termination(thread);
    for (int i = 0; i < kLooks && GetTickCount64() - start < kLookingTime; ++i)
    {
        if (IsGone(thread) || termination.Try())
        {
            return true;
        }
        Sleep(1);
    }
    return false;
}

}  // namespace

void TerminateAtSafePlace(HANDLE thread)
{
    // A thread that terminates itself cannot look at itself.
    const bool isOther = GetThreadId(thread) != GetCurrentThreadId();
    if (!isOther || !TerminateWhenSafe(thread))
    {
        TerminateThread(thread, 0);
    }
    WaitForSingleObject(thread, kTerminationWait);
}

}  // namespace ostrel::core
