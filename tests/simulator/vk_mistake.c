/* A Vulkan application with a mistake that drivers take without harm and validation doesn't: a fence with a
 * flag that there isn't. */
#include "vk_common.h"

int main(void)
{
    struct gpu gpu = open_gpu();
    const VkFenceCreateInfo info = {.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO, .flags = 0x40};
    VkFence fence = VK_NULL_HANDLE;
    VK(vkCreateFence(gpu.device, &info, NULL, &fence));
    vkDestroyFence(gpu.device, fence, NULL);
    close_gpu(&gpu);
    return 0;
}
