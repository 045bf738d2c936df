/* EGL images of a phone's buffers: pictures that the processor writes and OpenGL ES shows, and the other way
 * round. Buffers come from libnativewindow.so; what the pictures have to be is worked out here, and each has
 * to match. Prints a checksum of each subject.
 * eglimage_buffers [--frames N] */

#include "report.h"
#include "shading.h"
#include "window.h"

#include <EGL/eglext.h>
#include <GLES3/gl31.h>

#include <GLES2/gl2ext.h>
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum
{
    width = 61, /* no multiple of what rows begin at */
    height = 23
};

/* As libnativewindow.so publishes it. */
struct buffer_desc
{
    uint32_t width, height, layers, format;
    uint64_t usage;
    uint32_t stride, reserved_0;
    uint64_t reserved_1;
};
enum
{
    rgba = 1,
    rgbx = 2,
    rgb = 3,
    rgb565 = 4,
    bgra = 5
};

static int (*allocate)(const struct buffer_desc* wanted, struct AHardwareBuffer** out);
static void (*release)(struct AHardwareBuffer* buffer);
static void (*describe)(const struct AHardwareBuffer* buffer, struct buffer_desc* out);
static int (*lock)(struct AHardwareBuffer* buffer, uint64_t usage, int32_t fence, const void* area,
                   void** address);
static int (*unlock)(struct AHardwareBuffer* buffer, int32_t* fence);

static EGLDisplay display;
static PFNEGLGETNATIVECLIENTBUFFERANDROIDPROC client_buffer_of;
static PFNEGLCREATEIMAGEKHRPROC create_image;
static PFNEGLDESTROYIMAGEKHRPROC destroy_image;
static PFNGLEGLIMAGETARGETTEXTURE2DOESPROC image_to_texture;
static PFNGLEGLIMAGETARGETRENDERBUFFERSTORAGEOESPROC image_to_renderbuffer;

static void* find(void* library, const char* name)
{
    void* function = dlsym(library, name);
    check(function != NULL, name);
    return function;
}

static void find_functions(void)
{
    void* library = dlopen("libnativewindow.so", RTLD_NOW);
    check(library != NULL, "libnativewindow.so, which phones have,");
    *(void**)&allocate = find(library, "AHardwareBuffer_allocate");
    *(void**)&release = find(library, "AHardwareBuffer_release");
    *(void**)&describe = find(library, "AHardwareBuffer_describe");
    *(void**)&lock = find(library, "AHardwareBuffer_lock");
    *(void**)&unlock = find(library, "AHardwareBuffer_unlock");
    const char* extensions = eglQueryString(display, EGL_EXTENSIONS);
    check(strstr(extensions, "EGL_ANDROID_image_native_buffer") != NULL, "EGL_ANDROID_image_native_buffer");
    client_buffer_of =
        (PFNEGLGETNATIVECLIENTBUFFERANDROIDPROC)eglGetProcAddress("eglGetNativeClientBufferANDROID");
    create_image = (PFNEGLCREATEIMAGEKHRPROC)eglGetProcAddress("eglCreateImageKHR");
    destroy_image = (PFNEGLDESTROYIMAGEKHRPROC)eglGetProcAddress("eglDestroyImageKHR");
    image_to_texture = (PFNGLEGLIMAGETARGETTEXTURE2DOESPROC)eglGetProcAddress("glEGLImageTargetTexture2DOES");
    image_to_renderbuffer = (PFNGLEGLIMAGETARGETRENDERBUFFERSTORAGEOESPROC)eglGetProcAddress(
        "glEGLImageTargetRenderbufferStorageOES");
    check(client_buffer_of && create_image && destroy_image && image_to_texture && image_to_renderbuffer,
          "eglGetProcAddress");
}

/* Pictures are R, G, B, A bytes without gaps, the buffer's first row first. */
static unsigned char wanted[width * height * 4];
static unsigned char found[width * height * 4];

