#include "assertion.h"
#include "tpakutil/tpak_common.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr int deepest_component = 17; // the last row of log2_table
constexpr unsigned long page_size = 4096;
constexpr unsigned long payload_granule = 128;

enum subsampling
{
    not_subsampled = 0,
    subsampled_420 = 1,
    subsampled_422 = 2,
};

unsigned long round_up_to(unsigned long value, unsigned long multiple)
{
    return (value + multiple - 1) / multiple * multiple;
}

int divide_up(int value, int by)
{
    return static_cast<int>((int64_t{value} + by - 1) / by);
}

/// The transform belongs to block types of three components and more; subsampled layouts have none.
bool transforms_colours(int ncomponents, int layout, int yuv_transform)
{
    return yuv_transform != 0 && sl_subsampling[layout] == not_subsampled && ncomponents >= 3;
}

int body_bits_of(int component, bool transformed, const int* bits)
{
    if (!transformed || component == 3)
        return bits[component];
    return component == 0 ? bits[1] : bits[1] + 1;
}

void describe_plain(tpak_frame_info& info, int ncomponents)
{
    int sum = 0;
    for (int i = 0; i < ncomponents; i++)
        sum += info.component_bits[i];
    info.nsubblocks = 16;
    info.nblocktypes = 1;
    info.ncomponents_of_type[0] = ncomponents;
    info.payload_offset_bits = 32;
    info.subblock_size_bits = 6;
    info.uncompressed_block_size[0] = (16 * sum + 7) >> 3;
    info.size_unit[0] = std::max((2 * sum + 63) >> 6, 1);
}

void describe_subsampled(tpak_frame_info& info, int kind)
{
    const int* bits = info.component_bits;
    const bool deep = bits[1] > 8;
    info.nblocktypes = 2;
    info.ncomponents_of_type[0] = 1;
    info.ncomponents_of_type[1] = 2;
    info.first_component_of_type[1] = 1;
    info.uncompressed_block_size[0] = (16 * bits[0] + 7) >> 3;
    info.uncompressed_block_size[1] = (16 * (bits[1] + bits[2]) + 7) >> 3;
    if (kind == subsampled_420) {
        info.nsubblocks = 20;
        info.payload_offset_bits = 28;
        info.subblock_size_bits = 5;
        info.size_unit[1] = deep ? 2 : 1;
    } else {
        info.nsubblocks = 24;
        info.payload_offset_bits = 32;
        info.subblock_size_bits = 4;
        info.size_unit[0] = deep ? 2 : 1;
        info.size_unit[1] = deep ? 3 : 2;
    }
}

/// Components 0 and 3 rest at their maximum, the two others, which hold differences, in the middle.
unsigned default_of(int component, int bits)
{
    if (bits == 0)
        return 0;
    return component == 1 || component == 2 ? 1u << (bits - 1) : (1u << bits) - 1;
}

int tile_side(const tpak_frame_info& info)
{
    const int* bits = info.component_bits;
    return bits[0] + bits[1] + bits[2] + bits[3] <= 32 ? 8 : 4;
}

unsigned long superblocks_of_grid(const tpak_frame_info& info)
{
    return static_cast<unsigned long>(tpak_mb_round(info.mbw, tpak_get_tile_size_x(&info))) *
           static_cast<unsigned long>(tpak_mb_round(info.mbh, tpak_get_tile_size_y(&info)));
}

unsigned position_in_tile(const tpak_frame_info& info, unsigned mbx, unsigned mby)
{
    const auto bit = [](unsigned value, int from, int to) { return (value >> from & 1) << to; };
    if (info.layout <= 2)
        return bit(mbx, 0, 0) | bit(mby, 0, 1) | bit(mbx, 1, 2) | bit(mby, 1, 3) | bit(mbx, 2, 4) |
               bit(mby, 2, 5);
    return (mbx & 3) | (mby & 3) << 2 | bit(mbx, 2, 4) | bit(mby, 2, 5);
}

uint64_t index_in_grid(const tpak_frame_info& info, int mbx, int mby, unsigned position)
{
    const int tile_x = tpak_get_tile_size_x(&info);
    const int tile_y = tpak_get_tile_size_y(&info);
    const auto tiles_across = static_cast<uint64_t>(tpak_mb_round(info.mbw, tile_x) / tile_x);
    const uint64_t tile =
        static_cast<uint64_t>(mby / tile_y) * tiles_across + static_cast<uint64_t>(mbx / tile_x);
    return tile * static_cast<uint64_t>(tile_x * tile_y) + position;
}

} // namespace

bool tpak_is_describable(int ncomponents, int layout, int yuv_transform, const int* bits)
{
    if (layout < 0 || layout >= tpak_layouts || ncomponents < 1 || ncomponents > tpak_most_components)
        return false;
    if (sl_subsampling[layout] != not_subsampled && ncomponents != 3)
        return false;
    const bool transformed = transforms_colours(ncomponents, layout, yuv_transform);
    int sum = 0;
    for (int i = 0; i < ncomponents; i++) {
        if (bits[i] < 0 || bits[i] > deepest_component)
            return false;
        if (body_bits_of(i, transformed, bits) > deepest_component)
            return false;
        sum += bits[i];
    }
    return sum > 0;
}

