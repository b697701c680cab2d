/// @file
/// CSFunc::s_S_SaveImg() from the client's side: what stands in the files, and when there is none.
#include <winsock2.h>

#include <windows.h>

#include <atlimage.h>
#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "CSFunc.h"
#include "conversion_model.h"
#include "support/import_patch.h"
#include "support/output_capture.h"

namespace
{

namespace fs = std::filesystem;
using Bytes = std::vector<unsigned char>;
using ostrel::test::ImportPatch;

constexpr DWORD kYv12 = 0x32315659;

// A picture behind whose last byte the first access faults.
class GuardedPicture
{
public:
    explicit GuardedPicture(const Bytes& bytes)
    {
        constexpr std::size_t kPage = 4096;
        const std::size_t room = (bytes.size() + kPage - 1) / kPage * kPage;
        m_block = static_cast<unsigned char*>(
            VirtualAlloc(nullptr, room + kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        DWORD before = 0;
        if (m_block == nullptr || !VirtualProtect(m_block + room, kPage, PAGE_NOACCESS, &before))
        {
            throw std::runtime_error("no guarded memory");
        }
        m_bytes = m_block + room - bytes.size();
        std::copy(bytes.begin(), bytes.end(), m_bytes);
    }
    ~GuardedPicture() { VirtualFree(m_block, 0, MEM_RELEASE); }
    GuardedPicture(const GuardedPicture&) = delete;
    GuardedPicture& operator=(const GuardedPicture&) = delete;

    unsigned char* Get() const { return m_bytes; }

private:
    unsigned char* m_block;
    unsigned char* m_bytes;
};

struct Pixel
{
    int r;
    int g;
    int b;

    bool operator==(const Pixel& other) const
    {
        return r == other.r && g == other.g && b == other.b;
    }
};

std::ostream& operator<<(std::ostream& out, const Pixel& pixel)
{
    return out << pixel.r << "," << pixel.g << "," << pixel.b;
}

BITMAPINFOHEADER Header(int width, int height, int bits, DWORD compression = BI_RGB)
{
    BITMAPINFOHEADER header = {};
    header.biSize = sizeof(header);
    header.biWidth = width;
    header.biHeight = height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<WORD>(bits);
    header.biCompression = compression;
    return header;
}

// Different in every place of a small picture.
Pixel ColourAt(int x, int y)
{
    return {(x * 37 + y * 5) % 256, (x * 11 + y * 71 + 40) % 256, (x * 3 + y * 17 + 90) % 256};
}

// Rows in the order of memory: the first is the picture's top row (top-down) or its bottom row.
Bytes PackedPicture(int width, int height, int bits)
{
    const int rows = std::abs(height);
    const int bytesPerPixel = bits / 8;
    const int rowSize = (width * bits + 31) / 32 * 4;
    Bytes bytes(static_cast<std::size_t>(rowSize) * static_cast<std::size_t>(rows), 0xEE);
    for (int row = 0; row < rows; ++row)
    {
        for (int x = 0; x < width; ++x)
        {
            const Pixel pixel = ColourAt(x, height < 0 ? row : rows - 1 - row);
            unsigned char* const place = bytes.data() + row * rowSize + x * bytesPerPixel;
            place[0] = static_cast<unsigned char>(pixel.b);
            place[1] = static_cast<unsigned char>(pixel.g);
            place[2] = static_cast<unsigned char>(pixel.r);
        }
    }
    return bytes;
}

Bytes PlanarPicture(int width, int rows)
{
    const std::size_t area = static_cast<std::size_t>(width) * static_cast<std::size_t>(rows);
    Bytes bytes(area + 2 * (area / 4));
    for (std::size_t i = 0; i < bytes.size(); ++i)
    {
        bytes[i] = static_cast<unsigned char>(40 + i * 7 % 170);
    }
    return bytes;
}

// Pixel (x, y) of a planar picture, its first row counted as the top one.
Pixel PlanarColourAt(const Bytes& picture, int width, int rows, int x, int y)
{
    const int area = width * rows;
    const int chroma = y / 2 * (width / 2) + x / 2;
    const auto at = [&](int i) { return picture[static_cast<std::size_t>(i)]; };
    const ostrel::test::ModelColour colour =
        ostrel::test::ModelRgb(at(y * width + x), at(area + area / 4 + chroma), at(area + chroma));
    return {colour.r, colour.g, colour.b};
}

Bytes ReadFile(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
}

bool StartsWith(const Bytes& bytes, const std::string& text)
{
    return bytes.size() >= text.size() && std::memcmp(bytes.data(), text.data(), text.size()) == 0;
}

std::string FormatOf(const fs::path& path)
{
    const Bytes bytes = ReadFile(path);
    return StartsWith(bytes, "BM")             ? "BMP"
           : StartsWith(bytes, "\x89PNG")      ? "PNG"
           : StartsWith(bytes, "\xFF\xD8\xFF") ? "JPEG"
           : bytes.empty()                     ? "none"
                                               : "unknown";
}

int Read(const Bytes& bytes, std::size_t offset, int count)
{
    unsigned value = 0;
    for (int i = 0; i < count; ++i)
    {
        value |= static_cast<unsigned>(bytes.at(offset + static_cast<std::size_t>(i))) << 8 * i;
    }
    return static_cast<int>(value);
}

// A BMP file of 24 bits per pixel, read by its definition.
struct BmpFile
{
    explicit BmpFile(const fs::path& path) : bytes(ReadFile(path))
    {
        if (!StartsWith(bytes, "BM"))
        {
            throw std::runtime_error("no BMP");
        }
        width = Read(bytes, 18, 4);
        storedHeight = Read(bytes, 22, 4);
        bits = Read(bytes, 28, 2);
        height = std::abs(storedHeight);
    }

    Pixel At(int x, int y) const
    {
        const int row = storedHeight < 0 ? y : height - 1 - y;
        const auto place =
            static_cast<std::size_t>(Read(bytes, 10, 4) + row * ((width * 3 + 3) / 4 * 4) + x * 3);
        return {bytes.at(place + 2), bytes.at(place + 1), bytes.at(place)};
    }

    Bytes bytes;
    int width;
    int height;
    int storedHeight;
    int bits;
};

class SaveImg : public testing::Test
{
protected:
    SaveImg()
        : folder(fs::temp_directory_path() /
                 (L"ostrel_image_" + std::to_wstring(GetCurrentProcessId())))
    {
        fs::remove_all(folder);
        fs::create_directory(folder);
    }
    ~SaveImg() override
    {
        std::error_code error;
        fs::remove_all(folder, error);
    }

    fs::path Save(const std::wstring& name, const BITMAPINFOHEADER& header, const Bytes& picture)
    {
        const GuardedPicture guarded(picture);
        const fs::path path = folder / name;
        CSFunc::s_S_SaveImg(path.wstring().c_str(), header, guarded.Get());
        return path;
    }

    fs::path SavePacked(const std::wstring& name, int width = 8, int height = 6, int bits = 24)
    {
        return Save(name, Header(width, height, bits), PackedPicture(width, height, bits));
    }

    std::size_t FileCount() const
    {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }

    void ExpectPacked(int width, int height, int bits)
    {
        SCOPED_TRACE(testing::Message() << width << " x " << height << " x " << bits);
        const BmpFile file(SavePacked(L"packed.bmp", width, height, bits));
        EXPECT_EQ(file.bits, 24);
        ASSERT_EQ(file.width, width);
        ASSERT_EQ(file.height, std::abs(height));
        for (int y = 0; y < file.height; ++y)
        {
            for (int x = 0; x < width; ++x)
            {
                ASSERT_EQ(file.At(x, y), ColourAt(x, y)) << x << "," << y;
            }
        }
    }

    void ExpectAllBlack(const fs::path& path, int width, int height)
    {
        const BmpFile file(path);
        ASSERT_EQ(file.width, width);
        ASSERT_EQ(file.height, height);
        for (int y = 0; y < height; ++y)
        {
            for (int x = 0; x < width; ++x)
            {
                ASSERT_EQ(file.At(x, y), (Pixel{0, 0, 0})) << x << "," << y;
            }
        }
    }

    const fs::path folder;
};

// ---- Packed pictures ---------------------------------------------------------------------------

TEST_F(SaveImg, BottomUpPictureOf24BitsComesOutUpright)
{
    ExpectPacked(8, 6, 24);
}

TEST_F(SaveImg, TopDownPictureOf24BitsComesOutUpright)
{
    ExpectPacked(8, -6, 24);
}

TEST_F(SaveImg, BottomUpPictureOf32BitsIsSavedWith24)
{
    ExpectPacked(8, 6, 32);
}

TEST_F(SaveImg, TopDownPictureOf32BitsIsSavedWith24)
{
    ExpectPacked(8, -6, 32);
}

TEST_F(SaveImg, PackedPictureOfAnySizeIsReadNoFurtherThanItGoes)
{
    for (int width = 1; width <= 9; ++width)
    {
        for (const int height : {1, 2, 5})
        {
            ExpectPacked(width, height, 24);
            ExpectPacked(width, -height, 24);
            ExpectPacked(width, height, 32);
            ExpectPacked(width, -height, 32);
        }
    }
}

TEST_F(SaveImg, OtherFieldsOfTheHeaderGoToThePlatform)
{
    // 16 bits per pixel: five each of red, green and blue.
    const Bytes picture = {0x00, 0x7C, 0xE0, 0x03, 0x1F, 0x00, 0xFF, 0x7F};
    const BmpFile file(Save(L"a.bmp", Header(4, 1, 16), picture));
    EXPECT_EQ(file.bits, 24);
    EXPECT_EQ(file.At(0, 0), (Pixel{255, 0, 0}));
    EXPECT_EQ(file.At(1, 0), (Pixel{0, 255, 0}));
    EXPECT_EQ(file.At(2, 0), (Pixel{0, 0, 255}));
    EXPECT_EQ(file.At(3, 0), (Pixel{255, 255, 255}));
}

TEST_F(SaveImg, PictureWithAColourTableIsBlackForThereIsNone)
{
    ExpectAllBlack(Save(L"a.bmp", Header(4, 2, 8), Bytes(8, 200)), 4, 2);
}

TEST_F(SaveImg, StatedColourTableIsNotReadBehindTheHeader)
{
    BITMAPINFOHEADER header = Header(4, 2, 8);
    header.biClrUsed = 0xFFFFFFFF;
    ExpectAllBlack(Save(L"a.bmp", header, Bytes(8, 200)), 4, 2);
}

TEST_F(SaveImg, PngHoldsThePixelsExactly)
{
    const fs::path path = SavePacked(L"a.png", 7, -5, 32);
    CImage image;
    ASSERT_EQ(image.Load(path.wstring().c_str()), S_OK);
    ASSERT_EQ(image.GetWidth(), 7);
    ASSERT_EQ(image.GetHeight(), 5);
    EXPECT_EQ(image.GetBPP(), 24);
    for (int y = 0; y < 5; ++y)
    {
        for (int x = 0; x < 7; ++x)
        {
            const auto* place =
                static_cast<const unsigned char*>(image.GetBits()) + y * image.GetPitch() + x * 3;
            EXPECT_EQ((Pixel{place[2], place[1], place[0]}), ColourAt(x, y)) << x << "," << y;
        }
    }
}

TEST_F(SaveImg, PixelsOfTheCallerStayAsTheyAre)
{
    Bytes packed = PackedPicture(8, 6, 32);
    Bytes planar = PlanarPicture(16, 4);
    CSFunc::s_S_SaveImg((folder / L"a.bmp").wstring().c_str(), Header(8, 6, 32), packed.data());
    CSFunc::s_S_SaveImg((folder / L"b.bmp").wstring().c_str(), Header(16, 4, 12, kYv12),
                        planar.data());
    EXPECT_EQ(FileCount(), 2U);
    EXPECT_EQ(packed, PackedPicture(8, 6, 32));
    EXPECT_EQ(planar, PlanarPicture(16, 4));
}

// ---- Planar pictures ---------------------------------------------------------------------------

TEST_F(SaveImg, PlanarPictureWithPositiveHeightIsStoredUpsideDown)
{
    const Bytes picture = PlanarPicture(32, 6);
    const BmpFile file(Save(L"a.bmp", Header(32, 6, 12, kYv12), picture));
    EXPECT_EQ(file.bits, 24);
    ASSERT_EQ(file.width, 32);
    ASSERT_EQ(file.height, 6);
    for (int y = 0; y < 6; ++y)
    {
        for (int x = 0; x < 32; ++x)
        {
            ASSERT_EQ(file.At(x, y), PlanarColourAt(picture, 32, 6, x, 5 - y)) << x << "," << y;
        }
    }
}

TEST_F(SaveImg, PlanarPictureWithNegativeHeightIsStoredUpright)
{
    const Bytes picture = PlanarPicture(16, 4);
    const BmpFile file(Save(L"a.bmp", Header(16, -4, 12, kYv12), picture));
    ASSERT_EQ(file.height, 4);
    for (int y = 0; y < 4; ++y)
    {
        for (int x = 0; x < 16; ++x)
        {
            ASSERT_EQ(file.At(x, y), PlanarColourAt(picture, 16, 4, x, y)) << x << "," << y;
        }
    }
}

TEST_F(SaveImg, PlanarPictureNeedsNoBitCountOrSizeInItsHeader)
{
    const Bytes picture = PlanarPicture(16, 2);
    BITMAPINFOHEADER header = Header(16, -2, 0, kYv12);
    header.biSizeImage = 0xFFFFFFFF;
    const BmpFile file(Save(L"a.bmp", header, picture));
    EXPECT_EQ(file.At(15, 1), PlanarColourAt(picture, 16, 2, 15, 1));
}

TEST_F(SaveImg, PlanarPictureWhoseRowsAreNotPaddedComesOutSkewed)
{
    // Grey alone, so that only the places of bytes count: a row of 18 pixels has 54 bytes, which
    // are read as 56. Two rows of one pair do not overlap visibly where all rows are alike.
    constexpr int kWidth = 18;
    constexpr int kRows = 4;
    Bytes picture(kWidth * kRows + 2 * (kWidth * kRows / 4), 128);
    std::fill(picture.begin(), picture.begin() + kWidth * kRows, 16);
    for (int y = 0; y < kRows; ++y)
    {
        picture[static_cast<std::size_t>(y * kWidth + 9)] = 235;
    }
    const BmpFile file(Save(L"a.bmp", Header(kWidth, -kRows, 12, kYv12), picture));
    for (int y = 0; y < kRows; ++y)
    {
        SCOPED_TRACE(y);
        const auto byteAt = [&](int place)
        {
            const Pixel pixel = file.At(place / 3, y);
            return place % 3 == 0 ? pixel.b : place % 3 == 1 ? pixel.g : pixel.r;
        };
        // The white pixel of each row, two bytes further left in each.
        const int start = 27 - 2 * y;
        EXPECT_EQ(byteAt(start - 1), 0);
        EXPECT_EQ(byteAt(start), 253);
        EXPECT_EQ(byteAt(start + 1), 253);
        EXPECT_EQ(byteAt(start + 2), 253);
        EXPECT_EQ(byteAt(start + 3), 0);
    }
}

TEST_F(SaveImg, PlanarPictureOfAnySizeIsReadNoFurtherThanItGoes)
{
    for (const int width : {1, 2, 3, 4, 7, 15, 16, 17, 20, 33})
    {
        for (const int height : {1, 2, 3, 5, -1, -3, -4})
        {
            SCOPED_TRACE(testing::Message() << width << " x " << height);
            const BmpFile file(Save(L"a.bmp", Header(width, height, 12, kYv12),
                                    PlanarPicture(width, std::abs(height))));
            EXPECT_EQ(file.width, width);
            EXPECT_EQ(file.height, std::abs(height));
        }
    }
}

TEST_F(SaveImg, PlanarPictureWaitsForTheConversionLock)
{
    const GuardedPicture planar(PlanarPicture(16, 2));
    const CString path((folder / L"a.bmp").wstring().c_str());
    CSFunc::vs_csYuvToRgb.Lock();
    auto saved = std::async(std::launch::async, [&]
                            { CSFunc::s_S_SaveImg(path, Header(16, 2, 12, kYv12), planar.Get()); });
    EXPECT_EQ(saved.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout);
    EXPECT_EQ(FileCount(), 0U);
    CSFunc::vs_csYuvToRgb.Unlock();
    saved.get();
    EXPECT_EQ(FileCount(), 1U);
}

TEST_F(SaveImg, PackedPictureDoesNotWaitForTheConversionLock)
{
    CSFunc::vs_csYuvToRgb.Lock();
    auto saved = std::async(std::launch::async, [&] { SavePacked(L"a.bmp"); });
    const auto status = saved.wait_for(std::chrono::seconds(60));
    CSFunc::vs_csYuvToRgb.Unlock();
    EXPECT_EQ(status, std::future_status::ready);
    saved.get();
    EXPECT_EQ(FileCount(), 1U);
}

// ---- Format ------------------------------------------------------------------------------------

TEST_F(SaveImg, FormatFollowsTheName)
{
    EXPECT_EQ(FormatOf(SavePacked(L"a.bmp")), "BMP");
    EXPECT_EQ(FormatOf(SavePacked(L"a.png")), "PNG");
    EXPECT_EQ(FormatOf(SavePacked(L"a.jpg")), "JPEG");
    EXPECT_EQ(FormatOf(SavePacked(L"a.jpeg")), "JPEG");
    EXPECT_EQ(FormatOf(SavePacked(L"a.gif")), "JPEG");
    EXPECT_EQ(FormatOf(SavePacked(L"a")), "JPEG");
}

TEST_F(SaveImg, CapitalsInTheNameDoNotCount)
{
    EXPECT_EQ(FormatOf(SavePacked(L"A.PNG")), "PNG");
    EXPECT_EQ(FormatOf(SavePacked(L"B.Bmp")), "BMP");
}

TEST_F(SaveImg, BmpInTheNameGoesBeforePng)
{
    EXPECT_EQ(FormatOf(SavePacked(L"a.png.bmp")), "BMP");
    EXPECT_EQ(FormatOf(SavePacked(L"a.bmp.png")), "BMP");
}

TEST_F(SaveImg, FolderNamedAfterAFormatDecides)
{
    fs::create_directory(folder / L"shots.bmp");
    fs::create_directory(folder / L"SHOTS.PNG");
    EXPECT_EQ(FormatOf(SavePacked(L"shots.bmp\\a.jpg")), "BMP");
    EXPECT_EQ(FormatOf(SavePacked(L"SHOTS.PNG\\a.jpg")), "PNG");
}

TEST_F(SaveImg, FormatAtTheStartOfThePathDoesNotCount)
{
    const fs::path before = fs::current_path();
    fs::current_path(folder);
    Bytes picture = PackedPicture(8, 6, 24);
    CSFunc::s_S_SaveImg(L".bmp", Header(8, 6, 24), picture.data());
    CSFunc::s_S_SaveImg(L".png", Header(8, 6, 24), picture.data());
    fs::current_path(before);
    EXPECT_EQ(FormatOf(folder / L".bmp"), "JPEG");
    EXPECT_EQ(FormatOf(folder / L".png"), "JPEG");
}

TEST_F(SaveImg, FileHasThePathExactlyAsGiven)
{
    SavePacked(L"MiXed.PNG");
    EXPECT_EQ(fs::directory_iterator(folder)->path().filename().wstring(), L"MiXed.PNG");
}

TEST_F(SaveImg, NameMayHoldLettersOfAnyScript)
{
    for (const wchar_t* name : {L"\u0421\u043d\u0438\u043c\u043e\u043a.png", L"\u5feb\u7167.bmp",
                                L"\u00e9t\u00e9 \u0130.jpg"})
    {
        EXPECT_TRUE(fs::exists(SavePacked(name)));
    }
}

TEST_F(SaveImg, FileThatExistsIsReplaced)
{
    const fs::path path = folder / L"a.bmp";
    std::ofstream(path) << std::string(100000, 'x');
    ExpectPacked(8, 6, 24);
    SavePacked(L"a.bmp");
    EXPECT_EQ(FormatOf(path), "BMP");
    EXPECT_LT(fs::file_size(path), 1000U);
}

// ---- Failures ----------------------------------------------------------------------------------

TEST_F(SaveImg, SizeWithoutAPictureWritesNothing)
{
    const int sizes[][2] = {{0, 4},
                            {4, 0},
                            {-4, 4},
                            {-4, -4},
                            {INT_MIN, 4},
                            {4, INT_MIN},
                            {0, 0},
                            {INT_MIN, INT_MIN},
                            {65536, 65536},
                            {INT_MAX, INT_MAX},
                            {INT_MAX, -INT_MAX}};
    for (const auto& size : sizes)
    {
        for (const DWORD compression : {static_cast<DWORD>(BI_RGB), kYv12})
        {
            SCOPED_TRACE(testing::Message() << size[0] << " x " << size[1]);
            Save(L"a.bmp", Header(size[0], size[1], 24, compression), Bytes(64));
            Save(L"a.png", Header(size[0], size[1], 32, compression), Bytes(64));
            EXPECT_EQ(FileCount(), 0U);
        }
    }
}

TEST_F(SaveImg, PathThatCannotBeWrittenLeavesNoFile)
{
    SavePacked(L"missing\\a.bmp");
    SavePacked(L"missing\\a.png");
    SavePacked(L"missing\\a.jpg");
    Bytes picture = PackedPicture(8, 6, 24);
    CSFunc::s_S_SaveImg(L"", Header(8, 6, 24), picture.data());
    CSFunc::s_S_SaveImg(folder.wstring().c_str(), Header(8, 6, 24), picture.data());
    EXPECT_EQ(FileCount(), 0U);
}

TEST_F(SaveImg, WithoutPixelsThePictureIsBlack)
{
    const CString path((folder / L"a.bmp").wstring().c_str());
    CSFunc::s_S_SaveImg(path, Header(5, 3, 24), nullptr);
    ExpectAllBlack(folder / L"a.bmp", 5, 3);
    CSFunc::s_S_SaveImg(path, Header(16, 2, 12, kYv12), nullptr);
    ExpectAllBlack(folder / L"a.bmp", 16, 2);
}

TEST_F(SaveImg, WhatThePlatformDoesNotDrawIsBlack)
{
    for (const DWORD compression : {DWORD{BI_RLE8}, DWORD{BI_JPEG}, DWORD{BI_BITFIELDS},
                                    DWORD{0x32595559}, DWORD{0xFFFFFFFF}})
    {
        SCOPED_TRACE(compression);
        BITMAPINFOHEADER header = Header(4, 2, 24, compression);
        header.biSizeImage = 0x7FFFFFFF;
        ExpectAllBlack(Save(L"a.bmp", header, Bytes(24, 200)), 4, 2);
    }
    for (const int bits : {0, 17, 65535})
    {
        SCOPED_TRACE(bits);
        ExpectAllBlack(Save(L"a.bmp", Header(4, 2, bits), Bytes(24, 200)), 4, 2);
    }
    for (const DWORD size : {0UL, 12UL, 39UL, 125UL, 0xFFFFFFFFUL})
    {
        SCOPED_TRACE(size);
        BITMAPINFOHEADER header = Header(4, 2, 24);
        header.biSize = size;
        ExpectAllBlack(Save(L"a.bmp", header, Bytes(24, 200)), 4, 2);
    }
}

TEST_F(SaveImg, WritesNoDebugLine)
{
    ostrel::test::OutputCapture capture;
    SavePacked(L"a.bmp");
    SavePacked(L"missing\\a.bmp");
    SavePacked(L"b.bmp", 0, 0);
    Save(L"c.jpg", Header(16, 2, 12, kYv12), PlanarPicture(16, 2));
    EXPECT_TRUE(capture.Texts().empty());
}

// ---- Resources ---------------------------------------------------------------------------------

struct Counts
{
    int starts = 0;
    int shutdowns = 0;
    int sections = 0;
    int contexts = 0;
};
Counts counts;

extern "C" Gdiplus::GpStatus WINAPI CountStart(ULONG_PTR* token,
                                               const Gdiplus::GdiplusStartupInput* input,
                                               Gdiplus::GdiplusStartupOutput* output)
{
    ++counts.starts;
    return Gdiplus::GdiplusStartup(token, input, output);
}

extern "C" VOID WINAPI CountShutdown(ULONG_PTR token)
{
    ++counts.shutdowns;
    Gdiplus::GdiplusShutdown(token);
}

HBITMAP WINAPI CountSection(HDC dc, const BITMAPINFO* info, UINT usage, void** bits, HANDLE section,
                            DWORD offset)
{
    ++counts.sections;
    return CreateDIBSection(dc, info, usage, bits, section, offset);
}

HBITMAP WINAPI RefuseSection(HDC, const BITMAPINFO*, UINT, void**, HANDLE, DWORD)
{
    return nullptr;
}

BOOL WINAPI CountDelete(HGDIOBJ object)
{
    const bool isDeleted = DeleteObject(object) != 0;
    counts.sections -= isDeleted ? 1 : 0;
    return isDeleted;
}

HDC WINAPI CountContext(HDC like)
{
    ++counts.contexts;
    return CreateCompatibleDC(like);
}

HDC WINAPI RefuseContext(HDC)
{
    return nullptr;
}

BOOL WINAPI CountDeleteContext(HDC dc)
{
    --counts.contexts;
    return DeleteDC(dc);
}

Gdiplus::GpStatus WINAPI RefuseStart(ULONG_PTR*, const Gdiplus::GdiplusStartupInput*,
                                     Gdiplus::GdiplusStartupOutput*)
{
    return Gdiplus::GdiplusNotInitialized;
}

class SaveImgResources : public SaveImg
{
protected:
    SaveImgResources() { counts = Counts(); }

private:
    ImportPatch<decltype(CountStart)> start{"GdiplusStartup", &CountStart};
    ImportPatch<decltype(CountShutdown)> shutdown{"GdiplusShutdown", &CountShutdown};
    ImportPatch<decltype(CountSection)> section{"CreateDIBSection", &CountSection};
    ImportPatch<decltype(CountDelete)> deletion{"DeleteObject", &CountDelete};
    ImportPatch<decltype(CountContext)> context{"CreateCompatibleDC", &CountContext};
    ImportPatch<decltype(CountDeleteContext)> contextDeletion{"DeleteDC", &CountDeleteContext};
};

TEST_F(SaveImgResources, GdiPlusIsStartedAndShutDownOncePerCall)
{
    SavePacked(L"a.bmp");
    EXPECT_EQ(counts.starts, 1);
    EXPECT_EQ(counts.shutdowns, 1);
    Save(L"b.png", Header(16, 2, 12, kYv12), PlanarPicture(16, 2));
    EXPECT_EQ(counts.starts, 2);
    EXPECT_EQ(counts.shutdowns, 2);
}

TEST_F(SaveImgResources, GdiPlusStaysWhileAnotherImageLives)
{
    {
        CImage other;
        SavePacked(L"a.bmp");
        SavePacked(L"b.jpg");
        EXPECT_EQ(counts.starts, 1);
        EXPECT_EQ(counts.shutdowns, 0);
    }
    EXPECT_EQ(counts.shutdowns, 1);
}

TEST_F(SaveImgResources, BitmapAndContextAreFreedOnEveryPath)
{
    SavePacked(L"a.bmp");
    SavePacked(L"missing\\a.bmp");
    Save(L"b.png", Header(16, 2, 12, kYv12), PlanarPicture(16, 2));
    Save(L"c.png", Header(16, 2, 17), Bytes(8));
    EXPECT_EQ(counts.sections, 0);
    EXPECT_EQ(counts.contexts, 0);
    EXPECT_EQ(counts.starts, counts.shutdowns);
}

TEST_F(SaveImgResources, BitmapThatCannotBeMadeLeavesNoFile)
{
    const ImportPatch<decltype(RefuseSection)> refusal("CreateDIBSection", &RefuseSection);
    SavePacked(L"a.bmp");
    Save(L"b.png", Header(16, 2, 12, kYv12), PlanarPicture(16, 2));
    EXPECT_EQ(FileCount(), 0U);
    EXPECT_EQ(counts.contexts, 0);
}

TEST_F(SaveImgResources, ContextThatCannotBeMadeLeavesABlackPicture)
{
    const ImportPatch<decltype(RefuseContext)> refusal("CreateCompatibleDC", &RefuseContext);
    ExpectAllBlack(SavePacked(L"a.bmp"), 8, 6);
    EXPECT_EQ(counts.sections, 0);
}

TEST_F(SaveImgResources, WithoutGdiPlusThereIsNoFile)
{
    const ImportPatch<decltype(RefuseStart)> refusal("GdiplusStartup", &RefuseStart);
    SavePacked(L"a.bmp");
    EXPECT_EQ(FileCount(), 0U);
    EXPECT_EQ(counts.sections, 0);
}

TEST_F(SaveImg, ThreadsMaySaveAtTheSameTime)
{
    constexpr int kThreads = 4;
    constexpr int kFiles = 8;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
    {
        threads.emplace_back(
            [&, i]
            {
                for (int n = 0; n < kFiles; ++n)
                {
                    const std::wstring name = std::to_wstring(i) + L"_" + std::to_wstring(n);
                    Save(name + L".bmp", Header(16, -4, 12, kYv12), PlanarPicture(16, 4));
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    ASSERT_EQ(FileCount(), static_cast<std::size_t>(kThreads * kFiles));
    const Bytes picture = PlanarPicture(16, 4);
    for (const auto& entry : fs::directory_iterator(folder))
    {
        const BmpFile file(entry.path());
        EXPECT_EQ(file.At(15, 3), PlanarColourAt(picture, 16, 4, 15, 3));
    }
}

}  // namespace
