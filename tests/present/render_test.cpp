// The renderer's members one by one, its stored header and its conversion buffer.
#include <climits>
#include <type_traits>
#include <vector>

#include "present/debug_lines.h"
#include "present/renderer_test.h"

namespace
{

using namespace ostrel::test;
using Lines = std::vector<std::string>;

static_assert(!std::is_polymorphic_v<CRender>);
static_assert(sizeof(bool) == 1);

// ---- Construction and copying ----

TEST(Render, StartsIdle)
{
    const CRender render;
    ASSERT_NE(render.vm_pBmpHeader, nullptr);
    const unsigned char zero[44] = {};
    EXPECT_EQ(memcmp(render.vm_pBmpHeader, zero, 44), 0);
    EXPECT_EQ(render.vm_hWnd, nullptr);
    EXPECT_EQ(Text(render.vm_rcLastShow), "0,0,0,0");
    EXPECT_EQ(render.vm_nLockErrCount, 0);
    EXPECT_EQ(render.vm_cRGBBuf.m_pMem, nullptr);
    EXPECT_EQ(render.vm_cRGBBuf.m_nMemSize, 0U);
    EXPECT_EQ(render.vm_pDD7, nullptr);
    EXPECT_EQ(render.vm_pPrimary, nullptr);
    EXPECT_EQ(render.vm_pVideo, nullptr);
    EXPECT_EQ(render.vm_pClipper, nullptr);
}

TEST(Render, KnowsTheFourccOfYv12)
{
    EXPECT_EQ(CRender::vs_nFccYV12, 0x32315659U);
}

TEST(Render, MayUseDirectDrawAtFirst)
{
    EXPECT_EQ(CRender::vs_nCanUseDD7, 1);
}

TEST(Render, KeepsItsFieldsInOrder)
{
    const CRender render;
    const void* const fields[] = {
        &render.vm_pBmpHeader,    &render.vm_hWnd,    &render.vm_rcLastShow,
        &render.vm_nLockErrCount, &render.vm_cRGBBuf, &render.vm_pDD7,
        &render.vm_pPrimary,      &render.vm_pVideo,  &render.vm_pClipper};
    EXPECT_EQ(fields[0], &render);
    for (std::size_t i = 1; i < std::size(fields); ++i)
    {
        EXPECT_LT(fields[i - 1], fields[i]) << i;
    }
}

TEST(Render, AssignmentSharesHeaderAndBuffer)
{
    CRender first;
    CRender second;
    BITMAPINFO* const own = second.vm_pBmpHeader;
    first.vm_cRGBBuf.m_F_p_MemAlloc(10);
    first.vm_rcLastShow = {1, 2, 3, 4};
    first.vm_nLockErrCount = 2;
    second = first;
    EXPECT_EQ(second.vm_pBmpHeader, first.vm_pBmpHeader);
    EXPECT_EQ(second.vm_cRGBBuf.m_pMem, first.vm_cRGBBuf.m_pMem);
    EXPECT_EQ(second.vm_cRGBBuf.m_nMemSize, 10U);
    EXPECT_EQ(Text(second.vm_rcLastShow), "1,2,3,4");
    EXPECT_EQ(second.vm_nLockErrCount, 2);
    // Only one may free what is shared.
    second.vm_pBmpHeader = own;
    second.vm_cRGBBuf = CMemManage();
}

// ---- CalShowRect ----

TEST(RenderCalShowRect, FitsANarrowerPicture)
{
    CRender render;
    CRect area(0, 0, 1000, 500);
    EXPECT_EQ(render.m_F_n_CalShowRect(CRect(0, 0, 400, 300), area), 1);
    EXPECT_EQ(Text(area), "167,0,832,500");
}

TEST(RenderCalShowRect, FitsAWiderPicture)
{
    CRender render;
    CRect area(0, 0, 400, 300);
    EXPECT_EQ(render.m_F_n_CalShowRect(CRect(0, 0, 1000, 500), area), 1);
    EXPECT_EQ(Text(area), "0,50,400,250");
}

TEST(RenderCalShowRect, LeavesASmallDifferenceAlone)
{
    CRender render;
    CRect area(0, 0, 137, 100);
    EXPECT_EQ(render.m_F_n_CalShowRect(CRect(0, 0, 133, 100), area), 0);
    EXPECT_EQ(Text(area), "0,0,137,100");
}

TEST(RenderCalShowRect, SurvivesRectanglesWithoutHeight)
{
    CRender render;
    CRect area(0, 0, 400, 300);
    EXPECT_EQ(render.m_F_n_CalShowRect(CRect(0, 0, 400, 0), area), 0);
    EXPECT_EQ(Text(area), "0,0,400,300");
    CRect flat(0, 0, 400, 0);
    EXPECT_EQ(render.m_F_n_CalShowRect(CRect(0, 0, 400, 300), flat), 0);
    EXPECT_EQ(Text(flat), "0,0,400,0");
}

// ---- Convert2RGB ----

Colour PixelOf(CRender& render, int width, int x, int y)
{
    const unsigned char* pixel = render.vm_cRGBBuf.m_F_p_GetMemPoint() + 3 * (y * width + x);
    return {pixel[2], pixel[1], pixel[0]};
}

TEST(RenderConvert2RGB, ConvertsTopRowFirstInTheOrderBlueGreenRed)
{
    const PlanarPicture picture(32, 24, Quadrants(32, 24));
    BITMAPINFOHEADER header = MakePlanarHeader(32, 24);
    CRender render;
    render.vm_cRGBBuf.m_F_p_MemAlloc(32 * 24 * 3);
    render.m_S_Convert2RGB(picture.bytes.Get(), &header);
    EXPECT_PRED2(IsNear, PixelOf(render, 32, 8, 6), kRed);
    EXPECT_PRED2(IsNear, PixelOf(render, 32, 24, 6), kGreen);
    EXPECT_PRED2(IsNear, PixelOf(render, 32, 8, 18), kBlue);
    EXPECT_PRED2(IsNear, PixelOf(render, 32, 24, 18), kYellow);
}

TEST(RenderConvert2RGB, TakesTheMagnitudeOfANegativeHeight)
{
    const PlanarPicture picture(32, 24, Quadrants(32, 24));
    BITMAPINFOHEADER header = MakePlanarHeader(32, -24);
    CRender render;
    render.vm_cRGBBuf.m_F_p_MemAlloc(32 * 24 * 3);
    render.m_S_Convert2RGB(picture.bytes.Get(), &header);
    EXPECT_PRED2(IsNear, PixelOf(render, 32, 8, 6), kRed);
    EXPECT_PRED2(IsNear, PixelOf(render, 32, 24, 18), kYellow);
}

TEST(RenderConvert2RGB, ConvertsNothingIntoABufferThatIsTooSmall)
{
    const PlanarPicture picture(32, 24, Quadrants(32, 24));
    BITMAPINFOHEADER header = MakePlanarHeader(32, 24);
    CRender render;
    render.m_S_Convert2RGB(picture.bytes.Get(), &header);
    EXPECT_EQ(render.vm_cRGBBuf.m_F_p_GetMemPoint(), nullptr);
    render.vm_cRGBBuf.m_F_p_MemAlloc(32 * 24 * 3 - 1);
    render.vm_cRGBBuf.m_S_ZeroMem();
    render.m_S_Convert2RGB(picture.bytes.Get(), &header);
    EXPECT_EQ(PixelOf(render, 32, 8, 6), kBlack);
}

TEST(RenderConvert2RGB, ConvertsNothingWithoutPictureOrHeader)
{
    const PlanarPicture picture(32, 24, Quadrants(32, 24));
    BITMAPINFOHEADER header = MakePlanarHeader(32, 24);
    CRender render;
    render.vm_cRGBBuf.m_F_p_MemAlloc(32 * 24 * 3);
    render.vm_cRGBBuf.m_S_ZeroMem();
    render.m_S_Convert2RGB(nullptr, &header);
    render.m_S_Convert2RGB(picture.bytes.Get(), nullptr);
    header.biHeight = INT_MIN;
    render.m_S_Convert2RGB(picture.bytes.Get(), &header);
    header.biHeight = 24;
    header.biWidth = -32;
    render.m_S_Convert2RGB(picture.bytes.Get(), &header);
    EXPECT_EQ(PixelOf(render, 32, 8, 6), kBlack);
}

// Picture and buffer both end where memory does.
TEST(RenderConvert2RGB, StaysInsidePictureAndBufferForEverySize)
{
    for (int width = 1; width <= 34; ++width)
    {
        for (int height = 1; height <= 7; ++height)
        {
            const PlanarPicture picture(width, height, Solid(kRed));
            const GuardedBytes room(static_cast<std::size_t>(width * height * 3));
            BITMAPINFOHEADER header = MakePlanarHeader(width, height);
            CRender render;
            render.vm_cRGBBuf.m_pMem = room.Get();
            render.vm_cRGBBuf.m_nMemSize = room.Size();
            render.m_S_Convert2RGB(picture.bytes.Get(), &header);
            // Other widths let rows overlap.
            if (width % 16 == 0 && height % 2 == 0)
            {
                EXPECT_PRED2(IsNear, PixelOf(render, width, width - 1, height - 1), kRed);
            }
            EXPECT_NE(PixelOf(render, width, 0, 0).g + PixelOf(render, width, 0, 0).r, 0);
            render.vm_cRGBBuf = CMemManage();
        }
    }
}

// ---- CopyBmp ----

std::vector<unsigned char> Copy(int width, int height, LONG pitch, DWORD statedHeight)
{
    std::vector<unsigned char> picture;
    const int rows = std::abs(height);
    for (int i = 0; i < width * rows + 2 * (width / 2) * (rows / 2); ++i)
    {
        picture.push_back(static_cast<unsigned char>(i + 1));
    }
    std::vector<unsigned char> surface(
        static_cast<std::size_t>(pitch * rows + (rows + 1) / 2 * 2 * (pitch / 2)), 0xEE);
    DDSURFACEDESC2 locked = {};
    locked.lpSurface = surface.data();
    locked.lPitch = pitch;
    if (statedHeight != 0)
    {
        locked.dwFlags = DDSD_HEIGHT;
        locked.dwHeight = statedHeight;
    }
    BITMAPINFOHEADER header = MakePlanarHeader(width, height);
    CRender().m_S_CopyBmp(&locked, picture.data(), &header);
    return surface;
}

using ByteVector = std::vector<unsigned char>;
constexpr unsigned char e = 0xEE;

TEST(RenderCopyBmp, StepsByThePitchAndByHalfOfIt)
{
    EXPECT_EQ(Copy(4, 2, 6, 0), (ByteVector{1, 2, 3, 4, e, e, 5, 6, 7, 8, e, e,  //
                                            9, 10, e, 11, 12, e}));
}

TEST(RenderCopyBmp, CountsAnOddHeightAsOneMoreInTheChromaPlanes)
{
    EXPECT_EQ(Copy(2, 3, 2, 0), (ByteVector{1, 2, 3, 4, 5, 6, 7, 8, 8, 8}));
}

TEST(RenderCopyBmp, TakesTheMagnitudeOfANegativeHeight)
{
    EXPECT_EQ(Copy(4, -2, 6, 0), Copy(4, 2, 6, 0));
}

// 2 x 3 pixels of 12 bits are 9 bytes.
TEST(RenderCopyBmp, StaysInsideASurfaceThatStatesItsHeight)
{
    EXPECT_EQ(Copy(2, 3, 2, 3), (ByteVector{1, 2, 3, 4, 5, 6, 7, 8, 8, e}));
    EXPECT_EQ(Copy(4, 4, 4, 2), (ByteVector{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12,  //
                                            e, e, e, e, e, e, e, e, e, e,  e,  e}));
}

TEST(RenderCopyBmp, CopiesNothingWithoutSurfacePictureOrHeader)
{
    unsigned char picture[6] = {};
    unsigned char surface[6] = {1, 1, 1, 1, 1, 1};
    DDSURFACEDESC2 locked = {};
    BITMAPINFOHEADER header = MakePlanarHeader(2, 2);
    CRender render;
    render.m_S_CopyBmp(nullptr, picture, &header);
    render.m_S_CopyBmp(&locked, picture, &header);
    locked.lpSurface = surface;
    locked.lPitch = 2;
    render.m_S_CopyBmp(&locked, nullptr, &header);
    render.m_S_CopyBmp(&locked, picture, nullptr);
    header.biHeight = INT_MIN;
    render.m_S_CopyBmp(&locked, picture, &header);
    header.biHeight = 2;
    locked.lPitch = -2;
    render.m_S_CopyBmp(&locked, picture, &header);
    locked.lPitch = 1;
    render.m_S_CopyBmp(&locked, picture, &header);
    for (const unsigned char byte : surface)
    {
        EXPECT_EQ(byte, 1);
    }
}

// ---- InitDD7 ----

class RenderInit : public RendererTest
{
};

TEST_F(RenderInit, MakesAllFourObjects)
{
    const DebugLines lines;
    CRender render;
    render.vm_hWnd = window.Get();
    render.vm_pBmpHeader->bmiHeader = MakePlanarHeader(320, 240);
    EXPECT_EQ(render.m_F_n_InitDD7(), 1);
    EXPECT_NE(render.vm_pDD7, nullptr);
    EXPECT_NE(render.vm_pPrimary, nullptr);
    EXPECT_NE(render.vm_pVideo, nullptr);
    EXPECT_NE(render.vm_pClipper, nullptr);
    EXPECT_EQ(lines.Get(), Lines{});
}

TEST_F(RenderInit, MakesAVideoSurfaceOfThePicturesSize)
{
    CRender render;
    render.vm_hWnd = window.Get();
    render.vm_pBmpHeader->bmiHeader = MakePlanarHeader(320, -240);
    ASSERT_EQ(render.m_F_n_InitDD7(), 1);
    DDSURFACEDESC2 description = {};
    description.dwSize = sizeof(description);
    ASSERT_EQ(render.vm_pVideo->GetSurfaceDesc(&description), DD_OK);
    EXPECT_EQ(description.dwWidth, 320U);
    EXPECT_EQ(description.dwHeight, 240U);
    EXPECT_EQ(description.ddpfPixelFormat.dwFourCC, CRender::vs_nFccYV12);
}

TEST_F(RenderInit, ClipsThePrimarySurfaceToTheWindow)
{
    CRender render;
    render.vm_hWnd = window.Get();
    render.vm_pBmpHeader->bmiHeader = MakePlanarHeader(320, 240);
    ASSERT_EQ(render.m_F_n_InitDD7(), 1);
    HWND clipped = nullptr;
    EXPECT_EQ(render.vm_pClipper->GetHWnd(&clipped), DD_OK);
    EXPECT_EQ(clipped, window.Get());
}

TEST_F(RenderInit, DoesNothingWhileDirectDrawIsSwitchedOff)
{
    CRender::vs_nCanUseDD7 = 0;
    CRender render;
    render.vm_hWnd = window.Get();
    render.vm_pBmpHeader->bmiHeader = MakePlanarHeader(320, 240);
    EXPECT_EQ(render.m_F_n_InitDD7(), 1);
    EXPECT_EQ(render.vm_pDD7, nullptr);
}

TEST_F(RenderInit, FailsForAnAbsurdSizeAndLeavesWhatWasMade)
{
    const DebugLines lines;
    CRender render;
    render.vm_hWnd = window.Get();
    render.vm_pBmpHeader->bmiHeader = MakePlanarHeader(INT_MAX, INT_MIN);
    EXPECT_EQ(render.m_F_n_InitDD7(), 0);
    EXPECT_NE(render.vm_pDD7, nullptr);
    EXPECT_NE(render.vm_pPrimary, nullptr);
    EXPECT_NE(render.vm_pClipper, nullptr);
    EXPECT_EQ(render.vm_pVideo, nullptr);
    ASSERT_EQ(lines.Get().size(), 1U);
    EXPECT_EQ(lines.Get()[0].rfind("CreateSurface Video err=-", 0), 0U) << lines.Get()[0];
    render.m_S_UninitDD7();
    EXPECT_EQ(render.vm_pDD7, nullptr);
}

TEST_F(RenderInit, CanBeRepeated)
{
    CRender render;
    render.vm_hWnd = window.Get();
    render.vm_pBmpHeader->bmiHeader = MakePlanarHeader(320, 240);
    EXPECT_EQ(render.m_F_n_InitDD7(), 1);
    EXPECT_EQ(render.m_F_n_InitDD7(), 1);
    EXPECT_NE(render.vm_pVideo, nullptr);
}

// ---- Header and buffer of the GDI path ----

class RenderGdiHeader : public RendererTest
{
protected:
    bool Draw(BITMAPINFOHEADER header)
    {
        return render.m_F_b_DrawPicture(Info(room, header, false));
    }
    BITMAPINFOHEADER& Stored() { return render.vm_pBmpHeader->bmiHeader; }

