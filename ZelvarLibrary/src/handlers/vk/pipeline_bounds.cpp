// Pipelines: the states that a driver looks up without a check.

#include "handlers/vk/creation_bounds.h"
#include "handlers/vk/shader_bounds.h"
#include "handlers/vk/shader_scan.h"
#include "handlers/vk/texel_sizes.h"

#include <span>

namespace {
template <class T>
std::span<const T> all_of(const T* first, uint32_t count)
{
    return {first, first ? count : 0u};
}

const vk_subpass* subpass_of(vk_device_record* data, const VkGraphicsPipelineCreateInfo& info)
{
    auto* pass = vk_known(data, info.renderPass);
    return pass && pass->subpasses && info.subpass < pass->subpasses->size()
               ? &(*pass->subpasses)[info.subpass]
               : nullptr;
}

/// A stage's shader asks for nothing that the layout lacks.
const char* refusal(vk_device_record* data, const VkPipelineShaderStageCreateInfo& stage,
                    VkPipelineLayout target_layout)
{
    auto* layout = vk_known(data, target_layout);
    auto* module = vk_known(data, VkShaderModule{stage.module});
    if (module && module->unfit)
        return "a shader isn't fit for the host";
    const VkSpecializationInfo* constants = stage.pSpecializationInfo;
    if (constants && !vk_specialises_soundly(*constants))
        return "a shader has no such constants";
    if (module && module->specialised)
        if (const char* reason = vk_shader_excess(*module->specialised, constants, data->limits))
            return reason;
    return layout && module && stage.pName ? vk_refusal(*module, stage.pName, stage.stage, *layout) : nullptr;
}

/// Each stage once, and those that need one another.
bool stages_are_sound(const VkGraphicsPipelineCreateInfo& info)
{
    constexpr VkShaderStageFlags tessellation =
        VK_SHADER_STAGE_TESSELLATION_CONTROL_BIT | VK_SHADER_STAGE_TESSELLATION_EVALUATION_BIT;
    VkShaderStageFlags found = 0;
    for (const VkPipelineShaderStageCreateInfo& stage : all_of(info.pStages, info.stageCount)) {
        const auto bit = static_cast<VkShaderStageFlags>(stage.stage);
        if (!bit || (bit & (bit - 1)) || (bit & ~VK_SHADER_STAGE_ALL_GRAPHICS) || (bit & found))
            return false;
        found |= bit;
    }
    const bool tessellates = found & tessellation;
    if (!(found & VK_SHADER_STAGE_VERTEX_BIT) || (tessellates && (found & tessellation) != tessellation) ||
        !info.pInputAssemblyState)
        return false;
    const VkPrimitiveTopology topology = info.pInputAssemblyState->topology;
    return vk_up_to(topology, VK_PRIMITIVE_TOPOLOGY_PATCH_LIST) &&
           (topology == VK_PRIMITIVE_TOPOLOGY_PATCH_LIST) == tessellates;
}

bool tessellation_is_sound(const vk_device_record& data, const VkGraphicsPipelineCreateInfo& info)
{
    constexpr uint32_t most_points = 32;
    if (info.pInputAssemblyState->topology != VK_PRIMITIVE_TOPOLOGY_PATCH_LIST)
        return true;
    const uint32_t points = info.pTessellationState ? info.pTessellationState->patchControlPoints : 0;
    return points > 0 && points <= vk_limit(data.limits.maxTessellationPatchSize, most_points);
}

bool vertex_input_is_sound(const vk_device_record& data, const VkPipelineVertexInputStateCreateInfo& input)
{
    constexpr uint32_t most_bytes = 2048;
    const VkPhysicalDeviceLimits& limits = data.limits;
    for (const VkVertexInputBindingDescription& binding :
         all_of(input.pVertexBindingDescriptions, input.vertexBindingDescriptionCount))
        if (binding.binding >= vk_limit(limits.maxVertexInputBindings, vk_most_vertex_bindings) ||
            binding.stride > vk_limit(limits.maxVertexInputBindingStride, most_bytes) ||
            !vk_up_to(binding.inputRate, VK_VERTEX_INPUT_RATE_INSTANCE))
            return false;
    for (const VkVertexInputAttributeDescription& attribute :
         all_of(input.pVertexAttributeDescriptions, input.vertexAttributeDescriptionCount))
        if (attribute.location >= vk_limit(limits.maxVertexInputAttributes, vk_most_vertex_bindings) ||
            attribute.binding >= vk_limit(limits.maxVertexInputBindings, vk_most_vertex_bindings) ||
            !vk_is_plain_colour(attribute.format) ||
            attribute.offset > vk_limit(limits.maxVertexInputAttributeOffset, most_bytes))
            return false;
    return true;
}

bool has_dynamic(const VkGraphicsPipelineCreateInfo& info, VkDynamicState state)
{
    if (info.pDynamicState)
        for (VkDynamicState given :
             all_of(info.pDynamicState->pDynamicStates, info.pDynamicState->dynamicStateCount))
            if (given == state)
                return true;
    return false;
}
bool dynamic_states_are_sound(const VkGraphicsPipelineCreateInfo& info)
{
    if (info.pDynamicState)
        for (VkDynamicState given :
             all_of(info.pDynamicState->pDynamicStates, info.pDynamicState->dynamicStateCount))
            if (!vk_up_to(given, VK_DYNAMIC_STATE_STENCIL_REFERENCE))
                return false;
    return true;
}

bool viewports_are_sound(const vk_device_record& data, const VkGraphicsPipelineCreateInfo& info)
{
    if (!info.pViewportState)
        return false;
    const VkPipelineViewportStateCreateInfo state = *info.pViewportState;
    const uint32_t most = vk_limit(data.limits.maxViewports, vk_most_viewports);
    return state.viewportCount <= most && state.scissorCount <= most &&
           (state.pViewports || has_dynamic(info, VK_DYNAMIC_STATE_VIEWPORT)) &&
           (state.pScissors || has_dynamic(info, VK_DYNAMIC_STATE_SCISSOR));
}

bool stencil_is_sound(const VkStencilOpState& state)
{
    constexpr VkStencilOp last = VK_STENCIL_OP_DECREMENT_AND_WRAP;
    return vk_up_to(state.failOp, last) && vk_up_to(state.passOp, last) &&
           vk_up_to(state.depthFailOp, last) && vk_up_to(state.compareOp, VK_COMPARE_OP_ALWAYS);
}
bool depth_stencil_is_sound(const VkPipelineDepthStencilStateCreateInfo& state)
{
    return (!state.depthTestEnable || vk_up_to(state.depthCompareOp, VK_COMPARE_OP_ALWAYS)) &&
           (!state.stencilTestEnable || (stencil_is_sound(state.front) && stencil_is_sound(state.back)));
}

bool blending_is_sound(const vk_device_record& data, const VkPipelineColorBlendStateCreateInfo& state)
{
    constexpr uint32_t most_colours = 8;
    constexpr VkBlendFactor last = VK_BLEND_FACTOR_ONE_MINUS_SRC1_ALPHA;
    if (state.attachmentCount > vk_limit(data.limits.maxColorAttachments, most_colours) ||
        (state.logicOpEnable && !vk_up_to(state.logicOp, VK_LOGIC_OP_SET)))
        return false;
    for (const VkPipelineColorBlendAttachmentState& each : all_of(state.pAttachments, state.attachmentCount))
        if (each.blendEnable &&
            !(vk_up_to(each.srcColorBlendFactor, last) && vk_up_to(each.dstColorBlendFactor, last) &&
              vk_up_to(each.srcAlphaBlendFactor, last) && vk_up_to(each.dstAlphaBlendFactor, last) &&
              vk_up_to(each.colorBlendOp, VK_BLEND_OP_MAX) && vk_up_to(each.alphaBlendOp, VK_BLEND_OP_MAX)))
            return false;
    return true;
}

/// What the subpass draws to; null when it isn't known.
const vk_subpass_shape* shape_of(vk_device_record* data, const VkGraphicsPipelineCreateInfo& info)
{
    if (auto* subpass = subpass_of(data, info))
        for (const auto& [shape, number] : data->shapes)
            if (number == subpass->shape)
                return &shape;
    return nullptr;
}

/// As many samples as the subpass has, where it draws to anything.
bool samples_are_sound(const vk_device_record& data, const VkGraphicsPipelineCreateInfo& info,
                       const vk_subpass_shape* shape)
{
    if (!info.pMultisampleState)
        return false;
    const auto samples = static_cast<VkSampleCountFlags>(info.pMultisampleState->rasterizationSamples);
    if (!vk_sample_count(samples, data.limits.framebufferNoAttachmentsSampleCounts))
        return false;
    if (!shape)
        return true;
    for (const vk_attachment& colour : shape->colours)
        if (colour.format != VK_FORMAT_UNDEFINED && colour.samples != samples)
            return false;
    return shape->depth.format == VK_FORMAT_UNDEFINED || shape->depth.samples == samples;
}

const char* refusal_to_draw(vk_device_record* data, const VkGraphicsPipelineCreateInfo& info)
{
    if (!viewports_are_sound(*data, info))
        return "a pipeline has no such viewports";
    // A driver follows the states of all that the subpass draws to. Shapes end with a colour that is used.
    const vk_subpass_shape* shape = shape_of(data, info);
    const bool has_colours = shape && !shape->colours.empty();
    const bool has_depth = shape && shape->depth.format != VK_FORMAT_UNDEFINED;
    if (!samples_are_sound(*data, info, shape))
        return "a pipeline has no such samples";
    if (info.pDepthStencilState ? !depth_stencil_is_sound(*info.pDepthStencilState) : has_depth)
        return "a pipeline has no such depth or stencil test";
    if (info.pColorBlendState ? !blending_is_sound(*data, *info.pColorBlendState) : has_colours)
        return "a pipeline has no such blending";
    return nullptr;
}
} // namespace

