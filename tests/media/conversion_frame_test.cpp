// Every kernel of every instruction set against the model: which bytes it writes, and with what.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
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

constexpr int kWidest = 80;
constexpr int kHighest = 9;

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

struct ToPacked
{
    const char* name;
    int bytesPerPixel;
    // What an exported member gives, in bytes per pixel of width.
    int boundStride;
    ToPackedKernel ConversionKernels::*kernel;
    ToPackedKernel model;
};

constexpr ToPacked kToPacked[] = {
    {"YV12 to YUY2", 2, 1, &ConversionKernels::yv12ToYuy2, ModelYv12ToYuy2},
    {"YV12 to UYVY", 2, 1, &ConversionKernels::yv12ToUyvy, ModelYv12ToUyvy},
    {"YV12 to RGB24", 3, 3, &ConversionKernels::yv12ToRgb24, ModelYv12ToRgb24},
    {"YV12 to RGB32", 4, 4, &ConversionKernels::yv12ToRgb32, ModelYv12ToRgb32},
    {"YUV420 to ARGB8888", 4, 4, &ConversionKernels::yuv420ToArgb8888, ModelYuv420ToArgb8888},
};

struct ToPlanar
{
    const char* name;
    int bytesPerPixel;
    ToPlanarKernel ConversionKernels::*kernel;
    ToPlanarKernel model;
};

constexpr ToPlanar kToPlanar[] = {
    {"RGB24 to YV12", 3, &ConversionKernels::rgb24ToYv12, ModelRgb24ToYv12},
    {"RGB32 to YV12", 4, &ConversionKernels::rgb32ToYv12, ModelRgb32ToYv12},
    {"YUY2 to YV12", 2, &ConversionKernels::yuy2ToYv12, ModelYuy2ToYv12},
};

struct Case
{
    int width;
    int height;
    bool flip;

    std::ptrdiff_t RoundedWidth() const { return (width + 15) / 16 * 16; }
    std::ptrdiff_t Rows() const { return (height + 1) / 2 * 2; }
    std::string Name() const
    {
        return std::to_string(width) + "x" + std::to_string(height) + (flip ? " flipped" : "");
    }
};

std::vector<Case> AllCases()
{
    std::vector<Case> cases;
    for (int width = 1; width <= kWidest; ++width)
    {
        for (int height = 1; height <= kHighest; ++height)
        {
            cases.push_back({width, height, false});
            cases.push_back({width, height, true});
        }
    }
    return cases;
}

enum class Filling
{
    Random,
    Extremes
};

void Fill(Bytes& bytes, Filling filling, std::mt19937& random)
{
    for (unsigned char& byte : bytes)
    {
        const auto value = static_cast<unsigned char>(random());
        byte = filling == Filling::Random ? value : value % 2 == 0 ? 0 : 255;
    }
}

// An input that holds exactly the bytes that may be read, on the heap, so that the sanitizer sees
// any other read.
class Input
{
public:
    // Rows from the first to the last one, each of which is read for rowSize bytes.
    Input(std::ptrdiff_t stride, std::ptrdiff_t rows, std::ptrdiff_t rowSize, Filling filling,
          std::mt19937& random)
        : m_bytes(static_cast<std::size_t>(stride * (rows - 1) + rowSize))
    {
        Fill(m_bytes, filling, random);
        m_bytes.shrink_to_fit();
    }

    const unsigned char* Data() const { return m_bytes.data(); }

private:
    Bytes m_bytes;
};

// An output with room on both sides whose bytes must stay as they were.
class Output
{
public:
    explicit Output(std::ptrdiff_t size) : m_bytes(static_cast<std::size_t>(size + 2 * kRoom))
    {
        for (std::size_t i = 0; i < m_bytes.size(); ++i)
        {
            m_bytes[i] = static_cast<unsigned char>(i * 7 + 3);
        }
    }

