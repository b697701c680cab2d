#include <gtest/gtest.h>

#include <process.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "CStdSocket.h"
#include "net/std_socket_peers.h"
#include "support/import_patch.h"

using namespace ostrel::test;

namespace
{

/// What the DLL does about its listen threads, as it happens: each call that is of interest is
/// noted, and then made.
class Watch
{
public:
    Watch() { vs_pWatch = this; }
    ~Watch()
    {
        vs_pWatch = nullptr;
        for (const HANDLE observer : observers)
        {
            CloseHandle(observer);
        }
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    std::vector<std::string> Events()
    {
        const std::lock_guard<std::mutex> guard(lock);
        return events;
    }

    std::ptrdiff_t CountOf(const std::string& event)
    {
        const std::vector<std::string> all = Events();
        return std::count(all.begin(), all.end(), event);
    }

    /// Waits for the end of the thread that was started as the n-th.
    DWORD ExitCode(std::size_t thread = 0)
    {
        EXPECT_TRUE(Eventually(
            [&]
            {
                const std::lock_guard<std::mutex> guard(lock);
                return thread < observers.size();
            }));
        EXPECT_EQ(WaitForSingleObject(observers[thread], kPatience), WAIT_OBJECT_0);
        DWORD code = 0xDEAD;
        GetExitCodeThread(observers[thread], &code);
        return code;
    }

    std::atomic<int> failingAccepts{0};
    std::atomic<bool> isAcceptHanging{false};
    std::vector<HANDLE> observers;

private:
    using ThreadProc = unsigned(__stdcall*)(void*);

    void Note(const std::string& event)
    {
        const std::lock_guard<std::mutex> guard(lock);
        events.push_back(event);
    }

    static ULONG_PTR OnBeginThread(void* pSecurity, unsigned stack, ThreadProc proc, void* pParam,
                                   unsigned flags, unsigned* pId)
    {
        vs_pWatch->Note("thread with stack " + std::to_string(stack));
        const ULONG_PTR thread = _beginthreadex(pSecurity, stack, proc, pParam, flags, pId);
        HANDLE observer = nullptr;
        DuplicateHandle(GetCurrentProcess(), reinterpret_cast<HANDLE>(thread), GetCurrentProcess(),
                        &observer, 0, FALSE, DUPLICATE_SAME_ACCESS);
        const std::lock_guard<std::mutex> guard(vs_pWatch->lock);
        vs_pWatch->observers.push_back(observer);
        return thread;
    }

    static BOOL WINAPI OnCloseHandle(HANDLE handle)
    {
        const BOOL wasOpen = CloseHandle(handle);
        vs_pWatch->Note(wasOpen ? "handle closed" : "closed handle closed");
        return wasOpen;
    }

    static BOOL WINAPI OnTerminate(HANDLE handle, DWORD code)
    {
        vs_pWatch->Note("terminate with " + std::to_string(code));
        return TerminateThread(handle, code);
    }

    static int WSAAPI OnCloseSocket(SOCKET socket)
    {
        vs_pWatch->Note("socket closed");
        return closesocket(socket);
    }

    static int WSAAPI OnCleanup()
    {
        vs_pWatch->Note("cleanup");
        return WSACleanup();
    }

    static SOCKET WSAAPI OnSocket(int family, int type, int protocol)
    {
        vs_pWatch->Note("socket " + std::to_string(family) + " " + std::to_string(type) + " " +
                        std::to_string(protocol));
        return socket(family, type, protocol);
    }

    static int WSAAPI OnListen(SOCKET socket, int backlog)
    {
        vs_pWatch->Note("listen " + std::to_string(backlog));
        return listen(socket, backlog);
    }

    static SOCKET WSAAPI OnAccept(SOCKET socket, sockaddr* pAddress, int* pLength)
    {
        EXPECT_EQ(pAddress, nullptr);
        EXPECT_EQ(pLength, nullptr);
        if (vs_pWatch->failingAccepts > 0)
        {
            --vs_pWatch->failingAccepts;
            vs_pWatch->Note("accept failed");
            return INVALID_SOCKET;
        }
        if (vs_pWatch->isAcceptHanging)
        {
            Sleep(INFINITE);
        }
        return accept(socket, pAddress, pLength);
    }

    static Watch* vs_pWatch;

    std::mutex lock;
    std::vector<std::string> events;
    ImportPatch<decltype(OnBeginThread)> vm_beginThread{"_beginthreadex", OnBeginThread};
    ImportPatch<decltype(OnCloseHandle)> vm_closeHandle{"CloseHandle", OnCloseHandle};
    ImportPatch<decltype(OnTerminate)> vm_terminate{"TerminateThread", OnTerminate};
    ImportPatch<decltype(OnCloseSocket)> vm_closeSocket{"closesocket", OnCloseSocket};
    ImportPatch<decltype(OnCleanup)> vm_cleanup{"WSACleanup", OnCleanup};
    ImportPatch<decltype(OnSocket)> vm_socket{"socket", OnSocket};
    ImportPatch<decltype(OnListen)> vm_listen{"listen", OnListen};
    ImportPatch<decltype(OnAccept)> vm_accept{"accept", OnAccept};
};

Watch* Watch::vs_pWatch = nullptr;

class StdSocketListener : public testing::Test
{
protected:
    StdSocketListener()
    {
        WSADATA data = {};
        WSAStartup(MAKEWORD(2, 2), &data);
    }
    ~StdSocketListener() override { WSACleanup(); }
};

/// A listener whose thread has begun to listen.
struct Listening
{
    explicit Listening(HWND hWnd) : port(FreePort())
    {
        EXPECT_EQ(listener->m_F_n_CreateListenThread(port, hWnd, IPPROTO_TCP), 1);
        EXPECT_TRUE(Eventually([this] { return IsListening(); }));
    }

