// Sync objects. Only while the target has no EGL does the host keep any: the shim makes the object that
// threads really wait on, the host keeps its state. Otherwise the target has its own.

#include "handlers/egl/egl_common.h"

namespace {
using sync_record = _zelvar_sync_khr_descriptor;

bool is_known_type(EGLenum type)
{
    return type == EGL_SYNC_REUSABLE_KHR || type == EGL_SYNC_FENCE_KHR ||
           type == EGL_SYNC_NATIVE_FENCE_ANDROID;
}

/// False, with EGL_BAD_DISPLAY in `call`, for an unknown display.
bool check_display(egl_handler& call, uint64_t dpy)
{
    EGLDisplay host_display = EGL_NO_DISPLAY;
    if (zelvar_object_manager_get_host_display(call.pid, call.tid, dpy, &host_display) && host_display)
        return true;
    call.error = EGL_BAD_DISPLAY;
    return false;
}

/// A sync that has not been destroyed; null, with EGL_BAD_PARAMETER in `call`, when there is none.
std::shared_ptr<sync_record> find_sync(egl_handler& call, uint64_t sync)
{
    std::shared_ptr<sync_record> record;
    if (zelvar_object_manager_get_sync_khr_object(call.pid, sync, &record) && record->valid)
        return record;
    call.error = EGL_BAD_PARAMETER;
    return nullptr;
}

/// What the call reports.
uint64_t create_sync(egl_handler& call, uint64_t dpy, EGLenum type, target_ptr attrib_list)
{
    if (!check_display(call, dpy))
        return 0;
    attribute_pairs pairs;
    if (!read_attribute_list(call.pid, call.tid, attrib_list, &pairs) || !pairs.empty()) {
        LOG_ERROR("Unsupported attribute list parameter specified [%#x]", pairs.empty() ? 0 : pairs[0].first);
        return 0;
    }
    uint64_t sync = 0;
    zelvar_shim_dispatch_shim_sync_object_create(call.pid, call.tid, &sync);
    if (!zelvar_object_manager_add_sync_khr_object(call.pid, type, sync)) {
        zelvar_shim_dispatch_shim_sync_object_destroy(call.pid, call.tid, sync);
        LOG_FATAL("Failed to create shim sync object <=> sync khr object mapping on host. Returning "
                  "EGL_NO_SYNC_KHR.");
        return 0;
    }
    if (type == EGL_SYNC_FENCE_KHR) {
        // Commands run in order once flushed, so a fence is never seen pending.
        host::gl_unchecked<&sidechannel_gles_imports::glFlush>();
        if (auto record = find_sync(call, sync))
            record->status = EGL_SIGNALED_KHR;
    }
    return sync;
}
} // namespace

void egl_eglCreateSyncKHR(pid_t pid, tid_t tid, uint64_t dpy, EGLenum type, target_ptr attrib_list,
                          result_of<uint64_t>, egl_target_error target_error)
{
    egl_handler call{"egl_eglCreateSyncKHR", pid, tid, target_error};
    call.trace("dpy", dpy, "type", type, "attrib_list", attrib_list);
    if (!is_known_type(type)) {
        call.error = EGL_BAD_ATTRIBUTE;
    } else if (zelvar_call_on_target()) {
        host::gl_unchecked<&sidechannel_gles_imports::glFlush>();
        call.end_silently();
    } else {
        call.reply(create_sync(call, dpy, type, attrib_list));
    }
}

namespace {
EGLBoolean destroy_sync(egl_handler& call, uint64_t dpy, uint64_t sync)
{
    if (!check_display(call, dpy))
        return EGL_FALSE;
    auto record = find_sync(call, sync);
    if (!record || !record->valid.exchange(0)) { // of two threads, one destroys it
        call.error = EGL_BAD_PARAMETER;
        return EGL_FALSE;
    }
    if (uint32_t waiters = record->waiter_count)
        zelvar_shim_dispatch_shim_sync_object_signal(call.pid, call.tid, sync, waiters);
    zelvar_object_manager_release_sync_khr_object(call.pid, call.tid, sync);
    return EGL_TRUE;
}
} // namespace

void egl_eglDestroySyncKHR(pid_t pid, tid_t tid, uint64_t dpy, uint64_t sync, result_of<EGLBoolean>,
                           egl_target_error target_error)
{
    egl_handler call{"egl_eglDestroySyncKHR", pid, tid, target_error};
    call.trace("dpy", dpy, "sync", sync);
    if (!zelvar_call_on_target())
        call.reply(destroy_sync(call, dpy, sync));
}

namespace {
/// Phase one: decides without waiting where it can; `*wait` tells the shim to wait and come back.
EGLint begin_wait(egl_handler& call, uint64_t dpy, uint64_t sync, uint64_t timeout, uint32_t* wait)
{
    if (!check_display(call, dpy))
        return EGL_FALSE;
    auto record = find_sync(call, sync);
    if (!record || (record->type != EGL_SYNC_REUSABLE_KHR && record->type != EGL_SYNC_FENCE_KHR)) {
        call.error = EGL_BAD_PARAMETER;
        return EGL_FALSE;
    }
    if (record->status == EGL_SIGNALED_KHR)
        return EGL_CONDITION_SATISFIED_KHR;
    if (timeout == 0)
        return EGL_TIMEOUT_EXPIRED_KHR;
    if (!zelvar_object_manager_retain_sync_khr_object(call.pid, call.tid, sync)) {
        call.error = EGL_BAD_PARAMETER; // gone in the meantime
        return EGL_FALSE;
    }
    ++record->waiter_count;
    *wait = 1;
    return EGL_FALSE;
}

/// Phase two: the shim has waited.
EGLint end_wait(egl_handler& call, uint64_t sync)
{
    std::shared_ptr<sync_record> record;
    if (!zelvar_object_manager_get_sync_khr_object(call.pid, sync, &record)) {
        call.error = EGL_BAD_PARAMETER;
        return EGL_FALSE;
    }
    uint32_t waiters = record->waiter_count;
    while (waiters > 0 && !record->waiter_count.compare_exchange_weak(waiters, waiters - 1))
        ;
    if (waiters == 0) {
        call.error = EGL_BAD_PARAMETER; // nobody was waiting: there is no reference to give back
        return EGL_FALSE;
    }
    zelvar_object_manager_release_sync_khr_object(call.pid, call.tid, sync);
    return EGL_CONDITION_SATISFIED_KHR;
}
} // namespace

