#include "record/due_time.h"

namespace ostrel::record
{

namespace
{

constexpr std::int32_t kSecond = 1000;

// In 64 bits, for the least index by a rate of -1 has no 32-bit quotient.
std::int64_t Remainder(std::int64_t index, std::int64_t rate)
{
    return index % rate;
}

}  // namespace

FramePace PaceOf(std::int32_t rate)
{
    return {rate, kSecond / rate, kSecond % rate};
}

std::int64_t Later(std::int64_t time, std::int64_t duration)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(time) +
                                     static_cast<std::uint64_t>(duration));
}

std::int32_t FrameDuration(const FramePace& pace, std::int32_t index)
{
    const bool isLonger = pace.rate != 0 && Remainder(index, pace.rate) < pace.remainder;
    return pace.milliseconds + (isLonger ? 1 : 0);
}

bool IsSecondBoundary(std::int32_t index, std::int32_t rate)
{
    return rate == 0 ? index == 0 : Remainder(index, rate) == 0;
}

std::uint32_t AudioDuration(std::uint32_t samples, std::uint32_t samplesPerSecond)
{
    return samplesPerSecond == 0 ? 0 : samples * kSecond / samplesPerSecond;
}

}  // namespace ostrel::record
