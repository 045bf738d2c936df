/* Framebuffers of the application's own: several targets at once, blits, samples, what is given up, what is
 * attached, parts of textures, and reading back in every layout. Prints a checksum of each subject.
 * framebuffers [--frames N] */

#include "report.h"
#include "shading.h"
#include "window.h"

#include <GLES3/gl31.h>

#include <GLES2/gl2ext.h>
#include <stdio.h>
#include <string.h>

enum
{
    width = 64,
    height = 48,
    targets = 4
};

static GLuint bind_framebuffer(void)
{
    GLuint name = 0;
    glGenFramebuffers(1, &name);
    check(!glIsFramebuffer(name), "a name alone is no framebuffer");
    glBindFramebuffer(GL_FRAMEBUFFER, name);
    check(glIsFramebuffer(name), "glBindFramebuffer");
    return name;
}

static GLuint bind_renderbuffer(GLenum format, GLsizei samples)
{
    GLuint name = 0;
    glGenRenderbuffers(1, &name);
    check(!glIsRenderbuffer(name), "a name alone is no renderbuffer");
    glBindRenderbuffer(GL_RENDERBUFFER, name);
    check(glIsRenderbuffer(name), "glBindRenderbuffer");
    if (samples)
        glRenderbufferStorageMultisample(GL_RENDERBUFFER, samples, format, width, height);
    else
        glRenderbufferStorage(GL_RENDERBUFFER, format, width, height);
    return name;
}

/* A framebuffer with renderbuffers of its own, bound. */
struct drawing
{
    GLuint framebuffer;
    GLuint colour;
    GLuint depth; /* and stencil */
};

static struct drawing make_drawing(GLenum format, GLsizei samples)
{
    struct drawing made;
    made.framebuffer = bind_framebuffer();
    made.colour = bind_renderbuffer(format, samples);
    made.depth = bind_renderbuffer(GL_DEPTH24_STENCIL8, samples);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, made.colour);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER, made.depth);
    check(glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE, "a complete framebuffer");
    glViewport(0, 0, width, height);
    return made;
}

static void free_drawing(const struct drawing* drawing)
{
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &drawing->framebuffer);
    glDeleteRenderbuffers(1, &drawing->colour);
    glDeleteRenderbuffers(1, &drawing->depth);
    check(!glIsFramebuffer(drawing->framebuffer) && !glIsRenderbuffer(drawing->colour), "what is deleted");
}

/* Whatever is read: memory around the pixels has to stay zero. */
static unsigned char pixels[width * height * 16 + 65536];

static void add_read(GLint x, GLint y, GLsizei columns, GLsizei rows, GLenum format, GLenum type)
{
    memset(pixels, 0, sizeof pixels);
    glReadPixels(x, y, columns, rows, format, type, pixels);
    add_bytes(pixels, sizeof pixels);
}

static void add_whole(GLenum format, GLenum type)
{
    add_read(0, 0, width, height, format, type);
}

static void add_drawn(void)
{
    add_whole(GL_RGBA, GL_UNSIGNED_BYTE);
}

static const char whole_target[] = "#version 300 es\nuniform float depth; out vec2 place;\n"
                                   "void main() { place = vec2(gl_VertexID & 1, gl_VertexID >> 1);\n"
                                   "  gl_Position = vec4(place * 2.0 - 1.0, depth, 1.0); }\n";

static const char pattern[] =
    "#version 300 es\nprecision highp float; in vec2 place; uniform float shade; out vec4 colour;\n"
    "void main() { colour = vec4(place, step(0.5, fract(place.x * 8.0 + place.y * 3.0)) * shade, 1.0); }\n";

static GLuint pattern_program(float shade, float depth)
{
    const GLuint program = make_program(whole_target, pattern);
    glUniform1f(uniform_at(program, "shade"), shade);
    glUniform1f(uniform_at(program, "depth"), depth);
    return program;
}

static void draw(void)
{
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
}

/* Several targets at once. */

