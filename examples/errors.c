/* Wrong calls of every family: wrong enums, values, objects and states, one fault to a call, since drivers
 * may look at arguments in any order. Prints the errors of each. How errors wait is in error_order.c.
 *
 * Left out, since targets answer otherwise than the host on purpose:
 * - glUnmapBuffer of what is no binding point: no buffer that is mapped, thus an operation
 * - glDeleteShader of a program: no shader, thus a value
 * - glUniform* without a program: nothing is to be done, thus nothing is wrong */

#include "report.h"
#include "window.h"

#include <GLES3/gl31.h>

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum
{
    stranger = 4711, /* a name that nobody made */
    nothing = 0x1234 /* no enum of anything */
};

#define TRY(call) ((void)(call), print_errors(#call))

static void begin(const char* family)
{
    printf("== %s\n", family);
    fprintf(stderr, "wrong on purpose: %s\n", family);
}

static GLuint shader_of(GLenum type, const char* text)
{
    const GLuint shader = glCreateShader(type);
    glShaderSource(shader, 1, &text, NULL);
    glCompileShader(shader);
    return shader;
}

static const char vertex_text[] =
    "#version 310 es\nlayout(location = 0) in vec4 at; uniform mat4 matrix; uniform ivec2 pair;\n"
    "layout(std140) uniform numbers { vec4 number; }; out vec4 kept;\n"
    "void main() { kept = number; gl_Position = matrix * at + vec4(pair, 0, 0); }\n";
static const char fragment_text[] =
    "#version 310 es\nprecision mediump float; in vec4 kept; uniform sampler2D image; uniform float one[3];\n"
    "uniform uint word; out vec4 colour;\n"
    "void main() { colour = kept * one[1] + texture(image, kept.xy) + vec4(word); }\n";

static GLuint linked_program(void)
{
    const GLuint program = glCreateProgram();
    const GLuint shaders[2] = {shader_of(GL_VERTEX_SHADER, vertex_text),
                               shader_of(GL_FRAGMENT_SHADER, fragment_text)};
    for (int i = 0; i < 2; ++i) {
        glAttachShader(program, shaders[i]);
        glDeleteShader(shaders[i]);
    }
    glLinkProgram(program);
    GLint linked = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    check(linked, "linking");
    return program;
}

static void state(void)
{
    begin("state");
    TRY(glEnable(nothing));
    TRY(glDisable(nothing));
    TRY(glIsEnabled(nothing));
    TRY(glBlendEquation(nothing));
    TRY(glBlendEquationSeparate(GL_FUNC_ADD, nothing));
    TRY(glBlendFunc(nothing, GL_ONE));
    TRY(glBlendFuncSeparate(GL_ONE, GL_ONE, GL_ONE, nothing));
    TRY(glClear(0x80000000u));
    TRY(glCullFace(GL_CW));
    TRY(glDepthFunc(nothing));
    TRY(glFrontFace(GL_FRONT));
    TRY(glHint(nothing, GL_NICEST));
    TRY(glHint(GL_GENERATE_MIPMAP_HINT, nothing));
    TRY(glLineWidth(0.0f));
    TRY(glLineWidth(-1.0f));
    TRY(glPixelStorei(nothing, 1));
    TRY(glPixelStorei(GL_PACK_ALIGNMENT, 3));
    TRY(glPixelStorei(GL_UNPACK_ROW_LENGTH, -1));
    TRY(glScissor(0, 0, -1, 1));
    TRY(glViewport(0, 0, 1, -1));
    TRY(glStencilFunc(nothing, 0, 0));
    TRY(glStencilFuncSeparate(nothing, GL_ALWAYS, 0, 0));
    TRY(glStencilMaskSeparate(nothing, 0));
    TRY(glStencilOp(GL_KEEP, GL_KEEP, nothing));
    TRY(glStencilOpSeparate(nothing, GL_KEEP, GL_KEEP, GL_KEEP));
    TRY(glSampleMaski(100, 1));
    TRY(glMemoryBarrier(0x40000000u));
    TRY(glMemoryBarrierByRegion(GL_VERTEX_ATTRIB_ARRAY_BARRIER_BIT));
}

static void questions(void)
{
    begin("questions");
    GLint values[64] = {0};
    GLint64 wide[4];
    GLboolean truth[4];
    GLfloat number[4];
    void* pointer = NULL;
    TRY(glGetIntegerv(nothing, values));
    TRY(glGetFloatv(nothing, number));
    TRY(glGetBooleanv(nothing, truth));
    TRY(glGetInteger64v(nothing, wide));
    TRY(glGetIntegeri_v(nothing, 0, values));
    TRY(glGetInteger64i_v(GL_UNIFORM_BUFFER_SIZE, 10000, wide));
    TRY(glGetBooleani_v(GL_SAMPLE_MASK_VALUE, 100, truth));
    TRY(glGetIntegeri_v(GL_MAX_COMPUTE_WORK_GROUP_SIZE, 3, values));
    TRY(glGetString(nothing));
    TRY(glGetStringi(GL_VENDOR, 0));
    TRY(glGetStringi(GL_EXTENSIONS, 10000));
    TRY(glGetVertexAttribiv(1000, GL_VERTEX_ATTRIB_ARRAY_SIZE, values));
    TRY(glGetVertexAttribfv(0, nothing, number));
    TRY(glGetVertexAttribPointerv(0, nothing, &pointer));
    TRY(glGetVertexAttribPointerv(1000, GL_VERTEX_ATTRIB_ARRAY_POINTER, &pointer));
    TRY(glGetShaderPrecisionFormat(nothing, GL_LOW_FLOAT, values, values + 2));
    TRY(glGetShaderPrecisionFormat(GL_VERTEX_SHADER, nothing, values, values + 2));
    TRY(glGetInternalformativ(nothing, GL_RGBA8, GL_SAMPLES, 1, values));
    TRY(glGetInternalformativ(GL_RENDERBUFFER, GL_RGBA8, nothing, 1, values));
    TRY(glGetInternalformativ(GL_RENDERBUFFER, GL_RGBA8, GL_SAMPLES, -1, values));
    TRY(glGetMultisamplefv(nothing, 0, number));
    TRY(glGetMultisamplefv(GL_SAMPLE_POSITION, 100, number));
}

