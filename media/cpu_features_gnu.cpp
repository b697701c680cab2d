#include <cpuid.h>

#include "media/cpu_features.h"

namespace ostrel::media
{

bool CpuHasAvx2()
{
    // Asked before main() as well, by whoever converts in a static's constructor.
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
}

bool CpuHasAvx512()
{
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512bw") != 0 &&
           __builtin_cpu_supports("avx512vl") != 0 && __builtin_cpu_supports("avx512vbmi") != 0 &&
           __builtin_cpu_supports("avx512vnni") != 0;
}

CpuidRegisters ReadCpuid(unsigned leaf, unsigned subleaf)
{
    CpuidRegisters registers = {};
    __get_cpuid_count(leaf, subleaf, &registers.eax, &registers.ebx, &registers.ecx,
                      &registers.edx);
    return registers;
}

}  // namespace ostrel::media
