#pragma once
// What queues of the host may still be at, and waiting for them. Without coherent memory a submission goes on
// behind the call that made it: what it uses must not end before, and it may wait for an event that the
// target never sets.

#include "handlers/vk/vk_handler.h"

/// The submission may not have ended; number 0 has.
bool vk_may_run(const vk_device_record* data, uint64_t submission);
/// So may one that uses the object with this serial.
bool vk_may_use(const vk_device_record* data, uint64_t serial);

/// Waits until the queue has nothing left. An event that still keeps it is set, with one ERROR line: who
/// waits holds the device's lock, so that nobody else could.
VkResult vk_wait_for_queue(const vk_frame& call, vk_device_record* data, VkQueue host_queue);
/// The same for all queues.
VkResult vk_wait_for_device(const vk_frame& call, vk_device_record* data);
/// Waits for the device if an event keeps one of its queues.
void vk_release_queues(const vk_frame& call, vk_device_record* data);
/// Waits for the device if a submission may use the object, which is about to end.
template <class Entry>
void vk_let_finish(const vk_frame& call, vk_device_record* data, const Entry& entry)
{
    bool runs = vk_may_use(data, entry.serial);
    if constexpr (requires { entry.submission; })
        runs |= vk_may_run(data, entry.submission);
    if (runs)
        vk_wait_for_device(call, data);
}

/// The fence is signalled: what its queue got up to its submission has ended.
void vk_note_done(vk_device_record* data, const vk_signal_data& fence);
/// For how long to wait for fences: no longer than a moment where they can't come in the meantime, as who
/// waits holds the device's lock.
uint64_t vk_patience(const vk_device_record* data, const VkFence* targets, uint32_t count, bool all,
                     uint64_t timeout);
