#pragma once
// The side of the call registration that every host call and every service passes: one counter increment and
// one test of a switch while the switches are off.

#include "registration/zelvar_call.h"
#include "zelvar/test_support.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <type_traits>

namespace registration {
struct switches
{
    std::atomic<bool> fake_data_model{false};
    std::atomic<bool> fake_internal{false};
    std::atomic<bool> fake_targetside{false};
    std::atomic<bool> host_registration{false};
    std::atomic<bool> targetside_registration{false};
    std::atomic<bool> internal_fail{false};
};
extern switches active;
extern std::array<std::atomic<uint32_t>, zelvar_call_count> hostside_counters;
extern std::array<std::atomic<uint32_t>, zelvar_call_count> targetside_counters;

/// A lost increment between workers is accepted, a locked add on every call isn't.
inline void bump(std::atomic<uint32_t>& counter)
{
    counter.store(counter.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

/// One argument to copy into a journal: null means absent.
struct argument
{
    const void* data = nullptr;
    uint32_t length = 0;
};
inline constexpr size_t max_arguments = 11;

/// Registers a host call with its arguments; does nothing while the switch is off. Arguments beyond the
/// eleventh are left out.
template <class... A>
void register_host_call(_zelvar_call call, const A&... arguments);

/// Registers a service; does nothing while the switch is off.
template <class... A>
void register_target_call(_zelvar_call call, const A&... arguments);

void register_host_call_list(_zelvar_call call, const std::array<argument, max_arguments>& arguments);
void register_target_call_list(_zelvar_call call, const void* error, uint32_t error_length,
                               const std::array<argument, max_arguments>& arguments);

template <class... A>
std::array<argument, max_arguments> argument_list(const A&... values)
{
    std::array<argument, max_arguments> list{};
    size_t i = 0;
    ((i < max_arguments ? (void)(list[i++] = {&values, sizeof(values)}) : (void)0), ...);
    return list;
}

template <class... A>
void register_host_call(_zelvar_call call, const A&... arguments)
{
    if (active.host_registration.load(std::memory_order_relaxed)) [[unlikely]]
        register_host_call_list(call, argument_list(arguments...));
}

template <class... A>
void register_target_call(_zelvar_call call, const A&... arguments)
{
    if (active.targetside_registration.load(std::memory_order_relaxed)) [[unlikely]]
        register_target_call_list(call, nullptr, 0, argument_list(arguments...));
}
} // namespace registration

inline void zelvar_test_support_increment_hostside_call_counter(_zelvar_call call)
{
    registration::bump(registration::hostside_counters[call]);
}

inline void zelvar_test_support_increment_targetside_call_counter(_zelvar_call call)
{
    registration::bump(registration::targetside_counters[call]);
}

/// The long forms, for callers that hold their arguments as pointers and lengths.
void zelvar_test_support_register_hostside_call_11_arguments(
    uint32_t call, const void* arg1, uint32_t length1, const void* arg2 = nullptr, uint32_t length2 = 0,
    const void* arg3 = nullptr, uint32_t length3 = 0, const void* arg4 = nullptr, uint32_t length4 = 0,
    const void* arg5 = nullptr, uint32_t length5 = 0, const void* arg6 = nullptr, uint32_t length6 = 0,
    const void* arg7 = nullptr, uint32_t length7 = 0, const void* arg8 = nullptr, uint32_t length8 = 0,
    const void* arg9 = nullptr, uint32_t length9 = 0, const void* arg10 = nullptr, uint32_t length10 = 0,
    const void* arg11 = nullptr, uint32_t length11 = 0);
void zelvar_test_support_register_fake_targetside_call_11_arguments(
    uint32_t call, const void* error, uint32_t error_length, const void* arg1, uint32_t length1,
    const void* arg2 = nullptr, uint32_t length2 = 0, const void* arg3 = nullptr, uint32_t length3 = 0,
    const void* arg4 = nullptr, uint32_t length4 = 0, const void* arg5 = nullptr, uint32_t length5 = 0,
    const void* arg6 = nullptr, uint32_t length6 = 0, const void* arg7 = nullptr, uint32_t length7 = 0,
    const void* arg8 = nullptr, uint32_t length8 = 0, const void* arg9 = nullptr, uint32_t length9 = 0,
    const void* arg10 = nullptr, uint32_t length10 = 0, const void* arg11 = nullptr, uint32_t length11 = 0);

/// True when a queued result was delivered and the real request must not be sent. Slots with data need a
/// destination.
bool zelvar_test_support_dequeue_fake_targetside_call_result(uint32_t call, void* result_error,
                                                             void* result_stack, void* result_arg1 = nullptr,
                                                             void* result_arg2 = nullptr,
                                                             void* result_arg3 = nullptr,
                                                             void* result_arg4 = nullptr);
bool zelvar_test_support_dequeue_zelvar_data_model_call_result(uint32_t call, void* result_stack,
                                                               void* result_arg1 = nullptr,
                                                               void* result_arg2 = nullptr);
bool zelvar_test_support_dequeue_fake_zelvar_internal_call_result(uint32_t call, void* result_stack,
                                                                  void* result_arg1 = nullptr);
/// The next queued answer, false when the queue is empty.
bool zelvar_test_support_dequeue_data_model_call(uint32_t call);
bool zelvar_test_support_dequeue_internal_call_fail_result(uint32_t call);

/// The test that opens nearly every operation of the object manager: true when it must fail at once.
inline bool zelvar_internal_call_fails(_zelvar_internal_call call)
{
    if (!registration::active.internal_fail.load(std::memory_order_relaxed)) [[likely]]
        return false;
    return zelvar_test_support_dequeue_internal_call_fail_result(call);
}

/// A getter's forced result: true when `*result` was filled from the queue.
template <class T>
bool zelvar_internal_call_fakes(_zelvar_internal_call call, T* result)
{
    static_assert(std::is_trivially_copyable_v<T>);
    if (!registration::active.fake_internal.load(std::memory_order_relaxed)) [[likely]]
        return false;
    bool stack = true;
    return zelvar_test_support_dequeue_fake_zelvar_internal_call_result(call, &stack, result);
}
