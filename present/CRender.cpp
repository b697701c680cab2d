#include "CRender.h"

#include <cstdint>

#include "CSFunc.h"
#include "media/confined_conversion.h"
#include "present/dib_drawing.h"
#include "present/directdraw_objects.h"
#include "present/fit_rect.h"
#include "present/picture_layout.h"
#include "present/surface_copy.h"
#include "present/window_dc.h"
#include "present/window_rect.h"

using namespace ostrel::present;

static_assert(sizeof(BITMAPINFO) == 44, "the header block is a bitmap header and one colour");

const unsigned int CRender::vs_nFccYV12 = MAKEFOURCC('Y', 'V', '1', '2');
int CRender::vs_nCanUseDD7 = 1;

namespace
{

constexpr int kMaxLockErrors = 3;
constexpr COLORREF kBlack = 0;

void TakeOff(RECT& rect, int border)
{
    Edges edges = ToEdges(rect);
    TakeOffBorder(edges, border);
    rect = ToRect(edges);
}

void FillBlack(const WindowDc& dc, const RECT& rect)
{
    // Made in two steps, which throw nothing: without a brush the ground stays as it is.
    CBrush brush;
    if (dc && brush.CreateSolidBrush(kBlack))
    {
        FillRect(dc.Get(), &rect, brush);
    }
}

// Destination and background of one draw; both paths place the picture in the same way, the one in
// screen coordinates, the other in client coordinates.
RECT Place(CRender& render, const CRender::stDef_DrawInfo& info, bool fit)
{
    RECT show = info.rcShow;
    TakeOff(show, info.nBorder);
    if (fit)
    {
        CRect destination(show);
        render.m_F_n_CalShowRect(CRect(info.rcSource), destination);
        show = destination;
    }
    return show;
}

void PaintBackgroundWhenMoved(CRender& render, const CRender::stDef_DrawInfo& info,
                              const RECT& show, const WindowDc& dc)
{
    if (EqualRect(&show, &render.vm_rcLastShow))
    {
        return;
    }
    render.vm_rcLastShow = show;
    RECT client = {};
    GetClientRect(info.hWnd, &client);
    TakeOff(client, info.nBorder);
    FillBlack(dc, client);
}

// ---- DirectDraw ------------------------------------------------------------------------------

bool HasSize(const BITMAPINFOHEADER& stored, const BITMAPINFOHEADER& header)
{
    return stored.biHeight == header.biHeight && stored.biWidth == header.biWidth;
}

void ForgetHeader(CRender& render)
{
    *render.vm_pBmpHeader = {};
}

void RebuildWhenChanged(CRender& render, const CRender::stDef_DrawInfo& info)
{
    if (render.vm_hWnd == info.hWnd && HasSize(render.vm_pBmpHeader->bmiHeader, *info.pBmpHeader))
    {
        return;
    }
    render.m_S_UninitDD7();
    render.vm_hWnd = info.hWnd;
    render.vm_pBmpHeader->bmiHeader = *info.pBmpHeader;
    render.m_F_n_InitDD7();
}

bool HasAllObjects(const CRender& render)
{
    return render.vm_pDD7 != nullptr && render.vm_pPrimary != nullptr &&
           render.vm_pVideo != nullptr && render.vm_pClipper != nullptr;
}

void RecoverFromFailedLock(CRender& render)
{
    render.vm_pVideo->Restore();
    render.vm_pPrimary->Restore();
    // Unlocked although the lock failed, on purpose.
    render.vm_pVideo->Unlock(nullptr);
    render.m_S_UninitDD7();
    if (render.vm_nLockErrCount >= kMaxLockErrors)
    {
        CRender::vs_nCanUseDD7 = 0;
        CSFunc::s_S_Debug("LockErrCount >= 3, disable DD7");
    }
    else
    {
        ++render.vm_nLockErrCount;
    }
    ForgetHeader(render);
    // Counted a second time, on purpose: the third failure in a row is then the last.
    ++render.vm_nLockErrCount;
}

// A surface that states its height has 12 bits for each pixel. That is less than an odd height
// would have the copy write: there, what falls off is a row that the picture does not hold either.
std::uint64_t SurfaceSize(const DDSURFACEDESC2& locked)
{
    if ((locked.dwFlags & DDSD_HEIGHT) == 0 || locked.lPitch <= 0)
    {
        return UINT64_MAX;
    }
    return static_cast<std::uint64_t>(locked.lPitch) * locked.dwHeight * 3 / 2;
}

bool BlitThroughSurface(CRender& render, CRender::stDef_DrawInfo& info, RECT show)
{
    DDSURFACEDESC2 locked = {};
    locked.dwSize = sizeof(locked);
    if (FAILED(render.vm_pVideo->Lock(nullptr, &locked, DDLOCK_WAIT, nullptr)))
    {
        RecoverFromFailedLock(render);
        return false;
    }
    render.m_S_CopyBmp(&locked, info.pPicData, info.pBmpHeader);
    render.vm_pVideo->Unlock(nullptr);
    render.vm_pPrimary->Blt(&show, render.vm_pVideo, &info.rcSource, DDBLT_WAIT, nullptr);
    render.vm_nLockErrCount = 0;
    return true;
}

void GiveUpDirectDraw(CRender& render, const CRender::stDef_DrawInfo& info, RECT show)
{
    // The border comes off a second time, and screen coordinates are taken for client coordinates:
    // both on purpose.
    TakeOff(show, info.nBorder);
    FillBlack(WindowDc(info.hWnd), show);
    CRender::vs_nCanUseDD7 = 0;
    ForgetHeader(render);
}

bool DrawWithDirectDraw(CRender& render, CRender::stDef_DrawInfo& info, bool fit)
{
    RebuildWhenChanged(render, info);

    POINT origin = {};
    ClientToScreen(render.vm_hWnd, &origin);
    OffsetRect(&info.rcShow, origin.x, origin.y);
    const RECT show = Place(render, info, fit);
    // The screen rectangle is remembered and the client area painted: so a window that moves is
    // painted anew, on purpose.
    PaintBackgroundWhenMoved(render, info, show, WindowDc(info.hWnd));

    if (HasAllObjects(render))
    {
        return BlitThroughSurface(render, info, show);
    }
    GiveUpDirectDraw(render, info, show);
    return false;
}

// ---- GDI -------------------------------------------------------------------------------------

bool IsPlanar(const BITMAPINFOHEADER& header)
{
    return header.biCompression != 0;
}

void StoreHeader(CRender& render, const BITMAPINFOHEADER& header)
{
    BITMAPINFOHEADER& stored = render.vm_pBmpHeader->bmiHeader;
    if (render.vm_pVideo != nullptr && !HasSize(stored, header))
    {
        // The surface does not fit the size that is stored from now on: with no window to its name,
        // the next DirectDraw draw makes a new one.
        render.vm_hWnd = nullptr;
    }
    stored = header;
    if (!IsPlanar(header))
    {
        render.vm_cRGBBuf.m_S_DelMem();
        return;
    }
    stored.biBitCount = 24;
    stored.biCompression = 0;
    stored.biSizeImage = static_cast<DWORD>(LayOutPicture(header.biWidth, header.biHeight).rgbSize);
}

// Whether the stored header is the one to draw with. It is compared as rewritten, on purpose: a
// planar header that does not itself say 24 bits is stored on every draw. A stored header that is
// still planar was left by the DirectDraw path.
bool IsHeaderStored(const CRender& render, const BITMAPINFOHEADER& header)
{
    const BITMAPINFOHEADER& stored = render.vm_pBmpHeader->bmiHeader;
    return HasSize(stored, header) && stored.biBitCount == header.biBitCount && !IsPlanar(stored);
}

// Makes the conversion buffer fit the picture; it may hold another size, or nothing, although the
// stored header is right. Without room for the picture it is left empty.
bool SizeConversionBuffer(CRender& render, const PictureLayout& layout)
{
    if (!layout.IsRgbSizeRepresentable())
    {
        render.vm_cRGBBuf.m_S_DelMem();
        return false;
    }
    return render.vm_cRGBBuf.m_F_p_MemAlloc(layout.rgbSize) != nullptr;
}

// GDI takes rows to be padded to 32 bits. Those of the conversion are not: for such widths the
// picture comes out skewed, on purpose, but GDI must find as many bytes as it reads.
const unsigned char* PadForGdi(CMemManage& rgb, const PictureLayout& layout, CMemManage& padded)
{
    if (layout.dibSize == layout.rgbSize)
    {
        return rgb.m_F_p_GetMemPoint();
    }
    if (padded.m_F_p_MemAlloc(layout.dibSize) != nullptr)
    {
        padded.m_S_ZeroMem();
        padded.m_F_n_MemCopy(rgb, 0, layout.rgbSize, 0);
    }
    return padded.m_F_p_GetMemPoint();
}

bool DrawWithGdi(CRender& render, CRender::stDef_DrawInfo& info, bool fit)
{
    const BITMAPINFOHEADER& header = *info.pBmpHeader;
    if (!IsHeaderStored(render, header))
    {
        StoreHeader(render, header);
    }

    const unsigned char* bits = info.pPicData;
    CMemManage padded;
    if (IsPlanar(header))
    {
        const PictureLayout layout = LayOutPicture(header.biWidth, header.biHeight);
        bits = nullptr;
        if (SizeConversionBuffer(render, layout))
        {
            render.m_S_Convert2RGB(info.pPicData, info.pBmpHeader);
            bits = PadForGdi(render.vm_cRGBBuf, layout, padded);
        }
    }

    const WindowDc dc(info.hWnd);
    const RECT show = Place(render, info, fit);
    PaintBackgroundWhenMoved(render, info, show, dc);
    if (dc && bits != nullptr)
    {
        DrawDib(dc.Get(), *render.vm_pBmpHeader, bits, ToEdges(info.rcSource), ToEdges(show));
    }
    return true;
}

}  // namespace

