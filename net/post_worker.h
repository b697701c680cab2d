/// @file
/// The two post workers: one body without end, into which each queued block goes as it comes, or
/// one request for each block.
#pragma once

#include "net/http_request.h"
#include "net/http_transfer.h"
#include "net/post_item.h"

namespace ostrel::net
{

/// The queue as the worker sees it, who is the only one to remove anything.
class PostQueue
{
public:
    virtual bool IsEmpty() = 0;

    /// @return the oldest block, which stays where it is; only of a queue that is not empty.
    virtual PostBlock Front() = 0;

    /// Removes and frees the oldest block.
    virtual void RemoveFront() = 0;

protected:
    ~PostQueue() = default;
};

/// Whom a worker posts to. No text is null.
struct PostTarget
{
    Server server;
    const char* prefix;  ///< what the head begins with
    int timeOut;
};

/// Runs until the permit is gone. The connection is closed afterwards.
///
/// A block that cannot be sent is dropped. The block that is being sent when the permit goes stays
/// in the queue.
void PostInOneRequest(const PostTarget& target, Transport& transport, PostQueue& queue,
                      const Permit& permit);

/// The same, with one connection for each block. A block stays in the queue while there is no
/// connection; what cannot be sent over one is dropped. The permit's end also ends a sending.
void PostInSingleRequests(const PostTarget& target, Transport& transport, PostQueue& queue,
                          const Permit& permit);

}  // namespace ostrel::net
