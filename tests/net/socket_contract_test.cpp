// What the network code relies on in the three socket helpers: the platform calls they make, in
// their order, and what they leave behind.
#include <winsock2.h>

#include <afxwin.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdio>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "CSFunc.h"
#include "support/import_patch.h"
#include "support/output_capture.h"
#include "support/scripted_camera.h"

namespace
{

using ostrel::test::CameraEnding;
using ostrel::test::ImportPatch;
using ostrel::test::NextHandleValue;
using ostrel::test::OutputCapture;
using ostrel::test::ScriptedCamera;
using Calls = std::vector<std::string>;

// ---- The platform as the DLL sees it -----------------------------------------------------------

/// The calls of the test's thread, and what the platform shall answer instead of the truth.
struct Platform
{
    DWORD thread = 0;
    Calls calls;
    int connectError = -1;       ///< the error code of `connect`; 0: it succeeds; -1: real
    int selectResult = INT_MIN;  ///< INT_MIN: real
    bool isFailing = false;      ///< ioctlsocket, setsockopt and closesocket fail
    DWORD waitResult = MAXIMUM_WAIT_OBJECTS;  ///< that value: real
    HANDLE* handleToClear = nullptr;          ///< becomes null when a socket is closed
};

Platform g_platform;

void Note(std::string call)
{
    if (GetCurrentThreadId() == g_platform.thread)
    {
        g_platform.calls.push_back(std::move(call));
    }
}

bool IsWatched()
{
    return GetCurrentThreadId() == g_platform.thread;
}

template <class Value>
std::string Text(Value value)
{
    return std::to_string(value);
}

std::string HandleText(HANDLE handle)
{
    return Text(reinterpret_cast<ULONG_PTR>(handle));
}

int WSAAPI WatchedIoctl(SOCKET socket, long command, u_long* argument)
{
    Note(std::string("ioctlsocket ") + (command == static_cast<long>(FIONBIO) ? "FIONBIO" : "?") +
         " " + Text(*argument));
    return IsWatched() && g_platform.isFailing ? SOCKET_ERROR
                                               : ioctlsocket(socket, command, argument);
}

int WSAAPI WatchedConnect(SOCKET socket, const sockaddr* address, int size)
{
    Note("connect " + Text(size));
    if (IsWatched() && g_platform.connectError >= 0)
    {
        WSASetLastError(g_platform.connectError);
        return g_platform.connectError == 0 ? 0 : SOCKET_ERROR;
    }
    return connect(socket, address, size);
}

std::string SetText(const fd_set* set)
{
    if (set == nullptr)
    {
        return "-";
    }
    std::string text;
    for (u_int i = 0; i < set->fd_count; ++i)
    {
        text += (i > 0 ? "," : "") + Text(set->fd_array[i]);
    }
    return text;
}

int WSAAPI WatchedSelect(int count, fd_set* read, fd_set* write, fd_set* except,
                         const timeval* limit)
{
    Note("select " + Text(count) + " read " + SetText(read) + " write " + SetText(write) +
         " except " + SetText(except) + " for " +
         (limit == nullptr ? "ever" : Text(limit->tv_sec) + "s " + Text(limit->tv_usec) + "us"));
    return IsWatched() && g_platform.selectResult != INT_MIN
               ? g_platform.selectResult
               : select(count, read, write, except, const_cast<timeval*>(limit));
}

int WSAAPI WatchedSetOption(SOCKET socket, int level, int name, const char* value, int size)
{
    std::string text = "setsockopt ";
    text += level == SOL_SOCKET ? "" : "other level ";
    if (name == SO_DONTLINGER && size == 4)
    {
        text += "SO_DONTLINGER " + Text(*reinterpret_cast<const int*>(value));
    }
    else if (name == SO_LINGER && size == 4)
    {
        const auto* option = reinterpret_cast<const linger*>(value);
        text += "SO_LINGER " + Text(option->l_onoff) + " " + Text(option->l_linger);
    }
    else
    {
        text += Text(name) + " of " + Text(size);
    }
    Note(text);
    return IsWatched() && g_platform.isFailing ? SOCKET_ERROR
                                               : setsockopt(socket, level, name, value, size);
}

int WSAAPI WatchedCloseSocket(SOCKET socket)
{
    Note("closesocket " + Text(socket));
    if (IsWatched() && g_platform.handleToClear != nullptr)
    {
        *g_platform.handleToClear = nullptr;
    }
    const int result = closesocket(socket);
    return IsWatched() && g_platform.isFailing ? SOCKET_ERROR : result;
}

int WSAAPI WatchedShutdown(SOCKET socket, int how)
{
    Note("shutdown");
    return shutdown(socket, how);
}

DWORD WINAPI WatchedWait(HANDLE handle, DWORD time)
{
    Note("WaitForSingleObject " + Text(time));
    return IsWatched() && g_platform.waitResult != MAXIMUM_WAIT_OBJECTS
               ? g_platform.waitResult
               : WaitForSingleObject(handle, time);
}

BOOL WINAPI WatchedTerminate(HANDLE handle, DWORD code)
{
    Note("TerminateThread " + Text(code));
    return TerminateThread(handle, code);
}

BOOL WINAPI WatchedCloseHandle(HANDLE handle)
{
    Note("CloseHandle " + HandleText(handle));
    return CloseHandle(handle);
}

void WINAPI WatchedOutput(const char* text)
{
    Note(std::string("OutputDebugStringA ") + text);
    OutputDebugStringA(text);
}

/// Null where the DLL never calls this function.
template <class Function>
std::unique_ptr<ImportPatch<Function>> Watch(const char* name, Function* replacement)
{
    try
    {
        return std::make_unique<ImportPatch<Function>>(name, replacement);
    }
    catch (const std::runtime_error&)
    {
        return nullptr;
    }
}

class PlatformWatch
{
public:
    PlatformWatch()
    {
        g_platform = Platform();
        g_platform.thread = GetCurrentThreadId();
    }
    ~PlatformWatch() { g_platform = Platform(); }

