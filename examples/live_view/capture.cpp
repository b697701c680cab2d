#include "capture.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "gdiplus_session.h"

namespace
{
[[noreturn]] void Fail(const std::wstring& file)
{
    throw std::runtime_error("cannot write " + std::filesystem::path(file).u8string());
}

struct DeleteBitmap
{
    void operator()(HBITMAP bitmap) const { DeleteObject(bitmap); }
};
using UniqueBitmap = std::unique_ptr<std::remove_pointer_t<HBITMAP>, DeleteBitmap>;

// From the screen and not from the window: what a person would see.
UniqueBitmap CopyOfScreen(POINT corner, int width, int height)
{
    const HDC screen = GetDC(nullptr);
    const HDC memory = CreateCompatibleDC(screen);
    UniqueBitmap bitmap(CreateCompatibleBitmap(screen, width, height));
    const HGDIOBJ before = SelectObject(memory, bitmap.get());
    BitBlt(memory, 0, 0, width, height, screen, corner.x, corner.y, SRCCOPY);
    SelectObject(memory, before);
    DeleteDC(memory);
    ReleaseDC(nullptr, screen);
    return bitmap;
}
}  // namespace

void SaveScreenshot(HWND window, const std::wstring& file)
{
    RECT client = {};
    POINT corner = {};
    GetClientRect(window, &client);
    ClientToScreen(window, &corner);
    const UniqueBitmap copy = CopyOfScreen(corner, client.right, client.bottom);
    Gdiplus::Bitmap picture(copy.get(), nullptr);
    if (picture.Save(file.c_str(), &kPngEncoder, nullptr) != Gdiplus::Ok)
    {
        Fail(file);
    }
}

void SaveFile(const std::wstring& file, const void* bytes, std::size_t length)
{
    std::ofstream stream(std::filesystem::path(file), std::ios::binary);
    stream.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(length));
    stream.close();
    if (!stream)
    {
        Fail(file);
    }
}
