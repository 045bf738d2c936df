/* Draws from memory of every kind: client arrays, buffers, vertex arrays, instances, indices, mapped and
 * copied buffers, commands that a compute shader wrote. Reads back what came out, checks it and prints a
 * checksum of each subject. buffers [--frames N] */

#include "report.h"
#include "shading.h"

#include <GLES3/gl31.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* A vertex shader's inputs come back by transform feedback. */

enum
{
    vertices = 6,
    captured_bytes = vertices * 16
};

static void read_buffer(GLenum target, GLsizeiptr size, void* into)
{
    const void* mapped = glMapBufferRange(target, 0, size, GL_MAP_READ_BIT);
    check(mapped != NULL, "glMapBufferRange for reading");
    memcpy(into, mapped, (size_t)size);
    check(glUnmapBuffer(target), "glUnmapBuffer");
}

static void capture(GLint first, void* into)
{
    glEnable(GL_RASTERIZER_DISCARD);
    glBeginTransformFeedback(GL_POINTS);
    glDrawArrays(GL_POINTS, first, vertices);
    glEndTransformFeedback();
    glDisable(GL_RASTERIZER_DISCARD);
    read_buffer(GL_TRANSFORM_FEEDBACK_BUFFER, captured_bytes, into);
}

static GLuint capture_buffer(void)
{
    GLuint buffer = 0;
    glGenBuffers(1, &buffer);
    glBindBufferBase(GL_TRANSFORM_FEEDBACK_BUFFER, 0, buffer);
    glBufferData(GL_TRANSFORM_FEEDBACK_BUFFER, captured_bytes, NULL, GL_STREAM_READ);
    return buffer;
}

static const struct
{
    GLenum type;
    int bytes; /* of a value; 0: four values in one word */
} types[] = {{GL_BYTE, 1},
             {GL_UNSIGNED_BYTE, 1},
             {GL_SHORT, 2},
             {GL_UNSIGNED_SHORT, 2},
             {GL_INT, 4},
             {GL_FLOAT, 4},
             {GL_UNSIGNED_INT, 4},
             {GL_FIXED, 4},
             {GL_INT_2_10_10_10_REV, 0},
             {GL_HALF_FLOAT, 2},
             {GL_UNSIGNED_INT_2_10_10_10_REV, 0}};

/* Bytes that are numbers in every type: no float of these is infinite or none. */
static void fill_pattern(unsigned char* bytes, size_t size)
{
    for (size_t i = 0; i < size; ++i)
        bytes[i] = (unsigned char)((i * 37 + 11) % 61);
}

static void check_floats(const unsigned char* array, int size, int stride, GLint first, const float* got)
{
    for (int v = 0; v < vertices; ++v)
        for (int c = 0; c < size; ++c) {
            float expected;
            memcpy(&expected, array + (size_t)(first + v) * (size_t)stride + (size_t)c * 4, 4);
            check(got[v * 4 + c] == expected, "a float of a client array");
        }
}

