/// @file
/// DirectDraw objects that can do nothing: every method answers E_NOTIMPL. Fakes override what they
/// need.
#pragma once

#include <windows.h>

#include <ddraw.h>

namespace ostrel::test
{

class InertDirectDraw : public IDirectDraw7
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOTIMPL; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE Compact() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CreateClipper(DWORD, LPDIRECTDRAWCLIPPER*, IUnknown*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreatePalette(DWORD, LPPALETTEENTRY, LPDIRECTDRAWPALETTE*,
                                            IUnknown*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CreateSurface(LPDDSURFACEDESC2, LPDIRECTDRAWSURFACE7*,
                                            IUnknown*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DuplicateSurface(LPDIRECTDRAWSURFACE7, LPDIRECTDRAWSURFACE7*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE EnumDisplayModes(DWORD, LPDDSURFACEDESC2, LPVOID,
                                               LPDDENUMMODESCALLBACK2) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE EnumSurfaces(DWORD, LPDDSURFACEDESC2, LPVOID,
                                           LPDDENUMSURFACESCALLBACK7) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE FlipToGDISurface() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCaps(LPDDCAPS, LPDDCAPS) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDisplayMode(LPDDSURFACEDESC2) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFourCCCodes(LPDWORD, LPDWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetGDISurface(LPDIRECTDRAWSURFACE7*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMonitorFrequency(LPDWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetScanLine(LPDWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetVerticalBlankStatus(BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Initialize(GUID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RestoreDisplayMode() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetCooperativeLevel(HWND, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetDisplayMode(DWORD, DWORD, DWORD, DWORD, DWORD) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE WaitForVerticalBlank(DWORD, HANDLE) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAvailableVidMem(LPDDSCAPS2, LPDWORD, LPDWORD) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetSurfaceFromDC(HDC, LPDIRECTDRAWSURFACE7*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE RestoreAllSurfaces() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE TestCooperativeLevel() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDeviceIdentifier(LPDDDEVICEIDENTIFIER2, DWORD) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE StartModeTest(LPSIZE, DWORD, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EvaluateMode(DWORD, DWORD*) override { return E_NOTIMPL; }
};

class InertSurface : public IDirectDrawSurface7
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOTIMPL; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE AddAttachedSurface(LPDIRECTDRAWSURFACE7) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE AddOverlayDirtyRect(LPRECT) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Blt(LPRECT, LPDIRECTDRAWSURFACE7, LPRECT, DWORD, LPDDBLTFX) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE BltBatch(LPDDBLTBATCH, DWORD, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE BltFast(DWORD, DWORD, LPDIRECTDRAWSURFACE7, LPRECT, DWORD) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteAttachedSurface(DWORD, LPDIRECTDRAWSURFACE7) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE EnumAttachedSurfaces(LPVOID, LPDDENUMSURFACESCALLBACK7) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE EnumOverlayZOrders(DWORD, LPVOID, LPDDENUMSURFACESCALLBACK7) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Flip(LPDIRECTDRAWSURFACE7, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetAttachedSurface(LPDDSCAPS2, LPDIRECTDRAWSURFACE7*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetBltStatus(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetCaps(LPDDSCAPS2) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetClipper(LPDIRECTDRAWCLIPPER*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetColorKey(DWORD, LPDDCOLORKEY) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDC(HDC*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetFlipStatus(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetOverlayPosition(LPLONG, LPLONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPalette(LPDIRECTDRAWPALETTE*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPixelFormat(LPDDPIXELFORMAT) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetSurfaceDesc(LPDDSURFACEDESC2) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Initialize(LPDIRECTDRAW, LPDDSURFACEDESC2) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE IsLost() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Lock(LPRECT, LPDDSURFACEDESC2, DWORD, HANDLE) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ReleaseDC(HDC) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Restore() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetClipper(LPDIRECTDRAWCLIPPER) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetColorKey(DWORD, LPDDCOLORKEY) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetOverlayPosition(LONG, LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetPalette(LPDIRECTDRAWPALETTE) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Unlock(LPRECT) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE UpdateOverlay(LPRECT, LPDIRECTDRAWSURFACE7, LPRECT, DWORD,
                                            LPDDOVERLAYFX) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE UpdateOverlayDisplay(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE UpdateOverlayZOrder(DWORD, LPDIRECTDRAWSURFACE7) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetDDInterface(LPVOID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PageLock(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE PageUnlock(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetSurfaceDesc(LPDDSURFACEDESC2, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetPrivateData(REFGUID, LPVOID, DWORD, DWORD) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetPrivateData(REFGUID, LPVOID, LPDWORD) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE FreePrivateData(REFGUID) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetUniquenessValue(LPDWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ChangeUniquenessValue() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetPriority(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPriority(LPDWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetLOD(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetLOD(LPDWORD) override { return E_NOTIMPL; }
};

class InertClipper : public IDirectDrawClipper
{
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOTIMPL; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE GetClipList(LPRECT, LPRGNDATA, LPDWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetHWnd(HWND*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Initialize(LPDIRECTDRAW, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE IsClipListChanged(BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetClipList(LPRGNDATA, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetHWnd(DWORD, HWND) override { return E_NOTIMPL; }
};

}  // namespace ostrel::test
