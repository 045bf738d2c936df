#pragma once
// Blocks put together bit by bit.

#include "bits.h"

#include <array>
#include <cstdint>

using block_bytes = std::array<uint8_t, 16>;

/// Puts `count` bits of `value` at `position`.
inline void put(block_bytes& block, unsigned position, unsigned count, uint64_t value)
{
    for (unsigned i = 0; i < count; ++i, ++position) {
        const auto mask = static_cast<uint8_t>(1U << position % 8);
        if (value >> i & 1)
            block[position / 8] |= mask;
        else
            block[position / 8] &= static_cast<uint8_t>(~mask);
    }
}

/// Weights stand at the end of a block, the first bit last.
inline void put_weight_bits(block_bytes& block, unsigned position, unsigned count, uint64_t value)
{
    for (unsigned i = 0; i < count; ++i)
        put(block, 127 - position - i, 1, value >> i & 1);
}

/// A block of one colour: UNORM16 channels, everywhere in the texture.
inline block_bytes void_extent(std::array<uint16_t, 4> colour)
{
    block_bytes block{};
    put(block, 0, 12, 0xdfc);
    put(block, 12, 52, ~uint64_t{0});
    for (unsigned i = 0; i < 4; ++i)
        put(block, 64 + 16 * i, 16, colour[i]);
    return block;
}
