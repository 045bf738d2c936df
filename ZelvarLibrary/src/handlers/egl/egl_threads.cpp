// Calls about the calling thread: its API, its error, its pending work.

#include "handlers/egl/egl_common.h"

void egl_eglBindAPI(pid_t pid, tid_t tid, EGLenum api, result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglBindAPI", pid, tid, target_error};
    call.trace("api", api);
    auto bound = call.host<&egl_table::eglBindAPI>(api);
    if (!bound.result)
        LOG_ERROR("eglBindAPI() failed on host-side but succeeded on target-side!");
    call.reply(bound.result);
}

void egl_eglQueryAPI(pid_t pid, tid_t tid, result_of<EGLenum>, egl_target_error target_error)
{
    egl_handler call{"egl_eglQueryAPI", pid, tid, target_error};
    call.trace();
    call.reply(call.host<&egl_table::eglQueryAPI>().result);
}

void egl_eglGetError(pid_t pid, tid_t tid, result_of<EGLint>)
{
    egl_handler call{"egl_eglGetError", pid, tid, {}};
    call.end_silently(); // asking for the error is no call that could have one
    call.trace();
    uint32_t error = EGL_SUCCESS;
    zelvar_object_manager_get_egl_error(pid, tid, &error);
    call.reply(static_cast<EGLint>(error));
}

void egl_eglGetProcAddress(pid_t pid, tid_t tid, target_ptr procname, egl_target_error target_error)
{
    egl_handler call{"egl_eglGetProcAddress", pid, tid, target_error};
    call.trace("procname", procname);
    call.reply_force(uint64_t{0}); // host functions mean nothing on the target
}

void egl_eglReleaseThread(pid_t pid, tid_t tid, result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglReleaseThread", pid, tid, target_error};
    call.trace();
    auto released = call.host<&egl_table::eglReleaseThread>();
    if (!zelvar_object_manager_bind_context_to_thread(pid, 0, tid, 0, 0, false))
        LOG_WARN("Could not unbind context bound to <%d, %ld> pid/tid pair", pid, shown(tid));
    call.reply(released.result);
}

void egl_eglWaitClient(pid_t pid, tid_t tid, result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglWaitClient", pid, tid, target_error};
    call.trace();
    call.reply(call.host<&egl_table::eglWaitClient>().result);
}

void egl_eglWaitGL(pid_t pid, tid_t tid, result_of<EGLBoolean>, egl_target_error target_error)
{
    egl_handler call{"egl_eglWaitGL", pid, tid, target_error};
    call.trace();
    call.reply(call.host<&egl_table::eglWaitGL>().result);
}

void egl_eglWaitNative(pid_t pid, tid_t tid, EGLint engine, result_of<EGLBoolean>,
                       egl_target_error target_error)
{
    egl_handler call{"egl_eglWaitNative", pid, tid, target_error};
    call.trace("engine", engine);
    call.reply(call.host<&egl_table::eglWaitNative>(engine).result);
}
