#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "CStdSocket.h"
#include "net/std_socket_peers.h"
#include "support/import_patch.h"
#include "support/output_capture.h"

using namespace ostrel::test;

namespace
{

/// Winsock for the test's own sockets.
class StdSocket : public testing::Test
{
protected:
    StdSocket()
    {
        WSADATA data = {};
        WSAStartup(MAKEWORD(2, 2), &data);
    }
    ~StdSocket() override { WSACleanup(); }
};

using StdSocketStart = StdSocket;
using StdSocketFields = StdSocket;
using StdSocketLookUp = StdSocket;
using StdSocketConnect = StdSocket;
using StdSocketSend = StdSocket;
using StdSocketReceive = StdSocket;
using StdSocketHelpers = StdSocket;
using StdSocketNotification = StdSocket;

/// A client and what it is connected to.
struct Connected
{
    explicit Connected(int bufferSize = 0) : listener(bufferSize)
    {
        EXPECT_EQ(client.m_F_n_ConnectTo(L"127.0.0.1", listener.port, 5000, 0), 1);
        peer.handle = accept(listener.socket.handle, nullptr, nullptr);
        const DWORD patience = kPatience;
        setsockopt(peer.handle, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&patience),
                   static_cast<int>(sizeof(patience)));
    }

    BareListener listener;
    CStdSocket client;
    BareSocket peer{INVALID_SOCKET};
};

bool HasData(SOCKET socket)
{
    fd_set set;
    FD_ZERO(&set);
    FD_SET(socket, &set);
    timeval limit = {0, 300000};
    return select(0, &set, nullptr, nullptr, &limit) == 1;
}

void WaitForData(const CStdSocket& socket)
{
    EXPECT_TRUE(Eventually([&socket] { return HasData(socket.m_socket); }));
}

bool IsNonBlocking(SOCKET connected)
{
    char byte = 0;
    return recv(connected, &byte, 1, 0) == SOCKET_ERROR && WSAGetLastError() == WSAEWOULDBLOCK;
}

std::string Noise(std::size_t size)
{
    std::string bytes;
    unsigned state = 4711;
    while (bytes.size() < size)
    {
        state = state * 1664525U + 1013904223U;
        bytes += static_cast<char>(state >> 24);
    }
    return bytes;
}

std::size_t NextSocketValue()
{
    return static_cast<std::size_t>(BareSocket().handle);
}

// ---- Winsock as it cannot be had for real: it fails, and says which version there is ----

struct WinsockPlay
{
    int result;
    WORD version;
    WORD requested;
    int starts;
    int cleanups;
    int boxes;
    bool isBoxOwned;
    UINT boxType;
    std::wstring text;
    std::wstring title;
};
WinsockPlay play;

int WSAAPI PlayStart(WORD requested, WSADATA* pData)
{
    ++play.starts;
    play.requested = requested;
    pData->wVersion = play.version;
    return play.result;
}

int WSAAPI PlayCleanup()
{
    ++play.cleanups;
    return 0;
}

int WINAPI PlayBox(HWND hOwner, LPCWSTR pText, LPCWSTR pTitle, UINT type)
{
    EXPECT_EQ(play.cleanups, 0) << "the box comes before the clean-up";
    ++play.boxes;
    play.isBoxOwned = hOwner != nullptr;
    play.text = pText;
    play.title = pTitle;
    play.boxType = type;
    return IDOK;
}

struct PlayedWinsock
{
    PlayedWinsock(int result, WORD version)
    {
        play = {result, version, 0, 0, 0, 0, true, ~0U, {}, {}};
    }

    ImportPatch<decltype(PlayStart)> start{"WSAStartup", PlayStart};
    ImportPatch<decltype(PlayCleanup)> cleanup{"WSACleanup", PlayCleanup};
    ImportPatch<decltype(PlayBox)> box{"MessageBoxW", PlayBox};
};

}  // namespace

// ---- Construction and destruction ---------------------------------------------------------------

static_assert(!std::is_polymorphic_v<CStdSocket>, "no virtual operations");
static_assert(WM_SOCKET_NOTIFICATION == 0x8B0 && SOCKET_NOTIFICATION_ACCEPT == 0);

TEST_F(StdSocketStart, SetsTheFields)
{
    for (const int role : {0, 1, 2, 3, 77, -1})
    {
        const CStdSocket socket(role);
        EXPECT_FALSE(socket.m_bExit);
        EXPECT_EQ(socket.m_socket, INVALID_SOCKET);
        EXPECT_EQ(socket.m_nSocketType, role);
        EXPECT_EQ(socket.m_hListenThread, nullptr);
        EXPECT_EQ(socket.m_nListenPort, 0);
        EXPECT_EQ(socket.m_nProtocol, 6);
        EXPECT_EQ(socket.m_hWndNotify, nullptr);
    }
}