CRender::CRender()
    : vm_pBmpHeader(new BITMAPINFO()),
      vm_hWnd(nullptr),
      vm_rcLastShow(),
      vm_nLockErrCount(0),
      vm_pDD7(nullptr),
      vm_pPrimary(nullptr),
      vm_pVideo(nullptr),
      vm_pClipper(nullptr)
{
}

CRender::~CRender()
{
    m_S_UninitDD7();
    delete vm_pBmpHeader;
}

int CRender::m_F_n_InitDD7()
{
    if (vs_nCanUseDD7 == 0)
    {
        return 1;
    }
    // Objects of an earlier call are not leaked.
    ReleaseAndForget(vm_pDD7);
    ReleaseAndForget(vm_pPrimary);
    ReleaseAndForget(vm_pVideo);
    ReleaseAndForget(vm_pClipper);

    void* directDraw = nullptr;
    const HRESULT result = DirectDrawCreateEx(nullptr, &directDraw, IID_IDirectDraw7, nullptr);
    if (FAILED(result))
    {
        CSFunc::s_S_Debug("DirectDrawCreateEx err=%d", static_cast<int>(result));
        return 0;
    }
    vm_pDD7 = static_cast<IDirectDraw7*>(directDraw);
    const BITMAPINFOHEADER& header = vm_pBmpHeader->bmiHeader;
    return CreateSurfaces(*vm_pDD7, vm_hWnd, static_cast<DWORD>(header.biWidth),
                          RowCount(header.biHeight), {vm_pPrimary, vm_pVideo, vm_pClipper})
               ? 1
               : 0;
}

