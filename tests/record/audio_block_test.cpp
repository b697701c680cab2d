#include "record/audio_block.h"

#include <gtest/gtest.h>

#include <climits>

namespace ostrel::record
{
namespace
{

TEST(AudioBlock, OffersAllOfItAtFirst)
{
    const AudioBlock block(3200, 4);
    EXPECT_EQ(block.Offset(), 0U);
    EXPECT_EQ(block.Remaining(), 3200);
    EXPECT_EQ(block.Samples(), 800);
}

TEST(AudioBlock, CountsWholeSamplesOnly)
{
    EXPECT_EQ(AudioBlock(3203, 4).Samples(), 800);
    EXPECT_EQ(AudioBlock(3, 4).Samples(), 0);
    EXPECT_EQ(AudioBlock(INT_MAX, 65535).Samples(), INT_MAX / 65535);
}

TEST(AudioBlock, IsDoneWhenAllIsTaken)
{
    AudioBlock block(3200, 4);
    EXPECT_EQ(block.Take(3200), AudioBlock::Next::Done);
    EXPECT_EQ(block.Remaining(), 3200);
}

TEST(AudioBlock, IsDoneWhenMoreThanAllIsSaidToBeTaken)
{
    AudioBlock block(3200, 4);
    EXPECT_EQ(block.Take(INT_MAX), AudioBlock::Next::Done);
    EXPECT_EQ(block.Offset(), 0U);
}

TEST(AudioBlock, OffersWhatAShortWriteLeaves)
{
    AudioBlock block(3200, 4);
    EXPECT_EQ(block.Take(1000), AudioBlock::Next::Offer);
    EXPECT_EQ(block.Offset(), 1000U);
    EXPECT_EQ(block.Remaining(), 2200);
    EXPECT_EQ(block.Samples(), 550);
    EXPECT_EQ(block.Take(2199), AudioBlock::Next::Offer);
    EXPECT_EQ(block.Offset(), 3199U);
    EXPECT_EQ(block.Remaining(), 1);
    EXPECT_EQ(block.Samples(), 0);
    EXPECT_EQ(block.Take(1), AudioBlock::Next::Done);
}

TEST(AudioBlock, IsStuckWhenNothingIsTaken)
{
    AudioBlock block(3200, 4);
    EXPECT_EQ(block.Take(0), AudioBlock::Next::Stuck);
    EXPECT_EQ(block.Take(-1), AudioBlock::Next::Stuck);
    EXPECT_EQ(block.Offset(), 0U);
    EXPECT_EQ(block.Remaining(), 3200);
}

TEST(AudioBlock, OfNoBytesIsDoneAtOnce)
{
    AudioBlock block(0, 4);
    EXPECT_EQ(block.Samples(), 0);
    EXPECT_EQ(block.Take(0), AudioBlock::Next::Done);
}

}  // namespace
}  // namespace ostrel::record
