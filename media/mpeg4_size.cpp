#include "media/mpeg4_size.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "media/bit_reader.h"

namespace ostrel::media
{
namespace
{

constexpr unsigned char kVideoObjectLayer[] = {0x00, 0x00, 0x01, 0x20};
constexpr std::uint32_t kExtendedAspectRatio = 15;
constexpr std::uint32_t kRectangular = 0;
// 79 in the standard: deliberate.
constexpr int kVbvParameterBits = 63;
constexpr int kDimensionBits = 13;
// Width and height, each behind a marker bit.
constexpr int kBothDimensionsBits = 2 * (1 + kDimensionBits);

int BitLength(std::uint32_t value)
{
    int length = 0;
    while (value != 0)
    {
        ++length;
        value /= 2;
    }
    return length;
}

void SkipControlParameters(BitReader& bits)
{
    bits.Skip(2 + 1);  // chroma_format, low_delay
    if (bits.ReadBit() == 1)
    {
        bits.Skip(kVbvParameterBits);
    }
}

void SkipIdentification(BitReader& bits)
{
    bits.Skip(1 + 8);  // random_accessible_vol, video_object_type_indication
    if (bits.ReadBit() == 1)
    {
        bits.Skip(4 + 3);  // video_object_layer_verid, video_object_layer_priority
    }
    if (bits.ReadBits(4) == kExtendedAspectRatio)
    {
        bits.Skip(8 + 8);  // par_width, par_height
    }
    if (bits.ReadBit() == 1)
    {
        SkipControlParameters(bits);
    }
}

void SkipTiming(BitReader& bits)
{
    bits.Skip(1);
    const std::uint32_t resolution = bits.ReadBits(16);
    bits.Skip(1);
    if (bits.ReadBit() == 1)
    {
        // The length of the resolution, not of the greatest increment: deliberate.
        bits.Skip(BitLength(resolution));
    }
}

std::optional<PictureSize> ReadDimensions(BitReader& bits)
{
    if (bits.BitsLeft() < kBothDimensionsBits)
    {
        return std::nullopt;
    }
    bits.Skip(1);
    const auto width = static_cast<int>(bits.ReadBits(kDimensionBits));
    bits.Skip(1);
    const auto height = static_cast<int>(bits.ReadBits(kDimensionBits));
    return PictureSize{width, height};
}

std::optional<PictureSize> SizeInLayerHeader(BitReader bits)
{
    SkipIdentification(bits);
    const std::uint32_t shape = bits.ReadBits(2);
    SkipTiming(bits);
    return shape == kRectangular ? ReadDimensions(bits) : std::nullopt;
}

}  // namespace

Mpeg4SizeResult FindMpeg4Size(const unsigned char* data, int len)
{
    if (data == nullptr || len < 1)
    {
        return {std::nullopt, false};
    }
    const unsigned char* const end = data + len;
    const unsigned char* const startCode =
        std::search(data, end, std::begin(kVideoObjectLayer), std::end(kVideoObjectLayer));
    if (startCode == end)
    {
        return {std::nullopt, false};
    }
    const unsigned char* const header = startCode + std::size(kVideoObjectLayer);
    return {SizeInLayerHeader(BitReader(header, static_cast<std::size_t>(end - header))), true};
}

}  // namespace ostrel::media