TEST_F(StdSocketStart, IsAClientByDefault)
{
    const CStdSocket socket;
    EXPECT_EQ(socket.m_nSocketType, 0);
}

TEST_F(StdSocketStart, AsksForWinsockTwoPointZeroAndIsSilentWhenItStarts)
{
    for (const WORD version : {MAKEWORD(2, 0), MAKEWORD(1, 1)})
    {
        PlayedWinsock winsock(0, version);
        {
            CStdSocket socket;
            EXPECT_EQ(play.starts, 1);
            EXPECT_EQ(play.requested, 0x0002);
            EXPECT_EQ(play.cleanups, 0);
        }
        EXPECT_EQ(play.cleanups, 1);
        EXPECT_EQ(play.boxes, 0);
    }
}

TEST_F(StdSocketStart, ShowsAMessageBoxWhenItFailsWithAnotherVersion)
{
    for (const WORD version : {MAKEWORD(1, 1), MAKEWORD(2, 2), MAKEWORD(0, 2), MAKEWORD(0, 0)})
    {
        PlayedWinsock winsock(WSAVERNOTSUPPORTED, version);
        {
            CStdSocket socket;
            EXPECT_EQ(play.boxes, 1);
            EXPECT_FALSE(play.isBoxOwned);
            EXPECT_EQ(play.text, L"Incorrect version of Winsock.dll found");
            EXPECT_EQ(play.title, L"Error");
            EXPECT_EQ(play.boxType, static_cast<UINT>(MB_OK));
            EXPECT_EQ(play.cleanups, 1);
        }
        EXPECT_EQ(play.cleanups, 2);
    }
}

TEST_F(StdSocketStart, OnlyCleansUpWhenItFailsWithTheRightVersion)
{
    PlayedWinsock winsock(WSASYSNOTREADY, MAKEWORD(2, 0));
    {
        CStdSocket socket;
        EXPECT_EQ(play.boxes, 0);
        EXPECT_EQ(play.cleanups, 1);
    }
    EXPECT_EQ(play.cleanups, 2);
    EXPECT_EQ(play.boxes, 0);
}

TEST_F(StdSocketStart, EndsWithAnAbortiveCloseOfAnOpenSocket)
{
    BareListener listener;
    auto client = std::make_unique<CStdSocket>();
    ASSERT_EQ(client->m_F_n_ConnectTo(L"127.0.0.1", listener.port, 5000, 0), 1);
    BareSocket peer = listener.Accept();
    const SOCKET socket = client->m_socket;
    client.reset();
    EXPECT_TRUE(peer.IsReset());
    EXPECT_FALSE(IsOpen(socket));
}

TEST_F(StdSocketStart, TestsTellAResetFromAnEndInOrder)
{
    for (const bool isReset : {true, false})
    {
        for (const DWORD pause : {0, 100})
        {
            Connected connected;
            isReset ? connected.peer.Reset() : connected.peer.Close();
            Sleep(pause);
            BareSocket watching(connected.client.m_socket);
            connected.client.m_socket = INVALID_SOCKET;
            u_long isNonBlocking = 0;
            ioctlsocket(watching.handle, FIONBIO, &isNonBlocking);
            EXPECT_EQ(watching.IsReset(), isReset) << pause;
        }
    }
}

// ---- Fields -------------------------------------------------------------------------------------

TEST_F(StdSocketFields, AreAllCopiedAsTheyStand)
{
    int thread = 0;
    int window = 0;
    CStdSocket source(2);
    source.m_bExit = true;
    source.m_socket = 4242;
    source.m_hListenThread = &thread;
    source.m_nListenPort = 554;
    source.m_nProtocol = 17;
    source.m_hWndNotify = reinterpret_cast<HWND>(&window);

    CStdSocket assigned(1);
    CStdSocket& result = assigned = source;
    CStdSocket copied(source);
    EXPECT_EQ(&result, &assigned);
    for (CStdSocket* copy : {&assigned, &copied})
    {
        EXPECT_TRUE(copy->m_bExit);
        EXPECT_EQ(copy->m_socket, 4242U);
        EXPECT_EQ(copy->m_nSocketType, 2);
        EXPECT_EQ(copy->m_hListenThread, &thread);
        EXPECT_EQ(copy->m_nListenPort, 554);
        EXPECT_EQ(copy->m_nProtocol, 17);
        EXPECT_EQ(copy->m_hWndNotify, reinterpret_cast<HWND>(&window));
    }
    for (CStdSocket* object : {&assigned, &copied, &source})
    {
        object->m_socket = INVALID_SOCKET;
        object->m_hListenThread = nullptr;
    }
}

