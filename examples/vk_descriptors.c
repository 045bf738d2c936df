/* Descriptor sets: allocated several at once, written in arrays and one by one, copied, freed, their pool
 * reset; samplers that are part of a layout. vk_descriptors [--pictures FOLDER] */

#include "vk_drawing.h"

#include "screen.vert.h"
#include "tiles.frag.h"

#include <stdio.h>

static struct gpu gpu;
static struct canvas canvas;

enum
{
    texture_count = 4,
    set_count = 3
};
static struct image textures[texture_count];
static VkSampler nearest, linear;
static struct buffer colours;
static VkDescriptorSetLayout layouts[set_count];
static VkPipelineLayout layout;
static VkPipeline pipeline;
static VkDescriptorPool pool;

static void make_textures(void)
{
    for (uint32_t k = 0; k < texture_count; ++k) {
        uint32_t texels[4 * 4];
        for (uint32_t i = 0; i < COUNT(texels); ++i)
            texels[i] = 0xff000000u | (i * 15) << 8 * (k % 3) | ((i + k) % 4 * 80) << 8 * ((k + 1) % 3);
        textures[k] = make_image(&gpu, VK_FORMAT_R8G8B8A8_UNORM, 4, 4,
                                 VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT);
        set_image(&gpu, &textures[k], 0, texels, sizeof texels, VK_IMAGE_LAYOUT_UNDEFINED,
                  VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
    }
    nearest = make_sampler(&gpu, VK_FILTER_NEAREST, VK_SAMPLER_ADDRESS_MODE_REPEAT);
    linear = make_sampler(&gpu, VK_FILTER_LINEAR, VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_BORDER);
    colours = make_buffer(&gpu, 1024, VK_BUFFER_USAGE_UNIFORM_BUFFER_BIT, NULL);
    for (int i = 0; i < 4; ++i) {
        const float colour[4] = {(float)i / 3, 1 - (float)i / 4, 0.5f, 1};
        set_buffer(&gpu, &colours, (VkDeviceSize)(256 * i), colour, sizeof colour);
    }
}

/* The samplers of pairs are those of the layout, or null for such that are written. */
static void make_layouts(const VkSampler* of_pairs)
{
    const VkShaderStageFlags stage = VK_SHADER_STAGE_FRAGMENT_BIT;
    const VkSampler fixed[] = {linear, nearest};
    const VkDescriptorSetLayoutBinding pairs[] = {
        {0, VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, 4, stage, of_pairs}};
    const VkDescriptorSetLayoutBinding apart[] = {{0, VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE, 2, stage, NULL},
                                                  {3, VK_DESCRIPTOR_TYPE_SAMPLER, 2, stage, fixed}};
    const VkDescriptorSetLayoutBinding blocks[] = {{1, VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER, 3, stage, NULL}};
    layouts[0] = make_set_layout(&gpu, COUNT(pairs), pairs);
    layouts[1] = make_set_layout(&gpu, COUNT(apart), apart);
    layouts[2] = make_set_layout(&gpu, COUNT(blocks), blocks);
    layout = make_layout(&gpu, set_count, layouts, 0, NULL);
    struct pipeline_parts parts;
    plain_parts(&parts, layout, canvas.pass, canvas.extent);
    add_stage(&parts, VK_SHADER_STAGE_VERTEX_BIT, SHADER(&gpu, screen_vert));
    add_stage(&parts, VK_SHADER_STAGE_FRAGMENT_BIT, SHADER(&gpu, tiles_frag));
    pipeline = make_pipeline(&gpu, &parts);
    free_stages(&gpu, &parts);
}

static void free_layouts(void)
{
    vkDestroyPipeline(gpu.device, pipeline, NULL);
    vkDestroyPipelineLayout(gpu.device, layout, NULL);
    for (int i = 0; i < set_count; ++i)
        vkDestroyDescriptorSetLayout(gpu.device, layouts[i], NULL);
}

static void fill_pool(void)
{
    static const VkDescriptorPoolSize sizes[] = {{VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, 12},
                                                 {VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE, 6},
                                                 {VK_DESCRIPTOR_TYPE_SAMPLER, 6},
                                                 {VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER, 9}};
    pool = make_pool(&gpu, 9, COUNT(sizes), sizes);
}

static void allocate_sets(VkDescriptorSet* sets)
{
    const VkDescriptorSetAllocateInfo info = {.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO,
                                              .descriptorPool = pool,
                                              .descriptorSetCount = set_count,
                                              .pSetLayouts = layouts};
    VK(vkAllocateDescriptorSets(gpu.device, &info, sets));
}

static void draw(const VkDescriptorSet* sets, const char* subject)
{
    const VkCommandBuffer commands = begin_commands(&gpu);
    begin_pass(commands, &canvas, VK_SUBPASS_CONTENTS_INLINE);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline);
    vkCmdBindDescriptorSets(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, layout, 0, set_count, sets, 0, NULL);
    vkCmdDraw(commands, 3, 1, 0, 0);
    vkCmdEndRenderPass(commands);
    run_commands(&gpu, commands);
    print_canvas(&gpu, &canvas, subject);
}

static VkDescriptorImageInfo texture_info(VkSampler sampler, int index)
{
    const VkDescriptorImageInfo info = {sampler, textures[index].view,
                                        VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL};
    return info;
}

