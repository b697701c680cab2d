/// @file
/// Locks.
#pragma once

#include "afx.h"

/// Base of what CSingleLock can hold.
class AFX_API CSyncObject : public CObject
{
public:
    explicit CSyncObject(LPCTSTR pstrName);
    ~CSyncObject() override;

    operator HANDLE() const { return m_hObject; }

    /// Waits for the object.
    /// @return not 0 when it was obtained within @p dwTimeout milliseconds.
    virtual BOOL Lock(DWORD dwTimeout = INFINITE);
    virtual BOOL Unlock() = 0;

    HANDLE m_hObject;  ///< the platform's object, or null; closed by the destructor
};

/// A lock for the threads of one process, which the thread that holds it may enter again.
class AFX_API CCriticalSection : public CSyncObject
{
public:
    /// Throws CMemoryException when memory is short, COleException when anything else fails.
    CCriticalSection();
    ~CCriticalSection() override;

    operator CRITICAL_SECTION*() { return &m_sect; }

    /// Waits, without limit, until the lock is free, and enters it.
    BOOL Lock();

    /// As Lock(): the time-out is ignored.
    BOOL Lock(DWORD dwTimeout) override;

    BOOL Unlock() override;

    CRITICAL_SECTION m_sect;
};

/// Holds a lock, and releases it at the latest at the end of its own life.
class AFX_API CSingleLock
{
public:
    /// @param pObject must outlive this one; null throws CInvalidArgException.
    /// @param bInitialLock TRUE waits for the object at once.
    explicit CSingleLock(CSyncObject* pObject, BOOL bInitialLock = FALSE);
    ~CSingleLock();

    CSingleLock(const CSingleLock&) = delete;
    CSingleLock& operator=(const CSingleLock&) = delete;

    /// @return not 0 when the object was obtained within @p dwTimeOut milliseconds.
    BOOL Lock(DWORD dwTimeOut = INFINITE);

    /// @return not 0 when the object is held no longer.
    BOOL Unlock();

    BOOL IsLocked() { return m_bAcquired; }

private:
    CSyncObject* m_pObject;
    BOOL m_bAcquired;
};
