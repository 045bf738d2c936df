// Where vertex attributes come from. An array in client memory is only remembered here: the host sees it at
// the draw, when its bytes are fetched.

#include "data_model/zelvar_data_model.h"
#include "handlers/gles/buffer_lookup.h"
#include "handlers/gles/buffers_handlers.h"
#include "handlers/gles/shared_guard.h"
#include "handlers/handler.h"

#include <algorithm>

using gles_table = sidechannel_gles_imports;

namespace {
enum class pointer_variant
{
    real = 0,
    integer = 1,
};

struct attribute_pointer
{
    GLuint index;
    GLint size;
    GLenum type;
    GLboolean normalized;
    GLsizei stride;
    target_ptr pointer;
};

constexpr GLenum half_float_oes = 0x8D61;

bool is_type_accepted(pointer_variant variant, GLenum type)
{
    if (variant == pointer_variant::integer)
        return type >= GL_BYTE && type <= GL_UNSIGNED_INT;
    return (type >= GL_BYTE && type <= GL_FLOAT) || type == GL_HALF_FLOAT || type == GL_FIXED ||
           type == half_float_oes || type == GL_INT_2_10_10_10_REV || type == GL_UNSIGNED_INT_2_10_10_10_REV;
}

/// A later failure replaces an earlier one.
void validate(gles_handler& call, pointer_variant variant, const attribute_pointer& given)
{
    unsigned error = GL_NO_ERROR;
    if (!is_type_accepted(variant, given.type)) {
        error = GL_INVALID_ENUM;
        LOG_ERROR("type[%#x] is not an accepted value, GL_INVALID_ENUM is generated", given.type);
    }
    GLint limit = 0;
    host::gl<&gles_table::glGetIntegerv>(GL_MAX_VERTEX_ATTRIBS, &limit);
    if (given.index >= static_cast<GLuint>(limit)) {
        error = GL_INVALID_VALUE;
        LOG_ERROR(
            "index [%d] is greater than or equal to GL_MAX_VERTEX_ATTRIBS, GL_INVALID_VALUE is generated",
            given.index);
    }
    if (given.size < 1 || given.size > 4) {
        error = GL_INVALID_VALUE;
        LOG_ERROR("size [%d] is not 1, 2, 3, or 4, GL_INVALID_VALUE is generated", given.size);
    }
    if (given.stride < 0) {
        error = GL_INVALID_VALUE;
        LOG_ERROR("stride [%d] is negative, GL_INVALID_VALUE is generated", error); // the code, kept so
    }
    bool packed = given.type == GL_INT_2_10_10_10_REV || given.type == GL_UNSIGNED_INT_2_10_10_10_REV;
    if (packed && given.size != 4) {
        error = GL_INVALID_OPERATION;
        LOG_ERROR("size must be 4 if type is GL_INT_2_10_10_10_REV or GL_UNSIGNED_INT_2_10_10_10_REV");
    }
    call.error = error;
}

/// Half floats have one value in version 2 and another from version 3 on.
GLenum host_type(GLenum type)
{
    if (setting(zelvar_only_settings.forceHostContext2))
        return type == GL_HALF_FLOAT ? half_float_oes : type;
    return type == half_float_oes ? GL_HALF_FLOAT : type;
}

bool point_on_host(gles_handler& call, pointer_variant variant, const attribute_pointer& given)
{
    const void* offset = reinterpret_cast<const void*>(given.pointer.address);
    if (variant == pointer_variant::integer)
        return call
            .host<&gles_table::glVertexAttribIPointer>(given.index, given.size, given.type, given.stride,
                                                       offset)
            .ok();
    return call
        .host<&gles_table::glVertexAttribPointer>(given.index, given.size, given.type, given.normalized,
                                                  given.stride, offset)
        .ok();
}

/// Keeps the lists of attributes that the buffers have. A buffer's list never gains an index it didn't hold;
/// the lists only tell which attributes to clear when a buffer is deleted.
void move_attribute(_zelvar_context_data* context, uint32_t index, uint32_t from, uint32_t to)
{
    if (auto* old = from ? find_buffer(context, from) : nullptr)
        std::erase(old->attributes, index);
    if (auto* now = to ? find_buffer(context, to) : nullptr)
        if (std::find(now->attributes.begin(), now->attributes.end(), index) != now->attributes.end() &&
            now->attributes.size() < 1024)
            now->attributes.push_back(index);
}

void gles20_shared_vertex_attrib_pointer(gles_handler& call, const char* function, pointer_variant variant,
                                         attribute_pointer given)
{
    validate(call, variant, given);
    if (call.error != GL_NO_ERROR)
        return;
    given.type = host_type(given.type);
    _zelvar_context_data* context = call.lock(function);
    if (!context)
        return;
    shared_guard group_lock{context};
    auto* vertex_array = bound_vertex_array(context);
    if (!vertex_array) {
        LOG_FATAL("Could not find currently bound vertex array object descriptor id [%d]. DESYNC AHEAD.",
                  context->bound_vertex_array);
        return;
    }
    uint32_t buffer = context->host_bindings.array_buffer;
    if (context->bound_vertex_array && !buffer && given.pointer) {
        LOG_ERROR("VAO can't bound to client array ptrs, GL_INVALID_OPERATION is generated");
        call.error = GL_INVALID_OPERATION;
        return;
    }
    if (buffer && !point_on_host(call, variant, given))
        return;
    auto found = vertex_array->attribute_arrays.find(given.index);
    if (found == vertex_array->attribute_arrays.end())
        return;
    auto& attribute = found->second;
    move_attribute(context, given.index, attribute.buffer, buffer);
    attribute.normalized = given.normalized != GL_FALSE;
    attribute.size = static_cast<uint32_t>(given.size);
    attribute.stride = given.stride;
    attribute.pointer = given.pointer;
    attribute.buffer = buffer;
    attribute.buffer_is_gone = false;
    attribute.type = given.type;
    attribute.integer = variant == pointer_variant::integer;
    attribute.separate_format = false;
    attribute.binding = given.index;
    vertex_array->buffers_of_bindings[given.index] = buffer;
    if (buffer)
        context->parked_arrays.erase(given.index);
}

template <auto Field>
void switch_attribute(gles_handler& call, const char* function, GLuint index, bool on)
{
    call.trace("index", index);
    _zelvar_context_data* context = call.lock(function);
    if (!context || !call.host<Field>(index).ok())
        return;
    auto* attribute = find_attribute(context, index);
    if (!attribute || attribute->enabled == on)
        return;
    attribute->enabled = on;
    context->enabled_vertex_attrib_arrays += on ? 1 : -1;
}

bool is_attribute_known(gles_handler& call, _zelvar_context_data* context, GLuint index)
{
    if (find_attribute(context, index))
        return true;
    LOG_ERROR(
        "index[%d] may be greater than or equal to GL_MAX_VERTEX_ATTRIBS, GL_INVALID_VALUE is generated.",
        index);
    call.error = GL_INVALID_VALUE;
    return false;
}

template <auto Field, class... V>
void gles20_shared_vertex_attribfi_handle(gles_handler& call, const char* function, GLuint index, V... values)
{
    call.trace("index", index);
    _zelvar_context_data* context = call.lock(function);
    if (context && is_attribute_known(call, context, index))
        call.host<Field>(index, values...);
}

template <auto Field, class T>
void gles20_shared_vertex_attribfiv_handle(gles_handler& call, const char* function, GLuint index,
                                           uint32_t components, target_ptr address)
{
    call.trace("index", index, "v", address);
    _zelvar_context_data* context = call.lock(function);
    if (!context || !is_attribute_known(call, context, index))
        return;
    T values[4] = {};
    if (address)
        zelvar_shim_dispatch_read_from_shim_address_space(call.pid, call.tid, components * 4, address,
                                                          values);
    call.host<Field>(index, static_cast<const T*>(values));
}

template <auto Field, class... A>
void format_call(gles_handler& call, const char* function, GLuint index, A... arguments)
{
    if (call.lock(function))
        call.host<Field>(index, arguments...);
}
} // namespace

