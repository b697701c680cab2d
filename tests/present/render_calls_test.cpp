// What the renderer does to its DirectDraw objects, seen from objects that write it down.
#include <algorithm>

#include "present/debug_lines.h"
#include "present/fake_directdraw.h"
#include "present/renderer_test.h"

namespace
{

using namespace ostrel::test;
using Lines = std::vector<std::string>;

class RenderCalls : public RendererTest
{
protected:
    static constexpr int kPitch = 40;

    RenderCalls() { Equip(); }
    ~RenderCalls() override
    {
        // Nothing of the fakes must be left for the destructor of the renderer to log.
        render.m_S_UninitDD7();
    }

    // Gives the renderer all four objects, made for the window and the picture.
    void Equip()
    {
        render.vm_pDD7 = &directDraw;
        render.vm_pPrimary = &primary;
        render.vm_pVideo = &video;
        render.vm_pClipper = &clipper;
        render.vm_hWnd = window.Get();
        render.vm_pBmpHeader->bmiHeader = header;
    }

    bool Draw() { return render.m_F_b_DrawPicture(Info(picture.bytes, header, true)); }

    CallLog log;
    FakeDirectDraw directDraw{log};
    FakeSurface primary{log, "primary"};
    FakeSurface video{log, "video", kPitch, kPitch * 24 * 3 / 2};
    FakeClipper clipper{log};
    PlanarPicture picture{32, 24, Quadrants(32, 24)};
    BITMAPINFOHEADER header = MakePlanarHeader(32, 24);
    CRender render;
};

bool IsHeaderZero(const CRender& render)
{
    const BITMAPINFO zero = {};
    return memcmp(render.vm_pBmpHeader, &zero, 44) == 0;
}

// ---- A draw ----

TEST_F(RenderCalls, ADrawLocksUnlocksAndBlits)
{
    EXPECT_TRUE(Draw());
    EXPECT_EQ(log, (CallLog{"video.Lock", "video.Unlock", "primary.Blt"}));
}

TEST_F(RenderCalls, TheWholeVideoSurfaceIsLockedWithWaiting)
{
    Draw();
    EXPECT_TRUE(video.lockedWhole);
    EXPECT_TRUE(video.unlockedWhole);
    EXPECT_EQ(video.lockFlags, static_cast<DWORD>(DDLOCK_WAIT));
}

TEST_F(RenderCalls, TheDescriptionToLockIntoIsZeroButForItsSize)
{
    Draw();
    DDSURFACEDESC2 expected = {};
    expected.dwSize = 136;
    EXPECT_EQ(memcmp(&video.describedBefore, &expected, sizeof(expected)), 0);
}

TEST_F(RenderCalls, ThePictureIsCopiedByThePitchOfTheSurface)
{
    Draw();
    const unsigned char* source = picture.bytes.Get();
    for (int row = 0; row < 24; ++row)
    {
        ASSERT_EQ(memcmp(&video.bytes[row * kPitch], source + row * 32, 32), 0) << row;
    }
    for (int row = 0; row < 24; ++row)
    {
        ASSERT_EQ(
            memcmp(&video.bytes[24 * kPitch + row * kPitch / 2], source + 32 * 24 + row * 16, 16),
            0)
            << row;
    }
}

TEST_F(RenderCalls, TheBlitGoesFromTheSourceRectangleToTheScreen)
{
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, true);
    info.rcSource = {4, 2, 20, 12};
    info.rcShow = {10, 20, 110, 80};
    EXPECT_TRUE(render.m_F_b_DrawPicture(info));
    EXPECT_EQ(primary.bltFrom, &video);
    EXPECT_EQ(Text(primary.bltSource), "4,2,20,12");
    EXPECT_EQ(Text(primary.bltDestination), "210,170,310,230");
    EXPECT_EQ(primary.bltFlags, 0x01000000U);
    EXPECT_EQ(primary.bltEffects, nullptr);
}

