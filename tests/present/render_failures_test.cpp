// What the platform refuses: each step of the making of the DirectDraw objects, a device context, a
// brush, memory.
#include <cstdlib>
#include <vector>

#include "present/debug_lines.h"
#include "present/fake_directdraw.h"
#include "present/renderer_test.h"
#include "support/import_patch.h"

namespace
{

using namespace ostrel::test;
using Lines = std::vector<std::string>;

// ---- The making of the DirectDraw objects ----

FakeDirectDraw* g_directDraw = nullptr;
HRESULT g_createResult = DD_OK;

HRESULT WINAPI Create(GUID*, void** object, REFIID, IUnknown*)
{
    if (SUCCEEDED(g_createResult))
    {
        *object = static_cast<IDirectDraw7*>(g_directDraw);
    }
    return g_createResult;
}

enum class Step
{
    kCreate,
    kCooperate,
    kPrimary,
    kClipper,
    kVideo
};

struct Refusal
{
    Step step;
    const char* line;  // without the result; empty: nothing is said
    CallLog released;
};

void PrintTo(const Refusal& refusal, std::ostream* out)
{
    *out << "step " << static_cast<int>(refusal.step);
}

class RenderRefused : public RendererTest
{
protected:
    RenderRefused()
    {
        g_directDraw = &directDraw;
        g_createResult = DD_OK;
        directDraw.video.pitch = 32;
        directDraw.video.bytes.assign(32 * 24 * 3 / 2, 0);
    }

    void Refuse(Step step)
    {
        switch (step)
        {
            case Step::kCreate:
                g_createResult = DDERR_GENERIC;
                break;
            case Step::kCooperate:
                directDraw.cooperativeResult = DDERR_GENERIC;
                break;
            case Step::kPrimary:
                directDraw.primaryResult = DDERR_GENERIC;
                break;
            case Step::kClipper:
                directDraw.clipperResult = DDERR_GENERIC;
                break;
            case Step::kVideo:
                directDraw.videoResult = DDERR_GENERIC;
        }
    }

    bool IsHeaderZero() const
    {
        const BITMAPINFO zero = {};
        return memcmp(render.vm_pBmpHeader, &zero, 44) == 0;
    }

