// Structures of targets of both widths, laid by hand, on their way into the library.

#include "support/guarded.h"
#include "support/vk_touch.h"
#include "vk/laid.h"
#include "vk/vk_structure_functions.h"

#include <gtest/gtest.h>
#include <memory>

namespace {

constexpr uint64_t somewhere = 0x5a5a5a50; // an address on the target: a flag and no more

/// A message and what a decoder gives the walkers.
struct received
{
    received(const laid& message, size_t cut = SIZE_MAX, uint64_t arena_bytes = vk_reader::arena_size)
        : bytes(message.bytes())
    {
        bytes.resize(std::min(bytes.size(), cut));
        guarded = std::make_unique<guarded_bytes>(bytes);
        // Neither is a worker's arena empty, and tests that read a message a thousand times have no time to
        // clear it.
        if (message.bits == 32)
            arena = std::make_unique_for_overwrite<uint8_t[]>(arena_bytes);
        in = std::make_unique<vk_reader>(guarded->data(), static_cast<uint32_t>(bytes.size()), message.bits,
                                         arena.get());
    }

    std::vector<uint8_t> bytes;
    std::unique_ptr<guarded_bytes> guarded;
    std::unique_ptr<uint8_t[]> arena;
    std::unique_ptr<vk_reader> in;
};

template <class V>
V at(const void* where)
{
    return vk_fields::load<V>(where);
}

/// A copy at its natural alignment; pointers lead where the original's do.
template <class S>
S aligned(const S* received)
{
    return at<S>(received);
}

laid device_create_info(int bits)
{
    laid m{bits};
    m.begin().u32(VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO).word(somewhere).u32(0);
    m.u32(2).word(somewhere).u32(1).word(somewhere).u32(2).word(somewhere).word(somewhere).end();
    m.begin().u32(VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO).word(0).u32s(0, 3, 2).word(somewhere).end();
    m.begin().u32(VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO).word(0).u32s(0, 4, 1).word(somewhere).end();
    m.begin().f32(0.5f).f32(0.25f);
    m.begin().f32(1.0f);
    m.begin().word(somewhere).text("layer");
    m.begin().word(somewhere).word(somewhere).text("one").text("second");
    m.begin();
    for (uint32_t i = 0; i < 55; ++i)
        m.u32(i & 1);
    return m;
}

laid image_create_info(int bits, uint64_t next)
{
    laid m{bits};
    m.begin().u32(VK_STRUCTURE_TYPE_IMAGE_CREATE_INFO).word(next).u32s(0, VK_IMAGE_TYPE_2D, 37, 640, 480, 1);
    m.u32s(1, 1, 1, 0, 0x16, VK_SHARING_MODE_CONCURRENT, 2).word(somewhere).u32(0).end();
    return m;
}

void shader_stage(laid& m, uint32_t stage, bool specialised)
{
    m.begin()
        .u32(VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO)
        .word(0)
        .u32s(0, stage)
        .u64(0x5bad0 + stage);
    m.word(somewhere).word(specialised ? somewhere : 0).end();
}

/// With everything that a pipeline can have: two stages, one specialised, and all nine states.
laid graphics_pipeline(int bits)
{
    laid m{bits};
    m.begin().u32(VK_STRUCTURE_TYPE_GRAPHICS_PIPELINE_CREATE_INFO).word(0).u32s(0, 2).word(somewhere);
    for (int state = 0; state < 9; ++state)
        m.word(somewhere);
    m.u64(0x1a1).u64(0x4e4).u32(1).u64(0).u32(-1).end();
    shader_stage(m, VK_SHADER_STAGE_VERTEX_BIT, false);
    shader_stage(m, VK_SHADER_STAGE_FRAGMENT_BIT, true);
    m.text("main").text("fragment");
    m.begin().u32(2).word(somewhere).word(8).word(somewhere).end();
    m.begin().u32s(7, 0).word(4).end().begin().u32s(8, 4).word(4).end();
    m.begin().u32s(111, 222);
    m.begin()
        .u32(VK_STRUCTURE_TYPE_PIPELINE_VERTEX_INPUT_STATE_CREATE_INFO)
        .word(0)
        .u32s(0, 1)
        .word(somewhere);
    m.u32(2).word(somewhere).end();
    m.begin().u32s(0, 20, VK_VERTEX_INPUT_RATE_VERTEX);
    m.begin().u32s(0, 0, VK_FORMAT_R32G32B32_SFLOAT, 0, 1, 0, VK_FORMAT_R32G32_SFLOAT, 12);
    m.begin().u32(VK_STRUCTURE_TYPE_PIPELINE_INPUT_ASSEMBLY_STATE_CREATE_INFO).word(0).u32s(0, 3, 0).end();
    m.begin().u32(VK_STRUCTURE_TYPE_PIPELINE_TESSELLATION_STATE_CREATE_INFO).word(0).u32s(0, 5).end();
    m.begin().u32(VK_STRUCTURE_TYPE_PIPELINE_VIEWPORT_STATE_CREATE_INFO).word(0).u32s(0, 1).word(somewhere);
    m.u32(1).word(0).end(); // dynamic scissors
    m.begin().f32(1).f32(2).f32(3).f32(4).f32(0).f32(1);
    m.begin()
        .u32(VK_STRUCTURE_TYPE_PIPELINE_RASTERIZATION_STATE_CREATE_INFO)
        .word(0)
        .u32s(0, 0, 0, 0, 2, 1, 0);
    m.f32(0).f32(0).f32(0).f32(1).end();
    m.begin().u32(VK_STRUCTURE_TYPE_PIPELINE_MULTISAMPLE_STATE_CREATE_INFO).word(0).u32s(0, 64, 0).f32(0.5f);
    m.word(somewhere).u32s(1, 0).end();
    m.begin().u32s(0xf0f0f0f0, 0x0f0f0f0f);
    m.begin().u32(VK_STRUCTURE_TYPE_PIPELINE_DEPTH_STENCIL_STATE_CREATE_INFO).word(0).u32s(0, 1, 1, 3, 0, 1);
    m.u32s(0, 1, 2, 3, 4, 5, 6, 7, 6, 5, 4, 3, 2, 1).f32(0).f32(1).end();
    m.begin().u32(VK_STRUCTURE_TYPE_PIPELINE_COLOR_BLEND_STATE_CREATE_INFO).word(0).u32s(0, 0, 0, 1);
    m.word(somewhere).f32(0.1f).f32(0.2f).f32(0.3f).f32(0.4f).end();
    m.begin().u32s(1, 2, 3, 0, 1, 0, 0, 15);
    m.begin()
        .u32(VK_STRUCTURE_TYPE_PIPELINE_DYNAMIC_STATE_CREATE_INFO)
        .word(0)
        .u32s(0, 1)
        .word(somewhere)
        .end();
    m.begin().u32(VK_DYNAMIC_STATE_SCISSOR);
    return m;
}

laid submit_info(int bits)
{
    laid m{bits};
    m.begin().u32(VK_STRUCTURE_TYPE_SUBMIT_INFO).word(0).u32(2).word(somewhere).word(somewhere);
    m.u32(3).word(somewhere).u32(1).word(somewhere).end();
    m.begin().u64(0xa1).u64(0xa2);
    m.begin().u32s(0x400, 0x800);
    m.begin().word(0xcb1).word(0xcb2).word(0xcb3);
    m.begin().u64(0xa3);
    return m;
}

class both_widths : public testing::TestWithParam<int>
{
};
INSTANTIATE_TEST_SUITE_P(bits, both_widths, testing::Values(32, 64));

TEST_P(both_widths, device_create_info_is_walked_whole)
{
    laid m = device_create_info(GetParam());
    received r{m};
    VkDeviceCreateInfo* info = reinterpret_cast<VkDeviceCreateInfo*>(somewhere);
    EXPECT_EQ(receive_VkDeviceCreateInfo(&info, *r.in, true), m.size() - wire::header_size);

    VkDeviceCreateInfo device = aligned(info);
    EXPECT_EQ(reinterpret_cast<uint64_t>(device.pNext), somewhere) << "extension chains don't travel";
    ASSERT_EQ(device.queueCreateInfoCount, 2u);
    auto first = at<VkDeviceQueueCreateInfo>(device.pQueueCreateInfos);
    auto second = at<VkDeviceQueueCreateInfo>(device.pQueueCreateInfos + 1);
    EXPECT_EQ(first.queueFamilyIndex, 3u);
    EXPECT_EQ(second.queueFamilyIndex, 4u);
    EXPECT_EQ(at<float>(first.pQueuePriorities + 1), 0.25f);
    EXPECT_EQ(at<float>(second.pQueuePriorities), 1.0f);
    EXPECT_STREQ(at<const char*>(device.ppEnabledLayerNames), "layer");
    EXPECT_STREQ(at<const char*>(device.ppEnabledExtensionNames), "one");
    EXPECT_STREQ(at<const char*>(device.ppEnabledExtensionNames + 1), "second");
    EXPECT_EQ(at<VkPhysicalDeviceFeatures>(device.pEnabledFeatures).inheritedQueries, 0u);
    EXPECT_EQ(at<VkPhysicalDeviceFeatures>(device.pEnabledFeatures).variableMultisampleRate, 1u);

    if (GetParam() == 64) {
        EXPECT_EQ(reinterpret_cast<uint8_t*>(info), r.guarded->data() + wire::header_size) << "not in place";
    } else {
        EXPECT_EQ(reinterpret_cast<uint8_t*>(info), r.arena.get());
        EXPECT_EQ(reinterpret_cast<const uint8_t*>(device.pQueueCreateInfos), r.arena.get() + 72);
        EXPECT_EQ(reinterpret_cast<const uint8_t*>(device.ppEnabledLayerNames), r.arena.get() + 72 + 2 * 40);
        EXPECT_EQ(reinterpret_cast<const uint8_t*>(device.ppEnabledExtensionNames),
                  r.arena.get() + 72 + 2 * 40 + 8);
    }
}

TEST_P(both_widths, a_pipeline_with_all_of_its_states)
{
    laid m = graphics_pipeline(GetParam());
    received r{m};
    VkGraphicsPipelineCreateInfo* info = reinterpret_cast<VkGraphicsPipelineCreateInfo*>(somewhere);
    EXPECT_EQ(receive_VkGraphicsPipelineCreateInfo(&info, *r.in, true), m.size() - wire::header_size);

    VkGraphicsPipelineCreateInfo p = aligned(info);
    auto fragment = at<VkPipelineShaderStageCreateInfo>(p.pStages + 1);
    EXPECT_STREQ(at<VkPipelineShaderStageCreateInfo>(p.pStages).pName, "main");
    EXPECT_STREQ(fragment.pName, "fragment");
    EXPECT_EQ(reinterpret_cast<uint64_t>(fragment.module), 0x5bad0u + VK_SHADER_STAGE_FRAGMENT_BIT);
    auto constants = at<VkSpecializationInfo>(fragment.pSpecializationInfo);
    EXPECT_EQ(constants.dataSize, 8u);
    EXPECT_EQ(at<VkSpecializationMapEntry>(constants.pMapEntries + 1).constantID, 8u);
    EXPECT_EQ(at<VkSpecializationMapEntry>(constants.pMapEntries + 1).size, 4u);
    EXPECT_EQ(at<uint32_t>(static_cast<const uint8_t*>(constants.pData) + 4), 222u);
    auto input = at<VkPipelineVertexInputStateCreateInfo>(p.pVertexInputState);
    EXPECT_EQ(at<VkVertexInputAttributeDescription>(input.pVertexAttributeDescriptions + 1).offset, 12u);
    EXPECT_EQ(at<VkPipelineTessellationStateCreateInfo>(p.pTessellationState).patchControlPoints, 5u);
    auto viewports = at<VkPipelineViewportStateCreateInfo>(p.pViewportState);
    EXPECT_EQ(at<VkViewport>(viewports.pViewports).width, 3.0f);
    EXPECT_EQ(viewports.scissorCount, 1u);
    EXPECT_EQ(viewports.pScissors, nullptr);
    EXPECT_EQ(at<VkPipelineRasterizationStateCreateInfo>(p.pRasterizationState).lineWidth, 1.0f);
    auto samples = at<VkPipelineMultisampleStateCreateInfo>(p.pMultisampleState);
    EXPECT_EQ(at<uint32_t>(samples.pSampleMask + 1), 0x0f0f0f0fu);
    EXPECT_EQ(samples.alphaToCoverageEnable, 1u);
    EXPECT_EQ(at<VkPipelineDepthStencilStateCreateInfo>(p.pDepthStencilState).back.reference, 1u);
    auto blend = at<VkPipelineColorBlendStateCreateInfo>(p.pColorBlendState);
    EXPECT_EQ(at<VkPipelineColorBlendAttachmentState>(blend.pAttachments).colorWriteMask, 15u);
    EXPECT_EQ(blend.blendConstants[3], 0.4f);
    auto dynamic = at<VkPipelineDynamicStateCreateInfo>(p.pDynamicState);
    EXPECT_EQ(at<VkDynamicState>(dynamic.pDynamicStates), VK_DYNAMIC_STATE_SCISSOR);
    EXPECT_EQ(reinterpret_cast<uint64_t>(p.renderPass), 0x4e4u);
    EXPECT_EQ(p.basePipelineIndex, -1);
}

TEST_P(both_widths, an_extension_is_received_only_where_it_is_a_native_buffer)
{
    for (uint32_t type : {1000010000u, 1000010001u}) {
        laid m = image_create_info(GetParam(), somewhere);
        uint64_t own = m.size();
        m.begin().u32(type).word(0).word(0x6a11).u32s(648, 1, 0x933).end();
        uint64_t extension = m.size() - own;
        EXPECT_EQ(extension, GetParam() == 64 ? 40u : 24u);
        m.begin().u32s(7, 9);
        received r{m};
        VkImageCreateInfo* info = reinterpret_cast<VkImageCreateInfo*>(somewhere);
        uint64_t consumed = receive_VkImageCreateInfo(&info, *r.in, true);
        VkImageCreateInfo image = aligned(info);
        if (type == 1000010000u) {
            EXPECT_EQ(consumed, m.size() - wire::header_size);
            auto buffer = at<VkNativeBufferANDROID>(image.pNext);
            EXPECT_EQ(reinterpret_cast<uint64_t>(buffer.handle), 0x6a11u);
            EXPECT_EQ(buffer.stride, 648);
            EXPECT_EQ(buffer.usage, 0x933);
            EXPECT_EQ(at<uint32_t>(image.pQueueFamilyIndices + 1), 9u);
        } else {
            EXPECT_EQ(consumed, own + 8 - wire::header_size);
            EXPECT_EQ(image.pNext, nullptr) << "an address of the target's that a handler would follow";
        }
    }
}

TEST_P(both_widths, handles_of_a_submission_are_widened_by_their_kind)
{
    laid m = submit_info(GetParam());
    received r{m};
    VkSubmitInfo* info = reinterpret_cast<VkSubmitInfo*>(somewhere);
    EXPECT_EQ(receive_VkSubmitInfo(&info, *r.in, true), m.size() - wire::header_size);
    VkSubmitInfo submit = aligned(info);
    EXPECT_EQ(at<uint64_t>(submit.pWaitSemaphores + 1), 0xa2u);
    EXPECT_EQ(at<uint32_t>(submit.pWaitDstStageMask + 1), 0x800u);
    EXPECT_EQ(at<uint64_t>(submit.pCommandBuffers + 2), 0xcb3u);
    EXPECT_EQ(at<uint64_t>(submit.pSignalSemaphores), 0xa3u);
}

TEST_P(both_widths, what_is_absent_or_empty_consumes_nothing)
{
    laid m{GetParam()};
    m.begin().u32s(1, 2, 3, 4, 5, 6, 7, 8);
    received r{m};
    VkAllocationCallbacks* none = nullptr;
    EXPECT_EQ(receive_VkAllocationCallbacks(&none, *r.in, true), 0u);
    char* no_text = nullptr;
    EXPECT_EQ(receive_string(&no_text, *r.in), 0u);
    EXPECT_EQ(r.in->wanted(), wire::header_size);

    laid empty{GetParam()};
    empty.begin()
        .u32(VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO)
        .word(0)
        .u32s(0, 0)
        .word(somewhere)
        .end();
    received e{empty};
    VkDescriptorSetLayoutCreateInfo* layout = reinterpret_cast<VkDescriptorSetLayoutCreateInfo*>(somewhere);
    EXPECT_EQ(receive_VkDescriptorSetLayoutCreateInfo(&layout, *e.in, true),
              empty.size() - wire::header_size);
    EXPECT_EQ(aligned(layout).pBindings, nullptr);
}

TEST_P(both_widths, a_placed_structure_is_walked_from_what_hangs_on_it)
{
    laid m{GetParam()};
    m.begin().u32s(5, 6);
    received r{m};
    VkBufferCreateInfo buffer{};
    buffer.queueFamilyIndexCount = 2;
    buffer.pQueueFamilyIndices = reinterpret_cast<const uint32_t*>(somewhere);
    VkBufferCreateInfo* placed = &buffer;
    EXPECT_EQ(receive_VkBufferCreateInfo(&placed, *r.in, false), 8u);
    EXPECT_EQ(placed, &buffer);
    EXPECT_EQ(at<uint32_t>(buffer.pQueueFamilyIndices + 1), 6u);
}

template <class S>
void cut_everywhere(const laid& m, uint64_t (*receive)(S**, vk_reader&, bool))
{
    for (uint64_t cut = wire::header_size; cut < m.size(); ++cut) {
        received r{m, cut};
        S* info = reinterpret_cast<S*>(somewhere);
        receive(&info, *r.in, true);
        EXPECT_GT(r.in->wanted(), cut) << "a message cut to " << cut << " bytes passes for whole";
        vk_touch::touch(info);
    }
}

TEST_P(both_widths, a_device_cut_anywhere_is_read_to_its_end_and_no_further)
{
    cut_everywhere(device_create_info(GetParam()), receive_VkDeviceCreateInfo);
}

TEST_P(both_widths, a_pipeline_cut_anywhere_is_read_to_its_end_and_no_further)
{
    cut_everywhere(graphics_pipeline(GetParam()), receive_VkGraphicsPipelineCreateInfo);
}

TEST_P(both_widths, a_submission_or_an_image_cut_anywhere_is_read_to_its_end_and_no_further)
{
    cut_everywhere(submit_info(GetParam()), receive_VkSubmitInfo);
    cut_everywhere(image_create_info(GetParam(), 0).begin().u32s(1, 2), receive_VkImageCreateInfo);
}

TEST_P(both_widths, counts_beyond_the_message_are_cut_to_it)
{
    laid m{GetParam()};
    m.begin()
        .u32(VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO)
        .word(0)
        .u32s(0, 1, 0xffffffff)
        .word(somewhere)
        .end();
    m.begin().u32s(1, 2, 3, 4, 5); // two and a half
    received r{m};
    VkDescriptorPoolCreateInfo* pool = reinterpret_cast<VkDescriptorPoolCreateInfo*>(somewhere);
    receive_VkDescriptorPoolCreateInfo(&pool, *r.in, true);
    EXPECT_EQ(aligned(pool).poolSizeCount, 2u);
    EXPECT_GT(r.in->wanted(), m.size());
    vk_touch::touch(pool);

    laid code{GetParam()};
    code.begin()
        .u32(VK_STRUCTURE_TYPE_SHADER_MODULE_CREATE_INFO)
        .word(0)
        .u32(0)
        .word(~0ull)
        .word(somewhere)
        .end();
    code.begin().u32(0x07230203);
    received c{code};
    VkShaderModuleCreateInfo* shader = reinterpret_cast<VkShaderModuleCreateInfo*>(somewhere);
    receive_VkShaderModuleCreateInfo(&shader, *c.in, true);
    EXPECT_EQ(aligned(shader).codeSize, 4u);
    EXPECT_EQ(at<uint32_t>(aligned(shader).pCode), 0x07230203u);

    laid mask{GetParam()};
    mask.begin()
        .u32(VK_STRUCTURE_TYPE_PIPELINE_MULTISAMPLE_STATE_CREATE_INFO)
        .word(0)
        .u32s(0, 0xffffffff, 0)
        .f32(0);
    mask.word(somewhere).u32s(0, 0).end().begin().u32(1);
    received s{mask};
    VkPipelineMultisampleStateCreateInfo* state =
        reinterpret_cast<VkPipelineMultisampleStateCreateInfo*>(somewhere);
    receive_VkPipelineMultisampleStateCreateInfo(&state, *s.in, true);
    EXPECT_EQ(aligned(state).pSampleMask, nullptr);
}

TEST(receive, a_full_arena_goes_on_elsewhere)
{
    laid m{32};
    constexpr uint32_t ranges = vk_reader::arena_size / sizeof(VkPushConstantRange) + 10;
    m.begin().u32(VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO).word(0).u32s(0, 0).word(0).u32(ranges);
    m.word(somewhere).end().begin();
    for (uint32_t i = 0; i < ranges; ++i)
        m.u32s(1, i, 4);
    received r{m};
    VkPipelineLayoutCreateInfo* layout = reinterpret_cast<VkPipelineLayoutCreateInfo*>(somewhere);
    EXPECT_EQ(receive_VkPipelineLayoutCreateInfo(&layout, *r.in, true), m.size() - wire::header_size);
    EXPECT_TRUE(r.in->overflowed());
    EXPECT_EQ(at<VkPushConstantRange>(aligned(layout).pPushConstantRanges + ranges - 1).offset, ranges - 1);
}

} // namespace
