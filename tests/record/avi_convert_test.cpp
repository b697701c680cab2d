// What the recorder asks of the AVI interface, to the letter, and what it makes of the answers.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "CAviConvert.h"
#include "net/process_resources.h"
#include "record/fake_avi.h"
#include "record/recording_formats.h"
#include "record/test_folder.h"
#include "support/output_capture.h"

namespace
{

using namespace ostrel::test;
using Events = std::vector<std::string>;
using Lines = std::vector<std::string>;

class AviConvert : public testing::Test
{
protected:
    CStringW Name() const { return (folder / "rec").c_str(); }
    bool Open(int rate = 25) { return recording->m_F_n_CreateAviFile(Name(), &format, rate); }
    void OpenWithAudio()
    {
        ASSERT_TRUE(Open());
        recording->m_S_SetAudioInfo(&wave);
        ASSERT_NE(recording->vm_pAudioStream, nullptr);
    }
    // `bytes` of audio, each of another value than its neighbours.
    static std::vector<unsigned char> Audio(int bytes)
    {
        std::vector<unsigned char> audio(bytes);
        for (int i = 0; i < bytes; ++i)
        {
            audio[i] = static_cast<unsigned char>(i * 7 + i / 256);
        }
        return audio;
    }
    std::string Subtitles() const { return ReadFile(folder / "rec.srt"); }

    TestFolder folder;
    FakeAvi avi;
    AviLog& log = avi.log;
    BITMAPINFO format = VideoFormat("H264", 704, 576);
    WAVEFORMATEX wave = PcmFormat(2, 8000, 16);
    unsigned char frame[5] = {1, 2, 3, 4, 5};
    std::unique_ptr<CAviConvert> recording = std::make_unique<CAviConvert>();
};

// ---- The object ----

TEST_F(AviConvert, BeginsClosedAndEmpty)
{
    EXPECT_EQ(recording->vm_pAviFile, nullptr);
    EXPECT_EQ(recording->vm_pVideoStream, nullptr);
    EXPECT_EQ(recording->vm_pAudioStream, nullptr);
    EXPECT_EQ(recording->vm_pTextStream, nullptr);
    EXPECT_EQ(recording->vm_nWriteSize, 0U);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 0U);
    EXPECT_TRUE(recording->m_F_s_GetFileName().IsEmpty());
    EXPECT_FALSE(recording->m_F_b_Create());
    EXPECT_EQ(recording->vm_cSrtFile.m_F_b_IsOpen(), 0);
    EXPECT_FALSE(recording->vm_cSrtFile.vm_bCanWrite);
}

TEST_F(AviConvert, HoldsItsFieldsInTheStatedOrderAndSizes)
{
    CAviConvert& r = *recording;
    const char* const addresses[] = {reinterpret_cast<char*>(&r.vm_pAviFile),
                                     reinterpret_cast<char*>(&r.vm_pVideoStream),
                                     reinterpret_cast<char*>(&r.vm_nVideoIndex),
                                     reinterpret_cast<char*>(&r.vm_pAudioStream),
                                     reinterpret_cast<char*>(&r.vm_nAudioPos),
                                     reinterpret_cast<char*>(&r.vm_stWaveFormat),
                                     reinterpret_cast<char*>(&r.vm_pTextStream),
                                     reinterpret_cast<char*>(&r.vm_nTextIndex),
                                     reinterpret_cast<char*>(&r.vm_nNextVideoTime),
                                     reinterpret_cast<char*>(&r.vm_nNextAudioTime),
                                     reinterpret_cast<char*>(&r.vm_nNextTextTime),
                                     reinterpret_cast<char*>(&r.vm_nWriteSize),
                                     reinterpret_cast<char*>(&r.vm_nFrameMS),
                                     reinterpret_cast<char*>(&r.vm_nFrameMSRem),
                                     reinterpret_cast<char*>(&r.vm_nFPS),
                                     reinterpret_cast<char*>(&r.vm_sFileName),
                                     reinterpret_cast<char*>(&r.vm_cSrtFile)};
    EXPECT_EQ(addresses[0], reinterpret_cast<char*>(&r)) << "no base, no virtual operations";
    for (std::size_t i = 1; i < std::size(addresses); ++i)
    {
        EXPECT_LT(addresses[i - 1], addresses[i]) << i;
    }
    static_assert(std::is_same_v<decltype(r.vm_nVideoIndex), int>);
    static_assert(std::is_same_v<decltype(r.vm_nAudioPos), int>);
    static_assert(std::is_same_v<decltype(r.vm_nTextIndex), int>);
    static_assert(std::is_same_v<decltype(r.vm_nWriteSize), unsigned int>);
    static_assert(std::is_same_v<decltype(r.vm_nNextVideoTime), __int64>);
    static_assert(sizeof(r.vm_stWaveFormat) == 18);
}

TEST_F(AviConvert, InitialisesTheInterfaceOnceAndLeavesItAfterClosing)
{
    EXPECT_EQ(log.initialised, 1);
    ASSERT_TRUE(Open());
    log.events.clear();
    recording.reset();
    EXPECT_EQ(log.initialised, 0);
    EXPECT_EQ(log.events, (Events{"release vids", "release txts", "release file", "exit"}));
    EXPECT_EQ(log.liveObjects, 0);
}

TEST_F(AviConvert, ClosesASubtitleFileThatTheCallerOpened)
{
    ASSERT_NE(
        recording->vm_cSrtFile.m_F_n_Open(CStringW((folder / "own.srt").c_str()), emDef_Create), 0);
    recording.reset();
    EXPECT_NE(DeleteFileW((folder / "own.srt").c_str()), FALSE);
}