TEST_F(StdSocketFields, OfACopyNameTheSameConnection)
{
    Connected connected;
    CStdSocket copy;
    copy = connected.client;
    EXPECT_EQ(copy.m_F_n_SendSocket("hello", 5, 1000), 5);
    EXPECT_EQ(connected.peer.Receive(5), "hello");
    copy.m_socket = INVALID_SOCKET;
}

TEST_F(StdSocketFields, SurviveASelfAssignment)
{
    Connected connected;
    const CStdSocket& same = connected.client;
    const SOCKET socket = connected.client.m_socket;
    connected.client = same;
    EXPECT_EQ(connected.client.m_socket, socket);
    EXPECT_TRUE(IsOpen(socket));
}

TEST_F(StdSocketFields, OfACopyAreStartedAndEndedInBalance)
{
    PlayedWinsock winsock(0, MAKEWORD(2, 0));
    {
        CStdSocket socket;
        CStdSocket copy(socket);
        CStdSocket assigned;
        assigned = socket;
    }
    EXPECT_EQ(play.starts, 3);
    EXPECT_EQ(play.cleanups, 3);
}

TEST_F(StdSocketFields, TakeARoleUpToThree)
{
    CStdSocket socket;
    for (const int role : {3, 2, 1, 0})
    {
        EXPECT_EQ(socket.m_S_SetSocketType(role), 1);
        EXPECT_EQ(socket.m_nSocketType, role);
    }
}

TEST_F(StdSocketFields, KeepTheRoleWhenAnyOtherIsGiven)
{
    CStdSocket socket(2);
    for (const int role : {4, 5, INT_MAX, -1, INT_MIN})
    {
        EXPECT_EQ(socket.m_S_SetSocketType(role), 0) << role;
        EXPECT_EQ(socket.m_nSocketType, 2);
    }
}

TEST_F(StdSocketFields, TellWhetherThereIsASocket)
{
    CStdSocket socket;
    EXPECT_FALSE(socket.m_F_b_CheckSocketValid());
    EXPECT_EQ(socket.m_F_n_GetSocket(), INVALID_SOCKET);
    Connected connected;
    EXPECT_TRUE(connected.client.m_F_b_CheckSocketValid());
    EXPECT_EQ(connected.client.m_F_n_GetSocket(), connected.client.m_socket);
    EXPECT_NE(connected.client.m_F_n_GetSocket(), INVALID_SOCKET);
}

TEST_F(StdSocketFields, TakeAWindow)
{
    CStdSocket socket;
    NotifiedWindow window;
    socket.m_S_SetWndNotification(window.handle);
    EXPECT_EQ(socket.m_hWndNotify, window.handle);
    socket.m_S_SetWndNotification(nullptr);
    EXPECT_EQ(socket.m_hWndNotify, nullptr);
}

TEST_F(StdSocketFields, TakeAnAcceptedSocketInRoleTwoOnly)
{
    BareSocket accepted;
    for (const int role : {0, 1, 3})
    {
        CStdSocket socket(role);
        EXPECT_EQ(socket.m_S_SetConnectedSocket(accepted.handle), 0);
        EXPECT_EQ(socket.m_socket, INVALID_SOCKET);
    }
    EXPECT_TRUE(IsOpen(accepted.handle));
    const SOCKET handle = std::exchange(accepted.handle, INVALID_SOCKET);
    {
        CStdSocket socket(2);
        EXPECT_EQ(socket.m_S_SetConnectedSocket(handle), 1);
        EXPECT_EQ(socket.m_socket, handle);
    }
    EXPECT_FALSE(IsOpen(handle)) << "the object owns it";
}

// ---- Looking a host up --------------------------------------------------------------------------

TEST_F(StdSocketLookUp, ReadsADottedAddressInHostByteOrder)
{
    CStdSocket socket;
    EXPECT_EQ(socket.GetIPAddress(L"127.0.0.1"), 0x7F000001U);
    EXPECT_EQ(socket.GetIPAddress(L"192.168.1.64"), 0xC0A80140U);
    EXPECT_EQ(socket.GetIPAddress(L"0.0.0.0"), 0U);
    EXPECT_EQ(socket.GetIPAddress(L"255.255.255.255"), 0xFFFFFFFFU);
}

