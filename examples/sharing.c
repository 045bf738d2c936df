/* Contexts that share and contexts that don't, on one thread and on many: objects that one context makes and
 * another uses, objects that are deleted under another context's feet, contexts that move from thread to
 * thread, and ends in odd orders. What is printed doesn't depend on who comes first. */

#include "report.h"
#include "window.h"

#include <GLES3/gl31.h>

#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum
{
    side = 16
};

static EGLDisplay display;
static EGLConfig config;

static EGLSurface make_pbuffer(void)
{
    const EGLint attributes[] = {EGL_WIDTH, side, EGL_HEIGHT, side, EGL_NONE};
    const EGLSurface surface = eglCreatePbufferSurface(display, config, attributes);
    check(surface != EGL_NO_SURFACE, "eglCreatePbufferSurface");
    return surface;
}

static EGLContext make_sharing(EGLContext with)
{
    const EGLint attributes[] = {EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE};
    const EGLContext context = eglCreateContext(display, config, with, attributes);
    check(context != EGL_NO_CONTEXT, "eglCreateContext");
    return context;
}

static void use(EGLSurface surface, EGLContext context)
{
    check(eglMakeCurrent(display, surface, surface, context), "eglMakeCurrent");
}

static void use_none(void)
{
    check(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT), "eglMakeCurrent to none");
}

static void run(void* (*code)(void*), void* argument)
{
    pthread_t thread;
    check(pthread_create(&thread, NULL, code, argument) == 0, "pthread_create");
    check(pthread_join(thread, NULL) == 0, "pthread_join");
}

/* A buffer's bytes, by mapping. */
static void add_buffer(GLuint buffer, GLsizeiptr size)
{
    glBindBuffer(GL_COPY_READ_BUFFER, buffer);
    const void* mapped = glMapBufferRange(GL_COPY_READ_BUFFER, 0, size, GL_MAP_READ_BIT);
    check(mapped != NULL, "glMapBufferRange");
    add_bytes(mapped, (size_t)size);
    check(glUnmapBuffer(GL_COPY_READ_BUFFER), "glUnmapBuffer");
    glBindBuffer(GL_COPY_READ_BUFFER, 0);
}

static GLuint filled_buffer(int seed)
{
    unsigned char bytes[64];
    GLuint buffer = 0;
    for (int i = 0; i < 64; ++i)
        bytes[i] = (unsigned char)(seed * 31 + i * 7);
    glGenBuffers(1, &buffer);
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glBufferData(GL_ARRAY_BUFFER, sizeof bytes, bytes, GL_STATIC_DRAW);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    return buffer;
}

static GLuint filled_texture(int seed)
{
    unsigned char bytes[4 * 4 * 4];
    GLuint texture = 0;
    for (int i = 0; i < 64; ++i)
        bytes[i] = (unsigned char)(seed * 13 + i * 3);
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 4, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE, bytes);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    return texture;
}

/* A texture's texels, through a frame buffer object of this context's own. */
static void add_texture(GLuint texture)
{
    const struct size size = {4, 4};
    GLuint frame = 0;
    glGenFramebuffers(1, &frame);
    glBindFramebuffer(GL_FRAMEBUFFER, frame);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    check(glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE, "a complete frame buffer");
    add_picture(size);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &frame);
}

/* A program that paints all in one colour, which its fragment shader has in its text. */
static GLuint painting_program(int seed)
{
    char fragment[256];
    snprintf(fragment, sizeof fragment,
             "#version 300 es\nprecision mediump float; uniform float blue; out vec4 colour;\n"
             "void main() { colour = vec4(%d.0 / 255.0, 0.5, blue, 1.0); }\n",
             seed % 256);
    const char* texts[2] = {"#version 300 es\nlayout(location = 0) in vec4 at; uniform vec4 move;\n"
                            "void main() { gl_Position = at + move; }\n",
                            fragment};
    const GLenum kinds[2] = {GL_VERTEX_SHADER, GL_FRAGMENT_SHADER};
    const GLuint program = glCreateProgram();
    for (int i = 0; i < 2; ++i) {
        const GLuint shader = glCreateShader(kinds[i]);
        glShaderSource(shader, 1, &texts[i], NULL);
        glCompileShader(shader);
        glAttachShader(program, shader);
        glDeleteShader(shader);
    }
    glLinkProgram(program);
    GLint linked = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &linked);
    check(linked, "linking");
    return program;
}

