#include "test_pictures.h"

#include <shlwapi.h>
#include "gdiplus_session.h"

#include <stdexcept>

namespace
{
constexpr int kWidth = 640;
constexpr int kHeight = 480;
constexpr int kBarsHeight = 360;
constexpr ULONG kQuality = 85;

using Gdiplus::Color;
using Gdiplus::Graphics;

void Fill(Graphics& graphics, const Color& color, int x, int y, int width, int height)
{
    const Gdiplus::SolidBrush brush(color);
    graphics.FillRectangle(&brush, x, y, width, height);
}

// White, yellow, cyan, green, magenta, red, blue and black, at three quarters of full brightness.
void DrawColorBars(Graphics& graphics)
{
    constexpr BYTE kOn = 191;
    for (int bar = 0; bar < 8; ++bar)
    {
        const Color color((bar & 2) == 0 ? kOn : 0, (bar & 4) == 0 ? kOn : 0,
                          (bar & 1) == 0 ? kOn : 0);
        Fill(graphics, color, bar * kWidth / 8, 0, kWidth / 8, kBarsHeight);
    }
}

// In seven segments, because a camera needs no font.
void DrawDigit(Graphics& graphics, int digit, int x, int y)
{
    constexpr int kLong = 36, kThick = 8;
    struct Segment
    {
        int x, y, width, height;
    };
    constexpr Segment kSegments[7] = {{0, 0, kLong, kThick},
                                      {kLong - kThick, 0, kThick, kLong},
                                      {kLong - kThick, kLong - kThick, kThick, kLong},
                                      {0, 2 * (kLong - kThick), kLong, kThick},
                                      {0, kLong - kThick, kThick, kLong},
                                      {0, 0, kThick, kLong},
                                      {0, kLong - kThick, kLong, kThick}};
    constexpr BYTE kLit[10] = {0x3F, 0x06, 0x5B, 0x4F, 0x66, 0x6D, 0x7D, 0x07, 0x7F, 0x6F};
    for (int i = 0; i < 7; ++i)
    {
        if ((kLit[digit] >> i & 1) != 0)
        {
            const Segment& segment = kSegments[i];
            Fill(graphics, Color(255, 255, 255), x + segment.x, y + segment.y, segment.width,
                 segment.height);
        }
    }
}

std::string EncodeJpeg(Gdiplus::Bitmap& bitmap)
{
    ULONG quality = kQuality;
    Gdiplus::EncoderParameters parameters;
    parameters.Count = 1;
    parameters.Parameter[0].Guid = Gdiplus::EncoderQuality;
    parameters.Parameter[0].Type = Gdiplus::EncoderParameterValueTypeLong;
    parameters.Parameter[0].NumberOfValues = 1;
    parameters.Parameter[0].Value = &quality;

    IStream* stream = SHCreateMemStream(nullptr, 0);
    std::string jpeg;
    if (stream != nullptr && bitmap.Save(stream, &kJpegEncoder, &parameters) == Gdiplus::Ok)
    {
        ULARGE_INTEGER end = {};
        stream->Seek({}, STREAM_SEEK_CUR, &end);
        jpeg.resize(static_cast<std::size_t>(end.QuadPart));
        stream->Seek({}, STREAM_SEEK_SET, nullptr);
        stream->Read(jpeg.data(), static_cast<ULONG>(jpeg.size()), nullptr);
    }
    if (stream != nullptr)
    {
        stream->Release();
    }
    return jpeg;
}
}  // namespace

std::vector<std::string> MakeTestPictures(int count)
{
    std::vector<std::string> pictures;
    for (int number = 0; number < count; ++number)
    {
        Gdiplus::Bitmap bitmap(kWidth, kHeight, PixelFormat24bppRGB);
        Graphics graphics(&bitmap);
        Fill(graphics, Color(48, 48, 48), 0, 0, kWidth, kHeight);
        DrawColorBars(graphics);
        Fill(graphics, Color(255, 160, 0), number * (kWidth - 40) / count, kBarsHeight + 8, 40, 24);
        DrawDigit(graphics, number / 10 % 10, kWidth / 2 - 44, kBarsHeight + 44);
        DrawDigit(graphics, number % 10, kWidth / 2 + 8, kBarsHeight + 44);
        pictures.push_back(EncodeJpeg(bitmap));
        if (pictures.back().empty())
        {
            throw std::runtime_error("the embedded camera's pictures cannot be encoded");
        }
    }
    return pictures;
}
