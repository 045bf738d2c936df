#pragma once
// Handlers of shaders, programs, uniforms and pipelines; see gles_handlers.h for how a signature tells its
// message.

#include "inbound/payload_types.h"
#include "wire/api.h"
#include "zelvar_types.h"

// shaders.cpp
void gles20_glCreateShader(pid_t pid, tid_t tid, GLenum type, result_of<GLuint> target_id,
                           gles_target_error target_error);
void gles20_glDeleteShader(pid_t pid, tid_t tid, GLuint shader, gles_target_error target_error);
void gles20_glCompileShader(pid_t pid, tid_t tid, GLuint shader, gles_target_error target_error);
void gles20_glGetShaderiv(pid_t pid, tid_t tid, GLuint shader, GLenum pname, target_ptr params,
                          gles_target_error target_error);
void gles20_glGetShaderInfoLog(pid_t pid, tid_t tid, GLuint shader, GLsizei bufsize, target_ptr length,
                               target_ptr infolog, gles_target_error target_error);
void gles20_glGetShaderSource(pid_t pid, tid_t tid, GLuint shader, GLsizei bufsize, target_ptr length,
                              target_ptr source, gles_target_error target_error);
void gles20_glIsShader(pid_t pid, tid_t tid, GLuint shader, result_of<GLboolean> target_result,
                       gles_target_error target_error);
void gles20_glGetShaderPrecisionFormat(pid_t pid, tid_t tid, GLenum shader_type, GLenum precision_type,
                                       target_ptr range, target_ptr precision,
                                       gles_target_error target_error);
void gles20_glReleaseShaderCompiler(pid_t pid, tid_t tid, gles_target_error target_error);
void gles20_glShaderBinary(pid_t pid, tid_t tid, GLsizei count, target_ptr shaders, GLenum format,
                           target_ptr binary, GLsizei length, gles_target_error target_error);

// shader_source.cpp
void gles20_glShaderSource(pid_t pid, tid_t tid, GLuint shader, GLsizei count, target_ptr string,
                           target_ptr length, gles_target_error target_error);

// programs.cpp
void gles20_glCreateProgram(pid_t pid, tid_t tid, result_of<GLuint> target_id,
                            gles_target_error target_error);
void gles20_glDeleteProgram(pid_t pid, tid_t tid, GLuint program, gles_target_error target_error);
void gles20_glAttachShader(pid_t pid, tid_t tid, GLuint program, GLuint shader,
                           gles_target_error target_error);
void gles20_glDetachShader(pid_t pid, tid_t tid, GLuint program, GLuint shader,
                           gles_target_error target_error);
void gles20_glGetAttachedShaders(pid_t pid, tid_t tid, GLuint program, GLsizei max_count, target_ptr count,
                                 target_ptr shaders, gles_target_error target_error);
void gles20_glBindAttribLocation(pid_t pid, tid_t tid, GLuint program, GLuint index, target_ptr name,
                                 gles_target_error target_error);
void gles20_glLinkProgram(pid_t pid, tid_t tid, GLuint program, gles_target_error target_error);
void gles20_glUseProgram(pid_t pid, tid_t tid, GLuint program, gles_target_error target_error);
void gles20_glValidateProgram(pid_t pid, tid_t tid, GLuint program, gles_target_error target_error);
void gles30_glProgramParameteri(pid_t pid, tid_t tid, GLuint program, GLenum pname, GLint value,
                                gles_target_error target_error);
void gles30_glTransformFeedbackVaryings(pid_t pid, tid_t tid, GLuint program, GLsizei count,
                                        target_ptr varyings, GLenum buffer_mode, inline_array<uint8_t> names,
                                        gles_target_error target_error);

// program_queries.cpp
void gles20_glIsProgram(pid_t pid, tid_t tid, GLuint program, result_of<GLboolean> target_result,
                        gles_target_error target_error);
void gles20_glGetProgramiv(pid_t pid, tid_t tid, GLuint program, GLenum pname, target_ptr params,
                           gles_target_error target_error);