static const float corners[8] = {-1, -1, 1, -1, -1, 1, 1, 1};

static GLuint corner_buffer(void)
{
    GLuint buffer = 0;
    glGenBuffers(1, &buffer);
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glBufferData(GL_ARRAY_BUFFER, sizeof corners, corners, GL_STATIC_DRAW);
    return buffer;
}

/* Paints the surface from a buffer of corners. */
static void paint(GLuint program, GLuint buffer, float blue)
{
    glUseProgram(program);
    glUniform1f(glGetUniformLocation(program, "blue"), blue);
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, NULL);
    glEnableVertexAttribArray(0);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
}

static void add_surface(void)
{
    const struct size size = {side, side};
    add_picture(size);
}

/* Three contexts take turns on this thread; the third has the same names for other things. */
static void on_one_thread(void)
{
    const EGLSurface surface = make_pbuffer();
    const EGLContext first = make_sharing(EGL_NO_CONTEXT), second = make_sharing(first),
                     alone = make_sharing(EGL_NO_CONTEXT);
    begin_sum();
    use(surface, first);
    const GLuint buffer = filled_buffer(1), program = painting_program(200), corner = corner_buffer(),
                 texture = filled_texture(1);
    GLuint array = 0;
    glGenVertexArrays(1, &array);
    glBindVertexArray(array);
    glClearColor(0.25f, 0.5f, 0.75f, 1.0f);
    glFinish();

    use(surface, second);
    check(glIsBuffer(buffer) && glIsProgram(program) && glIsTexture(texture), "objects of the group");
    check(!glIsVertexArray(array), "a vertex array of another context");
    add_buffer(buffer, 64);
    add_texture(texture);
    paint(program, corner, 0.25f);
    add_surface();
    const GLuint newer = filled_buffer(2);
    check(newer != buffer && newer != corner, "a name of the group's own");
    glFinish();

    use(surface, alone);
    check(!glIsBuffer(buffer) && !glIsProgram(program) && !glIsTexture(texture),
          "no objects of another group");
    GLuint same = 0;
    do /* until the name is one that the group has */
        same = filled_buffer(3);
    while (same < buffer);
    check(same == buffer, "the same name in both groups");
    add_buffer(same, 64);
    glClear(GL_COLOR_BUFFER_BIT);
    add_surface();

    use(surface, first);
    GLint bound = 0;
    glGetIntegerv(GL_VERTEX_ARRAY_BINDING, &bound);
    check((GLuint)bound == array, "state that waited for its context");
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    check((GLuint)bound == texture, "a texture that waited for its context");
    add_buffer(buffer, 64);
    add_buffer(newer, 64);
    glClear(GL_COLOR_BUFFER_BIT);
    add_surface();
    end_sum("on one thread");

    use_none();
    check(eglDestroyContext(display, first), "eglDestroyContext");
    use(surface, second);
    begin_sum();
    add_buffer(buffer, 64);
    paint(program, corner, 1.0f);
    add_surface();
    end_sum("after the first is gone");
    use_none();
    check(eglDestroyContext(display, alone), "eglDestroyContext");
    check(eglDestroySurface(display, surface), "eglDestroySurface");
    check(eglDestroyContext(display, second), "eglDestroyContext");
}

/* What one context deletes while another one has it bound or in use. Mapping and copying such a buffer is
 * left out: targets can't, since a mapping is found by the name of its buffer. */
static void deleted_elsewhere(void)
{
    const EGLSurface surface = make_pbuffer(), other = make_pbuffer();
    const EGLContext keeper = make_sharing(EGL_NO_CONTEXT), deleter = make_sharing(keeper);
    begin_sum();
    use(surface, keeper);
    const GLuint program = painting_program(100), corner = corner_buffer();
    paint(program, corner, 0.5f);
    glFinish();

    use(other, deleter);
    glDeleteProgram(program);
    glDeleteBuffers(1, &corner);
    check(!glIsBuffer(corner), "a deleted buffer");
    check(glIsProgram(program), "a program in use elsewhere");
    GLint doomed = 0;
    glGetProgramiv(program, GL_DELETE_STATUS, &doomed);
    check(doomed, "the delete status of a program in use");
    glFinish();

    use(surface, keeper);
    GLint bound = 0;
    glGetIntegerv(GL_ARRAY_BUFFER_BINDING, &bound);
    check((GLuint)bound == corner, "a binding of what is deleted elsewhere");
    glGetIntegerv(GL_CURRENT_PROGRAM, &bound);
    check((GLuint)bound == program, "a program in use that is deleted elsewhere");
    glClear(GL_COLOR_BUFFER_BIT);
    glUniform1f(glGetUniformLocation(program, "blue"), 0.75f);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    add_surface();
    glBufferSubData(GL_ARRAY_BUFFER, 0, 4, corners + 1);
    glGetBufferParameteriv(GL_ARRAY_BUFFER, GL_BUFFER_SIZE, &bound);
    add_number(bound);
    glClear(GL_COLOR_BUFFER_BIT);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 3);
    add_surface();
    end_sum("deleted elsewhere");
    glUseProgram(0);
    check(!glIsProgram(program), "a deleted program out of use");
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    use_none();
    check(eglDestroyContext(display, keeper) && eglDestroyContext(display, deleter), "eglDestroyContext");
    check(eglDestroySurface(display, surface) && eglDestroySurface(display, other), "eglDestroySurface");
}

