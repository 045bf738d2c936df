// What the library asks of the target: bytes of every kind of request, waiting, answers, memory.

#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_calls.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"
#include "support/library.h"
#include "support/raw_target.h"

#include <gtest/gtest.h>

#include <thread>

namespace {
namespace out = wire::outbound;
constexpr pid_t pid = raw_target::pid;
constexpr tid_t tid = raw_target::tid;

/// A target in its loop while `code` runs as its worker would; returns all that was sent before the release.
class requests : public testing::Test
{
protected:
    scPluginInterface* plugin = library::start();
    raw_target target{plugin};

    void SetUp() override
    {
        target.write_only(target.make(5).bytes()); // binds the channel
    }
    template <class F>
    std::vector<outbound_message> sent_by(F code)
    {
        std::thread worker{[&] {
            code();
            zelvar_shim_dispatch_leave_message_processing_loop(pid, tid);
        }};
        auto sent = target.serve();
        worker.join();
        EXPECT_EQ(sent.back().type, out::leave_message_processing_loop);
        sent.pop_back();
        return sent;
    }
    template <class F>
    outbound_message only_message_of(F code)
    {
        auto sent = sent_by(code);
        EXPECT_EQ(sent.size(), 1u);
        return sent.empty() ? outbound_message{} : sent[0];
    }
};

std::vector<uint8_t> payload(const message& m)
{
    return m.payload();
}
message body()
{
    return message(0);
}

TEST_F(requests, ReturnValuesTravelWithTheReleaseAndNeedNoAnswer)
{
    uint32_t value = 0x01020304;
    auto sent = only_message_of([&] { zelvar_shim_dispatch_set_return_value_message(pid, tid, 4, &value); });
    EXPECT_EQ(sent.type, out::set_return_value_message);
    EXPECT_EQ(sent.payload(), payload(body().u8(4).u32(value)));
    EXPECT_EQ(sent.bytes.size(), 25u);
    sent = only_message_of([&] { zelvar_shim_dispatch_set_return_value_message(pid, tid, 0, nullptr); });
    EXPECT_EQ(sent.bytes.size(), 21u);
}

TEST_F(requests, PlainFormsAreSilentWhileTheTargetRunsCallsAndForcedOnesAreNot)
{
    library::set_target_gpu(TARGET_GPU_DUMMY);
    uint32_t value = 1;
    target_ptr there{raw_target::memory_base};
    EXPECT_TRUE(sent_by([&] {
                    zelvar_shim_dispatch_set_return_value_message(pid, tid, 4, &value);
                    zelvar_shim_dispatch_write_to_shim_address_space(pid, tid, 4, &value, there);
                }).empty());
    auto sent = sent_by([&] {
        zelvar_shim_dispatch_set_return_value_message_force(pid, tid, 4, &value);
        zelvar_shim_dispatch_write_to_shim_address_space_force(pid, tid, 4, &value, there);
    });
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(target.peek<uint32_t>(raw_target::memory_base), 1u);
}

TEST_F(requests, ReadsTellSizeThenAddressAndWritesAddressThenSize)
{
    target.poke<uint32_t>(raw_target::memory_base + 8, 0xfeedbeef);
    uint32_t value = 0;
    auto read = only_message_of([&] {
        EXPECT_TRUE(zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, 4,
                                                                      {raw_target::memory_base + 8}, &value));
    });
    EXPECT_EQ(value, 0xfeedbeefu);
    EXPECT_EQ(read.type, 438u);
    EXPECT_EQ(read.payload(), payload(body().u32(4).u64(raw_target::memory_base + 8)));
    auto write = only_message_of([&] {
        zelvar_shim_dispatch_write_to_shim_address_space(pid, tid, 4, &value, {raw_target::memory_base});
    });
    EXPECT_EQ(write.type, 439u);
    EXPECT_EQ(write.payload(), payload(body().u64(raw_target::memory_base).u32(4)));
    EXPECT_EQ(target.peek<uint32_t>(raw_target::memory_base), 0xfeedbeefu);
}

