#include "media/cpu_features.h"

namespace ostrel::media
{

bool CpuHasAvx2()
{
    // Asked before main() as well, by whoever converts in a static's constructor.
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
}

}  // namespace ostrel::media
