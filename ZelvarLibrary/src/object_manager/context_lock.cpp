// How a thread finds, locks and gives back the model of its context. A scan, not an index: contexts are few,
// and the order of the scan decides which one a thread finds first.
#include "object_manager/context_memory.h"
#include "object_manager/registry.h"
#include "object_manager/zelvar_object_manager.h"
#include "registration/host_call.h"
#include "registration/zelvar_test_support.h"
#include "sidechannel_log.h"

#include <atomic>
#include <new>
#include <set>
#include <utility>

using registry::context_ptr;

namespace {
context_ptr find_current_context(const _zelvar_object_manager_process_data& process, tid_t tid)
{
    for (const auto& [key, context] : process.contexts)
        if (context->current && context->bound_thread == tid)
            return context;
    return nullptr;
}

/// What handlers that come before the first eglMakeCurrent work on.
context_ptr find_or_make_null_context(_zelvar_object_manager_process_data& process)
{
    if (auto found = process.contexts.find(0); found != process.contexts.end())
        return found->second;
    auto made = registry::_init_zelvar_context_manager_context(0, EGL_NO_CONTEXT, nullptr, 0, 0, 0, 0);
    if (made)
        process.contexts.emplace(0, made);
    return made;
}

context_ptr find_context_to_lock(pid_t pid, tid_t tid)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    _zelvar_object_manager_process_data* process = nullptr;
    try {
        process = &pid_to_process_data_map[pid];
    } catch (const std::bad_alloc&) {
        LOG_ERROR("Cannot lock context data - process id [%d] is not recognized", pid);
        return nullptr;
    }
    if (auto context = find_current_context(*process, tid))
        return context;
    return find_or_make_null_context(*process);
}

context_ptr find_context_by_key(pid_t pid, uint64_t target_context)
{
    Autolock process_lock{pid_to_process_data_map_cs};
    auto* process = registry::find_process(pid);
    if (!process)
        return nullptr;
    auto found = process->contexts.find(target_context);
    return found == process->contexts.end() ? nullptr : found->second;
}

/// False when the context was removed while this thread waited. The null context is never locked. What
/// decides who holds the lock is known at run time only, so clang's analysis is off here and in
/// leave_context.
ZELVAR_TSA(no_thread_safety_analysis)
bool enter_unless_removed(const context_ptr& context)
{
    if (context->target_context == 0)
        return true;
    critical_section_enter(context->cs);
    if (context->removed) [[unlikely]] {
        critical_section_leave(context->cs);
        registry::drop_retired_context(context);
        return false;
    }
    context->lock_depth++;
    context->lock_holder = std::this_thread::get_id();
    return true;
}

/// Null when `find` finds nothing. The registry keeps the record alive while it is locked.
template <class Find>
_zelvar_context_data* lock_what_is_found(Find find)
{
    while (auto context = find())
        if (enter_unless_removed(context))
            return &context->data;
    return nullptr;
}

/// Changes of threads' contexts so far.
std::atomic<uint64_t> binding_changes{0};
thread_local zelvar_object_manager_context_memory* memory_of_thread = nullptr;

/// By the address of its model, among all processes.
context_ptr find_context_of_data(const _zelvar_context_data* data)
{
    for (const auto& [pid, process] : pid_to_process_data_map)
        for (const auto& [key, context] : process.contexts)
            if (&context->data == data)
                return context;
    return registry::find_retired_context(data);
}

/// Threads whose context was removed while it was current. Guarded by the process map's lock; the count may
/// be looked at without it.
std::set<std::pair<pid_t, tid_t>>& orphaned = *new std::set<std::pair<pid_t, tid_t>>;
std::atomic<size_t> orphans{0};

/// Such a context goes on living on the host, with pixel store modes and arrays that no model knows any more:
/// transfers by another one's would pass the ends of their blocks.
void leave_orphan_on_host(pid_t pid, tid_t tid)
{
    using egl = sidechannel_egl_imports;
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        if (!orphaned.contains({pid, tid}))
            return;
        registry::forget_orphan(pid, tid);
    }
    const auto* host = zelvar_imports_get_egl_ptrs();
    if (host->eglGetCurrentContext && host->eglGetCurrentDisplay && host->eglMakeCurrent &&
        host::egl_unchecked<&egl::eglGetCurrentContext>())
        host::egl_unchecked<&egl::eglMakeCurrent>(host::egl_unchecked<&egl::eglGetCurrentDisplay>(),
                                                  EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
}

