/* Order: events of host and device, fences alone and in groups, semaphores between submissions, and a second
 * queue where there is one. vk_sync */

#include "vk_common.h"

#include <stdio.h>

static struct gpu gpu;
static const uint64_t patience = 60000000000u; /* nanoseconds */

static void say(const char* subject, VkResult result)
{
    printf("%-32s %d\n", subject, (int)result);
}

static VkFence make_fence(VkFenceCreateFlags flags)
{
    const VkFenceCreateInfo info = {.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO, .flags = flags};
    VkFence fence = VK_NULL_HANDLE;
    VK(vkCreateFence(gpu.device, &info, NULL, &fence));
    return fence;
}

static VkEvent make_event(void)
{
    const VkEventCreateInfo info = {.sType = VK_STRUCTURE_TYPE_EVENT_CREATE_INFO};
    VkEvent event = VK_NULL_HANDLE;
    VK(vkCreateEvent(gpu.device, &info, NULL, &event));
    return event;
}

static void fences(void)
{
    VkFence all[] = {make_fence(0), make_fence(VK_FENCE_CREATE_SIGNALED_BIT), make_fence(0)};
    say("fresh fence", vkGetFenceStatus(gpu.device, all[0]));
    say("fence that begins signalled", vkGetFenceStatus(gpu.device, all[1]));
    say("wait for any", vkWaitForFences(gpu.device, COUNT(all), all, VK_FALSE, 1000));
    say("wait for all", vkWaitForFences(gpu.device, COUNT(all), all, VK_TRUE, 1000));
    say("wait for one, not at all", vkWaitForFences(gpu.device, 1, all, VK_TRUE, 0));
    VK(vkQueueSubmit(gpu.queue, 0, NULL, all[0]));
    const VkSubmitInfo nothing = {.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO};
    VK(vkQueueSubmit(gpu.queue, 1, &nothing, all[2]));
    say("all after empty submissions", vkWaitForFences(gpu.device, COUNT(all), all, VK_TRUE, patience));
    say("one of them", vkGetFenceStatus(gpu.device, all[2]));
    VK(vkResetFences(gpu.device, 2, all + 1));
    say("one that was not reset", vkGetFenceStatus(gpu.device, all[0]));
    say("one that was reset", vkGetFenceStatus(gpu.device, all[1]));
    for (uint32_t i = 0; i < COUNT(all); ++i)
        vkDestroyFence(gpu.device, all[i], NULL);
}

static void host_events(void)
{
    const VkEvent event = make_event();
    say("fresh event", vkGetEventStatus(gpu.device, event));
    VK(vkSetEvent(gpu.device, event));
    say("set event", vkGetEventStatus(gpu.device, event));
    VK(vkResetEvent(gpu.device, event));
    say("reset event", vkGetEventStatus(gpu.device, event));
    vkDestroyEvent(gpu.device, event, NULL);
}

static VkBufferMemoryBarrier after_copy(const struct buffer* buffer)
{
    const VkBufferMemoryBarrier barrier = {.sType = VK_STRUCTURE_TYPE_BUFFER_MEMORY_BARRIER,
                                           .srcAccessMask = VK_ACCESS_TRANSFER_WRITE_BIT,
                                           .dstAccessMask =
                                               VK_ACCESS_TRANSFER_READ_BIT | VK_ACCESS_TRANSFER_WRITE_BIT,
                                           .srcQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED,
                                           .dstQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED,
                                           .buffer = buffer->handle,
                                           .size = VK_WHOLE_SIZE};
    return barrier;
}

static const VkBufferUsageFlags both = VK_BUFFER_USAGE_TRANSFER_SRC_BIT | VK_BUFFER_USAGE_TRANSFER_DST_BIT;

/* The device waits for an event of the host, set before, and for one of its own, with barriers of all kinds.
 */
