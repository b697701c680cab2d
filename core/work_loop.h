/// @file
/// How a worker calls its work function over and over, and pauses between the calls.
#pragma once

#include <cstdint>

#include "core/current_time.h"

namespace ostrel::core
{

/// Milliseconds of the longest single sleep: a worker that waits longer looks at its stop flag in
/// between.
constexpr int kLongestSleep = 50;

/// The result of a work function that is to be called again at once.
constexpr unsigned int kNoPause = 0xFEDCBA98;

/// What a pause is made of.
class Pauser
{
public:
    virtual TimeValue Now() = 0;
    virtual void Sleep(unsigned int milliseconds) = 0;
    virtual bool IsStopped() = 0;

protected:
    ~Pauser() = default;
};

/// What a worker is made of.
class Worker : public Pauser
{
public:
    /// Calls the work function.
    /// @return the milliseconds it asks to pause for, or kNoPause.
    virtual unsigned int Work() = 0;

    /// @param calls how often the work function was called by now.
    virtual bool IsEnough(std::int64_t calls) = 0;

protected:
    ~Worker() = default;
};

/// Calls the work function until the worker is stopped or the calls are enough, and once at least.
/// There is no pause behind the last of enough calls.
void RunWorker(Worker& worker);

/// Pauses for what a work function asks for by its result. Up to kLongestSleep is one sleep, which
/// the stop flag does not shorten. More is slept in slices, until the time has passed or the stop
/// flag is set; the result counts as signed then, so that from 2^31 it is over after one slice.
void PauseAfterWork(unsigned int result, Pauser& pauser);

/// Sleeps in slices until the time has passed or the stop flag is set. Unless it is set already,
/// the first slice is always slept, on purpose, even for 0 milliseconds.
void SleepUnlessStopped(int milliseconds, Pauser& pauser);

}  // namespace ostrel::core
