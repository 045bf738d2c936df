#pragma once
// Requests that make the target run an entry point, one object per message of the list:
//
//     int32_t count = 0;
//     unsigned error = 0;
//     zelvar_shim_dispatch_egl_get_configs_call(pid, tid, display, target_ptr{}, 0, block, &count, 4,
//     &error);
//
// Arguments come in API order: pointers and handles as 64-bit target values, all else at its own type.
// `result` receives `result_size` bytes, `error` the target's error code; both stay untouched when the target
// can't be asked. Blocks until the target has answered; a call that returns nothing and has no output is only
// queued, with error 0, while batchTargetCommands is on.

#include "shim/zelvar_shim_request.h"
#include "wire/api.h"
#include "wire/wire.h"
#include "zelvar_types.h"

#include <string_view>

/// A pointer or handle of the target.
struct target_value
{
    uint64_t value = 0;
    target_value(uint64_t number) : value(number) {}             // NOLINT: the conversion is the purpose
    target_value(target_ptr pointer) : value(pointer.address) {} // NOLINT
};

namespace target_call_detail {
struct description
{
    uint32_t type;
    const char* name; // of the dispatch function
    bool is_egl;
    bool batchable; // returns nothing and has no output
};

void run(const description& call, pid_t pid, tid_t tid, const shim_request::wire_field* fields, size_t count,
         void* result, uint32_t result_size, unsigned* error);

template <class T>
struct argument
{
    static_assert(std::is_arithmetic_v<T>, "an entry point takes numbers, pointers or handles");
    using type = T;
};
template <class T>
struct argument<T*>
{
    using type = target_value;
};

/// A pointer through which the call gives something back. Opaque handles are pointers too, but give nothing.
template <class T>
inline constexpr bool is_output = false;
template <class T>
inline constexpr bool is_output<T*> = !std::is_const_v<T> && !std::is_function_v<T>;
template <>
inline constexpr bool is_output<GLsync> = false;
template <>
inline constexpr bool is_output<wl_egl_window*> = false;

constexpr bool takes_image_handle(std::string_view function)
{
    return function.starts_with("glEGLImageTarget");
}

inline shim_request::wire_field field_of(const target_value& value)
{
    return {&value.value, 8};
}
template <class T>
shim_request::wire_field field_of(const T& value)
{
    return {&value, sizeof(T)};
}
} // namespace target_call_detail

template <class Prototype>
struct target_call;
template <class R, class... A>
struct target_call<R(A...)>
{
    target_call_detail::description call;

    constexpr target_call(uint32_t inbound_type, const char* name, std::string_view group,
                          std::string_view function)
        : call{inbound_type - wire::outbound::call_offset, name, group == "egl" || group == "ubm",
               std::is_void_v<R> && (target_call_detail::takes_image_handle(function) ||
                                     !(target_call_detail::is_output<A> || ...))}
    {
    }

    void operator()(pid_t pid, tid_t tid, typename target_call_detail::argument<A>::type... arguments,
                    void* result, uint32_t result_size, unsigned* error = nullptr) const
    {
        const shim_request::wire_field fields[] = {target_call_detail::field_of(arguments)...,
                                                   shim_request::wire_field{}};
        target_call_detail::run(call, pid, tid, fields, sizeof...(A), result, result_size, error);
    }
};

#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    inline constexpr target_call<decltype(function)> zelvar_shim_dispatch_##name##_call{                     \
        id, "zelvar_shim_dispatch_" #name "_call", #group, #function};
// A client wait is split between shim and library: there is no such request.
#define zelvar_shim_dispatch_egl_client_wait_sync_khr_call zelvar_no_client_wait_request
#include "wire/messages_egl.inc"
#undef zelvar_shim_dispatch_egl_client_wait_sync_khr_call
#include "wire/messages_gles.inc"
#undef ZELVAR_MESSAGE

/// Asks for the window system's device of OpenGL ES; outside the list since no message of the target has it.
inline constexpr target_call<void*()> zelvar_shim_dispatch_egl_gles_query_get_windows_dc_call{
    wire::outbound::egl_gles_query_get_windows_dc_call + wire::outbound::call_offset,
    "zelvar_shim_dispatch_egl_gles_query_get_windows_dc_call", "egl", "egl_gles_query_get_windows_dc"};