static void buffers(void)
{
    begin("buffers");
    GLint values[4] = {0};
    GLuint ids[2] = {0};
    void* pointer = NULL;
    TRY(glGenBuffers(-1, ids));
    TRY(glDeleteBuffers(-1, ids));
    glGenBuffers(2, ids);
    TRY(glBindBuffer(nothing, ids[0]));
    TRY(glBindBufferBase(GL_ARRAY_BUFFER, 0, ids[0]));
    TRY(glBindBufferBase(GL_UNIFORM_BUFFER, 10000, ids[0]));
    TRY(glBindBufferRange(GL_UNIFORM_BUFFER, 0, ids[0], -1, 16));
    TRY(glBindBufferRange(GL_UNIFORM_BUFFER, 0, ids[0], 0, 0));
    TRY(glBindBufferRange(GL_UNIFORM_BUFFER, 0, ids[0], 1, 16));
    TRY(glBufferData(GL_ARRAY_BUFFER, 16, NULL, GL_STATIC_DRAW)); /* nothing bound */
    TRY(glBufferSubData(GL_ARRAY_BUFFER, 0, 1, values));
    TRY(glGetBufferParameteriv(GL_ARRAY_BUFFER, GL_BUFFER_SIZE, values));
    TRY(glGetBufferPointerv(GL_ARRAY_BUFFER, GL_BUFFER_MAP_POINTER, &pointer));
    TRY(glMapBufferRange(GL_ARRAY_BUFFER, 0, 1, GL_MAP_READ_BIT));
    TRY(glUnmapBuffer(GL_ARRAY_BUFFER));
    TRY(glCopyBufferSubData(GL_COPY_READ_BUFFER, GL_COPY_WRITE_BUFFER, 0, 0, 1));
    glBindBuffer(GL_ARRAY_BUFFER, ids[0]);
    TRY(glBufferData(nothing, 16, NULL, GL_STATIC_DRAW));
    TRY(glBufferData(GL_ARRAY_BUFFER, -1, NULL, GL_STATIC_DRAW));
    TRY(glBufferData(GL_ARRAY_BUFFER, 16, NULL, nothing));
    glBufferData(GL_ARRAY_BUFFER, 16, NULL, GL_STATIC_DRAW);
    TRY(glBufferSubData(GL_ARRAY_BUFFER, -1, 1, values));
    TRY(glBufferSubData(GL_ARRAY_BUFFER, 0, -1, values));
    TRY(glBufferSubData(GL_ARRAY_BUFFER, 1, 16, values));
    TRY(glGetBufferParameteriv(nothing, GL_BUFFER_SIZE, values));
    TRY(glGetBufferParameteriv(GL_ARRAY_BUFFER, nothing, values));
    TRY(glMapBufferRange(nothing, 0, 1, GL_MAP_READ_BIT));
    TRY(glMapBufferRange(GL_ARRAY_BUFFER, -1, 1, GL_MAP_READ_BIT));
    TRY(glMapBufferRange(GL_ARRAY_BUFFER, 0, -1, GL_MAP_READ_BIT));
    TRY(glMapBufferRange(GL_ARRAY_BUFFER, 0, 0, GL_MAP_READ_BIT));
    TRY(glMapBufferRange(GL_ARRAY_BUFFER, 10, 16, GL_MAP_READ_BIT));
    TRY(glMapBufferRange(GL_ARRAY_BUFFER, 0, 16, 0x40000000u));
    TRY(glMapBufferRange(GL_ARRAY_BUFFER, 0, 16, 0));
    TRY(glMapBufferRange(GL_ARRAY_BUFFER, 0, 16, GL_MAP_READ_BIT | GL_MAP_INVALIDATE_BUFFER_BIT));
    TRY(glMapBufferRange(GL_ARRAY_BUFFER, 0, 16, GL_MAP_READ_BIT | GL_MAP_FLUSH_EXPLICIT_BIT));
    TRY(glUnmapBuffer(GL_ARRAY_BUFFER));
    TRY(glFlushMappedBufferRange(GL_ARRAY_BUFFER, 0, 1));
    check(glMapBufferRange(GL_ARRAY_BUFFER, 4, 8, GL_MAP_WRITE_BIT) != NULL, "mapping");
    TRY(glFlushMappedBufferRange(GL_ARRAY_BUFFER, 0, 1)); /* not asked for */
    TRY(glMapBufferRange(GL_ARRAY_BUFFER, 4, 8, GL_MAP_WRITE_BIT));
    TRY(glBufferSubData(GL_ARRAY_BUFFER, 0, 1, values));
    glBindBuffer(GL_COPY_WRITE_BUFFER, ids[1]);
    glBufferData(GL_COPY_WRITE_BUFFER, 16, NULL, GL_STATIC_DRAW);
    TRY(glCopyBufferSubData(GL_ARRAY_BUFFER, GL_COPY_WRITE_BUFFER, 0, 0, 8));
    TRY(glUnmapBuffer(GL_ARRAY_BUFFER));
    check(glMapBufferRange(GL_ARRAY_BUFFER, 4, 8, GL_MAP_WRITE_BIT | GL_MAP_FLUSH_EXPLICIT_BIT) != NULL,
          "mapping");
    TRY(glFlushMappedBufferRange(GL_ARRAY_BUFFER, 4, 8));
    TRY(glFlushMappedBufferRange(GL_ARRAY_BUFFER, -1, 4));
    TRY(glUnmapBuffer(GL_ARRAY_BUFFER));
    TRY(glCopyBufferSubData(nothing, GL_COPY_WRITE_BUFFER, 0, 0, 1));
    TRY(glCopyBufferSubData(GL_ARRAY_BUFFER, GL_COPY_WRITE_BUFFER, -1, 0, 1));
    TRY(glCopyBufferSubData(GL_ARRAY_BUFFER, GL_COPY_WRITE_BUFFER, 0, 0, -1));
    TRY(glCopyBufferSubData(GL_ARRAY_BUFFER, GL_COPY_WRITE_BUFFER, 8, 0, 9));
    TRY(glCopyBufferSubData(GL_ARRAY_BUFFER, GL_ARRAY_BUFFER, 0, 4, 8));
    TRY(glIsBuffer(stranger));
    glDeleteBuffers(2, ids);
    TRY(glBufferSubData(GL_ARRAY_BUFFER, 0, 1, values));
}