// ---- Opening ----

TEST_F(AviConvert, OpensTheFileThenVideoThenText)
{
    ASSERT_TRUE(Open());
    EXPECT_EQ(log.events, (Events{"open", "make vids", "make txts"}));
    EXPECT_EQ(log.names, (std::vector<std::wstring>{(folder / "rec.avi").wstring()}));
    EXPECT_EQ(log.modes, (std::vector<UINT>{4097}));
    EXPECT_TRUE(recording->m_F_b_Create());
    EXPECT_EQ(recording->m_F_s_GetFileName(), (folder / "rec.avi").c_str());
}

TEST_F(AviConvert, KeepsANameThatHasTheExtensionInCapitals)
{
    ASSERT_TRUE(recording->m_F_n_CreateAviFile((folder / "REC.AVI").c_str(), &format, 25));
    EXPECT_EQ(recording->m_F_s_GetFileName(), (folder / "REC.AVI").c_str());
    recording->m_S_CloseAviFile();
    EXPECT_TRUE(std::filesystem::exists(folder / "REC.srt"));
    EXPECT_EQ(folder.Count(), 1);
}

TEST_F(AviConvert, DescribesTheVideoStream)
{
    ASSERT_TRUE(Open(30));
    AVISTREAMINFOW expected = {};
    expected.fccType = kVideo;
    expected.fccHandler = mmioFOURCC('H', '2', '6', '4');
    expected.dwScale = 10000;
    expected.dwRate = 300000;
    expected.rcFrame = {0, 0, 704, 576};
    EXPECT_EQ(memcmp(&log.headers[kVideo], &expected, sizeof(expected)), 0);
    EXPECT_EQ(log.formats[kVideo], std::string(reinterpret_cast<char*>(&format), 44));
}

TEST_F(AviConvert, DescribesTheTextStream)
{
    ASSERT_TRUE(Open());
    AVISTREAMINFOW expected = {};
    expected.fccType = kText;
    expected.fccHandler = mmioFOURCC('D', 'R', 'A', 'W');
    expected.dwScale = 1;
    expected.dwRate = 1;
    expected.rcFrame = {0, 0, 704, 576};
    EXPECT_EQ(memcmp(&log.headers[kText], &expected, sizeof(expected)), 0);
    EXPECT_EQ(log.formats[kText], std::string("\4\0\0\0", 4));
}

TEST_F(AviConvert, SplitsTheSecondByTheRate)
{
    ASSERT_TRUE(Open(30));
    EXPECT_EQ(recording->vm_nFPS, 30);
    EXPECT_EQ(recording->vm_nFrameMS, 33);
    EXPECT_EQ(recording->vm_nFrameMSRem, 10);
    ASSERT_TRUE(Open(25));
    EXPECT_EQ(recording->vm_nFrameMS, 40);
    EXPECT_EQ(recording->vm_nFrameMSRem, 0);
}

TEST_F(AviConvert, BeginsTheSubtitleFileWithAByteOrderMark)
{
    ASSERT_TRUE(Open());
    recording->m_S_CloseAviFile();
    EXPECT_EQ(Subtitles(), "\xFF\xFE");
}

TEST_F(AviConvert, LetsOthersReadTheSubtitleFileButNotWriteIt)
{
    ASSERT_TRUE(Open());
    const std::wstring name = (folder / "rec.srt").wstring();
    const HANDLE reader =
        CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                    OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(reader, INVALID_HANDLE_VALUE);
    CloseHandle(reader);
    EXPECT_EQ(CreateFileW(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                          OPEN_EXISTING, 0, nullptr),
              INVALID_HANDLE_VALUE);
}

TEST_F(AviConvert, OverwritesAnOldSubtitleFile)
{
    std::ofstream(folder / "rec.srt") << "something older, and longer than a mark";
    ASSERT_TRUE(Open());
    recording->m_S_CloseAviFile();
    EXPECT_EQ(Subtitles(), "\xFF\xFE");
}

TEST_F(AviConvert, RecordsWithoutSubtitlesWhereTheirNameIsTakenByAFolder)
{
    std::filesystem::create_directory(folder / "rec.srt");
    ASSERT_TRUE(Open());
    EXPECT_EQ(recording->vm_cSrtFile.m_F_b_IsOpen(), 0);
    recording->m_S_WriteText(L"text");
    EXPECT_EQ(log.WritesOf(kText).size(), 1U);
    EXPECT_EQ(recording->vm_nTextIndex, 1);
}

TEST_F(AviConvert, ClosesASubtitleFileThatWasOpenBefore)
{
    ASSERT_NE(
        recording->vm_cSrtFile.m_F_n_Open(CStringW((folder / "own.srt").c_str()), emDef_Create), 0);
    ASSERT_TRUE(Open());
    EXPECT_NE(DeleteFileW((folder / "own.srt").c_str()), FALSE);
}

TEST_F(AviConvert, OpenedAgainClosesTheFirstRecordingBeforeItOpensTheNext)
{
    OpenWithAudio();
    recording->m_S_WriteVideo(frame, 5, true);
    recording->m_S_WriteText(L"text");
    log.events.clear();
    ASSERT_TRUE(recording->m_F_n_CreateAviFile((folder / "next.avi").c_str(), &format, 25));
    EXPECT_EQ(log.events, (Events{"release vids", "release auds", "release txts", "release file",
                                  "open", "make vids", "make txts"}));
    EXPECT_EQ(recording->vm_nVideoIndex, 0);
    EXPECT_EQ(recording->vm_nTextIndex, 0);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 0U);
    EXPECT_EQ(recording->vm_pAudioStream, nullptr);
}

