#include "present/picture_layout.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>

namespace
{

using ostrel::present::LayOutPicture;
using ostrel::present::PictureLayout;
using ostrel::present::RowCount;

void ExpectNoPicture(const PictureLayout& layout)
{
    EXPECT_FALSE(layout.IsPicture());
    EXPECT_FALSE(layout.IsRgbSizeRepresentable());
    EXPECT_EQ(layout.width, 0);
    EXPECT_EQ(layout.height, 0);
    EXPECT_EQ(layout.vOffset, 0U);
    EXPECT_EQ(layout.uOffset, 0U);
    EXPECT_EQ(layout.pictureSize, 0U);
    EXPECT_EQ(layout.rgbSize, 0U);
    EXPECT_EQ(layout.dibSize, 0U);
}

TEST(PictureLayout, PutsVBehindYAndUAQuarterOfYLater)
{
    const PictureLayout layout = LayOutPicture(320, 240);
    EXPECT_TRUE(layout.IsPicture());
    EXPECT_EQ(layout.width, 320);
    EXPECT_EQ(layout.height, 240);
    EXPECT_EQ(layout.vOffset, 76800U);
    EXPECT_EQ(layout.uOffset, 96000U);
    EXPECT_EQ(layout.pictureSize, 115200U);
}

TEST(PictureLayout, CountsThreeBytesOfRgbForAPixel)
{
    EXPECT_EQ(LayOutPicture(320, 240).rgbSize, 230400U);
    EXPECT_EQ(LayOutPicture(7, 3).rgbSize, 63U);
}

TEST(PictureLayout, PadsTheRowsThatGdiReadsTo32Bits)
{
    EXPECT_EQ(LayOutPicture(4, 10).dibSize, 120U);
    EXPECT_EQ(LayOutPicture(5, 10).dibSize, 160U);
    EXPECT_EQ(LayOutPicture(6, 10).dibSize, 200U);
    EXPECT_EQ(LayOutPicture(7, 10).dibSize, 240U);
    EXPECT_EQ(LayOutPicture(8, 10).dibSize, 240U);
}

TEST(PictureLayout, CutsTheChromaOfOddSizes)
{
    const PictureLayout layout = LayOutPicture(5, 5);
    EXPECT_EQ(layout.vOffset, 25U);
    EXPECT_EQ(layout.uOffset, 31U);  // 25 and a quarter of it, cut
    EXPECT_EQ(layout.pictureSize, 25U + 2 * 2 * 2);
}

TEST(PictureLayout, HoldsNoChromaForASinglePixel)
{
    const PictureLayout layout = LayOutPicture(1, 1);
    EXPECT_EQ(layout.pictureSize, 1U);
    EXPECT_EQ(layout.rgbSize, 3U);
    EXPECT_EQ(layout.dibSize, 4U);
}

TEST(PictureLayout, TakesTheMagnitudeOfANegativeHeight)
{
    const PictureLayout layout = LayOutPicture(320, -240);
    EXPECT_EQ(layout.height, 240);
    EXPECT_EQ(layout.pictureSize, 115200U);
    EXPECT_EQ(layout.rgbSize, 230400U);
}

TEST(PictureLayout, KnowsNoPictureWithoutWidthOrHeight)
{
    ExpectNoPicture(LayOutPicture(0, 240));
    ExpectNoPicture(LayOutPicture(320, 0));
    ExpectNoPicture(LayOutPicture(-320, 240));
    ExpectNoPicture(LayOutPicture(-320, -240));
    ExpectNoPicture(LayOutPicture(INT_MIN, 1));
}

TEST(PictureLayout, KnowsNoPictureOfTheSmallestHeight)
{
    ExpectNoPicture(LayOutPicture(1, INT_MIN));
}

TEST(PictureLayout, StatesTheSizeOfTheLargestPicture)
{
    const PictureLayout layout = LayOutPicture(INT_MAX, INT_MAX);
    const std::uint64_t luma = 4611686014132420609U;
    EXPECT_EQ(layout.vOffset, luma);
    EXPECT_EQ(layout.rgbSize, 13835058042397261827U);
    EXPECT_FALSE(layout.IsRgbSizeRepresentable());
}

TEST(PictureLayout, FindsWhereTheRgbSizeLeaves32Bits)
{
    // 3 x 1431655765 = 4294967295.
    EXPECT_TRUE(LayOutPicture(1431655765, 1).IsRgbSizeRepresentable());
    EXPECT_FALSE(LayOutPicture(1431655766, 1).IsRgbSizeRepresentable());
    EXPECT_FALSE(LayOutPicture(65536, 65536).IsRgbSizeRepresentable());
}

TEST(RowCount, IsTheMagnitudeOfTheHeight)
{
    EXPECT_EQ(RowCount(240), 240U);
    EXPECT_EQ(RowCount(-240), 240U);
    EXPECT_EQ(RowCount(0), 0U);
    EXPECT_EQ(RowCount(INT_MIN), 2147483648U);
}

}  // namespace
