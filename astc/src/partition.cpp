#include "partition.h"

namespace {
uint32_t hash52(uint32_t p)
{
    p ^= p >> 15;
    p -= p << 17;
    p += p << 7;
    p += p << 4;
    p ^= p >> 5;
    p += p << 16;
    p ^= p >> 7;
    p ^= p >> 3;
    p ^= p << 6;
    p ^= p >> 17;
    return p;
}
} // namespace

uint8_t select_partition(uint32_t seed, uint32_t x, uint32_t y, unsigned count, bool small)
{
    if (small) {
        x <<= 1;
        y <<= 1;
    }
    seed += (count - 1) * 1024;
    const uint32_t random = hash52(seed);
    const uint32_t by_low_bit = (seed & 2) ? 4 : 5;
    const uint32_t by_count = count == 3 ? 6 : 5;
    const uint32_t shifts[2] = {(seed & 1) ? by_low_bit : by_count, (seed & 1) ? by_count : by_low_bit};
    // The slopes of four planes in x and y; z is always 0.
    uint32_t slopes[8];
    for (unsigned i = 0; i < 8; ++i) {
        uint32_t nibble = random >> (4 * i) & 15;
        slopes[i] = nibble * nibble >> shifts[i & 1];
    }
    uint32_t heights[4];
    for (unsigned i = 0; i < 4; ++i)
        heights[i] = (slopes[2 * i] * x + slopes[2 * i + 1] * y + (random >> (14 - 4 * i))) & 0x3f;
    uint8_t best = 0;
    for (uint8_t i = 1; i < count; ++i)
        if (heights[i] > heights[best])
            best = i;
    return best;
}