void CRender::m_S_UninitDD7()
{
    // DirectDraw goes before what it made, on purpose.
    ReleaseAndForget(vm_pDD7);
    ReleaseAndForget(vm_pPrimary);
    ReleaseAndForget(vm_pVideo);
    ReleaseAndForget(vm_pClipper);
    ForgetHeader(*this);
    vm_hWnd = nullptr;
    vm_cRGBBuf.m_S_DelMem();
}

bool CRender::m_F_b_DrawPicture(stDef_DrawInfo info)
{
    if (info.pPicData == nullptr || info.pBmpHeader == nullptr || info.pBmpHeader->biWidth == 0 ||
        info.pBmpHeader->biHeight == 0 || !IsWindow(info.hWnd))
    {
        m_S_UninitDD7();
        return false;
    }

    bool fit = false;
    if (IsRectEmpty(&info.rcShow))
    {
        fit = !info.bFillWnd;
        GetClientRect(info.hWnd, &info.rcShow);
        if (IsRectEmpty(&info.rcShow))
        {
            return false;
        }
    }
    return vs_nCanUseDD7 != 0 && info.bUseDD7 ? DrawWithDirectDraw(*this, info, fit)
                                              : DrawWithGdi(*this, info, fit);
}

int CRender::m_F_n_CalShowRect(CRect rcSrc, CRect& rcDst)
{
    Edges destination = ToEdges(rcDst);
    const bool isFitted = FitRect(ToEdges(rcSrc), destination);
    rcDst = ToRect(destination);
    return isFitted ? 1 : 0;
}

void CRender::m_S_Convert2RGB(unsigned char* pYV12, BITMAPINFOHEADER* pHeader)
{
    if (pYV12 == nullptr || pHeader == nullptr)
    {
        return;
    }
    const PictureLayout layout = LayOutPicture(pHeader->biWidth, pHeader->biHeight);
    const unsigned __int64 room = vm_cRGBBuf.m_F_n_GetMemSize();
    if (!layout.IsPicture() || room < layout.rgbSize)
    {
        return;
    }
    ostrel::media::ConvertYv12ToRgb24Confined(
        &CSFunc::s_S_YV12_to_RGB24, vm_cRGBBuf.m_F_p_GetMemPoint(), room, pYV12, layout.pictureSize,
        layout.uOffset, layout.vOffset, layout.width, layout.height);
}

void CRender::m_S_CopyBmp(DDSURFACEDESC2* pLocked, unsigned char* pYV12, BITMAPINFOHEADER* pHeader)
{
    if (pLocked == nullptr || pHeader == nullptr)
    {
        return;
    }
    const PictureLayout layout = LayOutPicture(pHeader->biWidth, pHeader->biHeight);
    CopyToSurface(static_cast<unsigned char*>(pLocked->lpSurface), SurfaceSize(*pLocked),
                  pLocked->lPitch, pYV12, layout.width, layout.height);
}
