// Recording of state, draws, dispatches and passes.

#include "handlers/vk/command_handlers.h"
#include "handlers/vk/recording.h"

using vk = sidechannel_vk_imports;

void vk_vkCmdBindPipeline(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                          VkPipelineBindPoint pipelineBindPoint, VkPipeline pipeline)
{
    vk_recording call{"vk_vkCmdBindPipeline", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "pipelineBindPoint", pipelineBindPoint,
               "target_pipeline", pipeline);
    call.record<&vk::vkCmdBindPipeline>(pipelineBindPoint, pipeline);
}

void vk_vkCmdSetViewport(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t firstViewport,
                         uint32_t viewportCount, vk_array<VkViewport, 2> pViewports)
{
    vk_recording call{"vk_vkCmdSetViewport", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "firstViewport", firstViewport, "viewportCount",
               viewportCount, "pViewports_ptr", pViewports.address);
    call.record<&vk::vkCmdSetViewport>(firstViewport, pViewports.count, pViewports);
}

void vk_vkCmdSetScissor(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t firstScissor,
                        uint32_t scissorCount, vk_array<VkRect2D, 2> pScissors)
{
    vk_recording call{"vk_vkCmdSetScissor", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "firstScissor", firstScissor, "scissorCount",
               scissorCount, "pScissors_ptr", pScissors.address);
    call.record<&vk::vkCmdSetScissor>(firstScissor, pScissors.count, pScissors);
}

void vk_vkCmdSetLineWidth(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, float lineWidth)
{
    vk_recording call{"vk_vkCmdSetLineWidth", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "lineWidth", lineWidth);
    call.record<&vk::vkCmdSetLineWidth>(lineWidth);
}

void vk_vkCmdSetDepthBias(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, float depthBiasConstantFactor,
                          float depthBiasClamp, float depthBiasSlopeFactor)
{
    vk_recording call{"vk_vkCmdSetDepthBias", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "depthBiasConstantFactor", depthBiasConstantFactor,
               "depthBiasClamp", depthBiasClamp, "depthBiasSlopeFactor", depthBiasSlopeFactor);
    call.record<&vk::vkCmdSetDepthBias>(depthBiasConstantFactor, depthBiasClamp, depthBiasSlopeFactor);
}

void vk_vkCmdSetBlendConstants(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                               vk_fixed<float, 4> blendConstants)
{
    vk_recording call{"vk_vkCmdSetBlendConstants", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "blendConstants_ptr", blendConstants.address);
    call.record<&vk::vkCmdSetBlendConstants>(blendConstants);
}

void vk_vkCmdSetDepthBounds(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, float minDepthBounds,
                            float maxDepthBounds)
{
    vk_recording call{"vk_vkCmdSetDepthBounds", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "minDepthBounds", minDepthBounds, "maxDepthBounds",
               maxDepthBounds);
    call.record<&vk::vkCmdSetDepthBounds>(minDepthBounds, maxDepthBounds);
}

void vk_vkCmdSetStencilCompareMask(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                                   VkStencilFaceFlags faceMask, uint32_t compareMask)
{
    vk_recording call{"vk_vkCmdSetStencilCompareMask", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "faceMask", faceMask, "compareMask", compareMask);
    call.record<&vk::vkCmdSetStencilCompareMask>(faceMask, compareMask);
}

void vk_vkCmdSetStencilWriteMask(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                                 VkStencilFaceFlags faceMask, uint32_t writeMask)
{
    vk_recording call{"vk_vkCmdSetStencilWriteMask", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "faceMask", faceMask, "writeMask", writeMask);
    call.record<&vk::vkCmdSetStencilWriteMask>(faceMask, writeMask);
}

void vk_vkCmdSetStencilReference(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                                 VkStencilFaceFlags faceMask, uint32_t reference)
{
    vk_recording call{"vk_vkCmdSetStencilReference", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "faceMask", faceMask, "reference", reference);
    call.record<&vk::vkCmdSetStencilReference>(faceMask, reference);
}

void vk_vkCmdBindDescriptorSets(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                                VkPipelineBindPoint pipelineBindPoint, VkPipelineLayout layout,
                                uint32_t firstSet, uint32_t descriptorSetCount,
                                vk_array<VkDescriptorSet, 4> pDescriptorSets, uint32_t dynamicOffsetCount,
                                vk_array<uint32_t, 6> pDynamicOffsets)
{
    vk_recording call{"vk_vkCmdBindDescriptorSets", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "pipelineBindPoint", pipelineBindPoint,
               "target_layout", layout, "firstSet", firstSet, "descriptorSetCount", descriptorSetCount,
               "pDescriptorSets_ptr", pDescriptorSets.address, "dynamicOffsetCount", dynamicOffsetCount,
               "pDynamicOffsets_ptr", pDynamicOffsets.address);
    call.record<&vk::vkCmdBindDescriptorSets>(pipelineBindPoint, layout, firstSet, pDescriptorSets.count,
                                              pDescriptorSets, pDynamicOffsets.count, pDynamicOffsets);
}

void vk_vkCmdBindIndexBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer buffer,
                             VkDeviceSize offset, VkIndexType indexType)
{
    vk_recording call{"vk_vkCmdBindIndexBuffer", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_buffer", buffer, "offset", offset, "indexType",
               indexType);
    call.record<&vk::vkCmdBindIndexBuffer>(buffer, offset, indexType);
}

