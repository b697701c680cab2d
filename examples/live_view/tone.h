// A sound to try the client with: a sine of one pitch, as 16-bit PCM.
#pragma once

#include <cstdint>
#include <vector>

class Tone
{
public:
    static constexpr int kSamplesPerSecond = 8000;
    static constexpr int kHertz = 440;

    // The next samples, without a step to those before.
    std::vector<std::int16_t> Next(int samples);

private:
    int position_ = 0;  // in samples, within one second
};
