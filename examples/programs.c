/* Compiles and links programs in every way that OpenGL ES 3.1 has, sets uniforms of all types and shapes,
 * asks everything back and prints a checksum of each subject. programs [--frames N] */

#include "report.h"
#include "shading.h"

#include <GLES3/gl31.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static GLuint link_program(const char* vertex, const char* fragment)
{
    const GLuint vertex_shader = compile_shader(GL_VERTEX_SHADER, 1, &vertex, NULL);
    const GLuint fragment_shader = compile_shader(GL_FRAGMENT_SHADER, 1, &fragment, NULL);
    const GLuint program = glCreateProgram();
    check(program != 0, "glCreateProgram");
    glAttachShader(program, vertex_shader);
    glAttachShader(program, fragment_shader);
    glBindAttribLocation(program, 3, "position");
    glLinkProgram(program);
    GLint linked = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    check(linked, "glLinkProgram");
    GLuint shaders[4] = {0};
    GLsizei attached = 0;
    glGetAttachedShaders(program, 4, &attached, shaders);
    check(attached == 2 && shaders[0] == vertex_shader && shaders[1] == fragment_shader,
          "glGetAttachedShaders");
    glDeleteShader(vertex_shader);
    glDeleteShader(fragment_shader);
    check(glIsShader(vertex_shader), "a deleted shader that is attached");
    return program;
}

static const char uniforms_vertex[] =
    "#version 300 es\n"
    "in vec4 position; in mat3 shape;\n"
    "struct light { vec3 at; float power; };\n"
    "uniform light lights[2]; uniform float scalars[5]; uniform vec2 two; uniform vec3 three; uniform vec4 "
    "four;\n"
    "uniform int whole; uniform ivec2 whole2; uniform ivec3 whole3; uniform ivec4 whole4[2];\n"
    "uniform uint natural; uniform uvec2 natural2; uniform uvec3 natural3; uniform uvec4 natural4;\n"
    "uniform bool truth; uniform bvec3 truths;\n"
    "uniform mat2 m2; uniform mat3 m3; uniform mat4 m4; uniform mat2x3 m23; uniform mat3x2 m32; uniform "
    "mat2x4 m24;\n"
    "uniform mat4x2 m42; uniform mat3x4 m34; uniform mat4x3 m43;\n"
    "layout(std140) uniform block { vec4 offset; mat4 turn; };\n"
    "layout(std140) uniform other_block { vec4 more; } named;\n"
    "out vec4 colour;\n"
    "void main() {\n"
    "  float sum = scalars[0] + scalars[4] + two.x + three.y + float(whole + whole2.x + whole3.y + "
    "whole4[1].z)\n"
    "      + float(natural + natural2.x + natural3.y + natural4.z) + lights[0].power + lights[1].at.z;\n"
    "  if (truth && truths.y) sum += 1.0;\n"
    "  sum += m2[1].x + m3[1].x + m4[2].y + m23[1].z + m32[2].y + m24[1].w + m42[3].y + m34[2].w + "
    "m43[3].z;\n"
    "  colour = four + vec4(sum) + more_of(1.0);\n"
    "  gl_Position = turn * position + offset + vec4(shape[2], 0.0);\n"
    "}\n";

static const char uniforms_fragment[] = "#version 300 es\n"
                                        "precision highp float;\n"
                                        "uniform sampler2D pictures[2]; uniform samplerCube sky;\n"
                                        "in vec4 colour; layout(location = 0) out vec4 result;\n"
                                        "void main() { result = colour + texture(pictures[0], colour.xy)\n"
                                        "  + texture(pictures[1], colour.xy) + texture(sky, colour.xyz); }\n";

