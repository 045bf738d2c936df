#pragma once
// Blocks of random bits, most of them made legal.

#include "block_mode.h"
#include "blocks.h"

#include <iterator>
#include <random>
#include <utility>

inline constexpr std::pair<uint32_t, uint32_t> block_sizes[] = {{4, 4},  {5, 4},   {5, 5},   {6, 5},  {6, 6},
                                                                {8, 5},  {8, 6},   {8, 8},   {10, 5}, {10, 6},
                                                                {10, 8}, {10, 10}, {12, 10}, {12, 12}};

/// Any legal mode, endpoints that aren't HDR, now and then one colour or bits as they come.
inline block_bytes random_block(std::mt19937& random, uint32_t width, uint32_t height)
{
    constexpr unsigned ldr_modes[] = {0, 1, 4, 5, 6, 8, 9, 10, 12, 13};
    block_bytes block;
    for (auto& byte : block)
        byte = static_cast<uint8_t>(random());
    const unsigned kind = random() % 16;
    if (kind == 0)
        put(block, 0, 9, 0x1fc);
    // Software drivers take these for granted; the format calls a void extent without them illegal.
    if (((block[0] | block[1] << 8) & 0x1ff) == 0x1fc)
        put(block, 10, 2, 3);
    if (kind == 0 && random() % 2)
        put(block, 12, 52, ~uint64_t{0});
    if (kind < 2)
        return block;
    unsigned mode = 0;
    do
        mode = random() % 2048;
    while ((mode & 0x1ff) == 0x1fc || !parse_block_mode(mode, width, height).is_legal());
    put(block, 0, 11, mode);
    const unsigned partitions = random() % 4;
    put(block, 11, 2, partitions);
    const unsigned endpoints = ldr_modes[random() % std::size(ldr_modes)];
    if (partitions == 0)
        put(block, 13, 4, endpoints);
    else if (random() % 2)
        put(block, 23, 6, endpoints << 2);
    return block;
}
