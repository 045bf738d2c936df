#pragma once
// Shaders, pipelines, descriptors and render passes in a message.

#include "wire/vk_description.h"

namespace vk_wire {

// What Vulkan ignores, and may be garbage

/// A binding holds samplers of its own only if it is for samplers.
inline bool binds_samplers(const VkDescriptorSetLayoutBinding& s, const surroundings&)
{
    return s.descriptorType == VK_DESCRIPTOR_TYPE_SAMPLER ||
           s.descriptorType == VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER;
}

inline bool writes_images(const VkWriteDescriptorSet& s, const surroundings&)
{
    return s.descriptorType <= VK_DESCRIPTOR_TYPE_STORAGE_IMAGE ||
           s.descriptorType == VK_DESCRIPTOR_TYPE_INPUT_ATTACHMENT;
}

inline bool writes_texel_buffers(const VkWriteDescriptorSet& s, const surroundings&)
{
    return s.descriptorType == VK_DESCRIPTOR_TYPE_UNIFORM_TEXEL_BUFFER ||
           s.descriptorType == VK_DESCRIPTOR_TYPE_STORAGE_TEXEL_BUFFER;
}

inline bool writes_buffers(const VkWriteDescriptorSet& s, const surroundings&)
{
    return s.descriptorType >= VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER &&
           s.descriptorType <= VK_DESCRIPTOR_TYPE_STORAGE_BUFFER_DYNAMIC;
}

inline void tell_write_descriptor_set(const VkWriteDescriptorSet& s, surroundings& around)
{
    const bool combined = s.descriptorType == VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER;
    around.sampler = s.descriptorType == VK_DESCRIPTOR_TYPE_SAMPLER || combined;
    around.image_view = s.descriptorType != VK_DESCRIPTOR_TYPE_SAMPLER;
    if (combined && around.immutable_samplers_at && around.immutable_samplers_at(s.dstSet, s.dstBinding))
        around.sampler = false;
}

inline bool sampler_counts(const VkDescriptorImageInfo&, const surroundings& around)
{
    return around.sampler;
}

inline bool image_view_counts(const VkDescriptorImageInfo&, const surroundings& around)
{
    return around.image_view;
}

inline bool begins_secondary(const VkCommandBufferBeginInfo&, const surroundings& around)
{
    return around.secondary;
}

inline void tell_command_buffer_begin_info(const VkCommandBufferBeginInfo& s, surroundings& around)
{
    around.continues_render_pass = s.flags & VK_COMMAND_BUFFER_USAGE_RENDER_PASS_CONTINUE_BIT;
}

inline bool continues_render_pass(const VkCommandBufferInheritanceInfo&, const surroundings& around)
{
    return around.continues_render_pass;
}

inline bool tessellates(const VkGraphicsPipelineCreateInfo& s, const surroundings&)
{
    for (uint32_t i = 0; s.pStages && i < s.stageCount; ++i)
        if (s.pStages[i].stage == VK_SHADER_STAGE_TESSELLATION_CONTROL_BIT)
            return true;
    return false;
}

inline bool rasterizes(const VkGraphicsPipelineCreateInfo& s, const surroundings&)
{
    return !s.pRasterizationState || !s.pRasterizationState->rasterizerDiscardEnable;
}

inline subpass_attachments attachments_of(const VkGraphicsPipelineCreateInfo& s, const surroundings& around)
{
    return around.attachments_of ? around.attachments_of(s.renderPass, s.subpass) : subpass_attachments{};
}

inline bool uses_depth_stencil(const VkGraphicsPipelineCreateInfo& s, const surroundings& around)
{
    return rasterizes(s, around) && attachments_of(s, around).depth_stencil;
}

inline bool uses_colour(const VkGraphicsPipelineCreateInfo& s, const surroundings& around)
{
    return rasterizes(s, around) && attachments_of(s, around).colour;
}

template <class S>
bool derives(const S& s, const surroundings&)
{
    return s.flags & VK_PIPELINE_CREATE_DERIVATIVE_BIT;
}

inline void tell_graphics_pipeline_create_info(const VkGraphicsPipelineCreateInfo& s, surroundings& around)
{
    around.viewports = around.scissors = true;
    for (uint32_t i = 0; s.pDynamicState && i < s.pDynamicState->dynamicStateCount; ++i) {
        around.viewports &= s.pDynamicState->pDynamicStates[i] != VK_DYNAMIC_STATE_VIEWPORT;
        around.scissors &= s.pDynamicState->pDynamicStates[i] != VK_DYNAMIC_STATE_SCISSOR;
    }
}

inline bool viewports_count(const VkPipelineViewportStateCreateInfo&, const surroundings& around)
{
    return around.viewports;
}

inline bool scissors_count(const VkPipelineViewportStateCreateInfo&, const surroundings& around)
{
    return around.scissors;
}

template <>
struct description<VkAttachmentDescription>
{
    using S = VkAttachmentDescription;
    using fields = list<plain<&S::flags, &S::format, &S::samples, &S::loadOp, &S::storeOp, &S::stencilLoadOp,
                              &S::stencilStoreOp, &S::initialLayout, &S::finalLayout>>;
};

template <>
struct description<VkAttachmentReference>
{
    using S = VkAttachmentReference;
    using fields = list<plain<&S::attachment, &S::layout>>;
};

template <>
struct description<VkCommandBufferBeginInfo>
{
    using S = VkCommandBufferBeginInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>,
                        when<begins_secondary, pointer<&S::pInheritanceInfo>>>;
    static constexpr auto tell = tell_command_buffer_begin_info;
};

template <>
struct description<VkCommandBufferInheritanceInfo>
{
    using S = VkCommandBufferInheritanceInfo;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, when<continues_render_pass, handle<&S::renderPass>>,
             plain<&S::subpass>, when<continues_render_pass, handle<&S::framebuffer>>,
             plain<&S::occlusionQueryEnable, &S::queryFlags, &S::pipelineStatistics>>;
};

template <>
struct description<VkComputePipelineCreateInfo>
{
    using S = VkComputePipelineCreateInfo;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>, nested<&S::stage>, handle<&S::layout>,
             when<derives<S>, handle<&S::basePipelineHandle>>, plain<&S::basePipelineIndex>>;
};

template <>
struct description<VkCopyDescriptorSet>
{
    using S = VkCopyDescriptorSet;
    using fields = list<plain<&S::sType>, next<&S::pNext>, handle<&S::srcSet>,
                        plain<&S::srcBinding, &S::srcArrayElement>, handle<&S::dstSet>,
                        plain<&S::dstBinding, &S::dstArrayElement, &S::descriptorCount>>;
};

template <>
struct description<VkDescriptorBufferInfo>
{
    using S = VkDescriptorBufferInfo;
    using fields = list<handle<&S::buffer>, plain<&S::offset, &S::range>>;
};

template <>
struct description<VkDescriptorImageInfo>
{
    using S = VkDescriptorImageInfo;
    using fields = list<when<sampler_counts, handle<&S::sampler>>,
                        when<image_view_counts, handle<&S::imageView>>, plain<&S::imageLayout>>;
};

template <>
struct description<VkDescriptorPoolCreateInfo>
{
    using S = VkDescriptorPoolCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags, &S::maxSets, &S::poolSizeCount>,
                        array<&S::pPoolSizes, &S::poolSizeCount>>;
};

template <>
struct description<VkDescriptorPoolSize>
{
    using S = VkDescriptorPoolSize;
    using fields = list<plain<&S::type, &S::descriptorCount>>;
};

template <>
struct description<VkDescriptorSetAllocateInfo>
{
    using S = VkDescriptorSetAllocateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, handle<&S::descriptorPool>,
                        plain<&S::descriptorSetCount>, handles<&S::pSetLayouts, &S::descriptorSetCount>>;
};

template <>
struct description<VkDescriptorSetLayoutBinding>
{
    using S = VkDescriptorSetLayoutBinding;
    using fields = list<plain<&S::binding, &S::descriptorType, &S::descriptorCount, &S::stageFlags>,
                        when<binds_samplers, optional<handles<&S::pImmutableSamplers, &S::descriptorCount>>>>;
};

template <>
struct description<VkDescriptorSetLayoutCreateInfo>
{
    using S = VkDescriptorSetLayoutCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags, &S::bindingCount>,
                        array<&S::pBindings, &S::bindingCount>>;
};

template <>
struct description<VkFramebufferCreateInfo>
{
    using S = VkFramebufferCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>, handle<&S::renderPass>,
                        plain<&S::attachmentCount>, handles<&S::pAttachments, &S::attachmentCount>,
                        plain<&S::width, &S::height, &S::layers>>;
};

template <>
struct description<VkGraphicsPipelineCreateInfo>
{
    using S = VkGraphicsPipelineCreateInfo;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags, &S::stageCount>,
             array<&S::pStages, &S::stageCount>, pointer<&S::pVertexInputState>,
             pointer<&S::pInputAssemblyState>, when<tessellates, pointer<&S::pTessellationState>>,
             when<rasterizes, pointer<&S::pViewportState>>, pointer<&S::pRasterizationState>,
             when<rasterizes, pointer<&S::pMultisampleState>>,
             when<uses_depth_stencil, pointer<&S::pDepthStencilState>>,
             when<uses_colour, pointer<&S::pColorBlendState>>, optional<pointer<&S::pDynamicState>>,
             handle<&S::layout>, handle<&S::renderPass>, plain<&S::subpass>,
             when<derives<S>, handle<&S::basePipelineHandle>>, plain<&S::basePipelineIndex>>;
    static constexpr auto tell = tell_graphics_pipeline_create_info;
};

template <>
struct description<VkPipelineCacheCreateInfo>
{
    using S = VkPipelineCacheCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>, size<&S::initialDataSize>,
                        bytes<&S::pInitialData, &S::initialDataSize>>;
};

template <>
struct description<VkPipelineColorBlendAttachmentState>
{
    using S = VkPipelineColorBlendAttachmentState;
    using fields =
        list<plain<&S::blendEnable, &S::srcColorBlendFactor, &S::dstColorBlendFactor, &S::colorBlendOp,
                   &S::srcAlphaBlendFactor, &S::dstAlphaBlendFactor, &S::alphaBlendOp, &S::colorWriteMask>>;
};

template <>
struct description<VkPipelineColorBlendStateCreateInfo>
{
    using S = VkPipelineColorBlendStateCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>,
                        plain<&S::flags, &S::logicOpEnable, &S::logicOp, &S::attachmentCount>,
                        array<&S::pAttachments, &S::attachmentCount>, plain<&S::blendConstants>>;
};

template <>
struct description<VkPipelineDepthStencilStateCreateInfo>
{
    using S = VkPipelineDepthStencilStateCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>,
                        plain<&S::flags, &S::depthTestEnable, &S::depthWriteEnable, &S::depthCompareOp,
                              &S::depthBoundsTestEnable, &S::stencilTestEnable>,
                        nested<&S::front>, nested<&S::back>, plain<&S::minDepthBounds, &S::maxDepthBounds>>;
};

template <>
struct description<VkPipelineDynamicStateCreateInfo>
{
    using S = VkPipelineDynamicStateCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags, &S::dynamicStateCount>,
                        array<&S::pDynamicStates, &S::dynamicStateCount>>;
};

template <>
struct description<VkPipelineInputAssemblyStateCreateInfo>
{
    using S = VkPipelineInputAssemblyStateCreateInfo;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags, &S::topology, &S::primitiveRestartEnable>>;
};

template <>
struct description<VkPipelineLayoutCreateInfo>
{
    using S = VkPipelineLayoutCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags, &S::setLayoutCount>,
                        handles<&S::pSetLayouts, &S::setLayoutCount>, plain<&S::pushConstantRangeCount>,
                        array<&S::pPushConstantRanges, &S::pushConstantRangeCount>>;
};

template <>
struct description<VkPipelineMultisampleStateCreateInfo>
{
    using S = VkPipelineMultisampleStateCreateInfo;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>,
             plain<&S::flags, &S::rasterizationSamples, &S::sampleShadingEnable, &S::minSampleShading>,
             sample_mask<&S::pSampleMask, &S::rasterizationSamples>,
             plain<&S::alphaToCoverageEnable, &S::alphaToOneEnable>>;
};

template <>
struct description<VkPipelineRasterizationStateCreateInfo>
{
    using S = VkPipelineRasterizationStateCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>,
                        plain<&S::flags, &S::depthClampEnable, &S::rasterizerDiscardEnable, &S::polygonMode,
                              &S::cullMode, &S::frontFace, &S::depthBiasEnable, &S::depthBiasConstantFactor,
                              &S::depthBiasClamp, &S::depthBiasSlopeFactor, &S::lineWidth>>;
};

template <>
struct description<VkPipelineShaderStageCreateInfo>
{
    using S = VkPipelineShaderStageCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags, &S::stage>, handle<&S::module>,
                        string<&S::pName>, optional<pointer<&S::pSpecializationInfo>>>;
};

template <>
struct description<VkPipelineTessellationStateCreateInfo>
{
    using S = VkPipelineTessellationStateCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags, &S::patchControlPoints>>;
};

template <>
struct description<VkPipelineVertexInputStateCreateInfo>
{
    using S = VkPipelineVertexInputStateCreateInfo;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags, &S::vertexBindingDescriptionCount>,
             array<&S::pVertexBindingDescriptions, &S::vertexBindingDescriptionCount>,
             plain<&S::vertexAttributeDescriptionCount>,
             array<&S::pVertexAttributeDescriptions, &S::vertexAttributeDescriptionCount>>;
};

template <>
struct description<VkPipelineViewportStateCreateInfo>
{
    using S = VkPipelineViewportStateCreateInfo;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags, &S::viewportCount>,
             when<viewports_count, optional<array<&S::pViewports, &S::viewportCount>>>,
             plain<&S::scissorCount>, when<scissors_count, optional<array<&S::pScissors, &S::scissorCount>>>>;
};

template <>
struct description<VkPushConstantRange>
{
    using S = VkPushConstantRange;
    using fields = list<plain<&S::stageFlags, &S::offset, &S::size>>;
};

template <>
struct description<VkRenderPassBeginInfo>
{
    using S = VkRenderPassBeginInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, handle<&S::renderPass>, handle<&S::framebuffer>,
                        nested<&S::renderArea>, plain<&S::clearValueCount>,
                        array<&S::pClearValues, &S::clearValueCount>>;
};

template <>
struct description<VkRenderPassCreateInfo>
{
    using S = VkRenderPassCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags, &S::attachmentCount>,
                        array<&S::pAttachments, &S::attachmentCount>, plain<&S::subpassCount>,
                        array<&S::pSubpasses, &S::subpassCount>, plain<&S::dependencyCount>,
                        array<&S::pDependencies, &S::dependencyCount>>;
};

template <>
struct description<VkSamplerCreateInfo>
{
    using S = VkSamplerCreateInfo;
    using fields = list<
        plain<&S::sType>, next<&S::pNext>,
        plain<&S::flags, &S::magFilter, &S::minFilter, &S::mipmapMode, &S::addressModeU, &S::addressModeV,
              &S::addressModeW, &S::mipLodBias, &S::anisotropyEnable, &S::maxAnisotropy, &S::compareEnable,
              &S::compareOp, &S::minLod, &S::maxLod, &S::borderColor, &S::unnormalizedCoordinates>>;
};

template <>
struct description<VkShaderModuleCreateInfo>
{
    using S = VkShaderModuleCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>, size<&S::codeSize>,
                        bytes<&S::pCode, &S::codeSize>>;
};

template <>
struct description<VkSpecializationInfo>
{
    using S = VkSpecializationInfo;
    using fields = list<plain<&S::mapEntryCount>, array<&S::pMapEntries, &S::mapEntryCount>,
                        size<&S::dataSize>, bytes<&S::pData, &S::dataSize>>;
};

template <>
struct description<VkSpecializationMapEntry>
{
    using S = VkSpecializationMapEntry;
    using fields = list<plain<&S::constantID, &S::offset>, size<&S::size>>;
};

template <>
struct description<VkStencilOpState>
{
    using S = VkStencilOpState;
    using fields = list<plain<&S::failOp, &S::passOp, &S::depthFailOp, &S::compareOp, &S::compareMask,
                              &S::writeMask, &S::reference>>;
};

template <>
struct description<VkSubpassDependency>
{
    using S = VkSubpassDependency;
    using fields = list<plain<&S::srcSubpass, &S::dstSubpass, &S::srcStageMask, &S::dstStageMask,
                              &S::srcAccessMask, &S::dstAccessMask, &S::dependencyFlags>>;
};

template <>
struct description<VkSubpassDescription>
{
    using S = VkSubpassDescription;
    using fields =
        list<plain<&S::flags, &S::pipelineBindPoint, &S::inputAttachmentCount>,
             array<&S::pInputAttachments, &S::inputAttachmentCount>, plain<&S::colorAttachmentCount>,
             array<&S::pColorAttachments, &S::colorAttachmentCount>,
             optional<array<&S::pResolveAttachments, &S::colorAttachmentCount>>,
             optional<pointer<&S::pDepthStencilAttachment>>, plain<&S::preserveAttachmentCount>,
             array<&S::pPreserveAttachments, &S::preserveAttachmentCount>>;
};

template <>
struct description<VkVertexInputAttributeDescription>
{
    using S = VkVertexInputAttributeDescription;
    using fields = list<plain<&S::location, &S::binding, &S::format, &S::offset>>;
};

template <>
struct description<VkVertexInputBindingDescription>
{
    using S = VkVertexInputBindingDescription;
    using fields = list<plain<&S::binding, &S::stride, &S::inputRate>>;
};

template <>
struct description<VkViewport>
{
    using S = VkViewport;
    using fields = list<plain<&S::x, &S::y, &S::width, &S::height, &S::minDepth, &S::maxDepth>>;
};

template <>
struct description<VkWriteDescriptorSet>
{
    using S = VkWriteDescriptorSet;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, handle<&S::dstSet>,
             plain<&S::dstBinding, &S::dstArrayElement, &S::descriptorCount, &S::descriptorType>,
             when<writes_images, optional<array<&S::pImageInfo, &S::descriptorCount>>>,
             when<writes_buffers, optional<array<&S::pBufferInfo, &S::descriptorCount>>>,
             when<writes_texel_buffers, optional<handles<&S::pTexelBufferView, &S::descriptorCount>>>>;
    static constexpr auto tell = tell_write_descriptor_set;
};

} // namespace vk_wire