TEST_F(StdSocketLookUp, ResolvesAName)
{
    CStdSocket socket;
    EXPECT_EQ(socket.GetIPAddress(L"localhost"), 0x7F000001U);
}

TEST_F(StdSocketLookUp, GivesAllOnesForAnEmptyHost)
{
    CStdSocket socket;
    EXPECT_EQ(socket.GetIPAddress(L""), 0xFFFFFFFFU);
    EXPECT_EQ(socket.GetIPAddress(CStringW()), 0xFFFFFFFFU);
}

TEST_F(StdSocketLookUp, GivesAllOnesForAnUnknownHost)
{
    CStdSocket socket;
    EXPECT_EQ(socket.GetIPAddress(L"no-such-host.invalid"), 0xFFFFFFFFU);
    EXPECT_EQ(socket.GetIPAddress(L"\x4E2D\x6587.invalid"), 0xFFFFFFFFU);
}

TEST_F(StdSocketLookUp, GivesAllOnesForAHostThatIsTooLong)
{
    CStdSocket socket;
    for (const int length : {128, 254, 255, 256, 257, 100000})
    {
        EXPECT_EQ(socket.GetIPAddress(CStringW(L'1', length)), 0xFFFFFFFFU) << length;
    }
}

// ---- Connecting ---------------------------------------------------------------------------------

TEST_F(StdSocketConnect, ConnectsToAHostByAddressOrName)
{
    for (const wchar_t* host : {L"127.0.0.1", L"localhost"})
    {
        BareListener listener;
        CStdSocket client;
        ASSERT_EQ(client.m_F_n_ConnectTo(host, listener.port, 5000, 0), 1);
        EXPECT_TRUE(client.m_F_b_CheckSocketValid());
        BareSocket peer = listener.Accept();
        EXPECT_EQ(client.m_F_n_SendSocket("hello", 5, 1000), 5);
        EXPECT_EQ(peer.Receive(5), "hello");
    }
}

TEST_F(StdSocketConnect, DoesNotUseItsFourthArgument)
{
    for (const int unused : {0, 1, -1, INT_MAX})
    {
        BareListener listener;
        CStdSocket client;
        EXPECT_EQ(client.m_F_n_ConnectTo(L"127.0.0.1", listener.port, 5000, unused), 1);
    }
}

TEST_F(StdSocketConnect, LeavesTheSocketNonBlocking)
{
    for (const int timeOut : {5000, 0, -1})
    {
        BareListener listener;
        CStdSocket client;
        ASSERT_EQ(client.m_F_n_ConnectTo(L"127.0.0.1", listener.port, timeOut, 0), 1);
        EXPECT_TRUE(IsNonBlocking(client.m_socket)) << timeOut;
    }
}

TEST_F(StdSocketConnect, IsRefusedInAnyRoleButClientAndOpensNothing)
{
    for (const int role : {1, 2, 3})
    {
        BareListener listener;
        CStdSocket socket(role);
        EXPECT_EQ(socket.m_F_n_ConnectTo(L"127.0.0.1", listener.port, 5000, 0), 0);
        EXPECT_EQ(socket.m_socket, INVALID_SOCKET);
        EXPECT_FALSE(listener.HasConnection());
    }
}

TEST_F(StdSocketConnect, IsRefusedWithAnOpenSocketWhichStays)
{
    Connected connected;
    BareListener other;
    const SOCKET socket = connected.client.m_socket;
    EXPECT_EQ(connected.client.m_F_n_ConnectTo(L"127.0.0.1", other.port, 5000, 0), 0);
    EXPECT_EQ(connected.client.m_socket, socket);
    EXPECT_FALSE(other.HasConnection());
    EXPECT_EQ(connected.client.m_F_n_SendSocket("x", 1, 1000), 1);
    EXPECT_EQ(connected.peer.Receive(1), "x");
}

TEST_F(StdSocketConnect, FailsAfterTheWholeTimeOutWhenRefusedByThePeer)
{
    RefusingPort peer;
    CStdSocket client;
    const auto start = Clock::now();
    EXPECT_EQ(client.m_F_n_ConnectTo(L"127.0.0.1", peer.port, 500, 0), 0);
    EXPECT_GE(MillisecondsSince(start), 480);
    EXPECT_EQ(client.m_socket, INVALID_SOCKET);
}

TEST_F(StdSocketConnect, FailsForAnUnknownHost)
{
    CStdSocket client;
    EXPECT_EQ(client.m_F_n_ConnectTo(L"", 80, 1000, 0), 0);
    EXPECT_EQ(client.m_F_n_ConnectTo(L"no-such-host.invalid", 80, 1000, 0), 0);
    EXPECT_EQ(client.m_socket, INVALID_SOCKET);
}

