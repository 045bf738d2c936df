// Queues that still have something to do: nothing waits for ever, and nothing ends that they use.

#include "handlers/vk/vk_fixture.h"

#include <algorithm>

namespace {
constexpr const char* released = "a queue waits for an event that nothing sets, it is set.\n";
constexpr uint64_t one_second = 1'000'000'000;

class vk_progress : public vk_fixture
{
protected:
    uint64_t event = target_of<VkEvent>(), fence = target_of<VkFence>(), buffer = target_of<VkBuffer>();
    int sets_needed = 0; // of the event, until the host has done

    void SetUp() override
    {
        vk_fixture::SetUp();
        device->commands[as<VkCommandBuffer>(commands_handle)].serial = 1000;
        fake_vulkan::hook<&vk::vkSetEvent>([this](auto...) {
            --sets_needed;
            return VK_SUCCESS;
        });
        fake_vulkan::hook<&vk::vkWaitForFences>(
            [this](auto...) { return sets_needed > 0 ? VK_TIMEOUT : VK_SUCCESS; });
    }
    message submit(uint64_t with_fence = 0)
    {
        VkSubmitInfo info{};
        info.commandBufferCount = 1;
        info.pCommandBuffers = as<const VkCommandBuffer*>(memory);
        message call = target.make(in::vk_queue_submit).u64(queue_handle).u32(1).u64(memory).u64(with_fence);
        return put(call, info).u64(commands_handle);
    }
    message on_device(uint32_t type, uint64_t handle)
    {
        return target.make(type).u64(device_handle).u64(handle).u64(0);
    }
    void record_wait()
    {
        message wait = command(in::vk_cmd_wait_events).u32(1).u64(memory).u32(1).u32(1);
        target.run(wait.u32(0).u64(0).u32(0).u64(0).u32(0).u64(0).u64(event));
    }
    void record_fill() { target.run(command(in::vk_cmd_fill_buffer).u64(buffer).u64(0).u64(16).u32(0)); }
    /// Has the queue wait for the event, sets it only if a call does that, and tells how often it was set.
    size_t sets_in(const message& call, int needed = 1)
    {
        target.run(submit());
        sets_needed = needed;
        fake_vulkan::clear();
        const std::string said = printed(call);
        const size_t sets = fake_vulkan::count("vkSetEvent");
        EXPECT_EQ(library::occurrences(said, released), sets ? 1u : 0u) << said;
        return sets;
    }
    /// Whether the call waits for the device, before anything else of the host's.
    bool waits(const message& call)
    {
        const texts calls = host_calls(call);
        return std::find(calls.begin(), calls.end(), "vkDeviceWaitIdle(VkDevice#1)") != calls.end();
    }
};

TEST_F(vk_progress, EventsThatKeepAQueueAreSetByWhoWaitsForIt)
{
    record_wait();
    EXPECT_EQ(sets_in(target.make(in::vk_queue_wait_idle).u64(queue_handle)), 1u);
    EXPECT_EQ(sets_in(target.make(in::vk_queue_wait_idle).u64(queue_handle), 0), 0u) << "set in time";
    target.run(target.make(in::vk_reset_event).u64(device_handle).u64(event));
    EXPECT_EQ(sets_in(target.make(in::vk_device_wait_idle).u64(device_handle), 3), 3u) << "it is reset again";
    EXPECT_EQ(sets_in(target.make(in::vk_queue_wait_idle).u64(queue_handle), 5), 0u)
        << "it counts as set: nobody awaits it";
    const message results = target.make(in::vk_get_query_pool_results)
                                .u64(device_handle)
                                .u64(target_of<VkQueryPool>())
                                .u32(0)
                                .u32(1)
                                .u64(8)
                                .u64(memory)
                                .u64(8);
    target.run(target.make(in::vk_reset_event).u64(device_handle).u64(event));
    EXPECT_EQ(sets_in(message(results).u32(0)), 0u);
    EXPECT_EQ(sets_in(message(results).u32(VK_QUERY_RESULT_WAIT_BIT)), 1u);
    target.run(target.make(in::vk_reset_event).u64(device_handle).u64(event));
    target.run(submit());
    device->coherent_memory.insert(as<VkDeviceMemory>(target_of<VkDeviceMemory>()));
    sets_needed = 1;
    const std::string said = printed(submit());
    EXPECT_EQ(library::occurrences(said, released), 1u) << "by the next submission, which lasts";
    device->coherent_memory.clear();
    target.run(target.make(in::vk_reset_event).u64(device_handle).u64(event));
    EXPECT_EQ(sets_in(on_device(in::vk_destroy_event, event)), 1u);
    EXPECT_EQ(fake_vulkan::texts().back().rfind("vkDestroyEvent", 0), 0u) << "and only then it ends";
}

TEST_F(vk_progress, ADeviceEndsWhateverItsQueuesWaitFor)
{
    record_wait();
    EXPECT_EQ(sets_in(target.make(in::vk_destroy_device).u64(device_handle).u64(0)), 1u);
    EXPECT_EQ(fake_vulkan::count("vkDestroyDevice"), 1u);
}

TEST_F(vk_progress, FencesThatCannotComeAreWaitedForAMoment)
{
    uint64_t waited = 0;
    fake_vulkan::hook<&vk::vkWaitForFences>([&](auto, auto, auto, auto, uint64_t timeout) {
        waited = timeout;
        return VK_TIMEOUT;
    });
    auto wait = [&](uint64_t timeout) {
        message call = target.make(in::vk_wait_for_fences).u64(device_handle).u32(1).u64(memory).u32(1);
        EXPECT_EQ(result_of_call(call.u64(timeout).u64(fence)), VK_TIMEOUT);
        return waited;
    };
    EXPECT_EQ(wait(UINT64_MAX), one_second) << "it was never submitted";
    EXPECT_EQ(wait(5), 5u);
    target.run(submit(fence));
    EXPECT_EQ(wait(UINT64_MAX), UINT64_MAX);
    target.run(target.make(in::vk_reset_fences).u64(device_handle).u32(1).u64(memory).u64(fence));
    EXPECT_EQ(wait(UINT64_MAX), one_second);
    record_wait();
    target.run(submit(fence));
    EXPECT_EQ(wait(UINT64_MAX), one_second) << "it is behind an event";
}

TEST_F(vk_progress, WhatASubmissionUsesEndsBehindIt)
{
    record_fill();
    target.run(submit(fence));
    EXPECT_FALSE(waits(on_device(in::vk_destroy_sampler, target_of<VkSampler>()))) << "it doesn't use that";
    EXPECT_TRUE(waits(on_device(in::vk_destroy_fence, fence)));
    EXPECT_FALSE(waits(on_device(in::vk_destroy_buffer, buffer))) << "all has been waited for";

    add<VkFence>("VkFence", 2);
    fence = target_of<VkFence>(2);
    buffer = target_of<VkBuffer>(2);
    add<VkBuffer>("VkBuffer", 2);
    VkCommandBufferBeginInfo info{};
    message begin = target.make(in::vk_begin_command_buffer).u64(commands_handle).u64(memory);
    put(begin, info);
    target.run(begin);
    record_fill();
    for (const message& end : {begin, on_device(in::vk_destroy_buffer, buffer)}) {
        record_fill();
        target.run(submit(fence));
        EXPECT_TRUE(waits(end));
        target.run(begin);
    }
    add<VkBuffer>("VkBuffer", 2);
    record_fill();
    target.run(submit(fence));
    target.run(target.make(in::vk_get_fence_status).u64(device_handle).u64(fence));
    EXPECT_FALSE(waits(on_device(in::vk_destroy_buffer, buffer))) << "its fence is signalled";
}

TEST_F(vk_progress, WhatDescriptorsShowStaysUntilNoneShowsIt)
{
    auto& set = entry<VkDescriptorSet>();
    set.bindings = std::make_shared<std::map<uint32_t, vk_binding>>(
        std::map<uint32_t, vk_binding>{{0, {2, false, VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER}}});
    set.written.resize(2);
    entry<VkImageView>().target_image = as<VkImage>(target_of<VkImage>());
    entry<VkImage>().target_memory = as<VkDeviceMemory>(target_of<VkDeviceMemory>());
    add<VkImageView>("VkImageView", 2);
    add<VkSampler>("VkSampler", 2);
    auto write = [&](uint32_t element, uint64_t number) {
        VkWriteDescriptorSet write{};
        write.dstSet = as<VkDescriptorSet>(target_of<VkDescriptorSet>());
        write.dstArrayElement = element;
        write.descriptorCount = 1;
        write.descriptorType = VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER;
        write.pImageInfo = as<const VkDescriptorImageInfo*>(memory);
        const VkDescriptorImageInfo info{as<VkSampler>(target_of<VkSampler>(number)),
                                         as<VkImageView>(target_of<VkImageView>(number)),
                                         VK_IMAGE_LAYOUT_GENERAL};
        message call =
            target.make(in::vk_update_descriptor_sets).u64(device_handle).u32(1).u64(memory).u32(0).u64(0);
        return host_calls(put(put(call, write), info));
    };
    EXPECT_EQ(write(0, 1).size(), 1u);
    VkCopyDescriptorSet copy{};
    copy.srcSet = copy.dstSet = as<VkDescriptorSet>(target_of<VkDescriptorSet>());
    copy.dstArrayElement = copy.descriptorCount = 1;
    message copies =
        target.make(in::vk_update_descriptor_sets).u64(device_handle).u32(0).u64(0).u32(1).u64(memory);
    EXPECT_EQ(host_calls(put(copies, copy)).size(), 1u);
    for (auto [type, handle] : {std::pair{in::vk_destroy_image_view, target_of<VkImageView>()},
                                {in::vk_destroy_image, target_of<VkImage>()},
                                {in::vk_free_memory, target_of<VkDeviceMemory>()},
                                {in::vk_destroy_sampler, target_of<VkSampler>()}})
        EXPECT_EQ(host_calls(on_device(type, handle)), texts{});
    EXPECT_EQ(write(1, 1), texts{}) << "the target has them no more";
    EXPECT_EQ(write(0, 2).size(), 1u) << "the other descriptor still shows them";
    EXPECT_EQ(write(1, 2).size(), 5u) << "the last has gone";
    for (const char* ended : {"vkDestroyImageView", "vkDestroyImage", "vkFreeMemory", "vkDestroySampler"})
        EXPECT_EQ(fake_vulkan::count(ended), 1u) << ended;
    EXPECT_EQ(host_calls(on_device(in::vk_destroy_sampler, target_of<VkSampler>(2))), texts{});
    EXPECT_EQ(host_calls(on_device(in::vk_reset_descriptor_pool, target_of<VkDescriptorPool>())).size(), 1u)
        << "the set is of another pool";
    set.target_pool = as<VkDescriptorPool>(target_of<VkDescriptorPool>());
    EXPECT_EQ(host_calls(on_device(in::vk_destroy_descriptor_pool, target_of<VkDescriptorPool>())).size(),
              2u);
    EXPECT_EQ(host_calls(on_device(in::vk_destroy_image_view, target_of<VkImageView>(2))).size(), 1u);
}

TEST_F(vk_progress, SamplersOfALayoutStayWithIt)
{
    VkDescriptorSetLayoutBinding binding{};
    binding.descriptorCount = 1;
    binding.pImmutableSamplers = as<const VkSampler*>(memory);
    VkDescriptorSetLayoutCreateInfo info{};
    info.bindingCount = 1;
    info.pBindings = as<const VkDescriptorSetLayoutBinding*>(memory);
    message call = target.make(in::vk_create_descriptor_set_layout).u64(device_handle).u64(memory).u64(0);
    put(put(call.u64(memory), info), binding).u64(target_of<VkSampler>()).u64(0x71);
    EXPECT_EQ(host_calls(call).size(), 1u);
    EXPECT_EQ(host_calls(on_device(in::vk_destroy_sampler, target_of<VkSampler>())), texts{});
    EXPECT_EQ(host_calls(on_device(in::vk_destroy_descriptor_set_layout, 0x71)).size(), 2u);
}
} // namespace
