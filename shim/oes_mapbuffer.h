#pragma once
// GL_OES_mapbuffer, which the library doesn't know: the older spelling of mappings, over those of OpenGL
// ES 3.

#include "shim/proc_address.h"

#include <GLES2/gl2.h>

namespace shim {

constexpr const char* mapbuffer_extension = "GL_OES_mapbuffer";

extern const named_entry_point mapbuffer_entry_points[];

/// The library's list of extensions with this one behind it; null stays null. Lives as long as the process.
const GLubyte* with_mapbuffer_extension(const GLubyte* extensions);

} // namespace shim