void gles20_glGetProgramInfoLog(pid_t pid, tid_t tid, GLuint program, GLsizei bufsize, target_ptr length,
                                target_ptr infolog, gles_target_error target_error);
void gles20_glGetActiveAttrib(pid_t pid, tid_t tid, GLuint program, GLuint index, GLsizei bufsize,
                              target_ptr length, target_ptr size, target_ptr type, target_ptr name,
                              gles_target_error target_error);
void gles20_glGetActiveUniform(pid_t pid, tid_t tid, GLuint program, GLuint index, GLsizei bufsize,
                               target_ptr length, target_ptr size, target_ptr type, target_ptr name,
                               gles_target_error target_error);
void gles20_glGetAttribLocation(pid_t pid, tid_t tid, GLuint program, target_ptr name,
                                result_of<GLint> target_result, gles_target_error target_error);
void gles30_glGetFragDataLocation(pid_t pid, tid_t tid, GLuint program, target_ptr name,
                                  result_of<GLint> target_result, gles_target_error target_error);
void gles20_glGetUniformLocation(pid_t pid, tid_t tid, GLuint program, target_ptr name,
                                 result_of<GLint> target_result, gles_target_error target_error);
void gles20_glGetUniformfv(pid_t pid, tid_t tid, GLuint program, GLint location, target_ptr params,
                           gles_target_error target_error);
void gles20_glGetUniformiv(pid_t pid, tid_t tid, GLuint program, GLint location, target_ptr params,
                           gles_target_error target_error);
void gles30_glGetUniformuiv(pid_t pid, tid_t tid, GLuint program, GLint location, target_ptr params,
                            gles_target_error target_error);
void gles30_glGetTransformFeedbackVarying(pid_t pid, tid_t tid, GLuint program, GLuint index, GLsizei bufsize,
                                          target_ptr length, target_ptr size, target_ptr type,
                                          target_ptr name, gles_target_error target_error);

// uniform_indices.cpp
void gles30_glGetUniformIndices(pid_t pid, tid_t tid, GLuint program, GLsizei count, target_ptr names,
                                target_ptr indices, inline_array<uint8_t> names_and_target_indices,
                                gles_target_error target_error);
void gles30_glGetActiveUniformsiv(pid_t pid, tid_t tid, GLuint program, GLsizei count, target_ptr indices,
                                  GLenum pname, target_ptr params,
                                  inline_array<uint8_t> indices_and_target_values,
                                  gles_target_error target_error);
void gles30_glGetUniformBlockIndex(pid_t pid, tid_t tid, GLuint program, target_ptr name,
                                   result_of<GLuint> target_result, gles_target_error target_error);
void gles30_glGetActiveUniformBlockiv(pid_t pid, tid_t tid, GLuint program, GLuint index, GLenum pname,
                                      target_ptr params, gles_target_error target_error);
void gles30_glGetActiveUniformBlockName(pid_t pid, tid_t tid, GLuint program, GLuint index, GLsizei bufsize,
                                        target_ptr length, target_ptr name, inline_array<uint8_t> target_name,
                                        gles_target_error target_error);
void gles30_glUniformBlockBinding(pid_t pid, tid_t tid, GLuint program, GLuint index, GLuint binding,
                                  gles_target_error target_error);

// program_resources.cpp
void gles31_glGetProgramInterfaceiv(pid_t pid, tid_t tid, GLuint program, GLenum program_interface,
                                    GLenum pname, target_ptr params, gles_target_error target_error);
void gles31_glGetProgramResourceIndex(pid_t pid, tid_t tid, GLuint program, GLenum program_interface,
                                      target_ptr name, result_of<GLuint> target_result,
                                      gles_target_error target_error);
void gles31_glGetProgramResourceName(pid_t pid, tid_t tid, GLuint program, GLenum program_interface,
                                     GLuint index, GLsizei bufsize, target_ptr length, target_ptr name,
                                     inline_array<uint8_t> target_name, gles_target_error target_error);
void gles31_glGetProgramResourceiv(pid_t pid, tid_t tid, GLuint program, GLenum program_interface,
                                   GLuint index, GLsizei prop_count, target_ptr props, GLsizei bufsize,
                                   target_ptr length, target_ptr params,
                                   inline_array<uint8_t> props_and_target_values,
                                   gles_target_error target_error);
