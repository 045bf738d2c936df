#include "handlers/vk/capability_union.h"

#include "sidechannel_log.h"

#include <algorithm>
#include <type_traits>

namespace {
using features_type = VkPhysicalDeviceFeatures;
using limits_type = VkPhysicalDeviceLimits;

struct feature_row
{
    VkBool32 features_type::*field;
    const char* name;
};
#define FEATURE(name)                                                                                        \
    {                                                                                                        \
        &features_type::name, #name                                                                          \
    }
constexpr feature_row features_table[] = {
    FEATURE(robustBufferAccess),
    FEATURE(fullDrawIndexUint32),
    FEATURE(imageCubeArray),
    FEATURE(independentBlend),
    FEATURE(geometryShader),
    FEATURE(tessellationShader),
    FEATURE(sampleRateShading),
    FEATURE(dualSrcBlend),
    FEATURE(logicOp),
    FEATURE(multiDrawIndirect),
    FEATURE(drawIndirectFirstInstance),
    FEATURE(depthClamp),
    FEATURE(depthBiasClamp),
    FEATURE(fillModeNonSolid),
    FEATURE(depthBounds),
    FEATURE(wideLines),
    FEATURE(largePoints),
    FEATURE(alphaToOne),
    FEATURE(multiViewport),
    FEATURE(samplerAnisotropy),
    FEATURE(textureCompressionETC2),
    FEATURE(textureCompressionASTC_LDR),
    FEATURE(textureCompressionBC),
    FEATURE(occlusionQueryPrecise),
    FEATURE(pipelineStatisticsQuery),
    FEATURE(vertexPipelineStoresAndAtomics),
    FEATURE(fragmentStoresAndAtomics),
    FEATURE(shaderTessellationAndGeometryPointSize),
    FEATURE(shaderImageGatherExtended),
    FEATURE(shaderStorageImageExtendedFormats),
    FEATURE(shaderStorageImageMultisample),
    FEATURE(shaderStorageImageReadWithoutFormat),
    FEATURE(shaderStorageImageWriteWithoutFormat),
    FEATURE(shaderUniformBufferArrayDynamicIndexing),
    FEATURE(shaderSampledImageArrayDynamicIndexing),
    FEATURE(shaderStorageBufferArrayDynamicIndexing),
    FEATURE(shaderStorageImageArrayDynamicIndexing),
    FEATURE(shaderClipDistance),
    FEATURE(shaderCullDistance),
    FEATURE(shaderFloat64),
    FEATURE(shaderInt64),
    FEATURE(shaderInt16),
    FEATURE(shaderResourceResidency),
    FEATURE(shaderResourceMinLod),
    FEATURE(sparseBinding),
    FEATURE(sparseResidencyBuffer),
    FEATURE(sparseResidencyImage2D),
    FEATURE(sparseResidencyImage3D),
    FEATURE(sparseResidency2Samples),
    FEATURE(sparseResidency4Samples),
    FEATURE(sparseResidency8Samples),
    FEATURE(sparseResidency16Samples),
    FEATURE(sparseResidencyAliased),
    FEATURE(variableMultisampleRate),
    FEATURE(inheritedQueries),
};
#undef FEATURE
static_assert(std::size(features_table) * sizeof(VkBool32) == sizeof(features_type));

/// How one limit follows from two.
enum class rule
{
    lower,  // a most of something, or a precision
    higher, // a least of something, such as an alignment
    range,  // from the higher of the lower ends to the lower of the upper ends
    both,   // bits that both have
};

template <rule Rule, class T>
T combined(T target, T host)
{
    if constexpr (Rule == rule::lower)
        return std::min(target, host);
    else if constexpr (Rule == rule::higher)
        return std::max(target, host);
    else
        return target & host;
}

using combine_limit = void (*)(const limits_type& target, const limits_type& host, bool on,
                               limits_type& result);
template <auto Member, rule Rule>
void combine(const limits_type& target, const limits_type& host, bool on, limits_type& result)
{
    using field_type = std::remove_reference_t<decltype(result.*Member)>;
    auto& out = result.*Member;
    if constexpr (Rule == rule::range) {
        out[0] = on ? std::max((target.*Member)[0], (host.*Member)[0]) : 0;
        out[1] = on ? std::min((target.*Member)[1], (host.*Member)[1]) : 0;
    } else if constexpr (std::is_array_v<field_type>) {
        for (size_t i = 0; i < std::extent_v<field_type>; ++i)
            out[i] = on ? combined<Rule>((target.*Member)[i], (host.*Member)[i]) : 0;
    } else {
        out = on ? combined<Rule>(target.*Member, host.*Member) : 0;
    }
}

struct limit_row
{
    combine_limit combine;
    VkBool32 features_type::*feature; // the limit is 0 without it; null for none
};
#define LIMIT(rule_name, limit)                                                                              \
    {                                                                                                        \
        &combine<&limits_type::limit, rule::rule_name>, nullptr                                              \
    }
#define LIMIT_OF(feature, rule_name, limit)                                                                  \
    {                                                                                                        \
        &combine<&limits_type::limit, rule::rule_name>, &features_type::feature                              \
    }
// In the structure's order. What isn't here stays the target's own.
constexpr limit_row limits_table[] = {
    LIMIT(lower, maxImageDimension1D),
    LIMIT(lower, maxImageDimension2D),
    LIMIT(lower, maxImageDimension3D),
    LIMIT(lower, maxImageDimensionCube),
    LIMIT(lower, maxImageArrayLayers),
    LIMIT(lower, maxTexelBufferElements),
    LIMIT(lower, maxUniformBufferRange),
    LIMIT(lower, maxStorageBufferRange),
    LIMIT(lower, maxPushConstantsSize),
    LIMIT(lower, maxMemoryAllocationCount),
    LIMIT(lower, maxSamplerAllocationCount),
    LIMIT(higher, bufferImageGranularity),
    LIMIT_OF(sparseBinding, lower, sparseAddressSpaceSize),
    LIMIT(lower, maxBoundDescriptorSets),
    LIMIT(lower, maxPerStageDescriptorSamplers),
    LIMIT(lower, maxPerStageDescriptorUniformBuffers),
    LIMIT(lower, maxPerStageDescriptorStorageBuffers),
    LIMIT(lower, maxPerStageDescriptorSampledImages),
    LIMIT(lower, maxPerStageDescriptorStorageImages),
    LIMIT(lower, maxPerStageDescriptorInputAttachments),
    LIMIT(lower, maxPerStageResources),
    LIMIT(lower, maxDescriptorSetSamplers),
    LIMIT(lower, maxDescriptorSetUniformBuffers),
    LIMIT(lower, maxDescriptorSetUniformBuffersDynamic),
    LIMIT(lower, maxDescriptorSetStorageBuffers),
    LIMIT(lower, maxDescriptorSetStorageBuffersDynamic),
    LIMIT(lower, maxDescriptorSetSampledImages),
    LIMIT(lower, maxDescriptorSetStorageImages),
    LIMIT(lower, maxDescriptorSetInputAttachments),
    LIMIT(lower, maxVertexInputAttributes),
    LIMIT(lower, maxVertexInputBindings),
    LIMIT(lower, maxVertexInputAttributeOffset),
    LIMIT(lower, maxVertexInputBindingStride),
    LIMIT(lower, maxVertexOutputComponents),
    LIMIT_OF(tessellationShader, lower, maxTessellationGenerationLevel),
    LIMIT_OF(tessellationShader, lower, maxTessellationPatchSize),
    LIMIT_OF(tessellationShader, lower, maxTessellationControlPerVertexInputComponents),
    LIMIT_OF(tessellationShader, lower, maxTessellationControlPerVertexOutputComponents),
    LIMIT_OF(tessellationShader, lower, maxTessellationControlPerPatchOutputComponents),
    LIMIT_OF(tessellationShader, lower, maxTessellationControlTotalOutputComponents),
    LIMIT_OF(tessellationShader, lower, maxTessellationEvaluationInputComponents),
    LIMIT_OF(tessellationShader, lower, maxTessellationEvaluationOutputComponents),
    LIMIT_OF(geometryShader, lower, maxGeometryShaderInvocations),
    LIMIT_OF(geometryShader, lower, maxGeometryInputComponents),
    LIMIT_OF(geometryShader, lower, maxGeometryOutputComponents),
    LIMIT_OF(geometryShader, lower, maxGeometryOutputVertices),
    LIMIT_OF(geometryShader, lower, maxGeometryTotalOutputComponents),
    LIMIT(lower, maxFragmentInputComponents),
    LIMIT(lower, maxFragmentOutputAttachments),
    LIMIT_OF(dualSrcBlend, lower, maxFragmentDualSrcAttachments),
    LIMIT(lower, maxFragmentCombinedOutputResources),
    LIMIT(lower, maxComputeSharedMemorySize),
    LIMIT(lower, maxComputeWorkGroupCount),
    LIMIT(lower, maxComputeWorkGroupInvocations),
    LIMIT(lower, maxComputeWorkGroupSize),
    LIMIT(lower, subPixelPrecisionBits),
    LIMIT(lower, subTexelPrecisionBits),
    LIMIT(lower, mipmapPrecisionBits),
    LIMIT(lower, maxDrawIndexedIndexValue),
    LIMIT_OF(multiDrawIndirect, lower, maxDrawIndirectCount),
    LIMIT(lower, maxSamplerLodBias),
    LIMIT_OF(samplerAnisotropy, lower, maxSamplerAnisotropy),
    LIMIT_OF(multiViewport, lower, maxViewports),
    LIMIT(lower, maxViewportDimensions),
    LIMIT_OF(multiViewport, range, viewportBoundsRange),
    LIMIT(lower, viewportSubPixelBits),
    LIMIT(higher, minMemoryMapAlignment),
    LIMIT(higher, minTexelBufferOffsetAlignment),
    LIMIT(higher, minUniformBufferOffsetAlignment),
    LIMIT(higher, minStorageBufferOffsetAlignment),
    LIMIT(higher, minTexelOffset),
    LIMIT(lower, maxTexelOffset),
    LIMIT_OF(shaderImageGatherExtended, higher, minTexelGatherOffset),
    LIMIT_OF(shaderImageGatherExtended, lower, maxTexelGatherOffset),
    LIMIT_OF(sampleRateShading, higher, minInterpolationOffset),
    LIMIT_OF(sampleRateShading, lower, maxInterpolationOffset),
    LIMIT_OF(sampleRateShading, lower, subPixelInterpolationOffsetBits),
    LIMIT(lower, maxFramebufferWidth),
    LIMIT(lower, maxFramebufferHeight),
    LIMIT(lower, maxFramebufferLayers),
    LIMIT(both, framebufferColorSampleCounts),
    LIMIT(both, framebufferDepthSampleCounts),
    LIMIT(both, framebufferStencilSampleCounts),
    LIMIT(both, framebufferNoAttachmentsSampleCounts),
    LIMIT(lower, maxColorAttachments),
    LIMIT(both, sampledImageColorSampleCounts),
    LIMIT(both, sampledImageIntegerSampleCounts),
    LIMIT(both, sampledImageDepthSampleCounts),
    LIMIT(both, sampledImageStencilSampleCounts),
    LIMIT_OF(shaderStorageImageMultisample, both, storageImageSampleCounts),
    LIMIT(lower, maxSampleMaskWords),
    LIMIT_OF(shaderClipDistance, lower, maxClipDistances),
    LIMIT_OF(shaderClipDistance, lower, maxCullDistances),
    LIMIT_OF(shaderClipDistance, lower, maxCombinedClipAndCullDistances),
    LIMIT(lower, discreteQueuePriorities),
    LIMIT_OF(largePoints, range, pointSizeRange),
    LIMIT_OF(wideLines, range, lineWidthRange),
    LIMIT_OF(largePoints, higher, pointSizeGranularity),
    LIMIT_OF(wideLines, higher, lineWidthGranularity),
    LIMIT(higher, optimalBufferCopyOffsetAlignment),
    LIMIT(higher, optimalBufferCopyRowPitchAlignment),
    LIMIT(higher, nonCoherentAtomSize),
};
#undef LIMIT
#undef LIMIT_OF

struct image_format_call
{
    VkFormat format;
    VkImageType type;
    VkImageTiling tiling;
};

/// True when the host's value took the target's place.
template <class T>
bool lower_image_format(const image_format_call& call, const char* name, T host, T& result)
{
    if (host >= result)
        return false;
    LOG_WARN("Image format properties mismatch between target and host, override target value with host:");
    LOG_WARN("\t format=%d, type=%d, tiling=%d, host_%s=%lu, target_%s=%lu", call.format, call.type,
             call.tiling, name, static_cast<unsigned long>(host), name, static_cast<unsigned long>(result));
    result = host;
    return true;
}
} // namespace

