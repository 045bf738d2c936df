#pragma once
// What the coders of blocks with AVX2 and with AVX-512 have in common: streams, flat blocks, and what stands
// before the nodes of others. The files that include this are compiled for AVX2, BMI2 and more, so it calls
// nothing that other files may share: no templates but its own.

#include "fast_frame.h"

#include <immintrin.h>

namespace tpakutil {
namespace {

constexpr int most_node_bits = 9; // a component's, coded as a difference of colours
constexpr uint64_t lane_bits = 0x0001000100010001;

inline __m256i table(char a0, char a1, char a2, char a3, char a4, char a5, char a6, char a7, char a8, char a9,
                     char a10, char a11, char a12, char a13, char a14, char a15)
{
    return _mm256_setr_epi8(a0, a1, a2, a3, a4, a5, a6, a7, a8, a9, a10, a11, a12, a13, a14, a15, a0, a1, a2,
                            a3, a4, a5, a6, a7, a8, a9, a10, a11, a12, a13, a14, a15);
}

/// A bit stream of at most 128 bytes.
struct bit_writer
{
    uint8_t* out;
    uint64_t pending = 0;
    unsigned count = 0;

    /// At most 56 bits.
    void put(uint64_t value, unsigned bits)
    {
        pending |= value << count;
        count += bits;
        std::memcpy(out, &pending, 8);
        out += count >> 3;
        pending >>= count & 0x38;
        count &= 7;
    }
};

struct block_rows
{
    __m256i even; // rows 0 and 2
    __m256i odd;  // rows 1 and 3
};

inline block_rows load_rows(const uint8_t* words, int64_t stride)
{
    const auto row = [&](int y) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(words + y * stride));
    };
    return {_mm256_set_m128i(row(2), row(0)), _mm256_set_m128i(row(3), row(1))};
}

/// The one value of a flat block, as its components are coded: at most 50 bits.
struct flat_stream
{
    uint64_t bits = 0;
    unsigned count = 0;
    uint64_t key = 0;

    int size() const { return static_cast<int>((count + 7) >> 3); }
    /// Four bytes to seven.
    void store(uint8_t* out) const
    {
        const auto front = static_cast<uint32_t>(bits);
        const auto back = static_cast<uint32_t>(bits >> 8 * (size() - 4));
        std::memcpy(out, &front, 4);
        std::memcpy(out + size() - 4, &back, 4);
    }
};

inline flat_stream flat_stream_of(const fast_format& format, uint32_t word)
{
    uint32_t values[4] = {word & 0xff, word >> 8 & 0xff, word >> 16 & 0xff, word >> 24};
    if (format.yuv) {
        const uint32_t middle = 1u << format.component_bits[1];
        const uint32_t red = values[0];
        const uint32_t green = values[1];
        const uint32_t blue = values[2];
        values[0] = (blue + 2 * green + red) >> 2;
        values[1] = middle + red - green;
        values[2] = middle + blue - green;
    }
    const bool opaque = format.ncomponents == 4 && values[3] == format.default_value[3];
    flat_stream stream;
    for (int c = 0; c < format.ncomponents; c++) {
        const uint64_t ones = (1u << format.root_bits[c]) - 1;
        stream.bits |= (c == 3 && opaque ? ones - 1 : ones) << stream.count;
        stream.count += static_cast<unsigned>(format.root_bits[c]);
        stream.key = stream.key << 16 | values[c];
    }
    for (int c = 0; c < format.ncomponents - opaque; c++) {
        stream.bits |= uint64_t{values[c]} << stream.count;
        stream.count += static_cast<unsigned>(format.body_bits[c]);
    }
    return stream;
}

inline bool is_flat(const block_rows& rows, uint32_t word)
{
    const __m256i first = _mm256_set1_epi32(static_cast<int>(word));
    const __m256i other =
        _mm256_or_si256(_mm256_xor_si256(rows.even, first), _mm256_xor_si256(rows.odd, first));
    return _mm256_testz_si256(other, other);
}

/// Keeps the last flat block's colour, which the next one often has too.
class flat_blocks
{
public:
    fast_block encode(const fast_format& format, uint32_t word, uint64_t key_before, uint8_t* out)
    {
        if (word != _word || _stream.count == 0) {
            _stream = flat_stream_of(format, word);
            _word = word;
        }
        if (_stream.key != key_before)
            _stream.store(out);
        return {_stream.size(), false, _stream.key};
    }

private:
    uint32_t _word = 0;
    flat_stream _stream;
};

