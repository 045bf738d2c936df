/* Pipelines, descriptors and something to draw on, for the Vulkan examples. */
#ifndef EXAMPLES_VK_DRAWING_H
#define EXAMPLES_VK_DRAWING_H

#include "vk_common.h"

/* A module of what the build made of examples/shaders/NAME. */
#define SHADER(gpu, name) make_shader(gpu, name, sizeof name)
VkShaderModule make_shader(const struct gpu* gpu, const uint32_t* code, size_t bytes);

/* A colour image of 8 bits each, and a pass that clears it and leaves it as source of transfers. */
struct canvas
{
    struct image image;
    VkRenderPass pass;
    VkFramebuffer framebuffer;
    VkExtent2D extent;
};
struct canvas open_canvas(const struct gpu* gpu, uint32_t width, uint32_t height);
void close_canvas(const struct gpu* gpu, struct canvas* canvas);
/* Clears to a dark blue. */
void begin_pass(VkCommandBuffer commands, const struct canvas* canvas, VkSubpassContents contents);
void add_canvas(const struct gpu* gpu, const struct canvas* canvas, const char* picture);
/* Adds the picture and prints the sum in a line of its own; the picture is called the same. */
void print_canvas(const struct gpu* gpu, const struct canvas* canvas, const char* subject);
/* The same for passes of other forms. */
VkFramebuffer make_framebuffer(const struct gpu* gpu, VkRenderPass pass, uint32_t count,
                               const VkImageView* views, VkExtent2D extent);

enum
{
    max_stages = 5,
    max_blends = 4
};
/* Every part of a graphics pipeline. It points into itself, so it is never copied. */
struct pipeline_parts
{
    VkPipelineShaderStageCreateInfo stages[max_stages];
    VkPipelineVertexInputStateCreateInfo vertex;
    VkPipelineInputAssemblyStateCreateInfo assembly;
    VkPipelineTessellationStateCreateInfo tessellation;
    VkViewport viewport;
    VkRect2D scissor;
    VkPipelineViewportStateCreateInfo view;
    VkPipelineRasterizationStateCreateInfo raster;
    VkPipelineMultisampleStateCreateInfo samples;
    VkPipelineDepthStencilStateCreateInfo depth;
    VkPipelineColorBlendAttachmentState blends[max_blends];
    VkPipelineColorBlendStateCreateInfo blend;
    VkPipelineDynamicStateCreateInfo dynamic;
    VkGraphicsPipelineCreateInfo info;
};
/* Triangles without vertex buffers, nothing culled, blended or tested, one colour attachment. */
void plain_parts(struct pipeline_parts* parts, VkPipelineLayout layout, VkRenderPass pass, VkExtent2D extent);
/* Takes the module, which free_stages destroys. */
void add_stage(struct pipeline_parts* parts, VkShaderStageFlagBits stage, VkShaderModule module);
void free_stages(const struct gpu* gpu, struct pipeline_parts* parts);
VkPipeline make_pipeline(const struct gpu* gpu, const struct pipeline_parts* parts);
/* Takes the module and destroys it. */
VkPipeline make_compute(const struct gpu* gpu, VkPipelineLayout layout, VkShaderModule module,
                        const VkSpecializationInfo* constants);

VkDescriptorSetLayout make_set_layout(const struct gpu* gpu, uint32_t count,
                                      const VkDescriptorSetLayoutBinding* bindings);
VkPipelineLayout make_layout(const struct gpu* gpu, uint32_t set_count, const VkDescriptorSetLayout* sets,
                             uint32_t range_count, const VkPushConstantRange* ranges);
VkDescriptorPool make_pool(const struct gpu* gpu, uint32_t sets, uint32_t count,
                           const VkDescriptorPoolSize* sizes);
VkDescriptorSet make_set(const struct gpu* gpu, VkDescriptorPool pool, VkDescriptorSetLayout layout);
void write_buffer(const struct gpu* gpu, VkDescriptorSet set, uint32_t binding, VkDescriptorType type,
                  const struct buffer* buffer, VkDeviceSize offset, VkDeviceSize range);
void write_image(const struct gpu* gpu, VkDescriptorSet set, uint32_t binding, VkDescriptorType type,
                 VkSampler sampler, VkImageView view, VkImageLayout layout);
VkSampler make_sampler(const struct gpu* gpu, VkFilter filter, VkSamplerAddressMode mode);

/* The most common set: `count` bindings of one type each, of one set in a pool of its own, for compute
 * shaders. */
struct kernel
{
    VkDescriptorSetLayout set_layout;
    VkPipelineLayout layout;
    VkDescriptorPool pool;
    VkDescriptorSet set;
    VkPipeline pipeline;
};
/* With room for `constants` bytes of push constants. */
struct kernel make_kernel(const struct gpu* gpu, VkShaderModule module, uint32_t count,
                          const VkDescriptorType* types, uint32_t constants);
void bind_kernel(VkCommandBuffer commands, const struct kernel* kernel);
void free_kernel(const struct gpu* gpu, struct kernel* kernel);

#endif
