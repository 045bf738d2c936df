#include "bits.h"
#include "block_tree.h"
#include "statistics.h"
#include "tpakutil/tpak_common.h"

#include <algorithm>
#include <cstdio>

namespace tpakutil {

std::atomic<uint32_t> accum_unc;
std::atomic<uint32_t> accum_b3;
std::atomic<uint32_t> accum_b4;
std::atomic<uint32_t> accum_m2;
std::atomic<uint32_t> accum_m3;
std::atomic<uint32_t> accum_m4;
std::atomic<uint32_t> accum_used_tree_bits;
std::atomic<uint32_t> accum_needed_tree_bits;

void count(const decoded_bits& bits)
{
    count(accum_unc, bits.unc);
    count(accum_b3, bits.b3);
    count(accum_b4, bits.b4);
    count(accum_m2, bits.m2);
    count(accum_m3, bits.m3);
    count(accum_m4, bits.m4);
    count(accum_used_tree_bits, bits.used);
    count(accum_needed_tree_bits, bits.needed);
}

} // namespace tpakutil

using namespace tpakutil;

namespace {

/// One subblock's stream, and what it is read for.
struct block_reader
{
    tpak_frame_info& info;
    const uint8_t* data;
    int size;
    int first_component;
    int ncomponents;
    int position = 0;

