// Device memory and images: what reaches the host, and when the two copies of mapped memory are made equal.

#include "handlers/vk/mapped_memory.h"
#include "handlers/vk/vk_fixture.h"
#include "wire/vk_structures.h"

#include <cstring>

namespace {
constexpr uint64_t mapping = memory + 0x1000; // the target's

class vk_memory : public vk_fixture
{
protected:
    uint8_t host_bytes[0x400] = {};
    const uint64_t handle = target_of<VkDeviceMemory>();

    void SetUp() override
    {
        vk_fixture::SetUp();
        entry<VkDeviceMemory>().size = 0x100;
        fake_vulkan::hook<&vk::vkMapMemory>([this](auto, auto, auto offset, auto, auto, void** data) {
            *data = host_bytes + offset;
            return VK_SUCCESS;
        });
    }
    message map(uint64_t offset, uint64_t size, uint64_t which)
    {
        auto call = target.make(in::vk_map_memory);
        return call.u64(device_handle).u64(which).u64(offset).u64(size).u32(0).u64(memory).u64(mapping);
    }
    message map(uint64_t offset, uint64_t size) { return map(offset, size, handle); }
    message unmap() { return target.make(in::vk_unmap_memory).u64(device_handle).u64(handle); }
    struct range
    {
        uint64_t memory;
        uint64_t offset;
        uint64_t size;
    };
    message ranges(uint32_t type, const std::vector<range>& given)
    {
        auto call = target.make(type).u64(device_handle).u32(static_cast<uint32_t>(given.size())).u64(memory);
        for (const range& each : given)
            call.u32(6).u32(0).u64(0xbad).u64(each.memory).u64(each.offset).u64(each.size);
        return call;
    }
    message allocate(uint64_t size, uint32_t type, uint64_t made)
    {
        auto call = target.make(in::vk_allocate_memory);
        if (zelvar_call_on_target())
            call.u32(0);
        call.u64(device_handle).u64(memory).u64(0).u64(memory + 8);
        return call.u32(5).u32(0).u64(0xbad).u64(size).u32(type).u32(0).u64(made);
    }
    message image_info(VkFormat format, uint32_t width, uint32_t height, bool native)
    {
        auto call = target.make(in::vk_create_image);
        call.u64(device_handle).u64(memory).u64(0).u64(memory + 8);
        call.u32(14).u32(0).u64(native ? 0x100 : 0).u32(0).u32(1).u32(format).u32(width).u32(height).u32(1);
        call.u32(1).u32(1).u32(1).u32(0).u32(4).u32(1).u32(1).u32(0).u64(0x200).u32(0).u32(0);
        if (native)
            call.u32(1000010000).u32(0).u64(0).u64(0xb1).i32(64).i32(1).i32(2).u32(0);
        return call.u32(3); // one queue family
    }
    vk_entry_of<VkDeviceMemory>& known() { return entry<VkDeviceMemory>(); }
};
} // namespace

TEST_F(vk_memory, MappingGivesTheTargetWhatTheHostHas)
{
    for (size_t i = 0; i < sizeof(host_bytes); ++i)
        host_bytes[i] = static_cast<uint8_t>(i);
    EXPECT_EQ(result_of_call(map(16, VK_WHOLE_SIZE)), 0);
    EXPECT_EQ(known().map_size, 0x100u - 16);
    EXPECT_EQ(known().map_offset, 16u);
    EXPECT_EQ(known().target_address.address, mapping);
    EXPECT_EQ(target.peek<uint8_t>(mapping), 16);
    EXPECT_EQ(target.peek<uint8_t>(mapping + 0x100 - 17), 255);
    EXPECT_EQ(target.peek<uint8_t>(mapping + 0x100 - 16), 0); // no more than that

    // What isn't there can't be mapped, and isn't asked of the host.
    fake_vulkan::clear();
    EXPECT_EQ(result_of_call(map(0x101, VK_WHOLE_SIZE)), VK_ERROR_MEMORY_MAP_FAILED);
    EXPECT_EQ(result_of_call(map(16, 0xf1)), VK_ERROR_MEMORY_MAP_FAILED);
    EXPECT_EQ(result_of_call(map(0, 1, unknown_handle)), VK_ERROR_MEMORY_MAP_FAILED);
    EXPECT_EQ(fake_vulkan::count("vkMapMemory"), 0u);
}

