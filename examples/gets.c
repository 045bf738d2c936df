/* Asks for every value that OpenGL ES 3.1 can tell, in every type: as it is at first, and what is different
 * after all of the state has been changed. Prints the values, and how many bytes came. */

#include "get_names.h"
#include "window.h"

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum type
{
    boolean,
    integer,
    real,
    wide,
    types
};
static const size_t bytes_of[types] = {1, 4, 4, 8};

enum
{
    room = 1024,
    untouched = 0x5a
};

/* What one question was answered, by type. */
struct answer
{
    unsigned char bytes[types][room];
    GLenum error[types];
};

static GLenum oldest_error(void)
{
    const GLenum error = glGetError();
    check(glGetError() == GL_NO_ERROR, "one error only");
    return error;
}

static void ask(GLenum name, int index, struct answer* into)
{
    memset(into, untouched, sizeof *into);
    for (int type = 0; type < types; ++type) {
        void* at = into->bytes[type];
        if (type == boolean && index < 0)
            glGetBooleanv(name, at);
        else if (type == boolean)
            glGetBooleani_v(name, (GLuint)index, at);
        else if (type == integer && index < 0)
            glGetIntegerv(name, at);
        else if (type == integer)
            glGetIntegeri_v(name, (GLuint)index, at);
        else if (type == real && index < 0)
            glGetFloatv(name, at);
        else if (type == wide && index < 0)
            glGetInteger64v(name, at);
        else if (type == wide)
            glGetInteger64i_v(name, (GLuint)index, at);
        into->error[type] = oldest_error();
    }
}

/* Values in what came, counted up to the last byte that was written. */
static size_t values_in(const unsigned char* bytes, size_t width)
{
    size_t size = room;
    while (size > 0 && bytes[size - 1] == untouched)
        --size;
    return (size + width - 1) / width;
}

static void print_value(int type, const unsigned char* at)
{
    GLint whole = 0;
    GLfloat number = 0;
    GLint64 large = 0;
    if (type == boolean) {
        printf(" %d", *at);
    } else if (type == integer) {
        memcpy(&whole, at, sizeof whole);
        printf(" %d", (int)whole);
    } else if (type == real) {
        memcpy(&number, at, sizeof number);
        printf(" %.9g", (double)number);
    } else {
        memcpy(&large, at, sizeof large);
        printf(" %lld", (long long)large);
    }
}

static void print_answer(const char* text, int index, const struct answer* answer)
{
    static const char* const letters[types] = {"bool", "int", "float", "int64"};
    printf("%s", text);
    if (index >= 0)
        printf("[%d]", index);
    for (int type = 0; type < types; ++type) {
        printf(" %s", letters[type]);
        for (size_t i = 0; i < values_in(answer->bytes[type], bytes_of[type]); ++i)
            print_value(type, answer->bytes[type] + i * bytes_of[type]);
        if (answer->error[type] != GL_NO_ERROR)
            printf(" error 0x%04x", (unsigned)answer->error[type]);
    }
    printf("\n");
}

#define COUNT(table) (sizeof(table) / sizeof(table)[0])

enum
{
    indices = 4
};
static struct answer plain_before[COUNT(plain_names)];
static struct answer indexed_before[COUNT(indexed_names)][indices];

/* Whatever has changed since the last time; everything the first time. */
static void print_changes(const char* when)
{
    static struct answer now;
    printf("== %s\n", when);
    begin_wrong_call("questions beyond the last index");
    for (size_t i = 0; i < COUNT(plain_names); ++i) {
        ask(plain_names[i].value, -1, &now);
        if (memcmp(&now, &plain_before[i], sizeof now) != 0)
            print_answer(plain_names[i].text, -1, &now);
        plain_before[i] = now;
    }
    for (size_t i = 0; i < COUNT(indexed_names); ++i)
        for (int index = 0; index < indices; ++index) {
            ask(indexed_names[i].value, index, &now);
            if (memcmp(&now, &indexed_before[i][index], sizeof now) != 0)
                print_answer(indexed_names[i].text, index, &now);
            indexed_before[i][index] = now;
        }
    for (size_t i = 0; i < COUNT(capabilities); ++i) {
        const GLboolean on = glIsEnabled(capabilities[i].value);
        printf("%s %s error 0x%04x\n", capabilities[i].text, on ? "on" : "off", (unsigned)oldest_error());
    }
    end_wrong_call("the last question", GL_NO_ERROR);
}

