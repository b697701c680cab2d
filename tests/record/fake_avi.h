/// @file
/// An AVI file and its streams that write nothing, take note of every call, and fail as told.
#pragma once

#include <winsock2.h>

#include <windows.h>

#include <vfw.h>

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "support/import_patch.h"

namespace ostrel::test
{

constexpr DWORD kVideo = mmioFOURCC('v', 'i', 'd', 's');
constexpr DWORD kAudio = mmioFOURCC('a', 'u', 'd', 's');
constexpr DWORD kText = mmioFOURCC('t', 'x', 't', 's');

/// What the library has asked of the AVI interface, and what that is to answer.
struct AviLog
{
    struct Write
    {
        DWORD type;
        LONG start;
        LONG samples;
        const void* data;
        LONG size;
        std::string bytes;
        DWORD flags;
    };
    /// An answer to a write that does not take all.
    struct Answer
    {
        HRESULT result;
        LONG samples;
        LONG bytes;
    };

    std::vector<std::string> events;  ///< what was opened, made and released, in order
    std::vector<std::wstring> names;  ///< of the files opened
    std::vector<UINT> modes;
    std::map<DWORD, AVISTREAMINFOW> headers;
    std::map<DWORD, std::string> formats;
    std::vector<Write> writes;
    int liveObjects = 0;
    int initialised = 0;

    bool failsToOpen = false;
    DWORD failsToMake = 0;  ///< the type of stream that cannot be made
    HRESULT formatResult = S_OK;
    std::map<DWORD, HRESULT> writeResults;
    std::deque<Answer> audioAnswers;  ///< used up before writes succeed in full

    std::vector<Write> WritesOf(DWORD type) const
    {
        std::vector<Write> found;
        for (const Write& write : writes)
        {
            if (write.type == type)
            {
                found.push_back(write);
            }
        }
        return found;
    }
};

inline std::string TypeName(DWORD type)
{
    return std::string(reinterpret_cast<const char*>(&type), 4);
}

template <class Interface>
class FakeAviObject : public Interface
{
public:
    FakeAviObject(AviLog& log, std::string name) : m_log(log), m_name(std::move(name))
    {
        ++m_log.liveObjects;
    }
    FakeAviObject(const FakeAviObject&) = delete;
    FakeAviObject& operator=(const FakeAviObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) override
    {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const ULONG left = --m_references;
        if (left == 0)
        {
            m_log.events.push_back("release " + m_name);
            --m_log.liveObjects;
            delete this;
        }
        return left;
    }

protected:
    virtual ~FakeAviObject() = default;

    AviLog& m_log;

private:
    std::string m_name;
    ULONG m_references = 1;
};

class FakeAviStream final : public FakeAviObject<IAVIStream>
{
public:
    FakeAviStream(AviLog& log, DWORD type) : FakeAviObject(log, TypeName(type)), m_type(type) {}

    HRESULT STDMETHODCALLTYPE SetFormat(LONG, void* format, LONG size) override
    {
        m_log.formats[m_type].assign(static_cast<const char*>(format), size);
        return m_log.formatResult;
    }
    HRESULT STDMETHODCALLTYPE Write(LONG start, LONG samples, void* data, LONG size, DWORD flags,
                                    LONG* samplesWritten, LONG* bytesWritten) override
    {
        std::string bytes;
        if (data != nullptr && size > 0)
        {
            bytes.assign(static_cast<const char*>(data), size);
        }
        m_log.writes.push_back({m_type, start, samples, data, size, bytes, flags});
        AviLog::Answer answer = {S_OK, samples, size};
        if (m_log.writeResults.count(m_type) != 0)
        {
            answer = {m_log.writeResults[m_type], 0, 0};
        }
        else if (m_type == kAudio && !m_log.audioAnswers.empty())
        {
            answer = m_log.audioAnswers.front();
            m_log.audioAnswers.pop_front();
        }
        Store(samplesWritten, answer.samples);
        Store(bytesWritten, answer.bytes);
        return answer.result;
    }

    HRESULT STDMETHODCALLTYPE Create(LPARAM, LPARAM) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Info(AVISTREAMINFOW*, LONG) override { return E_NOTIMPL; }
    LONG STDMETHODCALLTYPE FindSample(LONG, LONG) override { return -1; }
    HRESULT STDMETHODCALLTYPE ReadFormat(LONG, void*, LONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Read(LONG, LONG, void*, LONG, LONG*, LONG*) override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Delete(LONG, LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ReadData(DWORD, void*, LONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE WriteData(DWORD, void*, LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetInfo(AVISTREAMINFOW*, LONG) override { return E_NOTIMPL; }

private:
    static void Store(LONG* out, LONG value)
    {
        if (out != nullptr)
        {
            *out = value;
        }
    }

    DWORD m_type;
};

class FakeAviFile final : public FakeAviObject<IAVIFile>
{
public:
    explicit FakeAviFile(AviLog& log) : FakeAviObject(log, "file") {}

    HRESULT STDMETHODCALLTYPE CreateStream(IAVIStream** stream, AVISTREAMINFOW* header) override
    {
        *stream = nullptr;
        if (header->fccType == m_log.failsToMake)
        {
            return AVIERR_FILEWRITE;
        }
        m_log.events.push_back("make " + TypeName(header->fccType));
        m_log.headers[header->fccType] = *header;
        *stream = new FakeAviStream(m_log, header->fccType);
        return S_OK;
    }

    HRESULT STDMETHODCALLTYPE Info(AVIFILEINFOW*, LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetStream(IAVIStream**, DWORD, LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE WriteData(DWORD, void*, LONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE ReadData(DWORD, void*, LONG*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE EndRecord() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE DeleteStream(DWORD, LONG) override { return E_NOTIMPL; }
};

/// While it lives, the DLL under test opens fake files. One at a time.
class FakeAvi
{
public:
    FakeAvi()
        : m_init("AVIFileInit", Init), m_exit("AVIFileExit", Exit), m_open("AVIFileOpenW", Open)
    {
        Current() = &log;
    }
    ~FakeAvi() { Current() = nullptr; }
    FakeAvi(const FakeAvi&) = delete;
    FakeAvi& operator=(const FakeAvi&) = delete;

    AviLog log;

private:
    static AviLog*& Current()
    {
        static AviLog* log = nullptr;
        return log;
    }
    static void WINAPI Init() { ++Current()->initialised; }
    static void WINAPI Exit()
    {
        --Current()->initialised;
        Current()->events.emplace_back("exit");
    }
    static HRESULT WINAPI Open(IAVIFile** file, const wchar_t* name, UINT mode, CLSID* handler)
    {
        AviLog& log = *Current();
        log.names.emplace_back(name);
        log.modes.push_back(mode);
        *file = nullptr;
        if (log.failsToOpen || handler != nullptr)
        {
            return AVIERR_FILEOPEN;
        }
        log.events.emplace_back("open");
        *file = new FakeAviFile(log);
        return S_OK;
    }

    ImportPatch<void WINAPI()> m_init;
    ImportPatch<void WINAPI()> m_exit;
    ImportPatch<HRESULT WINAPI(IAVIFile**, const wchar_t*, UINT, CLSID*)> m_open;
};

}  // namespace ostrel::test
