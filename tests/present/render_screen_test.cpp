// Every pixel of the window on the screen, on both paths, while windows are moved, resized,
// minimised, covered and destroyed and pictures change.
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <utility>
#include <vector>

#include "present/renderer_test.h"
#include "present/screen.h"

namespace
{

using namespace ostrel::test;
using Range = SquaresPicture::Range;

RECT Whole(const SquaresPicture& picture)
{
    return {0, 0, picture.width, picture.height};
}

// The stated fitting: ratios in percent, a difference below 5 is tolerated, divisions are cut.
RECT Fitted(RECT area, const RECT& source)
{
    const int width = area.right - area.left;
    const int height = area.bottom - area.top;
    const int ratio = 100 * (source.right - source.left) / (source.bottom - source.top);
    if (std::abs(ratio - 100 * width / height) < 5)
    {
        return area;
    }
    const int fitWidth = height * ratio / 100;
    if (fitWidth > width)
    {
        const int fitHeight = 100 * width / ratio;
        area.top += (height - fitHeight) / 2;
        area.bottom = area.top + fitHeight;
    }
    else
    {
        area.left += (width - fitWidth) / 2;
        area.right = area.left + fitWidth;
    }
    return area;
}

RECT Less(RECT rect, int border)
{
    InflateRect(&rect, -border, -border);
    return rect;
}

class RenderScreen : public RendererTest, public testing::WithParamInterface<bool>
{
protected:
    static bool IsDirectDraw() { return GetParam(); }

    // A draw of a whole picture. Height negative: upright on either path.
    struct Draw
    {
        explicit Draw(const SquaresPicture& picture, HWND hWnd)
            : picture(&picture), header(MakePlanarHeader(picture.width, -picture.height))
        {
            info.hWnd = hWnd;
            info.pPicData = picture.bytes.Get();
            info.rcSource = Whole(picture);
            info.bUseDD7 = IsDirectDraw();
        }

        const SquaresPicture* picture;
        BITMAPINFOHEADER header;
        CRender::stDef_DrawInfo info = {};
    };

    static bool Paint(CRender& renderer, Draw& draw)
    {
        draw.info.pBmpHeader = &draw.header;
        return renderer.m_F_b_DrawPicture(draw.info);
    }

    static ExpectedWindow Expect(const Draw& draw)
    {
        const CRender::stDef_DrawInfo& info = draw.info;
        RECT client = {};
        GetClientRect(info.hWnd, &client);
        ExpectedWindow expected;
        expected.ground = Less(client, info.nBorder);
        expected.source = info.rcSource;
        const bool isGiven = info.rcShow.right > info.rcShow.left;
        expected.picture = Less(isGiven ? info.rcShow : client, info.nBorder);
        if (!isGiven && !info.bFillWnd)
        {
            expected.picture = Fitted(expected.picture, info.rcSource);
        }
        // Black is painted through GDI, and stands on the screen where DirectDraw draws there at
        // once. Wine's shows the whole of its own copy of the screen instead, on which GDI has not
        // painted; what is painted is for the tests of the calls.
        expected.isAloneCompared = IsDirectDraw();
        expected.isUpsideDown = !IsDirectDraw() && draw.header.biHeight > 0;
        return expected;
    }

    // What of a place of the screen is there, counted from the place's corner.
    static RECT VisiblePart(const RECT& place)
    {
        const RECT all = {0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)};
        RECT visible = {};
        IntersectRect(&visible, &all, &place);
        OffsetRect(&visible, -place.left, -place.top);
        return visible;
    }

