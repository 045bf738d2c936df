// Objects that the made-up application makes, fills and ends.

#include "vk_soup.h"

#include "plain_frag.h"
#include "rich_comp.h"
#include "rich_frag.h"
#include "soup_comp.h"
#include "soup_frag.h"
#include "soup_vert.h"
#include "wire/wire.h"

namespace in = wire::inbound;
using msg = vk_message;

namespace {
using words = std::span<const uint32_t>;
constexpr msg::nothing nothing{};
} // namespace

template <class Info, class H>
H vk_soup::create(uint32_t type, const Info& info)
{
    const H made = make<H>();
    send({type, any<VkDevice>(), msg::one(info), nothing, msg::one(made)});
    return made;
}

template <class H>
void vk_soup::destroy(uint32_t type)
{
    const H ended = any<H>();
    if (_input.below(2))
        std::erase(_known[type_number<H>()], reinterpret_cast<uint64_t>(ended));
    send({type, any<VkDevice>(), ended, nothing});
}

void vk_soup::make_buffer()
{
    VkBufferCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO;
    info.size = _input.near(_input.of<VkDeviceSize>({4096, 256, 65536, 16, 1}));
    info.usage = _input.near(0x1ffu);
    const auto made = create<VkBufferCreateInfo, VkBuffer>(in::vk_create_buffer, info);
    VkMemoryAllocateInfo memory{};
    memory.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO;
    memory.allocationSize = _input.near(info.size < 1 << 20 ? info.size + 4096 : 4096);
    const auto held = create<VkMemoryAllocateInfo, VkDeviceMemory>(in::vk_allocate_memory, memory);
    if (!_input.seldom())
        send({in::vk_bind_buffer_memory, any<VkDevice>(), made, held, _input.near(VkDeviceSize{0})});
}

void vk_soup::make_image()
{
    VkImageCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_IMAGE_CREATE_INFO;
    info.imageType =
        _input.near(_input.of({VK_IMAGE_TYPE_2D, VK_IMAGE_TYPE_2D, VK_IMAGE_TYPE_3D, VK_IMAGE_TYPE_1D}));
    info.format = _input.near(
        _input.of({VK_FORMAT_R8G8B8A8_UNORM, VK_FORMAT_R8G8B8A8_UNORM, VK_FORMAT_D32_SFLOAT_S8_UINT,
                   VK_FORMAT_R8_UINT, VK_FORMAT_BC3_UNORM_BLOCK, VK_FORMAT_R32G32B32A32_SFLOAT,
                   VK_FORMAT_ASTC_5x5_UNORM_BLOCK, VK_FORMAT_D16_UNORM, VK_FORMAT_R5G6B5_UNORM_PACK16}));
    info.extent.width = _input.near(_input.of({16u, 16u, 40u, 1u}));
    info.extent.height = info.imageType == VK_IMAGE_TYPE_1D ? 1 : info.extent.width;
    info.extent.depth = info.imageType == VK_IMAGE_TYPE_3D ? 4 : 1;
    info.mipLevels = _input.near(_input.of({1u, 1u, 3u, 5u}));
    info.arrayLayers = info.imageType == VK_IMAGE_TYPE_3D ? 1 : _input.near(_input.of({1u, 1u, 6u, 3u}));
    info.samples =
        _input.near(_input.of({VK_SAMPLE_COUNT_1_BIT, VK_SAMPLE_COUNT_1_BIT, VK_SAMPLE_COUNT_4_BIT}));
    const bool depth = info.format == VK_FORMAT_D32_SFLOAT_S8_UINT || info.format == VK_FORMAT_D16_UNORM;
    const bool compressed = info.format > VK_FORMAT_D32_SFLOAT_S8_UINT;
    info.usage = _input.near(compressed ? 0x07u : depth ? 0x27u : info.samples == 1 ? 0x1fu : 0x17u);
    info.flags = _input.near(_input.of({0u, 0u, uint32_t{VK_IMAGE_CREATE_CUBE_COMPATIBLE_BIT},
                                        uint32_t{VK_IMAGE_CREATE_MUTABLE_FORMAT_BIT}}));
    const auto made = create<VkImageCreateInfo, VkImage>(in::vk_create_image, info);
    VkMemoryAllocateInfo memory{};
    memory.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO;
    memory.allocationSize = _input.near(VkDeviceSize{1 << 20});
    const auto held = create<VkMemoryAllocateInfo, VkDeviceMemory>(in::vk_allocate_memory, memory);
    if (!_input.seldom())
        send({in::vk_bind_image_memory, any<VkDevice>(), made, held, _input.near(VkDeviceSize{0})});
    if (!_input.seldom())
        make_image_view();
}

