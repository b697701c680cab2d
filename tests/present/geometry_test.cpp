// The grid of rectangles, and the place of a monitor: on monitors as the tests have them, and on
// those of this machine.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <type_traits>
#include <vector>

#include "CSFunc.h"
#include "support/import_patch.h"

namespace
{

using ostrel::test::ImportPatch;

static_assert(std::is_same_v<decltype(&CSFunc::s_S_CalWndRect), void (*)(int, int, CRect*, CRect)>);
static_assert(
    std::is_same_v<decltype(&CSFunc::s_F_n_GetScreenRectByID), int (*)(unsigned long, CRect&)>);
static_assert(
    std::is_same_v<decltype(&CSFunc::s_S_GetWndPlacedScreenRect), void (*)(CWnd*, CRect&)>);

std::string Text(const RECT& rect)
{
    return std::to_string(rect.left) + "," + std::to_string(rect.top) + "," +
           std::to_string(rect.right) + "," + std::to_string(rect.bottom);
}

// ---- The grid ----

const CRect kUntouched(-77, -78, -79, -80);

std::vector<CRect> Lay(int rows, int columns, const CRect& area, std::size_t room)
{
    std::vector<CRect> rects(room, kUntouched);
    CSFunc::s_S_CalWndRect(rows, columns, rects.data(), area);
    return rects;
}

TEST(CalWndRect, FillsTheRectanglesRowByRow)
{
    const std::vector<CRect> rects = Lay(3, 3, CRect(0, 0, 1000, 700), 9);
    EXPECT_EQ(Text(rects[0]), "0,0,334,234");
    EXPECT_EQ(Text(rects[1]), "334,0,667,234");
    EXPECT_EQ(Text(rects[2]), "667,0,1000,234");
    EXPECT_EQ(Text(rects[3]), "0,234,334,467");
    EXPECT_EQ(Text(rects[4]), "334,234,667,467");
    EXPECT_EQ(Text(rects[5]), "667,234,1000,467");
    EXPECT_EQ(Text(rects[6]), "0,467,334,700");
    EXPECT_EQ(Text(rects[7]), "334,467,667,700");
    EXPECT_EQ(Text(rects[8]), "667,467,1000,700");
}

TEST(CalWndRect, GivesTenPixelsInThreePartsFourToTheFirst)
{
    const std::vector<CRect> rects = Lay(3, 3, CRect(0, 0, 10, 10), 9);
    EXPECT_EQ(Text(rects[0]), "0,0,4,4");
    EXPECT_EQ(Text(rects[4]), "4,4,7,7");
    EXPECT_EQ(Text(rects[8]), "7,7,10,10");
}

TEST(CalWndRect, CountsRowsFirstThenColumns)
{
    const std::vector<CRect> rects = Lay(2, 3, CRect(-30, -20, 0, 0), 6);
    EXPECT_EQ(Text(rects[2]), "-10,-20,0,-10");
    EXPECT_EQ(Text(rects[3]), "-30,-10,-20,0");
}

TEST(CalWndRect, WritesAsManyRectanglesAsThereAreCellsAndCoversTheArea)
{
    const CRect area(-13, -7, 88, 61);
    for (int rows = 1; rows <= 16; ++rows)
    {
        for (int columns = 1; columns <= 16; ++columns)
        {
            const auto count = static_cast<std::size_t>(rows * columns);
            const std::vector<CRect> rects = Lay(rows, columns, area, count + 1);
            EXPECT_EQ(Text(rects[count]), Text(kUntouched));
            int covered = 0;
            for (std::size_t i = 0; i < count; ++i)
            {
                covered += rects[i].Width() * rects[i].Height();
                CRect inside;
                inside.IntersectRect(rects[i], area);
                ASSERT_TRUE(inside == rects[i]);
                for (std::size_t other = 0; other < i; ++other)
                {
                    CRect both;
                    ASSERT_FALSE(both.IntersectRect(rects[i], rects[other]));
                }
            }
            EXPECT_EQ(covered, area.Width() * area.Height());
        }
    }
}

TEST(CalWndRect, LeavesTheArrayUntouchedForAnAreaWithoutWidth)
{
    for (const CRect& area : {CRect(5, 5, 5, 50), CRect(5, 5, 4, 50), CRect(0, 0, 0, 0)})
    {
        EXPECT_EQ(Text(Lay(2, 2, area, 4)[0]), Text(kUntouched));
    }
}

TEST(CalWndRect, LeavesTheArrayUntouchedWithoutRowsOrColumns)
{
    const CRect area(0, 0, 100, 100);
    for (const int none : {0, -1, INT_MIN})
    {
        EXPECT_EQ(Text(Lay(none, 2, area, 4)[0]), Text(kUntouched));
        EXPECT_EQ(Text(Lay(2, none, area, 4)[0]), Text(kUntouched));
        EXPECT_EQ(Text(Lay(none, none, area, 4)[0]), Text(kUntouched));
    }
}

TEST(CalWndRect, GivesFlatRectanglesForAnAreaWithoutHeight)
{
    const std::vector<CRect> rects = Lay(2, 2, CRect(0, 9, 11, 9), 4);
    EXPECT_EQ(Text(rects[0]), "0,9,6,9");
    EXPECT_EQ(Text(rects[3]), "6,9,11,9");
}

// -10 / 3 is -3, and the rest of -1 goes to no row.
TEST(CalWndRect, GivesRowsUpsideDownForAnAreaUpsideDown)
{
    const std::vector<CRect> rects = Lay(3, 1, CRect(0, 10, 8, 0), 3);
    EXPECT_EQ(Text(rects[0]), "0,10,8,7");
    EXPECT_EQ(Text(rects[1]), "0,7,8,4");
    EXPECT_EQ(Text(rects[2]), "0,4,8,1");
}

TEST(CalWndRect, DoesNothingWithoutAnArray)
{
    CSFunc::s_S_CalWndRect(3, 3, nullptr, CRect(0, 0, 100, 100));
}

// ---- Monitors as the tests have them ----

struct Device
{
    bool hasMode;
    RECT place;
};

struct Desktop
{
    std::vector<Device> devices;
    std::vector<DWORD> askedDevices;
    std::vector<std::wstring> askedModes;
    bool isAskedProperly = true;
};

Desktop g_desktop;

std::wstring NameOf(DWORD number)
{
    return L"\\\\.\\TEST" + std::to_wstring(number + 10);
}

BOOL WINAPI ReadDevice(LPCWSTR device, DWORD number, PDISPLAY_DEVICEW display, DWORD flags)
{
    g_desktop.askedDevices.push_back(number);
    g_desktop.isAskedProperly = g_desktop.isAskedProperly && device == nullptr &&
                                display->cb == sizeof(DISPLAY_DEVICEW) &&
                                flags == EDD_GET_DEVICE_INTERFACE_NAME;
    if (number >= g_desktop.devices.size())
    {
        return FALSE;
    }
    wcscpy(display->DeviceName, NameOf(number).c_str());
    return TRUE;
}

BOOL WINAPI ReadMode(LPCWSTR device, DWORD number, DEVMODEW* mode)
{
    g_desktop.askedModes.emplace_back(device);
    g_desktop.isAskedProperly = g_desktop.isAskedProperly && number == ENUM_CURRENT_SETTINGS &&
                                mode->dmSize == sizeof(DEVMODEW);
    for (DWORD i = 0; i < g_desktop.devices.size(); ++i)
    {
        const Device& found = g_desktop.devices[i];
        if (NameOf(i) == device && found.hasMode)
        {
            mode->dmPosition = {found.place.left, found.place.top};
            mode->dmPelsWidth = static_cast<DWORD>(found.place.right - found.place.left);
            mode->dmPelsHeight = static_cast<DWORD>(found.place.bottom - found.place.top);
            return TRUE;
        }
    }
    return FALSE;
}

// A window that is never shown: only its place counts.
class PlacedWindow
{
public:
    explicit PlacedWindow(const RECT& place)
    {
        m_window.m_hWnd = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, place.left, place.top,
                                          place.right - place.left, place.bottom - place.top,
                                          nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
        RECT actual = {};
        GetWindowRect(m_window.m_hWnd, &actual);
        EXPECT_EQ(Text(actual), Text(place));
    }
    ~PlacedWindow()
    {
        DestroyWindow(m_window.m_hWnd);
        m_window.m_hWnd = nullptr;
    }
    PlacedWindow(const PlacedWindow&) = delete;
    PlacedWindow& operator=(const PlacedWindow&) = delete;

