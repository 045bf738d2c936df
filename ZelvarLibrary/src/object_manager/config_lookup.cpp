// Looking a target config up: its host config, its attributes, and what the application is offered.

#include "object_manager/configs.h"
#include "object_manager/zelvar_object_manager.h"
#include "registration/host_call.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"

#include <algorithm>

namespace {
int32_t forced_host_config_id()
{
    return static_cast<int32_t>(setting(zelvar_only_settings.forceHostEGLConfigID));
}

uint64_t number_of(EGLConfig config)
{
    return reinterpret_cast<uint64_t>(config);
}

/// The process's configs of a display; null, with its line, when process or display are unknown. The caller
/// holds pid_to_process_data_map_cs.
const config_map* find_display_configs_locked(pid_t pid, uint64_t target_display)
{
    auto process = pid_to_process_data_map.find(pid);
    if (process == pid_to_process_data_map.end()) {
        LOG_ERROR("Could not find process data instance for process id [%08x]", pid);
        return nullptr;
    }
    auto display = process->second.configs.find(target_display);
    if (display == process->second.configs.end()) {
        LOG_ERROR("EGLDisplay [%#lx] was not recognized for process id [%08x]", target_display, pid);
        return nullptr;
    }
    return &display->second;
}

template <class Predicate>
const _zelvar_object_manager_config* find_entry(const config_map& map, Predicate predicate)
{
    auto found =
        std::find_if(map.begin(), map.end(), [&](const auto& entry) { return predicate(entry.second); });
    return found == map.end() ? nullptr : &found->second;
}

const _zelvar_object_manager_config* find_entry_by_handle(const config_map& map, uint64_t target_config)
{
    auto found = map.find(target_config);
    return found == map.end() ? nullptr : &found->second;
}

/// While the target has an EGL of its own, every look-up leaves the nearest host config as the fall-back.
void refresh_fallback(pid_t pid, tid_t tid, uint64_t target_display, uint64_t target_config)
{
    if (zelvar_call_on_target())
        local_native_display_top_config =
            _choose_host_config_for_target(target_config, {pid, tid, target_display});
}

bool copy_row(const _zelvar_object_manager_config* found, _zelvar_object_manager_config* row)
{
    if (found)
        *row = *found;
    return found != nullptr;
}

/// The row of a config, target's or host's; a target config without a partner runs on the fall-back. The
/// caller holds pid_to_process_data_map_cs.
bool find_row_locked(pid_t pid, tid_t tid, uint64_t target_display, uint64_t target_config, bool want_host,
                     _zelvar_object_manager_config* row)
{
    const config_map* map = find_display_configs_locked(pid, target_display);
    if (!map)
        return false;
    const auto* entry = find_entry_by_handle(*map, target_config);
    bool found = false;
    if (int32_t forced = forced_host_config_id(); forced != 0) {
        found = copy_row(want_host ? host_row_by_id(forced) : entry, row);
    } else if (entry) {
        found = copy_row(want_host ? host_row_by_handle(entry->host_config) : entry, row);
    } else if (!zelvar_call_on_target()) {
        LOG_ERROR(
            "EGLConfig [%#lx] was not recognized as a valid target-side EGLConfig instance for EGLDisplay "
            "[%#lx] of process with id [%08x]",
            target_config, target_display, pid);
        return false;
    } else {
        found = want_host ? copy_row(host_row_by_handle(local_native_display_top_config), row)
                          : find_target_row({pid, tid, target_display}, target_config, row);
        note_fallback_config_locked(target_display, target_config);
    }
    if (!found)
        LOG_ERROR("Could not find the data for EGLConfig [%#lx]!", target_config);
    return found;
}

void deliver(const _zelvar_object_manager_config& row, const config_attributes& out)
{
    const std::pair<int32_t*, int32_t> values[] = {
        {out.alpha, row.alpha_size},     {out.blue, row.blue_size},      {out.depth, row.depth_size},
        {out.green, row.green_size},     {out.samples, row.samples},     {out.red, row.red_size},
        {out.stencil, row.stencil_size}, {out.config_id, row.config_id},
    };
    for (auto [destination, value] : values)
        if (destination)
            *destination = value;
}
} // namespace

void note_fallback_config_locked(uint64_t target_display, uint64_t target_config)
{
    auto [entry, added] = target_config_in_use_map.try_emplace(target_display, target_config);
    if (!added && entry->second == target_config)
        return;
    entry->second = target_config;
    LOG_ALWAYS(
        "WARN",
        "Target display [%#lx]: Mapping target EGLConfig [%#lx] failed, so config ID [%#lx] is used in host "
        "instead.",
        target_display, target_config, number_of(local_native_display_top_config));
}