VkImageSubresourceRange vk_soup::range(VkImageAspectFlags aspect)
{
    return {_input.near(aspect), _input.near(0u), _input.near(_input.of({1u, 1u, VK_REMAINING_MIP_LEVELS})),
            _input.near(0u), _input.near(_input.of({1u, 1u, 6u, VK_REMAINING_ARRAY_LAYERS}))};
}

void vk_soup::make_image_view()
{
    VkImageViewCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_IMAGE_VIEW_CREATE_INFO;
    info.image = any<VkImage>();
    info.viewType =
        _input.near(_input.of({VK_IMAGE_VIEW_TYPE_2D, VK_IMAGE_VIEW_TYPE_2D, VK_IMAGE_VIEW_TYPE_2D_ARRAY,
                               VK_IMAGE_VIEW_TYPE_CUBE, VK_IMAGE_VIEW_TYPE_3D, VK_IMAGE_VIEW_TYPE_1D}));
    info.format = _input.near(
        _input.of({VK_FORMAT_R8G8B8A8_UNORM, VK_FORMAT_R8G8B8A8_UNORM, VK_FORMAT_D32_SFLOAT_S8_UINT,
                   VK_FORMAT_R32_UINT, VK_FORMAT_BC3_UNORM_BLOCK, VK_FORMAT_ASTC_5x5_UNORM_BLOCK,
                   VK_FORMAT_R32G32B32A32_SFLOAT, VK_FORMAT_R8_UINT, VK_FORMAT_D16_UNORM}));
    info.components.g = _input.near(VK_COMPONENT_SWIZZLE_IDENTITY);
    info.subresourceRange = range(_input.of({1u, 1u, 6u, 2u}));
    create<VkImageViewCreateInfo, VkImageView>(in::vk_create_image_view, info);
}

void vk_soup::make_buffer_view()
{
    VkBufferViewCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_BUFFER_VIEW_CREATE_INFO;
    info.buffer = any<VkBuffer>();
    info.format = _input.near(_input.of({VK_FORMAT_R8G8B8A8_UNORM, VK_FORMAT_R32_UINT}));
    info.offset = _input.near(VkDeviceSize{0});
    info.range = _input.near(_input.of<VkDeviceSize>({VK_WHOLE_SIZE, 16}));
    create<VkBufferViewCreateInfo, VkBufferView>(in::vk_create_buffer_view, info);
}

void vk_soup::make_sampler()
{
    VkSamplerCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_SAMPLER_CREATE_INFO;
    info.magFilter = _input.near(VK_FILTER_LINEAR);
    info.minFilter = _input.near(VK_FILTER_NEAREST);
    info.mipmapMode = _input.near(VK_SAMPLER_MIPMAP_MODE_LINEAR);
    info.addressModeU = _input.near(VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_BORDER);
    info.addressModeV = _input.near(VK_SAMPLER_ADDRESS_MODE_REPEAT);
    info.maxLod = 4;
    info.compareEnable = _input.below(2);
    info.compareOp = _input.near(VK_COMPARE_OP_LESS);
    info.borderColor = _input.near(VK_BORDER_COLOR_INT_OPAQUE_BLACK);
    create<VkSamplerCreateInfo, VkSampler>(in::vk_create_sampler, info);
}

namespace {
/// At the bindings that the shaders have.
constexpr VkDescriptorType descriptor_types[] = {
    VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC, VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER,
    VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, VK_DESCRIPTOR_TYPE_STORAGE_IMAGE,
    VK_DESCRIPTOR_TYPE_UNIFORM_TEXEL_BUFFER};
} // namespace

/// Always what the shaders take: a host follows a shader beyond its layout, which nothing keeps it from.
void vk_soup::make_set_layout()
{
    VkDescriptorSetLayoutBinding bindings[5]{};
    for (uint32_t i = 0; i < std::size(bindings); ++i)
        bindings[i] = {i, descriptor_types[i], 1, 0x3f, nullptr};
    const VkSampler sampler = any<VkSampler>();
    if (_input.seldom())
        bindings[1].pImmutableSamplers = &sampler;
    VkDescriptorSetLayoutCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO;
    info.bindingCount = 5;
    info.pBindings = bindings;
    send_as_it_is({in::vk_create_descriptor_set_layout, device(), msg::one(info), nothing,
                   msg::one(make<VkDescriptorSetLayout>())});
}

