#include "media/bit_reader.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "bit_writer.h"

namespace
{

using namespace ostrel::media;
using namespace ostrel::test;

// Bytes and a reader over exactly these.
struct Source
{
    explicit Source(const BitWriter& bits) : Source(bits.ToBytes()) {}
    explicit Source(Bytes content) : bytes(std::move(content)), reader(bytes.data(), bytes.size())
    {
        bytes.shrink_to_fit();
        reader = BitReader(bytes.data(), bytes.size());
    }

    Bytes bytes;
    BitReader reader;
};

std::uint32_t UnsignedIn(const char* bits)
{
    return Source(BitWriter().Bits(bits)).reader.ReadUnsignedExpGolomb();
}

std::int32_t SignedIn(const char* bits)
{
    return Source(BitWriter().Bits(bits)).reader.ReadSignedExpGolomb();
}

}  // namespace

TEST(BitReader, ReadsBitsMostSignificantFirst)
{
    Source source(Bytes{0xA5, 0x80});
    for (const unsigned bit : {1, 0, 1, 0, 0, 1, 0, 1, 1, 0})
    {
        EXPECT_EQ(source.reader.ReadBit(), bit);
    }
}

TEST(BitReader, AssemblesUpTo32BitsAcrossBytes)
{
    Source source(Bytes{0x12, 0x34, 0x56, 0x78, 0x9A});
    EXPECT_EQ(source.reader.ReadBits(4), 0x1U);
    EXPECT_EQ(source.reader.ReadBits(32), 0x23456789U);
    EXPECT_EQ(source.reader.ReadBits(0), 0U);
    EXPECT_EQ(source.reader.ReadBits(4), 0xAU);
}

TEST(BitReader, BitsPastTheEndAreZeroAndConsumeNothing)
{
    Source source(Bytes{0xFF});
    EXPECT_EQ(source.reader.ReadBits(12), 0xFF0U);
    EXPECT_TRUE(source.reader.IsAtEnd());
    EXPECT_EQ(source.reader.BitsLeft(), 0U);
    EXPECT_EQ(source.reader.ReadBits(32), 0U);
    EXPECT_EQ(source.reader.ReadBit(), 0U);
    EXPECT_EQ(source.reader.ReadUnsignedExpGolomb(), 0U);
    EXPECT_EQ(source.reader.ReadSignedExpGolomb(), 0);
}

TEST(BitReader, NothingAtAllReadsAsZero)
{
    BitReader reader(nullptr, 0);
    EXPECT_TRUE(reader.IsAtEnd());
    EXPECT_EQ(reader.ReadBits(32), 0U);
    EXPECT_EQ(reader.ReadUnsignedExpGolomb(), 0U);
}

TEST(BitReader, SkippingStopsAtTheEnd)
{
    Source source(Bytes{0x01, 0x80, 0x00});
    source.reader.Skip(7);
    EXPECT_EQ(source.reader.BitsLeft(), 17U);
    EXPECT_EQ(source.reader.ReadBits(2), 3U);
    source.reader.Skip(0);
    EXPECT_EQ(source.reader.BitsLeft(), 15U);
    source.reader.Skip(100);
    EXPECT_TRUE(source.reader.IsAtEnd());
}

// ITU-T H.264, table 9-2.
TEST(BitReader, ReadsTheUnsignedCodesOfTheStandard)
{
    EXPECT_EQ(UnsignedIn("1"), 0U);
    EXPECT_EQ(UnsignedIn("010"), 1U);
    EXPECT_EQ(UnsignedIn("011"), 2U);
    EXPECT_EQ(UnsignedIn("00100"), 3U);
    EXPECT_EQ(UnsignedIn("00101"), 4U);
    EXPECT_EQ(UnsignedIn("00110"), 5U);
    EXPECT_EQ(UnsignedIn("00111"), 6U);
    EXPECT_EQ(UnsignedIn("0001000"), 7U);
    EXPECT_EQ(UnsignedIn("0001010"), 9U);
}

