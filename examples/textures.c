/* Textures of every kind, uploaded in every way: two and three dimensions, layers, cubes, all unpack and pack
 * parameters, buffers, compressed blocks, samplers, mipmaps, copies, queries. Draws each and prints a
 * checksum of what came out. textures [--frames N] */

#include "window.h"

#include <GLES3/gl31.h>

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum
{
    side = 64 /* of the square that is drawn and read back */
};

static uint64_t sum;

static void begin_sum(void)
{
    sum = 0xcbf29ce484222325u;
}

static void add_bytes(const void* data, size_t size)
{
    const unsigned char* bytes = data;
    for (size_t i = 0; i < size; ++i)
        sum = (sum ^ bytes[i]) * 0x100000001b3u;
}

static void end_sum(const char* subject)
{
    check_gl(subject);
    printf("%-24s %016llx\n", subject, (unsigned long long)sum);
}

/* A program a kind of texture: a square that shows the current texture of unit 0. */

enum kind
{
    flat,
    volume,
    layers,
    cube,
    flat_uint,
    flat_int,
    shadow,
    kinds
};

static const struct
{
    GLenum target;
    const char* sampler;
    const char* shown;
    const char* shown_at_level;
} kind_rows[kinds] = {
    {GL_TEXTURE_2D, "sampler2D", "texture(map, st)", "textureLod(map, st, level)"},
    {GL_TEXTURE_3D, "sampler3D", "texture(map, vec3(st, z))", "textureLod(map, vec3(st, z), level)"},
    {GL_TEXTURE_2D_ARRAY, "sampler2DArray", "texture(map, vec3(st, z))",
     "textureLod(map, vec3(st, z), level)"},
    {GL_TEXTURE_CUBE_MAP, "samplerCube", "texture(map, way)", "textureLod(map, way, level)"},
    {GL_TEXTURE_2D, "usampler2D", "vec4(texture(map, st) & 255u) / 255.0",
     "vec4(textureLod(map, st, level) & 255u) / 255.0"},
    {GL_TEXTURE_2D, "isampler2D", "vec4(texture(map, st) & 255) / 255.0",
     "vec4(textureLod(map, st, level) & 255) / 255.0"},
    {GL_TEXTURE_2D, "sampler2DShadow", "vec4(texture(map, vec3(st, z)))",
     "vec4(textureLod(map, vec3(st, z), level))"},
};

static GLuint programs[kinds];

static void add_shader(GLuint program, GLenum type, const char* text)
{
    const GLuint shader = glCreateShader(type);
    glShaderSource(shader, 1, &text, NULL);
    glCompileShader(shader);
    glAttachShader(program, shader);
    glDeleteShader(shader);
}

static void make_programs(void)
{
    static const char vertex[] = "#version 300 es\nout vec2 at;\n"
                                 "void main() { at = vec2(gl_VertexID & 1, gl_VertexID >> 1);\n"
                                 "gl_Position = vec4(at * 2.0 - 1.0, 0.0, 1.0); }\n";
    for (int k = 0; k < kinds; ++k) {
        char fragment[1024];
        snprintf(
            fragment, sizeof fragment,
            "#version 300 es\nprecision highp float; precision highp int;\n"
            "uniform highp %s map; uniform float z, scale, level; in vec2 at; out vec4 result;\n"
            "void main() { vec2 st = (at - 0.5) * scale + 0.5; vec2 p = st * 2.0 - 1.0;\n"
            "vec3 way = z < 1.0 ? vec3(1.0, p) : z < 2.0 ? vec3(-1.0, p) : z < 3.0 ? vec3(p.x, 1.0, p.y)\n"
            ": z < 4.0 ? vec3(p.x, -1.0, p.y) : z < 5.0 ? vec3(p, 1.0) : vec3(p, -1.0);\n"
            "result = (level < 0.0 ? %s : %s) + way.xxxx * 0.0; }\n",
            kind_rows[k].sampler, kind_rows[k].shown, kind_rows[k].shown_at_level);
        programs[k] = glCreateProgram();
        add_shader(programs[k], GL_VERTEX_SHADER, vertex);
        add_shader(programs[k], GL_FRAGMENT_SHADER, fragment);
        glLinkProgram(programs[k]);
        GLint linked = 0;
        glGetProgramiv(programs[k], GL_LINK_STATUS, &linked);
        check(linked, kind_rows[k].sampler);
    }
}

/* Draws the texture and adds the picture to the sum; a level below 0 leaves the choice to the driver. */
static void show(enum kind kind, float z, float scale, float level)
{
    static unsigned char picture[side * side * 4];
    const GLuint program = programs[kind];
    glUseProgram(program);
    glUniform1f(glGetUniformLocation(program, "z"), z);
    glUniform1f(glGetUniformLocation(program, "scale"), scale);
    glUniform1f(glGetUniformLocation(program, "level"), level);
    glClear(GL_COLOR_BUFFER_BIT);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    glReadPixels(0, 0, side, side, GL_RGBA, GL_UNSIGNED_BYTE, picture);
    add_bytes(picture, sizeof picture);
}

static void filter(GLenum target, GLint smaller, GLint larger)
{
    glTexParameteri(target, GL_TEXTURE_MIN_FILTER, smaller);
    glTexParameteri(target, GL_TEXTURE_MAG_FILTER, larger);
}

