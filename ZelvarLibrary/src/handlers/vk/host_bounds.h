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

// What is kept of an object from the structure that made it. The default is nothing.

template <class Entry, class Info>
void vk_remember(Entry&, const Info&)
{
}
inline void vk_remember(vk_entry_of<VkBuffer>& entry, const VkBufferCreateInfo& info)
{
    entry.size = info.size;
    entry.sparse = info.flags & VK_BUFFER_CREATE_SPARSE_BINDING_BIT;
}
inline void vk_remember(vk_entry_of<VkQueryPool>& entry, const VkQueryPoolCreateInfo& info)
{
    entry.count = info.queryCount;
}
inline void vk_remember(vk_entry_of<VkPipelineLayout>& entry, const VkPipelineLayoutCreateInfo& info)
{
    entry.set_count = info.setLayoutCount;
    entry.push_bytes = 0;
    for (uint32_t i = 0; i < info.pushConstantRangeCount; ++i) {
        const VkPushConstantRange range = info.pPushConstantRanges[i];
        if (vk_within(range.offset, range.size, UINT32_MAX))
            entry.push_bytes = std::max(entry.push_bytes, range.offset + range.size);
    }
}
inline void vk_remember(vk_entry_of<VkDescriptorSetLayout>& entry,
                        const VkDescriptorSetLayoutCreateInfo& info)
{
    auto bindings = std::make_shared<std::map<uint32_t, vk_binding>>();
    for (uint32_t i = 0; i < info.bindingCount; ++i) {
        const VkDescriptorSetLayoutBinding& given = info.pBindings[i];
        (*bindings)[given.binding] = {given.descriptorCount, given.pImmutableSamplers != nullptr};
    }
    entry.bindings = bindings;
}
inline void vk_remember(vk_entry_of<VkRenderPass>& entry, const VkRenderPassCreateInfo& info)
{
    entry.attachment_count = info.attachmentCount;
    entry.subpass_count = info.subpassCount;
}
inline void vk_remember(vk_entry_of<VkFramebuffer>& entry, const VkFramebufferCreateInfo& info)
{
    entry.attachment_count = info.attachmentCount;
    entry.width = info.width;
    entry.height = info.height;
}

/// The record of a target's object, silently; null when there is none.
template <class Handle>
const vk_entry_of<Handle>* vk_known(vk_device_record* data, Handle target)
{
    const auto& all = vk_objects_of<Handle>(*data);
    auto found = all.find(target);
    return found == all.end() ? nullptr : &found->second;
}

/// The part of a buffer is there, and memory behind it.
inline bool vk_holds(vk_device_record* data, VkBuffer target, uint64_t offset, uint64_t size)
{
    auto* buffer = vk_known(data, target);
    return !buffer || buffer->size == UINT64_MAX ||
           (vk_within(offset, size, buffer->size) && (buffer->sparse || buffer->target_memory));
}
inline bool vk_has_queries(vk_device_record* data, VkQueryPool target, uint32_t first, uint32_t count)
{
    auto* pool = vk_known(data, target);
    return !pool || pool->count == UINT32_MAX || vk_within(first, count, pool->count);
}

/// Descriptors of a set from one of a binding on; they may run on into the bindings behind it.
inline bool vk_has_descriptors(vk_device_record* data, VkDescriptorSet target, uint32_t binding,
                               uint32_t first, uint32_t count)
{
    auto* set = vk_known(data, target);
    if (!set || !set->bindings)
        return true;
    uint64_t held = 0;
    auto at = set->bindings->find(binding);
    for (; at != set->bindings->end(); ++at)
        held += at->second.count;
    return vk_within(first, count, held);
}
inline bool vk_can_write(vk_device_record* data, const VkWriteDescriptorSet& write)
{
    if (write.descriptorCount == 0)
        return true;
    if (!vk_has_descriptors(data, write.dstSet, write.dstBinding, write.dstArrayElement,
                            write.descriptorCount))
        return false;
    const VkDescriptorType type = write.descriptorType;
    if (vk_wire::writes_buffers(write, {}))
        return write.pBufferInfo != nullptr;
    if (vk_wire::writes_texel_buffers(write, {}))
        return write.pTexelBufferView != nullptr;
    if (!vk_wire::writes_images(write, {}) || !write.pImageInfo)
        return false;
    if (type != VK_DESCRIPTOR_TYPE_SAMPLER && type != VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER)
        return true;
    auto* set = vk_known(data, write.dstSet);
    if (!set || !set->bindings || set->bindings->at(write.dstBinding).own_samplers)
        return true;
    for (uint32_t i = 0; i < write.descriptorCount; ++i)
        if (!write.pImageInfo[i].sampler)
            return false;
    return true;
}
