// Images in the window system's buffers: their acquisition, the way of their frames into target memory, and
// direct swapchains.

#include "handlers/vk/vk_fixture.h"

#include <algorithm>
#include <cstring>

namespace {
class vk_presentation : public vk_fixture
{
protected:
    static constexpr uint64_t buffer_address = memory + 0x1000;
    wire::winsys_buffer_vk_data_descriptor buffer{buffer_address, 0, 0, 0x1000, 0};
    uint32_t unmapped = 1;
    uint64_t asked_for = 0; // the handle of the buffer that was to be mapped

    void SetUp() override
    {
        vk_fixture::SetUp();
        show({4, 2, 1}, 0xb1);
        target.on_request = [this](const outbound_message& request) {
            if (request.type == out::winsys_map_buffer_object_vk) {
                asked_for = request.at<uint64_t>(0);
                return confirm_with(buffer);
            }
            if (request.type == out::winsys_unmap_buffer_object)
                return confirm_with(unmapped);
            return target.default_answer(request);
        };
        // What the copy leaves in the linear image: 0, 1, 2...
        fake_vulkan::hook<&vk::vkMapMemory>([this](auto, auto, auto, auto, auto, void** data) {
            for (size_t i = 0; i < sizeof(pixels); ++i)
                pixels[i] = static_cast<uint8_t>(i);
            *data = pixels;
            return VK_SUCCESS;
        });
    }
    void show(VkExtent3D extent, uint64_t native_handle, uint64_t number = 1,
              VkFormat format = VK_FORMAT_R8G8B8A8_UNORM)
    {
        auto& image = entry<VkImage>(number);
        image.has_native_buffer = true;
        image.native_buffer.handle = native_handle;
        image.create_info.sType = VK_STRUCTURE_TYPE_IMAGE_CREATE_INFO;
        image.create_info.extent = extent;
        image.create_info.format = format;
    }
    message release(uint64_t image = target_of<VkImage>())
    {
        return target.make(in::vk_queue_signal_release_image_android)
            .u64(queue_handle)
            .u32(1)
            .u64(memory)
            .u64(image)
            .u64(0)
            .u64(target_of<VkSemaphore>());
    }
    message acquire(uint64_t image, uint64_t semaphore, uint64_t fence)
    {
        return target.make(in::vk_acquire_image_android)
            .u64(device_handle)
            .u64(image)
            .i32(-1)
            .u64(semaphore)
            .u64(fence);
    }

