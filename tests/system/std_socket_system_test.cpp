// The stream socket against Python's sockets, started by with_socket_peer.py, which says by the
// environment where they are.
#include <gtest/gtest.h>
#include <winsock2.h>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include "CStdSocket.h"

namespace
{

constexpr int kTimeOut = 3000;
constexpr int kNothingArrived = -5;
constexpr int kPatience = 60;  // seconds

std::string Environment(const char* name)
{
    const char* value = std::getenv(name);
    if (value == nullptr)
    {
        ADD_FAILURE() << name << " is not set: run this through with_socket_peer.py";
        return "";
    }
    return value;
}

int PeerPort()
{
    return std::atoi(Environment("OSTREL_PEER_PORT").c_str());
}

const std::string& Content()
{
    static const std::string content = []
    {
        // The file is named as the system that made it names it, which is where Z: leads.
        std::ifstream file("Z:" + Environment("OSTREL_PEER_FILE"), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }();
    return content;
}

class Deadline
{
public:
    bool IsPast() const { return Clock::now() > vm_end; }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point vm_end = Clock::now() + std::chrono::seconds(kPatience);
};

/// Sends call by call, as a client does. Returns the number of calls; -1 when it came to no end.
int SendAll(CStdSocket& socket, const std::string& bytes)
{
    const Deadline deadline;
    int calls = 0;
    for (std::size_t sent = 0; sent < bytes.size(); ++calls)
    {
        const int more = socket.m_F_n_SendSocket(bytes.data() + sent,
                                                 static_cast<int>(bytes.size() - sent), kTimeOut);
        if (more < 0 || deadline.IsPast())
        {
            ADD_FAILURE() << "send: " << more << " after " << sent;
            return -1;
        }
        sent += static_cast<std::size_t>(more);
    }
    return calls;
}

/// Receives until so many bytes are there, or the connection ends.
std::string Receive(CStdSocket& socket, std::size_t count, int bufferSize)
{
    const Deadline deadline;
    std::string received;
    std::string buffer(static_cast<std::size_t>(bufferSize), '\0');
    while (received.size() < count && !deadline.IsPast())
    {
        const int size = static_cast<int>(std::min(buffer.size(), count - received.size()));
        const int more = socket.m_F_n_ReceviceSocket(buffer.data(), size, kTimeOut);
        if (more != kNothingArrived && more <= 0)
        {
            break;
        }
        if (more > 0)
        {
            received.append(buffer, 0, static_cast<std::size_t>(more));
        }
    }
    return received;
}

std::string ReceiveLine(CStdSocket& socket)
{
    std::string line;
    for (std::string byte = Receive(socket, 1, 1); !byte.empty(); byte = Receive(socket, 1, 1))
    {
        if (byte == "\n")
        {
            break;
        }
        line += byte;
    }
    return line;
}

/// A client of the peer that has said what it wants.
struct Client : CStdSocket
{
    explicit Client(const std::string& command)
    {
        EXPECT_EQ(m_F_n_ConnectTo(L"127.0.0.1", PeerPort(), kTimeOut, 0), 1);
        SendAll(*this, command + "\n");
    }
};

/// A window that takes one accepted socket.
struct AcceptingWindow
{
    AcceptingWindow()
    {
        handle = CreateWindowW(L"STATIC", L"", 0, 0, 0, 0, 0, nullptr, nullptr, nullptr, nullptr);
    }
    ~AcceptingWindow() { DestroyWindow(handle); }
    AcceptingWindow(const AcceptingWindow&) = delete;
    AcceptingWindow& operator=(const AcceptingWindow&) = delete;

    SOCKET WaitForSocket()
    {
        const Deadline deadline;
        MSG message = {};
        while (!deadline.IsPast())
        {
            if (PeekMessageW(&message, handle, WM_SOCKET_NOTIFICATION, WM_SOCKET_NOTIFICATION,
                             PM_REMOVE) &&
                message.wParam == SOCKET_NOTIFICATION_ACCEPT)
            {
                return static_cast<SOCKET>(message.lParam);
            }
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 100, QS_ALLINPUT);
        }
        return INVALID_SOCKET;
    }

    HWND handle = nullptr;
};

/// The port that a listener with the port 0 was given.
int PortOf(const CStdSocket& listener)
{
    const Deadline deadline;
    while (!deadline.IsPast())
    {
        BOOL isListening = FALSE;
        int size = static_cast<int>(sizeof(isListening));
        getsockopt(listener.m_socket, SOL_SOCKET, SO_ACCEPTCONN,
                   reinterpret_cast<char*>(&isListening), &size);
        if (isListening)
        {
            sockaddr_in address = {};
            size = static_cast<int>(sizeof(address));
            getsockname(listener.m_socket, reinterpret_cast<sockaddr*>(&address), &size);
            return ntohs(address.sin_port);
        }
        Sleep(5);
    }
    return 0;
}

}  // namespace

TEST(StdSocketSystem, ReceivesAMillionBytesFromAServerByteForByte)
{
    ASSERT_EQ(Content().size(), 1000003U);
    for (const int bufferSize : {65536, 1000003, 1013})
    {
        Client client("give");
        // One more than there are, so that the server's end is seen as well.
        const std::string received = Receive(client, Content().size() + 1, bufferSize);
        EXPECT_EQ(received.size(), Content().size());
        EXPECT_TRUE(received == Content()) << "in pieces of " << bufferSize;
    }
}

TEST(StdSocketSystem, SendsAMillionBytesToAServerByteForByte)
{
    ASSERT_EQ(Content().size(), 1000003U);
    Client client("take");
    SendAll(client, Content());
    EXPECT_EQ(ReceiveLine(client), "same");
}

TEST(StdSocketSystem, SendsAMillionBytesByteForByteToAServerThatPauses)
{
    Client client("slowly");
    const int bufferSize = 4096;
    setsockopt(client.m_socket, SOL_SOCKET, SO_SNDBUF, reinterpret_cast<const char*>(&bufferSize),
               static_cast<int>(sizeof(bufferSize)));
    SendAll(client, Content());
    EXPECT_EQ(ReceiveLine(client), "same");
}

TEST(StdSocketSystem, ExchangesAMillionBytesWithACallerByteForByteInBothDirections)
{
    AcceptingWindow window;
    CStdSocket listener(1);
    ASSERT_EQ(listener.m_F_n_CreateListenThread(0, window.handle, IPPROTO_TCP), 1);
    Client control("call " + std::to_string(PortOf(listener)));
    CStdSocket connection(2);
    ASSERT_EQ(connection.m_S_SetConnectedSocket(window.WaitForSocket()), 1);
    ASSERT_TRUE(connection.m_F_b_CheckSocketValid());
    EXPECT_TRUE(Receive(connection, Content().size(), 65536) == Content());
    SendAll(connection, Content());
    EXPECT_EQ(ReceiveLine(control), "same");
}
