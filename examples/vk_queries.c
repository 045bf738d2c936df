/* Queries: samples that passed, counts of the pipeline's stages, times; read as 32 and 64 bits, with and
 * without availability, and copied to buffers. Times are printed only as plausible or not. vk_queries */

#include "vk_drawing.h"

#include "triangle.frag.h"
#include "triangle.vert.h"

#include <stdio.h>
#include <string.h>

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

static VkQueryPool make_queries(VkQueryType type, uint32_t count, VkQueryPipelineStatisticFlags statistics)
{
    const VkQueryPoolCreateInfo info = {.sType = VK_STRUCTURE_TYPE_QUERY_POOL_CREATE_INFO,
                                        .queryType = type,
                                        .queryCount = count,
                                        .pipelineStatistics = statistics};
    VkQueryPool pool = VK_NULL_HANDLE;
    VK(vkCreateQueryPool(gpu.device, &info, NULL, &pool));
    return pool;
}

static void draw_triangle(VkCommandBuffer commands, int number)
{
    const float constants[] = {0, 0, (float)number, 0.25f * (float)number, 1, 1, 1, 1};
    vkCmdPushConstants(commands, layout, VK_SHADER_STAGE_VERTEX_BIT, 0, 16, constants);
    vkCmdPushConstants(commands, layout, VK_SHADER_STAGE_FRAGMENT_BIT, 16, 16, constants + 4);
    vkCmdDraw(commands, 3, (uint32_t)number, 0, 0);
}

enum
{
    query_count = 5
};

static void draw_queried(VkCommandBuffer commands, VkQueryPool pool, VkQueryControlFlags flags)
{
    vkCmdResetQueryPool(commands, pool, 0, query_count);
    begin_pass(commands, &canvas, VK_SUBPASS_CONTENTS_INLINE);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline);
    for (uint32_t i = 0; i + 1 < query_count; ++i) {
        vkCmdBeginQuery(commands, pool, i, flags);
        draw_triangle(commands, (int)i);
        vkCmdEndQuery(commands, pool, i);
    }
    vkCmdEndRenderPass(commands);
}

/* Results of all forms; the last query has only been reset. */
static void read_results(VkQueryPool pool, uint32_t values, const char* subject)
{
    const VkDeviceSize stride32 = (values + 3) * 4, stride64 = (values + 2) * 8;
    uint32_t narrow[query_count * 16];
    uint64_t wide[query_count * 16];
    memset(narrow, 0x55, sizeof narrow);
    memset(wide, 0x55, sizeof wide);
    VK(vkGetQueryPoolResults(gpu.device, pool, 0, 4, sizeof narrow, narrow, stride32,
                             VK_QUERY_RESULT_WAIT_BIT));
    VK(vkGetQueryPoolResults(gpu.device, pool, 1, 3, sizeof wide, wide, stride64,
                             VK_QUERY_RESULT_64_BIT | VK_QUERY_RESULT_WAIT_BIT |
                                 VK_QUERY_RESULT_WITH_AVAILABILITY_BIT));
    begin_sum();
    for (uint32_t i = 0; i < 4; ++i)
        add_bytes((const char*)narrow + i * stride32, values * 4);
    for (uint32_t i = 0; i < 3; ++i)
        add_bytes((const char*)wide + i * stride64, (values + 1) * 8);
    uint32_t last[16];
    memset(last, 0x55, sizeof last);
    const VkResult result = vkGetQueryPoolResults(gpu.device, pool, 4, 1, sizeof last, last, sizeof last,
                                                  VK_QUERY_RESULT_WITH_AVAILABILITY_BIT);
    check(result == VK_NOT_READY, "a query that has no result yet");
    add_number(last[values]);
    end_sum(subject);
}

static void copy_results(VkQueryPool pool, uint32_t values, const char* subject)
{
    struct buffer results = make_buffer(&gpu, 2048, VK_BUFFER_USAGE_TRANSFER_DST_BIT, NULL);
    const VkCommandBuffer commands = begin_commands(&gpu);
    vkCmdCopyQueryPoolResults(commands, pool, 0, 4, results.handle, 16, (values + 1) * 4,
                              VK_QUERY_RESULT_WAIT_BIT);
    vkCmdCopyQueryPoolResults(commands, pool, 1, 3, results.handle, 1024, (values + 3) * 8,
                              VK_QUERY_RESULT_WAIT_BIT | VK_QUERY_RESULT_64_BIT |
                                  VK_QUERY_RESULT_WITH_AVAILABILITY_BIT);
    run_commands(&gpu, commands);
    begin_sum();
    add_buffer(&gpu, &results);
    end_sum(subject);
    free_buffer(&gpu, &results);
}

