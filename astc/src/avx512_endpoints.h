#pragma once
// Endpoints of all partitions and channels at once, whatever their modes.

#include "avx512_tables.h"

#include <immintrin.h>

namespace astc_avx512 {
namespace {

/// What a mode makes of its values for a channel.
enum endpoint_rule : uint8_t
{
    is_opaque = 1,    // 255
    has_offset = 2,   // a base and a signed offset, which lends its top bit to the base
    has_distance = 4, // a base and an unsigned offset, which lends its top two bits
    is_scaled = 8,    // the upper colour, and the factor of the lower one
    may_swap = 16,    // falling colours stand for swapped and contracted ones
    is_illegal = 32   // HDR
};

/// By mode * 4 + channel.
struct endpoint_rules
{
    alignas(64) uint8_t first[64];  // index of the one value
    alignas(64) uint8_t second[64]; // and of the other
    alignas(64) uint8_t lent[64];   // bits of the other that belong to the one
    alignas(64) uint8_t rules[64];
};

constexpr endpoint_rules make_endpoint_rules()
{
    endpoint_rules table{};
    for (unsigned mode = 0; mode < 16; ++mode) {
        const bool hdr = mode == 2 || mode == 3 || mode == 7 || mode == 11 || mode >= 14;
        const bool luminance = mode < 6;
        const bool scaled = mode == 6 || mode == 10;
        const bool offset = mode == 5 || mode == 9 || mode == 13;
        const bool alpha = mode == 4 || mode == 5 || mode == 10 || mode >= 12;
        const unsigned alpha_at = mode == 10 ? 4 : luminance ? 2 : 6;
        for (unsigned channel = 0; channel < 4; ++channel) {
            const unsigned at = mode * 4 + channel;
            const unsigned pair = channel == 3 ? alpha_at : luminance ? 0 : 2 * channel;
            const bool is_factor = scaled && channel < 3;
            table.first[at] = static_cast<uint8_t>(is_factor ? channel : pair);
            table.second[at] = static_cast<uint8_t>(is_factor ? 3 : pair + 1);
            unsigned rules = !luminance && !scaled ? may_swap : 0;
            if (channel == 3 && !alpha)
                rules |= is_opaque;
            else if (offset)
                rules |= has_offset;
            else if (mode == 1)
                rules |= has_distance;
            else if (is_factor)
                rules |= is_scaled;
            table.lent[at] = (rules & has_offset) ? 0x80 : (rules & has_distance) ? 0xc0 : 0;
            table.rules[at] = static_cast<uint8_t>(hdr ? unsigned{is_illegal} : rules);
        }
    }
    return table;
}
constexpr endpoint_rules endpoint_table = make_endpoint_rules();

/// Undoes the encoder's shift of red and green towards blue.
inline __m256i contracted(__m256i colours)
{
    const __m256i blue =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(4, 5, 4, 5, 4, 5, 6, 7, 12, 13, 12, 13, 12, 13, 14, 15));
    return _mm256_srai_epi16(_mm256_add_epi16(colours, _mm256_shuffle_epi8(colours, blue)), 1);
}

/// Colours that get darker, in the sum of red, green and blue.
inline __mmask16 falling(__m256i low, __m256i high)
{
    const __m256i differences = _mm256_sub_epi16(high, low);
    const __m256i halves =
        _mm256_madd_epi16(differences, _mm256_set1_epi64x(static_cast<int64_t>(0x0000000100010001)));
    const __m256i sums = _mm256_add_epi32(halves, _mm256_shuffle_epi32(halves, _MM_SHUFFLE(2, 3, 0, 1)));
    return _mm256_movepi16_mask(_mm256_srai_epi32(sums, 31));
}

/// `modes` and `starts` hold a byte for each partition: its endpoint mode, and its first value. The result
/// has for each partition low R, high R, low G, high G and so on, and the same again.
inline __m512i decode_endpoints(__m512i values, uint32_t modes, uint32_t starts)
{
    const __m128i of_partitions =
        _mm_set_epi64x(0, static_cast<int64_t>(uint64_t{starts} << 32 | modes << 2));
    const __m128i by_four = _mm_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3);
    const __m128i start = _mm_shuffle_epi8(of_partitions, _mm_add_epi8(by_four, _mm_set1_epi8(4)));
    const __m512i at = _mm512_castsi128_si512(
        _mm_or_si128(_mm_shuffle_epi8(of_partitions, by_four), _mm_set1_epi32(0x03020100)));
    const auto from_table = [&](const uint8_t* table) {
        return _mm512_castsi512_si128(_mm512_permutexvar_epi8(at, _mm512_load_si512(table)));
    };
    const __m128i rules = from_table(endpoint_table.rules);
    const auto that = [&](endpoint_rule rule) { return _mm_test_epi8_mask(rules, _mm_set1_epi8(rule)); };
    const auto value = [&](const uint8_t* table) {
        const __m512i index = _mm512_castsi128_si512(_mm_add_epi8(from_table(table), start));
        const __m128i found = _mm512_castsi512_si128(_mm512_permutexvar_epi8(index, values));
        return _mm256_cvtepu8_epi16(_mm_mask_mov_epi8(found, that(is_opaque), _mm_set1_epi8(-1)));
    };
    const __m256i first = value(endpoint_table.first);
    const __m256i second = value(endpoint_table.second);
    const __mmask16 offset = that(has_offset);
    const __mmask16 distance = that(has_distance);
    const __mmask16 scaled = that(is_scaled);

    const __m256i lent = _mm256_and_si256(second, _mm256_cvtepu8_epi16(from_table(endpoint_table.lent)));
    __m256i low = _mm256_mask_srli_epi16(first, offset, first, 1);
    low = _mm256_mask_srli_epi16(low, distance, first, 2);
    low = _mm256_or_si256(low, lent);
    const __m256i sign = _mm256_maskz_set1_epi16(offset, 0x20);
    __m256i step = _mm256_mask_srli_epi16(second, offset, second, 1);
    step = _mm256_and_si256(step, _mm256_set1_epi16(0x3f));
    step = _mm256_sub_epi16(_mm256_xor_si256(step, sign), sign);
    __m256i high = _mm256_mask_add_epi16(second, static_cast<__mmask16>(offset | distance), low, step);
    low = _mm256_mask_srli_epi16(low, scaled, _mm256_mullo_epi16(first, second), 8);
    high = _mm256_mask_mov_epi16(high, scaled, first);

    const auto swapped = static_cast<__mmask16>(that(may_swap) & falling(low, high));
    const __m256i upper = _mm256_mask_mov_epi16(high, swapped, contracted(low));
    const __m256i lower = _mm256_mask_mov_epi16(low, swapped, contracted(high));
    const __m256i bytes = _mm256_packus_epi16(lower, upper); // clamps
    const __m256i magenta = _mm256_set1_epi32(static_cast<int>(0xffff00ff));
    const __mmask16 illegal = that(is_illegal);
    // Low and high ones of partitions 0 and 1, then of 2 and 3.
    const __mmask32 spoilt = (illegal & 0xff) * 0x101U | (illegal >> 8) * 0x1010000U;
    const __m512i interleaved =
        _mm512_broadcast_i64x4(_mm256_setr_epi8(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15, 16, 24,
                                                17, 25, 18, 26, 19, 27, 20, 28, 21, 29, 22, 30, 23, 31));
    return _mm512_permutexvar_epi8(interleaved,
                                   _mm512_castsi256_si512(_mm256_mask_mov_epi8(bytes, spoilt, magenta)));
}

} // namespace
} // namespace astc_avx512
