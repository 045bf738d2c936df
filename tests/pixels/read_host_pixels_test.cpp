// Read-back of frames: the exact host calls, and what happens when the host refuses.

#include "pixels/read_host_pixels.h"

#include "settings/zelvar_settings.h"
#include "support/fake_host.h"
#include "support/library.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

namespace {
using texts = std::vector<std::string>;
constexpr auto quiet = fake_host::error_queries::leave_out;

class read_back : public testing::Test
{
protected:
    void SetUp() override
    {
        library::start();
        fake_host::returns<&sidechannel_gles_imports::glCheckFramebufferStatus>(GL_FRAMEBUFFER_COMPLETE);
        fake_host::hook<&sidechannel_gles_imports::glGetIntegerv>([this](GLenum pname, GLint* out) {
            *out = pname == GL_SAMPLE_BUFFERS             ? sample_buffers
                   : pname == GL_READ_FRAMEBUFFER_BINDING ? bound
                                                          : 0;
        });
        fake_host::hook<&sidechannel_gles_imports::glReadPixels>(
            [this](GLint, GLint, GLsizei width, GLsizei height, GLenum format, GLenum type, void* out) {
                if (format == refused_format || type == refused_type) {
                    fake_host::gl_errors({refusal});
                    return;
                }
                int bytes = type == GL_UNSIGNED_SHORT_5_6_5 ? 2 : format == GL_RGB ? 3 : 4;
                std::memset(out, 0x40, size_t(width) * height * bytes);
            });
    }
    bool read(uint32_t bytes_per_pixel, uint32_t format, uint32_t type, const current_pack_params& pack = {},
              int32_t major = 3)
    {
        std::free(pixels);
        pixels = nullptr;
        return zelvar_helpers_read_pixels_from_host_GPU(&pixels, 4, 2, bytes_per_pixel, major, pack, format,
                                                        type);
    }
    ~read_back() override { std::free(pixels); }