TEST_F(vk_memory, FlushingReadsTheRangeFromTheTarget)
{
    target.run(map(0x10, 0x40));
    for (uint64_t i = 0; i < 0x100; ++i)
        target.poke<uint8_t>(mapping + i, static_cast<uint8_t>(0x80 + i % 0x40));
    std::vector<VkMappedMemoryRange> host_ranges;
    fake_vulkan::hook<&vk::vkFlushMappedMemoryRanges>(
        [&](auto, uint32_t count, const VkMappedMemoryRange* given) {
            host_ranges.assign(given, given + count);
            return VK_SUCCESS;
        });
    known().target_buffer = as<VkBuffer>(target_of<VkBuffer>());
    EXPECT_EQ(result_of_call(ranges(in::vk_flush_mapped_memory_ranges, {{handle, 0x18, 8}})), 0);
    EXPECT_EQ(host_bytes[0x17], 0);
    EXPECT_EQ(host_bytes[0x18], 0x88);
    EXPECT_EQ(host_bytes[0x1f], 0x8f);
    EXPECT_EQ(host_bytes[0x20], 0);
    EXPECT_TRUE(entry<VkBuffer>().changed);
    ASSERT_EQ(host_ranges.size(), 1u);
    EXPECT_EQ(host_ranges[0].memory, known().host);
    EXPECT_EQ(host_ranges[0].pNext, nullptr);
    // All of it reaches beyond the mapping, which is where the copy ends; below it nothing is copied.
    result_of_call(
        ranges(in::vk_flush_mapped_memory_ranges, {{handle, 0x20, VK_WHOLE_SIZE}, {handle, 0, 8}}));
    EXPECT_EQ(host_bytes[0x20], 0x90);
    EXPECT_EQ(host_bytes[0x4f], 0xbf);
    EXPECT_EQ(host_bytes[0x50], 0);
    EXPECT_EQ(host_bytes[0x0], 0);
    ASSERT_EQ(host_ranges.size(), 2u);
    EXPECT_EQ(host_ranges[0].size, VK_WHOLE_SIZE);

    // An unknown memory ends the call before the host hears of it.
    host_ranges.clear();
    std::string text = printed(ranges(in::vk_flush_mapped_memory_ranges, {{unknown_handle, 0, 8}}));
    EXPECT_NE(text.find("ERROR [ZELVAR] Can't find mapping for target memory [0xbad], data desync ahead.\n"),
              std::string::npos);
    EXPECT_NE(text.find("on host returns -1\n"), std::string::npos);
    EXPECT_TRUE(host_ranges.empty());
    // One that isn't mapped has nothing to copy.
    target.run(unmap());
    EXPECT_EQ(result_of_call(ranges(in::vk_flush_mapped_memory_ranges, {{handle, 0, 8}})), 0);
    EXPECT_EQ(host_ranges.size(), 1u);
}

TEST_F(vk_memory, InvalidatingWritesTheRangeToTheTarget)
{
    target.run(map(0, VK_WHOLE_SIZE));
    fake_vulkan::hook<&vk::vkInvalidateMappedMemoryRanges>([&](auto, auto, auto) {
        std::memset(host_bytes, 7, sizeof(host_bytes)); // before the copy
        return VK_SUCCESS;
    });
    EXPECT_EQ(result_of_call(ranges(in::vk_invalidate_mapped_memory_ranges, {{handle, 0xf0, VK_WHOLE_SIZE}})),
              0);
    EXPECT_EQ(target.peek<uint8_t>(mapping + 0xef), 0);
    EXPECT_EQ(target.peek<uint8_t>(mapping + 0xf0), 7);
    EXPECT_EQ(target.peek<uint8_t>(mapping + 0xff), 7);
    EXPECT_EQ(target.peek<uint8_t>(mapping + 0x100), 0);
}