    CWnd* Get() { return &m_window; }

private:
    CWnd m_window;
};

std::string DesktopRect()
{
    RECT rect = {};
    GetWindowRect(GetDesktopWindow(), &rect);
    return Text(rect);
}

class Monitors : public testing::Test
{
protected:
    Monitors() { g_desktop = {}; }
    ~Monitors() override { EXPECT_TRUE(g_desktop.isAskedProperly); }

    static void Have(std::vector<Device> devices) { g_desktop.devices = std::move(devices); }

    static std::string PlaceOf(const RECT& window)
    {
        PlacedWindow placed(window);
        g_desktop.askedDevices.clear();
        CRect rect = kUntouched;
        CSFunc::s_S_GetWndPlacedScreenRect(placed.Get(), rect);
        return Text(rect);
    }

    ImportPatch<decltype(ReadDevice)> devicePatch{"EnumDisplayDevicesW", &ReadDevice};
    ImportPatch<decltype(ReadMode)> modePatch{"EnumDisplaySettingsW", &ReadMode};
};

const Device kPrimary = {true, {0, 0, 1920, 1080}};
const Device kLeft = {true, {-1280, 56, 0, 1080}};
const Device kAbove = {true, {300, -1024, 1580, 0}};
const Device kRight = {true, {1920, 0, 3840, 1080}};
const Device kOff = {false, {3840, 0, 5760, 1080}};

using Numbers = std::vector<DWORD>;

TEST_F(Monitors, AreFoundByTheirNumber)
{
    Have({kPrimary, kLeft, kAbove});
    CRect rect;
    EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(0, rect), 1);
    EXPECT_EQ(Text(rect), "0,0,1920,1080");
    EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(1, rect), 1);
    EXPECT_EQ(Text(rect), "-1280,56,0,1080");
    EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(2, rect), 1);
    EXPECT_EQ(Text(rect), "300,-1024,1580,0");
    EXPECT_EQ(g_desktop.askedDevices, (Numbers{0, 1, 2}));
    EXPECT_EQ(g_desktop.askedModes,
              (std::vector<std::wstring>{L"\\\\.\\TEST10", L"\\\\.\\TEST11", L"\\\\.\\TEST12"}));
}

