#include <optional>

#include "CSFunc.h"
#include "present/grid.h"
#include "present/monitor_search.h"
#include "present/window_rect.h"

using namespace ostrel::present;

namespace
{

// A monitor's place on the desktop, in its current mode.
std::optional<Edges> ReadMonitor(unsigned long number)
{
    DISPLAY_DEVICEW device = {};
    device.cb = sizeof(device);
    DEVMODEW mode = {};
    mode.dmSize = sizeof(mode);
    if (!EnumDisplayDevicesW(nullptr, number, &device, EDD_GET_DEVICE_INTERFACE_NAME) ||
        !EnumDisplaySettingsW(device.DeviceName, ENUM_CURRENT_SETTINGS, &mode))
    {
        return std::nullopt;
    }
    // An unsigned size in pixels may be larger than any screen; the sums then wrap around.
    const auto left = static_cast<DWORD>(mode.dmPosition.x);
    const auto top = static_cast<DWORD>(mode.dmPosition.y);
    return Edges{static_cast<int>(left), static_cast<int>(top),
                 static_cast<int>(left + mode.dmPelsWidth),
                 static_cast<int>(top + mode.dmPelsHeight)};
}

}  // namespace

void CSFunc::s_S_CalWndRect(int nRow, int nCol, CRect* pRects, CRect rcArea)
{
    const Edges area = ToEdges(rcArea);
    if (pRects == nullptr || !Grid::IsPossible(nRow, nCol, area))
    {
        return;
    }
    const Grid grid(nRow, nCol, area);
    for (int row = 0; row < nRow; ++row)
    {
        for (int column = 0; column < nCol; ++column)
        {
            *pRects++ = ToRect(grid.Cell(row, column));
        }
    }
}

int CSFunc::s_F_n_GetScreenRectByID(unsigned long nID, CRect& rc)
{
    const std::optional<Edges> monitor = ReadMonitor(nID);
    if (!monitor)
    {
        return 0;
    }
    rc = ToRect(*monitor);
    return 1;
}

void CSFunc::s_S_GetWndPlacedScreenRect(CWnd* pWnd, CRect& rc)
{
    RECT window = {};
    std::optional<Edges> monitor;
    if (pWnd != nullptr && GetWindowRect(pWnd->GetSafeHwnd(), &window))
    {
        monitor = FindMonitorOf(ToEdges(window), &ReadMonitor);
    }
    if (!monitor)
    {
        RECT desktop = {};
        GetWindowRect(GetDesktopWindow(), &desktop);
        monitor = ToEdges(desktop);
    }
    rc = ToRect(*monitor);
}
