/// @file
/// The sequence parameter set walk as it is stated, step by step, over single bits: slow, and
/// written without a look at the library's own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace ostrel::test
{

class H264SizeModel
{
public:
    /// @return width and height.
    static std::pair<std::int32_t, std::int32_t> Size(const unsigned char* data, int len)
    {
        H264SizeModel model;
        if (data != nullptr)
        {
            model.Unescape(data, len);
        }
        return model.Walk();
    }

private:
    using Unsigned = std::uint32_t;

    void Unescape(const unsigned char* data, int len)
    {
        const auto at = [&](std::int64_t position) { return int{data[4 + position]}; };
        for (std::int64_t i = 1; i < len;)
        {
            if (i + 2 < len && at(i) == 0 && at(i + 1) == 0 && at(i + 2) == 3)
            {
                AppendByte(0);
                AppendByte(0);
                i += 3;
            }
            else if (i + 2 < len && at(i) == 0 && at(i + 1) == 0 && at(i + 2) == 1)
            {
                break;
            }
            else
            {
                AppendByte(at(i));
                i += 1;
            }
        }
    }

    void AppendByte(int byte)
    {
        for (int bit = 128; bit > 0; bit /= 2)
        {
            m_bits.push_back((byte & bit) != 0);
        }
    }

    bool DataRemains() const { return m_next < m_bits.size(); }

    Unsigned OneBit() { return DataRemains() && m_bits[m_next++] ? 1 : 0; }

    Unsigned Number(Unsigned count)
    {
        Unsigned number = 0;
        while (count > 0)
        {
            number = (number << 1) | OneBit();
            --count;
        }
        return number;
    }

    Unsigned Ue()
    {
        Unsigned count = 0;
        for (;;)
        {
            if (DataRemains() && OneBit() == 1)
            {
                break;
            }
            if (count == 32 || !DataRemains())
            {
                break;
            }
            count += 1;
        }
        if (count == 0)
        {
            return 0;
        }
        const Unsigned v = Number(count);
        const Unsigned power = count == 32 ? Unsigned{1} : Unsigned{1} << count;
        return power - 1 + v;
    }

    std::int32_t Se()
    {
        const std::int64_t k = Ue();
        return static_cast<std::int32_t>(k % 2 != 0 ? (k + 1) / 2 : -(k / 2));
    }

    void ScalingList(int coefficients)
    {
        std::int32_t last = 8;
        std::int32_t next = 8;
        for (int j = 0; j < coefficients; ++j)
        {
            if (next != 0)
            {
                const std::int32_t delta = Se();
                next = static_cast<std::int32_t>((std::int64_t{last} + delta + 256) % 256);
            }
            const std::int32_t coefficient = next == 0 ? last : next;
            last = coefficient;
        }
    }

    std::pair<std::int32_t, std::int32_t> Walk()
    {
        const Unsigned profile_idc = Number(8);
        Number(4);
        Number(4);
        Number(8);
        Ue();
        if (profile_idc == 100 || profile_idc == 110 || profile_idc == 122 || profile_idc == 144)
        {
            const Unsigned chroma_format_idc = Ue();
            if (chroma_format_idc == 3)
            {
                OneBit();
            }
            Ue();
            Ue();
            OneBit();
            const Unsigned seq_scaling_matrix_present_flag = OneBit();
            if (seq_scaling_matrix_present_flag == 1)
            {
                for (int index = 0; index <= 7; ++index)
                {
                    if (OneBit() == 1)
                    {
                        ScalingList(index <= 5 ? 16 : 64);
                    }
                }
            }
        }
        Ue();
        const Unsigned pic_order_cnt_type = Ue();
        if (pic_order_cnt_type == 0)
        {
            Ue();
        }
        else if (pic_order_cnt_type == 1)
        {
            OneBit();
            Se();
            Se();
            // A field of 32 bits with a sign. Without data, an entry changes nothing any more.
            const auto entries = static_cast<std::int32_t>(Ue());
            for (std::int32_t i = 0; i < entries && DataRemains(); ++i)
            {
                Se();
            }
        }
        Ue();
        OneBit();
        const Unsigned pic_width_in_mbs_minus1 = Ue();
        const Unsigned pic_height_in_map_units_minus1 = Ue();
        const Unsigned frame_mbs_only_flag = OneBit();
        if (frame_mbs_only_flag == 0)
        {
            OneBit();
        }
        OneBit();
        Unsigned right = 0;
        Unsigned bottom = 0;
        if (OneBit() == 1)
        {
            Ue();
            right = Ue();
            Ue();
            bottom = Ue();
        }
        Unsigned width = (pic_width_in_mbs_minus1 + 1) * 16;
        if (right >= 1 && right <= 7)
        {
            width = width - 2 * right;
        }
        Unsigned height = (pic_height_in_map_units_minus1 + 1) * (2 - frame_mbs_only_flag) * 16;
        if (bottom >= 1 && bottom <= 7)
        {
            height = height - 2 * bottom;
        }
        return {static_cast<std::int32_t>(width), static_cast<std::int32_t>(height)};
    }

    std::vector<bool> m_bits;
    std::size_t m_next = 0;
};

}  // namespace ostrel::test
