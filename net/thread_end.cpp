#include "net/thread_end.h"

#include "CSFunc.h"
#include "core/thread_termination.h"

namespace ostrel::net
{

namespace
{

// A thread whose connection is gone ends by itself in a moment.
constexpr DWORD kLastChance = 500;

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
        core::TerminateAtSafePlace(hThread);
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
