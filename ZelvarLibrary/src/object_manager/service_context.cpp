// The service context of a process: all its host contexts share objects with it, and intermediate objects
// live in it.

#include "object_manager/zelvar_object_manager.h"
#include "registration/host_call.h"
#include "sidechannel_log.h"

namespace {
using egl_table = sidechannel_egl_imports;

/// Null when the process is unknown. The caller holds pid_to_process_data_map_cs.
_zelvar_object_manager_process_data* find_process_locked(pid_t pid)
{
    auto process = pid_to_process_data_map.find(pid);
    return process == pid_to_process_data_map.end() ? nullptr : &process->second;
}
} // namespace

bool zelvar_object_manager_initialize_service_host_egl_context(pid_t pid)
{
    constexpr EGLint context_list[] = {EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE};
    constexpr EGLint surface_list[] = {EGL_WIDTH, 16, EGL_HEIGHT, 16, EGL_NONE};
    EGLDisplay display = host::egl_unchecked<&egl_table::eglGetDisplay>(EGL_DEFAULT_DISPLAY);
    EGLConfig config = host_display_configs && !host_display_configs->empty()
                           ? host_display_configs->front().host_config
                           : nullptr;
    auto context = host::egl<&egl_table::eglCreateContext>(display, config, EGL_NO_CONTEXT, context_list);
    if (!context.result) {
        LOG_FATAL("Failed to create context for intermediate textures used for EGLImageKHR. Context "
                  "reported=[%p] EGL error code=[0x%04X] (on init branch)",
                  context.result, context.error);
        return false;
    }
    auto surface = host::egl<&egl_table::eglCreatePbufferSurface>(display, config, surface_list);
    if (!surface.result) {
        LOG_FATAL("Could not create a pbuffer surface for service context of target process");
        host::egl_unchecked<&egl_table::eglDestroyContext>(display, context.result);
        return false;
    }
    Autolock process_lock{pid_to_process_data_map_cs};
    auto& process = pid_to_process_data_map[pid];
    // An earlier service context stays on the host: other contexts of the process may share with it.
    process.service_context = context.result;
    process.service_draw = process.service_read = surface.result;
    process.service_checked_out = false;
    process.service_owner = 0;
    LOG_DEBUG("Created a per process service context %p, (and surface) %p", context.result, surface.result);
    return true;
}

bool zelvar_object_manager_checkout_service_host_egl_context(pid_t pid, tid_t tid, EGLDisplay,
                                                             EGLSurface* draw, EGLSurface* read,
                                                             EGLContext* context)
    ZELVAR_TSA(no_thread_safety_analysis)
{
    if (zelvar_internal_call_fails(zelvar_internal_checkout_service_host_egl_context))
        return false;
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = find_process_locked(pid);
    if (!process || !process->service_context) {
        LOG_FATAL("A service context does not exist on the host for process %d", pid);
        return false;
    }
    if (process->service_checked_out && process->service_owner != tid) {
        LOG_ERROR("Multiple threads may be attempting to access the Zelvar service context! State may get "
                  "corrupted");
        // The registry stays closed to everybody else from here on: two threads in one context is beyond
        // repair.
        critical_section_enter(pid_to_process_data_map_cs);
        return false;
    }
    process->service_checked_out = true;
    process->service_owner = tid;
    *draw = process->service_draw;
    *read = process->service_read;
    *context = process->service_context;
    return true;
}

bool zelvar_object_manager_checkin_service_host_egl_context(pid_t pid, tid_t)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = find_process_locked(pid);
    if (!process)
        return false;
    process->service_checked_out = false;
    process->service_owner = 0;
    return true;
}

bool zelvar_helpers_swap_host_current_context(EGLDisplay host_display, EGLSurface new_draw,
                                              EGLSurface new_read, EGLContext new_context,
                                              EGLContext* old_context, EGLSurface* old_draw,
                                              EGLSurface* old_read)
{
    auto context = host::egl<&egl_table::eglGetCurrentContext>();
    if (!context.ok()) {
        LOG_ERROR("Failed to get current context with error [%d].", static_cast<int>(context.error));
        return false;
    }
    auto draw = host::egl<&egl_table::eglGetCurrentSurface>(EGL_DRAW);
    if (!draw.ok()) {
        LOG_ERROR("Failed to get current draw surface with error [%d].", static_cast<int>(draw.error));
        return false;
    }
    auto read = host::egl<&egl_table::eglGetCurrentSurface>(EGL_READ);
    if (!read.ok()) {
        LOG_ERROR("Failed to get current read surface with error [%d].", static_cast<int>(read.error));
        return false;
    }
    auto made = host::egl<&egl_table::eglMakeCurrent>(host_display, new_draw, new_read, new_context);
    if (!made.result || !made.ok()) {
        LOG_ERROR("Failed to make current context with error [%d], draw surface [%p], read surface [%p], "
                  "context [%p].",
                  static_cast<int>(made.error), new_draw, new_read, new_context);
        return false;
    }
    *old_context = context.result;
    *old_draw = draw.result;
    *old_read = read.result;
    return true;
}
