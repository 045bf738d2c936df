// Filling a context's model, from the host alone and with a target that runs calls; its end; share groups.
#include "data_model/model_target.h"

#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

#include <cstring>

using namespace model_test;

namespace {
EGLContext host_context(uint64_t target)
{
    return reinterpret_cast<EGLContext>(0xff0000 + target);
}

/// Hands `values` out for one name; everything else is the driver's.
void host_answers(std::map<uint32_t, std::vector<int32_t>> values)
{
    fake_host::hook<&sidechannel_gles_imports::glGetIntegerv>([values](GLenum name, GLint* out) {
        auto found = values.find(name);
        if (found != values.end())
            std::memcpy(out, found->second.data(), found->second.size() * sizeof(GLint));
        else
            fake_driver::gles().glGetIntegerv(name, out);
    });
}

const std::map<uint32_t, std::vector<int32_t>> usual = {
    {GL_SCISSOR_BOX, {1, 2, 3, 4}},
    {GL_VIEWPORT, {5, 6, 7, 8}},
    {GL_NUM_COMPRESSED_TEXTURE_FORMATS, {3}},
    {GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS, {10}},
    {GL_MAX_VERTEX_ATTRIBS, {9}},
    {GL_COMPRESSED_TEXTURE_FORMATS, {30, 10, 20}},
};

class context_model : public testing::Test
{
protected:
    scPluginInterface* plugin = library::start();

    void SetUp() override
    {
        zelvar_object_manager_ensure_process_record(pid);
        add(1);
        host_answers(usual);
    }
    static void add(uint64_t context, uint64_t share = 0)
    {
        EXPECT_TRUE(zelvar_object_manager_add_context(pid, tid, host_context(context), nullptr, context,
                                                      share, 3, 1, 3, 1));
    }
    static _zelvar_context_data& data(uint64_t context)
    {
        return pid_to_process_data_map.at(pid).contexts.at(context)->data;
    }
    static bool make_current(uint64_t context, tid_t thread = tid)
    {
        return zelvar_object_manager_bind_context_to_thread(pid, context, thread, 1, 1, false);
    }
};

using four = std::array<int32_t, 4>;

TEST_F(context_model, IsFilledFromTheHostWhileNothingRunsOnTheTarget)
{
    EXPECT_TRUE(make_current(1));
    std::vector<std::string> expected = {
        "glGetIntegerv(3088, pointer)",  "glGetIntegerv(2978, pointer)",  "glGetIntegerv(34466, pointer)",
        "glGetIntegerv(35661, pointer)", "glGetIntegerv(34921, pointer)", "glGetString(7939)",
        "glGetIntegerv(34466, pointer)", "glGetIntegerv(34467, pointer)",
    };
    EXPECT_EQ(fake_host::texts(fake_host::error_queries::leave_out), expected);
    EXPECT_EQ(fake_host::count("glGetError"), expected.size());
    const auto& model = data(1);
    EXPECT_EQ(model.scissor_box, (four{1, 2, 3, 4}));
    EXPECT_EQ(model.viewport, (four{5, 6, 7, 8}));
    EXPECT_EQ(model.target_constants.compressed_texture_formats, (std::vector<uint32_t>{10, 20, 30}));
    ASSERT_EQ(model.texture_bindings.size(), 10u);
    EXPECT_EQ(model.texture_bindings.rbegin()->first, uint32_t{GL_TEXTURE0 + 9});
    EXPECT_EQ(
        model.texture_bindings.at(GL_TEXTURE0),
        (std::map<uint32_t, uint32_t>{
            {GL_TEXTURE_2D, 0}, {GL_TEXTURE_3D, 0}, {GL_TEXTURE_CUBE_MAP, 0}, {GL_TEXTURE_2D_ARRAY, 0}}));
    EXPECT_EQ(model.data_nonshared->vertex_arrays.at(0).attribute_arrays.size(), 9u);
    EXPECT_EQ(model.data_shared->textures.at(0).host_id, 0u);
}

TEST_F(context_model, TakesNothingFromAHostThatFailsAndSaysSo)
{
    sidechannel_set_log_level(2);
    fake_host::gl_errors({GL_INVALID_ENUM, 0, 0, 0, 0, 0, GL_INVALID_OPERATION});
    std::string printed = library::printed_by([] { make_current(1); });
    EXPECT_EQ(printed,
              "ERROR [ZELVAR] Failed to retrieve GL_SCISSOR_BOX pname value on host side\n"
              "ERROR [ZELVAR] glGetIntegerv(GL_NUM_COMPRESSED_TEXTURE_FORMATS) failed on host with error "
              "[1282]. Supported texture compression formats set to none.\n");
    EXPECT_EQ(data(1).scissor_box, four{});
    EXPECT_EQ(data(1).viewport, (four{5, 6, 7, 8}));
    EXPECT_TRUE(data(1).target_constants.compressed_texture_formats.empty());
    EXPECT_TRUE(pid_to_process_data_map.at(pid).contexts.at(1)->data_initialised);
}

TEST_F(context_model, StopsTheProcessWhenADriverHasTooFewUnits)
{
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    auto values = usual;
    values[GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS] = {7};
    host_answers(values);
    EXPECT_DEATH(make_current(1), "max_combined_texture_image_units >= 8");
    values[GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS] = {8};
    values[GL_MAX_VERTEX_ATTRIBS] = {7};
    host_answers(values);
    EXPECT_DEATH(make_current(1), "max_vertex_attribs >= 8");
}

TEST_F(context_model, DeferredStateIsRefusedOnceAndStaysOff)
{
    sidechannel_set_log_level(3);
    zelvar_settings.deferCommands = true;
    add(2);
    std::string printed = library::printed_by([] {
        make_current(1);
        make_current(2);
    });
    EXPECT_EQ(library::occurrences(printed, "WARN [ZELVAR] deferCommands"), 1u) << printed;
    EXPECT_EQ(data(1).deferred_global, nullptr);
    EXPECT_EQ(data(1).texture_bindings.size(), 10u);
}

class context_model_of_target : public context_model
{
protected:
    model_target target{plugin};