bool zelvar_object_manager_get_host_config(pid_t pid, tid_t tid, uint64_t target_display,
                                           uint64_t target_config, EGLConfig* host_config)
{
    if (zelvar_internal_call_fails(zelvar_internal_get_host_config))
        return false;
    if (zelvar_internal_call_fakes(zelvar_internal_get_host_config, host_config))
        return true;
    zelvar_object_manager_ensure_process_record(pid);
    _ensure_egl_config_mappings(pid, tid, target_display);
    refresh_fallback(pid, tid, target_display, target_config);

    Autolock process_lock{pid_to_process_data_map_cs};
    auto process = pid_to_process_data_map.find(pid);
    if (process == pid_to_process_data_map.end()) {
        LOG_FATAL("Could not find process data instance for process id [%08x]", pid);
        return false;
    }
    auto display = process->second.configs.find(target_display);
    if (display == process->second.configs.end()) {
        LOG_FATAL(
            "Could not find host-side set of EGLConfigs for target-side EGLDisplay [%#lx] for process id "
            "[%08x]",
            target_display, pid);
        return false;
    }
    if (forced_host_config_id() != 0) {
        *host_config = local_native_display_top_config;
        return true;
    }
    if (const auto* entry = find_entry_by_handle(display->second, target_config)) {
        *host_config = entry->host_config;
        return true;
    }
    if (zelvar_call_on_target()) {
        note_fallback_config_locked(target_display, target_config);
        *host_config = local_native_display_top_config;
        return true;
    }
    LOG_FATAL("Could not find host-side EGLConfig for target-side EGLConfig [%#lx] for EGLDisplay [%#lx] for "
              "process id [%08x]",
              target_config, target_display, pid);
    return false;
}

bool zelvar_object_manager_get_config_data(pid_t pid, tid_t tid, uint64_t target_display,
                                           uint64_t target_config, bool want_host,
                                           const config_attributes& out)
{
    if (zelvar_internal_call_fails(zelvar_internal_get_config_data))
        return false;
    refresh_fallback(pid, tid, target_display, target_config);
    Autolock process_lock{pid_to_process_data_map_cs};
    _zelvar_object_manager_config row;
    if (!find_row_locked(pid, tid, target_display, target_config, want_host, &row))
        return false;
    deliver(row, out);
    return true;
}

bool zelvar_object_manager_get_host_config_data(pid_t, EGLConfig host_config, const config_attributes& out)
{
    if (zelvar_internal_call_fails(zelvar_internal_get_host_config_data))
        return false;
    const auto* row = host_row_by_handle(host_config);
    if (!row) {
        LOG_ERROR("Could not find the data for EGLConfig [%#lx]!", number_of(host_config));
        return false;
    }
    deliver(*row, out);
    return true;
}

bool zelvar_object_manager_get_target_config_bpp(pid_t pid, tid_t tid, uint64_t target_display,
                                                 uint64_t target_config, uint32_t* bpp)
{
    if (zelvar_internal_call_fails(zelvar_internal_get_target_config_bpp))
        return false;
    if (zelvar_internal_call_fakes(zelvar_internal_get_target_config_bpp, bpp))
        return true;
    refresh_fallback(pid, tid, target_display, target_config);
    Autolock process_lock{pid_to_process_data_map_cs};
    _zelvar_object_manager_config row;
    if (!find_row_locked(pid, tid, target_display, target_config, false, &row))
        return false;
    // Sizes come from the target: let sums of rubbish wrap.
    *bpp = static_cast<uint32_t>(row.red_size) + static_cast<uint32_t>(row.green_size) +
           static_cast<uint32_t>(row.blue_size) + static_cast<uint32_t>(row.alpha_size);
    return true;
}

int32_t zelvar_object_manager_get_target_config_visual_id(pid_t pid, tid_t tid, uint64_t target_display,
                                                          uint64_t target_config)
{
    uint32_t bpp = 0;
    if (!zelvar_helpers_is_shim_runs_android(pid, tid) ||
        !zelvar_object_manager_get_target_config_bpp(pid, tid, target_display, target_config, &bpp))
        return 0;
    switch (bpp) {
    case 32:
        return colour_class_rgba8888;
    case 24:
        return colour_class_rgb888;
    case 16:
        return colour_class_rgb565;
    }
    return 0;
}

bool zelvar_object_manager_get_target_config_by_id(pid_t pid, tid_t tid, uint64_t target_display,
                                                   int32_t config_id, uint64_t* target_config)
{
    refresh_fallback(pid, tid, target_display, *target_config);
    Autolock process_lock{pid_to_process_data_map_cs};
    const config_map* map = find_display_configs_locked(pid, target_display);
    if (!map)
        return false;
    auto has_id = [&](const auto& row) { return row.config_id == config_id; };
    if (const auto* entry = find_entry(*map, has_id)) {
        *target_config = entry->target_config;
        return true;
    }
    if (zelvar_call_on_target()) {
        config_list rows;
        copy_target_configs({pid, tid, target_display}, &rows);
        auto found = std::find_if(rows.begin(), rows.end(), has_id);
        if (found != rows.end()) {
            *target_config = found->target_config;
            note_fallback_config_locked(target_display, *target_config);
            return true;
        }
    }
    LOG_ERROR("Could not find the data for EGLConfig [%#lx]!", *target_config);
    return false;
}
