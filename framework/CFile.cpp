#include <afx.h>

#include <algorithm>
#include <utility>

namespace
{

constexpr LONG kNoCode = -1;

DWORD AccessOf(UINT flags)
{
    switch (flags & (CFile::modeWrite | CFile::modeReadWrite))
    {
        case CFile::modeWrite:
            return GENERIC_WRITE;
        case CFile::modeReadWrite:
            return GENERIC_READ | GENERIC_WRITE;
        default:
            return GENERIC_READ;
    }
}

DWORD SharingOf(UINT flags)
{
    constexpr UINT kShareMask = 0x70;
    switch (flags & kShareMask)
    {
        case CFile::shareDenyWrite:
            return FILE_SHARE_READ;
        case CFile::shareDenyRead:
            return FILE_SHARE_WRITE;
        case CFile::shareDenyNone:
            return FILE_SHARE_READ | FILE_SHARE_WRITE;
        default:
            return 0;
    }
}

DWORD CreationOf(UINT flags)
{
    if ((flags & CFile::modeCreate) == 0)
    {
        return OPEN_EXISTING;
    }
    return (flags & CFile::modeNoTruncate) != 0 ? OPEN_ALWAYS : CREATE_ALWAYS;
}

DWORD AttributesOf(UINT flags)
{
    constexpr std::pair<UINT, DWORD> kHints[] = {
        {CFile::osNoBuffer, FILE_FLAG_NO_BUFFERING},
        {CFile::osWriteThrough, FILE_FLAG_WRITE_THROUGH},
        {CFile::osRandomAccess, FILE_FLAG_RANDOM_ACCESS},
        {CFile::osSequentialScan, FILE_FLAG_SEQUENTIAL_SCAN},
    };
    DWORD attributes = FILE_ATTRIBUTE_NORMAL;
    for (const auto& [flag, attribute] : kHints)
    {
        attributes |= (flags & flag) != 0 ? attribute : 0;
    }
    return attributes;
}

CString FullPathOf(LPCTSTR path)
{
    const DWORD size = GetFullPathName(path, 0, nullptr, nullptr);
    CString full;
    if (size == 0)
    {
        return full;
    }
    const DWORD length =
        GetFullPathName(path, size, full.GetBuffer(static_cast<int>(size)), nullptr);
    // The current folder may have changed between the two.
    full.ReleaseBufferSetLength(length < size ? static_cast<int>(length) : 0);
    return full;
}

}  // namespace

// ---- CFileException -----------------------------------------------------------------------------

CFileException::CFileException(int cause, LONG lOsError, LPCTSTR lpszArchiveName)
    : m_cause(cause), m_lOsError(lOsError), m_strFileName(lpszArchiveName)
{
}

CFileException::~CFileException() = default;

int CFileException::OsErrorToException(LONG lOsError)
{
    switch (lOsError)
    {
        case NO_ERROR:
            return none;
        case ERROR_FILE_NOT_FOUND:
            return fileNotFound;
        case ERROR_PATH_NOT_FOUND:
        case ERROR_INVALID_DRIVE:
        case ERROR_BAD_NETPATH:
        case ERROR_BAD_NET_NAME:
        case ERROR_INVALID_NAME:
        case ERROR_BAD_PATHNAME:
        case ERROR_FILENAME_EXCED_RANGE:
        case ERROR_DIRECTORY:
            return badPath;
        case ERROR_TOO_MANY_OPEN_FILES:
            return tooManyOpenFiles;
        case ERROR_ACCESS_DENIED:
        case ERROR_WRITE_PROTECT:
        case ERROR_NETWORK_ACCESS_DENIED:
        case ERROR_FILE_EXISTS:
        case ERROR_ALREADY_EXISTS:
        case ERROR_CANNOT_MAKE:
            return accessDenied;
        case ERROR_INVALID_HANDLE:
        case ERROR_INVALID_TARGET_HANDLE:
            return invalidFile;
        case ERROR_CURRENT_DIRECTORY:
            return removeCurrentDir;
        case ERROR_SEEK:
        case ERROR_NEGATIVE_SEEK:
        case ERROR_SEEK_ON_DEVICE:
            return badSeek;
        case ERROR_CRC:
        case ERROR_BAD_UNIT:
        case ERROR_NOT_READY:
        case ERROR_SECTOR_NOT_FOUND:
        case ERROR_WRITE_FAULT:
        case ERROR_READ_FAULT:
        case ERROR_GEN_FAILURE:
        case ERROR_IO_DEVICE:
            return hardIO;
        case ERROR_SHARING_VIOLATION:
            return sharingViolation;
        case ERROR_LOCK_VIOLATION:
        case ERROR_NOT_LOCKED:
        case ERROR_LOCK_FAILED:
            return lockViolation;
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
            return diskFull;
        case ERROR_HANDLE_EOF:
            return endOfFile;
        default:
            return genericException;
    }
}

void CFileException::ThrowOsError(LONG lOsError, LPCTSTR lpszFileName)
{
    AfxThrowFileException(OsErrorToException(lOsError), lOsError, lpszFileName);
}

BOOL CFileException::GetErrorMessage(LPTSTR lpszError, UINT nMaxError, PUINT pnHelpContext) const
{
    CException::GetErrorMessage(lpszError, nMaxError, pnHelpContext);
    if (lpszError == nullptr || nMaxError == 0 || m_lOsError == kNoCode)
    {
        return FALSE;
    }
    return FormatMessage(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                         static_cast<DWORD>(m_lOsError), 0, lpszError, nMaxError, nullptr) != 0;
}

