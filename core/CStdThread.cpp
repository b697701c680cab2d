#include "CStdThread.h"

#include <process.h>

#include <cstdio>

#include "core/thread_termination.h"
#include "core/work_loop.h"

namespace core = ostrel::core;

namespace
{

constexpr int kDone = 1;
constexpr int kNotDone = 0;
constexpr int kTerminated = 1;
constexpr int kCloseWait = 3000;
constexpr int kReapWait = 100;

// Stands for the identifier of a thread that is being started. The platform's are multiples of 4.
constexpr unsigned int kStarting = 1;

// A thread that has left its work ends in a moment; terminated on its way out, it might take a lock
// of the loader with it.
constexpr DWORD kWayOutWait = 2000;

class ThreadWorker : public core::Worker
{
public:
    explicit ThreadWorker(CStdThread& thread) : vm_thread(thread) {}

    core::TimeValue Now() override { return core::CurrentTime(); }
    void Sleep(unsigned int milliseconds) override { ::Sleep(milliseconds); }
    bool IsStopped() override { return vm_thread.vm_bStop; }
    unsigned int Work() override
    {
        return vm_thread.vm_pfnThread != nullptr ? vm_thread.vm_pfnThread(vm_thread.vm_pParam)
                                                 : vm_thread.m_F_n_ThredRun();
    }
    bool IsEnough(std::int64_t) override { return false; }

protected:
    CStdThread& vm_thread;
};

class CountedThreadWorker final : public ThreadWorker
{
public:
    using ThreadWorker::ThreadWorker;

    bool IsEnough(std::int64_t calls) override { return calls >= vm_thread.vm_nCount; }
};

template <class WorkerOfThread>
unsigned int RunThread(void* object)
{
    if (object == nullptr)
    {
        return 0;
    }
    CStdThread& thread = *static_cast<CStdThread*>(object);
    thread.vm_nThreadID = GetCurrentThreadId();
    if (!thread.vm_bStop)
    {
        WorkerOfThread worker(thread);
        core::RunWorker(worker);
    }
    thread.vm_nThreadID = 0;
    // From here on the object may be gone.
    _endthreadex(0);
    return 0;
}

int Start(CStdThread& thread, unsigned int(__stdcall* entry)(void*), const char* error)
{
    // The identifier may be told when the thread has begun, or even ended. So it only takes the
    // place of what stands for it until then: what the thread itself has written stays.
    unsigned int starting = kStarting;
    unsigned int identifier = 0;
    thread.vm_nThreadID = starting;
    thread.vm_hThread =
        reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, entry, &thread, 0, &identifier));
    if (thread.vm_hThread == nullptr)
    {
        thread.vm_nThreadID = 0;
        OutputDebugStringA(error);
        return kNotDone;
    }
    thread.vm_nThreadID.compare_exchange_strong(starting, identifier);
    return kDone;
}

void ReportTermination(HANDLE thread, int timeout)
{
    char line[128] = "";
    std::snprintf(line, sizeof(line), "m_F_n_CloseThread force vm_hThread = 0x%08x, TIMEOUT = %d",
                  static_cast<unsigned int>(reinterpret_cast<UINT_PTR>(thread)), timeout);
    OutputDebugStringA(line);
}

}  // namespace

const int CStdThread::vs_nMaxSleepMS = core::kLongestSleep;
const unsigned int CStdThread::vs_nNoSleep = core::kNoPause;

CStdThread::CStdThread()
    : vm_pfnThread(nullptr),
      vm_hThread(nullptr),
      vm_nThreadID(0),
      vm_bStop(true),
      vm_pParam(nullptr),
      vm_nCount(0)
{
}

CStdThread::CStdThread(const CStdThread& other)
    : vm_pfnThread(other.vm_pfnThread),
      vm_hThread(other.vm_hThread),
      vm_nThreadID(other.vm_nThreadID.load()),
      vm_bStop(other.vm_bStop.load()),
      vm_pParam(other.vm_pParam),
      vm_nCount(other.vm_nCount)
{
}

CStdThread::~CStdThread()
{
    m_F_n_CloseThread(kCloseWait);
}

CStdThread& CStdThread::operator=(const CStdThread& other)
{
    vm_pfnThread = other.vm_pfnThread;
    vm_hThread = other.vm_hThread;
    vm_nThreadID = other.vm_nThreadID.load();
    vm_bStop = other.vm_bStop.load();
    vm_pParam = other.vm_pParam;
    vm_nCount = other.vm_nCount;
    return *this;
}

unsigned int CStdThread::m_F_n_ThredRun()
{
    return 1000;
}

int CStdThread::m_F_n_CreaetThread(unsigned int (*pfn)(void* pParam), void* pParam)
{
    m_F_n_CloseThread(kCloseWait);
    vm_bStop = false;
    vm_pfnThread = pfn;
    vm_pParam = pParam;
    return Start(*this, m_S_ThreadProc, "m_F_n_CreaetThread error");
}

int CStdThread::m_F_n_CreaetThreadByCount(int nCount, unsigned int (*pfn)(void* pParam),
                                          void* pParam)
{
    m_F_n_CloseThread(kCloseWait);
    vm_bStop = false;
    vm_nCount = nCount;
    vm_pfnThread = pfn;
    vm_pParam = pParam;
    return Start(*this, m_S_ThreadProcByCount, "m_F_n_CreaetThreadByCount error");
}

int CStdThread::m_F_n_CloseThread(int nTimeoutMS)
{
    vm_bStop = true;
    if (vm_hThread == nullptr)
    {
        return 0;
    }
    int result = 0;
    if (WaitForSingleObject(vm_hThread, static_cast<DWORD>(nTimeoutMS)) == WAIT_TIMEOUT)
    {
        if (vm_nThreadID == 0)
        {
            WaitForSingleObject(vm_hThread, kWayOutWait);
        }
        core::TerminateAtSafePlace(vm_hThread);
        ReportTermination(vm_hThread, nTimeoutMS);
        result = kTerminated;
    }
    CloseHandle(vm_hThread);
    vm_hThread = nullptr;
    vm_nThreadID = 0;
    return result;
}

void CStdThread::m_S_SetStopFlag()
{
    vm_bStop = true;
}

bool CStdThread::m_F_b_IsCreate()
{
    if (vm_nThreadID != 0)
    {
        return true;
    }
    if (vm_hThread != nullptr)
    {
        m_F_n_CloseThread(kReapWait);
    }
    return false;
}

unsigned int CStdThread::m_S_ThreadProc(void* pThis)
{
    return RunThread<ThreadWorker>(pThis);
}

unsigned int CStdThread::m_S_ThreadProcByCount(void* pThis)
{
    return RunThread<CountedThreadWorker>(pThis);
}

void CStdThread::m_S_Sleep(int nMS)
{
    ThreadWorker worker(*this);
    core::SleepUnlessStopped(nMS, worker);
}