static const char four_targets[] =
    "#version 300 es\nprecision highp float; precision highp int; in vec2 place;\n"
    "layout(location = 0) out vec4 colour; layout(location = 1) out uvec4 counts;\n"
    "layout(location = 2) out ivec4 steps; layout(location = 3) out vec4 fine;\n"
    "void main() { ivec2 at = ivec2(gl_FragCoord.xy);\n"
    "  colour = vec4(place, 0.25, 0.5); counts = uvec4(at, at.x * at.y, 4000000000u);\n"
    "  steps = ivec4(-at, at.x - at.y, 7); fine = vec4(place.yx, 0.5, 1.0); }\n";

static void add_targets(void)
{
    static const struct
    {
        GLenum format;
        GLenum type;
    } layouts[targets] = {{GL_RGBA, GL_UNSIGNED_BYTE},
                          {GL_RGBA_INTEGER, GL_UNSIGNED_INT},
                          {GL_RGBA_INTEGER, GL_INT},
                          {GL_RGBA, GL_UNSIGNED_INT_2_10_10_10_REV}};
    for (GLenum i = 0; i < targets; ++i) {
        glReadBuffer(GL_COLOR_ATTACHMENT0 + i);
        GLint read = 0, drawn = 0;
        glGetIntegerv(GL_READ_BUFFER, &read);
        glGetIntegerv(GL_DRAW_BUFFER0 + i, &drawn);
        check(read == (GLint)(GL_COLOR_ATTACHMENT0 + i), "glReadBuffer");
        add_number(drawn);
        add_whole(layouts[i].format, layouts[i].type);
    }
}

static void multiple_targets(void)
{
    static const GLenum formats[targets] = {GL_RGBA8, GL_RGBA32UI, GL_RGBA16I, GL_RGB10_A2};
    static const GLenum all[targets] = {GL_COLOR_ATTACHMENT0, GL_COLOR_ATTACHMENT1, GL_COLOR_ATTACHMENT2,
                                        GL_COLOR_ATTACHMENT3};
    static const GLenum some[targets] = {GL_NONE, GL_COLOR_ATTACHMENT1, GL_NONE, GL_COLOR_ATTACHMENT3};
    GLuint buffers[targets];
    const GLuint framebuffer = bind_framebuffer();
    for (GLenum i = 0; i < targets; ++i) {
        buffers[i] = bind_renderbuffer(formats[i], 0);
        glFramebufferRenderbuffer(GL_DRAW_FRAMEBUFFER, all[i], GL_RENDERBUFFER, buffers[i]);
    }
    check(glCheckFramebufferStatus(GL_DRAW_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE, "four attachments");
    glViewport(0, 0, width, height);
    glDrawBuffers(targets, all);
    const GLuint program = make_program(whole_target, four_targets);
    begin_sum();
    draw();
    add_targets();
    glDrawBuffers(targets, some);
    const GLuint counts[4] = {1, 2, 3, 4};
    const GLfloat fine[4] = {0.125f, 0.25f, 0.75f, 1.0f};
    glClearBufferuiv(GL_COLOR, 1, counts);
    glClearBufferfv(GL_COLOR, 3, fine);
    add_targets();
    glEnable(GL_SCISSOR_TEST);
    glScissor(10, 10, 20, 20);
    glDrawBuffers(2, some); /* the rest draws nowhere */
    draw();
    glDisable(GL_SCISSOR_TEST);
    add_targets();
    end_sum("multiple targets");
    glDeleteProgram(program);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &framebuffer);
    glDeleteRenderbuffers(targets, buffers);
}

/* Blits. */

static void bind_both(GLuint read, GLuint drawn)
{
    glBindFramebuffer(GL_READ_FRAMEBUFFER, read);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, drawn);
    GLint bound[2] = {-1, -1};
    glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &bound[0]);
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &bound[1]);
    check((GLuint)bound[0] == read && (GLuint)bound[1] == drawn, "two bindings");
}