void vk_soup::make_sets()
{
    VkDescriptorPoolSize sizes[5]{};
    for (uint32_t i = 0; i < std::size(sizes); ++i)
        sizes[i] = {_input.near(descriptor_types[i]), _input.near(4u)};
    VkDescriptorPoolCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO;
    info.flags = VK_DESCRIPTOR_POOL_CREATE_FREE_DESCRIPTOR_SET_BIT;
    info.maxSets = _input.near(4u);
    info.poolSizeCount = 5;
    info.pPoolSizes = sizes;
    create<VkDescriptorPoolCreateInfo, VkDescriptorPool>(in::vk_create_descriptor_pool, info);
    const VkDescriptorSetLayout layouts[] = {any<VkDescriptorSetLayout>(), any<VkDescriptorSetLayout>()};
    VkDescriptorSetAllocateInfo sets{};
    sets.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO;
    sets.descriptorPool = any<VkDescriptorPool>();
    sets.descriptorSetCount = 2;
    sets.pSetLayouts = layouts;
    const VkDescriptorSet made[] = {make<VkDescriptorSet>(), make<VkDescriptorSet>()};
    send({in::vk_allocate_descriptor_sets, any<VkDevice>(), msg::one(sets),
          msg::some<VkDescriptorSet>{made, 2}});
}

void vk_soup::write_sets()
{
    const VkDescriptorBufferInfo buffer{any<VkBuffer>(), _input.near(VkDeviceSize{0}),
                                        _input.near(_input.of<VkDeviceSize>({16, VK_WHOLE_SIZE, 256}))};
    const VkDescriptorImageInfo image{any<VkSampler>(), any<VkImageView>(), VK_IMAGE_LAYOUT_GENERAL};
    const VkBufferView view = any<VkBufferView>();
    VkWriteDescriptorSet writes[5]{};
    const VkDescriptorSet set = any<VkDescriptorSet>();
    for (uint32_t i = 0; i < std::size(writes); ++i) {
        writes[i].sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET;
        writes[i].dstSet = set;
        writes[i].dstBinding = _input.near(i);
        writes[i].dstArrayElement = _input.near(0u);
        writes[i].descriptorCount = 1;
        writes[i].descriptorType = _input.near(descriptor_types[i]);
        if (i == 0 || i == 2)
            writes[i].pBufferInfo = &buffer;
        else if (i == 4)
            writes[i].pTexelBufferView = &view;
        else
            writes[i].pImageInfo = &image;
    }
    VkCopyDescriptorSet copy{VK_STRUCTURE_TYPE_COPY_DESCRIPTOR_SET,
                             nullptr,
                             any<VkDescriptorSet>(),
                             _input.near(0u),
                             _input.near(0u),
                             any<VkDescriptorSet>(),
                             _input.near(0u),
                             _input.near(0u),
                             _input.near(1u)};
    const uint32_t copies = _input.seldom();
    send({in::vk_update_descriptor_sets, any<VkDevice>(), 5u, msg::some<VkWriteDescriptorSet>{writes, 5},
          copies, msg::some<VkCopyDescriptorSet>{&copy, copies}});
}

void vk_soup::make_pipeline_layout()
{
    const VkDescriptorSetLayout layouts[] = {any<VkDescriptorSetLayout>(), any<VkDescriptorSetLayout>()};
    const VkPushConstantRange pushed{0x3f, _input.near(0u), _input.near(64u)};
    VkPipelineLayoutCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO;
    info.setLayoutCount = _input.of({1u, 2u});
    info.pSetLayouts = layouts;
    info.pushConstantRangeCount = 1;
    info.pPushConstantRanges = &pushed;
    send_as_it_is({in::vk_create_pipeline_layout, device(), msg::one(info), nothing,
                   msg::one(make<VkPipelineLayout>())});
}

