#include "CStdSocket.h"

#include <process.h>

#include "CSFunc.h"
#include "net/host_address.h"
#include "net/socket_transport.h"
#include "net/stream_transfer.h"
#include "net/thread_end.h"

namespace net = ostrel::net;

namespace
{

constexpr WORD kWinsockVersion = MAKEWORD(2, 0);
constexpr DWORD kListenThreadWait = 5000;
constexpr int kDone = 1;
constexpr int kNotDone = 0;
constexpr unsigned int kStopped = 1;
constexpr unsigned int kFailed = 0;

// The object's socket as a connection.
class SocketStream final : public net::StreamConnection
{
public:
    explicit SocketStream(SOCKET socket) : vm_socket(socket) {}

    net::WaitResult WaitWritable(int timeOut) override
    {
        return net::WaitFor(net::Direction::Write, vm_socket, timeOut);
    }
    net::WaitResult WaitReadable(int timeOut) override
    {
        return net::WaitFor(net::Direction::Read, vm_socket, timeOut);
    }
    net::TransferResult Send(const char* bytes, int count) override
    {
        return net::SendOn(vm_socket, bytes, count);
    }
    net::TransferResult Receive(char* bytes, int capacity) override
    {
        return net::ReceiveFrom(vm_socket, bytes, capacity);
    }

private:
    SOCKET vm_socket;
};

void StartWinsock()
{
    WSADATA data = {};
    if (WSAStartup(kWinsockVersion, &data) == 0)
    {
        return;
    }
    if (data.wVersion != kWinsockVersion)
    {
        MessageBoxW(nullptr, L"Incorrect version of Winsock.dll found", L"Error", MB_OK);
    }
    // Deliberate, though nothing was started; the destructor's call comes on top of it.
    WSACleanup();
}

// Takes the thread's handle out of its variable in one step, so that of thread and owner only one
// closes it.
HANDLE Claim(HANDLE& hThread)
{
    return InterlockedExchangePointer(&hThread, nullptr);
}

bool Post(HWND hWnd, SOCKET_NOTIFICATION_MSG message, __int64 value)
{
    return hWnd != nullptr &&
           PostMessageW(hWnd, WM_SOCKET_NOTIFICATION, static_cast<WPARAM>(message), value) != FALSE;
}

bool Listen(SOCKET socket, int port)
{
    const sockaddr_in address = net::ToSocketAddress(INADDR_ANY, port);
    return bind(socket, reinterpret_cast<const sockaddr*>(&address),
                static_cast<int>(sizeof(address))) == 0 &&
           listen(socket, SOMAXCONN) == 0;
}

// INVALID_SOCKET when the listener was told to stop meanwhile.
SOCKET AcceptNext(const CStdSocket& listener)
{
    // The field anew each time: it is the owner who closes the socket.
    SOCKET accepted = accept(listener.m_socket, nullptr, nullptr);
    while (accepted == INVALID_SOCKET && !listener.m_bExit)
    {
        Sleep(0);
        accepted = accept(listener.m_socket, nullptr, nullptr);
    }
    return accepted;
}

}  // namespace

CStdSocket::CStdSocket(int nSocketType)
    : m_bExit(false),
      m_socket(INVALID_SOCKET),
      m_nSocketType(nSocketType),
      m_hListenThread(nullptr),
      m_nListenPort(0),
      m_nProtocol(IPPROTO_TCP),
      m_hWndNotify(nullptr)
{
    StartWinsock();
}

CStdSocket::CStdSocket(const CStdSocket& other) : CStdSocket(other.m_nSocketType)
{
    *this = other;
}

CStdSocket::~CStdSocket()
{
    m_bExit = true;
    HANDLE hThread = Claim(m_hListenThread);
    if (hThread != nullptr)
    {
        // Wakes the thread from its accept.
        m_S_ForceCloseSocket(nullptr);
        m_S_ForceCloseThread(hThread, kListenThreadWait);
    }
    // The thread may have made its socket only after the close above.
    m_S_ForceCloseSocket(nullptr);
    WSACleanup();
}

CStdSocket& CStdSocket::operator=(const CStdSocket& other)
{
    m_bExit = other.m_bExit.load();
    m_socket = other.m_socket;
    m_nSocketType = other.m_nSocketType;
    m_hListenThread = other.m_hListenThread;
    m_nListenPort = other.m_nListenPort;
    m_nProtocol = other.m_nProtocol;
    m_hWndNotify = other.m_hWndNotify;
    return *this;
}

int CStdSocket::m_S_SetSocketType(int nSocketType)
{
    if (nSocketType < 0 || nSocketType > net::kHighestRole)
    {
        return kNotDone;
    }
    m_nSocketType = nSocketType;
    return kDone;
}

