// A program for process_test to start, find and terminate, under names that the test gives it.
//
// Into the file that the environment names as OSTREL_PROCESS_REPORT, if any, it writes as wide
// text, a line each: its command line, the show state that it was started with, and its current
// directory. With "--wait" in its command line it then stays for a minute, with "--moment" for half
// a second.
#include <windows.h>

#include <cwchar>
#include <string>

int main()
{
    const std::wstring commandLine = GetCommandLineW();
    wchar_t report[MAX_PATH] = {};
    if (GetEnvironmentVariableW(L"OSTREL_PROCESS_REPORT", report, MAX_PATH) != 0)
    {
        STARTUPINFOW startup = {};
        GetStartupInfoW(&startup);
        wchar_t directory[MAX_PATH] = {};
        GetCurrentDirectoryW(MAX_PATH, directory);
        const bool isStated = (startup.dwFlags & STARTF_USESHOWWINDOW) != 0;
        const std::wstring text = commandLine + L"\n" +
                                  (isStated ? std::to_wstring(startup.wShowWindow) : L"none") +
                                  L"\n" + directory + L"\n";
        const HANDLE file =
            CreateFileW(report, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD written = 0;
        WriteFile(file, text.data(), static_cast<DWORD>(text.size() * sizeof(wchar_t)), &written,
                  nullptr);
        CloseHandle(file);
    }
    if (commandLine.find(L"--wait") != std::wstring::npos)
    {
        Sleep(60000);
    }
    if (commandLine.find(L"--moment") != std::wstring::npos)
    {
        Sleep(500);
    }
    return 7;
}