/* The same for what pictures are in. */
static void pictures_deleted_elsewhere(void)
{
    const EGLSurface surface = make_pbuffer(), other = make_pbuffer();
    const EGLContext keeper = make_sharing(EGL_NO_CONTEXT), deleter = make_sharing(keeper);
    const struct size size = {4, 4};
    GLuint frames[2] = {0}, render = 0, sampler = 0;
    begin_sum();
    use(surface, keeper);
    const GLuint texture = filled_texture(9);
    glGenFramebuffers(2, frames);
    glBindFramebuffer(GL_FRAMEBUFFER, frames[0]);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    glGenRenderbuffers(1, &render);
    glBindRenderbuffer(GL_RENDERBUFFER, render);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, 4, 4);
    glBindFramebuffer(GL_FRAMEBUFFER, frames[1]);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, render);
    glClearColor(0.5f, 0.25f, 1.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glGenSamplers(1, &sampler);
    glBindSampler(1, sampler);
    glFinish();

    use(other, deleter);
    glDeleteTextures(1, &texture);
    glDeleteRenderbuffers(1, &render);
    glDeleteSamplers(1, &sampler);
    check(!glIsTexture(texture) && !glIsRenderbuffer(render) && !glIsSampler(sampler), "deleted objects");
    glFinish();

    use(surface, keeper);
    add_picture(size);
    glBindFramebuffer(GL_FRAMEBUFFER, frames[0]);
    check(glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE, "a frame buffer as it was");
    add_picture(size);
    GLint bound = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    check((GLuint)bound == texture, "a texture that is deleted elsewhere");
    glGetIntegerv(GL_RENDERBUFFER_BINDING, &bound);
    check((GLuint)bound == render, "a renderbuffer that is deleted elsewhere");
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, "abcd");
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    add_picture(size);
    glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_WIDTH, &bound);
    add_number(bound);
    end_sum("pictures deleted elsewhere");
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(2, frames);
    use_none();
    check(eglDestroyContext(display, deleter) && eglDestroyContext(display, keeper), "eglDestroyContext");
    check(eglDestroySurface(display, surface) && eglDestroySurface(display, other), "eglDestroySurface");
}

/* Many at once. */

enum
{
    workers = 4,
    rounds = 40
};
struct worker
{
    int number;
    EGLContext context;
    EGLSurface surface;
    GLuint kept[rounds];
    GLuint textures[rounds];
    GLuint program;
    GLsync fence;
};

static void* work(void* argument)
{
    struct worker* self = argument;
    use(self->surface, self->context);
    for (int round = 0; round < rounds; ++round) {
        self->kept[round] = filled_buffer(self->number * rounds + round);
        self->textures[round] = filled_texture(self->number * rounds + round);
        const GLuint spare = filled_buffer(0), corner = corner_buffer();
        const GLuint program = painting_program(self->number * 50 + round);
        paint(program, corner, 0.5f);
        unsigned char pixel[4] = {0};
        glReadPixels(3, 5, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixel);
        check(pixel[0] == self->number * 50 + round, "a thread's own colour");
        GLint bound = 0;
        glBindBufferBase(GL_UNIFORM_BUFFER, 1, spare);
        glGetIntegeri_v(GL_UNIFORM_BUFFER_BINDING, 1, &bound);
        check((GLuint)bound == spare, "a thread's own binding");
        glBindBufferBase(GL_UNIFORM_BUFFER, 1, 0);
        glUseProgram(0);
        glDeleteBuffers(1, &spare);
        glDeleteBuffers(1, &corner);
        if (round + 1 < rounds)
            glDeleteProgram(program);
        else
            self->program = program;
    }
    self->fence = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    check(self->fence != NULL, "glFenceSync");
    glFlush();
    check_gl("a worker");
    use_none();
    check(eglReleaseThread(), "eglReleaseThread");
    return NULL;
}

