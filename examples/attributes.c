/* Draws pictures with vertex attributes from every place: client memory, buffers, constants, at odd addresses
 * and strides, with indices from the other place, with arrays that lie at the end of the memory. Prints a
 * checksum of each picture or group of them. attributes [--frames N] */

#define _DEFAULT_SOURCE /* MAP_ANONYMOUS */

#include "report.h"
#include "shading.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <sys/mman.h>
#include <unistd.h>

static struct size size;

static void begin_picture(void)
{
    begin_sum();
    glClear(GL_COLOR_BUFFER_BIT);
}

static void end_picture(const char* subject)
{
    add_picture(size);
    end_sum(subject);
}

static GLuint make_buffer(GLenum target, const void* data, size_t bytes)
{
    GLuint buffer = 0;
    glGenBuffers(1, &buffer);
    glBindBuffer(target, buffer);
    glBufferData(target, (GLsizeiptr)bytes, data, GL_STATIC_DRAW);
    return buffer;
}

/* Bytes that are numbers in every type: no float of these is infinite or none. */
static void fill_pattern(unsigned char* bytes, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        bytes[i] = (unsigned char)((i * 41 + 7) % 61);
}

/* Types: point v stands in cell v of a grid, and its colour shows the value. */

enum
{
    points = 12
};

#define CELLS                                                                                                \
    "gl_PointSize = 8.0; gl_Position = vec4(float(gl_VertexID % 4) * 0.5 - 0.75,\n"                          \
    "  float(gl_VertexID / 4) * 0.5 - 0.75, 0.0, 1.0);\n"

static const char float_vertex[] =
    "#version 300 es\nlayout(location = 2) in vec4 value; uniform vec4 scale; out vec4 colour;\n"
    "void main() { colour = fract(value * scale + 0.25); " CELLS "}\n";
static const char signed_vertex[] =
    "#version 300 es\nlayout(location = 2) in ivec4 value; out vec4 colour;\n"
    "void main() { colour = vec4((value ^ (value >> 8)) & 255) / 255.0; " CELLS "}\n";
static const char unsigned_vertex[] =
    "#version 300 es\nlayout(location = 2) in uvec4 value; out vec4 colour;\n"
    "void main() { colour = vec4((value ^ (value >> 8)) & 255u) / 255.0; " CELLS "}\n";

static const struct type
{
    const char* name;
    GLenum type;
    int bytes; /* of a value; 0: four values in one word */
    int whole; /* whether it can be an integer in the shader; 2: without a sign */
} types[] = {{"bytes", GL_BYTE, 1, 1},
             {"unsigned bytes", GL_UNSIGNED_BYTE, 1, 2},
             {"shorts", GL_SHORT, 2, 1},
             {"unsigned shorts", GL_UNSIGNED_SHORT, 2, 2},
             {"ints", GL_INT, 4, 1},
             {"unsigned ints", GL_UNSIGNED_INT, 4, 2},
             {"fixed", GL_FIXED, 4, 0},
             {"floats", GL_FLOAT, 4, 0},
             {"half floats", GL_HALF_FLOAT, 2, 0},
             {"packed", GL_INT_2_10_10_10_REV, 0, 0},
             {"packed unsigned", GL_UNSIGNED_INT_2_10_10_10_REV, 0, 0}};

static unsigned char pattern[4096];

struct place
{
    int in_buffer;
    int offset;
    int gap; /* between two vertices; -1: none, and a stride of 0 says so */
    GLint first;
};
static const struct place places[] = {{0, 0, -1, 0}, {0, 1, 0, 2}, {0, 3, 5, 0},  {0, 6, 250, 1},
                                      {1, 0, -1, 1}, {1, 4, 0, 0}, {1, 12, 8, 3}, {1, 8, 96, 0}};

static void draw_type(const struct type* type, int count, int form, GLuint buffer)
{
    const int element = type->bytes ? type->bytes * count : 4;
    for (size_t i = 0; i < sizeof places / sizeof *places; ++i) {
        const struct place at = places[i];
        const int stride = at.gap < 0 ? 0 : at.in_buffer ? (element + at.gap + 3) / 4 * 4 : element + at.gap;
        const void* const pointer = at.in_buffer ? (void*)(intptr_t)at.offset : pattern + at.offset;
        glBindBuffer(GL_ARRAY_BUFFER, at.in_buffer ? buffer : 0);
        if (form == 2)
            glVertexAttribIPointer(2, count, type->type, stride, pointer);
        else
            glVertexAttribPointer(2, count, type->type, (GLboolean)form, stride, pointer);
        glClear(GL_COLOR_BUFFER_BIT);
        glDrawArrays(GL_POINTS, at.first, points - at.first);
        add_picture(size);
    }
}

