/* Two threads, each with a context and a window of its own, draw side by side and check every pixel.
 * two_threads [--frames N] */

#include "scene.h"
#include "window.h"

#include <pthread.h>
#include <stdio.h>

enum
{
    thread_count = 2
};

/* The first frames are shown in order, so that the windows have the same numbers in every run. */
struct turn
{
    pthread_mutex_t lock;
    pthread_cond_t changed;
    int shown;
};

struct painter
{
    int index;
    int frames;
    EGLDisplay display;
    EGLConfig config;
    EGLSurface surface;
    struct turn* turn;
    long wrong;
};

static void show_first_frame(struct painter* painter)
{
    struct turn* turn = painter->turn;
    pthread_mutex_lock(&turn->lock);
    while (turn->shown != painter->index)
        pthread_cond_wait(&turn->changed, &turn->lock);
    check(eglSwapBuffers(painter->display, painter->surface), "eglSwapBuffers");
    ++turn->shown;
    pthread_cond_broadcast(&turn->changed);
    pthread_mutex_unlock(&turn->lock);
}

static void* paint(void* argument)
{
    struct painter* painter = argument;
    EGLContext context = make_context(painter->display, painter->config, 3);
    check(eglMakeCurrent(painter->display, painter->surface, painter->surface, context), "eglMakeCurrent");
    const struct size size = surface_size(painter->display, painter->surface);
    struct scene scene = make_scene(size.width, size.height, painter->index + 1);
    for (int frame = 0; frame < painter->frames; ++frame) {
        draw_scene(&scene, frame);
        painter->wrong += count_wrong_pixels(&scene, frame);
        if (frame == 0)
            show_first_frame(painter);
        else
            check(eglSwapBuffers(painter->display, painter->surface), "eglSwapBuffers");
        check(eglGetCurrentContext() == context, "the context of this thread");
    }
    free_scene(&scene);
    check(eglMakeCurrent(painter->display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT), "eglMakeCurrent");
    check(eglDestroyContext(painter->display, context), "eglDestroyContext");
    check(eglReleaseThread(), "eglReleaseThread");
    return NULL;
}

int main(int count, char** arguments)
{
    const int frames = number_option(count, arguments, "--frames", 60);
    EGLDisplay display = open_display();
    EGLConfig config = choose_config(display);
    struct turn turn = {PTHREAD_MUTEX_INITIALIZER, PTHREAD_COND_INITIALIZER, 0};
    struct painter painters[thread_count];
    pthread_t threads[thread_count];
    for (int i = 0; i < thread_count; ++i) {
        const struct painter fresh = {i, frames, display, config, make_window(display, config), &turn, 0};
        painters[i] = fresh;
    }
    for (int i = 0; i < thread_count; ++i)
        check(pthread_create(&threads[i], NULL, paint, &painters[i]) == 0, "pthread_create");
    long wrong = 0;
    for (int i = 0; i < thread_count; ++i) {
        pthread_join(threads[i], NULL);
        wrong += painters[i].wrong;
        check(eglDestroySurface(display, painters[i].surface), "eglDestroySurface");
    }
    eglTerminate(display);
    printf("%d threads, %d frames each, %ld wrong pixels\n", thread_count, frames, wrong);
    return wrong ? 1 : 0;
}