static void many_threads(void)
{
    pthread_t threads[workers];
    struct worker all[workers];
    const EGLSurface surface = make_pbuffer();
    const EGLContext context = make_sharing(EGL_NO_CONTEXT);
    use(surface, context);
    for (int i = 0; i < workers; ++i) {
        const struct worker one = {i, make_sharing(context), make_pbuffer(), {0}, {0}, 0, NULL};
        all[i] = one;
    }
    for (int i = 0; i < workers; ++i)
        check(pthread_create(&threads[i], NULL, work, &all[i]) == 0, "pthread_create");
    for (int i = 0; i < workers; ++i)
        check(pthread_join(threads[i], NULL) == 0, "pthread_join");
    begin_sum();
    const GLuint corner = corner_buffer();
    for (int i = 0; i < workers; ++i) {
        check(glIsSync(all[i].fence), "a fence of another thread");
        glWaitSync(all[i].fence, 0, GL_TIMEOUT_IGNORED);
        const GLenum waited = glClientWaitSync(all[i].fence, GL_SYNC_FLUSH_COMMANDS_BIT, 10000000000u);
        check(waited == GL_ALREADY_SIGNALED || waited == GL_CONDITION_SATISFIED, "glClientWaitSync");
        glDeleteSync(all[i].fence);
        for (int round = 0; round < rounds; ++round) {
            add_buffer(all[i].kept[round], 64);
            add_texture(all[i].textures[round]);
        }
        paint(all[i].program, corner, 0.125f);
        add_surface();
        if (i % 2) /* some of the names go before their context, others with it */
            glDeleteBuffers(rounds, all[i].kept);
        else
            glDeleteTextures(rounds, all[i].textures);
        check(eglDestroyContext(display, all[i].context), "eglDestroyContext");
        check(eglDestroySurface(display, all[i].surface), "eglDestroySurface");
    }
    end_sum("many threads");
    use_none();
    check(eglDestroyContext(display, context), "eglDestroyContext");
    check(eglDestroySurface(display, surface), "eglDestroySurface");
}

/* One context that goes from thread to thread with all of its state. */
struct stop
{
    EGLContext context;
    EGLSurface surface;
    int number;
    GLuint program;
    GLuint corner;
};

static void* visit(void* argument)
{
    struct stop* stop = argument;
    check(eglGetCurrentContext() == EGL_NO_CONTEXT, "a thread without a context");
    use(stop->surface, stop->context);
    check(eglGetCurrentContext() == stop->context, "eglGetCurrentContext");
    check(eglGetCurrentSurface(EGL_DRAW) == stop->surface, "eglGetCurrentSurface");
    if (stop->number == 0) {
        stop->program = painting_program(77);
        stop->corner = corner_buffer();
        paint(stop->program, stop->corner, 0.0f);
        glEnable(GL_SCISSOR_TEST);
    }
    GLint current = 0, box[4];
    glGetIntegerv(GL_CURRENT_PROGRAM, &current);
    check((GLuint)current == stop->program, "a program that came along");
    glGetIntegerv(GL_SCISSOR_BOX, box);
    if (stop->number > 0)
        check(box[0] == stop->number - 1 && box[2] == 3, "a scissor box that came along");
    glUniform1f(glGetUniformLocation(stop->program, "blue"), (float)stop->number / 8.0f);
    glScissor(stop->number, stop->number, 3, 3);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    check_gl("a visit");
    use_none();
    return NULL;
}

static void moving(void)
{
    struct stop stop = {make_sharing(EGL_NO_CONTEXT), make_pbuffer(), 0, 0, 0};
    for (stop.number = 0; stop.number < 8; ++stop.number)
        run(visit, &stop);
    use(stop.surface, stop.context);
    begin_sum();
    add_surface();
    end_sum("moving");
    use_none();
    check(eglDestroySurface(display, stop.surface), "eglDestroySurface");
    check(eglDestroyContext(display, stop.context), "eglDestroyContext");
}

