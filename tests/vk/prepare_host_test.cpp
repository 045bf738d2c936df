// Target handles inside structures become the host's.

#include "object_manager/vk_registry.h"
#include "sidechannel_log.h"
#include "vk/vk_structure_functions.h"

#include <gtest/gtest.h>

namespace {

template <class H>
H handle(uint64_t value)
{
    return reinterpret_cast<H>(value);
}

/// Target handle 0x100 + n is host handle 0x900 + n, for n below 4 of each type.
struct prepare_host : testing::Test
{
    prepare_host()
    {
        for (uint64_t n = 0; n < 4; ++n) {
            enter<VkSampler>(n);
            enter<VkImageView>(n);
            enter<VkBuffer>(n);
            enter<VkBufferView>(n);
            enter<VkDescriptorSet>(n);
            enter<VkShaderModule>(n);
            enter<VkPipelineLayout>(n);
            enter<VkRenderPass>(n);
            enter<VkDeviceMemory>(n);
            enter<VkSemaphore>(n);
        }
    }
    template <class H>
    void enter(uint64_t n)
    {
        vk_entry_of<H> entry;
        entry.host = handle<H>(0x900 + n);
        vk_registry::add(&device, handle<H>(0x100 + n), entry);
    }

    vk_device_record device;
};

TEST_F(prepare_host, descriptors_of_every_kind)
{
    VkDescriptorImageInfo images[] = {
        {handle<VkSampler>(0x100), handle<VkImageView>(0x101), VK_IMAGE_LAYOUT_GENERAL},
        {VK_NULL_HANDLE, handle<VkImageView>(0x102), VK_IMAGE_LAYOUT_GENERAL}};
    VkDescriptorBufferInfo buffers[] = {{handle<VkBuffer>(0x103), 16, 32}, {handle<VkBuffer>(0x100), 0, 1}};
    VkBufferView views[] = {handle<VkBufferView>(0x101), handle<VkBufferView>(0x102)};
    VkWriteDescriptorSet write{VK_STRUCTURE_TYPE_WRITE_DESCRIPTOR_SET,
                               &write,
                               handle<VkDescriptorSet>(0x102),
                               0,
                               0,
                               2,
                               VK_DESCRIPTOR_TYPE_COMBINED_IMAGE_SAMPLER,
                               images,
                               buffers,
                               views};
    VkWriteDescriptorSet* pointer = &write;
    EXPECT_TRUE(prepare_host_VkWriteDescriptorSet(&device, &pointer));
    EXPECT_EQ(write.pNext, nullptr) << "no extension chain reaches the host";
    EXPECT_EQ(write.dstSet, handle<VkDescriptorSet>(0x902));
    EXPECT_EQ(images[0].sampler, handle<VkSampler>(0x900));
    EXPECT_EQ(images[0].imageView, handle<VkImageView>(0x901));
    EXPECT_EQ(images[1].sampler, handle<VkSampler>(0));
    EXPECT_EQ(images[1].imageView, handle<VkImageView>(0x902));
    EXPECT_EQ(buffers[0].buffer, handle<VkBuffer>(0x903));
    EXPECT_EQ(buffers[1].buffer, handle<VkBuffer>(0x900));
    EXPECT_EQ(views[1], handle<VkBufferView>(0x902));
    EXPECT_EQ(write.descriptorCount, 2u);

    write.pImageInfo = nullptr; // one of three arrays is all that a write needs
    write.pBufferInfo = nullptr;
    write.dstSet = handle<VkDescriptorSet>(0x100);
    views[0] = views[1] = handle<VkBufferView>(0x100);
    EXPECT_TRUE(prepare_host_VkWriteDescriptorSet(&device, &pointer));
    EXPECT_EQ(write.descriptorCount, 2u);
}

TEST_F(prepare_host, after_a_handle_that_is_unknown_no_other_is_looked_up_or_left)
{
    VkPipelineShaderStageCreateInfo stages[2]{};
    stages[0].module = handle<VkShaderModule>(0x100);
    stages[1].module = handle<VkShaderModule>(0xbad);
    VkGraphicsPipelineCreateInfo pipeline{};
    pipeline.stageCount = 2;
    pipeline.pStages = stages;
    pipeline.layout = handle<VkPipelineLayout>(0x101);
    pipeline.renderPass = handle<VkRenderPass>(0x4444);
    VkGraphicsPipelineCreateInfo* pointer = &pipeline;
    sidechannel_log_level = 3;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(prepare_host_VkGraphicsPipelineCreateInfo(&device, &pointer));
    std::fflush(stdout);
    std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_NE(
        printed.find("WARN [ZELVAR] Can't find mapping for target shader module[0xbad], data desync ahead."),
        std::string::npos)
        << printed;
    EXPECT_EQ(printed.find("render pass"), std::string::npos) << printed;
    EXPECT_EQ(stages[0].module, handle<VkShaderModule>(0x900));
    EXPECT_EQ(stages[1].module, handle<VkShaderModule>(0));
    EXPECT_EQ(pipeline.layout, handle<VkPipelineLayout>(0));
    EXPECT_EQ(pipeline.renderPass, handle<VkRenderPass>(0));
}

TEST_F(prepare_host, semaphores_that_the_system_signalled_go_with_their_stages)
{
    device.semaphore[handle<VkSemaphore>(0x101)].signalled_by_system = true;
    VkSemaphore waits[] = {handle<VkSemaphore>(0x100), handle<VkSemaphore>(0x101),
                           handle<VkSemaphore>(0x102)};
    VkSemaphore signals[] = {handle<VkSemaphore>(0x101), handle<VkSemaphore>(0x103)};
    VkPipelineStageFlags stages[] = {1, 2, 4};
    VkCommandBuffer commands[] = {handle<VkCommandBuffer>(0xcb)};
    VkSubmitInfo submit{VK_STRUCTURE_TYPE_SUBMIT_INFO, nullptr, 3, waits, stages, 1, commands, 2, signals};
    VkSubmitInfo* pointer = &submit;
    EXPECT_TRUE(prepare_host_VkSubmitInfo(&device, &pointer));
    ASSERT_EQ(submit.waitSemaphoreCount, 2u);
    EXPECT_EQ(waits[0], handle<VkSemaphore>(0x900));
    EXPECT_EQ(waits[1], handle<VkSemaphore>(0x902));
    EXPECT_EQ(stages[0], 1u);
    EXPECT_EQ(stages[1], 4u);
    ASSERT_EQ(submit.signalSemaphoreCount, 1u);
    EXPECT_EQ(signals[0], handle<VkSemaphore>(0x903));
    EXPECT_EQ(commands[0], handle<VkCommandBuffer>(0xcb)) << "command buffers are found outside the device";
}

TEST_F(prepare_host, constants_outside_their_data_are_left_out)
{
    uint32_t data[] = {1, 2};
    VkSpecializationMapEntry entries[] = {{0, 8, 4}, {1, 4, 4}, {2, 0, ~size_t{0}}, {3, 0, 8}};
    VkSpecializationInfo info{4, entries, sizeof(data), data};
    VkSpecializationInfo* pointer = &info;
    EXPECT_TRUE(prepare_host_VkSpecializationInfo(&device, &pointer));
    ASSERT_EQ(info.mapEntryCount, 2u);
    EXPECT_EQ(entries[0].constantID, 1u);
    EXPECT_EQ(entries[1].constantID, 3u);
}

TEST_F(prepare_host, nested_arrays_and_what_is_absent)
{
    VkSparseMemoryBind binds[] = {{0, 4096, handle<VkDeviceMemory>(0x102), 0, 0},
                                  {4096, 4096, VK_NULL_HANDLE, 0, 0}};
    VkSparseBufferMemoryBindInfo buffer{handle<VkBuffer>(0x101), 2, binds};
    VkBindSparseInfo sparse{};
    sparse.bufferBindCount = 1;
    sparse.pBufferBinds = &buffer;
    sparse.imageBindCount = 7; // of an array that isn't there
    VkBindSparseInfo* pointer = &sparse;
    EXPECT_TRUE(prepare_host_VkBindSparseInfo(&device, &pointer));
    EXPECT_EQ(buffer.buffer, handle<VkBuffer>(0x901));
    EXPECT_EQ(binds[0].memory, handle<VkDeviceMemory>(0x902));
    EXPECT_EQ(binds[1].memory, handle<VkDeviceMemory>(0));
    EXPECT_EQ(sparse.imageBindCount, 0u);

    VkPipelineViewportStateCreateInfo viewports{};
    viewports.viewportCount = 1; // dynamic, so there is no array
    VkPipelineViewportStateCreateInfo* state = &viewports;
    EXPECT_TRUE(prepare_host_VkPipelineViewportStateCreateInfo(&device, &state));
    EXPECT_EQ(viewports.viewportCount, 1u);

    VkBufferCreateInfo* none = nullptr;
    EXPECT_TRUE(prepare_host_VkBufferCreateInfo(&device, &none));
}

} // namespace
