// The configs of a real driver: the software one, without a window system.

#include "config_fixture.h"

#include "sidechannel_log.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {
class host_driver : public testing::Test
{
protected:
    std::filesystem::path settings =
        std::filesystem::temp_directory_path() / ("zelvar_configs_" + std::to_string(getpid()) + ".ini");

    host_driver()
    {
        std::ofstream(settings) << "requireKelvoEmulator 0\nzelvarLogLevel 2\n";
        setenv("TRV_ZELVAR_SETTINGS_PATH", settings.c_str(), 1);
        setenv("EGL_PLATFORM", "surfaceless", 1);
        zelvar_settings_init();
        zelvar_imports_init();
    }
    ~host_driver() override { std::filesystem::remove(settings); }
};

TEST_F(host_driver, OffersATargetItsUsualConfigs)
{
    ASSERT_FALSE(setting(zelvar_settings.requireKelvoEmulator));
    auto printed = library::printed_by([] { zelvar_object_manager_init(false); });
    EXPECT_NE(
        printed.find("ERROR [ZELVAR] EGL vendor is not CORVANE: Emulator is not being used: Vendor is Mesa"),
        std::string::npos)
        << printed;
    EXPECT_EQ(printed.find("FATAL"), std::string::npos) << printed;
    ASSERT_FALSE(host_display_configs->empty());
    EXPECT_NE(local_native_display_top_config.load(), nullptr);

    constexpr pid_t pid = 12;
    constexpr tid_t tid = 3;
    constexpr uint64_t display = 1;
    zelvar_object_manager_ensure_process_record(pid);
    int32_t count = 0;
    std::vector<uint64_t> handles(64);
    ASSERT_TRUE(
        zelvar_object_manager_egl_get_configs_for_target(pid, tid, display, handles.data(), 64, &count));
    handles.resize(static_cast<size_t>(count));
    // 8/8/8/8 with depth 24 and stencil 8, and RGB565 of some kind.
    EXPECT_NE(std::find(handles.begin(), handles.end(), 9u), handles.end());
    EXPECT_TRUE(std::any_of(handles.begin(), handles.end(), [&](uint64_t handle) {
        uint32_t bpp = 0;
        return zelvar_object_manager_get_target_config_bpp(pid, tid, display, handle, &bpp) && bpp == 16;
    }));
    EGLConfig config = nullptr;
    ASSERT_TRUE(zelvar_object_manager_get_host_config(pid, tid, display, 9, &config));
    const auto* host = host_row_by_handle(config);
    ASSERT_TRUE(host);
    EXPECT_EQ(colour_class_of(*host), colour_class_rgba8888);
    EXPECT_EQ(host->depth_size, 24);
    EXPECT_EQ(host->stencil_size, 8);
    EXPECT_TRUE(zelvar_object_manager_initialize_service_host_egl_context(pid));
}
} // namespace
