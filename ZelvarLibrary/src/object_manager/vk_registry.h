#pragma once
// Which host object stands for a target's Vulkan handle. True on success. Lock order: a device before
// pid_to_process_data_map_vk_cs; nobody waits for a device while he holds that.

#include "object_manager/vk_records.h"

#include <vector>

using vk_device_record = _zelvar_object_manager_data_vk_device;

// Process level: these take the process map's lock themselves. Entering a handle that is known is refused,
// unless it says the same again; a command buffer replaces the one before.
void zelvar_object_manager_ensure_process_record_vk(pid_t pid);
bool zelvar_object_manager_vk_add_instance(pid_t pid, VkInstance target, VkInstance host,
                                           VkDebugReportCallbackEXT debug_callback);
bool zelvar_object_manager_vk_get_host_instance(pid_t pid, VkInstance target, VkInstance* host);
bool zelvar_object_manager_vk_get_host_instance_data(pid_t pid, VkInstance target, vk_instance_data* data);
/// Its physical devices go with it.
bool zelvar_object_manager_vk_delete_instance(pid_t pid, VkInstance target);
/// Nothing of Vulkan is left, and the threads hold no current context either.
bool zelvar_object_manager_vk_needs_no_worker(pid_t pid);
/// Devices (target's) that an instance still has.
std::vector<VkDevice> zelvar_object_manager_vk_devices_of_instance(pid_t pid, VkInstance target_instance);

bool zelvar_object_manager_vk_add_physical_device(pid_t pid, VkInstance target_instance,
                                                  VkPhysicalDevice target, VkPhysicalDevice host);
bool zelvar_object_manager_vk_get_host_physical_device(pid_t pid, VkPhysicalDevice target,
                                                       VkPhysicalDevice* host);
bool zelvar_object_manager_vk_get_host_physical_device_data(pid_t pid, VkPhysicalDevice target,
                                                            vk_physical_device_data* data);
bool zelvar_object_manager_vk_set_features(pid_t pid, VkPhysicalDevice target,
                                           const VkPhysicalDeviceFeatures& features);

bool zelvar_object_manager_vk_add_memory_index_mapping(pid_t pid, VkPhysicalDevice target,
                                                       const VkPhysicalDeviceMemoryProperties& host_memory,
                                                       const VkPhysicalDeviceMemoryProperties& target_memory);
/// The caller holds the device.
bool zelvar_object_manager_vk_record_last_mem_req(pid_t pid, VkDevice target,
                                                  const VkMemoryRequirements& requirements);
/// The target driver's memory type for one that the application picked from the host's; -1 for an unknown
/// device. The caller holds the device.
int zelvar_object_manager_vk_get_memory_index_mapping(pid_t pid, VkDevice target, uint32_t host_index);

bool zelvar_object_manager_vk_add_device_data(pid_t pid, VkDevice target,
                                              std::shared_ptr<vk_device_record> data);
/// Takes the device out, with its queues and command buffers; threads that wait for its lock find it removed.
/// The caller holds the device, which lives until he unlocks it.
bool zelvar_object_manager_vk_delete_device(pid_t pid, VkDevice target);

bool zelvar_object_manager_vk_add_queue(pid_t pid, VkDevice target_device, VkQueue target, VkQueue host);
bool zelvar_object_manager_vk_get_host_queue(pid_t pid, VkQueue target, VkQueue* host);
bool zelvar_object_manager_vk_delete_queue(pid_t pid, VkQueue target);

bool zelvar_object_manager_vk_add_command_buffers(pid_t pid, VkDevice target_device,
                                                  const VkCommandBuffer* targets,
                                                  const VkCommandBuffer* hosts, uint32_t count,
                                                  VkCommandPool target_pool = VK_NULL_HANDLE);
/// `hosts` may be `targets`; unknown ones become null and give false.
bool zelvar_object_manager_vk_get_host_command_buffers(pid_t pid, const VkCommandBuffer* targets,
                                                       VkCommandBuffer* hosts, uint32_t count);
bool zelvar_object_manager_vk_delete_command_buffers(pid_t pid, const VkCommandBuffer* targets,
                                                     uint32_t count);
void zelvar_object_manager_vk_delete_command_buffers_of_pool(pid_t pid, VkDevice target_device,
                                                             VkCommandPool target_pool);