static void draw_types(void)
{
    const GLuint programs[] = {make_program(signed_vertex, plain_fragment),
                               make_program(unsigned_vertex, plain_fragment),
                               make_program(float_vertex, plain_fragment)};
    const GLint scale = uniform_at(programs[2], "scale");
    fill_pattern(pattern, sizeof pattern);
    const GLuint buffer = make_buffer(GL_ARRAY_BUFFER, pattern, sizeof pattern);
    glEnableVertexAttribArray(2);
    for (size_t t = 0; t < sizeof types / sizeof *types; ++t) {
        const struct type* const type = types + t;
        begin_sum();
        for (int count = type->bytes ? 1 : 4; count <= 4; ++count) {
            glUseProgram(programs[2]);
            const float least = type->bytes == 4 && type->whole ? 1.0f / 16777216.0f : 1.0f / 37.0f;
            glUniform4f(scale, least, least * 2.0f, least * 3.0f, 0.5f);
            draw_type(type, count, 0, buffer);
            glUniform4f(scale, 0.5f, 0.75f, 0.5f, 0.5f);
            draw_type(type, count, 1, buffer);
            if (!type->whole)
                continue;
            glUseProgram(programs[type->whole - 1]);
            draw_type(type, count, 2, buffer);
        }
        end_sum(type->name);
    }
    glDisableVertexAttribArray(2);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glDeleteBuffers(1, &buffer);
    for (int i = 0; i < 3; ++i)
        glDeleteProgram(programs[i]);
}

/* Constants instead of arrays, and arrays that nobody may read. */

static void draw_constants(void)
{
    const GLuint program = make_program(float_vertex, plain_fragment);
    glUniform4f(uniform_at(program, "scale"), 0.5f, 0.5f, 0.5f, 0.5f);
    static const GLfloat values[] = {0.3f, 0.9f, 0.1f, 0.7f};
    for (int count = 1; count <= 4; ++count)
        for (int vector = 0; vector < 2; ++vector) {
            char subject[32];
            snprintf(subject, sizeof subject, "constant %d%s", count, vector ? "v" : "");
            if (vector)
                (count == 1   ? glVertexAttrib1fv
                 : count == 2 ? glVertexAttrib2fv
                 : count == 3 ? glVertexAttrib3fv
                              : glVertexAttrib4fv)(2, values);
            else if (count == 1)
                glVertexAttrib1f(2, 0.2f);
            else if (count == 2)
                glVertexAttrib2f(2, 0.2f, 1.2f);
            else if (count == 3)
                glVertexAttrib3f(2, 0.2f, 1.2f, 0.6f);
            else
                glVertexAttrib4f(2, 0.2f, 1.2f, 0.6f, -0.3f);
            begin_picture();
            glDrawArrays(GL_POINTS, 0, points);
            GLfloat got[4] = {0};
            glGetVertexAttribfv(2, GL_CURRENT_VERTEX_ATTRIB, got);
            add_bytes(got, sizeof got);
            end_picture(subject);
        }
    glDeleteProgram(program);
    const GLuint integers = make_program(unsigned_vertex, plain_fragment);
    glVertexAttribI4ui(2, 0x10203u, 77, 0xffffff00u, 255);
    begin_picture();
    glDrawArrays(GL_POINTS, 0, points);
    glVertexAttribI4uiv(2, (const GLuint[]){250, 5, 90, 255});
    glDrawArrays(GL_POINTS, 0, 2);
    GLuint got[4] = {0};
    glGetVertexAttribIuiv(2, GL_CURRENT_VERTEX_ATTRIB, got);
    add_bytes(got, sizeof got);
    end_picture("constant integers");
    glDeleteProgram(integers);
}

static const char picture_vertex[] =
    "#version 300 es\nlayout(location = 0) in vec2 at; layout(location = 1) in vec4 tint;\n"
    "layout(location = 3) in vec2 move; out vec4 colour;\n"
    "void main() { colour = tint; gl_Position = vec4(at + move, 0.0, 1.0); }\n";

enum
{
    grid = 6
};
static float grid_points[grid * grid][2];
static unsigned char grid_tints[grid * grid][4];

