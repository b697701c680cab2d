/// @file
/// The connection of an exchange as a Winsock socket.
#pragma once

#include <winsock2.h>

#include "net/transport.h"

namespace ostrel::net
{

/// Works on a socket variable of its owner, which another thread may close meanwhile; so no copy of
/// the handle is kept.
class SocketTransport final : public Transport
{
public:
    explicit SocketTransport(SOCKET& socket) : vm_socket(socket) {}
    SocketTransport(const SocketTransport&) = delete;
    SocketTransport& operator=(const SocketTransport&) = delete;

    bool Connect(const char* host, int port, int timeOut) override;
    bool WaitWritable(int timeOut) override;
    bool WaitReadable(int timeOut) override;
    TransferResult Send(const char* bytes, int count) override;
    TransferResult Receive(char* bytes, int capacity) override;
    void Pause(int time) override;
    void Close() override;

private:
    SOCKET& vm_socket;
};

/// What a wait on a socket is for.
enum class Direction
{
    Write,
    Read
};

/// Waits for at most @p timeOut milliseconds. A negative time-out is a failure.
WaitResult WaitFor(Direction direction, SOCKET socket, int timeOut);

/// Waits for at most @p timeOut milliseconds for the socket to become writable or readable. A
/// negative time-out is an error.
bool WaitForWritable(SOCKET socket, int timeOut);
bool WaitForReadable(SOCKET socket, int timeOut);

TransferResult SendOn(SOCKET socket, const char* bytes, int count);
TransferResult ReceiveFrom(SOCKET socket, char* bytes, int capacity);

/// @param address an IPv4 address in host byte order.
sockaddr_in ToSocketAddress(unsigned int address, int port);

/// Makes a TCP socket in @p socket and connects it; afterwards it is non-blocking. It stays in the
/// variable even when it could not be connected.
/// @param address an IPv4 address in host byte order.
bool ConnectNewSocket(SOCKET& socket, unsigned int address, int port, int timeOut);

/// Switches the socket to non-blocking mode.
void MakeNonBlocking(SOCKET socket);

}  // namespace ostrel::net
