/* What shaders write: transform feedback into one buffer or several, storage buffers and atomic counters of
 * compute shaders, commands for draws and dispatches among them; and queries and fences, which tell when and
 * how much. Prints a checksum of each subject. feedback [--frames N] */

#include "report.h"
#include "shading.h"

#include <stdio.h>
#include <string.h>

static struct size size;

static GLuint make_buffer(GLenum target, const void* data, size_t bytes)
{
    GLuint buffer = 0;
    glGenBuffers(1, &buffer);
    glBindBuffer(target, buffer);
    glBufferData(target, (GLsizeiptr)bytes, data, GL_DYNAMIC_COPY);
    return buffer;
}

static void add_buffer(GLenum target, GLintptr offset, GLsizeiptr bytes)
{
    const void* const mapped = glMapBufferRange(target, offset, bytes, GL_MAP_READ_BIT);
    check(mapped != NULL, "glMapBufferRange for reading");
    add_bytes(mapped, (size_t)bytes);
    check(glUnmapBuffer(target), "glUnmapBuffer");
}

static const char feedback_vertex[] =
    "#version 300 es\nin vec2 at; uniform float step; flat out ivec2 id; out vec3 where; out float "
    "parts[2];\n"
    "out vec4 colour;\nvoid main() { id = ivec2(gl_VertexID, gl_InstanceID); where = vec3(at * step, step);\n"
    "  parts[0] = at.x; parts[1] = at.y; colour = vec4(abs(where), 1.0); gl_PointSize = 6.0;\n"
    "  gl_Position = vec4(where.xy, 0.0, 1.0); }\n";

static const float places[][2] = {{-0.8f, -0.8f}, {0.8f, -0.6f}, {-0.4f, 0.8f}, {0.2f, 0.3f},
                                  {0.9f, 0.9f},   {-0.9f, 0.1f}, {0.5f, -0.2f}, {-0.1f, -0.5f}};
enum
{
    place_count = 8
};

static void use_places(GLuint program)
{
    const GLint at = glGetAttribLocation(program, "at");
    check(at >= 0, "the attribute's location");
    glVertexAttribPointer((GLuint)at, 2, GL_FLOAT, GL_FALSE, 0, places);
    glEnableVertexAttribArray((GLuint)at);
}

static GLuint written(GLuint query)
{
    GLuint count = 4711;
    glGetQueryObjectuiv(query, GL_QUERY_RESULT, &count);
    return count;
}

static void capture_interleaved(void)
{
    static const char* const varyings[] = {"where", "id", "parts[1]", "gl_Position"};
    const GLuint program =
        make_feedback_program(feedback_vertex, plain_fragment, 4, varyings, GL_INTERLEAVED_ATTRIBS);
    use_places(program);
    glUniform1f(uniform_at(program, "step"), 0.75f);
    const GLuint buffer = make_buffer(GL_TRANSFORM_FEEDBACK_BUFFER, NULL, 4096);
    memset(glMapBufferRange(GL_TRANSFORM_FEEDBACK_BUFFER, 0, 4096, GL_MAP_WRITE_BIT), 0x11, 4096);
    glUnmapBuffer(GL_TRANSFORM_FEEDBACK_BUFFER);
    GLuint query = 0;
    glGenQueries(1, &query);
    static const struct
    {
        GLenum mode, drawn;
        GLsizei count, instances;
    } cases[] = {{GL_POINTS, GL_POINTS, 8, 1},
                 {GL_LINES, GL_LINES, 7, 2},
                 {GL_TRIANGLES, GL_TRIANGLES, 8, 3},
                 {GL_LINES, GL_LINES, 8, 1},
                 {GL_POINTS, GL_POINTS, 0, 1}};
    begin_sum();
    for (size_t i = 0; i < sizeof cases / sizeof *cases; ++i) {
        glBindBufferRange(GL_TRANSFORM_FEEDBACK_BUFFER, 0, buffer, 64 * (GLintptr)i, 2048);
        glClear(GL_COLOR_BUFFER_BIT);
        glBeginQuery(GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN, query);
        glBeginTransformFeedback(cases[i].mode);
        glDrawArraysInstanced(cases[i].drawn, 0, cases[i].count, cases[i].instances);
        glEndTransformFeedback();
        glEndQuery(GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN);
        add_number((GLint)written(query));
        add_buffer(GL_TRANSFORM_FEEDBACK_BUFFER, 0, 4096);
        add_picture(size);
    }
    GLint64 bound[2] = {0};
    glGetInteger64i_v(GL_TRANSFORM_FEEDBACK_BUFFER_START, 0, bound);
    glGetInteger64i_v(GL_TRANSFORM_FEEDBACK_BUFFER_SIZE, 0, bound + 1);
    add_bytes(bound, sizeof bound);
    end_sum("interleaved");
    WRONG(glEndTransformFeedback(), GL_INVALID_OPERATION);
    WRONG(glBeginTransformFeedback(GL_LINE_STRIP), GL_INVALID_ENUM);
    WRONG(glTransformFeedbackVaryings(program, 1, varyings, GL_POINTS), GL_INVALID_ENUM);
    WRONG(glEndQuery(GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN), GL_INVALID_OPERATION);
    glBindBufferBase(GL_TRANSFORM_FEEDBACK_BUFFER, 0, 0);
    glDeleteQueries(1, &query);
    glDeleteBuffers(1, &buffer);
    glDeleteProgram(program);
}

