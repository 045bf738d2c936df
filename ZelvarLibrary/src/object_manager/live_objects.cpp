// What the library still holds of targets, counted: after a target has ended its contexts, all of it is zero.

#include "object_manager/records.h"
#include "zelvar/zelvar.h"

#include <chrono>
#include <thread>

namespace {
/// Contexts that targets have made; the null context of a process stays as long as its record.
uint64_t contexts_of(const _zelvar_object_manager_process_data& process)
{
    uint64_t count = 0;
    for (const auto& [id, context] : process.contexts)
        count += id != 0;
    return count;
}

template <class Count>
uint64_t over_processes(Count count)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    uint64_t sum = 0;
    for (const auto& [pid, process] : pid_to_process_data_map)
        sum += count(process);
    return sum;
}

/// Who is inside a device may stay there for ever, when the host's driver computes without end.
bool is_left_soon(const _zelvar_object_manager_data_vk_device& device)
{
    constexpr std::chrono::milliseconds step{10};
    for (int tries = 0; tries < 100; ++tries, std::this_thread::sleep_for(step))
        if (critical_section_verify(device.lock))
            return true;
    return false;
}

/// Dispatchable handles of the Vulkan processes, and with their devices all that is inside. A device is never
/// waited for with the map held, so its objects are counted behind.
uint64_t vulkan_objects()
{
    uint64_t sum = 0;
    std::vector<std::shared_ptr<_zelvar_object_manager_data_vk_device>> devices;
    {
        Autolock vk_lock{pid_to_process_data_map_vk_cs};
        for (const auto& [pid, process] : pid_to_process_data_map_vk) {
            sum += process.instances.size() + process.physical_devices.size() + process.devices.size() +
                   process.queues.size() + process.command_buffers.size();
            for (const auto& [target, device] : process.devices)
                devices.push_back(device);
        }
    }
    for (const auto& device : devices) {
        if (!is_left_soon(*device))
            continue;
        Autolock device_lock{device->lock};
#define ZELVAR_VK_OBJECT(type, handle, word, data) sum += device->type.size();
#include "object_manager/vk_objects.inc"
#undef ZELVAR_VK_OBJECT
    }
    return sum;
}

uint64_t parked_frames()
{
    Autolock pixel_lock{host_pixel_map_cs};
    return host_pixel_map.size();
}

uint64_t open_requests()
{
    Autolock callback_lock{callback_map_cs};
    return callback_map.size();
}

using process_data = _zelvar_object_manager_process_data;

struct live_kind
{
    const char* name;
    uint64_t (*count)();
};

constexpr live_kind kinds[] = {
    {"contexts", [] { return over_processes(&contexts_of); }},
    {"surfaces",
     [] { return over_processes([](const process_data& each) { return each.surfaces.size(); }); }},
    {"images", [] { return over_processes([](const process_data& each) { return each.images.size(); }); }},
    {"sync objects",
     [] { return over_processes([](const process_data& each) { return each.syncs.size(); }); }},
    {"Vulkan objects", &vulkan_objects},
    {"parked frames", &parked_frames},
    {"open requests", &open_requests},
};
} // namespace

bool zelvar_live_objects(uint32_t kind, const char** name, uint64_t* count)
{
    if (kind >= std::size(kinds))
        return false;
    *name = kinds[kind].name;
    *count = kinds[kind].count();
    return true;
}
