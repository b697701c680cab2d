/// @file
/// What a client may rely on in CAviConvert: what it asks of the platform's AVIFile interface, to
/// the last argument, when each sample is due, and the two files that it leaves behind.
#include <gtest/gtest.h>

#include "CAviConvert.h"
#include "support/import_patch.h"
#include "support/output_capture.h"
#include "support/scripted_camera.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace
{

using namespace std::string_literals;
using ostrel::test::ImportPatch;
using ostrel::test::NextHandleValue;
using ostrel::test::OutputCapture;
namespace fs = std::filesystem;

using Texts = std::vector<std::string>;

// ---------------------------------------------------------------------------------------------
// The fake platform
// ---------------------------------------------------------------------------------------------

constexpr HRESULT kFailure = AVIERR_INTERNAL;

std::string NameOf(DWORD fourCharacters)
{
    return {reinterpret_cast<const char*>(&fourCharacters), sizeof(fourCharacters)};
}

struct StreamWrite
{
    LONG position;
    LONG samples;
    const void* address;
    LONG size;
    DWORD flags;
    bool asksForResult;
    std::string bytes;
};

struct WriteAnswer
{
    HRESULT result;
    LONG samples;
    LONG bytes;
};

class FakeStream final : public IAVIStream
{
public:
    FakeStream(const AVISTREAMINFOW& header, Texts& log) : header(header), vm_log(log) {}
    virtual ~FakeStream() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override
    {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }
    ULONG STDMETHODCALLTYPE Release() override
    {
        vm_log.push_back("release " + NameOf(header.fccType));
        return static_cast<ULONG>(--references);
    }

    HRESULT STDMETHODCALLTYPE SetFormat(LONG position, void* format, LONG size) override
    {
        vm_log.push_back("format " + NameOf(header.fccType));
        formatPosition = position;
        formats.emplace_back(static_cast<const char*>(format), size);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Write(LONG position, LONG samples, void* buffer, LONG size,
                                    DWORD flags, LONG* samplesWritten, LONG* bytesWritten) override
    {
        std::string bytes;
        if (buffer != nullptr && size > 0)
        {
            bytes.assign(static_cast<const char*>(buffer), static_cast<std::size_t>(size));
        }
        writes.push_back({position, samples, buffer, size, flags,
                          samplesWritten != nullptr && bytesWritten != nullptr, bytes});
        WriteAnswer answer = {S_OK, samples, size};
        if (!answers.empty())
        {
            answer = answers.front();
            answers.pop_front();
        }
        if (samplesWritten != nullptr)
        {
            *samplesWritten = answer.samples;
        }
        if (bytesWritten != nullptr)
        {
            *bytesWritten = answer.bytes;
        }
        return answer.result;
    }

    HRESULT STDMETHODCALLTYPE Create(LPARAM, LPARAM) override { return kFailure; }
    HRESULT STDMETHODCALLTYPE Info(AVISTREAMINFOW*, LONG) override { return kFailure; }
    LONG STDMETHODCALLTYPE FindSample(LONG, LONG) override { return -1; }
    HRESULT STDMETHODCALLTYPE ReadFormat(LONG, void*, LONG*) override { return kFailure; }
    HRESULT STDMETHODCALLTYPE Read(LONG, LONG, void*, LONG, LONG*, LONG*) override
    {
        return kFailure;
    }
    HRESULT STDMETHODCALLTYPE Delete(LONG, LONG) override { return kFailure; }
    HRESULT STDMETHODCALLTYPE ReadData(DWORD, void*, LONG*) override { return kFailure; }
    HRESULT STDMETHODCALLTYPE WriteData(DWORD, void*, LONG) override { return kFailure; }
    HRESULT STDMETHODCALLTYPE SetInfo(AVISTREAMINFOW*, LONG) override { return kFailure; }

    AVISTREAMINFOW header;
    int references = 1;
    LONG formatPosition = -1;
    Texts formats;
    std::vector<StreamWrite> writes;
    std::deque<WriteAnswer> answers;  ///< of the next writes; then all is taken

private:
    Texts& vm_log;
};

class FakeFile final : public IAVIFile
{
public:
    FakeFile(std::set<std::string>& refusedStreams, Texts& log)
        : vm_refusedStreams(refusedStreams), vm_log(log)
    {
    }
    virtual ~FakeFile() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override
    {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }
    ULONG STDMETHODCALLTYPE Release() override
    {
        vm_log.push_back("release file");
        return static_cast<ULONG>(--references);
    }

    HRESULT STDMETHODCALLTYPE CreateStream(IAVIStream** stream, AVISTREAMINFOW* header) override
    {
        const std::string type = NameOf(header->fccType);
        vm_log.push_back("create " + type);
        *stream = nullptr;
        if (vm_refusedStreams.count(type) != 0)
        {
            return kFailure;
        }
        streams.push_back(std::make_unique<FakeStream>(*header, vm_log));
        *stream = streams.back().get();
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Info(AVIFILEINFOW*, LONG) override { return kFailure; }
    HRESULT STDMETHODCALLTYPE GetStream(IAVIStream**, DWORD, LONG) override { return kFailure; }
    HRESULT STDMETHODCALLTYPE WriteData(DWORD, void*, LONG) override { return kFailure; }
    HRESULT STDMETHODCALLTYPE ReadData(DWORD, void*, LONG*) override { return kFailure; }
    HRESULT STDMETHODCALLTYPE EndRecord() override { return kFailure; }
    HRESULT STDMETHODCALLTYPE DeleteStream(DWORD, LONG) override { return kFailure; }

    int references = 1;
    std::vector<std::unique_ptr<FakeStream>> streams;

private:
    std::set<std::string>& vm_refusedStreams;
    Texts& vm_log;
};

/// Gives the DLL files that exist only here. All that follows from the open file goes through the
/// file's and the streams' interfaces. One object at a time.
class FakePlatform
{
public:
    FakePlatform()
        : vm_open("AVIFileOpenW", &Open),
          vm_init("AVIFileInit", &Init),
          vm_exit("AVIFileExit", &Exit)
    {
        s_pPlatform = this;
    }
    ~FakePlatform() { s_pPlatform = nullptr; }

    bool refusesFile = false;
    std::set<std::string> refusedStreams;  ///< "vids", "txts", "auds"
    Texts log;                             ///< what was called, in its order
    std::vector<std::pair<std::wstring, UINT>> opened;
    std::vector<std::unique_ptr<FakeFile>> files;

private:
    static HRESULT WINAPI Open(PAVIFILE* file, LPCWSTR name, UINT mode, LPCLSID)
    {
        s_pPlatform->log.push_back("open");
        s_pPlatform->opened.emplace_back(name, mode);
        *file = nullptr;
        if (s_pPlatform->refusesFile)
        {
            return AVIERR_FILEOPEN;
        }
        s_pPlatform->files.push_back(
            std::make_unique<FakeFile>(s_pPlatform->refusedStreams, s_pPlatform->log));
        *file = s_pPlatform->files.back().get();
        return S_OK;
    }
    static void WINAPI Init() { s_pPlatform->log.push_back("init"); }
    static void WINAPI Exit() { s_pPlatform->log.push_back("exit"); }

    static FakePlatform* s_pPlatform;
    ImportPatch<HRESULT WINAPI(PAVIFILE*, LPCWSTR, UINT, LPCLSID)> vm_open;
    ImportPatch<void WINAPI()> vm_init;
    ImportPatch<void WINAPI()> vm_exit;
};

FakePlatform* FakePlatform::s_pPlatform = nullptr;

BOOL WINAPI RefuseWriteFile(HANDLE, LPCVOID, DWORD, LPDWORD written, LPOVERLAPPED)
{
    if (written != nullptr)
    {
        *written = 0;
    }
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

// ---------------------------------------------------------------------------------------------
// What is recorded, and where
// ---------------------------------------------------------------------------------------------

constexpr DWORD kH264 = MAKEFOURCC('H', '2', '6', '4');

BITMAPINFO VideoFormat(LONG width = 704, LONG height = 576, DWORD compression = kH264)
{
    BITMAPINFO format = {};
    format.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    format.bmiHeader.biWidth = width;
    format.bmiHeader.biHeight = height;
    format.bmiHeader.biPlanes = 1;
    format.bmiHeader.biBitCount = 24;
    format.bmiHeader.biCompression = compression;
    format.bmiHeader.biSizeImage = 1216512;
    format.bmiHeader.biXPelsPerMeter = 0x11223344;
    format.bmiHeader.biYPelsPerMeter = 0x55667788;
    format.bmiHeader.biClrUsed = 1;
    format.bmiHeader.biClrImportant = 1;
    format.bmiColors[0] = {0x0A, 0x0B, 0x0C, 0x0D};
    return format;
}

/// Sound of 16 bits, 2 channels and 8000 samples per second.
WAVEFORMATEX SoundFormat()
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

template <typename T>
std::string BytesOf(const T& value)
{
    return {reinterpret_cast<const char*>(&value), sizeof(value)};
}

unsigned char* Data(std::string& bytes)
{
    return reinterpret_cast<unsigned char*>(bytes.data());
}

int Size(const std::string& bytes)
{
    return static_cast<int>(bytes.size());
}

std::string Pattern(std::size_t size, unsigned int seed)
{
    std::string bytes(size, '\0');
    for (char& byte : bytes)
    {
        seed = seed * 1103515245u + 12345u;
        byte = static_cast<char>(seed >> 16);
    }
    return bytes;
}

std::string Utf16(const std::wstring& text)
{
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

const std::string kByteOrderMark = "\xFF\xFE"s;

std::string AnsiText(const std::wstring& text)
{
    const int length = static_cast<int>(text.size());
    const int size =
        WideCharToMultiByte(CP_ACP, 0, text.c_str(), length, nullptr, 0, nullptr, nullptr);
    std::string converted(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_ACP, 0, text.c_str(), length, converted.data(), size, nullptr, nullptr);
    return converted;
}

std::string FileBytes(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// An empty folder, which is the current one while it lives.
class WorkFolder
{
public:
    WorkFolder() : vm_before(fs::current_path())
    {
        static int count = 0;
        vm_path =
            fs::temp_directory_path() / ("avi_contract_" + std::to_string(GetCurrentProcessId()) +
                                         "_" + std::to_string(++count));
        fs::create_directory(vm_path);
        fs::current_path(vm_path);
    }
    ~WorkFolder()
    {
        std::error_code ignored;
        fs::current_path(vm_before, ignored);
        fs::remove_all(vm_path, ignored);
    }
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;

    std::set<std::wstring> Names() const
    {
        std::set<std::wstring> names;
        for (const auto& entry : fs::directory_iterator(vm_path))
        {
            names.insert(entry.path().filename().wstring());
        }
        return names;
    }

private:
    fs::path vm_before;
    fs::path vm_path;
};

/// Bytes behind which nothing may be touched.
class GuardedBytes
{
public:
    explicit GuardedBytes(const std::string& bytes)
    {
        SYSTEM_INFO system = {};
        GetSystemInfo(&system);
        const std::size_t page = system.dwPageSize;
        vm_pPages = static_cast<char*>(
            VirtualAlloc(nullptr, 2 * page, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
        vm_pBytes = vm_pPages + page - bytes.size();
        std::memcpy(vm_pBytes, bytes.data(), bytes.size());
        DWORD before = 0;
        VirtualProtect(vm_pPages + page, page, PAGE_NOACCESS, &before);
    }
    ~GuardedBytes() { VirtualFree(vm_pPages, 0, MEM_RELEASE); }
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;

    template <typename T>
    T* As()
    {
        return reinterpret_cast<T*>(vm_pBytes);
    }

private:
    char* vm_pPages;
    char* vm_pBytes;
};

/// A recorder beside a fake platform. In the end nothing may be left of what it was given.
class Recording : public ::testing::Test
{
protected:
    void TearDown() override
    {
        recorder.reset();
        for (const auto& file : platform.files)
        {
            EXPECT_EQ(0, file->references) << "references to the file";
            for (const auto& stream : file->streams)
            {
                EXPECT_EQ(0, stream->references)
                    << "references to a stream " << NameOf(stream->header.fccType);
            }
        }
    }

    bool Create(int framesPerSecond = 25, const wchar_t* name = L"rec.avi")
    {
        BITMAPINFO format = VideoFormat();
        return recorder->m_F_n_CreateAviFile(name, &format, framesPerSecond);
    }

    void AddSound(WAVEFORMATEX format = SoundFormat()) { recorder->m_S_SetAudioInfo(&format); }

    void WriteFrame(std::string bytes, bool isKey = false)
    {
        recorder->m_S_WriteVideo(Data(bytes), Size(bytes), isKey);
    }

    /// The frames' steps, from one due time to the next.
    template <typename Action>
    std::vector<__int64> VideoSteps(int count, Action action)
    {
        std::vector<__int64> steps;
        for (int i = 0; i < count; ++i)
        {
            const __int64 before = recorder->m_F_n_GetNextVideoTime();
            action();
            steps.push_back(recorder->m_F_n_GetNextVideoTime() - before);
        }
        return steps;
    }

    FakeStream& Stream(std::size_t index) { return *platform.files.back()->streams.at(index); }
    FakeStream& Video() { return Stream(0); }
    FakeStream& Text() { return Stream(1); }
    FakeStream& Sound() { return Stream(2); }

    WorkFolder folder;
    FakePlatform platform;
    std::unique_ptr<CAviConvert> recorder = std::make_unique<CAviConvert>();
};

void ExpectClosed(CAviConvert& recorder)
{
    EXPECT_FALSE(recorder.m_F_b_Create());
    EXPECT_EQ(nullptr, recorder.vm_pAviFile);
    EXPECT_EQ(nullptr, recorder.vm_pVideoStream);
    EXPECT_EQ(nullptr, recorder.vm_pAudioStream);
    EXPECT_EQ(nullptr, recorder.vm_pTextStream);
}

void ExpectHeader(const AVISTREAMINFOW& expected, const AVISTREAMINFOW& actual)
{
    EXPECT_EQ(NameOf(expected.fccType), NameOf(actual.fccType));
    EXPECT_EQ(NameOf(expected.fccHandler), NameOf(actual.fccHandler));
    EXPECT_EQ(expected.dwFlags, actual.dwFlags);
    EXPECT_EQ(expected.dwCaps, actual.dwCaps);
    EXPECT_EQ(expected.wPriority, actual.wPriority);
    EXPECT_EQ(expected.wLanguage, actual.wLanguage);
    EXPECT_EQ(expected.dwScale, actual.dwScale);
    EXPECT_EQ(expected.dwRate, actual.dwRate);
    EXPECT_EQ(expected.dwStart, actual.dwStart);
    EXPECT_EQ(expected.dwLength, actual.dwLength);
    EXPECT_EQ(expected.dwInitialFrames, actual.dwInitialFrames);
    EXPECT_EQ(expected.dwSuggestedBufferSize, actual.dwSuggestedBufferSize);
    EXPECT_EQ(expected.dwQuality, actual.dwQuality);
    EXPECT_EQ(expected.dwSampleSize, actual.dwSampleSize);
    EXPECT_EQ(expected.rcFrame.left, actual.rcFrame.left);
    EXPECT_EQ(expected.rcFrame.top, actual.rcFrame.top);
    EXPECT_EQ(expected.rcFrame.right, actual.rcFrame.right);
    EXPECT_EQ(expected.rcFrame.bottom, actual.rcFrame.bottom);
    EXPECT_EQ(expected.dwEditCount, actual.dwEditCount);
    EXPECT_EQ(expected.dwFormatChangeCount, actual.dwFormatChangeCount);
    EXPECT_STREQ(expected.szName, actual.szName);
}

// ---------------------------------------------------------------------------------------------
// The class
// ---------------------------------------------------------------------------------------------

TEST(RecorderClass, HasNoVirtualOperations)
{
    EXPECT_FALSE(std::is_polymorphic_v<CAviConvert>);
}

TEST(RecorderClass, HasTheMembersThatAreStated)
{
    using R = CAviConvert;
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_F_b_Create), bool (R::*)()>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_F_n_CreateAviFile),
                                bool (R::*)(CStringW, BITMAPINFO*, int)>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_S_SetAudioInfo), void (R::*)(WAVEFORMATEX*)>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_S_SetStartTime), void (R::*)(__int64)>));
    EXPECT_TRUE(
        (std::is_same_v<decltype(&R::m_S_WriteVideo), void (R::*)(unsigned char*, int, bool)>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_S_WriteAudio), void (R::*)(unsigned char*, int)>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_S_WriteText), void (R::*)(CStringW)>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_S_CalNextVideoTime), void (R::*)()>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_S_CalNextAudioTime), void (R::*)(long)>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_S_CalNextTextTime), void (R::*)()>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_F_n_GetNextVideoTime), __int64 (R::*)()>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_F_n_GetNextAudioTime), __int64 (R::*)()>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_F_n_GetNextTextTime), __int64 (R::*)()>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_F_n_GetWriteSzie), unsigned int (R::*)()>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_F_s_GetFileName), CStringW (R::*)()>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_F_b_n_IsMultipleFPS), bool (R::*)()>));
    EXPECT_TRUE((std::is_same_v<decltype(&R::m_S_CloseAviFile), void (R::*)()>));
}

