#include "media/h264_size.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <set>
#include <utility>

#include "h264_size_model.h"
#include "h264_streams.h"

namespace
{

using namespace ostrel::media;
using namespace ostrel::test;

using Size = std::pair<int, int>;

const Size kOfNothing = {16, 32};

// Probes a heap block of exactly the start code and the first len bytes behind it, so that the
// sanitizer sees the first one too many.
Size Probe(const Bytes& unit, std::size_t len)
{
    const std::unique_ptr<unsigned char[]> block(new unsigned char[len + 4]);
    std::copy_n(unit.begin(), len + 4, block.get());
    const PictureSize size = ReadH264Size(block.get(), static_cast<int>(len));
    return {size.width, size.height};
}

Size Probe(const Bytes& unit)
{
    return Probe(unit, unit.size() - 4);
}

Size Probe(const Sps& sps)
{
    return Probe(SpsUnit(sps));
}

Sps Cropped(std::uint32_t left, std::uint32_t right, std::uint32_t top, std::uint32_t bottom)
{
    Sps sps;
    sps.cropping = Cropping{left, right, top, bottom};
    return sps;
}

Sps WithChroma(std::uint32_t profile, const ChromaFields& chroma)
{
    Sps sps = Cropped(0, 3, 0, 4);
    sps.profile = profile;
    sps.chroma = chroma;
    return sps;
}

// A parameter set of profile 100 with these bits behind the scaling matrix's flag.
Sps WithScaling(const BitWriter& lists, std::uint32_t format = 1)
{
    ChromaFields chroma;
    chroma.format = format;
    chroma.scaling = BitWriter().Bits("1").Append(lists);
    return WithChroma(100, chroma);
}

Sps WithPictureOrder(const BitWriter& fields)
{
    Sps sps = Cropped(0, 3, 0, 4);
    sps.pictureOrder = fields;
    return sps;
}

BitWriter Cycle(std::uint32_t announced, int written)
{
    BitWriter bits;
    bits.Ue(1).Bits("1").Se(-7).Se(300).Ue(announced);
    for (int i = 0; i < written; ++i)
    {
        bits.Se(i % 50 - 20);
    }
    return bits;
}

// A list whose every entry is present and moves by 1 up and down.
BitWriter FullList(int coefficients)
{
    BitWriter bits;
    for (int i = 0; i < coefficients; ++i)
    {
        bits.Se(i % 2 == 0 ? 1 : -1);
    }
    return bits;
}

// The size of WithChroma, WithScaling and WithPictureOrder.
const Size kTold = {1920 - 6, 1088 - 8};

}  // namespace

TEST(H264Size, FullHdIsCroppedFrom1088Lines)
{
    EXPECT_EQ(Probe(Cropped(0, 0, 0, 4)), Size(1920, 1080));
    EXPECT_EQ(Probe(Sps()), Size(1920, 1088));
}

TEST(H264Size, InterlacedFullHdIsCroppedInUnitsOf2)
{
    Sps sps = Cropped(0, 0, 0, 4);
    sps.isFramesOnly = false;
    sps.heightInMapUnitsMinus1 = BitWriter().Ue(33);
    EXPECT_EQ(Probe(sps), Size(1920, 1080));
    sps.isAdaptive = 0;
    EXPECT_EQ(Probe(sps), Size(1920, 1080));
}

TEST(H264Size, EverySizeInMacroblocksCounts)
{
    for (std::uint32_t width = 0; width < 600; width += 7)
    {
        for (const std::uint32_t height : {0U, 1U, 2U, 35U, 67U, 134U, 255U, 543U})
        {
            Sps sps;
            sps.widthInMbsMinus1 = BitWriter().Ue(width);
            sps.heightInMapUnitsMinus1 = BitWriter().Ue(height);
            EXPECT_EQ(Probe(sps), Size((width + 1) * 16, (height + 1) * 16));
            sps.isFramesOnly = false;
            EXPECT_EQ(Probe(sps), Size((width + 1) * 16, (height + 1) * 32));
        }
    }
}

