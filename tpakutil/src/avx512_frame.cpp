#include "vector_kernel.h"

const tpakutil::packed_coder tpakutil::avx512_coder{fast_encode<vector_kernel>, fast_decode<vector_kernel>};
