/* A triangle whose place, size and colour are push constants; topologies, dynamic state, blending, culling,
 * geometry and tessellation. vk_triangle [--frames N] [--pictures FOLDER] */

#include "vk_drawing.h"

#include "even.tesc.h"
#include "even.tese.h"
#include "fan.geom.h"
#include "triangle.frag.h"
#include "triangle.vert.h"

#include <stdio.h>

static struct gpu gpu;
static struct canvas canvas;
static VkPipelineLayout layout;

struct place
{
    float x, y, angle, size;
};

static void push(VkCommandBuffer commands, struct place place, const float tint[4])
{
    vkCmdPushConstants(commands, layout, VK_SHADER_STAGE_VERTEX_BIT, 0, sizeof place, &place);
    vkCmdPushConstants(commands, layout, VK_SHADER_STAGE_FRAGMENT_BIT, 16, 16, tint);
}

static const float white[4] = {1, 1, 1, 1};
static const float faint[4] = {0.5f, 1, 0.75f, 0.5f};

static void begin_parts(struct pipeline_parts* parts)
{
    plain_parts(parts, layout, canvas.pass, canvas.extent);
    add_stage(parts, VK_SHADER_STAGE_VERTEX_BIT, SHADER(&gpu, triangle_vert));
    add_stage(parts, VK_SHADER_STAGE_FRAGMENT_BIT, SHADER(&gpu, triangle_frag));
}

static VkPipeline end_parts(struct pipeline_parts* parts)
{
    const VkPipeline pipeline = make_pipeline(&gpu, parts);
    free_stages(&gpu, parts);
    return pipeline;
}

static VkCommandBuffer begin_drawing(VkPipeline pipeline)
{
    const VkCommandBuffer commands = begin_commands(&gpu);
    begin_pass(commands, &canvas, VK_SUBPASS_CONTENTS_INLINE);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline);
    return commands;
}

/* Draws are over; the pipeline goes. */
static void end_drawing(VkCommandBuffer commands, VkPipeline pipeline, const char* subject)
{
    vkCmdEndRenderPass(commands);
    run_commands(&gpu, commands);
    print_canvas(&gpu, &canvas, subject);
    vkDestroyPipeline(gpu.device, pipeline, NULL);
}

static void turning(int frames)
{
    struct pipeline_parts parts;
    begin_parts(&parts);
    const VkPipeline pipeline = end_parts(&parts);
    for (int frame = 0; frame < frames; ++frame) {
        char subject[32];
        snprintf(subject, sizeof subject, "frame %d", frame);
        const VkCommandBuffer commands = begin_drawing(pipeline);
        const struct place place = {0.125f, -0.125f, 0.3f * (float)frame, 1};
        push(commands, place, white);
        vkCmdDraw(commands, 3, 1, 0, 0);
        vkCmdEndRenderPass(commands);
        run_commands(&gpu, commands);
        print_canvas(&gpu, &canvas, subject);
    }
    vkDestroyPipeline(gpu.device, pipeline, NULL);
}

static void topologies(void)
{
    static const struct
    {
        VkPrimitiveTopology topology;
        const char* subject;
    } cases[] = {{VK_PRIMITIVE_TOPOLOGY_POINT_LIST, "points"},
                 {VK_PRIMITIVE_TOPOLOGY_LINE_LIST, "lines"},
                 {VK_PRIMITIVE_TOPOLOGY_LINE_STRIP, "line strip"},
                 {VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP, "triangle strip"},
                 {VK_PRIMITIVE_TOPOLOGY_TRIANGLE_FAN, "triangle fan"}};
    for (uint32_t i = 0; i < COUNT(cases); ++i) {
        struct pipeline_parts parts;
        begin_parts(&parts);
        parts.assembly.topology = cases[i].topology;
        const VkPipeline pipeline = end_parts(&parts);
        const VkCommandBuffer commands = begin_drawing(pipeline);
        const struct place place = {0, 0, (float)i, 1.2f};
        push(commands, place, white);
        vkCmdDraw(commands, 4, 1, 1, 0);
        end_drawing(commands, pipeline, cases[i].subject);
    }
}

