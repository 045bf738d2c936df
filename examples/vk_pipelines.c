/* Pipelines: several made in one call, from a cache and into it, out of the parts of another, and with
 * numbers that shaders are told only then. vk_pipelines [--pictures FOLDER] */

#include "vk_drawing.h"

#include "constants.comp.h"
#include "patterns.frag.h"
#include "screen.vert.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static struct gpu gpu;
static struct canvas canvas;
static VkPipelineLayout layout;

static VkPipelineCache make_cache(size_t size, const void* data)
{
    const VkPipelineCacheCreateInfo info = {
        .sType = VK_STRUCTURE_TYPE_PIPELINE_CACHE_CREATE_INFO, .initialDataSize = size, .pInitialData = data};
    VkPipelineCache cache = VK_NULL_HANDLE;
    VK(vkCreatePipelineCache(gpu.device, &info, NULL, &cache));
    return cache;
}

static void draw(VkPipeline pipeline, const char* subject)
{
    const VkCommandBuffer commands = begin_commands(&gpu);
    begin_pass(commands, &canvas, VK_SUBPASS_CONTENTS_INLINE);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline);
    vkCmdDraw(commands, 3, 1, 0, 0);
    vkCmdEndRenderPass(commands);
    run_commands(&gpu, commands);
    print_canvas(&gpu, &canvas, subject);
}

struct pattern
{
    float scale;
    int32_t unused, pattern;
};
static const VkSpecializationMapEntry pattern_entries[] = {{4, 8, 4}, {5, 0, 4}};
static const struct pattern patterns[] = {{8, 0, 1}, {5, 0, 2}, {11, 0, 0}};
enum
{
    pattern_count = 3
};

/* One with the shader's own numbers, one that derives from it in the same call, one from an older pipeline.
 */
static void make_patterns(VkPipelineCache cache, VkPipeline base, VkPipeline* made)
{
    static const VkSpecializationInfo constants[] = {
        {2, pattern_entries, sizeof(struct pattern), &patterns[0]},
        {2, pattern_entries, sizeof(struct pattern), &patterns[1]},
        {1, pattern_entries + 1, sizeof(struct pattern), &patterns[2]}};
    struct pipeline_parts parts;
    plain_parts(&parts, layout, canvas.pass, canvas.extent);
    add_stage(&parts, VK_SHADER_STAGE_VERTEX_BIT, SHADER(&gpu, screen_vert));
    add_stage(&parts, VK_SHADER_STAGE_FRAGMENT_BIT, SHADER(&gpu, patterns_frag));
    VkGraphicsPipelineCreateInfo infos[pattern_count];
    VkPipelineShaderStageCreateInfo stages[pattern_count][2];
    for (int i = 0; i < pattern_count; ++i) {
        infos[i] = parts.info;
        infos[i].pStages = stages[i];
        memcpy(stages[i], parts.stages, sizeof stages[i]);
        stages[i][1].pSpecializationInfo = &constants[i];
    }
    infos[0].flags = VK_PIPELINE_CREATE_ALLOW_DERIVATIVES_BIT | VK_PIPELINE_CREATE_DISABLE_OPTIMIZATION_BIT;
    infos[1].flags = VK_PIPELINE_CREATE_DERIVATIVE_BIT;
    infos[1].basePipelineIndex = 0;
    if (base) {
        infos[2].flags = VK_PIPELINE_CREATE_DERIVATIVE_BIT;
        infos[2].basePipelineHandle = base;
    }
    VK(vkCreateGraphicsPipelines(gpu.device, cache, pattern_count, infos, NULL, made));
    free_stages(&gpu, &parts);
}

/* The data's size and most of it are the driver's own; its first words are told. */
static void* get_cache(VkPipelineCache cache, size_t* size)
{
    VK(vkGetPipelineCacheData(gpu.device, cache, size, NULL));
    void* const data = malloc(*size);
    check(data != NULL && *size >= 32, "the size of a cache's data");
    VK(vkGetPipelineCacheData(gpu.device, cache, size, data));
    uint32_t header[4];
    memcpy(header, data, sizeof header);
    check(header[0] >= 32 && header[0] <= *size, "the size of the header");
    check(header[1] == VK_PIPELINE_CACHE_HEADER_VERSION_ONE, "the header's version");
    check(header[2] == gpu.properties.vendorID && header[3] == gpu.properties.deviceID,
          "the header's device");
    check(memcmp((const char*)data + 16, gpu.properties.pipelineCacheUUID, VK_UUID_SIZE) == 0,
          "the header's identifier");
    return data;
}