TEST(H264Size, RightAndBottomOffsetsOf1To7Take2PixelsEach)
{
    for (std::uint32_t offset = 1; offset <= 7; ++offset)
    {
        const int pixels = static_cast<int>(offset) * 2;
        EXPECT_EQ(Probe(Cropped(0, offset, 0, 0)), Size(1920 - pixels, 1088));
        EXPECT_EQ(Probe(Cropped(0, 0, 0, offset)), Size(1920, 1088 - pixels));
    }
    EXPECT_EQ(Probe(Cropped(0, 7, 0, 7)), Size(1906, 1074));
}

TEST(H264Size, RightAndBottomOffsetsOf8AndMoreAreIgnored)
{
    for (const std::uint32_t offset : {8U, 9U, 15U, 16U, 100U, 65536U, 0x80000001U, 0xFFFFFFFDU})
    {
        EXPECT_EQ(Probe(Cropped(0, offset, 0, 1)), Size(1920, 1086)) << offset;
        EXPECT_EQ(Probe(Cropped(0, 1, 0, offset)), Size(1918, 1088)) << offset;
    }
}

TEST(H264Size, LeftAndTopOffsetsChangeNothing)
{
    for (const std::uint32_t offset : {1U, 2U, 7U, 8U, 100U})
    {
        EXPECT_EQ(Probe(Cropped(offset, 0, 0, 0)), Size(1920, 1088));
        EXPECT_EQ(Probe(Cropped(0, 0, offset, 0)), Size(1920, 1088));
        EXPECT_EQ(Probe(Cropped(offset, 2, offset, 4)), Size(1916, 1080));
    }
}

TEST(H264Size, TheCroppingUnitIs2WhateverTheChromaFormat)
{
    for (const std::uint32_t format : {0U, 1U, 2U, 3U})
    {
        ChromaFields chroma;
        chroma.format = format;
        EXPECT_EQ(Probe(WithChroma(122, chroma)), kTold) << format;
    }
}

TEST(H264Size, OffsetsWithoutTheFlagAreNotRead)
{
    Sps sps;
    sps.tail = BitWriter().Ue(0).Ue(3).Ue(0).Ue(4);
    EXPECT_EQ(Probe(sps), Size(1920, 1088));
}

TEST(H264Size, WhatFollowsTheOffsetsIsNotRead)
{
    for (const char* tail : {"", "0", "1", "1 1 1111 1111 0000 0000", "1111 0000 0001 0101"})
    {
        Sps sps = Cropped(0, 3, 0, 4);
        sps.tail = BitWriter().Bits(tail);
        EXPECT_EQ(Probe(sps), kTold);
    }
}

TEST(H264Size, ExactlyFourProfilesHoldTheChromaFields)
{
    const std::set<std::uint32_t> profiles = {100, 110, 122, 144};
    for (std::uint32_t profile = 0; profile < 256; ++profile)
    {
        Sps sps = Cropped(0, 3, 0, 4);
        sps.profile = profile;
        if (profiles.count(profile) == 1)
        {
            EXPECT_NE(Probe(sps), kTold) << profile;
            EXPECT_EQ(Probe(WithChroma(profile, {})), kTold) << profile;
        }
        else
        {
            EXPECT_EQ(Probe(sps), kTold) << profile;
            EXPECT_NE(Probe(WithChroma(profile, {})), kTold) << profile;
        }
    }
}

// Bits behind seq_parameter_set_id:  00100 0 1 1 0 0 1  011  010  0  0000001111000  0000001000100
// ... as the standard means them: format 3, -, depths 0 and 0, -, -, frame number 0, order type 2,
// references 1, no gaps, width 119, height 67.
// As they are read here: frame number 00100, order type 011 = 2, references 00101 = 4, gaps 1,
// width 010 = 1, height 0000000 1 1110000 = 239, four flags of 0.
TEST(H264Size, AHigh444PredictiveStreamIsReadFromTheWrongBits)
{
    Sps sps = Cropped(0, 0, 0, 8);
    sps.profile = 244;
    sps.chroma = ChromaFields();
    sps.chroma->format = 3;
    sps.pictureOrder = BitWriter().Ue(2);
    sps.referenceFrames = 1;
    EXPECT_EQ(Probe(sps), Size(32, 7680));
}

