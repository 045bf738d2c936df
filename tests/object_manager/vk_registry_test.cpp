// Vulkan objects of target processes: which host object stands for which handle.

#include "object_manager/vk_command_memory.h"
#include "object_manager/vk_registry.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"
#include "support/library.h"
#include "wire/wire.h"
#include "zelvar/zelvar.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {
constexpr pid_t pid = 4;

template <class H>
H as(uint64_t number)
{
    return reinterpret_cast<H>(number);
}

class vk_registry_of_a_process : public testing::Test
{
protected:
    std::shared_ptr<vk_device_record> device = std::make_shared<vk_device_record>();

    void SetUp() override
    {
        library::start();
        sidechannel_set_log_level(3); // warnings too
        zelvar_object_manager_ensure_process_record_vk(pid);
        device->device = as<VkDevice>(0xd);
        device->target_physical_device = as<VkPhysicalDevice>(0x1f);
        zelvar_object_manager_vk_add_instance(pid, as<VkInstance>(0x10), as<VkInstance>(0x1), VK_NULL_HANDLE);
        zelvar_object_manager_vk_add_physical_device(pid, as<VkInstance>(0x10), as<VkPhysicalDevice>(0x1f),
                                                     as<VkPhysicalDevice>(0xf));
        zelvar_object_manager_vk_add_device_data(pid, as<VkDevice>(0x1d), device);
    }
    uint64_t live_vulkan_objects()
    {
        const char* name = nullptr;
        uint64_t count = 0;
        for (uint32_t kind = 0; zelvar_live_objects(kind, &name, &count); ++kind)
            if (std::string{name} == "Vulkan objects")
                return count;
        return ~0ull;
    }
};
} // namespace

TEST_F(vk_registry_of_a_process, ObjectsOfADevice)
{
    auto* data = zelvar_object_manager_vk_lock_host_device(pid, as<VkDevice>(0x1d));
    ASSERT_EQ(data, device.get());
    VkBuffer host = as<VkBuffer>(1);
    EXPECT_TRUE(zelvar_object_manager_vk_add_buffer(data, as<VkBuffer>(0x20), as<VkBuffer>(0x2)));
    EXPECT_TRUE(zelvar_object_manager_vk_get_host_buffer(data, as<VkBuffer>(0x20), &host));
    EXPECT_EQ(host, as<VkBuffer>(0x2));
    // Null is null, but has no data.
    EXPECT_TRUE(zelvar_object_manager_vk_get_host_buffer(data, VK_NULL_HANDLE, &host));
    EXPECT_EQ(host, VkBuffer{});
    vk_entry_of<VkBuffer>* entry = nullptr;
    std::string printed = library::printed_by([&] {
        EXPECT_FALSE(zelvar_object_manager_vk_get_host_buffer_data(data, VK_NULL_HANDLE, &entry));
        host = as<VkBuffer>(1);
        EXPECT_FALSE(zelvar_object_manager_vk_get_host_buffer(data, as<VkBuffer>(0x21), &host));
        EXPECT_FALSE(zelvar_object_manager_vk_add_buffer(data, as<VkBuffer>(0x20), as<VkBuffer>(0x3)));
        zelvar_object_manager_vk_get_host_buffer_data(data, as<VkBuffer>(0x20), &entry);
    });
    EXPECT_EQ(printed, "WARN [ZELVAR] Can't find mapping for target buffer[(nil)], data desync ahead.\n"
                       "WARN [ZELVAR] Can't find mapping for target buffer[0x21], data desync ahead.\n"
                       "ERROR [ZELVAR] Target buffer[0x20] is already known.\n");
    EXPECT_EQ(host, VkBuffer{});
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(entry->host, as<VkBuffer>(0x2)); // refused means unchanged
    zelvar_object_manager_vk_unlock_host_device(data);
    EXPECT_EQ(live_vulkan_objects(), 4u);
    data = zelvar_object_manager_vk_lock_host_device(pid, as<VkDevice>(0x1d));
    EXPECT_EQ(live_vulkan_objects(), 3u) << "what is inside a device that nobody leaves isn't waited for";
    EXPECT_TRUE(zelvar_object_manager_vk_delete_buffer(data, as<VkBuffer>(0x20)));
    EXPECT_FALSE(zelvar_object_manager_vk_delete_buffer(data, as<VkBuffer>(0x20)));
    zelvar_object_manager_vk_unlock_host_device(data);
    zelvar_object_manager_vk_unlock_host_device(nullptr);
}

