/// @file
/// What a client may rely on when it plays sound, and when it treats the player as a window.
#include <CWaveOut.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "support/import_patch.h"

namespace
{

using ostrel::test::ImportPatch;

using Names = std::vector<std::string>;

constexpr UINT kPlayed = 957;

static_assert(std::is_base_of_v<CWnd, CWaveOut>);
static_assert(std::has_virtual_destructor_v<CWaveOut>);
static_assert(std::is_same_v<decltype(&CWaveOut::m_S_InitWnd), void (CWaveOut::*)()>);
static_assert(
    std::is_same_v<decltype(&CWaveOut::m_F_n_WaveOpen), bool (CWaveOut::*)(WAVEFORMATEX*, HWND)>);
static_assert(std::is_same_v<decltype(&CWaveOut::m_S_WaveClose), void (CWaveOut::*)()>);
static_assert(
    std::is_same_v<decltype(&CWaveOut::m_S_WavePlay), void (CWaveOut::*)(unsigned char*, int)>);
static_assert(
    std::is_same_v<decltype(&CWaveOut::m_S_SetWaveVolume), void (CWaveOut::*)(unsigned long)>);
static_assert(std::is_same_v<decltype(&CWaveOut::m_F_n_IsOpen), bool (CWaveOut::*)()>);
static_assert(std::is_same_v<decltype(&CWaveOut::m_F_n_UseBuf), int (CWaveOut::*)()>);
static_assert(
    std::is_same_v<decltype(&CWaveOut::m_F_b_GetBufPoint), unsigned char* (CWaveOut::*)(int)>);

/// A player whose protected parts the tests can reach.
class Player : public CWaveOut
{
public:
    using CWaveOut::GetMessageMap;
    using CWaveOut::GetThisMessageMap;
    using CWaveOut::m_S_WomDone;
    using CWaveOut::OnPlayAudio;
    using CWaveOut::OnWndMsg;
};

WAVEFORMATEX FormatOf(int channels, int rate)
{
    WAVEFORMATEX format = {};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = static_cast<WORD>(channels);
    format.nSamplesPerSec = static_cast<DWORD>(rate);
    format.wBitsPerSample = 16;
    format.nBlockAlign = static_cast<WORD>(channels * 2);
    format.nAvgBytesPerSec = format.nSamplesPerSec * format.nBlockAlign;
    return format;
}

std::vector<unsigned char> Sound(std::size_t size, unsigned seed)
{
    std::vector<unsigned char> sound(size);
    for (std::size_t i = 0; i < size; ++i)
    {
        sound[i] = static_cast<unsigned char>(seed * 37 + i * 11 + 1);
    }
    return sound;
}

std::string TextOf(const std::vector<unsigned char>& sound)
{
    return std::string(sound.begin(), sound.end());
}

int LengthOf(const std::vector<unsigned char>& sound)
{
    return static_cast<int>(sound.size());
}

// ---- A window that is notified -----------------------------------------------------------------

class NotifyWindow
{
public:
    NotifyWindow()
        : vm_handle(CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                    GetModuleHandleW(nullptr), nullptr))
    {
    }
    ~NotifyWindow() { DestroyWindow(vm_handle); }
    NotifyWindow(const NotifyWindow&) = delete;
    NotifyWindow& operator=(const NotifyWindow&) = delete;

    HWND Handle() const { return vm_handle; }

    /// The wParam of every notice in the queue; removes them. Only a posted message can be there.
    std::vector<WPARAM> TakeNotices()
    {
        std::vector<WPARAM> notices;
        MSG message = {};
        while (PeekMessageW(&message, vm_handle, kPlayed, kPlayed, PM_REMOVE))
        {
            EXPECT_EQ(message.lParam, 0);
            notices.push_back(message.wParam);
        }
        return notices;
    }

    /// Waits for so many, but not for ever.
    std::vector<WPARAM> AwaitNotices(std::size_t count)
    {
        std::vector<WPARAM> notices;
        const DWORD begin = GetTickCount();
        while (notices.size() < count && GetTickCount() - begin < 10000)
        {
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 100, QS_ALLPOSTMESSAGE);
            for (const WPARAM notice : TakeNotices())
            {
                notices.push_back(notice);
            }
        }
        return notices;
    }

private:
    HWND vm_handle;
};

using Notices = std::vector<WPARAM>;

// ---- The memory that the library holds ---------------------------------------------------------

/// Knows, while it lives, which blocks the library has allocated and not yet freed.
class LibraryMemory
{
public:
    LibraryMemory()
    {
        Live().clear();
        Requests() = 0;
        Limit() = SIZE_MAX;
    }

    static bool IsLive(const void* block)
    {
        const std::lock_guard<std::mutex> lock(Lock());
        return Live().count(const_cast<void*>(block)) != 0;
    }
    static std::size_t CountOfLive()
    {
        const std::lock_guard<std::mutex> lock(Lock());
        return Live().size();
    }
    /// How many blocks have been asked for.
    static int CountOfRequests()
    {
        const std::lock_guard<std::mutex> lock(Lock());
        return Requests();
    }
    /// From now on there is no block of this size or a larger one.
    static void FailFrom(std::size_t size)
    {
        const std::lock_guard<std::mutex> lock(Lock());
        Limit() = size;
    }

private:
    static std::mutex& Lock()
    {
        static std::mutex lock;
        return lock;
    }
    static std::set<void*>& Live()
    {
        static std::set<void*> live;
        return live;
    }
    static int& Requests()
    {
        static int requests = 0;
        return requests;
    }
    static std::size_t& Limit()
    {
        static std::size_t limit = SIZE_MAX;
        return limit;
    }

    static void* Keep(std::size_t size, const std::function<void*()>& allocate)
    {
        const std::lock_guard<std::mutex> lock(Lock());
        ++Requests();
        void* const block = size < Limit() ? allocate() : nullptr;
        if (block != nullptr)
        {
            Live().insert(block);
        }
        return block;
    }
    static void* __cdecl Malloc(std::size_t size)
    {
        return Keep(size, [size] { return std::malloc(size); });
    }
    static void* __cdecl Calloc(std::size_t count, std::size_t size)
    {
        return Keep(count * size, [count, size] { return std::calloc(count, size); });
    }
    static void __cdecl Free(void* block)
    {
        {
            const std::lock_guard<std::mutex> lock(Lock());
            Live().erase(block);
        }
        std::free(block);
    }

    ImportPatch<void* __cdecl(std::size_t)> vm_malloc{"malloc", &Malloc};
    ImportPatch<void* __cdecl(std::size_t, std::size_t)> vm_calloc{"calloc", &Calloc};
    ImportPatch<void __cdecl(void*)> vm_free{"free", &Free};
};

// ---- A device of the test's own ----------------------------------------------------------------

/// What the device was given with one call of waveOutWrite.
struct Written
{
    int slot;
    const unsigned char* data;
    DWORD length;
    DWORD flags;
    std::string bytes;
};

/// Stands in the place of the platform's wave-out functions while it lives. It plays nothing of its
/// own accord: the test says when a block has been played.
class FakeDevice
{
public:
    FakeDevice() { The() = this; }
    ~FakeDevice() { The() = nullptr; }
    FakeDevice(const FakeDevice&) = delete;
    FakeDevice& operator=(const FakeDevice&) = delete;

    /// The block that was queued first has been played.
    void PlayOne()
    {
        WAVEHDR* const header = queue.front();
        queue.pop_front();
        header->dwFlags &= ~static_cast<DWORD>(WHDR_INQUEUE);
        header->dwFlags |= WHDR_DONE;
        Report(WOM_DONE, header);
    }
    void PlayAll()
    {
        while (!queue.empty())
        {
            PlayOne();
        }
    }

    void Report(UINT message, WAVEHDR* header)
    {
        using Proc = void(CALLBACK*)(HWAVEOUT, UINT, DWORD_PTR, DWORD_PTR, DWORD_PTR);
        reinterpret_cast<Proc>(callback)(handle, message, instance,
                                         reinterpret_cast<DWORD_PTR>(header), 0);
    }

    Names TakeCalls()
    {
        Names taken;
        taken.swap(calls);
        return taken;
    }

    // What the device does.
    HWAVEOUT handle = reinterpret_cast<HWAVEOUT>(0x5150);
    MMRESULT openResult = MMSYSERR_NOERROR;
    MMRESULT prepareResult = MMSYSERR_NOERROR;
    MMRESULT writeResult = MMSYSERR_NOERROR;
    bool isWatching = true;  ///< false: it forgets everything, and queues nothing
    std::function<void()> onClose;
    std::function<void()> onReset;

    // What it was told.
    Names calls;
    UINT deviceId = 0;
    const WAVEFORMATEX* format = nullptr;
    DWORD_PTR callback = 0;
    DWORD_PTR instance = 0;
    DWORD openFlags = 0;
    std::vector<WAVEHDR> prepared;  ///< as they were before
    std::vector<const void*> bufferAtUnprepare;
    std::vector<Written> written;
    std::deque<WAVEHDR*> queue;
    DWORD volume = 0x12345678;

private:
    static FakeDevice*& The()
    {
        static FakeDevice* the = nullptr;
        return the;
    }

    CWaveOut* Player() const { return reinterpret_cast<CWaveOut*>(instance); }

    int SlotOf(const WAVEHDR* header) const
    {
        return static_cast<int>(header - Player()->vm_stWaveHdr);
    }

    void Note(const std::string& call, HWAVEOUT given)
    {
        if (isWatching)
        {
            calls.push_back(given == handle ? call : call + " of an unknown device");
        }
    }

    void NoteHeader(const std::string& call, HWAVEOUT given, const WAVEHDR* header, UINT size)
    {
        Note(call + ' ' + std::to_string(SlotOf(header)), given);
        EXPECT_EQ(size, sizeof(WAVEHDR));
    }

