#pragma once
// Sizes of client-memory blobs, in 64 bits: pure arithmetic, no host call, no model look-up.

#include "data_model/zelvar_data_model.h"

#include <cstdint>

/// Bytes that glReadPixels writes to target memory, skip areas included; 0 for a negative size.
uint64_t read_pixels_size(const current_pack_params& pack, int32_t width, int32_t height,
                          uint64_t pixel_bytes);
/// Bytes that a driver may touch for the same call by the published formula.
uint64_t read_pixels_reach(const current_pack_params& pack, int32_t width, int32_t height,
                           uint64_t pixel_bytes);

/// What a texture upload covers. A two-dimensional entry point has one image, whatever the target.
struct image_extent
{
    int32_t width;
    int32_t height;
    int32_t depth;
    bool has_depth;
};
/// Bytes that an upload reads from target memory; 0 for a negative size.
uint64_t unpack_size(const current_pack_params& unpack, const image_extent& extent, uint64_t pixel_bytes);
/// Bytes that a driver may touch for the same upload by the published formula.
uint64_t unpack_reach(const current_pack_params& unpack, const image_extent& extent, uint64_t pixel_bytes);

/// Bytes of tightly packed pixels of the formats of version 2, where packed types count once a component; 0
/// for other types and negative sizes.
void zelvar_helpers_get_targetside_gl_tex_image_pixels_array_size(uint32_t format, int32_t width,
                                                                  int32_t height, int32_t depth,
                                                                  uint32_t type, uint64_t* out);
