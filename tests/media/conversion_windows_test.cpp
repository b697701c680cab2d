// The exported conversions: their strides, a value or two through each, and their lock.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstddef>
#include <functional>
#include <random>
#include <thread>
#include <vector>

#include "CSFunc.h"
#include "conversion_model.h"

namespace
{

using Bytes = std::vector<unsigned char>;

constexpr unsigned char kUntouched = 0xEE;

Bytes Repeated(const Bytes& pixel, std::size_t count)
{
    Bytes bytes;
    for (std::size_t i = 0; i < count; ++i)
    {
        bytes.insert(bytes.end(), pixel.begin(), pixel.end());
    }
    return bytes;
}

// A picture of a colour with room for rows that run on.
struct Yv12
{
    Yv12(unsigned char luma, unsigned char blue, unsigned char red)
        : y(4096, luma), u(4096, blue), v(4096, red)
    {
    }

    Bytes y;
    Bytes u;
    Bytes v;
};

using ToPacked = void (*)(unsigned char*, const unsigned char*, const unsigned char*,
                          const unsigned char*, int, int);
using ToPlanar = void (*)(const unsigned char*, unsigned char*, unsigned char*, unsigned char*, int,
                          int);

constexpr ToPacked kToPacked[] = {CSFunc::s_S_YV12_to_YUY2, CSFunc::s_S_YV12_to_UYVY,
                                  CSFunc::s_S_YV12_to_RGB24, CSFunc::s_S_YV12_to_RGB32};
constexpr ToPlanar kToPlanar[] = {CSFunc::s_S_RGB24_to_YV12, CSFunc::s_S_RGB32_to_YV12,
                                  CSFunc::s_S_YUY2_to_YV12};

// With the arguments in the order of the others.
void ToArgb8888(unsigned char* packed, const unsigned char* y, const unsigned char* u,
                const unsigned char* v, int width, int height)
{
    Bytes planes[] = {Bytes(y, y + 4096), Bytes(u, u + 4096), Bytes(v, v + 4096)};
    CSFunc::s_S_YUV420_To_ARGB8888_SSE2(planes[0].data(), planes[1].data(), planes[2].data(), width,
                                        height, packed);
}

Bytes PackedBy(ToPacked convert, const Yv12& picture, int width, int height)
{
    Bytes packed(4096, kUntouched);
    convert(packed.data(), picture.y.data(), picture.u.data(), picture.v.data(), width, height);
    while (!packed.empty() && packed.back() == kUntouched)
    {
        packed.pop_back();
    }
    return packed;
}

Yv12 PlanarBy(ToPlanar convert, const Bytes& packed, int width, int height)
{
    Yv12 picture(kUntouched, kUntouched, kUntouched);
    convert(packed.data(), picture.y.data(), picture.u.data(), picture.v.data(), width, height);
    return picture;
}

// So many bytes of a value, and what was there before behind them.
Bytes Plane(std::size_t size, unsigned char value)
{
    Bytes plane(4096, kUntouched);
    std::fill_n(plane.begin(), size, value);
    return plane;
}

}  // namespace

TEST(ConversionMember, Yv12ToRgb24WritesBlueGreenRed)
{
    EXPECT_EQ(PackedBy(CSFunc::s_S_YV12_to_RGB24, Yv12(82, 90, 240), 32, 4),
              Repeated({0, 0, 254}, 32 * 4));
    EXPECT_EQ(PackedBy(CSFunc::s_S_YV12_to_RGB24, Yv12(16, 128, 128), 32, 4),
              Repeated({0, 0, 0}, 32 * 4));
    EXPECT_EQ(PackedBy(CSFunc::s_S_YV12_to_RGB24, Yv12(235, 128, 128), 32, 4),
              Repeated({253, 253, 253}, 32 * 4));
}

TEST(ConversionMember, Yv12ToRgb32WritesBlueGreenRedZero)
{
    EXPECT_EQ(PackedBy(CSFunc::s_S_YV12_to_RGB32, Yv12(82, 90, 240), 32, 4),
              Repeated({0, 0, 254, 0}, 32 * 4));
    // Blue saturates: 74 x 239 + 129 x 127 is above 32767.
    EXPECT_EQ(PackedBy(CSFunc::s_S_YV12_to_RGB32, Yv12(255, 255, 128), 32, 4),
              Repeated({255, 226, 255, 0}, 32 * 4));
}

