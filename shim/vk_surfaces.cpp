#include "shim/vk_surfaces.h"

#include "shim/vk_entries.h"
#include "shim/x_windows.h"

#include <iterator>
#include <xcb/xcb.h>

// As Xlib declares them; its headers aren't needed for more.
struct _XDisplay;
using Display = _XDisplay;
using Window = unsigned long;
using VisualID = unsigned long;
#include <vulkan/vulkan_xcb.h>
#include <vulkan/vulkan_xlib.h>

namespace shim {

namespace {

constexpr uint32_t any_extent = UINT32_MAX; // the swapchain's extent is the surface's
constexpr uint32_t widest = 16384;

VkResult create_xcb_surface(VkInstance, const VkXcbSurfaceCreateInfoKHR* info, const VkAllocationCallbacks*,
                            VkSurfaceKHR* surface)
{
    settle_xcb_connection(info->connection);
    use_window_server(open_x_server(nullptr));
    *surface = handle_of<VkSurfaceKHR>(new vk_surface{info->window});
    return VK_SUCCESS;
}

VkResult create_xlib_surface(VkInstance, const VkXlibSurfaceCreateInfoKHR* info, const VkAllocationCallbacks*,
                             VkSurfaceKHR* surface)
{
    settle_x_display(info->dpy);
    use_window_server(open_x_server(info->dpy));
    *surface = handle_of<VkSurfaceKHR>(new vk_surface{info->window});
    return VK_SUCCESS;
}

VkResult create_headless_surface(VkInstance, const VkHeadlessSurfaceCreateInfoEXT*,
                                 const VkAllocationCallbacks*, VkSurfaceKHR* surface)
{
    *surface = handle_of<VkSurfaceKHR>(new vk_surface{0});
    return VK_SUCCESS;
}

void destroy_surface(VkInstance, VkSurfaceKHR surface, const VkAllocationCallbacks*)
{
    delete object_behind<vk_surface>(surface);
}

bool can_present(VkPhysicalDevice device, uint32_t family)
{
    return family == object_of(device).presenting_family();
}

VkResult get_support(VkPhysicalDevice device, uint32_t family, VkSurfaceKHR, VkBool32* supported)
{
    *supported = can_present(device, family);
    return VK_SUCCESS;
}

VkBool32 get_xcb_support(VkPhysicalDevice device, uint32_t family, xcb_connection_t*, xcb_visualid_t)
{
    return can_present(device, family);
}

VkBool32 get_xlib_support(VkPhysicalDevice device, uint32_t family, Display*, VisualID)
{
    return can_present(device, family);
}

VkResult get_capabilities(VkPhysicalDevice, VkSurfaceKHR surface, VkSurfaceCapabilitiesKHR* capabilities)
{
    const vk_surface& self = *object_behind<vk_surface>(surface);
    *capabilities = {};
    capabilities->minImageCount = fewest_swapchain_images;
    capabilities->maxImageCount = most_swapchain_images;
    capabilities->currentExtent = {any_extent, any_extent};
    capabilities->minImageExtent = {1, 1};
    capabilities->maxImageExtent = {widest, widest};
    if (self.window) {
        const window_size size = size_of_window(self.window);
        capabilities->currentExtent = {size.width, size.height};
        capabilities->minImageExtent = capabilities->maxImageExtent = capabilities->currentExtent;
    }
    capabilities->maxImageArrayLayers = 1;
    capabilities->supportedTransforms = VK_SURFACE_TRANSFORM_IDENTITY_BIT_KHR;
    capabilities->currentTransform = VK_SURFACE_TRANSFORM_IDENTITY_BIT_KHR;
    capabilities->supportedCompositeAlpha =
        VK_COMPOSITE_ALPHA_OPAQUE_BIT_KHR | VK_COMPOSITE_ALPHA_INHERIT_BIT_KHR;
    capabilities->supportedUsageFlags = VK_IMAGE_USAGE_TRANSFER_SRC_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT |
                                        VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT |
                                        VK_IMAGE_USAGE_INPUT_ATTACHMENT_BIT;
    // Shaders that sample an image or ask for its size see how wide it really is.
    const uint32_t width = capabilities->currentExtent.width;
    if (self.window && width == width_of_images(width))
        capabilities->supportedUsageFlags |= VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_STORAGE_BIT;
    return VK_SUCCESS;
}

VkResult get_formats(VkPhysicalDevice, VkSurfaceKHR surface, uint32_t* count, VkSurfaceFormatKHR* formats)
{
    std::vector<VkSurfaceFormatKHR> all;
    for (const VkFormat format : surface_formats)
        all.push_back({format, VK_COLOR_SPACE_SRGB_NONLINEAR_KHR});
    if (!object_behind<vk_surface>(surface)->window) // each pair the other way round
        for (size_t i = 0; i + 1 < all.size(); i += 2)
            std::swap(all[i], all[i + 1]);
    return list(all, count, formats);
}

/// A frame is shown before the call that presents it returns, there is no beat to wait for: which is what all
/// of these promise.
VkResult get_present_modes(VkPhysicalDevice, VkSurfaceKHR, uint32_t* count, VkPresentModeKHR* modes)
{
    return list({VK_PRESENT_MODE_IMMEDIATE_KHR, VK_PRESENT_MODE_MAILBOX_KHR, VK_PRESENT_MODE_FIFO_KHR,
                 VK_PRESENT_MODE_FIFO_RELAXED_KHR},
                count, modes);
}

} // namespace

vk_surface::vk_surface(uint64_t native_window) : window{native_window}
{
    add_window_surface(this, window);
}

vk_surface::~vk_surface()
{
    remove_window_surface(this);
}

bool vk_surface::fits(VkExtent2D extent) const
{
    return !window || size_of_window(window) == window_size{extent.width, extent.height};
}

vk_entry_points vk_surface_entry_points()
{
    static const vk_entry_point all[] = {
        make_vk_entry_point("vkCreateXcbSurfaceKHR", create_xcb_surface),
        make_vk_entry_point("vkCreateXlibSurfaceKHR", create_xlib_surface),
        make_vk_entry_point("vkCreateHeadlessSurfaceEXT", create_headless_surface),
        make_vk_entry_point("vkDestroySurfaceKHR", destroy_surface),
        make_vk_entry_point("vkGetPhysicalDeviceSurfaceSupportKHR", get_support),
        make_vk_entry_point("vkGetPhysicalDeviceXcbPresentationSupportKHR", get_xcb_support),
        make_vk_entry_point("vkGetPhysicalDeviceXlibPresentationSupportKHR", get_xlib_support),
        make_vk_entry_point("vkGetPhysicalDeviceSurfaceCapabilitiesKHR", get_capabilities),
        make_vk_entry_point("vkGetPhysicalDeviceSurfaceFormatsKHR", get_formats),
        make_vk_entry_point("vkGetPhysicalDeviceSurfacePresentModesKHR", get_present_modes),
    };
    return {all, std::size(all)};
}

} // namespace shim
