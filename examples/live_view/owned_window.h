// A window that lies over a part of the main window and goes with it.
#pragma once

#include <windows.h>

// A window of its own, not a child: where DirectDraw is emulated, as under Wine, pictures that are
// drawn into a child stay invisible, and those that are drawn into a window cover its children.
class OwnedWindow
{
public:
    // The class is registered when it is not yet. `self` is what a message finds with SelfOf().
    // Throws std::runtime_error when there can be no window.
    OwnedWindow(HWND owner, const wchar_t* className, WNDPROC procedure, void* self);
    ~OwnedWindow();
    OwnedWindow(const OwnedWindow&) = delete;
    OwnedWindow& operator=(const OwnedWindow&) = delete;

    HWND Handle() const { return window_; }
    HWND Owner() const { return owner_; }

    // Puts the window over this part of the owner's client area, and shows it.
    void Place(const RECT& area);

    // Null while the window is being made or destroyed.
    static void* SelfOf(HWND window);

private:
    HWND owner_;
    HWND window_;
};
