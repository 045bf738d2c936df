// Ends whole processes. Nothing calls this: no message tells that a target process has died. Doesn't end
// while a process has a context that was never current, since such a context can't be deleted.
#include "object_manager/registry.h"
#include "object_manager/zelvar_object_manager.h"
#include "sidechannel_log.h"

namespace {
/// The first context in key order; false when there is none left.
bool first_host_context(pid_t pid, EGLContext* host)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process(pid);
    if (!process || process->contexts.empty())
        return false;
    *host = process->contexts.begin()->second->host_context;
    return true;
}
} // namespace

void zelvar_object_manager_delete_all_contexts_for_pid(pid_t pid, bool flag)
{
    EGLContext host = EGL_NO_CONTEXT;
    while (first_host_context(pid, &host)) {
        uint64_t target_context = 0;
        if (zelvar_object_manager_get_target_context(pid, host, &target_context))
            zelvar_object_manager_delete_target_context(pid, target_context, flag);
        else
            LOG_ERROR("Cannot retrieve target context for PID=%d", pid);
    }
    decltype(_zelvar_object_manager_process_data::extensions) extensions;
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        auto process = pid_to_process_data_map.find(pid);
        if (process == pid_to_process_data_map.end())
            return;
        extensions.swap(process->second.extensions);
        registry::note_binding_change();
        pid_to_process_data_map.erase(process);
    }
    for (const auto& [display, of_display] : extensions)
        if (of_display && of_display->supported)
            LOG_FATAL("eglTerminate() has not been called. Memory leaks ahead.");
}

void zelvar_object_manager_delete_contexts()
{
    std::vector<pid_t> pids;
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        for (const auto& [pid, process] : pid_to_process_data_map)
            pids.push_back(pid);
    }
    for (pid_t pid : pids)
        zelvar_object_manager_delete_all_contexts_for_pid(pid, true);
}
