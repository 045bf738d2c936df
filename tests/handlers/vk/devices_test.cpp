// Instances, physical devices and devices: what the host is asked, and what a target is shown of it.

#include "handlers/vk/capability_union.h"
#include "handlers/vk/vk_fixture.h"
#include "wire/vk_structures.h"
#include "zelvar/zelvar.h"

#include <cstring>

namespace {
constexpr uint64_t instance = 0x10, physical = 0x1f;

class vk_devices : public testing::Test
{
protected:
    raw_target target{library::start()};
    VkPhysicalDevice host_physical{};

    void SetUp() override
    {
        fake_vulkan::install();
        sidechannel_set_log_level(3);
        target.write_only(target.make(5).bytes());
        host_physical = reinterpret_cast<VkPhysicalDevice>(fake_vulkan::make("VkPhysicalDevice"));
        fake_vulkan::hook<&vk::vkEnumeratePhysicalDevices>(
            [this](auto, uint32_t* count, VkPhysicalDevice* devices) {
                const VkResult result = devices && *count < 1 ? VK_INCOMPLETE : VK_SUCCESS;
                if (devices && *count)
                    *devices = host_physical;
                *count = devices && result ? 0 : 1;
                return result;
            });
        fake_vulkan::hook<&vk::vkGetPhysicalDeviceQueueFamilyProperties>(
            [](auto, uint32_t* count, VkQueueFamilyProperties* families) {
                if (families) {
                    families[0].queueFlags = VK_QUEUE_TRANSFER_BIT;
                    families[1].queueFlags = VK_QUEUE_GRAPHICS_BIT;
                }
                *count = 2;
            });
        fake_vulkan::hook<&vk::vkGetPhysicalDeviceMemoryProperties>(
            [](auto, VkPhysicalDeviceMemoryProperties* properties) {
                *properties = {};
                properties->memoryTypeCount = 2;
                properties->memoryTypes[1] = {6, 1};
                properties->memoryHeapCount = 2;
                properties->memoryHeaps[0].size = 100;
            });
        fake_vulkan::hook<&vk::vkGetDeviceQueue>([](auto, uint32_t family, uint32_t, VkQueue* queue) {
            *queue = reinterpret_cast<VkQueue>(0xfee0 + uint64_t{family});
        });
    }

    message create_instance(uint64_t handle = instance)
    {
        auto call = target.make(in::vk_create_instance);
        if (zelvar_call_on_target())
            call.u32(0);
        // sType, pNext, flags, no application info, no layers, one extension
        call.u64(0x100).u64(0).u64(0x200).u32(1).u32(0).u64(0xbad).u64(0).u64(0).u32(0).u32(0).u64(0);
        return call.u32(1).u32(0).u64(0x300).u64(0x400).text("VK_EXT_debug_report").u64(handle);
    }
    message enumerate(uint32_t capacity, uint64_t handle = physical)
    {
        auto call = target.make(in::vk_enumerate_physical_devices);
        if (zelvar_call_on_target())
            call.u32(0);
        call.u64(instance).u64(memory).u64(capacity ? memory + 8 : 0).u32(capacity);
        return capacity ? call.u64(handle) : call;
    }
    message create_device(uint64_t handle, uint32_t family)
    {
        auto call = target.make(in::vk_create_device);
        if (zelvar_call_on_target())
            call.u32(0);
        call.u64(physical).u64(0x100).u64(0).u64(0x200);
        // sType, pNext, flags, one queue, no layers, two extensions, features
        call.u32(3).u32(0).u64(0xbad).u32(0).u32(1).u64(0x300).u32(0).u32(0).u64(0);
        call.u32(2).u32(0).u64(0x400).u64(0x500);
        call.u32(2).u32(0).u64(0xbad).u32(0).u32(family).u32(1).u32(0).u64(0x600).f32(1);
        call.u64(0x700).u64(0x800).text("VK_ANDROID_native_buffer").text("VK_KHR_other");
        VkPhysicalDeviceFeatures features{};
        features.textureCompressionASTC_LDR = 1;
        features.geometryShader = 1;
        return put(call, features).u64(handle);
    }
    void make_device()
    {
        target.run(create_instance());
        target.run(enumerate(1));
        target.run(create_device(0xd0, 1));
    }
    int result_of_call(const message& call)
    {
        for (const outbound_message& sent : target.run(call))
            if (sent.type == out::set_return_value_message)
                return sent.at<int32_t>(1);
        return 0;
    }
    uint64_t live_objects()
    {
        const char* name = nullptr;
        uint64_t count = 0, sum = 0;
        for (uint32_t kind = 0; zelvar_live_objects(kind, &name, &count); ++kind)
            sum += count;
        return sum;
    }
};
} // namespace

