#include "core/work_loop.h"

namespace ostrel::core
{

namespace
{

TimeValue Later(TimeValue time, int milliseconds)
{
    return time + static_cast<TimeValue>(static_cast<std::int64_t>(milliseconds));
}

}  // namespace

void SleepUnlessStopped(int milliseconds, Pauser& pauser)
{
    const TimeValue deadline = Later(pauser.Now(), milliseconds);
    if (pauser.IsStopped())
    {
        return;
    }
    do
    {
        pauser.Sleep(kLongestSleep);
    } while (pauser.Now() <= deadline && !pauser.IsStopped());
}

void PauseAfterWork(unsigned int result, Pauser& pauser)
{
    if (result == kNoPause)
    {
        return;
    }
    if (result <= static_cast<unsigned int>(kLongestSleep))
    {
        pauser.Sleep(result);
        return;
    }
    SleepUnlessStopped(static_cast<int>(result), pauser);
}

void RunWorker(Worker& worker)
{
    std::int64_t calls = 0;
    do
    {
        const unsigned int result = worker.Work();
        ++calls;
        if (worker.IsEnough(calls))
        {
            return;
        }
        PauseAfterWork(result, worker);
    } while (!worker.IsStopped());
}

}  // namespace ostrel::core
