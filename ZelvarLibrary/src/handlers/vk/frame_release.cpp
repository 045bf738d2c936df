// The way of a frame home: the finished image is copied into one that the host can read, and from there into
// the buffer of the target's window system.

#include "combiner.h"
#include "handlers/vk/linear_images.h"
#include "handlers/vk/plain_objects.h"
#include "handlers/vk/presentation_handlers.h"
#include "handlers/vk/queue_progress.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <vector>

using vk = sidechannel_vk_imports;

namespace {
constexpr VkImageSubresourceRange first_of_colour{VK_IMAGE_ASPECT_COLOR_BIT, 0, 1, 0, 1};

/// Fails the call with a host result; never with success.
bool fail(vk_handler& call, VkResult reason)
{
    call.result = reason == VK_SUCCESS ? VK_ERROR_INITIALIZATION_FAILED : reason;
    return false;
}

bool have_command_buffer(vk_handler& call, vk_device_record* data)
{
    if (data->swapchain_command_buffer)
        return true;
    VkCommandBufferAllocateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO;
    info.commandPool = data->swapchain_command_pool;
    info.level = VK_COMMAND_BUFFER_LEVEL_PRIMARY;
    info.commandBufferCount = 1;
    VkResult made = VK_ERROR_INITIALIZATION_FAILED;
    if (info.commandPool)
        made = call.host<&vk::vkAllocateCommandBuffers>(data->device, &info, &data->swapchain_command_buffer);
    if (made == VK_SUCCESS)
        return true;
    data->swapchain_command_buffer = VK_NULL_HANDLE;
    LOG_FATAL("Can't allocate command buffer for copying swapchain image.");
    return fail(call, made);
}

void record_barrier(vk_handler& call, VkCommandBuffer commands, VkImage image, VkAccessFlags from_access,
                    VkAccessFlags to_access, VkImageLayout from, VkImageLayout to)
{
    VkImageMemoryBarrier barrier{};
    barrier.sType = VK_STRUCTURE_TYPE_IMAGE_MEMORY_BARRIER;
    barrier.srcAccessMask = from_access;
    barrier.dstAccessMask = to_access;
    barrier.oldLayout = from;
    barrier.newLayout = to;
    barrier.srcQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
    barrier.dstQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED;
    barrier.image = image;
    barrier.subresourceRange = first_of_colour;
    constexpr VkPipelineStageFlags stage = VK_PIPELINE_STAGE_TRANSFER_BIT;
    call.host<&vk::vkCmdPipelineBarrier>(commands, stage, stage, 0u, 0u, nullptr, 0u, nullptr, 1u, &barrier);
}

void record_copy(vk_handler& call, VkCommandBuffer commands, VkImage from, VkImage to,
                 const VkExtent3D& extent)
{
    VkImageCopy region{};
    region.srcSubresource = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};
    region.dstSubresource = region.srcSubresource;
    region.extent = extent;
    call.host<&vk::vkCmdCopyImage>(commands, from, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, to,
                                   VK_IMAGE_LAYOUT_GENERAL, 1u, &region);
}

