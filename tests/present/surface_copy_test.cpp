#include "present/surface_copy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <memory>
#include <vector>

namespace
{

using ostrel::present::CopyToSurface;

constexpr unsigned char kUntouched = 0xEE;

// A heap block of exactly its size, so that the address sanitizer sees any step outside.
struct Block
{
    explicit Block(std::size_t n, unsigned char fill = kUntouched)
        : size(n), bytes(new unsigned char[n])
    {
        for (std::size_t i = 0; i < n; ++i)
        {
            bytes[i] = fill;
        }
    }
    std::size_t size;
    std::unique_ptr<unsigned char[]> bytes;
};

// Every byte its own place, as far as a byte goes; none of the values that mean something else.
Block MakePicture(int width, int height)
{
    Block picture(static_cast<std::size_t>(width * height + 2 * (width / 2) * (height / 2)));
    for (std::size_t i = 0; i < picture.size; ++i)
    {
        picture.bytes[i] = static_cast<unsigned char>(i % 127);
    }
    return picture;
}

Block MakeSurface(int pitch, int height)
{
    return Block(static_cast<std::size_t>(pitch * height + (height + 1) / 2 * 2 * (pitch / 2)));
}

std::vector<unsigned char> Bytes(const Block& block, std::size_t offset, std::size_t length)
{
    return {block.bytes.get() + offset, block.bytes.get() + offset + length};
}

using ByteVector = std::vector<unsigned char>;

TEST(SurfaceCopy, CopiesThePlanesOfAPictureThatFillsTheSurface)
{
    const Block picture = MakePicture(4, 4);
    Block surface = MakeSurface(4, 4);
    CopyToSurface(surface.bytes.get(), surface.size, 4, picture.bytes.get(), 4, 4);
    EXPECT_EQ(Bytes(surface, 0, surface.size), Bytes(picture, 0, picture.size));
}

TEST(SurfaceCopy, StepsByThePitchInTheFirstPlaneAndByHalfOfItInTheOthers)
{
    const unsigned char picture[] = {1, 2, 3, 4, 5, 6, 7, 8, 21, 22, 31, 32};
    Block surface = MakeSurface(10, 2);
    ASSERT_EQ(surface.size, 30U);
    CopyToSurface(surface.bytes.get(), surface.size, 10, picture, 4, 2);
    const unsigned char e = kUntouched;
    const ByteVector expected = {1, 2, 3, 4, e, e,  e,  e, e, e, 5,  6,  7, 8, e,
                                 e, e, e, e, e, 21, 22, e, e, e, 31, 32, e, e, e};
    EXPECT_EQ(Bytes(surface, 0, surface.size), expected);
}

TEST(SurfaceCopy, KeepsTheOrderInWhichTheChromaPlanesLie)
{
    const unsigned char picture[] = {0, 0, 0, 0, 'V', 'U'};
    Block surface = MakeSurface(2, 2);
    CopyToSurface(surface.bytes.get(), surface.size, 2, picture, 2, 2);
    EXPECT_EQ(Bytes(surface, 4, 2), (ByteVector{'V', 'U'}));
}

TEST(SurfaceCopy, CopiesHalfOfAnOddHeightRoundedUpInChromaRows)
{
    // Three rows of luma; one row of V and one of U; room for two of each.
    const unsigned char picture[] = {1, 2, 3, 4, 5, 6, 50, 60};
    Block surface = MakeSurface(2, 3);
    ASSERT_EQ(surface.size, 10U);
    CopyToSurface(surface.bytes.get(), surface.size, 2, picture, 2, 3);
    EXPECT_EQ(Bytes(surface, 0, 6), (ByteVector{1, 2, 3, 4, 5, 6}));
    // The source runs on: the second plane takes both rows, the third repeats the last.
    EXPECT_EQ(Bytes(surface, 6, 4), (ByteVector{50, 60, 60, 60}));
}

TEST(SurfaceCopy, MakesAPictureWithoutChromaRowsGrey)
{
    const unsigned char picture[] = {1, 2, 3, 4};
    Block surface = MakeSurface(4, 1);
    ASSERT_EQ(surface.size, 8U);
    CopyToSurface(surface.bytes.get(), surface.size, 4, picture, 4, 1);
    EXPECT_EQ(Bytes(surface, 0, 8), (ByteVector{1, 2, 3, 4, 128, 128, 128, 128}));
}

TEST(SurfaceCopy, CutsHalfOfAnOddWidth)
{
    const unsigned char picture[] = {1, 2, 3, 4, 5, 6, 'V', 'U'};
    Block surface = MakeSurface(4, 2);
    CopyToSurface(surface.bytes.get(), surface.size, 4, picture, 3, 2);
    const unsigned char e = kUntouched;
    EXPECT_EQ(Bytes(surface, 0, surface.size),
              (ByteVector{1, 2, 3, e, 4, 5, 6, e, 'V', e, 'U', e}));
}

TEST(SurfaceCopy, CopiesNothingWhenThePitchIsSmallerThanTheWidth)
{
    const Block picture = MakePicture(8, 8);
    Block surface(1);
    CopyToSurface(surface.bytes.get(), surface.size, 7, picture.bytes.get(), 8, 8);
    CopyToSurface(surface.bytes.get(), surface.size, 0, picture.bytes.get(), 8, 8);
    CopyToSurface(surface.bytes.get(), surface.size, -8, picture.bytes.get(), 8, 8);
    EXPECT_EQ(surface.bytes[0], kUntouched);
}

TEST(SurfaceCopy, CopiesNothingWithoutWidthOrHeight)
{
    const Block picture = MakePicture(2, 2);
    Block surface(1);
    for (const int size : {0, -1, INT_MIN})
    {
        CopyToSurface(surface.bytes.get(), surface.size, 8, picture.bytes.get(), size, 2);
        CopyToSurface(surface.bytes.get(), surface.size, 8, picture.bytes.get(), 2, size);
    }
    EXPECT_EQ(surface.bytes[0], kUntouched);
}

TEST(SurfaceCopy, CopiesNothingWithoutSurfaceOrPicture)
{
    const Block picture = MakePicture(2, 2);
    Block surface(1);
    CopyToSurface(nullptr, 100, 8, picture.bytes.get(), 2, 2);
    CopyToSurface(surface.bytes.get(), surface.size, 8, nullptr, 2, 2);
    EXPECT_EQ(surface.bytes[0], kUntouched);
}

TEST(SurfaceCopy, LeavesOutTheRowsForWhichTheSurfaceHasNoRoom)
{
    const unsigned char picture[] = {1, 2, 3, 4, 5, 6, 50, 60};
    for (std::size_t size = 0; size <= 10; ++size)
    {
        Block surface(size);
        CopyToSurface(surface.bytes.get(), size, 2, picture, 2, 3);
        const ByteVector all = {1, 2, 3, 4, 5, 6, 50, 60, 60, 60};
        for (std::size_t at = 0; at < size; ++at)
        {
            const bool isRowCut = at < 6 && (at | 1) >= size;
            EXPECT_EQ(surface.bytes[at], isRowCut ? kUntouched : all[at]) << at << " of " << size;
        }
    }
}

// Where the byte of a surface comes from, asked place by place.
unsigned char ExpectedByte(const Block& picture, int width, int height, int pitch, int at)
{
    if (at < pitch * height)
    {
        const int row = at / pitch;
        const int column = at % pitch;
        return column < width ? picture.bytes[static_cast<std::size_t>(row * width + column)]
                              : kUntouched;
    }
    const int column = (at - pitch * height) % (pitch / 2);
    if (column >= width / 2)
    {
        return kUntouched;
    }
    const int rowsHeld = height / 2 * 2;
    const int row = std::min((at - pitch * height) / (pitch / 2), rowsHeld - 1);
    return rowsHeld == 0
               ? 128
               : picture
                     .bytes[static_cast<std::size_t>(width * height + row * (width / 2) + column)];
}

TEST(SurfaceCopy, StaysInsidePictureAndSurfaceForEverySize)
{
    for (int width = 1; width <= 40; ++width)
    {
        for (int height = 1; height <= 9; ++height)
        {
            for (const int pitch : {width, width + 1, width + 2, width + 13, 64})
            {
                const Block picture = MakePicture(width, height);
                Block surface = MakeSurface(pitch, height);
                CopyToSurface(surface.bytes.get(), surface.size, pitch, picture.bytes.get(), width,
                              height);
                for (std::size_t at = 0; at < surface.size; ++at)
                {
                    ASSERT_EQ(surface.bytes[at],
                              ExpectedByte(picture, width, height, pitch, static_cast<int>(at)))
                        << width << "x" << height << " pitch " << pitch << " at " << at;
                }
            }
        }
    }
}

}  // namespace
