// Records of EGL sync objects while nothing runs on the target.
#include "object_manager/registry.h"
#include "object_manager/zelvar_object_manager.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"

namespace {
using sync_map = std::map<uint64_t, std::shared_ptr<_zelvar_sync_khr_descriptor>>;

/// The syncs of a process; an unknown process has none. Under pid_to_process_data_map_cs.
sync_map& syncs_of(pid_t pid)
{
    static sync_map& none = *new sync_map;
    auto* process = registry::find_process_or_log(pid);
    return process ? process->syncs : none;
}

/// Lowers the count; true when the record went with it.
bool drop_reference(sync_map& syncs, sync_map::iterator sync_khr_iterator)
{
    ZELVAR_ASSERT_TEXT(sync_khr_iterator->second->ref_counter > 0,
                       "sync_khr_iterator->second.ref_counter > 0");
    if (--sync_khr_iterator->second->ref_counter > 0)
        return false;
    syncs.erase(sync_khr_iterator);
    return true;
}
} // namespace

bool zelvar_object_manager_add_sync_khr_object(pid_t pid, uint32_t type, uint64_t target_sync)
{
    auto record = std::make_shared<_zelvar_sync_khr_descriptor>();
    record->type = type;
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    return process && process->syncs.emplace(target_sync, std::move(record)).second;
}

bool zelvar_object_manager_get_sync_khr_object(pid_t pid, uint64_t target_sync,
                                               std::shared_ptr<_zelvar_sync_khr_descriptor>* out)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto& syncs = syncs_of(pid);
    auto found = syncs.find(target_sync);
    if (found == syncs.end()) {
        LOG_FATAL("Cannot find mapping for shim sync object [%#lx].", target_sync);
        return false;
    }
    *out = found->second;
    return true;
}

bool zelvar_object_manager_delete_sync_khr_object(pid_t pid, uint64_t target_sync)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    if (syncs_of(pid).erase(target_sync) == 0) {
        LOG_FATAL("Cannot delete mapping for [%#lx] due to mapping does not exist.", target_sync);
        return false;
    }
    return true;
}

bool zelvar_object_manager_retain_sync_khr_object(pid_t pid, tid_t, uint64_t target_sync)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto& syncs = syncs_of(pid);
    auto found = syncs.find(target_sync);
    if (found == syncs.end()) {
        LOG_FATAL("Cannot retain sync khr object for [%#lx] due to mapping does not exist.", target_sync);
        return false;
    }
    found->second->ref_counter++;
    return true;
}

bool zelvar_object_manager_release_sync_khr_object(pid_t pid, tid_t tid, uint64_t target_sync)
{
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        auto& syncs = syncs_of(pid);
        auto found = syncs.find(target_sync);
        if (found == syncs.end()) {
            LOG_FATAL("Cannot release sync khr object for [%#lx] due to mapping does not exist.",
                      target_sync);
            return false;
        }
        if (!drop_reference(syncs, found))
            return true;
    }
    zelvar_shim_dispatch_shim_sync_object_destroy(pid, tid, target_sync);
    return true;
}
