#include "vk_drawing.h"

VkDescriptorSetLayout make_set_layout(const struct gpu* gpu, uint32_t count,
                                      const VkDescriptorSetLayoutBinding* bindings)
{
    const VkDescriptorSetLayoutCreateInfo info = {.sType =
                                                      VK_STRUCTURE_TYPE_DESCRIPTOR_SET_LAYOUT_CREATE_INFO,
                                                  .bindingCount = count,
                                                  .pBindings = bindings};
    VkDescriptorSetLayout layout = VK_NULL_HANDLE;
    VK(vkCreateDescriptorSetLayout(gpu->device, &info, NULL, &layout));
    return layout;
}

VkPipelineLayout make_layout(const struct gpu* gpu, uint32_t set_count, const VkDescriptorSetLayout* sets,
                             uint32_t range_count, const VkPushConstantRange* ranges)
{
    const VkPipelineLayoutCreateInfo info = {.sType = VK_STRUCTURE_TYPE_PIPELINE_LAYOUT_CREATE_INFO,
                                             .setLayoutCount = set_count,
                                             .pSetLayouts = sets,
                                             .pushConstantRangeCount = range_count,
                                             .pPushConstantRanges = ranges};
    VkPipelineLayout layout = VK_NULL_HANDLE;
    VK(vkCreatePipelineLayout(gpu->device, &info, NULL, &layout));
    return layout;
}

VkDescriptorPool make_pool(const struct gpu* gpu, uint32_t sets, uint32_t count,
                           const VkDescriptorPoolSize* sizes)
{
    const VkDescriptorPoolCreateInfo info = {.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_POOL_CREATE_INFO,
                                             .flags = VK_DESCRIPTOR_POOL_CREATE_FREE_DESCRIPTOR_SET_BIT,
                                             .maxSets = sets,
                                             .poolSizeCount = count,
                                             .pPoolSizes = sizes};
    VkDescriptorPool pool = VK_NULL_HANDLE;
    VK(vkCreateDescriptorPool(gpu->device, &info, NULL, &pool));
    return pool;
}

VkDescriptorSet make_set(const struct gpu* gpu, VkDescriptorPool pool, VkDescriptorSetLayout layout)
{
    const VkDescriptorSetAllocateInfo info = {.sType = VK_STRUCTURE_TYPE_DESCRIPTOR_SET_ALLOCATE_INFO,
                                              .descriptorPool = pool,
                                              .descriptorSetCount = 1,
                                              .pSetLayouts = &layout};
    VkDescriptorSet set = VK_NULL_HANDLE;
    VK(vkAllocateDescriptorSets(gpu->device, &info, &set));
    return set;
}

void write_buffer(const struct gpu* gpu, VkDescriptorSet set, uint32_t binding, VkDescriptorType type,
                  const struct buffer* buffer, VkDeviceSize offset, VkDeviceSize range)
{
    const VkDescriptorBufferInfo info = {buffer->handle, offset, range};
    const VkWriteDescriptorSet write = {.sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET,
                                        .dstSet = set,
                                        .dstBinding = binding,
                                        .descriptorCount = 1,
                                        .descriptorType = type,
                                        .pBufferInfo = &info};
    vkUpdateDescriptorSets(gpu->device, 1, &write, 0, NULL);
}

void write_image(const struct gpu* gpu, VkDescriptorSet set, uint32_t binding, VkDescriptorType type,
                 VkSampler sampler, VkImageView view, VkImageLayout layout)
{
    const VkDescriptorImageInfo info = {sampler, view, layout};
    const VkWriteDescriptorSet write = {.sType = VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET,
                                        .dstSet = set,
                                        .dstBinding = binding,
                                        .descriptorCount = 1,
                                        .descriptorType = type,
                                        .pImageInfo = &info};
    vkUpdateDescriptorSets(gpu->device, 1, &write, 0, NULL);
}

VkSampler make_sampler(const struct gpu* gpu, VkFilter filter, VkSamplerAddressMode mode)
{
    const VkSamplerCreateInfo info = {.sType = VK_STRUCTURE_TYPE_SAMPLER_CREATE_INFO,
                                      .magFilter = filter,
                                      .minFilter = filter,
                                      .mipmapMode = VK_SAMPLER_MIPMAP_MODE_NEAREST,
                                      .addressModeU = mode,
                                      .addressModeV = mode,
                                      .addressModeW = mode,
                                      .maxLod = 16.0f,
                                      .borderColor = VK_BORDER_COLOR_FLOAT_OPAQUE_WHITE};
    VkSampler sampler = VK_NULL_HANDLE;
    VK(vkCreateSampler(gpu->device, &info, NULL, &sampler));
    return sampler;
}

struct kernel make_kernel(const struct gpu* gpu, VkShaderModule module, uint32_t count,
                          const VkDescriptorType* types, uint32_t constants)
{
    VkDescriptorSetLayoutBinding bindings[8];
    VkDescriptorPoolSize sizes[8];
    check(count <= COUNT(bindings), "the number of bindings");
    for (uint32_t i = 0; i < count; ++i) {
        const VkDescriptorSetLayoutBinding binding = {i, types[i], 1, VK_SHADER_STAGE_COMPUTE_BIT, NULL};
        const VkDescriptorPoolSize size = {types[i], 1};
        bindings[i] = binding;
        sizes[i] = size;
    }
    const VkPushConstantRange range = {VK_SHADER_STAGE_COMPUTE_BIT, 0, constants};
    struct kernel kernel;
    kernel.set_layout = make_set_layout(gpu, count, bindings);
    kernel.layout = make_layout(gpu, 1, &kernel.set_layout, constants ? 1 : 0, &range);
    kernel.pool = make_pool(gpu, 1, count, sizes);
    kernel.set = make_set(gpu, kernel.pool, kernel.set_layout);
    kernel.pipeline = make_compute(gpu, kernel.layout, module, NULL);
    return kernel;
}

void bind_kernel(VkCommandBuffer commands, const struct kernel* kernel)
{
    vkCmdBindPipeline(commands, VK_PIPELINE_BIND_POINT_COMPUTE, kernel->pipeline);
    vkCmdBindDescriptorSets(commands, VK_PIPELINE_BIND_POINT_COMPUTE, kernel->layout, 0, 1, &kernel->set, 0,
                            NULL);
}

void free_kernel(const struct gpu* gpu, struct kernel* kernel)
{
    vkDestroyPipeline(gpu->device, kernel->pipeline, NULL);
    vkDestroyDescriptorPool(gpu->device, kernel->pool, NULL);
    vkDestroyPipelineLayout(gpu->device, kernel->layout, NULL);
    vkDestroyDescriptorSetLayout(gpu->device, kernel->set_layout, NULL);
}
