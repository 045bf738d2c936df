#pragma once
// The frame of a handler: whom it serves, the lock of its context, the host call with its error, the reply
// and the end. The destructor unlocks and ends the call, so that no early return can skip either.

#include "inbound/payload_types.h"
#include "object_manager/zelvar_object_manager.h"
#include "registration/host_call.h"
#include "settings/zelvar_settings.h"
#include "shim/zelvar_shim_dispatch.h"
#include "sidechannel_log.h"
#include "zelvar_types.h"

#include <type_traits>

namespace handler_detail {
/// One argument of a call for the DEBUG line.
struct trace_value
{
    const char* name;
    enum
    {
        whole,
        address,
        real
    } kind;
    int64_t number;
    double fraction;
};
template <class T>
trace_value make_trace_value(const char* name, T value)
{
    if constexpr (std::is_floating_point_v<T>)
        return {name, trace_value::real, 0, value};
    else if constexpr (std::is_same_v<T, target_ptr>)
        return {name, trace_value::address, static_cast<int64_t>(value.address), 0};
    else if constexpr (sizeof(T) == 8)
        return {name, trace_value::address, static_cast<int64_t>(value), 0};
    else
        return {name, trace_value::whole, static_cast<int64_t>(value), 0};
}
/// Prints "DEBUG [ZELVAR] name(target_process_id=[..] target_thread_id=[..] argument=[..])".
void print_trace(const char* handler, pid_t pid, tid_t tid, const trace_value* values, size_t count);
} // namespace handler_detail

/// What EGL and OpenGL ES handlers share. `key` is the handler's own name, which is the key of the error
/// check.
class handler_frame
{
public:
    const char* const key;
    const pid_t pid;
    const tid_t tid;

    handler_frame(const handler_frame&) = delete;
    handler_frame& operator=(const handler_frame&) = delete;

    /// The DEBUG line of the call: pairs of name and value.
    template <class... A>
    void trace(A... pairs) const
    {
        if (sidechannel_log_enabled(LOG_GATE_DEBUG)) [[unlikely]]
            trace_pairs(pairs...);
    }

    /// The model of the thread's current context, locked until this frame ends; null (logged, with the API
    /// name `function` if given) when it can't be had.
    _zelvar_context_data* lock(const char* function);
    /// Unlocks early, for handlers that must not hold the context while they talk to the target.
    void unlock();
    _zelvar_context_data* context() const { return _context; }

    /// Sends the call's result: 1, 4 or 8 bytes by type; nothing while the target runs calls itself.
    template <class T>
    void reply(T value) const
    {
        static_assert(std::is_arithmetic_v<T> || std::is_pointer_v<T>);
        zelvar_shim_dispatch_set_return_value_message(pid, tid, sizeof(T), &value);
    }
    /// The same in every mode, for what only the host knows.
    template <class T>
    void reply_force(T value) const
    {
        zelvar_shim_dispatch_set_return_value_message_force(pid, tid, sizeof(T), &value);
    }
    /// Writes an out parameter; nothing while the target runs calls itself or when the address is null.
    template <class T>
    void write(target_ptr address, const T& value) const
    {
        if (address)
            zelvar_shim_dispatch_write_to_shim_address_space(pid, tid, sizeof(T), &value, address);
    }
    template <class T>
    void write_force(target_ptr address, const T& value) const
    {
        if (address)
            zelvar_shim_dispatch_write_to_shim_address_space_force(pid, tid, sizeof(T), &value, address);
    }

protected:
    handler_frame(const char* key, pid_t pid, tid_t tid) : key(key), pid(pid), tid(tid) {}
    ~handler_frame() { unlock(); }

private:
    void trace_pairs() const { handler_detail::print_trace(key, pid, tid, nullptr, 0); }
    template <class... A>
    void trace_pairs(A... pairs) const
    {
        handler_detail::trace_value values[sizeof...(A) / 2];
        fill(values, pairs...);
        handler_detail::print_trace(key, pid, tid, values, sizeof...(A) / 2);
    }
    template <class T, class... A>
    static void fill(handler_detail::trace_value* at, const char* name, T value, A... more)
    {
        *at = handler_detail::make_trace_value(name, value);
        if constexpr (sizeof...(A) > 0)
            fill(at + 1, more...);
    }

    _zelvar_context_data* _context = nullptr;
};

/// Frame of an OpenGL ES handler:
///
///     void gles20_glClear(pid_t pid, tid_t tid, GLbitfield mask, gles_target_error target_error)
///     {
///         gles_handler call{"gles20_glClear", pid, tid, target_error};
///         call.trace("mask", mask);
///         if (call.lock("glClear"))
///             call.host<&sidechannel_gles_imports::glClear>(mask);
///     }
class gles_handler : public handler_frame
{
public:
    /// What the call ends with: 0 or the code for the target's next glGetError.
    unsigned error = GL_NO_ERROR;

    gles_handler(const char* key, pid_t pid, tid_t tid, gles_target_error target_error)
        : handler_frame(key, pid, tid), _target_error(target_error.code)
    {
    }
    ~gles_handler()
    {
        unlock();
        if (!_silent)
            zelvar_object_manager_set_and_check_error_code(pid, tid, key, _target_error, error);
    }

    /// Calls the host and glGetError behind it; the error becomes the call's.
    template <auto Field, class... A>
    auto host(A... arguments)
    {
        auto outcome = host::gl<Field>(arguments...);
        error = outcome.error;
        return outcome;
    }

    /// For a call of two stages that ends with the second.
    void end_silently() { _silent = true; }

private:
    unsigned _target_error;
    bool _silent = false;
};

/// Frame of an EGL handler; the same with EGL's codes.
class egl_handler : public handler_frame
{
public:
    unsigned error = EGL_SUCCESS;

    egl_handler(const char* key, pid_t pid, tid_t tid, egl_target_error target_error)
        : handler_frame(key, pid, tid), _target_error(target_error.code)
    {
    }
    ~egl_handler()
    {
        unlock();
        if (!_silent)
            zelvar_object_manager_set_and_check_egl_error_code(pid, tid, key, _target_error, error);
    }

    template <auto Field, class... A>
    auto host(A... arguments)
    {
        auto outcome = host::egl<Field>(arguments...);
        error = outcome.error;
        return outcome;
    }
    /// For the few calls that end with nothing else, not even the error check.
    void end_silently() { _silent = true; }

private:
    unsigned _target_error;
    bool _silent = false;
};
