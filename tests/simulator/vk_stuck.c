/* A Vulkan application whose queue waits for an event that it never sets, which no driver can bring to an end
 * by itself. vk_stuck idle|destroy|kill */
#include "vk_common.h"

#include <signal.h>
#include <stdio.h>
#include <string.h>

int main(int count, char** arguments)
{
    const char* const then = count > 1 ? arguments[1] : "idle";
    struct gpu gpu = open_gpu();
    const VkEventCreateInfo info = {.sType = VK_STRUCTURE_TYPE_EVENT_CREATE_INFO};
    VkEvent event = VK_NULL_HANDLE;
    VK(vkCreateEvent(gpu.device, &info, NULL, &event));
    const VkCommandBuffer commands = begin_commands(&gpu);
    vkCmdWaitEvents(commands, 1, &event, VK_PIPELINE_STAGE_HOST_BIT, VK_PIPELINE_STAGE_ALL_COMMANDS_BIT, 0,
                    NULL, 0, NULL, 0, NULL);
    VK(vkEndCommandBuffer(commands));
    const VkSubmitInfo submission = {
        .sType = VK_STRUCTURE_TYPE_SUBMIT_INFO, .commandBufferCount = 1, .pCommandBuffers = &commands};
    VK(vkQueueSubmit(gpu.queue, 1, &submission, VK_NULL_HANDLE));
    /* What waits in a batch goes with this one. */
    printf("event: %d\n", vkGetEventStatus(gpu.device, event));
    fflush(stdout);
    if (strcmp(then, "kill") == 0)
        raise(SIGKILL);
    if (strcmp(then, "idle") == 0)
        VK(vkQueueWaitIdle(gpu.queue));
    close_gpu(&gpu);
    return 0;
}
