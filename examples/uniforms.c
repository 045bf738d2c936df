/* Sets uniforms in arrays, structs and blocks, in part and as a whole, reads all of it back and draws what
 * the shaders make of it. Prints a checksum of each subject. uniforms [--frames N] */

#include "report.h"
#include "shading.h"

#include <stdio.h>
#include <string.h>

static struct size size;

/* One triangle over the whole window. */
#define WHOLE_WINDOW                                                                                         \
    "gl_Position = vec4(gl_VertexID == 1 ? 3.0 : -1.0, gl_VertexID == 2 ? 3.0 : -1.0, 0.0, 1.0);\n"

static void draw_picture(void)
{
    glClear(GL_COLOR_BUFFER_BIT);
    glDrawArrays(GL_TRIANGLES, 0, 3);
    add_picture(size);
}

static void add_floats(GLuint program, const char* name)
{
    GLfloat values[16] = {0};
    glGetUniformfv(program, uniform_at(program, name), values);
    add_text(name);
    add_bytes(values, sizeof values);
}

static void add_integers(GLuint program, const char* name)
{
    GLint values[4] = {0};
    glGetUniformiv(program, uniform_at(program, name), values);
    add_text(name);
    add_bytes(values, sizeof values);
}

static void add_naturals(GLuint program, const char* name)
{
    GLuint values[4] = {0};
    glGetUniformuiv(program, uniform_at(program, name), values);
    add_text(name);
    add_bytes(values, sizeof values);
}

/* Every scalar and vector type, as an array of three, set whole, from the second element, beyond the end, by
 * single values. */

static const char arrays_vertex[] =
    "#version 300 es\n"
    "uniform float f1[3]; uniform vec2 f2[3]; uniform vec3 f3[3]; uniform vec4 f4[3];\n"
    "uniform int i1[3]; uniform ivec2 i2[3]; uniform ivec3 i3[3]; uniform ivec4 i4[3];\n"
    "uniform uint u1[3]; uniform uvec2 u2[3]; uniform uvec3 u3[3]; uniform uvec4 u4[3];\n"
    "uniform bool b1[3]; uniform bvec2 b2[3]; uniform bvec3 b3[3]; uniform bvec4 b4[3];\n"
    "flat out vec4 floats; flat out ivec4 ints; flat out uvec4 naturals; flat out ivec4 truths;\n"
    "void main() {\n"
    "  floats = vec4(f1[0], f2[0], 0.0) + f4[0]; ints = ivec4(i1[0], i2[0], 0) + i4[0];\n"
    "  floats.xyz += f3[0]; ints.xyz += i3[0];\n"
    "  naturals = uvec4(u1[0], u2[0], 0u) + u4[0]; naturals.xyz += u3[0]; truths = ivec4(0);\n"
    "  for (int i = 0; i < 3; ++i) {\n"
    "    floats = floats * 1.5 + vec4(f1[i], f2[i], f3[i].z) + f4[i]; ints = ints * 3 + ivec4(i1[i], i2[i], "
    "i3[i].z) + i4[i];\n"
    "    naturals = naturals * 3u + uvec4(u1[i], u2[i], u3[i].z) + u4[i];\n"
    "    truths = truths * 2 + ivec4(b4[i]) + ivec4(b1[i], b2[i], b3[i].z); }\n" WHOLE_WINDOW "}\n";
static const char arrays_fragment[] =
    "#version 300 es\nprecision highp float; precision highp int;\n"
    "flat in vec4 floats; flat in ivec4 ints; flat in uvec4 naturals; flat in ivec4 truths; out vec4 "
    "result;\n"
    "void main() { int quarter = int(gl_FragCoord.x) / 8 % 4;\n"
    "  result = quarter == 0 ? fract(floats * 0.37) : quarter == 1 ? vec4((ints ^ (ints >> 5)) & 255) / "
    "255.0\n"
    "    : quarter == 2 ? vec4((naturals ^ (naturals >> 7)) & 255u) / 255.0 : vec4(truths) / 15.0; }\n";

