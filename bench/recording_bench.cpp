// What CAviConvert adds to the AVI interface that it writes through: the same frames and texts
// recorded by it and straight through that interface, in turns, in one run.
//
//     recording_bench FRAMES CODE WIDTH HEIGHT RATE OUTPUT
//
// FRAMES holds each frame behind its length (32 bits, the lowest byte first). OUTPUT.avi is left.
#include <winsock2.h>

#include <windows.h>

#include <vfw.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "CAviConvert.h"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int kRounds = 15;
constexpr char kText[] = "2026-01-01 12:00:00 camera 1";

using Frame = std::vector<unsigned char>;

struct Job
{
    std::vector<Frame> frames;
    BITMAPINFO format;
    int rate;
    std::wstring output;  // without extension
};

std::vector<Frame> ReadFrames(const char* path)
{
    std::ifstream file(path, std::ios::binary);
    std::vector<Frame> frames;
    for (unsigned char head[4]; file.read(reinterpret_cast<char*>(head), 4);)
    {
        Frame frame(head[0] | head[1] << 8 | head[2] << 16 | head[3] << 24);
        file.read(reinterpret_cast<char*>(frame.data()),
                  static_cast<std::streamsize>(frame.size()));
        frames.push_back(std::move(frame));
    }
    return frames;
}

void Demand(bool condition, const char* what)
{
    if (!condition)
    {
        std::fprintf(stderr, "%s\n", what);
        std::exit(1);
    }
}

void RecordByClass(Job& job)
{
    CAviConvert recording;
    Demand(recording.m_F_n_CreateAviFile(job.output.c_str(), &job.format, job.rate),
           "CAviConvert does not open the file");
    for (Frame& frame : job.frames)
    {
        const bool isSecond = recording.m_F_b_n_IsMultipleFPS();
        recording.m_S_WriteVideo(frame.data(), static_cast<int>(frame.size()), isSecond);
        if (isSecond)
        {
            recording.m_S_WriteText(CStringW(kText));
        }
    }
}

IAVIStream* AddStream(IAVIFile* file, AVISTREAMINFOW& header, void* format, LONG size)
{
    IAVIStream* stream = nullptr;
    Demand(AVIFileCreateStreamW(file, &stream, &header) == AVIERR_OK, "no stream");
    Demand(AVIStreamSetFormat(stream, 0, format, size) == AVIERR_OK, "no format");
    return stream;
}

void RecordByInterface(Job& job)
{
    AVIFileInit();
    IAVIFile* file = nullptr;
    Demand(AVIFileOpenW(&file, (job.output + L"-direct.avi").c_str(), OF_WRITE | OF_CREATE,
                        nullptr) == AVIERR_OK,
           "the interface does not open the file");
    AVISTREAMINFOW header = {};
    header.fccType = streamtypeVIDEO;
    header.fccHandler = job.format.bmiHeader.biCompression;
    header.dwScale = 10000;
    header.dwRate = static_cast<DWORD>(job.rate * 10000);
    IAVIStream* video = AddStream(file, header, &job.format, 44);
    header = {};
    header.fccType = streamtypeTEXT;
    header.dwScale = 1;
    header.dwRate = 1;
    DWORD textFormat = 4;
    IAVIStream* text = AddStream(file, header, &textFormat, sizeof(textFormat));
    LONG number = 0;
    LONG second = 0;
    for (Frame& frame : job.frames)
    {
        const bool isSecond = number % job.rate == 0;
        AVIStreamWrite(video, number++, 1, frame.data(), static_cast<LONG>(frame.size()),
                       isSecond ? AVIIF_KEYFRAME : 0, nullptr, nullptr);
        if (isSecond)
        {
            AVIStreamWrite(text, second++, 1, const_cast<char*>(kText), sizeof(kText) - 1,
                           AVIIF_KEYFRAME, nullptr, nullptr);
        }
    }
    AVIStreamRelease(video);
    AVIStreamRelease(text);
    AVIFileRelease(file);
    AVIFileExit();
}

double Seconds(const std::function<void()>& record)
{
    const Clock::time_point start = Clock::now();
    record();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double Median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + kRounds / 2, values.end());
    return values[kRounds / 2];
}

}  // namespace

int main(int argc, char** argv)
{
    Demand(argc == 7 && std::string(argv[2]).size() == 4,
           "usage: recording_bench FRAMES CODE WIDTH HEIGHT RATE OUTPUT");
    Job job = {
        ReadFrames(argv[1]), {}, std::atoi(argv[5]), std::filesystem::path(argv[6]).wstring()};
    Demand(!job.frames.empty() && job.rate > 0, "no frames");
    BITMAPINFOHEADER& header = job.format.bmiHeader;
    header.biSize = sizeof(header);
    header.biWidth = std::atoi(argv[3]);
    header.biHeight = std::atoi(argv[4]);
    header.biPlanes = 1;
    header.biBitCount = 24;
    header.biCompression = mmioFOURCC(argv[2][0], argv[2][1], argv[2][2], argv[2][3]);

    std::vector<double> byClass;
    std::vector<double> byInterface;
    for (int round = 0; round < kRounds; ++round)
    {
        byInterface.push_back(Seconds([&] { RecordByInterface(job); }));
        byClass.push_back(Seconds([&] { RecordByClass(job); }));
    }
    // For the script: the seconds that one recording takes.
    std::printf("%.6f %.6f\n", Median(byClass), Median(byInterface));
    return 0;
}
