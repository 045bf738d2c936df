// Registering, binding and deleting target contexts, and what is asked about them.
#include "data_model/zelvar_data_model.h"
#include "object_manager/registry.h"
#include "object_manager/zelvar_object_manager.h"
#include "registration/zelvar_test_support.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"

using registry::context_ptr;
using memory_blocks = std::vector<_zelvar_object_manager_target_deallocate_memory_descriptor>;

namespace {
using process_data = _zelvar_object_manager_process_data;

context_ptr find_context(const process_data& process, uint64_t target_context)
{
    auto found = process.contexts.find(target_context);
    return found == process.contexts.end() ? nullptr : found->second;
}

/// The first real context in key order that belongs to a thread, whether current or not. Nobody owns the null
/// context.
context_ptr find_bound_context(const process_data& process, tid_t tid)
{
    for (const auto& [key, context] : process.contexts)
        if (key != 0 && context->bound_thread == tid)
            return context;
    return nullptr;
}

/// A context that another one was to share with; null, with a line, when it is unknown.
context_ptr find_share_context(const process_data& process, uint64_t target_share_context,
                               uint64_t target_context)
{
    if (target_share_context == 0)
        return nullptr;
    auto context = find_context(process, target_share_context);
    if (!context)
        LOG_ERROR("Could not find context data descriptor for target-side context id [%16ld] with which "
                  "target-side context [%16ld] was to share resources with.",
                  target_share_context, target_context);
    return context;
}

/// Ends a context that a newer one with its key has replaced, once nobody works on it any more.
void end_replaced_context(const context_ptr& context)
{
    {
        Autolock context_lock{context->cs};
        registry::_deinit_zelvar_object_manager_context(*context);
    }
    registry::drop_retired_context(context);
}

bool bind_created_context(pid_t pid, const process_data& process, uint64_t target_context, tid_t tid,
                          uint64_t target_draw, uint64_t target_read)
{
    auto context = target_context ? find_context(process, target_context) : nullptr;
    if (!context)
        return false;
    if (context->bound_thread != 0) {
        LOG_ERROR("Context [%16ld] is already bound to thread [%ld] for process [%d] - won't rebind!",
                  target_context, context->bound_thread, pid);
        return false;
    }
    context->bound_draw_surface = target_draw;
    context->bound_read_surface = target_read;
    context->bound_thread = tid;
    return true;
}

/// Every other context of the thread stays assigned to it, so that its errors can still be found by thread.
context_ptr make_context_current(const process_data& process, uint64_t target_context, tid_t tid,
                                 uint64_t target_draw, uint64_t target_read)
{
    context_ptr made_current;
    for (const auto& [key, context] : process.contexts) {
        if (key == target_context) {
            context->bound_draw_surface = target_draw;
            context->bound_read_surface = target_read;
            context->bound_thread = tid;
            context->current = true;
            made_current = context;
        } else if (context->bound_thread == tid) {
            context->current = false;
        }
    }
    return made_current;
}

bool unbind_first_context(pid_t pid, const process_data& process, tid_t tid, uint64_t target_draw,
                          uint64_t target_read)
{
    auto context = find_bound_context(process, tid);
    if (!context) {
        LOG_WARN("No context was unbound from thread [%ld] for process [%d]", tid, pid);
        return false;
    }
    context->bound_draw_surface = target_draw;
    context->bound_read_surface = target_read;
    context->bound_thread = 0;
    context->current = false;
    return true;
}

/// Fills the model of a context that became current for the first time. Talks to the host and to the target,
/// so nothing but the context itself is locked.
void initialise_context_data(pid_t pid, tid_t tid, const context_ptr& context)
{
    Autolock context_lock{context->cs};
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        if (context->data_initialised || context->removed)
            return;
    }
    zelvar_data_model_init_zelvar_context_data(pid, tid, &context->data);
    Autolock process_lock{pid_to_process_data_map_cs};
    context->data_initialised = true;
}

