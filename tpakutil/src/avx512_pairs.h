#pragma once
// Decodes compressed blocks of a superblock two at a time, with AVX-512.

#include "avx512_nodes.h"

namespace tpakutil {
namespace {

/// Whether all colours are in range.
inline bool to_rgb(const fast_format& format, __m512i* v)
{
    const auto all = [](int value) { return _mm512_set1_epi16(static_cast<short>(value)); };
    const int middle = 1 << format.component_bits[1];
    const __m512i sum = _mm512_sub_epi16(_mm512_slli_epi16(v[0], 2), _mm512_add_epi16(v[1], v[2]));
    const __m512i green = _mm512_srai_epi16(_mm512_add_epi16(sum, all(2 * middle + 3)), 2);
    const __m512i shift = _mm512_sub_epi16(green, all(middle));
    v[0] = _mm512_add_epi16(v[1], shift);
    v[1] = green;
    v[2] = _mm512_add_epi16(v[2], shift);
    const auto beyond = [&](int c) {
        return _mm512_and_si512(v[c], all(~((1 << format.component_bits[c]) - 1)));
    };
    const __m512i outside = _mm512_or_si512(_mm512_or_si512(beyond(0), beyond(1)), beyond(2));
    return !_mm512_test_epi64_mask(outside, outside);
}

/// Bits of nodes, in lanes of 32 that are still to be added.
struct node_sums
{
    __m512i roots = _mm512_setzero_si512();
    __m512i quads = _mm512_setzero_si512();
    __m512i used = _mm512_setzero_si512(); // planes
    __m512i needed = _mm512_setzero_si512();
};

/// Two blocks that are decoded together, each in a half of a vector: its quads in lanes of 64 bits, its
/// components in the words of those.
class block_pair
{
public:
    block_pair(const fast_format& format, const coded_block& first, const coded_block& second)
        : _format{format}, _blocks{first, second}, _heads{read_coded_head(format, first.data),
                                                          read_coded_head(format, second.data)}
    {
    }

    /// False when one isn't as long as it is told to be, or shows a colour that doesn't exist.
    bool decode(int64_t stride, node_sums& sums)
    {
        if (!find_nodes())
            return false;
        __m512i v[4];
        const __m512i needed = read_values(v);
        if (_format.yuv && !to_rgb(_format, v))
            return false;
        store(v, stride);
        count(needed, sums);
        return true;
    }
    const coded_head& head(int number) const { return _heads[number]; }

private:
    static __m512i halves(uint64_t first, uint64_t second)
    {
        return _mm512_mask_set1_epi64(_mm512_set1_epi64(static_cast<long long>(first)), 0xf0,
                                      static_cast<long long>(second));
    }
    static __m512i word_halves(unsigned first, unsigned second)
    {
        return _mm512_mask_set1_epi16(_mm512_set1_epi16(static_cast<short>(first)), 0xffff0000,
                                      static_cast<short>(second));
    }
    static __m512i last_words(__m512i v)
    {
        return _mm512_shuffle_epi8(
            v, each_lane(_mm_setr_epi8(6, 7, 6, 7, 6, 7, 6, 7, 14, 15, 14, 15, 14, 15, 14, 15)));
    }
    /// Each word of four, and all those below it.
    static __m512i running_sums(__m512i v) { return _mm512_mullo_epi64(v, _mm512_set1_epi64(lane_bits)); }
    bool find_nodes();
    __m512i streams_at(__m512i places) const;
    __m512i read_values(__m512i* v) const;
    void count(__m512i needed, node_sums& sums) const;
    void store(const __m512i* v, int64_t stride) const;