void vk_soup::make_render_pass()
{
    VkAttachmentDescription attachments[2]{};
    attachments[0].format = _input.near(VK_FORMAT_R8G8B8A8_UNORM);
    attachments[1].format = _input.near(VK_FORMAT_D32_SFLOAT_S8_UINT);
    for (VkAttachmentDescription& each : attachments) {
        each.samples = _input.near(VK_SAMPLE_COUNT_1_BIT);
        each.loadOp = _input.near(VK_ATTACHMENT_LOAD_OP_CLEAR);
        each.stencilLoadOp = _input.near(VK_ATTACHMENT_LOAD_OP_LOAD);
        each.storeOp = _input.near(VK_ATTACHMENT_STORE_OP_STORE);
        each.finalLayout = VK_IMAGE_LAYOUT_GENERAL;
    }
    const VkAttachmentReference colours[] = {{_input.near(0u), VK_IMAGE_LAYOUT_GENERAL},
                                             {_input.near(VK_ATTACHMENT_UNUSED), VK_IMAGE_LAYOUT_GENERAL}};
    const VkAttachmentReference depth{_input.near(1u), VK_IMAGE_LAYOUT_GENERAL};
    VkSubpassDescription subpasses[2]{};
    for (VkSubpassDescription& each : subpasses) {
        each.colorAttachmentCount = _input.of({1u, 1u, 2u, 0u});
        each.pColorAttachments = colours;
        if (_input.below(2))
            each.pDepthStencilAttachment = &depth;
        if (_input.seldom()) {
            each.inputAttachmentCount = 1;
            each.pInputAttachments = colours;
        }
    }
    VkRenderPassCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_RENDER_PASS_CREATE_INFO;
    info.attachmentCount = _input.of({1u, 1u, 2u});
    info.pAttachments = attachments;
    info.subpassCount = _input.of({1u, 2u});
    info.pSubpasses = subpasses;
    create<VkRenderPassCreateInfo, VkRenderPass>(in::vk_create_render_pass, info);
}

void vk_soup::make_framebuffer()
{
    const VkImageView views[] = {any<VkImageView>(), any<VkImageView>()};
    VkFramebufferCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_FRAMEBUFFER_CREATE_INFO;
    info.renderPass = any<VkRenderPass>();
    info.attachmentCount = _input.of({1u, 1u, 2u});
    info.pAttachments = views;
    info.width = _input.near(16u);
    info.height = _input.near(16u);
    info.layers = _input.near(1u);
    create<VkFramebufferCreateInfo, VkFramebuffer>(in::vk_create_framebuffer, info);
}