/* A new texture, bound, without mipmaps. */
static GLuint make_texture(GLenum target)
{
    GLuint texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(target, texture);
    filter(target, GL_NEAREST, GL_NEAREST);
    return texture;
}

static void fill_pattern(unsigned char* bytes, size_t size, int seed)
{
    for (size_t i = 0; i < size; ++i)
        bytes[i] = (unsigned char)(i * 37 + (i >> 4) * 11 + (size_t)seed * 59);
}

/* Numbers of 0 to 1 in the type, so that each shows as a colour of its own. */
static void fill_pixels(unsigned char* bytes, size_t size, GLenum type, int seed)
{
    fill_pattern(bytes, size, seed);
    for (size_t i = 0; type == GL_FLOAT && i + 4 <= size; i += 4) {
        const float value = (float)((i / 4 * 29 + (size_t)seed * 7) % 101) / 100.0f;
        memcpy(bytes + i, &value, 4);
    }
    for (size_t i = 1; type == GL_HALF_FLOAT && i < size; i += 2)
        bytes[i] = (unsigned char)(0x30 + bytes[i] % 12);
}

static const struct
{
    GLint internal_format;
    GLenum format;
    GLenum type;
    int bytes; /* of a pixel */
    enum kind kind;
} formats[] = {
    {GL_RGBA, GL_RGBA, GL_UNSIGNED_BYTE, 4, flat},
    {GL_RGB, GL_RGB, GL_UNSIGNED_BYTE, 3, flat},
    {GL_LUMINANCE_ALPHA, GL_LUMINANCE_ALPHA, GL_UNSIGNED_BYTE, 2, flat},
    {GL_LUMINANCE, GL_LUMINANCE, GL_UNSIGNED_BYTE, 1, flat},
    {GL_ALPHA, GL_ALPHA, GL_UNSIGNED_BYTE, 1, flat},
    {GL_RGBA, GL_RGBA, GL_UNSIGNED_SHORT_4_4_4_4, 2, flat},
    {GL_RGBA, GL_RGBA, GL_UNSIGNED_SHORT_5_5_5_1, 2, flat},
    {GL_RGB, GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 2, flat},
    {GL_RGBA8_SNORM, GL_RGBA, GL_BYTE, 4, flat},
    {GL_SRGB8_ALPHA8, GL_RGBA, GL_UNSIGNED_BYTE, 4, flat},
    {GL_SRGB8, GL_RGB, GL_UNSIGNED_BYTE, 3, flat},
    {GL_R8, GL_RED, GL_UNSIGNED_BYTE, 1, flat},
    {GL_RG8, GL_RG, GL_UNSIGNED_BYTE, 2, flat},
    {GL_RGB10_A2, GL_RGBA, GL_UNSIGNED_INT_2_10_10_10_REV, 4, flat},
    {GL_R11F_G11F_B10F, GL_RGB, GL_FLOAT, 12, flat},
    {GL_R11F_G11F_B10F, GL_RGB, GL_UNSIGNED_INT_10F_11F_11F_REV, 4, flat},
    {GL_RGB9_E5, GL_RGB, GL_UNSIGNED_INT_5_9_9_9_REV, 4, flat},
    {GL_RGBA16F, GL_RGBA, GL_HALF_FLOAT, 8, flat},
    {GL_RGBA32F, GL_RGBA, GL_FLOAT, 16, flat},
    {GL_RG32F, GL_RG, GL_FLOAT, 8, flat},
    {GL_RGBA8UI, GL_RGBA_INTEGER, GL_UNSIGNED_BYTE, 4, flat_uint},
    {GL_RGB16UI, GL_RGB_INTEGER, GL_UNSIGNED_SHORT, 6, flat_uint},
    {GL_RG32UI, GL_RG_INTEGER, GL_UNSIGNED_INT, 8, flat_uint},
    {GL_RGB10_A2UI, GL_RGBA_INTEGER, GL_UNSIGNED_INT_2_10_10_10_REV, 4, flat_uint},
    {GL_R8I, GL_RED_INTEGER, GL_BYTE, 1, flat_int},
    {GL_RGBA16I, GL_RGBA_INTEGER, GL_SHORT, 8, flat_int},
    {GL_RGBA32I, GL_RGBA_INTEGER, GL_INT, 16, flat_int},
    {GL_DEPTH_COMPONENT16, GL_DEPTH_COMPONENT, GL_UNSIGNED_SHORT, 2, flat},
    {GL_DEPTH_COMPONENT24, GL_DEPTH_COMPONENT, GL_UNSIGNED_INT, 4, flat},
    {GL_DEPTH_COMPONENT32F, GL_DEPTH_COMPONENT, GL_FLOAT, 4, flat},
    {GL_DEPTH24_STENCIL8, GL_DEPTH_STENCIL, GL_UNSIGNED_INT_24_8, 4, flat},
};

