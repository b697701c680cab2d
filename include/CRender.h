/// @file
/// Draws decoded pictures into windows.
#pragma once

#include <afxwin.h>
#include <ddraw.h>

#include "CMemManage.h"
#include "LibOstrelExport.h"

/// Draws one decoded picture at a time into a rectangle of a window: planar YV12 pictures through a
/// DirectDraw 7 overlay-format surface with hardware scaling, or any picture through GDI. What the
/// picture does not cover is painted black, once each time the destination changes.
///
/// One thread at a time uses a renderer. When DirectDraw fails, all renderers of the process use
/// GDI from then on (#vs_nCanUseDD7).
///
/// Copying a renderer is memberwise on purpose: header block, buffer and DirectDraw interfaces are
/// then shared, not duplicated.
class OSTREL_API CRender
{
public:
    /// What to draw, and where.
    struct stDef_DrawInfo
    {
        HWND hWnd;    ///< the window to draw into
        int nBorder;  ///< pixels taken off every side of the destination
        /// The picture. Planar: the Y plane (width x height bytes), then V, then U (each
        /// (width/2) x (height/2) bytes). RGB: DIB bits as `StretchDIBits` takes them.
        unsigned char* pPicData;
        /// `biWidth`, `biHeight`, `biBitCount`, and `biCompression`: 0 for an RGB DIB, anything
        /// else for planar YV12. Through GDI a planar picture of positive height appears upside
        /// down; pass its height negative to have it upright on either path.
        BITMAPINFOHEADER* pBmpHeader;
        RECT rcSource;   ///< the part of the picture to show, in its pixels
        bool bReserved;  ///< not read
        bool bUseDD7;    ///< asks for DirectDraw, which takes any picture for planar YV12
        /// The destination in client coordinates. Empty: the whole client area.
        RECT rcShow;
        /// With an empty #rcShow: true stretches the picture over the client area, false fits it
        /// in with m_F_n_CalShowRect().
        bool bFillWnd;
    };

    CRender();
    CRender(const CRender& other) = default;
    CRender& operator=(const CRender& other) = default;

    /// Releases the DirectDraw objects and frees header block and conversion buffer.
    ~CRender();

    /// Creates the DirectDraw objects for #vm_hWnd and for the width and height in #vm_pBmpHeader.
    /// @return 1 when done, or when DirectDraw is switched off (nothing is done then); 0 when a
    /// creation failed, which is reported to the debugger output. What was created until then stays
    /// until m_S_UninitDD7().
    int m_F_n_InitDD7();

    /// Releases the DirectDraw objects, clears the stored header, forgets the window and frees the
    /// conversion buffer.
    void m_S_UninitDD7();

    /// Draws a picture.
    /// @return true when the picture was drawn. False when @p info has no picture, no header, a
    /// width or height of 0 or no window (m_S_UninitDD7() has then run), when there is nothing to
    /// draw into, or when DirectDraw failed; the next call then tries anew, or uses GDI.
    bool m_F_b_DrawPicture(stDef_DrawInfo info);

    /// Shrinks @p rcDst in place, around its centre, to the aspect of @p rcSrc. A difference of
    /// less than 5 percentage points of width over height is tolerated. 32-bit arithmetic that cuts
    /// towards zero and, for huge rectangles, wraps around.
    /// @return 0 when @p rcDst was left as it was, also where the aspect cannot be worked out (a
    /// rectangle without height); 1 otherwise, also when fitting happened to change nothing.
    int m_F_n_CalShowRect(CRect rcSrc, CRect& rcDst);

    /// Converts a planar picture (Y, V, U) to 24-bit RGB in #vm_cRGBBuf, top row first, rows
    /// 3 x width bytes apart.
    ///
    /// The buffer must hold width x height x 3 bytes, or nothing is converted. Nothing is read
    /// outside the picture nor written outside the buffer, whatever its size.
    /// @param pHeader `biWidth` and `biHeight` (of either sign) count.
    void m_S_Convert2RGB(unsigned char* pYV12, BITMAPINFOHEADER* pHeader);

    /// Copies a planar picture (Y, V, U) into a locked YV12 surface: the rows of Y `lPitch` bytes
    /// apart, then those of V and of U, half of it apart, for which an odd height counts as one
    /// more. The source runs on from row to row, so that V's row too many is U's first. Nothing is
    /// read outside the picture: chroma rows that it does not hold repeat the last one that it
    /// does. Nothing is copied into a surface whose pitch is smaller than the width, nor past the
    /// end of one that states its height (`DDSD_HEIGHT`; 12 bits a pixel).
    /// @param pHeader `biWidth` and `biHeight` (of either sign) count.
    void m_S_CopyBmp(DDSURFACEDESC2* pLocked, unsigned char* pYV12, BITMAPINFOHEADER* pHeader);

    static const unsigned int vs_nFccYV12;  ///< FOURCC "YV12": 0x32315659
    static int vs_nCanUseDD7;  ///< not 0 while DirectDraw may be used; never set back by the class

    BITMAPINFO* vm_pBmpHeader;  ///< the renderer's copy of the picture header; 44 bytes, owned
    HWND vm_hWnd;               ///< the window that the DirectDraw objects were made for
    RECT vm_rcLastShow;         ///< destination of the previous draw
    int vm_nLockErrCount;       ///< counts failed surface locks since the last good one
    CMemManage vm_cRGBBuf;      ///< the picture converted for GDI
    IDirectDraw7* vm_pDD7;      ///< DirectDraw
    IDirectDrawSurface7* vm_pPrimary;  ///< the screen
    IDirectDrawSurface7* vm_pVideo;    ///< the off-screen YV12 surface
    IDirectDrawClipper* vm_pClipper;   ///< clips the screen to the window
};
