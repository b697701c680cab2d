/// @file
/// The stream socket: one TCP connection, or a listener that hands its connections to a window.
#pragma once

#include <afxwin.h>
#include <winsock2.h>

#include <atomic>
#include <cstddef>

#include "LibOstrelExport.h"

/// The window message that carries a notification: `wParam` is a #SOCKET_NOTIFICATION_MSG, `lParam`
/// a 64-bit value.
constexpr UINT WM_SOCKET_NOTIFICATION = 0x8B0;

static_assert(WM_SOCKET_NOTIFICATION == WM_USER + 1200, "the number clients have built in");

/// What a notification tells. All values but the one named here are the client's own; the library
/// only forwards them.
enum SOCKET_NOTIFICATION_MSG : int
{
    /// A listener has accepted a connection. `lParam` is its socket handle, which now belongs to
    /// the window's owner; `INVALID_SOCKET` says that the listener is stopping, and is to be
    /// ignored.
    SOCKET_NOTIFICATION_ACCEPT = 0
};

/// Wraps one TCP socket (IPv4) in one of three roles.
///
/// | Role | What it is | What it may do |
/// |---|---|---|
/// | 0 | client | m_F_n_ConnectTo(), send, receive |
/// | 1 | listener | m_F_n_CreateListenThread() |
/// | 2 | accepted connection | m_S_SetConnectedSocket(), send, receive |
///
/// The listener's thread posts each socket that it accepts to a window, as message
/// #WM_SOCKET_NOTIFICATION with #SOCKET_NOTIFICATION_ACCEPT; the window's owner gives it to an
/// object of role 2:
///
/// ~~~
/// case WM_SOCKET_NOTIFICATION:
///     if (wParam == SOCKET_NOTIFICATION_ACCEPT && (SOCKET)lParam != INVALID_SOCKET)
///     {
///         pConnection = new CStdSocket(2);
///         pConnection->m_S_SetConnectedSocket((SOCKET)lParam);
///     }
///     return 0;
/// ~~~
///
/// **Threads.** One thread at a time uses an object, its owner. The listen thread is the exception:
/// while it runs it reads #m_bExit, #m_nListenPort, #m_nProtocol and #m_hWndNotify and writes
/// #m_socket and #m_hListenThread, so the owner leaves these alone then. Windows are told by posted
/// messages only; no call into the library waits for a window.
///
/// **Closing** is always abortive: the peer sees a reset, and what was not yet delivered is lost. A
/// client that needs its last bytes delivered lets the peer confirm them first.
///
/// Nothing throws; every failure is a result.
class OSTREL_API CStdSocket
{
public:
    /// Sets the fields as stated with them and starts Winsock 2.0 for the process.
    ///
    /// If Winsock cannot be started, and reports another version than 2.0, a message box says
    /// "Incorrect version of Winsock.dll found". The object can then connect to nothing.
    /// @param nSocketType the role, 0 to 2; not checked.
    explicit CStdSocket(int nSocketType = 0);

    /// Shallow, on purpose; see operator=(). The new object too starts Winsock, for its destructor
    /// ends it.
    CStdSocket(const CStdSocket& other);

    /// Stops the listen thread if there is one, waiting up to 5 seconds for it and terminating it
    /// if it has not ended then; closes the socket abortively; calls `WSACleanup`, the
    /// counterpart of the constructor's start.
    ~CStdSocket();

    /// Copies all fields as they stand and duplicates nothing, on purpose: both objects then name
    /// one socket and one thread, and the caller sees to it that only one of them closes them, for
    /// instance by setting #m_socket to `INVALID_SOCKET` and #m_hListenThread to null in the other.
    /// A running listen thread goes on working on the object it was started with. The socket and
    /// the thread held before are not closed.
    CStdSocket& operator=(const CStdSocket& other);

    /// Sets the role.
    /// @param nSocketType 0 client, 1 listener, 2 accepted connection; 3 is taken too, and allows
    /// nothing.
    /// @return 1; 0 for any other value, the role staying as it is.
    int m_S_SetSocketType(int nSocketType);

    /// @return whether the object holds a socket, connected or not.
    bool m_F_b_CheckSocketValid();

    /// @return the socket, or `INVALID_SOCKET`. The object stays its owner.
    SOCKET m_F_n_GetSocket();

    /// Sets the window that receives the notifications.
    /// @param hWnd null for none. The window is not owned.
    void m_S_SetWndNotification(HWND hWnd);

    /// Adopts an accepted connection. Only an object of role 2 does.
    ///
    /// The socket's mode stays as it is, and that of one accepted by a listener is blocking: a
    /// m_F_n_SendSocket() then stays inside the send until the peer has taken enough. To have it
    /// keep to its time-out, switch the socket to non-blocking mode (`FIONBIO`).
    /// @param socket owned by the object from now on. One held before is not closed.
    /// @return 1; 0 in another role, the socket staying the caller's.
    int m_S_SetConnectedSocket(SOCKET socket);

    /// Looks a host up.
    /// @param strHost host name or dotted IPv4 address, up to 127 characters in the ANSI code page.
    /// @return the IPv4 address in host byte order; all ones when unknown, empty or too long.
    unsigned int GetIPAddress(CStringW strHost);

    /// Connects to a host. Only an object of role 0 that holds no socket does.
    ///
    /// The name lookup comes first and is not limited by the time-out. The socket is in
    /// non-blocking mode afterwards.
    /// @param strHost host name or dotted IPv4 address.
    /// @param nPort TCP port; its low 16 bits count.
    /// @param nTimeOut milliseconds; 0 or less leaves it to the platform to give up. A refused
    /// connection costs the whole time-out.
    /// @param nUnused not used.
    /// @return 1 when connected; 0 when not, or refused for role or socket. No socket is left open
    /// by a failed connect.
    int m_F_n_ConnectTo(CStringW strHost, int nPort, int nTimeOut, int nUnused);

