// The bytes of Vulkan calls, laid out by hand, and what the driver does on the target.

#include "shim/vk_fixture.h"

#include <thread>

using namespace shim_test;

namespace {

using vk_payload = vk_test;

// Structures whose bytes are compared are static, since the gaps between the fields of those are zero.

TEST_F(vk_payload, the_loader_finds_its_interface_and_objects_that_it_can_dispatch_by)
{
    uint32_t version = 6;
    EXPECT_EQ(target_vk_icdNegotiateLoaderICDInterfaceVersion(&version), VK_SUCCESS);
    EXPECT_EQ(version, 4u);
    version = 1;
    EXPECT_EQ(target_vk_icdNegotiateLoaderICDInterfaceVersion(&version), VK_ERROR_INCOMPATIBLE_DRIVER);
    make_device({"VK_KHR_swapchain"});
    constexpr uintptr_t magic = 0x01CDC0DE;
    for (const void* object :
         {static_cast<void*>(instance), static_cast<void*>(physical_device), static_cast<void*>(vulkan),
          static_cast<void*>(queue), static_cast<void*>(make_command_buffer())})
        EXPECT_EQ(*static_cast<const uintptr_t*>(object), magic);

    const auto of_device = VK(vkGetDeviceProcAddr);
    EXPECT_NE(of_device(vulkan, "vkCmdDraw"), nullptr);
    EXPECT_NE(of_device(vulkan, "vkQueuePresentKHR"), nullptr);
    EXPECT_EQ(of_device(vulkan, "vkEnumeratePhysicalDevices"), nullptr);
    for (const char* hidden : {"vkAcquireImageANDROID", "vkGetDisplayPlaneCapabilitiesKHR", "vkNothing"})
        EXPECT_EQ(target_vk_icdGetInstanceProcAddr(instance, hidden), nullptr) << hidden;
    EXPECT_NE(target_vk_icdGetPhysicalDeviceProcAddr(instance, "vkGetPhysicalDeviceFormatProperties"),
              nullptr);
    EXPECT_EQ(target_vk_icdGetPhysicalDeviceProcAddr(instance, "vkCreateDevice") == nullptr, false);
    EXPECT_EQ(target_vk_icdGetPhysicalDeviceProcAddr(instance, "vkCmdDraw"), nullptr);
    end_device();
    make_device();
    EXPECT_EQ(of_device(vulkan, "vkQueuePresentKHR"), nullptr) << "its extension is off";
}

TEST_F(vk_payload, every_entry_point_of_version_1_0_is_there)
{
#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    EXPECT_TRUE(id >= 577 || target_vk_icdGetInstanceProcAddr(nullptr, #function)) << #function;
#include "wire/messages_vk.inc"
#undef ZELVAR_MESSAGE
}

TEST_F(vk_payload, structures_stand_behind_the_arguments_and_the_new_handle_last)
{
    static const VkApplicationInfo application{
        VK_STRUCTURE_TYPE_APPLICATION_INFO, nullptr, "cube", 7, nullptr, 0, VK_API_VERSION_1_0};
    const char* extensions[] = {"VK_KHR_surface", "VK_EXT_debug_report", "VK_KHR_xcb_surface"};
    static VkInstanceCreateInfo info{
        VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO, &application, 0, &application, 1, extensions, 3, extensions};
    ASSERT_EQ(VK(vkCreateInstance)(&info, nullptr, &instance), VK_SUCCESS);
    const auto sent = only_message();
    const uint64_t list = load<uint64_t>(sent, 44 + 56); // a list of the shim's own: one extension is left
    EXPECT_NE(list, 0u);
    const bytes structure = bytes{}
                                .u32(1)
                                .u32(0)
                                .u64(0)
                                .u32(0)
                                .u32(0)
                                .address(&application)
                                .u32(0)
                                .u32(0)
                                .u64(0)
                                .u32(1)
                                .u32(0)
                                .u64(list);
    const bytes inner = bytes{}
                            .u32(0)
                            .u32(0)
                            .u64(0)
                            .address(application.pApplicationName)
                            .u32(7)
                            .u32(0)
                            .u64(0)
                            .u32(0)
                            .u32(VK_API_VERSION_1_0)
                            .text("cube");
    const uint64_t info_address = load<uint64_t>(sent, 20);
    EXPECT_EQ(sent, message(440, bytes{}
                                     .u64(info_address)
                                     .u64(0)
                                     .address(&instance)
                                     .add(structure)
                                     .add(inner)
                                     .u64(number(extensions[1]))
                                     .text("VK_EXT_debug_report")
                                     .u64(number(instance)))
                        .get());
    extensions[0] = "VK_KHR_display";
    VkInstance refused = nullptr;
    EXPECT_EQ(VK(vkCreateInstance)(&info, nullptr, &refused), VK_ERROR_EXTENSION_NOT_PRESENT);
}

TEST_F(vk_payload, what_a_call_ignores_does_not_travel)
{
    make_device();
    const auto* garbage = reinterpret_cast<const uint32_t*>(uintptr_t{0x10});
    static VkBufferCreateInfo info{VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO,
                                   nullptr,
                                   0,
                                   0x1122334455,
                                   0x80,
                                   VK_SHARING_MODE_EXCLUSIVE,
                                   3,
                                   garbage};
    info.pNext = &info; // an extension that nobody knows
    VkBuffer buffer{};
    ASSERT_EQ(VK(vkCreateBuffer)(vulkan, &info, nullptr, &buffer), VK_SUCCESS);
    EXPECT_EQ(only_message(), message(490, bytes{}
                                               .address(vulkan)
                                               .address(&info)
                                               .u64(0)
                                               .address(&buffer)
                                               .u32(12)
                                               .u32(0)
                                               .u64(0)
                                               .u32(0)
                                               .u32(0)
                                               .u64(0x1122334455)
                                               .u32(0x80)
                                               .u32(0)
                                               .u32(3)
                                               .u32(0)
                                               .u64(0)
                                               .u64(number(buffer)))
                                  .get());

    const VkDescriptorBufferInfo range{buffer, 16, VK_WHOLE_SIZE};
    auto write = typed<VkWriteDescriptorSet>(VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET);
    write.descriptorCount = 1;
    write.descriptorType = VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
    write.pBufferInfo = &range;
    write.pImageInfo = reinterpret_cast<const VkDescriptorImageInfo*>(garbage);
    write.pTexelBufferView = reinterpret_cast<const VkBufferView*>(garbage);
    VK(vkUpdateDescriptorSets)(vulkan, 1, &write, 0, nullptr);
    EXPECT_EQ(only_message(), message(519, bytes{}
                                               .address(vulkan)
                                               .u32(1)
                                               .address(&write)
                                               .u32(0)
                                               .u64(0)
                                               .u32(35)
                                               .u32(0)
                                               .u64(0)
                                               .u64(0)
                                               .u32(0)
                                               .u32(0)
                                               .u32(1)
                                               .u32(7)
                                               .u64(0)
                                               .address(&range)
                                               .u64(0)
                                               .u64(number(buffer))
                                               .u64(16)
                                               .u64(VK_WHOLE_SIZE))
                                  .get());

    // A primary command buffer inherits nothing.
    auto begin = typed<VkCommandBufferBeginInfo>(VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO);
    begin.pInheritanceInfo = reinterpret_cast<const VkCommandBufferInheritanceInfo*>(garbage);
    const VkCommandBuffer commands = make_command_buffer();
    ASSERT_EQ(VK(vkBeginCommandBuffer)(commands, &begin), VK_SUCCESS);
    EXPECT_EQ(
        only_message(),
        message(530, bytes{}.address(commands).address(&begin).u32(42).u32(0).u64(0).u32(0).u32(0).u64(0))
            .get());
}

TEST_F(vk_payload, arrays_of_structures_stand_before_what_they_lead_to)
{
    make_device();
    const auto handle = [](uint64_t value) { return reinterpret_cast<VkSemaphore>(value); };
    const VkSemaphore semaphores[] = {handle(0x11), handle(0x22), handle(0x33)};
    const VkPipelineStageFlags stages[] = {5, 6};
    const VkCommandBuffer commands = make_command_buffer();
    const VkSubmitInfo submits[] = {
        {VK_STRUCTURE_TYPE_SUBMIT_INFO, nullptr, 2, semaphores, stages, 1, &commands, 0, nullptr},
        {VK_STRUCTURE_TYPE_SUBMIT_INFO, nullptr, 0, nullptr, nullptr, 0, nullptr, 1, semaphores + 2}};
    device->replies = {value_and_release(bytes{}.i32(VK_ERROR_OUT_OF_DEVICE_MEMORY))};
    EXPECT_EQ(VK(vkQueueSubmit)(queue, 2, submits, VkFence{}), VK_ERROR_OUT_OF_DEVICE_MEMORY);
    EXPECT_EQ(only_message(), message(458, bytes{}
                                               .address(queue)
                                               .u32(2)
                                               .address(submits)
                                               .u64(0)
                                               .raw(submits, sizeof submits)
                                               .u64(0x11)
                                               .u64(0x22)
                                               .u32(5)
                                               .u32(6)
                                               .address(commands)
                                               .u64(0x33))
                                  .get());
    const float blend[] = {1, 2, 3, 4};
    VK(vkCmdSetBlendConstants)(commands, blend);
    EXPECT_EQ(only_message(),
              message(538, bytes{}.address(commands).address(blend).f32(1).f32(2).f32(3).f32(4)).get());
    const char constants[] = "abcd";
    VK(vkCmdPushConstants)(commands, VkPipelineLayout{}, 1, 8, 4, constants);
    EXPECT_EQ(
        only_message(),
        message(572, bytes{}.address(commands).u64(0).u32(1).u32(8).u32(4).address(constants).raw("abcd", 4))
            .get());
}

TEST_F(vk_payload, memory_is_mapped_in_a_block_of_the_targets)
{
    make_device();
    VkMemoryAllocateInfo info{VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO, nullptr, 10000, 3};
    VkDeviceMemory memory{};
    ASSERT_EQ(VK(vkAllocateMemory)(vulkan, &info, nullptr, &memory), VK_SUCCESS);
    device->sent.clear();
    void* data = nullptr;
    ASSERT_EQ(VK(vkMapMemory)(vulkan, memory, 128, VK_WHOLE_SIZE, 0, &data), VK_SUCCESS);
    EXPECT_EQ(only_message(), message(463, bytes{}
                                               .address(vulkan)
                                               .u64(number(memory))
                                               .u64(128)
                                               .u64(VK_WHOLE_SIZE)
                                               .u32(0)
                                               .address(&data)
                                               .address(data))
                                  .get());
    EXPECT_EQ(reinterpret_cast<uintptr_t>(data) % 4096, 128u) << "as far behind an alignment as the offset";
    std::memset(data, 1, 10000 - 128);
    VK(vkUnmapMemory)(vulkan, memory);
    EXPECT_EQ(only_message(), message(464, bytes{}.address(vulkan).u64(number(memory))).get());
    device->replies = {value_and_release(bytes{}.i32(VK_ERROR_MEMORY_MAP_FAILED))};
    void* refused = &data;
    EXPECT_EQ(VK(vkMapMemory)(vulkan, memory, 0, 16, 0, &refused), VK_ERROR_MEMORY_MAP_FAILED);
    EXPECT_EQ(refused, &data);
    device->sent.clear();
    VK(vkFreeMemory)(vulkan, memory, nullptr);
    VK(vkFreeMemory)(vulkan, VkDeviceMemory{}, nullptr);
    EXPECT_EQ(only_message(), message(462, bytes{}.address(vulkan).u64(number(memory)).u64(0)).get());
}

TEST_F(vk_payload, what_stays_as_it_is_is_asked_once)
{
    make_device();
    VkPhysicalDeviceProperties properties{};
    device->on_message = [](const std::vector<uint8_t>& message) {
        if (type_of(message) == 446)
            at<VkPhysicalDeviceProperties>(message, 28)->apiVersion = VK_MAKE_API_VERSION(0, 1, 3, 239);
    };
    VK(vkGetPhysicalDeviceProperties)(physical_device, &properties);
    VK(vkGetPhysicalDeviceProperties)(physical_device, &properties);
    EXPECT_EQ(properties.apiVersion, VK_MAKE_API_VERSION(0, 1, 0, 239));
    VkQueue again = nullptr;
    VK(vkGetDeviceQueue)(vulkan, 1, 0, &again);
    EXPECT_EQ(again, queue);
    EXPECT_EQ(device->sent.size(), 1u);
}

TEST_F(vk_payload, a_failed_call_leaves_no_handle_and_a_lost_device_is_told)
{
    make_device();
    auto info = typed<VkFenceCreateInfo>(VK_STRUCTURE_TYPE_FENCE_CREATE_INFO);
    VkFence one{}, other{};
    ASSERT_EQ(VK(vkCreateFence)(vulkan, &info, nullptr, &one), VK_SUCCESS);
    ASSERT_EQ(VK(vkCreateFence)(vulkan, &info, nullptr, &other), VK_SUCCESS);
    EXPECT_NE(one, other);
    device->replies = {value_and_release(bytes{}.i32(VK_ERROR_OUT_OF_HOST_MEMORY))};
    EXPECT_EQ(VK(vkCreateFence)(vulkan, &info, nullptr, &one), VK_ERROR_OUT_OF_HOST_MEMORY);
    EXPECT_EQ(one, VkFence{});
    device->gone = true;
    capture();
    EXPECT_EQ(VK(vkCreateFence)(vulkan, &info, nullptr, &one), VK_ERROR_DEVICE_LOST);
    EXPECT_EQ(VK(vkQueueWaitIdle)(queue), VK_ERROR_DEVICE_LOST);
    captured();
}

TEST_F(vk_payload, a_wait_goes_out_in_pieces)
{
    make_device();
    const VkFence fence = reinterpret_cast<VkFence>(uintptr_t{9});
    const bytes timeout = value_and_release(bytes{}.i32(VK_TIMEOUT));
    device->replies = {timeout, timeout, release()};
    EXPECT_EQ(VK(vkWaitForFences)(vulkan, 1, &fence, VK_TRUE, UINT64_MAX), VK_SUCCESS);
    ASSERT_EQ(device->sent.size(), 3u);
    EXPECT_EQ(
        device->sent[0],
        message(479, bytes{}.address(vulkan).u32(1).address(&fence).u32(1).u64(10'000'000).u64(9)).get());
    device->sent.clear();
    device->replies = {timeout};
    EXPECT_EQ(VK(vkWaitForFences)(vulkan, 1, &fence, VK_TRUE, 0), VK_TIMEOUT);
    EXPECT_EQ(only_message().size(), 52u + 8);
}

class vk_batch : public vk_test
{
protected:
    void SetUp() override
    {
        vk_test::SetUp();
        use_batching();
        make_device();
        commands = make_command_buffer();
    }
    static bytes draw(VkCommandBuffer to, uint32_t vertices)
    {
        return bytes{}.address(to).u32(vertices).u32(1).u32(0).u32(0);
    }
    VkCommandBuffer commands = nullptr;
};

TEST_F(vk_batch, commands_and_results_that_can_wait_go_with_the_next_that_counts)
{
    VK(vkCmdDraw)(commands, 3, 1, 0, 0);
    EXPECT_EQ(VK(vkEndCommandBuffer)(commands), VK_SUCCESS);
    EXPECT_TRUE(device->sent.empty());
    device->replies = {value_and_release(bytes{}.i32(VK_ERROR_OUT_OF_HOST_MEMORY))};
    EXPECT_EQ(VK(vkDeviceWaitIdle)(vulkan), VK_ERROR_OUT_OF_HOST_MEMORY) << "whichever of them has failed";
    EXPECT_EQ(only_message(), batch(3, message(546, draw(commands, 3))
                                           .add(message(531, bytes{}.address(commands)))
                                           .add(message(460, bytes{}.address(vulkan))))
                                  .get());
}

TEST_F(vk_batch, threads_that_hand_an_object_over_keep_its_order)
{
    std::thread{[this] { VK(vkCmdDraw)(commands, 3, 1, 0, 0); }}.join();
    VK(vkCmdDraw)(commands, 4, 1, 0, 0);
    EXPECT_EQ(VK(vkDeviceWaitIdle)(vulkan), VK_SUCCESS);
    // All of them are the sender's: its worker runs them and serves what they ask for.
    EXPECT_EQ(only_message(), batch(3, message(546, draw(commands, 3))
                                           .add(message(546, draw(commands, 4)))
                                           .add(message(460, bytes{}.address(vulkan))))
                                  .get());
}

TEST_F(vk_batch, a_full_batch_goes_out_and_a_long_message_goes_alone)
{
    size_t calls = 0;
    while (device->sent.empty()) {
        VK(vkCmdDraw)(commands, 3, 1, 0, 0);
        ++calls;
    }
    EXPECT_EQ(load<uint32_t>(device->sent[0], 20), calls - 1);
    device->sent.clear();
    const std::vector<VkViewport> viewports(60000, {1, 2, 3, 4, 0, 1});
    VK(vkCmdSetViewport)(commands, 0, 60000, viewports.data());
    ASSERT_EQ(device->sent.size(), 2u);
    EXPECT_EQ(device->sent[0], batch(1, message(546, draw(commands, 3))).get());
    EXPECT_EQ(device->sent[1], batch(1, message(534, bytes{}
                                                         .address(commands)
                                                         .u32(0)
                                                         .u32(60000)
                                                         .address(viewports.data())
                                                         .raw(viewports.data(), 1440000)))
                                   .get());
    device->sent.clear();
    const std::vector<VkViewport> too_many(200000);
    capture();
    VK(vkCmdSetViewport)(commands, 0, 200000, too_many.data());
    EXPECT_NE(captured().find("longer than the library takes"), std::string::npos);
    EXPECT_TRUE(device->sent.empty());
}

TEST_F(vk_batch, a_handle_that_may_be_given_out_again_is_freed_at_once)
{
    VK(vkCmdDraw)(commands, 3, 1, 0, 0);
    VK(vkFreeCommandBuffers)(vulkan, pool, 1, &commands);
    const auto sent = only_message();
    EXPECT_EQ(load<uint32_t>(sent, 20), 2u);
    EXPECT_EQ(load<uint32_t>(sent, 24 + 44 + 4), 529u);
}

} // namespace
