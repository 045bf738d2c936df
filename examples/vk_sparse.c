/* A buffer whose pages are bound one by one, in another order, and some not at all. Devices without sparse
 * binding say so. vk_sparse */

#include "vk_common.h"

#include <stdio.h>

static struct gpu gpu;

enum
{
    page_count = 4
};

static VkBuffer make_sparse_buffer(VkMemoryRequirements* needs)
{
    VkBufferCreateInfo info = {.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO,
                               .flags = VK_BUFFER_CREATE_SPARSE_BINDING_BIT |
                                        VK_BUFFER_CREATE_SPARSE_RESIDENCY_BIT,
                               .size = 65536,
                               .usage = VK_BUFFER_USAGE_TRANSFER_SRC_BIT | VK_BUFFER_USAGE_TRANSFER_DST_BIT};
    VkBuffer buffer = VK_NULL_HANDLE;
    VK(vkCreateBuffer(gpu.device, &info, NULL, &buffer));
    vkGetBufferMemoryRequirements(gpu.device, buffer, needs);
    vkDestroyBuffer(gpu.device, buffer, NULL);
    info.size = needs->alignment * page_count;
    VK(vkCreateBuffer(gpu.device, &info, NULL, &buffer));
    vkGetBufferMemoryRequirements(gpu.device, buffer, needs);
    return buffer;
}

static void bind_pages(VkBuffer buffer, VkDeviceMemory memory, VkDeviceSize page)
{
    const VkSparseMemoryBind binds[] = {{0, page, memory, page, 0}, {2 * page, page, memory, 0, 0}};
    const VkSparseBufferMemoryBindInfo of_buffer = {buffer, COUNT(binds), binds};
    const VkBindSparseInfo info = {
        .sType = VK_STRUCTURE_TYPE_BIND_SPARSE_INFO, .bufferBindCount = 1, .pBufferBinds = &of_buffer};
    const VkFenceCreateInfo fresh = {.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO};
    VkFence fence = VK_NULL_HANDLE;
    VK(vkCreateFence(gpu.device, &fresh, NULL, &fence));
    VK(vkQueueBindSparse(gpu.queue, 1, &info, fence));
    VK(vkWaitForFences(gpu.device, 1, &fence, VK_TRUE, 60000000000u));
    vkDestroyFence(gpu.device, fence, NULL);
}

static void pages(void)
{
    VkMemoryRequirements needs;
    const VkBuffer buffer = make_sparse_buffer(&needs);
    VkMemoryRequirements two = needs;
    two.size = 2 * needs.alignment;
    const VkDeviceMemory memory = make_memory(&gpu, &two, 0);
    bind_pages(buffer, memory, needs.alignment);
    struct buffer out = make_buffer(&gpu, 512, VK_BUFFER_USAGE_TRANSFER_DST_BIT, NULL);
    const VkBufferCopy copies[] = {{0, 0, 256}, {2 * needs.alignment, 256, 256}};
    const VkCommandBuffer commands = begin_commands(&gpu);
    vkCmdFillBuffer(commands, buffer, 0, 256, 0x11111111u);
    vkCmdFillBuffer(commands, buffer, 2 * needs.alignment, 256, 0x22222222u);
    wait_for_writes(commands, VK_PIPELINE_STAGE_TRANSFER_BIT, VK_ACCESS_TRANSFER_WRITE_BIT,
                    VK_PIPELINE_STAGE_TRANSFER_BIT, VK_ACCESS_TRANSFER_READ_BIT);
    vkCmdCopyBuffer(commands, buffer, out.handle, COUNT(copies), copies);
    run_commands(&gpu, commands);
    begin_sum();
    add_buffer(&gpu, &out);
    end_sum("pages of a buffer");
    free_buffer(&gpu, &out);
    vkDestroyBuffer(gpu.device, buffer, NULL);
    vkFreeMemory(gpu.device, memory, NULL);
}

int main(void)
{
    gpu = open_gpu();
    if (gpu.features.sparseResidencyBuffer &&
        (gpu.family_properties.queueFlags & VK_QUEUE_SPARSE_BINDING_BIT))
        pages();
    else
        printf("%-32s not supported\n", "pages of a buffer");
    close_gpu(&gpu);
    return 0;
}
