#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "CSFunc.h"
#include "net/process_resources.h"
#include "support/import_patch.h"
#include "support/output_capture.h"
#include "sysutil/temporary_folder.h"

namespace
{

using ostrel::test::CountHandles;
using ostrel::test::ImportPatch;
using ostrel::test::OutputCapture;
using ostrel::test::TemporaryFolder;
using Pids = std::set<DWORD>;
using Texts = std::vector<std::string>;

std::wstring HelperPath()
{
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring own = path;
    return own.substr(0, own.rfind(L'\\') + 1) + L"process_helper.exe";
}

// A process that the test starts itself and that is over with the object.
class Running
{
public:
    explicit Running(const std::wstring& program)
    {
        std::wstring commandLine = L"\"" + program + L"\" --wait";
        STARTUPINFOW startup = {};
        startup.cb = sizeof(startup);
        EXPECT_TRUE(CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                                   nullptr, &startup, &vm_process))
            << GetLastError();
    }
    ~Running()
    {
        TerminateProcess(vm_process.hProcess, 1);
        WaitForSingleObject(vm_process.hProcess, INFINITE);
        CloseHandle(vm_process.hThread);
        CloseHandle(vm_process.hProcess);
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    DWORD Pid() const { return vm_process.dwProcessId; }
    bool IsRunning() const { return WaitForSingleObject(vm_process.hProcess, 0) == WAIT_TIMEOUT; }

    // Waits for the end.
    DWORD ExitCode() const
    {
        EXPECT_EQ(WaitForSingleObject(vm_process.hProcess, 20000), WAIT_OBJECT_0);
        DWORD code = STILL_ACTIVE;
        GetExitCodeProcess(vm_process.hProcess, &code);
        return code;
    }

private:
    PROCESS_INFORMATION vm_process = {};
};

Pids Found(const std::wstring& name, DWORD excluded = 0)
{
    CDWordArray pids;
    pids.Add(4711);
    CSFunc::s_S_FindProc(name.c_str(), pids, excluded);
    Pids found;
    for (INT_PTR i = 0; i < pids.GetSize(); ++i)
    {
        EXPECT_TRUE(found.insert(pids[i]).second);
    }
    return found;
}

class Processes : public testing::Test
{
protected:
    // A copy of the helper under a name of its own.
    std::wstring Program(const std::wstring& name)
    {
        const std::wstring path = folder.Path(name);
        EXPECT_TRUE(CopyFileW(HelperPath().c_str(), path.c_str(), TRUE)) << GetLastError();
        return path;
    }

