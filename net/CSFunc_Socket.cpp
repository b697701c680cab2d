#include "CSFunc.h"
#include "net/socket_transport.h"
#include "net/thread_end.h"

namespace
{

// Takes the handle out of its variable in one step, so that of two threads that close the same
// socket only one does: the number of a closed socket may already be another socket's.
SOCKET Claim(SOCKET& socket)
{
    static_assert(sizeof(SOCKET) == sizeof(void*));
    void* const claimed = InterlockedExchangePointer(reinterpret_cast<void* volatile*>(&socket),
                                                     reinterpret_cast<void*>(INVALID_SOCKET));
    return reinterpret_cast<SOCKET>(claimed);
}

}  // namespace

bool CSFunc::s_F_n_ConnectTimeOut(SOCKET socket, const sockaddr* pAddr, int nAddrLen, int nTimeOut)
{
    if (nTimeOut > 0)
    {
        ostrel::net::MakeNonBlocking(socket);
    }
    if (pAddr == nullptr ||
        (connect(socket, pAddr, nAddrLen) != 0 && WSAGetLastError() != WSAEWOULDBLOCK))
    {
        return false;
    }
    // The exception set is left out on purpose: a refused connection costs the whole time-out.
    return nTimeOut <= 0 || ostrel::net::WaitForWritable(socket, nTimeOut);
}

void CSFunc::s_S_ForceCloseSocket(SOCKET& socket)
{
    const SOCKET claimed = Claim(socket);
    if (claimed == INVALID_SOCKET)
    {
        return;
    }
    const int lingers = 0;
    setsockopt(claimed, SOL_SOCKET, SO_DONTLINGER, reinterpret_cast<const char*>(&lingers),
               static_cast<int>(sizeof(lingers)));
    // To linger for no time at all is to reset the connection.
    const linger noTime = {1, 0};
    setsockopt(claimed, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&noTime),
               static_cast<int>(sizeof(noTime)));
    closesocket(claimed);
}

void CSFunc::s_S_ForceCloseThread(HANDLE& hThread, int nTimeOut, SOCKET* pSocket)
{
    ostrel::net::ForceEndThread(hThread, nTimeOut, pSocket, ostrel::net::OnTermination::Report);
}
