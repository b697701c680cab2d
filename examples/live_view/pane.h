// One camera's part of the window.
#pragma once

#include <windows.h>

#include "display.h"
#include "feed.h"
#include "owned_window.h"

// A window of its own, for the renderer blackens all of the window that its
// picture leaves free.
class Pane
{
public:
    // The feed outlives the pane. Throws std::runtime_error when there can be no window.
    Pane(HWND owner, Feed& feed, bool useGdi, int framesPerSecond);
    // Over this part of the owner's client area.
    void Place(const RECT& area) { window_.Place(area); }

    // Looks whether a picture has come or is due, some 60 to 100 times a second.
    void Tick();

    // Draws the feed's picture.
    void Show();

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM first, LPARAM second);
    void EndFetch();
    bool Draw();

    OwnedWindow window_;
    Feed& feed_;
    Display display_;
    int fetching_ = 0;  // number of the fetch that is under way, or 0
    Stopwatch time_;
    const double interval_;  // milliseconds
    double nextFetch_;       // of time_
};
