// Blocks in plain C++, for machines without a kernel of their own: whole words where the plain coder goes bit
// by bit.
#include "fast_frame.h"

#include <bit>

using namespace tpakutil;

namespace {

constexpr unsigned node_bits[16] = {0, 4, 8, 11, 14, 17, 20, 23, 26, 29, 32, 35, 38, 41, 44, 47};

/// The byte of a block's pixel, by quad and leaf.
constexpr int row_of[16] = {0, 0, 1, 1, 0, 0, 1, 1, 2, 2, 3, 3, 2, 2, 3, 3};
constexpr int column_of[16] = {0, 1, 0, 1, 2, 3, 2, 3, 0, 1, 0, 1, 2, 3, 2, 3};

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
        for (; count >= 8; count -= 8, pending >>= 8)
            *out++ = static_cast<uint8_t>(pending);
    }
    void end()
    {
        if (count > 0)
            *out = static_cast<uint8_t>(pending);
    }
};

/// Spreads the low ten bits to every third one.
constexpr uint64_t every_third(uint64_t value)
{
    value = (value | value << 32) & 0x1f00000000ffff;
    value = (value | value << 16) & 0x1f0000ff0000ff;
    value = (value | value << 8) & 0x100f00f00f00f00f;
    value = (value | value << 4) & 0x10c30c30c30c30c3;
    return (value | value << 2) & 0x1249249249249249;
}

/// The reverse, of 15 bits.
constexpr uint64_t gather_thirds(uint64_t value)
{
    value &= 0x1249249249249249;
    value = (value | value >> 2) & 0x10c30c30c30c30c3;
    value = (value | value >> 4) & 0x100f00f00f00f00f;
    value = (value | value >> 8) & 0x1f0000ff0000ff;
    value = (value | value >> 16) & 0x1f00000000ffff;
    return (value | value >> 32) & 0x1fffff;
}

struct tree
{
    uint32_t nodes[16];
    uint32_t quads[4];
    uint32_t base;
    int counts[5]; // root, quads
};

/// Takes their minimum out of four values; returns the bits of what is left.
int subtract_minimum(uint32_t* values, uint32_t* minimum)
{
    uint32_t low = values[0];
    uint32_t high = values[0];
    for (int i = 1; i < 4; i++) {
        low = values[i] < low ? values[i] : low;
        high = values[i] > high ? values[i] : high;
    }
    for (int i = 0; i < 4; i++)
        values[i] -= low;
    *minimum = low;
    return static_cast<int>(std::bit_width(high - low));
}

void build(tree& t)
{
    int widest = 0;
    for (int quad = 0; quad < 4; quad++) {
        t.counts[1 + quad] = subtract_minimum(t.nodes + 4 * quad, t.quads + quad);
        widest = t.counts[1 + quad] > widest ? t.counts[1 + quad] : widest;
    }
    t.counts[0] = subtract_minimum(t.quads, &t.base);
    if (t.counts[0] == 0 && widest == 0) {
        t.counts[0] = -1;
        return;
    }
    t.counts[0] = widest - 1 > t.counts[0] ? widest - 1 : t.counts[0];
    for (int quad = 1; quad < 5; quad++)
        t.counts[quad] = t.counts[0] - 2 > t.counts[quad] ? t.counts[0] - 2 : t.counts[quad];
}

void put_node(bit_writer& out, const uint32_t* children, int bits)
{
    if (bits == 0)
        return;
    if (bits == 1) {
        out.put(children[0] | children[1] << 1 | children[2] << 2 | children[3] << 3, 4);
        return;
    }
    unsigned zero = 0;
    while (children[zero] != 0)
        zero++;
    const uint32_t* c = children;
    const uint64_t planes = every_third(c[zero == 0]) | every_third(c[1 + (zero <= 1)]) << 1 |
                            every_third(c[2 + (zero <= 2)]) << 2;
    out.put(zero | planes << 2, node_bits[bits]);
}

