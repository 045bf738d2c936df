/* Images that become others: copies, blits with both filters and mirrored, resolves, levels that are made
 * from those above, and images of all shapes, sampled. vk_transfers [--pictures FOLDER] */

#include "vk_drawing.h"

#include "sample_levels.frag.h"
#include "screen.vert.h"
#include "shapes.comp.h"
#include "triangle.frag.h"
#include "triangle.vert.h"

#include <stdio.h>

static struct gpu gpu;
static const VkFormat plain = VK_FORMAT_R8G8B8A8_UNORM;
static const VkImageUsageFlags both = VK_IMAGE_USAGE_TRANSFER_SRC_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT;
static const VkImageSubresourceLayers colour = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0, 1};
static const VkImageLayout source = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL;
static const VkImageLayout target = VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL;

static uint32_t texels[64 * 64 * 6];

static void make_texels(uint32_t seed)
{
    for (uint32_t i = 0; i < COUNT(texels); ++i) {
        const uint32_t x = i % 64, y = i / 64;
        texels[i] = 0xff000000u | (x * 4) << 8 * (seed % 3) | (y * 4 & 255) << 8 * ((seed + 1) % 3) |
                    ((x / 8 + y / 8) % 2 * 200) << 8 * ((seed + 2) % 3);
    }
}

static struct image make_pattern(VkFormat format, VkDeviceSize texel, VkImageUsageFlags usage)
{
    make_texels(0);
    const struct image image = make_image(&gpu, format, 64, 64, usage | both);
    set_image(&gpu, &image, 0, texels, 64 * 64 * texel, VK_IMAGE_LAYOUT_UNDEFINED, source);
    return image;
}

/* An image of one colour all over, ready to be written. */
static struct image make_ground(VkFormat format, uint32_t width, uint32_t height)
{
    const struct image image = make_image(&gpu, format, width, height, both);
    const VkClearColorValue grey = {.float32 = {0.25f, 0.25f, 0.25f, 1}};
    const VkImageSubresourceRange range = whole_image(&image);
    const VkCommandBuffer commands = begin_commands(&gpu);
    change_layout(commands, &image, VK_IMAGE_LAYOUT_UNDEFINED, target);
    vkCmdClearColorImage(commands, image.handle, target, &grey, 1, &range);
    change_layout(commands, &image, target, target);
    run_commands(&gpu, commands);
    return image;
}

static void end_ground(VkCommandBuffer commands, struct image* image, const char* subject)
{
    change_layout(commands, image, target, source);
    run_commands(&gpu, commands);
    begin_sum();
    add_image(&gpu, image, subject);
    end_sum(subject);
    free_image(&gpu, image);
}

static void copies(void)
{
    struct image from = make_pattern(plain, 4, 0);
    struct image to = make_ground(plain, 80, 60);
    static const VkImageCopy regions[] = {
        {colour, {0, 0, 0}, colour, {3, 5, 0}, {20, 30, 1}},
        {colour, {40, 10, 0}, colour, {30, 0, 0}, {24, 54, 1}},
        {colour, {63, 63, 0}, colour, {79, 59, 0}, {1, 1, 1}},
    };
    VkCommandBuffer commands = begin_commands(&gpu);
    vkCmdCopyImage(commands, from.handle, source, to.handle, target, COUNT(regions), regions);
    end_ground(commands, &to, "copies");
    /* Formats of one size: bits are copied, not colours. */
    to = make_ground(VK_FORMAT_R32_SFLOAT, 80, 60);
    commands = begin_commands(&gpu);
    vkCmdCopyImage(commands, from.handle, source, to.handle, target, 2, regions);
    end_ground(commands, &to, "copies to another format");
    free_image(&gpu, &from);
}

