// Draws pictures into a window with the library's renderer.
#pragma once

#include <CRender.h>

#include "picture.h"

class Display
{
public:
    Display(HWND window, bool useGdi) : window_(window), useGdi_(useGdi) {}

    // Draws the picture as large as the area allows, in its own shape. The area is a part of the
    // window's client area, or empty for all of it. False when nothing was drawn.
    bool Draw(Picture& picture, const RECT& area);

    // What is drawn with: what was asked for, unless the machine has no DirectDraw.
    const char* Path() const;

private:
    RECT FittedInto(const RECT& area, const RECT& picture);

    HWND window_;
    bool useGdi_;
    CRender render_;
};
