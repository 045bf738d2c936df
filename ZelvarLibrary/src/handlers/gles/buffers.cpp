// Binding buffers, filling them, copying between them. The copy of the contents that is kept here answers
// what a driver can't cheaply: which vertices an index buffer names, and what an indirect draw will do.

#include "handlers/gles/buffer_lookup.h"
#include "handlers/gles/buffers_handlers.h"
#include "handlers/gles/object_kinds.h"
#include "handlers/gles/shared_guard.h"
#include "handlers/gles/upload.h"

#include <cstring>

using gles_table = sidechannel_gles_imports;

namespace {
enum class bind_buffer_variant
{
    plain = 0,
    base = 1,
    range = 2,
};

struct bind_buffer_request
{
    bind_buffer_variant variant;
    GLenum target;
    GLuint index;
    GLuint buffer;
    GLintptr offset;
    GLsizeiptr size;
};

/// More than a message of target memory may bring at once.
constexpr int64_t max_buffer_read = INT32_MAX;

bool bind_on_host(gles_handler& call, const bind_buffer_request& bind, uint32_t host_id)
{
    switch (bind.variant) {
    case bind_buffer_variant::plain:
        return call.host<&gles_table::glBindBuffer>(bind.target, host_id).ok();
    case bind_buffer_variant::base:
        return call.host<&gles_table::glBindBufferBase>(bind.target, bind.index, host_id).ok();
    case bind_buffer_variant::range:
        break;
    }
    return call.host<&gles_table::glBindBufferRange>(bind.target, bind.index, host_id, bind.offset, bind.size)
        .ok();
}

/// Shaders, transform feedback and read-backs write there without this library seeing the bytes.
bool host_writes_through(GLenum target)
{
    return target == GL_TRANSFORM_FEEDBACK_BUFFER || target == GL_SHADER_STORAGE_BUFFER ||
           target == GL_ATOMIC_COUNTER_BUFFER || target == GL_PIXEL_PACK_BUFFER;
}

void note_binding(_zelvar_buffer_bindings& bindings, const bind_buffer_request& bind)
{
    uint32_t* binding = buffer_binding(bindings, bind.target);
    if (!binding)
        return;
    *binding = bind.buffer;
    if (bind.target != GL_SHADER_STORAGE_BUFFER || bind.variant == bind_buffer_variant::plain)
        return;
    // Who stood at this index has no index any more: after a dispatch each buffer is bound again where it
    // stands.
    std::erase_if(bindings.indexed_shader_storage, [&](auto& row) { return row.second == bind.index; });
    if (bind.buffer)
        bindings.indexed_shader_storage[bind.buffer] = bind.index;
}

void gles20_shared_bindbuffer_handle(gles_handler& call, const char* function,
                                     const bind_buffer_request& bind)
{
    _zelvar_context_data* context = call.lock(function);
    if (!context)
        return;
    shared_guard group_lock{context};
    auto* vertex_array = bound_vertex_array(context);
    if (!vertex_array) {
        LOG_FATAL("Could not find currently bound target vertex array object descriptor id [%d].",
                  context->bound_vertex_array);
        return;
    }
    auto* buffer = bind.buffer ? find_buffer(context, bind.buffer) : nullptr;
    if (bind.buffer && !buffer) {
        if (generate_on_bind(call, context, shared_buffers, bind.buffer))
            buffer = find_buffer(context, bind.buffer);
        if (!buffer) {
            LOG_ERROR("Error while executing create-upon-binding path for target-side buffer object id [%d]. "
                      "Host-side will NOT execute the call!",
                      bind.buffer);
            return;
        }
    }
    if (!bind_on_host(call, bind, buffer ? buffer->host_id : 0))
        return;
    note_binding(*vertex_array, bind);
    note_binding(context->host_bindings, bind);
    if (bind.target == GL_ELEMENT_ARRAY_BUFFER)
        vertex_array->host_has_element_buffer = bind.buffer != 0;
    if (buffer) {
        buffer->was_bound = true;
        buffer->host_may_write |= host_writes_through(bind.target);
    }
}

/// What glBufferData and glBufferSubData refuse by themselves.
bool is_upload_valid(gles_handler& call, GLenum target, int64_t size)
{
    if (size < 0) {
        LOG_ERROR("size < 0, GL_INVALID_VALUE is generated.");
        call.error = GL_INVALID_VALUE;
        return false;
    }
    if (!is_buffer_target(target)) {
        LOG_ERROR("Invalid taget buffer object, GL_INVALID_ENUM is generated.");
        call.error = GL_INVALID_ENUM;
        return false;
    }
    return true;
}

void report_no_storage(int64_t size)
{
    LOG_FATAL(
        "Could not allocate %p bytes for host-side buffer storage. Host-side will NOT execute the call!",
        reinterpret_cast<void*>(size));
}

/// The application's bytes; without bytes for a null address or when there is no memory (`failed`).
owned_block read_upload(const gles_handler& call, target_ptr data, int64_t size, bool* failed)
{
    *failed = false;
    if (!data || size < 1)
        return {};
    owned_block block = size > max_buffer_read ? owned_block{} : allocate_block(static_cast<uint64_t>(size));
    if (!block.bytes) {
        report_no_storage(size);
        *failed = true;
        return block;
    }
    if (!zelvar_shim_dispatch_read_from_shim_address_space(call.pid, call.tid, static_cast<uint32_t>(size),
                                                           data, block.bytes.get()))
        std::memset(block.bytes.get(), 0, static_cast<size_t>(size));
    return block;
}
} // namespace

