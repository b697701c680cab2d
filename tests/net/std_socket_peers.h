/// @file
/// What the tests of the stream socket talk to: bare sockets on this machine, and a window.
#pragma once

#include <gtest/gtest.h>
#include <winsock2.h>

#include <windows.h>

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace ostrel::test
{

using Clock = std::chrono::steady_clock;

inline long long MillisecondsSince(Clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

/// Longer than anything here takes on any machine.
constexpr int kPatience = 20000;

/// Asks until the condition holds.
template <class Condition>
bool Eventually(Condition condition)
{
    const auto start = Clock::now();
    while (!condition())
    {
        if (MillisecondsSince(start) > kPatience)
        {
            return false;
        }
        Sleep(2);
    }
    return true;
}

inline sockaddr_in LoopbackAddress(int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

inline bool IsOpen(SOCKET socket)
{
    int type = 0;
    int size = static_cast<int>(sizeof(type));
    return getsockopt(socket, SOL_SOCKET, SO_TYPE, reinterpret_cast<char*>(&type), &size) == 0;
}

/// A blocking TCP socket, closed at the end. Its receives give up after a long time.
class BareSocket
{
public:
    BareSocket() : BareSocket(socket(AF_INET, SOCK_STREAM, 0)) {}
    explicit BareSocket(SOCKET handle) : handle(handle)
    {
        const DWORD patience = kPatience;
        setsockopt(handle, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&patience),
                   static_cast<int>(sizeof(patience)));
    }
    BareSocket(BareSocket&& other) noexcept : handle(std::exchange(other.handle, INVALID_SOCKET)) {}
    ~BareSocket() { Close(); }
    BareSocket(const BareSocket&) = delete;
    BareSocket& operator=(const BareSocket&) = delete;

    void Close()
    {
        if (handle != INVALID_SOCKET)
        {
            closesocket(std::exchange(handle, INVALID_SOCKET));
        }
    }

    void Reset()
    {
        const linger noTime = {1, 0};
        setsockopt(handle, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&noTime),
                   static_cast<int>(sizeof(noTime)));
        Close();
    }

    bool ConnectTo(int port)
    {
        const sockaddr_in address = LoopbackAddress(port);
        return connect(handle, reinterpret_cast<const sockaddr*>(&address),
                       static_cast<int>(sizeof(address))) == 0;
    }

    bool Send(const std::string& bytes)
    {
        return send(handle, bytes.data(), static_cast<int>(bytes.size()), 0) ==
               static_cast<int>(bytes.size());
    }

    /// Receives until so many bytes are there, or the connection ends.
    std::string Receive(std::size_t count)
    {
        std::string received(count, '\0');
        std::size_t held = 0;
        while (held < count)
        {
            const int more = recv(handle, &received[held], static_cast<int>(count - held), 0);
            if (more <= 0)
            {
                break;
            }
            held += static_cast<std::size_t>(more);
        }
        received.resize(held);
        return received;
    }

    /// Whether the peer resets the connection, now or soon, without another byte.
    bool IsReset()
    {
        char byte = 0;
        int result = recv(handle, &byte, 1, 0);
        if (result == 0)
        {
            // Under Wine a receive may be told of an end in order where there was a reset. But only
            // after an end in order can something still be sent.
            result = send(handle, &byte, 1, 0);
        }
        const int error = result == SOCKET_ERROR ? WSAGetLastError() : 0;
        return error == WSAECONNRESET || error == WSAECONNABORTED || error == WSAESHUTDOWN;
    }

    SOCKET handle;
};

/// Listens on a free port of 127.0.0.1.
class BareListener
{
public:
    explicit BareListener(int bufferSize = 0)
    {
        if (bufferSize > 0)
        {
            // Before it listens: accepted sockets inherit it.
            setsockopt(socket.handle, SOL_SOCKET, SO_RCVBUF,
                       reinterpret_cast<const char*>(&bufferSize),
                       static_cast<int>(sizeof(bufferSize)));
        }
        sockaddr_in address = LoopbackAddress(0);
        int size = static_cast<int>(sizeof(address));
        EXPECT_EQ(bind(socket.handle, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(listen(socket.handle, SOMAXCONN), 0);
        getsockname(socket.handle, reinterpret_cast<sockaddr*>(&address), &size);
        port = ntohs(address.sin_port);
    }

    BareSocket Accept() { return BareSocket(accept(socket.handle, nullptr, nullptr)); }

    bool HasConnection()
    {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(socket.handle, &set);
        timeval limit = {0, 300000};
        return select(0, &set, nullptr, nullptr, &limit) == 1;
    }

    BareSocket socket;
    int port = 0;
};

/// A port that is free now.
inline int FreePort()
{
    return BareListener().port;
}

/// A port that is bound, and refuses every connection.
struct RefusingPort
{
    RefusingPort()
    {
        sockaddr_in address = LoopbackAddress(0);
        int size = static_cast<int>(sizeof(address));
        EXPECT_EQ(bind(socket.handle, reinterpret_cast<sockaddr*>(&address), size), 0);
        getsockname(socket.handle, reinterpret_cast<sockaddr*>(&address), &size);
        port = ntohs(address.sin_port);
    }
    BareSocket socket;
    int port = 0;
};

/// A window of this thread that keeps the notifications it is sent.
class NotifiedWindow
{
public:
    struct Notification
    {
        WPARAM message;
        LPARAM value;
    };

    NotifiedWindow()
    {
        WNDCLASSW windowClass = {};
        windowClass.lpfnWndProc = Proc;
        windowClass.hInstance = GetModuleHandleW(nullptr);
        windowClass.lpszClassName = L"NotifiedWindow";
        RegisterClassW(&windowClass);
        handle = CreateWindowW(windowClass.lpszClassName, L"", WS_OVERLAPPEDWINDOW, 0, 0, 10, 10,
                               nullptr, nullptr, windowClass.hInstance, nullptr);
        SetWindowLongPtrW(handle, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    }
    ~NotifiedWindow()
    {
        Dispatch();
        for (const Notification& notification : notifications)
        {
            const SOCKET socket = static_cast<SOCKET>(notification.value);
            if (isOwnerOfSockets && socket != INVALID_SOCKET)
            {
                closesocket(socket);
            }
        }
        DestroyWindow(handle);
    }
    NotifiedWindow(const NotifiedWindow&) = delete;
    NotifiedWindow& operator=(const NotifiedWindow&) = delete;

    /// Runs the message loop until so many notifications have come.
    bool WaitFor(std::size_t count)
    {
        return Eventually(
            [this, count]
            {
                Dispatch();
                return notifications.size() >= count;
            });
    }

    void Dispatch()
    {
        MSG message = {};
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
        {
            DispatchMessageW(&message);
        }
    }

    /// The socket of the latest notification, from now on the caller's.
    SOCKET TakeSocket()
    {
        const SOCKET socket = static_cast<SOCKET>(notifications.back().value);
        notifications.pop_back();
        return socket;
    }

    HWND handle = nullptr;
    std::vector<Notification> notifications;
    bool isOwnerOfSockets = true;

private:
    static LRESULT CALLBACK Proc(HWND hWnd, UINT message, WPARAM wParam, LPARAM lParam)
    {
        if (message == 0x8B0)
        {
            auto* self = reinterpret_cast<NotifiedWindow*>(GetWindowLongPtrW(hWnd, GWLP_USERDATA));
            self->notifications.push_back({wParam, lParam});
            return 0;
        }
        return DefWindowProcW(hWnd, message, wParam, lParam);
    }
};

}  // namespace ostrel::test