    uint8_t pixels[0x2000];
};

TEST_F(vk_presentation, AcquisitionSignalsWithoutTheHost)
{
    EXPECT_EQ(result_of_call(acquire(target_of<VkImage>(), target_of<VkSemaphore>(), target_of<VkFence>())),
              0);
    EXPECT_TRUE(entry<VkSemaphore>().signalled_by_system);
    EXPECT_TRUE(entry<VkFence>().signalled_by_system);
    EXPECT_EQ(result_of_call(acquire(target_of<VkImage>(), 0, 0)), 0);
    EXPECT_EQ(result_of_call(acquire(target_of<VkImage>(), unknown_handle, 0)), -1);
    EXPECT_EQ(result_of_call(acquire(unknown_handle, 0, 0)), -1);
    EXPECT_EQ(result_of_call(target.make(in::vk_get_swapchain_gralloc_usage_android)
                                 .u64(device_handle)
                                 .u32(37)
                                 .u32(16)
                                 .u64(memory)
                                 .u32(0)),
              0);
    EXPECT_EQ(fake_vulkan::texts(), texts{});
}

TEST_F(vk_presentation, FrameReachesTheTargetsBuffer)
{
    std::vector<VkImageMemoryBarrier> barriers;
    fake_vulkan::hook<&vk::vkCmdPipelineBarrier>(
        [&](auto, auto, auto, auto, auto, auto, auto, auto, uint32_t n, const VkImageMemoryBarrier* b) {
            barriers.insert(barriers.end(), b, b + n);
        });
    fake_vulkan::hook<&vk::vkCreateImage>([&](auto, const VkImageCreateInfo* info, auto, VkImage* image) {
        EXPECT_EQ(info->tiling, VK_IMAGE_TILING_LINEAR);
        EXPECT_EQ(info->usage, VkImageUsageFlags{VK_IMAGE_USAGE_TRANSFER_DST_BIT});
        *image = host<VkImage>("VkImage");
        return VK_SUCCESS;
    });
    EXPECT_EQ(result_of_call(release()), 0);
    EXPECT_EQ(asked_for, 0xb1u);
    for (size_t i = 0; i < 32; ++i)
        EXPECT_EQ(target.memory[0x1000 + i], i);
    EXPECT_EQ(target.memory[0x1000 + 32], 0);
    texts calls = fake_vulkan::texts();
    EXPECT_EQ(calls.front(), "vkQueueWaitIdle(VkQueue#1)");
    EXPECT_EQ(calls.back(), "vkQueueWaitIdle(VkQueue#1)");
    EXPECT_EQ(calls[calls.size() - 2], "vkQueueSubmit(VkQueue#1, 1, pointer, null)");
    auto copy = std::find(calls.begin(), calls.end(),
                          "vkCmdCopyImage(VkCommandBuffer#2, VkImage#1, 6, VkImage#2, 1, 1, pointer)");
    EXPECT_NE(copy, calls.end());
    ASSERT_EQ(barriers.size(), 3u);
    EXPECT_EQ(barriers[1].oldLayout, VK_IMAGE_LAYOUT_PRESENT_SRC_KHR);
    EXPECT_EQ(barriers[1].newLayout, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
    EXPECT_EQ(barriers[1].srcAccessMask, 32768u);
    EXPECT_EQ(barriers[1].dstAccessMask, 2048u);
}

TEST_F(vk_presentation, LinearImageIsKeptForEachSize)
{
    add<VkImage>("VkImage", 2);
    add<VkImage>("VkImage", 3);
    add<VkImage>("VkImage", 4);
    show({4, 2, 1}, 0xb2, 2);
    show({2, 2, 1}, 0xb3, 3);
    show({2, 2, 1}, 0xb4, 4, VK_FORMAT_R5G6B5_UNORM_PACK16);
    for (uint64_t number : {1, 2, 1, 3, 2})
        EXPECT_EQ(result_of_call(release(target_of<VkImage>(number))), 0);
    EXPECT_EQ(fake_vulkan::count("vkCreateImage"), 2u);
    EXPECT_EQ(fake_vulkan::count("vkAllocateCommandBuffers"), 1u);
    EXPECT_EQ(device->linear_images.size(), 2u);
    EXPECT_EQ(asked_for, 0xb2u);
    // Texels of another size never go into the same image.
    EXPECT_EQ(result_of_call(release(target_of<VkImage>(4))), 0);
    EXPECT_EQ(fake_vulkan::count("vkCreateImage"), 3u);
    EXPECT_EQ(fake_vulkan::live("VkImage"), 6u);
}

TEST_F(vk_presentation, ImageSmallerThanItsFrameIsFilledUp)
{
    fake_vulkan::hook<&vk::vkGetImageMemoryRequirements>([](auto, auto, VkMemoryRequirements* needed) {
        *needed = {16, 16, 1};
    });
    std::memset(target.memory.data() + 0x1000, 'z', 40);
    EXPECT_EQ(result_of_call(release()), 0);
    EXPECT_EQ(target.memory[0x100f], 15);
    EXPECT_EQ(target.memory[0x1010], 0);
    EXPECT_EQ(target.memory[0x101f], 0);
    EXPECT_EQ(target.memory[0x1020], 'z');
}

TEST_F(vk_presentation, BufferOfAnotherSizeIsReportedOnceAndUnmappedWhenAsked)
{
    buffer.length = 0x20;
    buffer.mapped = 1;
    std::string said = library::printed_by([&] {
        target.run(release());
        unmapped = 0;
        target.run(release());
    });
    EXPECT_EQ(library::occurrences(said,
                                   "WARN [ZELVAR] vkQueueSignalReleaseImageANDROID(): frame buffer size "
                                   "mismatch between host and target. Host_size=[4096], target_size=[32]\n"),
              1u);
    EXPECT_EQ(
        library::occurrences(said, "ERROR [ZELVAR] Target side has failed to unmap buffer [0x11000].\n"), 1u);
}

TEST_F(vk_presentation, FailureEndsTheReleaseWithoutAFrame)
{
    auto fails = [&](const char* text) {
        std::string said = library::printed_by([&] { EXPECT_NE(result_of_call(release()), 0) << text; });
        EXPECT_EQ(library::occurrences(said, text), 1u) << said;
        EXPECT_EQ(asked_for, 0u) << text;
        EXPECT_EQ(fake_vulkan::live("VkImage"), 1u + device->linear_images.size()) << text;
        EXPECT_EQ(fake_vulkan::live("VkDeviceMemory"), 1u + device->linear_images.size()) << text;
        fake_vulkan::install();
    };
    fake_vulkan::returns<&vk::vkQueueWaitIdle>(VK_ERROR_DEVICE_LOST);
    fails("FATAL [ZELVAR] Can't wait queue idle for AcquireNextImage.");
    fake_vulkan::returns<&vk::vkAllocateCommandBuffers>(VK_ERROR_OUT_OF_HOST_MEMORY);
    fails("FATAL [ZELVAR] Can't allocate command buffer for copying swapchain image.");
    fake_vulkan::returns<&vk::vkCreateImage>(VK_ERROR_FORMAT_NOT_SUPPORTED);
    fails("FATAL [ZELVAR] Can't create linear image for spliting swapchain image.");
    fake_vulkan::returns<&vk::vkAllocateMemory>(VK_ERROR_OUT_OF_DEVICE_MEMORY);
    fails("FATAL [ZELVAR] Could not bind linear image to host memory");
    fake_vulkan::returns<&vk::vkMapMemory>(VK_ERROR_MEMORY_MAP_FAILED);
    fails("FATAL [ZELVAR] Can't map swapchain image to host memory.");
    device->memory_properties.memoryTypes[0].propertyFlags = 2;
    fails("FATAL [ZELVAR] Could not find memory heap with 7 memory type, create linear image for swapchain "
          "failed.\n");
    EXPECT_EQ(device->swapchain_command_buffer, VkCommandBuffer{});
    device->memory_properties.memoryTypes[0].propertyFlags = 6;
    fake_vulkan::returns<&vk::vkBeginCommandBuffer>(VK_ERROR_OUT_OF_HOST_MEMORY);
    fails("FATAL [ZELVAR] Can't begin command buffer for copying swapchain image.");
    fake_vulkan::returns<&vk::vkQueueSubmit>(VK_ERROR_DEVICE_LOST);
    fails("FATAL [ZELVAR] Can't submit queue for copying swapchain image.");
}

TEST_F(vk_presentation, DirectSwapchainsImagesAreTheHosts)
{
    VkImage first = host<VkImage>("VkImage");
    fake_vulkan::hook<&vk::vkGetSwapchainImagesKHR>([&](auto, auto, uint32_t* count, VkImage* images) {
        for (uint32_t i = 0; images && i < *count; ++i)
            images[i] = first;
        *count = images ? *count : 3;
        return VK_SUCCESS;
    });
    message call = target.make(in::vk_get_swapchain_images_khr);
    call.u64(device_handle).u64(target_of<VkSwapchainKHR>()).u64(memory).u64(memory + 8).u32(2).u64(0).u64(0);
    std::string said = printed(call);
    EXPECT_EQ(library::occurrences(said, "FATAL [ZELVAR] !!!vk_vkGetSwapchainImagesKHR("), 1u);
    EXPECT_EQ(target.peek<uint32_t>(memory), 2u);
    EXPECT_EQ(target.peek<VkImage>(memory + 16), first);
    EXPECT_EQ(target.peek<VkImage>(memory + 24), VkImage{});

    VkPresentInfoKHR info{};
    info.sType = VK_STRUCTURE_TYPE_PRESENT_INFO_KHR;
    info.swapchainCount = 1;
    info.pSwapchains = as<const VkSwapchainKHR*>(memory);
    info.pImageIndices = as<const uint32_t*>(memory);
    fake_vulkan::hook<&vk::vkQueuePresentKHR>([&](auto, const VkPresentInfoKHR* present) {
        EXPECT_EQ(present->pSwapchains[0], entry<VkSwapchainKHR>().host);
        EXPECT_EQ(present->pImageIndices[0], 1u);
        return VK_SUBOPTIMAL_KHR;
    });
    message present = target.make(in::vk_queue_present_khr).u64(queue_handle).u64(memory);
    EXPECT_EQ(result_of_call(put(present, info).u64(target_of<VkSwapchainKHR>()).u32(1)), VK_SUBOPTIMAL_KHR);
}

TEST_F(vk_presentation, DisplaysGetNumbersAndSurfacesServeSwapchains)
{
    constexpr uint64_t instance = 0x11, physical = 0x22, surface = 0x33;
    zelvar_object_manager_vk_add_instance(raw_target::pid, as<VkInstance>(instance),
                                          host<VkInstance>("VkInstance"), VK_NULL_HANDLE);
    zelvar_object_manager_vk_add_physical_device(raw_target::pid, as<VkInstance>(instance),
                                                 as<VkPhysicalDevice>(physical),
                                                 host<VkPhysicalDevice>("VkPhysicalDevice"));
    const VkDisplayKHR display = host<VkDisplayKHR>("VkDisplayKHR");
    fake_vulkan::hook<&vk::vkGetDisplayPlaneSupportedDisplaysKHR>(
        [&](auto, uint32_t, uint32_t* count, VkDisplayKHR* displays) {
            *count = 1;
            if (displays)
                displays[0] = display;
            return VK_SUCCESS;
        });
    message ask = target.make(in::vk_get_display_plane_supported_displays_khr);
    ask.u64(physical).u32(0).u64(memory).u64(memory + 8).u32(1).u64(0);
    EXPECT_EQ(result_of_call(ask), 0);
    const auto number = target.peek<uint64_t>(memory + 8);
    EXPECT_NE(number, reinterpret_cast<uint64_t>(display));
    EXPECT_EQ(result_of_call(ask), 0);
    EXPECT_EQ(target.peek<uint64_t>(memory + 8), number) << "the same display";

    VkDisplayModeCreateInfoKHR mode{};
    message create_mode = target.make(in::vk_create_display_mode_khr);
    create_mode.u64(physical).u64(number).u64(memory).u64(0).u64(memory);
    EXPECT_EQ(host_calls(put(create_mode, mode).u64(0x44)),
              texts{"vkCreateDisplayModeKHR(VkPhysicalDevice#1, " +
                    fake_vulkan::name_of(reinterpret_cast<uint64_t>(display)) + ", pointer, null, pointer)"});
    VkDisplaySurfaceCreateInfoKHR info{};
    info.displayMode = as<VkDisplayModeKHR>(0x44);
    message create = target.make(in::vk_create_display_plane_surface_khr);
    create.u64(instance).u64(memory).u64(0).u64(memory);
    EXPECT_EQ(result_of_call(put(create, info).u64(surface)), 0);

    VkSurfaceKHR seen = VK_NULL_HANDLE;
    fake_vulkan::hook<&vk::vkCreateSwapchainKHR>(
        [&](auto, const VkSwapchainCreateInfoKHR* swapchain, auto, auto) {
            seen = swapchain->surface;
            return VK_SUCCESS;
        });
    VkSwapchainCreateInfoKHR swapchain{};
    swapchain.surface = as<VkSurfaceKHR>(surface);
    message create_swapchain = target.make(in::vk_create_swapchain_khr);
    create_swapchain.u64(device_handle).u64(memory).u64(0).u64(memory);
    EXPECT_EQ(result_of_call(put(create_swapchain, swapchain).u64(0x55)), 0);
    EXPECT_EQ(fake_vulkan::name_of(reinterpret_cast<uint64_t>(seen)), "VkSurfaceKHR#2");
    EXPECT_EQ(device->surface_khr.size(), 1u);
    EXPECT_EQ(host_calls(target.make(in::vk_destroy_surface_khr).u64(instance).u64(surface).u64(0)),
              texts{"vkDestroySurfaceKHR(VkInstance#1, VkSurfaceKHR#2, null)"});
}
} // namespace
