/// @file
/// What a client may rely on when it works with processes, directories and files. Processes are
/// copies of this program under names of their own; all that is made lies below one folder, which
/// is the current directory too.
#include <CSFunc.h>
#include <gtest/gtest.h>
#include <tlhelp32.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <filesystem>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/import_patch.h"
#include "support/output_capture.h"
#include "support/temporary_folder.h"

namespace
{

using ostrel::test::ImportPatch;
using ostrel::test::MakeFile;
using ostrel::test::OutputCapture;
using ostrel::test::TemporaryFolder;

static_assert(std::is_same_v<decltype(&CSFunc::s_S_FindProc),
                             void (*)(CStringW, CDWordArray&, unsigned long)>);
static_assert(
    std::is_same_v<decltype(&CSFunc::s_F_b_CreateProc), bool (*)(CStringW, CStringW, bool, int)>);
static_assert(std::is_same_v<decltype(&CSFunc::s_F_b_CloseProc), bool (*)(CStringW)>);
static_assert(std::is_same_v<decltype(&CSFunc::s_F_n_CreateDirectorys), int (*)(CStringW)>);
static_assert(std::is_same_v<decltype(&CSFunc::s_F_n_RemoveDirectorys), int (*)(CStringW)>);
static_assert(std::is_same_v<decltype(&CSFunc::s_S_EnumerateFiles),
                             void (*)(const wchar_t*, const wchar_t*, CStringList&, bool)>);
static_assert(std::is_same_v<decltype(static_cast<bool (*)(CStringW, WIN32_FIND_DATAW*)>(
                                 &CSFunc::s_F_b_GetFileInfo)),
                             bool (*)(CStringW, WIN32_FIND_DATAW*)>);
static_assert(std::is_same_v<decltype(static_cast<bool (*)(CStringA, WIN32_FIND_DATAW*)>(
                                 &CSFunc::s_F_b_GetFileInfo)),
                             bool (*)(CStringA, WIN32_FIND_DATAW*)>);

// ---- The program as a process under test -------------------------------------------------------

constexpr const wchar_t* kReportVariable = L"OSTREL_CONTRACT_REPORT";
constexpr const wchar_t* kHoldVariable = L"OSTREL_CONTRACT_HOLD";
constexpr DWORD kExitCodeOfChild = 37;
constexpr DWORD kPatience = 30000;

std::wstring Variable(const wchar_t* name)
{
    wchar_t value[1024] = L"";
    GetEnvironmentVariableW(name, value, 1024);
    return value;
}

std::wstring CurrentFolder()
{
    wchar_t path[MAX_PATH] = L"";
    GetCurrentDirectoryW(MAX_PATH, path);
    return path;
}

bool Exists(const std::wstring& path)
{
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

/// How a process sees itself.
struct Report
{
    wchar_t commandLine[1024] = L"";
    wchar_t folder[1024] = L"";
    DWORD startFlags = 0;
    WORD show = 0;
    DWORD id = 0;
};

int RunAsChild(const std::wstring& path)
{
    Report report;
    std::wcsncpy(report.commandLine, GetCommandLineW(), 1023);
    std::wcsncpy(report.folder, CurrentFolder().c_str(), 1023);
    STARTUPINFOW info;
    GetStartupInfoW(&info);
    report.startFlags = info.dwFlags;
    report.show = info.wShowWindow;
    report.id = GetCurrentProcessId();
    // Whoever sees the report sees all of it.
    MakeFile(path + L".new", std::string(reinterpret_cast<const char*>(&report), sizeof(report)));
    MoveFileW((path + L".new").c_str(), path.c_str());

    const std::wstring hold = Variable(kHoldVariable);
    if (!hold.empty())
    {
        const HANDLE event = OpenEventW(SYNCHRONIZE, FALSE, hold.c_str());
        WaitForSingleObject(event, kPatience);
        CloseHandle(event);
    }
    else
    {
        Sleep(300);
    }
    MakeFile(path + L".end", "");
    return kExitCodeOfChild;
}

std::wstring OwnPath()
{
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

std::unique_ptr<TemporaryFolder> g_folder;
std::wstring g_folderPath;

class FolderOfTheProgram : public testing::Environment
{
public:
    void SetUp() override
    {
        vm_before = CurrentFolder();
        g_folder = std::make_unique<TemporaryFolder>();
        // What removes empty directories upwards must find one that is not.
        MakeFile(g_folder->Path(L"keeper"), "");
        g_folderPath = std::filesystem::path(g_folder->Path(L"keeper")).parent_path().wstring();
        ASSERT_NE(SetCurrentDirectoryW(g_folderPath.c_str()), FALSE);
        // Copies of the program lie in there, the DLLs that they need do not.
        const std::wstring ownFolder = std::filesystem::path(OwnPath()).parent_path().wstring();
        wchar_t path[32000] = L"";
        GetEnvironmentVariableW(L"PATH", path, 32000);
        SetEnvironmentVariableW(L"PATH", (ownFolder + L';' + path).c_str());
    }
    void TearDown() override
    {
        SetCurrentDirectoryW(vm_before.c_str());
        g_folder.reset();
    }

private:
    std::wstring vm_before;
};

std::wstring Numbered(const wchar_t* name)
{
    static int count = 0;
    return name + std::to_wstring(GetCurrentProcessId()) + L"n" + std::to_wstring(++count);
}

/// While it lives, a copy of this program that is started behaves as a process under test: it
/// reports, and then ends after a moment or, held, when this object ends.
class ChildRole
{
public:
    enum Duration
    {
        kShort,
        kHeld
    };

    explicit ChildRole(Duration duration) : vm_report(g_folder->Path(Numbered(L"report")))
    {
        SetEnvironmentVariableW(kReportVariable, vm_report.c_str());
        if (duration == kHeld)
        {
            const std::wstring name = Numbered(L"ostrel-contract-");
            vm_pHold = CreateEventW(nullptr, TRUE, FALSE, name.c_str());
            SetEnvironmentVariableW(kHoldVariable, name.c_str());
        }
    }
    ~ChildRole()
    {
        SetEnvironmentVariableW(kReportVariable, nullptr);
        SetEnvironmentVariableW(kHoldVariable, nullptr);
        if (vm_pHold != nullptr)
        {
            SetEvent(vm_pHold);
            CloseHandle(vm_pHold);
        }
    }
    ChildRole(const ChildRole&) = delete;
    ChildRole& operator=(const ChildRole&) = delete;

    Report Wait() const
    {
        for (DWORD waited = 0; !Exists(vm_report) && waited < kPatience; waited += 20)
        {
            Sleep(20);
        }
        Report report;
        const std::string contents = ostrel::test::ContentsOf(vm_report);
        EXPECT_EQ(contents.size(), sizeof(report));
        std::memcpy(&report, contents.data(), std::min(contents.size(), sizeof(report)));
        return report;
    }

    bool HasStarted() const { return Exists(vm_report); }
    bool HasEnded() const { return Exists(vm_report + L".end"); }

private:
    std::wstring vm_report;
    HANDLE vm_pHold = nullptr;
};

/// A copy of this program; its name is nobody else's.
class Program
{
public:
    explicit Program(const wchar_t* name = L"Player")
        : vm_name(Numbered(name) + L".Exe"), vm_path(g_folder->Path(vm_name))
    {
        EXPECT_NE(CopyFileW(OwnPath().c_str(), vm_path.c_str(), TRUE), FALSE) << GetLastError();
    }
    ~Program()
    {
        // A process that is about to end still has its file open.
        for (DWORD waited = 0; DeleteFileW(vm_path.c_str()) == FALSE && waited < kPatience;
             waited += 20)
        {
            Sleep(20);
        }
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    const std::wstring& Name() const { return vm_name; }
    const std::wstring& Path() const { return vm_path; }
    CStringW NameText() const { return vm_name.c_str(); }
    CStringW PathText() const { return vm_path.c_str(); }

private:
    std::wstring vm_name;
    std::wstring vm_path;
};

/// A running process, started without the library; it ends with this object at the latest.
class Running
{
public:
    explicit Running(const Program& program)
    {
        STARTUPINFOW info = {};
        info.cb = sizeof(info);
        PROCESS_INFORMATION process = {};
        std::wstring commandLine = program.Path();
        EXPECT_NE(CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                 nullptr, &info, &process),
                  FALSE)
            << GetLastError();
        CloseHandle(process.hThread);
        vm_pProcess = process.hProcess;
        vm_id = process.dwProcessId;
        EXPECT_EQ(vm_role.Wait().id, vm_id);
    }
    ~Running()
    {
        TerminateProcess(vm_pProcess, 99);
        WaitForSingleObject(vm_pProcess, kPatience);
        CloseHandle(vm_pProcess);
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    DWORD Id() const { return vm_id; }
    bool Runs() const { return WaitForSingleObject(vm_pProcess, 0) == WAIT_TIMEOUT; }
    DWORD ExitCode() const
    {
        EXPECT_EQ(WaitForSingleObject(vm_pProcess, kPatience), WAIT_OBJECT_0);
        DWORD code = 0;
        GetExitCodeProcess(vm_pProcess, &code);
        return code;
    }

private:
    ChildRole vm_role{ChildRole::kHeld};
    HANDLE vm_pProcess = nullptr;
    DWORD vm_id = 0;
};

std::wstring Lower(std::wstring text)
{
    for (wchar_t& character : text)
    {
        character += character >= L'A' && character <= L'Z' ? L'a' - L'A' : 0;
    }
    return text;
}

std::wstring Upper(std::wstring text)
{
    for (wchar_t& character : text)
    {
        character -= character >= L'a' && character <= L'z' ? L'a' - L'A' : 0;
    }
    return text;
}

std::vector<DWORD> Found(const std::wstring& name, DWORD excluded = 0)
{
    CDWordArray found;
    CSFunc::s_S_FindProc(name.c_str(), found, excluded);
    std::vector<DWORD> ids;
    for (INT_PTR i = 0; i < found.GetSize(); ++i)
    {
        ids.push_back(found.GetAt(i));
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

using Ids = std::vector<DWORD>;

// ---- A list of processes of the test's own -----------------------------------------------------

std::vector<std::pair<std::wstring, DWORD>> g_listed;
std::size_t g_nextListed;

BOOL NextListed(PROCESSENTRY32W* entry)
{
    if (g_nextListed == g_listed.size())
    {
        SetLastError(ERROR_NO_MORE_FILES);
        return FALSE;
    }
    std::wcscpy(entry->szExeFile, g_listed[g_nextListed].first.c_str());
    entry->th32ProcessID = g_listed[g_nextListed].second;
    ++g_nextListed;
    return TRUE;
}

BOOL WINAPI FirstOfList(HANDLE, PROCESSENTRY32W* entry)
{
    EXPECT_EQ(entry->dwSize, sizeof(PROCESSENTRY32W));
    g_nextListed = 0;
    return NextListed(entry);
}

BOOL WINAPI NextOfList(HANDLE, PROCESSENTRY32W* entry)
{
    EXPECT_EQ(entry->dwSize, sizeof(PROCESSENTRY32W));
    return NextListed(entry);
}

/// While it lives, the library finds these processes and no others.
class ListedProcesses
{
public:
    explicit ListedProcesses(std::vector<std::pair<std::wstring, DWORD>> processes)
    {
        g_listed = std::move(processes);
    }

private:
    ImportPatch<decltype(FirstOfList)> vm_first{"Process32FirstW", FirstOfList};
    ImportPatch<decltype(NextOfList)> vm_next{"Process32NextW", NextOfList};
};

// Handles that are watched for being closed, each time they are.
std::vector<HANDLE> g_watched;
std::vector<HANDLE> g_closed;

BOOL WINAPI WatchedClose(HANDLE handle)
{
    if (std::find(g_watched.begin(), g_watched.end(), handle) != g_watched.end())
    {
        g_closed.push_back(handle);
    }
    return CloseHandle(handle);
}

class ClosedHandles
{
public:
    ClosedHandles()
    {
        g_watched.clear();
        g_closed.clear();
    }

private:
    ImportPatch<decltype(WatchedClose)> vm_patch{"CloseHandle", WatchedClose};
};

// ---- Finding processes -------------------------------------------------------------------------

TEST(SysutilContractFindProcess, FindsARunningProcessWhateverTheCaseOfTheName)
{
    const Program program;
    const Running running(program);
    EXPECT_EQ(Found(program.Name()), Ids{running.Id()});
    EXPECT_EQ(Found(Lower(program.Name())), Ids{running.Id()});
    EXPECT_EQ(Found(Upper(program.Name())), Ids{running.Id()});
}

TEST(SysutilContractFindProcess, FindsEveryProcessOfTheNameButTheExcludedOne)
{
    const Program program;
    const Running first(program);
    const Running second(program);
    Ids both = {first.Id(), second.Id()};
    std::sort(both.begin(), both.end());
    EXPECT_EQ(Found(program.Name()), both);
    EXPECT_EQ(Found(program.Name(), first.Id()), Ids{second.Id()});
    EXPECT_EQ(Found(program.Name(), second.Id()), Ids{first.Id()});
    EXPECT_EQ(Found(program.Name(), GetCurrentProcessId()), both);
}

TEST(SysutilContractFindProcess, LeavesTheCallerOutWhenItIsExcluded)
{
    const std::wstring name = std::filesystem::path(OwnPath()).filename().wstring();
    const DWORD own = GetCurrentProcessId();
    const Ids all = Found(name);
    const Ids others = Found(name, own);
    EXPECT_EQ(std::count(all.begin(), all.end(), own), 1);
    EXPECT_EQ(std::count(others.begin(), others.end(), own), 0);
}

TEST(SysutilContractFindProcess, ComparesTheWholeNameWithoutAPath)
{
    const ListedProcesses listed({{L"Player.exe", 11},
                                  {L"MyPlayer.exe", 12},
                                  {L"Player.exe.exe", 13},
                                  {L"PLAYER.EXE", 14},
                                  {L"Player", 15},
                                  {L"player.exe", 16}});
    EXPECT_EQ(Found(L"Player.EXE"), (Ids{11, 14, 16}));
    EXPECT_EQ(Found(L"Player.EXE", 14), (Ids{11, 16}));
    EXPECT_EQ(Found(L"player"), Ids{15});
    EXPECT_EQ(Found(L"layer.exe"), Ids{});
    EXPECT_EQ(Found(L"C:\\Player.exe"), Ids{});
    EXPECT_EQ(Found(L"*"), Ids{});
    EXPECT_EQ(Found(L""), Ids{});
}

TEST(SysutilContractFindProcess, AppendsInTheOrderOfTheSnapshotAndWithoutWhatTheArrayHeldBefore)
{
    const ListedProcesses listed({{L"b.exe", 9}, {L"a.exe", 7}, {L"b.exe", 8}});
    CDWordArray found;
    found.Add(9);
    found.Add(1000);
    CSFunc::s_S_FindProc(L"B.exe", found, 0);
    ASSERT_EQ(found.GetSize(), 2);
    EXPECT_EQ(found.GetAt(0), 9u);
    EXPECT_EQ(found.GetAt(1), 8u);
    CSFunc::s_S_FindProc(L"c.exe", found, 0);
    EXPECT_EQ(found.GetSize(), 0);
}

DWORD g_snapshotFlags;
DWORD g_snapshotProcess;
int g_walks;

HANDLE WINAPI WatchedSnapshot(DWORD flags, DWORD process)
{
    g_snapshotFlags = flags;
    g_snapshotProcess = process;
    const HANDLE snapshot = CreateToolhelp32Snapshot(flags, process);
    g_watched.push_back(snapshot);
    return snapshot;
}

HANDLE WINAPI NullSnapshot(DWORD, DWORD)
{
    return nullptr;
}

HANDLE WINAPI InvalidSnapshot(DWORD, DWORD)
{
    SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}

BOOL WINAPI CountedFirst(HANDLE snapshot, PROCESSENTRY32W* entry)
{
    ++g_walks;
    return Process32FirstW(snapshot, entry);
}

TEST(SysutilContractFindProcess, TakesASnapshotOfAllProcessesAndClosesIt)
{
    const ClosedHandles closed;
    const ImportPatch patch("CreateToolhelp32Snapshot", WatchedSnapshot);
    Found(L"no such program.exe");
    EXPECT_EQ(g_snapshotFlags, static_cast<DWORD>(TH32CS_SNAPPROCESS));
    EXPECT_EQ(g_snapshotProcess, 0u);
    ASSERT_EQ(g_watched.size(), 1u);
    EXPECT_EQ(g_closed, g_watched);
}

TEST(SysutilContractFindProcess, WithoutASnapshotEmptiesTheArrayAndStops)
{
    const ImportPatch patch("CreateToolhelp32Snapshot", NullSnapshot);
    const ImportPatch first("Process32FirstW", CountedFirst);
    g_walks = 0;
    CDWordArray found;
    found.Add(1000);
    CSFunc::s_S_FindProc(L"player.exe", found, 0);
    EXPECT_EQ(found.GetSize(), 0);
    EXPECT_EQ(g_walks, 0);
}

TEST(SysutilContractFindProcess, FindsNoneWhenTheSnapshotFails)
{
    const ImportPatch patch("CreateToolhelp32Snapshot", InvalidSnapshot);
    EXPECT_EQ(Found(std::filesystem::path(OwnPath()).filename().wstring()), Ids{});
}

// ---- Starting a process ------------------------------------------------------------------------

struct StartRequest
{
    int calls = 0;
    bool hasApplicationName = true;
    std::wstring commandLine;
    bool hasSecurity = true;
    BOOL inherits = TRUE;
    DWORD flags = 1;
    bool hasEnvironment = true;
    bool hasFolder = true;
    STARTUPINFOW info = {};
};

StartRequest g_start;
std::vector<std::string> g_steps;
PROCESS_INFORMATION g_process;
DWORD g_waited;

BOOL WINAPI RefusedStart(LPCWSTR application, LPWSTR commandLine, LPSECURITY_ATTRIBUTES process,
                         LPSECURITY_ATTRIBUTES thread, BOOL inherits, DWORD flags,
                         LPVOID environment, LPCWSTR folder, LPSTARTUPINFOW info,
                         LPPROCESS_INFORMATION)
{
    ++g_start.calls;
    g_start.hasApplicationName = application != nullptr;
    g_start.commandLine = commandLine;
    g_start.hasSecurity = process != nullptr || thread != nullptr;
    g_start.inherits = inherits;
    g_start.flags = flags;
    g_start.hasEnvironment = environment != nullptr;
    g_start.hasFolder = folder != nullptr;
    g_start.info = *info;
    // The platform's own call may write to it.
    commandLine[0] = commandLine[0];
    SetLastError(ERROR_FILE_NOT_FOUND);
    return FALSE;
}

/// Two events stand for the process and its thread.
BOOL WINAPI PretendedStart(LPCWSTR, LPWSTR, LPSECURITY_ATTRIBUTES, LPSECURITY_ATTRIBUTES, BOOL,
                           DWORD, LPVOID, LPCWSTR, LPSTARTUPINFOW, LPPROCESS_INFORMATION process)
{
    g_steps.push_back("start");
    process->hProcess = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    process->hThread = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    process->dwProcessId = 4711;
    process->dwThreadId = 4712;
    g_process = *process;
    return TRUE;
}

DWORD WINAPI RecordedWait(HANDLE handle, DWORD milliseconds)
{
    if (handle != g_process.hProcess)
    {
        return WaitForSingleObject(handle, milliseconds);
    }
    g_steps.push_back("wait");
    g_waited = milliseconds;
    return WAIT_TIMEOUT;
}

BOOL WINAPI RecordedExitCode(HANDLE handle, LPDWORD code)
{
    g_steps.push_back(handle == g_process.hProcess ? "exit code" : "exit code of another");
    *code = STILL_ACTIVE;
    return TRUE;
}

BOOL WINAPI RecordedClose(HANDLE handle)
{
    if (handle == g_process.hProcess)
    {
        g_steps.push_back("close process");
    }
    if (handle == g_process.hThread)
    {
        g_steps.push_back("close thread");
    }
    return CloseHandle(handle);
}

StartRequest Requested(const wchar_t* path, const wchar_t* arguments, bool show = true)
{
    g_start = {};
    const ImportPatch patch("CreateProcessW", RefusedStart);
    EXPECT_FALSE(CSFunc::s_F_b_CreateProc(path, arguments, show, 0));
    EXPECT_EQ(g_start.calls, 1);
    return g_start;
}

TEST(SysutilContractCreateProcess, WithEmptyArgumentsRunsThePathAloneWithoutATrailingBlank)
{
    EXPECT_EQ(Requested(L"C:\\a\\player.exe", L"").commandLine, L"C:\\a\\player.exe");

    const Program program;
    const ChildRole role(ChildRole::kShort);
    EXPECT_TRUE(CSFunc::s_F_b_CreateProc(program.PathText(), L"", true, 30000));
    EXPECT_EQ(role.Wait().commandLine, program.Path());
}

TEST(SysutilContractCreateProcess, SeparatesThePathAndTheArgumentsByOneBlankAndAddsNoQuotes)
{
    EXPECT_EQ(Requested(L"C:\\a b\\player.exe", L"-x \"y z\"  ").commandLine,
              L"C:\\a b\\player.exe -x \"y z\"  ");
    EXPECT_EQ(Requested(L"\"C:\\a b\\player.exe\"", L" 1").commandLine,
              L"\"C:\\a b\\player.exe\"  1");

    const Program program;
    const ChildRole role(ChildRole::kShort);
    EXPECT_TRUE(CSFunc::s_F_b_CreateProc(program.PathText(), L"-x \"y z\"", true, 30000));
    EXPECT_EQ(role.Wait().commandLine, program.Path() + L" -x \"y z\"");
}

TEST(SysutilContractCreateProcess, WithAnEmptyPathRunsTheArguments)
{
    EXPECT_EQ(Requested(L"", L"player.exe -x").commandLine, L"player.exe -x");
    EXPECT_EQ(Requested(L"", L"").commandLine, L"");
}

TEST(SysutilContractCreateProcess, RunsALongCommandLineAsItIs)
{
    const std::wstring arguments(30000, L'x');
    EXPECT_EQ(Requested(L"player.exe", arguments.c_str()).commandLine, L"player.exe " + arguments);
}

TEST(SysutilContractCreateProcess, AsksForNothingButTheShowState)
{
    const StartRequest shown = Requested(L"player.exe", L"", true);
    EXPECT_FALSE(shown.hasApplicationName);
    EXPECT_FALSE(shown.hasSecurity);
    EXPECT_EQ(shown.inherits, FALSE);
    EXPECT_EQ(shown.flags, 0u);
    EXPECT_FALSE(shown.hasEnvironment);
    EXPECT_FALSE(shown.hasFolder);
    EXPECT_EQ(shown.info.cb, sizeof(STARTUPINFOW));
    EXPECT_EQ(shown.info.dwFlags, static_cast<DWORD>(STARTF_USESHOWWINDOW));
    EXPECT_EQ(shown.info.wShowWindow, 5);
    EXPECT_EQ(shown.info.lpDesktop, nullptr);
    EXPECT_EQ(shown.info.lpTitle, nullptr);

    const StartRequest hidden = Requested(L"player.exe", L"", false);
    EXPECT_EQ(hidden.info.dwFlags, static_cast<DWORD>(STARTF_USESHOWWINDOW));
    EXPECT_EQ(hidden.info.wShowWindow, 0);
}

TEST(SysutilContractCreateProcess, HidesTheProcessAndGivesItTheCallersFolderAndEnvironment)
{
    const Program program;
    const ChildRole role(ChildRole::kShort);
    EXPECT_TRUE(CSFunc::s_F_b_CreateProc(program.PathText(), L"", false, 30000));
    // That there is a report at all is due to the environment.
    const Report report = role.Wait();
    EXPECT_EQ(report.folder, CurrentFolder());
    EXPECT_NE(report.startFlags & STARTF_USESHOWWINDOW, 0u);
    EXPECT_EQ(report.show, SW_HIDE);
}

TEST(SysutilContractCreateProcess, IsFalseWhenTheProgramCannotBeStarted)
{
    const std::wstring missing = g_folder->Path(L"missing.exe");
    EXPECT_FALSE(CSFunc::s_F_b_CreateProc(missing.c_str(), L"-x", true, 1000));
    EXPECT_FALSE(CSFunc::s_F_b_CreateProc(L"", L"", true, 1000));
}

TEST(SysutilContractCreateProcess, WaitsForTheEndAndIsTrueWhateverTheExitCode)
{
    const Program program;
    const ChildRole role(ChildRole::kShort);
    EXPECT_TRUE(CSFunc::s_F_b_CreateProc(program.PathText(), L"", true, 30000));
    EXPECT_TRUE(role.HasEnded());
    EXPECT_EQ(Found(program.Name()), Ids{});
}

TEST(SysutilContractCreateProcess, GivesUpWaitingAfterTheTimeGivenAndIsTrue)
{
    const Program program;
    const ChildRole role(ChildRole::kHeld);
    const ULONGLONG start = GetTickCount64();
    EXPECT_TRUE(CSFunc::s_F_b_CreateProc(program.PathText(), L"", true, 200));
    EXPECT_GE(GetTickCount64() - start, 180u);
    EXPECT_FALSE(role.HasEnded());
    const Report report = role.Wait();
    EXPECT_EQ(Found(program.Name()), Ids{report.id});
}

TEST(SysutilContractCreateProcess, WithoutATimeDoesNotWait)
{
    const Program program;
    const ChildRole role(ChildRole::kHeld);
    EXPECT_TRUE(CSFunc::s_F_b_CreateProc(program.PathText(), L"", true, 0));
    EXPECT_FALSE(role.HasEnded());
    EXPECT_EQ(role.Wait().commandLine, program.Path());
    EXPECT_FALSE(role.HasEnded());
}

TEST(SysutilContractCreateProcess, AlwaysWaitsAndThenClosesBothHandles)
{
    const ImportPatch start("CreateProcessW", PretendedStart);
    const ImportPatch wait("WaitForSingleObject", RecordedWait);
    const ImportPatch close("CloseHandle", RecordedClose);
    for (const int milliseconds : {0, 250, -1})
    {
        g_steps.clear();
        g_process = {};
        EXPECT_TRUE(CSFunc::s_F_b_CreateProc(L"player.exe", L"", true, milliseconds));
        ASSERT_EQ(g_steps.size(), 4u);
        EXPECT_EQ(g_steps[0], "start");
        EXPECT_EQ(g_steps[1], "wait");
        EXPECT_EQ(g_waited, static_cast<DWORD>(milliseconds));
        std::sort(g_steps.begin() + 2, g_steps.end());
        EXPECT_EQ(g_steps[2], "close process");
        EXPECT_EQ(g_steps[3], "close thread");
    }
}

TEST(SysutilContractCreateProcess, ReadsTheExitCodeBeforeItClosesTheProcess)
{
    const ImportPatch start("CreateProcessW", PretendedStart);
    const ImportPatch wait("WaitForSingleObject", RecordedWait);
    const ImportPatch exitCode("GetExitCodeProcess", RecordedExitCode);
    const ImportPatch close("CloseHandle", RecordedClose);
    g_steps.clear();
    g_process = {};
    EXPECT_TRUE(CSFunc::s_F_b_CreateProc(L"player.exe", L"", true, 0));
    ASSERT_EQ(g_steps.size(), 5u);
    EXPECT_EQ(g_steps[2], "exit code");
}

// ---- Ending processes --------------------------------------------------------------------------

TEST(SysutilContractCloseProcess, WithoutARunningProcessIsTrueAndLogsNothing)
{
    const OutputCapture capture;
    EXPECT_TRUE(CSFunc::s_F_b_CloseProc(L"no such program.exe"));
    EXPECT_TRUE(capture.Texts().empty());
}

TEST(SysutilContractCloseProcess, TerminatesEveryProcessOfTheNameWithExitCodeZero)
{
    const Program program;
    const Program bystanderProgram(L"Bystander");
    const Running first(program);
    const Running second(program);
    const Running bystander(bystanderProgram);
    const OutputCapture capture;
    EXPECT_TRUE(CSFunc::s_F_b_CloseProc(Upper(program.Name()).c_str()));
    EXPECT_EQ(first.ExitCode(), 0u);
    EXPECT_EQ(second.ExitCode(), 0u);
    EXPECT_TRUE(bystander.Runs());
    EXPECT_TRUE(capture.Texts().empty());
}

struct OpenRequest
{
    DWORD access;
    BOOL inherits;
    DWORD id;
};

std::vector<OpenRequest> g_opened;
std::vector<std::pair<HANDLE, UINT>> g_terminated;
DWORD g_openError;       // of the process 21
DWORD g_terminateError;  // of every process
const DWORD kRefusedId = 21;

HANDLE WINAPI PretendedOpen(DWORD access, BOOL inherits, DWORD id)
{
    g_opened.push_back({access, inherits, id});
    if (id == kRefusedId && g_openError != 0)
    {
        SetLastError(g_openError);
        return nullptr;
    }
    const HANDLE handle = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    g_watched.push_back(handle);
    return handle;
}

BOOL WINAPI PretendedTermination(HANDLE handle, UINT exitCode)
{
    g_terminated.push_back({handle, exitCode});
    SetLastError(g_terminateError);
    return g_terminateError == 0 ? TRUE : FALSE;
}

/// While it lives, nothing is really opened or terminated.
class PretendedProcesses
{
public:
    PretendedProcesses(DWORD openError, DWORD terminateError)
    {
        g_opened.clear();
        g_terminated.clear();
        g_openError = openError;
        g_terminateError = terminateError;
    }

private:
    ClosedHandles vm_closed;
    ListedProcesses vm_listed{{{L"player.exe", 21}, {L"other.exe", 22}, {L"PLAYER.exe", 23}}};
    ImportPatch<decltype(PretendedOpen)> vm_open{"OpenProcess", PretendedOpen};
    ImportPatch<decltype(PretendedTermination)> vm_terminate{"TerminateProcess",
                                                             PretendedTermination};
};

using Texts = std::vector<std::string>;

TEST(SysutilContractCloseProcess, OpensEachProcessForTerminationAndClosesItsHandle)
{
    const OutputCapture capture;
    const PretendedProcesses processes(0, 0);
    EXPECT_TRUE(CSFunc::s_F_b_CloseProc(L"Player.exe"));
    ASSERT_EQ(g_opened.size(), 2u);
    EXPECT_EQ(g_opened[0].id, 21u);
    EXPECT_EQ(g_opened[1].id, 23u);
    for (const OpenRequest& request : g_opened)
    {
        EXPECT_EQ(request.access, static_cast<DWORD>(PROCESS_TERMINATE));
        EXPECT_EQ(request.inherits, FALSE);
    }
    ASSERT_EQ(g_terminated.size(), 2u);
    EXPECT_EQ(g_terminated[0], std::make_pair(g_watched[0], 0u));
    EXPECT_EQ(g_terminated[1], std::make_pair(g_watched[1], 0u));
    EXPECT_EQ(g_closed, g_watched);
    EXPECT_TRUE(capture.Texts().empty());
}

TEST(SysutilContractCloseProcess, LogsAProcessThatCannotBeOpenedAndIsFalseAfterTerminatingTheOthers)
{
    const OutputCapture capture;
    const PretendedProcesses processes(ERROR_ACCESS_DENIED, 0);
    EXPECT_FALSE(CSFunc::s_F_b_CloseProc(L"Player.exe"));
    EXPECT_EQ(capture.Texts(),
              Texts{"Player.exe(21) OpenProcess err(5),CSFunc::s_F_b_CloseProc_1160\n"});
    ASSERT_EQ(g_terminated.size(), 1u);
    ASSERT_EQ(g_watched.size(), 1u);
    EXPECT_EQ(g_terminated[0].first, g_watched[0]);
    EXPECT_EQ(g_closed, g_watched);
}

TEST(SysutilContractCloseProcess, LogsEachProcessThatCannotBeTerminatedAndIsFalse)
{
    const OutputCapture capture;
    const PretendedProcesses processes(0, ERROR_NOT_SUPPORTED);
    EXPECT_FALSE(CSFunc::s_F_b_CloseProc(L"Player.exe"));
    EXPECT_EQ(capture.Texts(),
              (Texts{"Player.exe(21) TerminateProcess err(50),CSFunc::s_F_b_CloseProc_1169\n",
                     "Player.exe(23) TerminateProcess err(50),CSFunc::s_F_b_CloseProc_1169\n"}));
    EXPECT_EQ(g_watched.size(), 2u);
    EXPECT_EQ(g_closed, g_watched);
}

TEST(SysutilContractCloseProcess, DoesNotLeaveTheCallerOut)
{
    const OutputCapture capture;
    const PretendedProcesses processes(0, 0);
    g_listed = {{L"player.exe", GetCurrentProcessId()}};
    EXPECT_TRUE(CSFunc::s_F_b_CloseProc(L"player.exe"));
    ASSERT_EQ(g_opened.size(), 1u);
    EXPECT_EQ(g_opened[0].id, GetCurrentProcessId());
}

// ---- Directories -------------------------------------------------------------------------------

/// Each test has a current directory of its own. What lies above it is never empty.
class FolderTest : public testing::Test
{
protected:
    void SetUp() override
    {
        vm_path = g_folder->Path(Numbered(L"folder"));
        ASSERT_NE(CreateDirectoryW(vm_path.c_str(), nullptr), FALSE);
        ASSERT_NE(SetCurrentDirectoryW(vm_path.c_str()), FALSE);
        MakeFile(Path(L"keep"), "");
    }
    void TearDown() override { SetCurrentDirectoryW(g_folderPath.c_str()); }

    std::wstring Path(const std::wstring& name) const { return vm_path + L'\\' + name; }
    CStringW Text(const std::wstring& name) const { return Path(name).c_str(); }

    bool IsFolder(const std::wstring& name) const
    {
        const DWORD attributes = GetFileAttributesW(Path(name).c_str());
        return attributes != INVALID_FILE_ATTRIBUTES &&
               (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    }
    bool IsThere(const std::wstring& name) const { return Exists(Path(name)); }

    /// Thousands of components. The dot keeps its first component from being created.
    static std::wstring DeepPath()
    {
        std::wstring path = L"cam.1";
        while (path.size() < 5000)
        {
            path += L"\\a";
        }
        return path;
    }

    /// Makes a folder and all above it.
    void MakeFolder(const std::wstring& name) const
    {
        ASSERT_TRUE(std::filesystem::create_directories(Path(name)));
    }

private:
    std::wstring vm_path;
};

class SysutilContractCreateDirectories : public FolderTest
{
};

TEST_F(SysutilContractCreateDirectories, CreatesTheWholeChain)
{
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(Text(L"a\\b\\c\\d")), 1);
    EXPECT_TRUE(IsFolder(L"a\\b\\c\\d"));
}

TEST_F(SysutilContractCreateDirectories, CreatesWhatIsMissingBelowWhatExists)
{
    MakeFolder(L"a\\b");
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(Text(L"a\\b\\c")), 1);
    EXPECT_TRUE(IsFolder(L"a\\b\\c"));
}

TEST_F(SysutilContractCreateDirectories, IsOneForAPathThatExists)
{
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(Text(L"keep")), 1);
    MakeFolder(L"a");
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(Text(L"a")), 1);
    EXPECT_FALSE(IsFolder(L"keep"));
}

TEST_F(SysutilContractCreateDirectories, TakesARelativePath)
{
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(L"one"), 1);
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(L"two\\three"), 1);
    EXPECT_TRUE(IsFolder(L"one"));
    EXPECT_TRUE(IsFolder(L"two\\three"));
}

TEST_F(SysutilContractCreateDirectories, CreatesOnlyTheParentsOfANameWithADot)
{
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(Text(L"a\\b\\clip.avi")), 1);
    EXPECT_TRUE(IsFolder(L"a\\b"));
    EXPECT_FALSE(IsThere(L"a\\b\\clip.avi"));
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(Text(L"c\\.hidden")), 1);
    EXPECT_TRUE(IsFolder(L"c"));
    EXPECT_FALSE(IsThere(L"c\\.hidden"));
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(L"clip.avi"), 1);
    EXPECT_FALSE(IsThere(L"clip.avi"));
}

