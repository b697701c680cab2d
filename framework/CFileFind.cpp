#include <afx.h>

namespace
{

// The directory part of a path, made absolute as of now.
CString RootOf(LPCTSTR pstrName)
{
    const DWORD room = GetFullPathName(pstrName, 0, nullptr, nullptr);
    CString path;
    LPTSTR buffer = path.GetBuffer(static_cast<int>(room));
    const DWORD length = GetFullPathName(pstrName, room, buffer, nullptr);
    path.ReleaseBuffer(length < room ? static_cast<int>(length) : 0);
    const int separator = path.ReverseFind(_T('\\'));
    // The root directory of a drive is named with its backslash.
    const bool isDriveRoot = separator == 2 && path[1] == _T(':');
    return path.Left(isDriveRoot ? separator + 1 : separator);
}

}  // namespace

CFileFind::CFileFind() = default;

CFileFind::~CFileFind()
{
    Close();
}

BOOL CFileFind::FindFile(LPCTSTR pstrName, DWORD /*dwUnused*/)
{
    Close();
    const CString name(pstrName == nullptr ? _T("*.*") : pstrName);
    m_strRoot = RootOf(name);
    m_hContext = FindFirstFile(name, &m_next);
    return m_hContext != INVALID_HANDLE_VALUE;
}

BOOL CFileFind::FindNextFile()
{
    if (m_hContext == INVALID_HANDLE_VALUE)
    {
        return FALSE;
    }
    // The platform is always one file ahead, so that this one can be told to be the last.
    m_found = m_next;
    m_bHasFound = true;
    return ::FindNextFile(m_hContext, &m_next);
}

void CFileFind::Close()
{
    if (m_hContext != INVALID_HANDLE_VALUE)
    {
        FindClose(m_hContext);
        m_hContext = INVALID_HANDLE_VALUE;
    }
    m_strRoot.Empty();
    m_bHasFound = false;
    m_found = {};
    m_next = {};
}

CString CFileFind::GetRoot() const
{
    return m_strRoot;
}

CString CFileFind::GetFileName() const
{
    return CString(m_found.cFileName);
}

CString CFileFind::GetFilePath() const
{
    if (!m_bHasFound)
    {
        return CString();
    }
    CString path(m_strRoot);
    if (path.IsEmpty() || path[path.GetLength() - 1] != _T('\\'))
    {
        path += _T('\\');
    }
    return path + GetFileName();
}

ULONGLONG CFileFind::GetLength() const
{
    return static_cast<ULONGLONG>(m_found.nFileSizeHigh) << 32 | m_found.nFileSizeLow;
}

BOOL CFileFind::IsDots() const
{
    return IsDirectory() && (GetFileName() == _T(".") || GetFileName() == _T(".."));
}

BOOL CFileFind::IsDirectory() const
{
    return MatchesMask(FILE_ATTRIBUTE_DIRECTORY);
}

BOOL CFileFind::IsReadOnly() const
{
    return MatchesMask(FILE_ATTRIBUTE_READONLY);
}

BOOL CFileFind::IsHidden() const
{
    return MatchesMask(FILE_ATTRIBUTE_HIDDEN);
}

BOOL CFileFind::IsSystem() const
{
    return MatchesMask(FILE_ATTRIBUTE_SYSTEM);
}

BOOL CFileFind::IsArchived() const
{
    return MatchesMask(FILE_ATTRIBUTE_ARCHIVE);
}

BOOL CFileFind::IsCompressed() const
{
    return MatchesMask(FILE_ATTRIBUTE_COMPRESSED);
}

BOOL CFileFind::IsTemporary() const
{
    return MatchesMask(FILE_ATTRIBUTE_TEMPORARY);
}

BOOL CFileFind::IsNormal() const
{
    return MatchesMask(FILE_ATTRIBUTE_NORMAL);
}

BOOL CFileFind::MatchesMask(DWORD dwMask) const
{
    return (m_found.dwFileAttributes & dwMask) != 0;
}

BOOL CFileFind::GetCreationTime(FILETIME* pTimeStamp) const
{
    return GetTime(&WIN32_FIND_DATA::ftCreationTime, pTimeStamp);
}

BOOL CFileFind::GetLastAccessTime(FILETIME* pTimeStamp) const
{
    return GetTime(&WIN32_FIND_DATA::ftLastAccessTime, pTimeStamp);
}

BOOL CFileFind::GetLastWriteTime(FILETIME* pTimeStamp) const
{
    return GetTime(&WIN32_FIND_DATA::ftLastWriteTime, pTimeStamp);
}

BOOL CFileFind::GetTime(FILETIME WIN32_FIND_DATA::*pTime, FILETIME* pTimeStamp) const
{
    if (!m_bHasFound || pTimeStamp == nullptr)
    {
        return FALSE;
    }
    *pTimeStamp = m_found.*pTime;
    return TRUE;
}
