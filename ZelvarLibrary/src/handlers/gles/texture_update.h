#pragma once
// Pixels into a host texture behind the application's back.

#include "data_model/zelvar_data_model.h"

#include <cstdint>

/// Writes `width` x `height` pixels, whose rows stand `stride` bytes apart, into level 0 of a host texture of
/// the current host context. Bindings and pixel store state are as before afterwards. True when the texture
/// was updated. The caller holds the context.
bool zelvar_helpers_update_texture_pixel_data(const _zelvar_context_data* context_data, uint32_t host_texture,
                                              uint32_t width, uint32_t height, uint32_t format, uint32_t type,
                                              uint32_t stride, uint32_t bits_per_pixel, const void* pixels);
