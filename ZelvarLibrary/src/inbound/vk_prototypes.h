#pragma once
// A handler's signature is its message, so a wrong one would silently be the wire: here each is held against
// the published prototype of its entry point when its row is compiled.

#include "inbound/vk_payload_types.h"
#include "wire/wire.h"

#include <type_traits>

namespace vk_prototypes {
template <uint32_t Type>
struct of_message;
#define ZELVAR_MESSAGE(id, name, group, function)                                                            \
    template <>                                                                                              \
    struct of_message<id>                                                                                    \
    {                                                                                                        \
        using type = decltype(::function);                                                                   \
    };
#include "wire/messages_vk.inc"
#undef ZELVAR_MESSAGE

/// Whether a handler's parameter takes what an argument of the prototype sends.
template <class Parameter, class Argument>
inline constexpr bool takes = std::is_same_v<Parameter, Argument>;
template <>
inline constexpr bool takes<vk_size, size_t> = true;
template <class A>
inline constexpr bool takes<target_ptr, A*> = !vk_handle_type<A*>;
template <class T, class A>
inline constexpr bool takes<vk_struct<T>, A*> = std::is_same_v<T, std::remove_cv_t<A>>;
template <>
inline constexpr bool takes<vk_struct<vk_size>, size_t*> = true;
/// Of what the target has mapped, the address.
template <>
inline constexpr bool takes<vk_struct<uint64_t>, void**> = true;
template <class T, size_t N, class A>
inline constexpr bool takes<vk_array<T, N>, A*> = std::is_same_v<T, std::remove_cv_t<A>>;
template <class T, size_t N, auto M, class A>
inline constexpr bool takes<vk_array_by<T, N, M>, A*> = std::is_same_v<T, std::remove_cv_t<A>>;
template <class H>
inline constexpr bool takes<vk_out<H>, H*> = true;
template <class H, size_t N>
inline constexpr bool takes<vk_out_array<H, N>, H*> = true;
template <class H, size_t N, auto M>
inline constexpr bool takes<vk_out_array_by<H, N, M>, H*> = true;
template <size_t N, class A>
inline constexpr bool takes<vk_bytes<N>, A*> = std::is_void_v<A>;
template <class T, size_t K, class A>
inline constexpr bool takes<vk_fixed<T, K>, A*> = std::is_same_v<T, std::remove_cv_t<A>> ||
                                                  sizeof(A) == sizeof(T) * K;
template <>
inline constexpr bool takes<vk_string, const char*> = true;

template <class... P>
struct list
{
};
template <class R, class Parameters, class Arguments>
inline constexpr bool signature_fits = false;
template <class... A>
inline constexpr bool signature_fits<void, list<>, list<A...>> = sizeof...(A) == 0;
template <>
inline constexpr bool signature_fits<VkResult, list<result_of<VkResult>>, list<>> = true;
template <>
inline constexpr bool signature_fits<PFN_vkVoidFunction, list<result_of<uint64_t>>, list<>> = true;
template <class R, class P, class... MoreP, class A, class... MoreA>
inline constexpr bool signature_fits<R, list<P, MoreP...>, list<A, MoreA...>> =
    takes<P, A>&& signature_fits<R, list<MoreP...>, list<MoreA...>>;

template <class Handler, class Prototype>
inline constexpr bool fits = false;
template <class... P, class R, class... A>
inline constexpr bool fits<void (*)(pid_t, tid_t, P...), R(A...)> = signature_fits<R, list<P...>, list<A...>>;
} // namespace vk_prototypes
