#include "strict_host.h"

#include "gles_stream_host.h"

#include "hosttables/table_slots.h"
#include "shim/rows.h"
#include "support/fake_driver.h"
#include "zelvar/test_support.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace strict_host {
namespace {
thread_local unsigned last_error = GL_NO_ERROR;

GLenum get_error()
{
    return std::exchange(last_error, GL_NO_ERROR);
}

struct buffer
{
    std::unique_ptr<uint8_t[]> bytes; // exactly as many as `size`
    uint64_t size = 0;
    std::unique_ptr<uint8_t[]> mapping; // exactly what was mapped
    uint64_t offset = 0, length = 0;
};
struct attribute
{
    bool enabled = false;
    GLuint buffer = 0, divisor = 0;
    uint64_t step = 16, element = 16;
    const uint8_t* pointer = nullptr;
};
constexpr GLuint attributes_of_host = 16;
struct vertex_array
{
    GLuint elements = 0;
    attribute attributes[attributes_of_host];
};
struct context
{
    std::map<GLenum, GLuint> bound;
    std::map<GLenum, GLint> pixel_store;
    std::map<GLuint, vertex_array> arrays;
    GLuint array = 0, program = 0, pipeline = 0;
    bool restarts = false;
};

/// Every context could be shared with every other one: names are never given twice.
struct state
{
    std::recursive_mutex lock;
    std::map<GLuint, buffer> buffers;
    std::map<EGLContext, context> contexts;
};
state& host()
{
    static state& instance = *new state;
    return instance;
}

/// Null without a current context: then a call does nothing.
context* current()
{
    EGLContext now = fake_driver::egl().eglGetCurrentContext();
    return now ? &host().contexts[now] : nullptr;
}

bool is_buffer_target(GLenum target)
{
    switch (target) {
    case GL_ARRAY_BUFFER:
    case GL_ELEMENT_ARRAY_BUFFER:
    case GL_COPY_READ_BUFFER:
    case GL_COPY_WRITE_BUFFER:
    case GL_PIXEL_PACK_BUFFER:
    case GL_PIXEL_UNPACK_BUFFER:
    case GL_UNIFORM_BUFFER:
    case GL_TRANSFORM_FEEDBACK_BUFFER:
    case GL_ATOMIC_COUNTER_BUFFER:
    case GL_DRAW_INDIRECT_BUFFER:
    case GL_DISPATCH_INDIRECT_BUFFER:
    case GL_SHADER_STORAGE_BUFFER:
        return true;
    }
    return false;
}

GLuint& binding(context& of, GLenum target)
{
    return target == GL_ELEMENT_ARRAY_BUFFER ? of.arrays[of.array].elements : of.bound[target];
}

/// The buffer that is bound to a target; null, with the error, when there is none.
buffer* bound_buffer(GLenum target)
{
    context* now = current();
    if (!now)
        return nullptr;
    if (!is_buffer_target(target)) {
        fail(GL_INVALID_ENUM);
        return nullptr;
    }
    auto found = host().buffers.find(binding(*now, target));
    if (found == host().buffers.end()) {
        fail(GL_INVALID_OPERATION);
        return nullptr;
    }
    return &found->second;
}

bool is_range_inside(int64_t offset, int64_t size, uint64_t whole)
{
    return offset >= 0 && size >= 0 && static_cast<uint64_t>(offset) <= whole &&
           static_cast<uint64_t>(size) <= whole - static_cast<uint64_t>(offset);
}

using guard = std::lock_guard<std::recursive_mutex>;

void bind_buffer(GLenum target, GLuint id)
{
    guard lock{host().lock};
    context* now = current();
    if (!now)
        return;
    if (!is_buffer_target(target))
        return fail(GL_INVALID_ENUM);
    if (id)
        host().buffers[id];
    binding(*now, target) = id;
}

void bind_buffer_base(GLenum target, GLuint index, GLuint id)
{
    if (index >= 32)
        return fail(GL_INVALID_VALUE);
    bind_buffer(target, id);
}

void bind_buffer_range(GLenum target, GLuint index, GLuint id, GLintptr offset, GLsizeiptr size)
{
    if (offset < 0 || size <= 0)
        return fail(GL_INVALID_VALUE);
    bind_buffer_base(target, index, id);
}

void delete_buffers(GLsizei n, const GLuint* ids)
{
    guard lock{host().lock};
    context* now = current();
    if (n < 0)
        return fail(GL_INVALID_VALUE);
    touch(ids, static_cast<uint64_t>(n) * sizeof(*ids));
    for (GLsizei i = 0; now && i < n; i++) {
        for (auto& [target, id] : now->bound)
            if (id == ids[i])
                id = 0;
        vertex_array& array = now->arrays[now->array];
        if (array.elements == ids[i])
            array.elements = 0;
        for (attribute& one : array.attributes)
            if (one.buffer == ids[i])
                one.buffer = 0, one.pointer = nullptr;
        host().buffers.erase(ids[i]);
    }
}

void buffer_data(GLenum target, GLsizeiptr size, const void* data, GLenum)
{
    constexpr GLsizeiptr most = 1 << 24;
    guard lock{host().lock};
    buffer* to = bound_buffer(target);
    if (!to)
        return;
    if (size < 0)
        return fail(GL_INVALID_VALUE);
    if (size > most)
        return fail(GL_OUT_OF_MEMORY);
    const auto length = static_cast<uint64_t>(size);
    *to = {std::make_unique<uint8_t[]>(length), length, nullptr, 0, 0};
    if (data)
        std::memcpy(to->bytes.get(), data, length);
}

void buffer_sub_data(GLenum target, GLintptr offset, GLsizeiptr size, const void* data)
{
    guard lock{host().lock};
    buffer* to = bound_buffer(target);
    if (!to)
        return;
    if (to->mapping)
        return fail(GL_INVALID_OPERATION);
    if (!is_range_inside(offset, size, to->size))
        return fail(GL_INVALID_VALUE);
    if (size)
        std::memcpy(to->bytes.get() + offset, data, static_cast<size_t>(size));
}

void copy_buffer(GLenum read, GLenum write, GLintptr from, GLintptr into, GLsizeiptr size)
{
    guard lock{host().lock};
    buffer* source = bound_buffer(read);
    buffer* to = bound_buffer(write);
    if (!source || !to)
        return;
    if (source->mapping || to->mapping)
        return fail(GL_INVALID_OPERATION);
    if (!is_range_inside(from, size, source->size) || !is_range_inside(into, size, to->size))
        return fail(GL_INVALID_VALUE);
    std::memmove(to->bytes.get() + into, source->bytes.get() + from, static_cast<size_t>(size));
}

void* map_buffer(GLenum target, GLintptr offset, GLsizeiptr length, GLbitfield access)
{
    guard lock{host().lock};
    buffer* from = bound_buffer(target);
    if (!from)
        return nullptr;
    if (!is_range_inside(offset, length, from->size) || access > 0x3f) {
        fail(GL_INVALID_VALUE);
        return nullptr;
    }
    if (from->mapping || length == 0 || !(access & (GL_MAP_READ_BIT | GL_MAP_WRITE_BIT))) {
        fail(GL_INVALID_OPERATION);
        return nullptr;
    }
    from->offset = static_cast<uint64_t>(offset), from->length = static_cast<uint64_t>(length);
    from->mapping = std::make_unique<uint8_t[]>(from->length);
    std::memcpy(from->mapping.get(), from->bytes.get() + offset, from->length);
    return from->mapping.get();
}

void flush_mapped_buffer(GLenum target, GLintptr offset, GLsizeiptr length)
{
    guard lock{host().lock};
    buffer* mapped = bound_buffer(target);
    if (!mapped)
        return;
    if (!mapped->mapping)
        return fail(GL_INVALID_OPERATION);
    if (!is_range_inside(offset, length, mapped->length))
        return fail(GL_INVALID_VALUE);
    std::memcpy(mapped->bytes.get() + mapped->offset + offset, mapped->mapping.get() + offset,
                static_cast<size_t>(length));
}

GLboolean unmap_buffer(GLenum target)
{
    guard lock{host().lock};
    buffer* mapped = bound_buffer(target);
    if (!mapped)
        return GL_FALSE;
    if (!mapped->mapping) {
        fail(GL_INVALID_OPERATION);
        return GL_FALSE;
    }
    std::memcpy(mapped->bytes.get() + mapped->offset, mapped->mapping.get(), mapped->length);
    mapped->mapping.reset();
    return GL_TRUE;
}

void bind_vertex_array(GLuint id)
{
    guard lock{host().lock};
    if (context* now = current())
        now->array = id;
}

void delete_vertex_arrays(GLsizei n, const GLuint* ids)
{
    guard lock{host().lock};
    context* now = current();
    if (n < 0)
        return fail(GL_INVALID_VALUE);
    touch(ids, static_cast<uint64_t>(n) * sizeof(*ids));
    for (GLsizei i = 0; now && i < n; i++) {
        if (!ids[i])
            continue;
        now->arrays.erase(ids[i]);
        if (now->array == ids[i])
            now->array = 0;
    }
}

uint64_t component_size(GLenum type)
{
    switch (type) {
    case GL_BYTE:
    case GL_UNSIGNED_BYTE:
        return 1;
    case GL_SHORT:
    case GL_UNSIGNED_SHORT:
    case GL_HALF_FLOAT:
        return 2;
    }
    return 4;
}

void point(GLuint index, GLint size, GLenum type, GLsizei stride, const void* pointer)
{
    constexpr GLsizei longest_stride = 2048;
    guard lock{host().lock};
    context* now = current();
    if (!now)
        return;
    if (index >= attributes_of_host || size < 1 || size > 4 || stride < 0 || stride > longest_stride)
        return fail(GL_INVALID_VALUE);
    attribute& to = now->arrays[now->array].attributes[index];
    const bool is_packed = type == GL_INT_2_10_10_10_REV || type == GL_UNSIGNED_INT_2_10_10_10_REV;
    to.buffer = now->bound[GL_ARRAY_BUFFER];
    to.element = is_packed ? 4 : component_size(type) * static_cast<uint64_t>(size);
    to.step = stride ? static_cast<uint64_t>(stride) : to.element;
    to.pointer = static_cast<const uint8_t*>(pointer);
}

void attribute_pointer(GLuint index, GLint size, GLenum type, GLboolean, GLsizei stride, const void* pointer)
{
    point(index, size, type, stride, pointer);
}

void attribute_i_pointer(GLuint index, GLint size, GLenum type, GLsizei stride, const void* pointer)
{
    point(index, size, type, stride, pointer);
}

template <class F>
void change_attribute(GLuint index, F change)
{
    guard lock{host().lock};
    context* now = current();
    if (index >= attributes_of_host)
        return fail(GL_INVALID_VALUE);
    if (now)
        change(now->arrays[now->array].attributes[index]);
}

void enable_attribute(GLuint index)
{
    change_attribute(index, [](attribute& of) { of.enabled = true; });
}

void disable_attribute(GLuint index)
{
    change_attribute(index, [](attribute& of) { of.enabled = false; });
}

void divide_attribute(GLuint index, GLuint divisor)
{
    change_attribute(index, [&](attribute& of) { of.divisor = divisor; });
}

void switch_capability(GLenum capability, bool on)
{
    guard lock{host().lock};
    context* now = current();
    if (now && capability == GL_PRIMITIVE_RESTART_FIXED_INDEX)
        now->restarts = on;
}

void store_pixels(GLenum name, GLint value)
{
    guard lock{host().lock};
    context* now = current();
    const bool is_alignment = name == GL_UNPACK_ALIGNMENT || name == GL_PACK_ALIGNMENT;
    if (is_alignment ? value != 1 && value != 2 && value != 4 && value != 8 : value < 0)
        return fail(GL_INVALID_VALUE);
    if (now)
        now->pixel_store[name] = value;
}

void use_program(GLuint id)
{
    guard lock{host().lock};
    if (context* now = current())
        now->program = id;
}

/// Reads vertex `vertex` of instances up to `instances` from client memory, where the program wants it.
void touch_vertex(const context& of, uint64_t vertex, uint64_t instances)
{
    if (!of.program || instances == 0)
        return;
    auto array = of.arrays.find(of.array);
    if (array == of.arrays.end())
        return;
    for (GLint i = 0; i < attribute_count; i++) {
        const attribute& one = array->second.attributes[i];
        if (one.enabled && one.buffer == 0 && one.pointer)
            touch(one.pointer + one.step * (one.divisor ? (instances - 1) / one.divisor : vertex),
                  one.element);
    }
}

void draw_arrays_instanced(GLenum, GLint first, GLsizei count, GLsizei instances)
{
    guard lock{host().lock};
    context* now = current();
    if (first < 0 || count < 0 || instances < 0)
        return fail(GL_INVALID_VALUE);
    if (!now || count == 0)
        return;
    for (int64_t at : {int64_t{first}, int64_t{first} + count / 2, int64_t{first} + count - 1})
        touch_vertex(*now, static_cast<uint64_t>(at), static_cast<uint64_t>(instances));
}

void draw_arrays(GLenum mode, GLint first, GLsizei count)
{
    draw_arrays_instanced(mode, first, count, 1);
}

template <class T>
void touch_indexed(const context& of, const uint8_t* indices, uint64_t count, uint64_t instances)
{
    for (uint64_t i = 0; i < count; i++) {
        T index;
        std::memcpy(&index, indices + i * sizeof(T), sizeof(T));
        if (!of.restarts || index != std::numeric_limits<T>::max())
            touch_vertex(of, index, instances);
    }
}

void draw_elements_instanced(GLenum, GLsizei count, GLenum type, const void* indices, GLsizei instances)
{
    guard lock{host().lock};
    context* now = current();
    if (count < 0 || instances < 0)
        return fail(GL_INVALID_VALUE);
    if (type != GL_UNSIGNED_BYTE && type != GL_UNSIGNED_SHORT && type != GL_UNSIGNED_INT)
        return fail(GL_INVALID_ENUM);
    if (!now || count == 0)
        return;
    auto all = static_cast<uint64_t>(count), size = all * component_size(type);
    const auto* bytes = static_cast<const uint8_t*>(indices);
    if (GLuint elements = now->arrays[now->array].elements) {
        const auto offset = reinterpret_cast<uintptr_t>(indices);
        auto found = host().buffers.find(elements);
        // A robust driver takes indices behind the end of a buffer for zero.
        if (found == host().buffers.end() || offset > found->second.size ||
            found->second.size - offset < size)
            return touch_vertex(*now, 0, static_cast<uint64_t>(instances));
        bytes = found->second.bytes.get() + offset;
    }
    if (type == GL_UNSIGNED_BYTE)
        touch_indexed<uint8_t>(*now, bytes, all, static_cast<uint64_t>(instances));
    else if (type == GL_UNSIGNED_SHORT)
        touch_indexed<uint16_t>(*now, bytes, all, static_cast<uint64_t>(instances));
    else
        touch_indexed<uint32_t>(*now, bytes, all, static_cast<uint64_t>(instances));
}

void draw_elements(GLenum mode, GLsizei count, GLenum type, const void* indices)
{
    draw_elements_instanced(mode, count, type, indices, 1);
}

void draw_range_elements(GLenum mode, GLuint, GLuint, GLsizei count, GLenum type, const void* indices)
{
    draw_elements_instanced(mode, count, type, indices, 1);
}

void shader_source(GLuint, GLsizei count, const GLchar* const* texts, const GLint* lengths)
{
    if (count < 0)
        return fail(GL_INVALID_VALUE);
    for (GLsizei i = 0; i < count; i++)
        touch(texts[i],
              lengths && lengths[i] >= 0 ? static_cast<uint64_t>(lengths[i]) : std::strlen(texts[i]) + 1);
}

// What the shim puts behind a message is what a driver reads through the pointer.

template <class Payload>
struct read_by_driver
{
    template <class... A>
    static void touch_all(A...)
    {
    }
};
template <uint32_t Count, uint32_t Pointer, uint32_t PerCount>
struct read_by_driver<shim::array_tail<Count, Pointer, PerCount>>
{
    template <class... A>
    static void touch_all(A... a)
    {
        touch(shim::nth<Pointer>(a...), shim::array_tail<Count, Pointer, PerCount>::bytes(a...));
    }
};
template <uint32_t Pointer, uint32_t Elements>
struct read_by_driver<shim::fixed_tail<Pointer, Elements>>
{
    template <class... A>
    static void touch_all(A... a)
    {
        touch(shim::nth<Pointer>(a...), shim::fixed_tail<Pointer, Elements>::bytes(a...));
    }
};
template <>
struct read_by_driver<shim::clear_values_tail>
{
    template <class... A>
    static void touch_all(A... a)
    {
        touch(shim::nth<2>(a...), shim::clear_values_tail::bytes(a...));
    }
};
template <uint32_t Count, uint32_t Pointer>
struct read_by_driver<shim::strings_tail<Count, Pointer>>
{
    template <class... A>
    static void touch_all(A... a)
    {
        for (int64_t i = 0; i < int64_t{shim::nth<Count>(a...)}; i++)
            touch(shim::nth<Pointer>(a...)[i], std::strlen(shim::nth<Pointer>(a...)[i]) + 1);
    }
};

template <uint32_t Id, auto Field, class F = decltype(Field)>
struct reading;
template <uint32_t Id, auto Field, class Table, class R, class... P>
struct reading<Id, Field, R (*Table::*)(P...)>
{
    static R call(P... arguments)
    {
        read_by_driver<typename shim::payload<Id>::tail>::touch_all(arguments...);
        read_by_driver<typename shim::payload<Id>::block>::touch_all(arguments...);
        return (fake_driver::gles().*Field)(arguments...);
    }
};

void add_buffers(sidechannel_gles_imports& table)
{
    table.glGetError = get_error;
    table.glBindBuffer = bind_buffer;
    table.glBindBufferBase = bind_buffer_base;
    table.glBindBufferRange = bind_buffer_range;
    table.glDeleteBuffers = delete_buffers;
    table.glBufferData = buffer_data;
    table.glBufferSubData = buffer_sub_data;
    table.glCopyBufferSubData = copy_buffer;
    table.glMapBufferRange = map_buffer;
    table.glFlushMappedBufferRange = flush_mapped_buffer;
    table.glUnmapBuffer = unmap_buffer;
}

void add_draws(sidechannel_gles_imports& table)
{
    table.glBindVertexArray = table.glBindVertexArrayOES = bind_vertex_array;
    table.glDeleteVertexArrays = table.glDeleteVertexArraysOES = delete_vertex_arrays;
    table.glVertexAttribPointer = attribute_pointer;
    table.glVertexAttribIPointer = attribute_i_pointer;
    table.glEnableVertexAttribArray = enable_attribute;
    table.glDisableVertexAttribArray = disable_attribute;
    table.glVertexAttribDivisor = divide_attribute;
    table.glEnable = [](GLenum capability) { switch_capability(capability, true); };
    table.glDisable = [](GLenum capability) { switch_capability(capability, false); };
    table.glPixelStorei = store_pixels;
    table.glUseProgram = use_program;
    table.glDrawArrays = draw_arrays;
    table.glDrawArraysInstanced = draw_arrays_instanced;
    table.glDrawElements = draw_elements;
    table.glDrawElementsInstanced = draw_elements_instanced;
    table.glDrawRangeElements = draw_range_elements;
    table.glShaderSource = shader_source;
}
} // namespace

