#pragma once
// DRM FourCC codes of native buffers and of what a GPU model asks for.

#include "wire/wire.h"

#include <cstdint>

/// Who asks: some codes lose their alpha for OpenGL ES only.
enum fourcc_flavour : uint32_t
{
    fourcc_for_gles = 0,
    fourcc_for_model = 1,
};

/// Fills format, type, bits per pixel and remove-alpha of `descriptor`. False, logged, for an unknown code,
/// and for the single-channel one, which fills the descriptor all the same.
bool zelvar_helper_breakdown_fourcc_color(uint32_t fourcc, wire::winsys_buffer_object_descriptor* descriptor,
                                          fourcc_flavour flavour);
