/// @file
/// The termination of a thread from outside.
#pragma once

#include <windows.h>

namespace ostrel::core
{

/// Terminates a thread (exit code 0) and waits until it is gone, for at most a second.
///
/// It does not take the locks that the whole process lives by with it: it is terminated while no
/// other thread is inside the loader, where every thread begins and ends, or inside the heap.
void TerminateOutsideLocks(HANDLE thread);

}  // namespace ostrel::core
