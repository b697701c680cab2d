#include "display.h"

bool Display::Draw(Picture& picture, const RECT& area)
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
    // The renderer itself fits a picture only into the whole client area, for which the rectangle
    // is empty. Either way there are black bars where the shapes differ.
    info.rcShow = IsRectEmpty(&area) ? RECT{} : FittedInto(area, info.rcSource);
    info.bFillWnd = false;
    return render_.m_F_b_DrawPicture(info);
}

RECT Display::FittedInto(const RECT& area, const RECT& picture)
{
    CRect fitted(area);
    render_.m_F_n_CalShowRect(CRect(picture), fitted);
    return fitted;
}

const char* Display::Path() const
{
    return useGdi_ || CRender::vs_nCanUseDD7 == 0 ? "GDI" : "DirectDraw";
}
