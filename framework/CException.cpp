#include <afx.h>
#include <afxdisp.h>

namespace
{

void ClearHelpContext(PUINT pnHelpContext)
{
    if (pnHelpContext != nullptr)
    {
        *pnHelpContext = 0;
    }
}

// The exception is not made when it is needed, for memory may be short then.
template <typename Exception>
[[noreturn]] void ThrowStatic()
{
    static Exception exception(FALSE);
    throw &exception;
}

}  // namespace

CObject::CObject() = default;
CObject::~CObject() = default;

CException::CException(BOOL bAutoDelete) : m_bAutoDelete(bAutoDelete) {}

void CException::Delete()
{
    if (m_bAutoDelete)
    {
        delete this;
    }
}

BOOL CException::GetErrorMessage(LPTSTR lpszError, UINT nMaxError, PUINT pnHelpContext) const
{
    ClearHelpContext(pnHelpContext);
    if (lpszError != nullptr && nMaxError > 0)
    {
        *lpszError = _T('\0');
    }
    return FALSE;
}

CSimpleException::CSimpleException(BOOL bAutoDelete, LPCTSTR pszMessage)
    : CException(bAutoDelete), m_pszMessage(pszMessage)
{
}

BOOL CSimpleException::GetErrorMessage(LPTSTR lpszError, UINT nMaxError, PUINT pnHelpContext) const
{
    ClearHelpContext(pnHelpContext);
    if (lpszError == nullptr || nMaxError == 0)
    {
        return FALSE;
    }
    lstrcpyn(lpszError, m_pszMessage, static_cast<int>(nMaxError));
    return TRUE;
}

CMemoryException::CMemoryException(BOOL bAutoDelete)
    : CSimpleException(bAutoDelete, _T("Out of memory."))
{
}

CNotSupportedException::CNotSupportedException(BOOL bAutoDelete)
    : CSimpleException(bAutoDelete, _T("The operation is not supported."))
{
}

CInvalidArgException::CInvalidArgException(BOOL bAutoDelete)
    : CSimpleException(bAutoDelete, _T("An argument is not valid."))
{
}

CResourceException::CResourceException(BOOL bAutoDelete)
    : CSimpleException(bAutoDelete, _T("A resource is not available."))
{
}

CUserException::CUserException(BOOL bAutoDelete)
    : CSimpleException(bAutoDelete, _T("The operation was stopped."))
{
}

COleException::COleException() : m_sc(S_OK) {}

BOOL COleException::GetErrorMessage(LPTSTR lpszError, UINT nMaxError, PUINT pnHelpContext) const
{
    CException::GetErrorMessage(lpszError, nMaxError, pnHelpContext);
    if (lpszError == nullptr || nMaxError == 0)
    {
        return FALSE;
    }
    return FormatMessage(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                         static_cast<DWORD>(m_sc), 0, lpszError, nMaxError, nullptr) != 0;
}

void AfxThrowMemoryException()
{
    ThrowStatic<CMemoryException>();
}

void AfxThrowNotSupportedException()
{
    ThrowStatic<CNotSupportedException>();
}

void AfxThrowInvalidArgException()
{
    ThrowStatic<CInvalidArgException>();
}

void AfxThrowResourceException()
{
    ThrowStatic<CResourceException>();
}

void AfxThrowUserException()
{
    ThrowStatic<CUserException>();
}

void AfxThrowOleException(SCODE sc)
{
    COleException* exception = new COleException;
    exception->m_sc = sc;
    throw exception;
}
