// Recording of state, draws, dispatches and passes.

#include "handlers/vk/command_handlers.h"
#include "handlers/vk/recording.h"

using vk = sidechannel_vk_imports;

namespace {
constexpr const char* no_such_place = "it reaches beyond what there is";
constexpr const char* no_indices = "no index buffer is bound";

/// Whether the framebuffer has what the pass works on, and what the pass allows next.
void begin_pass(vk_recording& call, vk_device_record* data, const vk_struct<VkRenderPassBeginInfo>& info)
{
    if (!info)
        return;
    const VkRenderPassBeginInfo given = *info.data;
    auto* pass = vk_known(data, given.renderPass);
    auto* framebuffer = vk_known(data, given.framebuffer);
    if (!pass || !framebuffer)
        return;
    const VkRect2D& area = given.renderArea;
    call.need(pass->attachment_count <= framebuffer->attachment_count && area.offset.x >= 0 &&
                  area.offset.y >= 0 &&
                  vk_within(static_cast<uint32_t>(area.offset.x), area.extent.width, framebuffer->width) &&
                  vk_within(static_cast<uint32_t>(area.offset.y), area.extent.height, framebuffer->height),
              "the framebuffer doesn't fit the render pass");
    auto* now = call.state();
    if (!now)
        return;
    call.need(!now->in_pass, "a render pass has begun already");
    if (call.refused())
        return;
    now->in_pass = true;
    now->subpasses_left = pass->subpass_count - 1;
}
} // namespace

void vk_vkCmdBindPipeline(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                          VkPipelineBindPoint pipelineBindPoint, VkPipeline pipeline)
{
    vk_recording call{"vk_vkCmdBindPipeline", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "pipelineBindPoint", pipelineBindPoint,
               "target_pipeline", pipeline);
    if (auto* now = call.state())
        (pipelineBindPoint == VK_PIPELINE_BIND_POINT_COMPUTE ? now->compute : now->graphics) =
            vk_known(call.begin(), pipeline) != nullptr;
    call.record<&vk::vkCmdBindPipeline>(pipelineBindPoint, pipeline);
}

void vk_vkCmdSetViewport(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t firstViewport,
                         uint32_t viewportCount, vk_array<VkViewport, 2> pViewports)
{
    vk_recording call{"vk_vkCmdSetViewport", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "firstViewport", firstViewport, "viewportCount",
               viewportCount, "pViewports_ptr", pViewports.address);
    call.need(vk_within(firstViewport, pViewports.count, vk_most_viewports), no_such_place);
    call.record<&vk::vkCmdSetViewport>(firstViewport, pViewports.count, pViewports);
}

void vk_vkCmdSetScissor(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t firstScissor,
                        uint32_t scissorCount, vk_array<VkRect2D, 2> pScissors)
{
    vk_recording call{"vk_vkCmdSetScissor", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "firstScissor", firstScissor, "scissorCount",
               scissorCount, "pScissors_ptr", pScissors.address);
    call.need(vk_within(firstScissor, pScissors.count, vk_most_viewports), no_such_place);
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
    if (auto* data = call.begin())
        if (auto* known = vk_known(data, layout))
            call.need(vk_within(firstSet, pDescriptorSets.count, known->set_count), no_such_place);
    call.record<&vk::vkCmdBindDescriptorSets>(pipelineBindPoint, layout, firstSet, pDescriptorSets.count,
                                              pDescriptorSets, pDynamicOffsets.count, pDynamicOffsets);
}

void vk_vkCmdBindIndexBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer buffer,
                             VkDeviceSize offset, VkIndexType indexType)
{
    vk_recording call{"vk_vkCmdBindIndexBuffer", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_buffer", buffer, "offset", offset, "indexType",
               indexType);
    if (auto* now = call.state())
        now->indices = vk_known(call.begin(), buffer) != nullptr;
    call.record<&vk::vkCmdBindIndexBuffer>(buffer, offset, indexType);
}

void vk_vkCmdBindVertexBuffers(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t firstBinding,
                               uint32_t bindingCount, vk_array<VkBuffer, 2> pBuffers,
                               vk_array<VkDeviceSize, 2> pOffsets)
{
    vk_recording call{"vk_vkCmdBindVertexBuffers", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "firstBinding", firstBinding, "bindingCount",
               bindingCount, "pBuffers_ptr", pBuffers.address, "pOffsets_ptr", pOffsets.address);
    call.need(vk_within(firstBinding, pBuffers.count, vk_most_vertex_bindings), no_such_place);
    call.record<&vk::vkCmdBindVertexBuffers>(firstBinding, vk_common_count(pBuffers, pOffsets), pBuffers,
                                             pOffsets);
}

void vk_vkCmdPushConstants(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkPipelineLayout layout,
                           VkShaderStageFlags stageFlags, uint32_t offset, uint32_t size, vk_bytes<4> pValues)
{
    vk_recording call{"vk_vkCmdPushConstants", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_layout", layout, "stageFlags", stageFlags,
               "offset", offset, "size", size, "pValues_ptr", pValues.address);
    if (auto* data = call.begin())
        if (auto* known = vk_known(data, layout))
            call.need(vk_within(offset, pValues.size, known->push_bytes),
                      "the layout has no such push constants");
    call.record<&vk::vkCmdPushConstants>(layout, stageFlags, offset, static_cast<uint32_t>(pValues.size),
                                         pValues);
}

