// Messages that record a Vulkan command, in the order of the message list.

#include "handlers/vk/command_handlers.h"
#include "inbound/rows.h"
#include "inbound/vk_decoder.h"
#include "wire/wire.h"

constinit const built_row vk_commands_rows[] = {
    VK_ROW(vk_cmd_bind_pipeline, vk_vkCmdBindPipeline),
    VK_ROW(vk_cmd_set_viewport, vk_vkCmdSetViewport),
    VK_ROW(vk_cmd_set_scissor, vk_vkCmdSetScissor),
    VK_ROW(vk_cmd_set_line_width, vk_vkCmdSetLineWidth),
    VK_ROW(vk_cmd_set_depth_bias, vk_vkCmdSetDepthBias),
    VK_ROW(vk_cmd_set_blend_constants, vk_vkCmdSetBlendConstants),
    VK_ROW(vk_cmd_set_depth_bounds, vk_vkCmdSetDepthBounds),
    VK_ROW(vk_cmd_set_stencil_compare_mask, vk_vkCmdSetStencilCompareMask),
    VK_ROW(vk_cmd_set_stencil_write_mask, vk_vkCmdSetStencilWriteMask),
    VK_ROW(vk_cmd_set_stencil_reference, vk_vkCmdSetStencilReference),
    VK_ROW(vk_cmd_bind_descriptor_sets, vk_vkCmdBindDescriptorSets),
    VK_ROW(vk_cmd_bind_index_buffer, vk_vkCmdBindIndexBuffer),
    VK_ROW(vk_cmd_bind_vertex_buffers, vk_vkCmdBindVertexBuffers),
    VK_ROW(vk_cmd_draw, vk_vkCmdDraw),
    VK_ROW(vk_cmd_draw_indexed, vk_vkCmdDrawIndexed),
    VK_ROW(vk_cmd_draw_indirect, vk_vkCmdDrawIndirect),
    VK_ROW(vk_cmd_draw_indexed_indirect, vk_vkCmdDrawIndexedIndirect),
    VK_ROW(vk_cmd_dispatch, vk_vkCmdDispatch),
    VK_ROW(vk_cmd_dispatch_indirect, vk_vkCmdDispatchIndirect),
    VK_ROW(vk_cmd_copy_buffer, vk_vkCmdCopyBuffer),
    VK_ROW(vk_cmd_copy_image, vk_vkCmdCopyImage),
    VK_ROW(vk_cmd_blit_image, vk_vkCmdBlitImage),
    VK_ROW(vk_cmd_copy_buffer_to_image, vk_vkCmdCopyBufferToImage),
    VK_ROW(vk_cmd_copy_image_to_buffer, vk_vkCmdCopyImageToBuffer),
    VK_ROW(vk_cmd_update_buffer, vk_vkCmdUpdateBuffer),
    VK_ROW(vk_cmd_fill_buffer, vk_vkCmdFillBuffer),
    VK_ROW(vk_cmd_clear_color_image, vk_vkCmdClearColorImage),
    VK_ROW(vk_cmd_clear_depth_stencil_image, vk_vkCmdClearDepthStencilImage),
    VK_ROW(vk_cmd_clear_attachments, vk_vkCmdClearAttachments),
    VK_ROW(vk_cmd_resolve_image, vk_vkCmdResolveImage),
    VK_ROW(vk_cmd_set_event, vk_vkCmdSetEvent),
    VK_ROW(vk_cmd_reset_event, vk_vkCmdResetEvent),
    VK_ROW(vk_cmd_wait_events, vk_vkCmdWaitEvents),
    VK_ROW(vk_cmd_pipeline_barrier, vk_vkCmdPipelineBarrier),
    VK_ROW(vk_cmd_begin_query, vk_vkCmdBeginQuery),
    VK_ROW(vk_cmd_end_query, vk_vkCmdEndQuery),
    VK_ROW(vk_cmd_reset_query_pool, vk_vkCmdResetQueryPool),
    VK_ROW(vk_cmd_write_timestamp, vk_vkCmdWriteTimestamp),
    VK_ROW(vk_cmd_copy_query_pool_results, vk_vkCmdCopyQueryPoolResults),
    VK_ROW(vk_cmd_push_constants, vk_vkCmdPushConstants),
    VK_ROW(vk_cmd_begin_render_pass, vk_vkCmdBeginRenderPass),
    VK_ROW(vk_cmd_next_subpass, vk_vkCmdNextSubpass),
    VK_ROW(vk_cmd_end_render_pass, vk_vkCmdEndRenderPass),
    VK_ROW(vk_cmd_execute_commands, vk_vkCmdExecuteCommands),
};
constinit const size_t vk_commands_row_count = sizeof(vk_commands_rows) / sizeof(vk_commands_rows[0]);
