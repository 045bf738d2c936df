#include "support/library.h"

#include "inbound/message_table.h"
#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"
#include "sidechannel_plugin_interface_wrapper.h"
#include "sidechannel_zelvar_init.h"
#include "sidechannel_zelvar_ipc.h"
#include "support/fake_host.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <thread>

namespace {
scPluginInterface* bring_up(target_gpu gpu)
{
    sidechannel_set_log_level(2);
    library::set_target_gpu(gpu);
    zelvar_object_manager_init(true);
    zelvar_register_callbacks(pZelvar_LUT);
    auto* plugin = new PluginInterfaceWrapper;
    sidechannel_init_zelvar(plugin);
    sidechannel_ipc_start_server();
    return plugin;
}
} // namespace

namespace library {
scPluginInterface* start(target_gpu gpu)
{
    fake_host::install();
    scPluginInterface* plugin = bring_up(gpu);
    fake_host::clear();
    return plugin;
}

scPluginInterface* start_quiet(target_gpu gpu)
{
    fake_host::install_quiet();
    return bring_up(gpu);
}

void set_target_gpu(target_gpu gpu)
{
    zelvar_settings.callOnTargetAPI = gpu;
    zelvar_settings.callOnTarget = gpu != TARGET_GPU_NONE;
}

void aside(const std::function<void()>& code)
{
    std::thread{code}.join();
}

void begin_capture()
{
    testing::internal::CaptureStdout();
}

std::string end_capture()
{
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}

current_context make_current(int pid, uint64_t tid, const current_context& ids)
{
    auto host = [](uint64_t id) { return reinterpret_cast<void*>(id | 0xff000000); };
    zelvar_object_manager_ensure_process_record(pid);
    EGLDisplay display = host(ids.display);
    uint64_t known = 0;
    if (!zelvar_object_manager_get_target_display(pid, display, &known))
        zelvar_object_manager_add_display(pid, tid, display, ids.display);
    zelvar_object_manager_add_surface(pid, host(ids.surface), ids.surface, surface_window, ids.config, 1, 0,
                                      16, 8);
    zelvar_object_manager_add_context(pid, tid, host(ids.context), display, ids.context, 0, 3, 1, 3, 1);
    aside([&] {
        zelvar_object_manager_bind_context_to_thread(pid, ids.context, tid, ids.surface, ids.surface, false);
    });
    fake_host::clear();
    return ids;
}

size_t occurrences(const std::string& printed, const std::string& text)
{
    size_t count = 0;
    for (size_t at = printed.find(text); at != std::string::npos; at = printed.find(text, at + text.size()))
        ++count;
    return count;
}
} // namespace library
