/// @file
/// The termination of a thread from outside.
#pragma once

#include <windows.h>

namespace ostrel::core
{

/// Terminates a thread (exit code 0) and waits until it is gone, for at most a second. It does not
/// take the lock of the heap with it: it is terminated while no other thread is inside the heap.
void TerminateOutsideHeap(HANDLE thread);

}  // namespace ostrel::core