TEST_F(Monitors, PastTheLastAreNotFoundAndTheRectangleIsLeftAlone)
{
    Have({kPrimary, kLeft});
    for (const unsigned long number : {2UL, 3UL, 0x80000000UL, ULONG_MAX})
    {
        CRect rect = kUntouched;
        EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(number, rect), 0);
        EXPECT_EQ(Text(rect), Text(kUntouched));
    }
    EXPECT_TRUE(g_desktop.askedModes.empty());
}

TEST_F(Monitors, WithoutACurrentModeAreNotFoundAndTheRectangleIsLeftAlone)
{
    Have({kPrimary, kOff, kRight});
    CRect rect = kUntouched;
    EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(1, rect), 0);
    EXPECT_EQ(Text(rect), Text(kUntouched));
    EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(2, rect), 1);
    EXPECT_EQ(Text(rect), "1920,0,3840,1080");
}

TEST_F(Monitors, OfAWindowAreAskedInOrderUntilOneHoldsIt)
{
    Have({kPrimary, kLeft, kAbove, kRight});
    EXPECT_EQ(PlaceOf({10, 10, 200, 100}), Text(kPrimary.place));
    EXPECT_EQ(g_desktop.askedDevices, (Numbers{0}));
    EXPECT_EQ(PlaceOf({-800, 200, -300, 500}), Text(kLeft.place));
    EXPECT_EQ(g_desktop.askedDevices, (Numbers{0, 1}));
    EXPECT_EQ(PlaceOf({400, -1000, 600, -700}), Text(kAbove.place));
    EXPECT_EQ(g_desktop.askedDevices, (Numbers{0, 1, 2}));
    EXPECT_EQ(PlaceOf({2000, 10, 2200, 100}), Text(kRight.place));
    EXPECT_EQ(g_desktop.askedDevices, (Numbers{0, 1, 2, 3}));
}

