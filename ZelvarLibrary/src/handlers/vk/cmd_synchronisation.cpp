// Recording of barriers, events and queries.

#include "handlers/vk/command_handlers.h"
#include "handlers/vk/recording.h"

using vk = sidechannel_vk_imports;

namespace {
/// A barrier on an object that isn't known is recorded all the same, without it.
template <class Memory, class Buffers, class Images>
void prepare_barriers(vk_recording& call, const Memory& memory, const Buffers& buffers, const Images& images)
{
    auto* data = call.begin();
    if (!data)
        return;
    call.prepare(data, memory.data, memory.count, "pMemoryBarriers[%u]");
    call.prepare(data, buffers.data, buffers.count, "pBufferMemoryBarriers[%u]");
    call.prepare(data, images.data, images.count, "pImageMemoryBarriers[%u]");
}

/// A submission looks whether what it waits for will come.
void note(vk_recording& call, vk_event_step::kind does, VkEvent event)
{
    if (auto* now = call.state(); now && !call.refused())
        now->event_steps.push_back({does, event, VK_NULL_HANDLE});
}

/// Some hosts take constants that have been pushed to their pipelines as soon as a query begins.
void need_pipelines(vk_recording& call, VkQueryPool target)
{
    auto* now = call.state();
    if (!now || !call.begin()->looks_at_all)
        return;
    auto* pool = vk_known(call.begin(), target);
    const bool by_graphics = now->pushed & VK_SHADER_STAGE_ALL_GRAPHICS;
    const bool by_compute = now->pushed & VK_SHADER_STAGE_COMPUTE_BIT && pool && pool->counts_compute;
    call.need((now->graphics || !by_graphics) && (now->compute || !by_compute),
              "no pipeline is bound for what has been pushed");
}

void need_queries(vk_recording& call, VkQueryPool pool, uint32_t first, uint32_t count)
{
    if (auto* data = call.begin())
        call.need(vk_has_queries(data, pool, first, count), "the pool has no such queries");
}
} // namespace