    static Mismatch CompareWithScreen(const Draw& draw, const ExpectedWindow& expected)
    {
        // Chroma is mixed across two of its samples, four pixels of the picture.
        const double margin = IsDirectDraw() ? 4 : 2;
        RECT place = {};
        GetClientRect(draw.info.hWnd, &place);
        MapWindowPoints(draw.info.hWnd, nullptr, reinterpret_cast<POINT*>(&place), 2);
        const ScreenImage screen(place);
        const RECT visible = VisiblePart(place);
        Mismatch studio = Compare(screen, visible, expected, *draw.picture, Range::kStudio, margin);
        if (!IsDirectDraw())
        {
            return studio;
        }
        // A driver may take a surface's luma for studio or for full range.
        Mismatch full = Compare(screen, visible, expected, *draw.picture, Range::kFull, margin);
        return full.wrong < studio.wrong ? full : studio;
    }

    // Draws as a stream of pictures does, until the screen shows what it should: what was painted
    // into the window before may reach it later than a picture that goes there directly.
    static int ExpectShown(CRender& renderer, Draw& draw, const ExpectedWindow& expected)
    {
        constexpr int kMostPictures = 60;
        Mismatch mismatch;
        for (int drawn = 1; drawn <= kMostPictures; ++drawn)
        {
            EXPECT_TRUE(Paint(renderer, draw));
            TestWindow::Pump();
            mismatch = CompareWithScreen(draw, expected);
            if (mismatch.wrong == 0)
            {
                EXPECT_GT(mismatch.compared, 300) << "hardly anything is compared";
                return drawn;
            }
        }
        ADD_FAILURE() << mismatch.wrong << " pixels are wrong; " << mismatch.first;
        return kMostPictures;
    }

    static int ExpectShown(CRender& renderer, Draw& draw)
    {
        return ExpectShown(renderer, draw, Expect(draw));
    }

    static constexpr int kRounds = 8;

    SquaresPicture wide{320, 160, 1};
    SquaresPicture narrow{176, 208, 2};
    CRender render;
};

INSTANTIATE_TEST_SUITE_P(GdiAndDirectDraw, RenderScreen, testing::Bool(),
                         [](const testing::TestParamInfo<bool>& path)
                         { return path.param ? "DirectDraw" : "Gdi"; });

// ---- Every way to place a picture ----

TEST_P(RenderScreen, ShowsFittedAndFilledPicturesWithAndWithoutBorderWholeAndInPart)
{
    for (const SquaresPicture* picture : {&wide, &narrow})
    {
        for (const bool fill : {false, true})
        {
            for (const int border : {0, 8})
            {
                // In the middle of the height: GDI counts rows from below.
                const int middle = picture->height / 2;
                for (const RECT& source :
                     {Whole(*picture), RECT{32, middle - 56, 144, middle + 56}})
                {
                    SCOPED_TRACE(testing::Message()
                                 << picture->width << (fill ? " filled" : " fitted") << " border "
                                 << border << " source " << Text(source));
                    window.Clear();
                    Draw draw(*picture, window.Get());
                    draw.info.rcSource = source;
                    draw.info.bFillWnd = fill;
                    draw.info.nBorder = border;
                    ExpectShown(render, draw);
                }
            }
        }
    }
}

TEST_P(RenderScreen, ShowsAPictureInAGivenRectangleWithoutFittingIt)
{
    for (const int border : {0, 8})
    {
        for (const RECT& show : {RECT{40, 30, 360, 250}, RECT{100, 10, 220, 290}})
        {
            SCOPED_TRACE(testing::Message() << "border " << border << " in " << Text(show));
            window.Clear();
            Draw draw(wide, window.Get());
            draw.info.nBorder = border;
            draw.info.rcShow = show;
            ExpectShown(render, draw);
        }
    }
}

// Rows count as they lie in memory; the first is the bottom one.
TEST_P(RenderScreen, OfAPictureOfPositiveHeightShowsTheRowsOfTheSourceRectangle)
{
    for (const RECT& source : {Whole(wide), RECT{48, 16, 240, 96}})
    {
        Draw draw(wide, window.Get());
        draw.header.biHeight = wide.height;
        draw.info.rcSource = source;
        draw.info.bFillWnd = true;
        ExpectShown(render, draw);
    }
}

// ---- Windows that change ----

// A window that comes back is painted by the platform in its own ground. A renderer paints black
// only where the destination changed: so these pictures fill their windows.