static void client_arrays(void)
{
    static unsigned char array[2048];
    float got[vertices * 4];
    fill_pattern(array, sizeof array);
    const GLuint program =
        make_feedback_program("#version 300 es\nlayout(location = 2) in vec4 value; out vec4 colour;\n"
                              "void main() { colour = value; gl_Position = value; }\n",
                              plain_fragment, 1, &(const char*){"colour"}, GL_INTERLEAVED_ATTRIBS);
    const GLuint buffer = capture_buffer();
    glEnableVertexAttribArray(2);
    begin_sum();
    for (size_t t = 0; t < sizeof types / sizeof types[0]; ++t)
        for (int size = types[t].bytes ? 1 : 4; size <= 4; ++size)
            for (int gap = 0; gap <= 8; gap += 4)
                for (int normalized = 0; normalized <= 1; ++normalized) {
                    const int element = types[t].bytes ? types[t].bytes * size : 4;
                    const int stride = gap ? (element + 3) / 4 * 4 + gap : 0;
                    const GLint first = gap ? 3 : 0;
                    glVertexAttribPointer(2, size, types[t].type, (GLboolean)normalized, stride, array + 4);
                    memset(got, 0, sizeof got);
                    capture(first, got);
                    if (types[t].type == GL_FLOAT)
                        check_floats(array + 4, size, stride ? stride : element, first, got);
                    add_bytes(got, sizeof got);
                }
    end_sum("client arrays");
    glDeleteProgram(program);

    GLint whole[vertices * 4];
    const GLuint integers =
        make_feedback_program("#version 300 es\nlayout(location = 2) in ivec4 value; flat out ivec4 kept;\n"
                              "out vec4 colour;\n"
                              "void main() { kept = value; colour = vec4(1.0); gl_Position = colour; }\n",
                              plain_fragment, 1, &(const char*){"kept"}, GL_INTERLEAVED_ATTRIBS);
    begin_sum();
    for (int t = 0; t < 5; ++t) {
        glVertexAttribIPointer(2, 3, types[t].type, 16, array + 8);
        capture(2, whole);
        add_bytes(whole, sizeof whole);
    }
    end_sum("integer client arrays");
    glDisableVertexAttribArray(2);
    glVertexAttribI4i(2, 1, -2, 3, -4);
    capture(0, whole);
    check(whole[4] == 1 && whole[5] == -2 && whole[6] == 3 && whole[7] == -4, "a constant integer attribute");
    glDeleteProgram(integers);
    glDeleteBuffers(1, &buffer);
}

/* Pictures. */

static GLuint picture_program(void)
{
    return make_program(
        "#version 300 es\nlayout(location = 0) in vec2 at; layout(location = 1) in vec4 tint;\n"
        "layout(location = 3) in vec2 move; out vec4 colour;\n"
        "void main() { colour = tint; gl_Position = vec4(at + move, 0.0, 1.0); }\n",
        plain_fragment);
}

enum
{
    grid = 8
};
static float grid_points[grid * grid][2];
static unsigned char grid_tints[grid * grid][4];

static void make_grid(void)
{
    for (int i = 0; i < grid * grid; ++i) {
        grid_points[i][0] = (float)(i % grid) / 4.0f - 0.9f;
        grid_points[i][1] = (float)(i / grid) / 4.0f - 0.9f;
        for (int c = 0; c < 4; ++c)
            grid_tints[i][c] = (unsigned char)(i * (c + 3) * 5);
    }
}

static unsigned index_at(GLenum type, const void* indices, int i)
{
    if (type == GL_UNSIGNED_BYTE)
        return ((const unsigned char*)indices)[i];
    return type == GL_UNSIGNED_SHORT ? ((const unsigned short*)indices)[i] : ((const unsigned*)indices)[i];
}

/* Strips of triangles over the grid; a restart stands where one strip ends. */
static int make_indices(GLenum type, int restart, void* into)
{
    int count = 0;
    for (int row = 1; row < grid - 1; ++row) {
        for (int column = 1; column < grid; ++column)
            for (int half = 0; half < 2; ++half) {
                const unsigned index = (unsigned)((row + half) * grid + column);
                if (type == GL_UNSIGNED_BYTE)
                    ((unsigned char*)into)[count++] = (unsigned char)index;
                else if (type == GL_UNSIGNED_SHORT)
                    ((unsigned short*)into)[count++] = (unsigned short)index;
                else
                    ((unsigned*)into)[count++] = index;
            }
        if (restart) {
            const int width = type == GL_UNSIGNED_BYTE ? 1 : type == GL_UNSIGNED_SHORT ? 2 : 4;
            memset((char*)into + count++ * width, 0xff, (size_t)width);
        }
    }
    check(index_at(type, into, 0) == grid + 1, "the first index");
    return count;
}