    GLint sample_buffers = 0;
    GLint bound = 0;
    GLenum refused_format = 0;
    GLenum refused_type = 0;
    GLenum refusal = GL_INVALID_OPERATION;
    uint8_t* pixels = nullptr;
};

TEST_F(read_back, AsksForCompletenessAndSamplesAndReadsFromTheOrigin)
{
    ASSERT_TRUE(read(4, GL_RGBA, GL_UNSIGNED_BYTE));
    EXPECT_EQ(pixels[31], 0x40);
    EXPECT_EQ(fake_host::texts(quiet),
              (texts{"glCheckFramebufferStatus(36160)", "glGetIntegerv(36010, pointer)",
                     "glGetIntegerv(32936, pointer)", "glReadPixels(0, 0, 4, 2, 6408, 5121, pointer)"}));
    fake_host::clear();
    ASSERT_TRUE(read(4, GL_RGBA, GL_UNSIGNED_BYTE, {}, 2)); // no read framebuffer before OpenGL ES 3
    EXPECT_EQ(fake_host::count("glGetIntegerv"), 1u);
}

TEST_F(read_back, LeavesTheApplicationsPackStateAsItWas)
{
    current_pack_params pack;
    pack.row_length = 9;
    pack.alignment = 1;
    pack.skip_rows = 3;
    ASSERT_TRUE(read(4, GL_RGBA, GL_UNSIGNED_BYTE, pack));
    texts all = fake_host::texts(quiet);
    EXPECT_EQ(texts(all.begin() + 3, all.end()),
              (texts{"glPixelStorei(3330, 0)", "glPixelStorei(3331, 0)", "glPixelStorei(3333, 4)",
                     "glReadPixels(0, 0, 4, 2, 6408, 5121, pointer)", "glPixelStorei(3330, 9)",
                     "glPixelStorei(3331, 3)", "glPixelStorei(3333, 1)"}));
    fake_host::clear();
    // An OpenGL ES 2 host context knows the alignment alone.
    ASSERT_TRUE(read(4, GL_RGBA, GL_UNSIGNED_BYTE, pack, 2));
    EXPECT_EQ(fake_host::count("glPixelStorei"), 2u);
}

TEST_F(read_back, GivesUpOnIncompleteAndMultisampledFramebuffers)
{
    fake_host::returns<&sidechannel_gles_imports::glCheckFramebufferStatus>(GL_FRAMEBUFFER_UNSUPPORTED);
    EXPECT_FALSE(read(4, GL_RGBA, GL_UNSIGNED_BYTE));
    fake_host::returns<&sidechannel_gles_imports::glCheckFramebufferStatus>(GL_FRAMEBUFFER_COMPLETE);
    sample_buffers = 1;
    bound = 7;
    EXPECT_FALSE(read(4, GL_RGBA, GL_UNSIGNED_BYTE));
    EXPECT_FALSE(read(4, GL_RGBA, GL_UNSIGNED_BYTE, {}, 2));
    bound = 0; // the default framebuffer of an OpenGL ES 3 context is read
    EXPECT_TRUE(read(4, GL_RGBA, GL_UNSIGNED_BYTE));
}

TEST_F(read_back, ConvertsWhatTheHostRefuses)
{
    refused_type = GL_UNSIGNED_SHORT_5_6_5;
    ASSERT_TRUE(read(2, GL_RGB, GL_UNSIGNED_SHORT_5_6_5));
    // 0x40 in every channel: r = b = 8, g = 16.
    EXPECT_EQ(pixels[0], static_cast<uint8_t>(16 << 5 | 8));
    EXPECT_EQ(pixels[1], 8 << 3 | 16 >> 2);
    EXPECT_EQ(pixels[15], 8 << 3 | 16 >> 2);
    // A host that refuses RGBA8 as well delivers nothing.
    refused_format = GL_RGBA;
    EXPECT_FALSE(read(2, GL_RGB, GL_UNSIGNED_SHORT_5_6_5));
    EXPECT_EQ(pixels, nullptr);
    // Nor does any other error.
    refusal = GL_OUT_OF_MEMORY;
    EXPECT_FALSE(read(2, GL_RGB, GL_UNSIGNED_SHORT_5_6_5));
}

TEST_F(read_back, OddDepthsAndMissingLayoutsAreABlankFrame)
{
    ASSERT_TRUE(read(1, GL_RED, GL_UNSIGNED_BYTE));
    EXPECT_EQ(pixels[0], 0);
    ASSERT_TRUE(read(4, 0, GL_UNSIGNED_BYTE));
    EXPECT_EQ(pixels[31], 0);
    EXPECT_EQ(fake_host::count("glReadPixels"), 0u);
}

TEST_F(read_back, AForcedCodeReplacesTheLayoutUnlessItIsWider)
{
    zelvar_only_settings.forceHostDRM4CC = 0x34325241; // BGRA8
    ASSERT_TRUE(read(4, GL_RGBA, GL_UNSIGNED_BYTE));
    EXPECT_EQ(fake_host::texts(quiet).back(), "glReadPixels(0, 0, 4, 2, 32993, 5121, pointer)");
    ASSERT_TRUE(read(2, GL_RGB, GL_UNSIGNED_SHORT_5_6_5));
    EXPECT_EQ(fake_host::texts(quiet).back(), "glReadPixels(0, 0, 4, 2, 6407, 33635, pointer)");
}

/// A host that keeps pixels blue first, with frames that are large enough for it to matter.
class blue_first : public testing::Test
{
protected:
    static constexpr uint32_t width = 67; // no whole number of wide registers
    static constexpr uint32_t height = 65;
    static constexpr size_t pixel_count = size_t{width} * height;

