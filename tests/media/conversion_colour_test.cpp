// The arithmetic of the colour conversions: stated values, and every colour there is.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "conversion_model.h"
#include "media/colour_conversion.h"
#include "media/cpu_features.h"

namespace
{

using namespace ostrel::media;
using namespace ostrel::test;
using Bytes = std::vector<unsigned char>;

struct InstructionSet
{
    const char* name;
    const ConversionKernels* kernels;
};

std::vector<InstructionSet> InstructionSets()
{
    std::vector<InstructionSet> sets = {{"scalar", &kScalarKernels}, {"SSE2", &kSse2Kernels}};
    if (CpuHasAvx2())
    {
        sets.push_back({"AVX2", &kAvx2Kernels});
    }
    if (CpuHasAvx512())
    {
        sets.push_back({"AVX-512", &kAvx512Kernels});
    }
    return sets;
}

// As wide as each vector there is together, so that every way through a kernel is taken.
constexpr int kWidth = 64 + 32 + 16;
constexpr int kPixels = 2 * kWidth;

Bytes Rgb32Of(const ConversionKernels& kernels, unsigned char y, unsigned char u, unsigned char v)
{
    const Bytes luma(kPixels, y);
    const Bytes uPlane(kWidth / 2, u);
    const Bytes vPlane(kWidth / 2, v);
    Bytes packed(4 * kPixels, 0xAA);
    kernels.yv12ToRgb32(packed.data(), 4 * kWidth, luma.data(), uPlane.data(), vPlane.data(),
                        kWidth, kWidth / 2, kWidth, 2, false);
    return packed;
}

Bytes Rgb24Of(const ConversionKernels& kernels, unsigned char y, unsigned char u, unsigned char v)
{
    const Bytes luma(kPixels, y);
    const Bytes uPlane(kWidth / 2, u);
    const Bytes vPlane(kWidth / 2, v);
    Bytes packed(3 * kPixels, 0xAA);
    kernels.yv12ToRgb24(packed.data(), 3 * kWidth, luma.data(), uPlane.data(), vPlane.data(),
                        kWidth, kWidth / 2, kWidth, 2, false);
    return packed;
}

Bytes ArgbOf(const ConversionKernels& kernels, unsigned char y, unsigned char u, unsigned char v)
{
    const Bytes luma(kPixels, y);
    const Bytes uPlane(kWidth / 2, u);
    const Bytes vPlane(kWidth / 2, v);
    Bytes packed(4 * kPixels, 0xAA);
    kernels.yuv420ToArgb8888(packed.data(), 4 * kWidth, luma.data(), uPlane.data(), vPlane.data(),
                             kWidth, kWidth / 2, kWidth, 2, false);
    return packed;
}

Bytes Repeated(const Bytes& pixel)
{
    Bytes bytes;
    for (int i = 0; i < kPixels; ++i)
    {
        bytes.insert(bytes.end(), pixel.begin(), pixel.end());
    }
    return bytes;
}

void ExpectColour(const ModelYuv& yuv, const ModelColour& rgb)
{
    const auto y = static_cast<unsigned char>(yuv.y);
    const auto u = static_cast<unsigned char>(yuv.u);
    const auto v = static_cast<unsigned char>(yuv.v);
    const auto r = static_cast<unsigned char>(rgb.r);
    const auto g = static_cast<unsigned char>(rgb.g);
    const auto b = static_cast<unsigned char>(rgb.b);
    for (const InstructionSet& set : InstructionSets())
    {
        EXPECT_EQ(Rgb24Of(*set.kernels, y, u, v), Repeated({b, g, r})) << set.name;
        EXPECT_EQ(Rgb32Of(*set.kernels, y, u, v), Repeated({b, g, r, 0})) << set.name;
    }
}

struct Planes
{
    Bytes y;
    Bytes u;
    Bytes v;
};

Planes EmptyPlanes()
{
    return {Bytes(kPixels, 1), Bytes(kWidth / 2, 1), Bytes(kWidth / 2, 1)};
}

void ExpectYuv(const Bytes& pixel, const ModelYuv& yuv)
{
    const Bytes packed = Repeated(pixel);
    const auto stride = static_cast<std::ptrdiff_t>(pixel.size()) * kWidth;
    for (const InstructionSet& set : InstructionSets())
    {
        const ToPlanarKernel kernel =
            pixel.size() == 3 ? set.kernels->rgb24ToYv12 : set.kernels->rgb32ToYv12;
        Planes planes = EmptyPlanes();
        kernel(packed.data(), stride, planes.y.data(), planes.u.data(), planes.v.data(), kWidth,
               kWidth / 2, kWidth, 2, false);
        EXPECT_EQ(planes.y, Bytes(kPixels, static_cast<unsigned char>(yuv.y))) << set.name;
        EXPECT_EQ(planes.u, Bytes(kWidth / 2, static_cast<unsigned char>(yuv.u))) << set.name;
        EXPECT_EQ(planes.v, Bytes(kWidth / 2, static_cast<unsigned char>(yuv.v))) << set.name;
    }
}

}  // namespace

