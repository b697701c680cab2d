#include "picture.h"

#include <CSFunc.h>

#include <shlwapi.h>
#include "gdiplus_session.h"

#include <cstring>

#include "statistics.h"

namespace
{
constexpr int kLargest = 8192;  // pixels; what a camera claims beyond it is not believed
constexpr int kBytes = 3;       // of a pixel

// GDI+ delivers B, G, R, and the conversion takes R, G, B.
void SwapRow(const unsigned char* bgr, unsigned char* rgb, int width)
{
    for (int x = 0; x < width; ++x, bgr += kBytes, rgb += kBytes)
    {
        rgb[0] = bgr[2];
        rgb[1] = bgr[1];
        rgb[2] = bgr[0];
    }
}

void RepeatLastPixel(unsigned char* row, int width, int heldWidth)
{
    for (int x = width; x < heldWidth; ++x)
    {
        std::memcpy(row + x * kBytes, row + (width - 1) * kBytes, kBytes);
    }
}
}  // namespace

Picture::Loading Picture::Load(unsigned char* jpeg, int length)
{
    Loading loading;
    Stopwatch watch;
    width = height = 0;
    CSFunc::s_S_GetJpegWH(jpeg, length, width, height);
    loading.size = watch.Lap();
    if (width < 1 || height < 1 || width > kLargest || height > kLargest)
    {
        loading.trouble = "picture without a size (no baseline JFIF), or too large";
        return loading;
    }

    heldWidth = (width + 15) / 16 * 16;
    heldHeight = (height + 1) / 2 * 2;
    pixels_.resize(static_cast<std::size_t>(heldWidth) * heldHeight * kBytes);
    planes.resize(static_cast<std::size_t>(heldWidth) * heldHeight * 3 / 2);
    if (!Decode(jpeg, length))
    {
        loading.trouble = "picture that cannot be decoded";
        return loading;
    }
    loading.decode = watch.Lap();

    Convert();
    loading.convert = watch.Lap();
    return loading;
}

bool Picture::Decode(const unsigned char* jpeg, int length)
{
    IStream* stream = SHCreateMemStream(jpeg, length);
    if (stream == nullptr)
    {
        return false;
    }
    Gdiplus::Bitmap bitmap(stream);
    stream->Release();

    const Gdiplus::Rect all(0, 0, width, height);
    Gdiplus::BitmapData data;
    if (bitmap.GetWidth() != static_cast<UINT>(width) ||
        bitmap.GetHeight() != static_cast<UINT>(height) ||
        bitmap.LockBits(&all, Gdiplus::ImageLockModeRead, PixelFormat24bppRGB, &data) !=
            Gdiplus::Ok)
    {
        return false;
    }
    const std::size_t rowBytes = static_cast<std::size_t>(heldWidth) * kBytes;
    for (int y = 0; y < height; ++y)
    {
        unsigned char* const row = pixels_.data() + y * rowBytes;
        SwapRow(
            static_cast<const unsigned char*>(data.Scan0) + static_cast<ptrdiff_t>(y) * data.Stride,
            row, width);
        RepeatLastPixel(row, width, heldWidth);
    }
    bitmap.UnlockBits(&data);
    if (heldHeight > height)
    {
        std::memcpy(pixels_.data() + height * rowBytes, pixels_.data() + (height - 1) * rowBytes,
                    rowBytes);
    }
    return true;
}

void Picture::Convert()
{
    const std::size_t size = static_cast<std::size_t>(heldWidth) * heldHeight;
    unsigned char* const y = planes.data();
    unsigned char* const v = y + size;
    unsigned char* const u = v + size / 4;
    CSFunc::s_S_RGB24_to_YV12(pixels_.data(), y, u, v, heldWidth, heldHeight);
}
