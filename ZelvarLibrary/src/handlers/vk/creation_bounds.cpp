#include "handlers/vk/creation_bounds.h"

#include "handlers/vk/image_bounds.h"
#include "handlers/vk/shader_scan.h"
#include "handlers/vk/texel_sizes.h"

#include <bit>
#include <cstring>

void vk_remember(vk_device_record*, vk_entry_of<VkBuffer>& entry, const VkBufferCreateInfo& info)
{
    entry.size = info.size;
    entry.sparse = info.flags & VK_BUFFER_CREATE_SPARSE_BINDING_BIT;
}

void vk_remember(vk_device_record*, vk_entry_of<VkQueryPool>& entry, const VkQueryPoolCreateInfo& info)
{
    entry.count = info.queryCount;
    if (info.queryType == VK_QUERY_TYPE_PIPELINE_STATISTICS) {
        entry.values = static_cast<uint32_t>(std::popcount(info.pipelineStatistics));
        entry.counts_compute =
            info.pipelineStatistics & VK_QUERY_PIPELINE_STATISTIC_COMPUTE_SHADER_INVOCATIONS_BIT;
    }
}

void vk_remember(vk_device_record* data, vk_entry_of<VkPipelineLayout>& entry,
                 const VkPipelineLayoutCreateInfo& info)
{
    entry.set_count = info.setLayoutCount;
    for (uint32_t i = 0; info.pSetLayouts && i < info.setLayoutCount; ++i) {
        auto* set = vk_known(data, VkDescriptorSetLayout{info.pSetLayouts[i]});
        entry.sets.push_back(set ? set->bindings : nullptr);
    }
    entry.push_bytes = 0;
    for (uint32_t i = 0; info.pPushConstantRanges && i < info.pushConstantRangeCount; ++i) {
        const VkPushConstantRange range = info.pPushConstantRanges[i];
        if (vk_within(range.offset, range.size, UINT32_MAX))
            entry.push_bytes = std::max(entry.push_bytes, range.offset + range.size);
    }
}

void vk_remember(vk_device_record* data, vk_entry_of<VkDescriptorSetLayout>& entry,
                 const VkDescriptorSetLayoutCreateInfo& info)
{
    auto bindings = std::make_shared<std::map<uint32_t, vk_binding>>();
    for (uint32_t i = 0; info.pBindings && i < info.bindingCount; ++i) {
        const VkDescriptorSetLayoutBinding given = info.pBindings[i];
        vk_binding& binding = (*bindings)[given.binding];
        binding = {given.descriptorCount, given.pImmutableSamplers != nullptr, given.descriptorType,
                   given.stageFlags};
        for (uint32_t k = 0; given.pImmutableSamplers && k < given.descriptorCount; ++k)
            binding.samplers.push_back(vk_hold_on(vk_known(data, VkSampler{given.pImmutableSamplers[k]})));
    }
    entry.bindings = bindings;
}

void vk_remember(vk_device_record*, vk_entry_of<VkBufferView>& entry, const VkBufferViewCreateInfo& info)
{
    entry.target_buffer = info.buffer;
}

void vk_remember(vk_device_record*, vk_entry_of<VkShaderModule>& entry, const VkShaderModuleCreateInfo& info)
{
    // Wherever it lies in the message.
    std::vector<uint32_t> words(info.pCode ? info.codeSize / sizeof(uint32_t) : 0);
    if (info.pCode && !words.empty())
        std::memcpy(words.data(), info.pCode, words.size() * sizeof(uint32_t));
    entry.entry_points = std::make_shared<const std::vector<vk_shader_entry_point>>(vk_scan_shader(words));
}

void vk_remember(vk_device_record* data, vk_entry_of<VkImageView>& entry, const VkImageViewCreateInfo& info)
{
    entry.target_image = info.image;
    const vk_image_shape image = vk_shape_of(data, info.image);
    const VkImageSubresourceRange& range = info.subresourceRange;
    if (!image.known() || range.baseMipLevel >= image.levels)
        return;
    entry.shown = {info.format, image.samples};
    entry.extent = image.extent_of(range.baseMipLevel);
    entry.levels = range.levelCount;
    entry.layers = range.layerCount;
    vk_take_range(range.baseMipLevel, &entry.levels, image.levels);
    vk_take_range(range.baseArrayLayer, &entry.layers, image.slices_of(range.baseMipLevel));
}

bool vk_clamps_to_border(const VkSamplerCreateInfo& info)
{
    constexpr VkSamplerAddressMode border = VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_BORDER;
    return info.addressModeU == border || info.addressModeV == border || info.addressModeW == border;
}

const char* vk_refusal(vk_device_record*, const VkSamplerCreateInfo& info)
{
    const bool sound = vk_up_to(info.magFilter, VK_FILTER_LINEAR) &&
                       vk_up_to(info.minFilter, VK_FILTER_LINEAR) &&
                       vk_up_to(info.mipmapMode, VK_SAMPLER_MIPMAP_MODE_LINEAR) &&
                       vk_up_to(info.addressModeU, VK_SAMPLER_ADDRESS_MODE_MIRROR_CLAMP_TO_EDGE) &&
                       vk_up_to(info.addressModeV, VK_SAMPLER_ADDRESS_MODE_MIRROR_CLAMP_TO_EDGE) &&
                       vk_up_to(info.addressModeW, VK_SAMPLER_ADDRESS_MODE_MIRROR_CLAMP_TO_EDGE) &&
                       (!info.compareEnable || vk_up_to(info.compareOp, VK_COMPARE_OP_ALWAYS));
    return sound && (!vk_clamps_to_border(info) ||
                     vk_up_to(info.borderColor, VK_BORDER_COLOR_INT_OPAQUE_WHITE))
               ? nullptr
               : "a sampler has no such modes";
}

