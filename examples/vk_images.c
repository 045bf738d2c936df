#include "vk_common.h"

#include <stdlib.h>

VkImageAspectFlags aspects_of(VkFormat format)
{
    switch (format) {
    case VK_FORMAT_D16_UNORM:
    case VK_FORMAT_X8_D24_UNORM_PACK32:
    case VK_FORMAT_D32_SFLOAT:
        return VK_IMAGE_ASPECT_DEPTH_BIT;
    case VK_FORMAT_S8_UINT:
        return VK_IMAGE_ASPECT_STENCIL_BIT;
    case VK_FORMAT_D24_UNORM_S8_UINT:
    case VK_FORMAT_D32_SFLOAT_S8_UINT:
        return VK_IMAGE_ASPECT_DEPTH_BIT | VK_IMAGE_ASPECT_STENCIL_BIT;
    default:
        return VK_IMAGE_ASPECT_COLOR_BIT;
    }
}

uint32_t texel_size(VkFormat format, VkImageAspectFlags aspect)
{
    if (aspect == VK_IMAGE_ASPECT_STENCIL_BIT)
        return 1;
    switch (format) {
    case VK_FORMAT_R8_UNORM:
    case VK_FORMAT_R8_UINT:
        return 1;
    case VK_FORMAT_D16_UNORM:
    case VK_FORMAT_R5G6B5_UNORM_PACK16:
    case VK_FORMAT_R8G8_UNORM:
        return 2;
    case VK_FORMAT_R16G16B16A16_SFLOAT:
    case VK_FORMAT_R32G32_UINT:
        return 8;
    case VK_FORMAT_R32G32B32A32_SFLOAT:
    case VK_FORMAT_R32G32B32A32_SINT:
        return 16;
    default:
        return 4;
    }
}

VkImageCreateInfo plain_image(VkFormat format, uint32_t width, uint32_t height, VkImageUsageFlags usage)
{
    const VkImageCreateInfo info = {.sType = VK_STRUCTURE_TYPE_IMAGE_CREATE_INFO,
                                    .imageType = VK_IMAGE_TYPE_2D,
                                    .format = format,
                                    .extent = {width, height, 1},
                                    .mipLevels = 1,
                                    .arrayLayers = 1,
                                    .samples = VK_SAMPLE_COUNT_1_BIT,
                                    .tiling = VK_IMAGE_TILING_OPTIMAL,
                                    .usage = usage,
                                    .initialLayout = VK_IMAGE_LAYOUT_UNDEFINED};
    return info;
}

static VkImageViewType view_type(const VkImageCreateInfo* info)
{
    if (info->imageType == VK_IMAGE_TYPE_3D)
        return VK_IMAGE_VIEW_TYPE_3D;
    if (info->imageType == VK_IMAGE_TYPE_1D)
        return info->arrayLayers > 1 ? VK_IMAGE_VIEW_TYPE_1D_ARRAY : VK_IMAGE_VIEW_TYPE_1D;
    if (info->flags & VK_IMAGE_CREATE_CUBE_COMPATIBLE_BIT)
        return VK_IMAGE_VIEW_TYPE_CUBE;
    return info->arrayLayers > 1 ? VK_IMAGE_VIEW_TYPE_2D_ARRAY : VK_IMAGE_VIEW_TYPE_2D;
}

VkImageSubresourceRange whole_image(const struct image* image)
{
    const VkImageSubresourceRange range = {image->aspects, 0, image->info.mipLevels, 0,
                                           image->info.arrayLayers};
    return range;
}

VkImageSubresourceLayers layers_of(const struct image* image, uint32_t level)
{
    const VkImageSubresourceLayers layers = {image->aspects, level, 0, image->info.arrayLayers};
    return layers;
}

static void make_view(const struct gpu* gpu, struct image* image)
{
    const VkImageUsageFlags viewed =
        VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_STORAGE_BIT | VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT |
        VK_IMAGE_USAGE_DEPTH_STENCIL_ATTACHMENT_BIT | VK_IMAGE_USAGE_INPUT_ATTACHMENT_BIT;
    if (!(image->info.usage & viewed))
        return;
    const VkImageViewCreateInfo info = {.sType = VK_STRUCTURE_TYPE_IMAGE_VIEW_CREATE_INFO,
                                        .image = image->handle,
                                        .viewType = view_type(&image->info),
                                        .format = image->info.format,
                                        .subresourceRange = whole_image(image)};
    VK(vkCreateImageView(gpu->device, &info, NULL, &image->view));
}

struct image finish_image(const struct gpu* gpu, const VkImageCreateInfo* info)
{
    struct image image = {.info = *info, .aspects = aspects_of(info->format)};
    VK(vkCreateImage(gpu->device, info, NULL, &image.handle));
    VkMemoryRequirements needs;
    vkGetImageMemoryRequirements(gpu->device, image.handle, &needs);
    const int linear = info->tiling == VK_IMAGE_TILING_LINEAR;
    image.memory = make_memory(gpu, &needs, linear ? VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT : 0);
    VK(vkBindImageMemory(gpu->device, image.handle, image.memory, 0));
    make_view(gpu, &image);
    return image;
}

