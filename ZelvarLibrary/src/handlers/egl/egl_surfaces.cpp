// Surfaces after their creation.

#include "handlers/egl/egl_common.h"

namespace {
/// An Android window loses the surface that draws into it.
void disconnect_window(const egl_handler& call, uint64_t surface)
{
    if (zelvar_target_gpu() == TARGET_GPU_REAL || !zelvar_helpers_is_shim_runs_android(call.pid, call.tid))
        return;
    zelvar_surface_type type = surface_pbuffer;
    if (zelvar_object_manager_get_surface_type(call.pid, surface, &type) && type == surface_window)
        zelvar_shim_dispatch_winsys_disconnect_window(call.pid, call.tid, surface);
}

EGLBoolean destroy_surface(egl_handler& call, uint64_t dpy, uint64_t surface)
{
    if (zelvar_target_gpu() == TARGET_GPU_DUMMY)
        zelvar_object_manager_clear_cached_framebuffer(call.pid);
    disconnect_window(call, surface);
    EGLDisplay host_display = EGL_NO_DISPLAY;
    EGLSurface host_surface = EGL_NO_SURFACE;
    if (!zelvar_object_manager_get_host_display(call.pid, call.tid, dpy, &host_display)) {
        LOG_FATAL("Could not retrieve host-side display for target-side display [%16ld] for process id [%d] "
                  "Host-side will not execute the call.",
                  shown(dpy), call.pid);
        return EGL_FALSE;
    }
    if (!zelvar_object_manager_get_host_surface(call.pid, surface, &host_surface)) {
        LOG_FATAL("Could not retrieve host-side surface for target-side surface [%16ld] for process id [%d] "
                  "Host-side will not execute the call.",
                  shown(surface), call.pid);
        return EGL_FALSE;
    }
    if (setting(zelvar_only_settings.skipeglDestroySurface)) {
        LOG_ALWAYS("WARN", "Skip eglDestroySurface() call on host side!");
    } else if (!call.host<&egl_table::eglDestroySurface>(host_display, host_surface).result) {
        LOG_ERROR("Could not execute eglDestroySurface() call on host side! CANNOT revert.");
        return EGL_FALSE;
    }
    zelvar_object_manager_delete_target_surface(call.pid, surface);
    return EGL_TRUE;
}

/// Translates both; false with its line when one is unknown.
bool get_host_surface_of(const egl_handler& call, uint64_t dpy, uint64_t surface, EGLDisplay* host_display,
                         EGLSurface* host_surface)
{
    return zelvar_object_manager_get_host_display(call.pid, call.tid, dpy, host_display) &&
           zelvar_object_manager_get_host_surface(call.pid, surface, host_surface);
}
} // namespace

void egl_eglDestroySurface(pid_t pid, tid_t tid, uint64_t dpy, uint64_t surface, result_of<EGLBoolean>,
                           egl_target_error target_error)
{
    egl_handler call{"egl_eglDestroySurface", pid, tid, target_error};
    call.trace("dpy", dpy, "surface", surface);
    call.reply(destroy_surface(call, dpy, surface));
}

void egl_eglSurfaceAttrib(pid_t pid, tid_t tid, uint64_t dpy, uint64_t surface, EGLint attribute,
                          EGLint value, result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglSurfaceAttrib", pid, tid, target_error};
    call.trace("dpy", dpy, "surface", surface, "attribute", attribute, "value", value);
    EGLDisplay host_display = EGL_NO_DISPLAY;
    EGLSurface host_surface = EGL_NO_SURFACE;
    EGLBoolean result = EGL_FALSE;
    if (!get_host_surface_of(call, dpy, surface, &host_display, &host_surface)) {
        LOG_FATAL("eglSurfaceAttrib(): could not map target-side surface [%ld] of display [%ld].",
                  shown(surface), shown(dpy));
    } else if (attribute == EGL_SWAP_BEHAVIOR) {
        // A pbuffer always keeps its contents.
        LOG_WARN("Ignore the set for EGL_SWAP_BEHAVIOR by using eglSurfaceAttrib() on host side.");
        result = EGL_TRUE;
    } else {
        result = call.host<&egl_table::eglSurfaceAttrib>(host_display, host_surface, attribute, value).result;
    }
    call.reply(result);
}

void egl_eglQuerySurface(pid_t pid, tid_t tid, uint64_t dpy, uint64_t surface, EGLint attribute,
                         target_ptr value, result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglQuerySurface", pid, tid, target_error};
    call.trace("dpy", dpy, "surface", surface, "attribute", attribute, "value", value);
    EGLDisplay host_display = EGL_NO_DISPLAY;
    EGLSurface host_surface = EGL_NO_SURFACE;
    EGLBoolean result = EGL_FALSE;
    if (get_host_surface_of(call, dpy, surface, &host_display, &host_surface)) {
        EGLint host_value = 0;
        result =
            call.host<&egl_table::eglQuerySurface>(host_display, host_surface, attribute, &host_value).result;
        if (result)
            call.write(value, host_value);
    } else {
        LOG_FATAL("eglQuerySurface(): failed to find display or surface mapping for target display 0x%lx and "
                  "surface 0x%lx.",
                  dpy, surface);
    }
    call.reply(result);
}

void egl_eglCopyBuffers(pid_t pid, tid_t tid, uint64_t dpy, uint64_t surface, uint64_t native_pixmap,
                        result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglCopyBuffers", pid, tid, target_error};
    call.trace("dpy", dpy, "surface", surface, "native_pixmap", native_pixmap);
    call.error = EGL_BAD_NATIVE_PIXMAP; // the host knows no pixmaps
    call.reply(EGLBoolean{EGL_FALSE});
}

void egl_eglSwapInterval(pid_t pid, tid_t tid, uint64_t dpy, EGLint interval, result_of<EGLBoolean>,
                         egl_target_error target_error)
{
    egl_handler call{"egl_eglSwapInterval", pid, tid, target_error};
    call.trace("dpy", dpy, "interval", interval);
    EGLDisplay host_display = EGL_NO_DISPLAY;
    EGLBoolean result = EGL_FALSE;
    if (zelvar_object_manager_get_host_display(pid, tid, dpy, &host_display))
        result = call.host<&egl_table::eglSwapInterval>(host_display, interval).result;
    else
        LOG_FATAL("eglSwapInterval(): could not map target-side display [%ld].", shown(dpy));
    call.reply(result);
}
