#include "present/dib_drawing.h"

#include <cstring>

namespace ostrel::present
{

namespace
{

constexpr DWORD kMaxColours = 256;

// A header as GDI may read it: room for the longest header and for a full colour table.
struct RoomyHeader
{
    BITMAPV5HEADER header;
    RGBQUAD colours[kMaxColours];
};

RoomyHeader MakeRoom(const BITMAPINFO& info)
{
    RoomyHeader roomy = {};
    std::memcpy(&roomy, &info, sizeof(info));
    if (roomy.header.bV5ClrUsed > kMaxColours)
    {
        roomy.header.bV5ClrUsed = kMaxColours;
    }
    return roomy;
}

}  // namespace

void DrawDib(HDC dc, const BITMAPINFO& header, const unsigned char* bits, const Edges& source,
             const Edges& destination)
{
    const DWORD size = header.bmiHeader.biSize;
    if (size < sizeof(BITMAPINFOHEADER) || size > sizeof(BITMAPV5HEADER))
    {
        return;
    }
    const RoomyHeader roomy = MakeRoom(header);
    SetStretchBltMode(dc, COLORONCOLOR);
    StretchDIBits(dc, destination.left, destination.top, Width(destination), Height(destination),
                  source.left, source.top, Width(source), Height(source), bits,
                  reinterpret_cast<const BITMAPINFO*>(&roomy), DIB_RGB_COLORS, SRCCOPY);
}

}  // namespace ostrel::present
