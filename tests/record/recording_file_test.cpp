// What stands in the files that a recorder has written. Run with each implementation of the AVI
// interface there is.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "CAviConvert.h"
#include "net/process_resources.h"
#include "record/recording_formats.h"
#include "record/riff_reader.h"
#include "record/test_folder.h"
#include "support/import_patch.h"

namespace
{

using namespace ostrel::test;

std::string Bytes(int length, int seed)
{
    std::string bytes(static_cast<std::size_t>(length), '\0');
    for (char& byte : bytes)
    {
        seed = seed * 1103515245 + 12345;
        byte = static_cast<char>(seed >> 16);
    }
    return bytes;
}

unsigned char* Data(std::string& bytes)
{
    return reinterpret_cast<unsigned char*>(&bytes[0]);
}

class RecordingFile : public testing::Test
{
protected:
    bool Open(int rate = 25)
    {
        return recording->m_F_n_CreateAviFile((folder / "rec").c_str(), &format, rate);
    }
    void WriteVideo(std::string frame, bool isKey)
    {
        recording->m_S_WriteVideo(Data(frame), static_cast<int>(frame.size()), isKey);
    }
    AviReader Close()
    {
        recording->m_S_CloseAviFile();
        return AviReader(ReadFile(folder / "rec.avi"));
    }

    TestFolder folder;
    BITMAPINFO format = VideoFormat("H264", 704, 576);
    std::unique_ptr<CAviConvert> recording = std::make_unique<CAviConvert>();
};

// ---- Scarce memory ------------------------------------------------------------------------------

// While it lives, memory is refused to the library on this thread after so many more blocks. The
// standard library may be a module of its own, which allocates for it.
class ScarceMemory
{
public:
    explicit ScarceMemory(int blocks)
    {
        if (GetModuleHandleW(kStandardLibrary) != nullptr)
        {
            vm_standardLibrary.emplace("malloc", &Allocate, kStandardLibrary);
        }
        vs_nThread = GetCurrentThreadId();
        vs_nRefused = 0;
        vs_nBlocks = blocks;
    }
    ~ScarceMemory() { vs_nThread = 0; }
    ScarceMemory(const ScarceMemory&) = delete;
    ScarceMemory& operator=(const ScarceMemory&) = delete;

    int Refused() const { return vs_nRefused; }

private:
    using Malloc = ImportPatch<void*(std::size_t)>;

    static void* Allocate(std::size_t size)
    {
        if (vs_nThread != GetCurrentThreadId() || vs_nBlocks-- > 0)
        {
            return std::malloc(size);
        }
        ++vs_nRefused;
        return nullptr;
    }

    static constexpr const wchar_t* kStandardLibrary = L"libstdc++-6.dll";
    static inline std::atomic<DWORD> vs_nThread = 0;
    static inline std::atomic<int> vs_nBlocks = 0;
    static inline std::atomic<int> vs_nRefused = 0;

    Malloc vm_library{"malloc", &Allocate};
    std::optional<Malloc> vm_standardLibrary;
};

TEST_F(RecordingFile, MemoryThatRunsOutWhileARecordingIsOpenedRaisesNothing)
{
    int failures = 0;
    int refused = 1;
    for (int blocks = 0; refused > 0 && blocks < 1000; ++blocks)
    {
        SCOPED_TRACE(blocks);
        CStringW name((folder / "rec").c_str());
        bool isOpen = false;
        bool hasThrown = false;
        {
            const ScarceMemory memory(blocks);
            try
            {
                isOpen = recording->m_F_n_CreateAviFile(std::move(name), &format, 25);
            }
            catch (...)
            {
                hasThrown = true;
            }
            refused = memory.Refused();
        }
        ASSERT_FALSE(hasThrown);
        EXPECT_EQ(recording->m_F_b_Create(), isOpen);
        EXPECT_EQ(recording->m_F_s_GetFileName(), isOpen ? (folder / "rec.avi").c_str() : L"");
        EXPECT_TRUE(isOpen || recording->vm_cSrtFile.m_F_b_IsOpen() == 0);
        failures += isOpen ? 0 : 1;
        recording->m_S_CloseAviFile();
    }
    EXPECT_EQ(refused, 0) << "opened at last";
    EXPECT_GE(failures, 1) << "the name could not be made";
    EXPECT_EQ(ReadFile(folder / "rec.srt"), "\xFF\xFE");
}

// Audio, which needs an interface that takes more than one write of it.
class RecordingFileWithAudio : public RecordingFile
{
protected:
    void WriteAudio(std::string audio)
    {
        recording->m_S_WriteAudio(Data(audio), static_cast<int>(audio.size()));
    }
    static std::string Joined(const std::vector<std::string>& parts)
    {
        std::string all;
        for (const std::string& part : parts)
        {
            all += part;
        }
        return all;
    }