static void vertices(void)
{
    begin("vertices");
    GLuint array = 0, buffer = 0;
    static const GLfloat points[16];
    TRY(glEnableVertexAttribArray(1000));
    TRY(glDisableVertexAttribArray(1000));
    TRY(glVertexAttrib4f(1000, 0, 0, 0, 0));
    TRY(glVertexAttrib1fv(1000, points));
    TRY(glVertexAttribI4i(1000, 0, 0, 0, 0));
    TRY(glVertexAttribPointer(1000, 4, GL_FLOAT, GL_FALSE, 0, points));
    TRY(glVertexAttribPointer(0, 0, GL_FLOAT, GL_FALSE, 0, points));
    TRY(glVertexAttribPointer(0, 5, GL_FLOAT, GL_FALSE, 0, points));
    TRY(glVertexAttribPointer(0, 4, nothing, GL_FALSE, 0, points));
    TRY(glVertexAttribPointer(0, 4, GL_FLOAT, GL_FALSE, -4, points));
    TRY(glVertexAttribPointer(0, 3, GL_INT_2_10_10_10_REV, GL_FALSE, 0, points));
    TRY(glVertexAttribIPointer(0, 4, GL_FLOAT, 0, points));
    TRY(glVertexAttribDivisor(1000, 1));
    TRY(glGenVertexArrays(-1, &array));
    TRY(glDeleteVertexArrays(-1, &array));
    TRY(glBindVertexArray(stranger));
    TRY(glIsVertexArray(stranger));
    TRY(glBindVertexBuffer(0, 0, 0, 4)); /* no vertex array */
    TRY(glVertexAttribFormat(0, 4, GL_FLOAT, GL_FALSE, 0));
    TRY(glVertexAttribIFormat(0, 4, GL_INT, 0));
    TRY(glVertexAttribBinding(0, 0));
    TRY(glVertexBindingDivisor(0, 1));
    glGenVertexArrays(1, &array);
    glGenBuffers(1, &buffer);
    glBindVertexArray(array);
    TRY(glVertexAttribPointer(0, 4, GL_FLOAT, GL_FALSE, 0, points)); /* no client arrays here */
    TRY(glBindVertexBuffer(1000, buffer, 0, 4));
    TRY(glBindVertexBuffer(0, buffer, -1, 4));
    TRY(glBindVertexBuffer(0, buffer, 0, -1));
    TRY(glBindVertexBuffer(0, buffer, 0, 1000000));
    TRY(glBindVertexBuffer(0, stranger, 0, 4));
    TRY(glVertexAttribFormat(1000, 4, GL_FLOAT, GL_FALSE, 0));
    TRY(glVertexAttribFormat(0, 5, GL_FLOAT, GL_FALSE, 0));
    TRY(glVertexAttribFormat(0, 4, nothing, GL_FALSE, 0));
    TRY(glVertexAttribFormat(0, 4, GL_FLOAT, GL_FALSE, 1000000));
    TRY(glVertexAttribIFormat(0, 4, GL_FLOAT, 0));
    TRY(glVertexAttribBinding(1000, 0));
    TRY(glVertexAttribBinding(0, 1000));
    TRY(glVertexBindingDivisor(1000, 1));
    glDeleteVertexArrays(1, &array);
    TRY(glBindVertexArray(array)); /* deleted */
    glDeleteBuffers(1, &buffer);
}