TEST(H264Size, ConstraintsLevelAndIdAreReadOver)
{
    for (const std::uint32_t id : {0U, 1U, 31U, 255U, 100000U})
    {
        for (const std::uint32_t byte : {0x00U, 0x01U, 0x80U, 0xFFU})
        {
            Sps sps = Cropped(0, 3, 0, 4);
            sps.id = id;
            sps.constraints = byte;
            sps.level = byte ^ 0xFF;
            EXPECT_EQ(Probe(sps), kTold);
        }
    }
}

TEST(H264Size, OnlyChromaFormat3HasTheResidualColourFlag)
{
    for (const std::uint32_t format : {0U, 1U, 2U, 3U, 4U, 5U, 300U})
    {
        ChromaFields chroma;
        chroma.format = format;
        EXPECT_EQ(Probe(WithChroma(100, chroma)), kTold) << format;
    }
}

TEST(H264Size, DepthsAndTheLosslessFlagAreReadOver)
{
    for (const std::uint32_t depth : {0U, 2U, 6U, 77U})
    {
        ChromaFields chroma;
        chroma.lumaDepthMinus8 = depth;
        chroma.chromaDepthMinus8 = depth + 1;
        chroma.isLossless = 1;
        EXPECT_EQ(Probe(WithChroma(110, chroma)), kTold) << depth;
    }
}

TEST(H264Size, AScalingMatrixHasEightFlags)
{
    EXPECT_EQ(Probe(WithScaling(BitWriter().Bits("0000 0000"))), kTold);
}

TEST(H264Size, AScalingMatrixHasEightFlagsIn444Too)
{
    EXPECT_EQ(Probe(WithScaling(BitWriter().Bits("0000 0000"), 3)), kTold);
    EXPECT_NE(Probe(WithScaling(BitWriter().Bits("0000 0000 0000"), 3)), kTold);
}

TEST(H264Size, AnyOfTheEightListsMayBePresent)
{
    for (unsigned present = 0; present < 256; ++present)
    {
        BitWriter lists;
        for (int i = 0; i < 8; ++i)
        {
            const unsigned flag = present >> i & 1;
            lists.Bits(flag, 1);
            if (flag == 1)
            {
                lists.Append(FullList(i < 6 ? 16 : 64));
            }
        }
        EXPECT_EQ(Probe(WithScaling(lists)), kTold) << present;
        EXPECT_EQ(Probe(WithScaling(lists, 3)), kTold) << present;
    }
}

TEST(H264Size, AListEndsWhereItsNextScaleIsZero)
{
    for (int stop = 0; stop < 16; ++stop)
    {
        BitWriter list;
        for (int i = 0; i < stop; ++i)
        {
            list.Se(2);
        }
        list.Se(-8 - 2 * stop);
        EXPECT_EQ(
            Probe(WithScaling(BitWriter().Bits("1").Append(list).Bits("000 001").Se(-8).Bits("0"))),
            kTold)
            << stop;
    }
}

// 8 + 248 + 256 and 8 - 520 + 256 are multiples of 256; 8 - 1000 + 256 leaves -224, and with 1000
// the next is 8 again.
TEST(H264Size, TheNextScaleIsARemainderModulo256)
{
    EXPECT_EQ(Probe(WithScaling(BitWriter().Bits("1").Se(248).Bits("000 0000"))), kTold);
    EXPECT_EQ(Probe(WithScaling(BitWriter().Bits("1").Se(-520).Bits("000 0000"))), kTold);
    EXPECT_EQ(Probe(WithScaling(BitWriter().Bits("1").Se(-1000).Se(-32).Bits("000 0000"))), kTold);
    EXPECT_EQ(Probe(WithScaling(BitWriter().Bits("1").Se(-1000).Se(1000).Se(-8).Bits("000 0000"))),
              kTold);
}

TEST(H264Size, DeltasOfAnySizeAreTaken)
{
    const BitWriter greatest = BitWriter().Se(0x7FFFFFFF);  // leaves 7, for 2^31 is a multiple
    EXPECT_EQ(Probe(WithScaling(BitWriter().Bits("1").Append(greatest).Se(-7).Bits("000 0000"))),
              kTold);
    const BitWriter least = BitWriter().Bits(0, 32).Bits("1").Bits(0xFFFFFFFF, 32);
    EXPECT_EQ(Probe(WithScaling(BitWriter().Bits("1").Append(least).Se(-8).Bits("000 0000"))),
              kTold);
}