    static MMRESULT WINAPI Open(HWAVEOUT* out, UINT id, const WAVEFORMATEX* format,
                                DWORD_PTR callback, DWORD_PTR instance, DWORD flags)
    {
        FakeDevice& the = *The();
        the.calls.push_back("open");
        the.deviceId = id;
        the.format = format;
        the.callback = callback;
        the.instance = instance;
        the.openFlags = flags;
        *out = the.handle;
        if (the.openResult == MMSYSERR_NOERROR && the.handle != nullptr)
        {
            the.Report(WOM_OPEN, nullptr);
        }
        return the.openResult;
    }
    static MMRESULT WINAPI Prepare(HWAVEOUT given, WAVEHDR* header, UINT size)
    {
        FakeDevice& the = *The();
        the.NoteHeader("prepare", given, header, size);
        the.prepared.push_back(*header);
        if (the.prepareResult == MMSYSERR_NOERROR)
        {
            header->dwFlags |= WHDR_PREPARED;
        }
        return the.prepareResult;
    }
    static MMRESULT WINAPI Unprepare(HWAVEOUT given, WAVEHDR* header, UINT size)
    {
        FakeDevice& the = *The();
        the.NoteHeader("unprepare", given, header, size);
        CMemManage& buffer = the.Player()->vm_cBuf[the.SlotOf(header)];
        the.bufferAtUnprepare.push_back(buffer.m_F_p_GetMemPoint());
        if ((header->dwFlags & WHDR_INQUEUE) != 0)
        {
            return WAVERR_STILLPLAYING;
        }
        header->dwFlags &= ~static_cast<DWORD>(WHDR_PREPARED);
        return MMSYSERR_NOERROR;
    }
    static MMRESULT WINAPI Write(HWAVEOUT given, WAVEHDR* header, UINT size)
    {
        FakeDevice& the = *The();
        if (!the.isWatching)
        {
            return MMSYSERR_NOERROR;
        }
        the.NoteHeader("write", given, header, size);
        Written block = {the.SlotOf(header), reinterpret_cast<unsigned char*>(header->lpData),
                         header->dwBufferLength, header->dwFlags, std::string()};
        if (header->lpData != nullptr)
        {
            block.bytes.assign(header->lpData, header->dwBufferLength);
        }
        the.written.push_back(block);
        if (the.writeResult != MMSYSERR_NOERROR)
        {
            return the.writeResult;
        }
        if ((header->dwFlags & WHDR_PREPARED) == 0)
        {
            return WAVERR_UNPREPARED;
        }
        if ((header->dwFlags & WHDR_INQUEUE) != 0)
        {
            return WAVERR_STILLPLAYING;
        }
        header->dwFlags &= ~static_cast<DWORD>(WHDR_DONE);
        header->dwFlags |= WHDR_INQUEUE;
        the.queue.push_back(header);
        return MMSYSERR_NOERROR;
    }
    static MMRESULT WINAPI SetVolume(HWAVEOUT given, DWORD volume)
    {
        char text[32];
        snprintf(text, sizeof(text), "volume %08lx", volume);
        The()->Note(text, given);
        The()->volume = volume;
        return MMSYSERR_NOERROR;
    }
    static MMRESULT WINAPI Pause(HWAVEOUT given)
    {
        The()->Note("pause", given);
        return MMSYSERR_NOERROR;
    }
    static MMRESULT WINAPI Reset(HWAVEOUT given)
    {
        The()->Note("reset", given);
        if (The()->onReset)
        {
            The()->onReset();
        }
        The()->PlayAll();
        return MMSYSERR_NOERROR;
    }
    static MMRESULT WINAPI Close(HWAVEOUT given)
    {
        FakeDevice& the = *The();
        the.Note("close", given);
        if (the.onClose)
        {
            the.onClose();
        }
        the.Report(WOM_CLOSE, nullptr);
        return MMSYSERR_NOERROR;
    }

    ImportPatch<MMRESULT WINAPI(HWAVEOUT*, UINT, const WAVEFORMATEX*, DWORD_PTR, DWORD_PTR, DWORD)>
        vm_open{"waveOutOpen", &Open};
    ImportPatch<MMRESULT WINAPI(HWAVEOUT, WAVEHDR*, UINT)> vm_prepare{"waveOutPrepareHeader",
                                                                      &Prepare};
    ImportPatch<MMRESULT WINAPI(HWAVEOUT, WAVEHDR*, UINT)> vm_unprepare{"waveOutUnprepareHeader",
                                                                        &Unprepare};
    ImportPatch<MMRESULT WINAPI(HWAVEOUT, WAVEHDR*, UINT)> vm_write{"waveOutWrite", &Write};
    ImportPatch<MMRESULT WINAPI(HWAVEOUT, DWORD)> vm_volume{"waveOutSetVolume", &SetVolume};
    ImportPatch<MMRESULT WINAPI(HWAVEOUT)> vm_pause{"waveOutPause", &Pause};
    ImportPatch<MMRESULT WINAPI(HWAVEOUT)> vm_reset{"waveOutReset", &Reset};
    ImportPatch<MMRESULT WINAPI(HWAVEOUT)> vm_close{"waveOutClose", &Close};
};

const Names kOpening = {"open",      "prepare 0", "prepare 1", "prepare 2", "prepare 3",
                        "prepare 4", "prepare 5", "prepare 6", "prepare 7", "volume ffffffff"};
const Names kClosing = {
    "volume 00000000", "pause",           "reset",       "unprepare 0", "unprepare 1",
    "unprepare 2",     "unprepare 3",     "unprepare 4", "unprepare 5", "unprepare 6",
    "unprepare 7",     "volume ffffffff", "close"};

/// A player on a device of the test's own, and a window for its notices.
class WaveOutContract : public testing::Test
{
protected:
    bool Open() { return player.m_F_n_WaveOpen(&format, window.Handle()); }

    /// For tests that begin with an open player.
    void OpenSilently()
    {
        ASSERT_TRUE(Open());
        device.calls.clear();
    }

    void Play(const std::vector<unsigned char>& sound)
    {
        std::vector<unsigned char> copy = sound;
        player.m_S_WavePlay(copy.data(), LengthOf(copy));
    }

    WAVEFORMATEX format = FormatOf(1, 8000);
    LibraryMemory memory;
    FakeDevice device;
    NotifyWindow window;
    Player player;
};

// ---- Data --------------------------------------------------------------------------------------

TEST(WaveOutDataContract, HasItsConstants)
{
    static_assert(std::is_same_v<decltype(CWaveOut::vs_nMuteBuf), const int>);
    static_assert(std::is_same_v<decltype(CWaveOut::vs_nMaxBuf), const int>);
    EXPECT_EQ(CWaveOut::vs_nMuteBuf + 0, 1600);
    EXPECT_EQ(CWaveOut::vs_nMaxBuf + 0, 8);
}

TEST(WaveOutDataContract, ExportsItsConstants)
{
    for (const int* const constant : {&CWaveOut::vs_nMuteBuf, &CWaveOut::vs_nMaxBuf})
    {
        const int* const volatile address = constant;
        HMODULE module = nullptr;
        ASSERT_TRUE(GetModuleHandleExW(
            GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
            reinterpret_cast<LPCWSTR>(address), &module));
        EXPECT_EQ(module, GetModuleHandleW(L"Lib_Ostrel.dll"));
    }
    const int* const volatile mute = &CWaveOut::vs_nMuteBuf;
    const int* const volatile slots = &CWaveOut::vs_nMaxBuf;
    EXPECT_EQ(*mute, 1600);
    EXPECT_EQ(*slots, 8);
}

TEST(WaveOutDataContract, KeepsItsFieldsInOrderBehindTheWindows)
{
    CWaveOut player;
    const auto offset = [&player](const void* field)
    {
        return static_cast<std::size_t>(static_cast<const char*>(field) -
                                        reinterpret_cast<const char*>(&player));
    };
    std::size_t expected = sizeof(CWnd);
    EXPECT_EQ(offset(&player.vm_hWaveOut), expected);
    expected += sizeof(HWAVEOUT);
    EXPECT_EQ(offset(player.vm_stWaveHdr), expected);
    EXPECT_EQ(sizeof(player.vm_stWaveHdr), 8 * sizeof(WAVEHDR));
    expected += 8 * sizeof(WAVEHDR);
    EXPECT_EQ(offset(player.vm_cBuf), expected);
    EXPECT_EQ(sizeof(player.vm_cBuf), 8 * sizeof(CMemManage));
    expected += 8 * sizeof(CMemManage);
    EXPECT_EQ(offset(&player.vm_nCurBuf), expected);
    expected += 4;
    EXPECT_EQ(offset(&player.vm_nDoneBuf), expected);
    expected += 4;
    EXPECT_EQ(offset(&player.vm_hNotifyWnd), expected);
    expected += sizeof(HWND);
    EXPECT_EQ(offset(&player.vm_nUseBuf), expected);
    EXPECT_EQ(sizeof(player.vm_nUseBuf), 4u);
    expected += 8;  // with what aligns the next one
    EXPECT_EQ(offset(&player.vm_cMuteBuf), expected);
}

TEST(WaveOutDataContract, BeginsClosedAndEmpty)
{
    CWaveOut player;
    EXPECT_EQ(player.vm_hWaveOut, nullptr);
    EXPECT_FALSE(player.m_F_n_IsOpen());
    EXPECT_EQ(player.vm_nCurBuf, 0);
    EXPECT_EQ(player.vm_nDoneBuf, 0);
    EXPECT_EQ(player.vm_hNotifyWnd, nullptr);
    EXPECT_EQ(player.m_hWnd, nullptr);
    for (CMemManage& buffer : player.vm_cBuf)
    {
        EXPECT_EQ(buffer.m_F_p_GetMemPoint(), nullptr);
        EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
    }
}

TEST(WaveOutDataContract, BeginsWithABlockOf1600BytesOfSilence)
{
    CWaveOut player;
    ASSERT_EQ(player.vm_cMuteBuf.m_F_n_GetMemSize(), 1600u);
    ASSERT_NE(player.vm_cMuteBuf.m_F_p_GetMemPoint(), nullptr);
    const auto* const bytes = player.vm_cMuteBuf.m_F_p_GetMemPoint();
    EXPECT_EQ(std::string(bytes, bytes + 1600), std::string(1600, '\0'));
}

// ---- Opening -----------------------------------------------------------------------------------