static void draws(GLuint program)
{
    begin("draws");
    static const unsigned short indices[3] = {0, 1, 2};
    static const unsigned char enough[65536];
    GLuint array = 0, buffer = 0;
    GLuint command[5] = {0};
    glUseProgram(program);
    TRY(glDrawArrays(nothing, 0, 3));
    TRY(glDrawArrays(GL_TRIANGLES, -1, 3));
    TRY(glDrawArrays(GL_TRIANGLES, 0, -3));
    TRY(glDrawArraysInstanced(nothing, 0, 3, 1));
    TRY(glDrawArraysInstanced(GL_TRIANGLES, 0, -3, 1));
    TRY(glDrawArraysInstanced(GL_TRIANGLES, 0, 3, -1));
    TRY(glDrawElements(nothing, 3, GL_UNSIGNED_SHORT, indices));
    TRY(glDrawElements(GL_TRIANGLES, -3, GL_UNSIGNED_SHORT, indices));
    TRY(glDrawElements(GL_TRIANGLES, 3, GL_FLOAT, indices));
    TRY(glDrawElementsInstanced(GL_TRIANGLES, 3, GL_UNSIGNED_SHORT, indices, -1));
    TRY(glDrawRangeElements(GL_TRIANGLES, 3, 2, 3, GL_UNSIGNED_SHORT, indices));
    TRY(glDrawRangeElements(GL_TRIANGLES, 0, 2, 3, GL_FLOAT, indices));
    TRY(glDrawArraysIndirect(GL_TRIANGLES, NULL)); /* no vertex array */
    TRY(glDrawElementsIndirect(GL_TRIANGLES, GL_UNSIGNED_SHORT, NULL));
    glGenVertexArrays(1, &array);
    glBindVertexArray(array);
    TRY(glDrawArraysIndirect(GL_TRIANGLES, NULL)); /* no buffer of commands */
    glGenBuffers(1, &buffer);
    glBindBuffer(GL_DRAW_INDIRECT_BUFFER, buffer);
    glBufferData(GL_DRAW_INDIRECT_BUFFER, sizeof command, command, GL_STATIC_DRAW);
    TRY(glDrawArraysIndirect(nothing, NULL));
    TRY(glDrawArraysIndirect(GL_TRIANGLES, (const void*)16));
    TRY(glDrawElementsIndirect(GL_TRIANGLES, GL_UNSIGNED_SHORT, NULL)); /* no indices */
    TRY(glDrawElementsIndirect(GL_TRIANGLES, GL_FLOAT, NULL));
    glBindVertexArray(0);
    glBindBuffer(GL_DRAW_INDIRECT_BUFFER, 0);
    glDeleteVertexArrays(1, &array);
    glDeleteBuffers(1, &buffer);
    TRY(glReadPixels(0, 0, -1, 1, GL_RGBA, GL_UNSIGNED_BYTE, (void*)enough));
    unsigned char pixels[64];
    TRY(glReadPixels(0, 0, 1, 1, nothing, GL_UNSIGNED_BYTE, pixels));
    TRY(glReadPixels(0, 0, 1, 1, GL_RGBA, nothing, pixels));
    TRY(glReadPixels(0, 0, 1, 1, GL_RGBA, GL_UNSIGNED_SHORT_5_6_5, pixels));
    TRY(glClearBufferiv(nothing, 0, (const GLint*)command));
    TRY(glClearBufferiv(GL_COLOR, 100, (const GLint*)command));
    TRY(glClearBufferiv(GL_DEPTH, 0, (const GLint*)command));
    TRY(glClearBufferuiv(GL_STENCIL, 0, command));
    TRY(glClearBufferfv(GL_STENCIL, 0, (const GLfloat*)command));
    TRY(glClearBufferfv(GL_DEPTH, 1, (const GLfloat*)command));
    TRY(glClearBufferfi(GL_DEPTH, 0, 0.5f, 1));
    TRY(glDispatchCompute(1, 1, 1)); /* the program has no compute shader */
    TRY(glDispatchComputeIndirect(0));
    glUseProgram(0);
    TRY(glDispatchCompute(1, 1, 1));
}

static void shaders(GLuint program)
{
    begin("shaders");
    GLint value = 0;
    GLsizei length = 0;
    char text[16];
    static const char* const source = "void main() {}";
    const GLuint shader = shader_of(GL_VERTEX_SHADER, vertex_text);
    TRY(glCreateShader(nothing));
    TRY(glShaderSource(stranger, 1, &source, NULL));
    TRY(glShaderSource(program, 1, &source, NULL));
    TRY(glShaderSource(shader, -1, &source, NULL));
    TRY(glCompileShader(stranger));
    TRY(glCompileShader(program));
    TRY(glGetShaderiv(stranger, GL_COMPILE_STATUS, &value));
    TRY(glGetShaderiv(program, GL_COMPILE_STATUS, &value));
    TRY(glGetShaderiv(shader, nothing, &value));
    TRY(glGetShaderInfoLog(stranger, sizeof text, &length, text));
    TRY(glGetShaderInfoLog(shader, -1, &length, text));
    TRY(glGetShaderSource(program, sizeof text, &length, text));
    TRY(glGetShaderSource(shader, -1, &length, text));
    TRY(glDeleteShader(stranger));
    TRY(glDeleteShader(0));
    TRY(glIsShader(program));
    TRY(glShaderBinary(-1, &shader, nothing, text, sizeof text));
    glDeleteShader(shader);
    TRY(glCompileShader(shader)); /* deleted */
}

