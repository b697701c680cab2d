/// @file
/// A window of its own to draw into, and what the screen shows there.
#pragma once

#include <windows.h>

#include "present/test_pictures.h"

namespace ostrel::test
{

/// A topmost window without frame whose ground is grey, so that black shows.
class TestWindow
{
public:
    TestWindow(int left, int top, int width, int height)
    {
        static const ATOM windowClass = Register();
        m_window = CreateWindowExW(WS_EX_TOPMOST | WS_EX_NOACTIVATE, MAKEINTATOM(windowClass),
                                   L"renderer test", WS_POPUP, left, top, width, height, nullptr,
                                   nullptr, GetModuleHandleW(nullptr), nullptr);
        // Never active: an active window waits for a window manager, and there need not be one.
        ShowWindow(m_window, SW_SHOWNOACTIVATE);
        UpdateWindow(m_window);
        Pump();
    }
    ~TestWindow()
    {
        DestroyWindow(m_window);
        Pump();
    }
    TestWindow(const TestWindow&) = delete;
    TestWindow& operator=(const TestWindow&) = delete;

    HWND Get() const { return m_window; }

    void Move(int left, int top, int width, int height)
    {
        SetWindowPos(m_window, HWND_TOPMOST, left, top, width, height, SWP_NOACTIVATE);
        UpdateWindow(m_window);
        Pump();
    }

    /// Paints the whole client area grey again.
    void Clear()
    {
        InvalidateRect(m_window, nullptr, TRUE);
        UpdateWindow(m_window);
        Pump();
    }

    /// What stands at a place of the client area.
    Colour At(int x, int y) const
    {
        GdiFlush();
        const HDC dc = GetDC(m_window);
        const COLORREF pixel = GetPixel(dc, x, y);
        ReleaseDC(m_window, dc);
        return {GetRValue(pixel), GetGValue(pixel), GetBValue(pixel)};
    }

    /// Lets the platform catch up with this window.
    static void Pump()
    {
        MSG message;
        for (int i = 0; i < 3; ++i)
        {
            while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            {
                DispatchMessageW(&message);
            }
            Sleep(10);
        }
    }

private:
    static ATOM Register()
    {
        WNDCLASSW description = {};
        description.lpfnWndProc = &DefWindowProcW;
        description.hInstance = GetModuleHandleW(nullptr);
        description.hbrBackground = static_cast<HBRUSH>(GetStockObject(GRAY_BRUSH));
        description.lpszClassName = L"ostrel renderer test";
        return RegisterClassW(&description);
    }

    HWND m_window;
};

constexpr Colour kGround = {128, 128, 128};

}  // namespace ostrel::test
