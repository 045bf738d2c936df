#pragma once
// From a grid of weights to a weight for each texel of a block.

#include <array>
#include <cstdint>

inline constexpr unsigned max_texels = 144;
/// Texels are worked on in groups, the last one filled up.
inline constexpr unsigned texel_group = 8;
constexpr unsigned padded_texels(unsigned texels)
{
    return (texels + texel_group - 1) / texel_group * texel_group;
}

/// For each texel the first of four neighbouring grid points and how much each counts, in sixteenths.
struct infill_table
{
    bool is_identity = true;
    unsigned texels = 0; // padded
    unsigned grid_width = 0;
    std::array<uint8_t, max_texels> first{};
    std::array<std::array<uint8_t, 4>, max_texels> parts{}; // here, right, below, below right
};
infill_table make_infill(uint32_t block_width, uint32_t block_height, uint32_t grid_width,
                         uint32_t grid_height);

/// `grid` must be readable for `grid_width` + 1 bytes past its last point.
void infill(const infill_table& table, const uint8_t* grid, uint16_t* weights);
