#pragma once
// Which partition of a block a texel belongs to, by the published hash.

#include <cstdint>

/// `count` is 2 to 4, `seed` has 10 bits. `small` is set for blocks of fewer than 31 texels.
uint8_t select_partition(uint32_t seed, uint32_t x, uint32_t y, unsigned count, bool small);
