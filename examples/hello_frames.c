/* Opens the default display, looks around, animates rectangles for some frames and checks every pixel.
 * hello_frames [--frames N] */

#include "scene.h"
#include "window.h"

#include <stdio.h>

static void print_renderer(void)
{
    const GLubyte* vendor = glGetString(GL_VENDOR);
    const GLubyte* renderer = glGetString(GL_RENDERER);
    const GLubyte* version = glGetString(GL_VERSION);
    check(vendor && renderer && version, "glGetString");
    printf("OpenGL ES vendor \"%s\", renderer \"%s\", version \"%s\"\n", (const char*)vendor,
           (const char*)renderer, (const char*)version);
}

/* State has to come back as it was set, and a wrong call has to report its error once. */
static void check_state(struct size size)
{
    GLint box[4] = {0};
    glScissor(1, 2, size.width, size.height);
    glGetIntegerv(GL_SCISSOR_BOX, box);
    check(box[0] == 1 && box[1] == 2 && box[2] == size.width && box[3] == size.height, "the scissor box");
    GLfloat colour[4] = {0};
    glClearColor(0.25f, 0.5f, 0.75f, 1.0f);
    glGetFloatv(GL_COLOR_CLEAR_VALUE, colour);
    check(colour[0] == 0.25f && colour[1] == 0.5f && colour[2] == 0.75f && colour[3] == 1.0f,
          "the clear colour");
    GLboolean mask[4] = {0};
    glColorMask(GL_TRUE, GL_FALSE, GL_TRUE, GL_FALSE);
    glGetBooleanv(GL_COLOR_WRITEMASK, mask);
    check(mask[0] && !mask[1] && mask[2] && !mask[3], "the colour mask");
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glEnable(GL_SCISSOR_TEST);
    check(glIsEnabled(GL_SCISSOR_TEST) == GL_TRUE && glIsEnabled(GL_BLEND) == GL_FALSE, "glIsEnabled");
    WRONG(glEnable(GL_RGBA), GL_INVALID_ENUM);
}

static void check_current(EGLDisplay display, EGLSurface surface, EGLContext context)
{
    check(eglGetCurrentContext() == context, "eglGetCurrentContext");
    check(eglGetCurrentSurface(EGL_DRAW) == surface, "eglGetCurrentSurface");
    check(eglGetCurrentDisplay() == display, "eglGetCurrentDisplay");
}

static long animate(EGLDisplay display, EGLSurface surface, int frames)
{
    const struct size size = surface_size(display, surface);
    struct scene scene = make_scene(size.width, size.height, 0);
    check_state(size);
    long wrong = 0;
    for (int frame = 0; frame < frames; ++frame) {
        draw_scene(&scene, frame);
        wrong += count_wrong_pixels(&scene, frame);
        check(eglSwapBuffers(display, surface), "eglSwapBuffers");
    }
    printf("%d frames of %dx%d, %ld wrong pixels\n", frames, size.width, size.height, wrong);
    free_scene(&scene);
    return wrong;
}

int main(int count, char** arguments)
{
    const int frames = number_option(count, arguments, "--frames", 60);
    EGLDisplay display = open_display();
    EGLConfig config = choose_config(display);
    EGLSurface surface = make_window(display, config);
    EGLContext context = make_context(display, config, 2);
    check(eglMakeCurrent(display, surface, surface, context), "eglMakeCurrent");
    check_current(display, surface, context);
    print_renderer();
    const long wrong = animate(display, surface, frames);
    check(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT), "eglMakeCurrent");
    check(eglDestroyContext(display, context), "eglDestroyContext");
    check(eglDestroySurface(display, surface), "eglDestroySurface");
    eglTerminate(display);
    return wrong ? 1 : 0;
}
