/// @file
/// Reading a multipart stream part by part: open it once, then hand out one part after another.
#pragma once

#include "CMemManage.h"
#include "net/http_exchange.h"
#include "net/transport.h"

namespace ostrel::net
{

/// No complete part arrived in time, or no boundary is known.
constexpr int kNoPart = 1;
/// The head has no end or declares no boundary.
constexpr int kNoBoundary = -5;

/// The size of the receive buffer: a part and the delimiters around it must fit in it.
constexpr int kStreamBufferSize = 1024;

/// What a stream keeps from one part to the next, in the fields of its owner.
struct StreamState
{
    CMemManage& buffer;  ///< holds what was received and not yet handed out, from its start
    int& held;           ///< how many bytes these are
    char*& boundary;     ///< the boundary with its line end; an array, or null
};

/// The caller's memory for a part.
struct PartBuffer
{
    char* bytes;
    int size;
};

/// Reads the next part.
/// @param isOpen whether the connection stands; if not, the stream is opened first, and its waits
/// have no limit.
/// @return the part's length, even if the caller's memory took only the beginning of it; kNoPart,
/// or a negative code. After either of these the connection is closed, unless it was open without a
/// boundary.
int ReadPart(const GetRequest& request, bool isOpen, Transport& transport, StreamState state,
             PartBuffer out);

}  // namespace ostrel::net
