#include "avx2_kernel.h"

const tpakutil::packed_coder tpakutil::avx2_coder{fast_encode<avx2_kernel>, fast_decode<avx2_kernel>};