static void programs(GLuint program)
{
    begin("programs");
    GLint value = 0;
    GLsizei length = 0;
    GLenum type = 0;
    char text[256];
    GLuint empty = glCreateProgram(), index = 0;
    const GLuint shader = shader_of(GL_VERTEX_SHADER, vertex_text);
    const GLuint other = shader_of(GL_VERTEX_SHADER, vertex_text);
    static const char* const names[1] = {"kept"};
    TRY(glAttachShader(stranger, shader));
    TRY(glAttachShader(shader, shader));
    TRY(glAttachShader(empty, empty));
    TRY(glAttachShader(empty, stranger));
    glAttachShader(empty, shader);
    TRY(glAttachShader(empty, shader)); /* once more */
    TRY(glAttachShader(empty, other));  /* one of a kind */
    TRY(glDetachShader(empty, other));
    TRY(glDetachShader(empty, stranger));
    TRY(glLinkProgram(stranger));
    TRY(glLinkProgram(shader));
    TRY(glUseProgram(stranger));
    TRY(glUseProgram(shader));
    TRY(glUseProgram(empty)); /* never linked */
    TRY(glValidateProgram(stranger));
    TRY(glValidateProgram(shader));
    TRY(glDeleteProgram(stranger));
    TRY(glDeleteProgram(shader));
    TRY(glDeleteProgram(0));
    TRY(glIsProgram(shader));
    TRY(glGetProgramiv(stranger, GL_LINK_STATUS, &value));
    TRY(glGetProgramiv(shader, GL_LINK_STATUS, &value));
    TRY(glGetProgramiv(program, nothing, &value));
    TRY(glGetProgramiv(program, GL_COMPUTE_WORK_GROUP_SIZE, &value));
    TRY(glGetProgramInfoLog(stranger, sizeof text, &length, text));
    TRY(glGetProgramInfoLog(program, -1, &length, text));
    TRY(glGetAttachedShaders(stranger, 1, &length, &index));
    TRY(glGetAttachedShaders(program, -1, &length, &index));
    TRY(glBindAttribLocation(stranger, 0, "at"));
    TRY(glBindAttribLocation(empty, 1000, "at"));
    TRY(glBindAttribLocation(empty, 0, "gl_at"));
    TRY(glGetAttribLocation(stranger, "at"));
    TRY(glGetAttribLocation(shader, "at"));
    TRY(glGetAttribLocation(empty, "at"));
    TRY(glGetUniformLocation(stranger, "matrix"));
    TRY(glGetUniformLocation(shader, "matrix"));
    TRY(glGetUniformLocation(empty, "matrix"));
    TRY(glGetFragDataLocation(empty, "colour"));
    TRY(glGetActiveAttrib(program, 1000, sizeof text, &length, &value, &type, text));
    TRY(glGetActiveAttrib(program, 0, -1, &length, &value, &type, text));
    TRY(glGetActiveUniform(program, 1000, sizeof text, &length, &value, &type, text));
    TRY(glGetActiveUniform(stranger, 0, sizeof text, &length, &value, &type, text));
    TRY(glGetUniformBlockIndex(stranger, "numbers"));
    TRY(glGetActiveUniformBlockiv(program, 1000, GL_UNIFORM_BLOCK_DATA_SIZE, &value));
    TRY(glGetActiveUniformBlockiv(program, 0, nothing, &value));
    TRY(glGetActiveUniformBlockName(program, 1000, sizeof text, &length, text));
    TRY(glUniformBlockBinding(program, 1000, 0));
    TRY(glUniformBlockBinding(program, 0, 10000));
    TRY(glUniformBlockBinding(stranger, 0, 0));
    index = 1000;
    TRY(glGetActiveUniformsiv(program, 1, &index, GL_UNIFORM_TYPE, &value));
    index = 0;
    TRY(glGetActiveUniformsiv(program, 1, &index, nothing, &value));
    TRY(glGetActiveUniformsiv(program, -1, &index, GL_UNIFORM_TYPE, &value));
    TRY(glGetUniformIndices(stranger, 1, names, &index));
    TRY(glTransformFeedbackVaryings(stranger, 1, names, GL_INTERLEAVED_ATTRIBS));
    TRY(glTransformFeedbackVaryings(empty, -1, names, GL_INTERLEAVED_ATTRIBS));
    TRY(glTransformFeedbackVaryings(empty, 1, names, nothing));
    TRY(glGetTransformFeedbackVarying(program, 1000, sizeof text, &length, &value, &type, text));
    TRY(glProgramParameteri(program, nothing, 1));
    TRY(glProgramParameteri(program, GL_PROGRAM_SEPARABLE, 7));
    TRY(glProgramParameteri(stranger, GL_PROGRAM_SEPARABLE, 1));
    TRY(glGetProgramInterfaceiv(program, nothing, GL_ACTIVE_RESOURCES, &value));
    TRY(glGetProgramInterfaceiv(program, GL_UNIFORM, nothing, &value));
    TRY(glGetProgramInterfaceiv(stranger, GL_UNIFORM, GL_ACTIVE_RESOURCES, &value));
    TRY(glGetProgramResourceIndex(program, nothing, "matrix"));
    TRY(glGetProgramResourceIndex(stranger, GL_UNIFORM, "matrix"));
    TRY(glGetProgramResourceName(program, GL_UNIFORM, 1000, sizeof text, &length, text));
    TRY(glGetProgramResourceName(program, GL_UNIFORM, 0, -1, &length, text));
    TRY(glGetProgramResourceLocation(program, GL_UNIFORM_BLOCK, "numbers"));
    TRY(glGetProgramResourceLocation(empty, GL_UNIFORM, "matrix"));
    type = GL_TYPE;
    TRY(glGetProgramResourceiv(program, GL_UNIFORM, 1000, 1, &type, 1, &length, &value));
    TRY(glGetProgramResourceiv(program, GL_UNIFORM, 0, 0, &type, 1, &length, &value));
    type = nothing;
    TRY(glGetProgramResourceiv(program, GL_UNIFORM, 0, 1, &type, 1, &length, &value));
    glDeleteShader(shader);
    glDeleteShader(other);
    glDeleteProgram(empty);
    TRY(glLinkProgram(empty)); /* deleted */
}