// ---- Stated values ------------------------------------------------------------------------------

TEST(ConversionColour, StudioBlackIsBlack)
{
    ExpectColour({16, 128, 128}, {0, 0, 0});
}

TEST(ConversionColour, StudioWhiteIsNotFullWhite)
{
    ExpectColour({235, 128, 128}, {253, 253, 253});
}

TEST(ConversionColour, PureRedFloorsTo254)
{
    ExpectColour({82, 90, 240}, {254, 0, 0});
}

// 74 x 239 + 129 x 127 = 34069 would wrap to a negative sum.
TEST(ConversionColour, BlueSaturatesAboveTheLargestSum)
{
    // Green: 17686 - 25 x 127 = 14511, / 64 = 226.7. Red: 17686 / 64 = 276.
    ExpectColour({255, 255, 128}, {255, 226, 255});
}

TEST(ConversionColour, Argb8888IsBlueGreenRedZero)
{
    for (const InstructionSet& set : InstructionSets())
    {
        EXPECT_EQ(ArgbOf(*set.kernels, 16, 128, 128), Repeated({0, 0, 0, 0})) << set.name;
        EXPECT_EQ(ArgbOf(*set.kernels, 235, 128, 128), Repeated({253, 253, 253, 0})) << set.name;
        EXPECT_EQ(ArgbOf(*set.kernels, 82, 90, 240), Repeated({0, 0, 254, 0})) << set.name;
    }
}

// The same sums as above, wrapped: 34069 - 65536 is below 0. 74 x 234 + 129 x 122 = 33054 likewise;
// its green is 17316 - 25 x 122 = 14266, / 64 = 222.9, and its red 17316 / 64 = 270.
TEST(ConversionColour, BlueOfArgb8888WrapsAboveTheLargestSum)
{
    for (const InstructionSet& set : InstructionSets())
    {
        EXPECT_EQ(ArgbOf(*set.kernels, 255, 255, 128), Repeated({0, 226, 255, 0})) << set.name;
        EXPECT_EQ(ArgbOf(*set.kernels, 250, 250, 128), Repeated({0, 222, 255, 0})) << set.name;
    }
}

// 74 x 221 + 129 x 127 = 32737 is the last that fits at U = 255; with one more luma it is 32811.
TEST(ConversionColour, BlueOfArgb8888IsFullUpToTheLargestSum)
{
    for (const InstructionSet& set : InstructionSets())
    {
        EXPECT_EQ(ArgbOf(*set.kernels, 237, 255, 128)[0], 255) << set.name;
        EXPECT_EQ(ArgbOf(*set.kernels, 238, 255, 128)[0], 0) << set.name;
    }
}

