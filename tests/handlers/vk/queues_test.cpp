// Submission, fences and semaphores, and command buffers as objects.

#include "handlers/vk/vk_fixture.h"

namespace {
class vk_queues : public vk_fixture
{
protected:
    uint64_t fence = target_of<VkFence>(), semaphore = target_of<VkSemaphore>();

    /// One submission: waits, a stage for each, command buffers, signals.
    message submit(std::vector<uint64_t> waits, std::vector<uint32_t> stages, std::vector<uint64_t> commands,
                   std::vector<uint64_t> signals, uint64_t with_fence)
    {
        VkSubmitInfo info{};
        info.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO;
        info.waitSemaphoreCount = static_cast<uint32_t>(waits.size());
        info.pWaitSemaphores = waits.empty() ? nullptr : as<const VkSemaphore*>(memory);
        info.pWaitDstStageMask = stages.empty() ? nullptr : as<const VkPipelineStageFlags*>(memory);
        info.commandBufferCount = static_cast<uint32_t>(commands.size());
        info.pCommandBuffers = as<const VkCommandBuffer*>(memory);
        info.signalSemaphoreCount = static_cast<uint32_t>(signals.size());
        info.pSignalSemaphores = signals.empty() ? nullptr : as<const VkSemaphore*>(memory);
        message call = target.make(in::vk_queue_submit).u64(queue_handle).u32(1).u64(memory).u64(with_fence);
        put(call, info).raw(waits.data(), waits.size() * 8).raw(stages.data(), stages.size() * 4);
        return call.raw(commands.data(), commands.size() * 8).raw(signals.data(), signals.size() * 8);
    }
    message wait_for(std::vector<uint64_t> fences)
    {
        return target.make(in::vk_wait_for_fences)
            .u64(device_handle)
            .u32(static_cast<uint32_t>(fences.size()))
            .u64(memory)
            .u32(1)
            .u64(500)
            .raw(fences.data(), fences.size() * 8);
    }
    message status() { return target.make(in::vk_get_fence_status).u64(device_handle).u64(fence); }
};

TEST_F(vk_queues, SubmissionNamesTheHostsObjects)
{
    add<VkSemaphore>("VkSemaphore", 2);
    for (uint64_t number : {1, 2})
        entry<VkSemaphore>(number).pending = true;
    std::vector<std::string> names;
    fake_vulkan::hook<&vk::vkQueueSubmit>([&](VkQueue, uint32_t n, const VkSubmitInfo* info, VkFence) {
        auto note = [&](auto handle) {
            names.push_back(fake_vulkan::name_of(reinterpret_cast<uint64_t>(handle)));
        };
        EXPECT_EQ(n, 1u);
        for (uint32_t i = 0; i < info->waitSemaphoreCount; ++i) {
            note(info->pWaitSemaphores[i]);
            names.push_back(std::to_string(info->pWaitDstStageMask[i]));
        }
        for (uint32_t i = 0; i < info->commandBufferCount; ++i)
            note(info->pCommandBuffers[i]);
        for (uint32_t i = 0; i < info->signalSemaphoreCount; ++i)
            note(info->pSignalSemaphores[i]);
        return VK_SUCCESS;
    });
    auto call =
        submit({semaphore, target_of<VkSemaphore>(2)}, {16, 32}, {commands_handle}, {semaphore}, fence);
    EXPECT_EQ(host_calls(call), texts{"vkQueueSubmit(VkQueue#1, 1, pointer, VkFence#1)"});
    EXPECT_EQ(names,
              (texts{"VkSemaphore#1", "16", "VkSemaphore#2", "32", "VkCommandBuffer#1", "VkSemaphore#1"}));

    // What the system has signalled is left out, with its stage.
    names.clear();
    entry<VkSemaphore>().signalled_by_system = true;
    entry<VkSemaphore>(2).pending = true;
    entry<VkFence>().signalled_by_system = true;
    EXPECT_EQ(host_calls(call), texts{"vkQueueSubmit(VkQueue#1, 1, pointer, null)"});
    EXPECT_EQ(names, (texts{"VkSemaphore#2", "32", "VkCommandBuffer#1"}));
}

TEST_F(vk_queues, SubmissionOfWhatIsNotKnown)
{
    std::string said;
    auto submitted = [&](const message& call) {
        fake_vulkan::clear();
        int result = 0;
        said = library::printed_by([&] { result = result_of_call(call); });
        EXPECT_EQ(result, fake_vulkan::count("vkQueueSubmit") ? 0 : -1);
        return fake_vulkan::count("vkQueueSubmit");
    };
    EXPECT_EQ(submitted(submit({}, {}, {commands_handle}, {}, unknown_handle)), 0u);
    EXPECT_EQ(library::occurrences(
                  said, "Could not get a host<=>target vulkan fence mapping for target fence [0xbad] \n"),
              1u);
    EXPECT_EQ(submitted(submit({}, {}, {unknown_handle}, {}, 0)), 0u);
    EXPECT_EQ(submitted(submit({unknown_handle}, {1}, {commands_handle}, {}, 0)), 1u);
    EXPECT_EQ(library::occurrences(said, "vk_vkQueueSubmit: could not accomplish a host<=>target mapping for "
                                         "argument pSubmits[0]\n"),
              1u);
    EXPECT_EQ(result_of_call(target.make(in::vk_queue_wait_idle).u64(unknown_handle)), -1);
}

TEST_F(vk_queues, CoherentMemoryIsCarriedOverAroundASubmission)
{
    std::vector<uint8_t> mapping(16);
    auto& data = entry<VkDeviceMemory>();
    data.target_address = target_ptr{memory + 0x100};
    data.host_pointer = mapping.data();
    data.map_size = mapping.size();
    device->coherent_memory.insert(as<VkDeviceMemory>(target_of<VkDeviceMemory>()));
    target.memory[0x105] = 'x';
    fake_vulkan::hook<&vk::vkQueueSubmit>([&](auto...) {
        EXPECT_EQ(mapping[5], 'x');
        return VK_ERROR_DEVICE_LOST;
    });
    fake_vulkan::hook<&vk::vkQueueWaitIdle>([&](auto) {
        mapping[6] = 'y';
        return VK_ERROR_DEVICE_LOST;
    });
    std::string said = printed(submit({}, {}, {commands_handle}, {}, 0));
    EXPECT_EQ(target.memory[0x106], 'y');
    EXPECT_EQ(library::occurrences(said, "ERROR [ZELVAR] vkQueueSubmit on host returns -4\n"), 1u);
    EXPECT_EQ(library::occurrences(said, "ERROR [ZELVAR] vkQueueWaitIdle on host returns -4\n"), 1u);
    data.host_pointer = nullptr;
    data.target_address = {};
    printed(submit({}, {}, {commands_handle}, {}, 0));
    EXPECT_EQ(fake_vulkan::count("vkQueueWaitIdle"), 2u) << "it waits with nothing mapped too";
}

TEST_F(vk_queues, WhatTheTargetWritesDuringASubmissionStays)
{
    // Lines of 64 bytes, the last one cut short; the host writes the even ones of some pages.
    std::vector<uint8_t> mapping(5 * 4096 + 10);
    auto& data = entry<VkDeviceMemory>();
    data.target_address = target_ptr{memory};
    data.host_pointer = mapping.data();
    data.map_size = mapping.size();
    ASSERT_LE(mapping.size(), target.memory.size());
    device->coherent_memory.insert(as<VkDeviceMemory>(target_of<VkDeviceMemory>()));
    const auto is_of_host = [&](size_t at) {
        const size_t page = at / 4096;
        return (page == 1 || page == 3 || page == 5) && at / 64 % 2 == 0;
    };
    for (const char round : {'a', 'b'}) {
        fake_vulkan::hook<&vk::vkQueueSubmit>([&](auto...) {
            for (size_t at = 0; at < mapping.size(); ++at) {
                if (is_of_host(at))
                    mapping[at] = static_cast<uint8_t>(round);
                else // another thread of the target
                    target.memory[at] = static_cast<uint8_t>(at * 7 + static_cast<size_t>(round));
            }
            return VK_SUCCESS;
        });
        printed(submit({}, {}, {commands_handle}, {}, 0));
        for (size_t at = 0; at < mapping.size(); ++at) {
            const auto expected = static_cast<uint8_t>(
                is_of_host(at) ? round : static_cast<char>(at * 7 + static_cast<size_t>(round)));
            ASSERT_EQ(target.memory[at], expected) << at << " in round " << round;
        }
    }
}

TEST_F(vk_queues, FencesOfTheSystemReadAsSignalled)
{
    EXPECT_EQ(host_calls(wait_for({fence})), texts{"vkWaitForFences(VkDevice#1, 1, pointer, 1, 500)"});
    fake_vulkan::returns<&vk::vkGetFenceStatus>(VK_NOT_READY);
    std::string said = library::printed_by([&] { EXPECT_EQ(result_of_call(status()), VK_NOT_READY); });
    EXPECT_EQ(said, "");

    entry<VkFence>().signalled_by_system = true;
    EXPECT_EQ(host_calls(wait_for({fence})), texts{});
    EXPECT_EQ(result_of_call(wait_for({fence})), 0);
    EXPECT_EQ(result_of_call(status()), 0);
    EXPECT_EQ(result_of_call(wait_for({})), 0);
    EXPECT_EQ(result_of_call(wait_for({fence, unknown_handle})), -1);
    EXPECT_EQ(result_of_call(wait_for({0})), -1);
    EXPECT_EQ(host_calls(target.make(in::vk_reset_fences).u64(device_handle).u32(1).u64(memory).u64(fence)),
              texts{"vkResetFences(VkDevice#1, 1, pointer)"});
    EXPECT_TRUE(entry<VkFence>().signalled_by_system);
}

TEST_F(vk_queues, FenceStatusMayBeNotReadyWhereTheTargetSaysSo)
{
    library::set_target_gpu(TARGET_GPU_DUMMY);
    zelvar_settings.checkErrorCode = true;
    fake_vulkan::returns<&vk::vkGetFenceStatus>(VK_NOT_READY);
    auto said = [&](int on_target) {
        message call = target.make(in::vk_get_fence_status).i32(on_target);
        return printed(call.u64(device_handle).u64(fence));
    };
    EXPECT_EQ(said(VK_NOT_READY), "");
    EXPECT_EQ(library::occurrences(said(VK_SUCCESS), "Inconsistent result detected. host=1, target=0\n"), 1u);
}

TEST_F(vk_queues, CommandBuffersLiveInTheirPool)
{
    VkCommandBufferAllocateInfo info{};
    info.commandPool = as<VkCommandPool>(target_of<VkCommandPool>());
    info.commandBufferCount = 2;
    message call = target.make(in::vk_allocate_command_buffers).u64(device_handle).u64(memory).u64(memory);
    put(call, info).u64(0x61).u64(0x62);
    EXPECT_EQ(result_of_call(call), 0);
    auto end = [&](uint64_t commands) {
        return host_calls(target.make(in::vk_end_command_buffer).u64(commands));
    };
    EXPECT_EQ(end(0x61), texts{"vkEndCommandBuffer(VkCommandBuffer#2)"});
    const message fill =
        target.make(in::vk_cmd_fill_buffer).u64(0x61).u64(target_of<VkBuffer>()).u64(0).u64(16).u32(0);
    EXPECT_EQ(host_calls(fill), texts{}) << "it hasn't begun";
    message begin = target.make(in::vk_begin_command_buffer).u64(0x61).u64(memory);
    target.run(put(begin, VkCommandBufferBeginInfo{}));
    EXPECT_EQ(host_calls(fill).size(), 1u);
    target.run(target.make(in::vk_reset_command_buffer).u64(0x61).u32(0));
    EXPECT_EQ(host_calls(fill), texts{});
    add<VkCommandPool>("VkCommandPool", 2);
    auto free = [&](uint64_t pool) {
        message call = target.make(in::vk_free_command_buffers).u64(device_handle).u64(pool);
        return host_calls(call.u32(3).u64(memory).u64(0).u64(0x61).u64(0x61));
    };
    EXPECT_EQ(free(target_of<VkCommandPool>(2)), texts{}) << "they are of another pool";
    EXPECT_EQ(free(target_of<VkCommandPool>()),
              texts{"vkFreeCommandBuffers(VkDevice#1, VkCommandPool#2, 1, pointer)"});
    EXPECT_EQ(end(0x61), texts{});
    EXPECT_EQ(end(0x62), texts{"vkEndCommandBuffer(VkCommandBuffer#3)"});
    target.run(
        target.make(in::vk_destroy_command_pool).u64(device_handle).u64(target_of<VkCommandPool>()).u64(0));
    EXPECT_EQ(end(0x62), texts{}) << "the host's has ended with its pool";
    EXPECT_EQ(end(commands_handle), texts{"vkEndCommandBuffer(VkCommandBuffer#1)"});
}
} // namespace