/* Every kind of state that isn't an object. */
static void change_state(void)
{
    glActiveTexture(GL_TEXTURE3);
    glBlendColor(0.25f, 0.5f, 0.75f, -1.0f);
    glBlendEquationSeparate(GL_FUNC_SUBTRACT, GL_MAX);
    glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE, GL_CONSTANT_COLOR, GL_DST_ALPHA);
    glClearColor(1.0f, -0.5f, 2.0f, 0.125f);
    glClearDepthf(0.5f);
    glClearStencil(77);
    glColorMask(GL_TRUE, GL_FALSE, GL_TRUE, GL_FALSE);
    glCullFace(GL_FRONT_AND_BACK);
    glDepthFunc(GL_GEQUAL);
    glDepthMask(GL_FALSE);
    glDepthRangef(0.25f, 0.875f);
    glFrontFace(GL_CW);
    glHint(GL_GENERATE_MIPMAP_HINT, GL_NICEST);
    glHint(GL_FRAGMENT_SHADER_DERIVATIVE_HINT, GL_FASTEST);
    glLineWidth(2.5f);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glPixelStorei(GL_PACK_ROW_LENGTH, 11);
    glPixelStorei(GL_PACK_SKIP_PIXELS, 12);
    glPixelStorei(GL_PACK_SKIP_ROWS, 13);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 8);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 21);
    glPixelStorei(GL_UNPACK_IMAGE_HEIGHT, 22);
    glPixelStorei(GL_UNPACK_SKIP_PIXELS, 23);
    glPixelStorei(GL_UNPACK_SKIP_ROWS, 24);
    glPixelStorei(GL_UNPACK_SKIP_IMAGES, 25);
    glPolygonOffset(-1.5f, 3.0f);
    glSampleCoverage(0.625f, GL_TRUE);
    glSampleMaski(0, 0xa5a5a5a5u);
    glScissor(1, 2, 3, 4);
    glStencilFuncSeparate(GL_FRONT, GL_LESS, 5, 0xffffff0fu);
    glStencilFuncSeparate(GL_BACK, GL_GREATER, 6, 0xf0);
    glStencilMaskSeparate(GL_FRONT, 0x11);
    glStencilMaskSeparate(GL_BACK, 0x80000022u);
    glStencilOpSeparate(GL_FRONT, GL_ZERO, GL_INCR, GL_DECR_WRAP);
    glStencilOpSeparate(GL_BACK, GL_INVERT, GL_INCR_WRAP, GL_REPLACE);
    glViewport(5, 6, 70, 80);
    for (size_t i = 0; i < COUNT(capabilities); ++i)
        if (capabilities[i].value == GL_DITHER)
            glDisable(GL_DITHER);
        else if (capabilities[i].value != GL_TEXTURE_2D)
            glEnable(capabilities[i].value);
    check_gl("changing the state");
}

static void undo_capabilities(void)
{
    for (size_t i = 0; i < COUNT(capabilities); ++i)
        if (capabilities[i].value == GL_DITHER)
            glEnable(GL_DITHER);
        else if (capabilities[i].value != GL_TEXTURE_2D)
            glDisable(capabilities[i].value);
    check_gl("capabilities as they were");
}

static const GLenum buffer_targets[] = {
    GL_ARRAY_BUFFER,      GL_ELEMENT_ARRAY_BUFFER,  GL_COPY_READ_BUFFER,      GL_COPY_WRITE_BUFFER,
    GL_PIXEL_PACK_BUFFER, GL_PIXEL_UNPACK_BUFFER,   GL_DRAW_INDIRECT_BUFFER,  GL_DISPATCH_INDIRECT_BUFFER,
    GL_UNIFORM_BUFFER,    GL_SHADER_STORAGE_BUFFER, GL_ATOMIC_COUNTER_BUFFER, GL_TRANSFORM_FEEDBACK_BUFFER,
};

static GLuint simple_program(void)
{
    static const char* const texts[2] = {
        "#version 300 es\nin vec4 at; void main() { gl_Position = at; }\n",
        "#version 300 es\nprecision mediump float; out vec4 colour; void main() { colour = vec4(1.0); }\n"};
    static const GLenum kinds[2] = {GL_VERTEX_SHADER, GL_FRAGMENT_SHADER};
    const GLuint program = glCreateProgram();
    for (int i = 0; i < 2; ++i) {
        const GLuint shader = glCreateShader(kinds[i]);
        glShaderSource(shader, 1, &texts[i], NULL);
        glCompileShader(shader);
        glAttachShader(program, shader);
        glDeleteShader(shader);
    }
    glLinkProgram(program);
    return program;
}