TEST(ConversionMember, Yuv420ToArgb8888WritesBlueGreenRedZero)
{
    EXPECT_EQ(PackedBy(ToArgb8888, Yv12(82, 90, 240), 32, 4), Repeated({0, 0, 254, 0}, 32 * 4));
    EXPECT_EQ(PackedBy(ToArgb8888, Yv12(16, 128, 128), 32, 4), Repeated({0, 0, 0, 0}, 32 * 4));
    EXPECT_EQ(PackedBy(ToArgb8888, Yv12(235, 128, 128), 32, 4),
              Repeated({253, 253, 253, 0}, 32 * 4));
}

TEST(ConversionMember, BlueOfArgb8888WrapsWhereThatOfRgb32Saturates)
{
    EXPECT_EQ(PackedBy(ToArgb8888, Yv12(255, 255, 128), 32, 4), Repeated({0, 226, 255, 0}, 32 * 4));
    EXPECT_EQ(PackedBy(CSFunc::s_S_YV12_to_RGB32, Yv12(255, 255, 128), 32, 4),
              Repeated({255, 226, 255, 0}, 32 * 4));
}

TEST(ConversionMember, YuvPlanesAreNotWrittenTo)
{
    Yv12 picture(100, 110, 120);
    const Yv12 before = picture;
    Bytes packed(4096, kUntouched);
    CSFunc::s_S_YUV420_To_ARGB8888_SSE2(picture.y.data(), picture.u.data(), picture.v.data(), 32, 4,
                                        packed.data());
    EXPECT_EQ(picture.y, before.y);
    EXPECT_EQ(picture.u, before.u);
    EXPECT_EQ(picture.v, before.v);
}

// Aligned or not, the result is the same.
TEST(ConversionMember, Argb8888NeedsNoAlignment)
{
    const Bytes expected = Repeated({0, 0, 254, 0}, 48 * 2);
    for (std::size_t shift = 0; shift < 16; ++shift)
    {
        Yv12 picture(82, 90, 240);
        Bytes packed(4096, kUntouched);
        CSFunc::s_S_YUV420_To_ARGB8888_SSE2(picture.y.data() + shift, picture.u.data() + shift,
                                            picture.v.data() + shift, 48, 2, packed.data() + shift);
        const auto start = packed.begin() + static_cast<std::ptrdiff_t>(shift);
        const auto end = start + static_cast<std::ptrdiff_t>(expected.size());
        EXPECT_EQ(Bytes(start, end), expected) << shift;
        EXPECT_EQ(std::count(packed.begin(), start, kUntouched),
                  static_cast<std::ptrdiff_t>(shift));
        EXPECT_EQ(std::count(end, packed.end(), kUntouched), packed.end() - end);
    }
}

TEST(ConversionMember, AWidthOf20Processes32PixelsPerRow)
{
    // The last row starts at 80 and holds 128 bytes.
    EXPECT_EQ(PackedBy(ToArgb8888, Yv12(16, 128, 128), 20, 2), Bytes(80 + 128, 0));
    // The last row starts at 60 and holds 96 bytes.
    EXPECT_EQ(PackedBy(CSFunc::s_S_YV12_to_RGB24, Yv12(235, 128, 128), 20, 2), Bytes(156, 253));
    // The last row starts at 20 and holds 64 bytes.
    EXPECT_EQ(PackedBy(CSFunc::s_S_YV12_to_YUY2, Yv12(7, 7, 7), 20, 2), Bytes(84, 7));
}

TEST(ConversionMember, AHeightOf5Processes6Rows)
{
    EXPECT_EQ(PackedBy(CSFunc::s_S_YV12_to_RGB24, Yv12(235, 128, 128), 16, 5),
              Bytes(3 * 16 * 6, 253));
    EXPECT_EQ(PackedBy(ToArgb8888, Yv12(16, 128, 128), 16, 5), Bytes(4 * 16 * 6, 0));
}

TEST(ConversionMember, RowsAndChromaRowsAreTakenAtTheirStrides)
{
    Yv12 picture(16, 128, 128);
    picture.y[32 * 3 + 5] = 235;
    picture.u[16 + 1] = 255;
    Bytes expected(4 * 32 * 4, 0);
    for (const std::size_t channel : {0, 1, 2})
    {
        expected[128 * 3 + 4 * 5 + channel] = 253;
    }
    // 129 x 127 / 64 is 255.9; 25 x 127 makes green negative.
    for (const std::size_t pixel : {32 * 2 + 2, 32 * 2 + 3, 32 * 3 + 2, 32 * 3 + 3})
    {
        expected[4 * pixel] = 255;
    }
    EXPECT_EQ(PackedBy(CSFunc::s_S_YV12_to_RGB32, picture, 32, 4), expected);
}

