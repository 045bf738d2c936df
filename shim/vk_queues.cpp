// Submissions and fences. Frames are shown when their queue is idle, not when semaphores say so. But a
// semaphore that was presented with has to be waited for all the same, or its next signal would meet one that
// is signalled already: the next submission does it, which costs nothing, as one of its own for each frame
// would.

#include "shim/connection.h"
#include "shim/vk_entries.h"
#include "shim/vk_objects.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <mutex>
#include <thread>

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

VkResult send_submission(VkQueue queue, uint32_t count, const VkSubmitInfo* infos, VkFence fence)
{
    {
        vk_device& device = device_of(queue);
        const std::lock_guard<process_lock> guard{device.lock};
        if (!device.presented_with.empty())
            return submit_behind_wait(queue, device, count, infos, fence);
    }
    return SEND_VK(vk_queue_submit, vkQueueSubmit, {}, queue, count, infos, fence);
}

VkResult submit(VkQueue queue, uint32_t count, const VkSubmitInfo* infos, VkFence fence)
{
    if (!fence)
        return send_submission(queue, count, infos, fence);
    known_fences& fences = device_of(queue).fences;
    const auto begun = fences.submitting(fence, queue);
    const VkResult result = send_submission(queue, count, infos, fence);
    if (result == VK_SUCCESS)
        fences.submitted(fence, begun);
    return result;
}

VkResult wait_for_queue(VkQueue queue)
{
    known_fences& fences = device_of(queue).fences;
    const auto before = fences.now();
    const VkResult result = vk_entry<in::vk_queue_wait_idle, decltype(vkQueueWaitIdle)>::call(queue);
    if (result == VK_SUCCESS)
        fences.idle_since(before, queue);
    return result;
}

VkResult wait_for_device(VkDevice device)
{
    known_fences& fences = object_of(device).fences;
    const auto before = fences.now();
    const VkResult result = vk_entry<in::vk_device_wait_idle, decltype(vkDeviceWaitIdle)>::call(device);
    if (result == VK_SUCCESS)
        fences.idle_since(before, nullptr);
    return result;
}

// Fences

bool known_to_be_signalled(VkDevice device, uint32_t count, const VkFence* fences, VkBool32 all)
{
    known_fences& known = object_of(device).fences;
    while (!known.signalled(count, fences, all))
        if (!finish_a_late_frame()) // whose arrival would tell
            return false;
    return true;
}

/// A wait holds up every other thread of the process, and one of them may be about to submit what it waits
/// for. So it goes to the library in pieces.
VkResult wait_for_fences(VkDevice device, uint32_t count, const VkFence* fences, VkBool32 all,
                         uint64_t timeout)
{
    if (known_to_be_signalled(device, count, fences, all))
        return VK_SUCCESS;
    using clock = std::chrono::steady_clock;
    constexpr uint64_t piece = 10'000'000; // nanoseconds
    const auto begin = clock::now();
    for (uint64_t left = timeout;;) {
        const VkResult result = SEND_VK(vk_wait_for_fences, vkWaitForFences, {}, device, count, fences, all,
                                        std::min(left, piece));
        if (result != VK_TIMEOUT)
            return result;
        const auto passed = static_cast<uint64_t>(std::chrono::nanoseconds{clock::now() - begin}.count());
        if (passed >= timeout)
            return VK_TIMEOUT;
        left = timeout - passed;
        // The lock goes to whoever comes first, which would be this thread again.
        std::this_thread::sleep_for(std::chrono::microseconds{20});
    }
}

VkResult get_fence_status(VkDevice device, VkFence fence)
{
    if (known_to_be_signalled(device, 1, &fence, true))
        return VK_SUCCESS;
    return vk_entry<in::vk_get_fence_status, decltype(vkGetFenceStatus)>::call(device, fence);
}

VkResult reset_fences(VkDevice device, uint32_t count, const VkFence* fences)
{
    object_of(device).fences.forget(count, fences);
    return vk_entry<in::vk_reset_fences, decltype(vkResetFences)>::call(device, count, fences);
}

void destroy_fence(VkDevice device, VkFence fence, const VkAllocationCallbacks* allocator)
{
    object_of(device).fences.forget(1, &fence);
    vk_entry<in::vk_destroy_fence, decltype(vkDestroyFence)>::call(device, fence, allocator);
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

known_fences::moment known_fences::now()
{
    const std::lock_guard<process_lock> guard{lock_};
    return last_;
}

known_fences::moment known_fences::submitting(VkFence fence, VkQueue queue)
{
    const std::lock_guard<process_lock> guard{lock_};
    constexpr moment never = UINT64_MAX;
    fences_[fence] = {queue, ++last_, never, false};
    return last_;
}

void known_fences::submitted(VkFence fence, moment begun)
{
    const std::lock_guard<process_lock> guard{lock_};
    if (const auto found = fences_.find(fence); found != fences_.end() && found->second.begun == begun)
        found->second.made = ++last_;
}

void known_fences::idle_since(moment before, VkQueue queue)
{
    const std::lock_guard<process_lock> guard{lock_};
    for (auto& [fence, one] : fences_)
        if (one.made <= before && (!queue || one.queue == queue))
            one.done = true;
}

void known_fences::forget(uint32_t count, const VkFence* fences)
{
    const std::lock_guard<process_lock> guard{lock_};
    for (uint32_t i = 0; i < count; ++i)
        fences_.erase(fences[i]);
}

bool known_fences::signalled(uint32_t count, const VkFence* fences, bool all)
{
    const std::lock_guard<process_lock> guard{lock_};
    const auto known = [this](VkFence fence) {
        const auto found = fences_.find(fence);
        return found != fences_.end() && found->second.done;
    };
    return all ? std::all_of(fences, fences + count, known) : std::any_of(fences, fences + count, known);
}

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
        make_vk_entry_point("vkQueueWaitIdle", wait_for_queue),
        make_vk_entry_point("vkDeviceWaitIdle", wait_for_device),
        make_vk_entry_point("vkDestroySemaphore", destroy_semaphore),
        make_vk_entry_point("vkWaitForFences", wait_for_fences),
        make_vk_entry_point("vkGetFenceStatus", get_fence_status),
        make_vk_entry_point("vkResetFences", reset_fences),
        make_vk_entry_point("vkDestroyFence", destroy_fence),
    };
    return {all, std::size(all)};
}

} // namespace shim
