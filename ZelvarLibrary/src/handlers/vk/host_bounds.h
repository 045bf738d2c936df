#pragma once
// What a host's driver takes on trust and dies of, as far as the records tell: ranges beyond an object, and
// commands without what they work on. Objects of which a record knows nothing pass.

#include "handlers/vk/vk_handler.h"
#include "wire/vk_structures.h"

#include <algorithm>

/// `first` and `count` more lie within `size`.
inline bool vk_within(uint64_t first, uint64_t count, uint64_t size)
{
    return first <= size && count <= size - first;
}

/// Places for vertex buffers, and for viewports and scissors, that drivers have.
constexpr uint32_t vk_most_vertex_bindings = 32;
constexpr uint32_t vk_most_viewports = 16;

/// Whether such a descriptor is given an offset when its set is bound.
constexpr bool vk_takes_offset(VkDescriptorType type)
{
    return type == VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC ||
           type == VK_DESCRIPTOR_TYPE_STORAGE_BUFFER_DYNAMIC;
}
/// The record of a target's object, silently; null when there is none.
template <class Handle>
vk_entry_of<Handle>* vk_known(vk_device_record* data, Handle target)
{
    auto& all = vk_objects_of<Handle>(*data);
    auto found = all.find(target);
    return found == all.end() ? nullptr : &found->second;
}

/// Memory that something was bound to is still there; number 0 is any.
inline bool vk_memory_lives(vk_device_record* data, VkDeviceMemory target, uint64_t serial)
{
    auto* memory = target ? vk_known(data, target) : nullptr;
    return memory && (serial == 0 || memory->serial == serial);
}
/// The part of a buffer is there, and memory behind it.
inline bool vk_holds(vk_device_record* data, VkBuffer target, uint64_t offset, uint64_t size)
{
    auto* buffer = vk_known(data, target);
    return !buffer || buffer->size == UINT64_MAX ||
           (vk_within(offset, size, buffer->size) &&
            (buffer->sparse || vk_memory_lives(data, buffer->target_memory, buffer->memory_serial)));
}
inline bool vk_has_queries(vk_device_record* data, VkQueryPool target, uint32_t first, uint32_t count)
{
    auto* pool = vk_known(data, target);
    return !pool || pool->count == UINT32_MAX || vk_within(first, count, pool->count);
}

/// A view, and the image that it shows, must still be there.
inline bool vk_shows(vk_device_record* data, VkImageView target)
{
    auto* view = vk_known(data, target);
    if (!view || !view->target_image)
        return view != nullptr;
    auto* image = vk_known(data, view->target_image);
    constexpr VkImageCreateFlags sparse = VK_IMAGE_CREATE_SPARSE_BINDING_BIT;
    return image &&
           (image->create_info.mipLevels == 0 || image->host_backing || (image->create_info.flags & sparse) ||
            vk_memory_lives(data, image->target_memory, image->memory_serial));
}

/// Descriptors of a set from one of a binding on, all of a type; they may run on into the bindings behind it.
inline bool vk_has_descriptors(vk_device_record* data, VkDescriptorSet target, uint32_t binding,
                               uint32_t first, uint32_t count, VkDescriptorType type)
{
    auto* set = vk_known(data, target);
    if (!set || !set->bindings)
        return true;
    const uint64_t end = uint64_t{first} + count;
    uint64_t held = 0;
    auto at = set->bindings->find(binding);
    for (; at != set->bindings->end() && held < end; ++at) {
        const vk_binding& each = at->second;
        held += each.count;
        if (held > first && each.type != type && each.type != VK_DESCRIPTOR_TYPE_MAX_ENUM &&
            type != VK_DESCRIPTOR_TYPE_MAX_ENUM)
            return false;
    }
    return end <= held;
}
/// Drivers take the kind of what they copy from either side.
inline bool vk_can_copy(vk_device_record* data, const VkCopyDescriptorSet& copy)
{
    VkDescriptorType type = VK_DESCRIPTOR_TYPE_MAX_ENUM;
    auto* from = vk_known(data, copy.srcSet);
    if (from && from->bindings)
        if (auto found = from->bindings->find(copy.srcBinding); found != from->bindings->end())
            type = found->second.type;
    return vk_has_descriptors(data, copy.srcSet, copy.srcBinding, copy.srcArrayElement, copy.descriptorCount,
                              type) &&
           vk_has_descriptors(data, copy.dstSet, copy.dstBinding, copy.dstArrayElement, copy.descriptorCount,
                              type);
}
inline bool vk_can_write_images(vk_device_record* data, const VkWriteDescriptorSet& write)
{
    const VkDescriptorType type = write.descriptorType;
    for (uint32_t i = 0; type != VK_DESCRIPTOR_TYPE_SAMPLER && i < write.descriptorCount; ++i)
        if (!vk_shows(data, VkImageView{write.pImageInfo[i].imageView}))
            return false;
    if (type != VK_DESCRIPTOR_TYPE_SAMPLER && type != VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER)
        return true;
    auto* set = vk_known(data, write.dstSet);
    if (!set || !set->bindings || set->bindings->at(write.dstBinding).own_samplers)
        return true;
    for (uint32_t i = 0; i < write.descriptorCount; ++i) {
        const VkSampler sampler = write.pImageInfo[i].sampler;
        if (!vk_known(data, sampler)) // the host would get none
            return false;
    }
    return true;
}
inline bool vk_can_write(vk_device_record* data, const VkWriteDescriptorSet& write)
{
    if (write.descriptorCount == 0)
        return true;
    if (!vk_has_descriptors(data, write.dstSet, write.dstBinding, write.dstArrayElement,
                            write.descriptorCount, write.descriptorType))
        return false;
    if (vk_wire::writes_buffers(write, {})) {
        for (uint32_t i = 0; write.pBufferInfo && i < write.descriptorCount; ++i) {
            const VkDescriptorBufferInfo info = write.pBufferInfo[i];
            if (!vk_known(data, info.buffer) ||
                !vk_holds(data, info.buffer, info.offset, info.range == VK_WHOLE_SIZE ? 0 : info.range))
                return false;
        }
        return write.pBufferInfo != nullptr;
    }
    if (vk_wire::writes_texel_buffers(write, {})) {
        for (uint32_t i = 0; write.pTexelBufferView && i < write.descriptorCount; ++i) {
            auto* view = vk_known(data, VkBufferView{write.pTexelBufferView[i]});
            if (!view)
                return false;
            if (view->target_buffer &&
                (!vk_known(data, view->target_buffer) || !vk_holds(data, view->target_buffer, 0, 0)))
                return false;
        }
        return write.pTexelBufferView != nullptr;
    }
    return vk_wire::writes_images(write, {}) && write.pImageInfo && vk_can_write_images(data, write);
}
