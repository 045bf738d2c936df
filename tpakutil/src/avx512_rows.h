#pragma once
// Encodes the four blocks that stand side by side in a superblock together, with AVX-512: a block for each
// 128 bits of a vector.

#include "avx512_nodes.h"

namespace tpakutil {
namespace {

/// Four bytes of a pixel as components of 16 bits; for each block those of rows 0 and 2, or of 1 and 3.
struct row_components
{
    __m512i even[4];
    __m512i odd[4];
};

inline void load_components(const uint8_t* words, int64_t stride, row_components& out)
{
    const auto row = [&](int y) { return _mm512_loadu_si512(words + y * stride); };
    // The bytes of a component in four pixels of one row, then in four of another, with zeros between.
    constexpr __mmask64 low_bytes = 0x5555555555555555;
    const __m512i four = each_lane(_mm_setr_epi8(0, 0, 4, 0, 8, 0, 12, 0, 64, 0, 68, 0, 72, 0, 76, 0));
    const __m512i of_block =
        _mm512_setr_epi64(0, 0, 0x1010101010101010, 0x1010101010101010, 0x2020202020202020,
                          0x2020202020202020, 0x3030303030303030, 0x3030303030303030);
    const __m512i first = _mm512_add_epi8(four, of_block);
    const __m512i rows[4] = {row(0), row(1), row(2), row(3)};
#pragma GCC unroll 4
    for (int c = 0; c < 4; c++) {
        const __m512i places = _mm512_add_epi8(first, _mm512_set1_epi8(static_cast<char>(c)));
        out.even[c] = _mm512_maskz_permutex2var_epi8(low_bytes, rows[0], places, rows[2]);
        out.odd[c] = _mm512_maskz_permutex2var_epi8(low_bytes, rows[1], places, rows[3]);
    }
}

inline void to_yuv(const fast_format& format, __m512i* v)
{
    const __m512i middle = _mm512_set1_epi16(static_cast<short>(1 << format.component_bits[1]));
    const __m512i red = v[0];
    const __m512i green = v[1];
    const __m512i blue = v[2];
    v[0] =
        _mm512_srli_epi16(_mm512_add_epi16(_mm512_add_epi16(red, blue), _mm512_add_epi16(green, green)), 2);
    v[1] = _mm512_add_epi16(middle, _mm512_sub_epi16(red, green));
    v[2] = _mm512_add_epi16(middle, _mm512_sub_epi16(blue, green));
}

/// Bit lengths of 32 values below 512.
inline __m512i bit_lengths(__m512i values)
{
    const __m512i nibble = _mm512_set1_epi16(15);
    const __m512i low =
        _mm512_shuffle_epi8(each_lane(_mm_setr_epi8(0, 1, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4)),
                            _mm512_and_si512(values, nibble));
    const __m512i middle =
        _mm512_shuffle_epi8(each_lane(_mm_setr_epi8(0, 5, 6, 6, 7, 7, 7, 7, 8, 8, 8, 8, 8, 8, 8, 8)),
                            _mm512_and_si512(_mm512_srli_epi16(values, 4), nibble));
    const __m512i high =
        _mm512_shuffle_epi8(each_lane(_mm_setr_epi8(0, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9)),
                            _mm512_srli_epi16(values, 8));
    return _mm512_max_epi16(_mm512_max_epi16(low, middle), high);
}

/// Something of each quad, by component of 16 bits: of the two upper quads of each block, and the two lower.
struct quad_values
{
    __m512i upper;
    __m512i lower;
};

/// From vectors that have a quad's value twice in each 32 bits.
inline quad_values by_quad(const __m512i* of_components)
{
    constexpr __mmask32 odd = 0xaaaaaaaa;
    const __m512i front = _mm512_mask_blend_epi16(odd, of_components[0], of_components[1]);
    const __m512i back = _mm512_mask_blend_epi16(odd, of_components[2], of_components[3]);
    return {_mm512_unpacklo_epi32(front, back), _mm512_unpackhi_epi32(front, back)};
}

inline __m512i swap_halves(__m512i v)
{
    return _mm512_shuffle_epi32(v, _MM_PERM_BADC);
}

inline __m512i min_over_quads(const quad_values& v)
{
    const __m512i two = _mm512_min_epu16(v.upper, v.lower);
    return _mm512_min_epu16(two, swap_halves(two));
}

inline __m512i max_over_quads(const quad_values& v)
{
    const __m512i two = _mm512_max_epi16(v.upper, v.lower);
    return _mm512_max_epi16(two, swap_halves(two));
}

/// A row of four blocks on its way into the stream.
class block_row
{
public:
    void build(const fast_format& format, const uint8_t* words, int64_t stride);

    /// By component, 16 bits each.
    uint64_t root_counts(unsigned block) const { return _root_counts[2 * block]; }
    uint64_t bases(unsigned block) const { return _bases[2 * block]; }
    uint64_t deltas(unsigned block) const { return _deltas[2 * block]; }
    unsigned tree_bits(unsigned block) const { return static_cast<unsigned>(_tree_bits[2 * block]); }

