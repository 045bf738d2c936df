// Recording of copies, blits, clears and fills.

#include "handlers/vk/astc_upload.h"
#include "handlers/vk/command_handlers.h"
#include "handlers/vk/image_bounds.h"
#include "handlers/vk/recording.h"

using vk = sidechannel_vk_imports;

namespace {
constexpr const char* beyond_buffer = "the range isn't all in the buffer, or it has no memory";
constexpr const char* beyond_image = "a region isn't all in the image, or it has no memory";
constexpr const char* beyond_either = "a region isn't all in the image or the buffer, or one has no memory";

/// Regions from image to image.
template <class Regions, class Can>
void need_regions(vk_recording& call, VkImage source, VkImage destination, const Regions& regions, Can can)
{
    auto* data = call.begin();
    if (!data)
        return;
    const vk_image_shape from = vk_shape_of(data, source);
    const vk_image_shape to = vk_shape_of(data, destination);
    for (uint32_t i = 0; i < regions.count; ++i)
        call.need(can(from, to, regions.data[i]), beyond_image);
}

/// Regions between an image and a buffer.
void need_regions(vk_recording& call, VkImage image, VkBuffer buffer,
                  const vk_array<VkBufferImageCopy, 4>& regions)
{
    auto* data = call.begin();
    if (!data)
        return;
    const vk_image_shape shape = vk_shape_of(data, image);
    auto* known = vk_known(data, buffer);
    call.need(vk_holds(data, buffer, 0, 0), beyond_either);
    for (uint32_t i = 0; i < regions.count; ++i)
        call.need(vk_can_copy(shape, known ? known->size : UINT64_MAX, regions.data[i]), beyond_either);
}

void need_ranges(vk_recording& call, VkImage image, const vk_array<VkImageSubresourceRange, 4>& ranges,
                 bool depth_stencil)
{
    auto* data = call.begin();
    if (!data)
        return;
    const vk_image_shape shape = vk_shape_of(data, image);
    for (uint32_t i = 0; i < ranges.count; ++i)
        call.need(vk_can_clear(shape, ranges.data[i], depth_stencil), beyond_image);
}
} // namespace

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
    need_regions(call, srcImage, dstImage, pRegions,
                 [](const auto& from, const auto& to, const VkImageCopy& region) {
                     return vk_can_copy(from, to, region);
                 });
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
    call.need(filter == VK_FILTER_NEAREST || filter == VK_FILTER_LINEAR, "there is no such filter");
    need_regions(call, srcImage, dstImage, pRegions, vk_can_blit);
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
    need_regions(call, srcImage, dstImage, pRegions, vk_can_resolve);
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
    auto* data = call.begin();
    if (!data || !vk_decode_astc_source(call, data, srcBuffer, dstImage, pRegions.data, &pRegions.count))
        return;
    need_regions(call, dstImage, srcBuffer, pRegions);
    call.record<&vk::vkCmdCopyBufferToImage>(srcBuffer, dstImage, dstImageLayout, pRegions.count, pRegions);
}

void vk_vkCmdCopyImageToBuffer(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, VkImage srcImage,
                               VkImageLayout srcImageLayout, VkBuffer dstBuffer, uint32_t regionCount,
                               vk_array<VkBufferImageCopy, 4> pRegions)
{
    vk_recording call{"vk_vkCmdCopyImageToBuffer", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "target_srcImage", srcImage, "srcImageLayout",
               srcImageLayout, "target_dstBuffer", dstBuffer, "regionCount", regionCount, "pRegions_ptr",
               pRegions.address);
    need_regions(call, srcImage, dstBuffer, pRegions);
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
    need_ranges(call, image, pRanges, false);
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
    need_ranges(call, image, pRanges, true);
    call.record<&vk::vkCmdClearDepthStencilImage>(image, imageLayout, pDepthStencil, pRanges.count, pRanges);
}

namespace {
/// The subpass has such attachments, and they hold the rectangles. What executes a secondary command buffer
/// has to have the layers that it needs.
void need_attachments(vk_recording& call, vk_command_state& now,
                      const vk_array<VkClearAttachment, 1>& attachments,
                      const vk_array<VkClearRect, 3>& rects)
{
    auto* subpass = now.pass.now();
    for (uint32_t i = 0; i < attachments.count; ++i) {
        const VkClearAttachment clear = attachments.data[i];
        const bool colour = clear.aspectMask == VK_IMAGE_ASPECT_COLOR_BIT;
        constexpr VkImageAspectFlags both = VK_IMAGE_ASPECT_DEPTH_BIT | VK_IMAGE_ASPECT_STENCIL_BIT;
        call.need((colour || (clear.aspectMask && !(clear.aspectMask & ~both))) &&
                      (!colour || clear.colorAttachment == VK_ATTACHMENT_UNUSED || !subpass ||
                       clear.colorAttachment < subpass->colours),
                  "the subpass has no such attachment");
    }
    const VkRect2D& area = now.pass.area;
    for (uint32_t i = 0; i < rects.count; ++i) {
        const VkClearRect clear = rects.data[i];
        const VkOffset2D& offset = clear.rect.offset;
        const VkExtent2D& extent = clear.rect.extent;
        call.need(
            offset.x >= area.offset.x && offset.y >= area.offset.y && clear.layerCount > 0 &&
                vk_within(static_cast<uint32_t>(offset.x - area.offset.x), extent.width, area.extent.width) &&
                vk_within(static_cast<uint32_t>(offset.y - area.offset.y), extent.height,
                          area.extent.height) &&
                vk_within(clear.baseArrayLayer, clear.layerCount, now.pass.layers),
            "the render area has no such rectangle");
        if (!call.refused())
            now.layers_needed = std::max(now.layers_needed, clear.baseArrayLayer + clear.layerCount);
    }
}
} // namespace

void vk_vkCmdClearAttachments(pid_t pid, tid_t tid, VkCommandBuffer commandBuffer, uint32_t attachmentCount,
                              vk_array<VkClearAttachment, 1> pAttachments, uint32_t rectCount,
                              vk_array<VkClearRect, 3> pRects)
{
    vk_recording call{"vk_vkCmdClearAttachments", pid, tid, commandBuffer};
    call.trace("target_command_buffer", commandBuffer, "attachmentCount", attachmentCount, "pAttachments_ptr",
               pAttachments.address, "rectCount", rectCount, "pRects_ptr", pRects.address);
    call.need_pass();
    if (auto* now = call.state())
        need_attachments(call, *now, pAttachments, pRects);
    call.record<&vk::vkCmdClearAttachments>(pAttachments.count, pAttachments, pRects.count, pRects);
}
