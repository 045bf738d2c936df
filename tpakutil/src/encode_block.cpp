#include "bits.h"
#include "block_tree.h"
#include "tpakutil/tpak_common.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

using namespace tpakutil;

namespace {

constexpr int scratch_size = 1024; // bytes; no compressed block of any depth comes near
constexpr uint64_t no_key = ~uint64_t{0};

/// One subblock's stream on its way out.
struct block_writer
{
    uint8_t* data;
    int size;
    int position = 0;

    void write(uint32_t value, int count) { position = write_bits(data, size, position, value, count); }
};

/// Whether values lie at both ends of the range and nowhere between.
bool wraps_around(const unsigned* values, int bits)
{
    if (bits < 2)
        return false;
    int in_quarter[4] = {};
    for (int i = 0; i < 4; i++)
        in_quarter[values[i] >> (bits - 2) & 3]++;
    return in_quarter[0] > 0 && in_quarter[1] == 0 && in_quarter[2] == 0 && in_quarter[3] >= 1;
}

void to_yuv(const tpak_frame_info& info, unsigned (*block)[16])
{
    const unsigned middle = 1u << info.component_bits[1];
    for (int pixel = 0; pixel < 16; pixel++) {
        const unsigned red = block[0][pixel];
        const unsigned green = block[1][pixel];
        const unsigned blue = block[2][pixel];
        block[0][pixel] = (blue + 2 * green + red) >> 2;
        block[1][pixel] = middle + red - green;
        block[2][pixel] = middle + blue - green;
    }
}

/// Takes the minimum out of four values; returns the bits that what is left needs.
int subtract_minimum(unsigned* const (&values)[4], unsigned* minimum, int bits, int wrap)
{
    unsigned maximum;
    select_minval(*values[0], *values[1], *values[2], *values[3], minimum, &maximum, bits, wrap);
    const unsigned mask = (1u << bits) - 1;
    for (unsigned* value : values)
        *value = (*value - *minimum) & mask;
    return bit_length(maximum - *minimum);
}

void build_tree(const unsigned* block, int bits, int wrap, component_tree& tree)
{
    uint32_t* nodes = tree.nodes;
    for (int quad = 0; quad < 4; quad++) {
        unsigned* leaves[4];
        for (int leaf = 0; leaf < 4; leaf++) {
            leaves[leaf] = nodes + 5 + 4 * quad + leaf;
            *leaves[leaf] = block[pixel_of(quad, leaf)];
        }
        tree.counts[1 + quad] = subtract_minimum(leaves, nodes + 1 + quad, bits, wrap);
    }
    tree.counts[0] = subtract_minimum({nodes + 1, nodes + 2, nodes + 3, nodes + 4}, nodes, bits, wrap);
    if (std::all_of(tree.counts, tree.counts + count_nodes, [](int count) { return count == 0; }))
        tree.counts[0] = flat;
}

/// Widens counts until each quad's is within -2 and +1 of the root's, which is what its two bits can say.
void constrain(component_tree& tree)
{
    int* counts = tree.counts;
    const int widest = std::max(0, *std::max_element(counts + 1, counts + count_nodes));
    counts[0] = std::max(widest - 1, counts[0]);
    for (int quad = 1; quad < count_nodes; quad++)
        counts[quad] = std::max(counts[0] - 2, counts[quad]);
}

/// Looks at every level but the last two, and so at none of a block of 4x4: larger blocks would be checked
/// here.
bool is_constrained(const int* counts, int level, int last_level)
{
    if (level + 1 >= last_level)
        return true;
    for (int quad = 1; quad < count_nodes; quad++) {
        if (counts[quad] < counts[0] - 2 || counts[quad] > counts[0] + 1 ||
            !is_constrained(counts, level + 1, last_level))
            return false;
    }
    return true;
}

/// Of the trees of a frame's blocks, whose levels halve the side of a block.
int last_level_of(const tpak_frame_info& info)
{
    int level = 0;
    for (int side = info.block_width; side > 2; side /= 2)
        level++;
    return level;
}

void write_children(block_writer& out, const uint32_t* children, int bits)
{
    if (bits == 1) {
        for (int child = 0; child < 4; child++)
            out.write(children[child], 1);
    }
    if (bits <= 1)
        return;
    int zero_child = 0;
    while (zero_child < 4 && children[zero_child] != 0)
        zero_child++;
    if (zero_child == 4)
        std::printf("ERROR: internal inconcistency error, no zcd found\n");
    out.write(static_cast<uint32_t>(zero_child), 2);
    for (int plane = 0; plane < bits; plane++) {
        for (int child = 0; child < 4; child++) {
            if (child != zero_child)
                out.write(children[child] >> plane, 1);
        }
    }
}

void write_trees(block_writer& out, const component_tree* trees, int ncomponents, const int* body_bits)
{
    for (int c = 0; c < ncomponents; c++)
        out.write(static_cast<uint32_t>(trees[c].counts[0]), std::max(log2_table[body_bits[c]], 0));
    for (int c = 0; c < ncomponents; c++) {
        for (int quad = 1; trees[c].counts[0] >= 0 && quad < count_nodes; quad++)
            out.write(static_cast<uint32_t>(trees[c].counts[quad] - trees[c].counts[0]), 2);
    }
    for (int c = 0; c < ncomponents; c++) {
        if (trees[c].counts[0] != flat_default)
            out.write(trees[c].nodes[0], body_bits[c]);
    }
    for (int node = 0; node < count_nodes; node++) {
        for (int c = 0; c < ncomponents; c++) {
            if (trees[c].counts[0] >= 0)
                write_children(out, trees[c].nodes + 4 * node + 1, trees[c].counts[node]);
        }
    }
}

/// The size with its padding, -1 when that is beyond the stream's bound.
int padded_size(const block_writer& out, int unit)
{
    if (out.position < 0)
        return -1;
    const int size = std::max((((out.position + 7) >> 3) + unit - 1) / unit * unit, 2 * unit);
    return size <= out.size ? size : -1;
}

int write_uncompressed(const tpak_frame_info& info, int type, const unsigned (*block)[16], uint8_t* out,
                       int out_size)
{
    block_writer writer{out, out_size};
    for (int pixel = 0; pixel < 16; pixel++) {
        for (int c = 0; c < info.ncomponents_of_type[type]; c++)
            writer.write(block[c][pixel], info.component_bits[info.first_component_of_type[type] + c]);
    }
    return writer.position < 0 ? -1 : (writer.position + 7) >> 3;
}

/// Builds and writes the trees of a block. Returns its flat key.
uint64_t write_compressed(const tpak_frame_info& info, int type, unsigned (*block)[16], int wrap_minval,
                          int default_all_components, block_writer& out)
{
    const int ncomponents = info.ncomponents_of_type[type];
    const int first = info.first_component_of_type[type];
    if (info.yuv_transform && ncomponents >= 3)
        to_yuv(info, block);
    component_tree trees[tpak_most_components];
    uint64_t key = 0;
    for (int c = 0; c < ncomponents; c++) {
        component_tree& tree = trees[c];
        build_tree(block[c], info.body_bits[first + c], wrap_minval, tree);
        constrain(tree);
        if (!is_constrained(tree.counts, 0, last_level_of(info)))
            std::printf("ERROR: bctree not constrained\n");
        key = tree.counts[0] == flat && key != no_key ? key << 16 | tree.nodes[0] : no_key;
        if ((default_all_components || first + c == 3) && tree.counts[0] == flat &&
            tree.nodes[0] == info.default_value[first + c])
            tree.counts[0] = flat_default;
    }
    write_trees(out, trees, ncomponents, info.body_bits + first);
    return key;
}

} // namespace