// 74 x 100 = 7400: blue + 129 x -28 = 3788, green - (25 x -28 + 52 x 21) = 7008, red + 102 x 21 =
// 9542.
TEST(ConversionColour, SumsAreFlooredWithoutRounding)
{
    ExpectColour({116, 100, 149}, {149, 109, 59});
}

// Negative sums shift to below 0 and clamp: 74 x -16 = -1184.
TEST(ConversionColour, BelowBlackClampsToZero)
{
    ExpectColour({0, 128, 128}, {0, 0, 0});
}

TEST(ConversionColour, TheFirstByteOfAnInputPixelIsRed)
{
    ExpectYuv({255, 0, 0}, {82, 90, 240});
    ExpectYuv({255, 0, 0, 0}, {82, 90, 240});
}

// 803 x 255 = 204765: (204765 + 4096) / 8192 = 25.5, + 16. 3596 x 255 / 8192 = 111.9 rounds to 112.
// -582 x 1020 + 16384 = -577256, / 32768 = -17.6, floors to -18.
TEST(ConversionColour, TheThirdByteOfAnInputPixelIsBlue)
{
    ExpectYuv({0, 0, 255}, {41, 240, 110});
    ExpectYuv({0, 0, 255, 0}, {41, 240, 110});
}

TEST(ConversionColour, TheFourthByteOfAnInputPixelIsIgnored)
{
    ExpectYuv({255, 0, 0, 255}, {82, 90, 240});
    ExpectYuv({255, 255, 255, 255}, {235, 128, 128});
}

// One pixel of red in four: S0 = 255. U: -1212 x 255 + 16384 = -292676, / 32768 = -8.9, floors to
// -9. V: 3596 x 255 + 16384 = 933364, / 32768 = 28.4.
TEST(ConversionColour, ChromaIsTheRoundedMeanOfTheBlock)
{
    Bytes packed(3 * kPixels, 0);
    for (int x = 0; x < kWidth; x += 2)
    {
        packed[static_cast<std::size_t>(3 * x)] = 255;
    }
    for (const InstructionSet& set : InstructionSets())
    {
        Planes planes = EmptyPlanes();
        set.kernels->rgb24ToYv12(packed.data(), 3 * kWidth, planes.y.data(), planes.u.data(),
                                 planes.v.data(), kWidth, kWidth / 2, kWidth, 2, false);
        EXPECT_EQ(planes.u, Bytes(kWidth / 2, 119)) << set.name;
        EXPECT_EQ(planes.v, Bytes(kWidth / 2, 156)) << set.name;
        EXPECT_EQ(planes.y[0], 82) << set.name;
        EXPECT_EQ(planes.y[1], 16) << set.name;
        EXPECT_EQ(planes.y[kWidth], 16) << set.name;
    }
}

TEST(ConversionColour, PackedChromaOfTwoRowsIsAveragedRoundingUp)
{
    Bytes packed;
    for (int x = 0; x < kWidth; x += 2)
    {
        packed.insert(packed.end(), {1, 10, 2, 201});
    }
    for (int x = 0; x < kWidth; x += 2)
    {
        packed.insert(packed.end(), {3, 11, 4, 254});
    }
    for (const InstructionSet& set : InstructionSets())
    {
        Planes planes = EmptyPlanes();
        set.kernels->yuy2ToYv12(packed.data(), 2 * kWidth, planes.y.data(), planes.u.data(),
                                planes.v.data(), kWidth, kWidth / 2, kWidth, 2, false);
        EXPECT_EQ(planes.u, Bytes(kWidth / 2, 11)) << set.name;
        EXPECT_EQ(planes.v, Bytes(kWidth / 2, 228)) << set.name;
        Bytes y;
        for (int x = 0; x < kPixels; x += 2)
        {
            y.insert(y.end(), {static_cast<unsigned char>(x < kWidth ? 1 : 3),
                               static_cast<unsigned char>(x < kWidth ? 2 : 4)});
        }
        EXPECT_EQ(planes.y, y) << set.name;
    }
}

// ---- The packed 4:2:2 picture -------------------------------------------------------------------