void tpak_init_frame_info(tpak_frame_info* info, int width, int height, int ncomponents, int layout,
                          int yuv_transform, int tiled, int* bits)
{
    *info = {};
    if (layout == -1)
        layout = 0;
    TPAK_ASSERT(layout >= 0 && layout < tpak_layouts, "layout");
    TPAK_ASSERT(ncomponents >= 1 && ncomponents <= tpak_most_components, "ncomponents");
    TPAK_ASSERT(sl_subsampling[layout] == not_subsampled || ncomponents == 3, "ncomponents==3");
    TPAK_ASSERT(tpak_is_describable(ncomponents, layout, yuv_transform, bits), "bits");

    info->version = 5;
    info->width = width;
    info->height = height;
    info->tiled = tiled;
    info->superblock_width = superblock_width[layout];
    info->superblock_height = superblock_height[layout];
    info->mbw = divide_up(width, info->superblock_width);
    info->mbh = divide_up(height, info->superblock_height);
    info->block_width = 4;
    info->block_height = layout == 8 ? 2 : 4; // a layout of half blocks that has no row in the tables
    info->layout = layout;
    info->yuv_transform = yuv_transform;
    info->size_unit[0] = info->size_unit[1] = 1;
    info->subsampled_copy_rule = sl_subsampling[layout] != not_subsampled;
    info->solid_enabled = 1;
    info->unused_page = page_size;
    info->lowest_payload_offset = 0xffffffff;
    info->subblock_order = subblock_orders[layout];
    std::copy_n(bits, ncomponents, info->component_bits);
    if (sl_subsampling[layout] == not_subsampled)
        describe_plain(*info, ncomponents);
    else
        describe_subsampled(*info, sl_subsampling[layout]);
    for (int i = 0; i < ncomponents; i++) {
        info->body_bits[i] = body_bits_of(i, transforms_colours(ncomponents, layout, yuv_transform), bits);
        info->default_value[i] = default_of(i, info->body_bits[i]);
    }
}

int tpak_mb_round(int value, int multiple)
{
    return divide_up(value, multiple) * multiple;
}

int tpak_get_tile_size_x(const tpak_frame_info* info)
{
    if (info->tiled)
        return tile_side(*info);
    return info->tile_width_override ? info->tile_width_override : 1;
}

int tpak_get_tile_size_y(const tpak_frame_info* info)
{
    return info->tiled ? tile_side(*info) : 1;
}

int tpak_get_tile_size_z(const tpak_frame_info*)
{
    return 1;
}

unsigned long tpak_get_header_area_size(const tpak_frame_info* info)
{
    const unsigned long size = tpak_header_block_size * superblocks_of_grid(*info);
    return info->tiled ? round_up_to(size, page_size) : size;
}

unsigned long tpak_get_max_superblock_payloadsize_no_rounding(const tpak_frame_info* info)
{
    unsigned long size = 0;
    for (int i = 0; i < info->nsubblocks; i++)
        size += static_cast<unsigned long>(info->uncompressed_block_size[info->subblock_order[3 * i]]);
    return size;
}

unsigned long tpak_get_max_superblock_payloadsize(const tpak_frame_info* info)
{
    return round_up_to(tpak_get_max_superblock_payloadsize_no_rounding(info), payload_granule);
}

unsigned long tpak_get_max_frame_size(const tpak_frame_info* info)
{
    return tpak_get_header_area_size(info) +
           tpak_get_max_superblock_payloadsize(info) * superblocks_of_grid(*info);
}

unsigned long tpak_get_uncompressed_frame_size(const tpak_frame_info* info)
{
    return static_cast<unsigned long>(info->mbw) * static_cast<unsigned long>(info->mbh) *
           tpak_get_max_superblock_payloadsize_no_rounding(info);
}

uint64_t tpak_get_superblock_index(const tpak_frame_info* info, int mbx, int mby)
{
    const int tile_size = tpak_get_tile_size_x(info) * tpak_get_tile_size_y(info);
    const unsigned position =
        position_in_tile(*info, static_cast<unsigned>(mbx), static_cast<unsigned>(mby)) &
        static_cast<unsigned>(tile_size - 1);
    return index_in_grid(*info, mbx, mby, position);
}

uint64_t tpak_get_encoder_superblock_index(const tpak_frame_info* info, int mbx, int mby)
{
    if (!info->tile_width_override)
        return tpak_get_superblock_index(info, mbx, mby);
    return index_in_grid(*info, mbx, mby, static_cast<unsigned>(mbx % tpak_get_tile_size_x(info)));
}

bool tpak_first_block_in_8x8(const tpak_frame_info* info, int subblock)
{
    switch (sl_subsampling[info->layout]) {
    case subsampled_420:
        return subblock % 5 == 0 || subblock % 5 == 2;
    case subsampled_422:
        return subblock % 6 <= 1;
    default:
        return subblock % 4 == 0;
    }
}

int tpak_block_split_block(const tpak_frame_info* info)
{
    constexpr int first[] = {8, 10, 12};
    return first[sl_subsampling[info->layout]];
}

int tpak_block_split_block_alt(const tpak_frame_info* info)
{
    constexpr int first[] = {8, 12, 13};
    return first[sl_subsampling[info->layout]];
}

bool tpak_is_last_block_before_split(const tpak_frame_info* info, int subblock)
{
    return info->block_split && subblock == tpak_block_split_block(info) - 1;
}

void tpakutil::assertion_failed(const char* text, const char* function)
{
    std::fflush(stdout);
    std::fprintf(stderr, "Assertion \"%s\" failed in %s.\n", text, function);
    std::abort();
}
