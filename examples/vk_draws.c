/* Draws in all forms: vertex buffers of several bindings, indexed with both widths, restarted, instanced, and
 * from commands in buffers. vk_draws [--pictures FOLDER] */

#include "vk_drawing.h"

#include "passed.frag.h"
#include "vertices.vert.h"

#include <stddef.h>
#include <stdio.h>

static struct gpu gpu;
static struct canvas canvas;
static VkPipelineLayout layout;

struct vertex
{
    float x, y;
    uint8_t red, green, blue, alpha;
};
/* A row of 16 vertices in zigzag. */
enum
{
    vertex_count = 16,
    instance_count = 6
};
static struct buffer vertices, places, sizes;

static void make_vertices(void)
{
    struct vertex data[vertex_count];
    for (int i = 0; i < vertex_count; ++i) {
        const struct vertex vertex = {
            (float)(i / 2) / 8 - 0.5f, (i % 2 ? 0.25f : -0.25f) * (1 + (float)i / 16),
            (uint8_t)(i * 16),         (uint8_t)(255 - i * 13),
            (uint8_t)(i * 61),         255};
        data[i] = vertex;
    }
    float where[instance_count][2], scales[instance_count];
    for (int i = 0; i < instance_count; ++i) {
        where[i][0] = (float)i * 0.2f - 0.4f;
        where[i][1] = (float)i * 0.3f - 0.7f;
        scales[i] = 1 - (float)i * 0.1f;
    }
    vertices = make_buffer(&gpu, sizeof data, VK_BUFFER_USAGE_VERTEX_BUFFER_BIT, data);
    places = make_buffer(&gpu, sizeof where, VK_BUFFER_USAGE_VERTEX_BUFFER_BIT, where);
    sizes = make_buffer(&gpu, sizeof scales, VK_BUFFER_USAGE_VERTEX_BUFFER_BIT, scales);
}

static VkPipeline make_drawing(VkPrimitiveTopology topology, VkBool32 restart)
{
    static const VkVertexInputBindingDescription bindings[] = {
        {0, sizeof(struct vertex), VK_VERTEX_INPUT_RATE_VERTEX},
        {3, 8, VK_VERTEX_INPUT_RATE_INSTANCE},
        {5, 4, VK_VERTEX_INPUT_RATE_INSTANCE}};
    static const VkVertexInputAttributeDescription attributes[] = {
        {0, 0, VK_FORMAT_R32G32_SFLOAT, 0},
        {1, 0, VK_FORMAT_R8G8B8A8_UNORM, offsetof(struct vertex, red)},
        {2, 3, VK_FORMAT_R32G32_SFLOAT, 0},
        {4, 5, VK_FORMAT_R32_SFLOAT, 0}};
    struct pipeline_parts parts;
    plain_parts(&parts, layout, canvas.pass, canvas.extent);
    add_stage(&parts, VK_SHADER_STAGE_VERTEX_BIT, SHADER(&gpu, vertices_vert));
    add_stage(&parts, VK_SHADER_STAGE_FRAGMENT_BIT, SHADER(&gpu, passed_frag));
    parts.vertex.vertexBindingDescriptionCount = COUNT(bindings);
    parts.vertex.pVertexBindingDescriptions = bindings;
    parts.vertex.vertexAttributeDescriptionCount = COUNT(attributes);
    parts.vertex.pVertexAttributeDescriptions = attributes;
    parts.assembly.topology = topology;
    parts.assembly.primitiveRestartEnable = restart;
    const VkPipeline pipeline = make_pipeline(&gpu, &parts);
    free_stages(&gpu, &parts);
    return pipeline;
}

static VkCommandBuffer begin_drawing(VkPipeline pipeline)
{
    const VkCommandBuffer commands = begin_commands(&gpu);
    begin_pass(commands, &canvas, VK_SUBPASS_CONTENTS_INLINE);
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_GRAPHICS, pipeline);
    const VkDeviceSize offsets[] = {0, 0};
    const VkBuffer handles[] = {vertices.handle, places.handle};
    vkCmdBindVertexBuffers(commands, 0, 1, handles, offsets);
    vkCmdBindVertexBuffers(commands, 3, 1, handles + 1, offsets);
    vkCmdBindVertexBuffers(commands, 5, 1, &sizes.handle, offsets);
    return commands;
}

static void end_drawing(VkCommandBuffer commands, const char* subject)
{
    vkCmdEndRenderPass(commands);
    run_commands(&gpu, commands);
    print_canvas(&gpu, &canvas, subject);
}

static void plain_draws(VkPipeline pipeline)
{
    VkCommandBuffer commands = begin_drawing(pipeline);
    vkCmdDraw(commands, 8, 1, 0, 0);
    vkCmdDraw(commands, 5, 1, 9, 3);
    end_drawing(commands, "first vertex and instance");
    commands = begin_drawing(pipeline);
    vkCmdDraw(commands, vertex_count, instance_count, 0, 0);
    end_drawing(commands, "instances");
    commands = begin_drawing(pipeline);
    const VkDeviceSize offsets[] = {2 * sizeof(struct vertex), 8};
    vkCmdBindVertexBuffers(commands, 0, 1, &vertices.handle, offsets);
    vkCmdBindVertexBuffers(commands, 3, 1, &places.handle, offsets + 1);
    vkCmdDraw(commands, 7, 3, 1, 1);
    vkCmdDraw(commands, 0, 3, 1, 1);
    vkCmdDraw(commands, 7, 0, 1, 1);
    end_drawing(commands, "buffers with offsets");
}