// ITU-T H.264, table 9-3.
TEST(BitReader, ReadsTheSignedCodesOfTheStandard)
{
    EXPECT_EQ(SignedIn("1"), 0);
    EXPECT_EQ(SignedIn("010"), 1);
    EXPECT_EQ(SignedIn("011"), -1);
    EXPECT_EQ(SignedIn("00100"), 2);
    EXPECT_EQ(SignedIn("00101"), -2);
    EXPECT_EQ(SignedIn("00110"), 3);
    EXPECT_EQ(SignedIn("00111"), -3);
}

TEST(BitReader, CodesFollowOneAnother)
{
    BitWriter bits;
    const std::vector<std::uint32_t> values = {0,     1,      119,         67,         254,
                                               255,   256,    65535,       0xFFFFFU,   0x7FFFFFFFU,
                                               12345, 0x8765, 0xFFFFFFFDU, 0x80000000, 3};
    for (const std::uint32_t value : values)
    {
        bits.Ue(value);
    }
    Source source(bits);
    for (const std::uint32_t value : values)
    {
        EXPECT_EQ(source.reader.ReadUnsignedExpGolomb(), value);
    }
}

TEST(BitReader, SignedCodesFollowOneAnother)
{
    BitWriter bits;
    for (int value = -300; value <= 300; ++value)
    {
        bits.Se(value);
    }
    bits.Se(0x7FFFFFFF).Se(-0x7FFFFFFE);
    Source source(bits);
    for (int value = -300; value <= 300; ++value)
    {
        EXPECT_EQ(source.reader.ReadSignedExpGolomb(), value);
    }
    EXPECT_EQ(source.reader.ReadSignedExpGolomb(), 0x7FFFFFFF);
    EXPECT_EQ(source.reader.ReadSignedExpGolomb(), -0x7FFFFFFE);
}

TEST(BitReader, ACodeOf31ZerosIsTheGreatestThatIsNotWrapped)
{
    Source source(BitWriter().Bits(0, 31).Bits(1, 1).Bits(0x7FFFFFFF, 31).Bits("101"));
    EXPECT_EQ(source.reader.ReadUnsignedExpGolomb(), 0xFFFFFFFEU);
    EXPECT_EQ(source.reader.ReadBits(3), 5U);
}

// A shift by 32 counts as one by 0, so 2^32 - 1 + v is v.
TEST(BitReader, ACodeOf32ZerosIsThe32BitsBehindIt)
{
    for (const std::uint32_t value : {0U, 1U, 0x12345678U, 0xFFFFFFFFU})
    {
        Source source(BitWriter().Bits(0, 32).Bits("1").Bits(value, 32).Bits("101"));
        EXPECT_EQ(source.reader.ReadUnsignedExpGolomb(), value);
        EXPECT_EQ(source.reader.ReadBits(3), 5U);
    }
}

// The count stops at 32 with the 33rd bit, whatever it is.
TEST(BitReader, MoreThan32ZerosCountAs32)
{
    Source source(BitWriter().Bits(0, 33).Bits(0x12345678, 32).Bits("101"));
    EXPECT_EQ(source.reader.ReadUnsignedExpGolomb(), 0x12345678U);
    EXPECT_EQ(source.reader.ReadBits(3), 5U);
}

TEST(BitReader, AZeroThatIsTheVeryLastBitDoesNotCount)
{
    Source one(Bytes{0xFE});
    one.reader.Skip(7);
    EXPECT_EQ(one.reader.ReadUnsignedExpGolomb(), 0U);
    EXPECT_TRUE(one.reader.IsAtEnd());

    // Three zeros, of which two count: 2^2 - 1 and two absent bits.
    Source three(Bytes{0xF8});
    three.reader.Skip(5);
    EXPECT_EQ(three.reader.ReadUnsignedExpGolomb(), 3U);
    EXPECT_TRUE(three.reader.IsAtEnd());
}

TEST(BitReader, ACodeThatTheEndCutsOffGoesOnWithZeros)
{
    // Three zeros and the 1, then 11 of the 3 bits: 2^3 - 1 + 6.
    Source source(Bytes{0xFF, 0xC7});
    source.reader.Skip(10);
    EXPECT_EQ(source.reader.ReadUnsignedExpGolomb(), 13U);
    // Nothing behind the 1: 2^3 - 1.
    Source bare(Bytes{0xF1});
    bare.reader.Skip(4);
    EXPECT_EQ(bare.reader.ReadUnsignedExpGolomb(), 7U);
}