TEST_F(RenderCalls, TheBorderIsTakenOffEverySide)
{
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, true);
    info.rcShow = {10, 20, 110, 80};
    info.nBorder = 8;
    render.m_F_b_DrawPicture(info);
    EXPECT_EQ(Text(primary.bltDestination), "218,178,302,222");
}

TEST_F(RenderCalls, AnEmptyDestinationIsTheClientAreaFitted)
{
    // 100x50 into 400x300: 200 percent of width over height give a height of 200.
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, true);
    info.rcSource = {0, 0, 100, 50};
    render.m_F_b_DrawPicture(info);
    EXPECT_EQ(Text(primary.bltDestination), "200,200,600,400");
}

TEST_F(RenderCalls, AnEmptyDestinationIsTheWholeClientAreaWhenFilling)
{
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, true);
    info.rcSource = {0, 0, 100, 50};
    info.bFillWnd = true;
    render.m_F_b_DrawPicture(info);
    EXPECT_EQ(Text(primary.bltDestination), "200,150,600,450");
}

TEST_F(RenderCalls, AGivenDestinationIsNotFitted)
{
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, true);
    info.rcSource = {0, 0, 100, 50};
    info.rcShow = {0, 0, 100, 100};
    for (const bool fill : {false, true})
    {
        info.bFillWnd = fill;
        render.m_F_b_DrawPicture(info);
        EXPECT_EQ(Text(primary.bltDestination), "200,150,300,250");
    }
}

TEST_F(RenderCalls, TheBorderComesOffBeforeFitting)
{
    // 200x100 into 400x300 less 50: 300x200, ratio 150; a height of 150 in the middle.
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, true);
    info.rcSource = {0, 0, 200, 100};
    info.nBorder = 50;
    render.m_F_b_DrawPicture(info);
    EXPECT_EQ(Text(primary.bltDestination), "250,225,550,375");
}

TEST_F(RenderCalls, ADestinationShrunkToNothingIsDrawnWithoutHarm)
{
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, true);
    info.nBorder = 150;
    EXPECT_TRUE(render.m_F_b_DrawPicture(info));
    EXPECT_EQ(Text(primary.bltDestination), "350,300,450,300");
}

TEST_F(RenderCalls, ASourceWithoutHeightIsNotFitted)
{
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, true);
    info.rcSource = {0, 0, 32, 0};
    EXPECT_TRUE(render.m_F_b_DrawPicture(info));
    EXPECT_EQ(Text(primary.bltDestination), "200,150,600,450");
}

TEST_F(RenderCalls, TheScreenRectangleIsRemembered)
{
    Draw();
    EXPECT_EQ(Text(render.vm_rcLastShow), "200,150,600,450");
}

TEST_F(RenderCalls, ABlitThatFailsCountsAsDrawn)
{
    primary.bltResult = DDERR_SURFACELOST;
    EXPECT_TRUE(Draw());
}

TEST_F(RenderCalls, APictureIsCopiedAsPlanarWhateverItsCompression)
{
    header.biCompression = 0;
    header.biBitCount = 24;
    Draw();
    EXPECT_EQ(memcmp(video.bytes.data(), picture.bytes.Get(), 32), 0);
    EXPECT_EQ(log, (CallLog{"video.Lock", "video.Unlock", "primary.Blt"}));
}

TEST_F(RenderCalls, TheObjectsStayWhileWindowAndSizeStay)
{
    Draw();
    header.biBitCount = 24;
    header.biCompression = 0;
    Draw();
    EXPECT_EQ(std::count(log.begin(), log.end(), "video.Release"), 0);
    EXPECT_EQ(render.vm_pVideo, &video);
}

// ---- Rebuilding ----

class RenderRebuild : public RenderCalls
{
protected:
    void ExpectReleased()
    {
        EXPECT_EQ(
            CallLog(log.begin(), log.begin() + std::min<std::ptrdiff_t>(4, log.size())),
            (CallLog{"directDraw.Release", "primary.Release", "video.Release", "clipper.Release"}));
        EXPECT_EQ(std::count(log.begin(), log.end(), "video.Lock"), 0);
        EXPECT_NE(render.vm_pVideo, &video);
    }
};

