#pragma once
// Creating and destroying objects of a device that need nothing beyond their mapping: one worker each. A
// handler is its signature and one line:
//
//     void vk_vkCreateEvent(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkEventCreateInfo> pCreateInfo,
//                           vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkEvent> pEvent,
//                           result_of<VkResult> target_result)
//     {
//         vk_create_object<&sidechannel_vk_imports::vkCreateEvent, &sidechannel_vk_imports::vkDestroyEvent>(
//             "vk_vkCreateEvent", pid, tid, device, pCreateInfo, pAllocator, pEvent, target_result);
//     }

#include "handlers/vk/vk_handler.h"

/// What a create info needs once its handles are the host's, e.g. another format; null for nothing.
template <class Info>
using vk_adapt = void (*)(Info& info);

template <auto Create, auto Destroy, class Info, class Handle>
void vk_create_object(const char* key, pid_t pid, tid_t tid, VkDevice device, const vk_struct<Info>& info,
                      const vk_struct<VkAllocationCallbacks>& allocator, const vk_out<Handle>& object,
                      result_of<VkResult> target_result, vk_adapt<Info> adapt = nullptr)
{
    vk_handler call{key, pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", info.address, "pAllocator_ptr", allocator.address,
               "target_handle_ptr", object.address);
    auto* data = call.lock(device);
    if (!data || !info)
        return;
    call.prepare(data, info, "pCreateInfo");
    if (adapt)
        adapt(*info.data);
    Handle host = VK_NULL_HANDLE;
    call.result = call.host<Create>(data->device, info.data, nullptr, &host);
    // What can't be found again would stay for ever.
    if (call.result == VK_SUCCESS && !call.add(data, object.handle, host))
        call.host_void<Destroy>(data->device, host, nullptr);
}

template <auto Destroy, class Handle>
void vk_destroy_object(const char* key, pid_t pid, tid_t tid, VkDevice device, Handle object,
                       const vk_struct<VkAllocationCallbacks>& allocator)
{
    vk_void_handler call{key, pid, tid};
    call.trace("target_device", device, "target_handle", object, "pAllocator_ptr", allocator.address);
    auto* data = call.lock(device);
    Handle host = VK_NULL_HANDLE;
    if (!data || !call.map(data, object, &host))
        return;
    call.host<Destroy>(data->device, host, nullptr);
    vk_registry::remove(data, object);
}