/* Two contexts, two surfaces, each with each. */
static void crossing(void)
{
    const EGLSurface surfaces[2] = {make_pbuffer(), make_pbuffer()};
    const EGLContext contexts[2] = {make_sharing(EGL_NO_CONTEXT), make_sharing(EGL_NO_CONTEXT)};
    begin_sum();
    for (int i = 0; i < 2; ++i) { /* nobody knows what is in a new surface */
        use(surfaces[i], contexts[0]);
        glClear(GL_COLOR_BUFFER_BIT);
    }
    for (int turn = 0; turn < 8; ++turn) {
        use(surfaces[turn & 1], contexts[turn >> 1 & 1]);
        glEnable(GL_SCISSOR_TEST);
        glScissor(turn, turn, 2, 2);
        glClearColor((float)turn / 8.0f, 1.0f, 0.0f, 1.0f);
        glClear(GL_COLOR_BUFFER_BIT);
        add_surface();
    }
    /* Drawn to one, read from the other. */
    check(eglMakeCurrent(display, surfaces[0], surfaces[1], contexts[0]), "eglMakeCurrent with two surfaces");
    glClearColor(1.0f, 0.0f, 1.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    add_surface();
    use(surfaces[0], contexts[1]);
    add_surface();
    end_sum("crossing");
    use_none();
    for (int i = 0; i < 2; ++i)
        check(eglDestroySurface(display, surfaces[i]) && eglDestroyContext(display, contexts[i]),
              "destroying both");
}

/* Without any surface, into a frame buffer object. */
static void without_surface(void)
{
    const EGLContext context = make_sharing(EGL_NO_CONTEXT);
    GLuint frame = 0, picture = 0;
    use(EGL_NO_SURFACE, context);
    check(eglGetCurrentSurface(EGL_DRAW) == EGL_NO_SURFACE, "no surface");
    glGenFramebuffers(1, &frame);
    glGenRenderbuffers(1, &picture);
    glBindFramebuffer(GL_FRAMEBUFFER, frame);
    glBindRenderbuffer(GL_RENDERBUFFER, picture);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, side, side);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, picture);
    check(glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE, "a complete frame buffer");
    glViewport(0, 0, side, side);
    glClear(GL_COLOR_BUFFER_BIT);
    begin_sum();
    paint(painting_program(33), corner_buffer(), 0.5f);
    add_surface();
    end_sum("without a surface");
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &frame);
    glDeleteRenderbuffers(1, &picture);
    use_none();
    check(eglDestroyContext(display, context), "eglDestroyContext");
}

/* What EGL refuses, and ends in odd orders. */

static void print_egl(const char* what, EGLBoolean done)
{
    printf("%-40s %d 0x%04x\n", what, (int)done, (unsigned)eglGetError());
}

static void* take_away(void* argument)
{
    const struct stop* stop = argument;
    print_egl("current on another thread",
              eglMakeCurrent(display, stop->surface, stop->surface, stop->context));
    check(eglGetCurrentContext() == EGL_NO_CONTEXT, "no context");
    return NULL;
}

static void odd_ends(void)
{
    const EGLSurface surface = make_pbuffer();
    struct stop stop = {make_sharing(EGL_NO_CONTEXT), surface, 0, 0, 0};
    use(surface, stop.context);
    fprintf(stderr, "wrong on purpose: a context on two threads\n");
    run(take_away, &stop);
    fprintf(stderr, "right again\n");
    begin_sum();
    glClearColor(0.5f, 1.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    add_surface();
    end_sum("after another thread's attempt");
    /* Both are current, so they live until they aren't. */
    print_egl("the current surface destroyed", eglDestroySurface(display, surface));
    print_egl("the current context destroyed", eglDestroyContext(display, stop.context));
    print_egl("leaving both", eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT));
    print_egl("leaving nothing", eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT));
    check(eglGetCurrentContext() == EGL_NO_CONTEXT, "no context");
    print_egl("a context that never was current", eglDestroyContext(display, make_sharing(EGL_NO_CONTEXT)));
    print_egl("a surface that never was current", eglDestroySurface(display, make_pbuffer()));
}

int main(void)
{
    display = open_display();
    config = choose_config(display);
    check(eglBindAPI(EGL_OPENGL_ES_API), "eglBindAPI");
    on_one_thread();
    deleted_elsewhere();
    pictures_deleted_elsewhere();
    many_threads();
    moving();
    crossing();
    without_surface();
    odd_ends();
    eglTerminate(display);
    return 0;
}
