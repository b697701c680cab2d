#include <afx.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "net/process_resources.h"

namespace
{

using Names = std::set<std::wstring>;

// A folder of its own below the temporary one, which is gone afterwards.
class FileFind : public testing::Test
{
protected:
    FileFind()
    {
        wchar_t temporary[MAX_PATH] = {};
        wchar_t longName[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, temporary);
        GetLongPathNameW(temporary, longName, MAX_PATH);
        folder = std::wstring(longName) + L"file_find_" + std::to_wstring(GetCurrentProcessId());
        EXPECT_TRUE(CreateDirectoryW(folder.c_str(), nullptr));
    }
    ~FileFind() override
    {
        for (const std::wstring& path : made)
        {
            SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
            if (!DeleteFileW(path.c_str()))
            {
                RemoveDirectoryW(path.c_str());
            }
        }
        EXPECT_TRUE(RemoveDirectoryW(folder.c_str()));
    }

    std::wstring MakeFile(const std::wstring& name, DWORD size = 0,
                          DWORD attributes = FILE_ATTRIBUTE_NORMAL)
    {
        const std::wstring path = folder + L"\\" + name;
        const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
        EXPECT_NE(file, INVALID_HANDLE_VALUE);
        const std::string bytes(size, 'x');
        DWORD written = 0;
        WriteFile(file, bytes.data(), size, &written, nullptr);
        CloseHandle(file);
        SetFileAttributesW(path.c_str(), attributes);
        made.push_back(path);
        return path;
    }

    void MakeFolder(const std::wstring& name)
    {
        made.push_back(folder + L"\\" + name);
        EXPECT_TRUE(CreateDirectoryW(made.back().c_str(), nullptr));
    }

    Names NamesOf(const std::wstring& pattern)
    {
        Names names;
        CFileFind finder;
        BOOL isMore = finder.FindFile((folder + L"\\" + pattern).c_str());
        while (isMore)
        {
            isMore = finder.FindNextFile();
            EXPECT_TRUE(names.insert(finder.GetFileName().GetString()).second);
        }
        return names;
    }

    std::wstring folder;
    std::vector<std::wstring> made;
};

TEST_F(FileFind, FindsEveryEntryOnceDotsIncluded)
{
    MakeFile(L"a.txt");
    MakeFile(L"b.dat");
    MakeFolder(L"c");
    EXPECT_EQ(NamesOf(L"*"), (Names{L".", L"..", L"a.txt", L"b.dat", L"c"}));
}

TEST_F(FileFind, FindsWhatMatchesThePattern)
{
    MakeFile(L"a.txt");
    MakeFile(L"ab.txt");
    MakeFile(L"b.dat");
    EXPECT_EQ(NamesOf(L"*.txt"), (Names{L"a.txt", L"ab.txt"}));
    EXPECT_EQ(NamesOf(L"?.txt"), (Names{L"a.txt"}));
    EXPECT_EQ(NamesOf(L"A.TXT"), (Names{L"a.txt"}));
}

TEST_F(FileFind, WideNamesAreFound)
{
    MakeFile(L"\x5F55\x50CF-\x00E4.txt");
    EXPECT_EQ(NamesOf(L"\x5F55*"), (Names{L"\x5F55\x50CF-\x00E4.txt"}));
}

TEST_F(FileFind, NothingFoundIsToldWithTheReason)
{
    CFileFind finder;
    EXPECT_FALSE(finder.FindFile((folder + L"\\*.none").c_str()));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(finder.FindFile((folder + L"\\none\\*").c_str()));
    EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_PATH_NOT_FOUND));
    EXPECT_FALSE(finder.FindNextFile());
    EXPECT_FALSE(finder.FindFile(L""));
}

