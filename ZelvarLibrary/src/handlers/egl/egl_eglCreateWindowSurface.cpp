// eglCreateWindowSurface: what stands on the host for a window of the target is a pbuffer of the window's
// size.

#include "handlers/egl/egl_common.h"
#include "shim/zelvar_shim_calls.h"

namespace {
struct window_size
{
    uint32_t width = 0;
    uint32_t height = 0;
};

/// Asks the target's own EGL, which knows the surface.
bool query_size_on_target(const egl_handler& call, uint64_t dpy, uint64_t surface, window_size* size)
{
    target_ptr block;
    zelvar_shim_dispatch_allocate_memory_block(call.pid, call.tid, 8, &block);
    auto query = [&](EGLint attribute, uint32_t* value) {
        EGLBoolean result = EGL_FALSE;
        unsigned error = EGL_SUCCESS;
        zelvar_shim_dispatch_egl_query_surface_call(call.pid, call.tid, dpy, surface, attribute, block,
                                                    &result, sizeof(result), &error);
        return result && error == EGL_SUCCESS &&
               zelvar_shim_dispatch_read_from_shim_address_space(call.pid, call.tid, sizeof(*value), block,
                                                                 value);
    };
    bool known = block && query(EGL_WIDTH, &size->width);
    if (!known) {
        LOG_FATAL("Could not query target-side surface width");
    } else {
        known = query(EGL_HEIGHT, &size->height);
        if (!known)
            LOG_FATAL("Could not query target-side surface height");
    }
    if (block)
        zelvar_shim_dispatch_deallocate_memory_block(call.pid, call.tid, block);
    return known;
}

bool find_window_size(const egl_handler& call, uint64_t dpy, uint64_t window, uint64_t surface,
                      window_size* size)
{
    if (zelvar_object_manager_get_target_native_window_properties(call.pid, window, &size->width,
                                                                  &size->height))
        return true;
    if (zelvar_call_on_target())
        return query_size_on_target(call, dpy, surface, size);
    zelvar_shim_dispatch_winsys_get_window_height(call.pid, call.tid, window, &size->height);
    zelvar_shim_dispatch_winsys_get_window_width(call.pid, call.tid, window, &size->width);
    return true;
}

/// An Android window is told which surface draws into it.
void connect_window(const egl_handler& call, uint64_t window, uint64_t surface)
{
    if (zelvar_target_gpu() == TARGET_GPU_REAL || !zelvar_helpers_is_shim_runs_android(call.pid, call.tid))
        return;
    bool ok = false;
    zelvar_shim_dispatch_winsys_connect_window(call.pid, call.tid, window, surface, &ok);
    if (!ok)
        LOG_FATAL("Failed to establish connection for target surface [%ld] and target window [%ld].",
                  shown(surface), shown(window));
}

/// The target's surface, or 0 when there is none to make.
uint64_t choose_target_surface(uint64_t window, uint64_t target_result, egl_target_error target_error)
{
    if (zelvar_call_on_target()) {
        if (target_result != 0 && target_error.code == EGL_SUCCESS)
            return target_result;
        LOG_ERROR("eglCreateWindowSurface() failed on target-side. Surface reported [%ld], error reported "
                  "[%d].\n\n",
                  shown(target_result), static_cast<int>(target_error.code));
        return 0;
    }
    if (window == 0) {
        LOG_FATAL("The parameter 'win' is NULL, eglCreateWindowSurface() will not execute on host side");
        return 0;
    }
    return zelvar_object_manager_generate_target_surface();
}

/// False, with the host's error in `call`, when nothing was made.
bool create_pbuffer(egl_handler& call, EGLDisplay display, EGLConfig host_config, uint64_t config,
                    uint64_t window, uint64_t surface, const window_size& size)
{
    const EGLint list[] = {EGL_WIDTH, static_cast<EGLint>(size.width), EGL_HEIGHT,
                           static_cast<EGLint>(size.height), EGL_NONE};
    auto pbuffer = call.host<&egl_table::eglCreatePbufferSurface>(display, host_config, list);
    if (!pbuffer.result) {
        LOG_ERROR("Could not create a pbuffer surface on host side");
        return false;
    }
    if (zelvar_object_manager_add_surface(call.pid, pbuffer.result, surface, surface_window, config, window,
                                          0, static_cast<uint16_t>(size.width),
                                          static_cast<uint16_t>(size.height)))
        return true;
    LOG_FATAL("Could not add a window surface to the object manager.");
    if (!host::egl_unchecked<&egl_table::eglDestroySurface>(display, pbuffer.result))
        LOG_FATAL("Could not revert host-side call.");
    return false;
}

/// What the call reports.
uint64_t create_window_surface(egl_handler& call, uint64_t dpy, uint64_t config, uint64_t window,
                               uint64_t target_result, egl_target_error target_error)
{
    if (zelvar_target_gpu() == TARGET_GPU_DUMMY)
        zelvar_object_manager_clear_cached_framebuffer(call.pid);
    uint64_t surface = choose_target_surface(window, target_result, target_error);
    if (surface == 0)
        return 0;
    EGLDisplay host_display = EGL_NO_DISPLAY;
    EGLConfig host_config = nullptr;
    if (!zelvar_object_manager_get_host_display(call.pid, call.tid, dpy, &host_display)) {
        LOG_FATAL("Could not map target-side display [%ld]. Host-side will NOT execute.", shown(dpy));
        return surface;
    }
    if (!zelvar_object_manager_get_host_config(call.pid, call.tid, dpy, config, &host_config)) {
        LOG_FATAL("Could not map target-side config [%ld]. Host-side will NOT execute.", shown(config));
        return surface;
    }
    connect_window(call, window, surface);
    window_size size;
    if (!find_window_size(call, dpy, window, surface, &size))
        return surface;
    if (size.width == 0 || size.height == 0) {
        LOG_FATAL("Invalid window height (%d) or width (%d).", size.height, size.width);
        return surface;
    }
    return create_pbuffer(call, host_display, host_config, config, window, surface, size) ? surface : 0;
}
} // namespace

void egl_eglCreateWindowSurface(pid_t pid, tid_t tid, uint64_t dpy, uint64_t config, uint64_t window,
                                target_ptr attrib_list, result_of<uint64_t> target_result,
                                egl_target_error target_error)
{
    egl_handler call{"egl_eglCreateWindowSurface", pid, tid, target_error};
    call.trace("dpy", dpy, "config", config, "window", window, "attrib_list", attrib_list);
    call.reply(create_window_surface(call, dpy, config, window, target_result.value, target_error));
}

void egl_eglCreatePlatformWindowSurfaceEXT(pid_t pid, tid_t tid, uint64_t dpy, uint64_t config,
                                           uint64_t native_window, target_ptr attrib_list,
                                           result_of<uint64_t> target_result, egl_target_error target_error)
{
    {
        egl_handler call{"egl_eglCreatePlatformWindowSurfaceEXT", pid, tid, target_error};
        call.end_silently(); // the call that this becomes has its own end
        call.trace("dpy", dpy, "config", config, "native_window", native_window, "attrib_list", attrib_list);
    }
    egl_eglCreateWindowSurface(pid, tid, dpy, config, native_window, attrib_list, target_result,
                               target_error);
}