TEST_F(vk_registry_of_a_process, SemaphoresThatTheSystemSignalledAreDropped)
{
    for (uint64_t number : {0x20, 0x21, 0x22})
        zelvar_object_manager_vk_add_semaphore(device.get(), as<VkSemaphore>(number),
                                               as<VkSemaphore>(number - 0x10));
    device->semaphore.at(as<VkSemaphore>(0x21)).signalled_by_system = true;
    VkSemaphore semaphores[] = {as<VkSemaphore>(0x20), as<VkSemaphore>(0x21), VK_NULL_HANDLE,
                                as<VkSemaphore>(0x99), as<VkSemaphore>(0x22)};
    uint32_t count = 5;
    std::string printed = library::printed_by([&] {
        EXPECT_FALSE(zelvar_object_manager_vk_get_valid_semaphone(device.get(), &count, semaphores));
    });
    EXPECT_EQ(printed, "ERROR [ZELVAR] Can't find mapping for target semaphone [0x99], data desync ahead.\n");
    ASSERT_EQ(count, 3u);
    EXPECT_EQ(semaphores[0], as<VkSemaphore>(0x10));
    EXPECT_EQ(semaphores[1], VkSemaphore{});
    EXPECT_EQ(semaphores[2], as<VkSemaphore>(0x12));
    zelvar_object_manager_vk_add_fence(device.get(), as<VkFence>(0x30), as<VkFence>(0x3));
    device->fence.at(as<VkFence>(0x30)).signalled_by_system = true;
    VkFence fence = as<VkFence>(0x30);
    count = 1;
    EXPECT_TRUE(zelvar_object_manager_vk_get_valid_fence(device.get(), &count, &fence));
    EXPECT_EQ(count, 0u);
}

TEST_F(vk_registry_of_a_process, QueuesAndCommandBuffersLeadToTheirDevice)
{
    const VkCommandBuffer targets[] = {as<VkCommandBuffer>(0x30), as<VkCommandBuffer>(0x31)};
    VkCommandBuffer hosts[] = {as<VkCommandBuffer>(0x3), as<VkCommandBuffer>(0x4)};
    zelvar_object_manager_vk_add_queue(pid, as<VkDevice>(0x1d), as<VkQueue>(0x40), as<VkQueue>(0x5));
    zelvar_object_manager_vk_add_command_buffers(pid, as<VkDevice>(0x1d), targets, hosts, 2);
    VkQueue queue;
    VkCommandBuffer buffer;
    auto* data = zelvar_object_manager_vk_lock_host_device_with_queue(pid, as<VkQueue>(0x40), &queue);
    EXPECT_EQ(data, device.get());
    EXPECT_EQ(queue, as<VkQueue>(0x5));
    EXPECT_EQ(zelvar_object_manager_vk_lock_host_device_with_cmd_buffer(pid, targets[1], &buffer), data);
    EXPECT_EQ(buffer, as<VkCommandBuffer>(0x4));
    zelvar_object_manager_vk_unlock_host_device(data);
    zelvar_object_manager_vk_unlock_host_device(data);

    std::string printed = library::printed_by([&] {
        hosts[0] = as<VkCommandBuffer>(0x6);
        EXPECT_TRUE(zelvar_object_manager_vk_add_command_buffers(pid, as<VkDevice>(0x1d), targets, hosts, 1));
        // The same queue may be asked for again; another under its handle may not.
        EXPECT_TRUE(
            zelvar_object_manager_vk_add_queue(pid, as<VkDevice>(0x1d), as<VkQueue>(0x40), as<VkQueue>(0x5)));
        EXPECT_FALSE(
            zelvar_object_manager_vk_add_queue(pid, as<VkDevice>(0x1d), as<VkQueue>(0x40), as<VkQueue>(0x6)));
        EXPECT_EQ(zelvar_object_manager_vk_lock_host_device(pid, as<VkDevice>(0x2d)), nullptr);
        EXPECT_EQ(zelvar_object_manager_vk_lock_host_device(9, as<VkDevice>(0x1d)), nullptr);
    });
    EXPECT_EQ(printed, "ERROR [ZELVAR] Target command buffer [0x30] is already known, data desync ahead.\n"
                       "ERROR [ZELVAR] Target queue [0x40] is already known.\n"
                       "ERROR [ZELVAR] Can't find mapping for target device [0x2d], data desync ahead.\n"
                       "ERROR [ZELVAR] Could not find process data instance for process id [9]\n");
    zelvar_object_manager_vk_get_host_command_buffers(pid, targets, hosts, 2);
    EXPECT_EQ(hosts[0], as<VkCommandBuffer>(0x6));
    EXPECT_EQ(hosts[1], as<VkCommandBuffer>(0x4));
}

