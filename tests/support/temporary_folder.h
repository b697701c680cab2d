/// @file
/// A folder for the files of one test.
#pragma once

#include <gtest/gtest.h>
#include <winsock2.h>

#include <windows.h>

#include <filesystem>
#include <string>

namespace ostrel::test
{

/// Made empty, and deleted with all that is in it.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        wchar_t path[MAX_PATH] = L"";
        GetTempPathW(MAX_PATH, path);
        static int count = 0;
        vm_path =
            std::filesystem::path(path) /
            (L"ostrel-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++count));
        EXPECT_TRUE(std::filesystem::create_directory(vm_path)) << vm_path;
    }
    ~TemporaryFolder()
    {
        std::error_code error;
        std::filesystem::remove_all(vm_path, error);
        EXPECT_FALSE(error) << "a file is still open: " << error.message();
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::wstring Path(const std::wstring& name) const { return (vm_path / name).wstring(); }

private:
    std::filesystem::path vm_path;
};

/// Contents of a file as the platform has it, for tests of what the library has written. Other
/// openers are not hindered.
inline std::string ContentsOf(const std::wstring& path)
{
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                                    OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(file, INVALID_HANDLE_VALUE) << "error " << GetLastError();
    std::string contents;
    char buffer[4096];
    DWORD count = 0;
    while (ReadFile(file, buffer, sizeof(buffer), &count, nullptr) != FALSE && count > 0)
    {
        contents.append(buffer, count);
    }
    CloseHandle(file);
    return contents;
}

/// Makes a file with the platform's own means.
inline void MakeFile(const std::wstring& path, const std::string& contents)
{
    const HANDLE file =
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD count = 0;
    EXPECT_NE(
        WriteFile(file, contents.data(), static_cast<DWORD>(contents.size()), &count, nullptr),
        FALSE);
    CloseHandle(file);
}

}  // namespace ostrel::test