/* The vertex shader calls a function that stands in front of main. */
static char* whole_vertex_text(void)
{
    const char* const main_at = strstr(uniforms_vertex, "void main()");
    const char* const function = "vec4 more_of(float x) { return named.more * x; }\n";
    char* const text = malloc(sizeof uniforms_vertex + strlen(function));
    check(text != NULL, "malloc");
    sprintf(text, "%.*s%s%s", (int)(main_at - uniforms_vertex), uniforms_vertex, function, main_at);
    return text;
}

static void ask_active_variables(GLuint program)
{
    GLint count = 0;
    glGetProgramiv(program, GL_ACTIVE_UNIFORMS, &count);
    add_number(count);
    for (GLint i = 0; i < count; ++i) {
        char name[64] = "";
        GLsizei length = 0;
        GLint size = 0;
        GLenum type = 0;
        glGetActiveUniform(program, (GLuint)i, sizeof name, &length, &size, &type, name);
        check((size_t)length == strlen(name), "the length of a uniform's name");
        add_text(name);
        add_number(size);
        add_number((GLint)type);
        add_number(glGetUniformLocation(program, name));
    }
    glGetProgramiv(program, GL_ACTIVE_ATTRIBUTES, &count);
    add_number(count);
    for (GLint i = 0; i < count; ++i) {
        char name[64] = "";
        GLint size = 0;
        GLenum type = 0;
        glGetActiveAttrib(program, (GLuint)i, sizeof name, NULL, &size, &type, name);
        add_text(name);
        add_number(size);
        add_number((GLint)type);
        add_number(glGetAttribLocation(program, name));
    }
    check(glGetAttribLocation(program, "position") == 3, "the bound attribute location");
    check(glGetFragDataLocation(program, "result") == 0, "glGetFragDataLocation");
}

static void expect_floats(GLuint program, const char* name, const GLfloat* wanted, int count)
{
    GLfloat values[16] = {0};
    glGetUniformfv(program, uniform_at(program, name), values);
    check(memcmp(values, wanted, (size_t)count * sizeof *values) == 0, name);
    add_bytes(values, (size_t)count * sizeof *values);
}

static void set_numbers(GLuint p)
{
    const GLfloat f[] = {1.5f, -2.0f, 3.25f, 4.0f, 5.0f, 6.0f, 7.0f, 8.0f};
    const GLint i[] = {-1, 2, -3, 4, 5, 6, 7, -8};
    const GLuint u[] = {1, 0xffffffffu, 3, 4};
    glUniform1fv(uniform_at(p, "scalars"), 5, f);
    expect_floats(p, "scalars[3]", f + 3, 1);
    glUniform1f(uniform_at(p, "scalars[2]"), 9.0f);
    expect_floats(p, "scalars[2]", (const GLfloat[]){9.0f}, 1);
    glUniform2f(uniform_at(p, "two"), f[0], f[1]);
    expect_floats(p, "two", f, 2);
    glUniform3fv(uniform_at(p, "three"), 1, f);
    expect_floats(p, "three", f, 3);
    glUniform4f(uniform_at(p, "four"), f[4], f[5], f[6], f[7]);
    expect_floats(p, "four", f + 4, 4);
    glUniform3f(uniform_at(p, "lights[1].at"), f[2], f[1], f[0]);
    expect_floats(p, "lights[1].at", (const GLfloat[]){f[2], f[1], f[0]}, 3);
    glUniform1f(uniform_at(p, "lights[0].power"), f[7]);
    expect_floats(p, "lights[0].power", f + 7, 1);
    glUniform1i(uniform_at(p, "whole"), i[0]);
    glUniform2iv(uniform_at(p, "whole2"), 1, i);
    glUniform3i(uniform_at(p, "whole3"), i[2], i[1], i[0]);
    glUniform4iv(uniform_at(p, "whole4"), 2, i);
    GLint got[4] = {0};
    glGetUniformiv(p, uniform_at(p, "whole4[1]"), got);
    check(memcmp(got, i + 4, sizeof got) == 0, "glUniform4iv");
    glUniform1ui(uniform_at(p, "natural"), u[1]);
    glUniform2ui(uniform_at(p, "natural2"), u[0], u[1]);
    glUniform3uiv(uniform_at(p, "natural3"), 1, u);
    glUniform4uiv(uniform_at(p, "natural4"), 1, u);
    GLuint naturals[4] = {0};
    glGetUniformuiv(p, uniform_at(p, "natural4"), naturals);
    check(memcmp(naturals, u, sizeof u) == 0, "glUniform4uiv");
    glUniform1i(uniform_at(p, "truth"), 7);
    glUniform3i(uniform_at(p, "truths"), 0, 1, 0);
    glGetUniformiv(p, uniform_at(p, "truth"), got);
    check(got[0] == 1, "a bool uniform");
    glUniform1iv(uniform_at(p, "pictures"), 2, (const GLint[]){4, 5});
    glUniform1i(uniform_at(p, "sky"), 6);
    glGetUniformiv(p, uniform_at(p, "pictures[1]"), got);
    check(got[0] == 5, "a sampler uniform");
    glUniform1f(-1, 1.0f);
    end_sum("uniform numbers");
    WRONG(glUniform1f(12345, 1.0f), GL_INVALID_OPERATION);
    WRONG(glUniform1fv(uniform_at(p, "scalars"), -1, f), GL_INVALID_VALUE);
    WRONG(glUniform1i(uniform_at(p, "two"), 1), GL_INVALID_OPERATION);
}

