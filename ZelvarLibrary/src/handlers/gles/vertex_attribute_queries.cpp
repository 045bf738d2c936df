// glGetVertexAttrib*: arrays are answered by the model, since the host has no array while its memory is the
// target's; the current value is the host's.

#include "handlers/gles/buffer_lookup.h"
#include "handlers/gles/buffers_handlers.h"
#include "handlers/handler.h"

#include <cstring>

using gles_table = sidechannel_gles_imports;

namespace {
/// Number of values that a name has, 0 (logged) for a name that isn't known.
uint32_t zelvar_helpers_get_vertex_attrib_components_returned(GLenum pname)
{
    switch (pname) {
    case GL_VERTEX_ATTRIB_ARRAY_ENABLED:
    case GL_VERTEX_ATTRIB_ARRAY_SIZE:
    case GL_VERTEX_ATTRIB_ARRAY_STRIDE:
    case GL_VERTEX_ATTRIB_ARRAY_TYPE:
    case GL_VERTEX_ATTRIB_ARRAY_NORMALIZED:
    case GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING:
    case GL_VERTEX_ATTRIB_ARRAY_INTEGER:
    case GL_VERTEX_ATTRIB_ARRAY_DIVISOR:
    case GL_VERTEX_ATTRIB_BINDING:
    case GL_VERTEX_ATTRIB_RELATIVE_OFFSET:
        return 1;
    case GL_CURRENT_VERTEX_ATTRIB:
        return 4;
    default:
        LOG_FATAL("Unsupported pname specified [%d].", pname);
        return 0;
    }
}

/// The model's answer; false where the host knows better.
bool answer_of_model(const _zelvar_vertex_attribute_array_descriptor& attribute, GLenum pname, int32_t* value)
{
    // Formats and binding points of their own are the host's alone.
    if (attribute.separate_format && pname != GL_VERTEX_ATTRIB_ARRAY_ENABLED)
        return false;
    switch (pname) {
    case GL_VERTEX_ATTRIB_ARRAY_ENABLED:
        return *value = attribute.enabled, true;
    case GL_VERTEX_ATTRIB_ARRAY_SIZE:
        return *value = static_cast<int32_t>(attribute.size), true;
    case GL_VERTEX_ATTRIB_ARRAY_STRIDE:
        return *value = attribute.stride, true;
    case GL_VERTEX_ATTRIB_ARRAY_TYPE:
        return *value = static_cast<int32_t>(attribute.type), true;
    case GL_VERTEX_ATTRIB_ARRAY_NORMALIZED:
        return *value = attribute.normalized, true;
    case GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING:
        return *value = static_cast<int32_t>(attribute.buffer), true;
    case GL_VERTEX_ATTRIB_ARRAY_INTEGER:
        return *value = attribute.integer, true;
    case GL_VERTEX_ATTRIB_ARRAY_DIVISOR:
        return *value = static_cast<int32_t>(attribute.divisor), true;
    default:
        return false;
    }
}

template <class T>
void compare_with_target(const T* host, uint32_t count, inline_array<uint8_t> target_value)
{
    for (uint32_t i = 0; i < count && target_value.count >= (i + 1) * sizeof(T); ++i) {
        T target;
        std::memcpy(&target, target_value.data + i * sizeof(T), sizeof(T));
        if (std::memcmp(&target, &host[i], sizeof(T)) != 0)
            LOG_ERROR("gles20_shared_get_vertex_attrib_handle: returned params host=[%d] and target=[%d] "
                      "don't match.",
                      static_cast<int>(host[i]), static_cast<int>(target));
    }
}

template <auto Field, class T>
void gles20_shared_get_vertex_attrib_handle(gles_handler& call, const char* function, GLuint index,
                                            GLenum pname, target_ptr params,
                                            inline_array<uint8_t> target_value)
{
    call.trace("index", index, "pname", pname, "params", params);
    const uint32_t count = zelvar_helpers_get_vertex_attrib_components_returned(pname);
    if (count == 0) {
        call.error = GL_INVALID_ENUM;
        return;
    }
    _zelvar_context_data* context = call.lock(function);
    if (!context)
        return;
    const auto* attribute = find_attribute(context, index);
    if (!attribute) {
        LOG_ERROR(
            "index[%d] may be greater than or equal to GL_MAX_VERTEX_ATTRIBS, GL_INVALID_VALUE is generated.",
            index);
        call.error = GL_INVALID_VALUE;
        return;
    }
    T values[4] = {};
    int32_t known = 0;
    if (answer_of_model(*attribute, pname, &known))
        values[0] = static_cast<T>(known);
    else if (!call.host<Field>(index, pname, static_cast<T*>(values)).ok())
        return;
    if (zelvar_call_on_target())
        compare_with_target(values, count, target_value);
    else if (params)
        zelvar_shim_dispatch_write_to_shim_address_space(call.pid, call.tid, count * uint32_t{sizeof(T)},
                                                         values, params);
}
} // namespace

