#pragma once
// Instances, physical devices, devices and queues. Each signature is the layout of its message.

#include "inbound/vk_payload_types.h"
#include "object_manager/vk_registry.h"

#include <memory>

void vk_vkCreateInstance(pid_t pid, tid_t tid, vk_struct<VkInstanceCreateInfo> pCreateInfo,
                         vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkInstance> pInstance,
                         result_of<VkResult> target_result);
void vk_vkDestroyInstance(pid_t pid, tid_t tid, VkInstance instance,
                          vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkEnumeratePhysicalDevices(pid_t pid, tid_t tid, VkInstance instance,
                                   vk_struct<uint32_t> pPhysicalDeviceCount,
                                   vk_array<VkPhysicalDevice, 1> pPhysicalDevices,
                                   result_of<VkResult> target_result);
void vk_vkEnumerateInstanceExtensionProperties(pid_t pid, tid_t tid, vk_string pLayerName,
                                               vk_struct<uint32_t> pPropertyCount,
                                               vk_array<VkExtensionProperties, 1> pProperties,
                                               result_of<VkResult> target_result);
void vk_vkEnumerateDeviceExtensionProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                             vk_string pLayerName, vk_struct<uint32_t> pPropertyCount,
                                             vk_array<VkExtensionProperties, 2> pProperties,
                                             result_of<VkResult> target_result);
void vk_vkEnumerateInstanceLayerProperties(pid_t pid, tid_t tid, vk_struct<uint32_t> pPropertyCount,
                                           vk_array<VkLayerProperties, 0> pProperties,
                                           result_of<VkResult> target_result);
void vk_vkEnumerateDeviceLayerProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                         vk_struct<uint32_t> pPropertyCount,
                                         vk_array<VkLayerProperties, 1> pProperties,
                                         result_of<VkResult> target_result);

void vk_vkGetPhysicalDeviceFeatures(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                    vk_struct<VkPhysicalDeviceFeatures> pFeatures);
void vk_vkGetPhysicalDeviceFormatProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                            VkFormat format, vk_struct<VkFormatProperties> pFormatProperties);
void vk_vkGetPhysicalDeviceImageFormatProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                                 VkFormat format, VkImageType type, VkImageTiling tiling,
                                                 VkImageUsageFlags usage, VkImageCreateFlags flags,
                                                 vk_struct<VkImageFormatProperties> pImageFormatProperties,
                                                 result_of<VkResult> target_result);
void vk_vkGetPhysicalDeviceProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                      vk_struct<VkPhysicalDeviceProperties> pProperties);
void vk_vkGetPhysicalDeviceQueueFamilyProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                                 vk_struct<uint32_t> pQueueFamilyPropertyCount,
                                                 vk_array<VkQueueFamilyProperties, 1> pQueueFamilyProperties);
void vk_vkGetPhysicalDeviceMemoryProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                            vk_struct<VkPhysicalDeviceMemoryProperties> pMemoryProperties);
void vk_vkGetPhysicalDeviceSparseImageFormatProperties(
    pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice, VkFormat format, VkImageType type,
    VkSampleCountFlagBits samples, VkImageUsageFlags usage, VkImageTiling tiling,
    vk_struct<uint32_t> pPropertyCount, vk_array<VkSparseImageFormatProperties, 6> pProperties);

void vk_vkCreateDevice(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                       vk_struct<VkDeviceCreateInfo> pCreateInfo, vk_struct<VkAllocationCallbacks> pAllocator,
                       vk_out<VkDevice> pDevice, result_of<VkResult> target_result);
void vk_vkDestroyDevice(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkGetDeviceQueue(pid_t pid, tid_t tid, VkDevice device, uint32_t queueFamilyIndex,
                         uint32_t queueIndex, vk_out<VkQueue> pQueue);

/// Ends a device on the host and in the registry, with what the system itself has made for it.
class vk_frame;
void vk_destroy_device(vk_frame& call, VkDevice target);
