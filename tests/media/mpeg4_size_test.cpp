#include "media/mpeg4_size.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <random>

#include "mpeg4_size_model.h"
#include "mpeg4_streams.h"
#include "probe_outcome.h"

namespace
{

using namespace ostrel::media;
using namespace ostrel::test;

Outcome Probe(const Bytes& stream, std::size_t size)
{
    return ProbeExactly(FindMpeg4Size, stream, size);
}

Outcome Probe(const Bytes& stream)
{
    return Probe(stream, stream.size());
}

Outcome Probe(const Vol& vol)
{
    return Probe(VolStream(vol));
}

Outcome Modelled(const Bytes& stream, std::size_t size)
{
    const Mpeg4SizeModel::Outcome outcome =
        Mpeg4SizeModel::Walk(stream.data(), static_cast<int>(size));
    return {outcome.size.has_value(), outcome.size ? outcome.size->first : 0,
            outcome.size ? outcome.size->second : 0, outcome.isReported};
}

int BitsIn(unsigned value)
{
    int bits = 0;
    while (1U << bits <= value)
    {
        ++bits;
    }
    return bits;
}

// All that is optional is there.
Vol FullVol()
{
    Vol vol;
    vol.isIdentified = true;
    vol.aspectRatio = 15;
    vol.hasControlParameters = true;
    vol.vbv = BitWriter().Bits(0x5A5A5A5A5A5A5A5A, 63);
    vol.resolution = 30000;
    vol.increment = BitWriter().Bits(1001, 15);
    return vol;
}

}  // namespace

TEST(Mpeg4Size, ARectangularLayerIsSized)
{
    Vol vol;
    vol.resolution = 30000;
    vol.increment = BitWriter().Bits(1001, 15);
    EXPECT_EQ(Probe(vol), Found(704, 576));
}

TEST(Mpeg4Size, ALayerRightAtTheStartIsSized)
{
    const Bytes stream = VolStream(Vol());
    EXPECT_EQ(
        Probe(Bytes(stream.end() - static_cast<std::ptrdiff_t>(VolBits(Vol()).ToBytes().size()) - 4,
                    stream.end())),
        Found(704, 576));
}

TEST(Mpeg4Size, All13BitsOfASizeCount)
{
    Vol vol;
    for (int bit = 0; bit < 13; ++bit)
    {
        vol.width = 1U << bit;
        vol.height = 8191 - vol.width;
        EXPECT_EQ(Probe(vol), Found(1 << bit, 8191 - (1 << bit)));
    }
    vol.width = 8191;
    vol.height = 0;
    EXPECT_EQ(Probe(vol), Found(8191, 0));
}

TEST(Mpeg4Size, EveryOptionalFieldIsPassedOver)
{
    for (const bool isFillerSet : {false, true})
    {
        Vol vol;
        vol.isFillerSet = isFillerSet;
        EXPECT_EQ(Probe(vol), Found(704, 576));
        vol.isIdentified = true;
        EXPECT_EQ(Probe(vol), Found(704, 576));
        vol.aspectRatio = 15;
        EXPECT_EQ(Probe(vol), Found(704, 576));
        vol.hasControlParameters = true;
        EXPECT_EQ(Probe(vol), Found(704, 576));
        vol.vbv = BitWriter().Bits(isFillerSet ? ~std::uint64_t{0} : 0, 63);
        EXPECT_EQ(Probe(vol), Found(704, 576));
    }
    EXPECT_EQ(Probe(FullVol()), Found(704, 576));
}

TEST(Mpeg4Size, OnlyAspectRatio15HasItsOwnFields)
{
    for (unsigned ratio = 0; ratio < 16; ++ratio)
    {
        Vol vol;
        vol.aspectRatio = ratio;
        EXPECT_EQ(Probe(vol), Found(704, 576)) << ratio;
    }
}

TEST(Mpeg4Size, MarkersAreNotLookedAt)
{
    Vol vol = FullVol();
    vol.marker = 0;
    EXPECT_EQ(Probe(vol), Found(704, 576));
}

// The last 16 of the standard's 79 bits are 0 ... 0 1; then come shape 00, marker 1, resolution
// 0000000000011001, marker 1, 0, marker 1, width 0001011000000, marker 1 ...
// Read 16 bits early: shape 00, marker 0, resolution 0000000000001 001, marker 0, 0, marker 0,
// width 0000000011001, marker 1, height 0 1 00010110000.
TEST(Mpeg4Size, AfterStandardVbvParametersTheSizeIsRead16BitsEarly)
{
    Vol vol;
    vol.hasControlParameters = true;
    vol.vbv = BitWriter().Bits(0x7FFFFFFFFFFFFFFF, 63).Bits("0000 0000 0000 0001");
    EXPECT_EQ(Probe(vol), Found(25, 2048 + 176));
}

