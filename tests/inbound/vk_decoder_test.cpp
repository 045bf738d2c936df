// Layouts of Vulkan messages: hand-laid bytes for every kind of argument, for both widths of a target.

#include "inbound/vk_decoder.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"
#include "support/guarded.h"
#include "support/library.h"
#include "support/message.h"

#include <gtest/gtest.h>

namespace {
template <class H>
uint64_t number(H handle)
{
    return reinterpret_cast<uint64_t>(handle);
}

struct seen_arguments
{
    int calls = 0;
    std::vector<uint64_t> numbers;
    std::vector<uint64_t> contents;
    std::string text;
    int result = 0;
    bool inside_message = false;
} seen;

void take_create(pid_t, tid_t, VkDevice device, vk_struct<VkBufferCreateInfo> info,
                 vk_struct<VkAllocationCallbacks> allocator, vk_out<VkBuffer> buffer,
                 result_of<VkResult> result)
{
    seen = {seen.calls + 1,
            {number(device), info.address.address, allocator.address.address, buffer.address.address},
            {info ? info->size : 0, info ? uint64_t{info->usage} : 0, number(buffer.handle)},
            "",
            result.value,
            false};
    for (uint32_t i = 0; info && info->pQueueFamilyIndices && i < info->queueFamilyIndexCount; ++i)
        seen.contents.push_back(info->pQueueFamilyIndices[i]);
}

void take_allocate(pid_t, tid_t, vk_struct<VkCommandBufferAllocateInfo> info,
                   vk_out_array_by<VkCommandBuffer, 0, &VkCommandBufferAllocateInfo::commandBufferCount> out)
{
    seen = {seen.calls + 1, {info.address.address, out.address.address}, {out.count}, "", 0, false};
    for (uint32_t i = 0; i < out.count; ++i)
        seen.contents.push_back(number(out.data[i]));
}

void take_mixed(pid_t, tid_t, vk_size size, uint32_t count, float real, vk_array<VkFence, 1> fences,
                vk_bytes<1> bytes, vk_fixed<float, 2> fixed, vk_string name, VkDeviceSize wide)
{
    seen = {seen.calls + 1, {size.value, count, uint64_t(real), wide}, {fences.count, bytes.size}, "", 0,
            false};
    for (uint32_t i = 0; i < fences.count; ++i)
        seen.contents.push_back(number(fences.data[i]));
    for (uint64_t i = 0; i < bytes.size; ++i)
        seen.contents.push_back(static_cast<const uint8_t*>(bytes.data)[i]);
    float values[2] = {};
    if (fixed.data)
        std::memcpy(values, fixed.data, sizeof(values));
    seen.contents.push_back(uint64_t(values[1]));
    seen.text = name.data ? name.data : "none";
}

void take_counted(pid_t, tid_t, vk_struct<uint32_t> count, vk_array<VkRect2D, 0> list)
{
    seen = {seen.calls + 1, {count ? *count.data : 99, list.count}, {}, "", 0, false};
    for (uint32_t i = 0; i < list.count; ++i) {
        VkRect2D rect;
        std::memcpy(&rect, list.data + i, sizeof(rect));
        seen.contents.push_back(rect.extent.width);
    }
}

void take_region(pid_t, tid_t, vk_struct<VkBufferCopy> region)
{
    seen = {seen.calls + 1, {region.address.address}, {}, "", 0, false};
    VkBufferCopy copy;
    std::memcpy(&copy, region.data, sizeof(copy));
    seen.contents = {copy.srcOffset, copy.dstOffset, copy.size};
}

constexpr uint32_t type = wire::inbound::vk_create_buffer;
class vk_decoder : public testing::Test
{
protected:
    void SetUp() override
    {
        library::start();
        zelvar_settings.batchCommands = true; // nothing is sent back
    }
    static void target_has_bits(uint32_t bits)
    {
        std::shared_ptr<_zelvar_context_worker> worker;
        zelvar_object_manager_get_worker_for_target_tid_pid(1, 1, type, &worker);
        zelvar_object_manager_set_target_bit(1, 1, bits);
    }
    /// What the decoder of `Handler` prints.
    template <auto Handler>
    static std::string run(const message& call)
    {
        std::vector<uint8_t> bytes = call.bytes();
        return run_bytes<Handler>(bytes);
    }
    template <auto Handler>
    static std::string run_bytes(std::vector<uint8_t>& bytes)
    {
        guarded_bytes guarded{bytes};
        return library::printed_by([&] {
            vk_decode_message<type, Handler>(1, 1, guarded.data(), static_cast<uint32_t>(bytes.size()));
        });
    }
};
using numbers = std::vector<uint64_t>;

message buffer_info_64(message call)
{
    // sType, pNext, flags, size, usage, sharing mode, two families behind an address
    return call.u32(12).u32(0).u64(0xabc).u32(0).u32(0).u64(0x1000).u32(0x80).u32(1).u32(2).u32(0).u64(0x77);
}
} // namespace

TEST_F(vk_decoder, ArgumentsComeFirstAndContentsInTheirOrder)
{
    auto call = message(type).u64(0xd1).u64(0x100).u64(0).u64(0x200);
    call = buffer_info_64(call).u32(5).u32(6).u64(0xb1);
    EXPECT_EQ(run<&take_create>(call), "");
    EXPECT_EQ(seen.numbers, (numbers{0xd1, 0x100, 0, 0x200}));
    EXPECT_EQ(seen.contents, (numbers{0x1000, 0x80, 0xb1, 5, 6}));

    // A target with an own driver tells its result ahead of all.
    library::set_target_gpu(TARGET_GPU_DUMMY);
    call = message(type).u32(static_cast<uint32_t>(-4)).u64(0xd1).u64(0).u64(0).u64(0x200).u64(0xb2);
    EXPECT_EQ(run<&take_create>(call), "");
    EXPECT_EQ(seen.result, -4);
    EXPECT_EQ(seen.numbers, (numbers{0xd1, 0, 0, 0x200}));
    EXPECT_EQ(seen.contents, (numbers{0, 0, 0xb2}));
}