TEST_F(requests, DirectMemoryAsksNothingOfTheTarget)
{
    zelvar_only_settings.directTargetMemoryReads = true;
    zelvar_only_settings.directTargetMemoryWrites = true;
    uint32_t value = 77;
    EXPECT_TRUE(
        sent_by([&] {
            zelvar_shim_dispatch_write_to_shim_address_space(pid, tid, 4, &value, {raw_target::memory_base});
            value = 0;
            zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, 4, {raw_target::memory_base}, &value);
        }).empty());
    EXPECT_EQ(value, 77u);
}

TEST_F(requests, MemoryThatTheTargetLacksReadsAsZeros)
{
    uint64_t end = raw_target::memory_base + target.memory.size();
    target.poke<uint32_t>(end - 4, 0xffffffff);
    uint8_t bytes[8];
    std::memset(bytes, 0xaa, sizeof(bytes));
    std::string printed = library::printed_by([&] {
        sent_by([&] {
            EXPECT_FALSE(zelvar_shim_dispatch_read_from_shim_address_space(pid, tid, 8, {end - 4}, bytes));
        });
    });
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 8), (std::vector<uint8_t>{255, 255, 255, 255, 0, 0, 0, 0}));
    EXPECT_EQ(library::occurrences(printed, "ERROR [ZELVAR]"), 1u) << printed;
    // A write there is lost, and that is all.
    sent_by([&] { zelvar_shim_dispatch_write_to_shim_address_space(pid, tid, 8, bytes, {end}); });
}

TEST_F(requests, MemoryOfAProcessWithoutAChannelIsOutOfReach)
{
    zelvar_only_settings.directTargetMemoryReads = true;
    uint32_t value = 7;
    std::string printed = library::printed_by([&] {
        EXPECT_FALSE(zelvar_shim_dispatch_read_from_shim_address_space(pid + 1, tid, 4, {0x10000}, &value));
        zelvar_shim_dispatch_leave_message_processing_loop(pid + 1, tid);
    });
    EXPECT_EQ(value, 0u);
    EXPECT_EQ(library::occurrences(
                  printed, "FATAL [ZELVAR] Cannot handle request - channel interface pointer is NULL.\n"),
              2u)
        << printed;
}

TEST_F(requests, BlocksComeAndGo)
{
    target_ptr block{1};
    auto sent = sent_by([&] {
        zelvar_shim_dispatch_allocate_memory_block(pid, tid, 24, &block);
        zelvar_shim_dispatch_deallocate_memory_block(pid, tid, block);
    });
    EXPECT_EQ(block.address, raw_target::heap_base);
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[0].payload(), payload(body().u32(24)));
    EXPECT_EQ(sent[1].type, 441u);
    EXPECT_EQ(sent[1].payload(), payload(body().u64(raw_target::heap_base)));
}

TEST_F(requests, StringsAreReadWithTheirTerminatorAndEmptyOnesNotAtAll)
{
    std::memcpy(target.memory.data(), "name", 5);
    std::string text = "before";
    auto sent = sent_by([&] { zelvar_shim_dispatch_get_string(pid, tid, {raw_target::memory_base}, &text); });
    EXPECT_EQ(text, "name");
    ASSERT_EQ(sent.size(), 2u);
    EXPECT_EQ(sent[1].payload(), payload(body().u32(5).u64(raw_target::memory_base)));
    sent = sent_by([&] { zelvar_shim_dispatch_get_string(pid, tid, {raw_target::memory_base + 4}, &text); });
    EXPECT_EQ(text, "name") << "an empty string leaves the output alone";
    EXPECT_EQ(sent.size(), 1u);
}

TEST_F(requests, AStringOfImpossibleLengthIsNotRead)
{
    for (uint32_t length : {uint32_t{64} << 20, 0x7fffffffu, 0xffffffffu}) {
        target.on_request = [&](const outbound_message&) { return confirm_with(length); };
        std::string text = "before";
        testing::internal::CaptureStdout();
        auto sent =
            sent_by([&] { zelvar_shim_dispatch_get_string(pid, tid, {raw_target::memory_base}, &text); });
        EXPECT_NE(testing::internal::GetCapturedStdout().find("has not been retrieved"), std::string::npos);
        EXPECT_EQ(sent.size(), 1u) << length;
        EXPECT_EQ(text, "before");
    }
}

