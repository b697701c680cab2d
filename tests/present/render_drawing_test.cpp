// What stands on the screen after a draw, on both paths.
#include <vector>

#include "present/renderer_test.h"

namespace
{

using namespace ostrel::test;

// DirectDraw scales and converts as its driver likes; the colours here are far apart.
bool IsAbout(const Colour& a, const Colour& b)
{
    constexpr int kTolerance = 24;
    return std::abs(a.r - b.r) <= kTolerance && std::abs(a.g - b.g) <= kTolerance &&
           std::abs(a.b - b.b) <= kTolerance;
}

class RenderDrawing : public RendererTest
{
protected:
    // What the screen shows at a place of the client area.
    Colour Seen(int x, int y) const
    {
        POINT place = {x, y};
        ClientToScreen(window.Get(), &place);
        const HDC dc = GetDC(nullptr);
        const COLORREF pixel = GetPixel(dc, place.x, place.y);
        ReleaseDC(nullptr, dc);
        return {GetRValue(pixel), GetGValue(pixel), GetBValue(pixel)};
    }

    static void LetGdiReachTheScreen()
    {
        Sleep(100);
        TestWindow::Pump();
        Sleep(100);
        TestWindow::Pump();
    }

    // Draws as a stream of pictures does. The ground is painted through GDI, which reaches the
    // screen in its own time; the pictures after it stay on top.
    bool Show(const CRender::stDef_DrawInfo& info)
    {
        shown = info;
        const bool isFirstDrawn = render.m_F_b_DrawPicture(info);
        LetGdiReachTheScreen();
        const bool isSecondDrawn = render.m_F_b_DrawPicture(info);
        if (!info.bUseDD7 || CRender::vs_nCanUseDD7 == 0)
        {
            LetGdiReachTheScreen();
        }
        return isFirstDrawn && isSecondDrawn;
    }

    // Draws on until the picture is on top: the platform may mend a window's ground over a picture
    // that went to the screen directly, until the next one comes.
    void ExpectSeen(int x, int y, const Colour& expected)
    {
        constexpr int kMostPictures = 40;
        for (int i = 0; i < kMostPictures && !IsAbout(Seen(x, y), expected); ++i)
        {
            TestWindow::Pump();
            render.m_F_b_DrawPicture(shown);
        }
        EXPECT_PRED2(IsAbout, Seen(x, y), expected) << "at " << x << ", " << y;
    }

    // The middles of the four quarters of a rectangle.
    void ExpectQuarters(const RECT& rect, const Colour& topLeft, const Colour& topRight,
                        const Colour& bottomLeft, const Colour& bottomRight)
    {
        const int width = rect.right - rect.left;
        const int height = rect.bottom - rect.top;
        const int left = rect.left + width / 4;
        const int right = rect.left + width * 3 / 4;
        const int top = rect.top + height / 4;
        const int bottom = rect.top + height * 3 / 4;
        ExpectSeen(left, top, topLeft);
        ExpectSeen(right, top, topRight);
        ExpectSeen(left, bottom, bottomLeft);
        ExpectSeen(right, bottom, bottomRight);
    }

    void ExpectUpright(const RECT& rect) { ExpectQuarters(rect, kRed, kGreen, kBlue, kYellow); }

    void ExpectUpsideDown(const RECT& rect) { ExpectQuarters(rect, kBlue, kYellow, kRed, kGreen); }

