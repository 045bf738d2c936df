// The first steps of a message: framing checks, routing, confirmations, batches, rows that aren't built.

#include "inbound/inbound_traffic.h"

#include "inbound/message_table.h"
#include "inbound/not_built.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"
#include "sidechannel_upcalls.h"
#include "support/fake_host.h"
#include "support/library.h"
#include "support/raw_target.h"
#include "zelvar/zelvar.h"

#include <gtest/gtest.h>

#include <set>

namespace {
namespace in = wire::inbound;
namespace out = wire::outbound;

std::vector<uint32_t> types_of(const std::vector<outbound_message>& messages)
{
    std::vector<uint32_t> types;
    for (const outbound_message& m : messages)
        types.push_back(m.type);
    return types;
}

std::vector<uint32_t> only_leave()
{
    return {out::leave_message_processing_loop};
}

void send_raw(std::vector<uint8_t> bytes)
{
    zelvar_inbound_traffic_api_host_data_callback(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

TEST(header, TypeIsUnknownForNullLengthFourAndTypesAboveTheTable)
{
    auto bytes = message(601).bytes();
    EXPECT_EQ(sidechannel_message_header_get_type(bytes.data(), 20), 601u);
    EXPECT_EQ(sidechannel_message_header_get_type(nullptr, 20), 0xffffffffu);
    EXPECT_EQ(sidechannel_message_header_get_type(bytes.data(), 4), 0xffffffffu);
    bytes = message(602).bytes();
    EXPECT_EQ(sidechannel_message_header_get_type(bytes.data(), 20), 0xffffffffu);
    bytes = message(0).bytes();
    EXPECT_EQ(sidechannel_message_header_get_type(bytes.data(), 20), 0u);
}

TEST(header, ProcessAndThreadNeedAWholeHeader)
{
    auto bytes = message(51, -5, 1ull << 40).bytes();
    int pid = 1;
    unsigned long tid = 2;
    sidechannel_message_header_get_process_and_thread_id(bytes.data(), 19, &pid, &tid);
    EXPECT_EQ(pid, 1);
    EXPECT_EQ(tid, 2u);
    sidechannel_message_header_get_process_and_thread_id(bytes.data(), 20, &pid, &tid);
    EXPECT_EQ(pid, -5);
    EXPECT_EQ(tid, 1ull << 40);
}

TEST(table, LooksUpNothingOutsideItsRows)
{
    for (uint32_t type : {0u, 4u, 5u, 601u, 602u, 0xffffffffu})
        EXPECT_EQ(zelvar_row_of_type(type), nullptr) << type;
    std::set<inbound_decoder> decoders;
    for (uint32_t type = 1; type <= 600; ++type) {
        if (type == 4 || type == 5)
            continue;
        ASSERT_NE(zelvar_row_of_type(type), nullptr) << type;
        EXPECT_TRUE(decoders.insert(zelvar_row_of_type(type)).second)
            << "two types share a decoder: " << type;
    }
}

TEST(table, TellsNameKeyAndResultOfAMessage)
{
    EXPECT_STREQ(message_info_of_type(191).key, "gles20_glVertexAttribPointer");
    EXPECT_STREQ(message_info_of_type(435).key, "egl_wl_egl_window_destroy");
    EXPECT_EQ(message_info_of_type(138).result_width, 1); // glIsTexture
    EXPECT_EQ(message_info_of_type(7).result_width, 4);   // eglChooseConfig
    EXPECT_EQ(message_info_of_type(263).result_width, 8); // glFenceSync
    EXPECT_EQ(message_info_of_type(122).form, result_form::target_pointer);
    EXPECT_EQ(message_info_of_type(66).form, result_form::none);
    EXPECT_EQ(message_info_of_type(440).form, result_form::vk_result);
    const char* name = nullptr;
    int built = -1;
    EXPECT_TRUE(zelvar_message_info(66, &name, &built));
    EXPECT_STREQ(name, "gles20_clear");
    EXPECT_EQ(built, 1);
    EXPECT_FALSE(zelvar_message_info(5, &name, &built));
    EXPECT_FALSE(zelvar_message_info(601, &name, &built));
}

TEST(traffic, LogsAndDropsUnknownTypes)
{
    library::start();
    std::string printed = library::printed_by([] {
        send_raw(message(602).bytes());
        send_raw({1, 0, 0, 0});
        zelvar_inbound_traffic_api_host_data_callback(nullptr, 0);
    });
    EXPECT_EQ(
        library::occurrences(printed, "ERROR [ZELVAR] Unknown message type - ignoring incoming message\n"),
        3u);
}

TEST(traffic, ConfirmationWithoutARequestIsDroppedWithBothFlaws)
{
    library::start();
    std::string printed =
        library::printed_by([] { send_raw(message(in::command_executed).u32(0).u8(0).bytes()); });
    EXPECT_NE(printed.find("ERROR [ZELVAR] Potential flaw: no command executed message call-back found."),
              std::string::npos);
    EXPECT_NE(printed.find("ERROR [ZELVAR] Potential error: No call-back set but API command execution "
                           "confirmation message was received."),
              std::string::npos);
}

TEST(traffic, ConfirmationHandsOverResultAndErrorOnceAndReadsNothingBeyondItself)
{
    library::start();
    struct taken
    {
        std::vector<uint8_t> result;
        unsigned error = 0;
        int count = 0;
    };
    auto record = std::make_shared<taken>();
    auto take = [](void* result, unsigned bytes, void* user, unsigned error) {
        auto* t = static_cast<taken*>(user);
        const auto* at = static_cast<uint8_t*>(result);
        t->result.assign(at, at + bytes);
        t->error = error;
        ++t->count;
    };
    zelvar_object_manager_set_callback_for_command_executed_message(1, 1, take, record);
    send_raw(message(in::command_executed).u32(0x500).u8(3).u8(7).u8(8).u8(9).bytes());
    EXPECT_EQ(record->result, (std::vector<uint8_t>{7, 8, 9}));
    EXPECT_EQ(record->error, 0x500u);
    send_raw(message(in::command_executed).u32(0).u8(3).u8(7).u8(8).u8(9).bytes());
    EXPECT_EQ(record->count, 1);
    // A message that promises 255 bytes and holds one.
    zelvar_object_manager_set_callback_for_command_executed_message(1, 1, take, record);
    send_raw(message(in::command_executed).u32(0).u8(255).u8(42).bytes());
    ASSERT_EQ(record->result.size(), 255u);
    EXPECT_EQ(record->result[0], 42);
    EXPECT_EQ(record->result[1], 0);
    EXPECT_EQ(record->result[254], 0);
}

TEST(traffic, EmptyRowsAreQueuedAndFreedWithoutAnAnswer)
{
    raw_target target{library::start()};
    for (uint32_t type : {5u, 0u, 601u})
        target.write_only(target.make(type).bytes());
    // What follows on the same thread is answered, and alone.
    EXPECT_EQ(types_of(target.run(target.make(in::gles20_flush))), only_leave());
}

TEST(traffic, RunsACallAndReleasesTheTarget)
{
    raw_target target{library::start()};
    auto sent = target.run(target.make(in::gles20_clear).u32(0x4000));
    ASSERT_EQ(types_of(sent), only_leave());
    EXPECT_EQ(sent[0].bytes.size(), wire::header_size);
    EXPECT_EQ(sent[0].pid, raw_target::pid);
    EXPECT_EQ(sent[0].tid, raw_target::tid);
    EXPECT_EQ(fake_host::texts(), (std::vector<std::string>{"glClear(16384)", "glGetError()"}));
}

TEST(not_built, FailsOnTheTargetAndSaysSoOnce)
{
    raw_target target{library::start()};
    target.write_only(target.make(5).bytes()); // makes the process known
    // Every message is built, so the answers are asked for here.
    auto ask = [&](uint32_t type) {
        answer_not_built(type, raw_target::pid, raw_target::tid);
        return target.serve();
    };
    std::string printed = library::printed_by([&] {
        EXPECT_EQ(types_of(ask(in::gles20_egl_image_target_texture_2does)), only_leave());
        ask(in::gles20_egl_image_target_texture_2does);
        EXPECT_EQ(ask(in::egl_create_image_khr)[0].payload(),
                  std::vector<uint8_t>({8, 0, 0, 0, 0, 0, 0, 0, 0}));
    });
    EXPECT_EQ(library::occurrences(printed, "gles20_egl_image_target_texture_2does"), 1u) << printed;
}

TEST(not_built, AnswersPointersAtTheTargetsWidth)
{
    raw_target target{library::start()};
    zelvar_object_manager_set_target_bit(raw_target::pid, raw_target::tid, 32);
    target.write_only(target.make(5).bytes()); // makes the process known
    zelvar_object_manager_set_target_bit(raw_target::pid, raw_target::tid, 32);
    answer_not_built(in::gles30_map_buffer_range, raw_target::pid, raw_target::tid);
    auto sent = target.serve();
    EXPECT_EQ(sent[0].payload(), (std::vector<uint8_t>{4, 0, 0, 0, 0}));
}

// Batches.

message batch_of(const raw_target& target, const std::vector<message>& commands)
{
    message batch = target.make(in::batch_commands);
    batch.u32(static_cast<uint32_t>(commands.size()));
    for (const message& command : commands)
        batch.raw(command.bytes());
    return batch;
}

TEST(batch, RunsItsCommandsInOrderAndReleasesOnce)
{
    raw_target target{library::start()};
    zelvar_settings.batchCommands = true;
    auto sent =
        target.run(batch_of(target, {target.make(in::gles20_clear).u32(1), target.make(in::gles20_flush),
                                     target.make(in::gles20_clear).u32(2)}));
    EXPECT_EQ(types_of(sent), only_leave());
    EXPECT_EQ(fake_host::texts(fake_host::error_queries::leave_out),
              (std::vector<std::string>{"glClear(1)", "glFlush()", "glClear(2)"}));
}

TEST(batch, ReleasesEvenWithNothingInside)
{
    raw_target target{library::start()};
    zelvar_settings.batchCommands = true;
    EXPECT_EQ(types_of(target.run(batch_of(target, {}))), only_leave());
    EXPECT_EQ(types_of(target.run(target.make(in::batch_commands))), only_leave());
    EXPECT_EQ(types_of(target.run(target.make(in::batch_commands).u32(0xffffffff))), only_leave());
    EXPECT_TRUE(fake_host::calls().empty());
}

TEST(batch, IsRunOnTheThreadOfTheOuterMessage)
{
    raw_target target{library::start()};
    zelvar_settings.batchCommands = true;
    target.run(batch_of(target, {target.make(in::gles20_flush)}));
    target.run(batch_of(target, {message(in::gles20_flush, raw_target::pid, 999)}));
    auto calls = fake_host::calls();
    EXPECT_EQ(calls.front().thread, calls.back().thread);
}

TEST(batch, StopsAtLyingSizesAndSkipsEmptyRows)
{
    raw_target target{library::start()};
    zelvar_settings.batchCommands = true;
    message good = target.make(in::gles20_flush);
    // Rows that are empty or outside the table are not called; what follows runs.
    for (uint32_t type : {0u, 4u, 5u, 601u, 0xffffffffu})
        target.run(batch_of(target, {target.make(type), good}));
    EXPECT_EQ(fake_host::count("glFlush"), 5u);
    fake_host::clear();
    for (uint32_t size : {0u, 21u, 0x7fffffffu, 0xffffffffu})
        target.run(batch_of(target, {good, target.make(in::gles20_clear).u32(1).declared_size(size), good}));
    EXPECT_EQ(fake_host::count("glFlush") + fake_host::count("glFinish"), 4u)
        << "only what stands before the lie";
    // A command of fewer bytes than a header.
    target.run(target.make(in::batch_commands).u32(2).u32(8).u32(in::gles20_flush));
}

TEST(batch, NestingEndsSomewhere)
{
    raw_target target{library::start()};
    zelvar_settings.batchCommands = true;
    message nested = target.make(in::gles20_flush);
    constexpr int levels = 200;
    for (int i = 0; i < levels; ++i)
        nested = batch_of(target, {nested});
    // Each level that is entered releases the target once more.
    std::string printed = library::printed_by([&] { target.run(nested, 9); });
    EXPECT_EQ(library::occurrences(printed, "nested"), 1u) << printed;
    EXPECT_TRUE(fake_host::calls().empty());
}

TEST(batch, IsUnexpectedWhenTheSettingIsOffButRuns)
{
    raw_target target{library::start()};
    std::string printed = library::printed_by([&] {
        // Each inner command releases the target, then the batch.
        target.run(batch_of(target, {target.make(in::gles20_flush)}), 2);
    });
    EXPECT_NE(printed.find("FATAL [ZELVAR] Unexpected batched commands: header_size=[20] header_type=[96] "
                           "header_pid=[77] header_tid=[5]\n"),
              std::string::npos)
        << printed;
    EXPECT_EQ(fake_host::count("glFlush"), 1u);
}

TEST(shim_text, PrintsWithoutAddingALineEndAndAlwaysReleases)
{
    raw_target target{library::start()};
    zelvar_settings.batchCommands = true; // this one releases all the same
    std::string printed = library::printed_by([&] {
        sidechannel_set_log_level(0);
        EXPECT_EQ(types_of(target.run(target.make(in::report_shim_message).text("hello\n"))), only_leave());
        EXPECT_EQ(types_of(target.run(target.make(in::report_shim_message).text(""))), only_leave());
        sidechannel_set_log_level(2);
        EXPECT_EQ(types_of(target.run(target.make(in::report_shim_message))), only_leave());
        EXPECT_EQ(types_of(target.run(target.make(in::report_shim_message).u8('x'))), only_leave());
    });
    EXPECT_EQ(printed, "[SHIM MSG]hello\n[SHIM MSG]"
                       "FATAL [ZELVAR] Skipping non-zero-terminated shim message len=[20].\n"
                       "FATAL [ZELVAR] Skipping non-zero-terminated shim message len=[21].\n");
}
} // namespace
