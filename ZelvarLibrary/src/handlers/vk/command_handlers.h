#pragma once
// Handlers of the calls that record a command; the signature of each is the layout of its message.

#include "inbound/payload_types.h"
#include "inbound/vk_payload_types.h"

// State, draws, dispatches and passes.
void vk_vkCmdBindPipeline(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                          VkPipelineBindPoint pipelineBindPoint, VkPipeline pipeline);
void vk_vkCmdSetViewport(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t firstViewport,
                         uint32_t viewportCount, vk_array<VkViewport, 2> pViewports);
void vk_vkCmdSetScissor(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t firstScissor,
                        uint32_t scissorCount, vk_array<VkRect2D, 2> pScissors);
void vk_vkCmdSetLineWidth(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, float lineWidth);
void vk_vkCmdSetDepthBias(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, float depthBiasConstantFactor,
                          float depthBiasClamp, float depthBiasSlopeFactor);
void vk_vkCmdSetBlendConstants(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                               vk_fixed<float, 4> blendConstants);
void vk_vkCmdSetDepthBounds(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, float minDepthBounds,
                            float maxDepthBounds);
void vk_vkCmdSetStencilCompareMask(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                                   VkStencilFaceFlags faceMask, uint32_t compareMask);
void vk_vkCmdSetStencilWriteMask(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                                 VkStencilFaceFlags faceMask, uint32_t writeMask);
void vk_vkCmdSetStencilReference(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                                 VkStencilFaceFlags faceMask, uint32_t reference);
void vk_vkCmdBindDescriptorSets(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                                VkPipelineBindPoint pipelineBindPoint, VkPipelineLayout layout,
                                uint32_t firstSet, uint32_t descriptorSetCount,
                                vk_array<VkDescriptorSet, 4> pDescriptorSets, uint32_t dynamicOffsetCount,
                                vk_array<uint32_t, 6> pDynamicOffsets);
void vk_vkCmdBindIndexBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer buffer,
                             VkDeviceSize offset, VkIndexType indexType);
void vk_vkCmdBindVertexBuffers(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t firstBinding,
                               uint32_t bindingCount, vk_array<VkBuffer, 2> pBuffers,
                               vk_array<VkDeviceSize, 2> pOffsets);
void vk_vkCmdPushConstants(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkPipelineLayout layout,
                           VkShaderStageFlags stageFlags, uint32_t offset, uint32_t size,
                           vk_bytes<4> pValues);
void vk_vkCmdDraw(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t vertexCount,
                  uint32_t instanceCount, uint32_t firstVertex, uint32_t firstInstance);
void vk_vkCmdDrawIndexed(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t indexCount,
                         uint32_t instanceCount, uint32_t firstIndex, int32_t vertexOffset,
                         uint32_t firstInstance);
void vk_vkCmdDrawIndirect(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer buffer,
                          VkDeviceSize offset, uint32_t drawCount, uint32_t stride);
void vk_vkCmdDrawIndexedIndirect(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer buffer,
                                 VkDeviceSize offset, uint32_t drawCount, uint32_t stride);
void vk_vkCmdDispatch(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t groupCountX,
                      uint32_t groupCountY, uint32_t groupCountZ);
void vk_vkCmdDispatchIndirect(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer buffer,
                              VkDeviceSize offset);
void vk_vkCmdBeginRenderPass(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                             vk_struct<VkRenderPassBeginInfo> pRenderPassBegin, VkSubpassContents contents);
void vk_vkCmdNextSubpass(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkSubpassContents contents);
void vk_vkCmdEndRenderPass(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer);
void vk_vkCmdExecuteCommands(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t commandBufferCount,
                             vk_array<VkCommandBuffer, 1> pCommandBuffers);

// Copies, clears and fills.
void vk_vkCmdCopyBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer srcBuffer,
                        VkBuffer dstBuffer, uint32_t regionCount, vk_array<VkBufferCopy, 3> pRegions);
void vk_vkCmdCopyImage(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkImage srcImage,
                       VkImageLayout srcImageLayout, VkImage dstImage, VkImageLayout dstImageLayout,
                       uint32_t regionCount, vk_array<VkImageCopy, 5> pRegions);
