/// @file
/// The send and the receive of a stream socket: short waits, and a limit to how often a send or
/// receive may find that it would block after all.
#pragma once

#include "net/transport.h"

namespace ostrel::net
{

/// The roles of a stream socket.
constexpr int kClientRole = 0;
constexpr int kListenerRole = 1;
constexpr int kAcceptedRole = 2;
constexpr int kHighestRole = 3;

/// Every wait of a transfer, in milliseconds.
constexpr int kTransferWait = 100;

constexpr int kWrongRole = -2;
constexpr int kTooManyRetries = -3;
constexpr int kNoBuffer = -4;
constexpr int kNothingArrived = -5;

/// What a transfer asks of its connection. Times are milliseconds.
class StreamConnection
{
public:
    virtual ~StreamConnection() = default;

    virtual WaitResult WaitWritable(int timeOut) = 0;
    virtual WaitResult WaitReadable(int timeOut) = 0;
    virtual TransferResult Send(const char* bytes, int count) = 0;
    virtual TransferResult Receive(char* bytes, int capacity) = 0;
};

/// Sends up to @p length bytes.
/// @return the bytes sent, which may be fewer and even none; kWrongRole, kNoBuffer, or
/// kTooManyRetries, which takes a time-out of -100 or less.
int SendStream(StreamConnection& connection, int role, const char* data, int length, int timeOut);

/// Clears the buffer and receives once into it.
/// @return the bytes received; 0 when the connection ended or failed, or the time-out allows no
/// receive; kWrongRole, kNoBuffer, kNothingArrived within the first wait, or kTooManyRetries, which
/// takes a time-out of -100 or less.
int ReceiveStream(StreamConnection& connection, int role, char* buffer, int size, int timeOut);

}  // namespace ostrel::net