/// The locked record, or null. Recursive.
vk_device_record* zelvar_object_manager_vk_lock_host_device(pid_t pid, VkDevice target);
vk_device_record* zelvar_object_manager_vk_lock_host_device_with_queue(pid_t pid, VkQueue target,
                                                                       VkQueue* host);
vk_device_record* zelvar_object_manager_vk_lock_host_device_with_cmd_buffer(pid_t pid, VkCommandBuffer target,
                                                                            VkCommandBuffer* host);
/// Surfaces, displays and display modes of the process, in a record without a device. A thread that holds a
/// device may lock it; whoever holds it waits for no device.
vk_device_record* zelvar_object_manager_vk_lock_window_objects(pid_t pid);
/// Null does nothing.
void zelvar_object_manager_vk_unlock_host_device(vk_device_record* device);

// Device level: the caller holds the device. One template per operation for code that serves every type, and
// the same under a name for each type.
namespace vk_registry {
template <class Handle>
bool add(vk_device_record* device, Handle target, const vk_entry_of<Handle>& entry);
/// A null target is null on the host; an unknown one gives null, a WARN line and false.
template <class Handle>
bool get_host(vk_device_record* device, Handle target, Handle* host);
/// The entry stays the registry's. Null is as unknown as anything.
template <class Handle>
bool get_data(vk_device_record* device, Handle target, vk_entry_of<Handle>** entry);
template <class Handle>
bool remove(vk_device_record* device, Handle target);
/// Recordings that use an object are of no use any more: it has ended, or the host's has. `remove` does so.
void note_end(vk_device_record* device, uint64_t serial);
} // namespace vk_registry

#define ZELVAR_VK_OBJECT(type, handle, word, data)                                                           \
    extern template bool vk_registry::add<handle>(vk_device_record*, handle, const vk_entry_of<handle>&);    \
    extern template bool vk_registry::get_host<handle>(vk_device_record*, handle, handle*);                  \
    extern template bool vk_registry::get_data<handle>(vk_device_record*, handle, vk_entry_of<handle>**);    \
    extern template bool vk_registry::remove<handle>(vk_device_record*, handle);                             \
    inline bool zelvar_object_manager_vk_add_##type##_with_data(vk_device_record* device, handle target,     \
                                                                const vk_entry_of<handle>& entry)            \
    {                                                                                                        \
        return vk_registry::add(device, target, entry);                                                      \
    }                                                                                                        \
    inline bool zelvar_object_manager_vk_add_##type(vk_device_record* device, handle target, handle host)    \
    {                                                                                                        \
        vk_entry_of<handle> entry;                                                                           \
        entry.host = host;                                                                                   \
        return vk_registry::add(device, target, entry);                                                      \
    }                                                                                                        \
    inline bool zelvar_object_manager_vk_get_host_##type(vk_device_record* device, handle target,            \
                                                         handle* host)                                       \
    {                                                                                                        \
        return vk_registry::get_host(device, target, host);                                                  \
    }                                                                                                        \
    inline bool zelvar_object_manager_vk_get_host_##type##_data(vk_device_record* device, handle target,     \
                                                                vk_entry_of<handle>** entry)                 \
    {                                                                                                        \
        return vk_registry::get_data(device, target, entry);                                                 \
    }                                                                                                        \
    inline bool zelvar_object_manager_vk_delete_##type(vk_device_record* device, handle target)              \
    {                                                                                                        \
        return vk_registry::remove(device, target);                                                          \
    }
#include "object_manager/vk_objects.inc"
#undef ZELVAR_VK_OBJECT

/// Turn target handles into host handles in place and drop those that the system itself has signalled, which
/// lowers the count. False when one isn't known; it takes no place either.
bool zelvar_object_manager_vk_get_valid_semaphone(vk_device_record* device, uint32_t* count,
                                                  VkSemaphore* semaphores);
bool zelvar_object_manager_vk_get_valid_fence(vk_device_record* device, uint32_t* count, VkFence* fences);

/// The lowest memory type among `type_bits` with all of the flags, or -1.
int zelvar_object_manager_vk_find_properties(const VkPhysicalDeviceMemoryProperties* memory_properties,
                                             uint32_t type_bits, VkMemoryPropertyFlags required_flags);

/// The end of every Vulkan call: reports what failed and, where results are compared, what differs. `name` is
/// the handler's. The host's result when both were compared and agree.
int check_vk_result(const char* name, int target_result, int host_result);
