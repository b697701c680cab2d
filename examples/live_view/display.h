// Draws pictures into a window with the library's renderer.
#pragma once

#include <CRender.h>

#include "picture.h"

class Display
{
public:
    Display(HWND window, bool useGdi) : window_(window), useGdi_(useGdi) {}

    // Draws the picture as large as the window allows, in its own shape; the rest becomes black.
    // False when nothing was drawn.
    bool Draw(Picture& picture);

    // What is drawn with: what was asked for, unless the machine has no DirectDraw.
    const char* Path() const;

private:
    HWND window_;
    bool useGdi_;
    CRender render_;
};
