// A finished frame's way out: read back and written, parked, or left alone.

#include "combiner.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "support/fake_host.h"
#include "support/library.h"
#include "support/raw_target.h"

#include <gtest/gtest.h>

namespace {
namespace in = wire::inbound;
namespace out = wire::outbound;
constexpr auto quiet = fake_host::error_queries::leave_out;
constexpr uint64_t framebuffer = raw_target::memory_base + 0x1000;
constexpr uint32_t linux_os = 1;
constexpr uint32_t android_os = 2;

class swap : public testing::Test
{
protected:
    raw_target target{library::start()};
    library::current_context ids;
    uint32_t os_version = linux_os;
    uint32_t fb_width = 4;
    uint32_t fb_height = 2;
    std::vector<uint32_t> asked; // services of the last swap

    void SetUp() override
    {
        target.write_only(target.make(5).bytes()); // binds the channel
        ids = library::make_current(raw_target::pid, raw_target::tid);
        fake_host::returns<&sidechannel_egl_imports::eglSwapBuffers>(EGL_TRUE);
        fake_host::returns<&sidechannel_gles_imports::glCheckFramebufferStatus>(GL_FRAMEBUFFER_COMPLETE);
        fake_host::hook<&sidechannel_gles_imports::glGetIntegerv>([](GLenum, GLint* v) { *v = 0; });
        // Each row is its number, counted from the bottom.
        fake_host::hook<&sidechannel_gles_imports::glReadPixels>(
            [](GLint, GLint, GLsizei width, GLsizei height, GLenum format, GLenum type, void* pixels) {
                int bytes = type == GL_UNSIGNED_SHORT_5_6_5 ? 2 : format == GL_RGB ? 3 : 4;
                for (int row = 0; row < height; ++row)
                    std::memset(static_cast<uint8_t*>(pixels) + size_t(row) * width * bytes, row + 1,
                                size_t(width) * bytes);
            });
        target.on_request = [this](const outbound_message& r) {
            asked.push_back(r.type);
            if (r.type == out::winsys_get_target_os_version)
                return confirm_with(os_version);
            if (r.type == out::get_fb_width)
                return confirm_with(fb_width);
            if (r.type == out::get_fb_height)
                return confirm_with(fb_height);
            if (r.type < out::set_return_value_message)
                return confirm_with(uint32_t{EGL_FALSE}); // this target has no configs to tell of
            return target.default_answer(r);
        };
    }
    message swap_message(uint32_t bpp = 32, uint32_t width = 4, uint32_t height = 2, uint32_t stride = 4,
                         uint64_t buffer = framebuffer)
    {
        return target.make(in::egl_swap_buffers)
            .u64(ids.display)
            .u64(ids.surface)
            .u64(buffer)
            .u32(stride * height * 4)
            .u64(0)
            .u64(0)
            .u32(bpp)
            .u32(height)
            .u32(width)
            .u32(stride);
    }
    /// The target's answer to a swap.
    uint32_t run(const message& m)
    {
        asked.clear();
        fake_host::clear();
        auto sent = target.run(m);
        for (const auto& s : sent)
            if (s.type == out::set_return_value_message)
                return s.at<uint32_t>(1);
        return 99; // nothing
    }
    void bind_surface(uint64_t surface)
    {
        library::aside([&] {
            zelvar_object_manager_bind_context_to_thread(raw_target::pid, ids.context, raw_target::tid,
                                                         surface, surface, false);
        });
    }
    bool was_asked(uint32_t type) const { return std::find(asked.begin(), asked.end(), type) != asked.end(); }
};

TEST_F(swap, WritesTheFrameTopRowFirst)
{
    EXPECT_EQ(run(swap_message()), uint32_t{EGL_TRUE});
    EXPECT_EQ(target.peek<uint32_t>(framebuffer), 0x02020202u);
    EXPECT_EQ(target.peek<uint32_t>(framebuffer + 16), 0x01010101u);
    EXPECT_EQ(target.peek<uint32_t>(framebuffer + 32), 0u) << "stride times height, no more";
}

TEST_F(swap, AsksForTheFrameBufferSizeOnceAfterABind)
{
    run(swap_message());
    EXPECT_TRUE(was_asked(out::get_fb_height));
    EXPECT_TRUE(was_asked(out::get_fb_width));
    fb_width = 2; // not asked again
    run(swap_message());
    EXPECT_FALSE(was_asked(out::get_fb_height));
    EXPECT_EQ(fake_host::texts(quiet).back(), "glReadPixels(0, 0, 4, 2, 6408, 5121, pointer)");
    bind_surface(ids.surface);
    run(swap_message());
    EXPECT_EQ(fake_host::texts(quiet).back(), "glReadPixels(0, 0, 2, 2, 6408, 5121, pointer)");
}

TEST_F(swap, AFrameBufferThatCannotBeMeasuredGetsNothing)
{
    fb_height = 0;
    EXPECT_EQ(run(swap_message()), uint32_t{EGL_TRUE});
    EXPECT_EQ(fake_host::count("glReadPixels"), 0u);
}

TEST_F(swap, WithoutAFrameBufferItSucceedsAndDoesNothing)
{
    EXPECT_EQ(run(swap_message(32, 4, 2, 4, 0)), uint32_t{EGL_TRUE});
    EXPECT_EQ(fake_host::count("glReadPixels"), 0u);
}

TEST_F(swap, WithoutAReadBufferNothingIsRead)
{
    target.run(target.make(in::gles30_read_buffer).u32(GL_NONE));
    fake_host::hook<&sidechannel_gles_imports::glGetIntegerv>([](GLenum, GLint* value) { *value = GL_NONE; });
    EXPECT_EQ(run(swap_message()), uint32_t{EGL_TRUE});
    EXPECT_EQ(fake_host::count("glReadPixels"), 0u);
}

TEST_F(swap, ReadsSixteenBitFramesAs565)
{
    run(swap_message(16));
    EXPECT_EQ(fake_host::texts(quiet).back(), "glReadPixels(0, 0, 4, 2, 6407, 33635, pointer)");
    EXPECT_EQ(target.peek<uint16_t>(framebuffer), 0x0202);
    EXPECT_EQ(target.peek<uint16_t>(framebuffer + 8), 0x0101);
}

TEST_F(swap, OnAndroidSizeAndStrideComeWithTheMessage)
{
    os_version = android_os;
    run(swap_message(32, 2, 2, 4));
    EXPECT_FALSE(was_asked(out::get_fb_height));
    EXPECT_EQ(target.peek<uint32_t>(framebuffer), 0x02020202u);
    EXPECT_EQ(target.peek<uint32_t>(framebuffer + 16), 0x01010101u);
    // A stride below the width is the width.
    run(swap_message(32, 4, 2, 1));
    EXPECT_EQ(target.peek<uint32_t>(framebuffer + 16), 0x01010101u);
}

TEST_F(swap, ReadsThePackBufferlessHostAndPutsTheBufferBack)
{
    library::aside([&] {
        auto* model = zelvar_object_manager_lock_context_data(raw_target::pid, raw_target::tid);
        model->host_bindings.pixel_pack_buffer = 5;
        model->data_shared->buffers[5].host_id = 105;
        model->pack_params.row_length = 9;
        zelvar_object_manager_unlock_context_data(model);
    });
    run(swap_message());
    auto all = fake_host::texts(quiet);
    ASSERT_GE(all.size(), 3u);
    EXPECT_EQ(all[1], "glBindBuffer(35051, 0)");
    EXPECT_EQ(all.back(), "glBindBuffer(35051, 105)");
    EXPECT_EQ(fake_host::count("glPixelStorei"), 2u);
}

TEST_F(swap, DeliversNothingWhenTheBoundSurfaceIsNoWindow)
{
    auto host_surface = reinterpret_cast<EGLSurface>(uintptr_t{0x77});
    zelvar_object_manager_add_surface(raw_target::pid, host_surface, 0x51, surface_pbuffer, 3, 0, 0, 0, 0);
    bind_surface(0x51);
    EXPECT_EQ(run(swap_message()), uint32_t{EGL_TRUE});
    EXPECT_EQ(fake_host::count("glReadPixels"), 0u);
    // A swap of the pbuffer with the window bound delivers the window's pixels.
    bind_surface(ids.surface);
    uint64_t window = ids.surface;
    ids.surface = 0x51;
    EXPECT_EQ(run(swap_message()), uint32_t{EGL_TRUE});
    EXPECT_EQ(fake_host::count("glReadPixels"), 1u);
    ids.surface = window;
}

TEST_F(swap, FailuresAreToldButNeverOfTheDelivery)
{
    fake_host::returns<&sidechannel_gles_imports::glCheckFramebufferStatus>(GL_FRAMEBUFFER_UNSUPPORTED);
    EXPECT_EQ(run(swap_message()), uint32_t{EGL_TRUE});
    fake_host::returns<&sidechannel_egl_imports::eglSwapBuffers>(EGL_FALSE);
    fake_host::egl_errors({EGL_BAD_SURFACE});
    EXPECT_EQ(run(swap_message()), uint32_t{EGL_FALSE});
    EXPECT_EQ(fake_host::count("glReadPixels"), 0u);
    uint32_t error = 0;
    zelvar_object_manager_get_egl_error(raw_target::pid, raw_target::tid, &error);
    EXPECT_EQ(error, uint32_t{EGL_BAD_SURFACE});
    ids.surface = 0xdead;
    EXPECT_EQ(run(swap_message()), uint32_t{EGL_FALSE});
    EXPECT_EQ(fake_host::count("eglSwapBuffers"), 0u);
}

TEST_F(swap, FramesOfImpossibleSizesAreRefused)
{
    os_version = android_os;
    for (uint32_t size : {0u, 0x10000u, 0xffffffffu})
        for (uint32_t stride : {0u, 0xffffffffu})
            EXPECT_EQ(run(swap_message(32, size, size, stride)), uint32_t{EGL_TRUE});
    for (uint32_t bpp : {0u, 1u, 7u, 33u, 0xffffffffu})
        EXPECT_EQ(run(swap_message(bpp)), uint32_t{EGL_TRUE});
    EXPECT_EQ(run(swap_message(32, 4, 2, 4, 0xfffffffffffffff0)), uint32_t{EGL_TRUE});
}

TEST_F(swap, ParksTheFrameForARealGpu)
{
    library::set_target_gpu(TARGET_GPU_REAL);
    message m = target.make(in::egl_swap_buffers);
    m.u32(EGL_TRUE).raw(swap_message().payload());
    EXPECT_EQ(run(m), 99u) << "the target has its own result";
    EXPECT_EQ(target.peek<uint32_t>(framebuffer), 0u);
    auto* parked = zelvar_object_manager_get_host_pixel_container(raw_target::pid, 1, ids.surface, 0, false);
    ASSERT_NE(parked, nullptr);
    EXPECT_EQ(parked->description.width, 16u); // the surface's size
    EXPECT_EQ(parked->description.height, 8u);
    ASSERT_NE(parked->pixels, nullptr);
    // An unknown config leaves the depth forced to 32 bits without a layout: a blank frame.
    EXPECT_EQ(parked->description.bits_per_pixel, 32);
    EXPECT_EQ(parked->pixels[0], 0);
    parked->description.format = GL_RGBA;
    parked->description.type = GL_UNSIGNED_BYTE;
    run(m);
    EXPECT_EQ(parked->pixels[0], 1) << "bottom row first";
    zelvar_object_manager_delete_target_surface(raw_target::pid, ids.surface);
    EXPECT_EQ(zelvar_object_manager_get_host_pixel_container(raw_target::pid, 1, ids.surface, 0, false),
              nullptr);
}
} // namespace
