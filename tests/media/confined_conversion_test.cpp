#include "media/confined_conversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "conversion_model.h"
#include "media/colour_conversion.h"

namespace
{

using namespace ostrel::media;
using Bytes = std::vector<unsigned char>;

// More than the last row runs past the picture: a row of an odd height, and its rounded end.
std::size_t RoomFor(int width)
{
    return static_cast<std::size_t>(width) + 16;
}

struct Layout
{
    std::size_t pictureSize;
    std::size_t uOffset;
    std::size_t vOffset;
};

std::size_t Area(int width, int height)
{
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
}

std::size_t ChromaArea(int width, int height)
{
    return Area(width / 2, height / 2);
}

// As a renderer takes decoded pictures: V, then U at a quarter of the area behind it.
Layout RendererLayout(int width, int height)
{
    const std::size_t area = Area(width, height);
    return {area + 2 * ChromaArea(width, height), area + area / 4, area};
}

Bytes RandomBytes(std::size_t size, unsigned seed)
{
    std::mt19937 random(seed);
    Bytes bytes(size);
    for (unsigned char& byte : bytes)
    {
        byte = static_cast<unsigned char>(random());
    }
    return bytes;
}

// A plane as it is read: the picture from an offset on, then nothing but the filling.
Bytes PlaneWithRoom(const Bytes& picture, std::size_t offset, unsigned char filling,
                    std::size_t room)
{
    Bytes plane;
    if (offset < picture.size())
    {
        plane.assign(picture.begin() + static_cast<std::ptrdiff_t>(offset), picture.end());
    }
    plane.resize(std::max(plane.size(), picture.size()) + room, filling);
    return plane;
}

constexpr unsigned char kUntouched = 0xEE;

// What the walk leaves in an RGB buffer of a size, were there room around everything.
Bytes ExpectedRgb(const Bytes& picture, const Layout& layout, int width, int height,
                  std::size_t rgbSize)
{
    // A picture cut short is missing half of its rows as well.
    const std::size_t room = RoomFor(width) + Area(width, height);
    const Bytes y = PlaneWithRoom(picture, 0, 16, room);
    const Bytes u = PlaneWithRoom(picture, layout.uOffset, 128, room);
    const Bytes v = PlaneWithRoom(picture, layout.vOffset, 128, room);
    Bytes rgb(rgbSize + 3 * RoomFor(width), kUntouched);
    ostrel::test::ModelYv12ToRgb24(rgb.data(), 3 * width, y.data(), u.data(), v.data(), width,
                                   width / 2, width, height, false);
    rgb.resize(rgbSize);
    return rgb;
}

// Heap blocks of exactly the sizes, so that the sanitizer sees the first byte too many.
void ExpectConfined(int width, int height, const Layout& layout, std::size_t rgbSize)
{
    const Bytes picture =
        RandomBytes(layout.pictureSize, static_cast<unsigned>(100 * width + height));
    Bytes rgb(rgbSize, kUntouched);
    ConvertYv12ToRgb24Confined(ConvertYv12ToRgb24, rgb.data(), rgb.size(), picture.data(),
                               picture.size(), layout.uOffset, layout.vOffset, width, height);
    const Bytes expected = ExpectedRgb(picture, layout, width, height, rgbSize);
    const auto difference = std::mismatch(expected.begin(), expected.end(), rgb.begin());
    ASSERT_EQ(difference.first, expected.end())
        << width << "x" << height << " at byte " << difference.first - expected.begin();
}

int g_calls;
int g_rows;

void CountingConvert(unsigned char* rgb, const unsigned char* y, const unsigned char* u,
                     const unsigned char* v, int width, int height)
{
    ++g_calls;
    g_rows += height;
    ConvertYv12ToRgb24(rgb, y, u, v, width, height);
}

}  // namespace

TEST(ConfinedConversion, StaysInsideExactBuffersAndEqualsTheWalk)
{
    for (int width = 1; width <= 80; ++width)
    {
        for (int height = 1; height <= 9; ++height)
        {
            ExpectConfined(width, height, RendererLayout(width, height), 3 * Area(width, height));
        }
    }
}