/* Every pair of format and type, rows padded in every way. */
static void pixel_formats(void)
{
    static unsigned char pixels[7 * 5 * 16 + 64];
    begin_sum();
    for (size_t f = 0; f < sizeof formats / sizeof formats[0]; ++f) {
        const GLuint texture = make_texture(GL_TEXTURE_2D);
        fill_pixels(pixels, sizeof pixels, formats[f].type, (int)f);
        for (int alignment = 1; alignment <= 8; alignment *= 2) {
            glPixelStorei(GL_UNPACK_ALIGNMENT, alignment);
            glTexImage2D(GL_TEXTURE_2D, 0, formats[f].internal_format, 7, 5, 0, formats[f].format,
                         formats[f].type, pixels);
            show(formats[f].kind, 0, 1, -1);
            glTexSubImage2D(GL_TEXTURE_2D, 0, 1, 2, 3, 2, formats[f].format, formats[f].type, pixels + 16);
            show(formats[f].kind, 0, 1, -1);
        }
        glDeleteTextures(1, &texture);
    }
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    end_sum("pixel formats");
}

static void unpack(GLint row_length, GLint image_height, GLint skip_pixels, GLint skip_rows,
                   GLint skip_images)
{
    glPixelStorei(GL_UNPACK_ROW_LENGTH, row_length);
    glPixelStorei(GL_UNPACK_IMAGE_HEIGHT, image_height);
    glPixelStorei(GL_UNPACK_SKIP_PIXELS, skip_pixels);
    glPixelStorei(GL_UNPACK_SKIP_ROWS, skip_rows);
    glPixelStorei(GL_UNPACK_SKIP_IMAGES, skip_images);
}

/* Windows into a larger picture, and what they have to look like. */
static void unpacked_windows(void)
{
    static unsigned char pixels[16 * 16 * 8 * 3];
    fill_pattern(pixels, sizeof pixels, 3);
    begin_sum();
    GLuint texture = make_texture(GL_TEXTURE_2D);
    for (int skip = 0; skip < 5; ++skip) {
        unpack(16, 0, skip, 2 * skip, 0);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB, 9, 7, 0, GL_RGB, GL_UNSIGNED_BYTE, pixels);
        show(flat, 0, 1, -1);
        unsigned char corner[4];
        glReadPixels(0, 0, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, corner);
        check(memcmp(corner, pixels + 16 * 3 * 2 * skip + 3 * skip, 3) == 0, "the first pixel of a window");
    }
    glDeleteTextures(1, &texture);
    for (int k = volume; k <= layers; ++k) {
        texture = make_texture(kind_rows[k].target);
        for (int skip = 0; skip < 4; ++skip) {
            unpack(16, 16, skip, 3 * skip, skip);
            glTexImage3D(kind_rows[k].target, 0, GL_RGB, 5, 6, 4, 0, GL_RGB, GL_UNSIGNED_BYTE, pixels);
            for (int z = 0; z < 4; ++z)
                show((enum kind)k, k == volume ? ((float)z + 0.5f) / 4.0f : (float)z, 1, -1);
            unpack(0, 7, 0, 0, 1);
            glTexSubImage3D(kind_rows[k].target, 0, 1, 2, 1, 3, 2, 2, GL_RGB, GL_UNSIGNED_BYTE, pixels + 5);
            for (int z = 0; z < 4; ++z)
                show((enum kind)k, k == volume ? ((float)z + 0.5f) / 4.0f : (float)z, 1, -1);
        }
        glDeleteTextures(1, &texture);
    }
    unpack(0, 0, 0, 0, 0);
    end_sum("unpacked windows");
}

/* What comes back row by row; what stands between the rows is nobody's. */
static void packed_windows(void)
{
    static unsigned char pixels[16 * 16 * 3];
    static unsigned char read[128 * 128 * 4];
    fill_pattern(pixels, sizeof pixels, 5);
    const GLuint texture = make_texture(GL_TEXTURE_2D);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGB, 16, 16, 0, GL_RGB, GL_UNSIGNED_BYTE, pixels);
    begin_sum();
    show(flat, 0, 1, -1);
    for (int alignment = 1; alignment <= 8; alignment *= 2)
        for (int skip = 0; skip < 9; skip += 4) {
            glPixelStorei(GL_PACK_ALIGNMENT, alignment);
            glPixelStorei(GL_PACK_ROW_LENGTH, skip ? 45 : 0);
            glPixelStorei(GL_PACK_SKIP_PIXELS, skip);
            glPixelStorei(GL_PACK_SKIP_ROWS, skip / 2);
            glReadPixels(3, 2, 31, 17, GL_RGBA, GL_UNSIGNED_BYTE, read);
            const size_t row = skip ? 45 * 4 : 31 * 4;
            const size_t align = (size_t)alignment;
            const size_t stride = (row + align - 1) / align * align;
            for (size_t y = 0; y < 17; ++y)
                add_bytes(read + ((size_t)skip / 2 + y) * stride + (size_t)skip * 4, 31 * 4);
        }
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glPixelStorei(GL_PACK_ROW_LENGTH, 0);
    glPixelStorei(GL_PACK_SKIP_PIXELS, 0);
    glPixelStorei(GL_PACK_SKIP_ROWS, 0);
    glDeleteTextures(1, &texture);
    end_sum("packed windows");
}

static GLuint fill_buffer(GLenum target, const void* bytes, size_t size)
{
    GLuint buffer = 0;
    glGenBuffers(1, &buffer);
    glBindBuffer(target, buffer);
    glBufferData(target, (GLsizeiptr)size, bytes, GL_STATIC_DRAW);
    return buffer;
}

