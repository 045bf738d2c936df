// Opening, initialising and terminating displays. The host has one display, and it is never terminated.

#include "handlers/egl/egl_common.h"

namespace {
/// Registers the host display for a process that doesn't know it yet; returns the target's name for it.
uint64_t add_display(const egl_handler& call, EGLDisplay host_display, uint64_t target_result)
{
    uint64_t target_display = zelvar_call_on_target()
                                  ? target_result
                                  : zelvar_object_manager_generate_target_display(call.pid, 0, host_display);
    zelvar_object_manager_add_display(call.pid, call.tid, host_display, target_display);
    EGLDisplay mapped = EGL_NO_DISPLAY;
    if (zelvar_object_manager_global_display_mapping_get_host_display(target_display, &mapped) &&
        mapped == host_display)
        LOG_WARN(
            "Resue the global host-side<=>target-side mapping for host side display [%#lx] and target-side "
            "display [%#lx]!",
            number_of(host_display), target_display);
    else
        zelvar_object_manager_global_display_mapping_add(target_display, host_display);
    return target_display;
}
} // namespace

void egl_eglGetDisplay(pid_t pid, tid_t tid, uint64_t display_id, result_of<uint64_t> target_result,
                       egl_target_error target_error)
{
    egl_handler call{"egl_eglGetDisplay", pid, tid, target_error};
    call.trace("display_id", display_id);
    if (display_id != 0)
        LOG_ERROR(
            "eglGetDisplay() was executed with display_id=[%#lx] whereas the only supported argument is "
            "EGL_DEFAULT_DISPLAY",
            display_id);
    auto host_display = call.host<&egl_table::eglGetDisplay>(EGL_DEFAULT_DISPLAY);
    if (!host_display.result) {
        LOG_FATAL("The host has no EGL display.");
        call.reply(uint64_t{0});
        return;
    }
    uint64_t reported = 0;
    if (!zelvar_object_manager_get_target_display(pid, host_display.result, &reported))
        reported = add_display(call, host_display.result, target_result.value);
    if (zelvar_call_on_target() && reported != target_result.value)
        LOG_ERROR("Target display in mapping [%#lx] is not same as reported by target-side call [%#lx]!",
                  reported, target_result.value);
    call.reply(reported);
}

void egl_eglGetPlatformDisplayEXT(pid_t pid, tid_t tid, EGLenum platform, uint64_t native_display,
                                  target_ptr attrib_list, result_of<uint64_t> target_result,
                                  egl_target_error target_error)
{
    {
        egl_handler call{"egl_eglGetPlatformDisplayEXT", pid, tid, target_error};
        call.end_silently(); // the call that this becomes has its own end
        call.trace("platform", platform, "native_display", native_display, "attrib_list", attrib_list);
        if (zelvar_target_gpu() != TARGET_GPU_REAL)
            LOG_FATAL("egl_eglGetPlatformDisplayEXT is not supported for TRV-only!");
    }
    egl_eglGetDisplay(pid, tid, 0, target_result, target_error);
}

namespace {
/// Marks the display as in use by its process; false when it can't be.
bool count_initialisation(pid_t pid, uint64_t target_display, EGLDisplay host_display)
{
    if (!zelvar_object_manager_set_display_initialized_state(pid, target_display, true)) {
        LOG_FATAL("Could not mark display [%#lx] of process [%d] as initialized.", target_display, pid);
        return false;
    }
    if (zelvar_object_manager_host_display_inc_ref(host_display))
        return true;
    LOG_FATAL("Could not count the use of host display [%p] by process [%d].", host_display, pid);
    zelvar_object_manager_set_display_initialized_state(pid, target_display, false);
    return false;
}
} // namespace

