// Sync objects of OpenGL ES.

#include "handlers/gles/buffers_handlers.h"
#include "handlers/gles/shared_guard.h"
#include "handlers/handler.h"

#include <algorithm>

using gles_table = sidechannel_gles_imports;

namespace {
/// The host's sync object; null, logged, with GL_INVALID_VALUE, when the target's handle is unknown.
GLsync find_sync(gles_handler& call, _zelvar_context_data* context, uint64_t sync)
{
    auto found = context->data_shared->gles_syncs.find(sync);
    if (found != context->data_shared->gles_syncs.end())
        return reinterpret_cast<GLsync>(found->second.host_sync);
    LOG_ERROR("Can't find target fence sync object [0x%ld], GL_INVALID_VALUE is returned.",
              static_cast<long>(sync));
    call.error = GL_INVALID_VALUE;
    return nullptr;
}

bool is_satisfied(GLenum result)
{
    return result == GL_ALREADY_SIGNALED || result == GL_CONDITION_SATISFIED;
}

/// The target's driver and the host's may see a fence pass at different times: the host waits once more, so
/// that it has not gone on less far than the target believes.
GLenum agree_with_target(gles_handler& call, GLsync sync, GLbitfield flags, GLuint64 timeout,
                         GLenum host_result, GLenum target_result)
{
    if (host_result == target_result)
        return host_result;
    LOG_WARN(
        "Inconsistent happens on glClientWaitSync(), target returns [%d], host returns [%d]. Try to sync.",
        target_result, host_result);
    if (is_satisfied(target_result))
        host_result = is_satisfied(host_result)
                          ? host_result
                          : call.host<&gles_table::glClientWaitSync>(sync, flags, GL_TIMEOUT_IGNORED).result;
    else
        host_result = call.host<&gles_table::glClientWaitSync>(sync, flags, timeout).result;
    if (is_satisfied(host_result) && is_satisfied(target_result))
        LOG_WARN("Sync success. GL_CONDITION_SATISFIED is returned.");
    else if (host_result == GL_TIMEOUT_EXPIRED && target_result == GL_TIMEOUT_EXPIRED)
        LOG_WARN("Sync success. GL_TIMEOUT_EXPIRED is returned.");
    else
        LOG_ERROR("Sync failed. Inconsistent error state.");
    return host_result;
}
} // namespace

void gles30_glFenceSync(pid_t pid, tid_t tid, GLenum condition, GLbitfield flags,
                        result_of<uint64_t> target_result, gles_target_error target_error)
{
    gles_handler call{"gles30_glFenceSync", pid, tid, target_error};
    call.trace("condition", condition, "flags", flags);
    uint64_t handle = 0;
    if (_zelvar_context_data* context = call.lock("glFenceSync")) {
        shared_guard group_lock{context};
        auto fence = call.host<&gles_table::glFenceSync>(condition, flags);
        if (fence.ok() && fence.result)
            handle = zelvar_call_on_target() ? target_result.value
                                             : zelvar_object_manager_generate_fence_sync(context);
        if (handle)
            zelvar_data_model_init_gles_sync_object_descriptor(
                context, handle, reinterpret_cast<uint64_t>(fence.result), flags,
                &context->data_shared->gles_syncs[handle]);
    }
    call.reply(handle);
}

void gles30_glIsSync(pid_t pid, tid_t tid, uint64_t sync, result_of<GLboolean>,
                     gles_target_error target_error)
{
    gles_handler call{"gles30_glIsSync", pid, tid, target_error};
    call.trace("sync", sync);
    GLboolean known = GL_FALSE;
    if (_zelvar_context_data* context = call.lock("glIsSync")) {
        shared_guard group_lock{context};
        // Asking about a stranger is no error.
        auto found = context->data_shared->gles_syncs.find(sync);
        if (found != context->data_shared->gles_syncs.end())
            known =
                call.host<&gles_table::glIsSync>(reinterpret_cast<GLsync>(found->second.host_sync)).result;
    }
    call.reply(known);
}

void gles30_glDeleteSync(pid_t pid, tid_t tid, uint64_t sync, gles_target_error target_error)
{
    gles_handler call{"gles30_glDeleteSync", pid, tid, target_error};
    call.trace("sync", sync);
    if (sync == 0)
        return; // silently nothing
    _zelvar_context_data* context = call.lock("glDeleteSync");
    if (!context)
        return;
    shared_guard group_lock{context};
    GLsync host_sync = find_sync(call, context, sync);
    if (host_sync && call.host<&gles_table::glDeleteSync>(host_sync).ok())
        context->data_shared->gles_syncs.erase(sync);
}

void gles30_glClientWaitSync(pid_t pid, tid_t tid, uint64_t sync, GLbitfield flags, GLuint64 timeout,
                             result_of<GLenum> target_result, gles_target_error target_error)
{
    gles_handler call{"gles30_glClientWaitSync", pid, tid, target_error};
    call.trace("sync", sync, "flags", flags, "timeout", timeout);
    GLenum result = GL_WAIT_FAILED;
    if (_zelvar_context_data* context = call.lock("glClientWaitSync")) {
        shared_guard group_lock{context};
        GLsync host_sync = find_sync(call, context, sync);
        group_lock.leave(); // others of the group may have to go on for the fence to pass
        if (host_sync)
            result = call.host<&gles_table::glClientWaitSync>(host_sync, flags, timeout).result;
        if (host_sync && zelvar_call_on_target())
            result = agree_with_target(call, host_sync, flags, timeout, result, target_result.value);
    }
    call.reply(result);
}

void gles30_glWaitSync(pid_t pid, tid_t tid, uint64_t sync, GLbitfield flags, GLuint64 timeout,
                       gles_target_error target_error)
{
    gles_handler call{"gles30_glWaitSync", pid, tid, target_error};
    call.trace("sync", sync, "flags", flags, "timeout", timeout);
    _zelvar_context_data* context = call.lock("glWaitSync");
    if (!context)
        return;
    shared_guard group_lock{context};
    if (GLsync host_sync = find_sync(call, context, sync))
        call.host<&gles_table::glWaitSync>(host_sync, flags, timeout);
}

void gles30_glGetSynciv(pid_t pid, tid_t tid, uint64_t sync, GLenum pname, GLsizei count, target_ptr length,
                        target_ptr values, gles_target_error target_error)
{
    gles_handler call{"gles30_glGetSynciv", pid, tid, target_error};
    call.trace("sync", sync, "pname", pname, "bufSize", count, "length", length, "values", values);
    if (count < 0) {
        LOG_ERROR("bufSize[%d] is negative, GL_INVALID_VALUE error is generated.", count);
        call.error = GL_INVALID_VALUE;
        return;
    }
    _zelvar_context_data* context = call.lock("glGetSynciv");
    if (!context)
        return;
    shared_guard group_lock{context};
    GLsync host_sync = find_sync(call, context, sync);
    if (!host_sync)
        return;
    GLint answer[4] = {}; // every name has one value
    GLsizei written = 0;
    auto room = std::min<GLsizei>(count, 4);
    if (!call.host<&gles_table::glGetSynciv>(host_sync, pname, room, &written, answer).ok())
        return;
    call.write(length, written);
    if (values && written > 0)
        zelvar_shim_dispatch_write_to_shim_address_space(
            pid, tid, static_cast<uint32_t>(std::min(written, room)) * 4, answer, values);
}