static const void* at_offset(size_t offset)
{
    return (const void*)(uintptr_t)offset;
}

static void pixel_buffers(void)
{
    static unsigned char pixels[8 * 8 * 4 * 4];
    fill_pattern(pixels, sizeof pixels, 7);
    begin_sum();
    GLuint buffer = fill_buffer(GL_PIXEL_UNPACK_BUFFER, pixels, sizeof pixels);
    GLuint texture = make_texture(GL_TEXTURE_2D);
    for (size_t offset = 0; offset <= 64; offset += 32) {
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 8, 8, 0, GL_RGBA, GL_UNSIGNED_BYTE, at_offset(offset));
        show(flat, 0, 1, -1);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 2, 3, 3, 4, GL_RGBA, GL_UNSIGNED_BYTE, at_offset(offset + 128));
        show(flat, 0, 1, -1);
    }
    glCompressedTexImage2D(GL_TEXTURE_2D, 0, GL_COMPRESSED_RGB8_ETC2, 8, 8, 0, 32, at_offset(40));
    show(flat, 0, 1, -1);
    glDeleteTextures(1, &texture);
    texture = make_texture(GL_TEXTURE_3D);
    glTexImage3D(GL_TEXTURE_3D, 0, GL_RGBA8, 4, 4, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE, at_offset(256));
    show(volume, 0.6f, 1, -1);
    glDeleteTextures(1, &texture);
    /* Pixels beyond the end of the buffer. */
    WRONG(glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 64, 64, 0, GL_RGBA, GL_UNSIGNED_BYTE, at_offset(0)),
          GL_INVALID_OPERATION);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    glDeleteBuffers(1, &buffer);
    buffer = fill_buffer(GL_PIXEL_PACK_BUFFER, NULL, side * side * 4 + 64);
    glReadPixels(0, 0, side, side, GL_RGBA, GL_UNSIGNED_BYTE, (void*)(uintptr_t)64);
    const void* mapped = glMapBufferRange(GL_PIXEL_PACK_BUFFER, 64, side * side * 4, GL_MAP_READ_BIT);
    check(mapped != NULL, "glMapBufferRange");
    add_bytes(mapped, side * side * 4);
    check(glUnmapBuffer(GL_PIXEL_PACK_BUFFER), "glUnmapBuffer");
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    glDeleteBuffers(1, &buffer);
    end_sum("pixel buffers");
}

static void compressed_images(void)
{
    static const struct
    {
        GLenum format;
        int block; /* bytes */
    } rows[] = {{GL_COMPRESSED_RGB8_ETC2, 8},
                {GL_COMPRESSED_SRGB8_ETC2, 8},
                {GL_COMPRESSED_RGB8_PUNCHTHROUGH_ALPHA1_ETC2, 8},
                {GL_COMPRESSED_RGBA8_ETC2_EAC, 16},
                {GL_COMPRESSED_SRGB8_ALPHA8_ETC2_EAC, 16},
                {GL_COMPRESSED_R11_EAC, 8},
                {GL_COMPRESSED_SIGNED_R11_EAC, 8},
                {GL_COMPRESSED_RG11_EAC, 16},
                {GL_COMPRESSED_SIGNED_RG11_EAC, 16}};
    unsigned char blocks[6 * 4 * 16 * 3];
    begin_sum();
    for (size_t f = 0; f < sizeof rows / sizeof rows[0]; ++f) {
        const GLenum format = rows[f].format;
        const int block = rows[f].block;
        fill_pattern(blocks, sizeof blocks, (int)f);
        GLuint texture = make_texture(GL_TEXTURE_2D);
        glCompressedTexImage2D(GL_TEXTURE_2D, 0, format, 22, 14, 0, 6 * 4 * block, blocks);
        show(flat, 0, 1, -1);
        glCompressedTexSubImage2D(GL_TEXTURE_2D, 0, 4, 8, 8, 4, format, 2 * block, blocks + 3);
        show(flat, 0, 1, -1);
        glDeleteTextures(1, &texture);
        texture = make_texture(GL_TEXTURE_2D_ARRAY);
        glCompressedTexImage3D(GL_TEXTURE_2D_ARRAY, 0, format, 8, 8, 3, 0, 12 * block, blocks);
        glCompressedTexSubImage3D(GL_TEXTURE_2D_ARRAY, 0, 4, 0, 1, 4, 8, 2, format, 4 * block, blocks + 9);
        for (int z = 0; z < 3; ++z)
            show(layers, (float)z, 1, -1);
        glDeleteTextures(1, &texture);
        texture = make_texture(GL_TEXTURE_2D);
        glTexStorage2D(GL_TEXTURE_2D, 3, format, 16, 16);
        for (int level = 0; level < 3; ++level)
            glCompressedTexSubImage2D(GL_TEXTURE_2D, level, 0, 0, 16 >> level, 16 >> level, format,
                                      (16 >> (2 * level)) * block, blocks + level);
        filter(GL_TEXTURE_2D, GL_LINEAR_MIPMAP_LINEAR, GL_LINEAR);
        show(flat, 0, 1, 0.7f);
        show(flat, 0, 1, 1.5f);
        glDeleteTextures(1, &texture);
    }
    end_sum("compressed images");
}