static void set_whole(const char* type, int components, GLint at, GLsizei count)
{
    static const GLfloat f[] = {0.5f, 1.25f, -3.5f, 8.0f, 0.1f, -0.2f, 7.75f, 2.0f, 1e-3f, 6.5f, -1.0f, 4.5f};
    static const GLint i[] = {-7, 100000, 3, -1, 12, 0, 77, -5000, 1, 9, 2147483647, -2147483647 - 1};
    static const GLuint u[] = {7, 4000000000u, 3, 1, 0, 12, 77, 5000, 1, 9, 2147483647, 4294967295u};
    typedef void (*setter_f)(GLint, GLsizei, const GLfloat*);
    typedef void (*setter_i)(GLint, GLsizei, const GLint*);
    typedef void (*setter_u)(GLint, GLsizei, const GLuint*);
    static const setter_f setters_f[] = {glUniform1fv, glUniform2fv, glUniform3fv, glUniform4fv};
    static const setter_i setters_i[] = {glUniform1iv, glUniform2iv, glUniform3iv, glUniform4iv};
    static const setter_u setters_u[] = {glUniform1uiv, glUniform2uiv, glUniform3uiv, glUniform4uiv};
    switch (*type) {
    case 'f':
        setters_f[components - 1](at, count, f);
        break;
    case 'u':
        setters_u[components - 1](at, count, u);
        break;
    default: /* i and b */
        setters_i[components - 1](at, count, i);
    }
}

static void set_single(GLuint p)
{
    glUniform1f(uniform_at(p, "f1[2]"), 0.375f);
    glUniform2f(uniform_at(p, "f2[1]"), -0.5f, 12.0f);
    glUniform3f(uniform_at(p, "f3[2]"), 1.0f, 2.0f, 3.0f);
    glUniform4f(uniform_at(p, "f4[0]"), 4.0f, 3.0f, 2.0f, 1.0f);
    glUniform1i(uniform_at(p, "i1[1]"), -70000);
    glUniform2i(uniform_at(p, "i2[2]"), 5, -6);
    glUniform3i(uniform_at(p, "i3[0]"), 1, 0, -1);
    glUniform4i(uniform_at(p, "i4[1]"), 9, 8, 7, 6);
    glUniform1ui(uniform_at(p, "u1[2]"), 3000000000u);
    glUniform2ui(uniform_at(p, "u2[0]"), 1, 2);
    glUniform3ui(uniform_at(p, "u3[1]"), 3, 2, 1);
    glUniform4ui(uniform_at(p, "u4[2]"), 11, 12, 13, 14);
    glUniform1f(uniform_at(p, "b1[0]"), 0.25f); /* true by any type */
    glUniform2ui(uniform_at(p, "b2[1]"), 0, 8);
    glUniform3f(uniform_at(p, "b3[2]"), 0.0f, -0.0f, 3.0f);
    glUniform4i(uniform_at(p, "b4[1]"), 0, 1, 256, 0);
}

static void check_arrays(void)
{
    static const char types[] = "fiub";
    const GLuint program = make_program(arrays_vertex, arrays_fragment);
    begin_sum();
    draw_picture(); /* all zeros */
    end_sum("unset");
    for (const char* type = types; *type; ++type) {
        begin_sum();
        for (int components = 1; components <= 4; ++components) {
            const char name[] = {*type, (char)('0' + components), 0};
            char second[8], third[8];
            snprintf(second, sizeof second, "%s[1]", name);
            snprintf(third, sizeof third, "%s[2]", name);
            const GLint at = uniform_at(program, name);
            set_whole(type, components, at, 3);
            draw_picture();
            set_whole(type, components, uniform_at(program, second), 1); /* one in the middle */
            draw_picture();
            set_whole(type, components, uniform_at(program, third), 3); /* what is too much is left out */
            set_whole(type, components, at, 0);
            draw_picture();
            for (int i = 0; i < 3; ++i) {
                const char* const element = i == 0 ? name : i == 1 ? second : third;
                add_floats(program, element); /* also what was set as another type */
                add_integers(program, element);
                if (*type != 'f')
                    add_naturals(program, element);
            }
        }
        const char subject[] = {'a', 'r', 'r', 'a', 'y', 's', ' ', *type, 0};
        end_sum(subject);
    }
    begin_sum();
    set_single(program);
    draw_picture();
    end_sum("single values");
    glDeleteProgram(program);
}

/* Arrays of matrices and structs that hold arrays. */