    unsigned char* Data() { return m_bytes.data() + kRoom; }
    const Bytes& All() const { return m_bytes; }

private:
    static constexpr std::ptrdiff_t kRoom = 2048;
    Bytes m_bytes;
};

std::string DifferenceBetween(const Bytes& expected, const Bytes& actual)
{
    if (expected == actual)
    {
        return {};
    }
    for (std::size_t i = 0; i < expected.size(); ++i)
    {
        if (expected[i] != actual[i])
        {
            return "byte " + std::to_string(i) + " is " + std::to_string(actual[i]) + ", not " +
                   std::to_string(expected[i]);
        }
    }
    return "sizes differ";
}

void ExpectPacked(const ToPacked& conversion, const Case& picture, std::ptrdiff_t packedStride,
                  std::ptrdiff_t yStride, std::ptrdiff_t chromaStride, Filling filling)
{
    std::mt19937 random(static_cast<unsigned>(picture.width * 100 + picture.height));
    const std::ptrdiff_t rows = picture.Rows();
    const std::ptrdiff_t rounded = picture.RoundedWidth();
    const Input y(yStride, rows, rounded, filling, random);
    const Input u(chromaStride, rows / 2, rounded / 2, filling, random);
    const Input v(chromaStride, rows / 2, rounded / 2, filling, random);
    const std::ptrdiff_t size = packedStride * rows + conversion.bytesPerPixel * rounded;

    Output expected(size);
    conversion.model(expected.Data(), packedStride, y.Data(), u.Data(), v.Data(), yStride,
                     chromaStride, picture.width, picture.height, picture.flip);
    for (const InstructionSet& set : InstructionSets())
    {
        Output actual(size);
        (set.kernels->*conversion.kernel)(actual.Data(), packedStride, y.Data(), u.Data(), v.Data(),
                                          yStride, chromaStride, picture.width, picture.height,
                                          picture.flip);
        ASSERT_EQ(DifferenceBetween(expected.All(), actual.All()), "")
            << conversion.name << " " << set.name << " " << picture.Name();
    }
}

// Where the planes of an output lie in one buffer.
struct PlanarLayout
{
    std::ptrdiff_t y;
    std::ptrdiff_t u;
    std::ptrdiff_t v;
    std::ptrdiff_t yStride;
    std::ptrdiff_t chromaStride;
    std::ptrdiff_t size;
};

PlanarLayout PlanesApart(const Case& picture, std::ptrdiff_t yStride, std::ptrdiff_t chromaStride)
{
    const std::ptrdiff_t ySize = picture.Rows() * yStride + picture.RoundedWidth();
    const std::ptrdiff_t chromaSize = picture.Rows() * chromaStride + picture.RoundedWidth();
    return {0, ySize, ySize + chromaSize, yStride, chromaStride, ySize + 2 * chromaSize};
}

// As decoders hand pictures out: not a byte between the planes, which then run into each other.
PlanarLayout PlanesTogether(const Case& picture, bool isVFirst)
{
    const std::ptrdiff_t luma = std::ptrdiff_t{picture.width} * picture.height;
    const std::ptrdiff_t chroma = std::ptrdiff_t{picture.width / 2} * (picture.height / 2);
    const std::ptrdiff_t u = isVFirst ? luma + chroma : luma;
    const std::ptrdiff_t v = isVFirst ? luma : luma + chroma;
    return {0, u, v, picture.width, picture.width / 2, luma + 2 * chroma};
}