void gles31_glGetProgramResourceLocation(pid_t pid, tid_t tid, GLuint program, GLenum program_interface,
                                         target_ptr name, result_of<GLint> target_result,
                                         gles_target_error target_error);

// program_binaries.cpp
void gles30_glGetProgramBinary(pid_t pid, tid_t tid, GLuint program, GLsizei bufsize, target_ptr length,
                               target_ptr format, target_ptr binary, inline_array<uint8_t> target_binary,
                               gles_target_error target_error);
void gles30_glProgramBinary(pid_t pid, tid_t tid, GLuint program, GLenum format, target_ptr binary,
                            GLsizei length, gles_target_error target_error);

// pipelines.cpp
void gles31_glCreateShaderProgramv(pid_t pid, tid_t tid, GLenum type, GLsizei count, target_ptr strings,
                                   inline_array<uint8_t> texts, result_of<GLuint> target_id,
                                   gles_target_error target_error);
void gles31_glUseProgramStages(pid_t pid, tid_t tid, GLuint pipeline, GLbitfield stages, GLuint program,
                               gles_target_error target_error);
void gles31_glActiveShaderProgram(pid_t pid, tid_t tid, GLuint pipeline, GLuint program,
                                  gles_target_error target_error);
void gles31_glBindProgramPipeline(pid_t pid, tid_t tid, GLuint pipeline, gles_target_error target_error);
void gles31_glIsProgramPipeline(pid_t pid, tid_t tid, GLuint pipeline, result_of<GLboolean> target_result,
                                gles_target_error target_error);
void gles31_glGetProgramPipelineiv(pid_t pid, tid_t tid, GLuint pipeline, GLenum pname, target_ptr params,
                                   gles_target_error target_error);
void gles31_glValidateProgramPipeline(pid_t pid, tid_t tid, GLuint pipeline, gles_target_error target_error);
void gles31_glGetProgramPipelineInfoLog(pid_t pid, tid_t tid, GLuint pipeline, GLsizei bufsize,
                                        target_ptr length, target_ptr infolog,
                                        gles_target_error target_error);

