#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "CSFunc.h"
#include "support/output_capture.h"
#include "support/scripted_camera.h"

using ostrel::test::CameraEnding;
using ostrel::test::OutputCapture;
using ostrel::test::ScriptedCamera;
using ostrel::test::Send;
using ostrel::test::Wait;

namespace
{

using Clock = std::chrono::steady_clock;

long long MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

sockaddr_in LoopbackAddress(int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

bool Connect(SOCKET socket, const sockaddr_in& address, int timeOut)
{
    return CSFunc::s_F_n_ConnectTimeOut(socket, reinterpret_cast<const sockaddr*>(&address),
                                        static_cast<int>(sizeof(address)), timeOut);
}

/// A TCP socket, closed at the end.
struct TcpSocket
{
    TcpSocket() : handle(socket(AF_INET, SOCK_STREAM, 0)) {}
    ~TcpSocket()
    {
        if (handle != INVALID_SOCKET)
        {
            closesocket(handle);
        }
    }
    TcpSocket(const TcpSocket&) = delete;
    TcpSocket& operator=(const TcpSocket&) = delete;

    SOCKET handle;
};

/// A bound port that nobody listens on.
struct RefusingPort
{
    RefusingPort()
    {
        sockaddr_in address = LoopbackAddress(0);
        int size = static_cast<int>(sizeof(address));
        bind(socket.handle, reinterpret_cast<sockaddr*>(&address), size);
        getsockname(socket.handle, reinterpret_cast<sockaddr*>(&address), &size);
        port = ntohs(address.sin_port);
    }
    TcpSocket socket;
    int port = 0;
};

bool IsOpen(SOCKET socket)
{
    int type = 0;
    int size = static_cast<int>(sizeof(type));
    return getsockopt(socket, SOL_SOCKET, SO_TYPE, reinterpret_cast<char*>(&type), &size) == 0;
}

bool IsHandleOpen(HANDLE handle)
{
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) != FALSE;
}

HANDLE Duplicate(HANDLE handle, DWORD access)
{
    HANDLE duplicate = nullptr;
    DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &duplicate, access, FALSE, 0);
    return duplicate;
}

/// A thread that sleeps for a time and ends with 7.
struct SleepingThread
{
    explicit SleepingThread(DWORD time, SOCKET* pSocket = nullptr) : time(time), pSocket(pSocket)
    {
        handle = CreateThread(nullptr, 0, Run, this, 0, nullptr);
        observer = Duplicate(handle, THREAD_ALL_ACCESS);
    }
    ~SleepingThread()
    {
        if (handle != nullptr)
        {
            CloseHandle(handle);
        }
        WaitForSingleObject(observer, INFINITE);
        CloseHandle(observer);
    }
    SleepingThread(const SleepingThread&) = delete;
    SleepingThread& operator=(const SleepingThread&) = delete;

    static DWORD WINAPI Run(void* pParam)
    {
        SleepingThread& self = *static_cast<SleepingThread*>(pParam);
        Sleep(self.time);
        self.wasSocketOpenAtTheEnd = self.pSocket != nullptr && IsOpen(*self.pSocket);
        return 7;
    }

    bool IsRunning() const { return WaitForSingleObject(observer, 0) == WAIT_TIMEOUT; }

    DWORD ExitCode() const
    {
        WaitForSingleObject(observer, 10000);
        DWORD code = 0xDEAD;
        GetExitCodeThread(observer, &code);
        return code;
    }

    DWORD time;
    SOCKET* pSocket;
    bool wasSocketOpenAtTheEnd = false;
    HANDLE handle = nullptr;
    HANDLE observer = nullptr;
};

constexpr DWORD kVeryLong = 600000;

class SocketHelpers : public testing::Test
{
protected:
    SocketHelpers()
    {
        WSADATA data = {};
        WSAStartup(MAKEWORD(2, 2), &data);
    }
    ~SocketHelpers() override { WSACleanup(); }
};

