/// @file
/// Bits of a header, most significant first, with the Exp-Golomb codes of ITU-T H.264 9.1.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ostrel::media
{

/// Bits past the end read as 0 and consume nothing, so a walk over a header needs no checks: a
/// truncated one runs dry.
class BitReader
{
public:
    BitReader(const unsigned char* data, std::size_t size)
        : m_data(data), m_position(0), m_end(std::uint64_t{size} * 8)
    {
    }

    std::uint64_t BitsLeft() const { return m_end - m_position; }
    bool IsAtEnd() const { return m_position == m_end; }

    std::uint32_t ReadBit();
    /// @param count up to 32.
    std::uint32_t ReadBits(int count);
    void Skip(int count);

    std::uint32_t ReadUnsignedExpGolomb();
    std::int32_t ReadSignedExpGolomb();

private:
    int CountLeadingZeros();

    const unsigned char* m_data;
    std::uint64_t m_position;  // in bits
    std::uint64_t m_end;
};

}  // namespace ostrel::media