namespace {
/// Layers that a view of a type has.
bool fits_layers(VkImageViewType type, uint32_t layers)
{
    switch (type) {
    case VK_IMAGE_VIEW_TYPE_CUBE:
        return layers == 6;
    case VK_IMAGE_VIEW_TYPE_CUBE_ARRAY:
        return layers % 6 == 0;
    case VK_IMAGE_VIEW_TYPE_1D_ARRAY:
    case VK_IMAGE_VIEW_TYPE_2D_ARRAY:
        return true;
    default:
        return layers == 1;
    }
}

bool fits_image(VkImageViewType type, const vk_image_shape& image)
{
    switch (type) {
    case VK_IMAGE_VIEW_TYPE_1D:
    case VK_IMAGE_VIEW_TYPE_1D_ARRAY:
        return image.type == VK_IMAGE_TYPE_1D;
    case VK_IMAGE_VIEW_TYPE_3D:
        return image.type == VK_IMAGE_TYPE_3D;
    case VK_IMAGE_VIEW_TYPE_2D:
    case VK_IMAGE_VIEW_TYPE_2D_ARRAY: // a slice of a volume may pass for a layer
        return image.type != VK_IMAGE_TYPE_1D;
    default:
        return image.type == VK_IMAGE_TYPE_2D && image.extent.width == image.extent.height;
    }
}

bool fits_format(VkFormat view, VkFormat image)
{
    if (vk_is_depth_stencil(view) || vk_is_depth_stencil(image))
        return view == image;
    return vk_block_of(view).bytes != 0 && vk_block_of(view).bytes == vk_block_of(image).bytes;
}

bool sound_swizzles(const VkComponentMapping& components)
{
    return vk_up_to(components.r, VK_COMPONENT_SWIZZLE_A) && vk_up_to(components.g, VK_COMPONENT_SWIZZLE_A) &&
           vk_up_to(components.b, VK_COMPONENT_SWIZZLE_A) && vk_up_to(components.a, VK_COMPONENT_SWIZZLE_A);
}
} // namespace

const char* vk_refusal(vk_device_record* data, const VkImageViewCreateInfo& info)
{
    if (!vk_up_to(info.viewType, VK_IMAGE_VIEW_TYPE_CUBE_ARRAY) || !sound_swizzles(info.components))
        return "a view has no such type or components";
    const vk_image_shape image = vk_shape_of(data, info.image);
    if (!image.known())
        return nullptr;
    const VkImageSubresourceRange& range = info.subresourceRange;
    uint32_t levels = range.levelCount;
    uint32_t layers = range.layerCount;
    const bool volume = info.viewType == VK_IMAGE_VIEW_TYPE_3D;
    const bool fits = vk_take_range(range.baseMipLevel, &levels, image.levels) &&
                      vk_take_range(range.baseArrayLayer, &layers,
                                    volume ? image.layers : image.slices_of(range.baseMipLevel)) &&
                      fits_layers(info.viewType, layers) && fits_image(info.viewType, image) &&
                      fits_format(info.format, image.format) && range.aspectMask != 0 &&
                      (range.aspectMask & ~vk_aspects_of(image.format)) == 0 && image.has_memory;
    return fits ? nullptr : "the view doesn't fit the image, or that has no memory";
}

const char* vk_refusal(vk_device_record* data, const VkBufferViewCreateInfo& info)
{
    const uint64_t size = info.range == VK_WHOLE_SIZE ? 0 : info.range;
    return vk_is_plain_colour(info.format) && vk_holds(data, info.buffer, info.offset, size)
               ? nullptr
               : "the view doesn't fit the buffer, or that has no memory";
}

const char* vk_refusal(vk_device_record* data, const VkPipelineLayoutCreateInfo& info)
{
    constexpr uint32_t most_sets = 32;
    constexpr uint32_t most_bytes = 256;
    bool fits = info.setLayoutCount <= vk_limit(data->limits.maxBoundDescriptorSets, most_sets);
    for (uint32_t i = 0; info.pPushConstantRanges && i < info.pushConstantRangeCount; ++i) {
        const VkPushConstantRange range = info.pPushConstantRanges[i];
        fits &= vk_within(range.offset, range.size, vk_limit(data->limits.maxPushConstantsSize, most_bytes));
    }
    return fits ? nullptr : "a pipeline layout has no such sets or push constants";
}

const char* vk_refusal(vk_device_record*, const VkDescriptorSetLayoutCreateInfo& info)
{
    constexpr uint32_t most_binding = 1 << 20;
    constexpr uint64_t most_descriptors = 1 << 20;
    uint64_t descriptors = 0;
    for (uint32_t i = 0; info.pBindings && i < info.bindingCount; ++i) {
        const VkDescriptorSetLayoutBinding binding = info.pBindings[i];
        descriptors += binding.descriptorCount;
        if (binding.binding > most_binding ||
            !vk_up_to(binding.descriptorType, VK_DESCRIPTOR_TYPE_INPUT_ATTACHMENT))
            return "a set has no such bindings";
    }
    return descriptors <= most_descriptors ? nullptr : "a set has no such bindings";
}

const char* vk_refusal(vk_device_record*, const VkQueryPoolCreateInfo& info)
{
    constexpr uint32_t most_queries = 1 << 24;
    return vk_up_to(info.queryType, VK_QUERY_TYPE_TIMESTAMP) && info.queryCount <= most_queries
               ? nullptr
               : "there are no such queries";
}
