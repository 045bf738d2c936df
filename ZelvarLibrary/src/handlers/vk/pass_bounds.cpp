// Render passes, and framebuffers for them.

#include "handlers/vk/creation_bounds.h"
#include "handlers/vk/texel_sizes.h"

#include <span>

namespace {
constexpr uint32_t most_colours = 8;

/// What an array holds; a received one is null when it is missing, whatever its count.
template <class T>
std::span<const T> all_of(const T* first, uint32_t count)
{
    return {first, first ? count : 0u};
}

VkSampleCountFlags samples_of_host(const vk_device_record& data)
{
    return data.limits.framebufferColorSampleCounts | data.limits.framebufferDepthSampleCounts |
           data.limits.framebufferStencilSampleCounts;
}

bool is_sound(const vk_device_record& data, const VkAttachmentDescription& attachment)
{
    return (vk_is_plain_colour(attachment.format) || vk_is_depth_stencil(attachment.format)) &&
           vk_sample_count(attachment.samples, samples_of_host(data)) &&
           vk_up_to(attachment.loadOp, VK_ATTACHMENT_LOAD_OP_DONT_CARE) &&
           vk_up_to(attachment.storeOp, VK_ATTACHMENT_STORE_OP_DONT_CARE) &&
           vk_up_to(attachment.stencilLoadOp, VK_ATTACHMENT_LOAD_OP_DONT_CARE) &&
           vk_up_to(attachment.stencilStoreOp, VK_ATTACHMENT_STORE_OP_DONT_CARE);
}

/// The references of one subpass.
class references
{
public:
    references(const VkRenderPassCreateInfo& pass, const VkSubpassDescription& subpass)
        : _attachments(all_of(pass.pAttachments, pass.attachmentCount)), _subpass(subpass)
    {
    }

    bool are_sound(const vk_device_record& data)
    {
        if (_subpass.pipelineBindPoint != VK_PIPELINE_BIND_POINT_GRAPHICS ||
            _subpass.colorAttachmentCount > vk_limit(data.limits.maxColorAttachments, most_colours))
            return false;
        for (const VkAttachmentReference& input :
             all_of(_subpass.pInputAttachments, _subpass.inputAttachmentCount))
            if (input.attachment != VK_ATTACHMENT_UNUSED && !find(input))
                return false;
        for (uint32_t preserved : all_of(_subpass.pPreserveAttachments, _subpass.preserveAttachmentCount))
            if (preserved >= _attachments.size())
                return false;
        return colours_are_sound() && (!_subpass.pDepthStencilAttachment || depth_is_sound());
    }

private:
    const VkAttachmentDescription* find(const VkAttachmentReference& reference) const
    {
        return reference.attachment < _attachments.size() ? &_attachments[reference.attachment] : nullptr;
    }
    /// All that a subpass draws to has as many samples.
    bool agrees(VkSampleCountFlags samples)
    {
        if (!_samples)
            _samples = samples;
        return _samples == samples;
    }
    bool colours_are_sound()
    {
        for (uint32_t i = 0; _subpass.pColorAttachments && i < _subpass.colorAttachmentCount; ++i) {
            const VkAttachmentReference colour = _subpass.pColorAttachments[i];
            auto* drawn = find(colour);
            if (colour.attachment != VK_ATTACHMENT_UNUSED &&
                (!drawn || !vk_is_plain_colour(drawn->format) || !agrees(drawn->samples)))
                return false;
            if (!_subpass.pResolveAttachments)
                continue;
            const VkAttachmentReference resolved = _subpass.pResolveAttachments[i];
            auto* to = find(resolved);
            if (resolved.attachment != VK_ATTACHMENT_UNUSED &&
                (!to || !drawn || to->format != drawn->format || to->samples != VK_SAMPLE_COUNT_1_BIT))
                return false;
        }
        return true;
    }
    bool depth_is_sound()
    {
        const VkAttachmentReference depth = *_subpass.pDepthStencilAttachment;
        auto* drawn = find(depth);
        return depth.attachment == VK_ATTACHMENT_UNUSED ||
               (drawn && vk_is_depth_stencil(drawn->format) && agrees(drawn->samples));
    }

    std::span<const VkAttachmentDescription> _attachments;
    const VkSubpassDescription& _subpass;
    VkSampleCountFlags _samples = 0;
};
} // namespace

const char* vk_refusal(vk_device_record* data, const VkRenderPassCreateInfo& info)
{
    if (info.subpassCount == 0 || !info.pSubpasses)
        return "a render pass has a subpass at least";
    for (const VkAttachmentDescription& attachment : all_of(info.pAttachments, info.attachmentCount))
        if (!is_sound(*data, attachment))
            return "an attachment has no such format, samples or uses";
    for (const VkSubpassDescription& subpass : all_of(info.pSubpasses, info.subpassCount))
        if (!references{info, subpass}.are_sound(*data))
            return "a subpass has no such attachments";
    for (const VkSubpassDependency& dependency : all_of(info.pDependencies, info.dependencyCount))
        for (uint32_t subpass : {dependency.srcSubpass, dependency.dstSubpass})
            if (subpass != VK_SUBPASS_EXTERNAL && subpass >= info.subpassCount)
                return "a render pass has no such subpass";
    return nullptr;
}