TEST_F(vk_devices, AnInstanceIsMadeWithoutTheTargetsChainAndAllocator)
{
    const void* next = this;
    fake_vulkan::hook<&vk::vkCreateInstance>(
        [&](const VkInstanceCreateInfo* info, auto allocator, auto made) {
            next = info->pNext;
            EXPECT_EQ(allocator, nullptr);
            EXPECT_STREQ(info->ppEnabledExtensionNames[0], "VK_EXT_debug_report");
            *made = reinterpret_cast<VkInstance>(fake_vulkan::make("VkInstance"));
            return VK_SUCCESS;
        });
    EXPECT_EQ(result_of_call(create_instance()), 0);
    EXPECT_EQ(next, nullptr);
    EXPECT_EQ(fake_vulkan::count("vkGetInstanceProcAddr"), 1u); // asked for the call-back
    // A handle can't be taken twice: the second instance goes again.
    EXPECT_EQ(result_of_call(create_instance()), VK_ERROR_INITIALIZATION_FAILED);
    EXPECT_EQ(fake_vulkan::count("vkDestroyInstance"), 1u);
    fake_vulkan::remove("vkCreateInstance");
    EXPECT_EQ(library::printed_by(
                  [&] { EXPECT_EQ(result_of_call(create_instance(0x99)), VK_ERROR_INCOMPATIBLE_DRIVER); }),
              "ERROR [ZELVAR] Could not find Vulkan library on host.\n"
              "ERROR [ZELVAR] vk_vkCreateInstance on host returns -9\n");
}

TEST_F(vk_devices, ExactlyOnePhysicalDeviceIsShown)
{
    EXPECT_EQ(result_of_call(enumerate(1)), VK_ERROR_INITIALIZATION_FAILED); // no instance
    target.run(create_instance());
    EXPECT_EQ(result_of_call(enumerate(0)), 0);
    EXPECT_EQ(target.peek<uint32_t>(memory), 1u);
    EXPECT_EQ(result_of_call(enumerate(1)), 0);
    EXPECT_EQ(result_of_call(enumerate(1)), 0); // again
    VkPhysicalDevice found{};
    EXPECT_TRUE(zelvar_object_manager_vk_get_host_physical_device(
        raw_target::pid, reinterpret_cast<VkPhysicalDevice>(physical), &found));
    EXPECT_EQ(found, host_physical);
}

TEST_F(vk_devices, ADeviceLeavesOutWhatTheSystemDoesItself)
{
    target.run(create_instance());
    target.run(enumerate(1));
    fake_vulkan::hook<&vk::vkCreateDevice>(
        [&](auto host, const VkDeviceCreateInfo* info, auto, VkDevice* device) {
            EXPECT_EQ(host, host_physical);
            EXPECT_EQ(info->enabledExtensionCount, 1u);
            EXPECT_STREQ(info->ppEnabledExtensionNames[0], "VK_KHR_other");
            EXPECT_EQ(info->pNext, nullptr);
            EXPECT_EQ(info->pQueueCreateInfos[0].pNext, nullptr);
            EXPECT_EQ(info->pEnabledFeatures->textureCompressionASTC_LDR, 0u);
            EXPECT_EQ(info->pEnabledFeatures->geometryShader, 1u);
            *device = reinterpret_cast<VkDevice>(fake_vulkan::make("VkDevice"));
            return VK_SUCCESS;
        });
    EXPECT_EQ(result_of_call(create_device(0xd0, 1)), 0);
    auto* data = zelvar_object_manager_vk_lock_host_device(raw_target::pid, reinterpret_cast<VkDevice>(0xd0));
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->graphics_queue_family, 1u);
    EXPECT_NE(data->swapchain_command_pool, VkCommandPool{});
    EXPECT_EQ(data->memory_properties.memoryTypeCount, 2u);
    zelvar_object_manager_vk_unlock_host_device(data);
    // A device without queues of that family can't have a pool of it.
    EXPECT_EQ(fake_vulkan::count("vkCreateCommandPool"), 1u);
    EXPECT_EQ(result_of_call(create_device(0xd1, 0)), 0);
    EXPECT_EQ(fake_vulkan::count("vkCreateCommandPool"), 1u);
    // Taken handles and unknown physical devices.
    EXPECT_EQ(result_of_call(create_device(0xd0, 1)), -1);
    EXPECT_EQ(fake_vulkan::count("vkDestroyDevice"), 1u);

    target.run(target.make(in::vk_get_device_queue).u64(0xd0).u32(1).u32(0).u64(0x100).u64(0x90));
    VkQueue queue{};
    EXPECT_TRUE(
        zelvar_object_manager_vk_get_host_queue(raw_target::pid, reinterpret_cast<VkQueue>(0x90), &queue));
    EXPECT_EQ(queue, reinterpret_cast<VkQueue>(0xfee1));
}

