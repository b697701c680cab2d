#include "present/directdraw_objects.h"

#include <gtest/gtest.h>

#include "present/debug_lines.h"
#include "present/fake_directdraw.h"

namespace
{

using namespace ostrel::test;
using Lines = std::vector<std::string>;

const HWND kWindow = reinterpret_cast<HWND>(0x1234);

class DirectDrawObjects : public testing::Test
{
protected:
    bool Create()
    {
        return ostrel::present::CreateSurfaces(directDraw, kWindow, 320, 241,
                                               {primary, video, clipper});
    }

    CallLog log;
    FakeDirectDraw directDraw{log};
    IDirectDrawSurface7* primary = nullptr;
    IDirectDrawSurface7* video = nullptr;
    IDirectDrawClipper* clipper = nullptr;
};

TEST_F(DirectDrawObjects, AreMadeInOrder)
{
    const DebugLines lines;
    EXPECT_TRUE(Create());
    EXPECT_EQ(log, (CallLog{"directDraw.SetCooperativeLevel", "directDraw.CreateSurface primary",
                            "directDraw.CreateClipper 0", "clipper.SetHWnd 0", "primary.SetClipper",
                            "directDraw.CreateSurface video"}));
    EXPECT_EQ(primary, &directDraw.primary);
    EXPECT_EQ(video, &directDraw.video);
    EXPECT_EQ(clipper, &directDraw.clipper);
    EXPECT_FALSE(directDraw.isAggregated);
    EXPECT_EQ(lines.Get(), Lines{});
}

TEST_F(DirectDrawObjects, ShareTheScreenWithOtherPrograms)
{
    Create();
    EXPECT_EQ(directDraw.window, kWindow);
    EXPECT_EQ(directDraw.cooperativeFlags, static_cast<DWORD>(DDSCL_NORMAL));
}

TEST_F(DirectDrawObjects, DescribeThePrimarySurfaceByItsCapabilitiesAlone)
{
    Create();
    DDSURFACEDESC2 expected = {};
    expected.dwSize = 136;
    expected.dwFlags = DDSD_CAPS;
    expected.ddsCaps.dwCaps = 0x4200;
    EXPECT_EQ(memcmp(&directDraw.primaryDescription, &expected, sizeof(expected)), 0);
}

TEST_F(DirectDrawObjects, DescribeTheVideoSurfaceBySizeAndFourcc)
{
    Create();
    DDSURFACEDESC2 expected = {};
    expected.dwSize = 136;
    expected.dwFlags = 0x1007;
    expected.dwWidth = 320;
    expected.dwHeight = 241;
    expected.ddsCaps.dwCaps = DDSCAPS_OFFSCREENPLAIN;
    expected.ddpfPixelFormat.dwSize = 32;
    expected.ddpfPixelFormat.dwFlags = DDPF_FOURCC;
    expected.ddpfPixelFormat.dwFourCC = 0x32315659;
    expected.ddpfPixelFormat.dwYUVBitCount = 8;
    EXPECT_EQ(memcmp(&directDraw.videoDescription, &expected, sizeof(expected)), 0);
}

TEST_F(DirectDrawObjects, BindTheClipperToTheWindowAndToThePrimarySurface)
{
    Create();
    EXPECT_EQ(directDraw.clipper.window, kWindow);
    EXPECT_EQ(directDraw.primary.clipper, &directDraw.clipper);
}

TEST_F(DirectDrawObjects, EndWithAMessageWhenTheCooperativeLevelIsRefused)
{
    directDraw.cooperativeResult = DDERR_INVALIDPARAMS;
    const DebugLines lines;
    EXPECT_FALSE(Create());
    EXPECT_EQ(log, CallLog{"directDraw.SetCooperativeLevel"});
    EXPECT_EQ(lines.Get(), Lines{"SetCooperativeLevel err=-2147024809\n"});
}

TEST_F(DirectDrawObjects, EndWithAMessageWhenThereIsNoPrimarySurface)
{
    directDraw.primaryResult = E_OUTOFMEMORY;
    const DebugLines lines;
    EXPECT_FALSE(Create());
    EXPECT_EQ(log, (CallLog{"directDraw.SetCooperativeLevel", "directDraw.CreateSurface primary"}));
    EXPECT_EQ(lines.Get(), Lines{"CreateSurface Primary err=-2147024882\n"});
    EXPECT_EQ(primary, nullptr);
}

TEST_F(DirectDrawObjects, AreMadeAllTheSameWhenTheClipperCannotBeMade)
{
    directDraw.clipperResult = E_OUTOFMEMORY;
    const DebugLines lines;
    EXPECT_TRUE(Create());
    EXPECT_EQ(log, (CallLog{"directDraw.SetCooperativeLevel", "directDraw.CreateSurface primary",
                            "directDraw.CreateClipper 0", "directDraw.CreateSurface video"}));
    EXPECT_EQ(clipper, nullptr);
    EXPECT_EQ(video, &directDraw.video);
    EXPECT_EQ(lines.Get(), Lines{});
}

TEST_F(DirectDrawObjects, AreMadeAllTheSameWhenTheClipperCannotBeBound)
{
    directDraw.clipper.setHWndResult = E_FAIL;
    directDraw.primary.setClipperResult = E_FAIL;
    const DebugLines lines;
    EXPECT_TRUE(Create());
    EXPECT_EQ(video, &directDraw.video);
    EXPECT_EQ(lines.Get(), Lines{});
}

TEST_F(DirectDrawObjects, StayInPlaceWhenTheVideoSurfaceCannotBeMade)
{
    directDraw.videoResult = E_NOTIMPL;
    const DebugLines lines;
    EXPECT_FALSE(Create());
    EXPECT_EQ(primary, &directDraw.primary);
    EXPECT_EQ(clipper, &directDraw.clipper);
    EXPECT_EQ(video, nullptr);
    EXPECT_EQ(lines.Get(), Lines{"CreateSurface Video err=-2147467263\n"});
    EXPECT_EQ(log.back(), "directDraw.CreateSurface video");
}

}  // namespace
