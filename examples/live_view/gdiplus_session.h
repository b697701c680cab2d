// GDI+, the platform's picture codecs, and how long they are in use.
#pragma once

#include <windows.h>

#include <objidl.h>

#include <algorithm>

// Some kits' GDI+ headers count on the macros that NOMINMAX removes.
namespace Gdiplus
{
using std::max;
using std::min;
}  // namespace Gdiplus
#include <gdiplus.h>

// One object lives around all use of GDI+.
class GdiplusSession
{
public:
    GdiplusSession()
    {
        const Gdiplus::GdiplusStartupInput input;
        Gdiplus::GdiplusStartup(&token_, &input, nullptr);
    }
    ~GdiplusSession() { Gdiplus::GdiplusShutdown(token_); }
    GdiplusSession(const GdiplusSession&) = delete;
    GdiplusSession& operator=(const GdiplusSession&) = delete;

private:
    ULONG_PTR token_ = 0;
};

// The encoders' class identifiers, which are the same on every Windows.
constexpr CLSID kJpegEncoder = {
    0x557CF401, 0x1A04, 0x11D3, {0x9A, 0x73, 0x00, 0x00, 0xF8, 0x1E, 0xF3, 0x2E}};
constexpr CLSID kPngEncoder = {
    0x557CF406, 0x1A04, 0x11D3, {0x9A, 0x73, 0x00, 0x00, 0xF8, 0x1E, 0xF3, 0x2E}};