TEST_F(vk_devices, WhatIsLeftOnADeviceGoesWithItAndADeviceWithItsInstance)
{
    make_device();
    auto* data = zelvar_object_manager_vk_lock_host_device(raw_target::pid, reinterpret_cast<VkDevice>(0xd0));
    ASSERT_NE(data, nullptr);
    zelvar_object_manager_vk_add_buffer(data, reinterpret_cast<VkBuffer>(0x1),
                                        reinterpret_cast<VkBuffer>(fake_vulkan::make("VkBuffer")));
    vk_entry_of<VkImage> image;
    image.host = reinterpret_cast<VkImage>(fake_vulkan::make("VkImage"));
    image.host_backing = reinterpret_cast<VkDeviceMemory>(fake_vulkan::make("VkDeviceMemory"));
    zelvar_object_manager_vk_add_image_with_data(data, reinterpret_cast<VkImage>(0x2), image);
    vk_linear_image& linear = data->linear_images[{1, 1, 1}];
    linear.image = reinterpret_cast<VkImage>(fake_vulkan::make("VkImage"));
    linear.memory = reinterpret_cast<VkDeviceMemory>(fake_vulkan::make("VkDeviceMemory"));
    zelvar_object_manager_vk_unlock_host_device(data);
    target.run(target.make(in::vk_get_device_queue).u64(0xd0).u32(1).u32(0).u64(0x100).u64(0x90));
    EXPECT_GT(live_objects(), 0u);
    fake_vulkan::clear();
    target.run(target.make(in::vk_destroy_instance).u64(instance).u64(0));
    for (const char* kind : {"VkBuffer", "VkImage", "VkDeviceMemory", "VkCommandPool"})
        EXPECT_EQ(fake_vulkan::live(kind), 0u) << kind;
    EXPECT_EQ(fake_vulkan::texts().front(), "vkDeviceWaitIdle(VkDevice#1)");
    EXPECT_EQ(fake_vulkan::texts().back(), "vkDestroyInstance(VkInstance#1, null)");
    EXPECT_EQ(fake_vulkan::count("vkDestroyDevice"), 1u);
    EXPECT_EQ(live_objects(), 0u);
    // Neither is there any more.
    std::string printed = library::printed_by([&] {
        target.run(target.make(in::vk_destroy_device).u64(0xd0).u64(0));
        target.run(target.make(in::vk_destroy_instance).u64(instance).u64(0));
    });
    EXPECT_EQ(library::occurrences(printed, "FATAL"), 2u) << printed;
}

TEST_F(vk_devices, ListsThatTheSystemAnswersItself)
{
    fake_vulkan::hook<&vk::vkEnumerateInstanceExtensionProperties>(
        [](auto, uint32_t* count, VkExtensionProperties*) {
            *count = 3;
            return VK_SUCCESS;
        });
    auto ask = [&](uint32_t type, uint32_t capacity) {
        auto call = target.make(type);
        if (type == in::vk_enumerate_device_extension_properties)
            call.u64(physical);
        call.u64(0).u64(memory).u64(memory + 8).u32(capacity);
        target.poke<uint32_t>(memory, 77);
        return result_of_call(call.raw(std::vector<uint8_t>(size_t{260} * capacity)));
    };
    // None of the host's instance extensions; of a device's exactly one.
    EXPECT_EQ(ask(in::vk_enumerate_instance_extension_properties, 3), 0);
    EXPECT_EQ(target.peek<uint32_t>(memory), 0u);
    EXPECT_EQ(ask(in::vk_enumerate_device_extension_properties, 2), 0);
    EXPECT_EQ(target.peek<uint32_t>(memory), 1u);
    EXPECT_EQ(target.text_at(memory + 8), "VK_ANDROID_native_buffer");
    EXPECT_EQ(target.peek<uint32_t>(memory + 8 + 256), 1u);
    EXPECT_EQ(ask(in::vk_enumerate_device_extension_properties, 0), VK_INCOMPLETE);
    EXPECT_EQ(target.peek<uint32_t>(memory), 0u);
}

