/// @file
/// What this machine's processor offers beyond SSE2, which every 64-bit x86 has.
#pragma once

#include <cstddef>

namespace ostrel::media
{

/// True if the processor and the operating system support AVX2. The compilers ask in different
/// words, so the body is chosen by the build.
bool CpuHasAvx2();

/// Likewise for AVX-512 with BW, VL, VBMI and VNNI.
bool CpuHasAvx512();

struct CpuidRegisters
{
    unsigned eax;
    unsigned ebx;
    unsigned ecx;
    unsigned edx;
};

/// What the CPUID instruction tells; all 0 for a leaf that the processor does not have.
CpuidRegisters ReadCpuid(unsigned leaf, unsigned subleaf);

/// Bytes of the processor's largest cache; that of an ordinary one if it does not tell.
std::size_t LastLevelCacheSize();

}  // namespace ostrel::media
