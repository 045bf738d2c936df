#pragma once
// Memory, buffers, images, commands on them and submissions in a message.

#include "wire/vk_description.h"

namespace vk_wire {

template <>
struct description<VkBindSparseInfo>
{
    using S = VkBindSparseInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::waitSemaphoreCount>,
                        handles<&S::pWaitSemaphores, &S::waitSemaphoreCount>, plain<&S::bufferBindCount>,
                        array<&S::pBufferBinds, &S::bufferBindCount>, plain<&S::imageOpaqueBindCount>,
                        array<&S::pImageOpaqueBinds, &S::imageOpaqueBindCount>, plain<&S::imageBindCount>,
                        array<&S::pImageBinds, &S::imageBindCount>, plain<&S::signalSemaphoreCount>,
                        handles<&S::pSignalSemaphores, &S::signalSemaphoreCount>>;
};

template <>
struct description<VkBufferCopy>
{
    using S = VkBufferCopy;
    using fields = list<plain<&S::srcOffset, &S::dstOffset, &S::size>>;
};

template <>
struct description<VkBufferCreateInfo>
{
    using S = VkBufferCreateInfo;
    using fields = list<
        plain<&S::sType>, next<&S::pNext>,
        plain<&S::flags, &S::size, &S::usage, &S::sharingMode, &S::queueFamilyIndexCount>,
        when<shared_by_families<&S::sharingMode>, array<&S::pQueueFamilyIndices, &S::queueFamilyIndexCount>>>;
};

template <>
struct description<VkBufferImageCopy>
{
    using S = VkBufferImageCopy;
    using fields = list<plain<&S::bufferOffset, &S::bufferRowLength, &S::bufferImageHeight>,
                        nested<&S::imageSubresource>, nested<&S::imageOffset>, nested<&S::imageExtent>>;
};

template <>
struct description<VkBufferMemoryBarrier>
{
    using S = VkBufferMemoryBarrier;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>,
             plain<&S::srcAccessMask, &S::dstAccessMask, &S::srcQueueFamilyIndex, &S::dstQueueFamilyIndex>,
             handle<&S::buffer>, plain<&S::offset, &S::size>>;
};

template <>
struct description<VkBufferViewCreateInfo>
{
    using S = VkBufferViewCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>, handle<&S::buffer>,
                        plain<&S::format, &S::offset, &S::range>>;
};

template <>
struct description<VkClearAttachment>
{
    using S = VkClearAttachment;
    using fields = list<plain<&S::aspectMask, &S::colorAttachment, &S::clearValue>>;
};

template <>
struct description<VkClearDepthStencilValue>
{
    using S = VkClearDepthStencilValue;
    using fields = list<plain<&S::depth, &S::stencil>>;
};

template <>
struct description<VkClearRect>
{
    using S = VkClearRect;
    using fields = list<nested<&S::rect>, plain<&S::baseArrayLayer, &S::layerCount>>;
};

template <>
struct description<VkCommandBufferAllocateInfo>
{
    using S = VkCommandBufferAllocateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, handle<&S::commandPool>,
                        plain<&S::level, &S::commandBufferCount>>;
};

template <>
struct description<VkCommandPoolCreateInfo>
{
    using S = VkCommandPoolCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags, &S::queueFamilyIndex>>;
};

template <>
struct description<VkComponentMapping>
{
    using S = VkComponentMapping;
    using fields = list<plain<&S::r, &S::g, &S::b, &S::a>>;
};

template <>
struct description<VkDispatchIndirectCommand>
{
    using S = VkDispatchIndirectCommand;
    using fields = list<plain<&S::x, &S::y, &S::z>>;
};

template <>
struct description<VkDrawIndexedIndirectCommand>
{
    using S = VkDrawIndexedIndirectCommand;
    using fields =
        list<plain<&S::indexCount, &S::instanceCount, &S::firstIndex, &S::vertexOffset, &S::firstInstance>>;
};

template <>
struct description<VkDrawIndirectCommand>
{
    using S = VkDrawIndirectCommand;
    using fields = list<plain<&S::vertexCount, &S::instanceCount, &S::firstVertex, &S::firstInstance>>;
};

template <>
struct description<VkEventCreateInfo>
{
    using S = VkEventCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>>;
};

template <>
struct description<VkExtent2D>
{
    using S = VkExtent2D;
    using fields = list<plain<&S::width, &S::height>>;
};

template <>
struct description<VkExtent3D>
{
    using S = VkExtent3D;
    using fields = list<plain<&S::width, &S::height, &S::depth>>;
};

template <>
struct description<VkFenceCreateInfo>
{
    using S = VkFenceCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>>;
};

template <>
struct description<VkImageBlit>
{
    using S = VkImageBlit;
    using fields = list<nested<&S::srcSubresource>, nested<&S::srcOffsets>, nested<&S::dstSubresource>,
                        nested<&S::dstOffsets>>;
};

template <>
struct description<VkImageCopy>
{
    using S = VkImageCopy;
    using fields = list<nested<&S::srcSubresource>, nested<&S::srcOffset>, nested<&S::dstSubresource>,
                        nested<&S::dstOffset>, nested<&S::extent>>;
};

template <>
struct description<VkImageCreateInfo>
{
    using S = VkImageCreateInfo;
    using fields = list<
        plain<&S::sType>, next_or<&S::pNext, VkNativeBufferANDROID, native_buffer_type>,
        plain<&S::flags, &S::imageType, &S::format>, nested<&S::extent>,
        plain<&S::mipLevels, &S::arrayLayers, &S::samples, &S::tiling, &S::usage, &S::sharingMode,
              &S::queueFamilyIndexCount>,
        when<shared_by_families<&S::sharingMode>, array<&S::pQueueFamilyIndices, &S::queueFamilyIndexCount>>,
        plain<&S::initialLayout>>;
};

template <>
struct description<VkImageMemoryBarrier>
{
    using S = VkImageMemoryBarrier;
    using fields = list<plain<&S::sType>, next<&S::pNext>,
                        plain<&S::srcAccessMask, &S::dstAccessMask, &S::oldLayout, &S::newLayout,
                              &S::srcQueueFamilyIndex, &S::dstQueueFamilyIndex>,
                        handle<&S::image>, nested<&S::subresourceRange>>;
};

template <>
struct description<VkImageResolve>
{
    using S = VkImageResolve;
    using fields = list<nested<&S::srcSubresource>, nested<&S::srcOffset>, nested<&S::dstSubresource>,
                        nested<&S::dstOffset>, nested<&S::extent>>;
};

template <>
struct description<VkImageSubresource>
{
    using S = VkImageSubresource;
    using fields = list<plain<&S::aspectMask, &S::mipLevel, &S::arrayLayer>>;
};

template <>
struct description<VkImageSubresourceLayers>
{
    using S = VkImageSubresourceLayers;
    using fields = list<plain<&S::aspectMask, &S::mipLevel, &S::baseArrayLayer, &S::layerCount>>;
};

template <>
struct description<VkImageSubresourceRange>
{
    using S = VkImageSubresourceRange;
    using fields =
        list<plain<&S::aspectMask, &S::baseMipLevel, &S::levelCount, &S::baseArrayLayer, &S::layerCount>>;
};

template <>
struct description<VkImageViewCreateInfo>
{
    using S = VkImageViewCreateInfo;
    using fields =
        list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>, handle<&S::image>,
             plain<&S::viewType, &S::format>, nested<&S::components>, nested<&S::subresourceRange>>;
};

template <>
struct description<VkMappedMemoryRange>
{
    using S = VkMappedMemoryRange;
    using fields = list<plain<&S::sType>, next<&S::pNext>, handle<&S::memory>, plain<&S::offset, &S::size>>;
};

template <>
struct description<VkMemoryAllocateInfo>
{
    using S = VkMemoryAllocateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::allocationSize, &S::memoryTypeIndex>>;
};

template <>
struct description<VkMemoryBarrier>
{
    using S = VkMemoryBarrier;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::srcAccessMask, &S::dstAccessMask>>;
};

template <>
struct description<VkNativeBufferANDROID>
{
    using S = VkNativeBufferANDROID;
    using fields = list<plain<&S::sType>, next<&S::pNext>, address<&S::handle>,
                        plain<&S::stride, &S::format, &S::usage>>;
};

template <>
struct description<VkOffset2D>
{
    using S = VkOffset2D;
    using fields = list<plain<&S::x, &S::y>>;
};

template <>
struct description<VkOffset3D>
{
    using S = VkOffset3D;
    using fields = list<plain<&S::x, &S::y, &S::z>>;
};

template <>
struct description<VkQueryPoolCreateInfo>
{
    using S = VkQueryPoolCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>,
                        plain<&S::flags, &S::queryType, &S::queryCount, &S::pipelineStatistics>>;
};

template <>
struct description<VkRect2D>
{
    using S = VkRect2D;
    using fields = list<nested<&S::offset>, nested<&S::extent>>;
};

template <>
struct description<VkSemaphoreCreateInfo>
{
    using S = VkSemaphoreCreateInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::flags>>;
};

template <>
struct description<VkSparseBufferMemoryBindInfo>
{
    using S = VkSparseBufferMemoryBindInfo;
    using fields = list<handle<&S::buffer>, plain<&S::bindCount>, array<&S::pBinds, &S::bindCount>>;
};

template <>
struct description<VkSparseImageMemoryBind>
{
    using S = VkSparseImageMemoryBind;
    using fields = list<nested<&S::subresource>, nested<&S::offset>, nested<&S::extent>,
                        optional<handle<&S::memory>>, plain<&S::memoryOffset, &S::flags>>;
};

template <>
struct description<VkSparseImageMemoryBindInfo>
{
    using S = VkSparseImageMemoryBindInfo;
    using fields = list<handle<&S::image>, plain<&S::bindCount>, array<&S::pBinds, &S::bindCount>>;
};

template <>
struct description<VkSparseImageOpaqueMemoryBindInfo>
{
    using S = VkSparseImageOpaqueMemoryBindInfo;
    using fields = list<handle<&S::image>, plain<&S::bindCount>, array<&S::pBinds, &S::bindCount>>;
};

template <>
struct description<VkSparseMemoryBind>
{
    using S = VkSparseMemoryBind;
    using fields = list<plain<&S::resourceOffset, &S::size>, optional<handle<&S::memory>>,
                        plain<&S::memoryOffset, &S::flags>>;
};

template <>
struct description<VkSubmitInfo>
{
    using S = VkSubmitInfo;
    using fields = list<plain<&S::sType>, next<&S::pNext>, plain<&S::waitSemaphoreCount>,
                        handles<&S::pWaitSemaphores, &S::waitSemaphoreCount>,
                        array<&S::pWaitDstStageMask, &S::waitSemaphoreCount>, plain<&S::commandBufferCount>,
                        handles<&S::pCommandBuffers, &S::commandBufferCount>, plain<&S::signalSemaphoreCount>,
                        handles<&S::pSignalSemaphores, &S::signalSemaphoreCount>>;
};

template <>
struct description<VkSubresourceLayout>
{
    using S = VkSubresourceLayout;
    using fields = list<plain<&S::offset, &S::size, &S::rowPitch, &S::arrayPitch, &S::depthPitch>>;
};

} // namespace vk_wire