void egl_eglClientWaitSyncKHR(pid_t pid, tid_t tid, uint64_t dpy, uint64_t sync, EGLint flags,
                              uint64_t timeout, target_ptr target_execute_call_control,
                              result_of<EGLint> target_result, egl_target_error target_error)
{
    egl_handler call{"egl_eglClientWaitSyncKHR", pid, tid, target_error};
    call.trace("dpy", dpy, "sync", sync, "flags", flags, "timeout", timeout, "target_execute_call_control",
               target_execute_call_control);
    EGLint result = EGL_FALSE;
    if (target_execute_call_control) {
        uint32_t wait = 0;
        if (zelvar_call_on_target())
            wait = 1;
        else
            result = begin_wait(call, dpy, sync, timeout, &wait);
        call.write_force(target_execute_call_control, wait);
    } else if (zelvar_call_on_target()) {
        result = target_result.value;
        call.error = target_error.code;
    } else {
        result = end_wait(call, sync);
    }
    call.reply(result);
}

namespace {
EGLBoolean signal_sync(egl_handler& call, uint64_t dpy, uint64_t sync, EGLenum mode)
{
    if (!check_display(call, dpy))
        return EGL_FALSE;
    auto record = find_sync(call, sync);
    if (!record)
        return EGL_FALSE;
    if (record->type != EGL_SYNC_REUSABLE_KHR) {
        call.error = EGL_BAD_MATCH;
        return EGL_FALSE;
    }
    if (mode != EGL_SIGNALED_KHR && mode != EGL_UNSIGNALED_KHR) {
        LOG_ERROR("Unsupported mode specified [%#x]. Returning result EGL_FALSE.", mode);
        return EGL_FALSE;
    }
    uint32_t before = record->status.exchange(mode);
    if (mode == EGL_SIGNALED_KHR && before == EGL_UNSIGNALED_KHR)
        zelvar_shim_dispatch_shim_sync_object_signal(call.pid, call.tid, sync, record->waiter_count);
    return EGL_TRUE;
}

EGLBoolean get_sync_attribute(egl_handler& call, uint64_t dpy, uint64_t sync, EGLint attribute,
                              target_ptr value)
{
    if (!check_display(call, dpy))
        return EGL_FALSE;
    auto record = find_sync(call, sync);
    if (!record)
        return EGL_FALSE;
    EGLint answer = 0;
    uint32_t type = record->type;
    if (attribute == EGL_SYNC_TYPE_KHR) {
        answer = static_cast<EGLint>(type);
    } else if (attribute == EGL_SYNC_STATUS_KHR) {
        answer = static_cast<EGLint>(record->status.load());
    } else if (attribute == EGL_SYNC_CONDITION_KHR &&
               (type == EGL_SYNC_FENCE_KHR || type == EGL_SYNC_NATIVE_FENCE_ANDROID)) {
        answer = EGL_SYNC_CONDITION_KHR; // the attribute's own number, which callers of old rely on
    } else {
        call.error = EGL_BAD_ATTRIBUTE;
        return EGL_FALSE;
    }
    call.write(value, answer);
    return EGL_TRUE;
}
} // namespace

void egl_eglSignalSyncKHR(pid_t pid, tid_t tid, uint64_t dpy, uint64_t sync, EGLenum mode,
                          result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglSignalSyncKHR", pid, tid, target_error};
    call.trace("dpy", dpy, "sync", sync, "mode", mode);
    if (!zelvar_call_on_target())
        call.reply(signal_sync(call, dpy, sync, mode));
}

void egl_eglGetSyncAttribKHR(pid_t pid, tid_t tid, uint64_t dpy, uint64_t sync, EGLint attribute,
                             target_ptr value, result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglGetSyncAttribKHR", pid, tid, target_error};
    call.trace("dpy", dpy, "sync", sync, "attribute", attribute, "value", value);
    if (!zelvar_call_on_target())
        call.reply(get_sync_attribute(call, dpy, sync, attribute, value));
}

void egl_eglWaitSyncKHR(pid_t pid, tid_t tid, uint64_t dpy, uint64_t sync, EGLint flags, result_of<EGLint>,
                        egl_target_error target_error)
{
    egl_handler call{"egl_eglWaitSyncKHR", pid, tid, target_error};
    call.trace("dpy", dpy, "sync", sync, "flags", flags);
    if (zelvar_target_gpu() == TARGET_GPU_REAL)
        return;
    LOG_FATAL("EGLWaitSyncKHR is not supported for TRV mode");
    call.reply(EGLint{0});
}

void egl_eglDupNativeFenceFDANDROID(pid_t pid, tid_t tid, uint64_t dpy, uint64_t sync, result_of<EGLint>,
                                    egl_target_error target_error)
{
    egl_handler call{"egl_eglDupNativeFenceFDANDROID", pid, tid, target_error};
    call.trace("dpy", dpy, "sync", sync);
    if (!zelvar_call_on_target())
        LOG_WARN("eglDupNativeFenceFDANDROID is not supported when running in TRV-only mode.");
    call.reply(EGLint{0});
}
