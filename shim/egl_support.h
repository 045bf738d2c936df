#pragma once
// What several EGL entry points share: displays of X clients, and their windows.

#include <EGL/egl.h>
#include <EGL/eglext.h>

#include <cstdint>

namespace shim {

/// The default display, which is the only one. With an Xlib display the process becomes an X client.
EGLDisplay get_display(void* xlib_display);

/// Makes the process an X client when the platform is X11.
void note_platform_display(EGLDisplay display, EGLenum platform, void* native);

/// The Xlib display that this display was got for; null for others.
void* x_display_of(EGLDisplay display);

/// The window that a platform window argument means: with X11 it points to the window's id.
uint64_t platform_window_handle(EGLDisplay display, void* window);

} // namespace shim
