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

/// Marks a handler of messages.
#define afx_msg

class CObject;

/// What is known of a class while the program runs; each class that uses #DECLARE_DYNAMIC has one.
struct AFX_API CRuntimeClass
{
    LPCSTR m_lpszClassName;                       ///< the class's name
    int m_nObjectSize;                            ///< the size of one of its objects in bytes
    CRuntimeClass*(PASCAL* m_pfnGetBaseClass)();  ///< gives its base class; null for CObject

    /// @return TRUE when the class is @p pBaseClass or derived from it.
    BOOL IsDerivedFrom(const CRuntimeClass* pBaseClass) const;
};

/// The root of most classes of the framework; its descendants cannot be copied.
class AFX_API CObject
{
public:
    /// @return the class of the object: the most derived one that uses #DECLARE_DYNAMIC.
    virtual CRuntimeClass* GetRuntimeClass() const;

    virtual ~CObject();

    CObject(const CObject&) = delete;
    CObject& operator=(const CObject&) = delete;

    /// @return TRUE when the object is of this class or of one derived from it.
    BOOL IsKindOf(const CRuntimeClass* pClass) const;

    static CRuntimeClass* PASCAL GetThisClass();
    static const CRuntimeClass classCObject;

protected:
    CObject();
};

/// In the declaration of a class derived from CObject: the class is known at run time. Every class
/// between it and CObject that is named as a base must be, too.
#define DECLARE_DYNAMIC(class_name)                          \
public:                                                      \
    static const CRuntimeClass class##class_name;            \
    static CRuntimeClass* PASCAL GetThisClass();             \
    virtual CRuntimeClass* GetRuntimeClass() const override; \
                                                             \
private:                                                     \
    static CRuntimeClass* PASCAL GetBaseClassOfThis();       \
                                                             \
public:

/// The bodies that belong to #DECLARE_DYNAMIC, once, in a source file.
// The base class is asked for by a function: where it is another module's, its address is no
// constant, and the information could be used before it is set.
#define IMPLEMENT_DYNAMIC(class_name, base_class_name)                                       \
    CRuntimeClass* PASCAL class_name::GetBaseClassOfThis()                                   \
    {                                                                                        \
        return base_class_name::GetThisClass();                                              \
    }                                                                                        \
    const CRuntimeClass class_name::class##class_name = {                                    \
        #class_name, static_cast<int>(sizeof(class_name)), &class_name::GetBaseClassOfThis}; \
    CRuntimeClass* PASCAL class_name::GetThisClass()                                         \
    {                                                                                        \
        return RUNTIME_CLASS(class_name);                                                    \
    }                                                                                        \
    CRuntimeClass* class_name::GetRuntimeClass() const                                       \
    {                                                                                        \
        return GetThisClass();                                                               \
    }

/// The run-time information of a class that uses #DECLARE_DYNAMIC.
#define RUNTIME_CLASS(class_name) (const_cast<CRuntimeClass*>(&class_name::class##class_name))

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

/// Finds files, one after another:
///
///     CFileFind finder;
///     BOOL isMore = finder.FindFile(L"C:\\records\\*.avi");
///     while (isMore)
///     {
///         isMore = finder.FindNextFile();
///         Use(finder.GetFilePath());
///     }
///
/// What a Get or Is member says is about the file that the last FindNextFile() has come to; before
/// the first, texts are empty and everything else is 0.
class AFX_API CFileFind : public CObject
{
public:
    CFileFind();
    ~CFileFind() override;

    /// Begins a search; one that was under way is closed.
    /// @param pstrName path and name, which may hold `*` and `?`; null: all of the current
    /// directory.
    /// @param dwUnused 0.
    /// @return not 0 when there is a file; otherwise GetLastError() says why not.
    virtual BOOL FindFile(LPCTSTR pstrName = nullptr, DWORD dwUnused = 0);

    /// Comes to the next file; the first time after FindFile(), to the first.
    /// @return not 0 when there are more files behind it; 0 when it is the last.
    virtual BOOL FindNextFile();

    /// Ends the search. Needed only before the object is used for something else than a new
    /// search.
    void Close();

    /// @return the directory that is searched, as a full path.
    virtual CString GetRoot() const;
    /// @return the name with its extension.
    virtual CString GetFileName() const;
    /// @return the full path.
    virtual CString GetFilePath() const;
    /// @return the size in bytes.
    ULONGLONG GetLength() const;

    /// @return not 0 for the two entries that stand for the directory itself and the one above it.
    virtual BOOL IsDots() const;
    BOOL IsDirectory() const;
    BOOL IsReadOnly() const;
    BOOL IsHidden() const;
    BOOL IsSystem() const;
    BOOL IsArchived() const;
    BOOL IsCompressed() const;
    BOOL IsTemporary() const;
    BOOL IsNormal() const;

    /// @return not 0 when the file has one of the attributes of the mask.
    virtual BOOL MatchesMask(DWORD dwMask) const;

    // Each returns FALSE, and leaves the time alone, when no file has been come to.
    virtual BOOL GetCreationTime(FILETIME* pTimeStamp) const;
    virtual BOOL GetLastAccessTime(FILETIME* pTimeStamp) const;
    virtual BOOL GetLastWriteTime(FILETIME* pTimeStamp) const;

private:
    BOOL GetTime(FILETIME WIN32_FIND_DATA::*pTime, FILETIME* pTimeStamp) const;

    HANDLE m_hContext = INVALID_HANDLE_VALUE;
    CString m_strRoot;
    bool m_bHasFound = false;
    WIN32_FIND_DATA m_found = {};
    WIN32_FIND_DATA m_next = {};
};
