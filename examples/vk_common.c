#include "vk_common.h"

#include <stdlib.h>
#include <string.h>

static const uint64_t patience = 60000000000u; /* nanoseconds */

VkInstance make_instance(const struct extensions* extensions)
{
    const VkApplicationInfo application = {.sType = VK_STRUCTURE_TYPE_APPLICATION_INFO,
                                           .pApplicationName = "example",
                                           .applicationVersion = 1,
                                           .apiVersion = VK_API_VERSION_1_0};
    const VkInstanceCreateInfo info = {.sType = VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO,
                                       .pApplicationInfo = &application,
                                       .enabledExtensionCount = extensions->instance_count,
                                       .ppEnabledExtensionNames = extensions->instance};
    VkInstance instance = VK_NULL_HANDLE;
    VK(vkCreateInstance(&info, NULL, &instance));
    return instance;
}

static void find_family(struct gpu* gpu)
{
    const VkQueueFlags wanted = VK_QUEUE_GRAPHICS_BIT | VK_QUEUE_COMPUTE_BIT;
    VkQueueFamilyProperties families[16];
    uint32_t count = COUNT(families);
    vkGetPhysicalDeviceQueueFamilyProperties(gpu->physical, &count, families);
    for (gpu->family = 0; gpu->family < count; ++gpu->family) {
        gpu->family_properties = families[gpu->family];
        if ((gpu->family_properties.queueFlags & wanted) == wanted)
            return;
    }
    check(0, "finding a queue family that draws and computes");
}

void find_physical_device(struct gpu* gpu)
{
    uint32_t count = 0;
    VK(vkEnumeratePhysicalDevices(gpu->instance, &count, NULL));
    check(count > 0, "finding a device");
    count = 1;
    const VkResult result = vkEnumeratePhysicalDevices(gpu->instance, &count, &gpu->physical);
    check(result == VK_SUCCESS || result == VK_INCOMPLETE, "vkEnumeratePhysicalDevices");
    vkGetPhysicalDeviceProperties(gpu->physical, &gpu->properties);
    vkGetPhysicalDeviceFeatures(gpu->physical, &gpu->features);
    vkGetPhysicalDeviceMemoryProperties(gpu->physical, &gpu->memory);
    find_family(gpu);
}

void make_device(struct gpu* gpu, const struct extensions* extensions)
{
    const float priorities[] = {1.0f, 0.5f};
    const uint32_t available = gpu->family_properties.queueCount;
    const VkDeviceQueueCreateInfo queues = {.sType = VK_STRUCTURE_TYPE_DEVICE_QUEUE_CREATE_INFO,
                                            .queueFamilyIndex = gpu->family,
                                            .queueCount = available < 2 ? available : 2,
                                            .pQueuePriorities = priorities};
    VkPhysicalDeviceFeatures features = gpu->features;
    features.robustBufferAccess = VK_FALSE;
    const VkDeviceCreateInfo info = {.sType = VK_STRUCTURE_TYPE_DEVICE_CREATE_INFO,
                                     .queueCreateInfoCount = 1,
                                     .pQueueCreateInfos = &queues,
                                     .enabledExtensionCount = extensions->device_count,
                                     .ppEnabledExtensionNames = extensions->device,
                                     .pEnabledFeatures = &features};
    VK(vkCreateDevice(gpu->physical, &info, NULL, &gpu->device));
    vkGetDeviceQueue(gpu->device, gpu->family, 0, &gpu->queue);
    const VkCommandPoolCreateInfo pool = {.sType = VK_STRUCTURE_TYPE_COMMAND_POOL_CREATE_INFO,
                                          .flags = VK_COMMAND_POOL_CREATE_RESET_COMMAND_BUFFER_BIT,
                                          .queueFamilyIndex = gpu->family};
    VK(vkCreateCommandPool(gpu->device, &pool, NULL, &gpu->pool));
}