static void make_grid(void)
{
    for (int i = 0; i < grid * grid; ++i) {
        grid_points[i][0] = (float)(i % grid) / 3.0f - 0.8f;
        grid_points[i][1] = (float)(i / grid) / 3.0f - 0.8f;
        for (int c = 0; c < 4; ++c)
            grid_tints[i][c] = (unsigned char)(i * (c + 2) * 7);
    }
}

static void use_grid(void)
{
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, grid_points);
    glVertexAttribPointer(1, 4, GL_UNSIGNED_BYTE, GL_TRUE, 0, grid_tints);
    glEnableVertexAttribArray(0);
    glEnableVertexAttribArray(1);
    glDisableVertexAttribArray(3);
    glVertexAttrib2f(3, 0.0f, 0.0f);
}

static void leave_grid(void)
{
    glDisableVertexAttribArray(0);
    glDisableVertexAttribArray(1);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
}

/* Memory that goes away, is written between two draws, or belongs to arrays that the program doesn't read. */
static void draw_stale_arrays(void)
{
    use_grid();
    float* const fleeting = malloc(sizeof grid_points);
    check(fleeting != NULL, "malloc");
    memcpy(fleeting, grid_points, sizeof grid_points);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, fleeting);
    begin_picture();
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 7);
    for (int i = 0; i < grid * grid * 2; ++i)
        fleeting[i] = -fleeting[i]; /* the first draw has read what was there before */
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 7);
    memset(fleeting, 0, sizeof grid_points);
    end_picture("rewritten memory");

    glDisableVertexAttribArray(0);
    glVertexAttribPointer(5, 4, GL_FLOAT, GL_FALSE, 0, fleeting);
    free(fleeting);
    glVertexAttrib2f(0, 0.1f, -0.2f);
    begin_picture();
    glDrawArrays(GL_POINTS, 0, 1);
    glEnableVertexAttribArray(0);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, grid_points);
    glDrawArrays(GL_TRIANGLE_FAN, 1, 9);
    end_picture("arrays out of use");

    /* Enabled and unread by the program: where it points has to be memory, no more. */
    glVertexAttribPointer(6, 4, GL_FLOAT, GL_FALSE, 0, grid_points);
    glVertexAttribPointer(3, 2, GL_FLOAT, GL_FALSE, 8, grid_points + 2);
    glEnableVertexAttribArray(6);
    glEnableVertexAttribArray(3);
    begin_picture();
    glDrawArrays(GL_LINE_LOOP, 2, 10);
    glDisableVertexAttribArray(6);
    glDisableVertexAttribArray(3);
    glVertexAttrib2f(3, 0.25f, 0.5f);
    glDrawArrays(GL_LINE_LOOP, 2, 10);
    end_picture("arrays that go unread");
    leave_grid();
}

/* An array that ends where the memory ends: nothing behind its last vertex may be read. */
static void draw_at_the_end_of_memory(void)
{
    const size_t page = (size_t)sysconf(_SC_PAGESIZE);
    unsigned char* const memory =
        mmap(NULL, 3 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    check(memory != MAP_FAILED, "mmap");
    check(mprotect(memory, page, PROT_NONE) == 0 && mprotect(memory + 2 * page, page, PROT_NONE) == 0,
          "mprotect");
    unsigned char* const end = memory + 2 * page;
    use_grid();
    /* points and tints interleaved in 12 bytes; the last tint is the last thing in memory */
    for (int i = 0; i < grid * grid; ++i) {
        unsigned char* const vertex = end - (grid * grid - i) * 12;
        memcpy(vertex, grid_points[i], 8);
        memcpy(vertex + 8, grid_tints[i], 4);
    }
    unsigned char* const array = end - grid * grid * 12;
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 12, array);
    glVertexAttribPointer(1, 4, GL_UNSIGNED_BYTE, GL_TRUE, 12, array + 8);
    begin_picture();
    glDrawArrays(GL_TRIANGLE_STRIP, 0, grid * grid);
    glDrawArrays(GL_POINTS, grid * grid - 1, 1);
    end_picture("the end of memory");

    static const unsigned char last[] = {35, 29, 34, 28, 33, 27};
    static const unsigned short broken[] = {35, 29, 34, 0xffff, 28, 33, 27};
    begin_picture();
    glDrawElements(GL_TRIANGLE_STRIP, sizeof last, GL_UNSIGNED_BYTE, last);
    glEnable(GL_PRIMITIVE_RESTART_FIXED_INDEX);
    glDrawElements(GL_TRIANGLE_STRIP, 7, GL_UNSIGNED_SHORT, broken);
    glDisable(GL_PRIMITIVE_RESTART_FIXED_INDEX);
    unsigned* const indices = (unsigned*)(void*)(memory + page);
    memset(indices, 0, 12);
    indices[0] = 35, indices[1] = 3, indices[2] = 17;
    glDrawElements(GL_LINE_LOOP, 3, GL_UNSIGNED_INT, indices);
    end_picture("indices of the end");

    /* vertices before the first one that is drawn aren't there at all */
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 12, memory + page - 12 * 50);
    glVertexAttribPointer(1, 4, GL_UNSIGNED_BYTE, GL_TRUE, 12, memory + page - 12 * 50 + 8);
    memcpy(memory + page, array, grid * grid * 12);
    begin_picture();
    glDrawArrays(GL_TRIANGLE_STRIP, 50, 9);
    glDrawRangeElements(GL_LINES, 50, 70, 4, GL_UNSIGNED_BYTE, (const unsigned char[]){52, 61, 70, 66});
    end_picture("a far first vertex");
    leave_grid();
    munmap(memory, 3 * page);
}

