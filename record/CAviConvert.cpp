#include "CAviConvert.h"

#include <algorithm>
#include <new>
#include <string>
#include <utility>

#include "record/audio_block.h"
#include "record/avi_objects.h"
#include "record/due_time.h"
#include "record/recording_name.h"
#include "record/stream_header.h"
#include "record/subtitle.h"

using ostrel::record::AudioBlock;
using ostrel::record::AviFile;
using ostrel::record::AviStream;
using ostrel::record::Later;

namespace
{

constexpr LONG kVideoFormatSize = 44;
constexpr int kMillisecondsPerText = 1000;
constexpr unsigned char kByteOrderMark[] = {0xFF, 0xFE};

static_assert(sizeof(BITMAPINFO) == kVideoFormatSize, "a header and one colour");

// However long a recording runs, its indices wrap around instead of overflowing.
void Advance(int& index, int count)
{
    index = static_cast<int>(static_cast<unsigned int>(index) + static_cast<unsigned int>(count));
}

template <typename Object>
void ReleaseAndForget(Object*& object)
{
    if (object != nullptr)
    {
        ostrel::record::AviRelease()(std::exchange(object, nullptr));
    }
}

// Returns whether the action went through to its end.
template <typename Action>
bool IsDone(Action action)
{
    try
    {
        action();
        return true;
    }
    catch (CException* error)
    {
        error->Delete();
    }
    catch (const std::bad_alloc&)
    {
    }
    return false;
}

// The subtitle file is a by-product: what fails there does not disturb the recording.
template <typename Action>
void IgnoringErrors(Action action)
{
    static_cast<void>(IsDone(action));
}

AviStream CreateVideoStream(IAVIFile& file, BITMAPINFO& format, int rate)
{
    const BITMAPINFOHEADER& frame = format.bmiHeader;
    AviStream stream =
        CreateAviStream(file, ostrel::record::VideoStreamHeader(frame.biCompression, rate,
                                                                frame.biWidth, frame.biHeight));
    if (stream != nullptr)
    {
        AVIStreamSetFormat(stream.get(), 0, &format, kVideoFormatSize);
    }
    return stream;
}

AviStream CreateTextStream(IAVIFile& file, const BITMAPINFOHEADER& frame)
{
    AviStream stream =
        CreateAviStream(file, ostrel::record::TextStreamHeader(frame.biWidth, frame.biHeight));
    if (stream != nullptr)
    {
        DWORD format = 4;
        AVIStreamSetFormat(stream.get(), 0, &format, sizeof(format));
    }
    return stream;
}

AviStream CreateAudioStream(IAVIFile& file, WAVEFORMATEX& wave)
{
    AviStream stream = CreateAviStream(
        file, ostrel::record::AudioStreamHeader(
                  {wave.nChannels, wave.nAvgBytesPerSec, wave.nBlockAlign, wave.wBitsPerSample}));
    if (stream != nullptr)
    {
        AVIStreamSetFormat(stream.get(), 0, &wave, sizeof(wave));
    }
    return stream;
}

void OpenSubtitles(CFileRW& file, const CStringW& recording)
{
    IgnoringErrors(
        [&]
        {
            const std::wstring name = ostrel::record::SubtitleName(recording.GetString());
            if (file.m_F_n_Open(CStringW(name.c_str()), emDef_Create) != 0)
            {
                file.m_S_Write(kByteOrderMark, sizeof(kByteOrderMark));
            }
        });
}

void WriteSubtitle(CFileRW& file, int number, const CStringW& text)
{
    IgnoringErrors(
        [&]
        {
            const std::wstring entry = ostrel::record::SubtitleEntry(number, text.GetString());
            file.m_S_Write(entry.data(), static_cast<UINT>(entry.size() * sizeof(wchar_t)));
        });
}

void ReportAudioError()
{
    OutputDebugStringA("Error in _WriteAudioStream");
}

}  // namespace

CAviConvert::CAviConvert()
    : vm_pAviFile(nullptr),
      vm_pVideoStream(nullptr),
      vm_nVideoIndex(0),
      vm_pAudioStream(nullptr),
      vm_nAudioPos(0),
      vm_stWaveFormat(),
      vm_pTextStream(nullptr),
      vm_nTextIndex(0),
      vm_nNextVideoTime(0),
      vm_nNextAudioTime(0),
      vm_nNextTextTime(0),
      vm_nWriteSize(0),
      vm_nFrameMS(0),
      vm_nFrameMSRem(0),
      vm_nFPS(0),
      vm_cSrtFile(CStringA(), emDef_Read)
{
    AVIFileInit();
}

CAviConvert::~CAviConvert()
{
    m_S_CloseAviFile();
    AVIFileExit();
}

bool CAviConvert::m_F_b_Create()
{
    return vm_pAviFile != nullptr;
}

bool CAviConvert::m_F_n_CreateAviFile(CStringW sPath, BITMAPINFO* pFormat, int nFPS)
{
    m_S_CloseAviFile();
    vm_sFileName.Empty();
    if (pFormat == nullptr || nFPS <= 0)
    {
        return false;
    }

    CStringW name;
    if (!IsDone([&] { name = ostrel::record::RecordingName(sPath.GetString()).c_str(); }))
    {
        return false;
    }
    AviFile file = ostrel::record::OpenAviFile(name);
    if (file == nullptr)
    {
        return false;
    }
    vm_sFileName = std::move(name);
    const ostrel::record::FramePace pace = ostrel::record::PaceOf(nFPS);
    vm_nWriteSize = 0;
    vm_nFrameMS = pace.milliseconds;
    vm_nFrameMSRem = pace.remainder;
    vm_nFPS = pace.rate;

    AviStream video = CreateVideoStream(*file, *pFormat, nFPS);
    if (video == nullptr)
    {
        return false;
    }
    vm_nVideoIndex = 0;
    AviStream text = CreateTextStream(*file, pFormat->bmiHeader);
    if (text == nullptr)
    {
        return false;
    }
    vm_nTextIndex = 0;
    vm_pAviFile = file.release();
    vm_pVideoStream = video.release();
    vm_pTextStream = text.release();

    OpenSubtitles(vm_cSrtFile, vm_sFileName);
    return true;
}

