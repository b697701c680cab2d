/// @file
/// What a size probe comes to, for the tests of the probes that report to the debugger output.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <ostream>

namespace ostrel::test
{

struct Outcome
{
    bool isFound;
    int width;
    int height;
    bool isReported;
};

inline bool operator==(const Outcome& a, const Outcome& b)
{
    return a.isFound == b.isFound && a.width == b.width && a.height == b.height &&
           a.isReported == b.isReported;
}

inline std::ostream& operator<<(std::ostream& out, const Outcome& outcome)
{
    if (outcome.isFound)
    {
        out << outcome.width << "x" << outcome.height;
    }
    else
    {
        out << "nothing";
    }
    return out << (outcome.isReported ? ", reported" : ", silent");
}

constexpr Outcome kNothingReported = {false, 0, 0, true};
constexpr Outcome kNothingSilent = {false, 0, 0, false};

inline Outcome Found(int width, int height)
{
    return {true, width, height, true};
}

/// Probes a heap block of exactly the first @p size bytes, so that the sanitizer sees the first one
/// too many.
template <typename Find, typename Bytes>
Outcome ProbeExactly(Find find, const Bytes& bytes, std::size_t size)
{
    const std::unique_ptr<unsigned char[]> block(new unsigned char[size]);
    std::copy_n(bytes.begin(), size, block.get());
    const auto result = find(block.get(), static_cast<int>(size));
    return {result.size.has_value(), result.size ? result.size->width : 0,
            result.size ? result.size->height : 0, result.isReported};
}

}  // namespace ostrel::test
