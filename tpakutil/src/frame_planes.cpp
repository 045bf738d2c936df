#include "assertion.h"
#include "tpakutil/tpak_main.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using superblock_planes = unsigned[tpak_most_components][tpak_superblock_pixels];

constexpr int grey_byte = 128;

/// How a block type lies in a frame.
struct type_grid
{
    int fx; // pixels of the frame for one of this type
    int fy;
    int stride; // of a plane
    int superblock_width;
    int superblock_height;
    int left_crop;
    int top_crop;
};

type_grid grid_of(const tpak_frame_info& info, int type)
{
    const int subsampling = sl_subsampling[info.layout];
    type_grid grid;
    grid.fx = type == 1 && subsampling != 0 ? 2 : 1;
    grid.fy = type == 1 && subsampling == 1 ? 2 : 1;
    grid.stride = (info.width + grid.fx - 1) / grid.fx;
    grid.superblock_width = info.superblock_width / grid.fx;
    grid.superblock_height = info.superblock_height / grid.fy;
    grid.left_crop = info.left_crop / grid.fx;
    grid.top_crop = info.top_crop / grid.fy;
    return grid;
}

int clamp_to_picture(int64_t at, int size)
{
    return static_cast<int>(std::max<int64_t>(std::min<int64_t>(at, int64_t{size} - 1), 0));
}

/// What lies beside the picture repeats its edge.
void fetch_superblock(const tpak_frame_info& info, uint32_t* const* planes, int mbx, int mby,
                      superblock_planes& out)
{
    for (int type = 0; type < info.nblocktypes; type++) {
        const type_grid grid = grid_of(info, type);
        for (int y = 0; y < grid.superblock_height; y++) {
            const auto row = static_cast<size_t>(clamp_to_picture(
                int64_t{mby} * grid.superblock_height + y - grid.top_crop, info.height / grid.fy));
            for (int x = 0; x < grid.superblock_width; x++) {
                const auto column = static_cast<size_t>(clamp_to_picture(
                    int64_t{mbx} * grid.superblock_width + x - grid.left_crop, info.width / grid.fx));
                for (int c = 0; c < info.ncomponents_of_type[type]; c++) {
                    const int component = info.first_component_of_type[type] + c;
                    out[component][y * info.superblock_width + x] =
                        planes[component][row * static_cast<size_t>(grid.stride) + column];
                }
            }
        }
    }
}

void store_superblock(const tpak_frame_info& info, const superblock_planes& in, int mbx, int mby,
                      uint32_t* const* planes)
{
    for (int type = 0; type < info.nblocktypes; type++) {
        const type_grid grid = grid_of(info, type);
        const int rows = (info.height + grid.fy - 1) / grid.fy;
        for (int y = 0; y < grid.superblock_height; y++) {
            const int64_t row = int64_t{mby} * grid.superblock_height + y - grid.top_crop;
            if (row < 0 || row >= rows)
                continue;
            for (int x = 0; x < grid.superblock_width; x++) {
                const int64_t column = int64_t{mbx} * grid.superblock_width + x - grid.left_crop;
                if (column < 0 || column >= grid.stride)
                    continue;
                for (int c = 0; c < info.ncomponents_of_type[type]; c++) {
                    const int component = info.first_component_of_type[type] + c;
                    planes[component][row * grid.stride + column] =
                        in[component][y * info.superblock_width + x];
                }
            }
        }
    }
}

} // namespace

void alloc_planes(uint32_t** planes, int count, int width, int height, int subsample_x, int subsample_y)
{
    for (int i = 0; i < tpak_most_components; i++) {
        planes[i] = nullptr;
        if (i >= count)
            continue;
        const auto columns = static_cast<size_t>(subsample_x && i > 0 ? (width + 1) / 2 : width);
        const auto rows = static_cast<size_t>(subsample_y && i > 0 ? (height + 1) / 2 : height);
        planes[i] =
            static_cast<uint32_t*>(std::calloc(std::max<size_t>(columns * rows, 1), sizeof(uint32_t)));
        TPAK_ASSERT(planes[i], "planes[i]");
    }
}

void alloc_frame_planes(uint32_t** planes, const tpak_frame_info& info)
{
    const int subsampling = sl_subsampling[info.layout];
    alloc_planes(planes, info.ncomponents_of_type[0] + info.ncomponents_of_type[1], info.width, info.height,
                 subsampling != 0, subsampling == 1);
}

void free_planes(uint32_t** planes)
{
    for (int i = 0; i < tpak_most_components; i++) {
        std::free(planes[i]);
        planes[i] = nullptr;
    }
}

int encode_frame(tpak_frame_info& info, uint32_t* const* planes, unsigned char* buffer, int buffer_size)
{
    const auto first = static_cast<int64_t>(tpak_get_header_area_size(&info));
    const auto spacing = static_cast<int64_t>(tpak_get_max_superblock_payloadsize(&info));
    auto position = static_cast<int>(first);
    for (int mby = 0; mby < info.mbh; mby++) {
        for (int mbx = 0; mbx < info.mbw; mbx++) {
            const auto index = static_cast<int>(tpak_get_encoder_superblock_index(&info, mbx, mby));
            superblock_planes pixels = {};
            fetch_superblock(info, planes, mbx, mby, pixels);
            if (info.fixed_superblock_positions)
                position = static_cast<int>(first + index * spacing);
            position = tpak_encode_superblock(&info, pixels, buffer, buffer_size, index, position, 0, 0);
            if (position == -1)
                std::printf("ERROR: buffer overflow, internal consistency failure\n");
        }
    }
    return position;
}

void decode_frame(tpak_frame_info& info, const unsigned char* buffer, int buffer_size,
                  uint32_t* const* planes)
{
    for (int type = 0; type < info.nblocktypes; type++) {
        const type_grid grid = grid_of(info, type);
        const size_t size = static_cast<size_t>(grid.stride) *
                            static_cast<size_t>((info.height + grid.fy - 1) / grid.fy) * sizeof(uint32_t);
        for (int c = 0; c < info.ncomponents_of_type[type]; c++)
            std::memset(planes[info.first_component_of_type[type] + c], grey_byte, size);
    }
    for (int mby = 0; mby < info.mbh; mby++) {
        for (int mbx = 0; mbx < info.mbw; mbx++) {
            superblock_planes pixels;
            tpak_decode_superblock(&info, buffer, buffer_size, mbx, mby, pixels);
            store_superblock(info, pixels, mbx, mby, planes);
        }
    }
}