    /// The roots' nodes, then those of the quads.
    void put_trees(bit_writer& out, unsigned block)
    {
        if (!_has_fields)
            make_fields();
        const unsigned at = 2 * block;
        if (_is_narrow) {
            out.put(_roots[0].bits[at], static_cast<unsigned>(_roots[0].lengths[at]));
            put(out, _upper[0], at);
            put(out, _upper[0], at + 1);
            put(out, _lower[0], at);
            put(out, _lower[0], at + 1);
            return;
        }
        put(out, _roots[0], at);
        put(out, _roots[1], at);
        for (const streams* half : {_upper, _lower}) {
            for (unsigned quad = at; quad < at + 2; quad++) {
                put(out, half[0], quad);
                put(out, half[1], quad);
            }
        }
    }

private:
    /// Two for each block.
    struct streams
    {
        alignas(64) uint64_t bits[8];
        alignas(64) uint64_t lengths[8];
    };
    struct stream_vectors
    {
        __m512i bits;
        __m512i lengths;
    };

    static void put(bit_writer& out, const streams& from, unsigned at)
    {
        out.put(from.bits[at], static_cast<unsigned>(from.lengths[at]));
    }
    static stream_vectors joined(const stream_vectors& a, const stream_vectors& b)
    {
        return {_mm512_or_si512(a.bits, _mm512_sllv_epi64(b.bits, a.lengths)),
                _mm512_add_epi64(a.lengths, b.lengths)};
    }
    static void store(const stream_vectors& v, streams& to)
    {
        _mm512_store_si512(to.bits, v.bits);
        _mm512_store_si512(to.lengths, v.lengths);
    }
    /// A component's nodes of two quads of each block.
    static stream_vectors fields(__m512i leaves, __m512i counts, __m512i lengths, int c)
    {
        return {fields_of(leaves, _mm512_cmpeq_epi64_mask(component(counts, c), _mm512_set1_epi64(1))),
                component(lengths, c)};
    }
    void make_fields();

    alignas(64) uint64_t _root_counts[8]; // -1 for a flat component
    alignas(64) uint64_t _bases[8];
    alignas(64) uint64_t _deltas[8];
    alignas(64) uint64_t _tree_bits[8];
    __m512i _upper_leaves[4];
    __m512i _lower_leaves[4];
    __m512i _nodes[2]; // of components 0 and 1, and of 2 and 3
    quad_values _counts;
    quad_values _lengths;
    __m512i _root_lengths;
    streams _roots[2];
    streams _upper[2];
    streams _lower[2];
    bool _has_fields;
    bool _is_narrow; // a quad's stream is one put
};

void block_row::build(const fast_format& format, const uint8_t* words, int64_t stride)
{
    row_components v;
    load_components(words, stride, v);
    if (format.yuv) {
        to_yuv(format, v.even);
        to_yuv(format, v.odd);
    }
    __m512i minima[4];
    __m512i ranges[4];
#pragma GCC unroll 4
    for (int c = 0; c < 4; c++) {
        const auto swapped = [](__m512i pairs) { return _mm512_rol_epi32(pairs, 16); };
        const __m512i low = _mm512_min_epu16(v.even[c], v.odd[c]);
        const __m512i high = _mm512_max_epu16(v.even[c], v.odd[c]);
        minima[c] = _mm512_min_epu16(low, swapped(low));
        ranges[c] = _mm512_sub_epi16(_mm512_max_epu16(high, swapped(high)), minima[c]);
        const __m512i even = _mm512_sub_epi16(v.even[c], minima[c]);
        const __m512i odd = _mm512_sub_epi16(v.odd[c], minima[c]);
        _upper_leaves[c] = _mm512_unpacklo_epi32(even, odd);
        _lower_leaves[c] = _mm512_unpackhi_epi32(even, odd);
    }
    const quad_values nodes = by_quad(minima);
    const __m512i base = min_over_quads(nodes);
    const __m512i root_range = _mm512_sub_epi16(max_over_quads(nodes), base);
    const quad_values above{_mm512_sub_epi16(nodes.upper, base), _mm512_sub_epi16(nodes.lower, base)};
    // From components of each quad to quads of each component.
    const __m512i pairs = each_lane(_mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15));
    const __m512i upper_pairs = _mm512_shuffle_epi8(above.upper, pairs);
    const __m512i lower_pairs = _mm512_shuffle_epi8(above.lower, pairs);
    _nodes[0] = _mm512_unpacklo_epi32(upper_pairs, lower_pairs);
    _nodes[1] = _mm512_unpackhi_epi32(upper_pairs, lower_pairs);