TEST_F(vk_devices, FeaturesAreThoseThatBothHave)
{
    target.run(create_instance());
    target.run(enumerate(1));
    fake_vulkan::hook<&vk::vkGetPhysicalDeviceFeatures>([](auto, VkPhysicalDeviceFeatures* features) {
        features->robustBufferAccess = 1;
        features->geometryShader = 1;
    });
    auto ask = [&](const VkPhysicalDeviceFeatures& given) {
        auto call = target.make(in::vk_get_physical_device_features).u64(physical).u64(memory);
        return library::printed_by([&] { target.run(put(call, given)); });
    };
    EXPECT_EQ(ask({}), "");
    auto shown = target.peek<VkPhysicalDeviceFeatures>(memory);
    EXPECT_TRUE(shown.robustBufferAccess && shown.geometryShader && shown.textureCompressionASTC_LDR);
    EXPECT_FALSE(shown.wideLines);

    library::set_target_gpu(TARGET_GPU_DUMMY);
    VkPhysicalDeviceFeatures own{};
    own.robustBufferAccess = 1;
    own.textureCompressionASTC_LDR = 1;
    own.inheritedQueries = 1;
    const std::string line =
        "WARN [ZELVAR] Physical device feature support mismatched between target and host, "
        "have to disable it:\n";
    EXPECT_EQ(ask(own), line + "WARN [ZELVAR] \t feature=geometryShader, host_support=1, target_support=0\n" +
                            line +
                            "WARN [ZELVAR] \t feature=inheritedQueries, host_support=0, target_support=1\n");
    shown = target.peek<VkPhysicalDeviceFeatures>(memory);
    EXPECT_TRUE(shown.robustBufferAccess && shown.textureCompressionASTC_LDR);
    EXPECT_FALSE(shown.geometryShader || shown.inheritedQueries);
}

TEST_F(vk_devices, MemoryTypesOfTheHostOnTheTargetsHeap)
{
    target.run(create_instance());
    target.run(enumerate(1));
    VkPhysicalDeviceMemoryProperties own{};
    own.memoryHeapCount = 1;
    own.memoryHeaps[0] = {60, VK_MEMORY_HEAP_DEVICE_LOCAL_BIT};
    auto ask = [&] {
        auto call = target.make(in::vk_get_physical_device_memory_properties).u64(physical).u64(memory);
        std::string printed = library::printed_by([&] { target.run(put(call, own)); });
        EXPECT_EQ(library::occurrences(printed, "more than 1 memory heap"),
                  own.memoryHeapCount == 2 ? 1u : 0u);
        return target.peek<VkPhysicalDeviceMemoryProperties>(memory);
    };
    auto shown = ask();
    EXPECT_EQ(shown.memoryHeapCount, 2u);
    EXPECT_EQ(shown.memoryTypes[1].heapIndex, 1u);
    library::set_target_gpu(TARGET_GPU_DUMMY);
    shown = ask();
    EXPECT_EQ(shown.memoryHeapCount, 1u);
    EXPECT_EQ(shown.memoryHeaps[0].size, 60u);
    EXPECT_EQ(shown.memoryHeaps[0].flags, VkMemoryHeapFlags{VK_MEMORY_HEAP_DEVICE_LOCAL_BIT});
    EXPECT_EQ(shown.memoryTypes[1].propertyFlags, 7u);
    EXPECT_EQ(shown.memoryTypes[1].heapIndex, 0u);
    own.memoryHeapCount = 2;
    ask();
}