    Platform* operator->() { return &g_platform; }

    /// How many calls begin like this.
    int Count(const std::string& start) const
    {
        int count = 0;
        for (const std::string& call : g_platform.calls)
        {
            count += call.compare(0, start.size(), start) == 0 ? 1 : 0;
        }
        return count;
    }

private:
    ImportPatch<decltype(WatchedIoctl)> vm_ioctl{"ioctlsocket", &WatchedIoctl};
    ImportPatch<decltype(WatchedConnect)> vm_connect{"connect", &WatchedConnect};
    ImportPatch<decltype(WatchedSelect)> vm_select{"select", &WatchedSelect};
    ImportPatch<decltype(WatchedSetOption)> vm_setOption{"setsockopt", &WatchedSetOption};
    ImportPatch<decltype(WatchedCloseSocket)> vm_close{"closesocket", &WatchedCloseSocket};
    std::unique_ptr<ImportPatch<decltype(WatchedShutdown)>> vm_shutdown =
        Watch("shutdown", &WatchedShutdown);
    ImportPatch<decltype(WatchedWait)> vm_wait{"WaitForSingleObject", &WatchedWait};
    ImportPatch<decltype(WatchedTerminate)> vm_terminate{"TerminateThread", &WatchedTerminate};
    ImportPatch<decltype(WatchedCloseHandle)> vm_closeHandle{"CloseHandle", &WatchedCloseHandle};
    ImportPatch<decltype(WatchedOutput)> vm_output{"OutputDebugStringA", &WatchedOutput};
};

// ---- Peers and sockets -------------------------------------------------------------------------

class SocketContract : public ::testing::Test
{
protected:
    SocketContract()
    {
        WSADATA data = {};
        WSAStartup(MAKEWORD(2, 2), &data);
    }
    ~SocketContract() override { WSACleanup(); }
};

using ConnectContract = SocketContract;
using ForceCloseSocketContract = SocketContract;
using ForceCloseThreadContract = SocketContract;

class OwnSocket
{
public:
    OwnSocket() : socket(::socket(AF_INET, SOCK_STREAM, 0)) {}
    ~OwnSocket()
    {
        if (socket != INVALID_SOCKET)
        {
            closesocket(socket);
        }
    }
    OwnSocket(const OwnSocket&) = delete;
    OwnSocket& operator=(const OwnSocket&) = delete;

    SOCKET socket;
};

sockaddr_in Loopback(int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<u_short>(port));
    return address;
}

