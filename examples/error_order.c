/* How errors wait to be asked for: which one is kept, how long, and on whose behalf.
 *
 * Left out, since targets answer otherwise than the host on purpose: errors of one context that are asked for
 * in another one of the same thread, as errors wait with the thread. */

#include "report.h"
#include "window.h"

#include <GLES3/gl31.h>

#include <pthread.h>
#include <stdio.h>

enum
{
    stranger = 4711, /* a name that nobody made */
    nothing = 0x1234 /* no enum of anything */
};

/* A context of its own on another thread, and the context of this one while it is there. */
struct visitor
{
    EGLDisplay display;
    EGLConfig config;
    EGLSurface surface;
    EGLContext context; /* to be made current; none: a new one */
};

static void* visit(void* argument)
{
    const struct visitor* visitor = argument;
    const EGLContext made = visitor->context == EGL_NO_CONTEXT
                                ? make_context(visitor->display, visitor->config, 3)
                                : EGL_NO_CONTEXT;
    check(eglMakeCurrent(visitor->display, visitor->surface, visitor->surface,
                         made == EGL_NO_CONTEXT ? visitor->context : made),
          "eglMakeCurrent");
    if (made != EGL_NO_CONTEXT)
        glEnable(nothing);
    print_errors(made == EGL_NO_CONTEXT ? "an error that came along from another thread" : "an error here");
    glLineWidth(-1.0f); /* goes with a new context, and back with the other */
    check(eglMakeCurrent(visitor->display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT), "eglMakeCurrent");
    if (made != EGL_NO_CONTEXT)
        check(eglDestroyContext(visitor->display, made), "eglDestroyContext");
    return NULL;
}

static void visit_thread(struct visitor* visitor)
{
    pthread_t thread;
    check(pthread_create(&thread, NULL, visit, visitor) == 0, "pthread_create");
    check(pthread_join(thread, NULL) == 0, "pthread_join");
}

static void other_threads(EGLDisplay display, EGLConfig config, EGLSurface surface, EGLContext context)
{
    const EGLint attributes[] = {EGL_WIDTH, 8, EGL_HEIGHT, 8, EGL_NONE};
    struct visitor visitor = {display, config, eglCreatePbufferSurface(display, config, attributes),
                              EGL_NO_CONTEXT};
    check(visitor.surface != EGL_NO_SURFACE, "eglCreatePbufferSurface");
    visit_thread(&visitor);
    print_errors("errors of another thread's context");
    glBindVertexArray(stranger);
    visit_thread(&visitor);
    print_errors("an operation here and errors there");
    glBindVertexArray(stranger);
    check(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT), "eglMakeCurrent");
    visitor.context = context;
    visit_thread(&visitor);
    check(eglMakeCurrent(display, surface, surface, context), "eglMakeCurrent");
    print_errors("an error that came back");
    check(eglDestroySurface(display, visitor.surface), "eglDestroySurface");
}

/* How errors wait. */
static void order(EGLDisplay display, EGLSurface surface, EGLContext context)
{
    GLint value = 77;
    glEnable(nothing);
    glLineWidth(-1.0f);
    glBindVertexArray(stranger);
    print_errors("an enum, a value and an operation");
    glBindVertexArray(stranger);
    glEnable(nothing);
    print_errors("an operation and an enum");
    glLineWidth(-1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glEnable(GL_BLEND);
    print_errors("a value and good calls");
    for (int i = 0; i < 1000; ++i)
        glEnable(i == 500 ? nothing : GL_DITHER);
    print_errors("one of a thousand");
    glLineWidth(-1.0f);
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &value);
    check(value > 77, "a question after an error");
    print_errors("a value and a question");
    glGetIntegerv(nothing, &value);
    glGetIntegerv(GL_PACK_ALIGNMENT, &value);
    check(value == 4, "a question after an error");
    print_errors("two questions");
    glLineWidth(-1.0f);
    glFlush();
    glFinish();
    print_errors("a value and a wait");
    glEnable(nothing);
    check(eglSwapBuffers(display, surface), "eglSwapBuffers");
    print_errors("an enum and a frame");
    value = 77;
    glGetBufferParameteriv(GL_ARRAY_BUFFER, GL_BUFFER_SIZE, &value);
    print_errors("a failed question");
    printf("leaves %d\n", (int)value);

    /* An error stays with its context. */
    glLineWidth(-1.0f);
    check(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT), "eglMakeCurrent");
    check(eglMakeCurrent(display, surface, surface, context), "eglMakeCurrent");
    print_errors("a value before the context was left");
}

int main(void)
{
    EGLDisplay display = open_display();
    EGLConfig config = choose_config(display);
    EGLSurface surface = make_window(display, config);
    EGLContext context = make_context(display, config, 3);
    check(eglMakeCurrent(display, surface, surface, context), "eglMakeCurrent");
    begin_wrong_call("errors of all kinds");
    order(display, surface, context);
    other_threads(display, config, surface, context);
    end_wrong_call("the last one", GL_NO_ERROR);
    check(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT), "eglMakeCurrent");
    check(eglDestroyContext(display, context), "eglDestroyContext");
    check(eglDestroySurface(display, surface), "eglDestroySurface");
    eglTerminate(display);
    return 0;
}
