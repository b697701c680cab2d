// The calls of AVIFile over an AviRecording: interfaces, references and the file on the disk.
#include <windows.h>
// Both before vfw.h: it needs the multimedia types, and defines its interfaces' identifiers only
// after the GUID header.
#include <mmsystem.h>

#include <initguid.h>

#include <vfw.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "avi_recording.h"

namespace stand_in
{

namespace
{

HRESULT CodeOf(Result result)
{
    switch (result)
    {
        case Result::kOk:
            return AVIERR_OK;
        case Result::kBadParameter:
            return AVIERR_BADPARAM;
        case Result::kBadSize:
            return AVIERR_BADSIZE;
        case Result::kBadFormat:
            return AVIERR_BADFORMAT;
        case Result::kUnsupported:
            return AVIERR_UNSUPPORTED;
        case Result::kFileWrite:
            return AVIERR_FILEWRITE;
    }
    return AVIERR_INTERNAL;
}

// No exception leaves the DLL; the recording throws only when memory runs out.
template <typename Action>
HRESULT Guarded(Action action)
try
{
    return action();
}
catch (const std::bad_alloc&)
{
    return AVIERR_MEMORY;
}

class FileOutput final : public Output
{
public:
    explicit FileOutput(const wchar_t* name)
        : file_(CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                            CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr))
    {
    }
    ~FileOutput() override
    {
        if (IsOpen())
        {
            CloseHandle(file_);
        }
    }
    FileOutput(const FileOutput&) = delete;
    FileOutput& operator=(const FileOutput&) = delete;

    bool IsOpen() const { return file_ != INVALID_HANDLE_VALUE; }

    bool Write(std::uint64_t offset, const unsigned char* data, std::size_t size) override
    {
        if (size > MAXDWORD || !SeekTo(offset))
        {
            return false;
        }
        DWORD written = 0;
        return WriteFile(file_, data, static_cast<DWORD>(size), &written, nullptr) &&
               written == size;
    }

    bool Truncate(std::uint64_t size) override { return SeekTo(size) && SetEndOfFile(file_); }

private:
    bool SeekTo(std::uint64_t offset)
    {
        LARGE_INTEGER position;
        position.QuadPart = static_cast<LONGLONG>(offset);
        return SetFilePointerEx(file_, position, nullptr, FILE_BEGIN) != FALSE;
    }

    HANDLE file_;
};

AVISTREAMINFOW InfoOf(const Stream& stream)
{
    AVISTREAMINFOW info = {};
    const StreamHeader& header = stream.header;
    info.fccType = header.type;
    info.fccHandler = header.handler;
    info.dwFlags = header.flags;
    info.dwCaps = AVIFILECAPS_CANWRITE;
    info.wPriority = header.priority;
    info.wLanguage = header.language;
    info.dwScale = header.scale;
    info.dwRate = header.rate;
    info.dwStart = header.start;
    info.dwLength = stream.length;
    info.dwInitialFrames = header.initialFrames;
    info.dwSuggestedBufferSize = stream.largestChunk > header.suggestedBufferSize
                                     ? stream.largestChunk
                                     : header.suggestedBufferSize;
    info.dwQuality = header.quality;
    info.dwSampleSize = header.sampleSize;
    info.rcFrame = {header.left, header.top, header.right, header.bottom};
    return info;
}

StreamHeader HeaderOf(const AVISTREAMINFOW& info)
{
    StreamHeader header;
    header.type = info.fccType;
    header.handler = info.fccHandler;
    header.flags = info.dwFlags;
    header.priority = info.wPriority;
    header.language = info.wLanguage;
    header.initialFrames = info.dwInitialFrames;
    header.scale = info.dwScale;
    header.rate = info.dwRate;
    header.start = info.dwStart;
    header.suggestedBufferSize = info.dwSuggestedBufferSize;
    header.quality = info.dwQuality;
    header.sampleSize = info.dwSampleSize;
    header.left = info.rcFrame.left;
    header.top = info.rcFrame.top;
    header.right = info.rcFrame.right;
    header.bottom = info.rcFrame.bottom;
    return header;
}

AVIFILEINFOW FileInfoOf(const std::vector<Stream>& streams)
{
    AVIFILEINFOW info = {};
    const Totals totals = TotalsOf(streams);
    info.dwMaxBytesPerSec = totals.mostBytesPerSecond;
    info.dwFlags = AVIFILEINFO_HASINDEX | AVIFILEINFO_ISINTERLEAVED | AVIFILEINFO_TRUSTCKTYPE;
    info.dwCaps = AVIFILECAPS_CANWRITE;
    info.dwStreams = static_cast<DWORD>(streams.size());
    info.dwSuggestedBufferSize = totals.suggestedBufferSize;
    info.dwWidth = totals.width;
    info.dwHeight = totals.height;
    info.dwScale = totals.scale;
    info.dwRate = totals.rate;
    info.dwLength = totals.frames;
    return info;
}

template <typename Info>
HRESULT Give(Info* target, LONG size, const Info& info)
{
    if (target == nullptr)
    {
        return AVIERR_BADPARAM;
    }
    if (size < static_cast<LONG>(sizeof info))
    {
        return AVIERR_BADSIZE;
    }
    *target = info;
    return AVIERR_OK;
}

// A COM object's own part: its references, and the two interfaces that it answers to.
template <typename Interface>
class Object : public Interface
{
public:
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override
    {
        if (object == nullptr)
        {
            return E_POINTER;
        }
        const bool known = id == IID_IUnknown || id == OwnId();
        *object = known ? static_cast<Interface*>(this) : nullptr;
        if (!known)
        {
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = --references_;
        if (left == 0)
        {
            delete this;
        }
        return left;
    }

protected:
    Object() = default;
    virtual ~Object() = default;
    virtual const IID& OwnId() const = 0;

private:
    std::atomic<ULONG> references_{1};
};

class AviFile final : public Object<IAVIFile>
{
public:
    // Makes the file; null when it cannot be made.
    static HRESULT Open(const wchar_t* name, PAVIFILE& result)
    {
        std::unique_ptr<FileOutput> output(new FileOutput(name));
        if (!output->IsOpen())
        {
            return AVIERR_FILEOPEN;
        }
        AviFile* file = new AviFile(std::move(output));
        const HRESULT code = CodeOf(file->recording_.Begin());
        if (code != AVIERR_OK)
        {
            file->Release();
            return code;
        }
        result = file;
        return AVIERR_OK;
    }