TEST_P(RenderScreen, FollowsAWindowThatIsMovedAndResized)
{
    const RECT places[] = {{200, 150, 600, 450}, {20, 30, 420, 330},   {500, 400, 1000, 650},
                           {0, 0, 800, 640},     {300, 200, 460, 500}, {301, 203, 700, 480}};
    Draw draw(wide, window.Get());
    for (const RECT& place : places)
    {
        SCOPED_TRACE(Text(place));
        window.Move(place.left, place.top, place.right - place.left, place.bottom - place.top);
        ExpectShown(render, draw);
    }
}

// Where a window lies that the screen cuts on each side.
std::vector<POINT> CutCorners()
{
    const int right = GetSystemMetrics(SM_CXSCREEN);
    const int bottom = GetSystemMetrics(SM_CYSCREEN);
    return {{-100, 50}, {60, -90}, {right - 250, 60}, {90, bottom - 180}};
}

class RenderScreenFailure : public RenderScreen
{
};

INSTANTIATE_TEST_SUITE_P(DirectDraw, RenderScreenFailure, testing::Values(true));

class RenderScreenGdi : public RenderScreen
{
};

INSTANTIATE_TEST_SUITE_P(Gdi, RenderScreenGdi, testing::Values(false));

TEST_P(RenderScreenGdi, ShowsWhatOfAWindowLiesOnTheScreen)
{
    Draw draw(wide, window.Get());
    for (const POINT& corner : CutCorners())
    {
        SCOPED_TRACE(testing::Message() << corner.x << "," << corner.y);
        window.Move(corner.x, corner.y, kWidth, kHeight);
        CRender own;
        ExpectShown(own, draw);
    }
}

// DirectDraw may refuse to blit past the screen's edge, as Wine's does, whatever the clipper says;
// so what such a window shows is not for this test.
TEST_P(RenderScreenFailure, OfABlitPastTheScreensEdgeEndsWithTheNextPictureWithinIt)
{
    Draw draw(wide, window.Get());
    for (const POINT& corner : CutCorners())
    {
        window.Move(corner.x, corner.y, kWidth, kHeight);
        EXPECT_TRUE(Paint(render, draw));
        window.Move(kLeft, kTop, kWidth, kHeight);
        ExpectShown(render, draw);
    }
    EXPECT_EQ(CRender::vs_nCanUseDD7, 1);
}

TEST_P(RenderScreen, DrawsNothingIntoAMinimisedWindowAndAllOfItAfterwards)
{
    Draw draw(wide, window.Get());
    draw.info.bFillWnd = true;
    ExpectShown(render, draw);
    for (int round = 0; round < 2; ++round)
    {
        ShowWindow(window.Get(), SW_SHOWMINNOACTIVE);
        TestWindow::Pump();
        RECT client = {};
        GetClientRect(window.Get(), &client);
        ASSERT_TRUE(IsRectEmpty(&client));
        EXPECT_FALSE(Paint(render, draw));
        ShowWindow(window.Get(), SW_SHOWNOACTIVATE);
        TestWindow::Pump();
        ExpectShown(render, draw);
    }
    EXPECT_EQ(CRender::vs_nCanUseDD7, 1);
}

TEST_P(RenderScreen, LeavesAWindowThatCoversItAloneAndShowsAllWhenItGoes)
{
    Draw draw(wide, window.Get());
    ExpectShown(render, draw);
    {
        // Its ground is grey; the picture would shine through.
        const TestWindow cover(kLeft + 50, kTop + 70, 180, 120);
        ExpectedWindow expected = Expect(draw);
        expected.cover = RECT{50, 70, 230, 190};
        expected.coverColour = kGround;
        ExpectShown(render, draw, expected);
    }
    ExpectShown(render, draw);
}