TEST(H264Size, EveryPictureOrderTypeHasItsFields)
{
    EXPECT_EQ(Probe(WithPictureOrder(BitWriter().Ue(0).Ue(12))), kTold);
    EXPECT_EQ(Probe(WithPictureOrder(Cycle(0, 0))), kTold);
    for (const std::uint32_t type : {2U, 3U, 4U, 1000U})
    {
        EXPECT_EQ(Probe(WithPictureOrder(BitWriter().Ue(type))), kTold);
    }
}

TEST(H264Size, ACycleHasAsManyEntriesAsItSays)
{
    for (const int count : {1, 2, 17, 255, 256, 257, 300, 100000})
    {
        EXPECT_EQ(Probe(WithPictureOrder(Cycle(static_cast<std::uint32_t>(count), count))), kTold)
            << count;
    }
}

TEST(H264Size, ACycleCountPastTheRangeOfASignedNumberHasNoEntries)
{
    for (const std::uint32_t count : {0x80000000U, 0xFFFFFFFDU})
    {
        EXPECT_EQ(Probe(WithPictureOrder(Cycle(count, 0))), kTold) << count;
    }
}

TEST(H264Size, ACycleLongerThanTheStreamEndsWithIt)
{
    for (const std::uint32_t count : {1000U, 0x7FFFFFFFU})
    {
        EXPECT_EQ(Probe(WithPictureOrder(Cycle(count, 0))), kOfNothing) << count;
        EXPECT_EQ(Probe(WithPictureOrder(Cycle(count, 300))), kOfNothing) << count;
    }
}

TEST(H264Size, OtherFieldsAreReadOver)
{
    for (const std::uint32_t value : {0U, 1U, 12U, 16U, 5000U})
    {
        for (const int flag : {0, 1})
        {
            Sps sps = Cropped(0, 3, 0, 4);
            sps.maxFrameNumberMinus4 = value;
            sps.referenceFrames = value;
            sps.areGapsAllowed = flag;
            sps.isDirect8x8 = 1 - flag;
            EXPECT_EQ(Probe(sps), kTold);
        }
    }
}

TEST(H264Size, SizesAreComputedIn32Bits)
{
    Sps sps;
    // 2^32 - 1 macroblocks: 16 pixels short of 2^36.
    sps.widthInMbsMinus1 = BitWriter().Ue(0xFFFFFFFE - 1).Bits("");
    sps.heightInMapUnitsMinus1 = BitWriter().Bits(0, 32).Bits("1").Bits(0xFFFFFFFF, 32);
    EXPECT_EQ(Probe(sps), Size(-32, 0));
    sps.cropping = Cropping{0, 7, 0, 7};
    EXPECT_EQ(Probe(sps), Size(-46, -14));
    sps.widthInMbsMinus1 = BitWriter().Ue(0x07FFFFFF);
    sps.heightInMapUnitsMinus1 = BitWriter().Ue(0x03FFFFFF);
    sps.isFramesOnly = false;
    sps.cropping.reset();
    EXPECT_EQ(Probe(sps), Size(INT_MIN, INT_MIN));
}

TEST(H264Size, TheStartCodeIsNotLookedAt)
{
    for (const unsigned char byte : {0x00, 0x01, 0x7F, 0xFF})
    {
        Bytes unit = SpsUnit(Cropped(0, 3, 0, 4));
        std::fill_n(unit.begin(), 4, byte);
        EXPECT_EQ(Probe(unit), kTold);
    }
}

// One that comes later ends the unit before it instead.
TEST(H264Size, ThereIsNoSearchForAStartCode)
{
    Bytes unit = SpsUnit(Cropped(0, 3, 0, 4));
    unit.insert(unit.begin(), {0xFF, 0xFF, 0xFF, 0xFF});
    EXPECT_EQ(Probe(unit), kOfNothing);
}

TEST(H264Size, TheUnitHeaderIsNotLookedAt)
{
    const Bytes payload = Escaped(SpsBits(Cropped(0, 3, 0, 4)).ToBytes());
    for (int header = 0; header < 256; ++header)
    {
        EXPECT_EQ(Probe(UnitOf(payload, static_cast<unsigned char>(header))), kTold);
    }
}

