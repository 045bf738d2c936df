/* A Vulkan application with a shader that never ends, which no driver can bring to an end. It says so before
 * it submits that. */
#include "vk_drawing.h"

#include "endless.comp.h"

#include <stdio.h>

int main(void)
{
    const VkDescriptorType storage = VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
    struct gpu gpu = open_gpu();
    struct buffer numbers = make_buffer(&gpu, 64, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, NULL);
    struct kernel kernel = make_kernel(&gpu, SHADER(&gpu, endless_comp), 1, &storage, 0);
    write_buffer(&gpu, kernel.set, 0, storage, &numbers, 0, VK_WHOLE_SIZE);
    const VkCommandBuffer commands = begin_commands(&gpu);
    bind_kernel(commands, &kernel);
    vkCmdDispatch(commands, 65535, 65535, 65535);
    printf("submitting\n");
    fflush(stdout);
    run_commands(&gpu, commands);
    close_gpu(&gpu);
    return 0;
}