static void add_blit(const struct drawing* from, const struct drawing* to, const GLint area[8], GLenum filter)
{
    bind_both(from->framebuffer, to->framebuffer);
    glClear(GL_COLOR_BUFFER_BIT);
    glBlitFramebuffer(area[0], area[1], area[2], area[3], area[4], area[5], area[6], area[7],
                      GL_COLOR_BUFFER_BIT, filter);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, to->framebuffer);
    add_drawn();
}

/* What was blitted into the depth buffer lets a second drawing through or doesn't. */
static void add_depth_blit(const struct drawing* from, const struct drawing* to)
{
    bind_both(from->framebuffer, to->framebuffer);
    glClearDepthf(1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    glBlitFramebuffer(0, 0, width / 2, height, 0, 0, width / 2, height,
                      GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT, GL_NEAREST);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, to->framebuffer);
    const GLuint program = pattern_program(1.0f, 0.5f);
    glEnable(GL_DEPTH_TEST);
    draw(); /* behind the left half */
    add_drawn();
    glDisable(GL_DEPTH_TEST);
    glEnable(GL_STENCIL_TEST);
    glStencilFunc(GL_EQUAL, 5, 0xff);
    draw(); /* only where the stencil buffer was blitted */
    add_drawn();
    glDisable(GL_STENCIL_TEST);
    glDeleteProgram(program);
}

static void blits(void)
{
    static const GLint areas[][8] = {{0, 0, width, height, 0, 0, width, height},
                                     {0, 0, width, height, width, 0, 0, height},
                                     {0, 0, width, height, 4, 40, 60, 3},
                                     {10, 5, 30, 25, 0, 0, width, height},
                                     {-8, -8, 20, 20, 30, 30, 58, 58}};
    const struct drawing from = make_drawing(GL_RGBA8, 0);
    glClearDepthf(0.25f);
    glClearStencil(5);
    glClear(GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
    const GLuint program = pattern_program(1.0f, 0.0f);
    draw();
    glDeleteProgram(program);
    const struct drawing to = make_drawing(GL_RGBA8, 0);
    glClearColor(0.5f, 0.0f, 0.5f, 1.0f);
    glClearStencil(0);
    begin_sum();
    for (size_t i = 0; i < sizeof areas / sizeof areas[0]; ++i) {
        add_blit(&from, &to, areas[i], GL_NEAREST);
        add_blit(&from, &to, areas[i], GL_LINEAR);
    }
    glEnable(GL_SCISSOR_TEST);
    glScissor(5, 6, 30, 20);
    add_blit(&from, &to, areas[0], GL_NEAREST);
    glDisable(GL_SCISSOR_TEST);
    add_depth_blit(&from, &to);
    end_sum("blits");

    WRONG(glBlitFramebuffer(0, 0, 8, 8, 0, 0, 8, 8, GL_DEPTH_BUFFER_BIT, GL_LINEAR), GL_INVALID_OPERATION);
    const GLuint empty = bind_framebuffer();
    bind_both(empty, to.framebuffer);
    WRONG(glBlitFramebuffer(0, 0, 8, 8, 0, 0, 8, 8, GL_COLOR_BUFFER_BIT, GL_NEAREST),
          GL_INVALID_FRAMEBUFFER_OPERATION);
    bind_both(from.framebuffer, empty);
    WRONG(glBlitFramebuffer(0, 0, 8, 8, 0, 0, 8, 8, GL_COLOR_BUFFER_BIT, GL_NEAREST),
          GL_INVALID_FRAMEBUFFER_OPERATION);
    glDeleteFramebuffers(1, &empty);
    free_drawing(&from);
    free_drawing(&to);
}

/* Samples. */

static void add_renderbuffer(void)
{
    static const GLenum names[] = {
        GL_RENDERBUFFER_WIDTH,        GL_RENDERBUFFER_HEIGHT,     GL_RENDERBUFFER_INTERNAL_FORMAT,
        GL_RENDERBUFFER_SAMPLES,      GL_RENDERBUFFER_RED_SIZE,   GL_RENDERBUFFER_GREEN_SIZE,
        GL_RENDERBUFFER_BLUE_SIZE,    GL_RENDERBUFFER_ALPHA_SIZE, GL_RENDERBUFFER_DEPTH_SIZE,
        GL_RENDERBUFFER_STENCIL_SIZE,
    };
    for (size_t i = 0; i < sizeof names / sizeof names[0]; ++i) {
        GLint value = -1;
        glGetRenderbufferParameteriv(GL_RENDERBUFFER, names[i], &value);
        add_number(value);
    }
}

static void samples(void)
{
    GLint most = 0;
    glGetIntegerv(GL_MAX_SAMPLES, &most);
    const struct drawing many = make_drawing(GL_RGBA8, 4);
    begin_sum();
    add_number(most);
    add_renderbuffer();
    glBindRenderbuffer(GL_RENDERBUFFER, many.colour);
    add_renderbuffer();
    glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    const GLuint program =
        make_program("#version 300 es\nout vec4 colour;\n"
                     "void main() { vec2 at = vec2(gl_VertexID & 1, gl_VertexID >> 1);\n"
                     "  colour = vec4(at, 1.0, 1.0); gl_Position = vec4(at * 1.7 - 0.9, 0.0, 1.0); }\n",
                     plain_fragment);
    glDrawArrays(GL_TRIANGLES, 0, 3); /* a slanted edge has colours in between */
    glDeleteProgram(program);
    const struct drawing one = make_drawing(GL_RGBA8, 0);
    bind_both(many.framebuffer, one.framebuffer);
    glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
    WRONG(glReadPixels(0, 0, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixels), GL_INVALID_OPERATION);
    bind_both(one.framebuffer, one.framebuffer);
    add_drawn();
    /* One sample here, four there. */
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, many.colour);
    check(glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_INCOMPLETE_MULTISAMPLE,
          "unlike numbers of samples");
    WRONG(glRenderbufferStorageMultisample(GL_RENDERBUFFER, most + 1, GL_RGBA8, 8, 8), GL_INVALID_OPERATION);
    end_sum("samples");
    free_drawing(&one);
    free_drawing(&many);
}

