#include "core/current_time.h"

#include <windows.h>

#include <ctime>

namespace ostrel::core
{

TimeValue CurrentTime()
{
    const __time64_t seconds = _time64(nullptr);
    SYSTEMTIME time = {};
    GetSystemTime(&time);
    return ToTimeValue(seconds, time.wMilliseconds);
}

}  // namespace ostrel::core
