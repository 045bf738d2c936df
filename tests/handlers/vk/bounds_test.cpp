// What a driver would die of stays away from it, and nothing else does: regions of images, structures that
// make objects, and command buffers whose objects have ended.

#include "handlers/vk/vk_fixture.h"

#include <cstring>

namespace {
constexpr uint64_t fresh = 0x71;

class vk_bounds : public vk_fixture
{
protected:
    void SetUp() override
    {
        vk_fixture::SetUp();
        // 16x16 with three levels and two layers, and a second one that is made likewise
        add<VkImage>("VkImage", 2);
        for (uint64_t number : {1, 2}) {
            auto& image = entry<VkImage>(number);
            image.create_info.imageType = VK_IMAGE_TYPE_2D;
            image.create_info.format = VK_FORMAT_R8G8B8A8_UNORM;
            image.create_info.extent = {16, 16, 1};
            image.create_info.mipLevels = 3;
            image.create_info.arrayLayers = 2;
            image.create_info.samples = VK_SAMPLE_COUNT_1_BIT;
            image.target_memory = as<VkDeviceMemory>(target_of<VkDeviceMemory>());
        }
        entry<VkBuffer>().size = 1024; // a level of 16x16
        entry<VkBuffer>().target_memory = as<VkDeviceMemory>(target_of<VkDeviceMemory>());
        device->commands[as<VkCommandBuffer>(commands_handle)].serial = 1000;
    }
    /// Whether the host gets the recording.
    bool submitted()
    {
        VkSubmitInfo info{};
        info.commandBufferCount = 1;
        info.pCommandBuffers = as<const VkCommandBuffer*>(memory);
        message call = target.make(in::vk_queue_submit).u64(queue_handle).u32(1).u64(memory).u64(0);
        fake_vulkan::clear();
        target.run(put(call, info).u64(commands_handle));
        return fake_vulkan::count("vkQueueSubmit") == 1;
    }
    bool recorded(const message& call) { return host_calls(call).size() == 1; }
    template <class Info>
    bool made(uint32_t type, const Info& info)
    {
        message call = target.make(type).u64(device_handle).u64(memory).u64(0).u64(memory);
        const bool reached = !host_calls(put(call, info).u64(fresh)).empty();
        device->image_view.erase(as<VkImageView>(fresh));
        device->sampler.erase(as<VkSampler>(fresh));
        return reached;
    }
    message copy_images(const VkImageCopy& region)
    {
        message call = command(in::vk_cmd_copy_image).u64(target_of<VkImage>()).u32(1);
        call.u64(target_of<VkImage>(2)).u32(1).u32(1).u64(memory);
        return put(call, region);
    }
    bool copies(const VkImageCopy& region) { return recorded(copy_images(region)); }
    bool uploads(const VkBufferImageCopy& region)
    {
        message call = command(in::vk_cmd_copy_buffer_to_image).u64(target_of<VkBuffer>());
        return recorded(put(call.u64(target_of<VkImage>()).u32(1).u32(1).u64(memory), region));
    }
    bool clears(const VkImageSubresourceRange& range)
    {
        message call = command(in::vk_cmd_clear_color_image).u64(target_of<VkImage>()).u32(1).u64(memory);
        call.u32(1).u64(memory).raw(std::vector<uint8_t>(16));
        return recorded(put(call, range));
    }
};

TEST_F(vk_bounds, RegionsBetweenImagesLieInBoth)
{
    const VkImageCopy whole{{1, 0, 0, 2}, {}, {1, 0, 0, 2}, {}, {16, 16, 1}};
    EXPECT_TRUE(copies(whole));
    EXPECT_TRUE(copies({{1, 2, 1, 1}, {}, {1, 0, 0, 1}, {12, 12, 0}, {4, 4, 1}})) << "of the last level";
    EXPECT_TRUE(copies({{1, 0, 0, 1}, {16, 16, 0}, {1, 0, 0, 1}, {}, {0, 0, 1}})) << "nothing";
    VkImageCopy region = whole;
    auto refused_with = [&](auto& field, auto value) {
        const auto before = std::exchange(field, value);
        const bool copied = copies(region);
        field = before;
        return !copied;
    };
    EXPECT_TRUE(refused_with(region.srcSubresource.mipLevel, 3u));
    EXPECT_TRUE(refused_with(region.dstSubresource.mipLevel, 1u)) << "smaller";
    EXPECT_TRUE(refused_with(region.srcSubresource.baseArrayLayer, 1u));
    EXPECT_TRUE(refused_with(region.srcSubresource.layerCount, 3u));
    EXPECT_TRUE(refused_with(region.dstSubresource.layerCount, UINT32_MAX));
    EXPECT_TRUE(refused_with(region.srcSubresource.aspectMask, uint32_t{VK_IMAGE_ASPECT_DEPTH_BIT}));
    EXPECT_TRUE(refused_with(region.srcOffset.x, -1));
    EXPECT_TRUE(refused_with(region.dstOffset.y, 1));
    EXPECT_TRUE(refused_with(region.dstOffset.z, 1));
    EXPECT_TRUE(refused_with(region.extent.width, UINT32_MAX));
    EXPECT_TRUE(refused_with(region.extent.depth, 3u)) << "slices become layers";
    EXPECT_TRUE(refused_with(entry<VkImage>(2).create_info.format, VK_FORMAT_R8_UNORM)) << "smaller texels";
    EXPECT_TRUE(refused_with(entry<VkImage>().create_info.samples, VK_SAMPLE_COUNT_4_BIT));
    EXPECT_TRUE(refused_with(entry<VkImage>(2).memory_serial, uint64_t{999})) << "its memory has gone";
    // Blocks of 4x4, in the units of the image that they are copied from.
    entry<VkImage>().create_info.format = VK_FORMAT_BC3_UNORM_BLOCK;
    entry<VkImage>(2).create_info.format = VK_FORMAT_R32G32B32A32_UINT;
    EXPECT_TRUE(copies({{1, 0, 0, 1}, {}, {1, 2, 0, 1}, {}, {16, 16, 1}})) << "4x4 blocks";
    EXPECT_FALSE(copies({{1, 0, 0, 1}, {}, {1, 2, 0, 1}, {1, 0, 0}, {16, 16, 1}}));
    entry<VkImage>().create_info.mipLevels = 5;
    EXPECT_TRUE(copies({{1, 4, 0, 1}, {}, {1, 2, 0, 1}, {3, 3, 0}, {1, 1, 1}})) << "a part of a block";
    // An ASTC image is RGBA8 on the host: it has more bytes there than the other expects.
    entry<VkImage>().create_info.format = VK_FORMAT_ASTC_4x4_UNORM_BLOCK;
    EXPECT_FALSE(copies({{1, 0, 0, 1}, {}, {1, 0, 0, 1}, {}, {16, 16, 1}}));
    // Slices of a volume.
    for (uint64_t number : {1, 2}) {
        VkImageCreateInfo& info = entry<VkImage>(number).create_info;
        info.format = VK_FORMAT_R8G8B8A8_UNORM;
        info.imageType = VK_IMAGE_TYPE_3D;
        info.extent.depth = 4;
        info.arrayLayers = 1;
    }
    EXPECT_TRUE(copies({{1, 0, 0, 1}, {0, 0, 1}, {1, 1, 0, 1}, {}, {8, 8, 2}}));
    EXPECT_FALSE(copies({{1, 0, 0, 1}, {0, 0, 3}, {1, 0, 0, 1}, {}, {8, 8, 2}}));
    EXPECT_FALSE(copies({{1, 0, 0, 1}, {}, {1, 1, 0, 1}, {}, {8, 8, 3}})) << "two are left at that level";
}

TEST_F(vk_bounds, RegionsOfBuffersAndImagesLieInBoth)
{
    const VkBufferImageCopy whole{0, 0, 0, {1, 0, 0, 1}, {}, {16, 16, 1}};
    EXPECT_TRUE(uploads(whole));
    EXPECT_TRUE(uploads({4, 0, 0, {1, 0, 0, 1}, {}, {16, 15, 1}}));
    EXPECT_TRUE(uploads({0, 32, 0, {1, 0, 0, 1}, {8, 8, 0}, {8, 8, 1}})) << "the last row is short";
    EXPECT_TRUE(uploads({1000, 0, 0, {1, 2, 1, 1}, {3, 3, 0}, {1, 1, 1}}));
    EXPECT_FALSE(uploads({4, 0, 0, {1, 0, 0, 1}, {}, {16, 16, 1}}));
    EXPECT_FALSE(uploads({UINT64_MAX, 0, 0, {1, 0, 0, 1}, {}, {16, 16, 1}}));
    EXPECT_FALSE(uploads({0, 17, 0, {1, 0, 0, 1}, {}, {16, 16, 1}}));
    EXPECT_FALSE(uploads({0, UINT32_MAX, UINT32_MAX, {1, 0, 0, 2}, {}, {16, 16, 1}}));
    EXPECT_FALSE(uploads({0, 8, 0, {1, 0, 0, 1}, {}, {16, 16, 1}})) << "rows over one another";
    EXPECT_FALSE(uploads({0, 0, 0, {1, 0, 0, 2}, {}, {16, 16, 1}})) << "a second layer's bytes";
    EXPECT_FALSE(uploads({0, 0, 0, {1, 0, 1, 1}, {1, 0, 0}, {16, 16, 1}}));
    EXPECT_FALSE(uploads({0, 0, 0, {1, 200, 0, 1}, {}, {1, 1, 1}}));
    auto& image = entry<VkImage>().create_info;
    image.format = VK_FORMAT_BC1_RGB_UNORM_BLOCK;
    entry<VkBuffer>().size = 128; // 4x4 blocks of 8 bytes
    EXPECT_TRUE(uploads(whole));
    EXPECT_TRUE(uploads({0, 0, 0, {1, 2, 0, 1}, {}, {4, 4, 1}}));
    EXPECT_FALSE(uploads({8, 0, 0, {1, 0, 0, 1}, {}, {16, 16, 1}}));
    image.format = VK_FORMAT_D32_SFLOAT_S8_UINT;
    entry<VkBuffer>().size = 256;
    const VkImageAspectFlags both = VK_IMAGE_ASPECT_DEPTH_BIT | VK_IMAGE_ASPECT_STENCIL_BIT;
    EXPECT_TRUE(uploads({0, 0, 0, {VK_IMAGE_ASPECT_STENCIL_BIT, 0, 0, 1}, {}, {16, 16, 1}})) << "a byte each";
    EXPECT_FALSE(uploads({0, 0, 0, {VK_IMAGE_ASPECT_DEPTH_BIT, 0, 0, 1}, {}, {16, 16, 1}}));
    EXPECT_FALSE(uploads({0, 0, 0, {both, 0, 0, 1}, {}, {4, 4, 1}}));
    image.mipLevels = 0;
    EXPECT_TRUE(uploads({0, 0, 0, {1, 9, 9, 9}, {}, {160, 16, 1}})) << "of this image nothing is known";
}

TEST_F(vk_bounds, ClearsAndBlitsLieInTheirImages)
{
    EXPECT_TRUE(clears({1, 0, VK_REMAINING_MIP_LEVELS, 1, VK_REMAINING_ARRAY_LAYERS}));
    EXPECT_TRUE(clears({1, 2, 1, 0, 2}));
    EXPECT_FALSE(clears({1, 3, VK_REMAINING_MIP_LEVELS, 0, 1}));
    EXPECT_FALSE(clears({1, 1, 3, 0, 1}));
    EXPECT_FALSE(clears({1, 0, 1, 1, 2}));
    EXPECT_FALSE(clears({2, 0, 1, 0, 1}));
    entry<VkImage>().create_info.format = VK_FORMAT_BC3_UNORM_BLOCK;
    EXPECT_FALSE(clears({1, 0, 1, 0, 1}));
    entry<VkImage>().create_info.format = VK_FORMAT_R8_UNORM;
    auto blits = [&](const VkImageBlit& region, uint32_t filter) {
        message call = command(in::vk_cmd_blit_image).u64(target_of<VkImage>()).u32(1);
        call.u64(target_of<VkImage>(2)).u32(1).u32(1).u64(memory).u32(filter);
        return recorded(put(call, region));
    };
    const VkImageSubresourceLayers first{1, 0, 0, 1};
    EXPECT_TRUE(blits({first, {{16, 0, 0}, {0, 16, 1}}, first, {{0, 0, 0}, {4, 16, 1}}}, 1)) << "mirrored";
    EXPECT_FALSE(blits({first, {{16, 0, 0}, {0, 16, 1}}, first, {{0, 0, 0}, {4, 16, 1}}}, 2));
    EXPECT_FALSE(blits({first, {{0, 0, 0}, {17, 16, 1}}, first, {{0, 0, 0}, {4, 16, 1}}}, 0));
    EXPECT_FALSE(blits({first, {{0, 0, 0}, {16, 16, 1}}, first, {{0, -1, 0}, {4, 16, 1}}}, 0));
    EXPECT_FALSE(blits({{1, 0, 0, 2}, {{0, 0, 0}, {16, 16, 1}}, first, {{0, 0, 0}, {4, 16, 1}}}, 0));
}

TEST_F(vk_bounds, ViewsAndSamplersHaveWhatTheyShow)
{
    VkImageViewCreateInfo view{};
    view.image = as<VkImage>(target_of<VkImage>());
    view.viewType = VK_IMAGE_VIEW_TYPE_2D;
    view.format = VK_FORMAT_R32_UINT;
    view.subresourceRange = {1, 0, VK_REMAINING_MIP_LEVELS, 1, 1};
    auto shown = [&](auto change) {
        VkImageViewCreateInfo changed = view;
        change(changed);
        return made(in::vk_create_image_view, changed);
    };
    EXPECT_TRUE(shown([](auto&) {}));
    EXPECT_TRUE(shown([](auto& v) {
        v.viewType = VK_IMAGE_VIEW_TYPE_2D_ARRAY, v.subresourceRange = {1, 2, 1, 0, 2};
    }));
    EXPECT_FALSE(shown([](auto& v) { v.subresourceRange.baseMipLevel = 3; }));
    EXPECT_FALSE(shown([](auto& v) { v.subresourceRange.baseArrayLayer = 2; }));
    EXPECT_FALSE(shown([](auto& v) { v.subresourceRange.layerCount = 2; })) << "it shows one";
    EXPECT_FALSE(shown([](auto& v) { v.viewType = VK_IMAGE_VIEW_TYPE_CUBE; })) << "it has six";
    EXPECT_FALSE(shown([](auto& v) { v.viewType = VK_IMAGE_VIEW_TYPE_3D; }));
    EXPECT_FALSE(shown([](auto& v) { v.format = VK_FORMAT_R32G32_UINT; })) << "larger texels";
    EXPECT_FALSE(shown([](auto& v) { v.format = static_cast<VkFormat>(12345); }));
    EXPECT_FALSE(shown([](auto& v) { v.components.a = static_cast<VkComponentSwizzle>(7); }));
    EXPECT_FALSE(shown([](auto& v) { v.viewType = static_cast<VkImageViewType>(7); }));

    VkSamplerCreateInfo given{};
    VkSamplerCreateInfo sampler{};
    fake_vulkan::hook<&vk::vkCreateSampler>([&](auto, const VkSamplerCreateInfo* info, auto, VkSampler* out) {
        given = *info;
        *out = host<VkSampler>("VkSampler");
        return VK_SUCCESS;
    });
    sampler.borderColor = static_cast<VkBorderColor>(99);
    sampler.compareOp = static_cast<VkCompareOp>(99);
    EXPECT_TRUE(made(in::vk_create_sampler, sampler)) << "neither means anything";
    EXPECT_EQ(given.borderColor, 0);
    EXPECT_EQ(given.compareOp, 0);
    sampler.addressModeV = VK_SAMPLER_ADDRESS_MODE_CLAMP_TO_BORDER;
    EXPECT_FALSE(made(in::vk_create_sampler, sampler));
    sampler.borderColor = VK_BORDER_COLOR_INT_OPAQUE_WHITE;
    EXPECT_TRUE(made(in::vk_create_sampler, sampler));
    EXPECT_EQ(given.borderColor, VK_BORDER_COLOR_INT_OPAQUE_WHITE);
    sampler.compareEnable = VK_TRUE;
    EXPECT_FALSE(made(in::vk_create_sampler, sampler));
}

TEST_F(vk_bounds, PipelinesHaveTheStatesOfWhatTheirSubpassDrawsTo)
{
    VkGraphicsPipelineCreateInfo info{};
    info.stageCount = 1;
    info.layout = as<VkPipelineLayout>(target_of<VkPipelineLayout>());
    info.renderPass = as<VkRenderPass>(target_of<VkRenderPass>());
    auto made_with = [&](bool depth, bool blending, bool draws = true) {
        const auto somewhere = [](auto& pointer) { pointer = as<std::decay_t<decltype(pointer)>>(memory); };
        VkPipelineShaderStageCreateInfo stage{};
        stage.stage = VK_SHADER_STAGE_VERTEX_BIT;
        stage.module = as<VkShaderModule>(target_of<VkShaderModule>());
        somewhere(stage.pName);
        VkPipelineViewportStateCreateInfo views{};
        views.viewportCount = views.scissorCount = 1;
        somewhere(views.pViewports);
        somewhere(views.pScissors);
        VkPipelineRasterizationStateCreateInfo raster{};
        raster.rasterizerDiscardEnable = !draws;
        VkPipelineMultisampleStateCreateInfo samples{};
        samples.rasterizationSamples = VK_SAMPLE_COUNT_1_BIT;
        somewhere(info.pStages);
        somewhere(info.pVertexInputState);
        somewhere(info.pInputAssemblyState);
        somewhere(info.pViewportState);
        somewhere(info.pRasterizationState);
        somewhere(info.pMultisampleState);
        info.pDepthStencilState = as<const VkPipelineDepthStencilStateCreateInfo*>(depth ? memory : 0);
        info.pColorBlendState = as<const VkPipelineColorBlendStateCreateInfo*>(blending ? memory : 0);
        message call = target.make(in::vk_create_graphics_pipelines).u64(device_handle).u64(0).u32(1);
        put(put(call.u64(memory).u64(0).u64(memory), info), stage).text("main");
        put(put(call, VkPipelineVertexInputStateCreateInfo{}), VkPipelineInputAssemblyStateCreateInfo{});
        put(put(put(put(put(call, views), VkViewport{}), VkRect2D{}), raster), samples);
        if (depth)
            put(call, VkPipelineDepthStencilStateCreateInfo{});
        if (blending)
            put(call, VkPipelineColorBlendStateCreateInfo{});
        const bool reached = !host_calls(call.u64(fresh)).empty();
        device->pipeline.erase(as<VkPipeline>(fresh));
        return reached;
    };
    EXPECT_TRUE(made_with(false, false)) << "of this pass nothing is known";
    const vk_attachment colour{VK_FORMAT_R8G8B8A8_UNORM, VK_SAMPLE_COUNT_1_BIT};
    const vk_attachment depth{VK_FORMAT_D16_UNORM, VK_SAMPLE_COUNT_1_BIT};
    device->shapes = {{{{}, depth}, 1}, {{{{}, colour}, {}}, 2}, {{}, 3}};
    entry<VkRenderPass>().subpass_count = 3;
    entry<VkRenderPass>().subpasses =
        std::make_shared<const std::vector<vk_subpass>>(std::vector<vk_subpass>{{1, 0}, {2, 2}, {3, 0}});
    EXPECT_TRUE(made_with(true, false));
    EXPECT_FALSE(made_with(false, true));
    EXPECT_TRUE(made_with(false, false, false)) << "it draws nothing";
    info.subpass = 1;
    EXPECT_TRUE(made_with(false, true));
    EXPECT_FALSE(made_with(true, false));
    info.subpass = 2;
    EXPECT_TRUE(made_with(false, false));
}

TEST_F(vk_bounds, WhatHasEndedSinceIsNotSubmitted)
{
    add_command_buffer(0xc1);
    auto& first = device->commands[as<VkCommandBuffer>(commands_handle)];
    auto& second = device->commands[as<VkCommandBuffer>(0xc1)];
    second.secondary = true;
    auto begin = [&](uint64_t which) {
        message call = target.make(in::vk_begin_command_buffer).u64(which).u64(memory);
        VkCommandBufferBeginInfo info{};
        VkCommandBufferInheritanceInfo inherited{};
        info.pInheritanceInfo = which == 0xc1 ? as<const VkCommandBufferInheritanceInfo*>(memory) : nullptr;
        target.run(which == 0xc1 ? put(put(call, info), inherited) : put(call, info));
    };
    auto fill = [&](uint64_t which) {
        target.run(
            target.make(in::vk_cmd_fill_buffer).u64(which).u64(target_of<VkBuffer>()).u64(0).u64(16).u32(0));
    };
    auto end = [&](uint32_t type, uint64_t handle) {
        target.run(target.make(type).u64(device_handle).u64(handle).u64(0));
    };
    begin(commands_handle);
    EXPECT_TRUE(copies({{1, 0, 0, 1}, {}, {1, 0, 0, 1}, {}, {4, 4, 1}}));
    EXPECT_TRUE(submitted());
    end(in::vk_destroy_sampler, target_of<VkSampler>());
    EXPECT_TRUE(submitted()) << "it doesn't use that";
    end(in::vk_destroy_image, target_of<VkImage>());
    const std::string said = library::printed_by([&] { EXPECT_FALSE(submitted()); });
    EXPECT_EQ(library::occurrences(
                  said, "vk_vkQueueSubmit: what a command buffer uses has ended since, or it is no primary "
                        "one, the host isn't called.\n"),
              1u)
        << said;
    begin(commands_handle);
    EXPECT_TRUE(submitted()) << "it uses nothing any more";

    // By way of a secondary command buffer, which must not change either.
    const message execute = command(in::vk_cmd_execute_commands).u32(1).u64(memory).u64(0xc1);
    begin(0xc1);
    fill(0xc1);
    EXPECT_TRUE(recorded(execute));
    EXPECT_TRUE(submitted());
    begin(0xc1);
    EXPECT_FALSE(submitted());
    begin(commands_handle);
    fill(0xc1);
    EXPECT_TRUE(recorded(execute));
    EXPECT_TRUE(submitted());
    entry<VkBuffer>().memory_serial = entry<VkDeviceMemory>().serial;
    fill(0xc1);
    fill(commands_handle);
    begin(0xc1);
    begin(commands_handle);
    fill(commands_handle);
    end(in::vk_free_memory, target_of<VkDeviceMemory>());
    EXPECT_FALSE(submitted()) << "the memory behind the buffer";
    EXPECT_FALSE(first.secondary);
    first.secondary = true;
    begin(commands_handle);
    EXPECT_FALSE(submitted()) << "only primary ones are";
}

TEST_F(vk_bounds, SetsAreBoundWithWhatTheyTake)
{
    auto& set = entry<VkDescriptorSet>();
    set.bindings = std::make_shared<std::map<uint32_t, vk_binding>>(
        std::map<uint32_t, vk_binding>{{0, {1, false, VK_DESCRIPTOR_TYPE_STORAGE_BUFFER}},
                                       {2, {1, false, VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC}},
                                       {3, {1, false, VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER}}});
    set.written = {false, false, false};
    set.samplers_missing = 1;
    set.offsets_taken = 1;
    set.most_offsets.assign(3, UINT64_MAX);
    add<VkDescriptorSet>("VkDescriptorSet", 2);
    entry<VkDescriptorSet>(2) = set;
    auto bound = [&](const std::vector<uint32_t>& offsets, uint64_t number = 1) {
        message call = command(in::vk_cmd_bind_descriptor_sets).u32(0).u64(target_of<VkPipelineLayout>());
        call.u32(0).u32(1).u64(memory).u32(static_cast<uint32_t>(offsets.size())).u64(memory);
        call.u64(target_of<VkDescriptorSet>(number));
        return recorded(call.raw(offsets.data(), offsets.size() * sizeof(uint32_t)));
    };
    auto write = [&](VkDescriptorType type, uint32_t binding, const auto& what) {
        VkWriteDescriptorSet info{};
        info.dstSet = as<VkDescriptorSet>(target_of<VkDescriptorSet>());
        info.dstBinding = binding;
        info.descriptorCount = 1;
        info.descriptorType = type;
        if constexpr (std::is_same_v<decltype(what), const VkDescriptorBufferInfo&>)
            info.pBufferInfo = as<const VkDescriptorBufferInfo*>(memory);
        else
            info.pImageInfo = as<const VkDescriptorImageInfo*>(memory);
        message call =
            target.make(in::vk_update_descriptor_sets).u64(device_handle).u32(1).u64(memory).u32(0).u64(0);
        return host_calls(put(put(call, info), what)).size() == 1;
    };
    const VkDescriptorBufferInfo part{as<VkBuffer>(target_of<VkBuffer>()), 256, 512};
    EXPECT_TRUE(write(VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC, 2, part));
    EXPECT_TRUE(bound({256}));
    EXPECT_FALSE(bound({257})) << "beyond the buffer";
    EXPECT_FALSE(bound({})) << "it takes one";
    EXPECT_FALSE(
        write(VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER_DYNAMIC, 2, VkDescriptorBufferInfo{part.buffer, 256, 769}));
    EXPECT_TRUE(bound({257}, 2)) << "nothing is known of it yet";
    VkCopyDescriptorSet copy{};
    copy.srcSet = as<VkDescriptorSet>(target_of<VkDescriptorSet>(1));
    copy.dstSet = as<VkDescriptorSet>(target_of<VkDescriptorSet>(2));
    copy.srcBinding = copy.dstBinding = 2;
    copy.descriptorCount = 1;
    message copies =
        target.make(in::vk_update_descriptor_sets).u64(device_handle).u32(0).u64(0).u32(1).u64(memory);
    EXPECT_EQ(host_calls(put(copies, copy)).size(), 1u);
    EXPECT_TRUE(bound({256}, 2));
    EXPECT_FALSE(bound({257}, 2)) << "beyond the buffer of the descriptor that was copied";
    device->looks_at_all = true;
    EXPECT_FALSE(bound({0})) << "this host follows the sampler";
    const VkDescriptorImageInfo image{as<VkSampler>(target_of<VkSampler>()),
                                      as<VkImageView>(target_of<VkImageView>()), VK_IMAGE_LAYOUT_GENERAL};
    EXPECT_TRUE(write(VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER, 3, image));
    EXPECT_TRUE(bound({0}));
}

TEST_F(vk_bounds, NothingIsWaitedForThatCannotCome)
{
    const uint64_t event = target_of<VkEvent>();
    message wait = command(in::vk_cmd_wait_events).u32(1).u64(memory).u32(1).u32(1);
    wait.u32(0).u64(0).u32(0).u64(0).u32(0).u64(0).u64(event);
    EXPECT_TRUE(recorded(wait));
    EXPECT_TRUE(submitted()) << "somebody may set it while the host waits";
    device->coherent_memory.insert(as<VkDeviceMemory>(target_of<VkDeviceMemory>()));
    EXPECT_FALSE(submitted()) << "the submission lasts until the host has done";
    target.run(target.make(in::vk_set_event).u64(device_handle).u64(event));
    EXPECT_TRUE(submitted());
    EXPECT_TRUE(recorded(command(in::vk_cmd_reset_event).u64(event).u32(1)));
    EXPECT_TRUE(submitted()) << "it is waited for before that";
    EXPECT_FALSE(submitted());
}

TEST_F(vk_bounds, QueriesOfSomeHostsBeginWithAPipelineForWhatIsPushed)
{
    device->looks_at_all = true;
    auto& now = device->commands[as<VkCommandBuffer>(commands_handle)];
    const message begin = command(in::vk_cmd_begin_query).u64(target_of<VkQueryPool>()).u32(0).u32(0);
    auto push = [&](uint32_t stages) {
        message call = command(in::vk_cmd_push_constants).u64(target_of<VkPipelineLayout>()).u32(stages);
        return recorded(call.u32(0).u32(4).u64(memory).u32(0));
    };
    EXPECT_TRUE(recorded(begin));
    EXPECT_TRUE(push(VK_SHADER_STAGE_COMPUTE_BIT));
    EXPECT_TRUE(recorded(begin));
    entry<VkQueryPool>().counts_compute = true;
    EXPECT_FALSE(recorded(begin));
    now.compute = true;
    EXPECT_TRUE(recorded(begin));
    EXPECT_TRUE(push(VK_SHADER_STAGE_FRAGMENT_BIT));
    EXPECT_FALSE(recorded(begin));
    now.graphics = true;
    EXPECT_TRUE(recorded(begin));
}

TEST(vk_number_set, HoldsWhatWasPutIn)
{
    vk_number_set numbers;
    EXPECT_FALSE(numbers.contains(1));
    for (uint64_t i = 1; i < 3000; i += 3) {
        EXPECT_TRUE(numbers.insert(i));
        EXPECT_FALSE(numbers.insert(i));
    }
    for (uint64_t i = 1; i < 3010; ++i)
        ASSERT_EQ(numbers.contains(i), i < 3000 && i % 3 == 1) << i;
    numbers.clear();
    EXPECT_FALSE(numbers.contains(4));
    EXPECT_TRUE(numbers.insert(4));
}
} // namespace
