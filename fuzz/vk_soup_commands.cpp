// Commands that the made-up application records, and what it does with them.

#include "vk_soup.h"
#include "wire/wire.h"

namespace in = wire::inbound;
using msg = vk_message;

namespace {
constexpr VkImageLayout general = VK_IMAGE_LAYOUT_GENERAL;
} // namespace

VkImageSubresourceLayers vk_soup::layers()
{
    const VkImageAspectFlags aspect = _input.of({1u, 1u, 1u, 2u, 4u, 6u});
    return {_input.near(aspect), _input.near(_input.of({0u, 0u, 0u, 1u, 4u})), _input.near(0u),
            _input.near(_input.of({1u, 1u, 1u, 6u, 3u}))};
}
VkOffset3D vk_soup::offset()
{
    auto place = [&] { return _input.near(_input.of({0, 0, 4, 8, 15})); };
    return {place(), place(), _input.near(0)};
}
VkExtent3D vk_soup::extent()
{
    auto size = [&] { return _input.near(_input.of({1u, 4u, 8u, 16u, 40u})); };
    return {size(), size(), _input.near(_input.of({1u, 1u, 4u}))};
}

void vk_soup::begin_commands()
{
    VkCommandBufferInheritanceInfo inherited{};
    inherited.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_INHERITANCE_INFO;
    inherited.renderPass = any<VkRenderPass>();
    inherited.subpass = _input.near(0u);
    inherited.framebuffer = any<VkFramebuffer>();
    VkCommandBufferBeginInfo info{};
    info.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO;
    info.flags = _input.of({0u, 0u, 2u, 4u, 1u});
    info.pInheritanceInfo = info.flags & 2 ? &inherited : nullptr;
    send({in::vk_begin_command_buffer, any<VkCommandBuffer>(), msg::one(info)});
}

void vk_soup::begin_pass()
{
    const VkClearValue clears[2]{};
    VkRenderPassBeginInfo info{};
    info.sType = VK_STRUCTURE_TYPE_RENDER_PASS_BEGIN_INFO;
    info.renderPass = any<VkRenderPass>();
    info.framebuffer = any<VkFramebuffer>();
    info.renderArea = {{_input.near(0), _input.near(0)}, {_input.near(16u), _input.near(16u)}};
    info.clearValueCount = _input.of({2u, 2u, 1u, 0u});
    info.pClearValues = clears;
    const auto commands = any<VkCommandBuffer>();
    send({in::vk_cmd_begin_render_pass, commands, msg::one(info), _input.near(VK_SUBPASS_CONTENTS_INLINE)});
    record_state();
    record_draw();
    if (!_input.seldom())
        send({in::vk_cmd_end_render_pass, commands});
}

void vk_soup::record()
{
    using recorder = void (vk_soup::*)();
    static constexpr recorder recorders[] = {&vk_soup::record_state, &vk_soup::record_draw,
                                             &vk_soup::record_copy,  &vk_soup::record_clear,
                                             &vk_soup::record_query, &vk_soup::record_sync};
    (this->*recorders[_input.below(std::size(recorders))])();
}

void vk_soup::record_state()
{
    const auto commands = any<VkCommandBuffer>();
    const auto point =
        _input.near(_input.of({VK_PIPELINE_BIND_POINT_GRAPHICS, VK_PIPELINE_BIND_POINT_COMPUTE}));
    const VkBuffer buffers[] = {any<VkBuffer>(), any<VkBuffer>()};
    const VkDeviceSize offsets[] = {_input.near(VkDeviceSize{0}), _input.near(VkDeviceSize{16})};
    const VkDescriptorSet sets[] = {any<VkDescriptorSet>(), any<VkDescriptorSet>()};
    const uint32_t dynamic[] = {_input.near(0u), _input.near(256u)};
    const uint32_t count = _input.of({1u, 2u});
    send({in::vk_cmd_bind_pipeline, commands, point, any<VkPipeline>()});
    send({in::vk_cmd_bind_vertex_buffers, commands, _input.near(0u), count,
          msg::some<VkBuffer>{buffers, count}, msg::some<VkDeviceSize>{offsets, count}});
    send({in::vk_cmd_bind_index_buffer, commands, any<VkBuffer>(), _input.near(VkDeviceSize{0}),
          _input.near(VK_INDEX_TYPE_UINT16)});
    send({in::vk_cmd_bind_descriptor_sets, commands, point, any<VkPipelineLayout>(), _input.near(0u), count,
          msg::some<VkDescriptorSet>{sets, count}, count, msg::some<uint32_t>{dynamic, count}});
    const std::vector<uint8_t> pushed(_input.of({16u, 64u, 4u, 200u}));
    send({in::vk_cmd_push_constants, commands, any<VkPipelineLayout>(), 0x3fu, _input.near(0u),
          static_cast<uint32_t>(pushed.size()), msg::all(pushed)});
    const VkViewport viewport{0, 0, 16, 16, 0, 1};
    const VkRect2D scissor{{_input.near(0), 0}, {_input.near(16u), 16}};
    send({in::vk_cmd_set_viewport, commands, _input.near(0u), 1u, msg::one(viewport)});
    send({in::vk_cmd_set_scissor, commands, _input.near(0u), 1u, msg::one(scissor)});
}

