#pragma once
// Handlers of the calls on objects of a device; the signature of each is the layout of its message.

#include "inbound/payload_types.h"
#include "inbound/vk_payload_types.h"

// Buffers and views.
void vk_vkCreateBuffer(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkBufferCreateInfo> pCreateInfo,
                       vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkBuffer> pBuffer,
                       result_of<VkResult> target_result);
void vk_vkDestroyBuffer(pid_t pid, tid_t tid, VkDevice device, VkBuffer buffer,
                        vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkCreateBufferView(pid_t pid, tid_t tid, VkDevice device,
                           vk_struct<VkBufferViewCreateInfo> pCreateInfo,
                           vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkBufferView> pView,
                           result_of<VkResult> target_result);
void vk_vkDestroyBufferView(pid_t pid, tid_t tid, VkDevice device, VkBufferView bufferView,
                            vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkCreateImageView(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkImageViewCreateInfo> pCreateInfo,
                          vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkImageView> pView,
                          result_of<VkResult> target_result);
void vk_vkDestroyImageView(pid_t pid, tid_t tid, VkDevice device, VkImageView imageView,
                           vk_struct<VkAllocationCallbacks> pAllocator);

// Shader modules and pipelines.
void vk_vkCreateShaderModule(pid_t pid, tid_t tid, VkDevice device,
                             vk_struct<VkShaderModuleCreateInfo> pCreateInfo,
                             vk_struct<VkAllocationCallbacks> pAllocator,
                             vk_out<VkShaderModule> pShaderModule, result_of<VkResult> target_result);
void vk_vkDestroyShaderModule(pid_t pid, tid_t tid, VkDevice device, VkShaderModule shaderModule,
                              vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkCreatePipelineLayout(pid_t pid, tid_t tid, VkDevice device,
                               vk_struct<VkPipelineLayoutCreateInfo> pCreateInfo,
                               vk_struct<VkAllocationCallbacks> pAllocator,
                               vk_out<VkPipelineLayout> pPipelineLayout, result_of<VkResult> target_result);
void vk_vkDestroyPipelineLayout(pid_t pid, tid_t tid, VkDevice device, VkPipelineLayout pipelineLayout,
                                vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkCreatePipelineCache(pid_t pid, tid_t tid, VkDevice device,
                              vk_struct<VkPipelineCacheCreateInfo> pCreateInfo,
                              vk_struct<VkAllocationCallbacks> pAllocator,
                              vk_out<VkPipelineCache> pPipelineCache, result_of<VkResult> target_result);
void vk_vkDestroyPipelineCache(pid_t pid, tid_t tid, VkDevice device, VkPipelineCache pipelineCache,
                               vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkGetPipelineCacheData(pid_t pid, tid_t tid, VkDevice device, VkPipelineCache pipelineCache,
                               vk_struct<vk_size> pDataSize, target_ptr pData,
                               result_of<VkResult> target_result);
void vk_vkMergePipelineCaches(pid_t pid, tid_t tid, VkDevice device, VkPipelineCache dstCache,
                              uint32_t srcCacheCount, vk_array<VkPipelineCache, 2> pSrcCaches,
                              result_of<VkResult> target_result);
void vk_vkCreateGraphicsPipelines(pid_t pid, tid_t tid, VkDevice device, VkPipelineCache pipelineCache,
                                  uint32_t createInfoCount,
                                  vk_array<VkGraphicsPipelineCreateInfo, 2> pCreateInfos,
                                  vk_struct<VkAllocationCallbacks> pAllocator,
                                  vk_out_array<VkPipeline, 2> pPipelines, result_of<VkResult> target_result);
void vk_vkCreateComputePipelines(pid_t pid, tid_t tid, VkDevice device, VkPipelineCache pipelineCache,
                                 uint32_t createInfoCount,
                                 vk_array<VkComputePipelineCreateInfo, 2> pCreateInfos,
                                 vk_struct<VkAllocationCallbacks> pAllocator,
                                 vk_out_array<VkPipeline, 2> pPipelines, result_of<VkResult> target_result);
void vk_vkDestroyPipeline(pid_t pid, tid_t tid, VkDevice device, VkPipeline pipeline,
                          vk_struct<VkAllocationCallbacks> pAllocator);

// Samplers and descriptors.
void vk_vkCreateSampler(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkSamplerCreateInfo> pCreateInfo,
                        vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkSampler> pSampler,
                        result_of<VkResult> target_result);
void vk_vkDestroySampler(pid_t pid, tid_t tid, VkDevice device, VkSampler sampler,
                         vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkCreateDescriptorSetLayout(pid_t pid, tid_t tid, VkDevice device,
                                    vk_struct<VkDescriptorSetLayoutCreateInfo> pCreateInfo,
                                    vk_struct<VkAllocationCallbacks> pAllocator,
                                    vk_out<VkDescriptorSetLayout> pSetLayout,
                                    result_of<VkResult> target_result);
void vk_vkDestroyDescriptorSetLayout(pid_t pid, tid_t tid, VkDevice device,
                                     VkDescriptorSetLayout descriptorSetLayout,
                                     vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkCreateDescriptorPool(pid_t pid, tid_t tid, VkDevice device,
                               vk_struct<VkDescriptorPoolCreateInfo> pCreateInfo,
                               vk_struct<VkAllocationCallbacks> pAllocator,
                               vk_out<VkDescriptorPool> pDescriptorPool, result_of<VkResult> target_result);
void vk_vkDestroyDescriptorPool(pid_t pid, tid_t tid, VkDevice device, VkDescriptorPool descriptorPool,
                                vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkResetDescriptorPool(pid_t pid, tid_t tid, VkDevice device, VkDescriptorPool descriptorPool,
                              VkDescriptorPoolResetFlags flags, result_of<VkResult> target_result);
void vk_vkAllocateDescriptorSets(
    pid_t pid, tid_t tid, VkDevice device, vk_struct<VkDescriptorSetAllocateInfo> pAllocateInfo,
    vk_out_array_by<VkDescriptorSet, 1, &VkDescriptorSetAllocateInfo::descriptorSetCount> pDescriptorSets,
    result_of<VkResult> target_result);
void vk_vkFreeDescriptorSets(pid_t pid, tid_t tid, VkDevice device, VkDescriptorPool descriptorPool,
                             uint32_t descriptorSetCount, vk_array<VkDescriptorSet, 2> pDescriptorSets,
                             result_of<VkResult> target_result);
void vk_vkUpdateDescriptorSets(pid_t pid, tid_t tid, VkDevice device, uint32_t descriptorWriteCount,
                               vk_array<VkWriteDescriptorSet, 1> pDescriptorWrites,
                               uint32_t descriptorCopyCount,
                               vk_array<VkCopyDescriptorSet, 3> pDescriptorCopies);

// Render passes and framebuffers.
void vk_vkCreateFramebuffer(pid_t pid, tid_t tid, VkDevice device,
                            vk_struct<VkFramebufferCreateInfo> pCreateInfo,
                            vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkFramebuffer> pFramebuffer,
                            result_of<VkResult> target_result);
void vk_vkDestroyFramebuffer(pid_t pid, tid_t tid, VkDevice device, VkFramebuffer framebuffer,
                             vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkCreateRenderPass(pid_t pid, tid_t tid, VkDevice device,
                           vk_struct<VkRenderPassCreateInfo> pCreateInfo,
                           vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkRenderPass> pRenderPass,
                           result_of<VkResult> target_result);
void vk_vkDestroyRenderPass(pid_t pid, tid_t tid, VkDevice device, VkRenderPass renderPass,
                            vk_struct<VkAllocationCallbacks> pAllocator);
void vk_vkGetRenderAreaGranularity(pid_t pid, tid_t tid, VkDevice device, VkRenderPass renderPass,
                                   vk_struct<VkExtent2D> pGranularity);

// Entry points.
void vk_vkGetInstanceProcAddr(pid_t pid, tid_t tid, VkInstance instance, vk_string pName,
                              result_of<uint64_t> target_result);
void vk_vkGetDeviceProcAddr(pid_t pid, tid_t tid, VkDevice device, vk_string pName,
                            result_of<uint64_t> target_result);
