#pragma once
// Nodes of the trees of a block, eight at a time: between the values of their children, 16 bits each, and
// what a stream has of them, a lane of 64 bits for each node. A node has nine bits at most.

#include "vector_blocks.h"

namespace tpakutil {
namespace {

inline __m512i each_lane(__m128i v)
{
    return _mm512_broadcast_i32x4(v);
}

/// Bits of nodes in the stream, from counts in words; none for a count of -1.
inline __m512i bits_of_nodes(__m512i counts)
{
    return _mm512_shuffle_epi8(
        each_lane(_mm_setr_epi8(0, 4, 8, 11, 14, 17, 20, 23, 26, 29, 32, 35, 38, 41, 44, 47)), counts);
}

/// A component's word of each four.
inline __m512i component(__m512i words, int c)
{
    return _mm512_and_si512(_mm512_srli_epi64(words, static_cast<unsigned>(16 * c)),
                            _mm512_set1_epi64(0xffff));
}

/// Bytes of each 64 bits, the first one in the lowest place.
constexpr long long eight_bytes(int a, int b, int c, int d, int e, int f, int g, int h)
{
    const int each[] = {a, b, c, d, e, f, g, h};
    uint64_t all = 0;
    for (int i = 0; i < 8; i++)
        all |= static_cast<uint64_t>(each[i]) << 8 * i;
    return static_cast<long long>(all);
}

/// As a matrix of bits, what turns another one over its diagonal.
inline __m512i turned(__m512i rows)
{
    return _mm512_gf2p8affine_epi64_epi8(_mm512_set1_epi64(eight_bytes(1, 2, 4, 8, 16, 32, 64, 128)), rows,
                                         0);
}

/// Where each child's two bytes are: its lower one in a first vector, its upper one in a second, whose last
/// byte is a zero. For each of the children that can be 0.
inline __m512i places_of_children(__m512i zero_children)
{
    constexpr int zero = 64 + 7;
    const __m512i places = _mm512_broadcast_i64x4(_mm256_setr_epi64x(
        eight_bytes(zero, zero, 0, 64, 1, 65, 2, 66), eight_bytes(0, 64, zero, zero, 1, 65, 2, 66),
        eight_bytes(0, 64, 1, 65, zero, zero, 2, 66), eight_bytes(0, 64, 1, 65, 2, 66, zero, zero)));
    const __m512i from_lane =
        _mm512_mullo_epi64(_mm512_setr_epi64(0, 1, 2, 3, 4, 5, 6, 7), _mm512_set1_epi64(0x0808080808080808));
    return _mm512_or_si512(_mm512_permutexvar_epi64(zero_children, places), from_lane);
}

/// A node's planes, the lowest one first, each of three bits; none for one of no more than one bit.
inline __m512i planes_of(__m512i stream, __m512i bits)
{
    const __m512i beyond =
        _mm512_sllv_epi64(_mm512_set1_epi64(-1), _mm512_add_epi64(bits, _mm512_slli_epi64(bits, 1)));
    const __mmask8 is_named = _mm512_cmpgt_epi64_mask(bits, _mm512_set1_epi64(1));
    return _mm512_maskz_andnot_epi64(is_named, beyond, _mm512_srli_epi64(stream, 2));
}

/// The bit lengths of all children in a lane together, from planes in each half of it.
inline __m512i needed_bits(__m512i planes)
{
    planes = _mm512_or_si512(planes, _mm512_srli_epi32(planes, 3));
    planes = _mm512_or_si512(planes, _mm512_srli_epi32(planes, 6));
    planes = _mm512_or_si512(planes, _mm512_srli_epi32(planes, 12));
    planes = _mm512_or_si512(planes, _mm512_srli_epi32(planes, 24));
    return _mm512_popcnt_epi64(planes);
}

/// The children of nodes that begin with the lowest bit of each stream, and have these planes.
inline __m512i children_of(__m512i stream, __m512i bits, __m512i planes)
{
    const __m512i low = turned(
        _mm512_multishift_epi64_epi8(_mm512_set1_epi64(eight_bytes(21, 18, 15, 12, 9, 6, 3, 0)), planes));
    const __m512i high = _mm512_and_si512(
        _mm512_multishift_epi64_epi8(_mm512_set1_epi64(eight_bytes(24, 25, 26, 0, 0, 0, 0, 0)), planes),
        _mm512_set1_epi64(0x010101));
    const __m512i named = _mm512_permutex2var_epi8(low, places_of_children(stream), high);
    const __m512i single =
        _mm512_multishift_epi64_epi8(_mm512_set1_epi64(eight_bytes(0, 0, 1, 0, 2, 0, 3, 0)), stream);
    const __mmask8 is_single = _mm512_cmpeq_epi64_mask(bits, _mm512_set1_epi64(1));
    return _mm512_mask_and_epi64(named, is_single, single, _mm512_set1_epi16(1));
}

/// Nodes as the stream has them; one of no bits is nothing, those of one bit are told.
inline __m512i fields_of(__m512i children, __mmask8 is_single)
{
    const __m512i zeros = _mm512_movm_epi16(_mm512_testn_epi16_mask(children, children));
    const __m512i in_front = _mm512_andnot_si512(zeros, _mm512_add_epi64(zeros, _mm512_set1_epi64(-1)));
    const __m512i zero_child =
        _mm512_sad_epu8(_mm512_and_si512(in_front, _mm512_set1_epi16(1)), _mm512_setzero_si512());
    constexpr int first_chooses = 0xca;
    const __m512i others =
        _mm512_ternarylogic_epi64(in_front, children, _mm512_srli_epi64(children, 16), first_chooses);
    const __m512i rows = _mm512_shuffle_epi8(
        others, _mm512_broadcast_i64x4(table(-1, -1, -1, -1, -1, 4, 2, 0, -1, -1, -1, -1, -1, 12, 10, 8)));
    // Three bits of each plane, then six of two, then twelve of four.
    const __m512i two_planes = _mm512_maddubs_epi16(turned(rows), _mm512_set1_epi16(0x0801));
    const __m512i four_planes = _mm512_madd_epi16(two_planes, _mm512_set1_epi32(0x00400001));
    const __m512i low = _mm512_or_si512(four_planes, _mm512_srli_epi64(four_planes, 20));
    const __m512i ninth =
        _mm512_madd_epi16(_mm512_srli_epi16(others, 8), _mm512_set1_epi64(0x0000000400020001));
    const __m512i high = _mm512_slli_epi64(_mm512_or_si512(ninth, _mm512_srli_epi64(ninth, 32)), 24);
    const __m512i planes = _mm512_and_si512(_mm512_or_si512(low, high), _mm512_set1_epi64(0x7ffffff));
    const __m512i named = _mm512_or_si512(zero_child, _mm512_slli_epi64(planes, 2));
    const __m512i pairs = _mm512_madd_epi16(children, _mm512_set1_epi64(0x0008000400020001));
    return _mm512_mask_and_epi64(named, is_single, _mm512_or_si512(pairs, _mm512_srli_epi64(pairs, 32)),
                                 _mm512_set1_epi64(15));
}

} // namespace
} // namespace tpakutil