    /// Starts listening, on every local address, on a thread of the object's own. Only an object of
    /// role 1 that has no listen thread does.
    ///
    /// What could not be bound or listened on is not told by the result: the thread then closes the
    /// socket and its own handle, so that m_F_b_CheckSocketValid() is false and #m_hListenThread
    /// null soon after. Listening ends in the destructor and nowhere else.
    /// @param nPort TCP port; its low 16 bits count. 0 has the platform choose one.
    /// @param hWnd receives #SOCKET_NOTIFICATION_ACCEPT for each connection, and one with
    /// `INVALID_SOCKET` when the listener stops. A connection that cannot be posted (there is no
    /// such window, or its queue is full) is closed.
    /// @param nProtocol protocol number for the socket, as a rule 6 (`IPPROTO_TCP`).
    /// @return 1 when the thread was started; 0 when refused, or no thread could be started.
    int m_F_n_CreateListenThread(int nPort, HWND hWnd, int nProtocol);

    /// The listen thread's function. Not for clients.
    /// @param pThis the object.
    /// @return 1 after a normal stop; 0 when bind or listen failed, or @p pThis is null.
    static unsigned int __stdcall m_S_ListenThreadProc(void* pThis);

    /// Sends on the connection. Only roles 0 and 2 do.
    ///
    /// Waits up to 100 ms until something can be sent, and sends until everything is sent or the
    /// peer takes nothing for 100 ms. So a result below @p nLen is no error by itself: call again
    /// with the rest.
    /// @param pData the bytes; the caller's.
    /// @param nLen their number; 0 or less sends nothing.
    /// @param nTimeOut milliseconds. A hundredth of it, rounded down, is how often in a row a send
    /// may block although the connection was ready; below 100 nothing is sent at all.
    /// @return the bytes sent, 0 to @p nLen (0 also when the connection is broken or there is
    /// none); -2 in another role; -3 for a time-out of -100 or less; -4 when @p pData is null.
    int m_F_n_SendSocket(const char* pData, int nLen, int nTimeOut);

    /// Receives once from the connection, whatever has arrived. Only roles 0 and 2 do.
    ///
    /// Waits up to 100 ms for data, whatever the time-out.
    /// @param pBuffer receives the bytes. All of it is set to 0 first, also when nothing is
    /// received then.
    /// @param nSize its size in bytes; a negative one does nothing.
    /// @param nTimeOut milliseconds. A hundredth of it, rounded down, is how often a receive may
    /// block although data was there; below 100 nothing is received at all.
    /// @return the bytes received, 1 to @p nSize; 0 when the peer closed the connection, the
    /// connection failed or there is none, or nothing was to be received for @p nSize or
    /// @p nTimeOut; -2 in another role; -3 for a time-out of -100 or less, if data was there or the
    /// wait failed; -4 when @p pBuffer is null; -5 when nothing arrived within 100 ms.
    int m_F_n_ReceviceSocket(char* pBuffer, int nSize, int nTimeOut);

    /// Posts a notification to #m_hWndNotify, if it is set.
    /// @param nMsg becomes the message's `wParam`.
    /// @param nValue becomes its `lParam`.
    void m_S_PostSocketMsg(SOCKET_NOTIFICATION_MSG nMsg, __int64 nValue);

    /// As CSFunc::s_F_n_ConnectTimeOut(); does not use the object.
    /// @return true when connected.
    bool m_F_n_ConnectTimeOut(SOCKET socket, const sockaddr* pAddr, int nAddrLen, int nTimeOut);

    /// Closes a socket abortively, as CSFunc::s_S_ForceCloseSocket() does.
    /// @param pSocket reads `INVALID_SOCKET` afterwards; null stands for the object's own socket.
    void m_S_ForceCloseSocket(SOCKET* pSocket = nullptr);

    /// Waits for a thread to end and terminates it (exit code 0) if it does not within @p nTimeOut
    /// milliseconds. Unlike CSFunc::s_S_ForceCloseThread() it closes no socket and reports nothing
    /// to the debugger output. Never called by the thread itself.
    /// @param hThread closed and null afterwards; null does nothing.
    void m_S_ForceCloseThread(HANDLE& hThread, int nTimeOut);

    std::atomic<bool> m_bExit;  ///< tells the listen thread to stop; false at first
    SOCKET m_socket;         ///< the connection or the listening socket; `INVALID_SOCKET` at first
    int m_nSocketType;       ///< the role; the constructor's argument at first
    HANDLE m_hListenThread;  ///< the listen thread; null at first
    int m_nListenPort;       ///< TCP port to listen on; 0 at first
    int m_nProtocol;         ///< protocol number of the listening socket; 6 at first
    HWND m_hWndNotify;       ///< receives the notifications; null at first
};

static_assert(sizeof(std::atomic<bool>) == 1, "the exit flag is one byte");
static_assert(offsetof(CStdSocket, m_bExit) == 0 && offsetof(CStdSocket, m_socket) == 8 &&
                  offsetof(CStdSocket, m_nSocketType) == 16 &&
                  offsetof(CStdSocket, m_hListenThread) == 24 &&
                  offsetof(CStdSocket, m_nListenPort) == 32 &&
                  offsetof(CStdSocket, m_nProtocol) == 36 &&
                  offsetof(CStdSocket, m_hWndNotify) == 40 && sizeof(CStdSocket) == 48,
              "the fields, in this order, and nothing else");