static void uniforms(GLuint program)
{
    begin("uniforms");
    GLfloat numbers[32] = {0};
    GLint whole[4] = {0};
    GLuint words[4] = {0};
    glUseProgram(program);
    const GLint matrix = glGetUniformLocation(program, "matrix");
    const GLint pair = glGetUniformLocation(program, "pair");
    const GLint one = glGetUniformLocation(program, "one");
    const GLint word = glGetUniformLocation(program, "word");
    const GLint image = glGetUniformLocation(program, "image");
    TRY(glUniform1f(-1, 1.0f));
    TRY(glUniform1f(matrix, 1.0f));
    TRY(glUniform2f(pair, 1.0f, 1.0f));
    TRY(glUniform1i(pair, 1));
    TRY(glUniform2iv(pair, 2, whole));
    TRY(glUniform2iv(pair, -1, whole));
    TRY(glUniform1fv(one, 3, numbers));
    TRY(glUniform1fv(one, 9, numbers));
    TRY(glUniform1i(word, 1));
    TRY(glUniform1ui(word, 1));
    TRY(glUniform2uiv(word, 1, words));
    TRY(glUniform1i(image, 1000000));
    TRY(glUniform1f(image, 1.0f));
    TRY(glUniform1f(30000, 1.0f));
    TRY(glUniformMatrix4fv(matrix, -1, GL_FALSE, numbers));
    TRY(glUniformMatrix3fv(matrix, 1, GL_FALSE, numbers));
    TRY(glUniformMatrix4fv(pair, 1, GL_FALSE, numbers));
    TRY(glGetUniformfv(program, 30000, numbers));
    TRY(glGetUniformfv(program, -1, numbers));
    TRY(glGetUniformiv(stranger, matrix, whole));
    TRY(glProgramUniform1f(stranger, one, 1.0f));
    TRY(glProgramUniform1f(program, matrix, 1.0f));
    TRY(glProgramUniform4fv(program, one, 1, numbers));
    TRY(glProgramUniformMatrix4fv(program, matrix, -1, GL_FALSE, numbers));
    glUseProgram(0);
}

static void pipelines(GLuint program)
{
    begin("pipelines");
    GLuint id = 0;
    GLint value = 0;
    GLsizei length = 0;
    char text[16];
    TRY(glGenProgramPipelines(-1, &id));
    TRY(glDeleteProgramPipelines(-1, &id));
    TRY(glBindProgramPipeline(stranger));
    TRY(glIsProgramPipeline(stranger));
    TRY(glUseProgramStages(stranger, GL_VERTEX_SHADER_BIT, program));
    glGenProgramPipelines(1, &id);
    glBindProgramPipeline(id);
    TRY(glUseProgramStages(id, 0x40000000u, program));
    TRY(glUseProgramStages(id, GL_VERTEX_SHADER_BIT, program)); /* not separable */
    TRY(glUseProgramStages(id, GL_VERTEX_SHADER_BIT, stranger));
    TRY(glActiveShaderProgram(stranger, 0));
    TRY(glActiveShaderProgram(id, stranger));
    TRY(glGetProgramPipelineiv(id, nothing, &value));
    TRY(glGetProgramPipelineiv(stranger, GL_ACTIVE_PROGRAM, &value));
    TRY(glGetProgramPipelineInfoLog(id, -1, &length, text));
    TRY(glGetProgramPipelineInfoLog(stranger, sizeof text, &length, text));
    TRY(glValidateProgramPipeline(stranger));
    glDeleteProgramPipelines(1, &id);
    TRY(glBindProgramPipeline(id)); /* deleted */
    const char* source = "void main() {}";
    TRY(glCreateShaderProgramv(nothing, 1, &source));
    TRY(glCreateShaderProgramv(GL_VERTEX_SHADER, -1, &source));
}

static void feedback(GLuint program)
{
    begin("transform feedback");
    GLuint id = 0;
    glUseProgram(program);
    TRY(glGenTransformFeedbacks(-1, &id));
    TRY(glDeleteTransformFeedbacks(-1, &id));
    TRY(glBindTransformFeedback(nothing, 0));
    TRY(glBindTransformFeedback(GL_TRANSFORM_FEEDBACK, stranger));
    TRY(glBeginTransformFeedback(nothing));
    TRY(glBeginTransformFeedback(GL_POINTS)); /* nothing to catch */
    TRY(glEndTransformFeedback());
    TRY(glPauseTransformFeedback());
    TRY(glResumeTransformFeedback());
    TRY(glIsTransformFeedback(stranger));
    glUseProgram(0);
}

static void queries_and_fences(void)
{
    begin("queries and fences");
    GLuint id = 0, word = 0;
    GLint value = 0;
    GLsizei length = 0;
    TRY(glGenQueries(-1, &id));
    TRY(glDeleteQueries(-1, &id));
    glGenQueries(1, &id);
    TRY(glBeginQuery(nothing, id));
    TRY(glBeginQuery(GL_ANY_SAMPLES_PASSED, 0));
    TRY(glEndQuery(nothing));
    TRY(glEndQuery(GL_ANY_SAMPLES_PASSED));
    TRY(glGetQueryiv(nothing, GL_CURRENT_QUERY, &value));
    TRY(glGetQueryiv(GL_ANY_SAMPLES_PASSED, nothing, &value));
    TRY(glGetQueryObjectuiv(id, GL_QUERY_RESULT, &word)); /* never begun */
    TRY(glGetQueryObjectuiv(stranger, GL_QUERY_RESULT, &word));
    glBeginQuery(GL_ANY_SAMPLES_PASSED, id);
    TRY(glBeginQuery(GL_ANY_SAMPLES_PASSED, id));
    TRY(glGetQueryObjectuiv(id, GL_QUERY_RESULT, &word)); /* not over */
    glEndQuery(GL_ANY_SAMPLES_PASSED);
    TRY(glGetQueryObjectuiv(id, nothing, &word));
    TRY(glBeginQuery(GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN, id)); /* of another kind */
    TRY(glIsQuery(stranger));
    glDeleteQueries(1, &id);
    TRY(glGetQueryObjectuiv(id, GL_QUERY_RESULT, &word));

    TRY(glFenceSync(nothing, 0));
    TRY(glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 1));
    const GLsync fence = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    const GLsync none = (GLsync)(uintptr_t)0x7654321;
    TRY(glClientWaitSync(fence, 0x80000000u, 0));
    TRY(glClientWaitSync(none, 0, 0));
    TRY(glWaitSync(fence, 1, GL_TIMEOUT_IGNORED));
    TRY(glWaitSync(fence, 0, 5));
    TRY(glWaitSync(none, 0, GL_TIMEOUT_IGNORED));
    TRY(glGetSynciv(fence, nothing, 1, &length, &value));
    TRY(glGetSynciv(fence, GL_SYNC_STATUS, -1, &length, &value));
    TRY(glGetSynciv(none, GL_SYNC_STATUS, 1, &length, &value));
    TRY(glDeleteSync(none));
    TRY(glDeleteSync(NULL));
    TRY(glIsSync(none));
    glDeleteSync(fence);
    TRY(glClientWaitSync(fence, 0, 0)); /* deleted */
}