static const char structs_fragment[] =
    "#version 300 es\nprecision highp float;\n"
    "struct inner { vec3 at; float weight[2]; };\n"
    "struct outer { mat3x2 turn; inner parts[2]; ivec2 cell; bool on; };\n"
    "uniform outer things[2]; uniform inner alone; uniform outer last;\n"
    "uniform mat2 m2[2]; uniform mat3 m3[2]; uniform mat4 m4[2];\n"
    "uniform mat2x3 m23[2]; uniform mat3x4 m34[2]; uniform mat4x2 m42[2];\n"
    "out vec4 result;\n"
    "vec4 show(outer o) { vec2 t = o.turn * o.parts[0].at * o.parts[1].weight[1];\n"
    "  return vec4(t, o.parts[1].at.z * o.parts[0].weight[0], o.on ? 1.0 : 0.5) + vec4(o.cell, 0, 0); }\n"
    "void main() { int part = int(gl_FragCoord.y) / 6 % 4; vec4 one = vec4(1.0, 2.0, 3.0, 4.0);\n"
    "  vec4 sum = part == 0 ? show(things[0]) : part == 1 ? show(things[1]) + show(last)\n"
    "    : part == 2 ? vec4(alone.at, alone.weight[1]) + m4[1] * one + vec4(m23[1] * one.xy, 0.0)\n"
    "    : vec4(m2[0] * m2[1] * one.xy, m42[1] * one) + vec4(m3[1] * one.zyx, 1.0) + m34[1] * one.xyz;\n"
    "  result = fract(sum * 0.1 + gl_FragCoord.x / 512.0); }\n";
static const char plain_vertex[] = "#version 300 es\nvoid main() { " WHOLE_WINDOW "}\n";

static void check_structs(void)
{
    const GLuint p = make_program(plain_vertex, structs_fragment);
    GLfloat values[64];
    for (int i = 0; i < 64; ++i)
        values[i] = (GLfloat)(i * 13 % 29) * 0.25f - 2.5f;
    begin_sum();
    glUniformMatrix3x2fv(uniform_at(p, "things[0].turn"), 1, GL_FALSE, values);
    glUniformMatrix3x2fv(uniform_at(p, "things[1].turn"), 1, GL_TRUE, values + 5);
    glUniform3fv(uniform_at(p, "things[1].parts[0].at"), 1, values + 3);
    glUniform3fv(uniform_at(p, "things[0].parts[1].at"), 1, values + 9);
    glUniform1fv(uniform_at(p, "things[1].parts[1].weight"), 2, values + 20);
    glUniform1f(uniform_at(p, "things[0].parts[0].weight[0]"), 0.75f);
    glUniform1fv(uniform_at(p, "things[0].parts[1].weight[1]"), 5, values + 7);
    glUniform2i(uniform_at(p, "things[1].cell"), -3, 4);
    glUniform1i(uniform_at(p, "last.on"), 1);
    glUniform3f(uniform_at(p, "last.parts[1].at"), 0.1f, 0.2f, 0.3f);
    glUniform3f(uniform_at(p, "alone.at"), 0.4f, 0.5f, 0.6f);
    glUniform1fv(uniform_at(p, "alone.weight[0]"), 2, values + 30);
    draw_picture();
    add_floats(p, "things[1].turn");
    add_floats(p, "things[1].parts[1].weight[1]");
    add_integers(p, "things[1].cell");
    add_integers(p, "last.on");
    add_floats(p, "alone.weight[1]");
    check(glGetUniformLocation(p, "things") == -1 && glGetUniformLocation(p, "things[0]") == -1 &&
              glGetUniformLocation(p, "things[2].cell") == -1 && glGetUniformLocation(p, "alone.") == -1 &&
              glGetUniformLocation(p, "alone.weight[2]") == -1 && glGetUniformLocation(p, "") == -1,
          "names that are no uniforms");
    end_sum("structs");

    begin_sum();
    for (int transposed = 0; transposed <= 1; ++transposed) {
        glUniformMatrix2fv(uniform_at(p, "m2"), 2, (GLboolean)transposed, values);
        glUniformMatrix3fv(uniform_at(p, "m3"), 2, (GLboolean)transposed, values + 8);
        glUniformMatrix4fv(uniform_at(p, "m4"), 2, (GLboolean)transposed, values + 16);
        glUniformMatrix2x3fv(uniform_at(p, "m23"), 2, (GLboolean)transposed, values + 24);
        glUniformMatrix3x4fv(uniform_at(p, "m34"), 2, (GLboolean)transposed, values + 32);
        glUniformMatrix4x2fv(uniform_at(p, "m42[1]"), 2, (GLboolean)transposed, values + 40);
        draw_picture();
        static const char* const names[] = {"m2[0]", "m2[1]", "m3[1]", "m4[1]", "m23[1]", "m34[1]", "m42[1]"};
        for (size_t i = 0; i < sizeof names / sizeof *names; ++i)
            add_floats(p, names[i]);
    }
    end_sum("arrays of matrices");
    WRONG(glUniform4fv(uniform_at(p, "m4"), 2, values), GL_INVALID_OPERATION);
    WRONG(glUniformMatrix3fv(uniform_at(p, "m4"), 1, GL_FALSE, values), GL_INVALID_OPERATION);
    WRONG(glUniform1fv(uniform_at(p, "last.on") + 1000, 1, values), GL_INVALID_OPERATION);
    WRONG(glUniform2fv(uniform_at(p, "last.on"), 1, values), GL_INVALID_OPERATION);
    WRONG(glUniform3iv(uniform_at(p, "alone.at"), 1, (const GLint[]){1, 2, 3}), GL_INVALID_OPERATION);
    WRONG(glUniform2fv(uniform_at(p, "alone.at"), 1, values), GL_INVALID_OPERATION);
    WRONG(glUniform3fv(uniform_at(p, "alone.at"), 2, values), GL_INVALID_OPERATION);
    WRONG(glGetUniformfv(p, -1, values), GL_INVALID_OPERATION);
    WRONG(glGetUniformfv(9999, 0, values), GL_INVALID_VALUE);
    begin_sum();
    draw_picture(); /* as before */
    end_sum("after wrong calls");
    glDeleteProgram(p);
}