TEST_F(FileFind, WithoutANameTheCurrentDirectoryIsSearched)
{
    MakeFile(L"plain");
    wchar_t before[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, before);
    ASSERT_TRUE(SetCurrentDirectoryW(folder.c_str()));
    Names names;
    CFileFind finder;
    BOOL isMore = finder.FindFile();
    while (isMore)
    {
        isMore = finder.FindNextFile();
        names.insert(finder.GetFileName().GetString());
    }
    finder.Close();
    SetCurrentDirectoryW(before);
    EXPECT_EQ(names, (Names{L".", L"..", L"plain"}));
}

TEST_F(FileFind, TheLastFileIsToldToBeTheLastAndCanBeReadStill)
{
    const std::wstring path = MakeFile(L"only.txt");
    CFileFind finder;
    ASSERT_TRUE(finder.FindFile(path.c_str()));
    EXPECT_FALSE(finder.FindNextFile());
    EXPECT_STREQ(finder.GetFileName(), L"only.txt");
    EXPECT_FALSE(finder.IsDots());
}

TEST_F(FileFind, BeforeTheFirstFileEverythingIsEmpty)
{
    CFileFind unused;
    EXPECT_FALSE(unused.FindNextFile());
    unused.Close();
    EXPECT_TRUE(unused.GetFilePath().IsEmpty());

    const std::wstring path = MakeFile(L"a.txt", 5);
    CFileFind finder;
    ASSERT_TRUE(finder.FindFile(path.c_str()));
    FILETIME time = {1, 2};
    EXPECT_TRUE(finder.GetFileName().IsEmpty());
    EXPECT_TRUE(finder.GetFilePath().IsEmpty());
    EXPECT_EQ(finder.GetLength(), 0u);
    EXPECT_FALSE(finder.IsDirectory());
    EXPECT_FALSE(finder.IsDots());
    EXPECT_FALSE(finder.MatchesMask(0xFFFFFFFF));
    EXPECT_FALSE(finder.GetLastWriteTime(&time));
    EXPECT_EQ(time.dwLowDateTime, 1u);
    EXPECT_EQ(time.dwHighDateTime, 2u);
}

TEST_F(FileFind, GivesFullPathAndRoot)
{
    const std::wstring path = MakeFile(L"a.txt");
    CFileFind finder;
    ASSERT_TRUE(finder.FindFile((folder + L"\\*.txt").c_str()));
    finder.FindNextFile();
    EXPECT_STREQ(finder.GetFilePath(), path.c_str());
    EXPECT_STREQ(finder.GetRoot(), folder.c_str());
}

TEST_F(FileFind, APathRelativeToTheCurrentDirectoryGivesAFullOne)
{
    const std::wstring path = MakeFile(L"a.txt");
    wchar_t before[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, before);
    ASSERT_TRUE(SetCurrentDirectoryW(folder.c_str()));
    CFileFind finder;
    ASSERT_TRUE(finder.FindFile(L"*.txt"));
    SetCurrentDirectoryW(before);
    finder.FindNextFile();
    EXPECT_STREQ(finder.GetFilePath(), path.c_str());
}

TEST_F(FileFind, TheRootDirectoryOfADriveIsSearchedWithOneBackslash)
{
    CFileFind finder;
    ASSERT_TRUE(finder.FindFile(L"C:\\windows"));
    finder.FindNextFile();
    EXPECT_STREQ(finder.GetRoot(), L"C:\\");
    EXPECT_EQ(finder.GetFilePath().CompareNoCase(L"C:\\windows"), 0);
    EXPECT_TRUE(finder.IsDirectory());
}

TEST_F(FileFind, DotsAreTheTwoEntriesOfTheDirectoryItself)
{
    MakeFile(L"..a");
    MakeFolder(L"...b");
    Names dots;
    Names folders;
    CFileFind finder;
    BOOL isMore = finder.FindFile((folder + L"\\*").c_str());
    while (isMore)
    {
        isMore = finder.FindNextFile();
        if (finder.IsDots())
        {
            dots.insert(finder.GetFileName().GetString());
        }
        if (finder.IsDirectory())
        {
            folders.insert(finder.GetFileName().GetString());
        }
    }
    EXPECT_EQ(dots, (Names{L".", L".."}));
    EXPECT_EQ(folders, (Names{L".", L"..", L"...b"}));
}

