#include "present/directdraw_objects.h"
#include "CRender.h"
#include "CSFunc.h"

namespace ostrel::present
{

namespace
{

static_assert(sizeof(DDSURFACEDESC2) == 136 && sizeof(DDPIXELFORMAT) == 32,
              "DirectDraw knows its structures by their size");

bool Report(const char* format, HRESULT result)
{
    if (SUCCEEDED(result))
    {
        return true;
    }
    CSFunc::s_S_Debug(format, static_cast<int>(result));
    return false;
}

DDSURFACEDESC2 DescribePrimary()
{
    DDSURFACEDESC2 description = {};
    description.dwSize = sizeof(description);
    description.dwFlags = DDSD_CAPS;
    description.ddsCaps.dwCaps = DDSCAPS_PRIMARYSURFACE | DDSCAPS_VIDEOMEMORY;
    return description;
}

DDSURFACEDESC2 DescribeVideo(DWORD width, DWORD height)
{
    DDSURFACEDESC2 description = {};
    description.dwSize = sizeof(description);
    description.dwFlags = DDSD_CAPS | DDSD_HEIGHT | DDSD_WIDTH | DDSD_PIXELFORMAT;
    description.dwWidth = width;
    description.dwHeight = height;
    description.ddsCaps.dwCaps = DDSCAPS_OFFSCREENPLAIN;
    description.ddpfPixelFormat.dwSize = sizeof(DDPIXELFORMAT);
    description.ddpfPixelFormat.dwFlags = DDPF_FOURCC;
    description.ddpfPixelFormat.dwFourCC = CRender::vs_nFccYV12;
    description.ddpfPixelFormat.dwYUVBitCount = 8;
    return description;
}

}  // namespace

bool CreateSurfaces(IDirectDraw7& directDraw, HWND window, DWORD width, DWORD height,
                    SurfaceSlots slots)
{
    if (!Report("SetCooperativeLevel err=%d", directDraw.SetCooperativeLevel(window, DDSCL_NORMAL)))
    {
        return false;
    }

    DDSURFACEDESC2 primary = DescribePrimary();
    if (!Report("CreateSurface Primary err=%d",
                directDraw.CreateSurface(&primary, &slots.primary, nullptr)))
    {
        return false;
    }

    // These three are not checked, on purpose: a draw finds out whether there is a clipper.
    directDraw.CreateClipper(0, &slots.clipper, nullptr);
    if (slots.clipper != nullptr)
    {
        slots.clipper->SetHWnd(0, window);
        slots.primary->SetClipper(slots.clipper);
    }

    DDSURFACEDESC2 video = DescribeVideo(width, height);
    return Report("CreateSurface Video err=%d",
                  directDraw.CreateSurface(&video, &slots.video, nullptr));
}

}  // namespace ostrel::present
