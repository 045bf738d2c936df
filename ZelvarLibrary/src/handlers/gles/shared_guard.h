#pragma once
// Contexts of a share group run on threads of their own and have one set of buffers, textures, programs...: a
// handler that touches those holds the group while it runs.
//
//     if (_zelvar_context_data* context = call.lock("glBindBuffer")) {
//         shared_guard group_lock{context};
//         ...
//
// Recursive. Not held while the host waits for its GPU, since what it waits for may come from the group.

#include "data_model/zelvar_data_model.h"

class shared_guard
{
public:
    /// `context` is locked by the caller and stays so for longer than the guard.
    explicit shared_guard(_zelvar_context_data* context) ZELVAR_TSA(no_thread_safety_analysis)
        : _section(context->data_shared ? context->data_shared->objects.section : nullptr)
    {
        if (_section)
            critical_section_enter(_section);
    }
    ~shared_guard() ZELVAR_TSA(no_thread_safety_analysis) { leave(); }
    shared_guard(const shared_guard&) = delete;
    shared_guard& operator=(const shared_guard&) = delete;

    /// Gives the group back early; nothing of it may be touched afterwards.
    void leave() ZELVAR_TSA(no_thread_safety_analysis)
    {
        if (_section)
            critical_section_leave(_section);
        _section = nullptr;
    }

private:
    critical_section__* _section;
};