void gles20_glBindBuffer(pid_t pid, tid_t tid, GLenum target, GLuint buffer, gles_target_error target_error)
{
    gles_handler call{"gles20_glBindBuffer", pid, tid, target_error};
    call.trace("target", target, "buffer", buffer);
    gles20_shared_bindbuffer_handle(call, "glBindBuffer",
                                    {bind_buffer_variant::plain, target, 0, buffer, 0, 0});
}

void gles30_glBindBufferBase(pid_t pid, tid_t tid, GLenum target, GLuint index, GLuint buffer,
                             gles_target_error target_error)
{
    gles_handler call{"gles30_glBindBufferBase", pid, tid, target_error};
    call.trace("target", target, "index", index, "buffer", buffer);
    gles20_shared_bindbuffer_handle(call, "glBindBufferBase",
                                    {bind_buffer_variant::base, target, index, buffer, 0, 0});
}

void gles30_glBindBufferRange(pid_t pid, tid_t tid, GLenum target, GLuint index, GLuint buffer,
                              GLintptr offset, GLsizeiptr size, gles_target_error target_error)
{
    gles_handler call{"gles30_glBindBufferRange", pid, tid, target_error};
    call.trace("target", target, "index", index, "buffer", buffer, "offset", offset, "size", size);
    gles20_shared_bindbuffer_handle(call, "glBindBufferRange",
                                    {bind_buffer_variant::range, target, index, buffer, offset, size});
}

void gles20_glIsBuffer(pid_t pid, tid_t tid, GLuint buffer, result_of<GLboolean>,
                       gles_target_error target_error)
{
    gles_handler call{"gles20_glIsBuffer", pid, tid, target_error};
    call.trace("buffer", buffer);
    GLboolean known = GL_FALSE;
    if (_zelvar_context_data* context = call.lock("glIsBuffer")) {
        shared_guard group_lock{context};
        auto* found = buffer ? find_buffer(context, buffer) : nullptr;
        known = found && found->was_bound; // a name alone is no buffer yet
    }
    call.reply(known);
}

void gles20_glBufferData(pid_t pid, tid_t tid, GLenum target, GLsizeiptr size, target_ptr data, GLenum usage,
                         gles_target_error target_error)
{
    gles_handler call{"gles20_glBufferData", pid, tid, target_error};
    call.trace("target", target, "size", size, "data", data, "usage", usage);
    if (!is_upload_valid(call, target, size))
        return;
    _zelvar_context_data* context = call.lock("glBufferData");
    if (!context)
        return;
    shared_guard group_lock{context};
    bool failed = false;
    owned_block block = read_upload(call, data, size, &failed);
    if (failed)
        return;
    const uint32_t id = bound_buffer(context, target);
    const bool filled = call.host<&gles_table::glBufferData>(target, size, block.bytes.get(), usage).ok();
    // A mapping ends with the store that it led into, also when there was no memory for a new one.
    if (filled || call.error == GL_OUT_OF_MEMORY)
        gles20_shared_remove_mapped_area_mapping(call, context, id);
    if (!filled) {
        LOG_ERROR("glBufferSubData() failed on host side, host side context data will not update.");
        return;
    }
    if (auto* buffer = find_buffer(context, id)) {
        buffer->contents = std::move(block);
        buffer->contents.size = static_cast<uint64_t>(size); // known also where no data came
    }
}