TEST_F(WaveOutContract, OpensTheMappersDeviceWithItsOwnCallback)
{
    ASSERT_TRUE(Open());
    EXPECT_EQ(device.deviceId, WAVE_MAPPER);
    ASSERT_NE(device.format, nullptr);
    EXPECT_EQ(device.format->nSamplesPerSec, 8000u);
    EXPECT_EQ(device.callback, reinterpret_cast<DWORD_PTR>(&CWaveOut::waveOutProc));
    EXPECT_EQ(device.instance, reinterpret_cast<DWORD_PTR>(static_cast<CWaveOut*>(&player)));
    EXPECT_EQ(device.openFlags, static_cast<DWORD>(CALLBACK_FUNCTION));
    EXPECT_EQ(player.vm_hWaveOut, device.handle);
    EXPECT_TRUE(player.m_F_n_IsOpen());
}

TEST_F(WaveOutContract, PreparesTheEightHeadersAndSetsFullVolumeWhenOpening)
{
    ASSERT_TRUE(Open());
    EXPECT_EQ(device.calls, kOpening);
}

TEST_F(WaveOutContract, ZeroesTheHeadersBeforeTheyArePrepared)
{
    for (WAVEHDR& header : player.vm_stWaveHdr)
    {
        memset(&header, 0xA5, sizeof(header));
    }
    ASSERT_TRUE(Open());
    ASSERT_EQ(device.prepared.size(), 8u);
    const WAVEHDR zero = {};
    for (const WAVEHDR& header : device.prepared)
    {
        EXPECT_EQ(memcmp(&header, &zero, sizeof(zero)), 0);
    }
}

TEST_F(WaveOutContract, CountsFromZeroAfterOpening)
{
    player.vm_nUseBuf = 5;
    ASSERT_TRUE(Open());
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
}

TEST_F(WaveOutContract, KeepsTheNotifyWindowAlsoWhenOpeningFails)
{
    device.openResult = MMSYSERR_NODRIVER;
    EXPECT_FALSE(Open());
    EXPECT_EQ(player.vm_hNotifyWnd, window.Handle());
}

TEST_F(WaveOutContract, IsClosedWhenTheDeviceRefuses)
{
    for (const MMRESULT error :
         {static_cast<MMRESULT>(MMSYSERR_ALLOCATED), static_cast<MMRESULT>(WAVERR_BADFORMAT),
          static_cast<MMRESULT>(MMSYSERR_BADDEVICEID)})
    {
        // Even if something has been stored as a handle.
        device.openResult = error;
        device.calls.clear();
        EXPECT_FALSE(Open());
        EXPECT_FALSE(player.m_F_n_IsOpen());
        EXPECT_EQ(device.calls, Names{"open"});
    }
}

TEST_F(WaveOutContract, IsClosedWhenTheDeviceGivesNoHandle)
{
    device.handle = nullptr;
    EXPECT_FALSE(Open());
    EXPECT_FALSE(player.m_F_n_IsOpen());
    EXPECT_EQ(device.calls, Names{"open"});
}

TEST_F(WaveOutContract, CanBeOpenedAfterAFailure)
{
    device.openResult = MMSYSERR_ALLOCATED;
    ASSERT_FALSE(Open());
    device.openResult = MMSYSERR_NOERROR;
    device.calls.clear();
    EXPECT_TRUE(Open());
    EXPECT_EQ(device.calls, kOpening);
}

TEST_F(WaveOutContract, OpensAlsoWhenHeadersCannotBePrepared)
{
    device.prepareResult = MMSYSERR_NOMEM;
    EXPECT_TRUE(Open());
    EXPECT_EQ(device.calls, kOpening);
}

TEST_F(WaveOutContract, IsNotOpenedByANullFormat)
{
    device.openResult = MMSYSERR_INVALPARAM;
    EXPECT_FALSE(player.m_F_n_WaveOpen(nullptr, window.Handle()));
    EXPECT_FALSE(player.m_F_n_IsOpen());
}

TEST_F(WaveOutContract, ClosesAnOpenDeviceBeforeItOpensAnother)
{
    OpenSilently();
    Play(Sound(100, 1));
    device.calls.clear();
    EXPECT_TRUE(Open());
    Names expected = kClosing;
    expected.insert(expected.end(), kOpening.begin(), kOpening.end());
    EXPECT_EQ(device.calls, expected);
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
}

TEST_F(WaveOutContract, IsClosedWhenOpeningAgainFails)
{
    OpenSilently();
    device.openResult = MMSYSERR_ALLOCATED;
    EXPECT_FALSE(Open());
    EXPECT_FALSE(player.m_F_n_IsOpen());
}

// ---- Playing -----------------------------------------------------------------------------------

TEST_F(WaveOutContract, QueuesACopyOfTheBlock)
{
    OpenSilently();
    const std::vector<unsigned char> sound = Sound(333, 1);
    std::vector<unsigned char> given = sound;
    player.m_S_WavePlay(given.data(), 333);
    EXPECT_EQ(device.calls, Names{"write 0"});
    ASSERT_EQ(device.written.size(), 1u);
    EXPECT_EQ(device.written[0].bytes, TextOf(sound));
    EXPECT_NE(device.written[0].data, given.data());
    EXPECT_EQ(device.written[0].data, player.vm_cBuf[0].m_F_p_GetMemPoint());
    EXPECT_EQ(player.vm_cBuf[0].m_F_n_GetMemSize(), 333u);
    EXPECT_EQ(given, sound);
    given.assign(333, 0);
    EXPECT_EQ(std::string(device.queue[0]->lpData, 333), TextOf(sound));
}

TEST_F(WaveOutContract, PassesHeadersThatAreStillPrepared)
{
    OpenSilently();
    for (unsigned i = 0; i < 20; ++i)
    {
        Play(Sound(10 + i, i));
        device.PlayAll();
    }
    ASSERT_EQ(device.written.size(), 20u);
    for (const Written& block : device.written)
    {
        EXPECT_NE(block.flags & WHDR_PREPARED, 0u);
    }
    // Nothing but writes: headers are prepared once.
    EXPECT_EQ(device.prepared.size(), 8u);
    EXPECT_EQ(device.calls.size(), 20u);
}

TEST_F(WaveOutContract, QueuesTenBlocksInSlots0To7AndThen0And1)
{
    OpenSilently();
    Names expected;
    for (unsigned i = 0; i < 10; ++i)
    {
        EXPECT_EQ(player.vm_nCurBuf, static_cast<int>(i % 8));
        Play(Sound(64, i));
        expected.push_back("write " + std::to_string(i % 8));
        EXPECT_EQ(player.m_F_n_UseBuf(), static_cast<int>(i) + 1);
    }
    EXPECT_EQ(device.calls, expected);
    EXPECT_EQ(player.vm_nCurBuf, 2);
    ASSERT_EQ(device.written.size(), 10u);
    for (unsigned i = 0; i < 10; ++i)
    {
        EXPECT_EQ(device.written[i].bytes, TextOf(Sound(64, i))) << i;
    }
}

TEST_F(WaveOutContract, CountsTenBlocksMinusCompletions)
{
    OpenSilently();
    for (unsigned i = 0; i < 10; ++i)
    {
        Play(Sound(64, i));
    }
    // The device has refused two: their slots were still queued.
    ASSERT_EQ(device.queue.size(), 8u);
    for (int completions = 1; completions <= 8; ++completions)
    {
        device.PlayOne();
        EXPECT_EQ(player.m_F_n_UseBuf(), 10 - completions);
    }
}

TEST_F(WaveOutContract, ReusesASlotThatHasBeenPlayed)
{
    OpenSilently();
    for (unsigned i = 0; i < 40; ++i)
    {
        const std::vector<unsigned char> sound = Sound(50 + i * 7 % 90, i);
        Play(sound);
        ASSERT_EQ(device.written.back().slot, static_cast<int>(i % 8));
        ASSERT_EQ(device.written.back().bytes, TextOf(sound));
        ASSERT_EQ(player.vm_cBuf[i % 8].m_F_n_GetMemSize(), sound.size());
        if (device.queue.size() == 7)
        {
            device.PlayOne();
        }
    }
    // No write was refused.
    EXPECT_EQ(player.m_F_n_UseBuf(), static_cast<int>(device.queue.size()));
}

TEST_F(WaveOutContract, CountsABlockOfAnotherLengthInTheOldestSlotToo)
{
    OpenSilently();
    for (unsigned i = 0; i < 8; ++i)
    {
        Play(Sound(64, i));
    }
    Play(Sound(320, 8));
    EXPECT_EQ(device.written.size(), 9u);
    EXPECT_EQ(device.written.back().slot, 0);
    EXPECT_EQ(player.vm_nCurBuf, 1);
    EXPECT_EQ(player.m_F_n_UseBuf(), 9);
}

TEST_F(WaveOutContract, NeverFreesTheMemoryOfABlockThatTheDeviceHolds)
{
    OpenSilently();
    for (unsigned i = 0; i < 8; ++i)
    {
        Play(Sound(64, i));
    }
    for (const std::size_t size : {std::size_t{320}, std::size_t{16}})
    {
        Play(Sound(size, 9));
    }
    player.m_S_WavePlay(nullptr, 0);
    player.m_F_b_GetBufPoint(5000);
    ASSERT_EQ(device.queue.size(), 8u);
    for (std::size_t i = 0; i < 8; ++i)
    {
        const unsigned char* const first = device.written[i].data;
        EXPECT_TRUE(LibraryMemory::IsLive(first)) << i;
        // What the device reads now is a block that is there, and no longer than it.
        const auto* const now = reinterpret_cast<unsigned char*>(device.queue[i]->lpData);
        EXPECT_TRUE(LibraryMemory::IsLive(now)) << i;
        EXPECT_LE(device.queue[i]->dwBufferLength, now == player.vm_cMuteBuf.m_F_p_GetMemPoint()
                                                       ? 1600u
                                                       : _msize(device.queue[i]->lpData))
            << i;
    }
}