void vk_soup::make_graphics_pipeline()
{
    const bool plain = (_breaks ? *_breaks : _input).below(2);
    VkPipelineShaderStageCreateInfo stages[2]{};
    stages[0].stage = _input.near(VK_SHADER_STAGE_VERTEX_BIT);
    stages[0].module = make_shader(soup_vert);
    stages[1].stage = _input.near(VK_SHADER_STAGE_FRAGMENT_BIT);
    stages[1].module = make_shader(plain ? words{plain_frag} : _breaks ? words{rich_frag} : words{soup_frag});
    for (auto& stage : stages) {
        stage.sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO;
        stage.pName = "main";
    }
    const VkVertexInputBindingDescription binding{_input.near(0u), _input.near(16u),
                                                  _input.near(VK_VERTEX_INPUT_RATE_VERTEX)};
    const VkVertexInputAttributeDescription attribute{
        _input.near(0u), _input.near(0u), _input.near(VK_FORMAT_R32G32B32A32_SFLOAT), _input.near(0u)};
    VkPipelineVertexInputStateCreateInfo vertices{};
    vertices.sType = VK_STRUCTURE_TYPE_PIPELINE_VERTEX_INPUT_STATE_CREATE_INFO;
    vertices.vertexBindingDescriptionCount = 1;
    vertices.pVertexBindingDescriptions = &binding;
    vertices.vertexAttributeDescriptionCount = 1;
    vertices.pVertexAttributeDescriptions = &attribute;
    VkPipelineInputAssemblyStateCreateInfo assembly{};
    assembly.sType = VK_STRUCTURE_TYPE_PIPELINE_INPUT_ASSEMBLY_STATE_CREATE_INFO;
    assembly.topology =
        _input.near(_input.of({VK_PRIMITIVE_TOPOLOGY_TRIANGLE_LIST, VK_PRIMITIVE_TOPOLOGY_POINT_LIST,
                               VK_PRIMITIVE_TOPOLOGY_LINE_STRIP, VK_PRIMITIVE_TOPOLOGY_TRIANGLE_FAN,
                               VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP_WITH_ADJACENCY}));
    assembly.primitiveRestartEnable = _input.below(2);
    const VkViewport viewport{0, 0, 16, _input.of({16.f, -1e30f, 1e30f}), 0, 1};
    const VkRect2D scissor{{_input.near(0), 0}, {_input.near(16u), 16}};
    VkPipelineViewportStateCreateInfo views{};
    views.sType = VK_STRUCTURE_TYPE_PIPELINE_VIEWPORT_STATE_CREATE_INFO;
    views.viewportCount = views.scissorCount = 1;
    views.pViewports = &viewport;
    views.pScissors = &scissor;
    VkPipelineRasterizationStateCreateInfo raster{};
    raster.sType = VK_STRUCTURE_TYPE_PIPELINE_RASTERIZATION_STATE_CREATE_INFO;
    raster.polygonMode = _input.near(VK_POLYGON_MODE_FILL);
    raster.cullMode = _input.near(0u);
    raster.rasterizerDiscardEnable = _input.seldom();
    raster.lineWidth = _input.of({1.f, 0.f, 1e30f});
    VkPipelineMultisampleStateCreateInfo samples{};
    samples.sType = VK_STRUCTURE_TYPE_PIPELINE_MULTISAMPLE_STATE_CREATE_INFO;
    samples.rasterizationSamples = _input.of({VK_SAMPLE_COUNT_1_BIT, VK_SAMPLE_COUNT_4_BIT});
    VkPipelineDepthStencilStateCreateInfo depth{};
    depth.sType = VK_STRUCTURE_TYPE_PIPELINE_DEPTH_STENCIL_STATE_CREATE_INFO;
    depth.depthTestEnable = depth.stencilTestEnable = _input.below(2);
    depth.depthCompareOp = _input.near(VK_COMPARE_OP_LESS);
    depth.front.passOp = _input.near(VK_STENCIL_OP_INVERT);
    VkPipelineColorBlendAttachmentState blend[2]{};
    for (auto& each : blend) {
        each.blendEnable = _input.below(2);
        each.srcColorBlendFactor = _input.near(VK_BLEND_FACTOR_SRC_ALPHA);
        each.colorBlendOp = _input.near(VK_BLEND_OP_ADD);
        each.colorWriteMask = 15;
    }
    VkPipelineColorBlendStateCreateInfo blending{};
    blending.sType = VK_STRUCTURE_TYPE_PIPELINE_COLOR_BLEND_STATE_CREATE_INFO;
    blending.attachmentCount = _input.of({1u, 1u, 2u, 0u});
    blending.pAttachments = blend;
    const VkDynamicState state =
        _input.near(_input.of({VK_DYNAMIC_STATE_VIEWPORT, VK_DYNAMIC_STATE_SCISSOR}));
    VkPipelineDynamicStateCreateInfo dynamic{};
    dynamic.sType = VK_STRUCTURE_TYPE_PIPELINE_DYNAMIC_STATE_CREATE_INFO;
    dynamic.dynamicStateCount = 1;
    dynamic.pDynamicStates = &state;
    VkGraphicsPipelineCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_GRAPHICS_PIPELINE_CREATE_INFO;
    info.stageCount = _input.of({2u, 2u, 1u});
    info.pStages = stages;
    info.pVertexInputState = &vertices;
    info.pInputAssemblyState = &assembly;
    info.pViewportState = &views;
    info.pRasterizationState = &raster;
    info.pMultisampleState = &samples;
    info.pDepthStencilState = _input.seldom() ? nullptr : &depth;
    info.pColorBlendState = _input.seldom() ? nullptr : &blending;
    info.pDynamicState = _input.seldom() ? &dynamic : nullptr;
    info.layout = any<VkPipelineLayout>();
    info.renderPass = any<VkRenderPass>();
    info.subpass = _input.near(0u);
    send({in::vk_create_graphics_pipelines, any<VkDevice>(), VkPipelineCache{}, 1u, msg::one(info), nothing,
          msg::one(make<VkPipeline>())});
}

void vk_soup::make_compute_pipeline()
{
    VkComputePipelineCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_COMPUTE_PIPELINE_CREATE_INFO;
    info.stage.sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO;
    info.stage.stage = _input.near(VK_SHADER_STAGE_COMPUTE_BIT);
    info.stage.module = make_shader(_breaks && _breaks->below(2) ? words{rich_comp} : words{soup_comp});
    info.stage.pName = "main";
    info.layout = any<VkPipelineLayout>();
    send({in::vk_create_compute_pipelines, any<VkDevice>(), VkPipelineCache{}, 1u, msg::one(info), nothing,
          msg::one(make<VkPipeline>())});
}