/* What is given up, as a whole or in part: the other attachments stay. */

static void invalidations(void)
{
    static const GLenum depths[] = {GL_DEPTH_ATTACHMENT, GL_STENCIL_ATTACHMENT};
    static const GLenum colour[] = {GL_COLOR_ATTACHMENT0};
    static const GLenum defaults[] = {GL_DEPTH, GL_STENCIL};
    const struct drawing drawing = make_drawing(GL_RGBA8, 0);
    const GLuint program = pattern_program(0.5f, 0.0f);
    draw();
    glDeleteProgram(program);
    begin_sum();
    glInvalidateFramebuffer(GL_FRAMEBUFFER, 2, depths);
    add_drawn();
    glInvalidateSubFramebuffer(GL_DRAW_FRAMEBUFFER, 2, depths, 3, 4, 20, 20);
    glInvalidateFramebuffer(GL_READ_FRAMEBUFFER, 0, NULL);
    add_drawn();
    glInvalidateFramebuffer(GL_FRAMEBUFFER, 1, colour);
    glClear(GL_COLOR_BUFFER_BIT);
    add_drawn();
    end_sum("invalidation");
    WRONG(glInvalidateFramebuffer(GL_FRAMEBUFFER, 2, defaults), GL_INVALID_ENUM);
    WRONG(glInvalidateFramebuffer(GL_FRAMEBUFFER, -1, colour), GL_INVALID_VALUE);
    WRONG(glInvalidateFramebuffer(GL_RENDERBUFFER, 1, colour), GL_INVALID_ENUM);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    WRONG(glInvalidateFramebuffer(GL_FRAMEBUFFER, 1, colour), GL_INVALID_ENUM);
    glInvalidateFramebuffer(GL_FRAMEBUFFER, 2, defaults);
    glInvalidateSubFramebuffer(GL_FRAMEBUFFER, 2, defaults, 0, 0, 8, 8);
    check_gl("giving up a window's buffers");
    free_drawing(&drawing);
}

/* What can be read and drawn. */

