/// @file
/// The video object layer walk as it is stated, step by step, over single bits: slow, and written
/// without a look at the library's own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace ostrel::test
{

class Mpeg4SizeModel
{
public:
    struct Outcome
    {
        std::optional<std::pair<int, int>> size;
        bool isReported;
    };

    static Outcome Walk(const unsigned char* data, int len)
    {
        if (len < 1 || data == nullptr)
        {
            return {std::nullopt, false};
        }
        const auto at = [&](std::int64_t position)
        { return position < len ? int{data[position]} : -1; };
        for (std::int64_t i = 0; i <= len - 1; ++i)
        {
            if (at(i) == 0 && at(i + 1) == 0 && at(i + 2) == 1 && at(i + 3) == 0x20)
            {
                Mpeg4SizeModel model;
                for (std::int64_t position = i + 4; position < len; ++position)
                {
                    for (int bit = 7; bit >= 0; --bit)
                    {
                        model.m_bits.push_back((data[position] >> bit & 1) != 0);
                    }
                }
                return {model.Header(), true};
            }
        }
        return {std::nullopt, false};
    }

private:
    void Skip(std::size_t count) { m_position += count; }

    unsigned Read(std::size_t count)
    {
        unsigned value = 0;
        for (; count > 0; --count)
        {
            m_isIncomplete = m_isIncomplete || m_position >= m_bits.size();
            value = value * 2 + (m_isIncomplete ? 0 : unsigned{m_bits[m_position]});
            ++m_position;
        }
        return value;
    }

    static unsigned BitLength(unsigned value)
    {
        unsigned length = 0;
        for (unsigned limit = 1; value >= limit; limit *= 2)
        {
            ++length;
        }
        return length;
    }

    std::optional<std::pair<int, int>> Header()
    {
        Skip(1);
        Skip(8);
        if (Read(1) == 1)
        {
            Skip(4);
            Skip(3);
        }
        if (Read(4) == 15)
        {
            Skip(8);
            Skip(8);
        }
        if (Read(1) == 1)
        {
            Skip(3);
            if (Read(1) == 1)
            {
                Skip(63);
            }
        }
        const unsigned shape = Read(2);
        Skip(1);
        const unsigned resolution = Read(16);
        Skip(1);
        if (Read(1) == 1)
        {
            Skip(BitLength(resolution));
        }
        if (shape != 0)
        {
            return std::nullopt;
        }
        Skip(1);
        const unsigned width = Read(13);
        Skip(1);
        const unsigned height = Read(13);
        if (m_isIncomplete)
        {
            return std::nullopt;
        }
        return std::make_pair(static_cast<int>(width), static_cast<int>(height));
    }

    std::vector<bool> m_bits;
    std::size_t m_position = 0;
    bool m_isIncomplete = false;
};

}  // namespace ostrel::test
