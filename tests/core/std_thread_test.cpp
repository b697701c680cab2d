#include "CStdThread.h"

#include <gtest/gtest.h>
#include <process.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "support/import_patch.h"
#include "support/output_capture.h"
#include "support/scripted_camera.h"

namespace
{

using ostrel::test::ImportPatch;
using ostrel::test::NextHandleValue;
using ostrel::test::OutputCapture;
using Milliseconds = std::chrono::milliseconds;
using Texts = std::vector<std::string>;

constexpr unsigned int kAgainAtOnce = 0xFEDCBA98;

// Waits, for a minute at most.
bool Becomes(const std::function<bool()>& condition)
{
    for (int i = 0; i < 60000; ++i)
    {
        if (condition())
        {
            return true;
        }
        std::this_thread::sleep_for(Milliseconds(1));
    }
    return false;
}

bool IsEnded(HANDLE thread)
{
    return WaitForSingleObject(thread, 0) == WAIT_OBJECT_0;
}

// A handle of the test's own to the object's thread.
class ThreadWatch
{
public:
    explicit ThreadWatch(const CStdThread& thread)
    {
        DuplicateHandle(GetCurrentProcess(), thread.vm_hThread, GetCurrentProcess(), &vm_hThread, 0,
                        FALSE, DUPLICATE_SAME_ACCESS);
    }
    ~ThreadWatch() { CloseHandle(vm_hThread); }
    ThreadWatch(const ThreadWatch&) = delete;
    ThreadWatch& operator=(const ThreadWatch&) = delete;

    bool HasEnded() const { return IsEnded(vm_hThread); }
    DWORD ExitCode() const
    {
        DWORD code = 12345;
        GetExitCodeThread(vm_hThread, &code);
        return code;
    }

private:
    HANDLE vm_hThread = nullptr;
};

// What a work function is given, and what it tells.
struct Job
{
    std::atomic<int> calls = 0;
    std::atomic<unsigned int> result = 10;
    std::atomic<DWORD> threadId = 0;
};

unsigned int DoJob(void* job)
{
    Job& own = *static_cast<Job*>(job);
    own.threadId = GetCurrentThreadId();
    ++own.calls;
    return own.result;
}

unsigned int BlockForEver(void* job)
{
    ++static_cast<Job*>(job)->calls;
    for (;;)
    {
        Sleep(1000);
    }
}

// ---- The object ---------------------------------------------------------------------------------

TEST(WorkerThread, ConstantsHaveTheirValues)
{
    EXPECT_EQ(CStdThread::vs_nMaxSleepMS, 50);
    EXPECT_EQ(CStdThread::vs_nNoSleep, 0xFEDCBA98u);
    EXPECT_TRUE((std::is_same_v<decltype(CStdThread::vs_nMaxSleepMS), const int>));
    EXPECT_TRUE((std::is_same_v<decltype(CStdThread::vs_nNoSleep), const unsigned int>));
}

TEST(WorkerThread, IsStoppedAndHoldsNothingAtFirst)
{
    CStdThread thread;
    EXPECT_EQ(thread.vm_pfnThread, nullptr);
    EXPECT_EQ(thread.vm_hThread, nullptr);
    EXPECT_EQ(thread.vm_nThreadID, 0u);
    EXPECT_TRUE(thread.vm_bStop);
    EXPECT_EQ(thread.vm_pParam, nullptr);
    EXPECT_EQ(thread.vm_nCount, 0);
    EXPECT_FALSE(thread.m_F_b_IsCreate());
}

TEST(WorkerThread, FieldsStandInTheirOrder)
{
    CStdThread thread;
    const auto offsetOf = [&](const void* field)
    { return static_cast<const char*>(field) - reinterpret_cast<const char*>(&thread); };
    EXPECT_EQ(offsetOf(&thread.vm_pfnThread), 8);
    EXPECT_EQ(offsetOf(&thread.vm_hThread), 16);
    EXPECT_EQ(offsetOf(&thread.vm_nThreadID), 24);
    EXPECT_EQ(offsetOf(&thread.vm_bStop), 28);
    EXPECT_EQ(offsetOf(&thread.vm_pParam), 32);
    EXPECT_EQ(offsetOf(&thread.vm_nCount), 40);
    EXPECT_EQ(sizeof(CStdThread), 48u);
}

TEST(WorkerThread, HasOneVirtualMemberAndNoVirtualDestructor)
{
    EXPECT_TRUE(std::is_polymorphic_v<CStdThread>);
    EXPECT_FALSE(std::has_virtual_destructor_v<CStdThread>);
}

TEST(WorkerThread, TheBaseClassesWorkAsksForACallASecond)
{
    CStdThread thread;
    EXPECT_EQ(thread.m_F_n_ThredRun(), 1000u);
}

void ExpectSameFields(const CStdThread& left, const CStdThread& right)
{
    EXPECT_EQ(left.vm_pfnThread, right.vm_pfnThread);
    EXPECT_EQ(left.vm_hThread, right.vm_hThread);
    EXPECT_EQ(left.vm_nThreadID, right.vm_nThreadID);
    EXPECT_EQ(left.vm_bStop, right.vm_bStop);
    EXPECT_EQ(left.vm_pParam, right.vm_pParam);
    EXPECT_EQ(left.vm_nCount, right.vm_nCount);
}

TEST(WorkerThread, CopiesShareTheThread)
{
    Job job;
    CStdThread thread;
    ASSERT_EQ(thread.m_F_n_CreaetThreadByCount(1000000, DoJob, &job), 1);
    CStdThread copy(thread);
    CStdThread assigned;
    assigned = thread;
    EXPECT_NE(thread.vm_hThread, nullptr);
    EXPECT_NE(thread.vm_nThreadID, 0u);
    ExpectSameFields(copy, thread);
    ExpectSameFields(assigned, thread);
    copy.vm_hThread = nullptr;
    assigned.vm_hThread = nullptr;
    EXPECT_EQ(thread.m_F_n_CloseThread(30000), 0);
}

// ---- Running ------------------------------------------------------------------------------------

TEST(WorkerThread, CallsItsFunctionWithItsArgumentOverAndOverOnAThreadOfItsOwn)
{
    Job job;
    CStdThread thread;
    EXPECT_EQ(thread.m_F_n_CreaetThread(DoJob, &job), 1);
    EXPECT_TRUE(thread.m_F_b_IsCreate());
    EXPECT_FALSE(thread.vm_bStop);
    EXPECT_EQ(thread.vm_pfnThread, &DoJob);
    EXPECT_EQ(thread.vm_pParam, &job);
    EXPECT_NE(thread.vm_hThread, nullptr);
    EXPECT_TRUE(Becomes([&] { return job.calls >= 3; }));
    EXPECT_EQ(thread.vm_nThreadID, job.threadId);
    EXPECT_NE(job.threadId, GetCurrentThreadId());
    EXPECT_EQ(thread.m_F_n_CloseThread(30000), 0);
    const int calls = job.calls;
    std::this_thread::sleep_for(Milliseconds(100));
    EXPECT_EQ(job.calls, calls);
}

class DerivedThread : public CStdThread
{
public:
    ~DerivedThread() { m_F_n_CloseThread(30000); }

