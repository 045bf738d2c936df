#pragma once
// From weights and endpoints to texels, sixteen at once.

#include "avx512_tables.h"

#include <immintrin.h>

namespace astc_avx512 {
namespace {

/// Which weights the channels of a texel take, as indices of the bytes that `weights_of` makes: for each
/// channel the weight of the low endpoint and that of the high one. By the channel that has weights of its
/// own, 4 for none, and by half.
struct channel_weights
{
    alignas(64) uint8_t from[5][2][64];
};

/// Sixteen texels are worked on in two halves so that packing their channels brings them into order.
constexpr unsigned texel_of(unsigned half, unsigned lane)
{
    return lane / 2 * 4 + half * 2 + lane % 2;
}

constexpr channel_weights make_channel_weights()
{
    channel_weights table{};
    for (unsigned second = 0; second < 5; ++second)
        for (unsigned half = 0; half < 2; ++half)
            for (unsigned i = 0; i < 64; ++i) {
                const unsigned plane = i % 8 / 2 == second ? 1 : 0;
                const unsigned is_low = i % 2 == 0 ? 1 : 0;
                table.from[second][half][i] =
                    static_cast<uint8_t>(texel_of(half, i / 8) * 4 + plane * 2 + is_low);
            }
    return table;
}
constexpr channel_weights channel_table = make_channel_weights();

/// What a block's texels are made of.
struct block_parts
{
    const infill_group* infill;
    const uint32_t* partitions; // of each group of texels
    __m512i weights;            // of the grid
    __m512i endpoints;          // of each partition
    unsigned second_plane;      // the channel that has weights of its own; 4 for none
};

/// Four bytes a texel: its weight, 64 minus that, and in two planes the same of the other weight.
template <bool dual_plane>
inline __m512i weights_of(const block_parts& block, unsigned group)
{
    const infill_group& infill = block.infill[group];
    __m512i points = _mm512_load_si512(infill.points);
    const __m512i parts = _mm512_load_si512(infill.parts);
    const __m512i half = _mm512_set1_epi32(8);
    if (dual_plane) // weights of both planes take turns
        points = _mm512_add_epi8(points, points);
    const __m512i sums = _mm512_dpbusd_epi32(half, _mm512_permutexvar_epi8(points, block.weights), parts);
    const __m512i weights = _mm512_srli_epi32(sums, 4);
    if (!dual_plane) // 64 * 256 - 255 * weight
        return _mm512_dpwssd_epi32(_mm512_set1_epi32(0x4000), weights, _mm512_set1_epi32(-255 & 0xffff));
    points = _mm512_add_epi8(points, _mm512_set1_epi8(1));
    const __m512i others = _mm512_dpbusd_epi32(half, _mm512_permutexvar_epi8(points, block.weights), parts);
    const __m512i both = _mm512_mask_mov_epi16(weights, 0xaaaaaaaa, _mm512_slli_epi32(others, 12));
    return _mm512_sub_epi16(_mm512_add_epi16(both, _mm512_set1_epi16(0x4000)), _mm512_slli_epi16(both, 8));
}

/// Eight texels of channels of 16 bits. The format interpolates 16-bit endpoints, widened by repeating the
/// byte, or by 0x80 for sRGB, and cuts the result to its upper 8 bits; here without leaving 16 bits.
template <bool srgb>
inline __m512i channels_of(const block_parts& block, __m512i weights, __m512i partitions, unsigned half)
{
    const __m512i shifts = half == 0 ? _mm512_setr_epi64(0, 2, 8, 10, 16, 18, 24, 26)
                                     : _mm512_setr_epi64(4, 6, 12, 14, 20, 22, 28, 30);
    // The endpoints stand twice, so the bit above a partition's two doesn't matter.
    const __m512i ends = _mm512_permutexvar_epi64(_mm512_srlv_epi64(partitions, shifts), block.endpoints);
    const __m512i of_channels =
        _mm512_permutexvar_epi8(_mm512_load_si512(channel_table.from[block.second_plane][half]), weights);
    const __m512i sums = _mm512_maddubs_epi16(ends, of_channels);
    const __m512i raised = _mm512_add_epi16(sums, _mm512_set1_epi16(32));
    return _mm512_srli_epi16(srgb ? raised : _mm512_add_epi16(sums, _mm512_srli_epi16(raised, 8)), 6);
}

template <bool srgb, bool dual_plane>
inline __m512i texels_of(const block_parts& block, unsigned group)
{
    const __m512i weights = weights_of<dual_plane>(block, group);
    const __m512i partitions = _mm512_set1_epi64(block.partitions[group]);
    return _mm512_packus_epi16(channels_of<srgb>(block, weights, partitions, 0),
                               channels_of<srgb>(block, weights, partitions, 1));
}

/// A rectangle of texels to write.
struct rectangle
{
    uint8_t* rgba;
    size_t row_bytes;
    uint32_t rows;
    __mmask16 columns;
};

/// Compilers make one instruction of taking a part out and storing it masked, which touches what is masked
/// out: that may be no memory at all. From here on the part is a value like any other.
template <class part>
inline part in_register(part of_texels)
{
    asm("" : "+v"(of_texels));
    return of_texels;
}

/// Up to as many rows as sixteen texels hold.
template <unsigned lanes>
inline void store_rows(const rectangle& to, uint32_t row, __m512i texels)
{
    uint8_t* rgba = to.rgba + row * to.row_bytes;
    const auto columns = static_cast<__mmask8>(to.columns);
    if constexpr (lanes == 16) {
        _mm512_mask_storeu_epi32(rgba, to.columns, texels);
    } else if constexpr (lanes == 8) {
        _mm256_mask_storeu_epi32(rgba, columns, in_register(_mm512_castsi512_si256(texels)));
        if (row + 1 < to.rows)
            _mm256_mask_storeu_epi32(rgba + to.row_bytes, columns,
                                     in_register(_mm512_extracti64x4_epi64(texels, 1)));
    } else {
        _mm_mask_storeu_epi32(rgba, columns, in_register(_mm512_castsi512_si128(texels)));
        if (row + 1 < to.rows)
            _mm_mask_storeu_epi32(rgba + to.row_bytes, columns,
                                  in_register(_mm512_extracti32x4_epi32(texels, 1)));
        if (row + 2 < to.rows)
            _mm_mask_storeu_epi32(rgba + 2 * to.row_bytes, columns,
                                  in_register(_mm512_extracti32x4_epi32(texels, 2)));
        if (row + 3 < to.rows)
            _mm_mask_storeu_epi32(rgba + 3 * to.row_bytes, columns,
                                  in_register(_mm512_extracti32x4_epi32(texels, 3)));
    }
}

template <unsigned lanes, bool srgb, bool dual_plane>
inline void write_texels(const block_parts& block, const rectangle& to)
{
    for (uint32_t row = 0, group = 0; row < to.rows; row += 16 / lanes, ++group)
        store_rows<lanes>(to, row, texels_of<srgb, dual_plane>(block, group));
}

template <unsigned lanes>
inline void write_colour(uint32_t colour, const rectangle& to)
{
    for (uint32_t row = 0; row < to.rows; row += 16 / lanes)
        store_rows<lanes>(to, row, _mm512_set1_epi32(static_cast<int>(colour)));
}

} // namespace
} // namespace astc_avx512
