#include "overlay.h"

#include <CSFunc.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "local_time.h"

namespace
{
constexpr int kMargin = 8;   // pixels from the picture's edges
constexpr int kPadding = 4;  // around the text
constexpr int kTextSize = 18;
constexpr unsigned char kNoColour = 128;  // of both chroma planes

struct DeleteGdiObject
{
    void operator()(void* object) const { DeleteObject(object); }
};
using UniqueGdiObject = std::unique_ptr<void, DeleteGdiObject>;

struct DeleteDc
{
    void operator()(HDC dc) const { DeleteDC(dc); }
};
using UniqueDc = std::unique_ptr<std::remove_pointer_t<HDC>, DeleteDc>;

int RoundedUpToEven(int number)
{
    return (number + 1) / 2 * 2;
}
}  // namespace

void Overlay::Write(const std::string& name, Picture& picture)
{
    const std::wstring text = std::wstring(CSFunc::s_F_s_Utf8ToUnicode(name.c_str()).GetString()) +
                              L"  " + LocalTimeText();
    if (text != text_)
    {
        Render(text);
        text_ = text;
    }
    const int width = std::min(width_, picture.heldWidth - kMargin);
    const int height = std::min(height_, picture.heldHeight - kMargin);
    if (width <= 0 || height <= 0)
    {
        return;
    }
    unsigned char* const y = picture.planes.data();
    unsigned char* const v = y + static_cast<std::size_t>(picture.heldWidth) * picture.heldHeight;
    for (int row = 0; row < height; ++row)
    {
        std::memcpy(y + static_cast<std::size_t>(kMargin + row) * picture.heldWidth + kMargin,
                    luma_.data() + static_cast<std::size_t>(row) * width_, width);
    }
    // Both chroma planes, which have the same shape, one after the other.
    const int chromaWidth = picture.heldWidth / 2;
    for (int row = 0; row < height / 2; ++row)
    {
        for (const int plane : {0, picture.heldHeight / 2})
        {
            const std::size_t first =
                static_cast<std::size_t>(plane + kMargin / 2 + row) * chromaWidth + kMargin / 2;
            std::memset(v + first, kNoColour, width / 2);
        }
    }
}

// White on black, in limited range.
void Overlay::Render(const std::wstring& text)
{
    const UniqueDc dc(CreateCompatibleDC(nullptr));
    const UniqueGdiObject font(CreateFontW(-kTextSize, 0, 0, 0, FW_NORMAL, FALSE, FALSE, FALSE,
                                           DEFAULT_CHARSET, OUT_DEFAULT_PRECIS, CLIP_DEFAULT_PRECIS,
                                           ANTIALIASED_QUALITY, DEFAULT_PITCH, L"Tahoma"));
    const HGDIOBJ fontBefore = SelectObject(dc.get(), font.get());
    const int length = static_cast<int>(text.size());
    SIZE size = {};
    GetTextExtentPoint32W(dc.get(), text.c_str(), length, &size);
    width_ = RoundedUpToEven(size.cx + 2 * kPadding);
    height_ = RoundedUpToEven(size.cy + 2 * kPadding);

    BITMAPINFO format = {};
    format.bmiHeader.biSize = sizeof format.bmiHeader;
    format.bmiHeader.biWidth = width_;
    format.bmiHeader.biHeight = -height_;
    format.bmiHeader.biPlanes = 1;
    format.bmiHeader.biBitCount = 32;
    void* pixels = nullptr;
    const UniqueGdiObject bitmap(
        CreateDIBSection(dc.get(), &format, DIB_RGB_COLORS, &pixels, nullptr, 0));
    luma_.assign(static_cast<std::size_t>(width_) * height_, 16);
    if (bitmap)
    {
        const HGDIOBJ bitmapBefore = SelectObject(dc.get(), bitmap.get());
        SetBkMode(dc.get(), TRANSPARENT);
        SetTextColor(dc.get(), RGB(255, 255, 255));
        TextOutW(dc.get(), kPadding, kPadding, text.c_str(), length);
        GdiFlush();
        const auto* const bytes = static_cast<const unsigned char*>(pixels);
        for (std::size_t i = 0; i < luma_.size(); ++i)
        {
            luma_[i] = static_cast<unsigned char>(16 + bytes[4 * i + 1] * 219 / 255);
        }
        SelectObject(dc.get(), bitmapBefore);
    }
    SelectObject(dc.get(), fontBefore);
}