    uint32_t read(int count) { return read_bits(data, size, &position, count); }
    int body_bits(int c) const { return info.body_bits[first_component + c]; }
};

void report_illegal(tpak_frame_info& info, const char* what)
{
    info.conformance_error = 1;
    std::printf("ERROR: This is not a legal TPAK buffer, %s\n", what);
}

int read_root_count(block_reader& in, int c)
{
    const int bits = std::max(log2_table[in.body_bits(c)], 0);
    count(accum_b3, static_cast<uint32_t>(bits));
    const auto field = static_cast<int>(in.read(bits));
    const int all_ones = (1 << bits) - 1;
    if (field == all_ones)
        return flat;
    return field == all_ones - 1 ? flat_default : field;
}

void read_quad_counts(block_reader& in, int* counts)
{
    for (int quad = 1; quad < count_nodes; quad++) {
        count(accum_b4, 2);
        counts[quad] = counts[0] + read_bits_signed(in.data, in.size, &in.position, 2);
        if (counts[quad] < 0) {
            if (in.info.conformance)
                report_illegal(in.info, "bctree_l4 should be 0 or more");
            counts[quad] += count_modulus;
        } else {
            counts[quad] %= count_modulus;
        }
    }
}

void check_counts(block_reader& in, int c, const int* counts)
{
    for (int node = 0; node < count_nodes; node++) {
        if (counts[node] <= in.body_bits(c))
            continue;
        in.info.conformance_error = 1;
        std::printf(
            "ERROR: This is not a legal TPAK buffer, one mintree node is larger than the bitdepth of its "
            "component %d %d\n",
            counts[node], in.body_bits(c));
    }
}

void skip(block_reader& in, int count)
{
    if (in.position >= 0)
        in.position = in.position + count > 8 * int64_t{in.size} ? -1 : in.position + count;
}

/// Three of the four children: one is 0 and only named.
void read_planes(block_reader& in, uint32_t* children, int bits, std::atomic<uint32_t>& tree_bits)
{
    const auto zero_child = static_cast<int>(in.read(2));
    count(tree_bits, 2);
    if (in.info.tree_bits_limit != 0 && bits > in.info.tree_bits_limit) {
        skip(in, 3 * bits);
        return;
    }
    for (int plane = 0; plane < bits; plane++) {
        for (int child = 0; child < 4; child++) {
            if (child != zero_child)
                children[child] |= in.read(1) << plane;
        }
    }
    count(tree_bits, static_cast<uint32_t>(3 * bits));
    count(accum_used_tree_bits, static_cast<uint32_t>(3 * bits));
    for (int child = 0; child < 4; child++) {
        if (child != zero_child)
            count(accum_needed_tree_bits, static_cast<uint32_t>(bit_length(children[child])));
    }
}

void read_children(block_reader& in, component_tree& tree, int node)
{
    const int bits = tree.counts[node];
    uint32_t* children = tree.nodes + 4 * node + 1;
    std::atomic<uint32_t>& tree_bits = node == 0 ? accum_m3 : accum_m4;
    if (bits > 1) {
        read_planes(in, children, bits, tree_bits);
    } else if (bits == 1) {
        count(tree_bits, 4);
        for (int child = 0; child < 4; child++)
            children[child] = in.read(1);
        if (in.info.conformance && children[0] + children[1] + children[2] + children[3] == 4)
            report_illegal(in.info, "at least one mintree child out of 4 must be 0");
    }
}

void read_trees(block_reader& in, component_tree* trees)
{
    for (int c = 0; c < in.ncomponents; c++) {
        trees[c] = {};
        trees[c].counts[0] = read_root_count(in, c);
    }
    for (int c = 0; c < in.ncomponents; c++) {
        if (trees[c].counts[0] < 0)
            continue;
        read_quad_counts(in, trees[c].counts);
        if (in.info.conformance)
            check_counts(in, c, trees[c].counts);
    }
    for (int c = 0; c < in.ncomponents; c++) {
        if (trees[c].counts[0] == flat_default) {
            trees[c].nodes[0] = in.info.default_value[in.first_component + c];
        } else {
            trees[c].nodes[0] = in.read(in.body_bits(c));
            count(accum_m2, static_cast<uint32_t>(in.body_bits(c)));
        }
    }
    for (int c = 0; c < in.ncomponents; c++) {
        if (trees[c].counts[0] >= 0)
            read_children(in, trees[c], 0);
    }
    for (int quad = 0; quad < 4; quad++) {
        for (int c = 0; c < in.ncomponents; c++) {
            if (trees[c].counts[0] >= 0)
                read_children(in, trees[c], quad + 1);
        }
    }
}

void expand(const component_tree& tree, int bits, unsigned (*block)[4])
{
    const uint32_t mask = (1u << bits) - 1;
    for (int quad = 0; quad < 4; quad++) {
        for (int leaf = 0; leaf < 4; leaf++) {
            const int pixel = pixel_of(quad, leaf);
            block[pixel / 4][pixel % 4] =
                (tree.nodes[0] + tree.nodes[1 + quad] + tree.nodes[5 + 4 * quad + leaf]) & mask;
        }
    }
}

void report_out_of_range(tpak_frame_info& info, const uint32_t* yuv, const uint32_t* rgb)
{
    if (info.conformance) {
        info.conformance_error = 1;
        std::printf("ERROR: This buffer does not pass conformance!\n");
    }
    std::printf("ERROR: YUV values produces rgb values out of range: YUV %d %d %d -> rgb %d %d %d\n",
                static_cast<int>(yuv[0]), static_cast<int>(yuv[1]), static_cast<int>(yuv[2]),
                static_cast<int>(rgb[0]), static_cast<int>(rgb[1]), static_cast<int>(rgb[2]));
}

void to_rgb(tpak_frame_info& info, unsigned (*block)[4][4])
{
    const uint32_t middle = 1u << info.component_bits[1];
    for (int pixel = 0; pixel < 16; pixel++) {
        unsigned* const places[] = {&block[0][pixel / 4][pixel % 4], &block[1][pixel / 4][pixel % 4],
                                    &block[2][pixel / 4][pixel % 4]};
        const uint32_t yuv[] = {*places[0], *places[1], *places[2]};
        const uint32_t green = (4 * yuv[0] - yuv[1] - yuv[2] + 2 * middle + 3) >> 2;
        const uint32_t rgb[] = {yuv[1] + green - middle, green, yuv[2] + green - middle};
        bool fits = true;
        for (int c = 0; c < 3; c++) {
            fits = fits && rgb[c] < 1u << info.component_bits[c];
            *places[c] = rgb[c];
        }
        if (!fits)
            report_out_of_range(info, yuv, rgb);
    }
}

void read_pixels(block_reader& in, unsigned (*block)[4][4])
{
    for (int pixel = 0; pixel < 16; pixel++) {
        for (int c = 0; c < in.ncomponents; c++) {
            const int bits = in.info.component_bits[in.first_component + c];
            block[c][pixel / 4][pixel % 4] = in.read(bits);
            count(accum_unc, static_cast<uint32_t>(bits));
        }
    }
}

} // namespace

int tpak_decode_block4x4(tpak_frame_info* info, int block_type, const unsigned char* data, int size,
                         int uncompressed, unsigned (*block)[4][4], int)
{
    block_reader in{*info, data, size, info->first_component_of_type[block_type],
                    info->ncomponents_of_type[block_type]};
    if (uncompressed) {
        read_pixels(in, block);
    } else {
        component_tree trees[tpak_most_components];
        read_trees(in, trees);
        for (int c = 0; c < in.ncomponents; c++)
            expand(trees[c], in.body_bits(c), block[c]);
        if (info->yuv_transform && in.ncomponents >= 3)
            to_rgb(*info, block);
    }
    return in.position < 0 ? -1 : (in.position + 7) >> 3;
}