static void occlusion(void)
{
    const VkQueryPool pool = make_queries(VK_QUERY_TYPE_OCCLUSION, query_count, 0);
    VkCommandBuffer commands = begin_commands(&gpu);
    draw_queried(commands, pool, gpu.features.occlusionQueryPrecise ? VK_QUERY_CONTROL_PRECISE_BIT : 0);
    run_commands(&gpu, commands);
    read_results(pool, 1, "samples that passed");
    copy_results(pool, 1, "samples, copied");
    print_canvas(&gpu, &canvas, "what was counted");
    vkDestroyQueryPool(gpu.device, pool, NULL);
}

static void statistics(void)
{
    if (!gpu.features.pipelineStatisticsQuery) {
        printf("%-32s not supported\n", "statistics");
        return;
    }
    const VkQueryPool pool = make_queries(VK_QUERY_TYPE_PIPELINE_STATISTICS, query_count,
                                          VK_QUERY_PIPELINE_STATISTIC_INPUT_ASSEMBLY_VERTICES_BIT |
                                              VK_QUERY_PIPELINE_STATISTIC_INPUT_ASSEMBLY_PRIMITIVES_BIT |
                                              VK_QUERY_PIPELINE_STATISTIC_CLIPPING_PRIMITIVES_BIT);
    const VkCommandBuffer commands = begin_commands(&gpu);
    draw_queried(commands, pool, 0);
    run_commands(&gpu, commands);
    read_results(pool, 3, "statistics");
    copy_results(pool, 3, "statistics, copied");
    vkDestroyQueryPool(gpu.device, pool, NULL);
}

static int plausible(uint64_t before, uint64_t after)
{
    const uint32_t bits = gpu.family_properties.timestampValidBits;
    const uint64_t mask = bits == 64 ? UINT64_MAX : (UINT64_C(1) << bits) - 1;
    const double seconds =
        (double)((after - before) & mask) * 1e-9 * (double)gpu.properties.limits.timestampPeriod;
    return (before & ~mask) == 0 && (after & ~mask) == 0 && seconds < 100;
}

static void times(void)
{
    if (!gpu.family_properties.timestampValidBits) {
        printf("%-32s not supported\n", "times");
        return;
    }
    const VkQueryPool pool = make_queries(VK_QUERY_TYPE_TIMESTAMP, 2, 0);
    struct buffer copied = make_buffer(&gpu, 16, VK_BUFFER_USAGE_TRANSFER_DST_BIT, NULL);
    const VkCommandBuffer commands = begin_commands(&gpu);
    vkCmdResetQueryPool(commands, pool, 0, 2);
    vkCmdWriteTimestamp(commands, VK_PIPELINE_STAGE_TOP_OF_PIPE_BIT, pool, 0);
    begin_pass(commands, &canvas, VK_SUBPASS_CONTENTS_INLINE);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline);
    for (int i = 0; i < 5; ++i)
        draw_triangle(commands, i);
    vkCmdEndRenderPass(commands);
    vkCmdWriteTimestamp(commands, VK_PIPELINE_STAGE_BOTTOM_OF_PIPE_BIT, pool, 1);
    vkCmdCopyQueryPoolResults(commands, pool, 0, 2, copied.handle, 0, 8,
                              VK_QUERY_RESULT_64_BIT | VK_QUERY_RESULT_WAIT_BIT);
    run_commands(&gpu, commands);
    uint64_t read[2], in_buffer[2];
    VK(vkGetQueryPoolResults(gpu.device, pool, 0, 2, sizeof read, read, 8,
                             VK_QUERY_RESULT_64_BIT | VK_QUERY_RESULT_WAIT_BIT));
    get_buffer(&gpu, &copied, 0, in_buffer, sizeof in_buffer);
    printf("%-32s %s, %s\n", "times", plausible(read[0], read[1]) ? "plausible" : "not plausible",
           memcmp(read, in_buffer, sizeof read) ? "other ones in the buffer" : "the same in the buffer");
    vkDestroyQueryPool(gpu.device, pool, NULL);
    free_buffer(&gpu, &copied);
}

int main(int count, char** arguments)
{
    take_options(count, arguments);
    gpu = open_gpu();
    canvas = open_canvas(&gpu, 128, 96);
    make_triangles();
    occlusion();
    statistics();
    times();
    vkDestroyPipeline(gpu.device, pipeline, NULL);
    vkDestroyPipelineLayout(gpu.device, layout, NULL);
    close_canvas(&gpu, &canvas);
    close_gpu(&gpu);
    return 0;
}
