// Start and end of the registry.
#include "object_manager/registry.h"
#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

#include <atomic>
#include <utility>

namespace {
std::atomic<bool> test_mode_active{false};

void create_section(critical_section__*& cs)
{
    if (!cs)
        cs = critical_section_create();
}

void release_section(critical_section__*& cs)
{
    if (cs)
        critical_section_release(std::exchange(cs, nullptr));
}

void clear_process_maps()
{
    Autolock process_lock{pid_to_process_data_map_cs};
    if (!pid_to_process_data_map.empty())
        LOG_WARN("PID->context data map is not empty. Zelvar exiting with %d processes still handled",
                 static_cast<int>(pid_to_process_data_map.size()));
    registry::note_binding_change();
    pid_to_process_data_map.clear();
    target_display_configs_map.clear();
    target_config_in_use_map.clear();
}

void clear_leaf_maps()
{
    {
        Autolock net_lock{pid_to_process_net_data_map_cs};
        pid_to_process_net_data_map.clear();
    }
    Autolock thread_lock{process_thread_id_pair_to_thread_data_map_cs};
    process_thread_id_pair_to_thread_data_map.clear();
    egl_target_to_source_sibling_map.clear();
}
} // namespace

void zelvar_object_manager_init(bool test_mode)
{
    // Three of them outlive deinit.
    for (auto* cs : {&pid_to_process_data_map_cs, &pid_to_process_data_map_common_cs,
                     &pid_to_process_data_map_vk_cs, &pid_to_process_net_data_map_cs,
                     &process_thread_id_pair_to_thread_data_map_cs, &callback_map_cs, &host_pixel_map_cs})
        create_section(*cs);
    test_mode_active = test_mode;
    registry::accept_workers(true);
    if (!host_display_configs)
        host_display_configs = new std::vector<_zelvar_object_manager_config>;
    host_display_configs->clear();
    _init_host_egl_configs(test_mode);
}

void zelvar_object_manager_deinit()
{
    if (!pid_to_process_data_map_common_cs)
        return;
    // The simulator's thread enters by the common section first, so it can't be inside what goes away here.
    Autolock common_lock{pid_to_process_data_map_common_cs};
    registry::accept_workers(false);
    registry::clear_response_semaphores();
    if (!pid_to_process_data_map_cs)
        return;
    clear_process_maps();
    for (auto& [pid, common] : pid_to_process_data_map_common)
        common.gles_record_created = false;
    clear_leaf_maps();
    release_section(callback_map_cs);
    release_section(pid_to_process_data_map_cs);
    release_section(process_thread_id_pair_to_thread_data_map_cs);
    release_section(pid_to_process_net_data_map_cs);
    delete std::exchange(host_display_configs, nullptr);
}

bool zelvar_object_manager_is_test_mode_active()
{
    return test_mode_active;
}

void zelvar_object_manager_ensure_process_record(pid_t pid)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    pid_to_process_data_map.try_emplace(pid);
}

_zelvar_object_manager_process_data* registry::find_process(pid_t pid)
{
    auto process = pid_to_process_data_map.find(pid);
    return process == pid_to_process_data_map.end() ? nullptr : &process->second;
}

_zelvar_object_manager_process_data* registry::find_process_or_log(pid_t pid)
{
    auto* process = find_process(pid);
    if (!process)
        LOG_ERROR("Cannot find process data for Process ID %d", pid);
    return process;
}
