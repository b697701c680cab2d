#include "media/h264_size.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <vector>

#include "media/bit_reader.h"

namespace ostrel::media
{
namespace
{

constexpr int kStartCodeSize = 4;
constexpr std::size_t kUnitHeaderSize = 1;
constexpr unsigned char kEmulationPrevention = 3;
constexpr unsigned char kNextStartCode = 1;
constexpr std::uint32_t kMacroblockSize = 16;

// The content of the unit, up to the next start code and without the emulation prevention bytes
// (7.4.1). The unit's type is not looked at: deliberate.
std::vector<unsigned char> RawPayload(const unsigned char* unit, std::size_t size)
{
    std::vector<unsigned char> payload;
    std::size_t i = kUnitHeaderSize;
    while (i < size)
    {
        const bool hasZeros = i + 2 < size && unit[i] == 0 && unit[i + 1] == 0;
        if (hasZeros && unit[i + 2] == kNextStartCode)
        {
            break;
        }
        if (hasZeros && unit[i + 2] == kEmulationPrevention)
        {
            payload.insert(payload.end(), 2, 0);
            i += 3;
        }
        else
        {
            payload.push_back(unit[i]);
            ++i;
        }
    }
    return payload;
}

// The list is deliberately this short: 244, 44 and others hold these fields in the standard, too.
bool HasChromaFields(std::uint32_t profile)
{
    constexpr std::uint32_t kProfiles[] = {100, 110, 122, 144};
    return std::find(std::begin(kProfiles), std::end(kProfiles), profile) != std::end(kProfiles);
}

// Its coefficients matter to nobody, only where it ends.
void SkipScalingList(BitReader& bits, int size)
{
    std::int64_t last = 8;
    for (int i = 0; i < size; ++i)
    {
        const std::int64_t next = (last + bits.ReadSignedExpGolomb() + 256) % 256;
        if (next == 0)
        {
            return;
        }
        last = next;
    }
}

// Eight lists, also for 4:4:4, where the standard has twelve: deliberate.
void SkipScalingMatrix(BitReader& bits)
{
    for (int i = 0; i < 8; ++i)
    {
        if (bits.ReadBit() == 1)
        {
            SkipScalingList(bits, i < 6 ? 16 : 64);
        }
    }
}

void SkipChromaFields(BitReader& bits)
{
    const std::uint32_t chromaFormat = bits.ReadUnsignedExpGolomb();
    if (chromaFormat == 3)
    {
        bits.Skip(1);  // residual_colour_transform_flag
    }
    bits.ReadUnsignedExpGolomb();  // bit_depth_luma_minus8
    bits.ReadUnsignedExpGolomb();  // bit_depth_chroma_minus8
    bits.Skip(1);                  // qpprime_y_zero_transform_bypass_flag
    if (bits.ReadBit() == 1)       // seq_scaling_matrix_present_flag
    {
        SkipScalingMatrix(bits);
    }
}

void SkipPictureOrderCycle(BitReader& bits)
{
    bits.Skip(1);                // delta_pic_order_always_zero_flag
    bits.ReadSignedExpGolomb();  // offset_for_non_ref_pic
    bits.ReadSignedExpGolomb();  // offset_for_top_to_bottom_field
    // As a signed number: a count past its range is negative and stands for no entry.
    const auto count = static_cast<std::int32_t>(bits.ReadUnsignedExpGolomb());
    for (std::int32_t i = 0; i < count && !bits.IsAtEnd(); ++i)
    {
        bits.ReadSignedExpGolomb();  // offset_for_ref_frame
    }
}

void SkipPictureOrderFields(BitReader& bits)
{
    const std::uint32_t type = bits.ReadUnsignedExpGolomb();
    if (type == 0)
    {
        bits.ReadUnsignedExpGolomb();  // log2_max_pic_order_cnt_lsb_minus4
    }
    else if (type == 1)
    {
        SkipPictureOrderCycle(bits);
    }
}

// Two pixels to a unit, and no more than 7 units: deliberate.
std::uint32_t CroppedPixels(std::uint32_t offset)
{
    return offset <= 7 ? 2 * offset : 0;
}

PictureSize ReadSize(BitReader& bits)
{
    const std::uint32_t widthInMbs = bits.ReadUnsignedExpGolomb() + 1;
    const std::uint32_t heightInMapUnits = bits.ReadUnsignedExpGolomb() + 1;
    const std::uint32_t isFramesOnly = bits.ReadBit();
    if (isFramesOnly == 0)
    {
        bits.Skip(1);  // mb_adaptive_frame_field_flag
    }
    bits.Skip(1);  // direct_8x8_inference_flag

    std::uint32_t width = widthInMbs * kMacroblockSize;
    std::uint32_t height = heightInMapUnits * (2 - isFramesOnly) * kMacroblockSize;
    if (bits.ReadBit() == 1)  // frame_cropping_flag
    {
        // Left and top are read but never applied: deliberate.
        bits.ReadUnsignedExpGolomb();
        width -= CroppedPixels(bits.ReadUnsignedExpGolomb());
        bits.ReadUnsignedExpGolomb();
        height -= CroppedPixels(bits.ReadUnsignedExpGolomb());
    }
    return {static_cast<int>(width), static_cast<int>(height)};
}

}  // namespace

PictureSize ReadH264Size(const unsigned char* data, int len)
{
    std::vector<unsigned char> payload;
    if (data != nullptr && len > 0)
    {
        payload = RawPayload(data + kStartCodeSize, static_cast<std::size_t>(len));
    }
    BitReader bits(payload.data(), payload.size());
    const std::uint32_t profile = bits.ReadBits(8);
    bits.Skip(8);                  // constraint_set0_flag to reserved_zero_4bits
    bits.Skip(8);                  // level_idc
    bits.ReadUnsignedExpGolomb();  // seq_parameter_set_id
    if (HasChromaFields(profile))
    {
        SkipChromaFields(bits);
    }
    bits.ReadUnsignedExpGolomb();  // log2_max_frame_num_minus4
    SkipPictureOrderFields(bits);
    bits.ReadUnsignedExpGolomb();  // num_ref_frames
    bits.Skip(1);                  // gaps_in_frame_num_value_allowed_flag
    return ReadSize(bits);
}

}  // namespace ostrel::media
