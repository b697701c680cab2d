/// @file
/// A folder of a test's own.
#pragma once

#include <gtest/gtest.h>

#include <windows.h>

#include <string>
#include <vector>

namespace ostrel::test
{

/// What a directory entry has: its path, its attributes, and its size.
struct TreeEntry
{
    std::wstring path;
    DWORD attributes;
    unsigned long long size;

    bool operator==(const TreeEntry& other) const
    {
        return path == other.path && attributes == other.attributes && size == other.size;
    }
};

using Tree = std::vector<TreeEntry>;

/// Lists everything below a folder, each directory followed by what is in it.
inline void ListTree(const std::wstring& folder, Tree& tree)
{
    WIN32_FIND_DATAW entry = {};
    const HANDLE search = FindFirstFileW((folder + L"\\*").c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE)
    {
        return;
    }
    do
    {
        const std::wstring name = entry.cFileName;
        if (name != L"." && name != L"..")
        {
            const std::wstring path = folder + L"\\" + name;
            tree.push_back(
                {path, entry.dwFileAttributes,
                 static_cast<unsigned long long>(entry.nFileSizeHigh) << 32 | entry.nFileSizeLow});
            if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
            {
                ListTree(path, tree);
            }
        }
    } while (FindNextFileW(search, &entry));
    FindClose(search);
}

/// A folder below the temporary one, which is gone with all that is in it when the object is.
class TemporaryFolder
{
public:
    explicit TemporaryFolder(const std::wstring& name)
    {
        wchar_t temporary[MAX_PATH] = {};
        wchar_t longName[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, temporary);
        GetLongPathNameW(temporary, longName, MAX_PATH);
        vm_sPath = std::wstring(longName) + name + L"_" + std::to_wstring(GetCurrentProcessId());
        EXPECT_TRUE(CreateDirectoryW(vm_sPath.c_str(), nullptr)) << GetLastError();
    }
    ~TemporaryFolder()
    {
        // The file of a program that is just ending stays for a moment.
        for (int i = 0; i < 400 && GetFileAttributesW(vm_sPath.c_str()) != INVALID_FILE_ATTRIBUTES;
             ++i)
        {
            Sleep(i == 0 ? 0 : 50);
            // By the prefix, paths of any length are known.
            RemoveTree(L"\\\\?\\" + vm_sPath);
        }
        EXPECT_EQ(GetFileAttributesW(vm_sPath.c_str()), INVALID_FILE_ATTRIBUTES);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::wstring& Path() const { return vm_sPath; }
    std::wstring Path(const std::wstring& name) const { return vm_sPath + L"\\" + name; }

    void MakeFolder(const std::wstring& name, DWORD attributes = FILE_ATTRIBUTE_NORMAL) const
    {
        EXPECT_TRUE(CreateDirectoryW(Path(name).c_str(), nullptr)) << GetLastError();
        SetFileAttributesW(Path(name).c_str(), attributes);
    }

    void MakeFile(const std::wstring& name, const std::string& content = "content") const
    {
        const HANDLE file = CreateFileW(Path(name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
        EXPECT_NE(file, INVALID_HANDLE_VALUE) << GetLastError();
        DWORD written = 0;
        WriteFile(file, content.data(), static_cast<DWORD>(content.size()), &written, nullptr);
        CloseHandle(file);
    }

    bool Has(const std::wstring& name) const
    {
        return GetFileAttributesW(Path(name).c_str()) != INVALID_FILE_ATTRIBUTES;
    }

    /// Everything in the folder.
    Tree List() const
    {
        Tree tree;
        ListTree(vm_sPath, tree);
        return tree;
    }

private:
    static void RemoveTree(const std::wstring& folder)
    {
        Tree tree;
        ListTree(folder, tree);
        for (size_t i = tree.size(); i > 0; --i)
        {
            const TreeEntry& entry = tree[i - 1];
            SetFileAttributesW(entry.path.c_str(), FILE_ATTRIBUTE_NORMAL);
            if ((entry.attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
            {
                RemoveDirectoryW(entry.path.c_str());
            }
            else
            {
                DeleteFileW(entry.path.c_str());
            }
        }
        SetFileAttributesW(folder.c_str(), FILE_ATTRIBUTE_NORMAL);
        RemoveDirectoryW(folder.c_str());
    }

    std::wstring vm_sPath;
};

/// Makes a folder the current one while it lives.
class CurrentFolder
{
public:
    explicit CurrentFolder(const std::wstring& path)
    {
        GetCurrentDirectoryW(MAX_PATH, vm_before);
        EXPECT_TRUE(SetCurrentDirectoryW(path.c_str()));
    }
    ~CurrentFolder() { SetCurrentDirectoryW(vm_before); }
    CurrentFolder(const CurrentFolder&) = delete;
    CurrentFolder& operator=(const CurrentFolder&) = delete;

private:
    wchar_t vm_before[MAX_PATH] = {};
};

}  // namespace ostrel::test
