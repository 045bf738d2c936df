#pragma once
// Handlers of presentation; the signature of each is the layout of its message.

#include "inbound/payload_types.h"
#include "inbound/vk_payload_types.h"

// Images in the window system's buffers.
void vk_vkGetSwapchainGrallocUsageANDROID(pid_t pid, tid_t tid, VkDevice device, VkFormat format,
                                          VkImageUsageFlags usage, vk_struct<int32_t> grallocUsage,
                                          result_of<VkResult> target_result);
void vk_vkAcquireImageANDROID(pid_t pid, tid_t tid, VkDevice device, VkImage image, int32_t nativeFenceFd,
                              VkSemaphore semaphore, VkFence fence, result_of<VkResult> target_result);

// The way of a frame home.
void vk_vkQueueSignalReleaseImageANDROID(pid_t pid, tid_t tid, VkQueue queue, uint32_t waitSemaphoreCount,
                                         vk_array<VkSemaphore, 1> pWaitSemaphores, VkImage image,
                                         vk_struct<int32_t> pNativeFenceFd,
                                         result_of<VkResult> target_result);

// Direct swapchains.
void vk_vkCreateSwapchainKHR(pid_t pid, tid_t tid, VkDevice device,
                             vk_struct<VkSwapchainCreateInfoKHR> pCreateInfo,
                             vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkSwapchainKHR> pSwapchain,
                             result_of<VkResult> target_result);
void vk_vkDestroySwapchainKHR(pid_t pid, tid_t tid, VkDevice device, VkSwapchainKHR swapchain,
                              vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkCreateSharedSwapchainsKHR(pid_t pid, tid_t tid, VkDevice device, uint32_t swapchainCount,
                                    vk_array<VkSwapchainCreateInfoKHR, 1> pCreateInfos,
                                    vk_struct<VkAllocationCallbacks> pAllocator,
                                    vk_out_array<VkSwapchainKHR, 1> pSwapchains,
                                    result_of<VkResult> target_result);
void vk_vkGetSwapchainImagesKHR(pid_t pid, tid_t tid, VkDevice device, VkSwapchainKHR swapchain,
                                vk_struct<uint32_t> pSwapchainImageCount,
                                vk_array<VkImage, 2> pSwapchainImages, result_of<VkResult> target_result);
void vk_vkAcquireNextImageKHR(pid_t pid, tid_t tid, VkDevice device, VkSwapchainKHR swapchain,
                              uint64_t timeout, VkSemaphore semaphore, VkFence fence,
                              vk_struct<uint32_t> pImageIndex, result_of<VkResult> target_result);
void vk_vkQueuePresentKHR(pid_t pid, tid_t tid, VkQueue queue, vk_struct<VkPresentInfoKHR> pPresentInfo,
                          result_of<VkResult> target_result);

// Surfaces and displays.
void vk_vkDestroySurfaceKHR(pid_t pid, tid_t tid, VkInstance instance, VkSurfaceKHR surface,
                            vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkGetPhysicalDeviceSurfaceSupportKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                             uint32_t queueFamilyIndex, VkSurfaceKHR surface,
                                             vk_struct<VkBool32> pSupported,
                                             result_of<VkResult> target_result);
void vk_vkGetPhysicalDeviceSurfaceCapabilitiesKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                                  VkSurfaceKHR surface,
                                                  vk_struct<VkSurfaceCapabilitiesKHR> pSurfaceCapabilities,
                                                  result_of<VkResult> target_result);
void vk_vkGetPhysicalDeviceSurfaceFormatsKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                             VkSurfaceKHR surface, vk_struct<uint32_t> pSurfaceFormatCount,
                                             vk_array<VkSurfaceFormatKHR, 2> pSurfaceFormats,
                                             result_of<VkResult> target_result);
void vk_vkGetPhysicalDeviceSurfacePresentModesKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                                  VkSurfaceKHR surface, vk_struct<uint32_t> pPresentModeCount,
                                                  vk_array<VkPresentModeKHR, 2> pPresentModes,
                                                  result_of<VkResult> target_result);
void vk_vkGetPhysicalDeviceDisplayPropertiesKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                                vk_struct<uint32_t> pPropertyCount,
                                                vk_array<VkDisplayPropertiesKHR, 1> pProperties,
                                                result_of<VkResult> target_result);
void vk_vkGetPhysicalDeviceDisplayPlanePropertiesKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                                     vk_struct<uint32_t> pPropertyCount,
                                                     vk_array<VkDisplayPlanePropertiesKHR, 1> pProperties,
                                                     result_of<VkResult> target_result);
void vk_vkGetDisplayPlaneSupportedDisplaysKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                              uint32_t planeIndex, vk_struct<uint32_t> pDisplayCount,
                                              vk_array<VkDisplayKHR, 2> pDisplays,
                                              result_of<VkResult> target_result);
void vk_vkGetDisplayModePropertiesKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                      VkDisplayKHR display, vk_struct<uint32_t> pPropertyCount,
                                      vk_array<VkDisplayModePropertiesKHR, 2> pProperties,
                                      result_of<VkResult> target_result);
void vk_vkCreateDisplayModeKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice, VkDisplayKHR display,
                               vk_struct<VkDisplayModeCreateInfoKHR> pCreateInfo,
                               vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkDisplayModeKHR> pMode,
                               result_of<VkResult> target_result);
void vk_vkGetDisplayPlaneCapabilitiesKHR(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                         VkDisplayModeKHR mode, uint32_t planeIndex,
                                         vk_struct<VkDisplayPlaneCapabilitiesKHR> pCapabilities,
                                         result_of<VkResult> target_result);
void vk_vkCreateDisplayPlaneSurfaceKHR(pid_t pid, tid_t tid, VkInstance instance,
                                       vk_struct<VkDisplaySurfaceCreateInfoKHR> pCreateInfo,
                                       vk_struct<VkAllocationCallbacks> pAllocator,
                                       vk_out<VkSurfaceKHR> pSurface, result_of<VkResult> target_result);