/// What stands before the nodes of a block.
struct head_stream
{
    uint64_t counts;
    uint64_t bases;
    unsigned count_bits;
    unsigned base_bits;
    bool flat_alpha;
    bool grey;

    /// Bytes of the whole block.
    int size_with(unsigned tree_bits) const
    {
        return static_cast<int>((count_bits + base_bits + tree_bits + 7) >> 3);
    }
    void put(bit_writer& out) const
    {
        out.put(counts, count_bits);
        out.put(bases, base_bits);
    }
};

/// From counts, -1 for a flat component, base values and deltas by component, 16 bits each.
inline head_stream head_of(const fast_format& format, uint64_t root_counts, uint64_t bases, uint64_t deltas)
{
    head_stream head;
    head.flat_alpha = root_counts >> 63;
    const bool opaque = format.ncomponents == 4 && head.flat_alpha && bases >> 48 == format.default_value[3];
    const uint64_t roots =
        _pext_u64(root_counts, format.root_mask) - (uint64_t{opaque} << format.alpha_root_bit);
    const uint64_t flat = (root_counts >> 15 & lane_bits) * 0xff;
    head.grey = (flat >> 16 & 1) && (flat >> 32 & 1);
    const uint64_t delta_mask = format.delta_mask & ~flat;
    const uint64_t base_mask = opaque ? format.base_mask & 0xffffffffffff : format.base_mask;
    head.counts = roots | _pext_u64(deltas, delta_mask) << format.all_root_bits;
    head.count_bits = format.all_root_bits + static_cast<unsigned>(_mm_popcnt_u64(delta_mask));
    head.bases = _pext_u64(bases, base_mask);
    head.base_bits = static_cast<unsigned>(_mm_popcnt_u64(base_mask));
    return head;
}

inline uint64_t widen_lanes(uint64_t lanes_of_one)
{
    return lanes_of_one * 0xffff;
}

inline bool is_solid(const uint8_t* words, int64_t stride)
{
    const __m256i first = _mm256_set1_epi32(static_cast<int>(load32(words)));
    for (int y = 0; y < superblock_side; y++, words += stride) {
        const auto* row = reinterpret_cast<const __m256i*>(words);
        const __m256i other = _mm256_or_si256(_mm256_xor_si256(_mm256_loadu_si256(row), first),
                                              _mm256_xor_si256(_mm256_loadu_si256(row + 1), first));
        if (!_mm256_testz_si256(other, other))
            return false;
    }
    return true;
}

/// What stands before the nodes of a block that is decoded.
struct coded_head
{
    // By component, 16 bits each.
    uint64_t root_counts; // 0 for a flat one
    uint64_t deltas;
    uint64_t bases;
    uint64_t flat; // all ones for a flat one
    unsigned delta_bits;
    unsigned base_bits;
    unsigned bits; // before the nodes

    bool flat_alpha() const { return flat >> 63; }
};

inline coded_head read_coded_head(const fast_format& format, const uint8_t* data)
{
    coded_head head;
    const uint64_t first = load64(data);
    const uint64_t fields = _pdep_u64(first, format.root_mask);
    // A field of all ones, or one less, has a sum that carries out of the field.
    head.flat = widen_lanes((fields + format.flat_carry) >> 15 & lane_bits);
    const uint64_t defaults = head.flat & widen_lanes(~fields & lane_bits);
    const uint64_t delta_mask = format.delta_mask & ~head.flat;
    const uint64_t base_mask = format.base_mask & ~defaults;
    head.root_counts = fields & ~head.flat;
    head.deltas = _pdep_u64(first >> format.all_root_bits, delta_mask);
    head.delta_bits = static_cast<unsigned>(_mm_popcnt_u64(delta_mask));
    head.base_bits = static_cast<unsigned>(_mm_popcnt_u64(base_mask));
    head.bits = format.all_root_bits + head.delta_bits;
    head.bases = _pdep_u64(load64(data + (head.bits >> 3)) >> (head.bits & 7), base_mask) |
                 (format.default_lanes & defaults);
    head.bits += head.base_bits;
    if (format.ncomponents < 4)
        head.flat |= uint64_t{0xffff} << 48;
    return head;
}

inline void count_head(const fast_format& format, const coded_head& head, uint32_t times, decoded_bits& sums)
{
    sums.b3 += times * format.all_root_bits;
    sums.b4 += times * head.delta_bits;
    sums.m2 += times * head.base_bits;
}

} // namespace
} // namespace tpakutil
