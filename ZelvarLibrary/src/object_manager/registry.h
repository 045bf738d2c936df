#pragma once
// What the files of the registry share among themselves.

#include "object_manager/records.h"

#include <memory>

namespace registry {
using context_ptr = std::shared_ptr<_zelvar_object_manager_context>;

/// The record of a process, null when there is none. The caller holds pid_to_process_data_map_cs, and only so
/// long is the result valid.
_zelvar_object_manager_process_data* find_process(pid_t pid);
/// The same with the ERROR line for an unknown process.
_zelvar_object_manager_process_data* find_process_or_log(pid_t pid);

/// A new context record, null when out of memory; its last owner leaves and destroys the section and drops
/// the share group. With `shared_with` it joins that context's group: then the caller holds
/// pid_to_process_data_map_cs, under which a registered context's group can't end.
context_ptr _init_zelvar_context_manager_context(uint64_t target_context, EGLContext host_context,
                                                 const _zelvar_object_manager_context* shared_with,
                                                 int32_t target_major, int32_t target_minor,
                                                 int32_t host_major, int32_t host_minor);
/// Ends the model of a context that is no longer registered. The caller holds the context's section and no
/// process map.
void _deinit_zelvar_object_manager_context(_zelvar_object_manager_context& context);

/// Keeps a record that left the registry alive while somebody may still have it locked. Call under
/// pid_to_process_data_map_cs.
void retire_context(pid_t pid, const context_ptr& context);
/// The retired record whose model is at `data`. Call under pid_to_process_data_map_cs.
context_ptr find_retired_context(const _zelvar_context_data* data);
/// Forgets a retired record once nobody has it locked any more. Call without the context's section.
void drop_retired_context(const context_ptr& context);

/// Counts up with every change of what context a thread has. Call under pid_to_process_data_map_cs.
void note_binding_change();
/// The thread's context was removed while it was current, which it stays on the host; with the process map's
/// lock. Over once the thread makes another one current, or locks one.
void note_orphan(pid_t pid, tid_t tid);
void forget_orphan(pid_t pid, tid_t tid);

/// From here on a first message makes a worker; off while the library goes down.
void accept_workers(bool accept);
/// Forgets the semaphores of threads that never had a worker.
void clear_response_semaphores();
} // namespace registry