struct image make_image(const struct gpu* gpu, VkFormat format, uint32_t width, uint32_t height,
                        VkImageUsageFlags usage)
{
    const VkImageCreateInfo info = plain_image(format, width, height, usage);
    return finish_image(gpu, &info);
}

void free_image(const struct gpu* gpu, struct image* image)
{
    vkDestroyImageView(gpu->device, image->view, NULL);
    vkDestroyImage(gpu->device, image->handle, NULL);
    vkFreeMemory(gpu->device, image->memory, NULL);
}

void change_layout(VkCommandBuffer commands, const struct image* image, VkImageLayout from, VkImageLayout to)
{
    const VkImageMemoryBarrier barrier = {.sType = VK_STRUCTURE_TYPE_IMAGE_MEMORY_BARRIER,
                                          .srcAccessMask = VK_ACCESS_MEMORY_WRITE_BIT,
                                          .dstAccessMask =
                                              VK_ACCESS_MEMORY_READ_BIT | VK_ACCESS_MEMORY_WRITE_BIT,
                                          .oldLayout = from,
                                          .newLayout = to,
                                          .srcQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED,
                                          .dstQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED,
                                          .image = image->handle,
                                          .subresourceRange = whole_image(image)};
    vkCmdPipelineBarrier(commands, VK_PIPELINE_STAGE_ALL_COMMANDS_BIT, VK_PIPELINE_STAGE_ALL_COMMANDS_BIT, 0,
                         0, NULL, 0, NULL, 1, &barrier);
}

static uint32_t at_level(uint32_t extent, uint32_t level)
{
    return extent >> level ? extent >> level : 1;
}

static VkBufferImageCopy level_copy(const struct image* image, uint32_t level, VkImageAspectFlags aspect)
{
    const VkExtent3D extent = image->info.extent;
    const VkBufferImageCopy copy = {.imageSubresource = {aspect, level, 0, image->info.arrayLayers},
                                    .imageExtent = {at_level(extent.width, level),
                                                    at_level(extent.height, level),
                                                    at_level(extent.depth, level)}};
    return copy;
}

static VkImageAspectFlags first_aspect(const struct image* image)
{
    return image->aspects & VK_IMAGE_ASPECT_DEPTH_BIT ? VK_IMAGE_ASPECT_DEPTH_BIT : image->aspects;
}

void set_image(const struct gpu* gpu, const struct image* image, uint32_t level, const void* data,
               VkDeviceSize size, VkImageLayout from, VkImageLayout to)
{
    struct buffer source = make_buffer(gpu, size, VK_BUFFER_USAGE_TRANSFER_SRC_BIT, data);
    const VkCommandBuffer commands = begin_commands(gpu);
    change_layout(commands, image, from, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL);
    const VkBufferImageCopy copy = level_copy(image, level, first_aspect(image));
    vkCmdCopyBufferToImage(commands, source.handle, image->handle, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, 1,
                           &copy);
    if (to != VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL)
        change_layout(commands, image, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, to);
    run_commands(gpu, commands);
    free_buffer(gpu, &source);
}

static void* get_aspect(const struct gpu* gpu, const struct image* image, uint32_t level,
                        VkImageAspectFlags aspect, VkDeviceSize* size)
{
    const VkBufferImageCopy copy = level_copy(image, level, aspect);
    const VkDeviceSize texels = (VkDeviceSize)copy.imageExtent.width * copy.imageExtent.height *
                                copy.imageExtent.depth * image->info.arrayLayers;
    *size = texels * texel_size(image->info.format, aspect);
    struct buffer target = make_buffer(gpu, *size, VK_BUFFER_USAGE_TRANSFER_DST_BIT, NULL);
    const VkCommandBuffer commands = begin_commands(gpu);
    vkCmdCopyImageToBuffer(commands, image->handle, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, target.handle, 1,
                           &copy);
    run_commands(gpu, commands);
    void* const bytes = malloc(*size);
    check(bytes != NULL, "malloc");
    get_buffer(gpu, &target, 0, bytes, *size);
    free_buffer(gpu, &target);
    return bytes;
}

void* get_image(const struct gpu* gpu, const struct image* image, uint32_t level, VkDeviceSize* size)
{
    return get_aspect(gpu, image, level, first_aspect(image), size);
}

void add_image(const struct gpu* gpu, const struct image* image, const char* picture)
{
    for (uint32_t level = 0; level < image->info.mipLevels; ++level) {
        for (VkImageAspectFlags aspect = 1; aspect <= VK_IMAGE_ASPECT_STENCIL_BIT; aspect <<= 1) {
            if (!(image->aspects & aspect))
                continue;
            VkDeviceSize size = 0;
            void* const bytes = get_aspect(gpu, image, level, aspect, &size);
            add_bytes(bytes, size);
            if (picture && level == 0 && texel_size(image->info.format, aspect) == 4)
                write_picture(picture, bytes, image->info.extent.width, image->info.extent.height);
            free(bytes);
        }
    }
}
