#pragma once
// A host driver made of plain functions: no locks, no journal, results good enough for the library to start,
// make contexts and draw. Its tables are the base of fake_host.h, and serve alone where recording costs too
// much.

#include "hosttables/host_tables.h"

namespace fake_driver {
/// One row of what the driver offers; the handle of a config is its id.
struct config
{
    EGLint id, red, green, blue, alpha, depth, stencil, samples, surface_type;
};
/// Four configs: 8/8/8/8, 8/8/8, 8/8/8/8 with 4 samples, and a second 8/8/8/8.
extern const config configs[4];

inline constexpr const char* egl_vendor = "Corvane Limited";
inline constexpr const char* gl_vendor = "Corvane Ltd";
inline constexpr const char* egl_extensions = "EGL_KHR_image_base EGL_KHR_fence_sync EGL_KHR_create_context";
inline constexpr const char* gl_extensions[] = {"GL_OES_EGL_image", "GL_OES_vertex_array_object"};

const sidechannel_egl_imports& egl();
const sidechannel_gles_imports& gles();
} // namespace fake_driver
