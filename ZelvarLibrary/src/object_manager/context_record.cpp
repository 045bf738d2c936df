// Making and ending the record of one context.
#include "object_manager/registry.h"
#include "object_manager/share_groups.h"

#include "data_model/zelvar_data_model.h"
#include "sidechannel_log.h"

#include <algorithm>
#include <new>

namespace {
/// Runs for the last owner. What was not deinitialised goes without a report.
void destroy_context(_zelvar_object_manager_context* context)
{
    zelvar_data_model_ref_counter_drop_data_shared(&context->data);
    if (context->cs)
        critical_section_release(context->cs);
    delete context;
}

void start_share_group(_zelvar_context_data& data)
{
    data.data_shared = new (std::nothrow) _zelvar_context_data_shared;
    if (!data.data_shared) {
        LOG_FATAL("Out of memory while instantiating _zelvar_context_data_shared");
        return;
    }
    data.data_shared->lock = critical_section_create();
}

void join_share_group(_zelvar_context_data& data, _zelvar_context_data_shared* group)
{
    Autolock group_lock{group->lock};
    data.data_shared = group;
    zelvar_data_model_ref_counter_retain_data_shared(&data);
}

void release_program_in_use(_zelvar_context_data& data)
{
    if (data.current_program == 0)
        return;
    if (data.data_shared) {
        Autolock objects_lock{data.data_shared->objects.section};
        if (data.data_shared->programs.contains(data.current_program))
            zelvar_data_model_ref_counter_release_program_object(&data, data.current_program);
    }
    data.current_program = 0;
    data.current_host_program = 0;
}

void leave_share_group(_zelvar_context_data& data)
{
    if (!data.data_shared)
        return;
    critical_section__* lock = data.data_shared->lock;
    {
        Autolock group_lock{lock};
        zelvar_data_model_ref_counter_release_data_shared(&data);
    }
    if (data.data_shared == nullptr)
        critical_section_release(lock);
    // Others may go on with the group, this context no longer counts for it.
    data.data_shared = nullptr;
}

std::vector<registry::context_ptr>& retired_contexts = *new std::vector<registry::context_ptr>;
} // namespace

visited_group::visited_group(pid_t pid, uint64_t target_context)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process(pid);
    if (!process)
        return;
    auto context = process->contexts.find(target_context);
    // A registered context's group can't end while the process map is locked.
    if (context != process->contexts.end() && context->second->data.data_shared)
        join_share_group(_visitor, context->second->data.data_shared);
}

visited_group::~visited_group()
{
    leave_share_group(_visitor);
}

registry::context_ptr registry::_init_zelvar_context_manager_context(
    uint64_t target_context, EGLContext host_context, const _zelvar_object_manager_context* shared_with,
    int32_t target_major, int32_t target_minor, int32_t host_major, int32_t host_minor)
{
    context_ptr context{new _zelvar_object_manager_context, destroy_context};
    context->target_context = target_context;
    context->host_context = host_context;
    context->cs = critical_section_create();
    auto& data = context->data;
    data.target_major_version = target_major;
    data.target_minor_version = target_minor;
    data.host_major_version = host_major;
    data.host_minor_version = host_minor;
    data.data_nonshared.reset(new (std::nothrow) _zelvar_context_data_nonshared);
    if (!data.data_nonshared)
        LOG_FATAL("Out of memory while instantiating _zelvar_context_data_nonshared");
    if (shared_with && shared_with->data.data_shared)
        join_share_group(data, shared_with->data.data_shared);
    else
        start_share_group(data);
    // Nobody meets a model with half of it missing.
    return data.data_nonshared && data.data_shared ? context : nullptr;
}

void registry::_deinit_zelvar_object_manager_context(_zelvar_object_manager_context& context)
{
    auto& data = context.data;
    release_program_in_use(data);
    leave_share_group(data);
    // The non-shared half goes with this, after its leftovers are reported.
    zelvar_data_model_deinit_zelvar_context_data(&data);
}

void registry::retire_context(pid_t pid, const context_ptr& context)
{
    note_binding_change();
    if (context->current)
        note_orphan(pid, context->bound_thread);
    context->removed = true;
    retired_contexts.push_back(context);
}

void registry::drop_retired_context(const context_ptr& context)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    // Whoever leaves the section last finds it free and drops the record.
    if (critical_section_verify(context->cs))
        std::erase(retired_contexts, context);
}

registry::context_ptr registry::find_retired_context(const _zelvar_context_data* data)
{
    auto found = std::find_if(retired_contexts.begin(), retired_contexts.end(),
                              [data](const auto& context) { return &context->data == data; });
    return found == retired_contexts.end() ? nullptr : *found;
}
