// Calls of the target's Wayland client. The host has no windows: it only takes note.

#include "handlers/egl/egl_common.h"
#include "object_manager/native_windows.h"

namespace {
native_window_map& wayland_windows = *new native_window_map;
} // namespace

void egl_eglBindWaylandDisplayWL(pid_t pid, tid_t tid, uint64_t dpy, uint64_t wl_display,
                                 result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglBindWaylandDisplayWL", pid, tid, target_error};
    call.trace("dpy", dpy, "wl_display", wl_display);
}

void egl_eglUnbindWaylandDisplayWL(pid_t pid, tid_t tid, uint64_t dpy, uint64_t wl_display,
                                   result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglUnbindWaylandDisplayWL", pid, tid, target_error};
    call.trace("dpy", dpy, "wl_display", wl_display);
}

void egl_eglQueryWaylandBufferWL(pid_t pid, tid_t tid, uint64_t dpy, uint64_t wl_buffer, EGLint attribute,
                                 target_ptr value, result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglQueryWaylandBufferWL", pid, tid, target_error};
    call.trace("dpy", dpy, "wl_buffer", wl_buffer, "attribute", attribute, "value", value);
    uint32_t answer = 0;
    if (value && zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, sizeof(answer), value, &answer))
        LOG_DEBUG("eglQueryWaylandBufferWL(): the target's value of attribute [%#x] is [%u].", attribute,
                  answer);
}

void egl_wl_egl_window_create(pid_t pid, tid_t tid, uint64_t wl_surface, EGLint width, EGLint height,
                              result_of<uint64_t> target_result, egl_target_error target_error)
{
    egl_handler call{"egl_wl_egl_window_create", pid, tid, target_error};
    call.trace("wl_surface", wl_surface, "width", width, "height", height);
    uint64_t window = target_result.value;
    Autolock process_lock{pid_to_process_data_map_cs};
    wayland_windows[{pid, window, client_api_wayland_egl}] = {window, static_cast<uint32_t>(width),
                                                              static_cast<uint32_t>(height)};
}

void egl_wl_egl_window_destroy(pid_t pid, tid_t tid, uint64_t window, egl_target_error target_error)
{
    egl_handler call{"egl_wl_egl_window_destroy", pid, tid, target_error};
    call.trace("window", window);
}