    bool IsListening() const
    {
        BOOL isListening = FALSE;
        int size = static_cast<int>(sizeof(isListening));
        getsockopt(listener->m_socket, SOL_SOCKET, SO_ACCEPTCONN,
                   reinterpret_cast<char*>(&isListening), &size);
        return isListening != FALSE;
    }

    int port;
    std::unique_ptr<CStdSocket> listener = std::make_unique<CStdSocket>(1);
};

std::string ReceiveSome(CStdSocket& socket)
{
    char buffer[100];
    int received = -5;
    for (int calls = 0; received == -5 && calls < 200; ++calls)
    {
        received = socket.m_F_n_ReceviceSocket(buffer, static_cast<int>(sizeof(buffer)), 1000);
    }
    return received > 0 ? std::string(buffer, static_cast<std::size_t>(received)) : std::string();
}

}  // namespace

// ---- What it does for its clients ---------------------------------------------------------------

TEST_F(StdSocketListener, PostsEachAcceptedSocketToTheWindow)
{
    NotifiedWindow window;
    Listening listening(window.handle);
    std::vector<BareSocket> clients(5);
    for (std::size_t i = 0; i < clients.size(); ++i)
    {
        ASSERT_TRUE(clients[i].ConnectTo(listening.port));
        ASSERT_TRUE(window.WaitFor(i + 1));
        EXPECT_EQ(window.notifications[i].message, 0U);
        const SOCKET accepted = static_cast<SOCKET>(window.notifications[i].value);
        EXPECT_TRUE(IsOpen(accepted));
        EXPECT_EQ(send(accepted, "hello", 5, 0), 5);
        EXPECT_EQ(clients[i].Receive(5), "hello");
    }
}

TEST_F(StdSocketListener, HandsAConnectionToAnObjectOfRoleTwoWhichSendsAndReceives)
{
    NotifiedWindow window;
    Listening listening(window.handle);
    CStdSocket client;
    ASSERT_EQ(client.m_F_n_ConnectTo(L"127.0.0.1", listening.port, 5000, 0), 1);
    ASSERT_TRUE(window.WaitFor(1));
    CStdSocket connection(2);
    ASSERT_EQ(connection.m_S_SetConnectedSocket(window.TakeSocket()), 1);

    EXPECT_EQ(client.m_F_n_SendSocket("question", 8, 1000), 8);
    EXPECT_EQ(ReceiveSome(connection), "question");
    EXPECT_EQ(connection.m_F_n_SendSocket("answer", 6, 1000), 6);
    EXPECT_EQ(ReceiveSome(client), "answer");
    char buffer[10];
    EXPECT_EQ(connection.m_F_n_ReceviceSocket(buffer, 10, 1000), -5);
}

TEST_F(StdSocketListener, LeavesItsConnectionsAliveWhenItGoes)
{
    NotifiedWindow window;
    Listening listening(window.handle);
    BareSocket client;
    ASSERT_TRUE(client.ConnectTo(listening.port));
    ASSERT_TRUE(window.WaitFor(1));
    CStdSocket connection(2);
    connection.m_S_SetConnectedSocket(window.TakeSocket());
    listening.listener.reset();
    EXPECT_EQ(connection.m_F_n_SendSocket("still", 5, 1000), 5);
    EXPECT_EQ(client.Receive(5), "still");
}

TEST_F(StdSocketListener, ListensOnEveryLocalAddressWithTheLargestBacklog)
{
    Watch watch;
    NotifiedWindow window;
    Listening listening(window.handle);
    sockaddr_in address = {};
    int size = static_cast<int>(sizeof(address));
    ASSERT_EQ(
        getsockname(listening.listener->m_socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
    EXPECT_EQ(address.sin_addr.s_addr, INADDR_ANY);
    EXPECT_EQ(ntohs(address.sin_port), listening.port);
    EXPECT_EQ(watch.CountOf("listen 2147483647"), 1);
    EXPECT_EQ(watch.CountOf("socket 2 1 6"), 1);
}

TEST_F(StdSocketListener, MakesItsSocketWithTheProtocolNumberGiven)
{
    Watch watch;
    CStdSocket listener(1);
    EXPECT_EQ(listener.m_F_n_CreateListenThread(FreePort(), nullptr, 0), 1);
    EXPECT_TRUE(Eventually([&] { return watch.CountOf("listen 2147483647") == 1; }));
    EXPECT_EQ(watch.CountOf("socket 2 1 0"), 1);
}

TEST_F(StdSocketListener, GoesOnAcceptingAfterFailures)
{
    Watch watch;
    watch.failingAccepts = 50;
    NotifiedWindow window;
    Listening listening(window.handle);
    BareSocket client;
    ASSERT_TRUE(client.ConnectTo(listening.port));
    ASSERT_TRUE(window.WaitFor(1));
    EXPECT_EQ(watch.CountOf("accept failed"), 50);
    EXPECT_EQ(window.notifications.size(), 1U);
    EXPECT_TRUE(IsOpen(static_cast<SOCKET>(window.notifications[0].value)));
}

TEST_F(StdSocketListener, ClosesAConnectionThatNoWindowTakes)
{
    HWND gone = nullptr;
    {
        NotifiedWindow window;
        gone = window.handle;
    }
    for (const HWND hWnd : {gone, HWND{nullptr}})
    {
        Listening listening(hWnd);
        BareSocket client;
        ASSERT_TRUE(client.ConnectTo(listening.port));
        EXPECT_TRUE(client.IsReset());
    }
}

// ---- Starting it --------------------------------------------------------------------------------

TEST_F(StdSocketListener, KeepsWhatItWasStartedWith)
{
    Watch watch;
    NotifiedWindow window;
    Listening listening(window.handle);
    EXPECT_EQ(listening.listener->m_hWndNotify, window.handle);
    EXPECT_EQ(listening.listener->m_nProtocol, 6);
    EXPECT_EQ(listening.listener->m_nListenPort, listening.port);
    EXPECT_NE(listening.listener->m_hListenThread, nullptr);
    EXPECT_EQ(GetThreadId(listening.listener->m_hListenThread), GetThreadId(watch.observers[0]));
    EXPECT_EQ(watch.CountOf("thread with stack 0"), 1);
}

TEST_F(StdSocketListener, IsStartedInTheRoleListenerOnly)
{
    NotifiedWindow window;
    for (const int role : {0, 2, 3})
    {
        Watch watch;
        CStdSocket socket(role);
        EXPECT_EQ(socket.m_F_n_CreateListenThread(FreePort(), window.handle, IPPROTO_TCP), 0);
        EXPECT_EQ(socket.m_hListenThread, nullptr);
        EXPECT_TRUE(watch.observers.empty());
        EXPECT_EQ(socket.m_hWndNotify, nullptr);
        EXPECT_EQ(socket.m_nListenPort, 0);
    }
}

TEST_F(StdSocketListener, IsNotStartedASecondTime)
{
    NotifiedWindow window;
    Listening listening(window.handle);
    const HANDLE thread = listening.listener->m_hListenThread;
    const SOCKET socket = listening.listener->m_socket;
    EXPECT_EQ(listening.listener->m_F_n_CreateListenThread(FreePort(), nullptr, 0), 0);
    EXPECT_EQ(listening.listener->m_hListenThread, thread);
    EXPECT_EQ(listening.listener->m_socket, socket);
    EXPECT_EQ(listening.listener->m_hWndNotify, window.handle);
    EXPECT_EQ(listening.listener->m_nProtocol, 6);
    EXPECT_EQ(listening.listener->m_nListenPort, listening.port);
    BareSocket client;
    ASSERT_TRUE(client.ConnectTo(listening.port));
    EXPECT_TRUE(window.WaitFor(1));
}

// ---- When it cannot listen ----------------------------------------------------------------------

TEST_F(StdSocketListener, EndsWithZeroAndClearsItsHandleWhenThePortIsInUse)
{
    NotifiedWindow window;
    Listening first(window.handle);
    Watch watch;
    CStdSocket second(1);
    EXPECT_EQ(second.m_F_n_CreateListenThread(first.port, window.handle, IPPROTO_TCP), 1);
    EXPECT_EQ(watch.ExitCode(), 0U);
    EXPECT_EQ(second.m_hListenThread, nullptr);
    EXPECT_EQ(second.m_socket, INVALID_SOCKET);
    EXPECT_EQ(watch.CountOf("handle closed"), 1);
    EXPECT_EQ(watch.CountOf("socket closed"), 1);
    window.Dispatch();
    EXPECT_TRUE(window.notifications.empty());
}

TEST_F(StdSocketListener, EndsWithZeroWhenNoSocketCanBeMade)
{
    Watch watch;
    CStdSocket listener(1);
    // Datagrams for a stream.
    EXPECT_EQ(listener.m_F_n_CreateListenThread(FreePort(), nullptr, IPPROTO_UDP), 1);
    EXPECT_EQ(watch.ExitCode(), 0U);
    EXPECT_EQ(listener.m_hListenThread, nullptr);
    EXPECT_EQ(listener.m_socket, INVALID_SOCKET);
    EXPECT_EQ(watch.CountOf("handle closed"), 1);
}

TEST_F(StdSocketListener, CanBeStartedAgainAfterAFailure)
{
    Watch watch;
    NotifiedWindow window;
    CStdSocket listener(1);
    ASSERT_EQ(listener.m_F_n_CreateListenThread(FreePort(), window.handle, IPPROTO_UDP), 1);
    ASSERT_EQ(watch.ExitCode(), 0U);
    const int port = FreePort();
    ASSERT_EQ(listener.m_F_n_CreateListenThread(port, window.handle, IPPROTO_TCP), 1);
    ASSERT_TRUE(Eventually([&] { return watch.CountOf("listen 2147483647") == 1; }));
    BareSocket client;
    ASSERT_TRUE(client.ConnectTo(port));
    EXPECT_TRUE(window.WaitFor(1));
}

TEST_F(StdSocketListener, ThatFailsAtOnceHasItsHandleNullAndClosedOnce)
{
    for (int round = 0; round < 100; ++round)
    {
        Watch watch;
        CStdSocket listener(1);
        ASSERT_EQ(listener.m_F_n_CreateListenThread(0, nullptr, IPPROTO_UDP), 1);
        ASSERT_EQ(watch.ExitCode(), 0U);
        ASSERT_EQ(listener.m_hListenThread, nullptr);
        ASSERT_EQ(watch.CountOf("handle closed"), 1);
        ASSERT_EQ(watch.CountOf("closed handle closed"), 0);
    }
}

TEST_F(StdSocketListener, ThatFailsDuringTheDestructorHasItsHandleClosedOnce)
{
    for (int round = 0; round < 100; ++round)
    {
        Watch watch;
        {
            CStdSocket listener(1);
            ASSERT_EQ(listener.m_F_n_CreateListenThread(0, nullptr, IPPROTO_UDP), 1);
            if (round % 2 != 0)
            {
                Sleep(0);
            }
        }
        watch.ExitCode();
        ASSERT_EQ(watch.CountOf("handle closed"), 1);
        ASSERT_EQ(watch.CountOf("closed handle closed"), 0);
        ASSERT_EQ(watch.CountOf("terminate with 0"), 0);
    }
}

TEST_F(StdSocketListener, ThreadFunctionDoesNothingWithoutAnObject)
{
    EXPECT_EQ(CStdSocket::m_S_ListenThreadProc(nullptr), 0U);
}

TEST_F(StdSocketListener, ThreadFunctionReturnsZeroWhenItCannotListen)
{
    CStdSocket listener(1);
    listener.m_nProtocol = IPPROTO_UDP;
    EXPECT_EQ(CStdSocket::m_S_ListenThreadProc(&listener), 0U);
    EXPECT_EQ(listener.m_socket, INVALID_SOCKET);
    EXPECT_EQ(listener.m_hListenThread, nullptr);
}

TEST_F(StdSocketListener, ThreadFunctionReturnsOneWithoutAcceptingWhenTheStopCameFirst)
{
    NotifiedWindow window;
    CStdSocket listener(1);
    listener.m_hWndNotify = window.handle;
    listener.m_bExit = true;
    EXPECT_EQ(CStdSocket::m_S_ListenThreadProc(&listener), 1U);
    EXPECT_NE(listener.m_socket, INVALID_SOCKET);
    window.Dispatch();
    EXPECT_TRUE(window.notifications.empty());
}

// ---- Stopping it --------------------------------------------------------------------------------

TEST_F(StdSocketListener, IsWokenFromItsAcceptByTheDestructor)
{
    Watch watch;
    NotifiedWindow window;
    Listening listening(window.handle);
    Sleep(200);
    const auto start = Clock::now();
    listening.listener.reset();
    EXPECT_LT(MillisecondsSince(start), 4500) << "it was not woken";
    EXPECT_EQ(watch.ExitCode(), 1U);
    EXPECT_EQ(watch.CountOf("terminate with 0"), 0);
}

TEST_F(StdSocketListener, PostsInvalidSocketLastWhenItIsStopped)
{
    NotifiedWindow window;
    Listening listening(window.handle);
    BareSocket client;
    ASSERT_TRUE(client.ConnectTo(listening.port));
    ASSERT_TRUE(window.WaitFor(1));
    // Into the accept again.
    Sleep(200);
    listening.listener.reset();
    ASSERT_TRUE(window.WaitFor(2));
    EXPECT_EQ(window.notifications[1].message, 0U);
    EXPECT_EQ(static_cast<SOCKET>(window.notifications[1].value), INVALID_SOCKET);
    Sleep(100);
    window.Dispatch();
    EXPECT_EQ(window.notifications.size(), 2U);
}

TEST_F(StdSocketListener, IsTakenDownInOrder)
{
    Watch watch;
    NotifiedWindow window;
    Listening listening(window.handle);
    const std::size_t before = watch.Events().size();
    listening.listener.reset();
    std::vector<std::string> events = watch.Events();
    events.erase(events.begin(), events.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_EQ(events, (std::vector<std::string>{"socket closed", "handle closed", "cleanup"}));
}

TEST_F(StdSocketListener, FreesItsPort)
{
    NotifiedWindow window;
    Listening listening(window.handle);
    listening.listener.reset();
    BareSocket next;
    const sockaddr_in address = LoopbackAddress(listening.port);
    EXPECT_EQ(bind(next.handle, reinterpret_cast<const sockaddr*>(&address),
                   static_cast<int>(sizeof(address))),
              0);
}

TEST_F(StdSocketListener, CanBeStoppedAtAnyMomentOfItsStart)
{
    for (int round = 0; round < 60; ++round)
    {
        Watch watch;
        {
            CStdSocket listener(1);
            ASSERT_EQ(listener.m_F_n_CreateListenThread(0, nullptr, IPPROTO_TCP), 1);
            const auto start = Clock::now();
            while (std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start)
                       .count() < round * 20)
            {
            }
        }
        watch.ExitCode();
        ASSERT_EQ(watch.CountOf("handle closed"), 1) << round;
        ASSERT_EQ(watch.CountOf("closed handle closed"), 0) << round;
        ASSERT_EQ(watch.CountOf("terminate with 0"), 0) << round;
        ASSERT_EQ(watch.CountOf("socket 2 1 6"), watch.CountOf("socket closed")) << round;
    }
}

TEST_F(StdSocketListener, IsTerminatedAfterFiveSecondsWhenItDoesNotEnd)
{
    Watch watch;
    watch.isAcceptHanging = true;
    NotifiedWindow window;
    Listening listening(window.handle);
    const auto start = Clock::now();
    listening.listener.reset();
    EXPECT_GE(MillisecondsSince(start), 4900);
    EXPECT_EQ(watch.ExitCode(), 0U);
    EXPECT_EQ(watch.CountOf("terminate with 0"), 1);
    EXPECT_EQ(watch.CountOf("handle closed"), 1);
    EXPECT_EQ(watch.CountOf("socket closed"), 1);
}