static void indices(struct size size)
{
    static unsigned words[1024];
    const GLenum kinds[] = {GL_UNSIGNED_BYTE, GL_UNSIGNED_SHORT, GL_UNSIGNED_INT};
    GLuint buffer = 0;
    glGenBuffers(1, &buffer);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, grid_points);
    glVertexAttribPointer(1, 4, GL_UNSIGNED_BYTE, GL_TRUE, 4, grid_tints);
    glEnableVertexAttribArray(0);
    glEnableVertexAttribArray(1);
    begin_sum();
    for (int kind = 0; kind < 3; ++kind)
        for (int restart = 0; restart < 2; ++restart)
            for (int in_buffer = 0; in_buffer < 2; ++in_buffer) {
                const int count = make_indices(kinds[kind], restart, words);
                if (restart)
                    glEnable(GL_PRIMITIVE_RESTART_FIXED_INDEX);
                glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, in_buffer ? buffer : 0);
                if (in_buffer)
                    glBufferData(GL_ELEMENT_ARRAY_BUFFER, sizeof words, words, GL_STATIC_DRAW);
                glClear(GL_COLOR_BUFFER_BIT);
                glDrawElements(GL_TRIANGLE_STRIP, count, kinds[kind], in_buffer ? NULL : words);
                glDrawRangeElements(GL_LINE_STRIP, grid, grid * grid - 1, count, kinds[kind],
                                    in_buffer ? NULL : words);
                glDisable(GL_PRIMITIVE_RESTART_FIXED_INDEX);
                add_picture(size);
            }
    end_sum("indices");
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    glDeleteBuffers(1, &buffer);
}

static void instances(struct size size)
{
    static const float moves[][2] = {{0.0f, 0.0f}, {0.3f, 0.1f}, {0.1f, 0.4f}, {-0.2f, 0.2f}};
    static const unsigned short triangle[] = {9, 10, 17};
    glVertexAttribPointer(3, 2, GL_FLOAT, GL_FALSE, 8, moves);
    glEnableVertexAttribArray(3);
    begin_sum();
    for (GLuint divisor = 1; divisor <= 3; ++divisor) {
        glVertexAttribDivisor(3, divisor);
        glClear(GL_COLOR_BUFFER_BIT);
        glDrawArraysInstanced(GL_TRIANGLES, 0, 3, 4);
        glDrawElementsInstanced(GL_TRIANGLES, 3, GL_UNSIGNED_SHORT, triangle, 4);
        add_picture(size);
    }
    end_sum("instances");
    glVertexAttribDivisor(3, 0);
    glDisableVertexAttribArray(3);
}

static void vertex_arrays(struct size size)
{
    GLuint arrays[2] = {0}, buffers[2] = {0};
    glGenVertexArrays(2, arrays);
    glGenBuffers(2, buffers);
    check(!glIsVertexArray(arrays[0]) && !glIsBuffer(buffers[0]), "names alone are no objects");
    begin_sum();
    for (int i = 0; i < 2; ++i) {
        glBindVertexArray(arrays[i]);
        glBindBuffer(GL_ARRAY_BUFFER, buffers[i]);
        glBufferData(GL_ARRAY_BUFFER, sizeof grid_points, grid_points, GL_STATIC_DRAW);
        glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 8 << i, NULL);
        glEnableVertexAttribArray(0);
        glVertexAttrib4f(1, 1.0f, (float)i, 0.25f, 1.0f);
    }
    check(glIsVertexArray(arrays[0]) && glIsBuffer(buffers[1]), "glIsVertexArray and glIsBuffer");
    for (int i = 0; i < 2; ++i) {
        glBindVertexArray(arrays[i]);
        glClear(GL_COLOR_BUFFER_BIT);
        glDrawArrays(GL_TRIANGLE_FAN, 0, grid * grid / 2);
        add_picture(size);
        GLint stride = 0;
        glGetVertexAttribiv(0, GL_VERTEX_ATTRIB_ARRAY_STRIDE, &stride);
        check(stride == 8 << i, "the stride of an array");
    }
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, NULL);
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glDeleteVertexArrays(2, arrays);
    glDeleteBuffers(2, buffers);
    end_sum("vertex arrays");
}