void gles20_glVertexAttribPointer(pid_t pid, tid_t tid, GLuint index, GLint size, GLenum type,
                                  GLboolean normalized, GLsizei stride, target_ptr pointer,
                                  gles_target_error target_error)
{
    gles_handler call{"gles20_glVertexAttribPointer", pid, tid, target_error};
    call.trace("index", index, "size", size, "type", type, "normalized", normalized, "stride", stride,
               "pointer", pointer);
    gles20_shared_vertex_attrib_pointer(call, "glVertexAttribPointer", pointer_variant::real,
                                        {index, size, type, normalized, stride, pointer});
}

void gles30_glVertexAttribIPointer(pid_t pid, tid_t tid, GLuint index, GLint size, GLenum type,
                                   GLsizei stride, target_ptr pointer, gles_target_error target_error)
{
    gles_handler call{"gles30_glVertexAttribIPointer", pid, tid, target_error};
    call.trace("index", index, "size", size, "type", type, "stride", stride, "pointer", pointer);
    gles20_shared_vertex_attrib_pointer(call, "glVertexAttribIPointer", pointer_variant::integer,
                                        {index, size, type, GL_FALSE, stride, pointer});
}

void gles20_glEnableVertexAttribArray(pid_t pid, tid_t tid, GLuint index, gles_target_error target_error)
{
    gles_handler call{"gles20_glEnableVertexAttribArray", pid, tid, target_error};
    switch_attribute<&gles_table::glEnableVertexAttribArray>(call, "glEnableVertexAttribArray", index, true);
}

