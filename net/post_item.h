/// @file
/// The items of a post queue: one array block each, a byte count of 32 bits in the machine's order
/// and then so many bytes.
#pragma once

#include <cstdint>

namespace ostrel::net
{

/// What is to be posted at once.
struct PostBlock
{
    const char* bytes;
    std::uint32_t length;
};

/// Copies the bytes into a new item. @p data may be null if there are none.
/// @return the item, to be freed by DeletePostItem(); null when there is no memory for it.
unsigned char* NewPostItem(const unsigned char* data, std::uint32_t length);

/// @param item null holds no bytes.
PostBlock BlockOf(const void* item);

/// Frees an item, whoever made it. Null is allowed.
void DeletePostItem(void* item);

}  // namespace ostrel::net