TEST_F(AviConvert, LeavesTheTimesAsTheyAreWhenOpened)
{
    recording->m_S_SetStartTime(777);
    ASSERT_TRUE(Open());
    EXPECT_EQ(recording->m_F_n_GetNextVideoTime(), 777);
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), 777);
    EXPECT_EQ(recording->m_F_n_GetNextTextTime(), 777);
}

// ---- Opening that fails ----

TEST_F(AviConvert, AFileThatCannotBeOpenedLeavesNoName)
{
    log.failsToOpen = true;
    EXPECT_FALSE(Open());
    EXPECT_TRUE(recording->m_F_s_GetFileName().IsEmpty());
    EXPECT_FALSE(recording->m_F_b_Create());
    EXPECT_EQ(folder.Count(), 0) << "no subtitle file either";
}

TEST_F(AviConvert, AVideoStreamThatCannotBeMadeClosesTheFile)
{
    log.failsToMake = kVideo;
    EXPECT_FALSE(Open());
    EXPECT_EQ(log.events, (Events{"open", "release file"}));
    EXPECT_EQ(recording->vm_pAviFile, nullptr);
    EXPECT_EQ(recording->vm_pVideoStream, nullptr);
    EXPECT_EQ(folder.Count(), 0);
}

TEST_F(AviConvert, ATextStreamThatCannotBeMadeClosesVideoAndFile)
{
    log.failsToMake = kText;
    EXPECT_FALSE(Open());
    EXPECT_EQ(log.events, (Events{"open", "make vids", "release vids", "release file"}));
    EXPECT_EQ(recording->vm_pAviFile, nullptr);
    EXPECT_EQ(recording->vm_pVideoStream, nullptr);
    EXPECT_EQ(recording->vm_pTextStream, nullptr);
    EXPECT_EQ(folder.Count(), 0);
}

TEST_F(AviConvert, AFailedOpenClosesTheRecordingBefore)
{
    ASSERT_TRUE(Open());
    log.failsToOpen = true;
    EXPECT_FALSE(recording->m_F_n_CreateAviFile((folder / "next").c_str(), &format, 25));
    EXPECT_TRUE(recording->m_F_s_GetFileName().IsEmpty());
    EXPECT_EQ(log.liveObjects, 0);
    EXPECT_FALSE(recording->m_F_b_Create());
    EXPECT_EQ(recording->vm_cSrtFile.m_F_b_IsOpen(), 0);
}

TEST_F(AviConvert, OpensNothingAtARateBelowOne)
{
    for (const int rate : {0, -1, INT_MIN})
    {
        EXPECT_FALSE(Open(rate)) << rate;
        EXPECT_TRUE(recording->m_F_s_GetFileName().IsEmpty());
        EXPECT_FALSE(recording->m_F_b_Create());
    }
    EXPECT_TRUE(log.events.empty());
    EXPECT_EQ(folder.Count(), 0);
}

TEST_F(AviConvert, OpensNothingWithoutAFormat)
{
    EXPECT_FALSE(recording->m_F_n_CreateAviFile(Name(), nullptr, 25));
    EXPECT_TRUE(recording->m_F_s_GetFileName().IsEmpty());
    EXPECT_TRUE(log.events.empty());
    EXPECT_EQ(folder.Count(), 0);
}

TEST_F(AviConvert, RefusedClosesTheRecordingBeforeAndForgetsItsName)
{
    ASSERT_TRUE(Open());
    EXPECT_FALSE(Open(0));
    EXPECT_EQ(log.liveObjects, 0);
    EXPECT_TRUE(recording->m_F_s_GetFileName().IsEmpty());
    ASSERT_TRUE(Open());
    EXPECT_FALSE(recording->m_F_n_CreateAviFile(Name(), nullptr, 25));
    EXPECT_EQ(log.liveObjects, 0);
    EXPECT_TRUE(recording->m_F_s_GetFileName().IsEmpty());
}

TEST_F(AviConvert, TakesTheHighestRateThereIs)
{
    ASSERT_TRUE(Open(INT_MAX));
    EXPECT_EQ(recording->vm_nFrameMS, 0);
    EXPECT_EQ(recording->vm_nFrameMSRem, 1000);
    EXPECT_EQ(log.headers[kVideo].dwRate, 4294957296U) << "(2^31 - 1) * 10000 in 32 bits";
}

TEST_F(AviConvert, DoesNotCareWhetherAFormatIsTaken)
{
    log.formatResult = AVIERR_BADFORMAT;
    EXPECT_TRUE(Open());
    recording->m_S_SetAudioInfo(&wave);
    EXPECT_NE(recording->vm_pAudioStream, nullptr);
}

// ---- Audio stream ----

TEST_F(AviConvert, DescribesTheAudioStream)
{
    OpenWithAudio();
    AVISTREAMINFOW expected = {};
    expected.fccType = kAudio;
    expected.dwScale = 4;
    expected.dwRate = 32000;
    expected.dwQuality = 10000;
    expected.dwSampleSize = 4;
    EXPECT_EQ(memcmp(&log.headers[kAudio], &expected, sizeof(expected)), 0);
    EXPECT_EQ(log.formats[kAudio], std::string(reinterpret_cast<char*>(&wave), 18));
    EXPECT_EQ(memcmp(&recording->vm_stWaveFormat, &wave, 18), 0);
    EXPECT_EQ(recording->vm_nAudioPos, 0);
}

