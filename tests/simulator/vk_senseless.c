/* A Vulkan application with shaders that hosts' compilers die of. It gets no pipelines of them, and computes
 * with a sound one behind them: vk_senseless */
#include "vk_drawing.h"

#include "pairs.comp.h"

#include <stdio.h>
#include <string.h>

enum
{
    header = 5,
    most_words = 1024
};

/* The shader with another opcode in the place of one, wherever that stands. */
static size_t with_opcode(uint32_t* words, uint32_t opcode, uint32_t other)
{
    memcpy(words, pairs_comp, sizeof pairs_comp);
    for (size_t at = header; at < COUNT(pairs_comp); at += words[at] >> 16)
        if ((words[at] & 0xffff) == opcode)
            words[at] = (words[at] & 0xffff0000) | other;
    return sizeof pairs_comp;
}

static void try_words(const struct gpu* gpu, VkPipelineLayout layout, const char* name, const uint32_t* words,
                      size_t size, const VkSpecializationInfo* constants)
{
    const VkComputePipelineCreateInfo info = {
        .sType = VK_STRUCTURE_TYPE_COMPUTE_PIPELINE_CREATE_INFO,
        .stage = {.sType = VK_STRUCTURE_TYPE_PIPELINE_SHADER_STAGE_CREATE_INFO,
                  .stage = VK_SHADER_STAGE_COMPUTE_BIT,
                  .module = make_shader(gpu, words, size),
                  .pName = "main",
                  .pSpecializationInfo = constants},
        .layout = layout};
    VkPipeline pipeline = VK_NULL_HANDLE;
    const VkResult result = vkCreateComputePipelines(gpu->device, VK_NULL_HANDLE, 1, &info, NULL, &pipeline);
    printf("%s: %s\n", name, result == VK_SUCCESS ? "taken" : "refused");
    fflush(stdout);
    if (result == VK_SUCCESS)
        vkDestroyPipeline(gpu->device, pipeline, NULL);
    vkDestroyShaderModule(gpu->device, info.stage.module, NULL);
}

int main(void)
{
    const VkDescriptorType storage = VK_DESCRIPTOR_TYPE_STORAGE_BUFFER;
    struct gpu gpu = open_gpu();
    struct buffer numbers = make_buffer(&gpu, 64, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, NULL);
    struct kernel kernel = make_kernel(&gpu, SHADER(&gpu, pairs_comp), 1, &storage, 0);
    write_buffer(&gpu, kernel.set, 0, storage, &numbers, 0, VK_WHOLE_SIZE);
    enum
    {
        add_whole = 128,
        add_real = 129,
        load = 61,
        label = 248,
        nothing = 0
    };
    uint32_t words[most_words];
    try_words(&gpu, kernel.layout, "sound", pairs_comp, sizeof pairs_comp, NULL);
    try_words(&gpu, kernel.layout, "adds otherwise", words, with_opcode(words, add_whole, add_real), NULL);
    try_words(&gpu, kernel.layout, "loads nothing", words, with_opcode(words, load, nothing), NULL);
    try_words(&gpu, kernel.layout, "has no blocks", words, with_opcode(words, label, nothing), NULL);
    try_words(&gpu, kernel.layout, "ends early", pairs_comp, sizeof pairs_comp / 8 * 4, NULL);
    const uint32_t length = 100000000;
    const VkSpecializationMapEntry inside = {0, 0, 4}, outside = {0, 4, 4}, odd = {0, 0, 3};
    const VkSpecializationInfo huge = {1, &inside, 4, &length}, missing = {1, &outside, 4, &length},
                               uneven = {1, &odd, 4, &length};
    try_words(&gpu, kernel.layout, "has a huge array", pairs_comp, sizeof pairs_comp, &huge);
    try_words(&gpu, kernel.layout, "lacks its constant", pairs_comp, sizeof pairs_comp, &missing);
    try_words(&gpu, kernel.layout, "has an odd constant", pairs_comp, sizeof pairs_comp, &uneven);

    const VkCommandBuffer commands = begin_commands(&gpu);
    bind_kernel(commands, &kernel);
    vkCmdDispatch(commands, 1, 1, 1);
    run_commands(&gpu, commands);
    uint32_t first = 0;
    get_buffer(&gpu, &numbers, 0, &first, sizeof first);
    printf("computed %u\n", first);
    free_kernel(&gpu, &kernel);
    free_buffer(&gpu, &numbers);
    close_gpu(&gpu);
    return 0;
}