TEST_F(SysutilContractCreateDirectories, CreatesBelowAFolderWithADotOnlyWhenThatExists)
{
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(Text(L"cam.1\\day")), 0);
    EXPECT_FALSE(IsThere(L"cam.1"));
    MakeFolder(L"cam.2");
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(Text(L"cam.2\\day\\hour")), 1);
    EXPECT_TRUE(IsFolder(L"cam.2\\day\\hour"));
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(Text(L"cam.3\\clip.avi")), 1);
    EXPECT_FALSE(IsThere(L"cam.3"));
}

TEST_F(SysutilContractCreateDirectories, IsZeroWhenThePlatformRefuses)
{
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(Text(L"keep\\below")), 0);
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(Text(L"keep\\below\\deeper")), 0);
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(L""), 0);
}

TEST_F(SysutilContractCreateDirectories, SeparatesAtBackslashesOnly)
{
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(L"slash/below"), 0);
    EXPECT_FALSE(IsThere(L"slash"));
}

TEST_F(SysutilContractCreateDirectories, OfAPathOfThousandsOfComponentsIsZeroWhenTheyCannotBe)
{
    EXPECT_EQ(CSFunc::s_F_n_CreateDirectorys(DeepPath().c_str()), 0);
    EXPECT_FALSE(IsThere(L"cam.1"));
}

