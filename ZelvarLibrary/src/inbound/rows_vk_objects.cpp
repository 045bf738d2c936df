// Messages of the objects of a Vulkan device, in the order of the message list.

#include "handlers/vk/object_handlers.h"
#include "inbound/rows.h"
#include "inbound/vk_decoder.h"
#include "wire/wire.h"

constinit const built_row vk_objects_rows[] = {
    VK_ROW(vk_get_instance_proc_addr, vk_vkGetInstanceProcAddr),
    VK_ROW(vk_get_device_proc_addr, vk_vkGetDeviceProcAddr),
    VK_ROW(vk_create_buffer, vk_vkCreateBuffer),
    VK_ROW(vk_destroy_buffer, vk_vkDestroyBuffer),
    VK_ROW(vk_create_buffer_view, vk_vkCreateBufferView),
    VK_ROW(vk_destroy_buffer_view, vk_vkDestroyBufferView),
    VK_ROW(vk_create_image_view, vk_vkCreateImageView),
    VK_ROW(vk_destroy_image_view, vk_vkDestroyImageView),
    VK_ROW(vk_create_shader_module, vk_vkCreateShaderModule),
    VK_ROW(vk_destroy_shader_module, vk_vkDestroyShaderModule),
    VK_ROW(vk_create_pipeline_cache, vk_vkCreatePipelineCache),
    VK_ROW(vk_destroy_pipeline_cache, vk_vkDestroyPipelineCache),
    VK_ROW(vk_get_pipeline_cache_data, vk_vkGetPipelineCacheData),
    VK_ROW(vk_merge_pipeline_caches, vk_vkMergePipelineCaches),
    VK_ROW(vk_create_graphics_pipelines, vk_vkCreateGraphicsPipelines),
    VK_ROW(vk_create_compute_pipelines, vk_vkCreateComputePipelines),
    VK_ROW(vk_destroy_pipeline, vk_vkDestroyPipeline),
    VK_ROW(vk_create_pipeline_layout, vk_vkCreatePipelineLayout),
    VK_ROW(vk_destroy_pipeline_layout, vk_vkDestroyPipelineLayout),
    VK_ROW(vk_create_sampler, vk_vkCreateSampler),
    VK_ROW(vk_destroy_sampler, vk_vkDestroySampler),
    VK_ROW(vk_create_descriptor_set_layout, vk_vkCreateDescriptorSetLayout),
    VK_ROW(vk_destroy_descriptor_set_layout, vk_vkDestroyDescriptorSetLayout),
    VK_ROW(vk_create_descriptor_pool, vk_vkCreateDescriptorPool),
    VK_ROW(vk_destroy_descriptor_pool, vk_vkDestroyDescriptorPool),
    VK_ROW(vk_reset_descriptor_pool, vk_vkResetDescriptorPool),
    VK_ROW(vk_allocate_descriptor_sets, vk_vkAllocateDescriptorSets),
    VK_ROW(vk_free_descriptor_sets, vk_vkFreeDescriptorSets),
    VK_ROW(vk_update_descriptor_sets, vk_vkUpdateDescriptorSets),
    VK_ROW(vk_create_framebuffer, vk_vkCreateFramebuffer),
    VK_ROW(vk_destroy_framebuffer, vk_vkDestroyFramebuffer),
    VK_ROW(vk_create_render_pass, vk_vkCreateRenderPass),
    VK_ROW(vk_destroy_render_pass, vk_vkDestroyRenderPass),
    VK_ROW(vk_get_render_area_granularity, vk_vkGetRenderAreaGranularity),
};
constinit const size_t vk_objects_row_count = sizeof(vk_objects_rows) / sizeof(vk_objects_rows[0]);
