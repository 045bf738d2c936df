// glProgramUniform*: as glUniform*, for a named program.

#include "handlers/gles/uniforms.h"

#include "handlers/gles/gles_programs.h"

using gles_table = sidechannel_gles_imports;

namespace {
/// Translates the location for a named program; false when there is nothing to call.
bool find_named_uniform(program_handler& call, GLuint program, GLint location, GLint* host_location)
{
    if (!call.enter())
        return false;
    auto found = call.find_program(program);
    return found != call.no_program() && location != -1 && find_uniform(call, found, location, host_location);
}

GLuint host_program(const program_handler& call, GLuint program)
{
    return call.shared().programs.find(program)->second.host_id;
}

template <auto Field, class... V>
void gles31_shared_program_uniform_handle(program_handler& call, GLuint program, GLint location, V... values)
{
    call.trace("program", program, "location", location);
    GLint host_location = -1;
    if (find_named_uniform(call, program, location, &host_location))
        call.host<Field>(host_program(call, program), host_location, values...);
}

template <auto Field, class T>
void gles31_shared_program_uniform_vector_handle(program_handler& call, GLuint program, GLint location,
                                                 GLsizei count, inline_array<T> values, uint32_t components)
{
    call.trace("program", program, "location", location, "count", count);
    GLint host_location = -1;
    if (is_uniform_count_valid(call, count) && find_named_uniform(call, program, location, &host_location) &&
        holds_all_values(values, count, components))
        call.host<Field>(host_program(call, program), host_location, count, values.data);
}

template <auto Field>
void gles31_shared_program_uniform_matrix_handle(program_handler& call, GLuint program, GLint location,
                                                 GLsizei count, GLboolean transpose,
                                                 inline_array<GLfloat> values, uint32_t scalars)
{
    call.trace("program", program, "location", location, "count", count, "transpose", transpose);
    GLint host_location = -1;
    if (is_uniform_count_valid(call, count) && find_named_uniform(call, program, location, &host_location) &&
        holds_all_values(values, count, scalars))
        call.host<Field>(host_program(call, program), host_location, count, transpose, values.data);
}
} // namespace

#define ZELVAR_UNIFORM(version, n, suffix, type)                                                             \
    void version##_glProgramUniform##n##suffix(pid_t pid, tid_t tid, GLuint program, GLint location,         \
                                               ZELVAR_PARAMETERS_##n(type), gles_target_error target_error)  \
    {                                                                                                        \
        program_handler call{#version "_glProgramUniform" #n #suffix, "glProgramUniform" #n #suffix, pid,    \
                             tid, target_error};                                                             \
        gles31_shared_program_uniform_handle<&gles_table::glProgramUniform##n##suffix>(                      \
            call, program, location, ZELVAR_VALUES_##n);                                                     \
    }
ZELVAR_UNIFORM_FAMILY(ZELVAR_UNIFORM, gles31, f, GLfloat)
ZELVAR_UNIFORM_FAMILY(ZELVAR_UNIFORM, gles31, i, GLint)
ZELVAR_UNIFORM_FAMILY(ZELVAR_UNIFORM, gles31, ui, GLuint)

#define ZELVAR_VECTOR(version, suffix, type, components)                                                     \
    void version##_glProgramUniform##suffix(pid_t pid, tid_t tid, GLuint program, GLint location,            \
                                            GLsizei count, target_ptr, inline_array<type> values,            \
                                            gles_target_error target_error)                                  \
    {                                                                                                        \
        program_handler call{#version "_glProgramUniform" #suffix, "glProgramUniform" #suffix, pid, tid,     \
                             target_error};                                                                  \
        gles31_shared_program_uniform_vector_handle<&gles_table::glProgramUniform##suffix>(                  \
            call, program, location, count, values, components);                                             \
    }
ZELVAR_UNIFORM_VECTORS(ZELVAR_VECTOR, gles31, fv, GLfloat)
ZELVAR_UNIFORM_VECTORS(ZELVAR_VECTOR, gles31, iv, GLint)
ZELVAR_UNIFORM_VECTORS(ZELVAR_VECTOR, gles31, uiv, GLuint)

#define ZELVAR_MATRIX(version, suffix, scalars)                                                              \
    void version##_glProgramUniformMatrix##suffix(                                                           \
        pid_t pid, tid_t tid, GLuint program, GLint location, GLsizei count, GLboolean transpose,            \
        target_ptr, inline_array<GLfloat> values, gles_target_error target_error)                            \
    {                                                                                                        \
        program_handler call{#version "_glProgramUniformMatrix" #suffix, "glProgramUniformMatrix" #suffix,   \
                             pid, tid, target_error};                                                        \
        gles31_shared_program_uniform_matrix_handle<&gles_table::glProgramUniformMatrix##suffix>(            \
            call, program, location, count, transpose, values, scalars);                                     \
    }
ZELVAR_UNIFORM_SQUARE_MATRICES(ZELVAR_MATRIX, gles31)
ZELVAR_UNIFORM_OTHER_MATRICES(ZELVAR_MATRIX, gles31)
