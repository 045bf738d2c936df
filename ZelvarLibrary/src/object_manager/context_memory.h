#pragma once
// What spares the commands of a batch the search for their context.

#include "object_manager/records.h"

/// While one lives, its thread remembers the context that it has found last, until any thread's context
/// changes. What is remembered stays alive: it must not outlive a message. May be nested.
class zelvar_object_manager_context_memory
{
public:
    zelvar_object_manager_context_memory();
    ~zelvar_object_manager_context_memory();
    zelvar_object_manager_context_memory(const zelvar_object_manager_context_memory&) = delete;
    zelvar_object_manager_context_memory& operator=(const zelvar_object_manager_context_memory&) = delete;

    /// Whether a search for this thread's context would find `context()`.
    bool holds(pid_t pid, tid_t tid) const;
    bool holds(const _zelvar_context_data* data) const { return _context && &_context->data == data; }
    /// `bindings` is the count of changes that was read before the search.
    void keep(pid_t pid, tid_t tid, uint64_t bindings,
              std::shared_ptr<_zelvar_object_manager_context> context);
    const std::shared_ptr<_zelvar_object_manager_context>& context() const { return _context; }

private:
    std::shared_ptr<_zelvar_object_manager_context> _context;
    pid_t _pid = 0;
    tid_t _tid = 0;
    uint64_t _bindings = 0;
    zelvar_object_manager_context_memory* _outer;
};