/* Objects of each kind, bound where they can be. Ids are the same as on the host as none was deleted. */
static void bind_objects(GLuint* buffers)
{
    GLuint id = 0;
    glGenVertexArrays(1, &id);
    glBindVertexArray(id);
    glGenBuffers(COUNT(buffer_targets), buffers);
    for (size_t i = 0; i < COUNT(buffer_targets); ++i) {
        glBindBuffer(buffer_targets[i], buffers[i]);
        glBufferData(buffer_targets[i], 4096, NULL, GL_STATIC_DRAW);
    }
    GLint alignment = 1;
    glGetIntegerv(GL_UNIFORM_BUFFER_OFFSET_ALIGNMENT, &alignment);
    glBindBufferBase(GL_UNIFORM_BUFFER, 1, buffers[8]);
    glBindBufferRange(GL_UNIFORM_BUFFER, 2, buffers[2], alignment, 512);
    glGetIntegerv(GL_SHADER_STORAGE_BUFFER_OFFSET_ALIGNMENT, &alignment);
    glBindBufferRange(GL_SHADER_STORAGE_BUFFER, 3, buffers[9], 2 * alignment, 256);
    glBindBufferBase(GL_ATOMIC_COUNTER_BUFFER, 0, buffers[10]);
    glBindBufferRange(GL_TRANSFORM_FEEDBACK_BUFFER, 1, buffers[11], 16, 64);
    glBindVertexBuffer(2, buffers[0], 48, 20);
    glVertexBindingDivisor(3, 7);
    glGenTransformFeedbacks(1, &id);
    glBindTransformFeedback(GL_TRANSFORM_FEEDBACK, id);
    glGenProgramPipelines(1, &id);
    glBindProgramPipeline(id);
    glUseProgram(simple_program());
    check_gl("binding objects");
}

static void bind_images(void)
{
    static const GLenum targets[] = {GL_TEXTURE_2D, GL_TEXTURE_3D, GL_TEXTURE_CUBE_MAP, GL_TEXTURE_2D_ARRAY};
    GLuint id = 0, textures[COUNT(targets)];
    glActiveTexture(GL_TEXTURE5);
    glGenTextures(COUNT(targets), textures);
    for (size_t i = 0; i < COUNT(targets); ++i)
        glBindTexture(targets[i], textures[i]);
    glTexStorage2D(GL_TEXTURE_2D, 3, GL_RGBA8, 16, 16);
    glBindImageTexture(2, textures[0], 1, GL_FALSE, 0, GL_WRITE_ONLY, GL_RGBA8UI);
    glGenSamplers(1, &id);
    glBindSampler(5, id);
    glGenRenderbuffers(1, &id);
    glBindRenderbuffer(GL_RENDERBUFFER, id);
    glRenderbufferStorage(GL_RENDERBUFFER, GL_RGB565, 32, 16);
    for (int i = 0; i < 2; ++i) {
        GLuint frame = 0;
        glGenFramebuffers(1, &frame);
        glBindFramebuffer(i ? GL_READ_FRAMEBUFFER : GL_FRAMEBUFFER, frame);
        if (i == 0)
            glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, textures[0], 1);
        else
            glFramebufferRenderbuffer(GL_READ_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, id);
    }
    check_gl("binding images");
}

static void unbind_images(void)
{
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glBindRenderbuffer(GL_RENDERBUFFER, 0);
    glBindSampler(5, 0);
    glBindTexture(GL_TEXTURE_2D, 0);
    glActiveTexture(GL_TEXTURE0);
    check_gl("unbinding images");
}

static void unbind_objects(void)
{
    glBindTransformFeedback(GL_TRANSFORM_FEEDBACK, 0);
    glUseProgram(0);
    glBindProgramPipeline(0);
    for (size_t i = 0; i < COUNT(buffer_targets); ++i)
        glBindBuffer(buffer_targets[i], 0);
    glBindVertexArray(0);
    check_gl("unbinding objects");
}

