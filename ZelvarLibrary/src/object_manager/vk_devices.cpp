// Vulkan devices: how they are entered, locked and taken out, and what is kept of their memory types.
#include "object_manager/vk_command_memory.h"
#include "object_manager/vk_registry_process.h"
#include "settings/zelvar_settings.h"

#include <algorithm>

using vk_registry::find_or_log;
using vk_registry::find_process;

namespace {
using process_data = _zelvar_object_manager_process_data_vk;
using device_ptr = std::shared_ptr<vk_device_record>;
using command_memory = zelvar_object_manager_vk_command_memory;

device_ptr find_device(process_data& process, VkDevice target)
{
    auto* device = find_or_log(process.devices, target, "device");
    return device ? *device : nullptr;
}

/// Finds the device through `find`, which runs under the process map's lock, and enters it once that is left:
/// nobody waits for a device while he holds the map.
template <class Find>
vk_device_record* lock_what_is_found(pid_t pid, VkDevice target, Find find)
{
    device_ptr device;
    {
        Autolock vk_lock{pid_to_process_data_map_vk_cs};
        if (auto* process = find_process(pid))
            device = find(*process, target);
    }
    return device ? vk_registry::enter(device, target) : nullptr;
}
} // namespace

// What decides who holds the lock is known at run time only, so clang's analysis is off here and below.
ZELVAR_TSA(no_thread_safety_analysis)
vk_device_record* vk_registry::enter(const device_ptr& device, VkDevice target)
{
    critical_section_enter(device->lock);
    if (device->removed) [[unlikely]] {
        critical_section_leave(device->lock);
        LOG_ERROR("Can't find mapping for target device [%p], data desync ahead.",
                  static_cast<void*>(target));
        return nullptr;
    }
    if (device->depth++ == 0)
        device->kept_by_holder = device;
    return device.get();
}

vk_device_record* zelvar_object_manager_vk_lock_host_device(pid_t pid, VkDevice target)
{
    return lock_what_is_found(pid, target, &find_device);
}

vk_device_record* zelvar_object_manager_vk_lock_window_objects(pid_t pid)
{
    return lock_what_is_found(pid, VK_NULL_HANDLE, [](process_data& process, VkDevice) {
        if (!process.window_objects)
            process.window_objects = std::make_shared<vk_device_record>();
        return process.window_objects;
    });
}

vk_device_record* zelvar_object_manager_vk_lock_host_device_with_queue(pid_t pid, VkQueue target,
                                                                       VkQueue* host)
{
    *host = VK_NULL_HANDLE;
    return lock_what_is_found(pid, VK_NULL_HANDLE, [&](process_data& process, VkDevice) -> device_ptr {
        auto* queue = find_or_log(process.queues, target, "queue");
        if (!queue)
            return nullptr;
        *host = queue->host;
        return find_device(process, queue->target_device);
    });
}

vk_device_record* zelvar_object_manager_vk_lock_host_device_with_cmd_buffer(pid_t pid, VkCommandBuffer target,
                                                                            VkCommandBuffer* host)
{
    auto* memory = command_memory::of_thread();
    if (const auto* known = memory ? memory->command_buffer(pid, target) : nullptr) [[likely]] {
        *host = known->host;
        return vk_registry::enter(known->device, VK_NULL_HANDLE);
    }
    const uint64_t changes = command_memory::changes();
    *host = VK_NULL_HANDLE;
    return lock_what_is_found(pid, VK_NULL_HANDLE, [&](process_data& process, VkDevice) -> device_ptr {
        auto* command_buffer = find_or_log(process.command_buffers, target, "command buffer");
        if (!command_buffer)
            return nullptr;
        *host = command_buffer->host;
        device_ptr device = find_device(process, command_buffer->target_device);
        if (memory)
            memory->keep(pid, target, changes, {*host, device});
        return device;
    });
}

ZELVAR_TSA(no_thread_safety_analysis)
void zelvar_object_manager_vk_unlock_host_device(vk_device_record* device)
{
    if (!device)
        return;
    // A record that is no longer registered ends behind this, once its lock is left.
    device_ptr last;
    if (--device->depth == 0)
        last = std::move(device->kept_by_holder);
    critical_section_leave(device->lock);
}

bool zelvar_object_manager_vk_add_device_data(pid_t pid, VkDevice target, device_ptr data)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    auto* process = find_process(pid);
    if (!process)
        return false;
    if (process->devices.emplace(target, std::move(data)).second)
        return true;
    LOG_ERROR("Target device [%p] is already known.", static_cast<void*>(target));
    return false;
}

bool zelvar_object_manager_vk_delete_device(pid_t pid, VkDevice target)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    auto* process = find_process(pid);
    auto device = process ? find_device(*process, target) : nullptr;
    if (!device)
        return false;
    device->removed = true;
    command_memory::note_change();
    std::erase_if(process->queues, [&](const auto& entry) { return entry.second.target_device == target; });
    std::erase_if(process->command_buffers,
                  [&](const auto& entry) { return entry.second.target_device == target; });
    process->devices.erase(target);
    return true;
}

bool zelvar_object_manager_vk_record_last_mem_req(pid_t pid, VkDevice target,
                                                  const VkMemoryRequirements& requirements)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    auto* process = find_process(pid);
    auto device = process ? find_device(*process, target) : nullptr;
    if (device)
        device->last_memory_requirements = requirements;
    return device != nullptr;
}

int zelvar_object_manager_vk_get_memory_index_mapping(pid_t pid, VkDevice target, uint32_t host_index)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    auto* process = find_process(pid);
    auto device = process ? find_device(*process, target) : nullptr;
    auto* physical =
        device ? find_or_log(process->physical_devices, device->target_physical_device, "physical device")
               : nullptr;
    if (!physical)
        return -1;
    VkMemoryPropertyFlags flags = 0;
    if (host_index < std::size(physical->host_memory.memoryTypes))
        flags = physical->host_memory.memoryTypes[host_index].propertyFlags &
                ~VkMemoryPropertyFlags{VK_MEMORY_PROPERTY_HOST_CACHED_BIT};
    uint32_t types = device->last_memory_requirements.memoryTypeBits;
    if (types == 0)
        types = UINT32_MAX;
    int index = zelvar_object_manager_vk_find_properties(&physical->target_memory, types, flags);
    if (index >= 0)
        return index;
    LOG_WARN("Can't find mapping for host memory type index [%d], try to use target memory index [0]",
             static_cast<int>(host_index));
    return 0;
}

int zelvar_object_manager_vk_find_properties(const VkPhysicalDeviceMemoryProperties* memory_properties,
                                             uint32_t type_bits, VkMemoryPropertyFlags required_flags)
{
    uint32_t count = std::min<uint32_t>(memory_properties->memoryTypeCount, VK_MAX_MEMORY_TYPES);
    for (uint32_t i = 0; i < count; ++i) {
        VkMemoryPropertyFlags flags = memory_properties->memoryTypes[i].propertyFlags;
        if ((type_bits >> i & 1) != 0 && (flags & required_flags) == required_flags)
            return static_cast<int>(i);
    }
    return -1;
}

int check_vk_result(const char* name, int target_result, int host_result)
{
    if (host_result != 0)
        LOG_ERROR("%s on host returns %d", name, host_result);
    if (zelvar_call_on_target() && sidechannel_error_check_support(zelvar_settings, name)) {
        if (target_result != 0)
            LOG_ERROR("%s on target returns %d", name, target_result);
        if (host_result != target_result)
            LOG_ERROR("%s Inconsistent result detected. host=%d, target=%d", name, host_result,
                      target_result);
    }
    return host_result;
}