/* Indices in a buffer over arrays in memory, the reverse, and both in one buffer. */
static void draw_mixed(void)
{
    static const unsigned short shorts[] = {7, 8, 13, 14, 19, 20, 9, 10, 15, 16, 21, 22, 0xffff, 1, 2, 3};
    static const unsigned words[] = {0, 6, 1, 7, 2, 8, 0xffffffffu, 20, 26, 21, 27};
    use_grid();
    const GLuint indices = make_buffer(GL_ELEMENT_ARRAY_BUFFER, NULL, 1024);
    glBufferSubData(GL_ELEMENT_ARRAY_BUFFER, 100, sizeof shorts, shorts);
    glBufferSubData(GL_ELEMENT_ARRAY_BUFFER, 200, sizeof words, words);
    glBufferSubData(GL_ELEMENT_ARRAY_BUFFER, 301, 5, "\x01\x02\x0e\x0f\x15");
    begin_picture();
    glDrawElements(GL_TRIANGLE_STRIP, 6, GL_UNSIGNED_SHORT, (void*)100);
    glDrawElements(GL_TRIANGLE_STRIP, 6, GL_UNSIGNED_SHORT, (void*)112);
    glDrawElements(GL_LINE_STRIP, 5, GL_UNSIGNED_BYTE, (void*)301);
    glDrawRangeElements(GL_TRIANGLES, 20, 27, 3, GL_UNSIGNED_INT, (void*)228);
    end_picture("indices in a buffer");

    begin_picture();
    glEnable(GL_PRIMITIVE_RESTART_FIXED_INDEX);
    glDrawElements(GL_TRIANGLE_STRIP, 11, GL_UNSIGNED_INT, (void*)200);
    glDrawElements(GL_LINE_LOOP, 4, GL_UNSIGNED_SHORT, (void*)124);
    glDisable(GL_PRIMITIVE_RESTART_FIXED_INDEX);
    glBufferSubData(GL_ELEMENT_ARRAY_BUFFER, 100, 4, "\x1d\x00\x23\x00");
    glDrawElementsInstanced(GL_TRIANGLE_STRIP, 6, GL_UNSIGNED_SHORT, (void*)100, 2);
    end_picture("rewritten indices");

    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    unsigned char both[sizeof grid_points + sizeof grid_tints];
    memcpy(both, grid_points, sizeof grid_points);
    memcpy(both + sizeof grid_points, grid_tints, sizeof grid_tints);
    const GLuint arrays = make_buffer(GL_ARRAY_BUFFER, both, sizeof both);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, NULL);
    begin_picture(); /* points from the buffer, tints and indices from memory */
    glDrawElements(GL_TRIANGLES, 6, GL_UNSIGNED_SHORT, shorts + 1);
    glVertexAttribPointer(1, 4, GL_UNSIGNED_BYTE, GL_TRUE, 4, (void*)sizeof grid_points);
    glDrawElements(GL_LINE_STRIP, 6, GL_UNSIGNED_INT, words); /* all arrays from the buffer */
    glBufferSubData(GL_ARRAY_BUFFER, (GLintptr)sizeof grid_points, 32, grid_points);
    glDrawElements(GL_POINTS, 5, GL_UNSIGNED_INT, words);
    end_picture("arrays in a buffer");

    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, indices);
    begin_picture();
    glDrawElements(GL_TRIANGLE_FAN, 6, GL_UNSIGNED_INT, (void*)200);
    glDrawArrays(GL_LINE_STRIP, 3, 30);
    glBindBuffer(GL_ARRAY_BUFFER, indices); /* one buffer for everything */
    glBufferSubData(GL_ARRAY_BUFFER, 400, sizeof grid_points, grid_points);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 16, (void*)400);
    glDrawElements(GL_TRIANGLE_FAN, 6, GL_UNSIGNED_INT, (void*)200);
    end_picture("all in buffers");
    leave_grid();
    glDeleteBuffers(1, &indices);
    glDeleteBuffers(1, &arrays);
}

