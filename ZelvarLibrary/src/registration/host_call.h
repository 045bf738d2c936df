#pragma once
// The one way in which a handler calls the host: through the table, counted, registered, with the error
// behind it. A slot that the host lacks yields a zero result and the API's own "can't do" error.

#include "hosttables/host_tables.h"
#include "registration/zelvar_call.h"
#include "registration/zelvar_test_support.h"
#include "sidechannel_log.h"

#include <type_traits>

namespace host {
namespace detail {
void log_missing(const char* name);

template <auto Field, class R, class Table, class... P, class... A>
bool invoke(const Table& table, R* result, R (*Table::*)(P...), A... arguments)
{
    auto function = table.*Field;
    _zelvar_call call = zelvar_call_of<Field>();
    zelvar_test_support_increment_hostside_call_counter(call);
    if (!function) [[unlikely]] {
        size_t slot = registration_detail::slot_of(Field);
        log_missing(registration_detail::is_egl_field<decltype(Field)> ? host_egl_names[slot]
                                                                       : host_gles_names[slot]);
        return false;
    }
    if constexpr (std::is_void_v<R>)
        function(static_cast<P>(arguments)...);
    else
        *result = function(static_cast<P>(arguments)...);
    registration::register_host_call(call, static_cast<P>(arguments)...);
    return true;
}
} // namespace detail

inline unsigned gl_error()
{
    const auto* gles = zelvar_imports_get_gles_ptrs();
    zelvar_test_support_increment_hostside_call_counter(
        zelvar_call_of<&sidechannel_gles_imports::glGetError>());
    if (!gles->glGetError) [[unlikely]]
        return GL_NO_ERROR;
    unsigned error = gles->glGetError();
    registration::register_host_call(zelvar_call_of<&sidechannel_gles_imports::glGetError>());
    return error;
}

inline unsigned egl_error()
{
    const auto* egl = zelvar_imports_get_egl_ptrs();
    zelvar_test_support_increment_hostside_call_counter(
        zelvar_call_of<&sidechannel_egl_imports::eglGetError>());
    if (!egl->eglGetError) [[unlikely]]
        return EGL_SUCCESS;
    auto error = static_cast<unsigned>(egl->eglGetError());
    registration::register_host_call(zelvar_call_of<&sidechannel_egl_imports::eglGetError>());
    return error;
}

/// What a host call gave: its result (nothing for void) and the error word behind it.
template <class R>
struct gl_outcome
{
    R result{};
    unsigned error = GL_NO_ERROR;
    bool ok() const { return error == GL_NO_ERROR; }
};
template <>
struct gl_outcome<void>
{
    unsigned error = GL_NO_ERROR;
    bool ok() const { return error == GL_NO_ERROR; }
};
template <class R>
struct egl_outcome
{
    R result{};
    unsigned error = EGL_SUCCESS;
    bool ok() const { return error == EGL_SUCCESS; }
};

template <class F>
struct result_of_field;
template <class Table, class R, class... P>
struct result_of_field<R (*Table::*)(P...)>
{
    using type = R;
};

/// Calls a host OpenGL ES function on this worker's current context, then `glGetError` once.
/// Example: `auto clear = host::gl<&sidechannel_gles_imports::glClear>(mask);`
template <auto Field, class... A>
auto gl(A... arguments)
{
    using R = typename result_of_field<decltype(Field)>::type;
    gl_outcome<R> out;
    R* result = nullptr;
    if constexpr (!std::is_void_v<R>)
        result = &out.result;
    if (detail::invoke<Field>(*zelvar_imports_get_gles_ptrs(), result, Field, arguments...))
        out.error = gl_error();
    else
        out.error = GL_INVALID_OPERATION;
    return out;
}

/// Calls a host EGL function, then `eglGetError` once.
template <auto Field, class... A>
auto egl(A... arguments)
{
    using R = typename result_of_field<decltype(Field)>::type;
    static_assert(!std::is_void_v<R>, "every EGL entry point that is called returns a value");
    egl_outcome<R> out;
    if (detail::invoke<Field>(*zelvar_imports_get_egl_ptrs(), &out.result, Field, arguments...))
        out.error = egl_error();
    else
        out.error = EGL_BAD_ACCESS;
    return out;
}

/// The same without the error query, for sequences that don't ask for it.
template <auto Field, class... A>
auto egl_unchecked(A... arguments)
{
    using R = typename result_of_field<decltype(Field)>::type;
    R result{};
    detail::invoke<Field>(*zelvar_imports_get_egl_ptrs(), &result, Field, arguments...);
    return result;
}
template <auto Field, class... A>
auto gl_unchecked(A... arguments)
{
    using R = typename result_of_field<decltype(Field)>::type;
    if constexpr (std::is_void_v<R>) {
        detail::invoke<Field>(*zelvar_imports_get_gles_ptrs(), static_cast<R*>(nullptr), Field, arguments...);
    } else {
        R result{};
        detail::invoke<Field>(*zelvar_imports_get_gles_ptrs(), &result, Field, arguments...);
        return result;
    }
}
} // namespace host
