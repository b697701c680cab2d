#include "core/work_loop.h"

#include <gtest/gtest.h>

#include <climits>
#include <deque>
#include <vector>

namespace
{

namespace core = ostrel::core;

constexpr core::TimeValue kStart = 1700000000000;

using Sleeps = std::vector<unsigned int>;

// A worker whose clock moves by its sleeps alone.
class ScriptedWorker final : public core::Worker
{
public:
    core::TimeValue Now() override { return now; }
    void Sleep(unsigned int milliseconds) override
    {
        sleeps.push_back(milliseconds);
        now += milliseconds;
    }
    bool IsStopped() override
    {
        return stopAfterCalls <= calls || stopAfterSleeps <= static_cast<int>(sleeps.size());
    }
    unsigned int Work() override
    {
        ++calls;
        const unsigned int result = results.front();
        if (results.size() > 1)
        {
            results.pop_front();
        }
        return result;
    }
    bool IsEnough(std::int64_t callsByNow) override
    {
        EXPECT_EQ(callsByNow, calls);
        return callsByNow >= enough;
    }

    core::TimeValue now = kStart;
    Sleeps sleeps;
    int calls = 0;
    std::deque<unsigned int> results = {0};
    int stopAfterCalls = INT_MAX;
    int stopAfterSleeps = INT_MAX;
    std::int64_t enough = INT64_MAX;
};

Sleeps SleepsAfter(unsigned int result)
{
    ScriptedWorker worker;
    core::PauseAfterWork(result, worker);
    return worker.sleeps;
}

TEST(TimeValue, CountsMilliseconds)
{
    EXPECT_EQ(core::ToTimeValue(0, 0), 0u);
    EXPECT_EQ(core::ToTimeValue(0, 123), 123u);
    EXPECT_EQ(core::ToTimeValue(1700000000, 999), 1700000000999u);
    // Beyond what 32 bits of seconds can hold.
    EXPECT_EQ(core::ToTimeValue(5000000000, 1), 5000000000001u);
}

TEST(PauseAfterWork, IsNothingForTheResultThatMeansNoSleep)
{
    EXPECT_EQ(SleepsAfter(0xFEDCBA98), Sleeps());
}

TEST(PauseAfterWork, IsOneSleepForUpToFiftyMilliseconds)
{
    EXPECT_EQ(SleepsAfter(0), Sleeps{0});
    EXPECT_EQ(SleepsAfter(30), Sleeps{30});
    EXPECT_EQ(SleepsAfter(50), Sleeps{50});
}

TEST(PauseAfterWork, UpToFiftyMillisecondsAreSleptThoughTheStopFlagIsSet)
{
    ScriptedWorker worker;
    worker.stopAfterCalls = 0;
    core::PauseAfterWork(30, worker);
    EXPECT_EQ(worker.sleeps, Sleeps{30});
}

TEST(PauseAfterWork, LongerOnesAreSlicesUntilTheClockIsPastTheDeadline)
{
    EXPECT_EQ(SleepsAfter(51), Sleeps(2, 50));
    EXPECT_EQ(SleepsAfter(99), Sleeps(2, 50));
    // At the deadline itself it is not over yet.
    EXPECT_EQ(SleepsAfter(100), Sleeps(3, 50));
    EXPECT_EQ(SleepsAfter(1000), Sleeps(21, 50));
}

TEST(PauseAfterWork, LongerOnesAreNotBegunWhenTheStopFlagIsSet)
{
    ScriptedWorker worker;
    worker.stopAfterCalls = 0;
    core::PauseAfterWork(1000, worker);
    EXPECT_EQ(worker.sleeps, Sleeps());
}

TEST(PauseAfterWork, LongerOnesEndAfterTheSliceInWhichTheStopFlagWasSet)
{
    ScriptedWorker worker;
    worker.stopAfterSleeps = 3;
    core::PauseAfterWork(1000000, worker);
    EXPECT_EQ(worker.sleeps, Sleeps(3, 50));
}

TEST(PauseAfterWork, IsOneSliceForAResultThatIsNegativeAsASignedNumber)
{
    EXPECT_EQ(SleepsAfter(0x80000000), Sleeps{50});
    EXPECT_EQ(SleepsAfter(0xFFFFFFFF), Sleeps{50});
    EXPECT_EQ(SleepsAfter(0xFEDCBA97), Sleeps{50});
}

TEST(PauseAfterWork, TheLongestIsAsLongAsItSays)
{
    // The clock is set forward within the first slice, to the deadline.
    class Jumping final : public core::Pauser
    {
    public:
        core::TimeValue Now() override { return now; }
        void Sleep(unsigned int) override { now = ++sleeps == 1 ? kStart + 0x7FFFFFFF : now + 1; }
        bool IsStopped() override { return false; }
        core::TimeValue now = kStart;
        int sleeps = 0;
    } pauser;
    core::PauseAfterWork(0x7FFFFFFF, pauser);
    EXPECT_EQ(pauser.sleeps, 2);
}

TEST(PauseAfterWork, EndsWhenTheClockStepsForward)
{
    class Jumping final : public core::Pauser
    {
    public:
        core::TimeValue Now() override { return kStart + static_cast<unsigned int>(sleeps) * 3600; }
        void Sleep(unsigned int) override { ++sleeps; }
        bool IsStopped() override { return false; }
        int sleeps = 0;
    } pauser;
    core::PauseAfterWork(3000, pauser);
    EXPECT_EQ(pauser.sleeps, 1);
}

TEST(SleepUnlessStopped, SleepsOneSliceEvenForNothing)
{
    ScriptedWorker worker;
    core::SleepUnlessStopped(0, worker);
    EXPECT_EQ(worker.sleeps, Sleeps{50});
    core::SleepUnlessStopped(-1000, worker);
    EXPECT_EQ(worker.sleeps, Sleeps(2, 50));
}

TEST(SleepUnlessStopped, SleepsSlicesWhileTheClockIsNotPastTheDeadline)
{
    ScriptedWorker worker;
    core::SleepUnlessStopped(100, worker);
    EXPECT_EQ(worker.sleeps, Sleeps(3, 50));
}

TEST(SleepUnlessStopped, ReturnsAtOnceWhenStopped)
{
    ScriptedWorker worker;
    worker.stopAfterCalls = 0;
    core::SleepUnlessStopped(1000, worker);
    EXPECT_EQ(worker.sleeps, Sleeps());
}

TEST(SleepUnlessStopped, EndsAfterTheSliceInWhichTheStopFlagWasSet)
{
    ScriptedWorker worker;
    worker.stopAfterSleeps = 2;
    core::SleepUnlessStopped(1000, worker);
    EXPECT_EQ(worker.sleeps, Sleeps(2, 50));
}

TEST(RunWorker, CallsAndPausesUntilStopped)
{
    ScriptedWorker worker;
    worker.results = {10, 0xFEDCBA98, 120, 20};
    worker.stopAfterCalls = 5;
    core::RunWorker(worker);
    EXPECT_EQ(worker.calls, 5);
    EXPECT_EQ(worker.sleeps, (Sleeps{10, 50, 50, 50, 20, 20}));
}

TEST(RunWorker, SleepsAShortPauseBeforeItSeesTheStopFlag)
{
    ScriptedWorker worker;
    worker.results = {30};
    worker.stopAfterCalls = 1;
    core::RunWorker(worker);
    EXPECT_EQ(worker.calls, 1);
    EXPECT_EQ(worker.sleeps, Sleeps{30});
}

TEST(RunWorker, DoesNotBeginALongPauseWhenStoppedInTheCall)
{
    ScriptedWorker worker;
    worker.results = {5000};
    worker.stopAfterCalls = 1;
    core::RunWorker(worker);
    EXPECT_EQ(worker.calls, 1);
    EXPECT_EQ(worker.sleeps, Sleeps());
}

TEST(RunWorker, EndsWithoutASleepAfterEnoughCalls)
{
    ScriptedWorker worker;
    worker.results = {40};
    worker.enough = 3;
    core::RunWorker(worker);
    EXPECT_EQ(worker.calls, 3);
    EXPECT_EQ(worker.sleeps, Sleeps(2, 40));
}

TEST(RunWorker, CallsOnceWhereNoneWouldBeEnough)
{
    for (std::int64_t enough : {std::int64_t{0}, std::int64_t{-7}})
    {
        ScriptedWorker worker;
        worker.enough = enough;
        core::RunWorker(worker);
        EXPECT_EQ(worker.calls, 1);
        EXPECT_EQ(worker.sleeps, Sleeps());
    }
}

}  // namespace
