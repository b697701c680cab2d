// A picture that ffmpeg made is drawn, read back from the screen and compared with ffmpeg's own
// conversion of it to RGB. OSTREL_FRAMES names the folder that holds both.
#include <gtest/gtest.h>
#include <windows.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "CRender.h"
#include "present/test_window.h"

namespace
{

constexpr int kWidth = 640;
constexpr int kHeight = 480;
constexpr int kLuma = kWidth * kHeight;
constexpr int kChroma = kLuma / 4;

using Bytes = std::vector<unsigned char>;

Bytes Frame(const std::string& name)
{
    const char* folder = std::getenv("OSTREL_FRAMES");
    EXPECT_NE(folder, nullptr);
    std::ifstream file("Z:" + std::string(folder) + "/" + name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// ffmpeg's planes lie in the order Y, U, V; the renderer takes Y, V, U.
Bytes Yv12Frame(const std::string& name)
{
    Bytes frame = Frame(name);
    EXPECT_EQ(frame.size(), static_cast<size_t>(kLuma + 2 * kChroma));
    std::rotate(frame.begin() + kLuma, frame.begin() + kLuma + kChroma, frame.end());
    return frame;
}

constexpr int kLeft = 50;
constexpr int kTop = 40;

class Window
{
public:
    Window(int width, int height)
        : m_window(kLeft, kTop, width, height), m_width(width), m_height(height)
    {
    }

    HWND Get() const { return m_window.Get(); }

    // What the screen shows where the window is: B, G, R, unused; top row first.
    Bytes Pixels() const
    {
        Bytes pixels(static_cast<size_t>(m_width) * m_height * 4);
        BITMAPINFO info = {};
        info.bmiHeader.biSize = sizeof(info.bmiHeader);
        info.bmiHeader.biWidth = m_width;
        info.bmiHeader.biHeight = -m_height;
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        const HDC screen = GetDC(nullptr);
        const HDC memory = CreateCompatibleDC(screen);
        const HBITMAP bitmap = CreateCompatibleBitmap(screen, m_width, m_height);
        const HGDIOBJ before = SelectObject(memory, bitmap);
        EXPECT_TRUE(BitBlt(memory, 0, 0, m_width, m_height, screen, kLeft, kTop, SRCCOPY));
        SelectObject(memory, before);
        EXPECT_EQ(GetDIBits(screen, bitmap, 0, static_cast<UINT>(m_height), pixels.data(), &info,
                            DIB_RGB_COLORS),
                  m_height);
        DeleteObject(bitmap);
        DeleteDC(memory);
        ReleaseDC(nullptr, screen);
        return pixels;
    }

private:
    ostrel::test::TestWindow m_window;
    int m_width;
    int m_height;
};

struct Difference
{
    double mean = 0;
    int largest = 0;
};

// Drivers fill in the chroma between two samples, and Wine's reaches over the left and right edge
// of the picture for it: so much of it, in pixels of the screen, is not compared.
constexpr int kEdge = 2;

// Every pixel of the screen against the pixel of the picture that it shows.
Difference Compare(const Bytes& screen, int width, int height, const Bytes& reference)
{
    Difference difference;
    double sum = 0;
    for (int y = 0; y < height; ++y)
    {
        for (int x = kEdge; x < width - kEdge; ++x)
        {
            const int sourceX = (2 * x + 1) * kWidth / (2 * width);
            const int sourceY = (2 * y + 1) * kHeight / (2 * height);
            for (int channel = 0; channel < 3; ++channel)
            {
                const int shown = screen[(static_cast<size_t>(y) * width + x) * 4 + channel];
                const int expected =
                    reference[(static_cast<size_t>(sourceY) * kWidth + sourceX) * 3 + channel];
                const int distance = std::abs(shown - expected);
                difference.largest = std::max(difference.largest, distance);
                sum += distance;
            }
        }
    }
    difference.mean = sum / (3.0 * (width - 2 * kEdge) * height);
    return difference;
}

enum class Path
{
    kDirectDraw,
    kGdi
};

// GDI shows what the library converted: ITU-R BT.601 in studio range. DirectDraw shows what the
// graphics driver makes of a YV12 surface; a driver may take it for studio range or for full range
// (Wine's does the latter), so that the nearer of the two counts.
Difference CompareWithFfmpeg(Path path, const Bytes& screen, int width, int height,
                             const std::string& name)
{
    const Difference studio = Compare(screen, width, height, Frame(name + ".studio.bgr"));
    if (path == Path::kGdi)
    {
        return studio;
    }
    const Difference full = Compare(screen, width, height, Frame(name + ".full.bgr"));
    return full.mean < studio.mean ? full : studio;
}

class RenderedPicture : public testing::TestWithParam<Path>
{
protected:
    Difference DrawAndCompare(const std::string& name, int width, int height)
    {
        Window window(width, height);
        Bytes picture = Yv12Frame(name + ".yuv");
        const Difference difference =
            CompareWithFfmpeg(GetParam(), Draw(window, picture), width, height, name);
        RecordProperty("mean", std::to_string(difference.mean));
        return difference;
    }

private:
    static constexpr int kMostDraws = 40;
    int m_draws = 0;

    static bool IsBlack(const Bytes& screen)
    {
        const size_t middle = screen.size() / 8 * 4;
        return screen[middle] == 0 && screen[middle + 1] == 0 && screen[middle + 2] == 0;
    }

    // Negative height: upright on either path.
    Bytes Draw(Window& window, Bytes& picture)
    {
        BITMAPINFOHEADER header = {};
        header.biSize = sizeof(header);
        header.biWidth = kWidth;
        header.biHeight = -kHeight;
        header.biPlanes = 1;
        header.biBitCount = 12;
        header.biCompression = CRender::vs_nFccYV12;
        CRender::stDef_DrawInfo info = {};
        info.hWnd = window.Get();
        info.pPicData = picture.data();
        info.pBmpHeader = &header;
        info.rcSource = {0, 0, kWidth, kHeight};
        info.bUseDD7 = GetParam() == Path::kDirectDraw;
        info.bFillWnd = true;
        // What was drawn reaches the screen when messages are taken, under Wine also the window's
        // ground, over a picture that went to the screen directly: so the picture is drawn as often
        // as a live one, until it stays.
        CRender render;
        Bytes shown;
        Bytes shownBefore;
        do
        {
            shownBefore = shown;
            EXPECT_TRUE(render.m_F_b_DrawPicture(info));
            EXPECT_EQ(CRender::vs_nCanUseDD7, 1) << "DirectDraw was given up";
            ostrel::test::TestWindow::Pump();
            shown = window.Pixels();
        } while (++m_draws < kMostDraws && (shown != shownBefore || IsBlack(shown)));
        return shown;
    }
};

}  // namespace

TEST_P(RenderedPicture, UnscaledEqualsFfmpegsConversionWithinTheChromaFilter)
{
    const Difference difference = DrawAndCompare("sharp", kWidth, kHeight);
    // Edges of colour differ by how the chroma between two samples is filled in, nothing else does.
    EXPECT_LT(difference.mean, 3.0);
}

TEST_P(RenderedPicture, UnscaledSmoothPictureDiffersNowhereByMoreThanRounding)
{
    const Difference difference = DrawAndCompare("smooth", kWidth, kHeight);
    EXPECT_LE(difference.largest, 8);
    EXPECT_LT(difference.mean, 3.0);
}

TEST_P(RenderedPicture, ShrunkSmoothPictureLiesWithinTheToleranceOfScaling)
{
    const Difference difference = DrawAndCompare("smooth", 480, 360);
    EXPECT_LE(difference.largest, 16);
    EXPECT_LT(difference.mean, 3.0);
}

TEST_P(RenderedPicture, EnlargedSmoothPictureLiesWithinTheToleranceOfScaling)
{
    const Difference difference = DrawAndCompare("smooth", 1000, 750);
    EXPECT_LE(difference.largest, 16);
    EXPECT_LT(difference.mean, 3.0);
}

INSTANTIATE_TEST_SUITE_P(BothPaths, RenderedPicture, testing::Values(Path::kDirectDraw, Path::kGdi),
                         [](const testing::TestParamInfo<Path>& info)
                         { return info.param == Path::kDirectDraw ? "DirectDraw" : "Gdi"; });
