#include "net/socket_transport.h"

#include "CSFunc.h"
#include "net/host_address.h"
#include "net/time_value.h"

namespace ostrel::net
{

namespace
{

enum class Direction
{
    Write,
    Read
};

bool WaitFor(Direction direction, SOCKET socket, int timeOut)
{
    if (timeOut < 0 || socket == INVALID_SOCKET)
    {
        return false;
    }
    fd_set set;
    FD_ZERO(&set);
    FD_SET(socket, &set);
    const TimeValue value = ToTimeValue(timeOut);
    timeval limit = {value.seconds, value.microseconds};
    fd_set* const readSet = direction == Direction::Read ? &set : nullptr;
    fd_set* const writeSet = direction == Direction::Write ? &set : nullptr;
    return select(static_cast<int>(socket) + 1, readSet, writeSet, nullptr, &limit) >= 1;
}

TransferResult ToResult(int count)
{
    return {count, count == SOCKET_ERROR && WSAGetLastError() == WSAEWOULDBLOCK};
}

}  // namespace

bool WaitForWritable(SOCKET socket, int timeOut)
{
    return WaitFor(Direction::Write, socket, timeOut);
}

bool WaitForReadable(SOCKET socket, int timeOut)
{
    return WaitFor(Direction::Read, socket, timeOut);
}

void MakeNonBlocking(SOCKET socket)
{
    u_long isNonBlocking = 1;
    ioctlsocket(socket, FIONBIO, &isNonBlocking);
}

bool SocketTransport::Connect(const char* host, int port, int timeOut)
{
    vm_socket = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<u_short>(port));
    address.sin_addr.s_addr = htonl(LookUpHost(host));
    if (!CSFunc::s_F_n_ConnectTimeOut(vm_socket, reinterpret_cast<const sockaddr*>(&address),
                                      static_cast<int>(sizeof(address)), timeOut))
    {
        return false;
    }
    // Without a time-out the connect was a blocking one, but no receive may ever block.
    MakeNonBlocking(vm_socket);
    return true;
}

bool SocketTransport::WaitWritable(int timeOut)
{
    return WaitForWritable(vm_socket, timeOut);
}

bool SocketTransport::WaitReadable(int timeOut)
{
    return WaitForReadable(vm_socket, timeOut);
}

TransferResult SocketTransport::Send(const char* bytes, int count)
{
    return ToResult(send(vm_socket, bytes, count, 0));
}

TransferResult SocketTransport::Receive(char* bytes, int capacity)
{
    return ToResult(recv(vm_socket, bytes, capacity, 0));
}

void SocketTransport::Pause(int time)
{
    ::Sleep(static_cast<DWORD>(time));
}

void SocketTransport::Close()
{
    CSFunc::s_S_ForceCloseSocket(vm_socket);
}

}  // namespace ostrel::net
