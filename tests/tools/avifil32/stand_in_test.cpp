// The stand-in's calls, as a program makes them that is linked with the system's AVIFile.
#include <windows.h>
// The multimedia types that vfw.h needs.
#include <mmsystem.h>

#include <initguid.h>

#include <vfw.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "riff_file.h"

namespace
{

BITMAPINFO VideoFormat()
{
    BITMAPINFO format = {};
    format.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    format.bmiHeader.biWidth = 320;
    format.bmiHeader.biHeight = 240;
    format.bmiHeader.biPlanes = 1;
    format.bmiHeader.biBitCount = 24;
    format.bmiHeader.biCompression = mmioFOURCC('M', 'J', 'P', 'G');
    return format;
}

AVISTREAMINFOW VideoInfo()
{
    AVISTREAMINFOW info = {};
    info.fccType = streamtypeVIDEO;
    info.fccHandler = mmioFOURCC('M', 'J', 'P', 'G');
    info.dwScale = 10000;
    info.dwRate = 250000;
    info.rcFrame = {0, 0, 320, 240};
    return info;
}

WAVEFORMATEX AudioFormat()
{
    WAVEFORMATEX format = {};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = 2;
    format.nSamplesPerSec = 8000;
    format.nAvgBytesPerSec = 32000;
    format.nBlockAlign = 4;
    format.wBitsPerSample = 16;
    return format;
}

AVISTREAMINFOW AudioInfo()
{
    AVISTREAMINFOW info = {};
    info.fccType = streamtypeAUDIO;
    info.dwScale = 4;
    info.dwRate = 32000;
    info.dwQuality = 10000;
    info.dwSampleSize = 4;
    return info;
}

AVISTREAMINFOW TextInfo()
{
    AVISTREAMINFOW info = {};
    info.fccType = streamtypeTEXT;
    info.fccHandler = mmioFOURCC('D', 'R', 'A', 'W');
    info.dwScale = 1;
    info.dwRate = 1;
    return info;
}

std::string Ansi(const std::wstring& text)
{
    char ansi[2 * MAX_PATH] = {};
    EXPECT_NE(0, WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, text.c_str(), -1, ansi,
                                     sizeof ansi, nullptr, nullptr));
    return ansi;
}

