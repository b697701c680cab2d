#include "net/socket_transport.h"

#include "CSFunc.h"
#include "net/host_address.h"
#include "net/time_value.h"

namespace ostrel::net
{

namespace
{

TransferResult ToResult(int count)
{
    return {count, count == SOCKET_ERROR && WSAGetLastError() == WSAEWOULDBLOCK};
}

}  // namespace

WaitResult WaitFor(Direction direction, SOCKET socket, WaitLimit limit)
{
    if (limit.Milliseconds() < 0 || socket == INVALID_SOCKET)
    {
        return WaitResult::Failed;
    }
    fd_set set;
    FD_ZERO(&set);
    FD_SET(socket, &set);
    const TimeValue value = limit.IsInSeconds() ? TimeValue{limit.Milliseconds() / 1000, 0}
                                                : ToTimeValue(limit.Milliseconds());
    timeval time = {value.seconds, value.microseconds};
    fd_set* const readSet = direction == Direction::Read ? &set : nullptr;
    fd_set* const writeSet = direction == Direction::Write ? &set : nullptr;
    const int count = select(static_cast<int>(socket) + 1, readSet, writeSet, nullptr,
                             limit.IsForEver() ? nullptr : &time);
    if (count == 0)
    {
        return WaitResult::TimedOut;
    }
    return count > 0 ? WaitResult::Ready : WaitResult::Failed;
}

bool WaitForWritable(SOCKET socket, WaitLimit limit)
{
    return WaitFor(Direction::Write, socket, limit) == WaitResult::Ready;
}

bool WaitForReadable(SOCKET socket, WaitLimit limit)
{
    return WaitFor(Direction::Read, socket, limit) == WaitResult::Ready;
}

TransferResult SendOn(SOCKET socket, const char* bytes, int count)
{
    return ToResult(send(socket, bytes, count, 0));
}

TransferResult ReceiveFrom(SOCKET socket, char* bytes, int capacity)
{
    return ToResult(recv(socket, bytes, capacity, 0));
}

sockaddr_in ToSocketAddress(unsigned int address, int port)
{
    sockaddr_in result = {};
    result.sin_family = AF_INET;
    result.sin_port = htons(static_cast<u_short>(port));
    result.sin_addr.s_addr = htonl(address);
    return result;
}

void MakeNonBlocking(SOCKET socket)
{
    u_long isNonBlocking = 1;
    ioctlsocket(socket, FIONBIO, &isNonBlocking);
}

bool ConnectNewSocket(SOCKET& socket, unsigned int address, int port, int timeOut, int protocol)
{
    socket = ::socket(AF_INET, SOCK_STREAM, protocol);
    const sockaddr_in peer = ToSocketAddress(address, port);
    if (!CSFunc::s_F_n_ConnectTimeOut(socket, reinterpret_cast<const sockaddr*>(&peer),
                                      static_cast<int>(sizeof(peer)), timeOut))
    {
        return false;
    }
    if (timeOut <= 0)
    {
        // The connect was a blocking one, but no receive may ever block.
        MakeNonBlocking(socket);
    }
    return true;
}

bool SocketTransport::Connect(const char* host, int port, int timeOut)
{
    return ConnectNewSocket(vm_socket, LookUpHost(host), port, timeOut, vm_nProtocol);
}

bool SocketTransport::WaitWritable(WaitLimit limit)
{
    return WaitForWritable(vm_socket, limit);
}

bool SocketTransport::WaitReadable(WaitLimit limit)
{
    return WaitForReadable(vm_socket, limit);
}

TransferResult SocketTransport::Send(const char* bytes, int count)
{
    return SendOn(vm_socket, bytes, count);
}

TransferResult SocketTransport::Receive(char* bytes, int capacity)
{
    return ReceiveFrom(vm_socket, bytes, capacity);
}

void SocketTransport::Pause(int time)
{
    ::Sleep(static_cast<DWORD>(time));
}

std::uint32_t SocketTransport::Now() const
{
    return GetTickCount();
}

void SocketTransport::Close()
{
    CSFunc::s_S_ForceCloseSocket(vm_socket);
}

}  // namespace ostrel::net
