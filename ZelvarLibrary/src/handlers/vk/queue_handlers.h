#pragma once
// Handlers of queues and what they wait for, of queries and of command buffers as objects; the signature of
// each is the layout of its message.

#include "inbound/payload_types.h"
#include "inbound/vk_payload_types.h"

// Queues.
void vk_vkQueueSubmit(pid_t pid, tid_t tid, VkQueue queue, uint32_t submitCount,
                      vk_array<VkSubmitInfo, 1> pSubmits, VkFence fence, result_of<VkResult> target_result);
void vk_vkQueueBindSparse(pid_t pid, tid_t tid, VkQueue queue, uint32_t bindInfoCount,
                          vk_array<VkBindSparseInfo, 1> pBindInfo, VkFence fence,
                          result_of<VkResult> target_result);
void vk_vkQueueWaitIdle(pid_t pid, tid_t tid, VkQueue queue, result_of<VkResult> target_result);
void vk_vkDeviceWaitIdle(pid_t pid, tid_t tid, VkDevice device, result_of<VkResult> target_result);

// Fences, semaphores and events.
void vk_vkCreateFence(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkFenceCreateInfo> pCreateInfo,
                      vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkFence> pFence,
                      result_of<VkResult> target_result);
void vk_vkDestroyFence(pid_t pid, tid_t tid, VkDevice device, VkFence fence,
                       vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkResetFences(pid_t pid, tid_t tid, VkDevice device, uint32_t fenceCount,
                      vk_array<VkFence, 1> pFences, result_of<VkResult> target_result);
void vk_vkGetFenceStatus(pid_t pid, tid_t tid, VkDevice device, VkFence fence,
                         result_of<VkResult> target_result);
void vk_vkWaitForFences(pid_t pid, tid_t tid, VkDevice device, uint32_t fenceCount,
                        vk_array<VkFence, 1> pFences, VkBool32 waitAll, uint64_t timeout,
                        result_of<VkResult> target_result);
void vk_vkCreateSemaphore(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkSemaphoreCreateInfo> pCreateInfo,
                          vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkSemaphore> pSemaphore,
                          result_of<VkResult> target_result);
void vk_vkDestroySemaphore(pid_t pid, tid_t tid, VkDevice device, VkSemaphore semaphore,
                           vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkCreateEvent(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkEventCreateInfo> pCreateInfo,
                      vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkEvent> pEvent,
                      result_of<VkResult> target_result);
void vk_vkDestroyEvent(pid_t pid, tid_t tid, VkDevice device, VkEvent event,
                       vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkGetEventStatus(pid_t pid, tid_t tid, VkDevice device, VkEvent event,
                         result_of<VkResult> target_result);
void vk_vkSetEvent(pid_t pid, tid_t tid, VkDevice device, VkEvent event, result_of<VkResult> target_result);
void vk_vkResetEvent(pid_t pid, tid_t tid, VkDevice device, VkEvent event, result_of<VkResult> target_result);

// Queries.
void vk_vkCreateQueryPool(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkQueryPoolCreateInfo> pCreateInfo,
                          vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkQueryPool> pQueryPool,
                          result_of<VkResult> target_result);
void vk_vkDestroyQueryPool(pid_t pid, tid_t tid, VkDevice device, VkQueryPool queryPool,
                           vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkGetQueryPoolResults(pid_t pid, tid_t tid, VkDevice device, VkQueryPool queryPool,
                              uint32_t firstQuery, uint32_t queryCount, vk_size dataSize, target_ptr pData,
                              VkDeviceSize stride, VkQueryResultFlags flags,
                              result_of<VkResult> target_result);

// Command pools and buffers.
void vk_vkCreateCommandPool(pid_t pid, tid_t tid, VkDevice device,
                            vk_struct<VkCommandPoolCreateInfo> pCreateInfo,
                            vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkCommandPool> pCommandPool,
                            result_of<VkResult> target_result);
void vk_vkDestroyCommandPool(pid_t pid, tid_t tid, VkDevice device, VkCommandPool commandPool,
                             vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkResetCommandPool(pid_t pid, tid_t tid, VkDevice device, VkCommandPool commandPool,
                           VkCommandPoolResetFlags flags, result_of<VkResult> target_result);
void vk_vkAllocateCommandBuffers(
    pid_t pid, tid_t tid, VkDevice device, vk_struct<VkCommandBufferAllocateInfo> pAllocateInfo,
    vk_out_array_by<VkCommandBuffer, 1, &VkCommandBufferAllocateInfo::commandBufferCount> pCommandBuffers,
    result_of<VkResult> target_result);
void vk_vkFreeCommandBuffers(pid_t pid, tid_t tid, VkDevice device, VkCommandPool commandPool,
                             uint32_t commandBufferCount, vk_array<VkCommandBuffer, 2> pCommandBuffers);
void vk_vkBeginCommandBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                             vk_struct<VkCommandBufferBeginInfo> pBeginInfo,
                             result_of<VkResult> target_result);
void vk_vkEndCommandBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                           result_of<VkResult> target_result);
void vk_vkResetCommandBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                             VkCommandBufferResetFlags flags, result_of<VkResult> target_result);