static void textures(void)
{
    begin("textures");
    GLuint ids[2] = {0};
    GLint value = 0;
    GLfloat number[4] = {0};
    static unsigned char pixels[4096];
    TRY(glActiveTexture(GL_TEXTURE0 - 1));
    TRY(glActiveTexture(GL_TEXTURE0 + 10000));
    TRY(glGenTextures(-1, ids));
    TRY(glDeleteTextures(-1, ids));
    TRY(glGenerateMipmap(nothing));
    glGenTextures(2, ids);
    TRY(glBindTexture(nothing, ids[0]));
    glBindTexture(GL_TEXTURE_2D, ids[0]);
    TRY(glBindTexture(GL_TEXTURE_3D, ids[0])); /* of another kind */
    TRY(glTexParameteri(nothing, GL_TEXTURE_MIN_FILTER, GL_NEAREST));
    TRY(glTexParameteri(GL_TEXTURE_2D, nothing, GL_NEAREST));
    TRY(glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, nothing));
    TRY(glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, 1.5f));
    TRY(glGetTexParameteriv(GL_TEXTURE_2D, nothing, &value));
    TRY(glGetTexParameterfv(nothing, GL_TEXTURE_MIN_FILTER, number));
    TRY(glTexImage2D(nothing, 0, GL_RGBA, 4, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels));
    TRY(glTexImage2D(GL_TEXTURE_2D, -1, GL_RGBA, 4, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels));
    TRY(glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, -4, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels));
    TRY(glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 4, 4, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixels));
    TRY(glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 4, 4, 0, GL_RGBA, nothing, pixels));
    TRY(glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 4, 4, 0, GL_RGB, GL_UNSIGNED_BYTE, pixels));
    TRY(glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixels)); /* no image */
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 4, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    TRY(glTexSubImage2D(GL_TEXTURE_2D, 0, 2, 0, 4, 4, GL_RGBA, GL_UNSIGNED_BYTE, pixels));
    TRY(glTexSubImage2D(GL_TEXTURE_2D, 0, -1, 0, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixels));
    TRY(glTexImage3D(GL_TEXTURE_2D, 0, GL_RGBA8, 1, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels));
    TRY(glCompressedTexImage2D(GL_TEXTURE_2D, 0, GL_COMPRESSED_RGB8_ETC2, 4, 4, 0, 7, pixels));
    TRY(glCompressedTexImage2D(GL_TEXTURE_2D, 0, nothing, 4, 4, 0, 8, pixels));
    TRY(glCopyTexImage2D(GL_TEXTURE_2D, 0, nothing, 0, 0, 1, 1, 0));
    TRY(glCopyTexSubImage2D(GL_TEXTURE_2D, 0, 3, 3, 0, 0, 2, 2));
    TRY(glTexStorage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 4, 4));
    TRY(glTexStorage2D(GL_TEXTURE_2D, 4, GL_RGBA8, 4, 4));
    TRY(glTexStorage2D(GL_TEXTURE_2D, 1, GL_RGBA, 4, 4));
    glTexStorage2D(GL_TEXTURE_2D, 1, GL_RGBA8, 4, 4);
    TRY(glTexStorage2D(GL_TEXTURE_2D, 1, GL_RGBA8, 4, 4)); /* once more */
    TRY(glTexStorage3D(GL_TEXTURE_2D, 1, GL_RGBA8, 1, 1, 1));
    TRY(glTexStorage2DMultisample(GL_TEXTURE_2D, 4, GL_RGBA8, 4, 4, GL_TRUE));
    TRY(glGetTexLevelParameteriv(GL_TEXTURE_2D, -1, GL_TEXTURE_WIDTH, &value));
    TRY(glGetTexLevelParameterfv(GL_TEXTURE_2D, 0, nothing, number));
    TRY(glBindImageTexture(0, stranger, 0, GL_FALSE, 0, GL_READ_ONLY, GL_RGBA8));
    TRY(glBindImageTexture(1000, ids[0], 0, GL_FALSE, 0, GL_READ_ONLY, GL_RGBA8));
    TRY(glBindImageTexture(0, ids[0], -1, GL_FALSE, 0, GL_READ_ONLY, GL_RGBA8));
    TRY(glBindImageTexture(0, ids[0], 0, GL_FALSE, 0, nothing, GL_RGBA8));
    TRY(glBindImageTexture(0, ids[0], 0, GL_FALSE, 0, GL_READ_ONLY, nothing));
    TRY(glIsTexture(stranger));
    glDeleteTextures(2, ids);

    begin("samplers");
    TRY(glGenSamplers(-1, ids));
    TRY(glDeleteSamplers(-1, ids));
    TRY(glBindSampler(0, stranger));
    TRY(glSamplerParameteri(stranger, GL_TEXTURE_MIN_FILTER, GL_NEAREST));
    TRY(glGetSamplerParameteriv(stranger, GL_TEXTURE_MIN_FILTER, &value));
    glGenSamplers(1, ids);
    TRY(glBindSampler(10000, ids[0]));
    TRY(glSamplerParameteri(ids[0], nothing, 1));
    TRY(glSamplerParameteri(ids[0], GL_TEXTURE_WRAP_S, nothing));
    TRY(glSamplerParameterfv(ids[0], nothing, number));
    TRY(glGetSamplerParameterfv(ids[0], nothing, number));
    glDeleteSamplers(1, ids);
    TRY(glBindSampler(0, ids[0])); /* deleted */
}

