#include "net/http_transfer.h"

#include <algorithm>

namespace ostrel::net
{

namespace
{

constexpr int kBlockedSendSleep = 5;

bool CanSendAgain(Transport& transport, const SendRules& rules)
{
    if (rules.whenBlocked == WhenSendBlocks::Wait)
    {
        return transport.WaitWritable(rules.room);
    }
    transport.Pause(kBlockedSendSleep);
    return true;
}

}  // namespace

void SendBytes(Transport& transport, const char* bytes, std::uint32_t count, const SendRules& rules)
{
    std::uint32_t sent = 0;
    bool isWritable = rules.permit.Holds() && transport.WaitWritable(rules.room);
    while (isWritable && sent < count && rules.permit.Holds())
    {
        const auto piece =
            static_cast<int>(std::min(count - sent, static_cast<std::uint32_t>(rules.piece)));
        const TransferResult result = transport.Send(bytes + sent, piece);
        if (result.wouldBlock)
        {
            isWritable = CanSendAgain(transport, rules);
            continue;
        }
        if (result.count <= 0)
        {
            return;
        }
        sent += static_cast<std::uint32_t>(result.count);
        if (rules.sent != nullptr)
        {
            *rules.sent = static_cast<int>(sent);
        }
    }
}

int Receiver::Receive(char* bytes, int capacity)
{
    vm_nHeld = 0;
    bool isReadable = vm_rules.permit.Holds() && vm_transport.WaitReadable(vm_rules.arrival);
    while (isReadable && !IsExhausted() && vm_rules.permit.Holds())
    {
        const TransferResult result =
            vm_nHeld < capacity ? vm_transport.Receive(bytes + vm_nHeld, capacity - vm_nHeld)
                                : TransferResult{0, false};
        if (result.wouldBlock)
        {
            isReadable = AwaitMore();
            continue;
        }
        vm_nRetries = 0;
        if (result.count <= 0)
        {
            break;
        }
        vm_nHeld += result.count;
    }
    return vm_nHeld;
}

bool Receiver::AwaitMore()
{
    if (vm_rules.whenBlocked == WhenReceiveBlocks::Stop)
    {
        return false;
    }
    if (vm_rules.retryLimit != kAnyRetries)
    {
        ++vm_nRetries;
    }
    return vm_transport.WaitReadable(vm_rules.pause);
}

}  // namespace ostrel::net