void get_node(const uint8_t* data, unsigned bit, unsigned bits, uint16_t* children)
{
    const uint64_t stream = load64(data + (bit >> 3)) >> (bit & 7);
    if (bits == 1) {
        for (int i = 0; i < 4; i++)
            children[i] = stream >> i & 1;
    }
    if (bits <= 1)
        return;
    const unsigned zero = stream & 3;
    const uint64_t planes = stream >> 2 & ((uint64_t{1} << 3 * bits) - 1);
    for (unsigned i = 0, from = 0; i < 4; i++) {
        if (i != zero)
            children[i] = static_cast<uint16_t>(gather_thirds(planes >> from++));
    }
}

/// Loads the block's words as components, colours transformed.
void load(const fast_format& format, const uint8_t* words, int64_t stride, tree* trees)
{
    const uint32_t middle = 1u << format.component_bits[1];
    for (int i = 0; i < 16; i++) {
        const uint8_t* pixel = words + row_of[i] * stride + 4 * column_of[i];
        uint32_t values[4] = {pixel[0], pixel[1], pixel[2], pixel[3]};
        if (format.yuv) {
            values[0] = (uint32_t{pixel[2]} + 2 * uint32_t{pixel[1]} + pixel[0]) >> 2;
            values[1] = middle + pixel[0] - pixel[1];
            values[2] = middle + pixel[2] - pixel[1];
        }
        for (int c = 0; c < format.ncomponents; c++)
            trees[c].nodes[i] = values[c];
    }
}

struct portable_kernel
{
    static constexpr unsigned read_ahead = 160;

    static bool is_solid(const uint8_t* words, int64_t stride)
    {
        const uint64_t first = load32(words) * 0x100000001ull;
        uint64_t other = 0;
        for (int y = 0; y < superblock_side && other == 0; y++, words += stride) {
            for (int x = 0; x < word_stride; x += 8)
                other |= load64(words + x) ^ first;
        }
        return other == 0;
    }

    static void begin_superblock() {}

    static fast_block encode(const fast_format& format, const block_place& place, uint64_t key_before, bool,
                             uint8_t* out)
    {
        tree trees[4];
        load(format, place.words(), place.stride, trees);
        unsigned bits = 0;
        uint64_t key = 0;
        for (int c = 0; c < format.ncomponents; c++) {
            tree& t = trees[c];
            build(t);
            key = t.counts[0] == -1 && key != no_flat_key ? key << 16 | t.base : no_flat_key;
            if (c == 3 && t.counts[0] == -1 && t.base == format.default_value[3])
                t.counts[0] = -2;
            bits +=
                static_cast<unsigned>(format.root_bits[c] + (t.counts[0] != -2 ? format.body_bits[c] : 0));
            if (t.counts[0] < 0)
                continue;
            bits += 8;
            for (int count : t.counts)
                bits += node_bits[count];
        }
        const auto size = static_cast<int>((bits + 7) >> 3);
        if (size >= format.block_size)
            return {format.block_size, true, no_flat_key};
        if (key == no_flat_key || key != key_before)
            write(format, trees, out);
        return {size, false, key};
    }

    static bool decode(const fast_format& format, const coded_block* blocks, int count, int64_t stride,
                       decoded_bits& bits)
    {
        for (int i = 0; i < count; i++) {
            if (!decode_block(format, blocks[i], stride, bits))
                return false;
        }
        return true;
    }

private:
    static bool decode_block(const fast_format& format, const coded_block& block, int64_t stride,
                             decoded_bits& sums)
    {
        uint16_t nodes[4][4] = {};
        uint16_t leaves[4][16] = {};
        uint32_t bases[4];
        if (!read(format, block, bases, nodes, leaves, sums))
            return false;
        const int32_t middle = 1 << format.component_bits[1];
        for (int i = 0; i < 16; i++) {
            uint32_t values[4] = {};
            for (int c = 0; c < format.ncomponents; c++)
                values[c] = (bases[c] + nodes[c][i / 4] + leaves[c][i]) & ((1u << format.body_bits[c]) - 1);
            if (format.yuv) {
                const auto u = static_cast<int32_t>(values[1]);
                const auto v = static_cast<int32_t>(values[2]);
                const int32_t green = (4 * static_cast<int32_t>(values[0]) - u - v + 2 * middle + 3) >> 2;
                values[0] = static_cast<uint32_t>(u + green - middle);
                values[1] = static_cast<uint32_t>(green);
                values[2] = static_cast<uint32_t>(v + green - middle);
                for (int c = 0; c < 3; c++) {
                    if (values[c] >> format.component_bits[c] != 0)
                        return false;
                }
            }
            uint8_t* pixel = block.out + row_of[i] * stride + 4 * column_of[i];
            for (int c = 0; c < 4; c++)
                pixel[c] = static_cast<uint8_t>(values[c]);
        }
        return true;
    }

