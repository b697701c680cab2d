#include <atlimage.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

namespace
{

// GDI+, started when it is needed, for as long as there are images.
class GdiPlusSession
{
public:
    void AddImage()
    {
        AcquireSRWLockExclusive(&m_lock);
        ++m_images;
        ReleaseSRWLockExclusive(&m_lock);
    }

    void RemoveImage()
    {
        AcquireSRWLockExclusive(&m_lock);
        if (--m_images == 0)
        {
            ShutDown();
        }
        ReleaseSRWLockExclusive(&m_lock);
    }

    bool Start()
    {
        AcquireSRWLockExclusive(&m_lock);
        if (m_token == 0)
        {
            Gdiplus::GdiplusStartupInput input;
            if (Gdiplus::GdiplusStartup(&m_token, &input, nullptr) != Gdiplus::Ok)
            {
                m_token = 0;
            }
        }
        const bool isStarted = m_token != 0;
        ReleaseSRWLockExclusive(&m_lock);
        return isStarted;
    }

    void Release()
    {
        AcquireSRWLockExclusive(&m_lock);
        ShutDown();
        ReleaseSRWLockExclusive(&m_lock);
    }

private:
    void ShutDown()
    {
        if (m_token != 0)
        {
            Gdiplus::GdiplusShutdown(m_token);
            m_token = 0;
        }
    }

    // No destructor: it would run while the module is unloaded, when GDI+ must not be shut down.
    SRWLOCK m_lock = SRWLOCK_INIT;
    int m_images = 0;
    ULONG_PTR m_token = 0;
};

GdiPlusSession session;

HRESULT ToResult(Gdiplus::Status status)
{
    switch (status)
    {
        case Gdiplus::Ok:
            return S_OK;
        case Gdiplus::OutOfMemory:
            return E_OUTOFMEMORY;
        case Gdiplus::InvalidParameter:
            return E_INVALIDARG;
        case Gdiplus::FileNotFound:
            return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
        case Gdiplus::AccessDenied:
            return E_ACCESSDENIED;
        default:
            return E_FAIL;
    }
}

// The end of a name behind its last point, the point included; empty when it has none.
CStringW ExtensionOf(const CStringW& name)
{
    const int point = name.ReverseFind(L'.');
    const bool isInFolder = name.ReverseFind(L'\\') > point || name.ReverseFind(L'/') > point;
    return point < 0 || isInFolder ? CStringW() : name.Mid(point);
}

// Whether a list like "*.JPG;*.JPEG" holds an extension.
bool HoldsExtension(const CStringW& list, const CStringW& extension)
{
    const CStringW pattern = L"*" + extension;
    int start = 0;
    for (CStringW entry = list.Tokenize(L";", start); start >= 0;
         entry = list.Tokenize(L";", start))
    {
        if (entry.CompareNoCase(pattern) == 0)
        {
            return true;
        }
    }
    return false;
}

template <typename Predicate>
bool FindEncoder(Predicate isWanted, CLSID& encoder)
{
    UINT count = 0;
    UINT size = 0;
    if (Gdiplus::GetImageEncodersSize(&count, &size) != Gdiplus::Ok || size == 0)
    {
        return false;
    }
    const std::unique_ptr<unsigned char[]> block(new (std::nothrow) unsigned char[size]);
    auto* const encoders = reinterpret_cast<Gdiplus::ImageCodecInfo*>(block.get());
    if (encoders == nullptr || Gdiplus::GetImageEncoders(count, size, encoders) != Gdiplus::Ok)
    {
        return false;
    }
    for (UINT i = 0; i < count; ++i)
    {
        if (isWanted(encoders[i]))
        {
            encoder = encoders[i].Clsid;
            return true;
        }
    }
    return false;
}

bool FindEncoderOfFormat(REFGUID format, CLSID& encoder)
{
    return FindEncoder([&](const Gdiplus::ImageCodecInfo& info)
                       { return IsEqualGUID(info.FormatID, format) != 0; },
                       encoder);
}

bool FindEncoderForName(const CStringW& name, CLSID& encoder)
{
    const CStringW extension = ExtensionOf(name);
    if (extension.IsEmpty())
    {
        return FindEncoderOfFormat(Gdiplus::ImageFormatBMP, encoder);
    }
    return FindEncoder([&](const Gdiplus::ImageCodecInfo& info)
                       { return HoldsExtension(info.FilenameExtension, extension); },
                       encoder);
}

// The memory of a DIB section, which GDI limits to what its header can state in 32 bits. 0: such a
// section there is not.
std::uint64_t SectionSize(int width, int height, int bitsPerPixel)
{
    switch (bitsPerPixel)
    {
        case 1:
        case 4:
        case 8:
        case 16:
        case 24:
        case 32:
            break;
        default:
            return 0;
    }
    if (width <= 0 || height == 0 || height == INT_MIN)
    {
        return 0;
    }
    const auto rows = static_cast<std::uint64_t>(height < 0 ? -height : height);
    const std::uint64_t rowSize =
        (static_cast<std::uint64_t>(width) * static_cast<unsigned>(bitsPerPixel) + 31) / 32 * 4;
    return rowSize > INT32_MAX / rows ? 0 : rowSize * rows;
}

// A header with the longest colour table there is, black.
struct SectionInfo
{
    BITMAPINFOHEADER header;
    RGBQUAD colours[256];
};

}  // namespace