static void read_and_draw_buffers(void)
{
    static const GLenum none[] = {GL_NONE}, back[] = {GL_BACK}, first[] = {GL_COLOR_ATTACHMENT0};
    const struct drawing drawing = make_drawing(GL_RGBA8, 0);
    begin_sum();
    const GLuint program = pattern_program(1.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glDrawBuffers(1, none);
    draw();
    add_drawn();
    glDrawBuffers(1, first);
    draw();
    add_drawn();
    WRONG(glDrawBuffers(1, back), GL_INVALID_OPERATION);
    WRONG(glDrawBuffers(-1, first), GL_INVALID_VALUE);
    glReadBuffer(GL_NONE);
    GLint read = -1;
    glGetIntegerv(GL_READ_BUFFER, &read);
    check(read == GL_NONE, "reading nothing");
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glGetIntegerv(GL_READ_BUFFER, &read);
    check(read == GL_BACK, "a window's buffer is its own");
    WRONG(glReadBuffer(GL_COLOR_ATTACHMENT0), GL_INVALID_OPERATION);
    WRONG(glDrawBuffers(1, first), GL_INVALID_OPERATION);
    glClear(GL_COLOR_BUFFER_BIT);
    glDrawBuffers(1, none);
    draw();
    add_drawn();
    glDrawBuffers(1, back);
    glReadBuffer(GL_NONE);
    glReadBuffer(GL_BACK);
    draw();
    add_drawn();
    end_sum("read and draw buffers");
    glDeleteProgram(program);
    free_drawing(&drawing);
}

/* What is attached. */

static void add_attachment(GLenum point, GLuint name)
{
    static const GLenum names[] = {
        GL_FRAMEBUFFER_ATTACHMENT_RED_SIZE,      GL_FRAMEBUFFER_ATTACHMENT_GREEN_SIZE,
        GL_FRAMEBUFFER_ATTACHMENT_BLUE_SIZE,     GL_FRAMEBUFFER_ATTACHMENT_ALPHA_SIZE,
        GL_FRAMEBUFFER_ATTACHMENT_DEPTH_SIZE,    GL_FRAMEBUFFER_ATTACHMENT_STENCIL_SIZE,
        GL_FRAMEBUFFER_ATTACHMENT_COLOR_ENCODING};
    GLint type = -1, attached = -1;
    glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, point, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE,
                                          &type);
    add_number(type);
    for (size_t i = 0; type != GL_NONE && i < sizeof names / sizeof names[0]; ++i) {
        GLint value = -1;
        glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, point, names[i], &value);
        add_number(value);
    }
    if (type == GL_FRAMEBUFFER_DEFAULT)
        return;
    glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, point, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME,
                                          &attached);
    check((GLuint)attached == name, "the name of an attachment");
}

static void attachments(void)
{
    const struct drawing drawing = make_drawing(GL_RGB565, 0);
    begin_sum();
    add_attachment(GL_COLOR_ATTACHMENT0, drawing.colour);
    add_attachment(GL_COLOR_ATTACHMENT1, 0);
    add_attachment(GL_DEPTH_ATTACHMENT, drawing.depth);
    add_attachment(GL_STENCIL_ATTACHMENT, drawing.depth);
    GLint value = 0;
    WRONG(glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT1,
                                                GL_FRAMEBUFFER_ATTACHMENT_RED_SIZE, &value),
          GL_INVALID_OPERATION);
    /* A framebuffer that isn't bound keeps what is deleted. */
    const GLuint other = bind_framebuffer();
    glDeleteRenderbuffers(1, &drawing.colour);
    glBindFramebuffer(GL_FRAMEBUFFER, drawing.framebuffer);
    add_attachment(GL_COLOR_ATTACHMENT0, drawing.colour);
    glDeleteRenderbuffers(1, &drawing.depth);
    add_attachment(GL_DEPTH_ATTACHMENT, 0);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, 0);
    add_attachment(GL_COLOR_ATTACHMENT0, 0);
    check(glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_INCOMPLETE_MISSING_ATTACHMENT,
          "nothing attached");
    glFramebufferParameteri(GL_DRAW_FRAMEBUFFER, GL_FRAMEBUFFER_DEFAULT_WIDTH, 32);
    glFramebufferParameteri(GL_DRAW_FRAMEBUFFER, GL_FRAMEBUFFER_DEFAULT_HEIGHT, 16);
    GLint across = 0;
    glGetFramebufferParameteriv(GL_DRAW_FRAMEBUFFER, GL_FRAMEBUFFER_DEFAULT_WIDTH, &across);
    check(across == 32, "glFramebufferParameteri");
    check(glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE, "a size without attachments");
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    add_attachment(GL_BACK, 0);
    add_attachment(GL_DEPTH, 0);
    add_attachment(GL_STENCIL, 0);
    end_sum("attachments");
    glDeleteFramebuffers(1, &drawing.framebuffer);
    glDeleteFramebuffers(1, &other);
}