TEST_F(RenderRebuild, AnotherWidthRebuildsTheObjects)
{
    render.vm_pBmpHeader->bmiHeader.biWidth = 16;
    EXPECT_TRUE(Draw());
    ExpectReleased();
    EXPECT_EQ(render.vm_pBmpHeader->bmiHeader.biWidth, 32);
}

TEST_F(RenderRebuild, AnotherHeightRebuildsTheObjects)
{
    render.vm_pBmpHeader->bmiHeader.biHeight = 16;
    EXPECT_TRUE(Draw());
    ExpectReleased();
    EXPECT_EQ(render.vm_pBmpHeader->bmiHeader.biHeight, 24);
}

TEST_F(RenderRebuild, AnotherWindowRebuildsTheObjects)
{
    const TestWindow other(700, 500, 100, 100);
    render.vm_hWnd = other.Get();
    EXPECT_TRUE(Draw());
    ExpectReleased();
    EXPECT_EQ(render.vm_hWnd, window.Get());
}

TEST_F(RenderRebuild, TheStoredHeaderIsTheCallersAsItStands)
{
    render.vm_hWnd = nullptr;
    EXPECT_TRUE(Draw());
    EXPECT_EQ(memcmp(render.vm_pBmpHeader, &header, sizeof(header)), 0);
}

// A picture of another size drawn through GDI in between leaves a surface of the old size behind,
// which must not take the new picture.
TEST_F(RenderRebuild, ASizeThatChangedThroughGdiRebuildsTheObjects)
{
    const PlanarPicture larger(64, 48, Quadrants(64, 48));
    BITMAPINFOHEADER largerHeader = MakePlanarHeader(64, 48);
    EXPECT_TRUE(render.m_F_b_DrawPicture(Info(larger.bytes, largerHeader, false)));
    EXPECT_TRUE(render.m_F_b_DrawPicture(Info(larger.bytes, largerHeader, true)));
    ExpectReleased();
}

// ---- Failed locks ----

class RenderLockFailure : public RenderCalls
{
protected:
    RenderLockFailure() { video.lockResult = DDERR_SURFACELOST; }
};

TEST_F(RenderLockFailure, RestoresUnlocksAndReleasesInOrder)
{
    EXPECT_FALSE(Draw());
    EXPECT_EQ(log, (CallLog{"video.Lock", "video.Restore", "primary.Restore", "video.Unlock",
                            "directDraw.Release", "primary.Release", "video.Release",
                            "clipper.Release"}));
}

TEST_F(RenderLockFailure, LeavesTheRendererIdle)
{
    render.vm_cRGBBuf.m_F_p_MemAlloc(10);
    Draw();
    EXPECT_EQ(render.vm_pDD7, nullptr);
    EXPECT_EQ(render.vm_pPrimary, nullptr);
    EXPECT_EQ(render.vm_pVideo, nullptr);
    EXPECT_EQ(render.vm_pClipper, nullptr);
    EXPECT_EQ(render.vm_hWnd, nullptr);
    EXPECT_EQ(render.vm_cRGBBuf.m_F_n_GetMemSize(), 0U);
    EXPECT_TRUE(IsHeaderZero(render));
}

TEST_F(RenderLockFailure, CountsTwiceAndDisablesDirectDrawTheThirdTime)
{
    const DebugLines lines;
    EXPECT_FALSE(Draw());
    EXPECT_EQ(render.vm_nLockErrCount, 2);
    EXPECT_EQ(CRender::vs_nCanUseDD7, 1);
    Equip();
    EXPECT_FALSE(Draw());
    EXPECT_EQ(render.vm_nLockErrCount, 4);
    EXPECT_EQ(CRender::vs_nCanUseDD7, 1);
    EXPECT_EQ(lines.Get(), Lines{});
    Equip();
    EXPECT_FALSE(Draw());
    EXPECT_EQ(render.vm_nLockErrCount, 5);
    EXPECT_EQ(CRender::vs_nCanUseDD7, 0);
    EXPECT_EQ(lines.Get(), Lines{"LockErrCount >= 3, disable DD7\n"});
}