TEST(ConversionMember, Yuy2IsLaidOutAtHalfOfItsRows)
{
    Yv12 picture(0, 50, 60);
    for (int row = 0; row < 4; ++row)
    {
        std::fill_n(picture.y.begin() + 32 * row, 32, static_cast<unsigned char>(10 + row));
    }
    Bytes expected = Repeated({10, 50, 10, 60}, 16);
    for (const unsigned char luma : {12, 12, 13})
    {
        const Bytes half = Repeated({luma, 50, luma, 60}, 8);
        expected.insert(expected.end(), half.begin(), half.end());
    }
    ASSERT_EQ(expected.size(), 5u * 32);
    EXPECT_EQ(PackedBy(CSFunc::s_S_YV12_to_YUY2, picture, 32, 4), expected);
}

TEST(ConversionMember, UyvyIsLaidOutAtHalfOfItsRows)
{
    Yv12 picture(0, 50, 60);
    for (int row = 0; row < 4; ++row)
    {
        std::fill_n(picture.y.begin() + 32 * row, 32, static_cast<unsigned char>(10 + row));
    }
    Bytes expected = Repeated({50, 10, 60, 10}, 16);
    for (const unsigned char luma : {12, 12, 13})
    {
        const Bytes half = Repeated({50, luma, 60, luma}, 8);
        expected.insert(expected.end(), half.begin(), half.end());
    }
    EXPECT_EQ(PackedBy(CSFunc::s_S_YV12_to_UYVY, picture, 32, 4), expected);
}

TEST(ConversionMember, Rgb24ToYv12ReadsRedFirst)
{
    const Yv12 picture = PlanarBy(CSFunc::s_S_RGB24_to_YV12, Repeated({255, 0, 0}, 4096), 32, 4);
    EXPECT_EQ(picture.y, Plane(32 * 4, 82));
    EXPECT_EQ(picture.u, Plane(16 * 2, 90));
    EXPECT_EQ(picture.v, Plane(16 * 2, 240));
}

TEST(ConversionMember, Rgb32ToYv12IgnoresTheFourthByte)
{
    const Yv12 picture =
        PlanarBy(CSFunc::s_S_RGB32_to_YV12, Repeated({255, 0, 0, 77}, 4096), 32, 4);
    EXPECT_EQ(picture.y, Plane(32 * 4, 82));
    EXPECT_EQ(picture.u, Plane(16 * 2, 90));
    EXPECT_EQ(picture.v, Plane(16 * 2, 240));
}

TEST(ConversionMember, PackedRgbRowsAreTakenAtTheirStrides)
{
    for (const std::size_t size : {3, 4})
    {
        Bytes packed(4096, 0);
        packed[size * (32 * 3 + 4)] = 255;  // red at row 3, column 4
        const Yv12 picture = PlanarBy(
            size == 3 ? CSFunc::s_S_RGB24_to_YV12 : CSFunc::s_S_RGB32_to_YV12, packed, 32, 4);
        Bytes y = Plane(32 * 4, 16);
        y[32 * 3 + 4] = 82;
        // A quarter of red: -8.9 and 28.4, both floored.
        Bytes u = Plane(16 * 2, 128);
        u[16 + 2] = 119;
        Bytes v = Plane(16 * 2, 128);
        v[16 + 2] = 156;
        EXPECT_EQ(picture.y, y);
        EXPECT_EQ(picture.u, u);
        EXPECT_EQ(picture.v, v);
    }
}

TEST(ConversionMember, Yuy2ToYv12AveragesTheChromaOfTwoRowsRoundingUp)
{
    Bytes packed = Repeated({1, 10, 1, 200}, 16);
    const Bytes second = Repeated({2, 11, 2, 203}, 16);
    packed.insert(packed.end(), second.begin(), second.end());
    const Yv12 picture = PlanarBy(CSFunc::s_S_YUY2_to_YV12, packed, 32, 2);
    Bytes y = Plane(64, 2);
    std::fill_n(y.begin(), 32, static_cast<unsigned char>(1));
    EXPECT_EQ(picture.y, y);
    EXPECT_EQ(picture.u, Plane(16, 11));
    EXPECT_EQ(picture.v, Plane(16, 202));
}

