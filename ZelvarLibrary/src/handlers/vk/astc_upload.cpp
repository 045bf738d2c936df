#include "handlers/vk/astc_upload.h"

#include "handlers/vk/mapped_memory.h"
#include "pixels/astc_formats.h"

#include <algorithm>

using vk = sidechannel_vk_imports;

namespace {
constexpr uint32_t widest_image = 16384; // texels; no host has wider ones
constexpr VkMemoryPropertyFlags host_visible_and_coherent =
    VK_MEMORY_PROPERTY_HOST_VISIBLE_BIT | VK_MEMORY_PROPERTY_HOST_COHERENT_BIT;

template <auto Field, class... A>
VkResult ask_host(const vk_frame& call, A... arguments)
{
    auto function = call.function<Field>();
    return function ? function(arguments...) : VK_ERROR_EXTENSION_NOT_PRESENT;
}
template <auto Field, class... A>
void run_on_host(const vk_frame& call, A... arguments)
{
    if (auto function = call.function<Field>())
        function(arguments...);
}

/// A mapped buffer in memory of its own.
struct texel_buffer
{
    VkBuffer buffer = VK_NULL_HANDLE;
    VkDeviceSize size = 0;
    VkDeviceMemory memory = VK_NULL_HANDLE;
    VkDeviceSize memory_size = 0;
    uint8_t* pixels = nullptr;
};

void release(const vk_frame& call, VkDevice device, const texel_buffer& made)
{
    run_on_host<&vk::vkDestroyBuffer>(call, device, made.buffer, nullptr);
    if (made.memory)
        run_on_host<&vk::vkFreeMemory>(call, device, made.memory, nullptr);
}

bool allocate_and_map(const vk_frame& call, const vk_device_record& data, uint32_t type, texel_buffer* made)
{
    VkMemoryAllocateInfo info{VK_STRUCTURE_TYPE_MEMORY_ALLOCATE_INFO, nullptr, made->memory_size, type};
    void* mapping = nullptr;
    if (ask_host<&vk::vkAllocateMemory>(call, data.device, &info, nullptr, &made->memory) != VK_SUCCESS)
        return false;
    if (ask_host<&vk::vkBindBufferMemory>(call, data.device, made->buffer, made->memory, VkDeviceSize{0}) !=
        VK_SUCCESS)
        return false;
    if (ask_host<&vk::vkMapMemory>(call, data.device, made->memory, VkDeviceSize{0}, made->memory_size, 0u,
                                   &mapping) != VK_SUCCESS)
        return false;
    made->pixels = static_cast<uint8_t*>(mapping);
    return mapping != nullptr;
}

/// `least_memory`: the target's mapping goes on being copied into the new memory, as far as it reached in the
/// old one.
bool make_texel_buffer(const vk_frame& call, const vk_device_record& data, VkDeviceSize size,
                       VkDeviceSize least_memory, texel_buffer* made)
{
    VkBufferCreateInfo info{};
    info.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO;
    info.size = size;
    info.usage = VK_BUFFER_USAGE_TRANSFER_SRC_BIT;
    if (ask_host<&vk::vkCreateBuffer>(call, data.device, &info, nullptr, &made->buffer) != VK_SUCCESS) {
        LOG_ERROR("Could not create buffer for ASTC support");
        return false;
    }
    made->size = size;
    VkMemoryRequirements needed{};
    run_on_host<&vk::vkGetBufferMemoryRequirements>(call, data.device, made->buffer, &needed);
    const int type = zelvar_object_manager_vk_find_properties(&data.memory_properties, needed.memoryTypeBits,
                                                              host_visible_and_coherent);
    made->memory_size = std::max(needed.size, least_memory);
    if (type < 0) {
        LOG_FATAL("Could not find memory heap with %d memory type, create buffer for astc support failed.",
                  static_cast<int>(needed.memoryTypeBits + host_visible_and_coherent));
    } else if (allocate_and_map(call, data, static_cast<uint32_t>(type), made)) {
        return true;
    } else {
        LOG_ERROR("Map buffer failed for ASTC support");
    }
    release(call, data.device, *made);
    return false;
}

/// Puts the decoded buffer and its memory where the target's handles lead. What the target made first lives
/// on until the target ends it, since commands and other buffers may still use it.
void take_place(const vk_frame& call, vk_device_record* data, vk_entry_of<VkBuffer>& buffer,
                vk_entry_of<VkDeviceMemory>& memory, bool mapped_by_target, const texel_buffer& made)
{
    if (mapped_by_target) {
        run_on_host<&vk::vkUnmapMemory>(call, data->device, memory.host);
        memory.host_pointer = made.pixels;
    } else {
        run_on_host<&vk::vkUnmapMemory>(call, data->device, memory.host);
        run_on_host<&vk::vkUnmapMemory>(call, data->device, made.memory);
    }
    if (buffer.replaced) {
        run_on_host<&vk::vkDestroyBuffer>(call, data->device, buffer.host, nullptr);
        vk_registry::note_end(data, buffer.serial);
        buffer.serial = ++data->last_serial;
    } else {
        buffer.replaced = buffer.host;
    }
    if (memory.replaced)
        run_on_host<&vk::vkFreeMemory>(call, data->device, memory.host, nullptr);
    else
        memory.replaced = memory.host;
    buffer.host = made.buffer;
    buffer.changed = false;
    buffer.size = made.size;
    memory.host = made.memory;
    memory.size = made.memory_size;
    memory.contents = vk_contents::decoded;
}

/// Regions of the decoded buffer: texels without gaps from its start.
uint32_t regions_of_texels(VkBufferImageCopy* regions, uint32_t count, uint64_t bytes)
{
    auto reads_beyond = [bytes](const VkBufferImageCopy& region) {
        const VkExtent3D& extent = region.imageExtent;
        uint64_t size = 4;
        for (uint32_t factor :
             {extent.width, extent.height, extent.depth, region.imageSubresource.layerCount}) {
            if (__builtin_mul_overflow(size, uint64_t{factor}, &size))
                return true;
        }
        return size > bytes;
    };
    auto end = std::remove_if(regions, regions + count, reads_beyond);
    std::for_each(regions, end, [](VkBufferImageCopy& region) {
        region.bufferOffset = 0;
        region.bufferRowLength = 0;
        region.bufferImageHeight = 0;
    });
    return static_cast<uint32_t>(end - regions);
}
} // namespace

