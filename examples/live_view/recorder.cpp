#include "recorder.h"

#include <CSFunc.h>

#include <filesystem>
#include <stdexcept>

#include "local_time.h"
#include "speaker.h"

namespace
{
constexpr int kSoundSamples = Tone::kSamplesPerSecond / 10;  // written at a time
}  // namespace

Recorder::Recorder(const std::wstring& file, Feed& feed, int framesPerSecond)
    : feed_(feed), width_(feed.Shown().width), height_(feed.Shown().height)
{
    if (feed.Number() < 0)
    {
        throw std::runtime_error("there is no picture of " + feed.Name() + " to record");
    }
    BITMAPINFO format = {};
    format.bmiHeader.biSize = sizeof format.bmiHeader;
    format.bmiHeader.biWidth = width_;
    format.bmiHeader.biHeight = height_;
    format.bmiHeader.biPlanes = 1;
    format.bmiHeader.biBitCount = 24;
    format.bmiHeader.biCompression = mmioFOURCC('M', 'J', 'P', 'G');
    format.bmiHeader.biSizeImage = static_cast<DWORD>(width_) * height_ * 3;
    const bool isOpen = avi_.m_F_n_CreateAviFile(file.c_str(), &format, framesPerSecond);
    WAVEFORMATEX sound = ToneFormat();
    avi_.m_S_SetAudioInfo(&sound);
    if (!isOpen || !avi_.m_F_b_Create())
    {
        throw std::runtime_error("cannot record into " + std::filesystem::path(file).u8string());
    }
    avi_.m_S_SetStartTime(0);
}

void Recorder::WriteUntil(double milliseconds)
{
    if (!avi_.m_F_b_Create())
    {
        return;
    }
    const auto now = static_cast<__int64>(milliseconds);
    // The picture first: some readers take the file's first chunk for the first of its video.
    while (avi_.m_F_n_GetNextVideoTime() <= now)
    {
        WritePicture();
    }
    while (avi_.m_F_n_GetNextTextTime() <= now)
    {
        const std::string line = feed_.Name() + "  ";
        avi_.m_S_WriteText(CSFunc::s_F_s_Utf8ToUnicode(line.c_str()) + LocalTimeText().c_str());
    }
    while (avi_.m_F_n_GetNextAudioTime() <= now)
    {
        const __int64 before = avi_.m_F_n_GetNextAudioTime();
        WriteSound();
        if (avi_.m_F_n_GetNextAudioTime() == before)
        {
            break;  // the file takes no more sound
        }
    }
}

void Recorder::WritePicture()
{
    const Picture& picture = feed_.Shown();
    const bool isNew =
        feed_.Number() != recordedPicture_ && picture.width == width_ && picture.height == height_;
    recordedPicture_ = feed_.Number();
    if (isNew)
    {
        std::vector<unsigned char> jpeg = feed_.Jpeg();
        avi_.m_S_WriteVideo(jpeg.data(), static_cast<int>(jpeg.size()), true);
    }
    else
    {
        avi_.m_S_WriteVideo(nullptr, 0, false);
        ++emptyFrames_;
    }
    ++frames_;
}

void Recorder::WriteSound()
{
    std::vector<std::int16_t> block = tone_.Next(kSoundSamples);
    avi_.m_S_WriteAudio(reinterpret_cast<unsigned char*>(block.data()),
                        static_cast<int>(block.size() * sizeof block[0]));
}

std::string Recorder::Report()
{
    return "frames recorded: " + std::to_string(frames_) +
           ", of them empty: " + std::to_string(emptyFrames_) +
           "\nbytes recorded: " + std::to_string(avi_.m_F_n_GetWriteSzie()) + '\n';
}
