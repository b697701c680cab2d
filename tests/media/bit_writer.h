/// @file
/// Writes headers bit by bit, most significant bit first.
#pragma once

#include <cstdint>
#include <vector>

namespace ostrel::test
{

using Bytes = std::vector<unsigned char>;

class BitWriter
{
public:
    BitWriter& Bits(std::uint64_t value, int count)
    {
        for (int i = count - 1; i >= 0; --i)
        {
            m_bits.push_back((value >> i) % 2 == 1);
        }
        return *this;
    }

    /// Bits as they are read: "0" and "1", spaces between.
    BitWriter& Bits(const char* text)
    {
        for (; *text != 0; ++text)
        {
            if (*text != ' ')
            {
                m_bits.push_back(*text == '1');
            }
        }
        return *this;
    }

    /// The unsigned Exp-Golomb code of a value below 2^32 - 1.
    BitWriter& Ue(std::uint32_t value)
    {
        const std::uint64_t number = std::uint64_t{value} + 1;
        int zeros = 0;
        while (number >> (zeros + 1) != 0)
        {
            ++zeros;
        }
        return Bits(0, zeros).Bits(number, zeros + 1);
    }

    /// The signed Exp-Golomb code.
    BitWriter& Se(std::int32_t value)
    {
        const std::int64_t wide = value;
        return Ue(static_cast<std::uint32_t>(wide > 0 ? 2 * wide - 1 : -2 * wide));
    }

    BitWriter& Append(const BitWriter& other)
    {
        m_bits.insert(m_bits.end(), other.m_bits.begin(), other.m_bits.end());
        return *this;
    }

    std::size_t Size() const { return m_bits.size(); }

    /// The bits in bytes, the last one filled up with zeros.
    Bytes ToBytes() const
    {
        Bytes bytes((m_bits.size() + 7) / 8);
        for (std::size_t i = 0; i < m_bits.size(); ++i)
        {
            if (m_bits[i])
            {
                bytes[i / 8] = static_cast<unsigned char>(bytes[i / 8] | (0x80 >> i % 8));
            }
        }
        return bytes;
    }

private:
    std::vector<bool> m_bits;
};

}  // namespace ostrel::test
