/* Times what Vulkan applications do often, as an application sees it: plain Vulkan 1.0, so that the same
 * program runs straight on a driver and as a target. Prints "subject nanoseconds", a line each; scripts/bench
 * --vulkan makes a table.
 *
 *     vk_calls [SUBJECT...]     all unless some are named
 *
 * Of some turns the fastest counts: what a busy machine takes is no cost of a call.
 * Commands are timed until their command buffer has ended and a call behind it has come back, so that nothing
 * of them is under way any more, submissions and kernels until a fence is signalled.
 */

#include "vk_drawing.h"

#include "iterate.comp.h"
#include "triangle.frag.h"
#include "triangle.vert.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

enum
{
    commands_count = 10000,
    submissions = 1000,
    mapped_bytes = 64 << 20,
    kernel_numbers = 64 * 512,
    kernel_steps = 65000, /* some drivers end loops at 65535 */
    side = 64,
    turns = 3
};

struct scene
{
    struct gpu gpu;
    struct canvas canvas;
    VkPipelineLayout layout;
    VkPipeline pipeline;
    struct kernel kernel;
    struct buffer numbers;
    struct image image;
    VkDeviceMemory mapped;
    VkCommandBuffer recorded; /* is recorded again and again */
    VkCommandBuffer small[submissions];
    VkFence fence;
};

static double now(void)
{
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec * 1e9 + (double)time.tv_nsec;
}

static void allocate(const struct gpu* gpu, uint32_t count, VkCommandBuffer* to)
{
    const VkCommandBufferAllocateInfo info = {.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO,
                                              .commandPool = gpu->pool,
                                              .level = VK_COMMAND_BUFFER_LEVEL_PRIMARY,
                                              .commandBufferCount = count};
    VK(vkAllocateCommandBuffers(gpu->device, &info, to));
}

static void begin(VkCommandBuffer commands)
{
    const VkCommandBufferBeginInfo info = {.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO};
    VK(vkBeginCommandBuffer(commands, &info));
}

static void submit(const struct scene* s, uint32_t count, const VkCommandBuffer* commands, VkFence fence)
{
    const VkSubmitInfo info = {
        .sType = VK_STRUCTURE_TYPE_SUBMIT_INFO, .commandBufferCount = count, .pCommandBuffers = commands};
    VK(vkQueueSubmit(s->gpu.queue, 1, &info, fence));
}

static void wait_for_fence(const struct scene* s)
{
    VK(vkWaitForFences(s->gpu.device, 1, &s->fence, VK_TRUE, UINT64_MAX));
    VK(vkResetFences(s->gpu.device, 1, &s->fence));
}

static void prepare(struct scene* s)
{
    s->gpu = open_gpu();
    const struct gpu* gpu = &s->gpu;
    s->canvas = open_canvas(gpu, side, side);
    const VkPushConstantRange ranges[] = {{VK_SHADER_STAGE_VERTEX_BIT, 0, 16},
                                          {VK_SHADER_STAGE_FRAGMENT_BIT, 16, 16}};
    s->layout = make_layout(gpu, 0, NULL, COUNT(ranges), ranges);
    struct pipeline_parts parts;
    plain_parts(&parts, s->layout, s->canvas.pass, s->canvas.extent);
    add_stage(&parts, VK_SHADER_STAGE_VERTEX_BIT, SHADER(gpu, triangle_vert));
    add_stage(&parts, VK_SHADER_STAGE_FRAGMENT_BIT, SHADER(gpu, triangle_frag));
    s->pipeline = make_pipeline(gpu, &parts);
    free_stages(gpu, &parts);

    const VkDescriptorType storage = VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
    s->numbers = make_buffer(gpu, kernel_numbers * 4,
                             VK_BUFFER_USAGE_STORAGE_BUFFER_BIT | VK_BUFFER_USAGE_TRANSFER_DST_BIT, NULL);
    s->kernel = make_kernel(gpu, SHADER(gpu, iterate_comp), 1, &storage, 4);
    write_buffer(gpu, s->kernel.set, 0, storage, &s->numbers, 0, VK_WHOLE_SIZE);
    s->image = make_image(gpu, VK_FORMAT_R8G8B8A8_UNORM, side, side, VK_IMAGE_USAGE_STORAGE_BIT);

    const VkMemoryRequirements needs = {mapped_bytes, 64, UINT32_MAX};
    s->mapped = make_memory(gpu, &needs, VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT);
    allocate(gpu, 1, &s->recorded);
    allocate(gpu, submissions, s->small);
    for (int i = 0; i < submissions; ++i) {
        begin(s->small[i]);
        vkCmdFillBuffer(s->small[i], s->numbers.handle, 0, 64, (uint32_t)i);
        VK(vkEndCommandBuffer(s->small[i]));
    }
    const VkFenceCreateInfo fence = {.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO};
    VK(vkCreateFence(gpu->device, &fence, NULL, &s->fence));
}

/* The queue has nothing to do. */
static void end_recording(const struct scene* s)
{
    VK(vkEndCommandBuffer(s->recorded));
    VK(vkQueueWaitIdle(s->gpu.queue));
}