bool Connect(SOCKET socket, const sockaddr_in& address, int timeOut)
{
    return CSFunc::s_F_n_ConnectTimeOut(socket, reinterpret_cast<const sockaddr*>(&address),
                                        static_cast<int>(sizeof(address)), timeOut);
}

int Bind(SOCKET socket)
{
    sockaddr_in address = Loopback(0);
    int size = static_cast<int>(sizeof(address));
    EXPECT_EQ(bind(socket, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
    return ntohs(address.sin_port);
}

/// A port of this machine that refuses connections while it lives.
class RefusingPort
{
public:
    RefusingPort() : vm_nPort(Bind(vm_socket.socket)) {}
    int Port() const { return vm_nPort; }

private:
    OwnSocket vm_socket;
    int vm_nPort;
};

/// A port of this machine whose queue of connections is full, so that it does not answer.
class SilentPort
{
public:
    SilentPort() : vm_nPort(Bind(vm_listener.socket))
    {
        listen(vm_listener.socket, 1);
        const sockaddr_in address = Loopback(vm_nPort);
        for (OwnSocket& filler : vm_fillers)
        {
            u_long on = 1;
            ioctlsocket(filler.socket, FIONBIO, &on);
            connect(filler.socket, reinterpret_cast<const sockaddr*>(&address),
                    static_cast<int>(sizeof(address)));
        }
        Sleep(100);
    }
    int Port() const { return vm_nPort; }

private:
    OwnSocket vm_listener;
    OwnSocket vm_fillers[8];
    int vm_nPort;
};

bool IsConnectedSocketBlocking(SOCKET socket)
{
    const DWORD limit = 50;
    setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&limit),
               static_cast<int>(sizeof(limit)));
    char byte = 0;
    EXPECT_LT(recv(socket, &byte, 1, 0), 0);
    return WSAGetLastError() == WSAETIMEDOUT;
}

class Stopwatch
{
public:
    long long Milliseconds() const
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now() - vm_start)
            .count();
    }

private:
    std::chrono::steady_clock::time_point vm_start = std::chrono::steady_clock::now();
};

// Clocks of different make may disagree by a tick.
constexpr int kTick = 20;

// ---- Connect -----------------------------------------------------------------------------------

TEST_F(ConnectContract, WithATimeOutItSwitchesThenConnectsThenWaitsForTheWriteSetAlone)
{
    ScriptedCamera camera({});
    OwnSocket own;
    PlatformWatch watch;
    EXPECT_TRUE(Connect(own.socket, Loopback(camera.Port()), 3000));
    const std::string socket = Text(own.socket);
    EXPECT_EQ(watch->calls, (Calls{"ioctlsocket FIONBIO 1", "connect " + Text(sizeof(sockaddr_in)),
                                   "select " + Text(own.socket + 1) + " read - write " + socket +
                                       " except - for 0s 3000000us"}));
}

TEST_F(ConnectContract, TheWholeTimeOutGoesIntoTheMicroseconds)
{
    for (const int timeOut : {1, 999, 1000, 2147483})
    {
        OwnSocket own;
        PlatformWatch watch;
        watch->connectError = WSAEWOULDBLOCK;
        watch->selectResult = 1;
        EXPECT_TRUE(Connect(own.socket, Loopback(1), timeOut));
        ASSERT_EQ(watch->calls.size(), 3u);
        EXPECT_NE(watch->calls[2].find(" for 0s " + Text(timeOut * 1000) + "us"), std::string::npos)
            << watch->calls[2];
    }
}

TEST_F(ConnectContract, TheLargestTimeOutConnectsToAPeerThatAccepts)
{
    ScriptedCamera camera({});
    OwnSocket own;
    EXPECT_TRUE(Connect(own.socket, Loopback(camera.Port()), INT_MAX));
}

TEST_F(ConnectContract, WithATimeOutAConnectedSocketStaysNonBlocking)
{
    ScriptedCamera camera({});
    OwnSocket own;
    ASSERT_TRUE(Connect(own.socket, Loopback(camera.Port()), 3000));
    char byte = 0;
    EXPECT_LT(recv(own.socket, &byte, 1, 0), 0);
    EXPECT_EQ(WSAGetLastError(), WSAEWOULDBLOCK);
}

