/// @file
/// What the tests of the renderer share: a window, and the process-wide switch as it was found.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "CRender.h"
#include "present/test_pictures.h"
#include "present/test_window.h"

namespace ostrel::test
{

class RendererTest : public testing::Test
{
protected:
    static constexpr int kLeft = 200;
    static constexpr int kTop = 150;
    static constexpr int kWidth = 400;
    static constexpr int kHeight = 300;

    RendererTest() { CRender::vs_nCanUseDD7 = 1; }
    ~RendererTest() override { CRender::vs_nCanUseDD7 = 1; }

    CRender::stDef_DrawInfo Info(const GuardedBytes& picture, BITMAPINFOHEADER& header,
                                 bool useDirectDraw) const
    {
        CRender::stDef_DrawInfo info = {};
        info.hWnd = window.Get();
        info.pPicData = picture.Get();
        info.pBmpHeader = &header;
        info.rcSource = {0, 0, header.biWidth, std::abs(header.biHeight)};
        info.bUseDD7 = useDirectDraw;
        return info;
    }

    TestWindow window{kLeft, kTop, kWidth, kHeight};
};

inline bool operator==(const Colour& a, const Colour& b)
{
    return a.r == b.r && a.g == b.g && a.b == b.b;
}

inline std::string Text(const RECT& rect)
{
    return std::to_string(rect.left) + "," + std::to_string(rect.top) + "," +
           std::to_string(rect.right) + "," + std::to_string(rect.bottom);
}

}  // namespace ostrel::test