void AfxThrowFileException(int cause, LONG lOsError, LPCTSTR lpszFileName)
{
    throw new CFileException(cause, lOsError, lpszFileName);
}

// ---- CFile --------------------------------------------------------------------------------------

const HANDLE CFile::hFileNull = INVALID_HANDLE_VALUE;

CFile::CFile() : m_hFile(INVALID_HANDLE_VALUE), m_bCloseOnDelete(FALSE) {}

CFile::CFile(HANDLE hFile) : m_hFile(hFile), m_bCloseOnDelete(FALSE) {}

CFile::CFile(LPCTSTR lpszFileName, UINT nOpenFlags) : CFile()
{
    CFileException error;
    if (!CFile::Open(lpszFileName, nOpenFlags, &error))
    {
        AfxThrowFileException(error.m_cause, error.m_lOsError, error.m_strFileName);
    }
}

CFile::~CFile()
{
    if (m_bCloseOnDelete)
    {
        CFile::Abort();
    }
}

BOOL CFile::Open(LPCTSTR lpszFileName, UINT nOpenFlags, CFileException* pError)
{
    if (m_bCloseOnDelete)
    {
        CFile::Abort();
    }
    SECURITY_ATTRIBUTES security = {sizeof(security), nullptr, (nOpenFlags & modeNoInherit) == 0};
    const CString path = FullPathOf(lpszFileName);
    const HANDLE file = CreateFile(path, AccessOf(nOpenFlags), SharingOf(nOpenFlags), &security,
                                   CreationOf(nOpenFlags), AttributesOf(nOpenFlags), nullptr);
    if (file == INVALID_HANDLE_VALUE)
    {
        if (pError != nullptr)
        {
            pError->m_lOsError = static_cast<LONG>(GetLastError());
            pError->m_cause = CFileException::OsErrorToException(pError->m_lOsError);
            pError->m_strFileName = lpszFileName;
        }
        return FALSE;
    }
    m_hFile = file;
    m_bCloseOnDelete = TRUE;
    m_strFileName = path;
    return TRUE;
}

CString CFile::GetFilePath() const
{
    return m_strFileName;
}

CString CFile::GetFileName() const
{
    const int lastSeparator =
        std::max(m_strFileName.ReverseFind(_T('\\')), m_strFileName.ReverseFind(_T('/')));
    return m_strFileName.Mid(lastSeparator + 1);
}

void CFile::SetFilePath(LPCTSTR lpszNewName)
{
    m_strFileName = lpszNewName;
}

ULONGLONG CFile::GetPosition() const
{
    return const_cast<CFile*>(this)->CFile::Seek(0, current);
}

ULONGLONG CFile::GetLength() const
{
    LARGE_INTEGER length = {};
    if (!GetFileSizeEx(m_hFile, &length))
    {
        ThrowLastError();
    }
    return static_cast<ULONGLONG>(length.QuadPart);
}

void CFile::SetLength(ULONGLONG dwNewLen)
{
    Seek(static_cast<LONGLONG>(dwNewLen), begin);
    if (!SetEndOfFile(m_hFile))
    {
        ThrowLastError();
    }
}

ULONGLONG CFile::Seek(LONGLONG lOff, UINT nFrom)
{
    LARGE_INTEGER offset = {};
    offset.QuadPart = lOff;
    LARGE_INTEGER position = {};
    if (!SetFilePointerEx(m_hFile, offset, &position, nFrom))
    {
        ThrowLastError();
    }
    return static_cast<ULONGLONG>(position.QuadPart);
}

void CFile::SeekToBegin()
{
    Seek(0, begin);
}

ULONGLONG CFile::SeekToEnd()
{
    return Seek(0, end);
}

UINT CFile::Read(void* lpBuf, UINT nCount)
{
    if (nCount == 0)
    {
        return 0;
    }
    DWORD count = 0;
    if (!ReadFile(m_hFile, lpBuf, nCount, &count, nullptr))
    {
        ThrowLastError();
    }
    return count;
}

void CFile::Write(const void* lpBuf, UINT nCount)
{
    if (nCount == 0)
    {
        return;
    }
    DWORD count = 0;
    if (!WriteFile(m_hFile, lpBuf, nCount, &count, nullptr))
    {
        ThrowLastError();
    }
    if (count != nCount)
    {
        AfxThrowFileException(CFileException::diskFull, kNoCode, m_strFileName);
    }
}

void CFile::Flush()
{
    if (m_hFile != INVALID_HANDLE_VALUE && !FlushFileBuffers(m_hFile))
    {
        ThrowLastError();
    }
}

void CFile::Close()
{
    const HANDLE file = std::exchange(m_hFile, INVALID_HANDLE_VALUE);
    m_bCloseOnDelete = FALSE;
    const CString path = m_strFileName;
    m_strFileName.Empty();
    if (file != INVALID_HANDLE_VALUE && !CloseHandle(file))
    {
        CFileException::ThrowOsError(static_cast<LONG>(GetLastError()), path);
    }
}

void CFile::Abort()
{
    if (m_hFile != INVALID_HANDLE_VALUE)
    {
        CloseHandle(m_hFile);
        m_hFile = INVALID_HANDLE_VALUE;
    }
    m_bCloseOnDelete = FALSE;
    m_strFileName.Empty();
}

void CFile::ThrowLastError() const
{
    CFileException::ThrowOsError(static_cast<LONG>(GetLastError()), m_strFileName);
}
