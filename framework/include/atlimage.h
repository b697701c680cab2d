/// @file
/// Images: a bitmap that GDI can draw into, read from and written to files through GDI+.
#pragma once

#include "afx.h"

// GDI+ expects the interfaces of COM to be declared.
#include <objidl.h>

#include <gdiplus.h>

/// Owns a bitmap.
///
/// GDI+ is started when the first file is loaded or saved, and shut down when the last object of
/// the process is destroyed; so an object that outlives `main` may need ReleaseGDIPlus(), for GDI+
/// must not be shut down while a module is being unloaded. Different threads may use different
/// objects.
class AFX_API CImage
{
public:
    /// The fourth byte of a pixel of 32 bits is its alpha.
    static const DWORD createAlphaChannel = 0x01;

    /// The order of rows of a bitmap that is attached.
    enum DIBOrientation
    {
        DIBOR_DEFAULT,  ///< as the bitmap says itself
        DIBOR_TOPDOWN,
        DIBOR_BOTTOMUP
    };

    CImage();

    /// Destroys the bitmap.
    ~CImage();

    CImage(const CImage&) = delete;
    CImage& operator=(const CImage&) = delete;

    operator HBITMAP() const { return m_hBitmap; }
    bool IsNull() const { return m_hBitmap == nullptr; }

    /// Makes a DIB section, black, in the place of the bitmap there was.
    /// @param nWidth pixels.
    /// @param nHeight pixels; positive: the rows lie bottom-up in memory, negative: top-down.
    /// @param nBPP bits per pixel: 1, 4, 8, 16, 24 or 32.
    /// @param dwFlags 0 or, for 32 bits only, #createAlphaChannel.
    /// @return not 0 when made; otherwise the image is empty.
    BOOL Create(int nWidth, int nHeight, int nBPP, DWORD dwFlags = 0);

    /// Takes a bitmap over, in the place of the one there was.
    void Attach(HBITMAP hBitmap, DIBOrientation eOrientation = DIBOR_DEFAULT);

    /// Gives the bitmap away.
    HBITMAP Detach();

    /// Destroys the bitmap, if there is one.
    void Destroy();

    int GetWidth() const { return m_nWidth; }
    int GetHeight() const { return m_nHeight; }
    int GetBPP() const { return m_nBPP; }
    bool IsDIBSection() const { return m_pBits != nullptr; }

    /// @return the pixel (0, 0), which is that in the upper left corner: for a bottom-up bitmap it
    /// lies in the last row of the memory. Null if the bitmap is no DIB section.
    void* GetBits();
    const void* GetBits() const;

    /// @return bytes from one row to the one below it, negative for a bottom-up bitmap; 0 if the
    /// bitmap is no DIB section.
    int GetPitch() const { return m_nPitch; }

    /// @return a device context into which the bitmap is selected, or null. Each call needs one of
    /// ReleaseDC().
    HDC GetDC() const;
    void ReleaseDC() const;

    /// Reads a file of any format that GDI+ knows, as 24 bits per pixel, or as 32 with alpha if its
    /// format has alpha. On failure the image is empty.
    HRESULT Load(LPCTSTR pszFileName);

    /// Writes a file.
    /// @param guidFileType the format, as `Gdiplus::ImageFormatPNG`. Without one, the extension of
    /// the name says it, and a name without an extension means BMP.
    HRESULT Save(LPCTSTR pszFileName, REFGUID guidFileType = GUID_NULL) const;

    /// Shuts GDI+ down until it is needed again.
    void ReleaseGDIPlus();

private:
    void Describe(DIBOrientation eOrientation);
    void Forget();

    HBITMAP m_hBitmap;
    void* m_pBits;  // the upper left pixel
    int m_nWidth;
    int m_nHeight;
    int m_nPitch;
    int m_nBPP;
    bool m_bHasAlphaChannel;
    mutable HDC m_hDC;
    mutable int m_nDCRefCount;
    mutable HGDIOBJ m_hOldBitmap;
};