/// Moves the addresses of all that a context has written into target memory to `blocks`.
void collect_target_memory(pid_t pid, tid_t tid, _zelvar_context_data& data, memory_blocks& blocks)
{
    auto take = [&](target_ptr& address) {
        if (address)
            blocks.push_back({pid, tid, address});
        address = {};
    };
    for (auto& address : data.extensions.name_addresses)
        take(address);
    take(data.extensions.target_address);
    for (auto& [name, address] : data.target_strings)
        take(address);
    data.target_strings.clear();
    if (!zelvar_call_on_target())
        for (auto& [display, strings] : data.target_egl_strings)
            for (auto& [name, address] : strings)
                take(address);
    data.target_egl_strings.clear();
    data.extensions.supported.reset();
}

enum class removal
{
    done,
    not_there,
    refused // never current, or of an unknown process
};

/// Looks for a context that may be deleted.
removal find_deletable(pid_t pid, uint64_t target_context, context_ptr& context)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process(pid);
    if (!process)
        return removal::refused;
    context = find_context(*process, target_context);
    if (!context)
        return removal::not_there;
    // The target has its answer already; a context that was never current stays in the registry.
    return context->data_initialised ? removal::done : removal::refused;
}

/// The caller has waited for the context, so it may be gone or replaced by now.
removal erase_context(pid_t pid, const context_ptr& context, tid_t& bound_thread)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process(pid);
    if (!process)
        return removal::refused;
    if (find_context(*process, context->target_context) != context)
        return removal::not_there;
    bound_thread = context->bound_thread;
    registry::retire_context(pid, context);
    process->contexts.erase(context->target_context);
    return removal::done;
}

removal remove_context(pid_t pid, const context_ptr& context, memory_blocks& blocks)
{
    Autolock context_lock{context->cs};
    tid_t bound_thread = 0;
    removal outcome = erase_context(pid, context, bound_thread);
    if (outcome != removal::done)
        return outcome;
    collect_target_memory(pid, bound_thread, context->data, blocks);
    registry::_deinit_zelvar_object_manager_context(*context);
    LOG_INFO("Context [%16ld] of process [%d] is no longer considered valid.", context->target_context, pid);
    return removal::done;
}

template <class Read>
int32_t read_version(pid_t pid, uint64_t target_context, Read read)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    auto context = process ? find_context(*process, target_context) : nullptr;
    return context ? read(context->data) : -1;
}
} // namespace

bool zelvar_object_manager_add_context(pid_t pid, tid_t, EGLContext host_context, EGLDisplay,
                                       uint64_t target_context, uint64_t target_share_context,
                                       int32_t target_major, int32_t target_minor, int32_t host_major,
                                       int32_t host_minor)
{
    if (zelvar_internal_call_fails(zelvar_internal_add_context))
        return false;
    context_ptr replaced;
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        auto* process = registry::find_process(pid);
        if (!process) {
            LOG_ERROR("Could not find process data instance for process id [%d]", pid);
            return false;
        }
        // The null context is used without a lock, so its place is never given away.
        if (target_context == 0)
            return false;
        replaced = find_context(*process, target_context);
        if (replaced)
            LOG_ALWAYS("WARN", "Target context [%ld] is already known, data desync ahead.", target_context);
        auto shared_with = find_share_context(*process, target_share_context, target_context);
        auto context = registry::_init_zelvar_context_manager_context(target_context, host_context,
                                                                      shared_with.get(), target_major,
                                                                      target_minor, host_major, host_minor);
        if (!context)
            return false;
        if (replaced)
            registry::retire_context(pid, replaced);
        process->contexts[target_context] = std::move(context);
    }
    if (replaced)
        end_replaced_context(replaced);
    return true;
}

bool zelvar_object_manager_bind_context_to_thread(pid_t pid, uint64_t target_context, tid_t tid,
                                                  uint64_t target_draw, uint64_t target_read, bool created)
{
    zelvar_object_manager_set_draw_surface_changed_flag();
    if (zelvar_internal_call_fails(zelvar_internal_bind_context_to_thread))
        return false;
    context_ptr context;
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        auto* process = registry::find_process(pid);
        if (!process) {
            LOG_ERROR("PID [%d] has not been recognized - cannot bind context [%16ld] to thread [%ld]", pid,
                      target_context, tid);
            return false;
        }
        registry::note_binding_change();
        if (created)
            return bind_created_context(pid, *process, target_context, tid, target_draw, target_read);
        registry::forget_orphan(pid, tid);
        if (target_context == 0)
            return unbind_first_context(pid, *process, tid, target_draw, target_read);
        context = make_context_current(*process, target_context, tid, target_draw, target_read);
    }
    if (!context)
        return false;
    initialise_context_data(pid, tid, context);
    return true;
}