CImage::CImage() : m_hDC(nullptr), m_nDCRefCount(0), m_hOldBitmap(nullptr)
{
    Forget();
    session.AddImage();
}

CImage::~CImage()
{
    Destroy();
    session.RemoveImage();
}

BOOL CImage::Create(int nWidth, int nHeight, int nBPP, DWORD dwFlags)
{
    Destroy();
    const bool hasAlpha = (dwFlags & createAlphaChannel) != 0;
    if (SectionSize(nWidth, nHeight, nBPP) == 0 || (hasAlpha && nBPP != 32))
    {
        return FALSE;
    }
    SectionInfo info = {};
    info.header.biSize = sizeof(info.header);
    info.header.biWidth = nWidth;
    info.header.biHeight = nHeight;
    info.header.biPlanes = 1;
    info.header.biBitCount = static_cast<WORD>(nBPP);
    info.header.biCompression = BI_RGB;
    void* bits = nullptr;
    const HBITMAP bitmap = CreateDIBSection(nullptr, reinterpret_cast<const BITMAPINFO*>(&info),
                                            DIB_RGB_COLORS, &bits, nullptr, 0);
    if (bitmap == nullptr)
    {
        return FALSE;
    }
    Attach(bitmap, nHeight < 0 ? DIBOR_TOPDOWN : DIBOR_BOTTOMUP);
    m_bHasAlphaChannel = hasAlpha;
    return TRUE;
}

void CImage::Attach(HBITMAP hBitmap, DIBOrientation eOrientation)
{
    Destroy();
    m_hBitmap = hBitmap;
    Describe(eOrientation);
}

HBITMAP CImage::Detach()
{
    const HBITMAP bitmap = m_hBitmap;
    Forget();
    return bitmap;
}

void CImage::Destroy()
{
    // A bitmap that is selected cannot be deleted.
    while (m_nDCRefCount > 0)
    {
        ReleaseDC();
    }
    const HBITMAP bitmap = Detach();
    if (bitmap != nullptr)
    {
        DeleteObject(bitmap);
    }
}

void* CImage::GetBits()
{
    return m_pBits;
}

const void* CImage::GetBits() const
{
    return m_pBits;
}

HDC CImage::GetDC() const
{
    if (m_hBitmap == nullptr)
    {
        return nullptr;
    }
    if (m_nDCRefCount == 0)
    {
        m_hDC = CreateCompatibleDC(nullptr);
        if (m_hDC == nullptr)
        {
            return nullptr;
        }
        m_hOldBitmap = SelectObject(m_hDC, m_hBitmap);
    }
    ++m_nDCRefCount;
    return m_hDC;
}

void CImage::ReleaseDC() const
{
    if (m_nDCRefCount == 0 || --m_nDCRefCount > 0)
    {
        return;
    }
    SelectObject(m_hDC, m_hOldBitmap);
    DeleteDC(m_hDC);
    m_hDC = nullptr;
    m_hOldBitmap = nullptr;
}

