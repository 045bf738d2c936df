#include "packed_frame.h"

bool tpakutil::has_avx2()
{
#if TPAK_HAS_VECTORS
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
#else
    return false;
#endif
}

bool tpakutil::has_avx512()
{
#if TPAK_HAS_VECTORS
    return has_avx2() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
           __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl") &&
           __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vpopcntdq") &&
           __builtin_cpu_supports("gfni");
#else
    return false;
#endif
}

#if !TPAK_HAS_VECTORS
// Never selected.
const tpakutil::packed_coder tpakutil::avx2_coder = tpakutil::reference_coder;
const tpakutil::packed_coder tpakutil::avx512_coder = tpakutil::reference_coder;
#endif