/// Copies the finished image on the host and waits for it. `fresh`: nothing was ever copied into `linear`.
bool copy_on_host(vk_handler& call, vk_device_record* data, VkQueue queue, const vk_entry_of<VkImage>& image,
                  const vk_linear_image& linear, bool fresh)
{
    VkCommandBuffer commands = data->swapchain_command_buffer;
    VkCommandBufferBeginInfo begin{};
    begin.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO;
    VkResult done = call.host<&vk::vkResetCommandBuffer>(commands, 0u);
    if (done == VK_SUCCESS)
        done = call.host<&vk::vkBeginCommandBuffer>(commands, &begin);
    if (done != VK_SUCCESS) {
        LOG_FATAL("Can't begin command buffer for copying swapchain image.");
        return fail(call, done);
    }
    if (fresh)
        record_barrier(call, commands, linear.image, 0, VK_ACCESS_TRANSFER_WRITE_BIT,
                       VK_IMAGE_LAYOUT_UNDEFINED, VK_IMAGE_LAYOUT_GENERAL);
    record_barrier(call, commands, image.host, VK_ACCESS_MEMORY_READ_BIT, VK_ACCESS_TRANSFER_READ_BIT,
                   VK_IMAGE_LAYOUT_PRESENT_SRC_KHR, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
    record_copy(call, commands, image.host, linear.image, image.create_info.extent);
    // The application finds the image in the layout in which it has handed it over.
    record_barrier(call, commands, image.host, VK_ACCESS_TRANSFER_READ_BIT, VK_ACCESS_MEMORY_READ_BIT,
                   VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL, VK_IMAGE_LAYOUT_PRESENT_SRC_KHR);

    VkSubmitInfo submit{};
    submit.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO;
    submit.commandBufferCount = 1;
    submit.pCommandBuffers = &commands;
    done = call.host<&vk::vkEndCommandBuffer>(commands);
    if (done == VK_SUCCESS)
        done = call.host<&vk::vkQueueSubmit>(queue, 1u, &submit, VkFence{});
    if (done != VK_SUCCESS) {
        LOG_FATAL("Can't submit queue for copying swapchain image.");
        return fail(call, done);
    }
    done = call.host<&vk::vkQueueWaitIdle>(queue);
    if (done == VK_SUCCESS)
        return true;
    LOG_FATAL("Can't wait queue idle for copying swapchain image.");
    return fail(call, done);
}

void report_other_size(uint64_t host_size, uint32_t target_size)
{
    static std::atomic<bool> said{false};
    if (host_size != target_size && !said.exchange(true))
        LOG_WARN("vkQueueSignalReleaseImageANDROID(): frame buffer size mismatch between host and target. "
                 "Host_size=[%d], target_size=[%d]",
                 static_cast<int>(host_size), static_cast<int>(target_size));
}

/// Reads the target's buffer, which keeps the target's mapping in step.
void touch(const vk_handler& call, vk_device_record* data,
           const wire::winsys_buffer_vk_data_descriptor& buffer, uint64_t frame_size)
{
    const auto size = static_cast<uint32_t>(std::min<uint64_t>(buffer.length, frame_size));
    if (void* nowhere = size ? data->discarded.room(size) : nullptr)
        zelvar_shim_dispatch_read_from_shim_address_space(call.pid, call.tid, size,
                                                          target_ptr{buffer.framebuffer}, nowhere);
}

/// What a smaller image doesn't hold is 0 in the target.
bool combine(const vk_handler& call, buffer_info* info, const vk_linear_image& linear, uint64_t frame_size)
{
    const uint64_t held = std::min<uint64_t>(frame_size, linear.size - linear.offset);
    return combiner_of_lent_frame(call.pid, call.tid, info, linear.pixels, held);
}

bool deliver(vk_handler& call, vk_device_record* data, const vk_image_data& image,
             const vk_linear_image& linear)
{
    wire::winsys_buffer_vk_data_descriptor buffer{};
    zelvar_shim_dispatch_winsys_map_buffer_object_vk(call.pid, call.tid, image.native_buffer.handle, &buffer);
    report_other_size(linear.size, buffer.length);
    const VkExtent3D& extent = image.create_info.extent;
    const uint64_t size = uint64_t{extent.width} * extent.height * 4;
    bool whole = false;
    if (buffer.framebuffer) {
        buffer_info info;
        info.buffer = buffer.framebuffer;
        info.format = buffer.format;
        info.attributes = buffer.attributes;
        info.frameBufferLength = buffer.length;
        info.bits_per_pixel = 32;
        info.width = info.stride = extent.width;
        info.height = extent.height;
        touch(call, data, buffer, size);
        whole = combine(call, &info, linear, size);
    }
    if (buffer.mapped) {
        uint32_t unmapped = 0;
        zelvar_shim_dispatch_winsys_unmap_buffer_object(call.pid, call.tid, target_ptr{buffer.framebuffer},
                                                        buffer.length, &unmapped);
        if (!unmapped)
            LOG_ERROR("Target side has failed to unmap buffer [%p].",
                      reinterpret_cast<void*>(buffer.framebuffer));
    }
    return whole;
}
} // namespace

void vk_vkQueueSignalReleaseImageANDROID(pid_t pid, tid_t tid, VkQueue queue, uint32_t waitSemaphoreCount,
                                         vk_array<VkSemaphore, 1> pWaitSemaphores, VkImage image,
                                         vk_struct<int32_t> pNativeFenceFd, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkQueueSignalReleaseImageANDROID", pid, tid, target_result};
    call.trace("target_queue", queue, "waitSemaphoreCount", waitSemaphoreCount, "pWaitSemaphores_ptr",
               pWaitSemaphores.address, "target_image", image, "pNativeFenceFd_ptr", pNativeFenceFd.address);
    VkQueue host = VK_NULL_HANDLE;
    auto* data = call.lock_queue(queue, &host);
    if (!data || !vk_all_to_host(call, data, pWaitSemaphores))
        return;
    auto* entry = call.find(data, image);
    if (!entry)
        return;
    // Waiting for all that the queue does covers the semaphores.
    if (VkResult waited = vk_wait_for_queue(call, data, host); waited != VK_SUCCESS) {
        LOG_FATAL("Can't wait queue idle for AcquireNextImage.");
        fail(call, waited);
        return;
    }
    bool fresh = false;
    vk_linear_image* linear =
        have_command_buffer(call, data) ? vk_linear_image_for(call, data, *entry, &fresh) : nullptr;
    if (linear && copy_on_host(call, data, host, *entry, *linear, fresh))
        call.result = deliver(call, data, *entry, *linear) ? VK_SUCCESS : VK_ERROR_OUT_OF_HOST_MEMORY;
}