void vk_soup::make_query_pool()
{
    VkQueryPoolCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_QUERY_POOL_CREATE_INFO;
    info.queryType = _input.near(
        _input.of({VK_QUERY_TYPE_OCCLUSION, VK_QUERY_TYPE_TIMESTAMP, VK_QUERY_TYPE_PIPELINE_STATISTICS}));
    info.queryCount = _input.near(4u);
    info.pipelineStatistics = info.queryType == VK_QUERY_TYPE_PIPELINE_STATISTICS ? 0x7ff : 0;
    create<VkQueryPoolCreateInfo, VkQueryPool>(in::vk_create_query_pool, info);
}

void vk_soup::make_sync_objects()
{
    VkEventCreateInfo event{};
    event.sType = VK_STRUCTURE_TYPE_EVENT_CREATE_INFO;
    create<VkEventCreateInfo, VkEvent>(in::vk_create_event, event);
    VkFenceCreateInfo fence{};
    fence.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO;
    create<VkFenceCreateInfo, VkFence>(in::vk_create_fence, fence);
    VkSemaphoreCreateInfo semaphore{};
    semaphore.sType = VK_STRUCTURE_TYPE_SEMAPHORE_CREATE_INFO;
    create<VkSemaphoreCreateInfo, VkSemaphore>(in::vk_create_semaphore, semaphore);
}

void vk_soup::make_command_buffers()
{
    VkCommandPoolCreateInfo pool{};
    pool.sType = VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO;
    pool.flags = VK_COMMAND_POOL_CREATE_RESET_COMMAND_BUFFER_BIT;
    create<VkCommandPoolCreateInfo, VkCommandPool>(in::vk_create_command_pool, pool);
    for (auto level : {VK_COMMAND_BUFFER_LEVEL_SECONDARY, VK_COMMAND_BUFFER_LEVEL_PRIMARY}) {
        VkCommandBufferAllocateInfo info{};
        info.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO;
        info.commandPool = any<VkCommandPool>();
        info.level = _input.near(level);
        info.commandBufferCount = 1;
        send({in::vk_allocate_command_buffers, any<VkDevice>(), msg::one(info),
              msg::one(make<VkCommandBuffer>())});
    }
}

void vk_soup::end_something()
{
    const uint32_t which = _input.below(20);
    // A host follows descriptors to what has ended, which nothing keeps it from: sets go first.
    constexpr uint32_t last_described = 4;
    constexpr uint32_t memory = 17;
    if (which <= last_described || which == memory) {
        for (uint64_t pool : std::exchange(_known[type_number<VkDescriptorPool>()], {}))
            send_as_it_is({in::vk_destroy_descriptor_pool, device(), reinterpret_cast<VkDescriptorPool>(pool),
                           nothing});
        run_waiting();
    }
    switch (which) {
    case 0:
        return destroy<VkBuffer>(in::vk_destroy_buffer);
    case 1:
        return destroy<VkImage>(in::vk_destroy_image);
    case 2:
        return destroy<VkImageView>(in::vk_destroy_image_view);
    case 3:
        return destroy<VkBufferView>(in::vk_destroy_buffer_view);
    case 4:
        return destroy<VkSampler>(in::vk_destroy_sampler);
    case 5:
        return destroy<VkDescriptorSetLayout>(in::vk_destroy_descriptor_set_layout);
    case 6:
        return destroy<VkDescriptorPool>(in::vk_destroy_descriptor_pool);
    case 7:
        return destroy<VkPipelineLayout>(in::vk_destroy_pipeline_layout);
    case 8:
        return destroy<VkRenderPass>(in::vk_destroy_render_pass);
    case 9:
        return destroy<VkFramebuffer>(in::vk_destroy_framebuffer);
    case 10:
        return destroy<VkPipeline>(in::vk_destroy_pipeline);
    case 11:
        return destroy<VkShaderModule>(in::vk_destroy_shader_module);
    case 12:
        return destroy<VkQueryPool>(in::vk_destroy_query_pool);
    case 13:
        return destroy<VkEvent>(in::vk_destroy_event);
    case 14:
        return destroy<VkFence>(in::vk_destroy_fence);
    case 15:
        return destroy<VkSemaphore>(in::vk_destroy_semaphore);
    case 16:
        return destroy<VkCommandPool>(in::vk_destroy_command_pool);
    case memory:
        return destroy<VkDeviceMemory>(in::vk_free_memory);
    case 18:
        return send({in::vk_free_descriptor_sets, any<VkDevice>(), any<VkDescriptorPool>(), 1u,
                     msg::one(any<VkDescriptorSet>())});
    default:
        return send({in::vk_free_command_buffers, any<VkDevice>(), any<VkCommandPool>(), 1u,
                     msg::one(any<VkCommandBuffer>())});
    }
}