TEST(ConversionMember, NoSizeBelowOneTouchesAnything)
{
    for (const int size : {0, -1, INT_MIN})
    {
        for (const ToPacked convert : kToPacked)
        {
            convert(nullptr, nullptr, nullptr, nullptr, size, 2);
            convert(nullptr, nullptr, nullptr, nullptr, 16, size);
        }
        CSFunc::s_S_YUV420_To_ARGB8888_SSE2(nullptr, nullptr, nullptr, size, 2, nullptr);
        CSFunc::s_S_YUV420_To_ARGB8888_SSE2(nullptr, nullptr, nullptr, 16, size, nullptr);
        for (const ToPlanar convert : kToPlanar)
        {
            convert(nullptr, nullptr, nullptr, nullptr, size, 2);
            convert(nullptr, nullptr, nullptr, nullptr, 16, size);
        }
    }
}

// ---- Every size ---------------------------------------------------------------------------------

namespace
{

using namespace ostrel::test;

using ToPackedModel = decltype(&ModelYv12ToRgb24);
using ToPlanarModel = decltype(&ModelRgb24ToYv12);

struct Size
{
    int width;
    int height;
};

std::vector<Size> Sizes()
{
    std::vector<Size> sizes = {{352, 288}, {360, 288}, {720, 577}};
    for (int width = 1; width <= 80; ++width)
    {
        for (int height = 1; height <= 9; ++height)
        {
            sizes.push_back({width, height});
        }
    }
    return sizes;
}

// A row as wide as it is processed, and rows past an odd height.
std::size_t AreaWithRoom(const Size& size)
{
    return static_cast<std::size_t>((size.width + 16) * (size.height + 2));
}

Bytes RandomBytes(const Size& size, std::size_t count)
{
    std::mt19937 random(static_cast<unsigned>(100 * size.width + size.height));
    Bytes bytes(count);
    for (unsigned char& byte : bytes)
    {
        byte = static_cast<unsigned char>(random());
    }
    return bytes;
}

void ExpectPacked(ToPacked convert, ToPackedModel model, int boundStride,
                  const std::vector<Size>& sizes = Sizes())
{
    for (const Size& size : sizes)
    {
        const std::size_t area = AreaWithRoom(size);
        const Bytes planes = RandomBytes(size, 3 * area);
        const unsigned char* y = planes.data();
        const unsigned char* u = y + area;
        const unsigned char* v = u + area;
        Bytes expected(4 * area, kUntouched);
        Bytes actual = expected;
        model(expected.data(), boundStride * size.width, y, u, v, size.width, size.width / 2,
              size.width, size.height, false);
        convert(actual.data(), y, u, v, size.width, size.height);
        ASSERT_TRUE(actual == expected) << size.width << "x" << size.height;
    }
}

void ExpectPlanar(ToPlanar convert, ToPlanarModel model, int boundStride)
{
    for (const Size& size : Sizes())
    {
        const std::size_t area = AreaWithRoom(size);
        const Bytes packed = RandomBytes(size, 4 * area);
        Bytes expected(3 * area, kUntouched);
        Bytes actual = expected;
        model(packed.data(), boundStride * size.width, expected.data(), expected.data() + area,
              expected.data() + 2 * area, size.width, size.width / 2, size.width, size.height,
              false);
        convert(packed.data(), actual.data(), actual.data() + area, actual.data() + 2 * area,
                size.width, size.height);
        ASSERT_TRUE(actual == expected) << size.width << "x" << size.height;
    }
}

}  // namespace

TEST(ConversionMember, Yv12ToYuy2EqualsTheModelForEverySize)
{
    ExpectPacked(CSFunc::s_S_YV12_to_YUY2, ModelYv12ToYuy2, 1);
}

TEST(ConversionMember, Yv12ToUyvyEqualsTheModelForEverySize)
{
    ExpectPacked(CSFunc::s_S_YV12_to_UYVY, ModelYv12ToUyvy, 1);
}

TEST(ConversionMember, Yv12ToRgb24EqualsTheModelForEverySize)
{
    ExpectPacked(CSFunc::s_S_YV12_to_RGB24, ModelYv12ToRgb24, 3);
}

TEST(ConversionMember, Yv12ToRgb32EqualsTheModelForEverySize)
{
    ExpectPacked(CSFunc::s_S_YV12_to_RGB32, ModelYv12ToRgb32, 4);
}

// Larger than most caches: such pictures may be stored in another way.
TEST(ConversionMember, ALargeYv12ToRgb32EqualsTheModel)
{
    ExpectPacked(CSFunc::s_S_YV12_to_RGB32, ModelYv12ToRgb32, 4, {{3840, 2160}});
}

