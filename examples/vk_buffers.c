/* What shaders read from buffers and write to them: uniform and storage blocks, whole, in part and with
 * dynamic offsets, and texel buffers. vk_buffers [--pictures FOLDER] */

#include "vk_drawing.h"

#include "gather.comp.h"
#include "waves.frag.h"
#include "waves.vert.h"

static struct gpu gpu;

enum
{
    apart = 256 /* no device asks for offsets of more */
};

static VkBufferView make_texels(const struct buffer* buffer, VkFormat format, VkDeviceSize offset,
                                VkDeviceSize range)
{
    const VkBufferViewCreateInfo info = {.sType = VK_STRUCTURE_TYPE_BUFFER_VIEW_CREATE_INFO,
                                         .buffer = buffer->handle,
                                         .format = format,
                                         .offset = offset,
                                         .range = range};
    VkBufferView view = VK_NULL_HANDLE;
    VK(vkCreateBufferView(gpu.device, &info, NULL, &view));
    return view;
}

static void write_texels(VkDescriptorSet set, uint32_t binding, VkDescriptorType type, VkBufferView view)
{
    const VkWriteDescriptorSet write = {.sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET,
                                        .dstSet = set,
                                        .dstBinding = binding,
                                        .descriptorCount = 1,
                                        .descriptorType = type,
                                        .pTexelBufferView = &view};
    vkUpdateDescriptorSets(gpu.device, 1, &write, 0, NULL);
}

static struct buffer make_floats(VkBufferUsageFlags usage, uint32_t count, float first, float step)
{
    float data[1024];
    check(count <= COUNT(data), "the number of floats");
    for (uint32_t i = 0; i < count; ++i)
        data[i] = first + step * (float)i;
    return make_buffer(&gpu, count * sizeof *data, usage, data);
}

static struct buffer make_words(VkBufferUsageFlags usage, uint32_t count, uint32_t step)
{
    uint32_t data[1024];
    check(count <= COUNT(data), "the number of words");
    for (uint32_t i = 0; i < count; ++i)
        data[i] = i * step;
    return make_buffer(&gpu, count * sizeof *data, usage, data);
}

struct block
{
    float matrix[16];
    int32_t integers[12];
    float single;
};

static const VkDescriptorType types[] = {
    VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER,       VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC,
    VK_DESCRIPTOR_TYPE_STORAGE_BUFFER,       VK_DESCRIPTOR_TYPE_STORAGE_BUFFER_DYNAMIC,
    VK_DESCRIPTOR_TYPE_UNIFORM_TEXEL_BUFFER, VK_DESCRIPTOR_TYPE_STORAGE_TEXEL_BUFFER,
    VK_DESCRIPTOR_TYPE_STORAGE_BUFFER};
enum
{
    kinds = 7,
    rounds = 4
};

static void make_kinds(struct buffer* buffers)
{
    struct block block = {.single = 1.5f};
    for (int i = 0; i < 16; ++i)
        block.matrix[i] = (float)(i % 5) - 0.25f * (float)i;
    for (int i = 0; i < 12; ++i)
        block.integers[i] = 1000 * i - 5;
    buffers[0] = make_buffer(&gpu, sizeof block, VK_BUFFER_USAGE_UNIFORM_BUFFER_BIT, &block);
    buffers[1] = make_floats(VK_BUFFER_USAGE_UNIFORM_BUFFER_BIT, 1024, -3, 0.5f);
    buffers[2] = make_floats(VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, 256, 1, 0.125f);
    buffers[3] = make_words(VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, 512, 77777);
    buffers[4] = make_words(VK_BUFFER_USAGE_UNIFORM_TEXEL_BUFFER_BIT, 256, 0x01030507u);
    buffers[5] = make_words(VK_BUFFER_USAGE_STORAGE_TEXEL_BUFFER_BIT, 128, 3);
    buffers[6] = make_floats(VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, rounds * 32 * 4, 0, 0);
}