static void mapped_and_copied(void)
{
    unsigned char bytes[64], got[64];
    GLuint buffers[2] = {0};
    fill_pattern(bytes, sizeof bytes);
    glGenBuffers(2, buffers);
    glBindBuffer(GL_COPY_READ_BUFFER, buffers[0]);
    glBindBuffer(GL_COPY_WRITE_BUFFER, buffers[1]);
    glBufferData(GL_COPY_READ_BUFFER, sizeof bytes, bytes, GL_DYNAMIC_DRAW);
    glBufferData(GL_COPY_WRITE_BUFFER, sizeof bytes, NULL, GL_DYNAMIC_DRAW);
    unsigned char* mapped = glMapBufferRange(GL_COPY_READ_BUFFER, 8, 16, GL_MAP_WRITE_BIT);
    check(mapped != NULL, "glMapBufferRange for writing");
    memset(mapped + 4, 0xee, 2);
    check(glUnmapBuffer(GL_COPY_READ_BUFFER), "glUnmapBuffer");
    memset(bytes + 12, 0xee, 2);
    mapped = glMapBufferRange(GL_COPY_READ_BUFFER, 32, 32,
                              GL_MAP_WRITE_BIT | GL_MAP_FLUSH_EXPLICIT_BIT | GL_MAP_UNSYNCHRONIZED_BIT);
    check(mapped != NULL, "glMapBufferRange with explicit flushes");
    void* pointer = NULL;
    glGetBufferPointerv(GL_COPY_READ_BUFFER, GL_BUFFER_MAP_POINTER, &pointer);
    check(pointer == mapped, "glGetBufferPointerv");
    memset(mapped + 3, 0x77, 5);
    glFlushMappedBufferRange(GL_COPY_READ_BUFFER, 3, 5);
    check(glUnmapBuffer(GL_COPY_READ_BUFFER), "glUnmapBuffer");
    memset(bytes + 35, 0x77, 5);
    glBufferSubData(GL_COPY_READ_BUFFER, 60, 4, "abcd");
    memcpy(bytes + 60, "abcd", 4);
    glCopyBufferSubData(GL_COPY_READ_BUFFER, GL_COPY_WRITE_BUFFER, 0, 0, sizeof bytes);
    read_buffer(GL_COPY_WRITE_BUFFER, sizeof got, got);
    check(memcmp(got, bytes, sizeof got) == 0, "what was mapped, filled and copied");
    WRONG(glUnmapBuffer(GL_COPY_READ_BUFFER), GL_INVALID_OPERATION);
    begin_sum();
    add_bytes(got, sizeof got);
    end_sum("mapped and copied");
    glDeleteBuffers(2, buffers);
}

static void queries_and_fences(void)
{
    GLuint query = 0;
    glGenQueries(1, &query);
    begin_sum();
    for (GLsizei count = 0; count <= 3; count += 3) {
        glBeginQuery(GL_ANY_SAMPLES_PASSED, query);
        glDrawArrays(GL_TRIANGLES, 6, count); /* 6, 7 and 8 are in no line */
        GLint current = 0;
        glGetQueryiv(GL_ANY_SAMPLES_PASSED, GL_CURRENT_QUERY, &current);
        check((GLuint)current == query, "the current query");
        glEndQuery(GL_ANY_SAMPLES_PASSED);
        GLuint passed = 7;
        glGetQueryObjectuiv(query, GL_QUERY_RESULT, &passed);
        add_bytes(&passed, sizeof passed);
        check((passed != 0) == (count != 0), "samples that passed");
    }
    glDeleteQueries(1, &query);
    const GLsync fence = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    check(fence != NULL && glIsSync(fence), "glFenceSync");
    glWaitSync(fence, 0, GL_TIMEOUT_IGNORED);
    const GLenum waited = glClientWaitSync(fence, GL_SYNC_FLUSH_COMMANDS_BIT, 1000000000u);
    check(waited == GL_CONDITION_SATISFIED || waited == GL_ALREADY_SIGNALED, "glClientWaitSync");
    GLint status = 0;
    glGetSynciv(fence, GL_SYNC_STATUS, 1, NULL, &status);
    check(status == GL_SIGNALED, "the status of a fence that has passed");
    glDeleteSync(fence);
    end_sum("queries and fences");
}