// Nearly all of the window is elsewhere; the corner that decides is named.
TEST_F(Monitors, HoldAWindowByAnyOfItsCorners)
{
    Have({kPrimary});
    EXPECT_EQ(PlaceOf({1910, 1070, 2400, 1500}), Text(kPrimary.place)) << "top left";
    EXPECT_EQ(PlaceOf({1910, -400, 2400, 10}), Text(kPrimary.place)) << "bottom left";
    EXPECT_EQ(PlaceOf({-400, 1070, 10, 1500}), Text(kPrimary.place)) << "top right";
    EXPECT_EQ(PlaceOf({-400, -300, 10, 10}), Text(kPrimary.place)) << "bottom right";
}

// For each pair of corners one monitor holds the one and the other the other: the number decides,
// neither the corner nor how much of the window a monitor holds.
TEST_F(Monitors, ShareAWindowAndTheFirstInOrderWins)
{
    struct Straddling
    {
        const char* what;
        RECT window;
        Device one;
        Device other;
    };
    const Device upperLeft = {true, {0, 0, 100, 100}};
    const Device lowerLeft = {true, {0, 100, 100, 200}};
    const Device upperRight = {true, {100, 0, 200, 100}};
    const Device lowerRight = {true, {100, 100, 200, 200}};
    const Straddling cases[] = {
        {"left and right", {10, 10, 110, 90}, upperLeft, upperRight},
        {"above and below", {10, 90, 90, 190}, upperLeft, lowerLeft},
        {"top left and bottom right", {95, 95, 190, 190}, upperLeft, lowerRight},
        {"bottom left and top right", {95, 10, 190, 110}, lowerLeft, upperRight},
        {"bottom left and bottom right", {20, 110, 110, 190}, lowerLeft, lowerRight},
        {"top right and bottom right", {110, 5, 190, 105}, upperRight, lowerRight},
    };
    for (const Straddling& each : cases)
    {
        Have({each.one, each.other});
        EXPECT_EQ(PlaceOf(each.window), Text(each.one.place)) << each.what;
        EXPECT_EQ(g_desktop.askedDevices, (Numbers{0})) << each.what;
        Have({each.other, each.one});
        EXPECT_EQ(PlaceOf(each.window), Text(each.other.place)) << each.what;
        EXPECT_EQ(g_desktop.askedDevices, (Numbers{0})) << each.what;
    }
}

TEST_F(Monitors, AreTestedWithTheWindowsEdgesMovedInByAPixel)
{
    Have({kPrimary, kLeft, kRight});
    // All over the primary monitor and a pixel more: still there, and not on its neighbours.
    EXPECT_EQ(PlaceOf({-1, -1, 1921, 1081}), Text(kPrimary.place));
    Have({kLeft, kRight, kPrimary});
    EXPECT_EQ(PlaceOf({-1, 60, 1921, 1000}), Text(kRight.place));
    EXPECT_EQ(PlaceOf({-1, 60, 1920, 1000}), Text(kPrimary.place));
    EXPECT_EQ(PlaceOf({-2, 60, 1920, 1000}), Text(kLeft.place));
}

