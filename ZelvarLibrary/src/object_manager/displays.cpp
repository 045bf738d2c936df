// Displays: the target's names for the one host display, their state, and their extension records.

#include "object_manager/display_maps.h"

#include "object_manager/zelvar_object_manager.h"
#include "registration/zelvar_test_support.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"

#include <algorithm>
#include <iterator>

std::map<uint64_t, EGLDisplay>& global_display_mapping = *new std::map<uint64_t, EGLDisplay>;
std::map<EGLDisplay, uint32_t>& host_display_parameters_map = *new std::map<EGLDisplay, uint32_t>;

namespace {
uint64_t number_of(EGLDisplay display)
{
    return reinterpret_cast<uint64_t>(display);
}

/// Null when the process or the display is unknown. The caller holds pid_to_process_data_map_cs.
_zelvar_target_display_parameters* find_display_locked(pid_t pid, uint64_t target_display)
{
    auto process = pid_to_process_data_map.find(pid);
    if (process == pid_to_process_data_map.end())
        return nullptr;
    auto display = process->second.displays.find(target_display);
    return display == process->second.displays.end() ? nullptr : &display->second;
}

std::shared_ptr<_zelvar_extensions> find_extensions(pid_t pid, uint64_t target_display)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto process = pid_to_process_data_map.find(pid);
    if (process == pid_to_process_data_map.end())
        return nullptr;
    auto record = process->second.extensions.find(target_display);
    return record == process->second.extensions.end() ? nullptr : record->second;
}

bool insert_display(pid_t pid, EGLDisplay host_display, uint64_t target_display,
                    _zelvar_context_data* context)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto& displays = pid_to_process_data_map[pid].displays;
    if (!displays.try_emplace(target_display, _zelvar_target_display_parameters{host_display, false})
             .second) {
        LOG_ERROR("Cannot add display object to object manager - object [%16p] is already known!",
                  reinterpret_cast<void*>(target_display));
        return false;
    }
    if (context)
        context->target_egl_strings[target_display];
    return true;
}
} // namespace

bool zelvar_object_manager_add_display(pid_t pid, tid_t tid, EGLDisplay host_display, uint64_t target_display)
{
    if (zelvar_internal_call_fails(zelvar_internal_add_display))
        return false;
    // The context is entered first, as everywhere. Threads without one share a record that has no lock of its
    // own: the process lock guards its string map.
    _zelvar_context_data* context =
        zelvar_call_on_target() ? nullptr : zelvar_object_manager_lock_context_data(pid, tid);
    bool added = insert_display(pid, host_display, target_display, context);
    if (context)
        zelvar_object_manager_unlock_context_data(context);
    return added;
}

bool zelvar_object_manager_delete_display(pid_t pid, uint64_t target_display)
{
    if (zelvar_internal_call_fails(zelvar_internal_delete_display))
        return false;
    Autolock process_lock{pid_to_process_data_map_cs};
    auto process = pid_to_process_data_map.find(pid);
    return process != pid_to_process_data_map.end() && process->second.displays.erase(target_display) != 0;
}

bool zelvar_object_manager_get_host_display(pid_t pid, tid_t tid, uint64_t target_display, EGLDisplay* host)
{
    if (zelvar_internal_call_fails(zelvar_internal_get_host_display))
        return false;
    if (zelvar_internal_call_fakes(zelvar_internal_get_host_display, host))
        return true;
    if (target_display == 0) {
        *host = EGL_NO_DISPLAY;
        return true;
    }
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        if (auto* display = find_display_locked(pid, target_display)) {
            *host = display->host_display;
            return true;
        }
    }
    EGLDisplay shared = EGL_NO_DISPLAY;
    if (!zelvar_object_manager_global_display_mapping_get_host_display(target_display, &shared)) {
        LOG_ERROR("Could not find host-side display for target-side display [%#lx] for process id [0x%08x]",
                  target_display, pid);
        return false;
    }
    LOG_DEBUG("Found global host-side<=>target-side mapping and get host-side display [%#lx] by target-side "
              "display [%#lx]!",
              number_of(shared), target_display);
    zelvar_object_manager_add_display(pid, tid, shared, target_display);
    *host = shared;
    return true;
}

bool zelvar_object_manager_get_target_display(pid_t pid, EGLDisplay host_display, uint64_t* target)
{
    if (zelvar_internal_call_fails(zelvar_internal_get_target_display))
        return false;
    if (zelvar_internal_call_fakes(zelvar_internal_get_target_display, target))
        return true;
    Autolock process_lock{pid_to_process_data_map_cs};
    auto process = pid_to_process_data_map.find(pid);
    if (process == pid_to_process_data_map.end())
        return false;
    const auto& displays = process->second.displays;
    auto found = std::find_if(displays.begin(), displays.end(),
                              [&](const auto& entry) { return entry.second.host_display == host_display; });
    if (found == displays.end())
        return false;
    *target = found->first;
    return true;
}

