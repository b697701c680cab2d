#include "tone.h"

#include <cmath>

std::vector<std::int16_t> Tone::Next(int samples)
{
    constexpr double kAmplitude = 3000;
    constexpr double kTurn = 2 * 3.14159265358979323846;
    std::vector<std::int16_t> block;
    block.reserve(samples);
    for (int i = 0; i < samples; ++i)
    {
        const double phase = kTurn * kHertz * position_ / kSamplesPerSecond;
        block.push_back(static_cast<std::int16_t>(std::lround(kAmplitude * std::sin(phase))));
        position_ = (position_ + 1) % kSamplesPerSecond;
    }
    return block;
}