/* Of formats with few bits only the ends, which drivers agree about. */
static void make_picture(unsigned seed, uint32_t format)
{
    for (unsigned i = 0; i < sizeof wanted; ++i) {
        wanted[i] = (unsigned char)(i * 11 + i / 97 * 5 + seed * 61);
        if (format == rgb565)
            wanted[i] = wanted[i] & 16 ? 255 : 0;
    }
}

/* What a buffer without alpha has in its place doesn't show. */
static void expect_opaque(uint32_t format)
{
    for (unsigned i = 3; i < sizeof wanted && format != rgba && format != bgra; i += 4)
        wanted[i] = 255;
}

static unsigned bytes_of(uint32_t format)
{
    return format == rgb565 ? 2 : format == rgb ? 3 : 4;
}

static void put_pixel(unsigned char* to, const unsigned char* pixel, uint32_t format)
{
    if (format == rgb565) {
        const unsigned word = (pixel[0] >> 3) << 11 | (pixel[1] >> 2) << 5 | pixel[2] >> 3;
        to[0] = (unsigned char)word;
        to[1] = (unsigned char)(word >> 8);
        return;
    }
    memcpy(to, pixel, bytes_of(format));
    if (format == bgra) {
        to[0] = pixel[2];
        to[2] = pixel[0];
    }
}

static struct AHardwareBuffer* make_buffer(uint32_t format)
{
    const struct buffer_desc desc = {width, height, 1, format, 0, 0, 0, 0};
    struct AHardwareBuffer* buffer = NULL;
    check(allocate(&desc, &buffer) == 0, "AHardwareBuffer_allocate");
    return buffer;
}

static unsigned char* pixels_of(struct AHardwareBuffer* buffer, struct buffer_desc* desc)
{
    void* address = NULL;
    describe(buffer, desc);
    check(desc->stride >= width && lock(buffer, 0, -1, NULL, &address) == 0 && address,
          "AHardwareBuffer_lock");
    return address;
}

/* Writes the wanted picture into the buffer. */
static void fill(struct AHardwareBuffer* buffer)
{
    struct buffer_desc desc;
    unsigned char* pixels = pixels_of(buffer, &desc);
    const unsigned bytes = bytes_of(desc.format);
    for (unsigned y = 0; y < height; ++y)
        for (unsigned x = 0; x < width; ++x)
            put_pixel(pixels + ((size_t)y * desc.stride + x) * bytes, wanted + (y * width + x) * 4,
                      desc.format);
    check(unlock(buffer, NULL) == 0, "AHardwareBuffer_unlock");
}

static void compare(const char* what)
{
    for (unsigned i = 0; i < sizeof wanted; ++i) {
        if (found[i] == wanted[i])
            continue;
        fprintf(stderr, "%s: byte %u of pixel %u, %u is %u instead of %u\n", what, i % 4, i / 4 % width,
                i / 4 / width, found[i], wanted[i]);
        exit(1);
    }
    add_bytes(found, sizeof found);
}

/* The buffer has to hold the wanted picture. */
static void compare_buffer(struct AHardwareBuffer* buffer, const char* what)
{
    struct buffer_desc desc;
    const unsigned char* pixels = pixels_of(buffer, &desc);
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width; ++x) {
            const unsigned char* from = pixels + ((size_t)y * desc.stride + x) * 4;
            unsigned char* to = found + (y * width + x) * 4;
            memcpy(to, from, 4);
            if (desc.format == bgra) {
                to[0] = from[2];
                to[2] = from[0];
            }
        }
    }
    check(unlock(buffer, NULL) == 0, "AHardwareBuffer_unlock");
    compare(what);
}

static EGLImageKHR image_of(struct AHardwareBuffer* buffer)
{
    const EGLint attributes[] = {EGL_IMAGE_PRESERVED_KHR, EGL_TRUE, EGL_NONE};
    const EGLImageKHR image = create_image(display, EGL_NO_CONTEXT, EGL_NATIVE_BUFFER_ANDROID,
                                           client_buffer_of(buffer), attributes);
    check(image != EGL_NO_IMAGE_KHR, "eglCreateImageKHR");
    return image;
}