class SysutilContractRemoveDirectories : public FolderTest
{
};

TEST_F(SysutilContractRemoveDirectories, RemovesTheDirectoryAndEveryAncestorThatIsEmptyByThen)
{
    MakeFolder(L"abc\\bcd\\cde\\def");
    MakeFile(Path(L"abc\\file"), "");
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(Text(L"abc\\bcd\\cde\\def")), 1);
    EXPECT_FALSE(IsThere(L"abc\\bcd"));
    EXPECT_TRUE(IsThere(L"abc\\file"));
}

TEST_F(SysutilContractRemoveDirectories, LeavesADirectoryThatIsNotEmptyAndItsAncestors)
{
    MakeFolder(L"abc\\bcd");
    MakeFile(Path(L"abc\\bcd\\file"), "");
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(Text(L"abc\\bcd")), 1);
    EXPECT_TRUE(IsThere(L"abc\\bcd\\file"));
    EXPECT_TRUE(IsThere(L"keep"));
}

TEST_F(SysutilContractRemoveDirectories, DoesNotDeleteSubdirectories)
{
    MakeFolder(L"abc\\bcd\\cde");
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L"abc\\bcd"), 0);
    EXPECT_TRUE(IsFolder(L"abc\\bcd\\cde"));
}

TEST_F(SysutilContractRemoveDirectories, OfARelativePathHasTheResultOfItsFirstComponent)
{
    MakeFolder(L"abc\\bcd");
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L"abc\\bcd"), 1);
    EXPECT_FALSE(IsThere(L"abc"));

    MakeFolder(L"cde\\def");
    MakeFile(Path(L"cde\\file"), "");
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L"cde\\def"), 0);
    EXPECT_FALSE(IsThere(L"cde\\def"));
    EXPECT_TRUE(IsThere(L"cde\\file"));

    MakeFolder(L"single");
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L"single"), 1);
    EXPECT_FALSE(IsThere(L"single"));
}

