#pragma once
// The objects of a context that isn't the calling thread's own.

#include "data_model/zelvar_data_model.h"

/// The share group of a registered context, which lives at least as long as this.
class visited_group
{
public:
    visited_group(pid_t pid, uint64_t target_context);
    ~visited_group();
    visited_group(const visited_group&) = delete;
    visited_group& operator=(const visited_group&) = delete;

    /// Whether there is such a context.
    explicit operator bool() const { return _visitor.data_shared != nullptr; }
    /// A model with the group and nothing else, for shared_guard.
    _zelvar_context_data* model() { return &_visitor; }

private:
    _zelvar_context_data _visitor;
};