TEST_F(WaveOutContract, GivesABufferAlsoWhileTheSlotIsQueued)
{
    const std::size_t live = LibraryMemory::CountOfLive();
    OpenSilently();
    for (unsigned i = 0; i < 8; ++i)
    {
        Play(Sound(64, i));
    }
    for (const int size : {5000, 32, 64, 640})
    {
        unsigned char* const buffer = player.m_F_b_GetBufPoint(size);
        ASSERT_NE(buffer, nullptr);
        EXPECT_GE(_msize(buffer), static_cast<std::size_t>(size));
        memset(buffer, 3, static_cast<std::size_t>(size));
        EXPECT_TRUE(LibraryMemory::IsLive(device.written[0].data));
    }
    player.m_S_WavePlay(player.m_F_b_GetBufPoint(640), 640);
    EXPECT_EQ(device.written.back().slot, 0);
    EXPECT_EQ(player.m_F_n_UseBuf(), 9);
    player.m_S_WaveClose();
    EXPECT_EQ(LibraryMemory::CountOfLive(), live);
}

TEST_F(WaveOutContract, HoldsNoMoreMemoryForADeviceThatPlaysNothing)
{
    OpenSilently();
    for (unsigned i = 0; i < 8; ++i)
    {
        Play(Sound(64, i));
    }
    const std::size_t live = LibraryMemory::CountOfLive();
    for (unsigned i = 0; i < 1000; ++i)
    {
        Play(Sound(65 + i % 50, i));
        ASSERT_NE(player.m_F_b_GetBufPoint(static_cast<int>(200 + i)), nullptr);
    }
    // One more for each slot at most.
    EXPECT_LE(LibraryMemory::CountOfLive(), live + 8);
}

TEST_F(WaveOutContract, PlaysTheMuteBlockForANullBlock)
{
    OpenSilently();
    player.m_S_WavePlay(nullptr, 4000);
    ASSERT_EQ(device.written.size(), 1u);
    EXPECT_EQ(device.written[0].data, player.vm_cMuteBuf.m_F_p_GetMemPoint());
    EXPECT_EQ(device.written[0].length, 1600u);
    EXPECT_EQ(device.written[0].bytes, std::string(1600, '\0'));
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
    EXPECT_EQ(player.vm_nCurBuf, 1);
}

TEST_F(WaveOutContract, PlaysTheMuteBlockForABlockOfLengthZero)
{
    OpenSilently();
    unsigned char byte = 7;
    player.m_S_WavePlay(&byte, 0);
    ASSERT_EQ(device.written.size(), 1u);
    EXPECT_EQ(device.written[0].data, player.vm_cMuteBuf.m_F_p_GetMemPoint());
    EXPECT_EQ(device.written[0].length, 1600u);
}

TEST_F(WaveOutContract, PlaysTheMuteBlockInEverySlot)
{
    OpenSilently();
    for (int i = 0; i < 9; ++i)
    {
        player.m_S_WavePlay(nullptr, 0);
        EXPECT_EQ(device.written.back().slot, i % 8);
        EXPECT_EQ(device.written.back().data, player.vm_cMuteBuf.m_F_p_GetMemPoint());
    }
    for (CMemManage& buffer : player.vm_cBuf)
    {
        EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
    }
}

TEST_F(WaveOutContract, GoesBackToTheSlotsBufferAfterTheMuteBlock)
{
    OpenSilently();
    for (int i = 0; i < 8; ++i)
    {
        player.m_S_WavePlay(nullptr, 0);
    }
    device.PlayAll();
    Play(Sound(20, 3));
    EXPECT_EQ(device.written.back().data, player.vm_cBuf[0].m_F_p_GetMemPoint());
    EXPECT_EQ(device.written.back().bytes, TextOf(Sound(20, 3)));
}

TEST_F(WaveOutContract, NeverWritesTheMuteBlock)
{
    OpenSilently();
    unsigned char* const mute = player.vm_cMuteBuf.m_F_p_GetMemPoint();
    const std::vector<unsigned char> own = Sound(1600, 77);
    memcpy(mute, own.data(), own.size());
    for (unsigned i = 0; i < 20; ++i)
    {
        player.m_S_WavePlay(nullptr, 0);
        Play(Sound(1600, i));
        device.PlayAll();
    }
    player.m_S_WaveClose();
    ASSERT_TRUE(Open());
    EXPECT_EQ(player.vm_cMuteBuf.m_F_p_GetMemPoint(), mute);
    EXPECT_EQ(std::string(mute, mute + 1600), TextOf(own));
}

TEST_F(WaveOutContract, CountsABlockThatTheDeviceRefuses)
{
    OpenSilently();
    device.writeResult = MMSYSERR_NOMEM;
    Play(Sound(64, 1));
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
    EXPECT_EQ(player.vm_nCurBuf, 1);
}

TEST_F(WaveOutContract, PlaysNothingWhileClosed)
{
    Play(Sound(64, 1));
    player.m_S_WavePlay(nullptr, 0);
    EXPECT_EQ(device.calls, Names());
    EXPECT_EQ(player.vm_nCurBuf, 0);
    EXPECT_EQ(player.vm_cBuf[0].m_F_n_GetMemSize(), 0u);
}

TEST_F(WaveOutContract, PlaysSilenceForANegativeLength)
{
    OpenSilently();
    unsigned char byte = 7;
    for (const int length : {-1, -1600, INT_MIN})
    {
        player.m_S_WavePlay(&byte, length);
        EXPECT_EQ(device.written.back().length, 1600u);
        EXPECT_EQ(device.written.back().bytes, std::string(1600, '\0'));
    }
    EXPECT_EQ(player.m_F_n_UseBuf(), 3);
}

TEST_F(WaveOutContract, PlaysSilenceWhenThereIsNoMemoryForTheCopy)
{
    OpenSilently();
    LibraryMemory::FailFrom(3000);
    Play(Sound(4000, 1));
    ASSERT_EQ(device.written.size(), 1u);
    EXPECT_EQ(device.written[0].length, 1600u);
    EXPECT_EQ(device.written[0].bytes, std::string(1600, '\0'));
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
    EXPECT_EQ(player.vm_nCurBuf, 1);
}

// ---- The slot's own buffer ---------------------------------------------------------------------

TEST_F(WaveOutContract, QueuesTheBufferOfTheSlotWithoutCopying)
{
    OpenSilently();
    unsigned char* const buffer = player.m_F_b_GetBufPoint(480);
    ASSERT_NE(buffer, nullptr);
    const std::vector<unsigned char> sound = Sound(480, 5);
    memcpy(buffer, sound.data(), sound.size());
    const int requests = LibraryMemory::CountOfRequests();
    player.m_S_WavePlay(buffer, 480);
    EXPECT_EQ(LibraryMemory::CountOfRequests(), requests);
    ASSERT_EQ(device.written.size(), 1u);
    EXPECT_EQ(device.written[0].data, buffer);
    EXPECT_EQ(device.written[0].bytes, TextOf(sound));
    EXPECT_EQ(player.vm_nCurBuf, 1);
}

TEST_F(WaveOutContract, QueuesTheFirstPartOfTheSlotsBufferInPlace)
{
    OpenSilently();
    unsigned char* const buffer = player.m_F_b_GetBufPoint(480);
    ASSERT_NE(buffer, nullptr);
    const std::vector<unsigned char> sound = Sound(480, 6);
    memcpy(buffer, sound.data(), sound.size());
    player.m_S_WavePlay(buffer, 200);
    EXPECT_EQ(device.written[0].data, buffer);
    EXPECT_EQ(device.written[0].length, 200u);
    EXPECT_EQ(device.written[0].bytes, TextOf(sound).substr(0, 200));
}

TEST_F(WaveOutContract, NeverLetsTheDeviceReadPastTheSlotsBuffer)
{
    OpenSilently();
    unsigned char* const buffer = player.m_F_b_GetBufPoint(100);
    ASSERT_NE(buffer, nullptr);
    memset(buffer, 9, 100);
    player.m_S_WavePlay(buffer, 100000);
    ASSERT_EQ(device.written.size(), 1u);
    EXPECT_EQ(device.written[0].data, player.vm_cBuf[0].m_F_p_GetMemPoint());
    EXPECT_LE(device.written[0].length, player.vm_cBuf[0].m_F_n_GetMemSize());
    EXPECT_EQ(device.written[0].bytes.substr(0, 100), std::string(100, '\x09'));
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
}

TEST_F(WaveOutContract, CopiesAPartFromTheMiddleOfTheSlotsBuffer)
{
    OpenSilently();
    unsigned char* const buffer = player.m_F_b_GetBufPoint(480);
    ASSERT_NE(buffer, nullptr);
    const std::vector<unsigned char> sound = Sound(480, 7);
    memcpy(buffer, sound.data(), sound.size());
    player.m_S_WavePlay(buffer + 100, 200);
    ASSERT_EQ(device.written.size(), 1u);
    EXPECT_EQ(device.written[0].bytes, TextOf(sound).substr(100, 200));
    EXPECT_EQ(device.written[0].data, player.vm_cBuf[0].m_F_p_GetMemPoint());
}

TEST_F(WaveOutContract, CopiesTheBufferOfAnotherSlot)
{
    OpenSilently();
    unsigned char* const buffer = player.m_F_b_GetBufPoint(64);
    ASSERT_NE(buffer, nullptr);
    const std::vector<unsigned char> sound = Sound(64, 8);
    memcpy(buffer, sound.data(), sound.size());
    player.m_S_WavePlay(buffer, 64);
    player.m_S_WavePlay(buffer, 64);
    ASSERT_EQ(device.written.size(), 2u);
    EXPECT_NE(device.written[1].data, buffer);
    EXPECT_EQ(device.written[1].data, player.vm_cBuf[1].m_F_p_GetMemPoint());
    EXPECT_EQ(device.written[1].bytes, TextOf(sound));
}

TEST_F(WaveOutContract, CopiesABlockBesideABufferThatWasAskedForAndNotUsed)
{
    OpenSilently();
    unsigned char* const buffer = player.m_F_b_GetBufPoint(64);
    ASSERT_NE(buffer, nullptr);
    Play(Sound(64, 9));
    EXPECT_EQ(device.written[0].data, buffer);
    EXPECT_EQ(device.written[0].bytes, TextOf(Sound(64, 9)));
}

