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

// No path of the platform has more characters, so nothing longer need be asked for: of a text with
// millions of levels, that would take for ever.
constexpr size_t kLongestPath = 32767;

std::wstring_view ViewOf(const CStringW& path)
{
    return path.GetString();
}

DWORD AttributesOf(const CStringW& path, size_t level)
{
    return level > kLongestPath ? INVALID_FILE_ATTRIBUTES
                                : GetFileAttributesW(path.Left(static_cast<int>(level)));
}

/// @return 0 when none exists.
size_t LastExistingLevel(const CStringW& path)
{
    const std::wstring_view view = ViewOf(path);
    size_t level = view.size();
    while (level != 0 && AttributesOf(path, level) == INVALID_FILE_ATTRIBUTES)
    {
        level = LevelAbove(view, level);
    }
    return level;
}

int CreateLevel(const CStringW& path, size_t level)
{
    if (IsTakenForFileName(ViewOf(path).substr(0, level)))
    {
        return 1;
    }
    return level <= kLongestPath &&
           CreateDirectoryW(path.Left(static_cast<int>(level)), nullptr) != FALSE;
}

int RemoveLevel(const CStringW& path, size_t level)
{
    // What stands for a drive is never removed. That of a missing directory has every bit set.
    constexpr size_t kDriveLength = 2;
    const bool isDirectory = (AttributesOf(path, level) & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (!isDirectory || level <= kDriveLength)
    {
        return 1;
    }
    if (level > kLongestPath)
    {
        return 0;
    }
    const CStringW directory = path.Left(static_cast<int>(level));
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
    const std::wstring_view path = ViewOf(sPath);
    if (path.empty())
    {
        return 0;
    }
    int result = 1;
    for (size_t level = LastExistingLevel(sPath); level < path.size();)
    {
        level = LevelBelow(path, level);
        result = CreateLevel(sPath, level);
    }
    return result;
}

int CSFunc::s_F_n_RemoveDirectorys(CStringW sPath)
{
    const std::wstring_view path = ViewOf(sPath);
    int result = 1;
    size_t level = path.size();
    do
    {
        result = RemoveLevel(sPath, level);
        level = LevelAbove(path, level);
    } while (level != 0);
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
