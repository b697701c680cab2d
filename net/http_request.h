/// @file
/// The texts of all requests. None of the texts given is null; a request that does not fit is cut,
/// and always terminated.
#pragma once

#include <cstddef>

namespace ostrel::net
{

/// The memory that a request is written into.
struct TextBuffer
{
    char* text;
    std::size_t size;
};

/// A server and the right to use it. No text is null.
struct Server
{
    const char* host;
    const char* user;
    const char* password;
    int port;
};

/// The head of a GET, in HTTP/1.1.
void FormatGet(const Server& server, const char* path, TextBuffer out);

/// The head of a POST with a body of this length. In HTTP/1.0, on purpose: its peers answer without
/// transfer codings, and the answer is handed on as it comes.
void FormatPost(const Server& server, const char* path, int length, TextBuffer out);

/// The head of a body without end: what the caller begins it with, and the authorisation.
void FormatEndlessPost(const Server& server, const char* prefix, TextBuffer out);

/// The head of one block's request: what the caller begins it with, the block's length, and the
/// authorisation.
void FormatBlockPost(const Server& server, const char* prefix, unsigned length, TextBuffer out);

}  // namespace ostrel::net