TEST_F(WaveOutContract, KeepsABufferThatHasTheSizeAskedFor)
{
    OpenSilently();
    unsigned char* const buffer = player.m_F_b_GetBufPoint(480);
    ASSERT_NE(buffer, nullptr);
    memset(buffer, 0x5A, 480);
    const int requests = LibraryMemory::CountOfRequests();
    EXPECT_EQ(player.m_F_b_GetBufPoint(480), buffer);
    EXPECT_EQ(LibraryMemory::CountOfRequests(), requests);
    EXPECT_EQ(std::string(buffer, buffer + 480), std::string(480, '\x5A'));
}

TEST_F(WaveOutContract, MakesABufferOfExactlyTheSizeAskedFor)
{
    for (const int size : {480, 481, 1, 100000, 16})
    {
        unsigned char* const buffer = player.m_F_b_GetBufPoint(size);
        ASSERT_NE(buffer, nullptr);
        EXPECT_EQ(player.vm_cBuf[0].m_F_p_GetMemPoint(), buffer);
        EXPECT_EQ(player.vm_cBuf[0].m_F_n_GetMemSize(), static_cast<unsigned>(size));
        EXPECT_EQ(_msize(buffer), static_cast<std::size_t>(size));
        memset(buffer, 1, static_cast<std::size_t>(size));
    }
}

TEST_F(WaveOutContract, FreesABufferOfAnotherSize)
{
    player.m_F_b_GetBufPoint(480);
    const std::size_t live = LibraryMemory::CountOfLive();
    for (int size = 1; size < 100; ++size)
    {
        ASSERT_NE(player.m_F_b_GetBufPoint(size), nullptr);
        ASSERT_EQ(LibraryMemory::CountOfLive(), live);
    }
}

TEST_F(WaveOutContract, GivesTheBufferOfTheSlotThatIsNext)
{
    OpenSilently();
    Play(Sound(10, 1));
    Play(Sound(10, 2));
    unsigned char* const buffer = player.m_F_b_GetBufPoint(40);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer, player.vm_cBuf[2].m_F_p_GetMemPoint());
    EXPECT_EQ(player.vm_cBuf[2].m_F_n_GetMemSize(), 40u);
    EXPECT_EQ(player.vm_nCurBuf, 2);
    EXPECT_EQ(player.m_F_n_UseBuf(), 2);
}

TEST_F(WaveOutContract, GivesNoBufferWithoutMemory)
{
    ASSERT_NE(player.m_F_b_GetBufPoint(480), nullptr);
    LibraryMemory::FailFrom(2000);
    EXPECT_EQ(player.m_F_b_GetBufPoint(4000), nullptr);
    EXPECT_EQ(player.vm_cBuf[0].m_F_n_GetMemSize(), 0u);
    EXPECT_NE(player.m_F_b_GetBufPoint(480), nullptr);
}

TEST_F(WaveOutContract, GivesNoBufferOfASizeThatIsNotPositive)
{
    for (const int size : {0, -1, INT_MIN})
    {
        EXPECT_EQ(player.m_F_b_GetBufPoint(size), nullptr) << size;
    }
    ASSERT_NE(player.m_F_b_GetBufPoint(480), nullptr);
    for (const int size : {0, -1, INT_MIN})
    {
        EXPECT_EQ(player.m_F_b_GetBufPoint(size), nullptr) << size;
    }
}

// ---- Volume ------------------------------------------------------------------------------------

TEST_F(WaveOutContract, SetsTheVolumeAsGiven)
{
    OpenSilently();
    for (const unsigned long volume : {0ul, 0xFFFFul, 0xFFFF0000ul, 0x12348765ul, 0xFFFFFFFFul})
    {
        player.m_S_SetWaveVolume(volume);
        EXPECT_EQ(device.volume, volume);
    }
    EXPECT_EQ(device.calls.size(), 5u);
}

TEST_F(WaveOutContract, SetsNoVolumeWhileClosed)
{
    player.m_S_SetWaveVolume(0x80008000);
    EXPECT_EQ(device.calls, Names());
    OpenSilently();
    player.m_S_WaveClose();
    device.calls.clear();
    player.m_S_SetWaveVolume(0x80008000);
    EXPECT_EQ(device.calls, Names());
}

// ---- Completion --------------------------------------------------------------------------------

TEST_F(WaveOutContract, PostsANoticeForEachBlockPlayed)
{
    OpenSilently();
    Play(Sound(320, 1));
    EXPECT_EQ(window.TakeNotices(), Notices());
    device.PlayOne();
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
    EXPECT_EQ(window.TakeNotices(), Notices{20});
}

TEST_F(WaveOutContract, ReportsHeaderZerosLengthWhicheverBlockWasPlayed)
{
    OpenSilently();
    for (const std::size_t size : {4096u, 8000u, 160u, 1600u, 32u})
    {
        Play(Sound(size, 1));
    }
    device.PlayAll();
    EXPECT_EQ(window.TakeNotices(), Notices({256, 256, 256, 256, 256}));
    EXPECT_EQ(player.vm_nDoneBuf, 0);
}

TEST_F(WaveOutContract, ReportsTheLengthThatHeaderZeroHasWhenABlockWasPlayed)
{
    OpenSilently();
    for (unsigned i = 0; i < 8; ++i)
    {
        Play(Sound(64, i));
    }
    device.PlayOne();
    Play(Sound(3200, 8));
    device.PlayAll();
    Notices expected(9, 200);
    expected[0] = 4;
    EXPECT_EQ(window.TakeNotices(), expected);
}

TEST_F(WaveOutContract, DropsTheRemainderOfTheLengthInANotice)
{
    OpenSilently();
    Play(Sound(111, 1));
    device.PlayOne();
    EXPECT_EQ(window.TakeNotices(), Notices{6});
}

TEST_F(WaveOutContract, ReportsTheMuteBlockAs100)
{
    OpenSilently();
    player.m_S_WavePlay(nullptr, 0);
    Play(Sound(64, 1));
    device.PlayAll();
    EXPECT_EQ(window.TakeNotices(), Notices({100, 100}));
}

TEST_F(WaveOutContract, ReportsTheLengthOfTheHeaderThatTheDoneIndexNames)
{
    OpenSilently();
    Play(Sound(160, 1));
    Play(Sound(320, 2));
    player.vm_nDoneBuf = 1;
    device.PlayAll();
    EXPECT_EQ(window.TakeNotices(), Notices({20, 20}));
    EXPECT_EQ(player.vm_nDoneBuf, 1);
}

TEST_F(WaveOutContract, NotifiesNobodyWithoutAWindow)
{
    ASSERT_TRUE(player.m_F_n_WaveOpen(&format, nullptr));
    Play(Sound(64, 1));
    device.PlayOne();
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
    // A message to no window would be one of the thread's own.
    MSG message = {};
    EXPECT_FALSE(PeekMessageW(&message, nullptr, kPlayed, kPlayed, PM_REMOVE));
}

TEST_F(WaveOutContract, GoesOnCountingWhenTheWindowIsGone)
{
    {
        const NotifyWindow gone;
        ASSERT_TRUE(player.m_F_n_WaveOpen(&format, gone.Handle()));
    }
    Play(Sound(64, 1));
    device.PlayOne();
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
}

TEST_F(WaveOutContract, IgnoresOtherMessagesOfTheDevice)
{
    OpenSilently();
    Play(Sound(64, 1));
    for (const UINT message : {static_cast<UINT>(WOM_OPEN), static_cast<UINT>(WOM_CLOSE), 0u, 958u})
    {
        device.Report(message, nullptr);
    }
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
    EXPECT_EQ(window.TakeNotices(), Notices());
}

TEST_F(WaveOutContract, IsToldOnAnotherThread)
{
    OpenSilently();
    Play(Sound(64, 1));
    Play(Sound(64, 2));
    std::thread([this] { device.PlayAll(); }).join();
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
    EXPECT_EQ(window.TakeNotices(), Notices({4, 4}));
}

TEST_F(WaveOutContract, CountsExactlyWhileTwoThreadsCount)
{
    ASSERT_TRUE(player.m_F_n_WaveOpen(&format, nullptr));
    device.isWatching = false;
    constexpr int kBlocks = 300000;
    std::thread completions(
        [this]
        {
            for (int i = 0; i < kBlocks; ++i)
            {
                device.Report(WOM_DONE, &player.vm_stWaveHdr[0]);
            }
        });
    for (int i = 0; i < kBlocks; ++i)
    {
        player.m_S_WavePlay(nullptr, 0);
    }
    completions.join();
    device.isWatching = true;
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
    EXPECT_EQ(player.vm_nCurBuf, kBlocks % 8);
}

TEST_F(WaveOutContract, CountsAndNotifiesByItsCompletionMemberToo)
{
    OpenSilently();
    Play(Sound(160, 1));
    Play(Sound(64, 2));
    player.m_S_WomDone();
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
    EXPECT_EQ(window.TakeNotices(), Notices{10});
}

TEST_F(WaveOutContract, CountsAndNotifiesByItsMessageHandlerToo)
{
    OpenSilently();
    Play(Sound(160, 1));
    Play(Sound(64, 2));
    EXPECT_EQ(player.OnPlayAudio(1234, 5678), 0);
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
    EXPECT_EQ(window.TakeNotices(), Notices{10});
}

// ---- Closing -----------------------------------------------------------------------------------

TEST_F(WaveOutContract, ClosesSilentlyAndInOrder)
{
    OpenSilently();
    player.m_S_WaveClose();
    EXPECT_EQ(device.calls, kClosing);
    EXPECT_FALSE(player.m_F_n_IsOpen());
    EXPECT_EQ(player.vm_hWaveOut, nullptr);
}

TEST_F(WaveOutContract, FreesTheSlotsBuffersWhenClosing)
{
    const std::size_t live = LibraryMemory::CountOfLive();
    OpenSilently();
    std::vector<const void*> buffers;
    for (unsigned i = 0; i < 8; ++i)
    {
        Play(Sound(100, i));
        buffers.push_back(player.vm_cBuf[i].m_F_p_GetMemPoint());
    }
    player.m_S_WaveClose();
    // Not before the device has let go of the header.
    EXPECT_EQ(device.bufferAtUnprepare, buffers);
    for (CMemManage& buffer : player.vm_cBuf)
    {
        EXPECT_EQ(buffer.m_F_p_GetMemPoint(), nullptr);
        EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
    }
    EXPECT_EQ(LibraryMemory::CountOfLive(), live);
    EXPECT_EQ(player.vm_cMuteBuf.m_F_n_GetMemSize(), 1600u);
}