    void SetUp() override
    {
        library::start();
        fake_host::returns<&sidechannel_gles_imports::glCheckFramebufferStatus>(GL_FRAMEBUFFER_COMPLETE);
        fake_host::hook<&sidechannel_gles_imports::glGetIntegerv>([this](GLenum pname, GLint* out) {
            *out = pname == GL_IMPLEMENTATION_COLOR_READ_FORMAT ? read_format
                   : pname == GL_IMPLEMENTATION_COLOR_READ_TYPE ? read_type
                                                                : 0;
        });
        fake_host::hook<&sidechannel_gles_imports::glReadPixels>(
            [this](GLint, GLint, GLsizei, GLsizei, GLenum format, GLenum, void* out) {
                formats.push_back(format);
                auto* bytes = static_cast<uint8_t*>(out);
                for (size_t i = 0; i < pixels_that_exist; ++i, bytes += 4) {
                    const auto red = static_cast<uint8_t>(i), blue = static_cast<uint8_t>(i >> 8);
                    const bool turned = format == GL_BGRA_EXT;
                    const uint8_t pixel[] = {turned ? blue : red, 7, turned ? red : blue, 9};
                    std::memcpy(bytes, pixel, 4);
                }
            });
    }
    bool read(bool covered = false, bool* left_blue_first = nullptr)
    {
        zelvar_helpers_reuse_pixels(pixels, pixel_count * 4);
        pixels = nullptr;
        return zelvar_helpers_read_pixels_from_host_GPU(&pixels, width, height, 4, 2, {}, GL_RGBA,
                                                        GL_UNSIGNED_BYTE, covered, left_blue_first);
    }
    bool frame_is_red_first(size_t count) const
    {
        for (size_t i = 0; i < count; ++i) {
            const uint8_t wanted[] = {static_cast<uint8_t>(i), 7, static_cast<uint8_t>(i >> 8), 9};
            if (std::memcmp(pixels + 4 * i, wanted, 4) != 0)
                return false;
        }
        return true;
    }
    ~blue_first() override { std::free(pixels); }

    GLint read_format = GL_BGRA_EXT;
    GLint read_type = GL_UNSIGNED_BYTE;
    size_t pixels_that_exist = pixel_count;
    std::vector<GLenum> formats;
    uint8_t* pixels = nullptr;
};

TEST_F(blue_first, FramesComeOutRedFirstWhicheverOrderTheHostIsAskedFor)
{
    ASSERT_TRUE(read());
    EXPECT_EQ(formats, (std::vector<GLenum>{GL_BGRA_EXT}));
    EXPECT_TRUE(frame_is_red_first(pixel_count));
    for (const auto& [format, type] : {std::pair{GL_RGBA, GL_UNSIGNED_BYTE}, {GL_BGRA_EXT, GL_FLOAT}}) {
        read_format = format;
        read_type = type;
        formats.clear();
        ASSERT_TRUE(read());
        EXPECT_EQ(formats, (std::vector<GLenum>{GL_RGBA}));
        EXPECT_TRUE(frame_is_red_first(pixel_count));
    }
}

TEST_F(blue_first, WhoCanTurnThePixelsItselfGetsThemAsTheyCome)
{
    bool left_so = false;
    ASSERT_TRUE(read(false, &left_so));
    EXPECT_TRUE(left_so);
    EXPECT_EQ(pixels[2], 0) << "red of the first pixel";
    EXPECT_EQ(pixels[4 + 2], 1);
    read_format = GL_RGBA;
    left_so = false;
    ASSERT_TRUE(read(false, &left_so));
    EXPECT_FALSE(left_so);
    EXPECT_TRUE(frame_is_red_first(pixel_count));
}

TEST_F(blue_first, ABlockThatIsUsedAgainShowsNothingOfTheFrameBefore)
{
    ASSERT_TRUE(read());
    const uint8_t* const first = pixels;
    pixels_that_exist = 100; // the framebuffer has become smaller than the frame
    ASSERT_TRUE(read());
    EXPECT_EQ(pixels, first);
    EXPECT_TRUE(frame_is_red_first(100));
    EXPECT_TRUE(std::all_of(pixels + 400, pixels + 4 * pixel_count, [](uint8_t byte) { return byte == 0; }));
    // Where the caller knows that all is written there is nothing to clear.
    pixels_that_exist = pixel_count;
    ASSERT_TRUE(read(true));
    EXPECT_EQ(pixels, first);
    EXPECT_TRUE(frame_is_red_first(pixel_count));
}
} // namespace
