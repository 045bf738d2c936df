#include "endpoints.h"

#include <algorithm>

namespace {
uint8_t clamped(int value)
{
    return static_cast<uint8_t>(std::clamp(value, 0, 255));
}

std::array<uint8_t, 4> colour(int r, int g, int b, int a)
{
    return {clamped(r), clamped(g), clamped(b), clamped(a)};
}

/// Undoes the encoder's shift of red and green towards blue.
std::array<uint8_t, 4> contracted(int r, int g, int b, int a)
{
    return {clamped((r + b) >> 1), clamped((g + b) >> 1), clamped(b), clamped(a)};
}

/// A base and its signed offset share two bytes: the offset's top bit belongs to the base.
struct based
{
    int base;
    int offset;
};
based base_and_offset(int base, int offset)
{
    base = base >> 1 | (offset & 0x80);
    offset = offset >> 1 & 0x3f;
    return {base, (offset & 0x20) ? offset - 0x40 : offset};
}

endpoints decode_direct(const uint8_t* v, int low_alpha, int high_alpha)
{
    if (v[1] + v[3] + v[5] >= v[0] + v[2] + v[4])
        return {colour(v[0], v[2], v[4], low_alpha), colour(v[1], v[3], v[5], high_alpha)};
    return {contracted(v[1], v[3], v[5], high_alpha), contracted(v[0], v[2], v[4], low_alpha)};
}

endpoints decode_offset(const uint8_t* v, based alpha)
{
    const based r = base_and_offset(v[0], v[1]);
    const based g = base_and_offset(v[2], v[3]);
    const based b = base_and_offset(v[4], v[5]);
    const int high[4] = {r.base + r.offset, g.base + g.offset, b.base + b.offset, alpha.base + alpha.offset};
    if (r.offset + g.offset + b.offset >= 0)
        return {colour(r.base, g.base, b.base, alpha.base), colour(high[0], high[1], high[2], high[3])};
    return {contracted(high[0], high[1], high[2], high[3]), contracted(r.base, g.base, b.base, alpha.base)};
}

endpoints decode_scaled(const uint8_t* v, int low_alpha, int high_alpha)
{
    return {colour(v[0] * v[3] >> 8, v[1] * v[3] >> 8, v[2] * v[3] >> 8, low_alpha),
            colour(v[0], v[1], v[2], high_alpha)};
}

endpoints decode_luminance(int low, int high, int low_alpha, int high_alpha)
{
    return {colour(low, low, low, low_alpha), colour(high, high, high, high_alpha)};
}
} // namespace

endpoints decode_endpoints(unsigned mode, const uint8_t* v)
{
    constexpr based opaque{255, 0};
    switch (mode) {
    case 0:
        return decode_luminance(v[0], v[1], 255, 255);
    case 1: {
        const int low = v[0] >> 2 | (v[1] & 0xc0);
        return decode_luminance(low, low + (v[1] & 0x3f), 255, 255);
    }
    case 4:
        return decode_luminance(v[0], v[1], v[2], v[3]);
    case 5: {
        const based light = base_and_offset(v[0], v[1]);
        const based alpha = base_and_offset(v[2], v[3]);
        return decode_luminance(light.base, light.base + light.offset, alpha.base, alpha.base + alpha.offset);
    }
    case 6:
        return decode_scaled(v, 255, 255);
    case 8:
        return decode_direct(v, 255, 255);
    case 9:
        return decode_offset(v, opaque);
    case 10:
        return decode_scaled(v, v[4], v[5]);
    case 12:
        return decode_direct(v, v[6], v[7]);
    case 13:
        return decode_offset(v, base_and_offset(v[6], v[7]));
    default:
        return {error_colour, error_colour};
    }
}
