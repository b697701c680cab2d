#include <atlimage.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace
{

namespace fs = std::filesystem;

class ImageFile : public testing::Test
{
protected:
    ImageFile()
        : folder(fs::temp_directory_path() /
                 (L"ostrel_framework_" + std::to_wstring(GetCurrentProcessId())))
    {
        fs::remove_all(folder);
        fs::create_directory(folder);
    }
    ~ImageFile() override
    {
        std::error_code error;
        fs::remove_all(folder, error);
    }

    CString Path(const wchar_t* name) const { return (folder / name).wstring().c_str(); }

    std::string Start(const wchar_t* name) const
    {
        std::ifstream file(folder / name, std::ios::binary);
        std::string start(4, '\0');
        file.read(start.data(), 4);
        start.resize(static_cast<std::size_t>(file.gcount()));
        return start;
    }

    bool IsBmp(const wchar_t* name) const { return Start(name).substr(0, 2) == "BM"; }
    bool IsPng(const wchar_t* name) const { return Start(name) == "\x89PNG"; }
    bool IsJpeg(const wchar_t* name) const { return Start(name).substr(0, 3) == "\xFF\xD8\xFF"; }

    const fs::path folder;
};

unsigned char* PixelOf(CImage& image, int x, int y)
{
    return static_cast<unsigned char*>(image.GetBits()) + y * image.GetPitch() +
           x * image.GetBPP() / 8;
}

// Each byte says its place.
void Paint(CImage& image)
{
    for (int y = 0; y < image.GetHeight(); ++y)
    {
        for (int i = 0; i < image.GetWidth() * image.GetBPP() / 8; ++i)
        {
            PixelOf(image, 0, y)[i] = static_cast<unsigned char>(y * 40 + i + 1);
        }
    }
}

void ExpectPainted(CImage& image, int width, int height)
{
    ASSERT_EQ(image.GetWidth(), width);
    ASSERT_EQ(image.GetHeight(), height);
    for (int y = 0; y < height; ++y)
    {
        for (int i = 0; i < width * image.GetBPP() / 8; ++i)
        {
            EXPECT_EQ(PixelOf(image, 0, y)[i], y * 40 + i + 1) << i << "," << y;
        }
    }
}

TEST(Image, IsNullUntilCreated)
{
    CImage image;
    EXPECT_TRUE(image.IsNull());
    EXPECT_FALSE(image.IsDIBSection());
    EXPECT_EQ(image.GetBits(), nullptr);
    EXPECT_EQ(image.GetPitch(), 0);
    EXPECT_EQ(image.GetDC(), nullptr);
    EXPECT_EQ(static_cast<HBITMAP>(image), nullptr);
    image.ReleaseDC();
    image.Destroy();
    EXPECT_EQ(image.Detach(), nullptr);
}

TEST(Image, CreateMakesABlackDibSection)
{
    CImage image;
    ASSERT_TRUE(image.Create(5, 3, 24));
    EXPECT_FALSE(image.IsNull());
    EXPECT_TRUE(image.IsDIBSection());
    EXPECT_EQ(image.GetWidth(), 5);
    EXPECT_EQ(image.GetHeight(), 3);
    EXPECT_EQ(image.GetBPP(), 24);
    EXPECT_EQ(PixelOf(image, 4, 2)[2], 0);
}

TEST(Image, PositiveHeightIsBottomUpWithNegativePitch)
{
    CImage image;
    ASSERT_TRUE(image.Create(5, 3, 24));
    EXPECT_EQ(image.GetPitch(), -16);
    DIBSECTION section = {};
    GetObject(image, sizeof(section), &section);
    EXPECT_EQ(image.GetBits(), static_cast<unsigned char*>(section.dsBm.bmBits) + 32);
}

TEST(Image, NegativeHeightIsTopDownWithPositivePitch)
{
    CImage image;
    ASSERT_TRUE(image.Create(5, -3, 24));
    EXPECT_EQ(image.GetHeight(), 3);
    EXPECT_EQ(image.GetPitch(), 16);
    DIBSECTION section = {};
    GetObject(image, sizeof(section), &section);
    EXPECT_EQ(image.GetBits(), section.dsBm.bmBits);
}

TEST(Image, BitsPerPixelMayBeAnyThatGdiKnows)
{
    for (const int bits : {1, 4, 8, 16, 24, 32})
    {
        CImage image;
        EXPECT_TRUE(image.Create(5, 3, bits)) << bits;
        EXPECT_EQ(image.GetBPP(), bits);
    }
}

TEST(Image, CreateRefusesWhatIsNoPicture)
{
    CImage image;
    EXPECT_FALSE(image.Create(0, 3, 24));
    EXPECT_FALSE(image.Create(-5, 3, 24));
    EXPECT_FALSE(image.Create(5, 0, 24));
    EXPECT_FALSE(image.Create(5, INT_MIN, 24));
    EXPECT_FALSE(image.Create(5, 3, 0));
    EXPECT_FALSE(image.Create(5, 3, 23));
    EXPECT_FALSE(image.Create(5, 3, -24));
    EXPECT_FALSE(image.Create(INT_MAX, INT_MAX, 32));
    EXPECT_FALSE(image.Create(65536, 65536, 24));
    EXPECT_FALSE(image.Create(5, 3, 24, CImage::createAlphaChannel));
    EXPECT_TRUE(image.IsNull());
}

TEST(Image, CreateReplacesTheBitmapThereWas)
{
    CImage image;
    ASSERT_TRUE(image.Create(5, 3, 24));
    const HBITMAP first = image;
    const HDC dc = image.GetDC();
    EXPECT_NE(dc, nullptr);
    ASSERT_TRUE(image.Create(6, 4, 32));
    EXPECT_EQ(image.GetWidth(), 6);
    // The handle is gone, or serves the new bitmap.
    EXPECT_TRUE(GetObjectType(first) == 0 || first == image);
    EXPECT_FALSE(image.Create(0, 0, 24));
    EXPECT_TRUE(image.IsNull());
}

TEST(Image, DestructionDeletesTheBitmap)
{
    HBITMAP bitmap = nullptr;
    {
        CImage image;
        ASSERT_TRUE(image.Create(5, 3, 24));
        bitmap = image;
        EXPECT_EQ(GetObjectType(bitmap), static_cast<DWORD>(OBJ_BITMAP));
    }
    EXPECT_EQ(GetObjectType(bitmap), 0U);
}

TEST(Image, DestroyDeletesTheBitmapAlsoWhileItsContextIsHeld)
{
    CImage image;
    ASSERT_TRUE(image.Create(5, 3, 24));
    const HBITMAP bitmap = image;
    const HDC dc = image.GetDC();
    image.GetDC();
    image.Destroy();
    EXPECT_TRUE(image.IsNull());
    EXPECT_EQ(GetObjectType(bitmap), 0U);
    EXPECT_EQ(GetObjectType(dc), 0U);
}

TEST(Image, DetachGivesTheBitmapAwayAndAttachTakesItOver)
{
    CImage first;
    ASSERT_TRUE(first.Create(5, -3, 24));
    const HBITMAP bitmap = first.Detach();
    EXPECT_TRUE(first.IsNull());
    EXPECT_EQ(first.GetWidth(), 0);
    {
        CImage second;
        second.Attach(bitmap);
        EXPECT_EQ(static_cast<HBITMAP>(second), bitmap);
        EXPECT_TRUE(second.IsDIBSection());
        EXPECT_EQ(second.GetWidth(), 5);
        EXPECT_EQ(second.GetHeight(), 3);
        EXPECT_EQ(second.GetBPP(), 24);
    }
    EXPECT_EQ(GetObjectType(bitmap), 0U);
}

TEST(Image, AttachedOrderOfRowsIsAsStated)
{
    CImage image;
    ASSERT_TRUE(image.Create(5, 3, 24));
    const HBITMAP bitmap = image.Detach();
    image.Attach(bitmap, CImage::DIBOR_TOPDOWN);
    EXPECT_EQ(image.GetPitch(), 16);
    image.Detach();
    image.Attach(bitmap, CImage::DIBOR_BOTTOMUP);
    EXPECT_EQ(image.GetPitch(), -16);
}

TEST(Image, AttachedBitmapThatIsNoDibSectionHasNoBits)
{
    const HDC screen = GetDC(nullptr);
    CImage image;
    image.Attach(CreateCompatibleBitmap(screen, 7, 4));
    ReleaseDC(nullptr, screen);
    EXPECT_FALSE(image.IsNull());
    EXPECT_FALSE(image.IsDIBSection());
    EXPECT_EQ(image.GetBits(), nullptr);
    EXPECT_EQ(image.GetWidth(), 7);
    EXPECT_EQ(image.GetHeight(), 4);
}

TEST(Image, ContextDrawsIntoTheBitmap)
{
    for (const int height : {3, -3})
    {
        CImage image;
        ASSERT_TRUE(image.Create(5, height, 24));
        const HDC dc = image.GetDC();
        SetPixel(dc, 0, 0, RGB(1, 2, 3));
        EXPECT_EQ(image.GetDC(), dc);
        image.ReleaseDC();
        SetPixel(dc, 4, 2, RGB(4, 5, 6));
        image.ReleaseDC();
        GdiFlush();
        EXPECT_EQ(std::memcmp(PixelOf(image, 0, 0), "\3\2\1", 3), 0);
        EXPECT_EQ(std::memcmp(PixelOf(image, 4, 2), "\6\5\4", 3), 0);
        EXPECT_EQ(GetObjectType(dc), 0U);
    }
}

TEST_F(ImageFile, SaveTakesTheFormatFromTheExtension)
{
    CImage image;
    ASSERT_TRUE(image.Create(5, 3, 24));
    EXPECT_EQ(image.Save(Path(L"a.bmp")), S_OK);
    EXPECT_EQ(image.Save(Path(L"a.PNG")), S_OK);
    EXPECT_EQ(image.Save(Path(L"a.jpg")), S_OK);
    EXPECT_EQ(image.Save(Path(L"b.jpeg")), S_OK);
    EXPECT_TRUE(IsBmp(L"a.bmp"));
    EXPECT_TRUE(IsPng(L"a.PNG"));
    EXPECT_TRUE(IsJpeg(L"a.jpg"));
    EXPECT_TRUE(IsJpeg(L"b.jpeg"));
}

TEST_F(ImageFile, SaveWithoutAnExtensionIsBmp)
{
    CImage image;
    ASSERT_TRUE(image.Create(5, 3, 24));
    EXPECT_EQ(image.Save(Path(L"a")), S_OK);
    EXPECT_TRUE(IsBmp(L"a"));
    fs::create_directory(folder / L"b.png");
    EXPECT_EQ(image.Save(Path(L"b.png\\c")), S_OK);
    EXPECT_TRUE(IsBmp(L"b.png\\c"));
}

TEST_F(ImageFile, StatedFormatGoesBeforeTheExtension)
{
    CImage image;
    ASSERT_TRUE(image.Create(5, 3, 24));
    EXPECT_EQ(image.Save(Path(L"a.jpg"), Gdiplus::ImageFormatBMP), S_OK);
    EXPECT_TRUE(IsBmp(L"a.jpg"));
    EXPECT_EQ(image.Save(Path(L"a.bmp"), Gdiplus::ImageFormatPNG), S_OK);
    EXPECT_TRUE(IsPng(L"a.bmp"));
    EXPECT_EQ(image.Save(Path(L"a"), Gdiplus::ImageFormatJPEG), S_OK);
    EXPECT_TRUE(IsJpeg(L"a"));
}

TEST_F(ImageFile, SaveThatFailsSaysSoAndLeavesNoFile)
{
    CImage empty;
    EXPECT_TRUE(FAILED(empty.Save(Path(L"a.bmp"))));
    CImage image;
    ASSERT_TRUE(image.Create(5, 3, 24));
    EXPECT_TRUE(FAILED(image.Save(Path(L"a.unknown"))));
    EXPECT_TRUE(FAILED(image.Save(Path(L"a.bmp"), IID_IUnknown)));
    EXPECT_TRUE(FAILED(image.Save(Path(L"missing\\a.bmp"))));
    EXPECT_TRUE(FAILED(image.Save(L"")));
    EXPECT_TRUE(FAILED(image.Save(nullptr)));
    EXPECT_TRUE(fs::is_empty(folder));
}

TEST_F(ImageFile, PixelsSurviveAFile)
{
    for (const wchar_t* name : {L"a.bmp", L"a.png"})
    {
        for (const int height : {3, -3})
        {
            CImage image;
            ASSERT_TRUE(image.Create(5, height, 24));
            Paint(image);
            ASSERT_EQ(image.Save(Path(name)), S_OK);
            CImage loaded;
            ASSERT_EQ(loaded.Load(Path(name)), S_OK);
            EXPECT_EQ(loaded.GetBPP(), 24);
            ExpectPainted(loaded, 5, 3);
        }
    }
}

TEST_F(ImageFile, AlphaSurvivesAPngFile)
{
    CImage image;
    ASSERT_TRUE(image.Create(5, 3, 32, CImage::createAlphaChannel));
    Paint(image);
    ASSERT_EQ(image.Save(Path(L"a.png")), S_OK);
    CImage loaded;
    ASSERT_EQ(loaded.Load(Path(L"a.png")), S_OK);
    EXPECT_EQ(loaded.GetBPP(), 32);
    ExpectPainted(loaded, 5, 3);
}

TEST_F(ImageFile, BitmapThatIsNoDibSectionIsSavedToo)
{
    const HDC screen = GetDC(nullptr);
    CImage image;
    image.Attach(CreateCompatibleBitmap(screen, 7, 4));
    ReleaseDC(nullptr, screen);
    SetPixel(image.GetDC(), 6, 3, RGB(255, 0, 0));
    image.ReleaseDC();
    ASSERT_EQ(image.Save(Path(L"a.png")), S_OK);
    CImage loaded;
    ASSERT_EQ(loaded.Load(Path(L"a.png")), S_OK);
    EXPECT_EQ(loaded.GetWidth(), 7);
    EXPECT_EQ(loaded.GetHeight(), 4);
    EXPECT_EQ(std::memcmp(PixelOf(loaded, 6, 3), "\0\0\xFF", 3), 0);
}

TEST_F(ImageFile, LoadedFileIsNotHeldOpen)
{
    CImage image;
    ASSERT_TRUE(image.Create(5, 3, 24));
    ASSERT_EQ(image.Save(Path(L"a.bmp")), S_OK);
    ASSERT_EQ(image.Load(Path(L"a.bmp")), S_OK);
    EXPECT_TRUE(DeleteFileW(Path(L"a.bmp")));
}

TEST_F(ImageFile, LoadThatFailsLeavesTheImageEmpty)
{
    CImage image;
    ASSERT_TRUE(image.Create(5, 3, 24));
    EXPECT_TRUE(FAILED(image.Load(Path(L"missing.bmp"))));
    EXPECT_TRUE(image.IsNull());
    std::ofstream(folder / L"text.bmp") << "no picture";
    EXPECT_TRUE(FAILED(image.Load(Path(L"text.bmp"))));
    EXPECT_TRUE(FAILED(image.Load(nullptr)));
    EXPECT_TRUE(image.IsNull());
}

TEST_F(ImageFile, GdiPlusMayBeReleasedAndIsStartedAgain)
{
    CImage image;
    ASSERT_TRUE(image.Create(5, 3, 24));
    ASSERT_EQ(image.Save(Path(L"a.bmp")), S_OK);
    image.ReleaseGDIPlus();
    EXPECT_EQ(image.Save(Path(L"b.bmp")), S_OK);
    EXPECT_TRUE(IsBmp(L"b.bmp"));
}

}  // namespace
