#include "handlers/vk/submission.h"

namespace {
constexpr const char* no_semaphore = "a semaphore is missing";
}

const char* vk_submission::add(const VkSubmitInfo& info)
{
    const uint32_t count = info.pCommandBuffers ? info.commandBufferCount : 0;
    if (const char* reason = wait(info.pWaitSemaphores, info.waitSemaphoreCount))
        return reason;
    for (uint32_t i = 0; i < count; ++i) {
        if (!can_run(info.pCommandBuffers[i]))
            return "what a command buffer uses has ended since, or it is no primary one";
        auto found = _data->commands.find(info.pCommandBuffers[i]);
        if (found != _data->commands.end() && !run_events(found->second))
            return "it waits for an event that nothing sets";
        _recordings.push_back(info.pCommandBuffers[i]);
    }
    return signal(info.pSignalSemaphores, info.signalSemaphoreCount);
}

const char* vk_submission::add(const VkBindSparseInfo& info)
{
    const char* reason = wait(info.pWaitSemaphores, info.waitSemaphoreCount);
    return reason ? reason : signal(info.pSignalSemaphores, info.signalSemaphoreCount);
}

const char* vk_submission::wait(const VkSemaphore* semaphores, uint32_t count)
{
    for (uint32_t i = 0; semaphores && i < count; ++i) {
        const VkSemaphore target = semaphores[i];
        if (!target)
            return no_semaphore;
        auto* known = vk_known(_data, target);
        if (!known || known->signalled_by_system)
            continue;
        bool& pending = _pending.try_emplace(target, known->pending).first->second;
        if (!pending) // nor can anything: the queue takes nothing further
            return "it waits for a semaphore that nothing signals";
        pending = false;
    }
    return nullptr;
}

const char* vk_submission::signal(const VkSemaphore* semaphores, uint32_t count)
{
    for (uint32_t i = 0; semaphores && i < count; ++i) {
        const VkSemaphore target = semaphores[i];
        if (!target)
            return no_semaphore;
        _pending[target] = true;
    }
    return nullptr;
}

/// All that it uses is still there, and so for those that it executes.
bool vk_submission::can_run(VkCommandBuffer target) const
{
    auto found = _data->commands.find(target);
    if (found == _data->commands.end())
        return true;
    const vk_command_state& state = found->second;
    for (const auto& [executed, serial] : state.executed) {
        auto other = _data->commands.find(executed);
        if (other == _data->commands.end() || other->second.serial != serial || other->second.stale)
            return false;
    }
    return !state.secondary && !state.stale;
}

bool vk_submission::run_events(const vk_command_state& state)
{
    for (const vk_event_step& step : state.event_steps) {
        if (step.does == vk_event_step::execute) {
            auto found = _data->commands.find(step.executed);
            // Those that are executed execute nothing.
            if (found != _data->commands.end() && found->second.secondary && !run_events(found->second))
                return false;
            continue;
        }
        auto* known = vk_known(_data, step.event);
        if (!known)
            continue;
        bool& set = _set.try_emplace(step.event, known->set).first->second;
        if (step.does == vk_event_step::wait && !set) {
            if (lasts())
                return false;
            _awaited.push_back(step.event);
        }
        set = step.does != vk_event_step::reset;
    }
    return true;
}

void vk_submission::note_recording(VkCommandBuffer target, uint64_t number)
{
    auto found = _data->commands.find(target);
    if (found == _data->commands.end())
        return;
    found->second.submission = number;
    for (const auto& [executed, serial] : found->second.executed)
        if (auto other = _data->commands.find(executed); other != _data->commands.end())
            other->second.submission = number;
}

void vk_submission::taken(VkQueue host_queue, VkFence fence)
{
    vk_queue_progress& queue = _data->queues[host_queue];
    const uint64_t number = queue.submitted = ++_data->last_submission;
    for (VkEvent event : _awaited)
        queue.awaited.emplace_back(number, event);
    for (VkCommandBuffer target : _recordings)
        note_recording(target, number);
    for (const auto& [target, pending] : _pending)
        if (auto found = _data->semaphore.find(target); found != _data->semaphore.end()) {
            found->second.pending = pending;
            found->second.submission = number;
            found->second.host_queue = host_queue;
        }
    for (const auto& [target, set] : _set)
        if (auto found = _data->event.find(target); found != _data->event.end())
            found->second.set = set;
    auto found = _data->fence.find(fence);
    if (found != _data->fence.end() && !found->second.signalled_by_system) {
        found->second.submission = number;
        found->second.host_queue = host_queue;
    }
}
