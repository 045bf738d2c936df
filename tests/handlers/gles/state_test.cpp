// State calls, queries, strings and read-back: the exact host calls, what the target gets, what the model
// keeps.

#include "handlers/gles/gles_handlers.h"
#include "handlers/gles/sizes.h"
#include "object_manager/zelvar_object_manager.h"
#include "settings/zelvar_settings.h"
#include "support/fake_host.h"
#include "support/library.h"
#include "support/raw_target.h"

#include <gtest/gtest.h>

namespace {
namespace in = wire::inbound;
namespace out = wire::outbound;
using texts = std::vector<std::string>;
constexpr auto quiet = fake_host::error_queries::leave_out;
constexpr uint64_t result_at = raw_target::memory_base + 0x100;

class gles_state : public testing::Test
{
protected:
    raw_target target{library::start()};
    library::current_context ids;

    void SetUp() override
    {
        target.write_only(target.make(5).bytes()); // binds the channel
        target.poke<uint64_t>(result_at, 0xeeeeeeeeeeeeeeee);
    }
    /// The host's integers by pname; the model is made when the context becomes current, so these come first.
    void become_current()
    {
        // The model asks the target and the host, so it runs while the target waits.
        ids = library::make_current(raw_target::pid, raw_target::tid);
    }
    _zelvar_context_data& model()
    {
        _zelvar_context_data* data = nullptr;
        library::aside([&] {
            data = zelvar_object_manager_lock_context_data(raw_target::pid, raw_target::tid);
            zelvar_object_manager_unlock_context_data(data);
        });
        return *data;
    }
    uint32_t error_of_target()
    {
        auto sent = target.run(target.make(in::gles20_get_error));
        return sent.at(0).at<uint32_t>(1);
    }
};

TEST_F(gles_state, MirrorsFollowTheHostOnlyOnSuccess)
{
    become_current();
    target.run(target.make(in::gles20_scissor).i32(1).i32(2).i32(3).i32(4));
    EXPECT_EQ(fake_host::texts(quiet), (texts{"glScissor(1, 2, 3, 4)"}));
    EXPECT_EQ(model().scissor_box, (std::array<int32_t, 4>{1, 2, 3, 4}));
    fake_host::gl_errors({GL_INVALID_VALUE});
    target.run(target.make(in::gles20_scissor).i32(0).i32(0).i32(-1).i32(-1));
    EXPECT_EQ(model().scissor_box, (std::array<int32_t, 4>{1, 2, 3, 4}));
    target.run(target.make(in::gles20_clear_depthf).f32(0.25f));
    EXPECT_EQ(model().clear_depth, 0.25f);
    target.run(target.make(in::gles20_depth_mask).u8(0));
    EXPECT_FALSE(model().depth_writemask);
    target.run(target.make(in::gles20_sample_coverage).f32(0.5f).u8(1));
    EXPECT_TRUE(model().sample_coverage_invert);
    target.run(target.make(in::gles20_pixel_storei).u32(GL_PACK_ROW_LENGTH).i32(9));
    target.run(target.make(in::gles20_pixel_storei).u32(GL_UNPACK_ALIGNMENT).i32(1));
    EXPECT_EQ(model().pack_params.row_length, 9);
    EXPECT_EQ(model().unpack_params.alignment, 1);
}

TEST_F(gles_state, TheFirstErrorSticksUntilItIsRead)
{
    become_current();
    fake_host::gl_errors({GL_INVALID_ENUM, GL_INVALID_VALUE});
    target.run(target.make(in::gles20_hint).u32(1).u32(2));
    target.run(target.make(in::gles20_line_width).f32(-1));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_ENUM});
    EXPECT_EQ(error_of_target(), uint32_t{GL_NO_ERROR});
}

TEST_F(gles_state, AThreadWithoutAContextChangesNothingAndSeesNoError)
{
    fake_host::gl_errors({GL_INVALID_OPERATION});
    target.run(target.make(in::gles20_clear).u32(0x4000));
    EXPECT_EQ(error_of_target(), uint32_t{GL_NO_ERROR});
}

