/* Depth and stencil: tests of all kinds, bias, clears inside and outside of passes, with one sample and with
 * several that are resolved. vk_depth [--pictures FOLDER] */

#include "vk_drawing.h"

#include "passed.frag.h"
#include "slanted.vert.h"

#include <stdio.h>
#include <stdlib.h>

static struct gpu gpu;
static VkPipelineLayout layout;
static VkFormat format; /* of depth and stencil together */
static const VkExtent2D extent = {120, 90};
static const VkImageLayout source = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL;

/* One of the two is there on every device. */
static VkFormat find_format(void)
{
    const VkFormat formats[] = {VK_FORMAT_D24_UNORM_S8_UINT, VK_FORMAT_D32_SFLOAT_S8_UINT};
    for (uint32_t i = 0; i < COUNT(formats); ++i) {
        VkFormatProperties properties;
        vkGetPhysicalDeviceFormatProperties(gpu.physical, formats[i], &properties);
        if (properties.optimalTilingFeatures & VK_FORMAT_FEATURE_DEPTH_STENCIL_ATTACHMENT_BIT)
            return formats[i];
    }
    check(0, "finding a format of depth and stencil");
    return VK_FORMAT_UNDEFINED;
}

/* What is drawn on: colour, depth with stencil, and a single sample of the colour where they have several. */
struct deep_canvas
{
    struct canvas canvas; /* its image is the one that is read */
    struct image samples, depth;
    VkSampleCountFlagBits count;
};

static VkAttachmentDescription attachment(VkFormat kind, VkSampleCountFlagBits count, VkImageLayout last)
{
    const VkAttachmentDescription description = {.format = kind,
                                                 .samples = count,
                                                 .loadOp = VK_ATTACHMENT_LOAD_OP_CLEAR,
                                                 .storeOp = VK_ATTACHMENT_STORE_OP_STORE,
                                                 .stencilLoadOp = VK_ATTACHMENT_LOAD_OP_CLEAR,
                                                 .stencilStoreOp = VK_ATTACHMENT_STORE_OP_STORE,
                                                 .initialLayout = VK_IMAGE_LAYOUT_UNDEFINED,
                                                 .finalLayout = last};
    return description;
}

static VkRenderPass make_pass(VkSampleCountFlagBits count)
{
    const int several = count != VK_SAMPLE_COUNT_1_BIT;
    const VkAttachmentDescription attachments[] = {
        attachment(VK_FORMAT_R8G8B8A8_UNORM, count,
                   several ? VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL : source),
        attachment(format, count, several ? VK_IMAGE_LAYOUT_DEPTH_STENCIL_ATTACHMENT_OPTIMAL : source),
        attachment(VK_FORMAT_R8G8B8A8_UNORM, VK_SAMPLE_COUNT_1_BIT, source)};
    const VkAttachmentReference colour = {0, VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL};
    const VkAttachmentReference depth = {1, VK_IMAGE_LAYOUT_DEPTH_STENCIL_ATTACHMENT_OPTIMAL};
    const VkAttachmentReference resolved = {2, VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL};
    const VkSubpassDescription subpass = {.colorAttachmentCount = 1,
                                          .pColorAttachments = &colour,
                                          .pResolveAttachments = several ? &resolved : NULL,
                                          .pDepthStencilAttachment = &depth};
    const VkPipelineStageFlags all = VK_PIPELINE_STAGE_ALL_COMMANDS_BIT;
    const VkPipelineStageFlags inside = VK_PIPELINE_STAGE_ALL_GRAPHICS_BIT;
    const VkAccessFlags access = VK_ACCESS_MEMORY_READ_BIT | VK_ACCESS_MEMORY_WRITE_BIT;
    const VkSubpassDependency dependencies[] = {{VK_SUBPASS_EXTERNAL, 0, all, inside, access, access, 0},
                                                {0, VK_SUBPASS_EXTERNAL, inside, all, access, access, 0}};
    const VkRenderPassCreateInfo info = {.sType = VK_STRUCTURE_TYPE_RENDER_PASS_CREATE_INFO,
                                         .attachmentCount = several ? 3 : 2,
                                         .pAttachments = attachments,
                                         .subpassCount = 1,
                                         .pSubpasses = &subpass,
                                         .dependencyCount = COUNT(dependencies),
                                         .pDependencies = dependencies};
    VkRenderPass pass = VK_NULL_HANDLE;
    VK(vkCreateRenderPass(gpu.device, &info, NULL, &pass));
    return pass;
}

