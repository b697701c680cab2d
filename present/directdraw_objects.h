/// @file
/// Makes and releases the DirectDraw objects of a renderer.
#pragma once

#include <windows.h>

#include <ddraw.h>

namespace ostrel::present
{

/// What the renderer draws with, beside DirectDraw itself. Owned by the renderer.
struct SurfaceSlots
{
    IDirectDrawSurface7*& primary;
    IDirectDrawSurface7*& video;
    IDirectDrawClipper*& clipper;
};

/// Makes primary surface, clipper and off-screen YV12 surface for a window and a picture size.
/// @return whether it succeeded, that is, up to the last step, the YV12 surface. A failure is
/// reported to the debugger output and ends the making; what was made until then stays. A clipper
/// that cannot be made is no failure.
bool CreateSurfaces(IDirectDraw7& directDraw, HWND window, DWORD width, DWORD height,
                    SurfaceSlots slots);

/// Releases a COM object, if there is one.
template <typename Interface>
void ReleaseAndForget(Interface*& object)
{
    if (object != nullptr)
    {
        object->Release();
        object = nullptr;
    }
}

}  // namespace ostrel::present