void collect_union_feature(const VkPhysicalDeviceFeatures& target, const VkPhysicalDeviceFeatures& host,
                           VkPhysicalDeviceFeatures* result)
{
    const VkPhysicalDeviceFeatures target_features = target;
    *result = host;
    for (const feature_row& row : features_table) {
        const VkBool32 on_target = target_features.*row.field;
        const VkBool32 on_host = host.*row.field;
        if (on_target == on_host)
            continue;
        LOG_WARN("Physical device feature support mismatched between target and host, have to disable it:");
        LOG_WARN("\t feature=%s, host_support=%d, target_support=%d", row.name, static_cast<int>(on_host),
                 static_cast<int>(on_target));
        result->*row.field = VK_FALSE;
    }
}

void collect_union_properties(const VkPhysicalDeviceFeatures& features,
                              const VkPhysicalDeviceProperties& target,
                              const VkPhysicalDeviceProperties& host, VkPhysicalDeviceProperties* result)
{
    for (const limit_row& row : limits_table)
        row.combine(target.limits, host.limits, !row.feature || features.*row.feature, result->limits);
    // One pixel is what there is without the features.
    if (!features.largePoints)
        result->limits.pointSizeRange[0] = 1.0f;
    if (!features.wideLines)
        result->limits.lineWidthRange[0] = 1.0f;

    using sparse = VkPhysicalDeviceSparseProperties;
    for (auto field :
         {&sparse::residencyStandard2DBlockShape, &sparse::residencyStandard2DMultisampleBlockShape,
          &sparse::residencyStandard3DBlockShape, &sparse::residencyAlignedMipSize,
          &sparse::residencyNonResidentStrict})
        if (target.sparseProperties.*field != host.sparseProperties.*field)
            result->sparseProperties.*field = VK_FALSE;
}

