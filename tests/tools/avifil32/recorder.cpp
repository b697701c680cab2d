// Records what a folder holds: pictures 000.jpg, 001.jpg, ... (a missing one is left out), the
// sound of sound.pcm (16-bit stereo, 8000 samples a second) and lines of text, one a second.
//
// recorder FOLDER FILE.avi PICTURES [text-first]
//
// Prints one line of each stream: its name, the writes that were taken and those that failed.
#include <windows.h>
// The multimedia types that vfw.h needs.
#include <mmsystem.h>
#include <vfw.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

namespace
{

constexpr LONG kPicturesPerSecond = 25;
constexpr LONG kBlock = 800;  // samples, a tenth of a second
constexpr LONG kSampleSize = 4;

std::string Contents(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class StreamWriter
{
public:
    StreamWriter(const char* name, PAVIFILE file, AVISTREAMINFOW info, void* format,
                 LONG formatSize)
        : name_(name)
    {
        if (AVIFileCreateStreamW(file, &stream_, &info) != AVIERR_OK ||
            AVIStreamSetFormat(stream_, 0, format, formatSize) != AVIERR_OK)
        {
            std::printf("%s cannot be created\n", name);
            std::exit(1);
        }
    }
    ~StreamWriter()
    {
        std::printf("%s %d taken %d failed\n", name_, taken_, failed_);
        AVIStreamRelease(stream_);
    }
    StreamWriter(const StreamWriter&) = delete;
    StreamWriter& operator=(const StreamWriter&) = delete;

    void Write(LONG start, LONG samples, std::string data, DWORD flags = AVIIF_KEYFRAME)
    {
        const HRESULT result =
            AVIStreamWrite(stream_, start, samples, data.data(), static_cast<LONG>(data.size()),
                           flags, nullptr, nullptr);
        ++(result == AVIERR_OK ? taken_ : failed_);
    }

private:
    const char* name_;
    PAVISTREAM stream_ = nullptr;
    int taken_ = 0;
    int failed_ = 0;
};

AVISTREAMINFOW Info(DWORD type, DWORD handler, DWORD scale, DWORD rate, DWORD sampleSize)
{
    AVISTREAMINFOW info = {};
    info.fccType = type;
    info.fccHandler = handler;
    info.dwScale = scale;
    info.dwRate = rate;
    info.dwSampleSize = sampleSize;
    info.rcFrame = {0, 0, 320, 240};
    return info;
}

void Record(PAVIFILE file, const std::string& folder, LONG pictures, const char* codec,
            bool textFirst)
{
    BITMAPINFO videoFormat = {};
    videoFormat.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    videoFormat.bmiHeader.biWidth = 320;
    videoFormat.bmiHeader.biHeight = 240;
    videoFormat.bmiHeader.biPlanes = 1;
    videoFormat.bmiHeader.biBitCount = 24;
    videoFormat.bmiHeader.biCompression = mmioFOURCC(codec[0], codec[1], codec[2], codec[3]);
    DWORD textFormat = 4;
    WAVEFORMATEX audioFormat = {};
    audioFormat.wFormatTag = WAVE_FORMAT_PCM;
    audioFormat.nChannels = 2;
    audioFormat.nSamplesPerSec = 8000;
    audioFormat.nAvgBytesPerSec = 32000;
    audioFormat.nBlockAlign = kSampleSize;
    audioFormat.wBitsPerSample = 16;

    StreamWriter video("video", file,
                       Info(streamtypeVIDEO, videoFormat.bmiHeader.biCompression, 10000,
                            kPicturesPerSecond * 10000, 0),
                       &videoFormat, sizeof videoFormat);
    StreamWriter text("text", file, Info(streamtypeTEXT, mmioFOURCC('D', 'R', 'A', 'W'), 1, 1, 0),
                      &textFormat, sizeof textFormat);
    StreamWriter audio("audio", file, Info(streamtypeAUDIO, 0, kSampleSize, 32000, kSampleSize),
                       &audioFormat, sizeof audioFormat);

    const std::string sound = Contents(folder + "/sound.pcm");
    LONG position = 0;
    for (LONG i = 0; i < pictures; ++i)
    {
        const bool isSecond = i % kPicturesPerSecond == 0;
        const std::string line = "second " + std::to_string(i / kPicturesPerSecond);
        if (isSecond && textFirst)
        {
            text.Write(i / kPicturesPerSecond, 1, line);
        }
        char name[16];
        std::snprintf(name, sizeof name, "/%03ld.%s", i, codec);
        const std::string picture = Contents(folder + name);
        if (!picture.empty())
        {
            video.Write(i, 1, picture, i % 5 == 0 ? AVIIF_KEYFRAME : 0);
        }
        if (isSecond && !textFirst)
        {
            text.Write(i / kPicturesPerSecond, 1, line);
        }
        while (position * kPicturesPerSecond < i * 8000)
        {
            const auto from = static_cast<std::size_t>(position * kSampleSize);
            audio.Write(position, kBlock, sound.substr(from, kBlock * kSampleSize));
            position += kBlock;
        }
    }
}

}  // namespace

int main(int count, char** arguments)
{
    if (count < 5 || std::strlen(arguments[4]) != 4)
    {
        return 2;
    }
    AVIFileInit();
    PAVIFILE file = nullptr;
    if (AVIFileOpenA(&file, arguments[2], OF_WRITE | OF_CREATE, nullptr) != AVIERR_OK)
    {
        std::printf("the file cannot be opened\n");
        return 1;
    }
    Record(file, arguments[1], std::atoi(arguments[3]), arguments[4], count > 5);
    AVIFileRelease(file);
    AVIFileExit();
}
