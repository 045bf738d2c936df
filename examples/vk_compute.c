/* Compute shaders: dispatches plain, from a buffer, in a chain with barriers; shared memory, atomic counters,
 * storage images. vk_compute [--pictures FOLDER] */

#include "vk_drawing.h"

#include "life.comp.h"
#include "spiral.comp.h"
#include "sums.comp.h"

#include <stdio.h>

static const VkDescriptorType storage = VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;

static void after_shader(VkCommandBuffer commands)
{
    wait_for_writes(commands, VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT, VK_ACCESS_SHADER_WRITE_BIT,
                    VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT | VK_PIPELINE_STAGE_DRAW_INDIRECT_BIT |
                        VK_PIPELINE_STAGE_TRANSFER_BIT,
                    VK_ACCESS_SHADER_READ_BIT | VK_ACCESS_SHADER_WRITE_BIT |
                        VK_ACCESS_INDIRECT_COMMAND_READ_BIT | VK_ACCESS_TRANSFER_READ_BIT);
}

/* Sums of groups in shared memory, and one of all by atomic addition. */
static void sums(const struct gpu* gpu)
{
    enum
    {
        groups = 37,
        size = 64
    };
    uint32_t numbers[groups * size];
    for (uint32_t i = 0; i < COUNT(numbers); ++i)
        numbers[i] = i * 2654435761u;
    struct buffer in = make_buffer(gpu, sizeof numbers, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, numbers);
    struct buffer out = make_buffer(gpu, groups * 4, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, NULL);
    struct buffer all = make_buffer(gpu, 16, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, NULL);
    const VkDescriptorType types[] = {storage, storage, storage};
    struct kernel kernel = make_kernel(gpu, SHADER(gpu, sums_comp), COUNT(types), types, 0);
    write_buffer(gpu, kernel.set, 0, storage, &in, 0, VK_WHOLE_SIZE);
    write_buffer(gpu, kernel.set, 1, storage, &out, 0, VK_WHOLE_SIZE);
    write_buffer(gpu, kernel.set, 2, storage, &all, 0, 16);
    const VkCommandBuffer commands = begin_commands(gpu);
    bind_kernel(commands, &kernel);
    vkCmdDispatch(commands, groups, 1, 1);
    run_commands(gpu, commands);
    begin_sum();
    add_buffer(gpu, &out);
    end_sum("sums of groups");
    begin_sum();
    add_buffer(gpu, &all);
    end_sum("sum of all");
    free_kernel(gpu, &kernel);
    free_buffer(gpu, &in);
    free_buffer(gpu, &out);
    free_buffer(gpu, &all);
}

enum
{
    side = 64
};

/* Two sets of one layout, which swap the two boards. */
static VkDescriptorSet other_way(const struct gpu* gpu, const struct kernel* kernel, VkDescriptorPool pool,
                                 const struct buffer* boards)
{
    write_buffer(gpu, kernel->set, 0, storage, boards, 0, VK_WHOLE_SIZE);
    write_buffer(gpu, kernel->set, 1, storage, boards + 1, 0, VK_WHOLE_SIZE);
    const VkDescriptorSet set = make_set(gpu, pool, kernel->set_layout);
    write_buffer(gpu, set, 0, storage, boards + 1, 0, VK_WHOLE_SIZE);
    write_buffer(gpu, set, 1, storage, boards, 0, VK_WHOLE_SIZE);
    return set;
}

