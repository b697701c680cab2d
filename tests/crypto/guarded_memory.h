/// @file
/// Watches the memory that the DLL allocates with calloc.
#pragma once

#include <cstddef>
#include <vector>

namespace ostrel::test
{

/// While it lives, every block that the DLL gets from calloc ends at a page that cannot be touched,
/// and has bytes before it that are looked at when it is freed. One at a time; blocks are to be
/// freed before it ends.
class GuardedMemory
{
public:
    GuardedMemory();
    ~GuardedMemory();
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    /// Has every allocation fail from now on, or succeed again.
    void SetExhausted(bool isExhausted);

    /// The sizes asked for so far, of allocations that failed too.
    const std::vector<std::size_t>& Sizes() const;

    /// The blocks freed so far, and those of them that were not cleared before.
    int CountFreed() const;
    int CountFreedUncleared() const;

    int CountHeld() const;

private:
    struct Hooks;
    struct Patches;
    Patches* vm_pPatches;
};

}  // namespace ostrel::test
