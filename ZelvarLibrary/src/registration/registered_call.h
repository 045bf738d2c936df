#pragma once
// What the journals and the queues hold.

#include "registration/zelvar_test_support.h"

#include <deque>
#include <map>
#include <memory>
#include <vector>

/// One journal entry. Every pointer is a `malloc`ed copy, or null; `clear_registered_call` frees them.
struct _registered_call
{
    void* arg[registration::max_arguments];
    void* gl_egl_error;
    uint32_t gl_egl_error_length;
    void* storage; // what a write to target memory wrote
    uint32_t storage_length;
    uint32_t arg_length[registration::max_arguments];
    uint32_t call;
};

namespace registration {
/// A copy of some bytes; no data means that the slot holds nothing.
struct block
{
    std::unique_ptr<unsigned char[]> data;
    size_t length = 0;

    block(const void* bytes, size_t count);
    /// Copies the bytes out, if there are any. `text` is the assertion for a missing destination.
    void deliver(void* destination, const char* text) const;
};
} // namespace registration

struct _target_call_result
{
    registration::block stack;
    registration::block gl_egl_error;
    registration::block arg1, arg2, arg3, arg4;
};

struct _zelvar_internal_call_result
{
    registration::block stack;
    registration::block arg1;
};

struct _zelvar_data_model_call_result
{
    registration::block stack;
    registration::block arg1, arg2;
};

namespace registration {
/// Queued results by call number, oldest first.
template <class T>
using queues = std::map<uint32_t, std::deque<T>>;

/// Everything that reset clears. Never destroyed: workers may be inside until the process ends.
struct state
{
    std::vector<_registered_call> host_journal;
    std::vector<_registered_call> target_journal;
    queues<_target_call_result> target_results;
    queues<_zelvar_internal_call_result> internal_results;
    queues<_zelvar_data_model_call_result> data_model_results;
    queues<bool> data_model_answers;
    queues<bool> internal_failures;
};
state& the_state();

void clear_registered_call(_registered_call& entry);
} // namespace registration