class StandIn : public testing::Test
{
protected:
    StandIn()
    {
        AVIFileInit();
        folder_ = std::filesystem::temp_directory_path() /
                  ("avifil32_stand_in_test." + std::to_string(GetCurrentProcessId()));
        std::filesystem::create_directory(folder_);
        path_ = folder_ / "recording.avi";
    }
    ~StandIn() override
    {
        AVIFileExit();
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    PAVIFILE Open()
    {
        PAVIFILE file = nullptr;
        EXPECT_EQ(AVIERR_OK, AVIFileOpenW(&file, path_.c_str(), OF_WRITE | OF_CREATE, nullptr));
        return file;
    }
    template <typename Format>
    static PAVISTREAM Create(PAVIFILE file, AVISTREAMINFOW info, Format format)
    {
        PAVISTREAM stream = nullptr;
        EXPECT_EQ(AVIERR_OK, AVIFileCreateStreamW(file, &stream, &info));
        EXPECT_EQ(AVIERR_OK, AVIStreamSetFormat(stream, 0, &format, sizeof format));
        return stream;
    }
    static PAVISTREAM CreateVideo(PAVIFILE file)
    {
        return Create(file, VideoInfo(), VideoFormat());
    }
    static PAVISTREAM CreateAudio(PAVIFILE file)
    {
        return Create(file, AudioInfo(), AudioFormat());
    }
    static PAVISTREAM CreateText(PAVIFILE file) { return Create(file, TextInfo(), DWORD{4}); }

    static HRESULT Write(PAVISTREAM stream, LONG start, LONG samples, std::string data)
    {
        return AVIStreamWrite(stream, start, samples, data.data(), static_cast<LONG>(data.size()),
                              AVIIF_KEYFRAME, nullptr, nullptr);
    }

    // Fails as long as the file is open for writing.
    AviFileBytes Read() const
    {
        const HANDLE alone = CreateFileW(path_.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                         FILE_ATTRIBUTE_NORMAL, nullptr);
        EXPECT_NE(INVALID_HANDLE_VALUE, alone) << "the file is still open";
        CloseHandle(alone);
        std::ifstream file(path_, std::ios::binary);
        const std::vector<unsigned char> bytes{std::istreambuf_iterator<char>(file), {}};
        return AviFileBytes(bytes);
    }

    std::filesystem::path folder_;
    std::filesystem::path path_;
};

// Wine names its own DLL after a native one that it finds beside the program, so the path tells
// nothing. The stand-in, though, has nothing for reading.
TEST_F(StandIn, IsWhatTheProgramHasLoaded)
{
    const HMODULE loaded = GetModuleHandleW(L"avifil32.dll");
    ASSERT_NE(nullptr, loaded);
    EXPECT_EQ(nullptr, GetProcAddress(loaded, "AVIStreamRead"));
}

TEST_F(StandIn, RecordsPicturesTextAndSound)
{
    PAVIFILE file = Open();
    PAVISTREAM video = CreateVideo(file);
    PAVISTREAM text = CreateText(file);
    PAVISTREAM audio = CreateAudio(file);
    EXPECT_EQ(AVIERR_OK, Write(video, 0, 1, "picture"));
    EXPECT_EQ(AVIERR_OK, Write(text, 0, 1, "line"));
    EXPECT_EQ(AVIERR_OK, Write(audio, 0, 2, "aaaabbbb"));
    EXPECT_EQ(AVIERR_OK, Write(video, 2, 1, "third"));
    EXPECT_EQ(AVIERR_OK, Write(audio, 2, 1, "cccc"));
    AVIStreamRelease(video);
    AVIStreamRelease(audio);
    AVIStreamRelease(text);
    EXPECT_EQ(0u, AVIFileRelease(file));

    const AviFileBytes bytes = Read();
    EXPECT_EQ("00dc 01tx 02wb 00dc 00dc 02wb ", bytes.Ids());
    EXPECT_EQ("kkk-kk", bytes.KeyFrames());
    EXPECT_TRUE(bytes.IndexMatchesChunks());
    EXPECT_EQ("picture", bytes.chunks[0].Text());
    EXPECT_EQ("line", bytes.chunks[1].Text());
    EXPECT_EQ("aaaabbbb", bytes.chunks[2].Text());
    EXPECT_EQ("third", bytes.chunks[4].Text());
    EXPECT_EQ("cccc", bytes.chunks[5].Text());
    EXPECT_EQ(3u, bytes.mainHeader.At32(16));
    EXPECT_EQ(3u, bytes.streamHeaders.at(0).At32(32));
    EXPECT_EQ(1u, bytes.streamHeaders.at(1).At32(32));
    EXPECT_EQ(3u, bytes.streamHeaders.at(2).At32(32));
}

TEST_F(StandIn, PassesEveryFieldOfAStreamOn)
{
    AVISTREAMINFOW info = VideoInfo();
    info.dwFlags = AVISTREAMINFO_FORMATCHANGES;
    info.wPriority = 1;
    info.wLanguage = 2;
    info.dwStart = 3;
    info.dwInitialFrames = 4;
    info.dwSuggestedBufferSize = 5000;
    info.dwQuality = 6;
    info.rcFrame = {7, 8, 90, 100};
    PAVIFILE file = Open();
    PAVISTREAM video = Create(file, info, VideoFormat());
    ASSERT_EQ(AVIERR_OK, Write(video, 3, 1, "picture"));

    AVISTREAMINFOW told = {};
    EXPECT_EQ(AVIERR_OK, AVIStreamInfoW(video, &told, sizeof told));
    EXPECT_EQ(info.fccType, told.fccType);
    EXPECT_EQ(info.fccHandler, told.fccHandler);
    EXPECT_EQ(info.dwFlags, told.dwFlags);
    EXPECT_EQ(info.wPriority, told.wPriority);
    EXPECT_EQ(info.wLanguage, told.wLanguage);
    EXPECT_EQ(info.dwScale, told.dwScale);
    EXPECT_EQ(info.dwRate, told.dwRate);
    EXPECT_EQ(info.dwStart, told.dwStart);
    EXPECT_EQ(1u, told.dwLength);
    EXPECT_EQ(info.dwInitialFrames, told.dwInitialFrames);
    EXPECT_EQ(info.dwSuggestedBufferSize, told.dwSuggestedBufferSize);
    EXPECT_EQ(info.dwQuality, told.dwQuality);
    EXPECT_EQ(info.dwSampleSize, told.dwSampleSize);
    EXPECT_TRUE(EqualRect(&info.rcFrame, &told.rcFrame));
    EXPECT_EQ(AVIERR_BADSIZE, AVIStreamInfoW(video, &told, sizeof told - 1));
    EXPECT_EQ(AVIERR_BADPARAM, AVIStreamInfoW(video, nullptr, sizeof told));
    AVIStreamRelease(video);
    AVIFileRelease(file);

    const RiffChunk header = Read().streamHeaders.at(0);
    EXPECT_EQ(0x00010000u, header.At32(8));
    EXPECT_EQ(1u, header.At16(12));
    EXPECT_EQ(2u, header.At16(14));
    EXPECT_EQ(4u, header.At32(16));
    EXPECT_EQ(3u, header.At32(28));
    EXPECT_EQ(5000u, header.At32(36));
    EXPECT_EQ(6u, header.At32(40));
    EXPECT_EQ(7u, header.At16(48));
    EXPECT_EQ(8u, header.At16(50));
    EXPECT_EQ(90u, header.At16(52));
    EXPECT_EQ(100u, header.At16(54));
}

TEST_F(StandIn, TellsOfTheWholeFile)
{
    PAVIFILE file = Open();
    PAVISTREAM video = CreateVideo(file);
    PAVISTREAM audio = CreateAudio(file);
    ASSERT_EQ(AVIERR_OK, Write(video, 0, 1, "picture"));
    ASSERT_EQ(AVIERR_OK, Write(video, 1, 1, "picture"));
    AVIFILEINFOW info = {};
    EXPECT_EQ(AVIERR_OK, AVIFileInfoW(file, &info, sizeof info));
    EXPECT_EQ(2u, info.dwStreams);
    EXPECT_EQ(320u, info.dwWidth);
    EXPECT_EQ(240u, info.dwHeight);
    EXPECT_EQ(10000u, info.dwScale);
    EXPECT_EQ(250000u, info.dwRate);
    EXPECT_EQ(2u, info.dwLength);
    EXPECT_EQ(14u, info.dwMaxBytesPerSec);
    EXPECT_EQ(15u, info.dwSuggestedBufferSize);
    EXPECT_EQ(AVIERR_BADSIZE, AVIFileInfoW(file, &info, sizeof info - 1));
    AVIStreamRelease(audio);
    AVIStreamRelease(video);
    AVIFileRelease(file);
}

TEST_F(StandIn, TellsHowMuchWasWritten)
{
    PAVIFILE file = Open();
    PAVISTREAM audio = CreateAudio(file);
    std::vector<unsigned char> block(3200);
    LONG samples = -1;
    LONG bytes = -1;
    EXPECT_EQ(AVIERR_OK,
              AVIStreamWrite(audio, 0, 800, block.data(), 3200, AVIIF_KEYFRAME, &samples, &bytes));
    EXPECT_EQ(800, samples);
    EXPECT_EQ(3200, bytes);
    EXPECT_EQ(AVIERR_UNSUPPORTED,
              AVIStreamWrite(audio, 0, 800, block.data(), 3200, AVIIF_KEYFRAME, &samples, &bytes));
    EXPECT_EQ(0, samples);
    EXPECT_EQ(0, bytes);
    EXPECT_EQ(AVIERR_OK,
              AVIStreamWrite(audio, -1, 800, block.data(), 3200, AVIIF_KEYFRAME, nullptr, nullptr));
    AVIStreamRelease(audio);
    AVIFileRelease(file);
    EXPECT_EQ(1600u, Read().streamHeaders.at(0).At32(32));
}

TEST_F(StandIn, FinishesTheFileWhenAllIsReleasedInWhicheverOrder)
{
    using Release = std::function<void()>;
    for (int order = 0; order < 6; ++order)
    {
        SCOPED_TRACE(order);
        PAVIFILE file = Open();
        PAVISTREAM video = CreateVideo(file);
        PAVISTREAM audio = CreateAudio(file);
        std::vector<Release> releases = {[=] { AVIFileRelease(file); },
                                         [=] { AVIStreamRelease(video); },
                                         [=] { AVIStreamRelease(audio); }};
        std::vector<std::size_t> numbers = {0, 1, 2};
        for (int i = 0; i < order; ++i)
        {
            std::next_permutation(numbers.begin(), numbers.end());
        }
        ASSERT_EQ(AVIERR_OK, Write(video, 0, 1, "picture"));
        ASSERT_EQ(AVIERR_OK, Write(audio, 0, 1, "soun"));
        for (const std::size_t number : numbers)
        {
            releases[number]();
        }
        const AviFileBytes bytes = Read();
        EXPECT_EQ("00dc 01wb ", bytes.Ids());
        EXPECT_EQ(1u, bytes.mainHeader.At32(16));
    }
}

TEST_F(StandIn, AStreamIsWrittenOnAfterItsFileIsReleased)
{
    PAVIFILE file = Open();
    PAVISTREAM video = CreateVideo(file);
    ASSERT_EQ(AVIERR_OK, Write(video, 0, 1, "picture"));
    EXPECT_EQ(1u, AVIFileRelease(file)) << "the stream's reference";
    EXPECT_EQ(AVIERR_OK, Write(video, 1, 1, "another"));
    EXPECT_EQ(0u, AVIStreamRelease(video));
    EXPECT_EQ(2u, Read().mainHeader.At32(16));
}

TEST_F(StandIn, CountsReferences)
{
    PAVIFILE file = Open();
    EXPECT_EQ(2u, AVIFileAddRef(file));
    EXPECT_EQ(1u, AVIFileRelease(file));
    PAVISTREAM video = CreateVideo(file);
    EXPECT_EQ(2u, AVIStreamAddRef(video));
    EXPECT_EQ(1u, AVIStreamRelease(video));
    EXPECT_EQ(AVIERR_OK, Write(video, 0, 1, "picture"));
    EXPECT_EQ(0u, AVIStreamRelease(video));
    EXPECT_EQ(0u, AVIFileRelease(file));
}

TEST_F(StandIn, AnswersToItsInterfacesAndNoOthers)
{
    PAVIFILE file = Open();
    PAVISTREAM video = CreateVideo(file);
    void* found = nullptr;
    EXPECT_EQ(S_OK, file->QueryInterface(IID_IAVIFile, &found));
    EXPECT_EQ(file, found);
    file->Release();
    EXPECT_EQ(S_OK, video->QueryInterface(IID_IAVIStream, &found));
    EXPECT_EQ(video, found);
    video->Release();
    EXPECT_EQ(S_OK, video->QueryInterface(IID_IUnknown, &found));
    video->Release();
    EXPECT_EQ(E_NOINTERFACE, video->QueryInterface(IID_IAVIFile, &found));
    EXPECT_EQ(nullptr, found);
    EXPECT_EQ(E_NOINTERFACE, file->QueryInterface(IID_IAVIStream, &found));
    EXPECT_EQ(E_POINTER, file->QueryInterface(IID_IAVIFile, nullptr));
    AVIStreamRelease(video);
    AVIFileRelease(file);
    EXPECT_EQ(1u, Read().streamHeaders.size()) << "released to the last reference";
}

TEST_F(StandIn, SaysOfAllElseThatItIsNotThere)
{
    PAVIFILE file = Open();
    PAVISTREAM video = CreateVideo(file);
    PAVISTREAM stream = video;
    LONG number = 0;
    EXPECT_EQ(AVIERR_UNSUPPORTED, file->GetStream(&stream, streamtypeVIDEO, 0));
    EXPECT_EQ(nullptr, stream);
    EXPECT_EQ(AVIERR_UNSUPPORTED, file->WriteData(0, nullptr, 0));
    EXPECT_EQ(AVIERR_UNSUPPORTED, file->ReadData(0, nullptr, &number));
    EXPECT_EQ(AVIERR_UNSUPPORTED, file->EndRecord());
    EXPECT_EQ(AVIERR_UNSUPPORTED, file->DeleteStream(streamtypeVIDEO, 0));
    EXPECT_EQ(AVIERR_UNSUPPORTED, video->Create(0, 0));
    EXPECT_EQ(-1, video->FindSample(0, FIND_NEXT));
    EXPECT_EQ(AVIERR_UNSUPPORTED, video->ReadFormat(0, nullptr, &number));
    EXPECT_EQ(AVIERR_UNSUPPORTED, video->Read(0, 1, nullptr, 0, &number, nullptr));
    EXPECT_EQ(AVIERR_UNSUPPORTED, video->Delete(0, 1));
    EXPECT_EQ(AVIERR_UNSUPPORTED, video->ReadData(0, nullptr, &number));
    EXPECT_EQ(AVIERR_UNSUPPORTED, video->WriteData(0, nullptr, 0));
    EXPECT_EQ(AVIERR_UNSUPPORTED, video->SetInfo(nullptr, 0));
    AVIStreamRelease(video);
    AVIFileRelease(file);
}

TEST_F(StandIn, OpensNewFilesForWritingOnly)
{
    PAVIFILE file = nullptr;
    const wchar_t* const name = path_.c_str();
    EXPECT_EQ(AVIERR_UNSUPPORTED, AVIFileOpenW(&file, name, OF_READ, nullptr));
    EXPECT_EQ(AVIERR_UNSUPPORTED, AVIFileOpenW(&file, name, OF_WRITE, nullptr));
    EXPECT_EQ(AVIERR_UNSUPPORTED, AVIFileOpenW(&file, name, OF_CREATE, nullptr));
    EXPECT_EQ(nullptr, file);
    EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(StandIn, ReplacesAnExistingFile)
{
    std::ofstream(path_) << std::string(100000, 'x');
    AVIFileRelease(Open());
    EXPECT_EQ(2048u + 8, std::filesystem::file_size(path_));
    EXPECT_EQ(0u, Read().streamHeaders.size());
}

TEST_F(StandIn, OpensByNamesInTheAnsiCodePageAndOutsideOfIt)
{
    PAVIFILE file = nullptr;
    ASSERT_EQ(AVIERR_OK, AVIFileOpenA(&file, Ansi(folder_ / L"\u00E9.avi").c_str(),
                                      OF_WRITE | OF_CREATE, nullptr));
    AVIFileRelease(file);
    EXPECT_TRUE(std::filesystem::exists(folder_ / L"\u00E9.avi"));
    ASSERT_EQ(AVIERR_OK, AVIFileOpenW(&file, (folder_ / L"\u6444.avi").c_str(),
                                      OF_WRITE | OF_CREATE, nullptr));
    AVIFileRelease(file);
    EXPECT_TRUE(std::filesystem::exists(folder_ / L"\u6444.avi"));
}

TEST_F(StandIn, ReportsAFileThatCannotBeMade)
{
    PAVIFILE file = nullptr;
    EXPECT_EQ(AVIERR_FILEOPEN, AVIFileOpenW(&file, (folder_ / "none" / "x.avi").c_str(),
                                            OF_WRITE | OF_CREATE, nullptr));
    EXPECT_EQ(nullptr, file);
    PAVIFILE first = Open();
    EXPECT_EQ(AVIERR_FILEOPEN, AVIFileOpenW(&file, path_.c_str(), OF_WRITE | OF_CREATE, nullptr))
        << "somebody is writing it";
    AVIFileRelease(first);
}

TEST_F(StandIn, RefusesWhatIsNull)
{
    PAVIFILE file = nullptr;
    EXPECT_EQ(AVIERR_BADPARAM, AVIFileOpenW(nullptr, path_.c_str(), OF_WRITE | OF_CREATE, nullptr));
    EXPECT_EQ(AVIERR_BADPARAM, AVIFileOpenW(&file, nullptr, OF_WRITE | OF_CREATE, nullptr));
    EXPECT_EQ(AVIERR_BADPARAM, AVIFileOpenA(&file, nullptr, OF_WRITE | OF_CREATE, nullptr));
    EXPECT_EQ(0u, AVIFileAddRef(nullptr));
    EXPECT_EQ(0u, AVIFileRelease(nullptr));
    EXPECT_EQ(0u, AVIStreamAddRef(nullptr));
    EXPECT_EQ(0u, AVIStreamRelease(nullptr));
    AVISTREAMINFOW info = VideoInfo();
    AVIFILEINFOW fileInfo = {};
    PAVISTREAM stream = nullptr;
    EXPECT_EQ(AVIERR_BADHANDLE, AVIFileCreateStreamW(nullptr, &stream, &info));
    EXPECT_EQ(AVIERR_BADHANDLE, AVIFileInfoW(nullptr, &fileInfo, sizeof fileInfo));
    EXPECT_EQ(AVIERR_BADHANDLE, AVIStreamInfoW(nullptr, &info, sizeof info));
    EXPECT_EQ(AVIERR_BADHANDLE, AVIStreamSetFormat(nullptr, 0, &info, 4));
    EXPECT_EQ(AVIERR_BADHANDLE, Write(nullptr, 0, 1, "x"));
    file = Open();
    EXPECT_EQ(AVIERR_BADPARAM, AVIFileCreateStreamW(file, nullptr, &info));
    EXPECT_EQ(AVIERR_BADPARAM, AVIFileCreateStreamW(file, &stream, nullptr));
    EXPECT_EQ(AVIERR_BADPARAM, AVIFileInfoW(file, nullptr, sizeof fileInfo));
    AVIFileRelease(file);
}

TEST_F(StandIn, RefusesAStreamThatItCannotStore)
{
    PAVIFILE file = Open();
    AVISTREAMINFOW info = AudioInfo();
    info.dwRate = 0;
    PAVISTREAM stream = nullptr;
    EXPECT_EQ(AVIERR_BADPARAM, AVIFileCreateStreamW(file, &stream, &info));
    EXPECT_EQ(nullptr, stream);
    info = TextInfo();
    info.fccType = streamtypeMIDI;
    EXPECT_EQ(AVIERR_UNSUPPORTED, AVIFileCreateStreamW(file, &stream, &info));
    EXPECT_EQ(nullptr, stream);
    EXPECT_EQ(0u, AVIFileRelease(file)) << "nothing was left behind that holds it";
}

TEST_F(StandIn, RefusesAFormatThatBeginsLater)
{
    PAVIFILE file = Open();
    PAVISTREAM video = CreateVideo(file);
    BITMAPINFO format = VideoFormat();
    EXPECT_EQ(AVIERR_UNSUPPORTED, AVIStreamSetFormat(video, 1, &format, sizeof format));
    EXPECT_EQ(AVIERR_BADPARAM, AVIStreamSetFormat(video, 0, nullptr, sizeof format));
    AVIStreamRelease(video);
    AVIFileRelease(file);
}

TEST_F(StandIn, TakesWritesFromSeveralThreads)
{
    constexpr int kWrites = 2000;
    PAVIFILE file = Open();
    PAVISTREAM video = CreateVideo(file);
    PAVISTREAM audio = CreateAudio(file);
    const auto writeAll = [](PAVISTREAM stream, const std::string& data)
    {
        for (LONG i = 0; i < kWrites; ++i)
        {
            if (Write(stream, i, 1, data) != AVIERR_OK)
            {
                ADD_FAILURE() << "write " << i;
                return;
            }
        }
    };
    std::thread pictures(writeAll, video, "picture");
    std::thread sound(writeAll, audio, "soun");
    pictures.join();
    sound.join();
    AVIStreamRelease(video);
    AVIStreamRelease(audio);
    AVIFileRelease(file);

    const AviFileBytes bytes = Read();
    EXPECT_EQ(2u * kWrites, bytes.chunks.size());
    EXPECT_TRUE(bytes.IndexMatchesChunks());
    EXPECT_EQ(static_cast<std::uint32_t>(kWrites), bytes.streamHeaders.at(0).At32(32));
    EXPECT_EQ(static_cast<std::uint32_t>(kWrites), bytes.streamHeaders.at(1).At32(32));
}

}  // namespace