static void device_events(void)
{
    const VkEvent events[] = {make_event(), make_event(), make_event()};
    struct buffer words = make_buffer(&gpu, 64, both, NULL);
    struct image image = make_image(&gpu, VK_FORMAT_R8G8B8A8_UNORM, 4, 4,
                                    VK_IMAGE_USAGE_TRANSFER_SRC_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT);
    const VkImageMemoryBarrier to_target = {.sType = VK_STRUCTURE_TYPE_IMAGE_MEMORY_BARRIER,
                                            .dstAccessMask = VK_ACCESS_TRANSFER_WRITE_BIT,
                                            .oldLayout = VK_IMAGE_LAYOUT_UNDEFINED,
                                            .newLayout = VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL,
                                            .srcQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED,
                                            .dstQueueFamilyIndex = VK_QUEUE_FAMILY_IGNORED,
                                            .image = image.handle,
                                            .subresourceRange = whole_image(&image)};
    const VkMemoryBarrier memory = {.sType = VK_STRUCTURE_TYPE_MEMORY_BARRIER,
                                    .srcAccessMask = VK_ACCESS_HOST_WRITE_BIT,
                                    .dstAccessMask = VK_ACCESS_TRANSFER_READ_BIT};
    const VkBufferMemoryBarrier copied = after_copy(&words);
    const VkBufferCopy copy = {0, 20, 12};
    const VkBufferImageCopy in = {0, 0, 0, {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1}, {0, 0, 0}, {4, 4, 1}};
    VK(vkSetEvent(gpu.device, events[0]));
    const VkCommandBuffer commands = begin_commands(&gpu);
    vkCmdWaitEvents(commands, 1, events, VK_PIPELINE_STAGE_HOST_BIT, VK_PIPELINE_STAGE_TRANSFER_BIT, 1,
                    &memory, 0, NULL, 0, NULL);
    vkCmdFillBuffer(commands, words.handle, 0, 16, 0xabcdef01u);
    vkCmdSetEvent(commands, events[1], VK_PIPELINE_STAGE_TRANSFER_BIT);
    vkCmdSetEvent(commands, events[2], VK_PIPELINE_STAGE_TRANSFER_BIT);
    vkCmdWaitEvents(commands, 2, events + 1, VK_PIPELINE_STAGE_TRANSFER_BIT, VK_PIPELINE_STAGE_TRANSFER_BIT,
                    0, NULL, 1, &copied, 1, &to_target);
    vkCmdCopyBuffer(commands, words.handle, words.handle, 1, &copy);
    vkCmdPipelineBarrier(commands, VK_PIPELINE_STAGE_TRANSFER_BIT, VK_PIPELINE_STAGE_TRANSFER_BIT, 0, 0, NULL,
                         1, &copied, 0, NULL);
    vkCmdCopyBufferToImage(commands, words.handle, image.handle, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL, 1,
                           &in);
    change_layout(commands, &image, VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL,
                  VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
    vkCmdResetEvent(commands, events[2], VK_PIPELINE_STAGE_BOTTOM_OF_PIPE_BIT);
    run_commands(&gpu, commands);
    say("event of the host", vkGetEventStatus(gpu.device, events[0]));
    say("event of the device", vkGetEventStatus(gpu.device, events[1]));
    say("event that it reset", vkGetEventStatus(gpu.device, events[2]));
    begin_sum();
    add_image(&gpu, &image, NULL);
    end_sum("what came behind events");
    free_image(&gpu, &image);
    free_buffer(&gpu, &words);
    for (uint32_t i = 0; i < COUNT(events); ++i)
        vkDestroyEvent(gpu.device, events[i], NULL);
}

enum
{
    link_count = 6
};

/* Each link copies words one place on. */
static void record_link(VkCommandBuffer commands, const struct buffer* words, uint32_t link)
{
    const VkCommandBufferBeginInfo begin = {.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO};
    const VkBufferCopy copy = {64 * link, 64 * link + 64, 60};
    const VkBufferMemoryBarrier copied = after_copy(words);
    VK(vkBeginCommandBuffer(commands, &begin));
    vkCmdCopyBuffer(commands, words->handle, words->handle, 1, &copy);
    vkCmdPipelineBarrier(commands, VK_PIPELINE_STAGE_TRANSFER_BIT, VK_PIPELINE_STAGE_TRANSFER_BIT, 0, 0, NULL,
                         1, &copied, 0, NULL);
    vkCmdFillBuffer(commands, words->handle, 64 * link + 64, 4, link);
    VK(vkEndCommandBuffer(commands));
}

/* Odd links run on the other queue where there is one; the first three go in one call. */
static void submit_chain(const VkCommandBuffer* commands, const VkSemaphore* semaphores, VkFence fence)
{
    static const VkPipelineStageFlags stages[] = {VK_PIPELINE_STAGE_TRANSFER_BIT,
                                                  VK_PIPELINE_STAGE_ALL_COMMANDS_BIT};
    VkQueue other = gpu.queue;
    if (gpu.family_properties.queueCount > 1)
        vkGetDeviceQueue(gpu.device, gpu.family, 1, &other);
    VkSubmitInfo submits[link_count];
    for (uint32_t i = 0; i < link_count; ++i) {
        const VkSubmitInfo submit = {.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO,
                                     .waitSemaphoreCount = i ? 2 : 0,
                                     .pWaitSemaphores = i ? semaphores + 2 * (i - 1) : NULL,
                                     .pWaitDstStageMask = stages,
                                     .commandBufferCount = 1,
                                     .pCommandBuffers = &commands[i],
                                     .signalSemaphoreCount = i + 1 < link_count ? 2 : 0,
                                     .pSignalSemaphores = semaphores + 2 * i};
        submits[i] = submit;
    }
    VK(vkQueueSubmit(gpu.queue, 3, submits, VK_NULL_HANDLE));
    for (uint32_t i = 3; i < link_count; ++i)
        VK(vkQueueSubmit(i % 2 ? other : gpu.queue, 1, &submits[i],
                         i + 1 < link_count ? VK_NULL_HANDLE : fence));
}

static void semaphores(void)
{
    uint32_t start[16];
    for (uint32_t i = 0; i < COUNT(start); ++i)
        start[i] = i * 0x11223344u;
    struct buffer words = make_buffer(&gpu, 64 * (link_count + 1), both, NULL);
    set_buffer(&gpu, &words, 0, start, sizeof start);
    const VkCommandBufferAllocateInfo allocate = {.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO,
                                                  .commandPool = gpu.pool,
                                                  .commandBufferCount = link_count};
    VkCommandBuffer commands[link_count];
    VK(vkAllocateCommandBuffers(gpu.device, &allocate, commands));
    VkSemaphore between[2 * link_count];
    const VkSemaphoreCreateInfo info = {.sType = VK_STRUCTURE_TYPE_SEMAPHORE_CREATE_INFO};
    for (uint32_t i = 0; i < COUNT(between); ++i)
        VK(vkCreateSemaphore(gpu.device, &info, NULL, &between[i]));
    for (uint32_t i = 0; i < link_count; ++i)
        record_link(commands[i], &words, i);
    const VkFence fence = make_fence(0);
    for (int round = 0; round < 3; ++round) {
        submit_chain(commands, between, fence);
        VK(vkWaitForFences(gpu.device, 1, &fence, VK_TRUE, patience));
        VK(vkResetFences(gpu.device, 1, &fence));
        begin_sum();
        add_buffer(&gpu, &words);
        end_sum("chain of semaphores");
    }
    VK(vkDeviceWaitIdle(gpu.device));
    vkDestroyFence(gpu.device, fence, NULL);
    for (uint32_t i = 0; i < COUNT(between); ++i)
        vkDestroySemaphore(gpu.device, between[i], NULL);
    vkFreeCommandBuffers(gpu.device, gpu.pool, link_count, commands);
    free_buffer(&gpu, &words);
}

int main(void)
{
    gpu = open_gpu();
    fences();
    host_events();
    device_events();
    semaphores();
    close_gpu(&gpu);
    return 0;
}