TEST_F(RenderLockFailure, IsFollowedByGdiOnceDirectDrawIsDisabled)
{
    render.vm_nLockErrCount = 3;
    EXPECT_FALSE(Draw());
    log.clear();
    EXPECT_TRUE(Draw());
    EXPECT_EQ(log, CallLog{});
    EXPECT_EQ(render.vm_cRGBBuf.m_F_n_GetMemSize(), 32U * 24 * 3);
}

TEST_F(RenderLockFailure, IsForgottenByAGoodLock)
{
    Draw();
    Equip();
    video.lockResult = DD_OK;
    EXPECT_TRUE(Draw());
    EXPECT_EQ(render.vm_nLockErrCount, 0);
    video.lockResult = DDERR_SURFACELOST;
    Draw();
    EXPECT_EQ(render.vm_nLockErrCount, 2);
}

// ---- Missing objects ----

class RenderMissing : public RenderCalls, public testing::WithParamInterface<int>
{
};

TEST_P(RenderMissing, ObjectDisablesDirectDrawAndReleasesNothing)
{
    switch (GetParam())
    {
        case 0:
            render.vm_pDD7 = nullptr;
            break;
        case 1:
            render.vm_pPrimary = nullptr;
            break;
        case 2:
            render.vm_pVideo = nullptr;
            break;
        default:
            render.vm_pClipper = nullptr;
    }
    const DebugLines lines;
    EXPECT_FALSE(Draw());
    EXPECT_EQ(log, CallLog{});
    EXPECT_EQ(CRender::vs_nCanUseDD7, 0);
    EXPECT_TRUE(IsHeaderZero(render));
    EXPECT_EQ(render.vm_hWnd, window.Get());
    EXPECT_EQ(lines.Get(), Lines{});
}

INSTANTIATE_TEST_SUITE_P(EveryObject, RenderMissing, testing::Range(0, 4));

TEST_F(RenderCalls, AMissingObjectTakesTheBorderOffTwiceAndFillsScreenCoordinates)
{
    // A window at the screen's corner, where screen and client coordinates agree: the ground is
    // painted less one border first, so a ring tells nothing; hence a window moved by 50.
    window.Move(50, 50, kWidth, kHeight);
    window.Clear();
    render.vm_pVideo = nullptr;
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, true);
    info.nBorder = 10;
    info.rcShow = {0, 0, 100, 100};
    // As if it had been drawn there before: the ground is not painted.
    render.vm_rcLastShow = {60, 60, 140, 140};
    EXPECT_FALSE(render.m_F_b_DrawPicture(info));
    // 0..100 on the screen is 50..150, less 20 is 70..130, taken for client coordinates.
    EXPECT_EQ(window.At(69, 100), kGround);
    EXPECT_EQ(window.At(70, 100), kBlack);
    EXPECT_EQ(window.At(129, 100), kBlack);
    EXPECT_EQ(window.At(130, 100), kGround);
    EXPECT_EQ(window.At(100, 69), kGround);
    EXPECT_EQ(window.At(100, 70), kBlack);
    EXPECT_EQ(window.At(100, 129), kBlack);
    EXPECT_EQ(window.At(100, 130), kGround);
}

TEST_F(RenderCalls, EveryRendererUsesGdiOnceOneHasFailed)
{
    render.vm_pVideo = nullptr;
    EXPECT_FALSE(Draw());
    CRender other;
    EXPECT_TRUE(other.m_F_b_DrawPicture(Info(picture.bytes, header, true)));
    EXPECT_EQ(other.vm_pDD7, nullptr);
    EXPECT_EQ(other.vm_cRGBBuf.m_F_n_GetMemSize(), 32U * 24 * 3);
}

// ---- Paths ----

TEST_F(RenderCalls, GdiIsUsedWhenTheCallerDoesNotAskForDirectDraw)
{
    EXPECT_TRUE(render.m_F_b_DrawPicture(Info(picture.bytes, header, false)));
    EXPECT_EQ(log, CallLog{});
    EXPECT_EQ(render.vm_pVideo, &video);
    EXPECT_EQ(render.vm_hWnd, window.Get());
}