bool zelvar_object_manager_delete_target_context(pid_t pid, uint64_t target_context, bool)
{
    if (zelvar_internal_call_fails(zelvar_internal_delete_target_context))
        return false;
    context_ptr context;
    memory_blocks blocks;
    removal outcome = find_deletable(pid, target_context, context);
    if (outcome == removal::done)
        outcome = remove_context(pid, context, blocks);
    if (outcome == removal::not_there)
        LOG_ERROR("Could not delete GLES context [%16ld] for process [%d] - cannot find the context!",
                  target_context, pid);
    if (outcome != removal::done)
        return false;
    registry::drop_retired_context(context);
    for (const auto& block : blocks)
        zelvar_shim_dispatch_deallocate_memory_block(block.pid, block.tid, block.address);
    return true;
}

bool zelvar_object_manager_get_host_context(pid_t pid, uint64_t target_context, EGLContext* host)
{
    if (zelvar_internal_call_fails(zelvar_internal_get_host_context))
        return false;
    if (zelvar_internal_call_fakes(zelvar_internal_get_host_context, host))
        return true;
    if (target_context == 0) {
        *host = EGL_NO_CONTEXT;
        return true;
    }
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    if (!process)
        return false;
    auto context = find_context(*process, target_context);
    if (!context) {
        LOG_ERROR("Could not find host-side context for target-side context [%16ld] for process id [%d]",
                  target_context, pid);
        return false;
    }
    *host = context->host_context;
    return true;
}

bool zelvar_object_manager_get_target_context(pid_t pid, EGLContext host, uint64_t* target)
{
    if (zelvar_internal_call_fails(zelvar_internal_get_target_context))
        return false;
    if (zelvar_internal_call_fakes(zelvar_internal_get_target_context, target))
        return true;
    if (host == EGL_NO_CONTEXT) {
        *target = 0;
        return true;
    }
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    if (!process)
        return false;
    for (const auto& [key, context] : process->contexts) {
        if (context->host_context == host) {
            *target = key;
            return true;
        }
    }
    LOG_ERROR("Could not find target-side context for host-side context [%p] for process id [%d]", host, pid);
    return false;
}

bool zelvar_object_manager_get_bound_host_context(pid_t pid, tid_t tid, EGLContext* host)
{
    if (zelvar_internal_call_fails(zelvar_internal_get_bound_host_context))
        return false;
    if (zelvar_internal_call_fakes(zelvar_internal_get_bound_host_context, host))
        return true;
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    if (!process)
        return false;
    auto context = find_bound_context(*process, tid);
    if (!context) {
        LOG_ERROR("Could not find a context that is bound to thread [%ld] for process id [%d]", tid, pid);
        return false;
    }
    *host = context->host_context;
    return true;
}

bool zelvar_object_manager_get_bound_target_surfaces(pid_t pid, tid_t tid, uint64_t* draw, uint64_t* read)
{
    if (zelvar_internal_call_fails(zelvar_internal_get_bound_target_surfaces))
        return false;
    struct
    {
        uint64_t draw = 0;
        uint64_t read = 0;
    } surfaces;
    if (zelvar_internal_call_fakes(zelvar_internal_get_bound_target_surfaces, &surfaces)) {
        *draw = surfaces.draw;
        *read = surfaces.read;
        return true;
    }
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process_or_log(pid);
    if (!process)
        return false;
    for (const auto& [key, context] : process->contexts) {
        if (context->current && context->bound_thread == tid) {
            *draw = context->bound_draw_surface;
            *read = context->bound_read_surface;
            return true;
        }
    }
    LOG_ERROR("Could not find a context that is current on thread [%ld] for process id [%d]", tid, pid);
    return false;
}

int32_t zelvar_object_manager_get_host_context_major_version(pid_t pid, uint64_t target_context)
{
    return read_version(pid, target_context, [](const auto& data) { return data.host_major_version; });
}

int32_t zelvar_object_manager_get_target_context_major_version(pid_t pid, uint64_t target_context)
{
    return read_version(pid, target_context, [](const auto& data) { return data.target_major_version; });
}