static void dispatch_rounds(const struct kernel* kernel)
{
    const VkCommandBuffer commands = begin_commands(&gpu);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_COMPUTE, kernel->pipeline);
    for (uint32_t i = 0; i < rounds; ++i) {
        const uint32_t offsets[] = {apart * 2 * i, apart * ((i + 1) % 3)};
        const uint32_t first = 32 * i;
        vkCmdBindDescriptorSets(commands, VK_PIPELINE_BIND_POINT_COMPUTE, kernel->layout, 0, 1, &kernel->set,
                                COUNT(offsets), offsets);
        vkCmdPushConstants(commands, kernel->layout, VK_SHADER_STAGE_COMPUTE_BIT, 0, 4, &first);
        vkCmdDispatch(commands, 1, 1, 1);
        wait_for_writes(commands, VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT, VK_ACCESS_SHADER_WRITE_BIT,
                        VK_PIPELINE_STAGE_COMPUTE_SHADER_BIT,
                        VK_ACCESS_SHADER_READ_BIT | VK_ACCESS_SHADER_WRITE_BIT);
    }
    run_commands(&gpu, commands);
}

static void all_kinds(void)
{
    struct buffer buffers[kinds];
    make_kinds(buffers);
    struct kernel kernel = make_kernel(&gpu, SHADER(&gpu, gather_comp), kinds, types, 4);
    write_buffer(&gpu, kernel.set, 0, types[0], &buffers[0], 0, sizeof(struct block));
    write_buffer(&gpu, kernel.set, 1, types[1], &buffers[1], apart, 16);
    write_buffer(&gpu, kernel.set, 2, types[2], &buffers[2], apart, 20 * 16);
    write_buffer(&gpu, kernel.set, 3, types[3], &buffers[3], apart, 32 * 4);
    const VkBufferView colours = make_texels(&buffers[4], VK_FORMAT_R8G8B8A8_UNORM, apart, 21 * 4);
    const VkBufferView numbers = make_texels(&buffers[5], VK_FORMAT_R32_UINT, 0, VK_WHOLE_SIZE);
    write_texels(kernel.set, 4, types[4], colours);
    write_texels(kernel.set, 5, types[5], numbers);
    write_buffer(&gpu, kernel.set, 6, types[6], &buffers[6], 0, VK_WHOLE_SIZE);
    dispatch_rounds(&kernel);
    static const char* const subjects[kinds] = {
        NULL, NULL, NULL, "dynamic storage", NULL, "storage texels", "gathered"};
    for (int i = 0; i < kinds; ++i) {
        if (subjects[i]) {
            begin_sum();
            add_buffer(&gpu, &buffers[i]);
            end_sum(subjects[i]);
        }
        free_buffer(&gpu, &buffers[i]);
    }
    vkDestroyBufferView(gpu.device, colours, NULL);
    vkDestroyBufferView(gpu.device, numbers, NULL);
    free_kernel(&gpu, &kernel);
}

struct wave
{
    float length, height, phase;
    int32_t steps;
    float colours[2][4];
};

/* Everything that the drawing of waves needs. */
struct waves
{
    VkDescriptorSetLayout layouts[2];
    VkPipelineLayout layout;
    VkDescriptorPool pool;
    VkDescriptorSet sets[2];
    VkPipeline pipeline;
    struct buffer wave, stripes, shades;
    VkBufferView view;
};

static void make_waves_sets(struct waves* waves)
{
    static const VkDescriptorSetLayoutBinding first[] = {
        {0, VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC, 1,
         VK_SHADER_STAGE_VERTEX_BIT | VK_SHADER_STAGE_FRAGMENT_BIT, NULL}};
    static const VkDescriptorSetLayoutBinding second[] = {
        {7, VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, 1, VK_SHADER_STAGE_FRAGMENT_BIT, NULL},
        {2, VK_DESCRIPTOR_TYPE_UNIFORM_TEXEL_BUFFER, 1, VK_SHADER_STAGE_FRAGMENT_BIT, NULL}};
    static const VkDescriptorPoolSize sizes[] = {{VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC, 1},
                                                 {VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, 1},
                                                 {VK_DESCRIPTOR_TYPE_UNIFORM_TEXEL_BUFFER, 1}};
    waves->layouts[0] = make_set_layout(&gpu, COUNT(first), first);
    waves->layouts[1] = make_set_layout(&gpu, COUNT(second), second);
    waves->layout = make_layout(&gpu, 2, waves->layouts, 0, NULL);
    waves->pool = make_pool(&gpu, 2, COUNT(sizes), sizes);
    for (int i = 0; i < 2; ++i)
        waves->sets[i] = make_set(&gpu, waves->pool, waves->layouts[i]);
    write_buffer(&gpu, waves->sets[0], 0, VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC, &waves->wave, 0,
                 sizeof(struct wave));
    write_buffer(&gpu, waves->sets[1], 7, VK_DESCRIPTOR_TYPE_STORAGE_BUFFER, &waves->shades, 0, 16);
    waves->view = make_texels(&waves->stripes, VK_FORMAT_R8G8B8A8_UNORM, 0, VK_WHOLE_SIZE);
    write_texels(waves->sets[1], 2, VK_DESCRIPTOR_TYPE_UNIFORM_TEXEL_BUFFER, waves->view);
}

