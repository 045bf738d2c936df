#include "handlers/vk/image_bounds.h"

#include "handlers/vk/host_bounds.h"
#include "handlers/vk/texel_sizes.h"
#include "pixels/astc_formats.h"

#include <algorithm>

VkExtent3D vk_image_shape::extent_of(uint32_t level) const
{
    auto at_level = [level](uint32_t size) { return level < 32 ? std::max(size >> level, 1u) : 1u; };
    return {at_level(extent.width), at_level(extent.height), at_level(extent.depth)};
}

uint32_t vk_image_shape::slices_of(uint32_t level) const
{
    return type == VK_IMAGE_TYPE_3D ? extent_of(level).depth : layers;
}

vk_image_shape vk_shape_of(vk_device_record* data, VkImage target)
{
    auto* image = vk_known(data, target);
    if (!image || image->create_info.mipLevels == 0)
        return {};
    const VkImageCreateInfo& made = image->create_info;
    vk_image_shape shape{made.format,    made.imageType,   made.extent,
                         made.mipLevels, made.arrayLayers, made.samples};
    zelvar_helper_convert_format(&shape.format);
    constexpr VkImageCreateFlags sparse = VK_IMAGE_CREATE_SPARSE_BINDING_BIT;
    shape.has_memory = image->host_backing || (made.flags & sparse) ||
                       vk_memory_lives(data, image->target_memory, image->memory_serial);
    return shape;
}

bool vk_take_range(uint32_t first, uint32_t* count, uint32_t all)
{
    if (*count == UINT32_MAX && first < all)
        *count = all - first;
    return *count > 0 && vk_within(first, *count, all);
}

namespace {
/// From `first` on, which may be negative in what a target sends.
bool spans(int32_t first, uint64_t size, uint64_t all)
{
    return first >= 0 && vk_within(static_cast<uint32_t>(first), size, all);
}
uint64_t blocks(uint64_t texels, uint32_t of_block)
{
    return (texels + of_block - 1) / of_block;
}

bool has_subresource(const vk_image_shape& image, const VkImageSubresourceLayers& layers)
{
    return layers.mipLevel < image.levels && layers.layerCount > 0 &&
           vk_within(layers.baseArrayLayer, layers.layerCount, image.layers) &&
           (layers.aspectMask & ~vk_aspects_of(image.format)) == 0 && layers.aspectMask != 0;
}

/// One side of a copy: `width` and `height` in blocks.
bool holds(const vk_image_shape& image, const VkImageSubresourceLayers& layers, const VkOffset3D& offset,
           uint64_t width, uint64_t height, uint64_t slices)
{
    if (!has_subresource(image, layers) || !image.has_memory)
        return false;
    const VkExtent3D all = image.extent_of(layers.mipLevel);
    const vk_texel_block block = vk_block_of(image.format);
    const bool is_3d = image.type == VK_IMAGE_TYPE_3D;
    return spans(offset.x, width * block.width, blocks(all.width, block.width) * block.width) &&
           spans(offset.y, height * block.height, blocks(all.height, block.height) * block.height) &&
           (is_3d ? spans(offset.z, slices, all.depth)
                  : offset.z == 0 && vk_within(layers.baseArrayLayer, slices, image.layers));
}
} // namespace

bool vk_can_copy(const vk_image_shape& source, const vk_image_shape& destination, const VkImageCopy& region)
{
    if (!source.known() || !destination.known())
        return true;
    const vk_texel_block from = vk_block_of(source.format);
    const vk_texel_block to = vk_block_of(destination.format);
    const bool depth_stencil = vk_is_depth_stencil(source.format) || vk_is_depth_stencil(destination.format);
    if (from.bytes == 0 || from.bytes != to.bytes || source.samples != destination.samples ||
        (depth_stencil && source.format != destination.format))
        return false;
    // Slices of the one may become layers of the other; a driver goes by either number.
    const uint32_t slices =
        std::max({region.extent.depth, region.srcSubresource.layerCount, region.dstSubresource.layerCount});
    const uint64_t width = blocks(region.extent.width, from.width);
    const uint64_t height = blocks(region.extent.height, from.height);
    return holds(source, region.srcSubresource, region.srcOffset, width, height, slices) &&
           holds(destination, region.dstSubresource, region.dstOffset, width, height, slices);
}

