// Draws: what the model can refuse is refused first, then client memory is brought over, then the host draws.

#include "handlers/gles/buffer_lookup.h"
#include "handlers/gles/buffers_handlers.h"
#include "handlers/gles/client_arrays.h"
#include "handlers/gles/index_range.h"
#include "handlers/gles/shared_guard.h"

#include <algorithm>
#include <cstring>

using gles_table = sidechannel_gles_imports;

namespace {
enum class array_draw
{
    plain = 0,
    instanced = 1,
    indirect = 2,
};
enum class element_draw
{
    plain = 0,
    range = 1,
    instanced = 2,
    indirect = 3,
};

struct array_request
{
    array_draw variant;
    GLenum mode;
    GLint first;
    GLsizei count;
    GLsizei instances;
    target_ptr indirect; // an offset
};
struct element_request
{
    element_draw variant;
    GLenum mode;
    GLuint start;
    GLuint end;
    GLsizei count;
    GLenum type;
    target_ptr indices; // an offset where an element buffer is bound
    GLsizei instances;
    GLint base_vertex;
    target_ptr indirect; // an offset
};

constexpr uint64_t max_client_indices = uint64_t{1} << 30;

bool is_draw_valid(gles_handler& call, GLenum mode, GLsizei count, GLsizei instances)
{
    if (mode > GL_TRIANGLE_FAN && (mode < GL_LINES_ADJACENCY || mode > GL_PATCHES)) {
        LOG_ERROR("Mode [%d] can't be recognized.", mode);
        call.error = GL_INVALID_ENUM;
    } else if (count < 0) {
        LOG_ERROR("count [%d] can't be a negative value.", count);
        call.error = GL_INVALID_VALUE;
    } else if (instances < 0) {
        LOG_ERROR("primcount [%d] can't be a negative value.", instances);
        call.error = GL_INVALID_VALUE;
    }
    return call.error == GL_NO_ERROR;
}

bool is_element_draw_valid(gles_handler& call, const element_request& draw)
{
    if (!is_draw_valid(call, draw.mode, draw.count, draw.instances))
        return false;
    if (draw.type != GL_UNSIGNED_BYTE && draw.type != GL_UNSIGNED_SHORT && draw.type != GL_UNSIGNED_INT) {
        LOG_ERROR("Type [%d] can't be recognized.", draw.type);
        call.error = GL_INVALID_ENUM;
    } else if (draw.variant == element_draw::range && draw.end < draw.start) {
        LOG_ERROR("End [%d] can't be smaller than Start [%d].", draw.end, draw.start);
        call.error = GL_INVALID_VALUE;
    }
    return call.error == GL_NO_ERROR;
}

/// Asked before any data is fetched, since fetching is the slow part.
bool is_framebuffer_complete(gles_handler& call, bool elements)
{
    auto status = call.host<&gles_table::glCheckFramebufferStatus>(GL_FRAMEBUFFER);
    if (!status.ok()) {
        LOG_ERROR("glCheckFramebufferStatus() failed on host side");
        return false;
    }
    if (status.result == GL_FRAMEBUFFER_COMPLETE)
        return true;
    if (elements)
        LOG_ERROR(
            "glDrawElement*: Currently bound framebuffer is not framebuffer complete, host_status is 0x%04X.",
            status.result);
    else
        LOG_ERROR(
            "glDrawArray*: Currently bound framebuffer is not framebuffer complete, host_status is 0x%04X.",
            status.result);
    call.error = GL_INVALID_FRAMEBUFFER_OPERATION;
    return false;
}

_zelvar_vertex_array_object_descriptor* array_of_draw(_zelvar_context_data* context)
{
    auto* vertex_array = bound_vertex_array(context);
    if (!vertex_array)
        LOG_FATAL("Could not find currently bound vertex array object descriptor id [%d]. DESYNC AHEAD.",
                  context->bound_vertex_array);
    return vertex_array;
}

/// A host reads an attribute from address 0 on where its binding has no buffer.
bool have_bindings_buffers(gles_handler& call, const _zelvar_vertex_array_object_descriptor& vertex_array)
{
    if (!vertex_array.has_separate_bindings)
        return true;
    for (const auto& [index, attribute] : vertex_array.attribute_arrays) {
        if (!attribute.enabled || attribute.reads_client_memory())
            continue;
        auto found = vertex_array.buffers_of_bindings.find(attribute.binding);
        if (found != vertex_array.buffers_of_bindings.end() && found->second)
            continue;
        LOG_ERROR("Vertex attribute array [%d] has no buffer at its binding [%d], GL_INVALID_OPERATION is "
                  "generated.",
                  index, attribute.binding);
        call.error = GL_INVALID_OPERATION;
        return false;
    }
    return true;
}

void draw_arrays_on_host(gles_handler& call, const array_request& draw)
{
    switch (draw.variant) {
    case array_draw::plain:
        call.host<&gles_table::glDrawArrays>(draw.mode, draw.first, draw.count);
        return;
    case array_draw::instanced:
        call.host<&gles_table::glDrawArraysInstanced>(draw.mode, draw.first, draw.count, draw.instances);
        return;
    case array_draw::indirect:
        call.host<&gles_table::glDrawArraysIndirect>(draw.mode,
                                                     reinterpret_cast<const void*>(draw.indirect.address));
        return;
    }
}

void gles20_shared_draw_array(gles_handler& call, const char* function, const array_request& draw)
{
    if (!is_draw_valid(call, draw.mode, draw.count, draw.instances) || !is_framebuffer_complete(call, false))
        return;
    _zelvar_context_data* context = call.lock(function);
    if (!context)
        return;
    shared_guard group_lock{context};
    auto* vertex_array = array_of_draw(context);
    if (!vertex_array || !have_bindings_buffers(call, *vertex_array))
        return;
    const vertex_range range{draw.first, static_cast<uint64_t>(draw.count), draw.instances, 0};
    const client_array_draw kind{function, false, draw.variant == array_draw::indirect};
    if (fetch_client_arrays(call, context, *vertex_array, kind, range))
        draw_arrays_on_host(call, draw);
}

/// The indices of a draw: in client memory, or a stretch of a buffer's copy.
struct draw_indices
{
    owned_block fetched;
    owned_block read_back; // of an element buffer whose copy proves nothing
    const uint8_t* bytes = nullptr;
    uint64_t size = 0; // how many of `bytes` there are
};

bool fetch_indices(const gles_handler& call, const element_request& draw, draw_indices& out)
{
    const uint64_t size = zelvar_data_get_type_size(draw.type, static_cast<uint64_t>(draw.count));
    out.fetched = size <= max_client_indices ? allocate_block(size) : owned_block{};
    if (!out.fetched.bytes) {
        LOG_FATAL("Could not allocate %d bytes to store indices data. CANNOT revert.",
                  static_cast<int>(size));
        return false;
    }
    out.bytes = out.fetched.bytes.get();
    out.size = size;
    bool read = size && draw.indices &&
                zelvar_shim_dispatch_read_from_shim_address_space(
                    call.pid, call.tid, static_cast<uint32_t>(size), draw.indices, out.fetched.bytes.get());
    if (!read && size)
        std::memset(out.fetched.bytes.get(), 0, size);
    return true;
}

/// Brings the indices from the host where it may have written them: the vertices that the copy names would
/// not be those that the host reads.
bool read_indices_back(gles_handler& call, _zelvar_context_data* context,
                       const _zelvar_vertex_array_object_descriptor& vertex_array,
                       const element_request& draw, draw_indices& out)
{
    if (draw.variant == element_draw::indirect || !vertex_array.host_has_element_buffer)
        return true;
    const auto* buffer = find_buffer(context, vertex_array.element_array_buffer);
    if (!buffer || !buffer->host_may_write || draw.indices.address >= buffer->contents.size)
        return true;
    const uint64_t size = std::min(zelvar_data_get_type_size(draw.type, static_cast<uint64_t>(draw.count)),
                                   buffer->contents.size - draw.indices.address);
    if (size == 0)
        return true;
    out.read_back = allocate_block(size);
    auto mapped = call.host<&gles_table::glMapBufferRange>(
        GL_ELEMENT_ARRAY_BUFFER, static_cast<GLintptr>(draw.indices.address), static_cast<GLsizeiptr>(size),
        GLbitfield{GL_MAP_READ_BIT});
    if (!mapped.ok() || !mapped.result || !out.read_back.bytes) {
        LOG_ERROR("Could not read the indices of buffer [%d] back, which the host may have written. The call "
                  "will not be executed.",
                  vertex_array.element_array_buffer);
        if (mapped.result)
            call.host<&gles_table::glUnmapBuffer>(GL_ELEMENT_ARRAY_BUFFER);
        return false;
    }
    std::memcpy(out.read_back.bytes.get(), mapped.result, size);
    call.host<&gles_table::glUnmapBuffer>(GL_ELEMENT_ARRAY_BUFFER);
    out.bytes = out.read_back.bytes.get();
    out.size = size;
    return true;
}

bool find_indices(const gles_handler& call, _zelvar_context_data* context,
                  const _zelvar_vertex_array_object_descriptor& vertex_array, const element_request& draw,
                  draw_indices& out)
{
    if (draw.variant == element_draw::indirect)
        return true; // the host takes them from its own buffers
    if (!vertex_array.host_has_element_buffer)
        return fetch_indices(call, draw, out);
    auto* buffer = find_buffer(context, vertex_array.element_array_buffer);
    if (buffer && buffer->contents.bytes && draw.indices.address < buffer->contents.size) {
        out.bytes = buffer->contents.bytes.get() + draw.indices.address;
        out.size = buffer->contents.size - draw.indices.address;
    }
    return true;
}

vertex_range vertices_of(_zelvar_context_data* context, const element_request& draw,
                         const draw_indices& indices)
{
    index_range found;
    if (draw.variant != element_draw::indirect && draw.count > 0) {
        bool restart = zelvar_data_model_is_rendering_mode_enabled(context, GL_PRIMITIVE_RESTART_FIXED_INDEX);
        found =
            scan_indices(draw.type, indices.bytes, indices.size, static_cast<uint64_t>(draw.count), restart);
    }
    // What is promised is fetched. The promise may be broken, and then the host must not leave the block.
    const uint64_t reach = draw.variant == element_draw::range && found.any ? uint64_t{found.highest} + 1 : 0;
    if (draw.variant == element_draw::range)
        found = {draw.start, draw.end, true};
    if (!found.any)
        return {0, 0, draw.instances, 0};
    return {int64_t{found.lowest} + draw.base_vertex, uint64_t{found.highest} - found.lowest + 1,
            draw.instances, reach};
}

void draw_elements_on_host(gles_handler& call, const element_request& draw, const void* indices)
{
    switch (draw.variant) {
    case element_draw::plain:
        call.host<&gles_table::glDrawElements>(draw.mode, draw.count, draw.type, indices);
        return;
    case element_draw::range:
        call.host<&gles_table::glDrawRangeElements>(draw.mode, draw.start, draw.end, draw.count, draw.type,
                                                    indices);
        return;
    case element_draw::instanced:
        call.host<&gles_table::glDrawElementsInstanced>(draw.mode, draw.count, draw.type, indices,
                                                        draw.instances);
        return;
    case element_draw::indirect:
        call.host<&gles_table::glDrawElementsIndirect>(draw.mode, draw.type,
                                                       reinterpret_cast<const void*>(draw.indirect.address));
        return;
    }
}

/// Whether anything has to be looked up in the indices: all that comes from buffers is the host's business.
bool reads_client_memory(const _zelvar_context_data* context,
                         const _zelvar_vertex_array_object_descriptor& vertex_array)
{
    if (context->enabled_vertex_attrib_arrays == 0)
        return false;
    for (const auto& [index, attribute] : vertex_array.attribute_arrays)
        if (attribute.reads_client_memory())
            return true;
    return false;
}

void gles20_shared_draw_element(gles_handler& call, const char* function, const element_request& draw)
{
    if (!is_element_draw_valid(call, draw) || !is_framebuffer_complete(call, true))
        return;
    _zelvar_context_data* context = call.lock(function);
    if (!context)
        return;
    shared_guard group_lock{context};
    auto* vertex_array = array_of_draw(context);
    if (!vertex_array || !have_bindings_buffers(call, *vertex_array))
        return;
    draw_indices indices;
    if (!find_indices(call, context, *vertex_array, draw, indices))
        return;
    if (reads_client_memory(context, *vertex_array)) {
        const client_array_draw kind{function, true, draw.variant == element_draw::indirect};
        if (!read_indices_back(call, context, *vertex_array, draw, indices))
            return;
        if (!fetch_client_arrays(call, context, *vertex_array, kind, vertices_of(context, draw, indices)))
            return;
    }
    const void* host_indices = indices.fetched.bytes ? indices.fetched.bytes.get()
                                                     : reinterpret_cast<const void*>(draw.indices.address);
    draw_elements_on_host(call, draw, host_indices);
}

/// The copy of the command buffer from `indirect` on, if `size` bytes of command are there.
const uint8_t* find_command(gles_handler& call, _zelvar_context_data* context, target_ptr indirect,
                            uint64_t size)
{
    call.error = GL_INVALID_OPERATION;
    if (context->bound_vertex_array == 0) {
        LOG_ERROR("glDrawElementsIndirect() may not be called when the default vertex array object is bound. "
                  "GL_INVALID_OPERATION is generated.");
        return nullptr;
    }
    uint32_t id = bound_buffer(context, GL_DRAW_INDIRECT_BUFFER);
    if (id == 0) {
        LOG_ERROR("No buffer bound to DRAW_INDIRECT_BUFFER, GL_INVALID_OPERATION is generated.");
        return nullptr;
    }
    auto* buffer = find_buffer(context, id);
    if (!buffer) {
        LOG_FATAL("Can't find target buffer[%d], glDrawArraysIndirect() will not execute.", id);
        call.error = GL_NO_ERROR;
        return nullptr;
    }
    if (!buffer->contents.bytes) {
        LOG_ERROR(
            "Can't find data cache for target buffer[%d], probably because buffer data didn't specified. "
            "GL_INVALID_OPERATION is generated.",
            id);
        return nullptr;
    }
    if (buffer->contents.size < size || indirect.address > buffer->contents.size - size) {
        LOG_ERROR("Target buffer[%d] size is less than indirect, GL_INVALID_OPERATION is generated.", id);
        return nullptr;
    }
    call.error = GL_NO_ERROR;
    return buffer->contents.bytes.get() + indirect.address;
}

/// Reads a command of N words; false when there is none.
template <size_t N>
bool read_command(gles_handler& call, const char* function, target_ptr indirect, uint32_t (&command)[N])
{
    _zelvar_context_data* context = call.lock(function);
    if (!context)
        return false;
    bool found = false;
    {
        shared_guard group_lock{context};
        const uint8_t* bytes = find_command(call, context, indirect, sizeof(command));
        if (bytes)
            std::memcpy(command, bytes, sizeof(command));
        found = bytes != nullptr;
    }
    call.unlock();
    return found;
}
} // namespace

