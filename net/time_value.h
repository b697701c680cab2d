/// @file
/// How a time-out in milliseconds is handed to the platform's wait on sockets.
#pragma once

namespace ostrel::net
{

/// The two fields of a time value, each of 32 bits as the platform has them.
struct TimeValue
{
    int seconds;
    int microseconds;
};

/// All of the time-out stands in the microseconds, on purpose, even a second and more of it; the
/// seconds are 0. Only what 32 bits cannot count as microseconds (from 35 minutes) is split.
TimeValue ToTimeValue(int milliseconds);

}  // namespace ostrel::net
