#include <memory>
#include <string_view>
#include <vector>

#include "CSFunc.h"
#include "sysutil/directory_chain.h"

using ostrel::sysutil::IsTakenForFileName;
using ostrel::sysutil::LevelAbove;
using ostrel::sysutil::LevelBelow;

namespace
{

// No path of the platform has more characters.
constexpr size_t kLongestPath = 32767;

// With the terminator that the platform needs.
CStringW TextOf(std::wstring_view level)
{
    return CStringW(level.data(), static_cast<int>(level.size()));
}

/// @return the longest level that the platform may know, so that a text of millions of levels does
/// not take for ever; empty when there is none.
std::wstring_view PossiblePath(std::wstring_view path)
{
    return path.size() <= kLongestPath ? path : path.substr(0, LevelAbove(path, kLongestPath + 1));
}

DWORD AttributesOf(std::wstring_view level)
{
    return GetFileAttributesW(TextOf(level));
}

/// @return 0 when none exists.
size_t LastExistingLevel(std::wstring_view path)
{
    size_t level = path.size();
    while (level != 0 && AttributesOf(path.substr(0, level)) == INVALID_FILE_ATTRIBUTES)
    {
        level = LevelAbove(path, level);
    }
    return level;
}

int CreateLevel(std::wstring_view level)
{
    if (IsTakenForFileName(level))
    {
        return 1;
    }
    return CreateDirectoryW(TextOf(level), nullptr) != FALSE;
}

int RemoveLevel(std::wstring_view level)
{
    // What stands for a drive is never removed.
    constexpr size_t kDriveLength = 2;
    // The attributes of what is missing have every bit set.
    const bool isDirectory = (AttributesOf(level) & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (!isDirectory || level.size() <= kDriveLength)
    {
        return 1;
    }
    const CStringW directory = TextOf(level);
    SetFileAttributesW(directory, FILE_ATTRIBUTE_NORMAL);
    return RemoveDirectoryW(directory) != FALSE;
}

/// A directory that is being searched.
struct DirectorySearch
{
    CFileFind finder;
    BOOL isMore = FALSE;
};

/// The directories on the way down to the one that is being searched: as many as the file system
/// has levels, which need not be few enough for the thread's stack.
using SearchStack = std::vector<std::unique_ptr<DirectorySearch>>;

void Enter(CStringW directory, const wchar_t* pattern, SearchStack& searches)
{
    if (directory[directory.GetLength() - 1] != L'\\')
    {
        directory += L'\\';
    }
    auto search = std::make_unique<DirectorySearch>();
    search->isMore = search->finder.FindFile(directory + pattern);
    searches.push_back(std::move(search));
}

}  // namespace

int CSFunc::s_F_n_CreateDirectorys(CStringW sPath)
{
    const std::wstring_view path = sPath.GetString();
    const std::wstring_view possible = PossiblePath(path);
    int result = 1;
    for (size_t level = LastExistingLevel(possible); level < possible.size();)
    {
        level = LevelBelow(possible, level);
        result = CreateLevel(possible.substr(0, level));
    }
    // A path that is empty or too long cannot be created, but it can be taken for a file's.
    return possible.empty() || possible.size() < path.size() ? IsTakenForFileName(path) : result;
}

int CSFunc::s_F_n_RemoveDirectorys(CStringW sPath)
{
    const std::wstring_view path = sPath.GetString();
    std::wstring_view level = PossiblePath(path);
    // What is too long is a directory that is missing, and cannot be removed.
    int result = level.empty() && !path.empty() ? 0 : 1;
    for (; !level.empty(); level = level.substr(0, LevelAbove(level, level.size())))
    {
        result = RemoveLevel(level);
    }
    return result;
}

void CSFunc::s_S_EnumerateFiles(const wchar_t* pDir, const wchar_t* pPattern, CStringList& lFiles,
                                bool bRecurse)
{
    const CStringW directory(pDir);
    if (directory.IsEmpty())
    {
        return;
    }
    const CStringW pattern(pPattern);
    SearchStack searches;
    Enter(directory, pattern, searches);
    while (!searches.empty())
    {
        DirectorySearch& search = *searches.back();
        if (!search.isMore)
        {
            searches.pop_back();
            continue;
        }
        search.isMore = search.finder.FindNextFile();
        if (search.finder.IsDots())
        {
            continue;
        }
        if (!search.finder.IsDirectory())
        {
            lFiles.AddTail(search.finder.GetFilePath());
        }
        else if (bRecurse)
        {
            Enter(search.finder.GetFilePath(), pattern, searches);
        }
    }
}

bool CSFunc::s_F_b_GetFileInfo(CStringW sPath, WIN32_FIND_DATAW* pData)
{
    if (sPath.IsEmpty())
    {
        return false;
    }
    WIN32_FIND_DATAW entry = {};
    const HANDLE search = FindFirstFileW(sPath, &entry);
    const bool isFound = search != INVALID_HANDLE_VALUE;
    if (isFound)
    {
        FindClose(search);
    }
    if (pData != nullptr)
    {
        *pData = entry;
    }
    return isFound;
}

bool CSFunc::s_F_b_GetFileInfo(CStringA sPath, WIN32_FIND_DATAW* pData)
{
    return s_F_b_GetFileInfo(CStringW(sPath), pData);
}
