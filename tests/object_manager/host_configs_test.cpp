// Listing the host's configs at start-up, and the check of what driver the host is.

#include "config_fixture.h"

#include "sidechannel_log.h"

namespace {
/// Rows of a host; the handle of a config is its position plus 0x100.
struct host_row
{
    EGLint id;
    const char* rgba;
    EGLint depth, stencil, samples, surface_type;
    EGLint failing_attribute = 0;
};
constexpr EGLint all_types = EGL_PBUFFER_BIT | EGL_WINDOW_BIT | EGL_PIXMAP_BIT;

class host_start : public testing::Test
{
protected:
    std::vector<host_row> rows;

    host_start()
    {
        sidechannel_set_log_level(2);
        fake_host::install();
        fake_host::hook<&sidechannel_egl_imports::eglGetConfigs>(
            [this](EGLDisplay, EGLConfig* out, EGLint size, EGLint* count) {
                *count = static_cast<EGLint>(rows.size());
                for (EGLint i = 0; out && i < size; ++i)
                    out[i] = reinterpret_cast<EGLConfig>(uintptr_t{0x100} + i);
                return EGLBoolean{EGL_TRUE};
            });
        fake_host::hook<&sidechannel_egl_imports::eglGetConfigAttrib>(
            [this](EGLDisplay, EGLConfig config, EGLint attribute, EGLint* value) {
                const auto& at = rows.at(reinterpret_cast<uintptr_t>(config) - 0x100);
                if (attribute == at.failing_attribute)
                    return EGLBoolean{EGL_FALSE};
                *value = attribute == EGL_RED_SIZE       ? at.rgba[0] - '0'
                         : attribute == EGL_GREEN_SIZE   ? at.rgba[1] - '0'
                         : attribute == EGL_BLUE_SIZE    ? at.rgba[2] - '0'
                         : attribute == EGL_ALPHA_SIZE   ? at.rgba[3] - '0'
                         : attribute == EGL_DEPTH_SIZE   ? at.depth
                         : attribute == EGL_STENCIL_SIZE ? at.stencil
                         : attribute == EGL_SAMPLES      ? at.samples
                         : attribute == EGL_CONFIG_ID    ? at.id
                         : attribute == EGL_SURFACE_TYPE ? at.surface_type
                                                         : EGL_NONE;
                return EGLBoolean{EGL_TRUE};
            });
    }
    std::string start()
    {
        return library::printed_by([] { zelvar_object_manager_init(false); });
    }
    static std::vector<int> ids()
    {
        std::vector<int> all;
        for (const auto& row : *host_display_configs)
            all.push_back(row.config_id);
        return all;
    }
    static uint64_t top() { return reinterpret_cast<uint64_t>(local_native_display_top_config.load()); }
};

TEST_F(host_start, KeepsPbuffersPutsPlainRgbInFrontAndRemembersTheLowestRgba)
{
    rows = {{9, "8888", 24, 8, 0, EGL_PBUFFER_BIT},
            {2, "8888", 24, 8, 0, EGL_WINDOW_BIT},   // no pbuffer: dropped, and no top config either
            {5, "8880", 24, 8, 0, all_types},        // in front
            {4, "8888", 16, 0, 4, EGL_PBUFFER_BIT},  // the lowest id
            {6, "8880", 24, 8, 0, EGL_PBUFFER_BIT},  // not all surface types
            {7, "8880", 24, 8, 4, all_types},        // samples
            {8, "8880", 24, 8, 0, all_types},        // in front of the front
            {0, "8888", 24, 8, 0, EGL_PBUFFER_BIT}}; // an id of 0 doesn't count
    EXPECT_EQ(start(), "");
    EXPECT_EQ(ids(), (std::vector<int>{8, 5, 9, 4, 6, 7, 0}));
    EXPECT_EQ(top(), 0x103u);
}

TEST_F(host_start, AsksForEachAttributeInOrderAndChecksBothVendorsOnAContextOfItsOwn)
{
    rows = {{9, "8888", 24, 8, 0, EGL_PBUFFER_BIT}};
    start();
    std::vector<std::string> expected{"eglGetDisplay(null)", "eglInitialize(pointer, pointer, pointer)",
                                      "eglGetConfigs(pointer, null, 0, pointer)",
                                      "eglGetConfigs(pointer, pointer, 1, pointer)"};
    for (int attribute : {EGL_ALPHA_SIZE, EGL_BLUE_SIZE, EGL_CONFIG_ID, EGL_CONFIG_CAVEAT, EGL_DEPTH_SIZE,
                          EGL_GREEN_SIZE, EGL_RED_SIZE, EGL_SAMPLES, EGL_STENCIL_SIZE, EGL_SURFACE_TYPE})
        expected.push_back("eglGetConfigAttrib(pointer, pointer, " + std::to_string(attribute) +
                           ", pointer)");
    expected.insert(expected.end(),
                    {"eglQueryString(pointer, 12371)", "eglCreateContext(pointer, pointer, null, pointer)",
                     "eglCreatePbufferSurface(pointer, pointer, pointer)",
                     "eglMakeCurrent(pointer, pointer, pointer, pointer)", "glGetString(7936)",
                     "eglDestroySurface(pointer, pointer)", "eglDestroyContext(pointer, pointer)"});
    EXPECT_EQ(fake_host::texts(fake_host::error_queries::leave_out), expected);
}

TEST_F(host_start, AConfigThatCannotBeReadIsSkipped)
{
    rows = {{1, "8888", 24, 8, 0, EGL_PBUFFER_BIT, EGL_DEPTH_SIZE}, {2, "8888", 24, 8, 0, EGL_PBUFFER_BIT}};
    EXPECT_EQ(start(), "FATAL [ZELVAR] Could not retrieve attribute(s) for 0th EGL config!\n");
    EXPECT_EQ(ids(), std::vector<int>{2});
    EXPECT_EQ(top(), 0x101u);
    EXPECT_EQ(fake_host::count("eglGetConfigAttrib"), 5u + 10u); // stops at the one that fails
}

TEST_F(host_start, AForcedIdDecidesTheTopConfigAndAMissingOneLeavesNone)
{
    rows = {{1, "8888", 24, 8, 0, EGL_PBUFFER_BIT}, {2, "5650", 0, 0, 0, EGL_PBUFFER_BIT}};
    zelvar_only_settings.forceHostEGLConfigID = 2;
    EXPECT_EQ(start(), "");
    EXPECT_EQ(top(), 0x101u);
    zelvar_only_settings.forceHostEGLConfigID = 3;
    EXPECT_EQ(start(), "FATAL [ZELVAR] Failed to force EGLConfig with ID 3no configs with ID returned.\n");
    EXPECT_EQ(top(), 0u);
}

TEST_F(host_start, DumpsTheListOnlyWhenAskedTo)
{
    rows = {{1, "8880", 24, 8, 0, EGL_PBUFFER_BIT}};
    sidechannel_set_log_level(6566);
    EXPECT_EQ(start().find("dump"), std::string::npos);
    zelvar_settings.zelvarLogLevel = 6566;
    auto printed = start();
    EXPECT_NE(printed.find("DEBUG [ZELVAR] Begin dump host_display_configs for host display [0xd15]:\n"
                           "DEBUG [ZELVAR]   0. host_config=0x100 config_id=[  1] RGBA=[8/8/8/0] depth=[24] "
                           "stencil=[ 8] samples=[ 0] caveat=[12344,EGL_NONE]\n"
                           "DEBUG [ZELVAR] End dump for host_display_configs configs\n"),
              std::string::npos)
        << printed;
}

// A host that fails leaves the list short, says so, and never stops the start, whatever the settings require.
TEST_F(host_start, EveryHostFailureIsReportedAndSurvived)
{
    zelvar_settings.requireKelvoEmulator = true;
    const char* empty =
        "FATAL [ZELVAR] List of host egl configs is empty. eglChooseConfig() or eglGetConfigs() "
        "will fail.\n";
    fake_host::returns<&sidechannel_egl_imports::eglGetDisplay>(nullptr);
    EXPECT_EQ(start(),
              std::string("FATAL [ZELVAR] Could not initialize EGL - native display is invalid\n") + empty);
    fake_host::returns<&sidechannel_egl_imports::eglGetDisplay>(reinterpret_cast<EGLDisplay>(1));
    fake_host::fails<&sidechannel_egl_imports::eglInitialize>(EGL_NOT_INITIALIZED);
    EXPECT_EQ(start(), std::string("FATAL [ZELVAR] Could not initialize EGL: 3001\n") + empty);
    EXPECT_EQ(fake_host::count("eglQueryString"), 0u); // nobody to ask for a vendor
    fake_host::returns<&sidechannel_egl_imports::eglInitialize>(EGL_TRUE);
    EXPECT_EQ(start(), empty);
    fake_host::returns<&sidechannel_egl_imports::eglGetConfigs>(EGL_FALSE);
    EXPECT_EQ(start(),
              std::string("FATAL [ZELVAR] Could not retrieve amount of configurations available for native "
                          "display\n") +
                  empty);
    fake_host::hook<&sidechannel_egl_imports::eglGetConfigs>(
        [](EGLDisplay, EGLConfig* out, EGLint, EGLint* count) {
            *count = 1;
            return EGLBoolean(out == nullptr);
        });
    EXPECT_EQ(start(), std::string("FATAL [ZELVAR] Could not retrieve EGL configurations.\n") + empty);
}

TEST_F(host_start, AThrowAwayContextThatCannotBeMadeIsReported)
{
    sidechannel_set_log_level(3);
    rows = {{1, "8888", 24, 8, 0, EGL_PBUFFER_BIT}};
    fake_host::returns<&sidechannel_egl_imports::eglCreateContext>(nullptr);
    fake_host::returns<&sidechannel_egl_imports::eglCreatePbufferSurface>(nullptr);
    fake_host::returns<&sidechannel_egl_imports::eglMakeCurrent>(EGL_FALSE);
    fake_host::returns<&sidechannel_egl_imports::eglDestroySurface>(EGL_FALSE);
    fake_host::returns<&sidechannel_egl_imports::eglDestroyContext>(EGL_FALSE);
    EXPECT_EQ(start(), "WARN [ZELVAR] Could not create EGL context\n"
                       "WARN [ZELVAR] Could not create EGL pbuffer surface\n"
                       "WARN [ZELVAR] Could not make EGL context current\n"
                       "WARN [ZELVAR] Could not destroy EGL surface\n"
                       "WARN [ZELVAR] Could not destroy EGL context\n");
}

TEST_F(host_start, AHostWithoutEglStartsAllTheSame)
{
    sidechannel_egl_imports none{};
    zelvar_settings.requireKelvoEmulator = true;
    zelvar_imports_egl_ptrs = none;
    EXPECT_NE(start().find("FATAL [ZELVAR] The host lacks eglGetDisplay().\n"), std::string::npos);
}

class vendor : public host_start
{
protected:
    vendor() { rows = {{1, "8888", 24, 8, 0, EGL_PBUFFER_BIT}}; }
    static void set_egl(const char* text)
    {
        fake_host::returns<&sidechannel_egl_imports::eglQueryString>(text);
    }
    static void set_gl(const char* text)
    {
        fake_host::returns<&sidechannel_gles_imports::glGetString>(reinterpret_cast<const GLubyte*>(text));
    }
};

TEST_F(vendor, AnyOtherDriverEndsTheProcessWhereTheEmulatorIsRequired)
{
    zelvar_settings.requireKelvoEmulator = true;
    // The two libraries of the emulator bear different names: neither may stand for the other.
    for (const char* text : {"Somebody", "Corvane Ltd", "", static_cast<const char*>(nullptr)}) {
        set_egl(text);
        EXPECT_EXIT(zelvar_object_manager_init(false), testing::ExitedWithCode(1), "");
    }
    set_egl("Corvane Limited");
    EXPECT_EQ(start(), "");
    set_gl("Corvane Limited");
    EXPECT_EXIT(zelvar_object_manager_init(false), testing::ExitedWithCode(1), "");
}

TEST_F(vendor, AnyOtherDriverIsReportedAtEveryLevelWhereItIsNot)
{
    zelvar_settings.requireKelvoEmulator = false;
    sidechannel_set_log_level(0);
    set_egl("Somebody");
    set_gl("Somebody else");
    EXPECT_EQ(
        start(),
        "ERROR [ZELVAR] EGL vendor is not CORVANE: Emulator is not being used: Vendor is Somebody\n"
        "ERROR [ZELVAR] GL vendor is not CORVANE: Emulator is not being used: GL vendor: Somebody else\n");
}

TEST_F(vendor, TestModeAsksNobody)
{
    zelvar_settings.requireKelvoEmulator = true;
    set_egl("Somebody");
    zelvar_object_manager_init(true);
    EXPECT_TRUE(fake_host::calls().empty());
    ASSERT_EQ(host_display_configs->size(), 1u);
    const auto& only = host_display_configs->front();
    EXPECT_EQ(only.config_id, 1);
    EXPECT_EQ(only.depth_size, 24);
    EXPECT_EQ(only.stencil_size, 24);
    EXPECT_EQ(only.samples, 4);
    EXPECT_EQ(colour_class_of(only), colour_class_rgba8888);
}
} // namespace