/* Values belong to the program: they stay while another is in use, go at the next link, and can be set from
 * outside. */
static void check_programs(void)
{
    const char* const fragment =
        "#version 300 es\nprecision highp float; uniform vec4 tint[2]; out vec4 "
        "result;\nvoid main() { result = tint[0] + tint[1] * gl_FragCoord.x / 99.0; }\n";
    const GLuint programs[] = {make_program(plain_vertex, fragment), make_program(plain_vertex, fragment)};
    begin_sum();
    for (int i = 0; i < 2; ++i) {
        glUseProgram(programs[i]);
        glUniform4f(uniform_at(programs[i], "tint"), 0.25f * (GLfloat)i, 0.5f, 0.0f, 1.0f);
        glProgramUniform4f(programs[1 - i], uniform_at(programs[1 - i], "tint[1]"), 0.1f, 0.2f,
                           0.3f * (GLfloat)i, 0.0f);
    }
    for (int i = 0; i < 2; ++i) {
        glUseProgram(programs[i]);
        draw_picture();
    }
    glLinkProgram(programs[1]);
    draw_picture(); /* zeros again */
    add_floats(programs[1], "tint");
    glUniform4f(uniform_at(programs[1], "tint"), 0.6f, 0.5f, 0.4f, 1.0f);
    draw_picture();
    glUseProgram(programs[0]);
    draw_picture();
    end_sum("values of programs");
    WRONG(glProgramUniform4f(programs[0], 7777, 0, 0, 0, 0), GL_INVALID_OPERATION);
    WRONG(glProgramUniform1f(8888, 0, 0), GL_INVALID_VALUE);
    glDeleteProgram(programs[0]);
    glDeleteProgram(programs[1]);
}

/* Blocks: the layout that everybody knows, an array of blocks, one that the driver lays out. */

static const char blocks_fragment[] =
    "#version 300 es\nprecision highp float; precision highp int;\n"
    "layout(std140) uniform known { float a; vec3 b; mat3 c; int d[3]; bool e; vec2 f[2]; uvec3 g; };\n"
    "layout(std140, row_major) uniform named { mat2x3 turn; vec4 tint; } others[2];\n"
    "uniform loose { vec3 first; float second; mat2 third[2]; };\n"
    "out vec4 result;\n"
    "void main() { int part = int(gl_FragCoord.x) / 8 % 4;\n"
    "  result = part == 0 ? vec4(c * b, a) + vec4(f[1], float(d[2]), e ? 1.0 : 0.0)\n"
    "    : part == 1 ? vec4(others[0].turn * vec2(1.0, 2.0), 1.0) + others[0].tint\n"
    "    : part == 2 ? vec4(others[1].turn * vec2(2.0, 1.0), 1.0) * others[1].tint + vec4(g, 1u) / 16.0\n"
    "    : vec4(first, second) + vec4(third[1] * first.xy, third[0][1]);\n"
    "  result = fract(result * 0.25); }\n";

