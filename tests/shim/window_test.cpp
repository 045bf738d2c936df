// Window surfaces, their frame buffers, and what a swap says and does.

#include "shim/fake_device.h"
#include "shim/fake_window_server.h"
#include "shim/target_names.h"
#include "shim/windows.h"
#include "tpakutil/tpak_main.h"

#include <cerrno>
#include <cstdlib>
#include <sys/uio.h>

using namespace shim_test;

namespace {

struct swap_fields
{
    uint64_t display, surface, address;
    uint32_t length;
    uint64_t format, attributes;
    uint32_t bits, height, width, stride;
};

swap_fields parse_swap(const std::vector<uint8_t>& sent)
{
    swap_fields f{};
    EXPECT_EQ(sent.size(), 20u + 8 + 8 + 8 + 4 + 8 + 8 + 4 + 4 + 4 + 4);
    if (sent.size() != 80)
        return f;
    const uint8_t* at = sent.data() + 20;
    const auto take = [&](auto& field) {
        std::memcpy(&field, at, sizeof field);
        at += sizeof field;
    };
    take(f.display);
    take(f.surface);
    take(f.address);
    take(f.length);
    take(f.format);
    take(f.attributes);
    take(f.bits);
    take(f.height);
    take(f.width);
    take(f.stride);
    return f;
}

class windows : public device_test
{
protected:
    static constexpr auto display = uintptr_t{0x1000};

    EGLSurface make_surface(uint64_t handle, uintptr_t window)
    {
        device->replies = {value_and_release(bytes{}.u64(handle))};
        const EGLSurface surface =
            target_eglCreateWindowSurface(reinterpret_cast<EGLDisplay>(display), nullptr,
                                          static_cast<EGLNativeWindowType>(window), nullptr);
        device->sent.clear();
        return surface;
    }

    void make_current(EGLSurface surface)
    {
        device->replies = {value_and_release(bytes{}.u32(EGL_TRUE))};
        target_eglMakeCurrent(reinterpret_cast<EGLDisplay>(display), surface, surface,
                              reinterpret_cast<EGLContext>(9));
        device->sent.clear();
    }

    swap_fields swap(EGLSurface surface, uint32_t result = EGL_TRUE)
    {
        device->replies = {value_and_release(bytes{}.u32(result))};
        EXPECT_EQ(target_eglSwapBuffers(reinterpret_cast<EGLDisplay>(display), surface), result);
        return parse_swap(only_message());
    }

