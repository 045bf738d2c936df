#pragma once
// Blocks with AVX2, one at a time.
#include "avx2_nodes.h"

namespace tpakutil {
namespace {

/// Sixteen values of a component, the four pixels of each quad in a row.
using quads = __m256i;

/// Bit lengths of 16 values below 512.
inline __m256i bit_lengths(__m256i values)
{
    const __m256i nibble = _mm256_set1_epi16(15);
    const __m256i low = _mm256_shuffle_epi8(table(0, 1, 2, 2, 3, 3, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4),
                                            _mm256_and_si256(values, nibble));
    const __m256i middle = _mm256_shuffle_epi8(table(0, 5, 6, 6, 7, 7, 7, 7, 8, 8, 8, 8, 8, 8, 8, 8),
                                               _mm256_and_si256(_mm256_srli_epi16(values, 4), nibble));
    const __m256i high = _mm256_shuffle_epi8(table(0, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9, 9),
                                             _mm256_srli_epi16(values, 8));
    return _mm256_max_epi16(_mm256_max_epi16(low, middle), high);
}

inline __m256i swap_pairs(__m256i v)
{
    return _mm256_shuffle_epi8(v, table(2, 3, 0, 1, 6, 7, 4, 5, 10, 11, 8, 9, 14, 15, 12, 13));
}

inline __m256i min_of_quads(quads v)
{
    const __m256i pairs = _mm256_min_epu16(v, swap_pairs(v));
    return _mm256_min_epu16(pairs, _mm256_shuffle_epi32(pairs, 0xb1));
}

inline __m256i max_of_quads(quads v)
{
    const __m256i pairs = _mm256_max_epu16(v, swap_pairs(v));
    return _mm256_max_epu16(pairs, _mm256_shuffle_epi32(pairs, 0xb1));
}

inline uint64_t sum_of_lanes(__m256i v)
{
    const __m128i halves = _mm_add_epi64(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
    return static_cast<uint64_t>(_mm_cvtsi128_si64(halves) + _mm_extract_epi64(halves, 1));
}

/// From vectors whose quads hold one value each to one vector: component c in lane c of each quad.
inline __m256i by_component(const __m256i* v)
{
    return _mm256_blend_epi16(_mm256_blend_epi16(v[0], v[1], 0x22), _mm256_blend_epi16(v[2], v[3], 0x88),
                              0xcc);
}

inline __m256i min_over_quads(__m256i v)
{
    v = _mm256_min_epu16(v, _mm256_permute4x64_epi64(v, 0x4e));
    return _mm256_min_epu16(v, _mm256_permute4x64_epi64(v, 0xb1));
}

inline __m256i max_over_quads(__m256i v)
{
    v = _mm256_max_epu16(v, _mm256_permute4x64_epi64(v, 0x4e));
    return _mm256_max_epu16(v, _mm256_permute4x64_epi64(v, 0xb1));
}

inline void split_components(const block_rows& rows, quads* out)
{
    const __m256i left = _mm256_unpacklo_epi64(rows.even, rows.odd);  // quads 0 and 2
    const __m256i right = _mm256_unpackhi_epi64(rows.even, rows.odd); // quads 1 and 3
    const __m256i byte = _mm256_set1_epi32(0xff);
    const auto component = [&](__m256i a, __m256i b) {
        return _mm256_packus_epi32(_mm256_and_si256(a, byte), _mm256_and_si256(b, byte));
    };
    out[0] = component(left, right);
    out[1] = component(_mm256_srli_epi32(left, 8), _mm256_srli_epi32(right, 8));
    out[2] = component(_mm256_srli_epi32(left, 16), _mm256_srli_epi32(right, 16));
    out[3] = _mm256_packus_epi32(_mm256_srli_epi32(left, 24), _mm256_srli_epi32(right, 24));
}

inline void to_yuv(const fast_format& format, quads* v)
{
    const __m256i middle = _mm256_set1_epi16(static_cast<short>(1 << format.component_bits[1]));
    const quads red = v[0];
    const quads green = v[1];
    const quads blue = v[2];
    v[0] =
        _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(red, blue), _mm256_add_epi16(green, green)), 2);
    v[1] = _mm256_add_epi16(middle, _mm256_sub_epi16(red, green));
    v[2] = _mm256_add_epi16(middle, _mm256_sub_epi16(blue, green));
}

/// The trees of a block, coded so that each quad's count is within -2 and +1 of its root's.
struct block_trees
{
    quads leaves[4];
    quads nodes; // a component for each four lanes
    // Quad by quad, each by component.
    __m256i quad_counts;
    __m256i quad_lengths; // bits in the stream
    // By component, 16 bits each.
    uint64_t bases;
    uint64_t root_counts; // -1 for a flat component
    uint64_t root_lengths;
    uint64_t deltas;
};

/// From quads of four components to components of four quads.
inline __m256i transposed(__m256i by_quad)
{
    const __m256i pairs =
        _mm256_shuffle_epi8(by_quad, table(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15));
    const __m128i low = _mm256_castsi256_si128(pairs);
    const __m128i high = _mm256_extracti128_si256(pairs, 1);
    return _mm256_set_m128i(_mm_unpackhi_epi32(low, high), _mm_unpacklo_epi32(low, high));
}

inline uint64_t low_lanes(__m256i v)
{
    return static_cast<uint64_t>(_mm_cvtsi128_si64(_mm256_castsi256_si128(v)));
}

inline void build_trees(const quads* v, block_trees& trees)
{
    __m256i minima[4];
    __m256i ranges[4];
    const auto build = [&](int c) {
        minima[c] = min_of_quads(v[c]);
        ranges[c] = _mm256_sub_epi16(max_of_quads(v[c]), minima[c]);
        trees.leaves[c] = _mm256_sub_epi16(v[c], minima[c]);
    };
    for (int c = 0; c < 3; c++)
        build(c);
    // Most frames are opaque, or have no fourth component.
    const __m256i alpha = _mm256_broadcastw_epi16(_mm256_castsi256_si128(v[3]));
    const __m256i other_alpha = _mm256_xor_si256(alpha, v[3]);
    if (_mm256_testz_si256(other_alpha, other_alpha)) {
        minima[3] = alpha;
        ranges[3] = _mm256_setzero_si256();
    } else {
        build(3);
    }
    const __m256i nodes = by_component(minima);
    const __m256i base = min_over_quads(nodes);
    const __m256i root_range = _mm256_sub_epi16(max_over_quads(nodes), base);
    trees.nodes = transposed(_mm256_sub_epi16(nodes, base));
    trees.bases = low_lanes(base);

    // Counts, widened until each quad's is within -2 and +1 of the root's; -1 for a flat component.
    __m256i quad = bit_lengths(by_component(ranges));
    __m256i root = bit_lengths(root_range);
    const __m256i widest = max_over_quads(quad);
    const __m256i flat = _mm256_cmpeq_epi16(_mm256_or_si256(widest, root), _mm256_setzero_si256());
    root = _mm256_max_epi16(_mm256_sub_epi16(widest, _mm256_set1_epi16(1)), root);
    root = _mm256_or_si256(root, flat);
    quad = _mm256_max_epi16(_mm256_sub_epi16(root, _mm256_set1_epi16(2)), quad);
    trees.quad_counts = quad;
    trees.root_counts = low_lanes(root);

    __m256i deltas = _mm256_and_si256(_mm256_sub_epi16(quad, root), _mm256_set1_epi16(3));
    deltas = _mm256_sllv_epi64(deltas, _mm256_setr_epi64x(0, 2, 4, 6));
    deltas = _mm256_or_si256(deltas, _mm256_permute4x64_epi64(deltas, 0x4e));
    deltas = _mm256_or_si256(deltas, _mm256_permute4x64_epi64(deltas, 0xb1));
    trees.deltas = low_lanes(deltas);

    // Flat components have no node: their counts are -1 and 0, of no bits each.
    trees.quad_lengths = bits_of_nodes(quad);
    trees.root_lengths = low_lanes(bits_of_nodes(root));
}

/// Lane `c` of each four.
inline __m256i lane_of_quads(__m256i v, int c)
{
    return _mm256_and_si256(_mm256_srli_epi64(v, 16 * c), _mm256_set1_epi64x(0xffff));
}

/// Streams of four quads, side by side.
struct quad_streams
{
    __m256i bits;
    __m256i lengths;
};

inline quad_streams joined(const quad_streams& a, const quad_streams& b)
{
    return {_mm256_or_si256(a.bits, _mm256_sllv_epi64(b.bits, a.lengths)),
            _mm256_add_epi64(a.lengths, b.lengths)};
}

inline void store_streams(const quad_streams& streams, uint64_t* bits, uint64_t* lengths)
{
    _mm256_store_si256(reinterpret_cast<__m256i*>(bits), streams.bits);
    _mm256_store_si256(reinterpret_cast<__m256i*>(lengths), streams.lengths);
}

/// The roots' nodes, then those of the quads. Two nodes fit into one write: of two neighbours only one has
/// nine bits.
template <int components>
inline void put_trees(bit_writer& out, const block_trees& trees, __m256i lengths_of_quads)
{
    const auto lanes = [](uint64_t four) {
        return _mm256_cvtepu16_epi64(_mm_cvtsi64_si128(static_cast<long long>(four)));
    };
    const auto counts = [&](int c) { return lane_of_quads(trees.quad_counts, c); };
    const __m256i roots = fields_of(trees.nodes, lanes(trees.root_counts));
    const auto leaves = [&](int c) {
        return quad_streams{fields_of(trees.leaves[c], counts(c)), lane_of_quads(trees.quad_lengths, c)};
    };
    alignas(32) uint64_t root_bits[4];
    alignas(32) uint64_t root_lengths[4];
    store_streams({roots, lanes(trees.root_lengths)}, root_bits, root_lengths);
    alignas(32) uint64_t bits[8];
    alignas(32) uint64_t lengths[8];
    const auto put_all = [&out](const uint64_t* values, const uint64_t* counts, int n) {
        for (int i = 0; i < n; i++)
            out.put(values[i], static_cast<unsigned>(counts[i]));
    };
    if constexpr (components == 1) {
        out.put(root_bits[0], static_cast<unsigned>(root_lengths[0]));
        store_streams(leaves(0), bits, lengths);
        put_all(bits, lengths, 4);
        return;
    } else {
        const quad_streams front = joined(leaves(0), leaves(1));
        const quad_streams back = components == 3 ? leaves(2) : joined(leaves(2), leaves(3));
        const auto put_roots = [&](int c) {
            out.put(root_bits[c] | root_bits[c + 1] << root_lengths[c],
                    static_cast<unsigned>(root_lengths[c] + root_lengths[c + 1]));
        };
        put_roots(0);
        put_roots(2);
        const __m256i beyond_a_write = _mm256_cmpgt_epi64(lengths_of_quads, _mm256_set1_epi64x(56));
        if (_mm256_testz_si256(beyond_a_write, beyond_a_write)) {
            store_streams(joined(front, back), bits, lengths);
            put_all(bits, lengths, 4);
        } else {
            store_streams(front, bits, lengths);
            store_streams(back, bits + 4, lengths + 4);
            for (int quad = 0; quad < 4; quad++) {
                put_all(bits + quad, lengths + quad, 1);
                put_all(bits + 4 + quad, lengths + 4 + quad, 1);
            }
        }
    }
}

struct avx2_kernel
{
    static constexpr unsigned read_ahead = 160; // bytes

