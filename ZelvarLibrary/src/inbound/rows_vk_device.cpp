// Rows of instances, physical devices, devices and queues.

#include "handlers/vk/device_handlers.h"
#include "inbound/rows.h"
#include "inbound/vk_decoder.h"
#include "wire/wire.h"

#include <iterator>

const built_row vk_device_rows[] = {
    VK_ROW(vk_create_instance, vk_vkCreateInstance),
    VK_ROW(vk_destroy_instance, vk_vkDestroyInstance),
    VK_ROW(vk_enumerate_physical_devices, vk_vkEnumeratePhysicalDevices),
    VK_ROW(vk_get_physical_device_features, vk_vkGetPhysicalDeviceFeatures),
    VK_ROW(vk_get_physical_device_format_properties, vk_vkGetPhysicalDeviceFormatProperties),
    VK_ROW(vk_get_physical_device_image_format_properties, vk_vkGetPhysicalDeviceImageFormatProperties),
    VK_ROW(vk_get_physical_device_properties, vk_vkGetPhysicalDeviceProperties),
    VK_ROW(vk_get_physical_device_queue_family_properties, vk_vkGetPhysicalDeviceQueueFamilyProperties),
    VK_ROW(vk_get_physical_device_memory_properties, vk_vkGetPhysicalDeviceMemoryProperties),
    VK_ROW(vk_create_device, vk_vkCreateDevice),
    VK_ROW(vk_destroy_device, vk_vkDestroyDevice),
    VK_ROW(vk_enumerate_instance_extension_properties, vk_vkEnumerateInstanceExtensionProperties),
    VK_ROW(vk_enumerate_device_extension_properties, vk_vkEnumerateDeviceExtensionProperties),
    VK_ROW(vk_enumerate_instance_layer_properties, vk_vkEnumerateInstanceLayerProperties),
    VK_ROW(vk_enumerate_device_layer_properties, vk_vkEnumerateDeviceLayerProperties),
    VK_ROW(vk_get_device_queue, vk_vkGetDeviceQueue),
    VK_ROW(vk_get_physical_device_sparse_image_format_properties,
           vk_vkGetPhysicalDeviceSparseImageFormatProperties),
};
const size_t vk_device_row_count = std::size(vk_device_rows);
