// Chooses the vector kernels that this processor can run.
#include "search/kernels.h"
#include <cstdlib>
#include <cstring>

const kernelset *kernelsets[4] = { &basekernels };

static const kernelset *choosekernels()
{
    int n = 1;
#if defined(__x86_64__)
    __builtin_cpu_init();
    if (avx2kernels && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("popcnt") &&
        __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2"))
        kernelsets[n++] = avx2kernels;
    if (n == 2 && avx512kernels && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl") &&
        __builtin_cpu_supports("avx512vpopcntdq"))
        kernelsets[n++] = avx512kernels;
#endif
    const kernelset *widest = kernelsets[n - 1];
    if (const char *wanted = getenv("ZEL_KERNELS"))
        for (int i = 0; i < n; ++i)
            if (!strcmp(kernelsets[i]->name, wanted)) widest = kernelsets[i];
    return widest;
}

const kernelset *kernel = choosekernels();

bool force_kernels(const char *name)
{
    const kernelset *found = nullptr;
    for (int i = 0; kernelsets[i]; ++i)
        if (!*name || !strcmp(kernelsets[i]->name, name)) found = kernelsets[i];
    if (found) kernel = found;
    return found != nullptr;
}
