/// @file
/// What this machine's processor offers beyond SSE2, which every 64-bit x86 has.
#pragma once

namespace ostrel::media
{

/// True if the processor and the operating system support AVX2. The compilers ask in different
/// words, so the body is chosen by the build.
bool CpuHasAvx2();

/// Likewise for AVX-512 with BW, VL, VBMI and VNNI.
bool CpuHasAvx512();

}  // namespace ostrel::media