namespace
{

constexpr int kHeight = 6;
constexpr unsigned char kUntouched = 0xEE;

unsigned char PictureLuma(int x, int row)
{
    return static_cast<unsigned char>(x + 32 * row);
}
unsigned char PictureU(int i, int pair)
{
    return static_cast<unsigned char>(100 + i + 20 * pair);
}
unsigned char PictureV(int i, int pair)
{
    return static_cast<unsigned char>(200 - i - 20 * pair);
}

// One row as it is packed, from a pixel on.
Bytes Packed422Row(int row, int from, int width, bool lumaFirst)
{
    Bytes bytes;
    for (int x = from; x < width; ++x)
    {
        const unsigned char chroma =
            x % 2 == 0 ? PictureU(x / 2, row / 2) : PictureV(x / 2, row / 2);
        const unsigned char luma = PictureLuma(x, row);
        bytes.push_back(lumaFirst ? luma : chroma);
        bytes.push_back(lumaFirst ? chroma : luma);
    }
    return bytes;
}

void ExpectFinished422(bool lumaFirst, int width)
{
    Bytes y;
    Bytes u;
    Bytes v;
    for (int row = 0; row < kHeight; ++row)
    {
        for (int x = 0; x < width; ++x)
        {
            y.push_back(PictureLuma(x, row));
        }
        for (int i = 0; row % 2 == 0 && i < width / 2; ++i)
        {
            u.push_back(PictureU(i, row / 2));
            v.push_back(PictureV(i, row / 2));
        }
    }
    Bytes expected;
    for (int row = 0; row < kHeight; row += 2)
    {
        const Bytes bytes = Packed422Row(row, 0, width, lumaFirst);
        expected.insert(expected.end(), bytes.begin(), bytes.end());
    }
    const Bytes rest = Packed422Row(kHeight - 1, width / 2, width, lumaFirst);
    expected.insert(expected.end(), rest.begin(), rest.end());
    ASSERT_EQ(expected.size(), static_cast<std::size_t>((kHeight + 1) * width));
    expected.insert(expected.end(), 64, kUntouched);

    for (const InstructionSet& set : InstructionSets())
    {
        const ToPackedKernel kernel = lumaFirst ? set.kernels->yv12ToYuy2 : set.kernels->yv12ToUyvy;
        Bytes packed(expected.size(), kUntouched);
        kernel(packed.data(), width, y.data(), u.data(), v.data(), width, width / 2, width, kHeight,
               false);
        EXPECT_EQ(packed, expected) << set.name << " " << width;
    }
}

}  // namespace

TEST(ConversionColour, FinishedYuy2HoldsTheEvenRowsAndHalfTheLastOddOne)
{
    for (const int width : {16, 32, 48, 64, 80, 112})
    {
        ExpectFinished422(true, width);
    }
}

TEST(ConversionColour, FinishedUyvyHoldsTheEvenRowsAndHalfTheLastOddOne)
{
    for (const int width : {16, 32, 48, 64, 80, 112})
    {
        ExpectFinished422(false, width);
    }
}

// ---- How far a conversion reaches ---------------------------------------------------------------

TEST(ConversionColour, AWidthOf20Processes32PixelsPerRow)
{
    for (const InstructionSet& set : InstructionSets())
    {
        const Bytes luma(64, 235);
        const Bytes chroma(32, 128);
        Bytes packed(3 * 20 + 3 * 40, kUntouched);
        set.kernels->yv12ToRgb24(packed.data(), 60, luma.data(), chroma.data(), chroma.data(), 20,
                                 10, 20, 2, false);
        // The second row starts at 60 and runs on to pixel 31.
        Bytes expected(60 + 96, 253);
        expected.resize(packed.size(), kUntouched);
        EXPECT_EQ(packed, expected) << set.name;
    }
}

