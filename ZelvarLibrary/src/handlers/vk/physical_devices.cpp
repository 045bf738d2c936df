// What a target is shown of the host's physical device.
#include "handlers/vk/capability_union.h"
#include "handlers/vk/counted_answer.h"
#include "handlers/vk/device_handlers.h"
#include "handlers/vk/vk_handler.h"
#include "pixels/astc_formats.h"

#include <algorithm>

using vk = sidechannel_vk_imports;

void vk_vkGetPhysicalDeviceFeatures(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                    vk_struct<VkPhysicalDeviceFeatures> pFeatures)
{
    vk_void_handler call{"vk_vkGetPhysicalDeviceFeatures", pid, tid};
    call.trace("target_physical_device", physicalDevice, "pFeatures_ptr", pFeatures.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    if (!host)
        return;
    VkPhysicalDeviceFeatures features{};
    call.host<&vk::vkGetPhysicalDeviceFeatures>(host, &features);
    features.textureCompressionASTC_LDR = VK_TRUE; // decoded by the system, whatever the host can do
    if (zelvar_call_on_target() && pFeatures)
        collect_union_feature(*pFeatures.data, VkPhysicalDeviceFeatures{features}, &features);
    zelvar_object_manager_vk_set_features(pid, physicalDevice, features);
    call.write_force(pFeatures.address, features);
}

void vk_vkGetPhysicalDeviceFormatProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                            VkFormat format, vk_struct<VkFormatProperties> pFormatProperties)
{
    vk_void_handler call{"vk_vkGetPhysicalDeviceFormatProperties", pid, tid};
    call.trace("target_physical_device", physicalDevice, "format", format, "pFormatProperties_ptr",
               pFormatProperties.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    if (!host)
        return;
    zelvar_helper_convert_format(&format);
    VkFormatProperties properties{};
    call.host<&vk::vkGetPhysicalDeviceFormatProperties>(host, format, &properties);
    call.write(pFormatProperties.address, properties);
}

namespace {
struct image_format_query
{
    VkFormat format;
    VkImageType type;
    VkImageTiling tiling;
};

/// Both answered: the target gets what both can do.
void merge_image_format(vk_handler& call, const image_format_query& asked,
                        const VkImageFormatProperties& host, const vk_struct<VkImageFormatProperties>& out)
{
    if (call.target_result() != call.result) {
        LOG_WARN("Image format support mismatch between target and host, return "
                 "VK_ERROR_FORMAT_NOT_SUPPORTED: format=%d, type=%d, host_result=%d, target_result=%d",
                 asked.format, asked.type, call.result, call.target_result());
        call.reply_force(VK_ERROR_FORMAT_NOT_SUPPORTED);
        return;
    }
    if (call.result != VK_SUCCESS || !out)
        return;
    VkImageFormatProperties merged = *out.data;
    if (collect_union_image_format(asked.format, asked.type, asked.tiling, host, &merged))
        call.write_force(out.address, merged);
}
} // namespace

void vk_vkGetPhysicalDeviceImageFormatProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                                 VkFormat format, VkImageType type, VkImageTiling tiling,
                                                 VkImageUsageFlags usage, VkImageCreateFlags flags,
                                                 vk_struct<VkImageFormatProperties> pImageFormatProperties,
                                                 result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkGetPhysicalDeviceImageFormatProperties", pid, tid, target_result};
    call.trace("target_physical_device", physicalDevice, "format", format, "type", type, "tiling", tiling,
               "usage", usage, "flags", flags, "pImageFormatProperties_ptr", pImageFormatProperties.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    if (!host)
        return;
    VkFormat host_format = format;
    zelvar_helper_convert_format(&host_format);
    VkImageFormatProperties properties{};
    call.result = call.host<&vk::vkGetPhysicalDeviceImageFormatProperties>(host, host_format, type, tiling,
                                                                           usage, flags, &properties);
    if (zelvar_call_on_target())
        merge_image_format(call, {format, type, tiling}, properties, pImageFormatProperties);
    else if (call.result == VK_SUCCESS)
        call.write(pImageFormatProperties.address, properties);
}

void vk_vkGetPhysicalDeviceProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                      vk_struct<VkPhysicalDeviceProperties> pProperties)
{
    vk_void_handler call{"vk_vkGetPhysicalDeviceProperties", pid, tid};
    call.trace("target_physical_device", physicalDevice, "pProperties_ptr", pProperties.address);
    vk_physical_device_data data;
    if (!zelvar_object_manager_vk_get_host_physical_device_data(pid, physicalDevice, &data)) {
        call.physical_device(physicalDevice);
        return;
    }
    VkPhysicalDeviceProperties properties{};
    call.host<&vk::vkGetPhysicalDeviceProperties>(data.host, &properties);
    if (!zelvar_call_on_target()) {
        call.write(pProperties.address, properties);
    } else if (pProperties) {
        VkPhysicalDeviceProperties merged = *pProperties.data;
        collect_union_properties(data.features, *pProperties.data, properties, &merged);
        call.write_force(pProperties.address, merged);
    }
}