static void cubes(void)
{
    unsigned char pixels[16 * 16 * 4];
    const GLuint texture = make_texture(GL_TEXTURE_CUBE_MAP);
    begin_sum();
    for (int face = 0; face < 6; ++face) {
        fill_pattern(pixels, sizeof pixels, face);
        glTexImage2D(GL_TEXTURE_CUBE_MAP_POSITIVE_X + (GLenum)face, 0, GL_RGBA, 16, 16, 0, GL_RGBA,
                     GL_UNSIGNED_BYTE, pixels);
    }
    glTexSubImage2D(GL_TEXTURE_CUBE_MAP_NEGATIVE_Y, 0, 4, 5, 6, 7, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    glGenerateMipmap(GL_TEXTURE_CUBE_MAP);
    filter(GL_TEXTURE_CUBE_MAP, GL_LINEAR_MIPMAP_LINEAR, GL_LINEAR);
    for (int face = 0; face < 6; ++face) {
        show(cube, (float)face + 0.5f, 1, -1);
        show(cube, (float)face + 0.5f, 0.5f, 1.3f);
    }
    glDeleteTextures(1, &texture);
    end_sum("cubes");
}

static void mipmaps(void)
{
    static unsigned char pixels[32 * 32 * 4];
    begin_sum();
    GLuint texture = make_texture(GL_TEXTURE_2D);
    fill_pattern(pixels, sizeof pixels, 1);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 32, 32, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    glGenerateMipmap(GL_TEXTURE_2D);
    static const GLint filters[] = {GL_NEAREST_MIPMAP_NEAREST, GL_LINEAR_MIPMAP_NEAREST,
                                    GL_NEAREST_MIPMAP_LINEAR, GL_LINEAR_MIPMAP_LINEAR};
    for (int f = 0; f < 4; ++f) {
        filter(GL_TEXTURE_2D, filters[f], f & 1 ? GL_LINEAR : GL_NEAREST);
        for (int level = 0; level < 6; ++level)
            show(flat, 0, 1, (float)level + 0.3f);
        show(flat, 0, 4, -1);
    }
    const GLfloat limit[] = {1.5f, 2.25f};
    const GLint base[] = {1, 3};
    glTexParameterfv(GL_TEXTURE_2D, GL_TEXTURE_MIN_LOD, limit);
    glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_MAX_LOD, limit[1]);
    show(flat, 0, 1, 0);
    show(flat, 0, 1, 5);
    glTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_BASE_LEVEL, base);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, base[1]);
    show(flat, 0, 1, 5);
    static const GLint swizzles[][4] = {{GL_BLUE, GL_GREEN, GL_RED, GL_ALPHA},
                                        {GL_ONE, GL_ZERO, GL_ALPHA, GL_RED}};
    for (int s = 0; s < 2; ++s) {
        for (GLenum c = 0; c < 4; ++c)
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_R + c, swizzles[s][c]);
        show(flat, 0, 1, 2);
    }
    glDeleteTextures(1, &texture);
    /* Levels of the application's own. */
    texture = make_texture(GL_TEXTURE_2D_ARRAY);
    glTexStorage3D(GL_TEXTURE_2D_ARRAY, 4, GL_RGBA8, 8, 8, 2);
    for (int level = 0; level < 4; ++level) {
        fill_pattern(pixels, sizeof pixels, 20 + level);
        glTexSubImage3D(GL_TEXTURE_2D_ARRAY, level, 0, 0, 0, 8 >> level, 8 >> level, 2, GL_RGBA,
                        GL_UNSIGNED_BYTE, pixels);
    }
    filter(GL_TEXTURE_2D_ARRAY, GL_LINEAR_MIPMAP_LINEAR, GL_LINEAR);
    for (int level = 0; level < 8; ++level)
        show(layers, (float)(level & 1), 1, (float)level / 2.0f);
    glDeleteTextures(1, &texture);
    end_sum("mipmaps");
}