static const char whole_target[] = "#version 300 es\nout vec2 place;\n"
                                   "void main() { place = vec2(gl_VertexID & 1, gl_VertexID >> 1);\n"
                                   "  gl_Position = vec4(place * 2.0 - 1.0, 0.0, 1.0); }\n";
static const char flat_texture[] =
    "#version 300 es\nprecision highp float; uniform sampler2D picture; in vec2 place; out vec4 colour;\n"
    "void main() { colour = texture(picture, place); }\n";
static const char external_texture[] =
    "#version 100\n#extension GL_OES_EGL_image_external : require\nprecision highp float;\n"
    "uniform samplerExternalOES picture; varying vec2 place;\n"
    "void main() { gl_FragColor = texture2D(picture, place); }\n";
static const char corners[] =
    "#version 100\nattribute vec2 corner; varying vec2 place;\n"
    "void main() { place = corner; gl_Position = vec4(corner * 2.0 - 1.0, 0.0, 1.0); }\n";

/* A framebuffer of the picture's size, with an object of its own behind it. */
static GLuint canvas, canvas_framebuffer;

static void make_canvas(void)
{
    glGenRenderbuffers(1, &canvas);
    glBindRenderbuffer(GL_RENDERBUFFER, canvas);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, width, height);
    glGenFramebuffers(1, &canvas_framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, canvas_framebuffer);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, canvas);
    check(glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE, "a complete framebuffer");
    glViewport(0, 0, width, height);
}

/* Draws what is bound; the wanted picture has to come of it. */
static void compare_shown(const char* what)
{
    glBindFramebuffer(GL_FRAMEBUFFER, canvas_framebuffer);
    glClear(GL_COLOR_BUFFER_BIT);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    memset(found, 0, sizeof found);
    glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, found);
    compare(what);
}

static void show_formats(void)
{
    static const struct
    {
        uint32_t format;
        const char* name;
    } formats[] = {
        {rgba, "R8G8B8A8"}, {rgbx, "R8G8B8X8"}, {rgb, "R8G8B8"}, {rgb565, "R5G6B5"}, {bgra, "B8G8R8A8"}};
    for (unsigned i = 0; i < sizeof formats / sizeof *formats; ++i) {
        begin_sum();
        struct AHardwareBuffer* buffer = make_buffer(formats[i].format);
        const EGLImageKHR image = image_of(buffer);
        const GLuint texture = new_texture(GL_TEXTURE_2D);
        for (unsigned change = 0; change < 3; ++change) {
            make_picture(i * 3 + change, formats[i].format);
            fill(buffer);
            image_to_texture(GL_TEXTURE_2D, image);
            expect_opaque(formats[i].format);
            compare_shown(formats[i].name);
        }
        check(destroy_image(display, image), "eglDestroyImageKHR");
        release(buffer);
        compare_shown("after the image's end");
        glDeleteTextures(1, &texture);
        end_sum(formats[i].name);
    }
}

/* A texture that changes its image keeps nothing of the one before. */
static void change_images(void)
{
    const uint32_t formats[] = {bgra, rgba, bgra, rgb565};
    begin_sum();
    const GLuint texture = new_texture(GL_TEXTURE_2D);
    for (unsigned i = 0; i < 12; ++i) {
        const uint32_t format = formats[i % 4];
        struct AHardwareBuffer* buffer = make_buffer(format);
        make_picture(30 + i, format);
        fill(buffer);
        const EGLImageKHR image = image_of(buffer);
        image_to_texture(GL_TEXTURE_2D, image);
        check(destroy_image(display, image), "eglDestroyImageKHR");
        release(buffer);
        expect_opaque(format);
        compare_shown("the image of the moment");
    }
    glDeleteTextures(1, &texture);
    end_sum("images change");
}

