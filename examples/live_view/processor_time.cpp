#include "processor_time.h"

#include <windows.h>

#include <cstdio>

namespace
{
double Milliseconds(const FILETIME& time)
{
    constexpr double kTicks = 10000;
    return (static_cast<double>(time.dwHighDateTime) * 4294967296.0 + time.dwLowDateTime) / kTicks;
}

double UsedByProcess()
{
    FILETIME made, ended, kernel, user;
    return GetProcessTimes(GetCurrentProcess(), &made, &ended, &kernel, &user)
               ? Milliseconds(kernel) + Milliseconds(user)
               : 0;
}
}  // namespace

ProcessorTime::ProcessorTime() : used_(UsedByProcess()) {}

std::string ProcessorTime::Report(int cameras) const
{
    const double percent = 100 * (UsedByProcess() - used_) / elapsed_.Elapsed();
    char text[160];
    std::snprintf(text, sizeof text,
                  "processor time: %.0f %% of one core, %.1f %% per camera (embedded cameras "
                  "included)\n",
                  percent, percent / cameras);
    return text;
}