TEST_F(StdSocketConnect, LosesNoSocketWhenItFails)
{
    CStdSocket client;
    const std::size_t before = NextSocketValue();
    for (int i = 0; i < 100; ++i)
    {
        ASSERT_EQ(client.m_F_n_ConnectTo(L"255.255.255.255", 80, 1000, 0), 0);
    }
    EXPECT_LT(NextSocketValue(), before + 100);
}

TEST_F(StdSocketConnect, CanBeTriedAgainAfterAFailure)
{
    CStdSocket client;
    ASSERT_EQ(client.m_F_n_ConnectTo(L"255.255.255.255", 80, 1000, 0), 0);
    BareListener listener;
    EXPECT_EQ(client.m_F_n_ConnectTo(L"127.0.0.1", listener.port, 5000, 0), 1);
}

// ---- Sending ------------------------------------------------------------------------------------

TEST_F(StdSocketSend, IsRefusedInAnyRoleButClientAndAccepted)
{
    for (const int role : {1, 3})
    {
        Connected connected;
        connected.client.m_S_SetSocketType(role);
        EXPECT_EQ(connected.client.m_F_n_SendSocket("data", 4, 1000), -2);
        EXPECT_FALSE(HasData(connected.peer.handle));
    }
}

TEST_F(StdSocketSend, WorksInTheRoleAccepted)
{
    Connected connected;
    connected.client.m_S_SetSocketType(2);
    EXPECT_EQ(connected.client.m_F_n_SendSocket("data", 4, 1000), 4);
    EXPECT_EQ(connected.peer.Receive(4), "data");
}

TEST_F(StdSocketSend, IsRefusedWithoutData)
{
    Connected connected;
    EXPECT_EQ(connected.client.m_F_n_SendSocket(nullptr, 4, 1000), -4);
}

TEST_F(StdSocketSend, OfANegativeLengthOrNothingSendsNothing)
{
    Connected connected;
    for (const int length : {0, -1, INT_MIN})
    {
        EXPECT_EQ(connected.client.m_F_n_SendSocket("data", length, 1000), 0);
    }
    EXPECT_FALSE(HasData(connected.peer.handle));
}

TEST_F(StdSocketSend, SendsExactlyTheBytesGiven)
{
    Connected connected;
    const std::string data = Noise(30000);
    EXPECT_EQ(connected.client.m_F_n_SendSocket(data.data(), 30000, 1000), 30000);
    EXPECT_EQ(connected.peer.Receive(30000), data);
    EXPECT_FALSE(HasData(connected.peer.handle));
}

TEST_F(StdSocketSend, SendsNothingWithATimeOutBelowAHundred)
{
    Connected connected;
    for (const int timeOut : {99, 1, 0, -1, -99})
    {
        EXPECT_EQ(connected.client.m_F_n_SendSocket("data", 4, timeOut), 0) << timeOut;
    }
    EXPECT_FALSE(HasData(connected.peer.handle));
    EXPECT_EQ(connected.client.m_F_n_SendSocket("data", 4, 100), 4);
}

TEST_F(StdSocketSend, ExceedsItsRetriesWithANegativeTimeOut)
{
    Connected connected;
    EXPECT_EQ(connected.client.m_F_n_SendSocket("data", 4, -100), -3);
    EXPECT_EQ(connected.client.m_F_n_SendSocket("data", 4, INT_MIN), -3);
    EXPECT_FALSE(HasData(connected.peer.handle));
}

TEST_F(StdSocketSend, ReturnsWhatWasTakenWhenThePeerStopsReading)
{
    Connected connected(8192);
    const int bufferSize = 8192;
    setsockopt(connected.client.m_socket, SOL_SOCKET, SO_SNDBUF,
               reinterpret_cast<const char*>(&bufferSize), static_cast<int>(sizeof(bufferSize)));
    const std::string data = Noise(8 << 20);
    const int length = static_cast<int>(data.size());
    int sent = connected.client.m_F_n_SendSocket(data.data(), length, 1000);
    ASSERT_GT(sent, 0);
    ASSERT_LT(sent, length);
    // Still full: the wait for room takes its time.
    const auto start = Clock::now();
    if (connected.client.m_F_n_SendSocket(data.data() + sent, 0, 1000) == 0)
    {
        EXPECT_GE(MillisecondsSince(start), 80);
    }
    // The rest goes on where it was cut.
    std::string received;
    std::thread reader([&] { received = connected.peer.Receive(data.size()); });
    for (int calls = 0; sent < length && calls < 100000; ++calls)
    {
        const int more = connected.client.m_F_n_SendSocket(data.data() + sent, length - sent, 1000);
        if (more < 0)
        {
            break;
        }
        sent += more;
    }
    reader.join();
    EXPECT_EQ(sent, length);
    EXPECT_TRUE(received == data);
}

