#include "net/time_value.h"

#include <gtest/gtest.h>

using ostrel::net::TimeValue;
using ostrel::net::ToTimeValue;

TEST(TimeValue, HoldsTheWholeTimeOutInItsMicroseconds)
{
    const TimeValue value = ToTimeValue(3000);
    EXPECT_EQ(value.seconds, 0);
    EXPECT_EQ(value.microseconds, 3000000);
}

TEST(TimeValue, IsZeroForNoTime)
{
    EXPECT_EQ(ToTimeValue(0).seconds, 0);
    EXPECT_EQ(ToTimeValue(0).microseconds, 0);
}

TEST(TimeValue, HoldsTheLongestThatMicrosecondsCanCount)
{
    EXPECT_EQ(ToTimeValue(2147483).seconds, 0);
    EXPECT_EQ(ToTimeValue(2147483).microseconds, 2147483000);
}

TEST(TimeValue, LosesNothingOfAnEvenLongerTimeOut)
{
    EXPECT_EQ(ToTimeValue(2147484).seconds, 2147);
    EXPECT_EQ(ToTimeValue(2147484).microseconds, 484000);
    EXPECT_EQ(ToTimeValue(2147483647).seconds, 2147483);
    EXPECT_EQ(ToTimeValue(2147483647).microseconds, 647000);
}

TEST(TimeValue, StaysNegativeForANegativeTimeOut)
{
    EXPECT_EQ(ToTimeValue(-1).microseconds, -1000);
    EXPECT_EQ(ToTimeValue(-2147483647 - 1).seconds, -2147483);
}