TEST_F(WaveOutContract, TellsTheWindowOfTheBlocksThatClosingEnds)
{
    OpenSilently();
    for (unsigned i = 0; i < 3; ++i)
    {
        Play(Sound(320, i));
    }
    player.m_S_WaveClose();
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
    EXPECT_EQ(window.TakeNotices(), Notices({20, 20, 20}));
}

TEST_F(WaveOutContract, KeepsSlotAndCountWhenClosing)
{
    OpenSilently();
    device.writeResult = MMSYSERR_NOMEM;
    for (unsigned i = 0; i < 3; ++i)
    {
        Play(Sound(320, i));
    }
    player.m_S_WaveClose();
    EXPECT_EQ(player.vm_nCurBuf, 3);
    EXPECT_EQ(player.m_F_n_UseBuf(), 3);
}

TEST_F(WaveOutContract, GoesOnWithTheNextSlotAfterOpeningAgain)
{
    OpenSilently();
    for (unsigned i = 0; i < 3; ++i)
    {
        Play(Sound(320, i));
    }
    player.m_S_WaveClose();
    ASSERT_TRUE(Open());
    Play(Sound(320, 9));
    EXPECT_EQ(device.written.back().slot, 3);
    EXPECT_EQ(device.written.back().bytes, TextOf(Sound(320, 9)));
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
}

TEST_F(WaveOutContract, DoesNothingWhenAClosedPlayerIsClosed)
{
    player.m_S_WaveClose();
    EXPECT_EQ(device.calls, Names());
    OpenSilently();
    player.m_S_WaveClose();
    device.calls.clear();
    ASSERT_NE(player.m_F_b_GetBufPoint(100), nullptr);
    player.m_S_WaveClose();
    EXPECT_EQ(device.calls, Names());
    EXPECT_EQ(player.vm_cBuf[0].m_F_n_GetMemSize(), 100u);
}

TEST_F(WaveOutContract, OpensAndClosesAnyNumberOfTimes)
{
    const std::size_t live = LibraryMemory::CountOfLive();
    for (int i = 0; i < 50; ++i)
    {
        ASSERT_TRUE(Open());
        EXPECT_EQ(device.TakeCalls(), kOpening);
        Play(Sound(100, 1));
        device.calls.clear();
        player.m_S_WaveClose();
        EXPECT_EQ(device.TakeCalls(), kClosing);
        window.TakeNotices();
    }
    EXPECT_EQ(LibraryMemory::CountOfLive(), live);
}

// ---- The end of a player -----------------------------------------------------------------------

TEST_F(WaveOutContract, ClosesTheDeviceWhenDestroyed)
{
    auto other = std::make_unique<CWaveOut>();
    ASSERT_TRUE(other->m_F_n_WaveOpen(&format, window.Handle()));
    device.calls.clear();
    other.reset();
    EXPECT_EQ(device.calls, kClosing);
}

TEST_F(WaveOutContract, IsDestroyedThroughItsBase)
{
    auto other = std::make_unique<CWaveOut>();
    ASSERT_TRUE(other->m_F_n_WaveOpen(&format, window.Handle()));
    device.calls.clear();
    std::unique_ptr<CObject> object = std::move(other);
    object.reset();
    EXPECT_EQ(device.calls, kClosing);
}

TEST_F(WaveOutContract, FreesAllItsMemoryWhenDestroyed)
{
    const std::size_t live = LibraryMemory::CountOfLive();
    {
        CWaveOut open;
        ASSERT_TRUE(open.m_F_n_WaveOpen(&format, nullptr));
        for (int i = 0; i < 8; ++i)
        {
            std::vector<unsigned char> sound = Sound(100, 1);
            open.m_S_WavePlay(sound.data(), 100);
        }
        // A closed one too may hold the buffer that was asked for.
        CWaveOut closed;
        ASSERT_NE(closed.m_F_b_GetBufPoint(5000), nullptr);
        EXPECT_GT(LibraryMemory::CountOfLive(), live);
    }
    EXPECT_EQ(LibraryMemory::CountOfLive(), live);
}

// ---- The window --------------------------------------------------------------------------------

/// The thread has a main window here, and the player a window of its own where a test asks for it.
class WaveOutWindowContract : public WaveOutContract
{
protected:
    WaveOutWindowContract()
    {
        parent.Attach(CreateWindowExW(0, L"STATIC", L"main", WS_POPUP, 50, 60, 300, 200, nullptr,
                                      nullptr, GetModuleHandleW(nullptr), nullptr));
        thread = AfxGetThread();
        if (thread != nullptr)
        {
            before = thread->m_pMainWnd;
            thread->m_pMainWnd = &parent;
        }
    }
    ~WaveOutWindowContract() override
    {
        if (thread != nullptr)
        {
            thread->m_pMainWnd = before;
        }
    }

    void SetUp() override
    {
        ASSERT_NE(parent.m_hWnd, nullptr);
        ASSERT_EQ(AfxGetMainWnd(), &parent);
    }

    bool GiveWindow(CWaveOut& object)
    {
        return object.Create(nullptr, L"own", WS_CHILD, CRect(1, 2, 30, 40), &parent, 7) != FALSE;
    }

    CWnd parent;
    CWinThread* thread = nullptr;
    CWnd* before = nullptr;
};

TEST_F(WaveOutWindowContract, CreatesNoWindowWhileItHasNone)
{
    player.m_S_InitWnd();
    EXPECT_EQ(player.m_hWnd, nullptr);
    EXPECT_EQ(::GetWindow(parent.m_hWnd, GW_CHILD), nullptr);
}

TEST_F(WaveOutWindowContract, CreatesAChildOfTheMainWindowWhenItHasAWindow)
{
    ASSERT_TRUE(GiveWindow(player));
    const HWND old = player.m_hWnd;
    player.m_S_InitWnd();
    ASSERT_NE(player.m_hWnd, nullptr);
    EXPECT_NE(player.m_hWnd, old);
    EXPECT_EQ(::GetParent(player.m_hWnd), parent.m_hWnd);
    EXPECT_EQ(::GetDlgCtrlID(player.m_hWnd), 0);

    CString text;
    player.GetWindowText(text);
    EXPECT_STREQ(static_cast<LPCWSTR>(text), L"WavwOut");

    const auto style = static_cast<DWORD>(::GetWindowLongW(player.m_hWnd, GWL_STYLE));
    EXPECT_NE(style & WS_CHILD, 0u);
    EXPECT_EQ(style & (WS_VISIBLE | WS_POPUP | WS_CAPTION | WS_VSCROLL | WS_HSCROLL | WS_DISABLED),
              0u);

    CRect place(1, 2, 3, 4);
    player.GetWindowRect(place);
    EXPECT_EQ(place.Width(), 0);
    EXPECT_EQ(place.Height(), 0);
    POINT corner = {place.left, place.top};
    ::ScreenToClient(parent.m_hWnd, &corner);
    EXPECT_EQ(corner.x, 0);
    EXPECT_EQ(corner.y, 0);
    ::DestroyWindow(old);
}

TEST_F(WaveOutWindowContract, LeavesTheWindowItHadBefore)
{
    ASSERT_TRUE(GiveWindow(player));
    const HWND old = player.m_hWnd;
    player.m_S_InitWnd();
    EXPECT_TRUE(::IsWindow(old));
    EXPECT_EQ(CWnd::FromHandlePermanent(player.m_hWnd), &player);
    EXPECT_NE(CWnd::FromHandlePermanent(old), &player);
    ::DestroyWindow(old);
}

TEST_F(WaveOutWindowContract, SurvivesTheCreationWithoutAMainWindow)
{
    ASSERT_TRUE(GiveWindow(player));
    const HWND old = player.m_hWnd;
    thread->m_pMainWnd = nullptr;
    player.m_S_InitWnd();
    // A child window must have a parent.
    EXPECT_EQ(::GetWindow(old, GW_HWNDNEXT), nullptr);
    EXPECT_EQ(::GetWindow(old, GW_HWNDPREV), nullptr);
    if (::IsWindow(old))
    {
        ::DestroyWindow(old);
    }
}

TEST_F(WaveOutWindowContract, HandlesTheMessageAtItsCreatedWindow)
{
    OpenSilently();
    ASSERT_TRUE(GiveWindow(player));
    player.m_S_InitWnd();
    Play(Sound(320, 1));
    Play(Sound(64, 2));
    EXPECT_EQ(::SendMessageW(player.m_hWnd, kPlayed, 99, 99), 0);
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
    EXPECT_EQ(window.TakeNotices(), Notices{20});
}

TEST_F(WaveOutWindowContract, HandlesTheMessageThatIsPostedToItsWindow)
{
    OpenSilently();
    ASSERT_TRUE(GiveWindow(player));
    Play(Sound(320, 1));
    ASSERT_TRUE(::PostMessageW(player.m_hWnd, kPlayed, 0, 0));
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
    MSG message = {};
    while (PeekMessageW(&message, player.m_hWnd, 0, 0, PM_REMOVE))
    {
        DispatchMessageW(&message);
    }
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
    EXPECT_EQ(window.TakeNotices(), Notices{20});
}

TEST_F(WaveOutWindowContract, LeavesOtherMessagesToTheWindowsClass)
{
    ASSERT_TRUE(GiveWindow(player));
    player.vm_nUseBuf = 3;
    ::SendMessageW(player.m_hWnd, WM_SETTEXT, 0, reinterpret_cast<LPARAM>(L"another text"));
    CString text;
    player.GetWindowText(text);
    EXPECT_STREQ(static_cast<LPCWSTR>(text), L"another text");
    EXPECT_EQ(::SendMessageW(player.m_hWnd, WM_APP + 3, 0, 0), 0);
    EXPECT_EQ(::SendMessageW(player.m_hWnd, kPlayed - 1, 0, 0), 0);
    EXPECT_EQ(::SendMessageW(player.m_hWnd, kPlayed + 1, 0, 0), 0);
    EXPECT_EQ(player.m_F_n_UseBuf(), 3);
}

