#pragma once
// What the low 11 bits of a block say of its grid of weights.

#include <cstdint>

struct block_mode
{
    uint8_t grid_width = 0; // weights; 0 for a mode that is reserved or illegal
    uint8_t grid_height = 0;
    uint8_t method = 0;       // index of quant_methods
    uint8_t weight_count = 0; // of both planes
    uint8_t weight_bits = 0;
    bool dual_plane = false;
    bool is_legal() const { return grid_width != 0; }
};

/// The mode for blocks of a size. A void extent's mode is illegal here.
block_mode parse_block_mode(uint32_t bits, uint32_t block_width, uint32_t block_height);
