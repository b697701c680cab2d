/// @file
/// When the next sample of a recording is due, in milliseconds.
#pragma once

#include <cstdint>

namespace ostrel::record
{

/// How the frames of a video share the 1000 milliseconds of each second.
struct FramePace
{
    std::int32_t rate;          ///< frames per second
    std::int32_t milliseconds;  ///< whole milliseconds of every frame
    std::int32_t remainder;     ///< so many frames of a second take a millisecond more
};

/// @param rate frames per second, not 0.
FramePace PaceOf(std::int32_t rate);

/// @return the time that is @p duration later; behind the last one there is, times wrap around.
std::int64_t Later(std::int64_t time, std::int64_t duration);

/// @param index the index of the frame that the time leads to.
/// @return the milliseconds until that frame. Without a rate no frame takes one longer than the
/// others.
std::int32_t FrameDuration(const FramePace& pace, std::int32_t index);

/// @return whether a frame's index is a whole multiple of the rate; of a rate of 0, only 0 is.
bool IsSecondBoundary(std::int32_t index, std::int32_t rate);

/// @return the whole milliseconds that so many samples last, in 32-bit unsigned arithmetic: from
/// 4294968 samples on the product wraps around. Without a sample rate nothing lasts.
std::uint32_t AudioDuration(std::uint32_t samples, std::uint32_t samplesPerSecond);

}  // namespace ostrel::record