TEST_F(SysutilContractRemoveDirectories, PassesOverAMissingDirectory)
{
    MakeFolder(L"abc");
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L"abc\\missing\\below"), 1);
    EXPECT_FALSE(IsThere(L"abc"));
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L"missing"), 0);
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(Text(L"missing\\below")), 1);
    EXPECT_TRUE(IsThere(L"keep"));
}

TEST_F(SysutilContractRemoveDirectories, LeavesAPathOfAtMostTwoCharactersAndIsOne)
{
    MakeFolder(L"ab");
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L"ab"), 1);
    EXPECT_TRUE(IsFolder(L"ab"));
    MakeFolder(L"ab\\cde");
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L"ab\\cde"), 1);
    EXPECT_FALSE(IsThere(L"ab\\cde"));
    EXPECT_TRUE(IsFolder(L"ab"));
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L""), 1);
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L"C:"), 1);
}

TEST_F(SysutilContractRemoveDirectories, OfAFileLeavesIt)
{
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L"keep"), 1);
    EXPECT_TRUE(IsThere(L"keep"));
    MakeFolder(L"abc");
    MakeFile(Path(L"abc\\file"), "");
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L"abc\\file"), 0);
    EXPECT_TRUE(IsThere(L"abc\\file"));
}

TEST_F(SysutilContractRemoveDirectories, OfAPathOfThousandsOfMissingComponentsGoesAllTheWayUp)
{
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(DeepPath().c_str()), 0);
    MakeFolder(L"cam.1");
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(DeepPath().c_str()), 1);
    EXPECT_FALSE(IsThere(L"cam.1"));
}

