#pragma once
// Prototypes of every entry point that has a message: the Khronos headers, and the few that they lack.

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl32.h>

#include <GLES2/gl2ext.h>
#include <vulkan/vulkan.h>

extern "C" {
struct wl_surface;
struct wl_egl_window;
struct wl_egl_window* wl_egl_window_create(struct wl_surface* surface, int width, int height);
void wl_egl_window_destroy(struct wl_egl_window* window);

/// Makes a buffer-manager surface on the target.
void* ubm_surface_create(void* device, uint32_t width, uint32_t height, uint32_t format, uint32_t flags);

// VK_ANDROID_native_buffer, as the Android loader declares it.
VkResult vkGetSwapchainGrallocUsageANDROID(VkDevice device, VkFormat format, VkImageUsageFlags usage,
                                           int* gralloc_usage);
VkResult vkAcquireImageANDROID(VkDevice device, VkImage image, int native_fence_fd, VkSemaphore semaphore,
                               VkFence fence);
VkResult vkQueueSignalReleaseImageANDROID(VkQueue queue, uint32_t wait_semaphore_count,
                                          const VkSemaphore* wait_semaphores, VkImage image,
                                          int* native_fence_fd);
}
