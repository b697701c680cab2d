/// @file
/// The termination of a thread from outside.
#pragma once

#include <windows.h>

namespace ostrel::core
{

/// Terminates a thread (exit code 0) and waits until it is gone, for at most a second.
///
/// A thread that is terminated just anywhere may take the lock of the heap or the loader with it,
/// by which the whole process lives. So this one looks, for about a second at most, for a place
/// where it holds neither: anywhere outside the platform's innermost library, where these locks are
/// entered and left, or at rest inside a call of the system. If there is none, it is terminated all
/// the same.
void TerminateAtSafePlace(HANDLE thread);

}  // namespace ostrel::core