TEST_F(vk_memory, UnmappingTakesTheLastWritesAndDecodesBlocks)
{
    known().target_image = as<VkImage>(target_of<VkImage>());
    auto& image = entry<VkImage>();
    image.create_info.format = VK_FORMAT_ASTC_4x4_UNORM_BLOCK;
    image.create_info.extent = {8, 4, 1};
    target.run(map(0, VK_WHOLE_SIZE));
    // A block of one colour, then one that is none: 128-bit void extent of full red.
    const uint8_t red[16] = {0xfc, 0xfd, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff,
                             0xff, 0xff, 0,    0,    0,    0,    0xff, 0xff};
    std::memcpy(target.memory.data() + (mapping - memory), red, sizeof(red));
    target.poke<uint8_t>(mapping + 0xff, 9);
    std::string text = printed(unmap());
    EXPECT_EQ(text, "");
    EXPECT_EQ(host_bytes[0], 0xff);
    EXPECT_EQ(host_bytes[1], 0);
    EXPECT_EQ(host_bytes[3], 0xff);
    EXPECT_EQ(host_bytes[16 + 1], 0); // second block: the error colour, which is magenta
    EXPECT_EQ(host_bytes[16 + 2], 0xff);
    EXPECT_EQ(host_bytes[0x80], 0);
    EXPECT_EQ(host_bytes[0xff], 9);
    EXPECT_EQ(known().host_pointer, nullptr);
    EXPECT_EQ(known().map_size, 0u);
    // A mapping that is too small for the texels keeps what is behind it.
    uint8_t small[24] = {};
    vk_decode_astc(image.create_info, red, sizeof(red), small, 20);
    EXPECT_EQ(small[19], 0xff);
    EXPECT_EQ(small[20], 0);
}

TEST_F(vk_memory, OnlyCoherentTypesAreKeptEqualAtSubmissions)
{
    device->memory_properties.memoryTypeCount = 2;
    device->memory_properties.memoryTypes[1].propertyFlags = VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT;
    EXPECT_EQ(result_of_call(allocate(0x100, 0, 0x31)), 0);
    EXPECT_EQ(result_of_call(allocate(0x200, 1, 0x32)), 0);
    EXPECT_EQ(device->device_memory.at(as<VkDeviceMemory>(0x32)).size, 0x200u);
    EXPECT_EQ(device->coherent_memory, (std::set{as<VkDeviceMemory>(0x31)}));
    // A type that the host hasn't got, and a handle that is taken.
    fake_vulkan::clear();
    EXPECT_EQ(result_of_call(allocate(0x200, 2, 0x33)), -1);
    EXPECT_EQ(fake_vulkan::count("vkAllocateMemory"), 0u);
    EXPECT_EQ(result_of_call(allocate(0x200, 0, 0x32)), -1);
    EXPECT_EQ(fake_vulkan::count("vkFreeMemory"), 1u);
    EXPECT_EQ(device->coherent_memory.size(), 1u);
}