/* Levels, layers and faces of textures. */

static void add_texture_point(GLuint texture)
{
    static const GLenum names[] = {
        GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE, GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LEVEL,
        GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_CUBE_MAP_FACE, GL_FRAMEBUFFER_ATTACHMENT_TEXTURE_LAYER};
    for (size_t i = 0; i < sizeof names / sizeof names[0]; ++i) {
        GLint value = -1;
        glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, names[i], &value);
        add_number(value);
    }
    add_attachment(GL_COLOR_ATTACHMENT0, texture);
}

/* Each part gets a colour of its own; only then they are read, so that one that hit another shows. */
static void paint(float shade)
{
    check(glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE, "a texture's part");
    glClearColor(shade, 1.0f - shade, 0.5f, shade * shade);
    glClear(GL_COLOR_BUFFER_BIT);
}

static void textures_with_layers(GLenum target)
{
    enum
    {
        layers = 5
    };
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(target, texture);
    glTexStorage3D(target, 2, GL_RGBA8, width, height, layers);
    for (int pass = 0; pass < 2; ++pass)
        for (GLint layer = 0; layer < layers; ++layer) {
            const GLint level = layer < 2; /* a second level of a 3D texture has half as many */
            glFramebufferTextureLayer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, texture, level, layer);
            if (pass)
                add_drawn();
            else
                paint((float)layer / layers);
            add_texture_point(texture);
        }
    glDeleteTextures(1, &texture);
}

static void texture_faces(void)
{
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_CUBE_MAP, texture);
    glTexStorage2D(GL_TEXTURE_CUBE_MAP, 3, GL_RGBA8, height, height);
    for (int pass = 0; pass < 2; ++pass)
        for (GLenum face = 0; face < 6; ++face) {
            glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0,
                                   GL_TEXTURE_CUBE_MAP_POSITIVE_X + face, texture, (GLint)face / 2);
            if (pass)
                add_read(0, 0, 12, 12, GL_RGBA, GL_UNSIGNED_BYTE);
            else
                paint((float)face / 6);
            add_texture_point(texture);
        }
    glDeleteTextures(1, &texture);
}

static const char sampled[] =
    "#version 300 es\nprecision highp float; in vec2 place; uniform sampler2D drawn; out vec4 colour;\n"
    "void main() { colour = texture(drawn, place * 2.0).bgra; }\n";

/* A texture that was drawn is drawn with; its numbers are floats where the driver can. */
static void drawn_texture(GLenum format, GLenum type)
{
    const struct drawing into = make_drawing(GL_RGBA8, 0);
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexStorage2D(GL_TEXTURE_2D, 1, format, width, height);
    const GLuint framebuffer = bind_framebuffer();
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    if (glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE) {
        GLuint program = pattern_program(2.5f, 0.0f); /* more than a colour holds */
        draw();
        glDeleteProgram(program);
        add_whole(GL_RGBA, type);
        glBindFramebuffer(GL_FRAMEBUFFER, into.framebuffer);
        program = make_program(whole_target, sampled);
        draw();
        glDeleteProgram(program);
        add_drawn();
    }
    glDeleteTextures(1, &texture);
    glDeleteFramebuffers(1, &framebuffer);
    free_drawing(&into);
}