TEST_F(ConnectContract, WithoutATimeOutItOnlyConnectsAndTheSocketStaysBlocking)
{
    for (const int timeOut : {0, -1, INT_MIN})
    {
        ScriptedCamera camera({});
        OwnSocket own;
        {
            PlatformWatch watch;
            EXPECT_TRUE(Connect(own.socket, Loopback(camera.Port()), timeOut));
            EXPECT_EQ(watch->calls, Calls{"connect " + Text(sizeof(sockaddr_in))});
        }
        EXPECT_TRUE(IsConnectedSocketBlocking(own.socket)) << timeOut;
    }
}

TEST_F(ConnectContract, WithoutATimeOutARefusalIsFalseWithoutAWait)
{
    RefusingPort port;
    OwnSocket own;
    PlatformWatch watch;
    EXPECT_FALSE(Connect(own.socket, Loopback(port.Port()), 0));
    EXPECT_EQ(watch.Count("select"), 0);
}

TEST_F(ConnectContract, ARefusedConnectionCostsTheWholeTimeOut)
{
    RefusingPort port;
    OwnSocket own;
    const Stopwatch stopwatch;
    EXPECT_FALSE(Connect(own.socket, Loopback(port.Port()), 600));
    EXPECT_GE(stopwatch.Milliseconds(), 600 - kTick);
}

TEST_F(ConnectContract, APeerThatDoesNotAnswerIsFalseAfterTheTimeOutAndLeavesANonBlockingSocket)
{
    SilentPort port;
    OwnSocket own;
    {
        PlatformWatch watch;
        const Stopwatch stopwatch;
        EXPECT_FALSE(Connect(own.socket, Loopback(port.Port()), 600));
        EXPECT_GE(stopwatch.Milliseconds(), 600 - kTick);
        EXPECT_EQ(watch.Count("ioctlsocket"), 1);
        EXPECT_EQ(watch.Count("closesocket"), 0);
    }
    const Stopwatch stopwatch;
    const sockaddr_in address = Loopback(port.Port());
    EXPECT_LT(connect(own.socket, reinterpret_cast<const sockaddr*>(&address),
                      static_cast<int>(sizeof(address))),
              0);
    EXPECT_LT(stopwatch.Milliseconds(), 15000);
}

TEST_F(ConnectContract, AnErrorOtherThanWouldBlockIsFalseAtOnce)
{
    for (const int error : {WSAENETUNREACH, WSAEINPROGRESS, WSAEINVAL, WSAECONNREFUSED})
    {
        OwnSocket own;
        PlatformWatch watch;
        watch->connectError = error;
        EXPECT_FALSE(Connect(own.socket, Loopback(1), 5000));
        EXPECT_EQ(watch.Count("select"), 0) << error;
        EXPECT_EQ(watch.Count("closesocket"), 0) << error;
        EXPECT_EQ(watch.Count("ioctlsocket"), 1) << error;
    }
}

TEST_F(ConnectContract, WithoutATimeOutWouldBlockIsNoFailureOfTheConnectCall)
{
    OwnSocket own;
    PlatformWatch watch;
    watch->connectError = WSAEWOULDBLOCK;
    EXPECT_TRUE(Connect(own.socket, Loopback(1), 0));
    EXPECT_EQ(watch.Count("select"), 0);
}

TEST_F(ConnectContract, WithATimeOutAConnectThatSucceedsAtOnceIsStillWaitedFor)
{
    OwnSocket own;
    PlatformWatch watch;
    watch->connectError = 0;
    watch->selectResult = 0;
    EXPECT_FALSE(Connect(own.socket, Loopback(1), 100));
    EXPECT_EQ(watch.Count("select"), 1);
}

TEST_F(ConnectContract, TheWaitsResultDecides)
{
    const std::pair<int, bool> cases[] = {{1, true}, {2, true}, {0, false}, {SOCKET_ERROR, false}};
    for (const auto& [result, isConnected] : cases)
    {
        OwnSocket own;
        PlatformWatch watch;
        watch->connectError = WSAEWOULDBLOCK;
        watch->selectResult = result;
        EXPECT_EQ(Connect(own.socket, Loopback(1), 100), isConnected) << result;
        EXPECT_EQ(watch.Count("ioctlsocket"), 1) << result;
    }
}