/* Strings. The list of extensions is the library's own choice. */
static void print_strings(void)
{
    static const struct named_value names[] = {NAMED(GL_VENDOR), NAMED(GL_RENDERER), NAMED(GL_VERSION),
                                               NAMED(GL_SHADING_LANGUAGE_VERSION)};
    for (size_t i = 0; i < COUNT(names); ++i) {
        const GLubyte* text = glGetString(names[i].value);
        check(text != NULL && text == glGetString(names[i].value), "a string that stays where it is");
        printf("%s %s\n", names[i].text, (const char*)text);
    }
    /* The parts are the whole, whichever they are. */
    const char* whole = (const char*)glGetString(GL_EXTENSIONS);
    GLint count = 0;
    glGetIntegerv(GL_NUM_EXTENSIONS, &count);
    check(whole != NULL && count > 0, "extensions");
    size_t length = 0;
    for (GLint i = 0; i < count; ++i) {
        const char* name = (const char*)glGetStringi(GL_EXTENSIONS, (GLuint)i);
        check(name != NULL && strstr(whole, name) != NULL, "an extension of the list");
        check(name == (const char*)glGetStringi(GL_EXTENSIONS, (GLuint)i), "a name that stays where it is");
        length += strlen(name) + 1;
    }
    check(length == strlen(whole) || length == strlen(whole) + 1, "all extensions of the list");
    begin_wrong_call("strings that aren't there");
    const GLubyte* none = glGetString(GL_BLEND);
    printf("a string that isn't one: %s error 0x%04x\n", none ? "some" : "null", (unsigned)oldest_error());
    none = glGetStringi(GL_EXTENSIONS, (GLuint)count);
    printf("beyond the list: %s error 0x%04x\n", none ? "some" : "null", (unsigned)oldest_error());
    none = glGetStringi(GL_VENDOR, 0);
    printf("a list that isn't one: %s error 0x%04x\n", none ? "some" : "null", (unsigned)oldest_error());
    end_wrong_call("the last string", GL_NO_ERROR);
}

static int ascending(const void* a, const void* b)
{
    const GLint left = *(const GLint*)a, right = *(const GLint*)b;
    return left < right ? -1 : left > right;
}

static void print_compressed_formats(void)
{
    static GLint formats[room];
    GLint count = 0;
    glGetIntegerv(GL_NUM_COMPRESSED_TEXTURE_FORMATS, &count);
    check(count > 0 && count < room, "compressed formats");
    glGetIntegerv(GL_COMPRESSED_TEXTURE_FORMATS, formats);
    qsort(formats, (size_t)count, sizeof formats[0], ascending);
    printf("compressed formats:");
    for (GLint i = 0; i < count; ++i)
        printf(" %04x", (unsigned)formats[i]);
    printf("\n");
}

static void print_attribute(GLuint index)
{
    GLint whole[5];
    GLuint positive[5];
    GLfloat number[5];
    for (size_t i = 0; i < COUNT(attribute_names); ++i) {
        const GLenum name = attribute_names[i].value;
        memset(whole, untouched, sizeof whole);
        memset(positive, untouched, sizeof positive);
        memset(number, untouched, sizeof number);
        glGetVertexAttribiv(index, name, whole);
        const GLenum first = oldest_error();
        glGetVertexAttribfv(index, name, number);
        glGetVertexAttribIuiv(index, name, positive);
        printf("attribute %u %s", (unsigned)index, attribute_names[i].text);
        for (int v = 0; v < 5 && whole[v] != 0x5a5a5a5a; ++v)
            printf(" %d/%u/%.9g", (int)whole[v], (unsigned)positive[v], (double)number[v]);
        glGetVertexAttribIiv(index, name, whole);
        printf(" %d error 0x%04x 0x%04x\n", (int)whole[0], (unsigned)first, (unsigned)oldest_error());
    }
    void* pointer = NULL;
    glGetVertexAttribPointerv(index, GL_VERTEX_ATTRIB_ARRAY_POINTER, &pointer);
    printf("attribute %u at %llu error 0x%04x\n", (unsigned)index, (unsigned long long)(uintptr_t)pointer,
           (unsigned)oldest_error());
}