    WAVEFORMATEX wave = PcmFormat(2, 8000, 16);
};

TEST_F(RecordingFile, HoldsTheHeadersOfVideoAndText)
{
    ASSERT_TRUE(Open(30));
    WriteVideo("frame", true);
    recording->m_S_WriteText(L"text");
    const AviReader file = Close();
    ASSERT_EQ(file.streams.size(), 2U);
    const AviStreamChunks& video = file.streams[0];
    EXPECT_EQ(video.Type(), "vids");
    EXPECT_EQ(video.Handler(), "H264");
    EXPECT_EQ(video.Scale(), 10000U);
    EXPECT_EQ(video.Rate(), 300000U);
    EXPECT_EQ(video.Start(), 0U);
    EXPECT_EQ(video.Length(), 1U);
    EXPECT_EQ(video.SampleSize(), 0U);
    EXPECT_EQ(video.Frame(), (std::vector<std::int16_t>{0, 0, 704, 576}));
    EXPECT_EQ(video.format, std::string(reinterpret_cast<const char*>(&format), 44));
    const AviStreamChunks& text = file.streams[1];
    EXPECT_EQ(text.Type(), "txts");
    EXPECT_EQ(text.Handler(), "DRAW");
    EXPECT_EQ(text.Scale(), 1U);
    EXPECT_EQ(text.Rate(), 1U);
    EXPECT_EQ(text.Start(), 0U);
    EXPECT_EQ(text.Length(), 1U);
    EXPECT_EQ(text.SampleSize(), 0U);
    EXPECT_EQ(text.Frame(), (std::vector<std::int16_t>{0, 0, 704, 576}));
    EXPECT_EQ(text.format, std::string("\4\0\0\0", 4));
}

TEST_F(RecordingFile, HoldsFramesAndTextsUnchangedWithAnIndexThatLeadsToThem)
{
    ASSERT_TRUE(Open());
    std::vector<std::string> frames;
    std::vector<std::string> texts;
    for (int i = 0; i < 100; ++i)
    {
        frames.push_back(Bytes(1 + i * 37, i));
        WriteVideo(frames.back(), i % 10 == 0);
        if (i % 25 == 0)
        {
            texts.push_back("second " + std::to_string(i / 25));
            recording->m_S_WriteText(CStringW(texts.back().c_str()));
        }
    }
    const AviReader file = Close();
    EXPECT_TRUE(file.DataOf(0) == frames);
    EXPECT_EQ(file.DataOf(1), texts);
    EXPECT_EQ(file.streams[0].Length(), 100U);
    EXPECT_EQ(file.streams[1].Length(), 4U);
    const std::vector<AviIndexEntry> index = file.IndexOf(0);
    ASSERT_EQ(index.size(), 100U);
    for (int i = 0; i < 100; ++i)
    {
        EXPECT_TRUE(file.DataAt(index[i]) == frames[i]) << i;
        EXPECT_EQ((index[i].flags & 0x10) != 0, i % 10 == 0) << "key frame " << i;
    }
    const std::vector<AviIndexEntry> textIndex = file.IndexOf(1);
    ASSERT_EQ(textIndex.size(), 4U);
    for (int i = 0; i < 4; ++i)
    {
        EXPECT_EQ(file.DataAt(textIndex[i]), texts[i]);
        EXPECT_NE(textIndex[i].flags & 0x10, 0U);
    }
}

TEST_F(RecordingFile, LeavesPlacesForDroppedFrames)
{
    ASSERT_TRUE(Open());
    WriteVideo("first", true);
    recording->m_S_WriteVideo(nullptr, 0, false);
    recording->m_S_WriteVideo(nullptr, 0, false);
    WriteVideo("fourth", false);
    const AviReader file = Close();
    EXPECT_EQ(file.streams[0].Length(), 4U);
    EXPECT_EQ(file.DataOf(0), (std::vector<std::string>{"first", "", "", "fourth"}));
    EXPECT_EQ(file.IndexOf(0).size(), 4U);
}

TEST_F(RecordingFile, HoldsTextInTheAnsiCodePageAndAsUtf16)
{
    ASSERT_TRUE(Open());
    WriteVideo("frame", true);
    recording->m_S_WriteText(L"Caf\u00e9 100 %s");
    recording->m_S_WriteText(L"t\u00fcr");
    const AviReader file = Close();
    EXPECT_EQ(file.DataOf(1), (std::vector<std::string>{"Caf\xE9 100 %s", "t\xFCr"}));
    EXPECT_EQ(ReadFile(folder / "rec.srt"),
              "\xFF\xFE" + Utf16(L"1\n00:00:00,000-->00:00:00,999\nCaf\u00e9 100 %s\n\n"
                                 L"2\n00:00:01,000-->00:00:01,999\nt\u00fcr\n\n"));
}

TEST_F(RecordingFile, WithNothingWrittenIsComplete)
{
    ASSERT_TRUE(Open());
    const AviReader file = Close();
    EXPECT_EQ(file.streams.size(), 2U);
    EXPECT_TRUE(file.chunks.empty());
    EXPECT_EQ(ReadFile(folder / "rec.srt"), "\xFF\xFE");
}

TEST_F(RecordingFile, OverwritesAnOlderOne)
{
    std::ofstream(folder / "rec.avi") << std::string(100000, 'x');
    ASSERT_TRUE(Open());
    WriteVideo("frame", true);
    const AviReader file = Close();
    EXPECT_EQ(file.DataOf(0), std::vector<std::string>{"frame"});
}

TEST_F(RecordingFile, IsClosedByTheDestructor)
{
    ASSERT_TRUE(Open());
    WriteVideo("frame", true);
    EXPECT_EQ(DeleteFileW((folder / "rec.avi").c_str()), FALSE) << "it is open";
    recording.reset();
    EXPECT_EQ(AviReader(ReadFile(folder / "rec.avi")).DataOf(0), std::vector<std::string>{"frame"});
    EXPECT_NE(DeleteFileW((folder / "rec.avi").c_str()), FALSE);
    EXPECT_NE(DeleteFileW((folder / "rec.srt").c_str()), FALSE);
}

TEST_F(RecordingFile, IsFollowedByAnotherFromTheSameRecorder)
{
    ASSERT_TRUE(Open());
    WriteVideo("one", true);
    ASSERT_TRUE(recording->m_F_n_CreateAviFile((folder / "two.avi").c_str(), &format, 10));
    WriteVideo("two", true);
    recording->m_S_CloseAviFile();
    EXPECT_EQ(AviReader(ReadFile(folder / "rec.avi")).DataOf(0), std::vector<std::string>{"one"});
    const AviReader second(ReadFile(folder / "two.avi"));
    EXPECT_EQ(second.DataOf(0), std::vector<std::string>{"two"});
    EXPECT_EQ(second.streams[0].Rate(), 100000U);
}

TEST_F(RecordingFile, IsWrittenBesideAnotherOfASecondRecorder)
{
    CAviConvert other;
    ASSERT_TRUE(Open());
    ASSERT_TRUE(other.m_F_n_CreateAviFile((folder / "other").c_str(), &format, 25));
    std::string frame = "other";
    WriteVideo("mine", true);
    other.m_S_WriteVideo(Data(frame), 5, true);
    WriteVideo("mine too", false);
    other.m_S_CloseAviFile();
    EXPECT_EQ(Close().DataOf(0), (std::vector<std::string>{"mine", "mine too"}));
    EXPECT_EQ(AviReader(ReadFile(folder / "other.avi")).DataOf(0),
              std::vector<std::string>{"other"});
}

TEST_F(RecordingFile, CannotBeOpenedWhereThereIsNoFolderOrAFolderHasTheName)
{
    EXPECT_FALSE(recording->m_F_n_CreateAviFile((folder / "none\\rec").c_str(), &format, 25));
    EXPECT_TRUE(recording->m_F_s_GetFileName().IsEmpty());
    std::filesystem::create_directory(folder / "rec.avi");
    EXPECT_FALSE(Open());
    EXPECT_TRUE(recording->m_F_s_GetFileName().IsEmpty());
    EXPECT_FALSE(recording->m_F_b_Create());
    EXPECT_FALSE(std::filesystem::exists(folder / "rec.srt"));
}

TEST_F(RecordingFile, WithoutANameIsItsExtensionAlone)
{
    // The name is then ".avi", in the current folder; the file is the caller's to have.
    const std::filesystem::path before = std::filesystem::current_path();
    const std::filesystem::path inside = (folder / "none").parent_path();
    std::filesystem::current_path(inside);
    EXPECT_TRUE(recording->m_F_n_CreateAviFile(L"", &format, 25));
    EXPECT_EQ(recording->m_F_s_GetFileName(), L".avi");
    recording->m_S_CloseAviFile();
    std::filesystem::current_path(before);
    EXPECT_TRUE(std::filesystem::exists(inside / ".avi"));
    EXPECT_TRUE(std::filesystem::exists(inside / ".srt"));
}

TEST_F(RecordingFile, OfTheHighestRateAndAnUprightPictureOfNegativeHeightIsWritten)
{
    format.bmiHeader.biHeight = -576;
    ASSERT_TRUE(Open(INT_MAX));
    WriteVideo("frame", true);
    EXPECT_EQ(Close().streams[0].Frame(), (std::vector<std::int16_t>{0, 0, 704, -576}));
}

TEST_F(RecordingFile, WhoseRateBecomesNothingIn32BitsIsOpenOrRefused)
{
    // 2^28 * 10000 is a multiple of 2^32; a platform may take a stream of that rate, or not.
    const bool isOpen = Open(1 << 28);
    EXPECT_EQ(recording->m_F_b_Create(), isOpen);
    WriteVideo("frame", true);
    recording->m_S_WriteText(L"text");
    recording->m_S_CloseAviFile();
    EXPECT_EQ(recording->vm_nVideoIndex, isOpen ? 1 : 0);
    EXPECT_NE(DeleteFileW((folder / "rec.avi").c_str()), FALSE) << "nothing holds it";
}

TEST_F(RecordingFile, WrittenManyTimesLeavesNothingBehind)
{
    const auto record = [&]
    {
        ASSERT_TRUE(Open());
        for (int i = 0; i < 20; ++i)
        {
            WriteVideo(Bytes(2000, i), i == 0);
        }
        recording->m_S_WriteText(L"text");
        recording->m_S_CloseAviFile();
    };
    record();
    record();
    const ProcessResources before = MeasureResources();
    for (int i = 0; i < 50; ++i)
    {
        record();
    }
    ExpectNothingLeftBehind(before, 0, 16 * 1024);
}

TEST_F(RecordingFile, ThatCannotBeOpenedLeavesNothingBehind)
{
    const auto fail = [&]
    {
        EXPECT_FALSE(recording->m_F_n_CreateAviFile((folder / "none\\rec").c_str(), &format, 25));
        EXPECT_FALSE(Open(0));
    };
    fail();
    const ProcessResources before = MeasureResources();
    for (int i = 0; i < 50; ++i)
    {
        fail();
    }
    ExpectNothingLeftBehind(before, 0, 16 * 1024);
}

// ---- With audio ----

TEST_F(RecordingFileWithAudio, HoldsTheHeaderOfTheAudio)
{
    ASSERT_TRUE(Open());
    recording->m_S_SetAudioInfo(&wave);
    WriteVideo("frame", true);
    WriteAudio(Bytes(3200, 1));
    const AviReader file = Close();
    ASSERT_EQ(file.streams.size(), 3U);
    const AviStreamChunks& audio = file.streams[2];
    EXPECT_EQ(audio.Type(), "auds");
    EXPECT_EQ(audio.Handler(), std::string(4, '\0'));
    EXPECT_EQ(audio.Scale(), 4U);
    EXPECT_EQ(audio.Rate(), 32000U);
    EXPECT_EQ(audio.Start(), 0U);
    EXPECT_EQ(audio.Length(), 800U);
    EXPECT_EQ(audio.Quality(), 10000U);
    EXPECT_EQ(audio.SampleSize(), 4U);
    EXPECT_EQ(audio.Frame(), (std::vector<std::int16_t>{0, 0, 0, 0}));
    EXPECT_EQ(audio.format, std::string(reinterpret_cast<const char*>(&wave), 18));
}

TEST_F(RecordingFileWithAudio, HoldsTheSamplesUnchangedAndInOrder)
{
    ASSERT_TRUE(Open());
    recording->m_S_SetAudioInfo(&wave);
    recording->m_S_SetStartTime(0);
    std::string audio;
    std::vector<std::string> frames;
    for (int i = 0; i < 50; ++i)
    {
        frames.push_back(Bytes(501, i));
        WriteVideo(frames.back(), i == 0);
        const std::string block = Bytes(1280, i);
        audio += block;
        WriteAudio(block);
        if (i % 25 == 0)
        {
            recording->m_S_WriteText(L"text");
        }
    }
    EXPECT_EQ(recording->vm_nAudioPos, 50 * 320);
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), 2000);
    EXPECT_EQ(recording->m_F_n_GetNextVideoTime(), 2000);
    EXPECT_EQ(recording->m_F_n_GetNextTextTime(), 2000);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 50U * 501 + 50 * 1280 + 2 * 4);
    const AviReader file = Close();
    EXPECT_TRUE(file.DataOf(0) == frames);
    EXPECT_EQ(file.DataOf(1), (std::vector<std::string>{"text", "text"}));
    EXPECT_TRUE(Joined(file.DataOf(2)) == audio);
    EXPECT_EQ(file.streams[2].Length(), 50U * 320);
    std::string indexed;
    for (const AviIndexEntry& entry : file.IndexOf(2))
    {
        indexed += file.DataAt(entry);
    }
    EXPECT_TRUE(indexed == audio);
}