TEST_F(ConnectContract, AFailedSwitchIsIgnored)
{
    OwnSocket own;
    PlatformWatch watch;
    watch->isFailing = true;
    watch->connectError = 0;
    watch->selectResult = 1;
    EXPECT_TRUE(Connect(own.socket, Loopback(1), 100));
}

TEST_F(ConnectContract, AValueThatIsNoSocketIsFalse)
{
    EXPECT_FALSE(Connect(INVALID_SOCKET, Loopback(1), 100));
    EXPECT_FALSE(Connect(INVALID_SOCKET, Loopback(1), 0));
}

// ---- Abortive close ----------------------------------------------------------------------------

const Calls kAbortiveClose = {"setsockopt SO_DONTLINGER 0", "setsockopt SO_LINGER 1 0"};

Calls AbortiveClose(SOCKET socket)
{
    Calls calls = kAbortiveClose;
    calls.push_back("closesocket " + Text(socket));
    return calls;
}

TEST_F(ForceCloseSocketContract, NoSocketMeansNoCall)
{
    SOCKET socket = INVALID_SOCKET;
    PlatformWatch watch;
    CSFunc::s_S_ForceCloseSocket(socket);
    EXPECT_EQ(watch->calls, Calls{});
    EXPECT_EQ(socket, INVALID_SOCKET);
}

TEST_F(ForceCloseSocketContract, TheTwoOptionsAreSetInOrderThenItIsClosedWithoutAShutdown)
{
    OwnSocket own;
    const SOCKET before = own.socket;
    PlatformWatch watch;
    CSFunc::s_S_ForceCloseSocket(own.socket);
    EXPECT_EQ(own.socket, INVALID_SOCKET);
    EXPECT_EQ(watch->calls, AbortiveClose(before));
}

TEST_F(ForceCloseSocketContract, TwiceClosesOnce)
{
    OwnSocket own;
    PlatformWatch watch;
    CSFunc::s_S_ForceCloseSocket(own.socket);
    CSFunc::s_S_ForceCloseSocket(own.socket);
    EXPECT_EQ(watch.Count("closesocket"), 1);
}

TEST_F(ForceCloseSocketContract, FailuresOfTheThreeCallsAreIgnored)
{
    OwnSocket own;
    const SOCKET before = own.socket;
    PlatformWatch watch;
    watch->isFailing = true;
    CSFunc::s_S_ForceCloseSocket(own.socket);
    EXPECT_EQ(own.socket, INVALID_SOCKET);
    EXPECT_EQ(watch->calls, AbortiveClose(before));
}

TEST_F(ForceCloseSocketContract, AClosedSocketsValueIsResetToo)
{
    OwnSocket own;
    closesocket(own.socket);
    CSFunc::s_S_ForceCloseSocket(own.socket);
    EXPECT_EQ(own.socket, INVALID_SOCKET);
}

TEST_F(ForceCloseSocketContract, ThePeerSeesAResetThoughBytesWereOnTheirWay)
{
    ScriptedCamera camera({ostrel::test::Send("unread")});
    OwnSocket own;
    ASSERT_TRUE(Connect(own.socket, Loopback(camera.Port()), 0));
    ASSERT_EQ(send(own.socket, "x\r\n\r\n", 5, 0), 5);
    camera.ReceivedBytes(5);
    CSFunc::s_S_ForceCloseSocket(own.socket);
    EXPECT_EQ(camera.Ending(), CameraEnding::PeerReset);
}

// ---- Forced thread end -------------------------------------------------------------------------

std::atomic<bool> g_bStop{false};

DWORD WINAPI EndAtOnce(void*)
{
    return 17;
}

DWORD WINAPI EndAfter300Ms(void*)
{
    Sleep(300);
    return 18;
}

DWORD WINAPI RunUntilStopped(void*)
{
    while (!g_bStop)
    {
        Sleep(10);
    }
    return 19;
}

HANDLE Start(LPTHREAD_START_ROUTINE routine)
{
    g_bStop = false;
    return CreateThread(nullptr, 0, routine, nullptr, 0, nullptr);
}

/// A second handle of the same thread, which survives the first.
class OtherHandle
{
public:
    explicit OtherHandle(HANDLE thread) : vm_handle(nullptr)
    {
        DuplicateHandle(GetCurrentProcess(), thread, GetCurrentProcess(), &vm_handle, 0, FALSE,
                        DUPLICATE_SAME_ACCESS);
    }
    ~OtherHandle() { CloseHandle(vm_handle); }
    OtherHandle(const OtherHandle&) = delete;
    OtherHandle& operator=(const OtherHandle&) = delete;

