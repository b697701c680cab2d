/// @file
/// The forced end of a thread.
#pragma once

#include <winsock2.h>

#include <windows.h>

namespace ostrel::net
{

/// Whether a termination is told to the debugger output.
enum class OnTermination
{
    Report,
    StaySilent
};

/// Waits up to @p timeOut milliseconds for the thread to end, and terminates it if it does not.
/// The socket that it works on, if one is given, is closed abortively after the wait. The handle is
/// closed and reads null afterwards; a null one does nothing.
void ForceEndThread(HANDLE& hThread, int timeOut, SOCKET* pSocket, OnTermination onTermination);

}  // namespace ostrel::net