    const RECT wholeClient = {0, 0, kWidth, kHeight};
    CRender render;
    CRender::stDef_DrawInfo shown = {};
};

// ---- Orientation and colours ----

TEST_F(RenderDrawing, DirectDrawShowsAPlanarPictureUpright)
{
    const PlanarPicture picture(320, 240, Quadrants(320, 240));
    BITMAPINFOHEADER header = MakePlanarHeader(320, 240);
    EXPECT_TRUE(Show(Info(picture.bytes, header, true)));
    ExpectUpright(wholeClient);
    EXPECT_NE(render.vm_pVideo, nullptr);
}

TEST_F(RenderDrawing, DirectDrawShowsAPictureOfNegativeHeightUpright)
{
    const PlanarPicture picture(320, 240, Quadrants(320, 240));
    BITMAPINFOHEADER header = MakePlanarHeader(320, -240);
    EXPECT_TRUE(Show(Info(picture.bytes, header, true)));
    ExpectUpright(wholeClient);
}

TEST_F(RenderDrawing, GdiShowsAPlanarPictureOfPositiveHeightUpsideDown)
{
    const PlanarPicture picture(320, 240, Quadrants(320, 240));
    BITMAPINFOHEADER header = MakePlanarHeader(320, 240);
    EXPECT_TRUE(Show(Info(picture.bytes, header, false)));
    ExpectUpsideDown(wholeClient);
}

TEST_F(RenderDrawing, GdiShowsAPlanarPictureOfNegativeHeightUpright)
{
    const PlanarPicture picture(320, 240, Quadrants(320, 240));
    BITMAPINFOHEADER header = MakePlanarHeader(320, -240);
    EXPECT_TRUE(Show(Info(picture.bytes, header, false)));
    ExpectUpright(wholeClient);
}

TEST_F(RenderDrawing, GdiShowsTheExactColours)
{
    const PlanarPicture picture(320, 240, Quadrants(320, 240));
    BITMAPINFOHEADER header = MakePlanarHeader(320, -240);
    render.m_F_b_DrawPicture(Info(picture.bytes, header, false));
    EXPECT_PRED2(IsNear, window.At(100, 75), kRed);
    EXPECT_PRED2(IsNear, window.At(300, 75), kGreen);
    EXPECT_PRED2(IsNear, window.At(100, 225), kBlue);
    EXPECT_PRED2(IsNear, window.At(300, 225), kYellow);
}

TEST_F(RenderDrawing, GdiShowsRgbPicturesAsTheyAre)
{
    for (const int bitCount : {24, 32})
    {
        for (const int height : {240, -240})
        {
            window.Clear();
            const DibPicture picture(320, height, bitCount, Quadrants(320, 240));
            BITMAPINFOHEADER header = MakeHeader(320, height, bitCount, 0);
            EXPECT_TRUE(render.m_F_b_DrawPicture(Info(picture.bytes, header, false)));
            EXPECT_EQ(window.At(100, 75), kRed) << bitCount << " " << height;
            EXPECT_EQ(window.At(300, 75), kGreen) << bitCount << " " << height;
            EXPECT_EQ(window.At(100, 225), kBlue) << bitCount << " " << height;
            EXPECT_EQ(window.At(300, 225), kYellow) << bitCount << " " << height;
        }
    }
}

TEST_F(RenderDrawing, GdiShowsAPictureWithoutItsColourTableBlack)
{
    const GuardedBytes picture(320 * 240, 200);
    BITMAPINFOHEADER header = MakeHeader(320, 240, 8, 0);
    for (const DWORD coloursUsed : {0U, 256U, 0xFFFFFFFFU})
    {
        header.biClrUsed = coloursUsed;
        window.Clear();
        CRender own;  // one that has stored none of these headers
        EXPECT_TRUE(own.m_F_b_DrawPicture(Info(picture, header, false)));
        EXPECT_EQ(window.At(200, 150), kBlack);
    }
}

TEST_F(RenderDrawing, GdiTakesAHeaderThatCallsItselfLonger)
{
    const DibPicture picture(320, 240, 32, Quadrants(320, 240));
    BITMAPINFOHEADER header = MakeHeader(320, 240, 32, 0);
    header.biSize = sizeof(BITMAPV5HEADER);
    EXPECT_TRUE(render.m_F_b_DrawPicture(Info(picture.bytes, header, false)));
    EXPECT_EQ(window.At(100, 75), kRed);
}

// ---- Fitting, filling, borders ----

class RenderPlacement : public RenderDrawing, public testing::WithParamInterface<bool>
{
protected:
    RenderPlacement() : picture(320, 160, Quadrants(320, 160)) {}

    // A picture of ratio 200, upright on either path.
    CRender::stDef_DrawInfo Wide() { return Info(picture.bytes, header, GetParam()); }