TEST_F(AviConvert, AddsNoAudioStreamWhileNothingIsOpen)
{
    recording->m_S_SetAudioInfo(&wave);
    EXPECT_EQ(recording->vm_pAudioStream, nullptr);
    EXPECT_TRUE(log.events.empty());
}

TEST_F(AviConvert, AddsNoAudioStreamWithoutAFormat)
{
    ASSERT_TRUE(Open());
    recording->m_S_SetAudioInfo(nullptr);
    EXPECT_EQ(recording->vm_pAudioStream, nullptr);
    EXPECT_TRUE(recording->m_F_b_Create());
}

TEST_F(AviConvert, AnAudioStreamThatCannotBeMadeEndsTheRecording)
{
    ASSERT_TRUE(Open());
    ASSERT_EQ(recording->vm_cSrtFile.m_F_b_IsOpen(), 1);
    log.failsToMake = kAudio;
    recording->m_S_SetAudioInfo(&wave);
    EXPECT_FALSE(recording->m_F_b_Create());
    EXPECT_EQ(recording->vm_pAviFile, nullptr);
    EXPECT_EQ(recording->vm_pVideoStream, nullptr);
    EXPECT_EQ(recording->vm_pAudioStream, nullptr);
    EXPECT_EQ(recording->vm_pTextStream, nullptr);
    EXPECT_EQ(recording->vm_cSrtFile.m_F_b_IsOpen(), 0);
    EXPECT_EQ(log.liveObjects, 0);
    recording->m_S_WriteVideo(frame, 5, true);
    recording->m_S_WriteText(L"text");
    EXPECT_TRUE(log.writes.empty());
    EXPECT_EQ(recording->vm_nVideoIndex, 0);
}

TEST_F(AviConvert, ASecondAudioStreamTakesThePlaceOfTheFirst)
{
    OpenWithAudio();
    std::vector<unsigned char> audio = Audio(400);
    recording->m_S_WriteAudio(audio.data(), 400);
    recording->m_S_SetAudioInfo(&wave);
    EXPECT_EQ(recording->vm_nAudioPos, 0);
    EXPECT_EQ(log.events.back(), "release auds");
    recording.reset();
    EXPECT_EQ(log.liveObjects, 0);
}

// ---- Video ----

TEST_F(AviConvert, WritesFramesInTurn)
{
    ASSERT_TRUE(Open());
    recording->m_S_WriteVideo(frame, 5, true);
    recording->m_S_WriteVideo(frame + 1, 3, false);
    ASSERT_EQ(log.writes.size(), 2U);
    EXPECT_EQ(log.writes[0].type, kVideo);
    EXPECT_EQ(log.writes[0].start, 0);
    EXPECT_EQ(log.writes[0].samples, 1);
    EXPECT_EQ(log.writes[0].bytes, "\1\2\3\4\5");
    EXPECT_EQ(log.writes[0].flags, static_cast<DWORD>(AVIIF_KEYFRAME));
    EXPECT_EQ(log.writes[1].start, 1);
    EXPECT_EQ(log.writes[1].bytes, "\2\3\4");
    EXPECT_EQ(log.writes[1].flags, 0U);
    EXPECT_EQ(recording->vm_nVideoIndex, 2);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 8U);
}

TEST_F(AviConvert, LeavesAPlaceForAFrameWithoutData)
{
    ASSERT_TRUE(Open());
    recording->m_S_WriteVideo(nullptr, 0, false);
    EXPECT_TRUE(log.writes.empty());
    EXPECT_EQ(recording->vm_nVideoIndex, 1);
    EXPECT_EQ(recording->m_F_n_GetNextVideoTime(), 40);
    recording->m_S_WriteVideo(frame, 5, true);
    ASSERT_EQ(log.writes.size(), 1U);
    EXPECT_EQ(log.writes[0].start, 1);
}

TEST_F(AviConvert, CountsTheLengthOfAFrameWithoutData)
{
    ASSERT_TRUE(Open());
    recording->m_S_WriteVideo(nullptr, 100, false);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 100U);
}

TEST_F(AviConvert, WritesAKeyFrameWithoutDataAsAnEmptyOne)
{
    ASSERT_TRUE(Open());
    recording->m_S_WriteVideo(nullptr, 100, true);
    ASSERT_EQ(log.writes.size(), 1U);
    EXPECT_EQ(log.writes[0].data, nullptr);
    EXPECT_EQ(log.writes[0].size, 0) << "nothing can be read";
    EXPECT_EQ(log.writes[0].flags, static_cast<DWORD>(AVIIF_KEYFRAME));
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 100U);
}

TEST_F(AviConvert, WritesAnEmptyFrame)
{
    ASSERT_TRUE(Open());
    recording->m_S_WriteVideo(frame, 0, false);
    ASSERT_EQ(log.writes.size(), 1U);
    EXPECT_EQ(log.writes[0].data, frame);
    EXPECT_EQ(log.writes[0].size, 0);
}

TEST_F(AviConvert, WritesNothingOfANegativeLengthButLeavesAPlace)
{
    ASSERT_TRUE(Open());
    recording->m_S_WriteVideo(frame, -1, true);
    recording->m_S_WriteVideo(frame, INT_MIN, false);
    EXPECT_TRUE(log.writes.empty());
    EXPECT_EQ(recording->vm_nVideoIndex, 2);
    EXPECT_EQ(recording->m_F_n_GetNextVideoTime(), 80);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 0U);
}

