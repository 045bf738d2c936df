#include "infill.h"

namespace {
/// The place of a texel in the grid, in sixteenths of a grid step.
uint32_t grid_place(uint32_t texel, uint32_t block_size, uint32_t grid_size)
{
    uint32_t scale = (1024 + block_size / 2) / (block_size - 1);
    return (scale * texel * (grid_size - 1) + 32) >> 6;
}
} // namespace

infill_table make_infill(uint32_t block_width, uint32_t block_height, uint32_t grid_width,
                         uint32_t grid_height)
{
    infill_table table;
    table.grid_width = grid_width;
    table.texels = padded_texels(block_width * block_height);
    unsigned texel = 0;
    for (uint32_t y = 0; y < block_height; ++y) {
        const uint32_t t = grid_place(y, block_height, grid_height);
        for (uint32_t x = 0; x < block_width; ++x, ++texel) {
            const uint32_t s = grid_place(x, block_width, grid_width);
            const uint32_t fs = s & 15;
            const uint32_t ft = t & 15;
            const uint32_t corner = (fs * ft + 8) >> 4;
            table.first[texel] = static_cast<uint8_t>((s >> 4) + (t >> 4) * grid_width);
            table.parts[texel] = {static_cast<uint8_t>(16 - fs - ft + corner),
                                  static_cast<uint8_t>(fs - corner), static_cast<uint8_t>(ft - corner),
                                  static_cast<uint8_t>(corner)};
            table.is_identity &= table.first[texel] == texel && table.parts[texel][0] == 16;
        }
    }
    return table;
}

void infill(const infill_table& table, const uint8_t* grid, uint16_t* weights)
{
    if (table.is_identity) {
        for (unsigned i = 0; i < table.texels; ++i)
            weights[i] = grid[i];
        return;
    }
    const unsigned below = table.grid_width;
    for (unsigned i = 0; i < table.texels; ++i) {
        const uint8_t* at = grid + table.first[i];
        const auto& parts = table.parts[i];
        const unsigned sum =
            at[0] * parts[0] + at[1] * parts[1] + at[below] * parts[2] + at[below + 1] * parts[3];
        weights[i] = static_cast<uint16_t>((sum + 8) >> 4);
    }
}