bool collect_union_image_format(VkFormat format, VkImageType type, VkImageTiling tiling,
                                const VkImageFormatProperties& host, VkImageFormatProperties* result)
{
    const image_format_call call{format, type, tiling};
    bool changed = false;
    changed |= lower_image_format(call, "maxExtent.width", host.maxExtent.width, result->maxExtent.width);
    changed |= lower_image_format(call, "maxExtent.height", host.maxExtent.height, result->maxExtent.height);
    changed |= lower_image_format(call, "maxExtent.depth", host.maxExtent.depth, result->maxExtent.depth);
    changed |= lower_image_format(call, "maxMipLevels", host.maxMipLevels, result->maxMipLevels);
    changed |= lower_image_format(call, "maxArrayLayers", host.maxArrayLayers, result->maxArrayLayers);
    if (const VkSampleCountFlags both = host.sampleCounts & result->sampleCounts;
        both != result->sampleCounts) {
        LOG_WARN("Image format properties mismatch between target and host, merge target and host result:");
        LOG_WARN("\t format=%d, type=%d, tiling=%d, host_sampleCounts=%lu, target_sampleCounts=%lu", format,
                 type, tiling, static_cast<unsigned long>(host.sampleCounts),
                 static_cast<unsigned long>(result->sampleCounts));
        result->sampleCounts = both;
        changed = true;
    }
    changed |= lower_image_format(call, "maxResourceSize", host.maxResourceSize, result->maxResourceSize);
    return changed;
}
