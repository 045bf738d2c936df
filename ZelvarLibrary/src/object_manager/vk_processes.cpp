// Dispatchable Vulkan handles of target processes: instances, physical devices, queues, command buffers.
#include "object_manager/vk_command_memory.h"
#include "object_manager/vk_registry_process.h"
#include "sidechannel_log.h"

#include <algorithm>

using vk_registry::find_or_log;
using vk_registry::find_process;

namespace {
/// Finds one entry and gives it to `use`, under the lock. The line for a missing one says what it is.
template <class Member, class Handle, class Use>
bool with_entry(pid_t pid, Member member, Handle target, const char* word, Use use)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    auto* process = find_process(pid);
    auto* entry = process ? find_or_log(process->*member, target, word) : nullptr;
    if (!entry)
        return false;
    use(*entry);
    return true;
}

bool refuse_known(const char* word, void* target)
{
    LOG_ERROR("Target %s [%p] is already known.", word, target);
    return false;
}

using process_data = _zelvar_object_manager_process_data_vk;
using command_memory = zelvar_object_manager_vk_command_memory;
} // namespace

process_data* vk_registry::find_process(pid_t pid)
{
    auto process = pid_to_process_data_map_vk.find(pid);
    if (process != pid_to_process_data_map_vk.end())
        return &process->second;
    LOG_ERROR("Could not find process data instance for process id [%d]", pid);
    return nullptr;
}

void zelvar_object_manager_ensure_process_record_vk(pid_t pid)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    pid_to_process_data_map_vk.try_emplace(pid);
}

bool zelvar_object_manager_vk_add_instance(pid_t pid, VkInstance target, VkInstance host,
                                           VkDebugReportCallbackEXT debug_callback)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    auto* process = find_process(pid);
    if (!process)
        return false;
    return process->instances.emplace(target, vk_instance_data{host, debug_callback}).second ||
           refuse_known("instance", target);
}

bool zelvar_object_manager_vk_get_host_instance(pid_t pid, VkInstance target, VkInstance* host)
{
    *host = VK_NULL_HANDLE;
    return with_entry(pid, &process_data::instances, target, "instance",
                      [&](const vk_instance_data& entry) { *host = entry.host; });
}

bool zelvar_object_manager_vk_get_host_instance_data(pid_t pid, VkInstance target, vk_instance_data* data)
{
    return with_entry(pid, &process_data::instances, target, "instance",
                      [&](const vk_instance_data& entry) { *data = entry; });
}

bool zelvar_object_manager_vk_delete_instance(pid_t pid, VkInstance target)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    auto* process = find_process(pid);
    if (!process)
        return false;
    std::erase_if(process->physical_devices,
                  [&](const auto& entry) { return entry.second.target_instance == target; });
    const bool known = process->instances.erase(target) != 0;
    if (process->instances.empty())
        process->window_objects.reset();
    return known;
}

bool zelvar_object_manager_vk_needs_no_worker(pid_t pid)
{
    Autolock common_lock{pid_to_process_data_map_common_cs};
    auto common = pid_to_process_data_map_common.find(pid);
    if (common != pid_to_process_data_map_common.end() && common->second.gles_record_created)
        return false;
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    auto process = pid_to_process_data_map_vk.find(pid);
    return process == pid_to_process_data_map_vk.end() ||
           (process->second.instances.empty() && process->second.devices.empty());
}

std::vector<VkDevice> zelvar_object_manager_vk_devices_of_instance(pid_t pid, VkInstance target_instance)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    std::vector<VkDevice> devices;
    auto* process = find_process(pid);
    if (!process)
        return devices;
    for (const auto& [target, device] : process->devices) {
        auto physical = process->physical_devices.find(device->target_physical_device);
        if (physical != process->physical_devices.end() &&
            physical->second.target_instance == target_instance)
            devices.push_back(target);
    }
    return devices;
}

bool zelvar_object_manager_vk_add_physical_device(pid_t pid, VkInstance target_instance,
                                                  VkPhysicalDevice target, VkPhysicalDevice host)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    auto* process = find_process(pid);
    if (!process)
        return false;
    auto [entry, is_new] = process->physical_devices.try_emplace(target);
    // Applications enumerate more than once: the same again changes nothing.
    if (!is_new && (entry->second.host != host || entry->second.target_instance != target_instance))
        return refuse_known("physical device", target);
    entry->second.host = host;
    entry->second.target_instance = target_instance;
    return true;
}