static void transpose(const GLfloat* from, GLfloat* to, int columns, int rows)
{
    for (int c = 0; c < columns; ++c)
        for (int r = 0; r < rows; ++r)
            to[c * rows + r] = from[r * columns + c];
}

static void set_matrices(GLuint p)
{
    typedef void (*setter)(GLint, GLsizei, GLboolean, const GLfloat*);
    const struct
    {
        const char* name;
        setter set;
        int columns, rows;
    } shapes[] = {
        {"m2", glUniformMatrix2fv, 2, 2},    {"m3", glUniformMatrix3fv, 3, 3},
        {"m4", glUniformMatrix4fv, 4, 4},    {"m23", glUniformMatrix2x3fv, 2, 3},
        {"m32", glUniformMatrix3x2fv, 3, 2}, {"m24", glUniformMatrix2x4fv, 2, 4},
        {"m42", glUniformMatrix4x2fv, 4, 2}, {"m34", glUniformMatrix3x4fv, 3, 4},
        {"m43", glUniformMatrix4x3fv, 4, 3},
    };
    GLfloat values[16];
    for (int i = 0; i < 16; ++i)
        values[i] = (GLfloat)i * 0.75f - 4.0f;
    begin_sum();
    for (size_t i = 0; i < sizeof shapes / sizeof *shapes; ++i) {
        const int scalars = shapes[i].columns * shapes[i].rows;
        GLfloat turned[16];
        shapes[i].set(uniform_at(p, shapes[i].name), 1, GL_FALSE, values);
        expect_floats(p, shapes[i].name, values, scalars);
        shapes[i].set(uniform_at(p, shapes[i].name), 1, GL_TRUE, values);
        transpose(values, turned, shapes[i].columns, shapes[i].rows);
        expect_floats(p, shapes[i].name, turned, scalars);
    }
    end_sum("uniform matrices");
}