TEST(H264Size, NoContentIs16By32)
{
    const Bytes unit = SpsUnit(Sps());
    EXPECT_EQ(Probe(unit, 0), kOfNothing);
    EXPECT_EQ(Probe(unit, 1), kOfNothing);
    for (const int len : {-1, -4, -5, INT_MIN})
    {
        const PictureSize size = ReadH264Size(unit.data(), len);
        EXPECT_EQ(Size(size.width, size.height), kOfNothing) << len;
    }
    for (const int len : {INT_MIN, -1, 0, 1, 100, INT_MAX})
    {
        const PictureSize size = ReadH264Size(nullptr, len);
        EXPECT_EQ(Size(size.width, size.height), kOfNothing) << len;
    }
}

TEST(H264Size, EmulationPreventionIsRemoved)
{
    // Zeros enough for 00 00 wherever the bytes begin: in the offsets, the width, the cycle.
    Sps sps = WithPictureOrder(BitWriter().Ue(1).Bits("0").Se(0x10000).Se(0x1000000).Ue(1).Se(-77));
    const Bytes payload = SpsBits(sps).ToBytes();
    ASSERT_GT(Escaped(payload).size(), payload.size() + 1);
    EXPECT_EQ(Probe(sps), kTold);
    EXPECT_NE(Probe(UnitOf(Escaped(Escaped(payload)))), kTold);
}

// Five zeros: two and a 03, two and a 03, one.
TEST(H264Size, TheByteAfterAnEmulationPreventionByteIsExaminedAnew)
{
    BitWriter bits;
    bits.Bits(77, 8).Bits(0, 16).Ue(0xFFFFFF).Ue(0).Ue(2).Ue(0).Bits("0").Ue(9).Ue(5);
    bits.Bits("1 1 0 1");
    const Bytes escaped = Escaped(bits.ToBytes());
    const Bytes start = {77, 0, 0, 3, 0, 0, 3, 0, 0x80};
    ASSERT_TRUE(std::equal(start.begin(), start.end(), escaped.begin()));
    EXPECT_EQ(Probe(UnitOf(escaped)), Size(160, 96));
}

TEST(H264Size, A03ThatFollowsOneZeroOrNoneStays)
{
    // The level is 3 behind one zero, or the constraints are.
    Sps sps = Cropped(0, 3, 0, 4);
    sps.constraints = 0;
    sps.level = 3;
    EXPECT_EQ(Probe(sps), kTold);
    sps.constraints = 3;
    sps.level = 0;
    EXPECT_EQ(Probe(sps), kTold);
}

TEST(H264Size, AStartCodeEndsTheUnit)
{
    Bytes unit = SpsUnit(Cropped(0, 3, 0, 4));
    for (const unsigned char byte : {0x68, 0xFF, 0x00})
    {
        Bytes longer = unit;
        longer.insert(longer.end(), {0, 0, 0, 1, byte, 0xFF, 0xFF, 0xFF, 0xFF});
        EXPECT_EQ(Probe(longer), kTold);
    }
}

TEST(H264Size, NothingBehindAStartCodeIsRead)
{
    const Bytes unit = SpsUnit(Cropped(0, 3, 0, 4));
    for (std::size_t kept = 5; kept < unit.size(); ++kept)
    {
        Bytes cut(unit.begin(), unit.begin() + static_cast<std::ptrdiff_t>(kept));
        Bytes ended = cut;
        ended.insert(ended.end(), {0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF});
        EXPECT_EQ(Probe(ended), Probe(cut)) << kept;
    }
}

TEST(H264Size, AStartCodeRightBehindTheHeaderLeavesNothing)
{
    EXPECT_EQ(Probe(UnitOf({0, 0, 1, 77, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})), kOfNothing);
}