    void SetUp() override
    {
        context_model::SetUp();
        library::set_target_gpu(TARGET_GPU_DUMMY);
        target.integers = {
            {GL_SCISSOR_BOX, {11, 12, 13, 14}},
            {GL_VIEWPORT, {15, 16, 17, 18}},
            {GL_NUM_COMPRESSED_TEXTURE_FORMATS, {4}},
            {GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS, {12}},
            {GL_MAX_VERTEX_ATTRIBS, {16}},
            {GL_COMPRESSED_TEXTURE_FORMATS, {40, 30, 20, 5}},
        };
        target.gl_extensions = "GL_OES_EGL_image";
    }
};

TEST_F(context_model_of_target, AsksItInOrderThroughOneBlockAndGivesItBack)
{
    target.serve([] { EXPECT_TRUE(make_current(1)); });
    EXPECT_EQ(target.asked,
              (std::vector<std::string>{"allocate 16", "glGetIntegerv 3088", "glGetIntegerv 2978",
                                        "glGetIntegerv 34466", "glGetIntegerv 35661", "glGetIntegerv 34921",
                                        "glGetString", "allocate 16", "glGetIntegerv 34467"}));
    EXPECT_EQ(target.freed, (std::vector<uint64_t>{raw_target::heap_base, raw_target::heap_base + 16}));
    EXPECT_EQ(fake_host::texts(fake_host::error_queries::leave_out),
              (std::vector<std::string>{"glGetString(7939)", "glGetIntegerv(34466, pointer)",
                                        "glGetIntegerv(34467, pointer)"}));
    const auto& model = data(1);
    EXPECT_EQ(model.scissor_box, (four{11, 12, 13, 14}));
    EXPECT_EQ(model.viewport, (four{15, 16, 17, 18}));
    EXPECT_EQ(model.texture_bindings.size(), 12u);
    EXPECT_EQ(model.data_nonshared->vertex_arrays.at(0).attribute_arrays.size(), 16u);
    EXPECT_EQ(model.target_constants.compressed_texture_formats, (std::vector<uint32_t>{20, 30}));
}

TEST_F(context_model_of_target, HasNoFormatsWhenItRefusesThem)
{
    target.integers.erase(GL_COMPRESSED_TEXTURE_FORMATS);
    std::string printed = library::printed_by([&] { target.serve([] { make_current(1); }); });
    EXPECT_NE(printed.find(
                  "ERROR [ZELVAR] glGetIntegerv(GL_COMPRESSED_TEXTURE_FORMATS) failed on target with error "
                  "[1280]. Supported texture compression formats set to none.\n"),
              std::string::npos);
    EXPECT_TRUE(data(1).target_constants.compressed_texture_formats.empty());
    EXPECT_EQ(target.freed.size(), 2u);
}

TEST_F(context_model_of_target, WithoutMemoryKeepsTheStartValues)
{
    target.has_memory = false;
    std::string printed = library::printed_by([&] { target.serve([] { make_current(1); }); });
    EXPECT_EQ(target.freed.size(), 0u);
    EXPECT_EQ(data(1).texture_bindings.size(), 8u);
    EXPECT_EQ(data(1).viewport, four{});
}

TEST_F(context_model_of_target, ThatClaimsEndlessNumbersIsBounded)
{
    target.integers[GL_NUM_COMPRESSED_TEXTURE_FORMATS] = {-1};
    target.integers[GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS] = {-1};
    target.integers[GL_MAX_VERTEX_ATTRIBS] = {0x7fffffff};
    std::string printed = library::printed_by([&] { target.serve([] { make_current(1); }); });
    EXPECT_NE(
        printed.find("ERROR [ZELVAR] Not enough memory on target side. Supported texture compression formats "
                     "set to none.\n"),
        std::string::npos);
    EXPECT_LE(data(1).texture_bindings.size(), 4096u);
    EXPECT_LE(data(1).data_nonshared->vertex_arrays.at(0).attribute_arrays.size(), 4096u);
    EXPECT_EQ(target.asked.size(), 7u) << "no second block";
}

TEST_F(context_model, GroupsShareObjectsButNoFramebuffersAndEndWithTheirLastContext)
{
    sidechannel_set_log_level(3);
    add(2, 1);
    add(3, 2);
    add(4);
    EXPECT_EQ(data(1).data_shared, data(3).data_shared);
    EXPECT_NE(data(1).data_shared, data(4).data_shared);
    EXPECT_NE(data(1).data_nonshared, data(2).data_nonshared);
    EXPECT_EQ(data(1).data_shared->ref_counter, 3);
    for (uint64_t context : {1, 2, 3})
        make_current(context, context);
    data(1).data_shared->textures[8].host_id = 80;
    EXPECT_EQ(data(3).data_shared->textures.at(8).host_id, 80u);
    EXPECT_TRUE(zelvar_object_manager_delete_target_context(pid, 1, true));
    EXPECT_EQ(data(2).data_shared->ref_counter, 2);
    EXPECT_TRUE(zelvar_object_manager_delete_target_context(pid, 3, true));
    EXPECT_EQ(data(2).data_shared->textures.at(8).host_id, 80u);
    std::string printed =
        library::printed_by([] { zelvar_object_manager_delete_target_context(pid, 2, true); });
    EXPECT_NE(printed.find("WARN [ZELVAR] There were unreleased texture objects"), std::string::npos)
        << printed;
}

TEST_F(context_model, AnUnknownShareContextIsReportedAndAGroupOfItsOwnBegun)
{
    std::string printed = library::printed_by([] { add(2, 9); });
    EXPECT_EQ(printed,
              "ERROR [ZELVAR] Could not find context data descriptor for target-side context id "
              "[               9] with which target-side context [               2] was to share resources "
              "with.\n");
    EXPECT_EQ(data(2).data_shared->ref_counter, 1);
    EXPECT_NE(data(2).data_shared, data(1).data_shared);
}

TEST_F(context_model, LeftoversAreReportedAtTheEndInOrder)
{
    make_current(1);
    auto& shared = *data(1).data_shared;
    data(1).data_nonshared->framebuffers[0];
    data(1).data_nonshared->framebuffers[6];
    shared.programs[0];
    shared.programs[3].ref_counter = 2; // in use elsewhere
    shared.programs[4].attached_shaders = {5};
    shared.shaders[5].ref_counter = 2; // its own and the program's
    shared.program_binaries[2];
    shared.buffers[7];
    shared.renderbuffers[8];
    sidechannel_set_log_level(3);
    std::string printed =
        library::printed_by([] { zelvar_object_manager_delete_target_context(pid, 1, true); });
    const char* in_order[] = {
        "WARN [ZELVAR] 0. Program Object with id: [2]\n",
        "WARN [ZELVAR] There were unreleased buffer objects at the time of context deletion:\n",
        "WARN [ZELVAR] There were unreleased program objects at the time of shared data deletion:\n",
        "There were unreleased renderbuffer objects",
        "WARN [ZELVAR] There were unreleased framebuffer objects at the time of context deletion:\n"
        "WARN [ZELVAR] 0. Framebuffer Object with GLES id: [6]\n",
    };
    size_t at = 0;
    for (const char* text : in_order) {
        size_t found = printed.find(text, at);
        EXPECT_NE(found, std::string::npos) << text << "\nin\n" << printed;
        at = found == std::string::npos ? at : found;
    }
    EXPECT_EQ(library::occurrences(printed, "unreleased shader"), 0u)
        << "5 went with its program and its own count";
    EXPECT_EQ(library::occurrences(printed, "unreleased texture"), 0u) << "texture 0 alone is no leak";
}
} // namespace
