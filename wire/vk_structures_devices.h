#pragma once
// Instances, devices, their properties, surfaces and swapchains in a message.

#include "wire/vk_description.h"

namespace vk_wire {

template <>
struct description<VkAllocationCallbacks>
{
    using S = VkAllocationCallbacks;
    using fields =
        list<address<&S::pUserData>, address<&S::pfnAllocation>, address<&S::pfnReallocation>,
             address<&S::pfnFree>, address<&S::pfnInternalAllocation>, address<&S::pfnInternalFree>>;
};

template <>
struct description<VkApplicationInfo>
{
    using S = VkApplicationInfo;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, string<&S::pApplicationName>, plain<&S::applicationVersion>,
             string<&S::pEngineName>, plain<&S::engineVersion, &S::apiVersion>>;
};

template <>
struct description<VkDebugReportCallbackCreateInfoEXT>
{
    using S = VkDebugReportCallbackCreateInfoEXT;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>, address<&S::pfnCallback>,
                        address<&S::pUserData>>;
};

template <>
struct description<VkDeviceCreateInfo>
{
    using S = VkDeviceCreateInfo;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags, &S::queueCreateInfoCount>,
             array<&S::pQueueCreateInfos, &S::queueCreateInfoCount>, plain<&S::enabledLayerCount>,
             strings<&S::ppEnabledLayerNames, &S::enabledLayerCount>, plain<&S::enabledExtensionCount>,
             strings<&S::ppEnabledExtensionNames, &S::enabledExtensionCount>,
             optional<pointer<&S::pEnabledFeatures>>>;
};

template <>
struct description<VkDeviceQueueCreateInfo>
{
    using S = VkDeviceQueueCreateInfo;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags, &S::queueFamilyIndex, &S::queueCount>,
             array<&S::pQueuePriorities, &S::queueCount>>;
};

template <>
struct description<VkDisplayModeCreateInfoKHR>
{
    using S = VkDisplayModeCreateInfoKHR;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>, nested<&S::parameters>>;
};

template <>
struct description<VkDisplayModeParametersKHR>
{
    using S = VkDisplayModeParametersKHR;
    using fields = list<nested<&S::visibleRegion>, plain<&S::refreshRate>>;
};

template <>
struct description<VkDisplayModePropertiesKHR>
{
    using S = VkDisplayModePropertiesKHR;
    using fields = list<handle<&S::displayMode>, nested<&S::parameters>>;
};

template <>
struct description<VkDisplayPlaneCapabilitiesKHR>
{
    using S = VkDisplayPlaneCapabilitiesKHR;
    using fields = list<plain<&S::supportedAlpha>, nested<&S::minSrcPosition>, nested<&S::maxSrcPosition>,
                        nested<&S::minSrcExtent>, nested<&S::maxSrcExtent>, nested<&S::minDstPosition>,
                        nested<&S::maxDstPosition>, nested<&S::minDstExtent>, nested<&S::maxDstExtent>>;
};

template <>
struct description<VkDisplayPlanePropertiesKHR>
{
    using S = VkDisplayPlanePropertiesKHR;
    using fields = list<optional<handle<&S::currentDisplay>>, plain<&S::currentStackIndex>>;
};

template <>
struct description<VkDisplayPresentInfoKHR>
{
    using S = VkDisplayPresentInfoKHR;
    using fields = list<plain<&S::sType>, next<&S::pNext>, nested<&S::srcRect>, nested<&S::dstRect>,
                        plain<&S::persistent>>;
};

template <>
struct description<VkDisplayPropertiesKHR>
{
    using S = VkDisplayPropertiesKHR;
    using fields = list<handle<&S::display>, string<&S::displayName>, nested<&S::physicalDimensions>,
                        nested<&S::physicalResolution>,
                        plain<&S::supportedTransforms, &S::planeReorderPossible, &S::persistentContent>>;
};

template <>
struct description<VkDisplaySurfaceCreateInfoKHR>
{
    using S = VkDisplaySurfaceCreateInfoKHR;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>, handle<&S::displayMode>,
             plain<&S::planeIndex, &S::planeStackIndex, &S::transform, &S::globalAlpha, &S::alphaMode>,
             nested<&S::imageExtent>>;
};

template <>
struct description<VkExtensionProperties>
{
    using S = VkExtensionProperties;
    using fields = list<plain<&S::extensionName, &S::specVersion>>;
};

template <>
struct description<VkFormatProperties>
{
    using S = VkFormatProperties;
    using fields = list<plain<&S::linearTilingFeatures, &S::optimalTilingFeatures, &S::bufferFeatures>>;
};

template <>
struct description<VkImageFormatProperties>
{
    using S = VkImageFormatProperties;
    using fields = list<nested<&S::maxExtent>,
                        plain<&S::maxMipLevels, &S::maxArrayLayers, &S::sampleCounts, &S::maxResourceSize>>;
};

template <>
struct description<VkInstanceCreateInfo>
{
    using S = VkInstanceCreateInfo;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>, optional<pointer<&S::pApplicationInfo>>,
             plain<&S::enabledLayerCount>, strings<&S::ppEnabledLayerNames, &S::enabledLayerCount>,
             plain<&S::enabledExtensionCount>,
             strings<&S::ppEnabledExtensionNames, &S::enabledExtensionCount>>;
};

template <>
struct description<VkLayerProperties>
{
    using S = VkLayerProperties;
    using fields = list<plain<&S::layerName, &S::specVersion, &S::implementationVersion, &S::description>>;
};

template <>
struct description<VkMemoryHeap>
{
    using S = VkMemoryHeap;
    using fields = list<plain<&S::size, &S::flags>>;
};

template <>
struct description<VkMemoryRequirements>
{
    using S = VkMemoryRequirements;
    using fields = list<plain<&S::size, &S::alignment, &S::memoryTypeBits>>;
};

template <>
struct description<VkMemoryType>
{
    using S = VkMemoryType;
    using fields = list<plain<&S::propertyFlags, &S::heapIndex>>;
};

template <>
struct description<VkPhysicalDeviceFeatures>
{
    using S = VkPhysicalDeviceFeatures;
    using fields =
        list<plain<&S::robustBufferAccess, &S::fullDrawIndexUint32, &S::imageCubeArray, &S::independentBlend,
                   &S::geometryShader, &S::tessellationShader, &S::sampleRateShading, &S::dualSrcBlend,
                   &S::logicOp, &S::multiDrawIndirect, &S::drawIndirectFirstInstance, &S::depthClamp,
                   &S::depthBiasClamp, &S::fillModeNonSolid, &S::depthBounds, &S::wideLines, &S::largePoints,
                   &S::alphaToOne, &S::multiViewport, &S::samplerAnisotropy, &S::textureCompressionETC2,
                   &S::textureCompressionASTC_LDR, &S::textureCompressionBC, &S::occlusionQueryPrecise,
                   &S::pipelineStatisticsQuery, &S::vertexPipelineStoresAndAtomics,
                   &S::fragmentStoresAndAtomics, &S::shaderTessellationAndGeometryPointSize,
                   &S::shaderImageGatherExtended, &S::shaderStorageImageExtendedFormats,
                   &S::shaderStorageImageMultisample, &S::shaderStorageImageReadWithoutFormat,
                   &S::shaderStorageImageWriteWithoutFormat, &S::shaderUniformBufferArrayDynamicIndexing,
                   &S::shaderSampledImageArrayDynamicIndexing, &S::shaderStorageBufferArrayDynamicIndexing,
                   &S::shaderStorageImageArrayDynamicIndexing, &S::shaderClipDistance, &S::shaderCullDistance,
                   &S::shaderFloat64, &S::shaderInt64, &S::shaderInt16, &S::shaderResourceResidency,
                   &S::shaderResourceMinLod, &S::sparseBinding, &S::sparseResidencyBuffer,
                   &S::sparseResidencyImage2D, &S::sparseResidencyImage3D, &S::sparseResidency2Samples,
                   &S::sparseResidency4Samples, &S::sparseResidency8Samples, &S::sparseResidency16Samples,
                   &S::sparseResidencyAliased, &S::variableMultisampleRate, &S::inheritedQueries>>;
};

template <>
struct description<VkPhysicalDeviceLimits>
{
    using S = VkPhysicalDeviceLimits;
    using fields = list<
        plain<&S::maxImageDimension1D, &S::maxImageDimension2D, &S::maxImageDimension3D,
              &S::maxImageDimensionCube, &S::maxImageArrayLayers, &S::maxTexelBufferElements,
              &S::maxUniformBufferRange, &S::maxStorageBufferRange, &S::maxPushConstantsSize,
              &S::maxMemoryAllocationCount, &S::maxSamplerAllocationCount, &S::bufferImageGranularity,
              &S::sparseAddressSpaceSize, &S::maxBoundDescriptorSets, &S::maxPerStageDescriptorSamplers,
              &S::maxPerStageDescriptorUniformBuffers, &S::maxPerStageDescriptorStorageBuffers,
              &S::maxPerStageDescriptorSampledImages, &S::maxPerStageDescriptorStorageImages,
              &S::maxPerStageDescriptorInputAttachments, &S::maxPerStageResources,
              &S::maxDescriptorSetSamplers, &S::maxDescriptorSetUniformBuffers,
              &S::maxDescriptorSetUniformBuffersDynamic, &S::maxDescriptorSetStorageBuffers,
              &S::maxDescriptorSetStorageBuffersDynamic, &S::maxDescriptorSetSampledImages,
              &S::maxDescriptorSetStorageImages, &S::maxDescriptorSetInputAttachments,
              &S::maxVertexInputAttributes, &S::maxVertexInputBindings, &S::maxVertexInputAttributeOffset,
              &S::maxVertexInputBindingStride, &S::maxVertexOutputComponents,
              &S::maxTessellationGenerationLevel, &S::maxTessellationPatchSize,
              &S::maxTessellationControlPerVertexInputComponents,
              &S::maxTessellationControlPerVertexOutputComponents,
              &S::maxTessellationControlPerPatchOutputComponents,
              &S::maxTessellationControlTotalOutputComponents, &S::maxTessellationEvaluationInputComponents,
              &S::maxTessellationEvaluationOutputComponents, &S::maxGeometryShaderInvocations,
              &S::maxGeometryInputComponents, &S::maxGeometryOutputComponents, &S::maxGeometryOutputVertices,
              &S::maxGeometryTotalOutputComponents, &S::maxFragmentInputComponents,
              &S::maxFragmentOutputAttachments, &S::maxFragmentDualSrcAttachments,
              &S::maxFragmentCombinedOutputResources, &S::maxComputeSharedMemorySize,
              &S::maxComputeWorkGroupCount, &S::maxComputeWorkGroupInvocations, &S::maxComputeWorkGroupSize,
              &S::subPixelPrecisionBits, &S::subTexelPrecisionBits, &S::mipmapPrecisionBits,
              &S::maxDrawIndexedIndexValue, &S::maxDrawIndirectCount, &S::maxSamplerLodBias,
              &S::maxSamplerAnisotropy, &S::maxViewports, &S::maxViewportDimensions, &S::viewportBoundsRange,
              &S::viewportSubPixelBits>,
        size<&S::minMemoryMapAlignment>,
        plain<&S::minTexelBufferOffsetAlignment, &S::minUniformBufferOffsetAlignment,
              &S::minStorageBufferOffsetAlignment, &S::minTexelOffset, &S::maxTexelOffset,
              &S::minTexelGatherOffset, &S::maxTexelGatherOffset, &S::minInterpolationOffset,
              &S::maxInterpolationOffset, &S::subPixelInterpolationOffsetBits, &S::maxFramebufferWidth,
              &S::maxFramebufferHeight, &S::maxFramebufferLayers, &S::framebufferColorSampleCounts,
              &S::framebufferDepthSampleCounts, &S::framebufferStencilSampleCounts,
              &S::framebufferNoAttachmentsSampleCounts, &S::maxColorAttachments,
              &S::sampledImageColorSampleCounts, &S::sampledImageIntegerSampleCounts,
              &S::sampledImageDepthSampleCounts, &S::sampledImageStencilSampleCounts,
              &S::storageImageSampleCounts, &S::maxSampleMaskWords, &S::timestampComputeAndGraphics,
              &S::timestampPeriod, &S::maxClipDistances, &S::maxCullDistances,
              &S::maxCombinedClipAndCullDistances, &S::discreteQueuePriorities, &S::pointSizeRange,
              &S::lineWidthRange, &S::pointSizeGranularity, &S::lineWidthGranularity, &S::strictLines,
              &S::standardSampleLocations, &S::optimalBufferCopyOffsetAlignment,
              &S::optimalBufferCopyRowPitchAlignment, &S::nonCoherentAtomSize>>;
};

template <>
struct description<VkPhysicalDeviceMemoryProperties>
{
    using S = VkPhysicalDeviceMemoryProperties;
    using fields = list<plain<&S::memoryTypeCount>, nested<&S::memoryTypes>, plain<&S::memoryHeapCount>,
                        nested<&S::memoryHeaps>>;
};

template <>
struct description<VkPhysicalDeviceProperties>
{
    using S = VkPhysicalDeviceProperties;
    using fields = list<plain<&S::apiVersion, &S::driverVersion, &S::vendorID, &S::deviceID, &S::deviceType,
                              &S::deviceName, &S::pipelineCacheUUID>,
                        nested<&S::limits>, nested<&S::sparseProperties>>;
};

template <>
struct description<VkPhysicalDeviceSparseProperties>
{
    using S = VkPhysicalDeviceSparseProperties;
    using fields = list<plain<&S::residencyStandard2DBlockShape, &S::residencyStandard2DMultisampleBlockShape,
                              &S::residencyStandard3DBlockShape, &S::residencyAlignedMipSize,
                              &S::residencyNonResidentStrict>>;
};

template <>
struct description<VkPresentInfoKHR>
{
    using S = VkPresentInfoKHR;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, plain<&S::waitSemaphoreCount>,
             handles<&S::pWaitSemaphores, &S::waitSemaphoreCount>, plain<&S::swapchainCount>,
             handles<&S::pSwapchains, &S::swapchainCount>, array<&S::pImageIndices, &S::swapchainCount>,
             optional<array<&S::pResults, &S::swapchainCount>>>;
};

template <>
struct description<VkQueueFamilyProperties>
{
    using S = VkQueueFamilyProperties;
    using fields = list<plain<&S::queueFlags, &S::queueCount, &S::timestampValidBits>,
                        nested<&S::minImageTransferGranularity>>;
};

template <>
struct description<VkSparseImageFormatProperties>
{
    using S = VkSparseImageFormatProperties;
    using fields = list<plain<&S::aspectMask>, nested<&S::imageGranularity>, plain<&S::flags>>;
};

template <>
struct description<VkSparseImageMemoryRequirements>
{
    using S = VkSparseImageMemoryRequirements;
    using fields = list<nested<&S::formatProperties>, plain<&S::imageMipTailFirstLod, &S::imageMipTailSize,
                                                            &S::imageMipTailOffset, &S::imageMipTailStride>>;
};

template <>
struct description<VkSurfaceCapabilitiesKHR>
{
    using S = VkSurfaceCapabilitiesKHR;
    using fields = list<plain<&S::minImageCount, &S::maxImageCount>, nested<&S::currentExtent>,
                        nested<&S::minImageExtent>, nested<&S::maxImageExtent>,
                        plain<&S::maxImageArrayLayers, &S::supportedTransforms, &S::currentTransform,
                              &S::supportedCompositeAlpha, &S::supportedUsageFlags>>;
};

template <>
struct description<VkSurfaceFormatKHR>
{
    using S = VkSurfaceFormatKHR;
    using fields = list<plain<&S::format, &S::colorSpace>>;
};

template <>
struct description<VkSwapchainCreateInfoKHR>
{
    using S = VkSwapchainCreateInfoKHR;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>, handle<&S::surface>,
             plain<&S::minImageCount, &S::imageFormat, &S::imageColorSpace>, nested<&S::imageExtent>,
             plain<&S::imageArrayLayers, &S::imageUsage, &S::imageSharingMode, &S::queueFamilyIndexCount>,
             when<shared_by_families<&S::imageSharingMode>,
                  array<&S::pQueueFamilyIndices, &S::queueFamilyIndexCount>>,
             plain<&S::preTransform, &S::compositeAlpha, &S::presentMode, &S::clipped>,
             optional<handle<&S::oldSwapchain>>>;
};

} // namespace vk_wire
