/// @file
/// The connection as the exchanges over it see it.
#pragma once

namespace ostrel::net
{

/// What one send or receive did.
struct TransferResult
{
    int count;        ///< bytes moved; 0 or less ends the transfer
    bool wouldBlock;  ///< nothing was moved because nothing could be yet
};

/// How a wait on a connection ended.
enum class WaitResult
{
    Ready,
    TimedOut,
    Failed
};

/// One TCP connection whose sends and receives never block. Times are milliseconds.
class Transport
{
public:
    virtual ~Transport() = default;

    /// @return whether the connection stood within the time-out.
    virtual bool Connect(const char* host, int port, int timeOut) = 0;

    /// @return whether bytes can be sent now. A negative time-out is no wait but an error.
    virtual bool WaitWritable(int timeOut) = 0;

    /// @return whether a receive has something to tell now: bytes, or the connection's end. A
    /// negative time-out is no wait but an error.
    virtual bool WaitReadable(int timeOut) = 0;

    virtual TransferResult Send(const char* bytes, int count) = 0;
    virtual TransferResult Receive(char* bytes, int capacity) = 0;

    virtual void Pause(int time) = 0;

    /// Resets the connection at once.
    virtual void Close() = 0;
};

}  // namespace ostrel::net