static void caches(void)
{
    VkPipeline first[pattern_count], second[pattern_count];
    const VkPipelineCache empty = make_cache(0, NULL);
    make_patterns(empty, VK_NULL_HANDLE, first);
    size_t size = 0;
    void* const data = get_cache(empty, &size);
    const VkPipelineCache filled = make_cache(size, data);
    free(data);
    make_patterns(filled, first[0], second);
    const VkPipelineCache merged = make_cache(0, NULL);
    const VkPipelineCache sources[] = {filled, empty};
    VK(vkMergePipelineCaches(gpu.device, merged, COUNT(sources), sources));
    free(get_cache(merged, &size));
    unsigned char little[8];
    size = sizeof little;
    const VkResult result = vkGetPipelineCacheData(gpu.device, merged, &size, little);
    printf("%-32s %d, %d bytes\n", "data with no room", (int)result, (int)size);
    vkDestroyPipelineCache(gpu.device, empty, NULL);
    vkDestroyPipelineCache(gpu.device, filled, NULL);
    vkDestroyPipelineCache(gpu.device, merged, NULL);
    for (int i = 0; i < pattern_count; ++i) {
        char subject[32];
        snprintf(subject, sizeof subject, "pattern %d", i);
        draw(first[i], subject);
        snprintf(subject, sizeof subject, "pattern %d from the cache", i);
        draw(second[i], subject);
        vkDestroyPipeline(gpu.device, first[i], NULL);
        vkDestroyPipeline(gpu.device, second[i], NULL);
    }
}

/* Not in order and with gaps, as an application's structure may be. */
struct numbers
{
    double precise;
    uint32_t width, height, words;
    VkBool32 flag;
    float real;
    int32_t whole;
};

static void constants(void)
{
    static const VkSpecializationMapEntry entries[] = {
        {0, offsetof(struct numbers, whole), 4},  {1, offsetof(struct numbers, real), 4},
        {2, offsetof(struct numbers, flag), 4},   {3, offsetof(struct numbers, words), 4},
        {10, offsetof(struct numbers, width), 4}, {11, offsetof(struct numbers, height), 4},
        {7, offsetof(struct numbers, precise), 8}};
    static const struct numbers numbers = {7.5, 5, 6, 11, VK_TRUE, -0.125f, -77};
    const VkSpecializationInfo all = {COUNT(entries), entries, sizeof numbers, &numbers};
    const VkSpecializationInfo some = {2, entries + 3, sizeof numbers, &numbers};
    const VkSpecializationInfo* const cases[] = {&all, &some};
    static const char* const subjects[] = {"all constants", "some constants"};
    const VkDescriptorType type = VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
    for (uint32_t i = 0; i < COUNT(cases); ++i) {
        struct buffer results = make_buffer(&gpu, 256, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, NULL);
        struct kernel kernel = make_kernel(&gpu, SHADER(&gpu, constants_comp), 1, &type, 0);
        vkDestroyPipeline(gpu.device, kernel.pipeline, NULL);
        kernel.pipeline = make_compute(&gpu, kernel.layout, SHADER(&gpu, constants_comp), cases[i]);
        write_buffer(&gpu, kernel.set, 0, type, &results, 0, VK_WHOLE_SIZE);
        const VkCommandBuffer commands = begin_commands(&gpu);
        bind_kernel(commands, &kernel);
        vkCmdDispatch(commands, 1, 1, 1);
        run_commands(&gpu, commands);
        begin_sum();
        add_buffer(&gpu, &results);
        end_sum(subjects[i]);
        free_kernel(&gpu, &kernel);
        free_buffer(&gpu, &results);
    }
}

int main(int count, char** arguments)
{
    take_options(count, arguments);
    gpu = open_gpu();
    canvas = open_canvas(&gpu, 96, 64);
    layout = make_layout(&gpu, 0, NULL, 0, NULL);
    caches();
    if (gpu.features.shaderFloat64)
        constants();
    else
        printf("%-32s not supported\n", "constants of 64 bits");
    vkDestroyPipelineLayout(gpu.device, layout, NULL);
    close_canvas(&gpu, &canvas);
    close_gpu(&gpu);
    return 0;
}