TEST_F(WaveOutWindowContract, DestroysItsWindowWhenDestroyedAfterTheDeviceIsClosed)
{
    auto other = std::make_unique<CWaveOut>();
    ASSERT_TRUE(GiveWindow(*other));
    const HWND own = other->m_hWnd;
    ASSERT_TRUE(other->m_F_n_WaveOpen(&format, nullptr));
    bool wasThere = false;
    device.onClose = [&wasThere, own] { wasThere = ::IsWindow(own) != FALSE; };
    other.reset();
    device.onClose = nullptr;
    EXPECT_TRUE(wasThere);
    EXPECT_FALSE(::IsWindow(own));
}

TEST_F(WaveOutWindowContract, DestroysAWindowThatWasAttachedToIt)
{
    const HWND attached = CreateWindowExW(0, L"STATIC", L"", WS_CHILD, 0, 0, 5, 5, parent.m_hWnd,
                                          nullptr, GetModuleHandleW(nullptr), nullptr);
    {
        CWaveOut other;
        ASSERT_TRUE(other.Attach(attached));
    }
    EXPECT_FALSE(::IsWindow(attached));
}

TEST_F(WaveOutWindowContract, PlaysWithoutAWindow)
{
    OpenSilently();
    Play(Sound(320, 1));
    device.PlayOne();
    EXPECT_EQ(player.m_hWnd, nullptr);
    EXPECT_EQ(window.TakeNotices(), Notices{20});
}

// ---- Class information -------------------------------------------------------------------------

/// A client's own player, with class information and a message map of its own.
class ClientPlayer : public CWaveOut
{
    DECLARE_DYNAMIC(ClientPlayer)

public:
    static constexpr UINT kHello = WM_APP + 1;
    static constexpr UINT kNothing = WM_APP + 2;

    using CWaveOut::OnWndMsg;

    WPARAM helloWParam = 0;
    LPARAM helloLParam = 0;

    const AFX_MSGMAP* MapOfObject() const { return GetMessageMap(); }

protected:
    afx_msg LRESULT OnHello(WPARAM wParam, LPARAM lParam)
    {
        helloWParam = wParam;
        helloLParam = lParam;
        return 4711;
    }

    DECLARE_MESSAGE_MAP()
};

IMPLEMENT_DYNAMIC(ClientPlayer, CWaveOut)

BEGIN_MESSAGE_MAP(ClientPlayer, CWaveOut)
ON_MESSAGE(kHello, &ClientPlayer::OnHello)
END_MESSAGE_MAP()

/// One that takes the completion message for itself.
class JealousPlayer : public ClientPlayer
{
public:
    int taken = 0;

protected:
    afx_msg LRESULT OnTaken(WPARAM, LPARAM)
    {
        ++taken;
        return 5;
    }

    DECLARE_MESSAGE_MAP()
};

BEGIN_MESSAGE_MAP(JealousPlayer, ClientPlayer)
ON_MESSAGE(kPlayed, &JealousPlayer::OnTaken)
END_MESSAGE_MAP()

TEST(WaveOutClassContract, IsKnownByItsName)
{
    CWaveOut player;
    EXPECT_STREQ(player.GetRuntimeClass()->m_lpszClassName, "CWaveOut");
    EXPECT_EQ(player.GetRuntimeClass(), CWaveOut::GetThisClass());
    EXPECT_EQ(player.GetRuntimeClass(), RUNTIME_CLASS(CWaveOut));
}

TEST(WaveOutClassContract, KnowsTheSizeOfItsObjects)
{
    EXPECT_EQ(CWaveOut::GetThisClass()->m_nObjectSize, static_cast<int>(sizeof(CWaveOut)));
}

TEST(WaveOutClassContract, HasTheWindowClassAsItsBase)
{
    ASSERT_NE(CWaveOut::GetThisClass()->m_pfnGetBaseClass, nullptr);
    EXPECT_EQ(CWaveOut::GetThisClass()->m_pfnGetBaseClass(), CWnd::GetThisClass());
    EXPECT_EQ(CWaveOut::GetThisClass()->m_pfnGetBaseClass(), RUNTIME_CLASS(CWnd));
}

TEST(WaveOutClassContract, IsDerivedFromItselfAndAllItsBases)
{
    const CRuntimeClass* const waveOut = RUNTIME_CLASS(CWaveOut);
    EXPECT_TRUE(waveOut->IsDerivedFrom(RUNTIME_CLASS(CWaveOut)));
    EXPECT_TRUE(waveOut->IsDerivedFrom(RUNTIME_CLASS(CWnd)));
    EXPECT_TRUE(waveOut->IsDerivedFrom(RUNTIME_CLASS(CCmdTarget)));
    EXPECT_TRUE(waveOut->IsDerivedFrom(RUNTIME_CLASS(CObject)));
    EXPECT_FALSE(waveOut->IsDerivedFrom(RUNTIME_CLASS(CWinThread)));
    EXPECT_FALSE(RUNTIME_CLASS(CWnd)->IsDerivedFrom(waveOut));
}

TEST(WaveOutClassContract, IsAKindOfWindow)
{
    CWaveOut player;
    const CObject& object = player;
    EXPECT_TRUE(object.IsKindOf(RUNTIME_CLASS(CWaveOut)));
    EXPECT_TRUE(object.IsKindOf(RUNTIME_CLASS(CWnd)));
    EXPECT_TRUE(object.IsKindOf(RUNTIME_CLASS(CCmdTarget)));
    EXPECT_TRUE(object.IsKindOf(RUNTIME_CLASS(CObject)));
    EXPECT_FALSE(object.IsKindOf(RUNTIME_CLASS(CWinApp)));
    const CWnd plain;
    EXPECT_FALSE(plain.IsKindOf(RUNTIME_CLASS(CWaveOut)));
}

TEST(WaveOutClassContract, IsTheClassOfADerivedObjectThatHasNone)
{
    const Player player;
    EXPECT_EQ(player.GetRuntimeClass(), RUNTIME_CLASS(CWaveOut));
}

TEST(WaveOutClassContract, CanBeTheBaseOfAClientsClass)
{
    const ClientPlayer player;
    EXPECT_STREQ(player.GetRuntimeClass()->m_lpszClassName, "ClientPlayer");
    EXPECT_EQ(player.GetRuntimeClass()->m_nObjectSize, static_cast<int>(sizeof(ClientPlayer)));
    EXPECT_EQ(player.GetRuntimeClass()->m_pfnGetBaseClass(), RUNTIME_CLASS(CWaveOut));
    EXPECT_TRUE(player.IsKindOf(RUNTIME_CLASS(CWaveOut)));
    EXPECT_TRUE(player.IsKindOf(RUNTIME_CLASS(CWnd)));
    const CWaveOut plain;
    EXPECT_FALSE(plain.IsKindOf(RUNTIME_CLASS(ClientPlayer)));
}

// ---- The message map ---------------------------------------------------------------------------

/// Reaches the window class's own map.
class MapOfWindows : public CWnd
{
public:
    using CWnd::GetThisMessageMap;
};

TEST(WaveOutMapContract, HasOneEntryForTheCompletionMessage)
{
    const Player player;
    const AFX_MSGMAP* const map = player.GetMessageMap();
    ASSERT_NE(map, nullptr);
    ASSERT_NE(map->lpEntries, nullptr);
    const AFX_MSGMAP_ENTRY& entry = map->lpEntries[0];
    EXPECT_EQ(entry.nMessage, static_cast<UINT>(MM_WOM_DONE));
    EXPECT_EQ(entry.nMessage, kPlayed);
    EXPECT_EQ(entry.nCode, 0u);
    EXPECT_EQ(entry.nID, 0u);
    EXPECT_EQ(entry.nLastID, 0u);
    EXPECT_NE(entry.nSig, 0u);
    EXPECT_TRUE(entry.pfn != nullptr);
}

TEST(WaveOutMapContract, EndsAfterThatEntry)
{
    const AFX_MSGMAP_ENTRY& end = Player::GetThisMessageMap()->lpEntries[1];
    EXPECT_EQ(end.nMessage, 0u);
    EXPECT_EQ(end.nCode, 0u);
    EXPECT_EQ(end.nID, 0u);
    EXPECT_EQ(end.nLastID, 0u);
    EXPECT_EQ(end.nSig, 0u);
    EXPECT_TRUE(end.pfn == nullptr);
}

TEST(WaveOutMapContract, IsTheClassesOwn)
{
    const Player player;
    EXPECT_EQ(player.GetMessageMap(), Player::GetThisMessageMap());
    EXPECT_NE(player.GetMessageMap(), MapOfWindows::GetThisMessageMap());
}

TEST(WaveOutMapContract, GoesOnInTheWindowClassesMap)
{
    ASSERT_NE(Player::GetThisMessageMap()->pfnGetBaseMap, nullptr);
    EXPECT_EQ(Player::GetThisMessageMap()->pfnGetBaseMap(), MapOfWindows::GetThisMessageMap());
}

TEST(WaveOutMapContract, IsVirtual)
{
    const ClientPlayer client;
    const AFX_MSGMAP* const map = client.MapOfObject();
    ASSERT_NE(map, nullptr);
    EXPECT_EQ(map->lpEntries[0].nMessage, ClientPlayer::kHello);
    ASSERT_NE(map->pfnGetBaseMap, nullptr);
    EXPECT_EQ(map->pfnGetBaseMap(), Player::GetThisMessageMap());
}

TEST_F(WaveOutContract, HandlesTheCompletionMessageByItsMap)
{
    OpenSilently();
    Play(Sound(320, 1));
    Play(Sound(64, 2));
    LRESULT result = 42;
    EXPECT_TRUE(player.OnWndMsg(kPlayed, 11, 22, &result));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
    EXPECT_EQ(window.TakeNotices(), Notices{20});
    // The result may be unwanted.
    EXPECT_TRUE(player.OnWndMsg(kPlayed, 0, 0, nullptr));
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
}

TEST_F(WaveOutContract, HandlesNoOtherMessageByItsMap)
{
    OpenSilently();
    Play(Sound(320, 1));
    for (const UINT message : {kPlayed - 1, kPlayed + 1, static_cast<UINT>(WM_APP), 0xC123u})
    {
        LRESULT result = 42;
        EXPECT_FALSE(player.OnWndMsg(message, 0, 0, &result)) << message;
    }
    EXPECT_EQ(player.m_F_n_UseBuf(), 1);
}