TEST(Mpeg4Size, TheIncrementHasTheBitLengthOfTheResolution)
{
    for (unsigned resolution = 0; resolution < 65536; ++resolution)
    {
        Vol vol;
        vol.resolution = resolution;
        vol.increment = BitWriter().Bits(resolution, BitsIn(resolution));
        ASSERT_EQ(Probe(vol), Found(704, 576)) << resolution;
    }
    EXPECT_EQ(BitsIn(0), 0);
    EXPECT_EQ(BitsIn(1), 1);
    EXPECT_EQ(BitsIn(3), 2);
    EXPECT_EQ(BitsIn(16), 5);
    EXPECT_EQ(BitsIn(31), 5);
    EXPECT_EQ(BitsIn(32768), 16);
}

// The standard's increment at a resolution of 16 has 4 bits. One more is taken here, so each number
// loses its first bit, a 0, and ends with the marker.
TEST(Mpeg4Size, AtAResolutionOfAPowerOfTwoTheSizeIsReadOneBitLate)
{
    Vol vol;
    vol.resolution = 16;
    vol.increment = BitWriter().Bits(1, 4);
    EXPECT_EQ(Probe(vol), Found(704 * 2 + 1, 576 * 2 + 1));
    vol.marker = 0;
    EXPECT_EQ(Probe(vol), Found(704 * 2, 576 * 2));
}

TEST(Mpeg4Size, AVariableVopRateHasNoIncrement)
{
    for (const unsigned resolution : {1U, 16U, 25U, 90000U % 65536})
    {
        Vol vol;
        vol.resolution = resolution;
        EXPECT_EQ(Probe(vol), Found(704, 576));
    }
}

TEST(Mpeg4Size, OtherShapesAreReportedUnsized)
{
    for (const unsigned shape : {1U, 2U, 3U})
    {
        Vol vol = FullVol();
        vol.shape = shape;
        Bytes stream = VolStream(vol);
        EXPECT_EQ(Probe(stream), kNothingReported);
        stream.insert(stream.end(), 20, 0x5A);
        EXPECT_EQ(Probe(stream), kNothingReported);
    }
}

TEST(Mpeg4Size, OnlyTheStartCode20IsFound)
{
    for (int code = 0; code < 256; ++code)
    {
        EXPECT_EQ(Probe(VolStream(Vol(), static_cast<unsigned char>(code))),
                  code == 0x20 ? Found(704, 576) : kNothingSilent)
            << code;
    }
}

TEST(Mpeg4Size, TheFirstStartCodeCounts)
{
    Vol other;
    other.width = 352;
    other.height = 288;
    Bytes stream = VolStream(other, 0x21);
    for (const Vol& vol : {Vol(), other})
    {
        const Bytes part = VolStream(vol);
        stream.insert(stream.end(), part.begin(), part.end());
    }
    EXPECT_EQ(Probe(stream), Found(704, 576));
}

TEST(Mpeg4Size, ALaterStartCodeDoesNotCountWhenTheFirstGivesNothing)
{
    Vol shaped;
    shaped.shape = 1;
    Bytes stream = VolStream(shaped);
    const Bytes part = VolStream(Vol());
    stream.insert(stream.end(), part.begin(), part.end());
    EXPECT_EQ(Probe(stream), kNothingReported);
}

TEST(Mpeg4Size, MoreZerosBeforeTheStartCodeDoNotHideIt)
{
    for (const std::size_t count : {1, 2, 3, 50})
    {
        Bytes stream = VolStream(Vol());
        stream.insert(stream.begin() + 14, count, 0);
        EXPECT_EQ(Probe(stream), Found(704, 576));
    }
}

TEST(Mpeg4Size, NothingAtAllIsSilent)
{
    const Bytes stream = VolStream(Vol());
    for (const int len : {0, -1, INT_MIN})
    {
        EXPECT_FALSE(FindMpeg4Size(stream.data(), len).isReported);
        EXPECT_FALSE(FindMpeg4Size(stream.data(), len).size);
    }
    for (const int len : {INT_MIN, -1, 0, 100, INT_MAX})
    {
        EXPECT_FALSE(FindMpeg4Size(nullptr, len).isReported);
        EXPECT_FALSE(FindMpeg4Size(nullptr, len).size);
    }
}