static void samplers(void)
{
    unsigned char pixels[8 * 8 * 4];
    fill_pattern(pixels, sizeof pixels, 9);
    begin_sum();
    GLuint texture = make_texture(GL_TEXTURE_2D);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 8, 8, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    GLuint made[2];
    glGenSamplers(2, made);
    static const GLint wraps[] = {GL_REPEAT, GL_CLAMP_TO_EDGE, GL_MIRRORED_REPEAT};
    for (int s = 0; s < 3; ++s)
        for (int t = 0; t < 3; ++t) {
            glSamplerParameteri(made[0], GL_TEXTURE_WRAP_S, wraps[s]);
            glSamplerParameteriv(made[0], GL_TEXTURE_WRAP_T, &wraps[t]);
            glSamplerParameterf(made[0], GL_TEXTURE_MIN_FILTER, (s + t) & 1 ? GL_LINEAR : GL_NEAREST);
            glSamplerParameteri(made[0], GL_TEXTURE_MAG_FILTER, (s + t) & 1 ? GL_NEAREST : GL_LINEAR);
            glBindSampler(0, made[0]);
            show(flat, 0, 3, -1);
            glBindSampler(0, 0);
            show(flat, 0, 3, -1);
        }
    const GLfloat lod[] = {0.75f};
    glSamplerParameterfv(made[1], GL_TEXTURE_MAX_LOD, lod);
    GLfloat got = 0;
    glGetSamplerParameterfv(made[1], GL_TEXTURE_MAX_LOD, &got);
    check(got == 0.75f, "a sampler's parameter");
    GLint wrap = 0;
    glGetSamplerParameteriv(made[0], GL_TEXTURE_WRAP_T, &wrap);
    check(wrap == GL_MIRRORED_REPEAT, "a sampler's wrapping");
    glBindSampler(3, made[1]);
    glActiveTexture(GL_TEXTURE3);
    GLint bound = 0;
    glGetIntegerv(GL_SAMPLER_BINDING, &bound);
    check((GLuint)bound == made[1], "GL_SAMPLER_BINDING");
    glActiveTexture(GL_TEXTURE0);
    check(glIsSampler(made[0]) && !glIsSampler(made[1] + 50), "glIsSampler");
    glDeleteTextures(1, &texture);
    /* Depth that is compared. */
    texture = make_texture(GL_TEXTURE_2D);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_DEPTH_COMPONENT16, 8, 8, 0, GL_DEPTH_COMPONENT, GL_UNSIGNED_SHORT,
                 pixels);
    glBindSampler(0, made[0]);
    glSamplerParameteri(made[0], GL_TEXTURE_COMPARE_MODE, GL_COMPARE_REF_TO_TEXTURE);
    for (GLint func = GL_NEVER; func <= GL_ALWAYS; ++func) {
        glSamplerParameteri(made[0], GL_TEXTURE_COMPARE_FUNC, func);
        show(shadow, 0.5f, 1, -1);
    }
    glDeleteSamplers(2, made);
    glDeleteTextures(1, &texture);
    end_sum("samplers");
}

/* Parts of the screen become parts of textures. */
static void copies(void)
{
    unsigned char pixels[16 * 16 * 4];
    fill_pattern(pixels, sizeof pixels, 13);
    begin_sum();
    const GLuint source = make_texture(GL_TEXTURE_2D);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 16, 16, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    show(flat, 0, 1, -1);
    GLuint texture = make_texture(GL_TEXTURE_2D);
    glCopyTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 3, 5, 32, 24, 0);
    show(flat, 0, 1, -1);
    glCopyTexSubImage2D(GL_TEXTURE_2D, 0, 7, 9, 11, 13, 16, 8);
    show(flat, 0, 1, -1);
    glDeleteTextures(1, &texture);
    texture = make_texture(GL_TEXTURE_2D_ARRAY);
    glTexStorage3D(GL_TEXTURE_2D_ARRAY, 1, GL_RGBA8, 16, 16, 2);
    for (int z = 0; z < 2; ++z)
        glCopyTexSubImage3D(GL_TEXTURE_2D_ARRAY, 0, 0, 0, z, 5 + z, 6, 16, 16);
    show(layers, 0, 1, -1);
    show(layers, 1, 1, -1);
    glDeleteTextures(1, &texture);
    glDeleteTextures(1, &source);
    end_sum("copies of the screen");
}

static void add_level(GLenum target, GLint level)
{
    static const GLenum names[] = {GL_TEXTURE_WIDTH,           GL_TEXTURE_HEIGHT,
                                   GL_TEXTURE_DEPTH,           GL_TEXTURE_SAMPLES,
                                   GL_TEXTURE_INTERNAL_FORMAT, GL_TEXTURE_COMPRESSED,
                                   GL_TEXTURE_RED_SIZE,        GL_TEXTURE_ALPHA_SIZE,
                                   GL_TEXTURE_DEPTH_SIZE,      GL_TEXTURE_RED_TYPE,
                                   GL_TEXTURE_SHARED_SIZE,     GL_TEXTURE_STENCIL_SIZE,
                                   GL_TEXTURE_GREEN_TYPE,      GL_TEXTURE_FIXED_SAMPLE_LOCATIONS};
    for (size_t n = 0; n < sizeof names / sizeof names[0]; ++n) {
        GLint whole = -1;
        GLfloat real = -1;
        glGetTexLevelParameteriv(target, level, names[n], &whole);
        glGetTexLevelParameterfv(target, level, names[n], &real);
        add_bytes(&whole, sizeof whole);
        add_bytes(&real, sizeof real);
    }
}

