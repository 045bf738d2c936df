// Images in the window system's buffers, as a target's loader builds its swapchains from: the calls of
// VK_ANDROID_native_buffer. The way of a frame home is in frame_release.cpp.

#include "handlers/vk/plain_objects.h"
#include "handlers/vk/presentation_handlers.h"

void vk_vkGetSwapchainGrallocUsageANDROID(pid_t pid, tid_t tid, VkDevice device, VkFormat format,
                                          VkImageUsageFlags usage, vk_struct<int32_t> grallocUsage,
                                          result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetSwapchainGrallocUsageANDROID", pid, tid, target_result};
    call.trace("target_device", device, "format", format, "usage", usage, "grallocUsage_ptr",
               grallocUsage.address);
    if (call.lock(device)) // the usage is left as the target's driver has it
        call.result = VK_SUCCESS;
}

void vk_vkAcquireImageANDROID(pid_t pid, tid_t tid, VkDevice device, VkImage image, int32_t nativeFenceFd,
                              VkSemaphore semaphore, VkFence fence, result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkAcquireImageANDROID", pid, tid, target_result};
    call.trace("target_device", device, "target_image", image, "nativeFenceFd", nativeFenceFd,
               "target_semaphore", semaphore, "target_fence", fence);
    auto* data = call.lock(device);
    if (!data || !call.find(data, image))
        return;
    // The image is free already, as its release has waited for the host: both count as signalled from here
    // on.
    auto* semaphore_entry = semaphore ? call.find(data, semaphore) : nullptr;
    auto* fence_entry = fence ? call.find(data, fence) : nullptr;
    if (semaphore_entry)
        semaphore_entry->signalled_by_system = true;
    if (fence_entry)
        fence_entry->signalled_by_system = true;
    if ((!semaphore || semaphore_entry) && (!fence || fence_entry))
        call.result = VK_SUCCESS;
}