void vk_soup::record_draw()
{
    const auto commands = any<VkCommandBuffer>();
    switch (_input.below(6)) {
    case 0:
        return send(
            {in::vk_cmd_draw, commands, _input.near(3u), _input.near(1u), _input.near(0u), _input.near(0u)});
    case 1:
        return send({in::vk_cmd_draw_indexed, commands, _input.near(6u), _input.near(1u), _input.near(0u),
                     _input.near(0), _input.near(0u)});
    case 2:
        return send({in::vk_cmd_draw_indirect, commands, any<VkBuffer>(), _input.near(VkDeviceSize{0}),
                     _input.near(2u), _input.near(16u)});
    case 3:
        return send({in::vk_cmd_draw_indexed_indirect, commands, any<VkBuffer>(),
                     _input.near(VkDeviceSize{0}), _input.near(2u), _input.near(20u)});
    case 4:
        return send({in::vk_cmd_dispatch, commands, _input.near(2u), _input.near(1u), _input.near(1u)});
    default:
        return send({in::vk_cmd_dispatch_indirect, commands, any<VkBuffer>(), _input.near(VkDeviceSize{0})});
    }
}

void vk_soup::record_copy()
{
    const auto commands = any<VkCommandBuffer>();
    const VkBufferImageCopy between{_input.near(VkDeviceSize{0}),
                                    _input.near(_input.of({0u, 16u, 40u})),
                                    _input.near(0u),
                                    layers(),
                                    offset(),
                                    extent()};
    const uint32_t words[] = {_input.near(3u), _input.near(1u), 0, 0, 0};
    switch (_input.below(7)) {
    case 0: {
        const VkBufferCopy region{_input.near(VkDeviceSize{0}), _input.near(VkDeviceSize{128}),
                                  _input.near(VkDeviceSize{64})};
        return send(
            {in::vk_cmd_copy_buffer, commands, any<VkBuffer>(), any<VkBuffer>(), 1u, msg::one(region)});
    }
    case 1: {
        const VkImageCopy region{layers(), offset(), layers(), offset(), extent()};
        return send({in::vk_cmd_copy_image, commands, any<VkImage>(), general, any<VkImage>(), general, 1u,
                     msg::one(region)});
    }
    case 2: {
        const VkImageBlit region{layers(), {offset(), {16, 16, 1}}, layers(), {offset(), {8, 8, 1}}};
        return send({in::vk_cmd_blit_image, commands, any<VkImage>(), general, any<VkImage>(), general, 1u,
                     msg::one(region), _input.near(VK_FILTER_LINEAR)});
    }
    case 3: {
        const VkImageResolve region{layers(), offset(), layers(), offset(), extent()};
        return send({in::vk_cmd_resolve_image, commands, any<VkImage>(), general, any<VkImage>(), general, 1u,
                     msg::one(region)});
    }
    case 4:
        return send({in::vk_cmd_copy_buffer_to_image, commands, any<VkBuffer>(), any<VkImage>(), general, 1u,
                     msg::one(between)});
    case 5:
        return send({in::vk_cmd_copy_image_to_buffer, commands, any<VkImage>(), general, any<VkBuffer>(), 1u,
                     msg::one(between)});
    default:
        return send({in::vk_cmd_update_buffer, commands, any<VkBuffer>(), _input.near(VkDeviceSize{0}),
                     VkDeviceSize{sizeof(words)}, msg::some<uint32_t>{words, std::size(words)}});
    }
}

