// Contexts after their creation: making them current, asking about them, destroying them.

#include "handlers/egl/egl_common.h"

namespace {
bool get_host_display_logged(const egl_handler& call, uint64_t dpy, EGLDisplay* host_display)
{
    if (zelvar_object_manager_get_host_display(call.pid, call.tid, dpy, host_display))
        return true;
    LOG_FATAL("%s(): could not map target-side display [%ld].", call.key, shown(dpy));
    return false;
}

bool get_host_context_logged(const egl_handler& call, uint64_t context, EGLContext* host_context)
{
    if (zelvar_object_manager_get_host_context(call.pid, context, host_context))
        return true;
    LOG_FATAL("%s(): could not map target-side context [%ld].", call.key, shown(context));
    return false;
}

bool get_host_surface_logged(const egl_handler& call, uint64_t surface, EGLSurface* host_surface)
{
    if (zelvar_object_manager_get_host_surface(call.pid, surface, host_surface))
        return true;
    LOG_FATAL("%s(): could not map target-side surface [%ld].", call.key, shown(surface));
    return false;
}
} // namespace

void egl_eglDestroyContext(pid_t pid, tid_t tid, uint64_t dpy, uint64_t context, result_of<EGLBoolean>,
                           egl_target_error target_error)
{
    egl_handler call{"egl_eglDestroyContext", pid, tid, target_error};
    call.trace("dpy", dpy, "context", context);
    EGLDisplay host_display = EGL_NO_DISPLAY;
    EGLContext host_context = EGL_NO_CONTEXT;
    EGLBoolean result = EGL_FALSE;
    if (get_host_display_logged(call, dpy, &host_display) &&
        get_host_context_logged(call, context, &host_context)) {
        result = call.host<&egl_table::eglDestroyContext>(host_display, host_context).result;
        if (result)
            zelvar_object_manager_delete_target_context(pid, context, true);
        else
            LOG_ERROR("Could not execute eglDestroyContext() call on host side! CANNOT revert.");
    }
    call.reply(result);
}

namespace {
/// An emulator's driver keeps luminance depth textures unless a context of version 2 is told not to.
void disable_luminance_depth_textures()
{
    const auto* gles = zelvar_imports_get_gles_ptrs();
    if (!gles->GLES2_GetSetRequestEnumForName || !gles->GLES2_Set) {
        LOG_WARN("Ignoring hook for 'disable use luminance depth texture mode'.");
        return;
    }
    unsigned request = host::gl_unchecked<&sidechannel_gles_imports::GLES2_GetSetRequestEnumForName>(
        "GLES_SET_REQUEST_USE_LUMINANCE_DEPTH_TEXTURE_MODE");
    host::gl_unchecked<&sidechannel_gles_imports::GLES2_Set>(request, 0);
}

void tune_current_context(pid_t pid, tid_t tid)
{
    _zelvar_context_data* context = zelvar_object_manager_lock_context_data(pid, tid);
    if (!context) {
        LOG_FATAL(
            "Could not retrieve context data for current <%d, %ld> pid/tid pair. glColorMask() will not "
            "execute.",
            pid, shown(tid));
        return;
    }
    if (context->host_major_version == 2)
        disable_luminance_depth_textures();
    zelvar_object_manager_unlock_context_data(context);
}

EGLBoolean make_current(egl_handler& call, uint64_t dpy, uint64_t draw, uint64_t read, uint64_t context)
{
    EGLContext host_context = EGL_NO_CONTEXT;
    EGLDisplay host_display = EGL_NO_DISPLAY;
    EGLSurface host_draw = EGL_NO_SURFACE;
    EGLSurface host_read = EGL_NO_SURFACE;
    if (!get_host_context_logged(call, context, &host_context) ||
        !get_host_display_logged(call, dpy, &host_display) ||
        !get_host_surface_logged(call, draw, &host_draw) || !get_host_surface_logged(call, read, &host_read))
        return EGL_FALSE;
    auto made = call.host<&egl_table::eglMakeCurrent>(host_display, host_draw, host_read, host_context);
    if (!made.result)
        return EGL_FALSE;
    zelvar_object_manager_bind_context_to_thread(call.pid, context, call.tid, draw, read, false);
    if (host_context)
        tune_current_context(call.pid, call.tid);
    zelvar_shim_dispatch_set_screensaver_status(call.pid, call.tid, context == 0);
    return EGL_TRUE;
}
} // namespace

void egl_eglMakeCurrent(pid_t pid, tid_t tid, uint64_t dpy, uint64_t draw, uint64_t read, uint64_t context,
                        result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglMakeCurrent", pid, tid, target_error};
    call.trace("dpy", dpy, "draw", draw, "read", read, "context", context);
    call.reply(make_current(call, dpy, draw, read, context));
}

void egl_eglQueryContext(pid_t pid, tid_t tid, uint64_t dpy, uint64_t context, EGLint attribute,
                         target_ptr value, result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglQueryContext", pid, tid, target_error};
    call.trace("dpy", dpy, "context", context, "attribute", attribute, "value", value);
    EGLDisplay host_display = EGL_NO_DISPLAY;
    EGLContext host_context = EGL_NO_CONTEXT;
    EGLBoolean result = EGL_FALSE;
    if (get_host_display_logged(call, dpy, &host_display) &&
        get_host_context_logged(call, context, &host_context)) {
        EGLint host_value = 0;
        result =
            call.host<&egl_table::eglQueryContext>(host_display, host_context, attribute, &host_value).result;
        // An application that asked for version 2 and runs on version 3 must not find out.
        if (attribute == EGL_CONTEXT_CLIENT_VERSION && host_value == 3 &&
            zelvar_object_manager_get_target_context_major_version(pid, context) == 2)
            host_value = 2;
        if (result)
            call.write(value, host_value);
    }
    call.reply(result);
}

void egl_eglGetCurrentContext(pid_t pid, tid_t tid, result_of<uint64_t>, egl_target_error target_error)
{
    egl_handler call{"egl_eglGetCurrentContext", pid, tid, target_error};
    call.trace();
    auto host_context = call.host<&egl_table::eglGetCurrentContext>();
    uint64_t context = 0;
    if (!zelvar_object_manager_get_target_context(pid, host_context.result, &context))
        LOG_FATAL("Cannot find target<=>host context mapping in eglGetCurrentContext().");
    call.reply(context);
}

void egl_eglGetCurrentDisplay(pid_t pid, tid_t tid, result_of<uint64_t>, egl_target_error target_error)
{
    egl_handler call{"egl_eglGetCurrentDisplay", pid, tid, target_error};
    call.trace();
    auto host_display = call.host<&egl_table::eglGetCurrentDisplay>();
    uint64_t display = 0;
    if (!zelvar_object_manager_get_target_display(pid, host_display.result, &display))
        LOG_FATAL("Failed to find matching target side display for host side display [%p]",
                  host_display.result);
    call.reply(display);
}

void egl_eglGetCurrentSurface(pid_t pid, tid_t tid, EGLint readdraw, result_of<uint64_t>,
                              egl_target_error target_error)
{
    egl_handler call{"egl_eglGetCurrentSurface", pid, tid, target_error};
    call.trace("readdraw", readdraw);
    auto host_surface = call.host<&egl_table::eglGetCurrentSurface>(readdraw);
    uint64_t surface = 0;
    if (host_surface.result && !zelvar_object_manager_get_target_surface(pid, host_surface.result, &surface))
        LOG_FATAL("eglGetCurrentSurface() cannot find target surface mapping for host surface %p.",
                  host_surface.result);
    call.reply(surface);
}