static void ask_blocks(GLuint p)
{
    begin_sum();
    const GLuint index = glGetUniformBlockIndex(p, "block");
    check(index != GL_INVALID_INDEX && glGetUniformBlockIndex(p, "none") == GL_INVALID_INDEX,
          "block indices");
    char name[16] = "";
    glGetActiveUniformBlockName(p, index, sizeof name, NULL, name);
    check(strcmp(name, "block") == 0, "the name of a block");
    GLint members = 0;
    GLint member_indices[8] = {0};
    GLint size = 0;
    GLint binding = 0;
    glGetActiveUniformBlockiv(p, index, GL_UNIFORM_BLOCK_ACTIVE_UNIFORMS, &members);
    check(members == 2, "the members of a block");
    glGetActiveUniformBlockiv(p, index, GL_UNIFORM_BLOCK_ACTIVE_UNIFORM_INDICES, member_indices);
    glGetActiveUniformBlockiv(p, index, GL_UNIFORM_BLOCK_DATA_SIZE, &size);
    check(size == 80, "the size of a block");
    glUniformBlockBinding(p, index, 3);
    glGetActiveUniformBlockiv(p, index, GL_UNIFORM_BLOCK_BINDING, &binding);
    check(binding == 3, "glUniformBlockBinding");
    const char* const names[] = {"turn", "offset", "nothing", "four"};
    GLuint indices[4] = {0};
    glGetUniformIndices(p, 4, names, indices);
    check(indices[2] == GL_INVALID_INDEX && indices[0] != GL_INVALID_INDEX, "glGetUniformIndices");
    GLint offsets[2] = {0};
    glGetActiveUniformsiv(p, 2, indices, GL_UNIFORM_OFFSET, offsets);
    check(offsets[0] == 16 && offsets[1] == 0, "the offsets of members");
    add_bytes(indices, sizeof indices);
    add_bytes(member_indices, sizeof *member_indices * 2);
    end_sum("uniform blocks");
}

static void ask_resources(GLuint p)
{
    begin_sum();
    GLint active = 0;
    glGetProgramInterfaceiv(p, GL_UNIFORM, GL_ACTIVE_RESOURCES, &active);
    add_number(active);
    const GLuint index = glGetProgramResourceIndex(p, GL_UNIFORM, "m34");
    check(index != GL_INVALID_INDEX, "glGetProgramResourceIndex");
    char name[32] = "";
    glGetProgramResourceName(p, GL_UNIFORM, index, sizeof name, NULL, name);
    check(strcmp(name, "m34") == 0, "glGetProgramResourceName");
    const GLenum wanted[] = {GL_TYPE, GL_ARRAY_SIZE, GL_LOCATION, GL_NAME_LENGTH};
    GLint values[4] = {0};
    GLsizei written = 0;
    glGetProgramResourceiv(p, GL_UNIFORM, index, 4, wanted, 4, &written, values);
    check(written == 4 && values[0] == GL_FLOAT_MAT3x4 && values[2] == uniform_at(p, "m34"),
          "glGetProgramResourceiv");
    check(glGetProgramResourceLocation(p, GL_UNIFORM, "scalars[2]") == uniform_at(p, "scalars[2]"),
          "a resource's location");
    check(glGetProgramResourceLocation(p, GL_PROGRAM_INPUT, "position") == 3, "an input's location");
    add_number((GLint)index);
    add_bytes(values, sizeof values);
    end_sum("program resources");
}

static void check_uniforms(void)
{
    char* const vertex = whole_vertex_text();
    const GLuint program = link_program(vertex, uniforms_fragment);
    free(vertex);
    begin_sum();
    ask_active_variables(program);
    end_sum("active variables");
    glUseProgram(program);
    GLint in_use = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &in_use);
    check((GLuint)in_use == program, "GL_CURRENT_PROGRAM");
    begin_sum();
    set_numbers(program);
    set_matrices(program);
    ask_blocks(program);
    ask_resources(program);
    glDeleteProgram(program);
    check(glIsProgram(program), "a deleted program in use");
    glUseProgram(0);
    check(!glIsProgram(program), "a deleted program out of use");
    check_gl("deleting");
}