static void queries(void)
{
    static const GLenum names[] = {GL_TEXTURE_MIN_FILTER,
                                   GL_TEXTURE_MAG_FILTER,
                                   GL_TEXTURE_WRAP_S,
                                   GL_TEXTURE_WRAP_T,
                                   GL_TEXTURE_WRAP_R,
                                   GL_TEXTURE_MIN_LOD,
                                   GL_TEXTURE_MAX_LOD,
                                   GL_TEXTURE_BASE_LEVEL,
                                   GL_TEXTURE_MAX_LEVEL,
                                   GL_TEXTURE_COMPARE_MODE,
                                   GL_TEXTURE_COMPARE_FUNC,
                                   GL_TEXTURE_SWIZZLE_R,
                                   GL_TEXTURE_SWIZZLE_A,
                                   GL_TEXTURE_IMMUTABLE_FORMAT,
                                   GL_TEXTURE_IMMUTABLE_LEVELS,
                                   GL_DEPTH_STENCIL_TEXTURE_MODE,
                                   GL_IMAGE_FORMAT_COMPATIBILITY_TYPE};
    begin_sum();
    glActiveTexture(GL_TEXTURE2);
    GLuint texture = make_texture(GL_TEXTURE_2D);
    glTexStorage2D(GL_TEXTURE_2D, 3, GL_DEPTH24_STENCIL8, 16, 8);
    for (size_t n = 0; n < sizeof names / sizeof names[0]; ++n) {
        GLint whole[2] = {-1, -2};
        GLfloat real[2] = {-1, -2};
        glGetTexParameteriv(GL_TEXTURE_2D, names[n], whole);
        glGetTexParameterfv(GL_TEXTURE_2D, names[n], real);
        add_bytes(whole, sizeof whole);
        add_bytes(real, sizeof real);
    }
    for (GLint level = 0; level < 3; ++level)
        add_level(GL_TEXTURE_2D, level);
    GLint bound = 0, unit = 0;
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    glGetIntegerv(GL_ACTIVE_TEXTURE, &unit);
    check((GLuint)bound == texture && unit == GL_TEXTURE2, "the bound texture");
    check(glIsTexture(texture) && !glIsTexture(texture + 50) && !glIsTexture(0), "glIsTexture");
    GLuint unborn = 0;
    glGenTextures(1, &unborn);
    check(!glIsTexture(unborn), "a name alone");
    glDeleteTextures(1, &unborn);
    glDeleteTextures(1, &texture);
    check(!glIsTexture(texture), "a deleted texture");
    glGetIntegerv(GL_TEXTURE_BINDING_2D, &bound);
    check(bound == 0, "nothing is bound");
    glActiveTexture(GL_TEXTURE0);
    texture = 0;
    glGenTextures(1, &texture);
    glBindTexture(GL_TEXTURE_2D_MULTISAMPLE, texture);
    glTexStorage2DMultisample(GL_TEXTURE_2D_MULTISAMPLE, 4, GL_RGBA8, 9, 7, GL_TRUE);
    add_level(GL_TEXTURE_2D_MULTISAMPLE, 0);
    glDeleteTextures(1, &texture);
    static const GLenum sampled[] = {GL_RGBA8, GL_R8, GL_DEPTH24_STENCIL8, GL_RGBA32F, GL_RGBA8UI, GL_RGB565};
    for (size_t f = 0; f < sizeof sampled / sizeof sampled[0]; ++f) {
        GLint counts[8];
        memset(counts, 0x5a, sizeof counts);
        glGetInternalformativ(GL_RENDERBUFFER, sampled[f], GL_NUM_SAMPLE_COUNTS, 1, counts);
        glGetInternalformativ(GL_RENDERBUFFER, sampled[f], GL_SAMPLES, 6, counts + 1);
        add_bytes(counts, sizeof counts);
    }
    GLint compressed = 0, listed[64] = {0};
    glGetIntegerv(GL_NUM_COMPRESSED_TEXTURE_FORMATS, &compressed);
    check(compressed > 0 && compressed <= 64, "the number of compressed formats");
    glGetIntegerv(GL_COMPRESSED_TEXTURE_FORMATS, listed);
    int etc2 = 0;
    for (GLint i = 0; i < compressed; ++i)
        etc2 += listed[i] == GL_COMPRESSED_RGBA8_ETC2_EAC;
    check(etc2 == 1, "ETC2 in the list of compressed formats");
    add_bytes(&compressed, sizeof compressed);
    end_sum("queries");
}

/* Prints the error of the call before it. */
static void expect_error(const char* what)
{
    printf("%-40s 0x%04x\n", what, (unsigned)glGetError());
    check(glGetError() == GL_NO_ERROR, "one error a call");
}