TEST(ConfinedConversion, StaysInsideForLargerPictures)
{
    for (const int width : {352, 360, 361, 640, 714})
    {
        for (const int height : {15, 24, 288})
        {
            ExpectConfined(width, height, RendererLayout(width, height), 3 * Area(width, height));
        }
    }
}

TEST(ConfinedConversion, ALargerRgbBufferTakesWhatTheWalkWritesPastThePicture)
{
    for (int width = 1; width <= 40; ++width)
    {
        for (int height = 1; height <= 9; ++height)
        {
            for (const std::size_t more : {1u, 20u, 200u})
            {
                ExpectConfined(width, height, RendererLayout(width, height),
                               3 * Area(width, height) + more);
            }
        }
    }
}

TEST(ConfinedConversion, APictureWithMoreBytesBehindItIsReadThere)
{
    for (int width = 1; width <= 40; ++width)
    {
        for (int height = 1; height <= 9; ++height)
        {
            Layout layout = RendererLayout(width, height);
            layout.pictureSize += 500;
            ExpectConfined(width, height, layout, 3 * Area(width, height));
        }
    }
}

TEST(ConfinedConversion, APictureCutShortIsCompletedWithBlack)
{
    for (int width = 1; width <= 40; ++width)
    {
        Layout layout = RendererLayout(width, 8);
        layout.pictureSize /= 2;
        ExpectConfined(width, 8, layout, 3 * Area(width, 8));
    }
}

TEST(ConfinedConversion, WithoutAnyPictureBytesTheResultIsBlack)
{
    Bytes rgb(3 * Area(20, 4), kUntouched);
    ConvertYv12ToRgb24Confined(ConvertYv12ToRgb24, rgb.data(), rgb.size(), nullptr, 0, 100, 80, 20,
                               4);
    EXPECT_EQ(rgb, Bytes(rgb.size(), 0));
}

TEST(ConfinedConversion, AnRgbBufferTooSmallIsLeftAlone)
{
    const Layout layout = RendererLayout(32, 4);
    const Bytes picture = RandomBytes(layout.pictureSize, 1);
    Bytes rgb(3 * Area(32, 4) - 1, kUntouched);
    ConvertYv12ToRgb24Confined(ConvertYv12ToRgb24, rgb.data(), rgb.size(), picture.data(),
                               picture.size(), layout.uOffset, layout.vOffset, 32, 4);
    EXPECT_EQ(rgb, Bytes(rgb.size(), kUntouched));
}

TEST(ConfinedConversion, NoSizeBelowOneConvertsAnything)
{
    g_calls = 0;
    unsigned char rgb[3] = {};
    for (const int width : {0, -1, INT32_MIN})
    {
        ConvertYv12ToRgb24Confined(CountingConvert, rgb, sizeof rgb, nullptr, 0, 0, 0, width, 2);
        ConvertYv12ToRgb24Confined(CountingConvert, rgb, sizeof rgb, nullptr, 0, 0, 0, 2, width);
    }
    EXPECT_EQ(g_calls, 0);
}

TEST(ConfinedConversion, APictureThatFitsIsConvertedByOneCall)
{
    g_calls = 0;
    g_rows = 0;
    const Layout layout = RendererLayout(64, 48);
    const Bytes picture = RandomBytes(layout.pictureSize, 1);
    Bytes rgb(3 * Area(64, 48));
    ConvertYv12ToRgb24Confined(CountingConvert, rgb.data(), rgb.size(), picture.data(),
                               picture.size(), layout.uOffset, layout.vOffset, 64, 48);
    EXPECT_EQ(g_calls, 1);
    EXPECT_EQ(g_rows, 48);
}

TEST(ConfinedConversion, OnlyTheLastPairsTakeTheLongWay)
{
    g_calls = 0;
    g_rows = 0;
    const Layout layout = RendererLayout(360, 288);
    const Bytes picture = RandomBytes(layout.pictureSize, 1);
    Bytes rgb(3 * Area(360, 288));
    ConvertYv12ToRgb24Confined(CountingConvert, rgb.data(), rgb.size(), picture.data(),
                               picture.size(), layout.uOffset, layout.vOffset, 360, 288);
    EXPECT_EQ(g_calls, 2);
    EXPECT_EQ(g_rows, 288);
}