// The width's code in what is left behind the first fields: zeros, then what the end is.
TEST(H264Size, APatternAtTheVeryEndCountsIfItIsComplete)
{
    BitWriter bits;
    bits.Bits(77, 8).Bits(0, 8).Bits(40, 8).Ue(0).Ue(0).Ue(2).Ue(0).Bits("0");
    const Bytes start = bits.ToBytes();
    const auto with = [&start](const Bytes& end)
    {
        Bytes payload = start;
        payload.insert(payload.end(), end.begin(), end.end());
        return Probe(UnitOf(payload));
    };
    // start ends in one bit of padding, a zero. Zeros to the end: all but the last count.
    ASSERT_EQ(bits.Size() % 8, 7U);
    EXPECT_EQ(with({0, 0}), Size(65536 * 16, 32));          // 17 zeros, 16 count: 2^16 - 1
    EXPECT_EQ(with({0, 0, 3}), Size(65536 * 16, 32));       // 03 dropped
    EXPECT_EQ(with({0, 0, 1}), Size(16, 32));               // all dropped: one zero, none counts
    EXPECT_EQ(with({0, 0, 2}), Size(0x00800000 * 16, 32));  // 23 zeros, a 1, a bit: 2^23 - 1
    EXPECT_EQ(with({0, 3}), Size(0x8000 * 16 + 0x4000 * 16, 32));  // 15 zeros, 1, 1: 3/2 of 2^15
    EXPECT_EQ(with({0, 1}), Size(65536 * 16, 32));                 // 16 zeros and the 1
}

TEST(H264Size, AParameterSetTruncatedAtEveryLengthReadsAsZerosFromThere)
{
    Sps cycled = Cropped(1, 3, 2, 4);
    cycled.pictureOrder = Cycle(40, 40);
    BitWriter lists =
        BitWriter().Bits("1").Append(FullList(16)).Bits("000001").Append(FullList(64));
    lists.Bits("0");
    for (const Bytes& unit : {SpsUnit(Cropped(0, 3, 0, 4)), SpsUnit(cycled),
                              SpsUnit(WithScaling(lists)), SpsUnit(WithChroma(122, {}))})
    {
        ASSERT_EQ(Probe(unit), kTold);
        for (std::size_t len = 0; len + 4 <= unit.size(); ++len)
        {
            EXPECT_EQ(Probe(unit, len), H264SizeModel::Size(unit.data(), static_cast<int>(len)));
        }
    }
}

// 4D 00 28, then 1 1 1 011 00101 0 0000001111000 0000001000100 1 1 1 1 00100 1 00101 0 1:
// 3 bytes, 12 bits and from bit 36 on the width, from 49 on the height, from 62 on the flags.
TEST(H264Size, ATruncatedParameterSetGivesWhatItHolds)
{
    const Bytes unit = SpsUnit(Cropped(0, 3, 0, 4));
    EXPECT_EQ(Probe(unit, 4), Size(16, 32));
    // The width's code is cut behind four of its zeros, the last of which does not count.
    EXPECT_EQ(Probe(unit, 6), Size(8 * 16, 32));
    // Bits up to 48: all but the last of the width's, a 0. The height is absent.
    EXPECT_EQ(Probe(unit, 7), Size(1920, 32));
    // Bits up to 56: all but one of the height's seven zeros count, nothing is left behind the 1.
    EXPECT_EQ(Probe(unit, 8), Size(1920, 64 * 32));
}

TEST(H264Size, BytesPastTheLengthAreAbsent)
{
    const Bytes unit = SpsUnit(Cropped(0, 3, 0, 4));
    for (const unsigned char byte : {0x00, 0x01, 0x03, 0xFF})
    {
        for (std::size_t len = 0; len + 4 <= unit.size(); ++len)
        {
            Bytes longer(unit.begin(), unit.begin() + static_cast<std::ptrdiff_t>(len + 4));
            longer.insert(longer.end(), 40, byte);
            const PictureSize size = ReadH264Size(longer.data(), static_cast<int>(len));
            EXPECT_EQ(Size(size.width, size.height), Probe(unit, len));
        }
    }
}

namespace
{

class H264SizeAgainstModel : public testing::Test
{
protected:
    unsigned Below(unsigned limit) { return static_cast<unsigned>(m_random() % limit); }

    void Compare(const Bytes& unit)
    {
        const int len = static_cast<int>(unit.size()) - 4;
        ASSERT_EQ(Probe(unit), H264SizeModel::Size(unit.data(), len))
            << testing::PrintToString(unit);
    }

