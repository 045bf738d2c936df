// Images: ASTC ones are RGBA8 on the host, and those of a swapchain bring no memory of their own.
#include "handlers/vk/creation_bounds.h"
#include "handlers/vk/image_bounds.h"
#include "handlers/vk/memory_handlers.h"
#include "handlers/vk/plain_objects.h"
#include "pixels/astc_formats.h"
#include "wire/vk_description.h"

#include <cstring>

using vk = sidechannel_vk_imports;

namespace {
/// Keeps what the window system's buffer of a swapchain image is. The image must be copied from later.
void take_native_buffer(VkImageCreateInfo& info, vk_image_data& image)
{
    VkNativeBufferANDROID native;
    std::memcpy(&native, info.pNext, sizeof(native));
    image.has_native_buffer = true;
    image.native_buffer = {reinterpret_cast<uint64_t>(native.handle), native.stride, native.format,
                           native.usage};
    info.usage |= VK_IMAGE_USAGE_TRANSFER_SRC_BIT;
}

/// What the host has no images for makes its driver write anywhere.
bool host_has(const vk_handler& call, const vk_device_record& device, const VkImageCreateInfo& info)
{
    vk_physical_device_data physical;
    if (!zelvar_object_manager_vk_get_host_physical_device_data(call.pid, device.target_physical_device,
                                                                &physical))
        return true;
    if (!vk_up_to(info.imageType, VK_IMAGE_TYPE_3D) || !vk_up_to(info.tiling, VK_IMAGE_TILING_LINEAR) ||
        !vk_up_to(info.format, VK_FORMAT_ASTC_12x12_SRGB_BLOCK))
        return false;
    auto ask = zelvar_imports_get_vk_ptrs()->vkGetPhysicalDeviceImageFormatProperties;
    VkImageFormatProperties most{};
    if (!ask)
        return true;
    if (ask(physical.host, info.format, info.imageType, info.tiling, info.usage, info.flags, &most) !=
        VK_SUCCESS)
        return false;
    const VkExtent3D& size = info.extent;
    return most.maxExtent.width == 0 ||
           (size.width && size.height && size.depth && info.mipLevels && info.arrayLayers &&
            size.width <= most.maxExtent.width && size.height <= most.maxExtent.height &&
            size.depth <= most.maxExtent.depth && info.mipLevels <= most.maxMipLevels &&
            info.arrayLayers <= most.maxArrayLayers && vk_sample_count(info.samples, most.sampleCounts));
}

bool is_native_buffer(const void* next)
{
    VkStructureType type{};
    if (next)
        std::memcpy(&type, next, sizeof(type));
    return type == vk_wire::native_buffer_type;
}

/// Memory for a swapchain image, which the target never binds any to. The host's result.
VkResult back_image(const vk_handler& call, const vk_device_record& device, vk_entry_of<VkImage>& image)
{
    VkMemoryRequirements needed{};
    call.host<&vk::vkGetImageMemoryRequirements>(device.device, image.host, &needed);
    const int type =
        zelvar_object_manager_vk_find_properties(&device.memory_properties, needed.memoryTypeBits, 0);
    if (type < 0) {
        LOG_FATAL("Could not find memory heap with %d memory type, create image for swapchain failed.",
                  static_cast<int>(needed.memoryTypeBits | 2));
        return VK_ERROR_OUT_OF_DEVICE_MEMORY;
    }
    VkMemoryAllocateInfo info{VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO, nullptr, needed.size,
                              static_cast<uint32_t>(type)};
    VkResult result = call.host<&vk::vkAllocateMemory>(device.device, &info, nullptr, &image.host_backing);
    if (result != VK_SUCCESS) {
        LOG_FATAL("Could not allocate memory for swapchain image");
        image.host_backing = VK_NULL_HANDLE;
        return result;
    }
    image.backing_size = needed.size;
    result = call.host<&vk::vkBindImageMemory>(device.device, image.host, image.host_backing, 0);
    if (result != VK_SUCCESS) {
        LOG_FATAL("Could not bind swapchain image to host memory");
        call.host<&vk::vkFreeMemory>(device.device, image.host_backing, nullptr);
        image.host_backing = VK_NULL_HANDLE;
    }
    return result;
}
} // namespace

