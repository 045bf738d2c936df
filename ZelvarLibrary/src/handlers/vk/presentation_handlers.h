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
