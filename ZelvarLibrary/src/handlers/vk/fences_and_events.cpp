// Fences, semaphores and events. A fence or semaphore that the system has signalled itself, when it acquired
// an image without the host, is passed over: the host never learns of it.

#include "handlers/vk/plain_objects.h"
#include "handlers/vk/queue_handlers.h"
#include "handlers/vk/queue_progress.h"

#include <algorithm>
#include <vector>

using vk = sidechannel_vk_imports;

void vk_vkCreateFence(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkFenceCreateInfo> pCreateInfo,
                      vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkFence> pFence,
                      result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateFence", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pFence_ptr", pFence.address);
    vk_create<&vk::vkCreateFence, &vk::vkDestroyFence>(call, call.lock(device), pCreateInfo, pFence);
}

void vk_vkDestroyFence(pid_t pid, tid_t tid, VkDevice device, VkFence fence,
                       vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyFence", pid, tid};
    call.trace("target_device", device, "target_fence", fence, "pAllocator_ptr", pAllocator.address);
    vk_destroy<&vk::vkDestroyFence>(call, call.lock(device), fence);
}

void vk_vkResetFences(pid_t pid, tid_t tid, VkDevice device, uint32_t fenceCount,
                      vk_array<VkFence, 1> pFences, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkResetFences", pid, tid, target_result};
    call.trace("target_device", device, "fenceCount", fenceCount, "pFences_ptr", pFences.address);
    auto* data = call.lock(device);
    if (!data)
        return;
    const std::vector<VkFence> targets{pFences.data, pFences.data + pFences.count};
    if (!vk_all_to_host(call, data, pFences))
        return;
    for (VkFence target : targets)
        vk_let_finish(call, data, data->fence.at(target));
    call.result = call.host<&vk::vkResetFences>(data->device, pFences.count, pFences.data);
    for (VkFence target : targets)
        data->fence.at(target).submission = 0;
}

void vk_vkGetFenceStatus(pid_t pid, tid_t tid, VkDevice device, VkFence fence,
                         result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetFenceStatus", pid, tid, target_result};
    call.trace("target_device", device, "target_fence", fence);
    auto* data = call.lock(device);
    auto* entry = data ? call.find(data, fence) : nullptr;
    if (!entry)
        return;
    call.result =
        entry->signalled_by_system ? VK_SUCCESS : call.host<&vk::vkGetFenceStatus>(data->device, entry->host);
    if (call.result == VK_SUCCESS && !entry->signalled_by_system)
        vk_note_done(data, *entry);
    // Not ready is an answer, not a failure, as long as the target's driver says the same.
    if (!zelvar_call_on_target() || call.result == call.target_result())
        call.accept(VK_NOT_READY);
}

void vk_vkWaitForFences(pid_t pid, tid_t tid, VkDevice device, uint32_t fenceCount,
                        vk_array<VkFence, 1> pFences, VkBool32 waitAll, uint64_t timeout,
                        result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkWaitForFences", pid, tid, target_result};
    call.trace("target_device", device, "fenceCount", fenceCount, "pFences_ptr", pFences.address, "waitAll",
               waitAll, "timeout", timeout);
    auto* data = call.lock(device);
    if (!data)
        return;
    const std::vector<VkFence> targets{pFences.data, pFences.data + pFences.count};
    uint32_t count = pFences.count;
    if (!zelvar_object_manager_vk_get_valid_fence(data, &count, pFences.data))
        return;
    if (std::find(pFences.data, pFences.data + count, VkFence{}) != pFences.data + count)
        return; // no driver can wait for nothing
    timeout = vk_patience(data, targets.data(), pFences.count, waitAll, timeout);
    call.result = count ? call.host<&vk::vkWaitForFences>(data->device, count, pFences.data, waitAll, timeout)
                        : VK_SUCCESS;
    if (call.result == VK_SUCCESS && (waitAll || targets.size() == 1))
        for (VkFence target : targets)
            vk_note_done(data, data->fence.at(target));
}

void vk_vkCreateSemaphore(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkSemaphoreCreateInfo> pCreateInfo,
                          vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkSemaphore> pSemaphore,
                          result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateSemaphore", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pSemaphore_ptr", pSemaphore.address);
    vk_create<&vk::vkCreateSemaphore, &vk::vkDestroySemaphore>(call, call.lock(device), pCreateInfo,
                                                               pSemaphore);
}

void vk_vkDestroySemaphore(pid_t pid, tid_t tid, VkDevice device, VkSemaphore semaphore,
                           vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroySemaphore", pid, tid};
    call.trace("target_device", device, "target_semaphore", semaphore, "pAllocator_ptr", pAllocator.address);
    vk_destroy<&vk::vkDestroySemaphore>(call, call.lock(device), semaphore);
}

void vk_vkCreateEvent(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkEventCreateInfo> pCreateInfo,
                      vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkEvent> pEvent,
                      result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateEvent", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pEvent_ptr", pEvent.address);
    vk_create<&vk::vkCreateEvent, &vk::vkDestroyEvent>(call, call.lock(device), pCreateInfo, pEvent);
}

void vk_vkDestroyEvent(pid_t pid, tid_t tid, VkDevice device, VkEvent event,
                       vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyEvent", pid, tid};
    call.trace("target_device", device, "target_event", event, "pAllocator_ptr", pAllocator.address);
    vk_destroy<&vk::vkDestroyEvent>(call, call.lock(device), event);
}

namespace {
template <auto Field>
vk_entry_of<VkEvent>* event_call(vk_handler& call, VkDevice device, VkEvent event)
{
    auto* data = call.lock(device);
    VkEvent host = event;
    if (!data || !vk_to_host(call, data, &host))
        return nullptr;
    call.result = call.host<Field>(data->device, host);
    return &data->event.at(event);
}
} // namespace

void vk_vkGetEventStatus(pid_t pid, tid_t tid, VkDevice device, VkEvent event,
                         result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetEventStatus", pid, tid, target_result};
    call.trace("target_device", device, "target_event", event);
    event_call<&vk::vkGetEventStatus>(call, device, event);
}

void vk_vkSetEvent(pid_t pid, tid_t tid, VkDevice device, VkEvent event, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkSetEvent", pid, tid, target_result};
    call.trace("target_device", device, "target_event", event);
    if (auto* entry = event_call<&vk::vkSetEvent>(call, device, event))
        entry->set = true;
}

void vk_vkResetEvent(pid_t pid, tid_t tid, VkDevice device, VkEvent event, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkResetEvent", pid, tid, target_result};
    call.trace("target_device", device, "target_event", event);
    if (auto* entry = event_call<&vk::vkResetEvent>(call, device, event))
        entry->set = false;
}