TEST_F(gles_state, EnablingAsksTheHostOnlyForWhatChanges)
{
    become_current();
    auto enable = [&](uint32_t cap) { target.run(target.make(in::gles20_enable).u32(cap)); };
    auto disable = [&](uint32_t cap) { target.run(target.make(in::gles20_disable).u32(cap)); };
    enable(GL_BLEND);
    enable(GL_BLEND);
    disable(GL_SCISSOR_TEST); // is disabled
    enable(GL_DITHER);        // starts enabled
    disable(GL_BLEND);
    enable(0x1234); // not the model's: the host's to judge, each time
    enable(0x1234);
    EXPECT_EQ(fake_host::texts(quiet),
              (texts{"glEnable(3042)", "glDisable(3042)", "glEnable(4660)", "glEnable(4660)"}));
    fake_host::clear();
    fake_host::gl_errors({GL_INVALID_OPERATION});
    enable(GL_CULL_FACE);
    enable(GL_CULL_FACE); // the host refused, so it is asked again
    EXPECT_EQ(fake_host::count("glEnable"), 2u);
}

TEST_F(gles_state, ABufferThatTheSurfaceLacksIsNeverTested)
{
    become_current();
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        _zelvar_object_manager_config row; // depth 0, stencil 0
        row.target_config = ids.config;
        pid_to_process_data_map[raw_target::pid].configs[ids.display][ids.config] = row;
    }
    target.run(target.make(in::gles20_enable).u32(GL_DEPTH_TEST));
    target.run(target.make(in::gles20_enable).u32(GL_STENCIL_TEST));
    EXPECT_EQ(fake_host::count("glEnable"), 0u);
    fake_host::returns<&sidechannel_gles_imports::glIsEnabled>(GL_FALSE);
    auto sent = target.run(target.make(in::gles20_is_enabled).u32(GL_DEPTH_TEST));
    EXPECT_EQ(sent[0].payload(), (std::vector<uint8_t>{1, 0}));
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        pid_to_process_data_map[raw_target::pid].configs[ids.display][ids.config].depth_size = 24;
    }
    target.run(target.make(in::gles20_enable).u32(GL_DEPTH_TEST));
    EXPECT_EQ(fake_host::count("glEnable"), 1u);
}

TEST_F(gles_state, DitheringIsAnsweredByTheModel)
{
    become_current();
    fake_host::returns<&sidechannel_gles_imports::glIsEnabled>(GL_FALSE);
    auto sent = target.run(target.make(in::gles20_is_enabled).u32(GL_DITHER));
    EXPECT_EQ(sent[0].payload(), (std::vector<uint8_t>{1, 1}));
}

// glGet.

TEST_F(gles_state, QueriesOfTheHostAreWrittenAtTheirOwnType)
{
    become_current();
    fake_host::hook<&sidechannel_gles_imports::glGetIntegerv>([](GLenum, GLint* v) {
        for (int i = 0; i < 4; ++i)
            v[i] = 10 + i;
    });
    target.run(target.make(in::gles20_get_integerv).u32(GL_VIEWPORT).u64(result_at));
    EXPECT_EQ(target.peek<int32_t>(result_at + 12), 13);
    EXPECT_EQ(target.peek<uint8_t>(result_at + 16), 0) << "fresh memory behind the result";
    fake_host::hook<&sidechannel_gles_imports::glGetInteger64v>([](GLenum, GLint64* v) { *v = 1ll << 40; });
    target.run(target.make(in::gles30_get_integer_6_4v).u32(GL_MAX_ELEMENT_INDEX).u64(result_at));
    EXPECT_EQ(target.peek<int64_t>(result_at), 1ll << 40);
    target.poke<uint32_t>(result_at, 0xeeeeeeee);
    fake_host::hook<&sidechannel_gles_imports::glGetBooleanv>([](GLenum, GLboolean* v) { *v = 1; });
    target.run(target.make(in::gles20_get_booleanv).u32(GL_DEPTH_WRITEMASK).u64(result_at));
    EXPECT_EQ(target.peek<uint32_t>(result_at), 0xeeeeee01u) << "one byte, no more";
    // An error writes nothing.
    target.poke<uint32_t>(result_at, 0xeeeeeeee);
    fake_host::gl_errors({GL_INVALID_ENUM});
    target.run(target.make(in::gles20_get_integerv).u32(GL_SUBPIXEL_BITS).u64(result_at));
    EXPECT_EQ(target.peek<uint32_t>(result_at), 0xeeeeeeeeu);
}

