/* What every example begins with: a display, a window surface, a context. Plain EGL, nothing else. */
#ifndef EXAMPLES_WINDOW_H
#define EXAMPLES_WINDOW_H

#include <EGL/egl.h>
#include <GLES2/gl2.h>

#include <stddef.h>

/* Fatal: prints what failed and ends the program with status 1. */
void check(int ok, const char* what);
/* Fatal when OpenGL ES has an error pending. */
void check_gl(const char* what);

/* Fatal unless the call has this error. Standard error says that the call is wrong on purpose, so that a
 * reader of the log knows what complaints about it are worth. */
#define WRONG(call, error) (begin_wrong_call(#call), (void)(call), end_wrong_call(#call, error))
void begin_wrong_call(const char* what);
void end_wrong_call(const char* what, GLenum error);

/* The default display, initialised; its strings and its list of configs are printed. */
EGLDisplay open_display(void);

/* A config with 8 bits a colour, 24 bits depth, 8 bits stencil that can draw to windows. */
EGLConfig choose_config(EGLDisplay display);

/* The only window there is without a window system: the screen. Any handle but 0 stands for it. */
EGLSurface make_window(EGLDisplay display, EGLConfig config);

EGLContext make_context(EGLDisplay display, EGLConfig config, EGLint version);

struct size
{
    int width;
    int height;
};
struct size surface_size(EGLDisplay display, EGLSurface surface);

/* All of that at once: a window with a current context. */
struct window
{
    EGLDisplay display;
    EGLSurface surface;
    EGLContext context;
    struct size size;
};
struct window open_window(EGLint version);
void close_window(struct window window);

/* Value of "--NAME N" on the command line, or the default. Fatal when it isn't a number of 1 to 1000000. */
int number_option(int count, char** arguments, const char* name, int fallback);

#endif