static void add_members(GLuint p)
{
    static const GLenum questions[] = {
        GL_UNIFORM_TYPE,         GL_UNIFORM_SIZE,          GL_UNIFORM_NAME_LENGTH, GL_UNIFORM_OFFSET,
        GL_UNIFORM_ARRAY_STRIDE, GL_UNIFORM_MATRIX_STRIDE, GL_UNIFORM_IS_ROW_MAJOR};
    static const char* const names[] = {"a", "b", "c",          "d[0]",       "e",
                                        "f", "g", "named.turn", "named.tint", "first"};
    GLuint indices[10];
    GLint values[10];
    glGetUniformIndices(p, 10, names, indices);
    for (size_t i = 0; i < sizeof questions / sizeof *questions; ++i) {
        memset(values, 0, sizeof values);
        glGetActiveUniformsiv(p, 10, indices, questions[i], values);
        add_bytes(values, sizeof values);
    }
    for (int i = 0; i < 10; ++i) {
        char name[24] = "";
        GLsizei length = 0;
        GLint count = 0;
        GLenum type = 0;
        glGetActiveUniform(p, indices[i], sizeof name, &length, &count, &type, name);
        add_text(name);
        add_number(count);
        add_number((GLint)type);
        add_number(glGetUniformLocation(p, name)); /* none has a location */
    }
}

static void add_blocks(GLuint p)
{
    GLint count = 0;
    glGetProgramiv(p, GL_ACTIVE_UNIFORM_BLOCKS, &count);
    add_number(count);
    GLint longest = 0;
    glGetProgramiv(p, GL_ACTIVE_UNIFORM_BLOCK_MAX_NAME_LENGTH, &longest);
    add_number(longest);
    static const GLenum questions[] = {GL_UNIFORM_BLOCK_BINDING,
                                       GL_UNIFORM_BLOCK_DATA_SIZE,
                                       GL_UNIFORM_BLOCK_NAME_LENGTH,
                                       GL_UNIFORM_BLOCK_ACTIVE_UNIFORMS,
                                       GL_UNIFORM_BLOCK_REFERENCED_BY_VERTEX_SHADER,
                                       GL_UNIFORM_BLOCK_REFERENCED_BY_FRAGMENT_SHADER};
    for (GLuint block = 0; block < (GLuint)count; ++block) {
        char name[16] = "";
        glGetActiveUniformBlockName(p, block, sizeof name, NULL, name);
        add_text(name);
        check(glGetUniformBlockIndex(p, name) == block, name);
        for (size_t i = 0; i < sizeof questions / sizeof *questions; ++i) {
            GLint value = 0;
            glGetActiveUniformBlockiv(p, block, questions[i], &value);
            add_number(value);
        }
        GLint members[16] = {0};
        glGetActiveUniformBlockiv(p, block, GL_UNIFORM_BLOCK_ACTIVE_UNIFORM_INDICES, members);
        add_bytes(members, sizeof members);
    }
}

static void fill_block(GLuint p, const char* name, GLuint binding, GLuint buffer, GLintptr offset, int step)
{
    const GLuint block = glGetUniformBlockIndex(p, name);
    check(block != GL_INVALID_INDEX, name);
    glUniformBlockBinding(p, block, binding);
    GLint bytes = 0;
    glGetActiveUniformBlockiv(p, block, GL_UNIFORM_BLOCK_DATA_SIZE, &bytes);
    GLfloat values[128];
    check((size_t)bytes <= sizeof values, "the size of a block");
    for (int i = 0; i < bytes / 4; ++i)
        values[i] = (GLfloat)(i * step % 11) * 0.5f;
    glBindBuffer(GL_UNIFORM_BUFFER, buffer);
    glBufferSubData(GL_UNIFORM_BUFFER, offset, bytes, values);
    glBindBufferRange(GL_UNIFORM_BUFFER, binding, buffer, offset, bytes);
}

