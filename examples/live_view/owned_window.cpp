#include "owned_window.h"

#include <stdexcept>

OwnedWindow::OwnedWindow(HWND owner, const wchar_t* className, WNDPROC procedure, void* self)
    : owner_(owner)
{
    WNDCLASSW windowClass = {};
    windowClass.style = CS_HREDRAW | CS_VREDRAW;
    windowClass.lpfnWndProc = procedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.hCursor = LoadCursor(nullptr, IDC_ARROW);
    windowClass.hbrBackground = static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH));
    windowClass.lpszClassName = className;
    RegisterClassW(&windowClass);
    window_ = CreateWindowExW(WS_EX_NOACTIVATE | WS_EX_TOOLWINDOW, className, L"", WS_POPUP, 0, 0,
                              0, 0, owner, nullptr, windowClass.hInstance, nullptr);
    if (window_ == nullptr)
    {
        throw std::runtime_error("a part of the window cannot be opened");
    }
    SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(self));
}

OwnedWindow::~OwnedWindow()
{
    // The owner takes it along when it is destroyed first.
    if (IsWindow(window_))
    {
        SetWindowLongPtrW(window_, GWLP_USERDATA, 0);
        DestroyWindow(window_);
    }
}

void OwnedWindow::Place(const RECT& area)
{
    POINT corner = {area.left, area.top};
    ClientToScreen(owner_, &corner);
    SetWindowPos(window_, nullptr, corner.x, corner.y, area.right - area.left,
                 area.bottom - area.top, SWP_NOACTIVATE | SWP_NOZORDER | SWP_SHOWWINDOW);
}

void* OwnedWindow::SelfOf(HWND window)
{
    return reinterpret_cast<void*>(GetWindowLongPtrW(window, GWLP_USERDATA));
}