static struct deep_canvas open_deep(VkSampleCountFlagBits count)
{
    struct deep_canvas deep = {.count = count};
    const int several = count != VK_SAMPLE_COUNT_1_BIT;
    deep.canvas.extent = extent;
    deep.canvas.image = make_image(&gpu, VK_FORMAT_R8G8B8A8_UNORM, extent.width, extent.height,
                                   VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
    VkImageCreateInfo info =
        plain_image(format, extent.width, extent.height,
                    VK_IMAGE_USAGE_DEPTH_STENCIL_ATTACHMENT_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
    info.samples = count;
    deep.depth = finish_image(&gpu, &info);
    if (several) {
        info.format = VK_FORMAT_R8G8B8A8_UNORM;
        info.usage = VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT | VK_IMAGE_USAGE_TRANSIENT_ATTACHMENT_BIT;
        deep.samples = finish_image(&gpu, &info);
    }
    const VkImageView views[] = {several ? deep.samples.view : deep.canvas.image.view, deep.depth.view,
                                 deep.canvas.image.view};
    deep.canvas.pass = make_pass(count);
    deep.canvas.framebuffer = make_framebuffer(&gpu, deep.canvas.pass, several ? 3 : 2, views, extent);
    return deep;
}

static void close_deep(struct deep_canvas* deep)
{
    close_canvas(&gpu, &deep->canvas);
    free_image(&gpu, &deep->depth);
    free_image(&gpu, &deep->samples);
}

static VkCommandBuffer begin_deep(const struct deep_canvas* deep)
{
    const VkClearValue values[] = {{.color = {.float32 = {0.25f, 0.25f, 0.25f, 1}}},
                                   {.depthStencil = {0.75f, 3}},
                                   {.color = {.float32 = {1, 1, 1, 1}}}};
    const VkRenderPassBeginInfo info = {.sType = VK_STRUCTURE_TYPE_RENDER_PASS_BEGIN_INFO,
                                        .renderPass = deep->canvas.pass,
                                        .framebuffer = deep->canvas.framebuffer,
                                        .renderArea = {{0, 0}, extent},
                                        .clearValueCount = COUNT(values),
                                        .pClearValues = values};
    const VkCommandBuffer commands = begin_commands(&gpu);
    vkCmdBeginRenderPass(commands, &info, VK_SUBPASS_CONTENTS_INLINE);
    return commands;
}

/* Depth and stencil are added where they have one sample, as others can't be copied to buffers. Only the 24
 * bits count of depth that has 24. */
static void add_depth(const struct deep_canvas* deep)
{
    struct image depth = deep->depth;
    VkDeviceSize size = 0;
    depth.aspects = VK_IMAGE_ASPECT_STENCIL_BIT;
    void* bytes = get_image(&gpu, &depth, 0, &size);
    add_bytes(bytes, size);
    free(bytes);
    depth.aspects = VK_IMAGE_ASPECT_DEPTH_BIT;
    uint32_t* const words = get_image(&gpu, &depth, 0, &size);
    for (VkDeviceSize i = 0; i < size / 4; ++i)
        words[i] &= format == VK_FORMAT_D24_UNORM_S8_UINT ? 0xffffffu : 0xffffffffu;
    add_bytes(words, size);
    free(words);
}

static void end_deep(VkCommandBuffer commands, const struct deep_canvas* deep, const char* subject)
{
    vkCmdEndRenderPass(commands);
    run_commands(&gpu, commands);
    char name[64];
    snprintf(name, sizeof name, "%s, %d samples", subject, (int)deep->count);
    begin_sum();
    add_canvas(&gpu, &deep->canvas, name);
    if (deep->count == VK_SAMPLE_COUNT_1_BIT)
        add_depth(deep);
    end_sum(name);
}

struct square
{
    float place_size[4], depths[2], unused[2], colour[4];
};

static void draw(VkCommandBuffer commands, float x, float left, float right, float shade)
{
    const struct square square = {{x, 0, 0.4f, 0.7f}, {left, right}, {0, 0}, {shade, 1 - shade, 0.5f, 1}};
    vkCmdPushConstants(commands, layout, VK_SHADER_STAGE_VERTEX_BIT, 0, sizeof square, &square);
    vkCmdDraw(commands, 4, 1, 0, 0);
}

static void begin_parts(struct pipeline_parts* parts, const struct deep_canvas* deep)
{
    plain_parts(parts, layout, deep->canvas.pass, extent);
    add_stage(parts, VK_SHADER_STAGE_VERTEX_BIT, SHADER(&gpu, slanted_vert));
    add_stage(parts, VK_SHADER_STAGE_FRAGMENT_BIT, SHADER(&gpu, passed_frag));
    parts->assembly.topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP;
    parts->samples.rasterizationSamples = deep->count;
}

static VkPipeline end_parts(struct pipeline_parts* parts)
{
    const VkPipeline pipeline = make_pipeline(&gpu, parts);
    free_stages(&gpu, parts);
    return pipeline;
}

static void depth_tests(const struct deep_canvas* deep)
{
    VkPipeline pipelines[8];
    for (int i = 0; i < 8; ++i) {
        struct pipeline_parts parts;
        begin_parts(&parts, deep);
        parts.depth.depthTestEnable = VK_TRUE;
        parts.depth.depthWriteEnable = i % 3 != 2;
        parts.depth.depthCompareOp = (VkCompareOp)i;
        pipelines[i] = end_parts(&parts);
    }
    const VkCommandBuffer commands = begin_deep(deep);
    for (int i = 0; i < 8; ++i) {
        vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipelines[i]);
        draw(commands, (float)i * 0.2f - 0.7f, 0.1f * (float)i, 1 - 0.1f * (float)i, (float)i / 7);
    }
    end_deep(commands, deep, "depth");
    for (int i = 0; i < 8; ++i)
        vkDestroyPipeline(gpu.device, pipelines[i], NULL);
}

/* Squares mark where they are, others draw only where marks say so; masks and references come later. */
static void stencil_tests(const struct deep_canvas* deep)
{
    static const VkDynamicState dynamic[] = {VK_DYNAMIC_STATE_STENCIL_COMPARE_MASK,
                                             VK_DYNAMIC_STATE_STENCIL_WRITE_MASK,
                                             VK_DYNAMIC_STATE_STENCIL_REFERENCE};
    struct pipeline_parts parts;
    begin_parts(&parts, deep);
    const VkStencilOpState count = {VK_STENCIL_OP_KEEP,
                                    VK_STENCIL_OP_INCREMENT_AND_CLAMP,
                                    VK_STENCIL_OP_INVERT,
                                    VK_COMPARE_OP_ALWAYS,
                                    255,
                                    255,
                                    0};
    const VkStencilOpState equal = {VK_STENCIL_OP_DECREMENT_AND_WRAP,
                                    VK_STENCIL_OP_REPLACE,
                                    VK_STENCIL_OP_ZERO,
                                    VK_COMPARE_OP_EQUAL,
                                    1,
                                    1,
                                    9};
    parts.depth.stencilTestEnable = VK_TRUE;
    parts.depth.front = count;
    parts.depth.back = count;
    VkPipeline pipelines[2];
    pipelines[0] = make_pipeline(&gpu, &parts);
    parts.depth.front = equal;
    parts.depth.back = equal;
    parts.dynamic.dynamicStateCount = COUNT(dynamic);
    parts.dynamic.pDynamicStates = dynamic;
    pipelines[1] = end_parts(&parts);
    const VkCommandBuffer commands = begin_deep(deep);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipelines[0]);
    for (int i = 0; i < 4; ++i)
        draw(commands, (float)i * 0.3f - 0.5f, 0.5f, 0.5f, 0.25f * (float)i);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipelines[1]);
    vkCmdSetStencilCompareMask(commands, VK_STENCIL_FACE_FRONT_BIT, 7);
    vkCmdSetStencilCompareMask(commands, VK_STENCIL_FACE_BACK_BIT, 7);
    vkCmdSetStencilWriteMask(commands, VK_STENCIL_FRONT_AND_BACK, 0x3f);
    for (uint32_t i = 0; i < 4; ++i) {
        vkCmdSetStencilReference(commands, VK_STENCIL_FRONT_AND_BACK, 4 + i);
        draw(commands, (float)i * 0.3f - 0.4f, 0.5f, 0.5f, 1 - 0.25f * (float)i);
    }
    end_deep(commands, deep, "stencil");
    for (int i = 0; i < 2; ++i)
        vkDestroyPipeline(gpu.device, pipelines[i], NULL);
}

