// Mapped buffers: the application's pointer leads into target memory, the real mapping is on the host. Bytes
// go to the target when it maps, and come back when it flushes or unmaps.

#include "handlers/gles/buffer_lookup.h"
#include "handlers/gles/buffers_handlers.h"
#include "handlers/gles/object_kinds.h"
#include "handlers/gles/shared_guard.h"
#include "handlers/gles/upload.h"

#include <algorithm>
#include <cstring>

using gles_table = sidechannel_gles_imports;

namespace {
/// Between the two stages of one thread's unmap; for target threads that don't unmap at the same time.
GLboolean unmap_result = GL_FALSE;
unsigned unmap_error = GL_NO_ERROR;
bool unmap_first_stage_ran = false;

/// Asked only of a target that hasn't said it: each question is a wake-up of two threads.
uint8_t pointer_width(const gles_handler& call)
{
    if (const uint32_t bits = zelvar_object_manager_get_target_bit(call.pid, call.tid, nullptr))
        return bits == 32 ? 4 : 8;
    uint32_t width = 8;
    zelvar_shim_dispatch_get_target_pointer_size(call.pid, call.tid, &width);
    return width == 4 ? 4 : 8;
}

void reply_pointer(const gles_handler& call, target_ptr pointer)
{
    if (!zelvar_call_on_target())
        zelvar_shim_dispatch_set_return_value_message(call.pid, call.tid, pointer_width(call),
                                                      &pointer.address);
}

_zelvar_mapped_area_object_descriptor* find_area(_zelvar_context_data* context, uint32_t buffer)
{
    auto area = context->data_shared->mapped_areas.find(buffer);
    return area == context->data_shared->mapped_areas.end() ? nullptr : &area->second;
}

_zelvar_mapped_area_object_descriptor* area_or_error(gles_handler& call, _zelvar_context_data* context,
                                                     uint32_t buffer)
{
    auto* area = find_area(context, buffer);
    if (!area) {
        LOG_ERROR("Could not find mapped area for buffer id [%d], or buffer is already in an unmapped state. "
                  "GL_INVALID_OPERATION is generated.",
                  buffer);
        call.error = GL_INVALID_OPERATION;
    }
    return area;
}

/// The application's bytes into the host's mapping; ranges were checked by the caller.
void fetch_from_target(const gles_handler& call, const _zelvar_mapped_area_object_descriptor& area,
                       uint64_t offset, uint64_t length)
{
    if (!area.target_pointer || !area.host_pointer || !(area.access & GL_MAP_WRITE_BIT))
        return;
    auto* host = static_cast<uint8_t*>(area.host_pointer) + offset;
    zelvar_shim_dispatch_read_from_shim_address_space(call.pid, call.tid, static_cast<uint32_t>(length),
                                                      area.target_pointer + offset, host);
}

/// Host mapping to target memory, and where the target will find it.
void give_to_target(const gles_handler& call, _zelvar_mapped_area_object_descriptor& area,
                    target_ptr own_mapping)
{
    auto length = static_cast<uint32_t>(area.length);
    area.target_pointer = own_mapping;
    if (!zelvar_call_on_target()) {
        area.target_pointer = {};
        zelvar_shim_dispatch_allocate_memory_block(call.pid, call.tid, length, &area.target_pointer);
    }
    // Also for writing alone: what the application leaves as it is comes back at the unmap.
    if (area.target_pointer)
        zelvar_shim_dispatch_write_to_shim_address_space_force(call.pid, call.tid, length, area.host_pointer,
                                                               area.target_pointer);
}

/// False, with the error set, for what can't be mapped without asking the host.
bool is_mapping_valid(gles_handler& call, _zelvar_context_data* context, GLenum target, GLsizeiptr length)
{
    uint32_t buffer = bound_buffer(context, target);
    if (buffer == 0) {
        LOG_ERROR("Invalid target buffer specified [%d].", target);
        call.error = is_buffer_target(target) ? GL_INVALID_OPERATION : GL_INVALID_ENUM;
    } else if (length == 0) {
        LOG_ERROR("Length is [%d], INVALID_OPERATION is generated.", 0);
        call.error = GL_INVALID_OPERATION;
    } else if (!find_buffer(context, buffer)) {
        LOG_FATAL("Host buffer id not found or invalid");
        call.error = GL_OUT_OF_MEMORY;
    } else if (length > INT32_MAX) {
        LOG_FATAL("Zelvar failed to allocate [%d] bytes.", INT32_MAX);
        call.error = GL_OUT_OF_MEMORY;
    }
    return call.error == GL_NO_ERROR;
}

/// Stage 1: the host unmaps. The copy takes the bytes while they can still be seen.
void unmap_on_host(gles_handler& call, _zelvar_context_data* context, GLenum target, GLboolean* result)
{
    uint32_t id = bound_buffer(context, target);
    auto* area = area_or_error(call, context, id);
    if (!area)
        return;
    fetch_from_target(call, *area, 0, area->length);
    upload room;
    uint8_t* written = room.make_room(context, area->length);
    if (written)
        std::memcpy(written, area->host_pointer, area->length);
    auto unmapped = call.host<&gles_table::glUnmapBuffer>(target);
    *result = unmapped.result;
    if (!unmapped.ok())
        return;
    // False tells that the contents are lost; the host's pointer is gone all the same.
    auto* buffer = unmapped.result ? find_buffer(context, id) : nullptr;
    if (buffer && written) {
        if (contents_of(*buffer))
            update_contents(*buffer, area->offset, written, area->length);
        else
            LOG_FATAL("Don't know buffer length. DESYNC AHEAD.");
    }
    gles20_shared_remove_mapped_area_mapping(call, context, id);
}

void finish_unmap(gles_handler& call, GLboolean target_result)
{
    if (!unmap_first_stage_ran) {
        LOG_FATAL("Unexpected enter gles30_glUnmapBuffer() stage 2 by skipping stage 1.");
        return;
    }
    unmap_first_stage_ran = false;
    if (unmap_result != target_result)
        LOG_ERROR("glUnmapBuffer() generated inconsistent result. host=%d, target=%d", unmap_result,
                  target_result);
    call.error = unmap_error;
}
} // namespace