    CallLog log;
    FakeDirectDraw directDraw{log};
    ImportPatch<decltype(Create)> patch{"DirectDrawCreateEx", &Create};
    PlanarPicture picture{32, 24, Quadrants(32, 24)};
    BITMAPINFOHEADER header = MakePlanarHeader(32, -24);
    CRender render;
};

class RenderCreation : public RenderRefused, public testing::WithParamInterface<Refusal>
{
};

TEST_P(RenderCreation, RefusedAtAStepIsReportedAndFollowedByGdiInEveryRenderer)
{
    Refuse(GetParam().step);
    const DebugLines lines;
    EXPECT_FALSE(render.m_F_b_DrawPicture(Info(picture.bytes, header, true)));
    Lines expected;
    if (*GetParam().line != '\0')
    {
        expected.push_back(GetParam().line + std::to_string(static_cast<int>(DDERR_GENERIC)) +
                           "\n");
    }
    EXPECT_EQ(lines.Get(), expected);
    EXPECT_EQ(CRender::vs_nCanUseDD7, 0);
    EXPECT_TRUE(IsHeaderZero());
    EXPECT_EQ(render.vm_hWnd, window.Get());
    for (const std::string& call : log)
    {
        EXPECT_EQ(call.find("Release"), std::string::npos) << call;
        EXPECT_EQ(call.find("Lock"), std::string::npos) << call;
    }

    // From now on GDI, for this renderer and for others, upright as the height is negative.
    CRender other;
    for (CRender* each : {&render, &other})
    {
        window.Clear();
        EXPECT_TRUE(each->m_F_b_DrawPicture(Info(picture.bytes, header, true)));
        EXPECT_PRED2(IsNear, window.At(100, 75), kRed);
        EXPECT_PRED2(IsNear, window.At(300, 225), kYellow);
    }

    // What had been made until then is still there, and goes with the rest.
    log.clear();
    render.m_S_UninitDD7();
    EXPECT_EQ(log, GetParam().released);
}

INSTANTIATE_TEST_SUITE_P(
    EveryStep, RenderCreation,
    testing::Values(
        Refusal{Step::kCreate, "DirectDrawCreateEx err=", {}},
        Refusal{Step::kCooperate, "SetCooperativeLevel err=", {"directDraw.Release"}},
        Refusal{Step::kPrimary, "CreateSurface Primary err=", {"directDraw.Release"}},
        Refusal{Step::kClipper, "", {"directDraw.Release", "primary.Release", "video.Release"}},
        Refusal{Step::kVideo,
                "CreateSurface Video err=",
                {"directDraw.Release", "primary.Release", "clipper.Release"}}));

// ---- Device contexts and brushes ----

HDC WINAPI NoDc(HWND)
{
    return nullptr;
}

int g_releasedDcs = 0;

int WINAPI CountRelease(HWND window, HDC dc)
{
    ++g_releasedDcs;
    return ReleaseDC(window, dc);
}

HBRUSH WINAPI NoBrush(COLORREF)
{
    return nullptr;
}

class RenderWithout : public RenderRefused
{
};

TEST_F(RenderWithout, ADeviceContextNothingIsPaintedAndTheDrawStillSucceeds)
{
    const ImportPatch<decltype(NoDc)> noDc("GetDC", &NoDc);
    const ImportPatch<decltype(CountRelease)> count("ReleaseDC", &CountRelease);
    g_releasedDcs = 0;
    for (const bool useDirectDraw : {true, false})
    {
        EXPECT_TRUE(render.m_F_b_DrawPicture(Info(picture.bytes, header, useDirectDraw)));
        EXPECT_EQ(window.At(200, 150), kGround);
    }
    EXPECT_EQ(log.back(), "primary.Blt");
    EXPECT_EQ(g_releasedDcs, 0);
}

TEST_F(RenderWithout, ADeviceContextAndAnObjectDirectDrawIsGivenUp)
{
    Refuse(Step::kVideo);
    const ImportPatch<decltype(NoDc)> noDc("GetDC", &NoDc);
    EXPECT_FALSE(render.m_F_b_DrawPicture(Info(picture.bytes, header, true)));
    EXPECT_EQ(CRender::vs_nCanUseDD7, 0);
}

TEST_F(RenderWithout, ABrushTheGroundStaysAndThePictureIsDrawn)
{
    const ImportPatch<decltype(NoBrush)> noBrush("CreateSolidBrush", &NoBrush);
    CRender::stDef_DrawInfo info = Info(picture.bytes, header, false);
    info.rcShow = {100, 50, 300, 250};
    EXPECT_TRUE(render.m_F_b_DrawPicture(info));
    EXPECT_EQ(window.At(50, 150), kGround);
    EXPECT_PRED2(IsNear, window.At(150, 100), kRed);
    info.bUseDD7 = true;
    EXPECT_TRUE(render.m_F_b_DrawPicture(info));
    EXPECT_EQ(log.back(), "primary.Blt");
}

// ---- Memory ----

std::size_t g_refusedSize = 0;

void* RefuseOneSize(std::size_t size)
{
    return size == g_refusedSize ? nullptr : std::malloc(size);
}

class RenderWithoutMemory : public RendererTest
{
protected:
    // 34 pixels are 102 bytes, and 104 as GDI reads them; the picture fills the window but for 8
    // rows.
    PlanarPicture picture{34, 24, Solid(kRed)};
    BITMAPINFOHEADER header = MakePlanarHeader(34, -24);
    CRender render;
    ImportPatch<decltype(RefuseOneSize)> patch{"malloc", &RefuseOneSize};
};

TEST_F(RenderWithoutMemory, ForTheConversionTheGroundIsBlackAndTheDrawStillSucceeds)
{
    g_refusedSize = 34 * 24 * 3;
    EXPECT_TRUE(render.m_F_b_DrawPicture(Info(picture.bytes, header, false)));
    EXPECT_EQ(window.At(200, 150), kBlack);
    EXPECT_EQ(render.vm_cRGBBuf.m_F_p_GetMemPoint(), nullptr);
    g_refusedSize = 0;
    EXPECT_TRUE(render.m_F_b_DrawPicture(Info(picture.bytes, header, false)));
    EXPECT_PRED2(IsNear, window.At(20, 14), kRed);
}

TEST_F(RenderWithoutMemory, ForPaddedRowsTheGroundIsBlackAndTheDrawStillSucceeds)
{
    g_refusedSize = 104 * 24;
    EXPECT_TRUE(render.m_F_b_DrawPicture(Info(picture.bytes, header, false)));
    EXPECT_EQ(window.At(200, 150), kBlack);
    g_refusedSize = 0;
    EXPECT_TRUE(render.m_F_b_DrawPicture(Info(picture.bytes, header, false)));
    EXPECT_PRED2(IsNear, window.At(20, 14), kRed);
}

// ---- A surface of an absurd pitch ----

TEST_F(RenderRefused, ASurfaceWithoutPitchTakesNoPicture)
{
    unsigned char surface[32 * 24 * 3 / 2] = {};
    for (const LONG pitch : {0L, -1L, -32L, LONG_MIN})
    {
        DDSURFACEDESC2 locked = {};
        locked.dwFlags = DDSD_HEIGHT;
        locked.dwHeight = 24;
        locked.lPitch = pitch;
        locked.lpSurface = surface;
        render.m_S_CopyBmp(&locked, picture.bytes.Get(), &header);
        for (const unsigned char byte : surface)
        {
            ASSERT_EQ(byte, 0);
        }
    }
}

}  // namespace