static void bias_and_bounds(const struct deep_canvas* deep)
{
    static const VkDynamicState dynamic[] = {VK_DYNAMIC_STATE_DEPTH_BIAS, VK_DYNAMIC_STATE_DEPTH_BOUNDS};
    struct pipeline_parts parts;
    begin_parts(&parts, deep);
    parts.depth.depthTestEnable = VK_TRUE;
    parts.depth.depthWriteEnable = VK_TRUE;
    parts.depth.depthCompareOp = VK_COMPARE_OP_LESS;
    parts.raster.depthBiasEnable = VK_TRUE;
    parts.raster.depthClampEnable = gpu.features.depthClamp;
    parts.depth.depthBoundsTestEnable = gpu.features.depthBounds;
    parts.dynamic.dynamicStateCount = COUNT(dynamic);
    parts.dynamic.pDynamicStates = dynamic;
    const VkPipeline pipeline = end_parts(&parts);
    const VkCommandBuffer commands = begin_deep(deep);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline);
    for (int i = 0; i < 5; ++i) {
        vkCmdSetDepthBias(commands, 1000.0f * (float)i, 0, (float)(2 - i) * 0.5f);
        vkCmdSetDepthBounds(commands, 0.125f * (float)i, 1);
        draw(commands, (float)i * 0.25f - 0.5f, -0.25f, 0.9f, 0.2f * (float)i);
    }
    end_deep(commands, deep, "bias and bounds");
    vkDestroyPipeline(gpu.device, pipeline, NULL);
}

