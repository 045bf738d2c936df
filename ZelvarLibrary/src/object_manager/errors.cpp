// Errors that wait for the target's next query, and the comparison of both sides' error codes.
#include "object_manager/registry.h"
#include "object_manager/zelvar_object_manager.h"
#include "registration/zelvar_test_support.h"
#include "settings/zelvar_settings.h"
#include "sidechannel_log.h"

namespace {
/// The first real context of a thread in key order, current or not; null when it has none.
_zelvar_object_manager_context* find_error_store(const _zelvar_object_manager_process_data& process,
                                                 tid_t tid)
{
    for (const auto& [key, context] : process.contexts)
        if (key != 0 && context->bound_thread == tid)
            return context.get();
    return nullptr;
}

/// `no_error` is the API's own word for it. Only the host's error is stored; a difference is reported and
/// execution goes on with the host's result.
template <class Store>
unsigned set_and_check(const char* name, unsigned target_error, unsigned host_error, unsigned no_error,
                       Store store)
{
    if (host_error != no_error) [[unlikely]] {
        LOG_ERROR("%s on host returns error code 0x%04X", name, host_error);
        store(host_error);
    }
    if (!zelvar_call_on_target() || !sidechannel_error_check_support(zelvar_settings, name)) [[likely]]
        return host_error;
    if (target_error != no_error)
        LOG_ERROR("%s on target returns error code 0x%04X", name, target_error);
    if (target_error != host_error)
        LOG_ERROR("%s Inconsistent error code detected. host=0x%04X, target=0x%04X", name, host_error,
                  target_error);
    return host_error;
}
} // namespace

bool zelvar_object_manager_set_egl_error(pid_t pid, tid_t tid, uint32_t error)
{
    if (zelvar_internal_call_fails(zelvar_internal_set_egl_error))
        return false;
    Autolock thread_lock{process_thread_id_pair_to_thread_data_map_cs};
    process_thread_id_pair_to_thread_data_map[{pid, tid}].egl_error = error;
    return true;
}

bool zelvar_object_manager_get_egl_error(pid_t pid, tid_t tid, uint32_t* error)
{
    if (zelvar_internal_call_fails(zelvar_internal_get_egl_error))
        return false;
    if (zelvar_internal_call_fakes(zelvar_internal_get_egl_error, error))
        return true;
    Autolock thread_lock{process_thread_id_pair_to_thread_data_map_cs};
    auto& stored = process_thread_id_pair_to_thread_data_map[{pid, tid}].egl_error;
    *error = std::exchange(stored, EGL_SUCCESS);
    return true;
}

bool zelvar_object_manager_set_gles_error(pid_t pid, tid_t tid, uint32_t error)
{
    if (zelvar_internal_call_fails(zelvar_internal_set_gles_error))
        return false;
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process(pid);
    if (!process) {
        LOG_ERROR("Could not find context descriptor for PID [%d] - GLES error code [0x%04X] cannot be set",
                  pid, error);
        return true;
    }
    auto* context = find_error_store(*process, tid);
    if (!context) {
        LOG_ERROR(
            "Could not find GLES context descriptor for <%d, %ld> pid/tid pair - GLES error code [0x%04X] "
            "cannot be set.",
            pid, tid, error);
        return true;
    }
    if (context->gles_error == GL_NO_ERROR)
        context->gles_error = error;
    return true;
}

bool zelvar_object_manager_get_gles_error(pid_t pid, tid_t tid, uint32_t* error)
{
    if (zelvar_internal_call_fails(zelvar_internal_get_gles_error))
        return false;
    if (zelvar_internal_call_fakes(zelvar_internal_get_gles_error, error))
        return true;
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process(pid);
    if (!process) {
        LOG_ERROR("Unable to retrieve EGL descriptor for PID [%d]", pid);
        return false;
    }
    auto* context = find_error_store(*process, tid);
    if (!context)
        return false;
    *error = std::exchange(context->gles_error, GL_NO_ERROR);
    return true;
}

unsigned zelvar_object_manager_set_and_check_error_code(pid_t pid, tid_t tid, const char* name,
                                                        unsigned target_error, unsigned host_error)
{
    return set_and_check(name, target_error, host_error, GL_NO_ERROR, [pid, tid](unsigned error) {
        zelvar_object_manager_set_gles_error(pid, tid, error);
    });
}

unsigned zelvar_object_manager_set_and_check_egl_error_code(pid_t pid, tid_t tid, const char* name,
                                                            unsigned target_error, unsigned host_error)
{
    return set_and_check(name, target_error, host_error, EGL_SUCCESS, [pid, tid](unsigned error) {
        zelvar_object_manager_set_egl_error(pid, tid, error);
    });
}
