#include "shim/vertex_state.h"

#include "shim/process_lock.h"

#include <bit>
#include <map>

namespace shim {

namespace {

// Guarded by contexts_lock; never destroyed.
process_lock& contexts_lock = *new process_lock;
std::map<void*, std::shared_ptr<vertex_state>>& contexts =
    *new std::map<void*, std::shared_ptr<vertex_state>>;

} // namespace

vertex_array::vertex_array()
{
    for (uint32_t i = 0; i < tracked_attributes; ++i)
        binding_of[i] = static_cast<uint8_t>(i);
}

uint32_t vertex_array::client_attributes() const
{
    uint32_t found = 0;
    for (uint32_t left = enabled; left != 0; left &= left - 1)
        if (buffer[binding_of[static_cast<uint32_t>(std::countr_zero(left))]] == 0)
            found |= left & -left;
    return found;
}

bool vertex_state::may_wait(gather kind)
{
    const vertex_array& array = bound();
    const bool indexed = kind == gather::elements || kind == gather::indirect_elements;
    const bool indirect = kind == gather::indirect_arrays || kind == gather::indirect_elements;
    if (indexed && array.elements == 0 && !elements_are_copied)
        return false;
    if (indirect && indirect_buffer == 0)
        return false;
    return arrays_are_copied || array.reads_buffers_only();
}

void vertex_state::bind_buffer(GLenum target, GLuint id)
{
    if (target == GL_ARRAY_BUFFER)
        array_buffer = id;
    else if (target == GL_ELEMENT_ARRAY_BUFFER)
        bound().elements = id;
    else if (target == GL_DRAW_INDIRECT_BUFFER)
        indirect_buffer = id;
}

std::optional<GLuint> vertex_state::bound_buffer(GLenum target)
{
    if (target == GL_ARRAY_BUFFER)
        return array_buffer;
    if (target == GL_ELEMENT_ARRAY_BUFFER)
        return bound().elements;
    return std::nullopt;
}

void vertex_state::set_size(GLenum target, GLsizeiptr size)
{
    if (const auto buffer = bound_buffer(target))
        buffers->note_size(*buffer, size);
    else
        buffers->forget_all();
}

void vertex_state::note_mapped(GLenum target)
{
    if (const auto buffer = bound_buffer(target))
        buffers->note_mapped(*buffer);
}

bool vertex_state::take_mapped(GLenum target)
{
    const auto buffer = bound_buffer(target);
    if (!buffer)
        buffers->forget_all();
    return buffer && buffers->take_mapped(*buffer);
}

std::optional<GLsizeiptr> vertex_state::buffer_size(GLenum target)
{
    const auto buffer = bound_buffer(target);
    return buffer ? buffers->size_of(*buffer) : std::nullopt;
}

void vertex_state::delete_buffers(GLsizei count, const GLuint* ids)
{
    const auto drop = [](GLuint& bound_id, GLuint id) {
        if (bound_id == id)
            bound_id = 0;
    };
    for (GLsizei i = 0; ids && i < count; ++i) {
        if (ids[i] == 0)
            continue;
        buffers->forget(ids[i]);
        drop(array_buffer, ids[i]);
        drop(indirect_buffer, ids[i]);
        drop(bound().elements, ids[i]);
        for (GLuint& buffer : bound().buffer)
            drop(buffer, ids[i]);
    }
}

void vertex_state::bind_framebuffer(GLenum target, GLuint framebuffer)
{
    if (target == GL_FRAMEBUFFER || target == GL_DRAW_FRAMEBUFFER)
        draw_framebuffer = framebuffer;
}

void vertex_state::delete_framebuffers(GLsizei count, const GLuint* ids)
{
    for (GLsizei i = 0; ids && i < count; ++i)
        if (ids[i] == draw_framebuffer)
            draw_framebuffer = 0;
}

void vertex_state::delete_arrays(GLsizei count, const GLuint* ids)
{
    for (GLsizei i = 0; ids && i < count; ++i) {
        if (ids[i] == 0)
            continue;
        arrays.erase(ids[i]);
        bound_record = nullptr;
        if (bound_array == ids[i])
            bound_array = 0;
    }
}

void vertex_state::enable(GLuint attribute, bool on)
{
    if (attribute >= tracked_attributes)
        return;
    const uint32_t bit = 1u << attribute;
    bound().enabled = on ? bound().enabled | bit : bound().enabled & ~bit;
}

void vertex_state::set_capability(GLenum capability, bool on)
{
    if (capability == GL_PRIMITIVE_RESTART_FIXED_INDEX)
        restarts_primitives = on;
}

void vertex_state::set_pointer(GLuint attribute, const attribute_pointer& pointer)
{
    if (attribute >= tracked_attributes)
        return;
    vertex_array& array = bound();
    array.binding_of[attribute] = static_cast<uint8_t>(attribute);
    array.buffer[attribute] = array_buffer;
    array.pointers[attribute] = pointer;
    array.set_by_pointer |= 1u << attribute;
}

void vertex_state::set_divisor(GLuint attribute, GLuint divisor)
{
    if (attribute < tracked_attributes && divisor != 0)
        bound().ever_divided |= 1u << attribute;
}

void vertex_state::bind_vertex_buffer(GLuint binding, GLuint buffer)
{
    if (binding >= tracked_attributes)
        return;
    bound().buffer[binding] = buffer;
    bound().set_by_pointer = 0;
}

void vertex_state::set_binding(GLuint attribute, GLuint binding)
{
    if (attribute >= tracked_attributes || binding >= tracked_attributes)
        return;
    bound().binding_of[attribute] = static_cast<uint8_t>(binding);
    bound().set_by_pointer = 0;
}

void note_context(void* context, void* share)
{
    const std::lock_guard<process_lock> guard{contexts_lock};
    auto made = std::make_shared<vertex_state>();
    if (const auto other = contexts.find(share); other != contexts.end())
        made->buffers = other->second->buffers;
    contexts[context] = std::move(made);
}

std::shared_ptr<vertex_state> vertex_state_of(void* context)
{
    const std::lock_guard<process_lock> guard{contexts_lock};
    auto& state = contexts[context];
    if (!state)
        state = std::make_shared<vertex_state>();
    return state;
}

void forget_vertex_state(void* context)
{
    const std::lock_guard<process_lock> guard{contexts_lock};
    contexts.erase(context);
}

void forget_vertex_states()
{
    contexts_lock.revive();
    contexts.clear();
}

} // namespace shim
