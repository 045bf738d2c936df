/* A pass of three subpasses that read what those before have drawn, from input attachments; one attachment is
 * carried past the second. vk_subpasses [--pictures FOLDER] */

#include "vk_drawing.h"

#include "read_depth.frag.h"
#include "read_three.frag.h"
#include "screen.vert.h"
#include "slanted.vert.h"
#include "two_outputs.frag.h"

static struct gpu gpu;
static const VkExtent2D extent = {128, 96};

enum
{
    drawn,
    depth,
    fogged,
    inverse,
    mixed,
    attachment_count
};
static struct image images[attachment_count];
static VkDescriptorSetLayout set_layout;
static VkPipelineLayout layout;
static VkDescriptorPool pool;
static VkDescriptorSet set;

static const VkFormat formats[attachment_count] = {VK_FORMAT_R8G8B8A8_UNORM, VK_FORMAT_D16_UNORM,
                                                   VK_FORMAT_R8G8B8A8_UNORM, VK_FORMAT_R8G8B8A8_UNORM,
                                                   VK_FORMAT_R8G8B8A8_UNORM};

static void make_attachments(void)
{
    for (int i = 0; i < attachment_count; ++i) {
        const VkImageUsageFlags kind =
            i == depth ? VK_IMAGE_USAGE_DEPTH_STENCIL_ATTACHMENT_BIT : VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT;
        images[i] = make_image(&gpu, formats[i], extent.width, extent.height,
                               kind | VK_IMAGE_USAGE_INPUT_ATTACHMENT_BIT | VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
    }
}

static void make_input_set(void)
{
    VkDescriptorSetLayoutBinding bindings[4];
    for (uint32_t i = 0; i < COUNT(bindings); ++i) {
        const VkDescriptorSetLayoutBinding binding = {i, VK_DESCRIPTOR_TYPE_INPUT_ATTACHMENT, 1,
                                                      VK_SHADER_STAGE_FRAGMENT_BIT, NULL};
        bindings[i] = binding;
    }
    const VkDescriptorPoolSize size = {VK_DESCRIPTOR_TYPE_INPUT_ATTACHMENT, 4};
    const VkPushConstantRange range = {VK_SHADER_STAGE_VERTEX_BIT, 0, 48};
    set_layout = make_set_layout(&gpu, COUNT(bindings), bindings);
    layout = make_layout(&gpu, 1, &set_layout, 1, &range);
    pool = make_pool(&gpu, 1, 1, &size);
    set = make_set(&gpu, pool, set_layout);
    for (uint32_t i = 0; i < COUNT(bindings); ++i)
        write_image(&gpu, set, i, VK_DESCRIPTOR_TYPE_INPUT_ATTACHMENT, VK_NULL_HANDLE, images[i].view,
                    i == depth ? VK_IMAGE_LAYOUT_DEPTH_STENCIL_READ_ONLY_OPTIMAL
                               : VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL);
}

static VkSubpassDependency dependency(uint32_t from, uint32_t to)
{
    const VkPipelineStageFlags tests = VK_PIPELINE_STAGE_LATE_FRAGMENT_TESTS_BIT;
    const VkSubpassDependency made = {
        from,
        to,
        VK_PIPELINE_STAGE_COLOR_ATTACHMENT_OUTPUT_BIT | tests,
        to == VK_SUBPASS_EXTERNAL ? VK_PIPELINE_STAGE_TRANSFER_BIT : VK_PIPELINE_STAGE_FRAGMENT_SHADER_BIT,
        VK_ACCESS_COLOR_ATTACHMENT_WRITE_BIT | VK_ACCESS_DEPTH_STENCIL_ATTACHMENT_WRITE_BIT,
        to == VK_SUBPASS_EXTERNAL ? VK_ACCESS_TRANSFER_READ_BIT : VK_ACCESS_INPUT_ATTACHMENT_READ_BIT,
        to == VK_SUBPASS_EXTERNAL ? 0 : VK_DEPENDENCY_BY_REGION_BIT};
    return made;
}

static VkRenderPass make_pass(void)
{
    VkAttachmentDescription attachments[attachment_count] = {{.format = VK_FORMAT_UNDEFINED}};
    for (int i = 0; i < attachment_count; ++i) {
        attachments[i].format = formats[i];
        attachments[i].samples = VK_SAMPLE_COUNT_1_BIT;
        attachments[i].loadOp = VK_ATTACHMENT_LOAD_OP_CLEAR;
        attachments[i].finalLayout = VK_IMAGE_LAYOUT_TRANSFER_SRC_OPTIMAL;
    }
    const VkImageLayout colour = VK_IMAGE_LAYOUT_COLOR_ATTACHMENT_OPTIMAL;
    const VkImageLayout read = VK_IMAGE_LAYOUT_SHADER_READ_ONLY_OPTIMAL;
    const VkAttachmentReference first[] = {{drawn, colour}, {inverse, colour}};
    const VkAttachmentReference tested = {depth, VK_IMAGE_LAYOUT_DEPTH_STENCIL_ATTACHMENT_OPTIMAL};
    const VkAttachmentReference second_in[] = {{drawn, read},
                                               {depth, VK_IMAGE_LAYOUT_DEPTH_STENCIL_READ_ONLY_OPTIMAL}};
    const VkAttachmentReference second_out = {fogged, colour};
    const VkAttachmentReference third_in[] = {
        {drawn, read}, {VK_ATTACHMENT_UNUSED, VK_IMAGE_LAYOUT_UNDEFINED}, {fogged, read}, {inverse, read}};
    const VkAttachmentReference third_out[] = {{mixed, colour},
                                               {VK_ATTACHMENT_UNUSED, VK_IMAGE_LAYOUT_UNDEFINED}};
    const uint32_t carried = inverse;
    const VkSubpassDescription subpasses[] = {{.colorAttachmentCount = COUNT(first),
                                               .pColorAttachments = first,
                                               .pDepthStencilAttachment = &tested},
                                              {.inputAttachmentCount = COUNT(second_in),
                                               .pInputAttachments = second_in,
                                               .colorAttachmentCount = 1,
                                               .pColorAttachments = &second_out,
                                               .preserveAttachmentCount = 1,
                                               .pPreserveAttachments = &carried},
                                              {.inputAttachmentCount = COUNT(third_in),
                                               .pInputAttachments = third_in,
                                               .colorAttachmentCount = COUNT(third_out),
                                               .pColorAttachments = third_out}};
    const VkSubpassDependency dependencies[] = {dependency(0, 1),
                                                dependency(1, 2),
                                                dependency(0, 2),
                                                dependency(0, VK_SUBPASS_EXTERNAL),
                                                dependency(1, VK_SUBPASS_EXTERNAL),
                                                dependency(2, VK_SUBPASS_EXTERNAL)};
    const VkRenderPassCreateInfo info = {.sType = VK_STRUCTURE_TYPE_RENDER_PASS_CREATE_INFO,
                                         .attachmentCount = attachment_count,
                                         .pAttachments = attachments,
                                         .subpassCount = COUNT(subpasses),
                                         .pSubpasses = subpasses,
                                         .dependencyCount = COUNT(dependencies),
                                         .pDependencies = dependencies};
    VkRenderPass pass = VK_NULL_HANDLE;
    VK(vkCreateRenderPass(gpu.device, &info, NULL, &pass));
    return pass;
}

static void make_pipelines(VkRenderPass pass, VkPipeline* pipelines)
{
    struct pipeline_parts parts;
    plain_parts(&parts, layout, pass, extent);
    parts.assembly.topology = VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP;
    add_stage(&parts, VK_SHADER_STAGE_VERTEX_BIT, SHADER(&gpu, slanted_vert));
    add_stage(&parts, VK_SHADER_STAGE_FRAGMENT_BIT, SHADER(&gpu, two_outputs_frag));
    parts.depth.depthTestEnable = VK_TRUE;
    parts.depth.depthWriteEnable = VK_TRUE;
    parts.depth.depthCompareOp = VK_COMPARE_OP_LESS;
    parts.blend.attachmentCount = 2;
    pipelines[0] = make_pipeline(&gpu, &parts);
    free_stages(&gpu, &parts);
    for (uint32_t i = 1; i < 3; ++i) {
        plain_parts(&parts, layout, pass, extent);
        parts.info.subpass = i;
        parts.blend.attachmentCount = i;
        add_stage(&parts, VK_SHADER_STAGE_VERTEX_BIT, SHADER(&gpu, screen_vert));
        add_stage(&parts, VK_SHADER_STAGE_FRAGMENT_BIT,
                  i == 1 ? SHADER(&gpu, read_depth_frag) : SHADER(&gpu, read_three_frag));
        pipelines[i] = make_pipeline(&gpu, &parts);
        free_stages(&gpu, &parts);
    }
}

static void draw_squares(VkCommandBuffer commands)
{
    for (int i = 0; i < 4; ++i) {
        const float x = (float)i;
        const float square[12] = {x * 0.4f - 0.6f, x * 0.1f, 0.5f, 0.6f, 0.25f * x,
                                  1 - 0.25f * x,   0,        0,    1,    0.3f * x,
                                  1 - 0.3f * x,    1};
        vkCmdPushConstants(commands, layout, VK_SHADER_STAGE_VERTEX_BIT, 0, sizeof square, square);
        vkCmdDraw(commands, 4, 1, 0, 0);
    }
}

static void draw(VkRenderPass pass, VkFramebuffer framebuffer, const VkPipeline* pipelines)
{
    VkClearValue values[attachment_count] = {{.color = {.float32 = {0, 0, 0.25f, 1}}}};
    values[depth].depthStencil.depth = 1;
    values[inverse].color.float32[1] = 0.5f;
    const VkRenderPassBeginInfo info = {.sType = VK_STRUCTURE_TYPE_RENDER_PASS_BEGIN_INFO,
                                        .renderPass = pass,
                                        .framebuffer = framebuffer,
                                        .renderArea = {{0, 0}, extent},
                                        .clearValueCount = attachment_count,
                                        .pClearValues = values};
    const VkCommandBuffer commands = begin_commands(&gpu);
    vkCmdBeginRenderPass(commands, &info, VK_SUBPASS_CONTENTS_INLINE);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipelines[0]);
    draw_squares(commands);
    vkCmdBindDescriptorSets(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, layout, 0, 1, &set, 0, NULL);
    for (int i = 1; i < 3; ++i) {
        vkCmdNextSubpass(commands, VK_SUBPASS_CONTENTS_INLINE);
        vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipelines[i]);
        vkCmdDraw(commands, 3, 1, 0, 0);
    }
    vkCmdEndRenderPass(commands);
    run_commands(&gpu, commands);
}