TEST_F(RecordingFileWithAudio, OfAFormatWithoutBlockAlignOrSampleRateHoldsNoAudio)
{
    for (WAVEFORMATEX broken : {wave, wave, wave})
    {
        static int variant = 0;
        ++variant;
        broken.nBlockAlign = variant == 2 ? broken.nBlockAlign : 0;
        broken.nSamplesPerSec = variant == 1 ? broken.nSamplesPerSec : 0;
        broken.nAvgBytesPerSec = variant == 1 ? broken.nAvgBytesPerSec : 0;
        ASSERT_TRUE(Open());
        recording->m_S_SetAudioInfo(&broken);
        WriteVideo("frame", true);
        WriteAudio("audio");
        recording->m_S_CalNextAudioTime(8000);
        recording->m_S_CloseAviFile();
        const std::string bytes = ReadFile(folder / "rec.avi");
        EXPECT_EQ(bytes.find("02wb"), std::string::npos) << variant;
        EXPECT_EQ(bytes.find("audio"), std::string::npos) << variant;
    }
}

TEST_F(RecordingFileWithAudio, WrittenManyTimesLeavesNothingBehind)
{
    const auto record = [&]
    {
        ASSERT_TRUE(Open());
        recording->m_S_SetAudioInfo(&wave);
        for (int i = 0; i < 20; ++i)
        {
            WriteVideo(Bytes(2000, i), i == 0);
            WriteAudio(Bytes(1280, i));
        }
        recording->m_S_WriteText(L"text");
        recording->m_S_CloseAviFile();
    };
    record();
    record();
    const ProcessResources before = MeasureResources();
    for (int i = 0; i < 50; ++i)
    {
        record();
    }
    ExpectNothingLeftBehind(before, 0, 16 * 1024);
}

}  // namespace