TEST_F(gles_state, QueriesOfTheModelNeedNoHost)
{
    become_current();
    model().current_program = 7;
    model().active_texture = GL_TEXTURE0 + 1;
    model().texture_bindings[GL_TEXTURE0 + 1][GL_TEXTURE_2D] = 42;
    model().data_nonshared->vertex_arrays[0].array_buffer = 9;
    auto get = [&](uint32_t pname) {
        target.run(target.make(in::gles20_get_integerv).u32(pname).u64(result_at));
        return target.peek<int32_t>(result_at);
    };
    fake_host::clear();
    EXPECT_EQ(get(GL_CURRENT_PROGRAM), 7);
    EXPECT_EQ(get(GL_TEXTURE_BINDING_2D), 42);
    EXPECT_EQ(get(GL_ARRAY_BUFFER_BINDING), 9);
    EXPECT_EQ(get(GL_NUM_PROGRAM_BINARY_FORMATS), 0);
    EXPECT_EQ(get(GL_DITHER), 1);
    EXPECT_TRUE(fake_host::calls().empty());
    target.run(target.make(in::gles20_get_floatv).u32(GL_CURRENT_PROGRAM).u64(result_at));
    EXPECT_EQ(target.peek<float>(result_at), 7.f);
}

TEST_F(gles_state, UnknownQueriesAreTheTargetsError)
{
    become_current();
    fake_host::clear();
    target.run(target.make(in::gles20_get_integerv).u32(0x1).u64(result_at));
    EXPECT_TRUE(fake_host::calls().empty());
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_ENUM});
    // Known, with nothing to tell.
    target.run(target.make(in::gles20_get_integerv).u32(GL_SHADER_BINARY_FORMATS).u64(result_at));
    EXPECT_EQ(error_of_target(), uint32_t{GL_NO_ERROR});
}

TEST_F(gles_state, HostIdsOfIndexedBindingsBecomeTheTargets)
{
    become_current();
    model().data_shared->buffers[5].host_id = 105;
    model().data_shared->deleted_buffers[106] = 6;
    int host_id = 105;
    fake_host::hook<&sidechannel_gles_imports::glGetIntegeri_v>(
        [&](GLenum, GLuint, GLint* v) { *v = host_id; });
    auto get = [&](uint32_t pname) {
        target.poke<int32_t>(result_at, -1);
        target.run(target.make(in::gles30_get_integeri_v).u32(pname).u32(0).u64(result_at));
        return target.peek<int32_t>(result_at);
    };
    EXPECT_EQ(get(GL_UNIFORM_BUFFER_BINDING), 5);
    host_id = 106;
    EXPECT_EQ(get(GL_VERTEX_BINDING_BUFFER), 6);
    EXPECT_EQ(get(GL_UNIFORM_BUFFER_BINDING), -1) << "only the vertex binding looks among the deleted";
    host_id = 0;
    EXPECT_EQ(get(GL_UNIFORM_BUFFER_BINDING), 0);
}