/* Two objects that are filled in turn, each into buffers of its own; one is paused. */
static void capture_separate(void)
{
    static const char* const varyings[] = {"id", "where", "colour"};
    const GLuint program =
        make_feedback_program(feedback_vertex, plain_fragment, 3, varyings, GL_SEPARATE_ATTRIBS);
    use_places(program);
    GLuint objects[2] = {0}, buffers[2][3] = {{0}};
    glGenTransformFeedbacks(2, objects);
    begin_sum();
    check(!glIsTransformFeedback(objects[0]), "a name alone is no transform feedback");
    for (int k = 0; k < 2; ++k) {
        glBindTransformFeedback(GL_TRANSFORM_FEEDBACK, objects[k]);
        for (GLuint i = 0; i < 3; ++i) {
            buffers[k][i] = make_buffer(GL_COPY_WRITE_BUFFER, places, 512);
            glBindBufferBase(GL_TRANSFORM_FEEDBACK_BUFFER, i, buffers[k][i]);
        }
    }
    check(glIsTransformFeedback(objects[0]), "glIsTransformFeedback");
    glEnable(GL_RASTERIZER_DISCARD);
    glUniform1f(uniform_at(program, "step"), 0.5f);
    glBindTransformFeedback(GL_TRANSFORM_FEEDBACK, objects[0]);
    glBeginTransformFeedback(GL_POINTS);
    glDrawArrays(GL_POINTS, 0, 3);
    glPauseTransformFeedback();
    GLboolean state[2] = {0};
    glGetBooleanv(GL_TRANSFORM_FEEDBACK_PAUSED, state);
    glGetBooleanv(GL_TRANSFORM_FEEDBACK_ACTIVE, state + 1);
    add_bytes(state, sizeof state);
    glDrawArrays(GL_POINTS, 3, 2); /* goes nowhere */
    glBindTransformFeedback(GL_TRANSFORM_FEEDBACK, objects[1]);
    glUniform1f(uniform_at(program, "step"), 2.0f);
    glBeginTransformFeedback(GL_POINTS);
    glDrawArrays(GL_POINTS, 1, 6);
    glEndTransformFeedback();
    glBindTransformFeedback(GL_TRANSFORM_FEEDBACK, objects[0]);
    glResumeTransformFeedback();
    glDrawArrays(GL_POINTS, 6, 2); /* behind the first three */
    WRONG(glBindTransformFeedback(GL_TRANSFORM_FEEDBACK, objects[1]), GL_INVALID_OPERATION);
    WRONG(glDeleteTransformFeedbacks(1, objects), GL_INVALID_OPERATION);
    glEndTransformFeedback();
    glDisable(GL_RASTERIZER_DISCARD);
    for (int k = 0; k < 2; ++k)
        for (int i = 0; i < 3; ++i) {
            glBindBuffer(GL_COPY_READ_BUFFER, buffers[k][i]);
            add_buffer(GL_COPY_READ_BUFFER, 0, 512);
        }
    end_sum("separate");
    glBindTransformFeedback(GL_TRANSFORM_FEEDBACK, 0);
    glDeleteProgram(program);

    /* what was written is what is drawn now */
    const GLuint plain =
        make_program("#version 300 es\nlayout(location = 0) in vec3 at; layout(location = 1) in vec4 "
                     "tint; out vec4 colour;\nvoid main() { colour = tint; gl_PointSize = 9.0; "
                     "gl_Position = vec4(at.xy, 0.0, 1.0); }\n",
                     plain_fragment);
    begin_sum();
    glClear(GL_COLOR_BUFFER_BIT);
    for (int k = 0; k < 2; ++k) {
        glBindBuffer(GL_ARRAY_BUFFER, buffers[k][1]);
        glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 0, NULL);
        glBindBuffer(GL_ARRAY_BUFFER, buffers[k][2]);
        glVertexAttribPointer(1, 4, GL_FLOAT, GL_FALSE, 0, NULL);
        glEnableVertexAttribArray(0);
        glEnableVertexAttribArray(1);
        glDrawArrays(k ? GL_TRIANGLES : GL_POINTS, 0, k ? 6 : 5);
    }
    add_picture(size);
    end_sum("drawn again");
    glDisableVertexAttribArray(0);
    glDisableVertexAttribArray(1);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glDeleteTransformFeedbacks(2, objects);
    glDeleteBuffers(6, &buffers[0][0]);
    glDeleteProgram(plain);
}

