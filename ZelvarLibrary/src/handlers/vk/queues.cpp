// Queues: submission, sparse binding and waiting. Submission is where the target's memory and the host's
// meet.

#include "handlers/vk/mapped_memory.h"
#include "handlers/vk/plain_objects.h"
#include "handlers/vk/queue_handlers.h"
#include "handlers/vk/queue_progress.h"
#include "handlers/vk/submission.h"

using vk = sidechannel_vk_imports;

namespace {
/// The fence that the host is to signal: none in the place of one that the system has signalled itself.
bool fence_to_host(vk_device_record* data, VkFence* fence)
{
    if (!*fence)
        return true;
    vk_entry_of<VkFence>* entry = nullptr;
    if (!vk_registry::get_data(data, *fence, &entry)) {
        LOG_FATAL("Could not get a host<=>target vulkan fence mapping for target fence [%p] ",
                  static_cast<void*>(*fence));
        return false;
    }
    *fence = entry->signalled_by_system ? VK_NULL_HANDLE : entry->host;
    return true;
}

/// Gives back what is to be told once the host has taken the batches.
template <class Infos>
vk_submission checked(vk_handler& call, vk_device_record* data, const Infos& infos)
{
    vk_submission submission{data};
    for (uint32_t i = 0; i < infos.count; ++i)
        if (const char* reason = submission.add(infos.data[i]))
            call.refuse(reason);
    return submission;
}

bool command_buffers_to_host(const vk_handler& call, const vk_array<VkSubmitInfo, 1>& submits)
{
    for (uint32_t i = 0; i < submits.count; ++i) {
        const VkSubmitInfo& info = submits.data[i];
        if (info.pCommandBuffers &&
            !vk_command_buffers_to_host(call, const_cast<VkCommandBuffer*>(info.pCommandBuffers),
                                        info.commandBufferCount))
            return false;
    }
    return true;
}
} // namespace

void vk_vkQueueSubmit(pid_t pid, tid_t tid, VkQueue queue, uint32_t submitCount,
                      vk_array<VkSubmitInfo, 1> pSubmits, VkFence fence, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkQueueSubmit", pid, tid, target_result};
    call.trace("target_queue", queue, "submitCount", submitCount, "pSubmits_ptr", pSubmits.address,
               "target_fence", fence);
    VkQueue host = VK_NULL_HANDLE;
    auto* data = call.lock_queue(queue, &host);
    if (!data)
        return;
    vk_submission submission = checked(call, data, pSubmits);
    const VkFence target_fence = fence;
    call.prepare(data, pSubmits.data, pSubmits.count, "pSubmits[%u]");
    if (!command_buffers_to_host(call, pSubmits) || !fence_to_host(data, &fence))
        return;
    if (call.refused())
        return;
    vk_read_coherent_memory(call, data);
    call.result = call.host<&vk::vkQueueSubmit>(host, pSubmits.count, pSubmits.data, fence);
    if (call.result == VK_SUCCESS)
        submission.taken(host, target_fence);
    else
        LOG_ERROR("vkQueueSubmit on host returns %d", call.result);
    if (VkResult waited = vk_write_coherent_memory(call, data, host); waited != VK_SUCCESS)
        LOG_ERROR("vkQueueWaitIdle on host returns %d", waited);
}

void vk_vkQueueBindSparse(pid_t pid, tid_t tid, VkQueue queue, uint32_t bindInfoCount,
                          vk_array<VkBindSparseInfo, 1> pBindInfo, VkFence fence,
                          result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkQueueBindSparse", pid, tid, target_result};
    call.trace("target_queue", queue, "bindInfoCount", bindInfoCount, "pBindInfo_ptr", pBindInfo.address,
               "target_fence", fence);
    VkQueue host = VK_NULL_HANDLE;
    auto* data = call.lock_queue(queue, &host);
    if (!data)
        return;
    vk_submission submission = checked(call, data, pBindInfo);
    const VkFence target_fence = fence;
    call.prepare(data, pBindInfo.data, pBindInfo.count, "pBindInfo[%u]");
    if (fence_to_host(data, &fence))
        call.result = call.host<&vk::vkQueueBindSparse>(host, pBindInfo.count, pBindInfo.data, fence);
    if (call.result == VK_SUCCESS)
        submission.taken(host, target_fence);
}

void vk_vkQueueWaitIdle(pid_t pid, tid_t tid, VkQueue queue, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkQueueWaitIdle", pid, tid, target_result};
    call.trace("target_queue", queue);
    VkQueue host = VK_NULL_HANDLE;
    if (auto* data = call.lock_queue(queue, &host))
        call.result = vk_wait_for_queue(call, data, host);
}

void vk_vkDeviceWaitIdle(pid_t pid, tid_t tid, VkDevice device, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkDeviceWaitIdle", pid, tid, target_result};
    call.trace("target_device", device);
    if (auto* data = call.lock(device))
        call.result = vk_wait_for_device(call, data);
}
