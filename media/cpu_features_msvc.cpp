#include <intrin.h>

#include "media/cpu_features.h"

namespace ostrel::media
{
namespace
{

// Leaf 7, sub-leaf 0, and of the registers that the operating system saves, the mask; all 0 where
// it saves none.
struct Features
{
    unsigned ebx = 0;
    unsigned ecx = 0;
    unsigned long long saved = 0;
};

Features ReadFeatures()
{
    constexpr unsigned kOsSavesRegisters = 1U << 27;  // leaf 1, ECX: OSXSAVE
    constexpr unsigned kAvx = 1U << 28;               // leaf 1, ECX
    constexpr unsigned kNeeded = kOsSavesRegisters | kAvx;
    if ((ReadCpuid(1, 0).ecx & kNeeded) != kNeeded)
    {
        return {};
    }
    const CpuidRegisters leaf = ReadCpuid(7, 0);
    return {leaf.ebx, leaf.ecx, _xgetbv(0)};
}

bool HasAll(unsigned long long bits, unsigned long long needed)
{
    return (bits & needed) == needed;
}

}  // namespace

bool CpuHasAvx2()
{
    constexpr unsigned kAvx2 = 1U << 5;   // EBX
    constexpr unsigned kVectorState = 6;  // XCR0: the XMM and YMM halves are saved
    const Features features = ReadFeatures();
    return HasAll(features.ebx, kAvx2) && HasAll(features.saved, kVectorState);
}

bool CpuHasAvx512()
{
    constexpr unsigned kFoundationBwVl = 1U << 16 | 1U << 30 | 1U << 31;  // EBX
    constexpr unsigned kVbmiVnni = 1U << 1 | 1U << 11;                    // ECX
    constexpr unsigned kVectorState = 0xE6;  // XCR0: XMM, YMM, masks, and all 32 ZMM are saved
    const Features features = ReadFeatures();
    return HasAll(features.ebx, kFoundationBwVl) && HasAll(features.ecx, kVbmiVnni) &&
           HasAll(features.saved, kVectorState);
}

CpuidRegisters ReadCpuid(unsigned leaf, unsigned subleaf)
{
    int registers[4];
    __cpuid(registers, static_cast<int>(leaf & 0x80000000));
    if (static_cast<unsigned>(registers[0]) < leaf)
    {
        return {};
    }
    __cpuidex(registers, static_cast<int>(leaf), static_cast<int>(subleaf));
    return {static_cast<unsigned>(registers[0]), static_cast<unsigned>(registers[1]),
            static_cast<unsigned>(registers[2]), static_cast<unsigned>(registers[3])};
}

}  // namespace ostrel::media
