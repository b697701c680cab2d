/// @file
/// The hours that a day of local time has.
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "core/current_time.h"

namespace ostrel::sysutil
{

constexpr core::TimeValue kHour = 3600000;

struct LocalDay
{
    std::vector<unsigned int> hours;
    core::TimeValue start = 0;  ///< of the first hour; 0 when there is none
    core::TimeValue end = 0;    ///< where the next day begins; 0 when that was not reached
};

/// Tells the local hour at a time value; nothing when it lies on another day.
using HourOfDay = std::function<std::optional<unsigned int>(core::TimeValue)>;

/// Walks a day in 26 steps of one hour, from one hour before its midnight on. A day of 25 hours
/// uses them up, so that its end is not reached, on purpose.
LocalDay WalkLocalDay(core::TimeValue midnight, const HourOfDay& hourOfDay);

}  // namespace ostrel::sysutil