    PlanarPicture picture;
    BITMAPINFOHEADER header = MakePlanarHeader(320, -160);
};

TEST_P(RenderPlacement, FitsThePictureBetweenBlackBars)
{
    // 400 x 100 / 200 = 200 rows in the middle of 300.
    EXPECT_TRUE(Show(Wide()));
    ExpectUpright({0, 50, 400, 250});
    EXPECT_EQ(Seen(200, 0), kBlack);
    EXPECT_EQ(Seen(100, 48), kBlack);
    EXPECT_EQ(Seen(100, 251), kBlack);
    EXPECT_EQ(Seen(200, 299), kBlack);
    ExpectSeen(100, 53, kRed);
    ExpectSeen(300, 246, kYellow);
}

TEST_P(RenderPlacement, FitsANarrowPictureBetweenBarsLeftAndRight)
{
    // A square part: ratio 100, 300 columns in the middle of 400.
    CRender::stDef_DrawInfo info = Wide();
    info.rcSource = {80, 0, 240, 160};
    EXPECT_TRUE(Show(info));
    ExpectUpright({50, 0, 350, 300});
    EXPECT_EQ(Seen(48, 100), kBlack);
    EXPECT_EQ(Seen(351, 100), kBlack);
    ExpectSeen(53, 100, kRed);
    ExpectSeen(346, 200, kYellow);
}

TEST_P(RenderPlacement, FillsTheWindowOnDemand)
{
    CRender::stDef_DrawInfo info = Wide();
    info.bFillWnd = true;
    EXPECT_TRUE(Show(info));
    ExpectUpright(wholeClient);
    ExpectSeen(3, 3, kRed);
    ExpectSeen(396, 296, kYellow);
}

TEST_P(RenderPlacement, LeavesABorderAlone)
{
    CRender::stDef_DrawInfo info = Wide();
    info.bFillWnd = true;
    info.nBorder = 8;
    // What is not painted is asked before the platform may mend the window itself.
    EXPECT_TRUE(render.m_F_b_DrawPicture(info));
    EXPECT_EQ(window.At(7, 150), kGround);
    EXPECT_EQ(window.At(392, 150), kGround);
    EXPECT_EQ(window.At(200, 7), kGround);
    EXPECT_EQ(window.At(200, 292), kGround);
    EXPECT_TRUE(Show(info));
    ExpectUpright({8, 8, 392, 292});
    ExpectSeen(10, 100, kRed);
    ExpectSeen(389, 200, kYellow);
}

TEST_P(RenderPlacement, FitsInsideTheBorder)
{
    // 384 x 284 less bars: 192 rows from 8 + 46 on.
    CRender::stDef_DrawInfo info = Wide();
    info.nBorder = 8;
    // What is not painted is asked before the platform may mend the window itself.
    EXPECT_TRUE(render.m_F_b_DrawPicture(info));
    EXPECT_EQ(window.At(7, 150), kGround);
    EXPECT_TRUE(Show(info));
    ExpectUpright({8, 54, 392, 246});
    EXPECT_EQ(Seen(200, 8), kBlack);
    EXPECT_EQ(Seen(200, 52), kBlack);
    EXPECT_EQ(Seen(200, 247), kBlack);
}

TEST_P(RenderPlacement, PutsThePictureIntoAGivenRectangle)
{
    for (const bool fill : {false, true})
    {
        CRender::stDef_DrawInfo info = Wide();
        info.rcShow = {100, 50, 200, 250};
        info.bFillWnd = fill;
        EXPECT_TRUE(Show(info));
        ExpectUpright(info.rcShow);
        EXPECT_EQ(Seen(98, 100), kBlack);
        EXPECT_EQ(Seen(201, 100), kBlack);
        EXPECT_EQ(Seen(150, 48), kBlack);
        EXPECT_EQ(Seen(150, 251), kBlack);
    }
}

TEST_P(RenderPlacement, ShowsAPartOfThePicture)
{
    // Inside the top right quarter. GDI counts the rows of a bottom-up picture as they lie.
    header.biHeight = 160;
    CRender::stDef_DrawInfo info = Wide();
    info.rcSource = {180, 10, 300, 70};
    info.bFillWnd = true;
    EXPECT_TRUE(Show(info));
    ExpectQuarters(wholeClient, kGreen, kGreen, kGreen, kGreen);
}

TEST_P(RenderPlacement, ShowsASecondPicturesSize)
{
    EXPECT_TRUE(Show(Wide()));
    const PlanarPicture small(160, 120, Quadrants(160, 120));
    BITMAPINFOHEADER smallHeader = MakePlanarHeader(160, -120);
    EXPECT_TRUE(Show(Info(small.bytes, smallHeader, GetParam())));
    ExpectUpright(wholeClient);
    const PlanarPicture large(640, 480, Quadrants(640, 480));
    BITMAPINFOHEADER largeHeader = MakePlanarHeader(640, -480);
    EXPECT_TRUE(Show(Info(large.bytes, largeHeader, GetParam())));
    ExpectUpright(wholeClient);
}

TEST_P(RenderPlacement, FollowsAWindowThatMovesAndGrows)
{
    EXPECT_TRUE(Show(Wide()));
    window.Move(40, 30, 600, 500);
    EXPECT_TRUE(Show(Wide()));
    ExpectUpright({0, 100, 600, 400});
    EXPECT_EQ(Seen(300, 97), kBlack);
    EXPECT_EQ(Seen(300, 403), kBlack);
}

TEST_P(RenderPlacement, ShowsOddSizes)
{
    for (const SIZE size : {SIZE{322, 241}, SIZE{360, 288}, SIZE{64, 49}})
    {
        const PlanarPicture odd(size.cx, size.cy, Quadrants(size.cx, size.cy));
        BITMAPINFOHEADER oddHeader = MakePlanarHeader(size.cx, -size.cy);
        CRender::stDef_DrawInfo info = Info(odd.bytes, oddHeader, GetParam());
        info.bFillWnd = true;
        EXPECT_TRUE(Show(info));
        if (GetParam() && size.cy % 2 == 0)
        {
            ExpectUpright(wholeClient);
        }
    }
}

// Every path paints the ground once for each destination, and not again.
TEST_P(RenderPlacement, PaintsTheBarsOnlyWhenTheDestinationChanges)
{
    const auto markBar = [this]
    {
        const HDC dc = GetDC(window.Get());
        const RECT bar = {0, 0, 400, 20};
        FillRect(dc, &bar, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
        ReleaseDC(window.Get(), dc);
    };
    constexpr Colour kWhite = {255, 255, 255};
    render.m_F_b_DrawPicture(Wide());
    EXPECT_EQ(window.At(200, 10), kBlack);
    markBar();
    render.m_F_b_DrawPicture(Wide());
    EXPECT_EQ(window.At(200, 10), kWhite);
    CRender::stDef_DrawInfo other = Wide();
    other.rcShow = {0, 50, 400, 200};
    render.m_F_b_DrawPicture(other);
    EXPECT_EQ(window.At(200, 10), kBlack);
}

INSTANTIATE_TEST_SUITE_P(GdiAndDirectDraw, RenderPlacement, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& path)
                         { return path.param ? "DirectDraw" : "Gdi"; });

// The remembered rectangle is in screen coordinates on one path, in client coordinates on the
// other.
TEST_F(RenderDrawing, AMovedWindowIsPaintedAnewThroughDirectDrawOnly)
{
    const PlanarPicture picture(320, 160, Quadrants(320, 160));
    BITMAPINFOHEADER header = MakePlanarHeader(320, -160);
    constexpr Colour kWhite = {255, 255, 255};
    for (const bool useDirectDraw : {true, false})
    {
        CRender own;
        window.Move(kLeft, kTop, kWidth, kHeight);
        own.m_F_b_DrawPicture(Info(picture.bytes, header, useDirectDraw));
        window.Move(kLeft + 30, kTop + 20, kWidth, kHeight);
        const HDC dc = GetDC(window.Get());
        const RECT bar = {0, 0, 400, 20};
        FillRect(dc, &bar, static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH)));
        ReleaseDC(window.Get(), dc);
        own.m_F_b_DrawPicture(Info(picture.bytes, header, useDirectDraw));
        EXPECT_EQ(window.At(200, 10), useDirectDraw ? kBlack : kWhite);
    }
}

