/* What a device says about itself: features, limits, memory, queues, formats, and what objects need. The ASTC
 * formats and feature are left out, as a target has them whatever the host's device has. vk_gets */

#include "vk_drawing.h"

#include <stdio.h>
#include <string.h>

static struct gpu gpu;

static void print_features(void)
{
    VkPhysicalDeviceFeatures features;
    memset(&features, 0x55, sizeof features);
    vkGetPhysicalDeviceFeatures(gpu.physical, &features);
    features.textureCompressionASTC_LDR = VK_FALSE;
    begin_sum();
    add_bytes(&features, sizeof features);
    end_sum("features");
}

/* Field by field, as what lies between them is nobody's. */
#define ADD(field) add_bytes(&(field), sizeof(field))

static void print_properties(void)
{
    VkPhysicalDeviceProperties properties;
    vkGetPhysicalDeviceProperties(gpu.physical, &properties);
    const VkPhysicalDeviceLimits* const limits = &properties.limits;
    printf("%s, type %d, vendor 0x%x, device 0x%x\n", properties.deviceName, (int)properties.deviceType,
           properties.vendorID, properties.deviceID);
    begin_sum();
    ADD(properties.driverVersion);
    ADD(properties.pipelineCacheUUID);
    ADD(properties.sparseProperties);
    end_sum("properties");
    begin_sum();
    /* In runs of fields without gaps between them. */
    add_bytes(&limits->maxImageDimension1D, offsetof(VkPhysicalDeviceLimits, maxSamplerAllocationCount) +
                                                sizeof limits->maxSamplerAllocationCount);
    ADD(limits->bufferImageGranularity);
    ADD(limits->sparseAddressSpaceSize);
    add_bytes(&limits->maxBoundDescriptorSets, offsetof(VkPhysicalDeviceLimits, viewportSubPixelBits) +
                                                   sizeof limits->viewportSubPixelBits -
                                                   offsetof(VkPhysicalDeviceLimits, maxBoundDescriptorSets));
    const uint64_t memory_map_alignment = limits->minMemoryMapAlignment;
    ADD(memory_map_alignment);
    ADD(limits->minTexelBufferOffsetAlignment);
    ADD(limits->minUniformBufferOffsetAlignment);
    ADD(limits->minStorageBufferOffsetAlignment);
    add_bytes(&limits->minTexelOffset, offsetof(VkPhysicalDeviceLimits, standardSampleLocations) +
                                           sizeof limits->standardSampleLocations -
                                           offsetof(VkPhysicalDeviceLimits, minTexelOffset));
    ADD(limits->optimalBufferCopyOffsetAlignment);
    ADD(limits->optimalBufferCopyRowPitchAlignment);
    ADD(limits->nonCoherentAtomSize);
    end_sum("limits");
}

static void print_memory(void)
{
    const VkPhysicalDeviceMemoryProperties* const memory = &gpu.memory;
    for (uint32_t i = 0; i < memory->memoryTypeCount; ++i)
        printf("memory type %u: heap %u, 0x%x\n", i, memory->memoryTypes[i].heapIndex,
               (unsigned)memory->memoryTypes[i].propertyFlags);
    for (uint32_t i = 0; i < memory->memoryHeapCount; ++i)
        printf("heap %u: %llu bytes, 0x%x\n", i, (unsigned long long)memory->memoryHeaps[i].size,
               (unsigned)memory->memoryHeaps[i].flags);
}

static void print_queues(void)
{
    uint32_t count = 0;
    vkGetPhysicalDeviceQueueFamilyProperties(gpu.physical, &count, NULL);
    VkQueueFamilyProperties families[16];
    check(count >= 1 && count <= COUNT(families), "the number of queue families");
    vkGetPhysicalDeviceQueueFamilyProperties(gpu.physical, &count, families);
    for (uint32_t i = 0; i < count; ++i) {
        const VkExtent3D* const grain = &families[i].minImageTransferGranularity;
        printf("family %u: 0x%x, %u queues, %u bits of time, %u %u %u\n", i, (unsigned)families[i].queueFlags,
               families[i].queueCount, families[i].timestampValidBits, grain->width, grain->height,
               grain->depth);
    }
}

static int is_astc(VkFormat format)
{
    return format >= VK_FORMAT_ASTC_4x4_UNORM_BLOCK && format <= VK_FORMAT_ASTC_12x12_SRGB_BLOCK;
}

static void print_formats(void)
{
    begin_sum();
    for (VkFormat format = VK_FORMAT_UNDEFINED; format <= VK_FORMAT_ASTC_12x12_SRGB_BLOCK; ++format) {
        VkFormatProperties properties = {0};
        if (is_astc(format))
            continue;
        vkGetPhysicalDeviceFormatProperties(gpu.physical, format, &properties);
        /* Flags of Vulkan 1.0; a driver may know more. */
        add_number(properties.linearTilingFeatures & 0x1fff);
        add_number(properties.optimalTilingFeatures & 0x1fff);
        add_number(properties.bufferFeatures & 0x1fff);
    }
    end_sum("formats");
}

static void add_image_format(VkFormat format, VkImageType type, VkImageTiling tiling, VkImageUsageFlags usage)
{
    VkImageFormatProperties properties = {.maxMipLevels = 0};
    const VkResult result =
        vkGetPhysicalDeviceImageFormatProperties(gpu.physical, format, type, tiling, usage, 0, &properties);
    add_number((uint32_t)result);
    if (result != VK_SUCCESS)
        return;
    ADD(properties.maxExtent);
    ADD(properties.maxMipLevels);
    ADD(properties.maxArrayLayers);
    ADD(properties.sampleCounts);
    ADD(properties.maxResourceSize);
}