/* Rectangles of attachments, cleared in the middle of a pass. */
static void clear_attachments(const struct deep_canvas* deep)
{
    const VkClearAttachment whole[] = {
        {VK_IMAGE_ASPECT_COLOR_BIT, 0, {.color = {.float32 = {1, 0.5f, 0, 1}}}},
        {VK_IMAGE_ASPECT_DEPTH_BIT | VK_IMAGE_ASPECT_STENCIL_BIT, 0, {.depthStencil = {0.25f, 77}}}};
    const VkClearAttachment stencil[] = {{VK_IMAGE_ASPECT_STENCIL_BIT, 0, {.depthStencil = {1, 200}}}};
    const VkClearRect first[] = {{{{10, 10}, {30, 20}}, 0, 1}, {{{60, 5}, {13, 70}}, 0, 1}};
    const VkClearRect second[] = {{{{20, 15}, {80, 30}}, 0, 1}};
    struct pipeline_parts parts;
    begin_parts(&parts, deep);
    parts.depth.depthTestEnable = VK_TRUE;
    parts.depth.depthCompareOp = VK_COMPARE_OP_GREATER;
    const VkPipeline pipeline = end_parts(&parts);
    const VkCommandBuffer commands = begin_deep(deep);
    vkCmdClearAttachments(commands, COUNT(whole), whole, COUNT(first), first);
    vkCmdClearAttachments(commands, COUNT(stencil), stencil, COUNT(second), second);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline);
    draw(commands, 0, 0.3f, 0.9f, 0);
    end_deep(commands, deep, "cleared attachments");
    vkDestroyPipeline(gpu.device, pipeline, NULL);
}