    const fast_format& _format;
    const coded_block _blocks[2];
    const coded_head _heads[2];
    __m512i _quad_counts;
    __m512i _quad_lengths; // bits of the stream
    __m512i _quad_places;
    // The same in all quads of a block.
    __m512i _root_counts;
    __m512i _root_lengths;
    __m512i _root_places;
};

bool block_pair::find_nodes()
{
    // The two's complement of two bits, modulo 16.
    const __m512i two = _mm512_set1_epi16(2);
    _root_counts = halves(_heads[0].root_counts, _heads[1].root_counts);
    const __m512i fields = _mm512_and_si512(_mm512_srlv_epi64(halves(_heads[0].deltas, _heads[1].deltas),
                                                              _mm512_setr_epi64(0, 2, 4, 6, 0, 2, 4, 6)),
                                            _mm512_set1_epi16(3));
    const __m512i deltas = _mm512_sub_epi16(_mm512_xor_si512(fields, two), two);
    _quad_counts = _mm512_and_si512(_mm512_add_epi16(deltas, _root_counts), _mm512_set1_epi16(15));

    _root_lengths = bits_of_nodes(_root_counts);
    const __m512i root_ends =
        _mm512_add_epi16(running_sums(_root_lengths), word_halves(_heads[0].bits, _heads[1].bits));
    _root_places = _mm512_sub_epi16(root_ends, _root_lengths);
    _quad_lengths = bits_of_nodes(_quad_counts);
    const __m512i sums = running_sums(_quad_lengths);
    const __m512i of_quads = last_words(sums);
    const __m512i before = _mm512_add_epi16(
        _mm512_add_epi16(last_words(root_ends), _mm512_maskz_permutex_epi64(0xee, of_quads, 0x90)),
        _mm512_add_epi16(_mm512_maskz_permutex_epi64(0xcc, of_quads, 0x40),
                         _mm512_maskz_permutex_epi64(0x88, of_quads, 0)));
    const __m512i ends = _mm512_add_epi16(before, sums);
    _quad_places = _mm512_sub_epi16(ends, _quad_lengths);

    const __mmask32 wide = _mm512_cmpgt_epi16_mask(_mm512_max_epi16(_quad_counts, _root_counts),
                                                   _mm512_set1_epi16(most_node_bits));
    const __m512i taken =
        _mm512_max_epi16(_mm512_srli_epi16(_mm512_add_epi16(ends, _mm512_set1_epi16(7)), 3), two);
    constexpr __mmask32 last = 0x80008000;
    const __mmask32 other =
        _mm512_mask_cmpneq_epi16_mask(last, taken, word_halves(_blocks[0].size, _blocks[1].size));
    return (wide | other) == 0;
}

/// What begins at places of the two streams, one in each 64 bits. Neither has more than 64 bytes.
__m512i block_pair::streams_at(__m512i places) const
{
    const __m512i first_byte =
        _mm512_shuffle_epi8(_mm512_srli_epi64(places, 3),
                            each_lane(_mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, 8, 8, 8, 8, 8, 8, 8, 8)));
    const __m512i bytes = _mm512_add_epi8(first_byte, halves(0x0706050403020100, 0x4746454443424140));
    const __m512i found = _mm512_permutex2var_epi8(_mm512_loadu_si512(_blocks[0].data), bytes,
                                                   _mm512_loadu_si512(_blocks[1].data));
    return _mm512_srlv_epi64(found, _mm512_and_si512(places, _mm512_set1_epi64(7)));
}

/// By component, the four pixels of each quad in a row. Returns the bits that the children of nodes of more
/// than a bit would have needed.
__m512i block_pair::read_values(__m512i* v) const
{
    // A component of the roots in each 64 bits.
    constexpr __mmask32 first_words = 0x11111111;
    const __m512i components = _mm512_setr_epi64(0, 1, 2, 3, 16, 17, 18, 19);
    const __m512i root_counts = _mm512_maskz_permutexvar_epi16(first_words, components, _root_counts);
    const __m512i root_streams =
        streams_at(_mm512_maskz_permutexvar_epi16(first_words, components, _root_places));
    const __m512i root_planes = planes_of(root_streams, root_counts);
    const __m512i roots = children_of(root_streams, root_counts, root_planes);
    const __m512i each_base = _mm512_broadcast_i64x4(_mm256_setr_epi8(
        0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 2, 3, 4, 5, 4, 5, 4, 5, 4, 5, 6, 7, 6, 7, 6, 7, 6, 7));
    const __m512i above =
        _mm512_add_epi16(roots, _mm512_shuffle_epi8(halves(_heads[0].bases, _heads[1].bases), each_base));
    const __m512i each_quad =
        _mm512_setr_epi64(0x0000000000000000, 0x0001000100010001, 0x0002000200020002, 0x0003000300030003,
                          0x0010001000100010, 0x0011001100110011, 0x0012001200120012, 0x0013001300130013);
    const bool flat_alpha = _heads[0].flat_alpha() && _heads[1].flat_alpha();
    __m512i planes[4];
    planes[3] = _mm512_setzero_si512();
#pragma GCC unroll 4
    for (int c = 0; c < 4; c++) {
        v[c] = _mm512_permutexvar_epi16(
            _mm512_add_epi16(each_quad, _mm512_set1_epi16(static_cast<short>(4 * c))), above);
        if (c == 3 && flat_alpha)
            break;
        const __m512i counts = component(_quad_counts, c);
        const __m512i streams = streams_at(component(_quad_places, c));
        planes[c] = planes_of(streams, counts);
        const __m512i leaves = children_of(streams, counts, planes[c]);
        v[c] = _mm512_and_si512(_mm512_add_epi16(v[c], leaves),
                                _mm512_set1_epi16(static_cast<short>((1 << _format.body_bits[c]) - 1)));
    }
    const auto side_by_side = [&](int c) {
        return _mm512_or_si512(planes[c], _mm512_slli_epi64(planes[c + 1], 32));
    };
    return _mm512_add_epi64(needed_bits(root_planes),
                            _mm512_add_epi64(needed_bits(side_by_side(0)), needed_bits(side_by_side(2))));
}

void block_pair::count(__m512i needed, node_sums& sums) const
{
    const __m512i times = word_halves(_blocks[0].times, _blocks[1].times);
    const __m512i plane_bits =
        each_lane(_mm_setr_epi8(0, 0, 6, 9, 12, 15, 18, 21, 24, 27, 30, 33, 36, 39, 42, 45));
    // Of the roots, only those that stand in the first quads.
    constexpr __mmask64 first_quads = 0x000000ff000000ff;
    const __m512i root_bits = _mm512_maskz_mov_epi8(first_quads, _root_lengths);
    const __m512i used = _mm512_add_epi16(_mm512_maskz_shuffle_epi8(first_quads, plane_bits, _root_counts),
                                          _mm512_shuffle_epi8(plane_bits, _quad_counts));
    const auto add = [&](__m512i& sum, __m512i bits) {
        sum = _mm512_add_epi32(sum, _mm512_madd_epi16(bits, times));
    };
    add(sums.roots, root_bits);
    add(sums.quads, _quad_lengths);
    add(sums.used, used);
    add(sums.needed, needed);
}

void block_pair::store(const __m512i* v, int64_t stride) const
{
    const __m512i front = _mm512_or_si512(v[0], _mm512_slli_epi16(v[1], 8));
    const __m512i back = _mm512_or_si512(v[2], _mm512_slli_epi16(v[3], 8));
    const __m512i left = _mm512_unpacklo_epi16(front, back);
    const __m512i right = _mm512_unpackhi_epi16(front, back);
    const __m512i even = _mm512_unpacklo_epi64(left, right);
    const __m512i odd = _mm512_unpackhi_epi64(left, right);
    const auto row = [&](int block, int y) {
        return reinterpret_cast<__m128i*>(_blocks[block].out + y * stride);
    };
    _mm_storeu_si128(row(0, 0), _mm512_castsi512_si128(even));
    _mm_storeu_si128(row(0, 1), _mm512_castsi512_si128(odd));
    _mm_storeu_si128(row(0, 2), _mm512_extracti32x4_epi32(even, 1));
    _mm_storeu_si128(row(0, 3), _mm512_extracti32x4_epi32(odd, 1));
    _mm_storeu_si128(row(1, 0), _mm512_extracti32x4_epi32(even, 2));
    _mm_storeu_si128(row(1, 1), _mm512_extracti32x4_epi32(odd, 2));
    _mm_storeu_si128(row(1, 2), _mm512_extracti32x4_epi32(even, 3));
    _mm_storeu_si128(row(1, 3), _mm512_extracti32x4_epi32(odd, 3));
}

} // namespace
} // namespace tpakutil