static const VkDynamicState moving[] = {VK_DYNAMIC_STATE_VIEWPORT, VK_DYNAMIC_STATE_SCISSOR,
                                        VK_DYNAMIC_STATE_LINE_WIDTH, VK_DYNAMIC_STATE_BLEND_CONSTANTS};

/* Four quarters, each with a viewport and a scissor of its own. */
static void dynamic_viewports(void)
{
    struct pipeline_parts parts;
    begin_parts(&parts);
    parts.view.pViewports = NULL;
    parts.view.pScissors = NULL;
    parts.dynamic.dynamicStateCount = 2;
    parts.dynamic.pDynamicStates = moving;
    const VkPipeline pipeline = end_parts(&parts);
    const VkCommandBuffer commands = begin_drawing(pipeline);
    const float width = (float)canvas.extent.width / 2, height = (float)canvas.extent.height / 2;
    for (int i = 0; i < 4; ++i) {
        const float left = (float)(i % 2) * width, top = (float)(i / 2) * height;
        const VkViewport viewport = {left, top, width, height - 3.5f, 0.25f, 0.75f};
        const VkRect2D scissor = {{(int32_t)left + 5 * i, (int32_t)top + 3}, {60, 40}};
        vkCmdSetViewport(commands, 0, 1, &viewport);
        vkCmdSetScissor(commands, 0, 1, &scissor);
        const struct place place = {0, 0, (float)i, 1.2f};
        push(commands, place, white);
        vkCmdDraw(commands, 3, 1, 0, 0);
    }
    end_drawing(commands, pipeline, "viewports and scissors");
}

static void wide_lines(void)
{
    if (!gpu.features.wideLines) {
        printf("%-32s not supported\n", "line widths");
        return;
    }
    struct pipeline_parts parts;
    begin_parts(&parts);
    parts.assembly.topology = VK_PRIMITIVE_TOPOLOGY_LINE_STRIP;
    parts.dynamic.dynamicStateCount = 1;
    parts.dynamic.pDynamicStates = moving + 2;
    const VkPipeline pipeline = end_parts(&parts);
    const VkCommandBuffer commands = begin_drawing(pipeline);
    for (int i = 0; i < 5; ++i) {
        const struct place place = {0, 0, (float)i / 3, 1};
        push(commands, place, white);
        vkCmdSetLineWidth(commands, 1.0f + (float)i * 1.5f);
        vkCmdDraw(commands, 3, 1, 0, 0);
    }
    end_drawing(commands, pipeline, "line widths");
}

static void blending(void)
{
    struct pipeline_parts parts;
    begin_parts(&parts);
    const VkPipelineColorBlendAttachmentState blend = {VK_TRUE,
                                                       VK_BLEND_FACTOR_CONSTANT_COLOR,
                                                       VK_BLEND_FACTOR_ONE_MINUS_SRC_ALPHA,
                                                       VK_BLEND_OP_ADD,
                                                       VK_BLEND_FACTOR_ONE,
                                                       VK_BLEND_FACTOR_ZERO,
                                                       VK_BLEND_OP_REVERSE_SUBTRACT,
                                                       VK_COLOR_COMPONENT_R_BIT | VK_COLOR_COMPONENT_B_BIT |
                                                           VK_COLOR_COMPONENT_A_BIT};
    parts.blends[0] = blend;
    parts.dynamic.dynamicStateCount = 1;
    parts.dynamic.pDynamicStates = moving + 3;
    const VkPipeline pipeline = end_parts(&parts);
    const VkCommandBuffer commands = begin_drawing(pipeline);
    for (int i = 0; i < 4; ++i) {
        const struct place place = {(float)i / 4 - 0.5f, 0, (float)i, 0.9f};
        push(commands, place, faint);
        const float constants[4] = {0.25f * (float)i, 1, 1 - 0.25f * (float)i, 0.5f};
        vkCmdSetBlendConstants(commands, constants);
        vkCmdDraw(commands, 3, 1, 0, 0);
    }
    end_drawing(commands, pipeline, "blend constants");
}