    /// Waits for the thread's end.
    DWORD ExitCode() const
    {
        EXPECT_EQ(WaitForSingleObject(vm_handle, 10000), WAIT_OBJECT_0);
        DWORD code = 0;
        GetExitCodeThread(vm_handle, &code);
        return code;
    }

private:
    HANDLE vm_handle;
};

bool IsOpen(HANDLE handle)
{
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) != FALSE;
}

TEST_F(ForceCloseThreadContract, NoThreadMeansThatTheSocketIsLeftAloneToo)
{
    HANDLE thread = nullptr;
    OwnSocket own;
    const SOCKET before = own.socket;
    PlatformWatch watch;
    CSFunc::s_S_ForceCloseThread(thread, 0, &own.socket);
    CSFunc::s_S_ForceCloseThread(thread, 0, nullptr);
    EXPECT_EQ(watch->calls, Calls{});
    EXPECT_EQ(own.socket, before);
}

TEST_F(ForceCloseThreadContract, AThreadThatEndsInTimeIsWaitedForThenItsSocketClosedThenItsHandle)
{
    HANDLE thread = Start(&EndAfter300Ms);
    const HANDLE before = thread;
    const OtherHandle other(thread);
    OwnSocket own;
    const SOCKET socket = own.socket;
    PlatformWatch watch;
    CSFunc::s_S_ForceCloseThread(thread, 10000, &own.socket);
    Calls expected = {"WaitForSingleObject 10000"};
    for (const std::string& call : AbortiveClose(socket))
    {
        expected.push_back(call);
    }
    expected.emplace_back("CloseHandle " + HandleText(before));
    EXPECT_EQ(watch->calls, expected);
    EXPECT_EQ(thread, nullptr);
    EXPECT_EQ(own.socket, INVALID_SOCKET);
    EXPECT_EQ(other.ExitCode(), 18u);
}

TEST_F(ForceCloseThreadContract, WithoutASocketNoneIsClosed)
{
    HANDLE thread = Start(&EndAtOnce);
    const HANDLE before = thread;
    PlatformWatch watch;
    CSFunc::s_S_ForceCloseThread(thread, 10000, nullptr);
    EXPECT_EQ(watch->calls,
              (Calls{"WaitForSingleObject 10000", "CloseHandle " + HandleText(before)}));
    EXPECT_EQ(thread, nullptr);
}

TEST_F(ForceCloseThreadContract, APointerToNoSocketIsHarmless)
{
    HANDLE thread = Start(&EndAtOnce);
    const HANDLE before = thread;
    SOCKET socket = INVALID_SOCKET;
    PlatformWatch watch;
    CSFunc::s_S_ForceCloseThread(thread, 10000, &socket);
    EXPECT_EQ(watch->calls,
              (Calls{"WaitForSingleObject 10000", "CloseHandle " + HandleText(before)}));
}

TEST_F(ForceCloseThreadContract,
       ALateThreadLosesItsSocketThenIsTerminatedReportedAndItsHandleClosed)
{
    HANDLE thread = Start(&RunUntilStopped);
    const HANDLE before = thread;
    const OtherHandle other(thread);
    OwnSocket own;
    const SOCKET socket = own.socket;
    char line[128];
    std::snprintf(line, sizeof(line), "TerminateThread hThread = 0x%08x, TIMEOUT = %d\n",
                  static_cast<unsigned int>(reinterpret_cast<ULONG_PTR>(thread)), 200);
    const Stopwatch stopwatch;
    OutputCapture capture;
    PlatformWatch watch;
    CSFunc::s_S_ForceCloseThread(thread, 200, &own.socket);
    EXPECT_GE(stopwatch.Milliseconds(), 200 - kTick);
    Calls expected = {"WaitForSingleObject 200"};
    for (const std::string& call : AbortiveClose(socket))
    {
        expected.push_back(call);
    }
    expected.emplace_back("TerminateThread 0");
    expected.emplace_back(std::string("OutputDebugStringA ") + line);
    expected.emplace_back("CloseHandle " + HandleText(before));
    // That the close or the termination has taken effect may be waited for in between.
    Calls calls = {watch->calls.front()};
    std::copy_if(watch->calls.begin() + 1, watch->calls.end(), std::back_inserter(calls),
                 [](const std::string& call) { return call.find("WaitForSingleObject") != 0; });
    EXPECT_EQ(calls, expected);
    EXPECT_EQ(capture.Texts(), Calls{line});
    EXPECT_EQ(thread, nullptr);
    EXPECT_EQ(own.socket, INVALID_SOCKET);
    EXPECT_EQ(other.ExitCode(), 0u);
}