/* Samples that pass, in each kind of query, several at once. */
static void count_samples(void)
{
    const GLuint program = make_program(feedback_vertex, plain_fragment);
    use_places(program);
    glUniform1f(uniform_at(program, "step"), 1.0f);
    GLuint queries[3] = {0};
    glGenQueries(3, queries);
    begin_sum();
    check(!glIsQuery(queries[0]), "a name alone is no query");
    glEnable(GL_DEPTH_TEST);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    for (int hidden = 0; hidden < 2; ++hidden) {
        glDepthFunc(hidden ? GL_NEVER : GL_LESS);
        glBeginQuery(GL_ANY_SAMPLES_PASSED, queries[0]);
        glDrawArrays(GL_TRIANGLES, 0, 3);
        glEndQuery(GL_ANY_SAMPLES_PASSED);
        glBeginQuery(GL_ANY_SAMPLES_PASSED_CONSERVATIVE, queries[1]);
        glDrawArrays(GL_POINTS, 4, 4);
        glEndQuery(GL_ANY_SAMPLES_PASSED_CONSERVATIVE);
        GLuint available = GL_FALSE;
        while (!available) /* a result comes in its own time */
            glGetQueryObjectuiv(queries[1], GL_QUERY_RESULT_AVAILABLE, &available);
        add_number(written(queries[0]) != 0);
        add_number(written(queries[1]) != 0);
    }
    check(glIsQuery(queries[0]) && !glIsQuery(queries[2]), "glIsQuery");
    glDepthFunc(GL_LESS);
    glDisable(GL_DEPTH_TEST);
    add_picture(size);
    end_sum("samples that passed");
    WRONG(glBeginQuery(GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN, queries[0]), GL_INVALID_OPERATION);
    WRONG(glBeginQuery(GL_ANY_SAMPLES_PASSED, 0), GL_INVALID_OPERATION);
    WRONG(glBeginQuery(GL_TEXTURE_2D, queries[2]), GL_INVALID_ENUM);
    WRONG(glGetQueryObjectuiv(9999, GL_QUERY_RESULT, queries + 2), GL_INVALID_OPERATION);
    glDeleteQueries(2, queries);
    glDeleteProgram(program);
}