/* Every mode, and counts that are none or many. */
static void draw_modes(void)
{
    static const GLenum modes[] = {GL_POINTS,    GL_LINES,          GL_LINE_LOOP,   GL_LINE_STRIP,
                                   GL_TRIANGLES, GL_TRIANGLE_STRIP, GL_TRIANGLE_FAN};
    use_grid();
    for (size_t i = 0; i < sizeof modes / sizeof *modes; ++i) {
        char subject[32];
        snprintf(subject, sizeof subject, "mode %u", (unsigned)modes[i]);
        begin_picture();
        glDrawArrays(modes[i], 1, 17);
        glDrawArrays(modes[i], 20, 2);
        glDrawArrays(modes[i], 30, 1);
        glDrawArrays(modes[i], 3, 0);
        glDrawElements(modes[i], 0, GL_UNSIGNED_SHORT, NULL);
        glDrawArraysInstanced(modes[i], 0, 5, 0);
        end_picture(subject);
    }
    enum
    {
        many = 70000
    };
    float* const spiral = malloc(many * sizeof *spiral * 2);
    unsigned* const order = malloc(many * sizeof *order);
    check(spiral && order, "malloc");
    for (int i = 0; i < many; ++i) {
        spiral[2 * i] = (float)(i % 1000) / 500.0f - 1.0f;
        spiral[2 * i + 1] = (float)(i / 1000) / 35.0f - 1.0f;
        order[i] = (unsigned)((i * 7919L) % many);
    }
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, spiral);
    glDisableVertexAttribArray(1);
    glVertexAttrib4f(1, 1.0f, 0.5f, 0.25f, 1.0f);
    begin_picture();
    glDrawArrays(GL_POINTS, 0, many);
    glVertexAttrib4f(1, 0.0f, 0.5f, 1.0f, 1.0f);
    glDrawElements(GL_POINTS, many / 2, GL_UNSIGNED_INT, order);
    end_picture("many vertices");
    free(spiral);
    free(order);
    leave_grid();
}

static void draw_instances(void)
{
    static const float moves[][2] = {{0.0f, 0.0f}, {0.4f, 0.1f}, {0.1f, 0.5f}, {0.6f, 0.6f}};
    static const unsigned char strip[] = {0, 1, 6, 7, 0xff, 2, 3, 8};
    use_grid();
    const GLuint buffer = make_buffer(GL_ARRAY_BUFFER, moves, sizeof moves);
    glEnableVertexAttribArray(3);
    glVertexAttribPointer(3, 2, GL_FLOAT, GL_FALSE, 0, (void*)8);
    glVertexAttribDivisor(3, 1);
    begin_picture();
    glDrawArraysInstanced(GL_TRIANGLE_STRIP, 6, 8, 3);
    end_picture("instances from a buffer");
    begin_picture(); /* a tint for each pair of instances, in memory; moves in the buffer */
    glVertexAttribDivisor(1, 2);
    glEnable(GL_PRIMITIVE_RESTART_FIXED_INDEX);
    glDrawElementsInstanced(GL_TRIANGLE_STRIP, sizeof strip, GL_UNSIGNED_BYTE, strip, 3);
    glDisable(GL_PRIMITIVE_RESTART_FIXED_INDEX);
    GLint divisor = 0;
    glGetVertexAttribiv(1, GL_VERTEX_ATTRIB_ARRAY_DIVISOR, &divisor);
    add_number(divisor);
    end_picture("two divisors");
    begin_picture();
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 8); /* a draw without instances is the first instance */
    glVertexAttribDivisor(3, 1000000);
    glDrawArraysInstanced(GL_LINE_STRIP, 12, 8, 4);
    end_picture("first instance");
    glVertexAttribDivisor(1, 0);
    glVertexAttribDivisor(3, 0);
    glDisableVertexAttribArray(3);
    leave_grid();
    glDeleteBuffers(1, &buffer);
}

