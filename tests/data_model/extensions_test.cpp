// Which extensions the target hears of.
#include "data_model/model_target.h"

#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

using namespace model_test;

namespace {
constexpr uint64_t display = 0xd0;

void host_gl(const char* text)
{
    fake_host::returns<&sidechannel_gles_imports::glGetString>(reinterpret_cast<const GLubyte*>(text));
}
void host_egl(const char* text)
{
    fake_host::returns<&sidechannel_egl_imports::eglQueryString>(text);
}

class extensions : public testing::Test
{
protected:
    scPluginInterface* plugin = library::start();
    _zelvar_extensions record;

    void SetUp() override
    {
        zelvar_object_manager_ensure_process_record(pid);
        zelvar_object_manager_add_display(pid, tid, reinterpret_cast<EGLDisplay>(0x77), display);
        fake_host::clear();
    }
    std::vector<size_t> rows(size_t count) const
    {
        std::vector<size_t> set;
        for (size_t row = 0; record.supported && row < count; row++)
            if (record.supported[row])
                set.push_back(row);
        return set;
    }
    std::vector<size_t> build_gl()
    {
        zelvar_data_model_init_gl_extensions_data(pid, tid, &record);
        return rows(gl_extension_count);
    }
    std::vector<size_t> build_egl()
    {
        zelvar_data_model_init_egl_extensions_data(pid, tid, display, &record);
        return rows(egl_extension_count);
    }
};

using row_list = std::vector<size_t>;

TEST_F(extensions, OfTheHostAloneAreTheKnownOnesSorted)
{
    host_gl("GL_XY_other  GL_OES_vertex_half_float GL_CORVANE_rgba8 GL_OES_EGL_image GL_OES_EGL_imag ");
    EXPECT_EQ(build_gl(), (row_list{0, 14, 26}));
    EXPECT_EQ(record.text, "GL_CORVANE_rgba8 GL_OES_EGL_image GL_OES_vertex_half_float ");
    const char* name = nullptr;
    EXPECT_TRUE(zelvar_data_model_get_extension_by_index(&record, 2, &name));
    EXPECT_EQ(name, gl_extension_list[26]) << "the list's own text, so that its address is stable";
    std::string printed = library::printed_by(
        [&] { EXPECT_FALSE(zelvar_data_model_get_extension_by_index(&record, 3, &name)); });
    EXPECT_EQ(printed, "ERROR [ZELVAR] GL extension with index [3] is not found.\n");
}

TEST_F(extensions, AreReportedOnceAProcessForEachApi)
{
    sidechannel_set_log_level(6565);
    host_gl("GL_OES_EGL_image GL_XY_other");
    std::string printed = library::printed_by([&] {
        build_gl();
        build_gl();
    });
    EXPECT_EQ(printed,
              "INFO [ZELVAR] \nGL extensions info:\nSummary: Total(2), Supported(1), Ignored(1)\nSupported:\n"
              "GL_OES_EGL_image \nIgnored:\nGL_XY_other \n");
    host_egl("EGL_KHR_image");
    printed = library::printed_by([&] { build_egl(); });
    EXPECT_EQ(printed, "INFO [ZELVAR] \nEGL extensions info:\nSummary: Total(1), Supported(1), Ignored(0)\n"
                       "Supported:\nEGL_KHR_image \nIgnored:\nN/A\n");
}

TEST_F(extensions, OfBothSidesAreTheCommonOnes)
{
    model_target target{plugin};
    library::set_target_gpu(TARGET_GPU_DUMMY);
    host_gl("GL_OES_EGL_image GL_OES_depth24");
    target.gl_extensions = "GL_OES_depth24 GL_EXT_texture_rg";
    target.serve([&] { EXPECT_EQ(build_gl(), row_list{12}); });
    EXPECT_EQ(record.text, "GL_OES_depth24 ");
    EXPECT_EQ(target.asked, std::vector<std::string>{"glGetString"});
}

TEST_F(extensions, ThatTheLibraryProvidesCountWithoutTheHost)
{
    model_target target{plugin};
    library::set_target_gpu(TARGET_GPU_DUMMY);
    host_egl("EGL_KHR_image_base EGL_KHR_create_context");
    target.egl_extensions = "EGL_KHR_image_base EGL_KHR_fence_sync EGL_KHR_wait_sync EGL_ANDROID_image_crop";
    target.serve([&] { EXPECT_EQ(build_egl(), (row_list{6, 13})); });
    EXPECT_EQ(record.text, "EGL_KHR_fence_sync EGL_KHR_image_base ");
}

TEST_F(extensions, ThatAreProvidedStillNeedATargetThatNamesThem)
{
    host_egl("EGL_KHR_image_base EGL_KHR_wait_sync");
    EXPECT_EQ(build_egl(), row_list{6});
}

TEST_F(extensions, FailuresLeaveAllRowsUnsupported)
{
    std::string printed = library::printed_by([&] {
        zelvar_data_model_init_gl_extensions_data(pid, tid, nullptr);
        host_gl(nullptr);
        EXPECT_EQ(build_gl(), row_list{});
        host_gl("GL_OES_EGL_image");
        fake_host::gl_errors({GL_INVALID_ENUM});
        EXPECT_EQ(build_gl(), row_list{});
        host_egl(nullptr);
        EXPECT_EQ(build_egl(), row_list{});
    });
    EXPECT_EQ(printed,
              "FATAL [ZELVAR] Pointer to extensions data is NULL!\n"
              "ERROR [ZELVAR] Extensions string on host side has not been retrieved!\n"
              "ERROR [ZELVAR] zelvar_data_model_init_gl_extensions_data(): glGetString() on host returns "
              "error 0x500\n"
              "ERROR [ZELVAR] Extensions string on host side has not been retrieved!\n");
    EXPECT_EQ(record.text, "");
    EXPECT_NE(record.supported, nullptr) << "the question is not asked again";
}

TEST_F(extensions, FailuresOfTheTargetToo)
{
    model_target target{plugin};
    library::set_target_gpu(TARGET_GPU_DUMMY);
    sidechannel_set_log_level(3);
    host_gl("GL_OES_EGL_image");
    target.gl_string_error = GL_INVALID_OPERATION;
    std::string printed =
        library::printed_by([&] { target.serve([&] { EXPECT_EQ(build_gl(), row_list{}); }); });
    EXPECT_EQ(printed,
              "ERROR [ZELVAR] zelvar_data_model_init_gl_extensions_data(): glGetString() on target returns "
              "error 0x502\n");
    target.gl_string_error = 0;
    printed = library::printed_by([&] { target.serve([&] { EXPECT_EQ(build_gl(), row_list{}); }); });
    EXPECT_EQ(printed, "WARN [ZELVAR] Target returned 0 length GL extensions string!?\n");
}

TEST_F(extensions, CanBeAskedForBeforeTheContextWasEverCurrent)
{
    host_gl("GL_OES_EGL_image GL_OES_depth24");
    _zelvar_context_data data;
    EXPECT_TRUE(zelvar_data_is_gl_extension_supported(pid, tid, &data, 14));
    EXPECT_FALSE(zelvar_data_is_gl_extension_supported(pid, tid, &data, 0));
    EXPECT_FALSE(zelvar_data_is_gl_extension_supported(pid, tid, &data, gl_extension_count));
    EXPECT_EQ(zelvar_data_num_of_gl_extension_supported(pid, tid, &data), 2u);
    EXPECT_EQ(fake_host::count("glGetString"), 1u);
}

TEST_F(extensions, OfADisplayAreThoseOfItsRecord)
{
    host_egl("EGL_KHR_image");
    EXPECT_FALSE(zelvar_data_is_egl_extension_supported(pid, display, 5));
    auto built = std::make_shared<_zelvar_extensions>();
    zelvar_data_model_init_egl_extensions_data(pid, tid, display, built.get());
    pid_to_process_data_map.at(pid).extensions[display] = built;
    EXPECT_TRUE(zelvar_data_is_egl_extension_supported(pid, display, 5));
    EXPECT_FALSE(zelvar_data_is_egl_extension_supported(pid, display, 6));
    EXPECT_FALSE(zelvar_data_is_egl_extension_supported(pid, display + 1, 5));
}

TEST_F(extensions, AFakedAnswerWins)
{
    host_gl("GL_OES_EGL_image");
    _zelvar_context_data data;
    bool no = false, yes = true;
    zelvar_test_support_enable_fake_zelvar_data_model_calls(true);
    zelvar_test_support_enqueue_zelvar_data_model_call_result(zelvar_data_model_is_gl_extension_supported,
                                                              &no, sizeof(no), nullptr, 0, nullptr, 0);
    zelvar_test_support_enqueue_zelvar_data_model_call_result(zelvar_data_model_is_egl_extension_supported,
                                                              &yes, sizeof(yes), nullptr, 0, nullptr, 0);
    EXPECT_FALSE(zelvar_data_is_gl_extension_supported(pid, tid, &data, 14));
    EXPECT_TRUE(zelvar_data_is_gl_extension_supported(pid, tid, &data, 14));
    EXPECT_TRUE(zelvar_data_is_egl_extension_supported(pid, display, 0));
    EXPECT_FALSE(zelvar_data_is_egl_extension_supported(pid, display, 0));
}

TEST_F(extensions, OfTheClientKeepTheTargetsOrderAndAreReadOnce)
{
    model_target target{plugin};
    std::string first = "EGL_KHR_platform_gbm EGL_XY_other EGL_EXT_platform_base";
    for (size_t i = 0; i <= first.size(); i++)
        target.target.poke(raw_target::memory_base + i, first.c_str()[i]);
    std::string text;
    target.serve([&] {
        EXPECT_TRUE(
            zelvar_data_model_get_filtered_egl_client_extensions(pid, tid, {raw_target::memory_base}, &text));
    });
    EXPECT_EQ(text, "EGL_KHR_platform_gbm EGL_EXT_platform_base ");
    text.clear();
    EXPECT_TRUE(zelvar_data_model_get_filtered_egl_client_extensions(pid, tid, {}, &text)) << "asks nobody";
    EXPECT_EQ(text, "EGL_KHR_platform_gbm EGL_EXT_platform_base ");
    EXPECT_FALSE(zelvar_data_model_get_filtered_egl_client_extensions(99, tid, {}, &text));
}
} // namespace
