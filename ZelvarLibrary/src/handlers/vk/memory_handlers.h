#pragma once
// Device memory, what is bound to it, and images. Each signature is the layout of its message.

#include "inbound/vk_payload_types.h"

void vk_vkAllocateMemory(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkMemoryAllocateInfo> pAllocateInfo,
                         vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkDeviceMemory> pMemory,
                         result_of<VkResult> target_result);
void vk_vkFreeMemory(pid_t pid, tid_t tid, VkDevice device, VkDeviceMemory memory,
                     vk_struct<VkAllocationCallbacks> pAllocator);
/// What stands behind `ppData` is the address of the target's own mapping.
void vk_vkMapMemory(pid_t pid, tid_t tid, VkDevice device, VkDeviceMemory memory, VkDeviceSize offset,
                    VkDeviceSize size, VkMemoryMapFlags flags, vk_struct<uint64_t> ppData,
                    result_of<VkResult> target_result);
void vk_vkUnmapMemory(pid_t pid, tid_t tid, VkDevice device, VkDeviceMemory memory);
void vk_vkFlushMappedMemoryRanges(pid_t pid, tid_t tid, VkDevice device, uint32_t memoryRangeCount,
                                  vk_array<VkMappedMemoryRange, 1> pMemoryRanges,
                                  result_of<VkResult> target_result);
void vk_vkInvalidateMappedMemoryRanges(pid_t pid, tid_t tid, VkDevice device, uint32_t memoryRangeCount,
                                       vk_array<VkMappedMemoryRange, 1> pMemoryRanges,
                                       result_of<VkResult> target_result);
void vk_vkGetDeviceMemoryCommitment(pid_t pid, tid_t tid, VkDevice device, VkDeviceMemory memory,
                                    vk_struct<VkDeviceSize> pCommittedMemoryInBytes);
void vk_vkBindBufferMemory(pid_t pid, tid_t tid, VkDevice device, VkBuffer buffer, VkDeviceMemory memory,
                           VkDeviceSize memoryOffset, result_of<VkResult> target_result);
void vk_vkBindImageMemory(pid_t pid, tid_t tid, VkDevice device, VkImage image, VkDeviceMemory memory,
                          VkDeviceSize memoryOffset, result_of<VkResult> target_result);
void vk_vkGetBufferMemoryRequirements(pid_t pid, tid_t tid, VkDevice device, VkBuffer buffer,
                                      vk_struct<VkMemoryRequirements> pMemoryRequirements);
void vk_vkGetImageMemoryRequirements(pid_t pid, tid_t tid, VkDevice device, VkImage image,
                                     vk_struct<VkMemoryRequirements> pMemoryRequirements);
void vk_vkGetImageSparseMemoryRequirements(
    pid_t pid, tid_t tid, VkDevice device, VkImage image, vk_struct<uint32_t> pSparseMemoryRequirementCount,
    vk_array<VkSparseImageMemoryRequirements, 2> pSparseMemoryRequirements);

void vk_vkCreateImage(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkImageCreateInfo> pCreateInfo,
                      vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkImage> pImage,
                      result_of<VkResult> target_result);
void vk_vkDestroyImage(pid_t pid, tid_t tid, VkDevice device, VkImage image,
                       vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkGetImageSubresourceLayout(pid_t pid, tid_t tid, VkDevice device, VkImage image,
                                    vk_struct<VkImageSubresource> pSubresource,
                                    vk_struct<VkSubresourceLayout> pLayout);