TEST_F(vk_decoder, A32BitTargetHasShortHandlesAndItsOwnLayout)
{
    target_has_bits(32);
    auto call = message(type).u32(0xd1).u64(0x100).u64(0).u64(0x200);
    // sType, pNext, flags, padding, size, usage, sharing mode, two families behind an address, padding
    call.u32(12).u32(0xabc).u32(0).u32(0).u64(0x1000).u32(0x80).u32(1).u32(2).u32(0x77).u32(5).u32(6);
    EXPECT_EQ(run<&take_create>(call.u64(0xb1)), "");
    EXPECT_EQ(seen.numbers, (numbers{0xd1, 0x100, 0, 0x200}));
    EXPECT_EQ(seen.contents, (numbers{0x1000, 0x80, 0xb1, 5, 6}));

    // Command buffers are short as well; the pool in the structure isn't.
    call = message(type).u64(0x300).u64(0x400).u32(40).u32(0).u64(0x9).u32(0).u32(3);
    EXPECT_EQ(run<&take_allocate>(call.u32(0xc1).u32(0xc2).u32(0xc3)), "");
    EXPECT_EQ(seen.contents, (numbers{3, 0xc1, 0xc2, 0xc3}));
}

TEST_F(vk_decoder, EveryOtherKindOfArgument)
{
    const float fixed[2] = {1, 7};
    auto call = message(type).u64(0x55).u32(2).f32(3).u64(1).u64(2).u64(3).u64(4).u64(0x7777777777);
    call.u64(0xf1).u64(0xf2).u8(8).u8(9).raw(fixed, sizeof(fixed)).text("main");
    EXPECT_EQ(run<&take_mixed>(call), "");
    EXPECT_EQ(seen.numbers, (numbers{0x55, 2, 3, 0x7777777777}));
    EXPECT_EQ(seen.contents, (numbers{2, 2, 0xf1, 0xf2, 8, 9, 7}));
    EXPECT_EQ(seen.text, "main");
    // Null pointers have nothing behind; size_t is short in a 32-bit target.
    target_has_bits(32);
    call = message(type).u32(0x55).u32(2).f32(3).u64(0).u64(0).u64(0).u64(0).u64(1);
    EXPECT_EQ(run<&take_mixed>(call), "");
    EXPECT_EQ(seen.numbers, (numbers{0x55, 2, 3, 1}));
    EXPECT_EQ(seen.contents, (numbers{0, 0, 0}));
    EXPECT_EQ(seen.text, "none");
}

TEST_F(vk_decoder, ACountBehindAPointerSizesItsArray)
{
    auto call = message(type).u64(1).u64(2).u32(2);
    for (uint32_t width : {10u, 20u})
        call.u32(0).u32(0).u32(width).u32(1);
    EXPECT_EQ(run<&take_counted>(call), "");
    EXPECT_EQ(seen.numbers, (numbers{2, 2}));
    EXPECT_EQ(seen.contents, (numbers{10, 20}));
    // Asking for the count alone.
    EXPECT_EQ(run<&take_counted>(message(type).u64(1).u64(0).u32(7)), "");
    EXPECT_EQ(seen.numbers, (numbers{7, 0}));
}

TEST_F(vk_decoder, AMessageOfTheWrongLengthIsReportedAndCutAtEveryByte)
{
    const std::string line = "FATAL [ZELVAR] _zelvar_inbound_traffic_vk_create_buffer() receives ";
    auto whole = message(type).u64(1).u64(2).u32(0xffffffff).u32(0).u32(0).u32(10).u32(1);
    std::string printed = run<&take_counted>(whole);
    EXPECT_EQ(seen.numbers, (numbers{0xffffffff, 1}));
    EXPECT_EQ(printed,
              line + "56 bytes, but expects " + std::to_string(40 + 0xffffffffull * 16) + " bytes.\n");
    EXPECT_NE(run<&take_region>(message(type).u64(1).u64(2).u64(3).u64(4).u8(0)), "");
    EXPECT_EQ(seen.contents, (numbers{2, 3, 4}));

    // Whatever is missing reads as zero, and every call is made.
    auto call = message(type).u64(0xd1).u64(0x100).u64(0).u64(0x200);
    const auto bytes = buffer_info_64(call).u32(5).u32(6).u64(0xb1).bytes();
    for (size_t size = wire::header_size; size < bytes.size(); ++size) {
        std::vector<uint8_t> cut{bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
        const int calls = seen.calls;
        EXPECT_EQ(run_bytes<&take_create>(cut).substr(0, line.size()), line) << size;
        ASSERT_EQ(seen.calls, calls + 1) << size;
        EXPECT_LE(seen.contents.size(), 5u);
    }
}

TEST_F(vk_decoder, AnArenaThatIsTooSmallIsReportedBehindTheCall)
{
    target_has_bits(32);
    // A structure of 16 bytes for each 16 of the message: more than the arena has.
    const uint32_t count = 0x400000 / 16 + 1;
    auto call = message(type).u64(1).u64(2).u32(count);
    std::vector<uint8_t> rects(uint64_t{count} * 16);
    rects[rects.size() - 8] = 33;
    const std::string printed = run<&take_counted>(call.raw(rects));
    EXPECT_EQ(printed, "FATAL [ZELVAR] message_buffer overflow!\n");
    ASSERT_EQ(seen.contents.size(), count);
    EXPECT_EQ(seen.contents.back(), 33u);
}
