#include "view_window.h"

#include <stdexcept>

namespace
{
constexpr wchar_t kClassName[] = L"LiveView";
constexpr UINT_PTR kTimer = 1;
constexpr UINT kTick = 10;  // milliseconds
// Wider than most pictures, which then show between black bars.
constexpr int kClientWidth = 960;
constexpr int kClientHeight = 600;
}  // namespace

ViewWindow::ViewWindow(Events& events, const std::optional<RECT>& place) : events_(events)
{
    WNDCLASSW windowClass = {};
    windowClass.style = CS_HREDRAW | CS_VREDRAW;
    windowClass.lpfnWndProc = &ViewWindow::Procedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.hCursor = LoadCursor(nullptr, IDC_ARROW);
    windowClass.hbrBackground = static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH));
    windowClass.lpszClassName = kClassName;
    RegisterClassW(&windowClass);

    RECT frame = {0, 0, kClientWidth, kClientHeight};
    AdjustWindowRect(&frame, WS_OVERLAPPEDWINDOW, FALSE);
    window_ = CreateWindowW(kClassName, L"live_view", WS_OVERLAPPEDWINDOW, CW_USEDEFAULT,
                            CW_USEDEFAULT, frame.right - frame.left, frame.bottom - frame.top,
                            nullptr, nullptr, windowClass.hInstance, nullptr);
    if (window_ == nullptr)
    {
        throw std::runtime_error("the window cannot be opened");
    }
    // A monitor that was there then may have gone since.
    if (place && MonitorFromRect(&*place, MONITOR_DEFAULTTONULL) != nullptr)
    {
        WINDOWPLACEMENT placement = {};
        placement.length = sizeof placement;
        placement.showCmd = SW_SHOWNORMAL;
        placement.rcNormalPosition = *place;
        SetWindowPlacement(window_, &placement);
    }
    ShowWindow(window_, SW_SHOWNORMAL);
    UpdateWindow(window_);
}

ViewWindow::~ViewWindow()
{
    if (IsWindow(window_))
    {
        SetWindowLongPtrW(window_, GWLP_USERDATA, 0);
        DestroyWindow(window_);
    }
}

RECT ViewWindow::Place() const
{
    WINDOWPLACEMENT placement = {};
    placement.length = sizeof placement;
    GetWindowPlacement(window_, &placement);
    return placement.rcNormalPosition;
}

void ViewWindow::RunMessageLoop()
{
    SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    SetTimer(window_, kTimer, kTick, nullptr);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0)
    {
        TranslateMessage(&message);
        DispatchMessageW(&message);
        events_.OnHandled();
    }
}

LRESULT CALLBACK ViewWindow::Procedure(HWND window, UINT message, WPARAM first, LPARAM second)
{
    auto* const self = reinterpret_cast<ViewWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self == nullptr)
    {
        return DefWindowProcW(window, message, first, second);
    }
    switch (message)
    {
        case WM_TIMER:
            self->events_.OnTimer();
            return 0;
        case WM_MOVE:
        case WM_SIZE:
            self->events_.OnPlaced();
            return 0;
        case WM_KEYDOWN:
            self->events_.OnKey(first);
            return 0;
        case WM_CLOSE:
            self->events_.OnClose();
            return 0;
        case WM_DESTROY:
            PostQuitMessage(0);
            return 0;
        default:
            return DefWindowProcW(window, message, first, second);
    }
}
