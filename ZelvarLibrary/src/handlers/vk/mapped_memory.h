#pragma once
// Mapped memory exists twice, on the target and on the host; these are the moments at which the one is copied
// to the other. The caller holds the device.

#include "handlers/vk/vk_handler.h"

/// Before a submission: what the target has written to mapped coherent memory reaches the host.
void vk_read_coherent_memory(const vk_frame& call, vk_device_record* device);
/// After a submission: waits until `queue` (the host's) is idle and gives the target what the host has
/// written since `vk_read_coherent_memory`. Does nothing on a device without coherent memory; waits even when
/// none of it is mapped. The host's result.
VkResult vk_write_coherent_memory(const vk_frame& call, vk_device_record* device, VkQueue queue);

/// Copies `size` bytes from `offset` of the memory on, as far as the mapping goes; nothing for what begins
/// outside of it.
void vk_read_mapping(const vk_frame& call, const vk_memory_data& memory, uint64_t offset, uint64_t size);
void vk_write_mapping(const vk_frame& call, const vk_memory_data& memory, uint64_t offset, uint64_t size);

/// Decodes the blocks of an ASTC image from `source` on, of which `source_size` bytes may be read, into
/// `destination`, of which `destination_size` may be written. Missing blocks come out in the error colour.
/// Both may be the same memory.
void vk_decode_astc(const VkImageCreateInfo& image, const uint8_t* source, uint64_t source_size,
                    uint8_t* destination, uint64_t destination_size);