TEST_F(requests, OddServicesKeepTheirShape)
{
    // The header of this one promises 20 bytes.
    wire::winsys_buffer_object_descriptor descriptor{};
    target.on_request = [](const outbound_message&) {
        confirmation answer;
        answer.result.assign(56, 9);
        return answer;
    };
    auto sent = only_message_of(
        [&] { zelvar_shim_dispatch_winsys_buffer_object_begin_use(pid, tid, 0xabc, 7, &descriptor); });
    EXPECT_EQ(wire::load_header(sent.bytes.data()).size, 20u);
    EXPECT_EQ(sent.payload(), payload(body().u64(0xabc).u32(7)));
    EXPECT_EQ(descriptor.width, 0x09090909u);
    target.on_request = [this](const outbound_message& r) { return target.default_answer(r); };
    // A byte goes out as four.
    sent = only_message_of([&] { zelvar_shim_dispatch_set_screensaver_status(pid, tid, true); });
    EXPECT_EQ(sent.payload(), payload(body().u32(1)));
    bool connected = false;
    sent = only_message_of([&] { zelvar_shim_dispatch_winsys_connect_window(pid, tid, 1, 2, &connected); });
    EXPECT_TRUE(connected);
    EXPECT_EQ(sent.payload(), payload(body().u64(1).u64(2)));
}

TEST_F(requests, EachServiceHasItsPayloadAndItsAnswer)
{
    uint32_t word = 0;
    uint64_t wide = 0;
    wire::winsys_buffer_object_descriptor buffer{};
    wire::winsys_buffer_vk_data_descriptor vk_buffer{};
    _zelvar_to_shim_pixmap_object_desc pixmap{};
    target_ptr address;
    struct one
    {
        std::function<void()> ask;
        uint32_t type;
        uint32_t payload_bytes;
        uint32_t answer_bytes;
    };
    const one services[] = {
        {[&] { zelvar_shim_dispatch_get_egl_attribute_list_length(pid, tid, {1}, &word); }, 442, 8, 4},
        {[&] { zelvar_shim_dispatch_get_fb_height(pid, tid, &word); }, 443, 0, 4},
        {[&] { zelvar_shim_dispatch_get_fb_width(pid, tid, &word); }, 444, 0, 4},
        {[&] { zelvar_shim_dispatch_get_string_length(pid, tid, {1}, &word); }, 445, 8, 4},
        {[&] { zelvar_shim_dispatch_get_target_pointer_size(pid, tid, &word); }, 446, 0, 4},
        {[&] { zelvar_shim_dispatch_get_pixmap_data(pid, tid, 1, {2}, {3}, &word); }, 447, 24, 4},
        {[&] { zelvar_shim_dispatch_get_pixmap_properties(pid, tid, 1, {2}, &pixmap); }, 448, 16, 16},
        {[&] { zelvar_shim_dispatch_get_proc_address(pid, tid, {1}, &wide); }, 449, 8, 8},
        {[&] { zelvar_shim_dispatch_set_fb_depth(pid, tid, 1); }, 450, 4, 0},
        {[&] { zelvar_shim_dispatch_set_cursor_visibility(pid, tid, true); }, 451, 4, 0},
        {[&] { zelvar_shim_dispatch_set_screensaver_status(pid, tid, true); }, 452, 4, 0},
        {[&] { zelvar_shim_dispatch_shim_sync_object_create(pid, tid, &wide); }, 453, 0, 8},
        {[&] { zelvar_shim_dispatch_shim_sync_object_destroy(pid, tid, 1); }, 454, 8, 0},
        {[&] { zelvar_shim_dispatch_shim_sync_object_signal(pid, tid, 1, 2); }, 455, 12, 0},
        {[&] { zelvar_shim_dispatch_shim_sync_object_wait(pid, tid, 1, 2, &word); }, 456, 16, 4},
        {[&] { zelvar_shim_dispatch_store_attribute_index_used_by_program_in_shim_context(pid, tid, 1, 2); },
         457, 8, 0},
        {[&] { zelvar_shim_dispatch_winsys_buffer_object_end_use(pid, tid, 1, &word); }, 459, 8, 4},
        {[&] { zelvar_shim_dispatch_winsys_disconnect_window(pid, tid, 1); }, 461, 8, 0},
        {[&] { zelvar_shim_dispatch_winsys_get_target_os_version(pid, tid, &word); }, 462, 0, 4},
        {[&] { zelvar_shim_dispatch_winsys_get_window_height(pid, tid, 1, &word); }, 463, 8, 4},
        {[&] { zelvar_shim_dispatch_winsys_get_window_width(pid, tid, 1, &word); }, 464, 8, 4},
        {[&] { zelvar_shim_dispatch_winsys_map_buffer_object(pid, tid, 1, &buffer); }, 465, 64, 56},
        {[&] { zelvar_shim_dispatch_winsys_unmap_buffer_object(pid, tid, {1}, 2, &word); }, 466, 12, 4},
        {[&] { zelvar_shim_dispatch_winsys_map_buffer_object_vk(pid, tid, 1, &vk_buffer); }, 467, 8, 32},
        {[&] { zelvar_shim_dispatch_vkAllocateMemory(pid, tid, 1, 2, 3, 4, 5, &wide, nullptr); }, 468, 36, 8},
        {[&] { zelvar_shim_dispatch_get_target_process_name_address(pid, tid, &address); }, 469, 0, 8},
    };
    for (const one& service : services) {
        // A wrong number of result bytes would stop the process.
        target.on_request = [&](const outbound_message&) {
            confirmation answer;
            answer.result.assign(service.answer_bytes, 0x5a);
            return answer;
        };
        auto sent = only_message_of(service.ask);
        EXPECT_EQ(sent.type, service.type);
        EXPECT_EQ(sent.bytes.size(), wire::header_size + service.payload_bytes) << service.type;
        EXPECT_EQ(wire::load_header(sent.bytes.data()).size, sent.bytes.size()) << service.type;
    }
    EXPECT_EQ(word, 0x5a5a5a5au);
    EXPECT_EQ(wide, 0x5a5a5a5a5a5a5a5aull);
    EXPECT_EQ(address.address, 0x5a5a5a5a5a5a5a5aull);
    EXPECT_EQ(buffer.mapped, 0x5a5a5a5a5a5a5a5aull);
}