static void framebuffers(void)
{
    begin("framebuffers");
    GLuint frame = 0, render = 0;
    GLint value = 0;
    const GLenum wrong[1] = {nothing};
    const GLenum attachments[2] = {GL_COLOR_ATTACHMENT0, GL_BACK};
    TRY(glGenFramebuffers(-1, &frame));
    TRY(glDeleteFramebuffers(-1, &frame));
    TRY(glGenRenderbuffers(-1, &render));
    TRY(glDeleteRenderbuffers(-1, &render));
    TRY(glBindFramebuffer(nothing, 0));
    TRY(glBindRenderbuffer(nothing, 0));
    TRY(glCheckFramebufferStatus(nothing));
    TRY(glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, 4, 4)); /* nothing bound */
    TRY(glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_WIDTH, &value));
    TRY(glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, 0)); /* the window */
    TRY(glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0,
                                              GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE, &value));
    TRY(glDrawBuffers(1, attachments));
    TRY(glReadBuffer(GL_COLOR_ATTACHMENT0));
    TRY(glInvalidateFramebuffer(GL_FRAMEBUFFER, 1, attachments));
    TRY(glInvalidateFramebuffer(GL_FRAMEBUFFER, -1, attachments));
    TRY(glFramebufferParameteri(GL_FRAMEBUFFER, GL_FRAMEBUFFER_DEFAULT_WIDTH, 4));
    glGenFramebuffers(1, &frame);
    glGenRenderbuffers(1, &render);
    glBindFramebuffer(GL_FRAMEBUFFER, frame);
    glBindRenderbuffer(GL_RENDERBUFFER, render);
    TRY(glRenderbufferStorage(nothing, GL_RGBA8, 4, 4));
    TRY(glRenderbufferStorage(GL_RENDERBUFFER, nothing, 4, 4));
    TRY(glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, -4, 4));
    TRY(glRenderbufferStorageMultisample(GL_RENDERBUFFER, -1, GL_RGBA8, 4, 4));
    TRY(glRenderbufferStorageMultisample(GL_RENDERBUFFER, 1000, GL_RGBA8, 4, 4));
    TRY(glGetRenderbufferParameteriv(GL_RENDERBUFFER, nothing, &value));
    TRY(glFramebufferRenderbuffer(nothing, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, render));
    TRY(glFramebufferRenderbuffer(GL_FRAMEBUFFER, nothing, GL_RENDERBUFFER, render));
    TRY(glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, nothing, render));
    TRY(glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, stranger));
    TRY(glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, stranger, 0));
    TRY(glFramebufferTextureLayer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, stranger, 0, 0));
    TRY(glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, nothing, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE,
                                              &value));
    TRY(glGetFramebufferParameteriv(GL_FRAMEBUFFER, nothing, &value));
    TRY(glFramebufferParameteri(GL_FRAMEBUFFER, GL_FRAMEBUFFER_DEFAULT_WIDTH, -1));
    TRY(glDrawBuffers(-1, attachments));
    TRY(glDrawBuffers(2, attachments));
    TRY(glDrawBuffers(1, wrong));
    TRY(glReadBuffer(nothing));
    TRY(glClear(GL_COLOR_BUFFER_BIT)); /* not complete */
    TRY(glDrawArrays(GL_TRIANGLES, 0, 3));
    unsigned char pixels[64];
    TRY(glReadPixels(0, 0, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixels));
    TRY(glBlitFramebuffer(0, 0, 1, 1, 0, 0, 1, 1, GL_COLOR_BUFFER_BIT, GL_NEAREST));
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, 4, 4);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, render);
    TRY(glBlitFramebuffer(0, 0, 1, 1, 0, 0, 1, 1, 0x80000000u, GL_NEAREST));
    TRY(glBlitFramebuffer(0, 0, 1, 1, 0, 0, 1, 1, GL_COLOR_BUFFER_BIT, nothing));
    TRY(glInvalidateSubFramebuffer(GL_FRAMEBUFFER, 1, attachments, 0, 0, -1, 1));
    TRY(glIsFramebuffer(stranger));
    TRY(glIsRenderbuffer(stranger));
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &frame);
    glDeleteRenderbuffers(1, &render);
}

int main(void)
{
    EGLDisplay display = open_display();
    EGLConfig config = choose_config(display);
    EGLSurface surface = make_window(display, config);
    EGLContext context = make_context(display, config, 3);
    check(eglMakeCurrent(display, surface, surface, context), "eglMakeCurrent");
    const GLuint program = linked_program();
    check_gl("the start");
    state();
    questions();
    buffers();
    vertices();
    draws(program);
    shaders(program);
    programs(program);
    uniforms(program);
    pipelines(program);
    feedback(program);
    queries_and_fences();
    textures();
    framebuffers();
    fprintf(stderr, "right again\n");
    glDeleteProgram(program);
    check_gl("the end");
    check(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT), "eglMakeCurrent");
    check(eglDestroyContext(display, context), "eglDestroyContext");
    check(eglDestroySurface(display, surface), "eglDestroySurface");
    eglTerminate(display);
    return 0;
}
