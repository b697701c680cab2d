// A recording as the tests need it: 25 pictures a second of 320 x 240, text and PCM sound.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "memory_output.h"
#include "riff_file.h"

namespace stand_in
{

inline StreamHeader VideoHeader()
{
    StreamHeader header;
    header.type = FourCc("vids");
    header.handler = FourCc("MJPG");
    header.scale = 10000;
    header.rate = 250000;
    header.right = 320;
    header.bottom = 240;
    return header;
}

// A bitmap's header and one colour; the compression is at byte 16.
inline Bytes VideoFormat(const std::string& compression = "MJPG")
{
    Bytes format(44);
    format[0] = 40;
    std::copy(compression.begin(), compression.end(), format.begin() + 16);
    return format;
}

inline StreamHeader TextHeader()
{
    StreamHeader header;
    header.type = FourCc("txts");
    header.handler = FourCc("DRAW");
    header.scale = 1;
    header.rate = 1;
    header.right = 320;
    header.bottom = 240;
    return header;
}

inline Bytes TextFormat()
{
    return {4, 0, 0, 0};
}

// 16-bit stereo at 8000 samples a second.
inline StreamHeader AudioHeader()
{
    StreamHeader header;
    header.type = FourCc("auds");
    header.scale = 4;
    header.rate = 32000;
    header.quality = 10000;
    header.sampleSize = 4;
    return header;
}

inline Bytes AudioFormat()
{
    return {1, 0, 2, 0, 0x40, 0x1F, 0, 0, 0, 0x7D, 0, 0, 4, 0, 16, 0, 0, 0};
}

class RecordingTest : public testing::Test
{
protected:
    static constexpr std::size_t kVideo = 0;
    static constexpr std::size_t kText = 1;
    static constexpr std::size_t kAudio = 2;

    static void AddStreams(AviRecording& recording)
    {
        ASSERT_EQ(Result::kOk, recording.Begin());
        ASSERT_EQ(Result::kOk, recording.AddStream(VideoHeader()));
        ASSERT_EQ(Result::kOk, recording.AddStream(TextHeader()));
        ASSERT_EQ(Result::kOk, recording.AddStream(AudioHeader()));
        SetFormat(recording, kVideo, VideoFormat());
        SetFormat(recording, kText, TextFormat());
        SetFormat(recording, kAudio, AudioFormat());
    }
    static void SetFormat(AviRecording& recording, std::size_t stream, const Bytes& format)
    {
        ASSERT_EQ(Result::kOk, recording.SetFormat(stream, format.data(),
                                                   static_cast<std::int32_t>(format.size())));
    }

    static Result Write(AviRecording& recording, std::size_t stream, std::int32_t start,
                        std::int32_t samples, const std::string& data, bool isKeyFrame = true)
    {
        Written written;
        return recording.Write(stream, start, samples, data.data(),
                               static_cast<std::int32_t>(data.size()), isKeyFrame ? kKeyFrame : 0,
                               written);
    }
};

}  // namespace stand_in