    HRESULT STDMETHODCALLTYPE Info(AVIFILEINFOW* info, LONG size) override
    {
        const std::lock_guard<std::mutex> guard(lock_);
        return Give(info, size, FileInfoOf(recording_.Streams()));
    }
    HRESULT STDMETHODCALLTYPE CreateStream(PAVISTREAM* stream, AVISTREAMINFOW* info) override;

    HRESULT STDMETHODCALLTYPE GetStream(PAVISTREAM* stream, DWORD, LONG) override
    {
        if (stream != nullptr)
        {
            *stream = nullptr;
        }
        return AVIERR_UNSUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE WriteData(DWORD, void*, LONG) override { return AVIERR_UNSUPPORTED; }
    HRESULT STDMETHODCALLTYPE ReadData(DWORD, void*, LONG*) override { return AVIERR_UNSUPPORTED; }
    HRESULT STDMETHODCALLTYPE EndRecord() override { return AVIERR_UNSUPPORTED; }
    HRESULT STDMETHODCALLTYPE DeleteStream(DWORD, LONG) override { return AVIERR_UNSUPPORTED; }

    // One use of the recording at a time, whichever streams it comes through.
    template <typename Action>
    HRESULT WithRecording(Action action)
    {
        return Guarded(
            [&]
            {
                const std::lock_guard<std::mutex> guard(lock_);
                return action(recording_);
            });
    }

private:
    explicit AviFile(std::unique_ptr<FileOutput> output)
        : output_(std::move(output)), recording_(*output_)
    {
    }
    // The streams hold references, so nobody writes any more.
    ~AviFile() override
    {
        Guarded([this] { return CodeOf(recording_.Finish()); });
    }
    const IID& OwnId() const override { return IID_IAVIFile; }

    std::mutex lock_;
    const std::unique_ptr<FileOutput> output_;
    AviRecording recording_;
};

class AviStream final : public Object<IAVIStream>
{
public:
    AviStream(AviFile& file, std::size_t number) : file_(file), number_(number) { file_.AddRef(); }

    HRESULT STDMETHODCALLTYPE Info(AVISTREAMINFOW* info, LONG size) override
    {
        return file_.WithRecording(
            [&](const AviRecording& recording)
            { return Give(info, size, InfoOf(recording.Streams()[number_])); });
    }
    HRESULT STDMETHODCALLTYPE SetFormat(LONG position, void* format, LONG size) override
    {
        if (position > 0)
        {
            return AVIERR_UNSUPPORTED;
        }
        return file_.WithRecording([&](AviRecording& recording)
                                   { return CodeOf(recording.SetFormat(number_, format, size)); });
    }
    HRESULT STDMETHODCALLTYPE Write(LONG start, LONG samples, void* buffer, LONG size, DWORD flags,
                                    LONG* samplesWritten, LONG* bytesWritten) override
    {
        Written written;
        const HRESULT code = file_.WithRecording(
            [&](AviRecording& recording) {
                return CodeOf(
                    recording.Write(number_, start, samples, buffer, size, flags, written));
            });
        if (samplesWritten != nullptr)
        {
            *samplesWritten = written.samples;
        }
        if (bytesWritten != nullptr)
        {
            *bytesWritten = written.bytes;
        }
        return code;
    }