using ConnectTimeOut = SocketHelpers;
using ForceCloseSocket = SocketHelpers;
using ForceCloseThread = SocketHelpers;

}  // namespace

// ---- Connect with time-out ----------------------------------------------------------------------

TEST_F(ConnectTimeOut, ConnectsToAPeerThatListens)
{
    ScriptedCamera camera({Send("x")});
    TcpSocket client;
    ASSERT_TRUE(Connect(client.handle, LoopbackAddress(camera.Port()), 5000));
    EXPECT_EQ(send(client.handle, "hello\r\n\r\n", 9, 0), 9);
    EXPECT_EQ(camera.Received(), "hello\r\n\r\n");
}

TEST_F(ConnectTimeOut, LeavesAConnectedSocketNonBlocking)
{
    ScriptedCamera camera({});
    TcpSocket client;
    ASSERT_TRUE(Connect(client.handle, LoopbackAddress(camera.Port()), 5000));
    char byte = 0;
    EXPECT_EQ(recv(client.handle, &byte, 1, 0), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);
}

TEST_F(ConnectTimeOut, FailsAfterTheWholeTimeOutWhenRefused)
{
    RefusingPort peer;
    TcpSocket client;
    const auto start = Clock::now();
    EXPECT_FALSE(Connect(client.handle, LoopbackAddress(peer.port), 700));
    EXPECT_GE(MillisecondsSince(start), 680);
}

TEST_F(ConnectTimeOut, WaitsThreeSecondsForATimeOutOfThreeThousand)
{
    RefusingPort peer;
    TcpSocket client;
    const auto start = Clock::now();
    EXPECT_FALSE(Connect(client.handle, LoopbackAddress(peer.port), 3000));
    EXPECT_GE(MillisecondsSince(start), 2980);
    EXPECT_LT(MillisecondsSince(start), 20000);
}

TEST_F(ConnectTimeOut, FailsAfterTheTimeOutWhenThePeerDoesNotAnswer)
{
    // Its queue is full, and nobody takes from it.
    TcpSocket listener;
    sockaddr_in address = LoopbackAddress(0);
    int size = static_cast<int>(sizeof(address));
    ASSERT_EQ(bind(listener.handle, reinterpret_cast<sockaddr*>(&address), size), 0);
    ASSERT_EQ(listen(listener.handle, 1), 0);
    getsockname(listener.handle, reinterpret_cast<sockaddr*>(&address), &size);
    std::vector<TcpSocket> queue(8);
    for (const TcpSocket& waiting : queue)
    {
        Connect(waiting.handle, address, 1);
    }
    Sleep(200);

    TcpSocket client;
    const auto start = Clock::now();
    EXPECT_FALSE(Connect(client.handle, address, 500));
    EXPECT_GE(MillisecondsSince(start), 480);
    // It stays non-blocking: the connect that is under way is not waited for.
    EXPECT_EQ(connect(client.handle, reinterpret_cast<sockaddr*>(&address), size), SOCKET_ERROR);
    EXPECT_EQ(WSAGetLastError(), WSAEALREADY);
}

TEST_F(ConnectTimeOut, FailsAtOnceOnAnyOtherError)
{
    sockaddr_in address = LoopbackAddress(80);
    address.sin_addr.s_addr = INADDR_BROADCAST;
    TcpSocket client;
    const auto start = Clock::now();
    EXPECT_FALSE(Connect(client.handle, address, 15000));
    EXPECT_LT(MillisecondsSince(start), 10000);
}

TEST_F(ConnectTimeOut, FailsWithoutASocket)
{
    EXPECT_FALSE(Connect(INVALID_SOCKET, LoopbackAddress(80), 1000));
    EXPECT_FALSE(Connect(INVALID_SOCKET, LoopbackAddress(80), 0));
}

