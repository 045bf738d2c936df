#pragma once
// The registry with a host whose configs a test lays out row by row.

#include "object_manager/configs.h"
#include "object_manager/zelvar_object_manager.h"
#include "support/fake_host.h"
#include "support/library.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// A row, host or target, by its sizes.
inline _zelvar_object_manager_config row(uint64_t handle, int32_t id, const char* rgba, int32_t depth,
                                         int32_t stencil, int32_t samples)
{
    _zelvar_object_manager_config made;
    made.red_size = rgba[0] - '0';
    made.green_size = rgba[1] - '0';
    made.blue_size = rgba[2] - '0';
    made.alpha_size = rgba[3] - '0';
    made.depth_size = depth;
    made.stencil_size = stencil;
    made.samples = samples;
    made.config_id = id;
    made.target_config = handle;
    made.host_config = reinterpret_cast<EGLConfig>(handle);
    return made;
}

class config_test : public testing::Test
{
protected:
    static constexpr pid_t pid = 12;
    static constexpr tid_t tid = 3;
    static constexpr uint64_t display = 0xd15;

    explicit config_test(target_gpu gpu = TARGET_GPU_NONE)
    {
        library::start(gpu);
        zelvar_object_manager_ensure_process_record(pid);
        zelvar_object_manager_add_display(pid, tid, reinterpret_cast<EGLDisplay>(display), display);
        set_host({});
        fake_host::clear();
    }
    void set_host(config_list rows) { *host_display_configs = std::move(rows); }
    /// The target's own list, as if it had been asked.
    void set_target(config_list rows) { target_display_configs_map[{pid, tid, display}] = std::move(rows); }
    /// Target handle to host handle.
    std::map<uint64_t, uint64_t> mapping()
    {
        _ensure_egl_config_mappings(pid, tid, display);
        std::map<uint64_t, uint64_t> pairs;
        for (const auto& [handle, entry] : pid_to_process_data_map.at(pid).configs.at(display))
            pairs[handle] = reinterpret_cast<uint64_t>(entry.host_config);
        return pairs;
    }
    static uint64_t top() { return reinterpret_cast<uint64_t>(local_native_display_top_config.load()); }
    static void set_top(uint64_t handle)
    {
        local_native_display_top_config = reinterpret_cast<EGLConfig>(handle);
    }
    static void force_id(uint32_t id) { zelvar_only_settings.forceHostEGLConfigID = id; }
};

class config_test_on_target : public config_test
{
protected:
    config_test_on_target() : config_test(TARGET_GPU_DUMMY) {}
};
