#include "block_mode.h"

#include "integer_sequence.h"

namespace {
struct layout
{
    unsigned width = 0;
    unsigned height = 0;
    unsigned range = 0;         // 3 bits, below 2 reserved
    bool has_plane_bits = true; // dual plane and high precision
};

/// Modes whose lowest two bits aren't both 0.
layout parse_common_layout(uint32_t bits)
{
    const unsigned a = bits >> 5 & 3;
    const unsigned b = bits >> 7 & 3;
    const unsigned range = (bits >> 4 & 1) | (bits & 3) << 1;
    switch (bits >> 2 & 3) {
    case 0:
        return {b + 4, a + 2, range};
    case 1:
        return {b + 8, a + 2, range};
    case 2:
        return {a + 2, b + 8, range};
    default:
        if (b & 2)
            return {(b & 1) + 2, a + 2, range};
        return {a + 2, (b & 1) + 6, range};
    }
}

layout parse_other_layout(uint32_t bits)
{
    const unsigned a = bits >> 5 & 3;
    const unsigned range = (bits >> 4 & 1) | (bits >> 2 & 3) << 1;
    switch (bits >> 7 & 3) {
    case 0:
        return {12, a + 2, range};
    case 1:
        return {a + 2, 12, range};
    case 2:
        return {a + 6, (bits >> 9 & 3) + 6, range, false};
    default:
        if (a == 0)
            return {6, 10, range};
        if (a == 1)
            return {10, 6, range};
        return {};
    }
}
} // namespace

block_mode parse_block_mode(uint32_t bits, uint32_t block_width, uint32_t block_height)
{
    const layout of = (bits & 3) ? parse_common_layout(bits) : parse_other_layout(bits);
    if (of.range < 2 || of.width > block_width || of.height > block_height)
        return {};
    const bool dual = of.has_plane_bits && (bits >> 10 & 1);
    const bool high = of.has_plane_bits && (bits >> 9 & 1);
    const unsigned method = of.range - 2 + (high ? 6 : 0);
    const unsigned count = of.width * of.height * (dual ? 2 : 1);
    const unsigned size = sequence_bits(quant_methods[method], count);
    if (count > 64 || size < 24 || size > 96)
        return {};
    block_mode mode;
    mode.grid_width = static_cast<uint8_t>(of.width);
    mode.grid_height = static_cast<uint8_t>(of.height);
    mode.method = static_cast<uint8_t>(method);
    mode.weight_count = static_cast<uint8_t>(count);
    mode.weight_bits = static_cast<uint8_t>(size);
    mode.dual_plane = dual;
    return mode;
}
