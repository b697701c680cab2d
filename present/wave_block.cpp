#include "present/wave_block.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace ostrel::present
{

namespace
{

// How many bytes may be read from a source: one inside the block ends where the block does.
std::uint64_t ReadableBytes(const CMemManage& buffer, const unsigned char* source,
                            std::uint64_t length)
{
    const auto block = reinterpret_cast<std::uintptr_t>(buffer.m_pMem);
    const auto start = reinterpret_cast<std::uintptr_t>(source);
    const std::uint64_t size = buffer.m_nMemSize;
    const bool isInside = start >= block && start - block < size;
    return isInside ? std::min<std::uint64_t>(length, size - (start - block)) : length;
}

}  // namespace

unsigned char* ResizeBlock(CMemManage& buffer, int size, CMemManage& previous)
{
    if (size >= 0 && buffer.m_nMemSize == static_cast<unsigned>(size))
    {
        return buffer.m_pMem;
    }
    previous = buffer;
    buffer.m_pMem = nullptr;
    buffer.m_nMemSize = 0;
    return size < 0 ? nullptr : buffer.m_F_p_MemAlloc(static_cast<unsigned>(size));
}

int TakeBlock(CMemManage& buffer, const unsigned char* source, int length, CMemManage& previous)
{
    if (length < 0)
    {
        return 0;
    }
    if (source == buffer.m_pMem)
    {
        return static_cast<int>(
            std::min<std::uint64_t>(static_cast<unsigned>(length), buffer.m_nMemSize));
    }
    const auto count = static_cast<std::size_t>(length);
    const auto readable = static_cast<std::size_t>(ReadableBytes(buffer, source, count));
    unsigned char* const block = ResizeBlock(buffer, length, previous);
    if (block == nullptr)
    {
        return 0;
    }
    std::memmove(block, source, readable);
    std::memset(block + readable, 0, count - readable);
    return length;
}

}  // namespace ostrel::present
