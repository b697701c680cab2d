// What the program costs.
#pragma once

#include <string>

#include "statistics.h"

// From its making on.
class ProcessorTime
{
public:
    ProcessorTime();

    // For the summary: the processor's share, in percent of one core, whole and per camera.
    std::string Report(int cameras) const;

private:
    double used_;  // milliseconds of the process
    Stopwatch elapsed_;
};