TEST_F(AviConvert, GoesOnWhenAFrameCannotBeWritten)
{
    ASSERT_TRUE(Open());
    const OutputCapture output;
    log.writeResults[kVideo] = AVIERR_FILEWRITE;
    recording->m_S_WriteVideo(frame, 5, true);
    EXPECT_EQ(recording->vm_nVideoIndex, 1);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 5U);
    EXPECT_EQ(recording->m_F_n_GetNextVideoTime(), 40);
    EXPECT_TRUE(output.Texts().empty());
}

TEST_F(AviConvert, SpreadsTheSecondOverTheFrames)
{
    ASSERT_TRUE(Open(30));
    recording->m_S_SetStartTime(5000);
    __int64 before = 5000;
    for (int index = 1; index <= 60; ++index)
    {
        recording->m_S_WriteVideo(frame, 5, false);
        const __int64 now = recording->m_F_n_GetNextVideoTime();
        EXPECT_EQ(now - before, index % 30 < 10 ? 34 : 33) << index;
        before = now;
    }
    EXPECT_EQ(before, 7000);
}

TEST_F(AviConvert, CountsTheBytesIn32Bits)
{
    ASSERT_TRUE(Open());
    recording->vm_nWriteSize = 4294967294U;
    recording->m_S_WriteVideo(frame, 5, false);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 3U);
}

TEST_F(AviConvert, SurvivesTheLastIndex)
{
    ASSERT_TRUE(Open());
    recording->vm_nVideoIndex = INT_MAX;
    recording->vm_nTextIndex = INT_MAX;
    recording->m_S_WriteVideo(frame, 5, false);
    recording->m_S_WriteText(L"text");
    EXPECT_EQ(recording->vm_nVideoIndex, INT_MIN);
    EXPECT_EQ(recording->vm_nTextIndex, INT_MIN);
}

// ---- Times without writing ----

TEST_F(AviConvert, SetsTheThreeTimes)
{
    recording->m_S_SetStartTime(1'700'000'000'123);
    EXPECT_EQ(recording->m_F_n_GetNextVideoTime(), 1'700'000'000'123);
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), 1'700'000'000'123);
    EXPECT_EQ(recording->m_F_n_GetNextTextTime(), 1'700'000'000'123);
}

TEST_F(AviConvert, TimesWrapAroundAtTheEndOfAllTime)
{
    OpenWithAudio();
    recording->m_S_SetStartTime(INT64_MAX);
    recording->m_S_CalNextVideoTime();
    recording->m_S_CalNextAudioTime(8000);
    recording->m_S_CalNextTextTime();
    EXPECT_EQ(recording->m_F_n_GetNextVideoTime(), INT64_MIN + 39);
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), INT64_MIN + 999);
    EXPECT_EQ(recording->m_F_n_GetNextTextTime(), INT64_MIN + 999);
}

TEST_F(AviConvert, AdvancesTheVideoTimeByTheIndexAsItStands)
{
    ASSERT_TRUE(Open(30));
    recording->m_S_SetStartTime(0);
    recording->vm_nVideoIndex = 9;
    recording->m_S_CalNextVideoTime();
    EXPECT_EQ(recording->m_F_n_GetNextVideoTime(), 34);
    recording->vm_nVideoIndex = 10;
    recording->m_S_CalNextVideoTime();
    EXPECT_EQ(recording->m_F_n_GetNextVideoTime(), 34 + 33);
    EXPECT_EQ(recording->vm_nVideoIndex, 10);
}

TEST_F(AviConvert, AdvancesTheTextTimeByASecond)
{
    recording->m_S_SetStartTime(-500);
    recording->m_S_CalNextTextTime();
    EXPECT_EQ(recording->m_F_n_GetNextTextTime(), 500);
    EXPECT_EQ(recording->vm_nTextIndex, 0);
}

TEST_F(AviConvert, AdvancesTheAudioTimeBySamples)
{
    OpenWithAudio();
    recording->m_S_SetStartTime(0);
    recording->m_S_CalNextAudioTime(800);
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), 100);
    recording->m_S_CalNextAudioTime(7);
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), 100);
    EXPECT_EQ(recording->vm_nAudioPos, 0);
}

TEST_F(AviConvert, NeverOpenedAdvancesNothingButTheTextTime)
{
    recording->m_S_SetStartTime(100);
    recording->m_S_CalNextVideoTime();
    recording->m_S_CalNextAudioTime(800);
    recording->m_S_CalNextTextTime();
    EXPECT_EQ(recording->m_F_n_GetNextVideoTime(), 100);
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), 100);
    EXPECT_EQ(recording->m_F_n_GetNextTextTime(), 1100);
}

TEST_F(AviConvert, NeverOpenedWritesNothing)
{
    recording->m_S_SetStartTime(100);
    recording->m_S_WriteVideo(frame, 5, true);
    recording->m_S_WriteAudio(frame, 4);
    recording->m_S_WriteText(L"text");
    EXPECT_EQ(recording->vm_nVideoIndex, 0);
    EXPECT_EQ(recording->vm_nTextIndex, 0);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 0U);
    EXPECT_EQ(recording->m_F_n_GetNextVideoTime(), 100);
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), 100);
    EXPECT_EQ(recording->m_F_n_GetNextTextTime(), 100);
    EXPECT_TRUE(log.events.empty());
    EXPECT_TRUE(log.writes.empty());
}