static void wrong_calls(void)
{
    unsigned char pixels[64] = {0};
    GLint value = 0;
    const GLuint texture = make_texture(GL_TEXTURE_2D);
    begin_wrong_call("all calls of this function");
    glActiveTexture(GL_TEXTURE0 + 5000);
    expect_error("a unit that isn't there");
    glBindTexture(GL_RENDERBUFFER, texture);
    expect_error("a target that isn't one");
    glBindTexture(GL_TEXTURE_3D, texture);
    expect_error("a texture of another target");
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, -1, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    expect_error("a negative width");
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 4, 4, 1, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    expect_error("a border");
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 4, 4, 0, GL_RGB, GL_UNSIGNED_BYTE, pixels);
    expect_error("formats that don't match");
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 4, 4, 0, GL_RGBA, GL_UNSIGNED_SHORT_5_6_5, pixels);
    expect_error("a type of another format");
    glTexImage2D(GL_TEXTURE_2D, 40, GL_RGBA, 4, 4, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    expect_error("a level that isn't there");
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 1 << 20, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, NULL);
    expect_error("a width beyond all limits");
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 4, 4, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    expect_error("part of an image that isn't there");
    glTexImage3D(GL_TEXTURE_2D, 0, GL_RGBA, 1, 1, 1, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    expect_error("two dimensions where three are due");
    glCompressedTexImage2D(GL_TEXTURE_2D, 0, GL_COMPRESSED_RGB8_ETC2, 4, 4, 0, 9, pixels);
    expect_error("compressed bytes too many");
    glCompressedTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 4, 4, 0, 8, pixels);
    expect_error("a compressed format that isn't one");
    glCompressedTexImage2D(GL_TEXTURE_2D, 0, GL_COMPRESSED_RGB8_ETC2, 4, 4, 0, -8, pixels);
    expect_error("a negative compressed size");
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_REPEAT);
    expect_error("a filter that isn't one");
    glTexParameterf(GL_TEXTURE_2D, GL_TEXTURE_WIDTH, 1);
    expect_error("a parameter that isn't one");
    glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_WIDTH, &value);
    expect_error("a parameter of a level");
    glGetTexLevelParameteriv(GL_TEXTURE_2D, -1, GL_TEXTURE_WIDTH, &value);
    expect_error("a negative level");
    glGenerateMipmap(GL_TEXTURE_2D);
    expect_error("mipmaps of nothing");
    glTexStorage2D(GL_TEXTURE_2D, 9, GL_RGBA8, 4, 4);
    expect_error("more levels than fit");
    glTexStorage2D(GL_TEXTURE_2D, 1, GL_RGBA, 4, 4);
    expect_error("storage without a size");
    glTexStorage2D(GL_TEXTURE_2D, 1, GL_RGBA8, 4, 4);
    glTexStorage2D(GL_TEXTURE_2D, 1, GL_RGBA8, 4, 4);
    expect_error("storage twice");
    glCopyTexSubImage2D(GL_TEXTURE_2D, 0, 2, 2, 0, 0, 4, 4);
    expect_error("a copy over the edge");
    glBindSampler(0, 777);
    expect_error("a sampler that nobody made");
    glSamplerParameteri(777, GL_TEXTURE_WRAP_S, GL_REPEAT);
    expect_error("a parameter of such a sampler");
    glBindSampler(5000, 0);
    expect_error("a sampler of a unit that isn't there");
    glGetInternalformativ(GL_RENDERBUFFER, GL_RGBA8, GL_SAMPLES, -1, &value);
    expect_error("negative room for sample counts");
    glGenTextures(-1, &(GLuint){0});
    expect_error("a negative number of names");
    end_wrong_call("the last of them", GL_NO_ERROR);
    glDeleteTextures(1, &texture);
}

/* Values as they are, without a screen between. */
static void through_framebuffers(void)
{
    GLuint framebuffer = 0;
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    begin_sum();
    unsigned char pixels[8 * 8 * 16];
    static unsigned char read[8 * 8 * 16];
    static const struct
    {
        GLenum internal_format, format, type, read_type;
    } rows[] = {{GL_RGBA8, GL_RGBA, GL_UNSIGNED_BYTE, GL_UNSIGNED_BYTE},
                {GL_RGBA32UI, GL_RGBA_INTEGER, GL_UNSIGNED_INT, GL_UNSIGNED_INT},
                {GL_RGBA16I, GL_RGBA_INTEGER, GL_SHORT, GL_INT}};
    for (size_t r = 0; r < sizeof rows / sizeof rows[0]; ++r) {
        const GLuint texture = make_texture(GL_TEXTURE_2D);
        fill_pattern(pixels, sizeof pixels, 30 + (int)r);
        glTexStorage2D(GL_TEXTURE_2D, 1, rows[r].internal_format, 8, 8);
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, 8, 8, rows[r].format, rows[r].type, pixels);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
        check(glCheckFramebufferStatus(GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE, "a complete framebuffer");
        memset(read, 0, sizeof read);
        glReadPixels(0, 0, 8, 8, rows[r].format, rows[r].read_type, read);
        add_bytes(read, sizeof read);
        if (rows[r].type == rows[r].read_type)
            check(memcmp(read, pixels, rows[r].type == GL_UNSIGNED_INT ? 1024 : 256) == 0,
                  "pixels of a texture");
        glDeleteTextures(1, &texture);
    }
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    glDeleteFramebuffers(1, &framebuffer);
    end_sum("through framebuffers");
}

int main(int count, char** arguments)
{
    const int frames = number_option(count, arguments, "--frames", 1);
    EGLDisplay display = open_display();
    EGLConfig config = choose_config(display);
    EGLSurface surface = make_window(display, config);
    EGLContext context = make_context(display, config, 3);
    check(eglMakeCurrent(display, surface, surface, context), "eglMakeCurrent");
    const struct size size = surface_size(display, surface);
    check(size.width >= side && size.height >= side, "a window of 64 pixels a side");
    glViewport(0, 0, side, side);
    glClearColor(0.25f, 0.5f, 0.75f, 1);
    make_programs();
    for (int frame = 0; frame < frames; ++frame) {
        pixel_formats();
        unpacked_windows();
        packed_windows();
        pixel_buffers();
        compressed_images();
        cubes();
        mipmaps();
        samplers();
        copies();
        queries();
        check(eglSwapBuffers(display, surface), "eglSwapBuffers");
    }
    wrong_calls();
    through_framebuffers();
    check(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT), "eglMakeCurrent");
    check(eglDestroyContext(display, context), "eglDestroyContext");
    check(eglDestroySurface(display, surface), "eglDestroySurface");
    eglTerminate(display);
    return 0;
}