void select_minval(unsigned a, unsigned b, unsigned c, unsigned d, unsigned* minval, unsigned* maxval,
                   int bits, int wrap)
{
    unsigned values[] = {a, b, c, d};
    if (wrap && wraps_around(values, bits)) {
        for (unsigned& value : values) {
            if ((value >> (bits - 1) & 1) == 0)
                value += 1u << bits;
        }
    }
    *minval = *std::min_element(values, values + 4);
    *maxval = *std::max_element(values, values + 4);
}

int tpak_encode_block4x4(const tpak_frame_info* info, int block_type, unsigned (*block)[16],
                         unsigned char* out, int out_size, long long* flat_key, int* uncompressed,
                         int wrap_minval, int default_all_components)
{
    out_size = std::max(out_size, 0);
    const int ncomponents = info->ncomponents_of_type[block_type];
    unsigned kept[tpak_most_components][16];
    std::copy_n(&block[0][0], 16 * ncomponents, &kept[0][0]);
    uint8_t scratch[scratch_size] = {};
    block_writer stream{scratch, std::min(out_size, scratch_size)};
    *flat_key = static_cast<long long>(
        write_compressed(*info, block_type, block, wrap_minval, default_all_components, stream));
    const int size = padded_size(stream, info->size_unit[block_type]);
    if (!info->force_uncompressed && size >= 0 && size < info->uncompressed_block_size[block_type]) {
        std::memcpy(out, scratch, static_cast<size_t>(size));
        *uncompressed = 0;
        return size;
    }
    *flat_key = static_cast<long long>(no_key);
    *uncompressed = 1;
    return write_uncompressed(*info, block_type, kept, out, out_size);
}