void vk_vkGetPhysicalDeviceQueueFamilyProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                                 vk_struct<uint32_t> pQueueFamilyPropertyCount,
                                                 vk_array<VkQueueFamilyProperties, 1> pQueueFamilyProperties)
{
    vk_void_handler call{"vk_vkGetPhysicalDeviceQueueFamilyProperties", pid, tid};
    call.trace("target_physical_device", physicalDevice, "pQueueFamilyPropertyCount_ptr",
               pQueueFamilyPropertyCount.address, "pQueueFamilyProperties_ptr",
               pQueueFamilyProperties.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    if (!host)
        return;
    std::vector<VkQueueFamilyProperties> found;
    vk_ask_for_list(
        [&](uint32_t* count, VkQueueFamilyProperties* list) {
            call.host<&vk::vkGetPhysicalDeviceQueueFamilyProperties>(host, count, list);
        },
        found);
    vk_answer_list(call, found, pQueueFamilyPropertyCount, pQueueFamilyProperties);
}

void vk_vkGetPhysicalDeviceMemoryProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                            vk_struct<VkPhysicalDeviceMemoryProperties> pMemoryProperties)
{
    vk_void_handler call{"vk_vkGetPhysicalDeviceMemoryProperties", pid, tid};
    call.trace("target_physical_device", physicalDevice, "pMemoryProperties_ptr", pMemoryProperties.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    if (!host)
        return;
    VkPhysicalDeviceMemoryProperties properties{};
    call.host<&vk::vkGetPhysicalDeviceMemoryProperties>(host, &properties);
    if (zelvar_call_on_target() && pMemoryProperties) {
        const VkPhysicalDeviceMemoryProperties target = *pMemoryProperties.data;
        zelvar_object_manager_vk_add_memory_index_mapping(pid, physicalDevice, properties, target);
        if (target.memoryHeapCount == 1) {
            // Applications pick from the host's types, and all of them take from the target's one heap.
            for (uint32_t i = 0; i < properties.memoryTypeCount; ++i) {
                properties.memoryTypes[i].propertyFlags |= VK_MEMORY_PROPERTY_DEVICE_LOCAL_BIT;
                properties.memoryTypes[i].heapIndex = 0;
            }
            properties.memoryHeapCount = 1;
            properties.memoryHeaps[0] = {std::min(properties.memoryHeaps[0].size, target.memoryHeaps[0].size),
                                         target.memoryHeaps[0].flags};
        } else {
            LOG_FATAL("Target driver returns more than 1 memory heap, can't support this currently");
        }
    }
    call.write_force(pMemoryProperties.address, properties);
}

void vk_vkGetPhysicalDeviceSparseImageFormatProperties(pid_t pid, tid_t tid, VkPhysicalDevice physicalDevice,
                                                       VkFormat format, VkImageType type,
                                                       VkSampleCountFlagBits samples, VkImageUsageFlags usage,
                                                       VkImageTiling tiling,
                                                       vk_struct<uint32_t> pPropertyCount,
                                                       vk_array<VkSparseImageFormatProperties, 6> pProperties)
{
    vk_void_handler call{"vk_vkGetPhysicalDeviceSparseImageFormatProperties", pid, tid};
    call.trace("target_physical_device", physicalDevice, "format", format, "type", type, "samples", samples,
               "usage", usage, "tiling", tiling, "pPropertyCount_ptr", pPropertyCount.address,
               "pProperties_ptr", pProperties.address);
    VkPhysicalDevice host = call.physical_device(physicalDevice);
    if (!host)
        return;
    zelvar_helper_convert_format(&format);
    std::vector<VkSparseImageFormatProperties> found;
    vk_ask_for_list(
        [&](uint32_t* count, VkSparseImageFormatProperties* list) {
            call.host<&vk::vkGetPhysicalDeviceSparseImageFormatProperties>(host, format, type, samples, usage,
                                                                           tiling, count, list);
        },
        found);
    vk_answer_list(call, found, pPropertyCount, pProperties);
}
