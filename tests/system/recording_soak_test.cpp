// An hour of video, sound and text, recorded as fast as it goes.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "CAviConvert.h"
#include "net/process_resources.h"
#include "record/recording_formats.h"
#include "record/riff_reader.h"
#include "record/test_folder.h"
#include "support/output_capture.h"

namespace
{

using namespace ostrel::test;

constexpr int kSeconds = 3600;
constexpr int kRate = 25;
constexpr int kFrames = kSeconds * kRate;
constexpr int kSamplesPerSecond = 8000;
constexpr int kSamplesPerBlock = kSamplesPerSecond / kRate;
constexpr int kBlockSize = 2 * kSamplesPerBlock;
constexpr __int64 kStart = 1'700'000'000'000;

// Frames of 200 to 711 bytes, of which the first four tell the number.
std::vector<unsigned char> Frame(int number)
{
    std::vector<unsigned char> frame(200 + static_cast<std::size_t>(number) * 7919 % 512,
                                     static_cast<unsigned char>(number));
    for (int i = 0; i < 4; ++i)
    {
        frame[i] = static_cast<unsigned char>(number >> 8 * i);
    }
    return frame;
}

std::vector<unsigned char> Block(int number)
{
    return std::vector<unsigned char>(kBlockSize, static_cast<unsigned char>(number * 31));
}

class RecordingSoak : public testing::Test
{
protected:
    // Writes all that is due in one second, the earliest first.
    void RecordSecond(int second)
    {
        const __int64 end = kStart + 1000LL * (second + 1);
        while (recording.m_F_n_GetNextVideoTime() < end)
        {
            if (recording.m_F_b_n_IsMultipleFPS())
            {
                WriteFrame(true);
                const std::string text = "second " + std::to_string(second);
                recording.m_S_WriteText(CStringW(text.c_str()));
                written += text.size();
            }
            else
            {
                WriteFrame(false);
            }
            std::vector<unsigned char> block = Block(recording.vm_nAudioPos / kSamplesPerBlock);
            recording.m_S_WriteAudio(block.data(), kBlockSize);
            written += kBlockSize;
        }
        EXPECT_EQ(recording.m_F_n_GetNextVideoTime(), end);
        EXPECT_EQ(recording.m_F_n_GetNextAudioTime(), end);
        EXPECT_EQ(recording.m_F_n_GetNextTextTime(), end);
    }

    void WriteFrame(bool isKey)
    {
        std::vector<unsigned char> frame = Frame(recording.vm_nVideoIndex);
        recording.m_S_WriteVideo(frame.data(), static_cast<int>(frame.size()), isKey);
        written += frame.size();
    }

    TestFolder folder;
    BITMAPINFO format = VideoFormat("H264", 352, 288);
    WAVEFORMATEX wave = PcmFormat(1, kSamplesPerSecond, 16);
    std::uint64_t written = 0;
    OutputCapture output;
    CAviConvert recording;
};

// Walks through the file without holding it.
class FileWalk
{
public:
    explicit FileWalk(const std::filesystem::path& path) : m_file(path, std::ios::binary) {}

    // Counts and checks the chunks between the header and the index.
    void Check()
    {
        Skip(12);
        for (std::string id = Id(); !id.empty() && id != "idx1"; id = Id())
        {
            const std::uint32_t size = Number();
            if (id == "LIST")
            {
                const std::string kind = Id();
                if (kind != "movi")
                {
                    Skip(size - 4);
                }
                continue;
            }
            const std::string data = Data(size);
            if (id == "01tx")
            {
                EXPECT_EQ(data, "second " + std::to_string(texts));
                ++texts;
            }
            else if (id == "02wb")
            {
                CheckSound(data);
            }
            else if (id.substr(0, 3) == "00d")
            {
                const std::vector<unsigned char> frame = Frame(frames);
                EXPECT_TRUE(data == std::string(frame.begin(), frame.end())) << "frame " << frames;
                ++frames;
            }
        }
        indexSize = Number();
    }

