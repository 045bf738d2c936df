#pragma once
// Which memory a draw reads, as far as needed to tell whether it may wait in a batch: the application may
// change its own arrays as soon as a draw has returned, but not a buffer object without a call. Small arrays
// are copied for that (client_arrays.h). And whether it draws to a surface or to a framebuffer of its own.
//
// Where a call was refused by OpenGL ES the record here may differ from the truth. That costs a draw its
// wait, or lets a draw of an erroneous program read its arrays late.

#include "shim/buffer_records.h"
#include "shim/rows.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>

namespace shim {

inline constexpr uint32_t tracked_attributes = 32;

/// The arguments of glVertexAttribPointer or glVertexAttribIPointer.
struct attribute_pointer
{
    const void* pointer = nullptr;
    GLint size = 4;
    GLenum type = GL_FLOAT;
    GLsizei stride = 0;
    GLboolean normalized = GL_FALSE;
    bool is_integer = false;
};

struct vertex_array
{
    uint32_t enabled = 0;        // a bit per attribute
    uint32_t set_by_pointer = 0; // a bit per attribute whose `pointers` entry holds
    uint32_t ever_divided = 0;   // a bit per attribute, all where it can't be told
    std::array<attribute_pointer, tracked_attributes> pointers{};
    GLuint elements = 0;                             // element buffer
    std::array<GLuint, tracked_attributes> buffer{}; // of each binding point; 0 is the application's memory
    std::array<uint8_t, tracked_attributes> binding_of{}; // binding point of each attribute

    vertex_array();

    /// Whether every enabled attribute comes from a buffer object.
    bool reads_buffers_only() const { return client_attributes() == 0; }
    /// A bit for each enabled attribute that comes from the application's memory.
    uint32_t client_attributes() const;
};

/// The part of one context. Used by the thread that the context is current on.
struct vertex_state
{
    GLuint array_buffer = 0;
    GLuint indirect_buffer = 0;
    GLuint bound_array = 0;
    GLuint draw_framebuffer = 0; // 0: the surface
    std::unordered_map<GLuint, vertex_array> arrays;
    vertex_array* bound_record = nullptr; // of `bound_array`; null: look it up
    bool restarts_primitives = false;
    std::shared_ptr<buffer_records> buffers = std::make_shared<buffer_records>(); // of all that share
    bool arrays_are_copied = false;   // what the next draw reads of the application's arrays
    bool elements_are_copied = false; // and of its indices

    vertex_array& bound()
    {
        if (!bound_record)
            bound_record = &arrays[bound_array];
        return *bound_record;
    }

    /// Whether a draw of this kind reads nothing of the application's memory.
    bool may_wait(gather kind);

