/// @file
/// DirectDraw objects that write down what is done to them, and answer as told.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "present/inert_directdraw.h"

namespace ostrel::test
{

using CallLog = std::vector<std::string>;

/// A clipper named "clipper" in the log.
class FakeClipper final : public InertClipper
{
public:
    explicit FakeClipper(CallLog& log) : log(log) {}

    ULONG STDMETHODCALLTYPE Release() override
    {
        log.push_back("clipper.Release");
        return 0;
    }
    HRESULT STDMETHODCALLTYPE SetHWnd(DWORD flags, HWND given) override
    {
        log.push_back("clipper.SetHWnd " + std::to_string(flags));
        window = given;
        return setHWndResult;
    }

    CallLog& log;
    HWND window = nullptr;
    HRESULT setHWndResult = DD_OK;
};

/// A surface of bytes, preset to 0xEE.
class FakeSurface final : public InertSurface
{
public:
    FakeSurface(CallLog& log, std::string name, LONG pitch = 0, std::size_t size = 0)
        : log(log), name(std::move(name)), pitch(pitch), bytes(size, 0xEE)
    {
    }

    ULONG STDMETHODCALLTYPE Release() override
    {
        log.push_back(name + ".Release");
        return 0;
    }
    HRESULT STDMETHODCALLTYPE Lock(RECT* rect, DDSURFACEDESC2* description, DWORD flags,
                                   HANDLE event) override
    {
        log.push_back(name + ".Lock");
        lockedWhole = rect == nullptr && event == nullptr;
        lockFlags = flags;
        describedBefore = *description;
        if (SUCCEEDED(lockResult))
        {
            description->lPitch = pitch;
            description->lpSurface = bytes.data();
        }
        return lockResult;
    }
    HRESULT STDMETHODCALLTYPE Unlock(RECT* rect) override
    {
        log.push_back(name + ".Unlock");
        unlockedWhole = rect == nullptr;
        return DD_OK;
    }
    HRESULT STDMETHODCALLTYPE Restore() override
    {
        log.push_back(name + ".Restore");
        return DD_OK;
    }
    HRESULT STDMETHODCALLTYPE Blt(RECT* destination, IDirectDrawSurface7* from, RECT* source,
                                  DWORD flags, DDBLTFX* effects) override
    {
        log.push_back(name + ".Blt");
        bltDestination = *destination;
        bltFrom = from;
        bltSource = *source;
        bltFlags = flags;
        bltEffects = effects;
        return bltResult;
    }
    HRESULT STDMETHODCALLTYPE SetClipper(IDirectDrawClipper* given) override
    {
        log.push_back(name + ".SetClipper");
        clipper = given;
        return setClipperResult;
    }

    CallLog& log;
    std::string name;
    LONG pitch;
    std::vector<unsigned char> bytes;
    HRESULT lockResult = DD_OK;
    HRESULT bltResult = DD_OK;
    HRESULT setClipperResult = DD_OK;

    bool lockedWhole = false;
    DWORD lockFlags = 0;
    DDSURFACEDESC2 describedBefore = {};
    bool unlockedWhole = false;
    RECT bltDestination = {};
    IDirectDrawSurface7* bltFrom = nullptr;
    RECT bltSource = {};
    DWORD bltFlags = 0;
    DDBLTFX* bltEffects = nullptr;
    IDirectDrawClipper* clipper = nullptr;
};

/// DirectDraw itself, with one primary surface, one other surface and one clipper to give out.
class FakeDirectDraw final : public InertDirectDraw
{
public:
    explicit FakeDirectDraw(CallLog& log)
        : log(log), primary(log, "primary"), video(log, "video"), clipper(log)
    {
    }

    ULONG STDMETHODCALLTYPE Release() override
    {
        log.push_back("directDraw.Release");
        return 0;
    }
    HRESULT STDMETHODCALLTYPE SetCooperativeLevel(HWND given, DWORD flags) override
    {
        log.push_back("directDraw.SetCooperativeLevel");
        window = given;
        cooperativeFlags = flags;
        return cooperativeResult;
    }
    HRESULT STDMETHODCALLTYPE CreateSurface(DDSURFACEDESC2* description,
                                            IDirectDrawSurface7** surface, IUnknown* outer) override
    {
        const bool isPrimary = (description->ddsCaps.dwCaps & DDSCAPS_PRIMARYSURFACE) != 0;
        log.push_back(isPrimary ? "directDraw.CreateSurface primary"
                                : "directDraw.CreateSurface video");
        isAggregated = isAggregated || outer != nullptr;
        (isPrimary ? primaryDescription : videoDescription) = *description;
        const HRESULT result = isPrimary ? primaryResult : videoResult;
        if (SUCCEEDED(result))
        {
            *surface = isPrimary ? &primary : &video;
        }
        return result;
    }
    HRESULT STDMETHODCALLTYPE CreateClipper(DWORD flags, IDirectDrawClipper** given,
                                            IUnknown* outer) override
    {
        log.push_back("directDraw.CreateClipper " + std::to_string(flags));
        isAggregated = isAggregated || outer != nullptr;
        if (SUCCEEDED(clipperResult))
        {
            *given = &clipper;
        }
        return clipperResult;
    }

    CallLog& log;
    FakeSurface primary;
    FakeSurface video;
    FakeClipper clipper;
    HRESULT cooperativeResult = DD_OK;
    HRESULT primaryResult = DD_OK;
    HRESULT videoResult = DD_OK;
    HRESULT clipperResult = DD_OK;

    HWND window = nullptr;
    DWORD cooperativeFlags = 0;
    DDSURFACEDESC2 primaryDescription = {};
    DDSURFACEDESC2 videoDescription = {};
    bool isAggregated = false;
};

}  // namespace ostrel::test
