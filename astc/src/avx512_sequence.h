#pragma once
// Integer sequences, all values of one at once.

#include "avx512_tables.h"

#include <immintrin.h>

namespace astc_avx512 {
namespace {

inline __m512i load_512(const uint8_t* from)
{
    return _mm512_load_si512(from);
}

inline __m256i load_256(const uint8_t* from)
{
    return _mm256_load_si256(reinterpret_cast<const __m256i*>(from));
}

/// Looks up bytes in a table of 256.
inline __m512i look_up_256(const uint8_t* table, __m512i indices, __mmask64 upper)
{
    const __m512i low = _mm512_permutex2var_epi8(load_512(table), indices, load_512(table + 64));
    const __m512i high = _mm512_permutex2var_epi8(load_512(table + 128), indices, load_512(table + 192));
    return _mm512_mask_mov_epi8(low, upper, high);
}

/// The digits of all values, each above the bits of its value; anything may stand around it.
inline __m512i digits_of(uint64_t low, uint64_t high, const sequence_layout& layout)
{
    // Packed digits lie scattered between the values' bits: brought together, then a byte for each group.
    const uint64_t low_packed = _pext_u64(low, layout.packed_bits[0]) << layout.packed_shift;
    const uint64_t high_packed = _pext_u64(high, layout.packed_bits[1]);
    const __m256i stream = _mm256_castsi128_si256(
        _mm_set_epi64x(static_cast<int64_t>(high_packed), static_cast<int64_t>(low_packed)));
    const __m512i packed = _mm512_castsi256_si512(_mm256_multishift_epi64_epi8(
        load_256(layout.packed_at), _mm256_permutexvar_epi8(load_256(layout.packed_from), stream)));
    const __mmask64 upper = _mm512_movepi8_mask(packed);
    const __m512i first = look_up_256(layout.unpacked, packed, upper);
    const __m512i second = look_up_256(layout.unpacked + 256, packed, upper);
    return _mm512_multishift_epi64_epi8(
        load_512(layout.digits_at), _mm512_permutex2var_epi8(first, load_512(layout.digits_from), second));
}

/// All values, with anything in the bits above them. `low` and `high` are the halves of the stream, with
/// zeros behind the sequence.
inline __m512i values_of(__m128i stream, uint64_t low, uint64_t high, const sequence_layout& layout)
{
    const __m512i bits = _mm512_multishift_epi64_epi8(
        load_512(layout.bits_at),
        _mm512_permutexvar_epi8(load_512(layout.bits_from), _mm512_castsi128_si512(stream)));
    constexpr int first_where_third_else_second = 0xe4;
    return _mm512_ternarylogic_epi64(bits, digits_of(low, high, layout),
                                     _mm512_set1_epi8(static_cast<char>(layout.bit_mask)),
                                     first_where_third_else_second);
}

/// Weights stand from a block's end, the first bit last.
inline __m128i reversed_bits(__m128i block)
{
    const __m128i bytes =
        _mm_shuffle_epi8(block, _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15));
    return _mm_gf2p8affine_epi64_epi8(bytes, _mm_set1_epi64x(static_cast<int64_t>(0x8040201008040201)), 0);
}

inline __m512i decode_weights(__m128i block, const mode_entry& mode, const sequence_tables& tables)
{
    const auto* mask = reinterpret_cast<const __m128i*>(tables.low_bits[mode.weight_bits]);
    const __m128i stream = _mm_and_si128(reversed_bits(block), _mm_loadu_si128(mask));
    const weight_layout& layout = tables.weights[mode.method];
    const __m512i values = values_of(stream, static_cast<uint64_t>(_mm_cvtsi128_si64(stream)),
                                     static_cast<uint64_t>(_mm_extract_epi64(stream, 1)), layout);
    return _mm512_permutexvar_epi8(values, load_512(layout.meanings));
}

inline __m512i decode_colours(uint64_t low, uint64_t high, sequence_tables::fit fit,
                              const sequence_tables& tables)
{
    low &= tables.low_bits[fit.bits][0];
    high &= tables.low_bits[fit.bits][1];
    const __m128i stream = _mm_set_epi64x(static_cast<int64_t>(high), static_cast<int64_t>(low));
    const colour_layout& layout = tables.colours[fit.method];
    const __m512i values = values_of(stream, low, high, layout);
    return look_up_256(layout.meanings, values, _mm512_movepi8_mask(values));
}

} // namespace
} // namespace astc_avx512
