// What the strict host answers: programs with a few variables, and as many values as a driver would write.

#include "strict_host.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace strict_host {
namespace {
constexpr GLint longest_name = 16, binary_size = 32, compressed_format_count = 5, list_length = 4;
struct variable
{
    const char* name;
    GLint size;
    GLenum type;
    GLint location;
};
constexpr variable attributes[attribute_count] = {{"position", 1, GL_FLOAT_VEC4, 0},
                                                  {"corner", 1, GL_FLOAT_VEC2, 1}};
constexpr variable uniforms[uniform_count] = {
    {"matrix[0]", 2, GL_FLOAT_MAT4, 0}, {"colour", 1, GL_FLOAT_VEC4, 7}, {"picture", 1, GL_SAMPLER_2D, 5}};

/// A driver may write all of the text's room.
void answer_text(const char* text, GLsizei room, GLsizei* length, GLchar* out)
{
    if (room < 0)
        return fail(GL_INVALID_VALUE);
    const auto taken = std::min<GLsizei>(static_cast<GLsizei>(std::strlen(text)), std::max(room - 1, 0));
    if (out && room > 0) {
        std::memset(out, 0, static_cast<size_t>(std::min(room, 1024)));
        std::memcpy(out, text, static_cast<size_t>(taken));
    }
    if (length)
        *length = taken;
}

template <size_t N>
void answer_variable(const variable (&list)[N], GLuint index, GLsizei room, GLsizei* length, GLint* size,
                     GLenum* type, GLchar* name)
{
    if (index >= N || room < 0)
        return fail(GL_INVALID_VALUE);
    answer_text(list[index].name, room, length, name);
    *size = list[index].size;
    *type = list[index].type;
}

template <size_t N>
GLint location_in(const variable (&list)[N], const GLchar* name)
{
    auto found = std::find_if(std::begin(list), std::end(list),
                              [&](const variable& one) { return std::strcmp(one.name, name) == 0; });
    if (found != std::end(list))
        return found->location;
    return std::strcmp(name, "matrix[1]") == 0 || std::strcmp(name, "matrix") == 0 ? 1 : -1;
}

template <class T>
void answer_uniform(GLuint, GLint location, T* values)
{
    static constexpr size_t sizes[] = {16, 16, 0, 0, 0, 1, 0, 4};
    if (location < 0 || static_cast<size_t>(location) >= std::size(sizes) || !sizes[location])
        return fail(GL_INVALID_OPERATION);
    std::fill_n(values, sizes[location], T(1));
}

void get_program(GLuint, GLenum name, GLint* value)
{
    switch (name) {
    case GL_ACTIVE_ATTRIBUTES:
        *value = attribute_count;
        return;
    case GL_ACTIVE_UNIFORMS:
        *value = uniform_count;
        return;
    case GL_ACTIVE_UNIFORM_BLOCKS:
    case GL_TRANSFORM_FEEDBACK_VARYINGS:
        *value = block_count;
        return;
    case GL_ACTIVE_ATTRIBUTE_MAX_LENGTH:
    case GL_ACTIVE_UNIFORM_MAX_LENGTH:
    case GL_ACTIVE_UNIFORM_BLOCK_MAX_NAME_LENGTH:
    case GL_TRANSFORM_FEEDBACK_VARYING_MAX_LENGTH:
    case GL_INFO_LOG_LENGTH:
        *value = longest_name;
        return;
    case GL_PROGRAM_BINARY_LENGTH:
        *value = binary_size;
        return;
    case GL_COMPUTE_WORK_GROUP_SIZE:
        std::fill_n(value, 3, 1);
        return;
    }
    *value = name == GL_LINK_STATUS || name == GL_VALIDATE_STATUS;
}

/// How many values the answer to a name has.
size_t values_of(GLenum name)
{
    switch (name) {
    case GL_VIEWPORT:
    case GL_SCISSOR_BOX:
    case GL_COLOR_CLEAR_VALUE:
    case GL_BLEND_COLOR:
    case GL_COLOR_WRITEMASK:
    case GL_CURRENT_VERTEX_ATTRIB:
    case GL_TEXTURE_BORDER_COLOR_EXT:
        return 4;
    case GL_DEPTH_RANGE:
    case GL_ALIASED_LINE_WIDTH_RANGE:
    case GL_ALIASED_POINT_SIZE_RANGE:
    case GL_MAX_VIEWPORT_DIMS:
        return 2;
    case GL_COMPRESSED_TEXTURE_FORMATS:
        return compressed_format_count;
    case GL_SHADER_BINARY_FORMATS:
    case GL_PROGRAM_BINARY_FORMATS:
        return list_length;
    }
    return 1;
}

GLint value_of(GLenum name)
{
    switch (name) {
    case GL_MAJOR_VERSION:
        return 3;
    case GL_MINOR_VERSION:
        return 1;
    case GL_MAX_VERTEX_ATTRIBS:
        return 16;
    case GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS:
        return 48;
    case GL_NUM_EXTENSIONS:
        return 2;
    case GL_NUM_COMPRESSED_TEXTURE_FORMATS:
        return compressed_format_count;
    case GL_NUM_SHADER_BINARY_FORMATS:
    case GL_NUM_PROGRAM_BINARY_FORMATS:
        return list_length;
    }
    return 1;
}

template <class T>
void get(GLenum name, T* values)
{
    std::fill_n(values, values_of(name), static_cast<T>(value_of(name)));
}

template <class T>
void get_of(GLenum, GLenum name, T* values)
{
    get(name, values);
}

template <class T>
void get_indexed(GLenum name, GLuint, T* values)
{
    const bool is_box = name == GL_VIEWPORT || name == GL_SCISSOR_BOX;
    std::fill_n(values, is_box ? 4 : 1, T(1));
}

template <class T>
void get_attribute(GLuint index, GLenum name, T* values)
{
    if (index >= 16)
        return fail(GL_INVALID_VALUE);
    get(name, values);
}

void get_block(GLuint, GLuint index, GLenum name, GLint* values)
{
    if (index >= static_cast<GLuint>(block_count))
        return fail(GL_INVALID_VALUE);
    if (name == GL_UNIFORM_BLOCK_ACTIVE_UNIFORM_INDICES) {
        values[0] = 0, values[1] = 1;
        return;
    }
    *values = name == GL_UNIFORM_BLOCK_ACTIVE_UNIFORMS ? 2 : longest_name;
}

void get_uniforms(GLuint, GLsizei count, const GLuint* indices, GLenum, GLint* values)
{
    if (count < 0)
        return fail(GL_INVALID_VALUE);
    touch(indices, static_cast<uint64_t>(count) * sizeof(*indices));
    for (GLsizei i = 0; i < count; i++)
        if (indices[i] >= static_cast<GLuint>(uniform_count))
            return fail(GL_INVALID_VALUE);
    std::fill_n(values, std::max(count, 0), 1);
}

void get_indices(GLuint, GLsizei count, const GLchar* const* names, GLuint* indices)
{
    if (count < 0)
        return fail(GL_INVALID_VALUE);
    for (GLsizei i = 0; i < count; i++)
        indices[i] = location_in(uniforms, names[i]) == -1 ? GL_INVALID_INDEX : 0;
}

void get_attached(GLuint, GLsizei room, GLsizei* count, GLuint* shaders)
{
    if (room < 0)
        return fail(GL_INVALID_VALUE);
    std::fill_n(shaders, std::min(room, 2), 1u);
    if (count)
        *count = std::min(room, 2);
}

void get_binary(GLuint, GLsizei room, GLsizei* length, GLenum* format, void* binary)
{
    if (room < binary_size)
        return fail(GL_INVALID_OPERATION);
    std::memset(binary, 7, binary_size);
    *format = 1;
    if (length)
        *length = binary_size;
}

void put_binary(GLuint, GLenum, const void* binary, GLsizei length)
{
    if (length < 0)
        return fail(GL_INVALID_VALUE);
    touch(binary, static_cast<uint64_t>(length));
}

/// As many values as fit, of a long list.
template <class T>
void answer_list(GLsizei room, GLsizei* length, T* values)
{
    constexpr GLsizei longest = 8;
    if (room < 0)
        return fail(GL_INVALID_VALUE);
    const GLsizei taken = std::min(room, longest);
    std::fill_n(values, taken, T(1));
    if (length)
        *length = taken;
}

void add_program_queries(sidechannel_gles_imports& table)
{
    table.glGetProgramiv = get_program;
    table.glGetActiveAttrib = [](GLuint, GLuint index, GLsizei room, GLsizei* length, GLint* size,
                                 GLenum* type, GLchar* name) {
        answer_variable(attributes, index, room, length, size, type, name);
    };
    table.glGetActiveUniform = [](GLuint, GLuint index, GLsizei room, GLsizei* length, GLint* size,
                                  GLenum* type, GLchar* name) {
        answer_variable(uniforms, index, room, length, size, type, name);
    };
    table.glGetAttribLocation = [](GLuint, const GLchar* name) { return location_in(attributes, name); };
    table.glGetUniformLocation = [](GLuint, const GLchar* name) { return location_in(uniforms, name); };
    table.glGetUniformfv = answer_uniform<GLfloat>;
    table.glGetUniformiv = answer_uniform<GLint>;
    table.glGetUniformuiv = answer_uniform<GLuint>;
    table.glGetActiveUniformsiv = get_uniforms;
    table.glGetUniformIndices = get_indices;
    table.glGetActiveUniformBlockiv = get_block;
    table.glGetUniformBlockIndex = [](GLuint, const GLchar* name) {
        return std::strcmp(name, "block") == 0 ? 0 : GL_INVALID_INDEX;
    };
    table.glGetAttachedShaders = get_attached;
    table.glGetProgramBinary = get_binary;
    table.glProgramBinary = put_binary;
    table.glGetProgramResourceiv = [](GLuint, GLenum, GLuint, GLsizei count, const GLenum* names,
                                      GLsizei room, GLsizei* length, GLint* values) {
        touch(names, static_cast<uint64_t>(std::max(count, 0)) * sizeof(*names));
        answer_list(room, length, values);
    };
}

void add_texts(sidechannel_gles_imports& table)
{
    table.glGetShaderInfoLog = table.glGetProgramInfoLog =
        table.glGetProgramPipelineInfoLog = [](GLuint, GLsizei room, GLsizei* length, GLchar* out) {
            answer_text("0:1: a fault", room, length, out);
        };
    table.glGetShaderSource = [](GLuint, GLsizei room, GLsizei* length, GLchar* out) {
        answer_text("void main() {}", room, length, out);
    };
    table.glGetActiveUniformBlockName = [](GLuint, GLuint index, GLsizei room, GLsizei* length, GLchar* out) {
        if (index >= static_cast<GLuint>(block_count))
            return fail(GL_INVALID_VALUE);
        answer_text("block", room, length, out);
    };
    table.glGetTransformFeedbackVarying = [](GLuint, GLuint index, GLsizei room, GLsizei* length,
                                             GLsizei* size, GLenum* type, GLchar* name) {
        answer_variable(attributes, index, room, length, size, type, name);
    };
    table.glGetProgramResourceName = [](GLuint, GLenum, GLuint index, GLsizei room, GLsizei* length,
                                        GLchar* name) {
        if (index >= static_cast<GLuint>(uniform_count))
            return fail(GL_INVALID_VALUE);
        answer_text(uniforms[index].name, room, length, name);
    };
}

void add_state_queries(sidechannel_gles_imports& table)
{
    table.glGetBooleanv = get<GLboolean>;
    table.glGetFloatv = get<GLfloat>;
    table.glGetIntegerv = get<GLint>;
    table.glGetInteger64v = get<GLint64>;
    table.glGetBooleani_v = get_indexed<GLboolean>;
    table.glGetIntegeri_v = get_indexed<GLint>;
    table.glGetInteger64i_v = get_indexed<GLint64>;
    table.glGetTexParameterfv = get_of<GLfloat>;
    table.glGetTexParameteriv = get_of<GLint>;
    table.glGetVertexAttribfv = get_attribute<GLfloat>;
    table.glGetVertexAttribiv = table.glGetVertexAttribIiv = get_attribute<GLint>;
    table.glGetVertexAttribIuiv = get_attribute<GLuint>;
    table.glGetMultisamplefv = [](GLenum, GLuint, GLfloat* position) { position[0] = position[1] = 0.5f; };
    table.glGetShaderPrecisionFormat = [](GLenum, GLenum, GLint* range, GLint* precision) {
        range[0] = range[1] = *precision = 1;
    };
    table.glGetInternalformativ = [](GLenum, GLenum, GLenum, GLsizei room, GLint* values) {
        answer_list(room, nullptr, values);
    };
    table.glGetSynciv = [](GLsync, GLenum, GLsizei room, GLsizei* length, GLint* values) {
        answer_list(std::min(room, 1), length, values);
    };
}
} // namespace

void add_queries(sidechannel_gles_imports& table)
{
    add_program_queries(table);
    add_texts(table);
    add_state_queries(table);
}
} // namespace strict_host
