#include "handlers/vk/linear_images.h"

#include "pixels/astc_formats.h"

using vk = sidechannel_vk_imports;

namespace {
constexpr VkMemoryPropertyFlags host_visible_and_coherent =
    VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT;

void release(vk_handler& call, VkDevice device, const vk_linear_image& linear)
{
    if (linear.pixels)
        call.host<&vk::vkUnmapMemory>(device, linear.memory);
    if (linear.image)
        call.host<&vk::vkDestroyImage>(device, linear.image, nullptr);
    if (linear.memory)
        call.host<&vk::vkFreeMemory>(device, linear.memory, nullptr);
}

bool create(vk_handler& call, VkDevice device, const VkImageCreateInfo& of_swapchain, vk_linear_image* linear)
{
    VkImageCreateInfo info = of_swapchain;
    info.pNext = nullptr;
    info.tiling = VK_IMAGE_TILING_LINEAR;
    info.usage = VK_IMAGE_USAGE_TRANSFER_DST_BIT;
    info.sharingMode = VK_SHARING_MODE_EXCLUSIVE;
    info.queueFamilyIndexCount = 0;
    info.pQueueFamilyIndices = nullptr;
    zelvar_helper_convert_format(&info.format);
    call.result = call.host<&vk::vkCreateImage>(device, &info, nullptr, &linear->image);
    if (call.result == VK_SUCCESS)
        return true;
    LOG_FATAL("Can't create linear image for spliting swapchain image.");
    return false;
}

bool bind_memory(vk_handler& call, const vk_device_record& data, vk_linear_image* linear)
{
    VkMemoryRequirements needed{};
    call.host<&vk::vkGetImageMemoryRequirements>(data.device, linear->image, &needed);
    const int type = zelvar_object_manager_vk_find_properties(&data.memory_properties, needed.memoryTypeBits,
                                                              host_visible_and_coherent);
    if (type < 0) {
        LOG_FATAL("Could not find memory heap with %d memory type, create linear image for swapchain failed.",
                  static_cast<int>(needed.memoryTypeBits + host_visible_and_coherent));
        call.result = -1;
        return false;
    }
    VkMemoryAllocateInfo info{VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO, nullptr, needed.size,
                              static_cast<uint32_t>(type)};
    // Drivers follow the handle that they are given to bind: one that was never made can't be handed on.
    if (call.host<&vk::vkAllocateMemory>(data.device, &info, nullptr, &linear->memory) == VK_SUCCESS)
        call.result =
            call.host<&vk::vkBindImageMemory>(data.device, linear->image, linear->memory, VkDeviceSize{0});
    else
        call.result = VK_ERROR_OUT_OF_DEVICE_MEMORY;
    linear->size = needed.size;
    if (call.result == VK_SUCCESS)
        return true;
    LOG_FATAL("Could not bind linear image to host memory");
    return false;
}

bool map(vk_handler& call, VkDevice device, vk_linear_image* linear)
{
    const VkImageSubresource first{VK_IMAGE_ASPECT_COLOR_BIT, 0, 0};
    VkSubresourceLayout layout{};
    call.host<&vk::vkGetImageSubresourceLayout>(device, linear->image, &first, &layout);
    void* mapping = nullptr;
    call.result = call.host<&vk::vkMapMemory>(device, linear->memory, VkDeviceSize{0},
                                              VkDeviceSize{VK_WHOLE_SIZE}, 0u, &mapping);
    if (call.result == VK_SUCCESS && mapping && layout.offset <= linear->size) {
        linear->pixels = static_cast<uint8_t*>(mapping) + layout.offset;
        linear->offset = layout.offset;
        return true;
    }
    LOG_FATAL("Can't map swapchain image to host memory.");
    if (call.result == VK_SUCCESS)
        call.result = VK_ERROR_MEMORY_MAP_FAILED;
    return false;
}

void free_command_buffer(vk_handler& call, vk_device_record* data)
{
    if (data->swapchain_command_buffer)
        call.host<&vk::vkFreeCommandBuffers>(data->device, data->swapchain_command_pool, 1u,
                                             &data->swapchain_command_buffer);
    data->swapchain_command_buffer = VK_NULL_HANDLE;
}
} // namespace

vk_linear_image* vk_linear_image_for(vk_handler& call, vk_device_record* data, const vk_image_data& image,
                                     bool* made)
{
    auto known = data->linear_images.find(image.create_info.extent);
    *made = known == data->linear_images.end() || known->second.format != image.create_info.format;
    if (!*made)
        return &known->second;
    if (known != data->linear_images.end()) { // texels of another size can't be copied into it
        release(call, data->device, known->second);
        data->linear_images.erase(known);
    }
    vk_linear_image linear;
    linear.format = image.create_info.format;
    if (create(call, data->device, image.create_info, &linear) && bind_memory(call, *data, &linear) &&
        map(call, data->device, &linear))
        return &(data->linear_images[image.create_info.extent] = linear);
    free_command_buffer(call, data);
    release(call, data->device, linear);
    return nullptr;
}