TEST(ConversionColour, AWidthOf20Converts32PixelsPerRowToArgb8888)
{
    for (const InstructionSet& set : InstructionSets())
    {
        const Bytes luma(64, 16);
        const Bytes chroma(32, 128);
        Bytes packed(4 * 20 + 4 * 40, kUntouched);
        set.kernels->yuv420ToArgb8888(packed.data(), 80, luma.data(), chroma.data(), chroma.data(),
                                      20, 10, 20, 2, false);
        // The second row starts at 80 and runs on to pixel 31.
        Bytes expected(80 + 128, 0);
        expected.resize(packed.size(), kUntouched);
        EXPECT_EQ(packed, expected) << set.name;
    }
}

TEST(ConversionColour, AHeightOf5Processes6Rows)
{
    for (const InstructionSet& set : InstructionSets())
    {
        const Bytes luma(16 * 6, 235);
        const Bytes chroma(8 * 3, 128);
        Bytes packed(3 * 16 * 8, kUntouched);
        set.kernels->yv12ToRgb24(packed.data(), 48, luma.data(), chroma.data(), chroma.data(), 16,
                                 8, 16, 5, false);
        Bytes expected(3 * 16 * 6, 253);
        expected.resize(packed.size(), kUntouched);
        EXPECT_EQ(packed, expected) << set.name;
    }
}

TEST(ConversionColour, FlippedThePackedPictureIsWalkedFromItsLastRow)
{
    for (const InstructionSet& set : InstructionSets())
    {
        Bytes luma;
        for (int row = 0; row < 4; ++row)
        {
            luma.insert(luma.end(), 32, static_cast<unsigned char>(16 + 64 * row));
        }
        const Bytes chroma(32, 128);
        Bytes packed(4 * 32 * 4);
        set.kernels->yv12ToRgb32(packed.data(), 128, luma.data(), chroma.data(), chroma.data(), 32,
                                 16, 32, 4, true);
        // A step of 64 in luma is one of 74.
        for (int row = 0; row < 4; ++row)
        {
            EXPECT_EQ(packed[static_cast<std::size_t>(128 * row)], 74 * (3 - row)) << set.name;
        }
    }
}

// ---- Every colour -------------------------------------------------------------------------------

