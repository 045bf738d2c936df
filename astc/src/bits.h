#pragma once
// A block as a number of 128 bits, least significant bit first.

#include <cstdint>
#include <cstring>

__extension__ typedef unsigned __int128 uint128;

inline uint128 low_bits(unsigned count)
{
    return count >= 128 ? ~uint128{0} : (uint128{1} << count) - 1;
}

/// `count` bits, at most 32, from `position` on, below 128.
inline uint32_t bits_at(uint128 bits, unsigned position, unsigned count)
{
    return static_cast<uint32_t>(static_cast<uint64_t>(bits >> position) & ((uint64_t{1} << count) - 1));
}

inline uint128 load_block(const uint8_t* block)
{
    uint64_t halves[2] = {0, 0};
    for (int half = 0; half < 2; ++half)
        for (int i = 7; i >= 0; --i)
            halves[half] = halves[half] << 8 | block[half * 8 + i];
    return uint128{halves[1]} << 64 | halves[0];
}

inline uint64_t reversed(uint64_t value)
{
    value = (value >> 1 & 0x5555555555555555) | (value & 0x5555555555555555) << 1;
    value = (value >> 2 & 0x3333333333333333) | (value & 0x3333333333333333) << 2;
    value = (value >> 4 & 0x0f0f0f0f0f0f0f0f) | (value & 0x0f0f0f0f0f0f0f0f) << 4;
    return __builtin_bswap64(value);
}

/// The last bit becomes the first: weights are stored from a block's end.
inline uint128 reversed(uint128 bits)
{
    return uint128{reversed(static_cast<uint64_t>(bits))} << 64 | reversed(static_cast<uint64_t>(bits >> 64));
}
