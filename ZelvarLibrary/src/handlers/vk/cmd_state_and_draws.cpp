// Recording of state, draws, dispatches and passes.

#include "handlers/vk/command_handlers.h"
#include "handlers/vk/image_bounds.h"
#include "handlers/vk/recording.h"

using vk = sidechannel_vk_imports;

namespace {
constexpr const char* no_such_place = "it reaches beyond what there is";
constexpr const char* no_indices = "no index buffer is bound";

/// The framebuffer may have been made for another pass, if what is drawn to is alike.
bool fits(const vk_render_pass_data& pass, const vk_framebuffer_data& framebuffer)
{
    if (pass.attachment_count > framebuffer.attachment_count)
        return false;
    if (!pass.attachments)
        return true;
    for (size_t i = 0; i < pass.attachments->size() && i < framebuffer.attachments.size(); ++i) {
        const vk_pass_attachment& needed = (*pass.attachments)[i];
        const vk_attachment& there = framebuffer.attachments[i];
        if (needed.used && there.format != VK_FORMAT_UNDEFINED && there != needed)
            return false;
    }
    return true;
}

void use_attachments(vk_recording& call, vk_device_record* data, const vk_framebuffer_data& framebuffer)
{
    for (VkImageView target : framebuffer.target_views) {
        auto* view = vk_known(data, target);
        if (view)
            call.use(*view);
        if (view && view->shown.format == VK_FORMAT_UNDEFINED)
            continue;
        auto* image = view ? vk_known(data, view->target_image) : nullptr;
        call.need(image && vk_shape_of(data, view->target_image).has_memory,
                  "what the framebuffer shows has ended since");
        if (image)
            call.use(*image);
    }
}

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
    call.need(fits(*pass, *framebuffer) && area.offset.x >= 0 && area.offset.y >= 0 &&
                  vk_within(static_cast<uint32_t>(area.offset.x), area.extent.width, framebuffer->width) &&
                  vk_within(static_cast<uint32_t>(area.offset.y), area.extent.height, framebuffer->height),
              "the framebuffer doesn't fit the render pass");
    call.need(given.clearValueCount >= pass->clear_values, "a value to clear with is missing");
    use_attachments(call, data, *framebuffer);
    auto* now = call.state();
    if (!now)
        return;
    call.need(!now->in_pass && !now->secondary, "a render pass can't begin here");
    if (call.refused())
        return;
    call.use(*pass);
    call.use(*framebuffer);
    now->in_pass = true;
    now->pass = {pass->subpasses, 0, pass->subpass_count, area, framebuffer->layers};
}
} // namespace

void vk_vkCmdBindPipeline(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                          VkPipelineBindPoint pipelineBindPoint, VkPipeline pipeline)
{
    vk_recording call{"vk_vkCmdBindPipeline", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "pipelineBindPoint", pipelineBindPoint,
               "target_pipeline", pipeline);
    if (auto* now = call.state()) {
        auto* known = vk_known(call.begin(), pipeline);
        const bool compute = pipelineBindPoint == VK_PIPELINE_BIND_POINT_COMPUTE;
        call.need(vk_up_to(pipelineBindPoint, VK_PIPELINE_BIND_POINT_COMPUTE) &&
                      (!known || known->point == VK_PIPELINE_BIND_POINT_MAX_ENUM ||
                       known->point == pipelineBindPoint),
                  "the pipeline is of another kind");
        (compute ? now->compute : now->graphics) = known && !call.refused();
        if (known && !compute)
            now->pipeline_shape = known->shape;
    }
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

namespace {
/// An offset for each buffer that takes one, and within it.
void need_offsets(vk_recording& call, const vk_array<VkDescriptorSet, 4>& sets,
                  const vk_array<uint32_t, 6>& offsets)
{
    auto* data = call.begin();
    uint32_t taken = 0;
    for (uint32_t i = 0; data && i < sets.count; ++i) {
        auto* set = vk_known(data, sets.data[i]);
        if (!set || !set->bindings)
            return;
        call.need(!data->looks_at_all || set->samplers_missing == 0, "a set lacks samplers");
        if (set->offsets_taken == 0)
            continue;
        size_t at = 0;
        for (const auto& [number, binding] : *set->bindings) {
            const bool dynamic = vk_takes_offset(binding.type);
            for (uint32_t k = 0; dynamic && k < binding.count; ++k, ++taken) {
                const size_t index = at + k;
                const uint64_t most =
                    index < set->most_offsets.size() ? set->most_offsets[index] : UINT64_MAX;
                call.need(taken < offsets.count && offsets.data[taken] <= most, "a set takes other offsets");
            }
            at += binding.count;
        }
    }
}
} // namespace

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
    call.need(vk_up_to(pipelineBindPoint, VK_PIPELINE_BIND_POINT_COMPUTE), "there is no such pipeline");
    need_offsets(call, pDescriptorSets, pDynamicOffsets);
    call.record<&vk::vkCmdBindDescriptorSets>(pipelineBindPoint, layout, firstSet, pDescriptorSets.count,
                                              pDescriptorSets, pDynamicOffsets.count, pDynamicOffsets);
}

