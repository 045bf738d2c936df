#pragma once
// Native buffers whose order of bytes the host can't take: their bytes are kept as RGBA8, and sampling puts
// the channels right.

#include "pixels/swizzle.h"
#include "wire/api.h"
#include "wire/wire.h"

#include <array>

/// Where red, green, blue and alpha come from.
using color_swizzle = std::array<GLenum, 4>;

/// False for a buffer whose own format and type serve as they are.
bool zelvar_helpers_get_color_swizzle(const wire::winsys_buffer_object_descriptor& buffer,
                                      color_swizzle* swizzle);

/// How the host keeps a buffer's bytes.
pixel_layout host_layout_of(const wire::winsys_buffer_object_descriptor& buffer);
