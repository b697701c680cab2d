/// @file
/// A folder for the files of one test, and what such files hold.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace ostrel::test
{

/// A new, empty folder, removed with all that it holds.
class TestFolder
{
public:
    TestFolder()
    {
        static std::atomic<int> count{0};
        m_path = std::filesystem::temp_directory_path() /
                 ("ostrel-recording-" + std::to_string(GetCurrentProcessId()) + "-" +
                  std::to_string(count++));
        std::filesystem::remove_all(m_path);
        std::filesystem::create_directories(m_path);
    }
    ~TestFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;

    std::filesystem::path operator/(const char* name) const { return m_path / name; }

    /// How many files and folders lie in it.
    int Count() const
    {
        return static_cast<int>(std::distance(std::filesystem::directory_iterator(m_path), {}));
    }

private:
    std::filesystem::path m_path;
};

inline std::string ReadFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// What a file of UTF-16 text, the lower byte first, is to hold.
inline std::string Utf16(const std::wstring& text)
{
    std::string bytes;
    for (const wchar_t unit : text)
    {
        bytes += static_cast<char>(unit & 0xFF);
        bytes += static_cast<char>(unit >> 8 & 0xFF);
    }
    return bytes;
}

}  // namespace ostrel::test
