#pragma once
// Conversion between the pixel layouts of the frame road.

#include <cstdint>

/// Format and type of a pixel block.
struct pixel_layout
{
    uint32_t format;
    uint32_t type;
};

/// Converts `width` x `height` tightly packed pixels. Source and destination may be the same block where the
/// bit counts are equal; three combinations swap in place in the source. False, with the pixels left alone,
/// for a combination that isn't supported.
bool zelvar_helpers_swizzle_pixels(uint32_t dst_format, uint32_t dst_type, uint32_t src_format,
                                   uint32_t src_type, uint32_t height, uint32_t width, uint32_t src_bits,
                                   uint32_t dst_bits, uint8_t* source, uint8_t* destination);