    HRESULT STDMETHODCALLTYPE Create(LPARAM, LPARAM) override { return AVIERR_UNSUPPORTED; }
    LONG STDMETHODCALLTYPE FindSample(LONG, LONG) override { return -1; }
    HRESULT STDMETHODCALLTYPE ReadFormat(LONG, void*, LONG*) override { return AVIERR_UNSUPPORTED; }
    HRESULT STDMETHODCALLTYPE Read(LONG, LONG, void*, LONG, LONG*, LONG*) override
    {
        return AVIERR_UNSUPPORTED;
    }
    HRESULT STDMETHODCALLTYPE Delete(LONG, LONG) override { return AVIERR_UNSUPPORTED; }
    HRESULT STDMETHODCALLTYPE ReadData(DWORD, void*, LONG*) override { return AVIERR_UNSUPPORTED; }
    HRESULT STDMETHODCALLTYPE WriteData(DWORD, void*, LONG) override { return AVIERR_UNSUPPORTED; }
    HRESULT STDMETHODCALLTYPE SetInfo(AVISTREAMINFOW*, LONG) override { return AVIERR_UNSUPPORTED; }

private:
    ~AviStream() override { file_.Release(); }
    const IID& OwnId() const override { return IID_IAVIStream; }

    AviFile& file_;
    const std::size_t number_;
};

HRESULT AviFile::CreateStream(PAVISTREAM* stream, AVISTREAMINFOW* info)
{
    if (stream == nullptr || info == nullptr)
    {
        return AVIERR_BADPARAM;
    }
    *stream = nullptr;
    return WithRecording(
        [&](AviRecording& recording)
        {
            const std::size_t number = recording.Streams().size();
            const Result result = recording.AddStream(HeaderOf(*info));
            if (result == Result::kOk)
            {
                *stream = new AviStream(*this, number);
            }
            return CodeOf(result);
        });
}

std::wstring Wide(const char* text)
{
    const int size = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), size);
    return wide;
}

}  // namespace

}  // namespace stand_in

extern "C"
{
    void WINAPI AVIFileInit() {}

    void WINAPI AVIFileExit() {}

    ULONG WINAPI AVIFileAddRef(PAVIFILE file)
    {
        return file == nullptr ? 0 : file->AddRef();
    }

    ULONG WINAPI AVIFileRelease(PAVIFILE file)
    {
        return file == nullptr ? 0 : file->Release();
    }

    // A new file only; the handler that the caller may name is not asked.
    HRESULT WINAPI AVIFileOpenW(PAVIFILE* file, LPCWSTR name, UINT mode, LPCLSID)
    {
        if (file == nullptr || name == nullptr)
        {
            return AVIERR_BADPARAM;
        }
        *file = nullptr;
        if ((mode & OF_CREATE) == 0 || (mode & (OF_WRITE | OF_READWRITE)) == 0)
        {
            return AVIERR_UNSUPPORTED;
        }
        return stand_in::Guarded([&] { return stand_in::AviFile::Open(name, *file); });
    }

    HRESULT WINAPI AVIFileOpenA(PAVIFILE* file, LPCSTR name, UINT mode, LPCLSID handler)
    {
        if (file == nullptr || name == nullptr)
        {
            return AVIERR_BADPARAM;
        }
        return stand_in::Guarded(
            [&] { return AVIFileOpenW(file, stand_in::Wide(name).c_str(), mode, handler); });
    }

    HRESULT WINAPI AVIFileInfoW(PAVIFILE file, LPAVIFILEINFOW info, LONG size)
    {
        return file == nullptr ? AVIERR_BADHANDLE : file->Info(info, size);
    }

    HRESULT WINAPI AVIFileCreateStreamW(PAVIFILE file, PAVISTREAM* stream, AVISTREAMINFOW* info)
    {
        return file == nullptr ? AVIERR_BADHANDLE : file->CreateStream(stream, info);
    }

    ULONG WINAPI AVIStreamAddRef(PAVISTREAM stream)
    {
        return stream == nullptr ? 0 : stream->AddRef();
    }

    ULONG WINAPI AVIStreamRelease(PAVISTREAM stream)
    {
        return stream == nullptr ? 0 : stream->Release();
    }

    HRESULT WINAPI AVIStreamInfoW(PAVISTREAM stream, LPAVISTREAMINFOW info, LONG size)
    {
        return stream == nullptr ? AVIERR_BADHANDLE : stream->Info(info, size);
    }

    HRESULT WINAPI AVIStreamSetFormat(PAVISTREAM stream, LONG position, LPVOID format, LONG size)
    {
        return stream == nullptr ? AVIERR_BADHANDLE : stream->SetFormat(position, format, size);
    }

    HRESULT WINAPI AVIStreamWrite(PAVISTREAM stream, LONG start, LONG samples, LPVOID buffer,
                                  LONG size, DWORD flags, LONG* samplesWritten, LONG* bytesWritten)
    {
        return stream == nullptr ? AVIERR_BADHANDLE
                                 : stream->Write(start, samples, buffer, size, flags,
                                                 samplesWritten, bytesWritten);
    }
}
