/* Command buffers that are part of others, inside and outside of passes; recorded once and submitted often,
 * recorded again after resets of one and of a whole pool. vk_secondary [--pictures FOLDER] */

#include "vk_drawing.h"

#include "triangle.frag.h"
#include "triangle.vert.h"

static struct gpu gpu;
static struct canvas canvas;
static VkPipelineLayout layout;
static VkPipeline pipeline;

static void make_triangles(void)
{
    const VkPushConstantRange ranges[] = {{VK_SHADER_STAGE_VERTEX_BIT, 0, 16},
                                          {VK_SHADER_STAGE_FRAGMENT_BIT, 16, 16}};
    layout = make_layout(&gpu, 0, NULL, 2, ranges);
    struct pipeline_parts parts;
    plain_parts(&parts, layout, canvas.pass, canvas.extent);
    add_stage(&parts, VK_SHADER_STAGE_VERTEX_BIT, SHADER(&gpu, triangle_vert));
    add_stage(&parts, VK_SHADER_STAGE_FRAGMENT_BIT, SHADER(&gpu, triangle_frag));
    pipeline = make_pipeline(&gpu, &parts);
    free_stages(&gpu, &parts);
}

static void allocate(VkCommandPool pool, VkCommandBufferLevel level, uint32_t count, VkCommandBuffer* buffers)
{
    const VkCommandBufferAllocateInfo info = {.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO,
                                              .commandPool = pool,
                                              .level = level,
                                              .commandBufferCount = count};
    VK(vkAllocateCommandBuffers(gpu.device, &info, buffers));
}

static void begin_secondary(VkCommandBuffer commands, VkCommandBufferUsageFlags flags,
                            VkFramebuffer framebuffer)
{
    const int inside = (flags & VK_COMMAND_BUFFER_USAGE_RENDER_PASS_CONTINUE_BIT) != 0;
    const VkCommandBufferInheritanceInfo inherited = {.sType =
                                                          VK_STRUCTURE_TYPE_COMMAND_BUFFER_INHERITANCE_INFO,
                                                      .renderPass = inside ? canvas.pass : VK_NULL_HANDLE,
                                                      .framebuffer = framebuffer};
    const VkCommandBufferBeginInfo info = {
        .sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO, .flags = flags, .pInheritanceInfo = &inherited};
    VK(vkBeginCommandBuffer(commands, &info));
}

static void begin_primary(VkCommandBuffer commands, VkCommandBufferUsageFlags flags)
{
    const VkCommandBufferBeginInfo info = {.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO,
                                           .flags = flags};
    VK(vkBeginCommandBuffer(commands, &info));
}

/* A triangle in a secondary buffer, which knows the framebuffer or doesn't. */
static void record_triangle(VkCommandBuffer commands, int number)
{
    const float place[] = {(float)number * 0.3f - 0.6f, 0, (float)number, 0.6f, 1, 1, (float)(number % 2), 1};
    begin_secondary(commands,
                    VK_COMMAND_BUFFER_USAGE_RENDER_PASS_CONTINUE_BIT |
                        VK_COMMAND_BUFFER_USAGE_SIMULTANEOUS_USE_BIT,
                    number % 2 ? canvas.framebuffer : VK_NULL_HANDLE);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline);
    vkCmdPushConstants(commands, layout, VK_SHADER_STAGE_VERTEX_BIT, 0, 16, place);
    vkCmdPushConstants(commands, layout, VK_SHADER_STAGE_FRAGMENT_BIT, 16, 16, place + 4);
    vkCmdDraw(commands, 3, 1, 0, 0);
    VK(vkEndCommandBuffer(commands));
}

enum
{
    triangle_count = 5
};

static void inside_passes(void)
{
    VkCommandBuffer triangles[triangle_count], primaries[2];
    allocate(gpu.pool, VK_COMMAND_BUFFER_LEVEL_SECONDARY, triangle_count, triangles);
    allocate(gpu.pool, VK_COMMAND_BUFFER_LEVEL_PRIMARY, 2, primaries);
    for (int i = 0; i < triangle_count; ++i)
        record_triangle(triangles[i], i);
    begin_primary(primaries[0], 0);
    begin_pass(primaries[0], &canvas, VK_SUBPASS_CONTENTS_SECONDARY_COMMAND_BUFFERS);
    vkCmdExecuteCommands(primaries[0], 3, triangles + 1);
    vkCmdExecuteCommands(primaries[0], 1, triangles);
    vkCmdEndRenderPass(primaries[0]);
    VK(vkEndCommandBuffer(primaries[0]));
    for (int i = 0; i < 2; ++i) {
        submit_and_wait(&gpu, primaries[0]);
        print_canvas(&gpu, &canvas, i ? "four, submitted again" : "four in a pass");
    }
    begin_primary(primaries[1], VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT);
    begin_pass(primaries[1], &canvas, VK_SUBPASS_CONTENTS_SECONDARY_COMMAND_BUFFERS);
    vkCmdExecuteCommands(primaries[1], triangle_count, triangles);
    vkCmdEndRenderPass(primaries[1]);
    VK(vkEndCommandBuffer(primaries[1]));
    submit_and_wait(&gpu, primaries[1]);
    print_canvas(&gpu, &canvas, "the same in another buffer");
    vkFreeCommandBuffers(gpu.device, gpu.pool, triangle_count, triangles);
    vkFreeCommandBuffers(gpu.device, gpu.pool, 2, primaries);
}

