// One listener takes two thousand connections, each of which is adopted, echoes and is closed.
#include <gtest/gtest.h>
#include <winsock2.h>

#include <windows.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "CStdSocket.h"
#include "net/process_resources.h"
#include "net/std_socket_peers.h"

namespace
{

using ostrel::test::BareSocket;
using ostrel::test::Clock;
using ostrel::test::Eventually;
using ostrel::test::MillisecondsSince;
using ostrel::test::NotifiedWindow;

constexpr int kTimeOut = 1000;
constexpr int kNothingArrived = -5;
constexpr int kConnections = 2000;
constexpr int kClients = 20;
constexpr int kServers = 8;
constexpr std::size_t kMessageSize = 16;

std::string MessageOf(int number)
{
    std::string message = "message " + std::to_string(number);
    message.resize(kMessageSize, '.');
    return message;
}

std::string Receive(CStdSocket& socket, std::size_t count)
{
    const auto start = Clock::now();
    std::string received;
    while (received.size() < count && MillisecondsSince(start) < ostrel::test::kPatience)
    {
        char buffer[kMessageSize];
        const int more = socket.m_F_n_ReceviceSocket(
            buffer, static_cast<int>(count - received.size()), kTimeOut);
        if (more > 0)
        {
            received.append(buffer, static_cast<std::size_t>(more));
        }
        else if (more != kNothingArrived)
        {
            break;
        }
    }
    return received;
}

bool SendAll(CStdSocket& socket, const std::string& bytes)
{
    return socket.m_F_n_SendSocket(bytes.data(), static_cast<int>(bytes.size()), kTimeOut) ==
           static_cast<int>(bytes.size());
}

/// Serves the accepted sockets that the window is told of.
class EchoServers
{
public:
    EchoServers()
    {
        for (int i = 0; i < kServers; ++i)
        {
            vm_threads.emplace_back([this] { Run(); });
        }
    }
    ~EchoServers()
    {
        {
            const std::lock_guard<std::mutex> guard(vm_lock);
            vm_bStop = true;
        }
        vm_changed.notify_all();
        for (std::thread& thread : vm_threads)
        {
            thread.join();
        }
    }
    EchoServers(const EchoServers&) = delete;
    EchoServers& operator=(const EchoServers&) = delete;

    void Take(SOCKET socket)
    {
        {
            const std::lock_guard<std::mutex> guard(vm_lock);
            vm_sockets.push_back(socket);
        }
        vm_changed.notify_one();
    }

    std::atomic<int> served = 0;

private:
    void Run()
    {
        for (;;)
        {
            std::unique_lock<std::mutex> lock(vm_lock);
            vm_changed.wait(lock, [this] { return vm_bStop || !vm_sockets.empty(); });
            if (vm_sockets.empty())
            {
                return;
            }
            const SOCKET socket = vm_sockets.front();
            vm_sockets.pop_front();
            lock.unlock();
            Serve(socket);
        }
    }

    void Serve(SOCKET socket)
    {
        CStdSocket connection(2);
        const bool isAdopted = connection.m_S_SetConnectedSocket(socket) == 1;
        const std::string message = Receive(connection, kMessageSize);
        // Closing is abortive, so the client is to go first.
        const bool isEchoed = SendAll(connection, message) && Receive(connection, 1).empty();
        served += isAdopted && message.size() == kMessageSize && isEchoed ? 1 : 0;
    }

    std::mutex vm_lock;
    std::condition_variable vm_changed;
    std::deque<SOCKET> vm_sockets;
    bool vm_bStop = false;
    std::vector<std::thread> vm_threads;
};

bool TalkByStdSocket(int port, const std::string& message)
{
    CStdSocket socket(0);
    return socket.m_F_n_ConnectTo(L"127.0.0.1", port, ostrel::test::kPatience, 0) == 1 &&
           SendAll(socket, message) && Receive(socket, message.size()) == message;
}

bool TalkByBareSocket(int port, const std::string& message)
{
    BareSocket socket;
    return socket.ConnectTo(port) && socket.Send(message) &&
           socket.Receive(message.size()) == message;
}

int PortOf(const CStdSocket& listener)
{
    sockaddr_in address = {};
    EXPECT_TRUE(Eventually(
        [&]
        {
            int size = static_cast<int>(sizeof(address));
            return getsockname(listener.m_socket, reinterpret_cast<sockaddr*>(&address), &size) ==
                       0 &&
                   address.sin_port != 0;
        }));
    return ntohs(address.sin_port);
}

struct Outcome
{
    int connected;
    int echoed;
    int served;
};

Outcome ServeConnections(int count)
{
    NotifiedWindow window;
    CStdSocket listener(1);
    EXPECT_EQ(listener.m_F_n_CreateListenThread(0, window.handle, IPPROTO_TCP), 1);
    const int port = PortOf(listener);
    Outcome outcome = {0, 0, 0};
    std::atomic<int> echoed = 0;
    std::atomic<int> next = 0;
    {
        EchoServers servers;
        std::vector<std::thread> clients;
        for (int i = 0; i < kClients; ++i)
        {
            clients.emplace_back(
                [&]
                {
                    for (int number = next++; number < count; number = next++)
                    {
                        const auto talk = number % 2 == 0 ? TalkByStdSocket : TalkByBareSocket;
                        echoed += talk(port, MessageOf(number)) ? 1 : 0;
                    }
                });
        }
        EXPECT_TRUE(Eventually(
            [&]
            {
                window.Dispatch();
                for (const NotifiedWindow::Notification& notification : window.notifications)
                {
                    EXPECT_EQ(notification.message,
                              static_cast<WPARAM>(SOCKET_NOTIFICATION_ACCEPT));
                    servers.Take(static_cast<SOCKET>(notification.value));
                    ++outcome.connected;
                }
                window.notifications.clear();
                return outcome.connected >= count;
            }));
        for (std::thread& client : clients)
        {
            client.join();
        }
        outcome.served =
            Eventually([&] { return servers.served >= count; }) ? count : servers.served.load();
    }
    outcome.echoed = echoed;
    return outcome;
}

}  // namespace

TEST(StdSocketLoad, OneListenerServesTwoThousandConnections)
{
    WSADATA data = {};
    WSAStartup(MAKEWORD(2, 2), &data);
    ServeConnections(100);
    const ostrel::test::ProcessResources before = ostrel::test::MeasureResources();
    const auto start = Clock::now();
    const Outcome outcome = ServeConnections(kConnections);
    std::printf("%d connections posted, %d served, %d echoes right, %lld ms\n", outcome.connected,
                outcome.served, outcome.echoed, MillisecondsSince(start));
    EXPECT_EQ(outcome.connected, kConnections);
    EXPECT_EQ(outcome.served, kConnections);
    EXPECT_EQ(outcome.echoed, kConnections);
    ostrel::test::ExpectNothingLeftBehind(before);
    WSACleanup();
}