TEST_F(vk_devices, ImageFormatsAreMergedOrRefused)
{
    target.run(create_instance());
    target.run(enumerate(1));
    VkFormat asked{};
    VkResult host_result = VK_SUCCESS;
    fake_vulkan::hook<&vk::vkGetPhysicalDeviceImageFormatProperties>(
        [&](auto, VkFormat format, auto, auto, auto, auto, VkImageFormatProperties* properties) {
            asked = format;
            *properties = {{8, 16, 1}, 4, 5, 0b101, 1000};
            return host_result;
        });
    const VkImageFormatProperties own{{16, 16, 1}, 4, 5, 0b11, 500};
    std::string printed;
    auto ask = [&](VkFormat format, int target_result) {
        auto call = target.make(in::vk_get_physical_device_image_format_properties);
        if (zelvar_call_on_target())
            call.i32(target_result);
        call.u64(physical).u32(format).u32(1).u32(0).u32(4).u32(0).u64(memory);
        int result = 0;
        printed = library::printed_by([&] { result = result_of_call(put(call, own)); });
        return result;
    };
    EXPECT_EQ(ask(VK_FORMAT_ASTC_4x4_SRGB_BLOCK, 0), 0);
    EXPECT_EQ(asked, VK_FORMAT_R8G8B8A8_UNORM);
    EXPECT_EQ(target.peek<VkImageFormatProperties>(memory).maxResourceSize, 1000u);

    library::set_target_gpu(TARGET_GPU_DUMMY);
    EXPECT_EQ(ask(VK_FORMAT_R8_UNORM, 0), 0);
    const auto shown = target.peek<VkImageFormatProperties>(memory);
    EXPECT_EQ(shown.maxExtent.width, 8u);
    EXPECT_EQ(shown.sampleCounts, 1u);
    EXPECT_EQ(shown.maxResourceSize, 500u);
    EXPECT_NE(
        printed.find("\t format=9, type=1, tiling=0, host_maxExtent.width=8, target_maxExtent.width=16\n"),
        std::string::npos);
    EXPECT_EQ(library::occurrences(printed, "override target value with host"), 1u);
    EXPECT_EQ(library::occurrences(printed, "merge target and host result"), 1u);
    // One of them can't: neither can.
    EXPECT_EQ(ask(VK_FORMAT_R8_UNORM, VK_ERROR_FORMAT_NOT_SUPPORTED), VK_ERROR_FORMAT_NOT_SUPPORTED);
    EXPECT_NE(printed.find("return VK_ERROR_FORMAT_NOT_SUPPORTED: format=9, type=1, host_result=0, "
                           "target_result=-11\n"),
              std::string::npos);
}

TEST(capability_union, LimitsFollowTheirKindAndTheirFeature)
{
    VkPhysicalDeviceProperties target{}, host{};
    target.vendorID = 7;
    host.vendorID = 8;
    target.limits.maxImageDimension2D = 100;
    host.limits.maxImageDimension2D = 50;
    target.limits.nonCoherentAtomSize = 64;
    host.limits.nonCoherentAtomSize = 256;
    target.limits.minTexelOffset = -8;
    host.limits.minTexelOffset = -4;
    target.limits.maxComputeWorkGroupSize[2] = 3;
    host.limits.maxComputeWorkGroupSize[2] = 2;
    target.limits.timestampPeriod = 5;
    target.limits.maxTessellationPatchSize = host.limits.maxTessellationPatchSize = 32;
    target.limits.framebufferColorSampleCounts = 0b11;
    host.limits.framebufferColorSampleCounts = 0b101;
    for (auto* limits : {&target.limits, &host.limits}) {
        limits->pointSizeRange[0] = 2;
        limits->pointSizeRange[1] = 60;
        limits->pointSizeGranularity = 0.5f;
    }
    host.limits.pointSizeRange[0] = 3;
    host.limits.pointSizeRange[1] = 40;
    target.sparseProperties.residencyAlignedMipSize = 1;
    target.sparseProperties.residencyNonResidentStrict = host.sparseProperties.residencyNonResidentStrict = 1;

    VkPhysicalDeviceProperties result = target;
    collect_union_properties({}, target, host, &result);
    EXPECT_EQ(result.vendorID, 7u);
    EXPECT_EQ(result.limits.maxImageDimension2D, 50u);
    EXPECT_EQ(result.limits.nonCoherentAtomSize, 256u);
    EXPECT_EQ(result.limits.minTexelOffset, -4);
    EXPECT_EQ(result.limits.maxComputeWorkGroupSize[2], 2u);
    EXPECT_EQ(result.limits.timestampPeriod, 5.0f);
    EXPECT_EQ(result.limits.framebufferColorSampleCounts, 1u);
    EXPECT_EQ(result.limits.maxTessellationPatchSize, 0u);
    EXPECT_EQ(result.limits.pointSizeRange[0], 1.0f);
    EXPECT_EQ(result.limits.pointSizeRange[1], 0.0f);
    EXPECT_EQ(result.limits.pointSizeGranularity, 0.0f);
    EXPECT_EQ(result.sparseProperties.residencyAlignedMipSize, 0u);
    EXPECT_EQ(result.sparseProperties.residencyNonResidentStrict, 1u);

    VkPhysicalDeviceFeatures features{};
    features.tessellationShader = features.largePoints = 1;
    result = target;
    collect_union_properties(features, target, host, &result);
    EXPECT_EQ(result.limits.maxTessellationPatchSize, 32u);
    EXPECT_EQ(result.limits.pointSizeRange[0], 3.0f);
    EXPECT_EQ(result.limits.pointSizeRange[1], 40.0f);
    EXPECT_EQ(result.limits.pointSizeGranularity, 0.5f);
}