TEST(RecorderClass, HasTheFieldsOfTheTypesThatAreStated)
{
    using R = CAviConvert;
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_pAviFile), PAVIFILE>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_pVideoStream), PAVISTREAM>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_nVideoIndex), int>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_pAudioStream), PAVISTREAM>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_nAudioPos), int>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_stWaveFormat), WAVEFORMATEX>));
    EXPECT_EQ(18u, sizeof(R::vm_stWaveFormat));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_pTextStream), PAVISTREAM>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_nTextIndex), int>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_nNextVideoTime), __int64>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_nNextAudioTime), __int64>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_nNextTextTime), __int64>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_nWriteSize), unsigned int>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_nFrameMS), int>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_nFrameMSRem), int>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_nFPS), int>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_sFileName), CStringW>));
    EXPECT_TRUE((std::is_same_v<decltype(R::vm_cSrtFile), CFileRW>));
}

TEST_F(Recording, FieldsStandInTheStatedOrderFromTheObjectsBegin)
{
    CAviConvert& r = *recorder;
    const std::vector<const void*> fields = {
        &r.vm_pAviFile,       &r.vm_pVideoStream,   &r.vm_nVideoIndex,   &r.vm_pAudioStream,
        &r.vm_nAudioPos,      &r.vm_stWaveFormat,   &r.vm_pTextStream,   &r.vm_nTextIndex,
        &r.vm_nNextVideoTime, &r.vm_nNextAudioTime, &r.vm_nNextTextTime, &r.vm_nWriteSize,
        &r.vm_nFrameMS,       &r.vm_nFrameMSRem,    &r.vm_nFPS,          &r.vm_sFileName,
        &r.vm_cSrtFile};
    EXPECT_EQ(static_cast<const void*>(&r), fields.front());
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end()));
}

TEST_F(Recording, NewObjectHasNothingOpenAndNothingWritten)
{
    ExpectClosed(*recorder);
    EXPECT_EQ(0u, recorder->vm_nWriteSize);
    EXPECT_EQ(0u, recorder->m_F_n_GetWriteSzie());
    EXPECT_STREQ(L"", recorder->vm_sFileName);
    EXPECT_STREQ(L"", recorder->m_F_s_GetFileName());
    EXPECT_EQ(0, recorder->vm_cSrtFile.m_F_b_IsOpen());
    EXPECT_FALSE(recorder->vm_cSrtFile.vm_bCanWrite);
}

TEST_F(Recording, ConstructorInitialisesTheInterfaceAndDestructorLeavesIt)
{
    EXPECT_EQ((Texts{"init"}), platform.log);
    recorder.reset();
    EXPECT_EQ((Texts{"init", "exit"}), platform.log);
}

TEST_F(Recording, DestructorClosesTheFileBeforeItLeavesTheInterface)
{
    ASSERT_TRUE(Create());
    AddSound();
    platform.log.clear();
    recorder.reset();
    EXPECT_EQ((Texts{"release vids", "release auds", "release txts", "release file", "exit"}),
              platform.log);
    EXPECT_TRUE(fs::remove("rec.srt")) << "nobody holds it any more";
}

TEST_F(Recording, DestructorClosesASubtitleFileThatTheClientOpened)
{
    ASSERT_NE(0, recorder->vm_cSrtFile.m_F_n_Open(CStringW(L"own.srt"), emDef_Create));
    recorder.reset();
    EXPECT_TRUE(fs::remove("own.srt"));
}

// ---------------------------------------------------------------------------------------------
// Opening
// ---------------------------------------------------------------------------------------------

TEST_F(Recording, CreateTellsWhetherAFileIsOpen)
{
    EXPECT_FALSE(recorder->m_F_b_Create());
    EXPECT_TRUE(Create());
    EXPECT_TRUE(recorder->m_F_b_Create());
    recorder->m_S_CloseAviFile();
    EXPECT_FALSE(recorder->m_F_b_Create());
}

TEST_F(Recording, OpensTheFileToBeCreatedAndWritten)
{
    ASSERT_TRUE(Create());
    ASSERT_EQ(1u, platform.opened.size());
    EXPECT_EQ(L"rec.avi", platform.opened[0].first);
    EXPECT_EQ(4097u, platform.opened[0].second);
}