static void blits(void)
{
    struct image from = make_pattern(plain, 4, 0);
    struct image to = make_ground(VK_FORMAT_B8G8R8A8_UNORM, 120, 90);
    static const VkImageBlit near[] = {
        {colour, {{0, 0, 0}, {64, 64, 1}}, colour, {{0, 0, 0}, {40, 40, 1}}},
        {colour, {{8, 8, 0}, {24, 16, 1}}, colour, {{50, 0, 0}, {118, 37, 1}}}};
    static const VkImageBlit smooth[] = {
        {colour, {{64, 0, 0}, {0, 64, 1}}, colour, {{0, 45, 0}, {40, 85, 1}}},
        {colour, {{8, 8, 0}, {24, 16, 1}}, colour, {{118, 85, 0}, {50, 45, 1}}}};
    const VkCommandBuffer commands = begin_commands(&gpu);
    vkCmdBlitImage(commands, from.handle, source, to.handle, target, COUNT(near), near, VK_FILTER_NEAREST);
    vkCmdBlitImage(commands, from.handle, source, to.handle, target, COUNT(smooth), smooth, VK_FILTER_LINEAR);
    end_ground(commands, &to, "blits");
    free_image(&gpu, &from);
}

/* Blits between formats of other sizes and back to 8 bits. */
static void converting_blits(void)
{
    struct image from = make_pattern(plain, 4, 0);
    struct image wide = make_ground(VK_FORMAT_R16G16B16A16_SFLOAT, 64, 64);
    struct image to = make_ground(plain, 64, 64);
    static const VkImageBlit whole = {colour, {{0, 0, 0}, {64, 64, 1}}, colour, {{0, 0, 0}, {64, 64, 1}}};
    const VkCommandBuffer commands = begin_commands(&gpu);
    vkCmdBlitImage(commands, from.handle, source, wide.handle, target, 1, &whole, VK_FILTER_NEAREST);
    change_layout(commands, &wide, target, source);
    vkCmdBlitImage(commands, wide.handle, source, to.handle, target, 1, &whole, VK_FILTER_NEAREST);
    end_ground(commands, &to, "there and back");
    begin_sum();
    add_image(&gpu, &wide, NULL);
    end_sum("16-bit floats");
    free_image(&gpu, &wide);
    free_image(&gpu, &from);
}

static VkRenderPass make_sampled_pass(VkSampleCountFlagBits samples)
{
    const VkAttachmentDescription attachment = {.format = plain,
                                                .samples = samples,
                                                .loadOp = VK_ATTACHMENT_LOAD_OP_CLEAR,
                                                .storeOp = VK_ATTACHMENT_STORE_OP_STORE,
                                                .finalLayout = source};
    const VkAttachmentReference reference = {0, VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL};
    const VkSubpassDescription subpass = {.colorAttachmentCount = 1, .pColorAttachments = &reference};
    const VkSubpassDependency after = {0,
                                       VK_SUBPASS_EXTERNAL,
                                       VK_PIPELINE_STAGE_COLOR_ATTACHMENT_OUTPUT_BIT,
                                       VK_PIPELINE_STAGE_TRANSFER_BIT,
                                       VK_ACCESS_COLOR_ATTACHMENT_WRITE_BIT,
                                       VK_ACCESS_TRANSFER_READ_BIT,
                                       0};
    const VkRenderPassCreateInfo info = {.sType = VK_STRUCTURE_TYPE_RENDER_PASS_CREATE_INFO,
                                         .attachmentCount = 1,
                                         .pAttachments = &attachment,
                                         .subpassCount = 1,
                                         .pSubpasses = &subpass,
                                         .dependencyCount = 1,
                                         .pDependencies = &after};
    VkRenderPass pass = VK_NULL_HANDLE;
    VK(vkCreateRenderPass(gpu.device, &info, NULL, &pass));
    return pass;
}

static void draw_triangle(VkCommandBuffer commands, const struct canvas* canvas, VkPipelineLayout layout,
                          VkPipeline pipeline)
{
    static const float constants[] = {0, 0, 0.4f, 1, 1, 1, 1, 1};
    begin_pass(commands, canvas, VK_SUBPASS_CONTENTS_INLINE);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline);
    vkCmdPushConstants(commands, layout, VK_SHADER_STAGE_VERTEX_BIT, 0, 16, constants);
    vkCmdPushConstants(commands, layout, VK_SHADER_STAGE_FRAGMENT_BIT, 16, 16, constants + 4);
    vkCmdDraw(commands, 3, 1, 0, 0);
    vkCmdEndRenderPass(commands);
}