ZELVAR_TSA(no_thread_safety_analysis)
void leave_context(_zelvar_object_manager_context& context)
{
    if (context.lock_depth > 0 && --context.lock_depth == 0)
        context.lock_holder = std::thread::id{};
    critical_section_leave(context.cs);
}
} // namespace

void registry::note_orphan(pid_t pid, tid_t tid)
{
    try {
        orphaned.emplace(pid, tid);
    } catch (const std::bad_alloc&) {
        LOG_ERROR("Out of memory for a thread whose context has gone.");
    }
    orphans.store(orphaned.size(), std::memory_order_release);
}

void registry::forget_orphan(pid_t pid, tid_t tid)
{
    orphaned.erase({pid, tid});
    orphans.store(orphaned.size(), std::memory_order_release);
}

_zelvar_context_data* zelvar_object_manager_lock_context_data(pid_t pid, tid_t tid)
{
    if (zelvar_internal_call_fails(zelvar_internal_lock_context_data))
        return nullptr;
    if (orphans.load(std::memory_order_acquire)) [[unlikely]]
        leave_orphan_on_host(pid, tid);
    auto* memory = memory_of_thread;
    if (!memory)
        return lock_what_is_found([=] { return find_context_to_lock(pid, tid); });
    if (!memory->holds(pid, tid)) {
        // Read first: a change during the search makes the next call search again.
        const uint64_t bindings = binding_changes.load(std::memory_order_acquire);
        memory->keep(pid, tid, bindings, find_context_to_lock(pid, tid));
    }
    if (memory->context() && enter_unless_removed(memory->context())) [[likely]]
        return &memory->context()->data;
    return lock_what_is_found([=] { return find_context_to_lock(pid, tid); });
}

_zelvar_context_data* zelvar_object_manager_lock_context_data_by_target_context(pid_t pid,
                                                                                uint64_t target_context)
{
    return lock_what_is_found([=] { return find_context_by_key(pid, target_context); });
}

bool zelvar_object_manager_unlock_context_data(_zelvar_context_data* data)
{
    if (zelvar_internal_call_fails(zelvar_internal_unlock_context_data))
        return false;
    if (auto* memory = memory_of_thread; memory && memory->holds(data)) [[likely]] {
        const context_ptr& context = memory->context();
        if (context->target_context != 0)
            leave_context(*context);
        if (context->removed) [[unlikely]]
            registry::drop_retired_context(context);
        return true;
    }
    context_ptr context;
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        context = find_context_of_data(data);
        if (!context)
            return false;
        if (context->target_context != 0)
            leave_context(*context);
    }
    if (context->removed) [[unlikely]]
        registry::drop_retired_context(context);
    return true;
}

bool zelvar_object_manager_verify_context_data_lock(pid_t pid, tid_t tid)
{
    context_ptr context;
    {
        Autolock process_lock{pid_to_process_data_map_cs};
        if (auto* process = registry::find_process(pid))
            context = find_current_context(*process, tid);
    }
    if (!context || critical_section_verify(context->cs))
        return true;
    // Another thread may rightly be at this context, e.g. to delete it; only what this handler forgot counts.
    bool context_data_unlocked = context->lock_holder != std::this_thread::get_id();
    if (!context_data_unlocked)
        LOG_FATAL("context_data still locked before leave processing loop!");
    ZELVAR_ASSERT(context_data_unlocked);
    return true;
}

zelvar_object_manager_context_memory::zelvar_object_manager_context_memory() : _outer(memory_of_thread)
{
    memory_of_thread = this;
}

zelvar_object_manager_context_memory::~zelvar_object_manager_context_memory()
{
    memory_of_thread = _outer;
}

bool zelvar_object_manager_context_memory::holds(pid_t pid, tid_t tid) const
{
    return _context && _pid == pid && _tid == tid &&
           _bindings == binding_changes.load(std::memory_order_acquire);
}

void zelvar_object_manager_context_memory::keep(pid_t pid, tid_t tid, uint64_t bindings, context_ptr context)
{
    _context = std::move(context);
    _pid = pid;
    _tid = tid;
    _bindings = bindings;
}

void registry::note_binding_change()
{
    binding_changes.fetch_add(1, std::memory_order_release);
}

void zelvar_object_manager_lock_process_data() ZELVAR_TSA(no_thread_safety_analysis)
{
    critical_section_enter(pid_to_process_data_map_cs);
}

void zelvar_object_manager_unlock_process_data() ZELVAR_TSA(no_thread_safety_analysis)
{
    critical_section_leave(pid_to_process_data_map_cs);
}