TEST_F(SysutilContractRemoveDirectories, StopsAtABackslashAtTheBeginning)
{
    // There is no such directory, so that nothing can be removed.
    const std::wstring missing = L"\\" + Numbered(L"ostrel-missing-");
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(missing.c_str()), 0);
}

TEST_F(SysutilContractRemoveDirectories, RemovesADirectoryThatIsReadOnly)
{
    MakeFolder(L"abc\\bcd");
    ASSERT_NE(SetFileAttributesW(L"abc\\bcd", FILE_ATTRIBUTE_READONLY), FALSE);
    ASSERT_NE(SetFileAttributesW(L"abc", FILE_ATTRIBUTE_READONLY), FALSE);
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L"abc\\bcd"), 1);
    EXPECT_FALSE(IsThere(L"abc"));
}

std::vector<std::wstring> g_removal;

BOOL WINAPI RecordedAttributes(LPCWSTR path, DWORD attributes)
{
    g_removal.push_back(L"attributes " + std::to_wstring(attributes) + L" of " + path);
    return SetFileAttributesW(path, attributes);
}

BOOL WINAPI RecordedRemoval(LPCWSTR path)
{
    g_removal.push_back(std::wstring(L"remove ") + path);
    return RemoveDirectoryW(path);
}

TEST_F(SysutilContractRemoveDirectories, SetsTheAttributesToNormalBeforeEachRemoval)
{
    // Not every platform keeps a read-only mark on a directory.
    const ImportPatch attributes("SetFileAttributesW", RecordedAttributes);
    const ImportPatch removal("RemoveDirectoryW", RecordedRemoval);
    MakeFolder(L"abc\\bcd\\cde");
    MakeFile(Path(L"abc\\file"), "");
    g_removal.clear();
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L"abc\\bcd\\cde"), 0);
    const std::vector<std::wstring> expected = {
        L"attributes 128 of abc\\bcd\\cde", L"remove abc\\bcd\\cde",
        L"attributes 128 of abc\\bcd",      L"remove abc\\bcd",
        L"attributes 128 of abc",           L"remove abc"};
    EXPECT_EQ(g_removal, expected);
}

