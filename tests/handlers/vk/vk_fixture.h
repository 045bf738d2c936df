#pragma once
// A target with a Vulkan device over a recording host: one object of every type, known to the library.

#include "object_manager/vk_registry.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"
#include "support/fake_vulkan.h"
#include "support/library.h"
#include "support/raw_target.h"

#include <gtest/gtest.h>

namespace in = wire::inbound;
namespace out = wire::outbound;
using texts = std::vector<std::string>;
using vk = sidechannel_vk_imports;
constexpr uint64_t memory = raw_target::memory_base;

/// The target's handles. Objects of a device have theirs from `target_of`.
constexpr uint64_t device_handle = 0xd0, queue_handle = 0x90, commands_handle = 0xc0, unknown_handle = 0xbad;

class vk_fixture : public testing::Test
{
protected:
    raw_target target{library::start()};
    std::shared_ptr<vk_device_record> device = std::make_shared<vk_device_record>();

    void SetUp() override
    {
        fake_vulkan::install();
        sidechannel_set_log_level(3);              // warnings are part of the behaviour
        target.write_only(target.make(5).bytes()); // binds the channel
        zelvar_object_manager_ensure_process_record(raw_target::pid);
        zelvar_object_manager_ensure_process_record_vk(raw_target::pid);
        device->device = host<VkDevice>("VkDevice");
        device->swapchain_command_pool = host<VkCommandPool>("VkCommandPool");
        device->memory_properties.memoryTypeCount = 1;
        device->memory_properties.memoryTypes[0].propertyFlags = 6;
        zelvar_object_manager_vk_add_device_data(raw_target::pid, as<VkDevice>(device_handle), device);
        zelvar_object_manager_vk_add_queue(raw_target::pid, as<VkDevice>(device_handle),
                                           as<VkQueue>(queue_handle), host<VkQueue>("VkQueue"));
        add_command_buffer(commands_handle);
#define ZELVAR_VK_OBJECT(type, handle, word, data) add<handle>(#handle);
#include "object_manager/vk_objects.inc"
#undef ZELVAR_VK_OBJECT
        fake_vulkan::clear();
    }

    template <class H>
    static H as(uint64_t number)
    {
        return reinterpret_cast<H>(number);
    }
    template <class H>
    static H host(const char* kind)
    {
        return as<H>(fake_vulkan::make(kind));
    }
    /// The target's handle of the `number`th object of a type.
    template <class H>
    static uint64_t target_of(uint64_t number = 1)
    {
        return 0x700000000 + number;
    }
    template <class H>
    vk_entry_of<H>& entry(uint64_t number = 1)
    {
        return vk_objects_of<H>(*device).at(as<H>(target_of<H>(number)));
    }
    template <class H>
    void add(const char* kind, uint64_t number = 1)
    {
        vk_entry_of<H> entry;
        entry.host = host<H>(kind);
        vk_registry::add(device.get(), as<H>(target_of<H>(number)), entry);
    }
    void add_command_buffer(uint64_t handle, VkCommandPool pool = VK_NULL_HANDLE)
    {
        const auto target_handle = as<VkCommandBuffer>(handle);
        const auto host_handle = host<VkCommandBuffer>("VkCommandBuffer");
        zelvar_object_manager_vk_add_command_buffers(raw_target::pid, as<VkDevice>(device_handle),
                                                     &target_handle, &host_handle, 1, pool);
    }
    message command(uint32_t type) const
    {
        return target.make(type).u64(commands_handle);
    }
    /// Runs a message and tells what the host was called with.
    texts host_calls(const message& call)
    {
        fake_vulkan::clear();
        target.run(call);
        return fake_vulkan::texts();
    }
    /// The VkResult that the target got; 0 when nothing was returned.
    int result_of_call(const message& call)
    {
        for (const outbound_message& sent : target.run(call)) {
            if (sent.type == out::set_return_value_message)
                return sent.at<int32_t>(1); // behind the width
        }
        return 0;
    }
    std::string printed(const message& call)
    {
        return library::printed_by([&] { target.run(call); });
    }
};
template <class T>
message& put(message& to, const T& structure)
{
    return to.raw(&structure, sizeof(structure));
}
