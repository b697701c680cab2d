/// @file
/// Finds the monitor on which a window lies.
#pragma once

#include <functional>
#include <optional>

#include "present/fit_rect.h"

namespace ostrel::present
{

/// The rectangle of a monitor by its number, from 0 on; none where it cannot be read.
using MonitorReader = std::function<std::optional<Edges>(unsigned long number)>;

/// @return whether one of the corner pixels of @p window, each edge moved in by a pixel, lies in
/// @p monitor. Right and bottom edge of the monitor lie outside it, as for all rectangles.
bool HoldsCorner(const Edges& monitor, const Edges& window);

/// Asks for one monitor after the other, until there is one that holds a corner of the window.
/// @return its rectangle; none when a monitor that cannot be read comes first.
std::optional<Edges> FindMonitorOf(const Edges& window, const MonitorReader& readMonitor);

}  // namespace ostrel::present
