#include <winsock2.h>

#include <windows.h>

#include <tlhelp32.h>

#include "CSFunc.h"
#include "sysutil/platform_handles.h"

using ostrel::sysutil::OwnHandle;
using ostrel::sysutil::UniqueHandle;

namespace
{

/// All letters count, not only those of the ANSI code page or of the run-time's locale.
CStringW LowerCase(const CStringW& text)
{
    const int length = text.GetLength();
    if (length == 0)
    {
        return text;
    }
    CStringW lower;
    LCMapStringW(LOCALE_INVARIANT, LCMAP_LOWERCASE, text, length, lower.GetBufferSetLength(length),
                 length);
    lower.ReleaseBuffer();
    return lower;
}

/// Reports that a process could not be terminated, with the error of the call that failed last.
void ReportFailure(const char* call, const CStringW& exeName, DWORD pid, int number)
{
    const DWORD error = GetLastError();
    const CStringA name(exeName);
    CSFunc::s_S_Debug("%s(%d) %s err(%d),%s_%d", name.GetString(), static_cast<int>(pid), call,
                      static_cast<int>(error), "CSFunc::s_F_b_CloseProc", number);
}

// The numbers in the reports are known to those who read them.
bool CloseProcess(const CStringW& exeName, DWORD pid)
{
    const UniqueHandle process = OwnHandle(OpenProcess(PROCESS_TERMINATE, FALSE, pid));
    if (process == nullptr)
    {
        ReportFailure("OpenProcess", exeName, pid, 1160);
        return false;
    }
    if (!TerminateProcess(process.get(), 0))
    {
        ReportFailure("TerminateProcess", exeName, pid, 1169);
        return false;
    }
    return true;
}

}  // namespace

void CSFunc::s_S_FindProc(CStringW sExeName, CDWordArray& aPids, unsigned long nExcludePid)
{
    aPids.RemoveAll();
    const UniqueHandle snapshot = OwnHandle(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (snapshot == nullptr)
    {
        return;
    }
    const CStringW wanted = LowerCase(sExeName);
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof(entry);
    for (BOOL isMore = Process32FirstW(snapshot.get(), &entry); isMore;
         isMore = Process32NextW(snapshot.get(), &entry))
    {
        if (entry.th32ProcessID != nExcludePid && LowerCase(CStringW(entry.szExeFile)) == wanted)
        {
            aPids.Add(entry.th32ProcessID);
        }
    }
}

bool CSFunc::s_F_b_CreateProc(CStringW sPath, CStringW sArgs, bool bShow, int nWaitMS)
{
    CStringW commandLine(sPath);
    if (!sPath.IsEmpty() && !sArgs.IsEmpty())
    {
        commandLine += L' ';
    }
    commandLine += sArgs;

    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESHOWWINDOW;
    startup.wShowWindow = bShow ? SW_SHOW : SW_HIDE;
    PROCESS_INFORMATION created = {};
    // The platform may write to the command line.
    if (!CreateProcessW(nullptr, commandLine.GetBuffer(), nullptr, nullptr, FALSE, 0, nullptr,
                        nullptr, &startup, &created))
    {
        return false;
    }
    const UniqueHandle process(created.hProcess);
    const UniqueHandle thread(created.hThread);
    WaitForSingleObject(process.get(), static_cast<DWORD>(nWaitMS));
    // Read, and deliberately not returned.
    DWORD exitCode = 0;
    GetExitCodeProcess(process.get(), &exitCode);
    return true;
}

bool CSFunc::s_F_b_CloseProc(CStringW sExeName)
{
    CDWordArray pids;
    s_S_FindProc(sExeName, pids, 0);
    INT_PTR terminated = 0;
    for (INT_PTR i = 0; i < pids.GetSize(); ++i)
    {
        terminated += CloseProcess(sExeName, pids[i]) ? 1 : 0;
    }
    return terminated == pids.GetSize();
}
