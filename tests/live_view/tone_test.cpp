#include "tone.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace
{
// The strength of one frequency in the samples (a single bin of a discrete Fourier transform).
double StrengthAt(const std::vector<std::int16_t>& samples, double hertz)
{
    double real = 0, imaginary = 0;
    for (std::size_t i = 0; i < samples.size(); ++i)
    {
        const double phase =
            2 * std::acos(-1.0) * hertz * static_cast<double>(i) / Tone::kSamplesPerSecond;
        real += samples[i] * std::cos(phase);
        imaginary += samples[i] * std::sin(phase);
    }
    return 2 * std::hypot(real, imaginary) / static_cast<double>(samples.size());
}

TEST(Tone, IsOneSineOfItsPitch)
{
    Tone tone;
    const auto samples = tone.Next(Tone::kSamplesPerSecond);
    EXPECT_NEAR(StrengthAt(samples, Tone::kHertz), 3000, 3);
    EXPECT_LT(StrengthAt(samples, 2 * Tone::kHertz), 3);
    EXPECT_LT(StrengthAt(samples, Tone::kHertz + 100), 3);
}

TEST(Tone, GoesOnFromBlockToBlock)
{
    Tone whole, pieces;
    const auto expected = whole.Next(3 * Tone::kSamplesPerSecond);
    std::vector<std::int16_t> joined;
    for (int size = 1; joined.size() < expected.size(); ++size)
    {
        const auto block =
            pieces.Next(std::min<int>(size, static_cast<int>(expected.size() - joined.size())));
        joined.insert(joined.end(), block.begin(), block.end());
    }
    EXPECT_EQ(joined, expected);
}
}  // namespace
