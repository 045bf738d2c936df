// What an application is offered while its target has no EGL: only configs that have a host partner.

#include "object_manager/configs.h"
#include "object_manager/zelvar_object_manager.h"
#include "registration/host_call.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"

#include <algorithm>

namespace {
/// Null, with its line, when process or display are unknown. The caller holds pid_to_process_data_map_cs.
const config_map* find_offered_configs_locked(pid_t pid, uint64_t target_display)
{
    auto process = pid_to_process_data_map.find(pid);
    if (process != pid_to_process_data_map.end()) {
        auto display = process->second.configs.find(target_display);
        if (display != process->second.configs.end())
            return &display->second;
    }
    LOG_ERROR("EGLDisplay [%#lx] was not recognized for process id [%d]", target_display, pid);
    return nullptr;
}

/// Key order, but one plain RGB888 config in front and all RGB565 configs behind everything else.
std::vector<uint64_t> ordered(const config_map& map, size_t limit)
{
    std::vector<uint64_t> list;
    size_t narrow = 0; // entries of the RGB565 block at the end
    bool front_taken = false;
    for (const auto& [handle, row] : map) {
        if (list.size() == limit)
            break;
        if (is_plain_rgb888(row) && !front_taken) {
            list.insert(list.begin(), handle);
            front_taken = true;
        } else if (colour_class_of(row) == colour_class_rgb565) {
            list.push_back(handle);
            ++narrow;
        } else {
            list.insert(list.end() - static_cast<std::ptrdiff_t>(narrow), handle);
        }
    }
    return list;
}

/// The host's answer to an attribute list, in the host's order of preference.
bool choose_on_host(EGLDisplay host_display, const EGLint* attributes, std::vector<EGLConfig>* configs)
{
    EGLint count = 0;
    auto counted = host::egl<&sidechannel_egl_imports::eglChooseConfig>(
        host_display, attributes, static_cast<EGLConfig*>(nullptr), 0, &count);
    if (!counted.result) {
        LOG_FATAL(
            "Cannot retrieve number of EGLConfigs available. eglChooseConfig() host side failed with error "
            "code 0x%04X.",
            counted.error);
        return false;
    }
    auto size = static_cast<size_t>(std::max(count, 0));
    configs->resize(std::max(size, size_t{1})); // never a null array: that would only count again
    auto chosen = host::egl<&sidechannel_egl_imports::eglChooseConfig>(
        host_display, attributes, configs->data(), static_cast<EGLint>(size), &count);
    if (!chosen.result) {
        LOG_FATAL("Cannot retrieve EGLConfigs available. eglChooseConfig() host side failed with error code "
                  "0x%04X.",
                  chosen.error);
        return false;
    }
    configs->resize(std::min(size, static_cast<size_t>(std::max(count, 0))));
    return true;
}
} // namespace

bool zelvar_object_manager_egl_get_configs_for_target(pid_t pid, tid_t tid, uint64_t target_display,
                                                      uint64_t* target_configs, int32_t config_size,
                                                      int32_t* count)
{
    _ensure_egl_config_mappings(pid, tid, target_display);
    Autolock process_lock{pid_to_process_data_map_cs};
    const config_map* map = find_offered_configs_locked(pid, target_display);
    if (!map)
        return false;
    if (!target_configs) {
        *count = static_cast<int32_t>(map->size());
        return true;
    }
    auto list = ordered(*map, static_cast<size_t>(std::max(config_size, 0)));
    std::copy(list.begin(), list.end(), target_configs);
    *count = static_cast<int32_t>(list.size());
    return true;
}

bool zelvar_object_manager_egl_choose_config_for_target(pid_t pid, tid_t tid, uint64_t target_display,
                                                        const EGLint* host_attrib_list,
                                                        uint64_t* target_configs, int32_t config_size,
                                                        int32_t* count)
{
    EGLDisplay host_display = EGL_NO_DISPLAY;
    if (!zelvar_object_manager_get_host_display(pid, tid, target_display, &host_display))
        return false;
    _ensure_egl_config_mappings(pid, tid, target_display);
    Autolock process_lock{pid_to_process_data_map_cs};
    const config_map* map = find_offered_configs_locked(pid, target_display);
    std::vector<EGLConfig> host_configs;
    if (!map || !choose_on_host(host_display, host_attrib_list, &host_configs))
        return false;

    auto forced = static_cast<int32_t>(setting(zelvar_only_settings.forceHostEGLConfigID));
    int32_t found = 0;
    for (EGLConfig host_config : host_configs) {
        if (target_configs && found >= config_size)
            break;
        auto entry = std::find_if(map->begin(), map->end(), [&](const auto& candidate) {
            return candidate.second.host_config == host_config ||
                   (forced != 0 && candidate.second.config_id == forced);
        });
        if (entry == map->end())
            continue;
        if (target_configs)
            target_configs[found] = entry->first;
        ++found;
    }
    *count = found;
    return true;
}
