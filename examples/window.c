#include "window.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

void check(int ok, const char* what)
{
    if (ok)
        return;
    fprintf(stderr, "%s failed, EGL error 0x%04x\n", what, (unsigned)eglGetError());
    exit(1);
}

void check_gl(const char* what)
{
    const GLenum error = glGetError();
    if (error == GL_NO_ERROR)
        return;
    fprintf(stderr, "%s: OpenGL ES error 0x%04x\n", what, (unsigned)error);
    exit(1);
}

void begin_wrong_call(const char* what)
{
    check_gl("what came before a wrong call");
    fprintf(stderr, "wrong on purpose: %s\n", what);
}

void end_wrong_call(const char* what, GLenum error)
{
    const GLenum got = glGetError();
    if (got != error || glGetError() != GL_NO_ERROR) {
        fprintf(stderr, "%s: OpenGL ES error 0x%04x instead of 0x%04x, once\n", what, (unsigned)got,
                (unsigned)error);
        exit(1);
    }
    fprintf(stderr, "right again\n");
}

static void print_configs(EGLDisplay display)
{
    EGLint count = 0;
    check(eglGetConfigs(display, NULL, 0, &count) && count > 0, "eglGetConfigs");
    EGLConfig* configs = calloc((size_t)count, sizeof *configs);
    check(configs != NULL, "calloc");
    check(eglGetConfigs(display, configs, count, &count), "eglGetConfigs");
    int deep = 0;
    for (EGLint i = 0; i < count; ++i) {
        EGLint depth = -1;
        check(eglGetConfigAttrib(display, configs[i], EGL_DEPTH_SIZE, &depth), "eglGetConfigAttrib");
        deep += depth >= 24;
    }
    printf("%d configs, %d of them with 24 bits depth or more\n", (int)count, deep);
    free(configs);
}

EGLDisplay open_display(void)
{
    EGLDisplay display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    check(display != EGL_NO_DISPLAY, "eglGetDisplay");
    EGLint major = 0, minor = 0;
    check(eglInitialize(display, &major, &minor), "eglInitialize");
    const char* vendor = eglQueryString(display, EGL_VENDOR);
    const char* version = eglQueryString(display, EGL_VERSION);
    check(vendor != NULL && version != NULL, "eglQueryString");
    printf("EGL %d.%d, vendor \"%s\", version \"%s\"\n", (int)major, (int)minor, vendor, version);
    print_configs(display);
    return display;
}

EGLConfig choose_config(EGLDisplay display)
{
    const EGLint wanted[] = {EGL_SURFACE_TYPE,
                             EGL_WINDOW_BIT,
                             EGL_RENDERABLE_TYPE,
                             EGL_OPENGL_ES2_BIT,
                             EGL_RED_SIZE,
                             8,
                             EGL_GREEN_SIZE,
                             8,
                             EGL_BLUE_SIZE,
                             8,
                             EGL_ALPHA_SIZE,
                             8,
                             EGL_DEPTH_SIZE,
                             24,
                             EGL_STENCIL_SIZE,
                             8,
                             EGL_NONE};
    const EGLint sizes[] = {EGL_RED_SIZE,   EGL_GREEN_SIZE, EGL_BLUE_SIZE,
                            EGL_ALPHA_SIZE, EGL_DEPTH_SIZE, EGL_STENCIL_SIZE};
    EGLConfig config = NULL;
    EGLint count = 0;
    check(eglChooseConfig(display, wanted, &config, 1, &count) && count == 1, "eglChooseConfig");
    EGLint got[6] = {0};
    for (int i = 0; i < 6; ++i)
        check(eglGetConfigAttrib(display, config, sizes[i], &got[i]), "eglGetConfigAttrib");
    printf("config: red %d, green %d, blue %d, alpha %d, depth %d, stencil %d\n", (int)got[0], (int)got[1],
           (int)got[2], (int)got[3], (int)got[4], (int)got[5]);
    check(got[0] == 8 && got[1] == 8 && got[2] == 8 && got[3] == 8 && got[4] >= 24 && got[5] >= 8,
          "a config as asked for");
    return config;
}

EGLSurface make_window(EGLDisplay display, EGLConfig config)
{
    EGLSurface surface = eglCreateWindowSurface(display, config, (EGLNativeWindowType)1, NULL);
    check(surface != EGL_NO_SURFACE, "eglCreateWindowSurface");
    return surface;
}

EGLContext make_context(EGLDisplay display, EGLConfig config, EGLint version)
{
    const EGLint attributes[] = {EGL_CONTEXT_CLIENT_VERSION, version, EGL_NONE};
    check(eglBindAPI(EGL_OPENGL_ES_API), "eglBindAPI");
    EGLContext context = eglCreateContext(display, config, EGL_NO_CONTEXT, attributes);
    check(context != EGL_NO_CONTEXT, "eglCreateContext");
    return context;
}

struct size surface_size(EGLDisplay display, EGLSurface surface)
{
    EGLint width = 0, height = 0;
    check(eglQuerySurface(display, surface, EGL_WIDTH, &width), "eglQuerySurface");
    check(eglQuerySurface(display, surface, EGL_HEIGHT, &height), "eglQuerySurface");
    check(width > 0 && height > 0, "a surface with a size");
    const struct size found = {width, height};
    return found;
}

struct window open_window(EGLint version)
{
    struct window window;
    window.display = open_display();
    EGLConfig config = choose_config(window.display);
    window.surface = make_window(window.display, config);
    window.context = make_context(window.display, config, version);
    check(eglMakeCurrent(window.display, window.surface, window.surface, window.context), "eglMakeCurrent");
    window.size = surface_size(window.display, window.surface);
    return window;
}

void close_window(struct window window)
{
    check(eglMakeCurrent(window.display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT), "eglMakeCurrent");
    check(eglDestroyContext(window.display, window.context), "eglDestroyContext");
    check(eglDestroySurface(window.display, window.surface), "eglDestroySurface");
    eglTerminate(window.display);
}

int number_option(int count, char** arguments, const char* name, int fallback)
{
    for (int i = 1; i < count; ++i) {
        if (strcmp(arguments[i], name) != 0)
            continue;
        char* end = NULL;
        const long value = i + 1 < count ? strtol(arguments[i + 1], &end, 10) : 0;
        if (!end || *end || value < 1 || value > 1000000) {
            fprintf(stderr, "%s wants a number from 1 to 1000000\n", name);
            exit(1);
        }
        return (int)value;
    }
    return fallback;
}
