#include "handlers/vk/vk_handler.h"

#include "object_manager/zelvar_object_manager.h"

#include <algorithm>
#include <cstdio>

namespace {
void* as_pointer(uint64_t value)
{
    return reinterpret_cast<void*>(value);
}
} // namespace

vk_device_record* vk_frame::lock(VkDevice device)
{
    _device = zelvar_object_manager_vk_lock_host_device(pid, device);
    if (!_device) [[unlikely]]
        LOG_FATAL("Could not retrieve device data for target device [%p]", static_cast<void*>(device));
    return _device;
}

vk_device_record* vk_frame::lock_queue(VkQueue queue, VkQueue* host)
{
    _device = zelvar_object_manager_vk_lock_host_device_with_queue(pid, queue, host);
    if (!_device) [[unlikely]]
        LOG_FATAL("Could not retrieve device data for target queue [%p]", static_cast<void*>(queue));
    return _device;
}

vk_device_record* vk_frame::lock_command_buffer(VkCommandBuffer command_buffer, VkCommandBuffer* host)
{
    _device = zelvar_object_manager_vk_lock_host_device_with_cmd_buffer(pid, command_buffer, host);
    if (!_device) [[unlikely]]
        LOG_FATAL("Could not retrieve device data for target command buffer [%p]",
                  static_cast<void*>(command_buffer));
    return _device;
}

vk_device_record* vk_frame::lock_window_objects()
{
    _device = zelvar_object_manager_vk_lock_window_objects(pid);
    return _device;
}

void vk_frame::unlock()
{
    zelvar_object_manager_vk_unlock_host_device(_device);
    _device = nullptr;
}

VkPhysicalDevice vk_frame::physical_device(VkPhysicalDevice target) const
{
    VkPhysicalDevice host = VK_NULL_HANDLE;
    if (zelvar_object_manager_vk_get_host_physical_device(pid, target, &host))
        return host;
    LOG_FATAL("Could not find a host<=>target vulkan physical device mapping for target device [%p] ",
              static_cast<void*>(target));
    return VK_NULL_HANDLE;
}

void vk_frame::write_bytes(target_ptr address, const void* bytes, uint64_t size) const
{
    constexpr uint64_t most = 0x40000000; // one message of the service has a size of 32 bits
    auto* from = static_cast<const uint8_t*>(bytes);
    for (uint64_t done = 0; done < size; done += most)
        zelvar_shim_dispatch_write_to_shim_address_space_force(
            pid, tid, static_cast<uint32_t>(std::min(size - done, most)), from + done, address + done);
}

bool vk_frame::wide() const
{
    return zelvar_object_manager_get_target_bit(pid, tid, nullptr) != 32;
}

void vk_frame::prepared(vk_prepared outcome, const char* argument, uint32_t number)
{
    if (!outcome.complete)
        refuse("a handle or structure is missing that Vulkan requires");
    if (outcome.found || !sidechannel_log_enabled(LOG_GATE_WARN))
        return;
    std::string text = argument;
    if (size_t place = text.find("%u"); place != std::string::npos)
        text.replace(place, 2, std::to_string(number));
    LOG_WARN("%s: could not accomplish a host<=>target mapping for argument %s", key, text.c_str());
}

void vk_frame::refuse(const char* reason)
{
    if (!_refused)
        LOG_ERROR("%s: %s, the host isn't called.", key, reason);
    _refused = true;
}

void vk_frame::log_missing() const
{
    LOG_ERROR("%s: the host's Vulkan lacks the function.", key);
}

vk_handler::~vk_handler()
{
    unlock();
    if (!_replied && result != VK_SUCCESS)
        zelvar_shim_dispatch_set_return_value_message(pid, tid, 4, &result);
    check_vk_result(key, _target_result == _as_good ? VK_SUCCESS : _target_result,
                    result == _as_good ? VK_SUCCESS : result);
}

void vk_handler::log_unmapped(const char* type, uint64_t target) const
{
    LOG_FATAL("Could not find a host<=>target vulkan %s mapping for target %s [%p] ", type, type,
              as_pointer(target));
}

void vk_handler::log_not_added(const char* type, uint64_t host, uint64_t target) const
{
    LOG_FATAL("Could not create a host<=>target vulkan instance mapping for host-side %s [%p] and "
              "target-side %s [%p]",
              type, as_pointer(host), type, as_pointer(target));
}

void vk_void_handler::log_unmapped(const char* type, uint64_t target) const
{
    LOG_FATAL("Could not find a host<=>target vulkan %s mapping for target [%p] ", type, as_pointer(target));
}