TEST_F(StdSocketSend, ReturnsZeroOnABrokenConnection)
{
    Connected connected;
    connected.peer.Reset();
    WaitForData(connected.client);
    EXPECT_EQ(connected.client.m_F_n_SendSocket("data", 4, 1000), 0);
}

TEST_F(StdSocketSend, ReturnsZeroWithoutASocket)
{
    CStdSocket socket;
    EXPECT_EQ(socket.m_F_n_SendSocket("data", 4, 1000), 0);
    EXPECT_EQ(socket.m_F_n_SendSocket("data", 4, -1000), -3);
}

// ---- Receiving ----------------------------------------------------------------------------------

TEST_F(StdSocketReceive, IsRefusedInAnyRoleButClientAndAccepted)
{
    for (const int role : {1, 3})
    {
        Connected connected;
        connected.peer.Send("data");
        connected.client.m_S_SetSocketType(role);
        char buffer[] = "####";
        EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, 4, 1000), -2);
        EXPECT_STREQ(buffer, "####");
    }
}

TEST_F(StdSocketReceive, WorksInTheRoleAccepted)
{
    Connected connected;
    connected.client.m_S_SetSocketType(2);
    connected.peer.Send("data");
    WaitForData(connected.client);
    char buffer[4];
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, 4, 1000), 4);
    EXPECT_EQ(std::string(buffer, 4), "data");
}

TEST_F(StdSocketReceive, IsRefusedWithoutABuffer)
{
    Connected connected;
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(nullptr, 4, 1000), -4);
}

TEST_F(StdSocketReceive, SaysThatNothingArrivedAfterAHundredMillisecondsWithTheBufferZeroed)
{
    Connected connected;
    for (const int timeOut : {5000, 100, 0, -1000})
    {
        std::string buffer(100, '#');
        const auto start = Clock::now();
        EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer.data(), 100, timeOut), -5);
        EXPECT_GE(MillisecondsSince(start), 80);
        EXPECT_EQ(buffer, std::string(100, '\0'));
    }
}

TEST_F(StdSocketReceive, ReturnsWhatHasArrivedAndZeroesTheRest)
{
    Connected connected;
    connected.peer.Send("hello");
    WaitForData(connected.client);
    std::string buffer(100, '#');
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer.data(), 99, 1000), 5);
    EXPECT_EQ(buffer, "hello" + std::string(94, '\0') + "#");
}

TEST_F(StdSocketReceive, IsOneReceiveAndLeavesTheRestForTheNext)
{
    Connected connected;
    connected.peer.Send("0123456789");
    WaitForData(connected.client);
    char buffer[4];
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, 4, 1000), 4);
    EXPECT_EQ(std::string(buffer, 4), "0123");
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, 4, 1000), 4);
    EXPECT_EQ(std::string(buffer, 4), "4567");
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, 4, 1000), 2);
    EXPECT_EQ(std::string(buffer, 4), std::string("89\0\0", 4));
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, 4, 1000), -5);
}

TEST_F(StdSocketReceive, TakesWhatArrivesDuringTheWait)
{
    Connected connected;
    // The wait is short, and the sender may come late: then it is the next call's.
    std::thread sender(
        [&]
        {
            Sleep(50);
            connected.peer.Send("late");
        });
    char buffer[4];
    int received = -5;
    for (int calls = 0; received == -5 && calls < 200; ++calls)
    {
        received = connected.client.m_F_n_ReceviceSocket(buffer, 4, 1000);
    }
    sender.join();
    EXPECT_EQ(received, 4);
}

TEST_F(StdSocketReceive, ReturnsZeroWhenThePeerHasClosed)
{
    Connected connected;
    connected.peer.Close();
    WaitForData(connected.client);
    std::string buffer(4, '#');
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer.data(), 4, 1000), 0);
    EXPECT_EQ(buffer, std::string(4, '\0'));
}

TEST_F(StdSocketReceive, ReturnsZeroWhenThePeerHasReset)
{
    Connected connected;
    connected.peer.Reset();
    WaitForData(connected.client);
    char buffer[4];
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, 4, 1000), 0);
}

