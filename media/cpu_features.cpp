#include "media/cpu_features.h"

#include <algorithm>

namespace ostrel::media
{
namespace
{

// The largest of the caches that a leaf describes, one in each sub-leaf.
std::size_t LargestCacheOf(unsigned leaf)
{
    constexpr unsigned kMostCaches = 8;
    std::size_t largest = 0;
    for (unsigned i = 0; i < kMostCaches; ++i)
    {
        const CpuidRegisters cache = ReadCpuid(leaf, i);
        const bool isNone = (cache.eax & 0x1F) == 0;
        if (isNone)
        {
            break;
        }
        const std::size_t lineSize = (cache.ebx & 0xFFF) + 1;
        const std::size_t partitions = (cache.ebx >> 12 & 0x3FF) + 1;
        const std::size_t ways = (cache.ebx >> 22) + 1;
        const std::size_t sets = std::size_t{cache.ecx} + 1;
        largest = std::max(largest, lineSize * partitions * ways * sets);
    }
    return largest;
}

}  // namespace

std::size_t LastLevelCacheSize()
{
    constexpr std::size_t kUsual = std::size_t{8} << 20;
    constexpr unsigned kIntelCaches = 4;
    constexpr unsigned kAmdCaches = 0x8000001D;
    const std::size_t size = std::max(LargestCacheOf(kIntelCaches), LargestCacheOf(kAmdCaches));
    return size > 0 ? size : kUsual;
}

}  // namespace ostrel::media
