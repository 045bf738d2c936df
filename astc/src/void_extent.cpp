#include "void_extent.h"

#include "endpoints.h"

#include <algorithm>

namespace {
/// An extent that is upside down is illegal, and so is one in HDR.
bool is_legal_void_extent(uint128 bits)
{
    const bool hdr = bits_at(bits, 9, 1);
    if (bits_at(bits, 0, 9) != 0x1fc || hdr || bits_at(bits, 10, 2) != 3)
        return false;
    uint32_t bounds[4]; // low and high s, low and high t
    for (unsigned i = 0; i < 4; ++i)
        bounds[i] = bits_at(bits, 12 + 13 * i, 13);
    const bool everywhere = std::all_of(bounds, bounds + 4, [](uint32_t bound) { return bound == 0x1fff; });
    return everywhere || (bounds[0] < bounds[1] && bounds[2] < bounds[3]);
}
} // namespace

std::array<uint8_t, 4> colour_of_whole_block(uint128 bits)
{
    if (!is_legal_void_extent(bits))
        return error_colour;
    std::array<uint8_t, 4> colour;
    for (unsigned i = 0; i < 4; ++i)
        colour[i] = static_cast<uint8_t>(bits_at(bits, 64 + 16 * i + 8, 8));
    return colour;
}