TEST_F(AviConvert, KnowsTheFirstFrameOfASecond)
{
    EXPECT_TRUE(recording->m_F_b_n_IsMultipleFPS()) << "never opened, no rate known";
    ASSERT_TRUE(Open());
    EXPECT_TRUE(recording->m_F_b_n_IsMultipleFPS());
    for (int index = 1; index <= 50; ++index)
    {
        recording->m_S_WriteVideo(frame, 5, false);
        EXPECT_EQ(recording->m_F_b_n_IsMultipleFPS(), index % 25 == 0) << index;
    }
}

// ---- Audio ----

TEST_F(AviConvert, WritesABlockOfAudioAtOnce)
{
    OpenWithAudio();
    std::vector<unsigned char> audio = Audio(3200);
    recording->m_S_SetStartTime(50);
    recording->m_S_WriteAudio(audio.data(), 3200);
    recording->m_S_WriteAudio(audio.data(), 1600);
    ASSERT_EQ(log.writes.size(), 2U);
    EXPECT_EQ(log.writes[0].type, kAudio);
    EXPECT_EQ(log.writes[0].start, 0);
    EXPECT_EQ(log.writes[0].samples, 800);
    EXPECT_EQ(log.writes[0].bytes, std::string(audio.begin(), audio.end()));
    EXPECT_EQ(log.writes[0].flags, static_cast<DWORD>(AVIIF_KEYFRAME));
    EXPECT_EQ(log.writes[1].start, 800);
    EXPECT_EQ(log.writes[1].samples, 400);
    EXPECT_EQ(recording->vm_nAudioPos, 1200);
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), 50 + 100 + 50);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 4800U);
}

TEST_F(AviConvert, OffersTheRestOfAudioThatWasTakenInPart)
{
    OpenWithAudio();
    std::vector<unsigned char> audio = Audio(3200);
    log.audioAnswers = {{S_OK, 250, 1000}, {S_OK, 250, 1000}};
    const OutputCapture output;
    recording->m_S_WriteAudio(audio.data(), 3200);
    ASSERT_EQ(log.writes.size(), 3U);
    EXPECT_EQ(log.writes[0].samples, 800);
    EXPECT_EQ(log.writes[1].start, 250);
    EXPECT_EQ(log.writes[1].samples, 550);
    EXPECT_EQ(log.writes[1].bytes, std::string(audio.begin() + 1000, audio.end()));
    EXPECT_EQ(log.writes[2].start, 500);
    EXPECT_EQ(log.writes[2].samples, 300);
    EXPECT_EQ(log.writes[2].bytes, std::string(audio.begin() + 2000, audio.end()));
    EXPECT_EQ(recording->vm_nAudioPos, 800);
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), 31 + 31 + 37) << "each piece is rounded down";
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 1200U) << "the last piece alone counts";
    EXPECT_TRUE(output.Texts().empty());
}

TEST_F(AviConvert, OffersBytesThatMakeNoWholeSample)
{
    OpenWithAudio();
    std::vector<unsigned char> audio = Audio(3202);
    log.audioAnswers = {{S_OK, 800, 3200}};
    recording->m_S_WriteAudio(audio.data(), 3202);
    ASSERT_EQ(log.writes.size(), 2U);
    EXPECT_EQ(log.writes[0].samples, 800);
    EXPECT_EQ(log.writes[1].start, 800);
    EXPECT_EQ(log.writes[1].samples, 0);
    EXPECT_EQ(log.writes[1].bytes, std::string(audio.end() - 2, audio.end()));
}

TEST_F(AviConvert, EndsWhenNoAudioIsTaken)
{
    OpenWithAudio();
    std::vector<unsigned char> audio = Audio(3200);
    log.audioAnswers = {{S_OK, 100, 400}, {S_OK, 0, 0}};
    const OutputCapture output;
    recording->m_S_WriteAudio(audio.data(), 3200);
    EXPECT_EQ(log.writes.size(), 2U);
    EXPECT_EQ(recording->vm_nAudioPos, 100);
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), 12);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 0U);
    EXPECT_EQ(output.Texts(), (Lines{"Error in _WriteAudioStream"}));
}

TEST_F(AviConvert, EndsWhenANegativeNumberOfBytesIsTaken)
{
    OpenWithAudio();
    std::vector<unsigned char> audio = Audio(3200);
    log.audioAnswers = {{S_OK, 0, -400}};
    const OutputCapture output;
    recording->m_S_WriteAudio(audio.data(), 3200);
    EXPECT_EQ(log.writes.size(), 1U);
    EXPECT_EQ(output.Texts(), (Lines{"Error in _WriteAudioStream"}));
}

TEST_F(AviConvert, ReportsAudioThatCannotBeWritten)
{
    OpenWithAudio();
    std::vector<unsigned char> audio = Audio(3200);
    log.audioAnswers = {{AVIERR_FILEWRITE, 3, 12}};
    const OutputCapture output;
    recording->m_S_WriteAudio(audio.data(), 3200);
    EXPECT_EQ(log.writes.size(), 1U);
    EXPECT_EQ(output.Texts(), (Lines{"Error in _WriteAudioStream"}));
    EXPECT_EQ(recording->vm_nAudioPos, 0);
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), 0);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 0U);
    recording->m_S_WriteAudio(audio.data(), 400);
    EXPECT_EQ(recording->vm_nAudioPos, 100) << "the next block is tried again";
}

TEST_F(AviConvert, ReportsTheRestOfAudioThatCannotBeWritten)
{
    OpenWithAudio();
    std::vector<unsigned char> audio = Audio(3200);
    log.audioAnswers = {{S_OK, 400, 1600}, {AVIERR_FILEWRITE, 0, 0}};
    const OutputCapture output;
    recording->m_S_WriteAudio(audio.data(), 3200);
    EXPECT_EQ(output.Texts(), (Lines{"Error in _WriteAudioStream"}));
    EXPECT_EQ(recording->vm_nAudioPos, 400);
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), 50);
}

