/* EGL images of the application's own objects: one picture in two textures, in a texture and a renderbuffer,
 * in a face of a cube and a flat texture, in two contexts that share nothing; who sees whose changes, and
 * what stays when images and objects go. Prints a checksum of each subject. eglimage_textures [--frames N] */

#include "report.h"
#include "shading.h"
#include "window.h"

#include <EGL/eglext.h>
#include <GLES3/gl31.h>

#include <GLES2/gl2ext.h>
#include <stdio.h>
#include <string.h>

enum
{
    side = 32
};

static EGLDisplay display;
static PFNEGLCREATEIMAGEKHRPROC create_image;
static PFNEGLDESTROYIMAGEKHRPROC destroy_image;
static PFNEGLCREATEIMAGEPROC create_image_15;
static PFNEGLDESTROYIMAGEPROC destroy_image_15;
static PFNGLEGLIMAGETARGETTEXTURE2DOESPROC image_to_texture;
static PFNGLEGLIMAGETARGETRENDERBUFFERSTORAGEOESPROC image_to_renderbuffer;

static int has_word(const char* text, const char* word)
{
    const size_t length = strlen(word);
    for (const char* at = text; at && (at = strstr(at, word)) != NULL; at += length)
        if ((at == text || at[-1] == ' ') && (at[length] == ' ' || at[length] == '\0'))
            return 1;
    return 0;
}

static void find_functions(void)
{
    const char* of_egl = eglQueryString(display, EGL_EXTENSIONS);
    const char* const wanted[] = {"EGL_KHR_image_base", "EGL_KHR_gl_texture_2D_image",
                                  "EGL_KHR_gl_texture_cubemap_image", "EGL_KHR_gl_renderbuffer_image"};
    for (size_t i = 0; i < sizeof wanted / sizeof *wanted; ++i)
        check(has_word(of_egl, wanted[i]), wanted[i]);
    check(has_word((const char*)glGetString(GL_EXTENSIONS), "GL_OES_EGL_image"), "GL_OES_EGL_image");
    create_image = (PFNEGLCREATEIMAGEKHRPROC)eglGetProcAddress("eglCreateImageKHR");
    destroy_image = (PFNEGLDESTROYIMAGEKHRPROC)eglGetProcAddress("eglDestroyImageKHR");
    create_image_15 = (PFNEGLCREATEIMAGEPROC)eglGetProcAddress("eglCreateImage");
    destroy_image_15 = (PFNEGLDESTROYIMAGEPROC)eglGetProcAddress("eglDestroyImage");
    image_to_texture = (PFNGLEGLIMAGETARGETTEXTURE2DOESPROC)eglGetProcAddress("glEGLImageTargetTexture2DOES");
    image_to_renderbuffer = (PFNGLEGLIMAGETARGETRENDERBUFFERSTORAGEOESPROC)eglGetProcAddress(
        "glEGLImageTargetRenderbufferStorageOES");
    check(create_image && destroy_image && create_image_15 && destroy_image_15 && image_to_texture &&
              image_to_renderbuffer,
          "eglGetProcAddress");
}

static unsigned char pattern[side * side * 4];

static const unsigned char* make_pattern(unsigned seed)
{
    for (unsigned i = 0; i < sizeof pattern; ++i)
        pattern[i] = (unsigned char)(i * 7 + i / 64 * 3 + seed * 59);
    return pattern;
}

static GLuint filled_texture(unsigned seed)
{
    const GLuint texture = new_texture(GL_TEXTURE_2D);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, side, side, 0, GL_RGBA, GL_UNSIGNED_BYTE, make_pattern(seed));
    return texture;
}

static EGLImageKHR image_of(EGLContext context, EGLenum kind, GLuint object)
{
    const EGLint attributes[] = {EGL_IMAGE_PRESERVED_KHR, EGL_TRUE, EGL_NONE};
    const EGLImageKHR image =
        create_image(display, context, kind, (EGLClientBuffer)(size_t)object, attributes);
    check(image != EGL_NO_IMAGE_KHR, "eglCreateImageKHR");
    return image;
}

