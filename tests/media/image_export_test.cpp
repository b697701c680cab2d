#include "media/image_export.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "conversion_model.h"
#include "media/colour_conversion.h"

namespace
{

using namespace ostrel::media;
using namespace std::string_view_literals;
using Bytes = std::vector<unsigned char>;

constexpr std::size_t kRoom = 64;
constexpr unsigned char kUntouched = 0xA5;

std::size_t Area(int width, int rows)
{
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(rows);
}

// A block on the heap of exactly this size: the sanitizer sees the first byte outside.
std::unique_ptr<unsigned char[]> ExactCopy(const Bytes& bytes)
{
    std::unique_ptr<unsigned char[]> block(new unsigned char[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), block.get());
    return block;
}

Bytes RandomBytes(std::size_t size)
{
    std::mt19937 random(static_cast<unsigned>(size));
    Bytes bytes(size);
    for (unsigned char& byte : bytes)
    {
        byte = static_cast<unsigned char>(random());
    }
    return bytes;
}

// The planes from an offset on, with room for all that the conversion reads.
Bytes PlaneWithRoom(const Bytes& picture, std::size_t offset, unsigned char outside)
{
    Bytes plane(picture.begin() + static_cast<std::ptrdiff_t>(offset), picture.end());
    plane.resize(3 * picture.size() + kRoom, outside);
    return plane;
}

// The conversion where nothing needs to be confined: Y, then V, then U, each chroma plane a quarter
// of Y.
Bytes ConvertWithRoom(const Bytes& picture, int width, int rows)
{
    const std::size_t area = Area(width, rows);
    const Bytes y = PlaneWithRoom(picture, 0, 16);
    const Bytes v = PlaneWithRoom(picture, area, 128);
    const Bytes u = PlaneWithRoom(picture, area + area / 4, 128);
    Bytes rgb(3 * (area + static_cast<std::size_t>(width)) + 3 * kRoom);
    ostrel::test::ModelYv12ToRgb24(rgb.data(), 3 * width, y.data(), u.data(), v.data(), width,
                                   width / 2, width, rows, false);
    rgb.resize(3 * area);
    return rgb;
}

// ---- Format ------------------------------------------------------------------------------------

TEST(ImageFileFormat, NameWithBmpIsBmp)
{
    EXPECT_EQ(ChooseImageFileFormat(L"a.bmp"), ImageFileFormat::Bmp);
}

TEST(ImageFileFormat, NameWithPngIsPng)
{
    EXPECT_EQ(ChooseImageFileFormat(L"a.png"), ImageFileFormat::Png);
}

TEST(ImageFileFormat, AnyOtherNameIsJpeg)
{
    for (const auto path : {L"a.jpg"sv, L"a.jpeg"sv, L"a"sv, L"a."sv, L"a.gif"sv, L"bmp"sv,
                            L"a bmp"sv, L"a.bm"sv, L"a.b.mp"sv, L""sv, L"a.pn"sv, L"png"sv})
    {
        EXPECT_EQ(ChooseImageFileFormat(path), ImageFileFormat::Jpeg) << path.size();
    }
}

TEST(ImageFileFormat, CapitalsDoNotCount)
{
    EXPECT_EQ(ChooseImageFileFormat(L"a.PNG"), ImageFileFormat::Png);
    EXPECT_EQ(ChooseImageFileFormat(L"a.BmP"), ImageFileFormat::Bmp);
}

TEST(ImageFileFormat, TextCountsAnywhereInThePath)
{
    EXPECT_EQ(ChooseImageFileFormat(L"c:\\shots.bmp\\a.jpg"), ImageFileFormat::Bmp);
    EXPECT_EQ(ChooseImageFileFormat(L"c:\\shots.pngs\\a"), ImageFileFormat::Png);
}

TEST(ImageFileFormat, BmpGoesBeforePngWhereverTheyStand)
{
    EXPECT_EQ(ChooseImageFileFormat(L"a.png.bmp"), ImageFileFormat::Bmp);
    EXPECT_EQ(ChooseImageFileFormat(L"a.bmp.png"), ImageFileFormat::Bmp);
}

TEST(ImageFileFormat, TextAtTheStartDoesNotCount)
{
    EXPECT_EQ(ChooseImageFileFormat(L".bmp"), ImageFileFormat::Jpeg);
    EXPECT_EQ(ChooseImageFileFormat(L".png"), ImageFileFormat::Jpeg);
    EXPECT_EQ(ChooseImageFileFormat(L".bmp.png"), ImageFileFormat::Png);
}

TEST(ImageFileFormat, TextBehindOneAtTheStartCounts)
{
    EXPECT_EQ(ChooseImageFileFormat(L".bmp.bmp"), ImageFileFormat::Bmp);
    EXPECT_EQ(ChooseImageFileFormat(L".png\\.png"), ImageFileFormat::Png);
}

TEST(ImageFileFormat, LettersOutsideAsciiStandForThemselves)
{
    EXPECT_EQ(ChooseImageFileFormat(L"\u0441\u043d.png"), ImageFileFormat::Png);
    // Full-width letters.
    EXPECT_EQ(ChooseImageFileFormat(L"a.\uff42\uff4d\uff50"), ImageFileFormat::Jpeg);
}

// ---- Sizes -------------------------------------------------------------------------------------

TEST(DibSize, RowsArePaddedTo32Bits)
{
    EXPECT_EQ(DibSize(4, 3, 24), 36U);
    EXPECT_EQ(DibSize(5, 3, 24), 48U);
    EXPECT_EQ(DibSize(5, 3, 32), 60U);
    EXPECT_EQ(DibSize(5, 3, 16), 36U);
    EXPECT_EQ(DibSize(33, 3, 1), 24U);
}

TEST(DibSize, SignOfTheHeightDoesNotCount)
{
    EXPECT_EQ(DibSize(5, -3, 24), DibSize(5, 3, 24));
}

TEST(DibSize, IsZeroWithoutAPicture)
{
    EXPECT_EQ(DibSize(0, 3, 24), 0U);
    EXPECT_EQ(DibSize(-1, 3, 24), 0U);
    EXPECT_EQ(DibSize(INT_MIN, 3, 24), 0U);
    EXPECT_EQ(DibSize(3, 0, 24), 0U);
    EXPECT_EQ(DibSize(3, INT_MIN, 24), 0U);
    EXPECT_EQ(DibSize(3, 3, 0), 0U);
}

TEST(DibSize, IsZeroAboveWhat31BitsHold)
{
    EXPECT_EQ(DibSize(4, 178956970, 24), 2147483640U);
    EXPECT_EQ(DibSize(4, 178956971, 24), 0U);
    // 32 bits would wrap to 0 here, and the product of the last to a small number.
    EXPECT_EQ(DibSize(65536, 65536, 24), 0U);
    EXPECT_EQ(DibSize(INT_MAX, INT_MAX, 24), 0U);
    EXPECT_EQ(DibSize(INT_MAX, -INT_MAX, UINT_MAX), 0U);
}

TEST(CountRows, IsTheMagnitudeOrZeroWithoutOne)
{
    EXPECT_EQ(CountRows(5), 5);
    EXPECT_EQ(CountRows(-5), 5);
    EXPECT_EQ(CountRows(0), 0);
    EXPECT_EQ(CountRows(INT_MAX), INT_MAX);
    EXPECT_EQ(CountRows(-INT_MAX), INT_MAX);
    EXPECT_EQ(CountRows(INT_MIN), 0);
}

TEST(PlanarLayout, IsYThenVThenUEachAQuarterOfY)
{
    const PlanarLayout layout = LayOutPlanar(16, 10);
    EXPECT_EQ(layout.vOffset, 160U);
    EXPECT_EQ(layout.uOffset, 200U);
    EXPECT_EQ(layout.pictureSize, 240U);
    EXPECT_EQ(layout.rgbSize, 480U);
}

TEST(PlanarLayout, QuarterIsCut)
{
    const PlanarLayout layout = LayOutPlanar(5, -3);
    EXPECT_EQ(layout.vOffset, 15U);
    EXPECT_EQ(layout.uOffset, 18U);
    EXPECT_EQ(layout.pictureSize, 21U);
    EXPECT_EQ(layout.rgbSize, 45U);
}

// ---- Conversion --------------------------------------------------------------------------------

TEST(PlanarForDib, EveryBlockKeepsInsideThePictureAndConvertsAsWithRoom)
{
    for (int width = 1; width <= 50; ++width)
    {
        for (int rows = 1; rows <= 9; ++rows)
        {
            const std::size_t area = Area(width, rows);
            const Bytes picture = RandomBytes(area + 2 * (area / 4));
            const Bytes expected = ConvertWithRoom(picture, width, rows);
            for (const int height : {rows, -rows})
            {
                SCOPED_TRACE(testing::Message() << width << " x " << height);
                const auto exact = ExactCopy(picture);
                const std::size_t dibSize = DibSize(width, height, 24);
                const auto rgb = ExactCopy(Bytes(dibSize, kUntouched));
                ConvertPlanarForDib(&ConvertYv12ToRgb24, rgb.get(), exact.get(), width, height);
                EXPECT_EQ(Bytes(rgb.get(), rgb.get() + expected.size()), expected);
                EXPECT_EQ(Bytes(rgb.get() + expected.size(), rgb.get() + dibSize),
                          Bytes(dibSize - expected.size(), kUntouched));
            }
        }
    }
}

TEST(PlanarForDib, FirstChromaPlaneIsV)
{
    // Red by its V; taken for U, it would be blue.
    Bytes picture(16 * 2, 82);
    picture.resize(16 * 2 + 8, 240);
    picture.resize(16 * 2 + 16, 90);
    Bytes rgb(3 * 16 * 2);
    ConvertPlanarForDib(&ConvertYv12ToRgb24, rgb.data(), picture.data(), 16, 2);
    for (std::size_t i = 0; i < rgb.size(); i += 3)
    {
        EXPECT_EQ(rgb[i + 2], 254);
        EXPECT_EQ(rgb[i + 1], 0);
        EXPECT_EQ(rgb[i], 0);
    }
}

}  // namespace