TEST_F(requests, ALateConfirmationDoesNotEndTheNextWait)
{
    // Left over from a request that nobody waits for any more.
    semaphore_raise(zelvar_object_manager_get_response_semaphore(pid, tid).get());
    uint32_t height = 0;
    sent_by([&] { zelvar_shim_dispatch_get_fb_height(pid, tid, &height); });
    EXPECT_EQ(height, 16u);
}

TEST_F(requests, AnAnswerOfTheWrongSizeStopsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            target.on_request = [](const outbound_message&) { return confirm_with(uint8_t{1}); };
            std::thread worker{[] {
                uint32_t height = 0;
                zelvar_shim_dispatch_get_fb_height(pid, tid, &height);
            }};
            target.serve();
            worker.join();
        },
        "callback_data_ptr->result_ptr_size == n_result_bytes");
}

// Calls on the target.

TEST_F(requests, CallsCarryTheirArgumentsAtNaturalWidth)
{
    library::set_target_gpu(TARGET_GPU_DUMMY);
    auto sent = only_message_of(
        [&] { zelvar_shim_dispatch_gles20_active_texture_call(pid, tid, 0x84c0, nullptr, 0); });
    EXPECT_EQ(sent.type, 45u);
    EXPECT_EQ(sent.bytes.size(), 24u);
    EXPECT_EQ(sent.payload(), payload(body().u32(0x84c0)));
    uint32_t result = 0;
    target.on_request = [](const outbound_message&) { return confirm_with(uint32_t{1}, 0x300d); };
    unsigned error = 0;
    sent = only_message_of([&] {
        zelvar_shim_dispatch_egl_swap_buffers_call(pid, tid, uint64_t{0x11}, uint64_t{0x22}, &result, 4,
                                                   &error);
    });
    EXPECT_EQ(sent.type, 21u);
    EXPECT_EQ(sent.bytes.size(), 36u);
    EXPECT_EQ(sent.payload(), payload(body().u64(0x11).u64(0x22)));
    EXPECT_EQ(result, 1u);
    EXPECT_EQ(error, 0x300du);
    target.on_request = [this](const outbound_message& r) { return target.default_answer(r); };
    // A bool is one byte.
    sent = only_message_of([&] {
        zelvar_shim_dispatch_gles32_tex_storage_3dmultisample_call(pid, tid, 1, 2, 3, 4, 5, 6, 1, nullptr, 0);
    });
    EXPECT_EQ(sent.bytes.size(), 45u);
    sent = only_message_of(
        [&] { zelvar_shim_dispatch_gles20_clear_color_call(pid, tid, 1.f, 2.f, 3.f, -0.5f, nullptr, 0); });
    EXPECT_EQ(sent.payload(), payload(body().f32(1).f32(2).f32(3).f32(-0.5f)));
    sent = only_message_of([&] {
        zelvar_shim_dispatch_gles20_get_integerv_call(pid, tid, 0x0ba2, target_ptr{0x1234}, nullptr, 0);
    });
    EXPECT_EQ(sent.payload(), payload(body().u32(0x0ba2).u64(0x1234)));
}

