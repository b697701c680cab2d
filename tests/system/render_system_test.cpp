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

// A bare window of the wanted client size, in front of everything.
class Window
{
public:
    Window(int width, int height)
        : handle(CreateWindowExW(WS_EX_TOPMOST, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 50, 40,
                                 width, height, nullptr, nullptr, nullptr, nullptr)),
          width(width),
          height(height)
    {
        UpdateWindow(handle);
        for (MSG message; PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE);)
        {
            DispatchMessageW(&message);
        }
    }
    ~Window() { DestroyWindow(handle); }

    // What the screen shows where the window is: B, G, R, unused; top row first.
    Bytes Pixels() const
    {
        Bytes pixels(static_cast<size_t>(width) * height * 4);
        BITMAPINFO info = {};
        info.bmiHeader.biSize = sizeof(info.bmiHeader);
        info.bmiHeader.biWidth = width;
        info.bmiHeader.biHeight = -height;
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        const HDC screen = GetDC(nullptr);
        const HDC memory = CreateCompatibleDC(screen);
        const HBITMAP bitmap = CreateCompatibleBitmap(screen, width, height);
        const HGDIOBJ before = SelectObject(memory, bitmap);
        EXPECT_TRUE(BitBlt(memory, 0, 0, width, height, screen, 50, 40, SRCCOPY));
        SelectObject(memory, before);
        EXPECT_EQ(GetDIBits(screen, bitmap, 0, static_cast<UINT>(height), pixels.data(), &info,
                            DIB_RGB_COLORS),
                  height);
        DeleteObject(bitmap);
        DeleteDC(memory);
        ReleaseDC(nullptr, screen);
        return pixels;
    }

    HWND handle;
    int width;
    int height;
};

struct Difference
{
    double mean = 0;
    int largest = 0;
};

// Every pixel of the screen against the pixel of the picture that it shows.
Difference Compare(const Bytes& screen, int width, int height, const Bytes& reference)
{
    Difference difference;
    double sum = 0;
    for (int y = 0; y < height; ++y)
    {
        for (int x = 0; x < width; ++x)
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
    difference.mean = sum / (3.0 * width * height);
    return difference;
}

enum class Path
{
    kDirectDraw,
    kGdi
};

class RenderedPicture : public testing::TestWithParam<Path>
{
protected:
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
        info.hWnd = window.handle;
        info.pPicData = picture.data();
        info.pBmpHeader = &header;
        info.rcSource = {0, 0, kWidth, kHeight};
        info.bUseDD7 = GetParam() == Path::kDirectDraw;
        info.bFillWnd = true;
        CRender render;
        EXPECT_TRUE(render.m_F_b_DrawPicture(info));
        EXPECT_EQ(CRender::vs_nCanUseDD7, 1) << "DirectDraw was given up";
        GdiFlush();
        return window.Pixels();
    }
};

}  // namespace

TEST_P(RenderedPicture, UnscaledEqualsFfmpegsConversionWithinTheChromaFilter)
{
    Window window(kWidth, kHeight);
    Bytes picture = Yv12Frame("sharp.yuv");
    const Bytes reference = Frame("sharp.bgr");
    const Difference difference = Compare(Draw(window, picture), kWidth, kHeight, reference);
    RecordProperty("mean", std::to_string(difference.mean));
    // Edges of colour differ by how the chroma between two samples is filled in, nothing else does.
    EXPECT_LT(difference.mean, 3.0);
}

TEST_P(RenderedPicture, UnscaledSmoothPictureDiffersNowhereByMoreThanRounding)
{
    Window window(kWidth, kHeight);
    Bytes picture = Yv12Frame("smooth.yuv");
    const Difference difference =
        Compare(Draw(window, picture), kWidth, kHeight, Frame("smooth.bgr"));
    EXPECT_LE(difference.largest, 8);
    EXPECT_LT(difference.mean, 3.0);
}

TEST_P(RenderedPicture, ShrunkSmoothPictureLiesWithinTheToleranceOfScaling)
{
    Window window(480, 360);
    Bytes picture = Yv12Frame("smooth.yuv");
    const Difference difference = Compare(Draw(window, picture), 480, 360, Frame("smooth.bgr"));
    EXPECT_LE(difference.largest, 16);
    EXPECT_LT(difference.mean, 3.0);
}

TEST_P(RenderedPicture, EnlargedSmoothPictureLiesWithinTheToleranceOfScaling)
{
    Window window(1000, 750);
    Bytes picture = Yv12Frame("smooth.yuv");
    const Difference difference = Compare(Draw(window, picture), 1000, 750, Frame("smooth.bgr"));
    EXPECT_LE(difference.largest, 16);
    EXPECT_LT(difference.mean, 3.0);
}

INSTANTIATE_TEST_SUITE_P(BothPaths, RenderedPicture, testing::Values(Path::kDirectDraw, Path::kGdi),
                         [](const testing::TestParamInfo<Path>& info)
                         { return info.param == Path::kDirectDraw ? "DirectDraw" : "Gdi"; });