void gles20_glDisableVertexAttribArray(pid_t pid, tid_t tid, GLuint index, gles_target_error target_error)
{
    gles_handler call{"gles20_glDisableVertexAttribArray", pid, tid, target_error};
    switch_attribute<&gles_table::glDisableVertexAttribArray>(call, "glDisableVertexAttribArray", index,
                                                              false);
}

void gles30_glVertexAttribDivisor(pid_t pid, tid_t tid, GLuint index, GLuint divisor,
                                  gles_target_error target_error)
{
    gles_handler call{"gles30_glVertexAttribDivisor", pid, tid, target_error};
    call.trace("index", index, "divisor", divisor);
    _zelvar_context_data* context = call.lock("glVertexAttribDivisor");
    if (!context || !call.host<&gles_table::glVertexAttribDivisor>(index, divisor).ok())
        return;
    if (auto* attribute = find_attribute(context, index))
        attribute->divisor = divisor;
}

// Formats and binding points of their own.

void gles31_glVertexAttribBinding(pid_t pid, tid_t tid, GLuint index, GLuint binding,
                                  gles_target_error target_error)
{
    gles_handler call{"gles31_glVertexAttribBinding", pid, tid, target_error};
    call.trace("attribindex", index, "bindingindex", binding);
    _zelvar_context_data* context = call.lock("glVertexAttribBinding");
    if (!context)
        return;
    auto* attribute = find_attribute(context, index);
    if (!attribute) {
        call.error = GL_INVALID_VALUE;
        LOG_ERROR("Vertex attribute array index [%d] not found. Reporting error code [%#x].", index,
                  call.error);
        return;
    }
    if (!call.host<&gles_table::glVertexAttribBinding>(index, binding).ok())
        return;
    attribute->separate_format = true;
    attribute->binding = binding;
    bound_vertex_array(context)->has_separate_bindings = true;
}

void gles31_glBindVertexBuffer(pid_t pid, tid_t tid, GLuint binding, GLuint buffer, GLintptr offset,
                               GLsizei stride, gles_target_error target_error)
{
    gles_handler call{"gles31_glBindVertexBuffer", pid, tid, target_error};
    call.trace("bindingindex", binding, "buffer", buffer, "offset", offset, "stride", stride);
    _zelvar_context_data* context = call.lock("glBindVertexBuffer");
    if (!context)
        return;
    shared_guard group_lock{context};
    auto* known = buffer ? find_buffer(context, buffer) : nullptr;
    if (buffer && !known) {
        call.error = GL_INVALID_OPERATION;
        LOG_ERROR("Target buffer object[%d] not found. Reporting error code [%#x].", buffer, call.error);
        return;
    }
    auto bound =
        call.host<&gles_table::glBindVertexBuffer>(binding, known ? known->host_id : 0, offset, stride);
    auto* vertex_array = bound_vertex_array(context);
    if (!bound.ok() || !vertex_array)
        return;
    vertex_array->buffers_of_bindings[binding] = buffer;
    vertex_array->has_separate_bindings = true;
}

void gles31_glVertexAttribFormat(pid_t pid, tid_t tid, GLuint index, GLint size, GLenum type,
                                 GLboolean normalized, GLuint offset, gles_target_error target_error)
{
    gles_handler call{"gles31_glVertexAttribFormat", pid, tid, target_error};
    call.trace("attribindex", index, "size", size, "type", type, "normalized", normalized, "relativeoffset",
               offset);
    format_call<&gles_table::glVertexAttribFormat>(call, "glVertexAttribFormat", index, size, type,
                                                   normalized, offset);
}

void gles31_glVertexAttribIFormat(pid_t pid, tid_t tid, GLuint index, GLint size, GLenum type, GLuint offset,
                                  gles_target_error target_error)
{
    gles_handler call{"gles31_glVertexAttribIFormat", pid, tid, target_error};
    call.trace("attribindex", index, "size", size, "type", type, "relativeoffset", offset);
    format_call<&gles_table::glVertexAttribIFormat>(call, "glVertexAttribIFormat", index, size, type, offset);
}

