// Compute dispatches and barriers.

#include "handlers/gles/buffer_lookup.h"
#include "handlers/gles/buffers_handlers.h"
#include "handlers/gles/shared_guard.h"
#include "handlers/handler.h"

#include <cstring>

using gles_table = sidechannel_gles_imports;

namespace {
/// Brings the copy of one storage buffer up to date. The generic binding stays with the buffer.
bool refresh_storage_buffer(_zelvar_buffer_object_descriptor& buffer, uint32_t index)
{
    constexpr GLenum target = GL_SHADER_STORAGE_BUFFER;
    if (!host::gl<&gles_table::glBindBufferBase>(target, index, buffer.host_id).ok()) {
        LOG_ERROR("Failed to bind generic GL_SHADER_STORAGE_BUFFER binding point. DSYNC ahead.");
        return false;
    }
    GLint length = 0;
    if (!host::gl<&gles_table::glGetBufferParameteriv>(target, GLenum{GL_BUFFER_SIZE}, &length).ok()) {
        LOG_ERROR("Failed to retrieve GL_SHADER_STORAGE_BUFFER buffer length. DSYNC ahead.");
        return false;
    }
    if (length <= 0)
        return true;
    auto mapped = host::gl<&gles_table::glMapBufferRange>(target, 0, length, GLbitfield{GL_MAP_READ_BIT});
    if (!mapped.ok() || !mapped.result) {
        LOG_ERROR("Failed to map GL_SHADER_STORAGE_BUFFER buffer. DSYNC ahead.");
        return false;
    }
    owned_block contents = allocate_block(static_cast<uint64_t>(length));
    if (contents.bytes) {
        std::memcpy(contents.bytes.get(), mapped.result, contents.size);
        buffer.contents = std::move(contents);
    }
    if (!host::gl<&gles_table::glUnmapBuffer>(target).ok()) {
        LOG_ERROR("Failed to unmap GL_SHADER_STORAGE_BUFFER buffer. DSYNC ahead.");
        return false;
    }
    return true;
}

/// A compute shader may have written to any storage buffer; what it wrote may be the next draw's command.
void refresh_storage_buffers(_zelvar_context_data* context)
{
    for (const auto& [id, index] : context->host_bindings.indexed_shader_storage) {
        auto* buffer = find_buffer(context, id);
        if (!buffer) {
            LOG_FATAL("Host buffer id not found or invalid, DSYNC ahead.");
            return;
        }
        if (!refresh_storage_buffer(*buffer, index))
            return;
    }
}

template <class OnHost>
void gles31_shared_dispatch_compute(gles_handler& call, const char* function, OnHost on_host)
{
    _zelvar_context_data* context = call.lock(function);
    if (!context)
        return;
    shared_guard group_lock{context};
    auto* vertex_array = bound_vertex_array(context);
    if (!vertex_array) {
        LOG_FATAL(
            "Could not find currently bound vertex array object descriptor id [%d]. Host-side will NOT be "
            "aware of the call",
            context->bound_vertex_array);
        return;
    }
    if (on_host())
        refresh_storage_buffers(context);
}
} // namespace

void gles31_glDispatchCompute(pid_t pid, tid_t tid, GLuint x, GLuint y, GLuint z,
                              gles_target_error target_error)
{
    gles_handler call{"gles31_glDispatchCompute", pid, tid, target_error};
    call.trace("num_groups_x", x, "num_groups_y", y, "num_groups_z", z);
    gles31_shared_dispatch_compute(call, "glDispatchCompute",
                                   [&] { return call.host<&gles_table::glDispatchCompute>(x, y, z).ok(); });
}

void gles31_glDispatchComputeIndirect(pid_t pid, tid_t tid, GLintptr indirect, gles_target_error target_error)
{
    gles_handler call{"gles31_glDispatchComputeIndirect", pid, tid, target_error};
    call.trace("indirect", indirect);
    gles31_shared_dispatch_compute(call, "glDispatchComputeIndirect", [&] {
        return call.host<&gles_table::glDispatchComputeIndirect>(indirect).ok();
    });
}

void gles31_glMemoryBarrier(pid_t pid, tid_t tid, GLbitfield barriers, gles_target_error target_error)
{
    gles_handler call{"gles31_glMemoryBarrier", pid, tid, target_error};
    call.trace("barriers", barriers);
    if (call.lock("glMemoryBarrier"))
        call.host<&gles_table::glMemoryBarrier>(barriers);
}

void gles31_glMemoryBarrierByRegion(pid_t pid, tid_t tid, GLbitfield barriers, gles_target_error target_error)
{
    gles_handler call{"gles31_glMemoryBarrierByRegion", pid, tid, target_error};
    call.trace("barriers", barriers);
    if (call.lock("glMemoryBarrierByRegion"))
        call.host<&gles_table::glMemoryBarrierByRegion>(barriers);
}