TEST_F(StdSocketReceive, ReturnsZeroWithoutASocket)
{
    CStdSocket socket;
    std::string buffer(4, '#');
    EXPECT_EQ(socket.m_F_n_ReceviceSocket(buffer.data(), 4, 1000), 0);
    EXPECT_EQ(buffer, std::string(4, '\0'));
    EXPECT_EQ(socket.m_F_n_ReceviceSocket(buffer.data(), 4, -1000), -3);
}

TEST_F(StdSocketReceive, OfANegativeSizeReadsAndClearsNothing)
{
    Connected connected;
    connected.peer.Send("data");
    WaitForData(connected.client);
    char buffer[] = "####";
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, -1, 1000), 0);
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, INT_MIN, 1000), 0);
    EXPECT_STREQ(buffer, "####");
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, 4, 1000), 4);
}

TEST_F(StdSocketReceive, OfNoSizeReceivesNothing)
{
    Connected connected;
    connected.peer.Send("data");
    WaitForData(connected.client);
    char buffer[] = "####";
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, 0, 1000), 0);
    EXPECT_STREQ(buffer, "####");
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, 4, 1000), 4);
}

TEST_F(StdSocketReceive, ReceivesNothingWithATimeOutBelowAHundred)
{
    Connected connected;
    connected.peer.Send("data");
    WaitForData(connected.client);
    char buffer[4];
    for (const int timeOut : {99, 0, -99})
    {
        EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, 4, timeOut), 0) << timeOut;
    }
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, 4, -100), -3);
    EXPECT_EQ(connected.client.m_F_n_ReceviceSocket(buffer, 4, 100), 4);
}

// ---- The members that the socket helpers are, too -----------------------------------------------

namespace
{

bool ConnectBare(BareSocket& socket, int port, int timeOut)
{
    CStdSocket object;
    const sockaddr_in address = LoopbackAddress(port);
    const bool isConnected =
        object.m_F_n_ConnectTimeOut(socket.handle, reinterpret_cast<const sockaddr*>(&address),
                                    static_cast<int>(sizeof(address)), timeOut);
    EXPECT_EQ(object.m_socket, INVALID_SOCKET) << "the object is not used";
    return isConnected;
}

DWORD WINAPI SleepFor(void* pTime)
{
    Sleep(*static_cast<DWORD*>(pTime));
    return 7;
}

/// A thread that sleeps for a time and ends with 7.
struct SleepingThread
{
    explicit SleepingThread(DWORD time) : time(time)
    {
        handle = CreateThread(nullptr, 0, SleepFor, &this->time, 0, nullptr);
        DuplicateHandle(GetCurrentProcess(), handle, GetCurrentProcess(), &observer, 0, FALSE,
                        DUPLICATE_SAME_ACCESS);
    }
    ~SleepingThread()
    {
        WaitForSingleObject(observer, INFINITE);
        CloseHandle(observer);
    }
    SleepingThread(const SleepingThread&) = delete;
    SleepingThread& operator=(const SleepingThread&) = delete;

    DWORD ExitCode() const
    {
        WaitForSingleObject(observer, kPatience);
        DWORD code = 0xDEAD;
        GetExitCodeThread(observer, &code);
        return code;
    }

    DWORD time;
    HANDLE handle = nullptr;
    HANDLE observer = nullptr;
};

bool IsHandleOpen(HANDLE handle)
{
    DWORD flags = 0;
    return GetHandleInformation(handle, &flags) != FALSE;
}

}  // namespace

TEST_F(StdSocketHelpers, ConnectWithinTheTimeOutAndLeaveTheSocketNonBlocking)
{
    BareListener listener;
    BareSocket socket;
    EXPECT_TRUE(ConnectBare(socket, listener.port, 5000));
    EXPECT_TRUE(IsNonBlocking(socket.handle));
}

TEST_F(StdSocketHelpers, ConnectPlainlyWithoutATimeOut)
{
    for (const int timeOut : {0, -1})
    {
        BareListener listener;
        BareSocket socket;
        ASSERT_TRUE(ConnectBare(socket, listener.port, timeOut));
        BareSocket peer = listener.Accept();
        std::thread sender(
            [&peer]
            {
                Sleep(200);
                peer.Send("x");
            });
        // Only a blocking receive waits for this.
        EXPECT_EQ(socket.Receive(1), "x");
        sender.join();
        RefusingPort refusing;
        BareSocket refused;
        EXPECT_FALSE(ConnectBare(refused, refusing.port, timeOut));
    }
}

