/* What every Vulkan example begins with: a device, memory, buffers, images, command buffers that are
 * submitted once. Plain Vulkan 1.0, nothing else. What fails is fatal. */
#ifndef EXAMPLES_VK_COMMON_H
#define EXAMPLES_VK_COMMON_H

#include "vk_report.h"

struct gpu
{
    VkInstance instance;
    VkPhysicalDevice physical;
    VkPhysicalDeviceProperties properties;
    VkPhysicalDeviceFeatures features; /* all that the device has; enabled but for robust buffer access */
    VkPhysicalDeviceMemoryProperties memory;
    VkQueueFamilyProperties family_properties;
    VkDevice device;
    uint32_t family; /* the first one that draws and computes */
    VkQueue queue;
    VkCommandPool pool; /* its buffers may be reset */
};

enum
{
    max_extensions = 4
};
struct extensions
{
    uint32_t instance_count, device_count;
    const char* instance[max_extensions];
    const char* device[max_extensions];
};

struct gpu open_gpu(void);
struct gpu open_gpu_with(const struct extensions* extensions);
void close_gpu(struct gpu* gpu);
/* The parts of open_gpu, for examples that have several devices. */
VkInstance make_instance(const struct extensions* extensions);
void find_physical_device(struct gpu* gpu);
void make_device(struct gpu* gpu, const struct extensions* extensions);
void free_device(struct gpu* gpu);

/* The first type among `bits` with all of `wanted`; all of `preferred` too where there is one. */
uint32_t memory_type(const struct gpu* gpu, uint32_t bits, VkMemoryPropertyFlags wanted,
                     VkMemoryPropertyFlags preferred);
/* Memory for requirements, by the properties above. */
VkDeviceMemory make_memory(const struct gpu* gpu, const VkMemoryRequirements* needs,
                           VkMemoryPropertyFlags wanted);

/* A buffer in memory that can be mapped, which it is only while its contents are set or read. */
struct buffer
{
    VkBuffer handle;
    VkDeviceMemory memory;
    VkDeviceSize size;
};
/* Filled with `data`, or with zeros when there is none. */
struct buffer make_buffer(const struct gpu* gpu, VkDeviceSize size, VkBufferUsageFlags usage,
                          const void* data);
void set_buffer(const struct gpu* gpu, const struct buffer* buffer, VkDeviceSize offset, const void* data,
                VkDeviceSize size);
void get_buffer(const struct gpu* gpu, const struct buffer* buffer, VkDeviceSize offset, void* data,
                VkDeviceSize size);
void add_buffer(const struct gpu* gpu, const struct buffer* buffer);
void free_buffer(const struct gpu* gpu, struct buffer* buffer);

struct image
{
    VkImage handle;
    VkDeviceMemory memory;
    VkImageView view; /* of all levels and layers */
    VkImageCreateInfo info;
    VkImageAspectFlags aspects;
};
/* An optimal 2D image of one level, layer and sample, to be changed before finish_image. */
VkImageCreateInfo plain_image(VkFormat format, uint32_t width, uint32_t height, VkImageUsageFlags usage);
struct image finish_image(const struct gpu* gpu, const VkImageCreateInfo* info);
struct image make_image(const struct gpu* gpu, VkFormat format, uint32_t width, uint32_t height,
                        VkImageUsageFlags usage);
void free_image(const struct gpu* gpu, struct image* image);
VkImageAspectFlags aspects_of(VkFormat format);
/* Bytes of one texel, of the aspect as it is copied to buffers. */
uint32_t texel_size(VkFormat format, VkImageAspectFlags aspect);
VkImageSubresourceRange whole_image(const struct image* image);
VkImageSubresourceLayers layers_of(const struct image* image, uint32_t level);

/* A primary command buffer that has begun; `run_commands` submits it, waits for its fence and frees it. */
VkCommandBuffer begin_commands(const struct gpu* gpu);
void run_commands(const struct gpu* gpu, VkCommandBuffer commands);
/* Submits what has been ended and waits; `commands` stays. */
void submit_and_wait(const struct gpu* gpu, VkCommandBuffer commands);
/* Waits for everything before and lets everything after see it; the whole image changes its layout. */
void change_layout(VkCommandBuffer commands, const struct image* image, VkImageLayout from, VkImageLayout to);
void wait_for_writes(VkCommandBuffer commands, VkPipelineStageFlags from, VkAccessFlags written,
                     VkPipelineStageFlags to, VkAccessFlags read);

/* Fills a level of an image, in layout `from` before and `to` behind. */
void set_image(const struct gpu* gpu, const struct image* image, uint32_t level, const void* data,
               VkDeviceSize size, VkImageLayout from, VkImageLayout to);
/* Bytes of one level, all layers, of the first aspect, from an image that is a source of transfers. */
void* get_image(const struct gpu* gpu, const struct image* image, uint32_t level, VkDeviceSize* size);
/* Adds every level. Writes level 0 as a picture when there is a name and texels have 4 bytes. */
void add_image(const struct gpu* gpu, const struct image* image, const char* picture);

#endif
