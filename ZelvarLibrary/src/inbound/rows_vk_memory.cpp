// Rows of device memory, what is bound to it, and images.

#include "handlers/vk/memory_handlers.h"
#include "inbound/rows.h"
#include "inbound/vk_decoder.h"
#include "wire/wire.h"

#include <iterator>

const built_row vk_memory_rows[] = {
    VK_ROW(vk_allocate_memory, vk_vkAllocateMemory),
    VK_ROW(vk_free_memory, vk_vkFreeMemory),
    VK_ROW(vk_map_memory, vk_vkMapMemory),
    VK_ROW(vk_unmap_memory, vk_vkUnmapMemory),
    VK_ROW(vk_flush_mapped_memory_ranges, vk_vkFlushMappedMemoryRanges),
    VK_ROW(vk_invalidate_mapped_memory_ranges, vk_vkInvalidateMappedMemoryRanges),
    VK_ROW(vk_get_device_memory_commitment, vk_vkGetDeviceMemoryCommitment),
    VK_ROW(vk_bind_buffer_memory, vk_vkBindBufferMemory),
    VK_ROW(vk_bind_image_memory, vk_vkBindImageMemory),
    VK_ROW(vk_get_buffer_memory_requirements, vk_vkGetBufferMemoryRequirements),
    VK_ROW(vk_get_image_memory_requirements, vk_vkGetImageMemoryRequirements),
    VK_ROW(vk_get_image_sparse_memory_requirements, vk_vkGetImageSparseMemoryRequirements),
    VK_ROW(vk_create_image, vk_vkCreateImage),
    VK_ROW(vk_destroy_image, vk_vkDestroyImage),
    VK_ROW(vk_get_image_subresource_layout, vk_vkGetImageSubresourceLayout),
};
const size_t vk_memory_row_count = std::size(vk_memory_rows);