static void begin_draws(const struct scene* s)
{
    begin(s->recorded);
    begin_pass(s->recorded, &s->canvas, VK_SUBPASS_CONTENTS_INLINE);
    vkCmdBindPipeline(s->recorded, VK_PIPELINE_BIND_POINT_GRAPHICS, s->pipeline);
    const float white[4] = {1, 1, 1, 1};
    vkCmdPushConstants(s->recorded, s->layout, VK_SHADER_STAGE_FRAGMENT_BIT, 16, sizeof white, white);
}

static void push(const struct scene* s, int i)
{
    const float place[4] = {0, 0, (float)i, 0.01f};
    vkCmdPushConstants(s->recorded, s->layout, VK_SHADER_STAGE_VERTEX_BIT, 0, sizeof place, place);
}

static void end_draws(const struct scene* s)
{
    vkCmdEndRenderPass(s->recorded);
    end_recording(s);
}

static void record_draws(struct scene* s)
{
    begin_draws(s);
    for (int i = 0; i < commands_count; ++i) {
        push(s, i);
        vkCmdDraw(s->recorded, 3, 1, 0, 0);
    }
    end_draws(s);
}

static void draw_frame(struct scene* s)
{
    record_draws(s);
    submit(s, 1, &s->recorded, s->fence);
    wait_for_fence(s);
}

static void submit_small(struct scene* s)
{
    for (int i = 0; i < submissions; ++i)
        submit(s, 1, &s->small[i], i + 1 < submissions ? VK_NULL_HANDLE : s->fence);
    wait_for_fence(s);
}

static void map_and_flush(struct scene* s)
{
    static int value;
    void* data;
    VK(vkMapMemory(s->gpu.device, s->mapped, 0, VK_WHOLE_SIZE, 0, &data));
    memset(data, ++value, mapped_bytes);
    const VkMappedMemoryRange range = {
        .sType = VK_STRUCTURE_TYPE_MAPPED_MEMORY_RANGE, .memory = s->mapped, .size = VK_WHOLE_SIZE};
    VK(vkFlushMappedMemoryRanges(s->gpu.device, 1, &range));
    vkUnmapMemory(s->gpu.device, s->mapped);
}

static void run_kernel(struct scene* s)
{
    const uint32_t steps = kernel_steps;
    begin(s->recorded);
    bind_kernel(s->recorded, &s->kernel);
    vkCmdPushConstants(s->recorded, s->kernel.layout, VK_SHADER_STAGE_COMPUTE_BIT, 0, 4, &steps);
    vkCmdDispatch(s->recorded, kernel_numbers / 64, 1, 1);
    VK(vkEndCommandBuffer(s->recorded));
    submit(s, 1, &s->recorded, s->fence);
    wait_for_fence(s);
}

static void record_plain_draws(struct scene* s)
{
    begin_draws(s);
    for (int i = 0; i < commands_count; ++i)
        vkCmdDraw(s->recorded, 3, 1, 0, 0);
    end_draws(s);
}

static void record_pushes(struct scene* s)
{
    begin_draws(s);
    for (int i = 0; i < commands_count; ++i)
        push(s, i);
    end_draws(s);
}

static void record_sets(struct scene* s)
{
    begin(s->recorded);
    for (int i = 0; i < commands_count; ++i)
        vkCmdBindDescriptorSets(s->recorded, VK_PIPELINE_BIND_POINT_COMPUTE, s->kernel.layout, 0, 1,
                                &s->kernel.set, 0, NULL);
    end_recording(s);
}

static void record_barriers(struct scene* s)
{
    begin(s->recorded);
    for (int i = 0; i < commands_count; ++i)
        change_layout(s->recorded, &s->image, VK_IMAGE_LAYOUT_GENERAL, VK_IMAGE_LAYOUT_GENERAL);
    end_recording(s);
}

static const struct
{
    const char* name;
    void (*run)(struct scene*);
    int parts; /* what is printed is the time of one */
} subjects[] = {
    {"record_10000_draws", record_draws, 1},
    {"draw_10000_and_wait", draw_frame, 1},
    {"submit_1000", submit_small, 1},
    {"map_write_flush_64M", map_and_flush, 1},
    {"compute_kernel", run_kernel, 1},
    {"vkCmdDraw", record_plain_draws, commands_count},
    {"vkCmdPushConstants", record_pushes, commands_count},
    {"vkCmdBindDescriptorSets", record_sets, commands_count},
    {"vkCmdPipelineBarrier", record_barriers, commands_count},
};

static double time_of(uint32_t subject, struct scene* s)
{
    double fastest = 0;
    for (int i = 0; i < turns; ++i) {
        const double start = now();
        subjects[subject].run(s);
        const double took = now() - start;
        if (i == 0 || took < fastest)
            fastest = took;
    }
    return fastest / subjects[subject].parts;
}

static int is_wanted(const char* name, int count, char** arguments)
{
    for (int i = 1; i < count; ++i)
        if (strcmp(arguments[i], name) == 0)
            return 1;
    return count == 1;
}

int main(int count, char** arguments)
{
    static struct scene s;
    prepare(&s);
    for (uint32_t i = 0; i < COUNT(subjects); ++i)
        if (is_wanted(subjects[i].name, count, arguments)) {
            printf("%s %.0f\n", subjects[i].name, time_of(i, &s));
            fflush(stdout);
        }
    return 0;
}