TEST_F(gles_state, TheTargetsOwnAnswersStandExceptWhereTheHostCorrectsThem)
{
    library::set_target_gpu(TARGET_GPU_DUMMY);
    target.on_request = [this](const outbound_message& r) { return target.default_answer(r); };
    // The model of a context asks the target for its constants: give it those without a target here.
    library::set_target_gpu(TARGET_GPU_NONE);
    become_current();
    library::set_target_gpu(TARGET_GPU_DUMMY);
    fake_host::hook<&sidechannel_gles_imports::glGetIntegerv>([](GLenum, GLint* v) { *v = 8; });
    fake_host::hook<&sidechannel_gles_imports::glGetInteger64v>([](GLenum, GLint64* v) { *v = 12; });
    fake_host::hook<&sidechannel_gles_imports::glGetFloatv>([](GLenum, GLfloat* v) { v[0] = 1, v[1] = 8; });
    auto get = [&](uint32_t pname, int32_t target_says) {
        target.poke<int32_t>(result_at, target_says);
        target.run(target.make(in::gles20_get_integerv).u32(pname).u64(result_at).i32(target_says));
        return target.peek<int32_t>(result_at);
    };
    EXPECT_EQ(get(GL_MAX_TEXTURE_SIZE, 4096), 4096);
    EXPECT_EQ(get(GL_UNIFORM_BUFFER_OFFSET_ALIGNMENT, 8), 24);
    EXPECT_EQ(get(GL_MAX_COMPUTE_ATOMIC_COUNTERS, 5), 5);
    EXPECT_EQ(get(GL_MAX_COMPUTE_ATOMIC_COUNTERS, 50), 8);
    EXPECT_EQ(get(GL_MAX_UNIFORM_BUFFER_BINDINGS, 72), 8);
    EXPECT_EQ(get(GL_MAX_UNIFORM_BUFFER_BINDINGS, 4), 4);
    EXPECT_EQ(get(GL_CURRENT_PROGRAM, 3), 3);
    target.poke<float>(result_at + 4, 64);
    target.run(
        target.make(in::gles20_get_floatv).u32(GL_ALIASED_LINE_WIDTH_RANGE).u64(result_at).f32(1).f32(64));
    EXPECT_EQ(target.peek<float>(result_at + 4), 8);
    // A message that lacks the target's answer.
    target.run(target.make(in::gles20_get_integerv).u32(GL_UNIFORM_BUFFER_OFFSET_ALIGNMENT).u64(result_at));
    EXPECT_EQ(target.peek<int32_t>(result_at), 12);
}

// Strings.

TEST_F(gles_state, StringsLiveOnTheTargetOnce)
{
    become_current();
    fake_host::hook<&sidechannel_gles_imports::glGetString>(
        [](GLenum) { return reinterpret_cast<const GLubyte*>("a driver"); });
    auto ask = [&] { return target.run(target.make(in::gles20_get_string).u32(GL_RENDERER)); };
    auto address_in = [](const std::vector<outbound_message>& sent) {
        for (const auto& m : sent)
            if (m.type == out::set_return_value_message)
                return m.at<uint64_t>(1);
        return uint64_t{0};
    };
    uint64_t first = address_in(ask());
    EXPECT_EQ(target.text_at(first), "a driver");
    auto again = ask();
    EXPECT_EQ(address_in(again), first);
    for (const auto& m : again)
        EXPECT_NE(m.type, uint32_t{out::allocate_memory_block});
    // A target of 4-byte pointers gets 4 bytes.
    target.on_request = [this](const outbound_message& r) {
        return r.type == out::get_target_pointer_size ? confirm_with(uint32_t{4}) : target.default_answer(r);
    };
    for (const auto& m : ask())
        if (m.type == out::set_return_value_message) {
            EXPECT_EQ(m.payload().size(), 5u);
        }
}

TEST_F(gles_state, ExtensionNamesHaveARange)
{
    become_current();
    target.run(target.make(in::gles30_get_stringi).u32(GL_EXTENSIONS).u32(1000));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
    target.run(target.make(in::gles30_get_stringi).u32(GL_VENDOR).u32(0));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_ENUM});
}

// Read-back.

TEST_F(gles_state, ReadPixelsWritesRowsAsTheyArePacked)
{
    become_current();
    fake_host::hook<&sidechannel_gles_imports::glReadPixels>(
        [](GLint, GLint, GLsizei width, GLsizei height, GLenum, GLenum, void* out) {
            std::memset(out, 0x11, ((width * 3 + 3) / 4 * 4) * height);
        });
    target.run(target.make(in::gles20_read_pixels)
                   .i32(0)
                   .i32(0)
                   .i32(3)
                   .i32(2)
                   .u32(GL_RGB)
                   .u32(GL_UNSIGNED_BYTE)
                   .u64(result_at));
    EXPECT_EQ(target.peek<uint8_t>(result_at + 23), 0x11);
    EXPECT_EQ(target.peek<uint8_t>(result_at + 24), 0);
}

TEST_F(gles_state, WhatATargetWithoutAGpuHasReadIsReplaced)
{
    become_current();
    library::set_target_gpu(TARGET_GPU_DUMMY);
    fake_host::hook<&sidechannel_gles_imports::glReadPixels>(
        [](GLint, GLint, GLsizei, GLsizei, GLenum, GLenum, void* out) { std::memset(out, 0x22, 4); });
    target.run(target.make(in::gles20_read_pixels)
                   .i32(0)
                   .i32(0)
                   .i32(1)
                   .i32(1)
                   .u32(GL_RGBA)
                   .u32(GL_UNSIGNED_BYTE)
                   .u64(result_at));
    EXPECT_EQ(target.peek<uint32_t>(result_at), 0x22222222u);
}