void vk_soup::record_clear()
{
    const auto commands = any<VkCommandBuffer>();
    const VkImageSubresourceRange cleared = range(_input.of({1u, 6u, 2u}));
    switch (_input.below(4)) {
    case 0:
        return send({in::vk_cmd_fill_buffer, commands, any<VkBuffer>(), _input.near(VkDeviceSize{0}),
                     _input.near(_input.of<VkDeviceSize>({VK_WHOLE_SIZE, 16, 256})), _input.near(0u)});
    case 1: {
        const VkClearColorValue colour{};
        return send({in::vk_cmd_clear_color_image, commands, any<VkImage>(), general, msg::one(colour), 1u,
                     msg::one(cleared)});
    }
    case 2: {
        const VkClearDepthStencilValue depth{};
        return send({in::vk_cmd_clear_depth_stencil_image, commands, any<VkImage>(), general, msg::one(depth),
                     1u, msg::one(cleared)});
    }
    default: {
        const VkClearAttachment attachment{_input.of({1u, 6u, 2u}), _input.near(0u), {}};
        const VkClearRect rect{{{_input.near(0), _input.near(0)}, {_input.near(16u), _input.near(16u)}},
                               _input.near(0u),
                               _input.near(1u)};
        return send({in::vk_cmd_clear_attachments, commands, 1u, msg::one(attachment), 1u, msg::one(rect)});
    }
    }
}

void vk_soup::record_query()
{
    const auto commands = any<VkCommandBuffer>();
    const auto pool = any<VkQueryPool>();
    const uint32_t query = _input.near(_input.below(4));
    switch (_input.below(5)) {
    case 0:
        send({in::vk_cmd_begin_query, commands, pool, query, _input.near(0u)});
        if (_input.below(2))
            record_draw();
        return send({in::vk_cmd_end_query, commands, pool, query});
    case 1:
        return send({in::vk_cmd_begin_query, commands, pool, query, _input.near(0u)});
    case 2:
        return send({in::vk_cmd_reset_query_pool, commands, pool, query, _input.near(1u)});
    case 3:
        return send({in::vk_cmd_write_timestamp, commands, _input.near(VK_PIPELINE_STAGE_TOP_OF_PIPE_BIT),
                     pool, query});
    default:
        return send({in::vk_cmd_copy_query_pool_results, commands, pool, query, _input.near(1u),
                     any<VkBuffer>(), _input.near(VkDeviceSize{0}), _input.near(VkDeviceSize{8}),
                     _input.near(_input.of({0u, 1u, 3u, 7u}))});
    }
}

void vk_soup::record_sync()
{
    const auto commands = any<VkCommandBuffer>();
    const VkEvent events[] = {any<VkEvent>()};
    switch (_input.below(6)) {
    case 0:
        return send({in::vk_cmd_set_event, commands, any<VkEvent>(), 1u});
    case 1:
        return send({in::vk_cmd_reset_event, commands, any<VkEvent>(), 1u});
    case 2:
        return send({in::vk_cmd_wait_events, commands, 1u, msg::one(events[0]), 1u, 1u, 0u, msg::nothing{},
                     0u, msg::nothing{}, 0u, msg::nothing{}});
    case 3: {
        VkImageMemoryBarrier barrier{};
        barrier.sType = VK_STRUCTURE_TYPE_IMAGE_MEMORY_BARRIER;
        barrier.newLayout = general;
        barrier.image = any<VkImage>();
        barrier.subresourceRange = range(1);
        return send({in::vk_cmd_pipeline_barrier, commands, 1u, 1u, 0u, 0u, msg::nothing{}, 0u,
                     msg::nothing{}, 1u, msg::one(barrier)});
    }
    case 4:
        return send({in::vk_cmd_next_subpass, commands, VK_SUBPASS_CONTENTS_INLINE});
    default: {
        const VkCommandBuffer executed = any<VkCommandBuffer>();
        return send({in::vk_cmd_execute_commands, commands, 1u, msg::one(executed)});
    }
    }
}

