#include <afxdisp.h>
#include <afxmt.h>

CSyncObject::CSyncObject(LPCTSTR) : m_hObject(nullptr) {}

CSyncObject::~CSyncObject()
{
    if (m_hObject != nullptr)
    {
        CloseHandle(m_hObject);
    }
}

BOOL CSyncObject::Lock(DWORD dwTimeout)
{
    const DWORD result = WaitForSingleObject(m_hObject, dwTimeout);
    return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

CCriticalSection::CCriticalSection() : CSyncObject(nullptr)
{
    if (InitializeCriticalSectionAndSpinCount(&m_sect, 0))
    {
        return;
    }
    const HRESULT result = HRESULT_FROM_WIN32(GetLastError());
    if (result == E_OUTOFMEMORY)
    {
        AfxThrowMemoryException();
    }
    AfxThrowOleException(result);
}

CCriticalSection::~CCriticalSection()
{
    DeleteCriticalSection(&m_sect);
}

BOOL CCriticalSection::Lock()
{
    EnterCriticalSection(&m_sect);
    return TRUE;
}

BOOL CCriticalSection::Lock(DWORD)
{
    return Lock();
}

BOOL CCriticalSection::Unlock()
{
    LeaveCriticalSection(&m_sect);
    return TRUE;
}

CSingleLock::CSingleLock(CSyncObject* pObject, BOOL bInitialLock)
    : m_pObject(pObject), m_bAcquired(FALSE)
{
    if (pObject == nullptr)
    {
        AfxThrowInvalidArgException();
    }
    if (bInitialLock)
    {
        Lock();
    }
}

CSingleLock::~CSingleLock()
{
    Unlock();
}

BOOL CSingleLock::Lock(DWORD dwTimeOut)
{
    ASSERT(!m_bAcquired);
    m_bAcquired = m_pObject->Lock(dwTimeOut);
    return m_bAcquired;
}

BOOL CSingleLock::Unlock()
{
    if (m_bAcquired)
    {
        m_bAcquired = !m_pObject->Unlock();
    }
    return !m_bAcquired;
}
