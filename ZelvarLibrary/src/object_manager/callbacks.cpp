// The one call-back that a target thread's outstanding request waits with.
#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

#include <utility>

void zelvar_object_manager_set_callback_for_command_executed_message(pid_t pid, tid_t tid,
                                                                     command_executed_callback callback,
                                                                     std::shared_ptr<void> user_data)
{
    Autolock callback_lock{callback_map_cs};
    auto [entry, added] = callback_map.try_emplace({pid, tid});
    if (!added)
        LOG_ERROR(
            "Potential flaw: a call-back was registered even though user attempted to register a new one! "
            "Please investigate");
    entry->second = {callback, std::move(user_data)};
}

void zelvar_object_manager_get_callback_for_command_executed_message(pid_t pid, tid_t tid,
                                                                     command_executed_callback* callback,
                                                                     std::shared_ptr<void>* user_data)
{
    *callback = nullptr;
    user_data->reset();
    // The simulator's thread stays out of a registry that is being taken down.
    Autolock common_lock{pid_to_process_data_map_common_cs};
    Autolock callback_lock{callback_map_cs};
    auto entry = callback_map.extract({pid, tid});
    if (!entry) {
        LOG_ERROR("Potential flaw: no command executed message call-back found.");
        return;
    }
    *callback = entry.mapped().function;
    *user_data = std::move(entry.mapped().user_data);
}
