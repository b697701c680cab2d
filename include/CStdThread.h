/// @file
/// A thread that does its work over and over.
#pragma once

#include <afxwin.h>

#include <atomic>

#include "LibOstrelExport.h"

/// Calls one work function over and over on a thread of its own, until it is told to stop, and
/// sleeps between the calls for as long as the work function asks.
///
/// The work function is a plain function with an argument or, when none is given, m_F_n_ThredRun(),
/// which a derived class overrides. Its result says what comes next:
///
/// | Result | Before the next call |
/// |---|---|
/// | #vs_nNoSleep | nothing |
/// | 0 to 50 | one sleep of that many milliseconds |
/// | more | a wait of that many milliseconds in slices of 50, ended within a slice by a stop; from
/// 2^31 on, which counts as negative, a single slice |
///
/// A stop waits for the work function to return; one that blocks for longer than the time-out is
/// terminated, and what it held (locks, memory) stays as it is. For a short time a place is looked
/// for where it holds no lock of the heap or the loader, by which the whole process lives; if there
/// is none, it is terminated wherever it is. The work function lets no C++ exception out.
///
/// **Derived classes** that override m_F_n_ThredRun() call m_F_n_CloseThread() in their own
/// destructor: when this class's destructor runs, their part of the object is gone already. The
/// destructor is not virtual, so an object is deleted as what it is.
///
/// **Threads.** One thread at a time, the owner, uses an object; only m_S_SetStopFlag() may be
/// called by any thread, the worker included. The worker never calls m_F_n_CloseThread() or
/// m_F_b_IsCreate(), creates nothing on its own object and does not destroy it.
class OSTREL_API CStdThread
{
public:
    /// No thread; counts as stopped.
    CStdThread();

    /// Copies all fields, on purpose the handle too; see operator=().
    CStdThread(const CStdThread& other);

    /// m_F_n_CloseThread() with 3000 ms.
    ~CStdThread();

    /// Copies all fields as they stand, on purpose: both objects then hold one thread's handle, and
    /// the caller sees to it that only one of them closes it, for instance by setting #vm_hThread
    /// to null in the other. A running thread goes on working on the object it was started with,
    /// and clears that one's identifier only. A thread held before is not closed.
    CStdThread& operator=(const CStdThread& other);

    /// The work, when no work function was given. This one does nothing.
    /// @return what comes next, as with the class: 1000 here, one call a second.
    virtual unsigned int m_F_n_ThredRun();

    /// Starts the thread. An earlier one is closed first, as by m_F_n_CloseThread() with 3000 ms.
    /// @param pfn the work function; null: m_F_n_ThredRun(). It is called once at least, unless the
    /// stop flag is set before the thread has begun.
    /// @param pParam its argument, not owned.
    /// @return 1; 0 when no thread could be started, which is written to the debugger output.
    int m_F_n_CreaetThread(unsigned int (*pfn)(void* pParam), void* pParam);

    /// As m_F_n_CreaetThread(), but the thread ends by itself, without a sleep, after @p nCount
    /// calls.
    /// @param nCount the number of calls; 0 or less: 1.
    int m_F_n_CreaetThreadByCount(int nCount, unsigned int (*pfn)(void* pParam), void* pParam);

    /// Stops the thread, if there is one, and closes its handle.
    ///
    /// A thread that has not ended within the time-out is terminated, which is written to the
    /// debugger output. That takes up to about a second more, in which a safe place is looked for,
    /// and up to another one until the thread is gone. One that has cleared its identifier, and so
    /// is on its way out, is first given up to 2 seconds more to end by itself.
    /// @param nTimeoutMS milliseconds; -1: without limit.
    /// @return 1 when the time-out had passed, also if the thread then ended by itself; 0
    /// otherwise, also when there was none.
    int m_F_n_CloseThread(int nTimeoutMS);

    /// Tells the thread to stop and does not wait for it. Its handle stays until
    /// m_F_n_CloseThread() or m_F_b_IsCreate().
    void m_S_SetStopFlag();

    /// @return true while the thread runs. The handle of one that has ended by itself is closed, as
    /// by m_F_n_CloseThread() with 100 ms.
    bool m_F_b_IsCreate();

    /// The threads' functions. Not for clients.
    /// @param pThis the object; null returns 0, otherwise the calling thread ends in here.
    /// @return 0.
    static unsigned int __stdcall m_S_ThreadProc(void* pThis);
    static unsigned int __stdcall m_S_ThreadProcByCount(void* pThis);

    static const int vs_nMaxSleepMS;        ///< the longest single sleep, in milliseconds: 50
    static const unsigned int vs_nNoSleep;  ///< the result for "again at once": 0xFEDCBA98

    unsigned int (*vm_pfnThread)(void* pParam);  ///< the work function; null at first
    HANDLE vm_hThread;                           ///< the thread; null while there is none
    /// The thread's identifier; 0 while no thread runs. The thread itself clears it when it ends.
    std::atomic<unsigned int> vm_nThreadID;
    std::atomic<bool> vm_bStop;  ///< tells the thread to stop; true while there is none
    void* vm_pParam;             ///< the work function's argument; null at first
    int vm_nCount;               ///< the number of calls of the counted thread; 0 at first

protected:
    /// A sleep for the work of a derived class, which a stop ends within 50 ms. Returns at once
    /// when the stop flag is set already, and otherwise sleeps for 50 ms at least, on purpose.
    /// @param nMS milliseconds.
    void m_S_Sleep(int nMS);
};

static_assert(sizeof(std::atomic<unsigned int>) == 4 && sizeof(std::atomic<bool>) == 1 &&
                  std::atomic<unsigned int>::is_always_lock_free,
              "what two threads touch is as wide as its plain value");
static_assert(sizeof(CStdThread) == 48, "the fields, behind the one table of virtual members");