/* Text in pieces, comments and continuations, in the first version of the language. */
static void check_texts(void)
{
    begin_sum();
    const char* const pieces[] = {"/* a comment */ attribute vec4 posi//", "tion; // garbage behind",
                                  "\nuniform float a\\\n_name;\n",
                                  "void main() { gl_Position = position * a_name; }"};
    const GLint lengths[] = {35, 6, -1, -1};
    const GLuint vertex = compile_shader(GL_VERTEX_SHADER, 4, pieces, lengths);
    const char* const fragment_text = "precision mediump float;\nvoid main() { gl_FragColor = vec4(1.0); }";
    const GLuint fragment = compile_shader(GL_FRAGMENT_SHADER, 1, &fragment_text, NULL);
    const GLuint program = glCreateProgram();
    glAttachShader(program, vertex);
    glAttachShader(program, fragment);
    glLinkProgram(program);
    GLint linked = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    check(linked, "a program of many pieces");
    add_number(glGetUniformLocation(program, "a_name"));
    glValidateProgram(program);
    glDetachShader(program, vertex);
    GLint attached = 0;
    glGetProgramiv(program, GL_ATTACHED_SHADERS, &attached);
    check(attached == 1, "glDetachShader");
    glDeleteShader(vertex);
    glDeleteShader(fragment);
    glDeleteProgram(program);
    end_sum("shader texts");
}

static void check_failures(void)
{
    const char* const wrong = "#version 300 es\nvoid main() { gl_Position = nothing; }\n";
    const GLuint shader = glCreateShader(GL_VERTEX_SHADER);
    glShaderSource(shader, 1, &wrong, NULL);
    glCompileShader(shader);
    GLint status = 1;
    GLint length = 0;
    char log[2048] = "";
    GLsizei written = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
    glGetShaderiv(shader, GL_INFO_LOG_LENGTH, &length);
    glGetShaderInfoLog(shader, sizeof log, &written, log);
    check(!status && length == written + 1 && (size_t)written == strlen(log) && written > 0,
          "a compiler's log");
    begin_sum();
    add_text(log);
    char some[8] = "1234567";
    glGetShaderInfoLog(shader, 4, &written, some);
    check(written == 3 && some[3] == 0 && strcmp(some + 4, "567") == 0, "a log in a small room");
    const GLuint program = glCreateProgram();
    glAttachShader(program, shader);
    glLinkProgram(program);
    glGetProgramiv(program, GL_LINK_STATUS, &status);
    check(!status, "a link that must fail");
    check_gl("failures");
    WRONG(glUseProgram(program), GL_INVALID_OPERATION);
    WRONG(glUseProgram(shader), GL_INVALID_OPERATION);
    WRONG(glUseProgram(9999), GL_INVALID_VALUE);
    WRONG(glAttachShader(program, shader), GL_INVALID_OPERATION);
    WRONG(glShaderSource(shader, -1, &wrong, NULL), GL_INVALID_VALUE);
    WRONG(glCreateShader(GL_TEXTURE_2D), GL_INVALID_ENUM);
    WRONG(glGetProgramiv(program, GL_TEXTURE_2D, &status), GL_INVALID_ENUM);
    GLint range[2] = {0};
    GLint precision = -1;
    glGetShaderPrecisionFormat(GL_FRAGMENT_SHADER, GL_HIGH_FLOAT, range, &precision);
    add_bytes(range, sizeof range);
    add_number(precision);
    glReleaseShaderCompiler();
    glDeleteShader(shader);
    glDeleteProgram(program);
    end_sum("logs and errors");
}

