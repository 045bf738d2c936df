#pragma once
// Nodes of the trees of a block, four or eight at a time: between the values of their children, 16 bits each,
// and what a stream has of them. Included by files that are each compiled for instructions of their own.

#include <cstdint>
#include <immintrin.h>

namespace tpakutil {
namespace {

/// Four nodes. As children, a lane of 16 bits for each; as streams and counts, a lane of 64 bits for each
/// node. A node has nine bits at most.
using four_nodes = __m256i;
struct eight_nodes
{
    four_nodes first;
    four_nodes second;
};

inline __m256i table(char a0, char a1, char a2, char a3, char a4, char a5, char a6, char a7, char a8, char a9,
                     char a10, char a11, char a12, char a13, char a14, char a15)
{
    return _mm256_setr_epi8(a0, a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, a11, a12, a13, a14, a15, a0, a1, a2,
                            a3, a4, a5, a6, a7, a8, a9, a10, a11, a12, a13, a14, a15);
}

#if defined(__AVX512VBMI__) && defined(__GFNI__)

inline __m512i both(const eight_nodes& v)
{
    return _mm512_inserti64x4(_mm512_castsi256_si512(v.first), v.second, 1);
}

inline eight_nodes parts(__m512i v)
{
    return {_mm512_castsi512_si256(v), _mm512_extracti64x4_epi64(v, 1)};
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

inline eight_nodes children_of(const eight_nodes& streams, const eight_nodes& counts)
{
    const __m512i stream = both(streams);
    const __m512i bits = both(counts);
    const __m512i beyond =
        _mm512_sllv_epi64(_mm512_set1_epi64(-1), _mm512_add_epi64(bits, _mm512_slli_epi64(bits, 1)));
    const __m512i planes = _mm512_andnot_si512(beyond, _mm512_srli_epi64(stream, 2));
    const __m512i low = turned(
        _mm512_multishift_epi64_epi8(_mm512_set1_epi64(eight_bytes(21, 18, 15, 12, 9, 6, 3, 0)), planes));
    const __m512i high = _mm512_and_si512(
        _mm512_multishift_epi64_epi8(_mm512_set1_epi64(eight_bytes(24, 25, 26, 0, 0, 0, 0, 0)), planes),
        _mm512_set1_epi64(0x010101));
    const __m512i named = _mm512_permutex2var_epi8(low, places_of_children(stream), high);
    const __m512i single =
        _mm512_multishift_epi64_epi8(_mm512_set1_epi64(eight_bytes(0, 0, 1, 0, 2, 0, 3, 0)), stream);
    const __mmask8 is_single = _mm512_cmpeq_epi64_mask(bits, _mm512_set1_epi64(1));
    return parts(_mm512_mask_and_epi64(named, is_single, single, _mm512_set1_epi16(1)));
}

inline eight_nodes fields_of(const eight_nodes& all, const eight_nodes& counts)
{
    const __m512i children = both(all);
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
    const __mmask8 is_single = _mm512_cmpeq_epi64_mask(both(counts), _mm512_set1_epi64(1));
    return parts(_mm512_mask_and_epi64(named, is_single, _mm512_or_si512(pairs, _mm512_srli_epi64(pairs, 32)),
                                       _mm512_set1_epi64(15)));
}

inline four_nodes children_of(four_nodes stream, four_nodes bits)
{
    return children_of({stream, _mm256_setzero_si256()}, {bits, _mm256_setzero_si256()}).first;
}

inline four_nodes fields_of(four_nodes children, four_nodes bits)
{
    return fields_of({children, _mm256_setzero_si256()}, {bits, _mm256_setzero_si256()}).first;
}

#else

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

inline eight_nodes children_of(const eight_nodes& streams, const eight_nodes& counts)
{
    return {children_of(streams.first, counts.first), children_of(streams.second, counts.second)};
}

inline eight_nodes fields_of(const eight_nodes& children, const eight_nodes& counts)
{
    return {fields_of(children.first, counts.first), fields_of(children.second, counts.second)};
}

#endif

} // namespace
} // namespace tpakutil