const char* vk_refusal(vk_device_record* data, const VkGraphicsPipelineCreateInfo& info)
{
    if (info.stageCount == 0 || !info.pStages)
        return "a pipeline has a stage at least";
    auto* pass = vk_known(data, info.renderPass);
    if (pass && info.subpass >= pass->subpass_count)
        return "the render pass has no such subpass";
    if (!stages_are_sound(info) || !tessellation_is_sound(*data, info))
        return "a pipeline has no such stages";
    for (const VkPipelineShaderStageCreateInfo& stage : all_of(info.pStages, info.stageCount))
        if (const char* reason = refusal(data, stage, info.layout))
            return reason;
    if (!info.pVertexInputState || !vertex_input_is_sound(*data, *info.pVertexInputState))
        return "a pipeline has no such vertices";
    if (!dynamic_states_are_sound(info))
        return "a pipeline has no such dynamic state";
    if (!info.pRasterizationState)
        return "a pipeline rasterizes";
    const VkPipelineRasterizationStateCreateInfo raster = *info.pRasterizationState;
    if (!vk_up_to(raster.polygonMode, VK_POLYGON_MODE_POINT) ||
        !vk_up_to(raster.frontFace, VK_FRONT_FACE_CLOCKWISE))
        return "a pipeline has no such rasterization";
    return raster.rasterizerDiscardEnable ? nullptr : refusal_to_draw(data, info);
}

const char* vk_refusal(vk_device_record* data, const VkComputePipelineCreateInfo& info)
{
    return refusal(data, info.stage, info.layout);
}

void vk_remember(vk_device_record* data, vk_entry_of<VkPipeline>& entry,
                 const VkGraphicsPipelineCreateInfo& info)
{
    entry.point = VK_PIPELINE_BIND_POINT_GRAPHICS;
    auto* subpass = subpass_of(data, info);
    entry.shape = subpass ? subpass->shape : 0;
}

void vk_remember(vk_device_record*, vk_entry_of<VkPipeline>& entry, const VkComputePipelineCreateInfo&)
{
    entry.point = VK_PIPELINE_BIND_POINT_COMPUTE;
}