static void make_waves(struct waves* waves, const struct canvas* canvas)
{
    static const uint32_t stripes[] = {0xffffffffu, 0xff80ffffu, 0xffff80ffu, 0xffffff40u, 0xff404040u};
    static const float shades[] = {0.25f, 0.5f, 0.75f, 1.0f};
    waves->wave = make_buffer(&gpu, 3 * apart, VK_BUFFER_USAGE_UNIFORM_BUFFER_BIT, NULL);
    for (int i = 0; i < 3; ++i) {
        const struct wave wave = {0.1f + 0.05f * (float)i,
                                  0.2f * (float)i + 0.1f,
                                  (float)i,
                                  40,
                                  {{(float)i / 2, 1, 0, 1}, {1, 0, (float)(2 - i) / 2, 1}}};
        set_buffer(&gpu, &waves->wave, (VkDeviceSize)apart * (VkDeviceSize)i, &wave, sizeof wave);
    }
    waves->stripes = make_buffer(&gpu, sizeof stripes, VK_BUFFER_USAGE_UNIFORM_TEXEL_BUFFER_BIT, stripes);
    waves->shades = make_buffer(&gpu, sizeof shades, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, shades);
    make_waves_sets(waves);
    struct pipeline_parts parts;
    plain_parts(&parts, waves->layout, canvas->pass, canvas->extent);
    add_stage(&parts, VK_SHADER_STAGE_VERTEX_BIT, SHADER(&gpu, waves_vert));
    add_stage(&parts, VK_SHADER_STAGE_FRAGMENT_BIT, SHADER(&gpu, waves_frag));
    parts.assembly.topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP;
    waves->pipeline = make_pipeline(&gpu, &parts);
    free_stages(&gpu, &parts);
}

static void free_waves(struct waves* waves)
{
    vkDestroyPipeline(gpu.device, waves->pipeline, NULL);
    vkDestroyDescriptorPool(gpu.device, waves->pool, NULL);
    vkDestroyPipelineLayout(gpu.device, waves->layout, NULL);
    for (int i = 0; i < 2; ++i)
        vkDestroyDescriptorSetLayout(gpu.device, waves->layouts[i], NULL);
    vkDestroyBufferView(gpu.device, waves->view, NULL);
    free_buffer(&gpu, &waves->wave);
    free_buffer(&gpu, &waves->stripes);
    free_buffer(&gpu, &waves->shades);
}

/* Three waves, each with a dynamic offset of its own into one buffer. */
static void draw_waves(void)
{
    struct canvas canvas = open_canvas(&gpu, 160, 120);
    struct waves waves;
    make_waves(&waves, &canvas);
    const VkCommandBuffer commands = begin_commands(&gpu);
    begin_pass(commands, &canvas, VK_SUBPASS_CONTENTS_INLINE);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, waves.pipeline);
    vkCmdBindDescriptorSets(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, waves.layout, 1, 1, waves.sets + 1, 0,
                            NULL);
    for (uint32_t i = 0; i < 3; ++i) {
        const uint32_t offset = apart * i;
        vkCmdBindDescriptorSets(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, waves.layout, 0, 1, waves.sets, 1,
                                &offset);
        vkCmdDraw(commands, 82, 1, 0, 0);
    }
    vkCmdEndRenderPass(commands);
    run_commands(&gpu, commands);
    print_canvas(&gpu, &canvas, "waves");
    free_waves(&waves);
    close_canvas(&gpu, &canvas);
}

int main(int count, char** arguments)
{
    take_options(count, arguments);
    gpu = open_gpu();
    all_kinds();
    draw_waves();
    close_gpu(&gpu);
    return 0;
}