    unsigned int m_F_n_ThredRun() override
    {
        ++calls;
        return result;
    }

    void SleepFor(int milliseconds) { m_S_Sleep(milliseconds); }

    std::atomic<int> calls = 0;
    unsigned int result = 10;
};

TEST(WorkerThread, WithoutAFunctionADerivedClassesWorkIsDone)
{
    DerivedThread thread;
    EXPECT_EQ(thread.m_F_n_CreaetThread(nullptr, nullptr), 1);
    EXPECT_TRUE(Becomes([&] { return thread.calls >= 3; }));
    EXPECT_EQ(thread.m_F_n_CloseThread(30000), 0);
}

TEST(WorkerThread, AFunctionTakesPrecedenceOverADerivedClassesWork)
{
    Job job;
    DerivedThread thread;
    EXPECT_EQ(thread.m_F_n_CreaetThread(DoJob, &job), 1);
    EXPECT_TRUE(Becomes([&] { return job.calls >= 2; }));
    EXPECT_EQ(thread.m_F_n_CloseThread(30000), 0);
    EXPECT_EQ(thread.calls, 0);
}

TEST(WorkerThread, TheCountedOneDoesADerivedClassesWorkToo)
{
    DerivedThread thread;
    EXPECT_EQ(thread.m_F_n_CreaetThreadByCount(2, nullptr, nullptr), 1);
    EXPECT_TRUE(Becomes([&] { return !thread.m_F_b_IsCreate(); }));
    EXPECT_EQ(thread.calls, 2);
}

TEST(WorkerThread, ABaseObjectWithoutAFunctionRunsUntilItIsClosed)
{
    CStdThread thread;
    EXPECT_EQ(thread.m_F_n_CreaetThread(nullptr, nullptr), 1);
    std::this_thread::sleep_for(Milliseconds(50));
    EXPECT_TRUE(thread.m_F_b_IsCreate());
    EXPECT_EQ(thread.m_F_n_CloseThread(30000), 0);
}

TEST(WorkerThread, IsCalledAgainAtOnceAfterTheResultThatMeansNoSleep)
{
    Job job;
    job.result = kAgainAtOnce;
    CStdThread thread;
    thread.m_F_n_CreaetThread(DoJob, &job);
    EXPECT_TRUE(Becomes([&] { return job.calls >= 100000; }));
    EXPECT_EQ(thread.m_F_n_CloseThread(30000), 0);
}

TEST(WorkerThread, RunsAboutOnceASecondForAThousandMilliseconds)
{
    Job job;
    job.result = 1000;
    CStdThread thread;
    const auto start = std::chrono::steady_clock::now();
    thread.m_F_n_CreaetThread(DoJob, &job);
    EXPECT_TRUE(Becomes([&] { return job.calls >= 3; }));
    // The clock may step by up to a second at a full second.
    EXPECT_GE(std::chrono::steady_clock::now() - start, Milliseconds(900));
    EXPECT_EQ(thread.m_F_n_CloseThread(3000), 0);
}

TEST(WorkerThread, AStopDuringALongWaitIsSeenSoon)
{
    Job job;
    job.result = 600000;
    CStdThread thread;
    thread.m_F_n_CreaetThread(DoJob, &job);
    EXPECT_TRUE(Becomes([&] { return job.calls >= 1; }));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(thread.m_F_n_CloseThread(30000), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
    EXPECT_EQ(job.calls, 1);
}

// ---- On a clock of the test's own ---------------------------------------------------------------

// Time that passes by the library's sleeps alone. A sleep takes a moment of real time, too, so that
// a thread that would never end does not keep a processor busy.
class OwnTime
{
public:
    OwnTime()
    {
        std::lock_guard guard(vs_lock);
        vs_nNow = 1700000000500;
        vs_sleeps.clear();
        vs_onSleep = nullptr;
    }

    static std::vector<DWORD> Sleeps()
    {
        std::lock_guard guard(vs_lock);
        return vs_sleeps;
    }
    static void OnSleep(std::function<void(std::size_t count)> action)
    {
        std::lock_guard guard(vs_lock);
        vs_onSleep = std::move(action);
    }

private:
    static void WINAPI PassTime(DWORD milliseconds)
    {
        {
            std::lock_guard guard(vs_lock);
            vs_nNow += milliseconds;
            vs_sleeps.push_back(milliseconds);
            if (vs_onSleep)
            {
                vs_onSleep(vs_sleeps.size());
            }
        }
        ::Sleep(1);
    }
    static __time64_t Seconds(__time64_t*)
    {
        std::lock_guard guard(vs_lock);
        return vs_nNow / 1000;
    }
    static void WINAPI GetTime(SYSTEMTIME* time)
    {
        std::lock_guard guard(vs_lock);
        *time = {};
        time->wMilliseconds = static_cast<WORD>(vs_nNow % 1000);
    }

    static std::mutex vs_lock;
    static std::int64_t vs_nNow;
    static std::vector<DWORD> vs_sleeps;
    static std::function<void(std::size_t)> vs_onSleep;

    ImportPatch<void WINAPI(DWORD)> vm_sleep{"Sleep", &PassTime};
    ImportPatch<__time64_t(__time64_t*)> vm_seconds{"_time64", &Seconds};
    ImportPatch<void WINAPI(SYSTEMTIME*)> vm_time{"GetSystemTime", &GetTime};
};

std::mutex OwnTime::vs_lock;
std::int64_t OwnTime::vs_nNow = 0;
std::vector<DWORD> OwnTime::vs_sleeps;
std::function<void(std::size_t)> OwnTime::vs_onSleep;

using Sleeps = std::vector<DWORD>;

// The sleeps of a thread that calls a function with this result a number of times.
Sleeps SleepsOf(unsigned int result, int calls)
{
    const OwnTime time;
    Job job;
    job.result = result;
    CStdThread thread;
    EXPECT_EQ(thread.m_F_n_CreaetThreadByCount(calls, DoJob, &job), 1);
    EXPECT_TRUE(Becomes([&] { return thread.vm_nThreadID == 0; }));
    EXPECT_EQ(thread.m_F_n_CloseThread(30000), 0);
    EXPECT_EQ(job.calls, calls);
    return OwnTime::Sleeps();
}

TEST(WorkerThreadPause, IsNothingForTheResultThatMeansNoSleep)
{
    EXPECT_EQ(SleepsOf(kAgainAtOnce, 5), Sleeps());
}

TEST(WorkerThreadPause, IsOneSleepOfTheResultUpToFifty)
{
    EXPECT_EQ(SleepsOf(0, 3), Sleeps(2, 0));
    EXPECT_EQ(SleepsOf(30, 3), Sleeps(2, 30));
    EXPECT_EQ(SleepsOf(50, 3), Sleeps(2, 50));
}

TEST(WorkerThreadPause, IsSlicesOfFiftyAboveUntilTheDeadlineHasPassed)
{
    EXPECT_EQ(SleepsOf(51, 2), Sleeps(2, 50));
    EXPECT_EQ(SleepsOf(100, 2), Sleeps(3, 50));
    EXPECT_EQ(SleepsOf(1000, 2), Sleeps(21, 50));
}

TEST(WorkerThreadPause, IsOneSliceForAResultThatIsNegativeAsASignedNumber)
{
    EXPECT_EQ(SleepsOf(0xFFFFFFFF, 2), Sleeps{50});
    EXPECT_EQ(SleepsOf(0x80000000, 2), Sleeps{50});
}

TEST(WorkerThreadPause, EndsAfterTheSliceInWhichTheStopFlagWasSet)
{
    const OwnTime time;
    Job job;
    job.result = 1000000;
    CStdThread thread;
    OwnTime::OnSleep(
        [&](std::size_t count)
        {
            if (count == 4)
            {
                thread.m_S_SetStopFlag();
            }
        });
    thread.m_F_n_CreaetThread(DoJob, &job);
    EXPECT_TRUE(Becomes([&] { return thread.vm_nThreadID == 0; }));
    EXPECT_EQ(OwnTime::Sleeps(), Sleeps(4, 50));
    EXPECT_EQ(job.calls, 1);
    thread.m_F_n_CloseThread(30000);
}

struct StoppingJob
{
    CStdThread* thread;
    unsigned int result;
    std::atomic<int> calls = 0;
};

unsigned int StopOneself(void* job)
{
    StoppingJob& own = *static_cast<StoppingJob*>(job);
    ++own.calls;
    own.thread->m_S_SetStopFlag();
    return own.result;
}

Sleeps SleepsAfterStop(unsigned int result)
{
    const OwnTime time;
    CStdThread thread;
    StoppingJob job = {&thread, result};
    thread.m_F_n_CreaetThread(StopOneself, &job);
    EXPECT_TRUE(Becomes([&] { return thread.vm_nThreadID == 0; }));
    EXPECT_EQ(job.calls, 1);
    thread.m_F_n_CloseThread(30000);
    return OwnTime::Sleeps();
}

TEST(WorkerThreadPause, UpToFiftyIsSleptThoughTheStopFlagIsSet)
{
    EXPECT_EQ(SleepsAfterStop(30), Sleeps{30});
}

TEST(WorkerThreadPause, AboveFiftyIsNotBegunWhenTheStopFlagIsSet)
{
    EXPECT_EQ(SleepsAfterStop(5000), Sleeps());
}

TEST(WorkerThreadPause, NoneKeepsTheStopFlagFromBeingSeen)
{
    EXPECT_EQ(SleepsAfterStop(kAgainAtOnce), Sleeps());
}

TEST(WorkerThreadSleep, SleepsSlicesWhileTheClockIsNotPastTheDeadline)
{
    const OwnTime time;
    DerivedThread thread;
    thread.vm_bStop = false;
    thread.SleepFor(100);
    EXPECT_EQ(OwnTime::Sleeps(), Sleeps(3, 50));
}

TEST(WorkerThreadSleep, SleepsTheFirstSliceEvenForNothing)
{
    const OwnTime time;
    DerivedThread thread;
    thread.vm_bStop = false;
    thread.SleepFor(0);
    EXPECT_EQ(OwnTime::Sleeps(), Sleeps{50});
}

TEST(WorkerThreadSleep, ReturnsAtOnceWhenTheStopFlagIsSet)
{
    const OwnTime time;
    DerivedThread thread;
    thread.SleepFor(5000);
    EXPECT_EQ(OwnTime::Sleeps(), Sleeps());
}

TEST(WorkerThreadSleep, EndsAfterTheSliceInWhichTheStopFlagWasSet)
{
    const OwnTime time;
    DerivedThread thread;
    thread.vm_bStop = false;
    OwnTime::OnSleep(
        [&](std::size_t count)
        {
            if (count == 2)
            {
                thread.m_S_SetStopFlag();
            }
        });
    thread.SleepFor(5000);
    EXPECT_EQ(OwnTime::Sleeps(), Sleeps(2, 50));
}

TEST(WorkerThreadSleep, TakesAtLeastItsTimeOnThePlatformsClock)
{
    DerivedThread thread;
    thread.vm_bStop = false;
    const auto start = std::chrono::steady_clock::now();
    thread.SleepFor(1500);
    // The clock may step by up to a second at a full second.
    EXPECT_GE(std::chrono::steady_clock::now() - start, Milliseconds(400));
}

// ---- The counted thread -------------------------------------------------------------------------

TEST(CountedWorkerThread, CallsAsOftenAsToldWithoutASleepAfterTheLastAndEndsByItself)
{
    const OwnTime time;
    Job job;
    job.result = 20;
    CStdThread thread;
    EXPECT_EQ(thread.m_F_n_CreaetThreadByCount(3, DoJob, &job), 1);
    EXPECT_EQ(thread.vm_nCount, 3);
    EXPECT_TRUE(Becomes([&] { return thread.vm_nThreadID == 0; }));
    EXPECT_EQ(job.calls, 3);
    EXPECT_EQ(OwnTime::Sleeps(), Sleeps(2, 20));
    EXPECT_NE(thread.vm_hThread, nullptr);
    EXPECT_FALSE(thread.vm_bStop);
    EXPECT_FALSE(thread.m_F_b_IsCreate());
    EXPECT_EQ(thread.vm_hThread, nullptr);
    EXPECT_TRUE(thread.vm_bStop);
}

TEST(CountedWorkerThread, CallsOnceForACountOfZeroOrLess)
{
    for (int count : {0, -1, -2147483647})
    {
        Job job;
        CStdThread thread;
        EXPECT_EQ(thread.m_F_n_CreaetThreadByCount(count, DoJob, &job), 1);
        EXPECT_TRUE(Becomes([&] { return !thread.m_F_b_IsCreate(); }));
        EXPECT_EQ(job.calls, 1);
    }
}

TEST(CountedWorkerThread, CallsLessOftenWhenItIsStopped)
{
    CStdThread thread;
    StoppingJob job = {&thread, 10};
    thread.m_F_n_CreaetThreadByCount(1000, StopOneself, &job);
    EXPECT_TRUE(Becomes([&] { return !thread.m_F_b_IsCreate(); }));
    EXPECT_EQ(job.calls, 1);
}

// ---- Stopping -----------------------------------------------------------------------------------

TEST(WorkerThreadEnd, ClosingWithoutAThreadReturnsZeroAndSetsTheStopFlag)
{
    CStdThread thread;
    thread.vm_bStop = false;
    EXPECT_EQ(thread.m_F_n_CloseThread(1000), 0);
    EXPECT_TRUE(thread.vm_bStop);
}

TEST(WorkerThreadEnd, ClosingLeavesNoHandleAndNoIdentifier)
{
    Job job;
    CStdThread thread;
    thread.m_F_n_CreaetThread(DoJob, &job);
    const ThreadWatch watch(thread);
    EXPECT_EQ(thread.m_F_n_CloseThread(30000), 0);
    EXPECT_TRUE(watch.HasEnded());
    EXPECT_EQ(watch.ExitCode(), 0u);
    EXPECT_EQ(thread.vm_hThread, nullptr);
    EXPECT_EQ(thread.vm_nThreadID, 0u);
    EXPECT_TRUE(thread.vm_bStop);
    EXPECT_FALSE(thread.m_F_b_IsCreate());
    EXPECT_EQ(thread.m_F_n_CloseThread(30000), 0);
}

TEST(WorkerThreadEnd, TheStopFlagEndsTheThreadAndLeavesTheHandle)
{
    Job job;
    CStdThread thread;
    thread.m_F_n_CreaetThread(DoJob, &job);
    const HANDLE handle = thread.vm_hThread;
    thread.m_S_SetStopFlag();
    EXPECT_TRUE(thread.vm_bStop);
    EXPECT_TRUE(Becomes([&] { return thread.vm_nThreadID == 0; }));
    EXPECT_EQ(thread.vm_hThread, handle);
    EXPECT_TRUE(Becomes([&] { return IsEnded(handle); }));
    EXPECT_FALSE(thread.m_F_b_IsCreate());
    EXPECT_EQ(thread.vm_hThread, nullptr);
}

TEST(WorkerThreadEnd, TheStopFlagIsAllThatIsSetByItsSetter)
{
    CStdThread thread;
    thread.vm_bStop = false;
    thread.vm_nCount = 7;
    thread.m_S_SetStopFlag();
    EXPECT_TRUE(thread.vm_bStop);
    EXPECT_EQ(thread.vm_nCount, 7);
    EXPECT_EQ(thread.vm_hThread, nullptr);
}

TEST(WorkerThreadEnd, TheDestructorStopsTheThread)
{
    Job job;
    auto thread = std::make_unique<CStdThread>();
    thread->m_F_n_CreaetThread(DoJob, &job);
    const ThreadWatch watch(*thread);
    thread.reset();
    EXPECT_TRUE(watch.HasEnded());
}

TEST(WorkerThreadEnd, CreatingAgainClosesTheEarlierThreadFirst)
{
    Job first;
    Job second;
    CStdThread thread;
    thread.m_F_n_CreaetThread(DoJob, &first);
    EXPECT_TRUE(Becomes([&] { return first.calls >= 1; }));
    const ThreadWatch watch(thread);
    EXPECT_EQ(thread.m_F_n_CreaetThread(DoJob, &second), 1);
    EXPECT_TRUE(watch.HasEnded());
    const int calls = first.calls;
    EXPECT_TRUE(Becomes([&] { return second.calls >= 2; }));
    EXPECT_EQ(first.calls, calls);
    Job third;
    EXPECT_EQ(thread.m_F_n_CreaetThreadByCount(1, DoJob, &third), 1);
    EXPECT_TRUE(Becomes([&] { return !thread.m_F_b_IsCreate(); }));
    EXPECT_EQ(third.calls, 1);
}

TEST(WorkerThreadEnd, AThreadThatEndsAtOnceIsNeverTakenForARunningOne)
{
    Job job;
    CStdThread thread;
    thread.m_F_n_CreaetThreadByCount(1, DoJob, &job);
    EXPECT_TRUE(Becomes([&] { return !thread.m_F_b_IsCreate(); }));
    const std::size_t before = NextHandleValue();
    for (int i = 0; i < 300; ++i)
    {
        EXPECT_EQ(thread.m_F_n_CreaetThreadByCount(1, DoJob, &job), 1);
        EXPECT_TRUE(Becomes([&] { return thread.vm_nThreadID == 0; }));
        EXPECT_FALSE(thread.m_F_b_IsCreate());
        EXPECT_EQ(thread.vm_hThread, nullptr);
    }
    EXPECT_EQ(job.calls, 301);
    EXPECT_LT(NextHandleValue(), before + 400);
}

TEST(WorkerThreadEnd, HandlesAreNotLostOverManyThreadsThatAreClosed)
{
    Job job;
    job.result = 0;
    CStdThread thread;
    thread.m_F_n_CreaetThread(DoJob, &job);
    thread.m_F_n_CloseThread(30000);
    const std::size_t before = NextHandleValue();
    for (int i = 0; i < 300; ++i)
    {
        EXPECT_EQ(thread.m_F_n_CreaetThread(DoJob, &job), 1);
        EXPECT_EQ(thread.m_F_n_CloseThread(30000), 0);
    }
    EXPECT_LT(NextHandleValue(), before + 400);
}

// ---- The forced end -----------------------------------------------------------------------------

TEST(ForcedEndOfAWorkerThread, TerminatesReturnsOneAndTellsTheDebuggerOutput)
{
    const OutputCapture capture;
    Job job;
    CStdThread thread;
    thread.m_F_n_CreaetThread(BlockForEver, &job);
    EXPECT_TRUE(Becomes([&] { return job.calls >= 1; }));
    const ThreadWatch watch(thread);
    char message[128] = "";
    std::snprintf(message, sizeof(message),
                  "m_F_n_CloseThread force vm_hThread = 0x%08x, TIMEOUT = %d",
                  static_cast<unsigned int>(reinterpret_cast<std::size_t>(thread.vm_hThread)), 100);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(thread.m_F_n_CloseThread(100), 1);
    EXPECT_GE(std::chrono::steady_clock::now() - start, Milliseconds(90));
    EXPECT_EQ(capture.Texts(), Texts{message});
    EXPECT_TRUE(watch.HasEnded());
    EXPECT_EQ(watch.ExitCode(), 0u);
    EXPECT_EQ(thread.vm_hThread, nullptr);
    EXPECT_EQ(thread.vm_nThreadID, 0u);
    EXPECT_TRUE(thread.vm_bStop);
    EXPECT_FALSE(thread.m_F_b_IsCreate());
}

TEST(ForcedEndOfAWorkerThread, TheObjectCanBeUsedAgain)
{
    Job job;
    CStdThread thread;
    thread.m_F_n_CreaetThread(BlockForEver, &job);
    EXPECT_TRUE(Becomes([&] { return job.calls >= 1; }));
    EXPECT_EQ(thread.m_F_n_CloseThread(50), 1);
    EXPECT_EQ(thread.m_F_n_CreaetThreadByCount(2, DoJob, &job), 1);
    EXPECT_TRUE(Becomes([&] { return !thread.m_F_b_IsCreate(); }));
}

unsigned int AllocateForEver(void* job)
{
    Job& own = *static_cast<Job*>(job);
    for (;;)
    {
        void* blocks[8];
        for (std::size_t i = 0; i < 8; ++i)
        {
            blocks[i] = std::malloc(16 + 200 * i);
        }
        for (void* block : blocks)
        {
            std::free(block);
        }
        ++own.calls;
    }
}

TEST(ForcedEndOfAWorkerThread, LeavesTheHeapUsableThoughTheThreadWasBusyInIt)
{
    for (int i = 0; i < 40; ++i)
    {
        Job job;
        CStdThread thread;
        ASSERT_EQ(thread.m_F_n_CreaetThread(AllocateForEver, &job), 1);
        ASSERT_TRUE(Becomes([&] { return job.calls >= 1; }));
        ASSERT_EQ(thread.m_F_n_CloseThread(i % 3), 1);
        const std::string text(10000, 'x');
        ASSERT_EQ(text.size(), 10000u);
    }
}

TEST(ForcedEndOfAWorkerThread, LeavesTheLoaderUsableThoughTheThreadHadJustBegun)
{
    for (int i = 0; i < 100; ++i)
    {
        Job job;
        CStdThread thread;
        ASSERT_EQ(thread.m_F_n_CreaetThread(BlockForEver, &job), 1);
        thread.m_F_n_CloseThread(0);
        EXPECT_EQ(thread.vm_hThread, nullptr);
        // Every thread passes through the loader.
        std::thread([] {}).join();
    }
}

// A thread that has cleared its identifier is on its way out through the run-time library.
TEST(ForcedEndOfAWorkerThread, AThreadThatHasLeftItsWorkIsGivenTimeToEndInOrder)
{
    const OutputCapture capture;
    static std::atomic<bool> hasEndedInOrder;
    hasEndedInOrder = false;
    CStdThread thread;
    thread.vm_hThread = CreateThread(
        nullptr, 0,
        [](void*) -> DWORD
        {
            Sleep(400);
            hasEndedInOrder = true;
            return 0;
        },
        nullptr, 0, nullptr);
    EXPECT_FALSE(thread.m_F_b_IsCreate());
    EXPECT_TRUE(hasEndedInOrder);
    EXPECT_EQ(thread.vm_hThread, nullptr);
    ASSERT_EQ(capture.Texts().size(), 1u);
    EXPECT_NE(capture.Texts()[0].find(", TIMEOUT = 100"), std::string::npos);
}

// A thread that is never at a safe place, for nobody can tell where it is. Time passes by the
// library's sleeps alone, by a tick each.
class UnsafeThread
{
public:
    explicit UnsafeThread(DWORD tick)
    {
        vs_nTick = tick;
        vs_nPassed = 0;
        vs_nLooks = 0;
    }

    static ULONGLONG Passed() { return vs_nPassed; }
    static int Looks() { return vs_nLooks; }

private:
    static BOOL WINAPI RefuseContext(HANDLE, CONTEXT*)
    {
        ++vs_nLooks;
        return FALSE;
    }
    static void WINAPI PassTick(DWORD) { vs_nPassed += vs_nTick; }
    static ULONGLONG WINAPI Now() { return 1000000 + vs_nPassed; }

    static inline std::atomic<DWORD> vs_nTick = 0;
    static inline std::atomic<ULONGLONG> vs_nPassed = 0;
    static inline std::atomic<int> vs_nLooks = 0;

    ImportPatch<BOOL WINAPI(HANDLE, CONTEXT*)> vm_context{"GetThreadContext", &RefuseContext};
    ImportPatch<void WINAPI(DWORD)> vm_sleep{"Sleep", &PassTick};
    ImportPatch<ULONGLONG WINAPI()> vm_now{"GetTickCount64", &Now};
};

void EndBlockedThread()
{
    Job job;
    CStdThread thread;
    ASSERT_EQ(thread.m_F_n_CreaetThread(BlockForEver, &job), 1);
    ASSERT_TRUE(Becomes([&] { return job.calls >= 1; }));
    const ThreadWatch watch(thread);
    EXPECT_EQ(thread.m_F_n_CloseThread(0), 1);
    EXPECT_TRUE(watch.HasEnded());
}

TEST(ForcedEndOfAWorkerThread, ASafePlaceIsLookedForDuringASecondOnACoarseClock)
{
    const UnsafeThread unsafe(16);
    EndBlockedThread();
    EXPECT_GE(UnsafeThread::Passed(), 1000u);
    EXPECT_LE(UnsafeThread::Passed(), 1016u);
}

TEST(ForcedEndOfAWorkerThread, ASafePlaceIsLookedForTwoHundredTimesOnAFineClock)
{
    const UnsafeThread unsafe(1);
    EndBlockedThread();
    EXPECT_EQ(UnsafeThread::Looks(), 200);
}

TEST(ForcedEndOfAWorkerThread, HandlesAreNotLost)
{
    Job job;
    CStdThread thread;
    thread.m_F_n_CreaetThread(BlockForEver, &job);
    thread.m_F_n_CloseThread(0);
    const std::size_t before = NextHandleValue();
    for (int i = 0; i < 150; ++i)
    {
        thread.m_F_n_CreaetThread(BlockForEver, &job);
        thread.m_F_n_CloseThread(0);
    }
    EXPECT_LT(NextHandleValue(), before + 400);
}

// ---- Threads that cannot be started; the entry points -------------------------------------------

struct StartArguments
{
    void* security;
    unsigned int stackSize;
    unsigned int(__stdcall* entry)(void*);
    void* argument;
    unsigned int flags;
    unsigned int* identifier;
};

StartArguments startArguments;

uintptr_t RefuseThread(void* security, unsigned int stackSize,
                       unsigned int(__stdcall* entry)(void*), void* argument, unsigned int flags,
                       unsigned int* identifier)
{
    startArguments = {security, stackSize, entry, argument, flags, identifier};
    return 0;
}

using BeginThread = uintptr_t(void*, unsigned int, unsigned int(__stdcall*)(void*), void*,
                              unsigned int, unsigned int*);

TEST(WorkerThreadStart, WhenItFailsReturnsZeroTellsTheDebuggerOutputAndKeepsFunctionAndArgument)
{
    const ImportPatch<BeginThread> patch("_beginthreadex", &RefuseThread);
    const OutputCapture capture;
    Job job;
    CStdThread thread;
    EXPECT_EQ(thread.m_F_n_CreaetThread(DoJob, &job), 0);
    EXPECT_EQ(capture.Texts(), Texts{"m_F_n_CreaetThread error"});
    EXPECT_EQ(thread.vm_pfnThread, &DoJob);
    EXPECT_EQ(thread.vm_pParam, &job);
    EXPECT_EQ(thread.vm_hThread, nullptr);
    EXPECT_EQ(thread.vm_nThreadID, 0u);
    EXPECT_FALSE(thread.m_F_b_IsCreate());
}

TEST(WorkerThreadStart, OfACountedOneThatFailsHasAMessageOfItsOwn)
{
    const ImportPatch<BeginThread> patch("_beginthreadex", &RefuseThread);
    const OutputCapture capture;
    Job job;
    CStdThread thread;
    EXPECT_EQ(thread.m_F_n_CreaetThreadByCount(9, DoJob, &job), 0);
    EXPECT_EQ(capture.Texts(), Texts{"m_F_n_CreaetThreadByCount error"});
    EXPECT_EQ(thread.vm_pfnThread, &DoJob);
    EXPECT_EQ(thread.vm_pParam, &job);
    EXPECT_EQ(thread.vm_nCount, 9);
    EXPECT_EQ(thread.vm_hThread, nullptr);
    EXPECT_EQ(thread.vm_nThreadID, 0u);
}

TEST(WorkerThreadStart, AsksForADefaultThreadOnTheObject)
{
    const ImportPatch<BeginThread> patch("_beginthreadex", &RefuseThread);
    const OutputCapture capture;
    CStdThread thread;
    thread.m_F_n_CreaetThread(nullptr, nullptr);
    EXPECT_EQ(startArguments.security, nullptr);
    EXPECT_EQ(startArguments.stackSize, 0u);
    EXPECT_EQ(startArguments.argument, &thread);
    EXPECT_EQ(startArguments.flags, 0u);
    EXPECT_EQ(startArguments.entry, &CStdThread::m_S_ThreadProc);
    thread.m_F_n_CreaetThreadByCount(1, nullptr, nullptr);
    EXPECT_EQ(startArguments.entry, &CStdThread::m_S_ThreadProcByCount);
    EXPECT_EQ(startArguments.argument, &thread);
}

// The platform may tell a thread's identifier at any time around the thread's own first steps. Each
// of the next three starts a thread as the run-time library does, and tells it at another one.

uintptr_t TellIdentifierAfterTheEnd(void* security, unsigned int stackSize,
                                    unsigned int(__stdcall* entry)(void*), void* argument,
                                    unsigned int flags, unsigned int* identifier)
{
    unsigned int told = 0;
    const uintptr_t handle = _beginthreadex(security, stackSize, entry, argument, flags, &told);
    WaitForSingleObject(reinterpret_cast<HANDLE>(handle), 60000);
    *identifier = told;
    return handle;
}

TEST(WorkerThreadStart, AThreadThatHasEndedBeforeItsIdentifierIsToldIsNotTakenForARunningOne)
{
    const ImportPatch<BeginThread> patch("_beginthreadex", &TellIdentifierAfterTheEnd);
    Job job;
    CStdThread thread;
    EXPECT_EQ(thread.m_F_n_CreaetThreadByCount(1, DoJob, &job), 1);
    EXPECT_EQ(job.calls, 1);
    EXPECT_EQ(thread.vm_nThreadID, 0u);
    EXPECT_NE(thread.vm_hThread, nullptr);
    EXPECT_FALSE(thread.m_F_b_IsCreate());
    EXPECT_EQ(thread.vm_hThread, nullptr);
}

// What the work function finds as its object's identifier.
struct IdentifierJob
{
    CStdThread* thread;
    std::atomic<DWORD> own = 0;
    std::atomic<unsigned int> found = 0;
    std::atomic<bool> isDone = false;
};

unsigned int ReadIdentifier(void* job)
{
    IdentifierJob& reading = *static_cast<IdentifierJob*>(job);
    if (!reading.isDone)
    {
        reading.own = GetCurrentThreadId();
        reading.found = reading.thread->vm_nThreadID.load();
        reading.isDone = true;
    }
    return 10;
}

uintptr_t TellIdentifierDuringTheWork(void* security, unsigned int stackSize,
                                      unsigned int(__stdcall* entry)(void*), void* argument,
                                      unsigned int flags, unsigned int* identifier)
{
    unsigned int told = 0;
    const uintptr_t handle = _beginthreadex(security, stackSize, entry, argument, flags, &told);
    const CStdThread& thread = *static_cast<CStdThread*>(argument);
    const IdentifierJob& job = *static_cast<IdentifierJob*>(thread.vm_pParam);
    EXPECT_TRUE(Becomes([&] { return job.isDone.load(); }));
    *identifier = told;
    return handle;
}

TEST(WorkerThreadStart, TheWorkFindsItsThreadsIdentifierHoweverLateItIsTold)
{
    const ImportPatch<BeginThread> patch("_beginthreadex", &TellIdentifierDuringTheWork);
    CStdThread thread;
    IdentifierJob job = {&thread};
    ASSERT_EQ(thread.m_F_n_CreaetThread(ReadIdentifier, &job), 1);
    EXPECT_EQ(job.found, job.own);
    EXPECT_EQ(thread.vm_nThreadID, job.own);
    EXPECT_EQ(thread.m_F_n_CloseThread(30000), 0);
}

uintptr_t BeginSuspended(void* security, unsigned int stackSize,
                         unsigned int(__stdcall* entry)(void*), void* argument, unsigned int flags,
                         unsigned int* identifier)
{
    return _beginthreadex(security, stackSize, entry, argument, flags | CREATE_SUSPENDED,
                          identifier);
}

TEST(WorkerThreadStart, TheOwnerFindsTheIdentifierOfAThreadThatHasNotTakenAStepYet)
{
    Job job;
    CStdThread thread;
    {
        const ImportPatch<BeginThread> patch("_beginthreadex", &BeginSuspended);
        ASSERT_EQ(thread.m_F_n_CreaetThread(DoJob, &job), 1);
    }
    EXPECT_EQ(thread.vm_nThreadID, GetThreadId(thread.vm_hThread));
    EXPECT_TRUE(thread.m_F_b_IsCreate());
    ResumeThread(thread.vm_hThread);
    EXPECT_TRUE(Becomes([&] { return job.calls >= 1; }));
    EXPECT_EQ(thread.vm_nThreadID, job.threadId);
    EXPECT_EQ(thread.m_F_n_CloseThread(30000), 0);
}

TEST(WorkerThreadEntry, ReturnsZeroForNoObject)
{
    EXPECT_EQ(CStdThread::m_S_ThreadProc(nullptr), 0u);
    EXPECT_EQ(CStdThread::m_S_ThreadProcByCount(nullptr), 0u);
}

TEST(WorkerThreadEntry, ClearsTheIdentifierAndEndsTheThreadWhenItIsStoppedAlready)
{
    for (const auto entry : {&CStdThread::m_S_ThreadProc, &CStdThread::m_S_ThreadProcByCount})
    {
        Job job;
        CStdThread thread;
        thread.vm_pfnThread = &DoJob;
        thread.vm_pParam = &job;
        thread.vm_nThreadID = 77;
        const HANDLE handle =
            reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, entry, &thread, 0, nullptr));
        ASSERT_NE(handle, nullptr);
        EXPECT_EQ(WaitForSingleObject(handle, 60000), WAIT_OBJECT_0);
        DWORD code = 12345;
        GetExitCodeThread(handle, &code);
        EXPECT_EQ(code, 0u);
        CloseHandle(handle);
        EXPECT_EQ(thread.vm_nThreadID, 0u);
        EXPECT_EQ(job.calls, 0);
    }
}

}  // namespace
