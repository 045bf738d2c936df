#pragma once
// Host tables that record: every EGL and OpenGL ES slot notes its name and arguments in one journal and then
// behaves as fake_driver.h tells, or as a test has programmed it.
//
//     fake_host::install();
//     fake_host::returns<&sidechannel_egl_imports::eglInitialize>(EGL_FALSE);
//     fake_host::gl_errors({GL_INVALID_ENUM});
//     ... run a handler ...
//     EXPECT_EQ(fake_host::texts(), (std::vector<std::string>{"glClear(16384)", "glGetError()"}));
//     EXPECT_EQ(fake_host::calls()[0], fake_host::made("glBindBuffer", 0x8892, fake_host::any));

#include "hosttables/host_tables.h"
#include "registration/zelvar_call.h"
#include "support/fake_driver.h"

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <memory>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace fake_host {
struct anything
{
};
/// Matches whatever argument.
inline constexpr anything any;

/// One recorded argument. Integers compare by value, text by its characters, pointers by address.
struct value
{
    enum kind_type
    {
        number,
        real,
        pointer,
        text,
        wildcard
    } kind = number;
    int64_t integer = 0;
    double floating = 0;
    std::string characters;

    value(anything) : kind(wildcard) {}
    template <class T>
    value(T given)
    {
        if constexpr (std::is_same_v<T, const char*>) {
            kind = given ? text : pointer;
            characters = given ? given : "";
        } else if constexpr (std::is_pointer_v<T>) {
            kind = pointer;
            integer = static_cast<int64_t>(reinterpret_cast<uintptr_t>(given));
        } else if constexpr (std::is_null_pointer_v<T>) {
            kind = pointer;
        } else if constexpr (std::is_floating_point_v<T>) {
            kind = real;
            floating = given;
        } else {
            static_assert(std::is_integral_v<T> || std::is_enum_v<T>, "an argument of a host call");
            integer = static_cast<int64_t>(given);
        }
    }
    bool operator==(const value& other) const;
};

struct call
{
    std::string name;
    std::vector<value> arguments;
    std::thread::id thread;
    /// Name and arguments; the thread takes no part.
    bool operator==(const call& other) const;
};

/// `glUniform1f(3, 0.5)`; pointers read "null" or "pointer", as their addresses differ between runs.
std::string to_text(const call& made);
void PrintTo(const call& made, std::ostream* out);

template <class... A>
call made(const char* name, A... arguments)
{
    return {name, {value(arguments)...}, {}};
}

/// Puts recording tables into the library and forgets journal and programs.
void install();
/// Puts the plain driver in: nothing is recorded, nothing locks. For benchmarks and ThreadSanitizer.
void install_quiet();

/// The journal so far, in order of the calls.
std::vector<call> calls();
/// The same as text. The error queries that follow nearly every call are left out on request.
enum class error_queries
{
    keep,
    leave_out
};
std::vector<std::string> texts(error_queries queries = error_queries::keep);
/// Number of recorded calls of one function.
size_t count(const char* name);
/// Empties the journal; programmed results stay.
void clear();

/// What the next error queries answer, oldest first; "no error" when the list is used up.
void gl_errors(std::initializer_list<unsigned> errors);
void egl_errors(std::initializer_list<unsigned> errors);

namespace detail {
template <class F>
struct field_traits;
template <class T, class R, class... P>
struct field_traits<R (*T::*)(P...)>
{
    using table = T;
    using result = R;
    using signature = R(P...);
};

template <auto Field>
size_t slot_of()
{
    size_t slot = registration_detail::slot_of(Field);
    return registration_detail::is_egl_field<decltype(Field)> ? slot : host_egl_count + slot;
}

void set_hook(size_t slot, std::shared_ptr<void> function);
void remove_slot(size_t slot);
} // namespace detail

/// Replaces what a function does behind the recording, e.g. to fill out-parameters.
template <auto Field>
void hook(std::function<typename detail::field_traits<decltype(Field)>::signature> function)
{
    detail::set_hook(detail::slot_of<Field>(), std::make_shared<decltype(function)>(std::move(function)));
}

template <auto Field>
void returns(typename detail::field_traits<decltype(Field)>::result result)
{
    hook<Field>([result](auto...) { return result; });
}

/// Every call of the function fails: zero result, and the error behind it.
template <auto Field>
void fails(unsigned error)
{
    using traits = detail::field_traits<decltype(Field)>;
    hook<Field>([error](auto...) {
        if constexpr (std::is_same_v<typename traits::table, sidechannel_egl_imports>)
            egl_errors({error});
        else
            gl_errors({error});
        return typename traits::result();
    });
}

/// Makes the host lack the function, until the next install.
template <auto Field>
void remove()
{
    detail::remove_slot(detail::slot_of<Field>());
}
} // namespace fake_host
