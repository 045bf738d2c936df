#pragma once
// Whether a queue can take work to its end: a host that waits for what never comes, or follows what has
// ended, takes the whole simulator with it.

#include "handlers/vk/host_bounds.h"

/// Goes through batches in their order, with the target's handles.
class vk_submission
{
public:
    explicit vk_submission(vk_device_record* data) : _data(data) {}

    /// Why the host mustn't get a batch; null when it may.
    const char* add(const VkSubmitInfo& info);
    const char* add(const VkBindSparseInfo& info);
    /// The host has taken all of them, and signals the target's fence behind.
    void taken(VkQueue host_queue, VkFence fence);

private:
    /// With coherent memory a submission lasts as long as its work, and nobody can set an event in between.
    bool lasts() const { return !_data->coherent_memory.empty(); }
    const char* wait(const VkSemaphore* semaphores, uint32_t count);
    const char* signal(const VkSemaphore* semaphores, uint32_t count);
    bool can_run(VkCommandBuffer target) const;
    bool run_events(const vk_command_state& state);
    void note_recording(VkCommandBuffer target, uint64_t number);

    vk_device_record* _data;
    std::map<VkSemaphore, bool> _pending; // where that changes, likewise the events
    std::map<VkEvent, bool> _set;
    std::vector<VkEvent> _awaited;
    std::vector<VkCommandBuffer> _recordings;
};
