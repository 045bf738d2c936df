#pragma once
// Surfaces: windows of an X server, and those that nobody looks at.

#include "shim/vk_objects.h"
#include "shim/windows.h"

namespace shim {

struct vk_surface
{
    uint64_t window = 0; // 0 for a headless surface
    vk_surface(const vk_surface&) = delete;
    vk_surface& operator=(const vk_surface&) = delete;
    explicit vk_surface(uint64_t native_window);
    ~vk_surface();

    /// Whether a swapchain of this size fills the surface; a headless one takes any size.
    bool fits(VkExtent2D extent) const;
};

/// What swapchains may be made of. Their bytes are shown as they are.
/// Applications take the first that suits them: windows show frames with blue first as they are, frame
/// buffers those with red first.
inline constexpr VkFormat surface_formats[] = {VK_FORMAT_B8G8R8A8_UNORM, VK_FORMAT_R8G8B8A8_UNORM,
                                               VK_FORMAT_B8G8R8A8_SRGB, VK_FORMAT_R8G8B8A8_SRGB};

/// The library takes frames for as wide as their images, while hosts align the rows of images that they can
/// read to up to 256 bytes. So images are that wide, and applications draw to the left of them.
inline uint32_t width_of_images(uint32_t width)
{
    constexpr uint32_t pixels = 64;
    return (width + pixels - 1) / pixels * pixels;
}

inline constexpr uint32_t fewest_swapchain_images = 2;
inline constexpr uint32_t most_swapchain_images = 8;

} // namespace shim