TEST_P(RenderScreen, ShowsThePictureAgainInAWindowThatWasHidden)
{
    Draw draw(wide, window.Get());
    draw.info.bFillWnd = true;
    ExpectShown(render, draw);
    ShowWindow(window.Get(), SW_HIDE);
    TestWindow::Pump();
    EXPECT_TRUE(Paint(render, draw));
    ShowWindow(window.Get(), SW_SHOWNOACTIVATE);
    TestWindow::Pump();
    ExpectShown(render, draw);
}

// All that may happen to a window, in an order of its own, and a picture after each of it.
TEST_P(RenderScreen, ShowsThePictureAfterWhateverHappensToTheWindow)
{
    std::mt19937 random(7);
    const auto upTo = [&](int most) { return static_cast<int>(random() % (most + 1)); };
    std::unique_ptr<TestWindow> cover;
    int mostDrawn = 0;
    for (int round = 0; round < kRounds; ++round)
    {
        const int what = upTo(6);
        SCOPED_TRACE(testing::Message() << "round " << round << " what " << what);
        Draw draw(upTo(1) != 0 ? wide : narrow, window.Get());
        draw.info.bFillWnd = true;
        switch (what)
        {
            case 0:
                window.Move(upTo(500), upTo(300), 200 + upTo(400), 200 + upTo(300));
                break;
            case 1:
                ShowWindow(window.Get(), SW_SHOWMINNOACTIVE);
                Paint(render, draw);
                ShowWindow(window.Get(), SW_SHOWNOACTIVATE);
                break;
            case 2:
                ShowWindow(window.Get(), SW_SHOWMINNOACTIVE);
                window.Move(upTo(500), upTo(300), 200 + upTo(400), 200 + upTo(300));
                ShowWindow(window.Get(), SW_SHOWNOACTIVATE);
                break;
            case 3:
                ShowWindow(window.Get(), SW_HIDE);
                Paint(render, draw);
                ShowWindow(window.Get(), SW_SHOWNOACTIVATE);
                break;
            case 4:
                cover = std::make_unique<TestWindow>(upTo(800), upTo(600), 150, 150);
                Paint(render, draw);
                cover.reset();
                break;
            case 5:
                for (int step = 0; step < 8; ++step)
                {
                    SetWindowPos(window.Get(), HWND_TOPMOST, upTo(500), upTo(300), 200 + upTo(400),
                                 200 + upTo(300), SWP_NOACTIVATE);
                    Paint(render, draw);
                }
                break;
            default:
                window.Clear();
        }
        mostDrawn = std::max(mostDrawn, ExpectShown(render, draw));
        ASSERT_EQ(CRender::vs_nCanUseDD7, 1);
        if (HasFailure())
        {
            return;
        }
    }
    RecordProperty("MostPicturesUntilShown", mostDrawn);
}

// ---- Windows and pictures that alternate ----

TEST_P(RenderScreen, ShowsPicturesOfAnySizeOneAfterTheOther)
{
    const SquaresPicture pictures[] = {{320, 160, 3}, {176, 208, 4}, {64, 64, 5},
                                       {640, 480, 6}, {320, 162, 7}, {720, 576, 8}};
    for (int round = 0; round < 2; ++round)
    {
        for (const SquaresPicture& picture : pictures)
        {
            SCOPED_TRACE(testing::Message() << picture.width << "x" << picture.height);
            Draw draw(picture, window.Get());
            ExpectShown(render, draw);
        }
    }
}

TEST_P(RenderScreen, DrawsIntoTwoWindowsInTurnsWithOneRenderer)
{
    const TestWindow other(700, 200, 300, 220);
    Draw first(wide, window.Get());
    Draw second(narrow, other.Get());
    for (int round = 0; round < 3; ++round)
    {
        ExpectShown(render, first);
        ExpectShown(render, second);
        EXPECT_EQ(CompareWithScreen(first, Expect(first)).wrong, 0);
    }
}

// ---- Other threads ----

// A window of a thread of its own, as a client's windows are when another thread draws.
class ThreadsWindow
{
public:
    using Work = std::function<void(HWND)>;

