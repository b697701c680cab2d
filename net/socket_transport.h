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

/// Waits for at most @p timeOut milliseconds for the socket to become writable or readable. A
/// negative time-out is an error.
bool WaitForWritable(SOCKET socket, int timeOut);
bool WaitForReadable(SOCKET socket, int timeOut);

/// Switches the socket to non-blocking mode.
void MakeNonBlocking(SOCKET socket);

}  // namespace ostrel::net
