// A window of the plain Windows kind, which passes on what happens to it.
#pragma once

#include <windows.h>

class ViewWindow
{
public:
    class Events
    {
    public:
        virtual void OnTimer() = 0;                             // some 60 to 100 times a second
        virtual void OnPosted(UINT message, WPARAM value) = 0;  // messages from WM_APP on
        virtual void OnPlaced() = 0;  // the window has another place or size
        virtual void OnPaint() = 0;   // the client area has been made black
        virtual void OnClose() = 0;   // destroys the window, or it stays

    protected:
        ~Events() = default;
    };

    // Opens the window. Throws std::runtime_error when that fails.
    explicit ViewWindow(Events& events);
    ~ViewWindow();
    ViewWindow(const ViewWindow&) = delete;
    ViewWindow& operator=(const ViewWindow&) = delete;

    HWND Handle() const { return window_; }

    // Runs until the window is destroyed. Events come only from here on.
    void RunMessageLoop();

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM first, LPARAM second);

    Events& events_;
    HWND window_ = nullptr;
};