void egl_eglInitialize(pid_t pid, tid_t tid, uint64_t dpy, target_ptr major, target_ptr minor,
                       result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglInitialize", pid, tid, target_error};
    call.trace("dpy", dpy, "major", major, "minor", minor);
    EGLDisplay host_display = EGL_NO_DISPLAY;
    bool initialised = false;
    if (!zelvar_object_manager_get_host_display(pid, tid, dpy, &host_display) || !host_display ||
        !zelvar_object_manager_get_display_initialized_state(pid, dpy, &initialised)) {
        LOG_WARN("Invalid target display [%ld] in process [%d] specified. EGL_BAD_DISPLAY is generated.",
                 shown(dpy), pid);
        call.error = EGL_BAD_DISPLAY;
        call.reply(EGLBoolean{EGL_FALSE});
        return;
    }
    if (initialised)
        LOG_WARN(
            "Attempt to initialize already initialized display (target [%ld], host [%ld]) in process [%d].",
            shown(dpy), shown(number_of(host_display)), pid);
    EGLint host_major = 0;
    EGLint host_minor = 0;
    auto host = call.host<&egl_table::eglInitialize>(host_display, &host_major, &host_minor);
    if (!host.result) {
        LOG_FATAL("eglInitialize() failed on host side for target display [%ld].", shown(dpy));
        call.reply(EGLBoolean{EGL_FALSE});
        return;
    }
    if (!count_initialisation(pid, dpy, host_display)) {
        call.error = EGL_NOT_INITIALIZED;
        call.reply(EGLBoolean{EGL_FALSE});
        return;
    }
    call.write(major, host_major);
    call.write(minor, host_minor);
    zelvar_object_manager_update_process_data(pid, tid, dpy);
    call.reply(EGLBoolean{EGL_TRUE});
}

namespace {
/// Takes a process's use of the host display back; what eglTerminate reports.
EGLBoolean release_host_display(egl_handler& call, EGLDisplay host_display)
{
    static std::atomic<int> skipped{0};
    bool last = false;
    if (!zelvar_object_manager_host_display_dec_ref(host_display, &last)) {
        LOG_ERROR("Host display [%p] is not referenced. Generate error EGL_BAD_DISPLAY.", host_display);
        call.error = EGL_BAD_DISPLAY;
        return EGL_FALSE;
    }
    if (!last) {
        LOG_INFO("Host display [%p] retained.", host_display);
        return EGL_TRUE;
    }
    int count = ++skipped;
    LOG_DEBUG(
        "Skipping host call of EglTerminate. This may result in leaking surfaces/contexts, if the target "
        "app fails to clean itself properly via eglDestroySurface and eglDestroyContext.We have skipped %d "
        "calls to eglTerminate",
        count);
    return EGL_FALSE;
}

EGLBoolean terminate(egl_handler& call, uint64_t dpy)
{
    EGLDisplay host_display = EGL_NO_DISPLAY;
    bool initialised = false;
    if (!zelvar_object_manager_get_host_display(call.pid, call.tid, dpy, &host_display) ||
        !zelvar_object_manager_get_display_initialized_state(call.pid, dpy, &initialised)) {
        LOG_WARN(
            "For target process [%d] either target display [%ld], host display [%ld] or its initialization "
            "state [%d] are invalid. EGL_BAD_DISPLAY is generated.",
            call.pid, shown(dpy), shown(number_of(host_display)), initialised);
        return EGL_FALSE;
    }
    if (!initialised) {
        LOG_WARN(
            "Target display [%ld] (host display id is [%ld]) is not initialized or has been terminated for "
            "process [%d].",
            shown(dpy), shown(number_of(host_display)), call.pid);
        return EGL_TRUE;
    }
    zelvar_object_manager_free_display_resources(call.pid, call.tid, dpy);
    zelvar_object_manager_set_display_initialized_state(call.pid, dpy, false);
    return release_host_display(call, host_display);
}
} // namespace

void egl_eglTerminate(pid_t pid, tid_t tid, uint64_t dpy, result_of<EGLBoolean>,
                      egl_target_error target_error)
{
    egl_handler call{"egl_eglTerminate", pid, tid, target_error};
    call.trace("dpy", dpy);
    EGLBoolean result = terminate(call, dpy);
    zelvar_shim_dispatch_set_cursor_visibility(pid, tid, true);
    call.reply(result);
    zelvar_object_manager_delete_all_worker_for_pid(pid);
}
