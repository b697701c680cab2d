#include "present/fit_rect.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <random>

namespace
{

using ostrel::present::Edges;
using ostrel::present::FitRect;
using ostrel::present::TakeOffBorder;

Edges OfSize(int width, int height)
{
    return {0, 0, width, height};
}

void ExpectEdges(const Edges& rect, int left, int top, int right, int bottom)
{
    EXPECT_EQ(rect.left, left);
    EXPECT_EQ(rect.top, top);
    EXPECT_EQ(rect.right, right);
    EXPECT_EQ(rect.bottom, bottom);
}

TEST(FitRect, MovesLeftAndRightInWhenThePictureIsNarrowerThanTheArea)
{
    Edges area = OfSize(1000, 500);
    EXPECT_TRUE(FitRect(OfSize(400, 300), area));
    ExpectEdges(area, 167, 0, 832, 500);
}

TEST(FitRect, MovesTopAndBottomInWhenThePictureIsWiderThanTheArea)
{
    Edges area = OfSize(400, 300);
    EXPECT_TRUE(FitRect(OfSize(1000, 500), area));
    ExpectEdges(area, 0, 50, 400, 250);
}

TEST(FitRect, ToleratesADifferenceOfFourPercentagePoints)
{
    Edges area = {3, 4, 3 + 137, 4 + 100};
    EXPECT_FALSE(FitRect(OfSize(133, 100), area));
    ExpectEdges(area, 3, 4, 140, 104);
}

TEST(FitRect, FitsADifferenceOfFivePercentagePoints)
{
    Edges area = OfSize(138, 100);
    EXPECT_TRUE(FitRect(OfSize(133, 100), area));
    ExpectEdges(area, 2, 0, 135, 100);
}

TEST(FitRect, ToleratesADifferenceOfFourPointsTheOtherWay)
{
    Edges area = OfSize(133, 100);
    EXPECT_FALSE(FitRect(OfSize(137, 100), area));
    ExpectEdges(area, 0, 0, 133, 100);
}

TEST(FitRect, LeavesAnAreaOfTheSameAspectAlone)
{
    Edges area = OfSize(640, 480);
    EXPECT_FALSE(FitRect(OfSize(320, 240), area));
    ExpectEdges(area, 0, 0, 640, 480);
}

TEST(FitRect, KeepsThePlaceOfTheArea)
{
    Edges area = {-100, 40, 900, 540};
    EXPECT_TRUE(FitRect(OfSize(400, 300), area));
    ExpectEdges(area, 67, 40, 732, 540);

    area = {10, -300, 410, 0};
    EXPECT_TRUE(FitRect(OfSize(1000, 500), area));
    ExpectEdges(area, 10, -250, 410, -50);
}

TEST(FitRect, MeasuresTheSourceByItsSizeNotItsPlace)
{
    Edges area = OfSize(1000, 500);
    EXPECT_TRUE(FitRect({50, 60, 450, 360}, area));
    ExpectEdges(area, 167, 0, 832, 500);
}

// Ratio 177 for 1920x1080: 177 * 300 / 100 = 531; (1000 - 531) / 2 cuts to 234.
TEST(FitRect, CutsEveryDivision)
{
    Edges area = OfSize(1000, 300);
    EXPECT_TRUE(FitRect(OfSize(1920, 1080), area));
    ExpectEdges(area, 234, 0, 765, 300);
}

// A height of 1 and a ratio of 110 give a width of 1, which is the area's: nothing moves, although
// the ratios 110 and 100 differ.
TEST(FitRect, ReportsAFitThatChangesNothing)
{
    Edges area = OfSize(1, 1);
    EXPECT_TRUE(FitRect(OfSize(110, 100), area));
    ExpectEdges(area, 0, 0, 1, 1);
}

TEST(FitRect, LeavesTheAreaAloneWhenTheSourceHasNoHeight)
{
    Edges area = OfSize(1000, 500);
    EXPECT_FALSE(FitRect(OfSize(400, 0), area));
    ExpectEdges(area, 0, 0, 1000, 500);
}

TEST(FitRect, LeavesTheAreaAloneWhenItHasNoHeight)
{
    Edges area = OfSize(1000, 0);
    EXPECT_FALSE(FitRect(OfSize(400, 300), area));
    ExpectEdges(area, 0, 0, 1000, 0);
}

// A source of ratio 0 in an area turned inside out is due to divide by the ratio.
TEST(FitRect, LeavesTheAreaAloneWhenItWouldDivideByASourceRatioOfZero)
{
    Edges area = {1000, 0, 0, 500};
    EXPECT_FALSE(FitRect(OfSize(1, 300), area));
    ExpectEdges(area, 1000, 0, 0, 500);
}

TEST(FitRect, ShrinksTheAreaToNothingForASourceRatioOfZero)
{
    Edges area = OfSize(1000, 500);
    EXPECT_TRUE(FitRect(OfSize(1, 300), area));
    ExpectEdges(area, 500, 0, 500, 500);
}

TEST(FitRect, TakesTheMagnitudeOfBothRatios)
{
    Edges area = OfSize(1000, 500);
    EXPECT_TRUE(FitRect({0, 300, 400, 0}, area));
    ExpectEdges(area, 167, 0, 832, 500);
}

TEST(FitRect, ScalesASourceWidthThatWrapsAroundIn32Bits)
{
    // 42949673 * 100 is 4 more than 2 to the power of 32: the ratio is 4 / 1, so 4.
    Edges area = OfSize(1000, 100);
    EXPECT_TRUE(FitRect(OfSize(42949673, 1), area));
    ExpectEdges(area, 498, 0, 502, 100);
}

// 2 to the power of 29 times 100 wraps around to the smallest integer. Its quotient by -1 and its
// magnitude wrap around to itself, and 500 times that to 0: a picture of no width.
TEST(FitRect, DividesTheSmallestIntegerByMinusOne)
{
    Edges area = OfSize(1000, 500);
    EXPECT_TRUE(FitRect({0, 0, 1 << 29, -1}, area));
    ExpectEdges(area, 500, 0, 500, 500);
}

// The wide arithmetic of small rectangles, worked out in floating point where nothing is cut.
TEST(FitRect, StaysInsideTheAreaAroundItsCentreAndKeepsTheAspect)
{
    std::mt19937 random(1);
    std::uniform_int_distribution<int> size(50, 4000);
    std::uniform_int_distribution<int> place(-4000, 4000);
    for (int round = 0; round < 20000; ++round)
    {
        const Edges source = OfSize(size(random), size(random));
        const int left = place(random);
        const int top = place(random);
        const Edges before = {left, top, left + size(random), top + size(random)};
        Edges area = before;
        const bool isFitted = FitRect(source, area);

        const double sourceRatio = 100.0 * source.right / source.bottom;
        const double areaRatio =
            100.0 * (before.right - before.left) / (before.bottom - before.top);
        if (!isFitted)
        {
            ASSERT_LT(std::abs(sourceRatio - areaRatio), 6.0);
            ExpectEdges(area, before.left, before.top, before.right, before.bottom);
            continue;
        }
        ASSERT_GT(std::abs(sourceRatio - areaRatio), 4.0);
        ASSERT_GE(area.left, before.left);
        ASSERT_GE(area.top, before.top);
        ASSERT_LE(area.right, before.right);
        ASSERT_LE(area.bottom, before.bottom);
        ASSERT_LE(std::abs((area.left - before.left) - (before.right - area.right)), 1);
        ASSERT_LE(std::abs((area.top - before.top) - (before.bottom - area.bottom)), 1);
        // The cut ratio is off by less than a point, the cut edge by less than a pixel.
        const double width = area.right - area.left;
        const double height = area.bottom - area.top;
        if (area.top == before.top && area.bottom == before.bottom)
        {
            ASSERT_LE(width, height * sourceRatio / 100);
            ASSERT_GE(width + 1, height * (sourceRatio - 1) / 100);
        }
        else
        {
            ASSERT_EQ(width, before.right - before.left);
            ASSERT_LE(height, width * 100 / (sourceRatio - 1));
            ASSERT_GE(height + 1, width * 100 / sourceRatio);
        }
    }
}

// The sanitizers of this build watch the arithmetic.
TEST(FitRect, IsDefinedForEveryPairOfExtremeRectangles)
{
    const int values[] = {INT_MIN, INT_MIN + 1, INT_MIN / 100, -100,          -1,          0,
                          1,       2,           100,           INT_MAX / 100, INT_MAX - 1, INT_MAX};
    int count = 0;
    for (const int left : values)
    {
        for (const int right : values)
        {
            for (const int top : values)
            {
                for (const int bottom : values)
                {
                    const Edges odd = {left, top, right, bottom};
                    Edges area = OfSize(1000, 500);
                    if (!FitRect(odd, area))
                    {
                        ExpectEdges(area, 0, 0, 1000, 500);
                    }
                    area = odd;
                    if (!FitRect(OfSize(400, 300), area))
                    {
                        ExpectEdges(area, left, top, right, bottom);
                    }
                    area = odd;
                    FitRect(odd, area);
                    TakeOffBorder(area, right);
                    ++count;
                }
            }
        }
    }
    EXPECT_EQ(count, 12 * 12 * 12 * 12);
}

TEST(TakeOffBorder, MovesEverySideIn)
{
    Edges rect = {10, 20, 110, 220};
    TakeOffBorder(rect, 8);
    ExpectEdges(rect, 18, 28, 102, 212);
}

TEST(TakeOffBorder, MovesEverySideOutForANegativeBorder)
{
    Edges rect = {10, 20, 110, 220};
    TakeOffBorder(rect, -8);
    ExpectEdges(rect, 2, 12, 118, 228);
}

TEST(TakeOffBorder, TurnsARectangleInsideOutThatIsTooSmall)
{
    Edges rect = {0, 0, 10, 10};
    TakeOffBorder(rect, 8);
    ExpectEdges(rect, 8, 8, 2, 2);
}

TEST(TakeOffBorder, WrapsAround)
{
    Edges rect = {INT_MAX, INT_MAX, INT_MIN, INT_MIN};
    TakeOffBorder(rect, 1);
    ExpectEdges(rect, INT_MIN, INT_MIN, INT_MAX, INT_MAX);
}

}  // namespace