TEST_F(vk_registry_of_a_process, WhatABatchRemembersFollowsEveryChange)
{
    const VkCommandBuffer target = as<VkCommandBuffer>(0x30);
    VkCommandBuffer host = as<VkCommandBuffer>(0x3);
    const auto add = [&] {
        zelvar_object_manager_vk_add_command_buffers(pid, as<VkDevice>(0x1d), &target, &host, 1,
                                                     as<VkCommandPool>(0x50));
    };
    const auto found = [&](pid_t of) {
        VkCommandBuffer at = VK_NULL_HANDLE;
        auto* data = zelvar_object_manager_vk_lock_host_device_with_cmd_buffer(of, target, &at);
        EXPECT_EQ(data != nullptr, at != VK_NULL_HANDLE);
        EXPECT_EQ(critical_section_verify(device->lock), data == nullptr)
            << "remembered, and locked all the same";
        zelvar_object_manager_vk_unlock_host_device(data);
        return at;
    };
    zelvar_object_manager_vk_command_memory memory;
    const auto expect_found_twice = [&](VkCommandBuffer expected) {
        EXPECT_EQ(found(pid), expected);
        EXPECT_EQ(found(pid), expected);
    };
    add();
    expect_found_twice(as<VkCommandBuffer>(0x3));
    EXPECT_EQ(found(pid + 1), VkCommandBuffer{}) << "the handle is another process's too";
    host = as<VkCommandBuffer>(0x4);
    add();
    expect_found_twice(as<VkCommandBuffer>(0x4));
    zelvar_object_manager_vk_delete_command_buffers(pid, &target, 1);
    expect_found_twice(VK_NULL_HANDLE);
    add();
    expect_found_twice(as<VkCommandBuffer>(0x4));
    zelvar_object_manager_vk_delete_command_buffers_of_pool(pid, as<VkDevice>(0x1d), as<VkCommandPool>(0x50));
    expect_found_twice(VK_NULL_HANDLE);
    add();
    expect_found_twice(as<VkCommandBuffer>(0x4));
    zelvar_object_manager_vk_delete_device(pid, as<VkDevice>(0x1d));
    expect_found_twice(VK_NULL_HANDLE);
}

TEST_F(vk_registry_of_a_process, ABatchFollowsTheWidthOfItsTarget)
{
    constexpr tid_t tid = 6;
    std::shared_ptr<_zelvar_context_worker> worker;
    zelvar_object_manager_get_worker_for_target_tid_pid(pid, tid, wire::inbound::vk_cmd_draw, &worker);
    zelvar_object_manager_vk_command_memory memory;
    void* arena = nullptr;
    for (uint32_t bits : {64u, 32u}) {
        zelvar_object_manager_set_target_bit(pid, tid, bits);
        for (int i = 0; i < 2; ++i) {
            arena = &arena;
            EXPECT_EQ(zelvar_object_manager_get_target_bit(pid, tid, &arena), bits);
            EXPECT_EQ(arena != nullptr, bits == 32);
        }
    }
    zelvar_object_manager_get_target_bit(pid, tid + 1, &arena);
    EXPECT_EQ(arena, nullptr) << "another thread's";
    zelvar_object_manager_get_target_bit(pid, tid, &arena);
    zelvar_object_manager_delete_all_worker_for_pid(pid);
    zelvar_object_manager_get_target_bit(pid, tid, &arena);
    EXPECT_EQ(arena, nullptr) << "gone with the worker";
}