TEST_F(gles_state, ReadPixelsIntoAPackBufferWritesNothing)
{
    become_current();
    model().host_bindings.pixel_pack_buffer = 3;
    fake_host::hook<&sidechannel_gles_imports::glReadPixels>(
        [](GLint, GLint, GLsizei, GLsizei, GLenum, GLenum, void* out) {
            EXPECT_EQ(reinterpret_cast<uintptr_t>(out), 16u);
        });
    fake_host::clear();
    auto sent = target.run(target.make(in::gles20_read_pixels)
                               .i32(0)
                               .i32(0)
                               .i32(3)
                               .i32(2)
                               .u32(GL_RGB)
                               .u32(GL_UNSIGNED_BYTE)
                               .u64(16));
    EXPECT_EQ(sent.size(), 1u);
    EXPECT_EQ(fake_host::count("glReadPixels"), 1u);
    // What a vertex array remembers doesn't count: the host has no such buffer, and an offset would be an
    // address.
    model().host_bindings.pixel_pack_buffer = 0;
    model().data_nonshared->vertex_arrays[0].pixel_pack_buffer = 3;
    fake_host::hook<&sidechannel_gles_imports::glReadPixels>(
        [](GLint, GLint, GLsizei, GLsizei, GLenum, GLenum, void* out) { std::memset(out, 0x33, 4); });
    target.run(target.make(in::gles20_read_pixels)
                   .i32(0)
                   .i32(0)
                   .i32(1)
                   .i32(1)
                   .u32(GL_RGBA)
                   .u32(GL_UNSIGNED_BYTE)
                   .u64(result_at));
    EXPECT_EQ(target.peek<uint32_t>(result_at), 0x33333333u);
}

TEST_F(gles_state, ReadPixelsSurvivesImpossibleSizes)
{
    become_current();
    for (int32_t width : {-1, 0, 0x7fffffff})
        for (int32_t height : {-5, 0, 0x7fffffff})
            target.run(target.make(in::gles20_read_pixels)
                           .i32(0)
                           .i32(0)
                           .i32(width)
                           .i32(height)
                           .u32(GL_RGBA)
                           .u32(GL_UNSIGNED_BYTE)
                           .u64(0xfffffffffffffff0));
    // The model holds whatever the driver has taken.
    for (auto pname : {GL_PACK_ROW_LENGTH, GL_PACK_SKIP_ROWS, GL_PACK_SKIP_PIXELS})
        target.run(target.make(in::gles20_pixel_storei).u32(pname).i32(0x7fffffff));
    target.run(target.make(in::gles20_read_pixels)
                   .i32(0)
                   .i32(0)
                   .i32(1)
                   .i32(1)
                   .u32(GL_RGBA)
                   .u32(GL_UNSIGNED_BYTE)
                   .u64(result_at));
    EXPECT_EQ(target.peek<uint32_t>(result_at), 0xeeeeeeeeu);
}

TEST(sizes, ReadPixelsCountsSkippedAreas)
{
    current_pack_params pack;
    EXPECT_EQ(read_pixels_size(pack, 5, 2, 3), 32u); // rows of 15 bytes, padded to 16
    pack.alignment = 1;
    EXPECT_EQ(read_pixels_size(pack, 5, 2, 3), 30u);
    pack.row_length = 8;
    pack.skip_pixels = 2;
    pack.skip_rows = 3;
    EXPECT_EQ(read_pixels_size(pack, 5, 2, 4), (2u + 3u) * (8u + 2u) * 4u);
    EXPECT_EQ(read_pixels_size(pack, -5, 2, 4), 0u);
    pack.row_length = pack.skip_rows = pack.skip_pixels = 0x7fffffff;
    EXPECT_GT(read_pixels_size(pack, 0x7fffffff, 0x7fffffff, 16), uint64_t{1} << 60) << "no wrap at 32 bits";
}
} // namespace
