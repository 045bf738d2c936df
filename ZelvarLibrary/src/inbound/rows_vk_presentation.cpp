// Messages of Vulkan presentation, in the order of the message list.

#include "handlers/vk/presentation_handlers.h"
#include "inbound/rows.h"
#include "inbound/vk_decoder.h"
#include "wire/wire.h"

constinit const built_row vk_presentation_rows[] = {
    VK_ROW(vk_destroy_surface_khr, vk_vkDestroySurfaceKHR),
    VK_ROW(vk_get_physical_device_surface_support_khr, vk_vkGetPhysicalDeviceSurfaceSupportKHR),
    VK_ROW(vk_get_physical_device_surface_capabilities_khr, vk_vkGetPhysicalDeviceSurfaceCapabilitiesKHR),
    VK_ROW(vk_get_physical_device_surface_formats_khr, vk_vkGetPhysicalDeviceSurfaceFormatsKHR),
    VK_ROW(vk_get_physical_device_surface_present_modes_khr, vk_vkGetPhysicalDeviceSurfacePresentModesKHR),
    VK_ROW(vk_create_swapchain_khr, vk_vkCreateSwapchainKHR),
    VK_ROW(vk_destroy_swapchain_khr, vk_vkDestroySwapchainKHR),
    VK_ROW(vk_get_swapchain_images_khr, vk_vkGetSwapchainImagesKHR),
    VK_ROW(vk_acquire_next_image_khr, vk_vkAcquireNextImageKHR),
    VK_ROW(vk_queue_present_khr, vk_vkQueuePresentKHR),
    VK_ROW(vk_get_physical_device_display_properties_khr, vk_vkGetPhysicalDeviceDisplayPropertiesKHR),
    VK_ROW(vk_get_physical_device_display_plane_properties_khr,
           vk_vkGetPhysicalDeviceDisplayPlanePropertiesKHR),
    VK_ROW(vk_get_display_plane_supported_displays_khr, vk_vkGetDisplayPlaneSupportedDisplaysKHR),
    VK_ROW(vk_get_display_mode_properties_khr, vk_vkGetDisplayModePropertiesKHR),
    VK_ROW(vk_create_display_mode_khr, vk_vkCreateDisplayModeKHR),
    VK_ROW(vk_get_display_plane_capabilities_khr, vk_vkGetDisplayPlaneCapabilitiesKHR),
    VK_ROW(vk_create_display_plane_surface_khr, vk_vkCreateDisplayPlaneSurfaceKHR),
    VK_ROW(vk_create_shared_swapchains_khr, vk_vkCreateSharedSwapchainsKHR),
    VK_ROW(vk_get_swapchain_gralloc_usage_android, vk_vkGetSwapchainGrallocUsageANDROID),
    VK_ROW(vk_acquire_image_android, vk_vkAcquireImageANDROID),
    VK_ROW(vk_queue_signal_release_image_android, vk_vkQueueSignalReleaseImageANDROID),
};
constinit const size_t vk_presentation_row_count =
    sizeof(vk_presentation_rows) / sizeof(vk_presentation_rows[0]);
