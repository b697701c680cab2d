#include "sysutil/local_day.h"

namespace ostrel::sysutil
{

LocalDay WalkLocalDay(core::TimeValue midnight, const HourOfDay& hourOfDay)
{
    constexpr int kSteps = 26;
    LocalDay day;
    core::TimeValue time = midnight - kHour;
    for (int step = 0; step < kSteps; ++step, time += kHour)
    {
        if (const std::optional<unsigned int> hour = hourOfDay(time))
        {
            if (day.hours.empty())
            {
                day.start = time;
            }
            day.hours.push_back(*hour);
        }
        else if (!day.hours.empty())
        {
            day.end = time;
            break;
        }
    }
    return day;
}

}  // namespace ostrel::sysutil