    // Bytes with as many zeros, ones and threes as patterns are made of.
    Bytes RandomBytes(std::size_t size)
    {
        Bytes bytes(size);
        const unsigned kind = Below(3);
        for (unsigned char& byte : bytes)
        {
            const unsigned choice = Below(8);
            byte = static_cast<unsigned char>(kind == 0 || choice >= 6 ? Below(256)
                                              : choice < 4             ? 0
                                                                       : Below(4));
        }
        return bytes;
    }

    BitWriter AnyCode()
    {
        if (Below(16) == 0)
        {
            return BitWriter().Bits(0, static_cast<int>(Below(34))).Bits(m_random(), 33);
        }
        return BitWriter().Ue(Below(2U << Below(12)));
    }

    Sps RandomSps()
    {
        constexpr unsigned kProfiles[] = {66, 77, 88, 100, 110, 122, 144, 244, 44, 83, 118, 128};
        Sps sps;
        sps.profile = kProfiles[Below(12)];
        sps.constraints = Below(256);
        sps.level = Below(64);
        sps.id = Below(4);
        if (sps.profile >= 100 || Below(8) == 0)
        {
            sps.chroma = ChromaFields{Below(5), Below(4), Below(4), static_cast<int>(Below(2)),
                                      RandomScaling()};
        }
        sps.maxFrameNumberMinus4 = Below(13);
        sps.pictureOrder = RandomPictureOrder();
        sps.referenceFrames = Below(17);
        sps.areGapsAllowed = static_cast<int>(Below(2));
        sps.widthInMbsMinus1 = AnyCode();
        sps.heightInMapUnitsMinus1 = AnyCode();
        sps.isFramesOnly = Below(2) == 0;
        sps.isDirect8x8 = static_cast<int>(Below(2));
        if (Below(4) != 0)
        {
            sps.cropping = Cropping{Below(12), Below(12), Below(12), Below(12)};
        }
        return sps;
    }

    BitWriter RandomScaling()
    {
        BitWriter bits;
        bits.Bits(Below(2), 1);
        for (int i = 0; i < 8; ++i)
        {
            const unsigned flag = Below(2);
            bits.Bits(flag, 1);
            for (int j = 0; flag == 1 && j < (i < 6 ? 16 : 64); ++j)
            {
                bits.Se(Below(30) == 0 ? -8 : static_cast<int>(Below(7)) - 3);
            }
        }
        return bits;
    }

    BitWriter RandomPictureOrder()
    {
        const unsigned type = Below(4);
        if (type == 1)
        {
            const auto count = static_cast<int>(Below(20) == 0 ? Below(600) : Below(10));
            return Cycle(static_cast<std::uint32_t>(count), count);
        }
        BitWriter bits;
        bits.Ue(type);
        return type == 0 ? bits.Ue(Below(13)) : bits;
    }

    std::mt19937 m_random{20240611};
};

}  // namespace

TEST_F(H264SizeAgainstModel, OnRandomBytes)
{
    for (int i = 0; i < 200000; ++i)
    {
        Compare(UnitOf(RandomBytes(Below(48))));
    }
}

TEST_F(H264SizeAgainstModel, OnRandomBytesBehindAProfileWithChromaFields)
{
    for (int i = 0; i < 200000; ++i)
    {
        Bytes payload = RandomBytes(3 + Below(60));
        constexpr unsigned char kProfiles[] = {100, 110, 122, 144};
        payload[0] = kProfiles[Below(4)];
        Compare(UnitOf(payload));
    }
}

TEST_F(H264SizeAgainstModel, OnRandomParameterSetsWholeMutatedAndTruncated)
{
    for (int i = 0; i < 80000; ++i)
    {
        Bytes unit = SpsUnit(RandomSps());
        Compare(unit);
        for (unsigned changes = 1 + Below(4); changes > 0; --changes)
        {
            unit[4 + Below(static_cast<unsigned>(unit.size()) - 4)] ^=
                static_cast<unsigned char>(1U << Below(8));
        }
        Compare(unit);
        unit.resize(4 + Below(static_cast<unsigned>(unit.size()) - 3));
        Compare(unit);
    }
}
