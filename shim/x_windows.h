#pragma once
// The window server of applications that are clients of an X server.

#include "shim/windows.h"

namespace shim {

/// A connection of our own to the server of the application's Xlib display (or, for null, of the
/// environment's). Null when the argument is no such display, or the server can't be reached. Libraries of X
/// are loaded here, never linked. Lives to the end of the process; a later call for the same server gives the
/// same object.
window_server* open_x_server(void* xlib_display);

/// Whether this looks like an Xlib display: Xlib is in the process, and the pointer is none of another window
/// system's.
bool is_xlib_display(void* native_display);

/// Waits until the server has seen what the application has asked for, its new windows among it.
void settle_x_display(void* xlib_display);

/// The same for a connection of libxcb.
void settle_xcb_connection(void* connection);

} // namespace shim