TEST_F(RenderDrawing, AFailedDirectDrawIsFollowedByGdiInEveryRenderer)
{
    // No surface is that wide.
    GuardedBytes tiny(16);
    BITMAPINFOHEADER absurd = MakePlanarHeader(0x7FFFFFFF, 2);
    CRender failing;
    CRender::stDef_DrawInfo info = Info(tiny, absurd, true);
    EXPECT_FALSE(failing.m_F_b_DrawPicture(info));
    EXPECT_EQ(CRender::vs_nCanUseDD7, 0);
    EXPECT_NE(failing.vm_pDD7, nullptr);  // not released here

    const PlanarPicture picture(320, 240, Quadrants(320, 240));
    BITMAPINFOHEADER header = MakePlanarHeader(320, 240);
    EXPECT_TRUE(Show(Info(picture.bytes, header, true)));
    EXPECT_EQ(render.vm_pDD7, nullptr);
    ExpectUpsideDown(wholeClient);
}

TEST_F(RenderDrawing, TwoRenderersDrawIntoTwoWindows)
{
    const PlanarPicture first(320, 240, Solid(kRed));
    const PlanarPicture second(160, 120, Solid(kBlue));
    BITMAPINFOHEADER firstHeader = MakePlanarHeader(320, 240);
    BITMAPINFOHEADER secondHeader = MakePlanarHeader(160, 120);
    const TestWindow otherWindow(700, 150, 200, 150);
    CRender other;
    CRender::stDef_DrawInfo otherInfo = Info(second.bytes, secondHeader, true);
    otherInfo.hWnd = otherWindow.Get();
    EXPECT_TRUE(Show(Info(first.bytes, firstHeader, true)));
    other.m_F_b_DrawPicture(otherInfo);
    LetGdiReachTheScreen();
    EXPECT_TRUE(other.m_F_b_DrawPicture(otherInfo));
    EXPECT_TRUE(render.m_F_b_DrawPicture(Info(first.bytes, firstHeader, true)));
    ExpectSeen(200, 150, kRed);
    for (int i = 0; i < 40 && !IsAbout(Seen(600, 75), kBlue); ++i)
    {
        TestWindow::Pump();
        other.m_F_b_DrawPicture(otherInfo);
    }
    EXPECT_PRED2(IsAbout, Seen(600, 75), kBlue);
}