void vk_soup::submit()
{
    const VkCommandBuffer commands[] = {any<VkCommandBuffer>(), any<VkCommandBuffer>()};
    if (!_input.seldom())
        for (VkCommandBuffer each : commands)
            send({in::vk_end_command_buffer, each});
    const VkSemaphore semaphores[] = {any<VkSemaphore>(), any<VkSemaphore>()};
    const VkPipelineStageFlags stage = 1;
    VkSubmitInfo info{};
    info.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO;
    info.commandBufferCount = _input.of({1u, 1u, 2u});
    info.pCommandBuffers = commands;
    info.signalSemaphoreCount = _input.seldom();
    info.pSignalSemaphores = info.signalSemaphoreCount ? semaphores : nullptr;
    info.waitSemaphoreCount = _input.seldom();
    info.pWaitSemaphores = info.waitSemaphoreCount ? semaphores + 1 : nullptr;
    info.pWaitDstStageMask = info.waitSemaphoreCount ? &stage : nullptr;
    const VkFence fence = _input.seldom() ? any<VkFence>() : VK_NULL_HANDLE;
    send({in::vk_queue_submit, any<VkQueue>(), 1u, msg::one(info), fence});
    if (!_input.seldom())
        send({in::vk_queue_wait_idle, any<VkQueue>()});
    begin_commands();
}

void vk_soup::use_memory()
{
    const auto memory = any<VkDeviceMemory>();
    VkMappedMemoryRange part{};
    part.sType = VK_STRUCTURE_TYPE_MAPPED_MEMORY_RANGE;
    part.memory = memory;
    part.offset = _input.near(VkDeviceSize{0});
    part.size = _input.near(VkDeviceSize{VK_WHOLE_SIZE});
    const uint64_t address = scripted_memory::base;
    switch (_input.below(5)) {
    case 0:
        return send({in::vk_map_memory, any<VkDevice>(), memory, _input.near(VkDeviceSize{0}),
                     _input.near(_input.of<VkDeviceSize>({VK_WHOLE_SIZE, 256})), 0u, msg::one(address)});
    case 1:
        return send({in::vk_unmap_memory, any<VkDevice>(), memory});
    case 2:
        return send({in::vk_flush_mapped_memory_ranges, any<VkDevice>(), 1u, msg::one(part)});
    case 3:
        return send({in::vk_invalidate_mapped_memory_ranges, any<VkDevice>(), 1u, msg::one(part)});
    default: {
        uint8_t bytes[32];
        for (uint8_t& byte : bytes)
            byte = _input.byte();
        return _target.poke(_input.byte() * 16u, bytes);
    }
    }
}

void vk_soup::ask()
{
    const uint64_t address = scripted_memory::base;
    switch (_input.below(6)) {
    case 0:
        return send({in::vk_get_query_pool_results, any<VkDevice>(), any<VkQueryPool>(), _input.near(0u),
                     _input.near(2u), _input.near(uint64_t{64}), address, _input.near(VkDeviceSize{8}),
                     _input.near(_input.of({0u, 1u, 4u, 6u}))});
    case 1: {
        const VkFence fence = any<VkFence>();
        return send(
            {in::vk_wait_for_fences, any<VkDevice>(), 1u, msg::one(fence), 1u, _input.near(uint64_t{0})});
    }
    case 2: {
        const VkFence fence = any<VkFence>();
        return send({in::vk_reset_fences, any<VkDevice>(), 1u, msg::one(fence)});
    }
    case 3:
        return send({in::vk_set_event, any<VkDevice>(), any<VkEvent>()});
    case 4: {
        const VkImageSubresource part{_input.near(1u), _input.near(0u), _input.near(0u)};
        const VkSubresourceLayout layout{};
        return send({in::vk_get_image_subresource_layout, any<VkDevice>(), any<VkImage>(), msg::one(part),
                     msg::one(layout)});
    }
    default: {
        const VkImageFormatProperties properties{};
        return send({in::vk_get_physical_device_image_format_properties, any<VkPhysicalDevice>(),
                     _input.near(VK_FORMAT_R8G8B8A8_UNORM), _input.near(VK_IMAGE_TYPE_2D),
                     _input.near(VK_IMAGE_TILING_OPTIMAL), _input.near(7u), _input.near(0u),
                     msg::one(properties)});
    }
    }
}