/* Vertex array objects hold what was set; what is bound meanwhile stays with them. */
static void draw_vertex_arrays(void)
{
    static const unsigned char indices[][6] = {{0, 6, 1, 7, 2, 8}, {30, 24, 31, 25, 32, 26}};
    GLuint arrays[2] = {0}, elements[2] = {0};
    glGenVertexArrays(2, arrays);
    const GLuint points_buffer = make_buffer(GL_ARRAY_BUFFER, grid_points, sizeof grid_points);
    const GLuint tints_buffer = make_buffer(GL_ARRAY_BUFFER, grid_tints, sizeof grid_tints);
    use_grid();
    for (int i = 0; i < 2; ++i) {
        glBindVertexArray(arrays[i]);
        elements[i] = make_buffer(GL_ELEMENT_ARRAY_BUFFER, indices[i], sizeof indices[i]);
        glBindBuffer(GL_ARRAY_BUFFER, points_buffer);
        glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, NULL);
        glBindBuffer(GL_ARRAY_BUFFER, tints_buffer);
        glVertexAttribPointer(1, 4, GL_UNSIGNED_BYTE, GL_TRUE, 4, (void*)(intptr_t)(i * 8));
        glEnableVertexAttribArray(0);
        if (i == 0)
            glEnableVertexAttribArray(1);
    }
    glVertexAttrib4f(1, 0.1f, 0.8f, 0.3f, 1.0f); /* of the context, not of the object */
    begin_picture();
    for (int i = 0; i < 2; ++i) {
        glBindVertexArray(arrays[i]);
        glDrawElements(GL_TRIANGLE_STRIP, 6, GL_UNSIGNED_BYTE, NULL);
        GLint bound[3] = {0};
        glGetIntegerv(GL_ELEMENT_ARRAY_BUFFER_BINDING, bound);
        glGetVertexAttribiv(1, GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING, bound + 1);
        glGetVertexAttribiv(1, GL_VERTEX_ATTRIB_ARRAY_ENABLED, bound + 2);
        check((GLuint)bound[0] == elements[i] && (GLuint)bound[1] == tints_buffer && bound[2] == (i == 0),
              "what a vertex array holds");
        void* pointer = NULL;
        glGetVertexAttribPointerv(1, GL_VERTEX_ATTRIB_ARRAY_POINTER, &pointer);
        check((intptr_t)pointer == i * 8, "an attribute's offset");
    }
    glBindVertexArray(0);
    glDrawArrays(GL_LINE_STRIP, 8, 20); /* arrays in memory, as they were */
    end_picture("vertex array objects");

    glBindVertexArray(arrays[1]);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    WRONG(glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, grid_points), GL_INVALID_OPERATION);
    glDeleteVertexArrays(1, arrays + 1); /* the default one takes its place */
    GLint bound = -1;
    glGetIntegerv(GL_VERTEX_ARRAY_BINDING, &bound);
    add_number(bound);
    begin_picture();
    glDrawArrays(GL_TRIANGLE_FAN, 8, 20);
    glBindVertexArray(arrays[0]);
    /* Leaves the bound object. Which buffer the attribute then names isn't asked: a simulator's answer is
     * that of its own record, which deletion doesn't reach. */
    glDeleteBuffers(1, &tints_buffer);
    glDisableVertexAttribArray(1);
    glVertexAttrib3f(1, 0.9f, 0.8f, 0.1f);
    glDrawElements(GL_LINE_STRIP, 5, GL_UNSIGNED_BYTE, (void*)1);
    end_picture("deleted objects");
    glBindVertexArray(0);
    leave_grid();
    glDeleteVertexArrays(1, arrays);
    glDeleteBuffers(2, elements);
    glDeleteBuffers(1, &points_buffer);
}

/* The array buffer is bound before the vertex array and stays bound; buffers that were deleted stay with the
 * arrays that weren't bound. */
