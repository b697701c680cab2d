#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "CSFunc.h"
#include "net/process_resources.h"
#include "support/import_patch.h"
#include "sysutil/temporary_folder.h"

namespace
{

using ostrel::test::CountHandles;
using ostrel::test::CurrentFolder;
using ostrel::test::ImportPatch;
using ostrel::test::TemporaryFolder;
using ostrel::test::Tree;
using Paths = std::vector<std::wstring>;

// Far too little for a recursion over thousands of levels.
constexpr SIZE_T kSmallStack = 256 * 1024;

template <class Action>
DWORD WINAPI RunAction(void* action)
{
    (*static_cast<Action*>(action))();
    return 0;
}

template <class Action>
void RunOnSmallStack(Action action)
{
    const HANDLE thread = CreateThread(nullptr, kSmallStack, RunAction<Action>, &action,
                                       STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    ASSERT_NE(thread, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
}

int Create(const std::wstring& path)
{
    return CSFunc::s_F_n_CreateDirectorys(path.c_str());
}

int Remove(const std::wstring& path)
{
    return CSFunc::s_F_n_RemoveDirectorys(path.c_str());
}

Paths PathsOf(const CStringList& list)
{
    Paths paths;
    for (POSITION position = list.GetHeadPosition(); position != nullptr;)
    {
        paths.emplace_back(list.GetNext(position).GetString());
    }
    return paths;
}

Paths Files(const std::wstring& folder, const std::wstring& pattern, bool isRecursive)
{
    CStringList list;
    CSFunc::s_S_EnumerateFiles(folder.c_str(), pattern.c_str(), list, isRecursive);
    return PathsOf(list);
}

Paths Sorted(Paths paths)
{
    std::sort(paths.begin(), paths.end());
    return paths;
}

// A folder in which the test works, with neighbours that nothing may touch, and a file that keeps
// the folder itself from becoming empty.
class FileSystem : public testing::Test
{
protected:
    FileSystem()
    {
        around.MakeFolder(L"work");
        around.MakeFile(L"work\\keep");
        around.MakeFolder(L"before");
        around.MakeFolder(L"before\\empty", FILE_ATTRIBUTE_READONLY);
        around.MakeFile(L"before\\file.txt", "12345");
        around.MakeFolder(L"work2");
        around.MakeFolder(L"work2\\empty");
        around.MakeFile(L"file.txt");
        neighbours = Neighbours();
    }
    ~FileSystem() override { EXPECT_TRUE(Neighbours() == neighbours); }

    // All but what is in the folder of the test.
    Tree Neighbours() const
    {
        Tree tree = around.List();
        tree.erase(std::remove_if(tree.begin(), tree.end(),
                                  [&](const ostrel::test::TreeEntry& entry)
                                  {
                                      const std::wstring own = Path(L"");
                                      const bool isOwn =
                                          entry.path.compare(0, own.size(), own) == 0;
                                      return isOwn && entry.path != Path(L"keep");
                                  }),
                   tree.end());
        return tree;
    }

    std::wstring Path(const std::wstring& name) const { return around.Path(L"work\\" + name); }
    bool Has(const std::wstring& name) const { return around.Has(L"work\\" + name); }
    void MakeFolder(const std::wstring& name, DWORD attributes = FILE_ATTRIBUTE_NORMAL) const
    {
        around.MakeFolder(L"work\\" + name, attributes);
    }
    void MakeFile(const std::wstring& name, const std::string& content = "content") const
    {
        around.MakeFile(L"work\\" + name, content);
    }
    DWORD Attributes(const std::wstring& name) const
    {
        return GetFileAttributesW(Path(name).c_str());
    }

    TemporaryFolder around{L"file_system_test"};
    Tree neighbours;
};

using CreateDirectorys = FileSystem;
using RemoveDirectorys = FileSystem;
using EnumerateFiles = FileSystem;
using GetFileInfo = FileSystem;

// ---- Creating ----------------------------------------------------------------------------------

TEST_F(CreateDirectorys, CreatesAllThatIsMissingFromTheTopDown)
{
    EXPECT_EQ(Create(Path(L"a\\b c\\d")), 1);
    EXPECT_TRUE(Has(L"a\\b c\\d"));
}

TEST_F(CreateDirectorys, APathThatExistsGives1)
{
    MakeFolder(L"a");
    MakeFile(L"a\\file");
    EXPECT_EQ(Create(Path(L"a")), 1);
    EXPECT_EQ(Create(Path(L"a\\")), 1);
    EXPECT_EQ(Create(Path(L"a\\file")), 1);
    EXPECT_EQ(Create(L"C:\\"), 1);
    EXPECT_EQ(Create(L"C:"), 1);
}

TEST_F(CreateDirectorys, ALastComponentWithADotIsNotCreatedButItsParentsAre)
{
    EXPECT_EQ(Create(Path(L"a\\b\\c.txt")), 1);
    EXPECT_TRUE(Has(L"a\\b"));
    EXPECT_FALSE(Has(L"a\\b\\c.txt"));
    EXPECT_EQ(Create(Path(L"a\\d\\.hidden")), 1);
    EXPECT_TRUE(Has(L"a\\d"));
    EXPECT_FALSE(Has(L"a\\d\\.hidden"));
}

TEST_F(CreateDirectorys, AComponentInTheMiddleWithADotIsNotCreatedEither)
{
    EXPECT_EQ(Create(Path(L"v1.0\\b")), 0);
    EXPECT_FALSE(Has(L"v1.0"));
    EXPECT_EQ(Create(Path(L"v1.0\\b\\c.txt")), 1);
    EXPECT_FALSE(Has(L"v1.0"));
}

TEST_F(CreateDirectorys, BelowAFolderWithADotThatExistsItCreates)
{
    MakeFolder(L"v1.0");
    EXPECT_EQ(Create(Path(L"v1.0\\b\\c")), 1);
    EXPECT_TRUE(Has(L"v1.0\\b\\c"));
}

TEST_F(CreateDirectorys, WideNamesAreCreated)
{
    EXPECT_EQ(Create(Path(L"\x5F55\x50CF\\\x0416\\\x00E4")), 1);
    EXPECT_TRUE(Has(L"\x5F55\x50CF\\\x0416\\\x00E4"));
}

TEST_F(CreateDirectorys, APathWithoutBackslashIsCreatedInTheCurrentDirectory)
{
    const CurrentFolder current(Path(L""));
    EXPECT_EQ(Create(L"single"), 1);
    EXPECT_TRUE(Has(L"single"));
    EXPECT_EQ(Create(L"single.txt"), 1);
    EXPECT_FALSE(Has(L"single.txt"));
    EXPECT_EQ(Create(L"a\\b"), 1);
    EXPECT_TRUE(Has(L"a\\b"));
}

TEST_F(CreateDirectorys, WhatCannotBeCreatedGives0)
{
    EXPECT_EQ(Create(L""), 0);
    EXPECT_EQ(Create(L"Q:\\a\\b"), 0);
    EXPECT_EQ(Create(Path(L"keep\\a")), 0);
    EXPECT_EQ(Create(Path(L"a\\b*c")), 0);
    EXPECT_TRUE(Has(L"a"));
    EXPECT_EQ(Create(Path(std::wstring(300, L'n'))), 0);
}

TEST_F(CreateDirectorys, ABackslashAtTheEndCreatesAndGives0)
{
    EXPECT_EQ(Create(Path(L"a\\b\\")), 0);
    EXPECT_TRUE(Has(L"a\\b"));
}

TEST_F(CreateDirectorys, CreatesPathsPastTheUsualLimitByThePlatformsPrefix)
{
    std::wstring path = L"\\\\?\\" + Path(L"");
    for (int i = 0; i < 60; ++i)
    {
        path += L"level with a name of its own" + std::to_wstring(i) + L"\\";
    }
    path.pop_back();
    ASSERT_GT(path.size(), 1500U);
    EXPECT_EQ(Create(path), 1);
    EXPECT_NE(GetFileAttributesW(path.c_str()), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(Remove(path), 1);
    EXPECT_EQ(around.List().size(), neighbours.size());
}

TEST_F(CreateDirectorys, PathsOfAnyLengthEndInAResultOnASmallStack)
{
    RunOnSmallStack(
        []
        {
            std::wstring path = L"Q:\\";
            while (path.size() < 4000)
            {
                path += L"a\\";
            }
            EXPECT_EQ(Create(path + L"a"), 0);
            EXPECT_EQ(Create(path + L"a.b"), 1);
            const std::wstring component = std::wstring(200, L'c') + L"\\";
            while (path.size() < 10000000)
            {
                path += component;
            }
            EXPECT_EQ(Create(path), 0);
            EXPECT_EQ(Create(path + L"a.b"), 1);
            EXPECT_EQ(Create(std::wstring(10000000, L'x')), 0);
            EXPECT_EQ(Create(std::wstring(10000000, L'.')), 1);
        });
}

// ---- Removing ----------------------------------------------------------------------------------

TEST_F(RemoveDirectorys, RemovesTheDirectoryAndAllAboveItThatBecomeEmpty)
{
    Create(Path(L"a\\b.c\\d"));
    MakeFolder(L"a\\b.c");
    MakeFolder(L"a\\b.c\\d");
    EXPECT_EQ(Remove(Path(L"a\\b.c\\d")), 1);
    EXPECT_FALSE(Has(L"a"));
    EXPECT_TRUE(Has(L"keep"));
}

TEST_F(RemoveDirectorys, ADirectoryThatIsNotEmptyStaysWithAllAboveIt)
{
    Create(Path(L"a\\b\\c"));
    MakeFile(L"a\\b\\c\\file", "123");
    MakeFolder(L"a\\b\\c\\d");
    const Tree before = around.List();
    EXPECT_EQ(Remove(Path(L"a\\b\\c")), 1);
    EXPECT_TRUE(around.List() == before);
}

TEST_F(RemoveDirectorys, StopsAtAnAncestorThatIsNotEmpty)
{
    Create(Path(L"a\\b\\c"));
    MakeFile(L"a\\file");
    EXPECT_EQ(Remove(Path(L"a\\b\\c")), 1);
    EXPECT_FALSE(Has(L"a\\b"));
    EXPECT_TRUE(Has(L"a\\file"));
}

// Wine keeps no read-only directories; see the next test.
TEST_F(RemoveDirectorys, ReadOnlyDirectoriesAreRemoved)
{
    MakeFolder(L"a");
    MakeFolder(L"a\\b", FILE_ATTRIBUTE_READONLY);
    SetFileAttributesW(Path(L"a").c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(Remove(Path(L"a\\b")), 1);
    EXPECT_FALSE(Has(L"a"));
}

Paths g_calls;

DWORD WINAPI EverythingIsAFolder(const wchar_t* path)
{
    return path == std::wstring(L"C:\\a\\file")
               ? FILE_ATTRIBUTE_READONLY
               : FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY;
}

BOOL WINAPI NoteAttributes(const wchar_t* path, DWORD attributes)
{
    g_calls.push_back(std::to_wstring(attributes) + L" " + path);
    return TRUE;
}

BOOL WINAPI NoteRemoval(const wchar_t* path)
{
    g_calls.push_back(std::wstring(L"remove ") + path);
    return FALSE;
}

TEST_F(RemoveDirectorys, AttributesAreSetToNormalBeforeEachDirectoryIsRemoved)
{
    const ImportPatch attributes("GetFileAttributesW", EverythingIsAFolder);
    const ImportPatch normal("SetFileAttributesW", NoteAttributes);
    const ImportPatch removal("RemoveDirectoryW", NoteRemoval);
    g_calls.clear();
    EXPECT_EQ(Remove(L"C:\\a\\b"), 1);
    EXPECT_EQ(g_calls, (Paths{L"128 C:\\a\\b", L"remove C:\\a\\b", L"128 C:\\a", L"remove C:\\a"}));
    g_calls.clear();
    EXPECT_EQ(Remove(L"C:\\a\\file"), 1);
    EXPECT_EQ(g_calls, (Paths{L"128 C:\\a", L"remove C:\\a"}));
}

TEST_F(RemoveDirectorys, AReadOnlyDirectoryThatIsNotEmptyLosesTheAttribute)
{
    MakeFolder(L"a");
    MakeFile(L"a\\file");
    SetFileAttributesW(Path(L"a").c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(Remove(Path(L"a")), 1);
    EXPECT_EQ(Attributes(L"a") & FILE_ATTRIBUTE_READONLY, 0U);
    EXPECT_TRUE(Has(L"a\\file"));
}

TEST_F(RemoveDirectorys, AFileStaysAndSoDoItsDirectories)
{
    MakeFolder(L"a");
    MakeFile(L"a\\file");
    SetFileAttributesW(Path(L"a\\file").c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(Remove(Path(L"a\\file")), 1);
    EXPECT_NE(Attributes(L"a\\file") & FILE_ATTRIBUTE_READONLY, 0U);
}

TEST_F(RemoveDirectorys, AMissingPathIsPassedOver)
{
    Create(Path(L"a\\b"));
    EXPECT_EQ(Remove(Path(L"a\\b\\missing\\too.txt")), 1);
    EXPECT_FALSE(Has(L"a"));
}

TEST_F(RemoveDirectorys, TheResultIsThatOfTheLastLevel)
{
    const CurrentFolder current(Path(L""));
    Create(L"abc\\def");
    EXPECT_EQ(Remove(L"abc\\def"), 1);
    EXPECT_FALSE(Has(L"abc"));
    EXPECT_EQ(Remove(L"abc\\def"), 0);
    Create(L"abc\\def");
    MakeFile(L"abc\\file");
    EXPECT_EQ(Remove(L"abc\\def"), 0);
    EXPECT_FALSE(Has(L"abc\\def"));
    EXPECT_EQ(Remove(L"keep\\missing"), 1);
}

TEST_F(RemoveDirectorys, ANameOfTwoCharactersIsNeverRemoved)
{
    const CurrentFolder current(Path(L""));
    MakeFolder(L"ab");
    MakeFolder(L"ab\\c");
    EXPECT_EQ(Remove(L"ab"), 1);
    EXPECT_TRUE(Has(L"ab\\c"));
    EXPECT_EQ(Remove(L"ab\\c"), 1);
    EXPECT_TRUE(Has(L"ab"));
    EXPECT_FALSE(Has(L"ab\\c"));
    EXPECT_EQ(Remove(L"zz"), 1);
    MakeFolder(L"abc");
    EXPECT_EQ(Remove(L"abc"), 1);
    EXPECT_FALSE(Has(L"abc"));
}

TEST_F(RemoveDirectorys, DrivesAndNothingGive1)
{
    EXPECT_EQ(Remove(L"C:"), 1);
    EXPECT_EQ(Remove(L"C:\\"), 1);
    EXPECT_EQ(Remove(L"Q:\\none"), 1);
    EXPECT_EQ(Remove(L"\\"), 1);
    EXPECT_EQ(Remove(L""), 1);
    EXPECT_NE(GetFileAttributesW(L"C:\\"), INVALID_FILE_ATTRIBUTES);
}

TEST_F(RemoveDirectorys, PathsOfAnyLengthEndInAResultOnASmallStack)
{
    RunOnSmallStack(
        []
        {
            std::wstring path = L"Q:\\";
            while (path.size() < 4000)
            {
                path += L"a\\";
            }
            EXPECT_EQ(Remove(path), 1);
            const std::wstring component = std::wstring(200, L'c') + L"\\";
            while (path.size() < 10000000)
            {
                path += component;
            }
            EXPECT_EQ(Remove(path), 1);
            EXPECT_EQ(Remove(std::wstring(10000000, L'x')), 0);
            EXPECT_EQ(Remove(std::wstring(10000000, L'x') + L"\\"), 0);
        });
}

// ---- Listing -----------------------------------------------------------------------------------

TEST_F(EnumerateFiles, ListsTheFilesThatMatchByTheirFullPaths)
{
    MakeFile(L"a.jpg");
    MakeFile(L"b.jpg");
    MakeFile(L"c.txt");
    MakeFolder(L"d.jpg");
    EXPECT_EQ(Sorted(Files(around.Path(L"work"), L"*.jpg", false)),
              (Paths{Path(L"a.jpg"), Path(L"b.jpg")}));
}

TEST_F(EnumerateFiles, ABackslashAtTheEndOfTheDirectoryMakesNoDifference)
{
    MakeFile(L"a.jpg");
    EXPECT_EQ(Files(Path(L""), L"*.jpg", false), (Paths{Path(L"a.jpg")}));
}

TEST_F(EnumerateFiles, WithoutRecursionDirectoriesAreSkipped)
{
    MakeFolder(L"sub");
    MakeFile(L"sub\\a");
    EXPECT_EQ(Files(around.Path(L"work"), L"*", false), (Paths{Path(L"keep")}));
}

TEST_F(EnumerateFiles, WithRecursionDirectoriesAreSearchedTheSameWay)
{
    MakeFolder(L"sub");
    MakeFile(L"sub\\a");
    MakeFolder(L"sub\\deeper");
    MakeFile(L"sub\\deeper\\b");
    MakeFolder(L"empty");
    EXPECT_EQ(Sorted(Files(around.Path(L"work"), L"*", true)),
              (Paths{Path(L"keep"), Path(L"sub\\a"), Path(L"sub\\deeper\\b")}));
}

TEST_F(EnumerateFiles, ThePatternHoldsForDirectoriesToo)
{
    MakeFolder(L"sub");
    MakeFile(L"sub\\a.jpg");
    MakeFolder(L"sub.jpg");
    MakeFile(L"sub.jpg\\b.jpg");
    MakeFile(L"sub.jpg\\c.txt");
    MakeFolder(L"sub.jpg\\deeper");
    MakeFile(L"sub.jpg\\deeper\\d.jpg");
    EXPECT_EQ(Files(around.Path(L"work"), L"*.jpg", true), (Paths{Path(L"sub.jpg\\b.jpg")}));
}

// A recursive walk by the platform's own calls.
void Walk(const std::wstring& folder, const std::wstring& pattern, Paths& paths)
{
    WIN32_FIND_DATAW entry = {};
    const HANDLE search = FindFirstFileW((folder + L"\\" + pattern).c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE)
    {
        return;
    }
    do
    {
        const std::wstring path = folder + L"\\" + entry.cFileName;
        if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        {
            paths.push_back(path);
        }
        else if (wcscmp(entry.cFileName, L".") != 0 && wcscmp(entry.cFileName, L"..") != 0)
        {
            Walk(path, pattern, paths);
        }
    } while (FindNextFileW(search, &entry));
    FindClose(search);
}

TEST_F(EnumerateFiles, TheOrderIsThatOfTheFileSystemWithSubdirectoriesInTheirPlaces)
{
    for (const wchar_t* const name : {L"m", L"c", L"x", L"c\\k", L"c\\b", L"x\\y"})
    {
        MakeFolder(name);
        for (const wchar_t* const file : {L"\\3", L"\\1", L"\\2", L"\\z"})
        {
            MakeFile(std::wstring(name) + file);
        }
    }
    Paths expected;
    Walk(around.Path(L"work"), L"*", expected);
    ASSERT_EQ(expected.size(), 6U * 4 + 1);
    EXPECT_EQ(Files(around.Path(L"work"), L"*", true), expected);
}

TEST_F(EnumerateFiles, FilesAreAppended)
{
    CStringList list;
    list.AddTail(L"first");
    CSFunc::s_S_EnumerateFiles(around.Path(L"work").c_str(), L"*", list, true);
    EXPECT_EQ(PathsOf(list), (Paths{L"first", Path(L"keep")}));
}

TEST_F(EnumerateFiles, WithoutADirectoryNothingIsDone)
{
    const CurrentFolder current(Path(L""));
    CStringList list;
    CSFunc::s_S_EnumerateFiles(L"", L"*", list, true);
    CSFunc::s_S_EnumerateFiles(nullptr, L"*", list, true);
    CSFunc::s_S_EnumerateFiles(Path(L"missing").c_str(), L"*", list, true);
    CSFunc::s_S_EnumerateFiles(Path(L"keep").c_str(), L"*", list, true);
    EXPECT_TRUE(list.IsEmpty());
}

TEST_F(EnumerateFiles, WithoutAPatternNothingMatches)
{
    EXPECT_EQ(Files(around.Path(L"work"), L"", true), Paths{});
    CStringList list;
    CSFunc::s_S_EnumerateFiles(around.Path(L"work").c_str(), nullptr, list, true);
    EXPECT_TRUE(list.IsEmpty());
}

TEST_F(EnumerateFiles, ARelativeDirectoryGivesFullPaths)
{
    MakeFolder(L"sub");
    MakeFile(L"sub\\a");
    const CurrentFolder current(Path(L""));
    EXPECT_EQ(Files(L"sub", L"*", true), (Paths{Path(L"sub\\a")}));
    EXPECT_EQ(Files(L".", L"keep", true), (Paths{Path(L"keep")}));
}

TEST_F(EnumerateFiles, WideNamesAreListed)
{
    MakeFolder(L"\x5F55\x50CF");
    MakeFile(L"\x5F55\x50CF\\\x5F55-\x0416.avi");
    EXPECT_EQ(Files(around.Path(L"work"), L"\x5F55*", true),
              (Paths{Path(L"\x5F55\x50CF\\\x5F55-\x0416.avi")}));
}

TEST_F(EnumerateFiles, DeepDirectoriesAreSearchedOnASmallStack)
{
    std::wstring path = L"\\\\?\\" + around.Path(L"work");
    for (int i = 0; i < 150; ++i)
    {
        path += L"\\deep";
    }
    ASSERT_EQ(Create(path), 1);
    const HANDLE file = CreateFileW((path + L"\\deep file").c_str(), GENERIC_WRITE, 0, nullptr,
                                    CREATE_NEW, 0, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE);
    CloseHandle(file);
    RunOnSmallStack(
        [&]
        {
            EXPECT_EQ(Files(L"\\\\?\\" + around.Path(L"work"), L"deep*", true),
                      (Paths{path + L"\\deep file"}));
        });
}

TEST_F(EnumerateFiles, NoHandleIsLeftOpen)
{
    MakeFolder(L"sub");
    MakeFolder(L"sub\\deeper");
    Files(around.Path(L"work"), L"*", true);
    const size_t before = CountHandles();
    for (int i = 0; i < 20; ++i)
    {
        Files(around.Path(L"work"), L"*", true);
    }
    EXPECT_EQ(CountHandles(), before);
}

// ---- Entries -----------------------------------------------------------------------------------

WIN32_FIND_DATAW Filled()
{
    WIN32_FIND_DATAW data;
    std::memset(&data, 0x5A, sizeof(data));
    return data;
}

bool IsSame(const WIN32_FIND_DATAW& a, const WIN32_FIND_DATAW& b)
{
    return std::memcmp(&a, &b, sizeof(a)) == 0;
}

TEST_F(GetFileInfo, IsTheEntryOfAFile)
{
    MakeFile(L"file.dat", std::string(4321, 'x'));
    WIN32_FIND_DATAW expected = {};
    const HANDLE search = FindFirstFileW(Path(L"file.dat").c_str(), &expected);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    FindClose(search);
    WIN32_FIND_DATAW data = Filled();
    EXPECT_TRUE(CSFunc::s_F_b_GetFileInfo(CStringW(Path(L"file.dat").c_str()), &data));
    EXPECT_TRUE(IsSame(data, expected));
    EXPECT_STREQ(data.cFileName, L"file.dat");
    EXPECT_EQ(data.nFileSizeLow, 4321U);
}

TEST_F(GetFileInfo, IsTheEntryOfADirectory)
{
    WIN32_FIND_DATAW data = Filled();
    EXPECT_TRUE(CSFunc::s_F_b_GetFileInfo(CStringW(around.Path(L"work").c_str()), &data));
    EXPECT_STREQ(data.cFileName, L"work");
    EXPECT_NE(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY, 0U);
}

TEST_F(GetFileInfo, OfWhatIsMissingItIsZeros)
{
    for (const wchar_t* const name : {L"missing", L"missing\\too", L"*.none"})
    {
        WIN32_FIND_DATAW data = Filled();
        EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(CStringW(Path(name).c_str()), &data));
        EXPECT_TRUE(IsSame(data, WIN32_FIND_DATAW{}));
    }
}

TEST_F(GetFileInfo, OfAnEmptyPathNothingIsWritten)
{
    WIN32_FIND_DATAW data = Filled();
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(CStringW(), &data));
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(CStringA(), &data));
    EXPECT_TRUE(IsSame(data, Filled()));
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(CStringW(), nullptr));
}

TEST_F(GetFileInfo, NeedNotBeWanted)
{
    EXPECT_TRUE(CSFunc::s_F_b_GetFileInfo(CStringW(Path(L"keep").c_str()), nullptr));
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(CStringW(Path(L"missing").c_str()), nullptr));
}

TEST_F(GetFileInfo, TheNarrowFormConvertsThePath)
{
    MakeFile(L"n\x00E4rrow.dat", "123");
    WIN32_FIND_DATAW data = Filled();
    EXPECT_TRUE(CSFunc::s_F_b_GetFileInfo(CStringA(Path(L"n\x00E4rrow.dat").c_str()), &data));
    EXPECT_STREQ(data.cFileName, L"n\x00E4rrow.dat");
    EXPECT_EQ(data.nFileSizeLow, 3U);
    data = Filled();
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(CStringA(Path(L"missing").c_str()), &data));
    EXPECT_TRUE(IsSame(data, WIN32_FIND_DATAW{}));
}

TEST_F(GetFileInfo, APatternGivesTheFirstEntryThatMatches)
{
    MakeFile(L"one.dat");
    WIN32_FIND_DATAW data = Filled();
    EXPECT_TRUE(CSFunc::s_F_b_GetFileInfo(CStringW(Path(L"*.dat").c_str()), &data));
    EXPECT_STREQ(data.cFileName, L"one.dat");
}

TEST_F(GetFileInfo, AHugePathIsMissing)
{
    WIN32_FIND_DATAW data = Filled();
    EXPECT_FALSE(CSFunc::s_F_b_GetFileInfo(CStringW(L'x', 1000000), &data));
    EXPECT_TRUE(IsSame(data, WIN32_FIND_DATAW{}));
}

TEST_F(GetFileInfo, NoHandleIsLeftOpen)
{
    const CStringW path(Path(L"keep").c_str());
    CSFunc::s_F_b_GetFileInfo(path, nullptr);
    const size_t before = CountHandles();
    for (int i = 0; i < 20; ++i)
    {
        CSFunc::s_F_b_GetFileInfo(path, nullptr);
    }
    EXPECT_EQ(CountHandles(), before);
}

}  // namespace