    int frames = 0;
    int texts = 0;
    std::uint64_t sound = 0;
    std::uint32_t indexSize = 0;

private:
    void CheckSound(const std::string& data)
    {
        for (const char byte : data)
        {
            const auto expected =
                static_cast<unsigned char>(static_cast<int>(sound / kBlockSize) * 31);
            if (static_cast<unsigned char>(byte) != expected)
            {
                ADD_FAILURE() << "another sample at byte " << sound;
                return;
            }
            ++sound;
        }
    }
    std::string Id()
    {
        std::string id(4, '\0');
        m_file.read(&id[0], 4);
        return m_file ? id : std::string();
    }
    std::uint32_t Number()
    {
        const std::string bytes = Id();
        return bytes.empty() ? 0 : Number32(bytes, 0);
    }
    std::string Data(std::uint32_t size)
    {
        std::string data(size, '\0');
        m_file.read(&data[0], size);
        Skip(size % 2);
        return data;
    }
    void Skip(std::uint32_t size) { m_file.seekg(size, std::ios::cur); }

    std::ifstream m_file;
};

TEST_F(RecordingSoak, AnHourKeepsItsTimesAndItsMemory)
{
    ASSERT_TRUE(recording.m_F_n_CreateAviFile((folder / "hour").c_str(), &format, kRate));
    recording.m_S_SetAudioInfo(&wave);
    ASSERT_NE(recording.vm_pAudioStream, nullptr);
    recording.m_S_SetStartTime(kStart);
    const DWORD begin = GetTickCount();
    ProcessResources early = {};
    for (int second = 0; second < kSeconds; ++second)
    {
        RecordSecond(second);
        if (second == kSeconds / 10)
        {
            early = MeasureResources();
        }
    }
    const ProcessResources late = MeasureResources();
    std::printf("recorded in %lu ms\n", GetTickCount() - begin);
    Print("early", early);
    Print("late ", late);

    EXPECT_EQ(recording.m_F_n_GetNextVideoTime(), kStart + 3'600'000);
    EXPECT_EQ(recording.m_F_n_GetNextAudioTime(), kStart + 3'600'000);
    EXPECT_EQ(recording.m_F_n_GetNextTextTime(), kStart + 3'600'000);
    EXPECT_EQ(recording.vm_nVideoIndex, kFrames);
    EXPECT_EQ(recording.vm_nAudioPos, kSeconds * kSamplesPerSecond);
    EXPECT_EQ(recording.vm_nTextIndex, kSeconds);
    EXPECT_EQ(recording.m_F_n_GetWriteSzie(), written);
    EXPECT_EQ(late.handles, early.handles);
    // The interface keeps the index, of 16 bytes for each chunk, in memory that may be twice as
    // large as needed. There is nothing else that may grow.
    constexpr std::size_t kIndexSize = 2 * 16 * (2 * kFrames + kSeconds);
    EXPECT_LE(late.heapBytes, early.heapBytes + kIndexSize + 64 * 1024);

    recording.m_S_CloseAviFile();
    EXPECT_TRUE(output.Texts().empty());
    EXPECT_LE(MeasureResources().heapBytes, early.heapBytes);
    const std::filesystem::path file = folder / "hour.avi";
    EXPECT_LT(std::filesystem::file_size(file), 2ULL << 30);
    FileWalk walk(file);
    walk.Check();
    EXPECT_EQ(walk.frames, kFrames);
    EXPECT_EQ(walk.texts, kSeconds);
    EXPECT_EQ(walk.sound, 2ULL * kSeconds * kSamplesPerSecond);
    EXPECT_EQ(walk.indexSize % 16, 0U);
    EXPECT_GE(walk.indexSize / 16, static_cast<unsigned>(kFrames + kSeconds));
    // The last of the subtitles.
    const std::string subtitles = ReadFile(folder / "hour.srt");
    const std::string last = Utf16(L"3600\n00:59:59,000-->00:59:59,999\nsecond 3599\n\n");
    EXPECT_TRUE(subtitles.size() > last.size() &&
                subtitles.compare(subtitles.size() - last.size(), last.size(), last) == 0);
}

}  // namespace