    // Counts, widened until each quad's is within -2 and +1 of the root's; -1 for a flat component.
    const quad_values quad_ranges = by_quad(ranges);
    _counts = {bit_lengths(quad_ranges.upper), bit_lengths(quad_ranges.lower)};
    const __m512i widest = max_over_quads(_counts);
    __m512i root = bit_lengths(root_range);
    const __m512i either = _mm512_or_si512(widest, root);
    const __mmask32 flat = _mm512_testn_epi16_mask(either, either);
    root = _mm512_max_epi16(_mm512_sub_epi16(widest, _mm512_set1_epi16(1)), root);
    root = _mm512_mask_set1_epi16(root, flat, -1);
    const __m512i least = _mm512_sub_epi16(root, _mm512_set1_epi16(2));
    _counts = {_mm512_max_epi16(least, _counts.upper), _mm512_max_epi16(least, _counts.lower)};

    const __m512i two_bits = _mm512_set1_epi16(3);
    const __m512i upper = _mm512_and_si512(_mm512_sub_epi16(_counts.upper, root), two_bits);
    const __m512i lower = _mm512_and_si512(_mm512_sub_epi16(_counts.lower, root), two_bits);
    const __m512i first = _mm512_or_si512(upper, _mm512_slli_epi16(lower, 4));
    const __m512i deltas = _mm512_or_si512(first, _mm512_slli_epi16(swap_halves(first), 2));

    // Flat components have no node: their counts are -1 and 0, of no bits each.
    _lengths = {bits_of_nodes(_counts.upper), bits_of_nodes(_counts.lower)};
    _root_lengths = bits_of_nodes(root);
    const __m512i none = _mm512_setzero_si512();
    const __m512i quad_bits =
        _mm512_add_epi64(_mm512_sad_epu8(_lengths.upper, none), _mm512_sad_epu8(_lengths.lower, none));
    const __m512i bits = _mm512_add_epi64(_mm512_add_epi64(quad_bits, swap_halves(quad_bits)),
                                          _mm512_sad_epu8(_root_lengths, none));
    _mm512_store_si512(_root_counts, root);
    _mm512_store_si512(_bases, base);
    _mm512_store_si512(_deltas, deltas);
    _mm512_store_si512(_tree_bits, bits);
    _has_fields = false;
}

void block_row::make_fields()
{
    _has_fields = true;
    stream_vectors upper[2];
    stream_vectors lower[2];
#pragma GCC unroll 4
    for (int c = 0; c < 4; c += 2) {
        upper[c / 2] = joined(fields(_upper_leaves[c], _counts.upper, _lengths.upper, c),
                              fields(_upper_leaves[c + 1], _counts.upper, _lengths.upper, c + 1));
        lower[c / 2] = joined(fields(_lower_leaves[c], _counts.lower, _lengths.lower, c),
                              fields(_lower_leaves[c + 1], _counts.lower, _lengths.lower, c + 1));
    }
    // A component's count or length in each 64 bits; of roots, whose two neighbours make one stream.
    const __m512i first_two =
        each_lane(_mm_setr_epi8(0, -1, -1, -1, -1, -1, -1, -1, 2, -1, -1, -1, -1, -1, -1, -1));
    const __m512i last_two =
        each_lane(_mm_setr_epi8(4, -1, -1, -1, -1, -1, -1, -1, 6, -1, -1, -1, -1, -1, -1, -1));
    const __m512i root_counts = _mm512_load_si512(_root_counts);
    stream_vectors roots[2];
#pragma GCC unroll 4
    for (int pair = 0; pair < 2; pair++) {
        const __m512i choice = pair ? last_two : first_two;
        const __m512i counts = _mm512_shuffle_epi8(root_counts, choice);
        const __m512i lengths = _mm512_shuffle_epi8(_root_lengths, choice);
        const __m512i nodes = fields_of(_nodes[pair], _mm512_cmpeq_epi64_mask(counts, _mm512_set1_epi64(1)));
        roots[pair] = joined({nodes, lengths}, {swap_halves(nodes), swap_halves(lengths)});
    }
    constexpr long long most = 56; // of a put
    const stream_vectors all[3] = {joined(roots[0], roots[1]), joined(upper[0], upper[1]),
                                   joined(lower[0], lower[1])};
    const __m512i longest =
        _mm512_max_epi64(_mm512_max_epi64(all[0].lengths, all[1].lengths), all[2].lengths);
    // The second one of a pair of roots is in other places too, where nothing looks at it.
    _is_narrow = !_mm512_cmpgt_epi64_mask(longest, _mm512_set1_epi64(most));
    const auto store_half = [this](const stream_vectors& whole, const stream_vectors* parts, streams* to) {
        if (_is_narrow) {
            store(whole, to[0]);
            return;
        }
        store(parts[0], to[0]);
        store(parts[1], to[1]);
    };
    store_half(all[0], roots, _roots);
    store_half(all[1], upper, _upper);
    store_half(all[2], lower, _lower);
}

} // namespace
} // namespace tpakutil
