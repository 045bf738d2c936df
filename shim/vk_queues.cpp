// Submissions. Frames are shown when their queue is idle, not when semaphores say so. But a semaphore that
// was presented with has to be waited for all the same, or its next signal would meet one that is signalled
// already: the next submission does it, which costs nothing, as one of its own for each frame would.

#include "shim/vk_entries.h"
#include "shim/vk_objects.h"

#include <iterator>
#include <mutex>

namespace shim {

namespace in = wire::inbound;

namespace {

vk_device& device_of(VkQueue queue)
{
    return object_of(object_of(queue).device);
}

/// Submits behind a wait for what was presented with. For one who holds the device's lock: no other
/// submission may signal those semaphores before.
VkResult submit_behind_wait(VkQueue queue, vk_device& device, uint32_t count, const VkSubmitInfo* infos,
                            VkFence fence)
{
    const std::vector<VkPipelineStageFlags> stages(device.presented_with.size(),
                                                   VK_PIPELINE_STAGE_ALL_COMMANDS_BIT);
    VkSubmitInfo wait{};
    wait.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO;
    wait.waitSemaphoreCount = static_cast<uint32_t>(stages.size());
    wait.pWaitSemaphores = device.presented_with.data();
    wait.pWaitDstStageMask = stages.data();
    std::vector<VkSubmitInfo> all{wait};
    all.insert(all.end(), infos, infos + count);
    const VkResult result = SEND_VK(vk_queue_submit, vkQueueSubmit, {}, queue,
                                    static_cast<uint32_t>(all.size()), all.data(), fence);
    if (result == VK_SUCCESS)
        device.presented_with.clear();
    return result;
}

VkResult submit(VkQueue queue, uint32_t count, const VkSubmitInfo* infos, VkFence fence)
{
    {
        vk_device& device = device_of(queue);
        const std::lock_guard<process_lock> guard{device.lock};
        if (!device.presented_with.empty())
            return submit_behind_wait(queue, device, count, infos, fence);
    }
    return SEND_VK(vk_queue_submit, vkQueueSubmit, {}, queue, count, infos, fence);
}

VkResult bind_sparse(VkQueue queue, uint32_t count, const VkBindSparseInfo* infos, VkFence fence)
{
    {
        vk_device& device = device_of(queue);
        const std::lock_guard<process_lock> guard{device.lock};
        if (!device.presented_with.empty())
            submit_behind_wait(queue, device, 0, nullptr, VkFence{});
    }
    return SEND_VK(vk_queue_bind_sparse, vkQueueBindSparse, {}, queue, count, infos, fence);
}

void destroy_semaphore(VkDevice device, VkSemaphore semaphore, const VkAllocationCallbacks* allocator)
{
    {
        vk_device& self = object_of(device);
        const std::lock_guard<process_lock> guard{self.lock};
        std::erase(self.presented_with, semaphore);
    }
    vk_entry<in::vk_destroy_semaphore, decltype(vkDestroySemaphore)>::call(device, semaphore, allocator);
}

} // namespace

void note_presented_with(VkQueue queue, uint32_t count, const VkSemaphore* semaphores)
{
    vk_device& device = device_of(queue);
    const std::lock_guard<process_lock> guard{device.lock};
    device.presented_with.insert(device.presented_with.end(), semaphores, semaphores + count);
}

vk_entry_points vk_queue_entry_points()
{
    static const vk_entry_point all[] = {
        make_vk_entry_point("vkQueueSubmit", submit),
        make_vk_entry_point("vkQueueBindSparse", bind_sparse),
        make_vk_entry_point("vkDestroySemaphore", destroy_semaphore),
    };
    return {all, std::size(all)};
}

} // namespace shim