void gles30_glMapBufferRange(pid_t pid, tid_t tid, GLenum target, GLintptr offset, GLsizeiptr length,
                             GLbitfield access, result_of<uint64_t> target_pointer,
                             gles_target_error target_error)
{
    gles_handler call{"gles30_glMapBufferRange", pid, tid, target_error};
    call.trace("target", target, "offset", offset, "length", length, "access", access);
    target_ptr answer;
    _zelvar_context_data* context = call.lock("glMapBufferRange");
    if (context) {
        shared_guard group_lock{context};
        if (is_mapping_valid(call, context, target, length)) {
            auto mapped = call.host<&gles_table::glMapBufferRange>(target, offset, length, access);
            if (mapped.ok() && mapped.result) {
                auto& area = context->data_shared->mapped_areas[bound_buffer(context, target)];
                area = {
                    static_cast<uint64_t>(offset), static_cast<uint64_t>(length), access, mapped.result, {}};
                give_to_target(call, area, {target_pointer.value});
                answer = area.target_pointer;
            }
        }
    }
    reply_pointer(call, answer);
}

void gles30_glFlushMappedBufferRange(pid_t pid, tid_t tid, GLenum target, GLintptr offset, GLsizeiptr length,
                                     gles_target_error target_error)
{
    gles_handler call{"gles30_glFlushMappedBufferRange", pid, tid, target_error};
    call.trace("target", target, "offset", offset, "length", length);
    _zelvar_context_data* context = call.lock("glFlushMappedBufferRange");
    if (!context)
        return;
    shared_guard group_lock{context};
    uint32_t id = bound_buffer(context, target);
    auto* area = area_or_error(call, context, id);
    if (!area)
        return;
    auto from = static_cast<uint64_t>(offset), bytes = static_cast<uint64_t>(length);
    // The host refuses ranges outside of the mapping; nothing is moved for those.
    bool inside = offset >= 0 && length >= 0 && from <= area->length && bytes <= area->length - from;
    if (inside)
        fetch_from_target(call, *area, from, bytes);
    if (!call.host<&gles_table::glFlushMappedBufferRange>(target, offset, length).ok() || !inside)
        return;
    auto* buffer = find_buffer(context, id);
    if (!buffer || !contents_of(*buffer)) {
        LOG_FATAL("Don't know buffer length. DESYNC is ahead.");
        return;
    }
    update_contents(*buffer, area->offset + from, static_cast<uint8_t*>(area->host_pointer) + from, bytes);
}

void gles30_glUnmapBuffer(pid_t pid, tid_t tid, GLenum target, GLuint stage,
                          result_of<GLboolean> target_result, gles_target_error target_error)
{
    // The error belongs to the stage that ends the call.
    constexpr GLuint before_target = 1, after_target = 2;
    gles_handler call{"gles30_glUnmapBuffer", pid, tid, target_error};
    call.trace("target", target, "stage", stage);
    if (stage == after_target) {
        finish_unmap(call, target_result.value);
        return;
    }
    if (stage != before_target) {
        LOG_FATAL("Unrecognized stage %d", stage);
        return;
    }
    GLboolean result = GL_FALSE;
    if (_zelvar_context_data* context = call.lock("glUnmapBuffer")) {
        shared_guard group_lock{context};
        unmap_on_host(call, context, target, &result);
    }
    if (zelvar_call_on_target()) {
        unmap_result = result;
        unmap_error = call.error;
        unmap_first_stage_ran = true;
        call.end_silently();
    } else {
        call.reply(result);
    }
}

void gles30_glGetBufferPointerv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                                gles_target_error target_error)
{
    gles_handler call{"gles30_glGetBufferPointerv", pid, tid, target_error};
    call.trace("target", target, "pname", pname, "params", params);
    if (pname != GL_BUFFER_MAP_POINTER) {
        LOG_ERROR("Unrecognized pname [%d]", pname);
        call.error = GL_INVALID_ENUM;
        return;
    }
    _zelvar_context_data* context = call.lock("glGetBufferPointerv");
    if (!context)
        return;
    shared_guard group_lock{context};
    uint32_t id = bound_buffer(context, target);
    target_ptr answer;
    if (id == 0)
        call.error = is_buffer_target(target) ? GL_INVALID_OPERATION : GL_INVALID_ENUM;
    else if (auto* area = find_area(context, id))
        answer = area->target_pointer;
    else
        LOG_ERROR("Could not find mapped area for buffer id [%d].", id);
    if (call.error == GL_NO_ERROR && !zelvar_call_on_target() && params)
        zelvar_shim_dispatch_write_to_shim_address_space(pid, tid, pointer_width(call), &answer.address,
                                                         params);
}
