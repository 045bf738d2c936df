#pragma once
// Which partition of a block a texel belongs to, by the published hash.

#include <cstdint>

/// A plane over the block for each partition, modulo 64; a texel belongs to the highest there.
struct partition_planes
{
    unsigned count;
    uint32_t slopes_x[4];
    uint32_t slopes_y[4];
    uint32_t heights[4]; // at 0, 0
    /// The first one of equal height.
    uint8_t highest(uint32_t x, uint32_t y) const;
};

/// `count` is 2 to 4, `seed` has 10 bits. `small` is set for blocks of fewer than 31 texels.
partition_planes partition_planes_of(uint32_t seed, unsigned count, bool small);
