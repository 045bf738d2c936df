// Recording of commands: what is mapped, what stays away from the host, and uploads of ASTC blocks.

#include "handlers/vk/vk_fixture.h"

#include <cstring>

namespace {
using vk_commands = vk_fixture;

TEST_F(vk_commands, ArgumentsPassAndHandlesBecomeTheHosts)
{
    EXPECT_EQ(host_calls(command(in::vk_cmd_draw).u32(3).u32(1).u32(7).u32(2)),
              texts{"vkCmdDraw(VkCommandBuffer#1, 3, 1, 7, 2)"});
    EXPECT_EQ(host_calls(command(in::vk_cmd_set_depth_bias).f32(0.5).f32(0).f32(2)),
              texts{"vkCmdSetDepthBias(VkCommandBuffer#1, 0.5, 0, 2)"});
    EXPECT_EQ(host_calls(command(in::vk_cmd_bind_pipeline).u32(1).u64(target_of<VkPipeline>())),
              texts{"vkCmdBindPipeline(VkCommandBuffer#1, 1, VkPipeline#1)"});
    EXPECT_EQ(host_calls(command(in::vk_cmd_bind_index_buffer).u64(target_of<VkBuffer>()).u64(64).u32(1)),
              texts{"vkCmdBindIndexBuffer(VkCommandBuffer#1, VkBuffer#1, 64, 1)"});
    EXPECT_EQ(
        host_calls(command(in::vk_cmd_copy_query_pool_results)
                       .u64(target_of<VkQueryPool>())
                       .u32(1)
                       .u32(2)
                       .u64(target_of<VkBuffer>())
                       .u64(16)
                       .u64(8)
                       .u32(3)),
        texts{"vkCmdCopyQueryPoolResults(VkCommandBuffer#1, VkQueryPool#1, 1, 2, VkBuffer#1, 16, 8, 3)"});
}

TEST_F(vk_commands, ArraysReachTheHostAsFarAsTheMessageHoldsThem)
{
    add<VkBuffer>("VkBuffer", 2);
    std::vector<VkBuffer> buffers;
    std::vector<VkDeviceSize> offsets;
    fake_vulkan::hook<&vk::vkCmdBindVertexBuffers>(
        [&](VkCommandBuffer, uint32_t, uint32_t n, const VkBuffer* b, const VkDeviceSize* o) {
            buffers.assign(b, b + n);
            offsets.assign(o, o + n);
        });
    auto bind = [&](uint32_t count) {
        return command(in::vk_cmd_bind_vertex_buffers)
            .u32(0)
            .u32(count)
            .u64(memory)
            .u64(memory)
            .u64(target_of<VkBuffer>(2))
            .u64(target_of<VkBuffer>(1));
    };
    target.run(bind(2).u64(16).u64(32));
    EXPECT_EQ(buffers, (std::vector{entry<VkBuffer>(2).host, entry<VkBuffer>(1).host}));
    EXPECT_EQ(offsets, (std::vector<VkDeviceSize>{16, 32}));
    EXPECT_EQ(host_calls(bind(2).u64(16)),
              texts{"vkCmdBindVertexBuffers(VkCommandBuffer#1, 0, 1, pointer, pointer)"});
    EXPECT_EQ(host_calls(command(in::vk_cmd_set_viewport)
                             .u32(0)
                             .u32(UINT32_MAX)
                             .u64(memory)
                             .raw(std::vector<uint8_t>(2 * sizeof(VkViewport) + 3))),
              texts{"vkCmdSetViewport(VkCommandBuffer#1, 0, 2, pointer)"});
    EXPECT_EQ(host_calls(command(in::vk_cmd_update_buffer)
                             .u64(target_of<VkBuffer>())
                             .u64(4)
                             .u64(UINT64_MAX)
                             .u64(memory)
                             .u32(1)
                             .u32(2)),
              texts{"vkCmdUpdateBuffer(VkCommandBuffer#1, VkBuffer#1, 4, 8, pointer)"});
}

TEST_F(vk_commands, WhatIsNotKnownIsNotRecorded)
{
    std::string said = printed(command(in::vk_cmd_bind_pipeline).u32(1).u64(unknown_handle));
    EXPECT_EQ(library::occurrences(said, "Could not find a host<=>target vulkan pipeline mapping for target "
                                         "[0xbad] \n"),
              1u);
    said = printed(target.make(in::vk_cmd_draw).u64(unknown_handle).u32(3).u32(1).u32(0).u32(0));
    EXPECT_EQ(
        library::occurrences(said, "Could not retrieve device data for target command buffer [0xbad]\n"), 1u);
    printed(command(in::vk_cmd_execute_commands).u32(2).u64(memory).u64(commands_handle).u64(unknown_handle));
    printed(command(in::vk_cmd_bind_pipeline).u32(1).u64(0)); // a driver follows a null handle
    printed(command(in::vk_cmd_clear_color_image).u64(target_of<VkImage>()).u32(1).u64(0).u32(0).u64(0));
    EXPECT_EQ(fake_vulkan::texts(), texts{});
}

TEST_F(vk_commands, BarrierOnWhatIsNotKnownIsNotRecorded)
{
    VkImageMemoryBarrier barriers[2]{};
    barriers[0].sType = barriers[1].sType = VK_STRUCTURE_TYPE_IMAGE_MEMORY_BARRIER;
    barriers[0].image = as<VkImage>(target_of<VkImage>());
    barriers[1].image = as<VkImage>(unknown_handle);
    message call = command(in::vk_cmd_pipeline_barrier)
                       .u32(1)
                       .u32(2)
                       .u32(0)
                       .u32(0)
                       .u64(0)
                       .u32(0)
                       .u64(0)
                       .u32(2)
                       .u64(memory);
    std::string said = printed(put(call, barriers));
    EXPECT_EQ(library::occurrences(said, "vk_vkCmdPipelineBarrier: could not accomplish a host<=>target "
                                         "mapping for argument pImageMemoryBarriers[1]\n"),
              1u);
    EXPECT_EQ(library::occurrences(said, "vk_vkCmdPipelineBarrier: a handle or structure is missing that "
                                         "Vulkan requires, the host isn't called.\n"),
              1u);
    EXPECT_EQ(fake_vulkan::texts(), texts{}) << "a driver follows a null image";
}

TEST_F(vk_commands, RangesBeyondWhatThereIsStayAwayFromTheHost)
{
    auto& buffer = entry<VkBuffer>();
    buffer.size = 256;
    auto fill = [&](uint64_t offset, uint64_t size) {
        return host_calls(
                   command(in::vk_cmd_fill_buffer).u64(target_of<VkBuffer>()).u64(offset).u64(size).u32(1))
            .size();
    };
    EXPECT_EQ(fill(0, 256), 0u) << "there is no memory behind it";
    buffer.target_memory = as<VkDeviceMemory>(target_of<VkDeviceMemory>());
    EXPECT_EQ(fill(0, 256), 1u);
    EXPECT_EQ(fill(4, 252), 1u);
    EXPECT_EQ(fill(256, VK_WHOLE_SIZE), 1u);
    EXPECT_EQ(fill(4, 256), 0u);
    EXPECT_EQ(fill(UINT64_MAX - 3, 8), 0u);
    EXPECT_EQ(fill(260, VK_WHOLE_SIZE), 0u);
    entry<VkQueryPool>().count = 4;
    auto reset = [&](uint32_t first, uint32_t count) {
        return host_calls(
                   command(in::vk_cmd_reset_query_pool).u64(target_of<VkQueryPool>()).u32(first).u32(count))
            .size();
    };
    EXPECT_EQ(reset(1, 3), 1u);
    EXPECT_EQ(reset(2, 3), 0u);
    EXPECT_EQ(reset(UINT32_MAX, 2), 0u);
    entry<VkPipelineLayout>().push_bytes = 16;
    auto push = [&](uint32_t offset) {
        message call = command(in::vk_cmd_push_constants).u64(target_of<VkPipelineLayout>()).u32(1);
        return host_calls(call.u32(offset).u32(8).u64(memory).u64(0)).size();
    };
    EXPECT_EQ(push(8), 1u);
    EXPECT_EQ(push(12), 0u);
    auto viewport = [&](uint32_t first) {
        return host_calls(command(in::vk_cmd_set_viewport)
                              .u32(first)
                              .u32(1)
                              .u64(memory)
                              .raw(std::vector<uint8_t>(24)))
            .size();
    };
    EXPECT_EQ(viewport(15), 1u);
    EXPECT_EQ(viewport(16), 0u);
}

TEST_F(vk_commands, WhatACommandWorksOnMustBeThere)
{
    vk_command_state& state = device->commands[as<VkCommandBuffer>(commands_handle)];
    entry<VkRenderPass>().subpass_count = 2;
    entry<VkFramebuffer>().width = entry<VkFramebuffer>().height = 16;
    auto recorded = [&](const message& call) { return host_calls(call).size() == 1; };
    const message draw = command(in::vk_cmd_draw).u32(3).u32(1).u32(0).u32(0);
    const message next = command(in::vk_cmd_next_subpass).u32(0);
    const message end = command(in::vk_cmd_end_render_pass);
    auto begin = [&](uint32_t width) {
        VkRenderPassBeginInfo info{};
        info.renderPass = as<VkRenderPass>(target_of<VkRenderPass>());
        info.framebuffer = as<VkFramebuffer>(target_of<VkFramebuffer>());
        info.renderArea.extent = {width, 16};
        message call = command(in::vk_cmd_begin_render_pass).u64(memory).u32(0);
        return put(call, info);
    };
    auto bind = [&](uint32_t point) {
        return command(in::vk_cmd_bind_pipeline).u32(point).u64(target_of<VkPipeline>());
    };
    EXPECT_FALSE(recorded(end));
    EXPECT_FALSE(recorded(begin(17)));
    EXPECT_TRUE(recorded(begin(16)));
    EXPECT_FALSE(recorded(draw)) << "there is no pipeline";
    EXPECT_TRUE(recorded(bind(VK_PIPELINE_BIND_POINT_GRAPHICS)));
    EXPECT_TRUE(recorded(draw));
    EXPECT_FALSE(recorded(command(in::vk_cmd_draw_indexed).u32(3).u32(1).u32(0).u32(0).u32(0)));
    EXPECT_TRUE(recorded(next));
    EXPECT_FALSE(recorded(next));
    EXPECT_TRUE(recorded(end));
    EXPECT_FALSE(recorded(draw)) << "the pass has ended";
    const message dispatch = command(in::vk_cmd_dispatch).u32(1).u32(1).u32(1);
    EXPECT_FALSE(recorded(dispatch));
    EXPECT_TRUE(recorded(bind(VK_PIPELINE_BIND_POINT_COMPUTE)));
    EXPECT_TRUE(recorded(dispatch));
    const message end_query = command(in::vk_cmd_end_query).u64(target_of<VkQueryPool>()).u32(0);
    EXPECT_FALSE(recorded(end_query));
    EXPECT_TRUE(recorded(command(in::vk_cmd_begin_query).u64(target_of<VkQueryPool>()).u32(0).u32(0)));
    EXPECT_TRUE(recorded(end_query));
    EXPECT_FALSE(recorded(command(in::vk_cmd_execute_commands).u32(1).u64(memory).u64(commands_handle)));
    message again = target.make(in::vk_begin_command_buffer).u64(commands_handle).u64(memory);
    target.run(put(again, VkCommandBufferBeginInfo{}));
    EXPECT_FALSE(state.graphics || state.compute) << "a buffer begins afresh";
    state.compute = true;
    target.run(target.make(in::vk_reset_command_buffer).u64(commands_handle).u32(0));
    EXPECT_FALSE(recorded(dispatch));
    state.compute = true;
    state.target_pool = as<VkCommandPool>(target_of<VkCommandPool>());
    const auto of_pool = [&](uint32_t type) {
        return target.make(type).u64(device_handle).u64(target_of<VkCommandPool>());
    };
    target.run(of_pool(in::vk_reset_command_pool).u32(0));
    EXPECT_FALSE(recorded(dispatch));
    target.run(of_pool(in::vk_destroy_command_pool).u64(0));
    EXPECT_TRUE(device->commands.empty());
}

/// Copies of blocks from a buffer in memory of 4 KiB into an image of 8x8 texels in blocks of 4x4.
class vk_astc_copies : public vk_fixture
{
protected:
    std::vector<VkBufferImageCopy> copied;
    VkBuffer source = VK_NULL_HANDLE;

