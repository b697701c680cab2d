#include "net/thread_end.h"

#include "CSFunc.h"

namespace ostrel::net
{

namespace
{

// A thread whose connection is gone ends by itself in a moment; terminated at once, it might take a
// lock of the heap or the loader with it.
constexpr DWORD kLastChance = 500;

// A terminated thread may still run for a moment, and its owner frees what it works on next.
constexpr DWORD kTerminationWait = 1000;

}  // namespace

void ForceEndThread(HANDLE& hThread, int timeOut, SOCKET* pSocket, OnTermination onTermination)
{
    if (hThread == nullptr)
    {
        return;
    }
    const bool isStillRunning =
        WaitForSingleObject(hThread, static_cast<DWORD>(timeOut)) == WAIT_TIMEOUT;
    if (pSocket != nullptr)
    {
        // Only now, on purpose: a thread that was told to stop may end its exchange in order.
        CSFunc::s_S_ForceCloseSocket(*pSocket);
    }
    if (isStillRunning && hThread != nullptr)
    {
        if (pSocket != nullptr)
        {
            WaitForSingleObject(hThread, kLastChance);
        }
        TerminateThread(hThread, 0);
        WaitForSingleObject(hThread, kTerminationWait);
    }
    if (isStillRunning && onTermination == OnTermination::Report)
    {
        CSFunc::s_S_Debug("TerminateThread hThread = 0x%08x, TIMEOUT = %d",
                          static_cast<unsigned int>(reinterpret_cast<UINT_PTR>(hThread)), timeOut);
    }
    CloseHandle(hThread);
    hThread = nullptr;
}

}  // namespace ostrel::net
