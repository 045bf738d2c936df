// Recording of copies, blits, clears and fills.

#include "handlers/vk/astc_upload.h"
#include "handlers/vk/command_handlers.h"
#include "handlers/vk/recording.h"

using vk = sidechannel_vk_imports;

namespace {
constexpr const char* beyond_buffer = "the range isn't all in the buffer, or it has no memory";
}

void vk_vkCmdCopyBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer srcBuffer,
                        VkBuffer dstBuffer, uint32_t regionCount, vk_array<VkBufferCopy, 3> pRegions)
{
    vk_recording call{"vk_vkCmdCopyBuffer", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_srcBuffer", srcBuffer, "target_dstBuffer",
               dstBuffer, "regionCount", regionCount, "pRegions_ptr", pRegions.address);
    if (auto* data = call.begin())
        for (uint32_t i = 0; i < pRegions.count; ++i) {
            const VkBufferCopy region = pRegions.data[i];
            call.need(vk_holds(data, srcBuffer, region.srcOffset, region.size) &&
                          vk_holds(data, dstBuffer, region.dstOffset, region.size),
                      beyond_buffer);
        }
    call.record<&vk::vkCmdCopyBuffer>(srcBuffer, dstBuffer, pRegions.count, pRegions);
}

void vk_vkCmdCopyImage(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkImage srcImage,
                       VkImageLayout srcImageLayout, VkImage dstImage, VkImageLayout dstImageLayout,
                       uint32_t regionCount, vk_array<VkImageCopy, 5> pRegions)
{
    vk_recording call{"vk_vkCmdCopyImage", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_srcImage", srcImage, "srcImageLayout",
               srcImageLayout, "target_dstImage", dstImage, "dstImageLayout", dstImageLayout, "regionCount",
               regionCount, "pRegions_ptr", pRegions.address);
    call.record<&vk::vkCmdCopyImage>(srcImage, srcImageLayout, dstImage, dstImageLayout, pRegions.count,
                                     pRegions);
}

void vk_vkCmdBlitImage(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkImage srcImage,
                       VkImageLayout srcImageLayout, VkImage dstImage, VkImageLayout dstImageLayout,
                       uint32_t regionCount, vk_array<VkImageBlit, 5> pRegions, VkFilter filter)
{
    vk_recording call{"vk_vkCmdBlitImage", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_srcImage", srcImage, "srcImageLayout",
               srcImageLayout, "target_dstImage", dstImage, "dstImageLayout", dstImageLayout, "regionCount",
               regionCount, "pRegions_ptr", pRegions.address, "filter", filter);
    call.record<&vk::vkCmdBlitImage>(srcImage, srcImageLayout, dstImage, dstImageLayout, pRegions.count,
                                     pRegions, filter);
}

void vk_vkCmdResolveImage(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkImage srcImage,
                          VkImageLayout srcImageLayout, VkImage dstImage, VkImageLayout dstImageLayout,
                          uint32_t regionCount, vk_array<VkImageResolve, 5> pRegions)
{
    vk_recording call{"vk_vkCmdResolveImage", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_srcImage", srcImage, "srcImageLayout",
               srcImageLayout, "target_dstImage", dstImage, "dstImageLayout", dstImageLayout, "regionCount",
               regionCount, "pRegions_ptr", pRegions.address);
    call.record<&vk::vkCmdResolveImage>(srcImage, srcImageLayout, dstImage, dstImageLayout, pRegions.count,
                                        pRegions);
}

void vk_vkCmdCopyBufferToImage(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer srcBuffer,
                               VkImage dstImage, VkImageLayout dstImageLayout, uint32_t regionCount,
                               vk_array<VkBufferImageCopy, 4> pRegions)
{
    vk_recording call{"vk_vkCmdCopyBufferToImage", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_srcBuffer", srcBuffer, "target_dstImage",
               dstImage, "dstImageLayout", dstImageLayout, "regionCount", regionCount, "pRegions_ptr",
               pRegions.address);
    if (auto* data = call.begin()) {
        if (vk_decode_astc_source(call, data, srcBuffer, dstImage, pRegions.data, &pRegions.count))
            call.record<&vk::vkCmdCopyBufferToImage>(srcBuffer, dstImage, dstImageLayout, pRegions.count,
                                                     pRegions);
    }
}

