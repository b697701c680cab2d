#include "support/scripted_camera.h"

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <utility>

namespace ostrel::test
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr auto kPatience = std::chrono::seconds(20);

// A wait is cut into slices, so that the camera can be stopped in any of them.
constexpr int kSlice = 20;
constexpr int kPoll = 2;

bool IsReadable(SOCKET socket, int time)
{
    fd_set set;
    FD_ZERO(&set);
    FD_SET(socket, &set);
    timeval limit = {0, time * 1000};
    return select(0, &set, nullptr, nullptr, &limit) == 1;
}

CameraEnding EndingOfFailure()
{
    const int error = WSAGetLastError();
    return error == WSAECONNRESET || error == WSAECONNABORTED ? CameraEnding::PeerReset
                                                              : CameraEnding::Failed;
}

void ResetSocket(SOCKET socket)
{
    const linger noTime = {1, 0};
    setsockopt(socket, SOL_SOCKET, SO_LINGER, reinterpret_cast<const char*>(&noTime),
               static_cast<int>(sizeof(noTime)));
    closesocket(socket);
}

}  // namespace

CameraStep Send(std::string bytes)
{
    return {CameraStep::Kind::Send, std::move(bytes), 0};
}

CameraStep Wait(int time)
{
    return {CameraStep::Kind::Wait, {}, time};
}

CameraStep Close()
{
    return {CameraStep::Kind::Close, {}, 0};
}

CameraStep Reset()
{
    return {CameraStep::Kind::Reset, {}, 0};
}

CameraScript SendByteByByte(const std::string& bytes, int pause)
{
    CameraScript script;
    for (const char byte : bytes)
    {
        script.push_back(Send(std::string(1, byte)));
        script.push_back(Wait(pause));
    }
    return script;
}