void vk_vkCmdBindVertexBuffers(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t firstBinding,
                               uint32_t bindingCount, vk_array<VkBuffer, 2> pBuffers,
                               vk_array<VkDeviceSize, 2> pOffsets)
{
    vk_recording call{"vk_vkCmdBindVertexBuffers", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "firstBinding", firstBinding, "bindingCount",
               bindingCount, "pBuffers_ptr", pBuffers.address, "pOffsets_ptr", pOffsets.address);
    call.record<&vk::vkCmdBindVertexBuffers>(firstBinding, vk_common_count(pBuffers, pOffsets), pBuffers,
                                             pOffsets);
}

void vk_vkCmdPushConstants(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkPipelineLayout layout,
                           VkShaderStageFlags stageFlags, uint32_t offset, uint32_t size, vk_bytes<4> pValues)
{
    vk_recording call{"vk_vkCmdPushConstants", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_layout", layout, "stageFlags", stageFlags,
               "offset", offset, "size", size, "pValues_ptr", pValues.address);
    call.record<&vk::vkCmdPushConstants>(layout, stageFlags, offset, static_cast<uint32_t>(pValues.size),
                                         pValues);
}

void vk_vkCmdDraw(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t vertexCount,
                  uint32_t instanceCount, uint32_t firstVertex, uint32_t firstInstance)
{
    vk_recording call{"vk_vkCmdDraw", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "vertexCount", vertexCount, "instanceCount",
               instanceCount, "firstVertex", firstVertex, "firstInstance", firstInstance);
    call.record<&vk::vkCmdDraw>(vertexCount, instanceCount, firstVertex, firstInstance);
}

void vk_vkCmdDrawIndexed(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t indexCount,
                         uint32_t instanceCount, uint32_t firstIndex, int32_t vertexOffset,
                         uint32_t firstInstance)
{
    vk_recording call{"vk_vkCmdDrawIndexed", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "indexCount", indexCount, "instanceCount",
               instanceCount, "firstIndex", firstIndex, "vertexOffset", vertexOffset, "firstInstance",
               firstInstance);
    call.record<&vk::vkCmdDrawIndexed>(indexCount, instanceCount, firstIndex, vertexOffset, firstInstance);
}

void vk_vkCmdDrawIndirect(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer buffer,
                          VkDeviceSize offset, uint32_t drawCount, uint32_t stride)
{
    vk_recording call{"vk_vkCmdDrawIndirect", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_buffer", buffer, "offset", offset, "drawCount",
               drawCount, "stride", stride);
    call.record<&vk::vkCmdDrawIndirect>(buffer, offset, drawCount, stride);
}

void vk_vkCmdDrawIndexedIndirect(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer buffer,
                                 VkDeviceSize offset, uint32_t drawCount, uint32_t stride)
{
    vk_recording call{"vk_vkCmdDrawIndexedIndirect", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_buffer", buffer, "offset", offset, "drawCount",
               drawCount, "stride", stride);
    call.record<&vk::vkCmdDrawIndexedIndirect>(buffer, offset, drawCount, stride);
}

void vk_vkCmdDispatch(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t groupCountX,
                      uint32_t groupCountY, uint32_t groupCountZ)
{
    vk_recording call{"vk_vkCmdDispatch", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "groupCountX", groupCountX, "groupCountY", groupCountY,
               "groupCountZ", groupCountZ);
    call.record<&vk::vkCmdDispatch>(groupCountX, groupCountY, groupCountZ);
}

void vk_vkCmdDispatchIndirect(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer buffer,
                              VkDeviceSize offset)
{
    vk_recording call{"vk_vkCmdDispatchIndirect", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_buffer", buffer, "offset", offset);
    call.record<&vk::vkCmdDispatchIndirect>(buffer, offset);
}

void vk_vkCmdBeginRenderPass(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                             vk_struct<VkRenderPassBeginInfo> pRenderPassBegin, VkSubpassContents contents)
{
    vk_recording call{"vk_vkCmdBeginRenderPass", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "pRenderPassBegin_ptr", pRenderPassBegin.address,
               "contents", contents);
    if (auto* data = call.begin()) {
        call.prepare(data, pRenderPassBegin, "pRenderPassBegin");
        call.record<&vk::vkCmdBeginRenderPass>(pRenderPassBegin, contents);
    }
}

void vk_vkCmdNextSubpass(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkSubpassContents contents)
{
    vk_recording call{"vk_vkCmdNextSubpass", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "contents", contents);
    call.record<&vk::vkCmdNextSubpass>(contents);
}

void vk_vkCmdEndRenderPass(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer)
{
    vk_recording call{"vk_vkCmdEndRenderPass", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer);
    call.record<&vk::vkCmdEndRenderPass>();
}

void vk_vkCmdExecuteCommands(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t commandBufferCount,
                             vk_array<VkCommandBuffer, 1> pCommandBuffers)
{
    vk_recording call{"vk_vkCmdExecuteCommands", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "commandBufferCount", commandBufferCount,
               "pCommandBuffers_ptr", pCommandBuffers.address);
    if (call.begin() && vk_command_buffers_to_host(call, pCommandBuffers.data, pCommandBuffers.count))
        call.record<&vk::vkCmdExecuteCommands>(pCommandBuffers.count, pCommandBuffers);
}