void vk_vkCreateImage(pid_t pid, tid_t tid, VkDevice device, vk_struct<VkImageCreateInfo> pCreateInfo,
                      vk_struct<VkAllocationCallbacks> pAllocator, vk_out<VkImage> pImage,
                      result_of<VkResult> target_result)
{
    vk_handler call{"vk_vkCreateImage", pid, tid, target_result};
    call.trace("target_device", device, "pCreateInfo_ptr", pCreateInfo.address, "pAllocator_ptr",
               pAllocator.address, "pImage_ptr", pImage.address);
    auto* data = call.lock(device);
    if (!data || !pCreateInfo)
        return;
    call.prepare(data, pCreateInfo, "pCreateInfo");
    vk_entry_of<VkImage> image;
    if (is_native_buffer(pCreateInfo->pNext))
        take_native_buffer(*pCreateInfo.data, image);
    pCreateInfo->pNext = nullptr;
    // What the pointer leads to ends with the message.
    image.create_info = *pCreateInfo.data;
    image.create_info.queueFamilyIndexCount = 0;
    image.create_info.pQueueFamilyIndices = nullptr;
    image.create_info.sharingMode = VK_SHARING_MODE_EXCLUSIVE;
    VkFormat format = pCreateInfo->format;
    zelvar_helper_convert_format(&format);
    pCreateInfo->format = format;
    if (!host_has(call, *data, *pCreateInfo.data))
        call.refuse("the host has no such images");

    call.result = call.host<&vk::vkCreateImage>(data->device, pCreateInfo.data, nullptr, &image.host);
    if (call.result != VK_SUCCESS)
        return;
    if (image.has_native_buffer)
        call.result = back_image(call, *data, image);
    if (call.result == VK_SUCCESS && call.add(data, pImage.handle, image))
        return;
    call.host<&vk::vkDestroyImage>(data->device, image.host, nullptr);
    if (image.host_backing)
        call.host<&vk::vkFreeMemory>(data->device, image.host_backing, nullptr);
}

void vk_vkDestroyImage(pid_t pid, tid_t tid, VkDevice device, VkImage image,
                       vk_struct<VkAllocationCallbacks> pAllocator)
{
    vk_void_handler call{"vk_vkDestroyImage", pid, tid};
    call.trace("target_device", device, "target_image", image, "pAllocator_ptr", pAllocator.address);
    auto* data = call.lock(device);
    auto* entry = data && image ? call.find(data, image) : nullptr;
    if (!entry)
        return;
    vk_let_finish(call, data, *entry);
    vk_end<&vk::vkDestroyImage>(call, data, *entry, entry->host);
    if (entry->host_backing)
        vk_end<&vk::vkFreeMemory>(call, data, *entry, entry->host_backing);
    auto memory = data->device_memory.find(entry->target_memory);
    if (memory != data->device_memory.end() && memory->second.target_image == image)
        memory->second.target_image = VK_NULL_HANDLE;
    vk_registry::remove(data, image);
}

void vk_vkGetImageSubresourceLayout(pid_t pid, tid_t tid, VkDevice device, VkImage image,
                                    vk_struct<VkImageSubresource> pSubresource,
                                    vk_struct<VkSubresourceLayout> pLayout)
{
    vk_void_handler call{"vk_vkGetImageSubresourceLayout", pid, tid};
    call.trace("target_device", device, "target_image", image, "pSubresource_ptr", pSubresource.address,
               "pLayout_ptr", pLayout.address);
    auto* data = call.lock(device);
    auto* entry = data ? call.find(data, image) : nullptr;
    if (!entry || !pSubresource)
        return;
    const vk_image_shape shape = vk_shape_of(data, image);
    if (shape.known() && (pSubresource->mipLevel >= shape.levels || pSubresource->arrayLayer >= shape.layers))
        return call.refuse("the image has no such level or layer");
    VkSubresourceLayout layout{};
    call.host<&vk::vkGetImageSubresourceLayout>(data->device, entry->host, pSubresource.data, &layout);
    call.write(pLayout.address, layout);
}