void CAviConvert::m_S_SetAudioInfo(WAVEFORMATEX* pWave)
{
    if (vm_pAviFile == nullptr || pWave == nullptr)
    {
        return;
    }
    AviStream audio = CreateAudioStream(*vm_pAviFile, *pWave);
    if (audio == nullptr)
    {
        m_S_CloseAviFile();
        return;
    }
    ReleaseAndForget(vm_pAudioStream);
    vm_pAudioStream = audio.release();
    vm_stWaveFormat = *pWave;
    vm_nAudioPos = 0;
}

void CAviConvert::m_S_SetStartTime(__int64 nMS)
{
    vm_nNextVideoTime = nMS;
    vm_nNextAudioTime = nMS;
    vm_nNextTextTime = nMS;
}

void CAviConvert::m_S_WriteVideo(unsigned char* pData, int nLen, bool bKeyFrame)
{
    if (vm_pVideoStream == nullptr)
    {
        return;
    }
    const int length = std::max(nLen, 0);
    if ((bKeyFrame || pData != nullptr) && nLen >= 0)
    {
        AVIStreamWrite(vm_pVideoStream, vm_nVideoIndex, 1, pData, pData != nullptr ? length : 0,
                       bKeyFrame ? AVIIF_KEYFRAME : 0, nullptr, nullptr);
    }
    Advance(vm_nVideoIndex, 1);
    vm_nWriteSize += static_cast<unsigned int>(length);
    m_S_CalNextVideoTime();
}

void CAviConvert::m_S_WriteAudio(unsigned char* pData, int nLen)
{
    if (vm_pAudioStream == nullptr || pData == nullptr || nLen < 0 ||
        vm_stWaveFormat.nBlockAlign == 0 || vm_stWaveFormat.nSamplesPerSec == 0)
    {
        return;
    }
    AudioBlock block(nLen, vm_stWaveFormat.nBlockAlign);
    AudioBlock::Next next;
    do
    {
        LONG samples = 0;
        LONG bytes = 0;
        if (FAILED(AVIStreamWrite(vm_pAudioStream, vm_nAudioPos, block.Samples(),
                                  pData + block.Offset(), block.Remaining(), AVIIF_KEYFRAME,
                                  &samples, &bytes)))
        {
            ReportAudioError();
            return;
        }
        Advance(vm_nAudioPos, samples);
        m_S_CalNextAudioTime(samples);
        next = block.Take(bytes);
    } while (next == AudioBlock::Next::Offer);
    if (next == AudioBlock::Next::Stuck)
    {
        ReportAudioError();
        return;
    }
    // Deliberate: the pieces before the last one do not count.
    vm_nWriteSize += static_cast<unsigned int>(block.Remaining());
}

void CAviConvert::m_S_WriteText(CStringW sText)
{
    if (vm_pTextStream == nullptr)
    {
        return;
    }
    const CStringA text(sText);
    AVIStreamWrite(vm_pTextStream, vm_nTextIndex, 1, const_cast<char*>(text.GetString()),
                   text.GetLength(), AVIIF_KEYFRAME, nullptr, nullptr);
    Advance(vm_nTextIndex, 1);
    m_S_CalNextTextTime();
    vm_nWriteSize += static_cast<unsigned int>(text.GetLength());
    WriteSubtitle(vm_cSrtFile, vm_nTextIndex, sText);
}

void CAviConvert::m_S_CalNextVideoTime()
{
    vm_nNextVideoTime = Later(
        vm_nNextVideoTime,
        ostrel::record::FrameDuration({vm_nFPS, vm_nFrameMS, vm_nFrameMSRem}, vm_nVideoIndex));
}

void CAviConvert::m_S_CalNextAudioTime(long nSamples)
{
    vm_nNextAudioTime =
        Later(vm_nNextAudioTime, ostrel::record::AudioDuration(static_cast<unsigned int>(nSamples),
                                                               vm_stWaveFormat.nSamplesPerSec));
}

void CAviConvert::m_S_CalNextTextTime()
{
    vm_nNextTextTime = Later(vm_nNextTextTime, kMillisecondsPerText);
}

__int64 CAviConvert::m_F_n_GetNextVideoTime()
{
    return vm_nNextVideoTime;
}

__int64 CAviConvert::m_F_n_GetNextAudioTime()
{
    return vm_nNextAudioTime;
}

__int64 CAviConvert::m_F_n_GetNextTextTime()
{
    return vm_nNextTextTime;
}

unsigned int CAviConvert::m_F_n_GetWriteSzie()
{
    return vm_nWriteSize;
}

CStringW CAviConvert::m_F_s_GetFileName()
{
    return vm_sFileName;
}

bool CAviConvert::m_F_b_n_IsMultipleFPS()
{
    return ostrel::record::IsSecondBoundary(vm_nVideoIndex, vm_nFPS);
}

void CAviConvert::m_S_CloseAviFile()
{
    ReleaseAndForget(vm_pVideoStream);
    ReleaseAndForget(vm_pAudioStream);
    ReleaseAndForget(vm_pTextStream);
    ReleaseAndForget(vm_pAviFile);
    IgnoringErrors([&] { vm_cSrtFile.m_S_Close(); });
}