namespace
{

template <int kSize>
void ExpectEveryYuv(ToPackedKernel ConversionKernels::*kernel, ModelColour (*model)(int, int, int))
{
    // In a picture all luma values (in the lower rows backwards) meet all V, in a row each; the V
    // plane holds each row's value, and U is the picture's.
    constexpr int kColumns = 256;
    constexpr int kRows = 512;
    Bytes y(kColumns * kRows);
    Bytes v(kColumns / 2 * kRows / 2);
    for (std::size_t i = 0; i < y.size(); ++i)
    {
        const std::size_t x = i % kColumns;
        y[i] = static_cast<unsigned char>(i / kColumns % 2 == 0 ? x : 255 - x);
    }
    for (std::size_t i = 0; i < v.size(); ++i)
    {
        v[i] = static_cast<unsigned char>(i / (kColumns / 2));
    }
    Bytes expected(y.size() * kSize);
    Bytes actual(expected.size());
    for (int uValue = 0; uValue < 256; ++uValue)
    {
        const Bytes u(v.size(), static_cast<unsigned char>(uValue));
        for (std::size_t i = 0; i < y.size(); ++i)
        {
            const int vValue = static_cast<int>(i / kColumns / 2);
            const ModelColour colour = model(y[i], uValue, vValue);
            expected[kSize * i] = static_cast<unsigned char>(colour.b);
            expected[kSize * i + 1] = static_cast<unsigned char>(colour.g);
            expected[kSize * i + 2] = static_cast<unsigned char>(colour.r);
        }
        for (const InstructionSet& set : InstructionSets())
        {
            std::memset(actual.data(), 0xAA, actual.size());
            (set.kernels->*kernel)(actual.data(), kSize * kColumns, y.data(), u.data(), v.data(),
                                   kColumns, kColumns / 2, kColumns, kRows, false);
            ASSERT_EQ(std::memcmp(actual.data(), expected.data(), expected.size()), 0)
                << set.name << " U=" << uValue;
        }
    }
}

template <int kSize>
void ExpectEveryRgb(ToPlanarKernel ConversionKernels::*kernel)
{
    // In a picture all greens, a row pair each, meet all blues, a column pair each.
    constexpr int kColumns = 512;
    constexpr int kRows = 512;
    constexpr std::size_t kArea = std::size_t{kColumns} * kRows;
    Bytes packed(kArea * kSize, 0x55);
    Bytes y(kArea);
    Bytes u(kArea / 4);
    Bytes v(kArea / 4);
    Bytes expectedRow(kColumns);
    Bytes expectedY(kArea);
    Bytes expectedU(kArea / 4);
    Bytes expectedV(kArea / 4);
    for (std::size_t i = 0; i < kArea; ++i)
    {
        packed[kSize * i + 1] = static_cast<unsigned char>(i / kColumns / 2);
        packed[kSize * i + 2] = static_cast<unsigned char>(i % kColumns / 2);
    }
    for (int r = 0; r < 256; ++r)
    {
        for (std::size_t i = 0; i < kArea; ++i)
        {
            packed[kSize * i] = static_cast<unsigned char>(r);
        }
        for (int g = 0; g < 256; ++g)
        {
            for (int b = 0; b < 256; ++b)
            {
                const std::size_t block = static_cast<std::size_t>(256 * g + b);
                const auto luma = static_cast<unsigned char>(ModelLuma(r, g, b));
                const auto column = static_cast<std::size_t>(2 * b);
                expectedRow[column] = luma;
                expectedRow[column + 1] = luma;
                expectedU[block] = static_cast<unsigned char>(ModelU(4 * r, 4 * g, 4 * b));
                expectedV[block] = static_cast<unsigned char>(ModelV(4 * r, 4 * g, 4 * b));
            }
            unsigned char* rows = expectedY.data() + 2 * g * kColumns;
            std::memcpy(rows, expectedRow.data(), kColumns);
            std::memcpy(rows + kColumns, expectedRow.data(), kColumns);
        }
        for (const InstructionSet& set : InstructionSets())
        {
            std::memset(y.data(), 0, y.size());
            std::memset(u.data(), 0, u.size());
            std::memset(v.data(), 0, v.size());
            (set.kernels->*kernel)(packed.data(), kSize * kColumns, y.data(), u.data(), v.data(),
                                   kColumns, kColumns / 2, kColumns, kRows, false);
            ASSERT_EQ(std::memcmp(y.data(), expectedY.data(), kArea), 0) << set.name << " " << r;
            ASSERT_EQ(std::memcmp(u.data(), expectedU.data(), kArea / 4), 0)
                << set.name << " " << r;
            ASSERT_EQ(std::memcmp(v.data(), expectedV.data(), kArea / 4), 0)
                << set.name << " " << r;
        }
    }
}

}  // namespace

TEST(ConversionColour, EveryYuvBecomesTheRgb24OfTheModel)
{
    ExpectEveryYuv<3>(&ConversionKernels::yv12ToRgb24, ModelRgb);
}

TEST(ConversionColour, EveryYuvBecomesTheRgb32OfTheModel)
{
    ExpectEveryYuv<4>(&ConversionKernels::yv12ToRgb32, ModelRgb);
}

TEST(ConversionColour, EveryYuvBecomesTheArgb8888OfTheModel)
{
    ExpectEveryYuv<4>(&ConversionKernels::yuv420ToArgb8888, ModelWrappedRgb);
}

TEST(ConversionColour, EveryRgb24BecomesTheYuvOfTheModel)
{
    ExpectEveryRgb<3>(&ConversionKernels::rgb24ToYv12);
}

TEST(ConversionColour, EveryRgb32BecomesTheYuvOfTheModel)
{
    ExpectEveryRgb<4>(&ConversionKernels::rgb32ToYv12);
}
