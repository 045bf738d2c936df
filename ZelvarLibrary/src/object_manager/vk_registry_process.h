#pragma once
// What the files of the Vulkan registry share among themselves.

#include "object_manager/records.h"
#include "object_manager/vk_registry.h"
#include "sidechannel_log.h"

namespace vk_registry {
/// The record of a process, null with a line when there is none. The caller holds
/// pid_to_process_data_map_vk_cs, and only so long is the result valid.
_zelvar_object_manager_process_data_vk* find_process(pid_t pid);

/// The locked record; null, with a line, when it was taken out while this thread waited. Call without the
/// process map's lock.
vk_device_record* enter(const std::shared_ptr<vk_device_record>& device, VkDevice target);

template <class Map>
typename Map::mapped_type* find_or_log(Map& map, typename Map::key_type target, const char* word)
{
    auto found = map.find(target);
    if (found != map.end())
        return &found->second;
    LOG_ERROR("Can't find mapping for target %s [%p], data desync ahead.", word, static_cast<void*>(target));
    return nullptr;
}
} // namespace vk_registry