    void SetUp() override
    {
        vk_fixture::SetUp();
        entry<VkImage>().create_info.format = VK_FORMAT_ASTC_4x4_UNORM_BLOCK;
        entry<VkBuffer>().target_memory = as<VkDeviceMemory>(target_of<VkDeviceMemory>());
        entry<VkBuffer>().changed = true;
        entry<VkDeviceMemory>().size = 0x1000;
        fake_vulkan::hook<&vk::vkCmdCopyBufferToImage>([this](VkCommandBuffer, VkBuffer buffer, VkImage,
                                                              VkImageLayout, uint32_t n,
                                                              const VkBufferImageCopy* regions) {
            source = buffer;
            copied.assign(regions, regions + n);
        });
    }
    message copy(std::vector<VkBufferImageCopy> regions)
    {
        return command(in::vk_cmd_copy_buffer_to_image)
            .u64(target_of<VkBuffer>())
            .u64(target_of<VkImage>())
            .u32(7)
            .u32(static_cast<uint32_t>(regions.size()))
            .u64(memory)
            .raw(regions.data(), regions.size() * sizeof(regions[0]));
    }
    static VkBufferImageCopy region(uint32_t side, VkDeviceSize offset)
    {
        return {offset, 16, 16, {1, 0, 0, 1}, {}, {side, side, 1}};
    }
    static std::vector<uint8_t> void_extent(uint8_t red)
    {
        return {0xfc, 0xfd, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, red, red, 0, 0, 0xff, 0xff, 0xff, 0xff};
    }
};

TEST_F(vk_astc_copies, OnlyChangedBlocksForAnAstcImageAreDecoded)
{
    const VkBuffer first = entry<VkBuffer>().host;
    entry<VkBuffer>().changed = false;
    target.run(copy({region(8, 64)}));
    EXPECT_EQ(source, first);
    EXPECT_EQ(copied.at(0).bufferOffset, 64u);
    entry<VkBuffer>().changed = true;
    entry<VkImage>().create_info.format = VK_FORMAT_R8G8B8A8_UNORM;
    EXPECT_EQ(host_calls(copy({region(8, 64)})).size(), 1u);
    EXPECT_EQ(source, first);
}

TEST_F(vk_astc_copies, TexelsTakeThePlaceOfBlocks)
{
    std::vector<uint8_t> blocks(0x800);
    for (size_t at = 0; at < 64; at += 16)
        std::memcpy(blocks.data() + at, void_extent(0x80).data(), 16);
    entry<VkDeviceMemory>().host_pointer = blocks.data();
    entry<VkDeviceMemory>().map_size = blocks.size();
    const VkBuffer first = entry<VkBuffer>().host;

    target.run(copy({region(8, 64), region(4, 128), region(9, 0)}));
    EXPECT_NE(source, first);
    EXPECT_EQ(source, entry<VkBuffer>().host);
    ASSERT_EQ(copied.size(), 2u) << "the third would be read from beyond the buffer";
    EXPECT_EQ(copied[1].bufferOffset, 0u);
    EXPECT_EQ(copied[1].bufferRowLength, 0u);
    const uint8_t* pixels = entry<VkDeviceMemory>().host_pointer;
    EXPECT_NE(pixels, blocks.data());
    EXPECT_EQ((std::vector<int>{pixels[0], pixels[1], pixels[3]}), (std::vector<int>{0x80, 0, 0xff}));
    EXPECT_EQ(entry<VkDeviceMemory>().size, 0x1000u) << "the target's mapping still fits";
    EXPECT_EQ(fake_vulkan::live("VkBuffer"), 2u) << "commands may still use the first";

    EXPECT_EQ(host_calls(copy({region(8, 0)})).size(), 1u) << "they are decoded already";
    entry<VkBuffer>().changed = true;
    target.run(copy({region(8, 0)}));
    EXPECT_EQ(fake_vulkan::live("VkBuffer"), 2u);
    EXPECT_EQ(fake_vulkan::live("VkDeviceMemory"), 2u);
    target.run(target.make(in::vk_destroy_buffer).u64(device_handle).u64(target_of<VkBuffer>()).u64(0));
    EXPECT_EQ(fake_vulkan::live("VkBuffer"), 0u);
}

TEST_F(vk_astc_copies, MemoryIsMappedForTheDecoderAloneWhereTheTargetHasNone)
{
    entry<VkDeviceMemory>().size = 24; // a block and a half: the rest decodes as errors
    texts calls = host_calls(copy({region(8, 0)}));
    EXPECT_EQ(fake_vulkan::count("vkMapMemory"), 2u);
    EXPECT_EQ(fake_vulkan::count("vkUnmapMemory"), 2u);
    EXPECT_EQ(entry<VkDeviceMemory>().host_pointer, nullptr);
    EXPECT_EQ(calls.back(),
              "vkCmdCopyBufferToImage(VkCommandBuffer#1, VkBuffer#2, VkImage#1, 7, 1, pointer)");
}

TEST_F(vk_astc_copies, FailuresLeaveTheBufferAsItIs)
{
    const VkBuffer first = entry<VkBuffer>().host;
    auto fails = [&](const char* text) {
        std::string said = printed(copy({region(8, 0)}));
        EXPECT_EQ(library::occurrences(said, text), 1u) << said;
        EXPECT_EQ(fake_vulkan::count("vkCmdCopyBufferToImage"), 0u);
        EXPECT_EQ(entry<VkBuffer>().host, first);
        EXPECT_EQ(fake_vulkan::live("VkBuffer"), 1u);
        EXPECT_EQ(fake_vulkan::live("VkDeviceMemory"), 1u);
        fake_vulkan::install();
    };
    fake_vulkan::returns<&vk::vkMapMemory>(VK_ERROR_MEMORY_MAP_FAILED);
    fails("ERROR [ZELVAR] Could not map buffer for ASTC support\n");
    fake_vulkan::returns<&vk::vkCreateBuffer>(VK_ERROR_OUT_OF_HOST_MEMORY);
    fails("ERROR [ZELVAR] Could not create buffer for ASTC support\n");
    fake_vulkan::returns<&vk::vkBindBufferMemory>(VK_ERROR_OUT_OF_HOST_MEMORY);
    fails("ERROR [ZELVAR] Map buffer failed for ASTC support\n");
    device->memory_properties.memoryTypes[0].propertyFlags = 1;
    fails("FATAL [ZELVAR] Could not find memory heap with 7 memory type, create buffer for astc support "
          "failed.\n");
}
} // namespace