static void textures(void)
{
    const GLuint framebuffer = bind_framebuffer();
    begin_sum();
    textures_with_layers(GL_TEXTURE_2D_ARRAY);
    textures_with_layers(GL_TEXTURE_3D);
    texture_faces();
    end_sum("parts of textures");
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &framebuffer);
    begin_sum();
    drawn_texture(GL_RGBA8, GL_UNSIGNED_BYTE);
    drawn_texture(GL_RGBA16F, GL_HALF_FLOAT);
    drawn_texture(GL_RGBA32F, GL_FLOAT);
    end_sum("drawn textures");
}

/* Reading back: where each pixel lands. */

static const struct
{
    GLenum name;
    GLint values[4]; /* the first is the default */
} pack[] = {{GL_PACK_ALIGNMENT, {4, 1, 2, 8}},
            {GL_PACK_ROW_LENGTH, {0, 13, 70, 27}},
            {GL_PACK_SKIP_PIXELS, {0, 1, 5, 2}},
            {GL_PACK_SKIP_ROWS, {0, 3, 1, 7}}};

static void set_pack(size_t way)
{
    for (size_t i = 0; i < 4; ++i)
        glPixelStorei(pack[i].name, pack[i].values[(way >> (2 * i)) & 3]);
}

static void add_ways(GLenum format, GLenum type)
{
    for (size_t way = 0; way < 256; way += 5) {
        set_pack(way);
        add_read(5, 7, 13, 9, format, type);
    }
    set_pack(0);
}

/* The layout that this framebuffer is stored in, where every driver names one of the API's own. */
static void add_own_ways(void)
{
    GLint format = 0, type = 0;
    glGetIntegerv(GL_IMPLEMENTATION_COLOR_READ_FORMAT, &format);
    glGetIntegerv(GL_IMPLEMENTATION_COLOR_READ_TYPE, &type);
    add_number(format);
    add_number(type);
    add_ways((GLenum)format, (GLenum)type);
}

static void read_back(void)
{
    static const struct
    {
        GLenum storage;
        GLenum format;
        GLenum type;
        int own;
    } layouts[] = {{GL_RGBA8, GL_RGBA, GL_UNSIGNED_BYTE, 1},
                   {GL_RGB8, GL_RGBA, GL_UNSIGNED_BYTE, 1},
                   {GL_RGB565, GL_RGBA, GL_UNSIGNED_BYTE, 1},
                   {GL_RGBA4, GL_RGBA, GL_UNSIGNED_BYTE, 1},
                   {GL_RGB5_A1, GL_RGBA, GL_UNSIGNED_BYTE, 0},
                   {GL_R8, GL_RGBA, GL_UNSIGNED_BYTE, 1},
                   {GL_RG8, GL_RGBA, GL_UNSIGNED_BYTE, 1},
                   {GL_SRGB8_ALPHA8, GL_RGBA, GL_UNSIGNED_BYTE, 1},
                   {GL_RGB10_A2, GL_RGBA, GL_UNSIGNED_INT_2_10_10_10_REV, 1}};
    for (size_t i = 0; i < sizeof layouts / sizeof layouts[0]; ++i) {
        char subject[40];
        const struct drawing drawing = make_drawing(layouts[i].storage, 0);
        const GLuint program = pattern_program(0.75f, 0.0f);
        draw();
        begin_sum();
        add_ways(layouts[i].format, layouts[i].type);
        if (layouts[i].own)
            add_own_ways();
        snprintf(subject, sizeof subject, "reading format 0x%04x", (unsigned)layouts[i].storage);
        end_sum(subject);
        glDeleteProgram(program);
        free_drawing(&drawing);
    }
}

