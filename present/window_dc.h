/// @file
/// The device context of a window's client area, released when the object goes.
#pragma once

#include <windows.h>

namespace ostrel::present
{

/// Holds `GetDC` of a window. There may be none: ask before drawing.
class WindowDc
{
public:
    explicit WindowDc(HWND window) : m_window(window), m_dc(GetDC(window)) {}
    ~WindowDc()
    {
        if (m_dc != nullptr)
        {
            ReleaseDC(m_window, m_dc);
        }
    }
    WindowDc(const WindowDc&) = delete;
    WindowDc& operator=(const WindowDc&) = delete;

    explicit operator bool() const { return m_dc != nullptr; }
    HDC Get() const { return m_dc; }

private:
    HWND m_window;
    HDC m_dc;
};

}  // namespace ostrel::present