static void attributes(void)
{
    GLuint buffer = 0;
    GLfloat value[4] = {0};
    static unsigned char memory[256];
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    printf("== attributes\n");
    print_attribute(0);
    print_attribute(15);
    glVertexAttrib2f(1, 0.5f, -2.0f);
    glVertexAttribI4i(2, -1, 2, -3, 4);
    glGetVertexAttribfv(1, GL_CURRENT_VERTEX_ATTRIB, value);
    printf("current %.9g %.9g %.9g %.9g\n", (double)value[0], (double)value[1], (double)value[2],
           (double)value[3]);
    GLint whole[4] = {0};
    glGetVertexAttribIiv(2, GL_CURRENT_VERTEX_ATTRIB, whole);
    printf("current %d %d %d %d\n", (int)whole[0], (int)whole[1], (int)whole[2], (int)whole[3]);
    /* Beyond the bindings whose offsets are printed, as the host learns of an address at the draw only. */
    glVertexAttribPointer(9, 3, GL_SHORT, GL_TRUE, 20, memory);
    glGenBuffers(1, &buffer);
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glVertexAttribIPointer(4, 2, GL_UNSIGNED_BYTE, 8, (const void*)16);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glEnableVertexAttribArray(4);
    glVertexAttribDivisor(4, 3);
    print_attribute(4);
    void* pointer = NULL;
    glGetVertexAttribPointerv(9, GL_VERTEX_ATTRIB_ARRAY_POINTER, &pointer);
    check(pointer == memory, "the address of a client array");
    glDisableVertexAttribArray(4);
    glVertexAttribDivisor(4, 0);
    glDeleteBuffers(1, &buffer);
    check_gl("attributes");
}

static void buffers(void)
{
    GLuint buffer = 0;
    glGenBuffers(1, &buffer);
    glBindBuffer(GL_COPY_READ_BUFFER, buffer);
    printf("== buffers\n");
    for (int step = 0; step < 4; ++step) {
        if (step == 1)
            glBufferData(GL_COPY_READ_BUFFER, 1000, NULL, GL_STREAM_READ);
        else if (step == 2)
            check(glMapBufferRange(GL_COPY_READ_BUFFER, 100, 200, GL_MAP_READ_BIT | GL_MAP_WRITE_BIT) != NULL,
                  "glMapBufferRange");
        else if (step == 3)
            check(glUnmapBuffer(GL_COPY_READ_BUFFER), "glUnmapBuffer");
        for (size_t i = 0; i < COUNT(buffer_names); ++i) {
            GLint whole = -1;
            GLint64 large = -1;
            glGetBufferParameteriv(GL_COPY_READ_BUFFER, buffer_names[i].value, &whole);
            glGetBufferParameteri64v(GL_COPY_READ_BUFFER, buffer_names[i].value, &large);
            printf("%s %d %lld\n", buffer_names[i].text, (int)whole, (long long)large);
        }
    }
    glDeleteBuffers(1, &buffer);
    check_gl("buffers");
}

/* Every value of one object; a row of each table for each kind. */

typedef void ask_object(GLuint object, GLenum name, GLint* into);

static void print_object(const char* kind, GLuint object, const struct named_value* names, size_t count,
                         ask_object* ask_one)
{
    for (size_t i = 0; i < count; ++i) {
        GLint values[8];
        memset(values, untouched, sizeof values);
        ask_one(object, names[i].value, values);
        printf("%s %s", kind, names[i].text);
        for (int v = 0; v < 8 && values[v] != 0x5a5a5a5a; ++v)
            printf(" %d", (int)values[v]);
        printf(" error 0x%04x\n", (unsigned)oldest_error());
    }
}
#define PRINT_OBJECT(kind, object, names, ask_one) print_object(kind, object, names, COUNT(names), ask_one)

static void ask_texture(GLuint target, GLenum name, GLint* into)
{
    GLfloat real = -1.0f;
    glGetTexParameteriv(target, name, into);
    glGetTexParameterfv(target, name, &real);
    printf("%.9g ", (double)real);
}
static void ask_level(GLuint level, GLenum name, GLint* into)
{
    GLfloat real = -1.0f;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, (GLint)level, name, into);
    glGetTexLevelParameterfv(GL_TEXTURE_2D, (GLint)level, name, &real);
    printf("%.9g ", (double)real);
}
static void ask_sampler(GLuint sampler, GLenum name, GLint* into)
{
    GLfloat real = -1.0f;
    glGetSamplerParameteriv(sampler, name, into);
    glGetSamplerParameterfv(sampler, name, &real);
    printf("%.9g ", (double)real);
}
static void ask_renderbuffer(GLuint target, GLenum name, GLint* into)
{
    glGetRenderbufferParameteriv(target, name, into);
}
static void ask_attachment(GLuint attachment, GLenum name, GLint* into)
{
    glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, attachment, name, into);
}
static void ask_frame(GLuint target, GLenum name, GLint* into)
{
    glGetFramebufferParameteriv(target, name, into);
}