/* A compute shader counts with an atomic and writes the command of the draw. */
static void compute_and_indirect(struct size size)
{
    const GLuint program = make_compute_program(
        "#version 310 es\nlayout(local_size_x = 8) in;\n"
        "layout(std430, binding = 1) buffer commands { uint count; uint instances; uint first; uint "
        "zero; };\n"
        "void main() { atomicAdd(count, 3u); if (gl_GlobalInvocationID.x == 0u) instances = 1u; }\n");
    const GLuint cleared[4] = {0, 0, 4, 0};
    GLuint commands = 0, array = 0, points = 0;
    glGenBuffers(1, &commands);
    glBindBufferBase(GL_SHADER_STORAGE_BUFFER, 1, commands);
    glBufferData(GL_SHADER_STORAGE_BUFFER, sizeof cleared, cleared, GL_DYNAMIC_DRAW);
    glDispatchCompute(2, 1, 1);
    glMemoryBarrier(GL_ALL_BARRIER_BITS);
    GLuint got[4];
    read_buffer(GL_SHADER_STORAGE_BUFFER, sizeof got, got);
    check(got[0] == 48 && got[1] == 1 && got[2] == 4, "what the compute shader wrote");

    const GLuint pictures = picture_program();
    glGenVertexArrays(1, &array);
    glBindVertexArray(array);
    glGenBuffers(1, &points);
    glBindBuffer(GL_ARRAY_BUFFER, points);
    glBufferData(GL_ARRAY_BUFFER, sizeof grid_points, grid_points, GL_STATIC_DRAW);
    glBindVertexBuffer(0, points, 0, 8);
    glVertexAttribFormat(0, 2, GL_FLOAT, GL_FALSE, 0);
    glVertexAttribBinding(0, 0);
    glEnableVertexAttribArray(0);
    glVertexAttrib4f(1, 0.5f, 1.0f, 0.75f, 1.0f);
    glBindBuffer(GL_DRAW_INDIRECT_BUFFER, commands);
    glClear(GL_COLOR_BUFFER_BIT);
    glDrawArraysIndirect(GL_TRIANGLE_STRIP, NULL);
    begin_sum();
    add_picture(size);
    end_sum("compute and indirect");
    glBindVertexArray(0);
    glDeleteVertexArrays(1, &array);
    glDeleteBuffers(1, &points);
    glDeleteBuffers(1, &commands);
    glDeleteProgram(program);
    glDeleteProgram(pictures);
}

static void wrong_calls(void)
{
    glBindBuffer(GL_ARRAY_BUFFER, 500); /* a name comes to be when it is bound */
    WRONG(glBufferData(GL_ARRAY_BUFFER, -1, NULL, GL_STATIC_DRAW), GL_INVALID_VALUE);
    WRONG(glDrawArrays(7, 0, 1), GL_INVALID_ENUM);
    WRONG(glVertexAttribPointer(0, 5, GL_FLOAT, GL_FALSE, 0, NULL), GL_INVALID_VALUE);
    WRONG(glBindVertexArray(777), GL_INVALID_OPERATION);
}

int main(int count, char** arguments)
{
    const int frames = number_option(count, arguments, "--frames", 2);
    const struct window window = open_window(3);
    const struct size size = window.size;
    make_grid();
    client_arrays();
    mapped_and_copied();
    for (int frame = 0; frame < frames; ++frame) {
        const GLuint program = picture_program();
        glClearColor(0.0f, 0.0f, (float)frame / (float)frames, 1.0f);
        indices(size);
        instances(size);
        queries_and_fences();
        vertex_arrays(size);
        glDeleteProgram(program);
        compute_and_indirect(size);
        check(eglSwapBuffers(window.display, window.surface), "eglSwapBuffers");
    }
    wrong_calls();
    close_window(window);
    return 0;
}
