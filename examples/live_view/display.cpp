#include "display.h"

bool Display::Draw(Picture& picture)
{
    BITMAPINFOHEADER header = {};
    header.biSize = sizeof header;
    header.biWidth = picture.heldWidth;
    header.biHeight = -picture.heldHeight;  // negative: upright with GDI, too
    header.biPlanes = 1;
    header.biBitCount = 12;
    header.biCompression = CRender::vs_nFccYV12;

    CRender::stDef_DrawInfo info = {};
    info.hWnd = window_;
    info.pPicData = picture.planes.data();
    info.pBmpHeader = &header;
    // In full height, for GDI may count the source's lines from below: an odd picture shows its
    // last line twice.
    info.rcSource = {0, 0, picture.width, picture.heldHeight};
    info.bUseDD7 = !useGdi_;
    info.bFillWnd = false;
    return render_.m_F_b_DrawPicture(info);
}

const char* Display::Path() const
{
    return useGdi_ || CRender::vs_nCanUseDD7 == 0 ? "GDI" : "DirectDraw";
}