TEST_F(RenderDrawing, GdiFollowsDirectDrawInOneRenderer)
{
    const PlanarPicture picture(320, 240, Quadrants(320, 240));
    BITMAPINFOHEADER header = MakePlanarHeader(320, 240);
    EXPECT_TRUE(Show(Info(picture.bytes, header, true)));
    EXPECT_TRUE(Show(Info(picture.bytes, header, false)));
    ExpectUpsideDown(wholeClient);
}

// ---- Widths that GDI pads ----

// Without padding between the rows that GDI expects padded, row r starts r x padding bytes late.
TEST_F(RenderDrawing, GdiSkewsAPlanarPictureWhoseRowsAreNotWholeWords)
{
    constexpr int kPictureWidth = 102;  // 306 bytes a row, 308 as GDI reads
    constexpr int kPictureHeight = 80;
    const PlanarPicture picture(kPictureWidth, kPictureHeight, Solid(kRed));
    BITMAPINFOHEADER header = MakePlanarHeader(kPictureWidth, -kPictureHeight);
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, false);
    info.rcShow = {0, 0, kPictureWidth, kPictureHeight};
    EXPECT_TRUE(render.m_F_b_DrawPicture(info));

    const int packed[] = {kRed.b, kRed.g, kRed.r};
    const auto byteAt = [&](int offset)
    { return offset < kPictureWidth * kPictureHeight * 3 ? packed[offset % 3] : 0; };
    for (const int y : {0, 1, 2, 40, 77, 79})
    {
        for (const int x : {0, 50, 98})
        {
            const int offset = y * 308 + x * 3;
            const Colour expected = {byteAt(offset + 2), byteAt(offset + 1), byteAt(offset)};
            EXPECT_PRED2(IsNear, window.At(x, y), expected) << x << "," << y;
        }
    }
}

TEST_F(RenderDrawing, GdiReadsNothingBehindTheConversionBuffer)
{
    for (const int width : {64, 65, 66, 67})
    {
        for (const int height : {-48, 48})
        {
            const PlanarPicture picture(width, 48, Solid(kRed));
            BITMAPINFOHEADER header = MakePlanarHeader(width, height);
            const GuardedBytes room(static_cast<std::size_t>(width * 48 * 3));
            CRender own;
            own.vm_cRGBBuf.m_pMem = room.Get();
            own.vm_cRGBBuf.m_nMemSize = room.Size();
            window.Clear();
            CRender::stDef_DrawInfo info = Info(picture.bytes, header, false);
            info.bFillWnd = true;
            EXPECT_TRUE(own.m_F_b_DrawPicture(info));
            // The buffer was right, so it was kept.
            EXPECT_EQ(own.vm_cRGBBuf.m_pMem, room.Get());
            // The row of the picture that was converted first has no skew yet.
            EXPECT_PRED2(IsNear, window.At(200, height < 0 ? 2 : 297), kRed) << width;
            own.vm_cRGBBuf = CMemManage();
        }
    }
}

}  // namespace