static GLuint texture_of(EGLImageKHR image)
{
    const GLuint texture = new_texture(GL_TEXTURE_2D);
    image_to_texture(GL_TEXTURE_2D, image);
    return texture;
}

static void free_image(EGLImageKHR image)
{
    check(destroy_image(display, image), "eglDestroyImageKHR");
}

static GLuint plain_program(void)
{
    return make_program("#version 300 es\nout vec2 place;\n"
                        "void main() { place = vec2(gl_VertexID & 1, gl_VertexID >> 1);\n"
                        "  gl_Position = vec4(place * 2.0 - 1.0, 0.0, 1.0); }\n",
                        "#version 300 es\nprecision highp float; uniform sampler2D picture; in vec2 place;\n"
                        "out vec4 colour; void main() { colour = texture(picture, place); }\n");
}

/* Draws the texture over the whole of what is bound, and adds what came of it. */
static void add_shown(GLuint texture)
{
    const struct size whole = {side, side};
    glBindTexture(GL_TEXTURE_2D, texture);
    glViewport(0, 0, side, side);
    glClear(GL_COLOR_BUFFER_BIT);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    add_picture(whole);
}

static void two_textures(EGLContext context)
{
    begin_sum();
    const GLuint first = filled_texture(1);
    const EGLImageKHR image = image_of(context, EGL_GL_TEXTURE_2D_KHR, first);
    const GLuint second = texture_of(image);
    add_shown(second);
    glBindTexture(GL_TEXTURE_2D, first);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 3, 5, 16, 8, GL_RGBA, GL_UNSIGNED_BYTE, make_pattern(2));
    add_shown(second);
    glBindTexture(GL_TEXTURE_2D, second);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 9, 11, 8, 16, GL_RGBA, GL_UNSIGNED_BYTE, make_pattern(3));
    add_shown(first);
    free_image(image);
    add_shown(second);
    glDeleteTextures(1, &first);
    add_shown(second);
    glDeleteTextures(1, &second);
    end_sum("two textures");
}

static void a_new_image_cuts_the_link(EGLContext context)
{
    begin_sum();
    const GLuint first = filled_texture(4);
    const EGLImageKHR image = image_of(context, EGL_GL_TEXTURE_2D_KHR, first);
    const GLuint second = texture_of(image);
    glBindTexture(GL_TEXTURE_2D, second);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, side, side, 0, GL_RGBA, GL_UNSIGNED_BYTE, make_pattern(5));
    add_shown(first);
    add_shown(second);
    glBindTexture(GL_TEXTURE_2D, second);
    image_to_texture(GL_TEXTURE_2D, image);
    add_shown(second);
    free_image(image);
    glDeleteTextures(1, &first);
    glDeleteTextures(1, &second);
    end_sum("the link is cut");
}

static GLuint framebuffer_on(GLenum kind, GLuint object)
{
    GLuint framebuffer = 0;
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    if (kind == GL_TEXTURE_2D)
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, object, 0);
    else
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, object);
    check(glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE, "a complete framebuffer");
    return framebuffer;
}

static void leave_framebuffer(GLuint framebuffer)
{
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &framebuffer);
}

