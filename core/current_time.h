/// @file
/// The library's clock.
#pragma once

#include <cstdint>

namespace ostrel::core
{

/// Milliseconds since 1970-01-01 00:00:00 UTC.
using TimeValue = std::uint64_t;

/// A time value of whole seconds since then and the milliseconds into the second.
constexpr TimeValue ToTimeValue(std::int64_t seconds, unsigned int milliseconds)
{
    return static_cast<TimeValue>(seconds) * 1000 + milliseconds;
}

/// @return the time value of now. The seconds and the milliseconds come from two clocks that are
/// read one after the other, on purpose: around a full second the value may step back by up to a
/// second.
TimeValue CurrentTime();

}  // namespace ostrel::core