    void bind_buffer(GLenum target, GLuint buffer);
    /// Nothing for a binding that isn't recorded here.
    std::optional<GLuint> bound_buffer(GLenum target);
    void set_size(GLenum target, GLsizeiptr size);
    void note_mapped(GLenum target);
    /// Whether the buffer there is surely mapped; it is regarded as unmapped from now on.
    bool take_mapped(GLenum target);
    std::optional<GLsizeiptr> buffer_size(GLenum target);
    void delete_buffers(GLsizei count, const GLuint* ids);
    void bind_framebuffer(GLenum target, GLuint framebuffer);
    void delete_framebuffers(GLsizei count, const GLuint* ids);
    void bind_array(GLuint id)
    {
        bound_array = id;
        bound_record = nullptr;
    }
    void delete_arrays(GLsizei count, const GLuint* ids);
    void enable(GLuint attribute, bool on);
    void set_capability(GLenum capability, bool on);
    void set_pointer(GLuint attribute, const attribute_pointer& pointer);
    void set_divisor(GLuint attribute, GLuint divisor);
    void divide_bindings() { bound().ever_divided = UINT32_MAX; }
    void bind_vertex_buffer(GLuint binding, GLuint buffer);
    void set_binding(GLuint attribute, GLuint binding);
};

/// A context was made that shares the objects of another one, or of none.
void note_context(void* context, void* share);

/// The record of a context, made when it isn't there. Any thread.
std::shared_ptr<vertex_state> vertex_state_of(void* context);

/// The context has been destroyed; its handle may come again. Any thread.
void forget_vertex_state(void* context);

/// For a forked child and for tests.
void forget_vertex_states();

/// What message `Id` changes in the record.
template <uint32_t Id>
struct vertex_note
{
    static constexpr bool present = false;
};

#define SHIM_VERTEX_NOTE(name, parameters, statement)                                                        \
    template <>                                                                                              \
    struct vertex_note<wire::inbound::name>                                                                  \
    {                                                                                                        \
        static constexpr bool present = true;                                                                \
        static void note parameters { s.statement; }                                                         \
    };
SHIM_VERTEX_NOTE(gles20_bind_buffer, (vertex_state & s, GLenum target, GLuint buffer),
                 bind_buffer(target, buffer))
SHIM_VERTEX_NOTE(gles20_buffer_data, (vertex_state & s, GLenum target, GLsizeiptr size, const void*, GLenum),
                 set_size(target, size))
SHIM_VERTEX_NOTE(gles20_delete_buffers, (vertex_state & s, GLsizei n, const GLuint* ids),
                 delete_buffers(n, ids))
SHIM_VERTEX_NOTE(gles20_bind_framebuffer, (vertex_state & s, GLenum target, GLuint framebuffer),
                 bind_framebuffer(target, framebuffer))
SHIM_VERTEX_NOTE(gles20_delete_framebuffers, (vertex_state & s, GLsizei n, const GLuint* ids),
                 delete_framebuffers(n, ids))
SHIM_VERTEX_NOTE(gles30_bind_vertex_array, (vertex_state & s, GLuint id), bind_array(id))
SHIM_VERTEX_NOTE(gles20_bind_vertex_array_oes, (vertex_state & s, GLuint id), bind_array(id))
SHIM_VERTEX_NOTE(gles30_delete_vertex_arrays, (vertex_state & s, GLsizei n, const GLuint* ids),
                 delete_arrays(n, ids))
SHIM_VERTEX_NOTE(gles20_delete_vertex_arrays_oes, (vertex_state & s, GLsizei n, const GLuint* ids),
                 delete_arrays(n, ids))
SHIM_VERTEX_NOTE(gles20_enable_vertex_attrib_array, (vertex_state & s, GLuint index), enable(index, true))
SHIM_VERTEX_NOTE(gles20_disable_vertex_attrib_array, (vertex_state & s, GLuint index), enable(index, false))
SHIM_VERTEX_NOTE(gles20_vertex_attrib_pointer,
                 (vertex_state & s, GLuint index, GLint size, GLenum type, GLboolean normalized,
                  GLsizei stride, const void* pointer),
                 set_pointer(index, {pointer, size, type, stride, normalized, false}))
SHIM_VERTEX_NOTE(gles30_vertex_attrib_ipointer,
                 (vertex_state & s, GLuint index, GLint size, GLenum type, GLsizei stride,
                  const void* pointer),
                 set_pointer(index, {pointer, size, type, stride, GL_FALSE, true}))
SHIM_VERTEX_NOTE(gles30_vertex_attrib_divisor, (vertex_state & s, GLuint index, GLuint divisor),
                 set_divisor(index, divisor))
SHIM_VERTEX_NOTE(gles31_vertex_binding_divisor, (vertex_state & s, GLuint, GLuint), divide_bindings())
SHIM_VERTEX_NOTE(gles20_enable, (vertex_state & s, GLenum capability), set_capability(capability, true))
SHIM_VERTEX_NOTE(gles20_disable, (vertex_state & s, GLenum capability), set_capability(capability, false))
SHIM_VERTEX_NOTE(gles31_bind_vertex_buffer,
                 (vertex_state & s, GLuint binding, GLuint buffer, GLintptr, GLsizei),
                 bind_vertex_buffer(binding, buffer))
SHIM_VERTEX_NOTE(gles31_vertex_attrib_binding, (vertex_state & s, GLuint attribute, GLuint binding),
                 set_binding(attribute, binding))
#undef SHIM_VERTEX_NOTE

} // namespace shim