static void check_varyings(void)
{
    begin_sum();
    const char* const vertex =
        "#version 300 es\nout vec2 a; out float b[3]; void main() { a = vec2(1.0); b[0] = 2.0;\n"
        "b[1] = b[2] = 3.0; gl_Position = vec4(0.0); }";
    const char* const fragment = "#version 300 es\nvoid main() {}";
    const char* const names[] = {"b", "a"};
    const GLuint program = glCreateProgram();
    const GLuint shaders[] = {compile_shader(GL_VERTEX_SHADER, 1, &vertex, NULL),
                              compile_shader(GL_FRAGMENT_SHADER, 1, &fragment, NULL)};
    glAttachShader(program, shaders[0]);
    glAttachShader(program, shaders[1]);
    glTransformFeedbackVaryings(program, 2, names, GL_INTERLEAVED_ATTRIBS);
    glProgramParameteri(program, GL_PROGRAM_BINARY_RETRIEVABLE_HINT, GL_TRUE);
    glLinkProgram(program);
    char name[8] = "";
    GLsizei length = 0;
    GLsizei size = 0;
    GLenum type = 0;
    glGetTransformFeedbackVarying(program, 0, sizeof name, &length, &size, &type, name);
    check(strcmp(name, "b") == 0 && size == 3 && type == GL_FLOAT, "a varying");
    add_number(length);
    glGetTransformFeedbackVarying(program, 1, sizeof name, &length, &size, &type, name);
    add_number(length);
    check(strcmp(name, "a") == 0 && size == 1 && type == GL_FLOAT_VEC2, "a varying");
    glDeleteShader(shaders[0]);
    glDeleteShader(shaders[1]);
    glDeleteProgram(program);
    end_sum("varyings");
}

static const char triangle_vertex[] =
    "#version 300 es\nin vec4 position; uniform float x; void main() { vec2 at = vec2(gl_VertexID & 1, "
    "gl_VertexID >> 1);\n  gl_Position = vec4(at * 1.6 - 0.8 + x, 0.0, 1.0) + 0.25 * position; }\n";
static const char tinted_fragment[] = "#version 300 es\nprecision highp float; uniform vec4 tint; out vec4 "
                                      "result;\nvoid main() { result = tint + gl_FragCoord / 400.0; }\n";