TEST_F(vk_memory, ImagesAreMadeForWhatTheHostCanDo)
{
    VkImageCreateInfo given{};
    fake_vulkan::hook<&vk::vkCreateImage>([&](auto, const VkImageCreateInfo* info, auto, VkImage* image) {
        given = *info;
        *image = host<VkImage>("VkImage");
        return VK_SUCCESS;
    });
    EXPECT_EQ(result_of_call(image_info(VK_FORMAT_ASTC_8x8_SRGB_BLOCK, 8, 8, false).u64(0x71)), 0);
    EXPECT_EQ(given.format, VK_FORMAT_R8G8B8A8_UNORM);
    EXPECT_EQ(given.pNext, nullptr);
    auto& astc = device->image.at(as<VkImage>(0x71));
    EXPECT_EQ(astc.create_info.format, VK_FORMAT_ASTC_8x8_SRGB_BLOCK);
    EXPECT_EQ(astc.create_info.pQueueFamilyIndices, nullptr); // it was in the message
    EXPECT_FALSE(astc.has_native_buffer);

    // A swapchain image brings a buffer and no memory.
    EXPECT_EQ(result_of_call(image_info(VK_FORMAT_R8G8B8A8_UNORM, 8, 8, true).u64(0x72)), 0);
    EXPECT_EQ(given.usage, 4u | VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
    EXPECT_EQ(given.pNext, nullptr);
    auto& shown = device->image.at(as<VkImage>(0x72));
    EXPECT_EQ(shown.native_buffer.handle, 0xb1u);
    EXPECT_EQ(shown.native_buffer.stride, 64);
    EXPECT_NE(shown.host_backing, VkDeviceMemory{});
    EXPECT_EQ(shown.backing_size, 0x1000u);
    const size_t memories = fake_vulkan::live("VkDeviceMemory");
    target.run(target.make(in::vk_destroy_image).u64(device_handle).u64(0x72).u64(0));
    EXPECT_EQ(fake_vulkan::live("VkDeviceMemory"), memories - 1);
    EXPECT_FALSE(device->image.contains(as<VkImage>(0x72)));

    // No memory for it: neither image nor memory stays.
    fake_vulkan::returns<&vk::vkBindImageMemory>(VK_ERROR_OUT_OF_DEVICE_MEMORY);
    const size_t images = fake_vulkan::live("VkImage");
    EXPECT_EQ(result_of_call(image_info(VK_FORMAT_R8G8B8A8_UNORM, 8, 8, true).u64(0x73)),
              VK_ERROR_OUT_OF_DEVICE_MEMORY);
    EXPECT_EQ(fake_vulkan::live("VkDeviceMemory"), memories - 1);
    EXPECT_EQ(fake_vulkan::live("VkImage"), images);
}

TEST_F(vk_memory, BoundObjectsAndTheirMemoryKnowEachOther)
{
    auto bind = [&](uint32_t type) {
        return target.make(type).u64(device_handle).u64(target_of<VkBuffer>()).u64(handle).u64(0x20);
    };
    known().size = 0x60;
    fake_vulkan::hook<&vk::vkGetBufferMemoryRequirements>(
        [](auto, auto, VkMemoryRequirements* needed) { needed->size = 0x41; });
    EXPECT_EQ(result_of_call(bind(in::vk_bind_buffer_memory)), -1) << "a byte more than there is";
    EXPECT_EQ(fake_vulkan::count("vkBindBufferMemory"), 0u);
    fake_vulkan::hook<&vk::vkGetBufferMemoryRequirements>(
        [](auto, auto, VkMemoryRequirements* needed) { needed->size = 0x40; });
    fake_vulkan::hook<&vk::vkGetImageMemoryRequirements>(
        [](auto, auto, VkMemoryRequirements* needed) { needed->size = 0x40; });
    EXPECT_EQ(result_of_call(bind(in::vk_bind_buffer_memory)), 0);
    EXPECT_EQ(result_of_call(bind(in::vk_bind_image_memory)), 0);
    EXPECT_EQ(known().target_buffer, as<VkBuffer>(target_of<VkBuffer>()));
    EXPECT_EQ(known().target_image, as<VkImage>(target_of<VkImage>()));
    EXPECT_EQ(entry<VkBuffer>().target_memory, as<VkDeviceMemory>(handle));
    entry<VkBuffer>().changed = true;
    device->coherent_memory.insert(as<VkDeviceMemory>(handle));
    target.run(target.make(in::vk_free_memory).u64(device_handle).u64(handle).u64(0));
    EXPECT_EQ(entry<VkBuffer>().target_memory, VkDeviceMemory{});
    EXPECT_FALSE(entry<VkBuffer>().changed);
    EXPECT_EQ(entry<VkImage>().target_memory, VkDeviceMemory{});
    EXPECT_TRUE(device->coherent_memory.empty());
    EXPECT_TRUE(device->device_memory.empty());
    // What goes first is forgotten by the memory.
    add<VkDeviceMemory>("VkDeviceMemory");
    known().size = 0x60;
    EXPECT_EQ(result_of_call(bind(in::vk_bind_image_memory)), 0);
    target.run(target.make(in::vk_destroy_image).u64(device_handle).u64(target_of<VkImage>()).u64(0));
    EXPECT_EQ(known().target_image, VkImage{});
    EXPECT_EQ(printed(target.make(in::vk_free_memory).u64(device_handle).u64(handle).u64(0)), "");
}

TEST_F(vk_memory, WhileTheTargetRunsCallsItsDriverAllocatesBehindTheHosts)
{
    library::set_target_gpu(TARGET_GPU_DUMMY);
    device->target_physical_device = as<VkPhysicalDevice>(0x1f);
    zelvar_object_manager_vk_add_physical_device(raw_target::pid, as<VkInstance>(0x10),
                                                 as<VkPhysicalDevice>(0x1f), as<VkPhysicalDevice>(0xf));
    VkPhysicalDeviceMemoryProperties own{};
    own.memoryTypeCount = 3;
    own.memoryTypes[2].propertyFlags = 6;
    zelvar_object_manager_vk_add_memory_index_mapping(raw_target::pid, as<VkPhysicalDevice>(0x1f),
                                                      device->memory_properties, own);
    // Both drivers' needs: the larger of each, and for the target's next allocation its own types.
    const VkMemoryRequirements target_needs{0x2000, 8, 0b100};
    target.run(put(target.make(in::vk_get_buffer_memory_requirements)
                       .u64(device_handle)
                       .u64(target_of<VkBuffer>())
                       .u64(memory + 0x40),
                   target_needs));
    const auto shown = target.peek<VkMemoryRequirements>(memory + 0x40);
    EXPECT_EQ(shown.size, 0x2000u);
    EXPECT_EQ(shown.alignment, 16u);
    EXPECT_EQ(shown.memoryTypeBits, 1u);
    EXPECT_EQ(device->last_memory_requirements.memoryTypeBits, 0b100u);

    outbound_message asked;
    uint32_t target_result = 0;
    target.on_request = [&](const outbound_message& request) {
        if (request.type != out::vkAllocateMemory)
            return target.default_answer(request);
        asked = request;
        return confirm_with(uint64_t{0x31}, target_result);
    };
    target.run(allocate(0x300, 0, 0));
    ASSERT_EQ(asked.bytes.size(), 56u);
    EXPECT_EQ(asked.at<uint64_t>(0), device_handle);
    EXPECT_EQ(asked.at<uint64_t>(8), memory);
    EXPECT_EQ(asked.at<uint64_t>(16), 0u);
    EXPECT_EQ(asked.at<uint64_t>(24), memory + 8);
    EXPECT_EQ(asked.at<uint32_t>(32), 2u);
    ASSERT_TRUE(device->device_memory.contains(as<VkDeviceMemory>(0x31)));
    EXPECT_EQ(device->device_memory.at(as<VkDeviceMemory>(0x31)).size, 0x300u);
    EXPECT_TRUE(device->coherent_memory.contains(as<VkDeviceMemory>(0x31)));
    // When it can't, the host's memory goes again.
    target_result = static_cast<uint32_t>(VK_ERROR_OUT_OF_HOST_MEMORY);
    const size_t memories = fake_vulkan::live("VkDeviceMemory");
    EXPECT_EQ(printed(allocate(0x300, 0, 0)),
              "ERROR [ZELVAR] Target executes vkAllocateMemory() returns -1\n");
    EXPECT_EQ(fake_vulkan::live("VkDeviceMemory"), memories);
}