TEST(ConversionMember, Yuv420ToArgb8888EqualsTheModelForEverySize)
{
    for (const Size& size : Sizes())
    {
        const std::size_t area = AreaWithRoom(size);
        Bytes planes = RandomBytes(size, 3 * area);
        unsigned char* y = planes.data();
        unsigned char* u = y + area;
        unsigned char* v = u + area;
        Bytes expected(4 * area, kUntouched);
        Bytes actual = expected;
        ModelYuv420ToArgb8888(expected.data(), std::ptrdiff_t{4} * size.width, y, u, v, size.width,
                              size.width / 2, size.width, size.height, false);
        CSFunc::s_S_YUV420_To_ARGB8888_SSE2(y, u, v, size.width, size.height, actual.data());
        ASSERT_TRUE(actual == expected) << size.width << "x" << size.height;
    }
}

TEST(ConversionMember, Rgb24ToYv12EqualsTheModelForEverySize)
{
    ExpectPlanar(CSFunc::s_S_RGB24_to_YV12, ModelRgb24ToYv12, 3);
}

TEST(ConversionMember, Rgb32ToYv12EqualsTheModelForEverySize)
{
    ExpectPlanar(CSFunc::s_S_RGB32_to_YV12, ModelRgb32ToYv12, 4);
}

TEST(ConversionMember, Yuy2ToYv12EqualsTheModelForEverySize)
{
    ExpectPlanar(CSFunc::s_S_YUY2_to_YV12, ModelYuy2ToYv12, 2);
}

// ---- The lock -----------------------------------------------------------------------------------

namespace
{

// Runs a conversion on another thread while this one holds the lock, and then once more without.
void ExpectWaitsForTheLock(const std::function<void()>& convert)
{
    std::atomic<bool> isStarted = false;
    std::atomic<bool> isDone = false;
    CSFunc::vs_csYuvToRgb.Lock();
    std::thread converter(
        [&]
        {
            isStarted = true;
            convert();
            isDone = true;
        });
    while (!isStarted)
    {
        Sleep(1);
    }
    Sleep(60);
    EXPECT_FALSE(isDone);
    CSFunc::vs_csYuvToRgb.Unlock();
    converter.join();
    EXPECT_TRUE(isDone);
}

}  // namespace

TEST(ConversionMember, EveryConversionWaitsForTheLock)
{
    for (const ToPacked convert : kToPacked)
    {
        Yv12 picture(16, 128, 128);
        Bytes packed(4096);
        ExpectWaitsForTheLock(
            [&] {
                convert(packed.data(), picture.y.data(), picture.u.data(), picture.v.data(), 16, 2);
            });
    }
    Yv12 planes(16, 128, 128);
    Bytes argb(4096);
    ExpectWaitsForTheLock(
        [&]
        {
            CSFunc::s_S_YUV420_To_ARGB8888_SSE2(planes.y.data(), planes.u.data(), planes.v.data(),
                                                16, 2, argb.data());
        });
    for (const ToPlanar convert : kToPlanar)
    {
        Yv12 picture(16, 128, 128);
        const Bytes packed(4096);
        ExpectWaitsForTheLock(
            [&] {
                convert(packed.data(), picture.y.data(), picture.u.data(), picture.v.data(), 16, 2);
            });
    }
}

TEST(ConversionMember, TheLockIsFreeAfterAConversion)
{
    const Yv12 picture(16, 128, 128);
    for (const ToPacked convert : kToPacked)
    {
        PackedBy(convert, picture, 16, 2);
        PackedBy(convert, picture, 0, 0);
    }
    PackedBy(ToArgb8888, picture, 16, 2);
    PackedBy(ToArgb8888, picture, 0, 0);
    for (const ToPlanar convert : kToPlanar)
    {
        PlanarBy(convert, Bytes(4096), 16, 2);
        PlanarBy(convert, Bytes(4096), 0, 0);
    }
    bool isFree = false;
    std::thread other(
        [&]
        {
            CRITICAL_SECTION* section = CSFunc::vs_csYuvToRgb;
            isFree = TryEnterCriticalSection(section) != FALSE;
            if (isFree)
            {
                LeaveCriticalSection(section);
            }
        });
    other.join();
    EXPECT_TRUE(isFree);
}

TEST(ConversionMember, AThreadThatHoldsTheLockMayConvert)
{
    CSFunc::vs_csYuvToRgb.Lock();
    EXPECT_EQ(PackedBy(CSFunc::s_S_YV12_to_RGB24, Yv12(235, 128, 128), 16, 2), Bytes(96, 253));
    CSFunc::vs_csYuvToRgb.Unlock();
}