TEST_F(ForceCloseThreadContract, ALateThreadWithoutASocketIsTerminated)
{
    HANDLE thread = Start(&RunUntilStopped);
    const OtherHandle other(thread);
    Sleep(200);  // terminated while it starts, it would leave the loader locked
    CSFunc::s_S_ForceCloseThread(thread, 0, nullptr);
    EXPECT_EQ(thread, nullptr);
    EXPECT_EQ(other.ExitCode(), 0u);
}

TEST_F(ForceCloseThreadContract, ATimelyEndWritesNothing)
{
    HANDLE thread = Start(&EndAtOnce);
    OutputCapture capture;
    CSFunc::s_S_ForceCloseThread(thread, 10000, nullptr);
    EXPECT_EQ(capture.Texts(), Calls{});
}

TEST_F(ForceCloseThreadContract, ANegativeTimeOutIsPassedOnAsItStands)
{
    HANDLE thread = Start(&EndAfter300Ms);
    const HANDLE before = thread;
    const OtherHandle other(thread);
    PlatformWatch watch;
    CSFunc::s_S_ForceCloseThread(thread, -1, nullptr);
    EXPECT_EQ(watch->calls,
              (Calls{"WaitForSingleObject 4294967295", "CloseHandle " + HandleText(before)}));
    EXPECT_EQ(other.ExitCode(), 18u);
}

TEST_F(ForceCloseThreadContract, AWaitThatEndsInAnyOtherWayCountsAsAnEndedThread)
{
    for (const DWORD result : {WAIT_FAILED, static_cast<DWORD>(WAIT_ABANDONED)})
    {
        HANDLE thread = Start(&RunUntilStopped);
        const HANDLE before = thread;
        const OtherHandle other(thread);
        OwnSocket own;
        const SOCKET socket = own.socket;
        {
            OutputCapture capture;
            PlatformWatch watch;
            watch->waitResult = result;
            CSFunc::s_S_ForceCloseThread(thread, 50, &own.socket);
            Calls expected = {"WaitForSingleObject 50"};
            for (const std::string& call : AbortiveClose(socket))
            {
                expected.push_back(call);
            }
            expected.emplace_back("CloseHandle " + HandleText(before));
            EXPECT_EQ(watch->calls, expected);
            EXPECT_EQ(capture.Texts(), Calls{});
        }
        EXPECT_EQ(thread, nullptr);
        EXPECT_EQ(own.socket, INVALID_SOCKET);
        g_bStop = true;
        EXPECT_EQ(other.ExitCode(), 19u);
    }
}

TEST_F(ForceCloseThreadContract, AThreadWhoseHandleWasTakenAwayMeanwhileIsNotTerminated)
{
    HANDLE thread = Start(&RunUntilStopped);
    const OtherHandle other(thread);
    const HANDLE before = thread;
    OwnSocket own;
    {
        PlatformWatch watch;
        watch->handleToClear = &thread;
        CSFunc::s_S_ForceCloseThread(thread, 50, &own.socket);
        EXPECT_EQ(watch.Count("TerminateThread"), 0);
    }
    EXPECT_EQ(thread, nullptr);
    g_bStop = true;
    EXPECT_EQ(other.ExitCode(), 19u);
    if (IsOpen(before))
    {
        CloseHandle(before);
    }
}

TEST_F(ForceCloseThreadContract, NoHandleIsLost)
{
    const std::size_t before = NextHandleValue();
    for (int i = 0; i < 50; ++i)
    {
        HANDLE thread = Start(&EndAtOnce);
        SOCKET socket = ::socket(AF_INET, SOCK_STREAM, 0);
        CSFunc::s_S_ForceCloseThread(thread, 10000, &socket);
    }
    EXPECT_LT(NextHandleValue(), before + 100);
}

}  // namespace