    // Starts a program as the library does and returns the lines of its report.
    std::vector<std::wstring> ReportOf(const std::wstring& path, const std::wstring& arguments,
                                       bool isShown)
    {
        const std::wstring file = folder.Path(L"report.txt");
        SetEnvironmentVariableW(L"OSTREL_PROCESS_REPORT", file.c_str());
        EXPECT_TRUE(CSFunc::s_F_b_CreateProc(path.c_str(), arguments.c_str(), isShown, 20000));
        SetEnvironmentVariableW(L"OSTREL_PROCESS_REPORT", nullptr);
        const HANDLE handle =
            CreateFileW(file.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        EXPECT_NE(handle, INVALID_HANDLE_VALUE);
        wchar_t text[4096] = {};
        DWORD size = 0;
        ReadFile(handle, text, sizeof(text) - sizeof(wchar_t), &size, nullptr);
        CloseHandle(handle);
        DeleteFileW(file.c_str());
        std::vector<std::wstring> lines;
        std::wstring rest = text;
        for (size_t end = 0; (end = rest.find(L'\n')) != std::wstring::npos; rest.erase(0, end + 1))
        {
            lines.push_back(rest.substr(0, end));
        }
        lines.resize(3);
        return lines;
    }

    TemporaryFolder folder{L"process_test"};
};

using FindProc = Processes;
using CreateProc = Processes;
using CloseProc = Processes;

// ---- Finding -----------------------------------------------------------------------------------

TEST_F(FindProc, FindsARunningProgramInAnyCase)
{
    const Running player(Program(L"ostrel_player.exe"));
    const Pids expected = {player.Pid()};
    EXPECT_EQ(Found(L"ostrel_player.exe"), expected);
    EXPECT_EQ(Found(L"Ostrel_Player.EXE"), expected);
    EXPECT_EQ(Found(L"OSTREL_PLAYER.EXE"), expected);
}

TEST_F(FindProc, CaseDoesNotCountOutsideOfAsciiEither)
{
    const Running player(Program(L"\x00C4rger-\x0416-\x5F55.exe"));
    const Pids expected = {player.Pid()};
    EXPECT_EQ(Found(L"\x00C4rger-\x0416-\x5F55.exe"), expected);
    EXPECT_EQ(Found(L"\x00E4RGER-\x0436-\x5F55.EXE"), expected);
    EXPECT_EQ(Found(L"\x00E4RGER-\x0436-\x5F56.EXE"), Pids{});
}

TEST_F(FindProc, FindsAllOfAName)
{
    const std::wstring program = Program(L"ostrel_many.exe");
    const Running first(program);
    const Running second(program);
    const Running other(Program(L"ostrel_many2.exe"));
    EXPECT_EQ(Found(L"ostrel_many.exe"), (Pids{first.Pid(), second.Pid()}));
}

TEST_F(FindProc, LeavesTheExcludedOneOut)
{
    const std::wstring program = Program(L"ostrel_excluded.exe");
    const Running first(program);
    const Running second(program);
    EXPECT_EQ(Found(L"ostrel_excluded.exe", first.Pid()), Pids{second.Pid()});
}

TEST_F(FindProc, FindsTheCallerUnlessItIsExcluded)
{
    const Pids found = Found(L"process_test.exe");
    EXPECT_EQ(found.count(GetCurrentProcessId()), 1U);
    Pids others = found;
    others.erase(GetCurrentProcessId());
    EXPECT_EQ(Found(L"process_test.exe", GetCurrentProcessId()), others);
}

TEST_F(FindProc, TheWholeNameCounts)
{
    const std::wstring program = Program(L"ostrel_whole.exe");
    const Running running(program);
    EXPECT_EQ(Found(L"ostrel_whole"), Pids{});
    EXPECT_EQ(Found(L"whole.exe"), Pids{});
    EXPECT_EQ(Found(L"ostrel_whole.exe "), Pids{});
    EXPECT_EQ(Found(L"ostrel_whole.exe.exe"), Pids{});
    EXPECT_EQ(Found(program), Pids{});
    EXPECT_EQ(Found(L""), Pids{});
    EXPECT_EQ(Found(std::wstring(100000, L'x')), Pids{});
}

TEST_F(FindProc, AProgramThatIsOverIsNotFound)
{
    const std::wstring program = Program(L"ostrel_over.exe");
    {
        const Running running(program);
        EXPECT_EQ(Found(L"ostrel_over.exe").size(), 1U);
    }
    EXPECT_EQ(Found(L"ostrel_over.exe"), Pids{});
}

HANDLE g_snapshot;
int g_closed;

HANDLE WINAPI FailingSnapshot(DWORD flags, DWORD pid)
{
    EXPECT_EQ(flags, static_cast<DWORD>(TH32CS_SNAPPROCESS));
    EXPECT_EQ(pid, 0U);
    return g_snapshot;
}

BOOL WINAPI CountClosed(HANDLE)
{
    ++g_closed;
    return TRUE;
}

TEST_F(FindProc, WithoutASnapshotNothingIsFoundAndNothingIsClosed)
{
    const ImportPatch snapshot("CreateToolhelp32Snapshot", FailingSnapshot);
    const ImportPatch close("CloseHandle", CountClosed);
    g_closed = 0;
    for (const HANDLE failure : {HANDLE(nullptr), INVALID_HANDLE_VALUE})
    {
        g_snapshot = failure;
        EXPECT_EQ(Found(L"process_test.exe"), Pids{});
    }
    EXPECT_EQ(g_closed, 0);
}

TEST_F(FindProc, NoHandleIsLeftOpen)
{
    Found(L"process_test.exe");
    const size_t before = CountHandles();
    for (int i = 0; i < 20; ++i)
    {
        Found(L"process_test.exe");
        Found(L"none.exe");
    }
    EXPECT_EQ(CountHandles(), before);
}

// ---- Starting ----------------------------------------------------------------------------------

TEST_F(CreateProc, WithoutArgumentsTheCommandLineIsThePathAlone)
{
    const std::wstring program = Program(L"ostrel_plain.exe");
    EXPECT_EQ(ReportOf(program, L"", true)[0], program);
}

TEST_F(CreateProc, OneBlankStandsBeforeTheArguments)
{
    const std::wstring program = Program(L"ostrel_arguments.exe");
    EXPECT_EQ(ReportOf(program, L"one \"two three\"  four ", true)[0],
              program + L" one \"two three\"  four ");
}

TEST_F(CreateProc, WithoutAPathTheArgumentsAreTheCommandLine)
{
    const std::wstring program = Program(L"ostrel_pathless.exe");
    EXPECT_EQ(ReportOf(L"", program + L" x", true)[0], program + L" x");
}

TEST_F(CreateProc, WideTextArrivesAsItIs)
{
    const std::wstring program = Program(L"ostrel-\x0416.exe");
    EXPECT_EQ(ReportOf(program, L"\x5F55\x50CF", true)[0], program + L" \x5F55\x50CF");
}

TEST_F(CreateProc, APathWithBlanksIsGivenInQuotes)
{
    const std::wstring program = Program(L"ostrel with blanks.exe");
    EXPECT_EQ(ReportOf(L"\"" + program + L"\"", L"x", true)[0], L"\"" + program + L"\" x");
}

TEST_F(CreateProc, IsShownOrHidden)
{
    const std::wstring program = Program(L"ostrel_shown.exe");
    EXPECT_EQ(ReportOf(program, L"", true)[1], std::to_wstring(SW_SHOW));
    EXPECT_EQ(ReportOf(program, L"", false)[1], std::to_wstring(SW_HIDE));
}

TEST_F(CreateProc, HasTheCallersEnvironmentAndDirectory)
{
    const std::wstring program = Program(L"ostrel_place.exe");
    folder.MakeFolder(L"place");
    const ostrel::test::CurrentFolder current(folder.Path(L"place"));
    // That there is a report at all shows the environment.
    EXPECT_EQ(ReportOf(program, L"", true)[2], folder.Path(L"place"));
}

bool g_isAsStated;

BOOL WINAPI LookAtCreation(const wchar_t* application, wchar_t* commandLine,
                           SECURITY_ATTRIBUTES* processSecurity,
                           SECURITY_ATTRIBUTES* threadSecurity, BOOL inherits, DWORD flags,
                           void* environment, const wchar_t* directory, STARTUPINFOW* startup,
                           PROCESS_INFORMATION*)
{
    g_isAsStated = application == nullptr && commandLine == std::wstring(L"a b") &&
                   processSecurity == nullptr && threadSecurity == nullptr && inherits == FALSE &&
                   flags == 0 && environment == nullptr && directory == nullptr &&
                   startup->cb == sizeof(STARTUPINFOW) &&
                   startup->dwFlags == STARTF_USESHOWWINDOW && startup->wShowWindow == SW_HIDE;
    // The platform may write here.
    commandLine[0] = L'x';
    SetLastError(ERROR_ACCESS_DENIED);
    return FALSE;
}

TEST_F(CreateProc, InheritsNothingAndHasNoFlags)
{
    const ImportPatch patch("CreateProcessW", LookAtCreation);
    g_isAsStated = false;
    EXPECT_FALSE(CSFunc::s_F_b_CreateProc(L"a", L"b", false, 0));
    EXPECT_TRUE(g_isAsStated);
}

TEST_F(CreateProc, WaitsForTheEnd)
{
    const std::wstring program = Program(L"ostrel_end.exe");
    for (const int wait : {20000, -1})
    {
        const ULONGLONG start = GetTickCount64();
        EXPECT_TRUE(CSFunc::s_F_b_CreateProc(program.c_str(), L"--moment", false, wait));
        EXPECT_GE(GetTickCount64() - start, 400U);
        EXPECT_EQ(Found(L"ostrel_end.exe"), Pids{});
    }
}

TEST_F(CreateProc, WaitsNoLongerThanAsked)
{
    const std::wstring program = Program(L"ostrel_long.exe");
    const ULONGLONG start = GetTickCount64();
    EXPECT_TRUE(CSFunc::s_F_b_CreateProc(program.c_str(), L"--wait", false, 300));
    EXPECT_GE(GetTickCount64() - start, 250U);
    EXPECT_LT(GetTickCount64() - start, 40000U);
    EXPECT_EQ(Found(L"ostrel_long.exe").size(), 1U);
    EXPECT_TRUE(CSFunc::s_F_b_CreateProc(program.c_str(), L"--wait", false, 0));
    EXPECT_EQ(Found(L"ostrel_long.exe").size(), 2U);
    EXPECT_TRUE(CSFunc::s_F_b_CloseProc(L"ostrel_long.exe"));
}

DWORD g_wait;

DWORD WINAPI LookAtWait(HANDLE, DWORD milliseconds)
{
    g_wait = milliseconds;
    return WAIT_TIMEOUT;
}

TEST_F(CreateProc, TheWaitIsPassedToThePlatformAsItIs)
{
    const std::wstring program = Program(L"ostrel_wait.exe");
    const ImportPatch patch("WaitForSingleObject", LookAtWait);
    for (const int wait : {0, 1, 2147483647, -1, -2, INT_MIN})
    {
        g_wait = 12345;
        EXPECT_TRUE(CSFunc::s_F_b_CreateProc(program.c_str(), L"", false, wait));
        EXPECT_EQ(g_wait, static_cast<DWORD>(wait));
    }
}

TEST_F(CreateProc, WhatCannotBeStartedGivesFalse)
{
    EXPECT_FALSE(CSFunc::s_F_b_CreateProc(L"", L"", true, -1));
    EXPECT_FALSE(CSFunc::s_F_b_CreateProc(L" ", L"", true, -1));
    EXPECT_FALSE(CSFunc::s_F_b_CreateProc(folder.Path(L"none.exe").c_str(), L"", true, -1));
    EXPECT_FALSE(CSFunc::s_F_b_CreateProc(folder.Path().c_str(), L"", true, -1));
    EXPECT_FALSE(CSFunc::s_F_b_CreateProc(folder.Path(L"none.exe").c_str(), CStringW(L'x', 100000),
                                          true, -1));
}

TEST_F(CreateProc, NoHandleIsLeftOpen)
{
    const std::wstring program = Program(L"ostrel_handles.exe");
    CSFunc::s_F_b_CreateProc(program.c_str(), L"", false, -1);
    const size_t before = CountHandles();
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_TRUE(CSFunc::s_F_b_CreateProc(program.c_str(), L"", false, -1));
        EXPECT_FALSE(CSFunc::s_F_b_CreateProc(L"none.exe", L"", false, -1));
    }
    EXPECT_EQ(CountHandles(), before);
}

// ---- Terminating -------------------------------------------------------------------------------

TEST_F(CloseProc, TerminatesAllOfANameInAnyCase)
{
    const std::wstring program = Program(L"ostrel_closed.exe");
    const Running first(program);
    const Running second(program);
    const Running other(Program(L"ostrel_open.exe"));
    const OutputCapture capture;
    EXPECT_TRUE(CSFunc::s_F_b_CloseProc(L"Ostrel_CLOSED.exe"));
    EXPECT_EQ(first.ExitCode(), 0U);
    EXPECT_EQ(second.ExitCode(), 0U);
    EXPECT_TRUE(other.IsRunning());
    EXPECT_EQ(capture.Texts(), Texts{});
}

TEST_F(CloseProc, WithNoneRunningItIsTrue)
{
    const OutputCapture capture;
    EXPECT_TRUE(CSFunc::s_F_b_CloseProc(L"ostrel_none.exe"));
    EXPECT_TRUE(CSFunc::s_F_b_CloseProc(L""));
    EXPECT_EQ(capture.Texts(), Texts{});
}

DWORD g_refused;

HANDLE WINAPI RefuseToOpen(DWORD access, BOOL inherits, DWORD pid)
{
    EXPECT_EQ(access, static_cast<DWORD>(PROCESS_TERMINATE));
    EXPECT_EQ(inherits, FALSE);
    if (g_refused == 0 || g_refused == pid)
    {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    return OpenProcess(access, inherits, pid);
}

TEST_F(CloseProc, AProcessThatCannotBeOpenedIsReported)
{
    const Running running(Program(L"ostrel_guarded.exe"));
    const ImportPatch patch("OpenProcess", RefuseToOpen);
    g_refused = 0;
    const OutputCapture capture;
    EXPECT_FALSE(CSFunc::s_F_b_CloseProc(L"Ostrel_Guarded.exe"));
    EXPECT_EQ(capture.Texts(), (Texts{"Ostrel_Guarded.exe(" + std::to_string(running.Pid()) +
                                      ") OpenProcess err(5),CSFunc::s_F_b_CloseProc_1160\n"}));
    EXPECT_TRUE(running.IsRunning());
}

BOOL WINAPI RefuseToTerminate(HANDLE, UINT code)
{
    EXPECT_EQ(code, 0U);
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
}

TEST_F(CloseProc, AProcessThatCannotBeTerminatedIsReportedAndItsHandleClosed)
{
    const Running running(Program(L"ostrel_lasting.exe"));
    const ImportPatch patch("TerminateProcess", RefuseToTerminate);
    CSFunc::s_F_b_CloseProc(L"ostrel_lasting.exe");
    const size_t before = CountHandles();
    const OutputCapture capture;
    EXPECT_FALSE(CSFunc::s_F_b_CloseProc(L"ostrel_lasting.exe"));
    EXPECT_EQ(capture.Texts(), (Texts{"ostrel_lasting.exe(" + std::to_string(running.Pid()) +
                                      ") TerminateProcess err(6),CSFunc::s_F_b_CloseProc_1169\n"}));
    EXPECT_TRUE(running.IsRunning());
    EXPECT_EQ(CountHandles(), before);
}

TEST_F(CloseProc, OneThatCannotBeOpenedDoesNotKeepTheOthers)
{
    const std::wstring program = Program(L"ostrel_some.exe");
    const Running first(program);
    const Running second(program);
    const Running third(program);
    const ImportPatch patch("OpenProcess", RefuseToOpen);
    g_refused = second.Pid();
    const OutputCapture capture;
    EXPECT_FALSE(CSFunc::s_F_b_CloseProc(L"ostrel_some.exe"));
    EXPECT_EQ(capture.Texts().size(), 1U);
    EXPECT_EQ(first.ExitCode(), 0U);
    EXPECT_EQ(third.ExitCode(), 0U);
    EXPECT_TRUE(second.IsRunning());
}

TEST_F(CloseProc, TheNameIsReportedAsEightBitText)
{
    const Running running(Program(L"ostrel-\x00E4.exe"));
    const ImportPatch patch("OpenProcess", RefuseToOpen);
    g_refused = 0;
    const OutputCapture capture;
    EXPECT_FALSE(CSFunc::s_F_b_CloseProc(L"ostrel-\x00E4.exe"));
    const std::string name = CStringA(L"ostrel-\x00E4.exe").GetString();
    EXPECT_EQ(capture.Texts(), (Texts{name + "(" + std::to_string(running.Pid()) +
                                      ") OpenProcess err(5),CSFunc::s_F_b_CloseProc_1160\n"}));
}

TEST_F(CloseProc, NoHandleIsLeftOpen)
{
    const std::wstring program = Program(L"ostrel_freed.exe");
    CSFunc::s_F_b_CloseProc(L"ostrel_freed.exe");
    const size_t before = CountHandles();
    {
        const Running first(program);
        const Running second(program);
        EXPECT_TRUE(CSFunc::s_F_b_CloseProc(L"ostrel_freed.exe"));
        first.ExitCode();
        second.ExitCode();
    }
    EXPECT_EQ(CountHandles(), before);
}

}  // namespace