bool vk_can_copy(const vk_image_shape& image, uint64_t bytes, const VkBufferImageCopy& region)
{
    if (!image.known())
        return true;
    const vk_texel_block block = vk_block_of(image.format);
    const VkImageAspectFlags aspect = region.imageSubresource.aspectMask;
    const uint32_t texel = vk_bytes_in_buffer(image.format, aspect);
    const VkExtent3D& extent = region.imageExtent;
    const uint64_t width = blocks(extent.width, block.width);
    const uint64_t height = blocks(extent.height, block.height);
    const uint64_t slices = std::max(extent.depth, region.imageSubresource.layerCount);
    if (texel == 0 || (aspect & (aspect - 1)) || image.samples != VK_SAMPLE_COUNT_1_BIT ||
        !holds(image, region.imageSubresource, region.imageOffset, width, height, slices))
        return false;
    if (width == 0 || height == 0 || slices == 0)
        return true;
    const uint64_t row = region.bufferRowLength ? blocks(region.bufferRowLength, block.width) : width;
    const uint64_t rows = region.bufferImageHeight ? blocks(region.bufferImageHeight, block.height) : height;
    if (row < width || rows < height)
        return false;
    // To the last texel. Rows are below 2^32 and so is a slice's number of them; the slices are the image's.
    uint64_t texels = 0;
    return !__builtin_mul_overflow((slices - 1) * rows + height - 1, row, &texels) &&
           !__builtin_mul_overflow(texels + width, uint64_t{texel}, &texels) &&
           vk_within(region.bufferOffset, texels, bytes);
}

bool vk_can_resolve(const vk_image_shape& source, const vk_image_shape& destination,
                    const VkImageResolve& region)
{
    if (!source.known() || !destination.known())
        return true;
    const uint32_t slices =
        std::max({region.extent.depth, region.srcSubresource.layerCount, region.dstSubresource.layerCount});
    const VkExtent3D& size = region.extent;
    return vk_is_plain_colour(source.format) && vk_is_plain_colour(destination.format) &&
           holds(source, region.srcSubresource, region.srcOffset, size.width, size.height, slices) &&
           holds(destination, region.dstSubresource, region.dstOffset, size.width, size.height, slices);
}

namespace {
/// Both corners of a blit lie in the level, in whatever order.
bool holds_corners(const vk_image_shape& image, const VkImageSubresourceLayers& layers,
                   const VkOffset3D (&corners)[2])
{
    if (!has_subresource(image, layers) || !image.has_memory || image.samples != VK_SAMPLE_COUNT_1_BIT)
        return false;
    const VkExtent3D all = image.extent_of(layers.mipLevel);
    for (const VkOffset3D& corner : corners)
        if (!spans(corner.x, 0, all.width) || !spans(corner.y, 0, all.height) ||
            !spans(corner.z, 0, all.depth))
            return false;
    return true;
}
} // namespace

bool vk_can_blit(const vk_image_shape& source, const vk_image_shape& destination, const VkImageBlit& region)
{
    if (!source.known() || !destination.known())
        return true;
    const bool depth_stencil = vk_is_depth_stencil(source.format) || vk_is_depth_stencil(destination.format);
    return (!depth_stencil || source.format == destination.format) && !vk_is_compressed(destination.format) &&
           region.srcSubresource.layerCount == region.dstSubresource.layerCount &&
           holds_corners(source, region.srcSubresource, region.srcOffsets) &&
           holds_corners(destination, region.dstSubresource, region.dstOffsets);
}

bool vk_can_clear(const vk_image_shape& image, const VkImageSubresourceRange& range, bool depth_stencil)
{
    if (!image.known())
        return true;
    uint32_t levels = range.levelCount;
    uint32_t layers = range.layerCount;
    return image.has_memory && vk_is_depth_stencil(image.format) == depth_stencil &&
           !vk_is_compressed(image.format) && range.aspectMask != 0 &&
           (range.aspectMask & ~vk_aspects_of(image.format)) == 0 &&
           vk_take_range(range.baseMipLevel, &levels, image.levels) &&
           vk_take_range(range.baseArrayLayer, &layers, image.layers);
}
