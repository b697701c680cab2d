#include "net/http_post.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "net/response_head.h"

namespace ostrel::net
{

namespace
{

constexpr int kWorkSize = 5000;
constexpr int kPauseBeforeData = 5;
constexpr std::uint32_t kLongestWait = 10000;
constexpr std::uint32_t kMostAtOnce = std::numeric_limits<int>::max();

// What both posts have in common; the rest stands in the rules for the data.
int Exchange(const PostRequest& request, Transport& transport, ReplyBuffer reply,
             const SendRules& dataRules, int pauseBeforeData)
{
    char work[kWorkSize] = {};
    FormatPost(request.server, request.path, request.length, {work, sizeof(work)});
    const SendRules headRules = {dataRules.room, dataRules.whenBlocked, dataRules.permit};
    // Whether head and data left in full is not asked: an answer may come even so.
    SendBytes(transport, work, static_cast<std::uint32_t>(std::strlen(work)), headRules);
    if (pauseBeforeData > 0)
    {
        transport.Pause(pauseBeforeData);
    }
    SendBytes(transport, reinterpret_cast<const char*>(request.data),
              static_cast<std::uint32_t>(request.length), dataRules);

    Receiver receiver(transport, {dataRules.room, WhenReceiveBlocks::Wait, dataRules.room,
                                  kAnyRetries, dataRules.permit});
    const int held = receiver.Receive(work, kWorkSize);
    const int length = static_cast<int>(ResponseText(work, static_cast<std::size_t>(held)).size());
    const int copied = reply.text != nullptr ? std::clamp(reply.size, 0, length) : 0;
    if (copied > 0)
    {
        std::memcpy(reply.text, work, static_cast<std::size_t>(copied));
    }
    return copied;
}

}  // namespace

int PostDirectly(const PostRequest& request, int timeOut, Transport& transport, ReplyBuffer reply)
{
    int result = kConnectFailed;
    if (transport.Connect(request.server.host, request.server.port, timeOut))
    {
        const NoPermitNeeded noPermit;
        result = Exchange(request, transport, reply, {timeOut, WhenSendBlocks::Wait, noPermit},
                          kPauseBeforeData);
    }
    transport.Close();
    return result;
}

int PostInPieces(const PostRequest& request, const SplitRules& split, Transport& transport,
                 ReplyBuffer reply)
{
    const int connectTime = static_cast<int>(std::min(split.timeOut, kMostAtOnce));
    const int waitTime = static_cast<int>(std::min(split.timeOut, kLongestWait));
    const std::uint32_t piece = split.piece == 0 ? kMostAtOnce : std::min(split.piece, kMostAtOnce);
    int result = kConnectFailed;
    if (transport.Connect(request.server.host, request.server.port, connectTime))
    {
        const Deadline deadline(transport, split.timeOut);
        result = Exchange(
            request, transport, reply,
            {waitTime, WhenSendBlocks::Wait, deadline, static_cast<int>(piece), &split.sent}, 0);
    }
    transport.Close();
    return result;
}

}  // namespace ostrel::net