static void pack_buffers(void)
{
    const struct drawing drawing = make_drawing(GL_RGBA8, 0);
    const GLuint program = pattern_program(0.75f, 0.0f);
    draw();
    GLuint buffer = 0;
    glGenBuffers(1, &buffer);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, buffer);
    memset(pixels, 0, sizeof pixels);
    glBufferData(GL_PIXEL_PACK_BUFFER, sizeof pixels, pixels, GL_STREAM_READ);
    begin_sum();
    for (size_t way = 0; way < 256; way += 51) {
        set_pack(way);
        glReadPixels(5, 7, 13, 9, GL_RGBA, GL_UNSIGNED_BYTE, (void*)(way * 8));
        const void* mapped = glMapBufferRange(GL_PIXEL_PACK_BUFFER, 0, sizeof pixels, GL_MAP_READ_BIT);
        check(mapped != NULL, "glMapBufferRange");
        add_bytes(mapped, sizeof pixels);
        check(glUnmapBuffer(GL_PIXEL_PACK_BUFFER), "glUnmapBuffer");
    }
    set_pack(0);
    WRONG(glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, (void*)(sizeof pixels - 64)),
          GL_INVALID_OPERATION);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    add_drawn();
    end_sum("pack buffers");
    glDeleteBuffers(1, &buffer);
    glDeleteProgram(program);
    free_drawing(&drawing);
}

static void wrong_calls(void)
{
    const struct drawing drawing = make_drawing(GL_RGBA8, 0);
    WRONG(glBindFramebuffer(GL_TEXTURE_2D, 0), GL_INVALID_ENUM);
    WRONG(glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, 12345),
          GL_INVALID_OPERATION);
    WRONG(glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_RGBA, GL_RENDERBUFFER, drawing.colour),
          GL_INVALID_ENUM);
    WRONG(glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, -1, 8), GL_INVALID_VALUE);
    WRONG(glRenderbufferStorage(GL_RENDERBUFFER, GL_POINTS, 8, 8), GL_INVALID_ENUM);
    WRONG(glReadPixels(0, 0, -1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixels), GL_INVALID_VALUE);
    WRONG(glReadPixels(0, 0, 1, 1, GL_RGBA_INTEGER, GL_UNSIGNED_INT, pixels), GL_INVALID_OPERATION);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    WRONG(glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, drawing.colour),
          GL_INVALID_OPERATION);
    glBindFramebuffer(GL_FRAMEBUFFER, 600); /* a name comes to be when it is bound */
    WRONG(glReadPixels(0, 0, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixels), GL_INVALID_FRAMEBUFFER_OPERATION);
    WRONG(glClear(GL_COLOR_BUFFER_BIT), GL_INVALID_FRAMEBUFFER_OPERATION);
    const GLuint name = 600;
    glDeleteFramebuffers(1, &name);
    GLint bound = -1;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &bound);
    check(bound == 0, "what is bound behind a deleted framebuffer");
    free_drawing(&drawing);
}

/* A picture that was drawn elsewhere arrives in the window, larger each time. */
static void show(struct size size, int frame, int frames)
{
    const struct drawing drawing = make_drawing(GL_RGBA8, 0);
    const GLuint program = pattern_program((float)(frame + 1) / (float)frames, 0.0f);
    draw();
    glDeleteProgram(program);
    bind_both(drawing.framebuffer, 0);
    glClearColor(0.1f, 0.2f, 0.3f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glBlitFramebuffer(0, 0, width, height, frame * 8, 8, size.width / 2 + frame * 8, size.height - 8,
                      GL_COLOR_BUFFER_BIT, GL_LINEAR);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    begin_sum();
    add_picture(size);
    end_sum("a picture in a window");
    free_drawing(&drawing);
}

int main(int count, char** arguments)
{
    const int frames = number_option(count, arguments, "--frames", 3);
    const struct window window = open_window(3);
    multiple_targets();
    blits();
    samples();
    invalidations();
    read_and_draw_buffers();
    attachments();
    textures();
    read_back();
    pack_buffers();
    wrong_calls();
    for (int frame = 0; frame < frames; ++frame) {
        show(window.size, frame, frames);
        check(eglSwapBuffers(window.display, window.surface), "eglSwapBuffers");
    }
    close_window(window);
    return 0;
}