bool zelvar_object_manager_vk_get_host_physical_device(pid_t pid, VkPhysicalDevice target,
                                                       VkPhysicalDevice* host)
{
    *host = VK_NULL_HANDLE;
    return with_entry(pid, &process_data::physical_devices, target, "physical device",
                      [&](const vk_physical_device_data& entry) { *host = entry.host; });
}

bool zelvar_object_manager_vk_get_host_physical_device_data(pid_t pid, VkPhysicalDevice target,
                                                            vk_physical_device_data* data)
{
    return with_entry(pid, &process_data::physical_devices, target, "physical device",
                      [&](const vk_physical_device_data& entry) { *data = entry; });
}

bool zelvar_object_manager_vk_set_features(pid_t pid, VkPhysicalDevice target,
                                           const VkPhysicalDeviceFeatures& features)
{
    return with_entry(pid, &process_data::physical_devices, target, "physical device",
                      [&](vk_physical_device_data& entry) { entry.features = features; });
}

bool zelvar_object_manager_vk_add_memory_index_mapping(pid_t pid, VkPhysicalDevice target,
                                                       const VkPhysicalDeviceMemoryProperties& host_memory,
                                                       const VkPhysicalDeviceMemoryProperties& target_memory)
{
    return with_entry(pid, &process_data::physical_devices, target, "physical device",
                      [&](vk_physical_device_data& entry) {
                          entry.host_memory = host_memory;
                          entry.target_memory = target_memory;
                      });
}

bool zelvar_object_manager_vk_add_queue(pid_t pid, VkDevice target_device, VkQueue target, VkQueue host)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    auto* process = find_process(pid);
    if (!process)
        return false;
    auto [entry, is_new] = process->queues.try_emplace(target, vk_queue_data{host, target_device});
    // A queue may be asked for as often as an application likes.
    return is_new || (entry->second.host == host && entry->second.target_device == target_device) ||
           refuse_known("queue", target);
}

bool zelvar_object_manager_vk_get_host_queue(pid_t pid, VkQueue target, VkQueue* host)
{
    *host = VK_NULL_HANDLE;
    return with_entry(pid, &process_data::queues, target, "queue",
                      [&](const vk_queue_data& entry) { *host = entry.host; });
}

bool zelvar_object_manager_vk_delete_queue(pid_t pid, VkQueue target)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    auto* process = find_process(pid);
    return process && process->queues.erase(target) != 0;
}

bool zelvar_object_manager_vk_add_command_buffers(pid_t pid, VkDevice target_device,
                                                  const VkCommandBuffer* targets,
                                                  const VkCommandBuffer* hosts, uint32_t count,
                                                  VkCommandPool target_pool)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    auto* process = find_process(pid);
    if (!process)
        return false;
    command_memory::note_change();
    for (uint32_t i = 0; i < count; ++i) {
        auto [entry, is_new] = process->command_buffers.try_emplace(targets[i]);
        if (!is_new)
            LOG_ERROR("Target command buffer [%p] is already known, data desync ahead.",
                      static_cast<void*>(targets[i]));
        entry->second = {hosts[i], target_device, target_pool};
    }
    return true;
}

bool zelvar_object_manager_vk_get_host_command_buffers(pid_t pid, const VkCommandBuffer* targets,
                                                       VkCommandBuffer* hosts, uint32_t count)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    auto* process = find_process(pid);
    bool all_known = process != nullptr;
    for (uint32_t i = 0; i < count; ++i) {
        auto* entry = process ? find_or_log(process->command_buffers, targets[i], "command buffer") : nullptr;
        hosts[i] = entry ? entry->host : VK_NULL_HANDLE;
        all_known = all_known && entry;
    }
    return all_known;
}

bool zelvar_object_manager_vk_delete_command_buffers(pid_t pid, const VkCommandBuffer* targets,
                                                     uint32_t count)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    auto* process = find_process(pid);
    bool all_known = process != nullptr;
    command_memory::note_change();
    for (uint32_t i = 0; process && i < count; ++i)
        all_known = process->command_buffers.erase(targets[i]) != 0 && all_known;
    return all_known;
}

void zelvar_object_manager_vk_delete_command_buffers_of_pool(pid_t pid, VkDevice target_device,
                                                             VkCommandPool target_pool)
{
    Autolock vk_lock{pid_to_process_data_map_vk_cs};
    command_memory::note_change();
    if (auto* process = find_process(pid))
        std::erase_if(process->command_buffers, [&](const auto& entry) {
            return entry.second.target_device == target_device && entry.second.target_pool == target_pool;
        });
}