void vk_vkCmdBlitImage(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkImage srcImage,
                       VkImageLayout srcImageLayout, VkImage dstImage, VkImageLayout dstImageLayout,
                       uint32_t regionCount, vk_array<VkImageBlit, 5> pRegions, VkFilter filter);
void vk_vkCmdResolveImage(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkImage srcImage,
                          VkImageLayout srcImageLayout, VkImage dstImage, VkImageLayout dstImageLayout,
                          uint32_t regionCount, vk_array<VkImageResolve, 5> pRegions);
void vk_vkCmdCopyBufferToImage(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer srcBuffer,
                               VkImage dstImage, VkImageLayout dstImageLayout, uint32_t regionCount,
                               vk_array<VkBufferImageCopy, 4> pRegions);
void vk_vkCmdCopyImageToBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkImage srcImage,
                               VkImageLayout srcImageLayout, VkBuffer dstBuffer, uint32_t regionCount,
                               vk_array<VkBufferImageCopy, 4> pRegions);
void vk_vkCmdUpdateBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer dstBuffer,
                          VkDeviceSize dstOffset, VkDeviceSize dataSize, vk_bytes<3> pData);
void vk_vkCmdFillBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer dstBuffer,
                        VkDeviceSize dstOffset, VkDeviceSize size, uint32_t data);
void vk_vkCmdClearColorImage(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkImage image,
                             VkImageLayout imageLayout, vk_fixed<VkClearColorValue, 1> pColor,
                             uint32_t rangeCount, vk_array<VkImageSubresourceRange, 4> pRanges);
void vk_vkCmdClearDepthStencilImage(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkImage image,
                                    VkImageLayout imageLayout,
                                    vk_struct<VkClearDepthStencilValue> pDepthStencil, uint32_t rangeCount,
                                    vk_array<VkImageSubresourceRange, 4> pRanges);
void vk_vkCmdClearAttachments(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t attachmentCount,
                              vk_array<VkClearAttachment, 1> pAttachments, uint32_t rectCount,
                              vk_array<VkClearRect, 3> pRects);

// Barriers, events and queries.
void vk_vkCmdSetEvent(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkEvent event,
                      VkPipelineStageFlags stageMask);
void vk_vkCmdResetEvent(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkEvent event,
                        VkPipelineStageFlags stageMask);
void vk_vkCmdWaitEvents(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t eventCount,
                        vk_array<VkEvent, 1> pEvents, VkPipelineStageFlags srcStageMask,
                        VkPipelineStageFlags dstStageMask, uint32_t memoryBarrierCount,
                        vk_array<VkMemoryBarrier, 5> pMemoryBarriers, uint32_t bufferMemoryBarrierCount,
                        vk_array<VkBufferMemoryBarrier, 7> pBufferMemoryBarriers,
                        uint32_t imageMemoryBarrierCount,
                        vk_array<VkImageMemoryBarrier, 9> pImageMemoryBarriers);
void vk_vkCmdPipelineBarrier(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                             VkPipelineStageFlags srcStageMask, VkPipelineStageFlags dstStageMask,
                             VkDependencyFlags dependencyFlags, uint32_t memoryBarrierCount,
                             vk_array<VkMemoryBarrier, 4> pMemoryBarriers, uint32_t bufferMemoryBarrierCount,
                             vk_array<VkBufferMemoryBarrier, 6> pBufferMemoryBarriers,
                             uint32_t imageMemoryBarrierCount,
                             vk_array<VkImageMemoryBarrier, 8> pImageMemoryBarriers);
void vk_vkCmdBeginQuery(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkQueryPool queryPool,
                        uint32_t query, VkQueryControlFlags flags);
void vk_vkCmdEndQuery(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkQueryPool queryPool,
                      uint32_t query);
void vk_vkCmdResetQueryPool(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkQueryPool queryPool,
                            uint32_t firstQuery, uint32_t queryCount);
void vk_vkCmdWriteTimestamp(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                            VkPipelineStageFlagBits pipelineStage, VkQueryPool queryPool, uint32_t query);
void vk_vkCmdCopyQueryPoolResults(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkQueryPool queryPool,
                                  uint32_t firstQuery, uint32_t queryCount, VkBuffer dstBuffer,
                                  VkDeviceSize dstOffset, VkDeviceSize stride, VkQueryResultFlags flags);
