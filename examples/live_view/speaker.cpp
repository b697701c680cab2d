#include "speaker.h"

#include <algorithm>
#include <stdexcept>

namespace
{
constexpr int kBlockSamples = Tone::kSamplesPerSecond / 10;
constexpr int kSampleBytes = 2;
// Blocks that wait to be heard: enough for a busy moment, few enough to follow a live picture.
constexpr int kAhead = 4;
}  // namespace

WAVEFORMATEX ToneFormat()
{
    WAVEFORMATEX format = {};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = 1;
    format.nSamplesPerSec = Tone::kSamplesPerSecond;
    format.wBitsPerSample = 8 * kSampleBytes;
    format.nBlockAlign = kSampleBytes;
    format.nAvgBytesPerSec = Tone::kSamplesPerSecond * kSampleBytes;
    return format;
}

Speaker::Speaker(HWND notified)
{
    WAVEFORMATEX format = ToneFormat();
    if (!player_.m_F_n_WaveOpen(&format, notified))
    {
        throw std::runtime_error("there is no sound device");
    }
    if (supplier_.m_F_n_CreaetThread(&Speaker::Supply, this) == 0)
    {
        throw std::runtime_error("the sound's thread does not start");
    }
}

Speaker::~Speaker()
{
    supplier_.m_F_n_CloseThread(3000);
    player_.m_S_WaveClose();
}

// Returns the milliseconds until it wants to be called again.
unsigned int Speaker::Supply(void* self)
{
    constexpr unsigned int kLookEvery = 20;
    constexpr int kBytes = kBlockSamples * kSampleBytes;
    Speaker& speaker = *static_cast<Speaker*>(self);
    while (speaker.player_.m_F_n_UseBuf() < std::min(kAhead, +CWaveOut::vs_nMaxBuf))
    {
        // Written straight into the player's own buffer, which is then played without a copy.
        unsigned char* const room = speaker.player_.m_F_b_GetBufPoint(kBytes);
        if (room == nullptr)
        {
            break;
        }
        const auto block = speaker.tone_.Next(kBlockSamples);
        const auto* const bytes = reinterpret_cast<const unsigned char*>(block.data());
        std::copy(bytes, bytes + kBytes, room);
        speaker.player_.m_S_WavePlay(room, kBytes);
        ++speaker.blocks_;
    }
    return kLookEvery;
}

std::string Speaker::Report() const
{
    return "seconds of sound given to the player: " +
           std::to_string(blocks_ * kBlockSamples / Tone::kSamplesPerSecond) + '\n';
}