HRESULT CImage::Load(LPCTSTR pszFileName)
{
    Destroy();
    if (!session.Start())
    {
        return E_FAIL;
    }
    Gdiplus::Bitmap file{CStringW(pszFileName).GetString()};
    // Asking for the status resets it.
    const Gdiplus::Status opened = file.GetLastStatus();
    if (opened != Gdiplus::Ok)
    {
        return ToResult(opened);
    }
    const bool hasAlpha = Gdiplus::IsAlphaPixelFormat(file.GetPixelFormat()) != FALSE;
    const int width = static_cast<int>(file.GetWidth());
    const int height = static_cast<int>(file.GetHeight());
    const int bytesPerPixel = hasAlpha ? 4 : 3;
    if (!Create(width, height, 8 * bytesPerPixel, hasAlpha ? createAlphaChannel : 0))
    {
        return E_FAIL;
    }
    const Gdiplus::Rect all(0, 0, width, height);
    Gdiplus::BitmapData pixels = {};
    const Gdiplus::Status status =
        file.LockBits(&all, Gdiplus::ImageLockModeRead,
                      hasAlpha ? PixelFormat32bppARGB : PixelFormat24bppRGB, &pixels);
    if (status != Gdiplus::Ok)
    {
        Destroy();
        return ToResult(status);
    }
    for (int y = 0; y < height; ++y)
    {
        std::memcpy(
            static_cast<unsigned char*>(m_pBits) + static_cast<std::ptrdiff_t>(y) * m_nPitch,
            static_cast<const unsigned char*>(pixels.Scan0) +
                static_cast<std::ptrdiff_t>(y) * pixels.Stride,
            static_cast<std::size_t>(width) * static_cast<unsigned>(bytesPerPixel));
    }
    file.UnlockBits(&pixels);
    return S_OK;
}

HRESULT CImage::Save(LPCTSTR pszFileName, REFGUID guidFileType) const
{
    const CStringW name(pszFileName);
    if (m_hBitmap == nullptr || name.IsEmpty() || !session.Start())
    {
        return E_FAIL;
    }
    CLSID encoder = {};
    const bool isFound = IsEqualGUID(guidFileType, GUID_NULL)
                             ? FindEncoderForName(name, encoder)
                             : FindEncoderOfFormat(guidFileType, encoder);
    if (!isFound)
    {
        return E_FAIL;
    }
    const auto save = [&](Gdiplus::Bitmap&& bitmap)
    {
        const Gdiplus::Status status = bitmap.GetLastStatus();
        return ToResult(status == Gdiplus::Ok ? bitmap.Save(name.GetString(), &encoder, nullptr)
                                              : status);
    };
    if (!IsDIBSection() || m_nBPP < 24)
    {
        return save(Gdiplus::Bitmap(m_hBitmap, nullptr));
    }
    // What GDI has not drawn yet is not in the memory.
    GdiFlush();
    const Gdiplus::PixelFormat format = m_nBPP == 24         ? PixelFormat24bppRGB
                                        : m_bHasAlphaChannel ? PixelFormat32bppARGB
                                                             : PixelFormat32bppRGB;
    return save(
        Gdiplus::Bitmap(m_nWidth, m_nHeight, m_nPitch, format, static_cast<BYTE*>(m_pBits)));
}

void CImage::ReleaseGDIPlus()
{
    session.Release();
}

void CImage::Describe(DIBOrientation eOrientation)
{
    DIBSECTION section = {};
    const int size = GetObject(m_hBitmap, sizeof(section), &section);
    if (size == 0)
    {
        Forget();
        return;
    }
    const BITMAP& bitmap = section.dsBm;
    m_nWidth = bitmap.bmWidth;
    m_nHeight = bitmap.bmHeight < 0 ? -bitmap.bmHeight : bitmap.bmHeight;
    m_nBPP = bitmap.bmBitsPixel;
    if (size != static_cast<int>(sizeof(section)) || bitmap.bmBits == nullptr)
    {
        return;
    }
    m_nBPP = section.dsBmih.biBitCount;
    const bool isTopDown =
        eOrientation == DIBOR_DEFAULT ? section.dsBmih.biHeight < 0 : eOrientation == DIBOR_TOPDOWN;
    m_nPitch = isTopDown ? bitmap.bmWidthBytes : -bitmap.bmWidthBytes;
    m_pBits = static_cast<unsigned char*>(bitmap.bmBits) +
              (isTopDown ? 0 : static_cast<std::ptrdiff_t>(m_nHeight - 1) * bitmap.bmWidthBytes);
}

void CImage::Forget()
{
    m_hBitmap = nullptr;
    m_pBits = nullptr;
    m_nWidth = 0;
    m_nHeight = 0;
    m_nPitch = 0;
    m_nBPP = 0;
    m_bHasAlphaChannel = false;
}