TEST_F(SysutilContractRemoveDirectories, LeavesTheAttributesOfAFileAlone)
{
    MakeFolder(L"abc");
    MakeFile(Path(L"abc\\file"), "");
    ASSERT_NE(SetFileAttributesW(L"abc\\file", FILE_ATTRIBUTE_READONLY), FALSE);
    EXPECT_EQ(CSFunc::s_F_n_RemoveDirectorys(L"abc\\file"), 0);
    EXPECT_NE(GetFileAttributesW(L"abc\\file") & FILE_ATTRIBUTE_READONLY, 0u);
    SetFileAttributesW(L"abc\\file", FILE_ATTRIBUTE_NORMAL);
}

// ---- Files -------------------------------------------------------------------------------------

class SysutilContractEnumerateFiles : public FolderTest
{
protected:
    void SetUp() override
    {
        FolderTest::SetUp();
        DeleteFileW(L"keep");
        MakeFolder(L"plain\\inner");
        MakeFolder(L"some.jpg\\deep.jpg");
        MakeFolder(L"empty");
        for (const wchar_t* name :
             {L"a.jpg", L"b.JPG", L"c.png", L"noextension", L"plain\\d.jpg", L"plain\\inner\\e.jpg",
              L"some.jpg\\f.jpg", L"some.jpg\\g.png", L"some.jpg\\deep.jpg\\h.jpg"})
        {
            MakeFile(Path(name), "x");
        }
    }