void ExpectPlanar(const ToPlanar& conversion, const Case& picture, std::ptrdiff_t packedStride,
                  const PlanarLayout& layout, Filling filling)
{
    std::mt19937 random(static_cast<unsigned>(picture.width * 100 + picture.height));
    const std::ptrdiff_t rows = picture.Rows();
    const Input packed(packedStride, rows, conversion.bytesPerPixel * picture.RoundedWidth(),
                       filling, random);
    // Walked upwards, an odd height ends one row above the picture.
    const std::ptrdiff_t rowsAbove = picture.flip ? rows - picture.height : 0;
    const unsigned char* first = packed.Data() + rowsAbove * packedStride;

    Output expected(layout.size);
    conversion.model(first, packedStride, expected.Data() + layout.y, expected.Data() + layout.u,
                     expected.Data() + layout.v, layout.yStride, layout.chromaStride, picture.width,
                     picture.height, picture.flip);
    for (const InstructionSet& set : InstructionSets())
    {
        Output actual(layout.size);
        (set.kernels->*conversion.kernel)(first, packedStride, actual.Data() + layout.y,
                                          actual.Data() + layout.u, actual.Data() + layout.v,
                                          layout.yStride, layout.chromaStride, picture.width,
                                          picture.height, picture.flip);
        ASSERT_EQ(DifferenceBetween(expected.All(), actual.All()), "")
            << conversion.name << " " << set.name << " " << picture.Name();
    }
}

}  // namespace

TEST(ConversionFrame, PackedPicturesWithTheMembersStridesEqualTheModel)
{
    for (const ToPacked& conversion : kToPacked)
    {
        for (const Case& picture : AllCases())
        {
            for (const Filling filling : {Filling::Random, Filling::Extremes})
            {
                ExpectPacked(conversion, picture, conversion.boundStride * picture.width,
                             picture.width, picture.width / 2, filling);
            }
        }
    }
}

TEST(ConversionFrame, PackedPicturesWithWideStridesEqualTheModel)
{
    for (const ToPacked& conversion : kToPacked)
    {
        for (const Case& picture : AllCases())
        {
            const std::ptrdiff_t rounded = picture.RoundedWidth();
            ExpectPacked(conversion, picture, conversion.bytesPerPixel * rounded + 5, rounded + 3,
                         rounded / 2 + 1, Filling::Random);
        }
    }
}

TEST(ConversionFrame, PackedPicturesWithNarrowStridesEqualTheModel)
{
    for (const ToPacked& conversion : kToPacked)
    {
        for (const Case& picture : AllCases())
        {
            ExpectPacked(conversion, picture, picture.width, picture.width, picture.width / 2,
                         Filling::Random);
        }
    }
}

TEST(ConversionFrame, PlanarPicturesWithTheMembersStridesEqualTheModel)
{
    for (const ToPlanar& conversion : kToPlanar)
    {
        for (const Case& picture : AllCases())
        {
            for (const Filling filling : {Filling::Random, Filling::Extremes})
            {
                ExpectPlanar(conversion, picture, conversion.bytesPerPixel * picture.width,
                             PlanesApart(picture, picture.width, picture.width / 2), filling);
            }
        }
    }
}

TEST(ConversionFrame, PlanarPicturesWithWideStridesEqualTheModel)
{
    for (const ToPlanar& conversion : kToPlanar)
    {
        for (const Case& picture : AllCases())
        {
            const std::ptrdiff_t rounded = picture.RoundedWidth();
            ExpectPlanar(conversion, picture, conversion.bytesPerPixel * rounded + 5,
                         PlanesApart(picture, rounded + 3, rounded / 2 + 1), Filling::Random);
        }
    }
}

TEST(ConversionFrame, PlanesOfOneBufferThatRunIntoEachOtherEqualTheModel)
{
    for (const ToPlanar& conversion : kToPlanar)
    {
        for (const Case& picture : AllCases())
        {
            for (const bool isVFirst : {true, false})
            {
                ExpectPlanar(conversion, picture, conversion.bytesPerPixel * picture.width,
                             PlanesTogether(picture, isVFirst), Filling::Random);
            }
        }
    }
}