int main(int count, char** arguments)
{
    take_options(count, arguments);
    gpu = open_gpu();
    make_attachments();
    make_input_set();
    const VkRenderPass pass = make_pass();
    VkImageView views[attachment_count];
    for (int i = 0; i < attachment_count; ++i)
        views[i] = images[i].view;
    const VkFramebuffer framebuffer = make_framebuffer(&gpu, pass, attachment_count, views, extent);
    VkPipeline pipelines[3];
    make_pipelines(pass, pipelines);
    draw(pass, framebuffer, pipelines);
    static const char* const subjects[attachment_count] = {"drawn", "depth", "fogged", "inverse", "mixed"};
    for (int i = 0; i < attachment_count; ++i) {
        begin_sum();
        add_image(&gpu, &images[i], subjects[i]);
        end_sum(subjects[i]);
        free_image(&gpu, &images[i]);
    }
    for (int i = 0; i < 3; ++i)
        vkDestroyPipeline(gpu.device, pipelines[i], NULL);
    vkDestroyFramebuffer(gpu.device, framebuffer, NULL);
    vkDestroyRenderPass(gpu.device, pass, NULL);
    vkDestroyDescriptorPool(gpu.device, pool, NULL);
    vkDestroyPipelineLayout(gpu.device, layout, NULL);
    vkDestroyDescriptorSetLayout(gpu.device, set_layout, NULL);
    close_gpu(&gpu);
    return 0;
}