    ThreadsWindow(int left, int top, int width, int height)
        : m_thread([=] { Run(left, top, width, height); })
    {
        while (m_window == nullptr)
        {
            Sleep(1);
        }
    }
    ~ThreadsWindow()
    {
        StartToDestroy();
        m_thread.join();
    }
    ThreadsWindow(const ThreadsWindow&) = delete;
    ThreadsWindow& operator=(const ThreadsWindow&) = delete;

    HWND Get() const { return m_window; }

    /// The thread is to do it; IsDone() tells.
    void Start(Work work)
    {
        m_isDone = false;
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_work = std::move(work);
    }
    bool IsDone() const { return m_isDone; }

    void StartToDestroy() { m_isToEnd = true; }

private:
    void Run(int left, int top, int width, int height)
    {
        const TestWindow window(left, top, width, height);
        m_window = window.Get();
        while (!m_isToEnd)
        {
            Work work;
            {
                const std::lock_guard<std::mutex> lock(m_mutex);
                work.swap(m_work);
            }
            if (work)
            {
                work(window.Get());
                m_isDone = true;
            }
            TestWindow::Pump();
        }
    }

    std::atomic<HWND> m_window{nullptr};
    std::atomic<bool> m_isToEnd{false};
    std::atomic<bool> m_isDone{false};
    std::mutex m_mutex;
    Work m_work;
    std::thread m_thread;
};

TEST_P(RenderScreen, EndsInFailureAndReleasesEverythingWhenTheWindowIsDestroyedWhileDrawing)
{
    constexpr ULONGLONG kPatience = 30000;  // milliseconds
    for (int round = 1; round <= 6; ++round)
    {
        ThreadsWindow own(100 + round, 80, 320, 240);
        Draw draw(wide, own.Get());
        for (int i = 0; i < round; ++i)
        {
            EXPECT_TRUE(Paint(render, draw));
        }
        own.StartToDestroy();
        const ULONGLONG start = GetTickCount64();
        while (IsWindow(draw.info.hWnd) && GetTickCount64() - start < kPatience)
        {
            Paint(render, draw);
        }
        EXPECT_FALSE(Paint(render, draw));
        EXPECT_EQ(render.vm_pDD7, nullptr);
        EXPECT_EQ(render.vm_pPrimary, nullptr);
        EXPECT_EQ(render.vm_pVideo, nullptr);
        EXPECT_EQ(render.vm_pClipper, nullptr);
        EXPECT_EQ(render.vm_hWnd, nullptr);
        EXPECT_EQ(render.vm_cRGBBuf.m_pMem, nullptr);
        EXPECT_EQ(CRender::vs_nCanUseDD7, 1);
    }
    Draw draw(wide, window.Get());
    ExpectShown(render, draw);
}

// The window moves once more when nobody draws: a platform may lose sight of a window that is
// resized and minimised by one thread while another draws into it. Under Wine it then stays black
// until it moves, without this library just as with it.
TEST_P(RenderScreen, ShowsThePictureOnceAWindowRestsThatWasResizedAndMinimisedWhileDrawing)
{
    ThreadsWindow own(100, 80, 320, 240);
    Draw draw(wide, own.Get());
    draw.info.bFillWnd = true;
    own.Start(
        [](HWND hWnd)
        {
            for (int i = 0; i < 9; ++i)
            {
                SetWindowPos(hWnd, HWND_TOPMOST, 100 + 7 * i, 80 + 5 * i, 320 + 9 * i, 240 + 11 * i,
                             SWP_NOACTIVATE);
                TestWindow::Pump();
                ShowWindow(hWnd, i % 3 == 0 ? SW_SHOWMINNOACTIVE : SW_SHOWNOACTIVATE);
            }
            ShowWindow(hWnd, SW_SHOWNOACTIVATE);
        });
    int drawn = 0;
    while (!own.IsDone())
    {
        drawn += Paint(render, draw) ? 1 : 0;
    }
    EXPECT_GT(drawn, 0);
    EXPECT_EQ(CRender::vs_nCanUseDD7, 1);
    own.Start(
        [](HWND hWnd)
        {
            TestWindow::Pump();
            SetWindowPos(hWnd, HWND_TOPMOST, 300, 200, 400, 280, SWP_NOACTIVATE);
        });
    while (!own.IsDone())
    {
        Sleep(1);
    }
    ExpectShown(render, draw);
}