void vk_vkCmdDraw(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t vertexCount,
                  uint32_t instanceCount, uint32_t firstVertex, uint32_t firstInstance)
{
    vk_recording call{"vk_vkCmdDraw", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "vertexCount", vertexCount, "instanceCount",
               instanceCount, "firstVertex", firstVertex, "firstInstance", firstInstance);
    call.need_graphics();
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
    call.need_graphics();
    if (auto* now = call.state())
        call.need(now->indices, no_indices);
    call.record<&vk::vkCmdDrawIndexed>(indexCount, instanceCount, firstIndex, vertexOffset, firstInstance);
}

void vk_vkCmdDrawIndirect(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer buffer,
                          VkDeviceSize offset, uint32_t drawCount, uint32_t stride)
{
    vk_recording call{"vk_vkCmdDrawIndirect", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_buffer", buffer, "offset", offset, "drawCount",
               drawCount, "stride", stride);
    call.need_graphics();
    if (auto* data = call.begin())
        call.need(vk_holds(data, buffer, offset, drawCount ? sizeof(VkDrawIndirectCommand) : 0),
                  no_such_place);
    call.record<&vk::vkCmdDrawIndirect>(buffer, offset, drawCount, stride);
}

void vk_vkCmdDrawIndexedIndirect(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer buffer,
                                 VkDeviceSize offset, uint32_t drawCount, uint32_t stride)
{
    vk_recording call{"vk_vkCmdDrawIndexedIndirect", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_buffer", buffer, "offset", offset, "drawCount",
               drawCount, "stride", stride);
    call.need_graphics();
    if (auto* now = call.state())
        call.need(now->indices, no_indices);
    if (auto* data = call.begin())
        call.need(vk_holds(data, buffer, offset, drawCount ? sizeof(VkDrawIndexedIndirectCommand) : 0),
                  no_such_place);
    call.record<&vk::vkCmdDrawIndexedIndirect>(buffer, offset, drawCount, stride);
}

void vk_vkCmdDispatch(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t groupCountX,
                      uint32_t groupCountY, uint32_t groupCountZ)
{
    vk_recording call{"vk_vkCmdDispatch", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "groupCountX", groupCountX, "groupCountY", groupCountY,
               "groupCountZ", groupCountZ);
    if (auto* now = call.state())
        call.need(now->compute, "no pipeline is bound");
    call.record<&vk::vkCmdDispatch>(groupCountX, groupCountY, groupCountZ);
}

void vk_vkCmdDispatchIndirect(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer buffer,
                              VkDeviceSize offset)
{
    vk_recording call{"vk_vkCmdDispatchIndirect", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_buffer", buffer, "offset", offset);
    if (auto* now = call.state())
        call.need(now->compute, "no pipeline is bound");
    if (auto* data = call.begin())
        call.need(vk_holds(data, buffer, offset, sizeof(VkDispatchIndirectCommand)), no_such_place);
    call.record<&vk::vkCmdDispatchIndirect>(buffer, offset);
}

void vk_vkCmdBeginRenderPass(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                             vk_struct<VkRenderPassBeginInfo> pRenderPassBegin, VkSubpassContents contents)
{
    vk_recording call{"vk_vkCmdBeginRenderPass", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "pRenderPassBegin_ptr", pRenderPassBegin.address,
               "contents", contents);
    if (auto* data = call.begin()) {
        begin_pass(call, data, pRenderPassBegin);
        call.prepare(data, pRenderPassBegin, "pRenderPassBegin");
        call.record<&vk::vkCmdBeginRenderPass>(pRenderPassBegin, contents);
    }
}

void vk_vkCmdNextSubpass(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkSubpassContents contents)
{
    vk_recording call{"vk_vkCmdNextSubpass", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "contents", contents);
    call.need_pass();
    if (auto* now = call.state()) {
        call.need(now->subpasses_left > 0, "the render pass has no further subpass");
        now->subpasses_left -= now->subpasses_left > 0;
    }
    call.record<&vk::vkCmdNextSubpass>(contents);
}

void vk_vkCmdEndRenderPass(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer)
{
    vk_recording call{"vk_vkCmdEndRenderPass", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer);
    if (auto* now = call.state()) {
        call.need(now->in_pass, "no render pass has begun");
        now->in_pass = false;
    }
    call.record<&vk::vkCmdEndRenderPass>();
}

void vk_vkCmdExecuteCommands(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t commandBufferCount,
                             vk_array<VkCommandBuffer, 1> pCommandBuffers)
{
    vk_recording call{"vk_vkCmdExecuteCommands", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "commandBufferCount", commandBufferCount,
               "pCommandBuffers_ptr", pCommandBuffers.address);
    for (uint32_t i = 0; i < pCommandBuffers.count; ++i)
        call.need(pCommandBuffers.data[i] != commandBuffer, "a command buffer can't execute itself");
    if (call.begin() && vk_command_buffers_to_host(call, pCommandBuffers.data, pCommandBuffers.count))
        call.record<&vk::vkCmdExecuteCommands>(pCommandBuffers.count, pCommandBuffers);
}