    std::vector<std::wstring> Listed(const std::wstring& folder, const wchar_t* pattern,
                                     bool recurse) const
    {
        CStringList list;
        CSFunc::s_S_EnumerateFiles(folder.c_str(), pattern, list, recurse);
        return Sorted(list);
    }

    static std::vector<std::wstring> Sorted(const CStringList& list)
    {
        std::vector<std::wstring> paths;
        for (POSITION position = list.GetHeadPosition(); position != nullptr;)
        {
            paths.push_back(list.GetNext(position).GetString());
        }
        std::sort(paths.begin(), paths.end());
        return paths;
    }

    std::vector<std::wstring> Paths(std::vector<std::wstring> names) const
    {
        for (std::wstring& name : names)
        {
            name = Path(name);
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    std::wstring Here() const { return CurrentFolder(); }
};

TEST_F(SysutilContractEnumerateFiles, ListsTheFullPathsOfAllFilesOfTheDirectoryAlone)
{
    EXPECT_EQ(Listed(Here(), L"*", false), Paths({L"a.jpg", L"b.JPG", L"c.png", L"noextension"}));
    EXPECT_EQ(Listed(Here(), L"*.*", false), Paths({L"a.jpg", L"b.JPG", L"c.png", L"noextension"}));
}

TEST_F(SysutilContractEnumerateFiles, TakesTheDirectoryWithAndWithoutABackslashAtItsEnd)
{
    EXPECT_EQ(Listed(Here() + L'\\', L"*", false), Listed(Here(), L"*", false));
    EXPECT_EQ(Listed(Path(L"plain\\"), L"*", true),
              Paths({L"plain\\d.jpg", L"plain\\inner\\e.jpg"}));
}

TEST_F(SysutilContractEnumerateFiles, ListsWhatMatchesThePattern)
{
    EXPECT_EQ(Listed(Here(), L"*.jpg", false), Paths({L"a.jpg", L"b.JPG"}));
    EXPECT_EQ(Listed(Here(), L"?.png", false), Paths({L"c.png"}));
    EXPECT_EQ(Listed(Here(), L"a.jpg", false), Paths({L"a.jpg"}));
    EXPECT_EQ(Listed(Here(), L"*.bmp", false), Paths({}));
}

TEST_F(SysutilContractEnumerateFiles, SearchesAllSubdirectoriesWhenAllNamesMatch)
{
    EXPECT_EQ(Listed(Here(), L"*", true),
              Paths({L"a.jpg", L"b.JPG", L"c.png", L"noextension", L"plain\\d.jpg",
                     L"plain\\inner\\e.jpg", L"some.jpg\\f.jpg", L"some.jpg\\g.png",
                     L"some.jpg\\deep.jpg\\h.jpg"}));
}

TEST_F(SysutilContractEnumerateFiles, SearchesOnlySubdirectoriesWhoseNamesMatchThePattern)
{
    EXPECT_EQ(Listed(Here(), L"*.jpg", true),
              Paths({L"a.jpg", L"b.JPG", L"some.jpg\\f.jpg", L"some.jpg\\deep.jpg\\h.jpg"}));
    EXPECT_EQ(Listed(Here(), L"plain", true), Paths({}));
}

TEST_F(SysutilContractEnumerateFiles, AppendsToTheList)
{
    CStringList list;
    list.AddTail(L"before");
    CSFunc::s_S_EnumerateFiles(Here().c_str(), L"c.png", list, true);
    ASSERT_EQ(list.GetCount(), 2);
    EXPECT_STREQ(list.GetHead().GetString(), L"before");
    EXPECT_EQ(list.GetTail().GetString(), Path(L"c.png"));
}

TEST_F(SysutilContractEnumerateFiles, ListsTheFilesOfASubdirectoryTogether)
{
    MakeFile(Path(L"some.jpg\\i.jpg"), "x");
    CStringList list;
    CSFunc::s_S_EnumerateFiles(Here().c_str(), L"*", list, true);
    int changes = 0;
    bool inside = false;
    for (POSITION position = list.GetHeadPosition(); position != nullptr;)
    {
        const std::wstring path = list.GetNext(position).GetString();
        const bool isInside = path.find(L"\\some.jpg\\") != std::wstring::npos;
        changes += isInside != inside ? 1 : 0;
        inside = isInside;
    }
    EXPECT_LE(changes, 2);
    EXPECT_GE(changes, 1);
}

TEST_F(SysutilContractEnumerateFiles, OfAnEmptyDirectoryNameDoesNothing)
{
    CStringList list;
    list.AddTail(L"before");
    CSFunc::s_S_EnumerateFiles(L"", L"*", list, false);
    CSFunc::s_S_EnumerateFiles(nullptr, L"*", list, false);
    EXPECT_EQ(list.GetCount(), 1);
}

TEST_F(SysutilContractEnumerateFiles, OfAMissingOrEmptyDirectoryIsNothing)
{
    EXPECT_EQ(Listed(Path(L"missing"), L"*", true), Paths({}));
    EXPECT_EQ(Listed(Path(L"empty"), L"*", true), Paths({}));
    EXPECT_EQ(Listed(Path(L"a.jpg"), L"*", true), Paths({}));
}

TEST_F(SysutilContractEnumerateFiles, OfARelativeDirectoryListsFullPaths)
{
    EXPECT_EQ(Listed(L"plain", L"*", true), Paths({L"plain\\d.jpg", L"plain\\inner\\e.jpg"}));
    EXPECT_EQ(Listed(L".", L"c.*", false), Paths({L"c.png"}));
}

TEST_F(SysutilContractEnumerateFiles, ListsHiddenAndReadOnlyFiles)
{
    ASSERT_NE(SetFileAttributesW(L"a.jpg", FILE_ATTRIBUTE_HIDDEN), FALSE);
    ASSERT_NE(SetFileAttributesW(L"c.png", FILE_ATTRIBUTE_READONLY), FALSE);
    EXPECT_EQ(Listed(Here(), L"?.???", false), Paths({L"a.jpg", L"b.JPG", L"c.png"}));
    SetFileAttributesW(L"c.png", FILE_ATTRIBUTE_NORMAL);
}

TEST_F(SysutilContractEnumerateFiles, ListsNamesThatStartWithADot)
{
    MakeFile(Path(L"..name"), "x");
    MakeFile(Path(L".profile"), "x");
    EXPECT_EQ(Listed(Here(), L".*", false), Paths({L"..name", L".profile"}));
}

class SysutilContractFileInfo : public FolderTest
{
protected:
    static WIN32_FIND_DATAW Filled()
    {
        WIN32_FIND_DATAW data;
        std::memset(&data, 0x5A, sizeof(data));
        return data;
    }

    static WIN32_FIND_DATAW Zeros()
    {
        WIN32_FIND_DATAW data;
        std::memset(&data, 0, sizeof(data));
        return data;
    }

    static bool Same(const WIN32_FIND_DATAW& left, const WIN32_FIND_DATAW& right)
    {
        return std::memcmp(&left, &right, sizeof(left)) == 0;
    }

    static WIN32_FIND_DATAW PlatformInfo(const std::wstring& path)
    {
        WIN32_FIND_DATAW data = Zeros();
        const HANDLE search = FindFirstFileW(path.c_str(), &data);
        EXPECT_NE(search, INVALID_HANDLE_VALUE);
        FindClose(search);
        return data;
    }
};

TEST_F(SysutilContractFileInfo, IsThePlatformsWholeEntry)
{
    MakeFile(Path(L"clip.avi"), "twelve bytes");
    MakeFolder(L"archive");
    for (const wchar_t* name : {L"clip.avi", L"archive"})
    {
        WIN32_FIND_DATAW data = Filled();
        EXPECT_TRUE(CSFunc::s_F_b_GetFileInfo(Text(name), &data));
        EXPECT_TRUE(Same(data, PlatformInfo(Path(name)))) << name;
        EXPECT_STREQ(data.cFileName, name);
    }
    WIN32_FIND_DATAW data = Filled();
    EXPECT_TRUE(CSFunc::s_F_b_GetFileInfo(CStringW(L"clip.avi"), &data));
    EXPECT_EQ(data.nFileSizeLow, 12u);
    EXPECT_EQ(data.nFileSizeHigh, 0u);
}

TEST_F(SysutilContractFileInfo, OfANarrowPathIsThatOfTheWideOne)
{
    MakeFile(Path(L"caf\x00E9.avi"), "x");
    WIN32_FIND_DATAW data = Filled();
    EXPECT_TRUE(CSFunc::s_F_b_GetFileInfo(CStringA(Text(L"caf\x00E9.avi")), &data));
    EXPECT_TRUE(Same(data, PlatformInfo(Path(L"caf\x00E9.avi"))));
    EXPECT_TRUE(CSFunc::s_F_b_GetFileInfo(CStringA("keep"), nullptr));

    data = Filled();
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(CStringA("missing"), &data));
    EXPECT_TRUE(Same(data, Zeros()));
    data = Filled();
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(CStringA(), &data));
    EXPECT_TRUE(Same(data, Filled()));
}