void gles20_glBufferSubData(pid_t pid, tid_t tid, GLenum target, GLintptr offset, GLsizeiptr size,
                            target_ptr data, gles_target_error target_error)
{
    gles_handler call{"gles20_glBufferSubData", pid, tid, target_error};
    call.trace("target", target, "offset", offset, "size", size, "data", data);
    if (!is_upload_valid(call, target, size))
        return;
    _zelvar_context_data* context = call.lock("glBufferSubData");
    if (!context)
        return;
    shared_guard group_lock{context};
    // Without data there is nothing that the host could read.
    if (!data && size > 0)
        return;
    upload bytes;
    if (size > 0 && !bytes.read(call, context, data, static_cast<uint64_t>(size), 0))
        return report_no_storage(size);
    if (!call.host<&gles_table::glBufferSubData>(target, offset, size, bytes.pixels()).ok()) {
        LOG_ERROR("glBufferSubData() failed on host side, host side context data will not update.");
        return;
    }
    auto* buffer = find_buffer(context, bound_buffer(context, target));
    if (buffer && offset >= 0 && size > 0)
        update_contents(*buffer, static_cast<uint64_t>(offset), bytes.pixels(), static_cast<uint64_t>(size));
}

void gles30_glCopyBufferSubData(pid_t pid, tid_t tid, GLenum read_target, GLenum write_target,
                                GLintptr read_offset, GLintptr write_offset, GLsizeiptr size,
                                gles_target_error target_error)
{
    gles_handler call{"gles30_glCopyBufferSubData", pid, tid, target_error};
    call.trace("readTarget", read_target, "writeTarget", write_target, "readOffset", read_offset,
               "writeOffset", write_offset, "size", size);
    _zelvar_context_data* context = call.lock("glCopyBufferSubData");
    if (!context)
        return;
    shared_guard group_lock{context};
    auto* from = find_buffer(context, bound_buffer(context, read_target));
    auto* to = find_buffer(context, bound_buffer(context, write_target));
    if (!from)
        LOG_FATAL("Host read buffer id not found or invalid");
    if (!to)
        LOG_FATAL("Host write buffer id not found or invalid");
    if (!from || !to) {
        bool known = is_buffer_target(read_target) && is_buffer_target(write_target);
        call.error = known ? GL_INVALID_OPERATION : GL_INVALID_ENUM;
        return;
    }
    if (!call.host<&gles_table::glCopyBufferSubData>(read_target, write_target, read_offset, write_offset,
                                                     size)
             .ok())
        return;
    to->host_may_write |= from->host_may_write;
    if (!from->contents.bytes) {
        LOG_FATAL("Can't find cached host read buffer data. DESYNC AHEAD.");
        return;
    }
    uint8_t* target_bytes = contents_of(*to);
    if (!target_bytes) {
        LOG_FATAL("Don't know write buffer length. DESYNC AHEAD.");
        return;
    }
    // The host has accepted the ranges; the copies may still be shorter where the model is out of step.
    auto at = static_cast<uint64_t>(read_offset), into = static_cast<uint64_t>(write_offset);
    auto length = static_cast<uint64_t>(size);
    if (at <= from->contents.size && length <= from->contents.size - at && into <= to->contents.size &&
        length <= to->contents.size - into)
        std::memmove(target_bytes + into, from->contents.bytes.get() + at, length);
}

void gles20_glGetBufferParameteriv(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                                   gles_target_error target_error)
{
    gles_handler call{"gles20_glGetBufferParameteriv", pid, tid, target_error};
    call.trace("target", target, "pname", pname, "params", params);
    GLint value = 0;
    if (call.lock("glGetBufferParameteriv") &&
        call.host<&gles_table::glGetBufferParameteriv>(target, pname, &value).ok())
        call.write(params, value);
}

void gles30_glGetBufferParameteri64v(pid_t pid, tid_t tid, GLenum target, GLenum pname, target_ptr params,
                                     gles_target_error target_error)
{
    gles_handler call{"gles30_glGetBufferParameteri64v", pid, tid, target_error};
    call.trace("target", target, "pname", pname, "params", params);
    GLint64 value = 0;
    if (call.lock("glGetBufferParameteri64v") &&
        call.host<&gles_table::glGetBufferParameteri64v>(target, pname, &value).ok())
        call.write(params, value);
}