TEST_F(Recording, MakesVideoAndTextStreamInThisOrderEachWithItsFormat)
{
    platform.log.clear();
    ASSERT_TRUE(Create());
    EXPECT_EQ((Texts{"open", "create vids", "format vids", "create txts", "format txts"}),
              platform.log);
    EXPECT_EQ(platform.files[0].get(), recorder->vm_pAviFile);
    EXPECT_EQ(&Video(), recorder->vm_pVideoStream);
    EXPECT_EQ(&Text(), recorder->vm_pTextStream);
    EXPECT_EQ(nullptr, recorder->vm_pAudioStream);
}

TEST_F(Recording, VideoHeaderNamesTheFramesKindRateAndSizeAndNothingElse)
{
    BITMAPINFO format = VideoFormat(1920, 1080, MAKEFOURCC('M', 'J', 'P', 'G'));
    ASSERT_TRUE(recorder->m_F_n_CreateAviFile(L"rec", &format, 30));
    AVISTREAMINFOW expected = {};
    expected.fccType = MAKEFOURCC('v', 'i', 'd', 's');
    expected.fccHandler = MAKEFOURCC('M', 'J', 'P', 'G');
    expected.dwScale = 10000;
    expected.dwRate = 300000;
    expected.rcFrame = {0, 0, 1920, 1080};
    ExpectHeader(expected, Video().header);
}

TEST_F(Recording, VideoFormatIsTheFirst44BytesOfWhatTheCallerGave)
{
    const std::string bytes = BytesOf(VideoFormat());
    ASSERT_EQ(44u, bytes.size());
    GuardedBytes format(bytes);
    ASSERT_TRUE(recorder->m_F_n_CreateAviFile(L"rec", format.As<BITMAPINFO>(), 25));
    EXPECT_EQ(Texts{bytes}, Video().formats);
    EXPECT_EQ(0, Video().formatPosition);
}

TEST_F(Recording, TextHeaderIsDrawnOncePerSecondOverTheWholeFrame)
{
    BITMAPINFO format = VideoFormat(352, 288);
    ASSERT_TRUE(recorder->m_F_n_CreateAviFile(L"rec", &format, 25));
    AVISTREAMINFOW expected = {};
    expected.fccType = MAKEFOURCC('t', 'x', 't', 's');
    expected.fccHandler = MAKEFOURCC('D', 'R', 'A', 'W');
    expected.dwScale = 1;
    expected.dwRate = 1;
    expected.rcFrame = {0, 0, 352, 288};
    ExpectHeader(expected, Text().header);
}

TEST_F(Recording, TextFormatIsAFourByteBlockThatHoldsFour)
{
    ASSERT_TRUE(Create());
    EXPECT_EQ(Texts{"\x04\0\0\0"s}, Text().formats);
    EXPECT_EQ(0, Text().formatPosition);
}

TEST_F(Recording, FrameTimeIsAThousandByTheRateWithItsRemainder)
{
    struct Case
    {
        int rate, milliseconds, remainder;
    };
    for (const Case& c : {Case{25, 40, 0}, Case{30, 33, 10}, Case{7, 142, 6}, Case{1, 1000, 0},
                          Case{1000, 1, 0}, Case{1500, 0, 1000}})
    {
        SCOPED_TRACE(c.rate);
        ASSERT_TRUE(Create(c.rate));
        EXPECT_EQ(c.milliseconds, recorder->vm_nFrameMS);
        EXPECT_EQ(c.remainder, recorder->vm_nFrameMSRem);
        EXPECT_EQ(c.rate, recorder->vm_nFPS);
        EXPECT_EQ(static_cast<DWORD>(c.rate) * 10000, Video().header.dwRate);
    }
}