TEST_F(ConnectTimeOut, FailsWithoutAnAddress)
{
    TcpSocket client;
    const int size = static_cast<int>(sizeof(sockaddr_in));
    EXPECT_FALSE(CSFunc::s_F_n_ConnectTimeOut(client.handle, nullptr, size, 1000));
    EXPECT_FALSE(CSFunc::s_F_n_ConnectTimeOut(client.handle, nullptr, 0, 0));
}

TEST_F(ConnectTimeOut, IsAPlainBlockingConnectWithoutATimeOut)
{
    for (const int timeOut : {0, -1})
    {
        ScriptedCamera camera({Wait(300), Send("x")});
        TcpSocket client;
        ASSERT_TRUE(Connect(client.handle, LoopbackAddress(camera.Port()), timeOut));
        ASSERT_EQ(send(client.handle, "\r\n\r\n", 4, 0), 4);
        char byte = 0;
        EXPECT_EQ(recv(client.handle, &byte, 1, 0), 1);
        EXPECT_EQ(byte, 'x');
    }
}

TEST_F(ConnectTimeOut, FailsWithoutATimeOutWhenRefused)
{
    for (const int timeOut : {0, -1})
    {
        RefusingPort peer;
        TcpSocket client;
        EXPECT_FALSE(Connect(client.handle, LoopbackAddress(peer.port), timeOut));
    }
}

TEST_F(ConnectTimeOut, TakesAPendingConnectForSuccessWithoutATimeOut)
{
    RefusingPort peer;
    TcpSocket client;
    u_long isNonBlocking = 1;
    ioctlsocket(client.handle, FIONBIO, &isNonBlocking);
    EXPECT_TRUE(Connect(client.handle, LoopbackAddress(peer.port), 0));
}

// ---- Abortive close -----------------------------------------------------------------------------

TEST_F(ForceCloseSocket, ResetsTheConnection)
{
    ScriptedCamera camera({});
    SOCKET client = socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_TRUE(Connect(client, LoopbackAddress(camera.Port()), 5000));
    CSFunc::s_S_ForceCloseSocket(client);
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
}

TEST_F(ForceCloseSocket, LeavesTheVariableAtInvalidSocket)
{
    SOCKET client = socket(AF_INET, SOCK_STREAM, 0);
    const SOCKET before = client;
    CSFunc::s_S_ForceCloseSocket(client);
    EXPECT_EQ(client, INVALID_SOCKET);
    EXPECT_FALSE(IsOpen(before));
}

TEST_F(ForceCloseSocket, CallsNothingForInvalidSocket)
{
    SOCKET none = INVALID_SOCKET;
    WSASetLastError(4711);
    CSFunc::s_S_ForceCloseSocket(none);
    EXPECT_EQ(WSAGetLastError(), 4711);
    EXPECT_EQ(none, INVALID_SOCKET);
}

TEST_F(ForceCloseSocket, ClosesOnceWhenCalledTwice)
{
    SOCKET client = socket(AF_INET, SOCK_STREAM, 0);
    CSFunc::s_S_ForceCloseSocket(client);
    // As a rule this one gets the number of the one just closed.
    TcpSocket next;
    CSFunc::s_S_ForceCloseSocket(client);
    EXPECT_TRUE(IsOpen(next.handle));
}

// ---- Forced thread end --------------------------------------------------------------------------

TEST_F(ForceCloseThread, DoesNothingForANullHandle)
{
    OutputCapture output;
    TcpSocket socket;
    HANDLE thread = nullptr;
    CSFunc::s_S_ForceCloseThread(thread, 100, &socket.handle);
    EXPECT_EQ(thread, nullptr);
    ASSERT_NE(socket.handle, INVALID_SOCKET);
    EXPECT_TRUE(IsOpen(socket.handle));
    EXPECT_TRUE(output.Texts().empty());
}