void gles20_glGetVertexAttribfv(pid_t pid, tid_t tid, GLuint index, GLenum pname, target_ptr params,
                                inline_array<uint8_t> target_value, gles_target_error target_error)
{
    gles_handler call{"gles20_glGetVertexAttribfv", pid, tid, target_error};
    gles20_shared_get_vertex_attrib_handle<&gles_table::glGetVertexAttribfv, GLfloat>(
        call, "glGetVertexAttribfv", index, pname, params, target_value);
}

void gles20_glGetVertexAttribiv(pid_t pid, tid_t tid, GLuint index, GLenum pname, target_ptr params,
                                inline_array<uint8_t> target_value, gles_target_error target_error)
{
    gles_handler call{"gles20_glGetVertexAttribiv", pid, tid, target_error};
    gles20_shared_get_vertex_attrib_handle<&gles_table::glGetVertexAttribiv, GLint>(
        call, "glGetVertexAttribiv", index, pname, params, target_value);
}

void gles30_glGetVertexAttribIiv(pid_t pid, tid_t tid, GLuint index, GLenum pname, target_ptr params,
                                 inline_array<uint8_t> target_value, gles_target_error target_error)
{
    gles_handler call{"gles30_glGetVertexAttribIiv", pid, tid, target_error};
    gles20_shared_get_vertex_attrib_handle<&gles_table::glGetVertexAttribIiv, GLint>(
        call, "glGetVertexAttribIiv", index, pname, params, target_value);
}

void gles30_glGetVertexAttribIuiv(pid_t pid, tid_t tid, GLuint index, GLenum pname, target_ptr params,
                                  inline_array<uint8_t> target_value, gles_target_error target_error)
{
    gles_handler call{"gles30_glGetVertexAttribIuiv", pid, tid, target_error};
    gles20_shared_get_vertex_attrib_handle<&gles_table::glGetVertexAttribIuiv, GLuint>(
        call, "glGetVertexAttribIuiv", index, pname, params, target_value);
}

void gles20_glGetVertexAttribPointerv(pid_t pid, tid_t tid, GLuint index, GLenum pname, target_ptr pointer,
                                      gles_target_error target_error)
{
    gles_handler call{"gles20_glGetVertexAttribPointerv", pid, tid, target_error};
    call.trace("index", index, "pname", pname, "pointer", pointer);
    if (pname != GL_VERTEX_ATTRIB_ARRAY_POINTER) {
        LOG_ERROR("Unrecognized pname [%d]", pname);
        call.error = GL_INVALID_ENUM;
        return;
    }
    _zelvar_context_data* context = call.lock("glGetVertexAttribPointerv");
    if (!context)
        return;
    const auto* attribute = find_attribute(context, index);
    if (!attribute) {
        LOG_ERROR(
            "index[%d] may be greater than or equal to GL_MAX_VERTEX_ATTRIBS, GL_INVALID_VALUE is generated.",
            index);
        call.error = GL_INVALID_VALUE;
        return;
    }
    if (zelvar_call_on_target() || !pointer)
        return;
    uint32_t width = 8;
    zelvar_shim_dispatch_get_target_pointer_size(pid, tid, &width);
    zelvar_shim_dispatch_write_to_shim_address_space(pid, tid, width == 4 ? 4 : 8,
                                                     &attribute->pointer.address, pointer);
}