bool CStdSocket::m_F_b_CheckSocketValid()
{
    return m_socket != INVALID_SOCKET;
}

SOCKET CStdSocket::m_F_n_GetSocket()
{
    return m_socket;
}

void CStdSocket::m_S_SetWndNotification(HWND hWnd)
{
    m_hWndNotify = hWnd;
}

int CStdSocket::m_S_SetConnectedSocket(SOCKET socket)
{
    if (m_nSocketType != net::kAcceptedRole)
    {
        return kNotDone;
    }
    m_socket = socket;
    return kDone;
}

unsigned int CStdSocket::GetIPAddress(CStringW strHost)
{
    char host[256] = {};
    const int size = WideCharToMultiByte(CP_ACP, 0, strHost.GetString(), -1, host,
                                         static_cast<int>(sizeof(host)), nullptr, nullptr);
    // An empty name would be this machine's.
    return size > 1 ? net::LookUpHost(host) : INADDR_NONE;
}

int CStdSocket::m_F_n_ConnectTo(CStringW strHost, int nPort, int nTimeOut, int)
{
    if (m_nSocketType != net::kClientRole || m_F_b_CheckSocketValid())
    {
        return kNotDone;
    }
    if (!net::ConnectNewSocket(m_socket, GetIPAddress(strHost), nPort, nTimeOut))
    {
        m_S_ForceCloseSocket(nullptr);
        return kNotDone;
    }
    return kDone;
}

int CStdSocket::m_F_n_CreateListenThread(int nPort, HWND hWnd, int nProtocol)
{
    if (m_nSocketType != net::kListenerRole || m_hListenThread != nullptr)
    {
        return kNotDone;
    }
    m_hWndNotify = hWnd;
    m_nProtocol = nProtocol;
    m_nListenPort = nPort;
    // Suspended until its handle is stored: a thread that fails at once closes and clears it.
    const HANDLE hThread = reinterpret_cast<HANDLE>(
        _beginthreadex(nullptr, 0, m_S_ListenThreadProc, this, CREATE_SUSPENDED, nullptr));
    if (hThread == nullptr)
    {
        return kNotDone;
    }
    m_hListenThread = hThread;
    ResumeThread(hThread);
    return kDone;
}

unsigned int __stdcall CStdSocket::m_S_ListenThreadProc(void* pThis)
{
    CStdSocket* const self = static_cast<CStdSocket*>(pThis);
    if (self == nullptr)
    {
        return kFailed;
    }
    self->m_socket = socket(AF_INET, SOCK_STREAM, self->m_nProtocol);
    if (!Listen(self->m_socket, self->m_nListenPort))
    {
        self->m_S_ForceCloseSocket(nullptr);
        const HANDLE hThread = Claim(self->m_hListenThread);
        // From here on the object may be gone.
        if (hThread != nullptr)
        {
            CloseHandle(hThread);
        }
        return kFailed;
    }
    while (!self->m_bExit)
    {
        SOCKET accepted = AcceptNext(*self);
        if (!Post(self->m_hWndNotify, SOCKET_NOTIFICATION_ACCEPT, static_cast<__int64>(accepted)))
        {
            // It is nobody's then.
            CSFunc::s_S_ForceCloseSocket(accepted);
        }
    }
    return kStopped;
}

int CStdSocket::m_F_n_SendSocket(const char* pData, int nLen, int nTimeOut)
{
    SocketStream stream(m_socket);
    return net::SendStream(stream, m_nSocketType, pData, nLen, nTimeOut);
}

int CStdSocket::m_F_n_ReceviceSocket(char* pBuffer, int nSize, int nTimeOut)
{
    SocketStream stream(m_socket);
    return net::ReceiveStream(stream, m_nSocketType, pBuffer, nSize, nTimeOut);
}

void CStdSocket::m_S_PostSocketMsg(SOCKET_NOTIFICATION_MSG nMsg, __int64 nValue)
{
    Post(m_hWndNotify, nMsg, nValue);
}

bool CStdSocket::m_F_n_ConnectTimeOut(SOCKET socket, const sockaddr* pAddr, int nAddrLen,
                                      int nTimeOut)
{
    return CSFunc::s_F_n_ConnectTimeOut(socket, pAddr, nAddrLen, nTimeOut);
}

void CStdSocket::m_S_ForceCloseSocket(SOCKET* pSocket)
{
    CSFunc::s_S_ForceCloseSocket(pSocket != nullptr ? *pSocket : m_socket);
}

void CStdSocket::m_S_ForceCloseThread(HANDLE& hThread, int nTimeOut)
{
    net::ForceEndThread(hThread, nTimeOut, nullptr, net::OnTermination::StaySilent);
}
