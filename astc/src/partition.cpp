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

partition_planes partition_planes_of(uint32_t seed, unsigned count, bool small)
{
    seed += (count - 1) * 1024;
    const uint32_t random = hash52(seed);
    const uint32_t by_low_bit = (seed & 2) ? 4 : 5;
    const uint32_t by_count = count == 3 ? 6 : 5;
    const uint32_t shift_x = (seed & 1) ? by_low_bit : by_count;
    const uint32_t shift_y = (seed & 1) ? by_count : by_low_bit;
    partition_planes planes{};
    planes.count = count;
    for (unsigned i = 0; i < 4; ++i) {
        const uint32_t x = random >> (8 * i) & 15;
        const uint32_t y = random >> (8 * i + 4) & 15;
        // Small blocks see every other texel of the pattern.
        planes.slopes_x[i] = (x * x >> shift_x) << small;
        planes.slopes_y[i] = (y * y >> shift_y) << small;
        planes.heights[i] = random >> (14 - 4 * i);
    }
    return planes;
}

uint8_t partition_planes::highest(uint32_t x, uint32_t y) const
{
    uint8_t best = 0;
    uint32_t most = 0;
    for (uint8_t i = 0; i < count; ++i) {
        const uint32_t height = (slopes_x[i] * x + slopes_y[i] * y + heights[i]) & 0x3f;
        if (i == 0 || height > most) {
            best = i;
            most = height;
        }
    }
    return best;
}