static void wait_for_fences(void)
{
    begin_sum();
    GLsync fences[4];
    for (int i = 0; i < 4; ++i) {
        glClear(GL_COLOR_BUFFER_BIT);
        fences[i] = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
        check(fences[i] != NULL && glIsSync(fences[i]), "glFenceSync");
    }
    check(fences[0] != fences[1], "two fences");
    glWaitSync(fences[3], 0, GL_TIMEOUT_IGNORED);
    GLenum result = GL_TIMEOUT_EXPIRED;
    while (result == GL_TIMEOUT_EXPIRED)
        result = glClientWaitSync(fences[3], GL_SYNC_FLUSH_COMMANDS_BIT, 20000000u);
    check(result == GL_CONDITION_SATISFIED || result == GL_ALREADY_SIGNALED, "glClientWaitSync");
    check(glClientWaitSync(fences[1], 0, 0) == GL_ALREADY_SIGNALED, "an earlier fence");
    static const GLenum questions[] = {GL_OBJECT_TYPE, GL_SYNC_STATUS, GL_SYNC_CONDITION, GL_SYNC_FLAGS};
    for (int i = 0; i < 4; ++i) {
        GLint value = -1;
        GLsizei length = -1;
        glGetSynciv(fences[3], questions[i], 1, &length, &value);
        add_number(value);
        add_number(length);
    }
    for (int i = 0; i < 4; ++i)
        glDeleteSync(fences[i]);
    glDeleteSync(NULL);
    check(!glIsSync(fences[0]), "a deleted fence");
    end_sum("fences");
    WRONG(glFenceSync(GL_TEXTURE_2D, 0), GL_INVALID_ENUM);
    WRONG(glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 1), GL_INVALID_VALUE);
}

/* Compute shaders make vertices, indices and the commands of what follows; counters count it. */

static const char compute_text[] =
    "#version 310 es\nlayout(local_size_x = 4, local_size_y = 2) in;\n"
    "struct vertex { vec2 at; vec2 tint; };\n"
    "layout(std430, binding = 0) writeonly buffer vertex_block { vertex vertices[]; };\n"
    "layout(std430, binding = 3) buffer index_block { uint indices[]; };\n"
    "layout(std430, binding = 2) buffer command_block { uint draw[5]; uint rest[3]; uint groups[3]; } "
    "commands;\n"
    "layout(binding = 0, offset = 4) uniform atomic_uint even; layout(binding = 0, offset = 0) uniform "
    "atomic_uint "
    "all;\n"
    "uniform float bend; shared uint last[8];\n"
    "void main() { uint n = gl_GlobalInvocationID.x + gl_GlobalInvocationID.y * 8u;\n"
    "  float turn = float(n) * 0.4; vertices[n].at = vec2(float(n % 8u) * 0.25 - 0.9, float(n / 8u) * 0.4 - "
    "0.7)\n"
    "    + vec2(bend * float(n & 1u), 0.0); vertices[n].tint = vec2(float(n) / 32.0, fract(turn));\n"
    "  last[gl_LocalInvocationIndex] = n; barrier(); memoryBarrierShared();\n"
    "  indices[n] = last[7u - gl_LocalInvocationIndex]; atomicCounterIncrement(all);\n"
    "  if ((n & 1u) == 0u) atomicCounterIncrement(even); atomicMax(commands.draw[0], n + 1u);\n"
    "  if (n == 0u) { commands.draw[1] = 2u; commands.draw[2] = 4u; commands.draw[3] = 1u; commands.draw[4] "
    "= 0u;\n"
    "    commands.groups[0] = 1u; commands.groups[1] = 2u; commands.groups[2] = 1u; } }\n";

static GLuint counters[2];

static void read_counters(GLuint buffer)
{
    glBindBuffer(GL_ATOMIC_COUNTER_BUFFER, buffer);
    const void* const mapped =
        glMapBufferRange(GL_ATOMIC_COUNTER_BUFFER, 0, sizeof counters, GL_MAP_READ_BIT);
    check(mapped != NULL, "glMapBufferRange of counters");
    memcpy(counters, mapped, sizeof counters);
    check(glUnmapBuffer(GL_ATOMIC_COUNTER_BUFFER), "glUnmapBuffer");
}

