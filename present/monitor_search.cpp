#include "present/monitor_search.h"

namespace ostrel::present
{

namespace
{

bool Holds(const Edges& rect, int x, int y)
{
    return x >= rect.left && x < rect.right && y >= rect.top && y < rect.bottom;
}

}  // namespace

bool HoldsCorner(const Edges& monitor, const Edges& window)
{
    Edges inner = window;
    TakeOffBorder(inner, 1);
    return Holds(monitor, inner.left, inner.top) || Holds(monitor, inner.left, inner.bottom) ||
           Holds(monitor, inner.right, inner.top) || Holds(monitor, inner.right, inner.bottom);
}

std::optional<Edges> FindMonitorOf(const Edges& window, const MonitorReader& readMonitor)
{
    for (unsigned long number = 0;; ++number)
    {
        const std::optional<Edges> monitor = readMonitor(number);
        if (!monitor || HoldsCorner(*monitor, window))
        {
            return monitor;
        }
    }
}

}  // namespace ostrel::present