void vk_vkCmdCopyImageToBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkImage srcImage,
                               VkImageLayout srcImageLayout, VkBuffer dstBuffer, uint32_t regionCount,
                               vk_array<VkBufferImageCopy, 4> pRegions)
{
    vk_recording call{"vk_vkCmdCopyImageToBuffer", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_srcImage", srcImage, "srcImageLayout",
               srcImageLayout, "target_dstBuffer", dstBuffer, "regionCount", regionCount, "pRegions_ptr",
               pRegions.address);
    call.record<&vk::vkCmdCopyImageToBuffer>(srcImage, srcImageLayout, dstBuffer, pRegions.count, pRegions);
}

void vk_vkCmdUpdateBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer dstBuffer,
                          VkDeviceSize dstOffset, VkDeviceSize dataSize, vk_bytes<3> pData)
{
    vk_recording call{"vk_vkCmdUpdateBuffer", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_dstBuffer", dstBuffer, "dstOffset", dstOffset,
               "dataSize", dataSize, "pData_ptr", pData.address);
    if (auto* data = call.begin())
        call.need(vk_holds(data, dstBuffer, dstOffset, pData.size), beyond_buffer);
    call.record<&vk::vkCmdUpdateBuffer>(dstBuffer, dstOffset, pData.size, pData);
}

void vk_vkCmdFillBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkBuffer dstBuffer,
                        VkDeviceSize dstOffset, VkDeviceSize size, uint32_t data)
{
    vk_recording call{"vk_vkCmdFillBuffer", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_dstBuffer", dstBuffer, "dstOffset", dstOffset,
               "size", size, "data", data);
    if (auto* data = call.begin())
        call.need(vk_holds(data, dstBuffer, dstOffset, size == VK_WHOLE_SIZE ? 0 : size), beyond_buffer);
    call.record<&vk::vkCmdFillBuffer>(dstBuffer, dstOffset, size, data);
}

void vk_vkCmdClearColorImage(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkImage image,
                             VkImageLayout imageLayout, vk_fixed<VkClearColorValue, 1> pColor,
                             uint32_t rangeCount, vk_array<VkImageSubresourceRange, 4> pRanges)
{
    vk_recording call{"vk_vkCmdClearColorImage", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_image", image, "imageLayout", imageLayout,
               "pColor_ptr", pColor.address, "rangeCount", rangeCount, "pRanges_ptr", pRanges.address);
    call.record<&vk::vkCmdClearColorImage>(image, imageLayout, pColor, pRanges.count, pRanges);
}

void vk_vkCmdClearDepthStencilImage(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkImage image,
                                    VkImageLayout imageLayout,
                                    vk_struct<VkClearDepthStencilValue> pDepthStencil, uint32_t rangeCount,
                                    vk_array<VkImageSubresourceRange, 4> pRanges)
{
    vk_recording call{"vk_vkCmdClearDepthStencilImage", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_image", image, "imageLayout", imageLayout,
               "pDepthStencil_ptr", pDepthStencil.address, "rangeCount", rangeCount, "pRanges_ptr",
               pRanges.address);
    call.record<&vk::vkCmdClearDepthStencilImage>(image, imageLayout, pDepthStencil, pRanges.count, pRanges);
}

void vk_vkCmdClearAttachments(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t attachmentCount,
                              vk_array<VkClearAttachment, 1> pAttachments, uint32_t rectCount,
                              vk_array<VkClearRect, 3> pRects)
{
    vk_recording call{"vk_vkCmdClearAttachments", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "attachmentCount", attachmentCount, "pAttachments_ptr",
               pAttachments.address, "rectCount", rectCount, "pRects_ptr", pRects.address);
    call.need_pass();
    call.record<&vk::vkCmdClearAttachments>(pAttachments.count, pAttachments, pRects.count, pRects);
}