void vk_vkCmdSetEvent(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkEvent event,
                      VkPipelineStageFlags stageMask)
{
    vk_recording call{"vk_vkCmdSetEvent", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_event", event, "stageMask", stageMask);
    note(call, vk_event_step::set, event);
    call.record<&vk::vkCmdSetEvent>(event, stageMask);
}

void vk_vkCmdResetEvent(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkEvent event,
                        VkPipelineStageFlags stageMask)
{
    vk_recording call{"vk_vkCmdResetEvent", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_event", event, "stageMask", stageMask);
    note(call, vk_event_step::reset, event);
    call.record<&vk::vkCmdResetEvent>(event, stageMask);
}

void vk_vkCmdWaitEvents(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t eventCount,
                        vk_array<VkEvent, 1> pEvents, VkPipelineStageFlags srcStageMask,
                        VkPipelineStageFlags dstStageMask, uint32_t memoryBarrierCount,
                        vk_array<VkMemoryBarrier, 5> pMemoryBarriers, uint32_t bufferMemoryBarrierCount,
                        vk_array<VkBufferMemoryBarrier, 7> pBufferMemoryBarriers,
                        uint32_t imageMemoryBarrierCount,
                        vk_array<VkImageMemoryBarrier, 9> pImageMemoryBarriers)
{
    vk_recording call{"vk_vkCmdWaitEvents", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "eventCount", eventCount, "pEvents_ptr",
               pEvents.address, "srcStageMask", srcStageMask, "dstStageMask", dstStageMask,
               "memoryBarrierCount", memoryBarrierCount, "pMemoryBarriers_ptr", pMemoryBarriers.address,
               "bufferMemoryBarrierCount", bufferMemoryBarrierCount, "pBufferMemoryBarriers_ptr",
               pBufferMemoryBarriers.address, "imageMemoryBarrierCount", imageMemoryBarrierCount,
               "pImageMemoryBarriers_ptr", pImageMemoryBarriers.address);
    prepare_barriers(call, pMemoryBarriers, pBufferMemoryBarriers, pImageMemoryBarriers);
    for (uint32_t i = 0; i < pEvents.count; ++i)
        note(call, vk_event_step::wait, pEvents.data[i]);
    call.record<&vk::vkCmdWaitEvents>(
        pEvents.count, pEvents, srcStageMask, dstStageMask, pMemoryBarriers.count, pMemoryBarriers,
        pBufferMemoryBarriers.count, pBufferMemoryBarriers, pImageMemoryBarriers.count, pImageMemoryBarriers);
}

void vk_vkCmdPipelineBarrier(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                             VkPipelineStageFlags srcStageMask, VkPipelineStageFlags dstStageMask,
                             VkDependencyFlags dependencyFlags, uint32_t memoryBarrierCount,
                             vk_array<VkMemoryBarrier, 4> pMemoryBarriers, uint32_t bufferMemoryBarrierCount,
                             vk_array<VkBufferMemoryBarrier, 6> pBufferMemoryBarriers,
                             uint32_t imageMemoryBarrierCount,
                             vk_array<VkImageMemoryBarrier, 8> pImageMemoryBarriers)
{
    vk_recording call{"vk_vkCmdPipelineBarrier", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "srcStageMask", srcStageMask, "dstStageMask",
               dstStageMask, "dependencyFlags", dependencyFlags, "memoryBarrierCount", memoryBarrierCount,
               "pMemoryBarriers_ptr", pMemoryBarriers.address, "bufferMemoryBarrierCount",
               bufferMemoryBarrierCount, "pBufferMemoryBarriers_ptr", pBufferMemoryBarriers.address,
               "imageMemoryBarrierCount", imageMemoryBarrierCount, "pImageMemoryBarriers_ptr",
               pImageMemoryBarriers.address);
    prepare_barriers(call, pMemoryBarriers, pBufferMemoryBarriers, pImageMemoryBarriers);
    call.record<&vk::vkCmdPipelineBarrier>(
        srcStageMask, dstStageMask, dependencyFlags, pMemoryBarriers.count, pMemoryBarriers,
        pBufferMemoryBarriers.count, pBufferMemoryBarriers, pImageMemoryBarriers.count, pImageMemoryBarriers);
}

void vk_vkCmdBeginQuery(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkQueryPool queryPool,
                        uint32_t query, VkQueryControlFlags flags)
{
    vk_recording call{"vk_vkCmdBeginQuery", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_queryPool", queryPool, "query", query, "flags",
               flags);
    need_queries(call, queryPool, query, 1);
    need_pipelines(call, queryPool);
    if (auto* now = call.state(); now && !call.refused())
        now->queries.insert({queryPool, query});
    call.record<&vk::vkCmdBeginQuery>(queryPool, query, flags);
}

void vk_vkCmdEndQuery(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkQueryPool queryPool,
                      uint32_t query)
{
    vk_recording call{"vk_vkCmdEndQuery", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_queryPool", queryPool, "query", query);
    need_queries(call, queryPool, query, 1);
    if (auto* now = call.state())
        call.need(now->queries.erase({queryPool, query}) != 0, "the query hasn't begun");
    call.record<&vk::vkCmdEndQuery>(queryPool, query);
}

void vk_vkCmdResetQueryPool(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkQueryPool queryPool,
                            uint32_t firstQuery, uint32_t queryCount)
{
    vk_recording call{"vk_vkCmdResetQueryPool", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_queryPool", queryPool, "firstQuery",
               firstQuery, "queryCount", queryCount);
    need_queries(call, queryPool, firstQuery, queryCount);
    call.record<&vk::vkCmdResetQueryPool>(queryPool, firstQuery, queryCount);
}

void vk_vkCmdWriteTimestamp(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer,
                            VkPipelineStageFlagBits pipelineStage, VkQueryPool queryPool, uint32_t query)
{
    vk_recording call{"vk_vkCmdWriteTimestamp", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "pipelineStage", pipelineStage, "target_queryPool",
               queryPool, "query", query);
    need_queries(call, queryPool, query, 1);
    call.record<&vk::vkCmdWriteTimestamp>(pipelineStage, queryPool, query);
}

void vk_vkCmdCopyQueryPoolResults(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkQueryPool queryPool,
                                  uint32_t firstQuery, uint32_t queryCount, VkBuffer dstBuffer,
                                  VkDeviceSize dstOffset, VkDeviceSize stride, VkQueryResultFlags flags)
{
    vk_recording call{"vk_vkCmdCopyQueryPoolResults", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_queryPool", queryPool, "firstQuery",
               firstQuery, "queryCount", queryCount, "target_dstBuffer", dstBuffer, "dstOffset", dstOffset,
               "stride", stride, "flags", flags);
    need_queries(call, queryPool, firstQuery, queryCount);
    if (auto* data = call.begin(); data && queryCount > 0) {
        auto* pool = vk_known(data, queryPool);
        const uint64_t values =
            (pool ? pool->values : 1) + (flags & VK_QUERY_RESULT_WITH_AVAILABILITY_BIT ? 1 : 0);
        uint64_t bytes = 0;
        const bool small =
            !__builtin_mul_overflow(stride, uint64_t{queryCount} - 1, &bytes) &&
            !__builtin_add_overflow(bytes, values * (flags & VK_QUERY_RESULT_64_BIT ? 8 : 4), &bytes);
        call.need(small && vk_holds(data, dstBuffer, dstOffset, bytes),
                  "the results don't fit into the buffer");
    }
    call.record<&vk::vkCmdCopyQueryPoolResults>(queryPool, firstQuery, queryCount, dstBuffer, dstOffset,
                                                stride, flags);
}
