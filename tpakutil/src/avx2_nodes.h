#pragma once
// Nodes of the trees of a block, four at a time: between the values of their children, 16 bits each, and what
// a stream has of them.

#include "vector_blocks.h"

namespace tpakutil {
namespace {

/// As children, a lane of 16 bits for each; as streams and counts, a lane of 64 bits for each node. A node
/// has nine bits at most.
using four_nodes = __m256i;

/// Bits of nodes in the stream, from counts in words; none for a count of -1.
inline __m256i bits_of_nodes(__m256i counts)
{
    return _mm256_shuffle_epi8(table(0, 4, 8, 11, 14, 17, 20, 23, 26, 29, 32, 35, 38, 41, 44, 47), counts);
}

/// Values of nine bits, their upper byte in front, with two zeros behind each bit.
inline __m256i to_every_third(__m256i v)
{
    v = _mm256_and_si256(v, _mm256_set1_epi32(0x0100f00f));
    v = _mm256_and_si256(_mm256_or_si256(v, _mm256_slli_epi32(v, 4)), _mm256_set1_epi32(0x010c30c3));
    return _mm256_and_si256(_mm256_or_si256(v, _mm256_slli_epi32(v, 2)), _mm256_set1_epi32(0x01249249));
}

/// Every third of 27 bits, in each half of a lane: bits 0 to 7 in its first byte, bit 8 in its last.
inline __m256i every_third(__m256i v)
{
    v = _mm256_and_si256(v, _mm256_set1_epi32(0x01249249));
    v = _mm256_and_si256(_mm256_or_si256(v, _mm256_srli_epi32(v, 2)), _mm256_set1_epi32(0x010c30c3));
    v = _mm256_and_si256(_mm256_or_si256(v, _mm256_srli_epi32(v, 4)), _mm256_set1_epi32(0x0100f00f));
    return _mm256_or_si256(v, _mm256_srli_epi32(v, 8));
}

/// The children of nodes that begin with the lowest bit of each stream.
inline four_nodes children_of(four_nodes stream, four_nodes bits)
{
    const __m256i beyond =
        _mm256_sllv_epi64(_mm256_set1_epi64x(-1), _mm256_add_epi64(bits, _mm256_add_epi64(bits, bits)));
    const __m256i planes = _mm256_andnot_si256(beyond, _mm256_srli_epi64(stream, 2));
    const __m256i halves =
        _mm256_srlv_epi32(_mm256_shuffle_epi32(planes, 0xa0), _mm256_setr_epi32(0, 1, 0, 1, 0, 1, 0, 1));
    const __m256i first = _mm256_shuffle_epi8(
        every_third(halves), table(0, 3, 4, 7, -1, -1, -1, -1, 8, 11, 12, 15, -1, -1, -1, -1));
    const __m256i last =
        _mm256_shuffle_epi8(every_third(_mm256_srli_epi64(planes, 2)),
                            table(-1, -1, -1, -1, 0, 3, -1, -1, -1, -1, -1, -1, 8, 11, -1, -1));
    const __m256i others = _mm256_or_si256(first, last);
    // The zero goes before those that stand behind it.
    const __m256i zero_child = _mm256_slli_epi64(_mm256_and_si256(stream, _mm256_set1_epi64x(3)), 4);
    const __m256i behind = _mm256_sllv_epi64(_mm256_set1_epi64x(-1), zero_child);
    const __m256i named = _mm256_or_si256(_mm256_andnot_si256(behind, others),
                                          _mm256_slli_epi64(_mm256_and_si256(behind, others), 16));
    const __m256i each_bit = _mm256_set1_epi64x(0x0008000400020001);
    const __m256i single = _mm256_and_si256(
        _mm256_shuffle_epi8(stream, table(0, 1, 0, 1, 0, 1, 0, 1, 8, 9, 8, 9, 8, 9, 8, 9)), each_bit);
    const __m256i ones = _mm256_srli_epi16(_mm256_cmpeq_epi16(single, each_bit), 15);
    const __m256i is_single = _mm256_cmpeq_epi64(bits, _mm256_set1_epi64x(1));
    return _mm256_blendv_epi8(named, ones, is_single);
}

/// Nodes as the stream has them; one of no bits is nothing.
inline __m256i fields_of(four_nodes children, four_nodes bits)
{
    const __m256i zero = _mm256_setzero_si256();
    const __m256i zeros = _mm256_cmpeq_epi16(children, zero);
    const __m256i in_front = _mm256_andnot_si256(zeros, _mm256_add_epi64(zeros, _mm256_set1_epi64x(-1)));
    const __m256i zero_child = _mm256_sad_epu8(_mm256_and_si256(in_front, _mm256_set1_epi16(1)), zero);
    const __m256i others = _mm256_blendv_epi8(_mm256_srli_epi64(children, 16), children, in_front);
    const __m256i first = to_every_third(
        _mm256_shuffle_epi8(others, table(0, 0, -1, 1, 2, 2, -1, 3, 8, 8, -1, 9, 10, 10, -1, 11)));
    const __m256i last = to_every_third(
        _mm256_shuffle_epi8(others, table(4, 4, -1, 5, -1, -1, -1, -1, 12, 12, -1, 13, -1, -1, -1, -1)));
    const __m256i two_planes = _mm256_or_si256(first, _mm256_srli_epi64(first, 31));
    const __m256i planes = _mm256_and_si256(_mm256_or_si256(two_planes, _mm256_slli_epi64(last, 2)),
                                            _mm256_set1_epi64x(0x7ffffff));
    const __m256i named = _mm256_or_si256(zero_child, _mm256_slli_epi64(planes, 2));
    const __m256i pairs = _mm256_madd_epi16(children, _mm256_set1_epi64x(0x0008000400020001));
    const __m256i single =
        _mm256_and_si256(_mm256_or_si256(pairs, _mm256_srli_epi64(pairs, 32)), _mm256_set1_epi64x(15));
    return _mm256_blendv_epi8(named, single, _mm256_cmpeq_epi64(bits, _mm256_set1_epi64x(1)));
}

} // namespace
} // namespace tpakutil