// uniforms.cpp, program_uniforms.cpp: one handler a line of the lists below.
#define ZELVAR_UNIFORM_VALUES(X, version, suffix, type)                                                      \
    X(version, 1##suffix, type)                                                                              \
    X(version, 2##suffix, type, type)                                                                        \
    X(version, 3##suffix, type, type, type)                                                                  \
    X(version, 4##suffix, type, type, type, type)
/// Names for those values, as parameters and as arguments.
#define ZELVAR_PARAMETERS_1(type) type x
#define ZELVAR_PARAMETERS_2(type) type x, type y
#define ZELVAR_PARAMETERS_3(type) type x, type y, type z
#define ZELVAR_PARAMETERS_4(type) type x, type y, type z, type w
#define ZELVAR_VALUES_1 x
#define ZELVAR_VALUES_2 x, y
#define ZELVAR_VALUES_3 x, y, z
#define ZELVAR_VALUES_4 x, y, z, w
/// version, number of values, suffix, type
#define ZELVAR_UNIFORM_FAMILY(X, version, suffix, type)                                                      \
    X(version, 1, suffix, type)                                                                              \
    X(version, 2, suffix, type)                                                                              \
    X(version, 3, suffix, type)                                                                              \
    X(version, 4, suffix, type)
#define ZELVAR_UNIFORM_VECTORS(X, version, suffix, type)                                                     \
    X(version, 1##suffix, type, 1)                                                                           \
    X(version, 2##suffix, type, 2)                                                                           \
    X(version, 3##suffix, type, 3)                                                                           \
    X(version, 4##suffix, type, 4)
/// version, suffix, scalars of one matrix
#define ZELVAR_UNIFORM_SQUARE_MATRICES(X, version)                                                           \
    X(version, 2fv, 4)                                                                                       \
    X(version, 3fv, 9)                                                                                       \
    X(version, 4fv, 16)
#define ZELVAR_UNIFORM_OTHER_MATRICES(X, version)                                                            \
    X(version, 2x3fv, 6)                                                                                     \
    X(version, 3x2fv, 6)                                                                                     \
    X(version, 2x4fv, 8)                                                                                     \
    X(version, 4x2fv, 8)                                                                                     \
    X(version, 3x4fv, 12)                                                                                    \
    X(version, 4x3fv, 12)

#define ZELVAR_DECLARE(version, suffix, ...)                                                                 \
    void version##_glUniform##suffix(pid_t, tid_t, GLint location, __VA_ARGS__, gles_target_error);
ZELVAR_UNIFORM_VALUES(ZELVAR_DECLARE, gles20, f, GLfloat)
ZELVAR_UNIFORM_VALUES(ZELVAR_DECLARE, gles20, i, GLint)
ZELVAR_UNIFORM_VALUES(ZELVAR_DECLARE, gles30, ui, GLuint)
#undef ZELVAR_DECLARE
#define ZELVAR_DECLARE(version, suffix, type, components)                                                    \
    void version##_glUniform##suffix(pid_t, tid_t, GLint location, GLsizei count, target_ptr value,          \
                                     inline_array<type> values, gles_target_error);
ZELVAR_UNIFORM_VECTORS(ZELVAR_DECLARE, gles20, fv, GLfloat)
ZELVAR_UNIFORM_VECTORS(ZELVAR_DECLARE, gles20, iv, GLint)
ZELVAR_UNIFORM_VECTORS(ZELVAR_DECLARE, gles30, uiv, GLuint)
#undef ZELVAR_DECLARE
#define ZELVAR_DECLARE(version, suffix, scalars)                                                             \
    void version##_glUniformMatrix##suffix(pid_t, tid_t, GLint location, GLsizei count, GLboolean transpose, \
                                           target_ptr value, inline_array<GLfloat> values,                   \
                                           gles_target_error);
ZELVAR_UNIFORM_SQUARE_MATRICES(ZELVAR_DECLARE, gles20)
ZELVAR_UNIFORM_OTHER_MATRICES(ZELVAR_DECLARE, gles30)
#undef ZELVAR_DECLARE
#define ZELVAR_DECLARE(version, suffix, ...)                                                                 \
    void version##_glProgramUniform##suffix(pid_t, tid_t, GLuint program, GLint location, __VA_ARGS__,       \
                                            gles_target_error);
ZELVAR_UNIFORM_VALUES(ZELVAR_DECLARE, gles31, f, GLfloat)
ZELVAR_UNIFORM_VALUES(ZELVAR_DECLARE, gles31, i, GLint)
ZELVAR_UNIFORM_VALUES(ZELVAR_DECLARE, gles31, ui, GLuint)
#undef ZELVAR_DECLARE
#define ZELVAR_DECLARE(version, suffix, type, components)                                                    \
    void version##_glProgramUniform##suffix(pid_t, tid_t, GLuint program, GLint location, GLsizei count,     \
                                            target_ptr value, inline_array<type> values, gles_target_error);
ZELVAR_UNIFORM_VECTORS(ZELVAR_DECLARE, gles31, fv, GLfloat)
ZELVAR_UNIFORM_VECTORS(ZELVAR_DECLARE, gles31, iv, GLint)
ZELVAR_UNIFORM_VECTORS(ZELVAR_DECLARE, gles31, uiv, GLuint)
#undef ZELVAR_DECLARE
#define ZELVAR_DECLARE(version, suffix, scalars)                                                             \
    void version##_glProgramUniformMatrix##suffix(pid_t, tid_t, GLuint program, GLint location,              \
                                                  GLsizei count, GLboolean transpose, target_ptr value,      \
                                                  inline_array<GLfloat> values, gles_target_error);
ZELVAR_UNIFORM_SQUARE_MATRICES(ZELVAR_DECLARE, gles31)
ZELVAR_UNIFORM_OTHER_MATRICES(ZELVAR_DECLARE, gles31)
#undef ZELVAR_DECLARE
