#pragma once
// Whether regions of images lie where the images are. Images of which nothing is known hold everything.

#include "handlers/vk/vk_handler.h"

/// An image as the host has it.
struct vk_image_shape
{
    VkFormat format = VK_FORMAT_UNDEFINED;
    VkImageType type = VK_IMAGE_TYPE_2D;
    VkExtent3D extent{};
    uint32_t levels = 0; // none: nothing is known
    uint32_t layers = 0;
    VkSampleCountFlagBits samples = VK_SAMPLE_COUNT_1_BIT;
    bool has_memory = false;

    bool known() const { return levels != 0; }
    /// Sizes of a level; `level` is one of the image's.
    VkExtent3D extent_of(uint32_t level) const;
    /// Layers, or slices of a level where those take their place.
    uint32_t slices_of(uint32_t level) const;
};
vk_image_shape vk_shape_of(vk_device_record* data, VkImage target);

/// `count` may be VK_REMAINING_...; it becomes the number that this means. False when there aren't so many.
bool vk_take_range(uint32_t first, uint32_t* count, uint32_t all);

bool vk_can_copy(const vk_image_shape& source, const vk_image_shape& destination, const VkImageCopy& region);
bool vk_can_blit(const vk_image_shape& source, const vk_image_shape& destination, const VkImageBlit& region);
bool vk_can_resolve(const vk_image_shape& source, const vk_image_shape& destination,
                    const VkImageResolve& region);
/// Between an image and a buffer of `bytes`.
bool vk_can_copy(const vk_image_shape& image, uint64_t bytes, const VkBufferImageCopy& region);
bool vk_can_clear(const vk_image_shape& image, const VkImageSubresourceRange& range, bool depth_stencil);