    GuardedBytes room{64 * 64 * 4};
    CRender render;
};

TEST_F(RenderGdiHeader, OfAPlanarPictureIsRewrittenTo24Bits)
{
    BITMAPINFOHEADER header = MakePlanarHeader(32, 24);
    header.biXPelsPerMeter = 77;
    EXPECT_TRUE(Draw(header));
    header.biBitCount = 24;
    header.biCompression = 0;
    header.biSizeImage = 32 * 24 * 3;
    EXPECT_EQ(memcmp(&Stored(), &header, sizeof(header)), 0);
    EXPECT_EQ(render.vm_cRGBBuf.m_F_n_GetMemSize(), 32U * 24 * 3);
}

TEST_F(RenderGdiHeader, KeepsTheSignOfTheHeight)
{
    EXPECT_TRUE(Draw(MakePlanarHeader(32, -24)));
    EXPECT_EQ(Stored().biHeight, -24);
    EXPECT_EQ(Stored().biSizeImage, 32U * 24 * 3);
    EXPECT_EQ(render.vm_cRGBBuf.m_F_n_GetMemSize(), 32U * 24 * 3);
}

TEST_F(RenderGdiHeader, OfAPlanarPictureIsStoredAnewOnEveryDraw)
{
    BITMAPINFOHEADER header = MakePlanarHeader(32, 24);
    Draw(header);
    header.biXPelsPerMeter = 77;
    Draw(header);
    EXPECT_EQ(Stored().biXPelsPerMeter, 77);
}

TEST_F(RenderGdiHeader, ThatSays24BitsItselfIsStoredOnce)
{
    BITMAPINFOHEADER header = MakeHeader(32, 24, 24, CRender::vs_nFccYV12);
    Draw(header);
    header.biXPelsPerMeter = 77;
    Draw(header);
    EXPECT_EQ(Stored().biXPelsPerMeter, 0);
}

TEST_F(RenderGdiHeader, ThatIsStoredStillGetsABufferOfItsSize)
{
    const BITMAPINFOHEADER header = MakeHeader(32, 24, 24, CRender::vs_nFccYV12);
    Draw(header);
    render.vm_cRGBBuf.m_S_DelMem();
    EXPECT_TRUE(Draw(header));
    EXPECT_EQ(render.vm_cRGBBuf.m_F_n_GetMemSize(), 32U * 24 * 3);
}

TEST_F(RenderGdiHeader, LeftByDirectDrawIsRewritten)
{
    const BITMAPINFOHEADER header = MakePlanarHeader(32, 24);
    Stored() = header;
    EXPECT_TRUE(Draw(header));
    EXPECT_EQ(Stored().biCompression, 0U);
    EXPECT_EQ(Stored().biBitCount, 24);
    EXPECT_EQ(render.vm_cRGBBuf.m_F_n_GetMemSize(), 32U * 24 * 3);
}

TEST_F(RenderGdiHeader, OfTheSamePlanarSizeKeepsTheBuffer)
{
    const BITMAPINFOHEADER header = MakePlanarHeader(32, 24);
    Draw(header);
    const unsigned char* const block = render.vm_cRGBBuf.m_F_p_GetMemPoint();
    Draw(header);
    EXPECT_EQ(render.vm_cRGBBuf.m_F_p_GetMemPoint(), block);
}

TEST_F(RenderGdiHeader, OfAnRgbPictureIsStoredAsItStandsAndFreesTheBuffer)
{
    Draw(MakePlanarHeader(32, 24));
    const BITMAPINFOHEADER header = MakeHeader(32, 24, 32, 0);
    EXPECT_TRUE(Draw(header));
    EXPECT_EQ(memcmp(&Stored(), &header, sizeof(header)), 0);
    EXPECT_EQ(render.vm_cRGBBuf.m_F_p_GetMemPoint(), nullptr);
}

TEST_F(RenderGdiHeader, OfAnRgbPictureIsStoredAnewWhenHeightWidthOrBitsDiffer)
{
    Draw(MakeHeader(32, 24, 32, 0));
    Draw(MakeHeader(32, 20, 32, 0));
    EXPECT_EQ(Stored().biHeight, 20);
    Draw(MakeHeader(28, 20, 32, 0));
    EXPECT_EQ(Stored().biWidth, 28);
    Draw(MakeHeader(28, 20, 24, 0));
    EXPECT_EQ(Stored().biBitCount, 24);
    BITMAPINFOHEADER same = MakeHeader(28, 20, 24, 0);
    same.biXPelsPerMeter = 77;
    Draw(same);
    EXPECT_EQ(Stored().biXPelsPerMeter, 0);
}

TEST_F(RenderGdiHeader, OfAnImpossibleSizeConvertsNothingAndReportsTrue)
{
    for (const BITMAPINFOHEADER& header :
         {MakePlanarHeader(65536, 65536), MakePlanarHeader(INT_MAX, INT_MAX),
          MakePlanarHeader(32, INT_MIN), MakePlanarHeader(-32, 24), MakePlanarHeader(-32, -24)})
    {
        BITMAPINFOHEADER copy = header;
        CRender::stDef_DrawInfo info = Info(room, copy, false);
        info.rcSource = {0, 0, 32, 24};
        EXPECT_TRUE(render.m_F_b_DrawPicture(info));
        EXPECT_EQ(render.vm_cRGBBuf.m_F_p_GetMemPoint(), nullptr);
        TestWindow::Pump();
        EXPECT_EQ(window.At(200, 150), kBlack);
    }
}

TEST_F(RenderGdiHeader, OfAnUnknownLengthDrawsNothing)
{
    for (const DWORD size : {0U, 12U, 39U, 125U, 0xFFFFFFFFU})
    {
        BITMAPINFOHEADER header = MakeHeader(32, 24, 32, 0);
        header.biSize = size;
        CRender other;
        EXPECT_TRUE(other.m_F_b_DrawPicture(Info(room, header, false)));
    }
}

}  // namespace
