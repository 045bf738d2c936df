// Messages that no sound shim sends, of every Vulkan entry point and both target widths: the library lives on
// and the target is released.

#include "handlers/vk/vk_fixture.h"
#include "inbound/rows.h"

#include <set>

namespace {
constexpr uint32_t first_row = in::vk_create_instance, last_row = in::vk_queue_signal_release_image_android;

class vk_every_row : public vk_fixture
{
protected:
    void SetUp() override
    {
        vk_fixture::SetUp();
        sidechannel_set_log_level(0);
        of_width(8);
    }
    void of_width(uint32_t pointer_size)
    {
        target.on_request = [this, pointer_size](const outbound_message& request) {
            if (request.type == out::get_target_pointer_size)
                return confirm_with(pointer_size);
            if (request.type == out::winsys_map_buffer_object_vk)
                return confirm_with(wire::winsys_buffer_vk_data_descriptor{});
            return target.default_answer(request);
        };
    }
    /// Runs payloads of many lengths through every row.
    void storm(const std::vector<uint8_t>& payload)
    {
        for (uint32_t type = first_row; type <= last_row; ++type) {
            // These take the process's workers or its device with them.
            if (type == in::vk_destroy_instance || type == in::vk_destroy_device)
                continue;
            for (size_t length = 0; length <= payload.size(); length += length < 48 ? 1 : 24)
                ASSERT_FALSE(target.run(target.make(type).raw(payload.data(), length)).empty()) << type;
        }
    }
    /// Every argument a handle that is known somewhere, so that calls get as far as their contents.
    static std::vector<uint8_t> handles(uint64_t first, bool wide)
    {
        message call(first_row);
        if (wide)
            call.u64(first);
        else
            call.u32(static_cast<uint32_t>(first));
        for (int i = 0; i < 40; ++i)
            call.u64(0x700000001);
        return call.payload();
    }
};

TEST_F(vk_every_row, ZerosOnesAndKnownHandlesOfAWideTarget)
{
    storm(std::vector<uint8_t>(200, 0));
    storm(std::vector<uint8_t>(200, 0xff));
    for (uint64_t first : {device_handle, queue_handle, commands_handle})
        storm(handles(first, true));
}

TEST_F(vk_every_row, ZerosOnesAndKnownHandlesOfANarrowTarget)
{
    of_width(4);
    storm(std::vector<uint8_t>(200, 0));
    storm(std::vector<uint8_t>(200, 0xff));
    for (uint64_t first : {device_handle, queue_handle, commands_handle})
        storm(handles(first, false));
}

TEST_F(vk_every_row, HostThatLacksEverything)
{
    for (size_t slot = 0; slot < host_vk_count; ++slot)
        fake_vulkan::remove(host_vk_names[slot]);
    storm(std::vector<uint8_t>(100, 0));
    storm(handles(device_handle, true));
}

TEST(vk_rows, EveryEntryPointHasOne)
{
    std::multiset<uint32_t> types;
    for (const row_family& family : row_families) {
        for (size_t i = 0; i < *family.count; ++i) {
            if (family.rows[i].type >= first_row)
                types.insert(family.rows[i].type);
        }
    }
    for (uint32_t type = first_row; type <= last_row; ++type)
        EXPECT_EQ(types.count(type), 1u) << type;
}
} // namespace