    /// Has the device ask for the frame buffer's size within a swap; what the shim said.
    shim::window_size asked_size(EGLSurface surface)
    {
        device->replies = {message(443), message(444), value_and_release(bytes{}.u32(EGL_TRUE))};
        target_eglSwapBuffers(reinterpret_cast<EGLDisplay>(display), surface);
        shim::window_size size;
        EXPECT_EQ(device->sent.size(), 3u);
        std::memcpy(&size.height, device->sent.at(1).data() + 25, 4);
        std::memcpy(&size.width, device->sent.at(2).data() + 25, 4);
        device->sent.clear();
        return size;
    }
};

TEST_F(windows, a_swap_describes_a_full_screen_of_four_bytes_a_pixel)
{
    setenv("ZELVAR_FB", "320x200", 1);
    const EGLSurface surface = make_surface(5, 1);
    const swap_fields f = swap(surface);
    EXPECT_EQ(f.display, display);
    EXPECT_EQ(f.surface, 5u);
    EXPECT_NE(f.address, 0u);
    EXPECT_EQ(f.address % 4096, 0u);
    EXPECT_EQ(f.length, 20u * 13 * (16 + 1024)) << "room for the worst compressed frame";
    EXPECT_EQ(f.format, 0u);
    EXPECT_EQ(f.attributes, 0u);
    EXPECT_EQ(f.bits, 32u);
    EXPECT_EQ(f.height, 200u);
    EXPECT_EQ(f.width, 320u);
    EXPECT_EQ(f.stride, 320u);
    const frame_record told{reinterpret_cast<void*>(f.address), 320, 200, 32, 320};
    EXPECT_EQ(device->frame_buffers, std::vector{told});
    EXPECT_EQ(device->frames, 1);
    std::memset(reinterpret_cast<void*>(f.address), 0xee, f.length);
    EXPECT_EQ(swap(surface).address, f.address) << "the same block again";
    EXPECT_EQ(device->frame_buffers.size(), 1u) << "it has not moved";
    EXPECT_EQ(device->frames, 2);
    unsetenv("ZELVAR_FB");
}

TEST_F(windows, a_bad_screen_size_is_the_default_one)
{
    for (const char* text : {"", "0x10", "axb", "640", "70000x10"}) {
        setenv("ZELVAR_FB", text, 1);
        testing::internal::CaptureStderr();
        EXPECT_EQ(shim::screen_size(), (shim::window_size{640, 480})) << text;
        testing::internal::GetCapturedStderr();
    }
    unsetenv("ZELVAR_FB");
}

TEST_F(windows, other_surfaces_have_no_frame_buffer)
{
    const swap_fields f = swap(reinterpret_cast<EGLSurface>(0x33));
    EXPECT_EQ(f.address, 0u);
    EXPECT_EQ(f.length, 0u);
    EXPECT_EQ(device->frames, 0);
}

TEST_F(windows, a_failed_swap_finishes_no_frame)
{
    const EGLSurface surface = make_surface(5, 1);
    swap(surface, EGL_FALSE);
    EXPECT_EQ(device->frames, 0);
    EXPECT_TRUE(device->frame_buffers.empty());
}

TEST_F(windows, a_failed_surface_is_forgotten_and_a_destroyed_one_too)
{
    EXPECT_EQ(make_surface(0, 1), EGL_NO_SURFACE);
    EXPECT_EQ(swap(EGL_NO_SURFACE).address, 0u);
    const EGLSurface surface = make_surface(5, 1);
    EXPECT_NE(swap(surface).address, 0u);
    device->replies = {value_and_release(bytes{}.u32(EGL_TRUE))};
    target_eglDestroySurface(nullptr, surface);
    device->sent.clear();
    EXPECT_EQ(swap(surface).address, 0u);
}

TEST_F(windows, each_surface_has_its_own_frame_buffer)
{
    const EGLSurface one = make_surface(5, 1), two = make_surface(6, 2);
    const uint64_t first = swap(one).address;
    const uint64_t second = swap(two).address;
    EXPECT_NE(first, second);
    EXPECT_EQ(swap(one).address, first);
    ASSERT_EQ(device->frame_buffers.size(), 3u) << "each change of the block is told";
    EXPECT_EQ(device->frame_buffers[2].address, reinterpret_cast<void*>(first));
}

TEST_F(windows, writing_past_a_frame_buffer_comes_back_short)
{
    const EGLSurface surface = make_surface(5, 1);
    const swap_fields f = swap(surface);
    // As a simulator writes it: through the kernel.
    std::vector<uint8_t> large(f.length + 1'000'000);
    const iovec from{large.data(), large.size()};
    const iovec to{reinterpret_cast<void*>(f.address), large.size()};
    EXPECT_EQ(process_vm_writev(getpid(), &from, 1, &to, 1, 0),
              static_cast<ssize_t>((f.length + 4095) / 4096 * 4096));
}

TEST_F(windows, clients_of_a_window_server_have_windows_of_their_own_size)
{
    static fake_server server;
    shim::use_window_server(&server);
    const EGLSurface surface = make_surface(5, 77);
    make_current(surface);
    swap_fields f = swap(surface);
    EXPECT_EQ(f.width, 100u);
    EXPECT_EQ(f.height, 50u);
    EXPECT_EQ(f.stride, 100u);
    EXPECT_EQ(server.shown, 1u);
    EXPECT_EQ(server.last.pixels, reinterpret_cast<const uint8_t*>(f.address));
    EXPECT_EQ(asked_size(surface), (shim::window_size{100, 50}));

    // The library keeps the size that it was told, until something is made current again.
    server.size = {300, 80};
    device->replies = {value_and_release(bytes{}.u32(EGL_TRUE)), value_and_release(bytes{}.u32(EGL_TRUE))};
    target_eglSwapBuffers(reinterpret_cast<EGLDisplay>(display), surface);
    ASSERT_EQ(device->sent.size(), 2u);
    EXPECT_EQ(device->sent[0], message(23, bytes{}.u64(display).u64(5).u64(5).u64(9)).get())
        << "the same is made current";
    f = parse_swap(device->sent[1]);
    EXPECT_EQ(f.width, 300u);
    EXPECT_EQ(f.length, 19u * 5 * (16 + 1024));
    device->sent.clear();
    EXPECT_EQ(device->frame_buffers.back().width, 300u);

    const EGLSurface full_screen = make_surface(6, 1);
    EXPECT_EQ(shim::frame_size(full_screen), (shim::window_size{640, 480})) << "no window of the server's";
}

TEST_F(windows, the_visual_comes_from_the_window_server)
{
    EGLint value = -1;
    device->on_message = [&](const std::vector<uint8_t>&) { value = 0; };
    device->replies = {value_and_release(bytes{}.u32(EGL_TRUE))};
    target_eglGetConfigAttrib(nullptr, nullptr, EGL_NATIVE_VISUAL_ID, &value);
    EXPECT_EQ(value, 0) << "without one the library's answer stands";
    static fake_server server;
    shim::use_window_server(&server);
    device->replies = {value_and_release(bytes{}.u32(EGL_TRUE)), value_and_release(bytes{}.u32(EGL_FALSE)),
                       value_and_release(bytes{}.u32(EGL_TRUE))};
    target_eglGetConfigAttrib(nullptr, nullptr, EGL_NATIVE_VISUAL_ID, &value);
    EXPECT_EQ(value, 0x21);
    target_eglGetConfigAttrib(nullptr, nullptr, EGL_NATIVE_VISUAL_ID, &value);
    EXPECT_EQ(value, 0) << "the call failed";
    target_eglGetConfigAttrib(nullptr, nullptr, EGL_RED_SIZE, &value);
    EXPECT_EQ(value, 0) << "another attribute";
}

TEST_F(windows, show_the_pixels_of_compressed_frames)
{
    fake_server server;
    shim::use_window_server(&server);
    device->compresses_frames = true;
    const EGLSurface surface = make_surface(0x5000, 77);
    make_current(surface);
    const uint32_t width = server.size.width;
    const uint32_t height = server.size.height;
    std::vector<uint8_t> pixels(size_t{width} * height * 4);
    for (size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<uint8_t>(i % 4 == 3 ? 255 : i * i / 97);
    device->on_message = [&](const std::vector<uint8_t>& message) {
        // What the library does while the application waits in its swap.
        if (message.size() != 80)
            return;
        uint64_t address;
        uint32_t length;
        std::memcpy(&address, message.data() + 36, sizeof address);
        std::memcpy(&length, message.data() + 44, sizeof length);
        const tpak_opts options{.yuv_trans = 1, .version = 5};
        TpakEncoder encoder{3, width, height, &options};
        ASSERT_LE(encoder.getMaxFrameSize(), length);
        encoder.encode(pixels.data(), reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(address)), false);
    };
    swap(surface);
    EXPECT_EQ(server.shown, 1u);
    EXPECT_EQ(server.last.size, server.size);
    EXPECT_EQ(server.last.stride, width);
    EXPECT_TRUE(server.last_pixels == pixels);
}

} // namespace
