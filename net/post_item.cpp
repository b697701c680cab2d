#include "net/post_item.h"

#include <cstddef>
#include <cstring>
#include <new>

namespace ostrel::net
{

unsigned char* NewPostItem(const unsigned char* data, std::uint32_t length)
{
    auto* const item = new (std::nothrow) unsigned char[sizeof(length) + std::size_t{length}];
    if (item == nullptr)
    {
        return nullptr;
    }
    std::memcpy(item, &length, sizeof(length));
    if (length > 0)
    {
        std::memcpy(item + sizeof(length), data, length);
    }
    return item;
}

PostBlock BlockOf(const void* item)
{
    if (item == nullptr)
    {
        return {nullptr, 0};
    }
    PostBlock block = {static_cast<const char*>(item) + sizeof(block.length), 0};
    std::memcpy(&block.length, item, sizeof(block.length));
    return block;
}

void DeletePostItem(void* item)
{
    delete[] static_cast<unsigned char*>(item);
}

}  // namespace ostrel::net