// Such a picture may be stored in another way, which must neither show in it nor around it.
TEST(ConversionFrame, PackedPicturesLargerThanTheCacheEqualTheModel)
{
    const auto cache = static_cast<int>(std::min(LastLevelCacheSize(), std::size_t{64} << 20));
    for (const ToPacked& conversion : kToPacked)
    {
        constexpr int kWidth = 2064;
        const int height = cache / (conversion.bytesPerPixel + 1) / kWidth / 2 * 2 + 4;
        const bool flip = conversion.bytesPerPixel == 4;
        ExpectPacked(conversion, {kWidth, height, flip},
                     std::ptrdiff_t{conversion.bytesPerPixel} * kWidth + 3, kWidth, kWidth / 2,
                     Filling::Random);
    }
}

TEST(ConversionFrame, OverlappingRowsOfAPictureLargerThanTheCacheEqualTheModel)
{
    const auto cache = static_cast<int>(std::min(LastLevelCacheSize(), std::size_t{64} << 20));
    constexpr int kWidth = 1001;
    ExpectPacked(kToPacked[2], {kWidth, cache / 4 / kWidth + 2, false}, std::ptrdiff_t{3} * kWidth,
                 kWidth, kWidth / 2, Filling::Random);
}

TEST(ConversionFrame, NoSizeBelowOneTouchesAnything)
{
    for (const InstructionSet& set : InstructionSets())
    {
        for (const Case& picture : {Case{0, 4, false}, Case{4, 0, false}, Case{-1, 4, true},
                                    Case{4, -1, true}, Case{INT32_MIN, INT32_MIN, true}})
        {
            for (const ToPacked& conversion : kToPacked)
            {
                (set.kernels->*conversion.kernel)(nullptr, 0, nullptr, nullptr, nullptr, 0, 0,
                                                  picture.width, picture.height, picture.flip);
            }
            for (const ToPlanar& conversion : kToPlanar)
            {
                (set.kernels->*conversion.kernel)(nullptr, 0, nullptr, nullptr, nullptr, 0, 0,
                                                  picture.width, picture.height, picture.flip);
            }
        }
    }
}

// Rows gigabytes apart, in memory that is only reserved: offsets must not be worked out in 32 bits.
TEST(ConversionFrame, RowsFarApartAreFound)
{
    constexpr std::ptrdiff_t kStride = std::ptrdiff_t{3} << 30;
    constexpr std::size_t kSize = std::size_t{4} * kStride;
    constexpr int kWidth = 32;
    const auto release = [](void* memory) { munmap(memory, kSize); };
    void* reserved = mmap(nullptr, kSize, PROT_READ | PROT_WRITE,
                          MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(reserved, MAP_FAILED);
    const std::unique_ptr<void, decltype(release)> owner(reserved, release);
    auto* packed = static_cast<unsigned char*>(reserved);

    const Bytes luma(kWidth * 4, 235);
    const Bytes chroma(kWidth, 128);
    for (const InstructionSet& set : InstructionSets())
    {
        for (const bool flip : {false, true})
        {
            for (int row = 0; row < 4; ++row)
            {
                std::memset(packed + row * kStride, 0, 3 * kWidth);
            }
            set.kernels->yv12ToRgb24(packed, kStride, luma.data(), chroma.data(), chroma.data(),
                                     kWidth, kWidth / 2, kWidth, 4, flip);
            for (int row = 0; row < 4; ++row)
            {
                const unsigned char* start = packed + row * kStride;
                EXPECT_EQ(Bytes(start, start + 3 * kWidth), Bytes(3 * kWidth, 253)) << set.name;
            }
            Bytes y(kWidth * 4);
            Bytes u(kWidth);
            Bytes v(kWidth);
            set.kernels->rgb24ToYv12(packed, kStride, y.data(), u.data(), v.data(), kWidth,
                                     kWidth / 2, kWidth, 4, flip);
            // (2105 + 4129 + 803) x 253 / 8192 = 217.3, and 16 more.
            EXPECT_EQ(y, Bytes(kWidth * 4, 233)) << set.name;
            EXPECT_EQ(u, chroma) << set.name;
            EXPECT_EQ(v, Bytes(kWidth, 128)) << set.name;
        }
    }
}