TEST_F(FileFind, GivesLengthAndAttributes)
{
    const std::wstring path = MakeFile(L"a.txt", 4321, FILE_ATTRIBUTE_READONLY);
    CFileFind finder;
    ASSERT_TRUE(finder.FindFile(path.c_str()));
    finder.FindNextFile();
    EXPECT_EQ(finder.GetLength(), 4321u);
    EXPECT_TRUE(finder.IsReadOnly());
    EXPECT_TRUE(finder.MatchesMask(FILE_ATTRIBUTE_READONLY));
    EXPECT_TRUE(finder.MatchesMask(FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_DIRECTORY));
    EXPECT_FALSE(finder.MatchesMask(FILE_ATTRIBUTE_DIRECTORY));
    EXPECT_FALSE(finder.IsDirectory());
    EXPECT_FALSE(finder.IsSystem());
    EXPECT_FALSE(finder.IsTemporary());
    EXPECT_FALSE(finder.IsCompressed());
    EXPECT_FALSE(finder.IsNormal());
}

TEST_F(FileFind, EveryAttributeIsTheOneThatThePlatformTells)
{
    const std::wstring path = MakeFile(L"a.txt", 1, FILE_ATTRIBUTE_HIDDEN);
    WIN32_FIND_DATAW entry = {};
    const HANDLE search = FindFirstFileW(path.c_str(), &entry);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    FindClose(search);
    CFileFind finder;
    ASSERT_TRUE(finder.FindFile(path.c_str()));
    finder.FindNextFile();
    const auto has = [&](DWORD bit) { return (entry.dwFileAttributes & bit) != 0; };
    EXPECT_EQ(finder.IsHidden() != FALSE, has(FILE_ATTRIBUTE_HIDDEN));
    EXPECT_EQ(finder.IsArchived() != FALSE, has(FILE_ATTRIBUTE_ARCHIVE));
    EXPECT_EQ(finder.IsNormal() != FALSE, has(FILE_ATTRIBUTE_NORMAL));
    FILETIME times[3] = {};
    EXPECT_TRUE(finder.GetCreationTime(&times[0]));
    EXPECT_TRUE(finder.GetLastAccessTime(&times[1]));
    EXPECT_TRUE(finder.GetLastWriteTime(&times[2]));
    EXPECT_EQ(CompareFileTime(&times[0], &entry.ftCreationTime), 0);
    EXPECT_EQ(CompareFileTime(&times[1], &entry.ftLastAccessTime), 0);
    EXPECT_EQ(CompareFileTime(&times[2], &entry.ftLastWriteTime), 0);
}

TEST_F(FileFind, ANewSearchClosesTheOneBefore)
{
    MakeFile(L"a.txt");
    const std::wstring path = MakeFile(L"b.dat");
    CFileFind finder;
    ASSERT_TRUE(finder.FindFile((folder + L"\\*").c_str()));
    finder.FindNextFile();
    ASSERT_TRUE(finder.FindFile(path.c_str()));
    EXPECT_TRUE(finder.GetFileName().IsEmpty());
    EXPECT_FALSE(finder.FindNextFile());
    EXPECT_STREQ(finder.GetFileName(), L"b.dat");
}

TEST_F(FileFind, NoSearchIsLeftOpen)
{
    MakeFile(L"a.txt");
    const std::wstring pattern = folder + L"\\*";
    const auto searchAll = [&]
    {
        for (int i = 0; i < 50; ++i)
        {
            CFileFind closed;
            closed.FindFile(pattern.c_str());
            closed.Close();
            closed.Close();
            CFileFind replaced;
            replaced.FindFile(pattern.c_str());
            replaced.FindFile(pattern.c_str());
            replaced.FindNextFile();
        }
    };
    searchAll();
    const ostrel::test::ProcessResources before = ostrel::test::MeasureResources();
    searchAll();
    ostrel::test::ExpectNothingLeftBehind(before, 0, 4096);
}

}  // namespace
