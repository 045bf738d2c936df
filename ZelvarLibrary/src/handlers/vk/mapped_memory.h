#pragma once
// Mapped memory exists twice, on the target and on the host; these are the moments at which the one is copied
// to the other. The caller holds the device.

#include "handlers/vk/vk_handler.h"

/// Before a submission: what the target has written to mapped coherent memory reaches the host.
void vk_read_coherent_memory(const vk_frame& call, vk_device_record* device);
/// After a submission: waits until `queue` (the host's) is idle and gives the target what the host has
/// written. Does nothing on a device without coherent memory; waits even when none of it is mapped. The
/// host's result.
VkResult vk_write_coherent_memory(const vk_frame& call, vk_device_record* device, VkQueue queue);
/// Copies `size` bytes from `offset` of the mapping on, clipped to the mapping. False when nothing is mapped
/// there.
bool vk_read_mapping(const vk_frame& call, const vk_memory_data& memory, uint64_t offset, uint64_t size);
bool vk_write_mapping(const vk_frame& call, const vk_memory_data& memory, uint64_t offset, uint64_t size);