void gles20_glDrawArrays(pid_t pid, tid_t tid, GLenum mode, GLint first, GLsizei count,
                         gles_target_error target_error)
{
    gles_handler call{"gles20_glDrawArrays", pid, tid, target_error};
    call.trace("mode", mode, "first", first, "count", count);
    gles20_shared_draw_array(call, "glDrawArrays", {array_draw::plain, mode, first, count, 0, {}});
}

void gles30_glDrawArraysInstanced(pid_t pid, tid_t tid, GLenum mode, GLint first, GLsizei count,
                                  GLsizei instances, gles_target_error target_error)
{
    gles_handler call{"gles30_glDrawArraysInstanced", pid, tid, target_error};
    call.trace("mode", mode, "first", first, "count", count, "instancecount", instances);
    gles20_shared_draw_array(call, "glDrawArraysInstanced",
                             {array_draw::instanced, mode, first, count, instances, {}});
}

void gles31_glDrawArraysIndirect(pid_t pid, tid_t tid, GLenum mode, target_ptr indirect,
                                 gles_target_error target_error)
{
    gles_handler call{"gles31_glDrawArraysIndirect", pid, tid, target_error};
    call.trace("mode", mode, "indirect", indirect);
    uint32_t command[4]; // count, instances, first, reserved
    if (!read_command(call, "glDrawArraysIndirect", indirect, command))
        return;
    if (command[3] != 0)
        LOG_WARN("glDrawArraysIndirect(): The reserved member of the DrawArraysIndirectCommand structure is "
                 "not zero, "
                 "behavior is undefined");
    gles20_shared_draw_array(call, "glDrawArraysIndirect",
                             {array_draw::indirect, mode, static_cast<GLint>(command[2]),
                              static_cast<GLsizei>(command[0]), static_cast<GLsizei>(command[1]), indirect});
}

