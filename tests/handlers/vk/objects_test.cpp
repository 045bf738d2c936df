// Objects of a device: made and destroyed on both sides, kept in step with their pools, asked for results.

#include "handlers/vk/vk_fixture.h"

#include <cstring>

namespace {
class vk_objects : public vk_fixture
{
protected:
    static constexpr uint64_t fresh = 0x5000;

    message create_buffer(uint64_t handle)
    {
        VkBufferCreateInfo info{};
        info.sType = VK_STRUCTURE_TYPE_BUFFER_CREATE_INFO;
        info.size = 64;
        message call = target.make(in::vk_create_buffer).u64(device_handle).u64(memory).u64(0).u64(memory);
        return put(call, info).u64(handle);
    }
    message destroy(uint32_t type, uint64_t handle)
    {
        return target.make(type).u64(device_handle).u64(handle).u64(0);
    }
    bool known(uint64_t buffer) { return device->buffer.count(as<VkBuffer>(buffer)) != 0; }
};

TEST_F(vk_objects, LiveFromCreationToDestruction)
{
    EXPECT_EQ(host_calls(create_buffer(fresh)), texts{"vkCreateBuffer(VkDevice#1, pointer, null, pointer)"});
    ASSERT_TRUE(known(fresh));
    EXPECT_EQ(fake_vulkan::name_of(reinterpret_cast<uint64_t>(device->buffer.at(as<VkBuffer>(fresh)).host)),
              "VkBuffer#2");
    EXPECT_EQ(host_calls(destroy(in::vk_destroy_buffer, fresh)),
              texts{"vkDestroyBuffer(VkDevice#1, VkBuffer#2, null)"});
    EXPECT_FALSE(known(fresh));
    EXPECT_EQ(host_calls(destroy(in::vk_destroy_buffer, fresh)), texts{});
    EXPECT_EQ(host_calls(destroy(in::vk_destroy_sampler, 0)),
              texts{"vkDestroySampler(VkDevice#1, null, null)"});
}

TEST_F(vk_objects, FailedCreationLeavesNothingBehind)
{
    fake_vulkan::returns<&vk::vkCreateBuffer>(VK_ERROR_OUT_OF_DEVICE_MEMORY);
    EXPECT_EQ(result_of_call(create_buffer(fresh)), VK_ERROR_OUT_OF_DEVICE_MEMORY);
    EXPECT_FALSE(known(fresh));
    fake_vulkan::install();
    for (uint64_t handle : {target_of<VkBuffer>(), uint64_t{0}}) { // taken, missing
        std::string said = library::printed_by([&] { EXPECT_EQ(result_of_call(create_buffer(handle)), -1); });
        EXPECT_EQ(library::occurrences(said, "Could not create a host<=>target vulkan instance mapping for "
                                             "host-side buffer ["),
                  1u)
            << said;
        EXPECT_EQ(fake_vulkan::live("VkBuffer"), 1u);
    }
    message call = target.make(in::vk_create_buffer).u64(unknown_handle).u64(0).u64(0).u64(memory).u64(fresh);
    EXPECT_EQ(result_of_call(call), -1);
    fake_vulkan::remove("vkCreateBuffer");
    EXPECT_EQ(result_of_call(create_buffer(fresh)), -1);
}

TEST_F(vk_objects, TargetsResultIsComparedAndNothingIsAnswered)
{
    library::set_target_gpu(TARGET_GPU_DUMMY);
    zelvar_settings.checkErrorCode = true;
    message call = target.make(in::vk_reset_command_pool);
    call.i32(-4).u64(device_handle).u64(target_of<VkCommandPool>()).u32(0);
    std::string said = library::printed_by([&] { EXPECT_EQ(target.run(call).size(), 1u); });
    EXPECT_EQ(
        library::occurrences(said, "vk_vkResetCommandPool Inconsistent result detected. host=0, target=-4\n"),
        1u)
        << said;
}

TEST_F(vk_objects, DestroyedBufferIsForgottenByItsMemory)
{
    entry<VkBuffer>().target_memory = as<VkDeviceMemory>(target_of<VkDeviceMemory>());
    entry<VkDeviceMemory>().target_buffer = as<VkBuffer>(target_of<VkBuffer>());
    target.run(destroy(in::vk_destroy_buffer, target_of<VkBuffer>()));
    EXPECT_EQ(entry<VkDeviceMemory>().target_buffer, VkBuffer{});
}

TEST_F(vk_objects, AstcFormatsAreNoneOfTheHosts)
{
    std::vector<VkFormat> formats;
    fake_vulkan::hook<&vk::vkCreateImageView>([&](auto, const VkImageViewCreateInfo* info, auto, auto) {
        formats.push_back(info->format);
        EXPECT_EQ(info->image, entry<VkImage>().host);
        return VK_SUCCESS;
    });
    fake_vulkan::hook<&vk::vkCreateRenderPass>([&](auto, const VkRenderPassCreateInfo* info, auto, auto) {
        for (uint32_t i = 0; i < info->attachmentCount; ++i)
            formats.push_back(info->pAttachments[i].format);
        return VK_SUCCESS;
    });
    VkImageViewCreateInfo view{};
    view.image = as<VkImage>(target_of<VkImage>());
    view.format = VK_FORMAT_ASTC_8x8_SRGB_BLOCK;
    message call = target.make(in::vk_create_image_view).u64(device_handle).u64(memory).u64(0).u64(memory);
    target.run(put(call, view).u64(fresh));
    VkRenderPassCreateInfo pass{};
    pass.attachmentCount = 2;
    pass.pAttachments = as<const VkAttachmentDescription*>(memory);
    VkAttachmentDescription attachments[2]{};
    attachments[0].format = VK_FORMAT_D16_UNORM;
    attachments[1].format = VK_FORMAT_ASTC_4x4_UNORM_BLOCK;
    message second = target.make(in::vk_create_render_pass).u64(device_handle).u64(memory).u64(0).u64(memory);
    pass.subpassCount = 1;
    pass.pSubpasses = as<const VkSubpassDescription*>(memory);
    put(put(second, pass), attachments);
    target.run(put(second, VkSubpassDescription{}).u64(fresh));
    EXPECT_EQ(formats,
              (std::vector{VK_FORMAT_R8G8B8A8_UNORM, VK_FORMAT_D16_UNORM, VK_FORMAT_R8G8B8A8_UNORM}));
}

TEST_F(vk_objects, OfSeveralPipelinesThoseThatExistAreEntered)
{
    fake_vulkan::hook<&vk::vkCreateComputePipelines>([&](VkDevice, VkPipelineCache cache, uint32_t n,
                                                         const VkComputePipelineCreateInfo* infos, auto,
                                                         VkPipeline* made) {
        EXPECT_EQ(cache, VkPipelineCache{});
        EXPECT_EQ(n, 2u);
        EXPECT_EQ(infos[1].layout, entry<VkPipelineLayout>().host);
        made[1] = host<VkPipeline>("VkPipeline");
        return VK_ERROR_INVALID_SHADER_NV;
    });
    VkComputePipelineCreateInfo infos[2]{};
    for (VkComputePipelineCreateInfo& info : infos) {
        info.layout = as<VkPipelineLayout>(target_of<VkPipelineLayout>());
        info.stage.module = as<VkShaderModule>(target_of<VkShaderModule>());
    }
    message call = target.make(in::vk_create_compute_pipelines);
    call.u64(device_handle).u64(0).u32(2).u64(memory).u64(0).u64(memory);
    EXPECT_EQ(result_of_call(put(call, infos).u64(fresh).u64(fresh + 1)), VK_ERROR_INVALID_SHADER_NV);
    EXPECT_EQ(device->pipeline.count(as<VkPipeline>(fresh)), 0u);
    EXPECT_EQ(device->pipeline.count(as<VkPipeline>(fresh + 1)), 1u);
}

TEST_F(vk_objects, SetsEndWithTheirPool)
{
    auto allocate = [&](uint32_t count) {
        VkDescriptorSetAllocateInfo info{};
        info.descriptorPool = as<VkDescriptorPool>(target_of<VkDescriptorPool>());
        info.descriptorSetCount = count;
        info.pSetLayouts = as<const VkDescriptorSetLayout*>(memory);
        message call =
            target.make(in::vk_allocate_descriptor_sets).u64(device_handle).u64(memory).u64(memory);
        put(call, info);
        for (uint32_t i = 0; i < count; ++i)
            call.u64(target_of<VkDescriptorSetLayout>());
        for (uint32_t i = 0; i < count; ++i)
            call.u64(fresh + i);
        return call;
    };
    EXPECT_EQ(result_of_call(allocate(3)), 0);
    EXPECT_EQ(device->descriptor_set.size(), 4u);
    EXPECT_EQ(host_calls(target.make(in::vk_free_descriptor_sets)
                             .u64(device_handle)
                             .u64(target_of<VkDescriptorPool>())
                             .u32(2)
                             .u64(memory)
                             .u64(fresh + 1)
                             .u64(0)),
              texts{"vkFreeDescriptorSets(VkDevice#1, VkDescriptorPool#1, 2, pointer)"});
    EXPECT_EQ(device->descriptor_set.size(), 3u);
    target.run(target.make(in::vk_reset_descriptor_pool)
                   .u64(device_handle)
                   .u64(target_of<VkDescriptorPool>())
                   .u32(0));
    EXPECT_EQ(device->descriptor_set.size(), 1u) << "the one of another pool stays";
    target.run(allocate(1));
    target.run(destroy(in::vk_destroy_descriptor_pool, target_of<VkDescriptorPool>()));
    EXPECT_EQ(device->descriptor_set.size(), 1u);
}

TEST_F(vk_objects, UpdatesOfDescriptorsNameTheHostsObjects)
{
    VkWriteDescriptorSet write{};
    write.dstSet = as<VkDescriptorSet>(target_of<VkDescriptorSet>());
    write.descriptorCount = 1;
    write.descriptorType = VK_DESCRIPTOR_TYPE_UNIFORM_BUFFER;
    write.pBufferInfo = as<const VkDescriptorBufferInfo*>(memory);
    VkDescriptorBufferInfo buffer{as<VkBuffer>(target_of<VkBuffer>()), 16, 32};
    VkBuffer seen = VK_NULL_HANDLE;
    fake_vulkan::hook<&vk::vkUpdateDescriptorSets>(
        [&](VkDevice, uint32_t n, const VkWriteDescriptorSet* writes, uint32_t copies, auto) {
            ASSERT_EQ(n + copies, 1u);
            EXPECT_EQ(writes->dstSet, entry<VkDescriptorSet>().host);
            seen = writes->pBufferInfo->buffer;
        });
    message call =
        target.make(in::vk_update_descriptor_sets).u64(device_handle).u32(1).u64(memory).u32(0).u64(0);
    target.run(put(put(call, write), buffer));
    EXPECT_EQ(seen, entry<VkBuffer>().host);
}

TEST_F(vk_objects, UpdatesStayWithinTheDescriptorsOfTheLayout)
{
    entry<VkDescriptorSet>().bindings = std::make_shared<std::map<uint32_t, vk_binding>>(
        std::map<uint32_t, vk_binding>{{0, {2, false}}, {3, {1, true}}});
    VkWriteDescriptorSet write{};
    write.dstSet = as<VkDescriptorSet>(target_of<VkDescriptorSet>());
    write.descriptorType = VK_DESCRIPTOR_TYPE_SAMPLER;
    write.descriptorCount = 1;
    write.pImageInfo = as<const VkDescriptorImageInfo*>(memory);
    VkDescriptorImageInfo image{};
    auto reaches_host = [&] {
        message call =
            target.make(in::vk_update_descriptor_sets).u64(device_handle).u32(1).u64(memory).u32(0).u64(0);
        return host_calls(put(put(call, write), image)).size() == 1;
    };
    EXPECT_FALSE(reaches_host()) << "without a sampler";
    image.sampler = as<VkSampler>(unknown_handle);
    EXPECT_FALSE(reaches_host()) << "the host's would be null";
    image.sampler = as<VkSampler>(target_of<VkSampler>());
    EXPECT_TRUE(reaches_host());
    write.dstArrayElement = 2; // runs on into binding 3
    EXPECT_TRUE(reaches_host());
    write.dstArrayElement = 3;
    EXPECT_FALSE(reaches_host());
    write.dstArrayElement = 0;
    write.dstBinding = 1;
    EXPECT_FALSE(reaches_host());
    write.dstBinding = 3;
    image.sampler = VK_NULL_HANDLE;
    EXPECT_TRUE(reaches_host()) << "the layout has its own";
    write.pImageInfo = nullptr;
    EXPECT_FALSE(reaches_host());
}

TEST_F(vk_objects, TheHostSeesNoNullThatVulkanDoesNotAllow)
{
    auto create = [&](uint32_t type, const auto& info) {
        message call = target.make(type).u64(device_handle).u64(memory).u64(0).u64(memory);
        return host_calls(put(call, info).u64(fresh));
    };
    for (uint64_t handle : {uint64_t{0}, unknown_handle}) {
        VkImageViewCreateInfo image_view{};
        image_view.image = as<VkImage>(handle);
        EXPECT_EQ(create(in::vk_create_image_view, image_view), texts{});
        VkBufferViewCreateInfo buffer_view{};
        buffer_view.buffer = as<VkBuffer>(handle);
        EXPECT_EQ(create(in::vk_create_buffer_view, buffer_view), texts{});
        VkFramebufferCreateInfo framebuffer{};
        framebuffer.renderPass = as<VkRenderPass>(handle);
        EXPECT_EQ(create(in::vk_create_framebuffer, framebuffer), texts{});
        VkRenderPassBeginInfo pass{};
        pass.renderPass = as<VkRenderPass>(target_of<VkRenderPass>());
        pass.framebuffer = as<VkFramebuffer>(handle);
        message begin = command(in::vk_cmd_begin_render_pass).u64(memory).u32(0);
        EXPECT_EQ(host_calls(put(begin, pass)), texts{});
        VkWriteDescriptorSet write{};
        write.dstSet = as<VkDescriptorSet>(handle);
        message update =
            target.make(in::vk_update_descriptor_sets).u64(device_handle).u32(1).u64(memory).u32(0).u64(0);
        EXPECT_EQ(host_calls(put(update, write)), texts{});
    }
    VkGraphicsPipelineCreateInfo pipeline{}; // without the states that each has
    pipeline.layout = as<VkPipelineLayout>(target_of<VkPipelineLayout>());
    pipeline.renderPass = as<VkRenderPass>(target_of<VkRenderPass>());
    message call = target.make(in::vk_create_graphics_pipelines);
    call.u64(device_handle).u64(0).u32(1).u64(memory).u64(0).u64(memory);
    EXPECT_EQ(host_calls(put(call, pipeline).u64(fresh)), texts{});
}

TEST_F(vk_objects, QueryResultsComeBackWhereTheTargetHasNoDriver)
{
    auto ask = [&](uint32_t count, uint64_t size, uint64_t stride) {
        return target.make(in::vk_get_query_pool_results)
            .u64(device_handle)
            .u64(target_of<VkQueryPool>())
            .u32(0)
            .u32(count)
            .u64(size)
            .u64(memory + 0x100)
            .u64(stride)
            .u32(0);
    };
    fake_vulkan::hook<&vk::vkGetQueryPoolResults>(
        [](auto, auto, auto, uint32_t count, size_t size, void* data, VkDeviceSize stride, auto) {
            EXPECT_GE(size, count * stride);
            for (uint32_t i = 0; i < count; ++i)
                std::memset(static_cast<char*>(data) + i * stride, 'q', 4);
            return VK_NOT_READY;
        });
    std::memset(target.memory.data() + 0x100, '.', 0x20);
    std::string said = library::printed_by([&] { EXPECT_EQ(result_of_call(ask(3, 12, 8)), VK_NOT_READY); });
    EXPECT_EQ(said, "") << "not ready is no failure";
    target.memory[0x110] = 0;
    EXPECT_EQ(target.text_at(memory + 0x100), "qqqq....qqqq....") << "no further than the target's block";
    EXPECT_EQ(result_of_call(ask(UINT32_MAX, UINT64_MAX, UINT64_MAX)), -1);
    EXPECT_EQ(result_of_call(ask(UINT32_MAX, 8, UINT32_MAX)), -1);

    library::set_target_gpu(TARGET_GPU_DUMMY);
    std::memset(target.memory.data() + 0x100, '.', 0x20);
    message call = target.make(in::vk_get_query_pool_results).i32(0);
    target.run(call.raw(ask(3, 12, 8).payload()));
    EXPECT_EQ(target.memory[0x100], '.');
}

TEST_F(vk_objects, PipelineCacheTellsItsSizeAndItsData)
{
    fake_vulkan::hook<&vk::vkGetPipelineCacheData>([](auto, auto, size_t* size, void* data) {
        if (data)
            std::memset(data, 'c', *size);
        VkResult result = data && *size < 6 ? VK_INCOMPLETE : VK_SUCCESS;
        *size = data ? *size : 6;
        return result;
    });
    auto ask = [&](uint64_t size, uint64_t at) {
        return target.make(in::vk_get_pipeline_cache_data)
            .u64(device_handle)
            .u64(target_of<VkPipelineCache>())
            .u64(memory)
            .u64(at)
            .u64(size);
    };
    EXPECT_EQ(result_of_call(ask(0, 0)), 0);
    EXPECT_EQ(target.peek<uint64_t>(memory), 6u);
    EXPECT_EQ(result_of_call(ask(UINT64_MAX, memory + 8)), 0);
    EXPECT_EQ(target.text_at(memory + 8), "cccccc");
    target.memory[10] = 0;
    EXPECT_EQ(result_of_call(ask(2, memory + 8)), VK_INCOMPLETE);
    EXPECT_EQ(target.text_at(memory + 8), "cc");
    EXPECT_EQ(target.peek<uint64_t>(memory), 2u);
}

TEST_F(vk_objects, EntryPointsArePresentOrNot)
{
    fake_vulkan::hook<&vk::vkGetDeviceProcAddr>([](auto, const char* name) {
        return std::strcmp(name, "vkCmdDraw") ? nullptr : as<PFN_vkVoidFunction>(0x1234);
    });
    auto ask = [&](const char* name) {
        return target.make(in::vk_get_device_proc_addr).u64(device_handle).u64(memory).text(name);
    };
    for (const char* name : {"vkCmdDraw", "vkAcquireImageANDROID"}) {
        auto sent = target.run(ask(name));
        ASSERT_EQ(sent.size(), 2u) << name;
        EXPECT_EQ(sent[0].at<uint8_t>(0), 8u);
        EXPECT_EQ(sent[0].at<uint64_t>(1), 1u);
    }
    EXPECT_EQ(target.run(ask("vkNone")).size(), 1u);
    library::set_target_gpu(TARGET_GPU_DUMMY);
    message call = target.make(in::vk_get_device_proc_addr).u64(1);
    std::string said = printed(call.u64(device_handle).u64(memory).text("vkNone"));
    EXPECT_EQ(library::occurrences(said,
                                   "vkGetDeviceProcAddr for vkNone on target returns 0x1, while on host "
                                   "returns (nil).\n"),
              1u)
        << said;
}
} // namespace
