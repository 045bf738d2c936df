#pragma once
// How large texels are, as far as addresses in images and buffers go.

#include "wire/api.h"

#include <cstdint>

/// A texel, or a block of a compressed format. No bytes: the format isn't known.
struct vk_texel_block
{
    uint32_t bytes = 0;
    uint32_t width = 1;
    uint32_t height = 1;
};

constexpr bool vk_between(VkFormat format, VkFormat first, VkFormat last)
{
    return format >= first && format <= last;
}
constexpr bool vk_has_depth(VkFormat format)
{
    return vk_between(format, VK_FORMAT_D16_UNORM, VK_FORMAT_D32_SFLOAT) ||
           vk_between(format, VK_FORMAT_D16_UNORM_S8_UINT, VK_FORMAT_D32_SFLOAT_S8_UINT);
}
constexpr bool vk_has_stencil(VkFormat format)
{
    return vk_between(format, VK_FORMAT_S8_UINT, VK_FORMAT_D32_SFLOAT_S8_UINT);
}
constexpr bool vk_is_depth_stencil(VkFormat format)
{
    return vk_between(format, VK_FORMAT_D16_UNORM, VK_FORMAT_D32_SFLOAT_S8_UINT);
}
constexpr bool vk_is_compressed(VkFormat format)
{
    return vk_between(format, VK_FORMAT_BC1_RGB_UNORM_BLOCK, VK_FORMAT_ASTC_12x12_SRGB_BLOCK);
}
/// One texel a block, and colours.
constexpr bool vk_is_plain_colour(VkFormat format)
{
    return vk_between(format, VK_FORMAT_R4G4_UNORM_PACK8, VK_FORMAT_E5B9G9R9_UFLOAT_PACK32);
}

/// Of a format that the host gets: none of the ASTC ones. Depth with stencil: both together, as a driver may
/// keep them.
constexpr vk_texel_block vk_block_of(VkFormat format)
{
    struct run
    {
        VkFormat last; // of formats that follow one another
        vk_texel_block block;
    };
    constexpr run runs[] = {
        {VK_FORMAT_UNDEFINED, {}},
        {VK_FORMAT_R4G4_UNORM_PACK8, {1}},
        {VK_FORMAT_A1R5G5B5_UNORM_PACK16, {2}},
        {VK_FORMAT_R8_SRGB, {1}},
        {VK_FORMAT_R8G8_SRGB, {2}},
        {VK_FORMAT_B8G8R8_SRGB, {3}},
        {VK_FORMAT_A2B10G10R10_SINT_PACK32, {4}},
        {VK_FORMAT_R16_SFLOAT, {2}},
        {VK_FORMAT_R16G16_SFLOAT, {4}},
        {VK_FORMAT_R16G16B16_SFLOAT, {6}},
        {VK_FORMAT_R16G16B16A16_SFLOAT, {8}},
        {VK_FORMAT_R32_SFLOAT, {4}},
        {VK_FORMAT_R32G32_SFLOAT, {8}},
        {VK_FORMAT_R32G32B32_SFLOAT, {12}},
        {VK_FORMAT_R32G32B32A32_SFLOAT, {16}},
        {VK_FORMAT_R64_SFLOAT, {8}},
        {VK_FORMAT_R64G64_SFLOAT, {16}},
        {VK_FORMAT_R64G64B64_SFLOAT, {24}},
        {VK_FORMAT_R64G64B64A64_SFLOAT, {32}},
        {VK_FORMAT_E5B9G9R9_UFLOAT_PACK32, {4}},
        {VK_FORMAT_D16_UNORM, {2}},
        {VK_FORMAT_D32_SFLOAT, {4}},
        {VK_FORMAT_S8_UINT, {1}},
        {VK_FORMAT_D24_UNORM_S8_UINT, {4}},
        {VK_FORMAT_D32_SFLOAT_S8_UINT, {8}},
        {VK_FORMAT_BC1_RGBA_SRGB_BLOCK, {8, 4, 4}},
        {VK_FORMAT_BC3_SRGB_BLOCK, {16, 4, 4}},
        {VK_FORMAT_BC4_SNORM_BLOCK, {8, 4, 4}},
        {VK_FORMAT_BC7_SRGB_BLOCK, {16, 4, 4}},
        {VK_FORMAT_ETC2_R8G8B8A1_SRGB_BLOCK, {8, 4, 4}},
        {VK_FORMAT_ETC2_R8G8B8A8_SRGB_BLOCK, {16, 4, 4}},
        {VK_FORMAT_EAC_R11_SNORM_BLOCK, {8, 4, 4}},
        {VK_FORMAT_EAC_R11G11_SNORM_BLOCK, {16, 4, 4}},
    };
    if (format >= VK_FORMAT_UNDEFINED)
        for (const run& each : runs)
            if (format <= each.last)
                return each.block;
    return {};
}

/// What a buffer holds of one aspect of a texel.
constexpr uint32_t vk_bytes_in_buffer(VkFormat format, VkImageAspectFlags aspect)
{
    if (!vk_is_depth_stencil(format))
        return vk_block_of(format).bytes;
    if (aspect == VK_IMAGE_ASPECT_STENCIL_BIT)
        return 1;
    return format == VK_FORMAT_D16_UNORM || format == VK_FORMAT_D16_UNORM_S8_UINT ? 2 : 4;
}
constexpr VkImageAspectFlags vk_aspects_of(VkFormat format)
{
    if (!vk_is_depth_stencil(format))
        return VK_IMAGE_ASPECT_COLOR_BIT;
    return (vk_has_depth(format) ? VK_IMAGE_ASPECT_DEPTH_BIT : 0) |
           (vk_has_stencil(format) ? VK_IMAGE_ASPECT_STENCIL_BIT : 0);
}
