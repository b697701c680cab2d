/// @file
/// Hand-made MPEG-4 Part 2 video object layer headers (ISO/IEC 14496-2 6.2.3).
#pragma once

#include <optional>

#include "bit_writer.h"

namespace ostrel::test
{

/// A rectangular layer, with every optional field that is set.
struct Vol
{
    bool isIdentified = false;
    unsigned aspectRatio = 1;
    bool hasControlParameters = false;
    /// Bits of VBV parameters; they need the control parameters.
    std::optional<BitWriter> vbv;
    unsigned shape = 0;
    unsigned resolution = 25;
    /// Bits of the increment of a fixed VOP rate.
    std::optional<BitWriter> increment;
    unsigned width = 704;
    unsigned height = 576;
    /// What all of the marker bits hold.
    unsigned marker = 1;
    /// What all of the fields that are skipped hold.
    bool isFillerSet = false;
};

inline BitWriter VolBits(const Vol& vol)
{
    const auto filler = [&vol](int count)
    { return BitWriter().Bits(vol.isFillerSet ? ~std::uint64_t{0} : 0, count); };
    BitWriter bits;
    bits.Append(filler(1)).Append(filler(8)).Bits(vol.isIdentified ? 1 : 0, 1);
    if (vol.isIdentified)
    {
        bits.Append(filler(4)).Append(filler(3));
    }
    bits.Bits(vol.aspectRatio, 4);
    if (vol.aspectRatio == 15)
    {
        bits.Append(filler(8)).Append(filler(8));
    }
    bits.Bits(vol.hasControlParameters ? 1 : 0, 1);
    if (vol.hasControlParameters)
    {
        bits.Append(filler(2)).Append(filler(1)).Bits(vol.vbv ? 1 : 0, 1);
        if (vol.vbv)
        {
            bits.Append(*vol.vbv);
        }
    }
    bits.Bits(vol.shape, 2).Bits(vol.marker, 1).Bits(vol.resolution, 16).Bits(vol.marker, 1);
    bits.Bits(vol.increment ? 1 : 0, 1);
    if (vol.increment)
    {
        bits.Append(*vol.increment);
    }
    if (vol.shape == 0)
    {
        bits.Bits(vol.marker, 1).Bits(vol.width, 13).Bits(vol.marker, 1).Bits(vol.height, 13);
        bits.Bits(vol.marker, 1);
    }
    return bits.Append(filler(1));
}

/// The layer behind its start code, with some of the stream before and after it.
inline Bytes VolStream(const BitWriter& bits, unsigned char startCode = 0x20)
{
    Bytes stream = {0, 0, 1, 0xB0, 1, 0, 0, 1, 0xB5, 9, 0, 0, 1, 0, 0, 0, 1, startCode};
    const Bytes header = bits.ToBytes();
    stream.insert(stream.end(), header.begin(), header.end());
    return stream;
}

inline Bytes VolStream(const Vol& vol, unsigned char startCode = 0x20)
{
    return VolStream(VolBits(vol), startCode);
}

}  // namespace ostrel::test