TEST_F(ForceCloseThread, LetsAThreadEndWithinTheTimeOut)
{
    OutputCapture output;
    SleepingThread thread(300);
    CSFunc::s_S_ForceCloseThread(thread.handle, 20000, nullptr);
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_EQ(thread.ExitCode(), 7U);
    EXPECT_TRUE(output.Texts().empty());
}

TEST_F(ForceCloseThread, ClosesTheHandleAndSetsItToNull)
{
    SleepingThread thread(10);
    const HANDLE before = thread.handle;
    CSFunc::s_S_ForceCloseThread(thread.handle, 20000, nullptr);
    EXPECT_EQ(thread.handle, nullptr);
    EXPECT_FALSE(IsHandleOpen(before));
}

TEST_F(ForceCloseThread, ClosesTheSocketOnlyAfterTheThreadHasEnded)
{
    ScriptedCamera camera({});
    SOCKET socket = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_TRUE(Connect(socket, LoopbackAddress(camera.Port()), 5000));
    SleepingThread thread(300, &socket);
    CSFunc::s_S_ForceCloseThread(thread.handle, 20000, &socket);
    EXPECT_TRUE(thread.wasSocketOpenAtTheEnd);
    EXPECT_EQ(socket, INVALID_SOCKET);
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
}

TEST_F(ForceCloseThread, TerminatesAThreadThatDoesNotEnd)
{
    SleepingThread thread(kVeryLong);
    const auto start = Clock::now();
    const HANDLE before = thread.handle;
    CSFunc::s_S_ForceCloseThread(thread.handle, 400, nullptr);
    EXPECT_GE(MillisecondsSince(start), 380);
    EXPECT_EQ(thread.ExitCode(), 0U);
    EXPECT_EQ(thread.handle, nullptr);
    EXPECT_FALSE(IsHandleOpen(before));
}

TEST_F(ForceCloseThread, ClosesTheSocketOfAThreadThatItTerminates)
{
    ScriptedCamera camera({});
    SOCKET socket = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_TRUE(Connect(socket, LoopbackAddress(camera.Port()), 5000));
    SleepingThread thread(kVeryLong);
    CSFunc::s_S_ForceCloseThread(thread.handle, 100, &socket);
    EXPECT_EQ(socket, INVALID_SOCKET);
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
}

TEST_F(ForceCloseThread, ReportsATerminationToTheDebugger)
{
    OutputCapture output;
    SleepingThread thread(kVeryLong);
    char expected[100];
    std::snprintf(expected, sizeof(expected), "TerminateThread hThread = 0x%08x, TIMEOUT = %d\n",
                  static_cast<unsigned>(reinterpret_cast<UINT_PTR>(thread.handle)), 123);
    CSFunc::s_S_ForceCloseThread(thread.handle, 123, nullptr);
    EXPECT_EQ(output.Texts(), std::vector<std::string>{expected});
}

TEST_F(ForceCloseThread, WaitsWithoutLimitForATimeOutOfAllOnes)
{
    OutputCapture output;
    SleepingThread thread(500);
    CSFunc::s_S_ForceCloseThread(thread.handle, -1, nullptr);
    EXPECT_EQ(thread.ExitCode(), 7U);
    EXPECT_TRUE(output.Texts().empty());
}

TEST_F(ForceCloseThread, TakesAFailedWaitForAThreadThatHasEnded)
{
    OutputCapture output;
    TcpSocket socket;
    SleepingThread thread(1500);
    // No right to wait for it.
    HANDLE handle = Duplicate(thread.handle, THREAD_TERMINATE);
    const HANDLE before = handle;
    CSFunc::s_S_ForceCloseThread(handle, 20000, &socket.handle);
    EXPECT_TRUE(thread.IsRunning());
    EXPECT_EQ(handle, nullptr);
    EXPECT_FALSE(IsHandleOpen(before));
    EXPECT_EQ(socket.handle, INVALID_SOCKET);
    EXPECT_TRUE(output.Texts().empty());
}