TEST_F(StdSocketHelpers, FailToConnectAfterTheWholeTimeOutWhenRefused)
{
    RefusingPort refusing;
    BareSocket socket;
    const auto start = Clock::now();
    EXPECT_FALSE(ConnectBare(socket, refusing.port, 500));
    EXPECT_GE(MillisecondsSince(start), 480);
}

TEST_F(StdSocketHelpers, CloseTheObjectsOwnSocketForANullPointer)
{
    Connected connected;
    const SOCKET socket = connected.client.m_socket;
    connected.client.m_S_ForceCloseSocket(nullptr);
    EXPECT_EQ(connected.client.m_socket, INVALID_SOCKET);
    EXPECT_FALSE(IsOpen(socket));
    EXPECT_TRUE(connected.peer.IsReset());
}

TEST_F(StdSocketHelpers, CloseTheSocketPointedAtAndNotTheObjects)
{
    Connected connected;
    Connected other;
    const SOCKET own = connected.client.m_socket;
    connected.client.m_S_ForceCloseSocket(&other.client.m_socket);
    EXPECT_EQ(other.client.m_socket, INVALID_SOCKET);
    EXPECT_TRUE(other.peer.IsReset());
    EXPECT_EQ(connected.client.m_socket, own);
    EXPECT_TRUE(IsOpen(own));
}

TEST_F(StdSocketHelpers, CloseNothingWhereThereIsNoSocket)
{
    CStdSocket object;
    SOCKET none = INVALID_SOCKET;
    WSASetLastError(4711);
    object.m_S_ForceCloseSocket(nullptr);
    object.m_S_ForceCloseSocket(&none);
    EXPECT_EQ(WSAGetLastError(), 4711);
}

TEST_F(StdSocketHelpers, DoNothingForANullThread)
{
    Connected connected;
    HANDLE thread = nullptr;
    connected.client.m_S_ForceCloseThread(thread, 100);
    EXPECT_EQ(thread, nullptr);
    EXPECT_TRUE(IsOpen(connected.client.m_socket));
}

TEST_F(StdSocketHelpers, LetAThreadEndWithinTheTimeOutAndCloseNoSocket)
{
    Connected connected;
    SleepingThread thread(200);
    const HANDLE handle = thread.handle;
    connected.client.m_S_ForceCloseThread(thread.handle, kPatience);
    EXPECT_EQ(thread.handle, nullptr);
    EXPECT_FALSE(IsHandleOpen(handle));
    EXPECT_EQ(thread.ExitCode(), 7U);
    EXPECT_TRUE(IsOpen(connected.client.m_socket));
}

TEST_F(StdSocketHelpers, TerminateAThreadThatDoesNotEndAndSayNothing)
{
    OutputCapture output;
    Connected connected;
    SleepingThread thread(600000);
    const HANDLE handle = thread.handle;
    const auto start = Clock::now();
    connected.client.m_S_ForceCloseThread(thread.handle, 300);
    EXPECT_GE(MillisecondsSince(start), 280);
    EXPECT_EQ(thread.ExitCode(), 0U);
    EXPECT_EQ(thread.handle, nullptr);
    EXPECT_FALSE(IsHandleOpen(handle));
    EXPECT_TRUE(output.Texts().empty());
    EXPECT_TRUE(IsOpen(connected.client.m_socket));
}

// ---- Notifications ------------------------------------------------------------------------------

TEST_F(StdSocketNotification, IsPostedToTheWindow)
{
    NotifiedWindow window;
    window.isOwnerOfSockets = false;
    CStdSocket socket;
    socket.m_S_SetWndNotification(window.handle);
    socket.m_S_PostSocketMsg(static_cast<SOCKET_NOTIFICATION_MSG>(0x12345678), 0x123456789ABCDEF0);
    socket.m_S_PostSocketMsg(SOCKET_NOTIFICATION_ACCEPT, -1);
    EXPECT_TRUE(window.notifications.empty()) << "posted, not sent";
    ASSERT_TRUE(window.WaitFor(2));
    EXPECT_EQ(window.notifications[0].message, 0x12345678U);
    EXPECT_EQ(window.notifications[0].value, 0x123456789ABCDEF0);
    EXPECT_EQ(window.notifications[1].message, 0U);
    EXPECT_EQ(window.notifications[1].value, -1);
}

TEST_F(StdSocketNotification, IsNotPostedWithoutAWindow)
{
    CStdSocket socket;
    socket.m_S_PostSocketMsg(SOCKET_NOTIFICATION_ACCEPT, 1);
    MSG message = {};
    EXPECT_FALSE(PeekMessageW(&message, nullptr, 0x8B0, 0x8B0, PM_REMOVE));
}