/* Fifty generations of a cellular automaton in one submission; every other dispatch comes from a buffer. */
static void generations(const struct gpu* gpu)
{
    uint32_t start[side * side];
    for (uint32_t i = 0, random = 1; i < COUNT(start); ++i) {
        random = random * 1664525u + 1013904223u;
        start[i] = random >> 30 == 0;
    }
    static const VkDispatchIndirectCommand sizes[] = {{0, 0, 0}, {side / 8, side / 8, 1}};
    struct buffer boards[] = {make_buffer(gpu, sizeof start, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, start),
                              make_buffer(gpu, sizeof start, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, NULL)};
    struct buffer indirect = make_buffer(gpu, sizeof sizes, VK_BUFFER_USAGE_INDIRECT_BUFFER_BIT, sizes);
    const VkDescriptorType types[] = {storage, storage};
    struct kernel kernel = make_kernel(gpu, SHADER(gpu, life_comp), COUNT(types), types, 4);
    const VkDescriptorPoolSize size = {storage, 2};
    const VkDescriptorPool pool = make_pool(gpu, 1, 1, &size);
    const VkDescriptorSet sets[] = {kernel.set, other_way(gpu, &kernel, pool, boards)};
    const VkCommandBuffer commands = begin_commands(gpu);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_COMPUTE, kernel.pipeline);
    const uint32_t width = side;
    vkCmdPushConstants(commands, kernel.layout, VK_SHADER_STAGE_COMPUTE_BIT, 0, 4, &width);
    for (int i = 0; i < 50; ++i) {
        vkCmdBindDescriptorSets(commands, VK_PIPELINE_BIND_POINT_COMPUTE, kernel.layout, 0, 1, &sets[i % 2],
                                0, NULL);
        if (i % 2)
            vkCmdDispatchIndirect(commands, indirect.handle, sizeof *sizes);
        else
            vkCmdDispatch(commands, side / 8, side / 8, 1);
        after_shader(commands);
    }
    run_commands(gpu, commands);
    begin_sum();
    add_buffer(gpu, &boards[0]);
    add_buffer(gpu, &boards[1]);
    end_sum("fifty generations");
    vkDestroyDescriptorPool(gpu->device, pool, NULL);
    free_kernel(gpu, &kernel);
    free_buffer(gpu, &boards[0]);
    free_buffer(gpu, &boards[1]);
    free_buffer(gpu, &indirect);
}

static void storage_images(const struct gpu* gpu)
{
    struct image image = make_image(gpu, VK_FORMAT_R8G8B8A8_UNORM, 100, 80,
                                    VK_IMAGE_USAGE_STORAGE_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
    struct buffer counters = make_buffer(gpu, 64, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, NULL);
    const VkDescriptorType types[] = {VK_DESCRIPTOR_TYPE_STORAGE_IMAGE, storage};
    struct kernel kernel = make_kernel(gpu, SHADER(gpu, spiral_comp), COUNT(types), types, 16);
    write_image(gpu, kernel.set, 0, types[0], VK_NULL_HANDLE, image.view, VK_IMAGE_LAYOUT_GENERAL);
    write_buffer(gpu, kernel.set, 1, storage, &counters, 0, VK_WHOLE_SIZE);
    const VkCommandBuffer commands = begin_commands(gpu);
    change_layout(commands, &image, VK_IMAGE_LAYOUT_UNDEFINED, VK_IMAGE_LAYOUT_GENERAL);
    bind_kernel(commands, &kernel);
    for (uint32_t i = 0; i < 3; ++i) {
        const float constants[4] = {30.0f + 20.0f * (float)i, 40.0f, 12.0f + (float)i, (float)i};
        vkCmdPushConstants(commands, kernel.layout, VK_SHADER_STAGE_COMPUTE_BIT, 0, 12, constants);
        vkCmdPushConstants(commands, kernel.layout, VK_SHADER_STAGE_COMPUTE_BIT, 12, 4, constants + 3);
        vkCmdDispatch(commands, 13, 10, 1);
        after_shader(commands);
    }
    change_layout(commands, &image, VK_IMAGE_LAYOUT_GENERAL, VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL);
    run_commands(gpu, commands);
    begin_sum();
    add_image(gpu, &image, "storage image");
    end_sum("storage image");
    begin_sum();
    add_buffer(gpu, &counters);
    end_sum("atomic counters");
    free_kernel(gpu, &kernel);
    free_image(gpu, &image);
    free_buffer(gpu, &counters);
}

int main(int count, char** arguments)
{
    take_options(count, arguments);
    struct gpu gpu = open_gpu();
    sums(&gpu);
    generations(&gpu);
    storage_images(&gpu);
    close_gpu(&gpu);
    return 0;
}
