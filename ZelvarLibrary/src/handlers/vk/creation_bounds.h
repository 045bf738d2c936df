#pragma once
// What is kept of an object from the structure that makes it, and structures that a host's driver would die
// of, at once or when the object is used. Both see the target's handles.

#include "handlers/vk/host_bounds.h"

/// The default is nothing.
template <class Entry, class Info>
void vk_remember(vk_device_record*, Entry&, const Info&)
{
}
void vk_remember(vk_device_record* data, vk_entry_of<VkBuffer>& entry, const VkBufferCreateInfo& info);
void vk_remember(vk_device_record* data, vk_entry_of<VkQueryPool>& entry, const VkQueryPoolCreateInfo& info);
void vk_remember(vk_device_record* data, vk_entry_of<VkPipelineLayout>& entry,
                 const VkPipelineLayoutCreateInfo& info);
void vk_remember(vk_device_record* data, vk_entry_of<VkDescriptorSetLayout>& entry,
                 const VkDescriptorSetLayoutCreateInfo& info);
void vk_remember(vk_device_record* data, vk_entry_of<VkBufferView>& entry,
                 const VkBufferViewCreateInfo& info);
void vk_remember(vk_device_record* data, vk_entry_of<VkShaderModule>& entry,
                 const VkShaderModuleCreateInfo& info);
void vk_remember(vk_device_record* data, vk_entry_of<VkImageView>& entry, const VkImageViewCreateInfo& info);
void vk_remember(vk_device_record* data, vk_entry_of<VkRenderPass>& entry,
                 const VkRenderPassCreateInfo& info);
void vk_remember(vk_device_record* data, vk_entry_of<VkFramebuffer>& entry,
                 const VkFramebufferCreateInfo& info);
void vk_remember(vk_device_record* data, vk_entry_of<VkPipeline>& entry,
                 const VkGraphicsPipelineCreateInfo& info);
void vk_remember(vk_device_record* data, vk_entry_of<VkPipeline>& entry,
                 const VkComputePipelineCreateInfo& info);

/// Why the host mustn't make the object; null when it may, as by default.
template <class Info>
const char* vk_refusal(vk_device_record*, const Info&)
{
    return nullptr;
}
const char* vk_refusal(vk_device_record* data, const VkSamplerCreateInfo& info);
const char* vk_refusal(vk_device_record* data, const VkImageViewCreateInfo& info);
const char* vk_refusal(vk_device_record* data, const VkBufferViewCreateInfo& info);
const char* vk_refusal(vk_device_record* data, const VkPipelineLayoutCreateInfo& info);
const char* vk_refusal(vk_device_record* data, const VkDescriptorSetLayoutCreateInfo& info);
const char* vk_refusal(vk_device_record* data, const VkQueryPoolCreateInfo& info);
const char* vk_refusal(vk_device_record* data, const VkRenderPassCreateInfo& info);
const char* vk_refusal(vk_device_record* data, const VkFramebufferCreateInfo& info);
const char* vk_refusal(vk_device_record* data, const VkGraphicsPipelineCreateInfo& info);
const char* vk_refusal(vk_device_record* data, const VkComputePipelineCreateInfo& info);

/// Makes sure that the object outlives the target's wish while a descriptor shows it.
template <class Entry>
vk_hold vk_hold_on(Entry* entry)
{
    if (entry && !entry->lifetime)
        entry->lifetime = std::make_shared<vk_lifetime>();
    return entry ? entry->lifetime : nullptr;
}

/// Whether anything of the sampler takes its border's colour.
bool vk_clamps_to_border(const VkSamplerCreateInfo& info);

/// The host's limit, or what every driver has where it isn't known.
inline uint32_t vk_limit(uint32_t of_host, uint32_t otherwise)
{
    return of_host ? of_host : otherwise;
}
/// Values of an enum run from 0 to `last`.
template <class E>
bool vk_up_to(E value, E last)
{
    return static_cast<uint32_t>(value) <= static_cast<uint32_t>(last);
}
/// One bit at the most, and one that the host has; drivers take none for one sample.
inline bool vk_sample_count(VkSampleCountFlags samples, VkSampleCountFlags of_host)
{
    constexpr VkSampleCountFlags all = 0x7f;
    return samples == 0 || (!(samples & (samples - 1)) && (samples & (of_host ? of_host : all)));
}
