#include "handlers/vk/queue_progress.h"

#include <algorithm>

using vk = sidechannel_vk_imports;

namespace {
constexpr uint64_t moment = 1'000'000'000; // nanoseconds

void note_idle(vk_queue_progress& queue)
{
    queue.done = queue.submitted;
    queue.awaited.clear();
}

bool is_kept(const vk_device_record* data)
{
    return std::any_of(data->queues.begin(), data->queues.end(),
                       [](const auto& queue) { return !queue.second.awaited.empty(); });
}

/// All of them: queues may wait for one another.
void set_awaited(const vk_frame& call, vk_device_record* data)
{
    auto set = call.function<&vk::vkSetEvent>();
    for (const auto& [host_queue, queue] : data->queues)
        for (const auto& [submission, target] : queue.awaited)
            if (auto event = data->event.find(target); set && event != data->event.end())
                set(data->device, event->second.host);
}

/// Sees to it that nothing keeps the queue any more.
void release(const vk_frame& call, vk_device_record* data, VkQueue host_queue)
{
    auto create = call.function<&vk::vkCreateFence>();
    auto submit = call.function<&vk::vkQueueSubmit>();
    auto wait = call.function<&vk::vkWaitForFences>();
    auto destroy = call.function<&vk::vkDestroyFence>();
    VkFenceCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO;
    VkFence fence = VK_NULL_HANDLE;
    if (!create || !submit || !wait || !destroy || create(data->device, &info, nullptr, &fence) != VK_SUCCESS)
        return set_awaited(call, data);
    VkResult result = submit(host_queue, 0, nullptr, fence);
    if (result == VK_SUCCESS)
        result = wait(data->device, 1, &fence, VK_TRUE, moment);
    if (result == VK_TIMEOUT)
        LOG_ERROR("%s: a queue waits for an event that nothing sets, it is set.", call.key);
    // A recording may reset what it has waited for, and wait again.
    for (constexpr uint64_t step = 10'000'000; result == VK_TIMEOUT;) {
        set_awaited(call, data);
        result = wait(data->device, 1, &fence, VK_TRUE, step);
    }
    destroy(data->device, fence, nullptr);
}

bool can_come(const vk_device_record* data, VkFence target)
{
    auto fence = data->fence.find(target);
    if (fence == data->fence.end() || fence->second.signalled_by_system)
        return true;
    const uint64_t submission = fence->second.submission;
    return submission && std::none_of(data->queues.begin(), data->queues.end(), [&](const auto& queue) {
               return !queue.second.awaited.empty() && queue.second.awaited.front().first <= submission;
           });
}
} // namespace

bool vk_may_run(const vk_device_record* data, uint64_t submission)
{
    return submission && std::any_of(data->queues.begin(), data->queues.end(), [&](const auto& queue) {
               return queue.second.busy() && queue.second.done < submission;
           });
}

bool vk_may_use(const vk_device_record* data, uint64_t serial)
{
    if (std::none_of(data->queues.begin(), data->queues.end(),
                     [](const auto& queue) { return queue.second.busy(); }))
        return false;
    return std::any_of(data->commands.begin(), data->commands.end(), [&](const auto& recording) {
        return vk_may_run(data, recording.second.submission) && recording.second.used.contains(serial);
    });
}

VkResult vk_wait_for_queue(const vk_frame& call, vk_device_record* data, VkQueue host_queue)
{
    auto found = data->queues.find(host_queue);
    if (is_kept(data))
        release(call, data, host_queue);
    auto wait = call.function<&vk::vkQueueWaitIdle>();
    const VkResult result = wait ? wait(host_queue) : VK_SUCCESS;
    if (found != data->queues.end() && result == VK_SUCCESS)
        note_idle(found->second);
    return result;
}

VkResult vk_wait_for_device(const vk_frame& call, vk_device_record* data)
{
    if (is_kept(data))
        for (const auto& [host_queue, queue] : data->queues)
            release(call, data, host_queue);
    auto wait = call.function<&vk::vkDeviceWaitIdle>();
    const VkResult result = wait ? wait(data->device) : VK_SUCCESS;
    if (result == VK_SUCCESS)
        for (auto& [host_queue, queue] : data->queues)
            note_idle(queue);
    return result;
}

void vk_release_queues(const vk_frame& call, vk_device_record* data)
{
    if (is_kept(data))
        vk_wait_for_device(call, data);
}

void vk_note_done(vk_device_record* data, const vk_signal_data& fence)
{
    auto queue = data->queues.find(fence.host_queue);
    if (queue == data->queues.end() || fence.submission <= queue->second.done)
        return;
    queue->second.done = fence.submission;
    std::erase_if(queue->second.awaited,
                  [&](const auto& awaited) { return awaited.first <= fence.submission; });
}

uint64_t vk_patience(const vk_device_record* data, const VkFence* targets, uint32_t count, bool all,
                     uint64_t timeout)
{
    const auto comes = [data](VkFence target) { return can_come(data, target); };
    const VkFence* end = targets + count;
    const bool may_end = all ? std::all_of(targets, end, comes) : std::any_of(targets, end, comes);
    return may_end ? timeout : std::min(timeout, moment);
}
