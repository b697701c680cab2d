/// @file
/// The framework's ground: the platform's headers in the right order, the root class, the
/// exceptions and the diagnostic macros.
#pragma once

// Before windows.h, which may bring the older winsock.h otherwise.
#include <winsock2.h>

#include <windows.h>

#include <tchar.h>

#include <cassert>
#include <cstdarg>

#include "afxapi.h"
#include "atlstr.h"

/// Checks a condition while `_DEBUG` is defined, and does not evaluate it otherwise.
#if defined(_DEBUG)
#define ASSERT(condition) assert(condition)
#else
#define ASSERT(condition) ((void)0)
#endif

/// Like ASSERT, but evaluates the condition always.
#if defined(_DEBUG)
#define VERIFY(condition) assert(condition)
#else
#define VERIFY(condition) ((void)(condition))
#endif

/// The root of most classes of the framework; its descendants cannot be copied.
class AFX_API CObject
{
public:
    virtual ~CObject();

    CObject(const CObject&) = delete;
    CObject& operator=(const CObject&) = delete;

protected:
    CObject();
};

/// The root of the framework's exceptions, which are thrown by pointer: `catch (CException* e)`,
/// and the handler that lets it end there calls Delete().
class AFX_API CException : public CObject
{
public:
    /// @param bAutoDelete TRUE when the exception was made with `new`: Delete() then deletes it.
    explicit CException(BOOL bAutoDelete = TRUE);

    /// Deletes the exception if it lies on the heap. Never use `delete` for it.
    void Delete();

    /// Gets a text about the error.
    /// @param nMaxError room in @p lpszError in characters, with the terminator; a longer text is
    /// cut.
    /// @param pnHelpContext if not null, receives the help context, which is 0.
    /// @return 0 when there is no text; @p lpszError is empty then.
    virtual BOOL GetErrorMessage(LPTSTR lpszError, UINT nMaxError,
                                 PUINT pnHelpContext = nullptr) const;

private:
    BOOL m_bAutoDelete;
};

/// Base of the exceptions that stand for one resource each and carry a fixed text.
class AFX_API CSimpleException : public CException
{
public:
    BOOL GetErrorMessage(LPTSTR lpszError, UINT nMaxError,
                         PUINT pnHelpContext = nullptr) const override;

protected:
    CSimpleException(BOOL bAutoDelete, LPCTSTR pszMessage);

private:
    LPCTSTR m_pszMessage;
};

/// Out of memory.
class AFX_API CMemoryException : public CSimpleException
{
public:
    explicit CMemoryException(BOOL bAutoDelete = TRUE);
};

/// A request for an operation that is not supported.
class AFX_API CNotSupportedException : public CSimpleException
{
public:
    explicit CNotSupportedException(BOOL bAutoDelete = TRUE);
};

/// An argument that is not valid.
class AFX_API CInvalidArgException : public CSimpleException
{
public:
    explicit CInvalidArgException(BOOL bAutoDelete = TRUE);
};

/// A resource of the platform that could not be found or made.
class AFX_API CResourceException : public CSimpleException
{
public:
    explicit CResourceException(BOOL bAutoDelete = TRUE);
};

/// Stops an operation of the end user.
class AFX_API CUserException : public CSimpleException
{
public:
    explicit CUserException(BOOL bAutoDelete = TRUE);
};

[[noreturn]] AFX_API void AfxThrowMemoryException();
[[noreturn]] AFX_API void AfxThrowNotSupportedException();
[[noreturn]] AFX_API void AfxThrowInvalidArgException();
[[noreturn]] AFX_API void AfxThrowResourceException();
[[noreturn]] AFX_API void AfxThrowUserException();

/// What went wrong with a file.
class AFX_API CFileException : public CException
{
public:
    enum
    {
        none,
        genericException,
        fileNotFound,
        badPath,
        tooManyOpenFiles,
        accessDenied,
        invalidFile,
        removeCurrentDir,
        directoryFull,
        badSeek,
        hardIO,
        sharingViolation,
        lockViolation,
        diskFull,
        endOfFile
    };

    /// @param cause one of the values above.
    /// @param lOsError the platform's error code, or -1 when there is none.
    explicit CFileException(int cause = none, LONG lOsError = -1,
                            LPCTSTR lpszArchiveName = nullptr);
    ~CFileException() override;