TEST_F(vk_registry_of_a_process, ADeviceThatGoesWhileAThreadWaitsForIt)
{
    zelvar_object_manager_vk_add_queue(pid, as<VkDevice>(0x1d), as<VkQueue>(0x40), as<VkQueue>(0x5));
    auto* data = zelvar_object_manager_vk_lock_host_device(pid, as<VkDevice>(0x1d));
    std::weak_ptr<vk_device_record> watched = device;
    device.reset();
    std::atomic<bool> started{false};
    std::thread waiter{[&] {
        VkQueue queue;
        started = true;
        EXPECT_EQ(zelvar_object_manager_vk_lock_host_device_with_queue(pid, as<VkQueue>(0x40), &queue),
                  nullptr);
    }};
    while (!started)
        std::this_thread::yield();
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // most likely it waits by now
    EXPECT_TRUE(zelvar_object_manager_vk_delete_device(pid, as<VkDevice>(0x1d)));
    EXPECT_FALSE(watched.expired()); // this thread still has it
    zelvar_object_manager_vk_unlock_host_device(data);
    waiter.join();
    EXPECT_TRUE(watched.expired());
    zelvar_object_manager_vk_delete_instance(pid, as<VkInstance>(0x10));
    EXPECT_EQ(live_vulkan_objects(), 0u);
}

TEST_F(vk_registry_of_a_process, TheTargetsMemoryTypeForOneOfTheHosts)
{
    VkPhysicalDeviceMemoryProperties host{};
    host.memoryTypeCount = 3;
    host.memoryTypes[0].propertyFlags = 1;
    host.memoryTypes[1].propertyFlags = 2 | 4 | 8; // cached, which doesn't count
    host.memoryTypes[2].propertyFlags = 0x10;
    VkPhysicalDeviceMemoryProperties target{};
    target.memoryTypeCount = 3;
    target.memoryTypes[0].propertyFlags = 1;
    target.memoryTypes[1].propertyFlags = 2 | 4;
    target.memoryTypes[2].propertyFlags = 1 | 2 | 4;
    zelvar_object_manager_vk_add_memory_index_mapping(pid, as<VkPhysicalDevice>(0x1f), host, target);
    auto index = [&](uint32_t host_index) {
        return zelvar_object_manager_vk_get_memory_index_mapping(pid, as<VkDevice>(0x1d), host_index);
    };
    EXPECT_EQ(index(0), 0);
    EXPECT_EQ(index(1), 1);
    // Only types that the last requirements allow.
    zelvar_object_manager_vk_record_last_mem_req(pid, as<VkDevice>(0x1d), {0, 0, 0b100});
    EXPECT_EQ(index(0), 2);
    EXPECT_EQ(index(1), 2);
    std::string printed = library::printed_by([&] {
        EXPECT_EQ(index(2), 0);
        EXPECT_EQ(zelvar_object_manager_vk_get_memory_index_mapping(pid, as<VkDevice>(0x2d), 0), -1);
    });
    EXPECT_EQ(printed,
              "WARN [ZELVAR] Can't find mapping for host memory type index [2], try to use target memory "
              "index [0]\n"
              "ERROR [ZELVAR] Can't find mapping for target device [0x2d], data desync ahead.\n");
    EXPECT_EQ(zelvar_object_manager_vk_find_properties(&target, 0b110, 1), 2);
    EXPECT_EQ(zelvar_object_manager_vk_find_properties(&target, 0b011, 8), -1);
}

TEST_F(vk_registry_of_a_process, ResultsOfHostAndTarget)
{
    auto printed = [](int target, int host) {
        return library::printed_by([&] { check_vk_result("vk_vkQueueSubmit", target, host); });
    };
    EXPECT_EQ(printed(-1, 0), "");
    EXPECT_EQ(printed(0, -4), "ERROR [ZELVAR] vk_vkQueueSubmit on host returns -4\n");
    library::set_target_gpu(TARGET_GPU_DUMMY);
    zelvar_settings.checkErrorCode = true;
    EXPECT_EQ(printed(-1, -4), "ERROR [ZELVAR] vk_vkQueueSubmit on host returns -4\n"
                               "ERROR [ZELVAR] vk_vkQueueSubmit on target returns -1\n"
                               "ERROR [ZELVAR] vk_vkQueueSubmit Inconsistent result detected. host=-4, "
                               "target=-1\n");
    EXPECT_EQ(printed(0, 0), "");
}