TEST_F(Monitors, ThatHoldNoCornerLeaveTheDesktop)
{
    Have({kPrimary, kRight});
    EXPECT_EQ(PlaceOf({100, 3000, 200, 3100}), DesktopRect());
    EXPECT_EQ(g_desktop.askedDevices, (Numbers{0, 1, 2}));
    // Larger than the monitor on every side.
    Have({kAbove});
    EXPECT_EQ(PlaceOf({0, -1100, 2000, 100}), DesktopRect());
}

TEST_F(Monitors, WithoutACurrentModeEndTheSearchAtTheDesktop)
{
    Have({kPrimary, kOff, kRight});
    EXPECT_EQ(PlaceOf({2000, 10, 2200, 100}), DesktopRect());
    EXPECT_EQ(g_desktop.askedDevices, (Numbers{0, 1}));
    EXPECT_EQ(PlaceOf({10, 10, 200, 100}), Text(kPrimary.place));
}

TEST_F(Monitors, ThatAreNoneLeaveTheDesktop)
{
    EXPECT_EQ(PlaceOf({10, 10, 200, 100}), DesktopRect());
    EXPECT_EQ(g_desktop.askedDevices, (Numbers{0}));
}

TEST_F(Monitors, HoldNoWindowThatIsNotThere)
{
    Have({kPrimary});
    CRect rect = kUntouched;
    CSFunc::s_S_GetWndPlacedScreenRect(nullptr, rect);
    EXPECT_EQ(Text(rect), DesktopRect());
    CWnd unattached;
    rect = kUntouched;
    CSFunc::s_S_GetWndPlacedScreenRect(&unattached, rect);
    EXPECT_EQ(Text(rect), DesktopRect());
}

// A mode of an absurd size: its rectangle wraps around, and holds nothing.
TEST_F(Monitors, OfAnAbsurdSizeAreRead)
{
    Have({{true, {INT_MAX, INT_MAX, INT_MIN, INT_MIN}}});
    CRect rect;
    EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(0, rect), 1);
    EXPECT_EQ(Text(rect), "2147483647,2147483647,-2147483648,-2147483648");
    EXPECT_EQ(PlaceOf({10, 10, 200, 100}), DesktopRect());
}

// ---- The monitors of this machine ----

struct Found
{
    int count = 0;
    RECT primary = {};
};

BOOL CALLBACK Count(HMONITOR monitor, HDC, LPRECT, LPARAM found)
{
    MONITORINFO info = {};
    info.cbSize = sizeof(info);
    GetMonitorInfoW(monitor, &info);
    auto& result = *reinterpret_cast<Found*>(found);
    ++result.count;
    if ((info.dwFlags & MONITORINFOF_PRIMARY) != 0)
    {
        result.primary = info.rcMonitor;
    }
    return TRUE;
}

TEST(MonitorsOfThisMachine, FirstIsThePrimaryOneAndHoldsAWindow)
{
    Found found;
    ASSERT_TRUE(EnumDisplayMonitors(nullptr, nullptr, &Count, reinterpret_cast<LPARAM>(&found)));
    ASSERT_GE(found.count, 1);
    CRect rect;
    ASSERT_EQ(CSFunc::s_F_n_GetScreenRectByID(0, rect), 1);
    EXPECT_EQ(Text(rect), Text(found.primary));
    PlacedWindow window({50, 60, 150, 160});
    rect = kUntouched;
    CSFunc::s_S_GetWndPlacedScreenRect(window.Get(), rect);
    EXPECT_EQ(Text(rect), Text(found.primary));
}

TEST(MonitorsOfThisMachine, EndSomewhere)
{
    CRect rect = kUntouched;
    EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(1000, rect), 0);
    EXPECT_EQ(Text(rect), Text(kUntouched));
    PlacedWindow nowhere({30000, 30000, 30100, 30100});
    CSFunc::s_S_GetWndPlacedScreenRect(nowhere.Get(), rect);
    EXPECT_EQ(Text(rect), DesktopRect());
}

}  // namespace