static void show_external(void)
{
    static const GLfloat places[] = {0, 0, 1, 0, 0, 1, 1, 1};
    begin_sum();
    const GLuint program = make_program(corners, external_texture);
    const GLuint corner = (GLuint)glGetAttribLocation(program, "corner");
    glEnableVertexAttribArray(corner);
    glVertexAttribPointer(corner, 2, GL_FLOAT, GL_FALSE, 0, places);
    struct AHardwareBuffer* buffer = make_buffer(rgba);
    const EGLImageKHR image = image_of(buffer);
    const GLuint texture = new_texture(GL_TEXTURE_EXTERNAL_OES);
    image_to_texture(GL_TEXTURE_EXTERNAL_OES, image);
    for (unsigned change = 0; change < 3; ++change) {
        make_picture(50 + change, rgba);
        fill(buffer);
        glBindTexture(GL_TEXTURE_EXTERNAL_OES, texture); /* what makes it look again */
        compare_shown("an external texture");
    }
    check(destroy_image(display, image), "eglDestroyImageKHR");
    glDeleteTextures(1, &texture);
    release(buffer);
    glDisableVertexAttribArray(corner);
    glDeleteProgram(program);
    end_sum("external texture");
}

static void clear_rectangle(int x, int y, int columns, int rows, const unsigned char* colour)
{
    glEnable(GL_SCISSOR_TEST);
    glScissor(x, y, columns, rows);
    glClearColor(colour[0] / 255.0f, colour[1] / 255.0f, colour[2] / 255.0f, colour[3] / 255.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glDisable(GL_SCISSOR_TEST);
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    for (int row = y; row < y + rows; ++row)
        for (int column = x; column < x + columns; ++column)
            memcpy(wanted + (row * width + column) * 4, colour, 4);
}

/* What is rendered into an image is in the buffer once the framebuffer is left. */
static void render_into(uint32_t format, int as_renderbuffer, const char* name)
{
    static const unsigned char all[] = {10, 20, 30, 40}, red[] = {255, 0, 0, 255},
                               other[] = {1, 128, 254, 77};
    begin_sum();
    struct AHardwareBuffer* buffer = make_buffer(format);
    const EGLImageKHR image = image_of(buffer);
    GLuint framebuffer = 0, object = 0;
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    if (as_renderbuffer) {
        glGenRenderbuffers(1, &object);
        glBindRenderbuffer(GL_RENDERBUFFER, object);
        image_to_renderbuffer(GL_RENDERBUFFER, image);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, object);
    } else {
        object = new_texture(GL_TEXTURE_2D);
        image_to_texture(GL_TEXTURE_2D, image);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, object, 0);
    }
    check(glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE, "a complete framebuffer");
    for (int round = 0; round < 2; ++round) {
        glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
        clear_rectangle(0, 0, width, height, all);
        clear_rectangle(3, 2 + round, 20, 11, red);
        clear_rectangle(50, 5, 11, 18 - round, other);
        glBindFramebuffer(GL_FRAMEBUFFER, round ? 0 : canvas_framebuffer);
        compare_buffer(buffer, name);
    }
    glDeleteFramebuffers(1, &framebuffer);
    check(destroy_image(display, image), "eglDestroyImageKHR");
    release(buffer);
    if (as_renderbuffer)
        glDeleteRenderbuffers(1, &object);
    else
        glDeleteTextures(1, &object);
    end_sum(name);
}

int main(int argument_count, char** arguments)
{
    const int frames = number_option(argument_count, arguments, "--frames", 1);
    const struct window window = open_window(3);
    display = window.display;
    find_functions();
    make_canvas();
    const GLuint program = make_program(whole_target, flat_texture);
    for (int frame = 0; frame < frames; ++frame) {
        glUseProgram(program);
        show_formats();
        change_images();
        show_external();
        render_into(rgba, 0, "rendered, texture");
        render_into(rgba, 1, "rendered, renderbuffer");
        render_into(bgra, 0, "rendered, blue first");
        check(eglSwapBuffers(display, window.surface), "eglSwapBuffers");
    }
    glDeleteProgram(program);
    glDeleteFramebuffers(1, &canvas_framebuffer);
    glDeleteRenderbuffers(1, &canvas);
    check_gl("the end");
    close_window(window);
    return 0;
}