TEST_P(RenderScreen, DrawsIntoTwoWindowsFromTwoThreads)
{
    const TestWindow other(700, 200, 300, 220);
    CRender otherRender;
    Draw first(wide, window.Get());
    Draw second(narrow, other.Get());
    const auto draw100 = [](CRender& renderer, Draw& draw, int& drawn)
    {
        for (int i = 0; i < 100; ++i)
        {
            drawn += Paint(renderer, draw) ? 1 : 0;
        }
    };
    int drawnSecond = 0;
    int drawnFirst = 0;
    std::thread thread([&] { draw100(otherRender, second, drawnSecond); });
    draw100(render, first, drawnFirst);
    thread.join();
    EXPECT_EQ(drawnFirst, 100);
    EXPECT_EQ(drawnSecond, 100);
    ExpectShown(render, first);
    ExpectShown(otherRender, second);
}

// ---- Failures of the real DirectDraw ----

// A surface that is locked already cannot be locked.
TEST_P(RenderScreenFailure, OfThreeLocksInARowSwitchesEveryRendererToGdi)
{
    CRender other;
    const TestWindow otherWindow(700, 200, 300, 220);
    Draw draw(wide, window.Get());
    Draw otherDraw(narrow, otherWindow.Get());
    ExpectShown(render, draw);
    ExpectShown(other, otherDraw);
    for (int failure = 1; failure <= 3; ++failure)
    {
        ASSERT_EQ(CRender::vs_nCanUseDD7, 1);
        if (failure > 1)
        {
            // What the next draw would make, made before it.
            render.vm_hWnd = window.Get();
            render.vm_pBmpHeader->bmiHeader = draw.header;
            ASSERT_EQ(render.m_F_n_InitDD7(), 1);
        }
        DDSURFACEDESC2 locked = {};
        locked.dwSize = sizeof(locked);
        IDirectDrawSurface7* const video = render.vm_pVideo;
        video->AddRef();
        ASSERT_EQ(video->Lock(nullptr, &locked, DDLOCK_WAIT, nullptr), DD_OK);
        ASSERT_FALSE(Paint(render, draw));
        EXPECT_EQ(render.vm_pVideo, nullptr);
        video->Release();
    }
    EXPECT_EQ(CRender::vs_nCanUseDD7, 0);
    // Now through GDI: upright, as the heights are negative, and in the library's own colours.
    for (auto& [renderer, each] : {std::pair(&render, &draw), std::pair(&other, &otherDraw)})
    {
        EXPECT_TRUE(Paint(*renderer, *each));
        EXPECT_EQ(renderer->vm_cRGBBuf.m_F_n_GetMemSize(),
                  static_cast<unsigned __int64>(each->picture->width * each->picture->height * 3));
        ExpectShown(*renderer, *each);
    }
}

TEST_P(RenderScreenFailure, OfOneLockIsForgottenAndThePictureComesBack)
{
    Draw draw(wide, window.Get());
    ExpectShown(render, draw);
    DDSURFACEDESC2 locked = {};
    locked.dwSize = sizeof(locked);
    ASSERT_EQ(render.vm_pVideo->Lock(nullptr, &locked, DDLOCK_WAIT, nullptr), DD_OK);
    EXPECT_FALSE(Paint(render, draw));
    EXPECT_EQ(render.vm_nLockErrCount, 2);
    ExpectShown(render, draw);
    EXPECT_EQ(render.vm_nLockErrCount, 0);
    EXPECT_EQ(CRender::vs_nCanUseDD7, 1);
}

}  // namespace
