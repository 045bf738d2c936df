// Names of objects: made, bound, deleted, in step with the host.

#include "handlers/gles/buffers_fixture.h"

#include "handlers/gles/gles_handlers.h"
#include "sidechannel_log.h"

#include <atomic>
#include <thread>

namespace {
class gles_objects : public buffers_fixture
{
};

TEST_F(gles_objects, EachKindIsMadeAndDeletedByItsOwnCalls)
{
    const struct
    {
        uint32_t gen, remove;
        const char *gen_name, *remove_name;
    } kinds[] = {{in::gles20_gen_buffers, in::gles20_delete_buffers, "glGenBuffers", "glDeleteBuffers"},
                 {in::gles20_gen_framebuffers, in::gles20_delete_framebuffers, "glGenFramebuffers",
                  "glDeleteFramebuffers"},
                 {in::gles20_gen_renderbuffers, in::gles20_delete_renderbuffers, "glGenRenderbuffers",
                  "glDeleteRenderbuffers"},
                 {in::gles20_gen_textures, in::gles20_delete_textures, "glGenTextures", "glDeleteTextures"},
                 {in::gles30_gen_queries, in::gles30_delete_queries, "glGenQueries", "glDeleteQueries"},
                 {in::gles30_gen_vertex_arrays, in::gles30_delete_vertex_arrays, "glGenVertexArrays",
                  "glDeleteVertexArrays"},
                 {in::gles30_gen_samplers, in::gles30_delete_samplers, "glGenSamplers", "glDeleteSamplers"},
                 {in::gles30_gen_transform_feedbacks, in::gles30_delete_transform_feedbacks,
                  "glGenTransformFeedbacks", "glDeleteTransformFeedbacks"},
                 {in::gles31_gen_program_pipelines, in::gles31_delete_program_pipelines,
                  "glGenProgramPipelines", "glDeleteProgramPipelines"}};
    for (const auto& kind : kinds) {
        fake_host::clear();
        auto ids = generate(kind.gen, 3);
        EXPECT_EQ(ids, (std::vector<uint32_t>{1, 2, 3})) << kind.gen_name;
        EXPECT_EQ(fake_host::count(kind.gen_name), 1u);
        remove(kind.remove, {ids[0], 0, 77, ids[2]}); // 0 and a stranger are left out
        EXPECT_EQ(fake_host::texts(quiet).back(), std::string(kind.remove_name) + "(2, pointer)");
        EXPECT_EQ(generate(kind.gen, 1), (std::vector<uint32_t>{4})) << "ids go on from the last";
        remove(kind.remove, {0, ids[0]}); // gone already
        EXPECT_EQ(fake_host::count(kind.remove_name), 1u) << kind.remove_name;
    }
    EXPECT_EQ(error_of_target(), 0u);
}

TEST_F(gles_objects, WrongCountsNeverReachTheHost)
{
    target.run(target.make(in::gles20_gen_buffers).i32(-1).u64(memory));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
    target.run(target.make(in::gles20_delete_textures).i32(-1).u64(memory));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
    // Counts that lie: no memory is taken for them, and missing ids are no ids.
    target.run(target.make(in::gles20_gen_buffers).i32(INT32_MAX).u64(memory));
    target.run(target.make(in::gles20_delete_buffers).i32(1000).u64(memory).u32(0));
    EXPECT_EQ(fake_host::texts(quiet), texts{});
}

TEST_F(gles_objects, ContextsOfAGroupWorkSideBySide)
{
    // Other contexts begin, ask and end while the first makes and deletes what all share.
    constexpr uint64_t other_thread = 6;
    constexpr GLint stranger = 0x777; // is looked for among all
    fake_host::hook<&gles::glGetIntegeri_v>([](GLenum, GLuint, GLint* v) { *v = stranger; });
    fake_host::hook<&gles::glGetIntegerv>([](GLenum pname, GLint* v) {
        *v = pname == GL_SAMPLER_BINDING ? stranger : pname == GL_NUM_COMPRESSED_TEXTURE_FORMATS ? 0 : 8;
    });
    generate(in::gles20_gen_buffers, 300); // so that the search takes a while
    std::atomic<bool> done = false;
    std::thread others{[&] {
        for (uint64_t context = 0xc1; !done; ++context) {
            zelvar_object_manager_add_context(raw_target::pid, other_thread, nullptr, nullptr, context, 0xc0,
                                              3, 1, 3, 1);
            zelvar_object_manager_bind_context_to_thread(raw_target::pid, context, other_thread, 0, 0, false);
            for (uint32_t pname : {GL_UNIFORM_BUFFER_BINDING, GL_VERTEX_BINDING_BUFFER})
                gles30_glGetIntegeri_v(raw_target::pid, other_thread, pname, 0, {}, {}, {});
            gles20_glGetIntegerv(raw_target::pid, other_thread, GL_SAMPLER_BINDING, {}, {}, {});
            zelvar_object_manager_delete_target_context(raw_target::pid, context, true);
        }
    }};
    uint32_t last = 0;
    for (int i = 0; i < 200; ++i) {
        last = generate(in::gles20_gen_buffers, 1).at(0);
        generate(in::gles20_gen_textures, 1);
        generate(in::gles30_gen_samplers, 1);
        remove(in::gles20_delete_buffers, {last});
    }
    done = true;
    others.join();
    EXPECT_EQ(last, 500u);
    EXPECT_EQ(model().data_shared->buffers.size(), 300u);
    EXPECT_EQ(model().data_shared->ref_counter, 1);
}

TEST_F(gles_objects, TheModelFollowsOnlyWhatTheHostAccepts)
{
    fake_host::gl_errors({GL_OUT_OF_MEMORY});
    target.poke<uint32_t>(memory + 0x800, 0xeeeeeeee);
    EXPECT_EQ(generate(in::gles20_gen_buffers, 1), (std::vector<uint32_t>{0xeeeeeeee}));
    EXPECT_TRUE(model().data_shared->buffers.empty());
    EXPECT_EQ(error_of_target(), uint32_t{GL_OUT_OF_MEMORY});
    auto ids = generate(in::gles20_gen_buffers, 1);
    fake_host::gl_errors({GL_INVALID_OPERATION});
    remove(in::gles20_delete_buffers, ids);
    EXPECT_EQ(model().data_shared->buffers.size(), 1u);
}

TEST_F(gles_objects, TheDriverOfTheTargetNamesObjectsWhereThereIsOne)
{
    library::set_target_gpu(TARGET_GPU_DUMMY);
    target.run(target.make(in::gles20_gen_textures).i32(2).u64(memory + 0x800).u32(40).u32(41));
    EXPECT_TRUE(model().data_shared->textures.contains(40) && model().data_shared->textures.contains(41));
    EXPECT_EQ(target.peek<uint32_t>(memory + 0x800), 0u) << "the target has written its ids itself";
}

TEST_F(gles_objects, AHostNameThatIsKnownAlreadyIsADesynchronisation)
{
    fake_host::hook<&gles::glGenBuffers>([](GLsizei, GLuint* ids) { ids[0] = 500; });
    generate(in::gles20_gen_buffers, 1);
    auto printed = library::printed_by([&] { generate(in::gles20_gen_buffers, 1); });
    EXPECT_EQ(library::occurrences(printed,
                                   "FATAL [ZELVAR] Object mapping in handler [0] for host-side object id "
                                   "[500] already exists [1]. This indicates a desynchronisation!"),
              1u);
    EXPECT_EQ(model().data_shared->buffers.size(), 1u);
}

TEST_F(gles_objects, ABufferIsOneOnceItWasBoundAndUnboundEverywhereWhenDeleted)
{
    auto is_buffer = [&](uint32_t id) {
        return target.run(target.make(in::gles20_is_buffer).u32(id)).at(0).at<uint8_t>(1);
    };
    auto ids = generate(in::gles20_gen_buffers, 1);
    EXPECT_EQ(is_buffer(ids[0]), GL_FALSE);
    bind(GL_ARRAY_BUFFER, ids[0]);
    EXPECT_EQ(is_buffer(ids[0]), GL_TRUE);
    bind(GL_UNIFORM_BUFFER, 70); // a name that nobody generated
    EXPECT_EQ(is_buffer(70), GL_TRUE);
    EXPECT_EQ(fake_host::count("glGenBuffers"), 2u);

    // Each vertex array has bindings of its own.
    auto arrays = generate(in::gles30_gen_vertex_arrays, 1);
    target.run(target.make(in::gles30_bind_vertex_array).u32(arrays[0]));
    auto bound = [&] {
        target.run(target.make(in::gles20_get_integerv).u32(GL_ARRAY_BUFFER_BINDING).u64(memory));
        return target.peek<uint32_t>(memory);
    };
    EXPECT_EQ(bound(), 0u);
    bind(GL_ARRAY_BUFFER, ids[0]);
    EXPECT_EQ(bound(), ids[0]);
    const uint32_t host_id = model().data_shared->buffers.at(ids[0]).host_id;
    remove(in::gles20_delete_buffers, ids);
    EXPECT_EQ(bound(), 0u);
    target.run(target.make(in::gles30_bind_vertex_array).u32(0));
    EXPECT_EQ(bound(), 0u);
    EXPECT_EQ(model().data_shared->deleted_buffers.at(host_id), ids[0]);
}

TEST_F(gles_objects, OnlyKnownVertexArraysAreBoundAndEnabledArraysAreCountedInTheBoundOne)
{
    target.run(target.make(in::gles30_bind_vertex_array).u32(5));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    EXPECT_EQ(fake_host::count("glBindVertexArray"), 0u);
    target.run(target.make(in::gles20_enable_vertex_attrib_array).u32(0));
    target.run(target.make(in::gles20_enable_vertex_attrib_array).u32(0));
    EXPECT_EQ(model().enabled_vertex_attrib_arrays, 1u);
    auto arrays = generate(in::gles30_gen_vertex_arrays, 1);
    target.run(target.make(in::gles30_bind_vertex_array).u32(arrays[0]));
    EXPECT_EQ(model().enabled_vertex_attrib_arrays, 0u);
    remove(in::gles30_delete_vertex_arrays, arrays);
    EXPECT_EQ(model().bound_vertex_array, 0u);
    EXPECT_EQ(model().enabled_vertex_attrib_arrays, 1u);
}

TEST_F(gles_objects, TransformFeedbackObjectsStayWhileItIsActive)
{
    auto ids = generate(in::gles30_gen_transform_feedbacks, 1);
    target.run(target.make(in::gles30_bind_transform_feedback).u32(GL_TRANSFORM_FEEDBACK).u32(ids[0]));
    target.run(target.make(in::gles30_begin_transform_feedback).u32(GL_POINTS));
    remove(in::gles30_delete_transform_feedbacks, ids);
    EXPECT_EQ(fake_host::count("glDeleteTransformFeedbacks"), 0u);
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    target.run(target.make(in::gles30_end_transform_feedback));
    remove(in::gles30_delete_transform_feedbacks, ids);
    EXPECT_EQ(fake_host::count("glDeleteTransformFeedbacks"), 1u);
}

TEST_F(gles_objects, QueriesAreKnownByTheirNamesOnBothSides)
{
    auto ids = generate(in::gles30_gen_queries, 1);
    const auto host_id = model().data_nonshared->queries.at(ids[0]).host_id;
    fake_host::clear();
    target.run(target.make(in::gles30_begin_query).u32(GL_ANY_SAMPLES_PASSED).u32(0));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    target.run(target.make(in::gles30_begin_query).u32(GL_ANY_SAMPLES_PASSED).u32(99));
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
    target.run(target.make(in::gles30_begin_query).u32(GL_ANY_SAMPLES_PASSED).u32(ids[0]));
    EXPECT_EQ(fake_host::texts(quiet), (texts{"glBeginQuery(35887, " + std::to_string(host_id) + ")"}));
    fake_host::hook<&gles::glGetQueryiv>([=](GLenum, GLenum, GLint* v) { *v = static_cast<GLint>(host_id); });
    target.run(
        target.make(in::gles30_get_queryiv).u32(GL_ANY_SAMPLES_PASSED).u32(GL_CURRENT_QUERY).u64(memory));
    EXPECT_EQ(target.peek<uint32_t>(memory), ids[0]);
    // Only the host counts samples, so its answer holds also where the target has a driver.
    library::set_target_gpu(TARGET_GPU_DUMMY);
    fake_host::hook<&gles::glGetQueryObjectuiv>([](GLuint, GLenum, GLuint* v) { *v = 1234; });
    target.run(target.make(in::gles30_get_query_objectuiv).u32(ids[0]).u32(GL_QUERY_RESULT).u64(memory));
    EXPECT_EQ(target.peek<uint32_t>(memory), 1234u);
}

TEST_F(gles_objects, FencesHaveHandlesOfTheTarget)
{
    fake_host::returns<&gles::glFenceSync>(reinterpret_cast<GLsync>(uintptr_t{0xabc}));
    fake_host::returns<&gles::glClientWaitSync>(GL_ALREADY_SIGNALED);
    auto sent = target.run(target.make(in::gles30_fence_sync).u32(GL_SYNC_GPU_COMMANDS_COMPLETE).u32(0));
    ASSERT_EQ(sent.at(0).at<uint8_t>(0), 8);
    const auto fence = sent[0].at<uint64_t>(1);
    EXPECT_EQ(fence, 1u);
    sent = target.run(target.make(in::gles30_client_wait_sync).u64(fence).u32(1).u64(5000));
    EXPECT_EQ(sent.at(0).at<uint32_t>(1), uint32_t{GL_ALREADY_SIGNALED});
    EXPECT_EQ(fake_host::calls().back().name, "glGetError");
    sent = target.run(target.make(in::gles30_client_wait_sync).u64(88).u32(0).u64(0));
    EXPECT_EQ(sent.at(0).at<uint32_t>(1), uint32_t{GL_WAIT_FAILED});
    EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_VALUE});
    target.run(target.make(in::gles30_delete_sync).u64(0)); // silently nothing
    EXPECT_EQ(error_of_target(), 0u);
    target.run(target.make(in::gles30_delete_sync).u64(fence));
    EXPECT_TRUE(model().data_shared->gles_syncs.empty());
}