/* Draws `picture` into what the framebuffer shows. */
static void draw_into(GLuint framebuffer, GLuint picture)
{
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glViewport(0, 0, side, side);
    glBindTexture(GL_TEXTURE_2D, picture);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    glEnable(GL_SCISSOR_TEST);
    glScissor(4, 6, 10, 12);
    glClearColor(1.0f, 0.5f, 0.25f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glDisable(GL_SCISSOR_TEST);
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
}

static void a_texture_as_renderbuffer(EGLContext context)
{
    begin_sum();
    const GLuint picture = filled_texture(6);
    const GLuint texture = filled_texture(7);
    const EGLImageKHR image = image_of(context, EGL_GL_TEXTURE_2D_KHR, texture);
    GLuint renderbuffer = 0;
    glGenRenderbuffers(1, &renderbuffer);
    glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
    image_to_renderbuffer(GL_RENDERBUFFER, image);
    free_image(image);
    const GLuint framebuffer = framebuffer_on(GL_RENDERBUFFER, renderbuffer);
    draw_into(framebuffer, picture);
    leave_framebuffer(framebuffer);
    add_shown(texture);
    glDeleteRenderbuffers(1, &renderbuffer);
    add_shown(texture);
    glDeleteTextures(1, &texture);
    glDeleteTextures(1, &picture);
    end_sum("texture as renderbuffer");
}

static void a_renderbuffer_as_texture(EGLContext context)
{
    begin_sum();
    const GLuint picture = filled_texture(8);
    GLuint renderbuffer = 0;
    glGenRenderbuffers(1, &renderbuffer);
    glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, side, side);
    const EGLImageKHR image = image_of(context, EGL_GL_RENDERBUFFER_KHR, renderbuffer);
    const GLuint texture = texture_of(image);
    const GLuint framebuffer = framebuffer_on(GL_RENDERBUFFER, renderbuffer);
    draw_into(framebuffer, picture);
    leave_framebuffer(framebuffer);
    add_shown(texture);
    glDeleteRenderbuffers(1, &renderbuffer);
    free_image(image);
    add_shown(texture);
    glDeleteTextures(1, &texture);
    glDeleteTextures(1, &picture);
    end_sum("renderbuffer as texture");
}

/* Drivers differ in whether a flat texture may show a face; a renderbuffer may. */
static void faces_of_a_cube(EGLContext context)
{
    const struct size whole = {side, side};
    begin_sum();
    const GLuint picture = filled_texture(9);
    const GLuint cube = new_texture(GL_TEXTURE_CUBE_MAP);
    for (unsigned face = 0; face < 6; ++face)
        glTexImage2D(GL_TEXTURE_CUBE_MAP_POSITIVE_X + face, 0, GL_RGBA, side, side, 0, GL_RGBA,
                     GL_UNSIGNED_BYTE, make_pattern(10 + face));
    for (unsigned face = 0; face < 6; ++face) {
        const EGLImageKHR image = image_of(context, EGL_GL_TEXTURE_CUBE_MAP_POSITIVE_X_KHR + face, cube);
        GLuint renderbuffer = 0;
        glGenRenderbuffers(1, &renderbuffer);
        glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
        image_to_renderbuffer(GL_RENDERBUFFER, image);
        free_image(image);
        GLuint framebuffer = framebuffer_on(GL_RENDERBUFFER, renderbuffer);
        add_picture(whole);
        if (face % 2)
            draw_into(framebuffer, picture);
        leave_framebuffer(framebuffer);
        glDeleteRenderbuffers(1, &renderbuffer);
        glGenFramebuffers(1, &framebuffer);
        glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_CUBE_MAP_POSITIVE_X + face,
                               cube, 0);
        add_picture(whole);
        leave_framebuffer(framebuffer);
    }
    glDeleteTextures(1, &cube);
    glDeleteTextures(1, &picture);
    end_sum("faces of a cube");
}

