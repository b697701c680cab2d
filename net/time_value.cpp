#include "net/time_value.h"

#include <limits>

namespace ostrel::net
{

TimeValue ToTimeValue(int milliseconds)
{
    constexpr int kLimit = std::numeric_limits<int>::max() / 1000;
    if (milliseconds > kLimit || milliseconds < -kLimit)
    {
        return {milliseconds / 1000, milliseconds % 1000 * 1000};
    }
    return {0, milliseconds * 1000};
}

}  // namespace ostrel::net