void gles31_glVertexBindingDivisor(pid_t pid, tid_t tid, GLuint binding, GLuint divisor,
                                   gles_target_error target_error)
{
    gles_handler call{"gles31_glVertexBindingDivisor", pid, tid, target_error};
    call.trace("bindingindex", binding, "divisor", divisor);
    format_call<&gles_table::glVertexBindingDivisor>(call, "glVertexBindingDivisor", binding, divisor);
}

// Constant values.

void gles20_glVertexAttrib1f(pid_t pid, tid_t tid, GLuint index, GLfloat x, gles_target_error target_error)
{
    gles_handler call{"gles20_glVertexAttrib1f", pid, tid, target_error};
    gles20_shared_vertex_attribfi_handle<&gles_table::glVertexAttrib1f>(call, "glVertexAttrib1f", index, x);
}

void gles20_glVertexAttrib2f(pid_t pid, tid_t tid, GLuint index, GLfloat x, GLfloat y,
                             gles_target_error target_error)
{
    gles_handler call{"gles20_glVertexAttrib2f", pid, tid, target_error};
    gles20_shared_vertex_attribfi_handle<&gles_table::glVertexAttrib2f>(call, "glVertexAttrib2f", index, x,
                                                                        y);
}

void gles20_glVertexAttrib3f(pid_t pid, tid_t tid, GLuint index, GLfloat x, GLfloat y, GLfloat z,
                             gles_target_error target_error)
{
    gles_handler call{"gles20_glVertexAttrib3f", pid, tid, target_error};
    gles20_shared_vertex_attribfi_handle<&gles_table::glVertexAttrib3f>(call, "glVertexAttrib3f", index, x, y,
                                                                        z);
}

void gles20_glVertexAttrib4f(pid_t pid, tid_t tid, GLuint index, GLfloat x, GLfloat y, GLfloat z, GLfloat w,
                             gles_target_error target_error)
{
    gles_handler call{"gles20_glVertexAttrib4f", pid, tid, target_error};
    gles20_shared_vertex_attribfi_handle<&gles_table::glVertexAttrib4f>(call, "glVertexAttrib4f", index, x, y,
                                                                        z, w);
}

void gles30_glVertexAttribI4i(pid_t pid, tid_t tid, GLuint index, GLint x, GLint y, GLint z, GLint w,
                              gles_target_error target_error)
{
    gles_handler call{"gles30_glVertexAttribI4i", pid, tid, target_error};
    gles20_shared_vertex_attribfi_handle<&gles_table::glVertexAttribI4i>(call, "glVertexAttribI4i", index, x,
                                                                         y, z, w);
}

void gles30_glVertexAttribI4ui(pid_t pid, tid_t tid, GLuint index, GLuint x, GLuint y, GLuint z, GLuint w,
                               gles_target_error target_error)
{
    gles_handler call{"gles30_glVertexAttribI4ui", pid, tid, target_error};
    gles20_shared_vertex_attribfi_handle<&gles_table::glVertexAttribI4ui>(call, "glVertexAttribI4ui", index,
                                                                          x, y, z, w);
}

#define ZELVAR_ATTRIBUTE_VALUES(group, function, T, components)                                              \
    void group##_##function(pid_t pid, tid_t tid, GLuint index, target_ptr v,                                \
                            gles_target_error target_error)                                                  \
    {                                                                                                        \
        gles_handler call{#group "_" #function, pid, tid, target_error};                                     \
        gles20_shared_vertex_attribfiv_handle<&gles_table::function, T>(call, #function, index, components,  \
                                                                        v);                                  \
    }
ZELVAR_ATTRIBUTE_VALUES(gles20, glVertexAttrib1fv, GLfloat, 1)
ZELVAR_ATTRIBUTE_VALUES(gles20, glVertexAttrib2fv, GLfloat, 2)
ZELVAR_ATTRIBUTE_VALUES(gles20, glVertexAttrib3fv, GLfloat, 3)
ZELVAR_ATTRIBUTE_VALUES(gles20, glVertexAttrib4fv, GLfloat, 4)
ZELVAR_ATTRIBUTE_VALUES(gles30, glVertexAttribI4iv, GLint, 4)
ZELVAR_ATTRIBUTE_VALUES(gles30, glVertexAttribI4uiv, GLuint, 4)
#undef ZELVAR_ATTRIBUTE_VALUES