void free_device(struct gpu* gpu)
{
    VK(vkDeviceWaitIdle(gpu->device));
    vkDestroyCommandPool(gpu->device, gpu->pool, NULL);
    vkDestroyDevice(gpu->device, NULL);
    gpu->device = VK_NULL_HANDLE;
}

struct gpu open_gpu_with(const struct extensions* extensions)
{
    struct gpu gpu = {.instance = make_instance(extensions)};
    find_physical_device(&gpu);
    make_device(&gpu, extensions);
    return gpu;
}

struct gpu open_gpu(void)
{
    const struct extensions none = {0};
    return open_gpu_with(&none);
}

void close_gpu(struct gpu* gpu)
{
    free_device(gpu);
    vkDestroyInstance(gpu->instance, NULL);
}

static int find_memory_type(const struct gpu* gpu, uint32_t bits, VkMemoryPropertyFlags wanted)
{
    for (uint32_t i = 0; i < gpu->memory.memoryTypeCount; ++i)
        if ((bits >> i & 1) && (gpu->memory.memoryTypes[i].propertyFlags & wanted) == wanted)
            return (int)i;
    return -1;
}

uint32_t memory_type(const struct gpu* gpu, uint32_t bits, VkMemoryPropertyFlags wanted,
                     VkMemoryPropertyFlags preferred)
{
    int found = find_memory_type(gpu, bits, wanted | preferred);
    if (found < 0)
        found = find_memory_type(gpu, bits, wanted);
    check(found >= 0, "finding a type of memory");
    return (uint32_t)found;
}

VkDeviceMemory make_memory(const struct gpu* gpu, const VkMemoryRequirements* needs,
                           VkMemoryPropertyFlags wanted)
{
    const VkMemoryPropertyFlags preferred =
        wanted & VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT ? 0 : VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT;
    const VkMemoryAllocateInfo info = {.sType = VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO,
                                       .allocationSize = needs->size,
                                       .memoryTypeIndex =
                                           memory_type(gpu, needs->memoryTypeBits, wanted, preferred)};
    VkDeviceMemory memory = VK_NULL_HANDLE;
    VK(vkAllocateMemory(gpu->device, &info, NULL, &memory));
    return memory;
}

struct buffer make_buffer(const struct gpu* gpu, VkDeviceSize size, VkBufferUsageFlags usage,
                          const void* data)
{
    struct buffer buffer = {.size = size};
    const VkBufferCreateInfo info = {
        .sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO, .size = size, .usage = usage};
    VK(vkCreateBuffer(gpu->device, &info, NULL, &buffer.handle));
    VkMemoryRequirements needs;
    vkGetBufferMemoryRequirements(gpu->device, buffer.handle, &needs);
    buffer.memory = make_memory(gpu, &needs, VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT);
    VK(vkBindBufferMemory(gpu->device, buffer.handle, buffer.memory, 0));
    void* const zeros = data ? NULL : calloc(1, size);
    set_buffer(gpu, &buffer, 0, data ? data : zeros, size);
    free(zeros);
    return buffer;
}

/* Maps all, so that flushing and invalidating need no rounding where memory isn't coherent. */
static unsigned char* map_whole(const struct gpu* gpu, VkDeviceMemory memory)
{
    void* mapped = NULL;
    VK(vkMapMemory(gpu->device, memory, 0, VK_WHOLE_SIZE, 0, &mapped));
    return mapped;
}

static VkMappedMemoryRange whole_range(VkDeviceMemory memory)
{
    const VkMappedMemoryRange range = {
        .sType = VK_STRUCTURE_TYPE_MAPPED_MEMORY_RANGE, .memory = memory, .size = VK_WHOLE_SIZE};
    return range;
}

void set_buffer(const struct gpu* gpu, const struct buffer* buffer, VkDeviceSize offset, const void* data,
                VkDeviceSize size)
{
    memcpy(map_whole(gpu, buffer->memory) + offset, data, size);
    const VkMappedMemoryRange range = whole_range(buffer->memory);
    VK(vkFlushMappedMemoryRanges(gpu->device, 1, &range));
    vkUnmapMemory(gpu->device, buffer->memory);
}

