// Every block size, compared texel by texel with the software driver's decoder. The number of blocks grows
// with the environment variable ZELVAR_ASTC_ROUNDS.

#include "astc/astc.h"
#include "random_blocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <EGL/egl.h>
#include <GLES3/gl31.h>
// Needs the types of the header above.
#include <GLES2/gl2ext.h>

namespace {
constexpr uint32_t side = 32; // blocks

/// A context without surface, and a program that copies a texture to the framebuffer.
class astc_driver : public testing::TestWithParam<std::pair<uint32_t, uint32_t>>
{
protected:
    void SetUp() override
    {
        setenv("EGL_PLATFORM", "surfaceless", 1);
        display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
        ASSERT_TRUE(eglInitialize(display, nullptr, nullptr));
        eglBindAPI(EGL_OPENGL_ES_API);
        const EGLint wanted[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_ES3_BIT, EGL_SURFACE_TYPE, EGL_PBUFFER_BIT,
                                 EGL_NONE};
        EGLConfig config;
        EGLint count = 0;
        ASSERT_TRUE(eglChooseConfig(display, wanted, &config, 1, &count) && count == 1);
        const EGLint version[] = {EGL_CONTEXT_MAJOR_VERSION, 3, EGL_NONE};
        context = eglCreateContext(display, config, EGL_NO_CONTEXT, version);
        ASSERT_TRUE(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, context));
        const std::string extensions = reinterpret_cast<const char*>(glGetString(GL_EXTENSIONS));
        if (extensions.find("GL_KHR_texture_compression_astc_ldr") == std::string::npos ||
            extensions.find("GL_EXT_texture_sRGB_decode") == std::string::npos)
            GTEST_SKIP() << "the driver has no ASTC decoder";
        make_program();
    }
    void TearDown() override
    {
        eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        // The display stays: a driver that is unloaded can't be named to a leak checker.
        eglDestroyContext(display, context);
    }

    static void make_program()
    {
        const char* sources[] = {
            "#version 300 es\n"
            "void main() { gl_Position = vec4(gl_VertexID == 1 ? 3 : -1, gl_VertexID == 2 ? 3 : -1, 0, 1); }",
            "#version 300 es\nprecision highp float; uniform highp sampler2D image; out vec4 colour;\n"
            "void main() { colour = textureLod(image, gl_FragCoord.xy / vec2(textureSize(image, 0)), 0.0); "
            "}"};
        const GLuint program = glCreateProgram();
        for (unsigned i = 0; i < 2; ++i) {
            const GLuint shader = glCreateShader(i ? GL_FRAGMENT_SHADER : GL_VERTEX_SHADER);
            glShaderSource(shader, 1, &sources[i], nullptr);
            glCompileShader(shader);
            glAttachShader(program, shader);
        }
        glLinkProgram(program);
        glUseProgram(program);
    }

    /// The texels as the driver decodes them, without the transfer curve of sRGB.
    static std::vector<uint8_t> decode_by_driver(const astc_image& image, GLenum format)
    {
        const auto width = static_cast<GLsizei>(image.width);
        const auto height = static_cast<GLsizei>(image.height);
        GLuint texture;
        glGenTextures(1, &texture);
        glBindTexture(GL_TEXTURE_2D, texture);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
        glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_SRGB_DECODE_EXT, GL_SKIP_DECODE_EXT);
        glCompressedTexImage2D(GL_TEXTURE_2D, 0, format, width, height, 0,
                               static_cast<GLsizei>(astc_image_size(image)), image.blocks);
        GLuint framebuffer;
        GLuint renderbuffer;
        glGenFramebuffers(1, &framebuffer);
        glGenRenderbuffers(1, &renderbuffer);
        glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
        glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer);
        glRenderbufferStorage(GL_RENDERBUFFER, GL_RGBA8, width, height);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, renderbuffer);
        glViewport(0, 0, width, height);
        glDrawArrays(GL_TRIANGLES, 0, 3);
        std::vector<uint8_t> texels(size_t{image.width} * image.height * 4);
        glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, texels.data());
        EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
        glDeleteFramebuffers(1, &framebuffer);
        glDeleteRenderbuffers(1, &renderbuffer);
        glDeleteTextures(1, &texture);
        return texels;
    }

    EGLDisplay display = EGL_NO_DISPLAY;
    EGLContext context = EGL_NO_CONTEXT;
};

TEST_P(astc_driver, decodes_the_same)
{
    const auto [block_width, block_height] = GetParam();
    const auto place =
        std::find(std::begin(block_sizes), std::end(block_sizes), GetParam()) - std::begin(block_sizes);
    const char* rounds = std::getenv("ZELVAR_ASTC_ROUNDS");
    std::mt19937 random{static_cast<unsigned>(place)};
    for (int round = rounds ? std::atoi(rounds) : 4; round > 0; --round)
        for (bool srgb : {false, true}) {
            std::vector<uint8_t> blocks;
            for (uint32_t i = 0; i < side * side; ++i) {
                const block_bytes block = random_block(random, block_width, block_height);
                blocks.insert(blocks.end(), block.begin(), block.end());
            }
            astc_image image;
            image.block_width = block_width;
            image.block_height = block_height;
            image.srgb = srgb;
            image.width = block_width * side;
            image.height = block_height * side;
            image.blocks = blocks.data();
            const GLenum format =
                (srgb ? GL_COMPRESSED_SRGB8_ALPHA8_ASTC_4x4_KHR : GL_COMPRESSED_RGBA_ASTC_4x4_KHR) +
                static_cast<GLenum>(place);
            const auto expected = decode_by_driver(image, format);
            std::vector<uint8_t> texels(expected.size());
            ASSERT_TRUE(astc_decode_image(image, texels.data()));
            ASSERT_EQ(std::memcmp(texels.data(), expected.data(), texels.size()), 0)
                << "first at byte "
                << std::mismatch(texels.begin(), texels.end(), expected.begin()).first - texels.begin();
        }
}
INSTANTIATE_TEST_SUITE_P(, astc_driver, testing::ValuesIn(block_sizes), [](const auto& size) {
    return "blocks_of_" + std::to_string(size.param.first) + "x" + std::to_string(size.param.second);
});
} // namespace
