/// @file
/// A wave-out device that plays nothing and notes everything.
#pragma once

#include <afxwin.h>
#include <mmsystem.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <deque>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "support/import_patch.h"

namespace ostrel::test
{

/// Stands, while it lives, in the place of the platform's wave-out functions and of PostMessageW
/// for the DLL. Blocks are played when the test says so. One object at a time.
class FakeWaveOut
{
public:
    /// A block as it was when it was queued.
    struct Block
    {
        int slot;  ///< counted in the order in which the headers were prepared
        const char* address;
        std::vector<char> bytes;
    };

    /// A posted message: window, message and both parameters.
    using Message = std::tuple<HWND, UINT, WPARAM, LPARAM>;

    FakeWaveOut() { Current() = this; }
    ~FakeWaveOut() { Current() = nullptr; }
    FakeWaveOut(const FakeWaveOut&) = delete;
    FakeWaveOut& operator=(const FakeWaveOut&) = delete;

    /// Plays the oldest block that is queued, and reports it.
    void PlayOne()
    {
        WAVEHDR* const header = queue.front();
        queue.pop_front();
        header->dwFlags = (header->dwFlags & ~static_cast<DWORD>(WHDR_INQUEUE)) | WHDR_DONE;
        Report(WOM_DONE, header);
    }

    void Report(UINT message, WAVEHDR* header = nullptr)
    {
        callback(handle, message, instance, reinterpret_cast<DWORD_PTR>(header), 0);
    }

    /// The calls since the last time that this was asked.
    std::vector<std::string> TakeCalls() { return std::exchange(calls, {}); }

    /// Calls of these functions fail.
    std::set<std::string> failing;
    /// What a successful open gives.
    HWAVEOUT handle = reinterpret_cast<HWAVEOUT>(std::uintptr_t{0x1234});
    /// Whether the reset reports the blocks on a thread of its own, and waits for it.
    bool resetReportsOnAThread = false;
    /// Whether blocks stay queued until they are played; otherwise they are forgotten at once.
    bool isQueueing = true;

    std::vector<std::string> calls;
    std::vector<Block> blocks;
    std::vector<WAVEHDR> prepared;  ///< the headers as they were when they were prepared
    std::vector<Message> messages;
    std::deque<WAVEHDR*> queue;
    UINT device = 0;
    const WAVEFORMATEX* format = nullptr;
    DWORD flags = 0;
    DWORD_PTR instance = 0;
    using Callback = void(CALLBACK*)(HWAVEOUT, UINT, DWORD_PTR, DWORD_PTR, DWORD_PTR);
    Callback callback = nullptr;

private:
    static FakeWaveOut*& Current()
    {
        static FakeWaveOut* current = nullptr;
        return current;
    }

    MMRESULT Note(const std::string& function, const std::string& text)
    {
        calls.push_back(function + text);
        return failing.count(function) != 0 ? MMSYSERR_ERROR : MMSYSERR_NOERROR;
    }

    MMRESULT Note(HWAVEOUT device, const std::string& function, const std::string& text = "")
    {
        return Note(function, device == handle ? text : " of another device");
    }

    MMRESULT NoteHeader(HWAVEOUT device, const std::string& function, const WAVEHDR* header,
                        UINT size)
    {
        return Note(device, function,
                    size == sizeof(WAVEHDR) ? " " + std::to_string(SlotOf(header)) : " wrong size");
    }

    int SlotOf(const WAVEHDR* header) const
    {
        const auto found = std::find(headers.begin(), headers.end(), header);
        return found == headers.end() ? -1 : static_cast<int>(found - headers.begin());
    }

    static MMRESULT WINAPI Open(HWAVEOUT* handle, UINT device, const WAVEFORMATEX* format,
                                DWORD_PTR callback, DWORD_PTR instance, DWORD flags)
    {
        FakeWaveOut& self = *Current();
        const MMRESULT result = self.Note("open", "");
        self.device = device;
        self.format = format;
        self.callback = reinterpret_cast<Callback>(callback);
        self.instance = instance;
        self.flags = flags;
        self.headers.clear();
        *handle = self.handle;
        self.Report(WOM_OPEN);
        return result;
    }

    static MMRESULT WINAPI Prepare(HWAVEOUT device, WAVEHDR* header, UINT size)
    {
        FakeWaveOut& self = *Current();
        self.headers.push_back(header);
        self.prepared.push_back(*header);
        const MMRESULT result = self.NoteHeader(device, "prepare", header, size);
        header->dwFlags |= WHDR_PREPARED;
        return result;
    }

