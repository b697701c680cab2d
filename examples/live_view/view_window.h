// A window of the plain Windows kind, which passes on what happens to it.
#pragma once

#include <windows.h>

#include <optional>

class ViewWindow
{
public:
    class Events
    {
    public:
        virtual void OnTimer() = 0;          // some 60 to 100 times a second, less when busy
        virtual void OnHandled() = 0;        // a message of any kind has been handled
        virtual void OnPlaced() = 0;         // the window has another place or size
        virtual void OnKey(WPARAM key) = 0;  // a virtual key was pressed
        virtual void OnClose() = 0;          // destroys the window, or it stays

    protected:
        ~Events() = default;
    };

    // Opens the window, at a place as Place() returned it if there is one. Throws
    // std::runtime_error when that fails.
    ViewWindow(Events& events, const std::optional<RECT>& place);
    ~ViewWindow();
    ViewWindow(const ViewWindow&) = delete;
    ViewWindow& operator=(const ViewWindow&) = delete;

    HWND Handle() const { return window_; }

    // Where the window is when it is neither minimised nor maximised, with its frame.
    RECT Place() const;

    // Runs until the window is destroyed. Events come only from here on.
    void RunMessageLoop();

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM first, LPARAM second);

    Events& events_;
    HWND window_ = nullptr;
};
