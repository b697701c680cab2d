/// @file
/// The two posts on the caller's thread: connect, head, data, raw answer, close. They differ in the
/// rules given to one exchange and in nothing else.
#pragma once

#include <cstdint>

#include "net/http_request.h"
#include "net/http_transfer.h"

namespace ostrel::net
{

/// What is to be posted. No text is null, and there is at least one byte of data.
struct PostRequest
{
    Server server;
    const char* path;
    const unsigned char* data;
    int length;
};

/// Where the answer goes. There may be no such place: a null buffer or no size.
struct ReplyBuffer
{
    char* text;
    int size;
};

/// How a post in pieces goes on.
struct SplitRules
{
    std::uint32_t timeOut;  ///< for the connect, and from then on for all the rest
    std::uint32_t piece;    ///< the most bytes of data sent at once; 0: no limit
    int& sent;              ///< told the bytes of data sent so far after every piece
};

/// Posts all data at once; every wait has the whole time-out.
/// @return the bytes of the answer's text copied, unterminated, or kConnectFailed.
int PostDirectly(const PostRequest& request, int timeOut, Transport& transport, ReplyBuffer reply);

/// Posts the data in pieces and under a deadline.
/// @return as PostDirectly().
int PostInPieces(const PostRequest& request, const SplitRules& split, Transport& transport,
                 ReplyBuffer reply);

}  // namespace ostrel::net
