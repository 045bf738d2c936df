#pragma once
// The frame of a service: counted, registered, answered by a queued fake when there is one, else sent. A
// fake's output stands in its first argument slot.

#include "registration/zelvar_test_support.h"
#include "shim/zelvar_shim_request.h"
#include "wire/wire.h"
#include "zelvar_types.h"

namespace shim_service {
/// Passes the call registration; true when a queued result was delivered to `output` (may be null) and
/// nothing must be sent.
template <class... A>
bool registered_or_faked(uint32_t type, void* output, const A&... arguments)
{
    _zelvar_call call = zelvar_call_of_service(type);
    zelvar_test_support_increment_targetside_call_counter(call);
    registration::register_target_call(call, arguments...);
    return registration::active.fake_targetside.load(std::memory_order_relaxed) &&
           zelvar_test_support_dequeue_fake_targetside_call_result(call, nullptr, nullptr, output);
}

/// One request with its answer: payload fields in order at their own widths. False when no answer came.
template <class... A>
bool request(uint32_t type, pid_t pid, tid_t tid, void* output, uint32_t output_size, const A&... payload)
{
    if (registered_or_faked(type, output, payload...))
        return true;
    const shim_request::wire_field fields[] = {shim_request::wire_field{&payload, sizeof(payload)}...,
                                               shim_request::wire_field{}};
    return shim_request::ask(type, pid, tid, wire::header_size + (sizeof(payload) + ... + 0u), fields,
                             sizeof...(A), output, output_size, nullptr, nullptr, true);
}
} // namespace shim_service
