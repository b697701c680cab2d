/// @file
/// Hand-made H.264 sequence parameter sets (ITU-T H.264 7.3.2.1.1) and their units.
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include "bit_writer.h"

namespace ostrel::test
{

/// The fields behind seq_parameter_set_id that only some profiles hold.
struct ChromaFields
{
    std::uint32_t format = 1;
    std::uint32_t lumaDepthMinus8 = 0;
    std::uint32_t chromaDepthMinus8 = 0;
    int isLossless = 0;
    /// seq_scaling_matrix_present_flag and, behind it, whatever lists are written.
    BitWriter scaling = BitWriter().Bits("0");
};

struct Cropping
{
    std::uint32_t left = 0;
    std::uint32_t right = 0;
    std::uint32_t top = 0;
    std::uint32_t bottom = 0;
};

/// 1920 x 1088 in frames, Main profile, not cropped.
struct Sps
{
    std::uint32_t profile = 77;
    std::uint32_t constraints = 0;
    std::uint32_t level = 40;
    std::uint32_t id = 0;
    std::optional<ChromaFields> chroma;
    std::uint32_t maxFrameNumberMinus4 = 0;
    /// pic_order_cnt_type and what belongs to it.
    BitWriter pictureOrder = BitWriter().Ue(0).Ue(2);
    std::uint32_t referenceFrames = 4;
    int areGapsAllowed = 0;
    BitWriter widthInMbsMinus1 = BitWriter().Ue(119);
    BitWriter heightInMapUnitsMinus1 = BitWriter().Ue(67);
    bool isFramesOnly = true;
    int isAdaptive = 1;
    int isDirect8x8 = 1;
    std::optional<Cropping> cropping;
    /// vui_parameters_present_flag, and the stop bit.
    BitWriter tail = BitWriter().Bits("0 1");
};

inline BitWriter SpsBits(const Sps& sps)
{
    BitWriter bits;
    bits.Bits(sps.profile, 8).Bits(sps.constraints, 8).Bits(sps.level, 8).Ue(sps.id);
    if (sps.chroma)
    {
        bits.Ue(sps.chroma->format);
        if (sps.chroma->format == 3)
        {
            bits.Bits("0");
        }
        bits.Ue(sps.chroma->lumaDepthMinus8).Ue(sps.chroma->chromaDepthMinus8);
        bits.Bits(static_cast<unsigned>(sps.chroma->isLossless), 1).Append(sps.chroma->scaling);
    }
    bits.Ue(sps.maxFrameNumberMinus4).Append(sps.pictureOrder).Ue(sps.referenceFrames);
    bits.Bits(static_cast<unsigned>(sps.areGapsAllowed), 1);
    bits.Append(sps.widthInMbsMinus1).Append(sps.heightInMapUnitsMinus1);
    bits.Bits(sps.isFramesOnly ? 1 : 0, 1);
    if (!sps.isFramesOnly)
    {
        bits.Bits(static_cast<unsigned>(sps.isAdaptive), 1);
    }
    bits.Bits(static_cast<unsigned>(sps.isDirect8x8), 1).Bits(sps.cropping ? 1 : 0, 1);
    if (sps.cropping)
    {
        bits.Ue(sps.cropping->left).Ue(sps.cropping->right);
        bits.Ue(sps.cropping->top).Ue(sps.cropping->bottom);
    }
    return bits.Append(sps.tail);
}

/// A start code, the unit's header and the payload as it is.
inline Bytes UnitOf(const Bytes& payload, unsigned char header = 0x67)
{
    Bytes unit(payload.size() + 5);
    unit[3] = 1;
    unit[4] = header;
    std::copy(payload.begin(), payload.end(), unit.begin() + 5);
    return unit;
}

/// The payload with its emulation prevention bytes (7.4.1).
inline Bytes Escaped(const Bytes& payload)
{
    Bytes escaped;
    int zeros = 0;
    for (const unsigned char byte : payload)
    {
        if (zeros == 2 && byte <= 3)
        {
            escaped.push_back(3);
            zeros = 0;
        }
        escaped.push_back(byte);
        zeros = byte == 0 ? zeros + 1 : 0;
    }
    return escaped;
}

inline Bytes SpsUnit(const Sps& sps)
{
    return UnitOf(Escaped(SpsBits(sps).ToBytes()));
}

}  // namespace ostrel::test