/* Each adds its part to a buffer of words. */
static void record_part(VkCommandBuffer commands, const struct buffer* words, uint32_t number)
{
    begin_secondary(commands, number % 2 ? VK_COMMAND_BUFFER_USAGE_SIMULTANEOUS_USE_BIT : 0, VK_NULL_HANDLE);
    const VkBufferCopy copy = {16 * number, 16 * number + 16, 12};
    vkCmdFillBuffer(commands, words->handle, 16 * number, 16, 0x01010101u * number);
    wait_for_writes(commands, VK_PIPELINE_STAGE_TRANSFER_BIT, VK_ACCESS_TRANSFER_WRITE_BIT,
                    VK_PIPELINE_STAGE_TRANSFER_BIT,
                    VK_ACCESS_TRANSFER_READ_BIT | VK_ACCESS_TRANSFER_WRITE_BIT);
    vkCmdCopyBuffer(commands, words->handle, words->handle, 1, &copy);
    wait_for_writes(commands, VK_PIPELINE_STAGE_TRANSFER_BIT, VK_ACCESS_TRANSFER_WRITE_BIT,
                    VK_PIPELINE_STAGE_TRANSFER_BIT,
                    VK_ACCESS_TRANSFER_READ_BIT | VK_ACCESS_TRANSFER_WRITE_BIT);
    VK(vkEndCommandBuffer(commands));
}

static void print_words(const struct buffer* words, const char* subject)
{
    begin_sum();
    add_buffer(&gpu, words);
    end_sum(subject);
}

static void outside_passes(void)
{
    struct buffer words =
        make_buffer(&gpu, 256, VK_BUFFER_USAGE_TRANSFER_SRC_BIT | VK_BUFFER_USAGE_TRANSFER_DST_BIT, NULL);
    VkCommandBuffer parts[4];
    allocate(gpu.pool, VK_COMMAND_BUFFER_LEVEL_SECONDARY, COUNT(parts), parts);
    for (uint32_t i = 0; i < COUNT(parts); ++i)
        record_part(parts[i], &words, i * 3 + 1);
    const VkCommandBuffer again[] = {parts[0], parts[2], parts[0]};
    VkCommandBuffer commands = begin_commands(&gpu);
    vkCmdExecuteCommands(commands, COUNT(parts), parts);
    run_commands(&gpu, commands);
    print_words(&words, "four outside of passes");
    VK(vkResetCommandBuffer(parts[0], VK_COMMAND_BUFFER_RESET_RELEASE_RESOURCES_BIT));
    record_part(parts[0], &words, 5);
    record_part(parts[2], &words, 9); /* beginning resets */
    commands = begin_commands(&gpu);
    vkCmdExecuteCommands(commands, COUNT(again), again);
    run_commands(&gpu, commands);
    print_words(&words, "recorded again");
    vkFreeCommandBuffers(gpu.device, gpu.pool, COUNT(parts), parts);
    free_buffer(&gpu, &words);
}

/* A pool of short-lived buffers, all of which are reset at once; in the end it goes with its buffers. */
static void pool_resets(void)
{
    const VkCommandPoolCreateInfo info = {.sType = VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO,
                                          .flags = VK_COMMAND_POOL_CREATE_TRANSIENT_BIT,
                                          .queueFamilyIndex = gpu.family};
    VkCommandPool pool = VK_NULL_HANDLE;
    VK(vkCreateCommandPool(gpu.device, &info, NULL, &pool));
    VkCommandBuffer buffers[10];
    allocate(pool, VK_COMMAND_BUFFER_LEVEL_PRIMARY, COUNT(buffers), buffers);
    struct buffer words = make_buffer(&gpu, 64, VK_BUFFER_USAGE_TRANSFER_DST_BIT, NULL);
    begin_sum();
    for (uint32_t round = 0; round < 3; ++round) {
        for (uint32_t i = 0; i < COUNT(buffers); ++i) {
            begin_primary(buffers[i], 0);
            vkCmdFillBuffer(buffers[i], words.handle, 4 * i, 4, i * 1000 + round);
            VK(vkEndCommandBuffer(buffers[i]));
        }
        const VkSubmitInfo submits[] = {
            {.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO, .commandBufferCount = 4, .pCommandBuffers = buffers},
            {.sType = VK_STRUCTURE_TYPE_SUBMIT_INFO,
             .commandBufferCount = COUNT(buffers) - 5,
             .pCommandBuffers = buffers + 4}};
        VK(vkQueueSubmit(gpu.queue, COUNT(submits), submits, VK_NULL_HANDLE));
        VK(vkQueueWaitIdle(gpu.queue));
        add_buffer(&gpu, &words);
        VK(vkResetCommandPool(gpu.device, pool,
                              round == 1 ? VK_COMMAND_POOL_RESET_RELEASE_RESOURCES_BIT : 0));
    }
    end_sum("pool resets");
    vkFreeCommandBuffers(gpu.device, pool, 3, buffers + 2);
    vkDestroyCommandPool(gpu.device, pool, NULL);
    free_buffer(&gpu, &words);
}

int main(int count, char** arguments)
{
    take_options(count, arguments);
    gpu = open_gpu();
    canvas = open_canvas(&gpu, 128, 96);
    make_triangles();
    inside_passes();
    outside_passes();
    pool_resets();
    vkDestroyPipeline(gpu.device, pipeline, NULL);
    vkDestroyPipelineLayout(gpu.device, layout, NULL);
    close_canvas(&gpu, &canvas);
    close_gpu(&gpu);
    return 0;
}
