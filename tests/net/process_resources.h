/// @file
/// What this process holds: handles (sockets are some of them), threads, and blocks of its heaps.
#pragma once

#include <gtest/gtest.h>
#include <winsock2.h>

#include <windows.h>
#include <winternl.h>

#include <tlhelp32.h>

#include <cstddef>
#include <cstdio>
#include <vector>

namespace ostrel::test
{

struct ProcessResources
{
    std::size_t handles;
    std::size_t threads;
    std::size_t heapBlocks;
    std::size_t heapBytes;
};

/// The process's entries in the system's table of handles. GetProcessHandleCount() is not to be
/// relied on: Wine's knows no number.
inline std::size_t CountHandles()
{
    constexpr auto kExtendedHandleInformation = static_cast<SYSTEM_INFORMATION_CLASS>(64);
    constexpr NTSTATUS kTooSmall = static_cast<NTSTATUS>(0xC0000004);
    struct Entry
    {
        void* object;
        ULONG_PTR process;
        ULONG_PTR handle;
        ULONG access;
        USHORT traceIndex;
        USHORT typeIndex;
        ULONG attributes;
        ULONG reserved;
    };
    struct Table
    {
        ULONG_PTR count;
        ULONG_PTR reserved;
        Entry entries[1];
    };
    using Query = NTSTATUS(NTAPI*)(SYSTEM_INFORMATION_CLASS, void*, ULONG, ULONG*);
    const auto query = reinterpret_cast<Query>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
    std::vector<char> memory(1 << 20);
    NTSTATUS status = kTooSmall;
    while ((status = query(kExtendedHandleInformation, memory.data(),
                           static_cast<ULONG>(memory.size()), nullptr)) == kTooSmall)
    {
        memory.resize(memory.size() * 2);
    }
    EXPECT_EQ(status, 0);
    const auto* const table = reinterpret_cast<const Table*>(memory.data());
    std::size_t count = 0;
    for (ULONG_PTR i = 0; i < table->count; ++i)
    {
        count += table->entries[i].process == GetCurrentProcessId();
    }
    EXPECT_GT(count, 0U) << "the table does not tell whose its handles are";
    return count;
}

inline std::size_t CountThreads()
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry = {};
    entry.dwSize = sizeof(entry);
    std::size_t count = 0;
    for (BOOL isMore = Thread32First(snapshot, &entry); isMore != FALSE;
         isMore = Thread32Next(snapshot, &entry))
    {
        count += entry.th32OwnerProcessID == GetCurrentProcessId();
    }
    CloseHandle(snapshot);
    EXPECT_GT(count, 0U);
    return count;
}

inline ProcessResources MeasureResources()
{
    ProcessResources resources = {CountHandles(), CountThreads(), 0, 0};
    HANDLE heaps[64] = {};
    const DWORD count = GetProcessHeaps(64, heaps);
    EXPECT_LE(count, 64U);
    for (DWORD i = 0; i < count; ++i)
    {
        HeapLock(heaps[i]);
        PROCESS_HEAP_ENTRY entry = {};
        while (HeapWalk(heaps[i], &entry) != FALSE)
        {
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0)
            {
                ++resources.heapBlocks;
                resources.heapBytes += entry.cbData;
            }
        }
        HeapUnlock(heaps[i]);
    }
    return resources;
}

inline void Print(const char* when, const ProcessResources& resources)
{
    std::printf("%s: %zu handles, %zu threads, %zu heap blocks of %zu bytes\n", when,
                resources.handles, resources.threads, resources.heapBlocks, resources.heapBytes);
    std::fflush(stdout);
}

/// Expects that nothing is held now that was not held before. Threads that have done their work get
/// some time to be gone; the little that the run-time library and the platform keep for later use
/// is no loss.
inline void ExpectNothingLeftBehind(const ProcessResources& before,
                                    std::size_t toleratedHandles = 8,
                                    std::size_t toleratedBytes = 64 * 1024)
{
    for (int i = 0; i < 200 && (CountThreads() > before.threads || CountHandles() > before.handles);
         ++i)
    {
        Sleep(20);
    }
    const ProcessResources after = MeasureResources();
    Print("before", before);
    Print("after ", after);
    EXPECT_LE(after.handles, before.handles + toleratedHandles);
    EXPECT_LE(after.threads, before.threads);
    EXPECT_LE(after.heapBytes, before.heapBytes + toleratedBytes);
}

}  // namespace ostrel::test