ScriptedCamera::ScriptedCamera(CameraScript script, int acceptAfter) : vm_script(std::move(script))
{
    WSADATA data = {};
    WSAStartup(MAKEWORD(2, 2), &data);
    vm_listener = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = static_cast<int>(sizeof(address));
    if (bind(vm_listener, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        listen(vm_listener, SOMAXCONN) != 0 ||
        getsockname(vm_listener, reinterpret_cast<sockaddr*>(&address), &size) != 0)
    {
        throw std::runtime_error("the scripted camera cannot listen");
    }
    vm_nPort = ntohs(address.sin_port);
    vm_thread = std::thread([this, acceptAfter] { Accept(acceptAfter); });
}

ScriptedCamera::~ScriptedCamera()
{
    {
        const std::lock_guard<std::mutex> guard(vm_lock);
        vm_bStop = true;
    }
    vm_changed.notify_all();
    vm_thread.join();
    for (const auto& connection : vm_connections)
    {
        connection->thread.join();
    }
    closesocket(vm_listener);
    WSACleanup();
}

void ScriptedCamera::SetScript(CameraScript script)
{
    const std::lock_guard<std::mutex> guard(vm_lock);
    vm_script = std::move(script);
}

template <class Condition>
std::string ScriptedCamera::ReceivedWhen(std::size_t connection, Condition condition)
{
    std::unique_lock<std::mutex> lock(vm_lock);
    vm_changed.wait_for(lock, kPatience,
                        [&]
                        {
                            return connection < vm_connections.size() &&
                                   (vm_connections[connection]->ending != CameraEnding::None ||
                                    condition(vm_connections[connection]->received));
                        });
    return connection < vm_connections.size() ? vm_connections[connection]->received
                                              : std::string();
}

std::string ScriptedCamera::Received(std::size_t connection)
{
    return ReceivedWhen(connection, [](const std::string& received)
                        { return received.find("\r\n\r\n") != std::string::npos; });
}

std::string ScriptedCamera::ReceivedBytes(std::size_t count, std::size_t connection)
{
    return ReceivedWhen(connection,
                        [count](const std::string& received) { return received.size() >= count; });
}

CameraEnding ScriptedCamera::Ending(std::size_t connection)
{
    ReceivedWhen(connection, [](const std::string&) { return false; });
    const std::lock_guard<std::mutex> guard(vm_lock);
    return connection < vm_connections.size() ? vm_connections[connection]->ending
                                              : CameraEnding::None;
}

std::size_t ScriptedCamera::CountOfConnections()
{
    const std::lock_guard<std::mutex> guard(vm_lock);
    return vm_connections.size();
}

void ScriptedCamera::Accept(int acceptAfter)
{
    {
        std::unique_lock<std::mutex> lock(vm_lock);
        vm_changed.wait_for(lock, std::chrono::milliseconds(acceptAfter),
                            [this] { return vm_bStop; });
    }
    for (;;)
    {
        const bool isWaiting = IsReadable(vm_listener, kSlice);
        const std::lock_guard<std::mutex> guard(vm_lock);
        if (vm_bStop)
        {
            return;
        }
        const SOCKET socket = isWaiting ? accept(vm_listener, nullptr, nullptr) : INVALID_SOCKET;
        if (socket != INVALID_SOCKET)
        {
            Connection& connection = *vm_connections.emplace_back(std::make_unique<Connection>());
            connection.socket = socket;
            u_long isNonBlocking = 1;
            ioctlsocket(socket, FIONBIO, &isNonBlocking);
            connection.script = vm_script;
            connection.thread = std::thread([this, &connection] { Serve(connection); });
            vm_changed.notify_all();
        }
    }
}

void ScriptedCamera::Serve(Connection& connection)
{
    while (!IsOver(connection))
    {
        ReceiveOnce(connection, kSlice);
        const std::lock_guard<std::mutex> guard(vm_lock);
        if (connection.received.find("\r\n\r\n") != std::string::npos)
        {
            break;
        }
    }
    for (const CameraStep& step : connection.script)
    {
        if (IsOver(connection))
        {
            break;
        }
        switch (step.kind)
        {
            case CameraStep::Kind::Send:
                SendAll(connection, step.bytes);
                break;
            case CameraStep::Kind::Wait:
                ReceiveFor(connection, step.time);
                break;
            case CameraStep::Kind::Close:
                shutdown(connection.socket, SD_SEND);
                connection.isShut = true;
                break;
            case CameraStep::Kind::Reset:
                ResetSocket(connection.socket);
                End(connection, CameraEnding::OwnReset);
                return;
        }
    }
    while (!IsOver(connection))
    {
        ReceiveOnce(connection, kSlice);
    }
    ResetSocket(connection.socket);
}

void ScriptedCamera::SendAll(Connection& connection, const std::string& bytes)
{
    // In pieces, so that a peer that has gone is noticed.
    constexpr std::size_t kPiece = 65536;
    for (std::size_t start = 0; start < bytes.size() && !IsOver(connection);)
    {
        const int sent = send(connection.socket, bytes.data() + start,
                              static_cast<int>(std::min(kPiece, bytes.size() - start)), 0);
        if (sent < 0 && WSAGetLastError() == WSAEWOULDBLOCK)
        {
            ReceiveOnce(connection, kPoll);
            continue;
        }
        if (sent <= 0)
        {
            End(connection, EndingOfFailure());
            return;
        }
        start += static_cast<std::size_t>(sent);
    }
}

void ScriptedCamera::ReceiveFor(Connection& connection, int time)
{
    const auto end = Clock::now() + std::chrono::milliseconds(time);
    while (!IsOver(connection))
    {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0)
        {
            return;
        }
        ReceiveOnce(connection, static_cast<int>(std::min<long long>(left, kSlice)));
    }
}

void ScriptedCamera::ReceiveOnce(Connection& connection, int time)
{
    char bytes[65536];
    const int count = recv(connection.socket, bytes, static_cast<int>(sizeof(bytes)), 0);
    if (count < 0 && WSAGetLastError() == WSAEWOULDBLOCK)
    {
        Sleep(static_cast<DWORD>(std::min(time, kPoll)));
        return;
    }
    if (count <= 0)
    {
        End(connection, count == 0 ? EndingOfStream(connection) : EndingOfFailure());
        return;
    }
    const std::lock_guard<std::mutex> guard(vm_lock);
    connection.received.append(bytes, static_cast<std::size_t>(count));
    vm_changed.notify_all();
}

CameraEnding ScriptedCamera::EndingOfStream(const Connection& connection)
{
    // Under Wine a receive tells of a reset as of an orderly close. But to a peer that closed in
    // order one may still send.
    const bool isReset = !connection.isShut && send(connection.socket, "", 1, 0) != 1;
    return isReset ? CameraEnding::PeerReset : CameraEnding::PeerClosed;
}

void ScriptedCamera::End(Connection& connection, CameraEnding ending)
{
    const std::lock_guard<std::mutex> guard(vm_lock);
    connection.ending = ending;
    vm_changed.notify_all();
}

bool ScriptedCamera::IsOver(const Connection& connection)
{
    const std::lock_guard<std::mutex> guard(vm_lock);
    return vm_bStop || connection.ending != CameraEnding::None;
}

std::size_t NextHandleValue()
{
    const HANDLE handle = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    CloseHandle(handle);
    return reinterpret_cast<std::size_t>(handle);
}

}  // namespace ostrel::test