/* With the program's uniforms set, all of them. */
static void draw_triangle(GLuint program, struct size size)
{
    glUseProgram(program);
    glUniform1f(uniform_at(program, "x"), 0.125f);
    glUniform4f(uniform_at(program, "tint"), 0.25f, 0.5f, 0.125f, 1.0f);
    glVertexAttrib4f(3, 0.5f, -0.5f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glDrawArrays(GL_TRIANGLES, 0, 3);
    add_picture(size);
    glUseProgram(0);
}

static void check_separable(struct size size)
{
    begin_sum();
    const char* const vertex =
        "#version 310 es\nuniform float x;\n"
        "void main() { gl_Position = vec4(gl_VertexID == 1 ? x : -x, gl_VertexID == 2 ? x : -x, 0.0, 1.0); }";
    const char* const fragment[] = {"#version 310 es\nprecision highp float;\n",
                                    "uniform vec4 tint[2]; layout(location = 0) out vec4 result;\n",
                                    "void main() { result = tint[0] - tint[1]; }"};
    const GLuint v = glCreateShaderProgramv(GL_VERTEX_SHADER, 1, &vertex);
    const GLuint f = glCreateShaderProgramv(GL_FRAGMENT_SHADER, 3, fragment);
    GLint linked[2] = {0};
    glGetProgramiv(v, GL_LINK_STATUS, &linked[0]);
    glGetProgramiv(f, GL_LINK_STATUS, &linked[1]);
    check(v && f && linked[0] && linked[1], "glCreateShaderProgramv");
    const GLfloat tint[] = {1, 2, 3, 4, 5, 6, 7, 8};
    glProgramUniform4fv(f, uniform_at(f, "tint"), 2, tint);
    expect_floats(f, "tint[1]", tint + 4, 4);
    glProgramUniform1f(v, uniform_at(v, "x"), 0.5f);
    expect_floats(v, "x", (const GLfloat[]){0.5f}, 1);
    GLuint pipeline = 0;
    glGenProgramPipelines(1, &pipeline);
    check(pipeline != 0, "glGenProgramPipelines");
    glBindProgramPipeline(pipeline);
    check(glIsProgramPipeline(pipeline), "glIsProgramPipeline");
    glUseProgramStages(pipeline, GL_VERTEX_SHADER_BIT, v);
    glUseProgramStages(pipeline, GL_FRAGMENT_SHADER_BIT, f);
    glActiveShaderProgram(pipeline, f);
    glUniform4f(uniform_at(f, "tint"), 9, 8, 7, 6); /* means the pipeline's active program */
    expect_floats(f, "tint", (const GLfloat[]){9, 8, 7, 6}, 4);
    GLint value = 0;
    glGetProgramPipelineiv(pipeline, GL_VERTEX_SHADER, &value);
    check((GLuint)value == v, "the vertex program of a pipeline");
    glGetProgramPipelineiv(pipeline, GL_ACTIVE_PROGRAM, &value);
    check((GLuint)value == f, "the active program of a pipeline");
    glValidateProgramPipeline(pipeline);
    char log[256] = "";
    glGetProgramPipelineInfoLog(pipeline, sizeof log, NULL, log);
    glUniform4f(uniform_at(f, "tint"), 5.75f, 6.5f, 7.25f, 9.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glDrawArrays(GL_TRIANGLES, 0, 3);
    add_picture(size);
    glUseProgramStages(pipeline, GL_FRAGMENT_SHADER_BIT, 0);
    glGetProgramPipelineiv(pipeline, GL_FRAGMENT_SHADER, &value);
    check(value == 0, "a stage that was taken away");
    WRONG(glUseProgramStages(pipeline, GL_VERTEX_SHADER_BIT, 9999), GL_INVALID_VALUE);
    WRONG(glActiveShaderProgram(pipeline + 1, f), GL_INVALID_OPERATION);
    glBindProgramPipeline(0);
    glDeleteProgramPipelines(1, &pipeline);
    glDeleteProgram(v);
    glDeleteProgram(f);
    end_sum("separable programs");
}

/* What a driver gives out of a program makes another program; nothing may be written behind it. */
static void check_binary(struct size size)
{
    begin_sum();
    const GLuint program = link_program(triangle_vertex, tinted_fragment);
    GLint length = 0; /* a driver may have no formats at all; what is drawn is the same */
    glGetProgramiv(program, GL_PROGRAM_BINARY_LENGTH, &length);
    if (length > 0) {
        unsigned char* const binary = calloc((size_t)length + 1, 1);
        check(binary != NULL, "calloc");
        binary[length] = 0x5a;
        GLenum format = 0;
        GLsizei written = 0;
        WRONG(glGetProgramBinary(program, length - 1, &written, &format, binary), GL_INVALID_OPERATION);
        glGetProgramBinary(program, length, &written, &format, binary);
        check(written > 0 && written <= length && binary[length] == 0x5a, "glGetProgramBinary");
        const GLuint copy = glCreateProgram();
        glProgramBinary(copy, format, binary, written);
        GLint linked = 0;
        glGetProgramiv(copy, GL_LINK_STATUS, &linked);
        add_number(linked);
        GLint attached = -1;
        glGetProgramiv(copy, GL_ATTACHED_SHADERS, &attached);
        add_number(attached);
        draw_triangle(copy, size);
        glDeleteProgram(copy);
        free(binary);
    }
    draw_triangle(program, size);
    glDeleteProgram(program);
    end_sum("program binaries");
}

int main(int count, char** arguments)
{
    const int frames = number_option(count, arguments, "--frames", 2);
    const struct window window = open_window(3);
    const struct size size = window.size;
    check_texts();
    check_uniforms();
    check_failures();
    check_varyings();
    for (int frame = 0; frame < frames; ++frame) {
        glClearColor(0.0f, 0.5f, (float)frame / (float)frames, 1.0f);
        glClear(GL_COLOR_BUFFER_BIT);
        check(eglSwapBuffers(window.display, window.surface), "eglSwapBuffers");
    }
    check_separable(size);
    check_binary(size);
    close_window(window);
    return 0;
}