void vk_vkCmdBindIndexBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer buffer,
                             VkDeviceSize offset, VkIndexType indexType)
{
    vk_recording call{"vk_vkCmdBindIndexBuffer", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_buffer", buffer, "offset", offset, "indexType",
               indexType);
    call.need(vk_up_to(indexType, VK_INDEX_TYPE_UINT32), "there are no such indices");
    if (auto* data = call.begin())
        call.need(vk_holds(data, buffer, offset, 0), no_such_place);
    if (auto* now = call.state())
        now->indices = vk_known(call.begin(), buffer) && !call.refused();
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
    if (auto* data = call.begin())
        for (uint32_t i = 0; i < vk_common_count(pBuffers, pOffsets); ++i)
            call.need(vk_holds(data, pBuffers.data[i], pOffsets.data[i], 0), no_such_place);
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
    if (auto* now = call.state(); now && !call.refused())
        now->pushed |= stageFlags;
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

namespace {
/// All draws stand in the buffer.
void need_draws(vk_recording& call, VkBuffer buffer, VkDeviceSize offset, uint32_t count, uint32_t stride,
                uint64_t size)
{
    const uint64_t bytes = count ? uint64_t{count - 1} * stride + size : 0;
    if (auto* data = call.begin())
        call.need(vk_holds(data, buffer, offset, bytes), no_such_place);
}
} // namespace

void vk_vkCmdDrawIndirect(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer buffer,
                          VkDeviceSize offset, uint32_t drawCount, uint32_t stride)
{
    vk_recording call{"vk_vkCmdDrawIndirect", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_buffer", buffer, "offset", offset, "drawCount",
               drawCount, "stride", stride);
    call.need_graphics();
    need_draws(call, buffer, offset, drawCount, stride, sizeof(VkDrawIndirectCommand));
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
    need_draws(call, buffer, offset, drawCount, stride, sizeof(VkDrawIndexedIndirectCommand));
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
        call.need(now->in_pass && now->pass.subpass + 1 < now->pass.subpass_count,
                  "the render pass has no further subpass");
        now->pass.subpass += !call.refused();
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
        now->pass = {};
    }
    call.record<&vk::vkCmdEndRenderPass>();
}

namespace {
/// Only primary command buffers execute, and only secondary ones that suit where they get executed.
void need_executable(vk_recording& call, VkCommandBuffer executes,
                     const vk_array<VkCommandBuffer, 1>& executed)
{
    auto* data = call.begin();
    auto* now = call.state();
    call.need(!now || !now->secondary, "a secondary command buffer executes nothing");
    for (uint32_t i = 0; data && i < executed.count; ++i) {
        call.need(executed.data[i] != executes, "a command buffer can't execute itself");
        auto found = data->commands.find(executed.data[i]);
        if (!now || found == data->commands.end())
            continue;
        const vk_command_state& other = found->second;
        auto* subpass = now->pass.now();
        auto* needed = other.pass.now();
        call.need(other.secondary && other.continues_pass == now->in_pass &&
                      (!subpass || !needed || subpass->shape == needed->shape) &&
                      (!now->in_pass || other.layers_needed <= now->pass.layers),
                  "a command buffer can't be executed here");
        if (call.refused())
            return;
        now->executed.emplace_back(executed.data[i], other.serial);
        now->event_steps.push_back({vk_event_step::execute, VK_NULL_HANDLE, executed.data[i]});
    }
}
} // namespace

void vk_vkCmdExecuteCommands(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t commandBufferCount,
                             vk_array<VkCommandBuffer, 1> pCommandBuffers)
{
    vk_recording call{"vk_vkCmdExecuteCommands", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "commandBufferCount", commandBufferCount,
               "pCommandBuffers_ptr", pCommandBuffers.address);
    need_executable(call, commandBuffer, pCommandBuffers);
    if (call.begin() && vk_command_buffers_to_host(call, pCommandBuffers.data, pCommandBuffers.count))
        call.record<&vk::vkCmdExecuteCommands>(pCommandBuffers.count, pCommandBuffers);
}
