// The buffer service of a phone: what applications make, and what the library is told of it.

#include "shim/fake_device.h"
#include "shim/hardware_buffers.h"
#include "shim/target_names.h"

#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

extern "C" {
int target_AHardwareBuffer_allocate(const AHardwareBuffer_Desc* wanted, AHardwareBuffer** out);
void target_AHardwareBuffer_acquire(AHardwareBuffer* buffer);
void target_AHardwareBuffer_release(AHardwareBuffer* buffer);
void target_AHardwareBuffer_describe(const AHardwareBuffer* buffer, AHardwareBuffer_Desc* out);
int target_AHardwareBuffer_lock(AHardwareBuffer* buffer, uint64_t usage, int32_t fence, const void* area,
                                void** address);
}

using namespace shim_test;
using descriptor = wire::winsys_buffer_object_descriptor;

namespace {

class hardware_buffers : public device_test
{
protected:
    static AHardwareBuffer* allocate(uint32_t width, uint32_t height, uint32_t format)
    {
        const AHardwareBuffer_Desc wanted{width, height, 1, format, 0, 0, 0, 0};
        AHardwareBuffer* made = nullptr;
        return target_AHardwareBuffer_allocate(&wanted, &made) == 0 ? made : nullptr;
    }
    static uint64_t handle_of(const AHardwareBuffer* buffer) { return reinterpret_cast<uintptr_t>(buffer); }
    static descriptor begin(const AHardwareBuffer* buffer)
    {
        return shim::begin_buffer_use(handle_of(buffer), EGL_NATIVE_BUFFER_ANDROID);
    }
};

TEST_F(hardware_buffers, are_told_as_they_lie_in_memory)
{
    AHardwareBuffer* buffer = allocate(61, 5, 4); // 16 bits a pixel
    ASSERT_TRUE(buffer);
    AHardwareBuffer_Desc desc{};
    target_AHardwareBuffer_describe(buffer, &desc);
    EXPECT_EQ(desc.stride, 64u);
    void* address = nullptr;
    EXPECT_EQ(target_AHardwareBuffer_lock(buffer, 0, -1, nullptr, &address), 0);
    std::memset(address, 7, 64 * 2 * 5);

    const descriptor shape = begin(buffer);
    EXPECT_EQ(shape.source_kind, uint32_t{EGL_NATIVE_BUFFER_ANDROID});
    EXPECT_EQ(shape.format, uint32_t{GL_RGB});
    EXPECT_EQ(shape.type, uint32_t{GL_UNSIGNED_SHORT_5_6_5});
    EXPECT_EQ(shape.width, 61u);
    EXPECT_EQ(shape.height, 5u);
    EXPECT_EQ(shape.stride, 128u);
    EXPECT_EQ(shape.bits_per_pixel, 16u);
    const descriptor mapped = shim::map_buffer(handle_of(buffer), shape);
    EXPECT_EQ(mapped.pixels, reinterpret_cast<uintptr_t>(address));
    EXPECT_EQ(mapped.mapped, 0u);
    EXPECT_FALSE(shim::unmap_buffer(mapped.pixels));
    EXPECT_EQ(begin(buffer).bits_per_pixel, 16u);
    EXPECT_TRUE(shim::end_buffer_use(handle_of(buffer)));
    EXPECT_TRUE(shim::end_buffer_use(handle_of(buffer)));
    EXPECT_FALSE(shim::end_buffer_use(handle_of(buffer))) << "one end too many";
    target_AHardwareBuffer_release(buffer);
    EXPECT_EQ(begin(buffer).width, 0u);
    EXPECT_EQ(shim::map_buffer(handle_of(buffer), shape).pixels, 0u);

    for (const AHardwareBuffer* refused :
         {allocate(0, 5, 1), allocate(5, 16385, 1), allocate(5, 5, 0), allocate(5, 5, 99)})
        EXPECT_EQ(refused, nullptr);
    EXPECT_EQ(shim::begin_buffer_use(1, EGL_WAYLAND_BUFFER_WL).width, 0u);
}

TEST_F(hardware_buffers, live_as_long_as_an_image_uses_them)
{
    AHardwareBuffer* buffer = allocate(4, 4, 2);
    EXPECT_EQ(begin(buffer).remove_alpha, 1u);
    target_AHardwareBuffer_acquire(buffer);
    target_AHardwareBuffer_release(buffer);
    target_AHardwareBuffer_release(buffer);
    EXPECT_NE(shim::map_buffer(handle_of(buffer), {}).pixels, 0u) << "the library's use";
    EXPECT_TRUE(shim::end_buffer_use(handle_of(buffer)));
    EXPECT_EQ(shim::map_buffer(handle_of(buffer), {}).pixels, 0u);
    EXPECT_FALSE(shim::end_buffer_use(handle_of(buffer)));
}

TEST_F(hardware_buffers, of_other_devices_are_files)
{
    const int file = memfd_create("buffer", 0);
    ASSERT_EQ(ftruncate(file, 4096), 0);
    ASSERT_EQ(pwrite(file, "pixels", 6, 100), 6);
    descriptor shape{};
    shape.source_kind = EGL_LINUX_DMA_BUF_EXT;
    shape.height = 4;
    shape.stride = 1024;
    const descriptor mapped = shim::map_buffer(static_cast<uint64_t>(file), shape);
    ASSERT_NE(mapped.pixels, 0u);
    EXPECT_NE(mapped.mapped, 0u);
    auto* bytes_of_file = reinterpret_cast<char*>(static_cast<uintptr_t>(mapped.pixels));
    EXPECT_EQ(std::memcmp(bytes_of_file + 100, "pixels", 6), 0);
    EXPECT_TRUE(shim::unmap_buffer(mapped.pixels));
    EXPECT_FALSE(shim::unmap_buffer(mapped.pixels)) << "unmapped twice";
    close(file);
    EXPECT_EQ(shim::map_buffer(9999, shape).pixels, 0u);
    shape.height = 0;
    EXPECT_EQ(shim::map_buffer(static_cast<uint64_t>(file), shape).pixels, 0u);
}

TEST_F(hardware_buffers, are_the_processors_when_calls_that_wait_are_done)
{
    device->settings_block[wire::settings_offset::batch_commands] = 1;
    AHardwareBuffer* buffer = allocate(4, 4, 1);
    target_glFinish();
    device->sent.clear();
    target_glClear(GL_COLOR_BUFFER_BIT);
    EXPECT_TRUE(device->sent.empty()) << "it waits";
    void* address = nullptr;
    target_AHardwareBuffer_lock(buffer, 0, -1, nullptr, &address);
    EXPECT_EQ(device->sent.size(), 1u);
    target_AHardwareBuffer_lock(buffer, 0, -1, nullptr, &address);
    EXPECT_EQ(device->sent.size(), 1u);
    target_AHardwareBuffer_release(buffer);
}

TEST_F(hardware_buffers, are_a_phones)
{
    EXPECT_STREQ(shim::with_android_extensions("A"), "A");
    setenv("ZELVAR_TARGET_OS", "android", 1);
    EXPECT_STREQ(shim::with_android_extensions("A"),
                 "A EGL_ANDROID_image_native_buffer EGL_ANDROID_get_native_client_buffer");
    EXPECT_EQ(shim::with_android_extensions(nullptr), nullptr);
    device->replies = {message(462), release()};
    target_glFinish();
    EXPECT_EQ(device->sent.back(), confirmation(bytes{}.u32(2)).get()) << "operating system";
    EXPECT_NE(target_eglGetProcAddress("eglGetNativeClientBufferANDROID"), nullptr);
    unsetenv("ZELVAR_TARGET_OS");
}

} // namespace