static void images(void)
{
    GLuint texture = 0, sampler = 0, render = 0, frame = 0;
    printf("== images\n");
    begin_wrong_call("questions that an attachment has no answer to");
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D, texture);
    PRINT_OBJECT("new texture", GL_TEXTURE_2D, texture_names, ask_texture);
    glTexStorage2D(GL_TEXTURE_2D, 3, GL_RGB10_A2, 20, 9);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_MIRRORED_REPEAT);
    glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_MIN_LOD, 0.75f);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 1);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_B, GL_ONE);
    PRINT_OBJECT("texture", GL_TEXTURE_2D, texture_names, ask_texture);
    PRINT_OBJECT("level 1", 1, level_names, ask_level);
    PRINT_OBJECT("level 7", 7, level_names, ask_level);
    glGenSamplers(1, &sampler);
    PRINT_OBJECT("new sampler", sampler, sampler_names, ask_sampler);
    glSamplerParameteri(sampler, GL_TEXTURE_COMPARE_MODE, GL_COMPARE_REF_TO_TEXTURE);
    glSamplerParameterf(sampler, GL_TEXTURE_MAX_LOD, 2.5f);
    PRINT_OBJECT("sampler", sampler, sampler_names, ask_sampler);
    glGenRenderbuffers(1, &render);
    glBindRenderbuffer(GL_RENDERBUFFER, render);
    PRINT_OBJECT("new renderbuffer", GL_RENDERBUFFER, renderbuffer_names, ask_renderbuffer);
    glRenderbufferStorageMultisample(GL_RENDERBUFFER, 4, GL_DEPTH24_STENCIL8, 20, 9);
    PRINT_OBJECT("renderbuffer", GL_RENDERBUFFER, renderbuffer_names, ask_renderbuffer);
    PRINT_OBJECT("back", GL_BACK, attachment_names, ask_attachment);
    PRINT_OBJECT("depth of the window", GL_DEPTH, attachment_names, ask_attachment);
    glGenFramebuffers(1, &frame);
    glBindFramebuffer(GL_FRAMEBUFFER, frame);
    PRINT_OBJECT("new frame buffer", GL_FRAMEBUFFER, frame_names, ask_frame);
    glFramebufferParameteri(GL_FRAMEBUFFER, GL_FRAMEBUFFER_DEFAULT_WIDTH, 33);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 1);
    glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER, render);
    PRINT_OBJECT("frame buffer", GL_FRAMEBUFFER, frame_names, ask_frame);
    PRINT_OBJECT("colour", GL_COLOR_ATTACHMENT0, attachment_names, ask_attachment);
    PRINT_OBJECT("no colour", GL_COLOR_ATTACHMENT1, attachment_names, ask_attachment);
    PRINT_OBJECT("stencil", GL_STENCIL_ATTACHMENT, attachment_names, ask_attachment);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &frame);
    glDeleteRenderbuffers(1, &render);
    glDeleteSamplers(1, &sampler);
    glDeleteTextures(1, &texture);
    end_wrong_call("the last attachment", GL_NO_ERROR);
}

static void ask_shader(GLuint shader, GLenum name, GLint* into)
{
    glGetShaderiv(shader, name, into);
}
static void ask_program(GLuint program, GLenum name, GLint* into)
{
    glGetProgramiv(program, name, into);
}
static void ask_pipeline(GLuint pipeline, GLenum name, GLint* into)
{
    glGetProgramPipelineiv(pipeline, name, into);
}