static void print_image_formats(void)
{
    static const VkImageUsageFlags usages[] = {
        VK_IMAGE_USAGE_SAMPLED_BIT, VK_IMAGE_USAGE_STORAGE_BIT, VK_IMAGE_USAGE_COLOR_ATTACHMENT_BIT,
        VK_IMAGE_USAGE_DEPTH_STENCIL_ATTACHMENT_BIT, VK_IMAGE_USAGE_TRANSFER_DST_BIT};
    static const char* const subjects[] = {"image formats, 1D", "image formats, 2D", "image formats, 3D"};
    for (VkImageType type = VK_IMAGE_TYPE_1D; type <= VK_IMAGE_TYPE_3D; ++type) {
        begin_sum();
        for (VkFormat format = VK_FORMAT_R4G4_UNORM_PACK8; format < VK_FORMAT_ASTC_4x4_UNORM_BLOCK; ++format)
            for (uint32_t i = 0; i < COUNT(usages); ++i) {
                add_image_format(format, type, VK_IMAGE_TILING_OPTIMAL, usages[i]);
                add_image_format(format, type, VK_IMAGE_TILING_LINEAR, usages[i]);
            }
        end_sum(subjects[type]);
    }
}

static void print_needs(void)
{
    begin_sum();
    for (VkDeviceSize size = 1; size < 1000000; size = size * 3 + 1) {
        const VkBufferCreateInfo info = {.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO,
                                         .size = size,
                                         .usage = VK_BUFFER_USAGE_STORAGE_BUFFER_BIT};
        VkBuffer buffer = VK_NULL_HANDLE;
        VkMemoryRequirements needs;
        VK(vkCreateBuffer(gpu.device, &info, NULL, &buffer));
        vkGetBufferMemoryRequirements(gpu.device, buffer, &needs);
        ADD(needs.size);
        ADD(needs.alignment);
        add_number(needs.memoryTypeBits);
        vkDestroyBuffer(gpu.device, buffer, NULL);
    }
    end_sum("needs of buffers");
}

static void print_layouts(void)
{
    begin_sum();
    for (uint32_t width = 1; width < 600; width = width * 2 + 1) {
        VkImageCreateInfo info =
            plain_image(VK_FORMAT_R8G8B8A8_UNORM, width, width / 2 + 1, VK_IMAGE_USAGE_TRANSFER_SRC_BIT);
        info.tiling = VK_IMAGE_TILING_LINEAR;
        struct image image = finish_image(&gpu, &info);
        VkMemoryRequirements needs;
        vkGetImageMemoryRequirements(gpu.device, image.handle, &needs);
        ADD(needs.size);
        ADD(needs.alignment);
        add_number(needs.memoryTypeBits);
        const VkImageSubresource first = {VK_IMAGE_ASPECT_COLOR_BIT, 0, 0};
        VkSubresourceLayout layout;
        vkGetImageSubresourceLayout(gpu.device, image.handle, &first, &layout);
        ADD(layout.offset);
        ADD(layout.size);
        ADD(layout.rowPitch);
        free_image(&gpu, &image);
    }
    end_sum("layouts of images");
    struct canvas canvas = open_canvas(&gpu, 64, 64);
    VkExtent2D grain;
    vkGetRenderAreaGranularity(gpu.device, canvas.pass, &grain);
    printf("areas in steps of %u by %u\n", grain.width, grain.height);
    close_canvas(&gpu, &canvas);
}

static void print_functions(void)
{
    static const char* const names[] = {"vkCreateBuffer", "vkCmdDraw", "vkQueueSubmit", "vkNoSuchFunction",
                                        "vkQueuePresentKHR"};
    for (uint32_t i = 0; i < COUNT(names); ++i)
        printf("%-32s %s\n", names[i], vkGetDeviceProcAddr(gpu.device, names[i]) ? "there" : "not there");
}

static void print_refusals(void)
{
    const char* const unknown = "VK_EXAMPLE_no_such_extension";
    const VkInstanceCreateInfo instance = {.sType = VK_STRUCTURE_TYPE_INSTANCE_CREATE_INFO,
                                           .enabledExtensionCount = 1,
                                           .ppEnabledExtensionNames = &unknown};
    VkInstance none = VK_NULL_HANDLE;
    printf("%-32s %d\n", "unknown extension of an instance", (int)vkCreateInstance(&instance, NULL, &none));
    uint32_t count = 0;
    vkGetPhysicalDeviceSparseImageFormatProperties(gpu.physical, VK_FORMAT_R8G8B8A8_UNORM, VK_IMAGE_TYPE_2D,
                                                   VK_SAMPLE_COUNT_1_BIT, VK_IMAGE_USAGE_SAMPLED_BIT,
                                                   VK_IMAGE_TILING_OPTIMAL, &count, NULL);
    printf("%-32s %u\n", "sparse forms of images", count);
}

int main(void)
{
    gpu = open_gpu();
    print_features();
    print_properties();
    print_memory();
    print_queues();
    print_formats();
    print_image_formats();
    print_needs();
    print_layouts();
    print_functions();
    print_refusals();
    close_gpu(&gpu);
    return 0;
}