void get_buffer(const struct gpu* gpu, const struct buffer* buffer, VkDeviceSize offset, void* data,
                VkDeviceSize size)
{
    const unsigned char* const mapped = map_whole(gpu, buffer->memory);
    const VkMappedMemoryRange range = whole_range(buffer->memory);
    VK(vkInvalidateMappedMemoryRanges(gpu->device, 1, &range));
    memcpy(data, mapped + offset, size);
    vkUnmapMemory(gpu->device, buffer->memory);
}

void add_buffer(const struct gpu* gpu, const struct buffer* buffer)
{
    void* const bytes = malloc(buffer->size);
    check(bytes != NULL, "malloc");
    get_buffer(gpu, buffer, 0, bytes, buffer->size);
    add_bytes(bytes, buffer->size);
    free(bytes);
}

void free_buffer(const struct gpu* gpu, struct buffer* buffer)
{
    vkDestroyBuffer(gpu->device, buffer->handle, NULL);
    vkFreeMemory(gpu->device, buffer->memory, NULL);
}

VkCommandBuffer begin_commands(const struct gpu* gpu)
{
    const VkCommandBufferAllocateInfo info = {.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_ALLOCATE_INFO,
                                              .commandPool = gpu->pool,
                                              .level = VK_COMMAND_BUFFER_LEVEL_PRIMARY,
                                              .commandBufferCount = 1};
    VkCommandBuffer commands = VK_NULL_HANDLE;
    VK(vkAllocateCommandBuffers(gpu->device, &info, &commands));
    const VkCommandBufferBeginInfo begin = {.sType = VK_STRUCTURE_TYPE_COMMAND_BUFFER_BEGIN_INFO,
                                            .flags = VK_COMMAND_BUFFER_USAGE_ONE_TIME_SUBMIT_BIT};
    VK(vkBeginCommandBuffer(commands, &begin));
    return commands;
}

void submit_and_wait(const struct gpu* gpu, VkCommandBuffer commands)
{
    const VkFenceCreateInfo info = {.sType = VK_STRUCTURE_TYPE_FENCE_CREATE_INFO};
    VkFence fence = VK_NULL_HANDLE;
    VK(vkCreateFence(gpu->device, &info, NULL, &fence));
    const VkSubmitInfo submit = {
        .sType = VK_STRUCTURE_TYPE_SUBMIT_INFO, .commandBufferCount = 1, .pCommandBuffers = &commands};
    VK(vkQueueSubmit(gpu->queue, 1, &submit, fence));
    VK(vkWaitForFences(gpu->device, 1, &fence, VK_TRUE, patience));
    vkDestroyFence(gpu->device, fence, NULL);
}

void run_commands(const struct gpu* gpu, VkCommandBuffer commands)
{
    /* What the device wrote is read by mapping it. */
    wait_for_writes(commands, VK_PIPELINE_STAGE_ALL_COMMANDS_BIT, VK_ACCESS_MEMORY_WRITE_BIT,
                    VK_PIPELINE_STAGE_HOST_BIT, VK_ACCESS_HOST_READ_BIT);
    VK(vkEndCommandBuffer(commands));
    submit_and_wait(gpu, commands);
    vkFreeCommandBuffers(gpu->device, gpu->pool, 1, &commands);
}

void wait_for_writes(VkCommandBuffer commands, VkPipelineStageFlags from, VkAccessFlags written,
                     VkPipelineStageFlags to, VkAccessFlags read)
{
    const VkMemoryBarrier barrier = {
        .sType = VK_STRUCTURE_TYPE_MEMORY_BARRIER, .srcAccessMask = written, .dstAccessMask = read};
    vkCmdPipelineBarrier(commands, from, to, 0, 1, &barrier, 0, NULL, 0, NULL);
}