bool vk_decode_astc_source(const vk_frame& call, vk_device_record* data, VkBuffer source, VkImage destination,
                           VkBufferImageCopy* regions, uint32_t* region_count)
{
    auto buffer = data->buffer.find(source);
    auto image = data->image.find(destination);
    if (buffer == data->buffer.end() || image == data->image.end() || *region_count == 0)
        return true;
    const VkFormat format = image->second.create_info.format;
    auto memory = data->device_memory.find(buffer->second.target_memory);
    if (!buffer->second.changed || memory == data->device_memory.end() || !is_astc_format(format))
        return true;

    const VkExtent3D extent = regions[0].imageExtent;
    const uint64_t bytes = uint64_t{extent.width} * extent.height * 4;
    if (extent.width == 0 || extent.height == 0 || extent.width > widest_image ||
        extent.height > widest_image) {
        LOG_ERROR("Could not create buffer for ASTC support");
        return false;
    }
    vk_entry_of<VkDeviceMemory>& old = memory->second;
    const bool mapped_by_target = old.host_pointer != nullptr;
    void* blocks = old.host_pointer;
    if (!mapped_by_target && ask_host<&vk::vkMapMemory>(call, data->device, old.host, VkDeviceSize{0},
                                                        old.size, 0u, &blocks) != VK_SUCCESS) {
        LOG_ERROR("Could not map buffer for ASTC support");
        return false;
    }
    texel_buffer made;
    if (!make_texel_buffer(call, *data, bytes, old.size, &made)) {
        if (!mapped_by_target)
            run_on_host<&vk::vkUnmapMemory>(call, data->device, old.host);
        return false;
    }
    VkImageCreateInfo uploaded = image->second.create_info;
    uploaded.extent = extent;
    vk_decode_astc(uploaded, static_cast<uint8_t*>(blocks), mapped_by_target ? old.map_size : old.size,
                   made.pixels, bytes);
    take_place(call, data, buffer->second, old, mapped_by_target, made);
    *region_count = regions_of_texels(regions, *region_count, bytes);
    return true;
}
