// Lines of text, over the right part of a window.
#pragma once

#include <windows.h>

#include <deque>
#include <string>

#include "owned_window.h"

class EventPanel
{
public:
    // Throws std::runtime_error when there can be no window.
    explicit EventPanel(HWND owner);

    // Follows the owner, wherever it has gone.
    void Place();

    // What the panel leaves of the owner's client area.
    RECT Beside() const;

    // Adds a line of UTF-8 above the others, with the time of day. One that is marked has a colour
    // of its own.
    void Add(const std::string& text, bool isMarked);

private:
    struct Line
    {
        std::wstring text;
        bool isMarked;
    };

    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM first, LPARAM second);
    void Paint(HDC dc) const;

    OwnedWindow window_;
    std::deque<Line> lines_;  // the newest first
};
