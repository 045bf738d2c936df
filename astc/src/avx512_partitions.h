#pragma once
// The partitions of sixteen texels at once.

#include "avx512_tables.h"
#include "partition.h"

#include <immintrin.h>

namespace astc_avx512 {
namespace {

/// Two bits a texel.
inline uint32_t partitions_of(const partition_planes& planes, __m512i x, __m512i y)
{
    __m512i highest = _mm512_setzero_si512();
    for (unsigned i = 0; i < planes.count; ++i) {
        const auto all = [](uint32_t value) { return _mm512_set1_epi32(static_cast<int>(value)); };
        const __m512i slope = _mm512_add_epi32(_mm512_mullo_epi32(all(planes.slopes_x[i]), x),
                                               _mm512_mullo_epi32(all(planes.slopes_y[i]), y));
        const __m512i height = _mm512_and_si512(_mm512_add_epi32(slope, all(planes.heights[i])), all(0x3f));
        // Of equal ones the first is higher.
        const __m512i ranked = _mm512_or_si512(_mm512_slli_epi32(height, 2), all(3 - i));
        highest = _mm512_max_epu32(highest, ranked);
    }
    const uint32_t low = _mm512_testn_epi32_mask(highest, _mm512_set1_epi32(1));
    const uint32_t high = _mm512_testn_epi32_mask(highest, _mm512_set1_epi32(2));
    return _pdep_u32(low, 0x55555555) | _pdep_u32(high, 0xaaaaaaaa);
}

inline void add_partitions(block_tables& tables, unsigned count, unsigned seed)
{
    const block_geometry& block = tables.block;
    const partition_planes planes = partition_planes_of(seed, count, block.width * block.height < 31);
    const __m512i lane = _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    const auto lanes_bits = static_cast<unsigned>(__builtin_ctz(block.lanes));
    const __m512i x = _mm512_and_si512(lane, _mm512_set1_epi32(static_cast<int>(block.lanes - 1)));
    __m512i y = _mm512_srli_epi32(lane, lanes_bits);
    const unsigned index = (count - 2) * 1024 + seed;
    uint32_t* groups = tables.partitions + size_t{index} * block.groups;
    for (uint32_t group = 0; group < block.groups; ++group) {
        groups[group] = partitions_of(planes, x, y);
        y = _mm512_add_epi32(y, _mm512_set1_epi32(static_cast<int>(block.rows)));
    }
    tables.has_partitions[index] = 1;
}

} // namespace
} // namespace astc_avx512