static void culling(void)
{
    struct pipeline_parts parts;
    begin_parts(&parts);
    parts.raster.cullMode = VK_CULL_MODE_BACK_BIT;
    parts.raster.frontFace = VK_FRONT_FACE_CLOCKWISE;
    if (gpu.features.fillModeNonSolid)
        parts.raster.polygonMode = VK_POLYGON_MODE_LINE;
    const VkPipeline pipeline = end_parts(&parts);
    const VkCommandBuffer commands = begin_drawing(pipeline);
    for (int i = 0; i < 4; ++i) {
        const struct place place = {(float)i / 4 - 0.5f, 0, (float)i, i % 2 ? 0.8f : -0.8f};
        push(commands, place, white);
        vkCmdDraw(commands, 3, 1, (uint32_t)i, 0);
    }
    end_drawing(commands, pipeline, "culling and wires");
}

static void geometry(void)
{
    if (!gpu.features.geometryShader) {
        printf("%-32s not supported\n", "geometry shader");
        return;
    }
    struct pipeline_parts parts;
    begin_parts(&parts);
    add_stage(&parts, VK_SHADER_STAGE_GEOMETRY_BIT, SHADER(&gpu, fan_geom));
    const VkPipeline pipeline = end_parts(&parts);
    const VkCommandBuffer commands = begin_drawing(pipeline);
    const struct place place = {0, 0, 0.5f, 1};
    push(commands, place, white);
    vkCmdDraw(commands, 3, 1, 0, 0);
    end_drawing(commands, pipeline, "geometry shader");
}

static void tessellation(void)
{
    if (!gpu.features.tessellationShader) {
        printf("%-32s not supported\n", "tessellation");
        return;
    }
    struct pipeline_parts parts;
    begin_parts(&parts);
    add_stage(&parts, VK_SHADER_STAGE_TESSELLATION_CONTROL_BIT, SHADER(&gpu, even_tesc));
    add_stage(&parts, VK_SHADER_STAGE_TESSELLATION_EVALUATION_BIT, SHADER(&gpu, even_tese));
    parts.assembly.topology = VK_PRIMITIVE_TOPOLOGY_PATCH_LIST;
    parts.tessellation.patchControlPoints = 3;
    if (gpu.features.fillModeNonSolid)
        parts.raster.polygonMode = VK_POLYGON_MODE_LINE;
    const VkPipeline pipeline = end_parts(&parts);
    const VkCommandBuffer commands = begin_drawing(pipeline);
    const struct place place = {0, 0, 0, 1.2f};
    push(commands, place, white);
    vkCmdDraw(commands, 3, 1, 0, 0);
    end_drawing(commands, pipeline, "tessellation");
}

int main(int count, char** arguments)
{
    take_options(count, arguments);
    gpu = open_gpu();
    canvas = open_canvas(&gpu, 160, 120);
    const VkPushConstantRange ranges[] = {{VK_SHADER_STAGE_VERTEX_BIT, 0, sizeof(struct place)},
                                          {VK_SHADER_STAGE_FRAGMENT_BIT, 16, 16}};
    layout = make_layout(&gpu, 0, NULL, COUNT(ranges), ranges);
    turning(number_option(count, arguments, "--frames", 3));
    topologies();
    dynamic_viewports();
    wide_lines();
    blending();
    culling();
    geometry();
    tessellation();
    vkDestroyPipelineLayout(gpu.device, layout, NULL);
    close_canvas(&gpu, &canvas);
    close_gpu(&gpu);
    return 0;
}