/* The newer spelling, and many images at once of which each has its own picture. */
static void many_images(EGLContext context)
{
    enum
    {
        count = 20
    };
    GLuint sources[count], shown[count];
    EGLImage images[count];
    begin_sum();
    for (unsigned i = 0; i < count; ++i) {
        sources[i] = filled_texture(20 + i);
        const EGLAttrib attributes[] = {EGL_GL_TEXTURE_LEVEL, 0, EGL_NONE};
        images[i] = create_image_15(display, context, EGL_GL_TEXTURE_2D, (EGLClientBuffer)(size_t)sources[i],
                                    attributes);
        check(images[i] != EGL_NO_IMAGE, "eglCreateImage");
        for (unsigned before = 0; before < i; ++before)
            check(images[before] != images[i], "an image of its own");
    }
    for (unsigned i = 0; i < count; ++i)
        shown[i] = texture_of(images[i]);
    for (unsigned i = 0; i < count; i += 2)
        check(destroy_image_15(display, images[i]), "eglDestroyImage");
    glDeleteTextures(count, sources);
    for (unsigned i = 0; i < count; ++i)
        add_shown(shown[i]);
    for (unsigned i = 1; i < count; i += 2)
        check(destroy_image_15(display, images[i]), "eglDestroyImage");
    for (unsigned i = 0; i < count; ++i)
        add_shown(shown[i]);
    glDeleteTextures(count, shown);
    end_sum("many images");
}

static void two_contexts(const struct window* window)
{
    begin_sum();
    const GLuint first = filled_texture(50);
    const EGLImageKHR image = image_of(window->context, EGL_GL_TEXTURE_2D_KHR, first);
    EGLint id = 0, count = 0;
    EGLConfig config = NULL;
    check(eglQueryContext(display, window->context, EGL_CONFIG_ID, &id), "eglQueryContext");
    const EGLint wanted[] = {EGL_CONFIG_ID, id, EGL_NONE};
    check(eglChooseConfig(display, wanted, &config, 1, &count) && count == 1, "eglChooseConfig");
    const EGLint size[] = {EGL_WIDTH, side, EGL_HEIGHT, side, EGL_NONE};
    const EGLSurface surface = eglCreatePbufferSurface(display, config, size);
    const EGLContext other = make_context(display, config, 3);
    glFinish();
    check(eglMakeCurrent(display, surface, surface, other), "eglMakeCurrent");
    const GLuint program = plain_program();
    const GLuint second = texture_of(image);
    add_shown(second);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 2, 4, 20, 6, GL_RGBA, GL_UNSIGNED_BYTE, make_pattern(51));
    add_shown(second);
    glFinish();
    check(eglMakeCurrent(display, window->surface, window->surface, window->context), "eglMakeCurrent");
    add_shown(first);
    free_image(image);
    glDeleteTextures(1, &first);
    glFinish();
    check(eglMakeCurrent(display, surface, surface, other), "eglMakeCurrent");
    add_shown(second);
    glDeleteTextures(1, &second);
    glDeleteProgram(program);
    check(eglMakeCurrent(display, window->surface, window->surface, window->context), "eglMakeCurrent");
    check(eglDestroyContext(display, other), "eglDestroyContext");
    check(eglDestroySurface(display, surface), "eglDestroySurface");
    end_sum("two contexts");
}

static void wrong_calls(void)
{
    const GLuint texture = new_texture(GL_TEXTURE_2D);
    WRONG(image_to_texture(GL_TEXTURE_2D, NULL), GL_INVALID_VALUE);
    GLuint renderbuffer = 0;
    glGenRenderbuffers(1, &renderbuffer);
    glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
    WRONG(image_to_renderbuffer(GL_RENDERBUFFER, NULL), GL_INVALID_VALUE);
    glDeleteTextures(1, &texture);
    glDeleteRenderbuffers(1, &renderbuffer);
}

int main(int argument_count, char** arguments)
{
    const int frames = number_option(argument_count, arguments, "--frames", 1);
    const struct window window = open_window(3);
    display = window.display;
    find_functions();
    const GLuint program = plain_program();
    for (int frame = 0; frame < frames; ++frame) {
        two_textures(window.context);
        a_new_image_cuts_the_link(window.context);
        a_texture_as_renderbuffer(window.context);
        a_renderbuffer_as_texture(window.context);
        faces_of_a_cube(window.context);
        many_images(window.context);
        two_contexts(&window);
        wrong_calls();
        check(eglSwapBuffers(display, window.surface), "eglSwapBuffers");
    }
    glDeleteProgram(program);
    check_gl("the end");
    close_window(window);
    return 0;
}
