// What is known of a target process as a whole: its name, its system, its completion at eglInitialize.
#include "data_model/zelvar_data_model.h"
#include "object_manager/registry.h"
#include "object_manager/zelvar_object_manager.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"

namespace {
constexpr uint32_t android_os_version = 2;

/// 0 when unknown.
uint32_t cached_os_version(pid_t pid)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process(pid);
    return process ? process->target_os_version : 0;
}

/// The first answer stays; returns what is cached then.
uint32_t cache_os_version(pid_t pid, uint32_t version)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process(pid);
    if (!process)
        return version;
    if (process->target_os_version == 0) {
        process->target_os_version = version;
        LOG_DEBUG("Shim reported target OS version [%u]", version);
    }
    return process->target_os_version;
}

struct display_state
{
    bool known = false;
    bool needs_extensions = false;
};

display_state look_at_display(pid_t pid, uint64_t target_display)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process(pid);
    if (!process) {
        LOG_ERROR("Cannot find process data for process id=%d.", pid);
        return {};
    }
    if (!process->displays.contains(target_display)) {
        LOG_ERROR("Cannot find target_display=%ld in process displays.", target_display);
        return {};
    }
    if (auto found = process->extensions.find(target_display);
        found != process->extensions.end() && found->second) {
        LOG_INFO("There is already extensions info retrieved for a given display. No need to do that again.");
        return {true, false};
    }
    return {true, true};
}

/// Asks the host and the target, so it runs without the lock; another thread may have been faster.
void build_display_extensions(pid_t pid, tid_t tid, uint64_t target_display)
{
    auto extensions = std::make_shared<_zelvar_extensions>();
    zelvar_data_model_init_zelvar_extensions(extensions.get());
    zelvar_data_model_init_egl_extensions_data(pid, tid, target_display, extensions.get());

    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process(pid);
    if (!process || !process->displays.contains(target_display))
        return;
    auto& stored = process->extensions[target_display];
    if (!stored)
        stored = std::move(extensions);
}
} // namespace

bool zelvar_object_manager_get_target_process_name(pid_t pid, std::string* name)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process(pid);
    if (!process || process->process_name.empty())
        return false;
    *name = process->process_name;
    return true;
}

bool zelvar_object_manager_initialize_target_process_name(pid_t pid, tid_t tid, std::string* name)
{
    std::string reported;
    zelvar_shim_dispatch_get_target_process_name(pid, tid, &reported);
    if (reported.empty()) {
        LOG_ERROR("Failed to query process name for process id [%d]", pid);
        return false;
    }
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    if (!process)
        return false;
    if (process->process_name.empty()) {
        process->process_name = reported;
        LOG_DEBUG("Shim reported app name [%s]", reported.c_str());
    }
    *name = process->process_name;
    return true;
}

bool zelvar_object_manager_get_target_os_version(pid_t pid, tid_t tid, uint32_t* version)
{
    uint32_t known = cached_os_version(pid);
    if (known == 0) {
        zelvar_shim_dispatch_winsys_get_target_os_version(pid, tid, &known);
        if (known == 0) {
            LOG_ERROR("Failed to query target OS version for process process id [%d]", pid);
            return false;
        }
        known = cache_os_version(pid, known);
    }
    *version = known;
    return true;
}

bool zelvar_helpers_is_shim_runs_android(pid_t pid, tid_t tid)
{
    uint32_t version = 0;
    if (!zelvar_object_manager_get_target_os_version(pid, tid, &version)) {
        LOG_ERROR("Failed to retrieve target OS version or version is undefined.");
        return false;
    }
    return version == android_os_version;
}

bool zelvar_object_manager_update_process_data(pid_t pid, tid_t tid, uint64_t target_display)
{
    display_state display = look_at_display(pid, target_display);
    std::string name;
    zelvar_object_manager_initialize_target_process_name(pid, tid, &name);
    LOG_INFO("Process name [%s] is added to pid_to_process_data_map", name.c_str());
    zelvar_object_manager_initialize_service_host_egl_context(pid);
    if (display.needs_extensions)
        build_display_extensions(pid, tid, target_display);
    _ensure_egl_config_mappings(pid, tid, target_display);
    return display.known;
}