TEST_F(WaveOutWindowContract, HandlesTheMessagesOfAClientsClassToo)
{
    ClientPlayer client;
    ASSERT_TRUE(GiveWindow(client));
    EXPECT_EQ(::SendMessageW(client.m_hWnd, ClientPlayer::kHello, 12, -34), 4711);
    EXPECT_EQ(client.helloWParam, 12u);
    EXPECT_EQ(client.helloLParam, -34);
    EXPECT_EQ(::SendMessageW(client.m_hWnd, ClientPlayer::kNothing, 0, 0), 0);
    LRESULT result = 0;
    EXPECT_FALSE(client.OnWndMsg(ClientPlayer::kNothing, 0, 0, &result));
}

TEST_F(WaveOutWindowContract, HandlesItsOwnMessageInAClientsClass)
{
    ClientPlayer client;
    ASSERT_TRUE(GiveWindow(client));
    client.vm_nUseBuf = 2;
    client.vm_hNotifyWnd = window.Handle();
    client.vm_stWaveHdr[0].dwBufferLength = 480;
    EXPECT_EQ(::SendMessageW(client.m_hWnd, kPlayed, 0, 0), 0);
    EXPECT_EQ(client.m_F_n_UseBuf(), 1);
    EXPECT_EQ(window.TakeNotices(), Notices{30});
}

TEST_F(WaveOutWindowContract, LeavesItsOwnMessageToTheHandlerOfADerivedClass)
{
    JealousPlayer jealous;
    ASSERT_TRUE(GiveWindow(jealous));
    jealous.vm_nUseBuf = 2;
    EXPECT_EQ(::SendMessageW(jealous.m_hWnd, kPlayed, 0, 0), 5);
    EXPECT_EQ(jealous.taken, 1);
    EXPECT_EQ(jealous.m_F_n_UseBuf(), 2);
    EXPECT_EQ(::SendMessageW(jealous.m_hWnd, ClientPlayer::kHello, 1, 1), 4711);
}

TEST_F(WaveOutWindowContract, HandlesNoMessageOfAnAttachedWindow)
{
    // Attaching leaves the window procedure as it is.
    const HWND attached = CreateWindowExW(0, L"STATIC", L"", WS_CHILD, 0, 0, 5, 5, parent.m_hWnd,
                                          nullptr, GetModuleHandleW(nullptr), nullptr);
    ASSERT_TRUE(player.Attach(attached));
    player.vm_nUseBuf = 2;
    ::SendMessageW(attached, kPlayed, 0, 0);
    EXPECT_EQ(player.m_F_n_UseBuf(), 2);
}

// ---- The end of the process ---------------------------------------------------------------------

BOOL WINAPI EndWithComplaint(const wchar_t*, HINSTANCE)
{
    TerminateProcess(GetCurrentProcess(), 99);
    return FALSE;
}

/// Ends the process after a player has had a window. A library that is unloaded takes its window
/// classes with it, but while the process ends, other threads have been stopped wherever they were,
/// and whoever calls the window system then may wait for ever for what one of them had locked.
[[noreturn]] void EndProcessAfterUseOfAWindow()
{
    const HWND parent = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 9, 9, nullptr, nullptr,
                                        GetModuleHandleW(nullptr), nullptr);
    {
        CWaveOut player;
        if (!player.Create(nullptr, L"own", WS_CHILD, CRect(0, 0, 5, 5), CWnd::FromHandle(parent),
                           7))
        {
            TerminateProcess(GetCurrentProcess(), 98);
        }
    }
    try
    {
        // Never taken back, for it is the very end that counts.
        new ImportPatch<BOOL WINAPI(const wchar_t*, HINSTANCE)>("UnregisterClassW",
                                                                &EndWithComplaint);
    }
    catch (const std::runtime_error&)
    {
        // What is not imported cannot be called.
    }
    std::exit(0);
}

TEST(WaveOutProcessDeathTest, LeavesTheWindowSystemAloneWhenTheProcessEnds)
{
    EXPECT_EXIT(EndProcessAfterUseOfAWindow(), testing::ExitedWithCode(0), "");
}

// ---- The real device ---------------------------------------------------------------------------

class RealWaveOutContract : public testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(player.m_F_n_WaveOpen(&format, window.Handle())); }

    void Play(std::size_t size)
    {
        std::vector<unsigned char> sound(size, 0);
        player.m_S_WavePlay(sound.data(), LengthOf(sound));
    }

    WAVEFORMATEX format = FormatOf(1, 8000);
    NotifyWindow window;
    CWaveOut player;
};

TEST_F(RealWaveOutContract, PlaysEveryBlockAndReportsIt)
{
    for (int i = 0; i < 6; ++i)
    {
        Play(800);  // 50 ms
    }
    const DWORD begin = GetTickCount();
    EXPECT_EQ(window.AwaitNotices(6), Notices(6, 50));
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
    // They are played, not only taken: 300 ms, less what the clock leaves out.
    EXPECT_GE(GetTickCount() - begin, 100u);
}

TEST_F(RealWaveOutContract, PlaysOnForLongerThanTheRingIs)
{
    for (int i = 0; i < 24; ++i)
    {
        while (player.m_F_n_UseBuf() >= CWaveOut::vs_nMaxBuf)
        {
            ASSERT_EQ(window.AwaitNotices(1).size(), 1u);
        }
        unsigned char* const buffer = player.m_F_b_GetBufPoint(480);
        ASSERT_NE(buffer, nullptr);
        memset(buffer, 0, 480);
        player.m_S_WavePlay(buffer, 480);
    }
    const DWORD begin = GetTickCount();
    while (player.m_F_n_UseBuf() > 0 && GetTickCount() - begin < 10000)
    {
        Sleep(10);
    }
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
}

TEST_F(RealWaveOutContract, CountsTenBlocksMinusCompletionsWithoutWaiting)
{
    for (int i = 0; i < 10; ++i)
    {
        Play(1600);
    }
    const std::size_t count = window.AwaitNotices(8).size();
    // Two were queued in slots that the device had not done with; it refuses those.
    EXPECT_EQ(count, 8u);
    EXPECT_EQ(player.m_F_n_UseBuf(), 10 - static_cast<int>(count));
}

TEST_F(RealWaveOutContract, SurvivesBlocksOfAnyLengthInSlotsThatAreQueued)
{
    for (std::size_t i = 0; i < 40; ++i)
    {
        Play(160 + i % 7 * 1000);
        player.m_F_b_GetBufPoint(static_cast<int>(100 + i));
    }
    window.AwaitNotices(3);
    player.m_S_WaveClose();
    EXPECT_FALSE(player.m_F_n_IsOpen());
}

TEST_F(RealWaveOutContract, PlaysSilenceForANullBlock)
{
    player.m_S_WavePlay(nullptr, 0);
    EXPECT_EQ(window.AwaitNotices(1), Notices{100});
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
}

TEST_F(RealWaveOutContract, EndsTheSoundAtOnceWhenClosed)
{
    const DWORD begin = GetTickCount();
    for (int i = 0; i < 8; ++i)
    {
        Play(16000 * 10);  // 10 s
    }
    player.m_S_WaveClose();
    EXPECT_FALSE(player.m_F_n_IsOpen());
    EXPECT_EQ(player.m_F_n_UseBuf(), 0);
    EXPECT_EQ(window.AwaitNotices(8).size(), 8u);
    EXPECT_LT(GetTickCount() - begin, 10000u);
}

TEST_F(RealWaveOutContract, OpensAgainAfterClosing)
{
    for (int i = 0; i < 5; ++i)
    {
        Play(1600);
        player.m_S_WaveClose();
        ASSERT_TRUE(player.m_F_n_WaveOpen(&format, window.Handle()));
    }
    window.AwaitNotices(5);
    Play(320);
    EXPECT_EQ(window.AwaitNotices(1).size(), 1u);
}

TEST_F(RealWaveOutContract, SetsTheVolumeOfBothChannels)
{
    player.m_S_WaveClose();
    WAVEFORMATEX stereo = FormatOf(2, 44100);
    ASSERT_TRUE(player.m_F_n_WaveOpen(&stereo, nullptr));
    const auto volumeOf = [this]
    {
        DWORD volume = 0;
        EXPECT_EQ(waveOutGetVolume(player.vm_hWaveOut, &volume), MMSYSERR_NOERROR);
        return volume;
    };
    EXPECT_EQ(volumeOf(), 0xFFFFFFFFu);
    player.m_S_SetWaveVolume(0x4000C000);
    EXPECT_NEAR(LOWORD(volumeOf()), 0xC000, 0x200);
    EXPECT_NEAR(HIWORD(volumeOf()), 0x4000, 0x200);
    player.m_S_SetWaveVolume(0xFFFFFFFF);
}

TEST_F(RealWaveOutContract, CanBeDestroyedInTheMiddleOfABlock)
{
    for (int i = 0; i < 5; ++i)
    {
        CWaveOut other;
        ASSERT_TRUE(other.m_F_n_WaveOpen(&format, nullptr));
        std::vector<unsigned char> sound(16000 * 5, 0);
        other.m_S_WavePlay(sound.data(), LengthOf(sound));
        other.m_S_WavePlay(nullptr, 0);
    }
}

TEST(RealWaveOutRefusalContract, IsClosedForAFormatThatThereIsNot)
{
    CWaveOut player;
    WAVEFORMATEX format = FormatOf(1, 8000);
    format.wFormatTag = 0x7FFE;
    EXPECT_FALSE(player.m_F_n_WaveOpen(&format, nullptr));
    EXPECT_FALSE(player.m_F_n_IsOpen());
    format = FormatOf(1, 8000);
    EXPECT_TRUE(player.m_F_n_WaveOpen(&format, nullptr));
}

TEST(RealWaveOutRefusalContract, IsClosedForANullFormat)
{
    CWaveOut player;
    EXPECT_FALSE(player.m_F_n_WaveOpen(nullptr, nullptr));
    EXPECT_FALSE(player.m_F_n_IsOpen());
}

}  // namespace