GLint pixel_store(GLenum name)
{
    guard lock{host().lock};
    context* now = current();
    return now ? now->pixel_store[name] : 0;
}

bool moves_memory(GLenum target)
{
    guard lock{host().lock};
    context* now = current();
    return now && !host().buffers.contains(binding(*now, target));
}

void touch(const void* bytes, uint64_t size)
{
    constexpr uint64_t stride = 64, close = 4096;
    const auto* at = static_cast<const volatile uint8_t*>(bytes);
    for (uint64_t i = 0; i < size; i += i < close || size - i < close ? 1 : stride)
        (void)at[i];
    if (size)
        (void)at[size - 1];
}

void fail(unsigned error)
{
    if (last_error == GL_NO_ERROR)
        last_error = error;
}
} // namespace strict_host

void gles_stream_host::install()
{
    sidechannel_gles_imports table = fake_driver::gles();
    size_t slot = host_gles_optional_count;
#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    set_table_slot(                                                                                          \
        &table, slot++,                                                                                      \
        reinterpret_cast<void*>(&strict_host::reading<id, &sidechannel_gles_imports::function>::call));
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE
    strict_host::add_buffers(table);
    strict_host::add_draws(table);
    strict_host::add_pixels(table);
    strict_host::add_queries(table);
    zelvar_test_support_imports_init(&fake_driver::egl(), &table);
}

void gles_stream_host::begin()
{
    using strict_host::host;
    strict_host::guard lock{host().lock};
    host().buffers.clear();
    host().contexts.clear();
}