bool zelvar_object_manager_get_display(pid_t pid, uint32_t index, EGLDisplay* host, uint64_t* target)
{
    if (zelvar_internal_call_fails(zelvar_internal_get_display))
        return false;
    Autolock process_lock{pid_to_process_data_map_cs};
    auto process = pid_to_process_data_map.find(pid);
    if (process == pid_to_process_data_map.end() || index >= process->second.displays.size())
        return false;
    auto display = std::next(process->second.displays.begin(), index);
    *host = display->second.host_display;
    *target = display->first;
    return true;
}

bool zelvar_object_manager_get_display_initialized_state(pid_t pid, uint64_t target_display, bool* state)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* display = find_display_locked(pid, target_display);
    if (!display)
        return false;
    *state = display->initialised;
    return true;
}

bool zelvar_object_manager_set_display_initialized_state(pid_t pid, uint64_t target_display, bool state)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* display = find_display_locked(pid, target_display);
    if (!display)
        return false;
    display->initialised = state;
    return true;
}

bool zelvar_object_manager_global_display_mapping_add(uint64_t target, EGLDisplay host)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto [entry, added] = global_display_mapping.try_emplace(target, host);
    if (!added && entry->second != host)
        LOG_FATAL("Target display [%#lx] already mapped to host display [%p]. Remapping to host display [%p] "
                  "skipped",
                  target, entry->second, host);
    return added;
}

bool zelvar_object_manager_global_display_mapping_delete(uint64_t target)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    if (global_display_mapping.erase(target) != 0)
        return true;
    LOG_FATAL("Target display [%#lx] was not found in global mapping. Cannot delete.", target);
    return false;
}

bool zelvar_object_manager_global_display_mapping_get_host_display(uint64_t target, EGLDisplay* host)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto found = global_display_mapping.find(target);
    if (found == global_display_mapping.end())
        return false;
    *host = found->second;
    return true;
}

bool zelvar_object_manager_global_display_mapping_get_target_display(EGLDisplay host, uint64_t* target)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto found = std::find_if(global_display_mapping.begin(), global_display_mapping.end(),
                              [&](const auto& entry) { return entry.second == host; });
    if (found == global_display_mapping.end())
        return false;
    *target = found->first;
    return true;
}

bool zelvar_object_manager_host_display_inc_ref(EGLDisplay host)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    ++host_display_parameters_map[host];
    LOG_TRACE("Host display [%p] is now initialised by [%u] process(es).", host,
              host_display_parameters_map[host]);
    return true;
}

bool zelvar_object_manager_host_display_dec_ref(EGLDisplay host, bool* last)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto found = host_display_parameters_map.find(host);
    if (found == host_display_parameters_map.end()) {
        LOG_FATAL("Host display [%p] was not found in initialized mapping.", host);
        return false;
    }
    // An entry that stands at 0 is the one that the trace line below has left behind.
    if (found->second > 0)
        --found->second;
    *last = found->second == 0;
    if (*last)
        host_display_parameters_map.erase(found);
    LOG_TRACE("Host display [%p] is now initialised by [%u] process(es).", host,
              host_display_parameters_map[host]);
    return true;
}

uint64_t zelvar_object_manager_generate_target_display(pid_t, uint64_t native_display,
                                                       EGLDisplay host_display)
{
    ZELVAR_ASSERT(native_display == 0);
    return number_of(host_display);
}

bool zelvar_object_manager_free_display_resources(pid_t pid, tid_t tid, uint64_t target_display)
{
    std::vector<_zelvar_object_manager_target_deallocate_memory_descriptor> blocks;
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        auto process = pid_to_process_data_map.find(pid);
        if (process == pid_to_process_data_map.end())
            return false;
        auto record = process->second.extensions.find(target_display);
        if (record == process->second.extensions.end())
            return false;
        // The support table goes with the last reader of the record.
        if (record->second->target_address)
            blocks.push_back({pid, tid, record->second->target_address});
        for (target_ptr name : record->second->name_addresses)
            if (name)
                blocks.push_back({pid, tid, name});
        process->second.extensions.erase(record);
    }
    for (const auto& block : blocks)
        zelvar_shim_dispatch_deallocate_memory_block(block.pid, block.tid, block.address);
    return true;
}

bool zelvar_object_manager_is_egl_extension_supported(pid_t pid, uint64_t target_display, uint32_t index)
{
    auto record = find_extensions(pid, target_display);
    return record && record->supported && index < egl_extension_count && record->supported[index] != 0;
}

bool zelvar_object_manager_get_egl_extensions_string(pid_t pid, uint64_t display, std::string* text,
                                                     std::shared_ptr<_zelvar_extensions>* slot)
{
    auto record = find_extensions(pid, display);
    if (!record)
        return false;
    *text = record->text; // never changes after the record is stored
    *slot = std::move(record);
    return true;
}

bool zelvar_object_manager_get_target_client_extension_region(pid_t pid, target_ptr** slot)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto process = pid_to_process_data_map.find(pid);
    if (process == pid_to_process_data_map.end())
        return false;
    *slot = &process->second.client_extension_region; // process records are never erased
    return true;
}