static void draw_kept_bindings(void)
{
    static const unsigned char indices[] = {0, 6, 1, 7, 2, 8};
    GLuint arrays[2] = {0};
    glGenVertexArrays(2, arrays);
    const GLuint buffer = make_buffer(GL_ARRAY_BUFFER, grid_points, sizeof grid_points);
    glVertexAttrib4f(1, 0.9f, 0.3f, 0.6f, 1.0f);
    begin_picture();
    glBindVertexArray(arrays[0]);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, NULL);
    glEnableVertexAttribArray(0);
    const GLuint elements = make_buffer(GL_ELEMENT_ARRAY_BUFFER, indices, sizeof indices);
    glBindVertexArray(arrays[1]);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 16, (void*)8);
    glEnableVertexAttribArray(0);
    glDrawArrays(GL_TRIANGLE_STRIP, 6, 8);
    glBindVertexArray(arrays[0]);
    glBufferSubData(GL_ARRAY_BUFFER, 0, 16, grid_points + 30); /* of the buffer that was bound all along */
    glDrawElements(GL_TRIANGLE_STRIP, 6, GL_UNSIGNED_BYTE, NULL);
    end_picture("bound before the array");

    const GLuint copies[] = {make_buffer(GL_COPY_READ_BUFFER, grid_points, sizeof grid_points),
                             make_buffer(GL_COPY_WRITE_BUFFER, NULL, sizeof grid_points)};
    glBindVertexArray(arrays[1]);
    glCopyBufferSubData(GL_COPY_READ_BUFFER, GL_COPY_WRITE_BUFFER, 0, 0, sizeof grid_points);
    void* const mapped = glMapBufferRange(GL_COPY_WRITE_BUFFER, 0, 64, GL_MAP_READ_BIT | GL_MAP_WRITE_BIT);
    check(mapped && memcmp(mapped, grid_points, 64) == 0, "a copy after another array is bound");
    memset(mapped, 0, 8);
    check(glUnmapBuffer(GL_COPY_WRITE_BUFFER), "glUnmapBuffer");
    glDeleteBuffers(1, &buffer);
    glDeleteBuffers(1, &elements);
    glDeleteBuffers(2, copies);
    glBindVertexArray(arrays[0]);
    begin_picture();
    glDrawElements(GL_TRIANGLE_STRIP, 6, GL_UNSIGNED_BYTE, NULL);
    end_picture("deleted elsewhere");
    glBindVertexArray(0);
    glDeleteVertexArrays(2, arrays);
}

/* Formats and bindings apart, many attributes at once, a matrix among them. */
static void draw_formats(void)
{
    const GLuint program = make_program(
        "#version 300 es\nlayout(location = 0) in vec2 at; layout(location = 4) in mat4 turn;\n"
        "layout(location = 9) in vec3 a; in float b; in vec2 c; in vec4 d; in ivec2 e; out vec4 colour;\n"
        "void main() { colour = fract(vec4(a, b) + vec4(c, 0.1, 0.2) + d + vec4(e, 0, 0) / 255.0);\n"
        "  gl_Position = turn * vec4(at, 0.0, 1.0); }\n",
        plain_fragment);
    static float vertices[grid * grid][9];
    for (int i = 0; i < grid * grid; ++i) {
        memcpy(vertices[i], grid_points[i], 8);
        for (int k = 2; k < 9; ++k)
            vertices[i][k] = (float)(i * k % 23) / 23.0f;
    }
    static const float turns[][16] = {
        {0.6f, 0.2f, 0, 0, -0.2f, 0.6f, 0, 0, 0, 0, 1, 0, 0.2f, 0.1f, 0, 1},
        {0.3f, -0.3f, 0, 0, 0.3f, 0.3f, 0, 0, 0, 0, 1, 0, -0.3f, -0.2f, 0, 1},
    };
    GLuint array = 0;
    glGenVertexArrays(1, &array);
    glBindVertexArray(array);
    const GLuint buffers[] = {make_buffer(GL_ARRAY_BUFFER, vertices, sizeof vertices),
                              make_buffer(GL_ARRAY_BUFFER, turns, sizeof turns)};
    const GLint b = glGetAttribLocation(program, "b"), c = glGetAttribLocation(program, "c");
    const GLint d = glGetAttribLocation(program, "d"), e = glGetAttribLocation(program, "e");
    glVertexAttribFormat(0, 2, GL_FLOAT, GL_FALSE, 0);
    glVertexAttribFormat(9, 3, GL_FLOAT, GL_FALSE, 8);
    glVertexAttribFormat((GLuint)b, 1, GL_FLOAT, GL_FALSE, 20);
    glVertexAttribFormat((GLuint)c, 2, GL_UNSIGNED_SHORT, GL_TRUE, 24);
    glVertexAttribFormat((GLuint)d, 4, GL_UNSIGNED_BYTE, GL_TRUE, 28);
    glVertexAttribIFormat((GLuint)e, 2, GL_UNSIGNED_BYTE, 33);
    const GLint plain[] = {0, 9, b, c, d, e};
    for (int i = 0; i < 6; ++i) {
        glVertexAttribBinding((GLuint)plain[i], 2);
        glEnableVertexAttribArray((GLuint)plain[i]);
    }
    for (GLuint i = 0; i < 4; ++i) {
        glVertexAttribFormat(4 + i, 4, GL_FLOAT, GL_FALSE, i * 16);
        glVertexAttribBinding(4 + i, 7);
        glEnableVertexAttribArray(4 + i);
    }
    glBindVertexBuffer(2, buffers[0], 36, 36);
    glBindVertexBuffer(7, buffers[1], 0, 64);
    glVertexBindingDivisor(7, 1);
    begin_picture();
    glDrawArraysInstanced(GL_TRIANGLE_STRIP, 0, 20, 2);
    GLint values[5] = {0};
    glGetVertexAttribiv(5, GL_VERTEX_ATTRIB_BINDING, values);
    glGetVertexAttribiv(5, GL_VERTEX_ATTRIB_RELATIVE_OFFSET, values + 1);
    glGetVertexAttribiv((GLuint)e, GL_VERTEX_ATTRIB_ARRAY_INTEGER, values + 2);
    glGetIntegeri_v(GL_VERTEX_BINDING_DIVISOR, 7, values + 3);
    glGetIntegeri_v(GL_VERTEX_BINDING_STRIDE, 2, values + 4);
    add_bytes(values, sizeof values);
    end_picture("formats and bindings");
    glBindVertexBuffer(2, buffers[0], 72, 72);
    glVertexAttribBinding(6, 2); /* a column of the matrix from the other buffer */
    begin_picture();
    glDrawArraysInstanced(GL_LINE_STRIP, 0, 15, 2);
    end_picture("another binding");
    glBindVertexArray(0);
    glDeleteVertexArrays(1, &array);
    glDeleteBuffers(2, buffers);
    glDeleteProgram(program);
}

