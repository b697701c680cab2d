/// @file
/// What the headers of a recording's three streams say (the `strh` chunks of an AVI file).
#pragma once

#include <cstdint>

namespace ostrel::record
{

/// Fields that are not here are 0.
struct StreamHeader
{
    std::uint32_t type = 0;     ///< FOURCC
    std::uint32_t handler = 0;  ///< FOURCC
    std::uint32_t scale = 0;    ///< rate / scale is the number of samples per second
    std::uint32_t rate = 0;
    std::uint32_t quality = 0;
    std::uint32_t sampleSize = 0;  ///< bytes; 0 where samples differ in size
    std::int32_t width = 0;        ///< of the frame rectangle, whose left and top are 0
    std::int32_t height = 0;
};

/// What the audio stream's header is made of: the fields of the same names of the wave format.
struct AudioFormat
{
    std::uint16_t channels;
    std::uint32_t averageBytesPerSecond;
    std::uint16_t blockAlign;
    std::uint16_t bitsPerSample;
};

/// @param compression the FOURCC of the frames.
/// @param framesPerSecond the product with 10000 is cut to 32 bits.
StreamHeader VideoStreamHeader(std::uint32_t compression, std::int32_t framesPerSecond,
                               std::int32_t width, std::int32_t height);

/// One text per second.
StreamHeader TextStreamHeader(std::int32_t width, std::int32_t height);

StreamHeader AudioStreamHeader(const AudioFormat& format);

}  // namespace ostrel::record