TEST_F(Recording, NewFileBeginsWithIndicesAndCountOfZero)
{
    ASSERT_TRUE(Create());
    WriteFrame("frame");
    recorder->m_S_WriteText(L"text");
    EXPECT_EQ(9u, recorder->m_F_n_GetWriteSzie());
    ASSERT_TRUE(Create(25, L"second"));
    EXPECT_EQ(0, recorder->vm_nVideoIndex);
    EXPECT_EQ(0, recorder->vm_nTextIndex);
    EXPECT_EQ(0u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(Recording, NewFileLeavesTheDueTimes)
{
    recorder->m_S_SetStartTime(7777);
    ASSERT_TRUE(Create());
    EXPECT_EQ(7777, recorder->m_F_n_GetNextVideoTime());
    EXPECT_EQ(7777, recorder->m_F_n_GetNextAudioTime());
    EXPECT_EQ(7777, recorder->m_F_n_GetNextTextTime());
}

TEST_F(Recording, NewFileClosesTheOneThatIsOpenFirst)
{
    ASSERT_TRUE(Create(25, L"first"));
    AddSound();
    platform.log.clear();
    ASSERT_TRUE(Create(25, L"second"));
    EXPECT_EQ((Texts{"release vids", "release auds", "release txts", "release file", "open",
                     "create vids", "format vids", "create txts", "format txts"}),
              platform.log);
    EXPECT_EQ(nullptr, recorder->vm_pAudioStream);
    EXPECT_TRUE(fs::remove("first.srt")) << "nobody holds it any more";
}

TEST_F(Recording, FileThatCannotBeOpenedGivesFalseAndNoName)
{
    platform.refusesFile = true;
    EXPECT_FALSE(Create());
    ExpectClosed(*recorder);
    EXPECT_STREQ(L"", recorder->m_F_s_GetFileName());
    EXPECT_EQ(0, recorder->vm_cSrtFile.m_F_b_IsOpen());
    EXPECT_TRUE(folder.Names().empty());
}

TEST_F(Recording, FileThatCannotBeOpenedClosesTheOneBeforeAndKeepsItsCounts)
{
    ASSERT_TRUE(Create(30, L"first"));
    WriteFrame("frame");
    platform.refusesFile = true;
    EXPECT_FALSE(Create(25, L"second"));
    ExpectClosed(*recorder);
    EXPECT_STREQ(L"", recorder->m_F_s_GetFileName());
    EXPECT_EQ(5u, recorder->m_F_n_GetWriteSzie());
    EXPECT_EQ(1, recorder->vm_nVideoIndex);
    EXPECT_EQ(30, recorder->vm_nFPS);
    EXPECT_TRUE(fs::remove("first.srt"));
}

TEST_F(Recording, RefusedVideoStreamGivesFalseAndReleasesTheFile)
{
    platform.refusedStreams = {"vids"};
    platform.log.clear();
    EXPECT_FALSE(Create());
    EXPECT_EQ((Texts{"open", "create vids", "release file"}), platform.log);
    ExpectClosed(*recorder);
    EXPECT_TRUE(folder.Names().empty()) << "there are no subtitles of nothing";
}

TEST_F(Recording, RefusedTextStreamGivesFalseAndReleasesVideoStreamAndFile)
{
    platform.refusedStreams = {"txts"};
    platform.log.clear();
    EXPECT_FALSE(Create());
    EXPECT_EQ((Texts{"open", "create vids", "format vids", "create txts", "release vids",
                     "release file"}),
              platform.log);
    ExpectClosed(*recorder);
    EXPECT_TRUE(folder.Names().empty());
}

TEST_F(Recording, RefusedStreamLeavesTheName)
{
    for (const char* type : {"vids", "txts"})
    {
        SCOPED_TRACE(type);
        platform.refusedStreams = {type};
        EXPECT_FALSE(Create(25, L"rec"));
        EXPECT_STREQ(L"rec.avi", recorder->m_F_s_GetFileName());
    }
}

TEST_F(Recording, RefusalCanBeFollowedByARecording)
{
    platform.refusedStreams = {"txts"};
    EXPECT_FALSE(Create());
    platform.refusedStreams.clear();
    EXPECT_TRUE(Create());
    WriteFrame("frame");
    EXPECT_EQ(1u, Video().writes.size());
}

TEST_F(Recording, ImpossibleRateOrNoFormatGivesFalseAndLeavesNothingOpen)
{
    BITMAPINFO format = VideoFormat();
    for (const int rate : {0, -1, -25})
    {
        SCOPED_TRACE(rate);
        ASSERT_TRUE(Create());
        EXPECT_FALSE(recorder->m_F_n_CreateAviFile(L"bad", &format, rate));
        ExpectClosed(*recorder);
        EXPECT_STREQ(L"", recorder->m_F_s_GetFileName());
    }
    ASSERT_TRUE(Create());
    EXPECT_FALSE(recorder->m_F_n_CreateAviFile(L"bad", nullptr, 25));
    ExpectClosed(*recorder);
    EXPECT_EQ((std::set<std::wstring>{L"rec.srt"}), folder.Names());
}

// ---------------------------------------------------------------------------------------------
// Names
// ---------------------------------------------------------------------------------------------

TEST_F(Recording, NameWithoutTheExtensionGetsIt)
{
    ASSERT_TRUE(Create(25, L"rec"));
    EXPECT_EQ(L"rec.avi", platform.opened[0].first);
    EXPECT_STREQ(L"rec.avi", recorder->m_F_s_GetFileName());
    EXPECT_STREQ(L"rec.avi", recorder->vm_sFileName);
    EXPECT_EQ((std::set<std::wstring>{L"rec.srt"}), folder.Names());
}

TEST_F(Recording, NameWithTheExtensionInWhateverCaseIsKept)
{
    ASSERT_TRUE(Create(25, L"REC.AVI"));
    EXPECT_EQ(L"REC.AVI", platform.opened[0].first);
    EXPECT_STREQ(L"REC.AVI", recorder->m_F_s_GetFileName());
    EXPECT_EQ((std::set<std::wstring>{L"REC.srt"}), folder.Names());
    ASSERT_TRUE(Create(25, L"mixed.aVi"));
    EXPECT_EQ(L"mixed.aVi", platform.opened[1].first);
}

TEST_F(Recording, OnlyTheLastFourCharactersDecideOnTheExtension)
{
    const std::vector<std::pair<std::wstring, std::wstring>> names = {
        {L"a", L"a.avi"},
        {L"avi", L"avi.avi"},
        {L"xavi", L"xavi.avi"},
        {L".avi", L".avi"},
        {L"rec.mp4", L"rec.mp4.avi"},
        {L"rec.avi.old", L"rec.avi.old.avi"},
        {L"rec.avix", L"rec.avix.avi"},
        {L"x.avi\\rec", L"x.avi\\rec.avi"},
        {L"x.avi\\rec.avi", L"x.avi\\rec.avi"},
        {L"rec.", L"rec..avi"},
        {L"", L".avi"},
        {L"\u65E5\u672C", L"\u65E5\u672C.avi"},
    };
    for (const auto& [given, opened] : names)
    {
        ASSERT_TRUE(Create(25, given.c_str()));
        EXPECT_EQ(opened, platform.opened.back().first);
        EXPECT_STREQ(opened.c_str(), recorder->m_F_s_GetFileName());
    }
}

TEST_F(Recording, NameIsToldAlsoAfterClosing)
{
    ASSERT_TRUE(Create(25, L"rec"));
    recorder->m_S_CloseAviFile();
    EXPECT_STREQ(L"rec.avi", recorder->m_F_s_GetFileName());
}

TEST_F(Recording, NameThatIsToldIsACopy)
{
    ASSERT_TRUE(Create(25, L"rec"));
    CStringW name = recorder->m_F_s_GetFileName();
    name.SetAt(0, L'X');
    EXPECT_STREQ(L"rec.avi", recorder->m_F_s_GetFileName());
}

// ---------------------------------------------------------------------------------------------
// The subtitle file
// ---------------------------------------------------------------------------------------------

TEST_F(Recording, SubtitleFileBeginsWithAByteOrderMark)
{
    ASSERT_TRUE(Create());
    EXPECT_EQ(1, recorder->vm_cSrtFile.m_F_b_IsOpen());
    EXPECT_EQ(kByteOrderMark, FileBytes("rec.srt"));
}

TEST_F(Recording, SubtitleFileOfBeforeIsEmptied)
{
    std::ofstream("rec.srt") << "what was there before";
    ASSERT_TRUE(Create());
    recorder->m_S_CloseAviFile();
    EXPECT_EQ(kByteOrderMark, FileBytes("rec.srt"));
}

TEST_F(Recording, OthersMayReadTheSubtitleFileMeanwhileButNotWrite)
{
    ASSERT_TRUE(Create());
    constexpr DWORD kAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const HANDLE reader =
        CreateFileW(L"rec.srt", GENERIC_READ, kAll, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(INVALID_HANDLE_VALUE, reader);
    CloseHandle(reader);
    const HANDLE writer =
        CreateFileW(L"rec.srt", GENERIC_WRITE, kAll, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(INVALID_HANDLE_VALUE, writer);
    EXPECT_EQ(static_cast<DWORD>(ERROR_SHARING_VIOLATION), GetLastError());
}

TEST_F(Recording, SubtitleFileIsOpenToBeReadToo)
{
    ASSERT_TRUE(Create());
    EXPECT_EQ(0u, recorder->vm_cSrtFile.m_F_n_Seek(0, CFile::begin));
    char bytes[4] = {};
    EXPECT_EQ(2u, recorder->vm_cSrtFile.m_F_n_Read(bytes, sizeof(bytes)));
    EXPECT_EQ(kByteOrderMark, std::string(bytes, 2));
}

TEST_F(Recording, SubtitleFileThatTheClientHadOpenedIsClosedFirst)
{
    ASSERT_NE(0, recorder->vm_cSrtFile.m_F_n_Open(CStringW(L"own.srt"), emDef_Create));
    ASSERT_TRUE(Create());
    EXPECT_TRUE(fs::remove("own.srt"));
    EXPECT_EQ(kByteOrderMark, FileBytes("rec.srt"));
}

TEST_F(Recording, SubtitleFileThatCannotBeOpenedIsNoError)
{
    fs::create_directory("rec.srt");
    EXPECT_TRUE(Create());
    EXPECT_EQ(0, recorder->vm_cSrtFile.m_F_b_IsOpen());
    recorder->m_S_SetStartTime(0);
    recorder->m_S_WriteText(L"text");
    ASSERT_EQ(1u, Text().writes.size());
    EXPECT_EQ("text", Text().writes[0].bytes);
    EXPECT_EQ(1, recorder->vm_nTextIndex);
    EXPECT_EQ(1000, recorder->m_F_n_GetNextTextTime());
    EXPECT_EQ(4u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(Recording, ByteOrderMarkThatCannotBeWrittenRaisesNothing)
{
    const ImportPatch refusal("WriteFile", &RefuseWriteFile);
    bool isOpen = false;
    EXPECT_NO_THROW(isOpen = Create());
    EXPECT_TRUE(isOpen);
}

TEST_F(Recording, SubtitlesThatCannotBeWrittenRaiseNothing)
{
    ASSERT_TRUE(Create());
    recorder->m_S_SetStartTime(0);
    {
        const ImportPatch refusal("WriteFile", &RefuseWriteFile);
        EXPECT_NO_THROW(recorder->m_S_WriteText(L"lost"));
    }
    EXPECT_EQ(1, recorder->vm_nTextIndex);
    EXPECT_EQ(1000, recorder->m_F_n_GetNextTextTime());
    ASSERT_EQ(1u, Text().writes.size());
    EXPECT_EQ("lost", Text().writes[0].bytes);
    EXPECT_NO_THROW(recorder->m_S_CloseAviFile());
}

// ---------------------------------------------------------------------------------------------
// Adding sound
// ---------------------------------------------------------------------------------------------

TEST_F(Recording, SoundIsAddedOnlyWhileAFileIsOpen)
{
    platform.log.clear();
    AddSound();
    EXPECT_TRUE(platform.log.empty());
    EXPECT_EQ(nullptr, recorder->vm_pAudioStream);
    ASSERT_TRUE(Create());
    recorder->m_S_CloseAviFile();
    platform.log.clear();
    AddSound();
    EXPECT_TRUE(platform.log.empty());
    EXPECT_EQ(nullptr, recorder->vm_pAudioStream);
}

TEST_F(Recording, SoundHeaderCountsInBytes)
{
    ASSERT_TRUE(Create());
    platform.log.clear();
    AddSound();
    EXPECT_EQ((Texts{"create auds", "format auds"}), platform.log);
    EXPECT_EQ(&Sound(), recorder->vm_pAudioStream);
    AVISTREAMINFOW expected = {};
    expected.fccType = MAKEFOURCC('a', 'u', 'd', 's');
    expected.dwScale = 4;
    expected.dwRate = 32000;
    expected.dwQuality = 10000;
    expected.dwSampleSize = 4;
    ExpectHeader(expected, Sound().header);
}

TEST_F(Recording, SoundsSampleSizeIsThatOfBitsAndChannelsNotTheBlockAlign)
{
    ASSERT_TRUE(Create());
    WAVEFORMATEX format = {};
    format.wFormatTag = WAVE_FORMAT_DVI_ADPCM;
    format.nChannels = 1;
    format.nSamplesPerSec = 8000;
    format.nAvgBytesPerSec = 4055;
    format.nBlockAlign = 256;
    format.wBitsPerSample = 4;
    AddSound(format);
    EXPECT_EQ(0u, Sound().header.dwSampleSize);
    EXPECT_EQ(256u, Sound().header.dwScale);
    EXPECT_EQ(4055u, Sound().header.dwRate);

    ASSERT_TRUE(Create());
    format.nChannels = 3;
    format.wBitsPerSample = 12;
    AddSound(format);
    EXPECT_EQ(4u, Sound().header.dwSampleSize) << "36 bits";
}

TEST_F(Recording, SoundFormatIsEighteenBytesWhateverFollowsThem)
{
    ASSERT_TRUE(Create());
    WAVEFORMATEX format = SoundFormat();
    format.cbSize = 22;
    const std::string bytes = BytesOf(format);
    ASSERT_EQ(18u, bytes.size());
    GuardedBytes guarded(bytes);
    recorder->m_S_SetAudioInfo(guarded.As<WAVEFORMATEX>());
    EXPECT_EQ(Texts{bytes}, Sound().formats);
    EXPECT_EQ(0, Sound().formatPosition);
    EXPECT_EQ(bytes, BytesOf(recorder->vm_stWaveFormat));
}

TEST_F(Recording, SoundBeginsAtPositionZeroInEveryFile)
{
    std::string block = Pattern(400, 1);
    ASSERT_TRUE(Create());
    AddSound();
    recorder->m_S_WriteAudio(Data(block), Size(block));
    EXPECT_EQ(100, recorder->vm_nAudioPos);
    ASSERT_TRUE(Create());
    AddSound();
    EXPECT_EQ(0, recorder->vm_nAudioPos);
    recorder->m_S_WriteAudio(Data(block), Size(block));
    EXPECT_EQ(0, Sound().writes.at(0).position);
}

TEST_F(Recording, RefusedSoundStreamAbandonsTheWholeRecording)
{
    ASSERT_TRUE(Create());
    platform.refusedStreams = {"auds"};
    platform.log.clear();
    AddSound();
    EXPECT_EQ((Texts{"create auds", "release vids", "release txts", "release file"}), platform.log);
    ExpectClosed(*recorder);
}

TEST_F(Recording, NothingIsWrittenAfterARefusedSoundStream)
{
    ASSERT_TRUE(Create());
    recorder->m_S_SetStartTime(0);
    platform.refusedStreams = {"auds"};
    AddSound();
    std::string block = Pattern(400, 1);
    WriteFrame("frame", true);
    recorder->m_S_WriteAudio(Data(block), Size(block));
    recorder->m_S_WriteText(L"text");
    EXPECT_EQ(0u, recorder->m_F_n_GetWriteSzie());
    EXPECT_EQ(0, recorder->m_F_n_GetNextVideoTime());
    EXPECT_EQ(0, recorder->m_F_n_GetNextAudioTime());
    EXPECT_EQ(0, recorder->m_F_n_GetNextTextTime());
    recorder->m_S_CloseAviFile();
    EXPECT_EQ(kByteOrderMark, FileBytes("rec.srt"));
}

TEST_F(Recording, SoundThatIsAddedTwiceLosesNoStream)
{
    ASSERT_TRUE(Create());
    AddSound();
    AddSound();
    // TearDown() counts the references.
    EXPECT_TRUE(recorder->m_F_b_Create());
}

TEST_F(Recording, NoSoundFormatChangesNothing)
{
    ASSERT_TRUE(Create());
    recorder->m_S_SetAudioInfo(nullptr);
    EXPECT_TRUE(recorder->m_F_b_Create());
    EXPECT_EQ(nullptr, recorder->vm_pAudioStream);
}

// ---------------------------------------------------------------------------------------------
// Video
// ---------------------------------------------------------------------------------------------

TEST_F(Recording, StartTimeIsThatOfAllThreeStreams)
{
    const __int64 start = 1700000000000;
    recorder->m_S_SetStartTime(start);
    EXPECT_EQ(start, recorder->m_F_n_GetNextVideoTime());
    EXPECT_EQ(start, recorder->m_F_n_GetNextAudioTime());
    EXPECT_EQ(start, recorder->m_F_n_GetNextTextTime());
    EXPECT_EQ(start, recorder->vm_nNextVideoTime);
    EXPECT_EQ(start, recorder->vm_nNextAudioTime);
    EXPECT_EQ(start, recorder->vm_nNextTextTime);
    recorder->m_S_SetStartTime(-5);
    EXPECT_EQ(-5, recorder->m_F_n_GetNextVideoTime());
}

TEST_F(Recording, FrameIsOneSampleAtItsIndexMarkedAsKeyOrNot)
{
    ASSERT_TRUE(Create());
    std::string key = Pattern(1000, 1);
    std::string other = Pattern(77, 2);
    recorder->m_S_WriteVideo(Data(key), Size(key), true);
    recorder->m_S_WriteVideo(Data(other), Size(other), false);
    ASSERT_EQ(2u, Video().writes.size());
    const StreamWrite& first = Video().writes[0];
    EXPECT_EQ(0, first.position);
    EXPECT_EQ(1, first.samples);
    EXPECT_EQ(1000, first.size);
    EXPECT_EQ(static_cast<DWORD>(AVIIF_KEYFRAME), first.flags);
    EXPECT_EQ(key, first.bytes);
    const StreamWrite& second = Video().writes[1];
    EXPECT_EQ(1, second.position);
    EXPECT_EQ(1, second.samples);
    EXPECT_EQ(77, second.size);
    EXPECT_EQ(0u, second.flags);
    EXPECT_EQ(other, second.bytes);
    EXPECT_EQ(2, recorder->vm_nVideoIndex);
    EXPECT_EQ(1077u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(Recording, NullFrameWithoutKeyMarkTakesIndexAndTimeButWritesNothing)
{
    ASSERT_TRUE(Create());
    recorder->m_S_SetStartTime(0);
    WriteFrame("first", true);
    recorder->m_S_WriteVideo(nullptr, 0, false);
    EXPECT_EQ(1u, Video().writes.size());
    EXPECT_EQ(2, recorder->vm_nVideoIndex);
    EXPECT_EQ(80, recorder->m_F_n_GetNextVideoTime());
    EXPECT_EQ(5u, recorder->m_F_n_GetWriteSzie());
    WriteFrame("third");
    ASSERT_EQ(2u, Video().writes.size());
    EXPECT_EQ(2, Video().writes[1].position);
}

TEST_F(Recording, LengthOfANullFrameCountsAsWritten)
{
    ASSERT_TRUE(Create());
    recorder->m_S_WriteVideo(nullptr, 100, false);
    EXPECT_TRUE(Video().writes.empty());
    EXPECT_EQ(100u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(Recording, NullKeyFrameIsWritten)
{
    ASSERT_TRUE(Create());
    recorder->m_S_WriteVideo(nullptr, 0, true);
    ASSERT_EQ(1u, Video().writes.size());
    EXPECT_EQ(0, Video().writes[0].position);
    EXPECT_EQ(1, Video().writes[0].samples);
    EXPECT_EQ(0, Video().writes[0].size);
    EXPECT_EQ(static_cast<DWORD>(AVIIF_KEYFRAME), Video().writes[0].flags);
    EXPECT_EQ(1, recorder->vm_nVideoIndex);
}

TEST_F(Recording, LengthOfANullKeyFrameCountsButIsNotOffered)
{
    ASSERT_TRUE(Create());
    recorder->m_S_WriteVideo(nullptr, 100, true);
    ASSERT_EQ(1u, Video().writes.size());
    EXPECT_EQ(0, Video().writes[0].size) << "there is nothing to be read";
    EXPECT_EQ(static_cast<DWORD>(AVIIF_KEYFRAME), Video().writes[0].flags);
    EXPECT_EQ(100u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(Recording, FrameWithoutBytesButWithAnAddressIsWritten)
{
    ASSERT_TRUE(Create());
    unsigned char byte = 0;
    recorder->m_S_WriteVideo(&byte, 0, false);
    ASSERT_EQ(1u, Video().writes.size());
    EXPECT_EQ(0, Video().writes[0].size);
    EXPECT_EQ(0u, Video().writes[0].flags);
    EXPECT_EQ(1, recorder->vm_nVideoIndex);
}

TEST_F(Recording, LengthThatIsNegativeOffersNoBytesAndTakesIndexAndTime)
{
    ASSERT_TRUE(Create());
    recorder->m_S_SetStartTime(0);
    unsigned char byte = 0;
    recorder->m_S_WriteVideo(&byte, -5, false);
    recorder->m_S_WriteVideo(&byte, INT_MIN, true);
    for (const StreamWrite& write : Video().writes)
    {
        EXPECT_EQ(0, write.size);
    }
    EXPECT_EQ(2, recorder->vm_nVideoIndex);
    EXPECT_EQ(80, recorder->m_F_n_GetNextVideoTime());
}

TEST_F(Recording, FrameThatThePlatformRefusesCountsAllTheSame)
{
    ASSERT_TRUE(Create());
    recorder->m_S_SetStartTime(0);
    Video().answers = {{kFailure, 0, 0}};
    const OutputCapture output;
    WriteFrame("frame", true);
    EXPECT_EQ(1, recorder->vm_nVideoIndex);
    EXPECT_EQ(40, recorder->m_F_n_GetNextVideoTime());
    EXPECT_EQ(5u, recorder->m_F_n_GetWriteSzie());
    EXPECT_TRUE(output.Texts().empty());
}

TEST_F(Recording, EveryFrameAt25PerSecondTakes40Milliseconds)
{
    ASSERT_TRUE(Create(25));
    recorder->m_S_SetStartTime(1000);
    EXPECT_EQ(std::vector<__int64>(60, 40), VideoSteps(60, [this] { WriteFrame("f"); }));
    EXPECT_EQ(1000 + 60 * 40, recorder->m_F_n_GetNextVideoTime());
}

TEST_F(Recording, FramesWhoseNewIndexIsBelowTheRemainderTakeAMillisecondMore)
{
    ASSERT_TRUE(Create(30));
    recorder->m_S_SetStartTime(0);
    std::vector<__int64> expected;
    for (int newIndex = 1; newIndex <= 90; ++newIndex)
    {
        expected.push_back(newIndex % 30 <= 9 ? 34 : 33);
    }
    EXPECT_EQ(expected, VideoSteps(90, [this] { WriteFrame("f"); }));
}

TEST_F(Recording, ASecondOfFramesTakes1000MillisecondsAtEveryRate)
{
    for (const int rate : {1, 3, 7, 12, 15, 24, 25, 30, 60, 120, 999, 1000, 1500})
    {
        SCOPED_TRACE(rate);
        ASSERT_TRUE(Create(rate));
        recorder->m_S_SetStartTime(0);
        for (int second = 1; second <= 2; ++second)
        {
            VideoSteps(rate, [this] { WriteFrame("f"); });
            EXPECT_EQ(1000 * second, recorder->m_F_n_GetNextVideoTime());
        }
    }
}

TEST_F(Recording, CalNextVideoTimeStepsByTheCurrentIndexAndWritesNothing)
{
    ASSERT_TRUE(Create(30));
    recorder->m_S_SetStartTime(0);
    for (int index = 0; index < 60; ++index)
    {
        SCOPED_TRACE(index);
        const __int64 before = recorder->m_F_n_GetNextVideoTime();
        recorder->m_S_CalNextVideoTime();
        EXPECT_EQ(before + (index % 30 < 10 ? 34 : 33), recorder->m_F_n_GetNextVideoTime());
        EXPECT_EQ(index, recorder->vm_nVideoIndex);
        EXPECT_EQ(static_cast<std::size_t>(index), Video().writes.size());
        WriteFrame("f");
    }
    EXPECT_EQ(60u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(Recording, CalNextVideoTimeAt25PerSecondTakes40Milliseconds)
{
    ASSERT_TRUE(Create(25));
    recorder->m_S_SetStartTime(0);
    EXPECT_EQ(std::vector<__int64>(30, 40),
              VideoSteps(30, [this] { recorder->m_S_CalNextVideoTime(); }));
}

TEST_F(Recording, FrameIsIgnoredWithoutAFile)
{
    recorder->m_S_SetStartTime(50);
    WriteFrame("frame", true);
    EXPECT_EQ(50, recorder->m_F_n_GetNextVideoTime());
    EXPECT_EQ(0u, recorder->m_F_n_GetWriteSzie());
    ASSERT_TRUE(Create());
    WriteFrame("frame", true);
    recorder->m_S_CloseAviFile();
    WriteFrame("frame", true);
    recorder->m_S_WriteVideo(nullptr, 0, false);
    EXPECT_EQ(1, recorder->vm_nVideoIndex);
    EXPECT_EQ(90, recorder->m_F_n_GetNextVideoTime());
    EXPECT_EQ(5u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(Recording, SecondsBoundaryIsAWholeMultipleOfTheRate)
{
    ASSERT_TRUE(Create(25));
    for (int index = 0; index <= 75; ++index)
    {
        SCOPED_TRACE(index);
        EXPECT_EQ(index % 25 == 0, recorder->m_F_b_n_IsMultipleFPS());
        recorder->m_S_WriteVideo(nullptr, 0, false);
    }
}

TEST_F(Recording, NewObjectAnswersEveryCallWithoutAFile)
{
    recorder->m_S_SetStartTime(0);
    recorder->m_F_b_n_IsMultipleFPS();
    recorder->m_S_CalNextVideoTime();
    recorder->m_S_CalNextAudioTime(800);
    recorder->m_S_CalNextTextTime();
    recorder->m_S_WriteText(L"text");
    recorder->m_S_CloseAviFile();
    ExpectClosed(*recorder);
    EXPECT_EQ(0, recorder->m_F_n_GetNextAudioTime());
    EXPECT_EQ(1000, recorder->m_F_n_GetNextTextTime());
}

// ---------------------------------------------------------------------------------------------
// Sound
// ---------------------------------------------------------------------------------------------

class RecordingOfSound : public Recording
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(Create());
        AddSound();
        recorder->m_S_SetStartTime(0);
    }
};

TEST_F(RecordingOfSound, BlockIsSamplesOfTheBlockAlignAtTheNextPosition)
{
    std::string first = Pattern(3200, 1);
    std::string second = Pattern(40, 2);
    recorder->m_S_WriteAudio(Data(first), Size(first));
    recorder->m_S_WriteAudio(Data(second), Size(second));
    ASSERT_EQ(2u, Sound().writes.size());
    EXPECT_EQ(0, Sound().writes[0].position);
    EXPECT_EQ(800, Sound().writes[0].samples);
    EXPECT_EQ(3200, Sound().writes[0].size);
    EXPECT_EQ(first, Sound().writes[0].bytes);
    EXPECT_EQ(800, Sound().writes[1].position);
    EXPECT_EQ(10, Sound().writes[1].samples);
    EXPECT_EQ(40, Sound().writes[1].size);
    EXPECT_EQ(second, Sound().writes[1].bytes);
    for (const StreamWrite& write : Sound().writes)
    {
        EXPECT_EQ(static_cast<DWORD>(AVIIF_KEYFRAME), write.flags);
        EXPECT_TRUE(write.asksForResult);
    }
    EXPECT_EQ(3240u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(RecordingOfSound, BlockOf3200BytesIs800SamplesAnd100Milliseconds)
{
    std::string block = Pattern(3200, 3);
    recorder->m_S_WriteAudio(Data(block), Size(block));
    EXPECT_EQ(800, recorder->vm_nAudioPos);
    EXPECT_EQ(100, recorder->m_F_n_GetNextAudioTime());
    EXPECT_EQ(3200u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(RecordingOfSound, WhatThePlatformLeftIsOfferedAgainAndTheLastPieceCountsAsWritten)
{
    std::string block = Pattern(3200, 4);
    Sound().answers = {{S_OK, 300, 1200}, {S_OK, 400, 1600}, {S_OK, 100, 400}};
    recorder->m_S_WriteAudio(Data(block), Size(block));
    ASSERT_EQ(3u, Sound().writes.size());
    const std::vector<StreamWrite>& writes = Sound().writes;
    EXPECT_EQ(0, writes[0].position);
    EXPECT_EQ(800, writes[0].samples);
    EXPECT_EQ(3200, writes[0].size);
    EXPECT_EQ(300, writes[1].position);
    EXPECT_EQ(500, writes[1].samples);
    EXPECT_EQ(2000, writes[1].size);
    EXPECT_EQ(block.substr(1200), writes[1].bytes);
    EXPECT_EQ(700, writes[2].position);
    EXPECT_EQ(100, writes[2].samples);
    EXPECT_EQ(400, writes[2].size);
    EXPECT_EQ(block.substr(2800), writes[2].bytes);
    EXPECT_EQ(800, recorder->vm_nAudioPos);
    EXPECT_EQ(37 + 50 + 12, recorder->m_F_n_GetNextAudioTime()) << "each piece rounds down";
    EXPECT_EQ(400u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(RecordingOfSound, MoreThanWasOfferedEndsTheBlock)
{
    std::string block = Pattern(400, 5);
    Sound().answers = {{S_OK, 100, 404}};
    recorder->m_S_WriteAudio(Data(block), Size(block));
    EXPECT_EQ(1u, Sound().writes.size());
    EXPECT_EQ(400u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(RecordingOfSound, BytesBeyondTheLastWholeSampleAreOfferedToo)
{
    std::string block = Pattern(403, 6);
    recorder->m_S_WriteAudio(Data(block), Size(block));
    ASSERT_EQ(1u, Sound().writes.size());
    EXPECT_EQ(100, Sound().writes[0].samples);
    EXPECT_EQ(403, Sound().writes[0].size);
    EXPECT_EQ(403u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(RecordingOfSound, BytesBeyondTheLastWholeSampleAreOfferedAgainAsNoSample)
{
    std::string block = Pattern(403, 6);
    Sound().answers = {{S_OK, 100, 400}, {S_OK, 0, 3}};
    recorder->m_S_WriteAudio(Data(block), Size(block));
    ASSERT_EQ(2u, Sound().writes.size());
    EXPECT_EQ(100, Sound().writes[1].position);
    EXPECT_EQ(0, Sound().writes[1].samples);
    EXPECT_EQ(block.substr(400), Sound().writes[1].bytes);
    EXPECT_EQ(100, recorder->vm_nAudioPos);
    EXPECT_EQ(3u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(RecordingOfSound, BlockThatNothingCanBeTakenOfEnds)
{
    std::string block = Pattern(400, 6);
    Sound().answers.assign(1000, {S_OK, 0, 0});
    Sound().answers.push_back({kFailure, 0, 0});
    const OutputCapture output;
    recorder->m_S_WriteAudio(Data(block), Size(block));
    EXPECT_LT(Sound().writes.size(), 1000u) << "it would go on for ever";
    EXPECT_EQ((Texts{"Error in _WriteAudioStream"}), output.Texts());
    EXPECT_EQ(0, recorder->vm_nAudioPos);
    EXPECT_EQ(0u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(RecordingOfSound, RefusalIsPrintedAndEndsTheBlock)
{
    std::string block = Pattern(3200, 7);
    Sound().answers = {{kFailure, 5, 20}};
    const OutputCapture output;
    recorder->m_S_WriteAudio(Data(block), Size(block));
    EXPECT_EQ((Texts{"Error in _WriteAudioStream"}), output.Texts());
    EXPECT_EQ(1u, Sound().writes.size());
    EXPECT_EQ(0, recorder->vm_nAudioPos);
    EXPECT_EQ(0, recorder->m_F_n_GetNextAudioTime());
    EXPECT_EQ(0u, recorder->m_F_n_GetWriteSzie());
    EXPECT_TRUE(recorder->m_F_b_Create());
}

TEST_F(RecordingOfSound, RefusalAfterAPieceKeepsThatPiecesPositionAndTime)
{
    std::string block = Pattern(3200, 8);
    Sound().answers = {{S_OK, 400, 1600}, {kFailure, 0, 0}};
    const OutputCapture output;
    recorder->m_S_WriteAudio(Data(block), Size(block));
    EXPECT_EQ((Texts{"Error in _WriteAudioStream"}), output.Texts());
    EXPECT_EQ(2u, Sound().writes.size());
    EXPECT_EQ(400, recorder->vm_nAudioPos);
    EXPECT_EQ(50, recorder->m_F_n_GetNextAudioTime());
    EXPECT_EQ(0u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(RecordingOfSound, SuccessPrintsNothing)
{
    std::string block = Pattern(3200, 9);
    const OutputCapture output;
    recorder->m_S_WriteAudio(Data(block), Size(block));
    EXPECT_TRUE(output.Texts().empty());
}

TEST_F(RecordingOfSound, TimeIsCalculatedIn32BitsWithoutSign)
{
    std::string block = Pattern(4, 10);
    // 3000000 x 1000 would be negative with a sign.
    Sound().answers = {{S_OK, 3000000, 4}};
    recorder->m_S_WriteAudio(Data(block), Size(block));
    EXPECT_EQ(375000, recorder->m_F_n_GetNextAudioTime());
    // 5000000 x 1000 is 705032704 above a multiple of 2^32.
    Sound().answers = {{S_OK, 5000000, 4}};
    recorder->m_S_WriteAudio(Data(block), Size(block));
    EXPECT_EQ(375000 + 88129, recorder->m_F_n_GetNextAudioTime());
}

TEST_F(RecordingOfSound, CalNextAudioTimeStepsByTheSamplesAndWritesNothing)
{
    recorder->m_S_CalNextAudioTime(800);
    EXPECT_EQ(100, recorder->m_F_n_GetNextAudioTime());
    recorder->m_S_CalNextAudioTime(15);
    EXPECT_EQ(101, recorder->m_F_n_GetNextAudioTime()) << "1.875 round down";
    recorder->m_S_CalNextAudioTime(0);
    EXPECT_EQ(101, recorder->m_F_n_GetNextAudioTime());
    EXPECT_EQ(0, recorder->vm_nAudioPos);
    EXPECT_TRUE(Sound().writes.empty());
    EXPECT_EQ(0u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(Recording, SoundIsIgnoredWithoutASoundStream)
{
    std::string block = Pattern(400, 11);
    recorder->m_S_SetStartTime(0);
    const OutputCapture output;
    recorder->m_S_WriteAudio(Data(block), Size(block));
    ASSERT_TRUE(Create());
    recorder->m_S_WriteAudio(Data(block), Size(block));
    AddSound();
    recorder->m_S_CloseAviFile();
    recorder->m_S_WriteAudio(Data(block), Size(block));
    EXPECT_EQ(0u, recorder->m_F_n_GetWriteSzie());
    EXPECT_EQ(0, recorder->m_F_n_GetNextAudioTime());
    EXPECT_TRUE(output.Texts().empty());
}

TEST_F(RecordingOfSound, NoDataOrANegativeLengthChangesNothing)
{
    unsigned char byte = 0;
    recorder->m_S_WriteAudio(nullptr, 400);
    recorder->m_S_WriteAudio(&byte, -4);
    recorder->m_S_WriteAudio(&byte, INT_MIN);
    EXPECT_TRUE(Sound().writes.empty());
    EXPECT_EQ(0, recorder->vm_nAudioPos);
    EXPECT_EQ(0, recorder->m_F_n_GetNextAudioTime());
    EXPECT_EQ(0u, recorder->m_F_n_GetWriteSzie());
}

TEST_F(Recording, SoundFormatOfZerosIsNeverDividedBy)
{
    for (const bool isAlignZero : {true, false})
    {
        SCOPED_TRACE(isAlignZero ? "block align" : "samples per second");
        ASSERT_TRUE(Create());
        recorder->m_S_SetStartTime(0);
        WAVEFORMATEX format = SoundFormat();
        (isAlignZero ? format.nAvgBytesPerSec : format.nSamplesPerSec) = 0;
        format.nBlockAlign = isAlignZero ? 0 : 4;
        AddSound(format);
        std::string block = Pattern(400, 12);
        recorder->m_S_WriteAudio(Data(block), Size(block));
        EXPECT_EQ(0, recorder->m_F_n_GetNextAudioTime());
        EXPECT_EQ(0u, recorder->m_F_n_GetWriteSzie());
        recorder->m_S_CalNextAudioTime(800);
        EXPECT_EQ(isAlignZero ? 100 : 0, recorder->m_F_n_GetNextAudioTime());
    }
}

// ---------------------------------------------------------------------------------------------
// Text
// ---------------------------------------------------------------------------------------------

TEST_F(Recording, TextIsOneKeySampleAtItsIndexInTheAnsiCodePageWithoutTerminator)
{
    ASSERT_TRUE(Create());
    const std::wstring first = L"Entr\u00E9e \u20AC 5 \u4E2D";
    recorder->m_S_WriteText(first.c_str());
    recorder->m_S_WriteText(L"b");
    ASSERT_EQ(2u, Text().writes.size());
    EXPECT_EQ(0, Text().writes[0].position);
    EXPECT_EQ(1, Text().writes[0].samples);
    EXPECT_EQ(AnsiText(first), Text().writes[0].bytes);
    EXPECT_EQ(Size(AnsiText(first)), Text().writes[0].size);
    EXPECT_EQ(static_cast<DWORD>(AVIIF_KEYFRAME), Text().writes[0].flags);
    EXPECT_EQ(1, Text().writes[1].position);
    EXPECT_EQ("b", Text().writes[1].bytes);
    EXPECT_EQ(1, Text().writes[1].size);
}

TEST_F(Recording, TextAdvancesIndexByOneTimeByASecondAndCountByIts8BitLength)
{
    ASSERT_TRUE(Create());
    recorder->m_S_SetStartTime(500);
    recorder->m_S_WriteText(L"caf\u00E9");
    EXPECT_EQ(1, recorder->vm_nTextIndex);
    EXPECT_EQ(1500, recorder->m_F_n_GetNextTextTime());
    EXPECT_EQ(AnsiText(L"caf\u00E9").size(), recorder->m_F_n_GetWriteSzie());
    recorder->m_S_WriteText(L"");
    EXPECT_EQ(2, recorder->vm_nTextIndex);
    EXPECT_EQ(2500, recorder->m_F_n_GetNextTextTime());
    EXPECT_EQ(AnsiText(L"caf\u00E9").size(), recorder->m_F_n_GetWriteSzie());
    EXPECT_EQ(500, recorder->m_F_n_GetNextVideoTime());
    EXPECT_EQ(500, recorder->m_F_n_GetNextAudioTime());
}

TEST_F(Recording, EmptyTextIsWrittenAsASampleOfNoBytes)
{
    ASSERT_TRUE(Create());
    recorder->m_S_WriteText(L"");
    ASSERT_EQ(1u, Text().writes.size());
    EXPECT_EQ(0, Text().writes[0].size);
    EXPECT_EQ(1, Text().writes[0].samples);
    recorder->m_S_CloseAviFile();
    EXPECT_EQ(kByteOrderMark + Utf16(L"1\n00:00:00,000-->00:00:00,999\n\n\n"),
              FileBytes("rec.srt"));
}

TEST_F(Recording, TextThatThePlatformRefusesCountsAllTheSame)
{
    ASSERT_TRUE(Create());
    recorder->m_S_SetStartTime(0);
    Text().answers = {{kFailure, 0, 0}};
    const OutputCapture output;
    recorder->m_S_WriteText(L"text");
    EXPECT_EQ(1, recorder->vm_nTextIndex);
    EXPECT_EQ(1000, recorder->m_F_n_GetNextTextTime());
    EXPECT_EQ(4u, recorder->m_F_n_GetWriteSzie());
    EXPECT_TRUE(output.Texts().empty());
    recorder->m_S_CloseAviFile();
    EXPECT_EQ(kByteOrderMark + Utf16(L"1\n00:00:00,000-->00:00:00,999\ntext\n\n"),
              FileBytes("rec.srt"));
}

TEST_F(Recording, TextIsIgnoredWithoutAFile)
{
    recorder->m_S_SetStartTime(0);
    recorder->m_S_WriteText(L"before");
    EXPECT_EQ(0, recorder->m_F_n_GetNextTextTime());
    ASSERT_TRUE(Create());
    recorder->m_S_CloseAviFile();
    recorder->m_S_WriteText(L"after");
    EXPECT_EQ(0, recorder->vm_nTextIndex);
    EXPECT_EQ(0, recorder->m_F_n_GetNextTextTime());
    EXPECT_EQ(0u, recorder->m_F_n_GetWriteSzie());
    EXPECT_EQ(kByteOrderMark, FileBytes("rec.srt"));
}

TEST_F(Recording, CalNextTextTimeStepsByASecondAndWritesNothing)
{
    ASSERT_TRUE(Create());
    recorder->m_S_SetStartTime(250);
    recorder->m_S_CalNextTextTime();
    recorder->m_S_CalNextTextTime();
    EXPECT_EQ(2250, recorder->m_F_n_GetNextTextTime());
    EXPECT_EQ(0, recorder->vm_nTextIndex);
    EXPECT_TRUE(Text().writes.empty());
    EXPECT_EQ(kByteOrderMark, FileBytes("rec.srt"));
}

TEST_F(Recording, SubtitlesCountFromOneAndCoverASecondEach)
{
    ASSERT_TRUE(Create());
    recorder->m_S_WriteText(L"first");
    recorder->m_S_WriteText(L"second");
    recorder->m_S_WriteText(L"third");
    recorder->m_S_CloseAviFile();
    EXPECT_EQ(kByteOrderMark + Utf16(L"1\n00:00:00,000-->00:00:00,999\nfirst\n\n"
                                     L"2\n00:00:01,000-->00:00:01,999\nsecond\n\n"
                                     L"3\n00:00:02,000-->00:00:02,999\nthird\n\n"),
              FileBytes("rec.srt"));
}

TEST_F(Recording, SubtitlesAreWhatWasGivenWhateverItsCharacters)
{
    ASSERT_TRUE(Create());
    const std::wstring text =
        L"\u4E2D\u6587 \U0001F4F7 100% %s %d %n\ntwo lines\r\n" + std::wstring(5000, L'\u00FC');
    recorder->m_S_WriteText(text.c_str());
    EXPECT_EQ(AnsiText(text), Text().writes.at(0).bytes);
    recorder->m_S_CloseAviFile();
    EXPECT_EQ(kByteOrderMark + Utf16(L"1\n00:00:00,000-->00:00:00,999\n" + text + L"\n\n"),
              FileBytes("rec.srt"));
}

TEST_F(Recording, Subtitle3601BeginsAtOneHour)
{
    ASSERT_TRUE(Create());
    recorder->m_S_SetStartTime(0);
    for (int entry = 1; entry <= 3601; ++entry)
    {
        recorder->m_S_WriteText(L"t");
    }
    EXPECT_EQ(3601000, recorder->m_F_n_GetNextTextTime());
    recorder->m_S_CloseAviFile();
    const std::string bytes = FileBytes("rec.srt");
    const std::string end = Utf16(
        L"60\n00:00:59,000-->00:00:59,999\nt\n\n"
        L"61\n00:01:00,000-->00:01:00,999\nt\n\n");
    EXPECT_NE(std::string::npos, bytes.find(end));
    const std::string last = Utf16(
        L"3600\n00:59:59,000-->00:59:59,999\nt\n\n"
        L"3601\n01:00:00,000-->01:00:00,999\nt\n\n");
    ASSERT_GT(bytes.size(), last.size());
    EXPECT_EQ(last, bytes.substr(bytes.size() - last.size()));
}

TEST_F(Recording, SubtitlesGoOnAfterAHundredHours)
{
    ASSERT_TRUE(Create());
    recorder->vm_nTextIndex = 359999;
    recorder->m_S_WriteText(L"a");
    recorder->m_S_WriteText(L"b");
    recorder->m_S_CloseAviFile();
    EXPECT_EQ(kByteOrderMark + Utf16(L"360000\n99:59:59,000-->99:59:59,999\na\n\n"
                                     L"360001\n100:00:00,000-->100:00:00,999\nb\n\n"),
              FileBytes("rec.srt"));
}

// ---------------------------------------------------------------------------------------------
// Closing
// ---------------------------------------------------------------------------------------------

TEST_F(RecordingOfSound, ClosingReleasesTheStreamsThenTheFileAndTheSubtitles)
{
    platform.log.clear();
    recorder->m_S_CloseAviFile();
    EXPECT_EQ((Texts{"release vids", "release auds", "release txts", "release file"}),
              platform.log);
    ExpectClosed(*recorder);
    EXPECT_EQ(0, recorder->vm_cSrtFile.m_F_b_IsOpen());
    EXPECT_TRUE(fs::remove("rec.srt"));
}

TEST_F(Recording, ClosingWithoutSoundReleasesWhatThereIs)
{
    ASSERT_TRUE(Create());
    platform.log.clear();
    recorder->m_S_CloseAviFile();
    EXPECT_EQ((Texts{"release vids", "release txts", "release file"}), platform.log);
}

TEST_F(Recording, ClosingTwiceReleasesOnce)
{
    ASSERT_TRUE(Create());
    recorder->m_S_CloseAviFile();
    platform.log.clear();
    recorder->m_S_CloseAviFile();
    EXPECT_TRUE(platform.log.empty());
}

TEST_F(RecordingOfSound, ClosingLeavesCountersAndTimes)
{
    std::string block = Pattern(3200, 13);
    WriteFrame("frame", true);
    recorder->m_S_WriteAudio(Data(block), Size(block));
    recorder->m_S_WriteText(L"text");
    recorder->m_S_CloseAviFile();
    EXPECT_EQ(1, recorder->vm_nVideoIndex);
    EXPECT_EQ(800, recorder->vm_nAudioPos);
    EXPECT_EQ(1, recorder->vm_nTextIndex);
    EXPECT_EQ(40, recorder->m_F_n_GetNextVideoTime());
    EXPECT_EQ(100, recorder->m_F_n_GetNextAudioTime());
    EXPECT_EQ(1000, recorder->m_F_n_GetNextTextTime());
    EXPECT_EQ(3209u, recorder->m_F_n_GetWriteSzie());
    EXPECT_EQ(25, recorder->vm_nFPS);
    EXPECT_EQ(BytesOf(SoundFormat()), BytesOf(recorder->vm_stWaveFormat));
}

TEST_F(RecordingOfSound, DueTimesAdvanceAlsoAfterClosing)
{
    recorder->m_S_CloseAviFile();
    recorder->m_S_CalNextVideoTime();
    recorder->m_S_CalNextAudioTime(800);
    recorder->m_S_CalNextTextTime();
    EXPECT_EQ(40, recorder->m_F_n_GetNextVideoTime());
    EXPECT_EQ(100, recorder->m_F_n_GetNextAudioTime());
    EXPECT_EQ(1000, recorder->m_F_n_GetNextTextTime());
}

TEST_F(Recording, RecordingAgainAndAgainLosesNoHandle)
{
    ASSERT_TRUE(Create());
    const std::size_t before = NextHandleValue();
    for (int i = 0; i < 100; ++i)
    {
        ASSERT_TRUE(Create());
        recorder->m_S_WriteText(L"text");
        platform.refusedStreams = {i % 2 == 0 ? "txts" : "vids"};
        ASSERT_FALSE(Create());
        platform.refusedStreams.clear();
    }
    // A handle that is lost takes 4; a hundred would take 400.
    EXPECT_LT(NextHandleValue(), before + 100);
}

// ---------------------------------------------------------------------------------------------
// The written files, by the platform's own AVIFile
// ---------------------------------------------------------------------------------------------

struct Chunk
{
    std::string id;
    std::string data;
};

struct IndexEntry
{
    std::string id;
    std::uint32_t flags;
    std::uint32_t size;
};

struct ParsedStream
{
    std::string header;
    std::string format;
};

/// An AVI file, taken apart as the RIFF and AVI formats say. Throws when it is not one.
class ParsedAvi
{
public:
    explicit ParsedAvi(const fs::path& path)
    {
        const std::string bytes = FileBytes(path);
        if (bytes.substr(0, 4) != "RIFF" || bytes.substr(8, 4) != "AVI ")
        {
            throw std::runtime_error("no AVI file");
        }
        ParseList(bytes.substr(12, Number(bytes, 4) - 4), "AVI ");
    }

    static std::uint32_t Number(const std::string& bytes, std::size_t offset)
    {
        std::uint32_t number = 0;
        if (offset + sizeof(number) > bytes.size())
        {
            throw std::runtime_error("the file is too short");
        }
        std::memcpy(&number, bytes.data() + offset, sizeof(number));
        return number;
    }

    /// The data of a stream's chunks in the order of the file.
    Texts DataOf(int stream) const
    {
        const char digit = static_cast<char>('0' + stream);
        Texts data;
        for (const Chunk& chunk : chunks)
        {
            if (chunk.id[0] == '0' && chunk.id[1] == digit)
            {
                data.push_back(chunk.data);
            }
        }
        return data;
    }

    /// The index's flags of a stream's chunks that hold data.
    std::vector<std::uint32_t> FlagsOf(int stream) const
    {
        const char digit = static_cast<char>('0' + stream);
        std::vector<std::uint32_t> flags;
        for (const IndexEntry& entry : index)
        {
            if (entry.id[0] == '0' && entry.id[1] == digit && entry.size != 0)
            {
                flags.push_back(entry.flags);
            }
        }
        return flags;
    }

    std::vector<ParsedStream> streams;
    std::vector<Chunk> chunks;
    std::vector<IndexEntry> index;

private:
    void ParseList(const std::string& bytes, const std::string& type)
    {
        for (std::size_t at = 0; at + 8 <= bytes.size();)
        {
            const std::string id = bytes.substr(at, 4);
            const std::size_t size = Number(bytes, at + 4);
            const std::string data = bytes.substr(at + 8, size);
            if (data.size() != size)
            {
                throw std::runtime_error("a chunk is cut off: " + id);
            }
            ParseChunk(id, data, type);
            at += 8 + size + size % 2;
        }
    }

    void ParseChunk(const std::string& id, const std::string& data, const std::string& list)
    {
        if (id == "LIST")
        {
            const std::string type = data.substr(0, 4);
            if (type == "strl")
            {
                streams.emplace_back();
            }
            ParseList(data.substr(4), type);
        }
        else if (list == "strl" && id == "strh")
        {
            streams.back().header = data;
        }
        else if (list == "strl" && id == "strf")
        {
            streams.back().format = data;
        }
        else if (list == "movi" || list == "rec ")
        {
            chunks.push_back({id, data});
        }
        else if (id == "idx1")
        {
            for (std::size_t at = 0; at + 16 <= data.size(); at += 16)
            {
                index.push_back({data.substr(at, 4), Number(data, at + 4), Number(data, at + 12)});
            }
        }
    }
};

// Where the fields stand in a stream's header (AVISTREAMHEADER).
constexpr std::size_t kHandlerAt = 4;
constexpr std::size_t kScaleAt = 20;
constexpr std::size_t kRateAt = 24;
constexpr std::size_t kQualityAt = 40;
constexpr std::size_t kSampleSizeAt = 44;
constexpr std::size_t kFrameAt = 48;

std::string FrameOf(std::uint16_t width, std::uint16_t height)
{
    return "\0\0\0\0"s + BytesOf(width) + BytesOf(height);
}

class RecordedFiles : public ::testing::Test
{
protected:
    bool Create(const wchar_t* name = L"rec", int framesPerSecond = 25)
    {
        BITMAPINFO format = VideoFormat();
        return recorder.m_F_n_CreateAviFile(name, &format, framesPerSecond);
    }
    void WriteFrame(std::string bytes, bool isKey)
    {
        recorder.m_S_WriteVideo(Data(bytes), Size(bytes), isKey);
    }

    WorkFolder folder;
    CAviConvert recorder;
};

TEST_F(RecordedFiles, AreTheAviFileAndItsSubtitles)
{
    ASSERT_TRUE(Create(L"rec"));
    ASSERT_TRUE(Create(L"UPPER.AVI"));
    recorder.m_S_CloseAviFile();
    EXPECT_EQ((std::set<std::wstring>{L"rec.avi", L"rec.srt", L"UPPER.AVI", L"UPPER.srt"}),
              folder.Names());
}

TEST_F(RecordedFiles, HoldStreamsOfTheStatedHeadersAndFormats)
{
    ASSERT_TRUE(Create(L"rec", 30));
    WriteFrame("frame", true);
    recorder.m_S_WriteText(L"text");
    recorder.m_S_CloseAviFile();
    const ParsedAvi avi("rec.avi");
    ASSERT_EQ(2u, avi.streams.size());
    const ParsedStream& video = avi.streams[0];
    ASSERT_GE(video.header.size(), 56u);
    EXPECT_EQ("vids", video.header.substr(0, 4));
    EXPECT_EQ("H264", video.header.substr(kHandlerAt, 4));
    EXPECT_EQ(30.0, static_cast<double>(ParsedAvi::Number(video.header, kRateAt)) /
                        ParsedAvi::Number(video.header, kScaleAt));
    EXPECT_EQ(FrameOf(704, 576), video.header.substr(kFrameAt, 8));
    EXPECT_EQ(BytesOf(VideoFormat()), video.format);
    const ParsedStream& text = avi.streams[1];
    ASSERT_GE(text.header.size(), 56u);
    EXPECT_EQ("txts", text.header.substr(0, 4));
    EXPECT_EQ("DRAW", text.header.substr(kHandlerAt, 4));
    EXPECT_EQ(ParsedAvi::Number(text.header, kScaleAt), ParsedAvi::Number(text.header, kRateAt));
    EXPECT_EQ(FrameOf(704, 576), text.header.substr(kFrameAt, 8));
    EXPECT_EQ("\x04\0\0\0"s, text.format);
}

TEST_F(RecordedFiles, HoldTheFramesAsGivenWithAnEmptySlotForADroppedOne)
{
    const std::string first = Pattern(5001, 20);
    const std::string third = Pattern(700, 21);
    const std::string fourth = Pattern(1, 22);
    ASSERT_TRUE(Create());
    WriteFrame(first, true);
    recorder.m_S_WriteVideo(nullptr, 0, false);
    WriteFrame(third, false);
    WriteFrame(fourth, true);
    recorder.m_S_CloseAviFile();
    const ParsedAvi avi("rec.avi");
    EXPECT_EQ((Texts{first, "", third, fourth}), avi.DataOf(0));
    const std::vector<std::uint32_t> flags = avi.FlagsOf(0);
    ASSERT_EQ(3u, flags.size());
    EXPECT_NE(0u, flags[0] & AVIIF_KEYFRAME);
    EXPECT_EQ(0u, flags[1] & AVIIF_KEYFRAME);
    EXPECT_NE(0u, flags[2] & AVIIF_KEYFRAME);
}

TEST_F(RecordedFiles, HoldTextOf8BitsInTheRecordingAndOf16InTheSubtitles)
{
    ASSERT_TRUE(Create());
    WriteFrame("frame", true);
    recorder.m_S_WriteText(L"Entr\u00E9e");
    recorder.m_S_WriteText(L"two");
    recorder.m_S_CloseAviFile();
    EXPECT_EQ((Texts{AnsiText(L"Entr\u00E9e"), "two"}), ParsedAvi("rec.avi").DataOf(1));
    EXPECT_EQ(kByteOrderMark + Utf16(L"1\n00:00:00,000-->00:00:00,999\nEntr\u00E9e\n\n"
                                     L"2\n00:00:01,000-->00:00:01,999\ntwo\n\n"),
              FileBytes("rec.srt"));
}

TEST_F(RecordedFiles, SurviveAKeyFrameWhoseDataIsMissing)
{
    ASSERT_TRUE(Create());
    recorder.m_S_SetStartTime(0);
    WriteFrame("first", true);
    recorder.m_S_WriteVideo(nullptr, 100, true);
    WriteFrame("third", true);
    EXPECT_EQ(3, recorder.vm_nVideoIndex);
    EXPECT_EQ(120, recorder.m_F_n_GetNextVideoTime());
    EXPECT_EQ(110u, recorder.m_F_n_GetWriteSzie());
    recorder.m_S_CloseAviFile();
    const Texts frames = ParsedAvi("rec.avi").DataOf(0);
    ASSERT_FALSE(frames.empty());
    EXPECT_EQ("first", frames.front());
    EXPECT_EQ("third", frames.back());
}

TEST_F(RecordedFiles, OverwriteThoseOfBefore)
{
    std::ofstream("rec.avi") << std::string(100000, 'x');
    ASSERT_TRUE(Create());
    WriteFrame("frame", true);
    recorder.m_S_CloseAviFile();
    EXPECT_EQ(Texts{"frame"}, ParsedAvi("rec.avi").DataOf(0));
    EXPECT_LT(fs::file_size("rec.avi"), 100000u);
}

TEST_F(RecordedFiles, AreNoneWhereTheFolderIsMissing)
{
    EXPECT_FALSE(Create(L"missing\\rec"));
    ExpectClosed(recorder);
    EXPECT_STREQ(L"", recorder.m_F_s_GetFileName());
    EXPECT_TRUE(folder.Names().empty());
}

class RecordedFilesWithSound : public RecordedFiles
{
};

TEST_F(RecordedFilesWithSound, HoldItsFormatAndEverySampleInOrder)
{
    const std::string frame = Pattern(300, 30);
    ASSERT_TRUE(Create());
    WAVEFORMATEX format = SoundFormat();
    recorder.m_S_SetAudioInfo(&format);
    ASSERT_TRUE(recorder.m_F_b_Create());
    recorder.m_S_SetStartTime(0);
    std::string sound;
    const OutputCapture output;
    for (unsigned int block = 0; block < 10; ++block)
    {
        WriteFrame(frame, block == 0);
        std::string bytes = Pattern(3200, 40 + block);
        recorder.m_S_WriteAudio(Data(bytes), Size(bytes));
        sound += bytes;
    }
    recorder.m_S_WriteText(L"text");
    EXPECT_TRUE(output.Texts().empty());
    EXPECT_EQ(8000, recorder.vm_nAudioPos);
    EXPECT_EQ(1000, recorder.m_F_n_GetNextAudioTime());
    EXPECT_EQ(10u * 300 + 32000 + 4, recorder.m_F_n_GetWriteSzie());
    recorder.m_S_CloseAviFile();

    const ParsedAvi avi("rec.avi");
    ASSERT_EQ(3u, avi.streams.size());
    const ParsedStream& stream = avi.streams[2];
    ASSERT_GE(stream.header.size(), 56u);
    EXPECT_EQ("auds", stream.header.substr(0, 4));
    EXPECT_EQ(0u, ParsedAvi::Number(stream.header, kHandlerAt));
    EXPECT_EQ(4u, ParsedAvi::Number(stream.header, kScaleAt));
    EXPECT_EQ(32000u, ParsedAvi::Number(stream.header, kRateAt));
    EXPECT_EQ(10000u, ParsedAvi::Number(stream.header, kQualityAt));
    EXPECT_EQ(4u, ParsedAvi::Number(stream.header, kSampleSizeAt));
    EXPECT_EQ(BytesOf(SoundFormat()), stream.format);
    std::string stored;
    for (const std::string& chunk : avi.DataOf(2))
    {
        stored += chunk;
    }
    EXPECT_EQ(sound, stored);
    EXPECT_EQ(Texts(10, frame), avi.DataOf(0));
    EXPECT_EQ(Texts{"text"}, avi.DataOf(1));
}

}  // namespace