static void wrong_calls(void)
{
    use_grid();
    WRONG(glVertexAttribPointer(16, 4, GL_FLOAT, GL_FALSE, 0, NULL), GL_INVALID_VALUE);
    WRONG(glVertexAttribPointer(5, 4, GL_FLOAT, GL_FALSE, -1, NULL), GL_INVALID_VALUE);
    WRONG(glVertexAttribPointer(0, 3, GL_INT_2_10_10_10_REV, GL_FALSE, 0, NULL), GL_INVALID_OPERATION);
    WRONG(glVertexAttribIPointer(0, 4, GL_FLOAT, 0, NULL), GL_INVALID_ENUM);
    WRONG(glEnableVertexAttribArray(99), GL_INVALID_VALUE);
    WRONG(glVertexAttrib4f(16, 0, 0, 0, 0), GL_INVALID_VALUE);
    WRONG(glVertexAttribDivisor(16, 1), GL_INVALID_VALUE);
    WRONG(glDrawArrays(GL_POINTS, 0, -3), GL_INVALID_VALUE);
    WRONG(glDrawElements(GL_POINTS, 1, GL_FLOAT, grid_points), GL_INVALID_ENUM);
    WRONG(glDrawElements(GL_POINTS, -1, GL_UNSIGNED_BYTE, grid_points), GL_INVALID_VALUE);
    WRONG(glDrawRangeElements(GL_POINTS, 5, 4, 1, GL_UNSIGNED_BYTE, grid_points), GL_INVALID_VALUE);
    WRONG(glDrawArraysInstanced(GL_POINTS, 0, 3, -1), GL_INVALID_VALUE);
    begin_picture();
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 12); /* all arrays are as before */
    end_picture("after wrong calls");
    leave_grid();
}

int main(int count, char** arguments)
{
    const int frames = number_option(count, arguments, "--frames", 2);
    const struct window window = open_window(3);
    size = window.size;
    make_grid();
    draw_types();
    draw_constants();
    for (int frame = 0; frame < frames; ++frame) {
        const GLuint program = make_program(picture_vertex, plain_fragment);
        glClearColor(0.0f, 0.0f, (float)frame / (float)frames, 1.0f);
        draw_stale_arrays();
        draw_at_the_end_of_memory();
        draw_mixed();
        draw_modes();
        draw_instances();
        draw_vertex_arrays();
        draw_kept_bindings();
        wrong_calls();
        draw_formats();
        glDeleteProgram(program);
        check(eglSwapBuffers(window.display, window.surface), "eglSwapBuffers");
    }
    close_window(window);
    return 0;
}