TEST_F(AviConvert, BelievesNoMoreThanWasOffered)
{
    OpenWithAudio();
    std::vector<unsigned char> audio = Audio(400);
    log.audioAnswers = {{S_OK, 100, 100000}};
    recording->m_S_WriteAudio(audio.data(), 400);
    EXPECT_EQ(log.writes.size(), 1U);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 400U);
}

TEST_F(AviConvert, WritesNoAudioOfANegativeLengthOrWithoutData)
{
    OpenWithAudio();
    const OutputCapture output;
    recording->m_S_WriteAudio(frame, -4);
    recording->m_S_WriteAudio(frame, INT_MIN);
    recording->m_S_WriteAudio(nullptr, 4);
    EXPECT_TRUE(log.writes.empty());
    EXPECT_EQ(recording->vm_nAudioPos, 0);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 0U);
    EXPECT_TRUE(output.Texts().empty());
}

TEST_F(AviConvert, WritesNoAudioOfAFormatWithoutBlockAlign)
{
    wave.nBlockAlign = 0;
    OpenWithAudio();
    recording->m_S_WriteAudio(frame, 4);
    EXPECT_TRUE(log.writes.empty());
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 0U);
}

TEST_F(AviConvert, WritesNoAudioOfAFormatWithoutSampleRate)
{
    wave.nSamplesPerSec = 0;
    OpenWithAudio();
    recording->m_S_WriteAudio(frame, 4);
    recording->m_S_CalNextAudioTime(8000);
    EXPECT_TRUE(log.writes.empty());
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), 0);
}

// ---- Text ----

TEST_F(AviConvert, WritesTextInTheAnsiCodePageAndAsUtf16)
{
    ASSERT_TRUE(Open());
    recording->m_S_WriteText(L"Stra\u00dfe 20 \u20ac");
    ASSERT_EQ(log.writes.size(), 1U);
    EXPECT_EQ(log.writes[0].type, kText);
    EXPECT_EQ(log.writes[0].start, 0);
    EXPECT_EQ(log.writes[0].samples, 1);
    char ansi[32] = {};
    WideCharToMultiByte(CP_ACP, 0, L"Stra\u00dfe 20 \u20ac", -1, ansi, sizeof(ansi), nullptr,
                        nullptr);
    EXPECT_EQ(log.writes[0].bytes, ansi);
    EXPECT_EQ(log.writes[0].flags, static_cast<DWORD>(AVIIF_KEYFRAME));
    EXPECT_EQ(recording->vm_nTextIndex, 1);
    EXPECT_EQ(recording->m_F_n_GetNextTextTime(), 1000);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), strlen(ansi));
    recording->m_S_CloseAviFile();
    EXPECT_EQ(Subtitles(),
              "\xFF\xFE" + Utf16(L"1\n00:00:00,000-->00:00:00,999\nStra\u00dfe 20 \u20ac\n\n"));
}

TEST_F(AviConvert, WritesSubtitlesOneAfterTheOther)
{
    ASSERT_TRUE(Open());
    recording->m_S_WriteText(L"one");
    recording->m_S_WriteText(L"");
    recording->m_S_WriteText(L"100 %s %n %");
    EXPECT_EQ(log.writes[1].bytes, "");
    EXPECT_EQ(log.writes[1].samples, 1);
    EXPECT_EQ(log.writes[2].start, 2);
    EXPECT_EQ(log.writes[2].bytes, "100 %s %n %");
    recording->m_S_CloseAviFile();
    EXPECT_EQ(Subtitles(), "\xFF\xFE" + Utf16(L"1\n00:00:00,000-->00:00:00,999\none\n\n"
                                              L"2\n00:00:01,000-->00:00:01,999\n\n\n"
                                              L"3\n00:00:02,000-->00:00:02,999\n100 %s %n %\n\n"));
}

TEST_F(AviConvert, WritesTheSubtitlesOfTheSecondHour)
{
    ASSERT_TRUE(Open());
    recording->vm_nTextIndex = 3600;
    recording->m_S_WriteText(L"x");
    recording->m_S_CloseAviFile();
    EXPECT_EQ(Subtitles(), "\xFF\xFE" + Utf16(L"3601\n01:00:00,000-->01:00:00,999\nx\n\n"));
}

TEST_F(AviConvert, WritesLongText)
{
    ASSERT_TRUE(Open());
    const std::wstring text(200000, L'x');
    recording->m_S_WriteText(text.c_str());
    EXPECT_EQ(log.writes[0].bytes, std::string(200000, 'x'));
    recording->m_S_CloseAviFile();
    EXPECT_EQ(Subtitles().size(), 2U + 2 * (2 + 28 + 200000 + 2));
}

TEST_F(AviConvert, GoesOnWhenTextCannotBeWritten)
{
    ASSERT_TRUE(Open());
    const OutputCapture output;
    log.writeResults[kText] = AVIERR_FILEWRITE;
    recording->m_S_WriteText(L"text");
    EXPECT_EQ(recording->vm_nTextIndex, 1);
    EXPECT_EQ(recording->m_F_n_GetNextTextTime(), 1000);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 4U);
    EXPECT_TRUE(output.Texts().empty());
    recording->m_S_CloseAviFile();
    EXPECT_EQ(Subtitles(), "\xFF\xFE" + Utf16(L"1\n00:00:00,000-->00:00:00,999\ntext\n\n"));
}

