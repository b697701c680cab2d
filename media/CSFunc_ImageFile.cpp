#include <algorithm>

// GDI+'s own headers call these two as they are.
namespace Gdiplus
{
using std::max;
using std::min;
}  // namespace Gdiplus

#include <atlimage.h>

#include <cstring>
#include <memory>
#include <new>

#include "CSFunc.h"
#include "media/image_export.h"

using namespace ostrel::media;

namespace
{

constexpr int kImageBitsPerPixel = 24;
constexpr DWORD kFourCcYv12 = 0x32315659;
constexpr DWORD kMaxColours = 256;

// A header as GDI may read it: room for the longest header and for a full colour table, black.
struct RoomyHeader
{
    BITMAPV5HEADER header;
    RGBQUAD colours[kMaxColours];
};

RoomyHeader MakeRoom(const BITMAPINFOHEADER& header)
{
    RoomyHeader roomy = {};
    std::memcpy(&roomy, &header, sizeof(header));
    if (roomy.header.bV5ClrUsed > kMaxColours)
    {
        roomy.header.bV5ClrUsed = kMaxColours;
    }
    return roomy;
}

// What GDI draws from a picture of a known size. For others it would find the size in the header's
// size field or in the picture itself.
bool IsDrawable(const BITMAPINFOHEADER& header)
{
    return header.biCompression == BI_RGB && header.biSize >= sizeof(BITMAPINFOHEADER) &&
           header.biSize <= sizeof(BITMAPV5HEADER) &&
           DibSize(header.biWidth, header.biHeight, header.biBitCount) != 0;
}

void DrawInto(const CImage& image, const BITMAPINFOHEADER& header, const unsigned char* pixels)
{
    const HDC dc = image.GetDC();
    if (dc == nullptr)
    {
        return;
    }
    const RoomyHeader roomy = MakeRoom(header);
    // The rows are counted without the sign, which would have nothing drawn from a top-down
    // picture.
    const auto rows = static_cast<DWORD>(CountRows(header.biHeight));
    SetDIBitsToDevice(dc, 0, 0, static_cast<DWORD>(header.biWidth), rows, 0, 0, 0, rows, pixels,
                      reinterpret_cast<const BITMAPINFO*>(&roomy), DIB_RGB_COLORS);
    image.ReleaseDC();
}

// Replaces a planar picture by its conversion, and its header by that one's. GDI takes rows to be
// padded to 32 bits and those of the conversion are not: for such widths the picture comes out
// skewed, on purpose, but GDI must find as many bytes as it reads.
std::unique_ptr<unsigned char[]> ConvertPlanar(BITMAPINFOHEADER& header,
                                               const unsigned char* picture)
{
    header.biCompression = BI_RGB;
    header.biBitCount = kImageBitsPerPixel;
    header.biSizeImage = static_cast<DWORD>(LayOutPlanar(header.biWidth, header.biHeight).rgbSize);
    auto rgb = std::make_unique<unsigned char[]>(
        DibSize(header.biWidth, header.biHeight, kImageBitsPerPixel));
    ConvertPlanarForDib(&CSFunc::s_S_YV12_to_RGB24, rgb.get(), picture, header.biWidth,
                        header.biHeight);
    return rgb;
}

const GUID& FormatId(ImageFileFormat format)
{
    switch (format)
    {
        case ImageFileFormat::Bmp:
            return Gdiplus::ImageFormatBMP;
        case ImageFileFormat::Png:
            return Gdiplus::ImageFormatPNG;
        default:
            return Gdiplus::ImageFormatJPEG;
    }
}

void SaveImage(const CString& path, BITMAPINFOHEADER header, const unsigned char* pixels)
{
    if (DibSize(header.biWidth, header.biHeight, kImageBitsPerPixel) == 0)
    {
        return;
    }
    std::unique_ptr<unsigned char[]> converted;
    if (header.biCompression == kFourCcYv12 && pixels != nullptr)
    {
        converted = ConvertPlanar(header, pixels);
        pixels = converted.get();
    }
    CImage image;
    if (!image.Create(header.biWidth, header.biHeight, kImageBitsPerPixel))
    {
        return;
    }
    if (pixels != nullptr && IsDrawable(header))
    {
        DrawInto(image, header, pixels);
    }
    image.Save(path, FormatId(ChooseImageFileFormat(path.GetString())));
}

}  // namespace

void CSFunc::s_S_SaveImg(CString path, BITMAPINFOHEADER header, unsigned char* pixels)
{
    try
    {
        SaveImage(path, header, pixels);
    }
    catch (const std::bad_alloc&)
    {
        // There is no result that could tell.
    }
    catch (CMemoryException* exception)
    {
        exception->Delete();
    }
}