TEST_F(gles_objects, TheHostWaitsAgainWhereTheTargetSawTheFencePass)
{
    library::set_target_gpu(TARGET_GPU_DUMMY);
    fake_host::returns<&gles::glFenceSync>(reinterpret_cast<GLsync>(uintptr_t{0xabc}));
    target.run(target.make(in::gles30_fence_sync).u64(0x7001).u32(GL_SYNC_GPU_COMMANDS_COMPLETE).u32(0));
    ASSERT_TRUE(model().data_shared->gles_syncs.contains(0x7001));
    sidechannel_log_level = LOG_GATE_WARN + 1; // warnings are off by default
    int waits = 0;
    fake_host::hook<&gles::glClientWaitSync>([&](GLsync, GLbitfield, GLuint64) -> GLenum {
        return ++waits == 1 ? GL_TIMEOUT_EXPIRED : GL_CONDITION_SATISFIED;
    });
    auto printed = library::printed_by([&] {
        target.run(
            target.make(in::gles30_client_wait_sync).u32(GL_CONDITION_SATISFIED).u64(0x7001).u32(0).u64(5));
    });
    EXPECT_EQ(waits, 2);
    EXPECT_EQ(
        library::occurrences(printed, "WARN [ZELVAR] Sync success. GL_CONDITION_SATISFIED is returned."), 1u);
}

TEST_F(gles_objects, VersionThreeDotTwoIsRefusedWithoutTheHost)
{
    auto printed = library::printed_by([&] {
        target.run(target.make(in::gles32_blend_barrier));
        EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
        target.run(target.make(in::gles32_enablei).u32(GL_BLEND).u32(2));
        EXPECT_EQ(error_of_target(), uint32_t{GL_INVALID_OPERATION});
        auto sent = target.run(target.make(in::gles32_is_enabledi).u32(GL_BLEND).u32(0));
        for (const auto& message : sent)
            EXPECT_NE(message.type, uint32_t{out::set_return_value_message})
                << "a refused call answers nothing";
    });
    EXPECT_EQ(library::occurrences(
                  printed,
                  "FATAL [ZELVAR] OpenGLES 3.2 is currently unsupported by TRV. Setting error code to "
                  "GL_INVALID_OPERATION - gles32_glBlendBarrier(target_process_id=[77] "
                  "target_thread_id=[5])\n"),
              1u);
    EXPECT_EQ(library::occurrences(printed, "gles32_glEnablei(target_process_id=[77] target_thread_id=[5] "
                                            "target=[3042] index=[2])\n"),
              1u);
    EXPECT_EQ(fake_host::texts(), texts{});
}
} // namespace
