// Objects inside a Vulkan device: one template per operation serves every type.
#include "object_manager/vk_registry.h"
#include "sidechannel_log.h"

namespace vk_registry {
void note_end(vk_device_record* device, uint64_t serial)
{
    for (auto& [target, recording] : device->commands)
        recording.stale |= recording.used.contains(serial);
}

template <class Handle>
bool add(vk_device_record* device, Handle target, const vk_entry_of<Handle>& entry)
{
    auto [added, is_new] = vk_objects_of<Handle>(*device).emplace(target, entry);
    if (is_new) {
        added->second.serial = ++device->last_serial;
        return true;
    }
    LOG_ERROR("Target %s[%p] is already known.", vk_object_traits<Handle>::name, static_cast<void*>(target));
    return false;
}

template <class Handle>
bool get_data(vk_device_record* device, Handle target, vk_entry_of<Handle>** entry)
{
    auto& objects = vk_objects_of<Handle>(*device);
    auto found = objects.find(target);
    *entry = found == objects.end() ? nullptr : &found->second;
    if (*entry)
        return true;
    LOG_WARN("Can't find mapping for target %s[%p], data desync ahead.", vk_object_traits<Handle>::name,
             static_cast<void*>(target));
    return false;
}

template <class Handle>
bool get_host(vk_device_record* device, Handle target, Handle* host)
{
    *host = VK_NULL_HANDLE;
    if (target == VK_NULL_HANDLE)
        return true;
    vk_entry_of<Handle>* entry = nullptr;
    if (!get_data(device, target, &entry))
        return false;
    *host = entry->host;
    return true;
}

template <class Handle>
bool remove(vk_device_record* device, Handle target)
{
    auto& objects = vk_objects_of<Handle>(*device);
    auto found = objects.find(target);
    if (found == objects.end())
        return false;
    note_end(device, found->second.serial);
    objects.erase(found);
    return true;
}

#define ZELVAR_VK_OBJECT(type, handle, word, data)                                                           \
    template bool add<handle>(vk_device_record*, handle, const vk_entry_of<handle>&);                        \
    template bool get_host<handle>(vk_device_record*, handle, handle*);                                      \
    template bool get_data<handle>(vk_device_record*, handle, vk_entry_of<handle>**);                        \
    template bool remove<handle>(vk_device_record*, handle);
#include "object_manager/vk_objects.inc"
#undef ZELVAR_VK_OBJECT
} // namespace vk_registry

namespace {
template <class Handle>
bool get_valid(vk_device_record* device, uint32_t* count, Handle* handles, const char* word)
{
    bool all_known = true;
    auto& objects = vk_objects_of<Handle>(*device);
    uint32_t kept = 0;
    for (uint32_t i = 0; i < *count; ++i) {
        if (handles[i] == VK_NULL_HANDLE) {
            handles[kept++] = VK_NULL_HANDLE;
            continue;
        }
        auto found = objects.find(handles[i]);
        if (found == objects.end()) {
            LOG_ERROR("Can't find mapping for target %s [%p], data desync ahead.", word,
                      static_cast<void*>(handles[i]));
            all_known = false;
        } else if (!found->second.signalled_by_system) {
            handles[kept++] = found->second.host;
        }
    }
    *count = kept;
    return all_known;
}
} // namespace

bool zelvar_object_manager_vk_get_valid_semaphone(vk_device_record* device, uint32_t* count,
                                                  VkSemaphore* semaphores)
{
    return get_valid(device, count, semaphores, "semaphone");
}

bool zelvar_object_manager_vk_get_valid_fence(vk_device_record* device, uint32_t* count, VkFence* fences)
{
    return get_valid(device, count, fences, "fence");
}
