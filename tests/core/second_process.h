/// @file
/// What a test has another process do.
#pragma once

#include <gtest/gtest.h>
#include <winsock2.h>

#include <windows.h>

#include <string>

namespace ostrel::test
{

/// Exit code of a second process that could not do what it was told.
constexpr unsigned int kSecondProcessFailed = 0x1000;

/// Runs second_process.exe, which lies beside this program.
/// @return its exit code: see there.
inline unsigned int RunSecondProcess(const std::wstring& arguments)
{
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring program(path);
    program.erase(program.find_last_of(L'\\') + 1);
    program += L"second_process.exe";
    std::wstring commandLine = L"\"" + program + L"\" " + arguments;
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                        nullptr, &startup, &process))
    {
        ADD_FAILURE() << "no second process: error " << GetLastError();
        return kSecondProcessFailed;
    }
    DWORD exitCode = kSecondProcessFailed;
    EXPECT_EQ(WaitForSingleObject(process.hProcess, 60000), WAIT_OBJECT_0);
    GetExitCodeProcess(process.hProcess, &exitCode);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return exitCode;
}

}  // namespace ostrel::test