/* Draws a triangle with four samples a pixel and resolves two parts of it. */
static void resolves(void)
{
    const VkSampleCountFlagBits samples = VK_SAMPLE_COUNT_4_BIT; /* which every device can */
    struct canvas canvas = {.extent = {80, 60}, .pass = make_sampled_pass(samples)};
    VkImageCreateInfo info =
        plain_image(plain, 80, 60, VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
    info.samples = samples;
    canvas.image = finish_image(&gpu, &info);
    canvas.framebuffer = make_framebuffer(&gpu, canvas.pass, 1, &canvas.image.view, canvas.extent);
    const VkPushConstantRange ranges[] = {{VK_SHADER_STAGE_VERTEX_BIT, 0, 16},
                                          {VK_SHADER_STAGE_FRAGMENT_BIT, 16, 16}};
    const VkPipelineLayout layout = make_layout(&gpu, 0, NULL, 2, ranges);
    struct pipeline_parts parts;
    plain_parts(&parts, layout, canvas.pass, canvas.extent);
    add_stage(&parts, VK_SHADER_STAGE_VERTEX_BIT, SHADER(&gpu, triangle_vert));
    add_stage(&parts, VK_SHADER_STAGE_FRAGMENT_BIT, SHADER(&gpu, triangle_frag));
    parts.samples.rasterizationSamples = samples;
    const VkPipeline pipeline = make_pipeline(&gpu, &parts);
    free_stages(&gpu, &parts);
    struct image to = make_ground(plain, 80, 60);
    const VkImageResolve regions[] = {{colour, {0, 0, 0}, colour, {0, 0, 0}, {80, 30, 1}},
                                      {colour, {20, 30, 0}, colour, {10, 33, 0}, {50, 20, 1}}};
    const VkCommandBuffer commands = begin_commands(&gpu);
    draw_triangle(commands, &canvas, layout, pipeline);
    vkCmdResolveImage(commands, canvas.image.handle, source, to.handle, target, COUNT(regions), regions);
    end_ground(commands, &to, "resolves");
    vkDestroyPipeline(gpu.device, pipeline, NULL);
    vkDestroyPipelineLayout(gpu.device, layout, NULL);
    close_canvas(&gpu, &canvas);
}

/* Each level is half the one above. */
static void fill_levels(VkCommandBuffer commands, const struct image* image)
{
    for (uint32_t level = 1; level < image->info.mipLevels; ++level) {
        const int32_t size = 64 >> level;
        const VkImageBlit half = {{VK_IMAGE_ASPECT_COLOR_BIT, level - 1, 0, 1},
                                  {{0, 0, 0}, {size * 2, size * 2, 1}},
                                  {VK_IMAGE_ASPECT_COLOR_BIT, level, 0, 1},
                                  {{0, 0, 0}, {size, size, 1}}};
        vkCmdBlitImage(commands, image->handle, VK_IMAGE_LAYOUT_GENERAL, image->handle,
                       VK_IMAGE_LAYOUT_GENERAL, 1, &half, VK_FILTER_LINEAR);
        wait_for_writes(commands, VK_PIPELINE_STAGE_TRANSFER_BIT, VK_ACCESS_TRANSFER_WRITE_BIT,
                        VK_PIPELINE_STAGE_TRANSFER_BIT, VK_ACCESS_TRANSFER_READ_BIT);
    }
    change_layout(commands, image, VK_IMAGE_LAYOUT_GENERAL, VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
}

static VkSampler make_level_sampler(void)
{
    const VkSamplerCreateInfo info = {.sType = VK_STRUCTURE_TYPE_SAMPLER_CREATE_INFO,
                                      .magFilter = VK_FILTER_LINEAR,
                                      .minFilter = VK_FILTER_NEAREST,
                                      .mipmapMode = VK_SAMPLER_MIPMAP_MODE_LINEAR,
                                      .addressModeU = VK_SAMPLER_ADDRESS_MODE_MIRRORED_REPEAT,
                                      .addressModeV = VK_SAMPLER_ADDRESS_MODE_REPEAT,
                                      .mipLodBias = 0.25f,
                                      .minLod = 0.5f,
                                      .maxLod = 4.75f};
    VkSampler sampler = VK_NULL_HANDLE;
    VK(vkCreateSampler(gpu.device, &info, NULL, &sampler));
    return sampler;
}

static void sample_levels(const struct image* image)
{
    static const VkDescriptorSetLayoutBinding binding = {0, VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, 1,
                                                         VK_SHADER_STAGE_FRAGMENT_BIT, NULL};
    static const VkDescriptorPoolSize size = {VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, 1};
    static const VkPushConstantRange range = {VK_SHADER_STAGE_FRAGMENT_BIT, 0, 4};
    struct canvas canvas = open_canvas(&gpu, 70, 70);
    const VkDescriptorSetLayout set_layout = make_set_layout(&gpu, 1, &binding);
    const VkPipelineLayout layout = make_layout(&gpu, 1, &set_layout, 1, &range);
    const VkDescriptorPool pool = make_pool(&gpu, 1, 1, &size);
    const VkDescriptorSet set = make_set(&gpu, pool, set_layout);
    const VkSampler sampler = make_level_sampler();
    write_image(&gpu, set, 0, size.type, sampler, image->view, VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
    struct pipeline_parts parts;
    plain_parts(&parts, layout, canvas.pass, canvas.extent);
    add_stage(&parts, VK_SHADER_STAGE_VERTEX_BIT, SHADER(&gpu, screen_vert));
    add_stage(&parts, VK_SHADER_STAGE_FRAGMENT_BIT, SHADER(&gpu, sample_levels_frag));
    const VkPipeline pipeline = make_pipeline(&gpu, &parts);
    free_stages(&gpu, &parts);
    for (int i = 0; i < 4; ++i) {
        const float level = 1.4f * (float)i;
        char subject[32];
        snprintf(subject, sizeof subject, "sampled at level %.1f", (double)level);
        const VkCommandBuffer commands = begin_commands(&gpu);
        begin_pass(commands, &canvas, VK_SUBPASS_CONTENTS_INLINE);
        vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline);
        vkCmdBindDescriptorSets(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, layout, 0, 1, &set, 0, NULL);
        vkCmdPushConstants(commands, layout, VK_SHADER_STAGE_FRAGMENT_BIT, 0, 4, &level);
        vkCmdDraw(commands, 3, 1, 0, 0);
        vkCmdEndRenderPass(commands);
        run_commands(&gpu, commands);
        print_canvas(&gpu, &canvas, subject);
    }
    vkDestroyPipeline(gpu.device, pipeline, NULL);
    vkDestroySampler(gpu.device, sampler, NULL);
    vkDestroyDescriptorPool(gpu.device, pool, NULL);
    vkDestroyPipelineLayout(gpu.device, layout, NULL);
    vkDestroyDescriptorSetLayout(gpu.device, set_layout, NULL);
    close_canvas(&gpu, &canvas);
}

static void levels(void)
{
    VkImageCreateInfo info = plain_image(plain, 64, 64, both | VK_IMAGE_USAGE_SAMPLED_BIT);
    info.mipLevels = 7;
    struct image image = finish_image(&gpu, &info);
    make_texels(1);
    set_image(&gpu, &image, 0, texels, 64 * 64 * 4, VK_IMAGE_LAYOUT_UNDEFINED, VK_IMAGE_LAYOUT_GENERAL);
    VkCommandBuffer commands = begin_commands(&gpu);
    fill_levels(commands, &image);
    run_commands(&gpu, commands);
    sample_levels(&image);
    commands = begin_commands(&gpu);
    change_layout(commands, &image, VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL, source);
    run_commands(&gpu, commands);
    begin_sum();
    add_image(&gpu, &image, NULL);
    end_sum("levels");
    free_image(&gpu, &image);
}

static struct image make_shape(const VkImageCreateInfo* info, uint32_t texel)
{
    const struct image image = finish_image(&gpu, info);
    VkImageLayout layout = VK_IMAGE_LAYOUT_UNDEFINED;
    for (uint32_t level = 0; level < info->mipLevels; ++level) {
        const VkDeviceSize size = (VkDeviceSize)(info->extent.width >> level) *
                                  (info->extent.height > 1 ? info->extent.height >> level : 1) *
                                  info->extent.depth * info->arrayLayers * texel;
        make_texels(level);
        set_image(&gpu, &image, level, texels, size, layout, VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
        layout = VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL;
    }
    return image;
}

static void make_shapes(struct image* images)
{
    const VkImageUsageFlags usage = VK_IMAGE_USAGE_SAMPLED_BIT | VK_IMAGE_USAGE_TRANSFER_DST_BIT;
    VkImageCreateInfo volume = plain_image(plain, 16, 8, usage);
    volume.imageType = VK_IMAGE_TYPE_3D;
    volume.extent.depth = 12;
    VkImageCreateInfo cube = plain_image(plain, 32, 32, usage);
    cube.flags = VK_IMAGE_CREATE_CUBE_COMPATIBLE_BIT;
    cube.arrayLayers = 6;
    VkImageCreateInfo layers = plain_image(plain, 16, 16, usage);
    layers.arrayLayers = 5;
    layers.mipLevels = 2;
    VkImageCreateInfo line = plain_image(plain, 64, 1, usage);
    line.imageType = VK_IMAGE_TYPE_1D;
    const VkImageCreateInfo numbers = plain_image(VK_FORMAT_R32G32_UINT, 4, 4, usage);
    images[0] = make_shape(&volume, 4);
    images[1] = make_shape(&cube, 4);
    images[2] = make_shape(&layers, 4);
    images[3] = make_shape(&line, 4);
    images[4] = make_shape(&numbers, 8);
}

static void shapes(void)
{
    enum
    {
        count = 5
    };
    struct image images[count];
    make_shapes(images);
    struct buffer results = make_buffer(&gpu, 96 * 16, VK_BUFFER_USAGE_STORAGE_BUFFER_BIT, NULL);
    const VkDescriptorType pair = VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER;
    const VkDescriptorType types[] = {pair, pair, pair, pair, pair, VK_DESCRIPTOR_TYPE_STORAGE_BUFFER};
    const VkSampler smooth = make_sampler(&gpu, VK_FILTER_LINEAR, VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE);
    const VkSampler near = make_sampler(&gpu, VK_FILTER_NEAREST, VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_EDGE);
    struct kernel kernel = make_kernel(&gpu, SHADER(&gpu, shapes_comp), COUNT(types), types, 0);
    for (uint32_t i = 0; i < count; ++i)
        write_image(&gpu, kernel.set, i, pair, i == 4 ? near : smooth, images[i].view,
                    VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
    write_buffer(&gpu, kernel.set, count, types[count], &results, 0, VK_WHOLE_SIZE);
    const VkCommandBuffer commands = begin_commands(&gpu);
    bind_kernel(commands, &kernel);
    vkCmdDispatch(commands, 1, 1, 1);
    run_commands(&gpu, commands);
    begin_sum();
    add_buffer(&gpu, &results);
    end_sum("all shapes, sampled");
    free_kernel(&gpu, &kernel);
    vkDestroySampler(gpu.device, smooth, NULL);
    vkDestroySampler(gpu.device, near, NULL);
    free_buffer(&gpu, &results);
    for (int i = 0; i < count; ++i)
        free_image(&gpu, &images[i]);
}

int main(int count, char** arguments)
{
    take_options(count, arguments);
    gpu = open_gpu();
    copies();
    blits();
    converting_blits();
    resolves();
    levels();
    shapes();
    close_gpu(&gpu);
    return 0;
}
