#include <intrin.h>

#include "media/cpu_features.h"

namespace ostrel::media
{

bool CpuHasAvx2()
{
    constexpr int kOsSavesRegisters = 1 << 27;  // leaf 1, ECX: OSXSAVE
    constexpr int kAvx = 1 << 28;               // leaf 1, ECX
    constexpr int kAvx2 = 1 << 5;               // leaf 7, EBX
    constexpr unsigned kVectorState = 6;        // XCR0: the XMM and YMM halves are saved

    int leaf[4];
    __cpuid(leaf, 0);
    if (leaf[0] < 7)
    {
        return false;
    }
    __cpuid(leaf, 1);
    constexpr int kNeeded = kOsSavesRegisters | kAvx;
    if ((leaf[2] & kNeeded) != kNeeded || (_xgetbv(0) & kVectorState) != kVectorState)
    {
        return false;
    }
    __cpuidex(leaf, 7, 0);
    return (leaf[1] & kAvx2) != 0;
}

}  // namespace ostrel::media