// The stream's start code ends behind 18 bytes. The size ends one marker and one bit before the
// end.
TEST(Mpeg4Size, AStreamTruncatedAtEveryLengthEndsAsStated)
{
    for (const Vol& vol : {Vol(), FullVol()})
    {
        const BitWriter bits = VolBits(vol);
        const Bytes stream = VolStream(bits);
        const std::size_t complete = 18 + (bits.Size() - 2 + 7) / 8;
        for (std::size_t size = 0; size <= stream.size(); ++size)
        {
            EXPECT_EQ(Probe(stream, size), size < 18         ? kNothingSilent
                                           : size < complete ? kNothingReported
                                                             : Found(704, 576))
                << size;
        }
    }
}

TEST(Mpeg4Size, TheBitsBehindTheSizeMayBeAbsent)
{
    // 8 bytes hold all but the height's last byte's worth; fillers move the end to every bit.
    for (int filler = 0; filler < 8; ++filler)
    {
        Vol vol;
        vol.resolution = filler == 0 ? 0 : 1U << (filler - 1);
        vol.increment = BitWriter().Bits(0, filler);
        const BitWriter bits = VolBits(vol);
        const Bytes stream = VolStream(bits);
        const std::size_t complete = 18 + (bits.Size() - 2 + 7) / 8;
        EXPECT_EQ(Probe(stream, complete), Found(704, 576)) << filler;
        EXPECT_EQ(Probe(stream, complete - 1), kNothingReported) << filler;
    }
}

TEST(Mpeg4Size, BytesPastTheLengthAreAbsent)
{
    const Bytes stream = VolStream(FullVol());
    for (const unsigned char byte : {0x00, 0x20, 0xFF})
    {
        for (std::size_t size = 0; size <= stream.size(); ++size)
        {
            Bytes longer = stream;
            longer.insert(longer.end(), 40, byte);
            const Mpeg4SizeResult result = FindMpeg4Size(longer.data(), static_cast<int>(size));
            EXPECT_EQ(result.size.has_value(), Probe(stream, size).isFound);
            EXPECT_EQ(result.isReported, Probe(stream, size).isReported);
        }
    }
}

namespace
{

class Mpeg4SizeAgainstModel : public testing::Test
{
protected:
    unsigned Below(unsigned limit) { return static_cast<unsigned>(m_random() % limit); }

    void Compare(const Bytes& stream)
    {
        ASSERT_EQ(Probe(stream), Modelled(stream, stream.size())) << testing::PrintToString(stream);
    }

    Vol RandomVol()
    {
        Vol vol;
        vol.isIdentified = Below(2) == 0;
        vol.aspectRatio = Below(2) == 0 ? 15 : Below(16);
        vol.hasControlParameters = Below(2) == 0;
        if (Below(2) == 0)
        {
            vol.vbv = BitWriter().Bits(m_random(), 63).Bits(m_random(), Below(2) == 0 ? 16 : 0);
        }
        vol.shape = Below(4) == 0 ? Below(4) : 0;
        vol.resolution = Below(1U << (1 + Below(16)));
        if (Below(2) == 0)
        {
            vol.increment = BitWriter().Bits(m_random(), BitsIn(vol.resolution));
        }
        vol.width = Below(8192);
        vol.height = Below(8192);
        vol.marker = Below(8) == 0 ? 0 : 1;
        vol.isFillerSet = Below(2) == 0;
        return vol;
    }

    std::mt19937_64 m_random{20240612};
};

}  // namespace

TEST_F(Mpeg4SizeAgainstModel, OnRandomBytesBehindAStartCode)
{
    for (int i = 0; i < 400000; ++i)
    {
        Bytes stream = {0, 0, 1, 0x20};
        for (unsigned size = Below(40); size > 0; --size)
        {
            stream.push_back(static_cast<unsigned char>(Below(256)));
        }
        Compare(stream);
    }
}

TEST_F(Mpeg4SizeAgainstModel, OnTheBytesThatStartCodesAreMadeOf)
{
    constexpr unsigned char kBytes[] = {0, 0, 0, 1, 1, 0x20, 0x21, 0xFF};
    for (int i = 0; i < 300000; ++i)
    {
        Bytes stream;
        for (unsigned size = Below(60); size > 0; --size)
        {
            stream.push_back(kBytes[Below(8)]);
        }
        Compare(stream);
    }
}

TEST_F(Mpeg4SizeAgainstModel, OnRandomLayersWholeMutatedAndTruncated)
{
    for (int i = 0; i < 200000; ++i)
    {
        Bytes stream = VolStream(RandomVol());
        Compare(stream);
        for (unsigned changes = 1 + Below(4); changes > 0; --changes)
        {
            stream[Below(static_cast<unsigned>(stream.size()))] ^=
                static_cast<unsigned char>(1U << Below(8));
        }
        Compare(stream);
        stream.resize(Below(static_cast<unsigned>(stream.size()) + 1));
        Compare(stream);
    }
}