void gles20_glDrawElements(pid_t pid, tid_t tid, GLenum mode, GLsizei count, GLenum type, target_ptr indices,
                           gles_target_error target_error)
{
    gles_handler call{"gles20_glDrawElements", pid, tid, target_error};
    call.trace("mode", mode, "count", count, "type", type, "indices", indices);
    gles20_shared_draw_element(call, "glDrawElements",
                               {element_draw::plain, mode, 0, 0, count, type, indices, 0, 0, {}});
}

void gles30_glDrawRangeElements(pid_t pid, tid_t tid, GLenum mode, GLuint start, GLuint end, GLsizei count,
                                GLenum type, target_ptr indices, gles_target_error target_error)
{
    gles_handler call{"gles30_glDrawRangeElements", pid, tid, target_error};
    call.trace("mode", mode, "start", start, "end", end, "count", count, "type", type, "indices", indices);
    gles20_shared_draw_element(call, "glDrawRangeElements",
                               {element_draw::range, mode, start, end, count, type, indices, 0, 0, {}});
}

void gles30_glDrawElementsInstanced(pid_t pid, tid_t tid, GLenum mode, GLsizei count, GLenum type,
                                    target_ptr indices, GLsizei instances, gles_target_error target_error)
{
    gles_handler call{"gles30_glDrawElementsInstanced", pid, tid, target_error};
    call.trace("mode", mode, "count", count, "type", type, "indices", indices, "instancecount", instances);
    gles20_shared_draw_element(call, "glDrawElementsInstanced",
                               {element_draw::instanced, mode, 0, 0, count, type, indices, instances, 0, {}});
}

void gles31_glDrawElementsIndirect(pid_t pid, tid_t tid, GLenum mode, GLenum type, target_ptr indirect,
                                   gles_target_error target_error)
{
    gles_handler call{"gles31_glDrawElementsIndirect", pid, tid, target_error};
    call.trace("mode", mode, "type", type, "indirect", indirect);
    uint32_t command[5]; // count, instances, first index, base vertex, reserved
    if (!read_command(call, "glDrawElementsIndirect", indirect, command))
        return;
    if (command[4] != 0)
        LOG_WARN("glDrawElementsIndirect(): The reserved member of the DrawElementsIndirectCommand structure "
                 "is not "
                 "zero, behavior is undefined");
    target_ptr first{uint64_t{command[2]} * zelvar_data_get_type_size(type, 1)};
    gles20_shared_draw_element(call, "glDrawElementsIndirect",
                               {element_draw::indirect, mode, 0, 0, static_cast<GLsizei>(command[0]), type,
                                first, static_cast<GLsizei>(command[1]), static_cast<GLint>(command[3]),
                                indirect});
}