    static MMRESULT WINAPI Unprepare(HWAVEOUT device, WAVEHDR* header, UINT size)
    {
        FakeWaveOut& self = *Current();
        const MMRESULT result = self.NoteHeader(device, "unprepare", header, size);
        header->dwFlags &= ~static_cast<DWORD>(WHDR_PREPARED);
        return result;
    }

    static MMRESULT WINAPI Write(HWAVEOUT device, WAVEHDR* header, UINT size)
    {
        FakeWaveOut& self = *Current();
        const MMRESULT result = self.NoteHeader(device, "write", header, size);
        self.blocks.push_back({self.SlotOf(header),
                               header->lpData,
                               {header->lpData, header->lpData + header->dwBufferLength}});
        if (result != MMSYSERR_NOERROR || (header->dwFlags & WHDR_INQUEUE) != 0)
        {
            return WAVERR_STILLPLAYING;
        }
        if (self.isQueueing)
        {
            header->dwFlags |= WHDR_INQUEUE;
            self.queue.push_back(header);
        }
        return result;
    }

    static MMRESULT WINAPI SetVolume(HWAVEOUT device, DWORD volume)
    {
        std::ostringstream text;
        text << " " << std::hex << volume;
        return Current()->Note(device, "volume", text.str());
    }

    static MMRESULT WINAPI Pause(HWAVEOUT device) { return Current()->Note(device, "pause"); }

    static MMRESULT WINAPI Reset(HWAVEOUT device)
    {
        FakeWaveOut& self = *Current();
        const MMRESULT result = self.Note(device, "reset");
        const auto report = [&self]
        {
            while (!self.queue.empty())
            {
                self.PlayOne();
            }
        };
        if (self.resetReportsOnAThread)
        {
            std::thread(report).join();
        }
        else
        {
            report();
        }
        return result;
    }

    static MMRESULT WINAPI Close(HWAVEOUT device)
    {
        FakeWaveOut& self = *Current();
        const MMRESULT result = self.Note(device, "close");
        self.Report(WOM_CLOSE);
        return result;
    }

    static BOOL WINAPI Post(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        Current()->messages.emplace_back(window, message, wParam, lParam);
        return TRUE;
    }

    std::vector<const WAVEHDR*> headers;

    template <class Function>
    using Patch = ImportPatch<Function>;
    Patch<decltype(Open)> open{"waveOutOpen", &Open};
    Patch<decltype(Prepare)> prepare{"waveOutPrepareHeader", &Prepare};
    Patch<decltype(Unprepare)> unprepare{"waveOutUnprepareHeader", &Unprepare};
    Patch<decltype(Write)> write{"waveOutWrite", &Write};
    Patch<decltype(SetVolume)> setVolume{"waveOutSetVolume", &SetVolume};
    Patch<decltype(Pause)> pause{"waveOutPause", &Pause};
    Patch<decltype(Reset)> reset{"waveOutReset", &Reset};
    Patch<decltype(Close)> close{"waveOutClose", &Close};
    Patch<decltype(Post)> post{"PostMessageW", &Post};
};

/// Follows, while it lives, the DLL's own allocations. One object at a time.
class AllocationWatch
{
public:
    AllocationWatch() { Current() = this; }
    ~AllocationWatch() { Current() = nullptr; }
    AllocationWatch(const AllocationWatch&) = delete;
    AllocationWatch& operator=(const AllocationWatch&) = delete;

    bool IsAllocated(const void* block) const { return blocks.count(block) != 0; }

    bool isFailing = false;
    std::set<const void*> blocks;  ///< allocated since then, and not freed

private:
    static AllocationWatch*& Current()
    {
        static AllocationWatch* current = nullptr;
        return current;
    }

    static void* Allocate(std::size_t size)
    {
        void* const block = Current()->isFailing ? nullptr : std::malloc(size);
        if (block != nullptr)
        {
            Current()->blocks.insert(block);
        }
        return block;
    }

    static void Free(void* block)
    {
        Current()->blocks.erase(block);
        std::free(block);
    }

    ImportPatch<decltype(Allocate)> allocate{"malloc", &Allocate};
    ImportPatch<decltype(Free)> free{"free", &Free};
};

}  // namespace ostrel::test
