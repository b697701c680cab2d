#include "net/post_worker.h"

#include <cstring>

namespace ostrel::net
{

namespace
{

constexpr int kWorkSize = 1000;
constexpr int kReconnectPause = 100;
constexpr int kQueuePoll = 2;
constexpr int kEndlessPause = 2;
constexpr int kSinglePause = 5;

// Makes a connection anew. Where it fails it pauses, so that the caller can try again.
bool Reconnect(const PostTarget& target, Transport& transport)
{
    transport.Close();
    if (transport.Connect(target.server.host, target.server.port, target.timeOut))
    {
        return true;
    }
    transport.Close();
    transport.Pause(kReconnectPause);
    return false;
}

// Whether there is something to post before the permit is gone.
bool AwaitBlock(Transport& transport, PostQueue& queue, const Permit& permit)
{
    while (permit.Holds())
    {
        if (!queue.IsEmpty())
        {
            return true;
        }
        transport.Pause(kQueuePoll);
    }
    return false;
}

void SendText(Transport& transport, const char* text, const SendRules& rules)
{
    SendBytes(transport, text, static_cast<std::uint32_t>(std::strlen(text)), rules);
}

void SendFront(Transport& transport, PostQueue& queue, const SendRules& rules)
{
    const PostBlock block = queue.Front();
    SendBytes(transport, block.bytes, block.length, rules);
}

// Whoever takes the permit away may soon terminate the worker, who therefore no longer touches
// what takes a lock, the heap above all; what is left in the queue is freed by the other.
void RemoveSent(PostQueue& queue, const Permit& permit)
{
    if (permit.Holds())
    {
        queue.RemoveFront();
    }
}

}  // namespace

void PostInOneRequest(const PostTarget& target, Transport& transport, PostQueue& queue,
                      const Permit& permit)
{
    bool isConnected = false;
    while (!isConnected && permit.Holds())
    {
        isConnected = Reconnect(target, transport);
    }
    if (isConnected)
    {
        const NoPermitNeeded noPermit;
        const SendRules rules = {target.timeOut, WhenSendBlocks::Sleep, noPermit};
        char head[kWorkSize] = {};
        FormatEndlessPost(target.server, target.prefix, {head, sizeof(head)});
        SendText(transport, head, rules);
        while (AwaitBlock(transport, queue, permit))
        {
            SendFront(transport, queue, rules);
            RemoveSent(queue, permit);
            transport.Pause(kEndlessPause);
        }
    }
    transport.Close();
}

void PostInSingleRequests(const PostTarget& target, Transport& transport, PostQueue& queue,
                          const Permit& permit)
{
    const SendRules rules = {target.timeOut, WhenSendBlocks::Sleep, permit};
    while (AwaitBlock(transport, queue, permit))
    {
        if (!Reconnect(target, transport))
        {
            continue;
        }
        char head[kWorkSize] = {};
        FormatBlockPost(target.server, target.prefix, queue.Front().length, {head, sizeof(head)});
        SendText(transport, head, rules);
        SendFront(transport, queue, rules);
        RemoveSent(queue, permit);
        transport.Pause(kSinglePause);
    }
    transport.Close();
}

}  // namespace ostrel::net
