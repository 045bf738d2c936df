#pragma once
// OpenGL ES 3.2 is refused: each entry point logs its call and leaves an error behind. The host never sees
// them. Handlers are derived from the prototypes, so that a message is taken apart as any other:
//
//     ROW(gles32_enablei, refused_call<wire::inbound::gles32_enablei>::run)

#include "handlers/handler.h"
#include "wire/api.h"
#include "wire/wire.h"

#include <type_traits>

/// Prototype and line of a refused call, by message.
template <uint32_t Type>
struct refused_row;
#define ZELVAR_REFUSED(name, function, arguments)                                                            \
    template <>                                                                                              \
    struct refused_row<wire::inbound::name>                                                                  \
    {                                                                                                        \
        using prototype = decltype(::function);                                                              \
        template <class... A>                                                                                \
        static void print(pid_t pid, tid_t tid, A... values)                                                 \
        {                                                                                                    \
            LOG_FATAL("OpenGLES 3.2 is currently unsupported by TRV. Setting error code to "                 \
                      "GL_INVALID_OPERATION - gles32_" #function                                             \
                      "(target_process_id=[%d] target_thread_id=[%ld]" arguments ")",                        \
                      pid, static_cast<long>(tid), values...);                                               \
        }                                                                                                    \
    };
#include "handlers/gles/refused_calls.inc"
#undef ZELVAR_REFUSED

namespace refused_detail {
/// An argument as a handler takes it: pointers are addresses of the target.
template <class T>
using wire_argument = std::conditional_t<std::is_pointer_v<T>, target_ptr, T>;

inline unsigned long printable(target_ptr value)
{
    return value.address;
}
template <class T>
auto printable(T value)
{
    if constexpr (std::is_floating_point_v<T>)
        return static_cast<double>(value);
    else if constexpr (sizeof(T) == 8)
        return static_cast<unsigned long>(value);
    else
        return static_cast<int>(value);
}

template <uint32_t Type, class... A>
void refuse(pid_t pid, tid_t tid, A... arguments)
{
    refused_row<Type>::print(pid, tid, printable(arguments)...);
    zelvar_object_manager_set_gles_error(pid, tid, GL_INVALID_OPERATION);
}
} // namespace refused_detail

template <uint32_t Type, class Prototype = typename refused_row<Type>::prototype>
struct refused_call;
template <uint32_t Type, class... A>
struct refused_call<Type, void(A...)>
{
    static void run(pid_t pid, tid_t tid, refused_detail::wire_argument<A>... arguments, gles_target_error)
    {
        refused_detail::refuse<Type>(pid, tid, arguments...);
    }
};
template <uint32_t Type, class R, class... A>
struct refused_call<Type, R(A...)>
{
    static void run(pid_t pid, tid_t tid, refused_detail::wire_argument<A>... arguments, result_of<R>,
                    gles_target_error)
    {
        refused_detail::refuse<Type>(pid, tid, arguments...);
    }
};
