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