static void indexed_draws(VkPipeline pipeline)
{
    static const uint16_t narrow[] = {9, 0, 1, 2, 3, 6, 7, 5, 4, 1, 12, 15};
    static const uint32_t wide[] = {70000, 69990, 69991, 69992, 69993, 69989};
    struct buffer indices16 = make_buffer(&gpu, sizeof narrow, VK_BUFFER_USAGE_INDEX_BUFFER_BIT, narrow);
    struct buffer indices32 = make_buffer(&gpu, sizeof wide, VK_BUFFER_USAGE_INDEX_BUFFER_BIT, wide);
    VkCommandBuffer commands = begin_drawing(pipeline);
    vkCmdBindIndexBuffer(commands, indices16.handle, 0, VK_INDEX_TYPE_UINT16);
    vkCmdDrawIndexed(commands, 5, 1, 1, 0, 0);
    vkCmdBindIndexBuffer(commands, indices16.handle, 4, VK_INDEX_TYPE_UINT16);
    vkCmdDrawIndexed(commands, 5, 2, 2, 3, 2);
    end_drawing(commands, "indices of 16 bits");
    commands = begin_drawing(pipeline);
    vkCmdBindIndexBuffer(commands, indices32.handle, 4, VK_INDEX_TYPE_UINT32);
    vkCmdDrawIndexed(commands, 5, 1, 0, -69985, 0);
    vkCmdDrawIndexed(commands, 4, 1, 0, -69980, 4);
    end_drawing(commands, "indices of 32 bits");
    free_buffer(&gpu, &indices16);
    free_buffer(&gpu, &indices32);
}

static void restarted_draws(VkPipeline pipeline)
{
    static const uint16_t indices[] = {0, 1, 2, 3, 0xffff, 6, 7, 8, 9, 10, 0xffff, 13, 14, 15};
    struct buffer buffer = make_buffer(&gpu, sizeof indices, VK_BUFFER_USAGE_INDEX_BUFFER_BIT, indices);
    const VkCommandBuffer commands = begin_drawing(pipeline);
    vkCmdBindIndexBuffer(commands, buffer.handle, 0, VK_INDEX_TYPE_UINT16);
    vkCmdDrawIndexed(commands, COUNT(indices), 3, 0, 0, 1);
    end_drawing(commands, "restarted strips");
    free_buffer(&gpu, &buffer);
}

static void indirect_draws(VkPipeline pipeline)
{
    static const uint32_t draws[] = {
        0xdead, 8, 1, 0, 0, 0xdead, 5, 2, 9, 3, 0xdead, 4, 1, 0, 5, /* unused words between */
    };
    static const VkDrawIndexedIndirectCommand indexed[] = {{5, 1, 1, 0, 0}, {5, 2, 2, 3, 2}};
    static const uint16_t indices[] = {9, 0, 1, 2, 3, 6, 7, 5, 4, 1, 12, 15};
    struct buffer commands16 = make_buffer(&gpu, sizeof draws, VK_BUFFER_USAGE_INDIRECT_BUFFER_BIT, draws);
    struct buffer commands20 =
        make_buffer(&gpu, sizeof indexed, VK_BUFFER_USAGE_INDIRECT_BUFFER_BIT, indexed);
    struct buffer buffer = make_buffer(&gpu, sizeof indices, VK_BUFFER_USAGE_INDEX_BUFFER_BIT, indices);
    VkCommandBuffer commands = begin_drawing(pipeline);
    if (gpu.features.multiDrawIndirect && gpu.features.drawIndirectFirstInstance)
        vkCmdDrawIndirect(commands, commands16.handle, 4, 3, 20);
    else
        vkCmdDrawIndirect(commands, commands16.handle, 4, 1, 20);
    end_drawing(commands, "commands in a buffer");
    commands = begin_drawing(pipeline);
    vkCmdBindIndexBuffer(commands, buffer.handle, 0, VK_INDEX_TYPE_UINT16);
    vkCmdDrawIndexedIndirect(commands, commands20.handle, 0, 1, 20);
    if (gpu.features.drawIndirectFirstInstance)
        vkCmdDrawIndexedIndirect(commands, commands20.handle, 20, 1, 0);
    vkCmdDrawIndexedIndirect(commands, commands20.handle, 0, 0, 20);
    end_drawing(commands, "indexed commands in a buffer");
    free_buffer(&gpu, &commands16);
    free_buffer(&gpu, &commands20);
    free_buffer(&gpu, &buffer);
}

int main(int count, char** arguments)
{
    take_options(count, arguments);
    gpu = open_gpu();
    canvas = open_canvas(&gpu, 160, 120);
    layout = make_layout(&gpu, 0, NULL, 0, NULL);
    make_vertices();
    const VkPipeline strips = make_drawing(VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP, VK_TRUE);
    const VkPipeline plain = make_drawing(VK_PRIMITIVE_TOPOLOGY_TRIANGLE_STRIP, VK_FALSE);
    plain_draws(plain);
    indexed_draws(plain);
    restarted_draws(strips);
    indirect_draws(plain);
    vkDestroyPipeline(gpu.device, strips, NULL);
    vkDestroyPipeline(gpu.device, plain, NULL);
    vkDestroyPipelineLayout(gpu.device, layout, NULL);
    free_buffer(&gpu, &vertices);
    free_buffer(&gpu, &places);
    free_buffer(&gpu, &sizes);
    close_canvas(&gpu, &canvas);
    close_gpu(&gpu);
    return 0;
}