namespace {
/// What a pass keeps of its attachments and subpasses while it is described.
class pass_notes
{
public:
    pass_notes(vk_device_record* data, const VkRenderPassCreateInfo& info) : _data(data)
    {
        for (const VkAttachmentDescription& given : all_of(info.pAttachments, info.attachmentCount))
            attachments.push_back({{given.format, given.samples}, false});
        for (const VkSubpassDescription& given : all_of(info.pSubpasses, info.subpassCount))
            add(given);
    }

    std::vector<vk_pass_attachment> attachments;
    std::vector<vk_subpass> subpasses;

private:
    vk_attachment use(const VkAttachmentReference& reference)
    {
        if (reference.attachment >= attachments.size())
            return {};
        attachments[reference.attachment].used = true;
        return attachments[reference.attachment];
    }
    void add(const VkSubpassDescription& given)
    {
        vk_subpass_shape shape;
        for (const auto& colour : all_of(given.pColorAttachments, given.colorAttachmentCount))
            shape.colours.push_back(use(colour));
        for (const auto& resolved : all_of(given.pResolveAttachments, given.colorAttachmentCount))
            use(resolved);
        for (const auto& input : all_of(given.pInputAttachments, given.inputAttachmentCount))
            use(input);
        if (given.pDepthStencilAttachment)
            shape.depth = use(*given.pDepthStencilAttachment);
        // Passes stay compatible with unused attachments behind the others.
        while (!shape.colours.empty() && shape.colours.back() == vk_attachment{})
            shape.colours.pop_back();
        const auto number = static_cast<uint32_t>(_data->shapes.size() + 1);
        subpasses.push_back({_data->shapes.try_emplace(std::move(shape), number).first->second,
                             given.pColorAttachments ? given.colorAttachmentCount : 0});
    }

    vk_device_record* _data;
};
} // namespace

void vk_remember(vk_device_record* data, vk_entry_of<VkRenderPass>& entry, const VkRenderPassCreateInfo& info)
{
    entry.attachment_count = info.attachmentCount;
    entry.subpass_count = info.subpassCount;
    uint32_t number = 0;
    for (const VkAttachmentDescription& given : all_of(info.pAttachments, info.attachmentCount)) {
        ++number;
        if (given.loadOp == VK_ATTACHMENT_LOAD_OP_CLEAR ||
            (vk_has_stencil(given.format) && given.stencilLoadOp == VK_ATTACHMENT_LOAD_OP_CLEAR))
            entry.clear_values = number;
    }
    pass_notes notes{data, info};
    entry.attachments = std::make_shared<const std::vector<vk_pass_attachment>>(std::move(notes.attachments));
    entry.subpasses = std::make_shared<const std::vector<vk_subpass>>(std::move(notes.subpasses));
}

void vk_remember(vk_device_record* data, vk_entry_of<VkFramebuffer>& entry,
                 const VkFramebufferCreateInfo& info)
{
    entry.attachment_count = info.attachmentCount;
    entry.width = info.width;
    entry.height = info.height;
    entry.layers = info.layers;
    for (VkImageView view : all_of(info.pAttachments, info.attachmentCount)) {
        auto* known = vk_known(data, view);
        entry.target_views.push_back(view);
        entry.attachments.push_back(known ? known->shown : vk_attachment{});
    }
}

const char* vk_refusal(vk_device_record* data, const VkFramebufferCreateInfo& info)
{
    constexpr const char* otherwise = "the framebuffer's views don't fit it or the render pass";
    constexpr uint32_t most_texels = 1 << 16;
    constexpr uint32_t most_layers = 1 << 12;
    const VkPhysicalDeviceLimits& limits = data->limits;
    if (info.width > vk_limit(limits.maxFramebufferWidth, most_texels) ||
        info.height > vk_limit(limits.maxFramebufferHeight, most_texels) ||
        info.layers > vk_limit(limits.maxFramebufferLayers, most_layers))
        return "a framebuffer has no such size";
    auto* pass = vk_known(data, info.renderPass);
    if (!pass || !pass->attachments)
        return nullptr;
    auto views = all_of(info.pAttachments, info.attachmentCount);
    if (views.size() != pass->attachments->size())
        return otherwise;
    for (size_t i = 0; i < views.size(); ++i) {
        auto* view = vk_known(data, VkImageView{views[i]});
        if (!view || view->shown.format == VK_FORMAT_UNDEFINED)
            continue;
        const vk_attachment& needed = (*pass->attachments)[i];
        if (view->shown != needed || view->levels != 1 || view->extent.width < info.width ||
            view->extent.height < info.height || view->layers < info.layers)
            return otherwise;
    }
    return nullptr;
}
