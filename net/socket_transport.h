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
    /// @param protocol what the socket is made with.
    explicit SocketTransport(SOCKET& socket, int protocol = 0)
        : vm_socket(socket), vm_nProtocol(protocol)
    {
    }
    SocketTransport(const SocketTransport&) = delete;
    SocketTransport& operator=(const SocketTransport&) = delete;

    bool Connect(const char* host, int port, int timeOut) override;
    bool WaitWritable(WaitLimit limit) override;
    bool WaitReadable(WaitLimit limit) override;
    TransferResult Send(const char* bytes, int count) override;
    TransferResult Receive(char* bytes, int capacity) override;
    void Pause(int time) override;
    std::uint32_t Now() const override;
    void Close() override;

private:
    SOCKET& vm_socket;
    int vm_nProtocol;
};

/// What a wait on a socket is for.
enum class Direction
{
    Write,
    Read
};

WaitResult WaitFor(Direction direction, SOCKET socket, WaitLimit limit);

/// Waits for the socket to become writable or readable.
bool WaitForWritable(SOCKET socket, WaitLimit limit);
bool WaitForReadable(SOCKET socket, WaitLimit limit);

TransferResult SendOn(SOCKET socket, const char* bytes, int count);
TransferResult ReceiveFrom(SOCKET socket, char* bytes, int capacity);

/// @param address an IPv4 address in host byte order.
sockaddr_in ToSocketAddress(unsigned int address, int port);

/// Makes a TCP socket in @p socket and connects it; afterwards it is non-blocking. It stays in the
/// variable even when it could not be connected.
/// @param address an IPv4 address in host byte order.
bool ConnectNewSocket(SOCKET& socket, unsigned int address, int port, int timeOut,
                      int protocol = 0);

/// Switches the socket to non-blocking mode.
void MakeNonBlocking(SOCKET socket);

}  // namespace ostrel::net