/* All bindings of three sets in one call; arrays whole and in two parts. */
static void write_all(const VkDescriptorSet* sets, VkSampler even, VkSampler odd)
{
    const VkDescriptorImageInfo pairs[] = {texture_info(even, 0), texture_info(odd, 1), texture_info(even, 2),
                                           texture_info(odd, 3)};
    const VkDescriptorImageInfo images[] = {texture_info(VK_NULL_HANDLE, 3), texture_info(VK_NULL_HANDLE, 2)};
    const VkDescriptorBufferInfo blocks[] = {
        {colours.handle, 0, 16}, {colours.handle, 256, 16}, {colours.handle, 512, VK_WHOLE_SIZE}};
    VkWriteDescriptorSet writes[] = {
        {.dstSet = sets[0], .descriptorCount = 4, .pImageInfo = pairs},
        {.dstSet = sets[1], .descriptorCount = 2, .pImageInfo = images},
        {.dstSet = sets[2], .dstBinding = 1, .descriptorCount = 2, .pBufferInfo = blocks},
        {.dstSet = sets[2],
         .dstBinding = 1,
         .dstArrayElement = 2,
         .descriptorCount = 1,
         .pBufferInfo = blocks + 2}};
    static const VkDescriptorType types[] = {
        VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, VK_DESCRIPTOR_TYPE_SAMPLED_IMAGE,
        VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER, VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER};
    for (uint32_t i = 0; i < COUNT(writes); ++i) {
        writes[i].sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET;
        writes[i].descriptorType = types[i];
    }
    vkUpdateDescriptorSets(gpu.device, COUNT(writes), writes, 0, NULL);
}

/* Another three sets with the same contents, but for their order, and one write of the same call. */
static void copy_all(const VkDescriptorSet* from, const VkDescriptorSet* to)
{
    static const struct
    {
        int set;
        uint32_t binding, from, to, count;
    } parts[] = {{0, 0, 1, 0, 3}, {0, 0, 0, 3, 1}, {1, 0, 1, 0, 1}, {1, 0, 0, 1, 1}, {2, 1, 0, 1, 2}};
    VkCopyDescriptorSet copies[COUNT(parts)];
    for (uint32_t i = 0; i < COUNT(parts); ++i) {
        const VkCopyDescriptorSet copy = {VK_STRUCTURE_TYPE_COPY_DESCRIPTOR_SET,
                                          NULL,
                                          from[parts[i].set],
                                          parts[i].binding,
                                          parts[i].from,
                                          to[parts[i].set],
                                          parts[i].binding,
                                          parts[i].to,
                                          parts[i].count};
        copies[i] = copy;
    }
    const VkDescriptorBufferInfo block = {colours.handle, 768, 16};
    const VkWriteDescriptorSet write = {.sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET,
                                        .dstSet = to[2],
                                        .dstBinding = 1,
                                        .descriptorCount = 1,
                                        .descriptorType = VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER,
                                        .pBufferInfo = &block};
    vkUpdateDescriptorSets(gpu.device, 1, &write, COUNT(copies), copies);
}

/* Fills the pool, gives single sets back and gets others, gives all back at once and begins anew. */
static void pool_life(void)
{
    VkDescriptorSet sets[3][set_count];
    for (int i = 0; i < 3; ++i) {
        allocate_sets(sets[i]);
        write_all(sets[i], nearest, linear);
    }
    const VkDescriptorSet some[] = {sets[1][2], VK_NULL_HANDLE, sets[1][0], sets[1][1]};
    VK(vkFreeDescriptorSets(gpu.device, pool, COUNT(some), some));
    allocate_sets(sets[1]);
    copy_all(sets[2], sets[1]);
    draw(sets[1], "after freeing");
    VK(vkResetDescriptorPool(gpu.device, pool, 0));
    for (int i = 0; i < 3; ++i)
        allocate_sets(sets[i]);
    write_all(sets[0], nearest, linear);
    draw(sets[0], "after a reset");
    VK(vkResetDescriptorPool(gpu.device, pool, 0));
}

/* Pairs whose samplers are the layout's: those that are written with them are ignored, and may be gone. */
static void samplers_of_layouts(void)
{
    const VkSampler gone = make_sampler(&gpu, VK_FILTER_NEAREST, VK_SAMPLER_ADDRESS_MODE_REPEAT);
    vkDestroySampler(gpu.device, gone, NULL);
    const VkSampler of_pairs[] = {linear, nearest, nearest, linear};
    free_layouts();
    make_layouts(of_pairs);
    VkDescriptorSet sets[set_count], others[set_count];
    allocate_sets(sets);
    write_all(sets, gone, gone);
    draw(sets, "samplers of the layout");
    allocate_sets(others);
    copy_all(sets, others);
    draw(others, "samplers of the layout, copied");
    VK(vkFreeDescriptorSets(gpu.device, pool, 1, sets));
    VK(vkResetDescriptorPool(gpu.device, pool, 0));
}

static void free_all(void)
{
    vkDestroyDescriptorPool(gpu.device, pool, NULL);
    free_layouts();
    vkDestroySampler(gpu.device, nearest, NULL);
    vkDestroySampler(gpu.device, linear, NULL);
    for (int i = 0; i < texture_count; ++i)
        free_image(&gpu, &textures[i]);
    free_buffer(&gpu, &colours);
}

int main(int count, char** arguments)
{
    take_options(count, arguments);
    gpu = open_gpu();
    canvas = open_canvas(&gpu, 128, 96);
    make_textures();
    make_layouts(NULL);
    fill_pool();
    VkDescriptorSet sets[set_count], others[set_count];
    allocate_sets(sets);
    write_all(sets, nearest, linear);
    draw(sets, "written");
    allocate_sets(others);
    copy_all(sets, others);
    draw(others, "copied");
    write_image(&gpu, sets[0], 0, VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, linear, textures[3].view,
                VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
    draw(sets, "written again");
    VK(vkResetDescriptorPool(gpu.device, pool, 0));
    pool_life();
    samplers_of_layouts();
    free_all();
    close_canvas(&gpu, &canvas);
    close_gpu(&gpu);
    return 0;
}