    static void write(const fast_format& format, const tree* trees, uint8_t* out)
    {
        bit_writer writer{out};
        const int n = format.ncomponents;
        for (int c = 0; c < n; c++)
            writer.put(static_cast<unsigned>(trees[c].counts[0]) & ((1u << format.root_bits[c]) - 1),
                       static_cast<unsigned>(format.root_bits[c]));
        for (int c = 0; c < n; c++) {
            for (int quad = 1; trees[c].counts[0] >= 0 && quad < 5; quad++)
                writer.put(static_cast<unsigned>(trees[c].counts[quad] - trees[c].counts[0]) & 3, 2);
        }
        for (int c = 0; c < n; c++) {
            if (trees[c].counts[0] != -2)
                writer.put(trees[c].base, static_cast<unsigned>(format.body_bits[c]));
        }
        for (int node = 0; node < 5; node++) {
            for (int c = 0; c < n; c++) {
                const tree& t = trees[c];
                if (t.counts[0] >= 0)
                    put_node(writer, node == 0 ? t.quads : t.nodes + 4 * (node - 1), t.counts[node]);
            }
        }
        writer.end();
    }

    /// False when the stream isn't as long as it is told to be.
    static bool read(const fast_format& format, const coded_block& block, uint32_t* bases,
                     uint16_t (*nodes)[4], uint16_t (*leaves)[16], decoded_bits& sums)
    {
        const uint8_t* data = block.data;
        unsigned bit = 0;
        const auto get = [&](int bits) {
            const auto value =
                static_cast<uint32_t>(load64(data + (bit >> 3)) >> (bit & 7)) & ((1u << bits) - 1);
            bit += static_cast<unsigned>(bits);
            return value;
        };
        const int n = format.ncomponents;
        int counts[4][5];
        unsigned tree_bits = 0;
        for (int c = 0; c < n; c++) {
            const auto ones = static_cast<int>((1u << format.root_bits[c]) - 1);
            const auto field = static_cast<int>(get(format.root_bits[c]));
            counts[c][0] = field >= ones - 1 ? field - ones - 1 : field;
            // All ones is -1, one less is -2.
        }
        const unsigned root_end = bit;
        for (int c = 0; c < n; c++) {
            if (counts[c][0] < 0)
                continue;
            tree_bits += node_bits[counts[c][0]];
            for (int quad = 1; quad < 5; quad++) {
                counts[c][quad] = (counts[c][0] + static_cast<int>(get(2) ^ 2) - 2) & 15;
                tree_bits += node_bits[counts[c][quad]];
            }
        }
        const unsigned delta_end = bit;
        for (int c = 0; c < n; c++)
            bases[c] = counts[c][0] == -2 ? format.default_value[c] : get(format.body_bits[c]);
        const unsigned taken = (bit + tree_bits + 7) >> 3;
        if ((taken < 2 ? 2 : taken) != block.size)
            return false;
        sums.b3 += block.times * root_end;
        sums.b4 += block.times * (delta_end - root_end);
        sums.m2 += block.times * (bit - delta_end);
        for (int node = 0; node < 5; node++) {
            for (int c = 0; c < n; c++) {
                if (counts[c][0] < 0)
                    continue;
                const auto bits = static_cast<unsigned>(counts[c][node]);
                uint16_t* children = node == 0 ? nodes[c] : leaves[c] + 4 * (node - 1);
                get_node(data, bit, bits, children);
                bit += node_bits[bits];
                (node == 0 ? sums.m3 : sums.m4) += block.times * node_bits[bits];
                if (bits > 1) {
                    sums.used += block.times * 3 * bits;
                    for (int i = 0; i < 4; i++)
                        sums.needed += block.times * static_cast<uint32_t>(std::bit_width(children[i]));
                }
            }
        }
        return true;
    }
};

} // namespace

const tpakutil::packed_coder tpakutil::portable_coder{fast_encode<portable_kernel>,
                                                      fast_decode<portable_kernel>};