static void compute(void)
{
    const GLuint program = make_compute_program(compute_text);
    GLint group[3] = {0};
    glGetProgramiv(program, GL_COMPUTE_WORK_GROUP_SIZE, group);
    begin_sum();
    add_bytes(group, sizeof group);
    const GLuint vertices = make_buffer(GL_SHADER_STORAGE_BUFFER, NULL, 32 * 16);
    const GLuint indices = make_buffer(GL_SHADER_STORAGE_BUFFER, NULL, 32 * 4);
    const GLuint commands = make_buffer(GL_SHADER_STORAGE_BUFFER, (const GLuint[11]){0}, 44);
    const GLuint counted = make_buffer(GL_ATOMIC_COUNTER_BUFFER, (const GLuint[2]){100, 7}, 8);
    glBindBufferBase(GL_SHADER_STORAGE_BUFFER, 0, vertices);
    glBindBufferBase(GL_SHADER_STORAGE_BUFFER, 3, indices);
    glBindBufferBase(GL_SHADER_STORAGE_BUFFER, 2, commands);
    glBindBufferBase(GL_ATOMIC_COUNTER_BUFFER, 0, counted);
    glUniform1f(uniform_at(program, "bend"), 0.0625f);
    glDispatchCompute(2, 2, 1);
    glMemoryBarrier(GL_SHADER_STORAGE_BARRIER_BIT | GL_COMMAND_BARRIER_BIT | GL_ATOMIC_COUNTER_BARRIER_BIT |
                    GL_BUFFER_UPDATE_BARRIER_BIT);
    read_counters(counted);
    check(counters[0] == 132 && counters[1] == 23, "what was counted");
    glBindBuffer(GL_DISPATCH_INDIRECT_BUFFER, commands);
    glUniform1f(uniform_at(program, "bend"), 0.125f);
    glDispatchComputeIndirect(32); /* the left half again, bent more */
    glMemoryBarrier(GL_ALL_BARRIER_BITS);
    read_counters(counted);
    add_bytes(counters, sizeof counters);
    glBindBuffer(GL_COPY_READ_BUFFER, vertices);
    add_buffer(GL_COPY_READ_BUFFER, 0, 32 * 16);
    glBindBuffer(GL_COPY_READ_BUFFER, indices);
    add_buffer(GL_COPY_READ_BUFFER, 0, 32 * 4);
    glBindBuffer(GL_COPY_READ_BUFFER, commands);
    add_buffer(GL_COPY_READ_BUFFER, 0, 44);
    end_sum("computed buffers");
    WRONG(glDispatchCompute(0x7fffffff, 1, 1), GL_INVALID_VALUE);
    WRONG(glDispatchComputeIndirect(2), GL_INVALID_VALUE);
    glDeleteProgram(program);

    const GLuint drawing =
        make_program("#version 300 es\nlayout(location = 0) in vec2 at; layout(location = 1) in vec2 "
                     "tint; out vec4 colour;\nvoid main() { colour = vec4(tint, "
                     "float(gl_InstanceID) * 0.5, 1.0); gl_PointSize = 5.0;\n  gl_Position = vec4(at "
                     "+ float(gl_InstanceID) * 0.1, 0.0, 1.0); }\n",
                     plain_fragment);
    GLuint array = 0;
    glGenVertexArrays(1, &array);
    glBindVertexArray(array);
    glBindBuffer(GL_ARRAY_BUFFER, vertices);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 16, NULL);
    glVertexAttribPointer(1, 2, GL_FLOAT, GL_FALSE, 16, (void*)8);
    glEnableVertexAttribArray(0);
    glEnableVertexAttribArray(1);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, indices);
    glBindBuffer(GL_DRAW_INDIRECT_BUFFER, commands);
    begin_sum();
    glClear(GL_COLOR_BUFFER_BIT);
    /* counts 32, 2 instances, from the fourth index on, vertices from the first on */
    glBufferSubData(GL_DRAW_INDIRECT_BUFFER, 0, 4, (const GLuint[]){24});
    glDrawElementsIndirect(GL_TRIANGLE_STRIP, GL_UNSIGNED_INT, NULL);
    glDrawArraysIndirect(GL_POINTS, NULL);
    add_picture(size);
    end_sum("computed commands");
    WRONG(glDrawArraysIndirect(GL_POINTS, (void*)1000), GL_INVALID_OPERATION);
    glBindVertexArray(0);
    WRONG(glDrawElementsIndirect(GL_POINTS, GL_UNSIGNED_INT, NULL), GL_INVALID_OPERATION);
    glDeleteVertexArrays(1, &array);
    for (GLuint i = 0; i < 4; ++i)
        glBindBufferBase(GL_SHADER_STORAGE_BUFFER, i, 0);
    const GLuint all[] = {vertices, indices, commands, counted};
    glDeleteBuffers(4, all);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glDeleteProgram(drawing);
}