    static bool is_solid(const uint8_t* words, int64_t stride) { return tpakutil::is_solid(words, stride); }

    void begin_superblock() {}

    fast_block encode(const fast_format& format, const block_place& place, uint64_t key_before,
                      bool may_spill, uint8_t* out)
    {
        const block_rows rows = load_rows(place.words(), place.stride);
        const uint32_t word = load32(place.words());
        if (is_flat(rows, word))
            return _flat.encode(format, word, key_before, out);
        quads v[4];
        split_components(rows, v);
        if (format.yuv)
            to_yuv(format, v);
        block_trees trees;
        build_trees(v, trees);
        return write(format, trees, may_spill, out);
    }

    static bool decode(const fast_format& format, const coded_block* blocks, int count, int64_t stride,
                       decoded_bits& sums)
    {
        for (int i = 0; i < count; i++) {
            if (!decode_block(format, blocks[i], stride, sums))
                return false;
        }
        return true;
    }

private:
    static bool decode_block(const fast_format& format, const coded_block& block, int64_t stride,
                             decoded_bits& sums);
    static fast_block write(const fast_format& format, const block_trees& trees, bool may_spill, uint8_t* out)
    {
        const __m256i lengths_of_quads = _mm256_sad_epu8(trees.quad_lengths, _mm256_setzero_si256());
        const head_stream head = head_of(format, trees.root_counts, trees.bases, trees.deltas);
        const auto tree_bits =
            static_cast<unsigned>((trees.root_lengths * lane_bits >> 48) + sum_of_lanes(lengths_of_quads));
        const int size = head.size_with(tree_bits);
        if (size >= format.block_size)
            return {format.block_size, true, no_flat_key};

        uint8_t stream[most_block_bytes + 16];
        bit_writer writer{may_spill ? out : stream};
        head.put(writer);
        // Flat components have nodes of no bits. Only what is often flat for long is worth a branch.
        if (!head.flat_alpha)
            put_trees<4>(writer, trees, lengths_of_quads);
        else if (!head.grey)
            put_trees<3>(writer, trees, lengths_of_quads);
        else
            put_trees<1>(writer, trees, lengths_of_quads);
        if (!may_spill)
            copy_block(out, stream, size);
        return {size, false, no_flat_key};
    }