TEST_F(requests, VoidCallsWithoutOutputAreOnlyQueuedWhenBatched)
{
    library::set_target_gpu(TARGET_GPU_DUMMY);
    zelvar_settings.batchTargetCommands = true;
    unsigned error = 99;
    std::thread worker{[&] {
        zelvar_shim_dispatch_gles20_enable_call(pid, tid, 0x0be2, nullptr, 0, &error);
        EXPECT_EQ(error, 0u);
        error = 99;
        zelvar_shim_dispatch_gles20_delete_buffers_call(pid, tid, 1, target_ptr{4}, nullptr, 0, &error);
        EXPECT_EQ(error, 0u);
        error = 99;
        zelvar_shim_dispatch_gles20_egl_image_target_texture_2does_call(pid, tid, 1, uint64_t{4}, nullptr, 0,
                                                                        &error);
        EXPECT_EQ(error, 0u);
        // An output or a result is waited for; it takes the queued ones along.
        zelvar_shim_dispatch_gles20_gen_buffers_call(pid, tid, 1, target_ptr{4}, nullptr, 0, &error);
        zelvar_shim_dispatch_leave_message_processing_loop(pid, tid);
    }};
    std::vector<uint32_t> order;
    target.on_request = [&](const outbound_message& m) {
        order.push_back(m.type);
        confirmation answer;
        answer.silent = m.type != 94; // nobody waits for the others
        return answer;
    };
    target.serve();
    worker.join();
    EXPECT_EQ(order, (std::vector<uint32_t>{87, 73, 403, 94}));
}

TEST_F(requests, CallsComplainWhenNothingRunsOnTheTargetAndGoOut)
{
    std::string printed = library::printed_by([&] {
        EXPECT_EQ(sent_by([&] { zelvar_shim_dispatch_gles20_finish_call(pid, tid, nullptr, 0); }).size(), 1u);
    });
    EXPECT_EQ(printed, "FATAL [ZELVAR] zelvar_shim_dispatch_gles20_finish_call() should not be called.\n");
}

TEST(call_family, KnowsWhichCallsNeedNoAnswer)
{
    EXPECT_TRUE(zelvar_shim_dispatch_gles20_vertex_attrib_pointer_call.call.batchable);
    EXPECT_TRUE(zelvar_shim_dispatch_gles20_shader_source_call.call.batchable);
    EXPECT_TRUE(zelvar_shim_dispatch_gles30_delete_sync_call.call.batchable);
    EXPECT_TRUE(zelvar_shim_dispatch_eglwl_egl_window_destroy_call.call.batchable);
    EXPECT_FALSE(zelvar_shim_dispatch_gles20_read_pixels_call.call.batchable);
    EXPECT_FALSE(zelvar_shim_dispatch_gles30_get_buffer_pointerv_call.call.batchable);
    EXPECT_FALSE(zelvar_shim_dispatch_gles20_is_texture_call.call.batchable);
    EXPECT_EQ(zelvar_shim_dispatch_egl_gles_query_get_windows_dc_call.call.type, 435u);
    EXPECT_EQ(zelvar_shim_dispatch_ubm_surface_create_call.call.type, 433u);
    EXPECT_EQ(zelvar_shim_dispatch_egl_choose_config_call.call.type, 1u);
}
} // namespace