TEST_F(RenderCalls, GdiIsUsedWhenDirectDrawIsSwitchedOff)
{
    CRender::vs_nCanUseDD7 = 0;
    EXPECT_TRUE(Draw());
    EXPECT_EQ(log, CallLog{});
}

TEST_F(RenderCalls, UninitReleasesInOrderAndResets)
{
    render.vm_cRGBBuf.m_F_p_MemAlloc(10);
    render.vm_rcLastShow = {1, 2, 3, 4};
    render.vm_nLockErrCount = 2;
    render.m_S_UninitDD7();
    EXPECT_EQ(log, (CallLog{"directDraw.Release", "primary.Release", "video.Release",
                            "clipper.Release"}));
    EXPECT_TRUE(IsHeaderZero(render));
    EXPECT_EQ(render.vm_hWnd, nullptr);
    EXPECT_EQ(render.vm_cRGBBuf.m_F_p_GetMemPoint(), nullptr);
    EXPECT_EQ(render.vm_cRGBBuf.m_F_n_GetMemSize(), 0U);
    EXPECT_EQ(Text(render.vm_rcLastShow), "1,2,3,4");
    EXPECT_EQ(render.vm_nLockErrCount, 2);
    log.clear();
    render.m_S_UninitDD7();
    EXPECT_EQ(log, CallLog{});
}

TEST_F(RenderCalls, TheDestructorReleasesTheObjects)
{
    {
        CRender other;
        other.vm_pDD7 = &directDraw;
        other.vm_pClipper = &clipper;
    }
    EXPECT_EQ(log, (CallLog{"directDraw.Release", "clipper.Release"}));
}

// ---- What cannot be drawn ----

class RenderRefusal : public RenderCalls
{
protected:
    void ExpectRefusedAndReset(const CRender::stDef_DrawInfo& info)
    {
        EXPECT_FALSE(render.m_F_b_DrawPicture(info));
        EXPECT_EQ(log, (CallLog{"directDraw.Release", "primary.Release", "video.Release",
                                "clipper.Release"}));
        EXPECT_EQ(render.vm_hWnd, nullptr);
        EXPECT_TRUE(IsHeaderZero(render));
        EXPECT_EQ(CRender::vs_nCanUseDD7, 1);
    }
};

TEST_F(RenderRefusal, ANullPictureResetsTheRenderer)
{
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, true);
    info.pPicData = nullptr;
    ExpectRefusedAndReset(info);
}

TEST_F(RenderRefusal, ANullHeaderResetsTheRenderer)
{
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, true);
    info.pBmpHeader = nullptr;
    ExpectRefusedAndReset(info);
}

TEST_F(RenderRefusal, AZeroWidthResetsTheRenderer)
{
    header.biWidth = 0;
    ExpectRefusedAndReset(Info(picture.bytes, header, true));
}

TEST_F(RenderRefusal, AZeroHeightResetsTheRenderer)
{
    header.biHeight = 0;
    ExpectRefusedAndReset(Info(picture.bytes, header, false));
}

TEST_F(RenderRefusal, ADeadWindowResetsTheRenderer)
{
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, true);
    {
        const TestWindow dead(700, 500, 100, 100);
        info.hWnd = dead.Get();
    }
    ExpectRefusedAndReset(info);
}

TEST_F(RenderRefusal, NoWindowResetsTheRenderer)
{
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, true);
    info.hWnd = nullptr;
    ExpectRefusedAndReset(info);
}

TEST_F(RenderRefusal, AnEmptyClientAreaIsRefusedWithoutAReset)
{
    window.Move(kLeft, kTop, 0, 0);
    for (const bool useDirectDraw : {true, false})
    {
        EXPECT_FALSE(render.m_F_b_DrawPicture(Info(picture.bytes, header, useDirectDraw)));
    }
    EXPECT_EQ(log, CallLog{});
    EXPECT_EQ(render.vm_pVideo, &video);
    EXPECT_EQ(render.vm_hWnd, window.Get());
}

}  // namespace