    flat_blocks _flat;
};

/// Each of four values in all lanes of its quad.
inline quads spread(uint64_t values)
{
    const __m256i each = _mm256_set1_epi64x(static_cast<long long>(values));
    const __m256i lanes = _mm256_setr_epi8(0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 2, 3, 4, 5, 4, 5, 4, 5,
                                           4, 5, 6, 7, 6, 7, 6, 7, 6, 7);
    return _mm256_shuffle_epi8(each, lanes);
}

/// Whether all colours are in range.
inline bool to_rgb(const fast_format& format, quads* v)
{
    const auto all = [](int value) { return _mm256_set1_epi16(static_cast<short>(value)); };
    const int middle = 1 << format.component_bits[1];
    const __m256i sum = _mm256_sub_epi16(_mm256_slli_epi16(v[0], 2), _mm256_add_epi16(v[1], v[2]));
    const quads green = _mm256_srai_epi16(_mm256_add_epi16(sum, all(2 * middle + 3)), 2);
    const __m256i shift = _mm256_sub_epi16(green, all(middle));
    v[0] = _mm256_add_epi16(v[1], shift);
    v[1] = green;
    v[2] = _mm256_add_epi16(v[2], shift);
    const auto beyond = [&](int c) {
        return _mm256_and_si256(v[c], all(~((1 << format.component_bits[c]) - 1)));
    };
    const __m256i outside = _mm256_or_si256(_mm256_or_si256(beyond(0), beyond(1)), beyond(2));
    return _mm256_testz_si256(outside, outside);
}

inline void store_rows(const quads* v, uint8_t* words, int64_t stride)
{
    const __m256i front = _mm256_or_si256(v[0], _mm256_slli_epi16(v[1], 8));
    const __m256i back = _mm256_or_si256(v[2], _mm256_slli_epi16(v[3], 8));
    const __m256i left = _mm256_unpacklo_epi16(front, back);
    const __m256i right = _mm256_unpackhi_epi16(front, back);
    const __m256i even = _mm256_unpacklo_epi64(left, right);
    const __m256i odd = _mm256_unpackhi_epi64(left, right);
    const auto row = [&](int y) { return reinterpret_cast<__m128i*>(words + y * stride); };
    _mm_storeu_si128(row(0), _mm256_castsi256_si128(even));
    _mm_storeu_si128(row(1), _mm256_castsi256_si128(odd));
    _mm_storeu_si128(row(2), _mm256_extracti128_si256(even, 1));
    _mm_storeu_si128(row(3), _mm256_extracti128_si256(odd, 1));
}

/// What stands before the nodes of a block.
struct block_head
{
    // By component, 16 bits each.
    uint64_t root_counts; // 0 for a flat one
    uint64_t root_places; // bits of the stream
    uint64_t bases;
    // Quad by quad, each by component.
    __m256i quad_counts;
    __m256i quad_places;
    int components;     // the last one with nodes, counted from 1
    unsigned root_bits; // of all roots' nodes
    unsigned bits;      // of the whole stream
    bool is_wide;       // has nodes wider than any component
    coded_head coded;
};

/// `needed`: what the children of nodes of more than a bit would have needed.
inline void count_nodes(const block_head& head, uint32_t needed, uint32_t times, decoded_bits& sums)
{
    const __m256i one = _mm256_set1_epi16(1);
    const __m256i roots = _mm256_castsi128_si256(_mm_cvtsi64_si128(static_cast<long long>(head.root_counts)));
    const auto in_words = [](__m256i mask) {
        return static_cast<unsigned>(_mm_popcnt_u32(static_cast<unsigned>(_mm256_movemask_epi8(mask)))) / 2;
    };
    const auto nodes_of = [&](auto is) { return in_words(is(head.quad_counts)) + in_words(is(roots)); };
    const unsigned single = nodes_of([&](__m256i counts) { return _mm256_cmpeq_epi16(counts, one); });
    const unsigned wider = nodes_of([&](__m256i counts) { return _mm256_cmpgt_epi16(counts, one); });
    const unsigned all = head.bits - head.coded.bits;
    sums.m3 += times * head.root_bits;
    sums.m4 += times * (all - head.root_bits);
    sums.used += times * (all - 4 * single - 2 * wider);
    sums.needed += times * needed;
}

/// Each of 16 lanes, and all those below it.
inline __m256i running_sum(__m256i v)
{
    v = _mm256_add_epi16(v, _mm256_slli_epi64(v, 16));
    v = _mm256_add_epi16(v, _mm256_slli_epi64(v, 32));
    const __m256i sums =
        _mm256_shuffle_epi8(v, table(6, 7, 6, 7, 6, 7, 6, 7, 14, 15, 14, 15, 14, 15, 14, 15));
    const __m256i one_below =
        _mm256_blend_epi32(_mm256_permute4x64_epi64(sums, 0x90), _mm256_setzero_si256(), 3);
    const __m256i two_below = _mm256_add_epi16(one_below, _mm256_permute4x64_epi64(one_below, 0x90));
    return _mm256_add_epi16(v, _mm256_add_epi16(two_below, _mm256_permute4x64_epi64(two_below, 0x40)));
}

inline void read_head(const fast_format& format, const uint8_t* data, block_head& head)
{
    const coded_head coded = read_coded_head(format, data);
    head.coded = coded;
    head.root_counts = coded.root_counts;
    head.bases = coded.bases;
    const bool grey = (coded.flat & 0xffffffff0000) == 0xffffffff0000;
    head.components = coded.flat_alpha() ? (grey ? 1 : 3) : 4;

    // The two's complement of two bits, modulo 16.
    const __m256i two = _mm256_set1_epi16(2);
    __m256i counts = _mm256_srlv_epi64(_mm256_set1_epi64x(static_cast<long long>(coded.deltas)),
                                       _mm256_setr_epi64x(0, 2, 4, 6));
    counts = _mm256_xor_si256(_mm256_and_si256(counts, _mm256_set1_epi16(3)), two);
    counts = _mm256_add_epi16(_mm256_sub_epi16(counts, two),
                              _mm256_set1_epi64x(static_cast<long long>(head.root_counts)));
    counts = _mm256_and_si256(counts, _mm256_set1_epi16(15));
    const __m256i roots = _mm256_castsi128_si256(_mm_cvtsi64_si128(static_cast<long long>(head.root_counts)));
    const __m256i widest = _mm256_set1_epi16(most_node_bits);
    const __m256i wide = _mm256_cmpgt_epi16(_mm256_max_epi16(counts, roots), widest);
    head.is_wide = !_mm256_testz_si256(wide, wide);
    head.quad_counts = counts;
    const uint64_t root_lengths = low_lanes(bits_of_nodes(roots));
    const uint64_t root_ends = root_lengths * lane_bits;
    head.root_bits = static_cast<unsigned>(root_ends >> 48);
    head.root_places = (root_ends << 16) + coded.bits * lane_bits;
    const __m256i quad_lengths = bits_of_nodes(counts);
    const __m256i before = _mm256_set1_epi16(static_cast<short>(coded.bits + head.root_bits));
    const __m256i ends = _mm256_add_epi16(before, running_sum(quad_lengths));
    head.quad_places = _mm256_sub_epi16(ends, quad_lengths);
    head.bits = static_cast<unsigned>(_mm256_extract_epi16(ends, 15));
}

/// Four nodes of the stream, each from its first bit on.
inline __m256i load_nodes(const uint8_t* data, const uint16_t* bytes, int step, __m256i first_bits)
{
    const auto node = [&](int i) { return static_cast<long long>(load64(data + bytes[i * step])); };
    return _mm256_srlv_epi64(_mm256_setr_epi64x(node(0), node(1), node(2), node(3)), first_bits);
}

/// Bits of the children of nodes of more than a bit, in the words of each sum.
inline __m256i needed_bits(__m256i children, __m256i counts)
{
    return _mm256_and_si256(bit_lengths(children), _mm256_cmpgt_epi64(counts, _mm256_set1_epi64x(1)));
}

/// The values of the first components of a block. Returns the bits that their nodes would have needed.
template <int components>
inline uint32_t read_nodes(const fast_format& format, const uint8_t* data, const block_head& head, quads* v)
{
    const __m256i seven = _mm256_set1_epi16(7);
    alignas(32) uint16_t bytes[16];
    const auto lanes = [](uint64_t four) {
        return _mm256_cvtepu16_epi64(_mm_cvtsi64_si128(static_cast<long long>(four)));
    };
    const __m256i root_places = lanes(head.root_places);
    _mm256_store_si256(reinterpret_cast<__m256i*>(bytes), _mm256_srli_epi64(root_places, 3));
    const __m256i root_stream =
        load_nodes(data, bytes, 4, _mm256_and_si256(root_places, _mm256_set1_epi64x(7)));
    alignas(32) uint16_t leaf_bytes[16];
    _mm256_store_si256(reinterpret_cast<__m256i*>(leaf_bytes), _mm256_srli_epi16(head.quad_places, 3));
    const __m256i leaf_bits = _mm256_and_si256(head.quad_places, seven);
    const auto stream = [&](int c) {
        return load_nodes(data, leaf_bytes + c, 4, lane_of_quads(leaf_bits, c));
    };
    const auto counts = [&](int c) { return lane_of_quads(head.quad_counts, c); };
    const __m256i root_counts = lanes(head.root_counts);
    const __m256i roots = children_of(root_stream, root_counts);
    __m256i needed = needed_bits(roots, root_counts);
    alignas(32) uint64_t root_children[4];
    _mm256_store_si256(reinterpret_cast<__m256i*>(root_children), roots);
#pragma GCC unroll 4
    for (int c = 0; c < components; c++) {
        const __m256i leaves = children_of(stream(c), counts(c));
        needed = _mm256_add_epi16(needed, needed_bits(leaves, counts(c)));
        v[c] = _mm256_and_si256(_mm256_add_epi16(v[c], _mm256_add_epi16(leaves, spread(root_children[c]))),
                                _mm256_set1_epi16(static_cast<short>((1 << format.body_bits[c]) - 1)));
    }
    return static_cast<uint32_t>(sum_of_lanes(_mm256_sad_epu8(needed, _mm256_setzero_si256())));
}

bool avx2_kernel::decode_block(const fast_format& format, const coded_block& block, int64_t stride,
                               decoded_bits& sums)
{
    const uint8_t* data = block.data;
    block_head head;
    read_head(format, data, head);
    const unsigned taken = (head.bits + 7) >> 3;
    if (head.is_wide || (taken < 2 ? 2 : taken) != block.size)
        return false;
    quads v[4];
    for (int c = 0; c < 4; c++)
        v[c] = _mm256_set1_epi16(static_cast<short>(head.bases >> 16 * c));
    uint32_t needed;
    if (head.components == 1)
        needed = read_nodes<1>(format, data, head, v);
    else if (head.components == 3)
        needed = read_nodes<3>(format, data, head, v);
    else
        needed = read_nodes<4>(format, data, head, v);
    if (format.yuv && !to_rgb(format, v))
        return false;
    store_rows(v, block.out, stride);
    count_head(format, head.coded, block.times, sums);
    count_nodes(head, needed, block.times, sums);
    return true;
}

} // namespace
} // namespace tpakutil
