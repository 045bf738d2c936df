#pragma once
// Call registration: counters and journals of host calls and target services, and queued results that stand
// in for the target or for internal operations. Lets the library run and be inspected without a simulator.
//
// Threads: counters may be bumped by any worker and can lose a count. Registration and fakes are for one
// worker at a time; set switches and queues while no message is under way.
// Misuse (a null length, a result without a destination) stops the process on an assertion.

#include "zelvar/zelvar.h"

#include <cstddef>
#include <cstdint>

struct sidechannel_egl_imports;
struct sidechannel_gles_imports;

/// Brings the object manager up in test mode with a made-up context 0xabcdefab current on process 0, thread
/// 0. Host tables must have been set before (`zelvar_test_support_imports_init`).
ZELVAR_EXPORT void zelvar_test_support_init();
/// Clears counters, journals and queues and turns all switches off.
ZELVAR_EXPORT void zelvar_test_support_reset();
ZELVAR_EXPORT void zelvar_test_support_imports_init(const sidechannel_egl_imports* egl,
                                                    const sidechannel_gles_imports* gles);
/// False: there is one build.
ZELVAR_EXPORT bool zelvar_test_support_is_zelvar_built_in_debug_mode();

// Switches, all off at start and after reset.
ZELVAR_EXPORT void zelvar_test_support_enable_fake_zelvar_data_model_calls(bool on);
ZELVAR_EXPORT void zelvar_test_support_enable_fake_zelvar_internal_calls(bool on);
ZELVAR_EXPORT void zelvar_test_support_enable_fake_targetside_calls(bool on);
ZELVAR_EXPORT void zelvar_test_support_enable_host_call_registration(bool on);
ZELVAR_EXPORT void zelvar_test_support_enable_fake_targetside_call_registration(bool on);
/// Makes the queued failures of internal operations count (see enqueue_fake_zelvar_internal_call_result).
ZELVAR_EXPORT void zelvar_test_support_enable_internal_call_fail(bool on);
ZELVAR_EXPORT bool zelvar_test_support_get_fake_dispatch_mode_status();

// Queues. The bytes are copied; a null pointer means that the slot holds nothing.
ZELVAR_EXPORT void zelvar_test_support_enqueue_fake_targetside_call_result(
    uint32_t call, const void* stack, size_t stack_length, const void* error, size_t error_length,
    const void* arg1, size_t length1, const void* arg2, size_t length2, const void* arg3, size_t length3,
    const void* arg4, size_t length4);
ZELVAR_EXPORT void zelvar_test_support_enqueue_zelvar_data_model_call_result(uint32_t call, const void* stack,
                                                                             size_t stack_length,
                                                                             const void* arg1, size_t length1,
                                                                             const void* arg2,
                                                                             size_t length2);
ZELVAR_EXPORT void zelvar_test_support_enqueue_fake_zelvar_internal_call_result(
    uint32_t call, const void* stack, size_t stack_length, const void* arg1, size_t length1);
ZELVAR_EXPORT void zelvar_test_support_enqueue_data_model_call(uint32_t call, bool result);
ZELVAR_EXPORT void zelvar_test_support_enqueue_internal_call_fail_result(uint32_t call, bool fails);

// Inspection. `list` false: host calls; true: faked target calls.
ZELVAR_EXPORT uint32_t zelvar_test_support_get_hostside_call_counter(uint32_t call);
ZELVAR_EXPORT uint32_t zelvar_test_support_get_and_reset_hostside_call_counter(uint32_t call);
ZELVAR_EXPORT uint32_t zelvar_test_support_get_fake_targetside_call_counter(uint32_t call);
ZELVAR_EXPORT uint32_t zelvar_test_support_get_and_reset_fake_targetside_call_counter(uint32_t call);
ZELVAR_EXPORT uint32_t zelvar_test_support_get_number_of_registered_calls(bool list);
ZELVAR_EXPORT bool zelvar_test_support_get_registered_call_type(bool list, uint32_t index, uint32_t* out);
/// The copy stays the journal's. False when `index` is outside the journal.
ZELVAR_EXPORT bool zelvar_test_support_get_registered_call_argument(bool list, uint32_t index,
                                                                    uint32_t n_call_argument,
                                                                    uint32_t* out_length, const void** out);
ZELVAR_EXPORT bool zelvar_test_support_get_registered_call_argument_storage(bool list, uint32_t index,
                                                                            uint32_t* out_length,
                                                                            const void** out);
