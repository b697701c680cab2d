// What one draw of a picture costs on each path: milliseconds per call of
// CRender::m_F_b_DrawPicture with a planar 1920x1080 picture, scaled into windows of three sizes.
// The paths take turns; the median of the rounds counts. Under Wine, with a software driver, these
// are figures of this machine's processor, not of a graphics card.
#include <winsock2.h>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "CRender.h"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int kPictureWidth = 1920;
constexpr int kPictureHeight = 1080;
constexpr int kRounds = 15;
constexpr int kDrawsPerRound = 8;

// A picture in which no two rows are the same.
std::vector<unsigned char> MakePicture()
{
    std::vector<unsigned char> picture(kPictureWidth * kPictureHeight * 3 / 2);
    for (std::size_t i = 0; i < picture.size(); ++i)
    {
        picture[i] = static_cast<unsigned char>(32 + i * 7 / 5 % 192);
    }
    return picture;
}

HWND MakeWindow(int width, int height)
{
    const HWND window =
        CreateWindowExW(WS_EX_TOPMOST | WS_EX_NOACTIVATE, L"STATIC", L"draw_bench", WS_POPUP, 0, 0,
                        width, height, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
    ShowWindow(window, SW_SHOWNOACTIVATE);
    UpdateWindow(window);
    return window;
}

void Pump()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
    {
        DispatchMessageW(&message);
    }
}

// One path into one window, with a renderer of its own.
class Path
{
public:
    Path(HWND window, bool useDirectDraw, std::vector<unsigned char>& picture)
    {
        m_header.biSize = sizeof(m_header);
        m_header.biWidth = kPictureWidth;
        m_header.biHeight = -kPictureHeight;
        m_header.biPlanes = 1;
        m_header.biBitCount = 12;
        m_header.biCompression = CRender::vs_nFccYV12;
        m_info.hWnd = window;
        m_info.pPicData = picture.data();
        m_info.pBmpHeader = &m_header;
        m_info.rcSource = {0, 0, kPictureWidth, kPictureHeight};
        m_info.bUseDD7 = useDirectDraw;
        m_info.bFillWnd = true;
    }
    Path(const Path&) = delete;
    Path& operator=(const Path&) = delete;

    // Milliseconds per draw; what each brings to the screen's queue of messages counts, too.
    double Measure()
    {
        const Clock::time_point start = Clock::now();
        for (int draw = 0; draw < kDrawsPerRound; ++draw)
        {
            m_isGood = m_renderer.m_F_b_DrawPicture(m_info) && m_isGood;
            GdiFlush();
            Pump();
        }
        return std::chrono::duration<double, std::milli>(Clock::now() - start).count() /
               kDrawsPerRound;
    }

    bool IsGood() const { return m_isGood; }

private:
    CRender m_renderer;
    BITMAPINFOHEADER m_header = {};
    CRender::stDef_DrawInfo m_info = {};
    bool m_isGood = true;
};

double Median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + kRounds / 2, values.end());
    return values[kRounds / 2];
}

bool MeasureWindow(int width, int height, std::vector<unsigned char>& picture)
{
    const HWND window = MakeWindow(width, height);
    bool isGood = true;
    {
        Path directDraw(window, true, picture);
        Path gdi(window, false, picture);
        // What is made once is not counted.
        directDraw.Measure();
        gdi.Measure();
        std::vector<double> directDrawTimes;
        std::vector<double> gdiTimes;
        for (int round = 0; round < kRounds; ++round)
        {
            directDrawTimes.push_back(directDraw.Measure());
            gdiTimes.push_back(gdi.Measure());
        }
        std::printf("%5dx%-5d %16.2f %16.2f\n", width, height, Median(directDrawTimes),
                    Median(gdiTimes));
        // Had DirectDraw been given up, its figures would be those of GDI.
        isGood = directDraw.IsGood() && gdi.IsGood() && CRender::vs_nCanUseDD7 != 0;
    }
    DestroyWindow(window);
    return isGood;
}

}  // namespace

int main()
{
    std::vector<unsigned char> picture = MakePicture();
    std::printf("%-11s %16s %16s\n", "window", "DirectDraw (ms)", "GDI (ms)");
    bool isGood = true;
    for (const SIZE& size : {SIZE{320, 180}, SIZE{640, 360}, SIZE{1280, 720}})
    {
        isGood =
            MeasureWindow(static_cast<int>(size.cx), static_cast<int>(size.cy), picture) && isGood;
    }
    if (!isGood)
    {
        std::fprintf(stderr, "a draw failed, or DirectDraw was given up\n");
    }
    return isGood ? 0 : 1;
}
