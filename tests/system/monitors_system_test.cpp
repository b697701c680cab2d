// Windows on a desktop of several monitors. with_monitors.py makes the desktop, and says by the
// environment where its monitors are. A device that is not part of the desktop cannot be had there.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "CSFunc.h"
#include "present/test_window.h"

namespace
{

using ostrel::test::TestWindow;

std::string Text(const RECT& rect)
{
    return std::to_string(rect.left) + "," + std::to_string(rect.top) + "," +
           std::to_string(rect.right) + "," + std::to_string(rect.bottom);
}

// The monitors as the desktop was made, the primary one first.
std::vector<RECT> Monitors()
{
    const char* text = std::getenv("OSTREL_MONITORS");
    if (text == nullptr)
    {
        ADD_FAILURE() << "run this through with_monitors.py";
        return {};
    }
    std::vector<RECT> monitors;
    std::istringstream in(text);
    RECT rect = {};
    char comma = 0;
    while (in >> rect.left >> comma >> rect.top >> comma >> rect.right >> comma >> rect.bottom)
    {
        monitors.push_back(rect);
        in >> comma;
    }
    return monitors;
}

std::vector<RECT> Enumerated()
{
    std::vector<RECT> monitors;
    CRect rect;
    while (CSFunc::s_F_n_GetScreenRectByID(static_cast<unsigned long>(monitors.size()), rect) == 1)
    {
        monitors.push_back(rect);
    }
    return monitors;
}

std::string PlaceOf(const TestWindow& window)
{
    CWnd attached;
    attached.m_hWnd = window.Get();
    CRect rect;
    CSFunc::s_S_GetWndPlacedScreenRect(&attached, rect);
    attached.m_hWnd = nullptr;
    return Text(rect);
}

std::size_t NumberOf(const RECT& monitor)
{
    const std::vector<RECT> all = Enumerated();
    return static_cast<std::size_t>(std::find_if(all.begin(), all.end(),
                                                 [&](const RECT& each)
                                                 { return EqualRect(&each, &monitor) != FALSE; }) -
                                    all.begin());
}

TEST(MonitorsOfADesktop, AreAllFoundAtTheirPlacesThePrimaryOneFirst)
{
    const std::vector<RECT> monitors = Monitors();
    ASSERT_EQ(monitors.size(), 3U);
    const std::vector<RECT> found = Enumerated();
    ASSERT_EQ(found.size(), 3U);
    EXPECT_EQ(Text(found[0]), Text(monitors[0]));
    for (const RECT& monitor : monitors)
    {
        EXPECT_LT(NumberOf(monitor), 3U) << Text(monitor);
    }
}

// What the platform itself says of each by the name of its device.
BOOL CALLBACK Remember(HMONITOR monitor, HDC, LPRECT, LPARAM places)
{
    MONITORINFOEXW info = {};
    info.cbSize = sizeof(info);
    GetMonitorInfoW(monitor, &info);
    (*reinterpret_cast<std::map<std::wstring, std::string>*>(places))[info.szDevice] =
        Text(info.rcMonitor);
    return TRUE;
}

TEST(MonitorsOfADesktop, AreNumberedAsTheDisplayDevicesAre)
{
    std::map<std::wstring, std::string> places;
    EnumDisplayMonitors(nullptr, nullptr, &Remember, reinterpret_cast<LPARAM>(&places));
    ASSERT_EQ(places.size(), 3U);
    for (DWORD number = 0; number < 3; ++number)
    {
        DISPLAY_DEVICEW device = {};
        device.cb = sizeof(device);
        ASSERT_TRUE(EnumDisplayDevicesW(nullptr, number, &device, 0));
        CRect rect;
        ASSERT_EQ(CSFunc::s_F_n_GetScreenRectByID(number, rect), 1);
        EXPECT_EQ(Text(rect), places[device.DeviceName]);
    }
}

TEST(MonitorsOfADesktop, HoldTheWindowsThatAreShownOnThem)
{
    for (const RECT& monitor : Monitors())
    {
        const TestWindow window(monitor.left + 50, monitor.top + 60, 200, 150);
        EXPECT_EQ(PlaceOf(window), Text(monitor));
        // All over it, as a maximised window is.
        const TestWindow whole(monitor.left, monitor.top, monitor.right - monitor.left,
                               monitor.bottom - monitor.top);
        EXPECT_EQ(PlaceOf(whole), Text(monitor));
    }
}

// The second lies left of the first, the third right of it, and both reach above it.
TEST(MonitorsOfADesktop, ShareAWindowWhichIsTheFirstsInOrder)
{
    const std::vector<RECT> monitors = Monitors();
    ASSERT_EQ(monitors.size(), 3U);
    for (const std::size_t neighbour : {1U, 2U})
    {
        const RECT& other = monitors[neighbour];
        const int border = neighbour == 1 ? monitors[0].left : monitors[0].right;
        const RECT& first = NumberOf(other) < NumberOf(monitors[0]) ? other : monitors[0];
        for (const int left : {border - 190, border - 100, border - 10})
        {
            const TestWindow straddling(left, 50, 200, 150);
            EXPECT_EQ(PlaceOf(straddling), Text(first)) << left;
        }
        // Beside the border it is the one's alone.
        const TestWindow before(border - 200, 50, 200, 150);
        EXPECT_EQ(PlaceOf(before), Text(neighbour == 1 ? other : monitors[0]));
        const TestWindow behind(border, 50, 200, 150);
        EXPECT_EQ(PlaceOf(behind), Text(neighbour == 1 ? monitors[0] : other));
    }
}

TEST(MonitorsOfADesktop, LeaveAWindowBetweenThemToTheDesktop)
{
    const std::vector<RECT> monitors = Monitors();
    ASSERT_EQ(monitors.size(), 3U);
    RECT desktop = {};
    GetWindowRect(GetDesktopWindow(), &desktop);
    // Above the first, between the others, which reach higher.
    const TestWindow between(monitors[0].left + 100, monitors[0].top - 90, 200, 60);
    EXPECT_EQ(PlaceOf(between), Text(desktop));
    const TestWindow away(20000, 20000, 100, 100);
    EXPECT_EQ(PlaceOf(away), Text(desktop));
}

TEST(MonitorsOfADesktop, EndAfterTheLast)
{
    CRect rect(1, 2, 3, 4);
    EXPECT_EQ(CSFunc::s_F_n_GetScreenRectByID(3, rect), 0);
    EXPECT_EQ(Text(rect), "1,2,3,4");
}

}  // namespace
