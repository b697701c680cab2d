/// @file
/// Sending and receiving over a connection: the one loop of each that every exchange runs, and the
/// rules in which the exchanges differ.
///
/// Nothing here is allocated: a worker may be terminated at any point, and must leave nothing
/// behind.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>

#include "net/transport.h"

namespace ostrel::net
{

/// What every exchange comes to that cannot connect.
constexpr int kConnectFailed = -2;

/// Whether a transfer may go on. It is asked before every step of one.
class Permit
{
public:
    virtual bool Holds() const = 0;

protected:
    ~Permit() = default;
};

/// Holds for ever.
class NoPermitNeeded final : public Permit
{
public:
    bool Holds() const override { return true; }
};

/// Holds for some milliseconds from its making.
class Deadline final : public Permit
{
public:
    Deadline(const Transport& transport, std::uint32_t timeOut)
        : vm_transport(transport), vm_nStart(transport.Now()), vm_nTimeOut(timeOut)
    {
    }

    bool Holds() const override { return vm_transport.Now() - vm_nStart < vm_nTimeOut; }

private:
    const Transport& vm_transport;
    std::uint32_t vm_nStart;
    std::uint32_t vm_nTimeOut;
};

/// Holds while a flag is up that another thread may take down.
class RunFlag final : public Permit
{
public:
    explicit RunFlag(const std::atomic<bool>& flag) : vm_flag(flag) {}

    bool Holds() const override { return vm_flag; }

private:
    const std::atomic<bool>& vm_flag;
};

/// What a sender does when no more can be sent for the moment.
enum class WhenSendBlocks
{
    Sleep,  ///< sleeps 5 ms and tries again, without limit
    Wait    ///< waits for room again, and gives up without it
};

/// How bytes are sent.
struct SendRules
{
    WaitLimit room;  ///< the wait for room, before the first byte and whenever sending blocks
    WhenSendBlocks whenBlocked;
    const Permit& permit;
    int piece = std::numeric_limits<int>::max();  ///< the most bytes that are sent at once
    int* sent = nullptr;  ///< if not null, told the bytes sent so far after every piece
};

/// Sends until all is sent, a send fails or moves nothing, or the rules end it.
void SendBytes(Transport& transport, const char* bytes, std::uint32_t count,
               const SendRules& rules);

/// What a receiver does when nothing more has arrived for the moment.
enum class WhenReceiveBlocks
{
    Wait,  ///< waits for more, and counts a retry
    Stop
};

/// No limit to the retries.
constexpr int kAnyRetries = std::numeric_limits<int>::max();

/// How bytes are received.
struct ReceiveRules
{
    WaitLimit arrival;  ///< the wait for the first byte
    WhenReceiveBlocks whenBlocked;
    WaitLimit pause;  ///< the wait for more
    int retryLimit;   ///< how often in a row a receive may find nothing
    const Permit& permit;
};

/// Receives one block of bytes after another.
class Receiver
{
public:
    Receiver(Transport& transport, const ReceiveRules& rules)
        : vm_transport(transport), vm_rules(rules)
    {
    }

    /// Receives until the room is full, nothing more comes, the connection ends, or the rules end
    /// it.
    /// @return the bytes received.
    int Receive(char* bytes, int capacity);

    /// The bytes of the current block received so far.
    int Held() const { return vm_nHeld; }

    /// Whether too many receives in a row found nothing. The count runs on from one block into the
    /// next.
    bool IsExhausted() const { return vm_nRetries >= vm_rules.retryLimit; }

private:
    bool AwaitMore();

    Transport& vm_transport;
    const ReceiveRules vm_rules;
    int vm_nHeld = 0;
    int vm_nRetries = 0;
};

}  // namespace ostrel::net