// ---- A full disk, for the subtitle file ----

BOOL WINAPI WriteNothing(HANDLE, const void*, DWORD, DWORD* written, OVERLAPPED*)
{
    *written = 0;
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

TEST_F(AviConvert, RecordsWithoutAMarkOnAFullDisk)
{
    const ImportPatch<BOOL WINAPI(HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*)> full(
        "WriteFile", WriteNothing);
    EXPECT_NO_THROW(EXPECT_TRUE(Open()));
    EXPECT_TRUE(recording->m_F_b_Create());
}

TEST_F(AviConvert, GoesOnWhenTheSubtitlesFindAFullDisk)
{
    ASSERT_TRUE(Open());
    {
        const ImportPatch<BOOL WINAPI(HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*)> full(
            "WriteFile", WriteNothing);
        EXPECT_NO_THROW(recording->m_S_WriteText(L"lost"));
    }
    EXPECT_EQ(log.writes.size(), 1U);
    EXPECT_EQ(recording->vm_nTextIndex, 1);
    recording->m_S_WriteText(L"again");
    recording->m_S_CloseAviFile();
    EXPECT_EQ(Subtitles(), "\xFF\xFE" + Utf16(L"2\n00:00:01,000-->00:00:01,999\nagain\n\n"));
}

// What is written to some network drives fails only here.
BOOL WINAPI CloseAndFail(HANDLE handle)
{
    CloseHandle(handle);
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

TEST_F(AviConvert, ClosesSubtitlesWhoseEndIsLost)
{
    const ImportPatch<BOOL WINAPI(HANDLE)> full("CloseHandle", CloseAndFail);
    ASSERT_TRUE(Open());
    EXPECT_NO_THROW(recording->m_S_CloseAviFile());
    EXPECT_EQ(recording->vm_cSrtFile.m_F_b_IsOpen(), 0);
    EXPECT_EQ(log.liveObjects, 0);
    ASSERT_TRUE(Open());
    EXPECT_NO_THROW(ASSERT_TRUE(Open())) << "closes the first, too";
    recording.reset();
    EXPECT_NE(DeleteFileW((folder / "rec.srt").c_str()), FALSE);
}

TEST_F(AviConvert, AFullDiskLeavesNoHandleOpenAndLosesNoMemory)
{
    const ImportPatch<BOOL WINAPI(HANDLE, const void*, DWORD, DWORD*, OVERLAPPED*)> full(
        "WriteFile", WriteNothing);
    const auto record = [&]
    {
        Open();
        recording->m_S_WriteText(L"lost");
        recording->m_S_CloseAviFile();
        log = AviLog();
    };
    record();
    const ProcessResources before = MeasureResources();
    for (int i = 0; i < 200; ++i)
    {
        record();
    }
    ExpectNothingLeftBehind(before, 0, 4096);
}

// ---- Closing ----

TEST_F(AviConvert, ClosesStreamsBeforeTheFileAndTheSubtitles)
{
    OpenWithAudio();
    log.events.clear();
    recording->m_S_CloseAviFile();
    EXPECT_EQ(log.events, (Events{"release vids", "release auds", "release txts", "release file"}));
    EXPECT_FALSE(recording->m_F_b_Create());
    EXPECT_EQ(recording->vm_pVideoStream, nullptr);
    EXPECT_EQ(recording->vm_pAudioStream, nullptr);
    EXPECT_EQ(recording->vm_pTextStream, nullptr);
    EXPECT_EQ(recording->vm_cSrtFile.m_F_b_IsOpen(), 0);
    recording->m_S_CloseAviFile();
    EXPECT_EQ(log.events.size(), 4U) << "closed is closed";
}

TEST_F(AviConvert, KeepsCountsTimesAndNameWhenClosed)
{
    OpenWithAudio();
    std::vector<unsigned char> audio = Audio(400);
    recording->m_S_WriteVideo(frame, 5, true);
    recording->m_S_WriteAudio(audio.data(), 400);
    recording->m_S_WriteText(L"text");
    recording->m_S_CloseAviFile();
    EXPECT_EQ(recording->vm_nVideoIndex, 1);
    EXPECT_EQ(recording->vm_nAudioPos, 100);
    EXPECT_EQ(recording->vm_nTextIndex, 1);
    EXPECT_EQ(recording->m_F_n_GetNextVideoTime(), 40);
    EXPECT_EQ(recording->m_F_n_GetNextAudioTime(), 12);
    EXPECT_EQ(recording->m_F_n_GetNextTextTime(), 1000);
    EXPECT_EQ(recording->m_F_n_GetWriteSzie(), 5U + 400 + 4);
    EXPECT_EQ(recording->m_F_s_GetFileName(), (folder / "rec.avi").c_str());
}

TEST_F(AviConvert, FailuresOfEveryKindLeaveNothingBehind)
{
    const auto fail = [&]
    {
        log.failsToOpen = true;
        Open();
        log.failsToOpen = false;
        for (const DWORD type : {kVideo, kText, kAudio})
        {
            log.failsToMake = type;
            Open();
            recording->m_S_SetAudioInfo(&wave);
        }
        recording->m_S_CloseAviFile();
        EXPECT_EQ(log.liveObjects, 0);
        log = AviLog();
    };
    fail();
    const ProcessResources before = MeasureResources();
    for (int i = 0; i < 100; ++i)
    {
        fail();
    }
    ExpectNothingLeftBehind(before, 0, 4096);
}

}  // namespace