static void objects(void)
{
    GLuint pipeline = 0, query = 0;
    printf("== objects\n");
    const GLuint shader = glCreateShader(GL_COMPUTE_SHADER), program = glCreateProgram(),
                 linked = simple_program();
    begin_wrong_call("questions that only a compute shader has an answer to");
    PRINT_OBJECT("new shader", shader, shader_names, ask_shader);
    PRINT_OBJECT("new program", program, program_names, ask_program);
    PRINT_OBJECT("program", linked, program_names, ask_program);
    glGenProgramPipelines(1, &pipeline);
    glBindProgramPipeline(pipeline);
    PRINT_OBJECT("pipeline", pipeline, pipeline_names, ask_pipeline);
    glBindProgramPipeline(0);
    end_wrong_call("the last pipeline", GL_NO_ERROR);
    glGenQueries(1, &query);
    for (int i = 0; i < 3; ++i) {
        GLint current = -1;
        if (i == 1)
            glBeginQuery(GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN, query);
        else if (i == 2)
            glEndQuery(GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN);
        glGetQueryiv(GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN, GL_CURRENT_QUERY, &current);
        printf("current query: %d\n", (int)current);
    }
    GLuint result = 7;
    glGetQueryObjectuiv(query, GL_QUERY_RESULT, &result);
    printf("result of a query: %u\n", (unsigned)result);
    const GLsync fence = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
    glFinish();
    for (size_t i = 0; i < COUNT(sync_names); ++i) {
        GLint value = -1;
        GLsizei length = -1;
        glGetSynciv(fence, sync_names[i].value, 1, &length, &value);
        printf("%s %d, %d\n", sync_names[i].text, (int)value, (int)length);
    }
    glDeleteSync(fence);
    glDeleteQueries(1, &query);
    glDeleteProgramPipelines(1, &pipeline);
    glDeleteShader(shader);
    glDeleteProgram(program);
    glDeleteProgram(linked);
    check_gl("objects");
}

static void precisions(void)
{
    printf("== precisions\n");
    for (GLenum shader = GL_FRAGMENT_SHADER; shader <= GL_VERTEX_SHADER; ++shader)
        for (GLenum precision = GL_LOW_FLOAT; precision <= GL_HIGH_INT; ++precision) {
            GLint range[2] = {-1, -1}, bits = -1;
            glGetShaderPrecisionFormat(shader, precision, range, &bits);
            printf("%04x %04x: %d %d %d\n", (unsigned)shader, (unsigned)precision, (int)range[0],
                   (int)range[1], (int)bits);
        }
    check_gl("precisions");
}

static void formats_and_samples(void)
{
    static const GLenum formats[] = {GL_RGBA8, GL_RGB565,   GL_RGBA16F,          GL_R32F,
                                     GL_RGB8I, GL_RGBA32UI, GL_DEPTH24_STENCIL8, GL_R11F_G11F_B10F};
    printf("== formats and samples\n");
    begin_wrong_call("samples of what has none");
    for (size_t i = 0; i < COUNT(formats); ++i) {
        GLint count = -1, samples[16];
        memset(samples, untouched, sizeof samples);
        glGetInternalformativ(GL_RENDERBUFFER, formats[i], GL_NUM_SAMPLE_COUNTS, 1, &count);
        glGetInternalformativ(GL_RENDERBUFFER, formats[i], GL_SAMPLES, 16, samples);
        printf("%04x: %d of", (unsigned)formats[i], (int)count);
        for (int s = 0; s < 16 && samples[s] != 0x5a5a5a5a; ++s)
            printf(" %d", (int)samples[s]);
        printf(" error 0x%04x\n", (unsigned)oldest_error());
    }
    GLfloat at[2] = {-1.0f, -1.0f};
    glGetMultisamplefv(GL_SAMPLE_POSITION, 0, at);
    printf("sample position %.9g %.9g error 0x%04x\n", (double)at[0], (double)at[1],
           (unsigned)oldest_error());
    end_wrong_call("the last sample", GL_NO_ERROR);
}

int main(void)
{
    EGLDisplay display = open_display();
    EGLConfig config = choose_config(display);
    EGLSurface surface = make_window(display, config);
    EGLContext context = make_context(display, config, 3);
    check(eglMakeCurrent(display, surface, surface, context), "eglMakeCurrent");
    GLuint bound[COUNT(buffer_targets)] = {0};
    print_strings();
    print_changes("at first");
    attributes();
    change_state();
    print_changes("with other state");
    undo_capabilities();
    print_changes("with capabilities as they were");
    bind_objects(bound);
    print_changes("with objects bound");
    unbind_objects();
    print_changes("with objects unbound");
    glDeleteBuffers(COUNT(bound), bound);
    print_changes("with buffers deleted");
    bind_images();
    print_changes("with images bound");
    unbind_images();
    print_changes("with images unbound");
    print_compressed_formats();
    buffers();
    images();
    objects();
    precisions();
    formats_and_samples();
    check_gl("the end");
    check(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT), "eglMakeCurrent");
    check(eglDestroyContext(display, context), "eglDestroyContext");
    check(eglDestroySurface(display, surface), "eglDestroySurface");
    eglTerminate(display);
    return 0;
}
