#include "record/stream_header.h"

namespace ostrel::record
{

namespace
{

constexpr std::uint32_t kVideoScale = 10000;
constexpr std::uint32_t kBestQuality = 10000;

constexpr std::uint32_t FourCc(const char (&code)[5])
{
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
    {
        value = value << 8 | static_cast<unsigned char>(code[i]);
    }
    return value;
}

}  // namespace

StreamHeader VideoStreamHeader(std::uint32_t compression, std::int32_t framesPerSecond,
                               std::int32_t width, std::int32_t height)
{
    StreamHeader header;
    header.type = FourCc("vids");
    header.handler = compression;
    header.scale = kVideoScale;
    header.rate = static_cast<std::uint32_t>(framesPerSecond) * kVideoScale;
    header.width = width;
    header.height = height;
    return header;
}

StreamHeader TextStreamHeader(std::int32_t width, std::int32_t height)
{
    StreamHeader header;
    header.type = FourCc("txts");
    header.handler = FourCc("DRAW");
    header.scale = 1;
    header.rate = 1;
    header.width = width;
    header.height = height;
    return header;
}

StreamHeader AudioStreamHeader(const AudioFormat& format)
{
    StreamHeader header;
    header.type = FourCc("auds");
    header.scale = format.blockAlign;
    header.rate = format.averageBytesPerSecond;
    header.quality = kBestQuality;
    header.sampleSize = std::uint32_t{format.bitsPerSample} * format.channels / 8;
    return header;
}

}  // namespace ostrel::record