/* Outside of passes, the depth and the stencil of an image, each alone. */
static void clear_images(void)
{
    struct image image =
        make_image(&gpu, format, 32, 16, VK_IMAGE_USAGE_TRANSFER_DST_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
    const VkImageLayout target = VK_IMAGE_LAYOUT_TRANSFER_DST_OPTIMAL;
    const VkClearDepthStencilValue values[] = {{0.5f, 11}, {0.125f, 99}};
    VkImageSubresourceRange range = whole_image(&image);
    const VkCommandBuffer commands = begin_commands(&gpu);
    change_layout(commands, &image, VK_IMAGE_LAYOUT_UNDEFINED, target);
    vkCmdClearDepthStencilImage(commands, image.handle, target, &values[0], 1, &range);
    change_layout(commands, &image, target, target);
    range.aspectMask = VK_IMAGE_ASPECT_STENCIL_BIT;
    vkCmdClearDepthStencilImage(commands, image.handle, target, &values[1], 1, &range);
    change_layout(commands, &image, target, source);
    run_commands(&gpu, commands);
    const struct deep_canvas deep = {.depth = image};
    begin_sum();
    add_depth(&deep);
    end_sum("cleared image");
    free_image(&gpu, &image);
}

/* Colours at the edges follow from which samples are covered; a mask leaves some out. */
static void masked_samples(const struct deep_canvas* deep)
{
    const VkSampleMask masks[] = {1, 6, 15};
    VkPipeline pipelines[COUNT(masks)];
    for (uint32_t i = 0; i < COUNT(masks); ++i) {
        struct pipeline_parts parts;
        begin_parts(&parts, deep);
        parts.samples.pSampleMask = &masks[i];
        parts.samples.alphaToCoverageEnable = i == 2;
        parts.samples.sampleShadingEnable = i == 1 && gpu.features.sampleRateShading;
        parts.samples.minSampleShading = 1;
        pipelines[i] = end_parts(&parts);
    }
    const VkCommandBuffer commands = begin_deep(deep);
    for (uint32_t i = 0; i < COUNT(masks); ++i) {
        vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipelines[i]);
        draw(commands, (float)i * 0.37f - 0.5f, 0.5f, 0.5f, 0.4f * (float)i);
    }
    end_deep(commands, deep, "sample masks");
    for (uint32_t i = 0; i < COUNT(masks); ++i)
        vkDestroyPipeline(gpu.device, pipelines[i], NULL);
}

int main(int count, char** arguments)
{
    take_options(count, arguments);
    gpu = open_gpu();
    format = find_format();
    const VkPushConstantRange range = {VK_SHADER_STAGE_VERTEX_BIT, 0, sizeof(struct square)};
    layout = make_layout(&gpu, 0, NULL, 1, &range);
    const VkSampleCountFlagBits counts[] = {VK_SAMPLE_COUNT_1_BIT, VK_SAMPLE_COUNT_4_BIT};
    for (uint32_t i = 0; i < COUNT(counts); ++i) {
        struct deep_canvas deep = open_deep(counts[i]);
        depth_tests(&deep);
        stencil_tests(&deep);
        bias_and_bounds(&deep);
        clear_attachments(&deep);
        masked_samples(&deep);
        close_deep(&deep);
    }
    clear_images();
    vkDestroyPipelineLayout(gpu.device, layout, NULL);
    close_gpu(&gpu);
    return 0;
}
