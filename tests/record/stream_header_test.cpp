#include "record/stream_header.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace ostrel::record
{
namespace
{

TEST(StreamHeader, OfVideoCountsTenThousandthsOfAFrame)
{
    const StreamHeader header = VideoStreamHeader(0x34363248, 25, 704, 576);
    EXPECT_EQ(header.type, 0x73646976U) << "vids";
    EXPECT_EQ(header.handler, 0x34363248U);
    EXPECT_EQ(header.scale, 10000U);
    EXPECT_EQ(header.rate, 250000U);
    EXPECT_EQ(header.quality, 0U);
    EXPECT_EQ(header.sampleSize, 0U);
    EXPECT_EQ(header.width, 704);
    EXPECT_EQ(header.height, 576);
}

TEST(StreamHeader, OfVideoTakesSizesOfEitherSign)
{
    EXPECT_EQ(VideoStreamHeader(0, 1, 320, -240).height, -240);
}

TEST(StreamHeader, OfVideoCutsTheRateTo32Bits)
{
    EXPECT_EQ(VideoStreamHeader(0, 429496, 0, 0).rate, 4294960000U);
    EXPECT_EQ(VideoStreamHeader(0, 429497, 0, 0).rate, 2704U);
}

TEST(StreamHeader, OfTextIsOnePerSecond)
{
    const StreamHeader header = TextStreamHeader(704, 576);
    EXPECT_EQ(header.type, 0x73747874U) << "txts";
    EXPECT_EQ(header.handler, 0x57415244U) << "DRAW";
    EXPECT_EQ(header.scale, 1U);
    EXPECT_EQ(header.rate, 1U);
    EXPECT_EQ(header.quality, 0U);
    EXPECT_EQ(header.sampleSize, 0U);
    EXPECT_EQ(header.width, 704);
    EXPECT_EQ(header.height, 576);
}

TEST(StreamHeader, OfAudioCountsBlocks)
{
    const StreamHeader header = AudioStreamHeader({2, 32000, 4, 16});
    EXPECT_EQ(header.type, 0x73647561U) << "auds";
    EXPECT_EQ(header.handler, 0U);
    EXPECT_EQ(header.scale, 4U);
    EXPECT_EQ(header.rate, 32000U);
    EXPECT_EQ(header.quality, 10000U);
    EXPECT_EQ(header.sampleSize, 4U);
    EXPECT_EQ(header.width, 0);
    EXPECT_EQ(header.height, 0);
}

TEST(StreamHeader, OfAudioTakesItsSampleSizeFromBitsAndChannels)
{
    EXPECT_EQ(AudioStreamHeader({1, 8000, 1, 8}).sampleSize, 1U);
    EXPECT_EQ(AudioStreamHeader({3, 0, 0, 4}).sampleSize, 1U) << "12 bits";
    EXPECT_EQ(AudioStreamHeader({1, 0, 256, 4}).sampleSize, 0U);
    EXPECT_EQ(AudioStreamHeader({65535, 0, 0, 65535}).sampleSize, 536854528U);
}

}  // namespace
}  // namespace ostrel::record
