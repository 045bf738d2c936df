#include "packed_frame.h"

bool tpakutil::has_avx2()
{
#if TPAK_HAS_AVX2
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
#else
    return false;
#endif
}

#if !TPAK_HAS_AVX2
const tpakutil::packed_coder tpakutil::avx2_coder = tpakutil::reference_coder; // never selected
#endif