TEST_F(SysutilContractFileInfo, OfAMissingFileIsZeros)
{
    WIN32_FIND_DATAW data = Filled();
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(Text(L"missing"), &data));
    EXPECT_TRUE(Same(data, Zeros()));
    data = Filled();
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(Text(L"missing\\below"), &data));
    EXPECT_TRUE(Same(data, Zeros()));
}

TEST_F(SysutilContractFileInfo, OfAnEmptyPathLeavesTheRecordAlone)
{
    WIN32_FIND_DATAW data = Filled();
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(CStringW(), &data));
    EXPECT_TRUE(Same(data, Filled()));
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(CStringW(), nullptr));
}

TEST_F(SysutilContractFileInfo, NeedsNoRecordToTellWhetherThereIsAFile)
{
    EXPECT_TRUE(CSFunc::s_F_b_GetFileInfo(Text(L"keep"), nullptr));
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(Text(L"missing"), nullptr));
}

TEST_F(SysutilContractFileInfo, OfAPatternIsTheFirstThatMatches)
{
    MakeFile(Path(L"one.avi"), "x");
    MakeFile(Path(L"two.avi"), "xx");
    WIN32_FIND_DATAW data = Filled();
    EXPECT_TRUE(CSFunc::s_F_b_GetFileInfo(Text(L"*.avi"), &data));
    EXPECT_TRUE(Same(data, PlatformInfo(Path(L"*.avi"))));
}

std::vector<HANDLE> g_searches;
std::vector<HANDLE> g_searchesClosed;

HANDLE WINAPI RecordedSearch(LPCWSTR path, LPWIN32_FIND_DATAW data)
{
    const WIN32_FIND_DATAW zeros = {};
    EXPECT_EQ(std::memcmp(data, &zeros, sizeof(zeros)), 0) << "the record is not zeroed";
    const HANDLE search = FindFirstFileW(path, data);
    g_searches.push_back(search);
    return search;
}

BOOL WINAPI RecordedSearchEnd(HANDLE search)
{
    g_searchesClosed.push_back(search);
    return FindClose(search);
}

TEST_F(SysutilContractFileInfo, ClosesTheSearchWhenThereIsOne)
{
    const ImportPatch search("FindFirstFileW", RecordedSearch);
    const ImportPatch end("FindClose", RecordedSearchEnd);
    g_searches.clear();
    g_searchesClosed.clear();
    EXPECT_TRUE(CSFunc::s_F_b_GetFileInfo(Text(L"keep"), nullptr));
    EXPECT_EQ(g_searches.size(), 1u);
    EXPECT_EQ(g_searchesClosed, g_searches);
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(Text(L"missing"), nullptr));
    EXPECT_EQ(g_searches.size(), 2u);
    EXPECT_EQ(g_searchesClosed.size(), 1u);
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(CStringW(), nullptr));
    EXPECT_EQ(g_searches.size(), 2u);
}

}  // namespace

int main(int argc, char** argv)
{
    const std::wstring report = Variable(kReportVariable);
    if (!report.empty())
    {
        return RunAsChild(report);
    }
    testing::InitGoogleTest(&argc, argv);
    testing::AddGlobalTestEnvironment(new FolderOfTheProgram);
    return RUN_ALL_TESTS();
}