static void check_blocks(void)
{
    const GLuint p = make_program(plain_vertex, blocks_fragment);
    begin_sum();
    add_members(p);
    end_sum("members of blocks");
    begin_sum();
    add_blocks(p);
    end_sum("blocks");
    GLuint buffers[2] = {0};
    glGenBuffers(2, buffers);
    for (int i = 0; i < 2; ++i) {
        glBindBuffer(GL_UNIFORM_BUFFER, buffers[i]);
        glBufferData(GL_UNIFORM_BUFFER, 4096, NULL, GL_DYNAMIC_DRAW);
    }
    begin_sum();
    fill_block(p, "known", 5, buffers[0], 0, 3);
    fill_block(p, "named[0]", 1, buffers[0], 1024, 5);
    fill_block(p, "named[1]", 2, buffers[1], 2048, 7);
    fill_block(p, "loose", 0, buffers[1], 0, 2);
    draw_picture();
    glUniformBlockBinding(p, glGetUniformBlockIndex(p, "named[1]"), 1); /* two blocks on one buffer */
    glBindBuffer(GL_UNIFORM_BUFFER, buffers[0]);
    glBufferSubData(GL_UNIFORM_BUFFER, 48, 16, (const GLfloat[]){1.5f, 2.5f, 3.5f, 4.5f});
    draw_picture();
    GLint bound = 0;
    glGetIntegeri_v(GL_UNIFORM_BUFFER_BINDING, 2, &bound);
    check((GLuint)bound == buffers[1], "an indexed binding");
    GLint64 start = -1;
    glGetInteger64i_v(GL_UNIFORM_BUFFER_START, 2, &start);
    check(start == 2048, "the start of an indexed binding");
    add_blocks(p);
    end_sum("filled blocks");
    WRONG(glUniformBlockBinding(p, 99, 0), GL_INVALID_VALUE);
    WRONG(glUniformBlockBinding(p, 0, 1000000), GL_INVALID_VALUE);
    WRONG(glBindBufferRange(GL_UNIFORM_BUFFER, 0, buffers[0], 0, 0), GL_INVALID_VALUE);
    WRONG(glGetActiveUniformBlockiv(p, 0, GL_UNIFORM_TYPE, &bound), GL_INVALID_ENUM);
    glDeleteBuffers(2, buffers);
    glDeleteProgram(p);
}

/* Locations that the shader chose. */
static void check_locations(void)
{
    const GLuint p = make_program(
        "#version 310 es\nlayout(location = 12) uniform vec2 move; void main() { " WHOLE_WINDOW
        "  gl_Position.xy += move; }\n",
        "#version 310 es\nprecision highp float; layout(location = 3) uniform vec4 tints[3];\n"
        "layout(location = 0) out vec4 result; void main() { result = tints[int(gl_FragCoord.x) % 3]; }\n");
    begin_sum();
    check(uniform_at(p, "move") == 12 && uniform_at(p, "tints[2]") == 5, "the shader's locations");
    glUniform2f(12, 0.25f, -0.5f);
    glUniform4fv(4, 2, (const GLfloat[]){0.1f, 0.2f, 0.3f, 0.4f, 0.5f, 0.6f, 0.7f, 0.8f});
    draw_picture();
    static const GLenum wanted[] = {GL_LOCATION, GL_ARRAY_SIZE, GL_REFERENCED_BY_VERTEX_SHADER};
    GLint values[3] = {0};
    glGetProgramResourceiv(p, GL_UNIFORM, glGetProgramResourceIndex(p, GL_UNIFORM, "tints"), 3, wanted, 3,
                           NULL, values);
    add_bytes(values, sizeof values);
    end_sum("chosen locations");
    glDeleteProgram(p);
}

int main(int count, char** arguments)
{
    const int frames = number_option(count, arguments, "--frames", 2);
    const struct window window = open_window(3);
    size = window.size;
    for (int frame = 0; frame < frames; ++frame) {
        glClearColor(0.0f, (float)frame / (float)frames, 0.0f, 1.0f);
        check_arrays();
        check_structs();
        check_programs();
        check_blocks();
        check_locations();
        check(eglSwapBuffers(window.display, window.surface), "eglSwapBuffers");
    }
    close_window(window);
    return 0;
}
