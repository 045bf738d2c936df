// Layouts of messages: hand-laid bytes for every kind of payload, once each.

#include "inbound/decoder.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"
#include "support/guarded.h"
#include "support/library.h"
#include "support/message.h"

#include <gtest/gtest.h>

namespace {
struct seen_arguments
{
    int calls = 0;
    pid_t pid = 0;
    tid_t tid = 0;
    std::vector<double> numbers;
    std::vector<float> inline_values;
    uint64_t inline_alignment = 0;
    uint64_t target_result = 0;
    unsigned target_error = 0;
} seen;

void take_pointer_call(pid_t pid, tid_t tid, uint32_t index, int32_t size, uint32_t type, uint8_t normalized,
                       int32_t stride, target_ptr pointer, gles_target_error error)
{
    seen = {seen.calls + 1,
            pid,
            tid,
            {double(index), double(size), double(type), double(normalized), double(stride),
             double(pointer.address)},
            {},
            0,
            0,
            error.code};
}

void take_wide_call(pid_t pid, tid_t tid, uint32_t target, int64_t size, target_ptr data, float real,
                    gles_target_error error)
{
    seen = {seen.calls + 1,
            pid,
            tid,
            {double(target), double(size), double(data.address), double(real)},
            {},
            0,
            0,
            error.code};
}

void take_inline_call(pid_t pid, tid_t tid, uint8_t first, int32_t location, inline_array<float> values,
                      gles_target_error)
{
    seen = {seen.calls + 1, pid, tid, {double(first), double(location)}, {}, 0, 0, 0};
    if (values.data)
        seen.inline_values.assign(values.data, values.data + values.count);
    seen.inline_alignment = reinterpret_cast<uintptr_t>(values.data) % alignof(float);
}

void take_result_call(pid_t pid, tid_t tid, uint64_t display, result_of<uint8_t> result,
                      egl_target_error error)
{
    seen = {seen.calls + 1, pid, tid, {double(display)}, {}, 0, result.value, error.code};
}

void take_result_only(pid_t pid, tid_t tid, result_of<uint32_t> result)
{
    seen = {seen.calls + 1, pid, tid, {}, {}, 0, result.value, 0};
}

template <uint32_t Type, auto Handler>
void run(const message& call, bool batched = true)
{
    zelvar_settings.batchCommands = batched; // batched: nothing is sent back
    std::vector<uint8_t> bytes = call.bytes();
    guarded_bytes guarded{bytes};
    wire::header header = wire::load_header(bytes.data());
    decode<Type, Handler>(header.pid, header.tid, guarded.data(), static_cast<uint32_t>(bytes.size()));
}

constexpr uint32_t pointer_type = wire::inbound::gles20_vertex_attrib_pointer;
constexpr uint32_t choose_type = wire::inbound::egl_choose_config;

class decoder : public testing::Test
{
protected:
    void SetUp() override { sidechannel_set_log_level(2); }
};

TEST_F(decoder, ReadsPackedArgumentsAtOddOffsets)
{
    run<pointer_type, &take_pointer_call>(
        message(pointer_type, 3, 9).u32(1).i32(-2).u32(5126).u8(1).i32(-16).u64(0x123456789));
    EXPECT_EQ(seen.pid, 3);
    EXPECT_EQ(seen.tid, 9u);
    EXPECT_EQ(seen.numbers, (std::vector<double>{1, -2, 5126, 1, -16, double(0x123456789)}));
    EXPECT_EQ(seen.target_error, 0u);
}

TEST_F(decoder, ReadsSizesAndAddressesAtEightBytesAndFloatsAsBits)
{
    run<wire::inbound::gles20_buffer_data, &take_wide_call>(
        message(63).u32(7).u64(1ull << 40).u64(0xabc).f32(-0.5f));
    EXPECT_EQ(seen.numbers, (std::vector<double>{7, double(1ull << 40), double(0xabc), -0.5}));
}

TEST_F(decoder, HandsOutInlineArraysAligned)
{
    run<wire::inbound::gles20_uniform_1fv, &take_inline_call>(
        message(163).u8(5).i32(3).f32(1.5f).f32(-2).f32(1e9f));
    EXPECT_EQ(seen.numbers, (std::vector<double>{5, 3}));
    EXPECT_EQ(seen.inline_values, (std::vector<float>{1.5f, -2, 1e9f}));
    EXPECT_EQ(seen.inline_alignment, 0u);
    // Bytes that make no whole value are no value.
    run<wire::inbound::gles20_uniform_1fv, &take_inline_call>(message(163).u8(5).i32(3).f32(4).u8(9).u8(9));
    EXPECT_EQ(seen.inline_values, (std::vector<float>{4}));
    run<wire::inbound::gles20_uniform_1fv, &take_inline_call>(message(163).u8(5).i32(3));
    EXPECT_TRUE(seen.inline_values.empty());
}

TEST_F(decoder, ReadsResultThenErrorBeforeArgumentsWhileTheTargetRunsCalls)
{
    library::set_target_gpu(TARGET_GPU_DUMMY);
    zelvar_settings.checkErrorCode = true;
    run<choose_type, &take_result_call>(message(7).u8(1).u32(0x3004).u64(0x55));
    EXPECT_EQ(seen.target_result, 1u);
    EXPECT_EQ(seen.target_error, 0x3004u);
    EXPECT_EQ(seen.numbers, (std::vector<double>{0x55}));
    // Error checks off: no error word, the neutral code instead.
    zelvar_settings.checkErrorCode = false;
    run<choose_type, &take_result_call>(message(7).u8(1).u64(0x55));
    EXPECT_EQ(seen.target_error, 0x3000u);
    EXPECT_EQ(seen.numbers, (std::vector<double>{0x55}));
}

TEST_F(decoder, TestsTheModeWordForResultsNotTheDerivedFlag)
{
    zelvar_settings.callOnTargetAPI = TARGET_GPU_NONE;
    zelvar_settings.callOnTarget = true; // as ignoreTRV leaves it
    zelvar_settings.checkErrorCode = true;
    run<choose_type, &take_result_call>(message(7).u64(0x55));
    EXPECT_EQ(seen.numbers, (std::vector<double>{0x55}));
    EXPECT_EQ(seen.target_result, 0u);
}

TEST_F(decoder, GivesErrorWordsOnlyToListedNames)
{
    library::set_target_gpu(TARGET_GPU_REAL);
    zelvar_settings.checkErrorCode = true;
    zelvar_settings.enableErrorCheckWhiteList = true;
    error_check_white_list list{{"gles20_glVertexAttribPointer", true}};
    zelvar_settings.white_list = &list;
    run<pointer_type, &take_pointer_call>(
        message(pointer_type).u32(0x501).u32(1).i32(2).u32(3).u8(4).i32(5).u64(6));
    EXPECT_EQ(seen.target_error, 0x501u);
    EXPECT_EQ(seen.numbers, (std::vector<double>{1, 2, 3, 4, 5, 6}));
    run<wire::inbound::gles20_buffer_data, &take_wide_call>(message(63).u32(7).u64(8).u64(9).f32(1));
    EXPECT_EQ(seen.target_error, 0u);
    EXPECT_EQ(seen.numbers, (std::vector<double>{7, 8, 9, 1}));
    // A query of the error itself never has an error word.
    run<wire::inbound::gles20_get_error, &take_result_only>(message(111).u32(0x502));
    EXPECT_EQ(seen.target_result, 0x502u);
}

TEST_F(decoder, ReadsZerosPastTheEndAndSaysSoOnce)
{
    std::vector<uint8_t> whole = message(pointer_type).u32(1).i32(2).u32(3).u8(4).i32(5).u64(6).payload();
    for (size_t cut = 0; cut < whole.size(); ++cut) {
        message call(pointer_type);
        call.raw(whole.data(), cut);
        int calls_before = seen.calls;
        std::string printed = library::printed_by([&] { run<pointer_type, &take_pointer_call>(call); });
        EXPECT_EQ(seen.calls, calls_before + 1) << "the handler runs all the same, cut at " << cut;
        EXPECT_EQ(library::occurrences(printed, "gles20_vertex_attrib_pointer"), 1u) << printed;
        EXPECT_NE(printed.find("ERROR [ZELVAR]"), std::string::npos);
        EXPECT_EQ(seen.numbers.back(), 0) << "the address is not whole, cut at " << cut;
        EXPECT_EQ(seen.numbers[0], cut >= 4 ? 1 : 0);
    }
}

TEST_F(decoder, CopesWithMessagesShorterThanTheirHeader)
{
    uint8_t bytes[4] = {};
    std::string printed = library::printed_by([&] {
        zelvar_settings.batchCommands = true;
        decode<pointer_type, &take_pointer_call>(1, 1, bytes, sizeof(bytes));
        decode<pointer_type, &take_pointer_call>(1, 1, nullptr, 100);
    });
    EXPECT_EQ(seen.numbers, (std::vector<double>{0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(library::occurrences(printed, "ERROR [ZELVAR]"), 2u);
}
} // namespace
