#pragma once
// Configs as desktop applications want them. They take one with alpha and depth and without stencil for
// granted, and some find nothing else good enough; tables of phones have none. So clients of an X server are
// offered a twin of the config that has all three: it says that it has no stencil, and is the same config
// otherwise.

#include <EGL/egl.h>
#include <GLES3/gl31.h>

#include <functional>
#include <vector>

namespace shim {

/// The config that the library knows: the original of a twin, any other as it is.
EGLConfig known_config(EGLConfig config);

bool is_twin_config(EGLConfig config);

/// What a twin says of itself, given what its original says.
EGLint twin_attribute(EGLint attribute, EGLint of_original);

/// The list with the twin in front of its original; `attribute_of` asks the library about one.
void add_twin_config(std::vector<EGLConfig>& configs,
                     const std::function<EGLint(EGLConfig, EGLint)>& attribute_of);

/// Whether a list of wishes, null or ended by EGL_NONE, is met by a config without stencil and without a
/// certain id.
bool twin_may_serve(const EGLint* wishes);

/// A surface was made with a config, or has gone. Any thread.
void note_surface_config(void* surface, EGLConfig config);
void forget_surface_config(void* surface);

/// Whether a surface was made with a twin. What its stencil holds is nobody's then.
bool is_twin_surface(void* surface);

/// For a forked child and for tests.
void forget_surface_configs();

/// What to clear on a surface of a twin for an application that clears `mask`. A depth buffer alone takes a
/// host several times as long as one together with the stencil that shares its words.
GLbitfield twin_clear_mask(GLbitfield mask);

} // namespace shim