/* What a program tells of its storage. */
static void ask_storage(void)
{
    const GLuint program = make_compute_program(compute_text);
    begin_sum();
    static const GLenum interfaces[] = {GL_BUFFER_VARIABLE, GL_SHADER_STORAGE_BLOCK, GL_ATOMIC_COUNTER_BUFFER,
                                        GL_UNIFORM};
    for (int i = 0; i < 4; ++i) {
        GLint count = 0;
        glGetProgramInterfaceiv(program, interfaces[i], GL_ACTIVE_RESOURCES, &count);
        add_number(count);
        for (GLuint k = 0; k < (GLuint)count && i != 2; ++k) {
            char name[40] = "";
            glGetProgramResourceName(program, interfaces[i], k, sizeof name, NULL, name);
            add_text(name);
        }
    }
    static const GLenum block[] = {GL_BUFFER_BINDING, GL_BUFFER_DATA_SIZE, GL_NUM_ACTIVE_VARIABLES,
                                   GL_REFERENCED_BY_COMPUTE_SHADER};
    static const GLenum variable[] = {
        GL_OFFSET,     GL_ARRAY_STRIDE, GL_TOP_LEVEL_ARRAY_STRIDE, GL_TOP_LEVEL_ARRAY_SIZE, GL_IS_ROW_MAJOR,
        GL_ARRAY_SIZE, GL_TYPE};
    GLint values[8] = {0};
    glGetProgramResourceiv(program, GL_SHADER_STORAGE_BLOCK,
                           glGetProgramResourceIndex(program, GL_SHADER_STORAGE_BLOCK, "command_block"), 4,
                           block, 8, NULL, values);
    add_bytes(values, sizeof values);
    glGetProgramResourceiv(program, GL_BUFFER_VARIABLE,
                           glGetProgramResourceIndex(program, GL_BUFFER_VARIABLE, "vertices[0].tint"), 7,
                           variable, 8, NULL, values);
    add_bytes(values, sizeof values);
    static const GLenum counter[] = {GL_BUFFER_BINDING, GL_BUFFER_DATA_SIZE, GL_NUM_ACTIVE_VARIABLES};
    glGetProgramResourceiv(program, GL_ATOMIC_COUNTER_BUFFER, 0, 3, counter, 8, NULL, values);
    add_bytes(values, sizeof values);
    static const GLenum limits[] = {GL_MAX_COMPUTE_WORK_GROUP_COUNT, GL_MAX_COMPUTE_WORK_GROUP_SIZE};
    for (int i = 0; i < 6; ++i) {
        GLint limit = 0;
        glGetIntegeri_v(limits[i / 3], (GLuint)(i % 3), &limit);
        add_number(limit);
    }
    end_sum("storage of a program");
    glDeleteProgram(program);
}

int main(int count, char** arguments)
{
    const int frames = number_option(count, arguments, "--frames", 2);
    const struct window window = open_window(3);
    size = window.size;
    for (int frame = 0; frame < frames; ++frame) {
        glClearColor(0.0f, (float)frame / (float)frames, 0.5f, 1.0f);
        capture_interleaved();
        capture_separate();
        count_samples();
        wait_for_fences();
        compute();
        ask_storage();
        check(eglSwapBuffers(window.display, window.surface), "eglSwapBuffers");
    }
    close_window(window);
    return 0;
}
