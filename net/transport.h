/// @file
/// The connection as the exchanges over it see it.
#pragma once

#include <cstdint>

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

/// How long a wait may take: milliseconds, or for ever. A negative number is no wait but an error.
class WaitLimit
{
public:
    /// From a bare number, on purpose: a time-out is one.
    constexpr WaitLimit(int milliseconds) : vm_nMilliseconds(milliseconds) {}

    static constexpr WaitLimit ForEver()
    {
        WaitLimit limit(0);
        limit.vm_bForEver = true;
        return limit;
    }

    /// The platform is told it in seconds, not in their thousandths.
    static constexpr WaitLimit Seconds(int seconds)
    {
        WaitLimit limit(seconds * 1000);
        limit.vm_bInSeconds = true;
        return limit;
    }

    constexpr bool IsForEver() const { return vm_bForEver; }
    constexpr bool IsInSeconds() const { return vm_bInSeconds; }
    constexpr int Milliseconds() const { return vm_nMilliseconds; }

private:
    int vm_nMilliseconds;
    bool vm_bForEver = false;
    bool vm_bInSeconds = false;
};

/// One TCP connection whose sends and receives never block. Times are milliseconds.
class Transport
{
public:
    virtual ~Transport() = default;

    /// @return whether the connection stood within the time-out.
    virtual bool Connect(const char* host, int port, int timeOut) = 0;

    /// @return whether bytes can be sent now.
    virtual bool WaitWritable(WaitLimit limit) = 0;

    /// @return whether a receive has something to tell now: bytes, or the connection's end.
    virtual bool WaitReadable(WaitLimit limit) = 0;

    virtual TransferResult Send(const char* bytes, int count) = 0;
    virtual TransferResult Receive(char* bytes, int capacity) = 0;

    virtual void Pause(int time) = 0;

    /// The milliseconds of a clock that starts anew when 32 bits are full.
    virtual std::uint32_t Now() const = 0;

    /// Resets the connection at once.
    virtual void Close() = 0;
};

}  // namespace ostrel::net