    /// @return the cause that stands for a code of the platform.
    static int OsErrorToException(LONG lOsError);

    /// Throws the exception for a code of the platform.
    [[noreturn]] static void ThrowOsError(LONG lOsError, LPCTSTR lpszFileName = nullptr);

    /// The platform's text; there is none without a code of the platform.
    BOOL GetErrorMessage(LPTSTR lpszError, UINT nMaxError,
                         PUINT pnHelpContext = nullptr) const override;

    int m_cause;
    LONG m_lOsError;
    CString m_strFileName;
};

[[noreturn]] AFX_API void AfxThrowFileException(int cause, LONG lOsError = -1,
                                                LPCTSTR lpszFileName = nullptr);

/// A file of the disk, read and written in bytes and without a buffer of its own.
///
/// A failure throws CFileException, unless said otherwise.
class AFX_API CFile : public CObject
{
public:
    /// How a file is opened: one of each group of values, and any of the single ones.
    enum OpenFlags : UINT
    {
        modeRead = 0x00000,
        modeWrite = 0x00001,
        modeReadWrite = 0x00002,

        shareCompat = 0x00000,  ///< as shareExclusive
        shareExclusive = 0x00010,
        shareDenyWrite = 0x00020,
        shareDenyRead = 0x00030,
        shareDenyNone = 0x00040,

        modeNoInherit = 0x00080,   ///< child processes do not inherit the handle
        modeCreate = 0x01000,      ///< makes the file, or empties it if it exists
        modeNoTruncate = 0x02000,  ///< with modeCreate: keeps the contents if the file exists

        typeText = 0x04000,  ///< for derived classes
        typeBinary = 0x08000,

        osNoBuffer = 0x10000,
        osWriteThrough = 0x20000,
        osRandomAccess = 0x40000,
        osSequentialScan = 0x80000
    };

    /// What an offset counts from.
    enum SeekPosition : UINT
    {
        begin,
        current,
        end
    };

    /// The handle of a file that is not open.
    static const HANDLE hFileNull;

    /// Opens nothing.
    CFile();

    /// Works on a file that is already open. It is closed by Close(), not by the destructor.
    explicit CFile(HANDLE hFile);

    /// Opens a file, as Open() does, but throws when it fails.
    CFile(LPCTSTR lpszFileName, UINT nOpenFlags);

    /// Closes the file if this object has opened it; never throws.
    ~CFile() override;

    operator HANDLE() const { return m_hFile; }

    /// Opens a file. Never throws a CFileException. A file that this object has opened before is
    /// closed.
    /// @param pError if not null, is told what went wrong.
    /// @return not 0 when the file is open.
    virtual BOOL Open(LPCTSTR lpszFileName, UINT nOpenFlags, CFileException* pError = nullptr);

    /// @return the file's full path, or an empty text.
    virtual CString GetFilePath() const;
    /// @return the last part of the path.
    virtual CString GetFileName() const;
    /// Changes what the two above tell; the file stays the same.
    virtual void SetFilePath(LPCTSTR lpszNewName);

    virtual ULONGLONG GetPosition() const;
    virtual ULONGLONG GetLength() const;
    /// Sets the length; the position is the file's end then.
    virtual void SetLength(ULONGLONG dwNewLen);

    /// Moves the position, also past the end.
    /// @param nFrom a #SeekPosition.
    /// @return the new position, counted from the file's begin.
    virtual ULONGLONG Seek(LONGLONG lOff, UINT nFrom);
    void SeekToBegin();
    /// @return the file's length.
    ULONGLONG SeekToEnd();

    /// Reads up to @p nCount bytes.
    /// @return how many were read; fewer than asked for at the file's end.
    virtual UINT Read(void* lpBuf, UINT nCount);

    /// Writes all bytes, or throws.
    virtual void Write(const void* lpBuf, UINT nCount);

    /// Has the platform write what it holds back. Does nothing when no file is open.
    virtual void Flush();

    /// Closes the file. Does nothing when no file is open.
    virtual void Close();

    /// As Close(), but never throws.
    virtual void Abort();

    HANDLE m_hFile;  ///< the platform's handle; #hFileNull when no file is open

protected:
    BOOL m_bCloseOnDelete;  ///< whether the destructor closes the file
    CString m_strFileName;  ///< the full path

private:
    [[noreturn]] void ThrowLastError() const;
};
