#include "record/due_time.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <vector>

namespace ostrel::record
{
namespace
{

TEST(FramePace, SharesTheSecondInWholeMilliseconds)
{
    const FramePace even = PaceOf(25);
    EXPECT_EQ(even.rate, 25);
    EXPECT_EQ(even.milliseconds, 40);
    EXPECT_EQ(even.remainder, 0);
    const FramePace uneven = PaceOf(30);
    EXPECT_EQ(uneven.milliseconds, 33);
    EXPECT_EQ(uneven.remainder, 10);
}

TEST(FrameDuration, Is40MillisecondsForEveryFrameAt25FramesPerSecond)
{
    const FramePace pace = PaceOf(25);
    for (int index = 1; index <= 1000; ++index)
    {
        EXPECT_EQ(FrameDuration(pace, index), 40);
    }
}

TEST(FrameDuration, IsLongerForTheFirstTenOfThirtyFrames)
{
    const FramePace pace = PaceOf(30);
    for (int index = 1; index <= 90; ++index)
    {
        EXPECT_EQ(FrameDuration(pace, index), index % 30 <= 9 ? 34 : 33) << index;
    }
}

TEST(FrameDuration, AddsUpTo1000MillisecondsInEverySecondAtEveryRate)
{
    for (int rate = 1; rate <= 120; ++rate)
    {
        const FramePace pace = PaceOf(rate);
        int index = 0;
        for (int second = 0; second < 10; ++second)
        {
            int sum = 0;
            for (int frame = 0; frame < rate; ++frame)
            {
                sum += FrameDuration(pace, ++index);
            }
            EXPECT_EQ(sum, 1000) << rate << " frames per second, second " << second;
        }
    }
}

TEST(FrameDuration, AddsUpTo1000MillisecondsFromAnyFrameOn)
{
    for (const int rate : {7, 12, 15, 24, 30, 60, 75, 119, 120})
    {
        const FramePace pace = PaceOf(rate);
        for (int first = 0; first < rate; ++first)
        {
            int sum = 0;
            for (int frame = 0; frame < rate; ++frame)
            {
                sum += FrameDuration(pace, first + frame);
            }
            EXPECT_EQ(sum, 1000) << rate << " from " << first;
        }
    }
}

TEST(FrameDuration, OfMoreThanAThousandFramesPerSecondIsAMillisecondOrNothing)
{
    const FramePace pace = PaceOf(3000);
    EXPECT_EQ(FrameDuration(pace, 999), 1);
    EXPECT_EQ(FrameDuration(pace, 1000), 0);
    EXPECT_EQ(FrameDuration(pace, 2999), 0);
    EXPECT_EQ(FrameDuration(pace, 3000), 1);
}

TEST(FrameDuration, WithoutARateIsTheWholeMillisecondsAlone)
{
    EXPECT_EQ(FrameDuration(FramePace{0, 0, 0}, 0), 0);
    EXPECT_EQ(FrameDuration(FramePace{0, 40, 3}, 17), 40);
}

TEST(FrameDuration, OfExtremeNumbersIsDefined)
{
    EXPECT_EQ(FrameDuration(FramePace{-1, 5, 0}, INT_MIN), 5);
    EXPECT_EQ(FrameDuration(FramePace{INT_MAX, 0, 1000}, INT_MAX), 1);
    EXPECT_EQ(FrameDuration(FramePace{INT_MAX, 0, 1000}, INT_MAX - 1), 0);
}

TEST(SecondBoundary, IsEveryWholeMultipleOfTheRate)
{
    for (int index = 0; index <= 100; ++index)
    {
        EXPECT_EQ(IsSecondBoundary(index, 25),
                  index == 0 || index == 25 || index == 50 || index == 75 || index == 100);
    }
}

TEST(SecondBoundary, IsTheFirstFrameAloneWithoutARate)
{
    EXPECT_TRUE(IsSecondBoundary(0, 0));
    EXPECT_FALSE(IsSecondBoundary(1, 0));
    EXPECT_TRUE(IsSecondBoundary(INT_MIN, -1));
}

TEST(AudioDuration, IsWholeMilliseconds)
{
    EXPECT_EQ(AudioDuration(800, 8000), 100U);
    EXPECT_EQ(AudioDuration(1, 8000), 0U);
    EXPECT_EQ(AudioDuration(1023, 44100), 23U);
    EXPECT_EQ(AudioDuration(0, 8000), 0U);
}

TEST(AudioDuration, IsWorkedOutIn32BitUnsignedArithmetic)
{
    // 4294967 * 1000 = 4294967000 still fits; 4294968 * 1000 = 2^32 + 704.
    EXPECT_EQ(AudioDuration(4294967, 1), 4294967000U);
    EXPECT_EQ(AudioDuration(4294968, 1), 704U);
    // (2^32 - 1) * 1000 = 1000 * 2^32 - 1000, which wraps around to 2^32 - 1000.
    EXPECT_EQ(AudioDuration(UINT32_MAX, 8000), 4294966296U / 8000);
}

TEST(AudioDuration, WithoutASampleRateIsNothing)
{
    EXPECT_EQ(AudioDuration(800, 0), 0U);
}

TEST(Later, AddsADurationToATime)
{
    EXPECT_EQ(Later(5000, 40), 5040);
    EXPECT_EQ(Later(-500, 1000), 500);
    EXPECT_EQ(Later(5000, 0), 5000);
    EXPECT_EQ(Later(5000, 4294967295), 4294972295);
    EXPECT_EQ(Later(5000, -40), 4960);
}

TEST(Later, WrapsAroundBehindTheLastTimeThereIs)
{
    EXPECT_EQ(Later(INT64_MAX, 0), INT64_MAX);
    EXPECT_EQ(Later(INT64_MAX, 1), INT64_MIN);
    EXPECT_EQ(Later(INT64_MAX - 10, 1000), INT64_MIN + 989);
}

}  // namespace
}  // namespace ostrel::record
